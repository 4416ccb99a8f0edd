// CMYK rows and planes to red, green, blue. Expectations come from the ink equation in wide integers, pixel by pixel
// from a copy of the row.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "Tif/ColorConversion.h"

namespace {

using Bytes = std::vector<uint8_t>;

int64_t SampleAt(const Bytes& row, size_t index, size_t size) {
  return size == 1 ? row[index] : row[2 * index] + 256 * row[2 * index + 1];
}

void PutSample(Bytes& row, size_t index, size_t size, int64_t sample) {
  for (size_t i = 0; i < size; ++i) {
    row[index * size + i] = static_cast<uint8_t>(sample >> (8 * i));
  }
}

// What a conversion leaves of `row`: the bytes behind the results are those of the source.
Bytes Expected(const Bytes& row, size_t size, size_t pixels, bool keepExtra, size_t skip) {
  const int64_t full = size == 1 ? 255 : 65535;
  const size_t step = (keepExtra ? 5 : 4) + skip;
  Bytes result = row;
  for (size_t i = 0; i < pixels; ++i) {
    const int64_t black = SampleAt(row, i * step + 3, size);
    for (size_t ink = 0; ink < 3; ++ink) {
      const int64_t left = full - black - SampleAt(row, i * step + ink, size);
      PutSample(result, i * (keepExtra ? 4 : 3) + ink, size, left < 0 ? 0 : left);
    }
    if (keepExtra) {
      PutSample(result, i * 4 + 3, size, SampleAt(row, i * step + 4, size));
    }
  }
  return result;
}

Bytes RandomBytes(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  Bytes bytes(count);
  for (uint8_t& byte : bytes) {
    byte = static_cast<uint8_t>(random());
  }
  return bytes;
}

Bytes Convert(Bytes row, size_t size, uint32_t pixels, bool keepExtra, uint32_t skip, uint64_t rowBytes) {
  (size == 1 ? TIFCmykToRgb8 : TIFCmykToRgb16)(row.data(), pixels, keepExtra, skip, rowBytes);
  return row;
}

Bytes Convert8(Bytes row, uint32_t pixels = 1) {
  return Convert(row, 1, pixels, false, 0, row.size());
}

} // namespace

TEST(CmykToRgb8, NoInkIsWhite) {
  EXPECT_EQ(Convert8({0, 0, 0, 0}), (Bytes{255, 255, 255, 0}));
}

TEST(CmykToRgb8, FullBlackIsBlackWhateverTheInks) {
  for (uint8_t ink : Bytes{0, 1, 127, 200, 255}) {
    EXPECT_EQ(Convert8({ink, static_cast<uint8_t>(255 - ink), 7, 255}), (Bytes{0, 0, 0, 255}));
  }
}

TEST(CmykToRgb8, InkBelowWhatBlackLeavesClampsAtZero) {
  EXPECT_EQ(Convert8({200, 155, 154, 100}), (Bytes{0, 0, 1, 100}));
}

TEST(CmykToRgb8, EveryInkWithEveryBlack) {
  Bytes row;
  for (int ink = 0; ink < 256; ++ink) {
    for (int black = 0; black < 256; ++black) {
      row.insert(row.end(), {static_cast<uint8_t>(ink), static_cast<uint8_t>(255 - ink), static_cast<uint8_t>(ink / 2),
                             static_cast<uint8_t>(black)});
    }
  }
  EXPECT_EQ(Convert(row, 1, 65536, false, 0, row.size()), Expected(row, 1, 65536, false, 0));
}

TEST(CmykToRgb16, WhiteBlackAndClamp) {
  const Bytes row = {0,    0,    0,    0,    0,    0,    0,    0,    // nothing
                     1,    2,    3,    4,    5,    6,    0xFF, 0xFF, // full black
                     0x00, 0xC8, 0xFF, 0x9B, 0xFE, 0x9B, 0x00, 0x64};
  const Bytes result = Convert(row, 2, 3, false, 0, row.size());
  EXPECT_EQ(Bytes(result.begin(), result.begin() + 18),
            (Bytes{255, 255, 255, 255, 255, 255, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0}));
}

class CmykLayout : public testing::TestWithParam<std::tuple<size_t, bool, uint32_t, uint32_t>> {};

TEST_P(CmykLayout, RandomRowsAgree) {
  const auto [size, keepExtra, skip, pixels] = GetParam();
  const size_t step = (keepExtra ? 5 : 4) + skip;
  const Bytes row = RandomBytes(step * pixels * size, 100 * pixels + skip);
  EXPECT_EQ(Convert(row, size, pixels, keepExtra, skip, row.size()), Expected(row, size, pixels, keepExtra, skip));
}

TEST_P(CmykLayout, StaysWithinTheRow) {
  const auto [size, keepExtra, skip, pixels] = GetParam();
  const size_t pixelSamples = keepExtra ? 5 : 4;
  const size_t step = pixelSamples + skip;
  const Bytes row = RandomBytes(step * pixels * size + 1, pixels);
  for (size_t cut : {size_t{0}, size_t{1}, size, pixelSamples * size - 1, pixelSamples * size, row.size() / 2}) {
    const size_t rowBytes = row.size() - 1 - std::min(cut, row.size() - 1);
    size_t whole = 0;
    while (whole < pixels && (whole * step + pixelSamples) * size <= rowBytes) {
      ++whole;
    }
    // A row that ends where the block does: a sanitizer sees any byte touched behind it.
    Bytes tight(row.begin(), row.begin() + static_cast<ptrdiff_t>(rowBytes));
    const Bytes expected = Expected(tight, size, whole, keepExtra, skip);
    tight.shrink_to_fit();
    EXPECT_EQ(Convert(tight, size, pixels, keepExtra, skip, rowBytes), expected) << "row of " << rowBytes;
  }
}

INSTANTIATE_TEST_SUITE_P(Layouts, CmykLayout,
                         testing::Combine(testing::Values(size_t{1}, size_t{2}), testing::Bool(),
                                          testing::Values(0u, 1u, 3u), testing::Values(1u, 2u, 63u, 64u, 65u, 200u)));

TEST(CmykToRgb, SkipBeyondEveryRowConvertsOnePixel) {
  const Bytes row = RandomBytes(64, 9);
  EXPECT_EQ(Convert(row, 1, 4000000000u, true, 0xFFFFFFFFu, row.size()), Expected(row, 1, 1, true, 0));
  EXPECT_EQ(Convert(row, 2, 4000000000u, false, 0xFFFFFFFFu, row.size()), Expected(row, 2, 1, false, 0));
}

TEST(CmykRow16, ConvertsWithoutKeep) {
  Bytes row = RandomBytes(6 * 2 * 10, 3);
  const Bytes expected = Expected(row, 2, 10, true, 1);
  TIFCmykRow16(false, row.data(), 10, true, 1, row.size());
  EXPECT_EQ(row, expected);
}

TEST(CmykRow16, KeepLeavesTheHighByteOfEachSampleTwice) {
  Bytes row = RandomBytes(8 * 10 + 4, 4);
  Bytes expected = row;
  for (size_t i = 0; i < 80; i += 2) {
    expected[i] = expected[i + 1];
  }
  TIFCmykRow16(true, row.data(), 20, false, 0, row.size()); // 20 pixels asked for, 10 in the row
  EXPECT_EQ(row, expected);
}

class CmykPlanes : public testing::TestWithParam<std::tuple<uint32_t, bool, bool, uint32_t>> {};

TEST_P(CmykPlanes, InterleavesConvertsAndAddsAlpha) {
  const auto [bits, keep, withAlpha, pixels] = GetParam();
  const size_t size = bits / 8;
  Bytes planes[5];
  const uint8_t* pointers[4];
  for (uint32_t i = 0; i < 5; ++i) {
    planes[i] = RandomBytes(pixels * size, pixels * 10 + i);
    if (i < 4) {
      pointers[i] = planes[i].data();
    }
  }
  Bytes target(pixels * 4 * size, 0xEE);
  TIFCmykPlanesToRgb(keep, target.data(), pointers, withAlpha ? planes[4].data() : nullptr, pixels, bits);

  Bytes row(pixels * 4 * size);
  for (size_t i = 0; i < pixels * size; ++i) {
    for (size_t ink = 0; ink < 4; ++ink) {
      row[(i / size * 4 + ink) * size + i % size] = planes[ink][i];
    }
  }
  if (!keep) {
    row = Expected(row, size, pixels, false, 0);
  } else if (bits == 16) {
    for (size_t i = 0; i < row.size(); i += 2) {
      row[i] = row[i + 1];
    }
  }
  size_t compared = pixels * (keep ? 4 : 3) * size;
  if (withAlpha) {
    Bytes widened;
    for (size_t i = 0; i < pixels; ++i) {
      widened.insert(widened.end(), row.begin() + static_cast<ptrdiff_t>(i * 3 * size),
                     row.begin() + static_cast<ptrdiff_t>((i + 1) * 3 * size));
      widened.insert(widened.end(), planes[4].begin() + static_cast<ptrdiff_t>(i * size),
                     planes[4].begin() + static_cast<ptrdiff_t>((i + 1) * size));
    }
    row = widened;
    compared = row.size();
  }
  EXPECT_EQ(std::memcmp(target.data(), row.data(), compared), 0);
}

INSTANTIATE_TEST_SUITE_P(Forms, CmykPlanes,
                         testing::Combine(testing::Values(8u, 16u), testing::Bool(), testing::Bool(),
                                          testing::Values(1u, 63u, 64u, 150u)));

TEST(CmykPlanes, OtherDepthsDoNothing) {
  const Bytes plane(64, 1);
  const uint8_t* planes[4] = {plane.data(), plane.data(), plane.data(), plane.data()};
  for (uint32_t bits : {0u, 1u, 4u, 12u, 24u, 32u}) {
    Bytes target(256, 0xEE);
    TIFCmykPlanesToRgb(false, target.data(), planes, plane.data(), 8, bits);
    EXPECT_EQ(target, Bytes(256, 0xEE)) << bits;
  }
}
