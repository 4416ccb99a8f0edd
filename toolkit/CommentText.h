// The values of comments as people write them: 1/125 and f/2.8, 48°51'30.24"N, 2024-01-02 03:04:05, texts and lists.
// Used by the commands that set and show comments.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "toolkit/CommentTable.h"
#include "toolkit/ValueLists.h"

namespace toolkit {

// The comments that a setting stands for: its own, and with a position or an altitude also the one that tells the
// hemisphere or the side of the sea level, where the text tells it. @FILE takes a file's bytes for texts and blocks.
// Throws std::invalid_argument with what is wrong, values that no page would take included.
std::vector<NumberedValue> ParseComment(const CommentRow& row, std::string_view text);

// All settings of one edit. The values of a repeatable comment add up; another comment that is told twice, with
// different values, is refused.
class CommentSettings {
public:
  void Add(const CommentRow& row, std::string_view text);
  const std::vector<NumberedValue>& Values() const { return values_; }

private:
  std::vector<NumberedValue> values_;
};

// The text of a value, which ParseComment reads again. `reference` is the value of the comment that ReferenceOf names.
// Long values are cut at about `most` characters; 0 cuts nothing.
std::string FormatComment(const CommentRow& row, std::span<const uint8_t> bytes, std::string_view reference,
                          size_t most);

// Whether the text is more than the plain list of the value's elements.
bool HasWrittenForm(const CommentRow& row);

// The comment that tells the hemisphere of a position.
std::optional<uint32_t> ReferenceOf(const CommentRow& row);

} // namespace toolkit
