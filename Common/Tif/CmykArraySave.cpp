// Saving of a CMYK page from an array of bitmaps, one a plane: in planes, or interleaved by a row source that stands
// between the row service and the strip writer. Directory, strips and tables are written as for an ordinary page, but a
// failure leaves the page in the file as far as it was written.

#include <algorithm>

#include <vxtif/formats.h>
#include <vxtif/results.h>
#include <vxtif/save.h>

#include "Tif/DirectoryJob.h"
#include "Tif/PlaneMerge.h"
#include "Tif_lzw/StripWriter.h"
#include "tif_com/Memory.h"
#include "tif_com/PageChain.h"
#include "tif_com/SaveState.h"
#include "tif_com/TagAccess.h"
#include "tif_com/Tags.h"

namespace {

constexpr uint64_t kMostRowBytes = UINT32_MAX;

struct ArrayFormat {
  int32_t asked;
  int32_t internal;
  TifCompression compression;
};

constexpr ArrayFormat kArrayFormats[] = {
    {kFormatUncompressedCmyk, kFormatUncompressed, kCompressionNone},
    {kFormatLzwCmyk, kFormatLzw, kCompressionLzw},
    {kFormatPackBitsCmyk, kFormatPackBits, kCompressionPackBits},
};

const ArrayFormat* FindFormat(int32_t asked) {
  for (const ArrayFormat& format : kArrayFormats) {
    if (format.asked == asked) {
      return &format;
    }
  }
  return nullptr;
}

// One page on its way to the file.
struct ArraySave {
  FilterSaveCMYKRequest* request;
  SaveOptions* options;
  const ArrayFormat* format;
  TifFile file;
  TifPage* page; // scratch
  TifRowContext rows;
  BitmapHandle* descriptor; // the row service's
  void* conversionContext;
  uint8_t* rowBuffer;
  uint32_t rowBufferBytes;
  uint32_t passes; // 1, or the planes of a planar page
};

// By value: the fields of packed records stand at any address.
uint64_t AtLeastZero(int32_t value) {
  return value > 0 ? static_cast<uint64_t>(value) : 0;
}

bool IsPlanar(const ArraySave* save) {
  return (save->options->flags2 & kSavePlanar) != 0;
}

// Planes that share a written row.
uint32_t PlanesInRow(const ArraySave* save) {
  return IsPlanar(save) ? 1 : save->request->planeCount;
}

bool HasPlanes(const FilterSaveCMYKRequest* request) {
  if (request->bitmaps == nullptr || request->planeCount == 0) {
    return false;
  }
  return std::find(request->bitmaps, request->bitmaps + request->planeCount, nullptr) ==
         request->bitmaps + request->planeCount;
}

// What is refused before the file is touched. The format number is rewritten on the way.
int32_t CheckRequest(FilterSaveCMYKRequest* request, const ArrayFormat** format) {
  if (request->bitsPerPlane != 8 && request->bitsPerPlane != 16) {
    return kResultDepthNotSupported;
  }
  *format = FindFormat(request->format);
  if (*format == nullptr) {
    return kResultNotCmyk;
  }
  request->format = (*format)->internal;
  if (!HasPlanes(request)) {
    return kResultNoBitmap;
  }
  const BitmapHandle* const first = request->bitmaps[0];
  return first->width == 0 || first->height == 0 ? kResultBitmapMismatch : kResultOk;
}

int32_t StartRows(ArraySave* save) {
  FilterSaveCMYKRequest* const request = save->request;
  uint32_t flags = request->flags;
  if (request->bitsPerPlane == 16) {
    flags = (flags & ~static_cast<uint32_t>(kSaveRequestBlueFirst)) | kSaveRequestGrayRows;
    save->file.stateFlags |= kStateGray;
  }
  flags |= kSaveRequestAlways | kSaveRequestGray;
  const int32_t result = request->saveStart(request->bitmaps[0], &save->descriptor, request->bitsPerPlane, &flags,
                                            nullptr, 1, request->extra1, request->extra2, &save->conversionContext);
  request->flags = flags;
  return result < kResultOk ? result : kResultOk;
}

void EndRows(ArraySave* save) {
  FilterSaveCMYKRequest* const request = save->request;
  uint32_t flags = request->flags;
  request->saveEnd(request->bitmaps[0], &save->descriptor, &flags, 0, &save->conversionContext);
  request->flags = flags;
}

void TIFInitCMYKRowContext(const FilterSaveCMYKRequest* request, SaveOptions* options, TifRowContext* context) {
  *context = TifRowContext{};
  context->format = request->format;
  context->options = options;
  context->saveStart = request->saveStart;
  context->saveEnd = request->saveEnd;
  context->saveGetRow = request->saveGetRow;
  context->flags = request->flags;
  context->extra1 = request->extra1;
  context->extra2 = request->extra2;
  context->bitsPerPixel = request->bitsPerPlane;
  context->planeCount = request->planeCount;
  context->bitmap = request->bitmaps[0];
  context->planes = request->bitmaps;
}

// The row callback of an interleaved page: fetches a row of every plane through the request's own callback, then takes
// a sample of each in turn. The context comes as the second opaque word.
int32_t TIFInterleaveRowSource(BitmapHandle*, BitmapHandle* descriptor, void* rowBuffer, int32_t rowIndex, int32_t one,
                               uint32_t flags, intptr_t extra1, intptr_t contextAsExtra2, void* conversionContext) {
  const auto* const context = reinterpret_cast<const TifRowContext*>(contextAsExtra2);
  for (uint32_t plane = 0; plane < context->planeCount; ++plane) {
    const int32_t result = context->planeGetRow(context->planes[plane], descriptor, context->planeRows[plane], rowIndex,
                                                one, flags, extra1, context->planeExtra2, conversionContext);
    if (result != kResultOk) {
      return result;
    }
  }
  // The buffers have room for the rows of the first plane.
  const int32_t delivered = descriptor->width;
  const int32_t planeWidth = context->bitmap->width;
  const auto pixels = static_cast<uint32_t>(AtLeastZero(std::min(delivered, planeWidth)));
  TIFInterleavePlanes(static_cast<uint8_t*>(rowBuffer), context->planeRows, context->planeCount, pixels,
                      static_cast<uint32_t>(context->bitsPerPixel));
  return kResultOk;
}

// A row of one plane over the full width, whatever the tiles: the row service delivers whole rows.
uint64_t PlaneRowBytes(const ArraySave* save) {
  const auto width = static_cast<uint64_t>(save->request->bitmaps[0]->width);
  const uint64_t written = (width * static_cast<uint64_t>(save->request->bitsPerPlane) + 7) / 8;
  const uint64_t delivered = AtLeastZero(save->descriptor->bytesPerLine);
  return (std::max({written, delivered, uint64_t{save->rows.rowBytes}}) + 3) & ~uint64_t{3};
}

// One buffer a plane. What was allocated is freed by FreePlaneRows, on failure too.
int32_t AllocatePlaneRows(ArraySave* save) {
  TifRowContext* const rows = &save->rows;
  rows->planeRows = static_cast<uint8_t**>(TIFAllocZero(rows->planeCount, sizeof(uint8_t*)));
  if (rows->planeRows == nullptr) {
    return kResultNoMemory;
  }
  const uint64_t bytes = PlaneRowBytes(save);
  for (uint32_t plane = 0; plane < rows->planeCount; ++plane) {
    rows->planeRows[plane] =
        bytes <= kMostRowBytes ? static_cast<uint8_t*>(TIFAllocZero(static_cast<size_t>(bytes), 1)) : nullptr;
    if (rows->planeRows[plane] == nullptr) {
      return kResultNoMemory;
    }
  }
  return kResultOk;
}

void FreePlaneRows(TifRowContext* rows) {
  if (rows->planeRows == nullptr) {
    return;
  }
  for (uint32_t plane = 0; plane < rows->planeCount; ++plane) {
    TIFFree(rows->planeRows[plane]);
  }
  TIFFree(rows->planeRows);
}

// From here on a row is a whole interleaved row.
int32_t SetUpInterleaving(ArraySave* save) {
  TifRowContext* const rows = &save->rows;
  const uint32_t planes = rows->planeCount;
  rows->planeGetRow = rows->saveGetRow;
  rows->planeExtra2 = rows->extra2;
  rows->saveGetRow = TIFInterleaveRowSource;
  rows->extra2 = reinterpret_cast<intptr_t>(rows);
  const int32_t result = AllocatePlaneRows(save);
  if (result != kResultOk) {
    return result;
  }
  const uint64_t rowBytes = uint64_t{rows->rowBytes} * planes;
  const uint64_t stripBytes = uint64_t{rows->stripBytes} * planes;
  if (rowBytes > kMostRowBytes || stripBytes > kMostRowBytes) {
    return kResultNoMemory;
  }
  const size_t counts = size_t{rows->stripsDown} * rows->tilesAcross; // one pass uses no more of them
  for (size_t i = 0; i < counts; ++i) {
    rows->byteCounts[i] *= planes;
  }
  rows->rowBytes = static_cast<uint32_t>(rowBytes);
  rows->stripBytes = static_cast<uint32_t>(stripBytes);
  return kResultOk;
}

int32_t SetUpPlanes(ArraySave* save) {
  if (IsPlanar(save)) {
    save->file.stateFlags |= kStatePlanar;
    save->passes = save->request->planeCount;
    return kResultOk;
  }
  save->file.stateFlags &= ~static_cast<uint32_t>(kStatePlanar);
  save->passes = 1;
  return SetUpInterleaving(save);
}

uint64_t ColumnOffset(const BitmapHandle* plane, const TifRowContext& rows, uint32_t column) {
  return AtLeastZero(plane->bitsPerPixel) * rows.tileWidth * column >> 3;
}

// As wide as source or output needs it, whichever is wider; never narrower than what the last column is read for.
uint64_t RowBufferBytes(const ArraySave* save) {
  const TifRowContext& rows = save->rows;
  uint64_t depth = std::max(AtLeastZero(save->descriptor->bitsPerPixel), AtLeastZero(save->request->bitsPerPlane));
  uint64_t lastColumn = 0;
  for (uint32_t plane = 0; plane < save->passes; ++plane) {
    const BitmapHandle* const bitmap = save->request->bitmaps[plane];
    depth = std::max(depth, AtLeastZero(bitmap->bitsPerPixel));
    lastColumn = std::max(lastColumn, ColumnOffset(bitmap, rows, rows.tilesAcross - 1));
  }
  const uint64_t pixels = uint64_t{rows.tileWidth} * rows.tilesAcross;
  const uint64_t bits = depth * PlanesInRow(save) * pixels;
  const uint64_t delivered = AtLeastZero(save->descriptor->bytesPerLine);
  return std::max({((bits + 31) >> 3) & ~uint64_t{3}, lastColumn + rows.rowBytes, delivered});
}

int32_t AllocateRow(ArraySave* save) {
  const uint64_t bytes = RowBufferBytes(save);
  if (bytes > kMostRowBytes) {
    return kResultNoMemory;
  }
  save->rowBufferBytes = static_cast<uint32_t>(bytes);
  save->rowBuffer = static_cast<uint8_t*>(TIFAllocZero(save->rowBufferBytes, 1));
  return save->rowBuffer != nullptr ? kResultOk : kResultNoMemory;
}

// The predictor applies to the whole interleaved pixel.
int32_t PrepareLzw(ArraySave* save) {
  if (save->rows.format != kFormatLzw) {
    return kResultOk;
  }
  const auto depth = static_cast<int32_t>(PlanesInRow(save) * static_cast<uint32_t>(save->descriptor->bitsPerPixel));
  return TIFInitLZWPage(save->page, save->options, save->descriptor, depth, save->file.fileHandle, false, false,
                        save->rows.tileWidth, save->rows.rowsPerStrip);
}

uint32_t StripsOfPass(const ArraySave* save) {
  return save->rows.tilesAcross * save->rows.stripsDown;
}

int32_t WritePageDirectory(ArraySave* save) {
  const FilterSaveCMYKRequest* const request = save->request;
  save->descriptor->viewPerspective = request->bitmaps[0]->viewPerspective;
  save->file.stateFlags &= ~static_cast<uint32_t>(kStateSigned);
  if ((save->descriptor->flags & kBitmapSigned) != 0) {
    save->file.stateFlags |= kStateSigned;
  }
  save->file.stateFlags |= kStateCmyk;
  DirectoryWriteJob job = {};
  job.descriptor = save->descriptor;
  // One plane short: the directory adds a sample for CMYK.
  job.bitsPerPixel = static_cast<int32_t>((request->planeCount - 1) * static_cast<uint32_t>(request->bitsPerPlane));
  job.compression = save->format->compression;
  job.comments = request->comments;
  job.options = save->options;
  job.tagList = request->tagList;
  job.markers = request->markers;
  job.page = save->page;
  job.geoKeys = request->geoKeys;
  TIFSetJobLayout(&job, &save->rows, StripsOfPass(save) * save->passes);
  return TIFWriteDirectory(&save->file, &job);
}

int32_t TIFWritePlaneStrips(const StripWriteJob& job, uint32_t* byteCountsOfPlane) {
  const TifRowContext& rows = *job.context;
  uint32_t* slot = byteCountsOfPlane;
  for (uint32_t strip = 0; strip < rows.stripsDown; ++strip) {
    for (uint32_t column = 0; column < rows.tilesAcross; ++column, ++slot) {
      // The depth of one plane counts here, also where the planes are interleaved.
      const auto offset = static_cast<uint32_t>(ColumnOffset(rows.bitmap, rows, column));
      const int32_t result = TIFWriteStrip(&job, slot, strip * rows.rowsPerStrip, offset);
      if (result != kResultOk) {
        return result;
      }
    }
  }
  return kResultOk;
}

int32_t WritePlanes(ArraySave* save) {
  save->file.stateFlags &= ~static_cast<uint32_t>(kStateCmyk); // the planes are CMYK already: rows stay as they come
  const StripWriteJob job = {
      &save->rows,     &save->file,          save->page, save->descriptor, save->conversionContext,
      save->rowBuffer, save->rowBufferBytes, nullptr,    nullptr};
  for (uint32_t pass = 0; pass < save->passes; ++pass) {
    save->rows.bitmap = save->request->bitmaps[pass];
    const int32_t result = TIFWritePlaneStrips(job, save->rows.byteCounts + size_t{pass} * StripsOfPass(save));
    if (result != kResultOk) {
      return result;
    }
  }
  return kResultOk;
}

// All that needs the layout.
int32_t WritePage(ArraySave* save) {
  int32_t result = SetUpPlanes(save);
  if (result == kResultOk) {
    result = AllocateRow(save);
  }
  if (result == kResultOk) {
    result = PrepareLzw(save);
  }
  if (result == kResultOk) {
    result = WritePageDirectory(save);
  }
  if (result == kResultOk && save->rows.format == kFormatPackBits) {
    result = TIFInitPackBitsPage(save->page, save->rows.stripBytes);
  }
  if (result == kResultOk) {
    result = WritePlanes(save);
  }
  if (result == kResultOk && save->rows.format != kFormatUncompressed) {
    TIFPatchStripTables(&save->file, save->rows.byteCounts, static_cast<int32_t>(StripsOfPass(save) * save->passes));
  }
  return result;
}

// With the row service started.
int32_t SaveRows(ArraySave* save) {
  TIFInitCMYKRowContext(save->request, save->options, &save->rows);
  int32_t result = TIFComputeStripLayout(save->request->bitmaps[0], &save->rows, &save->file);
  if (result == kResultOk) {
    result = WritePage(save);
  }
  FreePlaneRows(&save->rows);
  TIFFree(save->rowBuffer);
  return result;
}

// With the file open and positioned. Closes it before the row service is ended.
int32_t SavePage(ArraySave* save) {
  int32_t result = StartRows(save);
  if (result != kResultOk) {
    krnFileClose(save->file.fileHandle);
    return result;
  }
  result = SaveRows(save);
  krnFileClose(save->file.fileHandle);
  EndRows(save);
  TIFFree(save->rows.byteCounts);
  TIFFree(save->page->codecBuffer);
  return result;
}

} // namespace

int32_t fltSaveCMYKArrayTIF(FilterSaveCMYKRequest* request) {
  ArraySave save = {};
  int32_t result = CheckRequest(request, &save.format);
  if (result != kResultOk) {
    return result;
  }
  SaveOptions none = {};
  save.request = request;
  save.options = request->options != nullptr ? request->options : &none;
  save.page = static_cast<TifPage*>(TIFAllocZero(1, sizeof(TifPage)));
  if (save.page == nullptr) {
    return kResultNoMemory;
  }
  result = TIFPrepareFileForPage(request->fileName, &save.file, save.options, request->flags, kTifVersion);
  if (result == kResultOk) {
    result = SavePage(&save);
  }
  TIFFree(save.page);
  return result;
}
