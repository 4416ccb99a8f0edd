// Faults in loads: told codes, nothing left allocated or open, the file never touched, the pixels whole or the warning
// given.

#include <array>

#include <gtest/gtest.h>
#include <vxtif/vxtif.h>

#include "faults/FaultSweep.h"
#include "faults/ReadCodes.h"
#include "faults/SweepInputs.h"
#include "support/FileDirectory.h"

namespace {

struct LoadInput {
  std::string name;
  FileBytes file;
  int32_t width;
  int32_t height;
  int32_t depth;
  const ToldCodes* pixels; // what is told about the image data
  int32_t page = 0;
  uint32_t flags = 0;
  uint32_t directoryOffset = 0;
  int32_t regionTop = 0;
  int32_t regionRows = 0;           // 0: the whole page
  const ToldCodes* first = nullptr; // looked at before the others
};

// The rows of a page as the host gets them: bits of a pixel times the width, whatever the bitmap pads.
struct RowTaker {
  SweepCall* call;
  int32_t bits;

  static int32_t Take(FileInfoRecord*, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags, int32_t firstRow,
                      int32_t rowCount, intptr_t self) {
    auto* const taker = reinterpret_cast<RowTaker*>(self);
    taker->call->See(firstRow);
    if ((flags & kRowsPacked) == 0) {
      const auto bytes = static_cast<size_t>((bitmap->width * taker->bits + 7) / 8);
      taker->call->See(rows, bytes * static_cast<size_t>(rowCount == 1 ? 1 : 0));
    }
    return kResultOk;
  }
};

int32_t Load(const LoadInput& input, SweepCall& call, int32_t* warning) {
  BitmapHandle bitmap = {};
  krnBitmapInit(&bitmap, kBitmapHandleSize, input.width, input.height, input.depth);
  FileOptions options = {};
  options.flags = input.flags;
  options.pageNumber = input.page;
  options.directoryOffset = input.directoryOffset;
  FileInfoRecord info = {};
  FilterLoadRequest request = {};
  RowTaker taker = {&call, input.depth};
  request.fileName = call.Name();
  request.bitmap = &bitmap;
  request.fileInfo = &info;
  request.fileOptions = &options;
  request.truncationStatus = 1;
  request.regionEnabled = input.regionRows != 0 ? 1 : 0;
  request.regionTop = input.regionTop;
  request.regionWidth = request.viewWidth = input.width;
  request.regionHeight = input.regionRows;
  request.viewHeight = input.height;
  request.rowCallback = RowTaker::Take;
  request.rowCallbackData = reinterpret_cast<intptr_t>(&taker);
  const int32_t result = call.Enter("fltLoad", "fltLoadTIF") ? fltLoadTIF(&request) : fltLoad(&request);
  *warning = request.truncationStatus;
  if (result == kResultOk) {
    call.See(*warning);
  }
  krnGlobalFree(bitmap.lookupTable, __LINE__, "LoadSweepTest"); // the bitmap's owner frees it
  return result;
}

// An uncompressed strip of which nothing comes fails; one that comes in part is filled up with zeros, for a warning.
const ToldCodes kStoredPixels = {
    {kSeeks, "p*.data*", {kResultSeekFailed}},
    {kReadFails, "p*.data*", {kResultReadFailed}},
    {kReadShort, "p*.data*", {kPasses}, Aftermath::kDiffers},
};
void SweepLoad(const LoadInput& input) {
  Sweep sweep;
  sweep.name = "load " + input.name;
  sweep.file = input.file;
  if (input.first != nullptr) {
    sweep.told.push_back(input.first);
  }
  sweep.told.insert(sweep.told.end(), {input.pixels, &kOpenCodes, &kLoadParserCodes, &kLoadDriverCodes});
  int32_t warning = 0;
  sweep.run = [&](SweepCall& call) { return Load(input, call, &warning); };
  sweep.check = [&](const SweepOutcome& outcome) {
    EXPECT_TRUE(outcome.exists && outcome.after == outcome.before) << "the file has changed, after " << outcome.place;
    // Rows that were filled up are warned of.
    const bool cut = outcome.fault.kind == FaultKind::kShortRead || outcome.fault.kind == FaultKind::kCutRead;
    if (cut && !outcome.failed && input.pixels == &kStoredPixels && PlaceMatches("p*.data*", outcome.place.c_str())) {
      EXPECT_EQ(warning, kResultReadFailed) << "after " << outcome.place;
    }
  };
  RunSweep(sweep);
}

const ToldCodes kLzwPixels = {
    {kSeeks, "p*.data*", {kResultSeekFailed}},
    {kReadFails | kReadsOne, "p*.data*", {kResultReadFailed}}, // a strip of less than two bytes is none
    {kReadsAllButOne, "p*.data*", {kPasses}, Aftermath::kDiffers},
    {kAllocs, "LzwDecoder*", {kResultNoMemory}},
};

// Beside the band, which is halved, tiles have a buffer of their own, which is not. Compressed ones cannot be entered
// in the middle, so that their band is not halved either.
const ToldCodes kTilePixels = {
    {kAllocs, "StripReader", {kPasses}, Aftermath::kSame, {kResultNoMemory}},
    {kAllocs, "StripReader*", {kResultNoMemory}},
};
const ToldCodes kLzwTilePixels = {
    {kAllocs, "StripReader*", {kResultNoMemory}},
};
// A PackBits strip is read as it comes; short of a control byte's value it ends with a warning.
const ToldCodes kPackBitsPixels = {
    {kSeeks, "p*.data*", {kResultSeekFailed}},
    {kReadFails, "p*.data*", {kResultReadFailed}},
    {kReadShort, "p*.data*", {kPasses}, Aftermath::kDiffers},
};
// These strips are above 1024 bytes, so that there is something to halve.
const ToldCodes kHalvedInput = {
    {kAllocs, "PackBitsStrip*", {kPasses}, Aftermath::kSame, {kResultNoMemory}},
};
const ToldCodes kFaxPixels = {
    {kAllocs, "Fax*", {kResultNoMemory}},
    {kSeeks, "seek.end.2", {kResultSeekFailed}}, // how much may be read
    {kSeeks, "p*.data*", {kResultSeekFailed}},
    {kReadFails, "p*.data*", {kResultReadFailed}},
    {kReadShort, "p*.data*", {kPasses}, Aftermath::kDiffers}, // a strip that ends early leaves white rows
};

constexpr WrittenKind kStoredKinds[] = {
    {"uncompressed", kFormatUncompressed, 8, 0, 0},      {"RGB", kFormatUncompressed, 24, 0, 0},
    {"16 bits a sample", kFormatUncompressed, 48, 0, 0}, {"tiles", kFormatUncompressed, 24, kSaveTiles, 16},
    {"CMYK", kFormatUncompressedCmyk, 24, 0, 0},         {"YCbCr", kFormatUncompressedYCbCr, 24, 0, 0},
};
constexpr WrittenKind kLzwKinds[] = {
    {"LZW", kFormatLzw, 24, kSavePredictor, 0},
    {"LZW CMYK", kFormatLzwCmyk, 24, 0, 0},
    {"LZW YCbCr", kFormatLzwYCbCr, 24, 0, 0},
};
constexpr WrittenKind kLzwTiles = {"LZW tiles", kFormatLzw, 8, kSaveTiles, 16};
constexpr WrittenKind kPackBitsKinds[] = {
    {"PackBits", kFormatPackBits, 24, 0, 0},
    {"PackBits tiles", kFormatPackBits, 8, kSaveTiles, 16},
    {"PackBits CMYK", kFormatPackBitsCmyk, 24, 0, 0},
};
constexpr WrittenKind kFaxKinds[] = {
    {"CCITT", kFormatCcitt, 1, 0, 0},
    {"group 3", kFormatGroup3, 1, 0, 0},
    {"group 3 two-dimensional", kFormatGroup3TwoDimensional, 1, 0, 0},
    {"group 4", kFormatGroup4, 1, 0, 0},
    {"group 4 tiles", kFormatGroup4, 1, kSaveTiles, 16},
    {"group 3 two-dimensional tiles", kFormatGroup3TwoDimensional, 1, kSaveTiles, 16},
    {"variant", kFormatVariant, 1, 0, 0},
};

void SweepWritten(const WrittenKind& kind, const ToldCodes& pixels, const ToldCodes* first = nullptr) {
  for (const FileOrder order : kBothOrders) {
    LoadInput input = {
        WithOrder(kind.name, order), WrittenFile(kind, order), kWrittenWidth, kWrittenHeight, kind.bits, &pixels};
    input.first = first;
    SweepLoad(input);
  }
}

TEST(LoadSweep, StoredPages) {
  for (const WrittenKind& kind : kStoredKinds) {
    SweepWritten(kind, kStoredPixels, kind.tile != 0 ? &kTilePixels : nullptr);
  }
}

TEST(LoadSweep, Regions) {
  for (const FileOrder order : kBothOrders) {
    const WrittenKind kind = {"rows 5 to 12", kFormatUncompressed, 48, 0, 0};
    LoadInput input = {WithOrder(kind.name, order),
                       WrittenFile(kind, order),
                       kWrittenWidth,
                       kWrittenHeight,
                       kind.bits,
                       &kStoredPixels};
    input.regionTop = 5;
    input.regionRows = 8;
    SweepLoad(input);
  }
}

TEST(LoadSweep, LzwPages) {
  for (const WrittenKind& kind : kLzwKinds) {
    SweepWritten(kind, kLzwPixels);
  }
  SweepWritten(kLzwTiles, kLzwPixels, &kLzwTilePixels);
}

TEST(LoadSweep, PackBitsPages) {
  for (const WrittenKind& kind : kPackBitsKinds) {
    SweepWritten(kind, kPackBitsPixels, kind.tile != 0 ? &kLzwTilePixels : &kHalvedInput);
  }
}

TEST(LoadSweep, FaxPages) {
  for (const WrittenKind& kind : kFaxKinds) {
    SweepWritten(kind, kFaxPixels);
  }
}

TEST(LoadSweep, PagesOfEveryTag) {
  for (const FileOrder order : kBothOrders) {
    SweepLoad({WithOrder("palette", order), PaletteFile(order), 8, 4, 4, &kStoredPixels});
    SweepLoad({WithOrder("planes", order), PlanarFile(order), 8, 4, 24, &kStoredPixels});
    SweepLoad({WithOrder("32 bits", order), WideFile(order, false), 6, 4, 32, &kStoredPixels});
    SweepLoad({WithOrder("floats", order), WideFile(order, true), 6, 4, 32, &kStoredPixels});
    SweepLoad({WithOrder("deep grey", order), DeepGrayFile(order), 6, 4, 16, &kStoredPixels});
    SweepLoad({WithOrder("tone block", order), ToneBlockFile(order), 6, 4, 16, &kStoredPixels});
    SweepLoad({WithOrder("YCbCr of its own", order), YccFile(order), 8, 4, 24, &kStoredPixels});
    SweepLoad({WithOrder("variant in another order", order), VariantOrderFile(order), 16, 6, 1, &kFaxPixels});
    SweepLoad({WithOrder("large strip", order), LargeStripFile(order), 100, 100, 8, &kStoredPixels});
    LoadInput tiles = {WithOrder("16-bit tiles", order), TiledFile(order), 32, 16, 16, &kStoredPixels};
    tiles.first = &kTilePixels;
    SweepLoad(tiles);
    SweepLoad({WithOrder("rich", order), RichFile(order), 4, 2, 8, &kStoredPixels});
  }
}

TEST(LoadSweep, PagesBehindTheFirst) {
  for (const FileOrder order : kBothOrders) {
    LoadInput second = {WithOrder("page 2", order), ThreePages(order), 4, 2, 8, &kStoredPixels, 2};
    second.first = &kWalkCodes;
    SweepLoad(second);
    LoadInput last = {WithOrder("last page", order), ThreePages(order), 4, 2, 8, &kStoredPixels, -1};
    const ToldCodes chain = {
        {kSeeks, "p3.entry.254", {kResultSeekFailed}}, // back from the end of the chain
        {kReads, "p3.next", {kResultReadFailed}, Aftermath::kSame, {}, 1},
        {kReads, "p3.next", {kPasses}}, // of the parser
        {kSeeks, "skip.p*.next", {kResultSeekFailed}},
        {kReads, "p*.next", {kResultReadFailed}},
    };
    last.first = &chain;
    SweepLoad(last);
    // A directory that cannot be entered by its offset counts as none given: page 1 is loaded.
    LoadInput direct = {WithOrder("by offset", order), ThreePages(order), 4, 2, 8, &kStoredPixels, 1};
    direct.flags = kReadUseDirectoryOffset;
    direct.directoryOffset = ReadFilePage(direct.file, 1).offset;
    const ToldCodes fallback = {
        {kSeeks, "p2.count", {kPasses}, Aftermath::kDiffers},
        {kReads, "p2.count", {kPasses}, Aftermath::kDiffers},
    };
    direct.first = &fallback;
    SweepLoad(direct);
  }
}

// CMYK pages as separate inks, chunky and planar.
int32_t LoadInks(SweepCall& call, int32_t width, int32_t height) {
  std::array<BitmapHandle, 4> inks = {};
  std::array<BitmapHandle*, 4> pointers = {};
  for (size_t i = 0; i < inks.size(); ++i) {
    krnBitmapInit(&inks[i], kBitmapHandleSize, width, height, 8);
    pointers[i] = &inks[i];
  }
  FileOptions options = {};
  FileInfoRecord info = {};
  RowTaker taker = {&call, 8};
  FilterLoadCMYKRequest request = {
      call.Name(), pointers.data(), 4, &info, &options, RowTaker::Take, reinterpret_cast<intptr_t>(&taker)};
  return call.Enter("fltLoadCMYKArray", "fltLoadCMYKArrayTIF") ? fltLoadCMYKArrayTIF(&request)
                                                               : fltLoadCMYKArray(&request);
}

const ToldCodes kInkCodes = {
    {kAllocs, "PageOpening", {kResultNoMemory}},
    {kAllocs, "SampleSplit*", {kResultNoMemory}},
    {kAllocs, "CmykArrayLoad*", {kResultNoMemory}},
};

TEST(LoadSweep, Inks) {
  const struct {
    WrittenKind kind;
    const ToldCodes* pixels;
  } kinds[] = {
      {{"uncompressed", kFormatUncompressedCmyk, 24, 0, 0}, &kStoredPixels},
      {{"LZW", kFormatLzwCmyk, 24, 0, 0}, &kLzwPixels},
      {{"PackBits", kFormatPackBitsCmyk, 24, 0, 0}, &kPackBitsPixels},
  };
  for (const FileOrder order : kBothOrders) {
    for (const auto& [kind, pixels] : kinds) {
      Sweep sweep;
      sweep.name = WithOrder(std::string("inks ") + kind.name, order);
      sweep.file = WrittenFile(kind, order);
      sweep.told = {&kInkCodes, pixels, &kOpenCodes, &kLoadParserCodes, &kLoadDriverCodes};
      if (kind.format == kFormatPackBitsCmyk) {
        sweep.told.insert(sweep.told.begin(), &kHalvedInput);
      }
      sweep.run = [](SweepCall& call) { return LoadInks(call, kWrittenWidth, kWrittenHeight); };
      RunSweep(sweep);
    }
    Sweep planar;
    planar.name = WithOrder("inks, planes", order);
    planar.file = InkPlanesFile(order);
    planar.told = {&kInkCodes, &kStoredPixels, &kOpenCodes, &kLoadParserCodes, &kLoadDriverCodes};
    planar.run = [](SweepCall& call) { return LoadInks(call, 8, 4); };
    RunSweep(planar);
  }
}

// Formats without a TIFF structure: rows, PackBits, fax.
int32_t LoadRaw(SweepCall& call, int32_t format, int32_t bits) {
  BitmapHandle bitmap = {};
  krnBitmapInit(&bitmap, kBitmapHandleSize, 16, 4, bits);
  FileOptions options = {};
  FileInfoRecord info = {};
  info.fileFormat = format;
  info.bitsPerPixel = bits;
  RowTaker taker = {&call, bits};
  FilterLoadRequest request = {};
  request.fileName = call.Name();
  request.bitmap = &bitmap;
  request.fileInfo = &info;
  request.fileOptions = &options;
  request.rowCallback = RowTaker::Take;
  request.rowCallbackData = reinterpret_cast<intptr_t>(&taker);
  request.rawStripBytes = 72;
  request.rawPlanarConfiguration = 1;
  return call.Enter("fltLoad", "fltLoadTIF") ? fltLoadTIF(&request) : fltLoad(&request);
}

TEST(LoadSweep, RawFormats) {
  const ToldCodes rows = {
      {kOpens, "open.read", {kResultOpenFailed}},
      {kAllocs, "RawLoad", {kResultNoMemory}},
      {kSeeks, "*", {kPasses}, Aftermath::kDiffers},
      {kReads, "*", {kResultReadFailed}},
  };
  const ToldCodes packBits = {
      {kOpens, "open.read", {kResultOpenFailed}},
      {kAllocs, "RawPackBits*", {kResultNoMemory}},
      {kSeeks, "*", {kResultSeekFailed}},
      {kReads, "*", {kPasses}, Aftermath::kDiffers}, // a short read is not noticed
  };
  const ToldCodes fax = {
      {kOpens, "open.read", {kResultOpenFailed}},
      {kAllocs, "*", {kResultNoMemory}},
      {kSeeks, "seek.end", {kPasses}, Aftermath::kDiffers},
      {kSeeks, "*", {kResultSeekFailed}},
      {kReadFails, "*", {kResultReadFailed}},
      {kReads, "*", {kPasses}, Aftermath::kDiffers},
  };
  FileBytes packed;
  for (int row = 0; row < 8; ++row) {
    packed.insert(packed.end(), {0xFB, static_cast<uint8_t>(row), 1, 7, 9}); // 6 equal bytes and 2 others
  }
  const auto sweep = [](const char* name, const FileBytes& file, const ToldCodes& told, int32_t format, int32_t bits) {
    Sweep raw;
    raw.name = name;
    raw.file = file;
    raw.told = {&told};
    raw.run = [=](SweepCall& call) { return LoadRaw(call, format, bits); };
    RunSweep(raw);
  };
  sweep("raw rows", FileBytes(64, 5), rows, kFormatRawRows, 8);
  sweep("raw PackBits", packed, packBits, kFormatRawPackBits, 8);
  sweep("raw fax", {0x35, 0x54, 0xAA, 0xA8, 0x35, 0x54, 0xAA, 0xA8}, fax, kFormatRawFax, 1);
}

} // namespace
