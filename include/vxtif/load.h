/* Loading of pages as rows: fltLoad, CMYK planes, the stamp. The library never allocates the caller's pixels: rows
   reach them only through the row sink. */
#ifndef VXTIF_LOAD_H
#define VXTIF_LOAD_H

#include "../vxkernel/rows.h"
#include "info.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The row sink, see vxkernel/rows.h: 1 goes on, any other value ends the load with that value. */
typedef VxRowSink TifRowSink;

/* Bits of FilterLoadRequest.rawFlags. The view bits: none of them means view 4. */
enum {
  kRawView1 = 0x1,
  kRawBlackFirst = 0x4, /* photometric 1: the grey ramp runs black first */
  kRawFillOrder2 = 0x8,
  kRawView6 = 0x10,
  kRawView8 = 0x20,
  kRawView3 = 0x80,
  kRawView5 = 0x100,
  kRawView2 = 0x200,
  kRawView7 = 0x400,
  kRawRowsPadded = 0x800,  /* rows are padded to a multiple of 4 bytes */
  kRawPalette = 0x1000,    /* rawPalette holds the palette to use */
  kRawSwapSamples = 0x8000 /* accepted for raw PackBits, without effect */
};

#pragma pack(push, 1)

/* Argument of fltLoad. The caller's `bitmap` already holds width, height, depth and bytes per line; the load sets its
   resolutions, view, order, palette, tone table and level range. */
typedef struct FilterLoadRequest {
  const char16_t* fileName; /* null gives -8 */
  BitmapHandle* bitmap;     /* null gives -2 when it is first needed, behind the parsing of the page */
  TifRowSink rowCallback;   /* receives the finished rows */
  intptr_t rowCallbackData; /* handed back to it */
  intptr_t regionEnabled;   /* non-zero asks for a row band only; honoured for uncompressed pages */
  int32_t regionLeft;       /* the band, in view coordinates */
  int32_t regionTop;
  int32_t regionWidth;
  int32_t regionHeight;
  int32_t viewWidth; /* size of the view in which the region is given */
  int32_t viewHeight;
  FileInfoRecord*
      fileInfo; /* what fltInfo filled; fileFormat and bitsPerPixel are read; the raw formats are 153, 160, 162 */
  FilterInfoControl* infoControl; /* or null */
  int32_t rawXResolution;         /* raw formats: dots per inch */
  int32_t rawYResolution;
  uint32_t rawDataOffset; /* raw rows: file offset of the first */
  uint32_t rawFlags;      /* kRaw... */
  VxColor
      rawPalette[kPaletteEntries]; /* raw formats: palette, filled by the library without kRawPalette at format 160 */
  uint32_t rawStripBytes;          /* raw PackBits: bytes of the stream */
  uint32_t rawPhotometric;         /* raw PackBits: tag 262 of the fabricated page */
  uint32_t rawPlanarConfiguration; /* raw PackBits: tag 284 */
  FileOptions* fileOptions;        /* page wanted, optional start directory, flags */
  int32_t truncationStatus;        /* in and out: 1 is replaced by the load's warning, -7 when rows were zero-filled */
} FilterLoadRequest;

/* Argument of fltLoadCMYKArray: one grey bitmap a sample. */
typedef struct FilterLoadCMYKRequest {
  const char16_t* fileName;
  BitmapHandle** bitmaps; /* one a plane, with the caller's descriptors */
  int32_t bitmapCount;
  FileInfoRecord* fileInfo; /* passed through to the sink */
  FileOptions* fileOptions;
  TifRowSink rowCallback; /* receives plane rows, without first- and last-row marks */
  intptr_t rowCallbackData;
} FilterLoadCMYKRequest;

/* The caller's own routes for the stamp. Their results are not examined. */
typedef int32_t (*FilterStampGetInfo)(intptr_t stampFile, FileInfoRecord* info, uint32_t infoSize, uint32_t zero,
                                      FileOptions* fileOptions);
typedef int32_t (*FilterStampLoad)(intptr_t stampFile, BitmapHandle* bitmap, uint32_t bitmapSize, uint32_t zero,
                                   uint32_t one, FileOptions* fileOptions, FileInfoRecord* info);

/* Argument of fltGetStamp. By convention the stamp is page 2 of the file. */
typedef struct FilterStampRequest {
  intptr_t stampFile;       /* first argument of both functions; not looked at */
  BitmapHandle* bitmap;     /* target of the stamp */
  FileOptions* fileOptions; /* pageNumber is changed for the call, and restored */
  FilterStampGetInfo getInfo;
  intptr_t reserved;
  FilterStampLoad load;
} FilterStampRequest;

#pragma pack(pop)

/* Loads a page. 1, also when a strip was cut off (the warning goes to truncationStatus); kResultNoFileName,
   kResultOpenFailed, kResultNotTiff (no valid page), kResultNoBitmap, kResultBitmapMismatch, kResultColorLayout,
   kResultUnknownCompression, kResultSeekFailed, kResultReadFailed, kResultNoMemory, kResultCodecShort,
   kResultLzwOverflow, kResultInvalidParameter (a tone range upside down), a sibling's code, or what the sink gave. */
VX_API int32_t fltLoad(FilterLoadRequest* request);
VX_API int32_t fltLoadTIF(FilterLoadRequest* request);

/* Loads a CMYK page of compression 1, 5 or 32773 as separate inks. As fltLoad; kResultNotCmyk for another page,
   kResultDepthNotSupported for samples of other than 8 or 16 bits on a chunky page. */
VX_API int32_t fltLoadCMYKArray(FilterLoadCMYKRequest* request);
VX_API int32_t fltLoadCMYKArrayTIF(FilterLoadCMYKRequest* request);

/* Loads the stamp through the caller's functions. 1, or kResultNoStamp for a file of one page. */
VX_API int32_t fltGetStamp(FilterStampRequest* request);
VX_API int32_t fltGetStampTIF(FilterStampRequest* request);

#ifdef __cplusplus
}
#endif

#endif
