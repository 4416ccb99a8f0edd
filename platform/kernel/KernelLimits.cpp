// Limits and statistics: the defaults, and the calls by which a host sets the ones and reads the others.
//
// Used by memory, files and bitmaps, which test the limits and count as they go.

#include "KernelLimits.h"

namespace kernel {
namespace {

constexpr uint64_t kKiB = 1024;
constexpr uint64_t kMiB = 1024 * kKiB;
constexpr uint64_t kGiB = 1024 * kMiB;

// Memory. What a file makes an operation allocate is in proportion to what it decodes to, and no decoder of the filter
// expands by more than 2730 (LZW: up to 4096 bytes from a code of 12 bits). That, and a quarter of a gibibyte for
// tables and for saves, is all that an honest file needs, and a small hostile one cannot ask for more. A save that
// needs more for its tiles has a host that can say so. `most` leaves a 32-bit process room for its pixels. Pixels are
// the host's own wish: it looks at a page's size before it makes a bitmap, so they are only kept below what such a
// system has at all.
//
// Budgets. The densest honest file is a chain of directories of one entry (18 bytes): 57 of them in a KiB, each passed
// with two reads and two seeks; and a table of SHORTs read one at a time, 512 reads in a KiB. 1024 operations a KiB
// allow for both, twice. The base is for what does not depend on the size, and is small enough that 1 KiB of looping
// chain is done with within a few milliseconds, and within some 30 when every turn writes a page (a compaction). `most`
// ends large hostile files: 8 million operations, each of which misses the buffer or is answered by a write, take some
// 5 seconds; a million pages are counted with 2 million of them and compacted with 6 million.
// Bytes: an honest operation reads a file once or twice; strips that share their bytes are the exception that the
// factor per KiB allows for. Half a gibibyte is what the slowest decoder gets through within 10 seconds. Files that are
// larger themselves may be read three times over.
constexpr bool kWideAddresses = sizeof(void*) > 4;
constexpr uint64_t kBytesPerKiBDecoded = 2730 * kKiB;

constexpr KrnLimits kDefaultLimits = {
    .liveBytes = {256 * kMiB, kBytesPerKiBDecoded, kWideAddresses ? 16 * kGiB : kGiB, 0},
    .blockBytes = kWideAddresses ? 8 * kGiB : kGiB,
    .pixelBytes = kWideAddresses ? 16 * kGiB : kGiB,
    .openHandles = 512,
    .reserved = 0,
    .reads = {32 * kKiB, 1024, 8 * kMiB, 0},
    .seeks = {32 * kKiB, 1024, 8 * kMiB, 0},
    .bytesRead = {2 * kMiB, kMiB, 512 * kMiB, 3 * kKiB},
};

} // namespace

KrnLimits limits = kDefaultLimits;
KrnStatistics statistics = {};
uint64_t openFileBytes = 0;

uint64_t BudgetFor(const KrnBudget& budget, uint64_t bytes) {
  const uint64_t units = BudgetUnits(bytes);
  uint64_t allowed = 0;
  if (__builtin_mul_overflow(budget.perKiB, units, &allowed) ||
      __builtin_add_overflow(allowed, budget.base, &allowed) || allowed > budget.most) {
    allowed = budget.most;
  }
  uint64_t least = 0;
  if (__builtin_mul_overflow(budget.leastPerKiB, units, &least)) {
    least = UINT64_MAX;
  }
  return allowed > least ? allowed : least;
}

} // namespace kernel

using kernel::limits;
using kernel::statistics;

void krnSetLimits(const KrnLimits* newLimits) {
  limits = newLimits != nullptr ? *newLimits : kernel::kDefaultLimits;
}

void krnGetLimits(KrnLimits* current) {
  if (current != nullptr) {
    *current = limits;
  }
}

void krnGetStatistics(KrnStatistics* current) {
  if (current != nullptr) {
    *current = statistics;
  }
}

void krnResetStatistics() {
  const KrnStatistics before = statistics;
  statistics = {};
  statistics.liveBlocks = before.liveBlocks;
  statistics.liveBytes = before.liveBytes;
  statistics.pixelBytes = before.pixelBytes;
  statistics.peakBytes = before.liveBytes;
  statistics.openHandles = before.openHandles;
}
