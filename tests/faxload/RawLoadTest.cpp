// fltLoad of the formats without TIFF structure: raw fax data (162) and raw rows (153).

#include <gtest/gtest.h>

#include "fax/PlainFaxRows.h"
#include "faxload/LoadHost.h"
#include "support/KernelGuard.h"

namespace {

const TestPage kPage = MakePage(PageKind::kText, 100, 40, 5);

// Modified Huffman: rows begin on bytes.
FileBytes RawFax(const TestPage& page) {
  std::string bits;
  for (int32_t y = 0; y < page.height; ++y) {
    bits += PlainEncode1D(page.Row(y));
    bits += std::string((8 - bits.size() % 8) % 8, '0');
  }
  return BytesOfBits(bits);
}

// A group 3 stream as machines send it.
FileBytes RawGroup3(const TestPage& page) {
  std::string bits;
  for (int32_t y = 0; y < page.height; ++y) {
    bits += "000000000001";
    bits += PlainEncode1D(page.Row(y));
  }
  for (int i = 0; i < 6; ++i) {
    bits += "000000000001";
  }
  return BytesOfBits(bits);
}

void ExpectPalette(BitmapHandle* bitmap, const std::vector<int>& grays) {
  uint32_t count = 0;
  const VxColor* palette = krnBitmapPalette(bitmap, &count);
  ASSERT_NE(palette, nullptr);
  ASSERT_EQ(count, grays.size());
  for (size_t i = 0; i < grays.size(); ++i) {
    EXPECT_EQ(palette[i].blue, grays[i]) << i;
    EXPECT_EQ(palette[i].green, grays[i]) << i;
    EXPECT_EQ(palette[i].red, grays[i]) << i;
  }
}

class RawFaxLoad : public testing::Test {
protected:
  RawFaxLoad() : host_(RawFax(kPage), 100, 40) { host_.info.fileFormat = kFormatRawFax; }
  const KernelGuard guard_;
  LoadHost host_;
};

TEST_F(RawFaxLoad, RowsAndDescription) {
  host_.request.rawXResolution = 204;
  host_.request.rawYResolution = 98;
  host_.options.defaultXResolution = 1;
  EXPECT_EQ(host_.Load(), 1);
  EXPECT_TRUE(host_.Holds(kPage));
  EXPECT_EQ(host_.bitmap.xResolution, 204);
  EXPECT_EQ(host_.bitmap.yResolution, 98);
  EXPECT_EQ(host_.bitmap.viewPerspective, 4u);
  EXPECT_EQ(host_.bitmap.colorsUsed, 2u);
}

TEST_F(RawFaxLoad, ResolutionOfNoneIsTheOptions) {
  host_.options.defaultXResolution = 204;
  host_.options.defaultYResolution = 196;
  EXPECT_EQ(host_.Load(), 1);
  EXPECT_EQ(host_.bitmap.xResolution, 204);
  EXPECT_EQ(host_.bitmap.yResolution, 196);
}

TEST_F(RawFaxLoad, LastViewBitWins) {
  struct Case {
    uint32_t flags;
    uint32_t view;
  };
  for (const Case& c : {Case{0, 4}, Case{0x1, 1}, Case{0x10, 6}, Case{0x80, 3}, Case{0x20, 8}, Case{0x100, 5},
                        Case{0x200, 2}, Case{0x400, 7}, Case{0x401, 7}, Case{0x11, 6}, Case{0xA0, 8}, Case{0x321, 2}}) {
    host_.request.rawFlags = c.flags;
    EXPECT_EQ(host_.Load(), 1);
    EXPECT_EQ(host_.bitmap.viewPerspective, c.view) << c.flags;
  }
}

TEST_F(RawFaxLoad, OtherDepthIsRefusedBeforeThePaletteIsSet) {
  LoadHost host(RawFax(kPage), 100, 40, 8);
  host.info.fileFormat = kFormatRawFax;
  host.bitmap.colorsUsed = 77;
  EXPECT_EQ(host.Load(), kResultDepthNotSupported);
  EXPECT_EQ(host.bitmap.colorsUsed, 77u);
  EXPECT_TRUE(host.rows.empty());
}

TEST_F(RawFaxLoad, PaletteOfTheRequestOrARamp) {
  BitmapHandle bitmap;
  ASSERT_EQ(krnBitmapCreate(&bitmap, kBitmapHandleSize, 1, 100, 40, 1, 0, 0, 1, 0, 0), 1);
  host_.bitmap = bitmap; // with pixels, so that the kernel keeps the palette
  EXPECT_EQ(host_.Load(), 1);
  ExpectPalette(&host_.bitmap, {255, 0});
  host_.request.rawFlags = kRawBlackFirst;
  EXPECT_EQ(host_.Load(), 1);
  ExpectPalette(&host_.bitmap, {0, 255});
  EXPECT_TRUE(host_.Holds(kPage)); // the palette alone carries the photometric value
  host_.request.rawFlags = kRawPalette;
  host_.request.rawPalette[0] = VxColor{9, 9, 9, 0};
  host_.request.rawPalette[1] = VxColor{7, 7, 7, 0};
  host_.bitmap.colorsUsed = 2;
  EXPECT_EQ(host_.Load(), 1);
  ExpectPalette(&host_.bitmap, {9, 7});
  krnBitmapFree(&host_.bitmap);
}

TEST_F(RawFaxLoad, FillOrder2) {
  FileBytes bytes = RawFax(kPage);
  for (uint8_t& byte : bytes) {
    unsigned reversed = 0;
    for (int i = 0; i < 8; ++i) {
      reversed |= (byte >> i & 1u) << (7 - i);
    }
    byte = static_cast<uint8_t>(reversed);
  }
  LoadHost host(bytes, 100, 40);
  host.info.fileFormat = kFormatRawFax;
  host.request.rawFlags = kRawFillOrder2;
  EXPECT_EQ(host.Load(), 1);
  EXPECT_TRUE(host.Holds(kPage));
}

TEST_F(RawFaxLoad, Group3StreamWithEndOfLines) {
  LoadHost host(RawGroup3(kPage), 100, 40);
  host.info.fileFormat = kFormatRawFax;
  EXPECT_EQ(host.Load(), 1);
  EXPECT_TRUE(host.Holds(kPage));
}

TEST_F(RawFaxLoad, HeightThatNobodyKnows) {
  for (const FileBytes& bytes : {RawFax(kPage), RawGroup3(kPage)}) {
    LoadHost host(bytes, 100, -1);
    host.info.fileFormat = kFormatRawFax;
    EXPECT_EQ(host.Load(), 1);
    EXPECT_TRUE(host.Holds(kPage));
    EXPECT_EQ(host.flags.back(), 3u | 8u);
  }
}

TEST_F(RawFaxLoad, WithoutBitmapOrSink) {
  host_.request.rowCallback = nullptr;
  EXPECT_EQ(host_.Load(), kResultInvalidParameter);
  host_.request.bitmap = nullptr;
  EXPECT_EQ(host_.Load(), kResultNoBitmap);
}

TEST_F(RawFaxLoad, EmptyFileIsWhite) {
  LoadHost host({}, 100, 3);
  host.info.fileFormat = kFormatRawFax;
  EXPECT_EQ(host.Load(), 1);
  ASSERT_EQ(host.rows.size(), 3u);
  EXPECT_EQ(host.Row(2), std::string(100, '0'));
}

FileBytes CountingBytes(size_t count) {
  FileBytes bytes(count);
  for (size_t i = 0; i < count; ++i) {
    bytes[i] = static_cast<uint8_t>(i * 7 + 1);
  }
  return bytes;
}

struct RawRowsHost : LoadHost {
  RawRowsHost(const FileBytes& bytes, int32_t width, int32_t height, int32_t depth)
      : LoadHost(bytes, width, height, depth) {
    info.fileFormat = kFormatRawRows;
  }
};

TEST(RawRowsLoad, RowsFromAnOffset) {
  const KernelGuard guard;
  const FileBytes bytes = CountingBytes(11 + 3 * 15);
  RawRowsHost host(bytes, 5, 3, 24);
  host.request.rawDataOffset = 11;
  host.request.rawXResolution = 300;
  host.request.rawYResolution = 400;
  EXPECT_EQ(host.Load(), 1);
  ASSERT_EQ(host.rows.size(), 3u);
  for (size_t i = 0; i < 3; ++i) {
    const auto begin = bytes.begin() + 11 + static_cast<ptrdiff_t>(i) * 15;
    EXPECT_EQ(host.rows[i], FileBytes(begin, begin + 15));
  }
  EXPECT_EQ(host.flags, (std::vector<uint32_t>{3 | 4, 3, 3 | 8}));
  EXPECT_EQ(host.bitmap.xResolution, 300);
  EXPECT_EQ(host.bitmap.yResolution, 400);
  EXPECT_EQ(host.bitmap.colorsUsed, 0u); // above 8 bits there is no palette
}

TEST(RawRowsLoad, PaddedRows) {
  const FileBytes bytes = CountingBytes(3 * 16);
  RawRowsHost host(bytes, 5, 3, 24);
  host.request.rawFlags = kRawRowsPadded;
  EXPECT_EQ(host.Load(), 1);
  EXPECT_EQ(host.rows[2], FileBytes(bytes.begin() + 32, bytes.begin() + 47));
  RawRowsHost bilevel(bytes, 9, 3, 1); // 2 bytes, padded to 4
  bilevel.request.rawFlags = kRawRowsPadded;
  EXPECT_EQ(bilevel.Load(), 1);
  EXPECT_EQ(bilevel.rows[2], FileBytes(bytes.begin() + 8, bytes.begin() + 10));
}

TEST(RawRowsLoad, OneRowHasBothFlags) {
  RawRowsHost host(CountingBytes(4), 4, 1, 8);
  EXPECT_EQ(host.Load(), 1);
  EXPECT_EQ(host.flags, std::vector<uint32_t>{3 | 4 | 8});
}

TEST(RawRowsLoad, FirstViewBitWins) {
  struct Case {
    uint32_t flags;
    uint32_t view;
  };
  for (const Case& c :
       {Case{0, 4}, Case{0x1, 1}, Case{0x10, 6}, Case{0x80, 3}, Case{0x20, 8}, Case{0x100, 5}, Case{0x200, 2},
        Case{0x400, 7}, Case{0x401, 1}, Case{0x110, 6}, Case{0xA0, 3}, Case{0x320, 8}}) {
    RawRowsHost host(CountingBytes(4), 4, 1, 8);
    host.request.rawFlags = c.flags;
    EXPECT_EQ(host.Load(), 1);
    EXPECT_EQ(host.bitmap.viewPerspective, c.view) << c.flags;
  }
}

TEST(RawRowsLoad, ShortFileFailsBehindTheRowsThatItHas) {
  const KernelGuard guard;
  RawRowsHost host(CountingBytes(39), 10, 4, 8);
  EXPECT_EQ(host.Load(), kResultReadFailed);
  EXPECT_EQ(host.rows.size(), 3u);
  EXPECT_EQ(host.flags.back(), 3u);
  host.request.rawDataOffset = 1000;
  EXPECT_EQ(host.Load(), kResultReadFailed);
  EXPECT_TRUE(host.rows.empty());
}

TEST(RawRowsLoad, PaletteOfEachDepth) {
  for (int32_t depth = 1; depth <= 8; ++depth) {
    for (const bool blackFirst : {false, true}) {
      RawRowsHost host(CountingBytes(64), 4, 2, depth);
      ASSERT_EQ(krnBitmapCreate(&host.bitmap, kBitmapHandleSize, 1, 4, 2, depth, 0, 0, 1, 0, 0), 1);
      host.request.rawFlags = blackFirst ? uint32_t{kRawBlackFirst} : 0u;
      EXPECT_EQ(host.Load(), 1);
      const int entries = 1 << depth;
      std::vector<int> grays;
      for (int i = 0; i < entries; ++i) {
        const int gray = ((entries - 1) / 2 + 255 * i) / (entries - 1);
        grays.push_back(blackFirst ? gray : 255 - gray);
      }
      EXPECT_EQ(host.bitmap.colorsUsed, static_cast<uint32_t>(entries));
      ExpectPalette(&host.bitmap, grays);
      krnBitmapFree(&host.bitmap);
    }
  }
}

TEST(RawRowsLoad, RefusalOfTheSink) {
  const KernelGuard guard;
  RawRowsHost host(CountingBytes(40), 10, 4, 8);
  host.refuseRow = 2;
  EXPECT_EQ(host.Load(), -77);
  EXPECT_EQ(host.rows.size(), 2u);
}

TEST(RawRowsLoad, NoRowsForNoHeight) {
  const KernelGuard guard;
  for (const int32_t height : {0, -1}) {
    RawRowsHost host(CountingBytes(40), 10, height, 8);
    EXPECT_EQ(host.Load(), 1);
    EXPECT_TRUE(host.rows.empty());
  }
}

TEST(RawRowsLoad, AbsurdSizes) {
  const KernelGuard guard;
  RawRowsHost wide(CountingBytes(40), 10, 1, 24);
  wide.bitmap.width = 0x7FFFFFFF;
  wide.bitmap.bitsPerPixel = 0x7FFFFFFF;
  EXPECT_EQ(wide.Load(), kResultNoMemory);
  RawRowsHost negative(CountingBytes(40), 10, 1, 8);
  negative.bitmap.bitsPerPixel = -3;
  negative.refuseRow = 0;
  EXPECT_EQ(negative.Load(), -77); // a row of no bytes is there
}

TEST(RawRowsLoad, WithoutBitmapOrSink) {
  RawRowsHost host(CountingBytes(40), 10, 4, 8);
  host.request.rowCallback = nullptr;
  EXPECT_EQ(host.Load(), kResultInvalidParameter);
  host.request.bitmap = nullptr;
  EXPECT_EQ(host.Load(), kResultNoBitmap);
}

TEST(RawRowsLoad, FailedAllocation) {
  const KernelGuard guard;
  RawRowsHost host(CountingBytes(40), 10, 4, 8);
  uint64_t calls = 0;
  {
    const AllocFaults counter(0);
    EXPECT_EQ(host.Load(), 1);
    calls = counter.Calls();
  }
  const AllocFaults faults(calls); // the row is the last block
  EXPECT_EQ(host.Load(), kResultNoMemory);
}

} // namespace
