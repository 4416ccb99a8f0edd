// The plane bitmaps of a page with separate planes: one a sample, made by the filter and merged into rows at the end.
#pragma once

#include <cstdint>

#include <vxkernel/bitmap.h>

struct PlaneSize {
  int32_t width;
  int32_t height;
  uint32_t bitsPerSample;
};

// Makes `count` accessed bitmaps with cleared pixels. 1, or -1 with everything undone and `planes` null.
int32_t TIFCreatePlanes(PlaneSize size, uint32_t count, bool isSigned, BitmapHandle*** planes);

// Releases the planes and their array; null is accepted.
void TIFFreePlanes(BitmapHandle** planes, uint32_t count);
