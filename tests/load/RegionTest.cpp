// Regions: rectangles of a view as bands of the file's rows.

#include <gtest/gtest.h>

#include "Tif/RegionMapping.h"
#include "load/LoadProbe.h"

namespace {

TEST(RegionMapping, EightOrientations) {
  // A rectangle of 3 x 4 at (1, 2) in a view of 10 x 20.
  const struct {
    uint32_t orientation;
    TifRect rect;
  } cases[] = {{1, {1, 2, 4, 6}},   {2, {6, 2, 9, 6}},   {3, {6, 14, 9, 18}}, {4, {1, 14, 4, 18}}, {5, {2, 1, 6, 4}},
               {6, {14, 1, 18, 4}}, {7, {14, 6, 18, 9}}, {8, {2, 6, 6, 9}},   {0, {1, 2, 4, 6}},   {9, {1, 2, 4, 6}}};
  for (const auto& test : cases) {
    TifRect rect = {1, 2, 4, 6};
    TIFOrientRect(10, 20, test.orientation, &rect);
    EXPECT_EQ(rect.left, test.rect.left) << test.orientation;
    EXPECT_EQ(rect.top, test.rect.top) << test.orientation;
    EXPECT_EQ(rect.right, test.rect.right) << test.orientation;
    EXPECT_EQ(rect.bottom, test.rect.bottom) << test.orientation;
  }
}

TEST(RegionMapping, SaturatesWhatDoesNotFit) {
  TifRect rect = TIFViewRegion(INT32_MAX, -5, INT32_MAX, 10);
  EXPECT_EQ(rect.right, INT32_MAX);
  EXPECT_EQ(rect.bottom, 5);
  rect = {INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX};
  TIFOrientRect(INT32_MIN, INT32_MAX, 3, &rect);
  EXPECT_EQ(rect.left, INT32_MIN);
  EXPECT_EQ(rect.bottom, INT32_MAX);
}

// 4 x 6 pixels in strips of `rows` rows; row r holds r, r + 1, r + 2, r + 3 tens.
TiffDirectory Stack(uint32_t rowsPerStrip, uint16_t orientation, uint16_t compression = 1) {
  std::vector<FileBytes> strips;
  for (uint32_t row = 0; row < 6; row += rowsPerStrip) {
    FileBytes strip;
    for (uint32_t i = row; i < row + rowsPerStrip && i < 6; ++i) {
      if (compression == 32773) {
        strip.push_back(3); // a literal of 4
      }
      strip.insert(strip.end(), 4, static_cast<uint8_t>(10 * i));
    }
    strips.push_back(strip);
  }
  return Page(4, 6, {8}, 1, compression).Strips(strips).Short(274, {orientation}).Long(278, {rowsPerStrip});
}

std::vector<int32_t> RowsOf(const LoadProbe& probe) {
  std::vector<int32_t> rows;
  for (const DeliveredRows& call : probe.rows.calls) {
    rows.push_back(call.firstRow);
    EXPECT_EQ(call.bytes, FileBytes(4, static_cast<uint8_t>(10 * call.firstRow)));
  }
  return rows;
}

void AskRegion(LoadProbe& probe, int32_t viewWidth, int32_t viewHeight, TifRect rect) {
  probe.request.regionEnabled = 1;
  probe.request.viewWidth = viewWidth;
  probe.request.viewHeight = viewHeight;
  probe.request.regionLeft = rect.left;
  probe.request.regionTop = rect.top;
  probe.request.regionWidth = rect.right - rect.left;
  probe.request.regionHeight = rect.bottom - rect.top;
}

TEST(LoadRegion, BandOfEveryOrientation) {
  for (uint16_t orientation = 1; orientation <= 8; ++orientation) {
    LoadProbe probe(FileOf(Stack(1, orientation)), 4, 6, 8, 4);
    // The second and third row of the upright view; of a turned view, the second and third column.
    if (orientation <= 4) {
      AskRegion(probe, 4, 6, {0, 1, 4, 3});
    } else {
      AskRegion(probe, 6, 4, {1, 0, 3, 4});
    }
    EXPECT_EQ(probe.Load(), 1);
    const bool fromBelow = orientation == 3 || orientation == 4 || orientation >= 7;
    EXPECT_EQ(RowsOf(probe), fromBelow ? std::vector<int32_t>({3, 4}) : std::vector<int32_t>({1, 2})) << orientation;
  }
}

TEST(LoadRegion, ColumnsPlayNoPart) {
  LoadProbe probe(FileOf(Stack(1, 1)), 2, 6, 8, 4); // a bitmap narrower than the page
  AskRegion(probe, 4, 6, {1, 2, 3, 4});
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(RowsOf(probe), std::vector<int32_t>({2, 3}));
}

TEST(LoadRegion, RowsBelowInTheSameBandComeToo) {
  LoadProbe probe(FileOf(Stack(3, 1)), 4, 6, 8, 4);
  AskRegion(probe, 4, 6, {0, 1, 4, 2});
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(RowsOf(probe), std::vector<int32_t>({1, 2}));
}

TEST(LoadRegion, IsIgnoredOnCompressedPages) {
  LoadProbe probe(FileOf(Stack(1, 1, 32773)), 4, 6, 8, 4);
  AskRegion(probe, 4, 6, {0, 1, 4, 3});
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(RowsOf(probe), std::vector<int32_t>({0, 1, 2, 3, 4, 5}));
  LoadProbe narrow(FileOf(Stack(1, 1, 32773)), 2, 6, 8, 4);
  AskRegion(narrow, 4, 6, {0, 1, 4, 3});
  EXPECT_EQ(narrow.Load(), kResultBitmapMismatch);
}

TEST(LoadRegion, BandsOutsideAreNotRead) {
  TiffBuilder builder;
  builder.AddPage(Stack(2, 1).Sort());
  FileBytes bytes = builder.Build();
  const uint32_t offsets = builder.ValueOffset(0, 273);
  PutU32(bytes, offsets, FileOrder::kLittle, 0x00FFFFF0);     // rows 0 and 1 are not there
  PutU32(bytes, offsets + 8, FileOrder::kLittle, 0x00FFFFF0); // nor are 4 and 5
  LoadProbe probe(bytes, 4, 6, 8, 4);
  AskRegion(probe, 4, 6, {0, 2, 4, 4});
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(RowsOf(probe), std::vector<int32_t>({2, 3}));
}

TEST(LoadRegion, OutsideThePageGivesNoRows) {
  for (const TifRect& rect : {TifRect{0, 6, 4, 9}, TifRect{0, -5, 4, 0}, TifRect{0, 1000000, 4, 1000001}}) {
    LoadProbe probe(FileOf(Stack(1, 1)), 4, 6, 8, 4);
    AskRegion(probe, 4, 6, rect);
    EXPECT_EQ(probe.Load(), 1);
    EXPECT_TRUE(probe.rows.calls.empty());
  }
}

TEST(LoadRegion, BandsAboveAreNotEvenCounted) {
  // 2^31 - 1 rows of one band each over a file of a few bytes; the region asks for the last.
  TiffDirectory page = Page(4, 0x7FFFFFFF, {8}, 1).Strips({Counting(4), Counting(4)}).Long(278, {1});
  LoadProbe probe(FileOf(page), 4, 1, 8, 4);
  AskRegion(probe, 4, 0x7FFFFFFF, {0, 0x7FFFFFFE, 4, 0x7FFFFFFF});
  EXPECT_EQ(probe.Load(), kResultReadFailed); // its strip is past the table
}

TEST(LoadRegion, RowsAboveAreCutOffTheFirstBand) {
  // One strip of 6 rows: the band begins above the region, whose first row is 4.
  LoadProbe probe(FileOf(Stack(6, 1)), 4, 6, 8, 4);
  AskRegion(probe, 4, 6, {0, 4, 4, 5});
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(RowsOf(probe), std::vector<int32_t>({4, 5}));
}

} // namespace
