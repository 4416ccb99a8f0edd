// The strip and tile reader: the strip tables of a page into decoded rows, one band after the other, each row given to
// a receiver.
#pragma once

#include <cstdint>

#include "Tif/LoadContext.h"
#include "Tif/RegionMapping.h"

// What a read of one plane, or of the chunky page, is given.
struct StripReadJob {
  VxFileHandle file;
  FileInfoRecord* fileInfo;
  BitmapHandle* target;
  TifRowSink receiver; // called with the context as its data
  TifLoadContext* context;
  TifPage* page;
  uint64_t rowSize;        // bytes of one decoded row of a strip or tile
  uint64_t deliveredBytes; // bytes that may be read of a delivered row, when that is more than the row
  uint64_t firstSlot;      // slot of the tables to begin with
  bool regionActive;
  TifRect region;   // file coordinates; only top and bottom are used
  uint32_t samples; // samples of a decoded pixel: samplesPerPixel, or 1 for a plane
};

// Reads all bands. 1 or the first failure.
int32_t TIFReadStrips(const StripReadJob* job);
