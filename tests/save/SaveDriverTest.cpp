// The save driver: its checks and their order, the pages that it adds to a file, and what a failed save leaves behind.

#include <filesystem>
#include <map>
#include <tuple>

#include <gtest/gtest.h>

#include "Tif_lzw/PlainLzw.h"
#include "save/SaveFixture.h"
#include "support/KernelGuard.h"

namespace {

RowService GrayRows(int32_t width, int32_t height, std::vector<FileBytes> rows, int32_t bits = 8) {
  RowService service(width, height, bits, std::move(rows));
  service.bitmap.order = service.descriptor.order = kOrderGray;
  return service;
}

RowService ColorRows(int32_t width, int32_t height, std::vector<FileBytes> rows, int32_t bits = 24) {
  RowService service(width, height, bits, std::move(rows));
  service.bitmap.order = service.descriptor.order = kOrderBlueFirst;
  return service;
}

constexpr FileOrder kLittle = FileOrder::kLittle;

WrittenPage GrayPageOf(const FileBytes& pixels, uint32_t subfileType, uint32_t pageIndex, uint32_t nextOffset = 0) {
  PageForm form = {2, 2, {8}, 1, 1, 2};
  form.subfileType = subfileType;
  form.pageIndex = pageIndex;
  WrittenPage page = Page(form, {pixels});
  page.nextOffset = nextOffset;
  return page;
}

constexpr uint32_t kPlainEntries = 16;
uint32_t NextWordOf(uint32_t directory) {
  return directory + 2 + kPlainEntries * 12;
}

// A page of 2 by 2 grey pixels takes 198 bytes of directory, 16 of resolutions and 4 of pixels.
constexpr uint32_t kPlainPageBytes = 2 + kPlainEntries * 12 + 4 + 16 + 4;

struct RefusalCase {
  const char* name;
  int32_t format;
  int32_t bits;
  bool noBitmap;
  int32_t width;
  int32_t height;
  int32_t result;
  int32_t formatAfter;
};

const RefusalCase kRefusals[] = {
    {"140", 140, 8, false, 2, 2, -16, 140},
    {"162", 162, 1, false, 2, 2, -16, 162},
    {"176", 176, 8, false, 2, 2, -16, 176},
    {"176 before its depth is looked at", 176, 9, false, 2, 2, -16, 176},
    {"162 before its depth is looked at", 162, 9, false, 2, 2, -16, 162},
    {"unknown format", 999, 8, false, 2, 2, -16, 999},
    {"unknown format behind its depth", 999, 9, false, 2, 2, -27, 999},
    {"depth 0", 3, 0, false, 2, 2, -27, 3},
    {"depth -8", 3, -8, false, 2, 2, -27, 3},
    {"depth 9", 3, 9, false, 2, 2, -27, 3},
    {"depth 15", 17, 15, false, 2, 2, -27, 17},
    {"depth 33", 87, 33, false, 2, 2, -27, 87},
    {"depth 128", 3, 128, false, 2, 2, -27, 3},
    {"CMYK of 8 bits", 85, 8, false, 2, 2, -27, 85},
    {"CMYK of 16 bits", 86, 16, false, 2, 2, -27, 86},
    {"CMYK of 12 bits", 88, 12, false, 2, 2, -27, 88},
    {"CMYK depth before the bitmap", 85, 8, true, 2, 2, -27, 85},
    {"YCbCr of 32 bits", 93, 32, false, 2, 2, -27, 93},
    {"YCbCr of 8 bits", 94, 8, false, 2, 2, -27, 94},
    {"YCbCr of 48 bits", 95, 48, false, 2, 2, -27, 95},
    {"Exif of 16 bits", 96, 16, false, 2, 2, -27, 96},
    {"Exif of 32 bits", 96, 32, false, 2, 2, -27, 96},
    {"Exif YCbCr of 8 bits", 97, 8, false, 2, 2, -27, 97},
    {"no bitmap", 3, 8, true, 2, 2, -2, 3},
    {"no bitmap, after the format is rewritten", 86, 24, true, 2, 2, -2, 17},
    {"no bitmap on the fax way, before its depth", 29, 8, true, 2, 2, -2, 29},
    {"no bitmap of GeoTIFF at 32 bits, asked about before it is tested", 174, 32, true, 2, 2, -2, 3},
    {"width 0", 87, 8, false, 0, 2, -11, 87},
    {"width 0 of a fax page, before its depth", 27, 8, false, 0, 2, -11, 27},
    {"height 0", 3, 8, false, 2, 0, -11, 3},
    {"height 0 of tiles", 17, 24, false, 2, 0, -11, 17},
    {"height below 0", 3, 8, false, 2, -5, -11, 3},
    {"group 3 of 8 bits", 27, 8, false, 2, 2, -27, 27},
    {"group 3 two-dimensional of 24 bits", 28, 24, false, 2, 2, -27, 28},
    {"group 4 of 2 bits", 29, 2, false, 2, 2, -27, 29},
    {"run length of 4 bits", 25, 4, false, 2, 2, -27, 25},
    {"variant file of 8 bits", 131, 8, false, 2, 2, -27, 131},
};

TEST(SaveRefusals, LeaveTheFileAndTheServiceAlone) {
  const FileBytes before = {'k', 'e', 'p', 't'};
  for (const RefusalCase& test : kRefusals) {
    KernelGuard guard;
    RowService service = GrayRows(2, 2, {{1, 2}, {3, 4}});
    service.bitmap.width = test.width;
    service.bitmap.height = test.height;
    TempFile file(before);
    SaveJob job(test.format, test.bits, &service, file.Name());
    if (test.noBitmap) {
      job.request.bitmap = nullptr;
    }
    EXPECT_EQ(test.result, job.Run()) << test.name;
    EXPECT_EQ(test.formatAfter, +job.request.fileFormat) << test.name;
    EXPECT_EQ(before, file.Read()) << test.name;
    EXPECT_EQ(0u, service.starts) << test.name;
  }
}

TEST(SaveRefusals, NullRequestIsMinus13) {
  EXPECT_EQ(kResultInvalidParameter, fltSave(nullptr));
}

TEST(SaveOptions, NullOptionsReadAsZeros) {
  for (int32_t format : {3, 17, 93, 96, 97, 29, 131, 139, 178}) {
    KernelGuard guard;
    const int32_t bits = format == 29 || format == 131 ? 1 : 24;
    RowService service = ColorRows(2, 1, {{1, 2, 3, 4, 5, 6}}, bits);
    TifCommentBlock comments = {};
    TempFile file;
    SaveJob zeros(format, bits, &service, file.Name());
    zeros.options.structSize = 0;
    zeros.request.comments = &comments;
    const int32_t result = zeros.Run();
    const FileBytes expected = file.Exists() ? file.Read() : FileBytes{};
    SaveJob job(format, bits, &service, file.Name());
    job.request.fileOptions = nullptr;
    job.request.comments = &comments;
    EXPECT_EQ(result, job.Run()) << format;
    EXPECT_EQ(expected, file.Exists() ? file.Read() : FileBytes{}) << format;
    EXPECT_EQ(nullptr, +job.request.fileOptions) << format;
  }
}

TEST(SaveRefusals, BareStreamWithoutRowsIsItsEndCode) {
  RowService service = GrayRows(2, 0, {});
  TempFile file;
  SaveJob job(178, 8, &service, file.Name());
  EXPECT_EQ(kResultOk, job.Run());
  EXPECT_EQ((FileBytes{0x80, 0x80}), file.Read()); // 257 in 9 bits
}

struct FlagCase {
  const char* name;
  int32_t format;
  int32_t bits;
  int32_t bitmapBits;
  uint32_t order;
  uint32_t flags; // of the caller
  uint32_t atStart;
  uint32_t atRows;
};

const FlagCase kFlags[] = {
    {"8 bits, palette", 3, 8, 8, 0, 0, 0x8000, 0x8000},
    {"8 bits grey", 3, 8, 8, 2, 0, 0xC000, 0xC000},
    {"16 bits grey", 3, 16, 16, 2, 0, 0xC000, 0xC000},
    {"16 bits colour", 3, 16, 16, 1, 0, 0x9000, 0x9000},
    {"16 bits colour saved as grey", 3, 16, 16, 1, 8, 0xC008, 0xC008},
    {"24 bits red first", 3, 24, 24, 0, 0, 0x8000, 0x8000},
    {"24 bits blue first is direct", 3, 24, 24, 1, 0, 0x8000, 0x8400},
    {"32 bits blue first is direct", 3, 32, 32, 1, 0, 0x8000, 0x8400},
    {"48 bits blue first is direct", 3, 48, 48, 1, 0, 0x8000, 0x8400},
    {"64 bits blue first is direct", 3, 64, 64, 1, 0, 0x8000, 0x8400},
    {"24 from 8 bits is not", 3, 24, 8, 1, 0, 0x8000, 0x8000},
    {"8 bits blue first is not", 3, 8, 8, 1, 0, 0x8000, 0x8000},
    {"CMYK wants blue first", 85, 24, 24, 1, 0, 0x9000, 0x9400},
    {"CMYK of a grey bitmap is no grey page", 85, 24, 24, 2, 8, 0x9008, 0x9008},
    {"YCbCr of a grey bitmap is no grey page", 93, 24, 24, 2, 0, 0x9000, 0x9000},
    {"append stays", 3, 8, 8, 0, 4, 0x8004, 0x8004},
};

TEST(SaveDriver, FlagsForTheRowService) {
  for (const FlagCase& test : kFlags) {
    KernelGuard guard;
    RowService service(2, 1, test.bits, {{1, 2, 3}});
    service.bitmap.bitsPerPixel = test.bitmapBits;
    service.bitmap.order = test.order;
    service.descriptor.order = test.order;
    TempFile file;
    SaveJob job(test.format, test.bits, &service, file.Name());
    job.request.flags = test.flags;
    ASSERT_EQ(kResultOk, job.Run()) << test.name;
    EXPECT_EQ(test.atStart, service.seenAtStart) << test.name;
    ASSERT_EQ(1u, service.rowFlags.size()) << test.name;
    EXPECT_EQ(test.atRows, service.rowFlags[0]) << test.name;
    EXPECT_EQ(test.atRows, +job.request.flags) << test.name; // the caller sees them
    EXPECT_EQ(test.bits, service.bitsAtStart);
    EXPECT_FALSE(service.bufferAsked);
  }
}

TEST(SaveDriver, FlagsThatTheServiceLeavesReachTheRows) {
  RowService service = ColorRows(1, 1, {{1, 2, 3}});
  service.changesFlags = true;
  service.flagsAtStart = 0x70;
  TempFile file;
  SaveJob job(3, 24, &service, file.Name());
  ASSERT_EQ(kResultOk, job.Run());
  EXPECT_EQ((std::vector<uint32_t>{0x470}), service.rowFlags);
}

TEST(SaveDriver, FlagsThatTheServiceLeavesAtTheEndReachTheCaller) {
  RowService service = ColorRows(1, 1, {{1, 2, 3}});
  service.flagsAtEnd = 0x100000;
  TempFile file;
  SaveJob job(3, 24, &service, file.Name());
  ASSERT_EQ(kResultOk, job.Run());
  EXPECT_EQ(0x108400u, +job.request.flags);
}

// Value words of a directory, by tag.
std::map<uint16_t, uint32_t> Directory(const FileBytes& file, FileOrder order, uint32_t offset) {
  std::map<uint16_t, uint32_t> entries;
  const uint16_t count = GetU16(file, offset, order);
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t at = offset + 2 + i * 12;
    const bool isShort = GetU16(file, at + 2, order) == kTypeShort && GetU32(file, at + 4, order) == 1;
    entries[GetU16(file, at, order)] = isShort ? GetU16(file, at + 8, order) : GetU32(file, at + 8, order);
  }
  return entries;
}

uint32_t NextDirectory(const FileBytes& file, FileOrder order, uint32_t offset) {
  return GetU32(file, offset + 2 + GetU16(file, offset, order) * 12u, order);
}

TEST(SaveDriver, Gray16IsPhotometric1AndColour16Is2) {
  for (uint32_t order : {kOrderGray, kOrderBlueFirst, kOrderRedFirst}) {
    RowService service(1, 1, 16, {{1, 2}});
    service.bitmap.order = service.descriptor.order = order;
    TempFile file;
    SaveJob job(3, 16, &service, file.Name());
    ASSERT_EQ(kResultOk, job.Run());
    EXPECT_EQ(order == kOrderGray ? 1u : 2u, Directory(file.Read(), kLittle, 8)[262]);
  }
}

TEST(SaveDriver, LevelRangeOfAGreySaveIsRepairedInTheCallersBitmap) {
  RowService service = GrayRows(1, 1, {{1, 2}}, 16);
  service.bitmap.lowBit = -1;
  service.bitmap.highBit = -1;
  TempFile file;
  SaveJob job(3, 16, &service, file.Name());
  ASSERT_EQ(kResultOk, job.Run());
  EXPECT_EQ(0, +service.bitmap.lowBit);
  EXPECT_EQ(15, +service.bitmap.highBit);
}

TEST(SaveDriver, LevelRangeIsRepairedByTheBitmapsOwnDepth) {
  RowService service = GrayRows(1, 1, {{1}});
  service.bitmap.bitsPerPixel = 12;
  service.bitmap.highBit = -1;
  TempFile file;
  SaveJob job(3, 8, &service, file.Name());
  ASSERT_EQ(kResultOk, job.Run());
  EXPECT_EQ(11, +service.bitmap.highBit);
}

TEST(SaveDriver, LevelRangeThatIsKnownStays) {
  RowService service = GrayRows(1, 1, {{1, 2}}, 16);
  service.bitmap.lowBit = 2;
  service.bitmap.highBit = 11;
  TempFile file;
  SaveJob job(3, 16, &service, file.Name());
  ASSERT_EQ(kResultOk, job.Run());
  EXPECT_EQ(2, +service.bitmap.lowBit);
  EXPECT_EQ(11, +service.bitmap.highBit);
}

TEST(SaveDriver, LevelRangeOfAColourSaveStays) {
  RowService service = ColorRows(1, 1, {{1, 2, 3}});
  service.bitmap.lowBit = -1;
  service.bitmap.highBit = -1;
  TempFile file;
  SaveJob job(3, 24, &service, file.Name());
  ASSERT_EQ(kResultOk, job.Run());
  EXPECT_EQ(-1, +service.bitmap.lowBit);
  EXPECT_EQ(-1, +service.bitmap.highBit);
}

TEST(SaveDriver, RepairOfTheLevelRangeOutlivesAFailedSave) {
  RowService service = GrayRows(1, 1, {{1}});
  service.bitmap.highBit = -1;
  service.startResult = -3;
  TempFile file;
  SaveJob job(3, 8, &service, file.Name());
  EXPECT_EQ(-3, job.Run());
  EXPECT_EQ(7, +service.bitmap.highBit);
}

TEST(SaveDriver, PaletteGoesOnlyWhenItsOptionMeetsAPlainRamp) {
  const struct {
    uint32_t flags;
    uint32_t order; // of the rows: grey order without pixels counts as a plain ramp
    uint32_t photometric;
  } cases[] = {{0, kOrderGray, 3}, {kSaveDropGrayPalette, kOrderGray, 1}, {kSaveDropGrayPalette, kOrderRedFirst, 3}};
  for (const auto& test : cases) {
    RowService service(1, 1, 4, {{0x10}});
    service.descriptor.order = test.order;
    TempFile file;
    SaveJob job(3, 4, &service, file.Name());
    job.options.flags = test.flags;
    ASSERT_EQ(kResultOk, job.Run());
    auto entries = Directory(file.Read(), kLittle, 8);
    EXPECT_EQ(test.photometric, entries[262]);
    EXPECT_EQ(test.photometric == 3 ? 1u : 0u, entries.count(320));
  }
}

TEST(SaveDriver, PaletteOfEightBitsIsTheLastThatIsWritten) {
  RowService service(2, 1, 8, {{0, 255}});
  service.palette.assign(256, {1, 2, 3, 0});
  TempFile file;
  SaveJob job(3, 8, &service, file.Name());
  ASSERT_EQ(kResultOk, job.Run());
  auto entries = Directory(file.Read(), kLittle, 8);
  EXPECT_EQ(3u, entries[262]);
  EXPECT_EQ(1u, entries.count(320));
}

TEST(SaveDriver, PaletteOfOtherGreysThanAPlainRampStays) {
  KernelGuard guard;
  for (bool ramp : {true, false}) {
    BitmapHandle pixels; // a palette needs pixels to stand beside
    ASSERT_EQ(kResultOk, krnBitmapCreate(&pixels, kBitmapHandleSize, 1, 1, 1, 4, kOrderRedFirst, 0, 1, 0, 0));
    VxColor palette[kPaletteEntries] = {};
    for (uint8_t i = 0; i < 16; ++i) {
      const auto level = static_cast<uint8_t>(17 * (ramp ? i : 15 - i));
      palette[i] = {level, level, level, 0};
    }
    ASSERT_EQ(kResultOk, krnBitmapSetPalette(&pixels, palette, 16));
    ASSERT_EQ(ramp ? 1 : 2, krnBitmapIsGray(&pixels));
    RowService service(1, 1, 4, {{0x10}});
    service.descriptor = pixels;
    TempFile file;
    SaveJob job(3, 4, &service, file.Name());
    job.options.flags = kSaveDropGrayPalette;
    EXPECT_EQ(kResultOk, job.Run());
    EXPECT_EQ(ramp ? 1u : 3u, Directory(file.Read(), kLittle, 8)[262]);
    krnBitmapFree(&pixels);
  }
}

TEST(SaveDriver, CmykTakesItsFourDepths) {
  for (int32_t bits : {24, 32, 48, 64}) {
    KernelGuard guard;
    RowService service = ColorRows(1, 1, {{1, 2, 3, 4, 5, 6, 7, 8}}, bits);
    TempFile file;
    SaveJob job(85, bits, &service, file.Name());
    ASSERT_EQ(kResultOk, job.Run()) << bits;
    auto entries = Directory(file.Read(), kLittle, 8);
    EXPECT_EQ(5u, entries[262]) << bits;
    EXPECT_EQ(bits == 24 || bits == 48 ? 4u : 5u, entries[277]) << bits;
  }
}

TEST(SaveDriver, GeoTiffPagesAreFloatsAt16BitsAndOfGreyBitmapsAt32) {
  const struct {
    int32_t bits;
    uint32_t order;
    bool isFloat;
  } cases[] = {{1, 2, false},  {8, 2, false}, {12, 2, false}, {16, 2, true},  {16, 1, true},
               {24, 2, false}, {32, 2, true}, {32, 1, false}, {48, 2, false}, {64, 2, false}};
  for (const auto& test : cases) {
    KernelGuard guard;
    RowService service(1, 1, test.bits, {{1, 2, 3, 4, 5, 6, 7, 8}});
    service.bitmap.order = service.descriptor.order = test.order;
    TempFile file(NewFile(kLittle, GrayPageOf({1, 2, 3, 4}, 2, 0)));
    SaveJob job(174, test.bits, &service, file.Name());
    job.request.flags = kSaveRequestAppend;
    ASSERT_EQ(kResultOk, job.Run()) << test.bits;
    const FileBytes bytes = file.Read();
    auto entries = Directory(bytes, kLittle, NextDirectory(bytes, kLittle, 8));
    EXPECT_EQ(test.isFloat ? 1u : 0u, entries.count(339)) << test.bits << ", order " << test.order;
    EXPECT_EQ(1u, entries.count(34735)) << test.bits;
    EXPECT_EQ(1u, entries[259]) << test.bits;
  }
}

TEST(SaveDriver, RowResultsAbove1EndThePageWithoutBeingAFailure) {
  RowService service = GrayRows(2, 2, {{1, 2}, {3, 4}});
  service.failingRow = 1;
  service.rowResult = 2;
  TempFile file;
  SaveJob job(3, 8, &service, file.Name());
  EXPECT_EQ(2, job.Run());
  EXPECT_TRUE(file.Exists());
  EXPECT_EQ(1u, service.ends);
}

TEST(SaveDriver, StartResultAbove1IsASuccess) {
  RowService service = GrayRows(2, 2, {{1, 2}, {3, 4}});
  service.startResult = 7;
  TempFile file;
  SaveJob job(3, 8, &service, file.Name());
  EXPECT_EQ(kResultOk, job.Run());
}

FileBytes TwoPages() {
  FileBytes file = NewFile(kLittle, GrayPageOf({1, 2, 3, 4}, 2, 0));
  AppendPage(file, kLittle, GrayPageOf({5, 6, 7, 8}, 2, 1), NextWordOf(8));
  return file;
}

TEST(SavePages, FirstPageStartsANewFileWhateverStoodThere) {
  for (int32_t number : {0, 1, -1}) {
    KernelGuard guard;
    RowService service = GrayRows(2, 2, {{1, 2}, {3, 4}});
    TempFile file(TwoPages());
    SaveJob job(3, 8, &service, file.Name());
    job.options.flags = kSaveDropGrayPalette;
    job.options.pageNumber = number;
    ASSERT_EQ(kResultOk, job.Run());
    EXPECT_EQ(NewFile(kLittle, GrayPageOf({1, 2, 3, 4}, 0, 0)), file.Read());
  }
}

TEST(SavePages, AppendedPageIsLinkedAndBothPagesAreMarked) {
  KernelGuard guard;
  TempFile file;
  RowService first = GrayRows(2, 2, {{1, 2}, {3, 4}});
  SaveJob one(3, 8, &first, file.Name());
  one.options.flags = kSaveDropGrayPalette;
  ASSERT_EQ(kResultOk, one.Run());
  RowService second = GrayRows(2, 2, {{5, 6}, {7, 8}});
  SaveJob two(3, 8, &second, file.Name());
  two.options.flags = kSaveDropGrayPalette | kSaveReplacePage | kSaveInsertPage;
  two.request.flags = kSaveRequestAppend;
  ASSERT_EQ(kResultOk, two.Run());
  EXPECT_EQ(TwoPages(), file.Read());
  EXPECT_EQ(uint32_t{kSaveDropGrayPalette}, +two.options.flags); // appending clears the two bits
}

TEST(SavePages, AppendKeepsTheByteOrderOfTheFile) {
  KernelGuard guard;
  TempFile file;
  FileBytes expected = NewFile(FileOrder::kBig, GrayPageOf({1, 2, 3, 4}, 2, 0));
  AppendPage(expected, FileOrder::kBig, GrayPageOf({5, 6, 7, 8}, 2, 1), NextWordOf(8));
  RowService first = GrayRows(2, 2, {{1, 2}, {3, 4}});
  SaveJob one(3, 8, &first, file.Name());
  one.options.flags = kSaveDropGrayPalette | kSaveBigEndian;
  ASSERT_EQ(kResultOk, one.Run());
  RowService second = GrayRows(2, 2, {{5, 6}, {7, 8}});
  SaveJob two(3, 8, &second, file.Name());
  two.options.flags = kSaveDropGrayPalette;
  two.options.pageNumber = 2;
  ASSERT_EQ(kResultOk, two.Run());
  EXPECT_EQ(expected, file.Read());
}

TEST(SavePages, AppendedLzwPageHasItsTablesPatched) {
  KernelGuard guard;
  TempFile file;
  RowService first = GrayRows(2, 2, {{1, 2}, {3, 4}});
  SaveJob one(3, 8, &first, file.Name());
  one.options.flags = kSaveDropGrayPalette;
  ASSERT_EQ(kResultOk, one.Run());
  std::vector<FileBytes> rows(3, FileBytes(5000, 9));
  RowService second = GrayRows(5000, 3, rows);
  SaveJob two(17, 8, &second, file.Name());
  two.options.flags = kSaveDropGrayPalette;
  two.request.flags = kSaveRequestAppend;
  ASSERT_EQ(kResultOk, two.Run());
  PlainEncoder encoder;
  encoder.Encode(rows[0].data(), rows[0].size());
  encoder.End();
  PageForm form = {5000, 3, {8}, 5, 1, 1};
  form.subfileType = 2;
  form.pageIndex = 1;
  FileBytes expected = NewFile(kLittle, GrayPageOf({1, 2, 3, 4}, 2, 0));
  AppendPage(expected, kLittle, Page(form, {encoder.bytes, encoder.bytes, encoder.bytes}), NextWordOf(8));
  EXPECT_EQ(expected, file.Read());
}

TEST(SavePages, InsertedPagePointsAtTheOneItGoesInFrontOf) {
  KernelGuard guard;
  TempFile file(TwoPages());
  RowService service = GrayRows(2, 2, {{9, 9}, {9, 9}});
  SaveJob job(3, 8, &service, file.Name());
  job.options.flags = kSaveDropGrayPalette | kSaveInsertPage;
  job.options.pageNumber = 2;
  ASSERT_EQ(kResultOk, job.Run());
  const uint32_t second = 8 + kPlainPageBytes;
  FileBytes expected = NewFile(kLittle, GrayPageOf({1, 2, 3, 4}, 2, 0));
  AppendPage(expected, kLittle, GrayPageOf({5, 6, 7, 8}, 2, 2), NextWordOf(8)); // its number went up
  AppendPage(expected, kLittle, GrayPageOf({9, 9, 9, 9}, 2, 1, second), NextWordOf(8));
  EXPECT_EQ(expected, file.Read());
  EXPECT_EQ(uint32_t{kSaveDropGrayPalette | kSaveInsertPage}, +job.options.flags);
}

TEST(SavePages, ReplacedPageStaysBehindUnreachable) {
  KernelGuard guard;
  TempFile file(TwoPages());
  RowService service = GrayRows(2, 2, {{9, 9}, {9, 9}});
  SaveJob job(3, 8, &service, file.Name());
  job.options.flags = kSaveDropGrayPalette | kSaveReplacePage;
  job.options.pageNumber = 1;
  ASSERT_EQ(kResultOk, job.Run());
  const uint32_t second = 8 + kPlainPageBytes;
  FileBytes expected = TwoPages();
  AppendPage(expected, kLittle, GrayPageOf({9, 9, 9, 9}, 2, 0, second), 4);
  EXPECT_EQ(expected, file.Read());
}

TEST(SavePages, PageBehindTheEndIsAppendedAndTheBitsComeBackCleared) {
  for (uint32_t bit : {uint32_t{kSaveInsertPage}, uint32_t{kSaveReplacePage}}) {
    KernelGuard guard;
    TempFile file(NewFile(kLittle, GrayPageOf({1, 2, 3, 4}, 0, 0)));
    RowService service = GrayRows(2, 2, {{5, 6}, {7, 8}});
    SaveJob job(3, 8, &service, file.Name());
    job.options.flags = kSaveDropGrayPalette | bit;
    job.options.pageNumber = 10;
    ASSERT_EQ(kResultOk, job.Run());
    EXPECT_EQ(TwoPages(), file.Read());
    EXPECT_EQ(uint32_t{kSaveDropGrayPalette}, +job.options.flags);
  }
}

TEST(SavePages, OddFileGetsOneZeroByte) {
  KernelGuard guard;
  FileBytes odd = NewFile(kLittle, GrayPageOf({1, 2, 3, 4}, 2, 0));
  odd.push_back(0xEE);
  TempFile file(odd);
  RowService service = GrayRows(2, 2, {{5, 6}, {7, 8}});
  SaveJob job(3, 8, &service, file.Name());
  job.options.flags = kSaveDropGrayPalette;
  job.request.flags = kSaveRequestAppend;
  ASSERT_EQ(kResultOk, job.Run());
  FileBytes expected = odd;
  AppendPage(expected, kLittle, GrayPageOf({5, 6, 7, 8}, 2, 1), NextWordOf(8));
  EXPECT_EQ(expected, file.Read());
}

TEST(SavePages, FileThatIsNoTiffIsOverwritten) {
  KernelGuard guard;
  TempFile file(FileBytes(5000, 'x'));
  RowService service = GrayRows(2, 2, {{1, 2}, {3, 4}});
  SaveJob job(3, 8, &service, file.Name());
  job.options.flags = kSaveDropGrayPalette;
  job.request.flags = kSaveRequestAppend;
  ASSERT_EQ(kResultOk, job.Run());
  EXPECT_EQ(NewFile(kLittle, GrayPageOf({1, 2, 3, 4}, 0, 0)), file.Read());
}

TEST(SavePages, FileWithABrokenChainIsMinus7AndStays) {
  KernelGuard guard;
  FileBytes broken = {'I', 'I', 42, 0, 0, 1, 0, 0, 0, 0}; // a first directory at 256 of 10 bytes
  TempFile file(broken);
  RowService service = GrayRows(2, 2, {{1, 2}, {3, 4}});
  SaveJob job(3, 8, &service, file.Name());
  job.request.flags = kSaveRequestAppend;
  EXPECT_EQ(kResultReadFailed, job.Run());
  EXPECT_EQ(broken, file.Read());
  EXPECT_EQ(0u, service.starts);
}

TEST(SaveFailures, FileThatCannotBeCreatedIsMinus14) {
  KernelGuard guard;
  RowService service = GrayRows(2, 2, {{1, 2}, {3, 4}});
  SaveJob job(3, 8, &service, u"/nowhere at all/file.tif");
  EXPECT_EQ(kResultCreateFailed, job.Run());
  EXPECT_EQ(0u, service.starts);
}

TEST(SaveFailures, FailedStartDeletesANewFile) {
  KernelGuard guard;
  RowService service = GrayRows(2, 2, {{1, 2}, {3, 4}});
  service.startResult = -44;
  TempFile file;
  SaveJob job(3, 8, &service, file.Name());
  EXPECT_EQ(-44, job.Run());
  EXPECT_FALSE(file.Exists());
  EXPECT_EQ(0u, service.ends);
  service.startResult = 0; // below 1 as well
  EXPECT_EQ(0, job.Run());
  EXPECT_FALSE(file.Exists());
}

TEST(SaveFailures, FailedStartOfAnAppendedPageLeavesTheLinkAtTheEnd) {
  // There is no directory yet that could be unlinked.
  KernelGuard guard;
  TempFile file(NewFile(kLittle, GrayPageOf({1, 2, 3, 4}, 2, 0)));
  FileBytes expected = file.Read();
  PutU32(expected, NextWordOf(8), kLittle, static_cast<uint32_t>(expected.size()));
  RowService service = GrayRows(2, 2, {{1, 2}, {3, 4}});
  service.startResult = -44;
  SaveJob job(3, 8, &service, file.Name());
  job.request.flags = kSaveRequestAppend;
  EXPECT_EQ(-44, job.Run());
  EXPECT_EQ(expected, file.Read());
}

TEST(SaveFailures, FailedRowDeletesANewFile) {
  for (int32_t format : {3, 17, 87}) {
    KernelGuard guard;
    RowService service = GrayRows(2, 2, {{1, 2}, {3, 4}});
    service.failingRow = 1;
    TempFile file;
    SaveJob job(format, 8, &service, file.Name());
    EXPECT_EQ(-99, job.Run());
    EXPECT_FALSE(file.Exists());
    EXPECT_EQ(1u, service.ends);
  }
}

TEST(SaveFailures, FailedRowUnlinksAnAppendedPage) {
  KernelGuard guard;
  const FileBytes before = NewFile(kLittle, GrayPageOf({1, 2, 3, 4}, 2, 0));
  TempFile file(before);
  RowService service = GrayRows(2, 2, {{5, 6}, {7, 8}});
  service.failingRow = 1;
  SaveJob job(3, 8, &service, file.Name());
  job.options.flags = kSaveDropGrayPalette;
  job.request.flags = kSaveRequestAppend;
  EXPECT_EQ(-99, job.Run());
  FileBytes after = file.Read();
  ASSERT_LT(before.size(), after.size()); // the bytes of the page given up
  after.resize(before.size());
  EXPECT_EQ(before, after);
}

TEST(SaveFailures, FailedRowOfAReplacementDoesNotBringTheOldPageBack) {
  KernelGuard guard;
  TempFile file(TwoPages());
  RowService service = GrayRows(2, 2, {{5, 6}, {7, 8}});
  service.failingRow = 0;
  SaveJob job(3, 8, &service, file.Name());
  job.options.flags = kSaveDropGrayPalette | kSaveReplacePage;
  job.options.pageNumber = 2;
  EXPECT_EQ(-99, job.Run());
  const FileBytes after = file.Read();
  EXPECT_EQ(8u, GetU32(after, 4, kLittle));
  EXPECT_EQ(0u, GetU32(after, NextWordOf(8), kLittle));
}

TEST(SaveFailures, FullDiskRemovesAnUncompressedPage) {
  KernelGuard guard;
  const FileBytes before = NewFile(kLittle, GrayPageOf({1, 2, 3, 4}, 2, 0));
  TempFile file(before);
  RowService service = GrayRows(2, 2, {{5, 6}, {7, 8}});
  SaveJob job(3, 8, &service, file.Name());
  job.options.flags = kSaveDropGrayPalette;
  job.request.flags = kSaveRequestAppend;
  uint64_t writes = 0;
  {
    IoFaults faults;
    SaveJob probe(3, 8, &service, file.Name());
    probe.options.flags = kSaveDropGrayPalette;
    probe.request.flags = kSaveRequestAppend;
    ASSERT_EQ(kResultOk, probe.Run());
    writes = faults.Calls(IoCall::kWrite); // the last two are the rows
  }
  file.Write(before);
  IoFaults faults;
  faults.Shorten(IoCall::kWrite, writes - 1, 1);
  EXPECT_EQ(kResultWriteFailed, job.Run());
  EXPECT_EQ(1u, service.rowsAsked.size() - 2); // noticed at the first short row
  FileBytes after = file.Read();
  after.resize(before.size());
  EXPECT_EQ(before, after);
}

TEST(SaveFailures, FullDiskRemovesAPackBitsPageAndGoesUnnoticedUnderLzw) {
  for (int32_t format : {87, 17}) {
    KernelGuard guard;
    RowService service = GrayRows(2, 2, {{5, 6}, {7, 8}});
    TempFile file;
    SaveJob job(format, 8, &service, file.Name());
    job.options.flags = kSaveDropGrayPalette;
    uint64_t writes = 0;
    {
      IoFaults faults;
      SaveJob probe(format, 8, &service, file.Name());
      probe.options.flags = kSaveDropGrayPalette;
      ASSERT_EQ(kResultOk, probe.Run());
      writes = faults.Calls(IoCall::kWrite);
    }
    // Behind the strip come the patches of a table of one: the byte count's word alone.
    IoFaults faults;
    faults.Fail(IoCall::kWrite, writes - 1, FaultSpan::kFromThenOn);
    const int32_t result = job.Run();
    EXPECT_EQ(format == 17 ? kResultOk : kResultWriteFailed, result) << format;
    EXPECT_EQ(format == 17, file.Exists()) << format;
  }
}

TEST(SaveFailures, EveryMissingBlockIsMinus1AndLeavesNothing) {
  for (int32_t format : {3, 17, 87, 85, 93, 174, 178}) {
    const int32_t bits = format == 85 || format == 93 ? 24 : 16;
    RowService service = format == 85 || format == 93 ? ColorRows(2, 2, {{1}, {2}}) : GrayRows(2, 2, {{1}, {2}}, 16);
    uint64_t failed = 0;
    for (uint64_t nth = 1;; ++nth) {
      ASSERT_GT(100u, nth);
      KernelGuard guard;
      TempFile file;
      SaveJob job(format, bits, &service, file.Name());
      AllocFaults faults(nth);
      const int32_t result = job.Run();
      if (faults.Calls() < nth) {
        EXPECT_EQ(kResultOk, result);
        break;
      }
      if (format == 174 && result == kResultOk) {
        continue; // GeoTIFF tags that could not be packed are not reported
      }
      EXPECT_EQ(kResultNoMemory, result) << "format " << format << ", block " << nth;
      EXPECT_FALSE(file.Exists()) << "format " << format << ", block " << nth;
      ++failed;
    }
    EXPECT_LE(3u, failed) << "format " << format;
  }
}

// A folder of its own to work in, in which a file may have any name.
class WorkingFolder {
public:
  WorkingFolder() {
    std::filesystem::create_directories(folder_);
    std::filesystem::current_path(folder_);
  }
  ~WorkingFolder() {
    std::filesystem::current_path(before_);
    std::filesystem::remove_all(folder_);
  }
  WorkingFolder(const WorkingFolder&) = delete;
  WorkingFolder& operator=(const WorkingFolder&) = delete;

private:
  const std::filesystem::path before_ = std::filesystem::current_path();
  const std::filesystem::path folder_ = std::filesystem::temp_directory_path() / "vxtif-dummy-test";
};

TEST(SaveFailures, FileNamedDummyIsNeverDeleted) {
  // A failed row, start, and first Exif page, on every way that a page takes.
  const struct {
    int32_t format;
    int32_t bits;
  } cases[] = {{3, 8}, {17, 8}, {87, 8}, {178, 8}, {96, 8}, {97, 24}, {27, 1}, {25, 1}, {131, 1}, {139, 8}};
  const WorkingFolder folder;
  for (bool failsAtStart : {false, true}) {
    for (const auto& test : cases) {
      KernelGuard guard;
      RowService service = GrayRows(2, 2, {{1, 2}, {3, 4}}, test.bits);
      service.failingRow = 0;
      service.startResult = failsAtStart ? -98 : 1;
      TifCommentBlock comments = {};
      SaveJob job(test.format, test.bits, &service, u"DUMMY");
      job.request.comments = &comments;
      const int32_t result = job.Run();
      EXPECT_EQ(failsAtStart ? -98 : test.format == 139 ? -319 : -99, result) << test.format;
      EXPECT_TRUE(std::filesystem::exists("DUMMY")) << test.format << ", at the start: " << failsAtStart;
      std::filesystem::remove("DUMMY");
    }
  }
}

TEST(SaveFailures, OnlyPageOfAFileGoesWithItsFileUnlessThatIsNamedDummy) {
  // A replaced page that fails leaves no page at all.
  const WorkingFolder folder;
  for (const auto& [name, path, stays] : {std::tuple{u"DUMMY", "DUMMY", true}, std::tuple{u"OTHER", "OTHER", false},
                                          std::tuple{u"dummy", "dummy", false}}) {
    KernelGuard guard;
    RowService service = GrayRows(2, 2, {{1, 2}, {3, 4}});
    SaveJob first(3, 8, &service, name);
    ASSERT_EQ(kResultOk, first.Run());
    service.failingRow = 0;
    SaveJob job(3, 8, &service, name);
    job.options.flags = kSaveReplacePage;
    job.options.pageNumber = 1;
    EXPECT_EQ(-99, job.Run());
    EXPECT_EQ(stays, std::filesystem::exists(path)) << path;
  }
}

TEST(SaveSiblings, MissingLibraryIsItsRowsCodeAndLeavesNoFile) {
  const struct {
    int32_t format;
    int32_t result;
  } cases[] = {{139, -319}, {166, -541}, {167, -355}, {180, -822}, {186, -823}, {187, -824}};
  for (const auto& test : cases) {
    KernelGuard guard;
    RowService service = GrayRows(2, 2, {{1, 2}, {3, 4}});
    TempFile file;
    SaveJob job(test.format, 8, &service, file.Name());
    EXPECT_EQ(test.result, job.Run()) << test.format;
    EXPECT_FALSE(file.Exists());
    EXPECT_EQ(1u, service.ends);
    EXPECT_TRUE(service.rowsAsked.empty());
  }
}

TifCommentBlock NoComments() {
  TifCommentBlock comments = {};
  return comments;
}

TEST(SaveExif, StartsANewFileWithoutSubfileTypeAndPageNumber) {
  for (int32_t bits : {24, 8}) {
    KernelGuard guard;
    RowService service = bits == 24 ? ColorRows(2, 1, {{1, 2, 3, 4, 5, 6}}) : GrayRows(2, 1, {{1, 2}});
    TempFile file(TwoPages());
    TifCommentBlock comments = NoComments();
    SaveJob job(96, bits, &service, file.Name());
    job.request.comments = &comments;
    job.request.flags = kSaveRequestAppend;
    job.options.pageNumber = 5;
    job.options.flags = kSaveReplacePage | kSaveInsertPage | kSaveTiles | kSaveBigEndian;
    job.options.tileWidth = job.options.tileHeight = 16;
    ASSERT_EQ(kResultOk, job.Run());
    EXPECT_EQ(3, +job.request.fileFormat);
    EXPECT_EQ(1, +job.options.pageNumber);
    EXPECT_EQ(uint32_t{kSaveKeepPageNumbers | kSaveNoSubfileType | kSaveBigEndian}, +job.options.flags);
    const FileBytes bytes = file.Read();
    auto entries = Directory(bytes, FileOrder::kBig, 8);
    EXPECT_EQ(0u, entries.count(254));
    EXPECT_EQ(0u, entries.count(297));
    EXPECT_EQ(0u, entries.count(322));
    EXPECT_EQ(1u, entries.count(34665));
    EXPECT_EQ(0u, entries.count(34853));
    EXPECT_EQ(0u, NextDirectory(bytes, FileOrder::kBig, 8));
    // Exif version, FlashPix version, colour space.
    const auto exif = Directory(bytes, FileOrder::kBig, entries[34665]);
    ASSERT_EQ(3u, exif.size());
    EXPECT_EQ(1u, exif.count(36864) + 0);
    EXPECT_EQ(1u, exif.count(40960) + 0);
    EXPECT_EQ(1u, exif.at(40961));
  }
}

TEST(SaveExif, YCbCrFormatWritesAYCbCrPage) {
  KernelGuard guard;
  RowService service = ColorRows(2, 1, {{0, 0, 255, 0, 0, 255}});
  TempFile file;
  TifCommentBlock comments = NoComments();
  SaveJob job(97, 24, &service, file.Name());
  job.request.comments = &comments;
  ASSERT_EQ(kResultOk, job.Run());
  const FileBytes bytes = file.Read();
  auto entries = Directory(bytes, kLittle, 8);
  EXPECT_EQ(6u, entries[262]);
  EXPECT_EQ(1u, entries[259]);
  EXPECT_EQ(1u, entries.count(34665));
  EXPECT_EQ((FileBytes{76, 76, 85, 255}), FileBytes(bytes.end() - 4, bytes.end()));
}

TEST(SaveExif, WithoutCommentsItIsMinus13AndTheFileIsDeleted) {
  for (int32_t format : {96, 97}) {
    KernelGuard guard;
    RowService service = ColorRows(2, 1, {{1, 2, 3, 4, 5, 6}});
    TempFile file;
    SaveJob job(format, 24, &service, file.Name());
    EXPECT_EQ(kResultInvalidParameter, job.Run());
    EXPECT_FALSE(file.Exists());
  }
}

TEST(SaveExif, AnyResultOfTheFirstPassBut1DeletesTheFile) {
  KernelGuard guard;
  RowService service = ColorRows(2, 2, {{1, 2, 3, 4, 5, 6}, {1}});
  service.failingRow = 1;
  service.rowResult = 5;
  TempFile file;
  TifCommentBlock comments = NoComments();
  SaveJob job(96, 24, &service, file.Name());
  job.request.comments = &comments;
  job.request.stampBitmap = &service.bitmap;
  EXPECT_EQ(5, job.Run());
  EXPECT_FALSE(file.Exists());
  EXPECT_EQ(1u, service.starts); // and no stamp
}

struct ExifWithStamp {
  ExifWithStamp(int32_t format, int32_t bits, uint32_t optionFlags)
      : service(bits == 24 ? ColorRows(2, 1, {{1, 2, 3, 4, 5, 6}}) : GrayRows(2, 1, {{1, 2}})),
        stamp(bits == 24 ? ColorRows(2, 2, {{0, 0, 255, 0, 0, 255}, {255, 0, 0, 255, 0, 0}})
                         : GrayRows(2, 1, {{8, 9}})),
        comments(NoComments()), job(format, bits, &service, file.Name()) {
    service.stamp = &stamp;
    job.request.stampBitmap = &stamp.bitmap;
    job.request.comments = &comments;
    job.request.tagList = &item;
    job.options.flags = optionFlags;
  }
  RowService service;
  RowService stamp;
  TifCommentBlock comments;
  uint32_t number = 7;
  TifTagItem item = {60000, kTypeLong, 1, &number, nullptr};
  TempFile file;
  SaveJob job;
};

TEST(SaveStamp, IsASecondPageInOneStripWithoutTagsAndComments) {
  KernelGuard guard;
  ExifWithStamp save(96, 24, 0);
  ASSERT_EQ(kResultOk, save.job.Run());
  const FileBytes bytes = save.file.Read();
  auto first = Directory(bytes, kLittle, 8);
  EXPECT_EQ(7u, first[60000]);
  const uint32_t second = NextDirectory(bytes, kLittle, 8);
  auto entries = Directory(bytes, kLittle, second);
  EXPECT_EQ(2u, entries[256]);
  EXPECT_EQ(2u, entries[257]);
  EXPECT_EQ(2u, entries[278]);
  EXPECT_EQ(2u, entries[262]);
  EXPECT_EQ(0u, entries.count(34665));
  EXPECT_EQ(0u, entries.count(60000));
  EXPECT_EQ(0u, entries.count(254));
  EXPECT_EQ(0u, NextDirectory(bytes, kLittle, second));
  EXPECT_EQ((FileBytes{0, 0, 255, 0, 0, 255, 255, 0, 0, 255, 0, 0}), FileBytes(bytes.end() - 12, bytes.end()));
  // The request stays as the stamp pass left it.
  EXPECT_EQ(2, +save.job.options.pageNumber);
  EXPECT_EQ(&save.stamp.bitmap, +save.job.request.bitmap);
  EXPECT_EQ(nullptr, +save.job.request.tagList);
  EXPECT_EQ(nullptr, +save.job.request.comments);
  EXPECT_EQ(1u, save.stamp.ends);
}

TEST(SaveStamp, OptionMakesItAYCbCrPage) {
  KernelGuard guard;
  ExifWithStamp save(97, 24, kSaveStampYCbCr);
  ASSERT_EQ(kResultOk, save.job.Run());
  const FileBytes bytes = save.file.Read();
  auto entries = Directory(bytes, kLittle, NextDirectory(bytes, kLittle, 8));
  EXPECT_EQ(6u, entries[262]);
  EXPECT_EQ(1u, entries[259]);
  EXPECT_EQ((FileBytes{76, 76, 85, 255, 29, 29, 255, 107}), FileBytes(bytes.end() - 8, bytes.end()));
}

TEST(SaveStamp, OfAYCbCrPageIsRgbWithoutTheOption) {
  KernelGuard guard;
  ExifWithStamp save(97, 24, 0);
  ASSERT_EQ(kResultOk, save.job.Run());
  const FileBytes bytes = save.file.Read();
  EXPECT_EQ(6u, Directory(bytes, kLittle, 8)[262]);
  EXPECT_EQ(2u, Directory(bytes, kLittle, NextDirectory(bytes, kLittle, 8))[262]);
}

TEST(SaveStamp, FailedRowLeavesAValidFileOfOnePage) {
  KernelGuard guard;
  ExifWithStamp save(96, 24, 0);
  save.stamp.failingRow = 1;
  EXPECT_EQ(-99, save.job.Run());
  const FileBytes bytes = save.file.Read();
  EXPECT_EQ(0u, NextDirectory(bytes, kLittle, 8));
  EXPECT_EQ(1u, Directory(bytes, kLittle, 8).count(34665));
}

TEST(SaveStamp, AnyResultOfTheStampPassBut1TakesThePageBack) {
  KernelGuard guard;
  ExifWithStamp save(96, 24, 0);
  save.stamp.failingRow = 1;
  save.stamp.rowResult = 5;
  EXPECT_EQ(5, save.job.Run());
  const FileBytes bytes = save.file.Read();
  EXPECT_EQ(1u, Directory(bytes, kLittle, 8).count(34665));
  EXPECT_EQ(0u, NextDirectory(bytes, kLittle, 8));
}

TEST(SaveStamp, OfEightBitsWithTheYCbCrOptionIsMinus27AndTheFirstPageStays) {
  KernelGuard guard;
  ExifWithStamp save(96, 8, kSaveStampYCbCr);
  EXPECT_EQ(kResultDepthNotSupported, save.job.Run());
  const FileBytes bytes = save.file.Read();
  EXPECT_EQ(1u, Directory(bytes, kLittle, 8).count(34665));
  EXPECT_EQ(0u, NextDirectory(bytes, kLittle, 8));
  EXPECT_EQ(97, +save.job.request.fileFormat);
  EXPECT_EQ(0u, save.stamp.starts);
}

TEST(SaveStamp, SaveOnMainAndStampOfEightBits) {
  KernelGuard guard;
  ExifWithStamp save(96, 8, kSaveDropGrayPalette);
  ASSERT_EQ(kResultOk, save.job.Run());
  const FileBytes bytes = save.file.Read();
  auto entries = Directory(bytes, kLittle, NextDirectory(bytes, kLittle, 8));
  EXPECT_EQ(1u, entries[262]);
  EXPECT_EQ((FileBytes{8, 9}), FileBytes(bytes.end() - 2, bytes.end()));
}

} // namespace
