// Directories in the bytes of a file: see the header.

#include "support/FileDirectory.h"

#include <algorithm>
#include <stdexcept>

namespace {

FileBytes Slice(const FileBytes& file, uint32_t offset, size_t bytes) {
  if (offset + bytes > file.size()) {
    throw std::out_of_range("a value lies behind the end of the file");
  }
  const auto first = file.begin() + offset;
  return FileBytes(first, first + static_cast<std::ptrdiff_t>(bytes));
}

} // namespace

uint32_t FieldTypeSize(uint16_t type) {
  constexpr uint8_t kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
  return type < sizeof kSizes ? kSizes[type] : 0;
}

const FileEntry* FileDirectory::Find(uint16_t tag) const {
  const auto found =
      std::find_if(entries.begin(), entries.end(), [tag](const auto& entry) { return entry.tag == tag; });
  return found != entries.end() ? &*found : nullptr;
}

std::vector<uint16_t> FileDirectory::Tags() const {
  std::vector<uint16_t> tags;
  for (const FileEntry& entry : entries) {
    tags.push_back(entry.tag);
  }
  return tags;
}

FileOrder OrderOf(const FileBytes& file) {
  return file.at(0) == 'I' ? FileOrder::kLittle : FileOrder::kBig;
}

FileDirectory ReadFileDirectory(const FileBytes& file, uint32_t offset) {
  const FileOrder order = OrderOf(file);
  FileDirectory directory;
  directory.offset = offset;
  const uint32_t count = GetU16(file, offset, order);
  for (uint32_t i = 0; i < count; ++i) {
    FileEntry entry;
    entry.offset = offset + 2 + 12 * i;
    entry.tag = GetU16(file, entry.offset, order);
    entry.type = GetU16(file, entry.offset + 2, order);
    entry.count = GetU32(file, entry.offset + 4, order);
    entry.word = GetU32(file, entry.offset + 8, order);
    const size_t bytes = size_t{FieldTypeSize(entry.type)} * entry.count;
    entry.value = Slice(file, bytes <= 4 ? entry.offset + 8 : entry.word, bytes);
    directory.entries.push_back(std::move(entry));
  }
  directory.next = GetU32(file, offset + 2 + 12 * count, order);
  return directory;
}

FileDirectory ReadFilePage(const FileBytes& file, uint32_t page) {
  FileDirectory directory = ReadFileDirectory(file, GetU32(file, 4, OrderOf(file)));
  for (; page > 0; --page) {
    if (directory.next == 0) {
      throw std::out_of_range("the file has fewer pages");
    }
    directory = ReadFileDirectory(file, directory.next);
  }
  return directory;
}

FileDirectory ReadFileChild(const FileBytes& file, const FileDirectory& parent, uint16_t tag) {
  const FileEntry* entry = parent.Find(tag);
  if (entry == nullptr) {
    throw std::out_of_range("the directory has no such child");
  }
  return ReadFileDirectory(file, entry->word);
}

FileBytes InFileOrder(FileOrder order, uint16_t type, FileBytes host) {
  const size_t size = type == 5 || type == 10 ? 4 : FieldTypeSize(type);
  if (order == FileOrder::kBig && size > 1) {
    for (size_t at = 0; at + size <= host.size(); at += size) {
      const auto first = host.begin() + static_cast<std::ptrdiff_t>(at);
      std::reverse(first, first + static_cast<std::ptrdiff_t>(size));
    }
  }
  return host;
}
