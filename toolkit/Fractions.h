// Fractions and the decimal numbers that people write in their place.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace toolkit {

struct Fraction {
  bool negative = false;
  uint32_t numerator = 0;
  uint32_t denominator = 1;
};

// A decimal number such as 2.8, -0.5 or 35 as a fraction in lowest terms whose two numbers are at most `most`: the same
// number where that is possible, else the nearest one. Throws std::invalid_argument with what is wrong.
Fraction ParseDecimal(std::string_view text, uint32_t most);

// The other way: exactly, as 30.24, and as 1/3 when no decimal number says it. A denominator of 0 stays as it stands.
std::string FormatExactly(uint32_t numerator, uint32_t denominator);

} // namespace toolkit
