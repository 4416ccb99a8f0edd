// The row stage of a load. Decoded rows come in the file's layout: its byte order, extra samples, 12-bit packing, CMYK,
// CIELab or YCbCr. Each is brought to what the caller's bitmap expects, in place but for two expanding conversions, and
// given to the row sink with the marks of first and last rows. No state but the TifLoadContext; no failure of its own.

#include "Tif/RowAssembly.h"

#include <algorithm>

#include "Tif/ColorConversion.h"
#include "Tif/PageLayout.h"
#include "Tif/RowOperations.h"
#include "tif_com/ByteOrder.h"
#include "tif_com/Saturate.h"
#include "tif_com/Tags.h"

namespace {

// Beyond a row's own bytes the band has this many more, for receivers that store rows rounded up to 4.
constexpr int64_t kRowOverhang = 3;

// A row on its way, and the bytes that may be touched from its start.
struct RowSpan {
  uint8_t* data;
  uint64_t bytes;
};

uint32_t ImageWidth(const TifPage* page) {
  return page->imageWidth > 0 ? static_cast<uint32_t>(page->imageWidth) : 0;
}

uint64_t RowDistance(const TifLoadContext* context) {
  return context->rowBytes > 0 ? static_cast<uint64_t>(context->rowBytes) : 0;
}

void SwapSamples(RowSpan row, const TifPage* page) {
  const uint32_t bits = page->bitsPerSample[0];
  if (bits == 16) {
    const uint64_t samples = uint64_t{page->totalBits / 16} * ImageWidth(page);
    SwapRun16(row.data, static_cast<size_t>(std::min(samples, row.bytes / 2)));
  } else if (bits == 32) {
    const uint64_t samples = uint64_t{page->totalBits / 32} * ImageWidth(page);
    SwapRun32(row.data, static_cast<size_t>(std::min(samples, row.bytes / 4)));
  }
}

RowSpan ExpandAlpha(RowSpan row, const TifLoadContext* context) {
  uint64_t pixels = ImageWidth(context->page);
  pixels = std::min({pixels, row.bytes / 2, context->alphaRowsBytes / 4});
  TIFExpandGrayAlpha(row.data, context->alphaRows, pixels, context->palette);
  return {context->alphaRows, context->alphaRowsBytes};
}

RowSpan SettleLayout(RowSpan row, const TifLoadContext* context) {
  const TifPage* const page = context->page;
  if (page->bitsPerPixel == 12) {
    if (context->unpack12) {
      TIFUnpack12(row.data, ImageWidth(page), row.bytes);
    }
    return row;
  }
  if (page->extraBits != 0) {
    // Rows with extra samples are never byte-swapped.
    if (context->keepAlpha) {
      return ExpandAlpha(row, context);
    }
    if (page->planarConfiguration != kPlanarSeparate) {
      TIFDropExtraSamples(row.data, std::min(row.bytes, RowDistance(context)), page->totalBits, page->extraBits);
    }
    return row;
  }
  if (context->byteSwapSamples) {
    SwapSamples(row, page);
  }
  return row;
}

void ConvertCmyk(RowSpan row, const TifLoadContext* context) {
  const TifPage* const page = context->page;
  const uint32_t bits = page->bitsPerSample[0];
  if (bits == 16) {
    TIFCmykRow16(context->cmykKeep, row.data, ImageWidth(page), context->hasExtraChannel, page->extraBits / 16,
                 row.bytes);
  } else if (!context->cmykKeep) {
    TIFCmykToRgb8(row.data, ImageWidth(page), context->hasExtraChannel, bits == 0 ? 0 : page->extraBits / bits,
                  row.bytes);
  }
}

void ConvertLab(RowSpan row, const TifLoadContext* context, int32_t bitmapDepth) {
  const TifPage* const page = context->page;
  if (context->cmykKeep) {
    return;
  }
  const auto depth = static_cast<uint32_t>(bitmapDepth);
  if (page->bitsPerSample[0] == 16) {
    TIFLabToRgb16(row.data, ImageWidth(page), depth / 16, row.bytes);
  } else {
    TIFLabToRgb8(row.data, ImageWidth(page), depth / 8, row.bytes);
  }
}

RowSpan ConvertYcc(RowSpan row, const TifLoadContext* context) {
  if (context->yccFast) {
    TIFYccToRgb2x1(context->yccRows, row.data, context->page, context->yccRowsBytes, row.bytes);
  } else {
    TIFYccToRgb(context->yccRows, row.data, context->page, context->yccRowsBytes, row.bytes);
  }
  return {context->yccRows, context->yccRowsBytes};
}

void ScanRow(RowSpan row, TifLoadContext* context, BitmapHandle* bitmap) {
  SampleRange range = {context->minValue, context->maxValue, context->minFloat, context->maxFloat};
  TIFScanSampleRange(row.data, std::min<uint64_t>(ImageWidth(context->page), row.bytes / 4), SampleOrder::kHost,
                     context->floatSamples ? SampleKind::kFloat : SampleKind::kInteger, &range,
                     context->page->sampleFormat);
  context->minValue = range.minValue;
  context->maxValue = range.maxValue;
  context->minFloat = range.minFloat;
  context->maxFloat = range.maxFloat;
  bitmap->minValue = static_cast<int32_t>(static_cast<uint32_t>(range.minValue));
  bitmap->maxValue = static_cast<int32_t>(static_cast<uint32_t>(range.maxValue));
}

RowSpan SettleColor(RowSpan row, TifLoadContext* context, BitmapHandle* bitmap) {
  const uint32_t photometric = context->page->photometricInterpretation;
  if (context->cmykToRgb) {
    ConvertCmyk(row, context);
  } else if (photometric == kPhotometricCieLab && bitmap->bitsPerPixel >= 24) {
    ConvertLab(row, context, bitmap->bitsPerPixel);
  } else if (photometric == kPhotometricYCbCr && context->yccRows != nullptr) {
    return ConvertYcc(row, context);
  } else if (context->scanRange) {
    ScanRow(row, context, bitmap);
  }
  return row;
}

int32_t DeliverRow(FileInfoRecord* fileInfo, BitmapHandle* bitmap, RowSpan row, uint32_t flags, int64_t rowNumber,
                   const TifLoadContext* context) {
  const int64_t unit = TIFRowsOfUnit(context->page);
  const int64_t height = bitmap->height;
  flags |= kRowsAlways;
  flags |= rowNumber == 0 ? uint32_t{kRowsFirst} : 0;
  flags |= rowNumber + unit >= height ? uint32_t{kRowsLast} : 0;
  return context->rowSink(fileInfo, bitmap, row.data, flags, TIFSaturateI32(rowNumber),
                          TIFSaturateI32(std::min(unit, height - rowNumber)), context->rowSinkData);
}

} // namespace

int32_t TIFProcessRows(FileInfoRecord* fileInfo, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags, int32_t firstRow,
                       int32_t rowCount, intptr_t data) {
  auto* const context = reinterpret_cast<TifLoadContext*>(data);
  if (context == nullptr) {
    return kResultNullPointer;
  }
  const uint32_t unit = TIFRowsOfUnit(context->page);
  int64_t rowNumber = firstRow;
  for (int32_t i = 0; i < rowCount; ++i, rowNumber += unit) {
    RowSpan row = {rows, context->rowBufferBytes};
    row = SettleLayout(row, context);
    if (context->clampNegative) {
      TIFClampNegative(row.data, std::min(row.bytes, RowDistance(context)), context->page->bitsPerSample[0]);
    }
    row = SettleColor(row, context, bitmap);
    const int32_t result = DeliverRow(fileInfo, bitmap, row, flags, rowNumber, context);
    if (result != kResultOk) {
      return result;
    }
    rows += context->rowBytes;
  }
  return kResultOk;
}

int32_t TIFStoreRows(FileInfoRecord* /*fileInfo*/, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags,
                     int32_t firstRow, int32_t rowCount, intptr_t data) {
  const auto* const context = reinterpret_cast<const TifLoadContext*>(data);
  if (context == nullptr) {
    return kResultNullPointer;
  }
  if ((flags & kRowsPacked) != 0) {
    return krnBitmapPutPackedRows(bitmap, 0, rows, firstRow, rowCount) >= 1 ? 1 : 0;
  }
  const int64_t lineBytes = bitmap->bytesPerLine;
  const int64_t distance = context->rowBytes;
  if (distance == lineBytes) {
    return krnBitmapPutRow(bitmap, rows, firstRow, TIFSaturateI32(distance * rowCount)) >= 1 ? 1 : 0;
  }
  // A row is not read beyond the overhang, even into a bitmap that is wider than the page.
  const int32_t bytes = TIFSaturateI32(std::min(lineBytes, distance + kRowOverhang));
  int32_t stored = 0;
  for (int32_t i = 0; i < rowCount; ++i) {
    stored = krnBitmapPutRow(bitmap, rows, TIFSaturateI32(int64_t{firstRow} + i), bytes);
    rows += distance;
  }
  return stored >= 1 ? 1 : 0;
}

int32_t TIFForwardRows(FileInfoRecord* fileInfo, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags, int32_t firstRow,
                       int32_t rowCount, intptr_t data) {
  const auto* const context = reinterpret_cast<const TifLoadContext*>(data);
  if (context == nullptr) {
    return kResultNullPointer;
  }
  return context->rowSink(fileInfo, bitmap, rows, flags, firstRow, rowCount, context->rowSinkData);
}
