// The limits and counters that all parts of the kernel share. limits.h tells what they mean to a host.
//
// Plain variables without locks or atomics, as everything in the kernel: the toolkit makes one call at a time.
#pragma once

#include "vxkernel/limits.h"

namespace kernel {

extern KrnLimits limits;
extern KrnStatistics statistics;
extern uint64_t openFileBytes; // sizes of all open files together, kept by the file handles

// The measure of budgets: a file's size in KiB, rounded up.
constexpr uint64_t BudgetUnits(uint64_t bytes) {
  return bytes / 1024 + (bytes % 1024 != 0 ? 1 : 0);
}

// What `budget` allows for a file of `bytes`.
uint64_t BudgetFor(const KrnBudget& budget, uint64_t bytes);

} // namespace kernel
