/* Saving of pages: fltSave, CMYK planes, streams of finished strip data, deletion and compaction; and the options of
   every request that writes a file. */
#ifndef VXTIF_SAVE_H
#define VXTIF_SAVE_H

#include "../vxkernel/rows.h"
#include "info.h"
#include "metadata.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Bits of SaveOptions.flags. */
enum {
  kSaveFillOrder2 = 0x1,             /* bits reversed in uncompressed 1-bit data and fax data, tag 266 = 2 */
  kSaveNoSubfileType = 0x2,          /* write no NewSubfileType tag, leave that of the neighbours alone */
  kSaveDropGrayPalette = 0x40,       /* no colour map for a plain grey ramp of up to 8 bits */
  kSaveStampYCbCr = 0x200,           /* formats 96 and 97: the stamp page is written as YCbCr */
  kSaveReplacePage = 0x400,          /* replace page pageNumber; cleared when the page does not exist */
  kSaveInsertPage = 0x800,           /* insert before page pageNumber; cleared likewise */
  kSaveKeepPageNumbers = 0x8000,     /* write no PageNumber tag, touch none */
  kSaveUseDirectoryOffset = 0x20000, /* honour directoryOffset */
  kSaveBigEndian = 0x40000,          /* a new file is big-endian */
  kSaveForcePhotometric = 0x2000000, /* honour photometric */
  kSaveTiles = 0x4000000,            /* write tiles of tileWidth by tileHeight */
  kSaveAskFaxColours = 0x10000000    /* fax formats: ask the row service for the bitmap's two colours first */
};
#define kSavePredictor 0x80000000u /* horizontal predictor with LZW; more than an enumerator of C holds */

/* Bits of SaveOptions.flags2. */
enum {
  kSavePlanar = 0x2,       /* CMYK arrays: separate planes */
  kSaveNoRatioCheck = 0x4, /* LZW: keep the table even when the ratio falls */
  kSaveFaxReserved = 0x800 /* passes the value 4 to the fax encoder */
};

/* Bits of the request's own flags. */
enum {
  kSaveRequestAppend = 0x4,       /* append at the end of the file; clears replace and insert in the options */
  kSaveRequestGray = 0x8,         /* save as grey */
  kSaveRequestDirect = 0x400,     /* set by the driver: the bitmap already has the output depth and blue-first order */
  kSaveRequestBlueFirst = 0x1000, /* set by the driver: rows wanted blue, green, red */
  kSaveRequestGrayRows = 0x4000,  /* set by the driver: rows wanted as one grey sample */
  kSaveRequestAlways = 0x8000     /* set by the driver before saveStart */
};

enum { kSaveOptionsSize = 1603 };

#pragma pack(push, 1)

/* Options of every request that writes a file. The library may change flags, pageNumber and the tile size; a caller who
   uses a record again sees the changes. */
typedef struct SaveOptions {
  uint32_t structSize; /* bytes of the record; flags2 counts only from kSaveOptionsSize on */
  uint32_t flags;      /* kSave... */
  int32_t pageNumber;  /* from 1, for a save into an existing file; page 2 marks the stamp pass of formats 96, 97 */
  uint32_t directoryOffset; /* with kSaveUseDirectoryOffset: directory to start from; format 178: place of the stream */
  uint32_t photometric;     /* with kSaveForcePhotometric: 0 to 6 or 8 */
  uint32_t tileWidth;       /* with kSaveTiles: pixels */
  uint32_t tileHeight;      /* rows */
  uint8_t reserved[kSaveOptionsSize - 4 - 28]; /* 0 */
  uint32_t flags2;                             /* kSave..., of the second set */
} SaveOptions;

/* Two words with their size in front: tag 50235, and the stored size of format 175. */
typedef struct TifSizePair {
  uint32_t structSize; /* 12 */
  uint32_t first;
  uint32_t second;
} TifSizePair;

/* Argument of fltSave. fileFormat, flags, fileOptions and the bitmap's level range may come back changed. */
typedef struct FilterSaveRequest {
  const char16_t* fileName; /* output path; a file of the literal name "DUMMY" is never deleted */
  BitmapHandle* bitmap;     /* null gives -2 */
  int32_t bitsPerPixel;     /* of the written page: 1 to 8, 12, 16, 24, 32, 48, 64 */
  int32_t fileFormat;       /* formats.h */
  uint32_t flags;           /* kSaveRequest... */
  intptr_t extra1;          /* two opaque words for the row service */
  intptr_t extra2;
  BitmapHandle* stampBitmap;       /* second page of formats 96 and 97, or null */
  TifTagItem* tagList;             /* tags to write, or null */
  TifCommentBlock* comments;       /* or null */
  TifMarkerBlock* markers;         /* JPEG marker segments that may hold an Exif segment, or null */
  SaveOptions* fileOptions;        /* null reads as zeros */
  const TifSizePair* private50235; /* or null */
  TifGeoKeyItem* geoKeys;          /* format 174, or null */
  VxSaveStart saveStart;           /* the row service */
  VxSaveEnd saveEnd;
  VxSaveGetRow saveGetRow;
} FilterSaveRequest;

/* Argument of fltSaveCMYKArray. */
typedef struct FilterSaveCMYKRequest {
  const char16_t* fileName;
  BitmapHandle** bitmaps; /* the planes; the first one sets the geometry */
  uint32_t planeCount;
  int32_t bitsPerPlane; /* 8 or 16 */
  int32_t format;       /* 85, 86 or 88; rewritten */
  uint32_t flags;
  intptr_t extra1;
  intptr_t extra2;
  SaveOptions* options; /* of at least kSaveOptionsSize bytes; kSavePlanar in flags2 */
  TifCommentBlock* comments;
  TifTagItem* tagList;
  TifMarkerBlock* markers;
  TifGeoKeyItem* geoKeys;
  VxSaveStart saveStart;
  VxSaveEnd saveEnd;
  VxSaveGetRow saveGetRow;
} FilterSaveCMYKRequest;

/* The compression value that stands for group 3 two-dimensional. */
enum { kCompressionGroup3TwoDimensional = 0x10001 };

/* One record for the three calls of an incremental save; the only state between them. */
typedef struct FilterSaveDataRequest {
  const char16_t* fileName;
  int32_t compression; /* value of tag 259, or kCompressionGroup3TwoDimensional */
  uint32_t width;      /* pixels */
  uint32_t height;     /* rows; also the rows per strip */
  int32_t bitsPerPixel;
  VxColor* palette;     /* required up to 8 bits */
  uint32_t paletteSize; /* entries, at least 2 to the power of the depth */
  uint32_t append;      /* non-zero: at the end of the file */
  TifTagItem* tagList;
  int32_t xResolution; /* dots per inch */
  int32_t yResolution;
  const void* dataBuffer; /* bytes for fltSaveData */
  uint32_t dataLength;
  uint32_t bytesWritten;   /* running total; the library's */
  uint32_t entriesOffset;  /* file offset of the directory's first entry; the library's */
  VxFileHandle fileHandle; /* -1 when closed; the library's */
  TifCommentBlock* comments;
  SaveOptions* options;
} FilterSaveDataRequest;

/* Argument of fltDeletePage. */
typedef struct FilterDeletePageRequest {
  const char16_t* fileName; /* null gives -8 */
  uint32_t page;            /* from 1; 0 means 1 */
  uint32_t reserved;
  SaveOptions* options; /* flags and directoryOffset are read */
} FilterDeletePageRequest;

/* Argument of fltCompact. */
typedef struct FilterCompactRequest {
  const char16_t* sourceName;
  const char16_t* destinationName;
  uint32_t pageCount;              /* pages to copy; 0 means all and comes back as 0xFFFFFFFF */
  FileOptions* sourceOptions;      /* first page to copy */
  SaveOptions* destinationOptions; /* where the pages go */
} FilterCompactRequest;

#pragma pack(pop)

/* Saves a bitmap as a page: a new file, or appended, inserted or replacing. 1; kResultFormatNotSaved,
   kResultDepthNotSupported, kResultNoBitmap, kResultBitmapMismatch with nothing touched; kResultNoMemory,
   kResultCreateFailed, kResultReadFailed, kResultSeekFailed, kResultWriteFailed, a sibling's or the row service's code,
   with the page or the new file taken back. A full disk goes unnoticed on the LZW path. */
VX_API int32_t fltSave(FilterSaveRequest* request);
VX_API int32_t fltSaveTIF(FilterSaveRequest* request);

/* Saves CMYK planes as one page. As fltSave; kResultNotCmyk for another format. A failure leaves the page in the file.
 */
VX_API int32_t fltSaveCMYKArray(FilterSaveCMYKRequest* request);
VX_API int32_t fltSaveCMYKArrayTIF(FilterSaveCMYKRequest* request);

/* Streams finished strip data: start writes the directory and keeps the file open, each data call appends bytes, stop
   records their number and closes; stop always gives 1. */
VX_API int32_t fltStartSaveData(FilterSaveDataRequest* request);
VX_API int32_t fltStartSaveDataTIF(FilterSaveDataRequest* request);
VX_API int32_t fltSaveData(FilterSaveDataRequest* request);
VX_API int32_t fltSaveDataTIF(FilterSaveDataRequest* request);
VX_API int32_t fltStopSaveData(FilterSaveDataRequest* request);
VX_API int32_t fltStopSaveDataTIF(FilterSaveDataRequest* request);

/* Takes a page out of the chain; its bytes stay, unreachable. 1; kResultNoFileName, kResultOpenFailed,
   kResultNoSuchPage, kResultOnlyPage, kResultWriteFailed, or a read failure's code. */
VX_API int32_t fltDeletePage(FilterDeletePageRequest* request);
VX_API int32_t fltDeletePageTIF(FilterDeletePageRequest* request);

/* Rewrites pages of one file into another, without dead space. 1; kResultNoFileName, kResultOpenFailed,
   kResultDirectoryUnreadable, or the code of the step that failed. Has no twin. */
VX_API int32_t fltCompact(FilterCompactRequest* request);

#ifdef __cplusplus
}
#endif

#endif
