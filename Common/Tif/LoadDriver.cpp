// fltLoadTIF: one page of a file to the caller's row sink. The driver opens the file, finds and parses the page,
// repairs what its fields leave open, describes the caller's bitmap, and drives the reading of the pixels. It owns the
// handle, the page and every working buffer of the load. The numbers are the order of the checks, which decides what
// failure wins when two apply.

#include <algorithm>

#include <vxtif/vxtif.h>

#include "Tif/BitmapSetup.h"
#include "Tif/ColorConversion.h"
#include "Tif/FaxLoad.h"
#include "Tif/LoadState.h"
#include "Tif/PageLayout.h"
#include "Tif/PageOpening.h"
#include "Tif/RawLoad.h"
#include "Tif/RawPackBits.h"
#include "Tif/Siblings.h"
#include "Tifutil/PagePalette.h"
#include "Tifutil/PageParser.h"
#include "tif_com/Memory.h"
#include "tif_com/Tags.h"

namespace {

// 3. The raw formats have no TIFF structure and leave the driver here.
bool IsRawFormat(const FileInfoRecord* fileInfo) {
  const int32_t format = fileInfo == nullptr ? 0 : fileInfo->fileFormat;
  return format == kFormatRawRows || format == kFormatRawFax || format == kFormatRawPackBits;
}

int32_t LoadRawPackBits(PageLoad* load) {
  FilterLoadRequest* const request = load->request;
  BitmapHandle* const bitmap = request->bitmap;
  const int32_t depth = request->fileInfo->bitsPerPixel;
  if (depth <= 8) {
    if ((request->rawFlags & kRawPalette) == 0) {
      krnDefaultPalette(request->rawPalette, depth);
    }
    const uint32_t colors = bitmap->colorsUsed;
    krnBitmapSetPalette(bitmap, request->rawPalette, std::min<uint32_t>(colors, kPaletteEntries));
  }
  return TIFLoadRawPackBitsPage(request, load->file.fileHandle, load->rowCallback);
}

int32_t LoadRaw(PageLoad* load) {
  if (load->request->bitmap == nullptr) {
    return kResultNoBitmap;
  }
  switch (load->request->fileInfo->fileFormat) {
  case kFormatRawRows:
    return TIFLoadRawRows(load->request, load->file.fileHandle, load->palette);
  case kFormatRawFax:
    return TIFLoadRawFax(load->request, load->file.fileHandle, load->palette);
  default:
    return LoadRawPackBits(load);
  }
}

bool GoesWholeToSibling(const TifPage* page) {
  return page->compression == kCompressionVectorPage || page->compression == kCompressionVectorOld ||
         page->compression == kCompressionVector;
}

// 11. A page of one sample or one strip has no planes to separate. False for YCbCr planes, which are not loaded.
bool RepairPlanar(TifPage* page) {
  if (page->planarConfiguration != kPlanarSeparate) {
    return true;
  }
  if (page->photometricInterpretation == kPhotometricYCbCr) {
    return false;
  }
  if (page->samplesPerPixel == 1 || page->stripCount == 1) {
    page->planarConfiguration = kPlanarChunky;
  }
  return true;
}

// 12. Colours of 8 or 4 bits without a map can only be meant as grey.
void RepairPhotometric(TifPage* page) {
  const uint32_t photometric = page->photometricInterpretation;
  const bool shallow = page->bitsPerPixel == 8 || (page->bitsPerPixel == 4 && photometric != kPhotometricCmyk);
  if (shallow && page->colorMapEntries == 0 && photometric > kPhotometricBlackIsZero) {
    page->photometricInterpretation = kPhotometricBlackIsZero;
  }
}

// 19. A band of rows, for uncompressed pages only: others are read whole.
void SetRegion(PageLoad* load) {
  const FilterLoadRequest* const request = load->request;
  if (request->regionEnabled == 0 || load->page->compression != kCompressionNone) {
    return;
  }
  load->regionActive = true;
  load->region = TIFViewRegion(request->regionLeft, request->regionTop, request->regionWidth, request->regionHeight);
  TIFOrientRect(request->viewWidth, request->viewHeight, load->page->orientation, &load->region);
}

// 22. The range that the file promises, or one that every sample widens.
void InitSampleRange(TifLoadContext* context) {
  const TifPage* const page = context->page;
  context->minValue = static_cast<int32_t>(page->minSampleValue);
  context->maxValue = static_cast<int32_t>(page->maxSampleValue);
  if (page->minSampleValue == 0 && page->maxSampleValue == 0) {
    context->minValue = INT64_MAX;
    context->maxValue = page->sampleFormat == kSampleSigned ? INT64_MIN + 1 : 0;
  }
  context->minFloat = static_cast<float>(context->minValue);
  context->maxFloat = static_cast<float>(context->maxValue);
}

// 25 and 28.
void FillContext(PageLoad* load) {
  TifLoadContext* const context = &load->context;
  const TifPage* const page = load->page;
  const FilterLoadRequest* const request = load->request;
  const bool isSigned = (page->pageFlags & kPageSigned) != 0;
  const bool chunky = page->planarConfiguration != kPlanarSeparate;
  context->byteSwapSamples = load->file.byteOrder == kByteOrderBig;
  context->clampNegative = isSigned && (load->options->flags & kReadKeepSigned) == 0;
  context->keepAlpha = request->infoControl != nullptr && (request->infoControl->flags & kInfoWithAlpha) != 0;
  context->palette = page->colorMapCount != 0 ? load->palette : nullptr;
  context->cmykToRgb = page->photometricInterpretation == kPhotometricCmyk && chunky;
  context->scanRange = page->bitsPerSample[0] == 32 && page->samplesPerPixel == 1;
  context->floatSamples = page->sampleFormat == kSampleFloat;
  context->hasExtraChannel = page->bitsPerPixel == 32 || page->bitsPerPixel == 64;
  context->unpack12 = (page->compression == kCompressionNone && page->bitsPerPixel == 12) ||
                      page->compression == kCompressionLzw || page->compression == kCompressionPackBits;
  const BitmapHandle* const bitmap = load->target.bitmap != nullptr ? load->target.bitmap : request->bitmap;
  const int32_t lineBytes = bitmap->bytesPerLine;
  context->rowBytes = lineBytes;
  context->rowBufferBytes = lineBytes > 0 ? static_cast<uint32_t>(lineBytes) : 0;
}

// The wider of page and bitmap: rows of either must fit the buffers.
uint64_t WidestRow(const PageLoad* load) {
  const int32_t page = load->page->imageWidth;
  const int32_t bitmap = load->request->bitmap->width;
  return static_cast<uint64_t>(std::max({page, bitmap, 0}));
}

// 26, YCbCr: room for what the conversion writes and for what the sink may read of it.
int32_t AllocYccRows(PageLoad* load) {
  TifLoadContext* const context = &load->context;
  const TifPage* const page = load->page;
  const uint64_t horiz = page->yCbCrSubSampleHoriz;
  const uint64_t vert = page->yCbCrSubSampleVert;
  const int32_t lineBytes = load->request->bitmap->bytesPerLine;
  const uint64_t ofUnits = (horiz * vert + 2) * ((WidestRow(load) + 4) / horiz) * vert;
  const uint64_t ofLines = lineBytes > 0 ? vert * static_cast<uint64_t>(lineBytes) : 0;
  const uint64_t ofReader = vert * (TIFYccStride(page) + 3);
  const uint64_t bytes = std::max({ofUnits, ofLines, ofReader, TIFYccTargetBytes(page)});
  context->yccRows = bytes > UINT64_MAX - 3 ? nullptr : TIFAllocZeroBytes(bytes + 3);
  if (context->yccRows == nullptr) {
    return kResultNoMemory;
  }
  context->yccRowsBytes = bytes + 3;
  context->yccFast = horiz == 2 && vert == 1;
  if ((page->pageFlags & kPageSigned) != 0) {
    context->clampNegative = true;
  }
  return kResultOk;
}

// 27. Only 8-bit grey with 8-bit alpha is expanded.
int32_t AllocAlphaRows(PageLoad* load) {
  TifLoadContext* const context = &load->context;
  const TifPage* const page = load->page;
  if (!context->keepAlpha) {
    return kResultOk;
  }
  if (page->totalBits != 16 || page->extraBits != 8) {
    context->keepAlpha = false;
    return kResultOk;
  }
  const uint64_t bufferBytes = (uint64_t{page->totalBits} + 7) / 8 * (WidestRow(load) + 4);
  context->alphaRows = TIFAllocZeroBytes(2 * bufferBytes);
  if (context->alphaRows == nullptr) {
    return kResultNoMemory;
  }
  context->alphaRowsBytes = 2 * bufferBytes;
  return kResultOk;
}

// 26 and 27.
int32_t AllocRowBuffers(PageLoad* load) {
  if (load->page->photometricInterpretation == kPhotometricYCbCr) {
    const int32_t result = AllocYccRows(load);
    if (result != kResultOk) {
      return result;
    }
  }
  return AllocAlphaRows(load);
}

void FreeRowBuffers(TifLoadContext* context) {
  TIFFree(context->alphaRows);
  context->alphaRows = nullptr;
  TIFFree(context->yccRows);
  context->yccRows = nullptr;
}

// 22 to 30, with the target open.
int32_t ReadToTarget(PageLoad* load) {
  const TargetKind kind = load->target.kind;
  TifPage* const page = load->page;
  if (kind == TargetKind::kWide || kind == TargetKind::kCaller) {
    InitSampleRange(&load->context);
  }
  if (page->photometricInterpretation == kPhotometricYCbCr) {
    TIFBuildYccTables(page); // 23
  }
  if (!load->regionActive && kind != TargetKind::kStoredSize && load->request->bitmap->width != page->imageWidth) {
    return kResultBitmapMismatch; // 24
  }
  FillContext(load);
  int32_t result = AllocRowBuffers(load);
  if (result == kResultOk) {
    result = TIFReadPixels(load); // 29
  }
  return result == kResultOk ? TIFRunSecondPass(load) : result;
}

// 21 to 30. The release order is part of the load's contract with hosts that watch the kernel.
int32_t LoadPixels(PageLoad* load) {
  FilterLoadRequest* const request = load->request;
  int32_t result = TIFOpenTarget(load);
  if (result == kResultOk) {
    result = ReadToTarget(load);
  }
  TIFCloseTarget(&load->target);
  FreeRowBuffers(&load->context);
  if (request->truncationStatus == kResultOk) {
    request->truncationStatus = load->context.status;
  }
  return result;
}

// 13 to 20, then the pixels.
int32_t LoadForBitmap(PageLoad* load) {
  FilterLoadRequest* const request = load->request;
  TifPage* const page = load->page;
  load->rowSize = TIFTileRowBytes(page);
  TIFClampStripByteCounts(page);
  TIFSumStripByteCounts(page);
  TIFDescribeBitmap(request, load->options, page);
  int32_t result = TIFPreparePalette(0, &load->file, page, load->palette);
  if (result != kResultOk) {
    return result;
  }
  result = TIFSetBitmapTones(request->bitmap, page, load->palette);
  if (result != kResultOk) {
    return result;
  }
  SetRegion(load);
  load->split = TIFNormalizeStrips(page);
  return LoadPixels(load);
}

// 7 to 12, then what needs a bitmap.
int32_t LoadParsedPage(PageLoad* load) {
  TifPage* const page = load->page;
  load->context.page = page;
  if (page->stripOffsets == nullptr || page->stripByteCounts == nullptr) {
    return kResultNotTiff;
  }
  load->context.parsedPhotometric = page->photometricInterpretation;
  if (page->photometricInterpretation == kPhotometricYCbCr && page->totalBits != 24) {
    return kResultColorLayout;
  }
  if (GoesWholeToSibling(page)) {
    return TIFSiblingLoadFile(load->request, load->file.fileHandle, page); // 9: before the bitmap is missed
  }
  if (load->request->bitmap == nullptr) {
    return kResultNoBitmap;
  }
  if (!RepairPlanar(page)) {
    return kResultColorLayout;
  }
  RepairPhotometric(page);
  return LoadForBitmap(load);
}

// 3 to 30, with the file open. The page is left to the caller, who frees it behind the close.
int32_t LoadOpenFile(PageLoad* load) {
  if (IsRawFormat(load->request->fileInfo)) {
    return LoadRaw(load);
  }
  int32_t result = TIFSeekWantedPage(&load->file, load->options); // 4
  if (result == kResultOk) {
    result = TIFParseWantedPage(&load->file, load->request->fileOptions, kSampleUnsigned, &load->page); // 5 and 6
  }
  return result == kResultOk ? LoadParsedPage(load) : result;
}

} // namespace

int32_t fltLoadTIF(FilterLoadRequest* request) {
  if (request->fileName == nullptr) {
    return kResultNoFileName;
  }
  const VxFileHandle handle = krnFileOpen(request->fileName, kKrnFileRead, kKrnShareRead);
  if (handle == kKrnNoHandle) {
    return kResultOpenFailed;
  }
  PageLoad load = {};
  load.request = request;
  load.options = TIFOptionsOrNone(request->fileOptions);
  load.rowCallback = TIFSinkOrRefusal(request->rowCallback);
  load.file.fileHandle = handle;
  load.context.request = request;
  load.context.status = kResultOk;
  const int32_t result = LoadOpenFile(&load);
  krnFileClose(handle);
  if (load.page != nullptr) {
    TIFFreePage(load.page);
  }
  return result;
}
