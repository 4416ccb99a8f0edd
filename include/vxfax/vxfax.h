/* The toolkit's CCITT codec: modified Huffman, T.4 one- and two-dimensional, T.6, in both directions.

   The decoder reads the strips or tiles of a page from an open file and hands out rows in file order, 0 for white runs
   and 1 for black, whatever the photometric value (the palette carries that). A damaged row is repaired as fax machines
   do and decoding goes on; only a failed read or a sink's refusal ends it with a code.
   The encoder reads a bitmap's rows through the row service and writes at the file's position. */
#ifndef VXFAX_VXFAX_H
#define VXFAX_VXFAX_H

#include "../vxkernel/bitmap.h"
#include "../vxkernel/files.h"
#include "../vxkernel/rows.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Values of FaxInfo.faxFormat and of the encoders' faxMode. */
enum { kFaxT4OneDimensional = 66, kFaxT4TwoDimensional = 67, kFaxT6 = 68, kFaxModifiedHuffman = 162 };

/* Bits of FaxInfo.faxFlags. None of the view bits means view 4. */
enum {
  kFaxView1 = 0x1,
  kFaxBlackIsZero = 0x4, /* photometric value other than 0 */
  kFaxFillOrder2 = 0x8,  /* bits of each byte stand least significant first */
  kFaxView6 = 0x10,
  kFaxView8 = 0x20,
  kFaxView3 = 0x80,
  kFaxView5 = 0x100,
  kFaxView2 = 0x200,
  kFaxView7 = 0x400
};

/* Bits of fillOptions. */
enum {
  kFaxFillReverseBits = 1,
  kFaxFillReserved = 4 /* accepted, without effect */
};

enum {
  kFaxResultOk = 1,
  kFaxResultNoMemory = -1,
  kFaxResultSeekFailed = -4,
  kFaxResultWriteFailed = -5,
  kFaxResultReadFailed = -7,
  kFaxResultInvalid = -13,
  kFaxResultUnsupported = -15
};

#pragma pack(push, 1)
/* The pieces of a page. 20 bytes on a 32-bit target. The tables stay the caller's. */
typedef struct FaxStripInfo {
  uint32_t width;               /* pixels of a strip or tile */
  uint32_t rowsPerStrip;        /* rows of a strip or tile */
  const uint32_t* stripOffsets; /* file offsets, stripCount of them, row-major for tiles */
  const uint32_t* stripByteCounts;
  uint32_t stripCount;
} FaxStripInfo;

/* The page. 36 bytes on every target. */
typedef struct FaxInfo {
  uint32_t reserved1;
  uint32_t faxFormat;    /* kFaxT4OneDimensional and its fellows */
  int32_t width;         /* pixels of a row */
  int32_t height;        /* rows */
  uint32_t bitsPerPixel; /* 1 */
  int32_t xResolution;   /* dots per inch, stored in the target */
  int32_t yResolution;
  uint32_t reserved2; /* 0 */
  uint32_t faxFlags;
} FaxInfo;

/* Pieces of a page to be written. 20 bytes on a 32-bit target. */
typedef struct FaxTileRequest {
  uint32_t tileWidth;   /* pixels of a strip or tile */
  uint32_t tileHeight;  /* rows of a strip or tile */
  uint32_t* scratch;    /* `count` words for the codec's use, or null */
  uint32_t* byteCounts; /* receives each piece's size */
  uint32_t count;       /* pieces */
} FaxTileRequest;
#pragma pack(pop)

/* The row service of the save request, and what of the request the encoder has to know. */
typedef struct FaxRowSource {
  VxSaveStart saveStart;
  VxSaveEnd saveEnd;
  VxSaveGetRow saveGetRow;
  uint32_t invertBlackFirst; /* non-zero: rows whose palette is black-first are inverted, to make photometric 0 true */
  uint32_t t4Options;        /* tag 292 of the page: bit 0 two-dimensional, bit 2 EOLs end on byte boundaries */
} FaxRowSource;

/* Decodes a page and delivers its rows to `sink`, one a call, with the flags of rows.h. `fileInfo` passes through,
   `request` is not looked at. `stripCompressions` is null or one byte for each strip: 1 for a strip that is stored
   uncompressed. Sets the target's resolutions from `info`, and for kFaxModifiedHuffman its view from the flag bits.
   A strip or tile is read as far as the file goes; rows that it lacks are white. A height below 0 stands for one that
   nobody knows: the rows of a page in strips until the data ends. No rows for a width below 1 or a height of 0.
   1; kFaxResultReadFailed or kFaxResultSeekFailed; kFaxResultNoMemory; kFaxResultInvalid for a null argument;
   kFaxResultUnsupported for another format, for tiles of unknown height and for pieces absurdly wider than the page;
   the sink's own result. */
VX_API int32_t faxDecodeRows(void* request, VxFileHandle file, const FaxInfo* info, const FaxStripInfo* strips,
                             struct FileInfoRecord* fileInfo, BitmapHandle* target, VxRowSink sink, int32_t one,
                             intptr_t sinkData, const uint8_t* stripCompressions);

/* Encodes the whole bitmap as one piece at the file's position; `byteCount` receives its size. `flags` go to the row
   service. 1; kFaxResultWriteFailed as krnWriteError makes it; kFaxResultNoMemory; kFaxResultInvalid for a null
   argument or a bitmap without pixels; kFaxResultUnsupported for another mode; the row service's own result. */
VX_API int32_t faxEncodeStart(const FaxRowSource* source, VxFileHandle file, BitmapHandle* bitmap, int32_t one,
                              uint32_t faxMode, uint32_t flags, intptr_t extra1, intptr_t extra2, uint32_t* byteCount,
                              uint32_t fillOptions, int32_t zero1, int32_t zero2);

/* Encodes the bitmap in pieces of the given size, row-major. Pieces narrower than the bitmap are tiles and filled up
   with white; of strips the last one may be short. `tileCompressions` is null, or an array of a byte a piece that is
   filled: non-zero for a piece that is stored uncompressed, because its code is no smaller. Results as
   faxEncodeStart. */
VX_API int32_t faxEncodeRows(const FaxRowSource* source, VxFileHandle file, BitmapHandle* bitmap,
                             const FaxTileRequest* tiles, uint8_t* tileCompressions, int32_t zero1, int32_t one,
                             uint32_t faxMode, uint32_t flags, intptr_t extra1, intptr_t extra2, int32_t zero2,
                             uint32_t fillOptions);

#ifdef __cplusplus
}
#endif

#endif
