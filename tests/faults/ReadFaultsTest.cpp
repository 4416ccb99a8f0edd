// Faults in the reading operations: told codes, nothing left allocated or open, the file never touched.

#include <memory>

#include <gtest/gtest.h>

#include "faults/FaultRuns.h"
#include "save/SaveFixture.h"

namespace {

constexpr int32_t kWidth = 32;
constexpr int32_t kHeight = 20;

struct PageKind {
  const char* name;
  int32_t format;
  int32_t bits;
  uint32_t flags;
};

constexpr PageKind kPageKinds[] = {
    {"uncompressed", kFormatUncompressed, 8, 0},
    {"LZW", kFormatLzw, 24, kSavePredictor},
    {"PackBits", kFormatPackBits, 24, 0},
    {"tiles", kFormatUncompressed, 24, kSaveTiles},
    {"LZW tiles", kFormatLzw, 8, kSaveTiles},
    {"CMYK", kFormatUncompressedCmyk, 24, 0},
    {"YCbCr", kFormatUncompressedYCbCr, 24, 0},
    {"group 3", kFormatGroup3, 1, 0},
    {"group 4", kFormatGroup4, 1, 0},
};

std::vector<FileBytes> SomeRows(int32_t bits) {
  std::vector<FileBytes> rows(kHeight);
  for (size_t y = 0; y < rows.size(); ++y) {
    for (int32_t x = 0; x < kWidth * bits / 8; ++x) {
      rows[y].push_back(static_cast<uint8_t>(static_cast<size_t>(x) * 7 + y * 13));
    }
  }
  return rows;
}

FileBytes FileOfKind(const PageKind& kind, FileOrder order) {
  TempFile file;
  RowService service(kWidth, kHeight, kind.bits, SomeRows(kind.bits));
  service.palette.resize(256);
  service.palette[1] = {255, 255, 255, 0};
  SaveJob job(kind.format, kind.bits, &service, file.Name());
  job.options.flags = kind.flags | (order == FileOrder::kBig ? uint32_t{kSaveBigEndian} : 0u);
  job.options.tileWidth = job.options.tileHeight = 16;
  job.options.pageNumber = 1;
  EXPECT_EQ(job.Run(), kResultOk) << kind.name;
  return file.Read();
}

// Three planes of 8 bits, each in a strip of its own.
FileBytes PlanarFile(FileOrder order) {
  TiffBuilder file(order);
  file.AddPage()
      .Short(256, {8})
      .Short(257, {4})
      .Short(258, {8, 8, 8})
      .Short(259, {1})
      .Short(262, {2})
      .Short(277, {3})
      .Short(278, {4})
      .Short(284, {2})
      .Strips({FileBytes(32, 1), FileBytes(32, 2), FileBytes(32, 3)})
      .Sort();
  return file.Build();
}

int32_t Load(const char16_t* name, int32_t width, int32_t height, int32_t bits) {
  BitmapHandle bitmap = {};
  krnBitmapInit(&bitmap, kBitmapHandleSize, width, height, bits);
  FileOptions options = {};
  FileInfoRecord info = {};
  FilterLoadRequest request = {};
  request.fileName = name;
  request.bitmap = &bitmap;
  request.fileInfo = &info;
  request.fileOptions = &options;
  request.truncationStatus = 1;
  request.rowCallback = [](FileInfoRecord*, BitmapHandle*, uint8_t*, uint32_t, int32_t, int32_t, intptr_t) -> int32_t {
    return kResultOk;
  };
  const int32_t result = fltLoad(&request);
  krnGlobalFree(bitmap.lookupTable, __LINE__, "ReadFaultsTest"); // the bitmap's owner frees it
  return result;
}

int32_t Info(const char16_t* name) {
  const VxFileHandle handle = krnFileOpen(name, kKrnFileRead, kKrnShareRead);
  if (handle == kKrnNoHandle) {
    return kResultOpenFailed;
  }
  FileInfoRecord info = {};
  info.structSize = sizeof info;
  FilterInfoControl control = {sizeof control, kInfoCountPages};
  FileOptions options = {};
  FilterInfoRequest request = {};
  request.structSize = sizeof request;
  request.fileHandle = handle;
  request.fileInfo = &info;
  request.infoControl = &control;
  request.fileOptions = &options;
  const int32_t result = fltInfo(&request);
  krnFileClose(handle);
  return result;
}

int32_t RawPage(const char16_t* name) {
  TifFile file = {};
  int32_t result = Vx_OpenTIF(name, &file, sizeof file);
  if (result != kResultOk) {
    return result;
  }
  TifDirectory* block = nullptr;
  uint32_t layout = 0;
  result = Vx_GetTIFPage(&file, 1, &block, &layout);
  if (block != nullptr) {
    EXPECT_EQ(Vx_FreeTIFPage(block), kResultOk);
  }
  Vx_CloseTIF(&file);
  return result;
}

void TryAll(FaultedOperation operation) {
  operation.check = [&operation](const FaultCase&, int32_t, bool exists, const FileBytes& after) {
    ASSERT_TRUE(exists);
    ASSERT_EQ(after, operation.file);
  };
  CountFaults(RunWithFaults(operation));
}

const std::set<int32_t> kLoadCodes = {kResultOk,      kResultNoMemory,   kResultSeekFailed, kResultReadFailed,
                                      kResultNotTiff, kResultOpenFailed, kResultCodecShort, kResultLzwOverflow};
const std::set<int32_t> kInfoCodes = {kResultOk,         kResultRefused, kResultNoMemory,  kResultSeekFailed,
                                      kResultReadFailed, kResultNotTiff, kResultOpenFailed};
const std::set<int32_t> kRawCodes = {kResultOk,         kResultRefused, kResultNoMemory,   kResultSeekFailed,
                                     kResultReadFailed, kResultNotTiff, kResultOpenFailed, kResultNoSuchPage};

TEST(ReadFaults, LoadsGiveToldCodesAndReleaseAll) {
  for (const FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
    const std::string orderName = order == FileOrder::kBig ? ", big-endian" : ", little-endian";
    for (const PageKind& kind : kPageKinds) {
      FaultedOperation operation;
      operation.name = std::string("load ") + kind.name + orderName;
      operation.file = FileOfKind(kind, order);
      operation.told = kLoadCodes;
      if (kind.bits == 1) {
        operation.told.insert(kResultRefused); // the fax codec's answer
      }
      operation.run = [&kind](const char16_t* name) { return Load(name, kWidth, kHeight, kind.bits); };
      TryAll(operation);
    }
    FaultedOperation planar;
    planar.name = "load planes" + orderName;
    planar.file = PlanarFile(order);
    planar.told = kLoadCodes;
    planar.run = [](const char16_t* name) { return Load(name, 8, 4, 24); };
    TryAll(planar);
  }
}

TEST(ReadFaults, ReportsGiveToldCodesAndReleaseAll) {
  for (const PageKind& kind : kPageKinds) {
    FaultedOperation operation;
    operation.name = std::string("info ") + kind.name;
    operation.file = FileOfKind(kind, FileOrder::kLittle);
    operation.told = kInfoCodes;
    operation.run = Info;
    TryAll(operation);
  }
}

TEST(ReadFaults, RawPagesGiveToldCodesAndReleaseAll) {
  for (const FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
    for (const PageKind& kind : kPageKinds) {
      FaultedOperation operation;
      operation.name = std::string("raw page ") + kind.name;
      operation.file = FileOfKind(kind, order);
      operation.told = kRawCodes;
      operation.run = RawPage;
      TryAll(operation);
    }
  }
}

} // namespace
