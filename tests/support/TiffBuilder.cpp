// TIFF files for tests: see the header.

#include "support/TiffBuilder.h"

#include <algorithm>
#include <bit>
#include <stdexcept>

namespace {

constexpr uint32_t kEntrySize = 12;

uint32_t ElementSize(uint16_t type) {
  constexpr uint8_t kSizes[] = {1, 1, 1, 2, 4, 4, 1, 1, 2, 4, 4, 4, 8}; // rationals swap as two LONGs
  return type < sizeof kSizes ? kSizes[type] : 1;
}

void MakeEven(FileBytes& bytes) {
  if (bytes.size() % 2 != 0) {
    bytes.push_back(0);
  }
}

template <typename Number> FileBytes LittleEndian(const std::vector<Number>& values) {
  FileBytes bytes;
  for (Number value : values) {
    for (size_t i = 0; i < sizeof value; ++i) {
      bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
    }
  }
  return bytes;
}

} // namespace

void AppendU16(FileBytes& bytes, FileOrder order, uint16_t value) {
  bytes.resize(bytes.size() + 2);
  PutU16(bytes, bytes.size() - 2, order, value);
}

void AppendU32(FileBytes& bytes, FileOrder order, uint32_t value) {
  bytes.resize(bytes.size() + 4);
  PutU32(bytes, bytes.size() - 4, order, value);
}

void PutU16(FileBytes& bytes, size_t at, FileOrder order, uint16_t value) {
  const auto high = static_cast<uint8_t>(value >> 8);
  const auto low = static_cast<uint8_t>(value);
  bytes.at(at + 1) = order == FileOrder::kLittle ? high : low;
  bytes.at(at) = order == FileOrder::kLittle ? low : high;
}

void PutU32(FileBytes& bytes, size_t at, FileOrder order, uint32_t value) {
  for (size_t i = 0; i < 4; ++i) {
    const size_t shift = order == FileOrder::kLittle ? 8 * i : 24 - 8 * i;
    bytes.at(at + i) = static_cast<uint8_t>(value >> shift);
  }
}

uint16_t GetU16(const FileBytes& bytes, size_t at, FileOrder order) {
  const unsigned first = bytes.at(at);
  const unsigned second = bytes.at(at + 1);
  return static_cast<uint16_t>(order == FileOrder::kLittle ? first | second << 8 : first << 8 | second);
}

uint32_t GetU32(const FileBytes& bytes, size_t at, FileOrder order) {
  const uint32_t first = GetU16(bytes, at, order);
  const uint32_t second = GetU16(bytes, at + 2, order);
  return order == FileOrder::kLittle ? first | second << 16 : first << 16 | second;
}

TiffDirectory& TiffDirectory::Add(Entry entry) {
  entries_.push_back(std::move(entry));
  return *this;
}

TiffDirectory& TiffDirectory::AddNumbers(uint16_t tag, uint16_t type, uint32_t count, uint32_t elementSize,
                                         FileBytes data) {
  Entry entry;
  entry.tag = tag;
  entry.type = type;
  entry.count = count;
  entry.kind = data.size() <= 4 ? Kind::kInline : Kind::kOutOfLine;
  entry.elementSize = elementSize;
  entry.data = std::move(data);
  return Add(std::move(entry));
}

TiffDirectory& TiffDirectory::Byte(uint16_t tag, const FileBytes& values) {
  return AddNumbers(tag, 1, static_cast<uint32_t>(values.size()), 1, values);
}

TiffDirectory& TiffDirectory::Undefined(uint16_t tag, const FileBytes& values) {
  return AddNumbers(tag, 7, static_cast<uint32_t>(values.size()), 1, values);
}

TiffDirectory& TiffDirectory::Ascii(uint16_t tag, std::string_view text) {
  FileBytes bytes(text.begin(), text.end());
  bytes.push_back(0);
  const auto count = static_cast<uint32_t>(bytes.size());
  return AddNumbers(tag, 2, count, 1, std::move(bytes));
}

TiffDirectory& TiffDirectory::Short(uint16_t tag, const std::vector<uint16_t>& values) {
  return AddNumbers(tag, 3, static_cast<uint32_t>(values.size()), 2, LittleEndian(values));
}

TiffDirectory& TiffDirectory::Long(uint16_t tag, const std::vector<uint32_t>& values) {
  return AddNumbers(tag, 4, static_cast<uint32_t>(values.size()), 4, LittleEndian(values));
}

TiffDirectory& TiffDirectory::Rational(uint16_t tag, const std::vector<std::pair<uint32_t, uint32_t>>& values) {
  std::vector<uint32_t> words;
  for (const auto& [numerator, denominator] : values) {
    words.push_back(numerator);
    words.push_back(denominator);
  }
  return AddNumbers(tag, 5, static_cast<uint32_t>(values.size()), 4, LittleEndian(words));
}

TiffDirectory& TiffDirectory::Float(uint16_t tag, const std::vector<float>& values) {
  std::vector<uint32_t> words;
  for (float value : values) {
    words.push_back(std::bit_cast<uint32_t>(value));
  }
  return AddNumbers(tag, 11, static_cast<uint32_t>(values.size()), 4, LittleEndian(words));
}

TiffDirectory& TiffDirectory::Double(uint16_t tag, const std::vector<double>& values) {
  std::vector<uint64_t> words;
  for (double value : values) {
    words.push_back(std::bit_cast<uint64_t>(value));
  }
  return AddNumbers(tag, 12, static_cast<uint32_t>(values.size()), 8, LittleEndian(words));
}

TiffDirectory& TiffDirectory::Value(uint16_t tag, uint16_t type, uint32_t count, const FileBytes& bytes) {
  return AddNumbers(tag, type, count, 1, bytes);
}

TiffDirectory& TiffDirectory::RawWord(uint16_t tag, uint16_t type, uint32_t count, uint32_t word) {
  Entry entry;
  entry.tag = tag;
  entry.type = type;
  entry.count = count;
  entry.kind = Kind::kWord;
  entry.elementSize = 4;
  entry.data = LittleEndian(std::vector<uint32_t>{word});
  return Add(std::move(entry));
}

TiffDirectory& TiffDirectory::RawBytes(uint16_t tag, uint16_t type, uint32_t count, std::array<uint8_t, 4> bytes) {
  return AddNumbers(tag, type, count, 1, FileBytes(bytes.begin(), bytes.end()));
}

TiffDirectory& TiffDirectory::Pointer(uint16_t tag, uint16_t type, uint32_t count, const FileBytes& bytes) {
  AddNumbers(tag, type, count, 1, bytes);
  entries_.back().kind = Kind::kOutOfLine;
  return *this;
}

TiffDirectory& TiffDirectory::Child(uint16_t tag, TiffDirectory child, uint16_t type) {
  std::vector<TiffDirectory> children;
  children.push_back(std::move(child));
  return Children(tag, std::move(children), type);
}

TiffDirectory& TiffDirectory::Children(uint16_t tag, std::vector<TiffDirectory> children, uint16_t type) {
  Entry entry;
  entry.tag = tag;
  entry.type = type;
  entry.count = static_cast<uint32_t>(children.size());
  entry.kind = Kind::kChildren;
  entry.elementSize = 4;
  entry.children = std::move(children);
  return Add(std::move(entry));
}

TiffDirectory& TiffDirectory::AddPieces(uint16_t offsetsTag, uint16_t countsTag, const std::vector<FileBytes>& pieces,
                                        uint16_t type) {
  Entry offsets;
  offsets.tag = offsetsTag;
  offsets.type = type;
  offsets.count = static_cast<uint32_t>(pieces.size());
  offsets.kind = Kind::kPieceOffsets;
  offsets.elementSize = ElementSize(type);
  offsets.pieces = pieces;
  Add(std::move(offsets));
  Entry counts;
  counts.tag = countsTag;
  counts.type = type;
  counts.count = static_cast<uint32_t>(pieces.size());
  counts.kind = Kind::kPieceCounts;
  counts.elementSize = ElementSize(type);
  counts.pieces = pieces;
  return Add(std::move(counts));
}

TiffDirectory& TiffDirectory::Strips(const std::vector<FileBytes>& pieces, uint16_t type) {
  return AddPieces(273, 279, pieces, type);
}

TiffDirectory& TiffDirectory::Tiles(const std::vector<FileBytes>& pieces, uint16_t type) {
  return AddPieces(324, 325, pieces, type);
}

TiffDirectory& TiffDirectory::NextWord(uint32_t word) {
  hasNextWord_ = true;
  nextWord_ = word;
  return *this;
}

TiffDirectory& TiffDirectory::At(uint32_t offset) {
  hasPlace_ = true;
  place_ = offset;
  return *this;
}

TiffDirectory& TiffDirectory::Remove(uint16_t tag) {
  std::erase_if(entries_, [tag](const Entry& entry) { return entry.tag == tag; });
  return *this;
}

TiffDirectory& TiffDirectory::Sort() {
  std::stable_sort(entries_.begin(), entries_.end(),
                   [](const Entry& left, const Entry& right) { return left.tag < right.tag; });
  return *this;
}

TiffDirectory& TiffDirectory::CountWord(uint16_t word) {
  hasCountWord_ = true;
  countWord_ = word;
  return *this;
}

TiffBuilder::TiffBuilder(FileOrder order, uint16_t version) : order_(order), version_(version) {}

TiffDirectory& TiffBuilder::AddPage() {
  return pages_.emplace_back();
}

TiffDirectory& TiffBuilder::AddPage(TiffDirectory page) {
  return pages_.emplace_back(std::move(page));
}

TiffBuilder& TiffBuilder::FirstLink(uint32_t word) {
  hasFirstLink_ = true;
  firstLink_ = word;
  return *this;
}

TiffBuilder& TiffBuilder::Place(uint32_t offset, const FileBytes& bytes) {
  overlays_.emplace_back(offset, bytes);
  return *this;
}

FileBytes TiffBuilder::FileOrdered(const FileBytes& littleEndian, uint32_t elementSize) const {
  FileBytes bytes = littleEndian;
  if (order_ == FileOrder::kBig) {
    for (size_t at = 0; at + elementSize <= bytes.size(); at += elementSize) {
      const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(at);
      std::reverse(first, first + static_cast<std::ptrdiff_t>(elementSize));
    }
  }
  return bytes;
}

uint32_t TiffBuilder::WriteValue(FileBytes& bytes, const TiffDirectory::Entry& entry, uint32_t entryOffset,
                                 std::map<uint16_t, std::vector<uint32_t>>& pieceOffsets) const {
  using Kind = TiffDirectory::Kind;
  const uint32_t wordOffset = entryOffset + 8;
  std::vector<uint32_t> numbers;
  FileBytes data = entry.data;
  switch (entry.kind) {
  case Kind::kInline:
  case Kind::kWord:
  case Kind::kOutOfLine:
    break;
  case Kind::kPieceOffsets:
    for (const FileBytes& piece : entry.pieces) {
      MakeEven(bytes);
      numbers.push_back(static_cast<uint32_t>(bytes.size()));
      bytes.insert(bytes.end(), piece.begin(), piece.end());
    }
    pieceOffsets[entry.tag] = numbers;
    break;
  case Kind::kPieceCounts:
    for (const FileBytes& piece : entry.pieces) {
      numbers.push_back(static_cast<uint32_t>(piece.size()));
    }
    break;
  case Kind::kChildren:
    for (const TiffDirectory& child : entry.children) {
      numbers.push_back(Write(bytes, child).offset);
    }
    break;
  }
  if (!numbers.empty()) {
    data = entry.elementSize == 2 ? LittleEndian(std::vector<uint16_t>(numbers.begin(), numbers.end()))
                                  : LittleEndian(numbers);
  }
  data = FileOrdered(data, entry.elementSize);
  if (data.size() <= 4 && entry.kind != Kind::kOutOfLine) {
    std::copy(data.begin(), data.end(), bytes.begin() + static_cast<std::ptrdiff_t>(wordOffset));
    return wordOffset;
  }
  MakeEven(bytes);
  const auto place = static_cast<uint32_t>(bytes.size());
  bytes.insert(bytes.end(), data.begin(), data.end());
  PutU32(bytes, wordOffset, order_, place);
  return place;
}

TiffBuilder::Placed TiffBuilder::Write(FileBytes& bytes, const TiffDirectory& directory) const {
  MakeEven(bytes);
  if (directory.hasPlace_) {
    if (directory.place_ < bytes.size()) {
      throw std::logic_error("a directory's place lies within what stands before it");
    }
    bytes.resize(directory.place_);
  }
  Placed placed;
  placed.offset = static_cast<uint32_t>(bytes.size());
  const auto count = static_cast<uint32_t>(directory.entries_.size());
  AppendU16(bytes, order_, directory.hasCountWord_ ? directory.countWord_ : static_cast<uint16_t>(count));
  for (const TiffDirectory::Entry& entry : directory.entries_) {
    AppendU16(bytes, order_, entry.tag);
    AppendU16(bytes, order_, entry.type);
    AppendU32(bytes, order_, entry.count);
    AppendU32(bytes, order_, 0);
  }
  placed.nextWord = static_cast<uint32_t>(bytes.size());
  AppendU32(bytes, order_, directory.nextWord_);
  std::map<uint16_t, std::vector<uint32_t>> pieceOffsets;
  for (uint32_t i = 0; i < count; ++i) {
    const TiffDirectory::Entry& entry = directory.entries_[i];
    const uint32_t place = WriteValue(bytes, entry, placed.offset + 2 + kEntrySize * i, pieceOffsets);
    placed.values.emplace_back(entry.tag, place);
  }
  return placed;
}

FileBytes TiffBuilder::Build() {
  FileBytes bytes(2, order_ == FileOrder::kLittle ? uint8_t{'I'} : uint8_t{'M'});
  AppendU16(bytes, order_, version_);
  AppendU32(bytes, order_, firstLink_);
  placed_.clear();
  uint32_t linkOffset = 4;
  bool keepsLink = hasFirstLink_;
  for (const TiffDirectory& page : pages_) {
    placed_.push_back(Write(bytes, page));
    if (!keepsLink) {
      PutU32(bytes, linkOffset, order_, placed_.back().offset);
    }
    linkOffset = placed_.back().nextWord;
    keepsLink = page.hasNextWord_;
  }
  for (const auto& [offset, overlay] : overlays_) {
    bytes.resize(std::max(bytes.size(), offset + overlay.size()));
    std::copy(overlay.begin(), overlay.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
  }
  return bytes;
}

uint32_t TiffBuilder::DirectoryOffset(size_t page) const {
  return placed_.at(page).offset;
}

uint32_t TiffBuilder::LinkOffset(size_t page) const {
  return page == 0 ? 4 : NextWordOffset(page - 1);
}

uint32_t TiffBuilder::NextWordOffset(size_t page) const {
  return placed_.at(page).nextWord;
}

uint32_t TiffBuilder::EntryOffset(size_t page, uint16_t tag) const {
  const Placed& placed = placed_.at(page);
  for (uint32_t i = 0; i < placed.values.size(); ++i) {
    if (placed.values[i].first == tag) {
      return placed.offset + 2 + kEntrySize * i;
    }
  }
  throw std::logic_error("the page has no such tag");
}

uint32_t TiffBuilder::ValueOffset(size_t page, uint16_t tag) const {
  for (const auto& [entryTag, place] : placed_.at(page).values) {
    if (entryTag == tag) {
      return place;
    }
  }
  throw std::logic_error("the page has no such tag");
}

TiffDirectory GrayPage(uint32_t width, uint32_t length, uint8_t value) {
  TiffDirectory page;
  page.Long(256, {width}).Long(257, {length}).Short(258, {8}).Short(259, {1}).Short(262, {1});
  page.Strips({FileBytes(static_cast<size_t>(width) * length, value)});
  page.Short(277, {1}).Long(278, {length}).Rational(282, {{72, 1}}).Rational(283, {{72, 1}}).Short(296, {2});
  page.Sort();
  return page;
}
