// Fax pages through the codec: its two records are filled from the page, and it reads the file and delivers the rows.

#include "Tif/FaxLoad.h"

#include "Tif/BitmapSetup.h"
#include "Tif/RawLoad.h"
#include "Tifutil/PagePalette.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Tags.h"

#include <vxfax/vxfax.h>

namespace {

constexpr uint32_t kT4TwoDimensional = 1; // T4Options bit 0
constexpr uint32_t kFillOrderReversed = 2;
constexpr int32_t kFaxDepth = 1;
constexpr uint32_t kTwoColors = 2;

uint32_t FaxFormat(const TifPage* page) {
  if (page->compression == kCompressionCcittRle) {
    return kFaxModifiedHuffman;
  }
  if (page->compression == kCompressionGroup3) {
    return (page->t4Options & kT4TwoDimensional) != 0 ? kFaxT4TwoDimensional : kFaxT4OneDimensional;
  }
  return kFaxT6;
}

uint32_t FaxViewFlag(uint32_t view) {
  switch (view) {
  case 1:
    return kFaxView1;
  case 2:
    return kFaxView2;
  case 3:
    return kFaxView3;
  case 5:
    return kFaxView5;
  case 6:
    return kFaxView6;
  case 7:
    return kFaxView7;
  case 8:
    return kFaxView8;
  default:
    return 0; // view 4
  }
}

uint32_t FaxFlags(const TifPage* page) {
  uint32_t flags = FaxViewFlag(page->viewPerspective);
  if (page->photometricInterpretation != kPhotometricWhiteIsZero) {
    flags |= kFaxBlackIsZero;
  }
  if (page->fillOrder == kFillOrderReversed) {
    flags |= kFaxFillOrder2;
  }
  return flags;
}

// A page without its rows per strip is one strip.
uint32_t RowsPerStrip(const TifPage* page, const BitmapHandle* target) {
  const auto height = static_cast<uint32_t>(target->height);
  if (page->tileWidth == target->width && page->rowsPerStrip <= 0) {
    return height;
  }
  const auto rows = static_cast<uint32_t>(page->rowsPerStrip);
  return rows < height ? rows : height;
}

// Dots per inch, rounded; `standIn` for a page that has none.
int32_t FaxResolution(float resolution, int32_t standIn) {
  return resolution != 0.0f ? TIFRoundResolution(resolution) : standIn;
}

// The marks of single strips, once they are a byte a strip.
const uint8_t* StripMarks(const TifPage* page) {
  const bool ordered = page->stripOrderScratch.newOffsets != nullptr;
  return ordered ? static_cast<const uint8_t*>(page->stripCompressions) : nullptr;
}

// The bitmap's colours: the request's own, or two greys.
void SetRawPalette(FilterLoadRequest* request, VxColor* palette) {
  BitmapHandle* bitmap = request->bitmap;
  if ((request->rawFlags & kRawPalette) != 0) {
    krnBitmapSetPalette(bitmap, request->rawPalette, bitmap->colorsUsed);
    return;
  }
  const bool blackFirst = (request->rawFlags & kRawBlackFirst) != 0;
  bitmap->colorsUsed = kTwoColors;
  TIFMakeGrayRamp(palette, kTwoColors, blackFirst ? RampOrder::kBlackFirst : RampOrder::kWhiteFirst);
  krnBitmapSetPalette(bitmap, palette, kTwoColors);
}

} // namespace

int32_t TIFLoadFaxPage(FilterLoadRequest* request, VxFileHandle file, FileInfoRecord* fileInfo, BitmapHandle* target,
                       TifRowSink rowCallback, const TifPage* page, intptr_t rowCallbackData) {
  FaxStripInfo strips{};
  strips.width = static_cast<uint32_t>(page->tileWidth);
  strips.rowsPerStrip = RowsPerStrip(page, target);
  strips.stripOffsets = page->stripOffsets;
  strips.stripByteCounts = page->stripByteCounts;
  strips.stripCount = page->stripCount;

  const FileOptions* options = request->fileOptions;
  FaxInfo info{};
  info.faxFormat = FaxFormat(page);
  info.width = target->width;
  info.height = target->height;
  info.bitsPerPixel = kFaxDepth;
  info.xResolution = FaxResolution(page->xResolution, options != nullptr ? options->defaultXResolution : 0);
  info.yResolution = FaxResolution(page->yResolution, options != nullptr ? options->defaultYResolution : 0);
  info.faxFlags = FaxFlags(page);
  return faxDecodeRows(request, file, &info, &strips, fileInfo, target, rowCallback, 1, rowCallbackData,
                       StripMarks(page));
}

int32_t TIFLoadRawFax(FilterLoadRequest* request, VxFileHandle file, VxColor* palette) {
  BitmapHandle* bitmap = request->bitmap;
  if (bitmap == nullptr) {
    return kResultNoBitmap;
  }
  uint32_t offset = 0;
  uint32_t fileSize = krnFileSeek(file, 0, kKrnSeekEnd);
  if (request->fileInfo->bitsPerPixel != kFaxDepth) {
    return kResultDepthNotSupported;
  }
  SetRawPalette(request, palette);

  TifPage page{};
  page.compression = kCompressionCcittRle;
  page.stripOffsets = &offset;
  page.stripByteCounts = &fileSize;
  page.stripCount = 1;
  page.photometricInterpretation = (request->rawFlags & kRawBlackFirst) != 0 ? 1 : 0;
  page.planarConfiguration = 1;
  page.fillOrder = (request->rawFlags & kRawFillOrder2) != 0 ? kFillOrderReversed : 1;
  page.tileWidth = bitmap->width;
  page.rowsPerStrip = bitmap->height;
  page.fileLength = bitmap->height;
  page.samplesPerPixel = 1;
  page.totalBits = kFaxDepth;
  page.xResolution = static_cast<float>(request->rawXResolution);
  page.yResolution = static_cast<float>(request->rawYResolution);
  page.viewPerspective = TIFRawView(request->rawFlags, RawViewRule::kLastBitWins);
  return TIFLoadFaxPage(request, file, request->fileInfo, bitmap, request->rowCallback, &page,
                        request->rowCallbackData);
}
