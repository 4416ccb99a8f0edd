// Files in memory under names, in place of the system's files while it stands: the library opens them by name as ever,
// and the kernel's budgets apply to them. A name that is not on the disk opens nothing.
//
//   MemoryDisk disk;
//   disk.Put(u"/fuzz/in.tif", bytes);      // for reading and writing
//   fltSetTag(...);
//   disk.Get(u"/fuzz/in.tif");
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <vxkernel/files.h>

class MemoryDisk {
public:
  MemoryDisk();
  ~MemoryDisk();
  MemoryDisk(const MemoryDisk&) = delete;
  MemoryDisk& operator=(const MemoryDisk&) = delete;

  // Bytes by which files may grow from one opening to the next; behind them the disk is full.
  void SetRoom(uint32_t bytes) { room_ = bytes; }

  void Put(std::u16string_view name, std::span<const uint8_t> bytes);
  const std::vector<uint8_t>* Get(std::u16string_view name) const; // null for a file that is not there
  void Remove(std::u16string_view name);

private:
  struct DiskFile {
    std::u16string name;
    std::vector<uint8_t> bytes;
    uint32_t readers = 0;
    uint32_t writers = 0;
  };
  // An open file. A writer works on a block of its own with room to grow; its bytes reach the disk when it is closed.
  struct OpenFile {
    VxFileHandle handle = kKrnNoHandle;
    VxMemFile memory = nullptr;
    DiskFile* file = nullptr;
    std::unique_ptr<uint8_t[]> block;
  };

  void Exchange();
  DiskFile* Find(std::u16string_view name);
  VxFileHandle OpenToRead(DiskFile* file);
  VxFileHandle OpenToWrite(DiskFile* file);
  void CloseFile(OpenFile& open);
  static VxFileHandle Open(const char16_t* name, uint32_t flags, uint32_t shareMode, void* self);
  static int32_t Close(VxFileHandle handle, void* self);

  uint32_t room_ = 1u << 18;
  std::vector<std::unique_ptr<DiskFile>> files_;
  std::vector<OpenFile> open_;
  // While the disk stands these slots hold the callbacks that were there before.
  KrnOpenFn openSlot_ = Open;
  KrnCloseFn closeSlot_ = Close;
  void* openData_ = this;
  void* closeData_ = this;
};
