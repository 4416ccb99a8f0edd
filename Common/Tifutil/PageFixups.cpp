// The rules that run behind the last entry of a directory, also of one without entries. Given what the tags have left
// in the page, they settle the pixel's depth, repair what real files leave out, and refuse raw files of cameras. The
// page parser uses this.

#include "Tifutil/PageFixups.h"

#include <algorithm>

#include "Tifutil/StripTables.h"
#include "tif_com/Memory.h"
#include "tif_com/Tags.h"

namespace {

constexpr float kCentimetresPerInch = 2.54F;

// A camera's raw file, which the raw libraries are offered instead.
bool IsCameraRaw(const TifPage* page) {
  return (page->pageFlags & kPageSubIfds) != 0 && (page->pageFlags & (kPageKodak | kPageTiffEp)) != 0;
}

// One alpha sample stays part of the pixel; further ones count as extra.
void KeepOneAlpha(TifPage* page, int32_t colorBits, uint32_t alphaBits) {
  page->extraBits -= alphaBits;
  page->bitsPerPixel = colorBits + static_cast<int32_t>(alphaBits);
}

void SettleDepth(TifPage* page) {
  uint32_t bits = page->totalBits - page->extraBits;
  if (page->photometricInterpretation == kPhotometricCmyk) {
    bits -= page->bitsPerSample[0]; // four inks load as three samples
  }
  page->bitsPerPixel = static_cast<int32_t>(bits);
  if (page->photometricInterpretation != kPhotometricYCbCr) {
    page->yCbCrSubSampleHoriz = 1;
    page->yCbCrSubSampleVert = 1;
  }
  if (page->bitsPerPixel == 24 && page->extraBits >= 8) {
    KeepOneAlpha(page, 24, 8);
  } else if (page->bitsPerPixel == 48 && page->extraBits >= 16) {
    KeepOneAlpha(page, 48, 16);
  }
  // A single 32-bit sample is grey, whatever the tag said.
  if (page->bitsPerPixel == 32 && page->samplesPerPixel == 1 &&
      page->photometricInterpretation > kPhotometricBlackIsZero) {
    page->photometricInterpretation = kPhotometricBlackIsZero;
  }
}

void SettleFillOrder(TifPage* page) {
  if (page->fillOrder == kFillOrderLsbFirst && page->fillOrderMode == kFillUndecided) {
    page->fillOrderMode = page->compression == kCompressionPackBits ? kFillReverseBefore : kFillReverseAfter;
  }
}

// Bytes of the whole page when nothing says how many there are.
uint32_t WholePageBytes(const TifPage* page) {
  const uint32_t pixels = static_cast<uint32_t>(page->imageWidth) * static_cast<uint32_t>(page->imageLength);
  switch (page->totalBits) {
  case 1:
    return (pixels + 7) >> 3;
  case 2:
    return (pixels + 3) >> 2;
  case 4:
    return (pixels + 1) >> 1;
  case 8:
    return pixels;
  case 16:
    return 2 * pixels;
  case 24:
    return 3 * pixels;
  default:
    return (static_cast<uint32_t>(page->bitsPerPixel) * pixels + 7) >> 3;
  }
}

// Old writers left tag 279 out: one strip then holds the page, or one each plane of it.
bool InventByteCounts(PageParse& parse) {
  TifPage* page = parse.page;
  const bool planes = page->planarConfiguration == kPlanarSeparate;
  if (!planes) {
    page->stripCount = 1;
  }
  const uint32_t count = page->stripCount;
  auto* counts = static_cast<uint32_t*>(TIFAllocBytes((uint64_t{count} + 1) * sizeof(uint32_t)));
  if (counts == nullptr) {
    return false;
  }
  const uint32_t pixels = static_cast<uint32_t>(page->imageWidth) * static_cast<uint32_t>(page->imageLength);
  std::fill(counts, counts + count, planes ? pixels : WholePageBytes(page));
  counts[count] = 0;
  page->stripByteCounts = counts;
  parse.byteCountsLength = count;
  return true;
}

} // namespace

bool TIFApplyPageFixups(PageParse& parse) {
  TifPage* page = parse.page;
  if (IsCameraRaw(page)) {
    return false;
  }
  SettleDepth(page);
  SettleFillOrder(page);
  if (TIFIsLoading(parse) && page->stripByteCounts == nullptr && !InventByteCounts(parse)) {
    return false;
  }
  return TIFLevelStripTables(parse);
}

void TIFScaleResolutions(const PageParse& parse) {
  TifPage* page = parse.page;
  if (page->imageWidth != -1 && page->imageLength != -1 && parse.resolutionUnit == kUnitCentimetre) {
    page->xResolution *= kCentimetresPerInch;
    page->yResolution *= kCentimetresPerInch;
  }
}
