// Saving through siblings: rows and rewriting of formats, the output stream, and the stored size of format 175.

#include <vector>

#include "Tif/Siblings.h"
#include "siblings/SiblingHandle.h"
#include "support/KernelGuard.h"
#include "support/TempFile.h"

namespace {

// A row service over a bitmap of its own making, with a failure at a chosen step.
struct RowSource {
  BitmapHandle descriptor = {};
  void* context[4] = {};
  int32_t startResult = 1;
  int32_t failingRow = -1;
  int32_t rowResult = 0;
  int32_t endResult = 1;
  int starts = 0, rows = 0, ends = 0;
  int32_t bitsAsked = 0;
  std::vector<uint32_t> flagsSeen;
} source;

int32_t Start(BitmapHandle*, BitmapHandle** descriptor, int32_t bitsPerPixel, uint32_t* flags, void** rowBufferOut,
              int32_t one, intptr_t extra1, intptr_t extra2, void** context) {
  source.starts += 1;
  source.bitsAsked = bitsPerPixel;
  EXPECT_EQ(rowBufferOut, nullptr);
  EXPECT_EQ(one, 1);
  EXPECT_EQ(extra1, 111);
  EXPECT_EQ(extra2, 222);
  source.flagsSeen.push_back(*flags);
  *flags = 0xBAD;
  if (source.startResult >= 1) {
    *descriptor = &source.descriptor;
    *context = &source.context;
  }
  return source.startResult;
}

// Row i of 1-bit pixels: white where (i + x) is even.
int32_t GetRow(BitmapHandle*, BitmapHandle* descriptor, void* rowBuffer, int32_t rowIndex, int32_t one, uint32_t flags,
               intptr_t extra1, intptr_t, void* context) {
  EXPECT_EQ(descriptor, &source.descriptor);
  EXPECT_EQ(one, 1);
  EXPECT_EQ(extra1, 111);
  EXPECT_EQ(context, &source.context);
  source.flagsSeen.push_back(flags);
  source.rows += 1;
  if (rowIndex == source.failingRow) {
    return source.rowResult;
  }
  std::memset(rowBuffer, rowIndex % 2 == 0 ? 0xAA : 0x55, static_cast<size_t>(descriptor->bytesPerLine));
  return 1;
}

int32_t End(BitmapHandle*, BitmapHandle** descriptor, uint32_t* flags, int32_t zero, void** context) {
  EXPECT_EQ(*descriptor, &source.descriptor);
  EXPECT_EQ(*context, &source.context);
  EXPECT_EQ(zero, 0);
  source.flagsSeen.push_back(*flags);
  source.ends += 1;
  return source.endResult;
}

class SiblingSave : public testing::Test {
protected:
  SiblingSave() {
    source = RowSource{};
    krnBitmapInit(&source.descriptor, kBitmapHandleSize, 8, 4, 1);
    krnBitmapInit(&bitmap_, kBitmapHandleSize, 8, 4, 1);
    bitmap_.viewPerspective = 6;
    options_.pageNumber = 3;
    request_.fileName = file_.Name();
    request_.bitmap = &bitmap_;
    request_.bitsPerPixel = 1;
    request_.flags = 0x44;
    request_.extra1 = 111;
    request_.extra2 = 222;
    request_.fileOptions = &options_;
    request_.saveStart = Start;
    request_.saveGetRow = GetRow;
    request_.saveEnd = End;
    krnFileSeek(handle_, 20, 0);
  }
  ~SiblingSave() override { krnFileClose(handle_); }

  int32_t Save(int32_t format) {
    request_.fileFormat = format;
    byteCount_ = 0xDEAD;
    return TIFSiblingSaveStream(&request_, handle_, &byteCount_);
  }
  FileBytes Written() {
    krnFileClose(handle_);
    handle_ = kKrnNoHandle;
    return file_.Read();
  }

  KernelGuard guard_;
  TempFile file_{FileBytes(30, '.')};
  VxFileHandle handle_ = krnFileOpen(file_.Name(), 2, 128);
  BitmapHandle bitmap_ = {};
  SaveOptions options_ = {};
  FilterSaveRequest request_ = {};
  uint32_t byteCount_ = 0;
};

class StoredSize : public SiblingSave {
protected:
  StoredSize() {
    request_.private50235 = &size_;
    sibling_->callbackData = this;
  }
  void ExpectUntouched() const {
    EXPECT_EQ(+request_.bitmap, &bitmap_);
    EXPECT_EQ(+request_.fileFormat, 175);
    EXPECT_EQ(+request_.flags, 0x44u);
    EXPECT_EQ(byteCount_, 0xDEADu);
    EXPECT_EQ(sibling_->calls, 0u);
  }

  TifSizePair size_ = {12, 16, 6};
  Sibling sibling_{"VXJBIG.DLL"};
};

struct FormatCase {
  int32_t asked;
  int32_t given;
  const char* library;
};

} // namespace

TEST_F(SiblingSave, FormatPicksTheRowAndIsRewrittenForGood) {
  constexpr FormatCase kFormats[] = {{139, 139, "VXJBIG.DLL"},     {166, 164, "VXJPEG2K.DLL"},
                                     {167, 165, "VXWAVELET.DLL"},  {180, 32, "VXBILEVEL1.DLL"},
                                     {186, 185, "VXBILEVEL2.DLL"}, {187, 183, "VXJBIG2.DLL"}};
  for (const FormatCase& format : kFormats) {
    Sibling sibling(format.library);
    EXPECT_EQ(Save(format.asked), 1) << format.asked;
    EXPECT_EQ(sibling->calls, 1u);
    EXPECT_STREQ(sibling->entryPoint, "Save");
    EXPECT_EQ(sibling->fileFormat, format.given);
    EXPECT_EQ(+request_.fileFormat, format.given);
    EXPECT_EQ(sibling->request, &request_);
    EXPECT_EQ(sibling->pageNumber, 1);
    EXPECT_EQ(+options_.pageNumber, 3);
  }
}

TEST_F(SiblingSave, OtherFormatsAreRefused) {
  for (int32_t format : {0, 3, 17, 32, 140, 164, 165, 176, 177, 178, 183, 185, -1}) {
    EXPECT_EQ(Save(format), -16) << format;
    EXPECT_EQ(+request_.fileFormat, format);
    EXPECT_EQ(byteCount_, 0xDEADu);
  }
}

TEST_F(SiblingSave, OutputBeginsAtTheCurrentPositionAndHasNoEnd) {
  Sibling sibling("VXJPEG2K.DLL");
  sibling.Do({OpenStep(), WriteStep("0123456789AB"), SeekStep(0, 1), SeekStep(2, 0), WriteStep("xy"), SeekStep(0, 2),
              WriteStep("CD"), SeekStep(-1, 2), CloseStep(), WriteStep("!")});
  EXPECT_EQ(Save(166), 1);
  EXPECT_EQ(sibling.Step(0).result, handle_);
  EXPECT_EQ(sibling.Step(2).result, 12);
  EXPECT_EQ(sibling.Step(3).result, 2);
  EXPECT_EQ(sibling.Step(5).result, 12) << "the real end of the file, counted from where the output began";
  EXPECT_EQ(sibling.Step(7).result, 13);
  EXPECT_EQ(byteCount_, 14u);
  const FileBytes bytes = Written();
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), std::string(20, '.') + "01xy456789ABC!");
}

TEST_F(SiblingSave, ByteCountReachesToTheEndOfTheFile) {
  Sibling sibling("VXJPEG2K.DLL");
  EXPECT_EQ(Save(166), 1);
  EXPECT_EQ(byteCount_, 10u);
}

TEST_F(SiblingSave, FailureOfTheSiblingRestoresAllTheSame) {
  Sibling sibling("VXWAVELET.DLL");
  sibling->viewToLeave = 1;
  for (int32_t result : {0, -5, -77, 12}) {
    sibling->result = result;
    EXPECT_EQ(Save(167), result);
    EXPECT_EQ(+options_.pageNumber, 3);
    EXPECT_EQ(+bitmap_.viewPerspective, 6u);
    EXPECT_EQ(byteCount_, 10u);
    EXPECT_EQ(krnFileSeek(handle_, 20, 0), 20u) << "positions are the file's own again";
  }
}

TEST_F(SiblingSave, AViewOfFourIsNotWrittenBack) {
  Sibling sibling("VXWAVELET.DLL");
  sibling->viewToLeave = 8;
  for (uint32_t view = 1; view <= 8; ++view) {
    bitmap_.viewPerspective = view;
    EXPECT_EQ(Save(167), 1);
    EXPECT_EQ(+bitmap_.viewPerspective, view == 4 ? 8 : view);
  }
}

TEST_F(StoredSize, SavesTheResizedRows) {
  size_ = {12, 16, 2};
  source.descriptor.viewPerspective = 5;
  struct Seen {
    std::vector<uint8_t> rows;
  } seen;
  sibling_->callbackData = &seen;
  sibling_->callback = [](VxFileHandle, void* request, void* data) {
    auto* save = static_cast<FilterSaveRequest*>(request);
    auto& rows = static_cast<Seen*>(data)->rows;
    rows.resize(4);
    for (int32_t row = 0; row < 2; ++row) {
      krnBitmapGetRow(save->bitmap, rows.data() + 2 * row, row, 2);
    }
    return 0;
  };
  sibling_.Do({CallbackStep(), OpenStep(), WriteStep("jbigdata........")});
  request_.bitsPerPixel = 1;
  EXPECT_EQ(Save(175), 1);
  EXPECT_EQ(sibling_->fileFormat, 139);
  EXPECT_EQ(+request_.fileFormat, 139);
  EXPECT_NE(sibling_->bitmap, &bitmap_);
  EXPECT_EQ(+sibling_->bitmapCopy.width, 16);
  EXPECT_EQ(+sibling_->bitmapCopy.height, 2);
  EXPECT_EQ(+sibling_->bitmapCopy.bitsPerPixel, 1);
  EXPECT_EQ(+sibling_->bitmapCopy.viewPerspective, 5u);
  // 10101010 doubled in width; of four rows two remain, both even ones or both odd ones by the rule of the kernel.
  ASSERT_EQ(seen.rows.size(), 4u);
  EXPECT_TRUE(seen.rows[0] == 0xCC || seen.rows[0] == 0x33) << int{seen.rows[0]};
  EXPECT_EQ(seen.rows, std::vector<uint8_t>(4, seen.rows[0]));
  EXPECT_EQ(+request_.bitmap, &bitmap_);
  EXPECT_EQ(byteCount_, 16u);
  EXPECT_EQ(source.starts, 1);
  EXPECT_EQ(source.rows, 4);
  EXPECT_EQ(source.ends, 1);
  EXPECT_EQ(source.bitsAsked, 1);
  EXPECT_EQ(source.flagsSeen, std::vector<uint32_t>(6, 0x44)) << "what the service does to the flags is undone";
  EXPECT_EQ(+request_.flags, 0x44u);
}

TEST_F(StoredSize, ASizeOfZeroSavesTheEmptyDescriptor) {
  for (TifSizePair size : {TifSizePair{12, 0, 6}, TifSizePair{12, 16, 0}, TifSizePair{12, 0, 0}}) {
    size_ = size;
    sibling_->calls = 0;
    EXPECT_EQ(Save(175), 1);
    EXPECT_EQ(sibling_->calls, 1u);
    EXPECT_EQ(+sibling_->bitmapCopy.width, 1);
    EXPECT_EQ(+sibling_->bitmapCopy.height, 1);
    EXPECT_EQ(+sibling_->bitmapCopy.bitsPerPixel, 1);
    EXPECT_EQ(+request_.bitmap, &bitmap_);
    EXPECT_EQ(source.starts, 0);
  }
}

TEST_F(StoredSize, ARecordOfAnotherSizeIsRefused) {
  for (uint32_t size : {0u, 8u, 11u, 13u, 0xFFFFFFFFu}) {
    size_.structSize = size;
    EXPECT_EQ(Save(175), -789);
    ExpectUntouched();
  }
  request_.private50235 = nullptr;
  EXPECT_EQ(Save(175), -789);
  ExpectUntouched();
}

TEST_F(StoredSize, AStartThatFailsIsHandedBack) {
  for (int32_t result : {0, -1, -27}) {
    source.startResult = result;
    EXPECT_EQ(Save(175), result);
    ExpectUntouched();
    EXPECT_EQ(source.ends, 0);
  }
}

TEST_F(StoredSize, AStartAboveOneIsSuccess) {
  source.startResult = 5;
  EXPECT_EQ(Save(175), 1);
  EXPECT_EQ(source.ends, 1);
}

TEST_F(StoredSize, ARowThatFailsEndsTheService) {
  for (int32_t row = 0; row < 4; ++row) {
    for (int32_t result : {0, -5, 2}) {
      source.failingRow = row;
      source.rowResult = result;
      source.rows = source.ends = 0;
      EXPECT_EQ(Save(175), result);
      ExpectUntouched();
      EXPECT_EQ(source.rows, row + 1);
      EXPECT_EQ(source.ends, 1);
    }
  }
}

TEST_F(StoredSize, ADescriptorThatCannotBeMadeEndsTheService) {
  source.descriptor.width = 0;
  EXPECT_EQ(Save(175), -13);
  ExpectUntouched();
  EXPECT_EQ(source.rows, 0);
  EXPECT_EQ(source.ends, 1);
}

TEST_F(StoredSize, ASizeThatCannotBeMadeIsRefused) {
  size_ = {12, 0xFFFFFFFF, 5};
  EXPECT_EQ(Save(175), -13);
  ExpectUntouched();
  EXPECT_EQ(source.ends, 1);
}

TEST_F(StoredSize, EveryFailedAllocationIsAnError) {
  for (uint64_t nth = 1;; ++nth) {
    AllocFaults faults(nth);
    source.rows = source.ends = source.starts = 0;
    const int32_t result = Save(175);
    if (faults.Calls() < nth) {
      EXPECT_EQ(result, 1);
      EXPECT_GE(nth, 3u) << "pixels and row at least";
      break;
    }
    EXPECT_EQ(result, -1) << nth;
    EXPECT_EQ(source.ends, source.starts);
    ExpectUntouched();
  }
}

TEST_F(StoredSize, TheServicesEndIsNotLookedAt) {
  source.endResult = -9;
  EXPECT_EQ(Save(175), 1);
}

TEST_F(StoredSize, FailureOfTheSiblingFreesTheCopy) {
  sibling_->result = -44;
  EXPECT_EQ(Save(175), -44);
  EXPECT_EQ(+request_.bitmap, &bitmap_);
}
