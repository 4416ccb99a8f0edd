// The save driver: one bitmap as one page of a TIFF file, new or existing, in the compression that the request's format
// number selects. fltSaveTIF runs TIFSavePage once, or twice for the formats that write a main page with an Exif
// directory and a stamp behind it. Rows come through the request's row service; a failed save takes its page back.

#include <algorithm>

#include <vxtif/results.h>
#include <vxtif/save.h>

#include "Tif/FaxSave.h"
#include "Tif/SaveFormats.h"
#include "Tif/SavePages.h"
#include "tif_com/PageChain.h"
#include "tif_com/SaveState.h"

namespace {

constexpr uint32_t kStampPage = 2;

bool IsValidDepth(int32_t bits) {
  return (bits >= 1 && bits <= 8) || bits == 12 || bits == 16 || bits == 24 || bits == 32 || bits == 48 || bits == 64;
}

bool IsCmykDepth(int32_t bits) {
  return bits == 24 || bits == 32 || bits == 48 || bits == 64;
}

bool IsExifFormat(int32_t format) {
  return format == kFormatExif || format == kFormatExifYCbCr;
}

// GeoTIFF pages of 16 bits, and grey ones of 32, are written as floats. The bitmap has not been looked at yet.
uint32_t FloatState(const FilterSaveRequest* request) {
  const bool isFloat =
      request->bitsPerPixel == 16 || (request->bitsPerPixel == 32 && krnBitmapIsGray(request->bitmap) != 0);
  return isFloat ? uint32_t{kStateFloat} : 0;
}

// The checks that come before the bitmap is looked at, and the state bits that the format brings. 1, -16, -27.
int32_t SettleFormat(const FilterSaveRequest* request, SavePlan* plan) {
  if (request->fileFormat == kFormatVectorPage || request->fileFormat == kFormatVector) {
    return kResultFormatNotSaved;
  }
  if (!IsValidDepth(request->bitsPerPixel)) {
    return kResultDepthNotSupported;
  }
  plan->format = TIFFindSaveFormat(request->fileFormat);
  if (plan->format == nullptr) {
    return kResultFormatNotSaved;
  }
  plan->state = plan->format->state;
  if ((plan->state & kStateCmyk) != 0 && !IsCmykDepth(request->bitsPerPixel)) {
    return kResultDepthNotSupported;
  }
  if ((plan->state & kStateYCbCr) != 0 && request->bitsPerPixel != 24) {
    return kResultDepthNotSupported;
  }
  if ((plan->state & kStateGeoKeys) != 0) {
    plan->state |= FloatState(request);
  }
  if (IsExifFormat(request->fileFormat)) {
    plan->state |=
        static_cast<uint32_t>(request->fileOptions->pageNumber) == kStampPage ? kStateStampPage : kStateExifIfd;
  }
  return kResultOk;
}

int32_t SaveBilevel(FilterSaveRequest* request, int32_t (*save)(FilterSaveRequest*)) {
  return request->bitsPerPixel == 1 ? save(request) : kResultDepthNotSupported;
}

int32_t SaveStream(FilterSaveRequest* request) {
  const int32_t result = TIFSaveRawLZW(request);
  if (result != kResultOk) {
    TIFDeleteFile(request->fileName);
  }
  return result;
}

int32_t TIFSavePage(FilterSaveRequest* request) {
  SavePlan plan = {};
  const int32_t result = SettleFormat(request, &plan);
  if (result != kResultOk) {
    return result;
  }
  request->fileFormat = plan.format->internalFormat;
  if (request->bitmap == nullptr) {
    return kResultNoBitmap;
  }
  // Without rows there is no layout; a bare stream has none and is then its end code alone.
  if (request->bitmap->width <= 0 || (request->bitmap->height <= 0 && plan.format->way != SaveWay::kRawLzw)) {
    return kResultBitmapMismatch;
  }
  switch (plan.format->way) {
  case SaveWay::kFax:
    return SaveBilevel(request, TIFSaveFaxFile);
  case SaveWay::kVariant:
    return SaveBilevel(request, TIFSaveVariantPage);
  case SaveWay::kRawLzw:
    return SaveStream(request);
  default:
    return TIFSaveStripPage(request, &plan);
  }
}

// An Exif save always starts a new file, without NewSubfileType and PageNumber, in strips.
void SettleExifOptions(FilterSaveRequest* request) {
  SaveOptions* options = request->fileOptions;
  options->pageNumber = 1;
  request->flags &= ~static_cast<uint32_t>(kSaveRequestAppend);
  options->flags |= kSaveKeepPageNumbers | kSaveNoSubfileType;
  options->flags &= ~static_cast<uint32_t>(kSaveReplacePage | kSaveInsertPage | kSaveTiles);
}

int32_t SaveStamp(FilterSaveRequest* request) {
  request->bitmap = request->stampBitmap;
  request->fileOptions->pageNumber = static_cast<int32_t>(kStampPage);
  request->tagList = nullptr;
  request->comments = nullptr;
  request->fileFormat = (request->fileOptions->flags & kSaveStampYCbCr) != 0 ? kFormatExifYCbCr : kFormatExif;
  const int32_t result = TIFSavePage(request);
  if (result != kResultOk) {
    TIFUndoPage(request->fileName, request->fileOptions, 1, false);
  }
  return result;
}

int32_t SaveExif(FilterSaveRequest* request) {
  SettleExifOptions(request);
  const int32_t result = TIFSavePage(request);
  if (result != kResultOk) {
    TIFDeleteFile(request->fileName);
    return result;
  }
  return request->stampBitmap == nullptr ? kResultOk : SaveStamp(request);
}

int32_t SaveByFormat(FilterSaveRequest* request) {
  const int32_t depth = request->bitsPerPixel;
  switch (request->fileFormat) {
  case kFormatExif:
    return depth == 24 || depth == 8 ? SaveExif(request) : kResultDepthNotSupported;
  case kFormatExifYCbCr:
    return depth == 24 ? SaveExif(request) : kResultDepthNotSupported;
  case kFormatRawFax:
    return kResultFormatNotSaved;
  default:
    return TIFSavePage(request);
  }
}

} // namespace

int32_t fltSaveTIF(FilterSaveRequest* request) {
  if (request->fileOptions != nullptr) {
    return SaveByFormat(request);
  }
  SaveOptions none = {};
  request->fileOptions = &none;
  const int32_t result = SaveByFormat(request);
  request->fileOptions = nullptr;
  return result;
}
