// Which comment is written in which form, and the forms that are no list of elements.

#include "toolkit/CommentText.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>

#include "toolkit/DateText.h"
#include "toolkit/Fractions.h"
#include "toolkit/GpsText.h"
#include "toolkit/RawDirectories.h"
#include "toolkit/TypedValue.h"
#include "toolkit/Utf16.h"

#include <vxtif/comments.h>

namespace toolkit {
namespace {

enum class Form {
  kElements, // as any tag of the type
  kDateTime,
  kDate,
  kIptcDate,
  kIptcTime,
  kLatitude,
  kLongitude,
  kAltitude,
  kTimeOfDay,
  kMeasure,   // one fraction with a unit that may be left out
  kCodedText, // eight bytes that name the character code, then the text
  kVersion,   // four characters without a NUL
};

struct FormRow {
  uint32_t number;
  Form form;
  std::string_view prefix = {}; // of a measure
  std::string_view unit = {};
};

constexpr FormRow kForms[] = {
    {kCommentDateTime, Form::kDateTime},
    {kCommentDateTimeOriginal, Form::kDateTime},
    {kCommentDateTimeDigitized, Form::kDateTime},
    {kCommentExifVersion, Form::kVersion},
    {kCommentFlashpixVersion, Form::kVersion},
    {kCommentExposureTime, Form::kMeasure, "", "s"},
    {kCommentFNumber, Form::kMeasure, "f/", ""},
    {kCommentFocalLength, Form::kMeasure, "", "mm"},
    {kCommentSubjectDistance, Form::kMeasure, "", "m"},
    {kCommentUserComment, Form::kCodedText},
    {kCommentGPSLatitude, Form::kLatitude},
    {kCommentGPSLongitude, Form::kLongitude},
    {kCommentGPSDestLatitude, Form::kLatitude},
    {kCommentGPSDestLongitude, Form::kLongitude},
    {kCommentGPSAltitude, Form::kAltitude, "", "m"},
    {kCommentGPSTimeStamp, Form::kTimeOfDay},
    {kCommentGPSProcessingMethod, Form::kCodedText},
    {kCommentGPSAreaInformation, Form::kCodedText},
    {kCommentGPSDateStamp, Form::kDate},
    {kCommentReleaseDate, Form::kIptcDate},
    {kCommentReleaseTime, Form::kIptcTime},
    {kCommentExpirationDate, Form::kIptcDate},
    {kCommentExpirationTime, Form::kIptcTime},
    {kCommentReferenceDate, Form::kIptcDate},
    {kCommentDateCreated, Form::kIptcDate},
    {kCommentTimeCreated, Form::kIptcTime},
    {kCommentDigitalCreationDate, Form::kIptcDate},
    {kCommentDigitalCreationTime, Form::kIptcTime},
};

constexpr size_t kCodeLength = 8;
constexpr std::string_view kAsciiCode("ASCII\0\0\0", kCodeLength);
constexpr std::string_view kUnicodeCode("UNICODE\0", kCodeLength);
constexpr std::string_view kNoCode("\0\0\0\0\0\0\0\0", kCodeLength);
constexpr char kSeparator = '\1';
constexpr uint8_t kBelowSeaLevel = 1;

FormRow FormOf(const CommentRow& row) {
  const auto* found = std::ranges::find(kForms, row.number, &FormRow::number);
  return found != std::end(kForms) ? *found : FormRow{row.number, Form::kElements};
}

NumberedValue MakeValue(uint32_t number, uint16_t type, std::string_view bytes) {
  NumberedValue value = {static_cast<uint16_t>(number), {type, 0, {bytes.begin(), bytes.end()}}};
  value.value.count = static_cast<uint32_t>(bytes.size() / ElementSize(type));
  value.value.bytes.push_back(0);
  return value;
}

NumberedValue MakeFractions(uint32_t number, std::span<const Fraction> fractions) {
  std::string bytes(fractions.size() * 8, '\0');
  for (size_t i = 0; i < fractions.size(); ++i) {
    std::memcpy(bytes.data() + i * 8, &fractions[i].numerator, 4);
    std::memcpy(bytes.data() + i * 8 + 4, &fractions[i].denominator, 4);
  }
  return MakeValue(number, kTypeRational, bytes);
}

// Elements set apart by commas, with blanks around them.
NumberedValue ParseElementList(const CommentRow& row, std::string_view text) {
  std::string bare(text);
  if (ElementSize(row.type) > 1) {
    std::erase(bare, ' ');
  }
  return {static_cast<uint16_t>(row.number), ParseValue(row.type, bare)};
}

std::string_view WithoutUnit(const FormRow& form, std::string_view text) {
  if (!form.prefix.empty() && text.starts_with(form.prefix)) {
    text.remove_prefix(form.prefix.size());
  }
  if (!form.unit.empty() && text.ends_with(form.unit)) {
    text.remove_suffix(form.unit.size());
  }
  while (text.ends_with(' ')) {
    text.remove_suffix(1);
  }
  return text;
}

std::vector<NumberedValue> ParseAltitude(const CommentRow& row, const FormRow& form, std::string_view text) {
  std::string_view bare = WithoutUnit(form, text);
  std::vector<NumberedValue> values;
  if (bare.starts_with('-') || bare.starts_with('+')) {
    const char side = bare.starts_with('-') ? kBelowSeaLevel : 0;
    values.push_back(MakeValue(kCommentGPSAltitudeRef, kTypeByte, {&side, 1}));
    bare.remove_prefix(1);
  }
  values.push_back(ParseElementList(row, bare));
  return values;
}

std::vector<NumberedValue> ParsePlace(const CommentRow& row, PositionKind kind, std::string_view text) {
  const Position position = ParsePosition(text, kind);
  std::vector<NumberedValue> values = {MakeFractions(row.number, position.parts)};
  if (position.hemisphere != 0) {
    values.push_back(MakeValue(*ReferenceOf(row), kTypeAscii, {&position.hemisphere, 1}));
  }
  return values;
}

NumberedValue ParseClock(const CommentRow& row, std::string_view text) {
  TimeOfDay time;
  if (!ParseTimeOfDay(text, time)) {
    return ParseElementList(row, text);
  }
  const Fraction parts[] = {ParseDecimal(time.hours, UINT32_MAX), ParseDecimal(time.minutes, UINT32_MAX),
                            ParseDecimal(time.seconds, UINT32_MAX)};
  return MakeFractions(row.number, parts);
}

// Text beyond ASCII goes out as it came, in UTF-8, under the code of an unnamed character set: the two-byte code's byte
// order is told nowhere.
NumberedValue ParseCodedText(const CommentRow& row, std::string_view text) {
  const bool ascii = std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  return MakeValue(row.number, row.type, std::string(ascii ? kAsciiCode : kNoCode).append(text));
}

std::vector<NumberedValue> ParseForm(const CommentRow& row, const FormRow& form, std::string_view text) {
  switch (form.form) {
  case Form::kDateTime:
    return {MakeValue(row.number, row.type, ParseExifDateTime(text))};
  case Form::kDate:
    return {MakeValue(row.number, row.type, ParseExifDate(text))};
  case Form::kIptcDate:
    return {MakeValue(row.number, row.type, ParseIptcDate(text))};
  case Form::kIptcTime:
    return {MakeValue(row.number, row.type, ParseIptcTime(text))};
  case Form::kLatitude:
    return ParsePlace(row, PositionKind::kLatitude, text);
  case Form::kLongitude:
    return ParsePlace(row, PositionKind::kLongitude, text);
  case Form::kAltitude:
    return ParseAltitude(row, form, text);
  case Form::kTimeOfDay:
    return {ParseClock(row, text)};
  case Form::kMeasure:
    return {ParseElementList(row, WithoutUnit(form, text))};
  case Form::kCodedText:
    return {ParseCodedText(row, text)};
  case Form::kVersion:
    return {MakeValue(row.number, row.type, text)};
  default:
    return {ParseElementList(row, text)};
  }
}

void CheckCount(const CommentRow& row, const TypedValue& value) {
  // The last place of a text of fixed length is its NUL's.
  const bool fixedText = row.type == kTypeAscii && row.home != CommentHome::kIptc && row.least != 0;
  const bool nulIsThere = value.count != 0 && value.bytes[value.count - 1] == 0;
  const uint32_t most = fixedText && !nulIsThere ? row.most - 1 : row.most;
  if (value.count >= row.least && value.count <= most) {
    return;
  }
  std::string what = row.home == CommentHome::kIptc ? " bytes"
                     : row.type == kTypeAscii       ? " characters"
                     : row.most == 1                ? " value"
                                                    : " values";
  if (fixedText) {
    what = std::to_string(most) + what;
  } else if (row.least == row.most) {
    what = std::to_string(row.most) + what;
  } else {
    what = std::to_string(row.least) + " to " + std::to_string(row.most) + what;
  }
  throw std::invalid_argument(std::string(row.name) + " takes " + what + ", not " + std::to_string(value.count));
}

std::array<Fraction, 3> FractionsOf(std::span<const uint8_t> bytes) {
  std::array<Fraction, 3> fractions;
  for (size_t i = 0; i < fractions.size(); ++i) {
    std::memcpy(&fractions[i].numerator, bytes.data() + i * 8, 4);
    std::memcpy(&fractions[i].denominator, bytes.data() + i * 8 + 4, 4);
  }
  return fractions;
}

// "12:34:56.25"; nothing for values that no clock shows.
std::optional<std::string> FormatClock(const std::array<Fraction, 3>& parts) {
  constexpr uint32_t kEnds[] = {24, 60, 61};
  std::string text;
  for (size_t i = 0; i < parts.size(); ++i) {
    const auto [negative, numerator, denominator] = parts[i];
    const bool whole = denominator != 0 && numerator % denominator == 0;
    if (denominator == 0 || numerator / denominator >= kEnds[i] || (i != 2 && !whole)) {
      return std::nullopt;
    }
    const std::string number = FormatExactly(numerator, denominator);
    if (number.find('/') != std::string::npos) {
      return std::nullopt;
    }
    text += i == 0 ? "" : ":";
    text.append(numerator / denominator < 10 ? "0" : "").append(number);
  }
  return text;
}

// UTF-16 whose byte order is told nowhere: of most texts the high bytes are the ones that are mostly zero.
std::string TextOfUtf16(std::string_view bytes) {
  size_t zeros[2] = {};
  for (size_t i = 0; i < bytes.size(); ++i) {
    zeros[i % 2] += bytes[i] == '\0' ? 1 : 0;
  }
  const bool bigEndian = zeros[0] > zeros[1];
  std::u16string text;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    text += static_cast<char16_t>(LoadFileWord(reinterpret_cast<const uint8_t*>(bytes.data()) + i, bigEndian));
  }
  while (text.ends_with(u'\0')) {
    text.pop_back();
  }
  return ToUtf8(text);
}

std::optional<std::string> FormatCodedText(std::string_view bytes) {
  if (bytes.size() < kCodeLength) {
    return std::nullopt;
  }
  const std::string_view code = bytes.substr(0, kCodeLength);
  std::string_view text = bytes.substr(kCodeLength);
  if (code == kUnicodeCode) {
    return TextOfUtf16(text);
  }
  if (code != kAsciiCode && code != kNoCode) {
    return std::nullopt;
  }
  while (text.ends_with('\0')) {
    text.remove_suffix(1);
  }
  return std::string(text);
}

// The values of a repeatable comment one by one.
template <class Format> std::string FormatEach(std::string_view text, Format format) {
  std::string all;
  for (size_t at = 0; at <= text.size();) {
    const size_t end = std::min(text.find(kSeparator, at), text.size());
    all.append(at == 0 ? "" : ";").append(format(text.substr(at, end - at)));
    at = end + 1;
  }
  return all;
}

// Nothing when the value is not of its form.
std::optional<std::string> FormatForm(Form form, std::span<const uint8_t> bytes, std::string_view reference) {
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const bool threeFractions = bytes.size() == 3 * 8;
  switch (form) {
  case Form::kIptcDate:
    return FormatEach(text, FormatIptcDate);
  case Form::kIptcTime:
    return FormatEach(text, FormatIptcTime);
  case Form::kLatitude:
  case Form::kLongitude:
    return threeFractions ? std::optional(FormatPosition(FractionsOf(bytes), reference)) : std::nullopt;
  case Form::kTimeOfDay:
    return threeFractions ? FormatClock(FractionsOf(bytes)) : std::nullopt;
  case Form::kCodedText:
    return FormatCodedText(text);
  case Form::kVersion:
    return std::ranges::all_of(text, [](char c) { return c > ' ' && c <= '~'; }) ? std::optional(std::string(text))
                                                                                 : std::nullopt;
  default:
    return std::nullopt;
  }
}

bool SameValue(const TypedValue& left, const TypedValue& right) {
  return left.type == right.type && left.bytes == right.bytes;
}

} // namespace

std::vector<NumberedValue> ParseComment(const CommentRow& row, std::string_view text) {
  const FormRow form = FormOf(row);
  const bool fromFile = ElementSize(row.type) == 1 && text.starts_with('@');
  std::vector<NumberedValue> values = fromFile ? std::vector{ParseElementList(row, text)} : ParseForm(row, form, text);
  for (const NumberedValue& value : values) {
    CheckCount(*FindComment(value.number), value.value);
  }
  return values;
}

void CommentSettings::Add(const CommentRow& row, std::string_view text) {
  for (NumberedValue& value : ParseComment(row, text)) {
    const auto before = std::ranges::find(values_, value.number, &NumberedValue::number);
    if (before == values_.end() || FindComment(value.number)->repeatable) {
      values_.push_back(std::move(value));
    } else if (!SameValue(before->value, value.value)) {
      throw std::invalid_argument(std::string(FindComment(value.number)->name) +
                                  " is told twice, with different values");
    }
  }
}

std::string FormatComment(const CommentRow& row, std::span<const uint8_t> bytes, std::string_view reference,
                          size_t most) {
  if (std::optional<std::string> text = FormatForm(FormOf(row).form, bytes, reference)) {
    return CutText(std::move(*text), most);
  }
  std::string text = FormatValue(row.type, static_cast<uint32_t>(bytes.size() / ElementSize(row.type)), bytes, most);
  if (row.repeatable) {
    std::ranges::replace(text, kSeparator, ';');
  }
  return text;
}

bool HasWrittenForm(const CommentRow& row) {
  const Form form = FormOf(row).form;
  return form == Form::kIptcDate || form == Form::kIptcTime || ReferenceOf(row).has_value() ||
         form == Form::kTimeOfDay || form == Form::kCodedText || form == Form::kVersion;
}

std::optional<uint32_t> ReferenceOf(const CommentRow& row) {
  const Form form = FormOf(row).form;
  if (form != Form::kLatitude && form != Form::kLongitude) {
    return std::nullopt;
  }
  return row.number - 1;
}

} // namespace toolkit
