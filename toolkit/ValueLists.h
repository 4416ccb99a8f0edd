// The lists and blocks that requests carry, built from typed values and kept alive beside them.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "toolkit/TypedValue.h"

#include <vxtif/metadata.h>

namespace toolkit {

struct NumberedValue {
  uint16_t number; // tag, GeoTIFF key or comment
  TypedValue value;
};

// A TifTagItem or TifGeoKeyItem list over values that it owns.
template <class Item> class ItemList {
public:
  explicit ItemList(std::vector<NumberedValue> values) : values_(std::move(values)) {
    for (NumberedValue& value : values_) {
      Item item = {};
      item.tag = value.number;
      item.type = value.value.type;
      item.count = value.value.count;
      item.data = value.value.bytes.data();
      items_.push_back(item);
    }
    for (size_t i = 0; i + 1 < items_.size(); ++i) {
      items_[i].next = &items_[i + 1];
    }
  }
  ItemList(const ItemList&) = delete;
  ItemList& operator=(const ItemList&) = delete;

  Item* First() { return items_.empty() ? nullptr : &items_.front(); }

private:
  std::vector<NumberedValue> values_;
  std::deque<Item> items_;
};

// A comment block over values that it owns. A number that comes twice holds both values with the byte 1 between them,
// the form of repeatable comments.
class CommentSet {
public:
  explicit CommentSet(const std::vector<NumberedValue>& values);
  CommentSet(const CommentSet&) = delete;
  CommentSet& operator=(const CommentSet&) = delete;

  TifCommentBlock* Block() { return block_.get(); }

private:
  std::vector<std::vector<uint8_t>> buffers_;
  std::unique_ptr<TifCommentBlock> block_;
};

} // namespace toolkit
