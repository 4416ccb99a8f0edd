// A mutation that knows directories: see the header.

#include "TiffMutation.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "InputChoices.h"
#include "properties/Seed.h"
#include "tif_com/Tags.h"

namespace {

constexpr size_t kHeaderBytes = 8;
constexpr size_t kEntryBytes = 12;
constexpr size_t kMostDirectories = 24;

constexpr uint16_t kTags[] = {254,   255,   256,   257,   258,   259,   262,   266,   270,   271,   272,   273,
                              274,   277,   278,   279,   280,   281,   282,   283,   284,   285,   290,   291,
                              292,   293,   296,   297,   305,   306,   315,   317,   320,   322,   323,   324,
                              325,   330,   338,   339,   400,   513,   514,   519,   520,   521,   529,   530,
                              531,   532,   700,   33432, 33434, 33437, 33465, 33466, 33467, 33723, 34665, 34735,
                              34736, 34737, 34853, 34855, 36864, 36867, 37396, 37398, 37500, 37510, 40960, 40965,
                              41486, 41488, 50234, 50235, 50236, 0,     1,     2,     4,     7,     29};

constexpr uint32_t kNumbers[] = {
    0,          1,          2,          3,          4,          5,          6,          7,          8,
    9,          12,         15,         16,         17,         24,         31,         32,         33,
    48,         64,         127,        128,        255,        256,        257,        768,        4095,
    4096,       8191,       8192,       8193,       32767,      32768,      32773,      34661,      34710,
    34713,      65535,      65536,      65537,      99999,      196608,     1 << 20,    0x10000000, 0x3FFFFFFF,
    0x40000000, 0x7FFFFFFF, 0x80000000, 0x80000001, 0xAAAAAAAB, 0xFFFF0000, 0xFFFFFFFE, 0xFFFFFFFF};

constexpr uint16_t kCompressions[] = {1,     2,     3,     4,     5,     6,     7,     8,     9,
                                      32010, 32773, 32946, 33001, 33003, 34661, 34662, 34709, 34710,
                                      34711, 34712, 34713, 34714, 34715, 34716, 34717, 34718};

struct Directory {
  uint32_t offset;
  uint32_t count; // of entries that lie in the file
};

class TiffMutator {
public:
  TiffMutator(uint8_t* data, size_t size, size_t room, uint32_t seed, PlainMutation plain)
      : data_(data), size_(size), room_(room), plain_(plain), random_(seed) {}

  size_t Mutate() {
    if (!FindDirectories() || random_.Chance(15)) {
      size_ = plain_(data_, size_, room_);
      if (size_ >= kHeaderBytes && random_.Chance(30)) {
        StoreHeader();
      }
      return size_;
    }
    const uint32_t steps = 1 + random_.Below(4);
    for (uint32_t i = 0; i < steps && FindDirectories(); ++i) {
      Step();
    }
    return size_;
  }

private:
  // --- the file's numbers ---

  bool Holds(uint64_t at, uint64_t bytes) const { return at + bytes <= size_; }
  uint16_t Load16(size_t at) const {
    return static_cast<uint16_t>(little_ ? data_[at] | data_[at + 1] << 8 : data_[at] << 8 | data_[at + 1]);
  }
  uint32_t Load32(size_t at) const {
    const uint32_t first = Load16(at);
    const uint32_t second = Load16(at + 2);
    return little_ ? first | second << 16 : first << 16 | second;
  }
  void Store16(size_t at, uint32_t value) {
    data_[at + (little_ ? 0 : 1)] = static_cast<uint8_t>(value);
    data_[at + (little_ ? 1 : 0)] = static_cast<uint8_t>(value >> 8);
  }
  void Store32(size_t at, uint32_t value) {
    Store16(at + (little_ ? 0 : 2), value);
    Store16(at + (little_ ? 2 : 0), value >> 16);
  }
  void StoreHeader() {
    constexpr uint8_t kHeader[] = {'I', 'I', 42, 0};
    std::memcpy(data_, kHeader, sizeof kHeader);
  }

  // --- finding directories ---

  void AddDirectory(uint32_t offset) {
    const auto known = [offset](const Directory& directory) { return directory.offset == offset; };
    if (directoryCount_ == kMostDirectories || offset < kHeaderBytes || !Holds(offset, 2 + kEntryBytes) ||
        std::any_of(directories_, directories_ + directoryCount_, known)) {
      return;
    }
    const auto fitting = static_cast<uint32_t>((size_ - offset - 2) / kEntryBytes);
    directories_[directoryCount_++] = {offset, std::min<uint32_t>(Load16(offset), fitting)};
  }

  bool FindDirectories() {
    directoryCount_ = 0;
    if (size_ < kHeaderBytes || !((data_[0] == 'I' && data_[1] == 'I') || (data_[0] == 'M' && data_[1] == 'M'))) {
      return false;
    }
    little_ = data_[0] == 'I';
    AddDirectory(Load32(4));
    for (size_t i = 0; i < directoryCount_; ++i) {
      const Directory directory = directories_[i];
      const size_t next = NextWordAt(directory);
      if (Holds(next, 4)) {
        AddDirectory(Load32(next));
      }
      for (uint32_t entry = 0; entry < directory.count; ++entry) {
        const size_t at = EntryAt(directory, entry);
        switch (Load16(at)) {
        case kTagSubIfds:
          AddDirectory(Load32(at + 8));
          if (Load32(at + 4) > 1 && Holds(Load32(at + 8), 4)) {
            AddDirectory(Load32(Load32(at + 8)));
          }
          break;
        case kTagExifIfd:
        case kTagGpsIfd:
        case kTagMakerNote:
        case kTagInteroperabilityIfd:
        case kTagPrivateSubDirectory:
          AddDirectory(Load32(at + 8));
          break;
        default:
          break;
        }
      }
    }
    return directoryCount_ != 0;
  }

  static size_t EntryAt(const Directory& directory, uint32_t entry) {
    return size_t{directory.offset} + 2 + kEntryBytes * entry;
  }
  static size_t NextWordAt(const Directory& directory) { return EntryAt(directory, directory.count); }
  const Directory& AnyDirectory() { return directories_[random_.Below(static_cast<uint32_t>(directoryCount_))]; }

  // 0 for a directory without entries.
  size_t AnyEntry() {
    const Directory& directory = AnyDirectory();
    return directory.count == 0 ? 0 : EntryAt(directory, random_.Below(directory.count));
  }

  // --- steps ---

  void Step() {
    const uint32_t kind = random_.Below(100);
    const size_t entry = AnyEntry();
    if (kind < 18 && entry != 0) {
      Store32(entry + 8, NewValue(entry));
    } else if (kind < 28 && entry != 0) {
      Store32(entry + 4, NewCount(Load32(entry + 4)));
    } else if (kind < 35 && entry != 0) {
      Store16(entry + 2, random_.Below(15));
    } else if (kind < 43 && entry != 0) {
      Store16(entry, kTags[random_.Below(std::size(kTags))]);
    } else if (kind < 58 && entry != 0) {
      ChangeOutOfLine(entry);
    } else if (kind < 63) {
      RemoveEntry();
    } else if (kind < 71) {
      InsertEntry();
    } else if (kind < 74 && entry != 0) {
      CopyEntry(entry);
    } else if (kind < 77) {
      ChangeLink();
    } else if (kind < 79) {
      ChangeHeader();
    } else if (kind < 85) {
      ChangeChoices();
    } else if (kind < 88) {
      size_ = std::max<size_t>(kHeaderBytes, size_ - random_.Below(static_cast<uint32_t>(std::min<size_t>(size_, 64))));
    } else {
      ChangeRange(0, size_);
    }
  }

  uint32_t NewCount(uint32_t count) {
    switch (random_.Below(4)) {
    case 0:
      return count + 1;
    case 1:
      return count - 1;
    case 2:
      return random_.Below(10);
    default:
      return kNumbers[random_.Below(std::size(kNumbers))];
    }
  }

  // The value word: what the tag is likely to look at, or a place in the file.
  uint32_t NewValue(size_t entry) {
    const uint16_t tag = Load16(entry);
    const bool isShort = Load16(entry + 2) == kTypeShort;
    if (tag == kTagCompression && random_.Chance(80)) {
      const uint32_t compression = kCompressions[random_.Below(std::size(kCompressions))];
      return isShort && !little_ ? compression << 16 : compression;
    }
    uint32_t value = 0;
    switch (random_.Below(6)) {
    case 0:
      value = kNumbers[random_.Below(std::size(kNumbers))];
      break;
    case 1:
      value = random_.Below(24);
      break;
    case 2:
      return random_.Below(static_cast<uint32_t>(size_) + 4);
    case 3:
      return static_cast<uint32_t>(size_) - random_.Below(20);
    case 4:
      return AnyDirectory().offset;
    default:
      return Load32(entry + 8) + random_.Below(9) - 4;
    }
    return isShort && !little_ ? value << 16 : value;
  }

  // An element of an out-of-line value, or its bytes.
  void ChangeOutOfLine(size_t entry) {
    const uint32_t size = TIFTypeSize(Load16(entry + 2));
    const uint64_t bytes = uint64_t{size} * Load32(entry + 4);
    const uint32_t offset = Load32(entry + 8);
    if (bytes <= 4 || !Holds(offset, std::min<uint64_t>(bytes, 8))) {
      Store32(entry + 8, NewValue(entry));
      return;
    }
    const size_t held = std::min<size_t>(static_cast<size_t>(bytes), size_ - offset);
    if (random_.Chance(50) || (size != 2 && size != 4 && size != 8)) {
      ChangeRange(offset, held);
      return;
    }
    const size_t step = size == 2 ? 2 : 4;
    const size_t at = offset + step * random_.Below(static_cast<uint32_t>(held / step));
    const uint32_t number = random_.Chance(50) ? kNumbers[random_.Below(std::size(kNumbers))]
                                               : random_.Below(static_cast<uint32_t>(size_) + 4);
    if (step == 2) {
      Store16(at, number);
    } else {
      Store32(at, number);
    }
  }

  // Bytes of a range, whose length stays. The range may be cut to what is worth a mutation.
  void ChangeRange(size_t at, size_t bytes) {
    if (bytes > 1 && random_.Chance(60)) {
      const size_t skip = random_.Below(static_cast<uint32_t>(bytes));
      at += skip;
      bytes -= skip;
    }
    if (bytes != 0) {
      plain_(data_ + at, bytes, bytes);
    }
  }

  void RemoveEntry() {
    const Directory directory = AnyDirectory();
    if (directory.count < 2) {
      return;
    }
    const size_t entry = EntryAt(directory, random_.Below(directory.count));
    const size_t end = std::min(size_, NextWordAt(directory) + 4);
    std::memmove(data_ + entry, data_ + entry + kEntryBytes, end - entry - kEntryBytes);
    Store16(directory.offset, directory.count - 1);
  }

  // The directory grows at the end of the file; whatever pointed to it does so again.
  void InsertEntry() {
    const Directory directory = AnyDirectory();
    const size_t start = (size_ + 1) & ~size_t{1};
    const size_t bytes = 2 + kEntryBytes * (directory.count + 1) + 4;
    if (size_ < kScriptBytes || start + bytes + kScriptBytes > room_) {
      return;
    }
    uint8_t choices[kScriptBytes];
    std::memcpy(choices, data_ + size_ - kScriptBytes, kScriptBytes);
    std::memset(data_ + size_, 0, start + bytes + kScriptBytes - size_);
    const uint32_t place = random_.Below(directory.count + 1);
    Store16(start, directory.count + 1);
    std::memcpy(data_ + start + 2, data_ + directory.offset + 2, kEntryBytes * place);
    std::memcpy(data_ + start + 2 + kEntryBytes * (place + 1), data_ + EntryAt(directory, place),
                std::min(size_, NextWordAt(directory) + 4) - EntryAt(directory, place));
    size_ = start + bytes + kScriptBytes;
    std::memcpy(data_ + size_ - kScriptBytes, choices, kScriptBytes);
    FillEntry(start + 2 + kEntryBytes * place);
    Relink(directory.offset, static_cast<uint32_t>(start));
  }

  void FillEntry(size_t at) {
    Store16(at, kTags[random_.Below(std::size(kTags))]);
    Store16(at + 2, 1 + random_.Below(12));
    Store32(at + 4, random_.Chance(60) ? 1 : NewCount(2));
    Store32(at + 8, NewValue(at));
  }

  void Relink(uint32_t from, uint32_t to) {
    if (Load32(4) == from) {
      Store32(4, to);
    }
    for (size_t i = 0; i < directoryCount_; ++i) {
      const Directory& directory = directories_[i];
      const size_t next = NextWordAt(directory);
      if (Holds(next, 4) && Load32(next) == from) {
        Store32(next, to);
      }
      for (uint32_t entry = 0; entry < directory.count; ++entry) {
        const size_t word = EntryAt(directory, entry) + 8;
        if (Load32(word) == from) {
          Store32(word, to);
        }
      }
    }
  }

  void CopyEntry(size_t entry) {
    const size_t other = AnyEntry();
    if (other != 0) {
      std::memmove(data_ + entry, data_ + other, kEntryBytes);
    }
  }

  void ChangeLink() {
    const Directory& directory = AnyDirectory();
    const size_t word = random_.Chance(20) ? 4 : NextWordAt(directory);
    if (Holds(word, 4)) {
      Store32(word, random_.Chance(70)   ? AnyDirectory().offset
                    : random_.Chance(50) ? random_.Below(static_cast<uint32_t>(size_) + 2)
                                         : kNumbers[random_.Below(std::size(kNumbers))]);
    }
  }

  void ChangeHeader() {
    switch (random_.Below(3)) {
    case 0:
      Store16(2, Load16(2) == 42 ? 12622 : 42);
      break;
    case 1: // the bytes stay, their meaning changes
      data_[0] = data_[1] = little_ ? 'M' : 'I';
      break;
    default:
      SwapDirectories();
      break;
    }
  }

  // The same directories in the other byte order. Out-of-line values are left as they are.
  void SwapDirectories() {
    for (size_t i = 0; i < directoryCount_; ++i) {
      const Directory& directory = directories_[i];
      std::swap(data_[directory.offset], data_[directory.offset + 1]);
      for (uint32_t entry = 0; entry < directory.count; ++entry) {
        uint8_t* at = data_ + EntryAt(directory, entry);
        const uint32_t size = TIFTypeSize(Load16(EntryAt(directory, entry) + 2));
        const bool shorts = size == 2 && Load32(EntryAt(directory, entry) + 4) <= 2;
        std::swap(at[0], at[1]);
        std::swap(at[2], at[3]);
        std::reverse(at + 4, at + 8);
        std::reverse(at + 8, at + (shorts ? 10 : 12));
        if (shorts) {
          std::reverse(at + 10, at + 12);
        }
      }
      const size_t next = NextWordAt(directory);
      if (Holds(next, 4)) {
        std::reverse(data_ + next, data_ + next + 4);
      }
    }
    std::reverse(data_ + 4, data_ + 8);
    std::swap(data_[2], data_[3]);
    data_[0] = data_[1] = little_ ? 'M' : 'I';
  }

  void ChangeChoices() {
    const size_t reach = random_.Chance(50) ? kChoiceBytes : kScriptBytes;
    const size_t at = size_ - 1 - random_.Below(static_cast<uint32_t>(std::min(size_ - kHeaderBytes + 1, reach)));
    data_[at] = static_cast<uint8_t>(random_.Chance(50) ? random_.Below(8) : random_.Next());
  }

  uint8_t* data_;
  size_t size_;
  size_t room_;
  PlainMutation plain_;
  Random random_;
  bool little_ = true;
  Directory directories_[kMostDirectories];
  size_t directoryCount_ = 0;
};

} // namespace

size_t MutateTiff(uint8_t* data, size_t size, size_t room, uint32_t seed, PlainMutation plain) {
  return TiffMutator(data, size, room, seed, plain).Mutate();
}
