// Planes to pixels: the second pass of a page with separate planes, and the interleaving that it and the CMYK
// conversion use.
#pragma once

#include <cstdint>

#include "Tif/LoadContext.h"

// Merges stored planes, one a sample, into the rows of `bitmap` and gives them to `sink` with the context as its data.
// 1, -1, -12, or what the sink gave.
int32_t TIFMergePlanes(bool cmykKeep, BitmapHandle* bitmap, BitmapHandle** planes, TifPage* page,
                       FileInfoRecord* fileInfo, TifRowSink sink, TifLoadContext* context);

// One sample of `bits` from each plane in turn; 1, 8 and 16 bits, other depths nothing.
void TIFInterleavePlanes(uint8_t* target, const uint8_t* const* planes, uint32_t planeCount, uint32_t pixels,
                         uint32_t bits);
