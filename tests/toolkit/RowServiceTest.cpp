// The row service, depth by depth and source by source. Expected rows are worked out by hand.

#include <algorithm>

#include <gtest/gtest.h>

#include "SampleBitmap.h"
#include "support/KernelGuard.h"
#include "toolkit/RowService.h"

#include <vxtif/results.h>
#include <vxtif/save.h>

namespace {

using Row = std::vector<uint8_t>;

// One conversion from saveStart to saveEnd.
class Conversion {
public:
  Conversion(toolkit::Bitmap& bitmap, int32_t bits, uint32_t flags = 0) : bitmap_(bitmap), flags_(flags) {
    result_ = toolkit::saveStart(bitmap.Handle(), &descriptor_, bits, &flags_, nullptr, 1, 0, 0, &context_);
  }
  ~Conversion() { toolkit::saveEnd(bitmap_.Handle(), &descriptor_, &flags_, 0, &context_); }
  Conversion(const Conversion&) = delete;
  Conversion& operator=(const Conversion&) = delete;

  int32_t Result() const { return result_; }
  const BitmapHandle& Descriptor() const { return *descriptor_; }
  const VxColor* Palette() const { return reinterpret_cast<const VxColor*>(static_cast<const uint8_t*>(context_) + 8); }

  int32_t Get(toolkit::Bitmap& bitmap, int32_t row, Row& out) {
    // A guard byte behind the row must stay.
    const size_t bytes =
        (static_cast<size_t>(descriptor_->width) * static_cast<size_t>(descriptor_->bitsPerPixel) + 7) / 8;
    out.assign(bytes + 1, 0xA5);
    const int32_t result =
        toolkit::saveGetRow(bitmap.Handle(), descriptor_, out.data(), row, 1, flags_, 0, 0, context_);
    EXPECT_EQ(out.back(), 0xA5);
    out.pop_back();
    return result;
  }

  Row Get(int32_t row) {
    Row out;
    EXPECT_EQ(Get(bitmap_, row, out), kResultOk);
    return out;
  }

  Row Indices(int32_t row) {
    const Row packed = Get(row);
    Row indices(static_cast<size_t>(descriptor_->width));
    toolkit::UnpackSamples(packed.data(), indices.data(), indices.size(),
                           static_cast<uint32_t>(descriptor_->bitsPerPixel));
    return indices;
  }

private:
  toolkit::Bitmap& bitmap_;
  uint32_t flags_;
  BitmapHandle* descriptor_ = nullptr;
  void* context_ = nullptr;
  int32_t result_ = 0;
};

std::array<uint8_t, 3> RgbOf(const VxColor& colour) {
  return {colour.red, colour.green, colour.blue};
}

// Two pixels: (200, 100, 40) and (0, 255, 7), alpha 9 and 250.
const Row kRgb = {200, 100, 40, 0, 255, 7};
const Row kBgr = {40, 100, 200, 7, 255, 0};
const Row kRgba = {200, 100, 40, 9, 0, 255, 7, 250};
const Row kBgra = {40, 100, 200, 9, 7, 255, 0, 250};
const Row kRgb48 = Words({200 * 257, 100 * 257, 40 * 257, 0, 255 * 257, 7 * 257});

struct ColourCase {
  const char* name;
  int32_t sourceBits;
  uint32_t order;
  Row source;
  int32_t bits;
  uint32_t flags;
  Row expected;
};

class Colours : public testing::TestWithParam<ColourCase> {};

TEST_P(Colours, AreConverted) {
  KernelGuard guard;
  const ColourCase& test = GetParam();
  toolkit::Bitmap bitmap = MakeBitmap(2, test.sourceBits, test.order, {test.source});
  Conversion conversion(bitmap, test.bits, test.flags);
  ASSERT_EQ(conversion.Result(), kResultOk);
  EXPECT_EQ(conversion.Get(0), test.expected);
  EXPECT_EQ(conversion.Descriptor().bitsPerPixel, test.bits);
}

const ColourCase kColourCases[] = {
    {"red_first_stays", 24, kOrderRedFirst, kRgb, 24, 0, kRgb},
    {"red_first_to_blue_first", 24, kOrderRedFirst, kRgb, 24, kSaveRequestBlueFirst, kBgr},
    {"blue_first_to_red_first", 24, kOrderBlueFirst, kBgr, 24, 0, kRgb},
    {"blue_first_stays", 24, kOrderBlueFirst, kBgr, 24, kSaveRequestBlueFirst, kBgr},
    {"alpha_added", 24, kOrderRedFirst, kRgb, 32, 0, {200, 100, 40, 255, 0, 255, 7, 255}},
    {"alpha_dropped", 32, kOrderBlueFirst, kBgra, 24, 0, kRgb},
    {"alpha_kept", 32, kOrderBlueFirst, kBgra, 32, 0, kRgba},
    {"alpha_kept_blue_first", 32, kOrderRedFirst, kRgba, 32, kSaveRequestBlueFirst, kBgra},
    {"widened_to_48", 24, kOrderRedFirst, kRgb, 48, 0, kRgb48},
    {"widened_to_64", 32, kOrderRedFirst, kRgba, 64, 0,
     Words({200 * 257, 100 * 257, 40 * 257, 9 * 257, 0, 255 * 257, 7 * 257, 250 * 257})},
    {"words_to_bytes_by_the_high_byte",
     48,
     kOrderRedFirst,
     Words({0x12FF, 0x3400, 0x5680, 1, 2, 0xFFFF}),
     24,
     0,
     {0x12, 0x34, 0x56, 0, 0, 0xFF}},
    {"words_stay", 48, kOrderRedFirst, kRgb48, 48, 0, kRgb48},
    {"words_turned", 48, kOrderBlueFirst, Words({1, 2, 3, 4, 5, 6}), 48, 0, Words({3, 2, 1, 6, 5, 4})},
    {"words_64_to_48", 64, kOrderRedFirst, Words({1, 2, 3, 4, 5, 6, 7, 8}), 48, 0, Words({1, 2, 3, 5, 6, 7})},
    // 200 is 24 of 31, 100 is 12, 40 is 5, 7 is 1.
    {"bytes_to_colour_words", 24, kOrderRedFirst, kRgb, 16, kSaveRequestBlueFirst,
     Words({24 << 10 | 12 << 5 | 5, 31 << 5 | 1})},
    {"colour_words_stay", 16, kOrderBlueFirst, Words({0x1234, 0x7FFF}), 16, kSaveRequestBlueFirst,
     Words({0x1234, 0x7FFF})},
    {"colour_words_to_bytes", 16, kOrderBlueFirst, Words({31 << 10 | 16 << 5 | 1, 0}), 24, 0, {255, 132, 8, 0, 0, 0}},
    // Luminance: (19595 x 200 + 38470 x 100 + 7471 x 40 + 32768) >> 16 is 123, of (0, 255, 7) 150.
    {"gray_of_bytes", 24, kOrderRedFirst, kRgb, 24, kSaveRequestGray, {123, 123, 123, 150, 150, 150}},
    {"gray_words_of_bytes", 24, kOrderRedFirst, kRgb, 16, kSaveRequestGrayRows, Words({123 * 257, 150 * 257})},
    {"gray_twelve_of_bytes", 24, kOrderRedFirst, kRgb, 12, 0, Twelve({123 * 257 >> 4, 150 * 257 >> 4})},
    {"gray_long_of_bytes", 24, kOrderRedFirst, kRgb, 32, kSaveRequestGrayRows,
     Longs({123 * 257u * 65537u, 150 * 257u * 65537u})},
};

INSTANTIATE_TEST_SUITE_P(All, Colours, testing::ValuesIn(kColourCases),
                         [](const auto& test) { return std::string(test.param.name); });

struct GrayCase {
  const char* name;
  int32_t sourceBits;
  Row source;
  int32_t bits;
  Row expected;
};

class DeepGrays : public testing::TestWithParam<GrayCase> {};

TEST_P(DeepGrays, AreConverted) {
  const GrayCase& test = GetParam();
  toolkit::Bitmap bitmap = MakeBitmap(3, test.sourceBits, kOrderGray, {test.source});
  Conversion conversion(bitmap, test.bits);
  ASSERT_EQ(conversion.Result(), kResultOk);
  EXPECT_EQ(conversion.Get(0), test.expected);
  EXPECT_EQ(conversion.Descriptor().order, test.bits > 8 ? uint32_t{kOrderGray} : uint32_t{kOrderRedFirst});
}

// Five grey planes of 8 bits make a pixel of 40, not one grey sample.
TEST(RowService, IndicesHaveNoGreyOrder) {
  toolkit::Bitmap bitmap = MakeBitmap(2, 8, kOrderGray, {{1, 2}});
  Conversion conversion(bitmap, 8, kSaveRequestGray | kSaveRequestAlways);
  EXPECT_EQ(conversion.Get(0), (Row{1, 2}));
  EXPECT_EQ(conversion.Descriptor().order, uint32_t{kOrderRedFirst});
}

const GrayCase kGrayCases[] = {
    {"sixteen_stays", 16, Words({0, 0x1234, 0xFFFF}), 16, Words({0, 0x1234, 0xFFFF})},
    {"sixteen_to_eight", 16, Words({0, 0x1234, 0xFFFF}), 8, {0, 0x12, 0xFF}},
    {"sixteen_to_twelve", 16, Words({0, 0x1234, 0xFFFF}), 12, Twelve({0, 0x123, 0xFFF})},
    {"twelve_stays", 12, Twelve({1, 0xABC, 0xFFF}), 12, Twelve({1, 0xABC, 0xFFF})},
    // 2748 of 4095 is 43978.08 of 65535.
    {"twelve_to_sixteen", 12, Twelve({0, 0xABC, 0xFFF}), 16, Words({0, 43978, 0xFFFF})},
    {"thirty_two_stays", 32, Longs({0, 5, 0xFFFFFFFF}), 32, Longs({0, 5, 0xFFFFFFFF})},
    {"thirty_two_to_sixteen", 32, Longs({0, 0x80000000, 0xFFFFFFFF}), 16, Words({0, 0x8000, 0xFFFF})},
    {"sixteen_to_colours", 16, Words({0, 0x1234, 0xFFFF}), 24, {0, 0, 0, 0x12, 0x12, 0x12, 0xFF, 0xFF, 0xFF}},
};

INSTANTIATE_TEST_SUITE_P(All, DeepGrays, testing::ValuesIn(kGrayCases),
                         [](const auto& test) { return std::string(test.param.name); });

class PaletteDepths : public testing::TestWithParam<int32_t> {};

// A palette bitmap saved at its own depth keeps indices and colours.
TEST_P(PaletteDepths, StayAsTheyAre) {
  const int32_t bits = GetParam();
  const uint32_t entries = 1u << bits;
  std::vector<VxColor> colours(entries);
  Row indices(entries);
  for (uint32_t i = 0; i < entries; ++i) {
    colours[i] = {static_cast<uint8_t>(3 * i), static_cast<uint8_t>(255 - i), static_cast<uint8_t>(7 * i + 1), 0};
    indices[i] = static_cast<uint8_t>(entries - 1 - i);
  }
  const Row packed = Packed(indices, static_cast<uint32_t>(bits));
  toolkit::Bitmap bitmap = MakeBitmap(static_cast<int32_t>(entries), bits, kOrderBlueFirst, {packed});
  SetPalette(bitmap, colours);
  Conversion conversion(bitmap, bits);
  ASSERT_EQ(conversion.Result(), kResultOk);
  EXPECT_EQ(conversion.Get(0), packed);
  for (uint32_t i = 0; i < entries; ++i) {
    EXPECT_EQ(RgbOf(conversion.Palette()[i]), RgbOf(colours[i])) << i;
  }
  EXPECT_EQ(krnBitmapIsGray(&conversion.Descriptor()), 0);
}

// Colours of a deeper bitmap that the depth has room for stay exact.
TEST_P(PaletteDepths, TakeFewColoursExactly) {
  const int32_t bits = GetParam();
  const uint32_t entries = 1u << bits;
  Row row;
  for (uint32_t i = 0; i < entries; ++i) {
    row.insert(row.end(),
               {static_cast<uint8_t>(5 * i + 2), static_cast<uint8_t>(i / 2), static_cast<uint8_t>(200 - i / 3)});
  }
  toolkit::Bitmap bitmap = MakeBitmap(static_cast<int32_t>(entries), 24, kOrderRedFirst, {row, row});
  Conversion conversion(bitmap, bits);
  ASSERT_EQ(conversion.Result(), kResultOk);
  for (int32_t y : {1, 0, 1}) {
    const Row indices = conversion.Indices(y);
    for (uint32_t i = 0; i < entries; ++i) {
      const auto rgb = RgbOf(conversion.Palette()[indices[i]]);
      EXPECT_TRUE(std::equal(rgb.begin(), rgb.end(), row.begin() + 3 * i)) << i;
    }
  }
}

// Grey asked for is the plain ramp: the directory writer knows it by the descriptor.
TEST_P(PaletteDepths, GiveTheRampForGrey) {
  const int32_t bits = GetParam();
  const uint32_t entries = 1u << bits;
  Row row;
  for (uint32_t i = 0; i < entries; ++i) {
    const auto gray = static_cast<uint8_t>(((entries - 1) / 2 + 255 * i) / (entries - 1));
    row.insert(row.end(), {gray, gray, gray});
  }
  toolkit::Bitmap bitmap = MakeBitmap(static_cast<int32_t>(entries), 24, kOrderRedFirst, {row});
  for (const uint32_t flags : {uint32_t{kSaveRequestGray}, uint32_t{kSaveRequestGrayRows}, 0u}) {
    Conversion conversion(bitmap, bits, flags);
    ASSERT_EQ(conversion.Result(), kResultOk);
    EXPECT_EQ(krnBitmapIsGray(&conversion.Descriptor()), 1);
    const Row indices = conversion.Indices(0);
    for (uint32_t i = 0; i < entries; ++i) {
      EXPECT_EQ(indices[i], i);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(OneToEight, PaletteDepths, testing::Range(1, 9));

TEST(RowService, MapsBlackAndWhiteToGreyOfMoreBits) {
  toolkit::Bitmap bitmap = MakeBitmap(4, 1, kOrderBlueFirst, {{0x50}});
  SetPalette(bitmap, {{255, 255, 255, 0}, {0, 0, 0, 0}});
  Conversion conversion(bitmap, 8);
  EXPECT_EQ(conversion.Get(0), (Row{255, 0, 255, 0}));
  EXPECT_EQ(krnBitmapIsGray(&conversion.Descriptor()), 1);
}

TEST(RowService, KeepsWhiteFirstBilevel) {
  toolkit::Bitmap bitmap = MakeBitmap(4, 1, kOrderBlueFirst, {{0x50}});
  SetPalette(bitmap, {{255, 255, 255, 0}, {0, 0, 0, 0}});
  Conversion conversion(bitmap, 1);
  EXPECT_EQ(conversion.Get(0), (Row{0x50}));
  EXPECT_EQ(RgbOf(conversion.Palette()[0]), (std::array<uint8_t, 3>{255, 255, 255}));
}

TEST(RowService, ExpandsPalettesToColours) {
  toolkit::Bitmap bitmap = MakeBitmap(3, 2, kOrderBlueFirst, {{0b00011000}});
  SetPalette(bitmap, {{1, 2, 3, 0}, {4, 5, 6, 0}, {7, 8, 9, 0}, {10, 11, 12, 0}});
  Conversion conversion(bitmap, 24);
  EXPECT_EQ(conversion.Get(0), (Row{3, 2, 1, 6, 5, 4, 9, 8, 7}));
}

TEST(RowService, DithersGreyToBlackAndWhiteOfTheSameMean) {
  constexpr int32_t kSide = 64;
  const std::vector<Row> rows(kSide, Row(kSide, 64));
  toolkit::Bitmap bitmap = MakeBitmap(kSide, 8, kOrderBlueFirst, rows);
  Conversion conversion(bitmap, 1);
  int white = 0;
  for (int32_t y = 0; y < kSide; ++y) {
    const Row indices = conversion.Indices(y);
    white += static_cast<int>(std::count(indices.begin(), indices.end(), 1));
  }
  EXPECT_NEAR(white / double{kSide * kSide}, 64 / 255.0, 0.01);
}

TEST(RowService, ReducesManyColoursCloseToTheOriginal) {
  constexpr int32_t kSide = 64;
  std::vector<Row> rows;
  for (int32_t y = 0; y < kSide; ++y) {
    Row row;
    for (int32_t x = 0; x < kSide; ++x) {
      row.insert(row.end(),
                 {static_cast<uint8_t>(4 * x), static_cast<uint8_t>(4 * y), static_cast<uint8_t>(2 * (x + y))});
    }
    rows.push_back(row);
  }
  toolkit::Bitmap bitmap = MakeBitmap(kSide, 24, kOrderRedFirst, rows);
  Conversion conversion(bitmap, 8);
  ASSERT_EQ(conversion.Result(), kResultOk);
  double error = 0;
  for (int32_t y = 0; y < kSide; ++y) {
    const Row indices = conversion.Get(y);
    for (size_t x = 0; x < kSide; ++x) {
      const auto rgb = RgbOf(conversion.Palette()[indices[x]]);
      for (size_t c = 0; c < 3; ++c) {
        error += std::abs(rgb[c] - rows[static_cast<size_t>(y)][3 * x + c]);
      }
    }
  }
  EXPECT_LT(error / (3 * kSide * kSide), 10);
}

TEST(RowService, DescribesTheRows) {
  toolkit::Bitmap bitmap = MakeBitmap(2, 24, kOrderBlueFirst, {kBgr, kBgr});
  bitmap->xResolution = 300;
  bitmap->yResolution = 150;
  bitmap->viewPerspective = 6;
  Conversion conversion(bitmap, 24);
  const BitmapHandle& rows = conversion.Descriptor();
  EXPECT_EQ(rows.width, 2);
  EXPECT_EQ(rows.height, 2);
  EXPECT_EQ(rows.order, uint32_t{kOrderRedFirst});
  EXPECT_EQ(rows.xResolution, 300);
  EXPECT_EQ(rows.yResolution, 150);
  EXPECT_EQ(rows.viewPerspective, 6u);
  EXPECT_EQ(rows.bytesPerLine, 8);
}

TEST(RowService, HandsTheLevelsOfGreyThatStaysOn) {
  toolkit::Bitmap bitmap = MakeBitmap(1, 16, kOrderGray, {Words({5})});
  bitmap->lowBit = 2;
  bitmap->highBit = 11;
  bitmap->minValue = 3;
  bitmap->maxValue = 4000;
  bitmap->flags |= kBitmapSigned;
  Conversion same(bitmap, 16);
  EXPECT_EQ(same.Descriptor().lowBit, 2);
  EXPECT_EQ(same.Descriptor().highBit, 11);
  EXPECT_EQ(same.Descriptor().minValue, 3);
  EXPECT_EQ(same.Descriptor().maxValue, 4000);
  EXPECT_NE(same.Descriptor().flags & kBitmapSigned, 0u);
  Conversion other(bitmap, 8);
  EXPECT_EQ(other.Descriptor().lowBit, 0);
  EXPECT_EQ(other.Descriptor().highBit, -1);
}

TEST(RowService, StretchesTheLevelRangeWhereTheDepthChanges) {
  toolkit::Bitmap bitmap = MakeBitmap(3, 16, kOrderGray, {Words({1000, 1500, 2000})});
  bitmap->minValue = 1000;
  bitmap->maxValue = 2000;
  Conversion conversion(bitmap, 8);
  EXPECT_EQ(conversion.Get(0), (Row{0, 128, 255}));
}

TEST(RowService, ServesOtherBitmapsWithTheSameDescription) {
  toolkit::Bitmap first = MakeBitmap(2, 8, kOrderGray, {{1, 2}});
  toolkit::Bitmap second = MakeBitmap(2, 8, kOrderGray, {{30, 40}});
  Conversion conversion(first, 8, kSaveRequestGray);
  Row row;
  EXPECT_EQ(conversion.Get(second, 0, row), kResultOk);
  EXPECT_EQ(row, (Row{30, 40}));
  EXPECT_EQ(conversion.Get(0), (Row{1, 2}));
  toolkit::Bitmap wider = MakeBitmap(3, 8, kOrderGray, {{1, 2, 3}});
  EXPECT_EQ(conversion.Get(wider, 0, row), kResultBitmapMismatch);
}

TEST(RowService, GivesARowBufferWhenAsked) {
  toolkit::Bitmap bitmap = MakeBitmap(2, 24, kOrderRedFirst, {kRgb});
  BitmapHandle* descriptor = nullptr;
  void* context = nullptr;
  void* buffer = nullptr;
  uint32_t flags = 0;
  ASSERT_EQ(toolkit::saveStart(bitmap.Handle(), &descriptor, 24, &flags, &buffer, 1, 0, 0, &context), kResultOk);
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(toolkit::saveGetRow(bitmap.Handle(), descriptor, buffer, 0, 1, flags, 0, 0, context), kResultOk);
  EXPECT_EQ(std::memcmp(buffer, kRgb.data(), kRgb.size()), 0);
  toolkit::saveEnd(bitmap.Handle(), &descriptor, &flags, 0, &context);
  EXPECT_EQ(descriptor, nullptr);
  EXPECT_EQ(context, nullptr);
}

TEST(RowService, Refuses) {
  KernelGuard guard;
  toolkit::Bitmap bitmap = MakeBitmap(2, 24, kOrderRedFirst, {kRgb});
  for (const int32_t bits : {0, -1, 9, 10, 11, 13, 17, 25, 31, 33, 63, 65}) {
    EXPECT_EQ(Conversion(bitmap, bits).Result(), kResultDepthNotSupported) << bits;
  }
  toolkit::Bitmap empty;
  empty.Describe(2, 2, 24);
  EXPECT_EQ(Conversion(empty, 24).Result(), kResultNoBitmap);
  Conversion conversion(bitmap, 24);
  Row row;
  EXPECT_EQ(conversion.Get(bitmap, 1, row), kResultRefused);
  EXPECT_EQ(conversion.Get(bitmap, -1, row), kResultRefused);
  EXPECT_EQ(toolkit::saveStart(nullptr, nullptr, 24, nullptr, nullptr, 1, 0, 0, nullptr), kResultInvalidParameter);
}

} // namespace
