// The numbered comments in words: number, name, home, and the type of the value.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace toolkit {

enum class CommentHome { kPage, kExif, kGps, kIptc };

struct CommentRow {
  uint32_t number;
  std::string_view name;
  CommentHome home;
  uint16_t type;   // field type of the value; IPTC values are texts
  uint32_t least;  // elements that a value holds
  uint32_t most;   // likewise; texts of a fixed length count their NUL, which may be left out
  bool repeatable; // several values in one comment, set apart by the byte 1
};

std::span<const CommentRow> AllComments();

const CommentRow* FindComment(uint32_t number);       // null for a number that is not in use
const CommentRow* FindComment(std::string_view text); // a number, or a name whatever its case

} // namespace toolkit
