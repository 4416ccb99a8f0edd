// Deletion of pages, byte for byte, and the taking back of a failed page.

#include <gtest/gtest.h>

#include "support/KernelGuard.h"
#include "tif_com/ChainFiles.h"
#include "tif_com/PageChain.h"

namespace {

int32_t Delete(const TempFile& target, uint32_t page, uint32_t flags = 0, uint32_t directoryOffset = 0) {
  SaveOptions options{};
  options.structSize = sizeof options;
  options.flags = flags;
  options.directoryOffset = directoryOffset;
  options.pageNumber = 77; // not looked at
  FilterDeletePageRequest request{};
  request.fileName = target.Name();
  request.page = page;
  request.reserved = 0xABCDEF;
  request.options = &options;
  const int32_t result = fltDeletePage(&request);
  EXPECT_EQ(uint32_t{options.flags}, flags);
  return result;
}

class PageDeletion : public testing::TestWithParam<FileOrder> {
protected:
  KernelGuard guard_;
};

INSTANTIATE_TEST_SUITE_P(Chain, PageDeletion, testing::Values(FileOrder::kLittle, FileOrder::kBig), OrderName);

} // namespace

TEST_P(PageDeletion, TheFirstPageGivesTheHeadersWordToTheSecond) {
  TiffBuilder builder = NumberedPages(2, GetParam());
  for (uint32_t page : {0u, 1u}) {
    TempFile target(builder.Build());
    EXPECT_EQ(Delete(target, page), kResultOk);
    EXPECT_EQ(target.Read(), ExpectedFile(builder).Link(0, builder.DirectoryOffset(1)).Number(1, 0).bytes) << page;
  }
}

TEST_P(PageDeletion, AMiddlePageIsPassedOverAndThoseBehindItAreRenumbered) {
  TiffBuilder builder = NumberedPages(4, GetParam());
  TempFile target(builder.Build());
  EXPECT_EQ(Delete(target, 2), kResultOk);
  EXPECT_EQ(target.Read(),
            ExpectedFile(builder).Link(1, builder.DirectoryOffset(2)).Number(0, 0).Number(2, 1).Number(3, 2).bytes);
}

TEST_P(PageDeletion, TheLastPageLeavesAZeroInThePageInFront) {
  TiffBuilder builder = NumberedPages(3, GetParam());
  for (uint32_t page : {3u, 0xFFFFFFFFu}) {
    TempFile target(builder.Build());
    EXPECT_EQ(Delete(target, page), kResultOk);
    EXPECT_EQ(target.Read(), ExpectedFile(builder).Link(2, 0).Number(0, 0).Number(1, 1).bytes) << page;
  }
}

TEST_P(PageDeletion, TheOnlyPageStays) {
  TiffBuilder builder = NumberedPages(1, GetParam());
  for (uint32_t page : {0u, 1u, 0xFFFFFFFFu}) {
    TempFile target(builder.Build());
    EXPECT_EQ(Delete(target, page), kResultOnlyPage);
    EXPECT_EQ(target.Read(), builder.Build());
  }
}

TEST_P(PageDeletion, APagePastTheEndIsMinus310) {
  TiffBuilder builder = NumberedPages(3, GetParam());
  TempFile target(builder.Build());
  EXPECT_EQ(Delete(target, 4), kResultNoSuchPage);
  EXPECT_EQ(Delete(target, 5), kResultNoSuchPage);
  EXPECT_EQ(target.Read(), builder.Build());
}

TEST_P(PageDeletion, KeptPageNumbersShowAGap) {
  TiffBuilder builder = NumberedPages(3, GetParam());
  TempFile target(builder.Build());
  EXPECT_EQ(Delete(target, 2, kSaveKeepPageNumbers), kResultOk);
  EXPECT_EQ(target.Read(), ExpectedFile(builder).Link(1, builder.DirectoryOffset(2)).bytes);
}

TEST_P(PageDeletion, MarksOfMultiPageFilesStay) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Long(254, {2}).Short(256, {1});
  builder.AddPage().Long(254, {2}).Short(256, {2});
  TempFile target(builder.Build());
  EXPECT_EQ(Delete(target, 2), kResultOk);
  EXPECT_EQ(target.Read(), ExpectedFile(builder).Link(1, 0).bytes);
}

TEST_P(PageDeletion, AnExplicitDirectoryIsFoundByItsLink) {
  TiffBuilder builder = NumberedPages(3, GetParam());
  TempFile first(builder.Build());
  EXPECT_EQ(Delete(first, 1, kSaveUseDirectoryOffset | kSaveKeepPageNumbers, builder.DirectoryOffset(1)), kResultOk);
  EXPECT_EQ(first.Read(), ExpectedFile(builder).Link(1, builder.DirectoryOffset(2)).bytes);
  TempFile second(builder.Build());
  EXPECT_EQ(Delete(second, 2, kSaveUseDirectoryOffset | kSaveKeepPageNumbers, builder.DirectoryOffset(1)), kResultOk);
  EXPECT_EQ(second.Read(), ExpectedFile(builder).Link(2, 0).bytes);
  TempFile ignored(builder.Build());
  EXPECT_EQ(Delete(ignored, 1, kSaveKeepPageNumbers, builder.DirectoryOffset(1)), kResultOk);
  EXPECT_EQ(ignored.Read(), ExpectedFile(builder).Link(0, builder.DirectoryOffset(1)).bytes) << "without the flag";
}

TEST_P(PageDeletion, AnOrphanDirectoryCannotBeUnlinked) {
  TiffBuilder builder = NumberedPages(2, GetParam());
  const auto orphan = static_cast<uint32_t>(builder.Build().size());
  builder.Place(orphan, FileBytes(6, 0));
  TempFile target(builder.Build());
  EXPECT_LT(Delete(target, 1, kSaveUseDirectoryOffset, orphan), 0);
  EXPECT_EQ(target.Read(), builder.Build());
}

TEST_P(PageDeletion, ANextWordOfOneToSevenIsMovedAsItStands) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Short(256, {1}).NextWord(5);
  TempFile target(builder.Build());
  EXPECT_EQ(Delete(target, 1), kResultOk);
  EXPECT_EQ(target.Read(), ExpectedFile(builder).Link(0, 5).bytes);
}

TEST_P(PageDeletion, APageThatFollowsItselfEnds) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Short(256, {1}).NextWord(8);
  TempFile target(builder.Build());
  EXPECT_EQ(Delete(target, 1), kResultOk);
  EXPECT_EQ(target.Read(), builder.Build());
}

TEST_P(PageDeletion, TheFileKeepsItsSize) {
  TiffBuilder builder = NumberedPages(3, GetParam());
  builder.Place(static_cast<uint32_t>(builder.Build().size()), {0x55}); // an odd one gets no pad
  TempFile target(builder.Build());
  const size_t size = target.Read().size();
  EXPECT_EQ(Delete(target, 1), kResultOk);
  EXPECT_EQ(Delete(target, 1), kResultOk);
  EXPECT_EQ(Delete(target, 1), kResultOnlyPage);
  EXPECT_EQ(target.Read().size(), size);
}

TEST(PageDeletionRequest, NullsAndMissingFiles) {
  KernelGuard guard;
  EXPECT_EQ(fltDeletePage(nullptr), kResultInvalidParameter);
  FilterDeletePageRequest request{};
  CallCounter calls;
  EXPECT_EQ(fltDeletePage(&request), kResultNoFileName);
  EXPECT_EQ(calls.Since().opens, 0u);
  TempFile missing;
  request.fileName = missing.Name();
  EXPECT_EQ(fltDeletePage(&request), kResultOpenFailed);
  EXPECT_FALSE(missing.Exists());
  TempFile text(FileBytes(50, 'x'));
  request.fileName = text.Name();
  EXPECT_EQ(fltDeletePage(&request), kResultNotTiff);
  TiffBuilder builder = NumberedPages(2, FileOrder::kLittle);
  TempFile target(builder.Build());
  request.fileName = target.Name();
  request.page = 2;
  EXPECT_EQ(fltDeletePage(&request), kResultOk) << "null options are zeros";
}

TEST_P(PageDeletion, ALinkThatCannotBeWrittenIsMinusFiveWithTheChainUnchanged) {
  TiffBuilder builder = NumberedPages(3, GetParam());
  TempFile target(builder.Build());
  IoFaults faults;
  faults.Fail(IoCall::kWrite, 3); // behind the numbers of pages 1 and 3
  EXPECT_EQ(Delete(target, 2), kResultWriteFailed);
  EXPECT_EQ(target.Read(), ExpectedFile(builder).Number(0, 0).Number(2, 1).bytes) << "the numbers are changed already";
}

TEST_P(PageDeletion, FailedNumbersAreNoFailure) {
  TiffBuilder builder = NumberedPages(3, GetParam());
  TempFile target(builder.Build());
  IoFaults faults;
  faults.Fail(IoCall::kWrite, 2);
  EXPECT_EQ(Delete(target, 2), kResultOk);
  EXPECT_EQ(target.Read(), ExpectedFile(builder).Link(1, builder.DirectoryOffset(2)).Number(0, 0).bytes);
}

TEST_P(PageDeletion, FaultsOfTheSearchLeaveTheFileAsItWas) {
  TiffBuilder builder = NumberedPages(3, GetParam());
  struct Case {
    IoCall call;
    uint64_t nth;
    int32_t code;
  };
  // Seeks: end, begin, first directory, next word, second directory, its next word. Reads: header, count, next word,
  // count, next word.
  for (const Case& test : {Case{IoCall::kSeek, 3, kResultSeekFailed},
                           {IoCall::kSeek, 4, kResultSeekFailed},
                           {IoCall::kSeek, 5, kResultSeekFailed},
                           {IoCall::kSeek, 6, kResultSeekFailed},
                           {IoCall::kRead, 1, kResultNotTiff},
                           {IoCall::kRead, 2, kResultReadFailed},
                           {IoCall::kRead, 3, kResultReadFailed},
                           {IoCall::kRead, 4, kResultReadFailed},
                           {IoCall::kRead, 5, kResultReadFailed},
                           {IoCall::kOpen, 1, kResultOpenFailed}}) {
    TempFile target(builder.Build());
    IoFaults faults;
    faults.Fail(test.call, test.nth);
    EXPECT_EQ(Delete(target, 2), test.code) << static_cast<int>(test.call) << " " << test.nth;
    EXPECT_EQ(target.Read(), builder.Build());
  }
}

TEST_P(PageDeletion, EveryFaultLeavesAWholeChain) {
  TiffBuilder builder = NumberedPages(3, GetParam());
  for (IoCall kind : {IoCall::kSeek, IoCall::kRead, IoCall::kWrite}) {
    for (FaultSpan span : {FaultSpan::kOnce, FaultSpan::kFromThenOn}) {
      for (uint64_t nth = 1;; ++nth) {
        TempFile target(builder.Build());
        IoFaults faults;
        faults.Fail(kind, nth, span);
        const int32_t result = Delete(target, 2);
        const FileBytes after = target.Read();
        const uint32_t link = GetU32(after, builder.LinkOffset(1), GetParam());
        EXPECT_EQ(link, builder.DirectoryOffset(result == kResultOk ? 2 : 1));
        EXPECT_EQ(GetU32(after, 4, GetParam()), builder.DirectoryOffset(0));
        EXPECT_EQ(GetU32(after, builder.LinkOffset(2), GetParam()), builder.DirectoryOffset(2));
        if (nth > faults.Calls(kind)) {
          break;
        }
      }
    }
  }
}

TEST_P(PageDeletion, ARenumberingWithoutEndIsEndedByTheKernelsLimits) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Short(297, {0, 2});
  builder.AddPage().Short(297, {1, 2}).NextWord(8);
  TempFile target(builder.Build());
  const int32_t result = Delete(target, 2);
  EXPECT_TRUE(result == kResultOk || result == kResultWriteFailed) << result;
}

// Undo ----------------------------------------------------------------------------------------------------------------

TEST(UndoPage, ANewFileIsDeleted) {
  KernelGuard guard;
  TempFile target(FileBytes(10, 'x'));
  SaveOptions options{};
  EXPECT_EQ(TIFUndoPage(target.Name(), &options, 0, true), kResultOk);
  EXPECT_FALSE(target.Exists());
  EXPECT_EQ(TIFUndoPage(target.Name(), &options, 0, true), kResultOk) << "whether or not it is there";
}

TEST(UndoPage, APageOfAnOlderFileIsTakenOut) {
  KernelGuard guard;
  for (FileOrder order : kBothFileOrders) {
    TiffBuilder builder = NumberedPages(3, order);
    TempFile target(builder.Build());
    SaveOptions options{};
    EXPECT_EQ(TIFUndoPage(target.Name(), &options, 2, false), kResultOk);
    EXPECT_EQ(target.Read(), ExpectedFile(builder).Link(2, 0).Number(0, 0).Number(1, 1).bytes);
  }
}

TEST(UndoPage, TheOnlyPageTakesTheFileWithIt) {
  KernelGuard guard;
  TiffBuilder builder = NumberedPages(1, FileOrder::kLittle);
  TempFile target(builder.Build());
  SaveOptions options{};
  EXPECT_EQ(TIFUndoPage(target.Name(), &options, 0, false), 1);
  EXPECT_FALSE(target.Exists());
}

TEST(UndoPage, AnyOtherFailureIsItsResult) {
  KernelGuard guard;
  TiffBuilder builder = NumberedPages(2, FileOrder::kLittle);
  TempFile target(builder.Build());
  SaveOptions options{};
  EXPECT_EQ(TIFUndoPage(target.Name(), &options, 5, false), kResultNoSuchPage);
  EXPECT_EQ(target.Read(), builder.Build());
  EXPECT_EQ(TIFUndoPage(nullptr, &options, 5, false), kResultNoFileName);
}

TEST(UndoPage, CountsAsTheOptionsSay) {
  TiffBuilder builder = NumberedPages(3, FileOrder::kLittle);
  TempFile target(builder.Build());
  SaveOptions options{};
  options.flags = kSaveUseDirectoryOffset | kSaveKeepPageNumbers;
  options.directoryOffset = builder.DirectoryOffset(1);
  EXPECT_EQ(TIFUndoPage(target.Name(), &options, 1, false), kResultOk);
  EXPECT_EQ(target.Read(), ExpectedFile(builder).Link(2, 0).bytes) << "the second page behind the explicit one";
}

TEST(UndoPage, BeforeTheDirectoryExistsTheLinkStays) {
  KernelGuard guard;
  for (FileOrder order : kBothFileOrders) {
    TiffBuilder builder = NumberedPages(2, order);
    TempFile target(builder.Build());
    TifFile file{};
    SaveOptions options{};
    options.pageNumber = 2;
    ASSERT_EQ(TIFPrepareFileForPage(target.Name(), &file, &options, 0, 42), kResultOk);
    krnFileClose(file.fileHandle);
    const FileBytes linked = target.Read();
    EXPECT_EQ(TIFUndoPage(target.Name(), &options, file.pageIndex, false), kResultReadFailed);
    EXPECT_EQ(target.Read(), linked);
  }
}

TEST(DeleteFile, TheLiteralNameDummyIsNeverDeleted) {
  const VxFileHandle made = krnFileOpen(u"DUMMY", kKrnFileReadWrite | kKrnFileCreate, kKrnShareExclusive);
  ASSERT_NE(made, kKrnNoHandle);
  krnFileClose(made);
  EXPECT_EQ(TIFDeleteFile(u"DUMMY"), 0);
  EXPECT_EQ(krnFileDelete(u"DUMMY"), 1) << "it was still there";
  EXPECT_EQ(TIFDeleteFile(nullptr), 0);
  TempFile missing;
  EXPECT_EQ(TIFDeleteFile(missing.Name()), 0);
  TempFile target(FileBytes(3, 'x'));
  EXPECT_EQ(TIFDeleteFile(target.Name()), 1);
  EXPECT_FALSE(target.Exists());
}
