// The tag table of the page parser, row by row: each tag in both modes and both byte orders.

#include <gtest/gtest.h>

#include "Tifutil/ParsedPage.h"

namespace {

constexpr ParseMode kModes[] = {ParseMode::kInformation, ParseMode::kLoad};
constexpr FileOrder kOrders[] = {FileOrder::kLittle, FileOrder::kBig};

// What a directory leaves in one field, in each mode.
struct FieldCase {
  const char* name;
  void (*build)(TiffDirectory&);
  int64_t (*field)(const TifPage&);
  int64_t loaded;
  int64_t informed;
};

#define FIELD(expression) [](const TifPage& page) -> int64_t { return page.expression; }
#define BUILD(calls) [](TiffDirectory& page) { page calls; }

const FieldCase kFieldCases[] = {
    {"256 imageWidth", BUILD(.Short(256, {700})), FIELD(imageWidth), 700, 700},
    {"256 as LONG", BUILD(.Long(256, {70000})), FIELD(imageWidth), 70000, 70000},
    {"256 tileWidth", BUILD(.Short(256, {700})), FIELD(tileWidth), 700, 700},
    {"256 fileWidth", BUILD(.Short(256, {700})), FIELD(fileWidth), 700, 700},
    {"257 imageLength", BUILD(.Short(257, {9})), FIELD(imageLength), 9, 9},
    {"257 fileLength", BUILD(.Short(257, {9})), FIELD(fileLength), 9, 9},
    {"258 single", BUILD(.Short(258, {8})), FIELD(totalBits), 8, 8},
    {"259", BUILD(.Short(259, {5})), FIELD(compression), 5, 5},
    {"259 fax total", BUILD(.Short(258, {8}).Short(259, {2})), FIELD(totalBits), 1, 1},
    {"259 fax sample", BUILD(.Short(258, {8}).Short(259, {4})), FIELD(bitsPerSample[0]), 1, 1},
    {"259 fax samples", BUILD(.Short(258, {8, 8, 8}).Short(259, {3})), FIELD(samplesPerPixel), 1, 1},
    {"259 other keeps samples", BUILD(.Short(258, {8, 8, 8}).Short(259, {5})), FIELD(samplesPerPixel), 3, 3},
    {"262", BUILD(.Short(262, {6})), FIELD(photometricInterpretation), 6, 6},
    {"266", BUILD(.Short(266, {2})), FIELD(fillOrder), 2, 1},
    {"271 flag", BUILD(.Ascii(271, "Eastman Kodak")), FIELD(pageFlags), 0x10000080, 0x10000080},
    {"273 flag", BUILD(.RawWord(273, 4, 1, 8)), FIELD(pageFlags), 0x4000080, 0x4000080},
    {"273 count", BUILD(.RawWord(273, 4, 1, 8)), FIELD(stripCount), 1, 0},
    {"274", BUILD(.Short(274, {6})), FIELD(orientation), 6, 6},
    {"274 view", BUILD(.Short(274, {6})), FIELD(viewPerspective), 6, 6},
    {"274 of 0", BUILD(.Short(274, {0})), FIELD(orientation), 1, 1},
    {"274 of 9", BUILD(.Short(274, {9})), FIELD(orientation), 8, 8},
    {"274 negative", BUILD(.Long(274, {0xFFFFFFFF})), FIELD(orientation), 1, 1},
    {"274 of 0 view", BUILD(.Short(274, {0})), FIELD(viewPerspective), 1, 1},
    {"277 after 8 bits", BUILD(.Short(258, {8}).Short(277, {3})), FIELD(samplesPerPixel), 3, 3},
    {"277 after 16 bits", BUILD(.Short(258, {16}).Short(277, {3})), FIELD(samplesPerPixel), 1, 1},
    {"278", BUILD(.Short(278, {16})), FIELD(rowsPerStrip), 16, 0},
    {"279 flag", BUILD(.RawWord(279, 4, 1, 8)), FIELD(pageFlags), 0x4000080, 0x4000080},
    {"280 SHORT", BUILD(.Short(280, {5})), FIELD(minSampleValue), 5, 0},
    {"280 LONG", BUILD(.Long(280, {70000})), FIELD(minSampleValue), 70000, 0},
    {"280 SSHORT", BUILD(.Value(280, 8, 1, {0xFE, 0xFE})), FIELD(minSampleValue), 0xFFFFFEFE, 0},
    {"280 SLONG", BUILD(.RawWord(280, 9, 1, 77)), FIELD(minSampleValue), 77, 0},
    {"280 BYTE is passed over", BUILD(.Byte(280, {5})), FIELD(minSampleValue), 0, 0},
    {"280 of two values", BUILD(.Short(280, {5, 6})), FIELD(minSampleValue), 0, 0},
    {"281 SHORT", BUILD(.Short(281, {5})), FIELD(maxSampleValue), 5, 0},
    {"281 RATIONAL", BUILD(.Rational(281, {{5, 1}})), FIELD(maxSampleValue), 0, 0},
    {"284", BUILD(.Short(284, {2})), FIELD(planarConfiguration), 2, 0},
    {"284 missing", BUILD(.Short(256, {1})), FIELD(planarConfiguration), 0, 0},
    {"290 dropped", BUILD(.Short(290, {3})), FIELD(pageFlags), 0x80, 0x80},
    {"292", BUILD(.Long(292, {5})), FIELD(t4Options), 5, 5},
    {"293", BUILD(.Long(293, {2})), FIELD(t6Options), 2, 2},
    {"317", BUILD(.Short(317, {2})), FIELD(predictor), 2, 1},
    {"320 flag", BUILD(.RawWord(320, 3, 768, 0x5000)), FIELD(pageFlags), 0, 0},
    {"320 offset", BUILD(.RawWord(320, 3, 768, 0x5000)), FIELD(colorMapOffset), 0x5000, 0x5000},
    {"320 SHORT cuts 31 bits", BUILD(.RawWord(320, 3, 768, 0x80012345)), FIELD(colorMapOffset), 0x12345, 0x12345},
    {"320 LONG keeps it", BUILD(.RawWord(320, 4, 768, 0x80012345)), FIELD(colorMapOffset), 0x80012345, 0x80012345},
    {"320 count", BUILD(.RawWord(320, 3, 768, 0x5000)), FIELD(colorMapCount), 768, 768},
    {"320 entries", BUILD(.RawWord(320, 3, 768, 0x5000)), FIELD(colorMapEntries), 256, 256},
    {"320 SHORT count cut", BUILD(.RawWord(320, 3, 0x10300, 0x5000)), FIELD(colorMapCount), 768, 768},
    {"320 LONG count whole", BUILD(.RawWord(320, 4, 0x10300, 0x5000)), FIELD(colorMapCount), 0x10300, 0x10300},
    {"320 of 196608 SHORTs", BUILD(.RawWord(320, 3, 196608, 0x5000)), FIELD(pageFlags), 0x80, 0x80},
    {"320 of 2 drops the count", BUILD(.RawWord(320, 3, 2, 0x5000)), FIELD(colorMapCount), 0, 0},
    {"320 of 2 keeps the flag", BUILD(.RawWord(320, 3, 2, 0x5000)), FIELD(pageFlags), 0x80, 0x80},
    {"320 of 3", BUILD(.RawWord(320, 3, 3, 0x5000)), FIELD(colorMapEntries), 1, 1},
    {"320 negative", BUILD(.RawWord(320, 4, 0xFFFFFFFA, 0x5000)), FIELD(colorMapEntries), 0xFFFFFFFE, 0xFFFFFFFE},
    {"320 of -1", BUILD(.RawWord(320, 4, 0xFFFFFFFF, 0x5000)), FIELD(pageFlags), 0x80, 0x80},
    {"322", BUILD(.Short(256, {100}).Short(322, {64})), FIELD(tileWidth), 64, 100},
    {"322 behind a strip tag", BUILD(.Short(256, {100}).RawWord(273, 4, 1, 8).Short(322, {64})), FIELD(tileWidth), 100,
     100},
    {"323", BUILD(.Short(323, {32})), FIELD(rowsPerStrip), 32, 0},
    {"323 behind a strip tag", BUILD(.RawWord(279, 4, 1, 8).Short(323, {32})), FIELD(rowsPerStrip), 0, 0},
    {"324 sets no flag", BUILD(.RawWord(324, 4, 1, 8)), FIELD(pageFlags), 0x80, 0x80},
    {"324 count", BUILD(.RawWord(324, 4, 1, 8)), FIELD(stripCount), 1, 0},
    {"330", BUILD(.Long(330, {8})), FIELD(pageFlags), 0x40000080, 0x40000080},
    {"338 count", BUILD(.Short(258, {8}).Short(277, {4}).Short(338, {1})), FIELD(extraSampleCount), 1, 1},
    {"338 bits", BUILD(.Short(258, {4}).Short(277, {3}).Short(338, {0, 0})), FIELD(extraBits), 8, 8},
    {"338 unlike depths", BUILD(.Short(258, {1, 2, 4, 9}).Short(338, {0, 0})), FIELD(extraBits), 13, 13},
    {"338 ahead of its samples", BUILD(.Short(338, {0}).Short(258, {8})), FIELD(extraBits), 1, 1},
    {"339 single", BUILD(.Short(339, {2})), FIELD(sampleFormat), 2, 2},
    {"339 signed flag", BUILD(.Short(339, {2})), FIELD(pageFlags), 0x280, 0x280},
    {"339 float", BUILD(.Short(339, {3})), FIELD(pageFlags), 0x80, 0x80},
    {"339 as LONG", BUILD(.Long(339, {0x50003})), FIELD(sampleFormat), 3, 3},
    {"339 several LONGs", BUILD(.RawWord(339, 4, 3, 0x50002)), FIELD(sampleFormat), 1, 1},
    {"339 several SHORTs take the low half of the offset", BUILD(.RawWord(339, 3, 3, 0x50002)), FIELD(sampleFormat), 2,
     2},
    {"339 and its flag", BUILD(.RawWord(339, 3, 3, 0x50002)), FIELD(pageFlags), 0x280, 0x280},
    {"339 two SHORTs take the first", BUILD(.Short(339, {3, 2})), FIELD(sampleFormat), 3, 3},
    {"530 horizontal", BUILD(.Short(262, {6}).Short(530, {4, 1})), FIELD(yCbCrSubSampleHoriz), 4, 4},
    {"530 vertical", BUILD(.Short(262, {6}).Short(530, {4, 1})), FIELD(yCbCrSubSampleVert), 1, 1},
    {"530 default", BUILD(.Short(262, {6})), FIELD(yCbCrSubSampleHoriz), 2, 2},
    {"33465 of 0", BUILD(.Short(33465, {0})), FIELD(orientation), 1, 1},
    {"33465 of 1", BUILD(.Short(33465, {1})), FIELD(orientation), 8, 8},
    {"33465 of 2", BUILD(.Short(33465, {2})), FIELD(orientation), 3, 3},
    {"33465 of 3", BUILD(.Short(33465, {3})), FIELD(orientation), 6, 6},
    {"33465 of 4", BUILD(.Short(33465, {4})), FIELD(viewPerspective), 4, 4},
    {"33465 of 20", BUILD(.Short(33465, {20})), FIELD(viewPerspective), 8, 8},
    {"33466 single", BUILD(.Short(33466, {1})), FIELD(compression), 1, 1},
    {"33466 two", BUILD(.Short(33466, {1, 1})), FIELD(compression), 4, 4},
    {"33466 none", BUILD(.RawWord(33466, 3, 0, 0)), FIELD(compression), 4, 4},
    {"33466 count", BUILD(.Short(33466, {1, 1, 4})), FIELD(stripCompressionCount), 3, 0},
    {"34665", BUILD(.Long(34665, {8})), FIELD(pageFlags), 0x80000080, 0x80000080},
    {"34735", BUILD(.Short(34735, {1, 1, 0, 0})), FIELD(pageFlags), 0x8000080, 0x8000080},
    {"37398", BUILD(.Byte(37398, {1, 0, 0, 0})), FIELD(pageFlags), 0x20000080, 0x20000080},
    {"50235 first", BUILD(.Short(50235, {300, 400})), FIELD(private50235First), 300, 0},
    {"50235 second", BUILD(.Short(50235, {300, 400})), FIELD(private50235Second), 400, 0},
    {"50235 as LONGs", BUILD(.Long(50235, {300, 400})), FIELD(private50235First), 0, 0},
    {"50235 single", BUILD(.Short(50235, {300})), FIELD(private50235First), 0, 0},
    {"50236", BUILD(.Long(50236, {123456})), FIELD(private50236), 123456, 0},
    {"unknown tag", BUILD(.Long(60000, {5})), FIELD(pageFlags), 0x80, 0x80},
};

// Defaults of fields that no tag has touched.
struct DefaultCase {
  const char* name;
  int64_t (*field)(const TifPage&);
  int64_t expected;
};

const DefaultCase kDefaults[] = {
    {"imageWidth", FIELD(imageWidth), -1},
    {"imageLength", FIELD(imageLength), -1},
    {"bitsPerPixel", FIELD(bitsPerPixel), 1},
    {"compression", FIELD(compression), 1},
    {"colorMapCount", FIELD(colorMapCount), 0},
    {"colorMapEntries", FIELD(colorMapEntries), 0},
    {"viewPerspective", FIELD(viewPerspective), 1},
    {"predictor", FIELD(predictor), 1},
    {"t4Options", FIELD(t4Options), 0},
    {"tileWidth", FIELD(tileWidth), -1},
    {"rowsPerStrip", FIELD(rowsPerStrip), 0},
    {"orientation", FIELD(orientation), 1},
    {"bitsPerSample", FIELD(bitsPerSample[0]), 1},
    {"samplesPerPixel", FIELD(samplesPerPixel), 1},
    {"extraSampleCount", FIELD(extraSampleCount), 0},
    {"totalBits", FIELD(totalBits), 1},
    {"extraBits", FIELD(extraBits), 0},
    {"pageFlags", FIELD(pageFlags), 0x80},
    {"sub-sampling, as the page is no YCbCr page", FIELD(yCbCrSubSampleHoriz), 1},
    {"reference 0", FIELD(referenceBlackWhite[0]), 0},
    {"reference 1", FIELD(referenceBlackWhite[1]), 255},
    {"reference 2", FIELD(referenceBlackWhite[2]), 128},
    {"reference 3", FIELD(referenceBlackWhite[3]), 255},
    {"reference 4", FIELD(referenceBlackWhite[4]), 128},
    {"reference 5", FIELD(referenceBlackWhite[5]), 255},
    {"coefficient 0", FIELD(yCbCrCoefficients[0]), 299},
    {"coefficient 1", FIELD(yCbCrCoefficients[1]), 587},
    {"coefficient 2", FIELD(yCbCrCoefficients[2]), 114},
    {"fillOrder", FIELD(fillOrder), 1},
    {"fillOrderMode", FIELD(fillOrderMode), 4},
    {"grayResponseCount", FIELD(grayResponseCount), 0},
    {"minSampleValue", FIELD(minSampleValue), 0},
    {"maxSampleValue", FIELD(maxSampleValue), 0},
    {"sampleFormat", FIELD(sampleFormat), 1},
    {"private50235First", FIELD(private50235First), 0},
    {"private50235Second", FIELD(private50235Second), 0},
    {"privateValue0", FIELD(privateValue0), 0},
    {"privateValue1", FIELD(privateValue1), 0xFFFFFFFF},
    {"privatePalette8Count", FIELD(privatePalette8Count), 0},
    {"privatePalette16Count", FIELD(privatePalette16Count), 0},
    {"private50236", FIELD(private50236), 0},
};

} // namespace

TEST(PageTags, EachRowFillsItsFieldInItsModesAndBothOrders) {
  KernelGuard guard;
  for (const FieldCase& test : kFieldCases) {
    for (FileOrder order : kOrders) {
      for (ParseMode mode : kModes) {
        TiffBuilder builder(order);
        test.build(builder.AddPage());
        ParsedPage page(builder.Build(), mode);
        const int64_t expected = mode == ParseMode::kLoad ? test.loaded : test.informed;
        const char* where = order == FileOrder::kLittle ? "little" : "big";
        EXPECT_EQ(page.result, kResultOk) << test.name << " " << where;
        EXPECT_EQ(test.field(page.Page()), expected)
            << test.name << " " << where << (mode == ParseMode::kLoad ? " load" : " information");
      }
    }
  }
}

TEST(PageTags, UntouchedFieldsHoldTheirDefaults) {
  KernelGuard guard;
  for (ParseMode mode : kModes) {
    TiffBuilder builder;
    builder.AddPage().Short(60000, {1});
    ParsedPage page(builder.Build(), mode);
    ASSERT_EQ(page.result, kResultOk);
    for (const DefaultCase& test : kDefaults) {
      EXPECT_EQ(test.field(page.Page()), test.expected) << test.name;
    }
    EXPECT_EQ(float{page->xResolution}, 0.0F);
    EXPECT_EQ(float{page->yResolution}, 0.0F);
    EXPECT_TRUE(page->stripOrderScratchPointer == &page->stripOrderScratch);
  }
}

TEST(PageTags, ADirectoryWithoutEntriesIsAPage) {
  KernelGuard guard;
  for (ParseMode mode : kModes) {
    TiffBuilder builder;
    builder.AddPage();
    ParsedPage page(builder.Build(), mode);
    EXPECT_EQ(page.result, kResultOk);
    EXPECT_EQ(int32_t{page->imageWidth}, -1);
    EXPECT_EQ(int32_t{page->imageLength}, -1);
  }
}

TEST(PageTags, CompressionStartsAtGroup4InAVariantFile) {
  for (FileOrder order : kOrders) {
    TiffBuilder builder(order, 12622);
    builder.AddPage().Short(256, {8});
    EXPECT_EQ(uint32_t{Load(builder)->compression}, 4u);
  }
}

TEST(PageTags, ThePositionComesBackToTheNextWord) {
  TiffBuilder builder(FileOrder::kBig);
  builder.AddPage(GrayPage(5, 4));
  const FileBytes bytes = builder.Build();
  EXPECT_EQ(ParsedPage(bytes, ParseMode::kLoad).position, builder.NextWordOffset(0));
  EXPECT_EQ(ParsedPage(bytes, ParseMode::kInformation).position, builder.NextWordOffset(0));
}

TEST(PageTags, StaleUpperHalvesOfSingleShortsAreCut) {
  TiffBuilder builder;
  builder.AddPage().RawWord(256, 3, 1, 0xFFFF0007).RawWord(280, 8, 1, 0x12348001);
  ParsedPage page = Load(builder);
  EXPECT_EQ(int32_t{page->imageWidth}, 7);
  EXPECT_EQ(uint32_t{page->minSampleValue}, 0xFFFF8001u);
}

TEST(PageTags, ForcedRgbReplacesThePhotometricValueWhereTheTagIsMet) {
  TiffBuilder builder;
  builder.AddPage().Short(258, {8, 8, 8, 8}).Short(262, {5});
  ParsedPage forced(builder.Build(), ParseMode::kLoad, RgbMode::kForceRgb);
  EXPECT_EQ(uint32_t{forced->photometricInterpretation}, 2u);
  EXPECT_EQ(int32_t{forced->bitsPerPixel}, 32) << "the CMYK rule sees the forced value";
  TiffBuilder without;
  without.AddPage().Short(258, {8});
  EXPECT_EQ(uint32_t{ParsedPage(without.Build(), ParseMode::kLoad, RgbMode::kForceRgb)->photometricInterpretation}, 0u);
}

TEST(PageTags, ExifInADirectoryWithASuccessorMarksItsThumbnail) {
  TiffBuilder builder;
  builder.AddPage().Long(34665, {8}).NextWord(5);
  EXPECT_EQ(uint32_t{Load(builder)->pageFlags}, 0x80000084u);
  EXPECT_EQ(uint32_t{Inform(builder)->pageFlags}, 0x80000084u);
}

TEST(PageTags, AMissingNextWordCountsAsZero) {
  TiffBuilder builder;
  builder.AddPage().Long(34665, {8}).NextWord(5);
  FileBytes bytes = builder.Build();
  bytes.resize(builder.NextWordOffset(0) + 3);
  ParsedPage page(bytes);
  EXPECT_EQ(page.result, kResultOk);
  EXPECT_EQ(uint32_t{page->pageFlags}, 0x80000080u);
}

// BitsPerSample ------------------------------------------------------------------------------------------------------

namespace {

struct DepthCase {
  const char* name;
  void (*build)(TiffDirectory&);
  std::vector<uint32_t> samples;
  uint32_t total;
};

const DepthCase kDepthCases[] = {
    {"one", BUILD(.Short(258, {8})), {8}, 8},
    {"one of 0 stays 0", BUILD(.Short(258, {0})), {0}, 0},
    {"two inline SHORTs", BUILD(.Short(258, {8, 4})), {8, 4}, 12},
    {"two inline zeros", BUILD(.Short(258, {0, 0})), {8, 8}, 16},
    {"three SHORTs in the file", BUILD(.Short(258, {8, 8, 8})), {8, 8, 8}, 24},
    {"three zeros", BUILD(.Short(258, {0, 0, 0})), {8, 8, 8}, 24},
    {"5-5-5 takes 16 bits", BUILD(.Short(258, {5, 5, 5})), {5, 5, 5}, 16},
    {"5-5-5 inline does not", BUILD(.Byte(258, {5, 5, 5})), {5, 5, 5}, 15},
    {"four inline bytes", BUILD(.Byte(258, {1, 0, 3, 4})), {1, 8, 3, 4}, 16},
    {"five bytes are read as LONGs", BUILD(.RawWord(258, 1, 5, 200)), {1, 2, 3, 4, 5}, 15 + 1},
    {"LONGs in the file", BUILD(.Long(258, {16, 16, 16})), {16, 16, 16}, 48},
    {"two LONGs in the file", BUILD(.Long(258, {16, 8})), {16, 8}, 24},
    {"sixteen", BUILD(.Short(258, std::vector<uint16_t>(16, 2))), std::vector<uint32_t>(16, 2), 32},
    {"filled up by an earlier 277", BUILD(.Short(277, {3}).Short(258, {16})), {16, 16, 16}, 48},
    {"277 of 20 counts as 16", BUILD(.Short(258, {8}).Short(277, {20})), std::vector<uint32_t>(16, 8), 128},
    {"277 ahead of 258", BUILD(.Short(277, {20}).Short(258, {8})), std::vector<uint32_t>(16, 8), 128},
    {"277 huge is clamped unsigned", BUILD(.Short(258, {8}).Long(277, {0xFFFFFFFF})), std::vector<uint32_t>(16, 8),
     128},
    {"fax and then 277", BUILD(.Short(258, {8}).Short(259, {3}).Short(277, {3})), {1, 1, 1}, 3},
    {"277 below the count", BUILD(.Short(258, {8, 8, 8}).Short(277, {1})), {8, 8, 8}, 24},
    {"count 0", BUILD(.RawWord(258, 4, 0, 4)), {}, 4},
    {"count 0 filled up", BUILD(.Short(277, {2}).RawWord(258, 4, 0, 4)), {4, 4}, 12},
};

} // namespace

TEST(BitsPerSample, DepthsAndTheirSum) {
  KernelGuard guard;
  for (const DepthCase& test : kDepthCases) {
    for (FileOrder order : kOrders) {
      TiffBuilder builder(order);
      test.build(builder.AddPage());
      FileBytes longs(20 * 4);
      for (uint32_t i = 0; i < 20; ++i) {
        PutU32(longs, 4 * i, order, i + 1);
      }
      builder.Place(200, longs);
      ParsedPage page(builder.Build());
      ASSERT_EQ(page.result, kResultOk) << test.name;
      EXPECT_EQ(uint32_t{page->totalBits}, test.total) << test.name;
      ASSERT_EQ(uint32_t{page->samplesPerPixel}, test.samples.size()) << test.name;
      for (size_t i = 0; i < test.samples.size(); ++i) {
        EXPECT_EQ(uint32_t{page->bitsPerSample[i]}, test.samples[i]) << test.name << " sample " << i;
      }
    }
  }
}

TEST(BitsPerSample, SeventeenInTheFileRefuseThePage) {
  KernelGuard guard;
  TiffBuilder builder;
  builder.AddPage().Short(258, std::vector<uint16_t>(17, 1));
  EXPECT_EQ(Load(builder).result, kResultRefused);
  EXPECT_EQ(Inform(builder).result, kResultRefused);
}

TEST(BitsPerSample, ValuesPastTheEndRefuseThePage) {
  TiffBuilder builder;
  builder.AddPage().RawWord(258, 3, 3, 5000);
  EXPECT_EQ(Load(builder).result, kResultRefused);
}

TEST(BitsPerSample, InlineBytesCostFourBytesOfTheFileEach) {
  // Behind the next word stand 12 bytes for three values; with 11 the last read comes short.
  for (uint32_t behind : {11u, 12u}) {
    TiffBuilder builder;
    builder.AddPage().Byte(258, {8, 8, 8});
    FileBytes bytes = builder.Build();
    bytes.resize(builder.NextWordOffset(0) + 4 + behind);
    EXPECT_EQ(ParsedPage(bytes).result, behind == 12 ? kResultOk : kResultRefused);
  }
}

// Resolution ---------------------------------------------------------------------------------------------------------

TEST(Resolution, RationalsAreDividedAsFloats) {
  for (FileOrder order : kOrders) {
    for (ParseMode mode : kModes) {
      TiffBuilder builder(order);
      builder.AddPage().Rational(282, {{599, 2}}).Rational(283, {{72, 1}});
      ParsedPage page(builder.Build(), mode);
      EXPECT_EQ(float{page->xResolution}, 299.5F);
      EXPECT_EQ(float{page->yResolution}, 72.0F);
    }
  }
}

TEST(Resolution, NumbersAreUnsigned) {
  TiffBuilder builder;
  builder.AddPage().Rational(282, {{0xFFFFFFFF, 1}});
  EXPECT_EQ(float{Load(builder)->xResolution}, 4294967296.0F);
}

TEST(Resolution, WhatCannotBeHadIsZeroAndNoFailure) {
  for (auto build : {+BUILD(.Rational(282, {{72, 0}})), +BUILD(.RawWord(282, 5, 1, 90000)),
                     +BUILD(.Rational(282, {{72, 1}}).RawWord(282, 5, 1, 0xFFFFFFFF))}) {
    TiffBuilder builder;
    build(builder.AddPage());
    ParsedPage page = Load(builder);
    EXPECT_EQ(page.result, kResultOk);
    EXPECT_EQ(float{page->xResolution}, 0.0F);
  }
}

TEST(Resolution, CentimetresBecomeInchesOfAWholePage) {
  TiffBuilder builder;
  builder.AddPage().Short(256, {1}).Short(257, {1}).Rational(282, {{100, 1}}).Rational(283, {{10, 1}}).Short(296, {3});
  ParsedPage page = Load(builder);
  EXPECT_EQ(float{page->xResolution}, 254.0F);
  EXPECT_EQ(float{page->yResolution}, 10.0F * 2.54F);
}

TEST(Resolution, OtherUnitsStayAsTheyAre) {
  for (uint16_t unit : std::initializer_list<uint16_t>{0, 1, 2, 4}) {
    TiffBuilder builder;
    builder.AddPage().Short(256, {1}).Short(257, {1}).Rational(282, {{100, 1}}).Short(296, {unit});
    EXPECT_EQ(float{Load(builder)->xResolution}, 100.0F);
  }
}

TEST(Resolution, APageWithoutWidthOrLengthKeepsItsRawNumbers) {
  for (uint16_t tag : std::initializer_list<uint16_t>{256, 257}) {
    TiffBuilder builder;
    builder.AddPage().Short(tag, {1}).Rational(282, {{100, 1}}).Short(296, {3});
    EXPECT_EQ(float{Load(builder)->xResolution}, 100.0F);
  }
}

// Refusals ------------------------------------------------------------------------------------------------------------

TEST(GlobalParameters, OnlyPlainLzwAndPackBitsPagesMayHaveThem) {
  KernelGuard guard;
  for (const auto& [compression, expected] :
       {std::pair{uint16_t{1}, 1}, {uint16_t{5}, 1}, {uint16_t{32773}, 1}, {uint16_t{4}, 0}, {uint16_t{7}, 0}}) {
    TiffBuilder builder;
    builder.AddPage().Short(259, {compression}).Long(400, {8});
    EXPECT_EQ(Load(builder).result, expected) << compression;
    EXPECT_EQ(Inform(builder).result, expected) << compression;
  }
}

TEST(GlobalParameters, TheCompressionOfThatMomentCounts) {
  TiffBuilder builder;
  builder.AddPage().Long(400, {8}).Short(259, {4});
  EXPECT_EQ(Load(builder).result, kResultOk);
}

TEST(ExtraSamples, MoreThanThereAreSamplesEndsTheParse) {
  KernelGuard guard;
  for (FileOrder order : kOrders) {
    TiffBuilder builder(order);
    builder.AddPage().Short(256, {9}).Short(258, {8, 8, 8}).RawWord(273, 4, 1, 8).RawWord(338, 3, 9, 8).Short(257, {4});
    ParsedPage loaded = Load(builder);
    EXPECT_EQ(loaded.result, kResultNotTiff);
    EXPECT_EQ(int32_t{loaded->imageWidth}, 9);
    EXPECT_EQ(int32_t{loaded->imageLength}, -1) << "what stands behind is not read";
    EXPECT_EQ(int32_t{loaded->bitsPerPixel}, 0);
    EXPECT_TRUE(loaded->stripOffsets != nullptr) << "what was read is the caller's to free";
    EXPECT_EQ(Inform(builder).result, kResultNotTiff);
  }
}

TEST(ExtraSamples, AsManyAsSamplesIsNoFailure) {
  TiffBuilder builder;
  builder.AddPage().Short(258, {8}).Short(338, {0});
  ParsedPage page = Load(builder);
  EXPECT_EQ(page.result, kResultOk);
  EXPECT_EQ(int32_t{page->bitsPerPixel}, 0);
}

TEST(SubSampling, OtherFactorsTypesAndCountsRefuseThePage) {
  KernelGuard guard;
  for (auto build : {+BUILD(.Short(530, {3, 1})), +BUILD(.Short(530, {1, 3})), +BUILD(.Short(530, {0, 1})),
                     +BUILD(.Short(530, {8, 1})), +BUILD(.Short(530, {2})), +BUILD(.Short(530, {2, 2, 2})),
                     +BUILD(.Long(530, {2, 2})), +BUILD(.Byte(530, {2, 2}))}) {
    TiffBuilder builder;
    build(builder.AddPage().RawWord(273, 4, 1, 8));
    ParsedPage loaded = Load(builder);
    EXPECT_EQ(loaded.result, kResultRefused);
    EXPECT_TRUE(loaded.OwnsNothing());
    EXPECT_EQ(Inform(builder).result, kResultRefused);
  }
}

TEST(SubSampling, AllNinePairsAreTaken) {
  for (uint16_t horizontal : std::initializer_list<uint16_t>{1, 2, 4}) {
    for (uint16_t vertical : std::initializer_list<uint16_t>{1, 2, 4}) {
      TiffBuilder builder;
      builder.AddPage().Short(262, {6}).Short(530, {horizontal, vertical});
      ParsedPage page = Load(builder);
      EXPECT_EQ(uint32_t{page->yCbCrSubSampleHoriz}, horizontal);
      EXPECT_EQ(uint32_t{page->yCbCrSubSampleVert}, vertical);
    }
  }
}

TEST(Directory, AnEntryCountPastTheFileRefusesThePageBeforeAnyTag) {
  KernelGuard guard;
  TiffBuilder builder;
  builder.AddPage().Short(256, {5}).CountWord(60000);
  ParsedPage page = Load(builder);
  EXPECT_EQ(page.result, kResultRefused);
  EXPECT_EQ(int32_t{page->imageWidth}, -1);
  EXPECT_EQ(page.calls.allocations, 0u);
}

TEST(Directory, AFailedAllocationOfTheEntriesRefusesThePage) {
  KernelGuard guard;
  TiffBuilder builder;
  builder.AddPage().Short(256, {5});
  const FileBytes bytes = builder.Build();
  MemoryInput input(bytes);
  TifFile file{};
  file.fileHandle = input.Handle();
  uint32_t reached = 0;
  ASSERT_EQ(TIFSeekPage(&file, 1, 0, &reached, PageSearch::kLenient), kResultOk);
  TifPage page{};
  AllocFaults faults(1);
  EXPECT_EQ(TIFReadPageInfo(&file, &page, ParseMode::kLoad, RgbMode::kAsStored), kResultRefused);
}

// Costs ---------------------------------------------------------------------------------------------------------------

TEST(ParseCosts, TheInformationModeAllocatesOnlyTheEntriesAndReadsNoTables) {
  TiffBuilder builder;
  TiffDirectory page = GrayPage(100, 100);
  page.Remove(273).Remove(279).Strips(std::vector<FileBytes>(100, FileBytes(100, 1))).Sort();
  builder.AddPage(std::move(page));
  ParsedPage parsed = Inform(builder);
  ASSERT_EQ(parsed.result, kResultOk);
  EXPECT_EQ(parsed.calls.allocations, 1u);
  EXPECT_EQ(parsed.calls.reads, 2u + 2u) << "entries, next word and two resolutions";
  EXPECT_TRUE(parsed->stripOffsets == nullptr);
}

TEST(ParseCosts, AllEntriesComeInOneRead) {
  TiffBuilder builder;
  TiffDirectory& page = builder.AddPage();
  for (uint16_t tag = 60000; tag < 60500; ++tag) {
    page.Short(tag, {1});
  }
  ParsedPage parsed = Inform(builder);
  EXPECT_EQ(parsed.result, kResultOk);
  EXPECT_EQ(parsed.calls.reads, 2u);
  EXPECT_EQ(parsed.calls.allocations, 1u);
}
