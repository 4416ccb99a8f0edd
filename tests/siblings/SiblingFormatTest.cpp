// Pages of sibling formats from end to end: saved through fltSave, and loaded again through the same sibling.

#include <string>

#include <vxtif/vxtif.h>

#include "siblings/SiblingHandle.h"
#include "support/KernelGuard.h"
#include "support/TempFile.h"

namespace {

BitmapHandle rowDescriptor;
struct {
  uint8_t reserved[8];
  VxColor palette[2];
} rowContext = {{}, {{255, 255, 255, 0}, {0, 0, 0, 0}}};

int32_t Start(BitmapHandle* bitmap, BitmapHandle** descriptor, int32_t bitsPerPixel, uint32_t*, void**, int32_t,
              intptr_t, intptr_t, void** context) {
  krnBitmapInit(&rowDescriptor, kBitmapHandleSize, bitmap->width, bitmap->height, bitsPerPixel);
  *descriptor = &rowDescriptor;
  *context = &rowContext;
  return 1;
}

int32_t GetRow(BitmapHandle*, BitmapHandle* descriptor, void* row, int32_t, int32_t, uint32_t, intptr_t, intptr_t,
               void*) {
  std::memset(row, 0xF0, static_cast<size_t>(descriptor->bytesPerLine));
  return 1;
}

int32_t End(BitmapHandle*, BitmapHandle**, uint32_t*, int32_t, void**) {
  return 1;
}

struct FormatCase {
  int32_t format;
  uint32_t compression;
  const char* library;
};

constexpr FormatCase kFormats[] = {
    {139, 34661, "VXJBIG.DLL"},  {166, 34712, "VXJPEG2K.DLL"},   {167, 34711, "VXWAVELET.DLL"},
    {175, 34713, "VXJBIG.DLL"},  {180, 34716, "VXBILEVEL1.DLL"}, {186, 34717, "VXBILEVEL2.DLL"},
    {187, 34718, "VXJBIG2.DLL"},
};

class SiblingFormat : public testing::TestWithParam<FormatCase> {
protected:
  SiblingFormat() {
    krnBitmapInit(&bitmap_, kBitmapHandleSize, 16, 4, 1);
    options_.structSize = sizeof options_;
    options_.pageNumber = 1;
    request_.fileName = file_.Name();
    request_.bitmap = &bitmap_;
    request_.bitsPerPixel = 1;
    request_.fileFormat = GetParam().format;
    request_.fileOptions = &options_;
    request_.private50235 = &size_;
    request_.saveStart = Start;
    request_.saveGetRow = GetRow;
    request_.saveEnd = End;
  }
  uint32_t Tag(uint16_t tag, int32_t page = 1) {
    uint32_t value = 0;
    FileOptions options = {};
    options.pageNumber = page;
    FilterGetTagRequest get = {file_.Name(), tag, nullptr, nullptr, &value, &options};
    EXPECT_EQ(fltGetTag(&get), 1) << tag;
    return value;
  }

  KernelGuard guard_;
  TempFile file_;
  Sibling sibling_{GetParam().library};
  BitmapHandle bitmap_ = {};
  SaveOptions options_ = {};
  TifSizePair size_ = {12, 8, 2};
  FilterSaveRequest request_ = {};
};

INSTANTIATE_TEST_SUITE_P(Formats, SiblingFormat, testing::ValuesIn(kFormats),
                         [](const auto& tested) { return "Format" + std::to_string(tested.param.format); });

TEST_P(SiblingFormat, ThePageHoldsWhatTheSiblingWrote) {
  for (uint32_t order : {0u, uint32_t{kSaveBigEndian}}) {
    options_.flags = order;
    options_.pageNumber = 1;
    request_.fileFormat = GetParam().format;
    sibling_->result = 1;
    sibling_.Do({OpenStep(), WriteStep("HEADER"), WriteStep("compressed data"), SeekStep(0, 0), WriteStep("header"),
                 SeekStep(0, 2), WriteStep(".")});
    ASSERT_EQ(fltSave(&request_), 1);
    EXPECT_STREQ(sibling_->entryPoint, "Save");
    EXPECT_EQ(sibling_.Step(5).result, 21);
    EXPECT_EQ(+request_.bitmap, &bitmap_);
    EXPECT_EQ(Tag(259), GetParam().compression);
    EXPECT_EQ(Tag(279), 22u);
    const FileBytes bytes = file_.Read();
    ASSERT_EQ(bytes.size(), Tag(273) + 22);
    EXPECT_EQ(std::string(bytes.end() - 22, bytes.end()), "headercompressed data.");

    // The same library reads its stream back out of the page.
    sibling_->result = 5;
    sibling_.Do({OpenStep(), SeekStep(0, 2), SeekStep(6, 0), ReadStep(10)});
    BitmapHandle target = {};
    krnBitmapInit(&target, kBitmapHandleSize, 16, 4, 1);
    FileInfoRecord info = {};
    FileOptions read = {};
    FilterLoadRequest load = {};
    load.fileName = file_.Name();
    load.bitmap = &target;
    load.fileInfo = &info;
    load.fileOptions = &read;
    EXPECT_EQ(fltLoad(&load), 5);
    EXPECT_EQ(sibling_.Step(1).result, 22);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(sibling_.Step(3).data), 10), "compressed");
  }
}

TEST_P(SiblingFormat, AFailureTakesTheNewFileBack) {
  for (int32_t result : {0, -5}) {
    sibling_->result = result;
    request_.fileFormat = GetParam().format;
    sibling_.Do({OpenStep(), WriteStep("partial")});
    EXPECT_EQ(fltSave(&request_), result);
    EXPECT_FALSE(file_.Exists());
  }
}

TEST_P(SiblingFormat, AFailureTakesTheAppendedPageBack) {
  sibling_.Do({OpenStep(), WriteStep("page one")});
  ASSERT_EQ(fltSave(&request_), 1);
  request_.fileFormat = GetParam().format;
  request_.flags = kSaveRequestAppend;
  sibling_->result = -77;
  EXPECT_EQ(fltSave(&request_), -77);
  EXPECT_EQ(Tag(279), 8u);
  FileOptions second = {};
  second.pageNumber = 2;
  FilterGetTagRequest get = {file_.Name(), 256, nullptr, nullptr, nullptr, &second};
  EXPECT_EQ(fltGetTag(&get), -310);
}

} // namespace
