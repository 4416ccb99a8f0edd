// The counting in front of a directory. Space is reserved before any value is known, so the count is an upper bound:
// what comes out fewer leaves a hole behind the directory, and nothing may come out more.

#include <vxtif/results.h>

#include "Tifutil/DirectoryEntries.h"
#include "tif_com/Comments.h"
#include "tif_com/GeoKeys.h"
#include "tif_com/Markers.h"
#include "tif_com/Memory.h"
#include "tif_com/SaveState.h"
#include "tif_com/TagAccess.h"
#include "tif_com/Tags.h"

namespace {

// 254, 256, 257, 258, 259, 262, 273, 274, 277, 278, 279, 282, 283, 284, 296, 297.
constexpr uint32_t kBaseEntries = 16;
// 266, 292, 293; a variant file has the first alone.
constexpr uint32_t kFaxEntries = 3;
constexpr uint32_t kVariantFaxEntries = 1;
// 530, 531, 532.
constexpr uint32_t kYCbCrEntries = 3;
// 34665, 34853.
constexpr uint32_t kExifEntries = 2;
// The count on disk has 16 bits.
constexpr uint32_t kMostEntries = 0xFFFF;

bool IsGray(const VxColor& color) {
  return color.blue == color.green && color.green == color.red;
}

// Black and white in either order: what photometric 0 and 1 say without a colour map.
bool IsBlackAndWhite(const VxColor* palette) {
  return IsGray(palette[0]) && IsGray(palette[1]) &&
         ((palette[0].red == 0 && palette[1].red == 255) || (palette[0].red == 255 && palette[1].red == 0));
}

bool NeedsColorMap(const DirectoryWriteJob* job) {
  if (job->palette == nullptr || job->bitsPerPixel < 1 || job->bitsPerPixel > 8) {
    return false;
  }
  if (job->bitsPerPixel > 1) {
    return true;
  }
  const bool isFax = job->compression == kCompressionGroup3 || job->compression == kCompressionGroup4;
  return !isFax && !IsBlackAndWhite(job->palette);
}

bool NeedsToneBlock(const BitmapHandle* descriptor) {
  return descriptor->order == kOrderGray && (TIFHasLevelRange(descriptor) || TIFHasToneTable(descriptor));
}

uint32_t CountTexts(const TifCommentBlock* comments) {
  uint32_t count = 0;
  for (uint32_t slot = 0; comments != nullptr && slot < kMainCommentCount; ++slot) {
    count += comments->slots[slot].data != nullptr;
  }
  return count;
}

uint32_t CountTags(const TifTagItem* list) {
  uint32_t count = 0;
  for (const TifTagItem* item = list; item != nullptr; item = item->next) {
    count += TIFIsTagAccepted(item);
  }
  return count;
}

// A variant file leaves out 259, 274 and 284, and brings 33465 to 33467: as many of its own.
uint32_t CountByCompression(const TifFile* file, const DirectoryWriteJob* job) {
  switch (job->compression) {
  case kCompressionGroup3:
  case kCompressionGroup4:
    return TIFHasState(file, kStateVariantFile) ? kVariantFaxEntries : kFaxEntries;
  case kCompressionNone:
    return job->bitsPerPixel == 1 && (job->options->flags & kSaveFillOrder2) != 0;
  case kCompressionLzw:
    return job->page->predictor == kPredictorHorizontal;
  case kCompressionStoredSize:
    return 1;
  default:
    return 0;
  }
}

// The options of a variant file are settled here and stay so in the caller's record.
void SettleVariantOptions(const TifFile* file, SaveOptions* options) {
  options->flags |= kSaveKeepPageNumbers;
  if (TIFHasState(file, kStateTiled)) {
    options->flags &= ~static_cast<uint32_t>(kSaveNoSubfileType);
  } else {
    options->flags |= kSaveNoSubfileType;
  }
}

uint32_t CountByState(const TifFile* file) {
  return TIFHasState(file, kStateYCbCr) * kYCbCrEntries + TIFHasState(file, kStateExifIfd) * kExifEntries +
         TIFHasState(file, kStateGeoKeys) + TIFHasState(file, kStateFloat) + TIFHasState(file, kStateSigned) +
         TIFHasState(file, kStateTiled);
}

bool HasExtraSample(const DirectoryWriteJob* job) {
  return job->bitsPerPixel == 64 || (job->bitsPerPixel == 32 && job->descriptor->order != kOrderGray);
}

} // namespace

bool TIFHasLevelRange(const BitmapHandle* descriptor) {
  return descriptor->lowBit != 0 || (descriptor->highBit != descriptor->bitsPerPixel - 1 && descriptor->highBit != -1);
}

bool TIFHasToneTable(const BitmapHandle* descriptor) {
  return (descriptor->flags & kBitmapHasLookupTable) != 0 && descriptor->lookupTable != 0 &&
         descriptor->lookupTableLength != 0;
}

int32_t TIFPlanDirectory(TifFile* file, const DirectoryWriteJob* job, DirectoryPlan* plan) {
  *plan = DirectoryPlan{};
  if (static_cast<int64_t>(job->tileWidth) < job->descriptor->width) {
    file->stateFlags |= kStateTiled;
  } else {
    file->stateFlags &= ~static_cast<uint32_t>(kStateTiled);
  }
  plan->colorMap = NeedsColorMap(job);
  plan->toneBlock = NeedsToneBlock(job->descriptor);
  uint64_t count =
      kBaseEntries + CountTexts(job->comments) + plan->colorMap + CountByCompression(file, job) + HasExtraSample(job);
  if (TIFHasState(file, kStateVariantFile)) {
    SettleVariantOptions(file, job->options);
  }
  count -= (job->options->flags & kSaveNoSubfileType) != 0;
  count -= (job->options->flags & kSaveKeepPageNumbers) != 0;
  count += CountByState(file) + CountTags(job->tagList);
  count += job->geoKeys != nullptr ? kGeoTagCount : 0;
  if (!TIFHasState(file, kStateVariantFile)) {
    const int32_t result = TIFBuildIptcBlock(job->comments, &plan->iptc, &plan->iptcLength, true);
    if (result != kResultOk) {
      return result;
    }
    count += plan->iptcLength != 0;
  }
  count += plan->toneBlock;
  count += job->private50235 != nullptr && job->private50235->first != 0 && job->private50235->second != 0;
  const int32_t result = TIFReadExifMarker(job->markers, &plan->markers);
  if (result != kResultOk) {
    return result;
  }
  count += plan->markers != nullptr ? plan->markers->entryCount : 0;
  plan->entryCount = count > kMostEntries ? 0 : static_cast<uint32_t>(count);
  return count > kMostEntries ? kResultNoMemory : kResultOk;
}

void TIFFreeDirectoryPlan(DirectoryPlan* plan) {
  TIFFreeDirectory(plan->markers, kDirMain);
  TIFFree(plan->iptc);
  plan->markers = nullptr;
  plan->iptc = nullptr;
}
