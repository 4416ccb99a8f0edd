// The calls over the stream: what a sibling is given by information, load and save, and what comes back.

#include <array>

#include "Tif/Siblings.h"
#include "siblings/SiblingHandle.h"
#include "support/KernelGuard.h"
#include "support/TempFile.h"

namespace {

int32_t IgnoreRows(FileInfoRecord*, BitmapHandle*, uint8_t*, uint32_t, int32_t, int32_t, intptr_t) {
  return 1;
}

int32_t OtherRows(FileInfoRecord*, BitmapHandle*, uint8_t*, uint32_t, int32_t, int32_t, intptr_t) {
  return 1;
}

class SiblingCall : public testing::Test {
protected:
  SiblingCall() {
    page_.stripOffsets = offsets_.data();
    page_.stripByteCounts = counts_.data();
    page_.stripCount = 2;
    page_.viewPerspective = 6;
    page_.fillOrder = 1;
    options_.pageNumber = 9;
    options_.flags = 0x200000;
    load_.fileName = file_.Name();
    load_.bitmap = &own_;
    load_.rowCallback = IgnoreRows;
    load_.rowCallbackData = 41;
    load_.fileOptions = &options_;
    info_.fileHandle = handle_;
    info_.fileOptions = &options_;
  }
  ~SiblingCall() override { krnFileClose(handle_); }

  int32_t LoadStream(uint32_t row) {
    return TIFSiblingLoadStream(&load_, handle_, &target_, OtherRows, &page_, 30, 12, 52, row);
  }
  void ExpectRequestRestored() const {
    EXPECT_EQ(+load_.bitmap, &own_);
    EXPECT_EQ(+load_.rowCallback, IgnoreRows);
    EXPECT_EQ(+load_.rowCallbackData, 41);
    EXPECT_EQ(+options_.pageNumber, 9);
  }

  KernelGuard guard_;
  TempFile file_{FileBytes(100, 0x33)};
  VxFileHandle handle_ = krnFileOpen(file_.Name(), 0, 256);
  std::array<uint32_t, 2> offsets_ = {40, 60};
  std::array<uint32_t, 2> counts_ = {8, 4};
  TifPage page_ = {};
  FileOptions options_ = {};
  BitmapHandle own_ = {};
  BitmapHandle target_ = {};
  FilterLoadRequest load_ = {};
  FilterInfoRequest info_ = {};
};

constexpr int32_t kAnyResults[] = {1, 0, -1, -77, 5, -2147483647};

} // namespace

TEST_F(SiblingCall, InfoSeesPageOneOfTheFirstStrip) {
  Sibling sibling("VXWAVELET.DLL");
  for (int32_t result : kAnyResults) {
    sibling->result = result;
    sibling.Do({OpenStep(), SeekStep(0, 2), CloseStep()});
    EXPECT_EQ(TIFSiblingInfo(&info_, &page_, kSiblingWavelet), result);
    EXPECT_EQ(sibling->request, &info_);
    EXPECT_EQ(sibling->pageNumber, 1);
    EXPECT_EQ(sibling.Step(0).result, handle_);
    EXPECT_EQ(sibling.Step(1).result, 8);
    EXPECT_EQ(+options_.pageNumber, 9);
  }
}

TEST_F(SiblingCall, InfoOfAPageWithoutStripTablesIsTheRowsCode) {
  Sibling sibling("VXWAVELET.DLL");
  TifPage noOffsets = page_;
  noOffsets.stripOffsets = nullptr;
  TifPage noCounts = page_;
  noCounts.stripByteCounts = nullptr;
  TifPage noStrips = page_;
  noStrips.stripCount = 0;
  for (const TifPage* page : {&noOffsets, &noCounts, &noStrips}) {
    EXPECT_EQ(TIFSiblingInfo(&info_, page, kSiblingWavelet), -355);
  }
  EXPECT_EQ(sibling->calls, 0u);
}

TEST_F(SiblingCall, LoadStreamReplacesFourFieldsForTheCall) {
  Sibling sibling("VXBILEVEL1.DLL");
  for (int32_t result : kAnyResults) {
    sibling->result = result;
    own_.viewPerspective = 2;
    EXPECT_EQ(LoadStream(kSiblingBilevel1), result);
    EXPECT_EQ(sibling->request, &load_);
    EXPECT_EQ(sibling->bitmap, &target_);
    EXPECT_EQ(sibling->rowCallback, OtherRows);
    EXPECT_EQ(sibling->rowCallbackData, 52);
    EXPECT_EQ(sibling->pageNumber, 1);
    EXPECT_EQ(+target_.viewPerspective, 6u);
    EXPECT_EQ(+own_.viewPerspective, 2u);
    ExpectRequestRestored();
  }
  EXPECT_EQ(+options_.flags, 0x200000u);
}

TEST_F(SiblingCall, FillOrderTwoSetsAFlagAndLeavesIt) {
  Sibling sibling("VXJBIG.DLL");
  page_.fillOrder = 2;
  EXPECT_EQ(LoadStream(kSiblingJbig), 1);
  EXPECT_EQ(sibling->optionFlags, 0x200001u);
  EXPECT_EQ(+options_.flags, 0x200001u);
  page_.fillOrder = 1;
  EXPECT_EQ(LoadStream(kSiblingJbig), 1);
  EXPECT_EQ(+options_.flags, 0x200001u);
}

TEST_F(SiblingCall, LoadFileGoesToTheVectorLibraryWithTheRequestAsItStands) {
  Sibling sibling("VXVECTOR.DLL");
  load_.bitmap = nullptr;
  page_.fillOrder = 2;
  for (int32_t result : kAnyResults) {
    sibling->result = result;
    sibling.Do({OpenStep(), SeekStep(0, 2), SeekStep(0, 0), CloseStep()});
    EXPECT_EQ(TIFSiblingLoadFile(&load_, handle_, &page_), result);
    EXPECT_EQ(sibling->bitmap, nullptr);
    EXPECT_EQ(sibling->rowCallback, IgnoreRows);
    EXPECT_EQ(sibling->pageNumber, 9);
    EXPECT_EQ(sibling->optionFlags, 0x200000u);
    EXPECT_EQ(sibling.Step(1).result, 8);
  }
}

TEST_F(SiblingCall, ProbeSeesTheWholeFileThroughPlainCalls) {
  Sibling sibling("VXCAMRAW1.DLL");
  sibling->nameToOpen = file_.Name();
  for (int32_t result : kAnyResults) {
    sibling->result = result;
    sibling.Do({OpenStep(), SeekStep(0, 2), CloseStep()});
    EXPECT_EQ(TIFSiblingProbe(&info_, kSiblingCamera1), result);
    EXPECT_NE(sibling.Step(0).result, handle_) << "the file is really opened";
    EXPECT_EQ(sibling.Step(1).result, 100);
    EXPECT_EQ(sibling->pageNumber, 9);
  }
}
