// TIFF PackBits (compression 32773): the row encoder of saves, and the sequential reader of raw PackBits pages. The
// strip reader has a decoder of its own that works through the page's codecBuffer; both share the loop over whole
// packets.
#pragma once

#include <cstdint>

#include <vxkernel/files.h>

constexpr uint32_t kPackBitsInputBlock = 32767; // the reader's input block, and the position that forces a refill

// Room that a row may need at worst.
constexpr uint64_t TIFPackBitsWorstCase(uint64_t byteCount) {
  return ((byteCount + 127) >> 7) * 129;
}

// Encodes one row from `source` to `cursor`, which moves to the first free byte.
void TIFPackBitsEncodeRow(uint8_t** cursor, const uint8_t* source, uint32_t byteCount);

enum class BitOrder : int32_t { kAsRead = 0, kReverse = 1 };

// Delivers up to `wanted` bytes; gives the number of bytes taken from `inputBlock`. `position` starts at
// kPackBitsInputBlock. Two refills in a row that read nothing end the call.
uint32_t TIFPackBitsReadStream(uint8_t* out, VxFileHandle file, uint32_t wanted, uint8_t* inputBlock,
                               uint32_t* position, BitOrder order);

// Packets that lie whole in front of both ends: the common case of any PackBits decoder, without a look at the ends in
// between. Stops ahead of the first packet that needs one; `in` and `out` move on.
struct PackBitsSpan {
  const uint8_t* in;
  const uint8_t* inEnd;
  uint8_t* out;
  uint8_t* outEnd;
};
void TIFPackBitsDecodeSpan(PackBitsSpan* span);
