// Bilevel rows in packed form: for each row alternating white and black run lengths, white first, until the runs cover
// the width. Used by loads whose source delivers runs.

#include "BitmapStore.h"

#include <cstring>

namespace kernel {
namespace {

uint32_t LoadRun(const uint8_t* at) {
  return static_cast<uint32_t>(at[0] | at[1] << 8);
}

// Sets the bits from `from` up to `to`, most significant first, in a row that is white there.
void SetBits(uint8_t* row, uint32_t from, uint32_t to) {
  const uint32_t firstByte = from / 8;
  const uint32_t lastByte = to / 8;
  const auto head = static_cast<uint8_t>(0xFF >> (from % 8));
  const auto tail = static_cast<uint8_t>(~(0xFF >> (to % 8)));
  if (firstByte == lastByte) {
    row[firstByte] = static_cast<uint8_t>(row[firstByte] | (head & tail));
    return;
  }
  row[firstByte] = static_cast<uint8_t>(row[firstByte] | head);
  std::memset(row + firstByte + 1, 0xFF, lastByte - firstByte - 1);
  if (tail != 0) { // a run that ends on a byte may end the row too
    row[lastByte] = static_cast<uint8_t>(row[lastByte] | tail);
  }
}

// Draws one row, or only passes over it when `row` is null. Where the next row's runs begin.
const uint8_t* TakeRow(const uint8_t* runs, uint32_t width, uint8_t* row) {
  uint32_t at = 0;
  for (bool black = false; at < width; black = !black) {
    const uint32_t run = LoadRun(runs);
    const uint32_t end = run < width - at ? at + run : width;
    runs += 2;
    if (black && row != nullptr && end > at) {
      SetBits(row, at, end);
    }
    at = end;
  }
  return runs;
}

} // namespace
} // namespace kernel

int32_t krnBitmapPutPackedRows(BitmapHandle* bitmap, int32_t, const void* data, int32_t firstRow, int32_t rowCount) {
  const kernel::PixelStore* store = kernel::FindStore(bitmap);
  if (store == nullptr || data == nullptr || store->bitsPerPixel != 1) {
    return 0;
  }
  const auto* runs = static_cast<const uint8_t*>(data);
  const int64_t endRow = static_cast<int64_t>(firstRow) + rowCount;
  int32_t stored = 0;
  for (int64_t y = firstRow; y < endRow && y < store->height; ++y) {
    uint8_t* row = nullptr;
    if (y >= 0) {
      row = store->pixels + static_cast<size_t>(y) * static_cast<size_t>(store->bytesPerLine);
      std::memset(row, 0, static_cast<size_t>(store->bytesPerLine));
      stored = 1;
    }
    runs = kernel::TakeRow(runs, static_cast<uint32_t>(store->width), row);
  }
  return stored;
}
