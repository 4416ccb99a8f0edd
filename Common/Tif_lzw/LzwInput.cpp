// Reading of LZW codes: blocks of the strip into the page's codecBuffer, and one code after the other out of it. The
// decoder's fast loop reads most codes by itself and comes here for those at the end of the buffer.

#include "Tif_lzw/LzwInput.h"

#include <cstring>

#include "Tif_lzw/LzwCodec.h"
#include "tif_com/BitReversal.h"
#include "tif_com/ByteOrder.h"
#include "tif_com/Tags.h"

namespace {

constexpr uint32_t kShortestStrip = 2;
constexpr uint32_t kCarriedBytes = 4; // bytes kept in front of a refill, for the code that spans it
constexpr uint32_t kUnreadBits = 12;  // a code is read while this many bits of the buffer are left

void SetLimit(LzwInput* input) {
  input->bitLimit = int64_t{input->byteCount} * 8 - kUnreadBits;
}

// Slides the last bytes of the buffer to its front and reads on behind them. What the read gives is not looked at:
// past the end of the file the buffer's old bytes are decoded once more. Only the first block obeys fill order 2.
bool Refill(TifPage* page, LzwInput* input) {
  if (input->remaining == 0 || page->codecBufferSize <= kCarriedBytes) {
    return false;
  }
  input->bitPosition -= (int64_t{input->byteCount} - kCarriedBytes) * 8;
  uint8_t* buffer = page->codecBuffer;
  std::memmove(buffer, buffer + page->codecBufferSize - kCarriedBytes, kCarriedBytes);
  const uint32_t room = page->codecBufferSize - kCarriedBytes;
  const uint32_t asked = input->remaining < room ? input->remaining : room;
  krnFileRead(page->codecFile, buffer + kCarriedBytes, asked);
  input->remaining -= asked;
  input->byteCount = asked + kCarriedBytes;
  page->codecByteCount = input->byteCount;
  SetLimit(input);
  return true;
}

} // namespace

bool TIFLZWOpenInput(TifPage* page, LzwInput* input, uint32_t stripBytes) {
  const uint32_t asked = page->codecBufferSize < stripBytes ? page->codecBufferSize : stripBytes;
  const uint32_t got = krnFileRead(page->codecFile, page->codecBuffer, asked);
  if (got == kKrnIoFailed || got < kShortestStrip) {
    return false;
  }
  if (page->fillOrder == kFillOrderLsbFirst) {
    TIFReverseBits(page->codecBuffer, asked);
  }
  page->codecByteCount = got;
  input->byteCount = got;
  input->remaining = stripBytes - got;
  input->bitPosition = 0;
  SetLimit(input);
  // A stream begins with the Clear code: this is how its nine bits look from the other end.
  const bool oldStyle = page->codecBuffer[0] == 0 && (page->codecBuffer[1] & 1) != 0;
  input->bitOrder = oldStyle ? LzwBitOrder::kLsbFirst : LzwBitOrder::kMsbFirst;
  return true;
}

// Bytes behind the buffer count as 0, which only a code of 13 bits can meet.
uint32_t TIFLZWReadCode(TifPage* page, LzwInput* input, uint32_t width) {
  if (input->bitPosition > input->bitLimit && !Refill(page, input)) {
    return kLzwEndCode;
  }
  uint8_t window[4] = {};
  const auto start = static_cast<uint64_t>(input->bitPosition) >> 3;
  for (uint32_t i = 0; i < sizeof window && start + i < page->codecBufferSize; ++i) {
    window[i] = page->codecBuffer[start + i];
  }
  const auto loose = static_cast<uint32_t>(input->bitPosition & 7);
  input->bitPosition += width;
  if (input->bitOrder == LzwBitOrder::kLsbFirst) {
    return (LoadU32LE(window) >> loose) & ((1u << width) - 1);
  }
  return (LoadU32BE(window) << loose) >> (32 - width);
}
