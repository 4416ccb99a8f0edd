// The parts of the editor: entries in memory, the filter of a save, records, sorting, values read into a buffer.

#include <algorithm>
#include <random>

#include <gtest/gtest.h>
#include <vxtif/results.h>

#include "tags/TagItems.h"
#include "tif_com/DirectoryTree.h"
#include "tif_com/TagAccess.h"

namespace {

// A file on disk, open for reading and writing.
class OpenFile {
public:
  OpenFile(FileOrder order, const FileBytes& bytes) : disk(bytes) {
    file.fileHandle = krnFileOpen(disk.Name(), kKrnFileReadWrite, kKrnShareRead);
    file.byteOrder = order == FileOrder::kLittle ? kByteOrderLittle : kByteOrderBig;
  }
  ~OpenFile() { krnFileClose(file.fileHandle); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  TempFile disk;
  TifFile file = {};
};

class TagStore : public testing::TestWithParam<FileOrder> {};

INSTANTIATE_TEST_SUITE_P(Orders, TagStore, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const auto& order) { return order.param == FileOrder::kLittle ? "Little" : "Big"; });

TEST(TagFilter, TagsOfTheWriterCannotBeSetFromOutside) {
  const auto isRefused = [](uint32_t tag) {
    const std::pair<uint32_t, uint32_t> ranges[] = {{254, 259}, {262, 262}, {266, 266}, {269, 274}, {277, 279},
                                                    {282, 285}, {292, 293}, {296, 296}, {305, 306}};
    for (const auto& [first, last] : ranges) {
      if (tag >= first && tag <= last) {
        return true;
      }
    }
    const uint32_t single[] = {315, 316, 317, 320, 322,   323,   324,   325,  338,
                               529, 530, 531, 532, 33432, 33723, 34665, 34853};
    return std::find(std::begin(single), std::end(single), tag) != std::end(single);
  };
  uint32_t value = 0;
  for (uint32_t tag = 0; tag < 65536; ++tag) {
    const TifTagItem item = {static_cast<uint16_t>(tag), 4, 1, &value, nullptr};
    ASSERT_EQ(TIFIsTagAccepted(&item), !isRefused(tag)) << tag;
  }
}

TEST(TagFilter, ItemsWithoutTypeCountOrDataAreRefused) {
  uint32_t value = 0;
  for (uint32_t type = 0; type < 20; ++type) {
    const TifTagItem item = {700, static_cast<uint16_t>(type), 1, &value, nullptr};
    EXPECT_EQ(TIFIsTagAccepted(&item), type >= 1 && type <= 12) << type;
  }
  const TifTagItem empty = {700, 4, 0, &value, nullptr};
  EXPECT_FALSE(TIFIsTagAccepted(&empty));
  const TifTagItem bare = {700, 4, 1, nullptr, nullptr};
  EXPECT_FALSE(TIFIsTagAccepted(&bare));
}

TEST_P(TagStore, EntriesAreLoadedWithRoomAndNextWord) {
  OpenFile input(GetParam(),
                 Bytes(GetParam()).Header(8).U16(2).Entry(256, 4, 1, 7).EntryShort(258, 9).U32(0x1234).bytes);
  TifDirEntry* entries = nullptr;
  uint32_t count = 0;
  uint32_t next = 0;
  KernelGuard guard;
  ASSERT_EQ(TIFLoadEntries(&input.file, 8, 3, &entries, &count, &next), kResultOk);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(next, 0x1234u);
  EXPECT_EQ(+entries[1].tag, 258);
  EXPECT_EQ(+entries[1].value, 9u);
  entries[4] = {1, 1, 1, 1}; // room for three more
  krnFree(entries, __LINE__, "test");
}

TEST_P(TagStore, EntriesBehindTheCountWordAreLoadedWithTheFilesOwnCount) {
  OpenFile input(GetParam(), Bytes(GetParam()).Header(8).U16(9).Entry(256, 4, 1, 7).bytes);
  input.file.entryCount = 1;
  krnFileSeek(input.file.fileHandle, 10, 0);
  TifDirEntry* entries = nullptr;
  uint32_t next = 77;
  ASSERT_EQ(TIFLoadEntries(&input.file, 0, 0, &entries, nullptr, &next), kResultOk);
  EXPECT_EQ(next, 0u) << "a next word that cannot be read is 0";
  krnFree(entries, __LINE__, "test");
  krnFileSeek(input.file.fileHandle, 10, 0);
  ASSERT_EQ(TIFLoadEntries(&input.file, 0, 0, &entries, nullptr, nullptr), kResultOk);
  krnFree(entries, __LINE__, "test");
}

TEST_P(TagStore, LoadingEntriesFailsWithCodes) {
  OpenFile input(GetParam(), Bytes(GetParam()).Header(8).U16(2).Entry(256, 4, 1, 7).bytes);
  TifDirEntry* entries = nullptr;
  uint32_t count = 0;
  KernelGuard guard;
  EXPECT_EQ(TIFLoadEntries(&input.file, 8, 0, &entries, &count, nullptr), kResultReadFailed);
  EXPECT_EQ(entries, nullptr);
  EXPECT_EQ(TIFLoadEntries(&input.file, 5000, 0, &entries, &count, nullptr), kResultReadFailed);
  AllocFaults faults(1);
  EXPECT_EQ(TIFLoadEntries(&input.file, 8, 0, &entries, &count, nullptr), kResultNoMemory);
}

TEST_P(TagStore, ValuesAreReadIntoABuffer) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Short(1, {0x0201, 0x0403}).Long(2, {0x04030201, 0x08070605});
  OpenFile input(GetParam(), builder.Build());
  uint8_t buffer[16] = {};
  TifDirEntry entry = {1, 3, 2, 0x04030201};
  EXPECT_EQ(TIFReadEntryValues(&input.file, &entry, buffer), kResultOk);
  EXPECT_EQ(FileBytes(buffer, buffer + 5), (FileBytes{1, 2, 3, 4, 0}));
  entry = {2, 4, 2, builder.ValueOffset(0, 2)};
  EXPECT_EQ(TIFReadEntryValues(&input.file, &entry, buffer), kResultOk);
  EXPECT_EQ(FileBytes(buffer, buffer + 9), (FileBytes{1, 2, 3, 4, 5, 6, 7, 8, 0}));
  entry.value = 30000;
  EXPECT_EQ(TIFReadEntryValues(&input.file, &entry, buffer), kResultReadFailed);
  for (uint16_t type : {uint16_t{0}, uint16_t{13}, uint16_t{99}}) {
    entry.type = type;
    EXPECT_EQ(TIFReadEntryValues(&input.file, &entry, buffer), kResultTypeNotAllowed) << type;
  }
}

TEST_P(TagStore, WritingMoreEntriesThanACountWordHoldsIsRefused) {
  OpenFile output(GetParam(), FileBytes(8));
  std::vector<TifDirEntry> entries(65536, TifDirEntry{1, 1, 1, 1});
  uint32_t place = 8;
  EXPECT_EQ(TIFWriteEntries(&output.file, entries.data(), 65536, true, &place, 0, 0), kResultNoMemory);
  EXPECT_EQ(TIFWriteEntries(&output.file, entries.data(), 65535, true, &place, 0, 0), kResultOk);
  EXPECT_EQ(output.disk.Read().size(), 8u + 2 + 12 * 65535 + 4);
}

TEST_P(TagStore, EndOfFileIsMadeEven) {
  OpenFile output(GetParam(), FileBytes(0x1FF, 1));
  EXPECT_EQ(TIFEvenEndOfFile(&output.file), 0x200u);
  EXPECT_EQ(output.disk.Read().size(), 0x200u);
  EXPECT_EQ(output.disk.Read().back(), 0x00);
  EXPECT_EQ(TIFEvenEndOfFile(&output.file), 0x200u);
  IoFaults faults;
  faults.Fail(IoCall::kSeek, 1);
  EXPECT_EQ(TIFEvenEndOfFile(&output.file), 0xFFFFFFFFu);
}

TEST(TagRecords, SmallValuesStandInTheWordLargerOnesInABlock) {
  KernelGuard guard;
  TifTagRecord records[3] = {};
  uint32_t n = 0;
  const uint8_t bytes[] = {1, 2, 3, 4, 5, 6};
  const TifTagItem small = {10, 3, 1, nullptr, nullptr};
  const TifTagItem large = {11, 1, 6, nullptr, nullptr};
  EXPECT_EQ(TIFSetRecord(records, &small, bytes, &n), kResultOk);
  EXPECT_EQ(TIFSetRecord(records, &large, bytes, &n), kResultOk);
  ASSERT_EQ(n, 2u);
  EXPECT_EQ(+records[0].value, 0x0201u) << "the rest of the word is cleared";
  EXPECT_EQ(+records[0].storage, 0u);
  EXPECT_EQ(+records[1].storage, 17u);
  EXPECT_EQ(+records[1].value, 0u);
  EXPECT_EQ(FileBytes(static_cast<uint8_t*>(records[1].data), static_cast<uint8_t*>(records[1].data) + 6),
            (FileBytes{1, 2, 3, 4, 5, 6}));
  const TifTagItem again = {11, 1, 5, nullptr, nullptr};
  EXPECT_EQ(TIFSetRecord(records, &again, bytes + 1, &n), kResultOk);
  EXPECT_EQ(n, 2u) << "the last value at the place of the first";
  EXPECT_EQ(+records[1].count, 5u);
  EXPECT_EQ(*static_cast<uint8_t*>(records[1].data), 2);
  {
    AllocFaults faults(1);
    EXPECT_EQ(TIFSetRecord(records, &large, bytes, &n), kResultNoMemory);
    EXPECT_EQ(+records[1].count, 5u) << "the old value stays";
  }
  TIFFreeTagRecord(&records[1], kDirGeoKeys);
}

TEST(TagSorting, ComparisonNeverAnswersZero) {
  EXPECT_EQ(TIFCompareTags(1, 2), -1);
  EXPECT_EQ(TIFCompareTags(2, 1), 1);
  EXPECT_EQ(TIFCompareTags(2, 2), 1);
  EXPECT_EQ(TIFCompareTags(0x7FFF, 0x8000), -1) << "tags are unsigned";
}

TEST(TagSorting, SortsLikeAStableSort) {
  constexpr unsigned kSeed = 20260101;
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937 random(kSeed);
  for (uint32_t n : {0u, 1u, 2u, 3u, 7u, 64u, 65u, 1000u, 4097u}) {
    for (uint32_t tags : {1u, 2u, 10u, 65536u}) {
      std::vector<TifDirEntry> entries(n);
      std::vector<std::pair<uint16_t, uint32_t>> expected;
      for (uint32_t i = 0; i < n; ++i) {
        const auto tag = static_cast<uint16_t>(random() % tags);
        entries[i] = {tag, 4, 1, i};
        expected.emplace_back(tag, i);
      }
      std::sort(expected.begin(), expected.end()); // by tag, then by the place where it was
      TIFSortEntries(entries.data(), n);
      for (uint32_t i = 0; i < n; ++i) {
        ASSERT_EQ(+entries[i].tag, expected[i].first);
        ASSERT_EQ(+entries[i].value, expected[i].second);
      }
    }
  }
  std::vector<TifTagRecord> records = {{5, 1, 1, 0, nullptr, 0}, {3, 1, 1, 1, nullptr, 0}, {5, 1, 1, 2, nullptr, 0}};
  TIFSortRecords(records.data(), 3);
  EXPECT_EQ(+records[0].tag, 3);
  EXPECT_EQ(+records[1].value, 0u);
  EXPECT_EQ(+records[2].value, 2u);
}

} // namespace
