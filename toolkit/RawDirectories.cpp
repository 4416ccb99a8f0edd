// Reading of entries and their values.

#include "toolkit/RawDirectories.h"

#include <algorithm>
#include <cstring>

#include "toolkit/Failure.h"
#include "toolkit/Utf16.h"

#include <vxtif/metadata.h>
#include <vxtif/rawpage.h>

namespace toolkit {
namespace {

// The value word in the form that it has in a little-endian file.
uint32_t NormalValue(const DirectoryEntry& entry, bool bigEndian) {
  const bool shortType = entry.type == kTypeShort || entry.type == kTypeSShort;
  const bool byteType = ElementSize(entry.type) == 1;
  if (shortType && entry.count < 3) {
    const uint32_t first = LoadFileWord(entry.raw, bigEndian);
    if (entry.count != 1) {
      return first | uint32_t{LoadFileWord(entry.raw + 2, bigEndian)} << 16;
    }
    return entry.type == kTypeShort ? first : static_cast<uint32_t>(static_cast<int16_t>(first));
  }
  return LoadFileLong(entry.raw, bigEndian && !(byteType && entry.count < 5));
}

} // namespace

uint16_t LoadFileWord(const uint8_t* bytes, bool bigEndian) {
  return static_cast<uint16_t>(bigEndian ? bytes[0] << 8 | bytes[1] : bytes[1] << 8 | bytes[0]);
}

uint32_t LoadFileLong(const uint8_t* bytes, bool bigEndian) {
  const uint32_t first = LoadFileWord(bytes, bigEndian);
  const uint32_t second = LoadFileWord(bytes + 2, bigEndian);
  return bigEndian ? first << 16 | second : second << 16 | first;
}

bool ReadFileAt(VxFileHandle file, uint32_t offset, void* buffer, uint32_t bytes) {
  if (offset <= INT32_MAX) {
    if (krnFileSeek(file, static_cast<int32_t>(offset), kKrnSeekSet) != offset) {
      return false;
    }
  } else if (krnFileSeek(file, INT32_MAX, kKrnSeekSet) != uint32_t{INT32_MAX} ||
             krnFileSeek(file, static_cast<int32_t>(offset - INT32_MAX), kKrnSeekCurrent) != offset) {
    return false;
  }
  return krnFileRead(file, buffer, bytes) == bytes;
}

uint32_t ElementSize(uint16_t type) {
  constexpr uint8_t kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
  return type < sizeof kSizes ? kSizes[type] : 0;
}

std::optional<DirectoryEntries> ReadDirectoryEntries(VxFileHandle file, uint32_t directoryOffset) {
  krnFileRenewBudget(file);
  uint8_t header[4];
  uint8_t count[2];
  DirectoryEntries directory;
  if (!ReadFileAt(file, 0, header, sizeof header) || !ReadFileAt(file, directoryOffset, count, sizeof count)) {
    return std::nullopt;
  }
  directory.bigEndian = header[0] == kByteOrderBig;
  directory.version = LoadFileWord(header + 2, directory.bigEndian);
  constexpr size_t kEntrySize = 12;
  std::vector<uint8_t> bytes(kEntrySize * LoadFileWord(count, directory.bigEndian));
  if (krnFileRead(file, bytes.data(), static_cast<uint32_t>(bytes.size())) != bytes.size()) {
    return std::nullopt;
  }
  for (size_t at = 0; at < bytes.size(); at += kEntrySize) {
    const uint8_t* from = bytes.data() + at;
    DirectoryEntry entry = {LoadFileWord(from, directory.bigEndian),
                            LoadFileWord(from + 2, directory.bigEndian),
                            LoadFileLong(from + 4, directory.bigEndian),
                            {from[8], from[9], from[10], from[11]},
                            0};
    entry.value = NormalValue(entry, directory.bigEndian);
    directory.entries.push_back(entry);
  }
  uint8_t link[4] = {};
  if (krnFileRead(file, link, sizeof link) == sizeof link) {
    directory.nextDirectoryOffset = LoadFileLong(link, directory.bigEndian);
  }
  return directory;
}

std::optional<std::vector<uint8_t>> ReadEntryValue(VxFileHandle file, const DirectoryEntry& entry, bool bigEndian) {
  const uint64_t bytes = uint64_t{entry.count} * ElementSize(entry.type);
  if (bytes <= sizeof entry.raw) {
    std::vector<uint8_t> inlined(entry.raw, entry.raw + bytes);
    if (bigEndian) {
      SwapElements(inlined, entry.type);
    }
    return inlined;
  }
  // A value cannot be larger than the file that holds it.
  if (bytes > krnFileSeek(file, 0, kKrnSeekEnd)) {
    return std::nullopt;
  }
  std::vector<uint8_t> values(static_cast<size_t>(bytes));
  if (!ReadFileAt(file, entry.value, values.data(), static_cast<uint32_t>(bytes))) {
    return std::nullopt;
  }
  if (bigEndian) {
    SwapElements(values, entry.type);
  }
  return values;
}

void SwapElements(std::vector<uint8_t>& values, uint16_t type) {
  const bool rational = type == kTypeRational || type == kTypeSRational;
  const size_t size = rational ? 4 : ElementSize(type);
  for (size_t at = 0; size > 1 && at + size <= values.size(); at += size) {
    std::reverse(values.begin() + static_cast<ptrdiff_t>(at), values.begin() + static_cast<ptrdiff_t>(at + size));
  }
}

uint32_t FindDirectory(const std::string& file, int32_t page, const char* operation) {
  TifFile record = {};
  Check(Vx_OpenTIF(ToUtf16(file).c_str(), &record, sizeof record), file, operation);
  int32_t found = kResultOk;
  if (page != 0 && page != 1) {
    TifDirectory* block = nullptr;
    uint32_t layout = 0;
    found = Vx_GetTIFPage(&record, static_cast<uint32_t>(page), &block, &layout);
    Vx_FreeTIFPage(block);
    // A directory that could not be read has been reached all the same.
    found = found == kResultRefused ? int32_t{kResultOk} : found;
  }
  const uint32_t offset = record.directoryOffset;
  Vx_CloseTIF(&record);
  Check(found, file, operation);
  return offset;
}

} // namespace toolkit
