// LZW decoding: the bytes of one strip, read from the file through the page's codecBuffer, handed out in portions of
// any size. The strip reader pulls rows from here.
//
// Strings are unwound into a history of the decoder's own and copied from there to the request, so that a request may
// end within a string. Two ways lead through the table. The plain one walks the chain of prefixes and suffixes and
// serves whatever a damaged stream can bring: codes that are not there yet, loops, entries left over from an earlier
// table. The fast one serves regular entries, whose whole chain was made since the last Clear: the string of such an
// entry, the one decoded when it was made and a byte more, stands in the history in one piece, and is copied sixteen
// bytes at a time. Both give the same bytes for every input; an entry may be taken for irregular at any time, never the
// other way round.

#include "Tif_lzw/LzwCodec.h"

#include <cstring>

#include "Tif_lzw/LzwInput.h"
#include "tif_com/ByteOrder.h"
#include "tif_com/Memory.h"

namespace {

constexpr uint32_t kFirstFreeCode = 258;
constexpr uint32_t kTableEntries = 8192;
constexpr uint32_t kLastEntry = 8191; // never filled
constexpr uint32_t kStackEntries = 4905;
constexpr uint32_t kLongestString = kStackEntries; // longer ones are cut, which only the plain walk does
constexpr uint32_t kNoCode = 0xFFFFFFFFu;          // previousCode at the start of a strip
constexpr uint32_t kFirstWidth = 9;
constexpr uint32_t kPlainWidthLimit = 13; // codes stay below this width
constexpr uint32_t kWideWidthLimit = 14;

// The history begins with every byte once, the strings of the codes below 256.
constexpr uint32_t kHistoryStart = 256;
constexpr uint32_t kHistoryLimit = 0x1E000; // no string begins from here on
constexpr uint32_t kCopyBytes = 16;         // a copy may touch so many bytes less one behind a string
constexpr uint32_t kHistoryBytes = kHistoryLimit + 2 * kLongestString + 2 * kCopyBytes;

// Where a string stands: its place in the history and its length. A length of 0 keeps an entry from the fast way.
using StringPlace = uint32_t;
constexpr uint32_t kLengthBits = 13;
constexpr uint32_t kLengthMask = (1u << kLengthBits) - 1;
constexpr StringPlace kIrregular = 0;
constexpr StringPlace kUnplaced = 1u << kLengthBits; // regular, but the history has lost it

constexpr StringPlace MakePlace(uint32_t start, uint32_t length) {
  return start << kLengthBits | length;
}
constexpr uint32_t LengthOf(StringPlace place) {
  return place & kLengthMask;
}
constexpr uint32_t StartOf(StringPlace place) {
  return place >> kLengthBits;
}

static_assert(kHistoryBytes < 1u << (32 - kLengthBits) && kLongestString <= kLengthMask);

constexpr uint32_t kBitsPerWord = 64;
constexpr uint32_t kCodesPerWord = 4; // of up to 13 bits, with up to 7 loose bits in front

} // namespace

struct LzwDecoder {
  LzwInput input;
  uint32_t codeWidth;
  uint32_t maxCode;
  uint32_t nextCode;
  uint32_t previousCode;
  bool previousPlaced; // the previous string is regular, and the history ends with it
  uint32_t previousStart;
  uint32_t historyEnd;
  uint32_t delivered; // the history from here on has not been handed out
  uint32_t prefixEnd; // prefixes from here on are 0
  int32_t lastByte;   // first byte of the latest string, -1 before any
  uint32_t widthLimit;
  uint32_t stackDepth; // left over from a failed walk, else 0 between codes
  StringPlace places[kTableEntries];
  uint16_t prefix[kTableEntries];
  uint8_t suffix[kTableEntries];
  uint8_t stack[kStackEntries];
  uint8_t history[kHistoryBytes];
};

namespace {

// The highest entry before codes widen; the old style widens them one entry later.
uint32_t WidthThreshold(const LzwDecoder* decoder, uint32_t width) {
  return (1u << width) - (decoder->input.bitOrder == LzwBitOrder::kLsbFirst ? 1u : 2u);
}

LzwDecoder* AllocateDecoder() {
  auto* decoder = static_cast<LzwDecoder*>(TIFAlloc(1, sizeof(LzwDecoder)));
  if (decoder == nullptr) {
    return nullptr;
  }
  // Only what a damaged stream can reach before it is made: places and the history are looked at behind that.
  std::memset(decoder->prefix, 0, sizeof decoder->prefix);
  std::memset(decoder->suffix, 0, sizeof decoder->suffix);
  decoder->places[kLzwClearCode] = kIrregular;
  decoder->places[kLzwEndCode] = kIrregular;
  for (uint32_t i = 0; i < kLzwClearCode; ++i) {
    decoder->suffix[i] = static_cast<uint8_t>(i);
    decoder->history[i] = static_cast<uint8_t>(i);
    decoder->places[i] = MakePlace(i, 1);
  }
  decoder->prefixEnd = kFirstFreeCode;
  return decoder;
}

bool IsRegular(const LzwDecoder* decoder, uint32_t code) {
  return code < decoder->nextCode && decoder->places[code] != kIrregular;
}

void Widen(LzwDecoder* decoder) {
  if (decoder->nextCode > decoder->maxCode) {
    decoder->codeWidth += decoder->codeWidth + 1 < decoder->widthLimit ? 1u : 0u;
    decoder->maxCode = WidthThreshold(decoder, decoder->codeWidth);
  }
}

// Makes the table entry that a string brings: the string before and the first byte of this one, which stands behind it
// in the history when both are there in one piece.
void AddEntry(LzwDecoder* decoder, uint32_t stringStart) {
  if (decoder->nextCode >= kLastEntry) {
    return;
  }
  const uint32_t code = decoder->nextCode;
  const uint32_t length = stringStart - decoder->previousStart + 1;
  const bool regular = decoder->previousPlaced && length <= kLongestString;
  decoder->places[code] = regular ? MakePlace(decoder->previousStart, length) : kIrregular;
  decoder->prefix[code] = static_cast<uint16_t>(decoder->previousCode);
  decoder->suffix[code] = static_cast<uint8_t>(decoder->lastByte);
  decoder->nextCode = code + 1;
  if (decoder->prefixEnd < decoder->nextCode) {
    decoder->prefixEnd = decoder->nextCode;
  }
  Widen(decoder);
}

// A short string's block may reach behind the string into its target, which is why it is read as a whole first.
inline void CopyBlock(uint8_t* target, const uint8_t* source) {
  uint64_t words[2];
  static_assert(sizeof words == kCopyBytes);
  std::memcpy(words, source, kCopyBytes);
  std::memcpy(target, words, kCopyBytes);
}

// Copies a string within the history, or to it: `length` bytes and up to fifteen more.
inline void CopyString(uint8_t* target, const uint8_t* source, uint32_t length) {
  uint32_t at = 0;
  do {
    CopyBlock(target + at, source + at);
    at += kCopyBytes;
  } while (at < length);
}

// Writes the string of a regular entry that the history has lost, and notes for its whole chain that it stands there
// again: so no entry is unwound twice before the history begins anew.
uint32_t RestoreString(LzwDecoder* decoder, uint32_t code, uint32_t start) {
  uint32_t missing = 0;
  uint32_t walk = code;
  for (; decoder->places[walk] == kUnplaced; walk = decoder->prefix[walk]) {
    ++missing;
  }
  const StringPlace place = decoder->places[walk];
  uint8_t* const target = decoder->history + start;
  CopyString(target, decoder->history + StartOf(place), LengthOf(place));
  const uint32_t length = LengthOf(place) + missing;
  walk = code;
  for (uint32_t at = length; at > length - missing; --at) {
    target[at - 1] = decoder->suffix[walk];
    decoder->places[walk] = MakePlace(start, at);
    walk = decoder->prefix[walk];
  }
  return length;
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
    Push(decoder, decoder->suffix[walk]);
    const auto next = static_cast<uint32_t>(static_cast<int16_t>(decoder->prefix[walk]));
    if (next == walk || next == code) {
      break;
    }
    walk = next;
  }
  if (walk >= kTableEntries) {
    return false;
  }
  decoder->lastByte = decoder->suffix[walk];
  Push(decoder, static_cast<uint8_t>(decoder->lastByte));
  return true;
}

// The string of a code into the history, by whichever way serves. False when it is corrupt.
bool UnwindString(LzwDecoder* decoder, uint32_t code) {
  const uint32_t start = decoder->historyEnd;
  uint8_t* const target = decoder->history + start;
  if (decoder->stackDepth == 0 && IsRegular(decoder, code)) {
    const StringPlace place = decoder->places[code];
    uint32_t length = LengthOf(place);
    if (place == kUnplaced) {
      length = RestoreString(decoder, code, start);
    } else {
      CopyString(target, decoder->history + StartOf(place), length);
    }
    decoder->lastByte = target[0];
    decoder->historyEnd = start + length;
    AddEntry(decoder, start);
    decoder->previousPlaced = true;
  } else {
    if (!PushString(decoder, code)) {
      return false;
    }
    for (uint32_t i = 0; i < decoder->stackDepth; ++i) {
      target[i] = decoder->stack[decoder->stackDepth - 1 - i];
    }
    decoder->historyEnd = start + decoder->stackDepth;
    decoder->stackDepth = 0;
    const bool newest = code == decoder->nextCode && code < kLastEntry;
    AddEntry(decoder, start);
    // The entry just made is regular as any, but a leftover of the stack would stand behind its string.
    decoder->previousPlaced =
        newest && IsRegular(decoder, code) && LengthOf(decoder->places[code]) == decoder->historyEnd - start;
  }
  decoder->previousCode = code;
  decoder->previousStart = start;
  return true;
}

void ClearTable(LzwDecoder* decoder) {
  std::memset(decoder->prefix + kFirstFreeCode, 0, (decoder->prefixEnd - kFirstFreeCode) * sizeof decoder->prefix[0]);
  decoder->prefixEnd = kFirstFreeCode;
  decoder->nextCode = kFirstFreeCode;
  decoder->codeWidth = kFirstWidth;
  decoder->maxCode = WidthThreshold(decoder, kFirstWidth);
  decoder->previousPlaced = false; // its entry is gone, and an end of the stream may follow at once
}

// Begins the history anew. What it held has been handed out; only the previous string is still needed, in front of the
// next.
void RestartHistory(LzwDecoder* decoder) {
  const uint32_t length = decoder->historyEnd - decoder->previousStart;
  if (decoder->previousPlaced) {
    std::memmove(decoder->history + kHistoryStart, decoder->history + decoder->previousStart, length);
  }
  decoder->previousStart = kHistoryStart;
  decoder->historyEnd = kHistoryStart + (decoder->previousPlaced ? length : 0);
  decoder->delivered = decoder->historyEnd;
  for (uint32_t i = kFirstFreeCode; i < decoder->nextCode; ++i) {
    decoder->places[i] = decoder->places[i] == kIrregular ? kIrregular : kUnplaced;
  }
}

// Hands out what the history holds, as far as there is room.
uint8_t* Deliver(LzwDecoder* decoder, uint8_t* out, const uint8_t* end) {
  const auto room = static_cast<size_t>(end - out);
  const uint32_t held = decoder->historyEnd - decoder->delivered;
  const size_t taken = room < held ? room : held;
  std::memcpy(out, decoder->history + decoder->delivered, taken);
  decoder->delivered += static_cast<uint32_t>(taken);
  return out + taken;
}

enum class CodeResult { kGoOn, kCleared, kEnd, kCorrupt };

// One code of any kind.
CodeResult DecodeCode(TifPage* page, LzwDecoder* decoder) {
  uint32_t code = TIFLZWReadCode(page, &decoder->input, decoder->codeWidth);
  if (code == kLzwEndCode) {
    return CodeResult::kEnd;
  }
  if (code != kLzwClearCode) {
    return UnwindString(decoder, code) ? CodeResult::kGoOn : CodeResult::kCorrupt;
  }
  ClearTable(decoder);
  // The code behind a Clear is a byte whatever it says, a second Clear too.
  code = TIFLZWReadCode(page, &decoder->input, decoder->codeWidth);
  if (code == kLzwEndCode) {
    return CodeResult::kEnd;
  }
  decoder->previousStart = decoder->historyEnd;
  decoder->previousPlaced = code < kLzwClearCode;
  decoder->previousCode = code;
  decoder->lastByte = static_cast<int32_t>(code);
  decoder->history[decoder->historyEnd++] = static_cast<uint8_t>(code);
  return CodeResult::kCleared;
}

// How many codes can follow in words that lie whole in the buffer, with no change of the width and no end of the table
// among them.
uint32_t CountSteadyCodes(const TifPage* page, const LzwDecoder* decoder) {
  const uint32_t width = decoder->codeWidth;
  const int64_t wordLimit = (int64_t{page->codecBufferSize} - int64_t{sizeof(uint64_t)}) * 8 + 7;
  const int64_t lastWord = (wordLimit < decoder->input.bitLimit - width * (kCodesPerWord - 1)
                                ? wordLimit
                                : decoder->input.bitLimit - width * (kCodesPerWord - 1));
  if (lastWord < decoder->input.bitPosition) {
    return 0;
  }
  const auto words = static_cast<uint64_t>(lastWord - decoder->input.bitPosition) / (width * kCodesPerWord) + 1;
  const uint64_t inBuffer = words * kCodesPerWord;
  uint32_t inTable = 0xFFFFFFFFu;
  if (width + 1 < decoder->widthLimit) {
    inTable = decoder->maxCode - decoder->nextCode; // the last before a change goes the careful way
  } else if (decoder->nextCode < kLastEntry) {
    inTable = kLastEntry - decoder->nextCode;
  }
  return inBuffer < inTable ? static_cast<uint32_t>(inBuffer) : inTable;
}

enum class StepResult { kGoOn, kNeedsCare, kStop }; // the second leaves its code unread

// What the fast loop keeps in registers.
struct FastState {
  size_t end;      // of the history
  size_t stop;     // where the request or the history is full
  size_t nextCode; // the next entry, as long as there is one
  size_t previousCode;
  StringPlace newest; // the previous string and the byte behind it
};

enum class TableGrowth { kGrows, kFull };

// Codes of one byte more than the string before: its last byte is its first.
inline bool CopyNewest(LzwDecoder* decoder, const FastState& state) {
  const uint32_t length = LengthOf(state.newest);
  if (length >= kLongestString) {
    return false;
  }
  uint8_t* const target = decoder->history + state.end;
  CopyString(target, decoder->history + StartOf(state.newest), length);
  target[length - 1] = target[0];
  return true;
}

template <TableGrowth growth>
[[gnu::always_inline]] inline StepResult DecodeStep(LzwDecoder* decoder, FastState* state, size_t code) {
  constexpr bool kGrows = growth == TableGrowth::kGrows;
  uint8_t* const history = decoder->history;
  const size_t target = state->end;
  StringPlace place;
  if (code < state->nextCode) [[likely]] {
    place = decoder->places[code];
    const uint32_t length = LengthOf(place);
    if (length == 0) [[unlikely]] {
      return StepResult::kNeedsCare;
    }
    CopyBlock(history + target, history + StartOf(place));
    if (length > kCopyBytes) [[unlikely]] {
      if (length >= kLongestString) {
        return StepResult::kNeedsCare;
      }
      CopyString(history + target + kCopyBytes, history + StartOf(place) + kCopyBytes, length - kCopyBytes);
    }
  } else {
    if (!kGrows || code != state->nextCode || !CopyNewest(decoder, *state)) {
      return StepResult::kNeedsCare;
    }
    place = state->newest;
  }
  if constexpr (kGrows) {
    decoder->places[state->nextCode] = state->newest;
    decoder->prefix[state->nextCode] = static_cast<uint16_t>(state->previousCode);
    decoder->suffix[state->nextCode] = history[target];
    ++state->nextCode;
  }
  const size_t length = LengthOf(place);
  state->previousCode = code;
  state->newest = MakePlace(static_cast<uint32_t>(target), static_cast<uint32_t>(length + 1));
  state->end = target + length;
  return state->end < state->stop ? StepResult::kGoOn : StepResult::kStop;
}

// A run of regular codes of one width, four to a word. Stops ahead of the first code that needs care, and when the
// history has grown to `stop`.
template <uint32_t width, TableGrowth growth>
void DecodeSteadyCodes(const TifPage* page, LzwDecoder* decoder, uint32_t count, uint32_t stop) {
  constexpr uint64_t kMask = (uint64_t{1} << width) - 1;
  const uint8_t* input = page->codecBuffer + (decoder->input.bitPosition >> 3);
  auto bit = static_cast<uint32_t>(decoder->input.bitPosition & 7);
  const uint32_t previousLength = decoder->historyEnd - decoder->previousStart;
  FastState state = {decoder->historyEnd, stop, decoder->nextCode, decoder->previousCode,
                     MakePlace(decoder->previousStart, previousLength + 1)};

  for (uint32_t words = count / kCodesPerWord; words != 0; --words) {
    const uint64_t word = Swap64(LoadU64LE(input)) << bit;
    uint32_t done = 0;
    StepResult result = StepResult::kGoOn;
    do {
      result = DecodeStep<growth>(decoder, &state, static_cast<size_t>(word >> (kBitsPerWord - width)));
      if (result != StepResult::kGoOn) [[unlikely]] {
        break;
      }
      done = 1;
      result = DecodeStep<growth>(decoder, &state, static_cast<size_t>(word >> (kBitsPerWord - 2 * width) & kMask));
      if (result != StepResult::kGoOn) [[unlikely]] {
        break;
      }
      done = 2;
      result = DecodeStep<growth>(decoder, &state, static_cast<size_t>(word >> (kBitsPerWord - 3 * width) & kMask));
      if (result != StepResult::kGoOn) [[unlikely]] {
        break;
      }
      done = 3;
      result = DecodeStep<growth>(decoder, &state, static_cast<size_t>(word >> (kBitsPerWord - 4 * width) & kMask));
    } while (false);
    if (result == StepResult::kGoOn) [[likely]] {
      bit += width * kCodesPerWord;
      input += bit >> 3;
      bit &= 7;
      continue;
    }
    bit += width * (result == StepResult::kStop ? done + 1 : done);
    break;
  }

  decoder->input.bitPosition = (input - page->codecBuffer) * int64_t{8} + bit;
  decoder->nextCode = static_cast<uint32_t>(state.nextCode);
  decoder->prefixEnd = decoder->prefixEnd < decoder->nextCode ? decoder->nextCode : decoder->prefixEnd;
  decoder->previousCode = static_cast<uint32_t>(state.previousCode);
  decoder->previousStart = StartOf(state.newest);
  decoder->historyEnd = static_cast<uint32_t>(state.end);
  decoder->lastByte = decoder->history[decoder->previousStart];
}

// As many codes as the fast way serves; none is fine.
void DecodeFast(const TifPage* page, LzwDecoder* decoder, uint32_t stop) {
  if (!decoder->previousPlaced || decoder->stackDepth != 0 || decoder->input.bitOrder != LzwBitOrder::kMsbFirst ||
      decoder->historyEnd - decoder->previousStart >= kLongestString) {
    return;
  }
  const uint32_t count = CountSteadyCodes(page, decoder);
  if (count < kCodesPerWord) {
    return;
  }
  const bool full = decoder->nextCode >= kLastEntry;
  switch (decoder->codeWidth) {
  case 9:
    return DecodeSteadyCodes<9, TableGrowth::kGrows>(page, decoder, count, stop);
  case 10:
    return DecodeSteadyCodes<10, TableGrowth::kGrows>(page, decoder, count, stop);
  case 11:
    return DecodeSteadyCodes<11, TableGrowth::kGrows>(page, decoder, count, stop);
  case 12:
    return full ? DecodeSteadyCodes<12, TableGrowth::kFull>(page, decoder, count, stop)
                : DecodeSteadyCodes<12, TableGrowth::kGrows>(page, decoder, count, stop);
  default:
    return full ? DecodeSteadyCodes<13, TableGrowth::kFull>(page, decoder, count, stop)
                : DecodeSteadyCodes<13, TableGrowth::kGrows>(page, decoder, count, stop);
  }
}

// Decodes until the history holds `wanted` bytes that are not delivered, or until it is to begin anew: when it is full,
// and with every table, so that it stays in the cache.
CodeResult FillHistory(TifPage* page, LzwDecoder* decoder, size_t wanted) {
  const uint32_t start = decoder->delivered;
  const uint32_t stop = wanted < kHistoryLimit - start ? start + static_cast<uint32_t>(wanted) : kHistoryLimit;
  for (;;) {
    DecodeFast(page, decoder, stop);
    if (decoder->historyEnd >= stop) {
      return CodeResult::kGoOn;
    }
    const CodeResult result = DecodeCode(page, decoder);
    if (result != CodeResult::kGoOn || decoder->historyEnd >= stop) {
      return result;
    }
  }
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
  if (!TIFLZWOpenInput(page, &state->input, stripBytes)) {
    TIFLZWFreeDecoder(state);
    return kResultReadFailed;
  }
  state->codeWidth = kFirstWidth;
  state->maxCode = WidthThreshold(state, kFirstWidth);
  state->nextCode = kFirstFreeCode;
  state->previousCode = kNoCode;
  state->previousPlaced = false;
  state->previousStart = kHistoryStart;
  state->historyEnd = kHistoryStart;
  state->delivered = kHistoryStart;
  state->lastByte = -1;
  state->stackDepth = 0;
  const bool wideCodes = page->fileOptions != nullptr && (page->fileOptions->flags & kReadLzw13Bit) != 0;
  state->widthLimit = wideCodes ? kWideWidthLimit : kPlainWidthLimit;
  return kResultOk;
}

int32_t TIFLZWDecode(TifPage* page, uint8_t* out, uint32_t byteCount, int32_t, LzwDecoder* decoder) {
  if (byteCount == 0) {
    return kResultOk;
  }
  uint8_t* const end = out + byteCount;
  out = Deliver(decoder, out, end);
  auto result = CodeResult::kGoOn;
  while (out != end) {
    if (result == CodeResult::kCleared || decoder->historyEnd >= kHistoryLimit) {
      RestartHistory(decoder);
    }
    result = FillHistory(page, decoder, static_cast<size_t>(end - out));
    out = Deliver(decoder, out, end);
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
