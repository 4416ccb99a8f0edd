// What a target asks the end of its input: which page, which flags, which way. The bytes stay part of the file that the
// input is, so that every TIFF file is an input and every input a TIFF file to look at.
#pragma once

#include <cstdint>
#include <span>

inline constexpr size_t kChoiceBytes = 8;

// Where the end of a file tells whole edits, it is that long.
inline constexpr size_t kScriptBytes = 48;

class InputChoices {
public:
  explicit InputChoices(std::span<const uint8_t> input) : input_(input) {}

  // The next byte from the end, 0 behind the last one.
  uint8_t Byte() {
    if (taken_ >= kChoiceBytes || taken_ >= input_.size()) {
      return 0;
    }
    return input_[input_.size() - ++taken_];
  }
  uint32_t Below(uint32_t limit) { return Byte() % limit; }
  uint16_t Word() { return static_cast<uint16_t>(Byte() | Byte() << 8); }

private:
  std::span<const uint8_t> input_;
  size_t taken_ = 0;
};

// The input with choices put behind it, given in the order in which they will be asked for.
template <class Bytes> Bytes WithChoices(Bytes file, std::initializer_list<uint8_t> choices) {
  file.resize(file.size() + kChoiceBytes - choices.size());
  file.insert(file.end(), std::rbegin(choices), std::rend(choices));
  return file;
}
