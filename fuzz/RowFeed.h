// A row service over rows that a target makes as they are asked for: bitmaps without pixels, no conversion.
#pragma once

#include <functional>
#include <vector>

#include <vxkernel/rows.h>

struct RowFeed {
  // Fills a row of `bytes` bytes.
  std::function<void(int32_t row, uint8_t* out, size_t bytes)> fill;
  int32_t rowsUntilRefusal = -1; // -1: no row is refused

  // Where a request's extra1 points.
  intptr_t Extra() { return reinterpret_cast<intptr_t>(this); }
  template <class Request> void Serve(Request& request) {
    request.saveStart = Start;
    request.saveEnd = End;
    request.saveGetRow = GetRow;
  }

private:
  static int32_t Start(BitmapHandle* bitmap, BitmapHandle** descriptor, int32_t bitsPerPixel, uint32_t* flags,
                       void** rowBufferOut, int32_t one, intptr_t extra1, intptr_t extra2, void** context);
  static int32_t GetRow(BitmapHandle* bitmap, BitmapHandle* descriptor, void* rowBuffer, int32_t rowIndex, int32_t one,
                        uint32_t flags, intptr_t extra1, intptr_t extra2, void* context);
  static int32_t End(BitmapHandle* bitmap, BitmapHandle** descriptor, uint32_t* flags, int32_t zero, void** context);

  struct Context {
    uint8_t front[8];
    VxColor palette[kPaletteEntries];
  };
  BitmapHandle descriptor_ = {};
  Context context_ = {};
  std::vector<uint8_t> rowBuffer_;
};
