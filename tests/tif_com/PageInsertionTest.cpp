// Preparation of files for new pages, byte for byte.

#include <gtest/gtest.h>

#include "support/KernelGuard.h"
#include "tif_com/ChainFiles.h"
#include "tif_com/FileAccess.h"
#include "tif_com/PageChain.h"
#include "tif_com/SaveState.h"

namespace {

// One preparation of a file, closed again where it succeeded.
struct Preparation {
  explicit Preparation(const TempFile& target, SaveOptions& options, uint32_t requestFlags = 0,
                       uint16_t version = kTifVersion) {
    result = TIFPrepareFileForPage(target.Name(), &file, &options, requestFlags, version);
    if (result == kResultOk) {
      position = krnFileSeek(file.fileHandle, 0, kKrnSeekCurrent);
      EXPECT_EQ(krnFileClose(file.fileHandle), 0);
    } else {
      EXPECT_EQ(krnFileClose(file.fileHandle), -1) << "closed on failure";
    }
    after = target.Read();
  }
  int32_t result = 0;
  TifFile file{};
  uint32_t position = 0;
  FileBytes after;
};

SaveOptions At(int32_t page, uint32_t flags = 0) {
  SaveOptions options{};
  options.structSize = sizeof options;
  options.pageNumber = page;
  options.flags = flags;
  return options;
}

class PageInsertion : public testing::TestWithParam<FileOrder> {
protected:
  TiffBuilder ThreePages() const { return NumberedPages(3, GetParam()); }
  KernelGuard guard_;
};

INSTANTIATE_TEST_SUITE_P(Chain, PageInsertion, testing::Values(FileOrder::kLittle, FileOrder::kBig), OrderName);

void ExpectAtEnd(const Preparation& done, uint32_t end, uint32_t link, uint32_t next, uint32_t index) {
  EXPECT_EQ(done.result, kResultOk);
  EXPECT_EQ(uint32_t{done.file.directoryOffset}, end);
  EXPECT_EQ(uint32_t{done.file.fileSize}, end);
  EXPECT_EQ(done.position, end);
  EXPECT_EQ(uint32_t{done.file.directoryLinkOffset}, link);
  EXPECT_EQ(uint32_t{done.file.nextDirectoryOffset}, next);
  EXPECT_EQ(uint32_t{done.file.pageIndex}, index);
  EXPECT_EQ(uint32_t{done.file.reservedWord2}, 0u);
  EXPECT_EQ(done.file.stateFlags & kStateHeaderPending, 0u);
}

void ExpectCreated(const Preparation& done, uint16_t version = kTifVersion) {
  EXPECT_EQ(done.result, kResultOk);
  EXPECT_EQ(done.file.stateFlags & kStateHeaderPending, uint32_t{kStateHeaderPending});
  EXPECT_EQ(uint16_t{done.file.version}, version);
  EXPECT_EQ(uint32_t{done.file.pageIndex}, 0u);
  EXPECT_EQ(uint32_t{done.file.directoryLinkOffset}, 0u);
  EXPECT_EQ(uint32_t{done.file.nextDirectoryOffset}, 0u);
  EXPECT_EQ(uint32_t{done.file.fileSize}, 0u);
  EXPECT_EQ(done.position, 0u);
  EXPECT_TRUE(done.after.empty());
}

} // namespace

TEST_P(PageInsertion, AppendLinksTheLastPageToTheEnd) {
  TiffBuilder builder = ThreePages();
  ExpectedFile expected(builder);
  const auto end = static_cast<uint32_t>(expected.bytes.size());
  for (int32_t page : {2, 4, 99, -1, 1}) {
    // A page number above 1 appends by itself; the first page does so only when the request says it.
    TempFile target(builder.Build());
    SaveOptions options = At(page);
    Preparation done(target, options, page <= 1 ? kSaveRequestAppend : 0);
    ExpectAtEnd(done, end, builder.NextWordOffset(2), 0, 3);
    EXPECT_EQ(done.after, ExpectedFile(builder).NextWord(2, end).Marked(2).bytes) << page;
    EXPECT_EQ(uint16_t{done.file.version}, 42) << "the file's own";
  }
}

TEST_P(PageInsertion, AFirstPageThatIsNeitherInsertedNorReplacingBeginsANewFile) {
  for (int32_t page : {0, 1, -1, -5}) {
    TiffBuilder builder = ThreePages();
    TempFile target(builder.Build());
    SaveOptions options = At(page);
    ExpectCreated(Preparation(target, options, 0, 12622), 12622);
  }
}

TEST_P(PageInsertion, AppendWinsOverReplaceAndInsertAndClearsTheirBits) {
  TiffBuilder builder = ThreePages();
  for (uint32_t flags : {kSaveReplacePage, kSaveInsertPage}) {
    TempFile target(builder.Build());
    SaveOptions options = At(2, flags | kSaveNoSubfileType);
    Preparation done(target, options, kSaveRequestAppend);
    EXPECT_EQ(uint32_t{options.flags}, uint32_t{kSaveNoSubfileType});
    const auto end = static_cast<uint32_t>(builder.Build().size());
    ExpectAtEnd(done, end, builder.NextWordOffset(2), 0, 3);
    EXPECT_EQ(done.after, ExpectedFile(builder).NextWord(2, end).bytes) << "and no page is marked";
  }
}

TEST_P(PageInsertion, InsertInFrontOfPage2RenumbersAllAndMarksTheLastPageVisited) {
  TiffBuilder builder = ThreePages();
  TempFile target(builder.Build());
  const auto end = static_cast<uint32_t>(builder.Build().size());
  SaveOptions options = At(2, kSaveInsertPage);
  Preparation done(target, options);
  ExpectAtEnd(done, end, builder.LinkOffset(1), builder.DirectoryOffset(1), 1);
  EXPECT_EQ(done.after,
            ExpectedFile(builder).Link(1, end).Number(0, 0).Number(1, 2).Number(2, 3).Marked(1).Marked(2).bytes);
  EXPECT_EQ(uint32_t{options.flags}, uint32_t{kSaveInsertPage}) << "the page exists, so the bit stays";
}

TEST_P(PageInsertion, InsertInFrontOfTheFirstPageTakesTheHeadersWord) {
  TiffBuilder builder = ThreePages();
  const auto end = static_cast<uint32_t>(builder.Build().size());
  for (int32_t page : {0, 1}) {
    TempFile target(builder.Build());
    SaveOptions options = At(page, kSaveInsertPage);
    Preparation done(target, options);
    ExpectAtEnd(done, end, 4, builder.DirectoryOffset(0), 0);
    EXPECT_EQ(done.after,
              ExpectedFile(builder).Link(0, end).Number(0, 1).Number(1, 2).Number(2, 3).Marked(0).Marked(2).bytes);
  }
}

TEST_P(PageInsertion, InsertThatKeepsPageNumbersTouchesNoneAndMarksThePageReached) {
  TiffBuilder builder = ThreePages();
  TempFile target(builder.Build());
  const auto end = static_cast<uint32_t>(builder.Build().size());
  SaveOptions options = At(3, kSaveInsertPage | kSaveKeepPageNumbers);
  Preparation done(target, options);
  ExpectAtEnd(done, end, builder.LinkOffset(2), builder.DirectoryOffset(2), 2);
  EXPECT_EQ(done.after, ExpectedFile(builder).Link(2, end).Marked(2).bytes);
}

TEST_P(PageInsertion, ReplaceTakesOverTheNextWord) {
  TiffBuilder builder = ThreePages();
  const auto end = static_cast<uint32_t>(builder.Build().size());
  for (uint32_t page = 0; page < 3; ++page) {
    TempFile target(builder.Build());
    SaveOptions options = At(static_cast<int32_t>(page) + 1, kSaveReplacePage);
    Preparation done(target, options);
    const uint32_t next = page == 2 ? 0 : builder.DirectoryOffset(page + 1);
    ExpectAtEnd(done, end, builder.LinkOffset(page), next, page);
    ExpectedFile expected(builder);
    expected.Link(page, end).Marked(page);
    if (page < 2) {
      expected.Marked(page + 1);
    }
    EXPECT_EQ(done.after, expected.bytes) << "page " << page << ": the old page stays, unreachable";
  }
}

TEST_P(PageInsertion, ReplaceOfTheLastPageByMinusOne) {
  TiffBuilder builder = ThreePages();
  TempFile target(builder.Build());
  SaveOptions options = At(-1, kSaveReplacePage | kSaveNoSubfileType);
  Preparation done(target, options);
  const auto end = static_cast<uint32_t>(builder.Build().size());
  ExpectAtEnd(done, end, builder.LinkOffset(2), 0, 2);
  EXPECT_EQ(done.after, ExpectedFile(builder).Link(2, end).bytes);
}

TEST_P(PageInsertion, APagePastTheEndIsAppendedAndTheBitsComeBackCleared) {
  TiffBuilder builder = ThreePages();
  const auto end = static_cast<uint32_t>(builder.Build().size());
  for (uint32_t flags : {kSaveReplacePage, kSaveInsertPage}) {
    TempFile target(builder.Build());
    SaveOptions options = At(10, flags | kSaveBigEndian);
    Preparation done(target, options);
    ExpectAtEnd(done, end, builder.NextWordOffset(2), 0, 3);
    EXPECT_EQ(uint32_t{options.flags}, uint32_t{kSaveBigEndian});
    EXPECT_EQ(done.after, ExpectedFile(builder).NextWord(2, end).Marked(2).bytes);
  }
}

TEST_P(PageInsertion, AnOddFileGetsOneZeroByte) {
  TiffBuilder builder = ThreePages();
  const auto even = static_cast<uint32_t>(builder.Build().size());
  builder.Place(even, {0x55});
  TempFile target(builder.Build());
  SaveOptions options = At(2);
  Preparation done(target, options);
  ExpectAtEnd(done, even + 2, builder.NextWordOffset(2), 0, 3);
  EXPECT_EQ(done.after, ExpectedFile(builder).Padded().NextWord(2, even + 2).Marked(2).bytes);
}

TEST_P(PageInsertion, AFileWithoutATiffHeaderIsOverwritten) {
  for (const FileBytes& content : {FileBytes{}, FileBytes(7, 'x'), FileBytes(500, 'x')}) {
    TempFile target(content);
    SaveOptions options = At(3, kSaveReplacePage);
    ExpectCreated(Preparation(target, options));
  }
  TiffBuilder builder(GetParam(), 43);
  builder.AddPage();
  TempFile target(builder.Build());
  SaveOptions options = At(1);
  ExpectCreated(Preparation(target, options, kSaveRequestAppend));
}

TEST_P(PageInsertion, AMissingFileIsCreatedForAnInsertToo) {
  for (uint32_t flags : {kSaveReplacePage, kSaveInsertPage}) {
    TempFile target;
    SaveOptions options = At(2, flags);
    ExpectCreated(Preparation(target, options));
    EXPECT_TRUE(target.Exists());
    EXPECT_EQ(uint32_t{options.flags}, flags);
  }
}

TEST_P(PageInsertion, AFileThatCannotBeOpenedForWritingIsTreatedAsAbsent) {
  TiffBuilder builder = ThreePages();
  TempFile target(builder.Build());
  SaveOptions options = At(2);
  IoFaults faults;
  faults.Fail(IoCall::kOpen, 1);
  ExpectCreated(Preparation(target, options));
}

TEST_P(PageInsertion, AFileThatCannotBeCreatedIsMinusFourteen) {
  TempFile target;
  IoFaults faults;
  faults.Fail(IoCall::kOpen, 1, FaultSpan::kFromThenOn);
  for (int32_t page : {1, 2}) {
    SaveOptions options = At(page);
    Preparation done(target, options);
    EXPECT_EQ(done.result, kResultCreateFailed);
    EXPECT_EQ(done.file.fileHandle, kKrnNoHandle);
  }
  EXPECT_EQ(faults.Calls(IoCall::kOpen), 3u) << "an existing file is tried first";
}

TEST_P(PageInsertion, NullNamesAndOptionsAreTakenAsNone) {
  TifFile file{};
  SaveOptions options = At(2);
  EXPECT_EQ(TIFPrepareFileForPage(nullptr, &file, &options, 0, 42), kResultCreateFailed);
  TempFile target;
  EXPECT_EQ(TIFPrepareFileForPage(target.Name(), &file, nullptr, 0, 42), kResultOk);
  EXPECT_EQ(krnFileClose(file.fileHandle), 0);
}

TEST_P(PageInsertion, AnUnreadableChainIsMinusSevenAndLeavesTheFile) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Short(256, {1}).NextWord(100000);
  builder.Place(200, {1});
  TempFile target(builder.Build());
  SaveOptions options = At(2);
  Preparation done(target, options);
  EXPECT_EQ(done.result, kResultReadFailed);
  EXPECT_EQ(done.after, ExpectedFile(builder).Padded().bytes);
}

TEST_P(PageInsertion, FaultsOfTheSearchAreMinusSeven) {
  TiffBuilder builder = ThreePages();
  for (const auto& [kind, calls] : {std::pair{IoCall::kSeek, 8u}, {IoCall::kRead, 6u}}) {
    for (uint32_t nth = 1; nth <= calls; ++nth) {
      if (kind == IoCall::kSeek && (nth == 2 || nth == 3)) {
        continue; // size and begin of the file, which are not looked at: the reads that follow decide
      }
      if (kind == IoCall::kRead && nth == 1) {
        continue; // the header: the file is taken for none and overwritten
      }
      TempFile target(builder.Build());
      SaveOptions options = At(3, kSaveInsertPage);
      IoFaults faults;
      faults.Fail(kind, nth);
      Preparation done(target, options);
      EXPECT_EQ(done.result, kResultReadFailed) << static_cast<int>(kind) << " " << nth;
      EXPECT_EQ(done.after, builder.Build());
    }
  }
}

TEST_P(PageInsertion, ALinkThatCannotBeWrittenIsMinusFiveAndLeavesTheFile) {
  TiffBuilder builder = ThreePages();
  builder.Place(static_cast<uint32_t>(builder.Build().size()), {0x55});
  for (uint32_t flags : {0u, static_cast<uint32_t>(kSaveReplacePage), static_cast<uint32_t>(kSaveInsertPage)}) {
    TempFile target(builder.Build());
    SaveOptions options = At(2, flags);
    IoFaults faults;
    faults.Fail(IoCall::kWrite, 2); // behind the pad byte
    Preparation done(target, options);
    EXPECT_EQ(done.result, kResultWriteFailed);
    EXPECT_EQ(done.after, ExpectedFile(builder).Padded().bytes);
  }
}

TEST_P(PageInsertion, APadByteThatCannotBeWrittenIsNoFailure) {
  TiffBuilder builder = ThreePages();
  const auto even = static_cast<uint32_t>(builder.Build().size());
  builder.Place(even, {0x55});
  TempFile target(builder.Build());
  SaveOptions options = At(2);
  IoFaults faults;
  faults.Fail(IoCall::kWrite, 1);
  Preparation done(target, options);
  ExpectAtEnd(done, even + 2, builder.NextWordOffset(2), 0, 3);
}

TEST_P(PageInsertion, FaultsOfNumbersAndMarksAreNoFailure) {
  TiffBuilder builder = ThreePages();
  const auto end = static_cast<uint32_t>(builder.Build().size());
  for (uint64_t nth = 2; nth <= 6; ++nth) {
    TempFile target(builder.Build());
    SaveOptions options = At(2, kSaveInsertPage);
    IoFaults faults;
    faults.Fail(IoCall::kWrite, nth);
    Preparation done(target, options);
    ExpectAtEnd(done, end, builder.LinkOffset(1), builder.DirectoryOffset(1), 1);
  }
}

TEST_P(PageInsertion, EveryFaultLeavesAClosedFileAndAWholeChain) {
  TiffBuilder builder = ThreePages();
  const auto end = static_cast<uint32_t>(builder.Build().size());
  for (IoCall kind : {IoCall::kSeek, IoCall::kRead, IoCall::kWrite}) {
    for (FaultSpan span : {FaultSpan::kOnce, FaultSpan::kFromThenOn}) {
      for (uint64_t nth = 1;; ++nth) {
        TempFile target(builder.Build());
        SaveOptions options = At(2, kSaveInsertPage);
        IoFaults faults;
        faults.Fail(kind, nth, span);
        Preparation done(target, options);
        const uint64_t calls = faults.Calls(kind);
        const bool known = done.result == kResultOk || done.result == kResultReadFailed ||
                           done.result == kResultWriteFailed || done.result == kResultSeekFailed;
        EXPECT_TRUE(known) << done.result;
        if ((done.file.stateFlags & kStateHeaderPending) != 0) {
          // A header that cannot be read, or is read from the wrong place, is none: the file is begun anew.
          EXPECT_TRUE((kind == IoCall::kRead && nth == 1) || (kind == IoCall::kSeek && nth <= 3)) << nth;
        } else {
          // The header's link and the links that are not the new page's are as they were.
          const uint32_t link = GetU32(done.after, builder.LinkOffset(1), GetParam());
          EXPECT_TRUE(link == builder.DirectoryOffset(1) || link == end);
          EXPECT_EQ(GetU32(done.after, 4, GetParam()), builder.DirectoryOffset(0));
          EXPECT_EQ(GetU32(done.after, builder.LinkOffset(2), GetParam()), builder.DirectoryOffset(2));
        }
        if (nth > calls) {
          break;
        }
      }
    }
  }
}

TEST_P(PageInsertion, AppendFromAnExplicitDirectoryKnowsItsIndexFromTheHeader) {
  TiffBuilder builder = ThreePages();
  const auto end = static_cast<uint32_t>(builder.Build().size());
  TempFile target(builder.Build());
  SaveOptions options = At(2, kSaveUseDirectoryOffset);
  options.directoryOffset = builder.DirectoryOffset(1);
  Preparation done(target, options);
  ExpectAtEnd(done, end, builder.NextWordOffset(2), 0, 3);
  EXPECT_EQ(done.after, ExpectedFile(builder).NextWord(2, end).Marked(2).bytes);
}

TEST_P(PageInsertion, AppendFromAnExplicitDirectoryThatKeepsNumbersCountsFromIt) {
  TiffBuilder builder = ThreePages();
  const auto end = static_cast<uint32_t>(builder.Build().size());
  TempFile target(builder.Build());
  SaveOptions options = At(2, kSaveUseDirectoryOffset | kSaveKeepPageNumbers);
  options.directoryOffset = builder.DirectoryOffset(1);
  Preparation done(target, options);
  ExpectAtEnd(done, end, builder.NextWordOffset(2), 0, 2);
}

TEST_P(PageInsertion, AnExplicitDirectoryItselfIsFoundByItsLink) {
  TiffBuilder builder = ThreePages();
  const auto end = static_cast<uint32_t>(builder.Build().size());
  for (uint32_t flag : {kSaveReplacePage, kSaveInsertPage}) {
    TempFile target(builder.Build());
    SaveOptions options = At(1, flag | kSaveUseDirectoryOffset | kSaveKeepPageNumbers | kSaveNoSubfileType);
    options.directoryOffset = builder.DirectoryOffset(1);
    Preparation done(target, options);
    const uint32_t next = flag == kSaveReplacePage ? builder.DirectoryOffset(2) : builder.DirectoryOffset(1);
    ExpectAtEnd(done, end, builder.LinkOffset(1), next, 1);
    EXPECT_EQ(done.after, ExpectedFile(builder).Link(1, end).bytes);
  }
}

TEST_P(PageInsertion, AnExplicitDirectoryThatIsReplacedIsMarkedItself) {
  TiffBuilder builder = ThreePages();
  const auto end = static_cast<uint32_t>(builder.Build().size());
  TempFile target(builder.Build());
  SaveOptions options = At(1, kSaveReplacePage | kSaveUseDirectoryOffset);
  options.directoryOffset = builder.DirectoryOffset(1);
  Preparation done(target, options);
  ExpectAtEnd(done, end, builder.LinkOffset(1), builder.DirectoryOffset(2), 1);
  EXPECT_EQ(done.after, ExpectedFile(builder).Link(1, end).Marked(1).Marked(2).bytes)
      << "its link is known by then and not searched again";
}

TEST_P(PageInsertion, AStepBehindAnExplicitDirectoryIsFoundAgainFromTheHeader) {
  TiffBuilder builder = ThreePages();
  const auto end = static_cast<uint32_t>(builder.Build().size());
  TempFile target(builder.Build());
  SaveOptions options = At(2, kSaveReplacePage | kSaveUseDirectoryOffset | kSaveNoSubfileType);
  options.directoryOffset = builder.DirectoryOffset(1);
  Preparation done(target, options);
  ExpectAtEnd(done, end, builder.LinkOffset(2), 0, 2);
  EXPECT_EQ(done.after, ExpectedFile(builder).Link(2, end).bytes);
}

TEST_P(PageInsertion, AnOrphanDirectoryHasNoLinkToReplace) {
  TiffBuilder builder = ThreePages();
  const auto orphan = static_cast<uint32_t>(builder.Build().size());
  builder.Place(orphan, FileBytes(6, 0)); // no entries, no successor
  TempFile target(builder.Build());
  SaveOptions options = At(1, kSaveReplacePage | kSaveUseDirectoryOffset);
  options.directoryOffset = orphan;
  Preparation done(target, options);
  EXPECT_LT(done.result, 0);
  EXPECT_EQ(done.after, builder.Build()) << "nothing is changed";
}

TEST_P(PageInsertion, AnAppendToAnOrphanChainEndsWithTheSearchsCodeAndAClosedFile) {
  TiffBuilder builder = ThreePages();
  const auto orphan = static_cast<uint32_t>(builder.Build().size());
  builder.Place(orphan, FileBytes(6, 0));
  TempFile target(builder.Build());
  SaveOptions options = At(2, kSaveUseDirectoryOffset);
  options.directoryOffset = orphan;
  Preparation done(target, options);
  EXPECT_LT(done.result, 0);
  FileBytes expected = builder.Build();
  PutU32(expected, orphan + 2, GetParam(), static_cast<uint32_t>(expected.size()));
  EXPECT_EQ(done.after, expected) << "the link was written before";
}

TEST_P(PageInsertion, OnlyPlainMarksAndNumbersAreRewritten) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Short(254, {0}).Long(297, {0, 3});      // a SHORT and LONGs: left alone
  builder.AddPage().Long(254, {3}).Short(297, {1});         // marked already; one value
  builder.AddPage().Long(254, {1}).Short(297, {2, 3, 4});   // three values
  builder.AddPage().RawWord(254, 4, 2, 0);                  // two LONGs; no number
  builder.AddPage().Short(256, {1}).Short(297, {65535, 9}); // no mark
  TempFile target(builder.Build());
  const auto end = static_cast<uint32_t>(builder.Build().size());
  SaveOptions options = At(2, kSaveInsertPage);
  Preparation done(target, options);
  EXPECT_EQ(done.result, kResultOk);
  EXPECT_EQ(done.after, ExpectedFile(builder).Link(1, end).Number(4, 0).bytes);
}

TEST_P(PageInsertion, AMarkKeepsTheOtherBits) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Long(254, {0x80000005});
  TempFile target(builder.Build());
  const auto end = static_cast<uint32_t>(builder.Build().size());
  SaveOptions options = At(2);
  Preparation done(target, options);
  ExpectedFile expected(builder);
  expected.NextWord(0, end);
  PutU32(expected.bytes, builder.ValueOffset(0, 254), GetParam(), 0x80000007);
  EXPECT_EQ(done.after, expected.bytes);
}

TEST_P(PageInsertion, AChainThatRunsInACircleEnds) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Short(256, {1});
  builder.AddPage().Short(256, {2}).NextWord(8);
  TempFile target(builder.Build());
  for (uint32_t flags : {static_cast<uint32_t>(kSaveInsertPage), static_cast<uint32_t>(kSaveReplacePage), 0u}) {
    SaveOptions options = At(2, flags);
    Preparation done(target, options);
    EXPECT_TRUE(done.result == kResultOk || done.result == kResultReadFailed) << done.result;
  }
}

TEST_P(PageInsertion, AVariantFileKeepsItsVersion) {
  TiffBuilder builder(GetParam(), 12622);
  builder.AddPage().Short(256, {1});
  TempFile target(builder.Build());
  SaveOptions options = At(2);
  Preparation done(target, options, 0, 42);
  EXPECT_EQ(done.result, kResultOk);
  EXPECT_EQ(uint16_t{done.file.version}, 12622);
}

TEST(PageInsertionCosts, AppendWalksTheChainWithTwoSeeksAndReadsADirectoryAndAllocatesNothing) {
  TiffBuilder builder = NumberedPages(500, FileOrder::kLittle);
  TempFile target(builder.Build());
  SaveOptions options = At(2);
  CallCounter calls;
  Preparation done(target, options);
  EXPECT_EQ(done.result, kResultOk);
  EXPECT_EQ(calls.Since().allocations, 0u);
  EXPECT_LT(calls.Since().seeks, 2 * 500 + 20u);
  EXPECT_LT(calls.Since().reads, 2 * 500 + 20u);
  EXPECT_EQ(calls.Since().writes, 2u) << "the link and a mark";
}

TEST_P(PageInsertion, PagesFromAnEmptyFileToThree) {
  // Header and directories as a writer would make them: each page is one entry.
  TempFile target;
  for (uint32_t page = 1; page <= 3; ++page) {
    TifFile file{};
    SaveOptions options = At(static_cast<int32_t>(page));
    ASSERT_EQ(TIFPrepareFileForPage(target.Name(), &file, &options, 0, 42), kResultOk);
    if ((file.stateFlags & kStateHeaderPending) != 0) {
      ASSERT_EQ(TIFWriteHeader(&file, GetParam() == FileOrder::kBig), 1);
    }
    EXPECT_EQ(krnFileSeek(file.fileHandle, 0, kKrnSeekCurrent), uint32_t{file.directoryOffset});
    EXPECT_EQ(uint32_t{file.pageIndex}, page - 1);
    TIFWrite16(&file, 1);
    TIFWrite16(&file, 256);
    TIFWrite16(&file, 4);
    TIFWrite32(&file, 1);
    TIFWrite32(&file, page);
    TIFWrite32(&file, file.nextDirectoryOffset);
    krnFileClose(file.fileHandle);
  }
  TiffBuilder builder(GetParam());
  builder.AddPage().Long(256, {1});
  builder.AddPage().Long(256, {2});
  builder.AddPage().Long(256, {3});
  EXPECT_EQ(target.Read(), builder.Build());
}
