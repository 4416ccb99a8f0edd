// GeoTIFF keys of a page as a list of records, and the export that hands them to a callback. Given the entries of a
// page, it loads the three tags and takes every key whose value lies within them. See GeoKeys.h.

#include "tif_com/GeoKeys.h"

#include <cstddef>

#include "tif_com/FileAccess.h"
#include "tif_com/GeoKeyFormat.h"
#include "tif_com/Memory.h"
#include "tif_com/TagAccess.h"

namespace {

// The values of the three tags as loaded. A tag that is missing or of another type counts nothing.
struct GeoTags {
  uint16_t* shorts;
  uint32_t shortCount;
  uint8_t* doubles;
  uint32_t doubleCount;
  uint8_t* ascii;
  uint32_t asciiCount;
};

void FreeTags(GeoTags* tags) {
  TIFFree(tags->shorts);
  TIFFree(tags->doubles);
  TIFFree(tags->ascii);
}

// Loads a tag's values when it is there with the type wanted and at least `fewest` of them.
template <typename Value>
int32_t LoadTag(TifFile* file, TifDirEntry* entries, uint32_t n, uint16_t tag, uint16_t type, uint32_t fewest,
                Value** values, uint32_t* count) {
  const TifDirEntry* const entry = TIFFindEntry(entries, n, tag, nullptr);
  if (entry == nullptr || entry->type != type || entry->count < fewest) {
    return kResultOk;
  }
  void* block = nullptr;
  const int32_t result = TIFLoadEntryValues(file, entry, &block);
  if (result == kResultOk) {
    *values = static_cast<Value*>(block);
    *count = entry->count;
  }
  return result;
}

bool IsKeyDirectory(const GeoTags& tags) {
  if (tags.shorts == nullptr || tags.shorts[kGeoHeaderVersion] != kGeoVersion) {
    return false;
  }
  const uint32_t keys = tags.shorts[kGeoHeaderKeys];
  return keys != 0 && tags.shortCount >= (keys + 1) * kGeoGroupShorts;
}

// A key's group, and where its value is: null data for a key that points outside its tag.
struct KeyValue {
  TifTagItem item;
  const void* data;
};

bool LiesWithin(uint32_t first, uint32_t count, uint32_t total) {
  return first + count <= total; // both have 16 bits
}

// The delimiter stands behind a text or is counted in it; either way the text is to end there.
void CloseText(GeoTags* tags, uint32_t first, uint32_t count) {
  if (count == 0) {
    return;
  }
  uint8_t* const last = tags->ascii + first + count - 1;
  if (*last == kGeoDelimiter) {
    *last = 0;
  }
  if (first + count < tags->asciiCount && last[1] == kGeoDelimiter) {
    last[1] = 0;
  }
}

KeyValue FindValue(GeoTags* tags, const uint16_t* group) {
  const uint32_t count = group[kGeoKeyCount];
  const uint32_t value = group[kGeoKeyValue];
  KeyValue key = {{group[kGeoKeyId], kTypeShort, count, nullptr, nullptr}, nullptr};
  switch (group[kGeoKeyLocation]) {
  case kGeoInGroup:
    key.item.count = 1;
    key.data = group + kGeoKeyValue;
    break;
  case kTagGeoKeyDirectory:
    if (LiesWithin(value, count, tags->shortCount)) {
      key.data = tags->shorts + value;
    }
    break;
  case kTagGeoDoubleParams:
    key.item.type = kTypeDouble;
    if (tags->doubles != nullptr && LiesWithin(value, count, tags->doubleCount)) {
      key.data = tags->doubles + size_t{value} * sizeof(double);
    }
    break;
  case kTagGeoAsciiParams:
    key.item.type = kTypeAscii;
    if (tags->ascii != nullptr && LiesWithin(value, count, tags->asciiCount)) {
      CloseText(tags, value, count);
      key.data = tags->ascii + value;
    }
    break;
  default:
    break;
  }
  return key;
}

// The ids met so far, so that a directory of many keys is not searched for each.
struct SeenIds {
  uint8_t bits[65536 / 8];
  bool Meet(uint16_t id) {
    const auto bit = static_cast<uint8_t>(1u << (id % 8));
    const bool met = (bits[id / 8] & bit) != 0;
    bits[id / 8] |= bit;
    return met;
  }
};

// Keys may share values, but a few numbers must not become a large list: what the values may take together.
uint64_t MostValueBytes(const GeoTags& tags) {
  constexpr uint64_t kFewBytes = 1u << 20;
  constexpr uint64_t kMostSharing = 16;
  const uint64_t bytes =
      uint64_t{tags.shortCount} * sizeof(uint16_t) + uint64_t{tags.doubleCount} * sizeof(double) + tags.asciiCount;
  return kFewBytes + kMostSharing * bytes;
}

// A key id that comes twice keeps its last value, at the place of the first.
int32_t SetKeys(GeoTags* tags, TifDirectory* keys) {
  SeenIds seen = {};
  uint32_t n = 0;
  uint64_t room = MostValueBytes(*tags);
  int32_t result = kResultOk;
  const uint32_t groups = keys->entryCount;
  for (uint32_t i = 1; i <= groups && result == kResultOk; ++i) {
    const KeyValue key = FindValue(tags, tags->shorts + size_t{i} * kGeoGroupShorts);
    if (key.data == nullptr) {
      continue;
    }
    const uint64_t bytes = TIFValueBytes(key.item.type, key.item.count);
    if (bytes > room) {
      result = kResultNoMemory;
      continue;
    }
    room -= bytes;
    if (seen.Meet(key.item.tag)) {
      result = TIFSetRecord(keys->records, &key.item, key.data, &n);
    } else {
      result = TIFInitRecord(&keys->records[n], &key.item, key.data);
      n += result == kResultOk ? 1 : 0;
    }
  }
  keys->entryCount = n;
  return result;
}

int32_t MakeKeys(GeoTags* tags, TifDirectory** out) {
  TifDirectory* const keys = TIFNewDirectory(tags->shorts[kGeoHeaderKeys]);
  if (keys == nullptr) {
    return kResultNoMemory;
  }
  const int32_t result = SetKeys(tags, keys);
  if (result != kResultOk) {
    TIFFreeDirectory(keys, kDirGeoKeys);
    return result;
  }
  *out = keys;
  return kResultOk;
}

int32_t LoadParameters(TifFile* file, TifDirEntry* entries, uint32_t n, GeoTags* tags) {
  const int32_t result =
      LoadTag(file, entries, n, kTagGeoDoubleParams, kTypeDouble, 1, &tags->doubles, &tags->doubleCount);
  if (result != kResultOk) {
    return result;
  }
  return LoadTag(file, entries, n, kTagGeoAsciiParams, kTypeAscii, 1, &tags->ascii, &tags->asciiCount);
}

int32_t ReadKeys(TifFile* file, TifDirEntry* entries, uint32_t n, GeoTags* tags, TifDirectory** out) {
  int32_t result =
      LoadTag(file, entries, n, kTagGeoKeyDirectory, kTypeShort, kGeoFewestShorts, &tags->shorts, &tags->shortCount);
  if (result != kResultOk || !IsKeyDirectory(*tags)) {
    return result;
  }
  result = LoadParameters(file, entries, n, tags);
  return result == kResultOk ? MakeKeys(tags, out) : result;
}

int32_t CallForKeys(const FilterEnumGeoKeysRequest* request, const TifDirectory* keys) {
  for (uint32_t i = 0; i < keys->entryCount; ++i) {
    const TifTagRecord record = keys->records[i];
    const uint32_t word = record.value; // of its own, so that the callback gets an aligned address
    const void* const value = (record.storage & kStorageBlock) != 0 ? record.data : &word;
    const int32_t result = request->callback(record.tag, record.type, record.count, value, request->userData);
    if (result != kResultOk) {
      return result;
    }
  }
  return kResultOk;
}

// Null options read as zeros.
int32_t EnumGeoKeys(TifFile* file, const FilterEnumGeoKeysRequest* request) {
  const FileOptions* const options = request->fileOptions;
  const int32_t page = options != nullptr ? options->pageNumber : 0;
  const bool explicitStart = options != nullptr && (options->flags & kReadUseDirectoryOffset) != 0;
  uint32_t reached = 0;
  int32_t result = TIFSeekPage(file, static_cast<uint32_t>(page), explicitStart ? options->directoryOffset : 0,
                               &reached, PageSearch::kStrict);
  if (result != kResultOk) {
    return result;
  }
  TifDirEntry* entries = nullptr;
  uint32_t n = 0;
  result = TIFLoadEntries(file, file->directoryOffset, 0, &entries, &n, nullptr);
  if (result != kResultOk) {
    return result;
  }
  TifDirectory* keys = nullptr;
  result = TIFReadGeoKeys(file, entries, n, &keys);
  if (keys != nullptr) {
    result = CallForKeys(request, keys);
    TIFFreeDirectory(keys, kDirGeoKeys);
  }
  TIFFree(entries);
  return result;
}

} // namespace

int32_t TIFLoadEntryValues(TifFile* file, const TifDirEntry* entry, void** out) {
  *out = nullptr;
  const uint64_t bytes = TIFValueBytes(entry->type, entry->count);
  if (bytes > kInlineBytes && !TIFFileMayHold(file, entry->value, bytes)) {
    return kResultReadFailed; // it would come back short; no memory is taken for it
  }
  void* const block = TIFAlloc(static_cast<size_t>(bytes), 1);
  if (block == nullptr) {
    return kResultNoMemory;
  }
  const int32_t result = TIFReadEntryValues(file, entry, block);
  if (result != kResultOk) {
    TIFFree(block);
    return result;
  }
  *out = block;
  return kResultOk;
}

int32_t TIFReadGeoKeys(TifFile* file, TifDirEntry* entries, uint32_t n, TifDirectory** out) {
  *out = nullptr;
  GeoTags tags = {};
  const int32_t result = ReadKeys(file, entries, n, &tags, out);
  FreeTags(&tags);
  return result;
}

int32_t fltEnumGeoKeysTIF(FilterEnumGeoKeysRequest* request) {
  if (request->fileName == nullptr) {
    return kResultNoFileName;
  }
  TifFile file = {};
  file.fileHandle = krnFileOpen(request->fileName, kKrnFileRead, kKrnShareRead);
  if (file.fileHandle == kKrnNoHandle) {
    return kResultOpenFailed;
  }
  const int32_t result = EnumGeoKeys(&file, request);
  krnFileClose(file.fileHandle);
  return result;
}
