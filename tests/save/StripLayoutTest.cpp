// Sizes and predicted byte counts of strips and tiles.

#include <cstring>

#include <gtest/gtest.h>

#include <vxtif/vxtif.h>

#include "Tif_lzw/LzwCodec.h"
#include "Tif_lzw/StripWriter.h"
#include "support/KernelGuard.h"
#include "tif_com/Memory.h"
#include "tif_com/SaveState.h"

namespace {

struct LayoutCase {
  const char* name;
  int32_t format;
  uint32_t state;
  int32_t width;
  int32_t height;
  int32_t bits;
  uint32_t planes;
  bool tiles;
  uint32_t askedWidth;
  uint32_t askedHeight;
  // expected
  uint32_t tileWidth;
  uint32_t rowsPerStrip;
  uint32_t across;
  uint32_t down;
  uint32_t rowBytes;
  uint32_t stripBytes;
  uint32_t lastCount; // of the very last entry
};

const LayoutCase kLayouts[] = {
    {"wide rows go one to a strip", 3, 0, 10000, 3, 8, 1, false, 0, 0, 10000, 1, 1, 3, 10000, 10000, 10000},
    {"strips of at most 8192 bytes", 3, 0, 100, 200, 24, 1, false, 0, 0, 100, 27, 1, 8, 300, 8100, 3300},
    {"three rows of 2731 bytes pass 8192", 3, 0, 2731, 6, 8, 1, false, 0, 0, 2731, 2, 1, 3, 2731, 5462, 5462},
    {"one row of 8193 bytes does too", 3, 0, 8193, 2, 8, 1, false, 0, 0, 8193, 1, 1, 2, 8193, 8193, 8193},
    {"rows that divide evenly keep the full count", 3, 0, 1024, 16, 8, 1, false, 0, 0, 1024, 8, 1, 2, 1024, 8192, 8192},
    {"small page is one strip", 3, 0, 10, 5, 1, 1, false, 0, 0, 10, 5, 1, 1, 2, 10, 10},
    {"LZW strips hold half as much", 17, 0, 100, 200, 24, 1, false, 0, 0, 100, 13, 1, 16, 300, 3900, 1500},
    {"LZW row above 4096 bytes", 17, 0, 5000, 2, 8, 1, false, 0, 0, 5000, 1, 1, 2, 5000, 5000, 5000},
    // 300 bytes of a row may take 3 times 129; 8192 / 387 = 21 rows.
    {"PackBits by worst case", 87, 0, 100, 50, 24, 1, false, 0, 0, 100, 21, 1, 3, 300, 8127, 2400},
    {"group 4 is one strip", 29, 0, 2000, 3000, 1, 1, false, 0, 0, 2000, 3000, 1, 1, 250, 750000, 750000},
    {"group 3 one-dimensional too", 27, 0, 2000, 100, 1, 1, false, 0, 0, 2000, 100, 1, 1, 250, 25000, 25000},
    {"group 3 two-dimensional too", 28, 0, 2000, 100, 1, 1, false, 0, 0, 2000, 100, 1, 1, 250, 25000, 25000},
    {"run length in strips", 25, 0, 2000, 100, 1, 1, false, 0, 0, 2000, 32, 1, 4, 250, 8000, 1000},
    {"sibling gets one strip", 139, kStateBySibling, 3000, 50, 24, 1, false, 0, 0, 3000, 50, 1, 1, 9000, 450000,
     450000},
    {"stamp page has one strip", 3, kStateStampPage, 160, 120, 24, 1, false, 0, 0, 160, 120, 1, 1, 480, 57600, 57600},
    {"tiles of 100 become 96", 3, 0, 300, 300, 8, 1, true, 100, 100, 96, 96, 4, 4, 96, 9216, 9216},
    {"odd tile sizes lose all four low bits", 3, 0, 300, 300, 8, 1, true, 111, 47, 96, 32, 4, 10, 96, 3072, 3072},
    {"tile wider than the image keeps its height", 3, 0, 300, 250, 8, 1, true, 400, 100, 300, 100, 1, 3, 300, 30000,
     15000},
    {"tile as wide as the image too", 3, 0, 300, 250, 8, 1, true, 300, 99, 300, 99, 1, 3, 300, 29700, 15600},
    {"tile width 0 is the image's", 3, 0, 300, 250, 8, 1, true, 0, 100, 300, 100, 1, 3, 300, 30000, 15000},
    {"tile height 0 is the image's, unrounded", 3, 0, 300, 250, 8, 1, true, 100, 0, 96, 250, 4, 1, 96, 24000, 24000},
    {"narrow tile as high as the image is not rounded", 3, 0, 300, 250, 8, 1, true, 64, 250, 64, 250, 5, 1, 64, 16000,
     16000},
    {"narrow tile of height 8 has 16 rows", 3, 0, 300, 100, 8, 1, true, 64, 8, 64, 16, 5, 7, 64, 1024, 1024},
    {"tile width below 16 becomes 16", 3, 0, 300, 100, 8, 1, true, 5, 32, 16, 32, 19, 4, 16, 512, 512},
    {"tile narrower than a page below 16 is wider than it", 3, 0, 12, 40, 8, 1, true, 10, 48, 16, 40, 1, 1, 16, 640,
     640},
    {"YCbCr rows hold units of two pixels", 3, kStateYCbCr, 101, 4, 24, 1, false, 0, 0, 101, 4, 1, 1, 204, 816, 816},
    {"float rows hold four bytes a pixel", 3, kStateFloat, 100, 4, 16, 1, false, 0, 0, 100, 4, 1, 1, 400, 1600, 1600},
    {"CMYK adds a byte a pixel", 3, kStateCmyk, 100, 4, 24, 1, false, 0, 0, 100, 4, 1, 1, 400, 1600, 1600},
    {"CMYK of 32 bits has five", 3, kStateCmyk, 100, 4, 32, 1, false, 0, 0, 100, 4, 1, 1, 500, 2000, 2000},
    {"CMYK of 48 bits adds two", 3, kStateCmyk, 100, 4, 48, 1, false, 0, 0, 100, 4, 1, 1, 800, 3200, 3200},
    {"CMYK of 64 bits adds two", 3, kStateCmyk, 100, 4, 64, 1, false, 0, 0, 100, 4, 1, 1, 1000, 4000, 4000},
    {"CMYK strips are sized without the fourth sample", 3, kStateCmyk, 100, 100, 24, 1, false, 0, 0, 100, 27, 1, 4, 400,
     10800, 7600},
    {"12 bits round up", 3, 0, 3, 2, 12, 1, false, 0, 0, 3, 2, 1, 1, 5, 10, 10},
    {"planes have their own strips", 3, 0, 100, 100, 8, 4, false, 0, 0, 100, 81, 1, 2, 100, 8100, 1900},
    {"rows of 60000 16-bit CMYK pixels", 17, kStateCmyk, 60000, 2, 64, 1, false, 0, 0, 60000, 1, 1, 2, 600000, 600000,
     600000},
};

TEST(StripLayout, EveryKindOfPage) {
  KernelGuard guard;
  for (const LayoutCase& test : kLayouts) {
    BitmapHandle bitmap;
    krnBitmapInit(&bitmap, kBitmapHandleSize, test.width, test.height, test.bits);
    SaveOptions options = {};
    options.structSize = sizeof options;
    options.flags = test.tiles ? kSaveTiles : 0;
    options.tileWidth = test.askedWidth;
    options.tileHeight = test.askedHeight;
    TifFile file = {};
    file.stateFlags = test.state;
    TifRowContext context = {};
    context.options = &options;
    context.format = test.format;
    context.bitsPerPixel = test.bits;
    context.planeCount = test.planes;
    ASSERT_EQ(kResultOk, TIFComputeStripLayout(&bitmap, &context, &file)) << test.name;
    EXPECT_EQ(test.tileWidth, context.tileWidth) << test.name;
    EXPECT_EQ(test.rowsPerStrip, context.rowsPerStrip) << test.name;
    EXPECT_EQ(test.across, context.tilesAcross) << test.name;
    EXPECT_EQ(test.down, context.stripsDown) << test.name;
    EXPECT_EQ(test.rowBytes, context.rowBytes) << test.name;
    EXPECT_EQ(test.stripBytes, context.stripBytes) << test.name;
    const uint32_t count = test.across * test.down * test.planes;
    for (uint32_t i = 0; i + 1 < count; ++i) {
      const bool endsPlane = test.across == 1 && (i + 1) % test.down == 0;
      EXPECT_EQ(endsPlane ? test.lastCount : test.stripBytes, context.byteCounts[i]) << test.name << ", entry " << i;
    }
    EXPECT_EQ(test.lastCount, context.byteCounts[count - 1]) << test.name;
    TIFFree(context.byteCounts);
  }
}

// A layout of 8-bit rows without tiles.
int32_t LayoutOf(int32_t width, int32_t height, int32_t format, TifRowContext* context) {
  static SaveOptions options = {};
  BitmapHandle bitmap;
  krnBitmapInit(&bitmap, kBitmapHandleSize, width, height, 8);
  TifFile file = {};
  *context = TifRowContext{};
  context->options = &options;
  context->format = format;
  context->bitsPerPixel = 8;
  context->planeCount = 1;
  return TIFComputeStripLayout(&bitmap, context, &file);
}

TEST(StripLayout, PageWithoutRowsOrColumnsHasNone) {
  KernelGuard guard;
  for (const auto& [width, height] : {std::pair{0, 5}, std::pair{5, 0}, std::pair{-5, 5}, std::pair{5, -5}}) {
    TifRowContext context;
    EXPECT_EQ(kResultBitmapMismatch, LayoutOf(width, height, 3, &context)) << width << " by " << height;
    EXPECT_EQ(nullptr, context.byteCounts);
  }
}

TEST(StripLayout, StripThatNoCountCanTellIsMinusOne) {
  // Group 4 pages are one strip: 65536 rows of 65536 bytes are 4 GiB.
  KernelGuard guard;
  TifRowContext context;
  EXPECT_EQ(kResultNoMemory, LayoutOf(65536, 65536, 29, &context));
  EXPECT_EQ(kResultOk, LayoutOf(65535, 65537, 29, &context)); // one byte less
  EXPECT_EQ(0xFFFFFFFFu, context.byteCounts[0]);
  TIFFree(context.byteCounts);
}

TEST(RowContext, TakesTheRequestsRowServiceAndSettings) {
  FilterSaveRequest request = {};
  SaveOptions options = {};
  BitmapHandle bitmap = {};
  request.fileOptions = &options;
  request.bitmap = &bitmap;
  request.fileFormat = 87;
  request.bitsPerPixel = 24;
  request.flags = 0x9000;
  request.extra1 = 11;
  request.extra2 = 22;
  request.saveStart = [](BitmapHandle*, BitmapHandle**, int32_t, uint32_t*, void**, int32_t, intptr_t, intptr_t,
                         void**) { return 1; };
  request.saveEnd = [](BitmapHandle*, BitmapHandle**, uint32_t*, int32_t, void**) { return 1; };
  request.saveGetRow = [](BitmapHandle*, BitmapHandle*, void*, int32_t, int32_t, uint32_t, intptr_t, intptr_t, void*) {
    return 1;
  };
  TifRowContext context;
  std::memset(&context, 0xEE, sizeof context);
  TIFInitRowContext(&request, &context);
  EXPECT_EQ(87, context.format);
  EXPECT_EQ(&options, context.options);
  EXPECT_EQ(+request.saveStart, context.saveStart);
  EXPECT_EQ(+request.saveEnd, context.saveEnd);
  EXPECT_EQ(+request.saveGetRow, context.saveGetRow);
  EXPECT_EQ(0x9000u, context.flags);
  EXPECT_EQ(11, context.extra1);
  EXPECT_EQ(22, context.extra2);
  EXPECT_EQ(24, context.bitsPerPixel);
  EXPECT_EQ(1u, context.planeCount);
  EXPECT_EQ(&bitmap, context.bitmap);
  EXPECT_EQ(nullptr, context.planes);
  EXPECT_EQ(nullptr, context.byteCounts);
}

TEST(StripLayout, NoMemoryForTheCountsIsMinusOne) {
  KernelGuard guard;
  BitmapHandle bitmap;
  krnBitmapInit(&bitmap, kBitmapHandleSize, 10, 10, 8);
  SaveOptions options = {};
  TifFile file = {};
  TifRowContext context = {};
  context.options = &options;
  context.format = 3;
  context.bitsPerPixel = 8;
  context.planeCount = 1;
  AllocFaults faults(1);
  EXPECT_EQ(kResultNoMemory, TIFComputeStripLayout(&bitmap, &context, &file));
}

struct LzwPageCase {
  const char* name;
  int32_t bits;
  int32_t descriptorBits;
  uint32_t order;
  bool isCmyk;
  bool isYcc;
  bool wantsPredictor;
  int32_t bitsPerPixel; // of the page
  uint32_t bitsPerSample;
  uint32_t samples;
  uint32_t predictor;
};

const LzwPageCase kLzwPages[] = {
    {"1", 1, 1, 0, false, false, true, 1, 1, 1, 1},
    {"4 refuses the predictor", 4, 4, 0, false, false, true, 4, 4, 1, 1},
    {"8", 8, 8, 0, false, false, true, 8, 8, 1, 2},
    {"8 without", 8, 8, 0, false, false, false, 8, 8, 1, 1},
    {"12", 12, 12, 2, false, false, true, 12, 12, 1, 2},
    {"16 grey", 16, 16, 2, false, false, true, 16, 16, 1, 2},
    {"16 colour is 5-5-5", 16, 16, 0, false, false, true, 16, 5, 3, 2},
    {"16 colour, blue first", 16, 16, 1, false, false, true, 16, 5, 3, 2},
    {"24", 24, 24, 1, false, false, true, 24, 8, 3, 2},
    {"24 YCbCr refuses the predictor", 24, 24, 1, false, true, true, 24, 8, 3, 1},
    {"24 CMYK comes as 32", 24, 24, 1, true, false, true, 32, 8, 4, 2},
    {"32", 32, 32, 1, false, false, true, 32, 8, 4, 2},
    {"32 CMYK comes as 40", 32, 32, 1, true, false, true, 40, 8, 5, 2},
    {"48", 48, 48, 1, false, false, true, 48, 16, 3, 2},
    {"48 CMYK comes as 64", 48, 48, 1, true, false, true, 64, 16, 4, 2},
    {"64", 64, 64, 1, false, false, true, 64, 16, 4, 2},
    {"64 CMYK comes as 80", 64, 64, 1, true, false, true, 80, 16, 5, 2},
};

TEST(LzwPage, FieldsByDepth) {
  KernelGuard guard;
  for (const LzwPageCase& test : kLzwPages) {
    BitmapHandle descriptor;
    krnBitmapInit(&descriptor, kBitmapHandleSize, 77, 55, test.descriptorBits);
    descriptor.order = test.order;
    SaveOptions options = {};
    options.structSize = sizeof options;
    options.flags = test.wantsPredictor ? kSavePredictor : 0;
    TifPage page = {};
    ASSERT_EQ(kResultOk, TIFInitLZWPage(&page, &options, &descriptor, test.bits, 9, test.isCmyk, test.isYcc, 64, 16));
    EXPECT_EQ(test.bitsPerPixel, +page.bitsPerPixel) << test.name;
    EXPECT_EQ(test.bitsPerSample, +page.bitsPerSample[0]) << test.name;
    EXPECT_EQ(test.samples, +page.samplesPerPixel) << test.name;
    EXPECT_EQ(test.predictor, +page.predictor) << test.name;
    EXPECT_EQ(77, +page.imageWidth);
    EXPECT_EQ(55, +page.imageLength);
    EXPECT_EQ(1u, +page.fillOrder);
    EXPECT_EQ(64, +page.tileWidth);
    EXPECT_EQ(16, +page.rowsPerStrip);
    EXPECT_EQ(9, +page.codecFile);
    EXPECT_EQ(kLzwBufferSize, +page.codecBufferSize);
    TIFFree(page.codecBuffer);
  }
}

TEST(LzwPage, RatioCheckByOptionsAndTheirSize) {
  BitmapHandle descriptor;
  krnBitmapInit(&descriptor, kBitmapHandleSize, 8, 8, 8);
  const struct {
    uint32_t size;
    uint32_t flags2;
    uint32_t check;
  } cases[] = {{1603, 0, 1}, {1603, 4, 0}, {5000, 2, 1}, {1602, 0, 0}, {1602, 4, 0}, {4, 0, 0}};
  for (const auto& test : cases) {
    SaveOptions options = {};
    options.structSize = test.size;
    options.flags2 = test.flags2;
    TifPage page = {};
    ASSERT_EQ(kResultOk, TIFInitLZWPage(&page, &options, &descriptor, 8, 1, false, false, 8, 8));
    EXPECT_EQ(test.check, +page.lzwRatioCheck) << test.size << ", " << test.flags2;
    TIFFree(page.codecBuffer);
  }
}

TEST(LzwPage, NoMemoryIsMinusOne) {
  BitmapHandle descriptor;
  krnBitmapInit(&descriptor, kBitmapHandleSize, 8, 8, 8);
  SaveOptions options = {};
  TifPage page = {};
  AllocFaults faults(1);
  EXPECT_EQ(kResultNoMemory, TIFInitLZWPage(&page, &options, &descriptor, 8, 1, false, false, 8, 8));
}

TEST(PackBitsPage, HoldsAStripAtWorstAndAtLeast8192Bytes) {
  KernelGuard guard;
  for (const auto& [stripBytes, bufferSize] :
       {std::pair{0u, 8192u}, std::pair{8191u, 8192u}, std::pair{8193u, 8193u}}) {
    TifPage page = {};
    ASSERT_EQ(kResultOk, TIFInitPackBitsPage(&page, stripBytes));
    EXPECT_EQ(bufferSize, +page.codecBufferSize);
    EXPECT_NE(nullptr, +page.codecBuffer);
    TIFFree(page.codecBuffer);
  }
  TifPage page = {};
  AllocFaults faults(1);
  EXPECT_EQ(kResultNoMemory, TIFInitPackBitsPage(&page, 1));
}

} // namespace
