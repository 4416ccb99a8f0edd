// Rectangles: those that a load is asked for, in view coordinates, and those of the file's own rows.
#pragma once

#include <cstdint>

struct TifRect {
  int32_t left;
  int32_t top;
  int32_t right;
  int32_t bottom;
};

// The rectangle of a corner and a size, cut to what its fields hold.
TifRect TIFViewRegion(int32_t left, int32_t top, int32_t width, int32_t height);

// Turns a rectangle of a view of the given size into one of the file, for a TIFF orientation of 1 to 8; any other
// number changes nothing.
void TIFOrientRect(int32_t width, int32_t height, uint32_t orientation, TifRect* rect);
