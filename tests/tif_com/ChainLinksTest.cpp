// Words of the chain: values as they are written, headers, links, and the search for tags in directories on disk.

#include <gtest/gtest.h>

#include "support/KernelGuard.h"
#include "tif_com/ChainFiles.h"
#include "tif_com/FileAccess.h"
#include "tif_com/PageChain.h"
#include "tif_com/SaveState.h"
#include "tif_com/Tags.h"

namespace {

// A file opened for reading and writing, with its header read.
class OpenChain {
public:
  explicit OpenChain(const FileBytes& bytes) : target_(bytes) {
    file.fileHandle = krnFileOpen(target_.Name(), kKrnFileReadWrite, kKrnShareExclusive);
    EXPECT_EQ(TIFReadHeader(&file, 0), kResultOk);
  }
  ~OpenChain() { Close(); }
  OpenChain(const OpenChain&) = delete;
  OpenChain& operator=(const OpenChain&) = delete;

  FileBytes Close() {
    krnFileClose(file.fileHandle);
    return target_.Read();
  }
  uint32_t Position() const { return krnFileSeek(file.fileHandle, 0, kKrnSeekCurrent); }
  TifFile file{};

private:
  TempFile target_;
};

class ChainLinks : public testing::TestWithParam<FileOrder> {
protected:
  KernelGuard guard_;
};

INSTANTIATE_TEST_SUITE_P(Chain, ChainLinks, testing::Values(FileOrder::kLittle, FileOrder::kBig), OrderName);

} // namespace

TEST_P(ChainLinks, ValuesAreWrittenInTheFilesOrder) {
  TempFile target;
  TifFile file{};
  ASSERT_EQ(TIFCreateFile(target.Name(), &file), kResultOk);
  file.byteOrder = GetParam() == FileOrder::kLittle ? 'I' : 'M';
  EXPECT_EQ(TIFWrite16(&file, 0x1234), 1);
  EXPECT_EQ(TIFWrite32(&file, 0x56789ABC), 1);
  krnFileClose(file.fileHandle);
  const FileBytes little = {0x34, 0x12, 0xBC, 0x9A, 0x78, 0x56};
  const FileBytes big = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC};
  EXPECT_EQ(target.Read(), GetParam() == FileOrder::kLittle ? little : big);
}

TEST_P(ChainLinks, ShortWritesAreZero) {
  TempFile target;
  TifFile file{};
  ASSERT_EQ(TIFCreateFile(target.Name(), &file), kResultOk);
  IoFaults faults;
  faults.Shorten(IoCall::kWrite, 1, 1, FaultSpan::kFromThenOn);
  EXPECT_EQ(TIFWrite16(&file, 1), 0);
  EXPECT_EQ(TIFWrite32(&file, 1), 0);
  EXPECT_EQ(TIFWriteHeader(&file, false), 0);
  EXPECT_EQ(file.stateFlags & kStateHeaderPending, uint32_t{kStateHeaderPending}) << "still to be written";
  krnFileClose(file.fileHandle);
}

TEST_P(ChainLinks, HeadersOfBothVersions) {
  const bool big = GetParam() == FileOrder::kBig;
  for (uint16_t version : std::initializer_list<uint16_t>{42, 12622}) {
    TempFile target(FileBytes(100, 'x'));
    TifFile file{};
    file.stateFlags = kStateGray;
    file.fileSize = 55;
    file.nextDirectoryOffset = 66;
    ASSERT_EQ(TIFCreateFile(target.Name(), &file), kResultOk);
    EXPECT_EQ(uint32_t{file.stateFlags}, uint32_t{kStateGray | kStateHeaderPending});
    EXPECT_EQ(uint32_t{file.fileSize}, 0u);
    EXPECT_EQ(uint32_t{file.nextDirectoryOffset}, 0u);
    file.version = version;
    file.nextDirectoryOffset = 77;
    file.entryCount = 5;
    ASSERT_EQ(TIFWriteHeader(&file, big), 1);
    EXPECT_EQ(file.byteOrder, big ? 'M' : 'I');
    EXPECT_EQ(uint32_t{file.directoryLinkOffset}, 4u);
    EXPECT_EQ(uint32_t{file.directoryOffset}, 8u);
    EXPECT_EQ(uint32_t{file.nextDirectoryOffset}, 0u);
    EXPECT_EQ(uint32_t{file.stateFlags}, uint32_t{kStateGray});
    EXPECT_EQ(uint32_t{file.entryCount}, 5u);
    krnFileClose(file.fileHandle);
    TiffBuilder builder(GetParam(), version);
    EXPECT_EQ(target.Read(), builder.FirstLink(8).Build());
  }
}

TEST(CreateFile, ThatCannotBeOpenedIsMinusFourteen) {
  KernelGuard guard;
  TifFile file{};
  EXPECT_EQ(TIFCreateFile(u"/no/such/folder/file.tif", &file), kResultCreateFailed);
  EXPECT_EQ(file.fileHandle, kKrnNoHandle);
  EXPECT_EQ(uint32_t{file.stateFlags}, uint32_t{kStateHeaderPending});
}

TEST_P(ChainLinks, NextLinkOfTheCurrentDirectory) {
  TiffBuilder builder = NumberedPages(3, GetParam());
  OpenChain chain(builder.Build());
  EXPECT_EQ(TIFReadNextLink(&chain.file), kResultOk);
  EXPECT_EQ(uint32_t{chain.file.nextDirectoryOffset}, builder.DirectoryOffset(1));
  IoFaults faults;
  faults.Fail(IoCall::kSeek, 1);
  EXPECT_EQ(TIFReadNextLink(&chain.file), kResultSeekFailed);
  chain.file.entryCount = 60000;
  EXPECT_EQ(TIFReadNextLink(&chain.file), kResultReadFailed);
  EXPECT_EQ(uint32_t{chain.file.nextDirectoryOffset}, builder.DirectoryOffset(1)) << "unchanged by a failure";
}

TEST_P(ChainLinks, LinksAreFoundFromTheHeader) {
  TiffBuilder builder = NumberedPages(3, GetParam());
  OpenChain chain(builder.Build());
  for (uint32_t page = 0; page < 3; ++page) {
    uint32_t link = 0;
    uint32_t index = 99;
    EXPECT_EQ(TIFFindLink(&chain.file, builder.DirectoryOffset(page), &link, &index), kResultOk);
    EXPECT_EQ(link, builder.LinkOffset(page));
    EXPECT_EQ(index, page);
  }
}

TEST_P(ChainLinks, ATargetThatIsNoDirectoryOrNotOnTheChainIsNotFound) {
  TiffBuilder builder = NumberedPages(3, GetParam());
  OpenChain chain(builder.Build());
  uint32_t link = 55;
  uint32_t index = 66;
  for (uint32_t target = 0; target < 8; ++target) {
    EXPECT_EQ(TIFFindLink(&chain.file, target, &link, &index), kResultNotTiff) << target;
  }
  const int32_t result = TIFFindLink(&chain.file, 10, &link, &index);
  EXPECT_TRUE(result == kResultReadFailed || result == kResultNotTiff || result == kResultSeekFailed) << result;
  EXPECT_EQ(link, 55u);
  EXPECT_EQ(index, 66u);
}

TEST_P(ChainLinks, AWordBelowEightThatIsTheTargetIsFound) {
  TiffBuilder builder(GetParam());
  builder.FirstLink(5);
  FileBytes bytes = builder.Build();
  bytes.resize(32);
  TempFile target(bytes);
  TifFile file{};
  file.byteOrder = GetParam() == FileOrder::kLittle ? 'I' : 'M';
  file.fileHandle = krnFileOpen(target.Name(), kKrnFileReadWrite, kKrnShareExclusive);
  uint32_t link = 0;
  uint32_t index = 9;
  EXPECT_EQ(TIFFindLink(&file, 5, &link, &index), kResultOk);
  EXPECT_EQ(link, 4u);
  EXPECT_EQ(index, 0u);
  krnFileClose(file.fileHandle);
}

TEST_P(ChainLinks, FaultsOfTheLinkSearchGiveTheirCodes) {
  TiffBuilder builder = NumberedPages(3, GetParam());
  struct Case {
    IoCall call;
    uint64_t nth;
    int32_t code;
  };
  // Seeks: to 4, to the directory, to its next word. Reads: the word, the count, the word.
  for (const Case& test : {Case{IoCall::kSeek, 1, kResultSeekFailed},
                           {IoCall::kSeek, 2, kResultSeekFailed},
                           {IoCall::kSeek, 3, kResultSeekFailed},
                           {IoCall::kRead, 1, kResultReadFailed},
                           {IoCall::kRead, 2, kResultReadFailed},
                           {IoCall::kRead, 3, kResultReadFailed}}) {
    OpenChain chain(builder.Build());
    IoFaults faults;
    faults.Fail(test.call, test.nth);
    uint32_t link = 0;
    uint32_t index = 0;
    EXPECT_EQ(TIFFindLink(&chain.file, builder.DirectoryOffset(2), &link, &index), test.code);
  }
}

TEST_P(ChainLinks, TagsAreFoundWhereverTheyStand) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Short(297, {7, 8}).Short(256, {1}).Long(254, {5}).Long(254, {6}); // not sorted
  OpenChain chain(builder.Build());
  TifDirEntry entry{};
  EXPECT_EQ(TIFFindTag(&chain.file, &entry, 254), kResultOk);
  EXPECT_EQ(uint32_t{entry.value}, 5u) << "the first of two";
  EXPECT_EQ(chain.Position(), builder.EntryOffset(0, 254) + 12);
  EXPECT_EQ(TIFFindTagAt(&chain.file, builder.DirectoryOffset(0), &entry, 297), kResultOk);
  EXPECT_EQ(uint32_t{entry.value}, 0x00080007u);
  EXPECT_EQ(TIFFindTagAt(&chain.file, builder.DirectoryOffset(0), &entry, 300), kResultTagNotFound);
  EXPECT_EQ(chain.Position(), builder.NextWordOffset(0));
}

TEST_P(ChainLinks, ADirectoryThatRunsPastTheFileIsNoneToSearch) {
  TiffBuilder builder = NumberedPages(1, GetParam());
  for (uint32_t cut : {0u, 1u, 4u, 5u}) {
    FileBytes bytes = builder.Build();
    bytes.resize(bytes.size() - cut);
    OpenChain chain(bytes);
    TifDirEntry entry{};
    EXPECT_EQ(TIFFindTagAt(&chain.file, 8, &entry, 254), cut == 0 ? kResultOk : kResultNotTiff) << cut;
    EXPECT_EQ(TIFFindTagAt(&chain.file, static_cast<uint32_t>(bytes.size()), &entry, 254), kResultReadFailed);
    EXPECT_EQ(TIFFindTagAt(&chain.file, static_cast<uint32_t>(bytes.size()) - 2, &entry, 254), kResultNotTiff);
    EXPECT_EQ(TIFFindTagAt(&chain.file, 5, &entry, 254), kResultNotTiff);
  }
}

TEST_P(ChainLinks, AnEntryThatCannotBeReadIsMinusSeven) {
  OpenChain chain(NumberedPages(1, GetParam()).Build());
  IoFaults faults;
  faults.Fail(IoCall::kRead, 1);
  TifDirEntry entry{};
  EXPECT_EQ(TIFFindTag(&chain.file, &entry, 254), kResultReadFailed);
}

TEST_P(ChainLinks, PageNumbersAreAdjustedWithinTheirBounds) {
  struct Case {
    uint16_t number;
    int32_t delta;
    uint16_t expected;
  };
  for (const Case& test : {Case{5, 1, 6},
                           {5, -1, 4},
                           {5, 0, 5},
                           {0, -1, 0},
                           {1, -2, 0},
                           {65535, 1, 0},
                           {65535, 0, 65535},
                           {40000, -1, 39999}}) {
    TiffBuilder builder(GetParam());
    builder.AddPage().Short(256, {1}).Short(297, {test.number, 77}).Short(300, {1});
    OpenChain chain(builder.Build());
    EXPECT_EQ(TIFAdjustPageNumber(&chain.file, 8, test.delta), kResultOk);
    EXPECT_EQ(chain.Position(), builder.NextWordOffset(0));
    EXPECT_EQ(chain.Close(), ExpectedFile(builder).Number(0, test.expected).bytes) << test.number << " " << test.delta;
  }
}

TEST_P(ChainLinks, NumbersOfOtherShapesAreLeftAlone) {
  for (auto build : {+[](TiffDirectory& page) {
                       page.Long(297, {5, 6});
                     },
                     +[](TiffDirectory& page) { page.Short(297, {5}); },
                     +[](TiffDirectory& page) {
                       page.Short(297, {5, 6, 7});
                     },
                     +[](TiffDirectory& page) {
                       page.Value(297, 8, 2, {1, 0, 2, 0});
                     }}) {
    TiffBuilder builder(GetParam());
    build(builder.AddPage());
    OpenChain chain(builder.Build());
    EXPECT_EQ(TIFAdjustPageNumber(&chain.file, 8, 1), kResultOk);
    EXPECT_EQ(chain.Position(), builder.NextWordOffset(0));
    EXPECT_EQ(chain.Close(), builder.Build());
  }
}

TEST_P(ChainLinks, APageWithoutANumberIsMinus404AtItsNextWord) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Short(256, {1});
  OpenChain chain(builder.Build());
  EXPECT_EQ(TIFAdjustPageNumber(&chain.file, 8, 1), kResultTagNotFound);
  EXPECT_EQ(chain.Position(), builder.NextWordOffset(0));
}

TEST_P(ChainLinks, ANumberThatCannotBeWrittenIsMinusFive) {
  TiffBuilder builder = NumberedPages(1, GetParam());
  OpenChain chain(builder.Build());
  IoFaults faults;
  faults.Shorten(IoCall::kWrite, 1, 2);
  EXPECT_EQ(TIFAdjustPageNumber(&chain.file, 8, 1), kResultWriteFailed);
}

TEST_P(ChainLinks, RenumberingPassesThePagesInFrontWithZero) {
  TiffBuilder builder = NumberedPages(4, GetParam());
  OpenChain chain(builder.Build());
  EXPECT_EQ(TIFRenumberPages(&chain.file, builder.DirectoryOffset(1), builder.DirectoryOffset(2), -1), kResultOk);
  EXPECT_EQ(uint32_t{chain.file.directoryOffset}, builder.DirectoryOffset(3)) << "the last directory visited";
  EXPECT_EQ(chain.Close(), ExpectedFile(builder).Number(0, 0).Number(2, 1).Number(3, 2).bytes)
      << "the page between is never read";
}

TEST_P(ChainLinks, RenumberingEndsAtTheChainsEndAndAtTheFilesEnd) {
  for (uint32_t next : {0u, 7u, 0xFFFFFFFFu, 0xFFFFFFFAu, 200u - 6}) {
    TiffBuilder builder(GetParam());
    builder.AddPage().Short(297, {5, 6}).NextWord(next);
    builder.Place(199, {0});
    OpenChain chain(builder.Build());
    EXPECT_EQ(TIFRenumberPages(&chain.file, 500, 600, 1), kResultOk) << next;
    EXPECT_EQ(uint32_t{chain.file.directoryOffset}, 8u) << next << " is not entered";
  }
  TiffBuilder builder(GetParam());
  builder.AddPage().Short(297, {5, 6}).NextWord(200 - 7);
  builder.Place(199, {0});
  OpenChain chain(builder.Build());
  EXPECT_EQ(TIFRenumberPages(&chain.file, 500, 600, 1), kResultOk)
      << "one byte earlier an empty directory is read, and its next word of 0 ends the chain";
  EXPECT_EQ(uint32_t{chain.file.directoryOffset}, 200u - 7);
}

TEST_P(ChainLinks, RenumberingOfAPageThatFollowsItselfEnds) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Short(297, {5, 6}).NextWord(8);
  OpenChain chain(builder.Build());
  EXPECT_EQ(TIFRenumberPages(&chain.file, 8, 8, -1), kResultReadFailed);
}

TEST_P(ChainLinks, RenumberingOfACircleIsEndedByTheKernelsLimits) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Short(297, {5, 6}).NextWord(8);
  OpenChain chain(builder.Build());
  EXPECT_LT(TIFRenumberPages(&chain.file, 500, 600, 1), 0);
}

TEST_P(ChainLinks, RenumberingFaultsAreMinusSeven) {
  TiffBuilder builder = NumberedPages(2, GetParam());
  for (const auto& [call, nth] : {std::pair{IoCall::kSeek, 1u}, {IoCall::kRead, 1u}}) {
    OpenChain chain(builder.Build());
    IoFaults faults;
    faults.Fail(call, nth);
    EXPECT_EQ(TIFRenumberPages(&chain.file, 500, 600, 1), kResultReadFailed);
    EXPECT_EQ(chain.Close(), builder.Build());
  }
}

TEST_P(ChainLinks, MarksOfMultiPageFiles) {
  struct Case {
    void (*build)(TiffDirectory&);
    int32_t result;
    bool changes;
    uint32_t value;
  };
  const Case kCases[] = {
      {[](TiffDirectory& page) { page.Long(254, {0}); }, kResultOk, true, 2},
      {[](TiffDirectory& page) { page.Long(254, {0xFFFFFFFD}); }, kResultOk, true, 0xFFFFFFFF},
      {[](TiffDirectory& page) { page.Long(254, {2}); }, kResultOk, false, 0},
      {[](TiffDirectory& page) { page.Long(254, {7}); }, kResultOk, false, 0},
      {[](TiffDirectory& page) { page.Short(254, {0}); }, kResultOk, false, 0},
      {[](TiffDirectory& page) { page.RawWord(254, 4, 2, 0); }, kResultOk, false, 0},
      {[](TiffDirectory& page) { page.Short(255, {1}); }, kResultTagNotFound, false, 0},
  };
  for (const Case& test : kCases) {
    TiffBuilder builder(GetParam());
    test.build(builder.AddPage());
    OpenChain chain(builder.Build());
    CallCounter calls;
    const TifFile before = chain.file;
    EXPECT_EQ(TIFMarkMultiPage(&chain.file, 8), test.result);
    EXPECT_EQ(calls.Since().writes, test.changes ? 1u : 0u);
    EXPECT_EQ(memcmp(&before, &chain.file, sizeof before), 0) << "it works on a copy";
    FileBytes expected = builder.Build();
    if (test.changes) {
      PutU32(expected, builder.ValueOffset(0, 254), GetParam(), test.value);
    }
    EXPECT_EQ(chain.Close(), expected);
  }
}

TEST_P(ChainLinks, AMarkBelowEightIsNothingToDo) {
  OpenChain chain(NumberedPages(1, GetParam()).Build());
  for (uint32_t directory = 0; directory < 8; ++directory) {
    CallCounter calls;
    EXPECT_EQ(TIFMarkMultiPage(&chain.file, directory), kResultOk);
    EXPECT_EQ(calls.Since().seeks + calls.Since().reads, 0u);
  }
}

TEST_P(ChainLinks, AMarkThatCannotBeWrittenIsMinusFive) {
  OpenChain chain(NumberedPages(1, GetParam()).Build());
  IoFaults faults;
  faults.Fail(IoCall::kWrite, 1);
  EXPECT_EQ(TIFMarkMultiPage(&chain.file, 8), kResultWriteFailed);
}
