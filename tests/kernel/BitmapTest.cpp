// Bitmaps: descriptors, rows, packed rows, palettes, the grey test, view rotation, conversions.

#include "vxkernel/bitmap.h"
#include "vxkernel/limits.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

namespace {

class Bitmaps : public testing::Test {
protected:
  void SetUp() override { krnGetStatistics(&before_); }
  void TearDown() override {
    krnSetLimits(nullptr);
    krnSetAllocHook(nullptr, nullptr);
    KrnStatistics after = {};
    krnGetStatistics(&after);
    EXPECT_EQ(after.liveBlocks, before_.liveBlocks);
    EXPECT_EQ(after.pixelBytes, before_.pixelBytes);
  }
  KrnStatistics before_ = {};
};

int32_t Create(BitmapHandle* bitmap, int32_t width, int32_t height, int32_t bits, uint32_t order = 0) {
  return krnBitmapCreate(bitmap, 164, 1, width, height, bits, order, 0, 4, 0, 0);
}

std::vector<uint8_t> RowBytes(const BitmapHandle& bitmap, int32_t row) {
  std::vector<uint8_t> bytes(static_cast<size_t>(bitmap.bytesPerLine));
  EXPECT_EQ(krnBitmapGetRow(&bitmap, bytes.data(), row, bitmap.bytesPerLine), bitmap.bytesPerLine);
  return bytes;
}

using Bytes = std::vector<uint8_t>;

TEST_F(Bitmaps, TheDescriptorHasItsPlaces) {
  EXPECT_EQ(sizeof(BitmapHandle), 164u);
  EXPECT_EQ(offsetof(BitmapHandle, width), 12u);
  EXPECT_EQ(offsetof(BitmapHandle, lookupTable), 108u);
  EXPECT_EQ(offsetof(BitmapHandle, highBit2), 132u);
}

TEST_F(Bitmaps, InitClearsAllElse) {
  BitmapHandle bitmap;
  std::memset(&bitmap, 0xEE, sizeof bitmap);
  ASSERT_EQ(krnBitmapInit(&bitmap, 164, 13, 7, 4), 1);
  BitmapHandle want = {};
  want.structSize = 164;
  want.width = 13;
  want.height = 7;
  want.bitsPerPixel = 4;
  want.bytesPerLine = 8;
  want.viewPerspective = 1;
  want.highBit = -1;
  want.highBit2 = -1;
  EXPECT_EQ(std::memcmp(&bitmap, &want, sizeof want), 0);
  EXPECT_EQ(krnBitmapPixels(&bitmap), nullptr);
}

TEST_F(Bitmaps, InitRefusesNullAndAWrongSize) {
  BitmapHandle bitmap;
  std::memset(&bitmap, 0xEE, sizeof bitmap);
  EXPECT_EQ(krnBitmapInit(nullptr, 164, 1, 1, 1), -13);
  EXPECT_EQ(krnBitmapInit(&bitmap, 160, 1, 1, 1), -13);
  const uint32_t first = bitmap.structSize;
  EXPECT_EQ(first, 0xEEEEEEEEu);
}

TEST_F(Bitmaps, BytesPerLineIsRoundedUpTo4) {
  struct Case {
    int32_t width, bits, bytes;
  };
  for (const Case& c : {Case{1, 1, 4},
                        {32, 1, 4},
                        {33, 1, 8},
                        {3, 8, 4},
                        {5, 8, 8},
                        {3, 24, 12},
                        {1, 48, 8},
                        {0, 8, 0},
                        {-5, 8, 0},
                        {INT32_MAX, 64, INT32_MAX - 3}}) {
    BitmapHandle bitmap;
    krnBitmapInit(&bitmap, 164, c.width, 1, c.bits);
    const int32_t bytes = bitmap.bytesPerLine;
    EXPECT_EQ(bytes, c.bytes) << c.width << " x " << c.bits;
  }
}

TEST_F(Bitmaps, CreateGivesClearedPixelsAndFreeTakesThem) {
  BitmapHandle bitmap;
  ASSERT_EQ(krnBitmapCreate(&bitmap, 164, 1, 5, 3, 8, 1, 0, 6, 0, 0), 1);
  const uint32_t order = bitmap.order;
  const uint32_t view = bitmap.viewPerspective;
  EXPECT_EQ(order, 1u);
  EXPECT_EQ(view, 6u);
  for (int32_t row = 0; row < 3; ++row) {
    EXPECT_EQ(RowBytes(bitmap, row), Bytes(8, 0));
  }
  EXPECT_NE(krnBitmapPixels(&bitmap), nullptr);
  const BitmapHandle copy = bitmap;
  EXPECT_EQ(krnBitmapFree(&bitmap), 1);
  EXPECT_EQ(krnBitmapPixels(&bitmap), nullptr);
  EXPECT_EQ(krnBitmapPixels(&copy), nullptr); // a copy that outlives the pixels finds nothing
  EXPECT_EQ(krnBitmapFree(&bitmap), 1);
  BitmapHandle stale = copy;
  EXPECT_EQ(krnBitmapFree(&stale), 1);
  EXPECT_EQ(krnBitmapFree(nullptr), 1);
}

TEST_F(Bitmaps, CreateRefusesBadMeasures) {
  BitmapHandle bitmap;
  for (int32_t bad : {0, -1, INT32_MIN}) {
    EXPECT_EQ(Create(&bitmap, bad, 1, 1), -13);
    EXPECT_EQ(Create(&bitmap, 1, bad, 1), -13);
    EXPECT_EQ(Create(&bitmap, 1, 1, bad), -13);
  }
  EXPECT_EQ(Create(&bitmap, 1, 1, 65), -13);
  EXPECT_EQ(Create(nullptr, 1, 1, 1), -13);
  EXPECT_EQ(krnBitmapCreate(&bitmap, 163, 1, 1, 1, 1, 0, 0, 1, 0, 0), -13);
  EXPECT_EQ(Create(&bitmap, INT32_MAX, 1, 64), -1);
  EXPECT_EQ(Create(&bitmap, INT32_MAX / 8, INT32_MAX, 64), -1);
}

TEST_F(Bitmaps, CreateWithoutMemoryLeavesNoPixels) {
  BitmapHandle bitmap;
  for (int fail = 1; fail <= 2; ++fail) {
    int left = fail;
    krnSetAllocHook([](size_t, int32_t, const char*, void* data) { return --*static_cast<int*>(data) == 0 ? 0 : 1; },
                    &left);
    EXPECT_EQ(Create(&bitmap, 9, 9, 8), -1) << fail;
    krnSetAllocHook(nullptr, nullptr);
    EXPECT_EQ(krnBitmapPixels(&bitmap), nullptr);
  }
}

TEST_F(Bitmaps, PixelsHaveALimitOfTheirOwn) {
  KrnLimits limits = {};
  krnGetLimits(&limits);
  limits.pixelBytes = before_.pixelBytes + 1000;
  krnSetLimits(&limits);
  BitmapHandle first, second;
  ASSERT_EQ(Create(&first, 20, 40, 8), 1);
  EXPECT_EQ(Create(&second, 20, 11, 8), -1);
  EXPECT_EQ(Create(&second, 20, 10, 8), 1);
  krnBitmapFree(&first);
  krnBitmapFree(&second);
}

TEST_F(Bitmaps, AccessAndReleaseNestAndAreHarmlessWithoutEachOther) {
  BitmapHandle bitmap;
  ASSERT_EQ(Create(&bitmap, 4, 1, 8), 1);
  EXPECT_EQ(krnBitmapRelease(&bitmap), 1);
  EXPECT_EQ(krnBitmapAccess(&bitmap), 1);
  EXPECT_EQ(krnBitmapAccess(&bitmap), 1);
  EXPECT_EQ(krnBitmapRelease(&bitmap), 1);
  EXPECT_EQ(krnBitmapPutRow(&bitmap, "abcd", 0, 4), 4);
  EXPECT_EQ(krnBitmapRelease(&bitmap), 1);
  EXPECT_EQ(RowBytes(bitmap, 0), (Bytes{'a', 'b', 'c', 'd'}));
  krnBitmapFree(&bitmap);
  EXPECT_EQ(krnBitmapAccess(&bitmap), 1);
}

TEST_F(Bitmaps, RowsGoInAndOutAndNothingOutside) {
  BitmapHandle bitmap;
  ASSERT_EQ(Create(&bitmap, 3, 4, 8), 1);
  Bytes all(16);
  std::iota(all.begin(), all.end(), uint8_t{1});
  EXPECT_EQ(krnBitmapPutRow(&bitmap, all.data(), 0, 16), 16); // several rows in one call
  EXPECT_EQ(RowBytes(bitmap, 2), (Bytes{9, 10, 11, 12}));
  EXPECT_EQ(krnBitmapPutRow(&bitmap, "xy", 1, 2), 2);
  EXPECT_EQ(RowBytes(bitmap, 1), (Bytes{'x', 'y', 7, 8}));
  EXPECT_EQ(krnBitmapPutRow(&bitmap, all.data(), 3, 16), 4); // the last row takes its own bytes alone
  EXPECT_EQ(RowBytes(bitmap, 3), (Bytes{1, 2, 3, 4}));
  for (int32_t row : {-1, 4, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(krnBitmapPutRow(&bitmap, all.data(), row, 4), 0) << row;
    EXPECT_EQ(krnBitmapGetRow(&bitmap, all.data(), row, 4), 0) << row;
  }
  EXPECT_EQ(krnBitmapPutRow(&bitmap, all.data(), 0, 0), 0);
  EXPECT_EQ(krnBitmapPutRow(&bitmap, all.data(), 0, -4), 0);
  EXPECT_EQ(krnBitmapPutRow(&bitmap, nullptr, 0, 4), 0);
  Bytes back(20, 0xEE);
  EXPECT_EQ(krnBitmapGetRow(&bitmap, back.data(), 3, 20), 4);
  EXPECT_EQ(back[4], 0xEE);
  // What a caller makes of the descriptor doesn't move the bounds.
  bitmap.height = 100;
  bitmap.bytesPerLine = 100;
  EXPECT_EQ(krnBitmapPutRow(&bitmap, all.data(), 4, 4), 0);
  krnBitmapFree(&bitmap);
  EXPECT_EQ(krnBitmapPutRow(&bitmap, all.data(), 0, 4), 0);
  EXPECT_EQ(krnBitmapGetRow(nullptr, all.data(), 0, 4), 0);
}

Bytes Runs(const std::vector<unsigned>& runs) {
  Bytes bytes;
  for (unsigned run : runs) {
    bytes.push_back(static_cast<uint8_t>(run));
    bytes.push_back(static_cast<uint8_t>(run >> 8));
  }
  return bytes;
}

TEST_F(Bitmaps, PackedRowsAreWhiteAndBlackRunsInTurn) {
  BitmapHandle bitmap;
  ASSERT_EQ(Create(&bitmap, 40, 6, 1), 1);
  krnBitmapPutRow(&bitmap, Bytes(48, 0xFF).data(), 0, 48);
  const Bytes runs = Runs({40,               // white
                           0, 40,            // black
                           3, 2, 1, 18, 16,  // within a byte, over bytes, to the end in white
                           8, 16, 16,        // on byte bounds
                           0, 1, 0, 1, 99}); // runs of nothing; a run past the width is cut
  EXPECT_EQ(krnBitmapPutPackedRows(&bitmap, 0, runs.data(), 1, 5), 1);
  EXPECT_EQ(RowBytes(bitmap, 0), Bytes(8, 0xFF));
  EXPECT_EQ(RowBytes(bitmap, 1), Bytes(8, 0));
  EXPECT_EQ(RowBytes(bitmap, 2), (Bytes{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0}));
  EXPECT_EQ(RowBytes(bitmap, 3), (Bytes{0x1B, 0xFF, 0xFF, 0, 0, 0, 0, 0}));
  EXPECT_EQ(RowBytes(bitmap, 4), (Bytes{0, 0xFF, 0xFF, 0, 0, 0, 0, 0}));
  EXPECT_EQ(RowBytes(bitmap, 5), (Bytes{0xC0, 0, 0, 0, 0, 0, 0, 0}));
  krnBitmapFree(&bitmap);
}

TEST_F(Bitmaps, PackedRowsEndingOnTheLastByteOfTheBitmap) {
  BitmapHandle bitmap;
  ASSERT_EQ(Create(&bitmap, 32, 1, 1), 1);
  EXPECT_EQ(krnBitmapPutPackedRows(&bitmap, 0, Runs({1, 31}).data(), 0, 1), 1);
  EXPECT_EQ(RowBytes(bitmap, 0), (Bytes{0x7F, 0xFF, 0xFF, 0xFF}));
  krnBitmapFree(&bitmap);
}

TEST_F(Bitmaps, PackedRowsOutsideArePassedOver) {
  BitmapHandle bitmap, deep;
  ASSERT_EQ(Create(&bitmap, 8, 2, 1), 1);
  ASSERT_EQ(Create(&deep, 8, 2, 8), 1);
  const Bytes runs = Runs({0, 8, 4, 4, 2, 6, 0, 8});
  EXPECT_EQ(krnBitmapPutPackedRows(&bitmap, 0, runs.data(), -1, 4), 1);
  EXPECT_EQ(RowBytes(bitmap, 0)[0], 0x0F);
  EXPECT_EQ(RowBytes(bitmap, 1)[0], 0x3F);
  EXPECT_EQ(krnBitmapPutPackedRows(&bitmap, 0, runs.data(), 2, 2), 0);
  EXPECT_EQ(krnBitmapPutPackedRows(&bitmap, 0, runs.data(), 0, 0), 0);
  EXPECT_EQ(krnBitmapPutPackedRows(&bitmap, 0, nullptr, 0, 1), 0);
  EXPECT_EQ(krnBitmapPutPackedRows(&deep, 0, runs.data(), 0, 1), 0);
  krnBitmapFree(&bitmap);
  krnBitmapFree(&deep);
}

// --- palettes ---

VxColor Color(unsigned blue, unsigned green, unsigned red) {
  return {static_cast<uint8_t>(blue), static_cast<uint8_t>(green), static_cast<uint8_t>(red), 0};
}

bool operator==(const VxColor& left, const VxColor& right) {
  return std::memcmp(&left, &right, sizeof left) == 0;
}

TEST_F(Bitmaps, APaletteIsKeptBesideThePixels) {
  BitmapHandle bitmap;
  ASSERT_EQ(Create(&bitmap, 1, 1, 8), 1);
  uint32_t count = 99;
  EXPECT_EQ(krnBitmapPalette(&bitmap, &count), nullptr);
  EXPECT_EQ(count, 0u);
  std::vector<VxColor> colors(300);
  for (unsigned i = 0; i < 300; ++i) {
    colors[i] = Color(i & 255, i / 2, 7);
  }
  EXPECT_EQ(krnBitmapSetPalette(&bitmap, colors.data(), 300), 1);
  uint32_t used = bitmap.colorsUsed;
  EXPECT_EQ(used, 256u);
  const VxColor* kept = krnBitmapPalette(&bitmap, &count);
  ASSERT_EQ(count, 256u);
  EXPECT_EQ(std::memcmp(kept, colors.data(), 1024), 0);
  EXPECT_EQ(krnBitmapSetPalette(&bitmap, colors.data() + 5, 2), 1);
  EXPECT_TRUE(krnBitmapPalette(&bitmap, &count)[1] == colors[6]);
  EXPECT_EQ(count, 2u);
  krnBitmapFree(&bitmap);
  EXPECT_EQ(krnBitmapPalette(&bitmap, &count), nullptr);
}

TEST_F(Bitmaps, APaletteWithoutPixelsIsAcceptedAndNotKept) {
  BitmapHandle bitmap;
  krnBitmapInit(&bitmap, 164, 1, 1, 8);
  const VxColor color = Color(1, 2, 3);
  EXPECT_EQ(krnBitmapSetPalette(&bitmap, &color, 1), 1);
  EXPECT_EQ(krnBitmapPalette(&bitmap, nullptr), nullptr);
  EXPECT_EQ(krnBitmapSetPalette(nullptr, &color, 1), -13);
  EXPECT_EQ(krnBitmapSetPalette(&bitmap, nullptr, 1), -13);
}

TEST_F(Bitmaps, DefaultPalettesBelow8BitsAreEvenGreyRamps) {
  const std::vector<std::vector<unsigned>> ramps = {{0, 255}, {0, 85, 170, 255}, {0, 36, 73, 109, 146, 182, 219, 255}};
  for (int32_t bits = 1; bits < 8; ++bits) {
    std::vector<VxColor> palette(256, Color(9, 9, 9));
    EXPECT_EQ(krnDefaultPalette(palette.data(), bits), 1);
    const unsigned count = 1u << bits;
    for (unsigned i = 0; i < 256; ++i) {
      const unsigned level = i >= count ? 0 : (255 * i + (count - 1) / 2) / (count - 1);
      ASSERT_TRUE(palette[i] == Color(level, level, level)) << bits << " " << i;
      if (bits <= 3 && i < count) {
        EXPECT_EQ(level, ramps[static_cast<size_t>(bits - 1)][i]);
      }
    }
  }
}

TEST_F(Bitmaps, TheDefaultPaletteOf8BitsIsACubeAndGreys) {
  std::vector<VxColor> palette(256, Color(9, 9, 9));
  EXPECT_EQ(krnDefaultPalette(palette.data(), 8), 1);
  EXPECT_TRUE(palette[0] == Color(0, 0, 0));
  EXPECT_TRUE(palette[1] == Color(51, 0, 0)); // blue fastest
  EXPECT_TRUE(palette[6] == Color(0, 51, 0));
  EXPECT_TRUE(palette[36] == Color(0, 0, 51));
  EXPECT_TRUE(palette[36 * 2 + 6 * 3 + 4] == Color(204, 153, 102));
  EXPECT_TRUE(palette[215] == Color(255, 255, 255));
  for (unsigned i = 216; i < 256; ++i) {
    const VxColor& gray = palette[i];
    EXPECT_TRUE(gray.blue == gray.green && gray.green == gray.red) << i;
    EXPECT_TRUE(i == 216 ? gray.blue > 0 : gray.blue > palette[i - 1].blue) << i;
  }
  EXPECT_LT(palette[255].blue, 255);
  EXPECT_EQ(krnDefaultPalette(nullptr, 8), -13);
}

std::vector<VxColor> Grays(const std::vector<unsigned>& levels) {
  std::vector<VxColor> palette;
  for (unsigned level : levels) {
    palette.push_back(Color(level, level, level));
  }
  return palette;
}

TEST_F(Bitmaps, GrayIsToldFromRampFromColor) {
  struct Case {
    std::vector<VxColor> palette;
    int32_t bits;
    uint32_t order;
    int32_t want;
  };
  std::vector<unsigned> ramp16, ramp256;
  for (unsigned i = 0; i < 256; ++i) {
    ramp256.push_back(i);
    if (i < 16) {
      ramp16.push_back((7 + 255 * i) / 15);
    }
  }
  std::vector<unsigned> bent = ramp256;
  bent[100] = 101;
  std::vector<VxColor> tinted = Grays(ramp256);
  tinted[255].blue = 254;
  const Case cases[] = {
      {Grays({0, 255}), 1, 0, 1},     {Grays({255, 0}), 1, 0, 2}, {Grays({0, 85, 170, 255}), 2, 1, 1},
      {Grays(ramp16), 4, 0, 1},       {Grays(ramp256), 8, 0, 1},  {Grays(bent), 8, 0, 2},
      {Grays({7}), 8, 0, 2},          {Grays({0}), 8, 0, 1},      {tinted, 8, 2, 0},
      {{Color(255, 0, 0)}, 8, 2, 0},  {{}, 8, kOrderGray, 1},     {{}, 8, kOrderRedFirst, 0},
      {{}, 1, kOrderBlueFirst, 0},    {{}, 16, kOrderGray, 1},    {{}, 24, kOrderRedFirst, 0},
      {{Color(255, 0, 0)}, 16, 2, 1}, // only up to 8 bits have a palette
  };
  for (const Case& c : cases) {
    BitmapHandle bitmap;
    ASSERT_EQ(Create(&bitmap, 1, 1, c.bits, c.order), 1);
    if (!c.palette.empty()) {
      krnBitmapSetPalette(&bitmap, c.palette.data(), static_cast<uint32_t>(c.palette.size()));
    }
    EXPECT_EQ(krnBitmapIsGray(&bitmap), c.want) << (&c - cases);
    krnBitmapFree(&bitmap);
  }
  EXPECT_EQ(krnBitmapIsGray(nullptr), 0);
}

TEST_F(Bitmaps, ViewsSplitIntoMirroringAndTurning) {
  struct Case {
    uint32_t view;
    int32_t mirrored, degrees;
  };
  for (const Case& c :
       {Case{4, 1, 0}, {5, 1, 90}, {2, 1, 180}, {7, 1, 270}, {1, 0, 0}, {6, 0, 90}, {3, 0, 180}, {8, 0, 270}}) {
    int32_t mirrored = -1, degrees = -1;
    EXPECT_EQ(krnViewRotation(c.view, 1, &mirrored, &degrees), 1);
    EXPECT_EQ(mirrored, c.mirrored) << c.view;
    EXPECT_EQ(degrees, c.degrees) << c.view;
  }
  for (uint32_t view : {0u, 9u, 0xFFFFFFFFu}) {
    int32_t mirrored = -1, degrees = -1;
    EXPECT_EQ(krnViewRotation(view, 1, &mirrored, &degrees), -13);
    EXPECT_EQ(mirrored, 0);
    EXPECT_EQ(degrees, 0);
  }
  EXPECT_EQ(krnViewRotation(6, 1, nullptr, nullptr), 1);
}

// --- rows between depths ---

int32_t Convert(Bytes& row, int32_t pixels, int32_t in, int32_t out) {
  return krnConvertRow(row.data(), pixels, in, out, 1, 1, 0, 0, 0, 0, 0);
}

TEST_F(Bitmaps, RowsBetween16And8BitSamples) {
  Bytes row = {0x34, 0x12, 0x78, 0x56, 0xBC, 0x9A, 0xF0, 0xDE, 0xAA, 0xAA};
  EXPECT_EQ(Convert(row, 1, 64, 32), 1);
  EXPECT_EQ(Bytes(row.begin(), row.begin() + 4), (Bytes{0x12, 0x56, 0x9A, 0xDE}));
  EXPECT_EQ(row[8], 0xAA);
  EXPECT_EQ(Convert(row, 1, 32, 64), 1);
  EXPECT_EQ(row, (Bytes{0x12, 0x12, 0x56, 0x56, 0x9A, 0x9A, 0xDE, 0xDE, 0xAA, 0xAA}));
  EXPECT_EQ(Convert(row, 4, 16, 8), 1);
  EXPECT_EQ(Bytes(row.begin(), row.begin() + 4), (Bytes{0x12, 0x56, 0x9A, 0xDE}));
  EXPECT_EQ(Convert(row, 1, 24, 48), 1);
  EXPECT_EQ(Bytes(row.begin(), row.begin() + 6), (Bytes{0x12, 0x12, 0x56, 0x56, 0x9A, 0x9A}));
  const Bytes before = row;
  for (auto [in, out] : {std::pair{8, 8}, {8, 32}, {4, 8}, {0, 0}, {-8, -16}, {64, 16}, {1 << 30, INT32_MIN}}) {
    EXPECT_EQ(Convert(row, 1, in, out), -27) << in << " to " << out;
  }
  EXPECT_EQ(Convert(row, 0, 16, 8), 1);
  EXPECT_EQ(Convert(row, -1, 16, 8), 1);
  EXPECT_EQ(row, before);
}

// --- whole bitmaps ---

TEST_F(Bitmaps, SetDepthTurnsBitsIntoGreys) {
  struct Case {
    std::vector<VxColor> palette;
    uint8_t zero, one;
  };
  for (const Case& c : {Case{{}, 0, 255}, Case{Grays({255, 0}), 255, 0}, Case{Grays({10, 200}), 10, 200},
                        Case{{Color(255, 0, 0), Color(0, 0, 255)}, 29, 76}}) {
    BitmapHandle bitmap;
    ASSERT_EQ(Create(&bitmap, 11, 2, 1), 1);
    krnBitmapPutRow(&bitmap, "\xA5\x60\x00\x00\x01\x80", 0, 6);
    if (!c.palette.empty()) {
      krnBitmapSetPalette(&bitmap, c.palette.data(), 2);
    }
    ASSERT_EQ(krnBitmapSetDepth(&bitmap, 8), 1);
    const int32_t bits = bitmap.bitsPerPixel;
    EXPECT_EQ(bits, 8);
    const uint8_t o = c.zero, i = c.one;
    EXPECT_EQ(RowBytes(bitmap, 0), (Bytes{i, o, i, o, o, i, o, i, o, i, i, 0}));
    EXPECT_EQ(RowBytes(bitmap, 1), (Bytes{o, o, o, o, o, o, o, i, i, o, o, 0}));
    EXPECT_EQ(krnBitmapIsGray(&bitmap), 1);
    krnBitmapFree(&bitmap);
  }
}

TEST_F(Bitmaps, SetDepthRefusals) {
  BitmapHandle bitmap;
  krnBitmapInit(&bitmap, 164, 1, 1, 1);
  EXPECT_EQ(krnBitmapSetDepth(&bitmap, 8), -13);
  EXPECT_EQ(krnBitmapSetDepth(nullptr, 8), -13);
  ASSERT_EQ(Create(&bitmap, 4, 1, 8), 1);
  EXPECT_EQ(krnBitmapSetDepth(&bitmap, 1), -27);
  EXPECT_EQ(krnBitmapSetDepth(&bitmap, 8), 1);
  krnBitmapFree(&bitmap);
}

TEST_F(Bitmaps, ResizeNearestAtEveryDepth) {
  BitmapHandle bitmap;
  ASSERT_EQ(Create(&bitmap, 4, 2, 8), 1);
  krnBitmapPutRow(&bitmap, "abcdefgh", 0, 8);
  ASSERT_EQ(krnBitmapResize(&bitmap, 8, 1, 0), 1); // the centre of one row out of two lies in the second
  EXPECT_EQ(RowBytes(bitmap, 0), (Bytes{'e', 'e', 'f', 'f', 'g', 'g', 'h', 'h'}));
  ASSERT_EQ(krnBitmapResize(&bitmap, 4, 2, 0), 1);
  EXPECT_EQ(RowBytes(bitmap, 1), (Bytes{'e', 'f', 'g', 'h'}));
  krnBitmapFree(&bitmap);

  for (int32_t bits : {1, 2, 4}) {
    ASSERT_EQ(Create(&bitmap, 16 / bits, 1, bits), 1);
    krnBitmapPutRow(&bitmap, "\xB4\x2D", 0, 2);
    ASSERT_EQ(krnBitmapResize(&bitmap, 32 / bits, 2, 0), 1);
    const Bytes want = bits == 1   ? Bytes{0xCF, 0x30, 0x0C, 0xF3}
                       : bits == 2 ? Bytes{0xAF, 0x50, 0x0A, 0xF5}
                                   : Bytes{0xBB, 0x44, 0x22, 0xDD};
    EXPECT_EQ(RowBytes(bitmap, 1), want) << bits;
    krnBitmapFree(&bitmap);
  }

  ASSERT_EQ(Create(&bitmap, 2, 1, 24), 1);
  krnBitmapPutRow(&bitmap, "abcdef", 0, 6);
  ASSERT_EQ(krnBitmapResize(&bitmap, 4, 1, 0), 1);
  const Bytes wide = RowBytes(bitmap, 0);
  EXPECT_EQ(std::string(wide.begin(), wide.end()), "abcabcdefdef");
  krnBitmapFree(&bitmap);
}

TEST_F(Bitmaps, ResizeBoxTakesTheMeanOfWhatAPixelCovers) {
  BitmapHandle bitmap;
  ASSERT_EQ(Create(&bitmap, 4, 2, 8), 1);
  krnBitmapPutRow(&bitmap, Bytes{0, 10, 20, 30, 40, 50, 60, 71}.data(), 0, 8);
  ASSERT_EQ(krnBitmapResize(&bitmap, 2, 1, 4), 1);
  EXPECT_EQ(RowBytes(bitmap, 0), (Bytes{25, 45, 0, 0})); // 100 / 4, 181 / 4 rounded
  krnBitmapFree(&bitmap);

  ASSERT_EQ(Create(&bitmap, 3, 1, 8), 1);
  krnBitmapPutRow(&bitmap, Bytes{0, 90, 255, 0}.data(), 0, 4);
  ASSERT_EQ(krnBitmapResize(&bitmap, 2, 2, 4), 1); // a pixel covers one and a half
  EXPECT_EQ(RowBytes(bitmap, 0), (Bytes{30, 200, 0, 0}));
  EXPECT_EQ(RowBytes(bitmap, 1), (Bytes{30, 200, 0, 0}));
  ASSERT_EQ(krnBitmapResize(&bitmap, 6, 2, 4), 1);
  EXPECT_EQ(RowBytes(bitmap, 0), (Bytes{30, 30, 30, 200, 200, 200, 0, 0}));
  krnBitmapFree(&bitmap);
}

TEST_F(Bitmaps, ResizeRefusals) {
  BitmapHandle bitmap;
  krnBitmapInit(&bitmap, 164, 4, 4, 8);
  EXPECT_EQ(krnBitmapResize(&bitmap, 2, 2, 0), -13);
  EXPECT_EQ(krnBitmapResize(nullptr, 2, 2, 0), -13);
  ASSERT_EQ(Create(&bitmap, 4, 4, 24), 1);
  EXPECT_EQ(krnBitmapResize(&bitmap, 0, 2, 0), -13);
  EXPECT_EQ(krnBitmapResize(&bitmap, 2, -1, 0), -13);
  EXPECT_EQ(krnBitmapResize(&bitmap, 2, 2, 1), -13);
  EXPECT_EQ(krnBitmapResize(&bitmap, 2, 2, 4), -27);
  EXPECT_EQ(krnBitmapResize(&bitmap, INT32_MAX, 1, 0), -1);
  EXPECT_EQ(krnBitmapResize(&bitmap, 1 << 20, INT32_MAX, 0), -1);
  EXPECT_EQ(krnBitmapResize(&bitmap, 4, 4, 0), 1);
  krnBitmapFree(&bitmap);
  ASSERT_EQ(Create(&bitmap, 4, 4, 12), 1);
  EXPECT_EQ(krnBitmapResize(&bitmap, 2, 2, 0), -27);
  krnBitmapFree(&bitmap);
}

int32_t Reduce(BitmapHandle* target, BitmapHandle* source, int32_t bits = 1, int32_t method = 2, uint32_t size = 164) {
  return krnBitmapReduce(target, source, size, bits, 1, 0, 0, method, 0, 0);
}

TEST_F(Bitmaps, ReduceKeepsBlackAndWhiteAndTheMeanOfGreys) {
  constexpr int32_t kSide = 64;
  for (unsigned level : {0u, 64u, 128u, 191u, 255u}) {
    BitmapHandle bitmap;
    ASSERT_EQ(Create(&bitmap, kSide, kSide, 8), 1);
    const Bytes pixels(kSide * kSide, static_cast<uint8_t>(level));
    krnBitmapPutRow(&bitmap, pixels.data(), 0, kSide * kSide);
    ASSERT_EQ(Reduce(&bitmap, &bitmap), 1);
    const int32_t bits = bitmap.bitsPerPixel;
    EXPECT_EQ(bits, 1);
    int white = 0;
    for (int32_t row = 0; row < kSide; ++row) {
      for (uint8_t byte : RowBytes(bitmap, row)) {
        white += __builtin_popcount(byte);
      }
    }
    const int want = static_cast<int>(level) * kSide * kSide / 255;
    EXPECT_NEAR(white, want, level == 0 || level == 255 ? 0 : kSide) << level;
    krnBitmapFree(&bitmap);
  }
}

TEST_F(Bitmaps, ReduceFollowsTheWeightsOfFloydAndSteinberg) {
  BitmapHandle bitmap;
  ASSERT_EQ(Create(&bitmap, 4, 2, 8), 1);
  // Row 0: 100 is black, error 100: 43 to the right; 100 + 43 = 143 is white, error -112: -49; 100 - 49 = 51 is black,
  // error 51: 22; 110 + 22 = 132 is white, error -123. Row 1 has coming, in sixteenths: 5 * 100 + 3 * -112 = 164,
  // 100 + 5 * -112 + 3 * 51 = -307, -112 + 5 * 51 + 3 * -123 = -226, 51 + 5 * -123 = -564.
  krnBitmapPutRow(&bitmap, Bytes{100, 100, 100, 110, 118, 150, 143, 160}.data(), 0, 8);
  ASSERT_EQ(Reduce(&bitmap, &bitmap), 1);
  EXPECT_EQ(RowBytes(bitmap, 0)[0], 0x50);
  // Row 1: 118 + 10 = 128 is white, error -127: -889; 150 + (-307 - 889) / 16 = 76 is black: 532;
  // 143 + (-226 + 532) / 16 = 162 is white, error -93: -651; 160 + (-564 - 651) / 16 = 85 is black.
  EXPECT_EQ(RowBytes(bitmap, 1)[0], 0xA0);
  krnBitmapFree(&bitmap);
}

TEST_F(Bitmaps, ReduceIntoAnotherBitmapLeavesTheSource) {
  BitmapHandle source, target;
  ASSERT_EQ(Create(&source, 9, 1, 8), 1);
  source.xResolution = 300;
  source.yResolution = 200;
  krnBitmapPutRow(&source, Bytes{0, 255, 0, 255, 255, 0, 0, 0, 255}.data(), 0, 9);
  ASSERT_EQ(Reduce(&target, &source), 1);
  EXPECT_EQ(RowBytes(target, 0), (Bytes{0x58, 0x80, 0, 0}));
  EXPECT_EQ(RowBytes(source, 0)[1], 255);
  const int32_t x = target.xResolution, y = target.yResolution;
  const uint32_t view = target.viewPerspective;
  EXPECT_EQ(x, 300);
  EXPECT_EQ(y, 200);
  EXPECT_EQ(view, 4u);
  krnBitmapFree(&target);

  const std::vector<VxColor> inverse = Grays({255});
  krnBitmapSetPalette(&source, inverse.data(), 1); // value 0 is white by the palette
  ASSERT_EQ(Reduce(&target, &source), 1);
  EXPECT_EQ(RowBytes(target, 0), (Bytes{0xFF, 0x80, 0, 0}));
  krnBitmapFree(&target);
  krnBitmapFree(&source);
}

TEST_F(Bitmaps, ReduceRefusals) {
  BitmapHandle bitmap;
  krnBitmapInit(&bitmap, 164, 4, 4, 8);
  EXPECT_EQ(Reduce(&bitmap, &bitmap), -13);
  EXPECT_EQ(Reduce(&bitmap, nullptr), -13);
  ASSERT_EQ(Create(&bitmap, 4, 4, 8), 1);
  EXPECT_EQ(Reduce(nullptr, &bitmap), -13);
  EXPECT_EQ(Reduce(&bitmap, &bitmap, 1, 3), -13);
  EXPECT_EQ(Reduce(&bitmap, &bitmap, 1, 2, 100), -13);
  EXPECT_EQ(Reduce(&bitmap, &bitmap, 4), -27);
  krnBitmapFree(&bitmap);
  ASSERT_EQ(Create(&bitmap, 4, 4, 24), 1);
  EXPECT_EQ(Reduce(&bitmap, &bitmap), -27);
  krnBitmapFree(&bitmap);
}

TEST_F(Bitmaps, ConversionsWithoutMemoryLeaveTheBitmapAsItWas) {
  struct Case {
    int32_t bits;
    int32_t (*convert)(BitmapHandle*);
  };
  const Case cases[] = {
      {1, [](BitmapHandle* bitmap) { return krnBitmapSetDepth(bitmap, 8); }},
      {8, [](BitmapHandle* bitmap) { return krnBitmapResize(bitmap, 3, 3, 0); }},
      {8, [](BitmapHandle* bitmap) { return krnBitmapResize(bitmap, 3, 3, 4); }},
      {8, [](BitmapHandle* bitmap) { return Reduce(bitmap, bitmap); }},
      {8,
       [](BitmapHandle* bitmap) {
         BitmapHandle target;
         const int32_t result = Reduce(&target, bitmap);
         krnBitmapFree(&target);
         return result;
       }},
  };
  for (const Case& c : cases) {
    for (int fail = 1;; ++fail) {
      BitmapHandle bitmap;
      ASSERT_EQ(Create(&bitmap, 5, 5, c.bits), 1);
      krnBitmapPutRow(&bitmap, "\x12\x34\x56\x78\x9A", 2, 4);
      const BitmapHandle before = bitmap;
      const Bytes row = RowBytes(bitmap, 2);
      int left = fail;
      krnSetAllocHook([](size_t, int32_t, const char*, void* data) { return --*static_cast<int*>(data) == 0 ? 0 : 1; },
                      &left);
      const int32_t result = c.convert(&bitmap);
      krnSetAllocHook(nullptr, nullptr);
      if (left > 0) { // it needed fewer
        EXPECT_EQ(result, 1);
        EXPECT_GT(fail, 1);
        krnBitmapFree(&bitmap);
        break;
      }
      EXPECT_EQ(result, -1) << (&c - cases) << ", allocation " << fail;
      EXPECT_EQ(std::memcmp(&bitmap, &before, sizeof bitmap), 0);
      EXPECT_EQ(RowBytes(bitmap, 2), row);
      krnBitmapFree(&bitmap);
    }
  }
}

} // namespace
