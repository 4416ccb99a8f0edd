// The second pass of a load: planes are merged, 32-bit samples scaled, and bilevel pages stored at another size brought
// to the caller's. The load driver calls it when the reading has succeeded.

#include "Tif/LoadState.h"
#include "Tif/PlaneMerge.h"
#include "Tif/RowAssembly.h"
#include "Tif/WideSamples.h"
#include "tif_com/Memory.h"
#include "tif_com/Tags.h"

namespace {

constexpr int32_t kResizeBoxFilter = 4;
constexpr int32_t kReduceByErrorDiffusion = 2;

// Grey in between, so that the new size is filtered and not just sampled.
int32_t ResampleBitonal(BitmapHandle* temporary, int32_t width, int32_t height) {
  int32_t result = krnBitmapSetDepth(temporary, 8);
  if (result == kResultOk) {
    result = krnBitmapResize(temporary, width, height, kResizeBoxFilter);
  }
  if (result == kResultOk) {
    result = krnBitmapReduce(temporary, temporary, kBitmapHandleSize, 1, 1, 0, 0, kReduceByErrorDiffusion, 0, 0);
  }
  return result;
}

int32_t FeedRows(PageLoad* load, uint8_t* row) {
  BitmapHandle* const bitmap = load->request->bitmap;
  const BitmapHandle* const temporary = &load->target.temporary;
  const int32_t height = bitmap->height;
  const int32_t lineBytes = temporary->bytesPerLine;
  for (int32_t i = 0; i < height; ++i) {
    krnBitmapGetRow(temporary, row, i, lineBytes);
    const uint32_t flags =
        uint32_t{kRowsAlways} | (i == 0 ? uint32_t{kRowsFirst} : 0) | (i == height - 1 ? uint32_t{kRowsLast} : 0);
    const int32_t result =
        TIFProcessRows(load->request->fileInfo, bitmap, row, flags, i, 1, reinterpret_cast<intptr_t>(&load->context));
    if (result != kResultOk) {
      return result;
    }
  }
  return kResultOk;
}

int32_t FeedBitmapRows(PageLoad* load) {
  BitmapHandle* const temporary = &load->target.temporary;
  const int32_t lineBytes = temporary->bytesPerLine;
  uint8_t* const row = TIFAllocZeroBytes(static_cast<uint64_t>(lineBytes));
  if (row == nullptr) {
    return kResultNoMemory;
  }
  load->context.rowBufferBytes = static_cast<uint32_t>(lineBytes);
  krnBitmapAccess(temporary);
  const int32_t result = FeedRows(load, row);
  krnBitmapRelease(temporary);
  TIFFree(row);
  return result;
}

int32_t EmitStoredSize(PageLoad* load) {
  const BitmapHandle* const bitmap = load->request->bitmap;
  const int32_t result = ResampleBitonal(&load->target.temporary, bitmap->width, bitmap->height);
  return result == kResultOk ? FeedBitmapRows(load) : result;
}

} // namespace

int32_t TIFRunSecondPass(PageLoad* load) {
  FilterLoadRequest* const request = load->request;
  LoadTarget* const target = &load->target;
  load->context.rowSink = load->rowCallback;
  load->context.rowSinkData = request->rowCallbackData;
  switch (target->kind) {
  case TargetKind::kPlanes:
    load->page->photometricInterpretation = load->context.parsedPhotometric;
    return TIFMergePlanes(load->context.cmykKeep, request->bitmap, target->planes, load->page, request->fileInfo,
                          TIFProcessRows, &load->context);
  case TargetKind::kWide:
    return TIFEmitWideSamples(request->bitmap, &target->temporary, load->page, request->fileInfo, load->rowCallback,
                              &load->context);
  case TargetKind::kStoredSize:
    return EmitStoredSize(load);
  case TargetKind::kCaller:
    break;
  }
  return kResultOk;
}
