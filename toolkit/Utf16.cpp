// Conversion between UTF-8 and UTF-16, strict in both directions.

#include "toolkit/Utf16.h"

namespace toolkit {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// One code point from the front of `text`, which is shortened by the bytes it took.
char32_t TakeUtf8(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text.front());
  text.remove_prefix(1);
  if (lead < 0x80) {
    return lead;
  }
  const int more = lead >= 0xF0 && lead < 0xF5   ? 3
                   : lead >= 0xE0 && lead < 0xF0 ? 2
                   : lead >= 0xC2 && lead < 0xE0 ? 1
                                                 : 0;
  if (more == 0 || text.size() < static_cast<size_t>(more)) {
    return kReplacement;
  }
  char32_t code = static_cast<char32_t>(lead) & (0x3Fu >> more);
  for (int i = 0; i < more; ++i) {
    const auto next = static_cast<unsigned char>(text[static_cast<size_t>(i)]);
    if ((next & 0xC0u) != 0x80u) {
      return kReplacement;
    }
    code = (code << 6) | (next & 0x3Fu);
  }
  constexpr char32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
  if (code < kSmallest[more] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
    return kReplacement;
  }
  text.remove_prefix(static_cast<size_t>(more));
  return code;
}

void PutUtf8(std::string& out, char32_t code) {
  if (code < 0x80) {
    out += static_cast<char>(code);
  } else if (code < 0x800) {
    out += static_cast<char>(0xC0 | (code >> 6));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    out += static_cast<char>(0xE0 | (code >> 12));
    out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (code >> 18));
    out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  }
}

} // namespace

std::u16string ToUtf16(std::string_view utf8) {
  std::u16string out;
  while (!utf8.empty()) {
    const char32_t code = TakeUtf8(utf8);
    if (code < 0x10000) {
      out += static_cast<char16_t>(code);
    } else {
      out += static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10));
      out += static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
    }
  }
  return out;
}

std::string ToUtf8(std::u16string_view utf16) {
  std::string out;
  for (size_t i = 0; i < utf16.size(); ++i) {
    const char32_t unit = utf16[i];
    if (unit >= 0xD800 && unit < 0xDC00 && i + 1 < utf16.size() && utf16[i + 1] >= 0xDC00 && utf16[i + 1] < 0xE000) {
      PutUtf8(out, 0x10000 + ((unit - 0xD800) << 10) + (utf16[i + 1] - 0xDC00u));
      ++i;
    } else {
      PutUtf8(out, unit >= 0xD800 && unit < 0xE000 ? kReplacement : unit);
    }
  }
  return out;
}

} // namespace toolkit
