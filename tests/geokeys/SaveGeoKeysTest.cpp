// Keys that come with a save of a GeoTIFF page.

#include "geokeys/GeoKeyFiles.h"

#include <vxtif/formats.h>

using namespace std::string_literals;

namespace {

BitmapHandle rowDescriptor;
uint8_t rowContext[8 + 4 * kPaletteEntries];

int32_t Start(BitmapHandle* bitmap, BitmapHandle** descriptor, int32_t bitsPerPixel, uint32_t*, void**, int32_t,
              intptr_t, intptr_t, void** context) {
  krnBitmapInit(&rowDescriptor, kBitmapHandleSize, bitmap->width, bitmap->height, bitsPerPixel);
  *descriptor = &rowDescriptor;
  *context = rowContext;
  return 1;
}

int32_t GetRow(BitmapHandle*, BitmapHandle* descriptor, void* row, int32_t rowIndex, int32_t, uint32_t, intptr_t,
               intptr_t, void*) {
  std::memset(row, 0x40 + rowIndex, static_cast<size_t>(descriptor->bytesPerLine));
  return 1;
}

int32_t End(BitmapHandle*, BitmapHandle**, uint32_t*, int32_t, void**) {
  return 1;
}

class SaveGeoKeys : public testing::TestWithParam<FileOrder> {
protected:
  int32_t Save(int32_t format, TifGeoKeyItem* keys) {
    const KernelGuard guard;
    BitmapHandle bitmap;
    krnBitmapInit(&bitmap, kBitmapHandleSize, 6, 3, 24);
    SaveOptions options = {};
    options.structSize = sizeof options;
    options.pageNumber = 1;
    options.flags = GetParam() == FileOrder::kBig ? kSaveBigEndian : 0;
    FilterSaveRequest request = {};
    request.fileName = file_.Name();
    request.bitmap = &bitmap;
    request.bitsPerPixel = 24;
    request.fileFormat = format;
    request.fileOptions = &options;
    request.geoKeys = keys;
    request.saveStart = Start;
    request.saveGetRow = GetRow;
    request.saveEnd = End;
    return fltSave(&request);
  }
  // The first strip's bytes, wherever the keys have moved them.
  FileBytes Pixels() {
    uint32_t offset = 0;
    FilterGetTagRequest get = {file_.Name(), 273, nullptr, nullptr, &offset, nullptr};
    EXPECT_EQ(fltGetTag(&get), 1);
    const FileBytes bytes = file_.Read();
    return FileBytes(bytes.begin() + static_cast<ptrdiff_t>(offset),
                     bytes.begin() + static_cast<ptrdiff_t>(std::min<size_t>(offset + 54, bytes.size())));
  }
  static FileBytes SavedPixels() {
    FileBytes pixels(54, 0x40);
    std::fill(pixels.begin() + 18, pixels.begin() + 36, uint8_t{0x41});
    std::fill(pixels.begin() + 36, pixels.end(), uint8_t{0x42});
    return pixels;
  }
  TempFile file_;
};

INSTANTIATE_TEST_SUITE_P(Orders, SaveGeoKeys, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const auto& order) { return order.param == FileOrder::kLittle ? "Little" : "Big"; });

TEST_P(SaveGeoKeys, KeysOfEveryKind) {
  uint16_t model = 1;
  uint16_t code = 32632;
  double scale = 0.9996;
  char text[] = "zone 32";
  TifGeoKeyItem items[4] = {{3072, kTypeShort, 1, &code, &items[1]},
                            {1024, kTypeShort, 1, &model, &items[2]},
                            {1026, kTypeAscii, sizeof text, text, &items[3]},
                            {3092, kTypeDouble, 1, &scale, nullptr}};
  ASSERT_EQ(Save(kFormatGeoTiff, items), 1);
  EXPECT_EQ(ReadKeys(file_).keys, (std::vector<Key>{ShortKey(1024, {1}), TextKey(1026, "zone 32\0"s),
                                                    ShortKey(3072, {32632}), DoubleKey(3092, {0.9996})}));
  EXPECT_EQ(Pixels(), SavedPixels());
  EXPECT_EQ(scale, 0.9996) << "the caller's data come back unchanged";
}

TEST_P(SaveGeoKeys, WithoutKeysThePageHasAnEmptyDirectory) {
  ASSERT_EQ(Save(kFormatGeoTiff, nullptr), 1);
  uint16_t numbers[4] = {};
  uint32_t count = 0;
  FilterGetTagRequest get = {file_.Name(), 34735, nullptr, &count, nullptr, nullptr};
  ASSERT_EQ(fltGetTag(&get), 1);
  ASSERT_EQ(count, 4u);
  get.data = numbers;
  EXPECT_EQ(fltGetTag(&get), 1);
  EXPECT_EQ(Shorts(numbers, numbers + 4), (Shorts{1, 1, 2, 0}));
  EXPECT_EQ(ReadKeys(file_).keys, std::vector<Key>{});
  EXPECT_EQ(Pixels(), SavedPixels());
}

TEST_P(SaveGeoKeys, OtherFormatsTakeNoKeys) {
  uint16_t model = 1;
  TifGeoKeyItem item = {1024, kTypeShort, 1, &model, nullptr};
  ASSERT_EQ(Save(kFormatUncompressed, &item), 1);
  FilterGetTagRequest get = {file_.Name(), 34735, nullptr, nullptr, nullptr, nullptr};
  EXPECT_EQ(fltGetTag(&get), -404);
}

} // namespace
