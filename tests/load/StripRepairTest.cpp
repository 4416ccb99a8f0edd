// The repairs of strip tables, and the split of large uncompressed strips.

#include <vector>

#include <gtest/gtest.h>

#include "Tif/StripRepair.h"
#include "support/KernelGuard.h"
#include "tif_com/Memory.h"

namespace {

// A page with tables of its own.
struct TablePage {
  TablePage(int32_t width, int32_t length, int32_t rowsPerStrip, const std::vector<uint32_t>& offsets,
            const std::vector<uint32_t>& counts) {
    page.imageWidth = page.tileWidth = width;
    page.imageLength = length;
    page.rowsPerStrip = rowsPerStrip;
    page.compression = 1;
    page.totalBits = page.bitsPerSample[0] = 8;
    page.samplesPerPixel = 1;
    page.planarConfiguration = 1;
    page.yCbCrSubSampleHoriz = page.yCbCrSubSampleVert = 1;
    page.stripCount = static_cast<uint32_t>(offsets.size());
    page.stripOffsets = Table(offsets);
    page.stripByteCounts = Table(counts);
  }
  ~TablePage() {
    TIFFree(page.stripOffsets);
    TIFFree(page.stripByteCounts);
  }
  static uint32_t* Table(const std::vector<uint32_t>& values) {
    auto* table = static_cast<uint32_t*>(TIFAllocZero(values.size(), sizeof(uint32_t)));
    std::copy(values.begin(), values.end(), table);
    return table;
  }
  std::vector<uint32_t> Offsets() const { return {page.stripOffsets, page.stripOffsets + page.stripCount}; }
  std::vector<uint32_t> Counts() const { return {page.stripByteCounts, page.stripByteCounts + page.stripCount}; }

  KernelGuard guard;
  TifPage page = {};
};

TEST(StripClamp, CountsEndWhereTheNextStripBegins) {
  TablePage t(1, 5, 1, {100, 150, 140, 200, 300}, {60, 500, 10, 0, 0xFFFFFFFF});
  TIFClampStripByteCounts(&t.page);
  // The second strip's follower lies before it; a count of zero stays; the last is not compared with anything.
  EXPECT_EQ(t.Counts(), std::vector<uint32_t>({50, 500, 10, 0, 0xFFFFFFFF}));
}

TEST(StripClamp, ComparesUnsigned) {
  TablePage t(1, 2, 1, {0x7FFFFFF0, 0x80000010}, {0x80000000, 1});
  TIFClampStripByteCounts(&t.page);
  EXPECT_EQ(t.Counts()[0], 0x20u);
}

TEST(StripClamp, LeavesASingleStripAlone) {
  TablePage t(1, 1, 1, {8}, {0xFFFFFFFF});
  TIFClampStripByteCounts(&t.page);
  EXPECT_EQ(t.Counts()[0], 0xFFFFFFFFu);
}

TEST(StripSum, GivesTheLargest) {
  TablePage t(1, 3, 1, {8, 20, 30}, {5, 7, 6});
  EXPECT_EQ(TIFSumStripByteCounts(&t.page), 7u);
  EXPECT_EQ(+t.page.stripByteTotal, 18u);
}

TEST(StripNormalize, RowsPerStripOfNothingOrTooMuchIsTheImage) {
  for (uint32_t rows : {0u, 0xFFFFFFFFu, 0x80000000u, 11u}) {
    TablePage t(4, 10, static_cast<int32_t>(rows), {8}, {40});
    TIFNormalizeStrips(&t.page);
    EXPECT_EQ(+t.page.rowsPerStrip, 10) << rows;
  }
  TablePage kept(4, 10, 10, {8}, {40});
  TIFNormalizeStrips(&kept.page);
  EXPECT_EQ(+kept.page.rowsPerStrip, 10);
}

TEST(StripNormalize, TileWidthOfNothingIsTheImage) {
  TablePage t(4, 10, 10, {8}, {40});
  t.page.tileWidth = 0;
  TIFNormalizeStrips(&t.page);
  EXPECT_EQ(+t.page.tileWidth, 4);
}

TEST(StripSplit, FirstStripOf8192BytesIsLeftAlone) {
  TablePage t(1, 8192, 8192, {8}, {8192});
  const StripSplit split = TIFNormalizeStrips(&t.page);
  EXPECT_EQ(+t.page.stripCount, 1u);
  EXPECT_EQ(split.slotsPerStrip, 1u);
}

TEST(StripSplit, FirstStripOf8193BytesIsSplit) {
  TablePage t(1, 8193, 8193, {8}, {8193});
  const StripSplit split = TIFNormalizeStrips(&t.page);
  EXPECT_EQ(t.Offsets(), std::vector<uint32_t>({8, 8200}));
  EXPECT_EQ(t.Counts(), std::vector<uint32_t>({8192, 1}));
  EXPECT_EQ(+t.page.rowsPerStrip, 8192);
  EXPECT_EQ(split.rowsPerStrip, 8193);
  EXPECT_EQ(split.slotsPerStrip, 2u);
}

TEST(StripSplit, TheFirstStripAloneDecides) {
  TablePage small(100, 200, 100, {8, 20008}, {8192, 10000});
  TIFNormalizeStrips(&small.page);
  EXPECT_EQ(+small.page.stripCount, 2u);
}

TEST(StripSplit, OnlyUncompressedPages) {
  TablePage t(1, 10000, 10000, {8}, {10000});
  t.page.compression = 5;
  TIFNormalizeStrips(&t.page);
  EXPECT_EQ(+t.page.stripCount, 1u);
}

TEST(StripSplit, RowsAbove8192BytesStandAlone) {
  TablePage t(9000, 3, 3, {8}, {27000});
  TIFNormalizeStrips(&t.page);
  EXPECT_EQ(+t.page.rowsPerStrip, 1);
  EXPECT_EQ(t.Offsets(), std::vector<uint32_t>({8, 9008, 18008}));
  EXPECT_EQ(t.Counts(), std::vector<uint32_t>({9000, 9000, 9000}));
}

TEST(StripSplit, SingleStripTakesTheWholeLimit) {
  TablePage t(1170, 10, 10, {8}, {11700}); // 7 rows fit into 8192 bytes
  TIFNormalizeStrips(&t.page);
  EXPECT_EQ(+t.page.rowsPerStrip, 7);
  EXPECT_EQ(t.Counts(), std::vector<uint32_t>({8190, 3510}));
}

TEST(StripSplit, SeveralStripsTakeADivisor) {
  TablePage t(1170, 25, 10, {8, 11708, 23408}, {11700, 11700, 5850});
  const StripSplit split = TIFNormalizeStrips(&t.page);
  EXPECT_EQ(+t.page.rowsPerStrip, 5); // the largest divisor of 10 up to 7
  EXPECT_EQ(split.slotsPerStrip, 2u);
  EXPECT_EQ(t.Offsets(), std::vector<uint32_t>({8, 5858, 11708, 17558, 23408, 0}));
  EXPECT_EQ(t.Counts(), std::vector<uint32_t>({5850, 5850, 5850, 5850, 5850, 0})); // the last strip needs one
}

TEST(StripSplit, PrimeNumbersOfRowsEndInSingleRows) {
  TablePage t(2000, 22, 11, {8, 22008}, {22000, 22000});
  TIFNormalizeStrips(&t.page);
  EXPECT_EQ(+t.page.rowsPerStrip, 1);
  EXPECT_EQ(+t.page.stripCount, 22u);
}

TEST(StripSplit, StripsOfCountZeroLeaveTheirSlotsEmpty) {
  TablePage t(4096, 8, 4, {8, 100000}, {16384, 0});
  TIFNormalizeStrips(&t.page);
  EXPECT_EQ(t.Counts(), std::vector<uint32_t>({8192, 8192, 0, 0}));
  EXPECT_EQ(t.Offsets(), std::vector<uint32_t>({8, 8200, 0, 0}));
}

TEST(StripSplit, PaddingBehindTheRowsGetsNoSlot) {
  // Each strip is followed by two bytes that its count includes.
  TablePage t(4096, 8, 4, {8, 16394}, {16386, 16386});
  TIFNormalizeStrips(&t.page);
  EXPECT_EQ(t.Offsets(), std::vector<uint32_t>({8, 8200, 16394, 24586}));
}

TEST(StripSplit, OneStripASampleOfAPlanarPageCountsAsSingle) {
  TablePage t(1170, 10, 10, {8, 11708, 23408}, {11700, 11700, 11700});
  t.page.planarConfiguration = 2;
  t.page.samplesPerPixel = 3;
  const StripSplit split = TIFNormalizeStrips(&t.page);
  EXPECT_EQ(+t.page.rowsPerStrip, 7);
  EXPECT_EQ(+t.page.stripCount, 6u);
  EXPECT_EQ(TIFSlotsOfPlane(&t.page, split, 1170, 10), 2u);
}

TEST(StripSplit, PlanesAdvanceByAllSlotsOfAShortLastStrip) {
  // Two strips a plane, the second of 2 rows: four slots a plane, of which three have bytes.
  TablePage t(2048, 10, 8, {8, 16392, 20488, 36872}, {16384, 4096, 16384, 4096});
  t.page.planarConfiguration = 2;
  t.page.samplesPerPixel = 2;
  const StripSplit split = TIFNormalizeStrips(&t.page);
  EXPECT_EQ(+t.page.rowsPerStrip, 4);
  EXPECT_EQ(t.Counts(), std::vector<uint32_t>({8192, 8192, 4096, 0, 8192, 8192, 4096, 0}));
  EXPECT_EQ(TIFSlotsOfPlane(&t.page, split, 2048, 10), 4u);
}

TEST(StripSplit, SubSampledPagesSplitInRowsOfUnits) {
  // 1600 x 16 with units of 2 x 2: a row of units has 800 x 6 = 4800 bytes and stands for two image rows.
  TablePage t(1600, 16, 16, {8}, {38400});
  t.page.photometricInterpretation = 6;
  t.page.totalBits = 24;
  t.page.yCbCrSubSampleHoriz = t.page.yCbCrSubSampleVert = 2;
  TIFNormalizeStrips(&t.page);
  EXPECT_EQ(+t.page.rowsPerStrip, 2);
  EXPECT_EQ(+t.page.stripCount, 8u);
  EXPECT_EQ(t.Counts()[7], 4800u);
}

TEST(StripSplit, TilesSideBySideAreNotSplit) {
  TablePage t(200, 200, 100, {8, 10008, 20008, 30008}, {10000, 10000, 10000, 10000});
  t.page.tileWidth = 100;
  TIFNormalizeStrips(&t.page);
  EXPECT_EQ(+t.page.stripCount, 4u);
}

TEST(StripSplit, RowsWithoutBytesAreNotSplit) {
  TablePage t(100, 100, 100, {8}, {10000});
  t.page.totalBits = 0;
  TIFNormalizeStrips(&t.page);
  EXPECT_EQ(+t.page.stripCount, 1u);
}

TEST(StripSplit, WithoutMemoryThePageStaysAsItWas) {
  for (uint64_t nth : {1u, 2u}) {
    TablePage t(4096, 8, 4, {8, 16392}, {16384, 16384});
    {
      const AllocFaults faults(nth);
      const StripSplit split = TIFNormalizeStrips(&t.page);
      EXPECT_EQ(split.slotsPerStrip, 1u);
    }
    EXPECT_EQ(t.Counts(), std::vector<uint32_t>({16384, 16384})) << nth;
    EXPECT_EQ(+t.page.rowsPerStrip, 4);
  }
}

TEST(StripSplit, TablesOutOfProportionAreLeftOut) {
  TablePage t(1, 0x7FFFFFFF, 0, {8, 9}, {0xFFFFFFFF, 0xFFFFFFFF});
  TIFNormalizeStrips(&t.page); // no overflow, whatever comes of it
  EXPECT_GT(+t.page.rowsPerStrip, 0);
}

TEST(StripSlot, PastTheTableIsEmpty) {
  TablePage t(1, 2, 1, {8, 9}, {1, 1});
  EXPECT_EQ(TIFStripSlot(&t.page, 1).offset, 9u);
  EXPECT_EQ(TIFStripSlot(&t.page, 2).byteCount, 0u);
  EXPECT_EQ(TIFStripSlot(&t.page, UINT64_MAX).offset, 0u);
}

} // namespace
