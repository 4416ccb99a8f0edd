// The caller's bitmap descriptor at the start of a load: resolutions, view, order, signed samples, palette and tone
// table, from the parsed page. The caller's pixels are never touched here.

#include "Tif/BitmapSetup.h"

#include <algorithm>

#include <vxtif/formats.h>

#include "Tif/ToneTable.h"
#include "tif_com/Memory.h"
#include "tif_com/Saturate.h"
#include "tif_com/Tags.h"

namespace {

constexpr int32_t kDeepestPalette = 8; // bits; deeper bitmaps have a tone table or nothing

uint32_t OrderOfPage(const TifPage* page, const FileInfoRecord* fileInfo) {
  if (page->bitsPerPixel > kDeepestPalette && page->samplesPerPixel == 1 &&
      page->photometricInterpretation <= kPhotometricBlackIsZero) {
    return kOrderGray;
  }
  const int32_t format = fileInfo == nullptr ? 0 : fileInfo->fileFormat;
  if (page->bitsPerPixel <= 16 || format == kFormatJpeg2000 || format == kFormatSegmented) {
    return kOrderBlueFirst;
  }
  return kOrderRedFirst;
}

// The private directory's table of display colours passes to the bitmap, whose owner frees it.
void MoveLookupTable(BitmapHandle* bitmap, TifPage* page) {
  TIFGlobalFree(bitmap->lookupTable);
  bitmap->lookupTable = page->privatePalette8;
  bitmap->lookupTableLength = page->privatePalette8Count;
  bitmap->flags |= kBitmapHasLookupTable;
  page->privatePalette8 = 0;
}

void SetPalette(BitmapHandle* bitmap, const TifPage* page, const VxColor* palette) {
  const uint32_t levels = bitmap->bitsPerPixel < 0 ? 0 : 1u << bitmap->bitsPerPixel;
  if (page->colorMapEntries <= levels) {
    bitmap->colorsUsed = page->colorMapEntries;
  }
  const uint32_t colors = bitmap->colorsUsed;
  if (colors > 0) {
    krnBitmapSetPalette(bitmap, palette, std::min<uint32_t>(colors, kPaletteEntries));
  }
}

} // namespace

int32_t TIFRoundResolution(float resolution) {
  return TIFTruncateToI32(static_cast<double>(resolution) + 0.5);
}

void TIFDescribeBitmap(const FilterLoadRequest* request, const FileOptions* options, TifPage* page) {
  BitmapHandle* const bitmap = request->bitmap;
  bitmap->xResolution = TIFRoundResolution(page->xResolution);
  bitmap->yResolution = TIFRoundResolution(page->yResolution);
  if ((options->flags & kReadIgnoreOrientation) != 0) {
    page->viewPerspective = 1;
  }
  bitmap->viewPerspective = page->viewPerspective;
  bitmap->order = OrderOfPage(page, request->fileInfo);
  TIFInitBitmap(page, bitmap, (options->flags & kReadKeepSigned) != 0 ? 1 : 0);
}

int32_t TIFInitBitmap(const TifPage* page, BitmapHandle* bitmap, int32_t keepSigned) {
  if (page == nullptr || bitmap == nullptr) {
    return kResultInvalidParameter;
  }
  if ((page->pageFlags & kPageSigned) == 0) {
    return kResultOk;
  }
  bitmap->flags |= kBitmapSigned;
  if (page->bitsPerSample[0] == 16) {
    bitmap->lowBit = bitmap->lowBit2 = 0;
    bitmap->highBit = bitmap->highBit2 = 15;
    bitmap->maxValue = INT16_MAX;
    bitmap->minValue = keepSigned != 0 ? INT16_MIN : 0;
  }
  return kResultOk;
}

int32_t TIFSetBitmapTones(BitmapHandle* bitmap, TifPage* page, const VxColor* palette) {
  if (bitmap->bitsPerPixel <= kDeepestPalette) {
    SetPalette(bitmap, page, palette);
    return kResultOk;
  }
  if (bitmap->order != kOrderGray) {
    return kResultOk;
  }
  bitmap->lowBit = static_cast<int32_t>(page->privateValue0);
  bitmap->highBit = static_cast<int32_t>(page->privateValue1);
  if (page->privatePalette8 != 0) {
    MoveLookupTable(bitmap, page);
    return kResultOk;
  }
  return bitmap->bitsPerPixel == 32 ? kResultOk : TIFBuildToneLut(bitmap, page);
}
