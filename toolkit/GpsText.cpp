// Degrees, minutes and seconds.

#include "toolkit/GpsText.h"

#include <cctype>
#include <charconv>
#include <cstdlib>
#include <stdexcept>
#include <vector>

namespace toolkit {
namespace {

[[noreturn]] void Complain(std::string_view text, const char* what) {
  throw std::invalid_argument("'" + std::string(text) + "' " + what);
}

void ReplaceAll(std::string& text, std::string_view what, char with) {
  for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; ++at) {
    text.replace(at, what.size(), 1, with);
  }
}

constexpr char kMarks[] = {'d', '\'', '"'};

// The many signs of degrees, minutes and seconds brought to the three of kMarks, and the minus sign to the hyphen.
std::string WithPlainMarks(std::string_view text) {
  constexpr struct {
    std::string_view written;
    char mark;
  } kWritten[] = {{"\xC2\xB0", 'd'},      {"\xC2\xBA", 'd'},      {"deg", 'd'},
                  {"\xE2\x80\xB2", '\''}, {"\xE2\x80\x99", '\''}, {"min", '\''},
                  {"\xE2\x80\xB3", '"'},  {"\xE2\x80\x9D", '"'},  {"''", '"'},
                  {"sec", '"'},           {"\xE2\x88\x92", '-'}};
  std::string plain(text);
  for (const auto& row : kWritten) {
    ReplaceAll(plain, row.written, row.mark);
  }
  return plain;
}

std::string_view Trimmed(std::string_view text) {
  while (text.starts_with(' ')) {
    text.remove_prefix(1);
  }
  while (text.ends_with(' ')) {
    text.remove_suffix(1);
  }
  return text;
}

char LetterOf(char c) {
  const char upper = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return std::string_view("NSEW").find(upper) != std::string_view::npos ? upper : '\0';
}

// Takes the letter off the front or the end of a text, or the sign off its front.
char TakeHemisphere(std::string_view text, std::string_view& rest, PositionKind kind) {
  char found = 0;
  rest = Trimmed(rest);
  if (!rest.empty() && (found = LetterOf(rest.back())) != 0) {
    rest.remove_suffix(1);
  } else if (!rest.empty() && (found = LetterOf(rest.front())) != 0) {
    rest.remove_prefix(1);
  }
  rest = Trimmed(rest);
  const bool latitude = kind == PositionKind::kLatitude;
  if (found != 0 && latitude != (found == 'N' || found == 'S')) {
    Complain(text, latitude ? "is east or west, not north or south" : "is north or south, not east or west");
  }
  if (rest.starts_with('-') || rest.starts_with('+')) {
    if (found != 0) {
      Complain(text, "has both a sign and a letter");
    }
    const bool negative = rest.starts_with('-');
    found = latitude ? (negative ? 'S' : 'N') : (negative ? 'W' : 'E');
    rest.remove_prefix(1);
  }
  return found;
}

// The numbers, each with its mark or a blank, a comma or a colon behind it.
std::vector<std::string_view> SplitNumbers(std::string_view text, std::string_view rest) {
  std::vector<std::string_view> numbers;
  while (!rest.empty()) {
    const size_t length = std::min(rest.find_first_not_of("0123456789./"), rest.size());
    if (length == 0 || numbers.size() == std::size(kMarks)) {
      Complain(text, "is no position, as in 48.8584N or 48\xC2\xB0"
                     "51'30.24\"N");
    }
    numbers.push_back(rest.substr(0, length));
    rest = Trimmed(rest.substr(length));
    const char mark = rest.empty() ? '\0' : rest.front();
    if (mark == kMarks[numbers.size() - 1] || mark == ',' || mark == ':') {
      rest = Trimmed(rest.substr(1));
    }
  }
  return numbers;
}

Fraction ParseNumber(std::string_view text) {
  const size_t slash = text.find('/');
  if (slash == std::string_view::npos) {
    return ParseDecimal(text, UINT32_MAX);
  }
  Fraction fraction;
  const char* end = text.data() + text.size();
  const auto above = std::from_chars(text.data(), end, fraction.numerator);
  const auto below = std::from_chars(text.data() + slash + 1, end, fraction.denominator);
  if (above.ec != std::errc() || above.ptr != text.data() + slash || below.ec != std::errc() || below.ptr != end) {
    Complain(text, "is no fraction");
  }
  return fraction;
}

// Degrees alone, as 48.8584: to a ten-millionth of a second, which is three micrometres on the ground.
std::array<Fraction, 3> SplitDegrees(std::string_view text) {
  constexpr uint64_t kSecondParts = 10'000'000;
  constexpr uint64_t kMinuteParts = 60 * kSecondParts;
  constexpr uint64_t kDegreeParts = 60 * kMinuteParts;
  const size_t point = std::min(text.find('.'), text.size());
  const Fraction degrees = ParseDecimal(text.substr(0, point).empty() ? "0" : text.substr(0, point), UINT32_MAX);
  uint64_t parts = 0;
  if (point + 1 < text.size()) {
    ParseDecimal(text, UINT32_MAX); // its complaints
    constexpr size_t kDigits = 12;
    constexpr uint64_t kPartsInABillion = kDegreeParts / 1'000'000'000;
    std::string digits(text.substr(point + 1, kDigits));
    digits.resize(kDigits, '0');
    parts = (std::strtoull(digits.c_str(), nullptr, 10) * kPartsInABillion + 500) / 1000;
  }
  const auto wholeDegrees = static_cast<uint32_t>(degrees.numerator + parts / kDegreeParts);
  parts %= kDegreeParts;
  const auto minutes = static_cast<uint32_t>(parts / kMinuteParts);
  const auto secondParts = static_cast<uint32_t>(parts % kMinuteParts);
  uint32_t numerator = secondParts;
  auto denominator = static_cast<uint32_t>(kSecondParts);
  for (const uint32_t factor : {10u, 5u, 2u}) {
    while (denominator % factor == 0 && numerator % factor == 0 && denominator > 1) {
      numerator /= factor;
      denominator /= factor;
    }
  }
  return {Fraction{false, wholeDegrees, 1}, Fraction{false, minutes, 1}, Fraction{false, numerator, denominator}};
}

double ValueOf(const Fraction& fraction) {
  return static_cast<double>(fraction.numerator) / static_cast<double>(fraction.denominator);
}

void CheckRange(std::string_view text, const std::array<Fraction, 3>& parts, PositionKind kind) {
  for (const Fraction& part : parts) {
    if (part.denominator == 0) {
      return;
    }
  }
  const double degrees = ValueOf(parts[0]) + ValueOf(parts[1]) / 60 + ValueOf(parts[2]) / 3600;
  if (ValueOf(parts[1]) >= 60 || ValueOf(parts[2]) >= 60) {
    Complain(text, "has 60 minutes or seconds, or more");
  }
  if (degrees > (kind == PositionKind::kLatitude ? 90 : 180)) {
    Complain(text, "is beyond the end of the scale");
  }
}

} // namespace

Position ParsePosition(std::string_view text, PositionKind kind) {
  const std::string plain = WithPlainMarks(text);
  std::string_view rest = plain;
  Position position;
  position.hemisphere = TakeHemisphere(text, rest, kind);
  const std::vector<std::string_view> numbers = SplitNumbers(text, rest);
  if (numbers.empty()) {
    Complain(text, "is no position, as in 48.8584N");
  }
  if (numbers.size() == 1 && numbers[0].find('/') == std::string_view::npos) {
    position.parts = SplitDegrees(numbers[0]);
  } else {
    for (size_t i = 0; i < numbers.size(); ++i) {
      position.parts[i] = ParseNumber(numbers[i]);
    }
  }
  CheckRange(text, position.parts, kind);
  return position;
}

std::string FormatPosition(std::span<const Fraction, 3> parts, std::string_view hemisphere) {
  constexpr std::string_view kShownMarks[] = {"\xC2\xB0", "'", "\""};
  std::string text;
  std::string fractions;
  bool known = true;
  for (size_t i = 0; i < parts.size(); ++i) {
    known = known && parts[i].denominator != 0;
    text.append(FormatExactly(parts[i].numerator, parts[i].denominator)).append(kShownMarks[i]);
    fractions += i == 0 ? "" : ",";
    fractions += std::to_string(parts[i].numerator) + "/" + std::to_string(parts[i].denominator);
  }
  return known ? text.append(hemisphere) : fractions;
}

} // namespace toolkit
