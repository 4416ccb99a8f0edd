// Runs an operation again and again, each time with another of its allocations or file calls failing, once or from then
// on, until the place of the fault lies behind its last call. What the operation may answer is told by tables: a fault
// of one kind at one place of the file (or in one source file, for allocations) has its code, nearly always a single
// one. A fault that no table tells of fails the test.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "faults/FaultDisk.h"
#include "faults/FilePlaces.h"

// Kinds of a table row, to be ORed.
constexpr unsigned BitOf(FaultKind kind) {
  return 1u << static_cast<unsigned>(kind);
}
constexpr unsigned kAllocs = BitOf(FaultKind::kAllocation);
constexpr unsigned kOpens = BitOf(FaultKind::kOpen);
constexpr unsigned kReadFails = BitOf(FaultKind::kRead);
constexpr unsigned kReadsOne = BitOf(FaultKind::kShortRead);
constexpr unsigned kReadsAllButOne = BitOf(FaultKind::kCutRead);
constexpr unsigned kReadShort = kReadsOne | kReadsAllButOne;
constexpr unsigned kReads = kReadFails | kReadShort;
constexpr unsigned kSeeks = BitOf(FaultKind::kSeek);
constexpr unsigned kWrites = BitOf(FaultKind::kWrite) | BitOf(FaultKind::kShortWrite) | BitOf(FaultKind::kCutWrite);

enum class Aftermath {
  kSame,   // a call that succeeds nevertheless has the outcome that it has without the fault
  kDiffers // it succeeds with another outcome: the failure is passed over, or something is left out
};

struct ToldCode {
  unsigned kinds;
  // Of FilePlaces, after "skip." for seeks forward; "tell@place" for questions for the position; "open.read" and its
  // fellows, "seek.end", "memory"; or a source file's name. From the second on, allocations of a file, questions and
  // seeks to the end bear their number: "tell.2@place". "to:" stands before places of the second file.
  std::string place;
  std::vector<int32_t> codes; // kPasses: the result that the operation has without the fault
  Aftermath aftermath = Aftermath::kSame;
  std::vector<int32_t> lasting = {}; // when calls of the kind fail from then on, where that is another matter
  uint32_t visit = 0;                // of several calls at this place the one that is meant; 0: all
};
using ToldCodes = std::vector<ToldCode>; // the first row that fits counts

constexpr int32_t kPasses = INT32_MAX;

// One call of the operation under test.
struct SweepCall {
  FaultDisk& disk;
  bool twin;      // of two names of an export the second
  FileBytes seen; // what the caller got: pixels, values
  const char16_t* Name(int file = 0) const { return disk.Name(file); }
  // The calls that follow are those of this export; gives `twin`.
  bool Enter(const char* publicName, const char* twinName);
  void Enter(const char* name) { disk.Enter(name); }
  void See(const void* data, size_t bytes);
  template <typename Value> void See(const Value& value) { See(&value, sizeof value); }
};

struct SweepOutcome {
  const FaultCase& fault;
  const std::vector<FaultSite>& struck;
  int32_t result;
  bool failed;    // the result is not the one without faults
  bool mayDiffer; // a struck place leaves another outcome
  bool exists;
  const FileBytes& before;
  const FileBytes& after;   // empty when the file is gone
  const FileBytes& without; // the file as it is without faults
  std::string place;        // of the first fault
};

struct Sweep {
  std::string name;
  bool exists = true; // the first file
  FileBytes file;
  bool otherExists = false;
  FileBytes other;
  bool hasTwin = true;
  std::vector<const ToldCodes*> told;
  std::function<int32_t(SweepCall&)> run;
  // Looks at the first file after each call; by default it must be as it was before.
  std::function<void(const SweepOutcome&)> check = {};
  int checkedFile = 0;
};

void RunSweep(const Sweep& sweep);

// For the exports that make no such call: they were called while everything failed.
void CountSilentExport(const char* name);
