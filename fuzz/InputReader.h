// Numbers taken from the front of an input, for targets whose input is no file: settings first, data behind them.
#pragma once

#include <cstdint>
#include <span>

class InputReader {
public:
  explicit InputReader(std::span<const uint8_t> input) : rest_(input) {}

  // The next byte, 0 behind the end.
  uint8_t Byte() {
    if (rest_.empty()) {
      return 0;
    }
    const uint8_t byte = rest_.front();
    rest_ = rest_.subspan(1);
    return byte;
  }
  uint32_t Below(uint32_t limit) { return Byte() % limit; }
  uint16_t Word() {
    const uint8_t low = Byte();
    return static_cast<uint16_t>(low | Byte() << 8);
  }
  // The next bytes, fewer at the end.
  std::span<const uint8_t> Bytes(size_t count) {
    const auto bytes = rest_.first(count < rest_.size() ? count : rest_.size());
    rest_ = rest_.subspan(bytes.size());
    return bytes;
  }
  std::span<const uint8_t> Rest() const { return rest_; }
  bool Empty() const { return rest_.empty(); }

private:
  std::span<const uint8_t> rest_;
};
