// Conversion of fetched rows, one loop for each form.

#include "toolkit/BitmapRows.h"

#include <algorithm>
#include <cstring>

#include "toolkit/DeepGray.h"
#include "toolkit/Image.h"

namespace toolkit {
namespace {

uint32_t LoadWord(const uint8_t* bytes) {
  uint16_t word = 0;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

uint8_t WidenFive(uint32_t five) {
  return static_cast<uint8_t>((five * 255 + 15) / 31);
}

// Calls `put` with the red, green, blue of each colour word.
template <class Put> void WalkColourWords(const uint8_t* row, size_t width, Put put) {
  for (size_t x = 0; x < width; ++x, row += 2) {
    const uint32_t word = LoadWord(row);
    put(WidenFive(word >> 10 & 31), WidenFive(word >> 5 & 31), WidenFive(word & 31));
  }
}

// Calls `put` with the red, green, blue, alpha samples of each pixel.
template <uint32_t kChannels, bool kBlueFirst, class Put> void WalkBytes(const uint8_t* row, size_t width, Put put) {
  for (size_t x = 0; x < width; ++x, row += kChannels) {
    put(row[kBlueFirst ? 2 : 0], row[1], row[kBlueFirst ? 0 : 2], kChannels == 4 ? row[kChannels - 1] : uint8_t{255});
  }
}

template <uint32_t kChannels, bool kBlueFirst, class Put> void WalkWords(const uint8_t* row, size_t width, Put put) {
  for (size_t x = 0; x < width; ++x, row += size_t{2} * kChannels) {
    put(LoadWord(row + (kBlueFirst ? 4 : 0)), LoadWord(row + 2), LoadWord(row + (kBlueFirst ? 0 : 4)),
        kChannels == 4 ? LoadWord(row + 2 * (kChannels - 1)) : 65535u);
  }
}

template <class Put> void WalkSamples8(const uint8_t* row, size_t width, uint32_t channels, bool blueFirst, Put put) {
  if (channels == 3) {
    blueFirst ? WalkBytes<3, true>(row, width, put) : WalkBytes<3, false>(row, width, put);
  } else {
    blueFirst ? WalkBytes<4, true>(row, width, put) : WalkBytes<4, false>(row, width, put);
  }
}

template <class Put> void WalkSamples16(const uint8_t* row, size_t width, uint32_t channels, bool blueFirst, Put put) {
  if (channels == 3) {
    blueFirst ? WalkWords<3, true>(row, width, put) : WalkWords<3, false>(row, width, put);
  } else {
    blueFirst ? WalkWords<4, true>(row, width, put) : WalkWords<4, false>(row, width, put);
  }
}

} // namespace

uint8_t RampGray(uint32_t index, uint32_t entries) {
  return static_cast<uint8_t>(((entries - 1) / 2 + 255 * index) / (entries - 1));
}

PixelKind KindOfBitmap(const BitmapHandle& bitmap) {
  const int32_t bits = bitmap.bitsPerPixel;
  if (bits >= 1 && bits <= 8) {
    return PixelKind::kIndexed;
  }
  const bool gray = bitmap.order == kOrderGray;
  if ((gray && bits <= 32) || bits == 12) {
    return PixelKind::kDeepGray;
  }
  switch (bits) {
  case 16:
    return PixelKind::kColourWords;
  case 24:
  case 32:
    return PixelKind::kSamples8;
  case 48:
  case 64:
    return PixelKind::kSamples16;
  default:
    return PixelKind::kUnknown;
  }
}

std::array<VxColor, kPaletteEntries> ColoursOfBitmap(const BitmapHandle& bitmap) {
  std::array<VxColor, kPaletteEntries> colours = {};
  uint32_t count = 0;
  const VxColor* palette = krnBitmapPalette(&bitmap, &count);
  if (palette != nullptr && count != 0) {
    std::copy_n(palette, std::min<uint32_t>(count, kPaletteEntries), colours.begin());
    return colours;
  }
  const uint32_t entries = 1u << bitmap.bitsPerPixel;
  for (uint32_t i = 0; i < entries; ++i) {
    const uint8_t gray = RampGray(i, entries);
    colours[i] = {gray, gray, gray, 0};
  }
  return colours;
}

BitmapRows::BitmapRows(const BitmapHandle* bitmap)
    : bitmap_(bitmap), kind_(KindOfBitmap(*bitmap)), width_(static_cast<uint32_t>(std::max(int32_t{bitmap->width}, 0))),
      bits_(static_cast<uint32_t>(bitmap->bitsPerPixel)), blueFirst_(bitmap->order == kOrderBlueFirst) {
  channels_ = bits_ == 24 || bits_ == 48 ? 3 : 4;
  row_.resize((size_t{width_} * bits_ + 7) / 8);
  if (kind_ == PixelKind::kIndexed) {
    colours_ = ColoursOfBitmap(*bitmap);
    indices_.resize(width_);
  } else if (kind_ == PixelKind::kDeepGray) {
    samples_.resize(width_);
    PrepareTones();
  }
}

// Black and white are the ends of the range that the bitmap tells, or of the depth.
void BitmapRows::PrepareTones() {
  const uint32_t full = bits_ >= 32 ? UINT32_MAX : (1u << bits_) - 1;
  high_ = full;
  const auto lowest = static_cast<uint32_t>(bitmap_->minValue);
  const auto highest = static_cast<uint32_t>(bitmap_->maxValue);
  if (lowest < highest && highest <= full) {
    low_ = lowest;
    high_ = highest;
  } else if (bitmap_->highBit > 0 && static_cast<uint32_t>(bitmap_->highBit) + 1 < bits_) {
    high_ = (1u << (bitmap_->highBit + 1)) - 1;
  }
  if (bits_ > 16) {
    return;
  }
  const bool table = (bitmap_->flags & kBitmapHasLookupTable) != 0 && bitmap_->lookupTableLength != 0;
  const auto* colours = table ? static_cast<const VxColor*>(krnGlobalPointer(bitmap_->lookupTable)) : nullptr;
  const size_t entries =
      std::min(size_t{bitmap_->lookupTableLength}, krnGlobalSize(bitmap_->lookupTable) / sizeof(VxColor));
  tones_.resize(size_t{full} + 1);
  for (uint32_t i = 0; i <= full; ++i) {
    if (colours != nullptr && entries != 0) {
      const VxColor colour = colours[std::min<size_t>(i, entries - 1)];
      tones_[i] = static_cast<uint16_t>(Luminance(colour.red, colour.green, colour.blue) * 257);
    } else {
      tones_[i] = static_cast<uint16_t>(Tone(i));
    }
  }
}

uint32_t BitmapRows::Tone(uint32_t sample) const {
  const uint64_t span = uint64_t{high_} - low_;
  return static_cast<uint32_t>((uint64_t{std::clamp(sample, low_, high_) - low_} * 65535 + span / 2) / span);
}

bool BitmapRows::IsGray() const {
  if (kind_ != PixelKind::kIndexed) {
    return kind_ == PixelKind::kDeepGray;
  }
  return std::all_of(colours_.begin(), colours_.begin() + (ptrdiff_t{1} << bits_),
                     [](const VxColor& c) { return c.red == c.green && c.green == c.blue; });
}

bool BitmapRows::Fetch(int32_t row) {
  return krnBitmapGetRow(bitmap_, row_.data(), row, static_cast<int32_t>(row_.size())) ==
         static_cast<int32_t>(row_.size());
}

void BitmapRows::ToIndices(uint8_t* out) const {
  UnpackSamples(row_.data(), out, width_, bits_);
}

void BitmapRows::ToGray8(uint8_t* out) const {
  const auto put = [&](uint32_t red, uint32_t green, uint32_t blue) {
    *out++ = static_cast<uint8_t>(Luminance(red, green, blue));
  };
  switch (kind_) {
  case PixelKind::kIndexed: {
    std::array<uint8_t, kPaletteEntries> grays = {};
    for (size_t i = 0; i < grays.size(); ++i) {
      grays[i] = static_cast<uint8_t>(Luminance(colours_[i].red, colours_[i].green, colours_[i].blue));
    }
    ToIndices(indices_.data());
    for (size_t x = 0; x < width_; ++x) {
      out[x] = grays[indices_[x]];
    }
    break;
  }
  case PixelKind::kDeepGray:
    ReadGrayRow(row_.data(), width_, bits_, samples_.data());
    for (size_t x = 0; x < width_; ++x) {
      out[x] = static_cast<uint8_t>((tones_.empty() ? Tone(samples_[x]) : tones_[samples_[x]]) >> 8);
    }
    break;
  case PixelKind::kColourWords:
    WalkColourWords(row_.data(), width_, put);
    break;
  case PixelKind::kSamples8:
    WalkSamples8(row_.data(), width_, channels_, blueFirst_,
                 [&](uint32_t red, uint32_t green, uint32_t blue, uint32_t) { put(red, green, blue); });
    break;
  default:
    WalkSamples16(row_.data(), width_, channels_, blueFirst_,
                  [&](uint32_t red, uint32_t green, uint32_t blue, uint32_t) { put(red >> 8, green >> 8, blue >> 8); });
    break;
  }
}

void BitmapRows::ToRgb8(uint8_t* out) const {
  const auto put = [&](uint32_t red, uint32_t green, uint32_t blue) {
    out[0] = static_cast<uint8_t>(red);
    out[1] = static_cast<uint8_t>(green);
    out[2] = static_cast<uint8_t>(blue);
    out += 3;
  };
  switch (kind_) {
  case PixelKind::kIndexed:
    ToIndices(indices_.data());
    for (const uint8_t index : indices_) {
      put(colours_[index].red, colours_[index].green, colours_[index].blue);
    }
    break;
  case PixelKind::kDeepGray:
    ToGray8(out);
    for (size_t x = width_; x-- > 0;) {
      const uint8_t gray = out[x];
      out[3 * x] = out[3 * x + 1] = out[3 * x + 2] = gray;
    }
    break;
  case PixelKind::kColourWords:
    WalkColourWords(row_.data(), width_, put);
    break;
  case PixelKind::kSamples8:
    WalkSamples8(row_.data(), width_, channels_, blueFirst_,
                 [&](uint32_t red, uint32_t green, uint32_t blue, uint32_t) { put(red, green, blue); });
    break;
  default:
    WalkSamples16(row_.data(), width_, channels_, blueFirst_,
                  [&](uint32_t red, uint32_t green, uint32_t blue, uint32_t) { put(red >> 8, green >> 8, blue >> 8); });
    break;
  }
}

void BitmapRows::ToRgba8(uint8_t* out) const {
  const auto put = [&](uint32_t red, uint32_t green, uint32_t blue, uint32_t alpha) {
    out[0] = static_cast<uint8_t>(red);
    out[1] = static_cast<uint8_t>(green);
    out[2] = static_cast<uint8_t>(blue);
    out[3] = static_cast<uint8_t>(alpha);
    out += 4;
  };
  if (kind_ == PixelKind::kSamples8) {
    WalkSamples8(row_.data(), width_, channels_, blueFirst_, put);
  } else if (kind_ == PixelKind::kSamples16) {
    WalkSamples16(row_.data(), width_, channels_, blueFirst_,
                  [&](uint32_t red, uint32_t green, uint32_t blue, uint32_t alpha) {
                    put(red >> 8, green >> 8, blue >> 8, alpha >> 8);
                  });
  } else {
    ToRgb8(out);
    for (size_t x = width_; x-- > 0;) {
      const uint8_t colour[3] = {out[3 * x], out[3 * x + 1], out[3 * x + 2]};
      std::memcpy(out + 4 * x, colour, sizeof colour);
      out[4 * x + 3] = 255;
    }
  }
}

void BitmapRows::ToGray16(uint32_t* out) const {
  if (kind_ == PixelKind::kDeepGray) {
    ReadGrayRow(row_.data(), width_, bits_, out);
    for (size_t x = 0; x < width_; ++x) {
      out[x] = tones_.empty() ? Tone(out[x]) : tones_[out[x]];
    }
  } else if (kind_ == PixelKind::kSamples16) {
    WalkSamples16(row_.data(), width_, channels_, blueFirst_,
                  [&](uint32_t red, uint32_t green, uint32_t blue, uint32_t) {
                    *out++ = static_cast<uint32_t>(
                        (uint64_t{19595} * red + uint64_t{38470} * green + uint64_t{7471} * blue + 32768) >> 16);
                  });
  } else {
    std::vector<uint8_t> grays(width_);
    ToGray8(grays.data());
    for (size_t x = 0; x < width_; ++x) {
      out[x] = grays[x] * 257u;
    }
  }
}

void BitmapRows::ToRgba16(uint16_t* out) const {
  const auto put = [&](uint32_t red, uint32_t green, uint32_t blue, uint32_t alpha) {
    out[0] = static_cast<uint16_t>(red);
    out[1] = static_cast<uint16_t>(green);
    out[2] = static_cast<uint16_t>(blue);
    out[3] = static_cast<uint16_t>(alpha);
    out += 4;
  };
  if (kind_ == PixelKind::kSamples16) {
    WalkSamples16(row_.data(), width_, channels_, blueFirst_, put);
  } else if (kind_ == PixelKind::kDeepGray) {
    std::vector<uint32_t> grays(width_);
    ToGray16(grays.data());
    for (const uint32_t gray : grays) {
      put(gray, gray, gray, 65535);
    }
  } else {
    std::vector<uint8_t> bytes(size_t{4} * width_);
    ToRgba8(bytes.data());
    for (size_t x = 0; x < width_; ++x) {
      const uint8_t* pixel = bytes.data() + 4 * x;
      put(pixel[0] * 257u, pixel[1] * 257u, pixel[2] * 257u, pixel[3] * 257u);
    }
  }
}

} // namespace toolkit
