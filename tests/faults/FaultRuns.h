// Runs an operation again and again, each time with another of its allocations or file calls failing, once or from then
// on, until the place of the fault lies behind its last call.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>

#include "support/TempFile.h"
#include "support/TiffBuilder.h"

enum class FaultKind { kAllocation, kOpen, kRead, kShortRead, kSeek, kWrite, kShortWrite };

struct FaultCase {
  FaultKind kind;
  bool persistent;
  uint64_t nth;
};

struct FaultedOperation {
  std::string name;
  bool fileExists = true;
  FileBytes file;         // before the call
  std::set<int32_t> told; // the codes that it may give
  std::function<int32_t(const char16_t* name)> run;
  // Looks at what a call has left behind. `after` is empty when the file is gone.
  std::function<void(const FaultCase& fault, int32_t result, bool exists, const FileBytes& after)> check;
};

void RunWithFaults(const FaultedOperation& operation);
