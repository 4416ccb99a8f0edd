// The raw page interface: how it counts pages, what it hands out, its own result codes.

#include <array>

#include <gtest/gtest.h>
#include <vxtif/rawpage.h>
#include <vxtif/results.h>

#include "support/KernelGuard.h"
#include "support/TempFile.h"
#include "support/TiffBuilder.h"

namespace {

// A file opened through the interface, closed at the end of its scope.
class RawFile {
public:
  explicit RawFile(const FileBytes& bytes) : disk_(bytes) {
    EXPECT_EQ(Vx_OpenTIF(disk_.Name(), &file, sizeof file), kResultOk);
  }
  ~RawFile() { EXPECT_EQ(Vx_CloseTIF(&file), kResultOk); }
  RawFile(const RawFile&) = delete;
  RawFile& operator=(const RawFile&) = delete;

  // The width of the page's block; its result code where that is not 1.
  int64_t WidthOf(uint32_t page) {
    TifDirectory* block = nullptr;
    uint32_t flags = 0xAAAAAAAA;
    const int32_t result = Vx_GetTIFPage(&file, page, &block, &flags);
    if (result != kResultOk) {
      EXPECT_EQ(block, nullptr);
      return result;
    }
    const uint32_t width = block->records[0].value;
    EXPECT_EQ(Vx_FreeTIFPage(block), kResultOk);
    return width;
  }

  TifFile file = {};

private:
  KernelGuard guard_;
  TempFile disk_;
};

class RawPages : public testing::TestWithParam<FileOrder> {
protected:
  FileBytes Pages(std::initializer_list<uint32_t> widths) {
    TiffBuilder file(GetParam());
    for (uint32_t width : widths) {
      file.AddPage(GrayPage(width, 1));
    }
    return file.Build();
  }
  uint32_t FlagsOf(const TiffDirectory& page) {
    TiffBuilder file(GetParam());
    file.AddPage(page);
    RawFile raw(file.Build());
    TifDirectory* block = nullptr;
    uint32_t flags = 0xAAAAAAAA;
    EXPECT_EQ(Vx_GetTIFPage(&raw.file, 1, &block, &flags), kResultOk);
    Vx_FreeTIFPage(block);
    return flags;
  }
};

INSTANTIATE_TEST_SUITE_P(Orders, RawPages, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const auto& order) { return order.param == FileOrder::kLittle ? "Little" : "Big"; });

TEST_P(RawPages, PageOneIsTheCurrentOneAndStays) {
  RawFile raw(Pages({11, 12, 13}));
  EXPECT_EQ(raw.WidthOf(1), 11);
  EXPECT_EQ(raw.WidthOf(1), 11);
  EXPECT_EQ(raw.WidthOf(0), 11);
}

TEST_P(RawPages, PageTwoIsAlwaysTheNextOne) {
  RawFile raw(Pages({11, 12, 13}));
  EXPECT_EQ(raw.WidthOf(2), 12);
  EXPECT_EQ(raw.WidthOf(1), 12);
  EXPECT_EQ(raw.WidthOf(2), 13);
}

TEST_P(RawPages, PagePastTheEndIsRefusedAndTheRecordKeepsTheLastDirectory) {
  RawFile raw(Pages({11, 12}));
  EXPECT_EQ(raw.WidthOf(3), kResultNoSuchPage);
  EXPECT_EQ(raw.WidthOf(1), 12) << "the record has moved";
  EXPECT_EQ(raw.WidthOf(2), kResultNoSuchPage);
  EXPECT_EQ(raw.WidthOf(1), 12);
}

TEST_P(RawPages, MinusOneIsTheLastPage) {
  RawFile raw(Pages({11, 12, 13}));
  EXPECT_EQ(raw.WidthOf(0xFFFFFFFF), 13);
  EXPECT_EQ(raw.WidthOf(0xFFFFFFFF), 13);
}

TEST_P(RawPages, UnreadableDirectoryGivesZeroAndMovesTheRecord) {
  TiffBuilder file(GetParam());
  file.AddPage(GrayPage(11, 1));
  file.AddPage().RawWord(700, 1, 5, 0x100000);
  file.AddPage(GrayPage(13, 1));
  RawFile raw(file.Build());
  EXPECT_EQ(raw.WidthOf(2), 0);
  EXPECT_EQ(+raw.file.directoryOffset, file.DirectoryOffset(1));
  EXPECT_EQ(raw.WidthOf(2), 13);
}

TEST_P(RawPages, FailedReadsAreNamed) {
  RawFile raw(Pages({11, 12}));
  {
    IoFaults faults;
    faults.Fail(IoCall::kRead, 3); // header, count word, then the next word
    EXPECT_EQ(raw.WidthOf(2), kResultReadFailed);
  }
  IoFaults faults;
  faults.Fail(IoCall::kSeek, 4); // end, start, directory, then over the entries
  EXPECT_EQ(raw.WidthOf(2), kResultSeekFailed);
}

TEST_P(RawPages, LayoutFlagsTellPiecesBandsAndPlanes) {
  const std::vector<FileBytes> one = {{1, 2}};
  const std::vector<FileBytes> two = {{1, 2}, {3, 4}};
  const std::vector<FileBytes> three = {{1}, {2}, {3}};
  const auto strips = [](uint16_t compression, const std::vector<FileBytes>& pieces) {
    return TiffDirectory().Long(256, {8}).Short(259, {compression}).Strips(pieces);
  };
  struct LayoutCase {
    const char* what;
    TiffDirectory page;
    uint32_t flags;
  };
  const LayoutCase cases[] = {
      {"no tables", TiffDirectory().Long(256, {8}), 0},
      {"single strip", strips(1, one), 0},
      {"single strip of separate planes", strips(5, one).Short(284, {2}), 8},
      {"LZW", strips(5, two), 3},
      {"uncompressed", strips(1, two), 2},
      {"no compression tag", TiffDirectory().Long(256, {8}).Strips(two), 2},
      {"modified Huffman", strips(2, two), 2},
      {"PackBits", strips(32773, two), 2},
      {"G3 one-dimensional", strips(3, two).Long(292, {4}), 2},
      {"G3 without options", strips(3, two), 2},
      {"G3 two-dimensional", strips(3, two).Long(292, {1}), 3},
      {"G3 uncompressed mode", strips(3, two).Long(292, {2}), 3},
      {"only the low half of the options counts", strips(3, two).Long(292, {0x10000}), 2},
      {"G4", strips(4, two), 3},
      {"separate planes", strips(5, two).Short(284, {2}), 0xB},
      {"chunky planes", strips(5, two).Short(284, {1}), 3},
      {"planes of bands that stand alone", strips(1, two).Short(284, {2}), 0xA},
      {"tiles", TiffDirectory().Long(256, {32}).Short(259, {1}).Short(322, {16}).Tiles(two), 1},
      {"tiles in planes", TiffDirectory().Long(256, {32}).Short(322, {16}).Tiles(two).Short(284, {2}), 9},
      {"tiles as wide as the image", TiffDirectory().Long(256, {16}).Short(259, {5}).Short(322, {16}).Tiles(two), 3},
      {"the table met last counts", TiffDirectory().Long(256, {8}).Strips(three).RawWord(325, 4, 1, 1), 0},
      {"whole value words count", strips(1, two).RawWord(259, 3, 3, 8), 3},
  };
  for (const LayoutCase& test : cases) {
    TiffBuilder file(GetParam());
    file.AddPage(test.page);
    EXPECT_EQ(FlagsOf(test.page), test.flags) << test.what;
  }
}

TEST_P(RawPages, TagDataTypeIsTheClassInAPage) {
  TifTagRecord record = {330, 4, 3, 0, nullptr, 0};
  uint32_t size = 0;
  EXPECT_EQ(Vx_GetTIFTagDataType(&record, &size), kTagClassSubDirectory);
  EXPECT_EQ(size, 3u);
  EXPECT_EQ(Vx_GetTIFTagDataType(&record, nullptr), kTagClassSubDirectory);
  record = {700, 3, 2, 0, nullptr, 0};
  EXPECT_EQ(Vx_GetTIFTagDataType(&record, &size), kTagClassInline);
  EXPECT_EQ(size, 4u);
  EXPECT_EQ(Vx_GetTIFTagDataType(nullptr, &size), -1);
}

// --- palettes -------------------------------------------------------------------------------------------------------

struct Palette {
  int32_t result = 0;
  uint32_t count = 0xAAAAAAAA;
  VxGlobalHandle handle = 0xAAAAAAAA;
  std::vector<std::array<int, 4>> colors; // blue, green, red, reserved
};

Palette PaletteOf(FileOrder order, const TiffDirectory& page) {
  TiffBuilder file(order);
  file.AddPage(page);
  RawFile raw(file.Build());
  TifDirectory* block = nullptr;
  uint32_t flags = 0;
  EXPECT_EQ(Vx_GetTIFPage(&raw.file, 1, &block, &flags), kResultOk);
  Palette palette;
  palette.result = Vx_GetTIFPalette(&raw.file, block, &palette.count, &palette.handle);
  if (palette.result == kResultOk && palette.handle != 0) {
    const auto* colors = static_cast<const uint8_t*>(krnGlobalPointer(palette.handle));
    for (size_t i = 0; i < 256; ++i) {
      palette.colors.push_back({colors[4 * i], colors[4 * i + 1], colors[4 * i + 2], colors[4 * i + 3]});
    }
    krnGlobalFree(palette.handle, __LINE__, "test");
  }
  Vx_FreeTIFPage(block);
  return palette;
}

using Color = std::array<int, 4>;
constexpr Color kClear = {0, 0, 0, 0};

TEST_P(RawPages, PageThatNeedsNoPaletteHasNone) {
  const Palette palette = PaletteOf(GetParam(), TiffDirectory().Short(258, {8, 8, 8}).Short(262, {2}));
  EXPECT_EQ(palette.result, kResultOk);
  EXPECT_EQ(palette.count, 0u);
  EXPECT_EQ(palette.handle, 0u);
}

TEST_P(RawPages, GrayPagesGetTheRampOfTheirDepth) {
  const Palette bilevel = PaletteOf(GetParam(), TiffDirectory().Short(258, {1}).Short(262, {0}));
  EXPECT_EQ(bilevel.count, 2u);
  EXPECT_EQ(bilevel.colors[0], (Color{255, 255, 255, 0}));
  EXPECT_EQ(bilevel.colors[1], kClear);
  EXPECT_EQ(bilevel.colors[2], kClear);
  const Palette gray = PaletteOf(GetParam(), TiffDirectory().Short(258, {2}).Short(262, {1}));
  EXPECT_EQ(gray.count, 4u);
  EXPECT_EQ(gray.colors[1], (Color{85, 85, 85, 0}));
  EXPECT_EQ(gray.colors[3], (Color{255, 255, 255, 0}));
  const Palette deep = PaletteOf(GetParam(), TiffDirectory().Short(258, {16}).Short(262, {1}));
  EXPECT_EQ(deep.count, 256u);
  EXPECT_EQ(deep.colors[128], (Color{128, 128, 128, 0}));
}

TEST_P(RawPages, DepthsWithoutARampKeepAClearPalette) {
  // Nothing known of the page: depth 0, white first, one level.
  const Palette zero = PaletteOf(GetParam(), TiffDirectory().Long(256, {1}));
  EXPECT_EQ(zero.count, 1u);
  EXPECT_EQ(zero.colors[0], kClear);
  const Palette deep = PaletteOf(GetParam(), TiffDirectory().Short(258, {32}).Short(262, {1}));
  EXPECT_EQ(deep.count, 0u);
  EXPECT_EQ(deep.handle, 0u);
}

TEST_P(RawPages, WideColorMapGivesItsHighBytes) {
  const Palette palette = PaletteOf(
      GetParam(), TiffDirectory().Short(258, {1}).Short(262, {3}).Short(320, {0x1234, 0x5678, 0x9ABC, 1, 2, 0xFFFF}));
  EXPECT_EQ(palette.count, 2u);
  EXPECT_EQ(palette.colors[0], (Color{0x00, 0x9A, 0x12, 0}));
  EXPECT_EQ(palette.colors[1], (Color{0xFF, 0x00, 0x56, 0}));
  EXPECT_EQ(palette.colors[2], kClear);
}

TEST_P(RawPages, NarrowColorMapGivesItsLowBytes) {
  const Palette palette =
      PaletteOf(GetParam(), TiffDirectory().Short(258, {1}).Short(262, {2}).Short(320, {10, 20, 30, 40, 50, 255}));
  EXPECT_EQ(palette.colors[0], (Color{50, 30, 10, 0}));
  EXPECT_EQ(palette.colors[1], (Color{255, 40, 20, 0}));
}

TEST_P(RawPages, IdentityColorMapIsARampThatNeverReachesWhite) {
  std::vector<uint16_t> identity(768);
  for (size_t i = 0; i < identity.size(); ++i) {
    identity[i] = static_cast<uint16_t>(i);
  }
  const Palette palette = PaletteOf(GetParam(), TiffDirectory().Short(258, {8}).Short(262, {3}).Short(320, identity));
  EXPECT_EQ(palette.count, 256u);
  EXPECT_EQ(palette.colors[0], kClear);
  EXPECT_EQ(palette.colors[100], (Color{99, 99, 99, 0}));
  EXPECT_EQ(palette.colors[255], (Color{254, 254, 254, 0}));
}

TEST_P(RawPages, ColorMapOfOtherPhotometricsIsNotRead) {
  const TiffDirectory page = TiffDirectory().Short(258, {1}).Short(262, {1}).Short(320, {1, 2, 3, 4, 5, 6});
  EXPECT_EQ(PaletteOf(GetParam(), page).colors[1], (Color{255, 255, 255, 0})) << "the ramp";
}

TEST_P(RawPages, ColorMapLongerThanAPaletteIsCut) {
  std::vector<uint16_t> map(3 * 300, 0x4000);
  map[3 * 300 - 1] = 0;
  const Palette palette = PaletteOf(GetParam(), TiffDirectory().Short(258, {8}).Short(262, {3}).Short(320, map));
  EXPECT_EQ(palette.count, 256u);
  EXPECT_EQ(palette.colors[255], (Color{0x40, 0x40, 0x40, 0}));
}

TEST_P(RawPages, FourBitCmykPageGetsSixteenInks) {
  const Palette palette = PaletteOf(GetParam(), TiffDirectory().Short(258, {4}).Short(262, {5}));
  EXPECT_EQ(palette.count, 16u);
  EXPECT_EQ(palette.colors[0], (Color{255, 255, 255, 0}));
  EXPECT_EQ(palette.colors[1], kClear);
  EXPECT_EQ(palette.colors[2], (Color{0, 255, 255, 0}));
  EXPECT_EQ(palette.colors[4], (Color{255, 0, 255, 0}));
  EXPECT_EQ(palette.colors[8], (Color{255, 255, 0, 0}));
  EXPECT_EQ(palette.colors[15], kClear);
  EXPECT_EQ(palette.colors[16], kClear);
  EXPECT_EQ(PaletteOf(GetParam(), TiffDirectory().Short(258, {8}).Short(262, {5})).count, 0u);
}

TEST_P(RawPages, ShortColorMapIsAReadFailureThatKeepsTheCount) {
  TiffBuilder file(GetParam());
  file.AddPage().Short(258, {8}).Short(262, {3}).Short(320, std::vector<uint16_t>(6, 1));
  RawFile raw(file.Build());
  TifDirectory* block = nullptr;
  uint32_t flags = 0;
  ASSERT_EQ(Vx_GetTIFPage(&raw.file, 1, &block, &flags), kResultOk);
  uint32_t count = 77;
  VxGlobalHandle palette = 0;
  for (uint32_t values : {300u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    block->records[2].count = values;
    EXPECT_EQ(Vx_GetTIFPalette(&raw.file, block, &count, &palette), kResultReadFailed) << values;
    EXPECT_EQ(count, 77u);
    EXPECT_NE(palette, 0u) << "the stale handle";
    EXPECT_EQ(krnGlobalPointer(palette), nullptr);
  }
  block->records[2].count = 6;
  {
    IoFaults faults;
    faults.Fail(IoCall::kSeek, 1);
    EXPECT_EQ(Vx_GetTIFPalette(&raw.file, block, &count, &palette), kResultSeekFailed);
  }
  for (uint64_t nth = 1; nth <= 3; ++nth) { // the page, the palette, the map's values
    AllocFaults faults(nth);
    EXPECT_EQ(Vx_GetTIFPalette(&raw.file, block, &count, &palette), kResultNoMemory) << nth;
  }
  block->records[2].count = 6;
  EXPECT_EQ(Vx_GetTIFPalette(&raw.file, block, &count, &palette), kResultOk);
  EXPECT_EQ(count, 2u);
  krnGlobalFree(palette, __LINE__, "test");
  Vx_FreeTIFPage(block);
}

TEST_P(RawPages, PaletteTestsItsArgumentsInOrder) {
  RawFile raw(Pages({11}));
  TifDirectory* block = nullptr;
  uint32_t flags = 0;
  ASSERT_EQ(Vx_GetTIFPage(&raw.file, 1, &block, &flags), kResultOk);
  uint32_t count = 0;
  VxGlobalHandle palette = 0;
  EXPECT_EQ(Vx_GetTIFPalette(nullptr, nullptr, nullptr, nullptr), kResultNullPointer);
  TifFile wrong = raw.file;
  wrong.structSize = 47;
  EXPECT_EQ(Vx_GetTIFPalette(&wrong, nullptr, nullptr, nullptr), kResultStructSize);
  EXPECT_EQ(Vx_GetTIFPalette(&raw.file, nullptr, &count, &palette), kResultNullPointer);
  EXPECT_EQ(Vx_GetTIFPalette(&raw.file, block, nullptr, &palette), kResultNullPointer);
  EXPECT_EQ(Vx_GetTIFPalette(&raw.file, block, &count, nullptr), kResultNullPointer);
  EXPECT_EQ(Vx_GetTIFPalette(&raw.file, block, &count, &palette), kResultOk);
  krnGlobalFree(palette, __LINE__, "test");
  Vx_FreeTIFPage(block);
  EXPECT_EQ(Vx_FreeTIFPage(nullptr), kResultOk);
}

} // namespace
