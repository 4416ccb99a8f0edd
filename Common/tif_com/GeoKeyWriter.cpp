// GeoTIFF keys packed into their three tags: a caller's keys merged over those of the page, and the packing. Given the
// entries of a page in memory, it stores the values in the file and the tags in the entries. See GeoKeys.h.

#include "tif_com/GeoKeys.h"

#include <cstddef>

#include "tif_com/GeoKeyFormat.h"
#include "tif_com/Memory.h"
#include "tif_com/TagAccess.h"

namespace {

bool IsShort(uint32_t type) {
  return type == kTypeShort || type == kTypeSShort;
}

// A record's value as bytes: its block, or its value word.
struct ValueBytes {
  uint32_t word;
  const uint8_t* block;
  const uint8_t* Bytes() const { return block != nullptr ? block : reinterpret_cast<const uint8_t*>(&word); }
};

ValueBytes ValueOf(const TifTagRecord& record) {
  const bool inBlock = (record.storage & kStorageBlock) != 0;
  return {record.value, inBlock ? static_cast<const uint8_t*>(record.data) : nullptr};
}

// Where the next value of each kind goes: shorts count behind the key directory.
struct PackState {
  uint64_t extraShorts;
  uint64_t doubles;
  uint64_t ascii;
};

// The bytes of a text without the NUL at its end.
uint32_t TextLength(const TifTagRecord& record, const ValueBytes& value) {
  const uint32_t count = record.count;
  return count != 0 && value.Bytes()[count - 1] == 0 ? count - 1 : count;
}

void CountValue(const TifTagRecord& record, PackState* state) {
  if (IsShort(record.type)) {
    state->extraShorts += record.count == 1 ? 0 : record.count;
  } else if (record.type == kTypeDouble) {
    state->doubles += record.count;
  } else if (record.type == kTypeAscii) {
    state->ascii += uint64_t{TextLength(record, ValueOf(record))} + 1;
  }
}

// Packs one key into its group, and its value behind those before it. The numbers of a group have 16 bits.
void PackKey(const TifTagRecord& key, uint32_t directoryShorts, uint16_t* group, const GeoKeyBlocks& blocks,
             PackState* state) {
  const ValueBytes value = ValueOf(key);
  group[kGeoKeyId] = key.tag;
  group[kGeoKeyCount] = static_cast<uint16_t>(key.count);
  if (IsShort(key.type) && key.count == 1) {
    group[kGeoKeyLocation] = kGeoInGroup;
    krnMemCopy(group + kGeoKeyValue, value.Bytes(), sizeof(uint16_t));
  } else if (IsShort(key.type)) {
    group[kGeoKeyLocation] = kTagGeoKeyDirectory;
    group[kGeoKeyValue] = static_cast<uint16_t>(directoryShorts + state->extraShorts);
    krnMemCopy(blocks.shorts + directoryShorts + state->extraShorts, value.Bytes(),
               size_t{key.count} * sizeof(uint16_t));
    state->extraShorts += key.count;
  } else if (key.type == kTypeDouble) {
    group[kGeoKeyLocation] = kTagGeoDoubleParams;
    group[kGeoKeyValue] = static_cast<uint16_t>(state->doubles);
    krnMemCopy(blocks.doubles + state->doubles * sizeof(double), value.Bytes(), size_t{key.count} * sizeof(double));
    state->doubles += key.count;
  } else if (key.type == kTypeAscii) {
    // The group keeps the count with the NUL, which then counts the delimiter that takes its place.
    const uint32_t length = TextLength(key, value);
    group[kGeoKeyLocation] = kTagGeoAsciiParams;
    group[kGeoKeyValue] = static_cast<uint16_t>(state->ascii);
    krnMemCopy(blocks.ascii + state->ascii, value.Bytes(), length);
    blocks.ascii[state->ascii + length] = kGeoDelimiter;
    state->ascii += uint64_t{length} + 1;
  }
}

// Cleared blocks of the sizes counted; a size of 0 has none.
int32_t AllocateBlocks(uint32_t directoryShorts, const PackState& sizes, GeoKeyBlocks* blocks) {
  const uint64_t shorts = directoryShorts + sizes.extraShorts;
  if (shorts > UINT32_MAX || sizes.doubles > UINT32_MAX || sizes.ascii > UINT32_MAX) {
    return kResultNoMemory;
  }
  *blocks = {nullptr, static_cast<uint32_t>(shorts),     nullptr, static_cast<uint32_t>(sizes.doubles),
             nullptr, static_cast<uint32_t>(sizes.ascii)};
  blocks->shorts = static_cast<uint16_t*>(TIFAllocZero(blocks->shortCount, sizeof(uint16_t)));
  bool whole = blocks->shorts != nullptr;
  if (blocks->doubleCount != 0) {
    blocks->doubles = static_cast<uint8_t*>(TIFAllocZero(blocks->doubleCount, sizeof(double)));
    whole = whole && blocks->doubles != nullptr;
  }
  if (blocks->asciiLength != 0) {
    blocks->ascii = static_cast<uint8_t*>(TIFAllocZero(blocks->asciiLength, 1));
    whole = whole && blocks->ascii != nullptr;
  }
  return whole ? kResultOk : kResultNoMemory;
}

uint32_t CountItems(const TifGeoKeyItem* list) {
  uint32_t count = 0;
  for (const TifGeoKeyItem* item = list; item != nullptr; item = item->next) {
    ++count;
  }
  return count;
}

// The page's keys with room for the caller's, or an empty list for these.
int32_t StartKeys(TifFile* file, TifDirEntry* entries, uint32_t n, uint32_t items, TifDirectory** keys) {
  int32_t result = TIFReadGeoKeys(file, entries, n, keys);
  if (result != kResultOk) {
    return result;
  }
  if (*keys != nullptr) {
    result = TIFGrowDirectory(keys, (*keys)->entryCount + items);
    if (result != kResultOk) {
      TIFFreeDirectory(*keys, kDirGeoKeys);
    }
    return result;
  }
  *keys = TIFNewDirectory(items);
  if (*keys == nullptr) {
    return kResultNoMemory;
  }
  (*keys)->entryCount = 0;
  return kResultOk;
}

// A key that is one SHORT may come without data: it is 0 then. Others need what they count.
bool HasValue(const TifGeoKeyItem* item) {
  return item->data != nullptr || TIFValueBytes(item->type, item->count) == 0 ||
         (IsShort(item->type) && item->count == 1);
}

// The caller's data are borrowed, never copied.
void SetKey(TifDirectory* keys, const TifGeoKeyItem* item) {
  TifTagRecord* record = TIFFindRecord(keys->records, keys->entryCount, item->tag, nullptr);
  if (record == nullptr) {
    record = &keys->records[keys->entryCount];
    keys->entryCount += 1;
  } else {
    TIFFreeTagRecord(record, kDirGeoKeys);
  }
  *record = {item->tag, item->type, item->count, 0, item->data, kStorageBlock};
}

} // namespace

int32_t TIFGrowDirectory(TifDirectory** directory, uint32_t records) {
  const uint64_t bytes = sizeof(TifDirectory) + uint64_t{records} * sizeof(TifTagRecord);
  void* const grown = bytes <= SIZE_MAX ? TIFRealloc(*directory, static_cast<size_t>(bytes)) : nullptr;
  if (grown == nullptr) {
    return kResultNoMemory;
  }
  *directory = static_cast<TifDirectory*>(grown);
  return kResultOk;
}

void TIFFreeGeoKeyBlocks(GeoKeyBlocks* blocks) {
  TIFFree(blocks->shorts);
  TIFFree(blocks->doubles);
  TIFFree(blocks->ascii);
  *blocks = {};
}

int32_t TIFBuildGeoKeyBlocks(TifDirectory* keys, GeoKeyBlocks* blocks) {
  *blocks = {};
  const uint32_t n = keys->entryCount;
  TIFSortRecords(keys->records, n); // GeoTIFF wants key ids in ascending order
  PackState sizes = {};
  for (uint32_t i = 0; i < n; ++i) {
    CountValue(keys->records[i], &sizes);
  }
  const uint64_t directoryShorts = (uint64_t{n} + 1) * kGeoGroupShorts;
  const int32_t result = directoryShorts > UINT32_MAX
                             ? kResultNoMemory
                             : AllocateBlocks(static_cast<uint32_t>(directoryShorts), sizes, blocks);
  if (result != kResultOk) {
    TIFFreeGeoKeyBlocks(blocks);
    return result;
  }
  blocks->shorts[kGeoHeaderVersion] = kGeoVersion;
  blocks->shorts[kGeoHeaderRevision] = kGeoRevision;
  blocks->shorts[kGeoHeaderMinorRevision] = kGeoMinorRevision;
  blocks->shorts[kGeoHeaderKeys] = static_cast<uint16_t>(n);
  PackState state = {};
  for (uint32_t i = 0; i < n; ++i) {
    PackKey(keys->records[i], static_cast<uint32_t>(directoryShorts),
            blocks->shorts + (size_t{i} + 1) * kGeoGroupShorts, *blocks, &state);
  }
  return kResultOk;
}

int32_t TIFAddGeoTags(TifFile* file, TifDirEntry* entries, uint32_t* n, const GeoKeyBlocks* blocks) {
  const TifTagItem directory = {kTagGeoKeyDirectory, kTypeShort, blocks->shortCount, blocks->shorts, nullptr};
  int32_t result = TIFSetEntry(file, entries, &directory, blocks->shorts, n);
  if (result == kResultOk && blocks->doubleCount != 0) {
    const TifTagItem doubles = {kTagGeoDoubleParams, kTypeDouble, blocks->doubleCount, blocks->doubles, nullptr};
    result = TIFSetEntry(file, entries, &doubles, blocks->doubles, n);
  }
  if (result == kResultOk && blocks->asciiLength != 0) {
    const TifTagItem ascii = {kTagGeoAsciiParams, kTypeAscii, blocks->asciiLength, blocks->ascii, nullptr};
    result = TIFSetEntry(file, entries, &ascii, blocks->ascii, n);
  }
  return result;
}

int32_t TIFWriteGeoTags(TifFile* file, TifDirectory* keys, TifDirEntry* entries, uint32_t* n) {
  GeoKeyBlocks blocks;
  int32_t result = TIFBuildGeoKeyBlocks(keys, &blocks);
  if (result == kResultOk) {
    result = TIFAddGeoTags(file, entries, n, &blocks);
    TIFFreeGeoKeyBlocks(&blocks);
  }
  return result;
}

int32_t TIFMergeGeoKeys(TifFile* file, TifDirEntry* entries, uint32_t* n, const TifGeoKeyItem* list) {
  TifDirectory* keys = nullptr;
  const int32_t result = StartKeys(file, entries, *n, CountItems(list), &keys);
  if (result != kResultOk) {
    return result;
  }
  for (const TifGeoKeyItem* item = list; item != nullptr; item = item->next) {
    if (HasValue(item)) {
      SetKey(keys, item);
    }
  }
  (void)TIFWriteGeoTags(file, keys, entries, n); // a failure in packing or writing is not reported
  TIFFreeDirectory(keys, kDirGeoKeys);
  return kResultOk;
}
