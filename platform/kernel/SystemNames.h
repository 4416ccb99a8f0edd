// Names between the toolkit's UTF-16 and the system's form. Used by the files and the library loader.
#pragma once

#include <cstddef>

namespace kernel {

// Longer than any name that a system takes.
constexpr size_t kSystemNameBytes = 4 * 4096;

// Writes `name` as UTF-8 with its NUL into `out`. False for null, an empty name, a lone surrogate, or no room.
bool NameToUtf8(const char16_t* name, char* out, size_t outBytes);

} // namespace kernel
