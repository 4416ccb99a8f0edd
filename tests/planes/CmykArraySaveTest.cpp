// CMYK pages saved from one bitmap a plane, compared sample by sample with the planes.

#include <algorithm>

#include "planes/PlanePageTags.h"
#include "planes/PlaneSource.h"
#include "support/KernelGuard.h"

namespace {

enum : int32_t { kPlainCmyk = 85, kLzwCmyk = 86, kPackBitsCmyk = 88 };

using Values = std::vector<uint32_t>;

struct ArraySave {
  ArraySave(uint32_t count, int32_t width, int32_t height, int32_t bits, int32_t format)
      : source(count, width, height, bits) {
    source.Fill(&request);
    request.fileName = file.Name();
    request.format = format;
    request.options = &options;
    options.structSize = sizeof options;
    options.pageNumber = 1;
  }
  int32_t Run() { return fltSaveCMYKArray(&request); }

  KernelGuard guard;
  TempFile file;
  PlaneSource source;
  SaveOptions options = {};
  FilterSaveCMYKRequest request = {};
};

// Packed rows of plane `plane`, from row `first` on.
FileBytes PlaneRows(size_t plane, int32_t width, int32_t first, int32_t rows, int32_t bits, bool swapped = false) {
  FileBytes bytes;
  for (int32_t y = first; y < first + rows; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      const uint32_t sample = PlaneSource::SampleAt(plane, x, y, bits);
      if (bits == 16) {
        bytes.push_back(static_cast<uint8_t>(swapped ? sample >> 8 : sample));
        bytes.push_back(static_cast<uint8_t>(swapped ? sample : sample >> 8));
      } else {
        bytes.push_back(static_cast<uint8_t>(sample));
      }
    }
  }
  return bytes;
}

FileBytes InterleavedRows(size_t planes, int32_t width, int32_t first, int32_t rows, int32_t bits,
                          bool swapped = false) {
  const auto size = static_cast<size_t>(bits / 8);
  std::vector<FileBytes> parts;
  for (size_t plane = 0; plane < planes; ++plane) {
    parts.push_back(PlaneRows(plane, width, first, rows, bits, swapped));
  }
  FileBytes bytes;
  for (size_t at = 0; at < parts[0].size(); at += size) {
    for (const FileBytes& part : parts) {
      bytes.insert(bytes.end(), part.begin() + static_cast<ptrdiff_t>(at),
                   part.begin() + static_cast<ptrdiff_t>(at + size));
    }
  }
  return bytes;
}

FileBytes Joined(const std::vector<FileBytes>& strips, size_t first, size_t count) {
  FileBytes bytes;
  for (size_t i = first; i < first + count && i < strips.size(); ++i) {
    bytes.insert(bytes.end(), strips[i].begin(), strips[i].end());
  }
  return bytes;
}

// TIFF 6.0, section 9.
FileBytes UnpackBits(const FileBytes& packed) {
  FileBytes bytes;
  for (size_t at = 0; at < packed.size();) {
    const auto code = static_cast<int8_t>(packed[at++]);
    if (code >= 0) {
      for (int i = 0; i <= code; ++i) {
        bytes.push_back(packed.at(at++));
      }
    } else if (code != -128) {
      bytes.insert(bytes.end(), static_cast<size_t>(1 - code), packed.at(at));
      ++at;
    }
  }
  return bytes;
}

// TIFF 6.0, section 13: codes of 9 to 12 bits from the high bit, widened one code early.
FileBytes UnpackLzw(const FileBytes& packed) {
  std::vector<FileBytes> table;
  FileBytes bytes;
  FileBytes previous;
  size_t bit = 0;
  unsigned width = 9;
  while (bit + width <= packed.size() * 8) {
    unsigned code = 0;
    for (unsigned i = 0; i < width; ++i, ++bit) {
      code = code << 1 | ((packed[bit / 8] >> (7 - bit % 8)) & 1u);
    }
    if (code == 257) {
      return bytes;
    }
    if (code == 256) {
      table.clear();
      width = 9;
      previous.clear();
      continue;
    }
    FileBytes entry;
    if (code < 256) {
      entry = {static_cast<uint8_t>(code)};
    } else if (code - 258 < table.size()) {
      entry = table[code - 258];
    } else {
      entry = previous;
      entry.push_back(previous.at(0));
    }
    if (!previous.empty()) {
      previous.push_back(entry[0]);
      table.push_back(previous);
    }
    bytes.insert(bytes.end(), entry.begin(), entry.end());
    previous = entry;
    const size_t next = table.size() + 258;
    width = next >= 2047 ? 12 : next >= 1023 ? 11 : next >= 511 ? 10 : 9;
  }
  ADD_FAILURE() << "an LZW stream without its end";
  return bytes;
}

FileBytes Unpacked(int32_t format, const FileBytes& strip) {
  return format == kLzwCmyk ? UnpackLzw(strip) : format == kPackBitsCmyk ? UnpackBits(strip) : strip;
}

struct ArrayCase {
  int32_t format;
  uint32_t compression;
  int32_t bits;
  uint32_t planes;
};

class CmykArray : public testing::TestWithParam<ArrayCase> {};

std::vector<ArrayCase> AllCases() {
  std::vector<ArrayCase> cases;
  for (const auto& [format, compression] :
       {std::pair{kPlainCmyk, 1u}, std::pair{kLzwCmyk, 5u}, std::pair{kPackBitsCmyk, 32773u}}) {
    for (int32_t bits : {8, 16}) {
      for (uint32_t planes : {4u, 5u}) {
        cases.push_back({format, compression, bits, planes});
      }
    }
  }
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Forms, CmykArray, testing::ValuesIn(AllCases()), [](const auto& tested) {
  const ArrayCase& c = tested.param;
  return "Format" + std::to_string(c.format) + "Bits" + std::to_string(c.bits) + "Planes" + std::to_string(c.planes);
});

TEST_P(CmykArray, Interleaved) {
  const ArrayCase& c = GetParam();
  ArraySave save(c.planes, 300, 61, c.bits, c.format);
  EXPECT_EQ(save.Run(), 1);
  PageTags tags(save.file);
  EXPECT_EQ(tags.Value(256), 300u);
  EXPECT_EQ(tags.Value(257), 61u);
  EXPECT_EQ(tags.Values(258), Values(c.planes, static_cast<uint32_t>(c.bits)));
  EXPECT_EQ(tags.Value(259), c.compression);
  EXPECT_EQ(tags.Value(262), 5u);
  EXPECT_EQ(tags.Value(277), c.planes);
  EXPECT_EQ(tags.Value(284), 1u);
  const uint32_t rowsPerStrip = tags.Value(278);
  const std::vector<FileBytes> strips = tags.Strips();
  ASSERT_EQ(strips.size(), (61 + rowsPerStrip - 1) / rowsPerStrip);
  ASSERT_GT(strips.size(), 1u);
  for (size_t i = 0; i < strips.size(); ++i) {
    const auto first = static_cast<int32_t>(i * rowsPerStrip);
    const int32_t rows = std::min(static_cast<int32_t>(rowsPerStrip), 61 - first);
    EXPECT_EQ(Unpacked(c.format, strips[i]), InterleavedRows(c.planes, 300, first, rows, c.bits)) << "strip " << i;
  }
  EXPECT_EQ(save.source.starts, 1);
  EXPECT_EQ(save.source.rows, static_cast<int>(61 * c.planes));
  EXPECT_EQ(save.source.ends, 1);
  EXPECT_EQ(save.source.bitsAsked, c.bits);
}

TEST_P(CmykArray, PlanarHoldsTheSetsOfStripsInPlaneOrder) {
  const ArrayCase& c = GetParam();
  ArraySave save(c.planes, 300, 61, c.bits, c.format);
  save.options.flags2 = kSavePlanar;
  EXPECT_EQ(save.Run(), 1);
  PageTags tags(save.file);
  EXPECT_EQ(tags.Values(258), Values(c.planes, static_cast<uint32_t>(c.bits)));
  EXPECT_EQ(tags.Value(284), 2u);
  const uint32_t rowsPerStrip = tags.Value(278);
  const size_t perPlane = (61 + rowsPerStrip - 1) / rowsPerStrip;
  const std::vector<FileBytes> strips = tags.Strips();
  ASSERT_EQ(strips.size(), perPlane * c.planes);
  for (size_t plane = 0; plane < c.planes; ++plane) {
    for (size_t i = 0; i < perPlane; ++i) {
      const auto first = static_cast<int32_t>(i * rowsPerStrip);
      const int32_t rows = std::min(static_cast<int32_t>(rowsPerStrip), 61 - first);
      EXPECT_EQ(Unpacked(c.format, strips[plane * perPlane + i]), PlaneRows(plane, 300, first, rows, c.bits))
          << "plane " << plane << " strip " << i;
    }
  }
}

// What a reader makes of the page: the planes come back through the loading side too.
TEST_P(CmykArray, ExtraSamplesAreToldFromThePlanes) {
  const ArrayCase& c = GetParam();
  ArraySave save(c.planes, 20, 5, c.bits, c.format);
  EXPECT_EQ(save.Run(), 1);
  PageTags tags(save.file);
  const int32_t depth = static_cast<int32_t>(c.planes - 1) * c.bits;
  if (depth == 64 || depth == 32) {
    EXPECT_EQ(tags.Value(338), 0u);
  } else {
    EXPECT_FALSE(tags.Has(338));
  }
}

TEST(CmykArrayOrder, UncompressedSamplesAreSwappedInABigEndianFile) {
  for (uint32_t planar : {0u, 2u}) {
    ArraySave save(4, 10, 3, 16, kPlainCmyk);
    save.options.flags = kSaveBigEndian;
    save.options.flags2 = planar;
    EXPECT_EQ(save.Run(), 1);
    const std::vector<FileBytes> strips = PageTags(save.file).Strips();
    if (planar == 0) {
      EXPECT_EQ(Joined(strips, 0, strips.size()), InterleavedRows(4, 10, 0, 3, 16, true));
    } else {
      ASSERT_EQ(strips.size(), 4u);
      EXPECT_EQ(strips[2], PlaneRows(2, 10, 0, 3, 16, true));
    }
  }
}

TEST(CmykArrayOrder, CompressedSamplesAreNot) {
  for (int32_t format : {kLzwCmyk, kPackBitsCmyk}) {
    ArraySave save(4, 10, 3, 16, format);
    save.options.flags = kSaveBigEndian;
    EXPECT_EQ(save.Run(), 1);
    EXPECT_EQ(Unpacked(format, PageTags(save.file).Strips().at(0)), InterleavedRows(4, 10, 0, 3, 16));
  }
}

TEST(CmykArrayPredictor, RunsOverTheInterleavedPixel) {
  ArraySave save(4, 50, 4, 8, kLzwCmyk);
  save.options.flags = kSavePredictor;
  EXPECT_EQ(save.Run(), 1);
  PageTags tags(save.file);
  EXPECT_EQ(tags.Value(317), 2u);
  FileBytes expected = InterleavedRows(4, 50, 0, 4, 8);
  for (size_t row = 0; row < 4; ++row) {
    for (size_t i = 199; i >= 4; --i) {
      expected[row * 200 + i] = static_cast<uint8_t>(expected[row * 200 + i] - expected[row * 200 + i - 4]);
    }
  }
  EXPECT_EQ(UnpackLzw(tags.Strips().at(0)), expected);
}

TEST(CmykArrayPredictor, RunsWithinThePlanes) {
  ArraySave save(4, 50, 4, 8, kLzwCmyk);
  save.options.flags = kSavePredictor;
  save.options.flags2 = kSavePlanar;
  EXPECT_EQ(save.Run(), 1);
  const std::vector<FileBytes> strips = PageTags(save.file).Strips();
  ASSERT_EQ(strips.size(), 4u);
  FileBytes expected = PlaneRows(3, 50, 0, 4, 8);
  for (size_t row = 0; row < 4; ++row) {
    for (size_t i = 49; i >= 1; --i) {
      expected[row * 50 + i] = static_cast<uint8_t>(expected[row * 50 + i] - expected[row * 50 + i - 1]);
    }
  }
  EXPECT_EQ(UnpackLzw(strips[3]), expected);
}

TEST(CmykArrayTiles, PlanarTilesArePaddedWithZeros) {
  ArraySave save(4, 40, 20, 8, kPlainCmyk);
  save.options.flags = kSaveTiles;
  save.options.flags2 = kSavePlanar;
  save.options.tileWidth = 16;
  save.options.tileHeight = 16;
  EXPECT_EQ(save.Run(), 1);
  PageTags tags(save.file);
  EXPECT_EQ(tags.Value(322), 16u);
  EXPECT_EQ(tags.Value(323), 16u);
  const std::vector<FileBytes> tiles = tags.Strips();
  ASSERT_EQ(tiles.size(), 4u * 3 * 2);
  for (size_t plane = 0; plane < 4; ++plane) {
    for (size_t tile = 0; tile < 6; ++tile) {
      const FileBytes& bytes = tiles[plane * 6 + tile];
      ASSERT_EQ(bytes.size(), 256u);
      for (int32_t y = 0; y < 16; ++y) {
        for (int32_t x = 0; x < 16; ++x) {
          const int32_t pageX = static_cast<int32_t>(tile % 3) * 16 + x;
          const int32_t pageY = static_cast<int32_t>(tile / 3) * 16 + y;
          const bool inside = pageX < 40 && pageY < 20;
          const uint32_t expected = inside ? PlaneSource::SampleAt(plane, pageX, pageY, 8) : 0;
          ASSERT_EQ(bytes[static_cast<size_t>(y * 16 + x)], expected) << plane << ' ' << pageX << ' ' << pageY;
        }
      }
    }
  }
}

// The column's place counts the depth of one plane, also where a pixel has four: columns behind the first begin too
// early in the row. That is how the files are.
TEST(CmykArrayTiles, InterleavedColumnsCountOnePlane) {
  ArraySave save(4, 48, 16, 8, kPlainCmyk);
  save.options.flags = kSaveTiles;
  save.options.tileWidth = 16;
  save.options.tileHeight = 16;
  EXPECT_EQ(save.Run(), 1);
  const std::vector<FileBytes> tiles = PageTags(save.file).Strips();
  ASSERT_EQ(tiles.size(), 3u);
  for (size_t column = 0; column < 3; ++column) {
    ASSERT_EQ(tiles[column].size(), 16u * 16 * 4);
    for (int32_t y = 0; y < 16; ++y) {
      const FileBytes row = InterleavedRows(4, 48, y, 1, 8);
      const FileBytes expected(row.begin() + static_cast<ptrdiff_t>(column * 16),
                               row.begin() + static_cast<ptrdiff_t>(column * 16 + 64));
      const auto begin = tiles[column].begin() + y * 64;
      EXPECT_EQ(FileBytes(begin, begin + 64), expected) << "column " << column << " row " << y;
    }
  }
}

TEST(CmykArrayTiles, EveryFormTakesTilesOfAnySize) {
  for (int32_t format : {kPlainCmyk, kLzwCmyk, kPackBitsCmyk}) {
    for (uint32_t planar : {0u, 2u}) {
      for (const auto& [width, height] :
           {std::pair{16u, 16u}, {48u, 5u}, {1000u, 7u}, {20u, 0u}, {0u, 16u}, {1u, 1u}}) {
        ArraySave save(5, 70, 33, 16, format);
        save.options.flags = kSaveTiles;
        save.options.flags2 = planar;
        save.options.tileWidth = width;
        save.options.tileHeight = height;
        EXPECT_EQ(save.Run(), 1) << format << ' ' << planar << ' ' << width << 'x' << height;
        EXPECT_FALSE(PageTags(save.file).Strips().empty());
      }
    }
  }
}

TEST(CmykArrayFlags, RowsAreAskedForAsGrey) {
  ArraySave bytes(4, 10, 3, 8, kPlainCmyk);
  bytes.request.flags = kSaveRequestBlueFirst | 0x1;
  bytes.source.flagsToLeave = 0x200000;
  EXPECT_EQ(bytes.Run(), 1);
  EXPECT_EQ(bytes.source.flagsAtStart, 0x9009u);
  EXPECT_EQ(bytes.source.flagsOfRow, 0x209009u);
  EXPECT_EQ(+bytes.request.flags, 0x209009u);
  ArraySave words(4, 10, 3, 16, kPlainCmyk);
  words.request.flags = kSaveRequestBlueFirst | 0x1;
  EXPECT_EQ(words.Run(), 1);
  EXPECT_EQ(words.source.flagsAtStart, 0xC009u);
  EXPECT_EQ(+words.request.flags, 0xC009u);
}

TEST(CmykArrayFlags, FormatIsRewritten) {
  for (const auto& [asked, internal] : {std::pair{85, 3}, {86, 17}, {88, 87}}) {
    ArraySave save(4, 10, 3, 8, asked);
    EXPECT_EQ(save.Run(), 1);
    EXPECT_EQ(+save.request.format, internal);
  }
}

TEST(CmykArrayFlags, ViewAndSignOfTheFirstPlane) {
  ArraySave save(4, 10, 3, 16, kPlainCmyk);
  save.source.Plane(0).viewPerspective = 6;
  save.source.Plane(1).viewPerspective = 3;
  save.source.Descriptor().flags |= kBitmapSigned;
  EXPECT_EQ(save.Run(), 1);
  PageTags tags(save.file);
  EXPECT_EQ(tags.Value(274), 6u);
  EXPECT_EQ(tags.Value(339), 2u);
  EXPECT_EQ(+save.source.Descriptor().viewPerspective, 6u);
}

TEST(CmykArrayFlags, BitmapsOfViewFourComeOutTopDown) {
  ArraySave save(4, 10, 3, 8, kPlainCmyk);
  for (size_t plane = 0; plane < 4; ++plane) {
    save.source.Plane(plane).viewPerspective = 4;
  }
  EXPECT_EQ(save.Run(), 1);
  FileBytes expected;
  for (int32_t y : {2, 1, 0}) {
    const FileBytes row = InterleavedRows(4, 10, y, 1, 8);
    expected.insert(expected.end(), row.begin(), row.end());
  }
  EXPECT_EQ(PageTags(save.file).Strips().at(0), expected);
}

TEST(CmykArrayPages, AppendAndInsert) {
  ArraySave first(4, 10, 3, 8, kPlainCmyk);
  EXPECT_EQ(first.Run(), 1);
  PlaneSource second(4, 12, 3, 8);
  FilterSaveCMYKRequest request = first.request;
  second.Fill(&request);
  request.format = kLzwCmyk;
  request.flags = kSaveRequestAppend;
  EXPECT_EQ(fltSaveCMYKArray(&request), 1);
  EXPECT_EQ(PageTags(first.file, 1).Value(256), 10u);
  EXPECT_EQ(PageTags(first.file, 2).Value(256), 12u);
  PlaneSource third(4, 14, 3, 8);
  third.Fill(&request);
  request.format = kPackBitsCmyk;
  request.flags = 0;
  first.options.flags = kSaveInsertPage;
  first.options.pageNumber = 2;
  EXPECT_EQ(fltSaveCMYKArray(&request), 1);
  EXPECT_EQ(PageTags(first.file, 2).Value(256), 14u);
  EXPECT_EQ(PageTags(first.file, 3).Value(256), 12u);
}

TEST(CmykArrayRefusals, NothingIsTouchedAndTheOrderIsFixed) {
  const CallCounter calls;
  ArraySave save(4, 10, 3, 8, 85);
  FilterSaveCMYKRequest& request = save.request;
  BitmapHandle* empty[4] = {save.source.Pointers()[0], save.source.Pointers()[1], nullptr, save.source.Pointers()[3]};
  save.source.Plane(0).width = 0;

  request.bitmaps = nullptr;
  request.format = 3;
  for (int32_t bits : {0, 1, 7, 12, 24, 32, -8}) {
    request.bitsPerPlane = bits;
    EXPECT_EQ(save.Run(), -27) << bits;
  }
  request.bitsPerPlane = 8;
  for (int32_t format : {3, 17, 87, 93, 84, 0, -85}) {
    request.format = format;
    EXPECT_EQ(save.Run(), -918) << format;
    EXPECT_EQ(+request.format, format);
  }
  request.format = 85;
  EXPECT_EQ(save.Run(), -2);
  EXPECT_EQ(+request.format, 3) << "rewritten before the planes are looked at";
  request.format = 86;
  request.bitmaps = empty;
  EXPECT_EQ(save.Run(), -2);
  request.format = 86;
  request.bitmaps = save.source.Pointers();
  request.planeCount = 0;
  EXPECT_EQ(save.Run(), -2);
  request.planeCount = 4;
  request.format = 88;
  EXPECT_EQ(save.Run(), -11);
  save.source.Plane(0).width = 10;
  save.source.Plane(0).height = 0;
  request.format = 88;
  EXPECT_EQ(save.Run(), -11);
  EXPECT_EQ(calls.Since().opens, 0u);
  EXPECT_FALSE(save.file.Exists());
  EXPECT_EQ(save.source.starts, 0);
}

TEST(CmykArrayRefusals, FilesThatCannotBeMade) {
  ArraySave save(4, 10, 3, 8, kPlainCmyk);
  save.request.fileName = u"/nowhere/at/all/page.tif";
  EXPECT_EQ(save.Run(), -14);
  EXPECT_EQ(save.source.starts, 0);
}

TEST(CmykArrayFailures, AStartThatFailsIsNotEnded) {
  for (int32_t result : {0, -1, -55}) {
    ArraySave save(4, 10, 3, 8, kPlainCmyk);
    save.source.startResult = result;
    EXPECT_EQ(save.Run(), result);
    EXPECT_EQ(save.source.ends, 0);
    EXPECT_EQ(save.source.rows, 0);
  }
}

TEST(CmykArrayFailures, ARowThatFailsLeavesThePage) {
  for (int32_t format : {kPlainCmyk, kLzwCmyk, kPackBitsCmyk}) {
    for (uint32_t planar : {0u, 2u}) {
      for (int32_t refusal : {0, -5, 2}) {
        ArraySave save(4, 10, 3, 8, format);
        save.options.flags2 = planar;
        save.source.rowsUntilRefusal = 6;
        save.source.refusal = refusal;
        EXPECT_EQ(save.Run(), refusal);
        EXPECT_EQ(save.source.rows, 7);
        EXPECT_EQ(save.source.ends, 1);
        EXPECT_EQ(PageTags(save.file).Value(262), 5u) << "the page stays in the file";
      }
    }
  }
}

TEST(CmykArrayFailures, AShortWriteOfDataIsTold) {
  for (int32_t format : {kPlainCmyk, kPackBitsCmyk}) {
    ArraySave whole(4, 10, 3, 8, format);
    uint64_t writes = 0;
    {
      IoFaults counting;
      EXPECT_EQ(whole.Run(), 1);
      writes = counting.Calls(IoCall::kWrite);
    }
    bool struck = false;
    for (uint64_t nth = 1; nth <= writes; ++nth) {
      ArraySave save(4, 10, 3, 8, format);
      IoFaults faults;
      faults.Fail(IoCall::kWrite, nth);
      const int32_t result = save.Run();
      EXPECT_TRUE(result == 1 || result == -5) << nth << " gives " << result;
      EXPECT_EQ(save.source.ends, 1);
      struck = struck || (result == -5 && save.source.rows != 0);
    }
    EXPECT_TRUE(struck) << format;
  }
}

TEST(CmykArrayFailures, EveryFailedAllocationIsAnError) {
  for (int32_t format : {kPlainCmyk, kLzwCmyk, kPackBitsCmyk}) {
    for (uint32_t planar : {0u, 2u}) {
      for (uint64_t nth = 1;; ++nth) {
        ArraySave save(4, 10, 3, 8, format);
        save.options.flags2 = planar;
        AllocFaults faults(nth);
        const int32_t result = save.Run();
        if (faults.Calls() < nth) {
          EXPECT_EQ(result, 1);
          EXPECT_GE(nth, planar != 0 ? 4u : 9u);
          break;
        }
        EXPECT_EQ(result, -1) << format << ' ' << planar << ' ' << nth;
        EXPECT_EQ(save.source.ends, save.source.starts);
      }
    }
  }
}

// Only the first plane sets the geometry: others of another size or depth must not lead outside the row.
TEST(CmykArrayBounds, PlanesUnlikeTheFirst) {
  for (uint32_t planar : {0u, 2u}) {
    for (uint32_t tile : {0u, 16u}) {
      ArraySave save(4, 40, 10, 8, kPlainCmyk);
      save.options.flags2 = planar;
      save.options.flags = tile != 0 ? kSaveTiles : 0;
      save.options.tileWidth = tile;
      save.source.Plane(1).height = 4;
      save.source.Plane(2).height = 1000;
      save.source.Plane(2).bitsPerPixel = 64;
      save.source.Plane(3).bitsPerPixel = -64;
      save.source.Plane(3).height = -1;
      EXPECT_EQ(save.Run(), 1);
    }
  }
}

// The row service's description tells how many pixels of the rows are taken; one wider than the planes is cut to them.
TEST(CmykArrayBounds, TheWidthOfTheRowsIsTheDescriptors) {
  for (const int32_t width : {0, -5, 7, 12, 1000000}) {
    ArraySave save(4, 12, 1, 8, kPlainCmyk);
    save.source.Descriptor().width = width;
    save.source.pixelsDelivered = 12;
    EXPECT_EQ(save.Run(), 1);
    FileBytes expected = InterleavedRows(4, 12, 0, 1, 8);
    const auto taken = static_cast<size_t>(std::clamp(width, 0, 12));
    std::fill(expected.begin() + static_cast<ptrdiff_t>(taken * 4), expected.end(), uint8_t{0});
    EXPECT_EQ(PageTags(save.file).Strips().at(0), expected) << width;
  }
}

TEST(CmykArrayBounds, OneTwoAndManyPlanes) {
  for (uint32_t planes : {1u, 2u, 3u, 16u, 17u, 40u}) {
    for (uint32_t planar : {0u, 2u}) {
      ArraySave save(planes, 10, 3, 8, kLzwCmyk);
      save.options.flags2 = planar;
      save.options.flags = kSavePredictor;
      const int32_t result = save.Run();
      EXPECT_TRUE(result == 1 || result < 0) << planes << " gives " << result;
    }
  }
}

TEST(CmykArrayBounds, NullOptionsReadAsZeros) {
  ArraySave save(4, 10, 3, 8, kPlainCmyk);
  save.request.options = nullptr;
  EXPECT_EQ(save.Run(), 1);
  EXPECT_EQ(PageTags(save.file).Value(284), 1u);
}

} // namespace
