// 32-bit samples, integer or float. The first pass has stored the rows in a temporary bitmap and tracked the range;
// this one passes integers as they are, truncates floats whose range fits 32 bits, and spreads other floats over the
// whole range. The load driver's second pass uses it.

#include "Tif/WideSamples.h"

#include "Tif/ToneTable.h"
#include "tif_com/ByteOrder.h"
#include "tif_com/Memory.h"
#include "tif_com/Saturate.h"
#include "tif_com/Tags.h"

namespace {

constexpr float kFloatLimit = 4294967296.0F; // 2 to the power of 32
constexpr uint8_t kFlatRowByte = 128;        // what a row without any range becomes

bool RangeFits(const TifPage* page, const TifLoadContext* context) {
  if (page->sampleFormat == kSampleFloat) {
    return !(context->minFloat < 0.0F) && !(context->maxFloat > kFloatLimit);
  }
  return context->minValue >= 0 && context->maxValue <= int64_t{UINT32_MAX};
}

void StoreRange(BitmapHandle* bitmap, uint32_t low, uint32_t high) {
  bitmap->minValue = static_cast<int32_t>(low);
  bitmap->maxValue = static_cast<int32_t>(high);
}

void StoreFittingRange(BitmapHandle* bitmap, TifPage* page, const TifLoadContext* context) {
  auto low = static_cast<uint32_t>(context->minValue);
  auto high = static_cast<uint32_t>(context->maxValue);
  if (page->sampleFormat == kSampleFloat) {
    low = TIFTruncateToU32(context->minFloat);
    high = TIFTruncateToU32(context->maxFloat);
  }
  page->minSampleValue = low;
  page->maxSampleValue = high;
  StoreRange(bitmap, low, high);
}

void TruncateFloatRow(uint8_t* row, uint32_t pixels) {
  for (uint64_t i = 0; i < pixels; ++i) {
    StoreU32LE(row + 4 * i, TIFTruncateToU32(LoadF32LE(row + 4 * i)));
  }
}

// All in single precision but for the last rounding: the results are defined by that.
void NormalizeFloatRow(uint8_t* row, uint32_t pixels, float low, float high) {
  const float range = high - low;
  if (range == 0.0F) {
    krnMemSet(row, kFlatRowByte, static_cast<size_t>(uint64_t{4} * pixels));
    return;
  }
  const float scale = 1.0F / range;
  for (uint64_t i = 0; i < pixels; ++i) {
    const float scaled = (LoadF32LE(row + 4 * i) - low) * scale * kFloatLimit;
    StoreU32LE(row + 4 * i, TIFTruncateToU32(static_cast<double>(scaled) + 0.5));
  }
}

int32_t EmitRows(BitmapHandle* bitmap, BitmapHandle* temporary, const TifPage* page, FileInfoRecord* fileInfo,
                 TifRowSink rowCallback, const TifLoadContext* context, uint8_t* row, bool fits) {
  const int32_t height = bitmap->height;
  const int32_t lineBytes = temporary->bytesPerLine;
  const uint32_t pixels = static_cast<uint32_t>(lineBytes) / 4;
  const bool isFloat = page->sampleFormat == kSampleFloat;
  for (int32_t i = 0; i < height; ++i) {
    krnBitmapGetRow(temporary, row, i, lineBytes);
    if (isFloat && fits) {
      TruncateFloatRow(row, pixels);
    } else if (isFloat) {
      NormalizeFloatRow(row, pixels, context->minFloat, context->maxFloat);
    }
    const uint32_t flags =
        uint32_t{kRowsAlways} | (i == 0 ? uint32_t{kRowsFirst} : 0) | (i == height - 1 ? uint32_t{kRowsLast} : 0);
    const int32_t result = rowCallback(fileInfo, bitmap, row, flags, i, 1, context->rowSinkData);
    if (result != kResultOk) {
      return result;
    }
  }
  return kResultOk;
}

} // namespace

int32_t TIFEmitWideSamples(BitmapHandle* bitmap, BitmapHandle* temporary, TifPage* page, FileInfoRecord* fileInfo,
                           TifRowSink rowCallback, TifLoadContext* context) {
  const bool fits = RangeFits(page, context);
  if (fits) {
    StoreFittingRange(bitmap, page, context);
  } else {
    StoreRange(bitmap, 0, UINT32_MAX);
  }
  const int32_t lineBytes = temporary->bytesPerLine;
  uint8_t* const row = TIFAllocZeroBytes(static_cast<uint64_t>(lineBytes));
  if (row == nullptr) {
    return kResultNoMemory;
  }
  context->rowBytes = bitmap->bytesPerLine;
  context->page = page;
  int32_t result = kResultOk;
  if (fits && bitmap->bitsPerPixel != 32) {
    result = TIFBuildToneLut(bitmap, page);
  }
  if (result == kResultOk) {
    result = EmitRows(bitmap, temporary, page, fileInfo, rowCallback, context, row, fits);
  }
  TIFFree(row);
  return result;
}
