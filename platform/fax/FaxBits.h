// Bits of a stream, most significant first: a reader over a strip in memory and a writer into a buffer.
// Both keep 64 bits at hand, so that several code words go by between two looks at memory.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

inline uint64_t FaxLoad64(const uint8_t* bytes) {
  uint64_t value;
  std::memcpy(&value, bytes, sizeof value);
  if constexpr (std::endian::native == std::endian::little) {
    value = __builtin_bswap64(value);
  }
  return value;
}

inline void FaxStore64(uint8_t* bytes, uint64_t value) {
  if constexpr (std::endian::native == std::endian::little) {
    value = __builtin_bswap64(value);
  }
  std::memcpy(bytes, &value, sizeof value);
}

// Bits not yet taken stand at the top of `window`, `count` of them; what follows them there are the stream's next
// bits too, or zeros. Behind `end` the memory goes on with kFaxReaderPadding zero bytes: no code word is all zeros, so
// that decoding past the end stops by itself.
struct FaxBitReader {
  const uint8_t* next;
  const uint8_t* end;
  uint64_t window;
  uint32_t count;
};

inline constexpr size_t kFaxReaderPadding = 32;

inline FaxBitReader FaxBitReaderAt(const uint8_t* start, const uint8_t* end) {
  return FaxBitReader{start, end, 0, 0};
}

// At least 56 bits at hand afterwards. Past the padding the window just goes on with zeros, and FaxBitsLeft stays
// below zero.
inline void FaxRefill(FaxBitReader& reader) {
  if (reader.next <= reader.end + 8) [[likely]] {
    reader.window |= FaxLoad64(reader.next) >> reader.count;
    reader.next += (63 - reader.count) >> 3;
  }
  reader.count |= 56;
}

inline void FaxTake(FaxBitReader& reader, uint32_t bits) {
  reader.window <<= bits;
  reader.count -= bits;
}

inline uint32_t FaxPeek(const FaxBitReader& reader, int bits) {
  return static_cast<uint32_t>(reader.window >> (64 - bits));
}

// Bits of the stream not yet taken; zero or less at its end.
inline int64_t FaxBitsLeft(const FaxBitReader& reader) {
  return (reader.end - reader.next) * 8 + static_cast<int64_t>(reader.count);
}

// The first byte of which no bit has been taken, within the stream.
inline const uint8_t* FaxNextByte(const FaxBitReader& reader) {
  const int64_t left = FaxBitsLeft(reader);
  return reader.end - (left > 0 ? left >> 3 : 0);
}

// Bits put and not yet stored stand at the top of `window`, fewer than 8 after each FaxFlushBytes. The buffer needs 8
// bytes of room behind what is put.
struct FaxBitWriter {
  uint8_t* next;
  uint64_t window;
  uint32_t count;
};

// At most 56 bits between two flushes; `bits` has nothing above `length`, which is 1 or more.
inline void FaxPut(FaxBitWriter& writer, uint64_t bits, uint32_t length) {
  writer.count += length;
  writer.window |= bits << (64 - writer.count);
}

inline void FaxFlushBytes(FaxBitWriter& writer) {
  FaxStore64(writer.next, writer.window);
  writer.next += writer.count >> 3;
  writer.window <<= writer.count & ~7u;
  writer.count &= 7;
}

// Fills the last byte with zeros.
inline void FaxAlign(FaxBitWriter& writer) {
  FaxFlushBytes(writer);
  writer.count = (writer.count + 7) & ~7u;
  FaxFlushBytes(writer);
}

inline uint64_t FaxReverseWord(uint64_t word) {
  word = (word >> 1 & 0x5555555555555555u) | (word & 0x5555555555555555u) << 1;
  word = (word >> 2 & 0x3333333333333333u) | (word & 0x3333333333333333u) << 2;
  return (word >> 4 & 0x0F0F0F0F0F0F0F0Fu) | (word & 0x0F0F0F0F0F0F0F0Fu) << 4;
}

// Exchanges the bits of every byte, for fill order 2.
inline void FaxReverseBytes(uint8_t* bytes, size_t count) {
  size_t i = 0;
  for (; i + sizeof(uint64_t) <= count; i += sizeof(uint64_t)) {
    uint64_t word;
    std::memcpy(&word, bytes + i, sizeof word);
    word = FaxReverseWord(word);
    std::memcpy(bytes + i, &word, sizeof word);
  }
  for (; i < count; ++i) {
    bytes[i] = static_cast<uint8_t>(FaxReverseWord(bytes[i]));
  }
}
