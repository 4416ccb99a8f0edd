// Byte streams in place of the file of a codec: while one stands, the kernel's reads or writes go to it, whatever the
// handle. And streams of codes, put together by hand.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include <vxkernel/files.h>

#include "support/TiffBuilder.h"

class ByteSource {
public:
  explicit ByteSource(FileBytes bytes) : bytes_(std::move(bytes)) { Exchange(); }
  ~ByteSource() { Exchange(); }
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;

  void Rewind() { position_ = 0; }
  void FailFrom(uint32_t call) { failFrom_ = call; } // 1-based; reads from this one on are errors
  uint32_t Calls() const { return calls_; }

private:
  void Exchange() {
    krnRedirectIo(nullptr, &read_, nullptr, nullptr, nullptr, nullptr, &data_, nullptr, nullptr, nullptr);
  }
  static uint32_t Read(VxFileHandle, void* buffer, uint32_t n, void* self) {
    auto* source = static_cast<ByteSource*>(self);
    if (++source->calls_ >= source->failFrom_) {
      return kKrnIoFailed;
    }
    const size_t count = std::min<size_t>(n, source->bytes_.size() - source->position_);
    if (count != 0) {
      std::memcpy(buffer, source->bytes_.data() + source->position_, count);
    }
    source->position_ += count;
    return static_cast<uint32_t>(count);
  }

  FileBytes bytes_;
  size_t position_ = 0;
  uint32_t calls_ = 0;
  uint32_t failFrom_ = 0xFFFFFFFFu;
  KrnReadFn read_ = Read;
  void* data_ = this;
};

class ByteSink {
public:
  ByteSink() { Exchange(); }
  ~ByteSink() { Exchange(); }
  ByteSink(const ByteSink&) = delete;
  ByteSink& operator=(const ByteSink&) = delete;

  const FileBytes& Bytes() const { return bytes_; }
  uint32_t Calls() const { return calls_; }
  void SetFull(bool full) { full_ = full; } // every write moves nothing

private:
  void Exchange() {
    krnRedirectIo(nullptr, nullptr, &write_, nullptr, nullptr, nullptr, nullptr, &data_, nullptr, nullptr);
  }
  static uint32_t Write(VxFileHandle, const void* buffer, uint32_t n, void* self) {
    auto* sink = static_cast<ByteSink*>(self);
    ++sink->calls_;
    if (sink->full_) {
      return 0;
    }
    const auto* bytes = static_cast<const uint8_t*>(buffer);
    sink->bytes_.insert(sink->bytes_.end(), bytes, bytes + n);
    return n;
  }

  FileBytes bytes_;
  uint32_t calls_ = 0;
  bool full_ = false;
  KrnWriteFn write_ = Write;
  void* data_ = this;
};

// Codes one behind the other, each in its own width.
class CodeStream {
public:
  enum class Order { kMsbFirst, kLsbFirst };
  explicit CodeStream(Order order = Order::kMsbFirst) : order_(order) {}

  CodeStream& Put(uint32_t code, uint32_t width) {
    for (uint32_t i = 0; i < width; ++i) {
      const bool msb = order_ == Order::kMsbFirst;
      const uint32_t bit = (code >> (msb ? width - 1 - i : i)) & 1;
      if (bits_ % 8 == 0) {
        bytes_.push_back(0);
      }
      bytes_.back() = static_cast<uint8_t>(bytes_.back() | bit << (msb ? 7 - bits_ % 8 : bits_ % 8));
      ++bits_;
    }
    return *this;
  }
  CodeStream& Put(const std::vector<uint32_t>& codes, uint32_t width) {
    for (uint32_t code : codes) {
      Put(code, width);
    }
    return *this;
  }
  // Bytes behind the last code, so that it lies ahead of the last 11 bits of the strip.
  CodeStream& Pad(uint32_t count) {
    bytes_.insert(bytes_.end(), count, 0);
    bits_ = static_cast<uint32_t>(bytes_.size() * 8);
    return *this;
  }
  const FileBytes& Bytes() const { return bytes_; }

private:
  Order order_;
  FileBytes bytes_;
  uint32_t bits_ = 0;
};
