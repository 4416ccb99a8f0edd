// Header, values, seeking and the walk along the chain of directories.

#include <gtest/gtest.h>

#include "support/KernelGuard.h"
#include "support/TempFile.h"
#include "support/TiffBuilder.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Tags.h"

namespace {

TifFile FileOn(VxFileHandle handle, uint8_t byteOrder = kByteOrderLittle) {
  TifFile file{};
  file.fileHandle = handle;
  file.byteOrder = byteOrder;
  return file;
}

uint32_t Position(VxFileHandle handle) {
  return krnFileSeek(handle, 0, kKrnSeekCurrent);
}

// Three pages with 1, 2 and 3 entries.
TiffBuilder ThreePages(FileOrder order) {
  TiffBuilder builder(order);
  builder.AddPage().Short(256, {1});
  builder.AddPage().Short(256, {1}).Short(257, {1});
  builder.AddPage().Short(256, {1}).Short(257, {1}).Short(259, {1});
  return builder;
}

class BothOrders : public testing::TestWithParam<FileOrder> {
protected:
  KernelGuard guard_;
};

std::string OrderName(const testing::TestParamInfo<FileOrder>& info) {
  return info.param == FileOrder::kLittle ? "LittleEndian" : "BigEndian";
}

INSTANTIATE_TEST_SUITE_P(FileAccess, BothOrders, testing::Values(FileOrder::kLittle, FileOrder::kBig), OrderName);

} // namespace

TEST(FileAccessValues, NumbersComeInTheFilesOrderAndAnyOtherMarkCountsAsBigEndian) {
  KernelGuard guard;
  for (const auto& [mark, narrow, wide] : {std::tuple{uint8_t{73}, 0x0201u, 0x06050403u},
                                           {uint8_t{77}, 0x0102u, 0x03040506u},
                                           {uint8_t{0}, 0x0102u, 0x03040506u}}) {
    MemoryInput input({1, 2, 3, 4, 5, 6});
    const TifFile file = FileOn(input.Handle(), mark);
    uint16_t first = 0;
    uint32_t second = 0;
    EXPECT_EQ(TIFRead16(&file, &first), 1);
    EXPECT_EQ(TIFRead32(&file, &second), 1);
    EXPECT_EQ(first, narrow);
    EXPECT_EQ(second, wide);
  }
}

TEST(FileAccessValues, ShortReadsGiveZero) {
  MemoryInput input({1, 2, 3});
  const TifFile file = FileOn(input.Handle());
  uint32_t wide = 0;
  uint16_t narrow = 0;
  TifDirEntry entry{};
  EXPECT_EQ(TIFRead32(&file, &wide), 0);
  EXPECT_EQ(TIFRead16(&file, &narrow), 0);
  krnFileSeek(input.Handle(), 0, kKrnSeekSet);
  EXPECT_EQ(TIFReadEntry(&file, &entry), 0);
}

TEST(FileAccessValues, EntryOfALittleEndianFileIsTakenAsItStands) {
  MemoryInput input({0x00, 0x01, 3, 0, 1, 0, 0, 0, 0x34, 0x12, 0xFF, 0xFF});
  const TifFile file = FileOn(input.Handle());
  TifDirEntry entry{};
  ASSERT_EQ(TIFReadEntry(&file, &entry), 1);
  EXPECT_EQ(entry.tag, 256);
  EXPECT_EQ(entry.type, kTypeShort);
  EXPECT_EQ(entry.count, 1u);
  EXPECT_EQ(entry.value, 0xFFFF1234u); // the stale half is the parser's to cut
}

TEST(FileAccessValues, EntryOfABigEndianFileIsBroughtToTheMemoryForm) {
  MemoryInput input({0x01, 0x00, 0, 3, 0, 0, 0, 1, 0x12, 0x34, 0xFF, 0xFF});
  const TifFile file = FileOn(input.Handle(), kByteOrderBig);
  TifDirEntry entry{};
  ASSERT_EQ(TIFReadEntry(&file, &entry), 1);
  EXPECT_EQ(entry.tag, 256);
  EXPECT_EQ(entry.type, kTypeShort);
  EXPECT_EQ(entry.count, 1u);
  EXPECT_EQ(entry.value, 0x1234u);
}

TEST(FileAccessValues, BigEndianValueWordsAreNormalisedByTypeAndCount) {
  struct Case {
    uint16_t type;
    uint32_t count;
    uint32_t expected; // of the bytes 81 02 03 04
  };
  constexpr Case kCases[] = {
      {kTypeShort, 0, 0x03048102},
      {kTypeShort, 1, 0x00008102},
      {kTypeShort, 2, 0x03048102},
      {kTypeShort, 3, 0x81020304},
      {kTypeSShort, 0, 0x03048102},
      {kTypeSShort, 1, 0xFFFF8102},
      {kTypeSShort, 2, 0x03048102},
      {kTypeSShort, 3, 0x81020304},
      {kTypeByte, 0, 0x04030281},
      {kTypeByte, 4, 0x04030281},
      {kTypeByte, 5, 0x81020304},
      {kTypeAscii, 4, 0x04030281},
      {kTypeAscii, 5, 0x81020304},
      {kTypeSByte, 1, 0x04030281},
      {kTypeSByte, 5, 0x81020304},
      {kTypeUndefined, 4, 0x04030281},
      {kTypeUndefined, 5, 0x81020304},
      {kTypeLong, 1, 0x81020304},
      {kTypeLong, 0, 0x81020304},
      {kTypeRational, 1, 0x81020304},
      {kTypeSLong, 1, 0x81020304},
      {kTypeFloat, 1, 0x81020304},
      {kTypeDouble, 1, 0x81020304},
      {0, 1, 0x81020304},
      {13, 1, 0x81020304},
      {0xFFFF, 1, 0x81020304},
  };
  for (const Case& test : kCases) {
    TifDirEntry entry{};
    entry.type = test.type;
    entry.count = test.count;
    entry.value = 0x04030281;
    TIFNormalizeEntryValue(&entry);
    EXPECT_EQ(entry.value, test.expected) << "type " << test.type << " count " << test.count;
  }
}

TEST(FileAccessValues, EntryArraysAreSwappedBothWaysInPlace) {
  const FileBytes onDisk = {
      0x01, 0x00, 0, 3, 0, 0, 0, 1, 0x12, 0x34, 0,    0,    // SHORT
      0x01, 0x02, 0, 3, 0, 0, 0, 2, 0x12, 0x34, 0x56, 0x78, // two SHORTs
      0x01, 0x11, 0, 4, 0, 0, 0, 1, 0x12, 0x34, 0x56, 0x78, // LONG
      0x01, 0x31, 0, 2, 0, 0, 0, 3, 'a',  'b',  0,    0x7F, // inline text
      0x01, 0x32, 0, 2, 0, 0, 0, 9, 0x00, 0x01, 0x02, 0x03, // its offset
  };
  TifDirEntry entries[5];
  ASSERT_EQ(onDisk.size(), sizeof entries);
  memcpy(entries, onDisk.data(), sizeof entries);
  TIFSwapEntries(entries, 5, SwapDirection::kToMemory);
  const uint32_t values[] = {0x1234, 0x56781234, 0x12345678, 0x7F006261, 0x00010203};
  const uint16_t tags[] = {0x100, 0x102, 0x111, 0x131, 0x132};
  const uint32_t counts[] = {1, 2, 1, 3, 9};
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(uint32_t{entries[i].value}, values[i]) << i;
    EXPECT_EQ(uint16_t{entries[i].tag}, tags[i]) << i;
    EXPECT_EQ(uint32_t{entries[i].count}, counts[i]) << i;
  }
  TIFSwapEntries(entries, 5, SwapDirection::kToFile);
  EXPECT_EQ(memcmp(entries, onDisk.data(), sizeof entries), 0);
}

TEST(FileAccessValues, SignedShortOnItsWayToABigEndianFileExtendsTheSwappedHalf) {
  TifDirEntry entry{};
  entry.type = kTypeSShort;
  entry.count = 1;
  entry.value = 0xFFFFFFFE;
  TIFSwapEntries(&entry, 1, SwapDirection::kToFile);
  EXPECT_EQ(uint32_t{entry.value}, 0xFFFFFEFFu); // bytes FF FE FF FF
}

TEST(FileAccessSeek, UpTo7FFFFFFFItIsOneKernelCall) {
  MemoryInput input({1, 2, 3, 4});
  IoFaults calls;
  EXPECT_EQ(TIFSeek(input.Handle(), 3, kKrnSeekSet), 3u);
  EXPECT_EQ(TIFSeek(input.Handle(), 0x7FFFFFFF, kKrnSeekSet), 0x7FFFFFFFu);
  EXPECT_EQ(calls.Calls(IoCall::kSeek), 2u);
}

TEST(FileAccessSeek, AboveThatItTakesTwoSteps) {
  MemoryInput input({1, 2, 3, 4});
  IoFaults calls;
  EXPECT_EQ(TIFSeek(input.Handle(), 0x80000000, kKrnSeekSet), 0x80000000u);
  EXPECT_EQ(calls.Calls(IoCall::kSeek), 2u);
  EXPECT_EQ(TIFSeek(input.Handle(), 0xFFFFFFFE, kKrnSeekSet), 0xFFFFFFFEu);
  EXPECT_EQ(TIFSeek(input.Handle(), 0xFFFFFFFF, kKrnSeekSet), kSeekFailed);
}

TEST(FileAccessSeek, AFailedFirstStepMakesNoSecondCall) {
  MemoryInput input({1, 2, 3, 4});
  IoFaults calls;
  calls.Fail(IoCall::kSeek, 1);
  EXPECT_EQ(TIFSeek(input.Handle(), 0x80000000, kKrnSeekSet), kSeekFailed);
  EXPECT_EQ(calls.Calls(IoCall::kSeek), 1u);
}

TEST(FileAccessSeek, ADirectoryBeyondTwoGigabytesIsRead) {
  KernelGuard guard;
  TempFile target;
  constexpr uint32_t kFar = 0x80000010;
  const VxFileHandle made = krnFileOpen(target.Name(), kKrnFileReadWrite | kKrnFileCreate, kKrnShareExclusive);
  ASSERT_NE(made, kKrnNoHandle);
  const FileBytes header = {'I', 'I', 42, 0, 0x10, 0, 0, 0x80};
  const FileBytes directory = {1, 0, 0, 1, 3, 0, 1, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0};
  ASSERT_EQ(krnFileWrite(made, header.data(), 8), 8u);
  ASSERT_EQ(TIFSeek(made, kFar, kKrnSeekSet), kFar); // a hole: no bytes of the disk are used for it
  ASSERT_EQ(krnFileWrite(made, directory.data(), 18), 18u);
  krnFileClose(made);
  TifFile file{};
  ASSERT_EQ(Vx_OpenTIF(target.Name(), &file, sizeof file), kResultOk);
  EXPECT_EQ(uint32_t{file.directoryOffset}, kFar);
  EXPECT_EQ(uint32_t{file.entryCount}, 1u);
  EXPECT_EQ(uint32_t{file.fileSize}, kFar + 18);
  EXPECT_EQ(Vx_CloseTIF(&file), kResultOk);
}

TEST_P(BothOrders, HeaderAndFirstDirectoryAreEntered) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Short(256, {5}).Short(257, {6});
  const FileBytes bytes = builder.Build();
  MemoryInput input(bytes);
  TifFile file = FileOn(input.Handle(), 0);
  file.nextDirectoryOffset = 99;
  file.stateFlags = 77;
  ASSERT_EQ(TIFReadHeader(&file, 0), kResultOk);
  EXPECT_EQ(uint32_t{file.structSize}, 48u);
  EXPECT_EQ(file.byteOrder, GetParam() == FileOrder::kLittle ? 73 : 77);
  EXPECT_EQ(uint16_t{file.version}, 42);
  EXPECT_EQ(uint32_t{file.fileSize}, bytes.size());
  EXPECT_EQ(uint32_t{file.directoryOffset}, builder.DirectoryOffset(0));
  EXPECT_EQ(uint32_t{file.entryCount}, 2u);
  EXPECT_EQ(uint32_t{file.directoryLinkOffset}, 4u);
  EXPECT_EQ(uint32_t{file.nextDirectoryOffset}, 0u);
  EXPECT_EQ(uint32_t{file.stateFlags}, 77u) << "the writer's fields are left alone";
  EXPECT_EQ(Position(input.Handle()), builder.DirectoryOffset(0) + 2);
}

TEST_P(BothOrders, TheVariantsVersionWordIsAccepted) {
  TiffBuilder builder(GetParam(), 12622);
  builder.AddPage().Short(256, {5});
  MemoryInput input(builder.Build());
  TifFile file = FileOn(input.Handle());
  EXPECT_EQ(TIFReadHeader(&file, 0), kResultOk);
  EXPECT_EQ(uint16_t{file.version}, 12622);
}

TEST_P(BothOrders, AnyOtherVersionWordIsNoTiff) {
  for (uint16_t version : std::initializer_list<uint16_t>{0, 41, 43, 0x2A00, 0x4E31, 0xFFFF}) {
    TiffBuilder builder(GetParam(), version);
    builder.AddPage().Short(256, {5});
    MemoryInput input(builder.Build());
    TifFile file = FileOn(input.Handle());
    EXPECT_EQ(TIFReadHeader(&file, 0), kResultNotTiff) << version;
  }
}

TEST(FileAccessHeader, AFileBelowEightBytesIsNoTiff) {
  const FileBytes header = {'I', 'I', 42, 0, 8, 0, 0, 0};
  for (size_t size = 0; size < 8; ++size) {
    MemoryInput input(FileBytes(header.begin(), header.begin() + static_cast<std::ptrdiff_t>(size)));
    TifFile file = FileOn(input.Handle());
    EXPECT_EQ(TIFReadHeader(&file, 0), kResultNotTiff) << size;
    EXPECT_EQ(uint32_t{file.structSize}, 48u);
  }
}

TEST(FileAccessHeader, AnyOtherMarkIsNoTiff) {
  for (const auto& [first, second] : {std::pair{'I', 'M'}, {'M', 'I'}, {'i', 'i'}, {'X', 'X'}, {'\0', '\0'}}) {
    MemoryInput input({static_cast<uint8_t>(first), static_cast<uint8_t>(second), 42, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    TifFile file = FileOn(input.Handle());
    EXPECT_EQ(TIFReadHeader(&file, 0), kResultNotTiff);
  }
}

TEST_P(BothOrders, AFirstDirectoryAtOneToSevenIsRefusedBehindItsCount) {
  for (uint32_t offset = 1; offset < 8; ++offset) {
    TiffBuilder builder(GetParam());
    builder.FirstLink(offset).AddPage().Short(256, {5});
    MemoryInput input(builder.Build());
    TifFile file = FileOn(input.Handle());
    file.directoryOffset = 1234;
    file.entryCount = 5678;
    EXPECT_EQ(TIFReadHeader(&file, 0), kResultNotTiff) << offset;
    EXPECT_EQ(uint32_t{file.directoryOffset}, 1234u) << "not entered";
    EXPECT_NE(uint32_t{file.entryCount}, 5678u) << "but the count is overwritten";
  }
}

TEST_P(BothOrders, AFirstDirectoryAtZeroTakesTheMarkForItsCount) {
  TiffBuilder builder(GetParam());
  builder.FirstLink(0).AddPage().Short(256, {5});
  MemoryInput input(builder.Build());
  TifFile file = FileOn(input.Handle());
  EXPECT_EQ(TIFReadHeader(&file, 0), kResultOk);
  EXPECT_EQ(uint32_t{file.directoryOffset}, 0u);
  EXPECT_EQ(uint32_t{file.entryCount}, GetParam() == FileOrder::kLittle ? 18761u : 19789u);
}

TEST_P(BothOrders, ACountWordPastTheEndIsAFailedRead) {
  TiffBuilder builder(GetParam());
  builder.FirstLink(4000).AddPage().Short(256, {5});
  const FileBytes bytes = builder.Build();
  for (uint32_t offset :
       {uint32_t{4000}, static_cast<uint32_t>(bytes.size()), static_cast<uint32_t>(bytes.size() - 1)}) {
    MemoryInput input(bytes);
    TifFile file = FileOn(input.Handle());
    file.byteOrder = GetParam() == FileOrder::kLittle ? 73 : 77;
    EXPECT_EQ(TIFReadDirectoryHeader(&file, offset), kResultReadFailed) << offset;
  }
}

TEST_P(BothOrders, AnExplicitDirectoryIsEnteredWithoutALinkWord) {
  TiffBuilder builder = ThreePages(GetParam());
  MemoryInput input(builder.Build());
  TifFile file = FileOn(input.Handle());
  ASSERT_EQ(TIFReadHeader(&file, builder.DirectoryOffset(2)), kResultOk);
  EXPECT_EQ(uint32_t{file.directoryOffset}, builder.DirectoryOffset(2));
  EXPECT_EQ(uint32_t{file.entryCount}, 3u);
  EXPECT_EQ(uint32_t{file.directoryLinkOffset}, 0u);
}

TEST_P(BothOrders, AnExplicitOffsetBelowEightIsIgnored) {
  TiffBuilder builder = ThreePages(GetParam());
  const FileBytes bytes = builder.Build();
  for (uint32_t offset = 0; offset < 8; ++offset) {
    MemoryInput input(bytes);
    TifFile file = FileOn(input.Handle());
    EXPECT_EQ(TIFReadHeader(&file, offset), kResultOk);
    EXPECT_EQ(uint32_t{file.directoryOffset}, builder.DirectoryOffset(0));
    EXPECT_EQ(uint32_t{file.directoryLinkOffset}, 4u);
  }
}

TEST_P(BothOrders, AnExplicitDirectoryThatCannotBeEnteredFallsBackToTheFirst) {
  TiffBuilder builder = ThreePages(GetParam());
  const FileBytes bytes = builder.Build();
  for (uint32_t offset : {static_cast<uint32_t>(bytes.size()), 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    MemoryInput input(bytes);
    TifFile file = FileOn(input.Handle());
    EXPECT_EQ(TIFReadHeader(&file, offset), kResultOk) << offset;
    EXPECT_EQ(uint32_t{file.directoryOffset}, builder.DirectoryOffset(0));
    EXPECT_EQ(uint32_t{file.directoryLinkOffset}, 4u);
    EXPECT_EQ(uint32_t{file.entryCount}, 1u);
  }
}

TEST(FileAccessHeader, ASeekThatFailsOrLandsElsewhereIsMinusFour) {
  TiffBuilder builder = ThreePages(FileOrder::kLittle);
  MemoryInput input(builder.Build());
  TifFile file = FileOn(input.Handle());
  IoFaults faults;
  faults.Fail(IoCall::kSeek, 1);
  EXPECT_EQ(TIFReadDirectoryHeader(&file, builder.DirectoryOffset(0)), kResultSeekFailed);
}

TEST_P(BothOrders, TheWalkReachesThePageAndKnowsItsLink) {
  TiffBuilder builder = ThreePages(GetParam());
  const FileBytes bytes = builder.Build();
  for (uint32_t wanted : {1u, 2u, 3u}) {
    MemoryInput input(bytes);
    TifFile file = FileOn(input.Handle());
    ASSERT_EQ(TIFReadHeader(&file, 0), kResultOk);
    uint32_t page = wanted;
    uint32_t behind = file.directoryOffset + 2;
    ASSERT_EQ(TIFWalkPages(&file, &page, &behind), kResultOk);
    EXPECT_EQ(page, wanted);
    EXPECT_EQ(uint32_t{file.directoryOffset}, builder.DirectoryOffset(wanted - 1));
    EXPECT_EQ(uint32_t{file.directoryLinkOffset}, builder.LinkOffset(wanted - 1));
    EXPECT_EQ(uint32_t{file.entryCount}, wanted);
    EXPECT_EQ(behind, builder.DirectoryOffset(wanted - 1) + 2);
    EXPECT_EQ(Position(input.Handle()), behind);
  }
}

TEST_P(BothOrders, ThePositionComesBackToTheLastDirectoryWhenTheChainEnds) {
  TiffBuilder builder = ThreePages(GetParam());
  MemoryInput input(builder.Build());
  TifFile file = FileOn(input.Handle());
  uint32_t reached = 0;
  ASSERT_EQ(TIFSeekPage(&file, 9, 0, &reached, PageSearch::kLenient), kResultOk);
  EXPECT_EQ(reached, 3u);
  EXPECT_EQ(uint32_t{file.directoryOffset}, builder.DirectoryOffset(2));
  EXPECT_EQ(Position(input.Handle()), builder.DirectoryOffset(2) + 2);
}

TEST_P(BothOrders, ANextWordBelowEightEndsTheChain) {
  for (uint32_t next = 0; next < 8; ++next) {
    TiffBuilder builder(GetParam());
    builder.AddPage().Short(256, {1}).NextWord(next);
    builder.AddPage().Short(256, {1});
    MemoryInput input(builder.Build());
    TifFile file = FileOn(input.Handle());
    uint32_t reached = 0;
    EXPECT_EQ(TIFSeekPage(&file, kLastPage, 0, &reached, PageSearch::kLenient), kResultOk);
    EXPECT_EQ(reached, 1u) << next;
  }
}

TEST(FileAccessWalk, PagesZeroAndOneMoveNothing) {
  TiffBuilder builder = ThreePages(FileOrder::kLittle);
  MemoryInput input(builder.Build());
  TifFile file = FileOn(input.Handle());
  ASSERT_EQ(TIFReadHeader(&file, 0), kResultOk);
  for (uint32_t wanted : {0u, 1u}) {
    CallCounter calls;
    uint32_t page = wanted;
    uint32_t behind = 321;
    EXPECT_EQ(TIFWalkPages(&file, &page, &behind), kResultOk);
    EXPECT_EQ(page, 1u);
    EXPECT_EQ(behind, 321u);
    EXPECT_EQ(calls.Since().seeks + calls.Since().reads, 0u);
  }
}

TEST(FileAccessWalk, CostsTwoSeeksAndTwoSmallReadsADirectoryAndNoAllocation) {
  constexpr uint32_t kPages = 100;
  TiffBuilder builder;
  for (uint32_t i = 0; i < kPages; ++i) {
    TiffDirectory& page = builder.AddPage();
    for (uint16_t tag = 256; tag < 256 + 40; ++tag) {
      page.Short(tag, {1});
    }
  }
  MemoryInput input(builder.Build());
  TifFile file = FileOn(input.Handle());
  ASSERT_EQ(TIFReadHeader(&file, 0), kResultOk);
  uint32_t page = kPages;
  uint32_t behind = file.directoryOffset + 2;
  CallCounter calls;
  ASSERT_EQ(TIFWalkPages(&file, &page, &behind), kResultOk);
  EXPECT_EQ(page, kPages);
  EXPECT_EQ(calls.Since().seeks, 2u * (kPages - 1));
  EXPECT_EQ(calls.Since().reads, 2u * (kPages - 1));
  EXPECT_EQ(calls.Since().allocations, 0u);
}

TEST(FileAccessWalk, FaultsGiveTheirCodes) {
  struct Case {
    IoCall call;
    uint64_t nth;
    int32_t code;
  };
  // Seeks: end and begin of the file, the directory, then forward by the entries and to the next directory. Reads:
  // header, count word, next word, count word.
  constexpr Case kCases[] = {
      {IoCall::kSeek, 3, kResultSeekFailed}, {IoCall::kSeek, 4, kResultSeekFailed},
      {IoCall::kSeek, 5, kResultSeekFailed}, {IoCall::kRead, 1, kResultNotTiff},
      {IoCall::kRead, 2, kResultReadFailed}, {IoCall::kRead, 3, kResultReadFailed},
      {IoCall::kRead, 4, kResultReadFailed},
  };
  TiffBuilder builder = ThreePages(FileOrder::kLittle);
  const FileBytes bytes = builder.Build();
  for (const Case& test : kCases) {
    MemoryInput input(bytes);
    TifFile file = FileOn(input.Handle());
    IoFaults faults;
    faults.Fail(test.call, test.nth);
    uint32_t reached = 0;
    EXPECT_EQ(TIFSeekPage(&file, 2, 0, &reached, PageSearch::kStrict), test.code)
        << "call " << static_cast<int>(test.call) << " number " << test.nth;
  }
}

TEST(FileAccessWalk, AFailedSeekBackBehindTheLastDirectoryIsMinusFour) {
  TiffBuilder builder;
  builder.AddPage().Short(256, {1});
  MemoryInput input(builder.Build());
  TifFile file = FileOn(input.Handle());
  IoFaults faults;
  faults.Fail(IoCall::kSeek, 5);
  uint32_t reached = 0;
  EXPECT_EQ(TIFSeekPage(&file, 2, 0, &reached, PageSearch::kLenient), kResultSeekFailed);
}

TEST_P(BothOrders, ANextDirectoryPastTheEndIsAFailedRead) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Short(256, {1}).NextWord(100000);
  MemoryInput input(builder.Build());
  TifFile file = FileOn(input.Handle());
  uint32_t reached = 0;
  EXPECT_EQ(TIFSeekPage(&file, 2, 0, &reached, PageSearch::kLenient), kResultReadFailed);
}

TEST_P(BothOrders, ALoopIsWalkedUntilThePageIsReached) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Short(256, {1}).NextWord(8);
  MemoryInput input(builder.Build());
  TifFile file = FileOn(input.Handle());
  uint32_t reached = 0;
  EXPECT_EQ(TIFSeekPage(&file, 50, 0, &reached, PageSearch::kStrict), kResultOk);
  EXPECT_EQ(reached, 50u);
}

TEST_P(BothOrders, AnEndlessLoopIsEndedByTheKernelsLimits) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Short(256, {1}).NextWord(8);
  MemoryInput input(builder.Build());
  TifFile file = FileOn(input.Handle());
  uint32_t reached = 0;
  const int32_t result = TIFSeekPage(&file, kLastPage, 0, &reached, PageSearch::kLenient);
  EXPECT_TRUE(result == kResultSeekFailed || result == kResultReadFailed) << result;
}

TEST(FileAccessPages, OnlyTheStrictSearchMissesAPage) {
  TiffBuilder builder;
  builder.AddPage().Short(256, {1});
  const FileBytes bytes = builder.Build();
  struct Case {
    uint32_t page;
    PageSearch search;
    int32_t code;
  };
  constexpr Case kCases[] = {
      {2, PageSearch::kStrict, kResultNoSuchPage}, {2, PageSearch::kLenient, kResultOk},
      {1, PageSearch::kStrict, kResultOk},         {0, PageSearch::kStrict, kResultOk},
      {kLastPage, PageSearch::kStrict, kResultOk}, {0xFFFFFFFE, PageSearch::kStrict, kResultNoSuchPage},
  };
  for (const Case& test : kCases) {
    MemoryInput input(bytes);
    TifFile file = FileOn(input.Handle());
    uint32_t reached = 0;
    EXPECT_EQ(TIFSeekPage(&file, test.page, 0, &reached, test.search), test.code) << test.page;
    EXPECT_EQ(reached, 1u);
  }
}

TEST(FileAccessPages, PagesCountFromAnExplicitDirectory) {
  TiffBuilder builder = ThreePages(FileOrder::kBig);
  const FileBytes bytes = builder.Build();
  MemoryInput input(bytes);
  TifFile file = FileOn(input.Handle());
  uint32_t reached = 0;
  ASSERT_EQ(TIFSeekPage(&file, kLastPage, builder.DirectoryOffset(1), &reached, PageSearch::kStrict), kResultOk);
  EXPECT_EQ(reached, 2u);
  EXPECT_EQ(uint32_t{file.directoryLinkOffset}, builder.LinkOffset(2));
}

TEST(FileAccessPages, NothingIsAllocatedOrClosed) {
  KernelGuard guard;
  TiffBuilder builder = ThreePages(FileOrder::kLittle);
  MemoryInput input(builder.Build());
  CallCounter calls;
  TifFile file = FileOn(input.Handle());
  uint32_t reached = 0;
  EXPECT_EQ(TIFSeekPage(&file, 7, 0, &reached, PageSearch::kStrict), kResultNoSuchPage);
  EXPECT_EQ(calls.Since().allocations, 0u);
  EXPECT_EQ(calls.Since().closes, 0u);
}

TEST(OpenTif, NullsAndSizesAreRefusedBeforeAnythingIsOpened) {
  KernelGuard guard;
  TifFile file{};
  CallCounter calls;
  EXPECT_EQ(Vx_OpenTIF(nullptr, &file, 48), kResultNullPointer);
  EXPECT_EQ(Vx_OpenTIF(u"x", nullptr, 48), kResultNullPointer);
  EXPECT_EQ(Vx_OpenTIF(nullptr, nullptr, 47), kResultNullPointer) << "nulls come first";
  EXPECT_EQ(Vx_OpenTIF(u"x", &file, 47), kResultStructSize);
  EXPECT_EQ(Vx_OpenTIF(u"x", &file, 49), kResultStructSize);
  EXPECT_EQ(Vx_CloseTIF(nullptr), kResultNullPointer);
  file.structSize = 47;
  EXPECT_EQ(Vx_CloseTIF(&file), kResultStructSize);
  EXPECT_EQ(calls.Since().opens + calls.Since().closes, 0u);
}

TEST(OpenTif, AFileThatIsNotThereIsMinusTen) {
  TempFile missing;
  TifFile file{};
  EXPECT_EQ(Vx_OpenTIF(missing.Name(), &file, sizeof file), kResultOpenFailed);
  EXPECT_EQ(uint32_t{file.structSize}, 48u);
}

TEST(OpenTif, AFileThatIsNoTiffIsClosedAgain) {
  KernelGuard guard;
  TempFile text(FileBytes(100, 'x'));
  TifFile file{};
  EXPECT_EQ(Vx_OpenTIF(text.Name(), &file, sizeof file), kResultNotTiff);
}

TEST(OpenTif, AnOpenFileIsReadWalkedAndClosedOnce) {
  KernelGuard guard;
  TiffBuilder builder = ThreePages(FileOrder::kBig);
  TempFile target(builder.Build());
  TifFile file{};
  ASSERT_EQ(Vx_OpenTIF(target.Name(), &file, sizeof file), kResultOk);
  EXPECT_EQ(uint32_t{file.entryCount}, 1u);
  const TifFile before = file;
  EXPECT_EQ(Vx_CloseTIF(&file), kResultOk);
  EXPECT_EQ(memcmp(&before, &file, sizeof file), 0) << "the record is not cleared";
  EXPECT_EQ(Vx_CloseTIF(&file), kResultOk) << "a second time touches nothing";
}
