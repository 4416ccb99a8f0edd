// Saves of bilevel pages that fail: codes, what becomes of the file, and nothing left open or allocated. Every open,
// read, write, seek and allocation is made to fail in turn.

#include <set>

#include <gtest/gtest.h>

#include "faxload/LoadHost.h"
#include "faxsave/FaxPageSave.h"
#include "support/KernelGuard.h"

namespace {

enum class Shape { kOnePiece, kStrips, kTiles, kVariant, kVariantTiles };
constexpr Shape kShapes[] = {Shape::kOnePiece, Shape::kStrips, Shape::kTiles, Shape::kVariant, Shape::kVariantTiles};

struct Work {
  explicit Work(Shape shape)
      : page(shape == Shape::kVariantTiles ? MakePage(PageKind::kNoise, 1100, 300, 1)
                                           : MakePage(PageKind::kText, 1000, 150, 1)),
        format(shape == Shape::kStrips                                     ? kFormatCcitt
               : shape == Shape::kVariant || shape == Shape::kVariantTiles ? kFormatVariant
                                                                           : kFormatGroup4),
        tiles(shape == Shape::kTiles || shape == Shape::kVariantTiles) {}
  void Settle(FaxPageSave& save) const {
    if (tiles) {
      save.AskTiles(320, 96);
    }
    save.options.flags |= kSaveAskFaxColours;
  }
  TestPage page;
  int32_t format;
  bool tiles;
};

FileBytes Existing(const TestPage& page, int32_t format) {
  const TempFile file;
  FaxPageSave save(file, page, format == kFormatVariant ? kFormatVariant : kFormatGroup4);
  EXPECT_EQ(save.Save(), 1);
  return file.Read();
}

TEST(FaxSaveFailures, DepthsOtherThanOneAreRefusedBeforeTheFile) {
  const TestPage page = MakePage(PageKind::kText, 20, 20, 1);
  for (int32_t format : {kFormatCcitt, kFormatGroup3, kFormatGroup3TwoDimensional, kFormatGroup4, kFormatVariant}) {
    for (int32_t depth : {2, 4, 8, 24}) {
      const TempFile file;
      FaxPageSave save(file, page, format);
      save.request.bitsPerPixel = depth;
      EXPECT_EQ(save.Save(), -27);
      EXPECT_FALSE(file.Exists());
      EXPECT_EQ(save.starts, 0);
    }
  }
}

TEST(FaxSaveFailures, SizesOfZeroAreRefusedBeforeTheFile) {
  const TestPage page = MakePage(PageKind::kText, 20, 20, 1);
  for (int32_t format : {kFormatGroup4, kFormatVariant}) {
    const TempFile file;
    FaxPageSave save(file, page, format);
    save.bitmap.width = 0;
    EXPECT_EQ(save.Save(), -11);
    save.bitmap.width = 20;
    save.bitmap.height = 0;
    EXPECT_EQ(save.Save(), -11);
    EXPECT_FALSE(file.Exists());
  }
}

TEST(FaxSaveFailures, TheRowServicesCodesComeBackAndThePageIsGone) {
  for (Shape shape : kShapes) {
    const Work work(shape);
    const FileBytes before = Existing(work.page, work.format);
    const int askStarts = work.format == kFormatVariant ? 0 : 1;
    for (int step = 0; step < 4; ++step) {
      const KernelGuard guard;
      const TempFile fresh;
      const TempFile old(before);
      for (const TempFile* file : {&fresh, &old}) {
        FaxPageSave save(*file, work.page, work.format);
        work.Settle(save);
        save.request.flags = kSaveRequestAppend;
        const bool atStart = step < 2;
        save.startResult = atStart ? -55 : 1;
        save.refusedStart = step == 0 ? 1 : askStarts + 1;
        save.refusedRow = step == 2 ? 1 : step == 3 ? 77 : 0;
        EXPECT_EQ(save.Save(), atStart ? -55 : -66);
        if (file == &fresh) {
          EXPECT_FALSE(file->Exists());
        } else if (step != 0 || askStarts == 0) {
          EXPECT_EQ(CountPages(file->Read()), 1u);
          LoadHost host(file->Read(), work.page.width, work.page.height);
          EXPECT_EQ(host.Load(), 1);
        }
      }
    }
  }
}

TEST(FaxSaveFailures, FileThatCannotBeCreated) {
  const KernelGuard guard;
  const TestPage page = MakePage(PageKind::kText, 20, 20, 1);
  for (int32_t format : {kFormatGroup4, kFormatVariant}) {
    const TempFile file;
    FaxPageSave save(file, page, format);
    save.request.fileName = u"/no such folder/file.tif";
    EXPECT_EQ(save.Save(), -14);
  }
}

TEST(FaxSaveFailures, FullDiskIsAWriteFailureAndLeavesNoFile) {
  for (Shape shape : kShapes) {
    const KernelGuard guard;
    const Work work(shape);
    const TempFile file;
    FaxPageSave save(file, work.page, work.format);
    work.Settle(save);
    IoFaults faults;
    faults.Fail(IoCall::kWrite, 1, FaultSpan::kFromThenOn);
    EXPECT_EQ(save.Save(), -5);
    EXPECT_FALSE(file.Exists());
  }
}

// Writes that nobody looks at (values in front of the data, the patches of tables) leave the save at 1.
TEST(FaxSaveFailures, EveryFileCallFails) {
  for (Shape shape : kShapes) {
    const Work work(shape);
    const FileBytes before = Existing(work.page, work.format);
    for (bool append : {false, true}) {
      for (IoCall call : {IoCall::kOpen, IoCall::kRead, IoCall::kWrite, IoCall::kSeek}) {
        for (FaultSpan span : {FaultSpan::kOnce, FaultSpan::kFromThenOn}) {
          std::set<int32_t> codes;
          bool finished = false;
          for (uint64_t nth = 1; !finished; ++nth) {
            ASSERT_LT(nth, 500u);
            const KernelGuard guard;
            const TempFile file;
            if (append) {
              file.Write(before);
            }
            FaxPageSave save(file, work.page, work.format);
            work.Settle(save);
            save.request.flags = append ? kSaveRequestAppend : 0;
            IoFaults faults;
            faults.Fail(call, nth, span);
            const int32_t result = save.Save();
            finished = faults.Calls(call) < nth;
            if (finished) {
              EXPECT_EQ(result, 1);
              continue;
            }
            codes.insert(result);
            // With the directory in the file and the fault past, a failure takes the page back.
            const bool encoding = save.starts == (work.format == kFormatVariant ? 1 : 2);
            if (result < 1 && encoding && span == FaultSpan::kOnce) {
              EXPECT_EQ(file.Exists(), append) << result;
              EXPECT_TRUE(!append || CountPages(file.Read()) == 1) << result;
            }
          }
          codes.erase(1);
          if (call == IoCall::kSeek && append) {
            codes.erase(-5); // the link word that cannot be reached is one that cannot be written
          }
          const std::set<int32_t> told = call == IoCall::kOpen    ? std::set<int32_t>{-14}
                                         : call == IoCall::kRead  ? std::set<int32_t>{-7, -4}
                                         : call == IoCall::kWrite ? std::set<int32_t>{-5}
                                                                  : std::set<int32_t>{-7, -4};
          for (int32_t code : codes) {
            EXPECT_TRUE(told.contains(code))
                << "call " << static_cast<int>(call) << (append ? " of an append" : "") << " gives " << code;
          }
        }
      }
    }
  }
}

TEST(FaxSaveFailures, EveryAllocationFails) {
  for (Shape shape : kShapes) {
    const Work work(shape);
    const FileBytes before = Existing(work.page, work.format);
    for (bool append : {false, true}) {
      bool finished = false;
      uint64_t failed = 0;
      for (uint64_t nth = 1; !finished; ++nth) {
        ASSERT_LT(nth, 200u);
        const KernelGuard guard;
        const TempFile file;
        if (append) {
          file.Write(before);
        }
        FaxPageSave save(file, work.page, work.format);
        work.Settle(save);
        save.request.flags = append ? kSaveRequestAppend : 0;
        int32_t result = 0;
        {
          AllocFaults faults(nth);
          result = save.Save();
          finished = faults.Calls() < nth;
        }
        EXPECT_EQ(result, finished ? 1 : -1) << nth;
        failed += !finished;
        EXPECT_TRUE(append || finished || !file.Exists());
      }
      EXPECT_GE(failed, 4u);
    }
  }
}

} // namespace
