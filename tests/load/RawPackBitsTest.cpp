// Format 160: a PackBits stream from the start of a file, without TIFF structure.

#include <gtest/gtest.h>

#include "load/LoadProbe.h"

namespace {

struct RawProbe : LoadProbe {
  RawProbe(const FileBytes& stream, int32_t width, int32_t height, int32_t depth, size_t rowBytes)
      : LoadProbe(stream, width, height, depth, rowBytes) {
    info.fileFormat = kFormatRawPackBits;
    info.bitsPerPixel = depth;
    request.rawStripBytes = static_cast<uint32_t>(stream.size());
    request.rawPhotometric = 1;
    request.rawPlanarConfiguration = 1;
  }
};

TEST(RawPackBits, RowsFromTheStartOfTheFile) {
  RawProbe probe({3, 1, 2, 3, 4, 253, 9}, 4, 2, 8, 4);
  probe.request.rawDataOffset = 5; // plays no part
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({1, 2, 3, 4, 9, 9, 9, 9}));
  ASSERT_EQ(probe.rows.calls.size(), 2u);
  EXPECT_EQ(probe.rows.calls[0].flags, 3u + 4u);
  EXPECT_EQ(probe.rows.calls[1].flags, 3u + 8u);
  EXPECT_EQ(+probe.request.truncationStatus, 1);
}

TEST(RawPackBits, DefaultPaletteGoesToRequestAndBitmap) {
  RawProbe probe({253, 0}, 4, 1, 8, 4);
  probe.bitmap.colorsUsed = 256;
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(+probe.request.rawPalette[1].blue, 51); // the colour cube, blue fastest
  EXPECT_EQ(probe.PaletteEntry(1).blue, 51);
}

TEST(RawPackBits, CallersPaletteIsKept) {
  RawProbe probe({253, 0}, 4, 1, 8, 4);
  probe.request.rawFlags = kRawPalette;
  probe.request.rawPalette[1] = {1, 2, 3, 0};
  probe.bitmap.colorsUsed = 2;
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.PaletteEntry(1).red, 3);
  EXPECT_EQ(+probe.bitmap.colorsUsed, 2u);
}

TEST(RawPackBits, ColoursInUseAreCutTo256) {
  RawProbe probe({253, 0}, 4, 1, 8, 4);
  probe.bitmap.colorsUsed = 100000;
  EXPECT_EQ(probe.Load(), 1);
}

TEST(RawPackBits, DeepPagesGetNoPalette) {
  RawProbe probe({5, 1, 2, 3, 4, 5, 6}, 2, 1, 24, 6);
  probe.bitmap.colorsUsed = 5;
  probe.request.rawPhotometric = 2;
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), Counting(6, 1));
  EXPECT_EQ(+probe.request.rawPalette[1].blue, 0);
  EXPECT_EQ(+probe.bitmap.colorsUsed, 5u);
}

TEST(RawPackBits, TwelveBitsAreReordered) {
  RawProbe probe({2, 0x12, 0x34, 0x56}, 2, 1, 12, 3);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({0x23, 0x61, 0x45}));
}

TEST(RawPackBits, CieLabIsConverted) {
  RawProbe probe({2, 255, 0, 0}, 1, 1, 24, 3);
  probe.request.rawPhotometric = 8;
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({254, 255, 254}));
}

TEST(RawPackBits, SeparatePlanesReadNothing) {
  RawProbe probe({3, 1, 2, 3, 4}, 4, 1, 8, 4);
  probe.request.rawPlanarConfiguration = 2;
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_TRUE(probe.rows.calls.empty());
}

TEST(RawPackBits, YCbCrIsRefused) {
  RawProbe probe({3, 1, 2, 3, 4}, 4, 1, 24, 4);
  probe.request.rawPhotometric = 6;
  EXPECT_EQ(probe.Load(), kResultColorLayout);
}

TEST(RawPackBits, NullBitmap) {
  RawProbe probe({3, 1, 2, 3, 4}, 4, 1, 8, 4);
  probe.request.bitmap = nullptr;
  EXPECT_EQ(probe.Load(), kResultNoBitmap);
}

TEST(RawPackBits, SinkEndsTheLoad) {
  RawProbe probe({253, 1, 253, 2, 253, 3}, 4, 3, 8, 4);
  probe.rows.refuseCall = 1;
  probe.rows.refusal = -3;
  EXPECT_EQ(probe.Load(), -3);
  probe.request.rowCallback = nullptr;
  EXPECT_EQ(probe.Load(), kResultInvalidParameter);
}

TEST(RawPackBits, RowsWithoutHeightAreNone) {
  RawProbe probe({253, 1}, 4, 1, 8, 4);
  probe.bitmap.height = 0;
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_TRUE(probe.rows.calls.empty());
}

TEST(RawPackBits, EndOfTheFileEndsTheDecoding) {
  RawProbe probe({}, 4, 2, 8, 4);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.rows.calls.size(), 2u);
}

TEST(RawPackBits, MissingSeekFails) {
  RawProbe probe({253, 1}, 4, 1, 8, 4);
  IoFaults faults;
  faults.Fail(IoCall::kSeek, 1);
  EXPECT_EQ(probe.Load(), kResultSeekFailed);
}

TEST(RawPackBits, EveryFailedAllocationReleasesTheOthers) {
  for (uint64_t nth = 1; nth <= 3; ++nth) { // page, row, input block
    RawProbe probe({253, 1}, 4, 1, 16, 8);
    const AllocFaults faults(nth);
    EXPECT_EQ(probe.Load(), kResultNoMemory) << nth;
  }
}

TEST(RawPackBits, SizesBeyondAllMemoryFail) {
  RawProbe probe({253, 1}, 4, 1, 16, 8);
  probe.bitmap.width = INT32_MAX;
  probe.bitmap.bitsPerPixel = INT32_MAX;
  EXPECT_EQ(probe.Load(), kResultNoMemory);
}

} // namespace
