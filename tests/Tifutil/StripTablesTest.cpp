// Strip and tile tables, the tone curve, compression codes and the order of strips.

#include <gtest/gtest.h>

#include "Tifutil/ParsedPage.h"

namespace {

constexpr FileOrder kOrders[] = {FileOrder::kLittle, FileOrder::kBig};
using Words = std::vector<uint32_t>;

std::vector<uint16_t> Marks(const ParsedPage& page, uint32_t count) {
  const auto* bytes = static_cast<const uint8_t*>(page->stripCompressions);
  return std::vector<uint16_t>(bytes, bytes + count);
}

} // namespace

TEST(StripTables, ValuesComeInlineAndFromTheFileInBothWidths) {
  KernelGuard guard;
  for (FileOrder order : kOrders) {
    TiffBuilder builder(order);
    builder.AddPage().Long(273, {70000}).Long(279, {5});
    EXPECT_EQ(Load(builder).Offsets(), (Words{70000, 0}));
    TiffBuilder shorts(order);
    shorts.AddPage().Short(273, {700, 800}).Short(279, {5, 6});
    EXPECT_EQ(Load(shorts).Offsets(), (Words{700, 800, 0}));
    EXPECT_EQ(Load(shorts).ByteCounts(), (Words{5, 6, 0}));
    TiffBuilder longs(order);
    longs.AddPage().Long(273, {70000, 80000}).Short(279, {5, 6});
    EXPECT_EQ(Load(longs).Offsets(), (Words{70000, 80000, 0}));
    TiffBuilder many(order);
    many.AddPage().Short(273, {1, 0x8002, 0xFFFF}).Long(279, {4, 5, 0x80000006});
    EXPECT_EQ(Load(many).Offsets(), (Words{1, 0x8002, 0xFFFF, 0}));
    EXPECT_EQ(Load(many).ByteCounts(), (Words{4, 5, 0x80000006, 0}));
  }
}

TEST(StripTables, OneOfAnotherTypeIsTheWholeValueWord) {
  TiffBuilder builder;
  builder.AddPage().RawWord(273, 7, 1, 0x12345678);
  EXPECT_EQ(Load(builder).Offsets(), (Words{0x12345678, 0}));
}

TEST(StripTables, OneShortIsCut) {
  TiffBuilder builder;
  builder.AddPage().RawWord(273, 3, 1, 0xABCD1234);
  EXPECT_EQ(Load(builder).Offsets(), (Words{0x1234, 0}));
}

TEST(StripTables, OtherTypesInTheFileAreLongs) {
  TiffBuilder builder;
  builder.AddPage().Value(273, 1, 3, {1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0}).Long(279, {1, 1, 1});
  EXPECT_EQ(Load(builder).Offsets(), (Words{1, 2, 3, 0}));
}

TEST(StripTables, NoneAreATableOfItsEndWord) {
  KernelGuard guard;
  TiffBuilder builder;
  builder.AddPage().RawWord(273, 4, 0, 123456).RawWord(279, 3, 0, 0);
  ParsedPage page = Load(builder);
  EXPECT_EQ(page.result, kResultOk);
  EXPECT_EQ(page.Offsets(), (Words{0}));
  EXPECT_EQ(page.ByteCounts(), (Words{0}));
}

TEST(StripTables, TheInformationModeReadsThemOnlyForSiblingsPages) {
  KernelGuard guard;
  for (const auto& [compression, read] : {std::pair{uint16_t{1}, false},
                                          {uint16_t{5}, false},
                                          {uint16_t{30001}, true},
                                          {uint16_t{34710}, true},
                                          {uint16_t{34711}, true},
                                          {uint16_t{34712}, false},
                                          {uint16_t{34714}, true},
                                          {uint16_t{33001}, false}}) {
    TiffBuilder builder;
    builder.AddPage().Short(259, {compression}).Long(273, {8, 9}).Long(279, {1, 2});
    ParsedPage page = Inform(builder);
    EXPECT_EQ(page.Offsets(), read ? (Words{8, 9, 0}) : Words{}) << compression;
    EXPECT_EQ(page.ByteCounts(), read ? (Words{1, 2, 0}) : Words{}) << compression;
  }
}

TEST(StripTables, ACompressionTagBehindThemLeavesThemUnread) {
  TiffBuilder builder;
  builder.AddPage().Long(273, {8, 9}).Short(259, {34710}).Long(279, {1, 2});
  ParsedPage page = Inform(builder);
  EXPECT_TRUE(page->stripOffsets == nullptr);
  EXPECT_EQ(page.ByteCounts(), (Words{1, 2, 0}));
}

TEST(StripTables, TilesBehindAStripTagHaveNoEffect) {
  TiffBuilder builder;
  builder.AddPage().Long(273, {8, 9}).Long(279, {1, 2}).Long(324, {5, 6, 7}).Long(325, {5, 6, 7});
  ParsedPage page = Load(builder);
  EXPECT_EQ(page.Offsets(), (Words{8, 9, 0}));
  EXPECT_EQ(page.ByteCounts(), (Words{1, 2, 0}));
}

TEST(StripTables, TilesAheadOfAStripTagAreOverwritten) {
  KernelGuard guard;
  TiffBuilder builder;
  builder.AddPage().Long(324, {5, 6, 7}).Long(325, {5, 6, 7}).Long(273, {8, 9}).Long(279, {1, 2});
  ParsedPage page = Load(builder);
  EXPECT_EQ(uint32_t{page->stripCount}, 2u);
  EXPECT_EQ(page.Offsets(), (Words{8, 9, 0}));
  EXPECT_EQ(page.ByteCounts(), (Words{1, 2, 0}));
}

TEST(StripTables, TilesOfATiledPageAreRead) {
  for (FileOrder order : kOrders) {
    TiffBuilder builder(order);
    builder.AddPage().Short(322, {16}).Short(323, {16}).Long(324, {5, 6, 7}).Short(325, {5, 6, 7});
    ParsedPage page = Load(builder);
    EXPECT_EQ(page.Offsets(), (Words{5, 6, 7, 0}));
    EXPECT_EQ(page.ByteCounts(), (Words{5, 6, 7, 0}));
  }
}

TEST(StripTables, TheLaterCountDecidesAndTheShorterTableIsFilledWithZeros) {
  KernelGuard guard;
  TiffBuilder longer;
  longer.AddPage().Long(273, {8, 9}).Long(279, {1, 2, 3, 4});
  EXPECT_EQ(Load(longer).Offsets(), (Words{8, 9, 0, 0, 0}));
  EXPECT_EQ(Load(longer).ByteCounts(), (Words{1, 2, 3, 4, 0}));
  TiffBuilder shorter;
  shorter.AddPage().Long(273, {8, 9, 10}).Long(279, {1, 2});
  ParsedPage page = Load(shorter);
  EXPECT_EQ(uint32_t{page->stripCount}, 2u);
  EXPECT_EQ(page.ByteCounts(), (Words{1, 2, 0}));
  TiffBuilder counts;
  counts.AddPage().Long(279, {1, 2}).Long(273, {8, 9, 10, 11});
  EXPECT_EQ(Load(counts).ByteCounts(), (Words{1, 2, 0, 0, 0}));
}

TEST(StripTables, ARepeatedTagFreesTheEarlierTable) {
  KernelGuard guard;
  TiffBuilder builder;
  builder.AddPage().Long(273, {8, 9}).Long(273, {10, 11, 12}).Long(279, {1, 2, 3}).Long(279, {4, 5, 6});
  ParsedPage page = Load(builder);
  EXPECT_EQ(page.Offsets(), (Words{10, 11, 12, 0}));
  EXPECT_EQ(page.ByteCounts(), (Words{4, 5, 6, 0}));
}

TEST(StripTables, AnAbsurdCountRefusesThePageWithoutAllocatingForIt) {
  KernelGuard guard;
  for (uint32_t count : {1000u, 0x10000000u, 0x40000001u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
    for (uint16_t tag : std::initializer_list<uint16_t>{273, 279, 324, 325}) {
      for (uint16_t type : std::initializer_list<uint16_t>{3, 4}) {
        TiffBuilder builder;
        builder.AddPage().Short(256, {4}).RawWord(tag, type, count, 8);
        ParsedPage page = Load(builder);
        EXPECT_EQ(page.result, kResultRefused);
        EXPECT_TRUE(page.OwnsNothing());
        EXPECT_EQ(page.calls.allocations, 1u) << "the entries";
      }
    }
  }
}

TEST(StripTables, APlaceFarPastTheEndRefusesThePage) {
  for (uint32_t offset : {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
    TiffBuilder builder;
    builder.AddPage().RawWord(273, 4, 3, offset);
    EXPECT_EQ(Load(builder).result, kResultRefused);
  }
}

TEST(StripTables, ByteCountsHaveRoomForFortyBytesEach) {
  struct Sizes {
    size_t largest = 0;
    static int32_t Note(size_t bytes, int32_t, const char*, void* self) {
      auto& sizes = *static_cast<Sizes*>(self);
      sizes.largest = std::max(sizes.largest, bytes);
      return 1;
    }
  };
  for (const auto& [tag, bytes] : {std::pair{uint16_t{273}, size_t{401} * 4}, {uint16_t{279}, size_t{401} * 40}}) {
    TiffBuilder builder;
    builder.AddPage().Long(tag, Words(400, 1));
    MemoryInput input(builder.Build());
    TifFile file{};
    file.fileHandle = input.Handle();
    uint32_t reached = 0;
    ASSERT_EQ(TIFSeekPage(&file, 1, 0, &reached, PageSearch::kLenient), kResultOk);
    TifPage page{};
    Sizes sizes;
    krnSetAllocHook(Sizes::Note, &sizes);
    EXPECT_EQ(TIFReadPageInfo(&file, &page, ParseMode::kLoad, RgbMode::kAsStored), kResultOk);
    krnSetAllocHook(nullptr, nullptr);
    EXPECT_EQ(sizes.largest, bytes);
    TIFFreePageTables(&page);
  }
}

TEST(ByteCounts, OfAWholePageAreInvented) {
  struct Case {
    uint16_t width;
    uint16_t length;
    std::vector<uint16_t> depths;
    uint32_t expected;
  };
  const Case kCases[] = {
      {9, 1, {1}, 2},        {5, 1, {2}, 2},   {3, 1, {4}, 2},           {7, 3, {8}, 21},          {7, 3, {16}, 42},
      {7, 3, {8, 8, 8}, 63}, {7, 3, {12}, 32}, {3, 1, {8, 8, 8, 8}, 12}, {2, 2, {16, 16, 16}, 24}, {3, 3, {3}, 4},
  };
  for (const Case& test : kCases) {
    TiffBuilder builder;
    builder.AddPage().Short(256, {test.width}).Short(257, {test.length}).Short(258, test.depths).Long(273, {8, 9, 10});
    ParsedPage page = Load(builder);
    EXPECT_EQ(uint32_t{page->stripCount}, 1u);
    EXPECT_EQ(page.ByteCounts(), (Words{test.expected, 0})) << test.width << " of " << test.depths[0];
    EXPECT_TRUE(Inform(builder)->stripByteCounts == nullptr);
  }
}

TEST(ByteCounts, ByTheKeptDepthWhereTheTotalIsNoneOfTheUsualOnes) {
  // Five samples of which two are extra: 40 bits in all, 32 of them kept.
  TiffBuilder builder;
  builder.AddPage().Short(256, {3}).Short(257, {1}).Short(258, {8}).Short(277, {5}).Short(338, {0, 0});
  EXPECT_EQ(Load(builder).ByteCounts(), (Words{12, 0}));
}

TEST(ByteCounts, OfPlanesAreThePixelsWhateverTheDepth) {
  TiffBuilder builder;
  builder.AddPage().Short(256, {7}).Short(257, {3}).Short(258, {16, 16, 16}).Long(273, {8, 9, 10}).Short(284, {2});
  EXPECT_EQ(Load(builder).ByteCounts(), (Words{21, 21, 21, 0}));
}

TEST(ByteCounts, WithoutAnyTableTheyStandAlone) {
  TiffBuilder builder;
  builder.AddPage().Short(256, {4}).Short(257, {4});
  ParsedPage page = Load(builder);
  EXPECT_TRUE(page->stripOffsets == nullptr);
  EXPECT_EQ(page.ByteCounts(), (Words{2, 0}));
  TiffBuilder planes;
  planes.AddPage().Short(256, {4}).Short(257, {4}).Short(284, {2});
  EXPECT_EQ(Load(planes).ByteCounts(), (Words{0}));
}

TEST(ByteCounts, InventedOnesGrowAShortOffsetTable) {
  TiffBuilder builder;
  builder.AddPage().Short(256, {4}).Short(257, {4}).RawWord(273, 4, 0, 8);
  EXPECT_EQ(Load(builder).Offsets(), (Words{0, 0}));
}

TEST(ByteCounts, OverflowingSizesWrap) {
  TiffBuilder builder;
  builder.AddPage().Long(256, {0xFFFFFFFF}).Long(257, {0x7FFFFFFF}).Short(258, {8, 8, 8});
  ParsedPage page = Load(builder);
  EXPECT_EQ(page.result, kResultOk);
  EXPECT_EQ(page.ByteCounts(), (Words{3u * (0xFFFFFFFFu * 0x7FFFFFFFu), 0}));
}

TEST(ResponseCurve, IsReadWhereItsCountFitsTheDepth) {
  KernelGuard guard;
  for (FileOrder order : kOrders) {
    TiffBuilder builder(order);
    builder.AddPage().Short(258, {2}).Short(291, {0, 1000, 2000, 3000});
    ParsedPage page = Load(builder);
    ASSERT_EQ(uint32_t{page->grayResponseCount}, 4u);
    for (uint32_t i = 0; i < 4; ++i) {
      EXPECT_EQ(page->grayResponseCurve[i], 1000 * i);
    }
    EXPECT_TRUE(Inform(builder)->grayResponseCurve == nullptr);
  }
}

TEST(ResponseCurve, IsPassedOverInAllOtherCases) {
  struct Case {
    uint32_t depth;
    uint16_t type;
    uint32_t count;
  };
  for (const Case& test : {Case{2, 4, 4}, {2, 3, 5}, {1, 3, 2}, {32, 3, 0}, {33, 3, 2}, {64, 3, 1}}) {
    TiffBuilder builder;
    builder.AddPage().Long(258, {test.depth}).RawWord(291, test.type, test.count, 8);
    ParsedPage page = Load(builder);
    EXPECT_EQ(page.result, kResultOk);
    EXPECT_TRUE(page->grayResponseCurve == nullptr) << test.depth;
  }
}

TEST(ResponseCurve, OneThatIsCutOffRefusesThePage) {
  KernelGuard guard;
  for (uint32_t depth : {8u, 16u, 31u}) {
    TiffBuilder builder;
    builder.AddPage().Long(258, {depth}).RawWord(291, 3, 1u << depth, 8);
    EXPECT_EQ(Load(builder).result, kResultRefused);
    EXPECT_EQ(Inform(builder).result, kResultOk);
  }
}

TEST(ResponseCurve, ARepeatedOneFreesTheEarlier) {
  KernelGuard guard;
  TiffBuilder builder;
  builder.AddPage().Short(258, {2}).Short(291, {0, 1, 2, 3}).Short(291, {4, 5, 6, 7});
  EXPECT_EQ(Load(builder)->grayResponseCurve[0], 4);
}

TEST(StripCompressions, AreReadAsCodesOfTheStrips) {
  KernelGuard guard;
  for (FileOrder order : kOrders) {
    TiffBuilder builder(order);
    builder.AddPage().Short(33466, {1, 4, 1});
    ParsedPage page = Load(builder);
    const auto* codes = static_cast<const uint8_t*>(page->stripCompressions);
    EXPECT_EQ(FileBytes(codes, codes + 6), (FileBytes{1, 0, 4, 0, 1, 0}));
    EXPECT_TRUE(Inform(builder)->stripCompressions == nullptr);
  }
}

TEST(StripCompressions, TwoInlineOnesAreReadAsAnOffset) {
  TiffBuilder builder;
  builder.AddPage().Short(33466, {8, 0});
  builder.AddPage(); // the count word of the first directory stands at 8: one entry, and the entry's tag
  ParsedPage page = Load(builder);
  const auto* codes = static_cast<const uint8_t*>(page->stripCompressions);
  EXPECT_EQ(GetU16(FileBytes(codes, codes + 4), 0, FileOrder::kLittle), 1);
  EXPECT_EQ(GetU16(FileBytes(codes, codes + 4), 2, FileOrder::kLittle), 33466);
}

TEST(StripCompressions, WhatCannotBeReadIsZeroAndNoFailure) {
  KernelGuard guard;
  TiffBuilder builder;
  builder.AddPage().RawWord(33466, 3, 300, 100);
  builder.Place(100, {7, 0, 8});
  ParsedPage page = Load(builder);
  ASSERT_EQ(page.result, kResultOk);
  const auto* codes = static_cast<const uint8_t*>(page->stripCompressions);
  EXPECT_EQ(FileBytes(codes, codes + 6), (FileBytes{7, 0, 0, 0, 0, 0}));
  EXPECT_EQ(FileBytes(codes + 6, codes + 600), FileBytes(594, 0));
}

TEST(StripCompressions, TheirNumberIsCappedAt65535) {
  KernelGuard guard;
  TiffBuilder builder;
  builder.AddPage().RawWord(33466, 3, 0xFFFFFFFF, 8);
  ParsedPage page = Load(builder);
  EXPECT_EQ(page.result, kResultOk);
  EXPECT_EQ(uint16_t{page->stripCompressionCount}, 65535);
}

// Strip order ---------------------------------------------------------------------------------------------------------

namespace {

TiffBuilder VariantFile(FileOrder order = FileOrder::kLittle) {
  return TiffBuilder(order, 12622);
}

} // namespace

TEST(StripOrder, TablesComeIntoTheOrderOfTheImage) {
  KernelGuard guard;
  for (FileOrder order : kOrders) {
    TiffBuilder builder = VariantFile(order);
    builder.AddPage().Long(273, {10, 20, 30}).Long(279, {1, 2, 3}).Short(33467, {2, 0, 1});
    ParsedPage page = Load(builder);
    ASSERT_EQ(page.result, kResultOk);
    EXPECT_EQ(std::vector<uint32_t>(page->stripOffsets, page->stripOffsets + 3), (Words{30, 10, 20}));
    EXPECT_EQ(std::vector<uint32_t>(page->stripByteCounts, page->stripByteCounts + 3), (Words{3, 1, 2}));
  }
}

TEST(StripOrder, OnlyVariantFilesInTheLoadModeHaveIt) {
  TiffBuilder plain;
  plain.AddPage().Long(273, {10, 20, 30}).Long(279, {1, 2, 3}).Short(33467, {2, 0, 1});
  EXPECT_EQ(Load(plain).Offsets(), (Words{10, 20, 30, 0}));
  TiffBuilder variant = VariantFile();
  variant.AddPage().Long(273, {10, 20, 30}).Short(33467, {9, 9, 9});
  EXPECT_EQ(Inform(variant).result, kResultOk);
}

TEST(StripOrder, OfOneStripIsPassedOver) {
  TiffBuilder builder = VariantFile();
  builder.AddPage().Long(273, {10}).Short(33467, {5});
  EXPECT_EQ(Load(builder).result, kResultOk);
}

TEST(StripOrder, ACountUnlikeTheStripsRefusesThePage) {
  KernelGuard guard;
  for (uint32_t count : {2u, 4u, 0xFFFFFFFFu}) {
    TiffBuilder builder = VariantFile();
    builder.AddPage().Long(273, {10, 20, 30}).Long(279, {1, 2, 3}).RawWord(33467, 3, count, 8);
    EXPECT_EQ(Load(builder).result, kResultRefused) << count;
  }
}

TEST(StripOrder, AnIndexThatIsNoStripRefusesThePage) {
  KernelGuard guard;
  TiffBuilder builder = VariantFile();
  builder.AddPage().Long(273, {10, 20, 30}).Long(279, {1, 2, 3}).Short(33466, {1, 4, 1}).Short(33467, {0, 3, 1});
  ParsedPage page = Load(builder);
  EXPECT_EQ(page.result, kResultRefused);
  EXPECT_TRUE(page.OwnsNothing());
}

TEST(StripOrder, TwoIndexesStandInTheValueWord) {
  TiffBuilder builder = VariantFile();
  builder.AddPage().Long(273, {10, 20}).Long(279, {1, 2}).Short(33467, {1, 0});
  ParsedPage page = Load(builder);
  ASSERT_EQ(page.result, kResultOk);
  EXPECT_EQ(page->stripOffsets[0], 20u);
  EXPECT_EQ(page->stripOffsets[1], 10u);
}

TEST(StripOrder, TwoIndexesOfABigEndianFileAreReadInTheWrongOrder) {
  TiffBuilder swapped = VariantFile(FileOrder::kBig);
  swapped.AddPage().Long(273, {10, 20}).Long(279, {1, 2}).Short(33467, {1, 0});
  EXPECT_EQ(Load(swapped).result, kResultRefused) << "1 comes out as 256";
  TiffBuilder zeros = VariantFile(FileOrder::kBig);
  zeros.AddPage().Long(273, {10, 20}).Long(279, {1, 2}).Short(33467, {0, 0});
  ParsedPage page = Load(zeros);
  ASSERT_EQ(page.result, kResultOk);
  EXPECT_EQ(page->stripOffsets[1], 10u);
}

TEST(StripOrder, AnIndexThatCannotBeReadRepeatsTheOneBefore) {
  TiffBuilder builder = VariantFile();
  builder.AddPage().Long(273, {10, 20, 30}).Long(279, {1, 2, 3}).RawWord(33467, 3, 3, 200);
  builder.Place(200, {2, 0, 1});
  ParsedPage page = Load(builder);
  ASSERT_EQ(page.result, kResultOk);
  EXPECT_EQ(std::vector<uint32_t>(page->stripOffsets, page->stripOffsets + 3), (Words{30, 30, 30}));
  TiffBuilder none = VariantFile();
  none.AddPage().Long(273, {10, 20, 30}).Long(279, {1, 2, 3}).RawWord(33467, 3, 3, 4000);
  ParsedPage first = Load(none);
  ASSERT_EQ(first.result, kResultOk);
  EXPECT_EQ(std::vector<uint32_t>(first->stripOffsets, first->stripOffsets + 3), (Words{10, 10, 10}));
}

TEST(StripOrder, AMissingTableGivesZeros) {
  KernelGuard guard;
  TiffBuilder builder = VariantFile();
  builder.AddPage().Long(279, {1, 2, 3}).Short(33467, {2, 0, 1});
  ParsedPage page = Load(builder);
  ASSERT_EQ(page.result, kResultOk);
  EXPECT_EQ(std::vector<uint32_t>(page->stripOffsets, page->stripOffsets + 3), (Words{0, 0, 0}));
  EXPECT_EQ(std::vector<uint32_t>(page->stripByteCounts, page->stripByteCounts + 3), (Words{3, 1, 2}));
}

TEST(StripOrder, AShorterTableGivesZerosPastItsEnd) {
  TiffBuilder builder = VariantFile();
  builder.AddPage().Long(273, {10, 20}).Long(279, {1, 2, 3}).Short(33467, {2, 1, 0});
  ParsedPage page = Load(builder);
  ASSERT_EQ(page.result, kResultOk);
  EXPECT_EQ(std::vector<uint32_t>(page->stripOffsets, page->stripOffsets + 3), (Words{0, 20, 10}));
}

TEST(StripOrder, CompressionCodesAreLookedUpAsBytesAndBecomeMarks) {
  KernelGuard guard;
  // Codes 1, 4, 1 are the bytes 1 0 4 0 1 0: strip 0 looks at byte 0, strip 1 at byte 1, strip 2 at byte 2.
  TiffBuilder builder = VariantFile();
  builder.AddPage().Long(273, {10, 20, 30}).Long(279, {1, 2, 3}).Short(33466, {1, 4, 1}).Short(33467, {0, 1, 2});
  ParsedPage page = Load(builder);
  ASSERT_EQ(page.result, kResultOk);
  EXPECT_EQ(Marks(page, 3), (std::vector<uint16_t>{1, 0, 0}));
  TiffBuilder other = VariantFile();
  other.AddPage().Long(273, {10, 20, 30}).Long(279, {1, 2, 3}).Short(33466, {4, 1, 1}).Short(33467, {2, 1, 0});
  EXPECT_EQ(Marks(Load(other), 3), (std::vector<uint16_t>{1, 0, 0}));
}

TEST(StripOrder, FewerCodesThanStripsReadAsZero) {
  TiffBuilder builder = VariantFile();
  builder.AddPage()
      .Long(273, Words(6, 9))
      .Long(279, Words(6, 1))
      .RawWord(33466, 3, 2, 300)
      .Short(33467, {5, 4, 3, 2, 1, 0});
  builder.Place(300, {0, 0, 0, 1});
  ParsedPage page = Load(builder);
  ASSERT_EQ(page.result, kResultOk);
  EXPECT_EQ(Marks(page, 6), (std::vector<uint16_t>{0, 0, 1, 0, 0, 0}));
}

TEST(StripOrder, AppliedAgainItRearrangesAgainAndUsesTheMarks) {
  KernelGuard guard;
  TiffBuilder builder = VariantFile();
  builder.AddPage()
      .Long(273, {10, 20, 30})
      .Long(279, {1, 2, 3})
      .Short(33466, {1, 4, 1})
      .Short(33467, {2, 0, 1})
      .Short(33467, {2, 0, 1});
  ParsedPage page = Load(builder);
  ASSERT_EQ(page.result, kResultOk);
  EXPECT_EQ(std::vector<uint32_t>(page->stripOffsets, page->stripOffsets + 3), (Words{20, 30, 10}));
  EXPECT_EQ(Marks(page, 3), (std::vector<uint16_t>{0, 0, 1}));
}

TEST(StripOrder, WithoutEndItRefusesThePage) {
  KernelGuard guard;
  TiffBuilder builder = VariantFile();
  TiffDirectory& page = builder.AddPage();
  page.Long(273, {10, 20, 30}).Long(279, {1, 2, 3});
  for (int i = 0; i < 2000; ++i) {
    page.Short(33467, {2, 0, 1});
  }
  EXPECT_EQ(Load(builder).result, kResultRefused);
}

TEST(StripOrder, ManyIndexesAreReadWhole) {
  constexpr uint32_t kStrips = 3000;
  Words offsets;
  std::vector<uint16_t> reversed;
  for (uint32_t i = 0; i < kStrips; ++i) {
    offsets.push_back(1000 + i);
    reversed.push_back(static_cast<uint16_t>(kStrips - 1 - i));
  }
  for (FileOrder order : kOrders) {
    TiffBuilder builder = VariantFile(order);
    builder.AddPage().Long(273, offsets).Long(279, offsets).Short(33467, reversed);
    ParsedPage page = Load(builder);
    ASSERT_EQ(page.result, kResultOk);
    EXPECT_EQ(Words(page->stripOffsets, page->stripOffsets + kStrips), Words(offsets.rbegin(), offsets.rend()));
  }
}
