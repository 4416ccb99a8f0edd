// Values from text and as text.

#include "toolkit/TypedValue.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>

#include "toolkit/Fractions.h"
#include "toolkit/RawDirectories.h"
#include "toolkit/TagNames.h"

#include <vxtif/metadata.h>

namespace toolkit {
namespace {

[[noreturn]] void Complain(std::string_view text, const char* what) {
  throw std::invalid_argument("'" + std::string(text) + "' " + what);
}

template <class Number> Number ParseNumber(std::string_view text) {
  Number number = 0;
  if constexpr (std::is_floating_point_v<Number>) {
    const std::string copy(text);
    char* end = nullptr;
    const double parsed = std::strtod(copy.c_str(), &end);
    if (copy.empty() || *end != '\0') {
      Complain(text, "is no number");
    }
    number = static_cast<Number>(parsed);
  } else {
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || parsed.ptr != text.data() + text.size() || parsed.ec == std::errc::invalid_argument) {
      Complain(text, "is no whole number");
    }
    if (parsed.ec == std::errc::result_out_of_range) {
      Complain(text, "is out of range for its type");
    }
  }
  return number;
}

template <class Number> void Append(std::vector<uint8_t>& bytes, Number number) {
  uint8_t raw[sizeof number];
  std::memcpy(raw, &number, sizeof number);
  bytes.insert(bytes.end(), raw, raw + sizeof number);
}

// A fraction as it is written, or a whole or decimal number.
template <class Number> void AppendRational(std::vector<uint8_t>& bytes, std::string_view text) {
  if (text.starts_with('+')) {
    text.remove_prefix(1);
  }
  const size_t slash = text.find('/');
  if (text.find('.') != std::string_view::npos) {
    const Fraction fraction = ParseDecimal(text, static_cast<uint32_t>(std::numeric_limits<Number>::max()));
    if (fraction.negative && std::is_unsigned_v<Number>) {
      Complain(text, "is out of range for its type");
    }
    const auto numerator = static_cast<Number>(fraction.numerator);
    Append(bytes, static_cast<Number>(fraction.negative ? -numerator : numerator));
    Append(bytes, static_cast<Number>(fraction.denominator));
    return;
  }
  Append(bytes, ParseNumber<Number>(text.substr(0, slash)));
  Append(bytes, slash == std::string_view::npos ? Number{1} : ParseNumber<Number>(text.substr(slash + 1)));
}

void AppendElement(std::vector<uint8_t>& bytes, uint16_t type, std::string_view text) {
  switch (type) {
  case kTypeByte:
  case kTypeUndefined:
    Append(bytes, ParseNumber<uint8_t>(text));
    break;
  case kTypeSByte:
    Append(bytes, ParseNumber<int8_t>(text));
    break;
  case kTypeShort:
    Append(bytes, ParseNumber<uint16_t>(text));
    break;
  case kTypeSShort:
    Append(bytes, ParseNumber<int16_t>(text));
    break;
  case kTypeLong:
    Append(bytes, ParseNumber<uint32_t>(text));
    break;
  case kTypeSLong:
    Append(bytes, ParseNumber<int32_t>(text));
    break;
  case kTypeRational:
    AppendRational<uint32_t>(bytes, text);
    break;
  case kTypeSRational:
    AppendRational<int32_t>(bytes, text);
    break;
  case kTypeFloat:
    Append(bytes, ParseNumber<float>(text));
    break;
  default:
    Append(bytes, ParseNumber<double>(text));
    break;
  }
}

std::vector<uint8_t> BytesOfFile(const std::string& name) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(name.c_str(), "rb"), std::fclose);
  if (file == nullptr) {
    Complain(name, "cannot be opened");
  }
  std::vector<uint8_t> bytes;
  uint8_t buffer[65536];
  while (const size_t got = std::fread(buffer, 1, sizeof buffer, file.get())) {
    bytes.insert(bytes.end(), buffer, buffer + got);
  }
  return bytes;
}

std::vector<uint8_t> BytesOfHex(std::string_view digits) {
  std::vector<uint8_t> bytes;
  if (digits.size() % 2 != 0) {
    Complain(digits, "has an odd number of hexadecimal digits");
  }
  for (size_t at = 0; at < digits.size(); at += 2) {
    uint8_t byte = 0;
    const auto parsed = std::from_chars(digits.data() + at, digits.data() + at + 2, byte, 16);
    if (parsed.ec != std::errc() || parsed.ptr != digits.data() + at + 2) {
      Complain(digits, "is not hexadecimal");
    }
    bytes.push_back(byte);
  }
  return bytes;
}

std::vector<uint8_t> ParseElements(uint16_t type, std::string_view text) {
  const bool oneByte = ElementSize(type) == 1;
  const bool plainBytes = type == kTypeByte || type == kTypeUndefined;
  if (oneByte && text.starts_with('@')) {
    return BytesOfFile(std::string(text.substr(1)));
  }
  if (type == kTypeAscii) {
    return {text.begin(), text.end()};
  }
  if (plainBytes && text.starts_with('x')) {
    return BytesOfHex(text.substr(1));
  }
  if (plainBytes && text.size() >= 2 && text.starts_with('"') && text.ends_with('"')) {
    return {text.begin() + 1, text.end() - 1};
  }
  std::vector<uint8_t> bytes;
  for (size_t at = 0; at <= text.size();) {
    const size_t comma = std::min(text.find(',', at), text.size());
    AppendElement(bytes, type, text.substr(at, comma - at));
    at = comma + 1;
  }
  return bytes;
}

template <class Number> Number ElementAt(const uint8_t* bytes) {
  Number number = 0;
  std::memcpy(&number, bytes, sizeof number);
  return number;
}

std::string FormatReal(double number, int digits) {
  char text[40];
  std::snprintf(text, sizeof text, "%.*g", digits, number);
  return text;
}

std::string FormatElement(uint16_t type, const uint8_t* bytes) {
  switch (type) {
  case kTypeSByte:
    return std::to_string(ElementAt<int8_t>(bytes));
  case kTypeShort:
    return std::to_string(ElementAt<uint16_t>(bytes));
  case kTypeSShort:
    return std::to_string(ElementAt<int16_t>(bytes));
  case kTypeLong:
    return std::to_string(ElementAt<uint32_t>(bytes));
  case kTypeSLong:
    return std::to_string(ElementAt<int32_t>(bytes));
  case kTypeRational:
    return std::to_string(ElementAt<uint32_t>(bytes))
        .append("/")
        .append(std::to_string(ElementAt<uint32_t>(bytes + 4)));
  case kTypeSRational:
    return std::to_string(ElementAt<int32_t>(bytes)).append("/").append(std::to_string(ElementAt<int32_t>(bytes + 4)));
  case kTypeFloat:
    return FormatReal(static_cast<double>(ElementAt<float>(bytes)), 9);
  case kTypeDouble:
    return FormatReal(ElementAt<double>(bytes), 17);
  default:
    return std::to_string(*bytes);
  }
}

} // namespace

TypedValue ParseValue(uint16_t type, std::string_view text) {
  TypedValue value;
  value.type = type;
  value.bytes = ParseElements(type, text);
  value.count = static_cast<uint32_t>(value.bytes.size() / ElementSize(type));
  value.bytes.push_back(0);
  return value;
}

TypedValue ParseTypedValue(std::string_view text) {
  const size_t colon = text.find(':');
  const std::optional<uint16_t> type =
      colon == std::string_view::npos ? std::nullopt : ParseType(text.substr(0, colon));
  if (!type || ElementSize(*type) == 0) {
    Complain(text, "does not begin with a type and a colon, as in SHORT:1");
  }
  return ParseValue(*type, text.substr(colon + 1));
}

std::string FormatValue(uint16_t type, uint32_t count, std::span<const uint8_t> bytes, size_t most) {
  const size_t size = ElementSize(type);
  const size_t there = size == 0 ? 0 : std::min<size_t>(count, bytes.size() / size);
  if (type == kTypeAscii) {
    std::string text(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(there));
    while (!text.empty() && text.back() == '\0') {
      text.pop_back();
    }
    return CutText(std::move(text), most);
  }
  std::string text;
  for (size_t i = 0; i < there; ++i) {
    if (most != 0 && text.size() > most) {
      return text.append(", ... (").append(std::to_string(count)).append(")");
    }
    if (i != 0) {
      text += ',';
    }
    text += FormatElement(type, bytes.data() + i * size);
  }
  return text;
}

std::string CutText(std::string text, size_t most) {
  if (most == 0 || text.size() <= most) {
    return text;
  }
  const auto isInside = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; };
  constexpr size_t kLongestCharacter = 4;
  size_t end = most;
  while (end > 0 && most - end < kLongestCharacter && isInside(text[end])) {
    --end;
  }
  text.resize(end);
  return text + "...";
}

} // namespace toolkit
