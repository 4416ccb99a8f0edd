// Rows of any bitmap in a few common forms: what the row service works from, whatever depth and order the source has.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include <vxkernel/bitmap.h>

namespace toolkit {

enum class PixelKind {
  kIndexed,     // 1 to 8 bits with a palette; grey without one
  kDeepGray,    // one sample of 9 to 32 bits
  kColourWords, // 16-bit words of 5 bits a colour, blue in the low bits
  kSamples8,    // three or four bytes
  kSamples16,   // three or four 16-bit samples
  kUnknown      // no form that the toolkit has
};

PixelKind KindOfBitmap(const BitmapHandle& bitmap);

// The colours of an indexed bitmap: its own, or the grey ramp of its depth. Entries beyond are black.
std::array<VxColor, kPaletteEntries> ColoursOfBitmap(const BitmapHandle& bitmap);

// Grey of the plain ramp, black first, that the kernel takes for granted.
uint8_t RampGray(uint32_t index, uint32_t entries);

inline uint32_t Luminance(uint32_t red, uint32_t green, uint32_t blue) {
  return (19595 * red + 38470 * green + 7471 * blue + 32768) >> 16;
}

class BitmapRows {
public:
  explicit BitmapRows(const BitmapHandle* bitmap);

  PixelKind Kind() const { return kind_; }
  bool IsGray() const; // every pixel is grey by the bitmap's form, or by its palette
  const std::array<VxColor, kPaletteEntries>& Colours() const { return colours_; }

  // Fetches a row of the bitmap; false when it is not there. The calls below convert the row fetched last.
  bool Fetch(int32_t row);
  const uint8_t* Bytes() const { return row_.data(); }

  void ToIndices(uint8_t* out) const; // kIndexed: one byte a pixel
  void ToGray8(uint8_t* out) const;   // one byte a pixel
  void ToRgb8(uint8_t* out) const;    // red, green, blue bytes
  void ToRgba8(uint8_t* out) const;   // with alpha, 255 when the bitmap has none
  void ToGray16(uint32_t* out) const; // one number from 0 to 65535 a pixel
  void ToRgba16(uint16_t* out) const; // red, green, blue, alpha words

private:
  void PrepareTones();
  uint32_t Tone(uint32_t sample) const;

  const BitmapHandle* bitmap_;
  PixelKind kind_;
  uint32_t width_;
  uint32_t bits_;
  uint32_t channels_ = 1; // kSamples8 and kSamples16
  bool blueFirst_ = false;
  std::array<VxColor, kPaletteEntries> colours_ = {}; // kIndexed
  uint32_t low_ = 0;                                  // kDeepGray: samples of black and white
  uint32_t high_ = 65535;
  std::vector<uint16_t> tones_; // kDeepGray of up to 16 bits: 0 to 65535 by sample
  std::vector<uint8_t> row_;
  mutable std::vector<uint32_t> samples_;
  mutable std::vector<uint8_t> indices_;
};

} // namespace toolkit
