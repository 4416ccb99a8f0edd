// How large the strips or tiles of a page are, and how many bytes each of them is going to take. Computed before the
// directory is written, which needs the counts; exact for uncompressed pages, an estimate for the others. And the codec
// fields of the scratch page that go with a layout.

#include <algorithm>

#include <vxtif/formats.h>
#include <vxtif/results.h>

#include "Tif_lzw/LzwCodec.h"
#include "Tif_lzw/StripWriter.h"
#include "Tifutil/PackBits.h"
#include "tif_com/Memory.h"
#include "tif_com/SaveState.h"
#include "tif_com/Tags.h"

namespace {

constexpr uint64_t kStripTarget = 8192; // bytes of a strip, worst-case output for PackBits
constexpr uint64_t kUnlimited = UINT64_MAX;
constexpr uint64_t kTileGrain = 16; // tiles are multiples of 16 in both directions

struct StripSize {
  uint64_t width;
  uint64_t height;
};

uint64_t RowsByFormat(const TifRowContext* context, uint64_t width, uint64_t height) {
  const uint64_t row = (width * static_cast<uint64_t>(context->bitsPerPixel) + 7) / 8;
  uint64_t rows = 0;
  switch (context->format) {
  case kFormatPackBits:
    rows = kStripTarget / TIFPackBitsWorstCase(row);
    break;
  case kFormatGroup3:
  case kFormatGroup3TwoDimensional:
  case kFormatGroup4:
    return height;
  case kFormatLzw:
    rows = kStripTarget / (2 * row);
    break;
  default:
    rows = kStripTarget / row;
    break;
  }
  return std::max<uint64_t>(rows, 1);
}

StripSize WantedSize(const TifRowContext* context, const TifFile* file, uint64_t width, uint64_t height) {
  if (TIFHasState(file, kStateBySibling | kStateStampPage)) {
    return {kUnlimited, kUnlimited}; // a single strip
  }
  if ((context->options->flags & kSaveTiles) != 0) {
    return {context->options->tileWidth, context->options->tileHeight};
  }
  return {kUnlimited, RowsByFormat(context, width, height)};
}

uint64_t RoundToTile(uint64_t size) {
  return std::max(size & ~(kTileGrain - 1), kTileGrain);
}

StripSize SettleSize(StripSize wanted, uint64_t width, uint64_t height) {
  StripSize size = {width, height};
  if (wanted.width != 0 && wanted.width < width) {
    size.width = RoundToTile(wanted.width);
  }
  if (wanted.height != 0 && wanted.height < height) {
    size.height = size.width == width ? wanted.height : RoundToTile(wanted.height);
  }
  return size;
}

uint64_t RowBytes(const TifRowContext* context, const TifFile* file, uint64_t width) {
  if (TIFHasState(file, kStateYCbCr)) {
    return ((width + 1) >> 1) * 4;
  }
  if (TIFHasState(file, kStateFloat)) {
    return width * 4;
  }
  const uint64_t cmyk = TIFHasState(file, kStateCmyk) ? (context->bitsPerPixel >= 48 ? 2u : 1u) : 0u;
  return (static_cast<uint64_t>(context->bitsPerPixel) * width + 7) / 8 + cmyk * width;
}

// The short last strips. A page in full-width strips ends each plane with one; the very last entry is told once more by
// the remainder of the rows.
void ShortenLastStrips(const TifRowContext* context, const BitmapHandle* bitmap, uint32_t count) {
  const auto height = static_cast<uint32_t>(bitmap->height);
  const uint32_t before = (context->stripsDown - 1) * context->rowsPerStrip;
  if (context->tilesAcross == 1) {
    for (uint32_t plane = 0; plane < context->planeCount; ++plane) {
      context->byteCounts[(plane + 1) * context->stripsDown - 1] = (height - before) * context->rowBytes;
    }
  }
  const uint32_t rest = height % context->rowsPerStrip;
  if (count > 1 && context->tileWidth == static_cast<uint32_t>(bitmap->width) && rest != 0) {
    context->byteCounts[count - 1] = rest * context->rowBytes;
  }
}

} // namespace

void TIFInitRowContext(const FilterSaveRequest* request, TifRowContext* context) {
  *context = TifRowContext{};
  context->format = request->fileFormat;
  context->options = request->fileOptions;
  context->saveStart = request->saveStart;
  context->saveEnd = request->saveEnd;
  context->saveGetRow = request->saveGetRow;
  context->flags = request->flags;
  context->extra1 = request->extra1;
  context->extra2 = request->extra2;
  context->bitsPerPixel = request->bitsPerPixel;
  context->planeCount = 1;
  context->bitmap = request->bitmap;
}

int32_t TIFComputeStripLayout(const BitmapHandle* bitmap, TifRowContext* context, const TifFile* file) {
  if (bitmap->width <= 0 || bitmap->height <= 0) {
    return kResultBitmapMismatch;
  }
  const auto width = static_cast<uint64_t>(bitmap->width);
  const auto height = static_cast<uint64_t>(bitmap->height);
  const StripSize size = SettleSize(WantedSize(context, file, width, height), width, height);
  const uint64_t rowBytes = RowBytes(context, file, size.width);
  const uint64_t across = (width + size.width - 1) / size.width;
  const uint64_t down = (height + size.height - 1) / size.height;
  const uint64_t coded = context->format == kFormatPackBits ? TIFPackBitsWorstCase(rowBytes) : rowBytes;
  uint64_t stripBytes = 0;
  uint64_t count = 0;
  if (__builtin_mul_overflow(coded, size.height, &stripBytes) || stripBytes > UINT32_MAX ||
      __builtin_mul_overflow(across * down, uint64_t{context->planeCount}, &count) || count > UINT32_MAX / 4) {
    return kResultNoMemory;
  }
  context->byteCounts = static_cast<uint32_t*>(TIFAlloc(static_cast<size_t>(count), sizeof(uint32_t)));
  if (context->byteCounts == nullptr) {
    return kResultNoMemory;
  }
  context->tileWidth = static_cast<uint32_t>(size.width);
  context->rowsPerStrip = static_cast<uint32_t>(size.height);
  context->tilesAcross = static_cast<uint32_t>(across);
  context->stripsDown = static_cast<uint32_t>(down);
  context->rowBytes = static_cast<uint32_t>(rowBytes);
  context->stripBytes = static_cast<uint32_t>(stripBytes);
  std::fill_n(context->byteCounts, count, context->stripBytes);
  if (count != 0) {
    ShortenLastStrips(context, bitmap, static_cast<uint32_t>(count));
  }
  return kResultOk;
}

int32_t TIFInitLZWPage(TifPage* page, const SaveOptions* options, const BitmapHandle* descriptor, int32_t bitsPerPixel,
                       VxFileHandle file, bool isCmyk, bool isYcc, uint32_t tileWidth, uint32_t rowsPerStrip) {
  constexpr uint32_t kBitsOfColorWord = 5; // a 16-bit colour pixel is a 5-5-5 word
  const bool isColorWord = descriptor->bitsPerPixel == 16 && descriptor->order != kOrderGray;
  const auto depth = static_cast<uint32_t>(bitsPerPixel);
  const uint32_t sampleBits =
      bitsPerPixel < 17 ? (isColorWord ? kBitsOfColorWord : depth) : (bitsPerPixel < 48 ? 8u : 16u);
  page->bitsPerPixel = bitsPerPixel + (isCmyk ? static_cast<int32_t>(sampleBits) : 0);
  page->bitsPerSample[0] = sampleBits;
  page->samplesPerPixel = depth / sampleBits + (isCmyk ? 1 : 0);
  page->imageWidth = descriptor->width;
  page->imageLength = descriptor->height;
  page->fillOrder = kFillOrderMsbFirst;
  page->codecBufferSize = kLzwBufferSize;
  page->codecBuffer = static_cast<uint8_t*>(TIFAlloc(1, kLzwBufferSize));
  if (page->codecBuffer == nullptr) {
    return kResultNoMemory;
  }
  page->codecFile = file;
  page->predictor = page->bitsPerPixel >= 8 && !isYcc && (options->flags & kSavePredictor) != 0 ? kPredictorHorizontal
                                                                                                : kPredictorNone;
  page->tileWidth = static_cast<int32_t>(tileWidth);
  page->rowsPerStrip = static_cast<int32_t>(rowsPerStrip);
  if (options->structSize >= kSaveOptionsSize) {
    page->lzwRatioCheck = (options->flags2 & kSaveNoRatioCheck) == 0;
  }
  return kResultOk;
}

int32_t TIFInitPackBitsPage(TifPage* page, uint32_t stripBytes) {
  constexpr uint32_t kLeastBuffer = 8192;
  page->codecBufferSize = std::max(stripBytes, kLeastBuffer);
  page->codecBuffer = static_cast<uint8_t*>(TIFAlloc(1, page->codecBufferSize));
  return page->codecBuffer != nullptr ? kResultOk : kResultNoMemory;
}
