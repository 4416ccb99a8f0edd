// Counting of what hangs from a directory.

#include "toolkit/PageContents.h"

#include <algorithm>

#include "toolkit/CommentTable.h"
#include "toolkit/RawDirectories.h"

#include <vxtif/comments.h>

namespace toolkit {
namespace {

enum : uint16_t {
  kTagSubIfds = 330,
  kTagXmp = 700,
  kTagIptc = 33723,
  kTagPhotoshop = 34377,
  kTagExifIfd = 34665,
  kTagIcc = 34675,
  kTagGeoKeys = 34735,
  kTagGpsIfd = 34853,
  kTagMakerNote = 37500,
};

#define TAG_OF(number, name, tag, ...) tag,
constexpr uint16_t kTextTags[] = {VXTIF_MAIN_COMMENTS(TAG_OF)};

uint32_t BytesOf(const DirectoryEntry& entry) {
  const uint64_t bytes = uint64_t{entry.count} * ElementSize(entry.type);
  return static_cast<uint32_t>(std::min<uint64_t>(bytes, UINT32_MAX));
}

// Walks the stream of data sets as far as it goes: marker, record, data set, and a length of two bytes, or of four when
// the first two say so.
uint32_t CountDataSets(const std::vector<uint8_t>& stream) {
  constexpr uint8_t kSetMarker = 0x1C;
  constexpr uint32_t kExtendedBit = 0x8000;
  uint32_t sets = 0;
  size_t at = 0;
  while (at + 5 <= stream.size() && stream[at] == kSetMarker) {
    size_t length = LoadFileWord(stream.data() + at + 3, true);
    at += 5;
    if (length == (kExtendedBit | 4) && at + 4 <= stream.size()) {
      length = LoadFileLong(stream.data() + at, true);
      at += 4;
    } else if ((length & kExtendedBit) != 0) {
      break;
    }
    ++sets;
    if (length > stream.size() - at) {
      break;
    }
    at += length;
  }
  return sets;
}

std::optional<uint32_t> CountIptc(VxFileHandle file, const DirectoryEntry& entry, bool bigEndian) {
  DirectoryEntry bytes = entry; // whatever its type, the stream is one of bytes
  bytes.count = BytesOf(entry);
  bytes.type = kTypeByte;
  if (bytes.count <= sizeof entry.raw) {
    return std::nullopt;
  }
  const auto stream = ReadEntryValue(file, bytes, bigEndian);
  return stream ? std::optional(CountDataSets(*stream)) : std::nullopt;
}

// The key directory begins with its version, two revisions and the number of keys.
std::optional<uint32_t> CountGeoKeys(VxFileHandle file, const DirectoryEntry& entry, bool bigEndian) {
  constexpr uint32_t kHeaderNumbers = 4;
  if (entry.type != kTypeShort || entry.count <= kHeaderNumbers) {
    return std::nullopt;
  }
  DirectoryEntry header = entry;
  header.count = kHeaderNumbers;
  const auto numbers = ReadEntryValue(file, header, bigEndian);
  if (!numbers) {
    return std::nullopt;
  }
  const uint32_t keys = LoadFileWord(numbers->data() + 6, false);
  const bool whole = LoadFileWord(numbers->data(), false) == 1 && uint64_t{keys + 1} * kHeaderNumbers <= entry.count;
  return whole && keys != 0 ? std::optional(keys) : std::nullopt;
}

void AddExif(VxFileHandle file, const DirectoryEntry& entry, PageContents& contents) {
  const auto exif = ReadDirectoryEntries(file, entry.value);
  if (!exif) {
    return;
  }
  contents.exif = static_cast<uint32_t>(exif->entries.size());
  const auto note = std::ranges::find(exif->entries, uint16_t{kTagMakerNote}, &DirectoryEntry::tag);
  if (note != exif->entries.end()) {
    contents.makerNote = BytesOf(*note);
  }
}

void AddEntry(VxFileHandle file, const DirectoryEntry& entry, bool bigEndian, PageContents& contents) {
  switch (entry.tag) {
  case kTagSubIfds:
    contents.subDirectories = entry.count;
    break;
  case kTagXmp:
    contents.xmp = BytesOf(entry);
    break;
  case kTagIptc:
    contents.iptc = CountIptc(file, entry, bigEndian);
    break;
  case kTagPhotoshop:
    contents.photoshop = BytesOf(entry);
    break;
  case kTagExifIfd:
    AddExif(file, entry, contents);
    break;
  case kTagIcc:
    contents.icc = BytesOf(entry);
    break;
  case kTagGeoKeys:
    contents.geoKeys = CountGeoKeys(file, entry, bigEndian);
    break;
  case kTagGpsIfd:
    if (const auto gps = ReadDirectoryEntries(file, entry.value)) {
      contents.gps = static_cast<uint32_t>(gps->entries.size());
    }
    break;
  default:
    contents.texts += std::ranges::count(kTextTags, entry.tag) != 0 ? 1 : 0;
    break;
  }
}

} // namespace

PageContents ReadPageContents(VxFileHandle file, uint32_t directoryOffset) {
  PageContents contents;
  const auto directory = ReadDirectoryEntries(file, directoryOffset);
  if (directory) {
    for (const DirectoryEntry& entry : directory->entries) {
      AddEntry(file, entry, directory->bigEndian, contents);
    }
    contents.stamp = contents.exif.has_value() && directory->nextDirectoryOffset != 0;
  }
  return contents;
}

} // namespace toolkit
