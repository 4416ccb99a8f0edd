// The toolkit's own nested directory (tag 50234): level values and the tone tables of deep grey pages. Its block is
// little-endian whatever the file is. Given the tag, the page's private fields are filled. The page parser uses this in
// the load mode; the directory writer makes the block.

#include "Tifutil/PrivateDirectory.h"

#include "tif_com/ByteOrder.h"
#include "tif_com/Memory.h"
#include "tif_com/Tags.h"

namespace {

enum SubTag : uint16_t {
  kSubTagValue0 = 0,
  kSubTagValue1 = 1,
  kSubTagPalette = 2,
  kSubTagMinSample = 3,
  kSubTagMaxSample = 4,
};

constexpr uint32_t kTriple8 = 3; // bytes of a table entry in the file
constexpr uint32_t kEntry8 = 4;  // and in memory
constexpr uint32_t kTriple16 = 6;
constexpr uint32_t kEntry16 = 8;

// Reads `entries` triples of 1- or 2-byte values and spreads them to entries of four.
int32_t ReadTriples(VxFileHandle handle, uint8_t* table, uint32_t entries, uint32_t tripleBytes, uint32_t entryBytes) {
  const uint64_t bytes = uint64_t{entries} * tripleBytes;
  auto* triples = bytes > UINT32_MAX ? nullptr : static_cast<uint8_t*>(TIFAllocBytes(bytes));
  if (triples == nullptr) {
    return kResultNoMemory;
  }
  int32_t result = kResultReadFailed;
  if (krnFileRead(handle, triples, static_cast<uint32_t>(bytes)) == bytes) {
    result = kResultOk;
    for (uint32_t i = 0; i < entries; ++i) {
      uint8_t* entry = table + size_t{entryBytes} * i;
      krnMemSet(entry, 0, entryBytes);
      krnMemCopy(entry, triples + size_t{tripleBytes} * i, tripleBytes);
    }
  }
  TIFFree(triples);
  return result;
}

// Where a table of the page is kept, and the shape of its entries.
struct PaletteSlot {
  VxGlobalHandle handle;
  uint32_t tripleBytes;
  uint32_t entryBytes;
  int32_t (*read)(VxFileHandle, uint8_t*, uint32_t);
};

int32_t ReadPalette(const TifFile* file, uint64_t offset, uint32_t entries, PaletteSlot* slot) {
  if (offset > UINT32_MAX ||
      !TIFSeekToBlock(file, static_cast<uint32_t>(offset), uint64_t{entries} * slot->tripleBytes)) {
    return kResultReadFailed;
  }
  slot->handle = TIFGlobalAlloc(entries, slot->entryBytes);
  if (slot->handle == 0) {
    return kResultNoMemory;
  }
  return slot->read(file->fileHandle, static_cast<uint8_t*>(krnGlobalPointer(slot->handle)), entries);
}

// Sub-tag 2: `sub.value` is an offset within the block, `sub.count` three values an entry. A table of another type is
// passed over.
int32_t ApplyPalette(const TifFile* file, const TifDirEntry* entry, const TifDirEntry& sub, TifPage* page) {
  if (entry->count < uint64_t{sub.count} + sub.value) {
    return kResultNotTiff;
  }
  const uint64_t offset = uint64_t{entry->value} + sub.value;
  const uint32_t entries = sub.count / 3;
  PaletteSlot slot{};
  int32_t result = kResultOk;
  if (sub.type == kTypeByte) {
    slot = {0, kTriple8, kEntry8, TIFReadPalette8};
    result = ReadPalette(file, offset, entries, &slot);
    TIFGlobalFree(page->privatePalette8);
    page->privatePalette8 = slot.handle;
    page->privatePalette8Count = entries;
  } else if (sub.type == kTypeShort) {
    slot = {0, kTriple16, kEntry16, TIFReadPalette16};
    result = ReadPalette(file, offset, entries, &slot);
    TIFGlobalFree(page->privatePalette16);
    page->privatePalette16 = slot.handle;
    page->privatePalette16Count = entries;
  }
  return result;
}

void ApplyValue(const TifDirEntry& sub, TifPage* page) {
  switch (sub.tag) {
  case kSubTagValue0:
    page->privateValue0 = sub.value;
    break;
  case kSubTagValue1:
    page->privateValue1 = sub.value;
    break;
  case kSubTagMinSample:
    page->minSampleValue = sub.value;
    break;
  case kSubTagMaxSample:
    page->maxSampleValue = sub.value;
    break;
  default:
    break;
  }
}

} // namespace

int32_t TIFReadPalette8(VxFileHandle handle, uint8_t* table, uint32_t entries) {
  return ReadTriples(handle, table, entries, kTriple8, kEntry8);
}

int32_t TIFReadPalette16(VxFileHandle handle, uint8_t* table, uint32_t entries) {
  return ReadTriples(handle, table, entries, kTriple16, kEntry16);
}

int32_t TIFReadPrivateDirectory(const TifFile* file, const TifDirEntry* entry, TifPage* page) {
  const VxFileHandle handle = file->fileHandle;
  const uint32_t entered = krnFileSeek(handle, 0, kKrnSeekCurrent);
  if (entered == kSeekFailed) {
    return kResultReadFailed;
  }
  if (TIFSeek(handle, entry->value, kKrnSeekSet) != entry->value) {
    return kResultSeekFailed;
  }
  uint16_t count = 0;
  if (TIFRead16(file, &count) == 0) {
    return kResultReadFailed;
  }
  for (uint32_t i = 0; i < count; ++i) {
    TifDirEntry sub;
    if (TIFReadEntry(file, &sub) == 0) {
      return kResultReadFailed;
    }
    if (sub.tag != kSubTagPalette) {
      ApplyValue(sub, page);
      continue;
    }
    const int32_t result = ApplyPalette(file, entry, sub, page);
    if (result != kResultOk) {
      return result;
    }
    if (sub.type == kTypeByte || sub.type == kTypeShort) {
      // Right only for a block that begins where the file stood on entry. From anywhere else the sub-entries behind a
      // table are read from the wrong place, and files rely on it by having the table last.
      TIFSeek(handle, entered + 2 + kDirEntrySize * (i + 1), kKrnSeekSet);
    }
  }
  return kResultOk;
}

TagOutcome TIFApplyPrivateDirectory(PageParse& parse, const TifDirEntry& entry) {
  TifFile block = *parse.file;
  block.byteOrder = kByteOrderLittle;
  return TIFReadPrivateDirectory(&block, &entry, parse.page) == kResultOk ? TagOutcome::kGoOn : TagOutcome::kRefused;
}
