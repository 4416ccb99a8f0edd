// The file report: formats and texts, geometry, flags, pages. No sibling library is at hand here.

#include <gtest/gtest.h>

#include "report/ReportInput.h"
#include "support/KernelGuard.h"

namespace {

constexpr FileOrder kOrders[] = {FileOrder::kLittle, FileOrder::kBig};

struct FormatCase {
  const char* name;
  void (*build)(TiffDirectory&);
  int32_t result;
  int32_t format;
  const char16_t* text; // null: left alone
  uint32_t faxFlag;
};

#define BUILD(calls) [](TiffDirectory& page) { page calls; }

const FormatCase kFormatCases[] = {
    {"1", BUILD(.Short(259, {1}).Short(262, {2})), 1, 3, nullptr, 0},
    {"no tag 259", BUILD(.Short(262, {2})), 1, 3, nullptr, 0},
    {"1 CMYK", BUILD(.Short(259, {1}).Short(262, {5})), 1, 85, nullptr, 0},
    {"1 YCbCr", BUILD(.Short(259, {1}).Short(262, {6})), 1, 93, nullptr, 0},
    {"1 Exif", BUILD(.Short(259, {1}).Long(34665, {8})), 1, 96, nullptr, 0},
    {"1 YCbCr Exif", BUILD(.Short(259, {1}).Short(262, {6}).Long(34665, {8})), 1, 97, nullptr, 0},
    {"1 CMYK Exif", BUILD(.Short(259, {1}).Short(262, {5}).Long(34665, {8})), 1, 85, nullptr, 0},
    {"1 geo keys", BUILD(.Short(259, {1}).Short(34735, {1, 1, 0, 0})), 1, 174, nullptr, 0},
    {"1 CMYK geo keys", BUILD(.Short(259, {1}).Short(262, {5}).Short(34735, {1, 1, 0, 0})), 1, 174, nullptr, 0},
    {"1 Exif and geo keys", BUILD(.Long(34665, {8}).Short(34735, {1, 1, 0, 0})), 1, 96, nullptr, 0},
    {"2", BUILD(.Short(259, {2})), 1, 25, u"CCITT", 0},
    {"3", BUILD(.Short(259, {3})), 1, 27, u"CCITT Group 3 Fax", 0x40},
    {"3 two-dimensional", BUILD(.Short(259, {3}).Long(292, {1})), 1, 28, u"CCITT Group 3 Fax", 0x40},
    {"3 byte-aligned", BUILD(.Short(259, {3}).Long(292, {4})), 1, 27, u"CCITT Group 3 Fax", 0x40},
    {"4", BUILD(.Short(259, {4})), 1, 29, u"CCITT Group 4 Fax", 0x40},
    {"5", BUILD(.Short(259, {5})), 1, 17, u"LZW", 0},
    {"5 CMYK", BUILD(.Short(259, {5}).Short(262, {5})), 1, 86, u"LZW", 0},
    {"5 YCbCr", BUILD(.Short(259, {5}).Short(262, {6})), 1, 94, u"LZW", 0},
    {"5 Exif changes nothing", BUILD(.Short(259, {5}).Long(34665, {8})), 1, 17, u"LZW", 0},
    {"6", BUILD(.Short(259, {6})), 0, kLeftAlone, nullptr, 0},
    {"7", BUILD(.Short(259, {7})), 0, kLeftAlone, nullptr, 0},
    {"8", BUILD(.Short(259, {8})), 1, 189, u"ZIP", 0},
    {"9", BUILD(.Short(259, {9})), 0, kLeftAlone, nullptr, 0},
    {"10", BUILD(.Short(259, {10})), 0, kLeftAlone, nullptr, 0},
    {"32010", BUILD(.Short(259, {32010})), 1, 186, u"ABIC", 0},
    {"32773", BUILD(.Short(259, {32773})), 1, 87, u"Run Length", 0},
    {"32773 CMYK", BUILD(.Short(259, {32773}).Short(262, {5})), 1, 88, u"Run Length", 0},
    {"32773 YCbCr", BUILD(.Short(259, {32773}).Short(262, {6})), 1, 95, u"Run Length", 0},
    {"32946", BUILD(.Short(259, {32946})), 1, 189, u"ZIP", 0},
    {"33001", BUILD(.Short(259, {33001})), -309, kLeftAlone, nullptr, 0},
    {"33003", BUILD(.Short(259, {33003})), 1, 166, u"Wavelet", 0},
    {"34661", BUILD(.Short(259, {34661})), 1, 139, u"JBIG", 0},
    {"34662", BUILD(.Short(259, {34662})), 1, 155, u"Custom Compression", 0},
    {"34709", BUILD(.Short(259, {34709})), 0, kLeftAlone, nullptr, 0},
    {"34710", BUILD(.Short(259, {34710}).Long(273, {8}).Long(279, {4})), -309, kLeftAlone, nullptr, 0},
    {"34711", BUILD(.Short(259, {34711}).Long(273, {8}).Long(279, {4})), 1, kLeftAlone, u"Wavelet", 0},
    {"34712", BUILD(.Short(259, {34712})), 1, 166, u"Wavelet", 0},
    {"34713", BUILD(.Short(259, {34713})), 1, 175, u"VEXA Proprietary", 0},
    {"34714", BUILD(.Short(259, {34714}).Long(273, {8}).Long(279, {4})), -309, kLeftAlone, nullptr, 0},
    {"34715", BUILD(.Short(259, {34715})), 1, 177, u"MRC", 0},
    {"34716", BUILD(.Short(259, {34716})), 1, 180, u"VEXA Proprietary", 0},
    {"34717", BUILD(.Short(259, {34717})), 1, 186, u"ABIC", 0},
    {"34718", BUILD(.Short(259, {34718})), 1, 187, u"JBIG2", 0},
    {"30001", BUILD(.Short(259, {30001}).Long(273, {8}).Long(279, {4})), 1, 141, u"Unknown", 0},
    {"0", BUILD(.Short(259, {0})), 1, 141, u"Unknown", 0},
    {"11", BUILD(.Short(259, {11})), 1, 141, u"Unknown", 0},
    {"65535", BUILD(.Short(259, {65535})), 1, 141, u"Unknown", 0},
    {"a whole LONG", BUILD(.Long(259, {0x10001})), 1, 141, u"Unknown", 0},
    {"33466 of one code", BUILD(.Short(33466, {5})), 1, 17, u"LZW", 0},
    {"33466 of several", BUILD(.Short(33466, {1, 4, 1})), 1, 29, u"CCITT Group 4 Fax", 0x40},
};

TiffBuilder Pages(uint32_t count, FileOrder order = FileOrder::kLittle) {
  TiffBuilder builder(order);
  for (uint32_t i = 1; i <= count; ++i) {
    builder.AddPage(GrayPage(10 * i, 5));
  }
  return builder;
}

ReportCall On(TiffBuilder& builder) {
  return ReportCall(builder.Build());
}

} // namespace

TEST(ReportFormats, EachRowOfTheTable) {
  KernelGuard guard;
  for (const FormatCase& test : kFormatCases) {
    for (FileOrder order : kOrders) {
      TiffBuilder builder(order);
      test.build(builder.AddPage());
      ReportCall call = On(builder);
      EXPECT_EQ(call.Run(), test.result) << test.name;
      EXPECT_EQ(int32_t{call.info.fileFormat}, test.format) << test.name;
      if (test.text == nullptr) {
        EXPECT_TRUE(call.TextLeftAlone()) << test.name;
      } else {
        EXPECT_EQ(call.Text(), test.text) << test.name;
      }
      const uint32_t complete = test.result == 1 ? kInfoComplete : 0;
      EXPECT_EQ(uint32_t{call.info.flags} & (kInfoFax | kInfoComplete), test.faxFlag | complete) << test.name;
    }
  }
}

TEST(ReportFormats, AVariantFileIsFormat131WhateverItsCompression) {
  for (const auto& [compression, text] :
       {std::pair{uint16_t{4}, u"CCITT Group 4 Fax"}, {uint16_t{1}, nullptr}, {uint16_t{7}, nullptr}}) {
    TiffBuilder builder(FileOrder::kBig, 12622);
    builder.AddPage().Short(259, {compression});
    ReportCall call = On(builder);
    EXPECT_EQ(call.Run(), 1);
    EXPECT_EQ(int32_t{call.info.fileFormat}, 131);
    EXPECT_EQ(uint32_t{call.info.flags} & kInfoFax, uint32_t{kInfoFax});
    EXPECT_EQ(call.TextLeftAlone(), text == nullptr);
  }
  TiffBuilder builder(FileOrder::kLittle, 12622);
  builder.AddPage().Short(256, {8});
  ReportCall call = On(builder);
  EXPECT_EQ(call.Run(), 1);
  EXPECT_EQ(call.Text(), u"CCITT Group 4 Fax") << "the default of a variant file";
}

TEST(ReportFormats, ATextEndsWithItsTerminatorAndTheRestStays) {
  TiffBuilder builder;
  builder.AddPage().Short(259, {5});
  ReportCall call = On(builder);
  ASSERT_EQ(call.Run(), 1);
  EXPECT_EQ(call.info.compressionName[3], 0);
  EXPECT_EQ(call.info.compressionName[4], 0xEEEE);
}

TEST(ReportGeometry, SizeDepthOrientationAndPlace) {
  for (FileOrder order : kOrders) {
    TiffBuilder builder(order);
    builder.AddPage(GrayPage(700, 9)).Short(274, {6});
    ReportCall call = On(builder);
    ASSERT_EQ(call.Run(), 1);
    EXPECT_EQ(int32_t{call.info.width}, 700);
    EXPECT_EQ(int32_t{call.info.height}, 9);
    EXPECT_EQ(int32_t{call.info.bitsPerPixel}, 8);
    EXPECT_EQ(uint32_t{call.info.memorySize}, 700u * 9);
    EXPECT_EQ(uint32_t{call.info.viewPerspective}, 6u);
    EXPECT_EQ(int32_t{call.info.xResolution}, 72);
    EXPECT_EQ(uint32_t{call.info.directoryOffset}, builder.DirectoryOffset(0));
    EXPECT_EQ(uint32_t{call.info.structSize}, sizeof(FileInfoRecord));
  }
}

TEST(ReportGeometry, TheOrientationMayBeIgnored) {
  TiffBuilder builder;
  builder.AddPage(GrayPage(7, 9)).Short(274, {6});
  ReportCall call = On(builder);
  call.options.flags = kReadIgnoreOrientation;
  ASSERT_EQ(call.Run(), 1);
  EXPECT_EQ(uint32_t{call.info.viewPerspective}, 1u);
}

TEST(ReportGeometry, APageWithoutSizeReportsMinusOne) {
  TiffBuilder builder;
  builder.AddPage();
  ReportCall call = On(builder);
  EXPECT_EQ(call.Run(), 1);
  EXPECT_EQ(int32_t{call.info.width}, -1);
  EXPECT_EQ(int32_t{call.info.height}, -1);
}

TEST(ReportGeometry, MemorySizePadsRowsToFourBytesAndWraps) {
  struct Case {
    uint32_t width;
    uint32_t height;
    std::vector<uint16_t> depths;
    uint32_t expected;
  };
  const Case kCases[] = {
      {1, 1, {1}, 4},          {32, 2, {1}, 8},       {33, 2, {1}, 16}, {3, 5, {8}, 20},  {4, 5, {8}, 20},
      {5, 5, {8}, 40},         {3, 2, {8, 8, 8}, 24}, {0, 5, {8}, 0},   {1, 3, {12}, 12}, {0x10000, 0x10000, {8}, 0},
      {0x20000000, 1, {8}, 0},
  };
  for (const Case& test : kCases) {
    TiffBuilder builder;
    builder.AddPage().Long(256, {test.width}).Long(257, {test.height}).Short(258, test.depths);
    ReportCall call = On(builder);
    ASSERT_EQ(call.Run(), 1);
    EXPECT_EQ(uint32_t{call.info.memorySize}, test.expected) << test.width << " x " << test.height;
  }
}

TEST(ReportGeometry, ResolutionsAreRounded) {
  struct Case {
    std::pair<uint32_t, uint32_t> value;
    int32_t expected;
  };
  for (const Case& test : {Case{{599, 2}, 300},
                           {{2994, 10}, 299},
                           {{72, 1}, 72},
                           {{1, 3}, 0},
                           {{1, 2}, 1},
                           {{0, 1}, 0},
                           {{5, 0}, 0},
                           {{0xFFFFFFFF, 1}, INT32_MAX},
                           {{0x7FFFFFFF, 1}, INT32_MAX}}) {
    TiffBuilder builder;
    builder.AddPage().Rational(282, {test.value}).Rational(283, {test.value});
    ReportCall call = On(builder);
    ASSERT_EQ(call.Run(), 1);
    EXPECT_EQ(int32_t{call.info.xResolution}, test.expected);
    EXPECT_EQ(int32_t{call.info.yResolution}, test.expected);
  }
}

TEST(ReportGeometry, CmykCountsThreeSamples) {
  TiffBuilder builder;
  builder.AddPage().Short(258, {8, 8, 8, 8}).Short(259, {5}).Short(262, {5});
  ReportCall call = On(builder);
  ASSERT_EQ(call.Run(), 1);
  EXPECT_EQ(int32_t{call.info.fileFormat}, 86);
  EXPECT_EQ(int32_t{call.info.bitsPerPixel}, 24);
}

TEST(ReportGeometry, AnAlphaBeside8BitsCountsOnlyWhenAskedFor) {
  TiffBuilder builder;
  builder.AddPage().Short(256, {5}).Short(257, {2}).Short(258, {8, 8}).Short(262, {1}).Short(338, {2});
  for (uint32_t flags : {0u, 1u, 2u}) {
    ReportCall call = On(builder);
    call.withControl = true;
    call.control.flags = flags;
    ASSERT_EQ(call.Run(), 1);
    EXPECT_EQ(int32_t{call.info.bitsPerPixel}, flags == 2 ? 32 : 8);
    EXPECT_EQ(uint32_t{call.info.memorySize}, flags == 2 ? 40u : 16u);
    EXPECT_NE(call.info.flags & kInfoExtraSamples, 0u);
    EXPECT_NE(call.info.flags & kInfoGrayNoMap, 0u) << "the page's own depth counts";
  }
  ReportCall without = On(builder);
  ASSERT_EQ(without.Run(), 1);
  EXPECT_EQ(int32_t{without.info.bitsPerPixel}, 8);
}

TEST(ReportGeometry, NoExtraSamplesAndNoAlphaForOtherDepths) {
  TiffBuilder plain;
  plain.AddPage(GrayPage(4, 4));
  ReportCall call = On(plain);
  call.withControl = true;
  call.control.flags = kInfoWithAlpha;
  ASSERT_EQ(call.Run(), 1);
  EXPECT_EQ(int32_t{call.info.bitsPerPixel}, 8);
  EXPECT_EQ(call.info.flags & kInfoExtraSamples, 0u);
  TiffBuilder kept;
  kept.AddPage().Short(258, {8, 8, 8, 8}).Short(262, {2}).Short(338, {2});
  ReportCall rgba = On(kept);
  ASSERT_EQ(rgba.Run(), 1);
  EXPECT_EQ(rgba.info.flags & kInfoExtraSamples, 0u) << "the alpha is part of the pixel";
}

TEST(ReportGeometry, OrderOfColours) {
  struct Case {
    const char* name;
    std::vector<uint16_t> depths;
    uint16_t photometric;
    uint16_t compression;
    uint32_t order;
  };
  const Case kCases[] = {
      {"deep grey", {16}, 1, 1, 2},
      {"deep grey, white first", {16}, 0, 1, 2},
      {"12 bits", {12}, 1, 1, 2},
      {"deep palette", {16}, 3, 1, 1},
      {"RGB", {8, 8, 8}, 2, 1, 0},
      {"RGB in wavelets", {8, 8, 8}, 2, 34712, 1},
      {"RGB in segments", {8, 8, 8}, 2, 34715, 1},
      {"grey", {8}, 1, 1, 1},
      {"bilevel", {1}, 0, 1, 1},
      {"5-5-5", {5, 5, 5}, 2, 1, 1},
      {"two samples of 8", {8, 8}, 1, 1, 1},
      {"32-bit grey", {32}, 2, 1, 2},
      {"sibling's", {8, 8, 8}, 2, 34711, 0xEEEEEEEE},
      {"30001's", {8, 8, 8}, 2, 30001, 0xEEEEEEEE},
  };
  for (const Case& test : kCases) {
    TiffBuilder builder;
    builder.AddPage().Short(258, test.depths).Short(259, {test.compression}).Short(262, {test.photometric});
    ReportCall call = On(builder);
    ASSERT_EQ(call.Run(), 1) << test.name;
    EXPECT_EQ(uint32_t{call.info.order}, test.order) << test.name;
  }
}

TEST(ReportFlags, AreAddedToTheCallersWord) {
  TiffBuilder builder;
  builder.AddPage().Short(258, {8}).Short(339, {2}).Short(259, {4});
  ReportCall call = On(builder);
  call.info.flags = 0x100001;
  ASSERT_EQ(call.Run(), 1);
  EXPECT_EQ(uint32_t{call.info.flags}, 0x100001u | kInfoFax | kInfoSigned | kInfoComplete);
}

TEST(ReportFlags, GreyWithoutAMapIsMarkedAt8BitsOnly) {
  struct Case {
    void (*build)(TiffDirectory&);
    bool marked;
  };
  const Case kCases[] = {
      {BUILD(.Short(258, {8})), true},
      {BUILD(.Short(258, {8}).RawWord(320, 3, 768, 8)), false},
      {BUILD(.Short(258, {4})), false},
      {BUILD(.Short(258, {8, 8, 8})), false},
  };
  for (const Case& test : kCases) {
    TiffBuilder builder;
    test.build(builder.AddPage());
    ReportCall call = On(builder);
    ASSERT_EQ(call.Run(), 1);
    EXPECT_EQ((call.info.flags & kInfoGrayNoMap) != 0, test.marked);
  }
}

TEST(ReportFlags, ColourSpaceIsWrittenWhereTheRecordReachesIt) {
  for (const auto& [photometric, space] :
       {std::pair{uint16_t{6}, 1u}, {uint16_t{5}, 2u}, {uint16_t{8}, 3u}, {uint16_t{2}, 0u}, {uint16_t{0}, 0u}}) {
    TiffBuilder builder;
    builder.AddPage().Short(258, {8, 8, 8}).Short(262, {photometric});
    for (uint32_t size : {99u, 100u, 2200u}) {
      ReportCall call = On(builder);
      call.info.structSize = size;
      ASSERT_EQ(call.Run(), 1);
      EXPECT_EQ(uint32_t{call.info.colorSpace}, size >= 100 ? space : 0xEEEEEEEE) << photometric;
      EXPECT_EQ(uint32_t{call.info.structSize}, size);
    }
  }
}

TEST(ReportPages, OfAThreePageFile) {
  struct Case {
    int32_t page;
    bool counts;
    uint32_t number;
    uint32_t total;
    int32_t width;
  };
  constexpr Case kCases[] = {
      {0, false, 1, 1, 10}, {1, false, 1, 1, 10}, {2, false, 2, 2, 20},  {2, true, 2, 3, 20},
      {1, true, 1, 3, 10},  {3, true, 3, 3, 30},  {-1, false, 3, 3, 30}, {-1, true, 3, 3, 30},
      {9, false, 3, 3, 30}, {9, true, 3, 3, 30},  {0, true, 1, 3, 10},
  };
  KernelGuard guard;
  for (const Case& test : kCases) {
    for (FileOrder order : kOrders) {
      TiffBuilder builder = Pages(3, order);
      ReportCall call = On(builder);
      call.options.pageNumber = test.page;
      call.withControl = true;
      call.control.flags = test.counts ? kInfoCountPages : 0;
      ASSERT_EQ(call.Run(), 1) << test.page;
      EXPECT_EQ(uint32_t{call.info.pageNumber}, test.number) << test.page;
      EXPECT_EQ(uint32_t{call.info.totalPages}, test.total) << test.page;
      EXPECT_EQ(int32_t{call.info.width}, test.width) << test.page;
      EXPECT_EQ(uint32_t{call.info.directoryOffset}, builder.DirectoryOffset(test.number - 1)) << test.page;
    }
  }
}

TEST(ReportPages, PageTwoOfAOnePageFileIsItsOnlyPage) {
  TiffBuilder builder = Pages(1);
  ReportCall call = On(builder);
  call.options.pageNumber = 2;
  EXPECT_EQ(call.Run(), 1);
  EXPECT_EQ(uint32_t{call.info.pageNumber}, 1u);
}

TEST(ReportPages, BehindAnExifPageStandsItsThumbnailAndNoPage) {
  TiffBuilder builder;
  builder.AddPage(GrayPage(10, 5)).Long(34665, {8});
  builder.AddPage(GrayPage(3, 3));
  ReportCall call = On(builder);
  call.withControl = true;
  call.control.flags = kInfoCountPages;
  ASSERT_EQ(call.Run(), 1);
  EXPECT_EQ(uint32_t{call.info.totalPages}, 1u);
}

TEST(ReportPages, AreCountedFromAnExplicitDirectory) {
  TiffBuilder builder = Pages(3);
  const FileBytes bytes = builder.Build();
  for (uint32_t flags : {0u, static_cast<uint32_t>(kReadUseDirectoryOffset)}) {
    ReportCall call(bytes);
    call.options.flags = flags;
    call.options.directoryOffset = builder.DirectoryOffset(1);
    call.withControl = true;
    call.control.flags = kInfoCountPages;
    ASSERT_EQ(call.Run(), 1);
    EXPECT_EQ(int32_t{call.info.width}, flags == 0 ? 10 : 20);
    EXPECT_EQ(uint32_t{call.info.totalPages}, flags == 0 ? 3u : 2u);
  }
}

TEST(ReportPages, ABrokenChainIsReportedAtItsLastGoodDirectory) {
  KernelGuard guard;
  TiffBuilder builder;
  builder.AddPage(GrayPage(10, 5));
  builder.AddPage(GrayPage(20, 5)).NextWord(100000);
  for (int32_t page : {2, 3, 9, -1}) {
    ReportCall call = On(builder);
    call.options.pageNumber = page;
    ASSERT_EQ(call.Run(), 1) << page;
    EXPECT_EQ(int32_t{call.info.width}, 20);
    EXPECT_EQ(uint32_t{call.info.pageNumber}, 2u);
  }
}

TEST(ReportPages, ALoopIsEndedByTheKernelsLimitsAndReported) {
  KernelGuard guard;
  TiffBuilder builder;
  builder.AddPage().Short(256, {10}).NextWord(8);
  ReportCall call = On(builder);
  call.options.pageNumber = -1;
  const int32_t result = call.Run();
  EXPECT_TRUE(result == 0 || result == 1) << result; // the budget may be gone before the page is read
}

TEST(ReportFailures, HeadersGiveTheirCodes) {
  KernelGuard guard;
  EXPECT_EQ(ReportCall(FileBytes{}).Run(), kResultNotTiff);
  EXPECT_EQ(ReportCall(FileBytes(100, 'x')).Run(), kResultNotTiff);
  EXPECT_EQ(ReportCall({'I', 'I', 42, 0, 100, 0, 0, 0}).Run(), kResultReadFailed);
  EXPECT_EQ(ReportCall({'I', 'I', 42, 0, 4, 0, 0, 0}).Run(), kResultNotTiff);
}

TEST(ReportFailures, ARefusedPageIsZeroAndLeavesTheRecordAlone) {
  KernelGuard guard;
  TiffBuilder builder;
  builder.AddPage().Short(256, {10}).Short(530, {3, 3});
  ReportCall call = On(builder);
  EXPECT_EQ(call.Run(), kResultRefused);
  EXPECT_EQ(int32_t{call.info.width}, kLeftAlone);
  EXPECT_EQ(uint32_t{call.info.flags}, 0u);
}

TEST(ReportFailures, TooManyExtraSamplesAreReportedFromWhatStoodBefore) {
  KernelGuard guard;
  TiffBuilder builder;
  builder.AddPage().Short(256, {10}).Short(258, {8, 8, 8}).Short(259, {5}).RawWord(338, 3, 4, 0).Short(257, {7});
  ReportCall call = On(builder);
  EXPECT_EQ(call.Run(), 1);
  EXPECT_EQ(int32_t{call.info.width}, 10);
  EXPECT_EQ(int32_t{call.info.height}, -1);
  EXPECT_EQ(int32_t{call.info.bitsPerPixel}, 0);
  EXPECT_EQ(int32_t{call.info.fileFormat}, 17);
}

TEST(ReportFailures, MemoryAndFileFaultsLeaveNothingBehind) {
  TiffBuilder builder;
  builder.AddPage(GrayPage(10, 5)).Short(259, {34711}).Sort();
  const FileBytes bytes = builder.Build();
  for (uint64_t nth = 1; nth < 12; ++nth) {
    KernelGuard guard;
    ReportCall call(bytes);
    AllocFaults faults(nth);
    const int32_t result = call.Run();
    EXPECT_EQ(result, nth == 1 ? kResultNoMemory : nth <= faults.Calls() ? kResultRefused : kResultOk) << nth;
  }
  for (IoCall kind : {IoCall::kRead, IoCall::kSeek}) {
    for (FaultSpan span : {FaultSpan::kOnce, FaultSpan::kFromThenOn}) {
      for (uint64_t nth = 1; nth < 40; ++nth) {
        KernelGuard guard;
        ReportCall call(bytes);
        IoFaults faults;
        faults.Fail(kind, nth, span);
        const int32_t result = call.Run();
        EXPECT_TRUE(result == 1 || result == 0 || result == -4 || result == -7 || result == -9) << result;
      }
    }
  }
}

TEST(ReportRequest, NullsAreMinusThirteen) {
  EXPECT_EQ(fltInfo(nullptr), kResultInvalidParameter);
  FilterInfoRequest request{};
  EXPECT_EQ(fltInfo(&request), kResultInvalidParameter) << "a report without a record";
}

TEST(ReportRequest, TheHandleStaysOpenAndTheOptionsUnchanged) {
  KernelGuard guard;
  TempFile target(Pages(2).Build());
  const VxFileHandle handle = krnFileOpen(target.Name(), kKrnFileRead, kKrnShareRead);
  ReportCall shape{FileBytes{}};
  FileOptions options{};
  options.pageNumber = 2;
  FilterInfoRequest request{};
  request.fileHandle = handle;
  request.fileInfo = &shape.info;
  request.fileOptions = &options;
  EXPECT_EQ(fltInfoTIF(&request), 1);
  EXPECT_EQ(int32_t{options.pageNumber}, 2);
  EXPECT_EQ(krnFileSeek(handle, 0, kKrnSeekSet), 0u) << "still open";
  EXPECT_EQ(krnFileClose(handle), 0);
}

TEST(ReportRequest, WithoutOptionsItIsTheFirstPage) {
  MemoryInput input(Pages(2).Build());
  ReportCall shape{FileBytes{}};
  FilterInfoRequest request{};
  request.fileHandle = input.Handle();
  request.fileInfo = &shape.info;
  EXPECT_EQ(fltInfo(&request), 1);
  EXPECT_EQ(int32_t{shape.info.width}, 10);
}

TEST(ReportCosts, NoStripTableIsReadAndOnlyPageAndEntriesAreAllocated) {
  TiffBuilder builder;
  TiffDirectory page = GrayPage(100, 100);
  page.Remove(273).Remove(279).Strips(std::vector<FileBytes>(100, FileBytes(100, 1))).Sort();
  builder.AddPage(std::move(page));
  ReportCall call = On(builder);
  CallCounter calls;
  ASSERT_EQ(call.Run(), 1);
  EXPECT_EQ(calls.Since().allocations, 2u);
  EXPECT_EQ(calls.Since().reads, 6u) << "header, count, entries, next word, two resolutions";
}
