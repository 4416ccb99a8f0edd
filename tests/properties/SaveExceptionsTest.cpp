// The pages that do not load back to the pixels that were saved, one by one: what comes back instead. Files and callers
// depend on each of these. Rows are given to the library as they stand here, and read back from the loaded bitmap.

#include <gtest/gtest.h>

#include "save/SaveFixture.h"
#include "support/FileDirectory.h"
#include "support/KernelGuard.h"
#include "toolkit/LoadPage.h"
#include "toolkit/PlaneLoad.h"
#include "toolkit/SavePage.h"

namespace {

struct Case {
  int32_t format = kFormatUncompressed;
  int32_t width = 1;
  int32_t bits = 8;
  uint32_t order = kOrderRedFirst;
  uint32_t flags = 0;
  uint32_t tile = 0;
};

class SaveException : public testing::Test {
protected:
  // The rows of the page that `rows` are saved as and loaded from; `bytes` of each.
  FileBytes BackAgain(const Case& page, const std::vector<FileBytes>& rows, size_t bytes) {
    RowService service(page.width, static_cast<int32_t>(rows.size()), page.bits, rows);
    service.bitmap.order = service.descriptor.order = page.order;
    SaveJob job(page.format, page.bits, &service, file_.Name());
    job.options.flags = page.flags;
    if (page.tile != 0) {
      job.options.flags |= kSaveTiles;
      job.options.tileWidth = job.options.tileHeight = page.tile;
    }
    EXPECT_EQ(job.Run(), kResultOk);
    return Loaded(1, bytes);
  }

  FileBytes Loaded(int32_t number, size_t bytes) {
    toolkit::LoadOptions options;
    options.page = number;
    const toolkit::LoadedPage loaded = toolkit::LoadPage(file_.Path().string(), options);
    bits_ = loaded.bitmap->bitsPerPixel;
    warning_ = loaded.warning;
    FileBytes all;
    for (int32_t y = 0; y < loaded.bitmap->height; ++y) {
      all.insert(all.end(), loaded.bitmap.Row(y), loaded.bitmap.Row(y) + bytes);
    }
    return all;
  }

  KernelGuard guard_;
  TempFile file_;
  int32_t bits_ = 0;
  int32_t warning_ = 0;
};

constexpr int32_t kCompressed[] = {kFormatLzw, kFormatPackBits};

TEST_F(SaveException, CompressedGreyOf16And32BitsIsSwappedInABigEndianFile) {
  for (const int32_t format : kCompressed) {
    EXPECT_EQ(BackAgain({format, 2, 16, kOrderGray, kSaveBigEndian}, {{0x34, 0x12, 0x78, 0x56}}, 4),
              (FileBytes{0x12, 0x34, 0x56, 0x78}));
    EXPECT_EQ(BackAgain({format, 1, 32, kOrderGray, kSaveBigEndian}, {{1, 2, 3, 4}}, 4), (FileBytes{4, 3, 2, 1}));
    EXPECT_EQ(BackAgain({format, 2, 16, kOrderGray, 0}, {{0x34, 0x12, 0x78, 0x56}}, 4),
              (FileBytes{0x34, 0x12, 0x78, 0x56}))
        << "little-endian";
  }
  EXPECT_EQ(BackAgain({kFormatUncompressed, 2, 16, kOrderGray, kSaveBigEndian}, {{0x34, 0x12, 0x78, 0x56}}, 4),
            (FileBytes{0x34, 0x12, 0x78, 0x56}))
      << "uncompressed samples are swapped both ways";
}

TEST_F(SaveException, ColourWordsAreSwappedInABigEndianFileHoweverTheyAreStored) {
  for (const int32_t format : {kFormatUncompressed, kFormatLzw, kFormatPackBits}) {
    EXPECT_EQ(BackAgain({format, 2, 16, kOrderBlueFirst, kSaveBigEndian}, {{0x34, 0x12, 0x78, 0x56}}, 4),
              (FileBytes{0x12, 0x34, 0x56, 0x78}))
        << format;
  }
}

TEST_F(SaveException, DeepColourIsSwappedInABigEndianFileHoweverItIsStored) {
  for (const int32_t format : {kFormatUncompressed, kFormatLzw, kFormatPackBits}) {
    EXPECT_EQ(BackAgain({format, 1, 48, kOrderRedFirst, kSaveBigEndian}, {{1, 2, 3, 4, 5, 6}}, 6),
              (FileBytes{2, 1, 4, 3, 6, 5}))
        << format;
    EXPECT_EQ(BackAgain({format, 1, 64, kOrderRedFirst, kSaveBigEndian}, {{1, 2, 3, 4, 5, 6, 7, 8}}, 8),
              (FileBytes{2, 1, 4, 3, 6, 5, 8, 7}))
        << format;
  }
}

TEST_F(SaveException, PredictedGreyWordsOfABigEndianFileAreSumsOfSwappedDifferences) {
  // 256, 255, 513: the differences 256, -1, 258 stand as 00 01, FF FF, 02 01 and are read as 0x0001, 0xFFFF, 0x0201.
  EXPECT_EQ(
      BackAgain({kFormatLzw, 3, 16, kOrderGray, kSaveBigEndian | kSavePredictor}, {{0, 1, 0xFF, 0, 0x01, 0x02}}, 6),
      (FileBytes{1, 0, 0, 0, 1, 2}));
  // Red 256, 255, 513 likewise; green and blue stay 0.
  EXPECT_EQ(BackAgain({kFormatLzw, 3, 48, kOrderRedFirst, kSaveBigEndian | kSavePredictor},
                      {{0, 1, 0, 0, 0, 0, 0xFF, 0, 0, 0, 0, 0, 0x01, 0x02, 0, 0, 0, 0}}, 18),
            (FileBytes{1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 0, 0, 0, 0}));
}

TEST_F(SaveException, PredictedColourWordsOfABigEndianFileAreOnlySwapped) {
  // Their three fields are summed in little-endian words before the row is swapped.
  EXPECT_EQ(BackAgain({kFormatLzw, 3, 16, kOrderBlueFirst, kSaveBigEndian | kSavePredictor},
                      {{0x34, 0x12, 0x78, 0x56, 0xFF, 0x7F}}, 6),
            (FileBytes{0x12, 0x34, 0x56, 0x78, 0x7F, 0xFF}));
}

TEST_F(SaveException, Grey32WithThePredictorComesBackThoughItIsDifferencedAsBytes) {
  const FileBytes row = {1, 2, 3, 4, 0, 3, 3, 5};
  EXPECT_EQ(BackAgain({kFormatLzw, 2, 32, kOrderGray, kSavePredictor}, {row}, 8), row);
  EXPECT_EQ(BackAgain({kFormatLzw, 2, 32, kOrderGray, kSavePredictor | kSaveBigEndian}, {row}, 8),
            (FileBytes{4, 3, 2, 1, 5, 3, 3, 0}));
}

TEST_F(SaveException, TwelveBitsWithThePredictor) {
  // Samples 0x123, 0x456 and 0xABC are stored as 0x123, 0x333 and 0x666, in the bytes 12 33 33 66 60. Summing gives
  // 0x456 and 0xABC, but puts only the low byte of the second sample in its place, one byte too far to the left.
  FileBytes row = BackAgain({kFormatLzw, 3, 12, kOrderGray, kSavePredictor}, {{0x23, 0x61, 0x45, 0xBC, 0x0A}}, 5);
  row[4] &= 0x0F; // the rest is behind the last pixel
  EXPECT_EQ(row, (FileBytes{0x25, 0x31, 0x63, 0xBC, 0x0A})) << "0x125, 0x633, 0xABC";
}

TEST_F(SaveException, CmykOf48And64BitsIsMadeFromPixelsOfThreeBytes) {
  // The first six bytes are taken for two pixels, 10 20 30 and white; as words their inks are C 0x0A00, M 0xE114.
  EXPECT_EQ(BackAgain({kFormatUncompressedCmyk, 2, 48, kOrderBlueFirst, 0},
                      {{10, 20, 30, 255, 255, 255, 1, 2, 3, 4, 5, 6}}, 12),
            (FileBytes{0xFF, 0xF5, 0xEB, 0x1E, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(BackAgain({kFormatUncompressedCmyk, 2, 64, kOrderBlueFirst, 0},
                      {{10, 20, 30, 255, 255, 255, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}}, 16),
            (FileBytes{0xFF, 0xF5, 0xEB, 0x1E, 0xFF, 0xFF, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0}));
}

TEST_F(SaveException, YCbCrSharesItsChromaBetweenTwoPixels) {
  for (const int32_t format : {kFormatUncompressedYCbCr, kFormatLzwYCbCr, kFormatPackBitsYCbCr}) {
    // Given blue first, got red first. Black and white pairs are kept, red loses one level.
    EXPECT_EQ(BackAgain({format, 2, 24, kOrderBlueFirst, 0}, {FileBytes(6, 255), FileBytes(6, 0)}, 6),
              Join({FileBytes(6, 255), FileBytes(6, 0)}));
    EXPECT_EQ(BackAgain({format, 2, 24, kOrderBlueFirst, 0}, {{0, 0, 255, 0, 0, 255}}, 6),
              (FileBytes{254, 0, 0, 254, 0, 0}));
    // Red beside blue: luma 76 and 29 over the mean chroma, 170 and 181.
    EXPECT_EQ(BackAgain({format, 2, 24, kOrderBlueFirst, 0}, {{0, 0, 255, 255, 0, 0}}, 6),
              (FileBytes{150, 24, 150, 103, 0, 103}));
    // The last pixel of an odd row has chroma of its own: 22, 121, 134.
    EXPECT_EQ(BackAgain({format, 1, 24, kOrderBlueFirst, 0}, {{10, 20, 30}}, 3), (FileBytes{30, 21, 10}));
  }
}

TEST_F(SaveException, GeoTiffGreyOf16BitsComesBackAs32) {
  for (const uint32_t order : {0u, uint32_t{kSaveBigEndian}}) {
    EXPECT_EQ(BackAgain({kFormatGeoTiff, 2, 16, kOrderGray, order}, {{0x01, 0x00, 0x00, 0x80}}, 8),
              (FileBytes{1, 0, 0, 0, 0, 0x80, 0, 0}));
    EXPECT_EQ(bits_, 32);
  }
}

TEST_F(SaveException, GeoTiffGreyOf32BitsIsMadeFromTheFirstBytesOfTheRow) {
  EXPECT_EQ(BackAgain({kFormatGeoTiff, 2, 32, kOrderGray, 0}, {{7, 9, 3, 4, 5, 6, 7, 8}}, 8),
            (FileBytes{7, 0, 0, 0, 9, 0, 0, 0}));
}

// The negative samples of a signed page are cleared unless the load asks to keep them.
FileBytes LoadedSigned(const char16_t* name, uint32_t readFlags) {
  BitmapHandle bitmap = {};
  krnBitmapInit(&bitmap, kBitmapHandleSize, 4, 1, 16);
  FileInfoRecord info = {};
  FileOptions options = {};
  options.flags = readFlags;
  FileBytes row;
  FilterLoadRequest request = {};
  request.fileName = name;
  request.bitmap = &bitmap;
  request.fileInfo = &info;
  request.fileOptions = &options;
  request.rowCallbackData = reinterpret_cast<intptr_t>(&row);
  request.rowCallback = [](FileInfoRecord*, BitmapHandle*, uint8_t* rows, uint32_t, int32_t, int32_t,
                           intptr_t kept) -> int32_t {
    *reinterpret_cast<FileBytes*>(kept) = FileBytes(rows, rows + 8);
    return kResultOk;
  };
  EXPECT_EQ(fltLoad(&request), kResultOk);
  EXPECT_NE(bitmap.flags & kBitmapSigned, 0u);
  return row;
}

TEST_F(SaveException, NegativeSamplesAreClearedUnlessTheyAreAskedFor) {
  const FileBytes row = {5, 0, 0xFF, 0xFF, 0, 0x80, 0xFF, 0x7F}; // 5, -1, -32768, 32767
  for (const uint32_t order : {0u, uint32_t{kSaveBigEndian}}) {
    RowService service(4, 1, 16, {row});
    service.bitmap.order = service.descriptor.order = kOrderGray;
    service.descriptor.flags = kBitmapSigned;
    SaveJob job(kFormatUncompressed, 16, &service, file_.Name());
    job.options.flags = order;
    ASSERT_EQ(job.Run(), kResultOk);
    EXPECT_EQ(LoadedSigned(file_.Name(), 0), (FileBytes{5, 0, 0, 0, 0, 0, 0xFF, 0x7F}));
    EXPECT_EQ(LoadedSigned(file_.Name(), kReadKeepSigned), row);
  }
}

TEST_F(SaveException, RunLengthPageOfFillOrderTwoIsReadUnreversed) {
  // A row of 16 black pixels is 00110101 0000010111: the bytes 35 05 C0. Reversed they are AC A0 03, and 101010 is a
  // white run of 16: bits that stood for black come back standing for white.
  EXPECT_EQ(BackAgain({kFormatCcitt, 16, 1, kOrderRedFirst, kSaveFillOrder2}, {{0, 0}}, 2), (FileBytes{0, 0}));
  EXPECT_EQ(ReadFilePage(file_.Read()).Find(266), nullptr);
  const FileBytes bytes = file_.Read();
  EXPECT_EQ(FileBytes(bytes.end() - 3, bytes.end()), (FileBytes{0xAC, 0xA0, 0x03}));
}

TEST_F(SaveException, ColumnsOfTilesLieByTheDepthOfTheBitmap) {
  // A bitmap of 8 bits saved as 24: the second tile begins 16 bytes into the row, in the sixth pixel.
  FileBytes row;
  for (uint8_t i = 0; i < 32 * 3; ++i) {
    row.push_back(static_cast<uint8_t>(i + 1));
  }
  RowService service(32, 16, 24, std::vector<FileBytes>(16, row));
  service.bitmap.bitsPerPixel = 8;
  SaveJob job(kFormatUncompressed, 24, &service, file_.Name());
  job.options.flags = kSaveTiles;
  job.options.tileWidth = job.options.tileHeight = 16;
  ASSERT_EQ(job.Run(), kResultOk);
  const FileBytes back = Loaded(1, 96);
  EXPECT_EQ(FileBytes(back.begin(), back.begin() + 48), FileBytes(row.begin(), row.begin() + 48));
  EXPECT_EQ(FileBytes(back.begin() + 48, back.begin() + 96), FileBytes(row.begin() + 16, row.begin() + 64));
}

TEST_F(SaveException, TilesNarrowerThan16OfAPageThatIsToo) {
  // Tiles are at least 16 wide, which makes strips of this page: its rows are 16 long in the file, and read as 9.
  std::vector<FileBytes> rows;
  for (uint8_t y = 0; y < 4; ++y) {
    rows.push_back(FileBytes(9, static_cast<uint8_t>(y + 1)));
  }
  const FileBytes back = BackAgain({kFormatUncompressed, 9, 8, kOrderRedFirst, 0, 8}, rows, 9);
  FileBytes first = FileBytes(9, 1);
  EXPECT_EQ(FileBytes(back.begin(), back.begin() + 9), first);
  EXPECT_EQ(FileBytes(back.begin() + 9, back.begin() + 18), (FileBytes{0, 0, 0, 0, 0, 0, 0, 2, 2}));
  const FileDirectory directory = ReadFilePage(file_.Read());
  EXPECT_EQ(directory.Find(322), nullptr);
  EXPECT_NE(directory.Find(273), nullptr);
}

TEST_F(SaveException, InterleavedPlanesInTilesLieByTheDepthOfOnePlane) {
  std::vector<toolkit::Bitmap> planes(4);
  for (size_t i = 0; i < planes.size(); ++i) {
    ASSERT_EQ(planes[i].Create(32, 16, 8, kOrderGray), kResultOk);
    for (int32_t y = 0; y < 16; ++y) {
      for (int32_t x = 0; x < 32; ++x) {
        planes[i].Row(y)[x] = static_cast<uint8_t>(50 * i + static_cast<size_t>(x));
      }
    }
  }
  toolkit::SaveJob job;
  job.format = kFormatUncompressedCmyk;
  job.bitsPerPixel = 8;
  job.page.tileWidth = job.page.tileHeight = 16;
  const std::string name = file_.Path().string();
  toolkit::SavePlanes(name, planes, job);
  const std::vector<toolkit::Bitmap> back = toolkit::LoadPlanes(name, {});
  ASSERT_EQ(back.size(), 4u);
  for (size_t i = 0; i < back.size(); ++i) {
    for (int32_t x = 0; x < 32; ++x) {
      // 16 bytes into the interleaved row is its fifth pixel, where the second column should begin with the 17th.
      EXPECT_EQ(back[i].Row(3)[x], 50 * i + static_cast<size_t>(x < 16 ? x : x - 12)) << "plane " << i << ", " << x;
    }
  }
}

TEST_F(SaveException, TiledVariantPageIsReadAsStrips) {
  // Three tiles side by side, of white, black and white rows. Each is taken for a strip of rows 1536 long, so the first
  // one is white down to the last row and the others are never reached.
  FileBytes row(192, 0);
  std::fill_n(row.begin() + 64, 64, 0xFF);
  RowService service(1536, 512, 1, std::vector<FileBytes>(512, row));
  service.palette = {{255, 255, 255, 0}, {0, 0, 0, 0}};
  SaveJob job(kFormatVariant, 1, &service, file_.Name());
  job.options.flags = kSaveTiles;
  job.options.tileWidth = job.options.tileHeight = 512;
  ASSERT_EQ(job.Run(), kResultOk);
  EXPECT_EQ(Loaded(1, 192), FileBytes(512 * 192, 0));
}

// Main page and stamp of one call; the rows of the stamp as they are loaded.
class StampException : public SaveException {
protected:
  FileBytes StampBack(int32_t format, int32_t bits, toolkit::Bitmap& page, toolkit::Bitmap& stamp, size_t bytes) {
    toolkit::SaveJob job;
    job.format = format;
    job.bitsPerPixel = bits;
    job.stamp = &stamp;
    toolkit::SavePage(file_.Path().string(), page, job);
    return Loaded(2, bytes);
  }
};

TEST_F(StampException, RgbStampOfAYCbCrPageHasRedAndBlueExchanged) {
  // The flag that asks for blue first stays set behind the first page.
  toolkit::Bitmap page;
  toolkit::Bitmap stamp;
  ASSERT_EQ(page.Create(2, 1, 24, kOrderRedFirst), kResultOk);
  ASSERT_EQ(stamp.Create(1, 1, 24, kOrderRedFirst), kResultOk);
  std::copy_n(FileBytes{10, 20, 30}.data(), 3, stamp.Row(0));
  EXPECT_EQ(StampBack(kFormatExifYCbCr, 24, page, stamp, 3), (FileBytes{30, 20, 10}));
  EXPECT_EQ(StampBack(kFormatExif, 24, page, stamp, 3), (FileBytes{10, 20, 30}));
}

TEST_F(StampException, PaletteStampOfAGreyPageBecomesGrey) {
  // So does the flag that asks for grey. Luma of pure green is 150 (0.587 of 255), of white 255.
  toolkit::Bitmap page;
  toolkit::Bitmap stamp;
  ASSERT_EQ(page.Create(2, 1, 8, kOrderGray), kResultOk);
  ASSERT_EQ(stamp.Create(2, 1, 8, kOrderRedFirst), kResultOk);
  const VxColor colours[] = {{0, 255, 0, 0}, {255, 255, 255, 0}};
  krnBitmapSetPalette(stamp.Handle(), colours, 2);
  std::copy_n(FileBytes{0, 1}.data(), 2, stamp.Row(0));
  EXPECT_EQ(StampBack(kFormatExif, 8, page, stamp, 2), (FileBytes{150, 255}));
}

} // namespace
