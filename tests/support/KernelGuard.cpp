// Guards of the kernel's state: see the header.

#include "support/KernelGuard.h"

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace {

int32_t DescribeBlock(const void*, size_t bytes, int32_t line, const char* sourceModule, void* userData) {
  auto& text = *static_cast<std::ostringstream*>(userData);
  text << "\n  " << bytes << " bytes from " << sourceModule << ":" << line;
  return 1;
}

uint64_t injectedFaults = 0; // faults that were set and struck, each counted once

class TellFaultsAtEnd : public testing::Environment {
public:
  void TearDown() override {
    if (injectedFaults != 0) {
      std::printf("injected faults: %llu\n", static_cast<unsigned long long>(injectedFaults));
    }
  }
};

const testing::Environment* const tellFaultsAtEnd = testing::AddGlobalTestEnvironment(new TellFaultsAtEnd);

} // namespace

KernelGuard::KernelGuard() {
  krnGetStatistics(&before_);
}

KernelGuard::~KernelGuard() {
  KrnStatistics now;
  krnGetStatistics(&now);
  EXPECT_EQ(now.openHandles, before_.openHandles) << "file handles left open";
  if (now.liveBlocks != before_.liveBlocks) {
    std::ostringstream blocks;
    krnVisitBlocks(DescribeBlock, &blocks);
    ADD_FAILURE() << before_.liveBlocks << " live blocks at first, now " << now.liveBlocks << ":" << blocks.str();
  }
}

CallCounter::CallCounter() {
  krnGetStatistics(&before_);
}

KrnStatistics CallCounter::Since() const {
  KrnStatistics now;
  krnGetStatistics(&now);
  now.allocations -= before_.allocations;
  now.opens -= before_.opens;
  now.reads -= before_.reads;
  now.writes -= before_.writes;
  now.seeks -= before_.seeks;
  now.closes -= before_.closes;
  return now;
}

IoFaults::IoFaults() {
  std::fill(std::begin(data_), std::end(data_), this);
  Exchange();
}

IoFaults::~IoFaults() {
  Exchange();
}

void IoFaults::Exchange() {
  krnRedirectIo(&open_, &read_, &write_, &seek_, &close_, &data_[0], &data_[1], &data_[2], &data_[3], &data_[4]);
}

void IoFaults::Fail(IoCall call, uint64_t nth, FaultSpan span) {
  Shorten(call, nth, 0, span);
}

void IoFaults::Shorten(IoCall call, uint64_t nth, uint32_t bytes, FaultSpan span) {
  Plan& plan = plans_[static_cast<int>(call)];
  plan.nth = nth;
  plan.span = span;
  plan.bytes = bytes;
}

void IoFaults::Reset() {
  std::fill(std::begin(plans_), std::end(plans_), Plan{});
}

uint64_t IoFaults::Calls(IoCall call) const {
  return plans_[static_cast<int>(call)].calls;
}

bool IoFaults::Strikes(IoCall call) {
  Plan& plan = plans_[static_cast<int>(call)];
  ++plan.calls;
  injectedFaults += plan.calls == plan.nth ? 1 : 0;
  return plan.nth != 0 && (plan.calls == plan.nth || (plan.calls > plan.nth && plan.span == FaultSpan::kFromThenOn));
}

VxFileHandle IoFaults::Open(const char16_t* name, uint32_t flags, uint32_t shareMode, void* self) {
  auto& faults = *static_cast<IoFaults*>(self);
  return faults.Strikes(IoCall::kOpen) ? kKrnNoHandle : faults.open_(name, flags, shareMode, faults.data_[0]);
}

uint32_t IoFaults::Read(VxFileHandle handle, void* buffer, uint32_t n, void* self) {
  auto& faults = *static_cast<IoFaults*>(self);
  if (faults.Strikes(IoCall::kRead)) {
    const uint32_t bytes = faults.plans_[static_cast<int>(IoCall::kRead)].bytes;
    return bytes == 0 ? kKrnIoFailed : faults.read_(handle, buffer, std::min(bytes, n), faults.data_[1]);
  }
  return faults.read_(handle, buffer, n, faults.data_[1]);
}

uint32_t IoFaults::Write(VxFileHandle handle, const void* buffer, uint32_t n, void* self) {
  auto& faults = *static_cast<IoFaults*>(self);
  if (faults.Strikes(IoCall::kWrite)) {
    const uint32_t bytes = faults.plans_[static_cast<int>(IoCall::kWrite)].bytes;
    return bytes == 0 ? 0 : faults.write_(handle, buffer, std::min(bytes, n), faults.data_[2]);
  }
  return faults.write_(handle, buffer, n, faults.data_[2]);
}

uint32_t IoFaults::Seek(VxFileHandle handle, int32_t offset, uint32_t whence, void* self) {
  auto& faults = *static_cast<IoFaults*>(self);
  return faults.Strikes(IoCall::kSeek) ? kKrnIoFailed : faults.seek_(handle, offset, whence, faults.data_[3]);
}

int32_t IoFaults::Close(VxFileHandle handle, void* self) {
  auto& faults = *static_cast<IoFaults*>(self);
  faults.Strikes(IoCall::kClose); // counted only: a close that fails would leave the test's own files open
  return faults.close_(handle, faults.data_[4]);
}

AllocFaults::AllocFaults(uint64_t nth, FaultSpan span) : nth_(nth), span_(span) {
  krnSetAllocHook(Ask, this);
}

AllocFaults::~AllocFaults() {
  krnSetAllocHook(nullptr, nullptr);
}

int32_t AllocFaults::Ask(size_t, int32_t, const char*, void* self) {
  auto& faults = *static_cast<AllocFaults*>(self);
  ++faults.calls_;
  injectedFaults += faults.calls_ == faults.nth_ ? 1 : 0;
  const bool strikes = faults.nth_ != 0 && (faults.calls_ == faults.nth_ ||
                                            (faults.calls_ > faults.nth_ && faults.span_ == FaultSpan::kFromThenOn));
  return strikes ? 0 : 1;
}

LimitsGuard::LimitsGuard(const KrnLimits& limits) {
  krnGetLimits(&before_);
  krnSetLimits(&limits);
}

LimitsGuard::~LimitsGuard() {
  krnSetLimits(&before_);
}
