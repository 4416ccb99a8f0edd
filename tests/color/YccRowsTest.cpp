// YCbCr tables and rows. Expectations come from 64-bit arithmetic that is cut to 32 bits where words wrap, and from a
// plain walk over the units.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "Tif/ColorConversion.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Levels {
  uint32_t coefficients[3];
  uint32_t reference[6];
};

constexpr Levels kUsual = {{299, 587, 114}, {0, 255, 128, 255, 128, 255}};

std::unique_ptr<TifPage> MakePage(const Levels& levels, int32_t width, int32_t tileWidth, uint32_t across,
                                  uint32_t down) {
  auto page = std::make_unique<TifPage>();
  std::memset(static_cast<void*>(page.get()), 0, sizeof *page);
  page->imageWidth = width;
  page->tileWidth = tileWidth;
  page->yCbCrSubSampleHoriz = across;
  page->yCbCrSubSampleVert = down;
  for (int i = 0; i < 3; ++i) {
    page->yCbCrCoefficients[i] = levels.coefficients[i];
  }
  for (int i = 0; i < 6; ++i) {
    page->referenceBlackWhite[i] = levels.reference[i];
  }
  TIFBuildYccTables(page.get());
  return page;
}

// A 32-bit word's value, as signed or as unsigned number.
int64_t AsSigned(int64_t value) {
  const int64_t word = value & 0xFFFFFFFF;
  return word >= 0x80000000 ? word - 0x100000000 : word;
}

int64_t AsUnsigned(int64_t value) {
  return value & 0xFFFFFFFF;
}

int64_t Quotient(int64_t dividend, int64_t divisor) {
  return divisor == 0 ? 0 : AsSigned(dividend / divisor);
}

int64_t ExpectedChroma(int64_t i, int64_t low, int64_t high, int64_t weight, int64_t sum) {
  const int64_t t = Quotient(AsSigned((i - low) * 127), AsSigned(high - low));
  return Quotient(AsSigned(AsSigned(t * AsSigned(weight)) * 2), AsSigned(sum));
}

int64_t ExpectedEntry(const Levels& levels, int table, int64_t i) {
  const int64_t c0 = levels.coefficients[0];
  const int64_t c1 = levels.coefficients[1];
  const int64_t c2 = levels.coefficients[2];
  const uint32_t* r = levels.reference;
  const int64_t luma = Quotient(AsUnsigned((i - r[0]) * 255), AsUnsigned(int64_t{r[1]} - r[0]));
  switch (table) {
  case kYccLuma:
    return luma;
  case kYccCb:
    return ExpectedChroma(i, r[2], r[3], c1 + c0, c0 + c1 + c2);
  case kYccCr:
    return ExpectedChroma(i, r[4], r[5], c2 + c1, c0 + c1 + c2);
  case kYccGreenLuma: {
    // The product may need more than 63 bits.
    const uint64_t product = static_cast<uint64_t>(AsUnsigned(luma)) * static_cast<uint64_t>(AsUnsigned(c0 + c1 + c2));
    return Quotient(AsUnsigned(static_cast<int64_t>(product & 0xFFFFFFFFu)), c1);
  }
  case kYccGreenBlue:
    return Quotient(AsUnsigned(c2 * i), c1);
  default:
    return Quotient(AsUnsigned(c0 * i), c1);
  }
}

int64_t Clamp(int64_t value) {
  value = AsSigned(value);
  return value < 0 ? 0 : value > 255 ? 255 : value;
}

void PlainPixel(const TifPage& page, int y, int cb, int cr, uint8_t* target) {
  const auto& tables = page.yCbCrTables;
  const int64_t red = Clamp(int64_t{tables[kYccCr][cr]} + tables[kYccLuma][y]);
  const int64_t blue = Clamp(int64_t{tables[kYccCb][cb]} + tables[kYccLuma][y]);
  const int64_t green =
      Clamp(int64_t{tables[kYccGreenLuma][y]} - tables[kYccGreenBlue][blue] - tables[kYccGreenRed][red]);
  target[0] = static_cast<uint8_t>(red);
  target[1] = static_cast<uint8_t>(green);
  target[2] = static_cast<uint8_t>(blue);
}

Bytes Target(const TifPage& page) {
  return Bytes(static_cast<size_t>(TIFYccTargetBytes(&page)));
}

// Units in order, each with all its rows; `units` of them.
Bytes PlainUnits(const TifPage& page, const Bytes& source, Bytes target, size_t units) {
  const uint32_t across = page.yCbCrSubSampleHoriz;
  const uint32_t down = page.yCbCrSubSampleVert;
  const uint32_t stride = (static_cast<uint32_t>(page.imageWidth) + 1) * 3 / 4 * 4;
  for (size_t u = 0; u < units; ++u) {
    const uint8_t* unit = source.data() + u * (across * down + 2);
    for (uint32_t row = 0; row < down; ++row) {
      for (uint32_t x = 0; x < across; ++x) {
        PlainPixel(page, unit[row * across + x], unit[across * down], unit[across * down + 1],
                   &target[row * stride + (u * across + x) * 3]);
      }
    }
  }
  return target;
}

Bytes RandomBytes(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  Bytes bytes(count);
  for (uint8_t& byte : bytes) {
    byte = static_cast<uint8_t>(random());
  }
  return bytes;
}

Bytes Tight(Bytes bytes) {
  bytes.shrink_to_fit();
  return bytes;
}

} // namespace

TEST(YccTables, UsualLevels) {
  const auto page = MakePage(kUsual, 1, 1, 1, 1);
  const auto& t = page->yCbCrTables;
  for (int i = 0; i < 256; ++i) {
    EXPECT_EQ(t[kYccLuma][i], i);
    EXPECT_EQ(t[kYccCr][i], (i - 128) * 1402 / 1000);
    EXPECT_EQ(t[kYccCb][i], (i - 128) * 1772 / 1000);
    EXPECT_EQ(t[kYccGreenLuma][i], i * 1000 / 587);
    EXPECT_EQ(t[kYccGreenBlue][i], i * 114 / 587);
    EXPECT_EQ(t[kYccGreenRed][i], i * 299 / 587);
  }
}

TEST(YccTables, LumaBelowItsBlackLevelWrapsAround) {
  const auto page = MakePage({{299, 587, 114}, {16, 235, 128, 240, 128, 240}}, 1, 1, 1, 1);
  EXPECT_EQ(page->yCbCrTables[kYccLuma][16], 0);
  EXPECT_EQ(page->yCbCrTables[kYccLuma][235], 255);
  EXPECT_EQ(page->yCbCrTables[kYccLuma][15], 19611721); // (2^32 - 255) / 219
  EXPECT_EQ(page->yCbCrTables[kYccCr][240], 178);       // 127 x 701 x 2 / 1000
  EXPECT_EQ(page->yCbCrTables[kYccCr][16], -178);
}

class YccLevels : public testing::TestWithParam<Levels> {};

TEST_P(YccLevels, TablesFollowTheArithmeticOfWords) {
  const Levels levels = GetParam();
  const auto page = MakePage(levels, 1, 1, 1, 1);
  for (int table = 0; table < kYccTableCount; ++table) {
    for (int i = 0; i < 256; ++i) {
      ASSERT_EQ(page->yCbCrTables[table][i], AsSigned(ExpectedEntry(levels, table, i)))
          << "table " << table << " entry " << i;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Files, YccLevels,
    testing::Values(kUsual, Levels{{299, 587, 114}, {16, 235, 128, 240, 128, 240}},
                    Levels{{2126, 7152, 722}, {0, 255, 0, 255, 0, 255}}, Levels{{1, 1, 1}, {255, 0, 255, 0, 255, 0}},
                    // Denominators of 0: white equal to black, no green coefficient, no sum.
                    Levels{{299, 587, 114}, {7, 7, 128, 255, 128, 255}},
                    Levels{{299, 587, 114}, {0, 255, 128, 128, 128, 255}},
                    Levels{{299, 587, 114}, {0, 255, 128, 255, 9, 9}},
                    Levels{{299, 0, 114}, {0, 255, 128, 255, 128, 255}}, Levels{{0, 0, 0}, {0, 0, 0, 0, 0, 0}},
                    Levels{{0xFFFFFFFF, 1, 0}, {0, 255, 128, 255, 128, 255}},
                    // Words that wrap, and quotients by -1.
                    Levels{{0x80000000, 0xFFFFFFFF, 0x7FFFFFFF}, {1, 0, 1, 0, 0x80000000, 0x7FFFFFFF}},
                    Levels{{0xFFFFFFFE, 1, 0}, {0xFFFFFFFF, 3, 0x1234567, 0x89ABCDE, 3000000000, 4}},
                    Levels{{123456789, 3987654321, 2222222222}, {11, 4000000000, 5, 4, 254, 253}}));

TEST(YccPixels, NeutralChromaGivesNeutralGrey) {
  const auto page = MakePage(kUsual, 2, 2, 2, 1);
  for (int luma = 0; luma < 256; ++luma) {
    const Bytes source = {static_cast<uint8_t>(luma), static_cast<uint8_t>(luma), 128, 128};
    Bytes target(6);
    TIFYccToRgb2x1(target.data(), source.data(), page.get(), target.size(), source.size());
    EXPECT_EQ(target[0], luma);
    EXPECT_EQ(target[2], luma);
    // The green terms are truncated one by one: off by a step at the most.
    EXPECT_EQ(target[1], std::min(255, luma * 1000 / 587 - luma * 114 / 587 - luma * 299 / 587));
    EXPECT_NEAR(target[1], luma, 1);
  }
}

TEST(YccPixels, GreenUsesTheClampedRedAndBlue) {
  const auto page = MakePage(kUsual, 2, 2, 2, 1);
  const Bytes source = {200, 10, 255, 255};
  Bytes target(6);
  TIFYccToRgb2x1(target.data(), source.data(), page.get(), target.size(), source.size());
  // 200: red 200 + 178 and blue 200 + 225 clamp to 255, green 340 - 49 - 129. 10: red 188, blue 235, green 17 - 45
  // - 95.
  EXPECT_EQ(target, (Bytes{255, 162, 255, 188, 0, 235}));
}

TEST(YccPixels, HostileTablesDoNotOverflow) {
  const auto page =
      MakePage({{0x80000000, 0xFFFFFFFF, 0x7FFFFFFF}, {1, 0, 1, 0, 0x80000000, 0x7FFFFFFF}}, 512, 512, 2, 1);
  const Bytes source = RandomBytes(1024, 1);
  Bytes target(512 * 3);
  TIFYccToRgb2x1(target.data(), source.data(), page.get(), target.size(), source.size());
  EXPECT_EQ(target, PlainUnits(*page, source, Bytes(512 * 3), 256));
}

TEST(YccRows2x1, EveryWidth) {
  for (int32_t width : {1, 2, 3, 4, 5, 63, 64, 65, 1001}) {
    const auto page = MakePage(kUsual, width, width, 2, 1);
    const size_t units = static_cast<size_t>(width + 1) / 2;
    const Bytes source = Tight(RandomBytes(units * 4, static_cast<uint32_t>(width)));
    Bytes target = Tight(Bytes(units * 6));
    EXPECT_LE(target.size(), TIFYccTargetBytes(page.get()));
    TIFYccToRgb2x1(target.data(), source.data(), page.get(), target.size(), source.size());
    EXPECT_EQ(target, PlainUnits(*page, source, Bytes(units * 6), units)) << width;
  }
}

TEST(YccRows2x1, OddWidthWritesOnePixelMore) {
  const auto page = MakePage(kUsual, 3, 3, 2, 1);
  const Bytes source = {10, 20, 128, 128, 30, 40, 128, 128};
  Bytes target(13, 0xEE);
  TIFYccToRgb2x1(target.data(), source.data(), page.get(), target.size(), source.size());
  EXPECT_EQ(target[9], 40);
  EXPECT_EQ(target[11], 40);
  EXPECT_EQ(target[12], 0xEE);
}

TEST(YccRows2x1, EndsBeforeTheFirstUnitThatDoesNotFit) {
  const auto page = MakePage(kUsual, 20, 20, 2, 1);
  const Bytes all = RandomBytes(40, 5);
  for (size_t sourceBytes = 0; sourceBytes <= 40; ++sourceBytes) {
    for (size_t targetBytes : {size_t{0}, size_t{5}, size_t{6}, size_t{35}, size_t{60}}) {
      const Bytes source = Tight(Bytes(all.begin(), all.begin() + static_cast<ptrdiff_t>(sourceBytes)));
      Bytes target = Tight(Bytes(targetBytes, 0xEE));
      TIFYccToRgb2x1(target.data(), source.data(), page.get(), targetBytes, sourceBytes);
      EXPECT_EQ(target,
                PlainUnits(*page, source, Bytes(targetBytes, 0xEE), std::min(sourceBytes / 4, targetBytes / 6)));
    }
  }
}

TEST(YccRows, EverySubSamplingAndWidth) {
  for (uint32_t across : {1u, 2u, 3u, 4u}) {
    for (uint32_t down : {1u, 2u, 4u}) {
      for (int32_t width : {1, 2, 3, 4, 5, 7, 8, 9, 16, 33}) {
        const auto page = MakePage(kUsual, width, width, across, down);
        const size_t units = (static_cast<size_t>(width) + across - 1) / across;
        const Bytes source = Tight(RandomBytes(units * (across * down + 2), across * 100 + down));
        Bytes target = Tight(Target(*page));
        const Bytes expected = PlainUnits(*page, source, Bytes(target.size()), units);
        TIFYccToRgb(target.data(), source.data(), page.get(), target.size(), source.size());
        EXPECT_EQ(target, expected) << across << " by " << down << ", width " << width;
      }
    }
  }
}

TEST(YccRows, FastPathAgreesOn2x1) {
  for (int32_t width : {1, 2, 31, 32}) {
    const auto page = MakePage(kUsual, width, width, 2, 1);
    const Bytes source = RandomBytes(static_cast<size_t>(width + 1) / 2 * 4, 77);
    Bytes fast = Target(*page);
    Bytes plain(fast.size());
    TIFYccToRgb2x1(fast.data(), source.data(), page.get(), fast.size(), source.size());
    TIFYccToRgb(plain.data(), source.data(), page.get(), plain.size(), source.size());
    EXPECT_EQ(fast, plain) << width;
  }
}

TEST(YccRows, StrideIsRoundedDownFromOnePixelMore) {
  EXPECT_EQ(TIFYccStride(MakePage(kUsual, 1, 1, 2, 2).get()), 4u);
  EXPECT_EQ(TIFYccStride(MakePage(kUsual, 2, 2, 2, 2).get()), 8u);
  EXPECT_EQ(TIFYccStride(MakePage(kUsual, 3, 3, 2, 2).get()), 12u);
  EXPECT_EQ(TIFYccStride(MakePage(kUsual, 5, 5, 2, 2).get()), 16u);
  EXPECT_EQ(TIFYccStride(MakePage(kUsual, 100, 100, 2, 2).get()), 300u);
  EXPECT_EQ(TIFYccStride(MakePage(kUsual, 2147483647, 1, 2, 2).get()), 6442450944u);
}

// Where a row of units is further across than the stride, its end runs into the row below, in the order of the units:
// width 5 in units of 2 by 2 has a stride of 16 under 18 bytes.
TEST(YccRows, LaterUnitsWriteOverTheRowBelow) {
  const auto page = MakePage(kUsual, 5, 5, 2, 2);
  Bytes source;
  for (uint8_t unit = 0; unit < 3; ++unit) {
    source.insert(source.end(), {static_cast<uint8_t>(10 + unit), static_cast<uint8_t>(20 + unit),
                                 static_cast<uint8_t>(30 + unit), static_cast<uint8_t>(40 + unit), 128, 128});
  }
  Bytes target = Target(*page);
  TIFYccToRgb(target.data(), source.data(), page.get(), target.size(), source.size());
  ASSERT_EQ(target.size(), 34u);
  EXPECT_EQ(target[15], 22);      // the pixel past the width of row 0: red
  EXPECT_NEAR(target[16], 22, 1); // its green and blue stand where row 1 begins
  EXPECT_EQ(target[17], 22);
  EXPECT_EQ(target[18], 30); // blue of row 1's first pixel
  EXPECT_EQ(target[31], 42);
}

TEST(YccRows, TileWiderThanTheImage) {
  const auto page = MakePage(kUsual, 10, 64, 2, 2);
  const Bytes source = RandomBytes(32 * 6, 8);
  EXPECT_EQ(TIFYccTargetBytes(page.get()), 32u + 32 * 6); // stride 32, then a row of units
  Bytes target = Tight(Target(*page));
  TIFYccToRgb(target.data(), source.data(), page.get(), target.size(), source.size());
  EXPECT_EQ(target, PlainUnits(*page, source, Bytes(target.size()), 32));
}

TEST(YccRows, EndsBeforeTheFirstUnitThatDoesNotFit) {
  const auto page = MakePage(kUsual, 8, 8, 4, 2);
  const Bytes all = RandomBytes(20, 6);
  for (size_t sourceBytes = 0; sourceBytes <= 20; ++sourceBytes) {
    for (size_t targetBytes = 0; targetBytes <= 48; ++targetBytes) {
      const Bytes source = Tight(Bytes(all.begin(), all.begin() + static_cast<ptrdiff_t>(sourceBytes)));
      Bytes target = Tight(Bytes(targetBytes, 0xEE));
      TIFYccToRgb(target.data(), source.data(), page.get(), targetBytes, sourceBytes);
      const size_t room = targetBytes < 24 ? 0 : (targetBytes - 24) / 12; // behind row 0 of 24 bytes
      EXPECT_EQ(target, PlainUnits(*page, source, Bytes(targetBytes, 0xEE), std::min(sourceBytes / 10, room)));
    }
  }
}

TEST(YccRows, PagesWithoutUnitsWriteNothing) {
  const struct {
    int32_t width, tileWidth;
    uint32_t across, down;
  } kCases[] = {{8, 0, 2, 2},
                {8, -5, 2, 2},
                {8, 8, 0, 2},
                {8, 8, 2, 0},
                {-1, -1, 2, 1},
                {8, 8, 0xFFFFFFFF, 0xFFFFFFFF},
                {2147483647, 2147483647, 4, 0xFFFFFFFF}};
  for (const auto& c : kCases) {
    const auto page = MakePage(kUsual, c.width, c.tileWidth, c.across, c.down);
    const Bytes source(1000, 1);
    Bytes target(1000, 0xEE);
    TIFYccToRgb(target.data(), source.data(), page.get(), target.size(), source.size());
    EXPECT_EQ(target, Bytes(1000, 0xEE));
    if (c.width < 0) {
      TIFYccToRgb2x1(target.data(), source.data(), page.get(), target.size(), source.size());
      EXPECT_EQ(target, Bytes(1000, 0xEE));
      EXPECT_EQ(TIFYccTargetBytes(page.get()), 0u);
    }
  }
  EXPECT_EQ(TIFYccTargetBytes(MakePage(kUsual, 2147483647, 2147483647, 4, 0xFFFFFFFF).get()), UINT64_MAX);
}
