// Comment blocks.

#include "toolkit/ValueLists.h"

namespace toolkit {

CommentSet::CommentSet(const std::vector<NumberedValue>& values)
    : buffers_(kCommentCount), block_(std::make_unique<TifCommentBlock>()) {
  constexpr uint8_t kSeparator = 1;
  for (const NumberedValue& value : values) {
    if (value.number >= kCommentCount) {
      continue;
    }
    std::vector<uint8_t>& buffer = buffers_[value.number];
    if (!buffer.empty()) {
      buffer.back() = kSeparator;
    }
    // The spare byte behind the value is where the library may put a NUL.
    buffer.insert(buffer.end(), value.value.bytes.begin(), value.value.bytes.end());
  }
  for (size_t i = 0; i < buffers_.size(); ++i) {
    if (!buffers_[i].empty()) {
      block_->slots[i].data = buffers_[i].data();
      block_->slots[i].size = static_cast<uint32_t>(buffers_[i].size() - 1);
    }
  }
}

} // namespace toolkit
