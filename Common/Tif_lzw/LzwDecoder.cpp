// LZW decoding: the bytes of one strip, read from the file through the page's codecBuffer, handed out in portions of
// any size. The strip reader pulls rows from here.
//
// Two ways lead through the table. The plain one walks the chain of prefixes and suffixes and serves whatever a damaged
// stream can bring: codes that are not there yet, loops, entries left over from an earlier table. The fast one serves
// regular entries, whose whole chain was made since the last Clear: their strings are kept in blocks of eight bytes, so
// that a string is stored to its place block by block from its end. Both give the same bytes for every input.

#include "Tif_lzw/LzwCodec.h"

#include <cstring>

#include "tif_com/BitReversal.h"
#include "tif_com/ByteOrder.h"
#include "tif_com/Memory.h"
#include "tif_com/Tags.h"

namespace {

enum DecoderFlag : uint32_t {
  kOldStyle = 0x2,         // least significant bit first, late width change
  kWidthLimitReached = 0x4 // the table outgrew its widest code
};

constexpr uint32_t kFirstFreeCode = 258;
constexpr uint32_t kTableEntries = 8192;
constexpr uint32_t kLastEntry = 8191; // never filled
constexpr uint32_t kStackEntries = 4905;
constexpr uint32_t kLongestString = kStackEntries; // longer ones are cut, which only the plain walk does
constexpr uint32_t kBlock = 8;                     // bytes of a string that one entry holds
constexpr uint32_t kNoCode = 0xFFFFFFFFu;          // previousCode at the start of a strip
constexpr uint32_t kFirstWidth = 9;
constexpr uint32_t kPlainWidthLimit = 13; // codes stay below this width
constexpr uint32_t kWideWidthLimit = 14;
constexpr uint32_t kCarriedBytes = 4;             // bytes kept in front of a refill, for the code that spans it
constexpr uint32_t kUnreadBits = 12;              // a code is read while this many bits of the buffer are left
constexpr size_t kFastBitRange = size_t{1} << 30; // bits that one round of the fast loop covers at most

// What is known of an entry besides its bytes. `length` is 0 for an entry that is not regular, and means nothing from
// nextCode on; `suffix` stays from table to table and strip to strip.
struct StringInfo {
  uint16_t length;
  uint16_t link; // the entry whose string ends where this entry's block begins, for strings longer than a block
  uint8_t first;
  uint8_t suffix;
  uint16_t spare;
};

struct TableEntry {
  uint64_t block; // the last (length - 1) % 8 + 1 bytes of the string, first byte lowest
  StringInfo info;
};

} // namespace

struct LzwDecoder {
  uint32_t flags;
  uint32_t codeWidth;
  uint32_t maxCode;
  uint32_t nextCode;
  uint32_t previousCode;
  uint32_t prefixEnd; // prefixes from here on are 0
  int32_t lastByte;   // first byte of the latest string, -1 before any
  uint32_t widthLimit;
  int64_t bitPosition;
  int64_t bitLimit;
  uint32_t inputByteCount;
  uint32_t inputRemaining;
  uint32_t stackDepth;      // left over from a failed walk, else 0 between codes
  uint32_t pendingPosition; // the rest of a string that was longer than the request
  uint32_t pendingEnd;
  TableEntry table[kTableEntries];
  uint16_t prefix[kTableEntries];
  uint8_t stack[kStackEntries];
  uint8_t pending[kLongestString + kBlock];
};

namespace {

uint32_t WidthThreshold(const LzwDecoder* decoder, uint32_t width) {
  return (1u << width) - ((decoder->flags & kOldStyle) != 0 ? 1u : 2u);
}

LzwDecoder* AllocateDecoder() {
  auto* decoder = static_cast<LzwDecoder*>(TIFAllocZero(1, sizeof(LzwDecoder)));
  if (decoder == nullptr) {
    return nullptr;
  }
  for (uint32_t i = 0; i < kLzwClearCode; ++i) {
    const auto byte = static_cast<uint8_t>(i);
    decoder->table[i] = {i, {1, 0, byte, byte, 0}};
  }
  decoder->prefixEnd = kFirstFreeCode;
  return decoder;
}

// The first block of a strip. False when there is not even a code in it.
bool ReadFirstBlock(TifPage* page, LzwDecoder* decoder, VxFileHandle file, uint32_t stripBytes) {
  const uint32_t asked = page->codecBufferSize < stripBytes ? page->codecBufferSize : stripBytes;
  const uint32_t got = krnFileRead(file, page->codecBuffer, asked);
  if (got == kKrnIoFailed || got < 2) {
    return false;
  }
  if (page->fillOrder == kFillOrderLsbFirst) {
    TIFReverseBits(page->codecBuffer, asked);
  }
  decoder->inputByteCount = got;
  decoder->inputRemaining = stripBytes - got;
  page->codecByteCount = got;
  return true;
}

// Slides the last bytes of the buffer to its front and reads on behind them. What the read gives is not looked at:
// past the end of the file the buffer's old bytes are decoded once more. Only the first block obeys fill order 2.
bool Refill(TifPage* page, LzwDecoder* decoder) {
  if (decoder->inputRemaining == 0 || page->codecBufferSize <= kCarriedBytes) {
    return false;
  }
  decoder->bitPosition -= (int64_t{decoder->inputByteCount} - kCarriedBytes) * 8;
  uint8_t* buffer = page->codecBuffer;
  std::memmove(buffer, buffer + page->codecBufferSize - kCarriedBytes, kCarriedBytes);
  const uint32_t room = page->codecBufferSize - kCarriedBytes;
  const uint32_t asked = decoder->inputRemaining < room ? decoder->inputRemaining : room;
  krnFileRead(page->codecFile, buffer + kCarriedBytes, asked);
  decoder->inputRemaining -= asked;
  decoder->inputByteCount = asked + kCarriedBytes;
  page->codecByteCount = decoder->inputByteCount;
  decoder->bitLimit = int64_t{decoder->inputByteCount} * 8 - kUnreadBits;
  return true;
}

// One code, wherever it stands. Bytes behind the buffer count as 0; there is no code in the last 11 bits of a strip.
uint32_t ReadCode(TifPage* page, LzwDecoder* decoder) {
  if (decoder->bitPosition > decoder->bitLimit && !Refill(page, decoder)) {
    return kLzwEndCode;
  }
  uint8_t window[4] = {};
  const auto start = static_cast<uint64_t>(decoder->bitPosition) >> 3;
  for (uint32_t i = 0; i < sizeof window && start + i < page->codecBufferSize; ++i) {
    window[i] = page->codecBuffer[start + i];
  }
  const auto loose = static_cast<uint32_t>(decoder->bitPosition & 7);
  const uint32_t width = decoder->codeWidth;
  decoder->bitPosition += width;
  if ((decoder->flags & kOldStyle) != 0) {
    return (LoadU32LE(window) >> loose) & ((1u << width) - 1);
  }
  return (LoadU32BE(window) << loose) >> (32 - width);
}

// The entry of `previous` (the entry of code `previousCode`) continued by one byte.
inline TableEntry Extend(const TableEntry& previous, uint32_t previousCode, uint8_t suffix) {
  const uint32_t length = previous.info.length;
  TableEntry entry;
  if (length % kBlock == 0) {
    entry.block = suffix;
    entry.info.link = static_cast<uint16_t>(previousCode);
  } else {
    entry.block = previous.block | uint64_t{suffix} << (length % kBlock * 8);
    entry.info.link = previous.info.link;
  }
  entry.info.length = length < kLongestString ? static_cast<uint16_t>(length + 1) : uint16_t{0};
  entry.info.first = previous.info.first;
  entry.info.suffix = suffix;
  entry.info.spare = 0;
  return entry;
}

bool IsRegular(const LzwDecoder* decoder, uint32_t code) {
  return code < decoder->nextCode && decoder->table[code].info.length != 0;
}

// Makes the table entry that follows a string, and widens the codes when the table outgrows them.
void AddEntry(LzwDecoder* decoder) {
  if (decoder->nextCode >= kLastEntry) {
    return;
  }
  const uint32_t code = decoder->nextCode;
  const uint32_t previousCode = decoder->previousCode;
  const auto suffix = static_cast<uint8_t>(decoder->lastByte);
  if (IsRegular(decoder, previousCode)) {
    decoder->table[code] = Extend(decoder->table[previousCode], previousCode, suffix);
  } else {
    decoder->table[code] = {0, {0, 0, 0, suffix, 0}};
  }
  decoder->prefix[code] = static_cast<uint16_t>(previousCode);
  decoder->nextCode = code + 1;
  if (decoder->prefixEnd < decoder->nextCode) {
    decoder->prefixEnd = decoder->nextCode;
  }
  if (decoder->nextCode > decoder->maxCode) {
    if (++decoder->codeWidth >= decoder->widthLimit) {
      decoder->flags |= kWidthLimitReached;
      --decoder->codeWidth;
    }
    decoder->maxCode = WidthThreshold(decoder, decoder->codeWidth);
  }
}

// Writes a regular string. `target` has room for its length and 7 bytes more.
inline void StoreString(const LzwDecoder* decoder, TableEntry entry, uint8_t* target) {
  uint32_t at = (entry.info.length - 1u) & ~(kBlock - 1);
  StoreU64LE(target + at, entry.block);
  while (at != 0) {
    entry = decoder->table[entry.info.link];
    at -= kBlock;
    StoreU64LE(target + at, entry.block);
  }
}

inline void Push(LzwDecoder* decoder, uint8_t byte) {
  if (decoder->stackDepth < kStackEntries) {
    decoder->stack[decoder->stackDepth++] = byte;
  }
}

// The plain walk: the string of `code` onto the stack, last byte first. False when the walk leaves the table. A string
// that would not fit is cut short; a loop ends where it closes.
bool PushString(LzwDecoder* decoder, uint32_t code) {
  uint32_t walk = code;
  if (code >= decoder->nextCode) {
    Push(decoder, static_cast<uint8_t>(decoder->lastByte));
    walk = decoder->previousCode;
  }
  while (walk >= kLzwClearCode && decoder->stackDepth < kStackEntries - 1) {
    if (walk >= kTableEntries) {
      return false;
    }
    Push(decoder, decoder->table[walk].info.suffix);
    const auto next = static_cast<uint32_t>(static_cast<int16_t>(decoder->prefix[walk]));
    if (next == walk || next == code) {
      break;
    }
    walk = next;
  }
  if (walk >= kTableEntries) {
    return false;
  }
  decoder->lastByte = decoder->table[walk].info.suffix;
  Push(decoder, static_cast<uint8_t>(decoder->lastByte));
  return true;
}

// Moves the stack to `out`; what finds no room there waits in `pending`.
uint8_t* PopStack(LzwDecoder* decoder, uint8_t* out, const uint8_t* end) {
  uint32_t depth = decoder->stackDepth;
  while (depth != 0 && out != end) {
    *out++ = decoder->stack[--depth];
  }
  decoder->pendingPosition = 0;
  decoder->pendingEnd = depth;
  for (uint32_t i = 0; i < decoder->pendingEnd; ++i) {
    decoder->pending[i] = decoder->stack[--depth];
  }
  decoder->stackDepth = 0;
  return out;
}

void ClearTable(LzwDecoder* decoder) {
  std::memset(decoder->prefix + kFirstFreeCode, 0, (decoder->prefixEnd - kFirstFreeCode) * sizeof decoder->prefix[0]);
  decoder->prefixEnd = kFirstFreeCode;
  decoder->nextCode = kFirstFreeCode;
  decoder->codeWidth = kFirstWidth;
  decoder->maxCode = WidthThreshold(decoder, kFirstWidth);
}

enum class CodeResult { kGoOn, kEnd, kCorrupt };

// One code by the plain way, of any kind. `*out` moves behind the bytes delivered.
CodeResult DecodeCode(TifPage* page, LzwDecoder* decoder, uint8_t** out, const uint8_t* end) {
  uint32_t code = ReadCode(page, decoder);
  if (code == kLzwEndCode) {
    return CodeResult::kEnd;
  }
  if (code == kLzwClearCode) {
    ClearTable(decoder);
    // The code behind a Clear is a byte whatever it says, a second Clear too.
    code = ReadCode(page, decoder);
    if (code == kLzwEndCode) {
      return CodeResult::kEnd;
    }
    *(*out)++ = static_cast<uint8_t>(code);
    decoder->flags &= ~static_cast<uint32_t>(kWidthLimitReached);
    decoder->lastByte = static_cast<int32_t>(code);
    decoder->previousCode = code;
    return CodeResult::kGoOn;
  }
  if (!PushString(decoder, code)) {
    return CodeResult::kCorrupt;
  }
  *out = PopStack(decoder, *out, end);
  AddEntry(decoder);
  decoder->previousCode = code;
  return CodeResult::kGoOn;
}

enum class BitOrder { kMsbFirst, kLsbFirst };

// A run of regular codes between the width changes and special codes of the stream: stops ahead of the first code that
// needs the plain way, at the end of the buffer, or when the request is served. The last string of a request goes
// through `pending`, from where its rest is taken by the next request.
template <BitOrder order>
uint8_t* DecodeRegularCodes(TifPage* page, LzwDecoder* decoder, uint8_t* out, uint8_t* const end) {
  if (!IsRegular(decoder, decoder->previousCode) || page->codecBufferSize < sizeof(uint32_t) ||
      decoder->bitPosition > decoder->bitLimit) {
    return out;
  }
  // The last place at which a whole word can be loaded, and bits counted from a whole byte: they fit a size_t.
  int64_t lastBit = (int64_t{page->codecBufferSize} - int64_t{sizeof(uint32_t)}) * 8 + 7;
  lastBit = lastBit < decoder->bitLimit ? lastBit : decoder->bitLimit;
  const int64_t baseBit = decoder->bitPosition & ~int64_t{7};
  if (lastBit < decoder->bitPosition) {
    return out;
  }
  const uint8_t* const base = page->codecBuffer + static_cast<size_t>(baseBit >> 3);
  auto bit = static_cast<size_t>(decoder->bitPosition - baseBit);
  const size_t bitEnd =
      lastBit - baseBit < static_cast<int64_t>(kFastBitRange) ? static_cast<size_t>(lastBit - baseBit) : kFastBitRange;

  TableEntry* const table = decoder->table;
  uint32_t nextCode = decoder->nextCode;
  uint32_t maxCode = decoder->maxCode;
  uint32_t width = decoder->codeWidth;
  uint32_t previousCode = decoder->previousCode;
  TableEntry previous = table[previousCode];

  while (bit <= bitEnd && out != end) {
    uint32_t code;
    if constexpr (order == BitOrder::kMsbFirst) {
      code = (LoadU32BE(base + (bit >> 3)) << (bit & 7)) >> (32 - width);
    } else {
      code = (LoadU32LE(base + (bit >> 3)) >> (bit & 7)) & ((1u << width) - 1);
    }
    TableEntry current;
    if (code < nextCode) [[likely]] {
      current = table[code];
    } else if (code == nextCode && nextCode < kLastEntry) {
      current = Extend(previous, previousCode, previous.info.first);
    } else {
      break;
    }
    const uint32_t length = current.info.length;
    if (length == 0) [[unlikely]] {
      break;
    }
    const auto room = static_cast<size_t>(end - out);
    if (room >= length + (kBlock - 1)) [[likely]] {
      StoreString(decoder, current, out);
      out += length;
    } else {
      StoreString(decoder, current, decoder->pending);
      const uint32_t taken = room < length ? static_cast<uint32_t>(room) : length;
      std::memcpy(out, decoder->pending, taken);
      out += taken;
      decoder->pendingPosition = taken;
      decoder->pendingEnd = length;
    }
    bit += width;
    if (nextCode < kLastEntry) {
      table[nextCode] = Extend(previous, previousCode, current.info.first);
      decoder->prefix[nextCode] = static_cast<uint16_t>(previousCode);
      ++nextCode;
      if (nextCode > maxCode) {
        if (++width >= decoder->widthLimit) {
          decoder->flags |= kWidthLimitReached;
          --width;
        }
        maxCode = WidthThreshold(decoder, width);
      }
    }
    previous = current;
    previousCode = code;
  }

  decoder->bitPosition = baseBit + static_cast<int64_t>(bit);
  decoder->nextCode = nextCode;
  decoder->prefixEnd = decoder->prefixEnd < nextCode ? nextCode : decoder->prefixEnd;
  decoder->maxCode = maxCode;
  decoder->codeWidth = width;
  decoder->previousCode = previousCode;
  decoder->lastByte = previous.info.first;
  return out;
}

// What the last request left of a string.
uint8_t* TakePending(LzwDecoder* decoder, uint8_t* out, const uint8_t* end) {
  const auto room = static_cast<size_t>(end - out);
  uint32_t taken = decoder->pendingEnd - decoder->pendingPosition;
  taken = room < taken ? static_cast<uint32_t>(room) : taken;
  std::memcpy(out, decoder->pending + decoder->pendingPosition, taken);
  decoder->pendingPosition += taken;
  return out + taken;
}

} // namespace

int32_t TIFLZWDecodeStart(TifPage* page, LzwDecoder** decoder, VxFileHandle file, uint32_t stripBytes) {
  if (*decoder == nullptr) {
    *decoder = AllocateDecoder();
    if (*decoder == nullptr) {
      return kResultNoMemory;
    }
  }
  LzwDecoder* state = *decoder;
  page->codecFile = file;
  if (!ReadFirstBlock(page, state, file, stripBytes)) {
    TIFLZWFreeDecoder(state);
    return kResultReadFailed;
  }
  const bool oldStyle = page->codecBuffer[0] == 0 && (page->codecBuffer[1] & 1) != 0;
  state->flags = oldStyle ? kOldStyle : 0u;
  state->codeWidth = kFirstWidth;
  state->maxCode = WidthThreshold(state, kFirstWidth);
  state->nextCode = kFirstFreeCode;
  state->previousCode = kNoCode;
  state->lastByte = -1;
  state->bitPosition = 0;
  state->bitLimit = int64_t{state->inputByteCount} * 8 - kUnreadBits;
  state->stackDepth = 0;
  state->pendingPosition = 0;
  state->pendingEnd = 0;
  const bool wideCodes = page->fileOptions != nullptr && (page->fileOptions->flags & kReadLzw13Bit) != 0;
  state->widthLimit = wideCodes ? kWideWidthLimit : kPlainWidthLimit;
  return kResultOk;
}

int32_t TIFLZWDecode(TifPage* page, uint8_t* out, uint32_t byteCount, int32_t, LzwDecoder* decoder) {
  if (byteCount == 0) {
    return kResultOk;
  }
  uint8_t* const end = out + byteCount;
  out = TakePending(decoder, out, end);
  while (out != end) {
    if (decoder->stackDepth == 0) {
      out = (decoder->flags & kOldStyle) != 0 ? DecodeRegularCodes<BitOrder::kLsbFirst>(page, decoder, out, end)
                                              : DecodeRegularCodes<BitOrder::kMsbFirst>(page, decoder, out, end);
      if (out == end) {
        break;
      }
    }
    const CodeResult result = DecodeCode(page, decoder, &out, end);
    if (result == CodeResult::kCorrupt) {
      return kResultLzwOverflow;
    }
    if (result == CodeResult::kEnd) {
      // A strip that ends early is no error: its last byte fills the rest.
      std::memset(out, static_cast<uint8_t>(decoder->lastByte), static_cast<size_t>(end - out));
      break;
    }
  }
  return kResultOk;
}

void TIFLZWFreeDecoder(LzwDecoder* decoder) {
  TIFFree(decoder);
}
