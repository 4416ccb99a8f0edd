/* Description of a file without decoding it: fltInfo, its request and its report; and the options of every reading
   request.

   All records are byte-packed: fields follow each other without gaps. The caller owns every record. */
#ifndef VXTIF_INFO_H
#define VXTIF_INFO_H

#include "../vxkernel/files.h"
#include "results.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Bits of FileOptions.flags. */
enum {
  kReadFillOrder2 = 0x1,             /* set by the library for a sibling whose strip has fill order 2, and left set */
  kReadKeepSigned = 0x80,            /* fltLoad: signed samples keep their range */
  kReadUseDirectoryOffset = 0x400,   /* start at directoryOffset instead of the directory that the header names */
  kReadForceRgb = 0x2000,            /* loads take every page as RGB (photometric 2), whatever the file says */
  kReadIgnoreOrientation = 0x200000, /* the page's orientation is not applied and reported as 1 */
  kReadLzw13Bit = 0x8000000          /* LZW codes may grow to 13 bits */
};

#pragma pack(push, 1)

/* Options of every request that reads a file. The library changes pageNumber during a delegation and restores it. */
typedef struct FileOptions {
  int32_t defaultXResolution; /* dots per inch for a fax page that has none */
  int32_t defaultYResolution;
  uint32_t flags;           /* kRead... */
  int32_t pageNumber;       /* from 1; 0 means 1; -1 the last page that the chain reaches */
  uint32_t directoryOffset; /* file offset of a directory to start from, with kReadUseDirectoryOffset */
} FileOptions;

/* Bits of FilterInfoControl.flags. */
enum {
  kInfoCountPages = 0x1, /* count all pages of the file */
  kInfoWithAlpha = 0x2   /* fltInfo: report an 8-bit page with extra samples as 32 bits; fltLoad: keep grey's alpha */
};

typedef struct FilterInfoControl {
  uint32_t structSize; /* sizeof(FilterInfoControl) */
  uint32_t flags;      /* kInfo... */
} FilterInfoControl;

/* Bits of FileInfoRecord.flags. They are ORed onto the caller's word. */
enum {
  kInfoFax = 0x40,           /* fax-compressed page, or a page of a variant file */
  kInfoGrayNoMap = 0x80,     /* 8-bit page without a colour map */
  kInfoSigned = 0x200,       /* signed samples */
  kInfoExtraSamples = 0x800, /* the page has extra samples */
  kInfoComplete = 0x8000     /* set on every completed report */
};

/* Values of FileInfoRecord.colorSpace. */
enum { kColorSpaceOther = 0, kColorSpaceYCbCr = 1, kColorSpaceCmyk = 2, kColorSpaceCieLab = 3 };

enum { kCompressionNameLength = 20, kFileInfoRecordSize = 2200 };

/* The report. What a path does not tell stays as the caller left it. */
typedef struct FileInfoRecord {
  uint32_t structSize;  /* set by the caller to the bytes that it offers; only read */
  int32_t fileFormat;   /* format number, formats.h */
  int32_t width;        /* pixels */
  int32_t height;       /* rows */
  int32_t bitsPerPixel; /* as loaded: CMYK counts three samples */
  uint32_t memorySize;  /* bytes of the decoded page, rows padded to 4 bytes; wraps in 32 bits */
  char16_t compressionName[kCompressionNameLength]; /* text with its terminator, empty text for none is the caller's */
  uint32_t viewPerspective;                         /* orientation, 1 to 8 */
  uint32_t order;                                   /* kOrderRedFirst, kOrderBlueFirst or kOrderGray */
  uint32_t pageNumber;                              /* page reached, from 1 */
  uint32_t totalPages;                              /* pages of the file with kInfoCountPages, else pageNumber */
  int32_t xResolution;                              /* dots per inch, rounded */
  int32_t yResolution;
  uint32_t flags;                               /* kInfo... */
  uint32_t directoryOffset;                     /* file offset of the page's directory */
  uint32_t colorSpace;                          /* kColorSpace..., written only when structSize reaches behind it */
  uint8_t fileLayer[kFileInfoRecordSize - 100]; /* the toolkit's file layer's: name, size on disk and others */
} FileInfoRecord;

typedef struct FilterInfoRequest {
  uint32_t structSize;            /* sizeof(FilterInfoRequest); passes to siblings unread, as the next two words do */
  uint32_t reserved[2];           /* 0 */
  VxFileHandle fileHandle;        /* open handle; the caller opened it and closes it; its position is lost */
  FileInfoRecord* fileInfo;       /* output */
  FilterInfoControl* infoControl; /* or null */
  FileOptions* fileOptions;       /* page wanted, optional start directory */
} FilterInfoRequest;

#pragma pack(pop)

/* Describes a page. fltInfo refuses null with -13 and hands over to its twin, which does not test again; all exports of
   this family do so.
   1: the report is complete, or a sibling library has completed it. 0: the file is refused, by the parser or because
   its compression belongs to another filter (6, 7, 9, 10, 34709). -1; kResultNotTiff, kResultSeekFailed,
   kResultReadFailed for a header that cannot be read; kResultSiblingVector. A page past the end is no failure: the
   report is of the last page. */
VX_API int32_t fltInfo(FilterInfoRequest* request);
VX_API int32_t fltInfoTIF(FilterInfoRequest* request);

#ifdef __cplusplus
}
#endif

#endif
