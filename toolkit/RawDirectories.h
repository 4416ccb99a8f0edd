// The entries of a directory as they stand in a file, for a host that wants to look without loading.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <vxkernel/files.h>

namespace toolkit {

struct DirectoryEntry {
  uint16_t tag;
  uint16_t type;
  uint32_t count;
  uint8_t raw[4]; // value bytes as they stand in the file
  uint32_t value; // the value word as a little-endian file would have it
};

struct DirectoryEntries {
  bool bigEndian = false;
  uint16_t version = 0;
  std::vector<DirectoryEntry> entries; // in file order
  uint32_t nextDirectoryOffset = 0;    // 0 too when it cannot be read
};

uint16_t LoadFileWord(const uint8_t* bytes, bool bigEndian);
uint32_t LoadFileLong(const uint8_t* bytes, bool bigEndian);

// Reads exactly `bytes` bytes at an offset.
bool ReadFileAt(VxFileHandle file, uint32_t offset, void* buffer, uint32_t bytes);

// Bytes of one element of a field type, 0 for an unknown one.
uint32_t ElementSize(uint16_t type);

// Nothing when the directory cannot be read.
std::optional<DirectoryEntries> ReadDirectoryEntries(VxFileHandle file, uint32_t directoryOffset);

// The values of an entry in host order; nothing when they cannot be read.
std::optional<std::vector<uint8_t>> ReadEntryValue(VxFileHandle file, const DirectoryEntry& entry, bool bigEndian);

// Reverses the bytes of values that came from a file of the other order.
void SwapElements(std::vector<uint8_t>& values, uint16_t type);

// Where the directory of a page stands; pages that cannot be described are found too. Throws Failure.
uint32_t FindDirectory(const std::string& file, int32_t page, const char* operation);

} // namespace toolkit
