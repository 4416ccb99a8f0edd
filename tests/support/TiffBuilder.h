// TIFF files for tests, built entry by entry. Directories keep their entries in the order in which they are added; a
// value that does not fit the value word is placed behind its directory, at an even offset. Values are given as numbers
// and stored in the file's byte order; raw value words and bytes can be given instead, for files that no writer makes.
//
//   TiffBuilder file(FileOrder::kBig);
//   file.AddPage().Short(256, {4}).Short(257, {2}).Short(258, {8, 8, 8}).Strips({pixels});
//   std::vector<uint8_t> bytes = file.Build();
//   uint32_t where = file.EntryOffset(0, 258); // of the 12-byte entry, for patching a value
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

using FileBytes = std::vector<uint8_t>;

enum class FileOrder { kLittle, kBig };

// Numbers appended to or stored in bytes, in a file's byte order.
void AppendU16(FileBytes& bytes, FileOrder order, uint16_t value);
void AppendU32(FileBytes& bytes, FileOrder order, uint32_t value);
void PutU16(FileBytes& bytes, size_t at, FileOrder order, uint16_t value);
void PutU32(FileBytes& bytes, size_t at, FileOrder order, uint32_t value);
uint16_t GetU16(const FileBytes& bytes, size_t at, FileOrder order);
uint32_t GetU32(const FileBytes& bytes, size_t at, FileOrder order);

class TiffDirectory {
public:
  TiffDirectory& Byte(uint16_t tag, const FileBytes& values);
  TiffDirectory& Undefined(uint16_t tag, const FileBytes& values);
  TiffDirectory& Ascii(uint16_t tag, std::string_view text); // a NUL is added and counted
  TiffDirectory& Short(uint16_t tag, const std::vector<uint16_t>& values);
  TiffDirectory& Long(uint16_t tag, const std::vector<uint32_t>& values);
  TiffDirectory& Rational(uint16_t tag, const std::vector<std::pair<uint32_t, uint32_t>>& values);
  TiffDirectory& Float(uint16_t tag, const std::vector<float>& values);
  TiffDirectory& Double(uint16_t tag, const std::vector<double>& values);

  // Any type: `bytes` are the value as it stands in the file, `count` what the entry says.
  TiffDirectory& Value(uint16_t tag, uint16_t type, uint32_t count, const FileBytes& bytes);
  // The value word as a number that is stored in the file's order: offsets, absurd counts, LONGs.
  TiffDirectory& RawWord(uint16_t tag, uint16_t type, uint32_t count, uint32_t word);
  // The four bytes of the value word as they stand in the file.
  TiffDirectory& RawBytes(uint16_t tag, uint16_t type, uint32_t count, std::array<uint8_t, 4> bytes);

  // A child directory, or several, behind this one: LONG offsets under `tag` (type kTypeLong or another of 4 bytes).
  TiffDirectory& Child(uint16_t tag, TiffDirectory child, uint16_t type = 4);
  TiffDirectory& Children(uint16_t tag, std::vector<TiffDirectory> children, uint16_t type = 4);

  // Pieces of image data behind the directory, with tags 273 and 279, or 324 and 325, added at this place. Offsets and
  // counts are LONGs, or SHORTs where `type` is 3.
  TiffDirectory& Strips(const std::vector<FileBytes>& pieces, uint16_t type = 4);
  TiffDirectory& Tiles(const std::vector<FileBytes>& pieces, uint16_t type = 4);

  // Bytes behind the directory whose offset becomes the value word of the entry.
  TiffDirectory& Pointer(uint16_t tag, uint16_t type, uint32_t count, const FileBytes& bytes);

  TiffDirectory& NextWord(uint32_t word); // in place of the link that the builder would store
  TiffDirectory& At(uint32_t offset);     // the directory's own place, behind all that stands before it
  TiffDirectory& Remove(uint16_t tag);    // all entries of this tag
  size_t EntryCount() const { return entries_.size(); }
  TiffDirectory& Sort();                   // entries by tag, equal ones in their order
  TiffDirectory& CountWord(uint16_t word); // entry count in place of the true one

private:
  friend class TiffBuilder;
  enum class Kind { kInline, kOutOfLine, kWord, kPieceOffsets, kPieceCounts, kChildren };
  struct Entry {
    uint16_t tag = 0;
    uint16_t type = 0;
    uint32_t count = 0;
    Kind kind = Kind::kInline;
    uint32_t elementSize = 1; // of `data`, which is held little-endian until the file is built
    FileBytes data;
    std::vector<FileBytes> pieces;
    std::vector<TiffDirectory> children;
  };
  TiffDirectory& Add(Entry entry);
  TiffDirectory& AddNumbers(uint16_t tag, uint16_t type, uint32_t count, uint32_t elementSize, FileBytes data);
  TiffDirectory& AddPieces(uint16_t offsetsTag, uint16_t countsTag, const std::vector<FileBytes>& pieces,
                           uint16_t type);

  std::vector<Entry> entries_;
  bool hasNextWord_ = false;
  uint32_t nextWord_ = 0;
  bool hasPlace_ = false;
  uint32_t place_ = 0;
  bool hasCountWord_ = false;
  uint16_t countWord_ = 0;
};

class TiffBuilder {
public:
  explicit TiffBuilder(FileOrder order = FileOrder::kLittle, uint16_t version = 42);

  TiffDirectory& AddPage(); // linked behind the page before; the reference stays good
  TiffDirectory& AddPage(TiffDirectory page);
  TiffBuilder& FirstLink(uint32_t word);                       // in place of the first page's offset
  TiffBuilder& Place(uint32_t offset, const FileBytes& bytes); // put over the finished file, grown as needed

  FileBytes Build();

  // Of the file that Build made. Pages count from 0 here.
  uint32_t DirectoryOffset(size_t page) const;
  uint32_t LinkOffset(size_t page) const; // of the word that points to the page
  uint32_t NextWordOffset(size_t page) const;
  uint32_t EntryOffset(size_t page, uint16_t tag) const; // of the first entry with the tag
  uint32_t ValueOffset(size_t page, uint16_t tag) const; // of the value's bytes, inline or not
  FileOrder Order() const { return order_; }

private:
  struct Placed {
    uint32_t offset = 0;
    uint32_t nextWord = 0;
    std::vector<std::pair<uint16_t, uint32_t>> values; // tag and value's place, in entry order
  };
  Placed Write(FileBytes& bytes, const TiffDirectory& directory) const;
  uint32_t WriteValue(FileBytes& bytes, const TiffDirectory::Entry& entry, uint32_t entryOffset,
                      std::map<uint16_t, std::vector<uint32_t>>& pieceOffsets) const;
  FileBytes FileOrdered(const FileBytes& littleEndian, uint32_t elementSize) const;

  FileOrder order_;
  uint16_t version_;
  std::deque<TiffDirectory> pages_;
  bool hasFirstLink_ = false;
  uint32_t firstLink_ = 0;
  std::vector<std::pair<uint32_t, FileBytes>> overlays_;
  std::vector<Placed> placed_;
};

// A page that every reader takes: 8-bit grey, one strip, `width` x `length`, sorted tags, 72 dots per inch.
TiffDirectory GrayPage(uint32_t width, uint32_t length, uint8_t value = 0x80);
