// The walk over all that a TIFF file refers to: see the header.

#include "compaction/Reachable.h"

#include <algorithm>
#include <stdexcept>

namespace {

uint32_t SizeOf(uint16_t type) {
  constexpr uint8_t kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
  return type < sizeof kSizes ? kSizes[type] : 0;
}

bool IsJpegTable(uint16_t tag) {
  return tag >= 519 && tag <= 521;
}

} // namespace

Reachable::Reachable(FileBytes bytes)
    : bytes_(std::move(bytes)), order_(bytes_.at(0) == 'M' ? FileOrder::kBig : FileOrder::kLittle),
      reached_(bytes_.size()) {
  Mark(0, 8);
  for (uint32_t at = U32(4); at != 0; at = WalkDirectory(at, Parent::kPage)) {
    if (++pages_ > 100000) {
      throw std::runtime_error("the chain does not end");
    }
  }
}

void Reachable::Mark(uint64_t at, uint64_t bytes) {
  if (at + bytes > bytes_.size()) {
    throw std::runtime_error("something stands behind the end, at " + std::to_string(at));
  }
  std::fill(reached_.begin() + static_cast<std::ptrdiff_t>(at),
            reached_.begin() + static_cast<std::ptrdiff_t>(at + bytes), true);
}

Reachable::Entry Reachable::ReadEntry(uint32_t at) const {
  Entry entry = {U16(at), U16(at + 2), U32(at + 4), at + 8, 0};
  entry.bytes = uint64_t{SizeOf(entry.type)} * entry.count;
  if (entry.bytes > 4) {
    entry.place = U32(at + 8);
  }
  return entry;
}

std::vector<uint32_t> Reachable::Numbers(const Entry& entry) const {
  std::vector<uint32_t> numbers;
  for (uint32_t i = 0; i < entry.count; ++i) {
    numbers.push_back(SizeOf(entry.type) == 2 ? U16(entry.place + 2 * i) : U32(entry.place + 4 * i));
  }
  return numbers;
}

uint32_t Reachable::WalkDirectory(uint32_t at, Parent parent) {
  if (at % 2 != 0) {
    throw std::runtime_error("a directory at the odd place " + std::to_string(at));
  }
  const uint32_t count = U16(at);
  Mark(at, 2 + 12 * uint64_t{count} + 4);
  std::vector<Entry> entries;
  for (uint32_t i = 0; i < count; ++i) {
    entries.push_back(ReadEntry(at + 2 + 12 * i));
    if (i > 0 && entries[i].tag < entries[i - 1].tag) {
      throw std::runtime_error("tags out of order at " + std::to_string(at));
    }
  }
  for (const Entry& entry : entries) {
    const bool isMakerNote = parent == Parent::kExif && entry.tag == 37500;
    if (entry.bytes > 4 && !isMakerNote) {
      Mark(entry.place, entry.bytes);
      if (entry.place % 2 != 0) {
        throw std::runtime_error("tag " + std::to_string(entry.tag) + " at an odd place");
      }
    }
    WalkChildren(entry, parent);
  }
  if (parent != Parent::kExif) {
    WalkPieces(entries, 273, 279);
    WalkPieces(entries, 324, 325);
    WalkJpeg(entries);
    MarkHeadedStrip(entries, U32(at + 2 + 12 * count));
  }
  return U32(at + 2 + 12 * count);
}

void Reachable::WalkChildren(const Entry& entry, Parent parent) {
  if (parent == Parent::kPage && (entry.tag == 330 || entry.tag == 34665 || entry.tag == 34853 || entry.tag == 50236)) {
    const Parent kind = entry.tag == 330 ? Parent::kPage : entry.tag == 34665 ? Parent::kExif : Parent::kOther;
    for (uint32_t child : Numbers(entry)) {
      WalkDirectory(child, kind);
    }
  }
  if (parent == Parent::kExif && entry.tag == 40965) {
    WalkDirectory(U32(entry.place), Parent::kOther);
  }
  if (parent == Parent::kExif && entry.tag == 37500) {
    // Either raw bytes, or a directory whose length only it knows.
    const uint32_t count = U16(entry.place);
    const uint64_t end = entry.place + 2 + 12 * uint64_t{count} + 4;
    if (count != 0 && end <= bytes_.size()) {
      WalkDirectory(entry.place, Parent::kOther);
    } else {
      Mark(entry.place, entry.bytes);
    }
  }
}

void Reachable::WalkPieces(const std::vector<Entry>& entries, uint16_t offsetsTag, uint16_t countsTag) {
  const auto has = [](uint16_t tag) { return [tag](const Entry& entry) { return entry.tag == tag; }; };
  const auto offsets = std::find_if(entries.begin(), entries.end(), has(offsetsTag));
  const auto counts = std::find_if(entries.begin(), entries.end(), has(countsTag));
  if (offsets == entries.end() || counts == entries.end()) {
    return;
  }
  const std::vector<uint32_t> places = Numbers(*offsets);
  const std::vector<uint32_t> lengths = Numbers(*counts);
  for (size_t i = 0; i < places.size(); ++i) {
    Mark(places[i], lengths.at(i));
  }
}

void Reachable::WalkJpeg(const std::vector<Entry>& entries) {
  uint32_t stream = 0;
  for (const Entry& entry : entries) {
    if (entry.tag == 513) {
      stream = U32(entry.place);
    }
    if (entry.tag == 514 && stream != 0) {
      Mark(stream, std::min<uint64_t>(Numbers(entry).at(0), bytes_.size() - stream));
    }
    for (uint32_t table : IsJpegTable(entry.tag) ? Numbers(entry) : std::vector<uint32_t>{}) {
      uint32_t length = 64;
      if (entry.tag != 519) {
        length = 16;
        for (uint32_t i = 0; i < 16; ++i) {
          length += bytes_.at(table + i);
        }
      }
      Mark(table, length);
    }
  }
}

// The entry of a single strip behind a JPEG header names the header, so that no tag tells where the strip ends: it is
// the last thing of its page.
void Reachable::MarkHeadedStrip(const std::vector<Entry>& entries, uint32_t next) {
  uint32_t strip = 0;
  uint32_t stream = 0;
  for (const Entry& entry : entries) {
    strip = entry.tag == 273 && entry.count == 1 ? U32(entry.place) : strip;
    stream = entry.tag == 513 ? U32(entry.place) : stream;
  }
  const size_t end = next != 0 ? next : bytes_.size();
  if (stream != 0 && strip == stream && stream < end) {
    Mark(stream, end - stream);
  }
}

std::vector<std::string> Reachable::DeadRuns() const {
  std::vector<std::string> runs;
  for (size_t at = 0; at < reached_.size();) {
    size_t end = at;
    while (end < reached_.size() && !reached_[end]) {
      ++end;
    }
    const bool isPad = end == at + 1 && at % 2 != 0;
    if (end > at && !isPad) {
      runs.push_back(std::to_string(end - at) + " bytes at " + std::to_string(at));
    }
    at = end + 1;
  }
  return runs;
}
