// The target of a load's reading: the caller's bitmap, or temporary ones for the three kinds of page that cannot be
// given to the caller row by row. The load driver opens and closes it.

#include "Tif/LoadState.h"
#include "Tif/PageLayout.h"
#include "Tif/Planes.h"
#include "Tif/RowAssembly.h"
#include "tif_com/Saturate.h"
#include "tif_com/Tags.h"

namespace {

TargetKind ChooseKind(const TifPage* page) {
  if (page->planarConfiguration == kPlanarSeparate) {
    return TargetKind::kPlanes;
  }
  if (page->bitsPerSample[0] == 32) {
    return TargetKind::kWide;
  }
  if (page->compression == kCompressionStoredSize && page->private50235First != 0 && page->private50235Second != 0) {
    return TargetKind::kStoredSize;
  }
  return TargetKind::kCaller;
}

void SetRowSink(TifLoadContext* context, TifRowSink sink, intptr_t data) {
  context->rowSink = sink;
  context->rowSinkData = data;
}

int32_t OpenPlanes(PageLoad* load) {
  LoadTarget* const target = &load->target;
  const TifPage* const page = load->page;
  const BitmapHandle* const bitmap = load->request->bitmap;
  target->receiver = TIFStoreRows;
  load->rowSize = TIFPlaneRowBytes(page);
  const PlaneSize size = {bitmap->width, bitmap->height, page->bitsPerSample[0]};
  const int32_t result =
      TIFCreatePlanes(size, page->samplesPerPixel, (bitmap->flags & kBitmapSigned) != 0, &target->planes);
  target->planeCount = target->planes == nullptr ? 0 : page->samplesPerPixel;
  return result;
}

int32_t CreateTemporary(LoadTarget* target, const BitmapHandle* like, int32_t width, int32_t height, int32_t depth,
                        uint32_t order) {
  if (krnBitmapCreate(&target->temporary, kBitmapHandleSize, 1, width, height, depth, order, 0, like->viewPerspective,
                      0, 0) != 1) {
    return kResultNoMemory;
  }
  target->hasTemporary = true;
  target->bitmap = &target->temporary;
  return kResultOk;
}

int32_t OpenWide(PageLoad* load) {
  LoadTarget* const target = &load->target;
  const BitmapHandle* const bitmap = load->request->bitmap;
  target->receiver = TIFProcessRows;
  SetRowSink(&load->context, TIFStoreRows, reinterpret_cast<intptr_t>(&load->context));
  const int32_t result = CreateTemporary(target, bitmap, bitmap->width, bitmap->height, 32, kOrderGray);
  if (result == kResultOk) {
    krnBitmapAccess(&target->temporary);
  }
  return result;
}

// The stored size is a claim of the file: beyond what a large plan takes it has to be in proportion to the bitmap.
bool IsInProportion(const TifPage* page, const BitmapHandle* bitmap) {
  constexpr uint64_t kPlanPixels = 32u << 20;
  constexpr uint64_t kMostReduction = 64;
  const uint64_t shown = bitmap->width > 0 && bitmap->height > 0
                             ? static_cast<uint64_t>(bitmap->width) * static_cast<uint64_t>(bitmap->height)
                             : 0;
  return uint64_t{page->private50235First} * page->private50235Second <= kPlanPixels + kMostReduction * shown;
}

int32_t OpenStoredSize(PageLoad* load) {
  const TifPage* const page = load->page;
  load->target.receiver = TIFStoreRows;
  if (!IsInProportion(page, load->request->bitmap)) {
    return kResultNoMemory;
  }
  return CreateTemporary(&load->target, load->request->bitmap, TIFSaturateI32(page->private50235First),
                         TIFSaturateI32(page->private50235Second), 1, kOrderRedFirst);
}

} // namespace

int32_t TIFOpenTarget(PageLoad* load) {
  LoadTarget* const target = &load->target;
  target->kind = ChooseKind(load->page);
  switch (target->kind) {
  case TargetKind::kPlanes:
    return OpenPlanes(load);
  case TargetKind::kWide:
    return OpenWide(load);
  case TargetKind::kStoredSize:
    return OpenStoredSize(load);
  case TargetKind::kCaller:
    break;
  }
  target->bitmap = load->request->bitmap;
  target->receiver = TIFProcessRows;
  SetRowSink(&load->context, load->rowCallback, load->request->rowCallbackData);
  return kResultOk;
}

void TIFCloseTarget(LoadTarget* target) {
  if (target->hasTemporary) {
    krnBitmapRelease(&target->temporary);
    krnBitmapFree(&target->temporary);
    target->hasTemporary = false;
  }
  TIFFreePlanes(target->planes, target->planeCount);
  target->planes = nullptr;
}
