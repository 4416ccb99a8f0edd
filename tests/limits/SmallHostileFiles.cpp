// Hostile files of a few hundred bytes: loops, nests, absurd counts.

#include "limits/HostileFiles.h"
#include "limits/HostilePages.h"

std::vector<SparseFile> SmallLoops() {
  std::vector<SparseFile> files;
  for (const FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
    files.push_back(OnePage("page that is its own next page", GrayPage(4, 4).NextWord(kFirstDirectory), order));
  }
  {
    TiffBuilder file;
    file.AddPage(GrayPage(4, 4));
    file.AddPage(GrayPage(4, 4));
    file.AddPage(GrayPage(4, 4)).NextWord(kFirstDirectory);
    files.push_back(WholeFile("three pages in a ring", file.Build()));
  }
  {
    // Directories of no entries: six bytes each, as dense as a chain can be.
    FileBytes bytes = Header();
    while (bytes.size() + 6 <= 1024) {
      AppendU16(bytes, kLittle, 0);
      AppendU32(bytes, kLittle, static_cast<uint32_t>(bytes.size() + 4));
    }
    PutU32(bytes, bytes.size() - 4, kLittle, kFirstDirectory);
    files.push_back(WholeFile("ring of empty directories", bytes));
  }
  {
    // 80 entries each time round: an edit that looks for a tag in every page reads them all.
    TiffDirectory page = Bare(4, 4);
    for (uint16_t tag = 40000; tag < 40070; ++tag) {
      page.Short(tag, {1});
    }
    page.Strips({FileBytes(16, 1)}).NextWord(kFirstDirectory);
    files.push_back(OnePage("ring of one page of 78 entries", page));
  }
  {
    FileBytes bytes = Header(0);
    bytes.resize(1024);
    files.push_back(WholeFile("directory at offset 0", bytes));
  }
  {
    // Strip data counted anew on every turn of a compaction.
    TiffDirectory page = GrayPage(20, 30);
    files.push_back(OnePage("ring of a page of 600 bytes", page.NextWord(kFirstDirectory)));
  }
  return files;
}

std::vector<SparseFile> SmallNests() {
  std::vector<SparseFile> files;
  const auto itself = [&](const char* name, uint16_t tag, uint16_t type, uint32_t entries) {
    TiffDirectory page = Bare(4, 4);
    for (uint32_t i = 0; i < entries; ++i) {
      page.RawWord(tag, type, 1, kFirstDirectory);
    }
    files.push_back(OnePage(name, page));
  };
  itself("sub-directory that is itself", 330, 4, 1);
  itself("70 sub-directories that are itself", 330, 4, 70);
  itself("Exif directory that is the page", 34665, 4, 1);
  itself("70 Exif directories that are the page", 34665, 4, 70);
  itself("GPS directory that is the page", 34853, 4, 1);
  itself("private directory that is the page", 50236, 4, 70);
  {
    // Page, Exif, maker note and back, each naming all others as often as fits.
    TiffDirectory page = Bare(4, 4);
    for (int i = 0; i < 14; ++i) {
      page.RawWord(330, 4, 1, kFirstDirectory);
      page.RawWord(34665, 4, 1, kFirstDirectory);
      page.RawWord(34853, 4, 1, kFirstDirectory);
      page.RawWord(37500, 7, 200, kFirstDirectory);
      page.RawWord(40965, 4, 1, kFirstDirectory);
    }
    files.push_back(OnePage("all kinds of directories within each other", page));
  }
  {
    TiffDirectory page = Bare(4, 4);
    page.Long(330, std::vector<uint32_t>(200, kFirstDirectory));
    files.push_back(OnePage("array of 200 sub-directories that are itself", page));
  }
  {
    // Directories of 20 entries that name each other, so that trees branch 20 ways at every level.
    FileBytes bytes = Header();
    constexpr uint32_t kDirectories = 4;
    constexpr uint32_t kEntries = 20;
    for (uint32_t i = 0; i < kDirectories; ++i) {
      AppendU16(bytes, kLittle, kEntries);
      for (uint32_t entry = 0; entry < kEntries; ++entry) {
        const uint32_t other = kFirstDirectory + entry % kDirectories * (2 + kEntries * 12 + 4);
        AppendEntry(bytes, entry % 3 == 0 ? 50236 : 330, 4, 1, other);
      }
      AppendU32(bytes, kLittle, 0);
    }
    files.push_back(WholeFile("four directories that name each other 20 times", bytes));
  }
  return files;
}

std::vector<SparseFile> AbsurdCounts() {
  constexpr uint16_t kTags[] = {254,   256,   258,   259,   262,   266,   270,   271,   273,   274,   277,
                                278,   279,   282,   284,   291,   297,   305,   306,   317,   320,   322,
                                323,   324,   325,   330,   338,   339,   400,   513,   519,   520,   529,
                                530,   532,   700,   33432, 33465, 33466, 33467, 33550, 33723, 34665, 34735,
                                34736, 34737, 34853, 37500, 50234, 50235, 50236};
  std::vector<SparseFile> files;
  for (const uint16_t tag : kTags) {
    const std::string name = "tag " + std::to_string(tag) + " of absurd counts";
    for (const auto& [type, count] : {std::pair<uint16_t, uint32_t>{tag % 2 == 0 ? 1 : 2, kAbsurd},
                                      {3, 0x80000001},
                                      {4, kAbsurd},
                                      {5, 0x20000000},
                                      {12, 0x7FFFFFFF}}) {
      TiffDirectory page = GrayPage(4, 4).Remove(tag);
      page.RawWord(tag, type, count, kFirstDirectory);
      for (const uint16_t version : {uint16_t{42}, uint16_t{12622}}) {
        if (version == 42 || tag == 33466 || tag == 33467) {
          files.push_back(OnePage(name, page, kLittle, version));
        }
      }
    }
  }
  return files;
}
