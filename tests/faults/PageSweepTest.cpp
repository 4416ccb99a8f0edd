// Faults in what moves whole pages: deletion and compaction. Told codes, every page that is not meant unharmed.

#include <gtest/gtest.h>
#include <vxtif/vxtif.h>

#include "faults/FaultSweep.h"
#include "faults/ReadCodes.h"
#include "faults/SweepInputs.h"
#include "faults/WriteChecks.h"
#include "faults/WriteCodes.h"
#include "support/ChainWalk.h"
#include "support/KernelGuard.h"

namespace {

// The way to a page, its own next word, and the link that leads to it. Renumbering comes in between and is not looked
// at.
ToldCodes DeletionCodes(uint32_t page) {
  ToldCodes told = {
      {kOpens, "open.edit", {kResultOpenFailed}},
      {kSeeks, "seek.end", {kPasses}},
      {kSeeks, "header", {kResultNotTiff}, Aftermath::kSame, {kResultNotTiff, kPasses}},
      {kReads, "header", {kResultNotTiff}},
  };
  for (uint32_t i = 1; i <= page; ++i) {
    const std::string name = "p" + std::to_string(i);
    told.push_back({kSeeks, name + ".count", {kResultSeekFailed}, Aftermath::kSame, {}, 1});
    told.push_back({kReads, name + ".count", {kResultReadFailed}, Aftermath::kSame, {}, 1});
    told.push_back({kReads, name + ".next", {kResultReadFailed}, Aftermath::kSame, {}, 1});
    told.push_back({kSeeks, (i < page ? "skip." : "") + name + ".next", {kResultSeekFailed}, Aftermath::kSame, {}, 1});
  }
  const std::string link = page == 1 ? "header.first" : "p" + std::to_string(page - 1) + ".next";
  const ToldCodes rest = {
      {kSeeks, link, {kResultWriteFailed}, Aftermath::kSame, {}, 2},
      {kWrites, link, {kResultWriteFailed}},
      {kSeeks | kReads, "header.first", {kPasses}, Aftermath::kDiffers, {kPasses, kResultWriteFailed}},
      {kSeeks, "p*.next", {kPasses}, Aftermath::kDiffers, {kPasses, kResultWriteFailed}},
      {kSeeks | kReads, "p*", {kPasses}, Aftermath::kDiffers},
      {kSeeks, "skip.p*", {kPasses}, Aftermath::kDiffers},
      {kWrites, "p*.word.297*", {kPasses}, Aftermath::kDiffers},
  };
  told.insert(told.end(), rest.begin(), rest.end());
  return told;
}

// Before the link is written nothing has changed but page numbers; that write is the whole deletion.
TEST(PageSweep, Deletions) {
  for (const FileOrder order : kBothOrders) {
    for (const uint32_t page : {1u, 2u, 3u}) {
      const ToldCodes told = DeletionCodes(page);
      Sweep sweep;
      sweep.name = WithOrder("delete page " + std::to_string(page), order);
      sweep.file = ThreePages(order);
      sweep.told = {&told};
      sweep.run = [page](SweepCall& call) {
        SaveOptions options = {};
        options.structSize = sizeof options;
        FilterDeletePageRequest request = {call.Name(), page, 0, &options};
        return call.Enter("fltDeletePage", "fltDeletePageTIF") ? fltDeletePageTIF(&request) : fltDeletePage(&request);
      };
      const OldPages pages(sweep.file);
      sweep.check = [&](const SweepOutcome& outcome) {
        ASSERT_TRUE(outcome.exists);
        EXPECT_EQ(outcome.after.size(), outcome.before.size());
        pages.ExpectUnharmed(outcome);
        if (outcome.fault.kind == FaultKind::kShortWrite || outcome.fault.kind == FaultKind::kCutWrite) {
          return; // a link word of which some bytes were written leads anywhere
        }
        std::vector<uint32_t> expected = LinkedOffsets(outcome.before);
        if (!outcome.failed) {
          expected.erase(expected.begin() + page - 1);
        }
        EXPECT_EQ(LinkedOffsets(outcome.after), expected) << "after " << outcome.place;
      };
      RunSweep(sweep);
    }
  }
}

struct Compaction {
  std::string name;
  FileBytes source;
  Where where;
  FileOrder order; // of the target
  uint32_t pages;  // 0: all
  std::vector<const ToldCodes*> told;
  std::string last = ""; // the last page written, which is joined to the rest of the chain
};

int32_t Compact(SweepCall& call, const Compaction& compaction) {
  FileOptions from = {};
  SaveOptions to = {};
  to.structSize = sizeof to;
  to.pageNumber = compaction.where == Where::kNewFile ? 1 : 2;
  to.flags = (compaction.order == FileOrder::kBig ? uint32_t{kSaveBigEndian} : 0u) |
             (compaction.where == Where::kInsert    ? uint32_t{kSaveInsertPage}
              : compaction.where == Where::kReplace ? uint32_t{kSaveReplacePage}
                                                    : 0u);
  FilterCompactRequest request = {call.Name(0), call.Name(1), compaction.pages, &from, &to};
  call.Enter("fltCompact");
  return fltCompact(&request);
}

// The same rows for the other file.
ToldCodes OfOther(ToldCodes codes) {
  for (ToldCode& row : codes) {
    row.place = "to:" + row.place;
  }
  return codes;
}

// The link is written once before the first page, and again behind it; before an insert's second time a renumbering has
// passed it.
const ToldCodes kInsertLink = {
    {kSeeks, "to:p1.next", {kPasses}, Aftermath::kDiffers, {kPasses, kResultSeekFailed}, 2},
    {kSeeks, "to:p1.next", {kResultSeekFailed}, Aftermath::kSame, {}, 3},
};
const ToldCodes kTargetLink = {
    {kSeeks, "to:p*.next", {kResultSeekFailed}, Aftermath::kSame, {}, 2},
    {kWrites, "to:p*.next", {kResultWriteFailed}, Aftermath::kSame, {}, 2},
};

// A page is linked once it is whole. Only the first one's link is written before it.
void ExpectWholePages(const Compaction& compaction, const SweepOutcome& outcome) {
  if (outcome.fault.kind == FaultKind::kShortWrite || outcome.fault.kind == FaultKind::kCutWrite ||
      outcome.after.size() < 8) {
    return;
  }
  const size_t before = compaction.where == Where::kNewFile ? 0 : compaction.where == Where::kAppend ? 3 : 1;
  const WalkedFile is = WalkChain(outcome.after);
  EXPECT_TRUE(is.fault.empty() || is.pages.size() <= before) << is.fault << ", after " << outcome.place;
}

void SweepCompaction(const Compaction& compaction) {
  Sweep sweep;
  sweep.name = WithOrder("compact " + compaction.name + ", " + NameOfPlace(compaction.where), compaction.order);
  sweep.file = compaction.source;
  sweep.otherExists = compaction.where != Where::kNewFile;
  sweep.other = sweep.otherExists ? ThreePages(compaction.order) : FileBytes{};
  sweep.hasTwin = false;
  sweep.checkedFile = 1;
  const ToldCodes target = compaction.where == Where::kNewFile ? ToldCodes{} : OfOther(*CodesOfPlace(compaction.where));
  // The joining is the last step; what becomes of it is not looked at.
  ToldCodes joining;
  if (!compaction.last.empty()) {
    joining = {{kSeeks, "to:" + compaction.last + ".next", {kPasses}, Aftermath::kDiffers},
               {kWrites, "to:" + compaction.last + ".next", {kPasses}, Aftermath::kDiffers, {}, 2}};
  }
  sweep.told = {&joining};
  if (compaction.where == Where::kInsert) {
    sweep.told.push_back(&kInsertLink);
  }
  sweep.told.insert(sweep.told.end(), compaction.told.begin(), compaction.told.end());
  sweep.told.insert(sweep.told.end(), {&kTargetLink, &target, &kCompactCodes});
  sweep.run = [&](SweepCall& call) { return Compact(call, compaction); };
  const OldPages pages(sweep.other);
  sweep.check = [&](const SweepOutcome& outcome) {
    if (!outcome.failed && !outcome.mayDiffer) {
      EXPECT_EQ(outcome.after, outcome.without) << "the file is another, after " << outcome.place;
      return;
    }
    const bool beginsAnew = PlaceMatches("to:open.edit", outcome.place.c_str()) ||
                            PlaceMatches("to:header*", outcome.place.c_str()) ||
                            PlaceMatches("to:seek.end*", outcome.place.c_str());
    if (!outcome.exists || beginsAnew) {
      EXPECT_TRUE(beginsAnew || !sweep.otherExists);
      return;
    }
    pages.ExpectUnharmed(outcome);
    ExpectWholePages(compaction, outcome);
  };
  RunSweep(sweep);
}

// Several strips are left in the source and copied when the page is written, by offsets that are read then.
const ToldCodes kSeveralStrips = {
    {kAllocs, "TagBlocks*", {kResultNoMemory, kResultDirectoryUnreadable}},
    {kSeeks | kReads, "p*.273", {kResultReadFailed}},
    {kSeeks, "p*.data*", {kResultSeekFailed}},
    {kReads, "p*.data*", {kResultReadFailed}},
};
// What hangs from a single child is lost with it.
const ToldCodes kRichPage = {
    {kAllocs, "TagBlocks*", {kPasses, kResultNoMemory, kResultDirectoryUnreadable}, Aftermath::kDiffers},
    {kAllocs, "TagAccess*", {kPasses, kResultDirectoryUnreadable}, Aftermath::kDiffers},
    {kAllocs, "DirectoryTree*", {kPasses, kResultDirectoryUnreadable}, Aftermath::kDiffers},
    {kSeeks | kReads, "p*.34665*", {kPasses}, Aftermath::kDiffers},
    {kSeeks | kReads, "p*.34853*", {kPasses}, Aftermath::kDiffers},
    {kSeeks | kReads, "p2.330*", {kPasses}, Aftermath::kDiffers},
    {kReads, "p1.330.next", {kPasses}},
    {kAllocs, "TreeWriter.2", {kResultRefused}}, // the offsets of an array of children
};
// Tiles are copied from the source when they are written, by offsets that are read then.
const ToldCodes kTiles = {
    {kAllocs, "TagBlocks.4", {kResultNoMemory}},
    {kSeeks | kReads, "p1.324", {kResultReadFailed}},
    {kSeeks, "p1.data*", {kResultSeekFailed}},
    {kReads, "p1.data*", {kResultReadFailed}},
};
// The stream is loaded with the page; its strips and tables are copied.
const ToldCodes kJpegStream = {
    {kSeeks, "p1.data*", {kResultSeekFailed}}, {kReads, "p1.data*", {kResultReadFailed}},
    {kSeeks, "p1.519*", {kResultSeekFailed}},  {kReads, "p1.519*", {kResultReadFailed}},
    {kSeeks, "p1.52*", {kResultSeekFailed}},   {kReads, "p1.52*", {kResultReadFailed}},
};

TEST(PageSweep, Compactions) {
  for (const FileOrder from : kBothOrders) {
    for (const FileOrder to : kBothOrders) {
      const std::string source = WithOrder("", from);
      for (const Where where : kEverywhere) {
        SweepCompaction({"three pages" + source,
                         ThreePages(from),
                         where,
                         to,
                         0,
                         {&kSeveralStrips},
                         where == Where::kInsert ? "new3" : ""});
      }
      SweepCompaction(
          {"rich pages" + source, RichFile(from, 2), Where::kNewFile, to, 0, {&kRichPage, &kSeveralStrips}});
      SweepCompaction(
          {"a rich page" + source, RichFile(from, 2), Where::kInsert, to, 1, {&kRichPage, &kSeveralStrips}, "new"});
      SweepCompaction({"tiles" + source, TiledFile(from), Where::kNewFile, to, 0, {&kTiles}});
      SweepCompaction({"planes" + source, PlanarFile(from), Where::kAppend, to, 0, {&kSeveralStrips}});
      SweepCompaction({"JPEG stream" + source, JpegStreamFile(from), Where::kNewFile, to, 0, {&kJpegStream}});
      SweepCompaction({"LZW" + source, WrittenFile({"", kFormatLzw, 24, 0, 0}, from), Where::kNewFile, to, 0, {}});
      SweepCompaction(
          {"group 4" + source, WrittenFile({"", kFormatGroup4, 1, 0, 0}, from), Where::kReplace, to, 0, {}, "new"});
    }
  }
}

// Exports that make no call that could fail: they answer as ever while everything fails.
TEST(PageSweep, SilentExports) {
  const FileBytes bytes = ThreePages(FileOrder::kLittle);
  for (int kind = 0; kind < kFaultKinds; ++kind) {
    FaultDisk disk;
    disk.Put(0, bytes);
    KernelGuard guard;
    TifFile file = {};
    TifDirectory* block = nullptr;
    uint32_t layout = 0;
    ASSERT_EQ(Vx_OpenTIF(disk.Name(), &file, sizeof file), kResultOk);
    ASSERT_EQ(Vx_GetTIFPage(&file, 1, &block, &layout), kResultOk);
    disk.Arm({static_cast<FaultKind>(kind), true, 1});
    uint32_t size = 0;
    EXPECT_EQ(Vx_GetTIFTagDataType(&block->records[0], &size), kTagClassInline);
    EXPECT_EQ(size, 4u);
    TifPage page = {};
    page.tileWidth = 10;
    page.totalBits = 12;
    page.pageFlags = kPageSigned;
    page.bitsPerSample[0] = 16;
    EXPECT_EQ(TIFGetBytesPerTileRow(&page), 15);
    BitmapHandle bitmap = {};
    krnBitmapInit(&bitmap, kBitmapHandleSize, 1, 1, 16);
    EXPECT_EQ(TIFInitBitmap(&page, &bitmap, 1), kResultOk);
    EXPECT_EQ(+bitmap.minValue, -32768);
    EXPECT_EQ(Vx_FreeTIFPage(block), kResultOk);
    EXPECT_EQ(Vx_CloseTIF(&file), kResultOk);
    disk.Lift();
    EXPECT_EQ(disk.CallsMade(), 0u) << NameOfKind(static_cast<FaultKind>(kind));
    EXPECT_EQ(disk.OpenHandles(), 0u);
  }
  for (const char* name :
       {"Vx_GetTIFTagDataType", "TIFGetBytesPerTileRow", "TIFInitBitmap", "Vx_FreeTIFPage", "Vx_CloseTIF"}) {
    CountSilentExport(name);
  }
}

} // namespace
