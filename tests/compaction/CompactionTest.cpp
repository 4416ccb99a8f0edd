// Compaction: which pages arrive, where they go, what of them is kept, and what fails.

#include <algorithm>

#include <gtest/gtest.h>
#include <vxtif/results.h>
#include <vxtif/save.h>

#include "compaction/Reachable.h"
#include "support/KernelGuard.h"
#include "support/TempFile.h"
#include "support/TiffBuilder.h"
#include "tif_com/Compaction.h"
#include "tif_com/FileAccess.h"
#include "tree/TreeInput.h"

namespace {

struct CompactionRun {
  FilterCompactRequest request = {};
  FileOptions from = {};
  SaveOptions to = {};

  int32_t Compact(const TempFile& source, const TempFile& destination) {
    KernelGuard guard;
    request.sourceName = source.Name();
    request.destinationName = destination.Name();
    request.sourceOptions = &from;
    request.destinationOptions = &to;
    return fltCompact(&request);
  }
};

FileOrder OrderOf(const FileBytes& bytes) {
  return bytes.at(0) == 'M' ? FileOrder::kBig : FileOrder::kLittle;
}

std::vector<uint32_t> Directories(const FileBytes& bytes) {
  std::vector<uint32_t> places;
  const FileOrder order = OrderOf(bytes);
  for (uint32_t at = GetU32(bytes, 4, order); at != 0;
       at = GetU32(bytes, at + 2 + 12 * GetU16(bytes, at, order), order)) {
    places.push_back(at);
  }
  return places;
}

// Place of the entry with the tag in a directory; 0 for none.
uint32_t EntryPlace(const FileBytes& bytes, uint32_t directory, uint16_t tag) {
  const FileOrder order = OrderOf(bytes);
  for (uint32_t i = 0; i < GetU16(bytes, directory, order); ++i) {
    const uint32_t at = directory + 2 + 12 * i;
    if (GetU16(bytes, at, order) == tag) {
      return at;
    }
  }
  return 0;
}

// The widths of all pages, by which the tests know them.
std::vector<uint32_t> Widths(const FileBytes& bytes) {
  std::vector<uint32_t> widths;
  for (uint32_t directory : Directories(bytes)) {
    widths.push_back(GetU32(bytes, EntryPlace(bytes, directory, 256) + 8, OrderOf(bytes)));
  }
  return widths;
}

FileBytes Pages(FileOrder order, uint32_t first, uint32_t count) {
  TiffBuilder file(order);
  for (uint32_t i = 0; i < count; ++i) {
    file.AddPage(GrayPage(first + i, 2, static_cast<uint8_t>(first + i)));
  }
  return file.Build();
}

std::vector<uint32_t> Numbers(uint32_t first, uint32_t last) {
  std::vector<uint32_t> numbers;
  for (uint32_t number = first; number <= last; ++number) {
    numbers.push_back(number);
  }
  return numbers;
}

class Compaction : public testing::TestWithParam<FileOrder> {
protected:
  FileBytes TenPages() const { return Pages(GetParam(), 1, 10); }
};

INSTANTIATE_TEST_SUITE_P(Orders, Compaction, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const auto& order) { return order.param == FileOrder::kLittle ? "Little" : "Big"; });

TEST_P(Compaction, CountZeroCopiesAllAndComesBackAsAllOnes) {
  const TempFile source(TenPages());
  const TempFile destination;
  CompactionRun run;
  EXPECT_EQ(run.Compact(source, destination), kResultOk);
  EXPECT_EQ(+run.request.pageCount, 0xFFFFFFFFu);
  EXPECT_EQ(Widths(destination.Read()), Numbers(1, 10));
  EXPECT_EQ(source.Read(), TenPages()) << "the source is only read";
}

TEST_P(Compaction, CountZeroFromAPageOnCopiesAllBehindIt) {
  const TempFile source(TenPages());
  const TempFile destination;
  CompactionRun run;
  run.from.pageNumber = 8;
  EXPECT_EQ(run.Compact(source, destination), kResultOk);
  EXPECT_EQ(Widths(destination.Read()), Numbers(8, 10));
}

TEST_P(Compaction, TwoPagesFromTheThird) {
  const TempFile source(TenPages());
  const TempFile destination;
  CompactionRun run;
  run.from.pageNumber = 3;
  run.request.pageCount = 2;
  EXPECT_EQ(run.Compact(source, destination), kResultOk);
  EXPECT_EQ(+run.request.pageCount, 2u);
  EXPECT_EQ(Widths(destination.Read()), Numbers(3, 4));
}

TEST_P(Compaction, PageBeyondTheEndIsTheLastOne) {
  const TempFile source(TenPages());
  const TempFile destination;
  CompactionRun run;
  run.from.pageNumber = 77;
  run.request.pageCount = 5;
  EXPECT_EQ(run.Compact(source, destination), kResultOk);
  EXPECT_EQ(Widths(destination.Read()), Numbers(10, 10));
}

TEST_P(Compaction, PagesCountFromAnExplicitDirectory) {
  TiffBuilder builder(GetParam());
  for (uint32_t width = 1; width <= 4; ++width) {
    builder.AddPage(GrayPage(width, 1));
  }
  const TempFile source(builder.Build());
  const TempFile destination;
  CompactionRun run;
  run.from.flags = kReadUseDirectoryOffset;
  run.from.directoryOffset = builder.DirectoryOffset(1);
  run.from.pageNumber = 2;
  EXPECT_EQ(run.Compact(source, destination), kResultOk);
  EXPECT_EQ(Widths(destination.Read()), Numbers(3, 4));
}

TEST_P(Compaction, NullOptionsCopyAllPagesIntoANewFile) {
  const TempFile source(TenPages());
  const TempFile destination;
  FilterCompactRequest request = {source.Name(), destination.Name(), 0, nullptr, nullptr};
  EXPECT_EQ(fltCompact(&request), kResultOk);
  EXPECT_EQ(Widths(destination.Read()), Numbers(1, 10));
}

TEST_P(Compaction, NewFileIsByteForByteTheTidyOne) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Long(257, {7}).Long(256, {1}).Strips({{1, 2, 3}});
  builder.AddPage().Long(256, {2}).Ascii(270, "abcd");
  const TempFile source(builder.Build());
  const TempFile destination;
  CompactionRun run;
  EXPECT_EQ(run.Compact(source, destination), kResultOk);
  const FileOrder little = FileOrder::kLittle;
  FileBytes expected = {'I', 'I', 42, 0, 8, 0, 0, 0};
  const auto entry = [&](uint16_t tag, uint16_t type, uint32_t count, uint32_t word) {
    AppendU16(expected, little, tag);
    AppendU16(expected, little, type);
    AppendU32(expected, little, count);
    AppendU32(expected, little, word);
  };
  AppendU16(expected, little, 4);
  entry(256, 4, 1, 1);
  entry(257, 4, 1, 7);
  entry(273, 4, 1, 62);
  entry(279, 4, 1, 3);
  AppendU32(expected, little, 66);
  expected.insert(expected.end(), {1, 2, 3, 0}); // the page behind begins at an even place
  AppendU16(expected, little, 2);
  entry(256, 4, 1, 2);
  entry(270, 2, 5, 96);
  AppendU32(expected, little, 0);
  expected.insert(expected.end(), {'a', 'b', 'c', 'd', 0, 96});
  EXPECT_EQ(destination.Read(), expected);
}

TEST_P(Compaction, BigEndianDestinationOnRequest) {
  const TempFile source(TenPages());
  const TempFile destination;
  CompactionRun run;
  run.to.flags = kSaveBigEndian;
  EXPECT_EQ(run.Compact(source, destination), kResultOk);
  EXPECT_EQ(destination.Read()[0], 'M');
  EXPECT_EQ(Widths(destination.Read()), Numbers(1, 10));
}

TEST_P(Compaction, VariantFileKeepsItsTagsAndBecomesAnOrdinaryOne) {
  TiffBuilder builder(GetParam(), 12622);
  builder.AddPage().Long(256, {1}).Short(33465, {2}).Strips({{1}});
  const TempFile source(builder.Build());
  const TempFile destination;
  CompactionRun run;
  EXPECT_EQ(run.Compact(source, destination), kResultOk);
  const FileBytes bytes = destination.Read();
  EXPECT_EQ(GetU16(bytes, 2, FileOrder::kLittle), 42);
  EXPECT_NE(EntryPlace(bytes, 8, 33465), 0u);
}

TEST_P(Compaction, DeletedPageAndOutgrownValuesStayBehind) {
  const TempFile source(TenPages());
  SaveOptions options = {};
  FilterDeletePageRequest deletion = {source.Name(), 4, 0, &options};
  ASSERT_EQ(fltDeletePage(&deletion), kResultOk);
  FileBytes text(500, 'x');
  TifTagItem item = {270, 2, 500, text.data(), nullptr};
  FilterSetTagRequest setting = {source.Name(), &item, nullptr, nullptr};
  ASSERT_EQ(fltSetTag(&setting), kResultOk);
  item.count = 490;
  ASSERT_EQ(fltSetTag(&setting), kResultOk);
  const TempFile destination;
  CompactionRun run;
  EXPECT_EQ(run.Compact(source, destination), kResultOk);
  EXPECT_LT(destination.Read().size(), source.Read().size());
  EXPECT_EQ(Widths(destination.Read()), (std::vector<uint32_t>{1, 2, 3, 5, 6, 7, 8, 9, 10}));
  EXPECT_FALSE(Reachable(source.Read()).DeadRuns().empty());
  EXPECT_EQ(Reachable(destination.Read()).DeadRuns(), std::vector<std::string>{});
}

TEST_P(Compaction, SubfileTypesGoOnRequestAndOtherPagesAreNotTouched) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Long(254, {2}).Short(255, {1}).Long(256, {1}).Strips({{1}});
  builder.AddPage(GrayPage(2, 1));
  const TempFile source(builder.Build());
  for (bool removed : {false, true}) {
    const TempFile destination;
    CompactionRun run;
    run.to.flags = removed ? kSaveNoSubfileType : 0;
    EXPECT_EQ(run.Compact(source, destination), kResultOk);
    const FileBytes bytes = destination.Read();
    EXPECT_EQ(EntryPlace(bytes, 8, 254) == 0, removed);
    EXPECT_EQ(EntryPlace(bytes, 8, 255) == 0, removed);
    EXPECT_EQ(Widths(bytes), Numbers(1, 2));
    EXPECT_EQ(Reachable(bytes).DeadRuns(), std::vector<std::string>{});
  }
}

TEST_P(Compaction, RemovingSubfileTypesChangesNothingElse) {
  const TempFile source(TenPages());
  const TempFile kept;
  EXPECT_EQ(CompactionRun().Compact(source, kept), kResultOk);
  const TempFile removed;
  CompactionRun run;
  run.to.flags = kSaveNoSubfileType;
  EXPECT_EQ(run.Compact(source, removed), kResultOk);
  EXPECT_EQ(removed.Read(), kept.Read()) << "pages without them come out the same";
}

// However long the inserted run is, the pages behind it move on by one number.
TEST_P(Compaction, PagesBehindAnInsertedRunAreRenumberedOnce) {
  TiffBuilder builder(GetParam());
  for (uint16_t i = 0; i < 3; ++i) {
    builder.AddPage(GrayPage(i + 1u, 1).Short(297, {i, 3}).Sort());
  }
  const TempFile source(Pages(FileOrder::kLittle, 21, 2));
  for (uint32_t flags : {uint32_t{kSaveInsertPage}, uint32_t{kSaveInsertPage | kSaveKeepPageNumbers}}) {
    const TempFile destination(builder.Build());
    CompactionRun run;
    run.to.flags = flags;
    run.to.pageNumber = 2;
    ASSERT_EQ(run.Compact(source, destination), kResultOk);
    const FileBytes bytes = destination.Read();
    ASSERT_EQ(Widths(bytes), (std::vector<uint32_t>{1, 21, 22, 2, 3}));
    std::vector<uint32_t> words;
    for (uint32_t directory : Directories(bytes)) {
      const uint32_t entry = EntryPlace(bytes, directory, 297);
      if (entry != 0) {
        words.push_back(GetU16(bytes, entry + 8, GetParam()));
        words.push_back(GetU16(bytes, entry + 10, GetParam()));
      }
    }
    const bool kept = (flags & kSaveKeepPageNumbers) != 0;
    EXPECT_EQ(words, kept ? (std::vector<uint32_t>{0, 3, 1, 3, 2, 3}) : (std::vector<uint32_t>{0, 0, 2, 0, 3, 0}));
  }
}

TEST_P(Compaction, PageNumbersAreCopiedAsTheyStand) {
  TiffBuilder builder(GetParam());
  builder.AddPage(GrayPage(1, 1).Short(297, {5, 9}).Sort());
  const TempFile source(builder.Build());
  const TempFile destination;
  CompactionRun run;
  EXPECT_EQ(run.Compact(source, destination), kResultOk);
  const FileBytes bytes = destination.Read();
  EXPECT_EQ(GetU32(bytes, EntryPlace(bytes, 8, 297) + 8, FileOrder::kLittle), 0x00090005u);
}

TEST_P(Compaction, ReplacingUsesUpOnePageForEachCopied) {
  const TempFile source(Pages(FileOrder::kLittle, 21, 2));
  const TempFile destination(Pages(GetParam(), 1, 5));
  CompactionRun run;
  run.to.flags = kSaveReplacePage;
  run.to.pageNumber = 2;
  run.request.pageCount = 2;
  EXPECT_EQ(run.Compact(source, destination), kResultOk);
  EXPECT_EQ(Widths(destination.Read()), (std::vector<uint32_t>{1, 21, 22, 4, 5}));
  EXPECT_EQ(OrderOf(destination.Read()), GetParam());
}

TEST_P(Compaction, ReplacingThroughTheEndLeavesNoOldPageBehind) {
  const TempFile source(Pages(FileOrder::kLittle, 21, 3));
  const TempFile destination(Pages(GetParam(), 1, 3));
  CompactionRun run;
  run.to.flags = kSaveReplacePage;
  run.to.pageNumber = 2;
  EXPECT_EQ(run.Compact(source, destination), kResultOk);
  EXPECT_EQ(Widths(destination.Read()), (std::vector<uint32_t>{1, 21, 22, 23}));
}

TEST_P(Compaction, ReplacingTheFirstPage) {
  const TempFile source(Pages(FileOrder::kBig, 21, 1));
  const TempFile destination(Pages(GetParam(), 1, 3));
  CompactionRun run;
  run.to.flags = kSaveReplacePage;
  EXPECT_EQ(run.Compact(source, destination), kResultOk);
  EXPECT_EQ(Widths(destination.Read()), (std::vector<uint32_t>{21, 2, 3}));
}

TEST_P(Compaction, InsertingPutsTheRunInFrontOfThePage) {
  const TempFile source(Pages(FileOrder::kLittle, 21, 3));
  const TempFile destination(Pages(GetParam(), 1, 3));
  CompactionRun run;
  run.to.flags = kSaveInsertPage;
  run.to.pageNumber = 2;
  EXPECT_EQ(run.Compact(source, destination), kResultOk);
  EXPECT_EQ(Widths(destination.Read()), (std::vector<uint32_t>{1, 21, 22, 23, 2, 3}));
}

TEST_P(Compaction, PageNumberBeyondTheDestinationAppends) {
  const TempFile source(Pages(FileOrder::kLittle, 21, 2));
  const TempFile destination(Pages(GetParam(), 1, 3));
  CompactionRun run;
  run.to.flags = kSaveInsertPage;
  run.to.pageNumber = 9;
  EXPECT_EQ(run.Compact(source, destination), kResultOk);
  EXPECT_EQ(Widths(destination.Read()), (std::vector<uint32_t>{1, 2, 3, 21, 22}));
  EXPECT_EQ(run.to.flags & kSaveInsertPage, 0u);
}

TEST_P(Compaction, SixteenBitSamplesTakeTheDestinationsOrder) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Short(258, {16}).Short(259, {1}).Strips({{1, 2, 3, 4}});
  builder.AddPage().Short(258, {16}).Short(259, {1}).Tiles({{1, 2}, {3, 4}, {5, 6}});
  const TempFile source(builder.Build());
  for (uint32_t flags : {0u, uint32_t{kSaveBigEndian}}) {
    const TempFile destination;
    CompactionRun run;
    run.to.flags = flags;
    EXPECT_EQ(run.Compact(source, destination), kResultOk);
    const FileBytes bytes = destination.Read();
    const bool differ = (GetParam() == FileOrder::kBig) != (flags == kSaveBigEndian);
    const uint32_t strip = GetU32(bytes, EntryPlace(bytes, 8, 273) + 8, OrderOf(bytes));
    EXPECT_EQ(FileBytes(bytes.begin() + strip, bytes.begin() + strip + 4),
              differ ? (FileBytes{2, 1, 4, 3}) : (FileBytes{1, 2, 3, 4}));
    EXPECT_EQ(FileBytes(bytes.end() - 6, bytes.end()),
              differ ? (FileBytes{2, 1, 4, 3, 6, 5}) : (FileBytes{1, 2, 3, 4, 5, 6}));
  }
}

struct SampleCase {
  const char* what;
  TiffDirectory page;
  uint32_t width; // bytes of a sample where nothing is compressed
  bool is16Bit;   // SHORT depths of 16
};

std::vector<SampleCase> SampleCases() {
  return {
      {"no depth told", TiffDirectory().Long(256, {1}), 1, false},
      {"no depth at all, though a word says 16", TiffDirectory().RawWord(258, 3, 0, 0x00100010), 1, true},
      {"depth 0", TiffDirectory().Short(258, {0}), 1, false},
      {"1 bit", TiffDirectory().Short(258, {1}), 1, false},
      {"8 bits", TiffDirectory().Short(258, {8, 8, 8}), 1, false},
      {"9 bits", TiffDirectory().Short(258, {9, 9}), 2, false},
      {"12 bits", TiffDirectory().Short(258, {12}), 2, false},
      {"16 bits", TiffDirectory().Short(258, {16}), 2, true},
      {"16 bits, two samples", TiffDirectory().Short(258, {16, 16}), 2, true},
      {"16 bits, four samples", TiffDirectory().Short(258, {16, 16, 16, 16}), 2, true},
      {"16 bits in a LONG", TiffDirectory().Long(258, {16}), 2, false},
      {"24 bits", TiffDirectory().Short(258, {24}), 3, false},
      {"32 bits", TiffDirectory().Short(258, {32, 32, 32}), 4, false},
      {"64 bits", TiffDirectory().Short(258, {64}), 8, false},
  };
}

void SwapWords(FileBytes& bytes, size_t count, size_t width) {
  for (size_t i = 0; i < count && (i + 1) * width <= bytes.size(); ++i) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(i * width);
    std::reverse(begin, begin + static_cast<std::ptrdiff_t>(width));
  }
}

// Several strips come out as if they had been turned into host order, as shorts or as longs, and only 16-bit samples
// had been brought back: also those that go from file to file.
TEST_P(Compaction, SeveralStripsArriveByTheRulesOfLoadedOnes) {
  const std::vector<FileBytes> strips = {Counting(8, 1), Counting(5, 51), Counting(6, 101)};
  for (const SampleCase& test : SampleCases()) {
    for (uint16_t compression : {uint16_t{0}, uint16_t{1}, uint16_t{5}}) { // 0: not told
      TiffDirectory page = test.page;
      if (compression != 0) {
        page.Short(259, {compression});
      }
      TiffBuilder builder(GetParam());
      builder.AddPage(page.Strips(strips));
      const TempFile source(builder.Build());
      const uint32_t width = compression == 5 ? 1 : test.width;
      for (uint32_t flags : {0u, uint32_t{kSaveBigEndian}}) {
        const TempFile destination;
        CompactionRun run;
        run.to.flags = flags;
        ASSERT_EQ(run.Compact(source, destination), kResultOk);
        const FileBytes bytes = destination.Read();
        const uint32_t table = GetU32(bytes, EntryPlace(bytes, 8, 273) + 8, OrderOf(bytes));
        for (uint32_t i = 0; i < strips.size(); ++i) {
          FileBytes expected = strips[i];
          if (GetParam() == FileOrder::kBig && width > 1) {
            SwapWords(expected, expected.size() / width, width == 2 ? 2 : 4);
          }
          if (test.is16Bit && compression == 1 && flags != 0) {
            SwapWords(expected, expected.size() / 2, 2);
          }
          const uint32_t place = GetU32(bytes, table + 4 * i, OrderOf(bytes));
          ASSERT_LE(place + expected.size(), bytes.size());
          EXPECT_EQ(FileBytes(bytes.begin() + place, bytes.begin() + place + static_cast<int32_t>(expected.size())),
                    expected)
              << test.what << ", compression " << compression << ", strip " << i << ", flags " << flags;
        }
      }
    }
  }
}

// The offsets of several strips are taken for 32-bit words whatever their type says, and what these name is copied
// where it is there.
TEST_P(Compaction, OffsetsOfSeveralStripsAreReadAsLongs) {
  const FileOrder order = GetParam();
  TiffBuilder builder(order);
  // Three words at 200; as the shorts that the entry speaks of they would name other places.
  builder.AddPage().Short(258, {8}).RawWord(273, 3, 3, 200).Long(279, {2, 3, 1});
  FileBytes table;
  for (uint32_t word : {210u, 215u, 220u}) {
    AppendU32(table, order, word);
  }
  builder.Place(200, table);
  builder.Place(212, Counting(20, 12));
  const TempFile source(builder.Build());
  const TempFile destination;
  ASSERT_EQ(CompactionRun().Compact(source, destination), kResultOk);
  const FileBytes bytes = destination.Read();
  ASSERT_GE(bytes.size(), 7u);
  // Bytes 210 and 211 are the end of the table.
  const FileBytes last = order == FileOrder::kLittle ? FileBytes{0, 0} : FileBytes{0, 220};
  EXPECT_EQ(FileBytes(bytes.end() - 7, bytes.end()), (FileBytes{last[0], last[1], 15, 16, 17, 0, 20}));
}

// A page of several strips is copied through a small buffer, however large it is.
TEST_P(Compaction, SeveralStripsAreNotHeldInMemory) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Short(258, {8}).Short(259, {1}).Strips(std::vector<FileBytes>(40, FileBytes(100'000, 7)));
  const TempFile source(builder.Build());
  const TempFile destination;
  krnResetStatistics();
  ASSERT_EQ(CompactionRun().Compact(source, destination), kResultOk);
  KrnStatistics statistics;
  krnGetStatistics(&statistics);
  EXPECT_LT(statistics.peakBytes, 1'000'000u);
  EXPECT_GT(destination.Read().size(), 4'000'000u);
}

FileBytes RichFile(FileOrder order) {
  TiffBuilder file(order);
  file.AddPage()
      .Short(258, {16, 16, 16})
      .Short(259, {5})
      .Strips({{1, 2, 3}, {4, 5}, {6}})
      .Ascii(270, "a description")
      .Children(330, {GrayPage(2, 2), GrayPage(3, 1)})
      .Child(34665, TiffDirectory()
                        .Undefined(37500, {0, 0, 9, 8, 7, 6, 5})
                        .Ascii(36867, "2001:02:03 04:05:06")
                        .Child(40965, TiffDirectory().Ascii(1, "R98")))
      .Child(34853, TiffDirectory().Byte(0, {2, 2, 0, 0}).Rational(2, {{1, 1}, {2, 1}, {3, 1}}))
      .RawBytes(40000, 2, 4, {'a', 'b', 'c', 'd'});
  file.AddPage(TiffDirectory().Short(258, {8}).Tiles({{1, 2, 3}, {4, 5}, {6}}).Byte(50234, FileBytes(7)));
  file.AddPage(TiffDirectory().Pointer(519, 4, 1, FileBytes(64, 3)).Pointer(513, 4, 1, {9, 8, 7}).Long(514, {3}));
  return file.Build();
}

TEST_P(Compaction, NothingUnreachableArrivesAndAgainGivesTheSameBytes) {
  const TempFile source(RichFile(GetParam()));
  const TempFile first;
  const TempFile second;
  EXPECT_EQ(CompactionRun().Compact(source, first), kResultOk);
  EXPECT_EQ(CompactionRun().Compact(first, second), kResultOk);
  EXPECT_EQ(first.Read(), second.Read());
  const Reachable reached(first.Read());
  EXPECT_EQ(reached.DeadRuns(), std::vector<std::string>{});
  EXPECT_EQ(reached.Pages(), 3u);
}

// --- failures -------------------------------------------------------------------------------------------------------

TEST_P(Compaction, FailuresHaveTheirCodesInOrder) {
  const TempFile source(TenPages());
  const TempFile destination;
  EXPECT_EQ(fltCompact(nullptr), kResultInvalidParameter);
  FilterCompactRequest request = {nullptr, destination.Name(), 0, nullptr, nullptr};
  EXPECT_EQ(fltCompact(&request), kResultNoFileName);
  request = {source.Name(), nullptr, 0, nullptr, nullptr};
  EXPECT_EQ(fltCompact(&request), kResultNoFileName);
  const TempFile missing;
  EXPECT_EQ(CompactionRun().Compact(missing, destination), kResultOpenFailed);
  EXPECT_FALSE(destination.Exists()) << "the source is opened first";
  const TempFile folder;
  request = {source.Name(), u"/no such folder/file.tif", 0, nullptr, nullptr};
  EXPECT_EQ(fltCompact(&request), kResultCreateFailed);
  const TempFile noTiff(FileBytes(30, 'x'));
  EXPECT_EQ(CompactionRun().Compact(noTiff, destination), kResultNotTiff);
  EXPECT_TRUE(destination.Exists());
}

TEST_P(Compaction, UnreadablePageEndsTheRunAndThePagesBeforeStay) {
  TiffBuilder builder(GetParam());
  builder.AddPage(GrayPage(1, 1));
  builder.AddPage().Long(256, {2}).RawWord(700, 1, 100, 0x100000);
  const TempFile source(builder.Build());
  const TempFile destination;
  CompactionRun run;
  EXPECT_EQ(run.Compact(source, destination), kResultDirectoryUnreadable);
  EXPECT_EQ(Widths(destination.Read()), Numbers(1, 1));
}

TEST_P(Compaction, UnreadablePageOfAnInsertLeavesTheOldTailUnlinked) {
  TiffBuilder builder(GetParam());
  builder.AddPage(GrayPage(21, 1));
  builder.AddPage().Long(256, {2}).RawWord(700, 1, 100, 0x100000);
  const TempFile source(builder.Build());
  const TempFile destination(Pages(GetParam(), 1, 3));
  CompactionRun run;
  run.to.flags = kSaveInsertPage;
  run.to.pageNumber = 2;
  EXPECT_EQ(run.Compact(source, destination), kResultDirectoryUnreadable);
  EXPECT_EQ(Widths(destination.Read()), (std::vector<uint32_t>{1, 21}));
}

TEST_P(Compaction, NextWordOfOneToSevenEndsTheRunBehindThePage) {
  TiffBuilder builder(GetParam());
  builder.AddPage(GrayPage(1, 1).NextWord(5));
  const TempFile source(builder.Build());
  const TempFile destination;
  EXPECT_EQ(CompactionRun().Compact(source, destination), kResultDirectoryUnreadable);
  EXPECT_EQ(Widths(destination.Read()), Numbers(1, 1));
  CompactionRun single;
  single.request.pageCount = 1;
  const TempFile other;
  EXPECT_EQ(single.Compact(source, other), kResultOk) << "nobody asks for the page behind";
}

TEST_P(Compaction, ChainThatLoopsIsEndedByTheKernelsLimit) {
  TiffBuilder builder(GetParam());
  builder.AddPage(GrayPage(1, 1).NextWord(8));
  const TempFile source(builder.Build());
  KrnLimits limits;
  krnGetLimits(&limits);
  limits.reads = {};
  limits.reads.base = 500;
  limits.reads.most = 500;
  LimitsGuard few(limits);
  const TempFile destination;
  EXPECT_EQ(CompactionRun().Compact(source, destination), kResultDirectoryUnreadable);
  EXPECT_GT(Directories(destination.Read()).size(), 2u);
}

TEST_P(Compaction, HeaderThatCannotBeWrittenIsAWriteFailure) {
  const TempFile source(TenPages());
  const TempFile destination;
  IoFaults faults;
  faults.Fail(IoCall::kWrite, 1);
  EXPECT_EQ(CompactionRun().Compact(source, destination), kResultWriteFailed);
}

TEST_P(Compaction, FaultsAtEveryStepLeaveNothingOpenAndAReadableDestination) {
  const FileBytes sourceBytes = RichFile(GetParam());
  const TempFile source(sourceBytes);
  for (IoCall call : {IoCall::kOpen, IoCall::kRead, IoCall::kSeek, IoCall::kWrite}) {
    for (FaultSpan span : {FaultSpan::kOnce, FaultSpan::kFromThenOn}) {
      bool finished = false;
      for (uint64_t nth = 1; !finished; ++nth) {
        ASSERT_LT(nth, 2000u);
        const TempFile destination(Pages(GetParam(), 1, 2));
        CompactionRun run;
        run.to.pageNumber = 3;
        run.to.flags = kSaveInsertPage;
        int32_t result = 0;
        {
          IoFaults faults;
          faults.Fail(call, nth, span);
          result = run.Compact(source, destination);
          finished = faults.Calls(call) < nth;
        }
        if (finished) {
          EXPECT_EQ(result, kResultOk);
          EXPECT_EQ(Widths(destination.Read()).size(), 5u);
        } else if (call == IoCall::kWrite) {
          // Pads and the marks of neighbours are not looked at.
          EXPECT_TRUE(result == kResultWriteFailed || result == kResultOk) << nth << ": " << result;
        } else {
          EXPECT_LE(result, kResultOk) << nth;
        }
        EXPECT_EQ(source.Read(), sourceBytes);
      }
    }
  }
  bool finished = false;
  for (uint64_t nth = 1; !finished; ++nth) {
    ASSERT_LT(nth, 2000u);
    const TempFile destination;
    AllocFaults faults(nth, FaultSpan::kFromThenOn);
    const int32_t result = CompactionRun().Compact(source, destination);
    finished = faults.Calls() < nth;
    EXPECT_TRUE(finished ? result == kResultOk
                         : result == kResultDirectoryUnreadable || result == kResultNoMemory || result == 0)
        << nth << ": " << result;
  }
}

// A byte changed anywhere in the source, and in the destination that takes the page.
TEST_P(Compaction, ChangedBytesEndWithoutDamage) {
  const FileBytes source = RichFile(GetParam());
  const FileBytes destination = Pages(GetParam(), 1, 2);
  const TempFile from(source);
  const TempFile to(destination);
  KernelGuard guard;
  const auto compact = [&] {
    SaveOptions options = {};
    options.pageNumber = 2;
    options.flags = kSaveReplacePage;
    FilterCompactRequest request = {from.Name(), to.Name(), 4, nullptr, &options};
    EXPECT_LE(fltCompact(&request), kResultOk);
  };
  for (size_t at = 4; at < source.size(); ++at) {
    for (uint8_t value : {uint8_t{0}, uint8_t{8}, uint8_t{0xFF}}) {
      FileBytes bytes = source;
      bytes[at] = value;
      from.Write(bytes);
      to.Write(destination);
      compact();
    }
  }
  from.Write(source);
  for (size_t at = 0; at < destination.size(); ++at) {
    FileBytes bytes = destination;
    bytes[at] = static_cast<uint8_t>(bytes[at] + 0x55);
    to.Write(bytes);
    compact();
  }
}

// --- its parts ------------------------------------------------------------------------------------------------------

TEST_P(Compaction, NextDirectoryOffsetIsZeroForAnythingWrong) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Long(256, {1});
  builder.AddPage().Long(256, {2}).NextWord(77);
  MemoryInput input(builder.Build());
  TifFile file = {};
  file.fileHandle = input.Handle();
  ASSERT_EQ(TIFReadHeader(&file, 0), kResultOk);
  EXPECT_EQ(TIFNextDirectoryOffset(&file, 8), builder.DirectoryOffset(1));
  EXPECT_EQ(TIFNextDirectoryOffset(&file, builder.DirectoryOffset(1)), 77u);
  for (uint32_t offset : {0u, 7u, 0xFFFFFFFFu, 0xFFFFFFF8u, 0x7FFFFFFFu, 46u, 60u}) {
    EXPECT_EQ(TIFNextDirectoryOffset(&file, offset), 0u) << offset;
  }
}

TEST_P(Compaction, RemovingARecordClosesTheGap) {
  KernelGuard guard;
  TiffBuilder builder(GetParam());
  builder.AddPage().Long(254, {1}).Ascii(270, "abcdef").Long(256, {2}).Ascii(271, "uvwxyz");
  MemoryInput input(builder.Build());
  TifFile file = {};
  file.fileHandle = input.Handle();
  ASSERT_EQ(TIFReadHeader(&file, 0), kResultOk);
  TifDirectory* tree = TIFReadDirectory(&file, kDirMain, TreeSource::kMemoryFile);
  ASSERT_NE(tree, nullptr);
  EXPECT_EQ(TIFRemoveRecord(tree, 300), 0);
  EXPECT_EQ(TIFRemoveRecord(tree, 270), 1);
  EXPECT_EQ(+tree->entryCount, 3u);
  EXPECT_EQ(+tree->records[1].tag, 256);
  EXPECT_EQ(+tree->records[2].tag, 271);
  EXPECT_EQ(TIFRemoveRecord(tree, 271), 1);
  EXPECT_EQ(TIFRemoveRecord(tree, 254), 1);
  EXPECT_EQ(TIFRemoveRecord(tree, 256), 1);
  EXPECT_EQ(+tree->entryCount, 0u);
  TIFFreeDirectory(tree, kDirMain);
}

} // namespace
