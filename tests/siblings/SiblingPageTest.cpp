// Delegation from end to end: pages of sibling compressions through fltLoad and fltInfo, whole and strip by strip.

#include <string>
#include <vector>

#include "Tif/Siblings.h"
#include "siblings/SiblingHandle.h"
#include "support/KernelGuard.h"
#include "support/TempFile.h"
#include "support/TiffBuilder.h"

#include <vxtif/formats.h>

namespace {

constexpr int32_t kWidth = 4;
constexpr int32_t kLength = 5;

FileBytes Text(const std::string& text) {
  return FileBytes(text.begin(), text.end());
}

// An 8-bit grey page of 4 x 5 in strips of `rowsPerStrip`.
FileBytes PageFile(uint16_t compression, const std::vector<FileBytes>& strips, uint16_t rowsPerStrip,
                   uint16_t extraTag = 0) {
  TiffBuilder file;
  TiffDirectory& page = file.AddPage();
  page.Short(256, {kWidth}).Short(257, {kLength}).Short(258, {8}).Short(259, {compression}).Short(262, {1});
  page.Strips(strips).Short(274, {6}).Short(277, {1}).Short(278, {rowsPerStrip});
  if (extraTag == 330) {
    page.RawWord(330, 4, 1, 0);
  } else if (extraTag != 0) {
    page.Byte(extraTag, {1, 0, 0, 0});
  }
  page.Sort();
  return file.Build();
}

struct RowCall {
  BitmapHandle* bitmap;
  uint32_t flags;
  int32_t first;
  int32_t count;
  FileBytes bytes;
};

// A load into a bitmap of the page's size, with the rows as the caller's sink gets them.
struct PageLoad {
  explicit PageLoad(const FileBytes& bytes) : file(bytes) {
    krnBitmapCreate(&bitmap, kBitmapHandleSize, 1, kWidth, kLength, 8, 0, 0, 1, 0, 0);
    request.fileName = file.Name();
    request.bitmap = &bitmap;
    request.rowCallback = Take;
    request.rowCallbackData = reinterpret_cast<intptr_t>(this);
    request.fileInfo = &info;
    request.fileOptions = &options;
    request.truncationStatus = 1;
  }
  ~PageLoad() { krnBitmapFree(&bitmap); }

  static int32_t Take(FileInfoRecord*, BitmapHandle* target, uint8_t* rows, uint32_t flags, int32_t firstRow,
                      int32_t rowCount, intptr_t self) {
    auto* load = reinterpret_cast<PageLoad*>(self);
    load->calls.push_back({target, flags, firstRow, rowCount, FileBytes(rows, rows + kWidth)});
    return load->answer;
  }
  int32_t Run() {
    calls.clear();
    return fltLoad(&request);
  }

  KernelGuard guard;
  TempFile file;
  BitmapHandle bitmap = {};
  FileInfoRecord info = {};
  FileOptions options = {};
  FilterLoadRequest request = {};
  std::vector<RowCall> calls;
  int32_t answer = 1;
};

// Emits rows as a sibling does: as many as its bitmap is high, each made of the row's number and the stream's first
// byte, one call a row. The result of the receiver ends it.
int32_t EmitRows(VxFileHandle handle, void* request, void*) {
  auto* load = static_cast<FilterLoadRequest*>(request);
  uint8_t first = 0;
  krnFileSeek(handle, 0, 0);
  krnFileRead(handle, &first, 1);
  for (int32_t row = 0; row < load->bitmap->height; ++row) {
    uint8_t bytes[64];
    std::memset(bytes, first + row, sizeof bytes);
    const int32_t result = load->rowCallback(load->fileInfo, load->bitmap, bytes, 3, row, 1, load->rowCallbackData);
    if (result != 1) {
      return result;
    }
  }
  return 1;
}

struct CompressionCase {
  uint16_t compression;
  const char* library;
};

constexpr CompressionCase kCompressions[] = {
    {34661, "VXJBIG.DLL"},     {34713, "VXJBIG.DLL"},    {34718, "VXJBIG2.DLL"},   {34712, "VXJPEG2K.DLL"},
    {33003, "VXJPEG2K.DLL"},   {34711, "VXWAVELET.DLL"}, {34715, "VXSEGMENT.DLL"}, {34716, "VXBILEVEL1.DLL"},
    {34717, "VXBILEVEL2.DLL"}, {32010, "VXBILEVEL2.DLL"}};

} // namespace

class SiblingCompression : public testing::TestWithParam<CompressionCase> {};

TEST_P(SiblingCompression, AWholePageGoesThroughTheRowStageToTheCaller) {
  Sibling sibling(GetParam().library);
  PageLoad load(PageFile(GetParam().compression, {Text("Astrip of twenty two b")}, kLength));
  sibling->callback = EmitRows;
  sibling.Do({OpenStep(), SeekStep(0, 2), CallbackStep(), CloseStep()});
  EXPECT_EQ(load.Run(), 1);
  EXPECT_EQ(sibling->calls, 1u);
  EXPECT_EQ(sibling.Step(1).result, 22);
  EXPECT_EQ(sibling.Step(2).result, 1);
  EXPECT_EQ(sibling->bitmap, &load.bitmap);
  EXPECT_EQ(+load.bitmap.viewPerspective, 6u);
  ASSERT_EQ(load.calls.size(), size_t{kLength});
  for (int32_t row = 0; row < kLength; ++row) {
    const RowCall& call = load.calls[static_cast<size_t>(row)];
    EXPECT_EQ(call.bitmap, &load.bitmap);
    EXPECT_EQ(call.first, row);
    EXPECT_EQ(call.count, 1);
    EXPECT_EQ(call.flags, row == 0 ? 7u : row == kLength - 1 ? 11u : 3u);
    EXPECT_EQ(call.bytes, FileBytes(kWidth, static_cast<uint8_t>('A' + row)));
  }
}

TEST_P(SiblingCompression, StripsGoToTheSiblingOneByOne) {
  Sibling sibling(GetParam().library);
  PageLoad load(PageFile(GetParam().compression, {Text("Kone"), Text("Utwo__"), Text("athree")}, 2));
  sibling->callback = EmitRows;
  sibling.Do({OpenStep(), SeekStep(0, 2), CallbackStep(), CloseStep()});
  EXPECT_EQ(load.Run(), 1);
  EXPECT_EQ(sibling->calls, 3u);
  EXPECT_EQ(sibling.Step(1).result, 6);
  EXPECT_NE(sibling->bitmap, &load.bitmap);
  ASSERT_EQ(load.calls.size(), size_t{kLength});
  const std::string expected = "KLUVa";
  for (size_t row = 0; row < expected.size(); ++row) {
    EXPECT_EQ(load.calls[row].bytes, FileBytes(kWidth, static_cast<uint8_t>(expected[row]))) << row;
    EXPECT_EQ(load.calls[row].first, static_cast<int32_t>(row));
  }
}

TEST_P(SiblingCompression, FailuresEndTheLoad) {
  Sibling sibling(GetParam().library);
  for (const std::vector<FileBytes>& strips :
       {std::vector<FileBytes>{Text("one")}, {Text("a"), Text("b"), Text("c")}}) {
    PageLoad load(PageFile(GetParam().compression, strips, strips.size() == 1 ? kLength : 2));
    sibling->calls = 0;
    sibling->result = -77;
    sibling.Do({});
    EXPECT_EQ(load.Run(), -77);
    EXPECT_EQ(sibling->calls, 1u);
    EXPECT_EQ(load.calls.size(), 0u);

    load.answer = 0; // the caller's sink has had enough
    sibling->result = 1;
    sibling->callback = EmitRows;
    sibling.Do({CallbackStep()});
    const int32_t result = load.Run();
    EXPECT_EQ(load.calls.size(), 1u);
    if (strips.size() == 1) {
      EXPECT_EQ(sibling.Step(0).result, 0) << "the sibling is told";
      EXPECT_EQ(result, 1) << "and its own result counts";
    } else {
      EXPECT_EQ(result, 0);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Codes, SiblingCompression, testing::ValuesIn(kCompressions),
                         [](const auto& tested) { return "Compression" + std::to_string(tested.param.compression); });

TEST(SiblingPages, FillOrderTwoIsToldInTheOptions) {
  Sibling sibling("VXJBIG.DLL");
  TiffBuilder file;
  file.AddPage(GrayPage(kWidth, kLength).Remove(259).Short(259, {34661}).Short(266, {2}).Sort());
  PageLoad load(file.Build());
  EXPECT_EQ(load.Run(), 1);
  EXPECT_EQ(sibling->optionFlags, 1u);
  EXPECT_EQ(+load.options.flags, 1u);
}

TEST(SiblingPages, VectorPagesGoWholeWithoutABitmap) {
  Sibling sibling("VXVECTOR.DLL");
  for (uint16_t compression : {uint16_t{34710}, uint16_t{33001}, uint16_t{34714}}) {
    PageLoad load(PageFile(compression, {Text("vector"), Text("more")}, 3));
    load.request.bitmap = nullptr;
    load.options.pageNumber = 1;
    sibling->result = 44;
    sibling.Do({OpenStep(), ReadStep(6), SeekStep(0, 2), CloseStep()});
    EXPECT_EQ(load.Run(), 44) << compression;
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(sibling.Step(1).data), 6), "vector");
    EXPECT_EQ(sibling.Step(2).result, 6);
    EXPECT_EQ(sibling->rowCallback, PageLoad::Take);
  }
}

namespace {

// fltInfo on an open handle.
struct PageInfo {
  explicit PageInfo(const FileBytes& bytes) : file(bytes), handle(krnFileOpen(file.Name(), 0, 256)) {
    record.structSize = sizeof record;
    record.fileFormat = -5;
    request.fileHandle = handle;
    request.fileInfo = &record;
    request.fileOptions = &options;
    options.pageNumber = 1;
  }
  ~PageInfo() { krnFileClose(handle); }
  int32_t Run() { return fltInfo(&request); }

  KernelGuard guard;
  TempFile file;
  VxFileHandle handle;
  FileInfoRecord record = {};
  FileOptions options = {};
  FilterInfoRequest request = {};
};

} // namespace

TEST(SiblingReports, VectorPagesAreReportedByTheSibling) {
  Sibling sibling("VXVECTOR.DLL");
  for (uint16_t compression : {uint16_t{34710}, uint16_t{34714}}) {
    PageInfo info(PageFile(compression, {Text("vector")}, kLength));
    for (int32_t result : {1, 0, -77}) {
      sibling->result = result;
      sibling.Do({OpenStep(), SeekStep(0, 2), CloseStep()});
      EXPECT_EQ(info.Run(), result) << compression;
      EXPECT_EQ(sibling.Step(0).result, info.handle);
      EXPECT_EQ(sibling.Step(1).result, 6);
      EXPECT_EQ(sibling->request, &info.request);
    }
  }
}

// Its strip tables are not read for a report: there is no stream to show.
TEST(SiblingReports, TheOldVectorCodeIsNotAsked) {
  Sibling sibling("VXVECTOR.DLL");
  PageInfo info(PageFile(33001, {Text("vector")}, kLength));
  EXPECT_EQ(info.Run(), -309);
  EXPECT_EQ(sibling->calls, 0u);
}

TEST(SiblingReports, WaveletPagesAreReportedEitherWay) {
  Sibling sibling("VXWAVELET.DLL");
  PageInfo info(PageFile(34711, {Text("wave")}, kLength));
  sibling->result = -3;
  EXPECT_EQ(info.Run(), 1);
  EXPECT_EQ(sibling->calls, 1u);
  EXPECT_EQ(+info.record.fileFormat, -5);
  EXPECT_EQ(std::u16string(info.record.compressionName), u"Wavelet");
  sibling->result = 1;
  EXPECT_EQ(info.Run(), 1);
  EXPECT_EQ(+info.record.fileFormat, kFormatWavelet);
}

TEST(SiblingReports, CameraLibrariesAreOfferedTheFile) {
  const struct {
    const char* library;
    uint16_t tag;
  } kCases[] = {{"VXCAMRAW2.DLL", 330}, {"VXCAMRAW3.DLL", 37398}, {"VXCAMRAW1.DLL", 37398}};
  for (const auto& c : kCases) {
    // The tag alone decides who is asked; the others decline.
    Sibling first("VXCAMRAW1.DLL");
    Sibling second("VXCAMRAW2.DLL");
    Sibling third("VXCAMRAW3.DLL");
    first->result = second->result = third->result = 0;
    Sibling taker(c.library);
    PageInfo info(PageFile(1, {FileBytes(20)}, kLength, c.tag));
    taker->result = 1;
    EXPECT_EQ(info.Run(), 1);
    EXPECT_EQ(taker->calls, 1u) << c.library;
    EXPECT_EQ(+info.record.width, 0) << "the report was the sibling's to fill";
    taker->result = 0;
    EXPECT_EQ(info.Run(), 1);
    EXPECT_EQ(+info.record.width, kWidth) << "declined: an ordinary page";
    EXPECT_EQ(second->calls, c.tag == 330 ? 2u : 0u);
    EXPECT_EQ(third->calls, c.tag == 330 ? 0u : 2u);
  }
}
