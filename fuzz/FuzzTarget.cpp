// One input through a target: see the header.

#include "FuzzTarget.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <vxkernel/limits.h>
#include <vxkernel/loader.h>

namespace {

constexpr uint64_t kKiB = 1024;
constexpr uint64_t kMiB = 1024 * kKiB;

// Processor time, so that a busy machine finds nothing. The sanitizers cost a factor of some 20 over the release build,
// which is done with any input of this size within a few hundredths of a second.
constexpr double kMostSeconds = 4;

// Tighter than the defaults, so that hostile inputs are over soon and failed allocations and reads are met often.
void SetHostLimits() {
  KrnLimits limits;
  krnSetLimits(nullptr);
  krnGetLimits(&limits);
  limits.liveBytes = {16 * kMiB, 512 * kKiB, 64 * kMiB, 0};
  limits.blockBytes = 32 * kMiB;
  limits.pixelBytes = 32 * kMiB;
  limits.openHandles = 16;
  limits.reads = {8 * kKiB, kKiB, kMiB, 0};
  limits.seeks = {8 * kKiB, kKiB, kMiB, 0};
  limits.bytesRead = {kMiB, 64 * kKiB, 16 * kMiB, 4 * kKiB};
  krnSetLimits(&limits);
}

// Once: a sibling library stays loaded anyway.
void AddSiblings() {
  static const int32_t added = krnAddLibraryFolder(VX_FUZZ_SIBLINGS);
  if (added != 1) {
    FailFuzzInput("the folder of sibling libraries cannot be added");
  }
}

int32_t PrintBlock(const void*, size_t bytes, int32_t line, const char* sourceModule, void*) {
  std::fprintf(stderr, "  %zu bytes from %s:%d\n", bytes, sourceModule, line);
  return 1;
}

double Seconds() {
  return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

} // namespace

void FailFuzzInput(const char* what) {
  std::fprintf(stderr, "fuzz: %s\n", what);
  std::fflush(stderr);
  std::abort();
}

void RunFuzzInput(const FuzzTarget& target, std::span<const uint8_t> input) {
  SetHostLimits();
  AddSiblings();
  KrnStatistics before;
  krnGetStatistics(&before);
  const double start = Seconds();
  target.run(input);
  if (Seconds() - start > kMostSeconds) {
    FailFuzzInput("the input took too long");
  }
  KrnStatistics after;
  krnGetStatistics(&after);
  if (after.openHandles != before.openHandles) {
    FailFuzzInput("a file handle was left open");
  }
  if (after.liveBlocks != before.liveBlocks || after.liveBytes != before.liveBytes) {
    krnVisitBlocks(PrintBlock, nullptr);
    FailFuzzInput("memory was left allocated");
  }
}
