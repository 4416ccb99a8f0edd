// LZW encoding: the bytes of one strip into a stream of codes, which goes through the page's codecBuffer to codecFile.
// The strip writer and the bare LZW save are the users.
//
// The table is hashed and holds one word a string: its last byte, the code that this byte continues, and its own code.
// Codes gather in a 64-bit word that is stored whole after each of them.

#include "Tif_lzw/LzwCodec.h"

#include <cstring>
#include <numeric>

#include "tif_com/ByteOrder.h"
#include "tif_com/Memory.h"

namespace {

constexpr uint32_t kFirstFreeCode = 258;
constexpr uint32_t kTableFullCode = 4094; // a Clear goes out when this code would be the next
constexpr uint32_t kFirstWidth = 9;
constexpr uint32_t kCodeBits = 12;
constexpr uint32_t kCodes = 1u << kCodeBits;
constexpr uint32_t kCodeMask = kCodes - 1;

// The strings that end in one byte have a column of slots, one for each code they may continue; columns overlap, and
// lie so that bytes close to each other have columns far apart.
constexpr uint32_t kColumnSpacing = 32;
constexpr uint32_t kColumnFactor = 149;
constexpr uint32_t kSlots = kCodes + 255 * kColumnSpacing;
constexpr uint32_t kProbeStep = 4099;       // where another string has the slot: has no divisor in common with kSlots
constexpr uint32_t kFreeSlot = 0xFFFFFFFFu; // the key of byte 255 behind code 4095, a code that never comes
static_assert(std::gcd(kSlots, kProbeStep) == 1);

constexpr int32_t kNothingRead = -1;
constexpr uint32_t kStoreBytes = sizeof(uint64_t); // bytes that the output store touches
constexpr uint32_t kCheckInterval = 10000;         // input bytes between two ratio checks
constexpr uint64_t kLongInput = 0x800000;          // from here on the ratio is computed the other way round
constexpr uint64_t kNoOutputRatio = 0x7FFFFFFF;

struct CodeOutput {
  uint64_t bits; // the lowest `bitCount` bits are still to be written
  uint32_t bitCount;
  uint32_t byteCount; // whole bytes in the buffer
};

} // namespace

struct LzwEncoder {
  int32_t currentCode; // the string matched so far; kNothingRead: a Clear is still due
  uint32_t codeWidth;
  uint32_t maxCode;
  uint32_t nextCode;
  uint64_t nextCheck; // input count of the next ratio check
  uint64_t ratio;     // best so far, in input bytes to 256 output bits
  uint64_t inputCount;
  uint64_t outputBits;
  CodeOutput output;
  uint8_t* buffer; // the page's codecBuffer, or `small` when that is too short for a store
  uint32_t bufferSize;
  uint8_t small[2 * kStoreBytes];
  uint32_t slots[kSlots];      // byte, prefix code and code of each string
  uint16_t slotOfCode[kCodes]; // for clearing the slots in use
};

namespace {

void ClearTable(LzwEncoder* encoder) {
  for (uint32_t code = kFirstFreeCode; code < encoder->nextCode; ++code) {
    encoder->slots[encoder->slotOfCode[code]] = kFreeSlot;
  }
  encoder->nextCode = kFirstFreeCode;
  encoder->nextCheck = kCheckInterval;
  encoder->ratio = 0;
  encoder->inputCount = 0;
  encoder->outputBits = 0;
}

void ChooseBuffer(const TifPage* page, LzwEncoder* encoder) {
  const bool roomy = page->codecBufferSize >= sizeof encoder->small;
  encoder->buffer = roomy ? page->codecBuffer : encoder->small;
  encoder->bufferSize = roomy ? page->codecBufferSize : uint32_t{sizeof encoder->small};
}

// Hands `byteCount` bytes of the buffer to the file. What the write gives is not looked at: a full disk does not stop
// an LZW save, and the bytes count as written.
void WriteBuffer(TifPage* page, const LzwEncoder* encoder, uint32_t byteCount) {
  if (byteCount != 0) {
    krnFileWrite(page->codecFile, encoder->buffer, byteCount);
    page->codecByteCount += byteCount;
  }
}

// Adds a code to the output, most significant bit first. The buffer is chosen anew whenever it is empty, so that a page
// that gets its buffer after the start of the encoder is served too.
inline void PutBits(TifPage* page, LzwEncoder* encoder, CodeOutput* output, uint32_t code, uint32_t width) {
  if (output->byteCount + kStoreBytes > encoder->bufferSize) [[unlikely]] {
    WriteBuffer(page, encoder, output->byteCount);
    ChooseBuffer(page, encoder);
    output->byteCount = 0;
  }
  output->bits = output->bits << width | code;
  const uint32_t bitCount = output->bitCount + width;
  StoreU64LE(encoder->buffer + output->byteCount, Swap64(output->bits << (64 - bitCount)));
  output->byteCount += bitCount >> 3;
  output->bitCount = bitCount & 7;
}

// The Clear itself goes out in the old width, and its bits count for the new table.
void Restart(TifPage* page, LzwEncoder* encoder) {
  ClearTable(encoder);
  TIFLZWPutCode(page, kLzwClearCode, encoder);
  encoder->codeWidth = kFirstWidth;
  encoder->maxCode = (1u << kFirstWidth) - 1;
}

// True when the stream has become worse since the last look. The counters stand in bytes and bits: only the trend
// matters.
bool RatioFell(LzwEncoder* encoder) {
  encoder->nextCheck = encoder->inputCount + kCheckInterval;
  uint64_t ratio;
  if (encoder->inputCount < kLongInput) {
    ratio = (encoder->inputCount << 8) / encoder->outputBits;
  } else {
    const uint64_t divisor = encoder->outputBits >> 8;
    ratio = divisor == 0 ? kNoOutputRatio : encoder->inputCount / divisor;
  }
  if (ratio < encoder->ratio) {
    return true;
  }
  encoder->ratio = ratio;
  return false;
}

// What follows a code of data: a Clear when the table is full, a wider code when it has outgrown the old one, or the
// look at the ratio.
void FinishCode(TifPage* page, LzwEncoder* encoder) {
  if (encoder->nextCode == kTableFullCode) {
    Restart(page, encoder);
  } else if (encoder->nextCode > encoder->maxCode) {
    ++encoder->codeWidth;
    encoder->maxCode = (1u << encoder->codeWidth) - 1;
  } else if (RatioFell(encoder)) {
    Restart(page, encoder);
  }
}

// Input bytes until the next ratio check is due; no input is so long when it is off.
uint64_t BytesToRatioCheck(const TifPage* page, const LzwEncoder* encoder) {
  if (page->lzwRatioCheck == 0) {
    return UINT64_MAX;
  }
  return encoder->inputCount >= encoder->nextCheck ? 0 : encoder->nextCheck - encoder->inputCount;
}

// The slot that holds a key, or the free one where it belongs; `slot` is one that another key has.
uint32_t ProbeSlots(const uint32_t* slots, uint32_t slot, uint32_t key) {
  do {
    slot = slot >= kProbeStep ? slot - kProbeStep : slot + (kSlots - kProbeStep);
  } while (slots[slot] != kFreeSlot && slots[slot] >> kCodeBits != key);
  return slot;
}

// Encodes until the width, the table or the ratio is due, so that a code is put and its successor entered with no other
// look, or to the end of the input. Gives the place reached; `*due` says why.
const uint8_t* EncodeSteadily(TifPage* page, LzwEncoder* encoder, const uint8_t* at, const uint8_t* end, bool* due) {
  const uint8_t* const start = at;
  const uint64_t toCheck = BytesToRatioCheck(page, encoder);
  const uint32_t width = encoder->codeWidth;
  const uint32_t firstCode = encoder->nextCode;
  const uint32_t lastCode = encoder->maxCode < kTableFullCode - 1 ? encoder->maxCode : kTableFullCode - 1;
  uint32_t* const slots = encoder->slots;
  uint32_t nextCode = firstCode;
  auto current = static_cast<uint32_t>(encoder->currentCode);
  CodeOutput output = encoder->output;
  *due = false;
  while (at != end && !*due) {
    const uint32_t byte = *at++;
    const uint32_t key = byte << kCodeBits | current;
    const uint32_t column = (byte * kColumnFactor & 255) * kColumnSpacing;
    const uint32_t* columnSlots = slots + column;
    asm("" : "+r"(columnSlots)); // keeps this sum for itself: the next code then waits for one load and nothing else
    uint32_t entry = columnSlots[current];
    if (entry >> kCodeBits == key) [[likely]] {
      current = entry & kCodeMask;
      continue;
    }
    uint32_t slot = column + current;
    if (entry != kFreeSlot) {
      slot = ProbeSlots(slots, slot, key);
      entry = slots[slot];
      if (entry != kFreeSlot) {
        current = entry & kCodeMask;
        continue;
      }
    }
    PutBits(page, encoder, &output, current, width);
    slots[slot] = key << kCodeBits | nextCode;
    encoder->slotOfCode[nextCode] = static_cast<uint16_t>(slot);
    current = byte;
    *due = nextCode++ == lastCode || static_cast<uint64_t>(at - start) >= toCheck;
  }
  encoder->currentCode = static_cast<int32_t>(current);
  encoder->nextCode = nextCode;
  encoder->inputCount += static_cast<uint64_t>(at - start);
  encoder->outputBits += uint64_t{nextCode - firstCode} * width;
  encoder->output = output;
  return at;
}

} // namespace

int32_t TIFLZWEncodeStart(TifPage* page, LzwEncoder** encoder) {
  if (*encoder == nullptr) {
    *encoder = static_cast<LzwEncoder*>(TIFAlloc(1, sizeof(LzwEncoder)));
    if (*encoder == nullptr) {
      return kResultNoMemory;
    }
    std::memset((*encoder)->slots, 0xFF, sizeof(*encoder)->slots);
    (*encoder)->nextCode = kFirstFreeCode;
  }
  LzwEncoder* state = *encoder;
  ClearTable(state);
  state->codeWidth = kFirstWidth;
  state->maxCode = (1u << kFirstWidth) - 1;
  state->currentCode = kNothingRead;
  state->output = {0, 0, 0};
  ChooseBuffer(page, state);
  return kResultOk;
}

int32_t TIFLZWEncode(TifPage* page, const uint8_t* data, uint32_t byteCount, int32_t, LzwEncoder* encoder) {
  if (byteCount == 0) {
    return kResultOk;
  }
  const uint8_t* at = data;
  const uint8_t* const end = data + byteCount;
  if (encoder->currentCode == kNothingRead) {
    TIFLZWPutCode(page, kLzwClearCode, encoder);
    ++encoder->inputCount;
    encoder->currentCode = *at++;
  }
  while (at != end) {
    bool due;
    at = EncodeSteadily(page, encoder, at, end, &due);
    if (due) {
      FinishCode(page, encoder);
    }
  }
  return kResultOk;
}

void TIFLZWPutCode(TifPage* page, uint32_t code, LzwEncoder* encoder) {
  PutBits(page, encoder, &encoder->output, code, encoder->codeWidth);
  encoder->outputBits += encoder->codeWidth;
}

void TIFLZWFlush(TifPage* page, LzwEncoder* encoder) {
  // The store of the last code has left its loose bits, filled up with zeros, behind the whole bytes.
  WriteBuffer(page, encoder, encoder->output.byteCount + (encoder->output.bitCount != 0 ? 1u : 0u));
  encoder->output = {0, 0, 0};
}

void TIFLZWEncodeEnd(TifPage* page, LzwEncoder* encoder) {
  if (encoder->currentCode != kNothingRead) {
    TIFLZWPutCode(page, static_cast<uint32_t>(encoder->currentCode), encoder);
    encoder->currentCode = kNothingRead;
  }
  TIFLZWPutCode(page, kLzwEndCode, encoder);
  TIFLZWFlush(page, encoder);
}

void TIFLZWFreeEncoder(LzwEncoder* encoder) {
  TIFFree(encoder);
}
