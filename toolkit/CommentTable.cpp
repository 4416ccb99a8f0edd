// The table of comments, made from the public lists, in the order of their numbers.

#include "toolkit/CommentTable.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>

#include <vxtif/comments.h>

namespace toolkit {
namespace {

#define PAGE_ROW(number, name, tag, type, count) {number, #name, CommentHome::kPage, type, 0, kAnySize, false},
#define EXIF_ROW(number, name, tag, type, count)                                                                       \
  {number, #name, CommentHome::kExif, type, LeastOf(type, count), MostOf(count), false},
#define GPS_ROW(number, name, tag, type, count)                                                                        \
  {number, #name, CommentHome::kGps, type, LeastOf(type, count), MostOf(count), false},
// Some of the IPTC names stand for other things elsewhere.
#define IPTC_ROW(number, name, set, least, most, repeatable)                                                           \
  {number, "Iptc" #name, CommentHome::kIptc, number == kCommentRecordVersion ? kTypeUndefined : kTypeAscii,            \
   least,  most,         repeatable != 0},

constexpr uint32_t kAnySize = UINT32_MAX;

// Texts of a fixed length may be given without their NUL.
constexpr uint32_t LeastOf(uint16_t type, int32_t count) {
  return count == kCommentAnySize ? 0 : static_cast<uint32_t>(type == kTypeAscii ? count - 1 : count);
}

constexpr uint32_t MostOf(int32_t count) {
  return count == kCommentAnySize ? kAnySize : static_cast<uint32_t>(count);
}

constexpr auto kComments = [] {
  auto rows = std::to_array<CommentRow>({VXTIF_MAIN_COMMENTS(PAGE_ROW) VXTIF_EXIF_COMMENTS(EXIF_ROW)
                                             VXTIF_GPS_COMMENTS(GPS_ROW) VXTIF_IPTC_COMMENTS(IPTC_ROW)});
  std::ranges::sort(rows, {}, &CommentRow::number);
  return rows;
}();

} // namespace

std::span<const CommentRow> AllComments() {
  return kComments;
}

const CommentRow* FindComment(uint32_t number) {
  const auto row = std::ranges::find(kComments, number, &CommentRow::number);
  return row != kComments.end() ? &*row : nullptr;
}

const CommentRow* FindComment(std::string_view text) {
  uint32_t number = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
  if (parsed.ec == std::errc() && parsed.ptr == text.data() + text.size()) {
    return FindComment(number);
  }
  const auto same = [](char left, char right) {
    return std::tolower(static_cast<unsigned char>(left)) == std::tolower(static_cast<unsigned char>(right));
  };
  const auto row = std::ranges::find_if(kComments, [&](const CommentRow& candidate) {
    return std::equal(candidate.name.begin(), candidate.name.end(), text.begin(), text.end(), same);
  });
  return row != kComments.end() ? &*row : nullptr;
}

} // namespace toolkit
