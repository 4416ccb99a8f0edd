// The sweeps: see the header.

#include "faults/FaultSweep.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "support/KernelGuard.h"

namespace {

constexpr uint64_t kMostCalls = 5000; // an operation on these files that needs more never ends
constexpr uint64_t kLeastFaults = 50000;

std::map<std::string, uint64_t> faultsOfExport;
std::set<std::string> silentExports;

std::vector<std::string> ExportNames() {
  std::vector<std::string> names;
  std::ifstream list(VX_EXPORTS_LIST);
  for (std::string line; std::getline(list, line);) {
    std::istringstream words(line);
    int ordinal = 0;
    std::string name;
    if (line.rfind('#', 0) != 0 && words >> ordinal >> name) {
      names.push_back(name);
    }
  }
  return names;
}

// Prints the faults of each export; a whole run has struck all of them, and often enough.
class TellAtEnd : public testing::Environment {
public:
  void TearDown() override {
    uint64_t all = 0;
    const std::vector<std::string> names = ExportNames();
    for (const std::string& name : names) {
      const uint64_t faults = faultsOfExport[name];
      std::printf("  %-24s %8llu%s\n", name.c_str(), static_cast<unsigned long long>(faults),
                  silentExports.count(name) != 0 ? " (makes no call that could fail)" : "");
      all += faults;
    }
    std::printf("injected faults: %llu\n", static_cast<unsigned long long>(all));
    if (std::string(testing::GTEST_FLAG(filter)) != "*") {
      return;
    }
    EXPECT_EQ(names.size(), 41u);
    EXPECT_GE(all, kLeastFaults);
    for (const std::string& name : names) {
      EXPECT_TRUE(faultsOfExport[name] != 0 || silentExports.count(name) != 0) << name << " was not tried";
    }
  }
};

const testing::Environment* const tellAtEnd = testing::AddGlobalTestEnvironment(new TellAtEnd);

std::string OpenName(uint32_t flags) {
  switch (flags) {
  case kKrnFileRead:
    return "open.read";
  case kKrnFileReadWrite:
    return "open.edit";
  case kKrnFileReadWrite | kKrnFileCreate:
    return "open.create";
  case kKrnFileWrite | kKrnFileCreate:
    return "open.keep";
  default:
    return "open." + std::to_string(flags);
  }
}

std::string ModuleName(const char* module) {
  const char* const dot = std::strchr(module, '.');
  return dot == nullptr ? std::string(module) : std::string(module, dot);
}

// The first of several like calls bears the bare name, the others their number.
std::string Numbered(const std::string& name, uint32_t number) {
  return number == 1 ? name : name + "." + std::to_string(number);
}

std::string PlaceOf(const FaultSite& site, const FilePlaces* places) {
  if (site.kind == FaultKind::kAllocation) {
    return Numbered(ModuleName(site.module), site.number);
  }
  const std::string prefix = site.file == 1 ? "to:" : "";
  if (site.kind == FaultKind::kOpen) {
    return prefix + OpenName(site.openFlags);
  }
  if (site.file == kInMemory) {
    return "memory";
  }
  if (site.kind == FaultKind::kSeek && site.whence == kKrnSeekEnd) {
    return prefix + Numbered("seek.end", site.number);
  }
  if (site.kind == FaultKind::kSeek && site.size == 0) {
    return prefix + Numbered("tell", site.number) + "@" + places[site.file].At(site.at);
  }
  const bool skips = site.kind == FaultKind::kSeek && site.whence == kKrnSeekCurrent;
  return prefix + (skips ? "skip." : "") + places[site.file].At(site.at);
}

// What the tables tell about the faults that have struck. A fault that the operation must not survive decides; what
// it passes over leaves the word to the next one.
struct Expectation {
  std::set<int32_t> results;
  bool mayDiffer = false;
  std::string places; // for messages
  std::string untold; // a place that no table tells of
};

const ToldCode* Find(const Sweep& sweep, const FaultSite& site, const std::string& place) {
  for (const ToldCodes* table : sweep.told) {
    for (const ToldCode& row : *table) {
      const bool fits = (row.kinds & BitOf(site.kind)) != 0 && (row.visit == 0 || row.visit == site.visit);
      if (fits && PlaceMatches(row.place.c_str(), place.c_str())) {
        return &row;
      }
    }
  }
  return nullptr;
}

Expectation Expect(const Sweep& sweep, const FaultCase& fault, const std::vector<FaultSite>& struck,
                   const FilePlaces* places, int32_t passes) {
  Expectation expectation;
  bool survives = true;
  for (size_t i = 0; i < struck.size() && survives; ++i) {
    const std::string place = PlaceOf(struck[i], places);
    if (i < 6) {
      expectation.places += (i == 0 ? "" : ", ") + place;
    }
    const ToldCode* const row = Find(sweep, struck[i], place);
    if (row == nullptr) {
      expectation.untold = place;
      return expectation;
    }
    const std::vector<int32_t>& codes = fault.lasting && !row->lasting.empty() ? row->lasting : row->codes;
    survives = std::find(codes.begin(), codes.end(), kPasses) != codes.end();
    for (const int32_t code : codes) {
      if (code != kPasses) {
        expectation.results.insert(code);
      }
    }
    expectation.mayDiffer = expectation.mayDiffer || row->aftermath == Aftermath::kDiffers;
  }
  if (survives) {
    expectation.results.insert(passes);
  }
  return expectation;
}

struct Attempt {
  int32_t result = 0;
  FileBytes seen;
};

// One call on fresh files, and what it leaves behind.
Attempt RunOnce(const Sweep& sweep, FaultDisk& disk, const FaultCase& fault, bool twin) {
  disk.Put(0, sweep.file);
  disk.Put(1, sweep.other);
  if (!sweep.exists) {
    disk.Remove(0);
  }
  if (!sweep.otherExists) {
    disk.Remove(1);
  }
  KernelGuard guard;
  SweepCall call = {disk, twin, {}};
  disk.Arm(fault);
  const int32_t result = sweep.run(call);
  disk.Lift();
  EXPECT_EQ(disk.OpenHandles(), 0u) << "file handles left open";
  disk.CloseAll();
  return {result, std::move(call.seen)};
}

struct Unfaulted {
  Attempt attempt;
  FileBytes file;
  FilePlaces places[FaultDisk::kFiles];
};

Unfaulted RunWithoutFaults(const Sweep& sweep, FaultDisk& disk, bool twin) {
  Unfaulted plain;
  plain.attempt = RunOnce(sweep, disk, {}, twin);
  const FileBytes none;
  plain.file = disk.Exists(sweep.checkedFile) ? disk.Bytes(sweep.checkedFile) : FileBytes{};
  plain.places[0] = FilePlaces(sweep.exists ? sweep.file : none, disk.Exists(0) ? disk.Bytes(0) : none);
  plain.places[1] = FilePlaces(sweep.otherExists ? sweep.other : none, disk.Exists(1) ? disk.Bytes(1) : none);
  return plain;
}

std::string Listed(const std::set<int32_t>& codes) {
  std::string text;
  for (const int32_t code : codes) {
    text += (text.empty() ? "" : ", ") + std::to_string(code);
  }
  return text;
}

// False when the fault lay behind the last call.
bool TryFault(const Sweep& sweep, FaultDisk& disk, const FaultCase& fault, bool twin, const Unfaulted& plain) {
  const Attempt attempt = RunOnce(sweep, disk, fault, twin);
  const std::vector<FaultSite>& struck = disk.Struck();
  if (struck.empty()) {
    EXPECT_EQ(attempt.result, plain.attempt.result) << "nothing failed";
    return false;
  }
  const Expectation told = Expect(sweep, fault, struck, plain.places, plain.attempt.result);
  EXPECT_EQ(told.untold, "") << "no code is told, result " << attempt.result << " after " << told.places;
  EXPECT_TRUE(told.results.count(attempt.result) != 0 || !told.untold.empty())
      << "result " << attempt.result << ", told are " << Listed(told.results) << ", after " << told.places;
  const bool failed = attempt.result != plain.attempt.result;
  if (!failed && !told.mayDiffer) {
    EXPECT_EQ(attempt.seen, plain.attempt.seen) << "the caller got something else, after " << told.places;
  }
  const bool exists = disk.Exists(sweep.checkedFile);
  const FileBytes none;
  const FileBytes& after = exists ? disk.Bytes(sweep.checkedFile) : none;
  const FileBytes& before = sweep.checkedFile == 0 ? sweep.file : sweep.other;
  if (sweep.check) {
    sweep.check({fault, struck, attempt.result, failed, told.mayDiffer, exists, before, after, plain.file,
                 PlaceOf(struck.front(), plain.places)});
  } else {
    EXPECT_TRUE(exists && after == before) << "the file has changed, after " << told.places;
  }
  if (sweep.checkedFile == 1) {
    EXPECT_EQ(disk.Bytes(0), sweep.file) << "the file that is only read has changed";
  }
  faultsOfExport[struck.front().inExport] += 1;
  return true;
}

void RunKind(const Sweep& sweep, FaultDisk& disk, FaultKind kind, bool twin, const Unfaulted& plain) {
  for (const bool lasting : {false, true}) {
    for (uint64_t nth = 1;; ++nth) {
      const FaultCase fault = {kind, lasting, nth};
      SCOPED_TRACE(sweep.name + (twin ? ", twin: " : ": ") + NameOfKind(kind) + " " + std::to_string(nth) +
                   (lasting ? " and all behind" : ""));
      const bool struck = TryFault(sweep, disk, fault, twin, plain);
      EXPECT_LE(nth, kMostCalls) << "the operation does not end";
      if (!struck || nth > kMostCalls) {
        break;
      }
    }
  }
}

} // namespace

bool SweepCall::Enter(const char* publicName, const char* twinName) {
  disk.Enter(twin ? twinName : publicName);
  return twin;
}

void SweepCall::See(const void* data, size_t bytes) {
  const auto* const first = static_cast<const uint8_t*>(data);
  seen.insert(seen.end(), first, first + bytes);
}

void RunSweep(const Sweep& sweep) {
  FaultDisk disk;
  for (const bool twin : {false, true}) {
    if (twin && !sweep.hasTwin) {
      continue;
    }
    const Unfaulted plain = RunWithoutFaults(sweep, disk, twin);
    ASSERT_GE(plain.attempt.result, 1) << sweep.name << " fails without a fault";
    for (int kind = 0; kind < kFaultKinds; ++kind) {
      RunKind(sweep, disk, static_cast<FaultKind>(kind), twin, plain);
    }
  }
}

void CountSilentExport(const char* name) {
  silentExports.insert(name);
}
