// Conversion of bitmaps as loads leave them. One small loop for each layout.

#include "toolkit/PagePicture.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "toolkit/DeepGray.h"
#include "toolkit/Failure.h"

#include <vxtif/results.h>

namespace toolkit {
namespace {

constexpr uint32_t kFull16 = 65535;

uint16_t LoadWord(const uint8_t* bytes) {
  uint16_t word = 0;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

void StoreWord(uint8_t* bytes, uint32_t value) {
  const auto word = static_cast<uint16_t>(value);
  std::memcpy(bytes, &word, sizeof word);
}

Image NewPicture(const LoadedPage& page, ImageKind kind, uint32_t bits) {
  Image image;
  AllocateImage(image, static_cast<uint32_t>(page.bitmap->width), static_cast<uint32_t>(page.bitmap->height), kind,
                bits);
  return image;
}

template <class RowWork> void ForEachRow(const LoadedPage& page, Image& image, RowWork work) {
  for (uint32_t y = 0; y < image.height; ++y) {
    work(page.bitmap.Row(static_cast<int32_t>(y)), image.Row(y));
  }
}

// ---- Up to 8 bits -------------------------------------------------------------------------------------------------

std::array<VxColor, 256> PaletteOf(const LoadedPage& page, uint32_t bits) {
  std::array<VxColor, 256> colours = {};
  uint32_t count = 0;
  const VxColor* palette = krnBitmapPalette(page.bitmap.Handle(), &count);
  if (palette != nullptr && count != 0) {
    std::copy_n(palette, count, colours.begin());
    return colours;
  }
  const uint32_t last = (1u << bits) - 1;
  for (uint32_t i = 0; i <= last; ++i) {
    const auto gray = static_cast<uint8_t>((i * 255 + last / 2) / last);
    colours[i] = {gray, gray, gray, 0};
  }
  return colours;
}

// Whether the first 2^bits colours are the ramp that the image formats take for granted, from black or from white.
bool IsRamp(const std::array<VxColor, 256>& colours, uint32_t bits, bool whiteFirst) {
  const uint32_t last = (1u << bits) - 1;
  for (uint32_t i = 0; i <= last; ++i) {
    const uint32_t gray = 255 * (whiteFirst ? last - i : i) / last;
    if (colours[i].red != gray || colours[i].green != gray || colours[i].blue != gray) {
      return false;
    }
  }
  return true;
}

Image PictureOfIndices(const LoadedPage& page) {
  const auto bits = static_cast<uint32_t>(page.bitmap->bitsPerPixel);
  const std::array<VxColor, 256> colours = PaletteOf(page, bits);
  const bool stored = bits == 1 || bits == 2 || bits == 4 || bits == 8;
  const bool whiteFirst = stored && IsRamp(colours, bits, true);
  if (whiteFirst || (stored && IsRamp(colours, bits, false))) {
    Image image = NewPicture(page, ImageKind::kGray, bits);
    const uint8_t flip = whiteFirst ? 0xFF : 0;
    ForEachRow(page, image, [&](const uint8_t* from, uint8_t* to) {
      for (size_t i = 0; i < image.rowBytes; ++i) {
        to[i] = static_cast<uint8_t>(from[i] ^ flip);
      }
    });
    return image;
  }
  // Depths that image files do not know go into bytes.
  Image image = NewPicture(page, ImageKind::kPalette, stored ? bits : 8);
  for (uint32_t i = 0; i < 1u << image.bits; ++i) {
    image.palette.push_back({colours[i].red, colours[i].green, colours[i].blue});
  }
  ForEachRow(page, image, [&](const uint8_t* from, uint8_t* to) {
    if (stored) {
      std::memcpy(to, from, image.rowBytes);
    } else {
      UnpackSamples(from, to, image.width, bits);
    }
  });
  const bool gray = std::all_of(image.palette.begin(), image.palette.end(),
                                [](const auto& c) { return c[0] == c[1] && c[1] == c[2]; });
  return gray ? ExpandPalette(image) : image;
}

// ---- Deep grey ----------------------------------------------------------------------------------------------------

struct ToneRange {
  uint32_t low;
  uint32_t high;
  bool whiteFirst;
};

ToneRange RangeOf(const LoadedPage& page, uint32_t bits) {
  const BitmapHandle& bitmap = *page.bitmap.Handle();
  const uint32_t full = bits >= 32 ? UINT32_MAX : (1u << bits) - 1;
  ToneRange range = {0, full, page.layout.photometric == 0};
  if (bits == 32) {
    range.low = static_cast<uint32_t>(bitmap.minValue);
    range.high = static_cast<uint32_t>(bitmap.maxValue);
  } else if (page.layout.maxSample != 0) {
    range.low = page.layout.minSample;
    range.high = std::min(page.layout.maxSample, full);
  } else if (bitmap.highBit > 0 && static_cast<uint32_t>(bitmap.highBit) + 1 < bits && bitmap.highBit > bitmap.lowBit) {
    range.high = (1u << (bitmap.highBit + 1)) - 1;
  }
  if (range.low >= range.high) {
    range.low = 0;
    range.high = full;
  }
  return range;
}

uint32_t Toned(uint32_t sample, const ToneRange& range) {
  const uint32_t cut = std::clamp(sample, range.low, range.high) - range.low;
  const uint64_t span = range.high - range.low;
  const auto tone = static_cast<uint32_t>((uint64_t{cut} * kFull16 + span / 2) / span);
  return range.whiteFirst ? kFull16 - tone : tone;
}

// The tone table that the file brings: 8-bit colours by sample.
Image PictureOfToneTable(const LoadedPage& page, uint32_t bits) {
  const BitmapHandle& bitmap = *page.bitmap.Handle();
  const auto* table = static_cast<const VxColor*>(krnGlobalPointer(bitmap.lookupTable));
  const auto entries = static_cast<uint32_t>(
      std::min<size_t>(bitmap.lookupTableLength, krnGlobalSize(bitmap.lookupTable) / sizeof(VxColor)));
  const uint32_t shift = bitmap.lowBit > 0 && bitmap.lowBit < 16 ? static_cast<uint32_t>(bitmap.lowBit) : 0;
  Image image = NewPicture(page, ImageKind::kRgb, 8);
  std::vector<uint32_t> samples(image.width);
  ForEachRow(page, image, [&](const uint8_t* from, uint8_t* to) {
    ReadGrayRow(from, image.width, bits, samples.data());
    for (const uint32_t sample : samples) {
      const VxColor colour = table[std::min(sample >> shift, entries - 1)];
      *to++ = colour.red;
      *to++ = colour.green;
      *to++ = colour.blue;
    }
  });
  return image;
}

Image PictureOfDeepGray(const LoadedPage& page) {
  const auto bits = static_cast<uint32_t>(page.bitmap->bitsPerPixel);
  // Tables that the library builds from a tone range keep 8 bits of it only; the range itself says more.
  if (page.layout.hasToneTable && page.bitmap->lookupTableLength != 0 && page.bitmap->lookupTable != 0) {
    return PictureOfToneTable(page, bits);
  }
  const ToneRange range = RangeOf(page, bits);
  std::vector<uint16_t> tones;
  if (bits <= 16) {
    tones.resize(size_t{1} << bits);
    for (uint32_t i = 0; i < tones.size(); ++i) {
      tones[i] = static_cast<uint16_t>(Toned(i, range));
    }
  }
  Image image = NewPicture(page, ImageKind::kGray, 16);
  std::vector<uint32_t> samples(image.width);
  ForEachRow(page, image, [&](const uint8_t* from, uint8_t* to) {
    ReadGrayRow(from, image.width, bits, samples.data());
    for (uint32_t x = 0; x < image.width; ++x) {
      StoreWord(to + 2 * size_t{x}, tones.empty() ? Toned(samples[x], range) : tones[samples[x]]);
    }
  });
  return image;
}

// ---- Colours ------------------------------------------------------------------------------------------------------

// Words of 5 bits a colour, blue in the low bits.
Image PictureOfColourWords(const LoadedPage& page) {
  Image image = NewPicture(page, ImageKind::kRgb, 8);
  const auto widen = [](uint32_t five) { return static_cast<uint8_t>((five * 255 + 15) / 31); };
  ForEachRow(page, image, [&](const uint8_t* from, uint8_t* to) {
    for (uint32_t x = 0; x < image.width; ++x, from += 2, to += 3) {
      const uint32_t word = LoadWord(from);
      to[0] = widen(word >> 10 & 31);
      to[1] = widen(word >> 5 & 31);
      to[2] = widen(word & 31);
    }
  });
  return image;
}

// Three or four samples of 8 or 16 bits, with `step` samples from pixel to pixel in the bitmap.
Image PictureOfSamples(const LoadedPage& page, ImageKind kind, uint32_t bits, uint32_t step) {
  Image image = NewPicture(page, kind, bits);
  const uint32_t channels = ChannelsOf(kind);
  const size_t sampleBytes = bits / 8;
  const size_t sourceStep = step * sampleBytes;
  const size_t targetStep = channels * sampleBytes;
  const bool blueFirst = page.bitmap->order == kOrderBlueFirst;
  const size_t red = blueFirst ? 2 * sampleBytes : 0;
  const size_t blue = blueFirst ? 0 : 2 * sampleBytes;
  ForEachRow(page, image, [&](const uint8_t* from, uint8_t* to) {
    if (!blueFirst && sourceStep == targetStep) {
      std::memcpy(to, from, image.rowBytes);
      return;
    }
    for (uint32_t x = 0; x < image.width; ++x, from += sourceStep, to += targetStep) {
      std::memcpy(to, from, targetStep);
      std::memcpy(to, from + red, sampleBytes);
      std::memcpy(to + 2 * sampleBytes, from + blue, sampleBytes);
    }
  });
  return image;
}

// Grey or palette pixels with their alpha, expanded to four bytes by the load.
Image PictureOfKeptAlpha(const LoadedPage& page) {
  if (page.layout.hasColorMap) {
    return PictureOfSamples(page, ImageKind::kRgba, 8, 4);
  }
  Image image = NewPicture(page, ImageKind::kGrayAlpha, 8);
  // Without a colour map the values come as they stand in the file.
  const uint8_t flip = page.layout.photometric == 0 ? 0xFF : 0;
  ForEachRow(page, image, [&](const uint8_t* from, uint8_t* to) {
    for (uint32_t x = 0; x < image.width; ++x, from += 4, to += 2) {
      to[0] = static_cast<uint8_t>(from[0] ^ flip);
      to[1] = from[3];
    }
  });
  return image;
}

// Two samples of 8 bits that stand in 16-bit pixels.
Image PictureOfBytePairs(const LoadedPage& page) {
  Image image = NewPicture(page, ImageKind::kGrayAlpha, 8);
  const uint8_t flip = page.layout.photometric == 0 ? 0xFF : 0;
  ForEachRow(page, image, [&](const uint8_t* from, uint8_t* to) {
    for (uint32_t x = 0; x < image.width; ++x, from += 2, to += 2) {
      to[0] = static_cast<uint8_t>(from[0] ^ flip);
      to[1] = from[1];
    }
  });
  return image;
}

// Any other depths of samples: a bit stream for each pixel, brought to 16 bits a sample.
Image PictureOfBitStream(const LoadedPage& page) {
  const SampleLayout& layout = page.layout;
  const uint32_t samples = std::min<uint32_t>(layout.samplesPerPixel, kMaxSamples);
  const uint32_t colours = samples >= 3 ? 3 : 1;
  Image image = NewPicture(page, colours == 3 ? ImageKind::kRgb : ImageKind::kGray, 16);
  const auto depth = static_cast<uint32_t>(page.bitmap->bitsPerPixel);
  const auto rowBytes = static_cast<uint64_t>(page.bitmap->bytesPerLine);
  const bool lowNibbleFirst = depth == 12;
  // Samples whose bits together are more than the pixel's depth run past the row: there is nothing.
  const auto bitAt = [&](const uint8_t* row, uint64_t position) -> uint32_t {
    uint64_t byte = position / 8;
    uint64_t shift = 7 - position % 8;
    if (lowNibbleFirst) {
      // Pixel bits from the highest down, in nibbles: an even pixel holds its high nibble in the low half of its
      // second byte.
      static constexpr uint8_t kByte[] = {1, 0, 0, 2, 2, 1};
      static constexpr uint8_t kShift[] = {0, 4, 0, 4, 0, 4};
      const auto nibble = static_cast<size_t>(position % 24 / 4);
      byte = position / 24 * 3 + kByte[nibble];
      shift = kShift[nibble] + 3 - position % 4;
    }
    return byte < rowBytes ? row[byte] >> shift & 1u : 0u;
  };
  ForEachRow(page, image, [&](const uint8_t* from, uint8_t* to) {
    for (uint32_t x = 0; x < image.width; ++x) {
      uint64_t position = uint64_t{x} * depth;
      for (uint32_t s = 0; s < colours; ++s, to += 2) {
        const uint32_t bits = std::clamp<uint32_t>(layout.bitsPerSample[s], 1, 32);
        uint64_t value = 0;
        for (uint32_t b = 0; b < bits; ++b) {
          value = value << 1 | bitAt(from, position + b);
        }
        const uint64_t full = (uint64_t{1} << bits) - 1;
        StoreWord(to, static_cast<uint32_t>((value * kFull16 + full / 2) / full));
        position += bits;
      }
    }
  });
  return image;
}

Image PictureOfColours(const LoadedPage& page) {
  const SampleLayout& layout = page.layout;
  const int32_t depth = page.bitmap->bitsPerPixel;
  const bool alpha = layout.extraSampleCount != 0;
  switch (depth) {
  case 16:
    return layout.samplesPerPixel == 2 ? PictureOfBytePairs(page) : PictureOfColourWords(page);
  case 24:
    return PictureOfSamples(page, ImageKind::kRgb, 8, 3);
  case 32:
    return PictureOfSamples(page, alpha ? ImageKind::kRgba : ImageKind::kRgb, 8, 4);
  case 48:
    return PictureOfSamples(page, ImageKind::kRgb, 16, 3);
  default:
    // Merged planes of 16 bits come without their alpha.
    return layout.separatePlanes ? PictureOfSamples(page, ImageKind::kRgb, 16, 3)
                                 : PictureOfSamples(page, alpha ? ImageKind::kRgba : ImageKind::kRgb, 16, 4);
  }
}

bool HasEvenSamples(const SampleLayout& layout, int32_t depth) {
  const uint32_t bits = layout.bitsPerSample[0];
  switch (depth) {
  case 16:
    return (layout.samplesPerPixel == 2 && bits == 8) || layout.totalBits == 16;
  case 24:
  case 32:
    return bits == 8;
  case 48:
  case 64:
    return bits == 16;
  default:
    return false;
  }
}

Image Convert(const LoadedPage& page) {
  const int32_t depth = page.bitmap->bitsPerPixel;
  const SampleLayout& layout = page.layout;
  if (depth <= 8) {
    return PictureOfIndices(page);
  }
  if (page.keptAlpha) {
    return PictureOfKeptAlpha(page);
  }
  // One sample that is not made of colours, whatever the photometric value says: words of colours are 16 bits deep.
  const bool oneSample = layout.samplesPerPixel <= 1 || page.bitmap->order == kOrderGray;
  const bool colourWords = depth == 16 && layout.photometric == 2;
  if (oneSample && !colourWords && depth <= 32) {
    return PictureOfDeepGray(page);
  }
  return HasEvenSamples(layout, depth) ? PictureOfColours(page) : PictureOfBitStream(page);
}

} // namespace

Image PictureOfPage(const LoadedPage& page) {
  if (krnBitmapPixels(page.bitmap.Handle()) == nullptr) {
    throw Failure("", "convert", kResultNoBitmap);
  }
  Image image = Convert(page);
  image.xResolution = page.bitmap->xResolution;
  image.yResolution = page.bitmap->yResolution;
  return ApplyView(std::move(image), page.bitmap->viewPerspective);
}

Image PictureOfRegion(const LoadedPage& page, const Region& region) {
  const Image whole = PictureOfPage(page);
  const int64_t right = int64_t{region.left} + region.width;
  const int64_t bottom = int64_t{region.top} + region.height;
  const auto left = static_cast<uint32_t>(std::clamp<int64_t>(region.left, 0, whole.width));
  const auto top = static_cast<uint32_t>(std::clamp<int64_t>(region.top, 0, whole.height));
  return CropImage(whole, left, top, static_cast<uint32_t>(std::clamp<int64_t>(right - left, 0, whole.width)),
                   static_cast<uint32_t>(std::clamp<int64_t>(bottom - top, 0, whole.height)));
}

} // namespace toolkit
