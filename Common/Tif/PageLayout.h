// Sizes of the rows of a page, as they stand decoded.
#pragma once

#include <cstdint>

#include <vxtif/page.h>

// Bytes of one decoded row of a strip or tile, without wrapping; of a row of sub-sampling units on a YCbCr page. The
// exported TIFGetBytesPerTileRow gives the same number in 32 bits.
uint64_t TIFTileRowBytes(const TifPage* page);

// The same for one plane of a page with separate planes.
uint64_t TIFPlaneRowBytes(const TifPage* page);

// Image rows that one decoded row stands for: the vertical sub-sampling, at least 1.
uint32_t TIFRowsOfUnit(const TifPage* page);

// Bytes that a host may read of a row which the strip reader delivers: the page's own row, or what its colour
// conversion makes of it.
uint64_t TIFDeliveredRowBytes(const TifPage* page, bool cmykToRgb);
