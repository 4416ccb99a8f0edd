// Faults in the loads and saves of CMYK arrays, in the stamp and in incremental saves: told codes, nothing left
// allocated or open, and in the file what is told to remain. None of these saves takes its page back.

#include <algorithm>

#include <gtest/gtest.h>
#include <vxtif/vxtif.h>

#include "faults/FaultRuns.h"
#include "planes/PlaneSource.h"
#include "support/ChainWalk.h"
#include "support/TiffBuilder.h"

namespace {

enum class Where { kNewFile, kAppend, kInsert, kReplace };
constexpr const char* kWhereNames[] = {"new file", "append", "insert", "replace"};

constexpr int32_t kWidth = 30;
constexpr int32_t kHeight = 9;

FileBytes ThreePages(FileOrder order) {
  TiffBuilder file(order);
  for (uint8_t page = 0; page < 3; ++page) {
    file.AddPage()
        .Long(254, {2})
        .Short(256, {4})
        .Short(257, {2})
        .Short(258, {8})
        .Short(259, {1})
        .Short(262, {1})
        .Short(277, {1})
        .Short(278, {1})
        .Short(297, {page, 0})
        .Strips({FileBytes(4, static_cast<uint8_t>(page + 1)), FileBytes(4, static_cast<uint8_t>(page + 11))})
        .Sort();
  }
  return file.Build();
}

SaveOptions OptionsFor(Where where, FileOrder order) {
  SaveOptions options = {};
  options.structSize = sizeof options;
  options.pageNumber = where == Where::kNewFile ? 1 : 2;
  options.flags = (order == FileOrder::kBig ? uint32_t{kSaveBigEndian} : 0u) |
                  (where == Where::kInsert ? uint32_t{kSaveInsertPage} : 0u) |
                  (where == Where::kReplace ? uint32_t{kSaveReplacePage} : 0u);
  return options;
}

bool IsShort(const FaultCase& fault) {
  return fault.kind == FaultKind::kShortWrite || fault.kind == FaultKind::kShortRead;
}

constexpr ptrdiff_t kCountEnd = 10; // of the header and the first entry count, which no page behind the first changes

// The pages that were there stand where they stood. The link leads to where it led or to the new page, whatever became
// of that, and nothing cuts the file.
void ExpectPageStays(const FaultCase& fault, Where where, int32_t result, const FileBytes& before, bool exists,
                     const FileBytes& after) {
  if (where == Where::kNewFile) {
    // Removed by nobody once it has been made.
    const bool madeBefore = fault.kind != FaultKind::kOpen && !(fault.kind == FaultKind::kAllocation && fault.nth == 1);
    EXPECT_TRUE(exists || !madeBefore) << "a new file was removed";
    return;
  }
  ASSERT_TRUE(exists);
  if (after.size() < before.size() || !std::equal(before.begin(), before.begin() + kCountEnd, after.begin())) {
    // A file whose header cannot be read counts as no TIFF, one that cannot be opened as absent: it is begun anew.
    EXPECT_TRUE(fault.kind == FaultKind::kOpen || fault.kind == FaultKind::kRead ||
                fault.kind == FaultKind::kShortRead || fault.kind == FaultKind::kSeek);
    EXPECT_LE(fault.nth, 3u) << "a TIFF file was written over";
    return;
  }
  const WalkedFile was = WalkChain(before);
  for (const WalkedPage& page : was.pages) {
    for (const auto& [at, byte] : LastingPlaces(before, page)) {
      ASSERT_LT(at, after.size());
      ASSERT_EQ(after[at], byte) << "at " << at;
    }
  }
  if (IsShort(fault) || after[0] != before[0]) {
    return; // a link word of which one byte was written leads anywhere
  }
  const auto end = static_cast<uint32_t>(before.size() + before.size() % 2);
  const uint32_t place = where == Where::kAppend ? was.pages.back().nextOffset : was.pages[1].linkOffset;
  const uint32_t link = GetU32(after, place, was.order);
  EXPECT_TRUE(link == GetU32(before, place, was.order) || link == end) << "the link leads to " << link;
  if (result == kResultOk || after.size() > end + 2) {
    EXPECT_EQ(link, end) << "a page that was begun has been taken out";
  }
}

const std::set<int32_t> kSaveCodes = {kResultOk,         kResultNoMemory,    kResultSeekFailed,
                                      kResultReadFailed, kResultWriteFailed, kResultCreateFailed};

TEST(PlaneFaults, SavesOfArraysLeaveTheirPage) {
  for (const int32_t format : {85, 86, 88}) {
    for (const bool planar : {false, true}) {
      for (const FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
        for (const Where where : {Where::kNewFile, Where::kAppend, Where::kInsert, Where::kReplace}) {
          if (format != kFormatUncompressedCmyk && where > Where::kAppend) {
            continue; // the way to the page is the same for all
          }
          FaultedOperation operation;
          operation.name = std::string("array as ") + std::to_string(format) + (planar ? " in planes, " : ", ") +
                           kWhereNames[static_cast<int>(where)];
          operation.fileExists = where != Where::kNewFile;
          operation.file = ThreePages(order);
          operation.told = kSaveCodes;
          int starts = 0;
          int ends = 0;
          operation.run = [&](const char16_t* name) {
            PlaneSource source(4, kWidth, kHeight, order == FileOrder::kBig ? 16 : 8);
            SaveOptions options = OptionsFor(where, order);
            options.flags2 = planar ? uint32_t{kSavePlanar} : 0u;
            FilterSaveCMYKRequest request = {};
            source.Fill(&request);
            request.fileName = name;
            request.format = format;
            request.options = &options;
            const int32_t result = fltSaveCMYKArray(&request);
            starts = source.starts;
            ends = source.ends;
            return result;
          };
          operation.check = [&](const FaultCase& fault, int32_t result, bool exists, const FileBytes& after) {
            EXPECT_EQ(starts, ends);
            if (fault.kind == FaultKind::kAllocation && result != kResultOk) {
              EXPECT_EQ(result, kResultNoMemory);
            }
            ExpectPageStays(fault, where, result, operation.file, exists, after);
          };
          RunWithFaults(operation);
          if (HasFailure()) {
            return;
          }
        }
      }
    }
  }
}

TEST(PlaneFaults, IncrementalSavesKeepWhatWasWritten) {
  for (const FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
    for (const Where where : {Where::kNewFile, Where::kAppend, Where::kInsert, Where::kReplace}) {
      FaultedOperation operation;
      operation.name = std::string("incremental, ") + kWhereNames[static_cast<int>(where)];
      operation.fileExists = where != Where::kNewFile;
      operation.file = ThreePages(order);
      operation.told = kSaveCodes;
      FilterSaveDataRequest request = {};
      bool started = false;
      uint32_t taken = 0; // bytes of the calls that gave 1
      operation.run = [&](const char16_t* name) {
        SaveOptions options = OptionsFor(where, order);
        request = {};
        request.fileName = name;
        request.compression = 7;
        request.width = 20;
        request.height = 10;
        request.bitsPerPixel = 24;
        request.append = where == Where::kAppend ? 1 : 0;
        request.options = &options;
        request.fileHandle = 77;
        taken = 0;
        int32_t result = fltStartSaveData(&request);
        started = result == kResultOk;
        EXPECT_EQ(request.fileHandle != kKrnNoHandle, started);
        if (!started) {
          return result;
        }
        const char data[] = "the bytes of one strip";
        request.dataBuffer = data;
        for (const uint32_t length : {7u, 0u, 22u}) {
          request.dataLength = length;
          const int32_t written = fltSaveData(&request);
          EXPECT_TRUE(written == kResultOk || written == kResultWriteFailed) << written;
          EXPECT_NE(+request.fileHandle, kKrnNoHandle) << "the save stays open";
          taken += written == kResultOk ? length : 0;
          result = result == kResultOk ? written : result;
        }
        EXPECT_EQ(+request.bytesWritten, taken);
        EXPECT_EQ(fltStopSaveData(&request), kResultOk);
        EXPECT_EQ(+request.fileHandle, kKrnNoHandle);
        return result;
      };
      operation.check = [&](const FaultCase& fault, int32_t result, bool exists, const FileBytes& after) {
        ExpectPageStays(fault, where, result, operation.file, exists, after);
        if (!started || fault.persistent || !exists || result == kResultOk) {
          return;
        }
        // Only a data call can have failed: the directory tells what the others brought.
        const FileOrder fileOrder = after[0] == 'I' ? FileOrder::kLittle : FileOrder::kBig;
        const uint32_t directory = request.entriesOffset - 2;
        bool found = false;
        for (uint32_t i = 0; i < GetU16(after, directory, fileOrder); ++i) {
          const size_t entry = directory + 2 + size_t{12} * i;
          if (GetU16(after, entry, fileOrder) == 279) {
            EXPECT_EQ(GetU32(after, entry + 8, fileOrder), taken);
            found = true;
          }
        }
        EXPECT_TRUE(found);
      };
      RunWithFaults(operation);
      if (HasFailure()) {
        return;
      }
    }
  }
}

// Two strips of two rows; all in PackBits literals or in 9-bit LZW codes when asked for.
FileBytes CmykPage(uint16_t compression, bool planar) {
  std::vector<FileBytes> strips;
  const uint32_t sets = planar ? 4 : 1;
  const uint32_t rowBytes = planar ? 5 : 20;
  for (uint32_t strip = 0; strip < 2 * sets; ++strip) {
    FileBytes bytes;
    uint32_t bits = 0;
    uint32_t count = 0;
    const auto put = [&](uint32_t code) {
      bits = bits << 9 | code;
      for (count += 9; count >= 8; count -= 8) {
        bytes.push_back(static_cast<uint8_t>(bits >> (count - 8)));
      }
    };
    if (compression == 5) {
      put(256);
    }
    for (uint32_t i = 0; i < 2 * rowBytes; ++i) {
      const uint32_t sample = (strip * 40 + i) & 0xFF;
      if (compression == 5) {
        put(sample);
        continue;
      }
      if (compression == 32773 && i % rowBytes == 0) {
        bytes.push_back(static_cast<uint8_t>(rowBytes - 1));
      }
      bytes.push_back(static_cast<uint8_t>(sample));
    }
    if (compression == 5) {
      put(257);
      bytes.push_back(static_cast<uint8_t>(bits << (8 - count)));
    }
    strips.push_back(bytes);
  }
  TiffBuilder file;
  TiffDirectory& page = file.AddPage();
  page.Short(256, {5}).Short(257, {4}).Short(258, {8, 8, 8, 8}).Short(259, {compression}).Short(262, {5});
  page.Strips(strips).Short(277, {4}).Short(278, {2}).Short(284, {static_cast<uint16_t>(planar ? 2 : 1)}).Sort();
  return file.Build();
}

int32_t CountRow(FileInfoRecord*, BitmapHandle*, uint8_t*, uint32_t, int32_t, int32_t rowCount, intptr_t data) {
  *reinterpret_cast<int32_t*>(data) += rowCount;
  return 1;
}

TEST(PlaneFaults, LoadsOfArrays) {
  for (const uint16_t compression : {uint16_t{1}, uint16_t{5}, uint16_t{32773}}) {
    for (const bool planar : {false, true}) {
      FaultedOperation operation;
      operation.name = "array of compression " + std::to_string(compression) + (planar ? " in planes" : "");
      operation.file = CmykPage(compression, planar);
      operation.told = {kResultOk,         kResultNoMemory, kResultSeekFailed,
                        kResultReadFailed, kResultNotTiff,  kResultOpenFailed};
      int32_t rows = 0;
      operation.run = [&](const char16_t* name) {
        BitmapHandle bitmaps[4];
        BitmapHandle* pointers[4];
        for (int i = 0; i < 4; ++i) {
          krnBitmapInit(&bitmaps[i], kBitmapHandleSize, 5, 4, 8);
          pointers[i] = &bitmaps[i];
        }
        FileOptions options = {};
        FileInfoRecord info = {};
        rows = 0;
        FilterLoadCMYKRequest request = {};
        request.fileName = name;
        request.bitmaps = pointers;
        request.bitmapCount = 4;
        request.fileInfo = &info;
        request.fileOptions = &options;
        request.rowCallback = CountRow;
        request.rowCallbackData = reinterpret_cast<intptr_t>(&rows);
        return fltLoadCMYKArray(&request);
      };
      operation.check = [&](const FaultCase& fault, int32_t result, bool exists, const FileBytes& after) {
        EXPECT_TRUE(exists && after == operation.file) << "a load has changed its file";
        EXPECT_LE(rows, 16);
        if (result == kResultOk) {
          EXPECT_EQ(rows, 16);
        }
        if (fault.kind == FaultKind::kOpen && fault.nth == 1) {
          EXPECT_EQ(result, kResultOpenFailed);
        }
      };
      RunWithFaults(operation);
    }
  }
}

// The caller's route: the library's own report and load, under the same faults.
int32_t StampInfo(intptr_t name, FileInfoRecord* info, uint32_t, uint32_t, FileOptions* options) {
  FilterInfoRequest request = {};
  request.structSize = sizeof request;
  request.fileHandle = krnFileOpen(reinterpret_cast<const char16_t*>(name), kKrnFileRead, kKrnShareRead);
  request.fileInfo = info;
  request.fileOptions = options;
  if (request.fileHandle == kKrnNoHandle) {
    return kResultOpenFailed;
  }
  const int32_t result = fltInfo(&request);
  krnFileClose(request.fileHandle);
  return result;
}

int32_t StampLoad(intptr_t name, BitmapHandle* bitmap, uint32_t, uint32_t, uint32_t, FileOptions* options,
                  FileInfoRecord* info) {
  int32_t rows = 0;
  FilterLoadRequest request = {};
  request.fileName = reinterpret_cast<const char16_t*>(name);
  request.bitmap = bitmap;
  request.rowCallback = CountRow;
  request.rowCallbackData = reinterpret_cast<intptr_t>(&rows);
  request.fileInfo = info;
  request.fileOptions = options;
  return fltLoad(&request);
}

TEST(PlaneFaults, StampsTellOfAMissingPageAlone) {
  FaultedOperation operation;
  operation.name = "stamp";
  operation.file = ThreePages(FileOrder::kLittle);
  operation.told = {kResultOk, kResultNoStamp};
  operation.run = [](const char16_t* name) {
    BitmapHandle bitmap;
    krnBitmapInit(&bitmap, kBitmapHandleSize, 4, 2, 8);
    FileOptions options = {};
    options.pageNumber = 5;
    FilterStampRequest request = {};
    request.stampFile = reinterpret_cast<intptr_t>(name);
    request.bitmap = &bitmap;
    request.fileOptions = &options;
    request.getInfo = StampInfo;
    request.load = StampLoad;
    const int32_t result = fltGetStamp(&request);
    EXPECT_EQ(+options.pageNumber, 5);
    return result;
  };
  operation.check = [&](const FaultCase&, int32_t, bool exists, const FileBytes& after) {
    EXPECT_TRUE(exists && after == operation.file);
  };
  RunWithFaults(operation);
}

} // namespace
