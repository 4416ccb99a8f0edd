// Bilevel pages that are stored at another size, from a save to a load: the sibling here has a code of its own, the two
// sizes and the rows as they stand, so that pixels go all the way into the file and out of it.

#include <string>
#include <vector>

#include <vxtif/vxtif.h>

#include "siblings/SiblingHandle.h"
#include "support/FileDirectory.h"
#include "support/KernelGuard.h"
#include "support/TempFile.h"

namespace {

using Rows = std::vector<std::string>; // '#' for 1

std::string RowText(const uint8_t* row, int32_t width) {
  std::string text;
  for (int32_t x = 0; x < width; ++x) {
    text.push_back((row[x / 8] >> (7 - x % 8) & 1) != 0 ? '#' : '.');
  }
  return text;
}

void PutRow(const std::string& text, uint8_t* row) {
  for (size_t x = 0; x < text.size(); ++x) {
    if (text[x] == '#') {
      row[x / 8] = static_cast<uint8_t>(row[x / 8] | 0x80 >> x % 8);
    }
  }
}

// Every pixel `times` by `times`.
Rows Enlarged(const Rows& rows, size_t times) {
  Rows large;
  for (const std::string& row : rows) {
    std::string wide;
    for (const char pixel : row) {
      wide.append(times, pixel);
    }
    large.insert(large.end(), times, wide);
  }
  return large;
}

// The row service's side: a bitmap without pixels, the rows of the page.
struct Source {
  Rows rows;
  BitmapHandle descriptor;
  struct {
    uint8_t front[8];
    VxColor palette[2];
  } context = {{}, {{0, 0, 0, 0}, {255, 255, 255, 0}}};

  static int32_t Start(BitmapHandle* bitmap, BitmapHandle** descriptor, int32_t bits, uint32_t*, void**, int32_t,
                       intptr_t self, intptr_t, void** context) {
    auto* source = reinterpret_cast<Source*>(self);
    krnBitmapInit(&source->descriptor, kBitmapHandleSize, bitmap->width, bitmap->height, bits);
    source->descriptor.xResolution = source->descriptor.yResolution = 300;
    *descriptor = &source->descriptor;
    *context = &source->context;
    return 1;
  }
  static int32_t GetRow(BitmapHandle*, BitmapHandle* descriptor, void* row, int32_t index, int32_t, uint32_t,
                        intptr_t self, intptr_t, void*) {
    std::memset(row, 0, static_cast<size_t>(descriptor->bytesPerLine));
    PutRow(reinterpret_cast<Source*>(self)->rows.at(static_cast<size_t>(index)), static_cast<uint8_t*>(row));
    return 1;
  }
  static int32_t End(BitmapHandle*, BitmapHandle**, uint32_t*, int32_t, void**) { return 1; }
};

// The sibling's code.
constexpr int32_t kMostBytes = 64;

int32_t Encode(VxFileHandle handle, void* request, void*) {
  BitmapHandle* bitmap = static_cast<FilterSaveRequest*>(request)->bitmap;
  const uint8_t sizes[2] = {static_cast<uint8_t>(bitmap->width), static_cast<uint8_t>(bitmap->height)};
  krnFileWrite(handle, sizes, 2);
  for (int32_t y = 0; y < bitmap->height; ++y) {
    uint8_t row[kMostBytes] = {};
    krnBitmapGetRow(bitmap, row, y, bitmap->bytesPerLine);
    krnFileWrite(handle, row, static_cast<uint32_t>(bitmap->width + 7) / 8);
  }
  return 1;
}

int32_t Decode(VxFileHandle handle, void* request, void* sizeSeen) {
  auto* load = static_cast<FilterLoadRequest*>(request);
  uint8_t sizes[2] = {};
  krnFileRead(handle, sizes, 2);
  *static_cast<std::string*>(sizeSeen) = std::to_string(load->bitmap->width) + "x" +
                                         std::to_string(load->bitmap->height) + " of " + std::to_string(sizes[0]) +
                                         "x" + std::to_string(sizes[1]);
  for (int32_t y = 0; y < sizes[1]; ++y) {
    uint8_t row[kMostBytes] = {};
    krnFileRead(handle, row, static_cast<uint32_t>(sizes[0] + 7) / 8);
    const int32_t result = load->rowCallback(load->fileInfo, load->bitmap, row, 3, y, 1, load->rowCallbackData);
    if (result != 1) {
      return result;
    }
  }
  return 1;
}

class StoredSizePage : public testing::TestWithParam<FileOrder> {
protected:
  int32_t Save(const Rows& rows, uint32_t storedWidth, uint32_t storedHeight, uint32_t requestFlags = 0) {
    Source source = {rows, {}};
    BitmapHandle bitmap = {};
    krnBitmapInit(&bitmap, kBitmapHandleSize, static_cast<int32_t>(rows[0].size()), static_cast<int32_t>(rows.size()),
                  1);
    SaveOptions options = {};
    options.structSize = sizeof options;
    options.flags = GetParam() == FileOrder::kBig ? kSaveBigEndian : 0;
    TifSizePair size = {sizeof(TifSizePair), storedWidth, storedHeight};
    FilterSaveRequest request = {};
    request.fileName = file_.Name();
    request.bitmap = &bitmap;
    request.bitsPerPixel = 1;
    request.fileFormat = kFormatStoredSize;
    request.flags = requestFlags;
    request.fileOptions = &options;
    request.private50235 = &size;
    request.saveStart = Source::Start;
    request.saveGetRow = Source::GetRow;
    request.saveEnd = Source::End;
    request.extra1 = reinterpret_cast<intptr_t>(&source);
    sibling_->result = 1;
    sibling_->callback = Encode;
    sibling_.Do({OpenStep(), CallbackStep()});
    return fltSave(&request);
  }

  struct Back {
    int32_t result = 0;
    Rows rows;
    std::vector<uint32_t> flags;
    std::string sizes; // of the temporary bitmap and of the stored page
  };
  Back Load(int32_t width, int32_t height, int32_t pageNumber = 1) {
    Back back;
    sibling_->callback = Decode;
    sibling_->callbackData = &back.sizes;
    sibling_.Do({OpenStep(), CallbackStep(), CloseStep()});
    BitmapHandle bitmap = {};
    krnBitmapInit(&bitmap, kBitmapHandleSize, width, height, 1);
    FileInfoRecord info = {};
    FileOptions options = {};
    options.pageNumber = pageNumber;
    FilterLoadRequest request = {};
    request.fileName = file_.Name();
    request.bitmap = &bitmap;
    request.fileInfo = &info;
    request.fileOptions = &options;
    request.truncationStatus = 1;
    request.rowCallbackData = reinterpret_cast<intptr_t>(&back);
    request.rowCallback = [](FileInfoRecord*, BitmapHandle* target, uint8_t* rows, uint32_t flags, int32_t first,
                             int32_t count, intptr_t data) -> int32_t {
      auto* kept = reinterpret_cast<Back*>(data);
      EXPECT_EQ(first, static_cast<int32_t>(kept->rows.size()));
      EXPECT_EQ(count, 1);
      kept->rows.push_back(RowText(rows, target->width));
      kept->flags.push_back(flags);
      return 1;
    };
    back.result = fltLoad(&request);
    return back;
  }

  KernelGuard guard_;
  TempFile file_;
  Sibling sibling_{"VXJBIG.DLL"};
};

const Rows kPicture = {"##..#.##.#", "#...##..##", ".#.#.#.#.#", "##########", ".........."};

} // namespace

INSTANTIATE_TEST_SUITE_P(Orders, StoredSizePage, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const auto& tested) { return tested.param == FileOrder::kBig ? "Big" : "Little"; });

TEST_P(StoredSizePage, SmallerInTheFileComesBackInFullSize) {
  const Rows large = Enlarged(kPicture, 2);
  ASSERT_EQ(Save(large, 10, 5), 1);
  const FileBytes bytes = file_.Read();
  const FileDirectory page = ReadFilePage(bytes);
  EXPECT_EQ(page.Find(259)->word >> (GetParam() == FileOrder::kBig ? 16 : 0) & 0xFFFF, 34713u);
  EXPECT_EQ(page.Find(256)->word, 20u) << "the size of the picture, not of its code";
  EXPECT_EQ(page.Find(257)->word, 10u);
  FileBytes sizes;
  AppendU16(sizes, GetParam(), 10);
  AppendU16(sizes, GetParam(), 5);
  EXPECT_EQ(page.Find(50235)->value, sizes);
  // The strip: sizes and ten pixels in two bytes a row, those of kPicture.
  EXPECT_EQ(FileBytes(bytes.begin() + page.Find(273)->word, bytes.end()),
            (FileBytes{10, 5, 0xCB, 0x40, 0x8C, 0xC0, 0x55, 0x40, 0xFF, 0xC0, 0, 0}));
  EXPECT_EQ(page.Find(279)->word, 12u);

  const Back back = Load(20, 10);
  EXPECT_EQ(back.result, 1);
  EXPECT_EQ(back.sizes, "10x5 of 10x5") << "the sibling is given a bitmap of the stored size";
  EXPECT_EQ(back.rows, large);
  EXPECT_EQ(back.flags, (std::vector<uint32_t>{7, 3, 3, 3, 3, 3, 3, 3, 3, 11}));
}

TEST_P(StoredSizePage, LargerInTheFileComesBackInFullSize) {
  ASSERT_EQ(Save(kPicture, 30, 15), 1);
  const Back back = Load(10, 5);
  EXPECT_EQ(back.result, 1);
  EXPECT_EQ(back.sizes, "30x15 of 30x15");
  EXPECT_EQ(back.rows, kPicture);
}

TEST_P(StoredSizePage, LoadsIntoABitmapOfAnyWidth) {
  // The width is not compared with the page's: the stored rows are brought to any size.
  ASSERT_EQ(Save(kPicture, 10, 5), 1);
  EXPECT_EQ(Load(10, 5).rows, kPicture);
  EXPECT_EQ(Load(20, 10).rows, Enlarged(kPicture, 2));
  EXPECT_EQ(Load(30, 15).rows, Enlarged(kPicture, 3));
}

TEST_P(StoredSizePage, WithoutASizeItIsAPageOfItsOwnSize) {
  // Nothing is prepared for the sibling then but a descriptor of one pixel, and the page has no tag of sizes.
  sibling_->callback = Encode;
  ASSERT_EQ(Save(kPicture, 0, 0), 1);
  const FileDirectory page = ReadFilePage(file_.Read());
  EXPECT_EQ(page.Find(50235), nullptr);
  EXPECT_EQ(page.Find(256)->word, 10u);
}

TEST_P(StoredSizePage, SeveralInOneFileEachWithItsSize) {
  ASSERT_EQ(Save(Enlarged(kPicture, 2), 10, 5), 1);
  ASSERT_EQ(Save(kPicture, 20, 10, kSaveRequestAppend), 1);
  ASSERT_EQ(Save(Enlarged(kPicture, 3), 10, 5, kSaveRequestAppend), 1);
  EXPECT_EQ(Load(20, 10, 1).rows, Enlarged(kPicture, 2));
  const Back second = Load(10, 5, 2);
  EXPECT_EQ(second.sizes, "20x10 of 20x10");
  EXPECT_EQ(second.rows, kPicture);
  EXPECT_EQ(Load(30, 15, 3).rows, Enlarged(kPicture, 3));
}

TEST_P(StoredSizePage, ARowThatTheCallerRefusesEndsTheLoad) {
  ASSERT_EQ(Save(kPicture, 10, 5), 1);
  BitmapHandle bitmap = {};
  krnBitmapInit(&bitmap, kBitmapHandleSize, 10, 5, 1);
  FileInfoRecord info = {};
  FileOptions options = {};
  FilterLoadRequest request = {};
  std::string sizes;
  sibling_->callback = Decode;
  sibling_->callbackData = &sizes;
  sibling_.Do({OpenStep(), CallbackStep(), CloseStep()});
  request.fileName = file_.Name();
  request.bitmap = &bitmap;
  request.fileInfo = &info;
  request.fileOptions = &options;
  request.rowCallback = [](FileInfoRecord*, BitmapHandle*, uint8_t*, uint32_t, int32_t first, int32_t,
                           intptr_t) -> int32_t { return first == 2 ? -66 : 1; };
  EXPECT_EQ(fltLoad(&request), -66);
}

TEST_P(StoredSizePage, IsReportedUnderItsName) {
  ASSERT_EQ(Save(kPicture, 20, 10), 1);
  const VxFileHandle handle = krnFileOpen(file_.Name(), 0, 256);
  ASSERT_NE(handle, kKrnNoHandle);
  FileInfoRecord info = {};
  info.structSize = sizeof info;
  FileOptions options = {};
  FilterInfoRequest request = {};
  request.fileHandle = handle;
  request.fileInfo = &info;
  request.fileOptions = &options;
  sibling_.Do({});
  EXPECT_EQ(fltInfo(&request), 1);
  EXPECT_EQ(+info.fileFormat, kFormatStoredSize);
  EXPECT_EQ(+info.width, 10);
  EXPECT_EQ(+info.height, 5);
  EXPECT_EQ(+info.bitsPerPixel, 1);
  krnFileClose(handle);
}
