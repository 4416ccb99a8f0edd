// The operations that only read.

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>
#include <vxkernel/vxkernel.h>
#include <vxtif/vxtif.h>

#include "limits/EveryOperation.h"
#include "support/TempFile.h"

namespace {

constexpr uint32_t kLastPage = 0xFFFFFFFFu;
constexpr uint32_t kRawPages = 4;
constexpr uint32_t kAbsurdBytes = 0xFFFFFFFF;
constexpr uint64_t kHostBuffer = 1 << 20; // what a host offers for a tag or a comment

// Tags of every home: strip and tile tables, palettes, geo keys, IPTC, Exif, ones that nobody knows.
constexpr uint16_t kTagsAsked[] = {256, 258,   270,   273,   279,   320,   324,  330,
                                   700, 33550, 33723, 34665, 34735, 34736, 37500};
// Comments of every home and form.
constexpr uint32_t kCommentsAsked[] = {kCommentArtist,      kCommentSoftware,    kCommentMakerNote,
                                       kCommentUserComment, kCommentGPSLatitude, kCommentGPSAreaInformation,
                                       kCommentKeywords,    kCommentCaption,     kCommentCategory};

struct Report {
  int32_t result = 0;
  FileInfoRecord info = {};
};

Report Describe(const char16_t* name, int32_t page, uint32_t infoFlags) {
  Report report;
  const VxFileHandle handle = krnFileOpen(name, kKrnFileRead, kKrnShareRead);
  if (handle == kKrnNoHandle) {
    report.result = kResultOpenFailed;
    return report;
  }
  report.info.structSize = sizeof report.info;
  FilterInfoControl control = {sizeof control, infoFlags};
  FileOptions options = {};
  options.pageNumber = page;
  FilterInfoRequest request = {};
  request.structSize = sizeof request;
  request.fileHandle = handle;
  request.fileInfo = &report.info;
  request.infoControl = &control;
  request.fileOptions = &options;
  report.result = fltInfo(&request);
  krnFileClose(handle);
  return report;
}

uint64_t PixelBytes(const FileInfoRecord& info) {
  if (info.width <= 0 || info.height <= 0 || info.bitsPerPixel < 1) {
    return 0;
  }
  const uint64_t bits = static_cast<uint64_t>(info.width) * static_cast<uint64_t>(info.bitsPerPixel);
  const uint64_t rowBytes = (bits + 31) / 32 * 4;
  const auto height = static_cast<uint64_t>(info.height);
  return rowBytes > UINT64_MAX / height ? UINT64_MAX : rowBytes * height;
}

// What a host that refuses pages out of proportion would load.
bool HostAccepts(const Report& report) {
  const FileInfoRecord& info = report.info;
  return report.result == kResultOk && info.width > 0 && info.height > 0 && info.bitsPerPixel > 0 &&
         info.bitsPerPixel <= 64 && PixelBytes(info) <= kHostMostPixelBytes;
}

int32_t CountRow(FileInfoRecord*, BitmapHandle*, uint8_t*, uint32_t, int32_t, int32_t rowCount, intptr_t data) {
  *reinterpret_cast<uint64_t*>(data) += static_cast<uint64_t>(rowCount);
  return kResultOk;
}

int32_t Load(const char16_t* name, FileInfoRecord* info, int32_t page, uint32_t flags, uint32_t controlFlags) {
  BitmapHandle bitmap = {};
  krnBitmapInit(&bitmap, kBitmapHandleSize, info->width, info->height, info->bitsPerPixel);
  bitmap.colorsUsed = info->bitsPerPixel <= 8 ? 1u << info->bitsPerPixel : 0;
  FileOptions options = {};
  options.pageNumber = page;
  options.flags = flags;
  FilterInfoControl control = {sizeof control, controlFlags};
  uint64_t rows = 0;
  FilterLoadRequest request = {};
  request.fileName = name;
  request.bitmap = &bitmap;
  request.rowCallback = CountRow;
  request.rowCallbackData = reinterpret_cast<intptr_t>(&rows);
  request.fileInfo = info;
  request.infoControl = &control;
  request.fileOptions = &options;
  request.truncationStatus = 1;
  const int32_t result = fltLoad(&request);
  krnGlobalFree(bitmap.lookupTable, __LINE__, "ReadingOperations"); // the bitmap's owner frees it
  return result;
}

int32_t LoadPlanes(const char16_t* name, FileInfoRecord* info) {
  constexpr int32_t kPlanes = 5;
  BitmapHandle planes[kPlanes];
  BitmapHandle* pointers[kPlanes];
  for (int32_t i = 0; i < kPlanes; ++i) {
    krnBitmapInit(&planes[i], kBitmapHandleSize, info->width, info->height, info->bitsPerPixel > 32 ? 16 : 8);
    pointers[i] = &planes[i];
  }
  FileOptions options = {};
  uint64_t rows = 0;
  FilterLoadCMYKRequest request = {};
  request.fileName = name;
  request.bitmaps = pointers;
  request.bitmapCount = kPlanes;
  request.fileInfo = info;
  request.fileOptions = &options;
  request.rowCallback = CountRow;
  request.rowCallbackData = reinterpret_cast<intptr_t>(&rows);
  return fltLoadCMYKArray(&request);
}

// The file taken for bare rows, PackBits data or fax data of a size that the host says.
int32_t LoadRaw(const char16_t* name, int32_t format, int32_t bits) {
  constexpr int32_t kSide = 1000;
  BitmapHandle bitmap = {};
  krnBitmapInit(&bitmap, kBitmapHandleSize, kSide, kSide, bits);
  FileOptions options = {};
  FileInfoRecord info = {};
  info.fileFormat = format;
  info.bitsPerPixel = bits;
  uint64_t rows = 0;
  FilterLoadRequest request = {};
  request.fileName = name;
  request.bitmap = &bitmap;
  request.rowCallback = CountRow;
  request.rowCallbackData = reinterpret_cast<intptr_t>(&rows);
  request.fileInfo = &info;
  request.fileOptions = &options;
  request.rawFlags = kRawView1;
  request.rawStripBytes = kAbsurdBytes;
  request.rawPhotometric = 1;
  request.rawPlanarConfiguration = 1;
  request.truncationStatus = 1;
  const int32_t result = fltLoad(&request);
  krnGlobalFree(bitmap.lookupTable, __LINE__, "ReadingOperations");
  return result;
}

// The host's routes for a stamp, as an application has them.
int32_t StampInfo(intptr_t file, FileInfoRecord* info, uint32_t, uint32_t, FileOptions* options) {
  const Report report = Describe(reinterpret_cast<const char16_t*>(file), options->pageNumber, 0);
  *info = report.info;
  return report.result;
}

int32_t StampLoad(intptr_t file, BitmapHandle*, uint32_t, uint32_t, uint32_t, FileOptions* options,
                  FileInfoRecord* info) {
  const Report report = {kResultOk, *info};
  return HostAccepts(report) ? Load(reinterpret_cast<const char16_t*>(file), info, options->pageNumber, 0, 0)
                             : int32_t{kResultNoMemory};
}

int32_t GetStamp(const char16_t* name) {
  BitmapHandle bitmap = {};
  FileOptions options = {};
  FilterStampRequest request = {reinterpret_cast<intptr_t>(name), &bitmap, &options, StampInfo, 0, StampLoad};
  return fltGetStamp(&request);
}

// As a host asks: the size first, then the value when it is one that a host takes.
int32_t GetTag(const char16_t* name, uint32_t tag, int32_t page) {
  uint16_t type = 0;
  uint32_t count = 0;
  FileOptions options = {};
  options.pageNumber = page;
  FilterGetTagRequest request = {name, tag, &type, &count, nullptr, &options};
  const int32_t result = fltGetTag(&request);
  constexpr uint64_t kLargestElement = 8;
  if (result != kResultOk || count * kLargestElement > kHostBuffer) {
    return result;
  }
  std::vector<uint8_t> value(kHostBuffer);
  request.data = value.data();
  return fltGetTag(&request);
}

int32_t GetComment(const char16_t* name, uint32_t comment, int32_t page) {
  FileOptions options = {};
  options.pageNumber = page;
  FilterCommentRequest request = {name, comment, nullptr, 0, &options};
  const int32_t size = fltComment(&request);
  if (size <= 0) {
    return size;
  }
  std::vector<uint8_t> value(std::min(static_cast<size_t>(size), size_t{kHostBuffer}));
  request.buffer = value.data();
  request.bufferSize = static_cast<uint32_t>(value.size());
  return fltComment(&request);
}

int32_t EnumGeoKeys(const char16_t* name, int32_t page) {
  FileOptions options = {};
  options.pageNumber = page;
  FilterEnumGeoKeysRequest request = {};
  request.fileName = name;
  request.callback = [](uint32_t, uint32_t, uint32_t, const void*, intptr_t) -> int32_t { return kResultOk; };
  request.fileOptions = &options;
  return fltEnumGeoKeys(&request);
}

// Opens the file; reads a directory, its palette and the classes of its tags; and so on along the chain.
void RunRawPages(const char16_t* name, const HonestWork& work, CallMeter& meter) {
  for (const uint32_t page : {1u, kLastPage}) {
    TifFile file = {};
    if (Vx_OpenTIF(name, &file, sizeof file) != kResultOk) {
      return;
    }
    for (uint32_t i = 0; i < kRawPages; ++i) {
      const VxFileHandle handle = file.fileHandle;
      krnFileRenewBudget(handle);
      const uint32_t step = page == 1 && i != 0 ? 2 : page;
      const int32_t result = meter.Run("raw page " + std::to_string(static_cast<int32_t>(step)), work, [&] {
        TifDirectory* block = nullptr;
        uint32_t layout = 0;
        const int32_t got = Vx_GetTIFPage(&file, step, &block, &layout);
        if (got == kResultOk) {
          uint32_t count = 0;
          VxGlobalHandle palette = 0;
          Vx_GetTIFPalette(&file, block, &count, &palette);
          krnGlobalFree(palette, __LINE__, "ReadingOperations");
          for (uint32_t record = 0; record < block->entryCount; ++record) {
            uint32_t size = 0;
            Vx_GetTIFTagDataType(&block->records[record], &size);
          }
        }
        Vx_FreeTIFPage(block);
        return got;
      });
      if (result != kResultOk || page == kLastPage) {
        break;
      }
    }
    Vx_CloseTIF(&file);
  }
}

void RunLoads(const char16_t* name, CallMeter& meter) {
  struct LoadForm {
    const char* what;
    int32_t page;
    uint32_t flags;
    uint32_t controlFlags;
  };
  constexpr LoadForm kForms[] = {
      {"load", 1, 0, 0},
      {"load with alpha, as stored", 1, kReadIgnoreOrientation | kReadKeepSigned, kInfoWithAlpha},
      {"load as RGB", 1, kReadForceRgb | kReadLzw13Bit, 0},
      {"load the last page", -1, 0, 0},
  };
  for (const LoadForm& form : kForms) {
    Report report;
    meter.Run(std::string("info for ") + form.what, {}, [&] {
      report = Describe(name, form.page, form.controlFlags);
      return report.result;
    });
    if (!HostAccepts(report)) {
      continue;
    }
    meter.Run(form.what, {PixelBytes(report.info), 0},
              [&] { return Load(name, &report.info, form.page, form.flags, form.controlFlags); });
    if (form.page == 1 && form.flags == 0) {
      meter.Run("load planes", {PixelBytes(report.info) * 2, 0}, [&] { return LoadPlanes(name, &report.info); });
    }
  }
  constexpr uint64_t kRawBytes = 1000 * 1000;
  meter.Run("load as bare rows", {kRawBytes, 0}, [&] { return LoadRaw(name, kFormatRawRows, 8); });
  meter.Run("load as PackBits", {kRawBytes, 0}, [&] { return LoadRaw(name, kFormatRawPackBits, 8); });
  meter.Run("load as fax", {kRawBytes / 8, 0}, [&] { return LoadRaw(name, kFormatRawFax, 1); });
  const Report second = Describe(name, 2, 0);
  meter.Run("stamp", {HostAccepts(second) ? PixelBytes(second.info) : 0, 0}, [&] { return GetStamp(name); });
}

} // namespace

void RunReadingOperations(const SparseFile& file, CallMeter& meter) {
  const TempFile disk;
  file.Write(disk.Path());
  const char16_t* const name = disk.Name();
  const HonestWork whole = {0, file.size}; // a tree holds the file's values
  meter.Run("info", {}, [&] { return Describe(name, 0, 0).result; });
  meter.Run("count pages", {}, [&] { return Describe(name, 1, kInfoCountPages).result; });
  meter.Run("info of page 1000", {}, [&] { return Describe(name, 1000, 0).result; });
  RunLoads(name, meter);
  for (const uint16_t tag : kTagsAsked) {
    meter.Run("tag " + std::to_string(tag), {}, [&] { return GetTag(name, tag, 1); });
  }
  meter.Run("tag of the last page", {}, [&] { return GetTag(name, 65535, -1); });
  for (const uint32_t comment : kCommentsAsked) {
    meter.Run("comment " + std::to_string(comment), whole, [&] { return GetComment(name, comment, 1); });
  }
  meter.Run("comment of the last page", whole, [&] { return GetComment(name, kCommentKeywords, -1); });
  meter.Run("geo keys", whole, [&] { return EnumGeoKeys(name, 1); });
  meter.Run("geo keys of the last page", whole, [&] { return EnumGeoKeys(name, -1); });
  RunRawPages(name, whole, meter);
}
