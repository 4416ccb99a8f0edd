// Hostile files of up to some GiB: tables, entries, data sets and pages without number.

#include "limits/CallMeter.h"
#include "limits/HostileFiles.h"
#include "limits/HostilePages.h"

namespace {

// Large files are this many times smaller unless all is asked for: a loop that takes too long does so at any size.
#if defined(__SANITIZE_ADDRESS__)
constexpr uint32_t kSmaller = 200;
#else
constexpr uint32_t kSmaller = 50;
#endif

uint32_t Scaled(uint32_t count) {
  return RunsAll() ? count : count / kSmaller;
}

FileBytes U16s(const std::vector<uint16_t>& values) {
  FileBytes bytes;
  for (const uint16_t value : values) {
    AppendU16(bytes, kLittle, value);
  }
  return bytes;
}

} // namespace

std::vector<SparseFile> LargeTables() {
  std::vector<SparseFile> files;
  const uint32_t entries = RunsAll() ? 65000 : 650000 / kSmaller;
  const auto manyEntries = [&](const std::string& name, uint16_t tag, uint16_t type, uint32_t count, uint32_t value,
                               size_t behind) {
    FileBytes bytes = Header();
    AppendU16(bytes, kLittle, static_cast<uint16_t>(entries));
    AppendEntry(bytes, 256, 3, 1, 4);
    AppendEntry(bytes, 257, 3, 1, 4);
    AppendEntry(bytes, 258, 3, 1, 8);
    AppendEntry(bytes, 259, 3, 1, 1);
    for (uint32_t i = 4; i < entries; ++i) {
      AppendEntry(bytes, tag != 0 ? tag : static_cast<uint16_t>(65535 - i), type, count, value);
    }
    AppendU32(bytes, kLittle, 0);
    bytes.resize(bytes.size() + behind, 1);
    files.push_back(WholeFile(Number(entries) + " " + name, bytes));
  };
  manyEntries("entries in falling order", 0, 3, 1, 7, 0);
  manyEntries("strip tables", 273, 4, entries * 3 - 100, kFirstDirectory, 0);
  manyEntries("strip counts of SHORTs", 279, 3, entries * 6 - 100, kFirstDirectory, 0);
  manyEntries("values of the whole file", 700, 1, entries * 12 - 100, kFirstDirectory, 0);
  manyEntries("values of 16 KiB", 700, 1, 16384, kFirstDirectory, 0);
  manyEntries("sub-directories that are the page", 330, 4, 1, kFirstDirectory, 0);
  manyEntries("Exif directories behind each other", 34665, 4, 1, kFirstDirectory + 14, 0);
  manyEntries("arrays of sub-directories", 330, 4, 1000, kFirstDirectory, 0);
  manyEntries("tone curves", 291, 3, 256, kFirstDirectory, 0);
  manyEntries("private directories", 50234, 7, entries * 10, kFirstDirectory, 0);
  manyEntries("makes", 271, 2, entries * 10, kFirstDirectory, 0);
  manyEntries("software names", 305, 2, entries * 10, kFirstDirectory, 0);
  manyEntries("resolutions", 282, 5, 1, entries * 10, 0);
  manyEntries("depths", 258, 3, 16, 1000, 0);
  manyEntries("YCbCr coefficients", 529, 5, 3, 1000, 0);
  for (const auto& [parent, tag] : {std::pair<uint16_t, uint16_t>{34665, 37500}, {34665, 37510}, {34853, 7}}) {
    TiffDirectory child;
    for (uint32_t i = 0; i < entries; ++i) {
      child.RawWord(tag, 7, entries * 11, kFirstDirectory);
    }
    files.push_back(OnePage(Number(entries) + " values of tag " + Number(tag) + " in directory " + Number(parent),
                            Bare(4, 4).Strips({FileBytes(16, 1)}).Child(parent, child)));
  }
  {
    // Tables of strips that share their bytes.
    const uint32_t many = Scaled(1000000);
    const auto tables = [many](TiffDirectory page, uint16_t offsets, uint16_t counts) {
      return page.Long(offsets, std::vector<uint32_t>(many, 8)).Long(counts, std::vector<uint32_t>(many, 0xFFFFFF));
    };
    const auto strips = [&](uint16_t compression) { return Bare(1, many, compression).Long(278, {1}); };
    const auto add = [&](const std::string& what, const TiffDirectory& page) {
      files.push_back(OnePage(Number(many) + what, page));
    };
    add(" strips that claim the whole file", tables(strips(1), 273, 279));
    add(" LZW strips that claim the whole file", tables(strips(5), 273, 279));
    add(" fax strips that claim the whole file",
        tables(Bare(16, many, 4).Remove(258).Short(258, {1}).Long(278, {1}), 273, 279));
    add(" tiles of absurd width", TiledPage(1, many, 1 << 24, 1, many, kAbsurd, 1));
    add(" LZW tiles of absurd width", TiledPage(1, many, 1 << 24, 1, many, kAbsurd, 5));
    add(" tiles of one column", TiledPage(many, 4, 1, 4, many, 64, 1));
    add(" PackBits tiles of one column", TiledPage(many, 4, 1, 4, many, 64, 32773));
    const std::vector<uint16_t> shorts(5 * many, 8);
    files.push_back(
        OnePage("strip tables of " + Number(5 * many) + " SHORTs", Bare(16, 16).Short(273, shorts).Short(279, shorts)));
  }
  {
    // IPTC: data sets of one byte, all of the same repeatable comment.
    const uint32_t sets = Scaled(1000000);
    FileBytes block;
    for (uint32_t i = 0; i < sets; ++i) {
      const uint8_t set[] = {0x1C, 2, 25, 0, 1, 'x'};
      block.insert(block.end(), std::begin(set), std::end(set));
    }
    const auto bytes = static_cast<uint32_t>(block.size());
    files.push_back(OnePage(Number(sets) + " IPTC keywords",
                            Bare(4, 4).Strips({FileBytes(16, 1)}).Pointer(33723, 1, bytes, block)));
    files.push_back(OnePage(Number(sets) + " IPTC keywords as LONGs",
                            Bare(4, 4).Strips({FileBytes(16, 1)}).Pointer(33723, 4, bytes / 4, block)));
  }
  {
    // Geo keys: 65,535 of them, each of 65,535 doubles.
    std::vector<uint16_t> keys = {1, 1, 0, 65535};
    for (uint32_t i = 0; i < 65535; ++i) {
      keys.insert(keys.end(), {static_cast<uint16_t>(i), 34736, 65535, 0});
    }
    files.push_back(OnePage("65,535 geo keys of 65,535 doubles each",
                            Bare(4, 4)
                                .Strips({FileBytes(16, 1)})
                                .Pointer(34735, 3, static_cast<uint32_t>(keys.size()), U16s(keys))
                                .Pointer(34736, 12, 65535, FileBytes(65535 * 8, 1))));
    for (size_t i = 4; i < keys.size(); i += 4) {
      keys[i] = 1026; // always the same
      keys[i + 1] = 34737;
    }
    files.push_back(
        OnePage("65,535 times the same geo key", Bare(4, 4)
                                                     .Strips({FileBytes(16, 1)})
                                                     .Pointer(34735, 3, static_cast<uint32_t>(keys.size()), U16s(keys))
                                                     .Pointer(34737, 2, 65535, FileBytes(65535, 'x'))));
  }
  {
    // Directories that overlap: each sub-directory begins two bytes behind the one before and takes in all the rest.
    FileBytes bytes = Header();
    constexpr uint16_t kChildren = 2000;
    AppendU16(bytes, kLittle, kChildren);
    for (uint32_t i = 0; i < kChildren; ++i) {
      AppendEntry(bytes, 330, 4, 1, 100000 + i * 12);
    }
    AppendU32(bytes, kLittle, 0);
    bytes.resize(100000);
    while (bytes.size() < 3000000) {
      AppendU16(bytes, kLittle, 60000);
      AppendU16(bytes, kLittle, 3);
      AppendU32(bytes, kLittle, 1);
      AppendU32(bytes, kLittle, 1);
    }
    files.push_back(WholeFile("2000 sub-directories of 60,000 shared entries", bytes));
  }
  {
    // JPEG tables and strips that share their bytes: blocks of the whole file's size.
    TiffDirectory page = Bare(4, 4);
    const uint32_t strips = 4000;
    page.Long(273, std::vector<uint32_t>(strips, 8)).Long(279, std::vector<uint32_t>(strips, 1000000));
    page.Pointer(700, 1, 1000000, FileBytes(1000000, 1));
    files.push_back(OnePage("4000 strips of a MiB that share their bytes", page));
  }
  return files;
}

std::vector<SparseFile> LargeChains() {
  std::vector<SparseFile> files;
  {
    const uint32_t pages = Scaled(1000000);
    FileBytes bytes = Header();
    bytes.reserve(8 + size_t{pages} * 18);
    for (uint32_t page = 1; page <= pages; ++page) {
      AppendU16(bytes, kLittle, 1);
      AppendEntry(bytes, 256, 4, 1, 1);
      AppendU32(bytes, kLittle, page == pages ? 0 : static_cast<uint32_t>(bytes.size() + 4));
    }
    files.push_back(WholeFile("a chain of " + Number(pages) + " pages", bytes));
    PutU32(bytes, bytes.size() - 4, kLittle, kFirstDirectory);
    files.push_back(WholeFile("a ring of " + Number(pages) + " pages", bytes));
  }
  {
    // Each turn of a compaction reads, and writes, 60 values one by one. The zeros behind raise the budget.
    TiffDirectory page = Bare(4, 4);
    for (uint16_t tag = 40000; tag < 40060; ++tag) {
      page.Undefined(tag, FileBytes(6, 1));
    }
    page.Strips({FileBytes(16, 1)}).NextWord(kFirstDirectory);
    SparseFile file = OnePage("a ring of a page of 60 values", page);
    file.size = Scaled(20 << 20);
    files.push_back(file);
  }
  return files;
}

std::vector<SparseFile> HugeFiles() {
  std::vector<SparseFile> files;
  {
    // Two directories a gibibyte apart that name each other, so that no buffer helps.
    SparseFile file;
    file.name = "a ring of two pages a gibibyte apart";
    file.size = (uint64_t{1} << 30) + 4096;
    constexpr uint32_t kFar = 1 << 30;
    TiffBuilder near;
    near.AddPage(GrayPage(4, 4)).NextWord(kFar);
    file.pieces.emplace_back(0, near.Build());
    FileBytes far;
    AppendU16(far, kLittle, 1);
    AppendEntry(far, 256, 4, 1, 1);
    AppendU32(far, kLittle, kFirstDirectory);
    file.pieces.emplace_back(kFar, far);
    files.push_back(file);
  }
  const auto add = [&](std::string name, const TiffDirectory& page) {
    SparseFile file = OnePage(std::move(name), page);
    file.size = uint64_t{3} << 30;
    files.push_back(file);
  };
  constexpr uint32_t kHuge = 0xB0000000;
  for (const uint16_t compression : kCompressions) {
    add("strips of 3 GiB each, compression " + Number(compression), StripPage(100, 100, 1, 100, kHuge, compression));
  }
  TiffDirectory page = Bare(100, 100).Strips({FileBytes(100, 1)});
  for (const uint16_t tag : std::initializer_list<uint16_t>{700, 33723, 34737, 37724, 50000}) {
    page.RawWord(tag, tag == 34737 ? 2 : 1, kHuge, kFirstDirectory);
  }
  add("tag values of 3 GiB each", page);
  return files;
}
