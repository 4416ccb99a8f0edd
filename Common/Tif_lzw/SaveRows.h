// What the savers rely on in the host's row service: where the palette of its output stands, and in which order the
// rows of a bitmap are asked for.
#pragma once

#include <cstddef>
#include <cstdint>

#include <vxkernel/rows.h>

constexpr uint32_t kViewBottomUp = 4;

// The palette of the output, there for depths up to 8; null for a service without a context.
inline const VxColor* TIFOutputPalette(const void* context) {
  constexpr size_t kPaletteInContext = 8; // bytes
  return context == nullptr
             ? nullptr
             : reinterpret_cast<const VxColor*>(static_cast<const uint8_t*>(context) + kPaletteInContext);
}

// The row of the bitmap that is written as row `row`: one of view 4 comes out top down.
inline int32_t TIFRowToFetch(const BitmapHandle* bitmap, int32_t row) {
  return bitmap->viewPerspective == kViewBottomUp ? bitmap->height - row - 1 : row;
}
