// A directory as it stands in the bytes of a file: what a plain reader of TIFF sees, put together apart from the
// library's own reader.
#pragma once

#include <cstdint>
#include <vector>

#include "support/TiffBuilder.h"

struct FileEntry {
  uint16_t tag = 0;
  uint16_t type = 0;
  uint32_t count = 0;
  uint32_t word = 0;   // the value word as a number of the file's order
  uint32_t offset = 0; // of the entry
  FileBytes value;     // the value's bytes as they stand in the file, inline or not; empty for an unknown type
};

struct FileDirectory {
  uint32_t offset = 0;
  uint32_t next = 0;
  std::vector<FileEntry> entries;

  const FileEntry* Find(uint16_t tag) const; // the first one; null without
  std::vector<uint16_t> Tags() const;
};

uint32_t FieldTypeSize(uint16_t type); // bytes of an element, 0 for an unknown type

FileOrder OrderOf(const FileBytes& file); // by the order mark
FileDirectory ReadFileDirectory(const FileBytes& file, uint32_t offset);
FileDirectory ReadFilePage(const FileBytes& file, uint32_t page = 0); // by the chain, counted from 0
FileDirectory ReadFileChild(const FileBytes& file, const FileDirectory& parent, uint16_t tag);

// A value between host order (little-endian) and the order of a file: each element's bytes reversed on a big-endian
// file, rationals as two numbers.
FileBytes InFileOrder(FileOrder order, uint16_t type, FileBytes host);
