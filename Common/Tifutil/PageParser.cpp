// The page parser. Given a TifFile that stands behind the entry count of a directory and a cleared TifPage, it reads
// all entries at once, applies them one by one in file order, and settles the page by the fix-ups. The information mode
// leaves out what only decoding needs. The load drivers, the CMYK array load and the file report use it.

#include "Tifutil/PageParser.h"

#include "Tifutil/PageFixups.h"
#include "Tifutil/PageParse.h"
#include "Tifutil/PageTags.h"
#include "Tifutil/YccTags.h"
#include "tif_com/ByteOrder.h"
#include "tif_com/Memory.h"
#include "tif_com/Tags.h"

namespace {

void SetDefaults(const TifFile* file, TifPage* page) {
  const bool variant = file->version == kTifVersionVariant;
  page->imageWidth = -1;
  page->imageLength = -1;
  page->compression = variant ? kCompressionGroup4 : kCompressionNone;
  page->stripOffsets = nullptr;
  page->stripByteCounts = nullptr;
  page->stripCount = 0;
  page->colorMapCount = 0;
  page->colorMapEntries = 0;
  page->viewPerspective = 1;
  page->predictor = kPredictorNone;
  page->t4Options = 0;
  page->xResolution = 0;
  page->yResolution = 0;
  page->tileWidth = -1;
  page->rowsPerStrip = 0;
  page->orientation = 1;
  page->bitsPerSample[0] = 1;
  page->samplesPerPixel = 1;
  page->extraSampleCount = 0;
  page->totalBits = 1;
  page->extraBits = 0;
  page->pageFlags = kPageNoColorMap;
  page->yCbCrSubSampleHoriz = 2;
  page->yCbCrSubSampleVert = 2;
  if (variant) {
    page->stripCompressionCount = 0;
  }
  page->stripCompressions = nullptr;
  page->fillOrderMode = kFillUndecided;
  page->grayResponseCurve = nullptr;
  page->grayResponseCount = 0;
}

void SetYccDefaults(TifPage* page) {
  constexpr uint32_t kReference[6] = {0, 255, 128, 255, 128, 255};
  for (uint32_t i = 0; i < 6; ++i) {
    page->referenceBlackWhite[i] = kReference[i];
  }
  for (uint32_t i = 0; i < 3; ++i) {
    page->yCbCrCoefficients[i] = kDefaultYccCoefficients[i];
  }
}

void SetPrivateDefaults(TifPage* page) {
  page->minSampleValue = 0;
  page->maxSampleValue = 0;
  page->private50235First = 0;
  page->private50235Second = 0;
  page->privateValue0 = 0;
  page->privateValue1 = 0xFFFFFFFF;
  page->privatePalette8 = 0;
  page->privatePalette8Count = 0;
  page->privatePalette16 = 0;
  page->privatePalette16Count = 0;
  page->private50236 = 0;
}

// All entries of the directory in the memory form; null for no memory and for a directory longer than the file.
TifDirEntry* ReadEntries(const TifFile* file) {
  const uint32_t bytes = kDirEntrySize * file->entryCount;
  const uint64_t end = uint64_t{file->directoryOffset} + 2 + bytes;
  if (end > file->fileSize) {
    return nullptr;
  }
  auto* entries = static_cast<TifDirEntry*>(TIFAlloc(file->entryCount, kDirEntrySize));
  if (entries == nullptr) {
    return nullptr;
  }
  if (!TIFReadExactly(file, entries, bytes)) {
    TIFFree(entries);
    return nullptr;
  }
  return entries;
}

uint32_t ReadNextDirectory(const TifFile* file) {
  uint32_t next = 0;
  return TIFRead32(file, &next) == 1 ? next : 0;
}

// A single 16-bit value is a number: a little-endian file may hold stale bytes above it.
void CutSingleShort(TifDirEntry* entry) {
  if (entry->count != 1) {
    return;
  }
  if (entry->type == kTypeShort) {
    entry->value &= 0xFFFF;
  } else if (entry->type == kTypeSShort) {
    entry->value = static_cast<uint32_t>(static_cast<int32_t>(static_cast<int16_t>(entry->value)));
  }
}

TagOutcome ApplyEntries(PageParse& parse, TifDirEntry* entries) {
  const uint32_t count = parse.file->entryCount;
  for (uint32_t i = 0; i < count; ++i) {
    CutSingleShort(&entries[i]);
    const TagOutcome outcome = TIFApplyPageTag(parse, entries[i]);
    if (outcome != TagOutcome::kGoOn) {
      return outcome;
    }
  }
  return TagOutcome::kGoOn;
}

int32_t Refuse(TifPage* page) {
  TIFFreePageTables(page);
  return kResultRefused;
}

// Works on the entries, which its caller owns.
int32_t ParseEntries(PageParse& parse, TifDirEntry* entries) {
  TifFile* file = parse.file;
  const uint32_t nextWordOffset = krnFileSeek(file->fileHandle, 0, kKrnSeekCurrent);
  parse.nextDirectory = ReadNextDirectory(file);
  if (!TIFIsLittle(file)) {
    TIFSwapEntries(entries, file->entryCount, SwapDirection::kToMemory);
  }
  const TagOutcome outcome = ApplyEntries(parse, entries);
  if (outcome == TagOutcome::kTooManyExtraSamples) {
    return kResultNotTiff;
  }
  if (outcome == TagOutcome::kRefused || !TIFApplyPageFixups(parse)) {
    return Refuse(parse.page);
  }
  TIFSeek(file->fileHandle, nextWordOffset, kKrnSeekSet);
  TIFScaleResolutions(parse);
  return kResultOk;
}

} // namespace

bool TIFSeekToBlock(const TifFile* file, uint32_t offset, uint64_t bytes) {
  const uint32_t position = TIFSeek(file->fileHandle, offset, kKrnSeekSet);
  const uint64_t fileSize = file->fileSize;
  uint64_t left = fileSize;
  if (position != kSeekFailed) {
    left = position < fileSize ? fileSize - position : 0;
  }
  return bytes <= left;
}

bool TIFReadExactly(const TifFile* file, void* buffer, uint32_t bytes) {
  return krnFileRead(file->fileHandle, buffer, bytes) == bytes;
}

bool TIFReportNeedsStrips(uint32_t compression) {
  return compression == kCompressionVector || compression == kCompressionWavelet ||
         compression == kCompressionVectorPage || compression == kCompression30001;
}

int32_t TIFReadPageInfo(TifFile* file, TifPage* page, ParseMode mode, RgbMode rgbMode) {
  SetDefaults(file, page);
  SetYccDefaults(page);
  SetPrivateDefaults(page);
  page->stripOrderScratchPointer = &page->stripOrderScratch;
  PageParse parse{};
  parse.file = file;
  parse.page = page;
  parse.mode = mode;
  parse.rgbMode = rgbMode;
  parse.resolutionUnit = kUnitInch;
  TifDirEntry* entries = ReadEntries(file);
  if (entries == nullptr) {
    return Refuse(page);
  }
  const int32_t result = ParseEntries(parse, entries);
  TIFFree(entries);
  return result;
}

void TIFFreePageTables(TifPage* page) {
  TIFFree(page->grayResponseCurve);
  page->grayResponseCurve = nullptr;
  TIFFree(page->stripCompressions);
  page->stripCompressions = nullptr;
  TIFFree(page->stripOffsets);
  page->stripOffsets = nullptr;
  TIFFree(page->stripByteCounts);
  page->stripByteCounts = nullptr;
  TIFGlobalFree(page->privatePalette8);
  page->privatePalette8 = 0;
  TIFGlobalFree(page->privatePalette16);
  page->privatePalette16 = 0;
}

void TIFFreePage(TifPage* page) {
  TIFFreePageTables(page);
  TIFFree(page);
}
