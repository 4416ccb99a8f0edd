// Bitmaps with known pixels for the tests of the host side.
#pragma once

#include <array>
#include <cstring>
#include <vector>

#include "toolkit/Bitmap.h"
#include "toolkit/DeepGray.h"
#include "toolkit/Image.h"

// Pixels as bitmaps hold them, a row of bytes each.
inline toolkit::Bitmap MakeBitmap(int32_t width, int32_t bits, uint32_t order,
                                  const std::vector<std::vector<uint8_t>>& rows) {
  toolkit::Bitmap bitmap;
  bitmap.Create(width, static_cast<int32_t>(rows.size()), bits, order);
  for (size_t y = 0; y < rows.size(); ++y) {
    std::memcpy(bitmap.Row(static_cast<int32_t>(y)), rows[y].data(), rows[y].size());
  }
  return bitmap;
}

inline std::vector<uint8_t> Words(const std::vector<uint16_t>& words) {
  std::vector<uint8_t> bytes(2 * words.size());
  std::memcpy(bytes.data(), words.data(), bytes.size());
  return bytes;
}

inline std::vector<uint8_t> Longs(const std::vector<uint32_t>& longs) {
  std::vector<uint8_t> bytes(4 * longs.size());
  std::memcpy(bytes.data(), longs.data(), bytes.size());
  return bytes;
}

inline std::vector<uint8_t> Packed(const std::vector<uint8_t>& samples, uint32_t bits) {
  std::vector<uint8_t> bytes((samples.size() * bits + 7) / 8);
  toolkit::PackSamples(samples.data(), bytes.data(), samples.size(), bits);
  return bytes;
}

inline std::vector<uint8_t> Twelve(const std::vector<uint32_t>& samples) {
  std::vector<uint8_t> bytes((samples.size() * 12 + 7) / 8);
  toolkit::WriteGrayRow(samples.data(), samples.size(), 12, bytes.data());
  return bytes;
}

// Colours are given blue, green, red, as palettes hold them.
inline void SetPalette(toolkit::Bitmap& bitmap, const std::vector<VxColor>& colours) {
  krnBitmapSetPalette(bitmap.Handle(), colours.data(), static_cast<uint32_t>(colours.size()));
}
