// What a file looks like after a call that wrote to it has met a fault.
#pragma once

#include "faults/FaultSweep.h"

enum class Where { kNewFile, kAppend, kInsert, kReplace }; // a page: on its own, behind the others, at page 2
constexpr Where kEverywhere[] = {Where::kNewFile, Where::kAppend, Where::kInsert, Where::kReplace};
const char* NameOfPlace(Where where);

// The pages of a file: they stand where they stood, byte for byte, but for links, numbers and marks.
class OldPages {
public:
  // The first `most` pages; of page `edited`, counted from 1, the image data alone.
  explicit OldPages(const FileBytes& file, size_t most = SIZE_MAX, size_t edited = 0);
  void ExpectUnharmed(const SweepOutcome& outcome) const;

private:
  std::vector<std::pair<uint32_t, uint8_t>> places_;
};

// The places that the words of the chain lead to, whatever stands in the directories otherwise.
std::vector<uint32_t> LinkedOffsets(const FileBytes& file);

// After an edit of a page: unless the one write that moves it was cut, the chain leads to the other pages, and to the
// page at its old place or at a new one.
void ExpectChainUnharmed(const SweepOutcome& outcome, uint32_t page);

// True for faults at which a file counts as absent, or as no TIFF: it is begun anew.
bool BeginsAnew(const SweepOutcome& outcome);

// After a save: a whole outcome, a new file removed, or the page taken back.
void CheckSavedFile(const SweepOutcome& outcome, Where where, const OldPages& pages);
