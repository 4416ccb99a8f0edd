// Dates and times between the forms that people write (2024-01-02, 2024:01:02 03:04:05, 2024-01-02T03:04:05Z) and those
// that metadata keep. All parsers throw std::invalid_argument with what is wrong.
#pragma once

#include <string>
#include <string_view>

namespace toolkit {

// "2024:01:02 03:04:05". The form knows neither time zones nor parts of a second, so that these are refused. Blanks for
// all digits, which is how an unknown time is kept, stay as they are.
std::string ParseExifDateTime(std::string_view text);

// "2024:01:02".
std::string ParseExifDate(std::string_view text);

// "20240102" and "030405+0100"; a time needs its zone: Z, +01:00 or +0100. Month and day may be 00 for unknown ones.
std::string ParseIptcDate(std::string_view text);
std::string ParseIptcTime(std::string_view text);

// "2024-01-02" and "03:04:05+01:00" of these; other bytes stay as they are.
std::string FormatIptcDate(std::string_view stored);
std::string FormatIptcTime(std::string_view stored);

// A time of the day in UTC, as positioning gives it: 12:34:56, 12:34:56.25Z. False when the text does not begin as one.
struct TimeOfDay {
  std::string hours;
  std::string minutes;
  std::string seconds; // with decimals
};
bool ParseTimeOfDay(std::string_view text, TimeOfDay& time);

} // namespace toolkit
