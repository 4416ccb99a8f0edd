// The encoder's side of the row service.

#include "FaxRowFetch.h"

#include "FaxRuns.h"

#include "vxkernel/memory.h"

namespace {

constexpr char kModule[] = "FaxRowFetch.cpp";
constexpr size_t kContextPalette = 8; // where the service's context holds the palette of its output
constexpr uint32_t kBottomUpView = 4;

// The first colour of the output is black, so that a 1 there is white.
bool IsBlackFirst(const void* context) {
  return context != nullptr && static_cast<const uint8_t*>(context)[kContextPalette] == 0;
}

size_t RowBufferBytes(const FaxRowFetch& fetch) {
  const size_t own = FaxFillBytes(fetch.width);
  const int32_t pitch = fetch.descriptor == nullptr ? fetch.bitmap->bytesPerLine : fetch.descriptor->bytesPerLine;
  return pitch > 0 && static_cast<size_t>(pitch) > own ? static_cast<size_t>(pitch) : own;
}

} // namespace

int32_t FaxBeginRows(FaxRowFetch* fetch, const FaxRowSource* source, BitmapHandle* bitmap, uint32_t flags,
                     intptr_t extra1, intptr_t extra2) {
  *fetch = FaxRowFetch{source, bitmap,        nullptr,        nullptr, flags,  extra1,
                       extra2, bitmap->width, bitmap->height, false,   nullptr};
  const int32_t started =
      source->saveStart(bitmap, &fetch->descriptor, 1, &fetch->flags, nullptr, 1, extra1, extra2, &fetch->context);
  if (started < 1) {
    return started;
  }
  fetch->inverts = source->invertBlackFirst != 0 && IsBlackFirst(fetch->context);
  fetch->row = static_cast<uint8_t*>(krnAllocZero(RowBufferBytes(*fetch), 1, __LINE__, kModule));
  if (fetch->row == nullptr) {
    FaxEndRows(fetch);
    return kFaxResultNoMemory;
  }
  return kFaxResultOk;
}

void FaxEndRows(FaxRowFetch* fetch) {
  krnFree(fetch->row, __LINE__, kModule);
  fetch->row = nullptr;
  fetch->source->saveEnd(fetch->bitmap, &fetch->descriptor, &fetch->flags, 0, &fetch->context);
}

int32_t FaxFetchRow(FaxRowFetch* fetch, int32_t row) {
  const int32_t index = fetch->bitmap->viewPerspective == kBottomUpView ? fetch->height - 1 - row : row;
  const int32_t result = fetch->source->saveGetRow(fetch->bitmap, fetch->descriptor, fetch->row, index, 1, fetch->flags,
                                                   fetch->extra1, fetch->extra2, fetch->context);
  if (result == kFaxResultOk && fetch->inverts) {
    const size_t bytes = FaxRowBytes(fetch->width);
    for (size_t i = 0; i < bytes; ++i) {
      fetch->row[i] = static_cast<uint8_t>(~fetch->row[i]);
    }
  }
  return result;
}
