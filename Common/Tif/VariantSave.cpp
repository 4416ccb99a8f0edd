// The variant file with version word 12622: group 4 throughout, without the tags that its reader takes for granted,
// with a rotation of its own and tiles of 512 by 512 that may stay uncompressed. This is the only writer of such a
// file.

#include <vxfax/vxfax.h>
#include <vxtif/results.h>

#include "Tif/DirectoryJob.h"
#include "Tif/FaxRows.h"
#include "Tif/FaxSave.h"
#include "Tif_lzw/SaveRows.h"
#include "tif_com/Memory.h"
#include "tif_com/PageChain.h"
#include "tif_com/SaveState.h"
#include "tif_com/TagAccess.h"
#include "tif_com/Tags.h"

namespace {

constexpr uint32_t kVariantTile = 512;

struct VariantPage {
  FilterSaveRequest* request;
  TifFile file;
  TifPage* page; // scratch
  bool tiled;
  uint32_t pieceWidth;
  uint32_t pieceHeight;
  uint32_t pieces;
  uint32_t* byteCounts;
  uint8_t* stored; // a byte a piece, non-zero for one that stayed uncompressed; null without tiles
};

// The size asked for is only the trigger: the tiles are always of one size.
int32_t ComputePieces(VariantPage* page) {
  const FilterSaveRequest* request = page->request;
  const auto width = static_cast<uint32_t>(request->bitmap->width);
  const auto height = static_cast<uint32_t>(request->bitmap->height);
  page->tiled = (request->fileOptions->flags & kSaveTiles) != 0 && request->fileOptions->tileWidth < width;
  page->pieceWidth = width;
  page->pieceHeight = height;
  uint64_t pieces = 1;
  if (page->tiled) {
    page->pieceWidth = kVariantTile;
    page->pieceHeight = kVariantTile;
    pieces =
        ((uint64_t{width} + kVariantTile - 1) / kVariantTile) * ((uint64_t{height} + kVariantTile - 1) / kVariantTile);
    page->stored = static_cast<uint8_t*>(TIFAllocZero(static_cast<size_t>(pieces), 1));
  }
  page->byteCounts = static_cast<uint32_t*>(TIFAllocZero(static_cast<size_t>(pieces), sizeof(uint32_t)));
  page->pieces = static_cast<uint32_t>(pieces);
  if (pieces > 1) {
    page->file.stateFlags |= kStateTiled;
  } else {
    page->file.stateFlags &= ~static_cast<uint32_t>(kStateTiled);
  }
  const bool complete = page->byteCounts != nullptr && (!page->tiled || page->stored != nullptr);
  return complete && pieces <= INT32_MAX ? kResultOk : kResultNoMemory;
}

uint32_t RotatedView(int32_t degrees) {
  return degrees == 0 ? 1u : degrees == 90 ? 6u : degrees == 180 ? 3u : 8u;
}

int32_t WriteVariantDirectory(VariantPage* page) {
  static constexpr VxColor kWhiteFirst[] = {{255, 255, 255, 0}, {0, 0, 0, 0}};
  const FilterSaveRequest* request = page->request;
  DirectoryWriteJob job = TIFDirectoryJob(request, request->bitmap, page->page);
  job.palette = kWhiteFirst;
  job.stripCount = page->pieces;
  job.byteCounts = page->byteCounts;
  job.compression = kCompressionGroup4;
  job.tileWidth = page->pieceWidth;
  job.rowsPerStrip = page->pieceHeight;
  return TIFWriteDirectory(&page->file, &job);
}

int32_t EncodePieces(VariantPage* page) {
  const FilterSaveRequest* request = page->request;
  const FaxRowSource source = TIFFaxRowSource(request, 0);
  const uint32_t fill = TIFFaxFillOptions(request);
  if (!page->tiled) {
    return faxEncodeStart(&source, page->file.fileHandle, request->bitmap, 1, kFaxT6, request->flags, request->extra1,
                          request->extra2, page->byteCounts, fill, 0, 0);
  }
  const FaxTileRequest tiles = {page->pieceWidth, page->pieceHeight, nullptr, page->byteCounts, page->pieces};
  return faxEncodeRows(&source, page->file.fileHandle, request->bitmap, &tiles, page->stored, 0, 1, kFaxT6,
                       request->flags, request->extra1, request->extra2, 0, fill);
}

// The bitmap's view is rotated for the directory and upright for the encoder, and restored behind it; a directory that
// fails leaves the rotated view behind.
int32_t WriteVariantPage(VariantPage* page) {
  BitmapHandle* bitmap = page->request->bitmap;
  const uint32_t kept = bitmap->viewPerspective;
  int32_t mirrored = 0;
  int32_t degrees = 0;
  krnViewRotation(kept, 1, &mirrored, &degrees);
  if (mirrored != 0) {
    bitmap->viewPerspective = RotatedView(degrees);
  }
  int32_t result = WriteVariantDirectory(page);
  if (result != kResultOk) {
    return result;
  }
  if (mirrored != 0) {
    bitmap->viewPerspective = kViewBottomUp;
  }
  result = EncodePieces(page);
  bitmap->viewPerspective = kept;
  if (result == kResultOk) {
    TIFPatchStripTables(&page->file, page->byteCounts, static_cast<int32_t>(page->pieces));
    if (page->stored != nullptr) {
      TIFPatchStripCompressions(&page->file, page->stored, page->pieces);
    }
  }
  return result;
}

} // namespace

int32_t TIFSaveVariantPage(FilterSaveRequest* request) {
  VariantPage page = {};
  page.request = request;
  page.page = static_cast<TifPage*>(TIFAllocZero(1, sizeof(TifPage)));
  if (page.page == nullptr) {
    return kResultNoMemory;
  }
  int32_t result =
      TIFPrepareFileForPage(request->fileName, &page.file, request->fileOptions, request->flags, kTifVersionVariant);
  if (result != kResultOk) {
    TIFFree(page.page);
    return result;
  }
  page.file.stateFlags |= kStateVariantFile;
  result = ComputePieces(&page);
  if (result == kResultOk) {
    result = WriteVariantPage(&page);
  }
  TIFFree(page.stored);
  TIFFree(page.byteCounts);
  krnFileClose(page.file.fileHandle);
  TIFFree(page.page);
  if (result < 1) {
    TIFUndoPage(request->fileName, request->fileOptions, page.file.pageIndex,
                TIFHasState(&page.file, kStateHeaderPending));
  }
  return result;
}
