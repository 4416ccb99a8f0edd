// Fractions from decimal numbers and back.

#include "toolkit/Fractions.h"

#include <algorithm>
#include <stdexcept>

namespace toolkit {
namespace {

[[noreturn]] void Complain(std::string_view text, const char* what) {
  throw std::invalid_argument("'" + std::string(text) + "' " + what);
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// How often `step` may be added to `start` before the sum exceeds `most`.
uint64_t RoomFor(uint64_t step, uint64_t start, uint64_t most) {
  return step == 0 ? UINT64_MAX : (most - start) / step;
}

// The fraction nearest to value / scale, which is not above `most`, whose numbers are at most `most`: the last
// convergent of the continued fraction that fits, or the one between it and its follower that is nearer.
Fraction Nearest(uint64_t value, uint64_t scale, uint64_t most) {
  uint64_t numerator = 1;
  uint64_t denominator = 0;
  uint64_t numeratorBefore = 0;
  uint64_t denominatorBefore = 1;
  bool whole = true;
  while (scale != 0 && whole) {
    const uint64_t term = value / scale;
    const uint64_t fitting =
        std::min({term, RoomFor(numerator, numeratorBefore, most), RoomFor(denominator, denominatorBefore, most)});
    whole = fitting == term;
    if (!whole && fitting <= term / 2) {
      break;
    }
    const uint64_t nextNumerator = fitting * numerator + numeratorBefore;
    const uint64_t nextDenominator = fitting * denominator + denominatorBefore;
    numeratorBefore = numerator;
    denominatorBefore = denominator;
    numerator = nextNumerator;
    denominator = nextDenominator;
    const uint64_t rest = value % scale;
    value = scale;
    scale = rest;
  }
  return {false, static_cast<uint32_t>(numerator), static_cast<uint32_t>(denominator)};
}

} // namespace

Fraction ParseDecimal(std::string_view text, uint32_t most) {
  constexpr uint64_t kMostScale = 1'000'000'000'000'000'000; // further digits are below all that two words can tell
  std::string_view digits = text;
  const bool negative = digits.starts_with('-');
  if (negative || digits.starts_with('+')) {
    digits.remove_prefix(1);
  }
  uint64_t value = 0;
  uint64_t scale = 1;
  bool point = false;
  bool any = false;
  for (const char c : digits) {
    if (c == '.' && !point) {
      point = true;
      continue;
    }
    if (!IsDigit(c)) {
      Complain(text, "is no number");
    }
    any = true;
    const auto digit = static_cast<uint64_t>(c - '0');
    if (point && (scale == kMostScale || value > (UINT64_MAX - digit) / 10)) {
      continue;
    }
    value = value * 10 + digit;
    scale *= point ? 10 : 1;
    if (value / scale > most) {
      Complain(text, "is out of range for its type");
    }
  }
  if (!any) {
    Complain(text, "is no number");
  }
  if (value / scale == most && value % scale != 0) {
    Complain(text, "is out of range for its type");
  }
  Fraction fraction = Nearest(value, scale, most);
  fraction.negative = negative;
  return fraction;
}

std::string FormatExactly(uint32_t numerator, uint32_t denominator) {
  const std::string asFraction = std::to_string(numerator) + "/" + std::to_string(denominator);
  if (denominator == 0) {
    return asFraction;
  }
  std::string text = std::to_string(numerator / denominator);
  uint64_t rest = numerator % denominator;
  constexpr int kMostDigits = 12;
  for (int digit = 0; rest != 0; ++digit) {
    if (digit == kMostDigits) {
      return asFraction;
    }
    text += digit == 0 ? "." : "";
    text += static_cast<char>('0' + rest * 10 / denominator);
    rest = rest * 10 % denominator;
  }
  return text;
}

} // namespace toolkit
