// Files in memory under names: see the header.

#include "MemoryDisk.h"

#include <algorithm>
#include <string_view>

MemoryDisk::MemoryDisk() {
  Exchange();
}

MemoryDisk::~MemoryDisk() {
  Exchange();
}

void MemoryDisk::Exchange() {
  krnRedirectIo(&openSlot_, nullptr, nullptr, nullptr, &closeSlot_, &openData_, nullptr, nullptr, nullptr, &closeData_);
}

MemoryDisk::DiskFile* MemoryDisk::Find(std::u16string_view name) {
  const auto found = std::find_if(files_.begin(), files_.end(), [&](const auto& file) { return file->name == name; });
  return found == files_.end() ? nullptr : found->get();
}

void MemoryDisk::Put(std::u16string_view name, std::span<const uint8_t> bytes) {
  DiskFile* file = Find(name);
  if (file == nullptr) {
    files_.push_back(std::make_unique<DiskFile>());
    file = files_.back().get();
    file->name = name;
  }
  file->bytes.assign(bytes.begin(), bytes.end());
}

const std::vector<uint8_t>* MemoryDisk::Get(std::u16string_view name) const {
  const DiskFile* file = const_cast<MemoryDisk*>(this)->Find(name);
  return file == nullptr ? nullptr : &file->bytes;
}

void MemoryDisk::Remove(std::u16string_view name) {
  std::erase_if(files_, [&](const auto& file) { return file->name == name; });
}

VxFileHandle MemoryDisk::OpenToRead(DiskFile* file) {
  OpenFile open;
  open.file = file;
  if (krnMemFileOpen(&open.memory, &open.handle, kKrnMemFileRead, file->bytes.data(),
                     static_cast<uint32_t>(file->bytes.size())) != 1) {
    return kKrnNoHandle;
  }
  file->readers += 1;
  open_.push_back(std::move(open));
  return open_.back().handle;
}

VxFileHandle MemoryDisk::OpenToWrite(DiskFile* file) {
  const auto size = static_cast<uint32_t>(file->bytes.size());
  OpenFile open;
  open.file = file;
  open.block.reset(new uint8_t[size + room_]); // the kernel shows nothing of it that was not written
  if (krnMemFileOpen(&open.memory, &open.handle, kKrnMemFileWrite, open.block.get(), size + room_) != 1) {
    return kKrnNoHandle;
  }
  krnFileWrite(open.handle, file->bytes.data(), size);
  krnFileSeek(open.handle, 0, kKrnSeekSet);
  krnFileRenewBudget(open.handle);
  file->writers += 1;
  open_.push_back(std::move(open));
  return open_.back().handle;
}

void MemoryDisk::CloseFile(OpenFile& open) {
  uint32_t size = 0;
  krnMemFileClose(open.memory, 0, &size);
  if (open.block) {
    open.file->bytes.assign(open.block.get(), open.block.get() + size);
    open.file->writers -= 1;
  } else {
    open.file->readers -= 1;
  }
}

VxFileHandle MemoryDisk::Open(const char16_t* name, uint32_t flags, uint32_t, void* self) {
  auto& disk = *static_cast<MemoryDisk*>(self);
  if (name == nullptr) {
    return kKrnNoHandle;
  }
  DiskFile* file = disk.Find(name);
  const uint32_t access = flags & kKrnFileAccessMask;
  if (file == nullptr && (flags & kKrnFileCreate) != 0) {
    disk.Put(name, {});
    file = disk.Find(name);
  }
  if (file == nullptr || file->writers != 0) {
    return kKrnNoHandle;
  }
  if (access == kKrnFileRead) {
    return disk.OpenToRead(file);
  }
  if (file->readers != 0) {
    return kKrnNoHandle;
  }
  if (access == kKrnFileReadWrite && (flags & kKrnFileCreate) != 0) {
    file->bytes.clear();
  }
  return disk.OpenToWrite(file);
}

int32_t MemoryDisk::Close(VxFileHandle handle, void* self) {
  auto& disk = *static_cast<MemoryDisk*>(self);
  const auto found =
      std::find_if(disk.open_.begin(), disk.open_.end(), [&](const OpenFile& open) { return open.handle == handle; });
  if (found == disk.open_.end()) {
    return disk.closeSlot_(handle, disk.closeData_);
  }
  disk.CloseFile(*found);
  disk.open_.erase(found);
  return 0;
}
