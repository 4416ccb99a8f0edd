// Pages with separate planes: stored one by one, merged into rows.

#include <gtest/gtest.h>

#include "Tif/PlaneMerge.h"
#include "Tif/Planes.h"
#include "load/LoadProbe.h"

namespace {

// Bits, most significant first.
FileBytes Bits(std::initializer_list<int> bits) {
  FileBytes bytes((bits.size() + 7) / 8);
  size_t at = 0;
  for (int bit : bits) {
    bytes[at / 8] = static_cast<uint8_t>(bytes[at / 8] | bit << (7 - at % 8));
    ++at;
  }
  return bytes;
}

TEST(Interleave, Bits) {
  const FileBytes a = Bits({1, 0, 1});
  const FileBytes b = Bits({0, 1, 1});
  const FileBytes c = Bits({0, 0, 1});
  const uint8_t* planes[] = {a.data(), b.data(), c.data()};
  FileBytes target(3, 0xEE);
  TIFInterleavePlanes(target.data(), planes, 3, 3, 1);
  EXPECT_EQ(target, FileBytes({0x8B, 0x80, 0xEE})); // 100 010 111, the last byte cleared behind them
}

TEST(Interleave, BytesAndWords) {
  const FileBytes a = {1, 2, 3, 4};
  const FileBytes b = {11, 12, 13, 14};
  const FileBytes c = {21, 22, 23, 24};
  const FileBytes d = {31, 32, 33, 34};
  const FileBytes e = {41, 42, 43, 44};
  const uint8_t* planes[] = {a.data(), b.data(), c.data(), d.data(), e.data()};
  FileBytes target(10);
  TIFInterleavePlanes(target.data(), planes, 5, 2, 8);
  EXPECT_EQ(target, FileBytes({1, 11, 21, 31, 41, 2, 12, 22, 32, 42}));
  target.assign(12, 0);
  TIFInterleavePlanes(target.data(), planes, 3, 2, 16);
  EXPECT_EQ(target, FileBytes({1, 2, 11, 12, 21, 22, 3, 4, 13, 14, 23, 24}));
  target.assign(8, 0);
  TIFInterleavePlanes(target.data(), planes, 4, 2, 8);
  EXPECT_EQ(target, FileBytes({1, 11, 21, 31, 2, 12, 22, 32}));
}

TEST(Interleave, OtherDepthsDoNothing) {
  const FileBytes a = {1};
  const uint8_t* planes[] = {a.data(), a.data(), a.data()};
  FileBytes target(4, 0xEE);
  for (uint32_t bits : {0u, 2u, 4u, 12u, 32u}) {
    TIFInterleavePlanes(target.data(), planes, 3, 1, bits);
    EXPECT_EQ(target, FileBytes(4, 0xEE));
  }
}

TEST(Planes, MadeAndFreed) {
  const KernelGuard guard;
  BitmapHandle** planes = nullptr;
  ASSERT_EQ(TIFCreatePlanes({5, 3, 16}, 2, true, &planes), 1);
  EXPECT_EQ(+planes[1]->width, 5);
  EXPECT_EQ(+planes[1]->bitsPerPixel, 16);
  EXPECT_EQ(+planes[1]->order, uint32_t{kOrderBlueFirst});
  EXPECT_EQ(+planes[1]->flags & kBitmapSigned, uint32_t{kBitmapSigned});
  TIFFreePlanes(planes, 2);
  TIFFreePlanes(nullptr, 7);
}

TEST(Planes, EveryFailureUndoesAll) {
  const KernelGuard guard;
  for (uint64_t nth = 1;; ++nth) {
    BitmapHandle** planes = nullptr;
    const AllocFaults faults(nth);
    const int32_t result = TIFCreatePlanes({5, 3, 8}, 3, false, &planes);
    if (result == 1) {
      EXPECT_GT(nth, 4u);
      TIFFreePlanes(planes, 3);
      break;
    }
    EXPECT_EQ(result, kResultNoMemory);
    EXPECT_EQ(planes, nullptr);
  }
}

TEST(Planes, BadSizesAreFailures) {
  const KernelGuard guard;
  BitmapHandle** planes = nullptr;
  for (const PlaneSize& size : {PlaneSize{0, 1, 8}, PlaneSize{1, -1, 8}, PlaneSize{1, 1, 0xFFFFFFFF}}) {
    EXPECT_EQ(TIFCreatePlanes(size, 1, false, &planes), kResultNoMemory);
  }
}

TiffDirectory PlanarRgb(const std::vector<FileBytes>& strips, uint16_t rowsPerStrip) {
  return Page(2, 4, {8, 8, 8}, 2).Strips(strips).Short(278, {rowsPerStrip}).Short(284, {2});
}

// Red 0..7, green 100.., blue 200.. of 2 x 4 pixels.
FileBytes MergedRgb() {
  FileBytes pixels;
  for (uint8_t i = 0; i < 8; ++i) {
    pixels.insert(pixels.end(), {i, static_cast<uint8_t>(100 + i), static_cast<uint8_t>(200 + i)});
  }
  return pixels;
}

TEST(PlanarLoad, OneStripAPlane) {
  LoadProbe probe(FileOf(PlanarRgb({Counting(8), Counting(8, 100), Counting(8, 200)}, 4)), 2, 4, 24, 6);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), MergedRgb());
  ASSERT_EQ(probe.rows.calls.size(), 4u);
  EXPECT_EQ(probe.rows.calls[0].flags, 3u + 4u);
  EXPECT_EQ(probe.rows.calls[3].flags, 3u + 8u);
  EXPECT_EQ(probe.rows.calls[3].bitmap, &probe.bitmap);
}

TEST(PlanarLoad, SeveralStripsAPlaneTheLastShort) {
  std::vector<FileBytes> strips;
  for (uint8_t base : FileBytes{0, 100, 200}) {
    strips.push_back(Counting(6, base));
    strips.push_back(Counting(2, static_cast<uint8_t>(base + 6)));
  }
  LoadProbe probe(FileOf(PlanarRgb(strips, 3)), 2, 4, 24, 6);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), MergedRgb());
}

TEST(PlanarLoad, SplitStripsWithAShortLastOne) {
  // 2048 x 10 in strips of 8 rows: each plane's second strip has 2 rows, and all are split.
  std::vector<FileBytes> strips;
  for (uint8_t base : FileBytes{10, 20, 30}) {
    strips.emplace_back(size_t{2048} * 8, base);
    strips.emplace_back(size_t{2048} * 2, static_cast<uint8_t>(base + 1));
  }
  TiffDirectory page = Page(2048, 10, {8, 8, 8}, 2).Strips(strips).Short(278, {8}).Short(284, {2});
  LoadProbe probe(FileOf(page), 2048, 10, 24, 6144);
  EXPECT_EQ(probe.Load(), 1);
  ASSERT_EQ(probe.rows.calls.size(), 10u);
  EXPECT_EQ(FileBytes(probe.rows.calls[7].bytes.begin(), probe.rows.calls[7].bytes.begin() + 3),
            FileBytes({10, 20, 30}));
  EXPECT_EQ(FileBytes(probe.rows.calls[9].bytes.end() - 3, probe.rows.calls[9].bytes.end()), FileBytes({11, 21, 31}));
}

TEST(PlanarLoad, Tiles) {
  // 3 x 2 in tiles of 2 x 2: two tiles a plane.
  std::vector<FileBytes> tiles;
  for (uint8_t base : FileBytes{0, 100, 200}) {
    const auto at = [base](int value) { return static_cast<uint8_t>(base + value); };
    tiles.push_back({at(0), at(1), at(3), at(4)});
    tiles.push_back({at(2), 99, at(5), 99});
  }
  TiffDirectory page = Page(3, 2, {8, 8, 8}, 2);
  page.Short(284, {2}).Short(322, {2}).Short(323, {2}).Tiles(tiles);
  LoadProbe probe(FileOf(page), 3, 2, 24, 9);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({0, 100, 200, 1, 101, 201, 2, 102, 202, 3, 103, 203, 4, 104, 204, 5, 105, 205}));
}

TEST(PlanarLoad, CompressedPlanesWithPredictor) {
  std::vector<FileBytes> strips;
  for (uint8_t base : FileBytes{0, 100, 200}) {
    strips.push_back({1, base, 1, 1, static_cast<uint8_t>(base + 2), 1}); // PackBits literals, row by row
  }
  TiffDirectory page = Page(2, 2, {8, 8, 8}, 2, 32773).Strips(strips).Short(284, {2});
  LoadProbe probe(FileOf(page), 2, 2, 24, 6);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({0, 100, 200, 1, 1, 1, 2, 102, 202, 1, 1, 1}));
}

TEST(PlanarLoad, SixteenBitsOfBigEndianFiles) {
  std::vector<FileBytes> strips;
  for (uint16_t base : {uint16_t{0x0100}, uint16_t{0x0200}, uint16_t{0x0300}}) {
    strips.push_back(Words({static_cast<uint16_t>(base + 1), static_cast<uint16_t>(base + 2)}, FileOrder::kBig));
  }
  TiffDirectory page = Page(2, 1, {16, 16, 16}, 2).Strips(strips).Short(284, {2});
  LoadProbe probe(FileOf(page, FileOrder::kBig), 2, 1, 48, 12);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), Words({0x0101, 0x0201, 0x0301, 0x0102, 0x0202, 0x0302}));
}

TEST(PlanarLoad, BilevelPlanes) {
  TiffDirectory page =
      Page(3, 1, {1, 1, 1}, 2).Strips({Bits({1, 0, 1}), Bits({0, 1, 1}), Bits({0, 0, 1})}).Short(284, {2});
  LoadProbe probe(FileOf(page), 3, 1, 3, 2);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({0x8B, 0x80}));
}

TEST(PlanarLoad, AlphaNeedsABitmapOf32Bits) {
  TiffDirectory page = Page(1, 2, {8, 8, 8, 8}, 2).Strips({{1, 5}, {2, 6}, {3, 7}, {4, 8}});
  page.Short(284, {2}).Short(338, {1});
  LoadProbe with(FileOf(page), 1, 2, 32, 4);
  EXPECT_EQ(with.Load(), 1);
  EXPECT_EQ(with.Pixels(), FileBytes({1, 2, 3, 4, 5, 6, 7, 8}));
  LoadProbe without(FileOf(page), 1, 2, 24, 3);
  EXPECT_EQ(without.Load(), 1);
  EXPECT_EQ(without.Pixels(), FileBytes({1, 2, 3, 5, 6, 7}));
}

TEST(PlanarLoad, CmykIsConverted) {
  TiffDirectory page = Page(2, 1, {8, 8, 8, 8}, 5).Strips({{0, 200}, {0, 5}, {0, 0}, {0, 100}}).Short(284, {2});
  LoadProbe probe(FileOf(page), 2, 1, 24, 6);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({255, 255, 255, 0, 150, 155}));
}

TEST(PlanarLoad, CmykWithAlpha) {
  TiffDirectory page = Page(1, 1, {8, 8, 8, 8, 8}, 5).Strips({{10}, {20}, {30}, {0}, {77}});
  page.Short(284, {2}).Short(338, {1});
  LoadProbe probe(FileOf(page), 1, 1, 32, 4);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({245, 235, 225, 77}));
}

TEST(PlanarLoad, FewerThanThreeSamplesCannotBeMerged) {
  TiffDirectory page = Page(2, 1, {8, 8}, 1).Strips({{1, 2}, {3, 4}}).Short(284, {2});
  LoadProbe probe(FileOf(page), 2, 1, 16, 4);
  EXPECT_EQ(probe.Load(), kResultColorLayout);
  TiffDirectory cmyk = Page(2, 1, {8, 8, 8}, 5).Strips({{1, 2}, {3, 4}, {5, 6}}).Short(284, {2});
  LoadProbe inks(FileOf(cmyk), 2, 1, 24, 6);
  EXPECT_EQ(inks.Load(), kResultColorLayout);
}

TEST(PlanarLoad, OneStripOrOneSampleIsChunky) {
  TiffDirectory strip = Page(2, 1, {8, 8, 8}, 2).Strips({Counting(6)}).Short(284, {2});
  LoadProbe one(FileOf(strip), 2, 1, 24, 6);
  EXPECT_EQ(one.Load(), 1);
  EXPECT_EQ(one.Pixels(), Counting(6));
  TiffDirectory sample = Page(2, 2, {8}, 1).Strips({{1, 2}, {3, 4}}).Short(278, {1}).Short(284, {2});
  LoadProbe gray(FileOf(sample), 2, 2, 8, 2);
  EXPECT_EQ(gray.Load(), 1);
  EXPECT_EQ(gray.Pixels(), FileBytes({1, 2, 3, 4}));
}

TEST(PlanarLoad, SignedFlagFollowsThePlanes) {
  TiffDirectory page = Page(1, 1, {8, 8, 8}, 2).Strips({{0x7F}, {0x80}, {0x01}}).Short(284, {2}).Short(339, {2});
  LoadProbe probe(FileOf(page), 1, 1, 24, 3);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_NE(+probe.bitmap.flags & kBitmapSigned, 0u);
  EXPECT_EQ(probe.Pixels(), FileBytes({0x7F, 0, 0x01})); // cleared in the merged row
}

TEST(PlanarLoad, SinkEndsTheMerge) {
  LoadProbe probe(FileOf(PlanarRgb({Counting(8), Counting(8, 100), Counting(8, 200)}, 4)), 2, 4, 24, 6);
  probe.rows.refuseCall = 2;
  probe.rows.refusal = -99;
  EXPECT_EQ(probe.Load(), -99);
  EXPECT_EQ(probe.rows.calls.size(), 2u);
}

TEST(PlanarLoad, MissingPlaneFails) {
  LoadProbe probe(FileOf(PlanarRgb({Counting(8), Counting(8, 100)}, 4)), 2, 4, 24, 6);
  EXPECT_EQ(probe.Load(), kResultReadFailed);
  EXPECT_TRUE(probe.rows.calls.empty());
}

TEST(PlanarLoad, BitmapLowerThanThePageFails) {
  // The third row has no place in the planes.
  LoadProbe probe(FileOf(PlanarRgb({Counting(8), Counting(8, 100), Counting(8, 200)}, 4)), 2, 2, 24, 6);
  EXPECT_EQ(probe.Load(), 0);
}

TEST(PlanarLoad, WidthOfTheBitmapIsTestedBehindThePlanes) {
  LoadProbe probe(FileOf(PlanarRgb({Counting(8), Counting(8, 100), Counting(8, 200)}, 4)), 3, 4, 24, 6);
  EXPECT_EQ(probe.Load(), kResultBitmapMismatch);
  probe.bitmap.height = 0; // planes of no size
  EXPECT_EQ(probe.Load(), kResultNoMemory);
}

TEST(PlanarLoad, RegionIntoAWiderBitmapStaysWithinTheBand) {
  LoadProbe probe(FileOf(PlanarRgb({Counting(8), Counting(8, 100), Counting(8, 200)}, 4)), 500, 4, 24, 6);
  probe.request.regionEnabled = 1;
  probe.request.viewWidth = 2;
  probe.request.viewHeight = 4;
  probe.request.regionWidth = 2;
  probe.request.regionHeight = 4;
  EXPECT_NE(probe.Load(), 1); // its planes stand elsewhere by the bitmap's width: past the tables
}

} // namespace
