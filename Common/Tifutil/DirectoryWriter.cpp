// The directory writer: the TIFF header of a new file, the directory of a page with all its tags, and every out-of-line
// value, in the fixed order of the file layout. It is given a file that TIFPrepareFileForPage has positioned, and
// leaves it where the pixel data begin. Strip values of compressed pages are estimates that the save patches later.

#include "Tifutil/DirectoryWriter.h"

#include <algorithm>

#include <vxtif/results.h>

#include "Tifutil/DirectoryEntries.h"
#include "tif_com/ByteOrder.h"
#include "tif_com/Comments.h"
#include "tif_com/FileAccess.h"
#include "tif_com/GeoKeys.h"
#include "tif_com/Markers.h"
#include "tif_com/Memory.h"
#include "tif_com/PageChain.h"
#include "tif_com/SaveState.h"
#include "tif_com/TagAccess.h"
#include "tif_com/Tags.h"

namespace {

constexpr uint32_t kNumbersAtOnce = 256; // numbers that are worked out before they go to the file

bool HasState(const DirectoryBuild* build, uint32_t bits) {
  return TIFHasState(build->file, bits);
}

bool HasOption(const DirectoryBuild* build, uint32_t bits) {
  return (build->job->options->flags & bits) != 0;
}

bool IsGroup3Or4(const DirectoryBuild* build) {
  return build->job->compression == kCompressionGroup3 || build->job->compression == kCompressionGroup4;
}

// One sample per pixel, counted once in BitsPerSample and SamplesPerPixel.
bool IsSingleSample(const DirectoryWriteJob* job) {
  return job->bitsPerPixel < 17 || (job->bitsPerPixel == 32 && job->descriptor->order == kOrderGray);
}

uint32_t SampleCount(const DirectoryBuild* build) {
  const int32_t depth = build->job->bitsPerPixel;
  return (depth == 32 || depth == 64 ? 4u : 3u) + (HasState(build, kStateCmyk) ? 1u : 0u);
}

// Header, count word and next word; the entries between them come at the end. Failed writes are not noticed: a disk
// that is full by now fails the entries, too.
int32_t ReserveDirectory(DirectoryBuild* build) {
  TifFile* file = build->file;
  const bool headerStands =
      !HasState(build, kStateHeaderPending) || TIFWriteHeader(file, HasOption(build, kSaveBigEndian)) == 1;
  if (headerStands) {
    file->entryCount = build->plan.entryCount;
    TIFWrite16(file, static_cast<uint16_t>(build->plan.entryCount));
    const auto entryBytes = static_cast<int32_t>(build->plan.entryCount * kDirEntrySize);
    if (krnFileSeek(file->fileHandle, entryBytes, kKrnSeekCurrent) == kSeekFailed) {
      return kResultSeekFailed; // values would stand where the entries go
    }
    TIFWrite32(file, file->nextDirectoryOffset);
  }
  return TIFTakePosition(build);
}

void AddSizeTags(DirectoryBuild* build) {
  const TifFile* file = build->file;
  if (!HasOption(build, kSaveNoSubfileType)) {
    const bool oneOfMany =
        file->directoryLinkOffset >= kSmallestDirectoryOffset || file->nextDirectoryOffset >= kSmallestDirectoryOffset;
    TIFAddLong(build, kTagNewSubfileType, oneOfMany ? 2 : 0);
  }
  TIFAddLong(build, kTagImageWidth, static_cast<uint32_t>(build->job->descriptor->width));
  TIFAddLong(build, kTagImageLength, static_cast<uint32_t>(build->job->descriptor->height));
}

void AddBitsPerSample(DirectoryBuild* build) {
  const DirectoryWriteJob* job = build->job;
  if (IsSingleSample(job)) {
    const uint32_t bits = HasState(build, kStateFloat) ? 32u : static_cast<uint32_t>(job->bitsPerPixel);
    job->page->bitsPerSample[0] = bits;
    TIFAddShort(build, kTagBitsPerSample, bits);
    return;
  }
  const uint16_t bits = job->bitsPerPixel < 48 ? 8 : 16;
  job->page->bitsPerSample[0] = bits;
  const uint32_t count = SampleCount(build);
  TIFAddEntry(build, kTagBitsPerSample, kTypeShort, count, build->position);
  const uint16_t values[] = {bits, bits, bits, bits, bits};
  TIFPutShorts(build, values, count);
}

uint32_t Photometric(const DirectoryBuild* build) {
  const DirectoryWriteJob* job = build->job;
  const uint32_t forced = job->options->photometric;
  if (HasOption(build, kSaveForcePhotometric) && (forced <= kPhotometricYCbCr || forced == kPhotometricCieLab)) {
    return forced;
  }
  if (job->bitsPerPixel == 1) {
    if (build->plan.colorMap) {
      return kPhotometricPalette;
    }
    const bool whiteFirst = job->palette != nullptr && job->palette[0].red != 0;
    return whiteFirst ? kPhotometricWhiteIsZero : kPhotometricBlackIsZero;
  }
  if (job->bitsPerPixel <= 8) {
    return job->palette != nullptr ? kPhotometricPalette : kPhotometricBlackIsZero;
  }
  return HasState(build, kStateCmyk)    ? kPhotometricCmyk
         : HasState(build, kStateYCbCr) ? kPhotometricYCbCr
         : HasState(build, kStateGray)  ? kPhotometricBlackIsZero
                                        : kPhotometricRgb;
}

void AddPhotometric(DirectoryBuild* build) {
  const uint32_t photometric = Photometric(build);
  TIFAddShort(build, kTagPhotometric, photometric);
  // A 16-bit colour pixel is a 5-5-5 word and must never be byte-swapped as a sample; the rule looks at the sample size
  // alone and so takes in 48 and 64 bits as well.
  if (photometric == kPhotometricRgb && build->job->page->bitsPerSample[0] == 16) {
    build->job->page->bitsPerSample[0] = 8;
  }
}

void AddFillOrder(DirectoryBuild* build) {
  const bool reversed = HasOption(build, kSaveFillOrder2);
  const bool reversedRows = build->job->compression == kCompressionNone && build->job->bitsPerPixel == 1 && reversed;
  if (IsGroup3Or4(build) || reversedRows) {
    TIFAddShort(build, kTagFillOrder, reversed ? kFillOrderLsbFirst : kFillOrderMsbFirst);
  }
}

bool UsesTileTags(const DirectoryBuild* build) {
  return HasState(build, kStateTiled) && !HasState(build, kStateVariantFile);
}

uint32_t WrittenOrientation(uint32_t view) {
  // The row writer delivers a bitmap of view 4 flipped, so that it is upright in the file.
  return view == 2 || view == 3 || (view >= 5 && view <= 8) ? view : 1;
}

uint32_t SamplesPerPixel(const DirectoryBuild* build) {
  return IsSingleSample(build->job) ? 1 : SampleCount(build);
}

void AddTileSize(DirectoryBuild* build) {
  if (HasState(build, kStateTiled)) {
    TIFAddLong(build, kTagTileWidth, build->job->tileWidth);
    TIFAddLong(build, kTagTileLength, build->job->rowsPerStrip);
  } else {
    TIFAddLong(build, kTagRowsPerStrip, build->job->rowsPerStrip);
  }
}

void AddResolutions(DirectoryBuild* build) {
  const BitmapHandle* descriptor = build->job->descriptor;
  TIFAddEntry(build, kTagXResolution, kTypeRational, 1, build->position);
  TIFAddEntry(build, kTagYResolution, kTypeRational, 1, build->position + 8);
  const uint32_t rationals[] = {static_cast<uint32_t>(descriptor->xResolution), 1,
                                static_cast<uint32_t>(descriptor->yResolution), 1};
  TIFPutLongs(build, rationals, 4);
}

void AddFaxOptions(DirectoryBuild* build) {
  if (!IsGroup3Or4(build) || HasState(build, kStateVariantFile)) {
    return;
  }
  constexpr uint32_t kEolsOnByteBoundaries = 4;
  const bool isGroup3 = build->job->compression == kCompressionGroup3;
  TIFAddLong(build, kTagT4Options, build->job->faxOptions + (isGroup3 ? kEolsOnByteBoundaries : 0));
  TIFAddLong(build, kTagT6Options, 0);
}

void AddYCbCr(DirectoryBuild* build) {
  if (!HasState(build, kStateYCbCr)) {
    return;
  }
  constexpr uint32_t kCosited = 2;
  TIFAddShortPair(build, kTagYCbCrSubSampling, 2, 1);
  TIFAddShort(build, kTagYCbCrPositioning, kCosited);
  TIFAddEntry(build, kTagReferenceBlackWhite, kTypeRational, 6, build->position);
  const uint32_t rationals[] = {0, 1, 255, 1, 128, 1, 255, 1, 128, 1, 255, 1};
  TIFPutLongs(build, rationals, 12);
}

// Tag 33467: the tiles stand in the file in the order of the image.
int32_t AddTileOrder(DirectoryBuild* build) {
  const uint32_t count = build->job->stripCount;
  if (!HasState(build, kStateTiled)) {
    TIFAddShort(build, kTagPrivateStripOrder, 0);
    return kResultOk;
  }
  if (count < 3) {
    TIFAddEntry(build, kTagPrivateStripOrder, kTypeShort, count, 1u << 16);
    return kResultOk;
  }
  if (TIFTakePosition(build) != kResultOk) {
    return kResultSeekFailed;
  }
  TIFAddEntry(build, kTagPrivateStripOrder, kTypeShort, count, build->position);
  uint16_t indices[kNumbersAtOnce];
  for (uint32_t done = 0; done < count; done += kNumbersAtOnce) {
    const uint32_t now = std::min(count - done, kNumbersAtOnce);
    for (uint32_t i = 0; i < now; ++i) {
      indices[i] = static_cast<uint16_t>(done + i);
    }
    TIFPutShorts(build, indices, now);
  }
  return kResultOk;
}

int32_t AddVariantTags(DirectoryBuild* build) {
  if (!HasState(build, kStateVariantFile)) {
    return kResultOk;
  }
  const uint32_t view = build->job->descriptor->viewPerspective;
  TIFAddShort(build, kTagPrivateRotation, view == 3 ? 2 : view == 6 ? 3 : view == 8 ? 1 : 0);
  TIFAddShort(build, kTagPrivateStripCompression, kCompressionGroup4);
  return AddTileOrder(build);
}

void AddSampleTags(DirectoryBuild* build) {
  if (build->job->compression == kCompressionLzw && build->job->page->predictor == kPredictorHorizontal) {
    TIFAddShort(build, kTagPredictor, kPredictorHorizontal);
  }
  if (HasState(build, kStateFloat | kStateSigned)) {
    TIFAddShort(build, kTagSampleFormat, HasState(build, kStateFloat) ? kSampleFloat : kSampleSigned);
  }
}

int32_t AddGeoKeys(DirectoryBuild* build) {
  if (!HasState(build, kStateGeoKeys)) {
    return kResultOk;
  }
  return TIFMergeGeoKeys(build->file, build->entries, &build->used, build->job->geoKeys);
}

int32_t AddExifAndGps(DirectoryBuild* build) {
  if (!HasState(build, kStateExifIfd)) {
    return kResultOk;
  }
  const DirectoryWriteJob* job = build->job;
  if (TIFTakePosition(build) != kResultOk) {
    return kResultSeekFailed;
  }
  TIFAddLong(build, kTagExifIfd, build->position);
  const int32_t exif = TIFWriteExifDirectory(build->file, job->comments, static_cast<uint32_t>(job->descriptor->width),
                                             static_cast<uint32_t>(job->descriptor->height), build->plan.markers);
  if (exif != kResultOk) {
    return exif;
  }
  if (TIFTakePosition(build) != kResultOk) {
    return kResultSeekFailed;
  }
  TIFAddLong(build, kTagGpsIfd, build->position);
  const int32_t gps = TIFWriteGpsDirectory(build->file, job->comments, build->plan.markers);
  if (gps == 0) {
    --build->used; // nothing was written
    return kResultOk;
  }
  return gps;
}

int32_t AddListedTags(DirectoryBuild* build) {
  for (TifTagItem* item = build->job->tagList; item != nullptr; item = item->next) {
    if (!TIFIsTagAccepted(item) || build->used == build->plan.entryCount) {
      continue;
    }
    const int32_t result = TIFReplaceEntryValue(build->file, &build->entries[build->used], item, item->data);
    if (result != kResultOk) {
      return result;
    }
    ++build->used;
  }
  return kResultOk;
}

int32_t AddIptc(DirectoryBuild* build) {
  const uint32_t length = build->plan.iptcLength;
  if (length == 0) {
    return kResultOk;
  }
  if (TIFTakePosition(build) != kResultOk) {
    return kResultSeekFailed;
  }
  TIFAddEntry(build, kTagIptc, kTypeByte, length, build->position);
  if (krnFileWrite(build->file->fileHandle, build->plan.iptc, length) != length) {
    return krnWriteError(kResultWriteFailed);
  }
  if (length % 2 != 0 && krnFileWrite(build->file->fileHandle, "", 1) != 1) {
    return krnWriteError(kResultWriteFailed);
  }
  return kResultOk;
}

void AddSizePair(DirectoryBuild* build) {
  const TifSizePair* pair = build->job->private50235;
  if (pair != nullptr && pair->first != 0 && pair->second != 0) {
    TIFAddShortPair(build, kTagPrivateSizePair, pair->first, pair->second);
  }
}

// Red values first, then green, then blue; each the palette's byte in the high half.
int32_t WriteColorMap(DirectoryBuild* build, uint32_t slot) {
  if (TIFTakePosition(build) != kResultOk) {
    return kResultSeekFailed;
  }
  const uint32_t colors = 1u << build->job->bitsPerPixel;
  build->entries[slot].count = 3 * colors;
  build->entries[slot].value = build->position;
  uint16_t values[3 * kPaletteEntries];
  for (uint32_t i = 0; i < colors; ++i) {
    const VxColor& color = build->job->palette[i];
    values[i] = static_cast<uint16_t>(color.red << 8);
    values[colors + i] = static_cast<uint16_t>(color.green << 8);
    values[2 * colors + i] = static_cast<uint16_t>(color.blue << 8);
  }
  TIFPutShorts(build, values, 3 * colors);
  return kResultOk;
}

// The tags that this writer makes itself, up to the one whose values another writer stores.
int32_t AddOwnTags(DirectoryBuild* build, uint32_t* offsetsSlot, uint32_t* countsSlot, uint32_t* colorMapSlot) {
  const DirectoryWriteJob* job = build->job;
  const bool variant = HasState(build, kStateVariantFile);
  AddSizeTags(build);
  AddBitsPerSample(build);
  if (!variant) {
    TIFAddShort(build, kTagCompression, job->compression);
  }
  AddPhotometric(build);
  AddFillOrder(build);
  for (const uint16_t tag : {kTagDocumentName, kTagImageDescription, kTagMake, kTagModel}) {
    TIFAddText(build, tag);
  }
  *offsetsSlot = build->used;
  TIFAddEntry(build, UsesTileTags(build) ? kTagTileOffsets : kTagStripOffsets, kTypeLong, job->stripCount, 0);
  if (!variant) {
    TIFAddShort(build, kTagOrientation, WrittenOrientation(job->descriptor->viewPerspective));
  }
  TIFAddShort(build, kTagSamplesPerPixel, SamplesPerPixel(build));
  AddTileSize(build);
  *countsSlot = build->used;
  TIFAddEntry(build, UsesTileTags(build) ? kTagTileByteCounts : kTagStripByteCounts, kTypeLong, job->stripCount, 0);
  AddResolutions(build);
  if (!variant) {
    TIFAddShort(build, kTagPlanarConfiguration, HasState(build, kStatePlanar) ? kPlanarSeparate : kPlanarChunky);
  }
  TIFAddText(build, kTagPageName);
  AddFaxOptions(build);
  TIFAddShort(build, kTagResolutionUnit, kUnitInch);
  if (!HasOption(build, kSaveKeepPageNumbers)) {
    TIFAddShortPair(build, kTagPageNumber, build->file->pageIndex, 0);
  }
  for (const uint16_t tag : {kTagSoftware, kTagDateTime, kTagArtist, kTagHostComputer}) {
    TIFAddText(build, tag);
  }
  *colorMapSlot = build->used;
  if (build->plan.colorMap) {
    TIFAddEntry(build, kTagColorMap, kTypeShort, 0, 0);
  }
  if (job->bitsPerPixel == 64 || (job->bitsPerPixel == 32 && job->descriptor->order != kOrderGray)) {
    TIFAddShort(build, kTagExtraSamples, 0);
  }
  AddYCbCr(build);
  TIFAddText(build, kTagCopyright);
  const int32_t result = AddVariantTags(build);
  AddSampleTags(build);
  return result;
}

// The tags whose values the metadata writers store, each at the place where it finds the file.
int32_t AddMetadata(DirectoryBuild* build) {
  int32_t result = AddGeoKeys(build);
  if (result == kResultOk) {
    result = AddExifAndGps(build);
  }
  if (result == kResultOk) {
    result = AddListedTags(build);
  }
  if (result == kResultOk) {
    result = AddIptc(build);
  }
  if (result != kResultOk) {
    return result;
  }
  AddSizePair(build);
  return TIFMergeMarkerDirectory(build->file, build->entries, &build->used, build->plan.markers, kDirMain);
}

// Entries in ascending order over the room that was reserved for them.
int32_t WriteEntryArray(DirectoryBuild* build) {
  TifFile* file = build->file;
  const bool fewer = build->used != build->plan.entryCount;
  if (TIFSeek(file->fileHandle, file->directoryOffset + (fewer ? 0 : 2), kKrnSeekSet) == kSeekFailed) {
    return kResultSeekFailed;
  }
  bool written = true;
  if (fewer) {
    file->entryCount = build->used;
    written = TIFWrite16(file, static_cast<uint16_t>(build->used)) == 1;
  }
  TIFSortEntries(build->entries, build->used);
  if (!TIFIsLittle(file)) {
    TIFSwapEntries(build->entries, build->used, SwapDirection::kToFile);
  }
  const uint32_t bytes = build->used * kDirEntrySize;
  written = written && krnFileWrite(file->fileHandle, build->entries, bytes) == bytes;
  if (fewer) {
    written = written && TIFWrite32(file, file->nextDirectoryOffset) == 1;
  }
  return written ? kResultOk : krnWriteError(kResultWriteFailed);
}

// Offsets that follow each other without gaps, then the byte counts; one strip has both in its entries.
int32_t WriteStripTables(DirectoryBuild* build, uint32_t dataPosition) {
  const uint32_t count = build->job->stripCount;
  if (TIFSeek(build->file->fileHandle, dataPosition, kKrnSeekSet) == kSeekFailed) {
    return kResultSeekFailed;
  }
  if (count < 2) {
    return kResultOk;
  }
  uint32_t offsets[kNumbersAtOnce];
  uint32_t offset = dataPosition + 8 * count;
  for (uint32_t done = 0; done < count; done += kNumbersAtOnce) {
    const uint32_t now = std::min(count - done, kNumbersAtOnce);
    for (uint32_t i = 0; i < now; ++i) {
      offsets[i] = offset;
      offset += build->job->byteCounts[done + i];
    }
    TIFPutLongs(build, offsets, now);
  }
  TIFPutLongs(build, build->job->byteCounts, count);
  return kResultOk;
}

int32_t WriteReserved(DirectoryBuild* build) {
  uint32_t offsetsSlot = 0;
  uint32_t countsSlot = 0;
  uint32_t colorMapSlot = 0;
  int32_t result = ReserveDirectory(build);
  if (result == kResultOk) {
    result = AddOwnTags(build, &offsetsSlot, &countsSlot, &colorMapSlot);
  }
  if (result == kResultOk) {
    result = AddMetadata(build);
  }
  if (result == kResultOk && build->plan.colorMap) {
    result = WriteColorMap(build, colorMapSlot);
  }
  if (result == kResultOk && build->plan.toneBlock) {
    result = TIFWriteToneBlock(build);
  }
  if (result == kResultOk) {
    result = TIFTakePosition(build);
  }
  if (result != kResultOk) {
    return result;
  }
  const uint32_t dataPosition = build->position;
  const uint32_t count = build->job->stripCount;
  build->entries[offsetsSlot].value = dataPosition;
  build->entries[countsSlot].value = count == 1 ? build->job->byteCounts[0] : dataPosition + 4 * count;
  result = WriteEntryArray(build);
  return result == kResultOk ? WriteStripTables(build, dataPosition) : result;
}

} // namespace

int32_t TIFWriteDirectory(TifFile* file, const DirectoryWriteJob* job) {
  DirectoryBuild build = {};
  build.file = file;
  build.job = job;
  int32_t result = TIFPlanDirectory(file, job, &build.plan);
  if (result == kResultOk) {
    build.entries = static_cast<TifDirEntry*>(TIFAllocZero(build.plan.entryCount, sizeof(TifDirEntry)));
    result = build.entries == nullptr ? kResultNoMemory : WriteReserved(&build);
  }
  TIFFreeDirectoryPlan(&build.plan);
  TIFFree(build.entries);
  return result;
}
