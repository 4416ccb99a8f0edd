// The rules behind the last entry, and the tags of YCbCr pages, known writers and the private directory.

#include <gtest/gtest.h>

#include "Tifutil/PageParse.h"
#include "Tifutil/ParsedPage.h"
#include "Tifutil/PrivateDirectory.h"

namespace {

constexpr FileOrder kOrders[] = {FileOrder::kLittle, FileOrder::kBig};
using Rationals = std::vector<std::pair<uint32_t, uint32_t>>;

TiffDirectory Samples(uint16_t photometric, const std::vector<uint16_t>& depths, uint32_t extra) {
  TiffDirectory page;
  page.Short(256, {4}).Short(257, {4}).Short(258, depths).Short(262, {photometric});
  if (extra != 0) {
    page.Short(338, std::vector<uint16_t>(extra, 1));
  }
  return page;
}

} // namespace

TEST(PixelDepth, OfColoursExtraSamplesAndInks) {
  struct Case {
    const char* name;
    uint16_t photometric;
    std::vector<uint16_t> depths;
    uint32_t extra;
    int32_t bits;
    uint32_t extraBits;
  };
  const Case kCases[] = {
      {"RGB", 2, {8, 8, 8}, 0, 24, 0},
      {"RGB with alpha", 2, {8, 8, 8, 8}, 1, 32, 0},
      {"RGB with two extra samples", 2, {8, 8, 8, 8, 8}, 2, 32, 8},
      {"RGB with an alpha that is not declared", 2, {8, 8, 8, 8}, 0, 32, 0},
      {"16-bit RGB", 2, {16, 16, 16}, 0, 48, 0},
      {"16-bit RGB with alpha", 2, {16, 16, 16, 16}, 1, 64, 0},
      {"16-bit RGB with two extra samples", 2, {16, 16, 16, 16, 16}, 2, 64, 16},
      {"RGB with a thin alpha", 2, {8, 8, 8, 4}, 1, 24, 4},
      {"16-bit RGB with a thin alpha", 2, {16, 16, 16, 8}, 1, 48, 8},
      {"grey with alpha", 1, {8, 8}, 1, 8, 8},
      {"CMYK", 5, {8, 8, 8, 8}, 0, 24, 0},
      {"CMYK with alpha", 5, {8, 8, 8, 8, 8}, 1, 32, 0},
      {"16-bit CMYK", 5, {16, 16, 16, 16}, 0, 48, 0},
      {"CMYK in single bits", 5, {1, 1, 1, 1}, 0, 3, 0},
      {"one sample taken for CMYK", 5, {8}, 0, 0, 0},
      {"nothing but extra samples", 1, {8}, 1, 0, 8},
  };
  KernelGuard guard;
  for (const Case& test : kCases) {
    for (FileOrder order : kOrders) {
      TiffBuilder builder(order);
      builder.AddPage(Samples(test.photometric, test.depths, test.extra));
      for (ParseMode mode : {ParseMode::kLoad, ParseMode::kInformation}) {
        ParsedPage page(builder.Build(), mode);
        ASSERT_EQ(page.result, kResultOk) << test.name;
        EXPECT_EQ(int32_t{page->bitsPerPixel}, test.bits) << test.name;
        EXPECT_EQ(uint32_t{page->extraBits}, test.extraBits) << test.name;
      }
    }
  }
}

TEST(PixelDepth, SamplesOf32BitsAreGreyWhateverTheTagSays) {
  for (uint16_t photometric : std::initializer_list<uint16_t>{0, 1, 2, 3, 4, 6, 8}) {
    TiffBuilder builder;
    builder.AddPage(Samples(photometric, {32}, 0));
    ParsedPage page = Load(builder);
    EXPECT_EQ(int32_t{page->bitsPerPixel}, 32);
    EXPECT_EQ(uint32_t{page->photometricInterpretation}, photometric == 0 ? 0u : 1u) << photometric;
  }
  TiffBuilder cmyk;
  cmyk.AddPage(Samples(5, {32}, 0));
  EXPECT_EQ(uint32_t{Load(cmyk)->photometricInterpretation}, 5u) << "its depth has become 0 by then";
}

TEST(PixelDepth, TheGreyRuleRunsBehindTheSubSampling) {
  TiffBuilder builder;
  builder.AddPage(Samples(6, {32}, 0)).Short(530, {2, 2});
  ParsedPage page = Load(builder);
  EXPECT_EQ(uint32_t{page->photometricInterpretation}, 1u);
  EXPECT_EQ(uint32_t{page->yCbCrSubSampleHoriz}, 2u);
}

TEST(PixelDepth, SubSamplingOfOtherPagesIsOne) {
  TiffBuilder builder;
  builder.AddPage(Samples(2, {8, 8, 8}, 0)).Short(530, {4, 2});
  ParsedPage page = Load(builder);
  EXPECT_EQ(uint32_t{page->yCbCrSubSampleHoriz}, 1u);
  EXPECT_EQ(uint32_t{page->yCbCrSubSampleVert}, 1u);
}

TEST(FillOrderMode, IsSettledByCompression) {
  struct Case {
    uint16_t fillOrder;
    uint16_t compression;
    uint32_t mode;
  };
  for (const Case& test : {Case{2, 5, 2}, {2, 1, 2}, {2, 4, 2}, {2, 32773, 1}, {1, 5, 4}, {1, 32773, 4}, {3, 5, 4}}) {
    TiffBuilder builder;
    builder.AddPage().Short(259, {test.compression}).Short(266, {test.fillOrder});
    EXPECT_EQ(uint32_t{Load(builder)->fillOrderMode}, test.mode) << test.compression;
    EXPECT_EQ(uint32_t{Inform(builder)->fillOrderMode}, 4u);
  }
}

TEST(Software, ThreeWritersReverseTheirBitsInTheirOwnWay) {
  struct Case {
    std::string_view text;
    uint32_t mode;
  };
  constexpr Case kCases[] = {
      {"Micrografx", 1}, {"Micr", 1},        {"Microsoft", 1},   {"micr", 4},          {"Oi/G ", 3},
      {"Oi/GFS 1.0", 3}, {"Oi/g", 4},        {"TIFFPrinter", 1}, {"TIFFPrinter 2", 1}, {"TIFF Printer", 4},
      {"TIFFPrinte", 4}, {"TIFFprinter", 4}, {"TIFF", 4},        {"anything", 4},      {"Mic", 4},
  };
  KernelGuard guard;
  for (const Case& test : kCases) {
    for (FileOrder order : kOrders) {
      TiffBuilder builder(order);
      builder.AddPage().Ascii(305, test.text).Short(266, {2});
      const uint32_t expected = test.mode == 4 ? 2 : test.mode;
      EXPECT_EQ(uint32_t{Load(builder)->fillOrderMode}, expected) << test.text;
      EXPECT_EQ(uint32_t{Inform(builder)->fillOrderMode}, 4u) << test.text;
    }
  }
}

TEST(Software, FourCharactersStandInTheValueWord) {
  for (FileOrder order : kOrders) {
    TiffBuilder builder(order);
    builder.AddPage().RawBytes(305, 2, 4, {'M', 'i', 'c', 'r'});
    EXPECT_EQ(uint32_t{Load(builder)->fillOrderMode}, 1u);
    TiffBuilder printer(order);
    printer.AddPage().RawBytes(305, 2, 4, {'T', 'I', 'F', 'F'});
    EXPECT_EQ(uint32_t{Load(printer)->fillOrderMode}, 4u);
  }
}

TEST(Software, TheFieldStaysWithoutFillOrder2Too) {
  TiffBuilder builder;
  builder.AddPage().Ascii(305, "Oi/G").Short(266, {1});
  EXPECT_EQ(uint32_t{Load(builder)->fillOrderMode}, 3u);
}

TEST(Software, ATextPastTheEndHasNoEffect) {
  KernelGuard guard;
  for (uint32_t offset : {100000u, 0xFFFFFFFFu}) {
    TiffBuilder builder;
    builder.AddPage().RawWord(305, 2, 20, offset);
    ParsedPage page = Load(builder);
    EXPECT_EQ(page.result, kResultOk);
    EXPECT_EQ(uint32_t{page->fillOrderMode}, 4u);
  }
}

TEST(Software, ATextCutOffBehindItsFirstWordHasNoEffect) {
  TiffBuilder builder;
  builder.AddPage().RawWord(305, 2, 20, 100);
  builder.Place(100, {'T', 'I', 'F', 'F', 'P', 'r', 'i'});
  EXPECT_EQ(uint32_t{Load(builder)->fillOrderMode}, 4u);
}

TEST(Make, OnlyATextThatEndsInTheWordIsTheVendors) {
  struct Case {
    std::string_view text;
    bool vendor;
  };
  constexpr Case kCases[] = {
      {"Kodak", true},
      {"KODAK", true},
      {"kOdAk", true},
      {"Eastman Kodak", true},
      {"KKodak", true},
      {"KodaKodak", true},
      {"Kodak Company", false},
      {"Kodak ", false},
      {"Koda", false},
      {"Kodal", false},
      {"Canon", false},
      {"Kodakk", false},
      {std::string_view("a\0Kodak", 7), true},
      {std::string_view("a\0odak", 6), false},
      {std::string_view("Kodak\0", 6), true},
      {std::string_view("Kodak\0x", 7), true}, // the word ends at its NUL, whatever stands behind
  };
  KernelGuard guard;
  for (const Case& test : kCases) {
    for (FileOrder order : kOrders) {
      TiffBuilder builder(order);
      builder.AddPage().Ascii(271, test.text);
      const bool seen = (Load(builder)->pageFlags & kPageKodak) != 0;
      EXPECT_EQ(seen, test.vendor) << test.text;
      EXPECT_EQ((Inform(builder)->pageFlags & kPageKodak) != 0, test.vendor) << test.text;
    }
  }
}

TEST(Make, ATextWithoutItsTerminatorGetsOne) {
  TiffBuilder builder;
  builder.AddPage().Value(271, 2, 6, {'x', 'K', 'o', 'd', 'a', 'k'});
  EXPECT_NE(Load(builder)->pageFlags & kPageKodak, 0u);
}

TEST(Make, ShortTextsAndOtherTypesAreNotLookedAt) {
  TiffBuilder five;
  five.AddPage().Pointer(271, 2, 5, {'K', 'o', 'd', 'a', 'k', 0});
  EXPECT_EQ(Load(five)->pageFlags & kPageKodak, 0u);
  TiffBuilder six;
  six.AddPage().Pointer(271, 2, 6, {'K', 'o', 'd', 'a', 'k', 0});
  EXPECT_NE(Load(six)->pageFlags & kPageKodak, 0u);
  TiffBuilder bytes;
  bytes.AddPage().Pointer(271, 7, 6, {'K', 'o', 'd', 'a', 'k', 0});
  EXPECT_EQ(Load(bytes)->pageFlags & kPageKodak, 0u);
}

TEST(Make, ATextPastTheEndIsNobodys) {
  KernelGuard guard;
  for (uint32_t count : {6u, 5000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    for (uint32_t offset : {8u, 1000u, 0xFFFFFFFFu}) {
      TiffBuilder builder;
      builder.AddPage().RawWord(271, 2, count, offset);
      ParsedPage page = Load(builder);
      EXPECT_EQ(page.result, kResultOk);
      EXPECT_EQ(page->pageFlags & kPageKodak, 0u);
    }
  }
}

TEST(CameraFiles, WithSubDirectoriesAreRefused) {
  KernelGuard guard;
  for (ParseMode mode : {ParseMode::kLoad, ParseMode::kInformation}) {
    TiffBuilder kodak;
    kodak.AddPage().Ascii(271, "Kodak").Long(330, {8}).RawWord(273, 4, 1, 8);
    ParsedPage refused(kodak.Build(), mode);
    EXPECT_EQ(refused.result, kResultRefused);
    EXPECT_TRUE(refused.OwnsNothing());
    TiffBuilder tiffEp;
    tiffEp.AddPage().Long(330, {8}).Byte(37398, {1, 0, 0, 0});
    EXPECT_EQ(ParsedPage(tiffEp.Build(), mode).result, kResultRefused);
    TiffBuilder alone;
    alone.AddPage().Ascii(271, "Kodak").Byte(37398, {1, 0, 0, 0});
    EXPECT_EQ(ParsedPage(alone.Build(), mode).result, kResultOk);
    TiffBuilder others;
    others.AddPage().Ascii(271, "Canon").Long(330, {8});
    EXPECT_EQ(ParsedPage(others.Build(), mode).result, kResultOk);
  }
}

// YCbCr ---------------------------------------------------------------------------------------------------------------

namespace {

std::vector<uint32_t> Coefficients(const Rationals& values, FileOrder order = FileOrder::kLittle) {
  TiffBuilder builder(order);
  builder.AddPage().Short(262, {6}).Rational(529, values);
  ParsedPage page = Load(builder);
  EXPECT_EQ(page.result, kResultOk);
  return {page->yCbCrCoefficients[0], page->yCbCrCoefficients[1], page->yCbCrCoefficients[2]};
}

const std::vector<uint32_t> kUsual = {299, 587, 114};

} // namespace

TEST(Coefficients, PassWhereTheySumToTheirDenominator) {
  for (FileOrder order : kOrders) {
    EXPECT_EQ(Coefficients({{299, 1000}, {587, 1000}, {114, 1000}}, order), kUsual);
    EXPECT_EQ(Coefficients({{2126, 10000}, {7152, 10000}, {722, 10000}}, order),
              (std::vector<uint32_t>{2126, 7152, 722}));
    EXPECT_EQ(Coefficients({{1, 4}, {2, 4}, {1, 4}}, order), (std::vector<uint32_t>{1, 2, 1}));
  }
}

TEST(Coefficients, OfUnlikeDenominatorsBecomePerMille) {
  EXPECT_EQ(Coefficients({{2126, 10000}, {7152, 10000}, {722, 10001}}), (std::vector<uint32_t>{213, 715, 72}));
  EXPECT_EQ(Coefficients({{299, 1000}, {5870, 10000}, {57, 500}}), kUsual);
}

TEST(Coefficients, ThatMissTheirSumGoBackToTheUsualOnes) {
  EXPECT_EQ(Coefficients({{300, 1000}, {587, 1000}, {114, 1000}}), kUsual);
  EXPECT_EQ(Coefficients({{1, 3}, {1, 4}, {1, 5}}), kUsual);
  EXPECT_EQ(Coefficients({{0xFFFFFFFF, 1}, {2, 3}, {1, 1}}), kUsual);
  EXPECT_EQ(Coefficients({{0x80000000, 1000}, {0x80000000, 1000}, {1000, 1000}}), kUsual) << "sums do not wrap";
  EXPECT_EQ(Coefficients({{0, 0x80000000}, {0x80000000, 0x80000000}, {0, 0x80000000}}),
            (std::vector<uint32_t>{0, 0x80000000, 0}));
}

TEST(Coefficients, WithAZeroDenominatorAreDropped) {
  EXPECT_EQ(Coefficients({{1, 4}, {2, 0}, {1, 4}}), kUsual);
  EXPECT_EQ(Coefficients({{1, 0}, {2, 4}, {1, 4}}), kUsual);
  EXPECT_EQ(Coefficients({{1, 4}, {2, 4}, {1, 0}}), kUsual);
}

TEST(Coefficients, OfOtherTypesAndCountsAreDropped) {
  TiffBuilder builder;
  builder.AddPage().Rational(529, {{1, 4}, {3, 4}});
  EXPECT_EQ(uint32_t{Load(builder)->yCbCrCoefficients[0]}, 299u);
  TiffBuilder floats;
  floats.AddPage().Float(529, {0.25F, 0.5F, 0.25F});
  EXPECT_EQ(uint32_t{Load(floats)->yCbCrCoefficients[0]}, 299u);
}

TEST(Coefficients, CutOffRefuseThePage) {
  KernelGuard guard;
  TiffBuilder builder;
  builder.AddPage().RawWord(529, 5, 3, 100);
  builder.Place(100, FileBytes(23, 1));
  EXPECT_EQ(Load(builder).result, kResultRefused);
  EXPECT_EQ(Inform(builder).result, kResultOk);
}

TEST(ReferenceBlackWhite, BecomesWholeNumbers) {
  for (FileOrder order : kOrders) {
    TiffBuilder builder(order);
    builder.AddPage().Short(262, {6}).Rational(532, {{15, 1}, {235, 1}, {256, 2}, {240, 1}, {7, 4}, {1000, 4}});
    ParsedPage page = Load(builder);
    ASSERT_EQ(page.result, kResultOk);
    const uint32_t expected[6] = {15, 235, 128, 240, 1, 250};
    for (int i = 0; i < 6; ++i) {
      EXPECT_EQ(uint32_t{page->referenceBlackWhite[i]}, expected[i]);
    }
  }
}

TEST(ReferenceBlackWhite, IsReadOnlyOnYCbCrPagesWithThePhotometricTagAhead) {
  const Rationals values = {{1, 1}, {2, 1}, {1, 1}, {2, 1}, {1, 1}, {2, 1}};
  TiffBuilder rgb;
  rgb.AddPage().Short(262, {2}).Rational(532, values);
  EXPECT_EQ(uint32_t{Load(rgb)->referenceBlackWhite[0]}, 0u);
  TiffBuilder behind;
  behind.AddPage().Rational(532, values).Short(262, {6});
  EXPECT_EQ(uint32_t{Load(behind)->referenceBlackWhite[0]}, 0u);
  TiffBuilder longs;
  longs.AddPage().Short(262, {6}).Long(532, {1, 2, 1, 2, 1, 2});
  EXPECT_EQ(uint32_t{Load(longs)->referenceBlackWhite[0]}, 0u);
  TiffBuilder two;
  two.AddPage().Short(262, {6}).Rational(532, {{1, 1}, {2, 1}});
  EXPECT_EQ(uint32_t{Load(two)->referenceBlackWhite[0]}, 0u);
}

TEST(ReferenceBlackWhite, WhatCannotBeHonouredRefusesThePage) {
  const Rationals kBad[] = {
      {{15, 0}, {235, 1}, {128, 1}, {240, 1}, {128, 1}, {240, 1}}, // a denominator of 0
      {{15, 1}, {235, 1}, {128, 1}, {240, 1}, {128, 1}, {240, 0}},
      {{235, 1}, {235, 1}, {128, 1}, {240, 1}, {128, 1}, {240, 1}}, // black not below white
      {{0, 1}, {255, 1}, {128, 1}, {240, 1}, {200, 1}, {100, 1}},
      {{0, 1}, {256, 1}, {128, 1}, {240, 1}, {128, 1}, {240, 1}}, // white above 255
      {{0, 1}, {65535, 1}, {32768, 1}, {65535, 1}, {32768, 1}, {65535, 1}},
      {{0xFFFFFFFF, 1}, {1, 1}, {128, 1}, {240, 1}, {128, 1}, {240, 1}}, // unsigned
  };
  KernelGuard guard;
  for (const Rationals& values : kBad) {
    TiffBuilder builder;
    builder.AddPage().Short(262, {6}).Rational(532, values);
    EXPECT_EQ(Load(builder).result, kResultRefused);
    EXPECT_EQ(Inform(builder).result, kResultOk);
  }
}

TEST(ReferenceBlackWhite, CutOffRefusesThePage) {
  for (uint32_t bytes : {0u, 15u, 47u}) {
    TiffBuilder builder;
    builder.AddPage().Short(262, {6}).RawWord(532, 5, 6, 100);
    FileBytes pairs;
    for (uint32_t i = 0; i < 3; ++i) {
      for (uint32_t word : {0u, 1u, 255u, 1u}) {
        AppendU32(pairs, FileOrder::kLittle, word);
      }
    }
    pairs.resize(bytes);
    builder.Place(100, pairs);
    EXPECT_EQ(Load(builder).result, kResultRefused) << bytes;
  }
}

// The private directory
// -------------------------------------------------------------------------------------------------

namespace {

struct Sub {
  uint16_t tag;
  uint16_t type;
  uint32_t count;
  uint32_t value;
};

// A block is little-endian in every file.
FileBytes Block(const std::vector<Sub>& entries, const FileBytes& tables = {}) {
  FileBytes block;
  AppendU16(block, FileOrder::kLittle, static_cast<uint16_t>(entries.size()));
  for (const Sub& entry : entries) {
    AppendU16(block, FileOrder::kLittle, entry.tag);
    AppendU16(block, FileOrder::kLittle, entry.type);
    AppendU32(block, FileOrder::kLittle, entry.count);
    AppendU32(block, FileOrder::kLittle, entry.value);
  }
  block.insert(block.end(), tables.begin(), tables.end());
  return block;
}

TiffBuilder WithBlock(FileOrder order, const FileBytes& block) {
  TiffBuilder builder(order);
  builder.AddPage().Pointer(50234, 7, static_cast<uint32_t>(block.size()), block);
  return builder;
}

FileBytes Movable(VxGlobalHandle handle) {
  const auto* bytes = static_cast<const uint8_t*>(krnGlobalPointer(handle));
  return bytes == nullptr ? FileBytes{} : FileBytes(bytes, bytes + krnGlobalSize(handle));
}

} // namespace

TEST(PrivateDirectory, ItsValuesAreLittleEndianInEveryFile) {
  KernelGuard guard;
  for (FileOrder order : kOrders) {
    TiffBuilder builder =
        WithBlock(order, Block({{0, 4, 1, 11}, {1, 4, 1, 12}, {3, 4, 1, 13}, {4, 3, 1, 14}, {9, 4, 1, 15}}));
    ParsedPage page = Load(builder);
    ASSERT_EQ(page.result, kResultOk);
    EXPECT_EQ(uint32_t{page->privateValue0}, 11u);
    EXPECT_EQ(uint32_t{page->privateValue1}, 12u);
    EXPECT_EQ(uint32_t{page->minSampleValue}, 13u);
    EXPECT_EQ(uint32_t{page->maxSampleValue}, 14u);
    EXPECT_EQ(page.file.byteOrder, order == FileOrder::kLittle ? 73 : 77) << "the file's order comes back";
    EXPECT_EQ(uint32_t{Inform(builder)->privateValue0}, 0u);
  }
}

TEST(PrivateDirectory, TablesOfBytesGetAFourthByteOfZero) {
  KernelGuard guard;
  for (FileOrder order : kOrders) {
    TiffBuilder builder = WithBlock(order, Block({{0, 4, 1, 5}, {2, 1, 6, 2 + 24}}, {1, 2, 3, 4, 5, 6}));
    ParsedPage page = Load(builder);
    ASSERT_EQ(page.result, kResultOk);
    EXPECT_EQ(uint32_t{page->privatePalette8Count}, 2u);
    EXPECT_EQ(Movable(page->privatePalette8), (FileBytes{1, 2, 3, 0, 4, 5, 6, 0}));
  }
}

TEST(PrivateDirectory, TablesOfShortsGetAFourthValueOfZero) {
  KernelGuard guard;
  for (FileOrder order : kOrders) {
    TiffBuilder builder = WithBlock(order, Block({{2, 3, 3, 2 + 12}}, {1, 2, 3, 4, 5, 6}));
    ParsedPage page = Load(builder);
    ASSERT_EQ(page.result, kResultOk);
    EXPECT_EQ(uint32_t{page->privatePalette16Count}, 1u);
    EXPECT_EQ(Movable(page->privatePalette16), (FileBytes{1, 2, 3, 4, 5, 6, 0, 0}));
  }
}

TEST(PrivateDirectory, ATableOfAnotherTypeIsPassedOver) {
  TiffBuilder builder = WithBlock(FileOrder::kLittle, Block({{2, 4, 3, 2}, {0, 4, 1, 7}}));
  ParsedPage page = Load(builder);
  ASSERT_EQ(page.result, kResultOk);
  EXPECT_EQ(uint32_t{page->privateValue0}, 7u);
  EXPECT_EQ(uint32_t{page->privatePalette8}, 0u);
}

TEST(PrivateDirectory, EntriesBehindATableAreReadFromWhereTheFileStoodOnEntry) {
  // The tag is the page's only one, so the file stands behind the next word when it is met: at 26, where the block of a
  // directory of one entry begins. There the entries behind a table are found.
  const FileBytes table = {1, 2, 3};
  TiffBuilder lucky = WithBlock(FileOrder::kLittle, Block({{2, 1, 3, 2 + 24}, {3, 4, 1, 77}}, table));
  const FileBytes bytes = lucky.Build();
  ASSERT_EQ(lucky.ValueOffset(0, 50234), lucky.NextWordOffset(0) + 4);
  EXPECT_EQ(uint32_t{Load(lucky)->minSampleValue}, 77u);
  // Anywhere else they are read from the wrong place: here from what stands 4 bytes further on.
  TiffBuilder shifted;
  const FileBytes block = Block({{2, 1, 3, 2 + 24}, {3, 4, 1, 77}}, table);
  shifted.AddPage().RawWord(50234, 7, static_cast<uint32_t>(block.size()), 100);
  shifted.Place(100, block);
  // Read at 26 + 14 = 40.
  shifted.Place(40, {3, 0, 4, 0, 1, 0, 0, 0, 88, 0, 0, 0});
  EXPECT_EQ(uint32_t{Load(shifted)->minSampleValue}, 88u);
}

TEST(PrivateDirectory, ATablePastTheTagsCountRefusesThePage) {
  KernelGuard guard;
  for (const Sub& entry : {Sub{2, 1, 3, 15}, Sub{2, 1, 0xFFFFFFFF, 14}, Sub{2, 3, 3, 0xFFFFFFFF}, Sub{2, 4, 3, 15}}) {
    FileBytes block = Block({entry}, {1, 2, 3});
    TiffBuilder builder;
    builder.AddPage().Pointer(50234, 7, 17, block);
    EXPECT_EQ(Load(builder).result, kResultRefused) << entry.count;
  }
  TiffBuilder fits;
  fits.AddPage().Pointer(50234, 7, 17, Block({{2, 1, 3, 14}}, {1, 2, 3}));
  EXPECT_EQ(Load(fits).result, kResultOk);
}

TEST(PrivateDirectory, AnAbsurdTableRefusesThePageWithoutAllocatingForIt) {
  KernelGuard guard;
  TiffBuilder builder;
  builder.AddPage().Pointer(50234, 7, 0xFFFFFFFF, Block({{2, 1, 0xF0000000, 14}}, {1, 2, 3}));
  ParsedPage page = Load(builder);
  EXPECT_EQ(page.result, kResultRefused);
  EXPECT_EQ(page.calls.allocations, 1u);
  EXPECT_TRUE(page.OwnsNothing());
}

TEST(PrivateDirectory, ABlockThatCannotBeReadRefusesThePage) {
  KernelGuard guard;
  for (uint32_t offset : {5000u, 0x80000000u, 0xFFFFFFFFu}) {
    TiffBuilder builder;
    builder.AddPage().RawWord(50234, 7, 100, offset);
    EXPECT_EQ(Load(builder).result, kResultRefused);
  }
  TiffBuilder cut;
  cut.AddPage().Pointer(50234, 7, 100, Block({{0, 4, 1, 11}, {1, 4, 1, 12}}));
  FileBytes bytes = cut.Build();
  bytes.resize(cut.ValueOffset(0, 50234) + 25);
  EXPECT_EQ(ParsedPage(bytes).result, kResultRefused);
}

TEST(PrivateDirectory, ARepeatedTableFreesTheEarlierOne) {
  KernelGuard guard;
  TiffBuilder builder;
  const FileBytes first = Block({{2, 1, 3, 14}}, {1, 2, 3});
  const FileBytes second = Block({{2, 1, 3, 14}}, {4, 5, 6});
  const auto size = static_cast<uint32_t>(first.size());
  builder.AddPage().Pointer(50234, 7, size, first).Pointer(50234, 7, size, second);
  EXPECT_EQ(Movable(Load(builder)->privatePalette8), (FileBytes{4, 5, 6, 0}));
}

TEST(PrivateDirectory, ItsCodesTellWhatFailed) {
  KernelGuard guard;
  const FileBytes block = Block({{0, 4, 1, 11}, {2, 1, 3, 2 + 24}}, {1, 2, 3});
  TifDirEntry entry{};
  entry.tag = 50234;
  entry.count = static_cast<uint32_t>(block.size());
  const auto read = [&](const FileBytes& bytes, IoCall call, uint64_t nth, uint64_t allocation) {
    MemoryInput input(bytes);
    TifFile file{};
    file.fileHandle = input.Handle();
    file.byteOrder = kByteOrderLittle;
    file.fileSize = static_cast<uint32_t>(bytes.size());
    TifPage page{};
    IoFaults faults;
    faults.Fail(call, nth);
    AllocFaults memory(allocation);
    const int32_t result = TIFReadPrivateDirectory(&file, &entry, &page);
    TIFFreePageTables(&page);
    return result;
  };
  EXPECT_EQ(read(block, IoCall::kSeek, 0, 0), kResultOk);
  EXPECT_EQ(read(block, IoCall::kSeek, 1, 0), kResultReadFailed) << "where the file stands";
  EXPECT_EQ(read(block, IoCall::kSeek, 2, 0), kResultSeekFailed) << "to the block";
  EXPECT_EQ(read(block, IoCall::kRead, 1, 0), kResultReadFailed) << "its count";
  EXPECT_EQ(read(block, IoCall::kRead, 2, 0), kResultReadFailed) << "an entry";
  EXPECT_EQ(read(block, IoCall::kRead, 4, 0), kResultReadFailed) << "the table";
  EXPECT_EQ(read(block, IoCall::kRead, 0, 1), kResultNoMemory) << "the movable block";
  EXPECT_EQ(read(block, IoCall::kRead, 0, 2), kResultNoMemory) << "the triples";
  entry.count -= 1;
  EXPECT_EQ(read(block, IoCall::kRead, 0, 0), kResultNotTiff);
}

TEST(FreePage, FreesAllThatAPageOwns) {
  KernelGuard guard;
  TiffBuilder builder;
  const FileBytes block = Block({{2, 1, 3, 14}}, {1, 2, 3});
  const FileBytes deep = Block({{2, 3, 3, 14}}, {1, 2, 3, 4, 5, 6});
  builder.AddPage()
      .Short(258, {2})
      .Short(291, {0, 1, 2, 3})
      .Long(273, {1, 2})
      .Long(279, {1, 2})
      .Short(33466, {1, 4, 1})
      .Pointer(50234, 7, static_cast<uint32_t>(block.size()), block)
      .Pointer(50234, 7, static_cast<uint32_t>(deep.size()), deep);
  ParsedPage page = Load(builder);
  ASSERT_EQ(page.result, kResultOk);
  EXPECT_TRUE(page->grayResponseCurve != nullptr);
  EXPECT_TRUE(page->stripCompressions != nullptr);
  EXPECT_NE(uint32_t{page->privatePalette8}, 0u);
  EXPECT_NE(uint32_t{page->privatePalette16}, 0u);
}
