// Values set into lists of records in memory: the twin of the editor's entries, without a file. The comments of a save
// and the GeoTIFF keys are gathered so. See TagAccess.h.

#include <cstddef>

#include "tif_com/DirectoryTree.h"
#include "tif_com/Memory.h"
#include "tif_com/TagAccess.h"

int32_t TIFInitRecord(TifTagRecord* record, const TifTagItem* item, const void* data) {
  const uint64_t bytes = TIFValueBytes(item->type, item->count);
  TifTagRecord made = {item->tag, item->type, item->count, 0, nullptr, kStorageNone};
  if (bytes > kInlineBytes) {
    made.data = bytes <= SIZE_MAX ? TIFAlloc(static_cast<size_t>(bytes), 1) : nullptr;
    if (made.data == nullptr) {
      return kResultNoMemory;
    }
    made.storage = kStorageBlock | kStorageOwned;
    krnMemCopy(made.data, data, static_cast<size_t>(bytes));
  } else {
    krnMemCopy(&made.value, data, static_cast<size_t>(bytes));
  }
  *record = made;
  return kResultOk;
}

int32_t TIFSetRecord(TifTagRecord* records, const TifTagItem* item, const void* data, uint32_t* n) {
  TifTagRecord made;
  const int32_t result = TIFInitRecord(&made, item, data);
  if (result != kResultOk) {
    return result;
  }
  TifTagRecord* const old = TIFFindRecord(records, *n, item->tag, nullptr);
  if (old == nullptr) {
    records[(*n)++] = made;
    return kResultOk;
  }
  TIFFreeTagRecord(old, kDirGeoKeys); // the kind without sub-directories: such lists hold plain values
  *old = made;
  return kResultOk;
}
