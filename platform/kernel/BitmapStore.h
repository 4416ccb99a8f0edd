// Where the pixels of bitmaps are kept. Used by everything of the kernel that reads or changes pixels.
#pragma once

#include "vxkernel/bitmap.h"

namespace kernel {

// Pixels and palette of one bitmap. Found by the id in the descriptor; its measures are those that the pixels were made
// with, since callers may change the descriptor's.
struct PixelStore {
  uint32_t mark; // tells a store from other movable blocks
  int32_t width;
  int32_t height;
  int32_t bitsPerPixel;
  int32_t bytesPerLine;
  uint32_t paletteCount;
  uint8_t* pixels;
  VxColor palette[kPaletteEntries];
};

// The store of a bitmap, or null.
PixelStore* FindStore(const BitmapHandle* bitmap);

// Bytes of a row, rounded up to 4; 0 for measures below 1, and cut to what 31 bits hold.
int32_t BytesPerLine(int32_t width, int32_t bitsPerPixel);

// Gives the store cleared pixels of other measures, and hands back the old ones to be read and then released with
// krnFree. Null, and nothing changed, for no memory. The descriptor follows.
uint8_t* ExchangePixels(BitmapHandle* bitmap, PixelStore* store, int32_t width, int32_t height, int32_t bitsPerPixel);

} // namespace kernel
