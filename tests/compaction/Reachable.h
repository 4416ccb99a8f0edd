// Which bytes of a TIFF file are reached from its header, found by a walk that shares nothing with the library: it
// knows the format only. Made for files that the library wrote, so that it throws where something doesn't fit.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "support/TiffBuilder.h"

class Reachable {
public:
  explicit Reachable(FileBytes bytes);

  // Runs of bytes that nothing refers to, described, but for single bytes that bring an odd place to an even one.
  std::vector<std::string> DeadRuns() const;
  uint32_t Pages() const { return pages_; }

private:
  enum class Parent { kPage, kExif, kOther };
  struct Entry {
    uint16_t tag;
    uint16_t type;
    uint32_t count;
    uint32_t place; // of the value's bytes
    uint64_t bytes;
  };
  uint16_t U16(uint32_t at) const { return GetU16(bytes_, at, order_); }
  uint32_t U32(uint32_t at) const { return GetU32(bytes_, at, order_); }
  void Mark(uint64_t at, uint64_t bytes);
  uint32_t WalkDirectory(uint32_t at, Parent parent); // its next word
  Entry ReadEntry(uint32_t at) const;
  std::vector<uint32_t> Numbers(const Entry& entry) const;
  void WalkChildren(const Entry& entry, Parent parent);
  void WalkPieces(const std::vector<Entry>& entries, uint16_t offsetsTag, uint16_t countsTag);
  void WalkJpeg(const std::vector<Entry>& entries);
  void MarkHeadedStrip(const std::vector<Entry>& entries, uint32_t next);

  FileBytes bytes_;
  FileOrder order_;
  uint32_t pages_ = 0;
  std::vector<bool> reached_;
};
