// Tags of a marker directory merged into the entries of a page or of its Exif directory. What the page holds, and what
// was set earlier in the same edit, wins over the markers. Values go to the even end of the file, so that nothing that
// stands behind a directory is written over.

#include <vxtif/results.h>

#include "tif_com/ByteOrder.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Markers.h"
#include "tif_com/Memory.h"
#include "tif_com/TagAccess.h"
#include "tif_com/TagBlocks.h"
#include "tif_com/Tags.h"
#include "tif_com/TreeWriter.h"

namespace {

// Tags that are merged below the private range: texts that say the same in every file.
constexpr uint16_t kMergedTags[] = {kTagDocumentName, kTagImageDescription, kTagMake,   kTagModel,       kTagPageName,
                                    kTagSoftware,     kTagDateTime,         kTagArtist, kTagHostComputer};
constexpr uint16_t kFirstPrivateTag = 32768;

bool IsMerged(uint16_t tag) {
  if (tag >= kFirstPrivateTag) {
    return tag != kTagExifIfd && tag != kTagGpsIfd;
  }
  for (const uint16_t merged : kMergedTags) {
    if (tag == merged) {
      return true;
    }
  }
  return false;
}

// A value at the even end of the file; `place` receives its offset. A value of up to 4 bytes is lost here: it has no
// block in the marker's tree, and its entry keeps the value 0.
int32_t WriteMarkerValue(TifFile* file, uint32_t type, uint32_t count, void* data, uint64_t size, uint32_t* place) {
  if (size <= kInlineBytes || data == nullptr) {
    return kResultOk;
  }
  const uint32_t position = TIFEvenEndOfFile(file);
  if (position == kSeekFailed) {
    return kResultSeekFailed;
  }
  const auto bytes = static_cast<uint32_t>(size);
  const bool swaps = !TIFIsLittle(file);
  if (swaps) {
    TIFSwapValues(data, type, count);
  }
  bool written = krnFileWrite(file->fileHandle, data, bytes) == bytes;
  if (bytes % 2 != 0) {
    written = krnFileWrite(file->fileHandle, data, 1) == 1 && written;
  }
  if (swaps) {
    TIFSwapValues(data, type, count);
  }
  if (!written) {
    return krnWriteError(kResultWriteFailed);
  }
  *place = position;
  return kResultOk;
}

int32_t WriteChild(TifFile* file, uint32_t* place, void* child, TifDirKind kind) {
  if (TIFEvenEndOfFile(file) == kSeekFailed) {
    return kResultSeekFailed;
  }
  return TIFWriteSubDirectory(file, place, static_cast<TifDirectory*>(child), kind);
}

int32_t WriteChildren(TifFile* file, uint32_t* place, const TifTagRecord* record, TifDirKind kind) {
  auto* offsets = static_cast<uint32_t*>(TIFAlloc(record->count, sizeof(uint32_t)));
  if (offsets == nullptr) {
    return kResultNoMemory;
  }
  auto* const* children = static_cast<TifDirectory* const*>(record->data);
  int32_t result = kResultOk;
  for (uint32_t i = 0; i < record->count && result == kResultOk; ++i) {
    result = WriteChild(file, &offsets[i], children[i], kind);
  }
  if (result == kResultOk) {
    *place = TIFEvenEndOfFile(file);
    result = *place == kSeekFailed ? kResultSeekFailed : TIFWriteLongArray(file, offsets, record->count);
  }
  TIFFree(offsets);
  return result;
}

// A sub-directory or a raw maker note of the markers; its place goes to `place`.
int32_t WriteMarkerSubDirectory(TifFile* file, uint32_t* place, const TifTagRecord* record, TifDirKind kind) {
  if (record->data == nullptr) {
    return kResultNullPointer;
  }
  switch (record->storage & kStorageKindMask) {
  case kStorageBlock:
    if (record->count > kInlineBytes) {
      return WriteMarkerValue(file, kTypeUndefined, record->count, record->data, record->count, place);
    }
    krnMemCopy(place, record->data, record->count);
    return kResultOk;
  case kStorageDirectory:
    return WriteChild(file, place, record->data, kind);
  case kStorageDirectoryArray:
    return WriteChildren(file, place, record, kind);
  default:
    return kResultInvalidParameter;
  }
}

int32_t MergeMarkerRecord(TifFile* file, TifDirEntry* entries, uint32_t* n, TifTagRecord* record, TifDirKind kind) {
  if (TIFFindEntry(entries, *n, record->tag, nullptr) != nullptr) {
    return kResultOk;
  }
  TifDirKind childKind = kind;
  const int32_t tagClass = TIFClassifyTag(record, nullptr, kind, &childKind);
  if (tagClass == kTagClassJpegStream) {
    return kResultOk;
  }
  TifDirEntry* entry = &entries[(*n)++];
  *entry = TifDirEntry{record->tag, record->type, record->count, 0};
  uint32_t place = 0;
  if (tagClass == kTagClassSubDirectory) {
    // The child goes out, but its place lands in the marker's record: the page's entry keeps the value 0.
    const int32_t result = WriteMarkerSubDirectory(file, &place, record, childKind);
    record->value = place;
    return result;
  }
  const int32_t result = WriteMarkerValue(file, record->type, record->count, record->data,
                                          TIFValueBytes(record->type, record->count), &place);
  entry->value = place;
  return result;
}

} // namespace

int32_t TIFMergeMarkerDirectory(TifFile* file, TifDirEntry* entries, uint32_t* n, TifDirectory* directory,
                                TifDirKind kind) {
  for (uint32_t i = 0; directory != nullptr && i < directory->entryCount; ++i) {
    if (!IsMerged(directory->records[i].tag)) {
      continue;
    }
    const int32_t result = MergeMarkerRecord(file, entries, n, &directory->records[i], kind);
    if (result != kResultOk) {
      return result;
    }
  }
  return kResultOk;
}
