// CMYK rows to red, green, blue: a colour is what black leaves of white, less the ink. Given rows as the strip reader
// decoded them, or four planes of a page that is stored in planes; gives back packed pixels of 3 samples, or of 4 with
// the extra one. The row stage and the merging of planes use it.

#include <algorithm>
#include <cstring>
#include <limits>

#include "Tif/ColorConversion.h"
#include "Tif/PlaneMerge.h"

namespace {

// Pixels that are converted together, between local buffers: reading and writing the same row would keep the compiler
// from using vector instructions.
constexpr uint32_t kBatch = 64;

// A pixel of four samples as one word, C in the lowest bits.
template <typename Sample> struct CmykWord;
template <> struct CmykWord<uint8_t> { using Type = uint32_t; };
template <> struct CmykWord<uint16_t> { using Type = uint64_t; };

template <typename Sample> constexpr unsigned kSampleBits = 8 * sizeof(Sample);

template <typename Sample> Sample Uninked(Sample white, Sample ink) {
  return static_cast<Sample>(std::max(white, ink) - ink);
}

// Leaves red, green, blue in the lower three samples of each word; the upper one comes to hold no meaning.
template <typename Sample> void ConvertBatch(typename CmykWord<Sample>::Type (&words)[kBatch]) {
  using Word = typename CmykWord<Sample>::Type;
  constexpr unsigned kBits = kSampleBits<Sample>;
  Word whites[kBatch];
  for (uint32_t i = 0; i < kBatch; ++i) {
    Word black = words[i] >> (3 * kBits);
    black |= black << kBits;
    black |= black << (2 * kBits);
    whites[i] = static_cast<Word>(~black);
  }
  Sample inks[4 * kBatch];
  Sample white[4 * kBatch];
  std::memcpy(inks, words, sizeof inks);
  std::memcpy(white, whites, sizeof white);
  for (uint32_t i = 0; i < 4 * kBatch; ++i) {
    inks[i] = Uninked(white[i], inks[i]);
  }
  std::memcpy(words, inks, sizeof inks);
}

// Squeezes the upper sample out of every word: four words become three.
template <typename Word> void PackBatch(const Word (&words)[kBatch], Word (&packed)[kBatch / 4 * 3]) {
  constexpr unsigned kBits = sizeof(Word) * 2;
  constexpr Word kColors = std::numeric_limits<Word>::max() >> kBits;
  for (uint32_t i = 0; i < kBatch / 4; ++i) {
    const Word a = words[4 * i] & kColors;
    const Word b = words[4 * i + 1] & kColors;
    const Word c = words[4 * i + 2] & kColors;
    const Word d = words[4 * i + 3];
    packed[3 * i] = a | b << (3 * kBits);
    packed[3 * i + 1] = b >> kBits | c << (2 * kBits);
    packed[3 * i + 2] = c >> (2 * kBits) | d << kBits;
  }
}

// Pixels of four samples and nothing else.
template <typename Sample> void ConvertPlain(uint8_t* row, uint64_t pixels) {
  using Word = typename CmykWord<Sample>::Type;
  constexpr size_t kPixelBytes = 4 * sizeof(Sample);
  constexpr size_t kResultBytes = 3 * sizeof(Sample);
  Word words[kBatch] = {};
  Word packed[kBatch / 4 * 3];
  for (uint64_t done = 0; done < pixels; done += kBatch) {
    const size_t count = static_cast<size_t>(std::min<uint64_t>(kBatch, pixels - done));
    std::memcpy(words, row + done * kPixelBytes, count * kPixelBytes);
    ConvertBatch<Sample>(words);
    PackBatch(words, packed);
    std::memcpy(row + done * kResultBytes, packed, count * kResultBytes);
  }
}

template <typename Sample> Sample LoadSample(const uint8_t* bytes) {
  Sample sample;
  std::memcpy(&sample, bytes, sizeof sample);
  return sample;
}

template <typename Sample> void StoreSample(uint8_t* bytes, Sample sample) {
  std::memcpy(bytes, &sample, sizeof sample);
}

// Pixels with samples behind the four, `stepBytes` apart.
template <typename Sample, bool kKeepExtra> void ConvertWide(uint8_t* row, uint64_t pixels, uint64_t stepBytes) {
  constexpr size_t kSize = sizeof(Sample);
  constexpr Sample kFull = std::numeric_limits<Sample>::max();
  const uint8_t* source = row;
  uint8_t* target = row;
  for (uint64_t i = 0; i < pixels; ++i) {
    const auto white = static_cast<Sample>(kFull - LoadSample<Sample>(source + 3 * kSize));
    const Sample red = Uninked(white, LoadSample<Sample>(source));
    const Sample green = Uninked(white, LoadSample<Sample>(source + kSize));
    const Sample blue = Uninked(white, LoadSample<Sample>(source + 2 * kSize));
    if constexpr (kKeepExtra) {
      StoreSample(target + 3 * kSize, LoadSample<Sample>(source + 4 * kSize));
    }
    StoreSample(target, red);
    StoreSample(target + kSize, green);
    StoreSample(target + 2 * kSize, blue);
    target += kKeepExtra ? 4 * kSize : 3 * kSize;
    source += stepBytes;
  }
}

// Whole pixels within the row, `pixels` at the most.
uint64_t PixelsInRow(uint64_t pixels, uint64_t pixelBytes, uint64_t stepBytes, uint64_t rowBytes) {
  if (rowBytes < pixelBytes) {
    return 0;
  }
  return std::min(pixels, (rowBytes - pixelBytes) / stepBytes + 1);
}

template <typename Sample>
void ConvertRow(uint8_t* row, uint32_t pixels, bool keepExtra, uint32_t skip, uint64_t rowBytes) {
  const uint64_t pixelBytes = (keepExtra ? 5 : 4) * sizeof(Sample);
  const uint64_t stepBytes = pixelBytes + uint64_t{skip} * sizeof(Sample);
  const uint64_t count = PixelsInRow(pixels, pixelBytes, stepBytes, rowBytes);
  if (keepExtra) {
    ConvertWide<Sample, true>(row, count, stepBytes);
  } else if (skip != 0) {
    ConvertWide<Sample, false>(row, count, stepBytes);
  } else {
    ConvertPlain<Sample>(row, count);
  }
}

template <typename Sample>
void GatherBatch(const uint8_t* const* planes, size_t first, size_t count,
                 typename CmykWord<Sample>::Type (&words)[kBatch]) {
  using Word = typename CmykWord<Sample>::Type;
  constexpr unsigned kBits = kSampleBits<Sample>;
  for (size_t i = 0; i < count; ++i) {
    const size_t at = (first + i) * sizeof(Sample);
    words[i] = Word{LoadSample<Sample>(planes[0] + at)} | Word{LoadSample<Sample>(planes[1] + at)} << kBits |
               Word{LoadSample<Sample>(planes[2] + at)} << (2 * kBits) |
               Word{LoadSample<Sample>(planes[3] + at)} << (3 * kBits);
  }
}

// Four planes to pixels of three samples, or of four with alpha: interleaving, conversion and widening in one pass.
template <typename Sample>
void ConvertPlanes(uint8_t* target, const uint8_t* const* planes, const uint8_t* alpha, uint32_t pixels) {
  using Word = typename CmykWord<Sample>::Type;
  constexpr size_t kSize = sizeof(Sample);
  constexpr unsigned kBits = kSampleBits<Sample>;
  constexpr Word kColors = std::numeric_limits<Word>::max() >> kBits;
  Word words[kBatch] = {};
  Word packed[kBatch / 4 * 3];
  for (size_t done = 0; done < pixels; done += kBatch) {
    const size_t count = std::min<size_t>(kBatch, pixels - done);
    GatherBatch<Sample>(planes, done, count, words);
    ConvertBatch<Sample>(words);
    if (alpha == nullptr) {
      PackBatch(words, packed);
      std::memcpy(target + done * 3 * kSize, packed, count * 3 * kSize);
      continue;
    }
    for (size_t i = 0; i < count; ++i) {
      const Sample opacity = LoadSample<Sample>(alpha + (done + i) * kSize);
      words[i] = (words[i] & kColors) | Word{opacity} << (3 * kBits);
    }
    std::memcpy(target + done * 4 * kSize, words, count * 4 * kSize);
  }
}

// Three samples a pixel become four, from the last pixel to the first so that nothing is overwritten unread.
template <typename Sample> void WidenWithAlpha(uint8_t* row, const uint8_t* alpha, uint32_t pixels) {
  constexpr size_t kSize = sizeof(Sample);
  for (size_t i = pixels; i-- > 0;) {
    uint8_t color[3 * kSize];
    std::memcpy(color, row + i * 3 * kSize, sizeof color);
    std::memcpy(row + i * 4 * kSize, color, sizeof color);
    std::memcpy(row + i * 4 * kSize + 3 * kSize, alpha + i * kSize, kSize);
  }
}

} // namespace

void TIFCmykToRgb8(uint8_t* row, uint32_t pixels, bool keepExtra, uint32_t skip, uint64_t rowBytes) {
  ConvertRow<uint8_t>(row, pixels, keepExtra, skip, rowBytes);
}

void TIFCmykToRgb16(uint8_t* row, uint32_t pixels, bool keepExtra, uint32_t skip, uint64_t rowBytes) {
  ConvertRow<uint16_t>(row, pixels, keepExtra, skip, rowBytes);
}

void TIFCmykRow16(bool keep, uint8_t* row, uint32_t pixels, bool keepExtra, uint32_t skip, uint64_t rowBytes) {
  if (!keep) {
    TIFCmykToRgb16(row, pixels, keepExtra, skip, rowBytes);
    return;
  }
  constexpr int32_t kBits16 = 64;
  constexpr int32_t kBits8 = 32;
  constexpr uint64_t kMostPixels = std::numeric_limits<int32_t>::max();
  const auto count = static_cast<int32_t>(std::min({uint64_t{pixels}, rowBytes / (kBits16 / 8), kMostPixels}));
  krnConvertRow(row, count, kBits16, kBits8, 1, 1, 0, 0, 0, 0, 0);
  krnConvertRow(row, count, kBits8, kBits16, 1, 1, 0, 0, 0, 0, 0);
}

void TIFCmykPlanesToRgb(bool keep, uint8_t* target, const uint8_t* const* planes, const uint8_t* alpha, uint32_t pixels,
                        uint32_t bits) {
  if (bits != 8 && bits != 16) {
    return;
  }
  if (!keep) {
    bits == 16 ? ConvertPlanes<uint16_t>(target, planes, alpha, pixels)
               : ConvertPlanes<uint8_t>(target, planes, alpha, pixels);
    return;
  }
  constexpr uint32_t kInks = 4;
  TIFInterleavePlanes(target, planes, kInks, pixels, bits);
  if (bits == 16) {
    TIFCmykRow16(true, target, pixels, false, 0, uint64_t{pixels} * kInks * sizeof(uint16_t));
  }
  // Kept rows are widened all the same, though they hold four samples already.
  if (alpha != nullptr) {
    bits == 16 ? WidenWithAlpha<uint16_t>(target, alpha, pixels) : WidenWithAlpha<uint8_t>(target, alpha, pixels);
  }
}
