// Reading of whole files: see the header.

#include "support/ChainWalk.h"

#include <algorithm>

namespace {

constexpr uint32_t kHeaderBytes = 8;
constexpr uint32_t kEntryBytes = 12;
constexpr size_t kMostPages = 10000;
constexpr uint32_t kTypeBytes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};

class Walker {
public:
  explicit Walker(const FileBytes& file) : file_(file) {}

  WalkedFile Walk() {
    const bool little = Starts("II");
    if (file_.size() < kHeaderBytes || (!little && !Starts("MM"))) {
      return Stop("no header");
    }
    walked_.order = little ? FileOrder::kLittle : FileOrder::kBig;
    if (GetU16(file_, 2, walked_.order) != 42) {
      return Stop("not version 42");
    }
    uint32_t link = 4;
    for (uint32_t at = Word(link); at != 0; at = Word(link)) {
      WalkedPage page;
      page.offset = at;
      page.linkOffset = link;
      if (!ReadPage(page)) {
        return walked_;
      }
      link = page.nextOffset;
      walked_.pages.push_back(std::move(page));
      if (walked_.pages.size() > kMostPages) {
        return Stop("endless chain");
      }
    }
    if (walked_.pages.empty()) {
      return Stop("no pages");
    }
    FindOverlaps();
    return walked_;
  }

private:
  bool Starts(const char* mark) const {
    return file_.size() >= 2 && file_[0] == static_cast<uint8_t>(mark[0]) && file_[1] == static_cast<uint8_t>(mark[1]);
  }
  uint32_t Word(uint32_t at) const { return GetU32(file_, at, walked_.order); }
  bool Holds(uint64_t at, uint64_t bytes) const { return at + bytes <= file_.size(); }
  WalkedFile Stop(const std::string& fault) {
    walked_.fault = fault;
    return walked_;
  }
  bool Refuse(const WalkedPage& page, const std::string& fault) {
    walked_.fault = "page " + std::to_string(walked_.pages.size() + 1) + " at " + std::to_string(page.offset) +
                    " of a file of " + std::to_string(file_.size()) + ": " + fault;
    return false;
  }

  bool ReadPage(WalkedPage& page) {
    if (page.offset < kHeaderBytes || page.offset % 2 != 0 || !Holds(page.offset, 2)) {
      return Refuse(page, "no place for a directory");
    }
    const uint32_t count = GetU16(file_, page.offset, walked_.order);
    const uint32_t bytes = 2 + count * kEntryBytes + 4;
    if (count == 0 || !Holds(page.offset, bytes)) {
      return Refuse(page, std::to_string(count) + " entries");
    }
    page.nextOffset = page.offset + bytes - 4;
    page.ranges.push_back({page.offset, bytes});
    int32_t last = -1;
    for (uint32_t i = 0; i < count; ++i) {
      const uint32_t at = page.offset + 2 + i * kEntryBytes;
      const uint16_t tag = GetU16(file_, at, walked_.order);
      if (tag <= last) {
        return Refuse(page, "tag " + std::to_string(tag) + " behind " + std::to_string(last));
      }
      last = tag;
      if (!ReadEntry(page, tag, at)) {
        return false;
      }
    }
    return ReadPieces(page, 273, 279) && ReadPieces(page, 324, 325);
  }

  bool ReadEntry(WalkedPage& page, uint16_t tag, uint32_t at) {
    WalkedEntry entry;
    entry.type = GetU16(file_, at + 2, walked_.order);
    entry.count = GetU32(file_, at + 4, walked_.order);
    entry.wordOffset = at + 8;
    if (entry.type == 0 || entry.type >= std::size(kTypeBytes) || entry.count == 0) {
      return Refuse(page, "tag " + std::to_string(tag) + " of type " + std::to_string(entry.type));
    }
    const uint64_t bytes = uint64_t{entry.count} * kTypeBytes[entry.type];
    entry.offset = bytes <= 4 ? at + 8 : Word(at + 8);
    if (!Holds(entry.offset, bytes) || entry.offset % 2 != 0) {
      return Refuse(page, "value of tag " + std::to_string(tag) + " at " + std::to_string(entry.offset));
    }
    const auto begin = file_.begin() + entry.offset;
    entry.value.assign(begin, begin + static_cast<std::ptrdiff_t>(bytes));
    if (bytes > 4) {
      page.ranges.push_back({entry.offset, static_cast<uint32_t>(bytes)});
    }
    page.entries[tag] = std::move(entry);
    return true;
  }

  bool ReadPieces(WalkedPage& page, uint16_t offsetsTag, uint16_t countsTag) {
    const auto offsets = page.entries.find(offsetsTag);
    const auto counts = page.entries.find(countsTag);
    if (offsets == page.entries.end() && counts == page.entries.end()) {
      return true;
    }
    if (offsets == page.entries.end() || counts == page.entries.end() ||
        offsets->second.count != counts->second.count) {
      return Refuse(page, "strip tables of different sizes");
    }
    for (uint32_t i = 0; i < offsets->second.count; ++i) {
      const uint32_t at = page.Number(offsetsTag, walked_.order, i);
      const uint32_t bytes = page.Number(countsTag, walked_.order, i);
      if (at < kHeaderBytes || !Holds(at, bytes)) {
        return Refuse(page, "piece " + std::to_string(i) + " at " + std::to_string(at));
      }
      page.ranges.push_back({at, bytes});
    }
    return true;
  }

  // Nothing may belong to two pages, nor twice to one.
  void FindOverlaps() {
    std::vector<std::pair<uint32_t, uint32_t>> all;
    for (const WalkedPage& page : walked_.pages) {
      all.insert(all.end(), page.ranges.begin(), page.ranges.end());
    }
    std::sort(all.begin(), all.end());
    for (size_t i = 1; i < all.size(); ++i) {
      if (all[i - 1].first + all[i - 1].second > all[i].first && all[i].second != 0) {
        walked_.fault = "bytes at " + std::to_string(all[i].first) + " are used twice";
      }
    }
  }

  const FileBytes& file_;
  WalkedFile walked_;
};

bool IsChanging(const WalkedPage& page, uint32_t at) {
  if (at >= page.nextOffset && at < page.nextOffset + 4) {
    return true;
  }
  for (uint16_t tag : {uint16_t{254}, uint16_t{297}}) {
    const auto entry = page.entries.find(tag);
    if (entry != page.entries.end() && at >= entry->second.wordOffset && at < entry->second.wordOffset + 4) {
      return true;
    }
  }
  return false;
}

} // namespace

uint32_t WalkedPage::Number(uint16_t tag, FileOrder order, uint32_t index) const {
  const auto found = entries.find(tag);
  if (found == entries.end() || index >= found->second.count) {
    return 0;
  }
  const WalkedEntry& entry = found->second;
  return entry.type == 3   ? GetU16(entry.value, size_t{index} * 2, order)
         : entry.type == 4 ? GetU32(entry.value, size_t{index} * 4, order)
                           : 0;
}

WalkedFile WalkChain(const FileBytes& file) {
  return Walker(file).Walk();
}

std::vector<std::pair<uint32_t, uint8_t>> LastingPlaces(const FileBytes& file, const WalkedPage& page) {
  std::vector<std::pair<uint32_t, uint8_t>> places;
  for (const auto& [start, bytes] : page.ranges) {
    for (uint32_t at = start; at < start + bytes; ++at) {
      if (start != page.offset || !IsChanging(page, at)) {
        places.push_back({at, file[at]});
      }
    }
  }
  return places;
}

FileBytes LastingBytes(const FileBytes& file, const WalkedPage& page) {
  FileBytes bytes;
  for (const auto& place : LastingPlaces(file, page)) {
    bytes.push_back(place.second);
  }
  return bytes;
}
