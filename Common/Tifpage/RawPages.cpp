// The raw page interface: directories as tag blocks, their layout, the class of a tag, a page's palette. A caller holds
// the TifFile between the calls; Vx_OpenTIF and Vx_CloseTIF, which begin and end that, stand with the file access.

#include <algorithm>

#include <vxtif/page.h>
#include <vxtif/rawpage.h>

#include "Tifutil/PagePalette.h"
#include "tif_com/DirectoryTree.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Memory.h"
#include "tif_com/Tags.h"

namespace {

constexpr int32_t kNoTagClass = -1;
constexpr uint32_t kT4TwoDimensional = 0x1;
constexpr uint32_t kT4Uncompressed = 0x2;
constexpr int32_t kDepthOfSeveralSamples = 24;

// What the layout flags are made from, with the values that stand for missing tags.
struct PageLayout {
  uint32_t width = 0;
  uint32_t compression = kCompressionNone;
  uint32_t t4Options = 0;
  uint32_t tileWidth = 0;
  uint32_t pieces = 0;
  bool separatePlanes = false;
};

PageLayout CollectLayout(const TifDirectory* block) {
  PageLayout layout;
  for (uint32_t i = 0; i < block->entryCount; ++i) {
    const TifTagRecord record = block->records[i];
    switch (record.tag) {
    case kTagImageWidth:
      layout.width = record.value;
      break;
    case kTagCompression:
      layout.compression = record.value;
      break;
    case kTagT4Options:
      layout.t4Options = record.value & 0xFFFF;
      break;
    case kTagTileWidth:
      layout.tileWidth = record.value;
      break;
    case kTagStripByteCounts:
    case kTagTileByteCounts:
      layout.pieces = record.count;
      break;
    case kTagPlanarConfiguration:
      layout.separatePlanes = layout.separatePlanes || record.value == kPlanarSeparate;
      break;
    default:
      break;
    }
  }
  return layout;
}

// Whether each row stands alone, so that bands can be decoded in one go.
bool RowsStandAlone(const PageLayout& layout) {
  switch (layout.compression) {
  case kCompressionNone:
  case kCompressionCcittRle:
  case kCompressionPackBits:
    return true;
  case kCompressionGroup3:
    return (layout.t4Options & (kT4TwoDimensional | kT4Uncompressed)) == 0;
  default:
    return false;
  }
}

uint32_t LayoutFlags(const PageLayout& layout) {
  const uint32_t planes = layout.separatePlanes ? kLayoutPlanes : 0;
  if (layout.pieces <= 1) {
    return planes;
  }
  if (layout.tileWidth != 0 && layout.tileWidth < layout.width) {
    return planes | kLayoutPieces;
  }
  return planes | kLayoutBands | (RowsStandAlone(layout) ? 0 : kLayoutPieces);
}

// The fields that the palette code reads, into a page that is all zero otherwise.
void CollectPaletteFields(const TifDirectory* block, TifPage* page) {
  for (uint32_t i = 0; i < block->entryCount; ++i) {
    const TifTagRecord record = block->records[i];
    switch (record.tag) {
    case kTagBitsPerSample:
      page->bitsPerPixel = record.count == 1 ? static_cast<int32_t>(record.value & 0xFFFF) : kDepthOfSeveralSamples;
      break;
    case kTagPhotometric:
      page->photometricInterpretation = record.value & 0xFFFF;
      break;
    case kTagColorMap:
      page->colorMapOffset = record.count != 0 ? record.value : 0;
      page->colorMapCount = record.count;
      break;
    default:
      break;
    }
  }
}

// The palette into a new movable block. On failure the block is gone, but its handle stays in `palette`.
int32_t MakePalette(const TifFile* file, TifPage* page, uint32_t* count, VxGlobalHandle* palette) {
  const VxGlobalHandle handle = TIFGlobalAlloc(kPaletteEntries, sizeof(VxColor));
  *palette = handle;
  if (handle == 0) {
    return kResultNoMemory;
  }
  auto* const colors = static_cast<VxColor*>(krnGlobalPointer(handle));
  krnMemSet(colors, 0, kPaletteEntries * sizeof(VxColor));
  const int32_t result = TIFPreparePalette(0, file, page, colors);
  if (result == kResultOk) {
    // A colour map may claim more entries than a palette holds.
    *count = std::min<uint32_t>(page->colorMapEntries, kPaletteEntries);
    if (*count != 0) {
      return kResultOk;
    }
    *palette = 0;
  }
  TIFGlobalFree(handle);
  return result;
}

} // namespace

int32_t Vx_GetTIFPage(TifFile* file, uint32_t page, TifDirectory** block, uint32_t* layoutFlags) {
  krnFileRenewBudget(file->fileHandle); // the caller may have kept it open over many calls
  uint32_t reached = 0;
  const int32_t result = TIFSeekPage(file, page, file->directoryOffset, &reached, PageSearch::kStrict);
  if (result != kResultOk) {
    return result;
  }
  *block = TIFReadDirectory(file, kDirMain, TreeSource::kFile);
  if (*block == nullptr) {
    return kResultRefused;
  }
  *layoutFlags = LayoutFlags(CollectLayout(*block));
  return kResultOk;
}

int32_t Vx_FreeTIFPage(TifDirectory* block) {
  TIFFreeDirectory(block, kDirMain);
  return kResultOk;
}

int32_t Vx_GetTIFTagDataType(TifTagRecord* record, uint32_t* size) {
  if (record == nullptr) {
    return kNoTagClass;
  }
  TifDirKind unusedKind = kDirMain;
  return TIFClassifyTag(record, size, kDirMain, &unusedKind);
}

int32_t Vx_GetTIFPalette(TifFile* file, TifDirectory* block, uint32_t* count, VxGlobalHandle* palette) {
  if (file == nullptr) {
    return kResultNullPointer;
  }
  if (file->structSize != kTifFileSize) {
    return kResultStructSize;
  }
  if (block == nullptr || count == nullptr || palette == nullptr) {
    return kResultNullPointer;
  }
  auto* const page = static_cast<TifPage*>(TIFAllocZero(1, sizeof(TifPage)));
  if (page == nullptr) {
    return kResultNoMemory;
  }
  CollectPaletteFields(block, page);
  const int32_t result = MakePalette(file, page, count, palette);
  TIFFree(page);
  return result;
}
