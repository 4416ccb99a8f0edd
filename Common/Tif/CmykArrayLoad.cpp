// fltLoadCMYKArrayTIF: a CMYK page without conversion, one grey bitmap a sample, so that the caller keeps the inks
// apart. It runs through the strip reader as a page load does, with no palette, no row stage and no colour conversion.
// The numbers are the order of the checks.

#include <algorithm>

#include <vxtif/vxtif.h>

#include "Tif/BitmapSetup.h"
#include "Tif/PageLayout.h"
#include "Tif/PageOpening.h"
#include "Tif/RowAssembly.h"
#include "Tif/SampleSplit.h"
#include "Tif/StripReader.h"
#include "Tif/StripRepair.h"
#include "Tifutil/PageParser.h"
#include "tif_com/Tags.h"

namespace {

struct ArrayLoad {
  FilterLoadCMYKRequest* request;
  const FileOptions* options;
  uint32_t bitmapCount;
  TifFile file;
  TifPage* page;
  TifLoadContext context;
  StripSplit split;
};

// 2 to 4. Unlike a page load this one leaves the sample format to the file.
int32_t OpenPage(ArrayLoad* load) {
  int32_t result = TIFSeekWantedPage(&load->file, load->options);
  if (result == kResultOk) {
    result = TIFParseWantedPage(&load->file, load->request->fileOptions, 0, &load->page);
  }
  if (result == kResultOk && (load->page->stripOffsets == nullptr || load->page->stripByteCounts == nullptr)) {
    return kResultNotTiff;
  }
  return result;
}

// 7. The option to ignore the orientation has no effect on arrays.
int32_t DescribeBitmaps(const ArrayLoad* load) {
  const TifPage* const page = load->page;
  for (uint32_t i = 0; i < load->bitmapCount; ++i) {
    BitmapHandle* const bitmap = load->request->bitmaps[i];
    if (bitmap == nullptr) {
      return kResultNoBitmap;
    }
    bitmap->xResolution = TIFRoundResolution(page->xResolution);
    bitmap->yResolution = TIFRoundResolution(page->yResolution);
    bitmap->viewPerspective = page->viewPerspective;
  }
  return kResultOk;
}

// 10.
void FillContext(ArrayLoad* load) {
  TifLoadContext* const context = &load->context;
  context->page = load->page;
  context->byteSwapSamples = load->file.byteOrder == kByteOrderBig;
  context->rowSink = TIFSinkOrRefusal(load->request->rowCallback);
  context->rowSinkData = load->request->rowCallbackData;
  context->status = kResultOk;
  context->arrayRequest = load->request;
  context->siblingIndex = kNoSibling;
}

StripReadJob JobOf(ArrayLoad* load) {
  StripReadJob job = {};
  job.file = load->file.fileHandle;
  job.fileInfo = load->request->fileInfo;
  job.context = &load->context;
  job.page = load->page;
  return job;
}

// 9 and 11, the inks side by side in every pixel. The array's bitmaps share the signedness of the whole.
int32_t ReadChunky(ArrayLoad* load, uint64_t rowSize) {
  const TifPage* const page = load->page;
  BitmapHandle local = {};
  const uint32_t bits = page->totalBits;
  krnBitmapInit(&local, kBitmapHandleSize, page->imageWidth, page->imageLength,
                static_cast<int32_t>(std::min<uint32_t>(bits, INT32_MAX)));
  StripReadJob job = JobOf(load);
  job.target = &local;
  job.receiver = TIFSplitSamples;
  job.rowSize = rowSize;
  job.samples = page->samplesPerPixel;
  const int32_t result = TIFReadStrips(&job);
  for (uint32_t i = 0; i < load->bitmapCount; ++i) { // 12
    BitmapHandle* const bitmap = load->request->bitmaps[i];
    bitmap->flags = (bitmap->flags & ~uint32_t{kBitmapSigned}) | (local.flags & kBitmapSigned);
  }
  return result;
}

// 9 and 11, plane after plane.
int32_t ReadPlanes(ArrayLoad* load) {
  const TifPage* const page = load->page;
  if (load->bitmapCount == 0) {
    return kResultNoBitmap;
  }
  const uint64_t slots = TIFSlotsOfPlane(page, load->split, page->imageWidth, page->imageLength);
  const uint32_t samples = page->samplesPerPixel;
  StripReadJob job = JobOf(load);
  job.receiver = TIFForwardRows;
  job.rowSize = TIFPlaneRowBytes(page);
  job.samples = 1;
  for (uint32_t plane = 0; plane < std::min(samples, load->bitmapCount); ++plane) {
    job.target = load->request->bitmaps[plane];
    job.firstSlot = plane * slots;
    const int32_t result = TIFReadStrips(&job);
    if (result != kResultOk) {
      return result;
    }
  }
  return kResultOk;
}

bool IsDecodedHere(const TifPage* page) {
  return page->compression == kCompressionNone || page->compression == kCompressionLzw ||
         page->compression == kCompressionPackBits;
}

// 5 to 12.
int32_t LoadInks(ArrayLoad* load) {
  TifPage* const page = load->page;
  if (page->photometricInterpretation != kPhotometricCmyk) {
    return kResultNotCmyk;
  }
  const uint64_t rowSize = TIFTileRowBytes(page);
  TIFClampStripByteCounts(page);
  TIFSumStripByteCounts(page);
  const int32_t result = DescribeBitmaps(load);
  if (result != kResultOk) {
    return result;
  }
  load->split = TIFNormalizeStrips(page);
  FillContext(load);
  if (!IsDecodedHere(page)) {
    return kResultUnknownCompression; // a sibling would need a page load's request
  }
  return page->planarConfiguration == kPlanarSeparate ? ReadPlanes(load) : ReadChunky(load, rowSize);
}

} // namespace

int32_t fltLoadCMYKArrayTIF(FilterLoadCMYKRequest* request) {
  const VxFileHandle handle = krnFileOpen(request->fileName, kKrnFileRead, kKrnShareRead);
  if (handle == kKrnNoHandle) {
    return kResultOpenFailed;
  }
  ArrayLoad load = {};
  load.request = request;
  load.options = TIFOptionsOrNone(request->fileOptions);
  const int32_t count = request->bitmapCount;
  load.bitmapCount = request->bitmaps != nullptr && count > 0 ? static_cast<uint32_t>(count) : 0;
  load.file.fileHandle = handle;
  int32_t result = OpenPage(&load);
  if (result == kResultOk) {
    result = LoadInks(&load);
  }
  krnFileClose(handle);
  if (load.page != nullptr) {
    TIFFreePage(load.page);
  }
  return result;
}
