// Values of tags, keys and comments between bytes in host order and the text that users write.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace toolkit {

struct TypedValue {
  uint16_t type = 0;
  uint32_t count = 0;
  std::vector<uint8_t> bytes; // host order, with a spare byte behind the value
};

// Reads a value written as text: numbers set apart by commas, rationals as 3/4, 3 or 0.75, ASCII as it stands, BYTE and
// UNDEFINED as numbers, as x and hexadecimal digits (x30323231) or as "text"; @FILE takes a file's bytes for the
// one-byte types. Throws std::invalid_argument with what is wrong.
TypedValue ParseValue(uint16_t type, std::string_view text);

// TYPE:VALUE.
TypedValue ParseTypedValue(std::string_view text);

// The other way. Long values are cut at about `most` characters, with the number of elements; 0 cuts nothing.
std::string FormatValue(uint16_t type, uint32_t count, std::span<const uint8_t> bytes, size_t most);

// A text of more than `most` bytes becomes one of about as many, with "..." behind it; characters of UTF-8 stay whole.
// 0 cuts nothing.
std::string CutText(std::string text, size_t most);

} // namespace toolkit
