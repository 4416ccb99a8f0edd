// Bilevel pages in a CCITT compression: the library writes the directory and patches the strip tables, the fax codec
// fetches the rows through the request's row service and writes the data. Several pages are several saves, with no
// state from one to the next.

#include "Tif/FaxSave.h"

#include <vxfax/vxfax.h>
#include <vxtif/formats.h>
#include <vxtif/results.h>

#include "Tif/DirectoryJob.h"
#include "Tif/FaxRows.h"
#include "tif_com/Memory.h"
#include "tif_com/PageChain.h"
#include "tif_com/SaveState.h"
#include "tif_com/TagAccess.h"
#include "tif_com/Tags.h"

namespace {

// A wider page is cut into tiles.
constexpr int32_t kWidestStrip = 200000;
constexpr uint32_t kCutTileWidth = 8192;

struct FaxFormat {
  int32_t format;
  uint32_t mode;
  uint32_t compression;
  uint32_t faxOptions; // tag 292 without the bit that group 3 pages always have
  uint32_t t4Options;  // tag 292 as it is written
};

constexpr FaxFormat kFaxFormats[] = {
    {kFormatCcitt, kFaxModifiedHuffman, kCompressionCcittRle, 0, 0},
    {kFormatGroup3, kFaxT4OneDimensional, kCompressionGroup3, 0, 4},
    {kFormatGroup3TwoDimensional, kFaxT4TwoDimensional, kCompressionGroup3, 1, 5},
    {kFormatGroup4, kFaxT6, kCompressionGroup4, 0, 0},
};

const FaxFormat* FindFaxFormat(int32_t format) {
  for (const FaxFormat& row : kFaxFormats) {
    if (row.format == format) {
      return &row;
    }
  }
  return nullptr;
}

struct FaxPage {
  FilterSaveRequest* request;
  const FaxFormat* format;
  TifFile* file;
  TifPage* page; // scratch
  TifRowContext rows;
  VxColor palette[2];
};

// The options of a page that is too wide for strips; the change remains in the caller's record.
void CutWidePage(const FilterSaveRequest* request) {
  SaveOptions* options = request->fileOptions;
  if (request->bitmap->width <= kWidestStrip) {
    return;
  }
  if ((options->flags & kSaveTiles) == 0) {
    options->flags |= kSaveTiles;
    options->tileWidth = kCutTileWidth;
    options->tileHeight = static_cast<uint32_t>(request->bitmap->height);
  } else if (options->tileWidth > static_cast<uint32_t>(kWidestStrip)) {
    options->tileWidth = kCutTileWidth;
  }
}

int32_t WriteFaxDirectory(FaxPage* fax, uint32_t pieces, const uint32_t* byteCounts) {
  const FilterSaveRequest* request = fax->request;
  DirectoryWriteJob job = TIFDirectoryJob(request, request->bitmap, fax->page);
  TIFSetJobLayout(&job, &fax->rows, pieces);
  job.byteCounts = byteCounts;
  job.palette = fax->palette;
  job.compression = fax->format->compression;
  job.faxOptions = fax->format->faxOptions;
  return TIFWriteDirectory(fax->file, &job);
}

int32_t WritePieces(FaxPage* fax, uint32_t pieces, uint32_t* scratch) {
  const FilterSaveRequest* request = fax->request;
  fax->file->stateFlags |= kStateTiled;
  int32_t result = WriteFaxDirectory(fax, pieces, fax->rows.byteCounts);
  if (result != kResultOk) {
    return result;
  }
  const FaxTileRequest tiles = {fax->rows.tileWidth, fax->rows.rowsPerStrip, scratch, fax->rows.byteCounts, pieces};
  const FaxRowSource source = TIFFaxRowSource(request, fax->format->t4Options);
  result = faxEncodeRows(&source, fax->file->fileHandle, request->bitmap, &tiles, nullptr, 0, 1, fax->format->mode,
                         request->flags, request->extra1, request->extra2, 0, TIFFaxFillOptions(request));
  if (result == kResultOk) {
    TIFPatchStripTables(fax->file, fax->rows.byteCounts, static_cast<int32_t>(pieces));
  }
  return result;
}

int32_t WriteOnePiece(FaxPage* fax) {
  const FilterSaveRequest* request = fax->request;
  uint32_t byteCount = 0;
  int32_t result = WriteFaxDirectory(fax, 1, &byteCount);
  if (result != kResultOk) {
    return result;
  }
  const FaxRowSource source = TIFFaxRowSource(request, fax->format->t4Options);
  result = faxEncodeStart(&source, fax->file->fileHandle, request->bitmap, 1, fax->format->mode, request->flags,
                          request->extra1, request->extra2, &byteCount, TIFFaxFillOptions(request), 0, 0);
  if (result == kResultOk) {
    TIFPatchStripTables(fax->file, &byteCount, 1);
  }
  return result;
}

int32_t WriteFaxPage(FaxPage* fax) {
  if ((fax->request->fileOptions->flags & kSaveAskFaxColours) != 0) {
    const int32_t result = TIFGetFaxColours(fax->request, fax->palette);
    if (result < 1) {
      return result;
    }
  } else {
    TIFDefaultFaxColours(fax->palette);
  }
  CutWidePage(fax->request);
  TIFInitRowContext(fax->request, &fax->rows);
  const int32_t layout = TIFComputeStripLayout(fax->request->bitmap, &fax->rows, fax->file);
  if (layout != kResultOk) {
    return layout;
  }
  const uint32_t pieces = fax->rows.tilesAcross * fax->rows.stripsDown;
  if (pieces == 1) {
    return WriteOnePiece(fax);
  }
  auto* scratch = static_cast<uint32_t*>(TIFAlloc(pieces, sizeof(uint32_t)));
  const int32_t result = scratch == nullptr ? kResultNoMemory : WritePieces(fax, pieces, scratch);
  TIFFree(scratch);
  return result;
}

int32_t TIFSaveFaxPage(FilterSaveRequest* request, TifFile* file) {
  FaxPage fax = {};
  fax.request = request;
  fax.file = file;
  fax.format = FindFaxFormat(request->fileFormat);
  fax.page = static_cast<TifPage*>(TIFAllocZero(1, sizeof(TifPage)));
  if (fax.page == nullptr) {
    return kResultNoMemory;
  }
  const int32_t result = WriteFaxPage(&fax);
  TIFFree(fax.rows.byteCounts);
  TIFFree(fax.page);
  return result;
}

} // namespace

int32_t TIFSaveFaxFile(FilterSaveRequest* request) {
  TifFile file = {};
  int32_t result = TIFPrepareFileForPage(request->fileName, &file, request->fileOptions, request->flags, kTifVersion);
  if (result != kResultOk) {
    return result;
  }
  result = TIFSaveFaxPage(request, &file);
  krnFileClose(file.fileHandle);
  if (result < 1) {
    TIFUndoPage(request->fileName, request->fileOptions, file.pageIndex, TIFHasState(&file, kStateHeaderPending));
  }
  return result;
}
