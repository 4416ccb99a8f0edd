// The tone table of a deep grey bitmap, from the page's sample range (tags 280 and 281, or the private directory). The
// load driver builds it before the rows, the second pass of 32-bit samples once the range is known.

#include "Tif/ToneTable.h"

#include <algorithm>

#include "tif_com/Memory.h"
#include "tif_com/Tags.h"

namespace {

struct ToneRange {
  uint32_t low;  // samples below are all dark (light, white first)
  uint32_t high; // samples from here on are all light
};

void SetGray(VxColor* entry, uint32_t level) {
  entry->blue = entry->green = entry->red = static_cast<uint8_t>(level);
}

// The ramp keeps the low byte of a 16-bit level and not the high one: readers of the table expect it so.
void FillToneTable(VxColor* table, uint32_t entries, ToneRange range, uint32_t first) {
  const uint32_t low = std::min(range.low, entries);
  const uint32_t high = std::min(range.high, entries);
  const uint64_t distance = range.high - range.low;
  for (uint32_t i = 0; i < low; ++i) {
    SetGray(table + i, first);
  }
  for (uint32_t i = low; i < high; ++i) {
    const uint64_t k = i - range.low;
    const uint64_t level = (first == 255 ? distance - k : k) * 65535 / distance;
    SetGray(table + i, static_cast<uint32_t>(level & 0xFF));
  }
  for (uint32_t i = high; i < entries; ++i) {
    SetGray(table + i, 255 - first);
  }
}

} // namespace

int32_t TIFBuildToneLut(BitmapHandle* bitmap, const TifPage* page) {
  if (page->photometricInterpretation > kPhotometricBlackIsZero) {
    return kResultOk;
  }
  const auto depth = static_cast<uint32_t>(bitmap->bitsPerPixel);
  const uint32_t entries = depth >= 32 ? 0 : 1u << depth;
  const uint32_t white = entries - 1; // wraps for a depth without levels: then no range reaches it but the whole one
  const bool whiteFirst = page->photometricInterpretation == kPhotometricWhiteIsZero;
  ToneRange range = {page->minSampleValue, page->maxSampleValue};
  if (range.low == 0 && range.high == 0) {
    range.high = white;
  }
  if (range.low == 0 && range.high >= white && !whiteFirst) {
    return kResultOk;
  }
  if (range.low > range.high) {
    return kResultInvalidParameter;
  }
  TIFGlobalFree(bitmap->lookupTable);
  bitmap->lookupTable = 0;
  const VxGlobalHandle handle = TIFGlobalAlloc(entries, sizeof(VxColor));
  if (handle == 0) {
    return kResultNoMemory;
  }
  auto* const table = static_cast<VxColor*>(krnGlobalPointer(handle));
  krnMemSet(table, 0, size_t{entries} * sizeof(VxColor));
  FillToneTable(table, entries, range, whiteFirst ? 255 : 0);
  bitmap->flags |= kBitmapHasLookupTable;
  bitmap->lookupTable = handle;
  bitmap->lookupTableLength = entries;
  return kResultOk;
}
