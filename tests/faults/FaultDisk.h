// Files in memory behind the kernel's file calls, and the faults that strike them: one chosen allocation, open, read,
// seek or write of an operation fails, once or from then on, and the disk notes where. Reads and writes of the
// filter's own memory files pass through it too.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <vxkernel/vxkernel.h>

#include "support/TempFile.h"
#include "support/TiffBuilder.h"

enum class FaultKind {
  kAllocation,
  kOpen,
  kRead,       // fails
  kShortRead,  // moves one byte
  kCutRead,    // moves all bytes but one
  kSeek,       // fails, and the position stays
  kWrite,      // fails
  kShortWrite, // moves one byte
  kCutWrite    // moves all bytes but one
};
constexpr int kFaultKinds = 9;
const char* NameOfKind(FaultKind kind);

struct FaultCase {
  FaultKind kind = FaultKind::kAllocation;
  bool lasting = false; // the nth call and all behind it
  uint64_t nth = 0;     // from 1; 0 strikes nothing
};

// A call that was struck.
struct FaultSite {
  FaultKind kind;
  const char* inExport;    // in which export
  int file = 0;            // of the disk; kInMemory
  uint32_t at = 0;         // position of a read or write, target of a seek
  uint32_t size = 0;       // bytes asked for
  uint32_t whence = 0;     // of a seek
  uint32_t openFlags = 0;  // of an open
  const char* module = ""; // of an allocation: the source file that asked
  uint32_t number = 1;     // which one of a module's allocations, of the seeks to the end, of the questions for the
                           // position
  uint32_t visit = 1;      // how often a call of this kind has come to this place
};
constexpr int kInMemory = -1;

class FaultDisk {
public:
  static constexpr int kFiles = 2;

  FaultDisk();
  ~FaultDisk();
  FaultDisk(const FaultDisk&) = delete;
  FaultDisk& operator=(const FaultDisk&) = delete;

  const char16_t* Name(int file = 0) const { return files_[file].place.Name(); }
  void Put(int file, const FileBytes& bytes);
  void Remove(int file);
  bool Exists(int file = 0);
  const FileBytes& Bytes(int file = 0) const { return files_[file].bytes; }

  // From here on calls are counted and struck, until the fault is lifted.
  void Arm(const FaultCase& fault);
  void Lift();
  void Enter(const char* exportName) { inExport_ = exportName; } // the calls that follow are this export's
  const std::vector<FaultSite>& Struck() const { return struck_; }
  uint64_t CallsMade() const { return calls_; } // of the armed kind
  size_t OpenHandles() const { return open_.size(); }
  void CloseAll() { open_.clear(); }

private:
  struct File {
    TempFile place; // the name, and an empty file that shows by its absence that the library has deleted it
    FileBytes bytes;
    bool exists = false;
  };
  struct Handle {
    VxFileHandle number;
    int file;
    uint64_t position;
    bool writable;
  };
  void Exchange();
  bool Strikes(const FaultSite& site);
  Handle* Find(VxFileHandle handle);
  // Bytes that a read or write may move, of the n that it asks for.
  uint32_t Allowed(FaultKind whole, FaultKind one, FaultKind cut, FaultSite site);

  static VxFileHandle Open(const char16_t* name, uint32_t flags, uint32_t shareMode, void* self);
  static uint32_t Read(VxFileHandle handle, void* buffer, uint32_t n, void* self);
  static uint32_t Write(VxFileHandle handle, const void* buffer, uint32_t n, void* self);
  static uint32_t Seek(VxFileHandle handle, int32_t offset, uint32_t whence, void* self);
  static int32_t Close(VxFileHandle handle, void* self);
  static int32_t Ask(size_t bytes, int32_t line, const char* module, void* self);

  File files_[kFiles];
  std::vector<Handle> open_;
  VxFileHandle nextHandle_ = 0x60000000; // beyond the kernel's own
  FaultCase fault_;
  bool armed_ = false;
  uint64_t calls_ = 0;
  uint64_t moves_ = 0; // reads and seeks of the call: a chain that never ends is ended as the kernel would end it
  const char* inExport_ = "";
  std::vector<FaultSite> struck_;
  std::map<std::string, uint32_t> numbers_;
  std::map<std::array<int64_t, 4>, uint32_t> visits_;

  // While installed these slots hold the callbacks that were there before.
  KrnOpenFn openSlot_ = Open;
  KrnReadFn readSlot_ = Read;
  KrnWriteFn writeSlot_ = Write;
  KrnSeekFn seekSlot_ = Seek;
  KrnCloseFn closeSlot_ = Close;
  void* data_[5];
};
