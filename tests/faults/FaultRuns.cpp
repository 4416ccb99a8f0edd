// The runs with faults: see the header.

#include "faults/FaultRuns.h"

#include <memory>

#include <gtest/gtest.h>

#include "support/KernelGuard.h"

namespace {

constexpr uint64_t kMostCalls = 20000; // an operation that needs more never ends
constexpr const char* kKindNames[] = {"allocation", "open", "read", "short read", "seek", "write", "short write"};

// One call with the fault in place. `struck` tells whether the call came as far.
int32_t RunOnce(const FaultedOperation& operation, const FaultCase& fault, const char16_t* name, bool& struck) {
  const FaultSpan span = fault.persistent ? FaultSpan::kFromThenOn : FaultSpan::kOnce;
  if (fault.kind == FaultKind::kAllocation) {
    AllocFaults faults(fault.nth, span);
    const int32_t result = operation.run(name);
    struck = faults.Calls() >= fault.nth;
    return result;
  }
  IoFaults faults;
  IoCall call = IoCall::kOpen;
  switch (fault.kind) {
  case FaultKind::kRead:
  case FaultKind::kShortRead:
    call = IoCall::kRead;
    break;
  case FaultKind::kSeek:
    call = IoCall::kSeek;
    break;
  case FaultKind::kWrite:
  case FaultKind::kShortWrite:
    call = IoCall::kWrite;
    break;
  default:
    break;
  }
  if (fault.kind == FaultKind::kShortRead || fault.kind == FaultKind::kShortWrite) {
    faults.Shorten(call, fault.nth, 1, span);
  } else {
    faults.Fail(call, fault.nth, span);
  }
  const int32_t result = operation.run(name);
  struck = faults.Calls(call) >= fault.nth;
  return result;
}

} // namespace

void RunWithFaults(const FaultedOperation& operation) {
  for (int kind = 0; kind < static_cast<int>(std::size(kKindNames)); ++kind) {
    for (const bool persistent : {false, true}) {
      bool struck = true;
      for (uint64_t nth = 1; struck; ++nth) {
        const FaultCase fault = {static_cast<FaultKind>(kind), persistent, nth};
        SCOPED_TRACE(operation.name + ": " + kKindNames[kind] + " " + std::to_string(nth) +
                     (persistent ? " and all behind" : ""));
        std::unique_ptr<TempFile> file =
            operation.fileExists ? std::make_unique<TempFile>(operation.file) : std::make_unique<TempFile>();
        KernelGuard guard;
        const int32_t result = RunOnce(operation, fault, file->Name(), struck);
        EXPECT_TRUE(operation.told.count(result) != 0) << "result " << result;
        if (!struck) {
          EXPECT_GE(result, 1) << "nothing failed";
        }
        const bool exists = file->Exists();
        operation.check(fault, result, exists, exists ? file->Read() : FileBytes{});
        if (testing::Test::HasFailure() || nth > kMostCalls) {
          EXPECT_LE(nth, kMostCalls);
          return;
        }
      }
    }
  }
}
