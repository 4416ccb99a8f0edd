// The road of each compression through a load: the strip reader, the fax codec, or a sibling library. The load driver
// calls it once the target and the context stand.

#include "Tif/FaxLoad.h"
#include "Tif/LoadState.h"
#include "Tif/PageLayout.h"
#include "Tif/Siblings.h"
#include "Tif/StripReader.h"
#include "tif_com/Saturate.h"
#include "tif_com/Tags.h"

namespace {

enum class LoadRoad { kStrips, kFax, kSibling };

struct CompressionRow {
  uint32_t compression;
  LoadRoad road;
  uint32_t siblingRow;
};

// Deflate is let in and read, and refused by the strip reader's decode step. The compressions that go whole to sibling
// row 2 have left the load before.
constexpr CompressionRow kCompressions[] = {
    {kCompressionNone, LoadRoad::kStrips, kNoSibling},
    {kCompressionCcittRle, LoadRoad::kFax, kNoSibling},
    {kCompressionGroup3, LoadRoad::kFax, kNoSibling},
    {kCompressionGroup4, LoadRoad::kFax, kNoSibling},
    {kCompressionLzw, LoadRoad::kStrips, kNoSibling},
    {kCompressionDeflate, LoadRoad::kStrips, kNoSibling},
    {kCompressionDeflateOld, LoadRoad::kStrips, kNoSibling},
    {kCompressionPackBits, LoadRoad::kStrips, kNoSibling},
    {kCompressionAbicOld, LoadRoad::kSibling, kSiblingBilevel2},
    {kCompressionBilevel2, LoadRoad::kSibling, kSiblingBilevel2},
    {kCompressionJpeg2000Old, LoadRoad::kSibling, kSiblingJpeg2000},
    {kCompressionJpeg2000, LoadRoad::kSibling, kSiblingJpeg2000},
    {kCompressionJbig, LoadRoad::kSibling, kSiblingJbig},
    {kCompressionStoredSize, LoadRoad::kSibling, kSiblingJbig},
    {kCompressionWavelet, LoadRoad::kSibling, kSiblingWavelet},
    {kCompressionSegment, LoadRoad::kSibling, kSiblingSegment},
    {kCompressionBilevel1, LoadRoad::kSibling, kSiblingBilevel1},
    {kCompressionJbig2, LoadRoad::kSibling, kSiblingJbig2},
};

const CompressionRow* FindCompression(uint32_t compression) {
  for (const CompressionRow& row : kCompressions) {
    if (row.compression == compression) {
      return &row;
    }
  }
  return nullptr;
}

StripReadJob JobOf(PageLoad* load) {
  StripReadJob job = {};
  job.file = load->file.fileHandle;
  job.fileInfo = load->request->fileInfo;
  job.target = load->target.bitmap;
  job.receiver = load->target.receiver;
  job.context = &load->context;
  job.page = load->page;
  job.rowSize = load->rowSize;
  job.deliveredBytes = TIFDeliveredRowBytes(load->page, load->context.cmykToRgb);
  job.regionActive = load->regionActive;
  job.region = load->region;
  job.samples = load->page->samplesPerPixel;
  return job;
}

// The planes stand one after the other in the tables. Their distance follows the caller's bitmap and not the page.
int32_t ReadPlanes(PageLoad* load) {
  const BitmapHandle* const bitmap = load->request->bitmap;
  const uint64_t slots = TIFSlotsOfPlane(load->page, load->split, bitmap->width, bitmap->height);
  load->context.tilesPerPlane = slots > INT32_MAX ? INT32_MAX : static_cast<int32_t>(slots);
  StripReadJob job = JobOf(load);
  job.deliveredBytes = 0;
  job.samples = 1;
  for (uint32_t plane = 0; plane < load->target.planeCount; ++plane) {
    job.target = load->target.planes[plane];
    job.firstSlot = plane * slots;
    const int32_t result = TIFReadStrips(&job);
    if (result != kResultOk) {
      return result;
    }
  }
  return kResultOk;
}

int32_t ReadStrips(PageLoad* load) {
  if (load->target.kind == TargetKind::kPlanes) {
    return ReadPlanes(load);
  }
  const StripReadJob job = JobOf(load);
  return TIFReadStrips(&job);
}

int32_t ReadBySibling(PageLoad* load) {
  const TifPage* const page = load->page;
  if (page->stripCount != 1) {
    return ReadStrips(load);
  }
  const StripSlot slot = TIFStripSlot(page, 0);
  return TIFSiblingLoadStream(load->request, load->file.fileHandle, load->target.bitmap, load->target.receiver, page,
                              slot.offset, slot.byteCount, reinterpret_cast<intptr_t>(&load->context),
                              load->context.siblingIndex);
}

} // namespace

int32_t TIFReadPixels(PageLoad* load) {
  const CompressionRow* const row = FindCompression(load->page->compression);
  load->context.siblingIndex = row == nullptr ? kNoSibling : row->siblingRow;
  if (row == nullptr) {
    return kResultUnknownCompression;
  }
  FilterLoadRequest* const request = load->request;
  switch (row->road) {
  case LoadRoad::kFax:
    // Past the row stage and any temporary bitmap: the codec's rows go to the caller.
    return TIFLoadFaxPage(request, load->file.fileHandle, request->fileInfo, request->bitmap, load->rowCallback,
                          load->page, request->rowCallbackData);
  case LoadRoad::kSibling:
    return ReadBySibling(load);
  case LoadRoad::kStrips:
    break;
  }
  return ReadStrips(load);
}
