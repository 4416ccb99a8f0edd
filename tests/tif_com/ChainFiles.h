// Multi-page files for the tests of page insertion and deletion, and the patches that are expected in them.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include <vxtif/save.h>

#include "support/TempFile.h"

constexpr FileOrder kBothFileOrders[] = {FileOrder::kLittle, FileOrder::kBig};

inline std::string OrderName(const testing::TestParamInfo<FileOrder>& info) {
  return info.param == FileOrder::kLittle ? "LittleEndian" : "BigEndian";
}

// Pages numbered from 0, `count` of them; each is a single page by its tag 254 until it is marked.
inline TiffBuilder NumberedPages(uint16_t count, FileOrder order) {
  TiffBuilder builder(order);
  for (uint16_t i = 0; i < count; ++i) {
    builder.AddPage().Long(254, {0}).Short(256, {static_cast<uint16_t>(10 + i)}).Short(297, {i, count});
  }
  return builder;
}

// A file's bytes and the places in it, with the edits that a test expects.
class ExpectedFile {
public:
  explicit ExpectedFile(TiffBuilder& builder) : bytes(builder.Build()), builder_(&builder) {}

  ExpectedFile& Link(size_t page, uint32_t word) { // the word that points to the page
    PutU32(bytes, builder_->LinkOffset(page), builder_->Order(), word);
    return *this;
  }
  ExpectedFile& NextWord(size_t page, uint32_t word) {
    PutU32(bytes, builder_->NextWordOffset(page), builder_->Order(), word);
    return *this;
  }
  ExpectedFile& Number(size_t page, uint16_t number) { // and its total, which is cleared
    PutU16(bytes, builder_->ValueOffset(page, 297), builder_->Order(), number);
    PutU16(bytes, builder_->ValueOffset(page, 297) + 2, builder_->Order(), 0);
    return *this;
  }
  ExpectedFile& Marked(size_t page) {
    PutU32(bytes, builder_->ValueOffset(page, 254), builder_->Order(), 2);
    return *this;
  }
  ExpectedFile& Padded() {
    if (bytes.size() % 2 != 0) {
      bytes.push_back(0);
    }
    return *this;
  }

  FileBytes bytes;

private:
  TiffBuilder* builder_;
};
