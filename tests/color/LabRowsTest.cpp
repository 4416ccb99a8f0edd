// CIELab rows to red, green, blue, bit for bit. The expectations were computed with exact fractions, each product and
// sum rounded once, by lab_reference.py beside this file.

#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "Tif/ColorConversion.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct LabCase {
  int lightness, a, b;
  int red, green, blue;
};

constexpr LabCase kCases8[] = {
    {255, 0, 0, 254, 255, 254},     {0, 0, 0, 0, 0, 0},
    {128, 0, 0, 47, 47, 47},        {255, 127, 127, 255, 23, 11},
    {255, -128, -128, 0, 255, 255}, {0, 127, -128, 0, 0, 128},
    {0, -128, 127, 9, 2, 0},        {1, 1, -1, 0, 0, 0},
    {64, 20, 30, 22, 7, 1},         {64, -20, -30, 0, 13, 33},
    {200, 45, -60, 159, 81, 255},   {200, -45, 60, 96, 180, 25},
    {100, 100, 100, 132, 0, 1},     {17, 3, -99, 0, 0, 88},
    {38, -97, -27, 0, 9, 16},       {15, 83, -115, 0, 0, 120},
    {8, 69, 64, 13, 0, 0},          {22, 127, 98, 48, 0, 0},
    {11, -23, -90, 0, 0, 66},       {1, -82, -105, 0, 0, 79},
    {37, 100, 110, 47, 0, 0},       {41, -25, 98, 3, 8, 0},
    {55, -43, 50, 1, 13, 0},        {4, 70, -61, 3, 0, 25},
    {34, 116, -59, 37, 0, 45},      {56, -12, 70, 8, 10, 0},
    {74, -87, -116, 0, 19, 244},    {148, 120, -1, 255, 0, 73},
};

constexpr LabCase kCases16[] = {
    {65535, 0, 0, 65505, 65535, 65505},
    {0, 0, 0, 171, 172, 171},
    {32768, 0, 0, 12065, 12080, 12065},
    {65535, 32767, 127, 65535, 3518, 65535},
    {65535, -32768, -128, 0, 65535, 63835},
    {0, 32767, -128, 7352, 0, 400},
    {0, -32768, 127, 0, 442, 146},
    {257, 256, -1, 199, 177, 185},
    {16448, 5120, 30, 4984, 1852, 2960},
    {16448, -5120, -30, 1259, 3765, 2878},
    {51400, 11520, -60, 59777, 22759, 36244},
    {51400, -11520, 60, 15759, 45499, 34580},
    {25700, 25600, 100, 31783, 0, 7722},
    {40000, 1234, -128, 20701, 18383, 19465},
    {1028, -28668, 91, 0, 472, 204},
    {771, -30973, 114, 0, 470, 187},
    {0, -24320, -15, 0, 347, 162},
    {0, 12032, 96, 1383, 0, 201},
    {2827, 11531, -116, 1978, 0, 416},
    {0, 6400, 94, 667, 0, 179},
    {0, -10752, -75, 0, 327, 168},
    {0, -11264, -107, 0, 329, 171},
    {0, -6912, 17, 0, 300, 162},
    {0, -26368, -115, 0, 357, 169},
    {0, 15360, 9, 1956, 0, 225},
    {2827, -9973, 45, 0, 633, 329},
    {1542, -3322, 27, 58, 364, 250},
    {514, 21250, 47, 3511, 0, 295},
    {0, 31488, -100, 6796, 0, 380},
    {8364, 28672, -125, 12025, 0, 1365},
};

uint8_t Low(int value) {
  return static_cast<uint8_t>(value);
}

uint8_t High(int value) {
  return static_cast<uint8_t>(value >> 8);
}

// A pixel of 16-bit samples; the high byte of b is noise.
void AppendPixel16(Bytes& row, int lightness, int a, int b, uint8_t noise) {
  row.insert(row.end(), {Low(lightness), High(lightness), Low(a), High(a), Low(b), noise});
}

int Sample16(const Bytes& row, size_t index) {
  return row[2 * index] + 256 * row[2 * index + 1];
}

uint64_t Fold(uint64_t hash, int value) {
  return hash * 1099511628211u + static_cast<uint64_t>(value);
}

} // namespace

TEST(LabToRgb8, KnownColors) {
  for (const LabCase& c : kCases8) {
    Bytes row = {Low(c.lightness), Low(c.a), Low(c.b)};
    TIFLabToRgb8(row.data(), 1, 3, row.size());
    EXPECT_EQ(row, (Bytes{Low(c.red), Low(c.green), Low(c.blue)})) << c.lightness << ' ' << c.a << ' ' << c.b;
  }
}

TEST(LabToRgb8, WhiteTruncatesBelowFullScale) {
  Bytes row = {255, 0, 0};
  TIFLabToRgb8(row.data(), 1, 3, row.size());
  EXPECT_EQ(row, (Bytes{254, 255, 254}));
}

TEST(LabToRgb8, EveryBitOfAGridOfColors) {
  Bytes row;
  for (int lightness = 0; lightness < 256; lightness += 5) {
    for (int a = -128; a < 128; a += 5) {
      for (int b = -128; b < 128; b += 5) {
        row.insert(row.end(), {Low(lightness), Low(a), Low(b)});
      }
    }
  }
  TIFLabToRgb8(row.data(), static_cast<uint32_t>(row.size() / 3), 3, row.size());
  uint64_t hash = 0;
  for (uint8_t value : row) {
    hash = Fold(hash, value);
  }
  EXPECT_EQ(hash, 0x20e7db95fa3b0279u);
}

TEST(LabToRgb8, StepPassesOverWhatIsBehindAPixel) {
  for (uint32_t step : {3u, 4u, 7u}) {
    Bytes row(step * 100, 0xA5);
    for (size_t i = 0; i < 100; ++i) {
      const LabCase& c = kCases8[i % std::size(kCases8)];
      row[i * step] = Low(c.lightness);
      row[i * step + 1] = Low(c.a);
      row[i * step + 2] = Low(c.b);
    }
    TIFLabToRgb8(row.data(), 100, step, row.size());
    for (size_t i = 0; i < 100; ++i) {
      const LabCase& c = kCases8[i % std::size(kCases8)];
      EXPECT_EQ(row[i * step], c.red);
      EXPECT_EQ(row[i * step + 1], c.green);
      EXPECT_EQ(row[i * step + 2], c.blue);
      for (size_t behind = 3; behind < step; ++behind) {
        EXPECT_EQ(row[i * step + behind], 0xA5) << "step " << step << " pixel " << i;
      }
    }
  }
}

TEST(LabToRgb16, KnownColors) {
  for (const LabCase& c : kCases16) {
    Bytes row;
    AppendPixel16(row, c.lightness, c.a, c.b, 0);
    TIFLabToRgb16(row.data(), 1, 3, row.size());
    EXPECT_EQ(Sample16(row, 0), c.red) << c.lightness << ' ' << c.a << ' ' << c.b;
    EXPECT_EQ(Sample16(row, 1), c.green) << c.lightness << ' ' << c.a << ' ' << c.b;
    EXPECT_EQ(Sample16(row, 2), c.blue) << c.lightness << ' ' << c.a << ' ' << c.b;
  }
}

TEST(LabToRgb16, OnlyTheSignedLowByteOfBCounts) {
  Bytes with;
  Bytes without;
  AppendPixel16(with, 40000, 1234, 0x80, 0x01); // the third sample is 0x0180
  AppendPixel16(without, 40000, 1234, 0x80, 0x00);
  TIFLabToRgb16(with.data(), 1, 3, with.size());
  TIFLabToRgb16(without.data(), 1, 3, without.size());
  EXPECT_EQ(with, without);
  EXPECT_EQ(Sample16(with, 0), 20701); // as b of -128
  EXPECT_EQ(Sample16(with, 2), 19465);
}

TEST(LabToRgb16, EveryBitOfAGridOfColors) {
  Bytes row;
  for (int lightness = 0; lightness < 65536; lightness += 1285) {
    for (int a = -32768; a < 32768; a += 1285) {
      for (int b = -128; b < 128; b += 5) {
        AppendPixel16(row, lightness, a, b, Low(a ^ b));
      }
    }
  }
  TIFLabToRgb16(row.data(), static_cast<uint32_t>(row.size() / 6), 3, row.size());
  uint64_t hash = 0;
  for (size_t i = 0; i < row.size() / 2; ++i) {
    hash = Fold(hash, Sample16(row, i));
  }
  EXPECT_EQ(hash, 0xffc79f079f60695fu);
}

TEST(LabToRgb16, StepCountsSamples) {
  Bytes row;
  for (const LabCase& c : kCases16) {
    AppendPixel16(row, c.lightness, c.a, c.b, 0);
    row.insert(row.end(), {0x12, 0x34});
  }
  TIFLabToRgb16(row.data(), static_cast<uint32_t>(std::size(kCases16)), 4, row.size());
  for (size_t i = 0; i < std::size(kCases16); ++i) {
    EXPECT_EQ(Sample16(row, 4 * i), kCases16[i].red);
    EXPECT_EQ(Sample16(row, 4 * i + 1), kCases16[i].green);
    EXPECT_EQ(Sample16(row, 4 * i + 2), kCases16[i].blue);
    EXPECT_EQ(Sample16(row, 4 * i + 3), 0x3412);
  }
}

TEST(LabRows, StayWithinTheRow) {
  for (uint32_t samples : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 300u}) {
    for (uint32_t step : {3u, 4u, 1000u}) {
      const size_t whole = samples < 3 ? 0 : (samples - 3) / step + 1;
      const Bytes untouched(samples, 0x40);
      Bytes row = untouched;
      row.shrink_to_fit(); // so that a sanitizer sees a byte touched behind it
      TIFLabToRgb8(row.data(), 1000000, step, row.size());
      size_t changed = 0;
      for (size_t i = 0; i < samples; i += step) {
        changed += row[i] != 0x40 ? 1 : 0; // 64, 64, 64 has no red of 64
      }
      EXPECT_EQ(changed, whole) << samples << " samples, step " << step;

      Bytes wide(2 * samples, 0x40);
      wide.shrink_to_fit();
      TIFLabToRgb16(wide.data(), 1000000, step, wide.size());
      EXPECT_EQ(wide != Bytes(2 * samples, 0x40), whole != 0);
    }
  }
}

// A bitmap shallower than the page gives a step below 3: each pixel then sees what the one before it left.
TEST(LabRows, OverlappingPixelsGoInOrder) {
  Bytes row = {255, 0, 0, 0};
  TIFLabToRgb8(row.data(), 2, 1, row.size());
  Bytes second = {255, 254, 0}; // what the first pixel leaves for the second
  TIFLabToRgb8(second.data(), 1, 3, second.size());
  EXPECT_EQ(row, (Bytes{254, second[0], second[1], second[2]}));
  Bytes twice = {255, 0, 0};
  TIFLabToRgb8(twice.data(), 2, 0, twice.size());
  Bytes again = {254, 255, 254};
  TIFLabToRgb8(again.data(), 1, 3, again.size());
  EXPECT_EQ(twice, again);
}

TEST(LabPalette, ConvertsInPlaceAndLeavesTheReservedByte) {
  VxColor palette[kPaletteEntries];
  for (size_t i = 0; i < std::size(palette); ++i) {
    const LabCase& c = kCases8[i % std::size(kCases8)];
    palette[i] = {Low(c.b), Low(c.a), Low(c.lightness), 0x5A};
  }
  TIFLabPaletteToRgb(palette, 200);
  for (size_t i = 0; i < std::size(palette); ++i) {
    const LabCase& c = kCases8[i % std::size(kCases8)];
    EXPECT_EQ(palette[i].red, i < 200 ? c.red : Low(c.lightness)) << i;
    EXPECT_EQ(palette[i].green, i < 200 ? c.green : Low(c.a)) << i;
    EXPECT_EQ(palette[i].blue, i < 200 ? c.blue : Low(c.b)) << i;
    EXPECT_EQ(palette[i].reserved, 0x5A);
  }
}
