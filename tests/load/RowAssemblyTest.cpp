// The row stage: every layout of samples from file to sink, and the row operations by themselves.

#include <algorithm>

#include <gtest/gtest.h>

#include "Tif/RowAssembly.h"
#include "Tif/RowOperations.h"
#include "load/LoadProbe.h"

namespace {

FileBytes LoadRow(const FileBytes& file, int32_t width, int32_t depth, size_t rowBytes, uint32_t flags = 0) {
  LoadProbe probe(file, width, 1, depth, rowBytes);
  probe.options.flags = flags;
  EXPECT_EQ(probe.Load(), 1);
  return probe.Pixels();
}

TEST(RowSwap, SixteenBitSamplesOfBigEndianFiles) {
  const std::vector<uint16_t> samples = {0x0102, 0x0304, 0x0506};
  for (FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
    TiffDirectory gray = Page(3, 1, {16}, 1).Strips({Words(samples, order)});
    EXPECT_EQ(LoadRow(FileOf(gray, order), 3, 16, 6), Words(samples));
    TiffDirectory rgb = Page(1, 1, {16, 16, 16}, 2).Strips({Words(samples, order)});
    EXPECT_EQ(LoadRow(FileOf(rgb, order), 1, 48, 6), Words(samples));
  }
}

TEST(RowSwap, RowsWithExtraSamplesAreNotSwapped) {
  const std::vector<uint16_t> samples = {0x0102, 0x0304, 0x0506, 0x0708, 0x090A};
  // Two extra samples: one is kept as alpha, the other is dropped, and the order stays the file's.
  TiffDirectory extra = Page(1, 1, {16, 16, 16, 16, 16}, 2).Strips({Words(samples, FileOrder::kBig)});
  extra.Short(338, {0, 0});
  EXPECT_EQ(LoadRow(FileOf(extra, FileOrder::kBig), 1, 64, 8),
            Words({0x0102, 0x0304, 0x0506, 0x0708}, FileOrder::kBig));
  // With one of them the page counts as four samples without extra ones, and is swapped.
  TiffDirectory alpha =
      Page(1, 1, {16, 16, 16, 16}, 2).Strips({Words({0x0102, 0x0304, 0x0506, 0x0708}, FileOrder::kBig)});
  alpha.Short(338, {1});
  EXPECT_EQ(LoadRow(FileOf(alpha, FileOrder::kBig), 1, 64, 8), Words({0x0102, 0x0304, 0x0506, 0x0708}));
  // A grey page with an extra sample, which is dropped unswapped.
  TiffDirectory gray = Page(2, 1, {16, 16}, 1).Strips({Words({0x0102, 0xFFFF, 0x0304, 0xFFFF}, FileOrder::kBig)});
  gray.Short(338, {0});
  EXPECT_EQ(LoadRow(FileOf(gray, FileOrder::kBig), 2, 16, 4), Words({0x0102, 0x0304}, FileOrder::kBig));
}

TEST(RowExtra, DroppedSamples) {
  TiffDirectory gray = Page(3, 1, {8, 8, 8}, 1).Strips({{1, 91, 92, 2, 93, 94, 3, 95, 96}}).Short(338, {0, 0});
  EXPECT_EQ(LoadRow(FileOf(gray), 3, 8, 3), FileBytes({1, 2, 3}));
  // RGB with two extra samples keeps the first of them.
  TiffDirectory rgb = Page(2, 1, {8, 8, 8, 8, 8}, 2).Strips({{1, 2, 3, 4, 91, 5, 6, 7, 8, 92}}).Short(338, {0, 0});
  EXPECT_EQ(LoadRow(FileOf(rgb), 2, 32, 8), FileBytes({1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST(RowExtra, EveryKeptSize) {
  for (uint32_t keep : {1u, 2u, 3u, 4u, 6u, 8u}) {
    for (uint32_t extra : {1u, 2u, 5u}) {
      FileBytes row;
      FileBytes expected;
      for (uint8_t pixel = 0; pixel < 5; ++pixel) {
        const FileBytes kept = Counting(keep, static_cast<uint8_t>(16 * pixel));
        row.insert(row.end(), kept.begin(), kept.end());
        row.insert(row.end(), extra, 0xEE);
        expected.insert(expected.end(), kept.begin(), kept.end());
      }
      TIFDropExtraSamples(row.data(), row.size(), (keep + extra) * 8, extra * 8);
      row.resize(expected.size());
      EXPECT_EQ(row, expected) << keep << " + " << extra;
    }
  }
}

TEST(RowExtra, OtherSizesAreLeftAlone) {
  const FileBytes before = Counting(24);
  const struct {
    uint32_t total;
    uint32_t extra;
  } cases[] = {{48, 8}, {64, 8}, {80, 8}, {12, 4}, {16, 4}, {0, 0}, {8, 16}, {8, 8}};
  for (const auto& test : cases) {
    FileBytes row = before;
    TIFDropExtraSamples(row.data(), row.size(), test.total, test.extra);
    EXPECT_EQ(row, before) << test.total << ", " << test.extra;
  }
}

TEST(RowExtra, KeptFiveBytesPassThroughTheLoad) {
  TiffDirectory page = Page(2, 1, {8, 8, 8, 8, 8, 8}, 1).Strips({Counting(12)}).Short(338, {0});
  EXPECT_EQ(LoadRow(FileOf(page), 2, 40, 12), Counting(12));
}

TEST(RowAlpha, GreyIsExpandedWhenAsked) {
  TiffDirectory page = Page(2, 1, {8, 8}, 1).Strips({{10, 200, 20, 100}}).Short(338, {2});
  LoadProbe probe(FileOf(page), 2, 1, 32, 8);
  probe.control.flags = kInfoWithAlpha;
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({10, 10, 10, 200, 20, 20, 20, 100}));
  LoadProbe plain(FileOf(page), 2, 1, 8, 2);
  EXPECT_EQ(plain.Load(), 1);
  EXPECT_EQ(plain.Pixels(), FileBytes({10, 20}));
}

TEST(RowAlpha, PaletteGivesTheColours) {
  std::vector<uint16_t> map(768);
  map[1] = 0x1100;       // red of entry 1
  map[256 + 1] = 0x2200; // green
  map[512 + 1] = 0x3300; // blue
  TiffDirectory page = Page(2, 1, {8, 8}, 3).Strips({{1, 200, 0, 100}}).Short(338, {2}).Short(320, map);
  LoadProbe probe(FileOf(page), 2, 1, 32, 8);
  probe.control.flags = kInfoWithAlpha;
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({0x33, 0x22, 0x11, 200, 0, 0, 0, 100}));
}

TEST(RowAlpha, OtherLayoutsAreNotExpanded) {
  // 16-bit grey with alpha: 32 bits in all.
  TiffDirectory page = Page(1, 1, {16, 16}, 1).Strips({Words({0x0102, 0xFFFF})}).Short(338, {2});
  LoadProbe probe(FileOf(page), 1, 1, 16, 2);
  probe.control.flags = kInfoWithAlpha;
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), Words({0x0102}));
}

TEST(RowTwelveBits, PairsAreReordered) {
  // 0x123, 0x456: high bits first in the file, low bits first in the bitmap.
  TiffDirectory page = Page(2, 1, {12}, 1).Strips({{0x12, 0x34, 0x56}});
  EXPECT_EQ(LoadRow(FileOf(page), 2, 12, 3), FileBytes({0x23, 0x61, 0x45}));
  TiffDirectory packed = Page(2, 1, {12}, 1, 32773).Strips({{2, 0x12, 0x34, 0x56}});
  EXPECT_EQ(LoadRow(FileOf(packed), 2, 12, 3), FileBytes({0x23, 0x61, 0x45}));
}

TEST(RowTwelveBits, OddLastSampleIsHalfRewritten) {
  TiffDirectory page = Page(3, 1, {12}, 1).Strips({{0x12, 0x34, 0x56, 0x78, 0x9A}});
  // 0x789 becomes 0x89 and the low half of the next byte 7; its high half stays 9.
  EXPECT_EQ(LoadRow(FileOf(page), 3, 12, 5), FileBytes({0x23, 0x61, 0x45, 0x89, 0x97}));
}

TEST(RowTwelveBits, NeverLeavesTheRow) {
  FileBytes row = {0x12, 0x34, 0x56, 0x78, 0x9A};
  TIFUnpack12(row.data(), 1000, 4);
  EXPECT_EQ(row, FileBytes({0x23, 0x61, 0x45, 0x78, 0x9A}));
  row = {0x12};
  TIFUnpack12(row.data(), 1, 1);
  EXPECT_EQ(row, FileBytes({0x12}));
}

TEST(RowSigned, NegativeSamplesAreCleared) {
  TiffDirectory words = Page(3, 1, {16}, 1).Strips({Words({0x7FFF, 0x8000, 0xFFFF})}).Short(339, {2});
  EXPECT_EQ(LoadRow(FileOf(words), 3, 16, 6), Words({0x7FFF, 0, 0}));
  EXPECT_EQ(LoadRow(FileOf(words), 3, 16, 6, kReadKeepSigned), Words({0x7FFF, 0x8000, 0xFFFF}));
  TiffDirectory bytes = Page(3, 1, {8}, 1).Strips({{0x7F, 0x80, 0xFF}}).Short(339, {2});
  EXPECT_EQ(LoadRow(FileOf(bytes), 3, 8, 3), FileBytes({0x7F, 0, 0}));
  EXPECT_EQ(LoadRow(FileOf(bytes), 3, 8, 3, kReadKeepSigned), FileBytes({0x7F, 0x80, 0xFF}));
}

TEST(RowSigned, BigEndianSamplesAreSwappedFirst) {
  TiffDirectory page = Page(2, 1, {16}, 1).Strips({Words({0x0180, 0x8001}, FileOrder::kBig)}).Short(339, {2});
  EXPECT_EQ(LoadRow(FileOf(page, FileOrder::kBig), 2, 16, 4), Words({0x0180, 0}));
}

TEST(RowSigned, OtherDepthsGoByBytes) {
  FileBytes row = {0x80, 0x01, 0xFF, 0x7F, 0x90};
  TIFClampNegative(row.data(), 5, 32);
  EXPECT_EQ(row, FileBytes({0, 1, 0, 0x7F, 0}));
  row = {0x01, 0x80, 0x80};
  TIFClampNegative(row.data(), 3, 16); // a loose byte is no sample
  EXPECT_EQ(row, FileBytes({0, 0, 0x80}));
}

TEST(RowCmyk, EightBits) {
  // White; black whatever the inks; 155 - 200 cut to 0.
  TiffDirectory page = Page(3, 1, {8, 8, 8, 8}, 5).Strips({{0, 0, 0, 0, 9, 9, 9, 255, 200, 5, 0, 100}});
  EXPECT_EQ(LoadRow(FileOf(page), 3, 24, 9), FileBytes({255, 255, 255, 0, 0, 0, 0, 150, 155}));
}

TEST(RowCmyk, AlphaIsKeptAndMoreIsSkipped) {
  TiffDirectory one = Page(2, 1, {8, 8, 8, 8, 8}, 5).Strips({{10, 20, 30, 0, 77, 0, 0, 0, 55, 88}}).Short(338, {1});
  EXPECT_EQ(LoadRow(FileOf(one), 2, 32, 8), FileBytes({245, 235, 225, 77, 200, 200, 200, 88}));
}

TEST(RowCmyk, SixteenBits) {
  for (FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
    TiffDirectory page = Page(1, 1, {16, 16, 16, 16}, 5).Strips({Words({0x1000, 0xF000, 0, 0x2000}, order)});
    EXPECT_EQ(LoadRow(FileOf(page, order), 1, 48, 6), Words({0xCFFF, 0, 0xDFFF}));
  }
}

TEST(RowCmyk, SixteenBitsWithAlpha) {
  TiffDirectory page = Page(1, 1, {16, 16, 16, 16, 16}, 5).Strips({Words({0x1000, 0, 0, 0, 0x7777})}).Short(338, {1});
  EXPECT_EQ(LoadRow(FileOf(page), 1, 64, 8), Words({0xEFFF, 0xFFFF, 0xFFFF, 0x7777}));
}

TEST(RowCmyk, InksOfOneBitStayWithinTheirRow) {
  // 4 samples of 1 bit: 3 bits a pixel behind the subtraction, and half a byte in the row. The sink reads 3 bytes.
  TiffDirectory page = Page(1, 1, {1, 1, 1, 1}, 5).Strips({{0xF0}});
  LoadProbe probe(FileOf(page), 1, 1, 3, 3);
  EXPECT_EQ(probe.Load(), 1);
}

TEST(RowLab, EightBitsNeedABitmapOf24) {
  // L 0, a 0, b 0: fy is 16 x 0.00862069 = 0.137931, its cube 0.0026241; X 0.656, Y 0.669, Z 0.788: all below 1.
  TiffDirectory page = Page(1, 1, {8, 8, 8}, 8).Strips({{0, 0, 0}});
  EXPECT_EQ(LoadRow(FileOf(page), 1, 24, 3), FileBytes({0, 0, 0}));
  // L 255: fy 1.0; red 1.91 x 250.155 - 0.534 x 255 - 0.289 x 300.135 = 254.88, green 1.999 x 255 - 0.984 x 250.155
  // - 0.028 x 300.135 = 255.19, blue 0.058 x 250.155 - 0.119 x 255 + 0.902 x 300.135 = 254.89.
  TiffDirectory white = Page(1, 1, {8, 8, 8}, 8).Strips({{255, 0, 0}});
  EXPECT_EQ(LoadRow(FileOf(white), 1, 24, 3), FileBytes({254, 255, 254}));
  EXPECT_EQ(LoadRow(FileOf(white), 1, 16, 3), FileBytes({255, 0, 0})); // a shallower bitmap gets them as stored
}

TEST(RowLab, SixteenBits) {
  TiffDirectory page = Page(1, 1, {16, 16, 16}, 8).Strips({Words({65535, 0, 0})});
  const FileBytes row = LoadRow(FileOf(page), 1, 48, 6);
  // The same sums over factors of 65535: 65505.2, 65584.1 (cut), 65506.7, up to the last bits of single precision.
  EXPECT_NEAR(GetU16(row, 0, FileOrder::kLittle), 65505, 2);
  EXPECT_EQ(GetU16(row, 2, FileOrder::kLittle), 65535);
  EXPECT_NEAR(GetU16(row, 4, FileOrder::kLittle), 65507, 2);
}

// The page's tables by default: luma i is i, red adds (cr - 128) x 1402 / 1000, blue (cb - 128) x 1772 / 1000, green is
// y x 1000 / 587 - blue x 114 / 587 - red x 299 / 587, each a whole-number division.
TEST(RowYcc, TwoByOne) {
  // Units of Y0 Y1 Cb Cr; the width is odd, so the last unit has a luma too many.
  TiffDirectory page = Page(3, 1, {8, 8, 8}, 6).Strips({{100, 200, 128, 128, 100, 9, 128, 228}}).Short(530, {2, 1});
  LoadProbe probe(FileOf(page), 3, 1, 24, 9);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({100, 101, 100, 200, 201, 200, 240, 29, 100}));
  EXPECT_EQ(probe.rows.calls[0].flags, 3u + 4u + 8u);
}

TEST(RowYcc, TwoByTwoComesInGroupsOfRows) {
  // 4 x 3: two units a row, two rows of units, the second of which has one image row.
  const FileBytes units = {100, 200, 0,   255, 128, 128, 50, 50, 50, 50, 128, 128,
                           128, 128, 128, 128, 128, 128, 0,  0,  0,  0,  128, 128};
  TiffDirectory page = Page(4, 3, {8, 8, 8}, 6).Strips({units}).Short(530, {2, 2});
  LoadProbe probe(FileOf(page), 4, 3, 24, 12);
  probe.rows.stride = 12; // 5 x 3 cut to a multiple of 4
  EXPECT_EQ(probe.Load(), 1);
  ASSERT_EQ(probe.rows.calls.size(), 2u);
  EXPECT_EQ(probe.rows.calls[0].firstRow, 0);
  EXPECT_EQ(probe.rows.calls[0].rowCount, 2);
  EXPECT_EQ(probe.rows.calls[0].flags, 3u + 4u);
  EXPECT_EQ(probe.rows.calls[1].firstRow, 2);
  EXPECT_EQ(probe.rows.calls[1].rowCount, 1);
  EXPECT_EQ(probe.rows.calls[1].flags, 3u + 8u);
  EXPECT_EQ(probe.rows.calls[0].bytes, FileBytes({100, 101, 100, 200, 201, 200, 50, 51, 50, 50, 51, 50, //
                                                  0,   0,   0,   255, 255, 255, 50, 51, 50, 50, 51, 50}));
  EXPECT_EQ(probe.rows.calls[1].bytes, FileBytes({128, 129, 128, 128, 129, 128, 0, 0, 0, 0, 0, 0}));
}

TEST(RowYcc, EverySubSampling) {
  for (uint16_t horiz : {uint16_t{1}, uint16_t{2}, uint16_t{4}}) {
    for (uint16_t vert : {uint16_t{1}, uint16_t{2}, uint16_t{4}}) {
      // 7 x 5 of grey 50, in strips of four rows.
      const size_t unitsAcross = (7u + horiz - 1) / horiz;
      const auto strip = [&](size_t rows) {
        FileBytes unit(size_t{horiz} * vert, 50);
        unit.insert(unit.end(), 2, 128);
        FileBytes bytes;
        for (size_t i = 0; i < unitsAcross * ((rows + vert - 1) / vert); ++i) {
          bytes.insert(bytes.end(), unit.begin(), unit.end());
        }
        return bytes;
      };
      TiffDirectory page = Page(7, 5, {8, 8, 8}, 6).Strips({strip(4), strip(1)}).Short(530, {horiz, vert});
      page.Short(278, {4});
      LoadProbe probe(FileOf(page), 7, 5, 24, 21);
      probe.rows.stride = 24;
      EXPECT_EQ(probe.Load(), 1);
      FileBytes expected;
      for (int pixel = 0; pixel < 35; ++pixel) {
        expected.insert(expected.end(), {50, 51, 50});
      }
      EXPECT_EQ(probe.Pixels(), expected) << horiz << " x " << vert;
      EXPECT_EQ(probe.rows.calls.size(), (4u + vert - 1) / vert + 1) << horiz << " x " << vert;
    }
  }
}

TEST(RowYcc, LargeStripsAreSplitInRowsOfUnits) {
  // 1600 x 16, units of 2 x 2: 38400 bytes in one strip. Unit row r has luma r.
  FileBytes strip;
  for (uint8_t row = 0; row < 8; ++row) {
    for (int unit = 0; unit < 800; ++unit) {
      strip.insert(strip.end(), {row, row, row, row, 128, 128});
    }
  }
  TiffDirectory page = Page(1600, 16, {8, 8, 8}, 6).Strips({strip}).Short(530, {2, 2});
  LoadProbe probe(FileOf(page), 1600, 16, 24, 4800);
  probe.rows.stride = 4800; // 1601 x 3 = 4803 cut to a multiple of 4
  EXPECT_EQ(probe.Load(), 1);
  ASSERT_EQ(probe.rows.calls.size(), 8u);
  for (int32_t i = 0; i < 8; ++i) {
    EXPECT_EQ(probe.rows.calls[static_cast<size_t>(i)].firstRow, 2 * i);
    EXPECT_EQ(probe.rows.calls[static_cast<size_t>(i)].bytes[0], i);
  }
}

TEST(RowYcc, SignedPagesAreClampedWhateverTheOption) {
  TiffDirectory page = Page(2, 1, {8, 8, 8}, 6).Strips({{100, 200, 128, 128}}).Short(530, {2, 1}).Short(339, {2});
  // 200 and both chroma values count as negative: luma 0, chroma 0.
  const FileBytes cleared = LoadRow(FileOf(page), 2, 24, 6, kReadKeepSigned);
  EXPECT_EQ(cleared[0], 0); // red 100 - 179
  EXPECT_EQ(cleared[2], 0); // blue 100 - 226
}

TEST(RowYcc, SeparatePlanesAreRefused) {
  TiffDirectory page = Page(2, 2, {8, 8, 8}, 6).Strips({FileBytes(4), FileBytes(4), FileBytes(4)}).Short(284, {2});
  page.Short(530, {1, 1});
  LoadProbe probe(FileOf(page), 2, 2, 24, 6);
  EXPECT_EQ(probe.Load(), kResultColorLayout);
}

TEST(RowSinks, NullContextIsANullPointer) {
  EXPECT_EQ(TIFForwardRows(nullptr, nullptr, nullptr, 0, 0, 1, 0), kResultNullPointer);
  EXPECT_EQ(TIFProcessRows(nullptr, nullptr, nullptr, 0, 0, 1, 0), kResultNullPointer);
  EXPECT_EQ(TIFStoreRows(nullptr, nullptr, nullptr, 0, 0, 1, 0), kResultNullPointer);
}

TEST(RowSinks, NoRowsAreNoFailureOfTheRowStage) {
  TifPage page = {};
  TifLoadContext context = {};
  context.page = &page;
  EXPECT_EQ(TIFProcessRows(nullptr, nullptr, nullptr, 0, 0, 0, reinterpret_cast<intptr_t>(&context)), 1);
}

TEST(RowSinks, ForwardPassesEverythingOn) {
  FileBytes row = Counting(4);
  RowKeeper keeper;
  keeper.rowBytes = 4;
  TifLoadContext context = {};
  context.rowSink = RowKeeper::Take;
  context.rowSinkData = reinterpret_cast<intptr_t>(&keeper);
  BitmapHandle bitmap = {};
  EXPECT_EQ(TIFForwardRows(nullptr, &bitmap, row.data(), 16, 7, 1, reinterpret_cast<intptr_t>(&context)), 1);
  ASSERT_EQ(keeper.calls.size(), 1u);
  EXPECT_EQ(keeper.calls[0].flags, 16u);
  EXPECT_EQ(keeper.calls[0].firstRow, 7);
  EXPECT_EQ(keeper.calls[0].bitmap, &bitmap);
}

struct StoreBitmap {
  StoreBitmap(int32_t width, int32_t height, int32_t depth) {
    krnBitmapCreate(&bitmap, kBitmapHandleSize, 1, width, height, depth, 0, 0, 1, 0, 0);
  }
  ~StoreBitmap() { krnBitmapFree(&bitmap); }
  FileBytes Row(int32_t row) const {
    FileBytes bytes(static_cast<size_t>(bitmap.bytesPerLine));
    krnBitmapGetRow(&bitmap, bytes.data(), row, bitmap.bytesPerLine);
    return bytes;
  }
  BitmapHandle bitmap = {};
};

TEST(RowStore, RowsOfTheBitmapsWidthGoInOneCall) {
  StoreBitmap target(4, 3, 8);
  FileBytes rows = Counting(8);
  TifLoadContext context = {};
  context.rowBytes = 4;
  const auto data = reinterpret_cast<intptr_t>(&context);
  EXPECT_EQ(TIFStoreRows(nullptr, &target.bitmap, rows.data(), 0, 1, 2, data), 1);
  EXPECT_EQ(target.Row(1), Counting(4));
  EXPECT_EQ(target.Row(2), Counting(4, 4));
  EXPECT_EQ(TIFStoreRows(nullptr, &target.bitmap, rows.data(), 0, 3, 1, data), 0); // outside
  EXPECT_EQ(TIFStoreRows(nullptr, &target.bitmap, rows.data(), 0, 0, 0, data), 0);
}

TEST(RowStore, OtherRowsGoOneByOne) {
  StoreBitmap target(3, 3, 8); // 4 bytes a line
  FileBytes rows = Counting(13);
  TifLoadContext context = {};
  context.rowBytes = 5;
  const auto data = reinterpret_cast<intptr_t>(&context);
  EXPECT_EQ(TIFStoreRows(nullptr, &target.bitmap, rows.data(), 0, 0, 2, data), 1);
  EXPECT_EQ(target.Row(0), Counting(4));
  EXPECT_EQ(target.Row(1), Counting(4, 5));
  EXPECT_EQ(TIFStoreRows(nullptr, &target.bitmap, rows.data(), 0, 0, 0, data), 0);
}

TEST(RowStore, WiderBitmapsReadNoFurtherThanTheOverhang) {
  StoreBitmap target(100, 1, 8);
  FileBytes rows = Counting(5 + 3);
  TifLoadContext context = {};
  context.rowBytes = 5;
  EXPECT_EQ(TIFStoreRows(nullptr, &target.bitmap, rows.data(), 0, 0, 1, reinterpret_cast<intptr_t>(&context)), 1);
  FileBytes expected(100, 0);
  std::copy(rows.begin(), rows.end(), expected.begin());
  EXPECT_EQ(target.Row(0), expected);
}

TEST(RowStore, PackedRowsAreKeptAsRuns) {
  StoreBitmap target(8, 2, 1);
  FileBytes runs = Words({3, 5, 8});
  TifLoadContext context = {};
  EXPECT_EQ(TIFStoreRows(nullptr, &target.bitmap, runs.data(), kRowsPacked, 0, 2, reinterpret_cast<intptr_t>(&context)),
            1);
  EXPECT_EQ(target.Row(0)[0], 0x1F);
  EXPECT_EQ(target.Row(1)[0], 0x00);
}

SampleRange Scan(FileBytes row, SampleOrder order, SampleKind kind, uint32_t format, SampleRange range) {
  TIFScanSampleRange(row.data(), row.size() / 4, order, kind, &range, format);
  return range;
}

TEST(RangeScan, UnsignedSamplesAreZeroExtended) {
  const SampleRange range =
      Scan(Longs({5, 0xFFFFFFFE}), SampleOrder::kHost, SampleKind::kInteger, 1, {INT64_MAX, 0, 0, 0});
  EXPECT_EQ(range.minValue, 5);
  EXPECT_EQ(range.maxValue, 0xFFFFFFFE);
}

TEST(RangeScan, OtherFormatsAreSignExtended) {
  const SampleRange range =
      Scan(Longs({5, 0xFFFFFFFE}), SampleOrder::kHost, SampleKind::kInteger, 2, {INT64_MAX, INT64_MIN + 1, 0, 0});
  EXPECT_EQ(range.minValue, -2);
  EXPECT_EQ(range.maxValue, 5);
}

TEST(RangeScan, SwappedSamplesAreSignedWhateverTheFormat) {
  FileBytes row = Longs({0xFEFFFFFF, 0x05000000});
  SampleRange range = {INT64_MAX, INT64_MIN + 1, 0, 0};
  TIFScanSampleRange(row.data(), 2, SampleOrder::kSwap, SampleKind::kInteger, &range, 1);
  EXPECT_EQ(row, Longs({0xFFFFFFFE, 5})); // reversed in place
  EXPECT_EQ(range.minValue, -2);
  EXPECT_EQ(range.maxValue, 5);
}

TEST(RangeScan, FloatsWidenTheirOwnRange) {
  const SampleRange range =
      Scan(Floats({2.5F, -1.0F, __builtin_nanf("")}), SampleOrder::kHost, SampleKind::kFloat, 3, {7, 9, 1.0F, 2.0F});
  EXPECT_EQ(range.minFloat, -1.0F);
  EXPECT_EQ(range.maxFloat, 2.5F);
  EXPECT_EQ(range.minValue, 7);
  EXPECT_EQ(range.maxValue, 9);
}

TEST(RangeScan, NothingChangesNothing) {
  const SampleRange range = Scan({}, SampleOrder::kHost, SampleKind::kInteger, 1, {4, 3, 0, 0});
  EXPECT_EQ(range.minValue, 4);
  EXPECT_EQ(range.maxValue, 3);
}

} // namespace
