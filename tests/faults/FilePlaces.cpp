// The places of a file: see the header.

#include "faults/FilePlaces.h"

#include <algorithm>

#include "support/FileDirectory.h"

namespace {

constexpr int kDeepest = 4;
constexpr int kMostPages = 20;

bool IsChildTag(uint16_t tag) {
  return tag == 330 || tag == 34665 || tag == 34853 || tag == 50236 || tag == 37500 || tag == 40965;
}

} // namespace

FilePlaces::FilePlaces(const FileBytes& before, const FileBytes& after) {
  size_ = static_cast<uint32_t>(std::max(before.size(), after.size()));
  AddChain(before, false);
  AddChain(after, true);
}

void FilePlaces::Add(uint32_t offset, uint32_t bytes, const std::string& name) {
  if (bytes != 0) {
    ranges_.emplace(offset, Range{offset + bytes, name}); // the first name of a place stays
  }
}

void FilePlaces::AddChain(const FileBytes& file, bool newOnly) {
  if (file.size() < 8 || (file[0] != 'I' && file[0] != 'M')) {
    return;
  }
  Add(0, 4, "header");
  Add(4, 4, "header.first");
  uint32_t offset = GetU32(file, 4, OrderOf(file));
  int newPages = 0;
  for (int page = 1; page <= kMostPages && offset >= 8 && offset + 6 <= file.size(); ++page) {
    // A page that stays where it was may have got values elsewhere.
    const bool isNew = newOnly && ranges_.count(offset) == 0;
    newPages += isNew ? 1 : 0;
    const std::string name = !isNew          ? "p" + std::to_string(page - newPages)
                             : newPages == 1 ? "new"
                                             : "new" + std::to_string(newPages);
    const uint32_t next = AddDirectory(file, offset, name, 0);
    offset = next;
  }
}

uint32_t FilePlaces::AddDirectory(const FileBytes& file, uint32_t offset, const std::string& name, int depth) {
  if (depth > kDeepest || offset < 8 || offset + 2 > file.size()) {
    return 0;
  }
  const uint32_t count = GetU16(file, offset, OrderOf(file));
  if (offset + 6 + count * 12 > file.size()) {
    return 0;
  }
  const FileDirectory directory = ReadFileDirectory(file, offset);
  Add(offset, 2, name + ".count");
  Add(offset + 2 + count * 12, 4, name + ".next");
  for (const FileEntry& entry : directory.entries) {
    const std::string tag = std::to_string(entry.tag);
    Add(entry.offset, 8, name + ".entry." + tag);
    Add(entry.offset + 8, 4, name + ".word." + tag);
    if (IsChildTag(entry.tag) && (entry.type == 4 || entry.count == 1)) {
      AddChildren(file, name + "." + tag, entry.tag, entry.count, entry.offset + 8, depth);
    } else if (entry.value.size() > 4) {
      Add(entry.word, static_cast<uint32_t>(entry.value.size() + entry.value.size() % 2), name + "." + tag);
      if (entry.tag == 37500) {
        AddDirectory(file, entry.word, name + "." + tag, depth + 1);
      }
    }
  }
  AddJpeg(directory, name);
  AddPieces(file, name, offset);
  return directory.next;
}

void FilePlaces::AddChildren(const FileBytes& file, const std::string& name, uint16_t, uint32_t count, uint32_t wordAt,
                             int depth) {
  const uint32_t word = GetU32(file, wordAt, OrderOf(file));
  if (count == 1) {
    AddDirectory(file, word, name, depth + 1);
    return;
  }
  Add(word, 4 * count, name + ".offsets");
  for (uint32_t i = 0; i < count && word + 4 * i + 4 <= file.size(); ++i) {
    AddDirectory(file, GetU32(file, word + 4 * i, OrderOf(file)), name, depth + 1);
  }
}

// An old-style stream and single tables, to which the value words point.
void FilePlaces::AddJpeg(const FileDirectory& directory, const std::string& name) {
  const FileEntry* const stream = directory.Find(513);
  const FileEntry* const length = directory.Find(514);
  if (stream != nullptr && length != nullptr) {
    Add(stream->word, length->word, name + ".513");
  }
  constexpr uint32_t kQuantizationBytes = 64;
  constexpr uint32_t kCountBytes = 16; // of a Huffman table; its values follow
  for (const auto& [tag, bytes] :
       {std::pair<uint16_t, uint32_t>{519, kQuantizationBytes}, {520, kCountBytes}, {521, kCountBytes}}) {
    const FileEntry* const table = directory.Find(tag);
    if (table != nullptr && table->count == 1) {
      Add(table->word, bytes, name + "." + std::to_string(tag));
      Add(table->word + bytes, tag == 519 ? 0 : 1, name + "." + std::to_string(tag) + ".values");
    }
  }
}

void FilePlaces::AddPieces(const FileBytes& file, const std::string& name, uint32_t offset) {
  const FileDirectory directory = ReadFileDirectory(file, offset);
  for (const auto& [offsetsTag, countsTag] : {std::pair<uint16_t, uint16_t>{273, 279}, {324, 325}}) {
    const FileEntry* const offsets = directory.Find(offsetsTag);
    const FileEntry* const counts = directory.Find(countsTag);
    if (offsets == nullptr || counts == nullptr || offsets->count != counts->count) {
      continue;
    }
    const auto number = [&](const FileEntry& entry, uint32_t i) {
      const bool isShort = entry.type == 3;
      const size_t at = i * (isShort ? 2 : 4);
      return at + (isShort ? 2 : 4) > entry.value.size() ? 0u
             : isShort                                   ? GetU16(entry.value, at, OrderOf(file))
                                                         : GetU32(entry.value, at, OrderOf(file));
    };
    for (uint32_t i = 0; i < offsets->count; ++i) {
      Add(number(*offsets, i), number(*counts, i), name + ".data");
    }
  }
}

std::string FilePlaces::At(uint32_t offset) const {
  auto after = ranges_.upper_bound(offset);
  if (after != ranges_.begin()) {
    --after;
    if (offset < after->second.end) {
      return after->second.name + (offset == after->first ? "" : "+");
    }
  }
  return offset >= size_ ? "end" : "between";
}

bool PlaceMatches(const char* pattern, const char* name) {
  if (*pattern == 0) {
    return *name == 0;
  }
  if (*pattern == '*') {
    return PlaceMatches(pattern + 1, name) || (*name != 0 && PlaceMatches(pattern, name + 1));
  }
  return *pattern == *name && PlaceMatches(pattern + 1, name + 1);
}
