// One strip or tile of a page: begun, decoded in one or more pieces, ended. The strip reader alone uses it.
#pragma once

#include <cstdint>

#include "Tif/LoadContext.h"

// Seeks to the strip and starts its decoder. 1, -1, -4, -7, with nothing left to end.
int32_t TIFStartStrip(VxFileHandle file, TifLoadContext* context, uint64_t offset, uint32_t bytes);

// A run of rows of a strip that has been started.
struct StripPiece {
  VxFileHandle file;
  uint32_t rowSize;
  uint32_t rows;
  uint64_t offset; // what is left of the strip: where and how much
  uint32_t bytes;
  uint8_t* out;     // room for `rows` rows of `rowSize` bytes
  uint32_t samples; // samples of a decoded pixel
};

// 1; -1, -7, -15, -62, -77, or a sibling's code. A strip that ends early may leave a warning in context->status.
int32_t TIFDecodeStripRows(const StripPiece* piece, TifLoadContext* context);

// Reads uncompressed bands of `bandBytes` bytes that stand one behind the other. `held` receives the bytes of the bands
// that have any, the last of them filled up with zeros. 1, or -7 for a run that cannot be read at all.
int32_t TIFReadStoredRun(const StripPiece* piece, TifLoadContext* context, uint64_t bandBytes, uint64_t* held);

// Releases the decoder and its buffer.
void TIFEndStrip(TifLoadContext* context);

// The receiver that a sibling is given for one strip: copies its rows to context->outRows.
int32_t TIFCopyDecodedRows(FileInfoRecord* fileInfo, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags,
                           int32_t firstRow, int32_t rowCount, intptr_t context);
