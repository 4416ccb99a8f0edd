// Palettes of bitmaps: kept beside the pixels, the default ones, and the test for grey.

#include "BitmapPalette.h"

#include "BitmapStore.h"

#include <cstring>

namespace kernel {
namespace {

constexpr uint32_t kCubeSide = 6;
constexpr uint32_t kCubeEntries = kCubeSide * kCubeSide * kCubeSide;
constexpr uint32_t kCubeStep = 255 / (kCubeSide - 1);

VxColor Gray(uint32_t value) {
  const auto level = static_cast<uint8_t>(value);
  return {level, level, level, 0};
}

void FillCube(VxColor* palette) {
  for (uint32_t i = 0; i < kCubeEntries; ++i) {
    palette[i].blue = static_cast<uint8_t>(i % kCubeSide * kCubeStep);
    palette[i].green = static_cast<uint8_t>(i / kCubeSide % kCubeSide * kCubeStep);
    palette[i].red = static_cast<uint8_t>(i / (kCubeSide * kCubeSide) * kCubeStep);
    palette[i].reserved = 0;
  }
  // The cube has black and white already: the greys divide what lies between.
  constexpr uint32_t kGrays = kPaletteEntries - kCubeEntries;
  for (uint32_t i = 0; i < kGrays; ++i) {
    palette[kCubeEntries + i] = Gray((255 * (i + 1) + (kGrays + 1) / 2) / (kGrays + 1));
  }
}

int32_t ClassifyPalette(const VxColor* palette, uint32_t count) {
  bool ramp = true;
  for (uint32_t i = 0; i < count; ++i) {
    if (palette[i].red != palette[i].green || palette[i].green != palette[i].blue) {
      return 0;
    }
    ramp = ramp && palette[i].blue == RampEntry(i, count);
  }
  return ramp ? 1 : 2;
}

} // namespace
} // namespace kernel

int32_t krnBitmapSetPalette(BitmapHandle* bitmap, const VxColor* palette, uint32_t count) {
  if (bitmap == nullptr || palette == nullptr) {
    return -13;
  }
  const uint32_t kept = count < kPaletteEntries ? count : uint32_t{kPaletteEntries};
  kernel::PixelStore* store = kernel::FindStore(bitmap);
  if (store != nullptr) {
    std::memcpy(store->palette, palette, kept * sizeof(VxColor));
    store->paletteCount = kept;
  }
  bitmap->colorsUsed = kept;
  return 1;
}

const VxColor* krnBitmapPalette(const BitmapHandle* bitmap, uint32_t* count) {
  const kernel::PixelStore* store = kernel::FindStore(bitmap);
  const uint32_t kept = store != nullptr ? store->paletteCount : 0;
  if (count != nullptr) {
    *count = kept;
  }
  return kept != 0 ? store->palette : nullptr;
}

int32_t krnDefaultPalette(VxColor* palette, int32_t bitsPerPixel) {
  if (palette == nullptr) {
    return -13;
  }
  if (bitsPerPixel >= 8) {
    kernel::FillCube(palette);
    return 1;
  }
  std::memset(palette, 0, kPaletteEntries * sizeof(VxColor));
  const uint32_t count = bitsPerPixel > 0 ? 1u << bitsPerPixel : 0;
  for (uint32_t i = 0; i < count; ++i) {
    palette[i] = kernel::Gray(kernel::RampEntry(i, count));
  }
  return 1;
}

int32_t krnBitmapIsGray(const BitmapHandle* bitmap) {
  if (bitmap == nullptr) {
    return 0;
  }
  uint32_t count = 0;
  const VxColor* palette = bitmap->bitsPerPixel <= 8 ? krnBitmapPalette(bitmap, &count) : nullptr;
  if (palette == nullptr) {
    return bitmap->order == kOrderGray ? 1 : 0;
  }
  return kernel::ClassifyPalette(palette, count);
}
