// Image data of written directories: strips and tiles with their tables, sample order, JPEG streams and tables.

#include <gtest/gtest.h>
#include <vxtif/results.h>

#include "tif_com/TreeWriterParts.h"
#include "treewriter/TreeTarget.h"

namespace {

struct Orders {
  FileOrder source;
  FileOrder target;
};

class TreeImageData : public testing::TestWithParam<Orders> {
protected:
  bool Differ() const { return GetParam().source != GetParam().target; }
  Bytes NewBytes() const { return Bytes(GetParam().target); }
  FileBytes Source(const TiffDirectory& page) const {
    TiffBuilder source(GetParam().source);
    source.AddPage(page);
    return source.Build();
  }
  FileBytes Written(const TiffDirectory& page, int32_t expected = kResultOk) const {
    return Rewritten(Source(page), GetParam().target, expected);
  }
  // Bytes 1 to n as they arrive when their pairs change order on the way.
  FileBytes Pairs(size_t n) const {
    FileBytes bytes = Counting(n, 1);
    for (size_t i = 0; Differ() && i + 1 < n; i += 2) {
      std::swap(bytes[i], bytes[i + 1]);
    }
    return bytes;
  }
};

constexpr FileOrder kII = FileOrder::kLittle;
constexpr FileOrder kMM = FileOrder::kBig;
INSTANTIATE_TEST_SUITE_P(Orders, TreeImageData,
                         testing::Values(Orders{kII, kII}, Orders{kII, kMM}, Orders{kMM, kII}, Orders{kMM, kMM}),
                         [](const auto& orders) {
                           return std::string(orders.param.source == kII ? "Little" : "Big") + "To" +
                                  (orders.param.target == kII ? "Little" : "Big");
                         });

TEST_P(TreeImageData, SingleStripStandsBehindTheValuesAtAnEvenPlace) {
  const TiffDirectory page = TiffDirectory().Strips({{1, 2, 3, 4, 5}}).Ascii(700, "abcd");
  Bytes expected = NewBytes().Header(8).U16(3).Entry(273, 4, 1, 56).Entry(279, 4, 1, 5).Entry(700, 2, 5, 50).U32(0);
  EXPECT_EQ(Written(page), expected.Text("abcd").Raw({0, 50, 1, 2, 3, 4, 5}).bytes);
}

TEST_P(TreeImageData, SingleStripKeepsTheTypeOfItsByteCount) {
  TiffDirectory page = TiffDirectory().Strips({{1, 2, 3}}, 3);
  EXPECT_EQ(Written(page),
            NewBytes().Header(8).U16(2).Entry(273, 4, 1, 38).EntryShort(279, 3).U32(0).Raw({1, 2, 3}).bytes);
}

TEST_P(TreeImageData, SeveralStripsStandBehindTheirTables) {
  const TiffDirectory page = TiffDirectory().Strips({{1, 2, 3}, {4}, {5, 6}});
  Bytes expected = NewBytes().Header(8).U16(2).Entry(273, 4, 3, 50).Entry(279, 4, 3, 38).U32(0);
  expected.U32(3).U32(1).U32(2).U32(62).U32(66).U32(68).Raw({1, 2, 3, 0, 4, 0, 5, 6});
  EXPECT_EQ(Written(page), expected.bytes);
}

TEST_P(TreeImageData, ShortTablesGoOutAsLongs) {
  const TiffDirectory page = TiffDirectory().Strips({{1}, {2}, {3}, {4}}, 3);
  Bytes expected = NewBytes().Header(8).U16(2).Entry(273, 4, 4, 54).Entry(279, 4, 4, 38).U32(0);
  expected.U32(1).U32(1).U32(1).U32(1).U32(70).U32(72).U32(74).U32(76).Raw({1, 0, 2, 0, 3, 0, 4});
  EXPECT_EQ(Written(page), expected.bytes);
}

TEST_P(TreeImageData, TilesAreCopiedFromTheSource) {
  const TiffDirectory page = TiffDirectory().Tiles({{1, 2, 3}, {4, 5}, {6}});
  Bytes expected = NewBytes().Header(8).U16(2).Entry(324, 4, 3, 50).Entry(325, 4, 3, 38).U32(0);
  expected.U32(3).U32(2).U32(1).U32(62).U32(66).U32(68).Raw({1, 2, 3, 0, 4, 5, 6});
  EXPECT_EQ(Written(page), expected.bytes);
  TreeInput input(Source(page));
  TreeTarget target(GetParam().target, {});
  EXPECT_EQ(target.Write(input.Tree(), nullptr), kResultNullPointer) << "they are not in memory";
}

TEST_P(TreeImageData, TwoTilesOfShortNumbersAreTakenFromTheWords) {
  const TiffDirectory page = TiffDirectory().Tiles({{1, 2}, {3, 4}}, 3);
  Bytes expected = NewBytes().Header(8).U16(2).Entry(324, 4, 2, 46).Entry(325, 4, 2, 38).U32(0);
  expected.U32(2).U32(2).U32(54).U32(56).Raw({1, 2, 3, 4});
  EXPECT_EQ(Written(page), expected.bytes);
}

TEST_P(TreeImageData, TileTableOfShortsIsReadFromTheSource) {
  const TiffDirectory page = TiffDirectory().Tiles({{1}, {2}, {3}}, 3);
  const FileBytes bytes = Written(page);
  EXPECT_EQ(FileBytes(bytes.end() - 5, bytes.end()), (FileBytes{1, 0, 2, 0, 3}));
}

TEST_P(TreeImageData, LoadedStripsNeedNoSource) {
  for (const auto& pieces : {std::vector<FileBytes>{{1, 2}}, std::vector<FileBytes>{{1, 2}, {3, 4}}}) {
    const TiffDirectory page = TiffDirectory().Strips(pieces);
    TreeInput input(Source(page));
    TreeTarget target(GetParam().target, NewBytes().Header(0).bytes);
    EXPECT_EQ(target.Write(input.Tree(), nullptr, 4), kResultOk);
    EXPECT_EQ(target.Read(), Written(page));
  }
}

TEST_P(TreeImageData, SixteenBitSamplesTakeTheTargetsOrder) {
  struct SampleCase {
    const char* what;
    TiffDirectory page;
    bool swapped;
  };
  const auto page = [](uint16_t compression, const std::vector<uint16_t>& bits) {
    return TiffDirectory().Short(258, bits).Short(259, {compression});
  };
  const FileBytes piece = Counting(6, 1);
  const SampleCase cases[] = {
      {"loaded strip", page(1, {16}).Strips({piece}), true},
      {"loaded strips", page(1, {16, 16, 16}).Strips({piece, piece}), true},
      {"two samples", page(1, {16, 16}).Strips({piece}), true},
      {"strips that stayed in the file", page(1, {16}).Strips({piece, piece, piece}, 3), true},
      {"tiles", page(1, {16}).Tiles({piece, piece}), true},
      {"compressed strip", page(5, {16}).Strips({piece}), false},
      {"compressed tiles", page(5, {16}).Tiles({piece, piece}), false},
      {"8-bit strip", page(1, {8}).Strips({piece}), false},
      {"8-bit strips", page(1, {8, 8, 8}).Strips({piece, piece}), false},
      {"8-bit tiles", page(1, {8}).Tiles({piece}), false},
  };
  for (const SampleCase& test : cases) {
    const FileBytes bytes = Written(test.page);
    ASSERT_GE(bytes.size(), 6u);
    EXPECT_EQ(FileBytes(bytes.end() - 6, bytes.end()), test.swapped ? Pairs(6) : piece) << test.what;
  }
}

TEST_P(TreeImageData, LargeTilesAreSwappedAcrossTheCopyBuffer) {
  FileBytes tile(20000);
  for (size_t i = 0; i < tile.size(); ++i) {
    tile[i] = static_cast<uint8_t>(i % 251);
  }
  for (bool tiled : {true, false}) {
    TiffDirectory page = TiffDirectory().Short(258, {16}).Short(259, {1});
    page = tiled ? page.Tiles({tile}) : page.Strips({tile});
    const FileBytes bytes = Written(page);
    FileBytes expected = tile;
    for (size_t i = 0; Differ() && i < expected.size(); i += 2) {
      std::swap(expected[i], expected[i + 1]);
    }
    ASSERT_GT(bytes.size(), tile.size());
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), bytes.end() - 20000)) << tiled;
  }
}

TEST_P(TreeImageData, ThirtyTwoBitStripsComeOutAsTheyLieInMemoryAndTilesNever) {
  // Loaded from a big-endian file they are in host order, and stay so in any target: wanted.
  const TiffDirectory depth = TiffDirectory().Short(258, {32}).Short(259, {1});
  const FileBytes piece = {1, 2, 3, 4};
  TiffDirectory strips = depth;
  const FileBytes fromStrip = Written(strips.Strips({piece}));
  const FileBytes loaded = GetParam().source == kMM ? FileBytes{4, 3, 2, 1} : piece;
  EXPECT_EQ(FileBytes(fromStrip.end() - 4, fromStrip.end()), loaded);
  TiffDirectory tiles = depth;
  const FileBytes fromTile = Written(tiles.Tiles({piece}));
  EXPECT_EQ(FileBytes(fromTile.end() - 4, fromTile.end()), piece);
}

TEST_P(TreeImageData, TablesOfDifferentLengthAreRefused) {
  Written(TiffDirectory().Long(324, {8, 8}).Long(325, {1, 1, 1}), kResultNotTiff);
}

TEST_P(TreeImageData, TableWithoutElementSizeIsRefused) {
  krnResetStatistics();
  Written(TiffDirectory().RawWord(324, 99, 0xFFFFFFFF, 8).RawWord(325, 99, 0xFFFFFFFF, 8), kResultNotTiff);
  KrnStatistics statistics;
  krnGetStatistics(&statistics);
  EXPECT_LT(statistics.peakBytes, 100'000u);
}

TEST_P(TreeImageData, ByteCountOfAnOddTypeCannotReachBehindItsStrip) {
  // A DOUBLE as byte count: the strip was loaded with the value word as its length, the count itself says far more.
  TiffDirectory page = TiffDirectory().Long(273, {8}).RawWord(279, 12, 1, 8);
  FileBytes source = Source(page);
  source.resize(64, 0x7F);
  TreeInput input(source);
  ASSERT_NE(input.Tree(), nullptr);
  TreeTarget target(GetParam().target, {});
  EXPECT_EQ(target.Write(input.Tree(), &input.File()), kResultOk);
}

TEST_P(TreeImageData, TileBehindTheEndOfTheSourceIsAReadFailure) {
  Written(TiffDirectory().Long(324, {8}).Long(325, {10000}), kResultReadFailed);
}

TEST_P(TreeImageData, NoStripsAtAllIsAPageWithoutData) {
  EXPECT_EQ(Written(TiffDirectory().RawWord(324, 4, 0, 8).RawWord(325, 4, 0, 8)),
            NewBytes().Header(8).U16(2).Entry(324, 4, 0, 38).Entry(325, 4, 0, 8).U32(0).bytes)
      << "the offsets' entry points behind the directory, the counts' keeps its word";
}

TEST_P(TreeImageData, OffsetsWithoutCountsStayAsTheyAre) {
  EXPECT_EQ(Written(TiffDirectory().Long(273, {77})), NewBytes().Header(8).U16(1).Entry(273, 4, 1, 77).U32(0).bytes);
}

// --- JPEG -----------------------------------------------------------------------------------------------------------

TEST_P(TreeImageData, JpegStreamAloneIsMovedAndItsLengthStays) {
  const TiffDirectory page = TiffDirectory().Pointer(513, 4, 1, {9, 8, 7, 6, 5}).Long(514, {5});
  EXPECT_EQ(Written(page),
            NewBytes().Header(8).U16(2).Entry(513, 4, 1, 38).Entry(514, 4, 1, 5).U32(0).Raw({9, 8, 7, 6, 5}).bytes);
}

TEST_P(TreeImageData, ShortJpegStreamComesFromItsBytesToo) {
  const TiffDirectory page = TiffDirectory().Pointer(513, 4, 1, {9, 8, 7}).Long(514, {3});
  EXPECT_EQ(Written(page),
            NewBytes().Header(8).U16(2).Entry(513, 4, 1, 38).Entry(514, 4, 1, 3).U32(0).Raw({9, 8, 7}).bytes);
}

TEST_P(TreeImageData, JpegStreamWithoutItsLengthIsCopiedByItsCount) {
  const TiffDirectory page = TiffDirectory().Pointer(513, 4, 3, {9, 8, 7});
  EXPECT_EQ(Written(page), NewBytes().Header(8).U16(1).Entry(513, 4, 1, 26).U32(0).Raw({9, 8, 7}).bytes);
  TreeInput input(Source(page));
  TreeTarget target(GetParam().target, {});
  EXPECT_EQ(target.Write(input.Tree(), nullptr), kResultNullPointer);
}

TEST_P(TreeImageData, JpegStreamThatIsAHeaderStandsDirectlyBeforeTheStrips) {
  // Stream of 12 bytes at 300, its first strip at 305 and its second at 320: five bytes of header.
  TiffDirectory page =
      TiffDirectory().Long(256, {1}).Long(273, {305, 320}).Long(279, {3, 2}).Long(513, {300}).Long(514, {12});
  FileBytes source = Source(page);
  source.resize(300);
  const FileBytes data = Counting(30, 100);
  source.insert(source.end(), data.begin(), data.end());
  Bytes expected = NewBytes().Header(8).U16(5).Entry(256, 4, 1, 1).Entry(273, 4, 2, 82).Entry(279, 4, 2, 74);
  expected.Entry(513, 4, 1, 90).Entry(514, 4, 1, 12).U32(0).U32(3).U32(2).U32(96).U32(100);
  expected.Raw({100, 101, 102, 103, 104, 0, 105, 106, 107, 0, 120, 121});
  EXPECT_EQ(Rewritten(source, GetParam().target), expected.bytes);
}

TEST_P(TreeImageData, SingleStripBehindAHeaderLeavesItsEntryAtTheHeader) {
  TiffDirectory page = TiffDirectory().Long(256, {1}).Long(273, {304}).Long(279, {3}).Long(513, {300}).Long(514, {4});
  FileBytes source = Source(page);
  source.resize(300);
  const FileBytes data = Counting(30, 100);
  source.insert(source.end(), data.begin(), data.end());
  Bytes expected = NewBytes().Header(8).U16(5).Entry(256, 4, 1, 1).Entry(273, 4, 1, 74).Entry(279, 4, 1, 3);
  expected.Entry(513, 4, 1, 74).Entry(514, 4, 1, 4).U32(0).Raw({100, 101, 102, 103, 104, 105, 106});
  EXPECT_EQ(Rewritten(source, GetParam().target), expected.bytes);
}

TEST_P(TreeImageData, JpegStreamThatBeginsWithTheFirstStripHasNoHeader) {
  TiffDirectory page = TiffDirectory().Long(256, {1}).Long(273, {300}).Long(279, {3}).Long(513, {300}).Long(514, {9});
  FileBytes source = Source(page);
  source.resize(300);
  const FileBytes data = Counting(30, 100);
  source.insert(source.end(), data.begin(), data.end());
  Bytes expected = NewBytes().Header(8).U16(5).Entry(256, 4, 1, 1).Entry(273, 4, 1, 74).Entry(279, 4, 1, 3);
  expected.Entry(513, 4, 1, 74).Entry(514, 4, 1, 9).U32(0).Raw({100, 101, 102});
  EXPECT_EQ(Rewritten(source, GetParam().target), expected.bytes);
}

TEST_P(TreeImageData, JpegStreamElsewhereIsCopiedWholeBeforeTheStrips) {
  TiffDirectory page = TiffDirectory().Long(256, {1}).Long(273, {300}).Long(279, {3}).Long(513, {310}).Long(514, {4});
  FileBytes source = Source(page);
  source.resize(300);
  const FileBytes data = Counting(30, 100);
  source.insert(source.end(), data.begin(), data.end());
  Bytes expected = NewBytes().Header(8).U16(5).Entry(256, 4, 1, 1).Entry(273, 4, 1, 74).Entry(279, 4, 1, 3);
  expected.Entry(513, 4, 1, 74).Entry(514, 4, 1, 4).U32(0).Raw({110, 111, 112, 113, 100, 101, 102});
  EXPECT_EQ(Rewritten(source, GetParam().target), expected.bytes);
}

TEST_P(TreeImageData, HeaderIsNoCaseWhenTheOffsetsAreTheFirstRecord) {
  // Then strips and stream go out one behind the other.
  TiffDirectory page = TiffDirectory().Long(273, {304}).Long(279, {3}).Long(513, {300}).Long(514, {4});
  FileBytes source = Source(page);
  source.resize(300);
  const FileBytes data = Counting(30, 100);
  source.insert(source.end(), data.begin(), data.end());
  Bytes expected = NewBytes().Header(8).U16(4).Entry(273, 4, 1, 62).Entry(279, 4, 1, 3);
  expected.Entry(513, 4, 1, 66).Entry(514, 4, 1, 4).U32(0).Raw({104, 105, 106, 0, 100, 101, 102, 103});
  EXPECT_EQ(Rewritten(source, GetParam().target), expected.bytes);
}

FileBytes HuffmanTable(std::initializer_list<uint8_t> counts, uint32_t values) {
  FileBytes table(counts);
  table.resize(16);
  for (uint32_t i = 0; i < values; ++i) {
    table.push_back(static_cast<uint8_t>(200 + i));
  }
  return table;
}

TEST_P(TreeImageData, SingleJpegTableIsCopiedToItsRealLength) {
  const FileBytes quantization = Counting(64);
  const FileBytes dc = HuffmanTable({0, 2, 3}, 5);
  const TiffDirectory page =
      TiffDirectory().Pointer(519, 4, 1, quantization).Pointer(520, 4, 1, dc).Ascii(700, "abcde");
  Bytes expected = NewBytes().Header(8).U16(3).Entry(519, 4, 1, 50).Entry(520, 4, 1, 114).Entry(700, 2, 6, 136).U32(0);
  expected.Raw(quantization).Raw(dc).Raw({0}).Text("abcde").Raw({0});
  EXPECT_EQ(Written(page), expected.bytes) << "a table of 21 bytes is followed by an even place";
}

TEST_P(TreeImageData, SeveralLoadedJpegTablesStandBeforeTheArrayOfTheirOffsets) {
  const FileBytes first = HuffmanTable({1}, 1);
  const FileBytes second = HuffmanTable({0, 0, 2}, 2);
  TiffBuilder builder(GetParam().source);
  builder.AddPage().Long(256, {1}).Long(521, {0, 0});
  FileBytes source = builder.Build();
  const auto place = static_cast<uint32_t>(source.size());
  PutU32(source, builder.ValueOffset(0, 521), GetParam().source, place);
  PutU32(source, builder.ValueOffset(0, 521) + 4, GetParam().source, place + 40);
  source.resize(place + 400);
  std::copy(first.begin(), first.end(), source.begin() + place);
  std::copy(second.begin(), second.end(), source.begin() + place + 40);
  Bytes expected = NewBytes().Header(8).U16(2).Entry(256, 4, 1, 1).Entry(521, 4, 2, 74).U32(0);
  expected.Raw(first).Raw({0}).Raw(second).U32(38).U32(56);
  EXPECT_EQ(Rewritten(source, GetParam().target), expected.bytes);
}

TEST_P(TreeImageData, JpegTableOverItsLimitStopsAfterItsCounts) {
  FileBytes dc = HuffmanTable({10, 8}, 18);
  dc.resize(300, 1);
  const FileBytes bytes = Written(TiffDirectory().Pointer(520, 4, 1, dc), kResultJpegHuffmanDc);
  EXPECT_EQ(bytes.size(), 8u + 18 + 16);
  EXPECT_EQ(FileBytes(bytes.end() - 16, bytes.end()), FileBytes(dc.begin(), dc.begin() + 16));
  EXPECT_EQ(GetU32(bytes, 4, GetParam().target), 0u);
  FileBytes ac = HuffmanTable({200, 57}, 0);
  ac.resize(300, 1);
  EXPECT_EQ(Written(TiffDirectory().Pointer(521, 4, 1, ac), kResultJpegHuffmanAc).size(), 8u + 18 + 16);
  FileBytes full = HuffmanTable({200, 56}, 0);
  full.resize(272, 1);
  EXPECT_EQ(Written(TiffDirectory().Pointer(521, 4, 1, full)).size(), 8u + 18 + 272);
}

TEST_P(TreeImageData, TableOfATagThatIsNoneIsRefused) {
  TreeInput input(Source(TiffDirectory().Pointer(519, 4, 1, Counting(64))));
  TreeTarget target(GetParam().target, {});
  TifTagRecord record = {522, 4, 1, 8, nullptr, 0};
  uint32_t position = 0;
  EXPECT_EQ(TIFWriteJpegTables({&target.file, &input.File(), false}, &record, &position), kResultJpegTableTag);
  EXPECT_EQ(TIFWriteJpegTables({&target.file, &input.File(), false}, &record, nullptr), kResultInvalidParameter);
  EXPECT_TRUE(target.Read().empty());
}

TEST_P(TreeImageData, ShortJpegTableIsAReadFailure) {
  Written(TiffDirectory().Pointer(519, 4, 1, Counting(63)), kResultReadFailed);
}

TEST_P(TreeImageData, JpegTablesWithoutSourceOrOffsetsAreRefused) {
  TreeInput input(Source(TiffDirectory().Pointer(519, 4, 1, Counting(64))));
  TreeTarget target(GetParam().target, {});
  EXPECT_EQ(target.Write(input.Tree(), nullptr), kResultInvalidParameter);
  Written(TiffDirectory().RawWord(519, 4, 0, 8), kResultInvalidParameter);
}

} // namespace
