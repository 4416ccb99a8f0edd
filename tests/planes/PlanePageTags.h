// The tags of a saved page, through the export that reads one tag.
#pragma once

#include <cstring>
#include <vector>

#include <gtest/gtest.h>
#include <vxtif/metadata.h>

#include "support/TempFile.h"

class PageTags {
public:
  explicit PageTags(const TempFile& file, int32_t page = 1) : file_(file) { options_.pageNumber = page; }

  bool Has(uint16_t tag) { return Fetch(tag, nullptr); }
  // All values of a tag of whole numbers; empty for a tag that is not there.
  std::vector<uint32_t> Values(uint16_t tag) {
    if (!Fetch(tag, nullptr)) {
      return {};
    }
    const size_t size = type_ == kTypeShort ? 2 : type_ == kTypeLong ? 4 : 1;
    std::vector<uint8_t> bytes(size * count_);
    EXPECT_TRUE(Fetch(tag, bytes.data()));
    std::vector<uint32_t> values(count_);
    for (size_t i = 0; i < count_; ++i) {
      std::memcpy(&values[i], &bytes[i * size], size);
    }
    return values;
  }
  uint32_t Value(uint16_t tag) {
    const std::vector<uint32_t> values = Values(tag);
    EXPECT_EQ(values.size(), 1u) << "tag " << tag;
    return values.empty() ? 0xFFFFFFFF : values[0];
  }
  // The bytes of each strip or tile, in the order of the tables.
  std::vector<FileBytes> Strips() {
    const FileBytes bytes = file_.Read();
    const bool tiles = Has(324);
    const std::vector<uint32_t> offsets = Values(tiles ? 324 : 273);
    const std::vector<uint32_t> counts = Values(tiles ? 325 : 279);
    EXPECT_EQ(offsets.size(), counts.size());
    std::vector<FileBytes> strips;
    for (size_t i = 0; i < offsets.size() && i < counts.size(); ++i) {
      if (uint64_t{offsets[i]} + counts[i] > bytes.size()) {
        ADD_FAILURE() << "strip " << i << " of " << counts[i] << " bytes at " << offsets[i] << " leaves the file";
        return {};
      }
      const auto begin = bytes.begin() + static_cast<ptrdiff_t>(offsets[i]);
      strips.emplace_back(begin, begin + static_cast<ptrdiff_t>(counts[i]));
    }
    return strips;
  }

private:
  bool Fetch(uint16_t tag, void* data) {
    FilterGetTagRequest request = {file_.Name(), tag, &type_, &count_, data, &options_};
    return fltGetTag(&request) == 1;
  }

  const TempFile& file_;
  FileOptions options_ = {};
  uint16_t type_ = 0;
  uint32_t count_ = 0;
};
