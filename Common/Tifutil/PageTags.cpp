// The tag table of the page parser and the tags that need no more than the value word and a few values from the file.
// An entry comes in with its value word in the memory form; what it means goes into the TifPage. The order in which a
// file brings its tags matters: many rules look at what earlier tags have left behind.
//
// A new tag is a new row of kPageTags.

#include "Tifutil/PageTags.h"

#include <algorithm>
#include <iterator>

#include "Tifutil/PrivateDirectory.h"
#include "Tifutil/StripOrder.h"
#include "Tifutil/StripTables.h"
#include "Tifutil/VendorQuirks.h"
#include "Tifutil/YccTags.h"
#include "tif_com/ByteOrder.h"
#include "tif_com/Tags.h"

namespace {

constexpr uint32_t kWidestAppended = 8; // samples deeper than this are not repeated by tag 277
constexpr uint32_t kFiveFiveFive = 15;  // sum of a 5-5-5 pixel, which is stored in 16 bits
constexpr uint32_t kDepthOfZero = 8;    // what a depth of 0 counts as
constexpr uint32_t kLongestShortOffset = 65535;

// Most tags are their value word, stored in a field of four bytes.
template <size_t fieldOffset> TagOutcome StoreValue(PageParse& parse, const TifDirEntry& entry) {
  StoreU32LE(reinterpret_cast<uint8_t*>(parse.page) + fieldOffset, entry.value);
  return TagOutcome::kGoOn;
}

template <uint32_t flag> TagOutcome SetPageFlag(PageParse& parse, const TifDirEntry&) {
  parse.page->pageFlags |= flag;
  return TagOutcome::kGoOn;
}

TagOutcome Recognised(PageParse&, const TifDirEntry&) {
  return TagOutcome::kGoOn;
}

TagOutcome ImageWidth(PageParse& parse, const TifDirEntry& entry) {
  const auto width = static_cast<int32_t>(entry.value);
  parse.page->imageWidth = width;
  parse.page->tileWidth = width; // strips are as wide as the page; tag 322 follows in a sorted directory
  parse.page->fileWidth = width;
  return TagOutcome::kGoOn;
}

TagOutcome ImageLength(PageParse& parse, const TifDirEntry& entry) {
  parse.page->imageLength = static_cast<int32_t>(entry.value);
  parse.page->fileLength = static_cast<int32_t>(entry.value);
  return TagOutcome::kGoOn;
}

void AppendSample(TifPage* page, uint32_t depth) {
  page->bitsPerSample[page->samplesPerPixel++] = depth;
  page->totalBits += depth;
}

// Gives every sample that tag 277 promises the depth of the first.
void AppendPromisedSamples(const PageParse& parse) {
  TifPage* page = parse.page;
  while (page->samplesPerPixel < parse.samplesPerPixelTag) {
    AppendSample(page, page->bitsPerSample[0]);
  }
}

TagOutcome InlineDepths(PageParse& parse, const TifDirEntry& entry) {
  const bool shorts = entry.type == kTypeShort;
  const uint32_t step = shorts ? 16 : 8;
  const uint32_t mask = shorts ? 0xFFFF : 0xFF;
  parse.page->totalBits = 0;
  parse.page->samplesPerPixel = 0;
  for (uint32_t i = 0; i < entry.count; ++i) {
    // Wanted: each byte value costs four bytes of the file at the place where it stands.
    uint8_t passedOver[4];
    if (!shorts && !TIFReadExactly(parse.file, passedOver, sizeof passedOver)) {
      return TagOutcome::kRefused;
    }
    const uint32_t depth = entry.value >> (step * i) & mask;
    AppendSample(parse.page, depth == 0 ? kDepthOfZero : depth);
  }
  return TagOutcome::kGoOn;
}

TagOutcome DepthsInFile(PageParse& parse, const TifDirEntry& entry) {
  TifPage* page = parse.page;
  if (entry.count > kMaxSamples) {
    return TagOutcome::kRefused;
  }
  TIFSeek(parse.file->fileHandle, entry.value, kKrnSeekSet); // a failure is met by the reads
  page->totalBits = 0;
  page->samplesPerPixel = 0;
  for (uint32_t i = 0; i < entry.count; ++i) {
    uint16_t narrow = 0;
    uint32_t depth = 0;
    const int32_t read = entry.type == kTypeShort ? TIFRead16(parse.file, &narrow) : TIFRead32(parse.file, &depth);
    if (read == 0) {
      return TagOutcome::kRefused;
    }
    depth = entry.type == kTypeShort ? narrow : depth;
    AppendSample(page, depth == 0 ? kDepthOfZero : depth);
  }
  if (page->totalBits == kFiveFiveFive) {
    page->totalBits = kFiveFiveFive + 1;
  }
  return TagOutcome::kGoOn;
}

TagOutcome BitsPerSample(PageParse& parse, const TifDirEntry& entry) {
  TifPage* page = parse.page;
  TagOutcome outcome = TagOutcome::kGoOn;
  page->samplesPerPixel = entry.count;
  if (entry.count <= 1) {
    page->totalBits = entry.value;
    page->bitsPerSample[0] = entry.value;
  } else if ((entry.type == kTypeShort && entry.count == 2) || (entry.type == kTypeByte && entry.count <= 4)) {
    outcome = InlineDepths(parse, entry);
  } else {
    outcome = DepthsInFile(parse, entry);
  }
  if (outcome == TagOutcome::kGoOn) {
    AppendPromisedSamples(parse);
  }
  return outcome;
}

TagOutcome SamplesPerPixel(PageParse& parse, const TifDirEntry& entry) {
  parse.samplesPerPixelTag = std::min<uint32_t>(entry.value, kMaxSamples);
  if (parse.page->bitsPerSample[0] <= kWidestAppended) {
    AppendPromisedSamples(parse);
  }
  return TagOutcome::kGoOn;
}

TagOutcome Compression(PageParse& parse, const TifDirEntry& entry) {
  TifPage* page = parse.page;
  page->compression = entry.value;
  if (entry.value >= kCompressionCcittRle && entry.value <= kCompressionGroup4) {
    page->totalBits = 1;
    page->samplesPerPixel = 1;
    page->bitsPerSample[0] = 1;
  }
  return TagOutcome::kGoOn;
}

TagOutcome Photometric(PageParse& parse, const TifDirEntry& entry) {
  parse.page->photometricInterpretation =
      parse.rgbMode == RgbMode::kForceRgb ? static_cast<uint32_t>(kPhotometricRgb) : entry.value;
  return TagOutcome::kGoOn;
}

void SetOrientation(TifPage* page, uint32_t value) {
  const int32_t clamped = std::clamp(static_cast<int32_t>(value), 1, 8);
  page->orientation = static_cast<uint32_t>(clamped);
  page->viewPerspective = static_cast<uint32_t>(clamped);
}

TagOutcome Orientation(PageParse& parse, const TifDirEntry& entry) {
  SetOrientation(parse.page, entry.value);
  return TagOutcome::kGoOn;
}

// Quarter turns, as the toolkit's own writer counts them.
TagOutcome PrivateRotation(PageParse& parse, const TifDirEntry& entry) {
  constexpr uint8_t kOrientationOfTurns[] = {1, 8, 3, 6};
  SetOrientation(parse.page, entry.value < sizeof kOrientationOfTurns ? kOrientationOfTurns[entry.value] : entry.value);
  return TagOutcome::kGoOn;
}

bool IsOneInteger(const TifDirEntry& entry) {
  return entry.count == 1 &&
         (entry.type == kTypeShort || entry.type == kTypeLong || entry.type == kTypeSShort || entry.type == kTypeSLong);
}

TagOutcome MinSampleValue(PageParse& parse, const TifDirEntry& entry) {
  if (IsOneInteger(entry)) {
    parse.page->minSampleValue = entry.value;
  }
  return TagOutcome::kGoOn;
}

TagOutcome MaxSampleValue(PageParse& parse, const TifDirEntry& entry) {
  if (IsOneInteger(entry)) {
    parse.page->maxSampleValue = entry.value;
  }
  return TagOutcome::kGoOn;
}

// Numerator by denominator, 0 for whatever cannot be had.
float ReadResolution(const PageParse& parse, uint32_t offset) {
  if (TIFSeek(parse.file->fileHandle, offset, kKrnSeekSet) != offset) {
    return 0;
  }
  uint8_t bytes[8];
  if (!TIFReadExactly(parse.file, bytes, sizeof bytes)) {
    return 0;
  }
  const bool little = TIFIsLittle(parse.file);
  const uint32_t numerator = little ? LoadU32LE(bytes) : LoadU32BE(bytes);
  const uint32_t denominator = little ? LoadU32LE(bytes + 4) : LoadU32BE(bytes + 4);
  return denominator == 0 ? 0 : static_cast<float>(numerator) / static_cast<float>(denominator);
}

TagOutcome XResolution(PageParse& parse, const TifDirEntry& entry) {
  parse.page->xResolution = ReadResolution(parse, entry.value);
  return TagOutcome::kGoOn;
}

TagOutcome YResolution(PageParse& parse, const TifDirEntry& entry) {
  parse.page->yResolution = ReadResolution(parse, entry.value);
  return TagOutcome::kGoOn;
}

TagOutcome ResolutionUnit(PageParse& parse, const TifDirEntry& entry) {
  parse.resolutionUnit = entry.value;
  return TagOutcome::kGoOn;
}

// Only where the map stands and how long it is; the load reads it.
TagOutcome ColorMap(PageParse& parse, const TifDirEntry& entry) {
  TifPage* page = parse.page;
  page->colorMapOffset = entry.value;
  page->colorMapCount = entry.count;
  if (entry.type == kTypeShort) {
    if (entry.value > kLongestShortOffset) {
      page->colorMapOffset = entry.value & 0x7FFFFFFF;
    }
    page->colorMapCount = entry.count & 0xFFFF;
  }
  page->colorMapEntries = static_cast<uint32_t>(static_cast<int32_t>(page->colorMapCount) / 3);
  if (page->colorMapEntries == 0) {
    page->colorMapCount = 0;
  } else {
    page->pageFlags &= ~static_cast<uint32_t>(kPageNoColorMap);
  }
  return TagOutcome::kGoOn;
}

TagOutcome TileWidth(PageParse& parse, const TifDirEntry& entry) {
  if ((parse.page->pageFlags & kPageInStrips) == 0) {
    parse.page->tileWidth = static_cast<int32_t>(entry.value);
  }
  return TagOutcome::kGoOn;
}

TagOutcome TileLength(PageParse& parse, const TifDirEntry& entry) {
  if ((parse.page->pageFlags & kPageInStrips) == 0) {
    parse.page->rowsPerStrip = static_cast<int32_t>(entry.value);
  }
  return TagOutcome::kGoOn;
}

TagOutcome ExtraSamples(PageParse& parse, const TifDirEntry& entry) {
  TifPage* page = parse.page;
  if (entry.count > page->samplesPerPixel) {
    return TagOutcome::kTooManyExtraSamples;
  }
  page->extraSampleCount = entry.count;
  page->extraBits = 0;
  for (uint32_t i = page->samplesPerPixel - entry.count; i < page->samplesPerPixel; ++i) {
    page->extraBits += page->bitsPerSample[i];
  }
  return TagOutcome::kGoOn;
}

// One value for the whole page: of several SHORTs the low half of their offset is taken, which is wanted.
TagOutcome SampleFormat(PageParse& parse, const TifDirEntry& entry) {
  if (entry.type != kTypeShort && entry.count != 1) {
    return TagOutcome::kGoOn;
  }
  parse.page->sampleFormat = entry.value & 0xFFFF;
  if (parse.page->sampleFormat == kSampleSigned) {
    parse.page->pageFlags |= kPageSigned;
  }
  return TagOutcome::kGoOn;
}

// Files with global parameters (TIFF for fax) are taken only where no fax codec would need them.
TagOutcome GlobalParameters(PageParse& parse, const TifDirEntry&) {
  const uint32_t compression = parse.page->compression;
  const bool allowed =
      compression == kCompressionPackBits || compression == kCompressionLzw || compression == kCompressionNone;
  return allowed ? TagOutcome::kGoOn : TagOutcome::kRefused;
}

TagOutcome ExifDirectory(PageParse& parse, const TifDirEntry&) {
  parse.page->pageFlags |= kPageExif;
  if (parse.nextDirectory != 0) {
    parse.page->pageFlags |= kPageExifWithThumbnail;
  }
  return TagOutcome::kGoOn;
}

TagOutcome PrivateSizePair(PageParse& parse, const TifDirEntry& entry) {
  if (entry.type == kTypeShort && entry.count == 2) {
    parse.page->private50235First = entry.value & 0xFFFF;
    parse.page->private50235Second = entry.value >> 16;
  }
  return TagOutcome::kGoOn;
}

enum class TagMode : uint8_t { kBoth, kLoad };

struct TagRow {
  uint16_t tag;
  TagMode mode;
  TagOutcome (*apply)(PageParse&, const TifDirEntry&);
};

constexpr TagRow kPageTags[] = {
    {kTagImageWidth, TagMode::kBoth, ImageWidth},
    {kTagImageLength, TagMode::kBoth, ImageLength},
    {kTagBitsPerSample, TagMode::kBoth, BitsPerSample},
    {kTagCompression, TagMode::kBoth, Compression},
    {kTagPhotometric, TagMode::kBoth, Photometric},
    {kTagFillOrder, TagMode::kLoad, StoreValue<offsetof(TifPage, fillOrder)>},
    {kTagMake, TagMode::kBoth, TIFApplyMake},
    {kTagStripOffsets, TagMode::kBoth, TIFApplyStripOffsets},
    {kTagOrientation, TagMode::kBoth, Orientation},
    {kTagSamplesPerPixel, TagMode::kBoth, SamplesPerPixel},
    {kTagRowsPerStrip, TagMode::kLoad, StoreValue<offsetof(TifPage, rowsPerStrip)>},
    {kTagStripByteCounts, TagMode::kBoth, TIFApplyStripByteCounts},
    {kTagMinSampleValue, TagMode::kLoad, MinSampleValue},
    {kTagMaxSampleValue, TagMode::kLoad, MaxSampleValue},
    {kTagXResolution, TagMode::kBoth, XResolution},
    {kTagYResolution, TagMode::kBoth, YResolution},
    {kTagPlanarConfiguration, TagMode::kLoad, StoreValue<offsetof(TifPage, planarConfiguration)>},
    {kTagGrayResponseUnit, TagMode::kBoth, Recognised},
    {kTagGrayResponseCurve, TagMode::kLoad, TIFApplyResponseCurve},
    {kTagT4Options, TagMode::kBoth, StoreValue<offsetof(TifPage, t4Options)>},
    {kTagT6Options, TagMode::kBoth, StoreValue<offsetof(TifPage, t6Options)>},
    {kTagResolutionUnit, TagMode::kBoth, ResolutionUnit},
    {kTagSoftware, TagMode::kLoad, TIFApplySoftware},
    {kTagPredictor, TagMode::kLoad, StoreValue<offsetof(TifPage, predictor)>},
    {kTagColorMap, TagMode::kBoth, ColorMap},
    {kTagTileWidth, TagMode::kLoad, TileWidth},
    {kTagTileLength, TagMode::kLoad, TileLength},
    {kTagTileOffsets, TagMode::kBoth, TIFApplyTileOffsets},
    {kTagTileByteCounts, TagMode::kBoth, TIFApplyTileByteCounts},
    {kTagSubIfds, TagMode::kBoth, SetPageFlag<kPageSubIfds>},
    {kTagExtraSamples, TagMode::kBoth, ExtraSamples},
    {kTagSampleFormat, TagMode::kBoth, SampleFormat},
    {kTagGlobalParameters, TagMode::kBoth, GlobalParameters},
    {kTagYCbCrCoefficients, TagMode::kLoad, TIFApplyYccCoefficients},
    {kTagYCbCrSubSampling, TagMode::kBoth, TIFApplyYccSubSampling},
    {kTagReferenceBlackWhite, TagMode::kLoad, TIFApplyReferenceBlackWhite},
    {kTagPrivateRotation, TagMode::kBoth, PrivateRotation},
    {kTagPrivateStripCompression, TagMode::kBoth, TIFApplyStripCompression},
    {kTagPrivateStripOrder, TagMode::kLoad, TIFApplyStripOrderTag},
    {kTagExifIfd, TagMode::kBoth, ExifDirectory},
    {kTagGeoKeyDirectory, TagMode::kBoth, SetPageFlag<kPageGeoKeys>},
    {kTagTiffEpStandardId, TagMode::kBoth, SetPageFlag<kPageTiffEp>},
    {kTagPrivateDirectory, TagMode::kLoad, TIFApplyPrivateDirectory},
    {kTagPrivateSizePair, TagMode::kLoad, PrivateSizePair},
    {kTagPrivateSubDirectory, TagMode::kLoad, StoreValue<offsetof(TifPage, private50236)>},
};

constexpr bool RowByTag(const TagRow& left, const TagRow& right) {
  return left.tag < right.tag;
}

static_assert(std::is_sorted(std::begin(kPageTags), std::end(kPageTags), RowByTag), "rows are searched by tag");

} // namespace

TagOutcome TIFApplyPageTag(PageParse& parse, const TifDirEntry& entry) {
  const uint16_t tag = entry.tag;
  const TagRow* row = std::lower_bound(std::begin(kPageTags), std::end(kPageTags), tag,
                                       [](const TagRow& left, uint16_t right) { return left.tag < right; });
  const bool known = row != std::end(kPageTags) && row->tag == tag;
  if (!known || (row->mode == TagMode::kLoad && !TIFIsLoading(parse))) {
    return TagOutcome::kGoOn;
  }
  return row->apply(parse, entry);
}
