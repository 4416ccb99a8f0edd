// Comments as a caller gives them and asks for them, and pages that hold them.
#pragma once

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <vxtif/comments.h>
#include <vxtif/results.h>
#include <vxtif/save.h>

#include "support/FileDirectory.h"
#include "support/KernelGuard.h"
#include "support/TempFile.h"
#include "support/TiffBuilder.h"

// The slots of a request. Each buffer has one byte more than its value, as the library asks for.
class CommentSlots {
public:
  CommentSlots() = default;
  CommentSlots(const CommentSlots&) = delete;
  CommentSlots& operator=(const CommentSlots&) = delete;

  CommentSlots& Set(uint32_t number, FileBytes value, uint8_t spare = 0xEE) {
    const auto size = static_cast<uint32_t>(value.size());
    value.push_back(spare);
    buffers_[number] = std::move(value);
    block_.slots[number] = {buffers_[number].data(), size};
    return *this;
  }
  CommentSlots& Text(uint32_t number, std::string_view text, uint8_t spare = 0xEE) {
    return Set(number, FileBytes(text.begin(), text.end()), spare);
  }
  uint32_t Size(uint32_t number) const { return block_.slots[number].size; }
  const FileBytes& Buffer(uint32_t number) const { return buffers_.at(number); } // with the spare byte
  TifCommentBlock* Block() { return &block_; }

private:
  std::map<uint32_t, FileBytes> buffers_;
  TifCommentBlock block_ = {};
};

inline int32_t SetComments(const TempFile& file, CommentSlots& slots, SaveOptions* options = nullptr,
                           TifMarkerBlock* markers = nullptr) {
  KernelGuard guard;
  FilterSetCommentRequest request = {file.Name(), 0, options, slots.Block(), markers};
  return fltSetComment(&request);
}

inline int32_t CommentSize(const TempFile& file, uint32_t number, FileOptions* options = nullptr) {
  KernelGuard guard;
  FilterCommentRequest request = {file.Name(), number, nullptr, 0, options};
  return fltComment(&request);
}

// What a call gave and what it left in a buffer of 0xCC bytes.
struct CommentAnswer {
  int32_t result = 0;
  FileBytes buffer;
  bool operator==(const CommentAnswer&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const CommentAnswer& answer) {
  return out << answer.result << " " << testing::PrintToString(answer.buffer);
}

inline CommentAnswer GetComment(const TempFile& file, uint32_t number, uint32_t bufferSize,
                                FileOptions* options = nullptr) {
  KernelGuard guard;
  CommentAnswer answer;
  answer.buffer.assign(bufferSize, 0xCC);
  uint8_t none = 0; // a buffer of no bytes is a buffer nevertheless
  void* buffer = bufferSize != 0 ? answer.buffer.data() : &none;
  FilterCommentRequest request = {file.Name(), number, buffer, bufferSize, options};
  answer.result = fltComment(&request);
  return answer;
}

// The whole comment, its size asked for first; the result in `code` when it is a failure or no comment.
inline FileBytes WholeComment(const TempFile& file, uint32_t number, int32_t* code = nullptr) {
  const int32_t size = CommentSize(file, number);
  if (code != nullptr) {
    *code = size;
  }
  return size > 0 ? GetComment(file, number, static_cast<uint32_t>(size)).buffer : FileBytes{};
}

inline std::string WholeText(const TempFile& file, uint32_t number) {
  const FileBytes bytes = WholeComment(file, number);
  return std::string(bytes.begin(), bytes.end());
}

// A grey page with a child directory of one or several entries under `tag`.
inline TiffDirectory PageWithChild(uint16_t tag, TiffDirectory child) {
  TiffDirectory page = GrayPage(2, 2);
  page.Child(tag, std::move(child));
  return page;
}

inline FileBytes FileWithPage(FileOrder order, TiffDirectory page) {
  TiffBuilder file(order);
  file.AddPage(std::move(page));
  return file.Build();
}

// Bytes that differ from each other and are not zero.
inline FileBytes Telling(size_t n) {
  FileBytes bytes(n);
  for (size_t i = 0; i < n; ++i) {
    bytes[i] = static_cast<uint8_t>(0x21 + i % 90);
  }
  return bytes;
}

inline const char* OrderName(const testing::TestParamInfo<FileOrder>& order) {
  return order.param == FileOrder::kLittle ? "Little" : "Big";
}
