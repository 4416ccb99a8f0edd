// Whole files of small pages: every kind of row in strips and tiles, plain and compressed, in both byte orders.

#include <gtest/gtest.h>

#include "Tif_lzw/PlainLzw.h"
#include "Tif_lzw/WrittenRows.h"
#include "save/SaveFixture.h"
#include "support/KernelGuard.h"

namespace {

constexpr FileOrder kOrders[] = {FileOrder::kLittle, FileOrder::kBig};

// Saves into a new file and compares.
void ExpectFile(int32_t format, int32_t bits, RowService* service, FileOrder order, const FileBytes& expected,
                uint32_t optionFlags = 0, uint32_t tileWidth = 0, uint32_t tileHeight = 0) {
  KernelGuard guard;
  TempFile file;
  SaveJob job(format, bits, service, file.Name());
  job.options.flags = optionFlags | (order == FileOrder::kBig ? kSaveBigEndian : 0);
  job.options.tileWidth = tileWidth;
  job.options.tileHeight = tileHeight;
  EXPECT_EQ(kResultOk, job.Run());
  EXPECT_EQ(expected, file.Read()) << "order " << static_cast<int>(order);
  EXPECT_EQ(1u, service->starts);
  EXPECT_EQ(1u, service->ends);
  service->starts = service->ends = 0;
}

RowService GrayRows(int32_t width, int32_t height, int32_t bits, std::vector<FileBytes> rows) {
  RowService service(width, height, bits, std::move(rows));
  service.bitmap.order = service.descriptor.order = kOrderGray;
  return service;
}

RowService ColorRows(int32_t width, int32_t height, int32_t bits, std::vector<FileBytes> rows) {
  RowService service(width, height, bits, std::move(rows));
  service.bitmap.order = service.descriptor.order = kOrderBlueFirst;
  return service;
}

FileBytes Lzw(const FileBytes& data, bool ratioCheck = true) {
  PlainEncoder encoder;
  encoder.ratioCheck = ratioCheck;
  encoder.Encode(data.data(), data.size());
  encoder.End();
  return encoder.bytes;
}

TEST(SavedStrips, Gray8InOneStrip) {
  RowService service = GrayRows(3, 2, 8, {{1, 2, 3}, {4, 5, 6}});
  const WrittenPage page = Page({3, 2, {8}, 1, 1, 2}, {{1, 2, 3, 4, 5, 6}});
  for (FileOrder order : kOrders) {
    ExpectFile(3, 8, &service, order, NewFile(order, page), kSaveDropGrayPalette);
  }
}

TEST(SavedStrips, ServiceMayDeliverWholeLinesOfItsOwn) {
  RowService service = GrayRows(3, 2, 8, {{1, 2, 3}, {4, 5, 6}});
  service.descriptor.bytesPerLine = 4096;
  service.fillsPitch = true;
  ExpectFile(3, 8, &service, FileOrder::kLittle,
             NewFile(FileOrder::kLittle, Page({3, 2, {8}, 1, 1, 2}, {{1, 2, 3, 4, 5, 6}})), kSaveDropGrayPalette);
}

TEST(SavedStrips, PaletteOfFourColours) {
  RowService service(5, 2, 2, {{0x1B, 0x40}, {0xE4, 0x80}});
  service.palette = {{1, 2, 3, 0}, {4, 5, 6, 0}, {7, 8, 9, 0}, {10, 11, 12, 0}};
  PageForm form = {5, 2, {2}, 1, 3, 2};
  form.extra = {Shorts(320, {0x300, 0x600, 0x900, 0xC00, 0x200, 0x500, 0x800, 0xB00, 0x100, 0x400, 0x700, 0xA00})};
  const WrittenPage page = Page(form, {{0x1B, 0x40, 0xE4, 0x80}});
  for (FileOrder order : kOrders) {
    ExpectFile(3, 2, &service, order, NewFile(order, page));
  }
}

TEST(SavedStrips, BilevelByItsTwoColours) {
  for (bool whiteFirst : {false, true}) {
    RowService service(10, 2, 1, {{0xAA, 0x40}, {0x0F, 0x80}});
    const VxColor white = {255, 255, 255, 0};
    const VxColor black = {0, 0, 0, 0};
    service.palette = whiteFirst ? std::vector<VxColor>{white, black} : std::vector<VxColor>{black, white};
    const WrittenPage page = Page({10, 2, {1}, 1, whiteFirst ? 0u : 1u, 2}, {{0xAA, 0x40, 0x0F, 0x80}});
    for (FileOrder order : kOrders) {
      ExpectFile(3, 1, &service, order, NewFile(order, page));
    }
  }
}

TEST(SavedStrips, FillOrderTwoReversesUncompressedBilevelRows) {
  RowService service(10, 2, 1, {{0xA0, 0x40}, {0x0F, 0x80}});
  service.palette = {{0, 0, 0, 0}, {255, 255, 255, 0}};
  PageForm form = {10, 2, {1}, 1, 1, 2};
  form.extra = {Shorts(266, {2})};
  const WrittenPage page = Page(form, {{0x05, 0x02, 0xF0, 0x01}});
  for (FileOrder order : kOrders) {
    ExpectFile(3, 1, &service, order, NewFile(order, page), kSaveFillOrder2);
  }
}

TEST(SavedStrips, FillOrderTwoLeavesCompressedRowsAndOtherDepthsAlone) {
  RowService bilevel(10, 2, 1, {{0xA0, 0x40}, {0x0F, 0x80}});
  bilevel.palette = {{0, 0, 0, 0}, {255, 255, 255, 0}};
  const FileBytes data = {0xA0, 0x40, 0x0F, 0x80};
  ExpectFile(17, 1, &bilevel, FileOrder::kLittle, NewFile(FileOrder::kLittle, Page({10, 2, {1}, 5, 1, 2}, {Lzw(data)})),
             kSaveFillOrder2);
  ExpectFile(87, 1, &bilevel, FileOrder::kLittle,
             NewFile(FileOrder::kLittle, Page({10, 2, {1}, 32773, 1, 2}, {{1, 0xA0, 0x40, 1, 0x0F, 0x80}})),
             kSaveFillOrder2);
  RowService gray = GrayRows(2, 1, 8, {{0xA0, 0x40}});
  ExpectFile(3, 8, &gray, FileOrder::kLittle, NewFile(FileOrder::kLittle, Page({2, 1, {8}, 1, 1, 1}, {{0xA0, 0x40}})),
             kSaveFillOrder2 | kSaveDropGrayPalette);
}

TEST(SavedStrips, Gray16IsSwappedInABigEndianFile) {
  RowService service = GrayRows(2, 2, 16, {{0x34, 0x12, 0x78, 0x56}, {0x01, 0x00, 0xFF, 0x7F}});
  ExpectFile(3, 16, &service, FileOrder::kLittle,
             NewFile(FileOrder::kLittle, Page({2, 2, {16}, 1, 1, 2}, {{0x34, 0x12, 0x78, 0x56, 1, 0, 0xFF, 0x7F}})));
  ExpectFile(3, 16, &service, FileOrder::kBig,
             NewFile(FileOrder::kBig, Page({2, 2, {16}, 1, 1, 2}, {{0x12, 0x34, 0x56, 0x78, 0, 1, 0x7F, 0xFF}})));
}

TEST(SavedStrips, Gray16UnderLzwAndPackBitsStaysLittleEndianInABigEndianFile) {
  RowService service = GrayRows(2, 2, 16, {{0x34, 0x12, 0x78, 0x56}, {0x01, 0x00, 0xFF, 0x7F}});
  const FileBytes data = {0x34, 0x12, 0x78, 0x56, 0x01, 0x00, 0xFF, 0x7F};
  ExpectFile(17, 16, &service, FileOrder::kBig, NewFile(FileOrder::kBig, Page({2, 2, {16}, 5, 1, 2}, {Lzw(data)})));
  ExpectFile(
      87, 16, &service, FileOrder::kBig,
      NewFile(FileOrder::kBig, Page({2, 2, {16}, 32773, 1, 2}, {{3, 0x34, 0x12, 0x78, 0x56, 3, 1, 0, 0xFF, 0x7F}})));
}

TEST(SavedStrips, Colour16IsNeverSwapped) {
  RowService service = ColorRows(2, 1, 16, {{0x34, 0x12, 0x78, 0x56}});
  for (FileOrder order : kOrders) {
    ExpectFile(3, 16, &service, order, NewFile(order, Page({2, 1, {16}, 1, 2, 1}, {{0x34, 0x12, 0x78, 0x56}})));
  }
}

TEST(SavedStrips, Rgb24) {
  RowService service = ColorRows(2, 2, 24, {{1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12}});
  const WrittenPage page = Page({2, 2, {8, 8, 8}, 1, 2, 2}, {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}});
  for (FileOrder order : kOrders) {
    ExpectFile(3, 24, &service, order, NewFile(order, page));
  }
}

TEST(SavedStrips, Rgb32HasAnExtraSample) {
  RowService service = ColorRows(2, 1, 32, {{1, 2, 3, 4, 5, 6, 7, 8}});
  PageForm form = {2, 1, {8, 8, 8, 8}, 1, 2, 1};
  form.extra = {Shorts(338, {0})};
  const WrittenPage page = Page(form, {{1, 2, 3, 4, 5, 6, 7, 8}});
  for (FileOrder order : kOrders) {
    ExpectFile(3, 32, &service, order, NewFile(order, page));
  }
}

TEST(SavedStrips, Gray32IsSwappedInABigEndianFile) {
  RowService service = GrayRows(2, 1, 32, {{1, 2, 3, 4, 5, 6, 7, 8}});
  ExpectFile(3, 32, &service, FileOrder::kLittle,
             NewFile(FileOrder::kLittle, Page({2, 1, {32}, 1, 1, 1}, {{1, 2, 3, 4, 5, 6, 7, 8}})));
  ExpectFile(3, 32, &service, FileOrder::kBig,
             NewFile(FileOrder::kBig, Page({2, 1, {32}, 1, 1, 1}, {{4, 3, 2, 1, 8, 7, 6, 5}})));
}

TEST(SavedStrips, DeepColourIsNotSwappedAsLongAsItIsRgb) {
  RowService color48 = ColorRows(1, 1, 48, {{1, 2, 3, 4, 5, 6}});
  RowService color64 = ColorRows(1, 1, 64, {{1, 2, 3, 4, 5, 6, 7, 8}});
  PageForm form64 = {1, 1, {16, 16, 16, 16}, 1, 2, 1};
  form64.extra = {Shorts(338, {0})};
  for (FileOrder order : kOrders) {
    ExpectFile(3, 48, &color48, order, NewFile(order, Page({1, 1, {16, 16, 16}, 1, 2, 1}, {{1, 2, 3, 4, 5, 6}})));
    ExpectFile(3, 64, &color64, order, NewFile(order, Page(form64, {{1, 2, 3, 4, 5, 6, 7, 8}})));
  }
}

TEST(SavedStrips, DeepColourUnderAForcedPhotometricIsSwapped) {
  KernelGuard guard;
  RowService service = ColorRows(1, 1, 48, {{1, 2, 3, 4, 5, 6}});
  TempFile file;
  SaveJob job(3, 48, &service, file.Name());
  job.options.flags = kSaveBigEndian | kSaveForcePhotometric;
  job.options.photometric = 8;
  ASSERT_EQ(kResultOk, job.Run());
  EXPECT_EQ(NewFile(FileOrder::kBig, Page({1, 1, {16, 16, 16}, 1, 8, 1}, {{2, 1, 4, 3, 6, 5}})), file.Read());
}

TEST(SavedStrips, TwelveBitsArePackedHighBitsFirst) {
  // Three samples, 0x123, 0x456 and 0xABC: rows of (12 * 3 + 7) / 8 bytes.
  RowService service = GrayRows(3, 2, 12, {{0x23, 0x61, 0x45, 0xBC, 0x0A}, {0xFF, 0x0F, 0x00, 0x01, 0x00}});
  const WrittenPage page = Page({3, 2, {12}, 1, 1, 2}, {{0x12, 0x34, 0x56, 0xAB, 0xC0, 0xFF, 0xF0, 0x00, 0x00, 0x10}});
  for (FileOrder order : kOrders) {
    ExpectFile(3, 12, &service, order, NewFile(order, page));
  }
}

TEST(SavedStrips, TwelveBitsUnderLzwWithThePredictor) {
  // Differences before packing: 0x456 - 0x123 = 0x333, 0xABC - 0x456 = 0x666.
  RowService service = GrayRows(3, 1, 12, {{0x23, 0x61, 0x45, 0xBC, 0x0A}});
  PageForm form = {3, 1, {12}, 5, 1, 1};
  form.extra = {Shorts(317, {2})};
  const WrittenPage page = Page(form, {Lzw({0x12, 0x33, 0x33, 0x66, 0x60})});
  ExpectFile(17, 12, &service, FileOrder::kLittle, NewFile(FileOrder::kLittle, page), kSavePredictor);
}

TEST(SavedStrips, SeveralStripsHaveTablesBehindTheValues) {
  // 3000 pixels of 24 bits: 9000 bytes, one row to a strip.
  std::vector<FileBytes> rows;
  for (uint8_t row = 0; row < 3; ++row) {
    rows.push_back(FileBytes(9000, static_cast<uint8_t>(row + 1)));
  }
  RowService service = ColorRows(3000, 3, 24, rows);
  for (FileOrder order : kOrders) {
    ExpectFile(3, 24, &service, order, NewFile(order, Page({3000, 3, {8, 8, 8}, 1, 2, 1}, rows)));
  }
}

TEST(SavedStrips, LastStripOfAnUncompressedPageIsShort) {
  // 8192 / 3000 = 2 rows to a strip.
  std::vector<FileBytes> rows;
  for (uint8_t row = 0; row < 5; ++row) {
    rows.push_back(FileBytes(3000, static_cast<uint8_t>(row + 1)));
  }
  RowService service = GrayRows(3000, 5, 8, rows);
  const WrittenPage page = Page({3000, 5, {8}, 1, 1, 2}, {Join({rows[0], rows[1]}), Join({rows[2], rows[3]}), rows[4]});
  for (FileOrder order : kOrders) {
    ExpectFile(3, 8, &service, order, NewFile(order, page), kSaveDropGrayPalette);
  }
}

TEST(SavedStrips, LzwStripsStandInStreamsOfTheirOwn) {
  // 8192 / (2 * 1500) = 2 rows to a strip.
  std::vector<FileBytes> rows;
  for (uint32_t row = 0; row < 5; ++row) {
    FileBytes bytes;
    for (uint32_t i = 0; i < 1500; ++i) {
      bytes.push_back(static_cast<uint8_t>(i * i / (row + 3)));
    }
    rows.push_back(bytes);
  }
  RowService service = GrayRows(1500, 5, 8, rows);
  const WrittenPage page =
      Page({1500, 5, {8}, 5, 1, 2}, {Lzw(Join({rows[0], rows[1]})), Lzw(Join({rows[2], rows[3]})), Lzw(rows[4])});
  for (FileOrder order : kOrders) {
    ExpectFile(17, 8, &service, order, NewFile(order, page), kSaveDropGrayPalette);
  }
}

TEST(SavedStrips, LzwWithThePredictor) {
  RowService service = ColorRows(3, 2, 24, {{10, 20, 30, 11, 22, 33, 9, 18, 27}, {1, 1, 1, 1, 1, 1, 0, 2, 255}});
  PageForm form = {3, 2, {8, 8, 8}, 5, 2, 2};
  form.extra = {Shorts(317, {2})};
  const WrittenPage page = Page(form, {Lzw({10, 20, 30, 1, 2, 3, 254, 252, 250, 1, 1, 1, 0, 0, 0, 255, 1, 254})});
  for (FileOrder order : kOrders) {
    ExpectFile(17, 24, &service, order, NewFile(order, page), kSavePredictor);
  }
}

TEST(SavedStrips, LzwWithThePredictorOnGray16InABigEndianFileDiffersInHostOrder) {
  RowService service = GrayRows(3, 1, 16, {{0x00, 0x01, 0xFF, 0x00, 0x01, 0x02}}); // 256, 255, 513
  PageForm form = {3, 1, {16}, 5, 1, 1};
  form.extra = {Shorts(317, {2})};
  const WrittenPage page = Page(form, {Lzw({0x00, 0x01, 0xFF, 0xFF, 0x02, 0x01})});
  ExpectFile(17, 16, &service, FileOrder::kBig, NewFile(FileOrder::kBig, page), kSavePredictor);
}

TEST(SavedStrips, PackBitsRowByRow) {
  RowService service = GrayRows(6, 2, 8, {{7, 7, 7, 7, 7, 7}, {1, 2, 3, 3, 3, 3}});
  const WrittenPage page = Page({6, 2, {8}, 32773, 1, 2}, {{251, 7, 1, 1, 2, 253, 3}});
  for (FileOrder order : kOrders) {
    ExpectFile(87, 8, &service, order, NewFile(order, page), kSaveDropGrayPalette);
  }
}

TEST(SavedStrips, PackBitsInSeveralStrips) {
  // A row of 3000 bytes may take 24 * 129 = 3096; two fit.
  std::vector<FileBytes> rows;
  std::vector<FileBytes> packed;
  for (uint8_t row = 0; row < 3; ++row) {
    const auto value = static_cast<uint8_t>(row + 1);
    rows.push_back(FileBytes(3000, value));
    // 23 runs of 128 and one of 56.
    packed.push_back(Join({Repeat({129, value}, 23), {201, value}}));
  }
  RowService service = GrayRows(3000, 3, 8, rows);
  const WrittenPage page = Page({3000, 3, {8}, 32773, 1, 2}, {Join({packed[0], packed[1]}), packed[2]});
  for (FileOrder order : kOrders) {
    ExpectFile(87, 8, &service, order, NewFile(order, page), kSaveDropGrayPalette);
  }
}

TEST(SavedStrips, ViewFourComesOutTopDown) {
  RowService service = GrayRows(2, 3, 8, {{1, 2}, {3, 4}, {5, 6}});
  service.bitmap.viewPerspective = 4;
  const WrittenPage page = Page({2, 3, {8}, 1, 1, 3}, {{5, 6, 3, 4, 1, 2}});
  ExpectFile(3, 8, &service, FileOrder::kLittle, NewFile(FileOrder::kLittle, page), kSaveDropGrayPalette);
  EXPECT_EQ((std::vector<int32_t>{2, 1, 0}), service.rowsAsked);
}

TEST(SavedStrips, OtherViewsAreWrittenAsOrientation) {
  for (uint32_t view : {1u, 2u, 3u, 5u, 6u, 7u, 8u}) {
    RowService service = GrayRows(2, 2, 8, {{1, 2}, {3, 4}});
    service.bitmap.viewPerspective = view;
    PageForm form = {2, 2, {8}, 1, 1, 2};
    form.orientation = view;
    ExpectFile(3, 8, &service, FileOrder::kLittle, NewFile(FileOrder::kLittle, Page(form, {{1, 2, 3, 4}})),
               kSaveDropGrayPalette);
    EXPECT_EQ(view, +service.descriptor.viewPerspective);
  }
}

FileBytes TilePart(const std::vector<FileBytes>& rows, size_t left, size_t top, size_t width, size_t height) {
  FileBytes tile;
  for (size_t y = top; y < top + height; ++y) {
    for (size_t x = left; x < left + width; ++x) {
      tile.push_back(y < rows.size() && x < rows[y].size() ? rows[y][x] : 0);
    }
  }
  return tile;
}

TEST(SavedTiles, TilesOf100On300By300Are96AndPadded) {
  std::vector<FileBytes> rows;
  for (uint32_t y = 0; y < 300; ++y) {
    FileBytes row;
    for (uint32_t x = 0; x < 300; ++x) {
      row.push_back(static_cast<uint8_t>(1 + (x * 7 + y * 13) % 251));
    }
    rows.push_back(row);
  }
  RowService service = GrayRows(300, 300, 8, rows);
  PageForm form = {300, 300, {8}, 1, 1, 96};
  form.tileWidth = 96;
  std::vector<FileBytes> tiles;
  for (size_t top = 0; top < 384; top += 96) {
    for (size_t left = 0; left < 384; left += 96) {
      tiles.push_back(TilePart(rows, left, top, 96, 96));
    }
  }
  for (FileOrder order : kOrders) {
    ExpectFile(3, 8, &service, order, NewFile(order, Page(form, tiles)), kSaveDropGrayPalette | kSaveTiles, 100, 100);
  }
  // Every column of tiles fetches its rows again.
  EXPECT_EQ(2u * 4 * 300, service.rowsAsked.size());
}

TEST(SavedTiles, CompressedTilesHaveTheirTrueCounts) {
  std::vector<FileBytes> rows;
  for (uint32_t y = 0; y < 20; ++y) {
    rows.push_back(FileBytes(40, static_cast<uint8_t>(y / 3)));
  }
  RowService service = GrayRows(40, 20, 8, rows);
  PageForm form = {40, 20, {8}, 5, 1, 16};
  form.tileWidth = 16;
  std::vector<FileBytes> lzw;
  std::vector<FileBytes> packBits;
  for (size_t top = 0; top < 32; top += 16) {
    for (size_t left = 0; left < 48; left += 16) {
      lzw.push_back(Lzw(TilePart(rows, left, top, 16, 16)));
      FileBytes packed;
      for (size_t y = top; y < top + 16; ++y) {
        const uint8_t value = y < 20 ? rows[y][0] : 0;
        if (left == 32 && value != 0) {
          packed.insert(packed.end(), {249, value, 249, 0}); // half of the tile lies beside the image
        } else {
          packed.insert(packed.end(), {241, value});
        }
      }
      packBits.push_back(packed);
    }
  }
  ExpectFile(17, 8, &service, FileOrder::kLittle, NewFile(FileOrder::kLittle, Page(form, lzw)),
             kSaveDropGrayPalette | kSaveTiles, 16, 16);
  form.compression = 32773;
  ExpectFile(87, 8, &service, FileOrder::kBig, NewFile(FileOrder::kBig, Page(form, packBits)),
             kSaveDropGrayPalette | kSaveTiles, 16, 16);
}

TEST(SavedTiles, TileWiderThanTheImageGivesStripsOfItsHeight) {
  RowService service = GrayRows(4, 5, 8, {{1, 1, 1, 1}, {2, 2, 2, 2}, {3, 3, 3, 3}, {4, 4, 4, 4}, {5, 5, 5, 5}});
  const WrittenPage page = Page({4, 5, {8}, 1, 1, 3}, {{1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3}, {4, 4, 4, 4, 5, 5, 5, 5}});
  ExpectFile(3, 8, &service, FileOrder::kLittle, NewFile(FileOrder::kLittle, page), kSaveDropGrayPalette | kSaveTiles,
             64, 3);
}

TEST(SavedTiles, PageBelow16PixelsInNarrowerTilesHasStripsOfRowsOf16) {
  RowService service = GrayRows(3, 2, 8, {{1, 2, 3}, {4, 5, 6}});
  const FileBytes rows = Join({{1, 2, 3}, FileBytes(13, 0), {4, 5, 6}, FileBytes(13, 0)});
  for (FileOrder order : kOrders) {
    ExpectFile(3, 8, &service, order, NewFile(order, Page({3, 2, {8}, 1, 1, 2}, {rows})),
               kSaveDropGrayPalette | kSaveTiles, 2, 2);
  }
}

TEST(SavedTiles, RgbTilesTakeTheirColumnFromTheRow) {
  std::vector<FileBytes> rows(16, FileBytes(20 * 3));
  for (size_t y = 0; y < rows.size(); ++y) {
    for (size_t i = 0; i < rows[y].size(); ++i) {
      rows[y][i] = static_cast<uint8_t>(y * 60 + i);
    }
  }
  RowService service = ColorRows(20, 16, 24, rows);
  PageForm form = {20, 16, {8, 8, 8}, 1, 2, 16};
  form.tileWidth = 16;
  const WrittenPage page = Page(form, {TilePart(rows, 0, 0, 48, 16), TilePart(rows, 48, 0, 48, 16)});
  for (FileOrder order : kOrders) {
    ExpectFile(3, 24, &service, order, NewFile(order, page), kSaveTiles, 16, 16);
  }
}

TEST(SavedCmyk, ThreeFormatsOf24Bits) {
  // Blue 10, green 20, red 30 and white.
  const FileBytes cmyk = {0, 10, 20, 225, 0, 0, 0, 0};
  for (FileOrder order : kOrders) {
    RowService service = ColorRows(2, 1, 24, {{10, 20, 30, 255, 255, 255}});
    ExpectFile(85, 24, &service, order, NewFile(order, Page({2, 1, {8, 8, 8, 8}, 1, 5, 1}, {cmyk})));
    ExpectFile(86, 24, &service, order, NewFile(order, Page({2, 1, {8, 8, 8, 8}, 5, 5, 1}, {Lzw(cmyk)})));
    // 0 10 20 225, then four zeros.
    ExpectFile(88, 24, &service, order,
               NewFile(order, Page({2, 1, {8, 8, 8, 8}, 32773, 5, 1}, {{3, 0, 10, 20, 225, 253, 0}})));
  }
}

TEST(SavedCmyk, Of32BitsHasAFifthSample) {
  RowService service = ColorRows(2, 1, 32, {{10, 20, 30, 77, 255, 255, 255, 88}});
  PageForm form = {2, 1, {8, 8, 8, 8, 8}, 1, 5, 1};
  form.extra = {Shorts(338, {0})};
  const WrittenPage page = Page(form, {{0, 10, 20, 225, 77, 0, 0, 0, 0, 88}});
  for (FileOrder order : kOrders) {
    ExpectFile(85, 32, &service, order, NewFile(order, page));
  }
}

TEST(SavedCmyk, LzwWithThePredictorDiffersWholePixels) {
  RowService service = ColorRows(2, 1, 24, {{10, 20, 30, 255, 255, 255}});
  PageForm form = {2, 1, {8, 8, 8, 8}, 5, 5, 1};
  form.extra = {Shorts(317, {2})};
  const WrittenPage page = Page(form, {Lzw({0, 10, 20, 225, 0, 246, 236, 31})});
  ExpectFile(86, 24, &service, FileOrder::kLittle, NewFile(FileOrder::kLittle, page), kSavePredictor);
}

TEST(SavedCmyk, DeepRowsAreReadAsBytesOfThree) {
  // 48 bits: 12 bytes a row of two pixels are taken as pixels of three bytes; two of them are made, in the first 8 of
  // 16 bytes of the row.
  RowService service = ColorRows(2, 1, 48, {{10, 20, 30, 255, 255, 255, 1, 2, 3, 4, 5, 6}});
  FileBytes row = {0, 10, 20, 225, 0, 0, 0, 0};
  row.resize(16, 0);
  ExpectFile(85, 48, &service, FileOrder::kLittle,
             NewFile(FileOrder::kLittle, Page({2, 1, {16, 16, 16, 16}, 1, 5, 1}, {row})));
}

std::vector<WrittenTag> YccTags() {
  return {Shorts(530, {2, 1}), Shorts(531, {2}), Rationals(532, {0, 1, 255, 1, 128, 1, 255, 1, 128, 1, 255, 1})};
}

TEST(SavedYcc, OddWidthEndsWithYZeroCbCr) {
  RowService service =
      ColorRows(3, 2, 24, {{255, 255, 255, 255, 255, 255, 10, 20, 30}, {0, 0, 255, 0, 0, 255, 0, 0, 0}});
  const FileBytes rows = {255, 255, 128, 128, 22, 0, 121, 134, 76, 76, 85, 255, 0, 0, 128, 128};
  PageForm form = {3, 2, {8, 8, 8}, 1, 6, 2};
  form.extra = YccTags();
  for (FileOrder order : kOrders) {
    ExpectFile(93, 24, &service, order, NewFile(order, Page(form, {rows})));
  }
  form.compression = 5;
  ExpectFile(94, 24, &service, FileOrder::kLittle, NewFile(FileOrder::kLittle, Page(form, {Lzw(rows)})),
             kSavePredictor); // the predictor is refused
  form.compression = 32773;
  ExpectFile(95, 24, &service, FileOrder::kLittle,
             NewFile(FileOrder::kLittle,
                     Page(form, {{7, 255, 255, 128, 128, 22, 0, 121, 134, 7, 76, 76, 85, 255, 0, 0, 128, 128}})));
}

TEST(SavedYcc, PaddingOfATileIsClearedOnceAndConvertedAgainForEveryRow) {
  // 17 by 18 pixels in tiles of 16: the lower tiles hold two rows of the image and fourteen of padding, which are
  // converted in place from what the row before left in the buffer.
  const FileBytes black(17 * 3, 0);
  RowService service = ColorRows(17, 18, 24, std::vector<FileBytes>(18, black));
  const FileBytes blackUnits = Repeat({0, 0, 128, 128}, 8);
  FileBytes first = Repeat(blackUnits, 2);
  FileBytes buffer(48, 0);
  for (int row = 0; row < 14; ++row) {
    TIFConvertRowToYCC(buffer.data(), buffer.data(), 16);
    first.insert(first.end(), buffer.begin(), buffer.begin() + 32);
  }
  ASSERT_EQ(blackUnits, FileBytes(first.begin() + 64, first.begin() + 96));
  ASSERT_NE(blackUnits, FileBytes(first.begin() + 96, first.begin() + 128));
  const FileBytes upper = Repeat(blackUnits, 16);
  KernelGuard guard;
  TempFile file;
  SaveJob job(93, 24, &service, file.Name());
  job.options.flags = kSaveTiles;
  job.options.tileWidth = job.options.tileHeight = 16;
  ASSERT_EQ(kResultOk, job.Run());
  const FileBytes bytes = file.Read();
  const size_t tileBytes = 32 * 16;
  const auto tile = [&](size_t index) {
    const auto at = bytes.end() - static_cast<std::ptrdiff_t>((4 - index) * tileBytes);
    return FileBytes(at, at + static_cast<std::ptrdiff_t>(tileBytes));
  };
  EXPECT_EQ(upper, tile(0));
  EXPECT_EQ(first, tile(2));
}

TEST(SavedGeoTiff, Gray16BecomesFloats) {
  RowService service = GrayRows(2, 1, 16, {{0x01, 0x00, 0x00, 0x80}}); // 1, 32768
  PageForm form = {2, 1, {32}, 1, 1, 1};
  form.extra = {Shorts(339, {3}), Shorts(34735, {1, 1, 2, 0})}; // an empty key directory
  WrittenPage page = Page(form, {{0, 0, 0x80, 0x3F, 0, 0, 0, 0x47}});
  ExpectFile(174, 16, &service, FileOrder::kLittle, NewFile(FileOrder::kLittle, page));
  page.strips = {{0x3F, 0x80, 0, 0, 0x47, 0, 0, 0}};
  ExpectFile(174, 16, &service, FileOrder::kBig, NewFile(FileOrder::kBig, page));
}

TEST(SavedGeoTiff, Of24BitsIsAnOrdinaryPage) {
  RowService service = ColorRows(1, 1, 24, {{1, 2, 3}});
  PageForm form = {1, 1, {8, 8, 8}, 1, 2, 1};
  form.extra = {Shorts(34735, {1, 1, 2, 0})};
  const WrittenPage page = Page(form, {{1, 2, 3}});
  for (FileOrder order : kOrders) {
    ExpectFile(174, 24, &service, order, NewFile(order, page));
  }
}

TEST(SavedGeoTiff, Of32BitsIsFloatWhenTheBitmapIsGray) {
  RowService gray = GrayRows(2, 1, 32, {{1, 2, 3, 4, 5, 6, 7, 8}});
  gray.bitmap.bitsPerPixel = 8; // a grey bitmap as the kernel knows one; its rows come in 32 bits
  PageForm form = {2, 1, {32}, 1, 1, 1};
  form.extra = {Shorts(339, {3}), Shorts(34735, {1, 1, 2, 0})};
  const WrittenPage page = Page(form, {{0, 0, 0x80, 0x3F, 0, 0, 0, 0x40}}); // the first two bytes, 1 and 2
  ExpectFile(174, 32, &gray, FileOrder::kLittle, NewFile(FileOrder::kLittle, page));
  RowService color = ColorRows(1, 1, 32, {{1, 2, 3, 4}});
  PageForm colorForm = {1, 1, {8, 8, 8, 8}, 1, 2, 1};
  colorForm.extra = {Shorts(338, {0}), Shorts(34735, {1, 1, 2, 0})};
  ExpectFile(174, 32, &color, FileOrder::kLittle, NewFile(FileOrder::kLittle, Page(colorForm, {{1, 2, 3, 4}})));
}

TEST(SavedStrips, SignedSamplesAreToldSo) {
  RowService service = GrayRows(2, 1, 16, {{0x01, 0x00, 0xFF, 0xFF}});
  service.descriptor.flags = kBitmapSigned;
  PageForm form = {2, 1, {16}, 1, 1, 1};
  form.extra = {Shorts(339, {2})};
  ExpectFile(3, 16, &service, FileOrder::kLittle, NewFile(FileOrder::kLittle, Page(form, {{0x01, 0x00, 0xFF, 0xFF}})));
}

TEST(SavedRawLzw, OneStreamAndNothingElse) {
  KernelGuard guard;
  RowService service = GrayRows(5, 3, 8, {{1, 2, 3, 4, 5}, {1, 2, 3, 4, 5}, {9, 9, 9, 9, 9}});
  TempFile file;
  SaveJob job(178, 8, &service, file.Name());
  ASSERT_EQ(kResultOk, job.Run());
  EXPECT_EQ(Lzw({1, 2, 3, 4, 5, 1, 2, 3, 4, 5, 9, 9, 9, 9, 9}), file.Read());
  EXPECT_TRUE(service.bufferAsked);
  EXPECT_EQ(1u, service.ends);
}

TEST(SavedRawLzw, StandsAtTheOffsetAskedForInAFileThatKeepsItsBytes) {
  KernelGuard guard;
  RowService service = GrayRows(2, 1, 8, {{1, 2}});
  TempFile file(FileBytes(10, 0x55));
  SaveJob job(178, 8, &service, file.Name());
  job.options.flags = kSaveUseDirectoryOffset;
  job.options.directoryOffset = 4;
  ASSERT_EQ(kResultOk, job.Run());
  const FileBytes stream = Lzw({1, 2}); // 4 codes of 9 bits: 5 bytes
  ASSERT_EQ(5u, stream.size());
  EXPECT_EQ(Join({FileBytes(4, 0x55), stream, {0x55}}), file.Read());
}

TEST(SavedRawLzw, PredictorAndTwelveBits) {
  KernelGuard guard;
  TempFile file;
  // With the predictor a 12-bit row is differenced and packed; without it goes as it comes.
  for (bool predictor : {true, false}) {
    RowService service = GrayRows(3, 1, 12, {{0x23, 0x61, 0x45, 0xBC, 0x0A}});
    TempFile target;
    SaveJob job(178, 12, &service, target.Name());
    job.options.flags = predictor ? kSavePredictor : 0;
    ASSERT_EQ(kResultOk, job.Run());
    EXPECT_EQ(predictor ? Lzw({0x12, 0x33, 0x33, 0x66, 0x60}) : Lzw({0x23, 0x61, 0x45, 0xBC, 0x0A}), target.Read());
  }
  RowService rgb = ColorRows(2, 1, 24, {{5, 6, 7, 6, 8, 10}});
  SaveJob job(178, 24, &rgb, file.Name());
  job.options.flags = kSavePredictor;
  ASSERT_EQ(kResultOk, job.Run());
  EXPECT_EQ(Lzw({5, 6, 7, 1, 2, 3}), file.Read());
}

TEST(SavedRawLzw, ViewFourComesOutTopDown) {
  RowService service = GrayRows(1, 3, 8, {{1}, {2}, {3}});
  service.bitmap.viewPerspective = 4;
  TempFile file;
  SaveJob job(178, 8, &service, file.Name());
  ASSERT_EQ(kResultOk, job.Run());
  EXPECT_EQ(Lzw({3, 2, 1}), file.Read());
}

TEST(SavedRawLzw, RequestTakesTheFlagsThatTheServiceLeft) {
  RowService service = GrayRows(1, 2, 8, {{1}, {2}});
  service.changesFlags = true;
  service.flagsAtStart = 0x12340;
  TempFile file;
  SaveJob job(178, 8, &service, file.Name());
  job.request.flags = 0x8;
  ASSERT_EQ(kResultOk, job.Run());
  EXPECT_EQ(0x8u, service.seenAtStart);
  EXPECT_EQ(0x12340u, +job.request.flags);
  EXPECT_EQ((std::vector<uint32_t>{0x12340, 0x12340}), service.rowFlags);
}

TEST(SavedRawLzw, FailuresDeleteTheFile) {
  KernelGuard guard;
  RowService service = GrayRows(1, 3, 8, {{1}, {2}, {3}});
  service.failingRow = 1;
  TempFile file;
  SaveJob job(178, 8, &service, file.Name());
  EXPECT_EQ(-99, job.Run());
  EXPECT_FALSE(file.Exists());
  service.failingRow = -1;
  service.startResult = -33;
  job.request.fileFormat = 178;
  EXPECT_EQ(-33, job.Run());
  EXPECT_FALSE(file.Exists());
  service.startResult = 0; // below 1 as well
  job.request.fileFormat = 178;
  EXPECT_EQ(0, job.Run());
  EXPECT_FALSE(file.Exists());
}

TEST(SavedRawLzw, FileThatCannotBeOpenedIsMinus10) {
  KernelGuard guard;
  RowService service = GrayRows(1, 1, 8, {{1}});
  SaveJob job(178, 8, &service, u"/nowhere at all/file");
  EXPECT_EQ(kResultOpenFailed, job.Run());
  EXPECT_EQ(0u, service.starts);
}

TEST(SavedStrips, RatioCheckIsOffWithItsOptionAndWithAShortRecord) {
  // Data on which the check clears the table: flat, then noise of two values.
  FileBytes row(10000, 0);
  uint32_t state = 12345;
  for (uint32_t i = 0; i < 20000; ++i) {
    state = state * 1664525 + 1013904223;
    row.push_back(static_cast<uint8_t>(state >> 31));
  }
  const FileBytes with = Lzw(row, true);
  const FileBytes without = Lzw(row, false);
  ASSERT_NE(with, without);
  const struct {
    uint32_t size;
    uint32_t flags2;
    const FileBytes* expected;
  } cases[] = {{1603, 0, &with}, {1603, kSaveNoRatioCheck, &without}, {1602, 0, &without}};
  for (const auto& test : cases) {
    RowService service = GrayRows(30000, 1, 8, {row});
    TempFile file;
    SaveJob job(17, 8, &service, file.Name());
    job.options.flags = kSaveDropGrayPalette;
    job.options.structSize = test.size;
    job.options.flags2 = test.flags2;
    ASSERT_EQ(kResultOk, job.Run());
    EXPECT_EQ(NewFile(FileOrder::kLittle, Page({30000, 1, {8}, 5, 1, 1}, {*test.expected})), file.Read());
  }
}

} // namespace
