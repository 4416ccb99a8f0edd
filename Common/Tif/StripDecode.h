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

// Releases the decoder and its buffer.
void TIFEndStrip(TifLoadContext* context);

// The receiver that a sibling is given for one strip: copies its rows to context->outRows.
int32_t TIFCopyDecodedRows(FileInfoRecord* fileInfo, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags,
                           int32_t firstRow, int32_t rowCount, intptr_t context);
