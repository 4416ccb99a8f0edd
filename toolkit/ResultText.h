// Result codes in words, for messages: the library itself speaks in numbers only.
#pragma once

#include <cstdint>
#include <span>

namespace toolkit {

struct ResultText {
  int32_t code;
  const char* name; // as in vxtif/results.h
  const char* meaning;
};

// The row of a code; a row of its own kind for a number that is not in the table.
const ResultText& DescribeResult(int32_t code);

std::span<const ResultText> AllResultTexts();

} // namespace toolkit
