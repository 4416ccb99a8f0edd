// One row of pixels, given by its changes of colour (see FaxRuns.h), to code words of the one- and the two-dimensional
// scheme. What stands between rows is the piece encoder's.
#pragma once

#include "FaxBits.h"
#include "FaxRuns.h"

#include <cstdint>

// Bytes that the longest code of a row can take. The dearest pixel costs 7 bits (a vertical mode of distance 3, or
// half of a horizontal mode with two runs of 1); the rest is for the row's ends and the writer's wide stores.
constexpr size_t FaxLongestRowCode(int32_t width) {
  return static_cast<size_t>(width) + 64;
}

// Both take the sentinels of the changes into account, and leave fewer than 8 bits in the writer.
void FaxEncodeRow1D(FaxBitWriter* writer, int32_t width, const FaxChanges& row);
void FaxEncodeRow2D(FaxBitWriter* writer, int32_t width, const FaxChanges& reference, const FaxChanges& row);
