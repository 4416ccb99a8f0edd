// The stage between the strip reader and the row sink: byte order, extra samples, 12-bit packing, colour, first and
// last rows; and the second passes of pages that cannot be finished row by row.
#pragma once

#include <cstdint>

#include "Tif/LoadContext.h"

// Row sinks with the TifLoadContext as their data.
int32_t TIFProcessRows(FileInfoRecord* fileInfo, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags, int32_t firstRow,
                       int32_t rowCount, intptr_t context);
int32_t TIFStoreRows(FileInfoRecord* fileInfo, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags, int32_t firstRow,
                     int32_t rowCount, intptr_t context);
int32_t TIFForwardRows(FileInfoRecord* fileInfo, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags, int32_t firstRow,
                       int32_t rowCount, intptr_t context);

// Row operations, in place but for the first. `rowBytes` bounds what they touch.
void TIFExpandGrayAlpha(const uint8_t* source, uint8_t* target, uint32_t pixels, const VxColor* palette);
void TIFDropExtraSamples(uint8_t* row, uint32_t rowBytes, uint32_t totalBits, uint32_t extraBits);
void TIFUnpack12(uint8_t* row, uint32_t samples, uint32_t rowBytes);

// The running range of 32-bit samples.
struct SampleRange {
  int64_t minValue;
  int64_t maxValue;
  float minFloat;
  float maxFloat;
};
void TIFScanSampleRange(uint8_t* row, uint32_t count, bool swap, bool isFloat, SampleRange* range,
                        uint32_t sampleFormat);

// Second passes. 1, -1, -12, the tone table's code, or what the sink gave.
int32_t TIFMergePlanes(bool cmykKeep, BitmapHandle* bitmap, BitmapHandle** planes, TifPage* page,
                       FileInfoRecord* fileInfo, TifRowSink sink, TifLoadContext* context);
int32_t TIFEmitWideSamples(BitmapHandle* bitmap, BitmapHandle* temporary, TifPage* page, FileInfoRecord* fileInfo,
                           TifRowSink rowCallback, TifLoadContext* context);

// One sample of `bits` from each plane in turn; 1, 8 and 16 bits, other depths nothing.
void TIFInterleavePlanes(uint8_t* target, const uint8_t* const* planes, uint32_t planeCount, uint32_t pixels,
                         uint32_t bits);

// The page of format 160: one PackBits stream from the start of the file.
int32_t TIFLoadRawPackBitsPage(FilterLoadRequest* request, VxFileHandle file);
