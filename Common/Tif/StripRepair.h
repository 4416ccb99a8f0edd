// The strip tables of a page: their repairs, the split of large strips, and safe access to their slots.
#pragma once

#include <cstdint>

#include <vxtif/page.h>

// Repairs, in the order in which a load runs them.
void TIFClampStripByteCounts(TifPage* page);
uint32_t TIFSumStripByteCounts(TifPage* page); // sets stripByteTotal; the largest count

// What the split of large strips did: the rows of a strip before it, and the slots that each strip now owns.
struct StripSplit {
  int32_t rowsPerStrip;
  uint32_t slotsPerStrip;
};

// Settles rowsPerStrip and tileWidth, and splits large uncompressed strips into slots of at most 8192 bytes. A split
// for which there is no memory is left out.
StripSplit TIFNormalizeStrips(TifPage* page);

// Slots of one plane of the given size on a normalised page.
uint64_t TIFSlotsOfPlane(const TifPage* page, StripSplit split, int32_t width, int32_t height);

struct StripSlot {
  uint32_t offset;
  uint32_t byteCount;
};

// A slot of the tables; one past them is empty, and an empty one cannot be read.
StripSlot TIFStripSlot(const TifPage* page, uint64_t index);
