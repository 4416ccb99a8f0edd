// A row service over made-up rows: see the header.

#include "RowFeed.h"

#include <vxtif/results.h>
#include <vxtif/save.h>

int32_t RowFeed::Start(BitmapHandle* bitmap, BitmapHandle** descriptor, int32_t bitsPerPixel, uint32_t* flags,
                       void** rowBufferOut, int32_t, intptr_t extra1, intptr_t, void** context) {
  auto& feed = *reinterpret_cast<RowFeed*>(extra1);
  krnBitmapInit(&feed.descriptor_, kBitmapHandleSize, bitmap->width, bitmap->height, bitsPerPixel);
  const bool gray = bitmap->order == kOrderGray || (*flags & (kSaveRequestGray | kSaveRequestGrayRows)) != 0;
  feed.descriptor_.order = gray ? kOrderGray : (*flags & kSaveRequestBlueFirst) != 0 ? kOrderBlueFirst : kOrderRedFirst;
  feed.descriptor_.xResolution = bitmap->xResolution;
  feed.descriptor_.yResolution = bitmap->yResolution;
  for (uint32_t i = 0; i < kPaletteEntries; ++i) { // white first
    const auto value = static_cast<uint8_t>(255 - i);
    feed.context_.palette[i] = {value, gray ? value : uint8_t{7}, value, 0};
  }
  feed.context_.palette[0].green = 255;
  *descriptor = &feed.descriptor_;
  *context = &feed.context_;
  if (rowBufferOut != nullptr) {
    feed.rowBuffer_.assign(static_cast<size_t>(feed.descriptor_.bytesPerLine), 0);
    *rowBufferOut = feed.rowBuffer_.data();
  }
  return kResultOk;
}

int32_t RowFeed::GetRow(BitmapHandle*, BitmapHandle* descriptor, void* rowBuffer, int32_t rowIndex, int32_t, uint32_t,
                        intptr_t extra1, intptr_t, void*) {
  auto& feed = *reinterpret_cast<RowFeed*>(extra1);
  if (feed.rowsUntilRefusal == 0) {
    return kResultReadFailed;
  }
  feed.rowsUntilRefusal -= feed.rowsUntilRefusal > 0 ? 1 : 0;
  const auto bits = static_cast<size_t>(descriptor->width) * static_cast<size_t>(descriptor->bitsPerPixel);
  feed.fill(rowIndex, static_cast<uint8_t*>(rowBuffer), (bits + 7) / 8);
  return kResultOk;
}

int32_t RowFeed::End(BitmapHandle*, BitmapHandle**, uint32_t*, int32_t, void**) {
  return kResultOk;
}
