// One page in strips or tiles, or through a sibling library: the file is prepared, the row service started, the layout
// computed, the directory written, then the strips, and at last the strip tables are patched. Exactly one row buffer is
// allocated for a page, so memory does not grow with the image.

#include "Tif/SavePages.h"

#include <algorithm>

#include <vxtif/results.h>

#include "Tif/DirectoryJob.h"
#include "Tif/Siblings.h"
#include "Tif_lzw/SaveRows.h"
#include "tif_com/Memory.h"
#include "tif_com/PageChain.h"
#include "tif_com/SaveState.h"
#include "tif_com/TagAccess.h"

namespace {

// One page on its way to the file.
struct PageSave {
  FilterSaveRequest* request;
  const SaveFormat* format;
  TifFile file;
  TifPage* page; // scratch
  TifRowContext rows;
  BitmapHandle* descriptor; // the row service's
  void* conversionContext;
  uint8_t* rowBuffer;
  uint32_t rowBufferBytes;
  uint8_t* cmykScratch;
  uint8_t* floatScratch;
};

bool HasState(const PageSave* save, uint32_t bits) {
  return TIFHasState(&save->file, bits);
}

void SetFlags(FilterSaveRequest* request, uint32_t set, uint32_t clear) {
  request->flags = (request->flags & ~clear) | set;
}

// How the rows are wanted; grey saves also repair the bitmap's level range, which stays repaired.
void SettleRowFlags(PageSave* save) {
  FilterSaveRequest* request = save->request;
  BitmapHandle* bitmap = request->bitmap;
  const bool converted = HasState(save, kStateCmyk | kStateYCbCr);
  if (request->bitsPerPixel == 16 || converted) {
    SetFlags(request, kSaveRequestBlueFirst, 0);
  }
  if (!converted && (bitmap->order == kOrderGray || (request->flags & kSaveRequestGray) != 0)) {
    SetFlags(request, kSaveRequestGrayRows, kSaveRequestBlueFirst);
    save->file.stateFlags |= kStateGray;
    if (bitmap->lowBit == -1) {
      bitmap->lowBit = 0;
    }
    if (bitmap->highBit == -1) {
      bitmap->highBit = bitmap->bitsPerPixel - 1;
    }
  }
  SetFlags(request, kSaveRequestAlways, 0);
}

int32_t StartRows(PageSave* save) {
  FilterSaveRequest* request = save->request;
  uint32_t flags = request->flags;
  const int32_t result = request->saveStart(request->bitmap, &save->descriptor, request->bitsPerPixel, &flags, nullptr,
                                            1, request->extra1, request->extra2, &save->conversionContext);
  request->flags = flags;
  if (result < 1) {
    return result;
  }
  const int32_t depth = request->bitsPerPixel;
  const bool isDeepColor = depth == 24 || depth == 32 || depth == 48 || depth == 64;
  if (request->bitmap->bitsPerPixel == depth && isDeepColor && request->bitmap->order == kOrderBlueFirst) {
    SetFlags(request, kSaveRequestDirect, 0);
  }
  return kResultOk;
}

void EndRows(PageSave* save) {
  FilterSaveRequest* request = save->request;
  uint32_t flags = request->flags;
  request->saveEnd(request->bitmap, &save->descriptor, &flags, 0, &save->conversionContext);
  request->flags = flags;
}

uint64_t ColumnOffset(const PageSave* save, uint32_t column) {
  const auto depth = static_cast<uint64_t>(std::max(save->rows.bitmap->bitsPerPixel, 0));
  return depth * column * save->rows.tileWidth >> 3;
}

// The row buffer as wide as source or output needs it, whichever is wider; never narrower than what the service may
// deliver, and than what the last tile's column is read for.
uint64_t RowBufferBytes(const PageSave* save) {
  const auto depth =
      static_cast<uint64_t>(std::max({save->descriptor->bitsPerPixel, save->rows.bitmap->bitsPerPixel, int32_t{1}}));
  const uint64_t pixels = uint64_t{save->rows.tileWidth} * save->rows.tilesAcross;
  const uint64_t rows = ((depth * pixels + 31) >> 3) & ~uint64_t{3};
  const uint64_t written = static_cast<uint64_t>(save->request->bitsPerPixel) * save->rows.tileWidth / 8 + 4;
  const uint64_t lastTile =
      ColumnOffset(save, save->rows.tilesAcross - 1) + std::max<uint64_t>(save->rows.rowBytes, written);
  const auto delivered = static_cast<uint64_t>(std::max(save->descriptor->bytesPerLine, int32_t{0}));
  return std::max({rows, delivered, lastTile});
}

int32_t AllocateRows(PageSave* save) {
  const uint64_t bytes = RowBufferBytes(save);
  if (bytes > UINT32_MAX) {
    return kResultNoMemory;
  }
  save->rowBufferBytes = static_cast<uint32_t>(bytes);
  save->rowBuffer = static_cast<uint8_t*>(TIFAllocZero(1, save->rowBufferBytes));
  if (save->rowBuffer == nullptr) {
    return kResultNoMemory;
  }
  if (HasState(save, kStateCmyk)) {
    save->cmykScratch = static_cast<uint8_t*>(TIFAllocZero(1, save->rows.rowBytes));
    if (save->cmykScratch == nullptr) {
      return kResultNoMemory;
    }
  }
  if (HasState(save, kStateFloat)) {
    save->floatScratch = static_cast<uint8_t*>(TIFAllocZero(save->rows.tileWidth, sizeof(float)));
    if (save->floatScratch == nullptr) {
      return kResultNoMemory;
    }
  }
  return kResultOk;
}

int32_t PrepareCodec(PageSave* save) {
  if (save->rows.format != kFormatLzw) {
    return kResultOk;
  }
  return TIFInitLZWPage(save->page, save->request->fileOptions, save->descriptor, save->request->bitsPerPixel,
                        save->file.fileHandle, HasState(save, kStateCmyk), HasState(save, kStateYCbCr),
                        save->rows.tileWidth, save->rows.rowsPerStrip);
}

// The output's palette, unless a plain grey ramp is to go without one.
const VxColor* WrittenPalette(const PageSave* save) {
  const FilterSaveRequest* request = save->request;
  if (request->bitsPerPixel > 8) {
    return nullptr;
  }
  if ((request->fileOptions->flags & kSaveDropGrayPalette) != 0 && krnBitmapIsGray(save->descriptor) == 1) {
    return nullptr;
  }
  return TIFOutputPalette(save->conversionContext);
}

uint32_t StripCount(const PageSave* save) {
  return save->rows.stripsDown * save->rows.tilesAcross;
}

int32_t WritePageDirectory(PageSave* save) {
  const FilterSaveRequest* request = save->request;
  if ((save->descriptor->flags & kBitmapSigned) != 0) {
    save->file.stateFlags |= kStateSigned;
  } else {
    save->file.stateFlags &= ~static_cast<uint32_t>(kStateSigned);
  }
  save->descriptor->viewPerspective = request->bitmap->viewPerspective;
  DirectoryWriteJob job = TIFDirectoryJob(request, save->descriptor, save->page);
  TIFSetJobLayout(&job, &save->rows, StripCount(save));
  job.palette = WrittenPalette(save);
  job.compression = save->format->compression;
  job.geoKeys = request->geoKeys;
  return TIFWriteDirectory(&save->file, &job);
}

int32_t WriteStrips(PageSave* save) {
  const StripWriteJob job = {
      &save->rows,     &save->file,          save->page,        save->descriptor,  save->conversionContext,
      save->rowBuffer, save->rowBufferBytes, save->cmykScratch, save->floatScratch};
  uint32_t* slot = save->rows.byteCounts;
  for (uint32_t strip = 0; strip < save->rows.stripsDown; ++strip) {
    for (uint32_t column = 0; column < save->rows.tilesAcross; ++column, ++slot) {
      const auto offset = static_cast<uint32_t>(ColumnOffset(save, column));
      const int32_t result = TIFWriteStrip(&job, slot, strip * save->rows.rowsPerStrip, offset);
      if (result != kResultOk) {
        return result;
      }
    }
  }
  return kResultOk;
}

int32_t WritePixels(PageSave* save) {
  if (HasState(save, kStateBySibling)) {
    return TIFSiblingSaveStream(save->request, save->file.fileHandle, save->rows.byteCounts);
  }
  const int32_t result =
      save->rows.format == kFormatPackBits ? TIFInitPackBitsPage(save->page, save->rows.stripBytes) : kResultOk;
  return result == kResultOk ? WriteStrips(save) : result;
}

// Layout, directory, pixels; then the true sizes of what was compressed.
int32_t WritePage(PageSave* save) {
  TIFInitRowContext(save->request, &save->rows);
  int32_t result = TIFComputeStripLayout(save->request->bitmap, &save->rows, &save->file);
  if (result == kResultOk) {
    result = AllocateRows(save);
  }
  if (result == kResultOk) {
    result = PrepareCodec(save);
  }
  if (result == kResultOk) {
    result = WritePageDirectory(save);
  }
  if (result == kResultOk) {
    result = WritePixels(save);
  }
  if (result == kResultOk && (save->rows.format != kFormatUncompressed || HasState(save, kStateBySibling))) {
    TIFPatchStripTables(&save->file, save->rows.byteCounts, static_cast<int32_t>(StripCount(save)));
  }
  return result;
}

// From a prepared file to a closed one.
int32_t SaveToPreparedFile(PageSave* save) {
  SettleRowFlags(save);
  int32_t result = StartRows(save);
  if (result < 1) {
    krnFileClose(save->file.fileHandle);
    return result;
  }
  result = WritePage(save);
  TIFFree(save->floatScratch);
  TIFFree(save->cmykScratch);
  TIFFree(save->rowBuffer);
  krnFileClose(save->file.fileHandle);
  EndRows(save);
  TIFFree(save->rows.byteCounts);
  TIFFree(save->page->codecBuffer);
  return result;
}

} // namespace

int32_t TIFSaveStripPage(FilterSaveRequest* request, const SavePlan* plan) {
  PageSave save = {};
  save.request = request;
  save.format = plan->format;
  save.page = static_cast<TifPage*>(TIFAllocZero(1, sizeof(TifPage)));
  if (save.page == nullptr) {
    return kResultNoMemory;
  }
  save.file.stateFlags = plan->state;
  int32_t result =
      TIFPrepareFileForPage(request->fileName, &save.file, request->fileOptions, request->flags, kTifVersion);
  if (result == kResultOk) {
    result = SaveToPreparedFile(&save);
    if (result < 1) {
      TIFUndoPage(request->fileName, request->fileOptions, save.file.pageIndex,
                  TIFHasState(&save.file, kStateHeaderPending));
    }
  }
  TIFFree(save.page);
  return result;
}
