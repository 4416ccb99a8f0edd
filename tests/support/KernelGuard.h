// Guards of the kernel's state around a test: nothing may be left allocated or open, and no limit, hook or redirection
// may outlive its scope.
#pragma once

#include <vxkernel/limits.h>

// Fails the test at the end of its scope when blocks or handles are left over that were not there at its begin.
class KernelGuard {
public:
  KernelGuard();
  ~KernelGuard();
  KernelGuard(const KernelGuard&) = delete;
  KernelGuard& operator=(const KernelGuard&) = delete;

private:
  KrnStatistics before_;
};

// File and memory calls since it was made.
class CallCounter {
public:
  CallCounter();
  KrnStatistics Since() const;

private:
  KrnStatistics before_;
};

enum class IoCall { kOpen, kRead, kWrite, kSeek, kClose };
enum class FaultSpan { kOnce, kFromThenOn };

// Lets chosen file calls fail. Calls of each kind are counted from 1 since the object was made or last reset.
class IoFaults {
public:
  IoFaults();
  ~IoFaults();
  IoFaults(const IoFaults&) = delete;
  IoFaults& operator=(const IoFaults&) = delete;

  // The nth call fails: an open gives -1, a seek and a read kKrnIoFailed, a write 0 bytes.
  void Fail(IoCall call, uint64_t nth, FaultSpan span = FaultSpan::kOnce);
  // The nth read or write moves `bytes` bytes at most.
  void Shorten(IoCall call, uint64_t nth, uint32_t bytes, FaultSpan span = FaultSpan::kOnce);
  void Reset(); // no faults, counts from 0
  uint64_t Calls(IoCall call) const;

private:
  struct Plan {
    uint64_t nth = 0; // 0: none
    FaultSpan span = FaultSpan::kOnce;
    uint32_t bytes = 0;
    uint64_t calls = 0;
  };
  static constexpr int kCallKinds = 5;
  bool Strikes(IoCall call);
  void Exchange();

  static VxFileHandle Open(const char16_t* name, uint32_t flags, uint32_t shareMode, void* self);
  static uint32_t Read(VxFileHandle handle, void* buffer, uint32_t n, void* self);
  static uint32_t Write(VxFileHandle handle, const void* buffer, uint32_t n, void* self);
  static uint32_t Seek(VxFileHandle handle, int32_t offset, uint32_t whence, void* self);
  static int32_t Close(VxFileHandle handle, void* self);

  Plan plans_[kCallKinds];
  // While installed these slots hold the callbacks that were there before.
  KrnOpenFn open_ = Open;
  KrnReadFn read_ = Read;
  KrnWriteFn write_ = Write;
  KrnSeekFn seek_ = Seek;
  KrnCloseFn close_ = Close;
  void* data_[kCallKinds];
};

// Lets the nth allocation from now on fail, once or from then on. nth 0: only counts.
class AllocFaults {
public:
  explicit AllocFaults(uint64_t nth, FaultSpan span = FaultSpan::kOnce);
  ~AllocFaults();
  AllocFaults(const AllocFaults&) = delete;
  AllocFaults& operator=(const AllocFaults&) = delete;
  uint64_t Calls() const { return calls_; }

private:
  static int32_t Ask(size_t bytes, int32_t line, const char* sourceModule, void* self);
  uint64_t nth_;
  FaultSpan span_;
  uint64_t calls_ = 0;
};

// Other limits until the end of the scope.
class LimitsGuard {
public:
  explicit LimitsGuard(const KrnLimits& limits);
  ~LimitsGuard();
  LimitsGuard(const LimitsGuard&) = delete;
  LimitsGuard& operator=(const LimitsGuard&) = delete;

private:
  KrnLimits before_;
};
