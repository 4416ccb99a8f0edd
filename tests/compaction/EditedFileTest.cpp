// Files that were deleted from, replaced in and edited until they are full of dead bytes, then compacted; and the codes
// of compactions whose calls fail one by one.

#include <set>

#include <gtest/gtest.h>
#include <vxtif/results.h>
#include <vxtif/vxtif.h>

#include "compaction/Reachable.h"
#include "support/FileDirectory.h"
#include "support/KernelGuard.h"
#include "support/TempFile.h"

namespace {

class EditedFile : public testing::TestWithParam<FileOrder> {
protected:
  // Five pages: the first one with children, Exif, GPS and texts, the others small, in strips and tiles in turn.
  FileBytes Original() const {
    TiffBuilder file(GetParam());
    file.AddPage(TiffDirectory()
                     .Long(256, {4})
                     .Long(257, {3})
                     .Short(258, {8})
                     .Short(259, {1})
                     .Ascii(270, "a description that is long enough")
                     .Strips({{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11}})
                     .Children(330, {GrayPage(2, 2), GrayPage(3, 1)})
                     .Child(34665, TiffDirectory()
                                       .Ascii(36867, "2001:02:03 04:05:06")
                                       .Undefined(37510, FileBytes(21, 'c'))
                                       .Child(40965, TiffDirectory().Ascii(1, "R98")))
                     .Child(34853, TiffDirectory().Byte(0, {2, 2, 0, 0}).Rational(2, {{1, 1}, {2, 1}, {3, 1}})));
    for (uint32_t page = 1; page < 5; ++page) {
      file.AddPage(page % 2 == 0 ? GrayPage(10 + page, 3)
                                 : TiffDirectory().Long(256, {10 + page}).Short(258, {8}).Tiles({{1, 2}, {3}, {4, 5}}));
    }
    return file.Build();
  }

  static int32_t Compact(const TempFile& source, const TempFile& destination, uint32_t flags) {
    SaveOptions options = {};
    options.structSize = sizeof options;
    options.flags = flags;
    FilterCompactRequest request = {source.Name(), destination.Name(), 0, nullptr, &options};
    return fltCompact(&request);
  }
};

INSTANTIATE_TEST_SUITE_P(Orders, EditedFile, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const auto& order) { return order.param == FileOrder::kLittle ? "Little" : "Big"; });

void Delete(const TempFile& file, uint32_t page) {
  SaveOptions options = {};
  FilterDeletePageRequest request = {file.Name(), page, 0, &options};
  EXPECT_EQ(fltDeletePage(&request), kResultOk);
}

void Replace(const TempFile& file, int32_t page, const TempFile& by) {
  SaveOptions options = {};
  options.flags = kSaveReplacePage;
  options.pageNumber = page;
  FilterCompactRequest request = {by.Name(), file.Name(), 1, nullptr, &options};
  EXPECT_EQ(fltCompact(&request), kResultOk);
}

void SetText(const TempFile& file, int32_t page, uint16_t tag, size_t length) {
  FileBytes text(length + 1, 't');
  SaveOptions options = {};
  options.pageNumber = page;
  TifTagItem item = {tag, kTypeAscii, static_cast<uint32_t>(length), text.data(), nullptr};
  FilterSetTagRequest request = {file.Name(), &item, nullptr, &options};
  EXPECT_EQ(fltSetTag(&request), kResultOk);
}

void SetComment(const TempFile& file, int32_t page, uint32_t number, size_t length) {
  FileBytes text(length + 1, 'k');
  SaveOptions options = {};
  options.pageNumber = page;
  TifCommentBlock comments = {};
  comments.slots[number] = {text.data(), static_cast<uint32_t>(length)};
  FilterSetCommentRequest request = {file.Name(), 0, &options, &comments, nullptr};
  EXPECT_EQ(fltSetComment(&request), kResultOk);
}

void SetGeoKey(const TempFile& file, int32_t page, uint16_t key, const char* value) {
  std::string text = value;
  SaveOptions options = {};
  options.pageNumber = page;
  TifGeoKeyItem item = {key, kTypeAscii, static_cast<uint32_t>(text.size()), text.data(), nullptr};
  FilterSetGeoKeyRequest request = {file.Name(), &options, &item};
  EXPECT_EQ(fltSetGeoKey(&request), kResultOk);
}

void EditAll(const TempFile& file, const TempFile& other) {
  Delete(file, 4);
  Replace(file, 2, other);
  for (size_t length : {100, 40, 90, 301}) {
    for (int32_t page = 1; page <= 4; ++page) {
      SetText(file, page, 270, length);
      SetText(file, page, 40000, length / 3);
      SetComment(file, page, 0, length);
    }
    SetGeoKey(file, 3, 1026, length > 90 ? "a long citation of a place somewhere" : "short");
  }
  Delete(file, 3);
}

TEST_P(EditedFile, CompactedItHoldsNoUnreachableByte) {
  const KernelGuard guard;
  const TempFile file(Original());
  const TempFile other(Original());
  EditAll(file, other);
  const FileBytes edited = file.Read();
  EXPECT_FALSE(Reachable(edited).DeadRuns().empty());
  for (uint32_t flags : {0u, uint32_t{kSaveBigEndian}}) {
    const TempFile compacted;
    ASSERT_EQ(Compact(file, compacted, flags), kResultOk);
    const Reachable reached(compacted.Read());
    EXPECT_EQ(reached.DeadRuns(), std::vector<std::string>{});
    EXPECT_EQ(reached.Pages(), 3u);
    EXPECT_LT(compacted.Read().size(), edited.size() / 2);
    EXPECT_EQ(file.Read(), edited) << "the source is only read";
  }
}

TEST_P(EditedFile, CompactingItAgainGivesTheSameBytes) {
  const TempFile file(Original());
  const TempFile other(Original());
  EditAll(file, other);
  const TempFile first;
  const TempFile second;
  ASSERT_EQ(Compact(file, first, 0), kResultOk);
  ASSERT_EQ(Compact(first, second, 0), kResultOk);
  EXPECT_EQ(first.Read(), second.Read());
}

TEST_P(EditedFile, TextsAndPixelsSurvive) {
  const TempFile file(Original());
  const TempFile other(Original());
  EditAll(file, other);
  const TempFile compacted;
  ASSERT_EQ(Compact(file, compacted, kSaveBigEndian), kResultOk);
  const FileBytes bytes = compacted.Read();
  for (uint32_t page = 0; page < 3; ++page) {
    const FileDirectory directory = ReadFilePage(bytes, page);
    ASSERT_NE(directory.Find(270), nullptr);
    EXPECT_EQ(directory.Find(270)->value, [] {
      FileBytes text(301, 't');
      text.push_back(0);
      return text;
    }());
  }
  const FileDirectory first = ReadFilePage(bytes);
  EXPECT_EQ(first.Find(330)->count, 2u);
  const FileDirectory exif = ReadFileChild(bytes, first, 34665);
  EXPECT_EQ(exif.Find(37510)->value, FileBytes(21, 'c'));
  const uint32_t strip = GetU32(first.Find(273)->value, 0, FileOrder::kBig);
  EXPECT_EQ(FileBytes(bytes.begin() + strip, bytes.begin() + strip + 4), (FileBytes{1, 2, 3, 4}));
}

// Into a new file: every call fails in turn, alone and with all behind it.
TEST_P(EditedFile, FailingCallsGiveTheirCodes) {
  const FileBytes original = Original();
  const TempFile file(original);
  const auto told = [](IoCall call) -> std::set<int32_t> {
    switch (call) {
    case IoCall::kOpen:
      return {kResultOpenFailed, kResultCreateFailed};
    case IoCall::kRead: // a header that cannot be read is none, an unreadable table or value leaves no directory
      return {kResultDirectoryUnreadable, kResultReadFailed, kResultNotTiff};
    case IoCall::kSeek: // a table whose place cannot be reached is one that cannot be written
      return {kResultDirectoryUnreadable, kResultReadFailed, kResultSeekFailed, kResultNotTiff, kResultWriteFailed};
    default:
      return {kResultWriteFailed};
    }
  };
  for (IoCall call : {IoCall::kOpen, IoCall::kRead, IoCall::kSeek, IoCall::kWrite}) {
    for (FaultSpan span : {FaultSpan::kOnce, FaultSpan::kFromThenOn}) {
      bool finished = false;
      for (uint64_t nth = 1; !finished; ++nth) {
        ASSERT_LT(nth, 2000u);
        const KernelGuard guard;
        const TempFile destination;
        IoFaults faults;
        faults.Fail(call, nth, span);
        const int32_t result = Compact(file, destination, 0);
        finished = faults.Calls(call) < nth;
        // Some calls have no code: children that cannot be read are dropped, pads are not looked at.
        EXPECT_TRUE(result == kResultOk || (!finished && told(call).contains(result)))
            << "call " << static_cast<int>(call) << ", " << nth << ": " << result;
        EXPECT_EQ(file.Read(), original);
      }
    }
  }
}

TEST_P(EditedFile, FailingAllocationsGiveTheirCodes) {
  const FileBytes original = Original();
  const TempFile file(original);
  std::set<int32_t> failures;
  bool finished = false;
  for (uint64_t nth = 1; !finished; ++nth) {
    ASSERT_LT(nth, 2000u);
    const KernelGuard guard;
    const TempFile destination;
    int32_t result = 0;
    {
      AllocFaults faults(nth);
      result = Compact(file, destination, 0);
      finished = faults.Calls() < nth;
    }
    // Reading a directory has one code for all its failures, and the table of several children one of its own.
    const std::set<int32_t> told = {kResultNoMemory, kResultDirectoryUnreadable, kResultRefused};
    EXPECT_TRUE(finished ? result == kResultOk : result == kResultOk || told.contains(result)) << nth << ": " << result;
    failures.insert(result);
    EXPECT_EQ(file.Read(), original);
  }
  EXPECT_TRUE(failures.contains(kResultNoMemory));
  EXPECT_TRUE(failures.contains(kResultDirectoryUnreadable));
}

} // namespace
