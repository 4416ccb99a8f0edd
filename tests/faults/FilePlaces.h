// Names for the places of a TIFF file, so that what is told about a failing call can be told by place: "header",
// "p2.count", "p2.entry.258", "p2.word.258" (the value word), "p2.next", "p2.282" (values out of line), "p2.data",
// "p1.34665.count" (a child directory), "new.next" (a page that stands in the second file only; "new2" the one behind
// it), "end". Within a place, behind its first byte, the name has a plus.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "support/FileDirectory.h"
#include "support/TiffBuilder.h"

class FilePlaces {
public:
  FilePlaces() = default;
  // The places of a file before an operation and, where it writes, after it.
  explicit FilePlaces(const FileBytes& before, const FileBytes& after = {});
  std::string At(uint32_t offset) const;

private:
  struct Range {
    uint32_t end;
    std::string name;
  };
  void AddChain(const FileBytes& file, bool newOnly);
  uint32_t AddDirectory(const FileBytes& file, uint32_t offset, const std::string& name, int depth);
  void AddChildren(const FileBytes& file, const std::string& name, uint16_t tag, uint32_t count, uint32_t wordAt,
                   int depth);
  void AddJpeg(const FileDirectory& directory, const std::string& name);
  void AddPieces(const FileBytes& file, const std::string& name, uint32_t directory);
  void Add(uint32_t offset, uint32_t bytes, const std::string& name);

  std::map<uint32_t, Range> ranges_; // by their first byte
  uint32_t size_ = 0;
};

// True when `name` is as `pattern`, in which a star stands for anything.
bool PlaceMatches(const char* pattern, const char* name);
