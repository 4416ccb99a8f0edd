// Reading of a directory's entries and of single values from a file, and the export that asks for one tag of a page.
// See the header.

#include "tif_com/TagAccess.h"

#include <cstddef>

#include "tif_com/FileAccess.h"
#include "tif_com/Memory.h"
#include "tif_com/PageChain.h"
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

// The bytes of a value of known size into the caller's buffer, in host order; a type without size gives nothing.
int32_t CopyValue(TifFile* file, const TifDirEntry* entry, void* data) {
  return TIFTypeSize(entry->type) != 0 ? TIFReadEntryValues(file, entry, data) : kResultOk;
}

int32_t GetTag(TifFile* file, const FilterGetTagRequest* request) {
  const FileOptions* const options = request->fileOptions;
  const int32_t page = options != nullptr ? options->pageNumber : 0;
  const bool explicitStart = options != nullptr && (options->flags & kReadUseDirectoryOffset) != 0;
  uint32_t reached = 0;
  int32_t result = TIFSeekPage(file, static_cast<uint32_t>(page), explicitStart ? options->directoryOffset : 0,
                               &reached, PageSearch::kStrict);
  if (result != kResultOk) {
    return result;
  }
  TifDirEntry entry = {};
  result = TIFFindTag(file, &entry, static_cast<uint16_t>(request->tag));
  if (result != kResultOk) {
    return result;
  }
  if (request->type != nullptr) {
    *request->type = entry.type;
  }
  if (request->count != nullptr) {
    *request->count = entry.count;
  }
  // Without a buffer the caller learns the size before it allocates.
  return request->data != nullptr ? CopyValue(file, &entry, request->data) : kResultOk;
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
  if (TIFSeek(file->fileHandle, place, kKrnSeekSet) != place) {
    return kResultSeekFailed;
  }
  if (bytes > UINT32_MAX || krnFileRead(file->fileHandle, buffer, static_cast<uint32_t>(bytes)) != bytes) {
    return kResultReadFailed;
  }
  if (!TIFIsLittle(file)) {
    TIFSwapValues(buffer, entry->type, entry->count);
  }
  return kResultOk;
}

int32_t fltGetTagTIF(FilterGetTagRequest* request) {
  TifFile file = {};
  file.fileHandle = krnFileOpen(request->fileName, kKrnFileRead, kKrnShareRead);
  if (file.fileHandle == kKrnNoHandle) {
    return kResultOpenFailed;
  }
  const int32_t result = GetTag(&file, request);
  krnFileClose(file.fileHandle);
  return result;
}
