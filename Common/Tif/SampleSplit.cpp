// Splitting of chunky rows into the rows of single inks. The strip reader calls it for the load of CMYK arrays.

#include "Tif/SampleSplit.h"

#include <algorithm>

#include "tif_com/ByteOrder.h"
#include "tif_com/Memory.h"

namespace {

struct SplitRow {
  const uint8_t* rows;
  uint64_t readable; // bytes from the row's start to the end of the band
  uint64_t width;
  uint32_t samplesPerPixel;
};

// Samples that begin within the readable bytes; the others of the plane's row stay 0.
uint64_t SamplesWithin(const SplitRow& row, uint64_t first, uint64_t step, uint64_t sampleBytes) {
  if (first + sampleBytes > row.readable) {
    return 0;
  }
  return std::min(row.width, (row.readable - first - sampleBytes) / step + 1);
}

void GatherBytes(const SplitRow& row, uint32_t plane, uint8_t* out) {
  const uint64_t step = row.samplesPerPixel;
  const uint64_t count = SamplesWithin(row, plane, step, 1);
  const uint8_t* source = row.rows + plane;
  for (uint64_t i = 0; i < count; ++i, source += step) {
    out[i] = *source;
  }
}

// The step counts two words for each sample, so that every second pixel is taken and the far half of a plane's row
// comes from the rows behind. Callers of this load know it so.
void GatherWords(const SplitRow& row, uint32_t plane, uint8_t* out) {
  const uint64_t step = uint64_t{row.samplesPerPixel} * 4;
  const uint64_t count = SamplesWithin(row, uint64_t{2} * plane, step, 2);
  const uint8_t* source = row.rows + uint64_t{2} * plane;
  for (uint64_t i = 0; i < count; ++i, source += step) {
    StoreU16LE(out + 2 * i, LoadU16LE(source));
  }
}

int32_t DeliverPlanes(const SplitRow& row, uint32_t depth, uint32_t planes, uint8_t* planeRow, FileInfoRecord* fileInfo,
                      uint32_t flags, int32_t firstRow, int32_t rowCount, const TifLoadContext* context) {
  for (uint32_t plane = 0; plane < planes; ++plane) {
    if (depth == 8) {
      GatherBytes(row, plane, planeRow);
    } else {
      GatherWords(row, plane, planeRow);
    }
    const int32_t result = context->rowSink(fileInfo, context->arrayRequest->bitmaps[plane], planeRow, flags, firstRow,
                                            rowCount, context->rowSinkData);
    if (result != kResultOk) {
      return result;
    }
  }
  return kResultOk;
}

} // namespace

int32_t TIFSplitSamples(FileInfoRecord* fileInfo, BitmapHandle* /*bitmap*/, uint8_t* rows, uint32_t flags,
                        int32_t firstRow, int32_t rowCount, intptr_t data) {
  const auto* const context = reinterpret_cast<const TifLoadContext*>(data);
  if (context == nullptr || context->arrayRequest == nullptr) {
    return kResultNullPointer;
  }
  const TifPage* const page = context->page;
  const uint32_t depth = page->bitsPerSample[0];
  if (depth != 8 && depth != 16) {
    return kResultDepthNotSupported;
  }
  const int32_t imageWidth = page->imageWidth;
  const SplitRow row = {rows, context->bandTailBytes, static_cast<uint64_t>(std::max(imageWidth, 0)),
                        page->samplesPerPixel};
  uint8_t* const planeRow = TIFAllocZeroBytes((row.width * depth + 31) / 8 / 4 * 4);
  if (planeRow == nullptr) {
    return kResultNoMemory;
  }
  const FilterLoadCMYKRequest* const request = context->arrayRequest;
  const int32_t bitmapCount = request->bitmaps == nullptr ? 0 : request->bitmapCount;
  const uint32_t planes = std::min(static_cast<uint32_t>(std::max(bitmapCount, 0)), row.samplesPerPixel);
  const int32_t result = DeliverPlanes(row, depth, planes, planeRow, fileInfo, flags, firstRow, rowCount, context);
  TIFFree(planeRow);
  return result;
}
