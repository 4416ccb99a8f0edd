// Unaligned loads, stores and swaps. All bytes of files and packed records move through these; a pointer is never cast.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

static_assert(std::endian::native == std::endian::little, "the packed records of the toolkit are little-endian");

inline uint16_t Swap16(uint16_t value) {
  return __builtin_bswap16(value);
}
inline uint32_t Swap32(uint32_t value) {
  return __builtin_bswap32(value);
}
inline uint64_t Swap64(uint64_t value) {
  return __builtin_bswap64(value);
}

inline uint16_t LoadU16LE(const void* bytes) {
  uint16_t value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}
inline uint32_t LoadU32LE(const void* bytes) {
  uint32_t value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}
inline uint64_t LoadU64LE(const void* bytes) {
  uint64_t value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}
inline uint16_t LoadU16BE(const void* bytes) {
  return Swap16(LoadU16LE(bytes));
}
inline uint32_t LoadU32BE(const void* bytes) {
  return Swap32(LoadU32LE(bytes));
}
inline uint64_t LoadU64BE(const void* bytes) {
  return Swap64(LoadU64LE(bytes));
}

inline void StoreU16LE(void* bytes, uint16_t value) {
  std::memcpy(bytes, &value, sizeof value);
}
inline void StoreU32LE(void* bytes, uint32_t value) {
  std::memcpy(bytes, &value, sizeof value);
}
inline void StoreU64LE(void* bytes, uint64_t value) {
  std::memcpy(bytes, &value, sizeof value);
}
inline void StoreU16BE(void* bytes, uint16_t value) {
  StoreU16LE(bytes, Swap16(value));
}
inline void StoreU32BE(void* bytes, uint32_t value) {
  StoreU32LE(bytes, Swap32(value));
}

inline float LoadF32LE(const void* bytes) {
  return std::bit_cast<float>(LoadU32LE(bytes));
}
inline void StoreF32LE(void* bytes, float value) {
  StoreU32LE(bytes, std::bit_cast<uint32_t>(value));
}

// Swap runs of samples in place.
inline void SwapRun16(uint8_t* bytes, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    StoreU16LE(bytes + 2 * i, Swap16(LoadU16LE(bytes + 2 * i)));
  }
}
inline void SwapRun32(uint8_t* bytes, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    StoreU32LE(bytes + 4 * i, Swap32(LoadU32LE(bytes + 4 * i)));
  }
}
inline void SwapRun64(uint8_t* bytes, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    StoreU64LE(bytes + 8 * i, Swap64(LoadU64LE(bytes + 8 * i)));
  }
}
