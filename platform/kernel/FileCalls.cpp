// The file calls as the toolkit makes them: each is counted, then goes to the callback that is installed.
//
// krnRedirectIo exchanges the callbacks: the filter shows a sibling library a part of a file as a file of its own, and
// tests inject faults.

#include "vxkernel/files.h"

#include "FileHandles.h"
#include "KernelLimits.h"
#include "SystemFiles.h"

namespace {

using kernel::statistics;

template <typename Callback> struct Slot {
  Callback function;
  void* userData;
};

Slot<KrnOpenFn> openSlot = {kernel::OpenFile, nullptr};
Slot<KrnReadFn> readSlot = {kernel::ReadFromFile, nullptr};
Slot<KrnWriteFn> writeSlot = {kernel::WriteToFile, nullptr};
Slot<KrnSeekFn> seekSlot = {kernel::SeekInFile, nullptr};
Slot<KrnCloseFn> closeSlot = {kernel::CloseFile, nullptr};

template <typename Value> void Exchange(Value& current, Value* slot) {
  if (slot != nullptr) {
    const Value former = current;
    current = *slot;
    *slot = former;
  }
}

} // namespace

VxFileHandle krnFileOpen(const char16_t* name, uint32_t flags, uint32_t shareMode) {
  statistics.opens += 1;
  return openSlot.function(name, flags, shareMode, openSlot.userData);
}

int32_t krnFileClose(VxFileHandle handle) {
  statistics.closes += 1;
  return closeSlot.function(handle, closeSlot.userData);
}

uint32_t krnFileRead(VxFileHandle handle, void* buffer, uint32_t n) {
  statistics.reads += 1;
  return readSlot.function(handle, buffer, n, readSlot.userData);
}

uint32_t krnFileWrite(VxFileHandle handle, const void* buffer, uint32_t n) {
  statistics.writes += 1;
  return writeSlot.function(handle, buffer, n, writeSlot.userData);
}

uint32_t krnFileSeek(VxFileHandle handle, int32_t offset, uint32_t whence) {
  statistics.seeks += 1;
  return seekSlot.function(handle, offset, whence, seekSlot.userData);
}

int32_t krnWriteError(int32_t code) {
  return code;
}

int32_t krnFileDelete(const char16_t* name) {
  return kernel::DeleteSystemFile(name) ? 1 : 0;
}

void krnRedirectIo(KrnOpenFn* open, KrnReadFn* read, KrnWriteFn* write, KrnSeekFn* seek, KrnCloseFn* close,
                   void** openData, void** readData, void** writeData, void** seekData, void** closeData) {
  Exchange(openSlot.function, open);
  Exchange(readSlot.function, read);
  Exchange(writeSlot.function, write);
  Exchange(seekSlot.function, seek);
  Exchange(closeSlot.function, close);
  Exchange(openSlot.userData, openData);
  Exchange(readSlot.userData, readData);
  Exchange(writeSlot.userData, writeData);
  Exchange(seekSlot.userData, seekData);
  Exchange(closeSlot.userData, closeData);
}
