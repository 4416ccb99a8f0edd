// The strip and tile reader: the strip tables of a page into decoded rows, one band after the other, each row given to
// a receiver.
#pragma once

#include <cstdint>

#include "Tif/LoadContext.h"

struct TifRect {
  int32_t left;
  int32_t top;
  int32_t right;
  int32_t bottom;
};

// Repairs of the tables, in the order in which a load runs them.
void TIFClampStripByteCounts(TifPage* page);
uint32_t TIFSumStripByteCounts(TifPage* page); // sets stripByteTotal; the largest count
void TIFNormalizeStrips(TifPage* page);

// What a read of one plane, or of the chunky page, is given.
struct StripReadJob {
  VxFileHandle file;
  FileInfoRecord* fileInfo;
  BitmapHandle* target;
  TifRowSink receiver; // called with the context as its data
  TifLoadContext* context;
  TifPage* page;
  uint32_t rowSize;    // bytes of one decoded row of a strip or tile
  uint32_t firstStrip; // slot of the tables to begin with
  bool regionActive;
  TifRect region;   // file coordinates; only top and bottom are used
  uint32_t samples; // samples of a decoded pixel: samplesPerPixel, or 1 for a plane
};

// Reads all bands. 1 or the first failure.
int32_t TIFReadStrips(const StripReadJob* job);

// The receiver that a sibling is given for one strip: copies its rows to context->outRows.
int32_t TIFCopyDecodedRows(FileInfoRecord* fileInfo, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags,
                           int32_t firstRow, int32_t rowCount, intptr_t context);
