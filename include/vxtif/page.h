/* The flat description of one page, and the two exports that work on it. */
#ifndef VXTIF_PAGE_H
#define VXTIF_PAGE_H

#include "../vxkernel/bitmap.h"
#include "../vxkernel/files.h"
#include "info.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { kMaxSamples = 16, kYccTableEntries = 256 };

/* Bits of TifPage.pageFlags. */
enum {
  kPageExifWithThumbnail = 0x4, /* tag 34665 in a directory whose next word is not 0 */
  kPageNoColorMap = 0x80,       /* default; a colour map clears it */
  kPageSigned = 0x200,          /* sample format 2 */
  kPageInStrips = 0x4000000,    /* tags 273 or 279 met: tile tags that follow are ignored */
  kPageGeoKeys = 0x8000000,     /* tag 34735 */
  kPageKodak = 0x10000000,      /* Make names this vendor */
  kPageTiffEp = 0x20000000,     /* tag 37398 */
  kPageSubIfds = 0x40000000     /* tag 330 */
};
#define kPageExif 0x80000000u /* tag 34665; more than an enumerator of C holds */

/* How a fill order of 2 is honoured: a bit set with a special start value. */
enum { kFillReverseBefore = 1, kFillReverseAfter = 2, kFillUndecided = 4 };

/* The six YCbCr tables, in order. */
enum { kYccLuma, kYccCr, kYccCb, kYccGreenLuma, kYccGreenBlue, kYccGreenRed, kYccTableCount };

#pragma pack(push, 1)

/* What the strip order of a variant file leaves behind. As long as its pointers stand, stripCompressions holds a byte a
   strip. */
typedef struct TifStripOrderScratch {
  uint32_t* newOffsets;
  uint32_t* newByteCounts;
} TifStripOrderScratch;

typedef struct TifPage {
  int32_t imageWidth;                 /* tag 256; -1 without */
  int32_t imageLength;                /* tag 257; -1 without */
  int32_t bitsPerPixel;               /* stored bits per pixel behind the fix-ups */
  uint32_t compression;               /* tag 259 or 33466 */
  uint32_t* stripOffsets;             /* tag 273 or 324, owned; null without */
  uint32_t* stripByteCounts;          /* tag 279 or 325, owned */
  uint32_t stripCount;                /* strips or tiles */
  uint32_t stripByteTotal;            /* sum of the byte counts */
  uint32_t colorMapOffset;            /* file offset of tag 320's values */
  uint32_t colorMapCount;             /* its values */
  uint32_t colorMapEntries;           /* colorMapCount / 3 */
  uint32_t photometricInterpretation; /* tag 262 */
  uint32_t planarConfiguration;       /* tag 284; 0 without */
  uint32_t viewPerspective;           /* orientation as reported, 1 to 8 */
  uint32_t predictor;                 /* tag 317 */
  uint32_t t4Options;                 /* tag 292 */
  uint32_t t6Options;                 /* tag 293 */
  uint32_t fillOrder;                 /* tag 266 */
  float xResolution;                  /* dots per inch */
  float yResolution;
  int32_t tileWidth;                   /* tag 322; the image width on a page in strips */
  int32_t rowsPerStrip;                /* tag 278 or 323 */
  uint32_t orientation;                /* tag 274, 1 to 8 */
  int32_t fileWidth;                   /* tag 256, never changed */
  int32_t fileLength;                  /* tag 257, never changed */
  uint32_t bitsPerSample[kMaxSamples]; /* tag 258 */
  uint32_t samplesPerPixel;            /* valid entries in bitsPerSample */
  uint32_t extraSampleCount;           /* tag 338's count */
  uint32_t totalBits;                  /* sum of bitsPerSample; 15 counts as 16 */
  uint32_t extraBits;                  /* bits of the extra samples */
  uint32_t pageFlags;                  /* kPage... */
  uint32_t yCbCrSubSampleHoriz;        /* tag 530: 1, 2 or 4 */
  uint32_t yCbCrSubSampleVert;
  uint32_t referenceBlackWhite[6]; /* tag 532 */
  uint32_t yCbCrCoefficients[3];   /* tag 529, in parts of their sum */
  int32_t yCbCrTables[kYccTableCount][kYccTableEntries];
  FileOptions* fileOptions;       /* the request's */
  uint16_t stripCompressionCount; /* entries of stripCompressions as tag 33466 gave them */
  TifStripOrderScratch stripOrderScratch;
  TifStripOrderScratch* stripOrderScratchPointer; /* set by the parser */
  void* stripCompressions;     /* u16 a strip from tag 33466, or after tag 33467 a byte a strip; owned */
  uint32_t fillOrderMode;      /* kFill... */
  uint16_t* grayResponseCurve; /* tag 291, owned */
  uint32_t grayResponseCount;
  VxFileHandle codecFile; /* the codecs' file */
  uint8_t* codecBuffer;   /* the codecs' bytes; owned by whoever runs the codec */
  uint32_t codecBufferSize;
  uint32_t codecByteCount; /* decoder: bytes now in the buffer; encoder: bytes written for this strip */
  uint32_t codecPosition;  /* PackBits: read position in the buffer */
  uint32_t codecBytesLeft; /* PackBits: bytes of the strip not yet read from the file */
  uint32_t lzwRatioCheck;  /* non-zero turns the encoder's ratio check on */
  uint32_t minSampleValue; /* tag 280, or sub-tag 3 of tag 50234 */
  uint32_t maxSampleValue; /* tag 281, or sub-tag 4 of tag 50234 */
  uint32_t sampleFormat;   /* tag 339 */
  uint32_t private50235First;
  uint32_t private50235Second;
  uint32_t privateValue0;         /* sub-tag 0 of tag 50234 */
  uint32_t privateValue1;         /* sub-tag 1; 0xFFFFFFFF without */
  VxGlobalHandle privatePalette8; /* sub-tag 2 as BYTE: 4-byte entries; owned until a bitmap takes it */
  uint32_t privatePalette8Count;
  VxGlobalHandle privatePalette16; /* sub-tag 2 as SHORT: 8-byte entries; owned */
  uint32_t privatePalette16Count;
  uint32_t private50236;
} TifPage;

#pragma pack(pop)

/* Bytes of one decoded row of a strip or tile; of a row of sub-sampling units on a YCbCr page. Wraps in 32 bits. */
VX_API int32_t TIFGetBytesPerTileRow(const TifPage* page);

/* Marks a bitmap as holding signed samples when the page does; 16-bit samples also set its level range, from -32768
   with `keepSigned` and from 0 without. 1. */
VX_API int32_t TIFInitBitmap(const TifPage* page, BitmapHandle* bitmap, int32_t keepSigned);

#ifdef __cplusplus
}
#endif

#endif
