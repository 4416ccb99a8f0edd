// A tree read from bytes in memory, freed at the end of its scope, and plain copies of its packed records.
#pragma once

#include <cstdint>
#include <vector>

#include "support/KernelGuard.h"
#include "support/TempFile.h"
#include "support/TiffBuilder.h"
#include "tif_com/DirectoryTree.h"
#include "tif_com/FileAccess.h"

// A record out of its packed place, comparable field by field.
struct PlainRecord {
  uint32_t tag = 0;
  uint32_t type = 0;
  uint32_t count = 0;
  uint32_t value = 0;
  uint32_t storage = 0;
  const void* data = nullptr;

  FileBytes Bytes(size_t n) const {
    return FileBytes(static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + n);
  }
  FileBytes BlockBytes(size_t i, size_t n) const {
    const auto* block = static_cast<const uint8_t*>(static_cast<void* const*>(data)[i]);
    return FileBytes(block, block + n);
  }
  const TifDirectory* Child() const { return static_cast<const TifDirectory*>(data); }
  const TifDirectory* Child(size_t i) const { return static_cast<TifDirectory* const*>(data)[i]; }
};

inline PlainRecord Plain(const TifTagRecord& record) {
  return {record.tag, record.type, record.count, record.value, record.storage, record.data};
}

inline std::vector<uint32_t> TagsOf(const TifDirectory* directory) {
  std::vector<uint32_t> tags;
  for (uint32_t i = 0; directory != nullptr && i < directory->entryCount; ++i) {
    tags.push_back(directory->records[i].tag);
  }
  return tags;
}

// The first record with the tag; all zero without one.
inline PlainRecord Get(const TifDirectory* directory, uint32_t tag) {
  for (uint32_t i = 0; directory != nullptr && i < directory->entryCount; ++i) {
    if (directory->records[i].tag == tag) {
      return Plain(directory->records[i]);
    }
  }
  return {};
}

class TreeInput {
public:
  explicit TreeInput(const FileBytes& bytes, uint32_t directory = 0, TifDirKind kind = kDirMain)
      : input_(bytes), kind_(kind) {
    file_.fileHandle = input_.Handle();
    if (TIFReadHeader(&file_, directory) == kResultOk) {
      tree_ = TIFReadDirectory(&file_, kind, TreeSource::kMemoryFile);
    }
  }
  ~TreeInput() { TIFFreeDirectory(tree_, kind_); }
  TreeInput(const TreeInput&) = delete;
  TreeInput& operator=(const TreeInput&) = delete;

  TifDirectory* Tree() const { return tree_; }
  PlainRecord Get(uint32_t tag) const { return ::Get(tree_, tag); }
  TifFile& File() { return file_; }

private:
  KernelGuard guard_;
  MemoryInput input_;
  TifFile file_ = {};
  TifDirKind kind_;
  TifDirectory* tree_ = nullptr;
};

inline FileBytes Counting(size_t n, uint8_t first = 0) {
  FileBytes bytes(n);
  for (size_t i = 0; i < n; ++i) {
    bytes[i] = static_cast<uint8_t>(first + i);
  }
  return bytes;
}
