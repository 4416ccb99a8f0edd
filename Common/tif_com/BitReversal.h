// The bit-reversal table, for fill order 2: entry i is i with its 8 bits in reverse order.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

constexpr std::array<uint8_t, 256> TIFMakeBitReversalTable() {
  std::array<uint8_t, 256> table{};
  for (unsigned i = 0; i < 256; ++i) {
    unsigned reversed = 0;
    for (unsigned bit = 0; bit < 8; ++bit) {
      reversed |= ((i >> bit) & 1u) << (7 - bit);
    }
    table[i] = static_cast<uint8_t>(reversed);
  }
  return table;
}

inline constexpr std::array<uint8_t, 256> kBitReversalTable = TIFMakeBitReversalTable();

// Reverses the bits of every byte in place; the same result as the table, in arithmetic that vectorises.
inline void TIFReverseBits(uint8_t* bytes, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    unsigned b = bytes[i];
    b = ((b & 0xF0u) >> 4) | ((b & 0x0Fu) << 4);
    b = ((b & 0xCCu) >> 2) | ((b & 0x33u) << 2);
    b = ((b & 0xAAu) >> 1) | ((b & 0x55u) << 1);
    bytes[i] = static_cast<uint8_t>(b);
  }
}
