// What a load writes into the caller's bitmap descriptor: resolutions, view, order, levels, palette, tone table.

#include <gtest/gtest.h>

#include <vxtif/vxtif.h>

#include "Tif/BitmapSetup.h"
#include "Tif/ToneTable.h"
#include "load/LoadProbe.h"

namespace {

bool SameColor(const VxColor& color, uint8_t red, uint8_t green, uint8_t blue) {
  return color.red == red && color.green == green && color.blue == blue;
}

bool Gray(const VxColor& color, uint8_t level) {
  return SameColor(color, level, level, level);
}

TiffDirectory GrayAt(uint16_t bits, uint16_t photometric = 1) {
  return Page(4, 1, {bits}, photometric).Strips({FileBytes((size_t{bits} + 1) / 2, 0)});
}

TEST(BitmapSetup, ResolutionsAreRounded) {
  TiffDirectory page = GrayAt(8).Rational(282, {{7249, 100}}).Rational(283, {{725, 10}});
  LoadProbe probe(FileOf(page), 4, 1, 8, 4);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(+probe.bitmap.xResolution, 72);
  EXPECT_EQ(+probe.bitmap.yResolution, 73);
}

TEST(BitmapSetup, ResolutionsSaturate) {
  EXPECT_EQ(TIFRoundResolution(4.0e9F), INT32_MAX);
  EXPECT_EQ(TIFRoundResolution(-4.0e9F), INT32_MIN);
  EXPECT_EQ(TIFRoundResolution(__builtin_nanf("")), 0);
  EXPECT_EQ(TIFRoundResolution(-0.75F), 0); // truncation goes toward zero
}

TEST(BitmapSetup, OrientationIsHandedOnUnlessIgnored) {
  for (uint32_t flags : {0u, uint32_t{kReadIgnoreOrientation}}) {
    LoadProbe probe(FileOf(GrayAt(8).Short(274, {6})), 4, 1, 8, 4);
    probe.options.flags = flags;
    EXPECT_EQ(probe.Load(), 1);
    EXPECT_EQ(+probe.bitmap.viewPerspective, flags == 0 ? 6u : 1u);
  }
}

struct OrderCase {
  std::vector<uint16_t> bits;
  uint16_t photometric;
  int32_t fileFormat;
  int32_t depth;
  uint32_t order;
};

TEST(BitmapSetup, Order) {
  const OrderCase cases[] = {
      {{8}, 1, 0, 8, kOrderBlueFirst},
      {{16}, 1, 0, 16, kOrderGray},
      {{16}, 0, 0, 16, kOrderGray},
      {{12}, 1, 0, 12, kOrderGray},
      {{16}, 2, 0, 16, kOrderBlueFirst},     // no grey photometric value
      {{8, 8}, 1, 0, 16, kOrderBlueFirst},   // two samples
      {{8, 8, 8}, 2, 0, 24, kOrderRedFirst}, // as the rows come
      {{8, 8, 8}, 2, kFormatJpeg2000, 24, kOrderBlueFirst},
      {{8, 8, 8}, 2, kFormatSegmented, 24, kOrderBlueFirst},
      {{16, 16, 16}, 2, 0, 48, kOrderRedFirst},
  };
  for (const OrderCase& test : cases) {
    size_t bits = 0;
    for (uint16_t sample : test.bits) {
      bits += sample;
    }
    const size_t rowBytes = (bits * 4 + 7) / 8;
    TiffDirectory page = Page(4, 1, test.bits, test.photometric).Strips({FileBytes(rowBytes, 0)});
    LoadProbe probe(FileOf(page), 4, 1, test.depth, rowBytes);
    probe.info.fileFormat = test.fileFormat;
    EXPECT_EQ(probe.Load(), 1);
    EXPECT_EQ(+probe.bitmap.order, test.order) << bits << " bits, photometric " << test.photometric;
  }
}

TEST(BitmapSetup, SignedSamplesOf16Bits) {
  for (uint32_t flags : {0u, uint32_t{kReadKeepSigned}}) {
    LoadProbe probe(FileOf(GrayAt(16, 2).Short(339, {2})), 4, 1, 16, 8);
    probe.options.flags = flags;
    EXPECT_EQ(probe.Load(), 1);
    EXPECT_NE(+probe.bitmap.flags & kBitmapSigned, 0u);
    EXPECT_EQ(+probe.bitmap.lowBit, 0);
    EXPECT_EQ(+probe.bitmap.lowBit2, 0);
    EXPECT_EQ(+probe.bitmap.highBit, 15);
    EXPECT_EQ(+probe.bitmap.highBit2, 15);
    EXPECT_EQ(+probe.bitmap.maxValue, 32767);
    EXPECT_EQ(+probe.bitmap.minValue, flags == 0 ? 0 : -32768);
  }
}

TEST(BitmapSetup, SignedSamplesOfOtherDepthsSetTheirFlagAlone) {
  LoadProbe probe(FileOf(GrayAt(8).Short(339, {2})), 4, 1, 8, 4);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_NE(+probe.bitmap.flags & kBitmapSigned, 0u);
  EXPECT_EQ(+probe.bitmap.highBit, -1);
  EXPECT_EQ(+probe.bitmap.maxValue, 0);
}

TEST(BitmapSetup, InitBitmapLeavesUnsignedPagesAlone) {
  TifPage page = {};
  BitmapHandle bitmap = {};
  bitmap.minValue = 77;
  page.bitsPerSample[0] = 16;
  EXPECT_EQ(TIFInitBitmap(&page, &bitmap, 1), 1);
  EXPECT_EQ(+bitmap.flags, 0u);
  EXPECT_EQ(+bitmap.minValue, 77);
  EXPECT_EQ(TIFInitBitmap(nullptr, &bitmap, 1), kResultInvalidParameter);
  EXPECT_EQ(TIFInitBitmap(&page, nullptr, 1), kResultInvalidParameter);
}

TEST(BitmapSetup, GrayRampsOfShallowPages) {
  const struct {
    uint16_t bits;
    uint16_t photometric;
    uint32_t colors;
    uint8_t second; // level of entry 1
  } cases[] = {{1, 1, 2, 255}, {1, 0, 2, 0}, {4, 1, 16, 17}, {4, 0, 16, 238}, {8, 1, 256, 1}, {8, 0, 256, 254}};
  for (const auto& test : cases) {
    LoadProbe probe(FileOf(GrayAt(test.bits, test.photometric)), 4, 1, test.bits, 1);
    EXPECT_EQ(probe.Load(), 1);
    EXPECT_EQ(+probe.bitmap.colorsUsed, test.colors);
    EXPECT_TRUE(Gray(probe.PaletteEntry(0), test.photometric == 0 ? 255 : 0)) << test.bits;
    EXPECT_TRUE(Gray(probe.PaletteEntry(1), test.second)) << test.bits;
  }
}

TEST(BitmapSetup, ShallowColoursWithoutAMapLoadAsGrey) {
  for (uint16_t bits : {uint16_t{8}, uint16_t{4}}) {
    LoadProbe probe(FileOf(GrayAt(bits, 2)), 4, 1, bits, 2);
    EXPECT_EQ(probe.Load(), 1);
    EXPECT_EQ(+probe.bitmap.colorsUsed, 1u << bits);
    EXPECT_TRUE(Gray(probe.PaletteEntry((1u << bits) - 1), 255));
  }
}

TEST(BitmapSetup, ColourMapBecomesThePalette) {
  std::vector<uint16_t> map(48);
  map[0] = 0x1200; // red, green, blue of entry 0
  map[16] = 0x3400;
  map[32] = 0x5600;
  for (FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
    LoadProbe probe(FileOf(GrayAt(4, 3).Short(320, map), order), 4, 1, 4, 2);
    EXPECT_EQ(probe.Load(), 1);
    EXPECT_EQ(+probe.bitmap.colorsUsed, 16u);
    EXPECT_TRUE(SameColor(probe.PaletteEntry(0), 0x12, 0x34, 0x56));
  }
}

TEST(BitmapSetup, IdentityMapEndsBelowWhite) {
  std::vector<uint16_t> map(768);
  for (uint16_t i = 0; i < 768; ++i) {
    map[i] = i;
  }
  LoadProbe probe(FileOf(GrayAt(8, 3).Short(320, map)), 4, 1, 8, 4);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_TRUE(Gray(probe.PaletteEntry(255), 254));
  EXPECT_TRUE(Gray(probe.PaletteEntry(128), 127));
}

TEST(BitmapSetup, MapLongerThanTheDepthKeepsTheCallersCount) {
  std::vector<uint16_t> map(48, 0x1000); // 16 entries on a bitmap of 1 bit
  LoadProbe probe(FileOf(Page(8, 1, {1}, 3).Strips({{0}}).Short(320, map)), 8, 1, 1, 1);
  probe.bitmap.colorsUsed = 2;
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(+probe.bitmap.colorsUsed, 2u);
  EXPECT_TRUE(Gray(probe.PaletteEntry(1), 0x10));
}

TEST(BitmapSetup, ColourMapThatCannotBeRead) {
  TiffDirectory page = GrayAt(8, 3).RawWord(320, 3, 768, 0x00FFFFF0);
  LoadProbe probe(FileOf(page), 4, 1, 8, 4);
  EXPECT_EQ(probe.Load(), kResultReadFailed);
  EXPECT_TRUE(probe.rows.calls.empty());
  {
    IoFaults faults;
    LoadProbe counted(FileOf(page), 4, 1, 8, 4);
    EXPECT_EQ(counted.Load(), kResultReadFailed);
    const uint64_t seeks = faults.Calls(IoCall::kSeek); // the last one goes to the map
    faults.Reset();
    faults.Fail(IoCall::kSeek, seeks);
    EXPECT_EQ(counted.Load(), kResultSeekFailed);
  }
}

TEST(BitmapSetup, FourBitCmykHasAPaletteOfItsOwn) {
  // A single sample of 5 bits less one for the subtraction of CMYK would not do; five of 1 bit make 4.
  TiffDirectory page = Page(8, 1, {1, 1, 1, 1, 1}, 5).Strips({FileBytes(5, 0xA5)});
  LoadProbe probe(FileOf(page), 8, 1, 4, 5);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(+probe.bitmap.colorsUsed, 16u);
  EXPECT_TRUE(SameColor(probe.PaletteEntry(0), 255, 255, 255));
  EXPECT_TRUE(SameColor(probe.PaletteEntry(1), 0, 0, 0));
  EXPECT_TRUE(SameColor(probe.PaletteEntry(8), 0, 255, 255));
  EXPECT_TRUE(SameColor(probe.PaletteEntry(4), 255, 0, 255));
  EXPECT_TRUE(SameColor(probe.PaletteEntry(2), 255, 255, 0));
  EXPECT_EQ(probe.Pixels(), FileBytes(5, 0xA5)); // not converted
}

TEST(BitmapSetup, DeepGreyOfFullRangeNeedsNoTable) {
  LoadProbe probe(FileOf(GrayAt(16)), 4, 1, 16, 8);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(+probe.bitmap.lookupTable, 0u);
  EXPECT_EQ(+probe.bitmap.flags & kBitmapHasLookupTable, 0u);
  EXPECT_EQ(+probe.bitmap.lowBit, 0);
  EXPECT_EQ(+probe.bitmap.highBit, -1);
}

TEST(BitmapSetup, ToneTableOfARange) {
  // 12 bits, samples from 16 to 1040: a ramp of 1024 steps whose 16-bit levels keep their low byte.
  LoadProbe probe(FileOf(GrayAt(12).Short(280, {16}).Short(281, {1040})), 4, 1, 12, 6);
  EXPECT_EQ(probe.Load(), 1);
  const std::vector<VxColor> table = probe.LookupTable();
  ASSERT_EQ(table.size(), 4096u);
  EXPECT_NE(+probe.bitmap.flags & kBitmapHasLookupTable, 0u);
  EXPECT_TRUE(Gray(table[0], 0));
  EXPECT_TRUE(Gray(table[15], 0));
  EXPECT_TRUE(Gray(table[16], 0));
  EXPECT_TRUE(Gray(table[17], 63));    // 65535 / 1024 = 63
  EXPECT_TRUE(Gray(table[21], 63));    // 5 x 65535 / 1024 = 319 = 256 + 63
  EXPECT_TRUE(Gray(table[1039], 191)); // 1023 x 65535 / 1024 = 65471 = 255 x 256 + 191
  EXPECT_TRUE(Gray(table[1040], 255));
  EXPECT_TRUE(Gray(table[4095], 255));
  EXPECT_EQ(table[100].reserved, 0);
}

TEST(BitmapSetup, ToneTableWhiteFirst) {
  LoadProbe probe(FileOf(GrayAt(16, 0)), 4, 1, 16, 8);
  EXPECT_EQ(probe.Load(), 1);
  const std::vector<VxColor> table = probe.LookupTable();
  ASSERT_EQ(table.size(), 65536u);
  EXPECT_TRUE(Gray(table[0], 255)); // 65535 x 65535 / 65535
  EXPECT_TRUE(Gray(table[1], 254)); // 65534, low byte
  EXPECT_TRUE(Gray(table[65534], 1));
  EXPECT_TRUE(Gray(table[65535], 0)); // from the top of the range on
}

TEST(BitmapSetup, ToneTableWhiteFirstBelowItsRange) {
  LoadProbe probe(FileOf(GrayAt(12, 0).Short(280, {10}).Short(281, {20})), 4, 1, 12, 6);
  EXPECT_EQ(probe.Load(), 1);
  const std::vector<VxColor> table = probe.LookupTable();
  EXPECT_TRUE(Gray(table[9], 255));
  EXPECT_TRUE(Gray(table[10], 255)); // 10 x 65535 / 10 = 65535
  EXPECT_TRUE(Gray(table[15], 255)); // 5 x 65535 / 10 = 32767 = 127 x 256 + 255
  EXPECT_TRUE(Gray(table[16], 102)); // 4 x 65535 / 10 = 26214 = 102 x 256 + 102
  EXPECT_TRUE(Gray(table[20], 0));
}

TEST(BitmapSetup, ToneRangeUpsideDown) {
  LoadProbe probe(FileOf(GrayAt(12).Short(280, {20}).Short(281, {10})), 4, 1, 12, 6);
  EXPECT_EQ(probe.Load(), kResultInvalidParameter);
}

TEST(BitmapSetup, ToneRangeBeyondTheDepthIsCut) {
  LoadProbe probe(FileOf(GrayAt(12).Long(280, {5}).Long(281, {0xFFFFFFFF})), 4, 1, 12, 6);
  EXPECT_EQ(probe.Load(), 1);
  const std::vector<VxColor> table = probe.LookupTable();
  ASSERT_EQ(table.size(), 4096u);
  EXPECT_TRUE(Gray(table[4], 0));
  EXPECT_TRUE(Gray(table[4095], 0)); // 4090 x 65535 / 4294967290 = 0
}

TEST(BitmapSetup, ToneTableReplacesAnEarlierOne) {
  LoadProbe probe(FileOf(GrayAt(12).Short(280, {16}).Short(281, {1040})), 4, 1, 12, 6);
  EXPECT_EQ(probe.Load(), 1);
  const VxGlobalHandle first = probe.bitmap.lookupTable;
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_NE(+probe.bitmap.lookupTable, 0u);
  EXPECT_EQ(krnGlobalPointer(first), nullptr); // freed, not leaked
}

TEST(BitmapSetup, ToneTableOnlyForGrey) {
  TifPage page = {};
  page.photometricInterpretation = 2;
  page.minSampleValue = 9;
  page.maxSampleValue = 3;
  BitmapHandle bitmap = {};
  bitmap.bitsPerPixel = 16;
  EXPECT_EQ(TIFBuildToneLut(&bitmap, &page), 1);
  EXPECT_EQ(+bitmap.lookupTable, 0u);
}

TEST(BitmapSetup, ToneTableOfADepthWithoutLevelsIsEmpty) {
  TifPage page = {};
  page.photometricInterpretation = 0;
  BitmapHandle bitmap = {};
  bitmap.bitsPerPixel = 64;
  const KernelGuard guard;
  EXPECT_EQ(TIFBuildToneLut(&bitmap, &page), 1);
  EXPECT_EQ(+bitmap.lookupTableLength, 0u);
  krnGlobalFree(bitmap.lookupTable, 0, "BitmapSetupTest.cpp");
}

// The private directory of tag 50234, little-endian in every file: levels, then a table of three bytes an entry.
FileBytes ToneBlock(uint32_t lowBit, uint32_t highBit, const FileBytes& triples) {
  FileBytes block = Words({3});
  const auto entry = [&block](uint16_t tag, uint16_t type, uint32_t count, uint32_t value) {
    const FileBytes head = Words({tag, type});
    const FileBytes rest = Longs({count, value});
    block.insert(block.end(), head.begin(), head.end());
    block.insert(block.end(), rest.begin(), rest.end());
  };
  entry(0, 4, 1, lowBit);
  entry(1, 4, 1, highBit);
  entry(2, 1, static_cast<uint32_t>(triples.size()), 38);
  block.insert(block.end(), triples.begin(), triples.end());
  return block;
}

TEST(BitmapSetup, PrivateLevelsAndTableMoveToTheBitmap) {
  const FileBytes block = ToneBlock(2, 13, {1, 2, 3, 4, 5, 6});
  TiffDirectory page = GrayAt(16).Pointer(50234, 7, static_cast<uint32_t>(block.size()), block);
  LoadProbe probe(FileOf(page), 4, 1, 16, 8);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(+probe.bitmap.lowBit, 2);
  EXPECT_EQ(+probe.bitmap.highBit, 13);
  const std::vector<VxColor> table = probe.LookupTable(); // still alive: the bitmap's now
  ASSERT_EQ(table.size(), 2u);
  EXPECT_EQ(+probe.bitmap.lookupTableLength, 2u);
  EXPECT_EQ(table[1].blue, 4);
  EXPECT_EQ(table[1].green, 5);
  EXPECT_EQ(table[1].red, 6);
  EXPECT_NE(+probe.bitmap.flags & kBitmapHasLookupTable, 0u);
}

TEST(BitmapSetup, PrivateTableOfAnotherDepthIsFreedWithThePage) {
  const FileBytes block = ToneBlock(2, 13, {1, 2, 3});
  TiffDirectory page = GrayAt(8).Pointer(50234, 7, static_cast<uint32_t>(block.size()), block);
  LoadProbe probe(FileOf(page), 4, 1, 8, 4);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(+probe.bitmap.lookupTable, 0u);
}

TEST(TileRowBytes, ByLayout) {
  TifPage page = {};
  page.tileWidth = 5;
  page.totalBits = 12;
  page.bitsPerSample[0] = 4;
  page.planarConfiguration = 1;
  EXPECT_EQ(TIFGetBytesPerTileRow(&page), 8);
  page.planarConfiguration = 2;
  EXPECT_EQ(TIFGetBytesPerTileRow(&page), 3);
  page.planarConfiguration = 1;
  page.photometricInterpretation = 6;
  page.yCbCrSubSampleHoriz = 2;
  page.yCbCrSubSampleVert = 2;
  EXPECT_EQ(TIFGetBytesPerTileRow(&page), 18); // 3 units of 4 + 2 bytes
  page.yCbCrSubSampleHoriz = 0;
  EXPECT_EQ(TIFGetBytesPerTileRow(&page), 0);
  EXPECT_EQ(TIFGetBytesPerTileRow(nullptr), 0);
}

TEST(TileRowBytes, WrapsIn32Bits) {
  TifPage page = {};
  page.tileWidth = 0x10000000;
  page.totalBits = 24;
  // 24 x 2^28 = 0x180000000, of which 0x80000000 is left: as a signed number with 7 added, -2147483641 / 8.
  EXPECT_EQ(TIFGetBytesPerTileRow(&page), -268435455);
  page.planarConfiguration = 2;
  page.bitsPerSample[0] = 24;
  EXPECT_EQ(TIFGetBytesPerTileRow(&page), -268435456); // a shift rounds down
}

} // namespace
