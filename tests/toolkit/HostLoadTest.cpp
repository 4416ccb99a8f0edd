// Loading pages into bitmaps, rows and pictures. Small uncompressed files; expected pixels by hand.

#include <cstring>

#include <gtest/gtest.h>

#include "support/KernelGuard.h"
#include "support/TempFile.h"
#include "toolkit/Failure.h"
#include "toolkit/LoadPage.h"
#include "toolkit/PagePicture.h"

#include <vxtif/vxtif.h>

namespace {

using Bytes = FileBytes;
using toolkit::ImageKind;

// A page of one strip; more tags may follow.
TiffDirectory Page(uint32_t width, uint32_t height, const std::vector<uint16_t>& bits, uint16_t photometric,
                   const Bytes& pixels) {
  TiffDirectory page;
  page.Long(256, {width}).Long(257, {height}).Short(258, bits).Short(259, {1}).Short(262, {photometric});
  page.Strips({pixels}).Short(277, {static_cast<uint16_t>(bits.size())}).Long(278, {height});
  return page;
}

struct Loaded {
  toolkit::LoadedPage page;
  toolkit::Image picture;
};

Loaded Load(TiffDirectory page, const toolkit::LoadOptions& options = {}, FileOrder order = FileOrder::kLittle) {
  TiffBuilder builder(order);
  builder.AddPage(page.Sort());
  const TempFile file(builder.Build());
  Loaded loaded = {toolkit::LoadPage(file.Path().string(), options), {}};
  loaded.picture = toolkit::PictureOfPage(loaded.page);
  return loaded;
}

// The rows as a .raw file has them.
Bytes RowsOf(TiffDirectory page, toolkit::LoadOptions options = {}) {
  TiffBuilder builder;
  builder.AddPage(page.Sort());
  const TempFile file(builder.Build());
  Bytes rows;
  options.rows = [&](int32_t, const uint8_t* bytes, size_t count) { rows.insert(rows.end(), bytes, bytes + count); };
  toolkit::LoadPage(file.Path().string(), options);
  return rows;
}

int32_t FailureOf(TiffDirectory page, const toolkit::LoadOptions& options = {}) {
  try {
    Load(std::move(page), options);
  } catch (const toolkit::Failure& failure) {
    return failure.code;
  }
  return kResultOk;
}

Bytes Words16(const std::vector<uint16_t>& words) {
  Bytes bytes;
  for (const uint16_t word : words) {
    AppendU16(bytes, FileOrder::kLittle, word);
  }
  return bytes;
}

Bytes HostWords(const std::vector<uint16_t>& words) {
  Bytes bytes(2 * words.size());
  std::memcpy(bytes.data(), words.data(), bytes.size());
  return bytes;
}

TEST(LoadPage, GivesColoursRedFirst) {
  KernelGuard guard;
  const Loaded loaded = Load(Page(2, 1, {8, 8, 8}, 2, {1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(loaded.picture.kind, ImageKind::kRgb);
  EXPECT_EQ(loaded.picture.pixels, (Bytes{1, 2, 3, 4, 5, 6}));
}

TEST(LoadPage, KeepsTheAlphaOfColours) {
  const Loaded loaded = Load(Page(1, 1, {8, 8, 8, 8}, 2, {1, 2, 3, 4}).Short(338, {2}));
  EXPECT_EQ(loaded.picture.kind, ImageKind::kRgba);
  EXPECT_EQ(loaded.picture.pixels, (Bytes{1, 2, 3, 4}));
}

TEST(LoadPage, TakesAFourthSampleForAlphaOnlyWhenTheFileSaysSo) {
  EXPECT_EQ(Load(Page(1, 1, {8, 8, 8, 8}, 2, {1, 2, 3, 4})).picture.pixels, (Bytes{1, 2, 3}));
}

TEST(LoadPage, ConvertsCmyk) {
  const Loaded loaded = Load(Page(2, 1, {8, 8, 8, 8}, 5, {0, 0, 0, 0, 200, 10, 0, 100}));
  EXPECT_EQ(loaded.picture.pixels, (Bytes{255, 255, 255, 0, 145, 155}));
}

TEST(LoadPage, TakesCmykAsItStandsWithForcedRgb) {
  toolkit::LoadOptions options;
  options.forceRgb = true;
  const Loaded loaded = Load(Page(1, 1, {8, 8, 8, 8}, 5, {9, 8, 7, 6}), options);
  EXPECT_EQ(loaded.page.bitmap->bitsPerPixel, 32);
  EXPECT_EQ(loaded.picture.pixels, (Bytes{9, 8, 7}));
}

TEST(LoadPage, KeepsPalettes) {
  const Loaded loaded = Load(Page(2, 1, {4}, 3, {0x1F}).Short(320, [] {
    std::vector<uint16_t> map(48, 0);
    map[1] = 0x1100;
    map[17] = 0x2200;
    map[33] = 0x3300;
    map[15] = 0xFFFF;
    return map;
  }()));
  EXPECT_EQ(loaded.picture.kind, ImageKind::kPalette);
  EXPECT_EQ(loaded.picture.bits, 4u);
  EXPECT_EQ(loaded.picture.pixels, (Bytes{0x1F}));
  EXPECT_EQ(loaded.picture.palette[1], (std::array<uint8_t, 3>{0x11, 0x22, 0x33}));
  EXPECT_EQ(loaded.picture.palette[15], (std::array<uint8_t, 3>{0xFF, 0, 0}));
}

TEST(LoadPage, TurnsWhiteFirstGreyRound) {
  EXPECT_EQ(Load(Page(2, 1, {8}, 0, {0, 100})).picture.pixels, (Bytes{255, 155}));
  EXPECT_EQ(Load(Page(8, 1, {1}, 0, {0x0F})).picture.pixels, (Bytes{0xF0}));
  EXPECT_EQ(Load(Page(8, 1, {1}, 1, {0x0F})).picture.pixels, (Bytes{0x0F}));
}

TEST(LoadPage, BringsOddDepthsToBytes) {
  // Three bits: 0, 7, 3.
  const Loaded loaded = Load(Page(3, 1, {3}, 1, {0b00011101, 0b10000000}));
  EXPECT_EQ(loaded.picture.kind, ImageKind::kGray);
  EXPECT_EQ(loaded.picture.bits, 8u);
  EXPECT_EQ(loaded.picture.pixels, (Bytes{0, 255, 109}));
}

TEST(LoadPage, GivesDeepGreyOverItsRange) {
  EXPECT_EQ(Load(Page(2, 1, {16}, 1, Words16({0x1234, 0xFFFF}))).picture.pixels, HostWords({0x1234, 0xFFFF}));
  EXPECT_EQ(Load(Page(2, 1, {16}, 0, Words16({0x1234, 0xFFFF}))).picture.pixels, HostWords({0xEDCB, 0}));
  const TiffDirectory ranged = Page(3, 1, {16}, 1, Words16({1000, 1500, 2000})).Short(280, {1000}).Short(281, {2000});
  EXPECT_EQ(Load(ranged).picture.pixels, HostWords({0, 32768, 65535}));
}

TEST(LoadPage, SwapsBigEndianSamples) {
  const Loaded loaded = Load(Page(1, 1, {16}, 1, {0x12, 0x34}), {}, FileOrder::kBig);
  EXPECT_EQ(loaded.picture.pixels, HostWords({0x1234}));
}

TEST(LoadPage, GivesTwelveBitsAsSixteen) {
  // Two samples in three bytes, high bits first in the file: 0xABC and 0xFFF; then 0.
  const Loaded loaded = Load(Page(3, 1, {12}, 1, {0xAB, 0xCF, 0xFF, 0x00, 0x00}));
  EXPECT_EQ(loaded.picture.pixels, HostWords({0xABCA, 65535, 0}));
}

TEST(LoadPage, GivesLongsOverTheRangeThatTheyHave) {
  Bytes pixels;
  for (const uint32_t value : {1000u, 3000u, 5000u}) {
    AppendU32(pixels, FileOrder::kLittle, value);
  }
  EXPECT_EQ(Load(Page(3, 1, {32}, 1, pixels)).picture.pixels, HostWords({0, 32768, 65535}));
}

TEST(LoadPage, KeepsGreyAlphaWhenAsked) {
  const TiffDirectory page = Page(2, 1, {8, 8}, 1, {10, 200, 20, 100}).Short(338, {2});
  EXPECT_EQ(Load(page).picture.pixels, (Bytes{10, 20}));
  toolkit::LoadOptions options;
  options.alpha = true;
  const Loaded loaded = Load(page, options);
  EXPECT_EQ(loaded.picture.kind, ImageKind::kGrayAlpha);
  EXPECT_EQ(loaded.picture.pixels, (Bytes{10, 200, 20, 100}));
}

TEST(LoadPage, IgnoresTheWishForAlphaWhereThereAreTwoOfThem) {
  toolkit::LoadOptions options;
  options.alpha = true;
  const Loaded loaded = Load(Page(1, 1, {8, 8, 8}, 1, {10, 200, 100}).Short(338, {2, 0}), options);
  EXPECT_EQ(loaded.page.bitmap->bitsPerPixel, 8);
  EXPECT_EQ(loaded.picture.pixels, (Bytes{10}));
}

TEST(LoadPage, MergesPlanes) {
  TiffDirectory page;
  page.Long(256, {2}).Long(257, {1}).Short(258, {8, 8, 8}).Short(259, {1}).Short(262, {2});
  page.Strips({{1, 4}, {2, 5}, {3, 6}}).Short(277, {3}).Long(278, {1}).Short(284, {2});
  EXPECT_EQ(Load(page).picture.pixels, (Bytes{1, 2, 3, 4, 5, 6}));
}

TEST(LoadPage, TurnsThePictureUpright) {
  const TiffDirectory page = Page(2, 1, {8}, 1, {10, 20}).Short(274, {6});
  const Loaded upright = Load(page);
  EXPECT_EQ(upright.picture.width, 1u);
  EXPECT_EQ(upright.picture.pixels, (Bytes{10, 20}));
  toolkit::LoadOptions options;
  options.ignoreOrientation = true;
  EXPECT_EQ(Load(page, options).picture.width, 2u);
}

TEST(LoadPage, CutsRegionsInEveryOrientation) {
  Bytes pixels(12 * 8);
  for (size_t i = 0; i < pixels.size(); ++i) {
    pixels[i] = static_cast<uint8_t>(i);
  }
  for (uint16_t orientation = 1; orientation <= 8; ++orientation) {
    // Strips of two rows, of which the load reads only those that the region needs.
    std::vector<Bytes> strips;
    for (size_t at = 0; at < pixels.size(); at += 24) {
      strips.emplace_back(pixels.begin() + static_cast<ptrdiff_t>(at),
                          pixels.begin() + static_cast<ptrdiff_t>(at + 24));
    }
    TiffDirectory page;
    page.Long(256, {12}).Long(257, {8}).Short(258, {8}).Short(259, {1}).Short(262, {1}).Strips(strips);
    page.Short(274, {orientation}).Short(277, {1}).Long(278, {2}).Sort();
    TiffBuilder builder;
    builder.AddPage(page);
    const TempFile file(builder.Build());
    for (const bool ignore : {false, true}) {
      toolkit::LoadOptions options;
      options.ignoreOrientation = ignore;
      const toolkit::Image whole = toolkit::PictureOfPage(toolkit::LoadPage(file.Path().string(), options));
      const toolkit::Region region = {2, 3, 4, 2};
      options.region = region;
      const toolkit::Image part = toolkit::PictureOfRegion(toolkit::LoadPage(file.Path().string(), options), region);
      EXPECT_EQ(part.pixels, toolkit::CropImage(whole, 2, 3, 4, 2).pixels) << orientation << ignore;
    }
  }
}

TEST(LoadPage, RefusesPagesOutOfProportion) {
  TiffDirectory page = GrayPage(4, 4);
  page.Remove(256).Remove(257).Long(256, {100000}).Long(257, {100000}).Sort();
  EXPECT_EQ(FailureOf(page), kResultNoMemory);
  toolkit::LoadOptions options;
  options.maxBytes = 15;
  EXPECT_EQ(FailureOf(GrayPage(4, 4), options), kResultNoMemory);
  options.maxBytes = 16;
  EXPECT_EQ(FailureOf(GrayPage(4, 4), options), kResultOk);
}

TEST(LoadPage, RefusesPagesWithoutSizeAndOfTooManyBits) {
  EXPECT_EQ(FailureOf(GrayPage(4, 4).Remove(256)), kResultNotTiff);
  EXPECT_EQ(FailureOf(Page(1, 1, {32, 32, 32}, 2, Bytes(12))), kResultDepthNotSupported);
}

TEST(LoadPage, HandsOnTheLibrarysRefusal) {
  EXPECT_EQ(FailureOf(GrayPage(4, 4).Remove(259).Short(259, {8})), kResultUnknownCompression);
  toolkit::LoadOptions options;
  options.page = 2;
  EXPECT_EQ(FailureOf(GrayPage(4, 4), options), kResultNoSuchPage);
}

TEST(LoadPage, WarnsOfMissingData) {
  TiffDirectory page = Page(4, 4, {8}, 1, Bytes(16, 7));
  TiffBuilder builder;
  builder.AddPage(page.Sort());
  FileBytes bytes = builder.Build();
  bytes.resize(bytes.size() - 6);
  const TempFile file(bytes);
  const toolkit::LoadedPage loaded = toolkit::LoadPage(file.Path().string(), {});
  EXPECT_EQ(loaded.warning, kResultReadFailed);
  EXPECT_EQ(loaded.bitmap.Row(0)[0], 7);
  EXPECT_EQ(loaded.bitmap.Row(3)[3], 0);
}

// The sizes of raw rows, layout by layout, for a width of 5.
struct RawCase {
  const char* name;
  std::vector<uint16_t> bits;
  uint16_t photometric;
  std::vector<uint16_t> extra;
  size_t fileBytes; // of a row in the file
  size_t rowBytes;
};

class RawRows : public testing::TestWithParam<RawCase> {};

TEST_P(RawRows, AreTheBytesThatTheSinkMayRead) {
  const RawCase& test = GetParam();
  TiffDirectory page = Page(5, 2, test.bits, test.photometric, Bytes(2 * test.fileBytes, 0x11));
  if (!test.extra.empty()) {
    page.Short(338, test.extra);
  }
  EXPECT_EQ(RowsOf(page).size(), 2 * test.rowBytes);
}

INSTANTIATE_TEST_SUITE_P(
    All, RawRows,
    testing::Values(
        RawCase{"bilevel", {1}, 1, {}, 1, 1}, RawCase{"four_bits", {4}, 1, {}, 3, 3}, RawCase{"grey", {8}, 1, {}, 5, 5},
        RawCase{"twelve_bits", {12}, 1, {}, 8, 8}, RawCase{"rgb", {8, 8, 8}, 2, {}, 15, 15},
        RawCase{"rgb_alpha", {8, 8, 8, 8}, 2, {2}, 20, 20}, RawCase{"two_extra", {8, 8, 8, 8, 8}, 2, {2, 0}, 25, 20},
        RawCase{"grey_extra", {8, 8}, 1, {2}, 10, 5}, RawCase{"five_bytes_kept", {8, 8, 8, 8, 8, 8}, 1, {0}, 30, 30},
        RawCase{"rgb48", {16, 16, 16}, 2, {}, 30, 30}, RawCase{"cmyk", {8, 8, 8, 8}, 5, {}, 20, 15},
        RawCase{"cmyk16", {16, 16, 16, 16}, 5, {}, 40, 30}, RawCase{"cmyk_alpha", {8, 8, 8, 8, 8}, 5, {2}, 25, 20},
        RawCase{"long_grey", {32}, 1, {}, 20, 20}, RawCase{"three_longs", {32, 32, 32}, 2, {}, 60, 20}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(RawRows, LeaveNothingOutOfYCbCr) {
  // Sub-sampling 2 by 2: one unit of four luma values, Cb, Cr, for each 2 x 2 pixels.
  TiffDirectory page;
  page.Long(256, {4}).Long(257, {4}).Short(258, {8, 8, 8}).Short(259, {1}).Short(262, {6});
  page.Strips({Bytes(24, 128)}).Short(277, {3}).Long(278, {4}).Short(530, {2, 2});
  EXPECT_EQ(RowsOf(page).size(), 4u * 12);
}

// Two of three YCbCr samples are extra: what is left is grey of 8 bits, whose rows are not sub-sampled.
TEST(RawRows, StandOneByOneWhereYCbCrBecomesGrey) {
  TiffDirectory page = Page(5, 3, {8, 8, 8}, 6, {});
  page.Remove(273).Remove(279).Strips({{1, 0, 0, 2, 0, 0, 3, 0, 0, 4, 0, 0, 5, 0, 0},
                                       {6, 0, 0, 7, 0, 0, 8, 0, 0, 9, 0, 0, 10, 0, 0},
                                       {11, 0, 0, 12, 0, 0, 13, 0, 0, 14, 0, 0, 15, 0, 0}});
  page.Remove(278).Long(278, {1}).Short(338, {0, 0});
  EXPECT_EQ(RowsOf(page), (Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}));
}

// One sample of 32 bits is grey, whatever the photometric value says.
TEST(RawRows, StandOneByOneWhereYCbCrIsOneLong) {
  Bytes longs;
  for (const uint32_t value : {7u, 8u, 9u}) {
    AppendU32(longs, FileOrder::kLittle, value);
  }
  const Bytes again = RowsOf(Page(1, 3, {32}, 6, longs));
  EXPECT_EQ(again, longs);
}

TEST(RawSource, TakesBareRows) {
  const TempFile file(Bytes{0xEE, 1, 2, 3, 4, 5, 6});
  toolkit::LoadOptions options;
  options.raw = toolkit::RawSource{.format = kFormatRawRows,
                                   .width = 3,
                                   .height = 2,
                                   .bitsPerPixel = 8,
                                   .offset = 1,
                                   .flags = kRawView1 | kRawBlackFirst};
  const toolkit::LoadedPage page = toolkit::LoadPage(file.Path().string(), options);
  EXPECT_EQ(toolkit::PictureOfPage(page).pixels, (Bytes{1, 2, 3, 4, 5, 6}));
  options.raw->height = 3;
  EXPECT_THROW(toolkit::LoadPage(file.Path().string(), options), toolkit::Failure);
}

TEST(RawSource, TakesPackBits) {
  const TempFile file(Bytes{0xFE, 7, 2, 1, 2, 3});
  toolkit::LoadOptions options;
  options.raw = toolkit::RawSource{
      .format = kFormatRawPackBits, .width = 3, .height = 2, .bitsPerPixel = 8, .flags = kRawView1 | kRawBlackFirst};
  const toolkit::LoadedPage page = toolkit::LoadPage(file.Path().string(), options);
  EXPECT_EQ(page.bitmap.Row(0)[2], 7);
  EXPECT_EQ(page.bitmap.Row(1)[2], 3);
}

} // namespace
