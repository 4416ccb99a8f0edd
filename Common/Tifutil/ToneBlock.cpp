// The block of tag 50234: level range, tone table and sample range of a deep grey page, as a nested directory that is
// little-endian whatever the file's byte order.

#include <algorithm>

#include <vxtif/results.h>

#include "Tifutil/DirectoryEntries.h"
#include "tif_com/ByteOrder.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Tags.h"

namespace {

enum ToneSubTag : uint16_t { kToneLowBit = 0, kToneHighBit = 1, kToneTable = 2, kToneMinimum = 3, kToneMaximum = 4 };

constexpr uint32_t kMostSubTags = 5;
constexpr uint32_t kBytesPerColor = 3;
constexpr uint32_t kFrameBytes = 6; // the count word and the closing LONG

// Where the table stands, counted from the start of the block: told as if the table's entry were the last, which it is
// not when the sample range follows. Readers of such files expect these numbers.
constexpr uint32_t kTableBehindNothing = 18;
constexpr uint32_t kTableBehindLevels = 42;

bool HasSampleRange(const BitmapHandle* descriptor) {
  return descriptor->order == kOrderGray && descriptor->bitsPerPixel == 32 && descriptor->minValue != 0 &&
         descriptor->maxValue != -1 && descriptor->minValue <= descriptor->maxValue;
}

struct BlockHead {
  uint8_t bytes[kFrameBytes + kMostSubTags * kDirEntrySize];
  uint32_t entries;
};

void AddSubTag(BlockHead* head, ToneSubTag tag, uint16_t type, uint32_t count, uint32_t value) {
  uint8_t* entry = head->bytes + 2 + head->entries * kDirEntrySize;
  StoreU16LE(entry, tag);
  StoreU16LE(entry + 2, type);
  StoreU32LE(entry + 4, count);
  StoreU32LE(entry + 8, value);
  ++head->entries;
}

BlockHead MakeHead(const BitmapHandle* descriptor, uint32_t tableEntries) {
  BlockHead head = {};
  if (TIFHasLevelRange(descriptor)) {
    AddSubTag(&head, kToneLowBit, kTypeShort, 1, static_cast<uint32_t>(descriptor->lowBit) & 0xFFFF);
    AddSubTag(&head, kToneHighBit, kTypeShort, 1, static_cast<uint32_t>(descriptor->highBit) & 0xFFFF);
  }
  if (tableEntries != 0) {
    AddSubTag(&head, kToneTable, kTypeByte, tableEntries * kBytesPerColor,
              head.entries == 0 ? kTableBehindNothing : kTableBehindLevels);
  }
  if (HasSampleRange(descriptor)) {
    // The second one repeats the minimum; files in the field have it so.
    AddSubTag(&head, kToneMinimum, kTypeLong, 1, static_cast<uint32_t>(descriptor->minValue));
    AddSubTag(&head, kToneMaximum, kTypeLong, 1, static_cast<uint32_t>(descriptor->minValue));
  }
  StoreU16LE(head.bytes, static_cast<uint16_t>(head.entries));
  return head;
}

void PutTable(DirectoryBuild* build, const uint8_t* table, uint32_t entries) {
  constexpr uint32_t kColorsAtOnce = 256;
  uint8_t bytes[kColorsAtOnce * kBytesPerColor];
  for (uint32_t done = 0; done < entries; done += kColorsAtOnce) {
    const uint32_t now = std::min(entries - done, kColorsAtOnce);
    for (uint32_t i = 0; i < now; ++i) {
      const uint8_t* color = table + static_cast<size_t>(done + i) * kPaletteEntryBytes;
      bytes[i * kBytesPerColor] = color[0];
      bytes[i * kBytesPerColor + 1] = color[1];
      bytes[i * kBytesPerColor + 2] = color[2];
    }
    TIFPutBytes(build, bytes, now * kBytesPerColor);
  }
}

} // namespace

int32_t TIFWriteToneBlock(DirectoryBuild* build) {
  const BitmapHandle* descriptor = build->job->descriptor;
  uint32_t tableEntries = 0;
  const uint8_t* table = nullptr;
  if (TIFHasToneTable(descriptor)) {
    table = static_cast<const uint8_t*>(krnGlobalPointer(descriptor->lookupTable));
    const size_t held = krnGlobalSize(descriptor->lookupTable) / kPaletteEntryBytes;
    tableEntries = static_cast<uint32_t>(std::min<size_t>(descriptor->lookupTableLength, held));
  }
  const BlockHead head = MakeHead(descriptor, tableEntries);
  if (head.entries == 0) {
    return kResultOk;
  }
  if (TIFTakePosition(build) != kResultOk) {
    return kResultSeekFailed;
  }
  const uint32_t tableBytes = tableEntries * kBytesPerColor;
  const uint32_t headBytes = kFrameBytes + head.entries * kDirEntrySize;
  TIFAddEntry(build, kTagPrivateDirectory, kTypeByte, headBytes + tableBytes, build->position);
  TIFPutBytes(build, head.bytes, headBytes);
  PutTable(build, table, tableEntries);
  if (tableBytes % 2 != 0) {
    TIFPutBytes(build, "", 1); // not counted in the entry; values stay even
  }
  return kResultOk;
}
