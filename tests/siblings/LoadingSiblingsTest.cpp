// Loading of sibling libraries: the row codes of missing libraries, lazy loading, rows that stay loaded, libraries
// without an entry point. Loaded rows stay for the life of the process, so each test has rows of its own, and the tests
// of the other files run in another program.

#include "Tif/EntryPoint.h"
#include "Tif/Siblings.h"
#include "siblings/SiblingHandle.h"
#include "support/KernelGuard.h"
#include "support/TempFile.h"

namespace {

struct RowCase {
  uint32_t row;
  const char* library;
  int32_t missing;
};

constexpr RowCase kWholeRows[] = {
    {0, "VXJBIG.DLL", -319},    {1, "VXJBIG2.DLL", -824},   {2, "VXVECTOR.DLL", -309},  {3, "VXJPEG2K.DLL", -541},
    {5, "VXCAMRAW1.DLL", -819}, {6, "VXCAMRAW2.DLL", -820}, {7, "VXCAMRAW3.DLL", -821}, {10, "VXBILEVEL2.DLL", -823},
};

// These come without an entry point each.
constexpr RowCase kWithoutInfo = {4, "VXWAVELET.DLL", -355};
constexpr RowCase kWithoutLoad = {8, "VXSEGMENT.DLL", -818};
constexpr RowCase kWithoutSave = {9, "VXBILEVEL1.DLL", -822};

struct LoadCall {
  FileBytes bytes = FileBytes(64, 0x11);
  TempFile file{bytes};
  FileOptions options = {};
  BitmapHandle bitmap = {};
  FilterLoadRequest request = {};
  TifPage page = {};
  uint32_t offset = 8;
  uint32_t count = 16;
  VxFileHandle handle = krnFileOpen(file.Name(), 0, 256);

  LoadCall() {
    options.pageNumber = 7;
    bitmap.viewPerspective = 3;
    request.fileName = file.Name();
    request.fileOptions = &options;
    page.stripOffsets = &offset;
    page.stripByteCounts = &count;
    page.stripCount = 1;
    page.viewPerspective = 6;
    page.fillOrder = 2;
  }
  ~LoadCall() { krnFileClose(handle); }
  int32_t Load(uint32_t row) {
    return TIFSiblingLoadStream(&request, handle, &bitmap, nullptr, &page, offset, count, 0, row);
  }
  int32_t Info(uint32_t row) {
    FilterInfoRequest info = {};
    info.fileHandle = handle;
    info.fileOptions = &options;
    return TIFSiblingInfo(&info, &page, row);
  }
  int32_t Probe(uint32_t row) {
    FilterInfoRequest info = {};
    info.fileHandle = handle;
    info.fileOptions = &options;
    return TIFSiblingProbe(&info, row);
  }
  int32_t Save(int32_t format, uint32_t* byteCount) {
    SaveOptions saveOptions = {};
    saveOptions.pageNumber = 5;
    FilterSaveRequest save = {};
    save.fileName = file.Name();
    save.bitmap = &bitmap;
    save.fileFormat = format;
    save.fileOptions = &saveOptions;
    const int32_t result = TIFSiblingSaveStream(&save, handle, byteCount);
    EXPECT_EQ(+saveOptions.pageNumber, 5);
    formatAfter = save.fileFormat;
    return result;
  }
  int32_t formatAfter = 0;
};

// Twice, since a failed row is tried again at the next need.
void ExpectMissing(LoadCall& call, const RowCase& row) {
  UseSiblingFolder(nullptr);
  EXPECT_EQ(TIFSiblingMissing(row.row), row.missing);
  for (int again = 0; again < 2; ++again) {
    EXPECT_EQ(TIFLoadSibling(TIFModuleInstance(), row.row), 0);
    EXPECT_EQ(call.Load(row.row), row.missing);
    EXPECT_EQ(call.Info(row.row), row.missing);
    EXPECT_EQ(call.Probe(row.row), 0);
    EXPECT_EQ(+call.bitmap.viewPerspective, 3u) << "nothing is changed for a missing library";
    EXPECT_EQ(+call.options.flags, 0u);
    EXPECT_EQ(+call.options.pageNumber, 7);
  }
}

} // namespace

class SiblingRows : public testing::TestWithParam<RowCase> {};

TEST_P(SiblingRows, MissingThenFoundAtTheNextNeedThenKept) {
  const RowCase& row = GetParam();
  LoadCall call;
  ExpectMissing(call, row);
  Sibling sibling(row.library); // its folder is known from here on
  sibling->result = 77;
  EXPECT_EQ(call.Load(row.row), 77);
  EXPECT_STREQ(sibling->entryPoint, "Load");
  UseSiblingFolder(nullptr);
  EXPECT_EQ(TIFLoadSibling(nullptr, row.row), 1);
  EXPECT_EQ(call.Info(row.row), 77);
  EXPECT_STREQ(sibling->entryPoint, "Info");
  EXPECT_EQ(call.Probe(row.row), 77);
  EXPECT_EQ(sibling->calls, 3u);
}

INSTANTIATE_TEST_SUITE_P(Table, SiblingRows, testing::ValuesIn(kWholeRows),
                         [](const auto& tested) { return "Row" + std::to_string(tested.param.row); });

TEST(SiblingRowsPastTheTable, AreRefusedBeforeAnythingIsLoaded) {
  LoadCall call;
  for (uint32_t row : {11u, 12u, 0xFFFFFFFFu}) {
    EXPECT_EQ(call.Load(row), -13);
    EXPECT_EQ(call.Probe(row), 0);
    EXPECT_EQ(TIFLoadSibling(nullptr, row), 0);
    EXPECT_EQ(TIFSiblingMissing(row), -13);
  }
  EXPECT_EQ(+call.bitmap.viewPerspective, 3u);
}

TEST(PartialSiblings, OnlyTheMissingEntryPointIsTurnedDown) {
  LoadCall call;
  uint32_t byteCount = 1234;
  ExpectMissing(call, kWithoutInfo);
  ExpectMissing(call, kWithoutLoad);
  ExpectMissing(call, kWithoutSave);
  EXPECT_EQ(call.Save(180, &byteCount), -822);
  EXPECT_EQ(call.formatAfter, 180) << "nothing is changed for a missing library";
  EXPECT_EQ(byteCount, 1234u);
  EXPECT_EQ(+call.bitmap.viewPerspective, 3u);

  Sibling withoutInfo(kWithoutInfo.library, PARTIAL_FOLDER);
  EXPECT_EQ(call.Info(4), -355);
  EXPECT_EQ(call.Probe(4), 0);
  EXPECT_EQ(withoutInfo->calls, 0u);
  EXPECT_EQ(call.Load(4), 1);
  EXPECT_EQ(call.Save(167, &byteCount), 1);
  EXPECT_EQ(withoutInfo->calls, 2u);

  Sibling withoutLoad(kWithoutLoad.library, PARTIAL_FOLDER);
  EXPECT_EQ(call.Load(8), -818);
  EXPECT_EQ(call.Info(8), 1);
  EXPECT_EQ(withoutLoad->calls, 1u);

  Sibling withoutSave(kWithoutSave.library, PARTIAL_FOLDER);
  EXPECT_EQ(call.Save(180, &byteCount), -822);
  EXPECT_EQ(call.formatAfter, 180);
  EXPECT_EQ(call.Load(9), 1);
  EXPECT_EQ(withoutSave->calls, 1u);

  // Loaded is loaded: the whole library in another folder does not take its place.
  UseSiblingFolder(SIBLING_FOLDER);
  EXPECT_FALSE(TIFSiblingHas(4, "fltInfo"));
  EXPECT_TRUE(TIFSiblingHas(4, "fltLoad"));
}
