// The checks: see the header.

#include "faults/WriteChecks.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "support/ChainWalk.h"

namespace {

std::vector<uint32_t> OffsetsOf(const WalkedFile& file) {
  std::vector<uint32_t> offsets;
  for (const WalkedPage& page : file.pages) {
    offsets.push_back(page.offset);
  }
  return offsets;
}

// Once the header has gone out a new file is removed by way of its page, which has to have a directory for that: a file
// that ends before its first next word stays.
bool EndsBeforeDirectory(const FileBytes& file) {
  constexpr size_t kFirstEntry = 10;
  if (file.size() < kFirstEntry) {
    return true;
  }
  const FileOrder order = file[0] == 'I' ? FileOrder::kLittle : FileOrder::kBig;
  return file.size() < kFirstEntry + size_t{GetU16(file, 8, order)} * 12 + 4;
}

bool Shortens(FaultKind kind) {
  return kind == FaultKind::kShortWrite || kind == FaultKind::kCutWrite;
}

// The undoing opens the file and reads it, but neither allocates nor, for the only page of a file, writes. Words that
// were written in part may lead it astray.
bool HindersUndoing(FaultKind kind) {
  return kind != FaultKind::kAllocation && kind != FaultKind::kWrite;
}

// A failed save into a file: the new page is out of the chain again, and a replaced one stays out. Before the new
// directory exists it cannot be taken out: the link then points to the end of the old file, and the chain ends there.
void ExpectTakenBack(const SweepOutcome& outcome, Where where) {
  if (Shortens(outcome.fault.kind)) {
    return; // a link word of which some bytes were written leads anywhere
  }
  const WalkedFile was = WalkChain(outcome.before);
  const WalkedFile is = WalkChain(outcome.after);
  const std::vector<uint32_t> whole = OffsetsOf(was);
  std::vector<uint32_t> without = whole;
  if (where == Where::kReplace) {
    without.erase(without.begin() + 1);
  }
  const auto end = static_cast<uint32_t>(outcome.before.size() + outcome.before.size() % 2);
  const uint32_t link = where == Where::kAppend ? was.pages.back().nextOffset : was.pages[1].linkOffset;
  const std::vector<uint32_t> offsets = OffsetsOf(is);
  const bool untouched = offsets == whole;
  const bool takenBack = offsets == without && is.fault.empty();
  const bool dangling = GetU32(outcome.after, link, was.order) == end;
  EXPECT_TRUE(untouched || takenBack || dangling) << is.fault;
  const bool directoryWritten = outcome.after.size() > end + 2;
  if (dangling && directoryWritten && !outcome.fault.lasting) {
    EXPECT_NE(is.fault, "") << "a whole page was not taken back";
  }
}

} // namespace

const char* NameOfPlace(Where where) {
  constexpr const char* kNames[] = {"new file", "append", "insert", "replace"};
  return kNames[static_cast<int>(where)];
}

std::vector<uint32_t> LinkedOffsets(const FileBytes& file) {
  constexpr size_t kMostPages = 20;
  const FileOrder order = file.at(0) == 'I' ? FileOrder::kLittle : FileOrder::kBig;
  std::vector<uint32_t> offsets;
  uint32_t offset = GetU32(file, 4, order);
  while (offset >= 8 && offset + 6 <= file.size() && offsets.size() < kMostPages) {
    offsets.push_back(offset);
    const size_t next = offset + 2 + size_t{12} * GetU16(file, offset, order);
    offset = next + 4 <= file.size() ? GetU32(file, next, order) : 0;
  }
  return offsets;
}

OldPages::OldPages(const FileBytes& file, size_t most, size_t edited) {
  std::vector<WalkedPage> pages = WalkChain(file).pages;
  pages.resize(std::min(most, pages.size()));
  for (size_t i = 0; i < pages.size(); ++i) {
    if (i + 1 == edited) {
      const FileOrder order = WalkChain(file).order;
      const uint32_t pieces = pages[i].entries.at(273).count;
      pages[i].ranges.erase(pages[i].ranges.begin(), pages[i].ranges.end() - pieces);
      EXPECT_EQ(pages[i].ranges.front().first, pages[i].Number(273, order));
    }
    const auto places = LastingPlaces(file, pages[i]);
    places_.insert(places_.end(), places.begin(), places.end());
  }
}

void OldPages::ExpectUnharmed(const SweepOutcome& outcome) const {
  const FileBytes& after = outcome.after;
  const auto harmed = std::find_if(places_.begin(), places_.end(), [&](const auto& place) {
    return place.first >= after.size() || after[place.first] != place.second;
  });
  if (harmed != places_.end()) {
    ADD_FAILURE() << "an old page is harmed at " << harmed->first << ", after " << outcome.place;
  }
}

void ExpectChainUnharmed(const SweepOutcome& outcome, uint32_t page) {
  if (Shortens(outcome.fault.kind)) {
    return; // a link word or an entry of which some bytes were written leads anywhere
  }
  const std::vector<uint32_t> was = LinkedOffsets(outcome.before);
  const std::vector<uint32_t> is = LinkedOffsets(outcome.after);
  // A next word that cannot be read counts as 0 and is written back so: the chain then ends at the page.
  const bool nextUnread = outcome.mayDiffer && !outcome.failed;
  EXPECT_GE(is.size(), nextUnread ? page : was.size()) << "after " << outcome.place;
  EXPECT_LE(is.size(), was.size()) << "after " << outcome.place;
  for (size_t i = 0; i < std::min(is.size(), was.size()); ++i) {
    EXPECT_TRUE(is[i] == was[i] || i + 1 == page) << "page " << i + 1 << " is elsewhere, after " << outcome.place;
  }
  if (outcome.failed && page <= is.size()) {
    EXPECT_EQ(is[page - 1], was[page - 1]) << "the page has moved, after " << outcome.place;
  }
}

bool BeginsAnew(const SweepOutcome& outcome) {
  return PlaceMatches("open.edit", outcome.place.c_str()) || PlaceMatches("header*", outcome.place.c_str()) ||
         PlaceMatches("seek.end*", outcome.place.c_str());
}

void CheckSavedFile(const SweepOutcome& outcome, Where where, const OldPages& pages) {
  if (!outcome.failed && !outcome.mayDiffer) {
    EXPECT_EQ(outcome.after, outcome.without) << "the file is another, after " << outcome.place;
    return;
  }
  if (where == Where::kNewFile) {
    if (outcome.failed) {
      const bool undone = !outcome.fault.lasting || !HindersUndoing(outcome.fault.kind);
      EXPECT_TRUE(!outcome.exists || !undone || EndsBeforeDirectory(outcome.after))
          << "the new file was not removed, after " << outcome.place;
    }
    return;
  }
  if (!outcome.exists || outcome.after.size() < outcome.before.size() || BeginsAnew(outcome)) {
    EXPECT_TRUE(BeginsAnew(outcome)) << "a TIFF file was written over, after " << outcome.place;
    return;
  }
  pages.ExpectUnharmed(outcome);
  if (outcome.failed) {
    ExpectTakenBack(outcome, where);
  }
}
