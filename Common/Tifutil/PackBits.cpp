// TIFF PackBits (compression 32773): the row encoder of the strip writer, and the reader of raw PackBits pages, which
// pulls rows out of one endless stream.

#include "Tifutil/PackBits.h"

#include <bit>
#include <cstring>

#include "tif_com/BitReversal.h"
#include "tif_com/ByteOrder.h"

namespace {

constexpr uint32_t kLongestPiece = 128; // bytes of a run or a literal
constexpr uint32_t kShortestRun = 3;
constexpr uint8_t kNoOperation = 128;
constexpr uint32_t kRunBase = 257; // a run's length is this minus its control byte
constexpr uint64_t kLowBits = 0x0101010101010101u;
constexpr uint64_t kHighBits = 0x8080808080808080u;
constexpr uint32_t kWord = sizeof(uint64_t);

// The number of bytes in front of the first zero byte of a word in memory order; 8 without one.
inline uint32_t BytesBeforeZero(uint64_t word) {
  const uint64_t zeros = (word - kLowBits) & ~word & kHighBits; // exact up to the lowest zero byte
  return zeros == 0 ? kWord : static_cast<uint32_t>(std::countr_zero(zeros)) / 8;
}

// How often the first byte repeats within `limit` bytes.
inline uint32_t CountRun(const uint8_t* source, uint32_t limit) {
  const uint64_t pattern = kLowBits * source[0];
  uint32_t count = 1;
  while (count + kWord <= limit) {
    const uint64_t difference = LoadU64LE(source + count) ^ pattern;
    if (difference != 0) {
      return count + static_cast<uint32_t>(std::countr_zero(difference)) / 8;
    }
    count += kWord;
  }
  while (count < limit && source[count] == source[0]) {
    ++count;
  }
  return count;
}

// The number of bytes within `limit` that differ from the byte behind them; `left` bytes are readable. The last byte of
// a row has none behind it.
inline uint32_t CountDistinct(const uint8_t* source, uint32_t limit, uint32_t left) {
  uint32_t count = 0;
  while (count < limit && count + kWord + 1 <= left) {
    const uint32_t distinct = BytesBeforeZero(LoadU64LE(source + count) ^ LoadU64LE(source + count + 1));
    count += distinct;
    if (distinct != kWord) {
      return count < limit ? count : limit;
    }
  }
  while (count < limit && count + 1 < left && source[count] != source[count + 1]) {
    ++count;
  }
  return count < limit ? count : limit;
}

// The length of the literal that begins here: up to the next run of three, 128 bytes, or the row's end. Its first byte
// belongs to it in any case. A pair stays in the literal, and is split when only one of it fits.
uint32_t LiteralLength(const uint8_t* source, uint32_t left) {
  const uint32_t limit = left < kLongestPiece ? left : kLongestPiece;
  uint32_t length = 1;
  while (length < limit) {
    length += CountDistinct(source + length, limit - length, left - length);
    if (length == limit) {
      break;
    }
    const uint32_t rest = left - length;
    if (rest == 1) {
      return length + 1;
    }
    if (rest >= kShortestRun && source[length + 2] == source[length]) {
      break;
    }
    length += length < kLongestPiece - 1 ? 2u : 1u;
  }
  return length;
}

// The input block of the stream reader and what has been taken from it.
struct PackBitsInput {
  VxFileHandle file;
  uint8_t* block;
  uint32_t position;
  uint32_t taken;
  uint32_t emptyRefills; // in a row
  BitOrder order;
};

// Makes at least one byte available. A short read is not noticed: the bytes of the block before are taken once more,
// with their bits reversed once more. Only a second refill that brought nothing is false.
bool Fill(PackBitsInput* input) {
  if (input->position != kPackBitsInputBlock) {
    return true;
  }
  const uint32_t got = krnFileRead(input->file, input->block, kPackBitsInputBlock);
  input->emptyRefills = got == 0 || got == kKrnIoFailed ? input->emptyRefills + 1 : 0;
  if (input->emptyRefills == 2) {
    return false;
  }
  if (input->order == BitOrder::kReverse) {
    TIFReverseBits(input->block, kPackBitsInputBlock);
  }
  input->position = 0;
  return true;
}

inline uint8_t Take(PackBitsInput* input) {
  ++input->taken;
  return input->block[input->position++];
}

// Copies a literal; `*wanted` falls by what was copied. False when the input or the request ended.
bool CopyLiteral(PackBitsInput* input, uint8_t** out, uint32_t* wanted, uint32_t length) {
  while (length != 0) {
    if (*wanted == 0 || !Fill(input)) {
      return false;
    }
    uint32_t piece = kPackBitsInputBlock - input->position;
    piece = piece < length ? piece : length;
    piece = piece < *wanted ? piece : *wanted;
    std::memcpy(*out, input->block + input->position, piece);
    input->position += piece;
    input->taken += piece;
    *out += piece;
    *wanted -= piece;
    length -= piece;
  }
  return true;
}

// Exactly `length` bytes, at least one: in pieces of sixteen, the last of which goes over bytes already done. Short
// pieces are the rule, for which a call would cost more than the copy.
inline void CopyPiece(uint8_t* out, const uint8_t* source, uint32_t length) {
  if (length == kLongestPiece) {
    std::memcpy(out, source, kLongestPiece);
  } else if (length >= 16) {
    for (uint32_t at = 0; at + 16 < length; at += 16) {
      std::memcpy(out + at, source + at, 16);
    }
    std::memcpy(out + length - 16, source + length - 16, 16);
  } else if (length >= 8) {
    const uint64_t front = LoadU64LE(source);
    StoreU64LE(out + length - 8, LoadU64LE(source + length - 8));
    StoreU64LE(out, front);
  } else if (length >= 4) {
    const uint32_t front = LoadU32LE(source);
    StoreU32LE(out + length - 4, LoadU32LE(source + length - 4));
    StoreU32LE(out, front);
  } else {
    out[0] = source[0];
    out[length / 2] = source[length / 2];
    out[length - 1] = source[length - 1];
  }
}

inline void FillPiece(uint8_t* out, uint8_t value, uint32_t length) {
  const uint64_t pattern = kLowBits * value;
  if (length >= 8) {
    for (uint32_t at = 0; at + 8 < length; at += 8) {
      StoreU64LE(out + at, pattern);
    }
    StoreU64LE(out + length - 8, pattern);
  } else if (length >= 4) {
    StoreU32LE(out, static_cast<uint32_t>(pattern));
    StoreU32LE(out + length - 4, static_cast<uint32_t>(pattern));
  } else {
    out[0] = value;
    out[length / 2] = value;
    out[length - 1] = value;
  }
}

// The packets of the block that need no refill and end within the request.
void DecodeWholePackets(PackBitsInput* input, uint8_t** out, uint32_t* wanted) {
  PackBitsSpan span = {input->block + input->position, input->block + kPackBitsInputBlock, *out, *out + *wanted};
  TIFPackBitsDecodeSpan(&span);
  const auto position = static_cast<uint32_t>(span.in - input->block);
  input->taken += position - input->position;
  input->position = position;
  *out = span.out;
  *wanted = static_cast<uint32_t>(span.outEnd - span.out);
}

} // namespace

void TIFPackBitsEncodeRow(uint8_t** cursor, const uint8_t* source, uint32_t byteCount) {
  uint8_t* target = *cursor;
  uint32_t left = byteCount;
  while (left != 0) {
    uint32_t length;
    if (left >= kShortestRun && source[0] == source[1] && source[1] == source[2]) {
      length = CountRun(source, left < kLongestPiece ? left : kLongestPiece);
      *target++ = static_cast<uint8_t>(kRunBase - length);
      *target++ = source[0];
    } else {
      length = LiteralLength(source, left);
      *target++ = static_cast<uint8_t>(length - 1);
      std::memcpy(target, source, length);
      target += length;
    }
    source += length;
    left -= length;
  }
  *cursor = target;
}

void TIFPackBitsDecodeSpan(PackBitsSpan* span) {
  const uint8_t* in = span->in;
  uint8_t* out = span->out;
  while (out != span->outEnd && span->inEnd - in > static_cast<ptrdiff_t>(kLongestPiece)) { // room for any packet
    const uint8_t control = *in;
    const auto room = static_cast<size_t>(span->outEnd - out);
    if (control < kNoOperation) {
      const uint32_t length = control + 1u;
      if (length > room) {
        break;
      }
      CopyPiece(out, in + 1, length);
      out += length;
      in += length + 1;
    } else if (control > kNoOperation) {
      const uint32_t length = kRunBase - control;
      if (length > room) {
        break;
      }
      FillPiece(out, in[1], length);
      out += length;
      in += 2;
    } else {
      ++in;
    }
  }
  span->in = in;
  span->out = out;
}

uint32_t TIFPackBitsReadStream(uint8_t* out, VxFileHandle file, uint32_t wanted, uint8_t* inputBlock,
                               uint32_t* position, BitOrder order) {
  PackBitsInput input = {file, inputBlock, *position, 0, 0, order};
  while (wanted != 0 && Fill(&input)) {
    DecodeWholePackets(&input, &out, &wanted);
    if (wanted == 0 || !Fill(&input)) {
      break;
    }
    const uint8_t control = Take(&input);
    if (control < kNoOperation) {
      if (!CopyLiteral(&input, &out, &wanted, control + 1u)) {
        break;
      }
    } else if (control > kNoOperation) {
      if (!Fill(&input)) {
        break;
      }
      const uint8_t value = Take(&input);
      uint32_t length = kRunBase - control;
      length = length < wanted ? length : wanted;
      std::memset(out, value, length);
      out += length;
      wanted -= length;
    }
  }
  *position = input.position;
  return input.taken;
}
