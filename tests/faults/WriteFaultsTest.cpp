// Faults in the writing operations: told codes, nothing left allocated or open, a new file removed, a page taken back,
// and every other page unharmed byte for byte.

#include <algorithm>

#include <gtest/gtest.h>

#include "faults/FaultRuns.h"
#include "save/SaveFixture.h"
#include "support/ChainWalk.h"

namespace {

enum class Where { kNewFile, kAppend, kInsert, kReplace };
constexpr const char* kWhereNames[] = {"new file", "append", "insert", "replace"};

struct SaveKind {
  const char* name;
  int32_t format;
  int32_t bits;
  uint32_t flags;
  uint32_t tile; // edge, 0 for strips
  bool metadata; // tags and comments
};

constexpr SaveKind kSaveKinds[] = {
    {"uncompressed", kFormatUncompressed, 8, 0, 0, false},
    {"LZW", kFormatLzw, 24, kSavePredictor, 0, false},
    {"PackBits", kFormatPackBits, 8, 0, 0, false},
    {"CMYK", kFormatUncompressedCmyk, 24, 0, 0, false},
    {"tiles", kFormatUncompressed, 8, kSaveTiles, 16, false},
    {"LZW tiles", kFormatLzw, 24, kSaveTiles, 16, false},
    {"tags and comments", kFormatUncompressed, 8, 0, 0, true},
};

constexpr int32_t kWidth = 40;
constexpr int32_t kHeight = 20;

std::vector<FileBytes> SomeRows(int32_t bits) {
  std::vector<FileBytes> rows(kHeight);
  for (size_t y = 0; y < rows.size(); ++y) {
    for (int32_t x = 0; x < kWidth * bits / 8; ++x) {
      rows[y].push_back(static_cast<uint8_t>(static_cast<size_t>(x) * 7 + y * 13));
    }
  }
  return rows;
}

// Three small pages with a text and two strips each.
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
        .Ascii(270, "a page with text")
        .Short(277, {1})
        .Short(278, {1})
        .Short(297, {page, 0})
        .Strips({FileBytes(4, static_cast<uint8_t>(page + 1)), FileBytes(4, static_cast<uint8_t>(page + 11))})
        .Sort();
  }
  return file.Build();
}

int32_t SaveInto(const SaveKind& kind, Where where, FileOrder order, const char16_t* name) {
  RowService service(kWidth, kHeight, kind.bits, SomeRows(kind.bits));
  service.palette.resize(256);
  for (uint32_t i = 0; i < 256; ++i) {
    const auto level = static_cast<uint8_t>(i);
    service.palette[i] = {level, static_cast<uint8_t>(255 - level), level, 0};
  }
  SaveJob job(kind.format, kind.bits, &service, name);
  job.options.flags = kind.flags;
  job.options.tileWidth = job.options.tileHeight = kind.tile;
  job.options.pageNumber = where == Where::kNewFile ? 1 : 2;
  job.options.flags |= where == Where::kInsert    ? uint32_t{kSaveInsertPage}
                       : where == Where::kReplace ? uint32_t{kSaveReplacePage}
                                                  : 0u;
  if (order == FileOrder::kBig) {
    job.options.flags |= kSaveBigEndian;
  }
  char text[] = "a description of the page";
  char longText[] = "a tag of the caller";
  uint16_t shorts[] = {1, 2, 3};
  TifTagItem second = {33000, kTypeAscii, sizeof longText - 1, longText, nullptr};
  TifTagItem first = {33001, kTypeShort, 3, shorts, &second};
  TifCommentBlock comments = {};
  comments.slots[3] = {text, sizeof text - 1};
  if (kind.metadata) {
    job.request.tagList = &first;
    job.request.comments = &comments;
  }
  return job.Run();
}

void ExpectPageUnharmed(const FileBytes& before, const WalkedPage& page, const FileBytes& after) {
  for (const auto& [at, byte] : LastingPlaces(before, page)) {
    ASSERT_LT(at, after.size());
    ASSERT_EQ(after[at], byte) << "at " << at;
  }
}

std::vector<uint32_t> OffsetsOf(const WalkedFile& file) {
  std::vector<uint32_t> offsets;
  for (const WalkedPage& page : file.pages) {
    offsets.push_back(page.offset);
  }
  return offsets;
}

// A failed save into a file: the pages that were there stand where they stood. The new page is out of the chain again,
// and a replaced one stays out. Before the new directory exists it cannot be taken out: the link then points to the end
// of the old file, and the chain ends there. The same holds when the taking back fails itself.
void ExpectTakenBack(const FaultCase& fault, Where where, const FileBytes& before, const FileBytes& after) {
  const WalkedFile was = WalkChain(before);
  const WalkedFile is = WalkChain(after);
  for (const WalkedPage& page : was.pages) {
    ExpectPageUnharmed(before, page, after);
  }
  if (fault.kind == FaultKind::kShortWrite) {
    return; // a link word of which one byte was written leads anywhere
  }
  std::vector<uint32_t> whole = OffsetsOf(was);
  std::vector<uint32_t> without = whole;
  if (where == Where::kReplace) {
    without.erase(without.begin() + 1);
  }
  const auto end = static_cast<uint32_t>(before.size() + before.size() % 2);
  const uint32_t link = where == Where::kAppend ? was.pages.back().nextOffset : was.pages[1].linkOffset;
  const std::vector<uint32_t> offsets = OffsetsOf(is);
  const bool untouched = offsets == whole;
  const bool takenBack = offsets == without && is.fault.empty();
  const bool dangling = GetU32(after, link, was.order) == end;
  EXPECT_TRUE(untouched || takenBack || dangling) << is.fault;
  const bool directoryWritten = after.size() > end + 2;
  if (dangling && directoryWritten && !fault.persistent) {
    // Only what stands in the way of the deletion's reading leaves the page in the chain.
    EXPECT_NE(is.fault, "") << "a whole page was not taken back";
  }
}

// Once the header has gone out a new file is removed by way of its page, which has to have a directory for that: a file
// that ends before its first next word stays.
bool EndsBeforeDirectory(const FileBytes& file) {
  constexpr size_t kFirstEntry = 10;
  if (file.size() < kFirstEntry) {
    return true;
  }
  const FileOrder order = file[0] == 'I' ? FileOrder::kLittle : FileOrder::kBig;
  return file.size() < kFirstEntry + size_t{GetU16(file, 8, order)} * 12 + 4;
}

TEST(WriteFaults, SavesGiveToldCodesAndTakeTheirPageBack) {
  for (const SaveKind& kind : kSaveKinds) {
    for (const FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
      for (const Where where : {Where::kNewFile, Where::kAppend, Where::kInsert, Where::kReplace}) {
        FaultedOperation operation;
        operation.name = std::string(kind.name) + ", " + kWhereNames[static_cast<int>(where)] +
                         (order == FileOrder::kBig ? ", big-endian" : ", little-endian");
        operation.fileExists = where != Where::kNewFile;
        operation.file = ThreePages(order);
        operation.told = {kResultOk,         kResultNoMemory,    kResultSeekFailed,
                          kResultReadFailed, kResultWriteFailed, kResultCreateFailed};
        operation.run = [&](const char16_t* name) { return SaveInto(kind, where, order, name); };
        operation.check = [&](const FaultCase& fault, int32_t result, bool exists, const FileBytes& after) {
          if (result == kResultOk) {
            return;
          }
          if (where == Where::kNewFile) {
            EXPECT_TRUE(!exists || fault.persistent || EndsBeforeDirectory(after)) << "the new file was not removed";
          } else if (!exists || after.size() < operation.file.size()) {
            // A file whose header cannot be read counts as no TIFF, one that cannot be opened as absent: it is begun
            // anew. These are the first calls of their kinds, or nearly.
            EXPECT_TRUE(fault.kind == FaultKind::kOpen || fault.kind == FaultKind::kRead ||
                        fault.kind == FaultKind::kShortRead || fault.kind == FaultKind::kSeek);
            EXPECT_LE(fault.nth, 3u) << "a TIFF file was written over";
          } else {
            ExpectTakenBack(fault, where, operation.file, after);
          }
        };
        CountFaults(RunWithFaults(operation));
        if (HasFailure()) {
          return;
        }
      }
    }
  }
}

TEST(WriteFaults, TagEditsLeaveImageDataAndOtherPagesAlone) {
  for (const FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
    for (const bool grow : {false, true}) {
      FaultedOperation operation;
      operation.name = std::string(grow ? "new tag" : "tag over an old one") +
                       (order == FileOrder::kBig ? ", big-endian" : ", little-endian");
      operation.file = ThreePages(order);
      operation.told = {kResultOk,          kResultNoMemory,   kResultSeekFailed, kResultReadFailed,
                        kResultWriteFailed, kResultOpenFailed, kResultNotTiff};
      operation.run = [grow](const char16_t* name) {
        char text[40] = "a longer text than the one before";
        TifTagItem item = {static_cast<uint16_t>(grow ? 33000 : 270), kTypeAscii, 33, text, nullptr};
        SaveOptions options = {};
        options.structSize = sizeof options;
        options.pageNumber = 2;
        FilterSetTagRequest request = {name, &item, nullptr, &options};
        return fltSetTag(&request);
      };
      const WalkedFile was = WalkChain(operation.file);
      operation.check = [&](const FaultCase& fault, int32_t result, bool exists, const FileBytes& after) {
        ASSERT_TRUE(exists);
        ExpectPageUnharmed(operation.file, was.pages[0], after);
        ExpectPageUnharmed(operation.file, was.pages[2], after);
        WalkedPage edited = was.pages[1]; // the strips and old values stay, whatever becomes of the directory
        edited.ranges.erase(edited.ranges.begin());
        ExpectPageUnharmed(operation.file, edited, after);
        const WalkedFile is = WalkChain(after);
        if (result == kResultOk) {
          // A next word that cannot be read counts as 0 and is written back so: the chain then ends at this page.
          const bool nextUnread = fault.kind == FaultKind::kRead || fault.kind == FaultKind::kShortRead;
          EXPECT_GE(is.pages.size(), nextUnread ? 2u : 3u) << is.fault;
        }
      };
      CountFaults(RunWithFaults(operation));
    }
  }
}

TEST(WriteFaults, DeletionsKeepEveryByteButLinksAndNumbers) {
  for (const FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
    for (const uint32_t page : {1u, 2u, 3u}) {
      FaultedOperation operation;
      operation.name = "delete page " + std::to_string(page);
      operation.file = ThreePages(order);
      operation.told = {kResultOk,          kResultSeekFailed, kResultReadFailed,
                        kResultWriteFailed, kResultOpenFailed, kResultNotTiff};
      operation.run = [page](const char16_t* name) {
        SaveOptions options = {};
        options.structSize = sizeof options;
        FilterDeletePageRequest request = {name, page, 0, &options};
        return fltDeletePage(&request);
      };
      const WalkedFile was = WalkChain(operation.file);
      operation.check = [&](const FaultCase& fault, int32_t result, bool exists, const FileBytes& after) {
        ASSERT_TRUE(exists);
        EXPECT_EQ(after.size(), operation.file.size());
        for (const WalkedPage& each : was.pages) {
          ExpectPageUnharmed(operation.file, each, after);
        }
        if (fault.kind == FaultKind::kShortWrite) {
          return; // a link word of which one byte was written leads anywhere
        }
        std::vector<uint32_t> expected = OffsetsOf(was);
        if (result == kResultOk) {
          expected.erase(expected.begin() + page - 1);
        }
        EXPECT_EQ(OffsetsOf(WalkChain(after)), expected);
      };
      CountFaults(RunWithFaults(operation));
    }
  }
}

} // namespace
