// The pieces of image data of a directory that is written anew: strips or tiles on their way from memory or from the
// source file to their new places. The image-data part of the tree writer uses it, with both tables in hand.
#pragma once

#include <cstdint>

#include "tif_com/TreeWriterParts.h"

// The two records of strips or tiles, and their numbers.
struct StripTables {
  TifTagRecord* offsets;
  TifTagRecord* counts;
  uint32_t* lengths;    // of the pieces
  uint32_t* oldOffsets; // in the source file; null for pieces in memory
  uint32_t* newOffsets;
};

// The loaded piece, or null for pieces that stand in the source file.
const uint8_t* TIFLoadedPiece(const TifTagRecord* offsets, uint32_t index);

// Writes all pieces from `position` on, each at an even place, and notes these in newOffsets. 1, -1, -4, -5, -7, -814
// without a source; what stands before the piece that failed is in the target then.
int32_t TIFWritePieces(const TreeCopy& copy, const StripTables& tables, uint32_t* position);
