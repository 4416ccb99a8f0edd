// File handles: files of the system and memory files under one kind of number, with positions and budgets.
//
// A handle is a slot number and, above it, a serial number of the slot, which keeps a handle that has been closed from
// meaning another file: slots are taken in turn, so a number comes back after two thousand million opens at the
// earliest. Writes go straight to the system, since a failed write must be the result of the call that made it.
// Memory files don't pass through the redirected open and close: they are never meant for a sibling library.

#include "FileHandles.h"

#include "FileRecord.h"
#include "FileWindow.h"
#include "KernelLimits.h"

#include <cstdlib>
#include <cstring>

namespace kernel {
namespace {

constexpr uint32_t kSlotBits = 12;
constexpr uint32_t kSlotCount = 1u << kSlotBits;
constexpr uint32_t kSlotMask = kSlotCount - 1;
constexpr uint32_t kSerialMask = (1u << (31 - kSlotBits)) - 1; // handles are positive

struct HandleSlot {
  FileRecord* record; // null: free
  uint32_t serial;    // of the last handle given out
};

HandleSlot slots[kSlotCount];
uint32_t nextSlot = 0;
FileRecord* openRecords = nullptr;

FileRecord* FindRecord(VxFileHandle handle) {
  FileRecord* record = slots[static_cast<uint32_t>(handle) & kSlotMask].record;
  return record != nullptr && record->handle == handle ? record : nullptr;
}

// --- budgets ---

FileBudget FullBudget(uint64_t size) {
  return {BudgetFor(limits.reads, size), BudgetFor(limits.seeks, size), BudgetFor(limits.bytesRead, size)};
}

void AddSaturated(uint64_t* value, uint64_t more) {
  if (__builtin_add_overflow(*value, more, value)) {
    *value = UINT64_MAX;
  }
}

// A file that grows under this handle is worth as much budget as if it had been found that large.
void NoteSize(FileRecord* record, uint64_t size) {
  if (size <= record->knownSize) {
    return;
  }
  if (BudgetUnits(size) != BudgetUnits(record->knownSize)) {
    const FileBudget before = FullBudget(record->knownSize);
    const FileBudget now = FullBudget(size);
    AddSaturated(&record->budget.reads, now.reads - before.reads);
    AddSaturated(&record->budget.seeks, now.seeks - before.seeks);
    AddSaturated(&record->budget.bytesRead, now.bytesRead - before.bytesRead);
  }
  if (record->kind == FileKind::kSystem) {
    openFileBytes += size - record->knownSize;
  }
  record->knownSize = size;
}

// --- opening and closing ---

// A record with a handle of its own, or null for no memory or past the limit.
FileRecord* AddRecord(FileKind kind) {
  if (statistics.openHandles >= limits.openHandles || statistics.openHandles >= kSlotCount) {
    return nullptr;
  }
  auto* record = static_cast<FileRecord*>(std::malloc(sizeof(FileRecord)));
  if (record == nullptr) {
    return nullptr;
  }
  while (slots[nextSlot].record != nullptr) {
    nextSlot = (nextSlot + 1) & kSlotMask;
  }
  HandleSlot& slot = slots[nextSlot];
  slot.record = record;
  slot.serial = slot.serial >= kSerialMask ? 1 : slot.serial + 1;
  std::memset(record, 0, offsetof(FileRecord, window));
  InitWindow(&record->window);
  record->handle = static_cast<VxFileHandle>(slot.serial << kSlotBits | nextSlot);
  record->kind = kind;
  record->next = openRecords;
  if (openRecords != nullptr) {
    openRecords->previous = record;
  }
  openRecords = record;
  nextSlot = (nextSlot + 1) & kSlotMask;
  statistics.openHandles += 1;
  return record;
}

void RemoveRecord(FileRecord* record) {
  if (record->next != nullptr) {
    record->next->previous = record->previous;
  }
  if (record->previous != nullptr) {
    record->previous->next = record->next;
  } else {
    openRecords = record->next;
  }
  slots[static_cast<uint32_t>(record->handle) & kSlotMask].record = nullptr;
  statistics.openHandles -= 1;
  FreeWindow(&record->window);
  std::free(record);
}

bool SameFile(const FileRecord& left, const FileRecord& right) {
  return left.kind == FileKind::kSystem && right.kind == FileKind::kSystem && left.index == right.index &&
         left.volume == right.volume;
}

// Handles of one file show each other's writes. The open may have emptied the file, so the others forget it.
void MarkShared(FileRecord* record) {
  for (FileRecord* other = openRecords; other != nullptr; other = other->next) {
    if (other != record && SameFile(*other, *record)) {
      other->shared = true;
      record->shared = true;
      DropWindow(&other->window);
    }
  }
}

bool OpenRecord(FileRecord* record, const char16_t* name, uint32_t flags) {
  SystemFileFacts facts = {};
  if (!OpenSystemFile(name, flags, &record->file, &facts)) {
    return false;
  }
  record->volume = facts.volume;
  record->index = facts.index;
  record->budget = FullBudget(0);
  NoteSize(record, facts.size);
  record->budget = FullBudget(facts.size);
  MarkShared(record);
  return true;
}

// --- reading, writing, seeking ---

uint32_t ReadMemory(FileRecord* record, void* buffer, uint32_t n) {
  if (record->position >= record->memoryEnd) {
    return 0;
  }
  const uint64_t left = record->memoryEnd - record->position;
  const uint32_t take = n < left ? n : static_cast<uint32_t>(left);
  std::memmove(buffer, record->memory + record->position, take);
  return take;
}

uint32_t WriteMemory(FileRecord* record, const void* buffer, uint32_t n) {
  if (record->kind != FileKind::kMemoryWrite) {
    return kKrnIoFailed;
  }
  if (record->position >= record->memorySize) {
    return 0;
  }
  const auto position = static_cast<uint32_t>(record->position);
  const uint32_t take = n < record->memorySize - position ? n : record->memorySize - position;
  if (position > record->memoryEnd) {
    std::memset(record->memory + record->memoryEnd, 0, position - record->memoryEnd);
  }
  std::memmove(record->memory + position, buffer, take);
  const uint32_t end = position + take;
  record->memoryEnd = end > record->memoryEnd ? end : record->memoryEnd;
  return take;
}

uint32_t WriteSystem(FileRecord* record, const void* buffer, uint32_t n) {
  const int64_t put = WriteSystemFile(record->file, buffer, n, record->position);
  if (put < 0) {
    return kKrnIoFailed;
  }
  const auto moved = static_cast<uint32_t>(put);
  PatchWindow(&record->window, record->position, buffer, moved);
  if (record->shared) {
    for (FileRecord* other = openRecords; other != nullptr; other = other->next) {
      if (other != record && SameFile(*other, *record)) {
        PatchWindow(&other->window, record->position, buffer, moved);
      }
    }
  }
  return moved;
}

bool GetEnd(const FileRecord* record, uint64_t* end) {
  if (record->kind == FileKind::kSystem) {
    return GetSystemFileSize(record->file, end); // another handle, or another process, may have changed it
  }
  *end = record->memoryEnd;
  return true;
}

bool GetSeekBase(const FileRecord* record, uint32_t whence, uint64_t* base) {
  switch (whence) {
  case kKrnSeekSet:
    *base = 0;
    return true;
  case kKrnSeekCurrent:
    *base = record->position;
    return true;
  case kKrnSeekEnd:
    return GetEnd(record, base);
  default:
    return false;
  }
}

} // namespace

VxFileHandle OpenFile(const char16_t* name, uint32_t flags, uint32_t, void*) {
  FileRecord* record = AddRecord(FileKind::kSystem);
  if (record == nullptr) {
    return kKrnNoHandle;
  }
  if (!OpenRecord(record, name, flags)) {
    RemoveRecord(record);
    return kKrnNoHandle;
  }
  return record->handle;
}

uint32_t ReadFromFile(VxFileHandle handle, void* buffer, uint32_t n, void*) {
  FileRecord* record = FindRecord(handle);
  if (record == nullptr || (buffer == nullptr && n != 0)) {
    return kKrnIoFailed;
  }
  FileBudget& budget = record->budget;
  if (budget.reads == 0 || n == 0) {
    return 0;
  }
  budget.reads -= 1;
  uint32_t allowed = n < kKrnIoFailed ? n : kKrnIoFailed - 1;
  allowed = allowed < budget.bytesRead ? allowed : static_cast<uint32_t>(budget.bytesRead);
  const int64_t got = record->kind == FileKind::kSystem ? ReadThroughWindow(record, buffer, allowed)
                                                        : ReadMemory(record, buffer, allowed);
  if (got < 0) {
    return kKrnIoFailed;
  }
  const auto moved = static_cast<uint32_t>(got);
  budget.bytesRead -= moved;
  record->position += moved;
  return moved;
}

uint32_t WriteToFile(VxFileHandle handle, const void* buffer, uint32_t n, void*) {
  FileRecord* record = FindRecord(handle);
  if (record == nullptr || (buffer == nullptr && n != 0)) {
    return kKrnIoFailed;
  }
  if (n == 0) {
    return 0;
  }
  const uint32_t allowed = n < kKrnIoFailed ? n : kKrnIoFailed - 1;
  const uint32_t moved =
      record->kind == FileKind::kSystem ? WriteSystem(record, buffer, allowed) : WriteMemory(record, buffer, allowed);
  if (moved != kKrnIoFailed && moved != 0) {
    record->position += moved;
    NoteSize(record, record->position);
  }
  return moved;
}

uint32_t SeekInFile(VxFileHandle handle, int32_t offset, uint32_t whence, void*) {
  FileRecord* record = FindRecord(handle);
  if (record == nullptr || record->budget.seeks == 0) {
    return kKrnIoFailed;
  }
  record->budget.seeks -= 1;
  uint64_t base = 0;
  if (!GetSeekBase(record, whence, &base) || base > INT64_MAX / 2) {
    return kKrnIoFailed;
  }
  const int64_t position = static_cast<int64_t>(base) + offset;
  if (position < 0 || position >= static_cast<int64_t>(kKrnIoFailed)) {
    return kKrnIoFailed;
  }
  record->position = static_cast<uint64_t>(position);
  return static_cast<uint32_t>(position);
}

int32_t CloseFile(VxFileHandle handle, void*) {
  FileRecord* record = FindRecord(handle);
  if (record == nullptr) {
    return -1;
  }
  bool good = true;
  if (record->kind == FileKind::kSystem) {
    good = CloseSystemFile(record->file);
    openFileBytes -= record->knownSize;
  }
  RemoveRecord(record);
  return good ? 0 : -1;
}

} // namespace kernel

void krnFileRenewBudget(VxFileHandle handle) {
  kernel::FileRecord* record = kernel::FindRecord(handle);
  if (record == nullptr) {
    return;
  }
  uint64_t size = record->knownSize;
  if (kernel::GetEnd(record, &size)) {
    kernel::NoteSize(record, size);
  }
  record->budget = kernel::FullBudget(record->knownSize);
  kernel::DropWindow(&record->window);
}

int32_t krnMemFileOpen(VxMemFile* file, VxFileHandle* handle, int32_t mode, void* data, uint32_t size) {
  if (file == nullptr || handle == nullptr || (data == nullptr && size != 0) ||
      (mode != kKrnMemFileRead && mode != kKrnMemFileWrite)) {
    return 0;
  }
  const bool reads = mode == kKrnMemFileRead;
  kernel::FileRecord* record =
      kernel::AddRecord(reads ? kernel::FileKind::kMemoryRead : kernel::FileKind::kMemoryWrite);
  if (record == nullptr) {
    return 0;
  }
  record->memory = static_cast<uint8_t*>(data);
  record->memorySize = size;
  record->memoryEnd = reads ? size : 0;
  record->knownSize = record->memoryEnd;
  record->budget = kernel::FullBudget(record->knownSize);
  *handle = record->handle;
  // The number, not the record's address: a file that is closed twice is then found out.
  *file = reinterpret_cast<VxMemFile>(static_cast<uintptr_t>(record->handle));
  return 1;
}

int32_t krnMemFileClose(VxMemFile file, int32_t, uint32_t* bytes) {
  const auto number = reinterpret_cast<uintptr_t>(file);
  kernel::FileRecord* record = number <= INT32_MAX ? kernel::FindRecord(static_cast<VxFileHandle>(number)) : nullptr;
  if (record == nullptr || record->kind == kernel::FileKind::kSystem) {
    return 0;
  }
  if (bytes != nullptr) {
    *bytes = record->memoryEnd;
  }
  kernel::RemoveRecord(record);
  return 1;
}
