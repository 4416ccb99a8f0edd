// Reading of dates and times by their parts.

#include "toolkit/DateText.h"

#include <cstdio>
#include <stdexcept>

namespace toolkit {
namespace {

[[noreturn]] void Complain(std::string_view text, const char* what) {
  throw std::invalid_argument("'" + std::string(text) + "' " + what);
}

// Takes a text apart from its front.
class Scanner {
public:
  explicit Scanner(std::string_view text) : rest_(text) {}

  bool AtEnd() const { return rest_.empty(); }
  std::string_view Rest() const { return rest_; }

  // A number of exactly `count` digits.
  bool Digits(size_t count, int& number) {
    number = 0;
    if (rest_.size() < count) {
      return false;
    }
    for (size_t i = 0; i < count; ++i) {
      if (rest_[i] < '0' || rest_[i] > '9') {
        return false;
      }
      number = number * 10 + (rest_[i] - '0');
    }
    rest_.remove_prefix(count);
    return true;
  }

  // One of these characters, or none.
  bool Maybe(std::string_view characters) {
    One(characters);
    return true;
  }

  // One of these characters.
  bool One(std::string_view characters) {
    if (rest_.empty() || characters.find(rest_.front()) == std::string_view::npos) {
      return false;
    }
    rest_.remove_prefix(1);
    return true;
  }

private:
  std::string_view rest_;
};

struct Date {
  int year = 0;
  int month = 0;
  int day = 0;
};

struct Time {
  int hours = 0;
  int minutes = 0;
  int seconds = 0;
};

int DaysOf(int year, int month) {
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

// The parts with one of `signs` between them, or without any where that is allowed.
bool ScanDate(Scanner& scanner, bool mayBeBare, Date& date) {
  if (!scanner.Digits(4, date.year)) {
    return false;
  }
  const bool parted = scanner.One("-:/");
  if (!parted && !mayBeBare) {
    return false;
  }
  return scanner.Digits(2, date.month) && (!parted || scanner.One("-:/")) && scanner.Digits(2, date.day);
}

bool ScanTime(Scanner& scanner, bool mayBeBare, Time& time) {
  if (!scanner.Digits(2, time.hours)) {
    return false;
  }
  const bool parted = scanner.One(":");
  if (!parted && !mayBeBare) {
    return false;
  }
  if (!scanner.Digits(2, time.minutes)) {
    return false;
  }
  return parted ? !scanner.One(":") || scanner.Digits(2, time.seconds) : scanner.Digits(2, time.seconds);
}

void CheckDate(std::string_view text, const Date& date, bool mayBeUnknown) {
  const int least = mayBeUnknown ? 0 : 1;
  const bool monthIsRight = date.month >= least && date.month <= 12;
  const int days = !monthIsRight || date.month == 0 ? 31 : DaysOf(date.year, date.month);
  if (!monthIsRight || date.day < least || date.day > days) {
    Complain(text, "is no date of the calendar");
  }
}

void CheckTime(std::string_view text, const Time& time) {
  constexpr int kLeapSecond = 60;
  if (time.hours > 23 || time.minutes > 59 || time.seconds > kLeapSecond) {
    Complain(text, "is no time of the day");
  }
}

template <class... Parts> std::string Print(const char* format, Parts... parts) {
  char text[80];
  std::snprintf(text, sizeof text, format, parts...);
  return text;
}

// Nineteen blanks with or without the signs between the parts.
bool IsUnknownTime(std::string_view text) {
  constexpr size_t kDateTimeLength = 19;
  return text.size() == kDateTimeLength && text.find_first_not_of(" :") == std::string_view::npos;
}

} // namespace

std::string ParseExifDateTime(std::string_view text) {
  if (IsUnknownTime(text)) {
    return std::string(text);
  }
  Scanner scanner(text);
  Date date;
  Time time;
  if (!ScanDate(scanner, false, date)) {
    Complain(text, "is no date and time, as in 2024-01-31 23:59:59");
  }
  if (!scanner.One(" T") || !ScanTime(scanner, false, time)) {
    Complain(text, "has no time of the day, as in 2024-01-31 23:59:59");
  }
  if (!scanner.AtEnd()) {
    Complain(text, "holds more than a date and a time in whole seconds; zones have no place here");
  }
  CheckDate(text, date, false);
  CheckTime(text, time);
  return Print("%04d:%02d:%02d %02d:%02d:%02d", date.year, date.month, date.day, time.hours, time.minutes,
               time.seconds);
}

std::string ParseExifDate(std::string_view text) {
  Scanner scanner(text);
  Date date;
  if (!ScanDate(scanner, false, date) || !scanner.AtEnd()) {
    Complain(text, "is no date, as in 2024-01-31");
  }
  CheckDate(text, date, false);
  return Print("%04d:%02d:%02d", date.year, date.month, date.day);
}

std::string ParseIptcDate(std::string_view text) {
  Scanner scanner(text);
  Date date;
  if (!ScanDate(scanner, true, date) || !scanner.AtEnd()) {
    Complain(text, "is no date, as in 2024-01-31");
  }
  CheckDate(text, date, true);
  return Print("%04d%02d%02d", date.year, date.month, date.day);
}

std::string ParseIptcTime(std::string_view text) {
  Scanner scanner(text);
  Time time;
  if (!ScanTime(scanner, true, time)) {
    Complain(text, "is no time of the day, as in 23:59:59+01:00");
  }
  CheckTime(text, time);
  const std::string_view zone = scanner.Rest();
  const char sign = zone.starts_with('-') ? '-' : '+';
  Time ahead;
  if (!scanner.One("Z") && !(scanner.One("+-") && scanner.Digits(2, ahead.hours) && scanner.Maybe(":") &&
                             scanner.Digits(2, ahead.minutes))) {
    Complain(text, "has no time zone, as in 23:59:59+01:00 or 23:59:59Z");
  }
  if (!scanner.AtEnd()) {
    Complain(text, "holds more than a time and its zone");
  }
  CheckTime(text, ahead);
  return Print("%02d%02d%02d%c%02d%02d", time.hours, time.minutes, time.seconds, sign, ahead.hours, ahead.minutes);
}

std::string FormatIptcDate(std::string_view stored) {
  Scanner scanner(stored);
  Date date;
  if (!(scanner.Digits(4, date.year) && scanner.Digits(2, date.month) && scanner.Digits(2, date.day) &&
        scanner.AtEnd())) {
    return std::string(stored);
  }
  return Print("%04d-%02d-%02d", date.year, date.month, date.day);
}

std::string FormatIptcTime(std::string_view stored) {
  Scanner scanner(stored);
  Time time;
  Time ahead;
  const bool isTime =
      scanner.Digits(2, time.hours) && scanner.Digits(2, time.minutes) && scanner.Digits(2, time.seconds);
  const char sign = scanner.Rest().starts_with('-') ? '-' : '+';
  if (!(isTime && scanner.One("+-") && scanner.Digits(2, ahead.hours) && scanner.Digits(2, ahead.minutes) &&
        scanner.AtEnd())) {
    return std::string(stored);
  }
  return Print("%02d:%02d:%02d%c%02d:%02d", time.hours, time.minutes, time.seconds, sign, ahead.hours, ahead.minutes);
}

bool ParseTimeOfDay(std::string_view text, TimeOfDay& time) {
  const size_t first = text.find(':');
  const size_t second = first == std::string_view::npos ? first : text.find(':', first + 1);
  if (second == std::string_view::npos) {
    return false;
  }
  std::string_view whole = text;
  if (whole.ends_with('Z')) {
    whole.remove_suffix(1);
  }
  Scanner scanner(whole);
  Time parts;
  const std::string_view seconds = whole.substr(second + 1);
  if (!ScanTime(scanner, false, parts) || second + 3 > whole.size() ||
      seconds.find_first_not_of("0123456789.") != std::string_view::npos || seconds.ends_with('.')) {
    Complain(text, "is no time of the day, as in 23:59:59.5");
  }
  if (!scanner.AtEnd() && !scanner.One(".")) {
    Complain(text, "is no time of the day, as in 23:59:59.5");
  }
  CheckTime(text, parts);
  time = {std::to_string(parts.hours), std::to_string(parts.minutes), std::string(seconds)};
  return true;
}

} // namespace toolkit
