// Layouts of absurd size, and data that expand.

#include "limits/HostileFiles.h"
#include "limits/HostilePages.h"

std::vector<SparseFile> AbsurdLayouts() {
  std::vector<SparseFile> files;
  const auto add = [&](const std::string& name, const TiffDirectory& page, FileOrder order = kLittle,
                       uint16_t version = 42) { files.push_back(OnePage(name, page, order, version)); };
  for (const uint16_t compression : kCompressions) {
    const std::string suffix = ", compression " + std::to_string(compression);
    for (const uint32_t tileWidth : {0x00100000u, 0x08000000u, 0x0FFFFFFFu, 0x7FFFFFFFu}) {
      add("tiles of absurd width" + suffix, TiledPage(1, 80, tileWidth, 1, 80, kAbsurd, compression));
      add("tiles of absurd width" + suffix, TiledPage(1, 80, tileWidth, 0x7FFFFFFF, 1, kAbsurd, compression));
    }
    for (const uint32_t tileLength : {0x00100000u, 0x08000000u, 0x7FFFFFFFu}) {
      add("tiles of absurd length" + suffix, TiledPage(64, 16, 16, tileLength, 4, kAbsurd, compression));
      add("strips of absurd length" + suffix, StripPage(16, 16, tileLength, 1, kAbsurd, compression));
    }
    add("narrow tiles in great number" + suffix, TiledPage(0x00100000, 1, 1, 1, 80, 16, compression));
    for (const uint32_t extra : {0x00100000u, 0x0FFFFFFFu, 0x7FFFFFFFu}) {
      TiffDirectory page = StripPage(1, 80, 1, 60, kAbsurd, compression).Remove(258).Remove(277);
      page.Long(258, {8, extra}).Short(277, {2}).Short(338, {0});
      add("extra samples of absurd depth" + suffix, page);
    }
    {
      TiffDirectory page = StripPage(16, 80, 1, 80, kAbsurd, compression).Remove(258).Remove(277).Remove(262);
      page.Short(258, {8, 8, 8, 8}).Short(277, {4}).Short(262, {5}).Short(284, {2});
      add("separate planes that share their bytes" + suffix, page);
    }
    for (const uint16_t factor : {uint16_t{4}, uint16_t{255}, uint16_t{65535}}) {
      TiffDirectory page = StripPage(16, 80, 8, 40, kAbsurd, compression).Remove(258).Remove(277).Remove(262);
      page.Short(258, {8, 8, 8}).Short(277, {3}).Short(262, {6}).Short(530, {factor, factor});
      add("absurd sub-sampling" + suffix, page);
    }
  }
  for (const auto& [first, second] : {std::pair<uint16_t, uint16_t>{65535, 65535}, {16384, 16384}, {65535, 1}}) {
    TiffDirectory page = StripPage(8, 8, 8, 1, 64, 34713).Remove(258);
    page.Short(258, {1}).Short(50235, {first, second});
    add("stored size of absurd width and height", page);
  }
  {
    TiffDirectory page = StripPage(16, 16, 16, 1, 256, 1);
    for (int i = 0; i < 24; ++i) {
      page.RawWord(320, 3, 3 * 256, kFirstDirectory).RawWord(320, 3, 65535, kFirstDirectory);
    }
    add("palettes in great number", page);
  }
  for (const uint16_t depth : {uint16_t{8}, uint16_t{16}, uint16_t{31}}) {
    TiffDirectory page = StripPage(16, 16, 16, 1, 256, 1).Remove(258);
    page.Short(258, {depth}).RawWord(291, 3, uint32_t{1} << depth, kFirstDirectory);
    page.RawWord(320, 4, uint32_t{3} << depth, kFirstDirectory).Long(280, {0}).Long(281, {kAbsurd});
    add("tone tables and palettes of absurd depth", page);
  }
  {
    TiffDirectory page = StripPage(16, 16, 1, 16, 16, 4).Remove(258);
    page.Short(258, {1});
    for (int i = 0; i < 30; ++i) {
      page.RawWord(33466, 3, 16, kFirstDirectory).RawWord(33467, 3, 16, kFirstDirectory);
    }
    add("strip orders in great number", page, kLittle, 12622);
  }
  for (const uint32_t width : {0x7FFFFFFFu, 0x80000000u, kAbsurd}) {
    add("absurd width", StripPage(width, 1, 1, 1, 64, 1));
    add("absurd length", StripPage(1, width, 1, 1, 64, 1));
  }
  add("a page of a gibibyte of short rows", StripPage(1, 0x0FFFFFFF, 1, 60, 64, 1));
  add("a page of a gibibyte in one strip", StripPage(1 << 15, 1 << 15, 1 << 15, 1, kAbsurd, 1));
  return files;
}

namespace {

class Bits {
public:
  void Put(uint32_t code, uint32_t width) {
    for (uint32_t i = width; i-- > 0;) {
      if (used_ % 8 == 0) {
        bytes_.push_back(0);
      }
      bytes_.back() = static_cast<uint8_t>(bytes_.back() | ((code >> i) & 1) << (7 - used_ % 8));
      ++used_;
    }
  }
  size_t Size() const { return bytes_.size(); }
  const FileBytes& Bytes() const { return bytes_; }

private:
  FileBytes bytes_;
  uint32_t used_ = 0;
};

// LZW codes each of which stands for a string one byte longer than the one before, until the table is full; and again.
FileBytes LzwBomb(size_t bytes) {
  constexpr uint32_t kClear = 256;
  constexpr uint32_t kFirst = 258;
  constexpr uint32_t kLast = 4093;
  Bits bits;
  while (bits.Size() + 16 < bytes) {
    bits.Put(kClear, 9);
    bits.Put(0, 9);
    uint32_t width = 9;
    for (uint32_t code = kFirst; code <= kLast && bits.Size() + 16 < bytes; ++code) {
      width = code >= 2047 ? 12 : code >= 1023 ? 11 : code >= 511 ? 10 : 9; // the width changes one code early
      bits.Put(code, width);
    }
  }
  return bits.Bytes();
}

FileBytes PackBitsBomb(size_t bytes) {
  FileBytes data;
  while (data.size() + 2 <= bytes) {
    data.push_back(0x81); // 128 times
    data.push_back(0x55);
  }
  return data;
}

// `strips` strips, all of them the same data.
SparseFile SharedData(std::string name, TiffDirectory page, uint32_t strips, const FileBytes& data) {
  page.Long(273, std::vector<uint32_t>(strips, 0));
  page.Long(279, std::vector<uint32_t>(strips, static_cast<uint32_t>(data.size())));
  TiffBuilder file;
  file.AddPage(page);
  FileBytes bytes = file.Build();
  const auto place = static_cast<uint32_t>(bytes.size());
  if (strips == 1) {
    PutU32(bytes, file.EntryOffset(0, 273) + 8, kLittle, place);
  } else {
    for (uint32_t i = 0; i < strips; ++i) {
      PutU32(bytes, file.ValueOffset(0, 273) + 4 * i, kLittle, place);
    }
  }
  bytes.insert(bytes.end(), data.begin(), data.end());
  return WholeFile(std::move(name), bytes);
}

} // namespace

std::vector<SparseFile> Expanding() {
  std::vector<SparseFile> files;
  const FileBytes zeros(600, 0);
  const FileBytes ones(600, 0xFF);
  for (const uint32_t strips : {1u, 20u}) {
    const uint32_t length = strips * 1000;
    const auto page = [&](uint16_t compression) { return Bare(2000, length, compression).Long(278, {1000}); };
    files.push_back(SharedData("LZW of the highest ratio in 1 KiB", page(5), strips, LzwBomb(600)));
    files.push_back(SharedData("PackBits of the highest ratio in 1 KiB", page(32773), strips, PackBitsBomb(600)));
    for (const uint16_t compression : {uint16_t{2}, uint16_t{3}, uint16_t{4}}) {
      TiffDirectory fax = Bare(20000, length, compression).Remove(258);
      fax.Short(258, {1}).Long(278, {1000});
      files.push_back(SharedData("fax of ones and zeros in 1 KiB", fax, strips, ones));
      files.push_back(SharedData("fax of ones and zeros in 1 KiB", fax, strips, zeros));
      fax.Long(292, {1});
      files.push_back(SharedData("two-dimensional fax in 1 KiB", fax, strips, ones));
    }
  }
  files.push_back(
      SharedData("LZW of the highest ratio in 64 KiB", Bare(16384, 16384, 5).Long(278, {16384}), 1, LzwBomb(60000)));
  files.push_back(SharedData("LZW tiles wider than the page in 64 KiB",
                             Bare(1, 4096, 5).Long(322, {1 << 20}).Long(323, {1}), 4096, LzwBomb(20000)));
  files.push_back(SharedData("LZW with the predictor in 64 KiB",
                             Bare(16384, 16384, 5).Long(278, {16384}).Short(317, {2}), 1, LzwBomb(60000)));
  return files;
}
