// TIFF Predictor 2 on single rows. The strip writer differences a row before it goes to the LZW encoder, the strip
// reader sums it once it is decoded. Every depth has a loop of its own; whole pixels of 8- and 16-bit samples go
// sixteen bytes at a time.

#include "Tifutil/Predictor.h"

#include <cstring>

#include "tif_com/ByteOrder.h"
#include "tif_com/Tags.h"

namespace {

// Sixteen bytes as one value of 8- or 16-bit lanes, on which + and - work lane by lane, modulo the lane. Only where the
// target has such registers.
#if defined(__SSE2__) || defined(__ARM_NEON)
constexpr bool kHasWideLanes = true;
#else
constexpr bool kHasWideLanes = false;
#endif
constexpr uint32_t kWideBytes = 16;

using Lanes8 = uint8_t __attribute__((vector_size(kWideBytes)));
using Lanes16 = uint16_t __attribute__((vector_size(kWideBytes)));
using Lanes64 = uint64_t __attribute__((vector_size(kWideBytes)));

template <typename Sample> struct WideOf;
template <> struct WideOf<uint8_t> { using Lanes = Lanes8; };
template <> struct WideOf<uint16_t> { using Lanes = Lanes16; };

template <typename Lanes> inline Lanes LoadLanes(const uint8_t* bytes) {
  Lanes lanes;
  std::memcpy(&lanes, bytes, sizeof lanes);
  return lanes;
}

// Lanes moved `bytes` bytes up, or down; zeros come in.
template <uint32_t bytes, typename Lanes> inline Lanes MoveUp(Lanes lanes) {
  const Lanes8 zero = {};
  const auto all = reinterpret_cast<Lanes8>(lanes);
  constexpr int kFrom = kWideBytes - static_cast<int>(bytes);
  return reinterpret_cast<Lanes>(__builtin_shufflevector(
      zero, all, kFrom, kFrom + 1, kFrom + 2, kFrom + 3, kFrom + 4, kFrom + 5, kFrom + 6, kFrom + 7, kFrom + 8,
      kFrom + 9, kFrom + 10, kFrom + 11, kFrom + 12, kFrom + 13, kFrom + 14, kFrom + 15));
}
template <uint32_t bytes, typename Lanes> inline Lanes MoveDown(Lanes lanes) {
  const Lanes8 zero = {};
  const auto all = reinterpret_cast<Lanes8>(lanes);
  constexpr int kFrom = static_cast<int>(bytes);
  return reinterpret_cast<Lanes>(__builtin_shufflevector(
      all, zero, kFrom, kFrom + 1, kFrom + 2, kFrom + 3, kFrom + 4, kFrom + 5, kFrom + 6, kFrom + 7, kFrom + 8,
      kFrom + 9, kFrom + 10, kFrom + 11, kFrom + 12, kFrom + 13, kFrom + 14, kFrom + 15));
}

template <typename Sample, SampleSwap swap> inline Sample LoadSample(const uint8_t* bytes) {
  Sample sample;
  std::memcpy(&sample, bytes, sizeof sample);
  if constexpr (sizeof sample == 2 && swap == SampleSwap::kBigEndian) {
    sample = Swap16(sample);
  }
  return sample;
}
template <typename Sample, SampleSwap swap> inline void StoreSample(uint8_t* bytes, Sample sample) {
  if constexpr (sizeof sample == 2 && swap == SampleSwap::kBigEndian) {
    sample = Swap16(sample);
  }
  std::memcpy(bytes, &sample, sizeof sample);
}

template <SampleSwap swap, typename Lanes> inline Lanes InHostOrder(Lanes lanes) {
  if constexpr (swap == SampleSwap::kBigEndian && sizeof lanes[0] == 2) {
    return (lanes << 8) | (lanes >> 8);
  } else {
    return lanes;
  }
}

// Every lane becomes the lane at the front of the register.
template <typename Lanes> inline Lanes Spread(Lanes lanes) {
  if constexpr (sizeof lanes[0] == 1) {
    return __builtin_shufflevector(lanes, lanes, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
  } else {
    return __builtin_shufflevector(lanes, lanes, 0, 0, 0, 0, 0, 0, 0, 0);
  }
}

// Sums whole registers of pixels of one sample and gives the place behind them. Within a register each lane first takes
// the lane in front of it, then those two, four and eight lanes ahead; what goes on from register to register is one
// addition.
template <typename Sample, SampleSwap swap> uint32_t SumSingleSamples(uint8_t* row, uint32_t total) {
  using Lanes = typename WideOf<Sample>::Lanes;
  Lanes carried = {};
  uint32_t at = 0;
  for (; total - at >= kWideBytes; at += kWideBytes) {
    Lanes lanes = InHostOrder<swap>(LoadLanes<Lanes>(row + at));
    if constexpr (sizeof(Sample) == 1) {
      lanes += MoveUp<1>(lanes);
    }
    lanes += MoveUp<2>(lanes);
    lanes += MoveUp<4>(lanes);
    lanes += MoveUp<8>(lanes);
    const Lanes sums = InHostOrder<swap>(lanes + Spread(carried));
    carried += MoveDown<kWideBytes - sizeof(Sample)>(lanes);
    std::memcpy(row + at, &sums, kWideBytes);
  }
  return at;
}

// Four or eight bytes of a row, in memory order.
template <uint32_t bytes> inline uint64_t LoadPixel(const uint8_t* place) {
  return bytes == 4 ? LoadU32LE(place) : LoadU64LE(place);
}
template <uint32_t bytes> inline void StorePixel(uint8_t* place, uint64_t pixel) {
  if constexpr (bytes == 4) {
    StoreU32LE(place, static_cast<uint32_t>(pixel));
  } else {
    StoreU64LE(place, pixel);
  }
}

// Sums pixels of 3 to 8 bytes, a pixel to a register, and gives the place behind the last one done. A store may spoil
// the front of the next pixel, which is why that is loaded before.
template <typename Sample, SampleSwap swap, uint32_t stepBytes> uint32_t SumRegisters(uint8_t* row, uint32_t total) {
  using Lanes = typename WideOf<Sample>::Lanes;
  constexpr uint32_t kAccess = stepBytes <= 4 ? 4 : 8;
  if (total < kAccess) {
    return 0;
  }
  Lanes sum = {};
  uint64_t next = LoadPixel<kAccess>(row);
  uint8_t* place = row;
  const uint8_t* const last = row + (total - kAccess) / stepBytes * stepBytes; // the last pixel with a whole load
#pragma GCC unroll 4
  for (; place != last; place += stepBytes) {
    sum += InHostOrder<swap>(reinterpret_cast<Lanes>(Lanes64{next, 0}));
    next = LoadPixel<kAccess>(place + stepBytes);
    StorePixel<kAccess>(place, reinterpret_cast<Lanes64>(InHostOrder<swap>(sum))[0]);
  }
  sum = InHostOrder<swap>(sum + InHostOrder<swap>(reinterpret_cast<Lanes>(Lanes64{next, 0})));
  std::memcpy(place, &sum, stepBytes);
  return static_cast<uint32_t>(place - row) + stepBytes;
}

// Sums pixels of `step` samples over `total` bytes.
template <typename Sample, SampleSwap swap, uint32_t step> void SumPixels(uint8_t* row, uint32_t total) {
  constexpr uint32_t kStepBytes = step * sizeof(Sample);
  uint32_t at = 0;
  if constexpr (kHasWideLanes && step == 1) {
    at = SumSingleSamples<Sample, swap>(row, total);
  } else if constexpr (kHasWideLanes && kStepBytes > 2) {
    at = SumRegisters<Sample, swap, kStepBytes>(row, total);
  }
  Sample sums[step] = {};
  if (at != 0) {
    for (uint32_t i = 0; i < step; ++i) {
      sums[i] = LoadSample<Sample, swap>(row + at - kStepBytes + i * sizeof(Sample));
    }
  }
  for (; total - at >= kStepBytes; at += kStepBytes) {
    for (uint32_t i = 0; i < step; ++i) {
      uint8_t* const place = row + at + i * sizeof(Sample);
      sums[i] = static_cast<Sample>(sums[i] + LoadSample<Sample, swap>(place));
      StoreSample<Sample, swap>(place, sums[i]);
    }
  }
  for (uint32_t i = 0; at + sizeof(Sample) <= total; ++i, at += uint32_t{sizeof(Sample)}) { // a pixel that is cut
    StoreSample<Sample, swap>(row + at, static_cast<Sample>(sums[i] + LoadSample<Sample, swap>(row + at)));
  }
}

// The same for any number of samples.
template <typename Sample, SampleSwap swap> void SumAnyPixels(uint8_t* row, uint32_t total, uint32_t step) {
  const uint64_t stepBytes = uint64_t{step} * sizeof(Sample);
  for (uint64_t at = stepBytes; at + sizeof(Sample) <= total; at += sizeof(Sample)) {
    const auto left = LoadSample<Sample, swap>(row + (at - stepBytes));
    const auto sum = static_cast<Sample>(left + LoadSample<Sample, swap>(row + at));
    StoreSample<Sample, swap>(row + at, sum);
  }
}

// Differences over `total` bytes, from the end of the row, so that each left neighbour is still unchanged.
template <typename Sample, uint32_t step> void DifferPixels(uint8_t* row, uint32_t total) {
  using Lanes = typename WideOf<Sample>::Lanes;
  constexpr uint32_t kStepBytes = step * sizeof(Sample);
  uint32_t at = total - total % uint32_t{sizeof(Sample)};
  if constexpr (kHasWideLanes) {
    while (at >= kWideBytes + kStepBytes) {
      at -= kWideBytes;
      const Lanes difference = LoadLanes<Lanes>(row + at) - LoadLanes<Lanes>(row + at - kStepBytes);
      std::memcpy(row + at, &difference, kWideBytes);
    }
  }
  while (at >= sizeof(Sample) + kStepBytes) {
    at -= uint32_t{sizeof(Sample)};
    const auto left = LoadSample<Sample, SampleSwap::kHost>(row + at - kStepBytes);
    const auto own = LoadSample<Sample, SampleSwap::kHost>(row + at);
    StoreSample<Sample, SampleSwap::kHost>(row + at, static_cast<Sample>(own - left));
  }
}

// Three 5-bit fields and a bit that keeps its value.
constexpr uint32_t k555Fields = 0x7FFF;
constexpr uint32_t k555Green = 0x03E0;
constexpr uint32_t k555RedBlue = 0x7C1F;

// Red and blue have room between them for a carry, green stands alone.
inline uint32_t Add555(uint32_t left, uint32_t right) {
  const uint32_t redBlue = (left & k555RedBlue) + (right & k555RedBlue);
  const uint32_t green = (left & k555Green) + (right & k555Green);
  return (redBlue & k555RedBlue) | (green & k555Green);
}
inline uint32_t Negate555(uint32_t value) {
  const uint32_t redBlue = 0x8020u - (value & k555RedBlue);
  const uint32_t green = 0x0400u - (value & k555Green);
  return (redBlue & k555RedBlue) | (green & k555Green);
}

void Sum555(uint8_t* row, uint32_t total) {
  if (total < 2) {
    return;
  }
  uint32_t sum = LoadU16LE(row) & k555Fields;
  for (uint32_t at = 2; at + 2 <= total; at += 2) {
    const uint32_t word = LoadU16LE(row + at);
    sum = Add555(sum, word);
    StoreU16LE(row + at, static_cast<uint16_t>(sum | (word & ~k555Fields)));
  }
}

void Differ555(uint8_t* row, uint32_t total) {
  for (uint32_t at = total & ~1u; at >= 4;) {
    at -= 2;
    const uint32_t word = LoadU16LE(row + at);
    const uint32_t difference = Add555(word, Negate555(LoadU16LE(row + at - 2)));
    StoreU16LE(row + at, static_cast<uint16_t>(difference | (word & ~k555Fields)));
  }
}

constexpr uint32_t kPairBytes = 3; // two 12-bit samples
constexpr uint32_t kPairReach = 5; // bytes that a round over a pair looks at
constexpr uint32_t k12BitMask = 0xFFF;

// 12-bit samples in the toolkit's packing, low nibble first: b0 and the low nibble of b1, the high nibble of b1 and b2.
void Differ12(uint8_t* row, uint32_t pixels, uint32_t rowBytes) {
  if (rowBytes < kPairBytes) {
    return;
  }
  const uint8_t* const end = row + rowBytes;
  uint32_t previous = row[0] | (row[1] & 0x0Fu) << 8;
  for (; pixels >= 3 && static_cast<size_t>(end - row) >= kPairReach; pixels -= 2, row += kPairBytes) {
    const uint32_t odd = static_cast<uint32_t>(row[1]) >> 4 | static_cast<uint32_t>(row[2]) << 4;
    const uint32_t even = row[3] | (row[4] & 0x0Fu) << 8;
    const uint32_t oddDifference = (odd - previous) & k12BitMask;
    const uint32_t evenDifference = (even - odd) & k12BitMask;
    row[1] = static_cast<uint8_t>((row[1] & 0x0Fu) | (oddDifference & 0x0F) << 4);
    row[2] = static_cast<uint8_t>(oddDifference >> 4);
    row[3] = static_cast<uint8_t>(evenDifference);
    row[4] = static_cast<uint8_t>((row[4] & 0xF0u) | evenDifference >> 8);
    previous = even;
  }
  if (pixels == 2 && static_cast<size_t>(end - row) >= kPairBytes) {
    // The nibble just replaced enters the difference of the upper bits: this library's streams are so.
    const uint32_t nibble = ((static_cast<uint32_t>(row[1]) >> 4) - previous) & 0x0F;
    const uint32_t difference = (static_cast<uint32_t>(row[2]) << 4) + nibble - previous;
    row[1] = static_cast<uint8_t>((row[1] & 0x0Fu) | nibble << 4);
    row[2] = static_cast<uint8_t>(difference >> 4);
  }
}

// 12-bit samples in TIFF's packing, high bits first. The low byte of every second sum goes to the byte in front of its
// place, and the re-ordering of the row that follows takes it from there.
void Sum12(uint8_t* row, uint32_t pixels, uint32_t rowBytes) {
  if (rowBytes < kPairBytes) {
    return;
  }
  const uint8_t* const end = row + rowBytes;
  uint32_t sum = (static_cast<uint32_t>(row[0]) << 4) + (static_cast<uint32_t>(row[1]) >> 4);
  for (; pixels >= 3 && static_cast<size_t>(end - row) >= kPairReach; pixels -= 2, row += kPairBytes) {
    const uint32_t odd = row[2] + ((row[1] & 0x0Fu) << 8) + sum;
    sum = (static_cast<uint32_t>(row[3]) << 4) + (static_cast<uint32_t>(row[4]) >> 4) + odd;
    row[4] = static_cast<uint8_t>((row[4] & 0x0Fu) + (sum << 4));
    row[3] = static_cast<uint8_t>(sum >> 4);
    row[1] = static_cast<uint8_t>(odd);
  }
  if (pixels == 2 && static_cast<size_t>(end - row) >= kPairBytes) {
    row[1] = static_cast<uint8_t>(row[2] + sum);
  }
}

// The bytes of `pixels` pixels of `stepBytes` bytes, as far as the row goes.
uint32_t RowTotal(uint32_t pixels, uint64_t stepBytes, uint32_t rowBytes) {
  const uint64_t total = pixels * stepBytes;
  return total < rowBytes ? static_cast<uint32_t>(total) : rowBytes;
}

template <uint32_t step> void SumBytes(uint8_t* row, uint32_t pixels, uint32_t rowBytes) {
  SumPixels<uint8_t, SampleSwap::kHost, step>(row, RowTotal(pixels, step, rowBytes));
}

template <uint32_t step> void SumWords(uint8_t* row, uint32_t pixels, uint32_t rowBytes, SampleSwap swap) {
  const uint32_t total = RowTotal(pixels, 2 * step, rowBytes);
  if (swap == SampleSwap::kBigEndian) {
    SumPixels<uint16_t, SampleSwap::kBigEndian, step>(row, total);
  } else {
    SumPixels<uint16_t, SampleSwap::kHost, step>(row, total);
  }
}

// Layouts without a row of their own in the table, by the first sample's size.
void SumOtherLayout(const TifPage* page, uint8_t* row, uint32_t pixels, uint32_t rowBytes, SampleSwap swap) {
  const uint32_t samples = page->samplesPerPixel;
  if (page->bitsPerSample[0] == 8) {
    SumAnyPixels<uint8_t, SampleSwap::kHost>(row, RowTotal(pixels, samples, rowBytes), samples);
  } else if (page->bitsPerSample[0] == 16) {
    const uint32_t total = RowTotal(pixels, uint64_t{2} * samples, rowBytes);
    if (swap == SampleSwap::kBigEndian) {
      SumAnyPixels<uint16_t, SampleSwap::kBigEndian>(row, total, samples);
    } else {
      SumAnyPixels<uint16_t, SampleSwap::kHost>(row, total, samples);
    }
  }
}

void Sum16BitPixels(const TifPage* page, uint8_t* row, uint32_t pixels, uint32_t rowBytes, SampleSwap swap) {
  if (page->samplesPerPixel == 2) {
    SumBytes<2>(row, pixels, rowBytes);
  } else if (page->photometricInterpretation <= kPhotometricBlackIsZero) {
    SumWords<1>(row, pixels, rowBytes, swap);
  } else if (page->extraBits == 0) {
    Sum555(row, RowTotal(pixels, 2, rowBytes));
  }
}

} // namespace

void TIFPredictRow(const TifPage* page, uint8_t* row, uint32_t rowBytes) {
  if (page->tileWidth <= 1) {
    return;
  }
  const auto pixels = static_cast<uint32_t>(page->tileWidth);
  switch (page->bitsPerPixel) {
  case 8:
    return DifferPixels<uint8_t, 1>(row, RowTotal(pixels, 1, rowBytes));
  case 12:
    return Differ12(row, pixels, rowBytes);
  case 16:
    if (page->samplesPerPixel == 1) {
      return DifferPixels<uint16_t, 1>(row, RowTotal(pixels, 2, rowBytes));
    }
    if (page->extraBits == 0) {
      return Differ555(row, RowTotal(pixels, 2, rowBytes));
    }
    return DifferPixels<uint8_t, 2>(row, RowTotal(pixels, 2, rowBytes));
  case 24:
    return DifferPixels<uint8_t, 3>(row, RowTotal(pixels, 3, rowBytes));
  case 32:
    return DifferPixels<uint8_t, 4>(row, RowTotal(pixels, 4, rowBytes));
  case 40:
    return DifferPixels<uint8_t, 5>(row, RowTotal(pixels, 5, rowBytes));
  case 48:
    return DifferPixels<uint16_t, 3>(row, RowTotal(pixels, 6, rowBytes));
  case 64:
    return DifferPixels<uint16_t, 4>(row, RowTotal(pixels, 8, rowBytes));
  default:
    return;
  }
}

void TIFUnpredictRow(const TifPage* page, uint8_t* row, uint32_t rowBytes, SampleSwap swap) {
  if (page->tileWidth <= 1) {
    return;
  }
  const auto pixels = static_cast<uint32_t>(page->tileWidth);
  if (page->planarConfiguration == kPlanarSeparate) {
    return page->bitsPerSample[0] == 8 ? SumBytes<1>(row, pixels, rowBytes) : SumWords<1>(row, pixels, rowBytes, swap);
  }
  switch (page->totalBits) {
  case 8:
    return SumBytes<1>(row, pixels, rowBytes);
  case 12:
    return Sum12(row, pixels, rowBytes);
  case 16:
    return Sum16BitPixels(page, row, pixels, rowBytes, swap);
  case 24:
    return SumBytes<3>(row, pixels, rowBytes);
  case 32:
    return SumBytes<4>(row, pixels, rowBytes);
  case 40:
    return SumBytes<5>(row, pixels, rowBytes);
  case 48:
    return page->samplesPerPixel == 3 ? SumWords<3>(row, pixels, rowBytes, swap) : SumBytes<6>(row, pixels, rowBytes);
  case 64:
    return page->samplesPerPixel == 4 ? SumWords<4>(row, pixels, rowBytes, swap) : SumBytes<8>(row, pixels, rowBytes);
  default:
    return SumOtherLayout(page, row, pixels, rowBytes, swap);
  }
}
