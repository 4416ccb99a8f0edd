// Trees that no writer makes: directories within themselves, too deep or too many, absurd sizes, and faults at every
// step. Nothing is left behind, and time and memory stay in proportion to the file.

#include <algorithm>

#include <gtest/gtest.h>

#include "tree/TreeInput.h"

namespace {

uint64_t PeakBytes() {
  KrnStatistics statistics;
  krnGetStatistics(&statistics);
  return statistics.peakBytes;
}

// A chain of directories, each holding the next one under tag 330.
TiffDirectory Nested(uint32_t levels) {
  TiffDirectory directory = TiffDirectory().Long(256, {levels});
  for (uint32_t level = levels; level-- > 0;) {
    directory = TiffDirectory().Long(256, {level}).Child(330, directory);
  }
  return directory;
}

uint32_t Depth(const TifDirectory* directory) {
  const PlainRecord child = Get(directory, 330);
  return child.storage == 20 ? 1 + Depth(child.Child()) : 0;
}

TEST(HostileTree, DirectoryThatIsItsOwnChildIsReadOnce) {
  TiffBuilder file;
  file.AddPage().Long(256, {1}).RawWord(330, 4, 1, 8).Long(257, {2});
  EXPECT_EQ(TagsOf(TreeInput(file.Build()).Tree()), (std::vector<uint32_t>{256, 257}));
}

TEST(HostileTree, DirectoryThatIsAnElementOfItsOwnArrayFails) {
  TiffBuilder file;
  file.AddPage().Long(256, {1}).Long(330, {8, 8});
  EXPECT_EQ(TreeInput(file.Build()).Tree(), nullptr);
}

TEST(HostileTree, LoopThroughAnotherDirectoryIsCutWhereItCloses) {
  TiffBuilder file;
  file.AddPage().Long(256, {1}).Child(330, TiffDirectory().Long(256, {2}).RawWord(330, 4, 1, 8));
  TreeInput input(file.Build());
  ASSERT_NE(input.Tree(), nullptr);
  EXPECT_EQ(TagsOf(input.Get(330).Child()), (std::vector<uint32_t>{256}));
}

TEST(HostileTree, TheSameDirectoryInAnotherKindIsNoLoop) {
  TiffBuilder file;
  file.AddPage().Long(256, {1}).RawWord(34665, 4, 1, 8);
  TreeInput input(file.Build());
  ASSERT_NE(input.Tree(), nullptr);
  EXPECT_EQ(TagsOf(input.Get(34665).Child()), (std::vector<uint32_t>{256, 34665}));
}

TEST(HostileTree, TwoEntriesMayNameOneChild) {
  TiffBuilder file;
  file.AddPage().Long(256, {1}).Child(330, TiffDirectory().Long(256, {2})).RawWord(330, 4, 1, 0);
  FileBytes bytes = file.Build();
  const uint32_t child = GetU32(bytes, file.EntryOffset(0, 330) + 8, FileOrder::kLittle);
  PutU32(bytes, file.EntryOffset(0, 330) + 12 + 8, FileOrder::kLittle, child);
  EXPECT_EQ(TagsOf(TreeInput(bytes).Tree()), (std::vector<uint32_t>{256, 330, 330}));
}

TEST(HostileTree, LegalNestingOfThirtyTwoLevelsIsRead) {
  TiffBuilder file;
  file.AddPage(Nested(32));
  EXPECT_EQ(Depth(TreeInput(file.Build()).Tree()), 32u);
}

TEST(HostileTree, DeeperLevelsAreUnreadable) {
  TiffBuilder file;
  file.AddPage(Nested(40));
  EXPECT_EQ(Depth(TreeInput(file.Build()).Tree()), 32u);
}

TEST(HostileTree, ATreeHoldsNoMoreDirectoriesThanTheFileHasRoomFor) {
  // 1000 entries under tag 330, all naming one child of 18 bytes: the file has room for 12046 / 18 = 669 directories.
  TiffBuilder file;
  TiffDirectory& page = file.AddPage();
  for (int i = 0; i < 1000; ++i) {
    page.RawWord(330, 4, 1, 8 + 2 + 12000 + 4);
  }
  FileBytes bytes = file.Build();
  AppendU16(bytes, FileOrder::kLittle, 1);
  for (uint32_t word : {0x00040100u, 1u, 5u, 0u}) {
    AppendU32(bytes, FileOrder::kLittle, word);
  }
  TreeInput input(bytes);
  ASSERT_NE(input.Tree(), nullptr);
  EXPECT_EQ(+input.Tree()->entryCount, bytes.size() / 18 - 1) << "the page itself counts";
}

TEST(HostileTree, WidelyBranchingLoopsEndSoon) {
  // Every directory names all others, level below level.
  TiffBuilder file;
  for (int directory = 0; directory < 20; ++directory) {
    TiffDirectory& page = file.AddPage();
    for (uint32_t other = 0; other < 20; ++other) {
      page.RawWord(330, 4, 1, 8 + other * (2 + 20 * 12 + 4));
    }
  }
  const FileBytes bytes = file.Build();
  krnResetStatistics();
  TreeInput input(bytes);
  EXPECT_NE(input.Tree(), nullptr);
  EXPECT_LT(PeakBytes(), 1'000'000u);
}

TEST(HostileTree, AbsurdSizesTakeNoMemory) {
  struct SizeCase {
    const char* what;
    TiffDirectory page;
    bool reads;
  };
  const SizeCase cases[] = {
      {"bytes", TiffDirectory().RawWord(700, 1, 0xFFFFFFFF, 8), false},
      {"a size that wraps to nothing", TiffDirectory().RawWord(700, 4, 0x40000000, 8), false},
      {"a size that wraps to an inline one", TiffDirectory().RawWord(700, 12, 0x20000000, 8), false},
      {"a strip", TiffDirectory().Long(273, {8}).Long(279, {0xFFFFFFF0}), false},
      {"a JPEG stream", TiffDirectory().Long(513, {8}).Long(514, {0xFFFFFFF0}), false},
      {"strips of several", TiffDirectory().Long(273, {8, 8}).Long(279, {0xFFFFFFF0, 0xFFFFFFF0}), true},
      {"a maker note",
       TiffDirectory().Long(256, {1}).Child(34665, TiffDirectory().RawWord(37500, 7, 0xFFFFFFF0, 0x01000000)), true},
  };
  for (const SizeCase& test : cases) {
    TiffBuilder file;
    file.AddPage(test.page);
    const FileBytes bytes = file.Build();
    krnResetStatistics();
    EXPECT_EQ(TreeInput(bytes).Tree() != nullptr, test.reads) << test.what;
    EXPECT_LT(PeakBytes(), 100'000u) << test.what;
  }
}

TEST(HostileTree, EveryCutOfAFileEndsWithoutDamage) {
  for (FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
    TiffBuilder file(order);
    file.AddPage()
        .Short(258, {16, 16, 16})
        .Strips({{1, 2}, {3, 4}, {5, 6}})
        .Children(330, {GrayPage(2, 2), GrayPage(3, 1)})
        .Child(34665, TiffDirectory().Undefined(37500, {0, 0, 9, 8, 7, 6, 5}).Ascii(36867, "2001:02:03 04:05:06"))
        .Child(34853, TiffDirectory().Byte(0, {2, 2, 0, 0}).Rational(2, {{1, 1}, {2, 1}, {3, 1}}));
    const FileBytes whole = file.Build();
    for (size_t size = 8; size <= whole.size(); ++size) {
      TreeInput input(FileBytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
      if (size == whole.size()) {
        ASSERT_NE(input.Tree(), nullptr);
        EXPECT_EQ(+input.Tree()->entryCount, 6u);
      }
    }
  }
}

TEST(HostileTree, EveryChangedByteEndsWithoutDamage) {
  for (FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
    TiffBuilder file(order);
    file.AddPage()
        .Short(258, {16, 16, 16})
        .Strips({{1, 2}, {3, 4}, {5, 6}})
        .Children(330, {TiffDirectory().Strips({{1}}), TiffDirectory().Long(513, {8}).Long(514, {4})})
        .Child(34665, TiffDirectory().Child(37500, TiffDirectory().Short(1, {1, 2, 3}), 7));
    const FileBytes whole = file.Build();
    for (size_t at = 8; at < whole.size(); ++at) {
      for (uint8_t value : {uint8_t{0}, uint8_t{1}, uint8_t{8}, uint8_t{0x80}, uint8_t{0xFF}}) {
        FileBytes bytes = whole;
        bytes[at] = value;
        TreeInput input(bytes);
      }
    }
  }
}

// --- faults ---------------------------------------------------------------------------------------------------------

FileBytes RichFile(FileOrder order) {
  TiffBuilder file(order);
  file.AddPage()
      .Short(258, {16, 16, 16})
      .Strips({{1, 2}, {3, 4}, {5, 6}})
      .Ascii(270, "description")
      .Children(330, {GrayPage(2, 2), GrayPage(3, 1)})
      .Pointer(700, 7, 300, FileBytes(300, 1))
      .Long(519, {100, 110})
      .Child(34665, TiffDirectory().Undefined(37500, {0, 0, 9, 8, 7, 6, 5}).Ascii(36867, "2001:02:03 04:05:06"));
  return file.Build();
}

// Reads the rich tree from a file on disk while something fails; whatever comes out is freed again.
uint32_t ReadUnderFault(const TempFile& disk) {
  TifFile file = {};
  file.fileHandle = krnFileOpen(disk.Name(), kKrnFileRead, kKrnShareRead);
  uint32_t records = 0;
  if (TIFReadHeader(&file, 0) == kResultOk) {
    TifDirectory* tree = TIFReadDirectory(&file, kDirMain, TreeSource::kFile);
    records = tree != nullptr ? tree->entryCount : 0;
    TIFFreeDirectory(tree, kDirMain);
  }
  krnFileClose(file.fileHandle);
  return records;
}

TEST(HostileTree, FailingAllocationsLeaveNothingBehind) {
  const TempFile disk(RichFile(FileOrder::kBig));
  for (FaultSpan span : {FaultSpan::kOnce, FaultSpan::kFromThenOn}) {
    bool finished = false;
    for (uint64_t nth = 1; !finished; ++nth) {
      ASSERT_LT(nth, 1000u);
      KernelGuard guard;
      AllocFaults faults(nth, span);
      const uint32_t records = ReadUnderFault(disk);
      finished = faults.Calls() < nth;
      // Strips stay in the file and a broken Exif directory goes; all else fails the page.
      EXPECT_TRUE(records == 0 || records == 7 || records == 8) << records << " records, allocation " << nth;
      EXPECT_TRUE(!finished || records == 8);
    }
  }
}

TEST(HostileTree, FailingReadsAndSeeksLeaveNothingBehind) {
  const TempFile disk(RichFile(FileOrder::kBig));
  for (IoCall call : {IoCall::kRead, IoCall::kSeek}) {
    for (FaultSpan span : {FaultSpan::kOnce, FaultSpan::kFromThenOn}) {
      bool finished = false;
      for (uint64_t nth = 1; !finished; ++nth) {
        ASSERT_LT(nth, 1000u);
        KernelGuard guard;
        IoFaults faults;
        faults.Fail(call, nth, span);
        const uint32_t records = ReadUnderFault(disk);
        finished = faults.Calls(call) < nth;
        EXPECT_TRUE(records == 0 || records == 7 || records == 8) << records << " records, call " << nth;
        EXPECT_TRUE(!finished || records == 8);
      }
    }
  }
}

} // namespace
