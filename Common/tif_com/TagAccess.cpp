// Reading of a directory's entries and of single values from a file. See the header.

#include "tif_com/TagAccess.h"

#include <cstddef>

#include "tif_com/FileAccess.h"
#include "tif_com/Memory.h"
#include "tif_com/TagBlocks.h"
#include "tif_com/TagClass.h"

namespace {

// The count of the entries: read at `directory`, or already in the TifFile. 1, -4, -7.
int32_t ReadEntryCount(const TifFile* file, uint32_t directory, uint32_t* count) {
  if (TIFSeek(file->fileHandle, directory, kKrnSeekSet) != directory) {
    return kResultSeekFailed;
  }
  uint16_t stored = 0;
  if (TIFRead16(file, &stored) == 0) {
    return kResultReadFailed;
  }
  *count = stored;
  return kResultOk;
}

} // namespace

int32_t TIFLoadEntries(TifFile* file, uint32_t directory, uint32_t extra, TifDirEntry** out, uint32_t* count,
                       uint32_t* next) {
  *out = nullptr;
  uint32_t entryCount = file->entryCount;
  if (count != nullptr) {
    const int32_t result = ReadEntryCount(file, directory, &entryCount);
    if (result != kResultOk) {
      return result;
    }
    *count = entryCount;
  }
  const uint64_t room = uint64_t{entryCount} + extra;
  if (room > SIZE_MAX / kDirEntrySize) {
    return kResultNoMemory;
  }
  auto* const entries = static_cast<TifDirEntry*>(TIFAlloc(static_cast<size_t>(room), kDirEntrySize));
  if (entries == nullptr) {
    return kResultNoMemory;
  }
  const uint32_t bytes = entryCount * kDirEntrySize;
  if (krnFileRead(file->fileHandle, entries, bytes) != bytes) {
    TIFFree(entries);
    return kResultReadFailed;
  }
  if (next != nullptr && TIFRead32(file, next) == 0) {
    *next = 0;
  }
  if (!TIFIsLittle(file)) {
    TIFSwapEntries(entries, entryCount, SwapDirection::kToMemory);
  }
  *out = entries;
  return kResultOk;
}

int32_t TIFReadEntryValues(TifFile* file, const TifDirEntry* entry, void* buffer) {
  if (TIFTypeSize(entry->type) == 0) {
    return kResultTypeNotAllowed;
  }
  const uint64_t bytes = TIFValueBytes(entry->type, entry->count);
  if (bytes <= kInlineBytes) {
    krnMemCopy(buffer, &entry->value, static_cast<size_t>(bytes));
    return kResultOk; // the value word is in host order already
  }
  const uint32_t place = entry->value;
  if (bytes > UINT32_MAX || TIFSeek(file->fileHandle, place, kKrnSeekSet) != place ||
      krnFileRead(file->fileHandle, buffer, static_cast<uint32_t>(bytes)) != bytes) {
    return kResultReadFailed;
  }
  if (!TIFIsLittle(file)) {
    TIFSwapValues(buffer, entry->type, entry->count);
  }
  return kResultOk;
}
