// fltLoad of fax pages: what the page's fields make of the codec's records, resolutions, strips, tiles and marks.

#include <algorithm>

#include <gtest/gtest.h>

#include "fax/PlainFaxRows.h"
#include "faxload/LoadHost.h"
#include "support/KernelGuard.h"

namespace {

const std::string kEol = "000000000001";

enum class Scheme { kModifiedHuffman, kOneDimensional, kTwoDimensional, kT6 };

// Rows `from` to `to` of a page as one strip.
FileBytes Strip(const TestPage& page, Scheme scheme, int32_t from, int32_t to) {
  std::string bits;
  for (int32_t y = from; y < to; ++y) {
    const std::string above = y == from ? std::string(static_cast<size_t>(page.width), '0') : page.Row(y - 1);
    switch (scheme) {
    case Scheme::kModifiedHuffman:
      bits += PlainEncode1D(page.Row(y));
      bits += std::string((8 - bits.size() % 8) % 8, '0');
      break;
    case Scheme::kOneDimensional:
      bits += kEol;
      bits += PlainEncode1D(page.Row(y));
      break;
    case Scheme::kTwoDimensional:
      bits += kEol;
      bits += y == from ? "1" : "0";
      bits += y == from ? PlainEncode1D(page.Row(y)) : PlainEncode2D(page.Row(y), above);
      break;
    case Scheme::kT6:
      bits += PlainEncode2D(page.Row(y), above);
    }
  }
  return BytesOfBits(scheme == Scheme::kT6 ? bits + kEol + kEol : bits);
}

TiffDirectory FaxPage(const TestPage& page, uint16_t compression) {
  TiffDirectory directory;
  directory.Long(256, {static_cast<uint32_t>(page.width)})
      .Long(257, {static_cast<uint32_t>(page.height)})
      .Short(258, {1})
      .Short(259, {compression})
      .Short(262, {0});
  return directory;
}

FileBytes FileOf(TiffDirectory directory, FileOrder order, uint16_t version = 42) {
  TiffBuilder file(order, version);
  file.AddPage(directory.Sort());
  return file.Build();
}

const TestPage kPage = MakePage(PageKind::kText, 100, 40, 5);

class FaxPageLoad : public testing::TestWithParam<FileOrder> {
protected:
  FileBytes Build(TiffDirectory directory, uint16_t version = 42) const {
    return FileOf(std::move(directory), GetParam(), version);
  }
  const KernelGuard guard_;
};

INSTANTIATE_TEST_SUITE_P(Orders, FaxPageLoad, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const auto& test) { return test.param == FileOrder::kLittle ? "Little" : "Big"; });

TEST_P(FaxPageLoad, EveryCompression) {
  struct Case {
    uint16_t compression;
    Scheme scheme;
    uint32_t t4Options;
  };
  for (const Case& c :
       {Case{2, Scheme::kModifiedHuffman, 0}, Case{3, Scheme::kOneDimensional, 0}, Case{3, Scheme::kTwoDimensional, 1},
        Case{3, Scheme::kTwoDimensional, 5}, Case{4, Scheme::kT6, 0}}) {
    LoadHost host(Build(FaxPage(kPage, c.compression)
                            .Long(278, {40})
                            .Long(292, {c.t4Options})
                            .Strips({Strip(kPage, c.scheme, 0, 40)})),
                  100, 40);
    EXPECT_EQ(host.Load(), 1);
    EXPECT_TRUE(host.Holds(kPage)) << c.compression << " options " << c.t4Options;
    ASSERT_EQ(host.flags.size(), 40u);
    EXPECT_EQ(host.flags.front(), 3u | 4u);
    EXPECT_EQ(host.flags[1], 3u);
    EXPECT_EQ(host.flags.back(), 3u | 8u);
  }
}

// The same strip, taken as rows with tags and as rows without.
TEST_P(FaxPageLoad, BitZeroOfT4OptionsDecidesTheScheme) {
  const FileBytes strip = Strip(kPage, Scheme::kTwoDimensional, 0, 40);
  for (const uint32_t options : {0u, 2u, 4u, 6u, 1u, 3u, 7u}) {
    LoadHost host(Build(FaxPage(kPage, 3).Long(278, {40}).Long(292, {options}).Strips({strip})), 100, 40);
    EXPECT_EQ(host.Load(), 1);
    EXPECT_EQ(host.Holds(kPage), (options & 1) != 0) << options;
    EXPECT_EQ(host.rows.size(), 40u);
  }
}

TEST_P(FaxPageLoad, RowsPerStripOfNoneIsTheBitmapsHeight) {
  const FileBytes strip = Strip(kPage, Scheme::kT6, 0, 40);
  for (const uint32_t rows : {0u, 41u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    LoadHost host(Build(FaxPage(kPage, 4).Long(278, {rows}).Strips({strip})), 100, 40);
    EXPECT_EQ(host.Load(), 1);
    EXPECT_TRUE(host.Holds(kPage)) << rows;
  }
  LoadHost without(Build(FaxPage(kPage, 4).Strips({strip})), 100, 40);
  EXPECT_EQ(without.Load(), 1);
  EXPECT_TRUE(without.Holds(kPage));
  // A bitmap lower than the page takes its first rows, a higher one gets white behind them.
  LoadHost low(Build(FaxPage(kPage, 4).Strips({strip})), 100, 10);
  EXPECT_EQ(low.Load(), 1);
  ASSERT_EQ(low.rows.size(), 10u);
  EXPECT_EQ(low.Row(9), kPage.Row(9));
  LoadHost high(Build(FaxPage(kPage, 4).Strips({strip})), 100, 50);
  EXPECT_EQ(high.Load(), 1);
  ASSERT_EQ(high.rows.size(), 50u);
  EXPECT_EQ(high.Row(39), kPage.Row(39));
  EXPECT_EQ(high.Row(40), std::string(100, '0'));
}

TEST_P(FaxPageLoad, StripsAndTiles) {
  LoadHost strips(
      Build(FaxPage(kPage, 4).Long(278, {15}).Strips(
          {Strip(kPage, Scheme::kT6, 0, 15), Strip(kPage, Scheme::kT6, 15, 30), Strip(kPage, Scheme::kT6, 30, 40)})),
      100, 40);
  EXPECT_EQ(strips.Load(), 1);
  EXPECT_TRUE(strips.Holds(kPage));

  std::vector<FileBytes> tiles;
  for (int32_t top = 0; top < 40; top += 32) {
    for (int32_t left = 0; left < 100; left += 64) {
      TestPage tile(64, 32);
      for (int32_t y = 0; y < std::min(32, 40 - top); ++y) {
        for (int32_t x = 0; x < std::min(64, 100 - left); ++x) {
          tile.Set(x, y, kPage.At(left + x, top + y));
        }
      }
      tiles.push_back(Strip(tile, Scheme::kT6, 0, 32));
    }
  }
  LoadHost tiled(Build(FaxPage(kPage, 4).Long(322, {64}).Long(323, {32}).Tiles(tiles)), 100, 40);
  EXPECT_EQ(tiled.Load(), 1);
  EXPECT_TRUE(tiled.Holds(kPage));
}

TEST_P(FaxPageLoad, FillOrder2) {
  FileBytes strip = Strip(kPage, Scheme::kT6, 0, 40);
  for (uint8_t& byte : strip) {
    uint8_t reversed = 0;
    for (int i = 0; i < 8; ++i) {
      reversed = static_cast<uint8_t>(reversed << 1 | (byte >> i & 1));
    }
    byte = reversed;
  }
  LoadHost host(Build(FaxPage(kPage, 4).Short(266, {2}).Strips({strip})), 100, 40);
  EXPECT_EQ(host.Load(), 1);
  EXPECT_TRUE(host.Holds(kPage));
}

TEST_P(FaxPageLoad, ResolutionsOfThePageOrOfTheOptions) {
  const FileBytes strip = Strip(kPage, Scheme::kT6, 0, 40);
  LoadHost own(Build(FaxPage(kPage, 4).Rational(282, {{2044, 10}}).Rational(283, {{1965, 10}}).Strips({strip})), 100,
               40);
  own.options.defaultXResolution = 72;
  own.options.defaultYResolution = 73;
  EXPECT_EQ(own.Load(), 1);
  EXPECT_EQ(own.bitmap.xResolution, 204);
  EXPECT_EQ(own.bitmap.yResolution, 197); // 196.5 is rounded up

  LoadHost none(Build(FaxPage(kPage, 4).Strips({strip})), 100, 40);
  none.options.defaultXResolution = 72;
  none.options.defaultYResolution = 73;
  EXPECT_EQ(none.Load(), 1);
  EXPECT_EQ(none.bitmap.xResolution, 72);
  EXPECT_EQ(none.bitmap.yResolution, 73);

  LoadHost half(Build(FaxPage(kPage, 4).Rational(283, {{98, 1}}).Strips({strip})), 100, 40);
  half.options.defaultXResolution = 72;
  EXPECT_EQ(half.Load(), 1);
  EXPECT_EQ(half.bitmap.xResolution, 72);
  EXPECT_EQ(half.bitmap.yResolution, 98);

  none.request.fileOptions = nullptr; // reads as zeros
  EXPECT_EQ(none.Load(), 1);
  EXPECT_EQ(none.bitmap.xResolution, 0);
}

TEST_P(FaxPageLoad, ViewComesThroughTheCodec) {
  const FileBytes strip = Strip(kPage, Scheme::kModifiedHuffman, 0, 40);
  for (uint16_t orientation = 1; orientation <= 8; ++orientation) {
    LoadHost host(Build(FaxPage(kPage, 2).Short(274, {orientation}).Strips({strip})), 100, 40);
    EXPECT_EQ(host.Load(), 1);
    EXPECT_TRUE(host.Holds(kPage));
    const uint32_t loaded = host.bitmap.viewPerspective;
    // The same page uncompressed gets its view from the driver alone.
    FileBytes rows = kPage.rows;
    LoadHost plain(Build(FaxPage(kPage, 1).Short(274, {orientation}).Strips({rows})), 100, 40);
    EXPECT_EQ(plain.Load(), 1);
    EXPECT_EQ(loaded, plain.bitmap.viewPerspective) << orientation;
  }
}

TEST_P(FaxPageLoad, RefusalOfTheSink) {
  LoadHost host(Build(FaxPage(kPage, 4).Strips({Strip(kPage, Scheme::kT6, 0, 40)})), 100, 40);
  host.refuseRow = 20;
  EXPECT_EQ(host.Load(), -77);
  EXPECT_EQ(host.rows.size(), 20u);
}

TEST_P(FaxPageLoad, DamagedPageLoads) {
  FileBytes strip = Strip(kPage, Scheme::kOneDimensional, 0, 40);
  std::fill_n(strip.begin() + static_cast<ptrdiff_t>(strip.size() / 2), 5, uint8_t{0x0F});
  LoadHost host(Build(FaxPage(kPage, 3).Strips({strip})), 100, 40);
  EXPECT_EQ(host.Load(), 1);
  EXPECT_EQ(host.rows.size(), 40u);
  EXPECT_EQ(host.Row(0), kPage.Row(0));
}

TEST_P(FaxPageLoad, FileCutOffWithinTheStrip) {
  const TestPage noise = MakePage(PageKind::kNoise, 100, 40, 5);
  TiffBuilder builder(GetParam());
  builder.AddPage(FaxPage(noise, 4).Strips({Strip(noise, Scheme::kT6, 0, 40)}).Sort());
  FileBytes file = builder.Build();
  file.resize(file.size() - 300);
  LoadHost host(file, 100, 40);
  EXPECT_EQ(host.Load(), 1);
  ASSERT_EQ(host.rows.size(), 40u);
  EXPECT_EQ(host.Row(0), noise.Row(0));
  EXPECT_EQ(host.Row(39), std::string(100, '0'));
}

TEST_P(FaxPageLoad, WidthOfTheBitmapMustBeThePages) {
  LoadHost host(Build(FaxPage(kPage, 4).Strips({Strip(kPage, Scheme::kT6, 0, 40)})), 99, 40);
  EXPECT_EQ(host.Load(), kResultBitmapMismatch);
}

// A variant file: the order of the strips in the file, and which of them are stored as they are. The codes are 16-bit
// values looked up as bytes, so that only the strip at place 1 of the file is meant here.
TEST_P(FaxPageLoad, VariantFileWithStoredStrips) {
  const TestPage page = MakePage(PageKind::kNoise, 64, 40, 5);
  const size_t stripBytes = 10 * page.RowBytes();
  std::vector<FileBytes> inImageOrder;
  for (int32_t i = 0; i < 4; ++i) {
    inImageOrder.push_back(Strip(page, Scheme::kT6, 10 * i, 10 * i + 10));
  }
  inImageOrder[2].assign(page.rows.begin() + static_cast<ptrdiff_t>(2 * stripBytes),
                         page.rows.begin() + static_cast<ptrdiff_t>(3 * stripBytes));
  // In the file: strips 3, 2, 0, 1.
  const std::vector<FileBytes> inFileOrder = {inImageOrder[3], inImageOrder[2], inImageOrder[0], inImageOrder[1]};
  TiffDirectory directory;
  directory.Long(256, {64}).Long(257, {40}).Short(258, {1}).Short(262, {0}).Long(278, {10}).Strips(inFileOrder);
  directory.Short(33466, {0x0104, 0x0404, 4, 4}).Short(33467, {2, 3, 1, 0});
  LoadHost host(Build(directory, 12622), 64, 40);
  EXPECT_EQ(host.Load(), 1);
  EXPECT_TRUE(host.Holds(page));

  // Without the order the codes are no marks, and the stored strip is taken for a stream.
  TiffDirectory unordered;
  unordered.Long(256, {64}).Long(257, {40}).Short(258, {1}).Short(262, {0}).Long(278, {10}).Strips(inImageOrder);
  unordered.Short(33466, {0x0104, 0x0101, 0x0101, 0x0101});
  LoadHost other(Build(unordered, 12622), 64, 40);
  EXPECT_EQ(other.Load(), 1);
  ASSERT_EQ(other.rows.size(), 40u);
  EXPECT_EQ(other.Row(15), page.Row(15));
  EXPECT_NE(other.Row(25), page.Row(25));
  EXPECT_EQ(other.Row(35), page.Row(35));
}

// Codes met behind the order are codes again, and strips that are added behind it have no marks.
TEST_P(FaxPageLoad, MarksOfFilesOutOfOrder) {
  const TestPage page = MakePage(PageKind::kText, 64, 40, 5);
  std::vector<FileBytes> strips;
  for (int32_t i = 0; i < 4; ++i) {
    strips.push_back(Strip(page, Scheme::kT6, 10 * i, 10 * i + 10));
  }
  TiffDirectory directory;
  directory.Long(256, {64}).Long(257, {40}).Short(258, {1}).Short(262, {0}).Long(278, {10}).Strips(strips);
  TiffDirectory codesLast = directory;
  codesLast.Short(33466, {4, 4, 4, 4}).Short(33467, {0, 1, 2, 3}).Short(33466, {0x0101, 0x0101});
  TiffBuilder file(GetParam(), 12622);
  file.AddPage(codesLast);
  LoadHost host(file.Build(), 64, 40);
  EXPECT_EQ(host.Load(), 1);
  EXPECT_TRUE(host.Holds(page));

  TiffDirectory stripsLast;
  stripsLast.Long(256, {64}).Long(257, {40}).Short(258, {1}).Short(262, {0}).Long(278, {10});
  stripsLast.Strips({strips[0], strips[1], strips[2]});
  stripsLast.Short(33466, {0x0101, 0x0101, 0x0101}).Short(33467, {0, 1, 2}).Strips(strips);
  TiffBuilder longer(GetParam(), 12622);
  longer.AddPage(stripsLast);
  LoadHost more(longer.Build(), 64, 40);
  EXPECT_EQ(more.Load(), 1);
  EXPECT_TRUE(more.Holds(page));
}

} // namespace
