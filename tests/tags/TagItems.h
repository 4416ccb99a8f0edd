// Lists of tags to set, and bytes put together by hand in a file's order.
#pragma once

#include <cstdint>
#include <deque>
#include <string_view>
#include <vector>

#include <vxtif/metadata.h>
#include <vxtif/save.h>

#include "support/KernelGuard.h"
#include "support/TempFile.h"
#include "support/TiffBuilder.h"

// A linked list whose values are the test's own; `data` in host order.
class TagItems {
public:
  TagItems& Add(uint16_t tag, uint16_t type, uint32_t count, FileBytes data) {
    values_.push_back(std::move(data));
    items_.push_back({tag, type, count, values_.back().data(), nullptr});
    if (items_.size() > 1) {
      items_[items_.size() - 2].next = &items_.back();
    }
    return *this;
  }
  TagItems& Text(uint16_t tag, std::string_view text) {
    return Add(tag, kTypeAscii, static_cast<uint32_t>(text.size()), FileBytes(text.begin(), text.end()));
  }
  TifTagItem* Head() { return items_.empty() ? nullptr : &items_.front(); }
  const FileBytes& Value(size_t i) const { return values_.at(i); }

private:
  std::deque<TifTagItem> items_; // addresses stay good
  std::deque<FileBytes> values_;
};

inline int32_t SetTags(const TempFile& file, TagItems& items, SaveOptions* options = nullptr) {
  KernelGuard guard;
  FilterSetTagRequest request = {file.Name(), items.Head(), nullptr, options};
  return fltSetTag(&request);
}

// Bytes in a file's order, written one after the other.
class Bytes {
public:
  explicit Bytes(FileOrder order) : order_(order) {}
  Bytes& U16(uint16_t value) {
    AppendU16(bytes, order_, value);
    return *this;
  }
  Bytes& U32(uint32_t value) {
    AppendU32(bytes, order_, value);
    return *this;
  }
  Bytes& Raw(const FileBytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
    return *this;
  }
  Bytes& Text(std::string_view text) { return Raw(FileBytes(text.begin(), text.end())); }
  Bytes& Header(uint32_t first) {
    const uint8_t mark = order_ == FileOrder::kLittle ? 'I' : 'M';
    return Raw({mark, mark}).U16(42).U32(first);
  }
  Bytes& Entry(uint16_t tag, uint16_t type, uint32_t count, uint32_t word) {
    return U16(tag).U16(type).U32(count).U32(word);
  }
  Bytes& EntryRaw(uint16_t tag, uint16_t type, uint32_t count, const FileBytes& word) {
    return U16(tag).U16(type).U32(count).Raw(word);
  }
  // An entry of a single SHORT in clean form.
  Bytes& EntryShort(uint16_t tag, uint16_t value) { return U16(tag).U16(3).U32(1).U16(value).U16(0); }

  FileBytes bytes;

private:
  FileOrder order_;
};
