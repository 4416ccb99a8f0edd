// PackBits strips (compression 32773). Control bytes below 128 announce literals, above 128 a repeated byte; 128 is
// nothing. Runs and literals are cut at the end of a row, and what they had left is dropped. The strip reader uses it;
// raw PackBits pages have a reader of their own.

#include "Tif/PackBitsStrip.h"

#include <algorithm>

#include "Tifutil/PackBits.h"
#include "tif_com/BitReversal.h"
#include "tif_com/Memory.h"
#include "tif_com/Tags.h"

namespace {

constexpr uint32_t kSmallestBuffer = 1024; // shortage is met by halving down to here
constexpr uint8_t kNoOperation = 128;

uint32_t Available(const TifPage* page) {
  return page->codecByteCount - page->codecPosition;
}

// Brings `need` more bytes into the buffer behind the unread ones.
int32_t MakeRoom(TifPage* page, uint32_t need) {
  if (page->codecBytesLeft < need) {
    return kResultCodecShort;
  }
  const uint32_t unread = Available(page);
  if (unread > 0) {
    krnMemMove(page->codecBuffer, page->codecBuffer + page->codecPosition, unread);
  }
  return TIFRefillPackBitsBuffer(page, unread);
}

// One literal or run, cut to `room` bytes. `written` receives what it gave.
int32_t DecodeItem(TifPage* page, uint8_t* out, uint64_t room, uint64_t* written) {
  *written = 0;
  if (Available(page) < 2) {
    const int32_t result = MakeRoom(page, 2);
    if (result != kResultOk) {
      return result;
    }
  }
  const uint8_t control = page->codecBuffer[page->codecPosition++];
  if (control == kNoOperation) {
    return kResultOk;
  }
  if (control > kNoOperation) {
    const uint64_t count = std::min<uint64_t>(257u - control, room);
    krnMemSet(out, page->codecBuffer[page->codecPosition], static_cast<size_t>(count));
    // Where a refill brought the control byte alone, the value is the buffer's stale byte and the position stays at the
    // end: behind it, what is left would count as almost 4 GiB.
    page->codecPosition = std::min(page->codecPosition + 1, uint32_t{page->codecByteCount});
    *written = count;
    return kResultOk;
  }
  auto count = static_cast<uint32_t>(std::min<uint64_t>(control + 1u, room));
  if (count > Available(page)) {
    const int32_t result = MakeRoom(page, count - Available(page));
    if (result != kResultOk) {
      return result;
    }
    count = std::min(count, Available(page));
  }
  krnMemCopy(out, page->codecBuffer + page->codecPosition, count);
  page->codecPosition += count;
  *written = count;
  return kResultOk;
}

// The items that need neither a refill nor a cut. Gives the number of bytes written.
uint64_t DecodeWholeItems(TifPage* page, uint8_t* out, uint64_t room) {
  PackBitsSpan span = {page->codecBuffer + page->codecPosition, page->codecBuffer + page->codecByteCount, out,
                       out + room};
  TIFPackBitsDecodeSpan(&span);
  page->codecPosition = static_cast<uint32_t>(span.in - page->codecBuffer);
  return static_cast<uint64_t>(span.out - out);
}

} // namespace

int32_t TIFAllocPackBitsBuffer(TifPage* page, uint32_t bytes) {
  for (;;) {
    page->codecBuffer = TIFAllocZeroBytes(bytes);
    if (page->codecBuffer != nullptr) {
      page->codecBufferSize = bytes;
      return kResultOk;
    }
    if (bytes <= kSmallestBuffer) {
      return kResultNoMemory;
    }
    bytes /= 2;
  }
}

int32_t TIFRefillPackBitsBuffer(TifPage* page, uint32_t keep) {
  const uint32_t room = page->codecBufferSize - keep;
  const uint32_t left = page->codecBytesLeft;
  const uint32_t got = krnFileRead(page->codecFile, page->codecBuffer + keep, left < room ? left : room);
  if (got == 0 || got == kKrnIoFailed) {
    return kResultReadFailed;
  }
  if (page->fillOrder == kFillOrderLsbFirst && (page->fillOrderMode & kFillReverseBefore) != 0) {
    TIFReverseBits(page->codecBuffer + keep, got);
  }
  page->codecBytesLeft -= got;
  page->codecByteCount = got + keep;
  page->codecPosition = 0;
  return kResultOk;
}

int32_t TIFDecodePackBitsRows(TifPage* page, uint8_t* out, uint32_t rowSize, uint32_t rows, TifLoadContext* context) {
  for (uint32_t row = 0; row < rows; ++row, out += rowSize) {
    uint64_t written = DecodeWholeItems(page, out, rowSize);
    while (written < rowSize) {
      uint64_t count = 0;
      const int32_t result = DecodeItem(page, out + written, rowSize - written, &count);
      if (result != kResultOk) {
        if (page->codecPosition == 0) {
          return result;
        }
        context->status = result;
        return kResultOk;
      }
      written += count;
      written += DecodeWholeItems(page, out + written, rowSize - written);
    }
  }
  return kResultOk;
}
