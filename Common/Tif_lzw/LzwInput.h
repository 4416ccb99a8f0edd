// The decoder's side of the file: the codes of one strip, read through the page's codecBuffer. The LZW decoder alone
// uses this.
#pragma once

#include <cstdint>

#include <vxtif/page.h>

enum class LzwBitOrder : uint32_t { kMsbFirst, kLsbFirst }; // the second is the old style

struct LzwInput {
  LzwBitOrder bitOrder;
  uint32_t byteCount; // bytes in the buffer
  uint32_t remaining; // bytes of the strip not yet asked for
  int64_t bitPosition;
  int64_t bitLimit; // the last place at which a code may begin
};

// Reads the first block of a strip of `stripBytes` bytes and recognises its bit order. False when the file cannot be
// read or has not two bytes.
bool TIFLZWOpenInput(TifPage* page, LzwInput* input, uint32_t stripBytes);

// The next code of `width` bits, or kLzwEndCode at the end of the strip.
uint32_t TIFLZWReadCode(TifPage* page, LzwInput* input, uint32_t width);
