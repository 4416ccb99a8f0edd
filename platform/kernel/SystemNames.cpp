// UTF-16 names to UTF-8, strictly: a lone surrogate has no UTF-8 form, and a replacement would name another file.

#include "SystemNames.h"

#include <cstdint>

namespace kernel {
namespace {

// The code point at `name`, which moves on behind it; 0 at the end and for a lone surrogate, where it stays.
uint32_t TakeCodePoint(const char16_t*& name) {
  const uint32_t unit = *name;
  if (unit == 0 || (unit >= 0xDC00 && unit <= 0xDFFF)) {
    return 0;
  }
  if (unit < 0xD800 || unit > 0xDBFF) {
    ++name;
    return unit;
  }
  const uint32_t low = name[1];
  if (low < 0xDC00 || low > 0xDFFF) {
    return 0;
  }
  name += 2;
  return 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
}

size_t PutCodePoint(uint32_t code, char* out) {
  if (code < 0x80) {
    out[0] = static_cast<char>(code);
    return 1;
  }
  const size_t length = code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
  constexpr uint32_t kLead[] = {0, 0, 0xC0, 0xE0, 0xF0};
  for (size_t i = length - 1; i > 0; --i) {
    out[i] = static_cast<char>(0x80 | (code & 0x3F));
    code >>= 6;
  }
  out[0] = static_cast<char>(kLead[length] | code);
  return length;
}

} // namespace

bool NameToUtf8(const char16_t* name, char* out, size_t outBytes) {
  if (name == nullptr || *name == 0) {
    return false;
  }
  size_t used = 0;
  while (const uint32_t code = TakeCodePoint(name)) {
    if (outBytes - used < 5) {
      return false;
    }
    used += PutCodePoint(code, out + used);
  }
  out[used] = '\0';
  return *name == 0;
}

} // namespace kernel
