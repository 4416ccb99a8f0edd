// Edits told by bytes: see the header.

#include "EditSteps.h"

#include <algorithm>
#include <deque>
#include <functional>

#include "RowFeed.h"
#include "properties/Seed.h"
#include "tif_com/Tags.h"
#include "toolkit/Failure.h"
#include "toolkit/PageMetadata.h"

#include <vxtif/vxtif.h>

namespace {

constexpr uint32_t kMostItems = 3;
constexpr char16_t kScratchName[] = u"/fuzz/scratch.tif";

struct Format {
  int32_t number;
  std::initializer_list<int32_t> depths;
};

// The first rows are files that any reader takes; the others are for the targets that look at bounds alone.
constexpr int32_t kAnyDepth[] = {1, 4, 8, 12, 16, 24, 32, 48, 64};
constexpr int32_t kPlainFormats[] = {kFormatUncompressed,
                                     kFormatLzw,
                                     kFormatPackBits,
                                     kFormatGroup4,
                                     kFormatCcitt,
                                     kFormatGroup3,
                                     kFormatGroup3TwoDimensional,
                                     kFormatUncompressedCmyk,
                                     kFormatLzwCmyk,
                                     kFormatPackBitsCmyk,
                                     kFormatUncompressedYCbCr,
                                     kFormatLzwYCbCr,
                                     kFormatPackBitsYCbCr,
                                     kFormatGeoTiff};
constexpr int32_t kOtherFormats[] = {kFormatVariant, kFormatStoredSize, kFormatExif,   kFormatExifYCbCr,
                                     kFormatRawLzw,  kFormatJbig,       kFormatCustom, kFormatJpeg2000,
                                     kFormatWavelet, kFormatBilevel1,   kFormatJbig2,  999};

bool IsFax(int32_t format) {
  return format == kFormatGroup4 || format == kFormatCcitt || format == kFormatGroup3 ||
         format == kFormatGroup3TwoDimensional || format == kFormatVariant;
}

// Numbers that fill bitmaps and values, told by one byte of the script.
FileBytes Filling(InputReader& script, size_t bytes) {
  Random random(script.Byte());
  FileBytes filling = random.Bytes(bytes);
  if (random.Chance(50)) {
    for (size_t i = 0; i < bytes; ++i) {
      filling[i] = static_cast<uint8_t>(i / 7 % 3 == 0 ? 0xFF : 0);
    }
  }
  return filling;
}

BitmapHandle MakeBitmap(int32_t width, int32_t height, int32_t bits, uint32_t order) {
  BitmapHandle bitmap = {};
  krnBitmapInit(&bitmap, kBitmapHandleSize, width, height, bits);
  bitmap.order = order;
  bitmap.xResolution = bitmap.yResolution = 72;
  return bitmap;
}

SaveOptions ReadOptions(InputReader& script) {
  SaveOptions options = {};
  options.structSize = sizeof options;
  options.pageNumber = static_cast<int32_t>(script.Below(6)) - 1;
  const uint8_t flags = script.Byte();
  options.flags = ((flags & 1) != 0 ? uint32_t{kSaveBigEndian} : 0u) | ((flags & 2) != 0 ? kSavePredictor : 0u) |
                  ((flags & 4) != 0 ? uint32_t{kSaveTiles} : 0u) |
                  ((flags & 0x30) == 0x10 ? uint32_t{kSaveInsertPage} : 0u) |
                  ((flags & 0x30) == 0x20 ? uint32_t{kSaveReplacePage} : 0u) |
                  ((flags & 0xC0) == 0x40 ? uint32_t{kSaveKeepPageNumbers} : 0u) |
                  ((flags & 0xC0) == 0x80 ? uint32_t{kSaveNoSubfileType} : 0u);
  if ((flags & 4) != 0) {
    options.tileWidth = 16u * script.Below(4);
    options.tileHeight = 16u * (1 + script.Below(3));
  }
  options.flags2 = (flags & 8) != 0 ? uint32_t{kSavePlanar} | kSaveNoRatioCheck : 0u;
  return options;
}

// --- values ---

// Lists for a request, with what they point to.
struct Values {
  std::deque<FileBytes> bytes;
  std::deque<TifTagItem> tags;
  std::deque<TifGeoKeyItem> keys;
  TifCommentBlock comments = {};

  void AddTag(InputReader& script, const EditLimits& limits) {
    constexpr uint16_t kUsual[] = {40000, 40001, 65000, 700, 33550, 34377, 37724, 50341, 254, 273, 320, 34735, 34736};
    const uint8_t choice = script.Byte();
    const auto type = static_cast<uint16_t>(1 + script.Below(12));
    const uint32_t count = limits.anything ? script.Below(24) : 1 + script.Below(24);
    bytes.push_back(Filling(script, size_t{count} * TIFTypeSize(type) + 1));
    const auto plain = static_cast<uint16_t>(40000 + 8 * tags.size() + choice % 8); // each but once
    const uint16_t tag = !limits.anything ? plain : choice < 0xF0 ? kUsual[choice % std::size(kUsual)] : script.Word();
    tags.push_back({tag, type, count, bytes.back().data(), nullptr});
    if (tags.size() > 1) {
      tags[tags.size() - 2].next = &tags.back();
    }
  }

  void AddKey(InputReader& script) {
    constexpr uint16_t kTypes[] = {kTypeShort, kTypeDouble, kTypeAscii, kTypeSShort, kTypeLong};
    const auto key = static_cast<uint16_t>(1024 + script.Below(8));
    const uint16_t type = kTypes[script.Below(5)];
    const uint32_t count = script.Below(9);
    bytes.push_back(Filling(script, size_t{count} * TIFTypeSize(type) + 1));
    keys.push_back({key, type, count, bytes.back().data(), nullptr});
    if (keys.size() > 1) {
      keys[keys.size() - 2].next = &keys.back();
    }
  }

  void AddComment(InputReader& script, const EditLimits& limits) {
    const uint32_t number = script.Byte();
    const uint32_t size = script.Below(48) + (limits.anything ? 0 : 1);
    bytes.push_back(Filling(script, size + 2)); // with the room that a comment must have
    if (number < kCommentCount) {
      comments.slots[number] = {bytes.back().data(), size};
    }
  }
};

FileBytes MarkerBlock(std::span<const uint8_t> tiff) {
  constexpr size_t kMostBytes = 0xFFFF - 8;
  FileBytes block = {'V', 'M', 'R', 'K', 0, 0, 0, 0};
  const auto used = tiff.first(std::min(tiff.size(), kMostBytes));
  const auto length = static_cast<uint16_t>(used.size() + 8);
  block.insert(block.end(), {0xFF, 0xE1, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)});
  block.insert(block.end(), {'E', 'x', 'i', 'f', 0, 0});
  block.insert(block.end(), used.begin(), used.end());
  PutU32(block, 4, FileOrder::kLittle, static_cast<uint32_t>(block.size() - 8));
  return block;
}

// --- saves ---

// Rows of flat runs or of noise; a row may be refused.
RowFeed MakeRows(InputReader& script) {
  RowFeed rows;
  const uint8_t refusal = script.Byte();
  rows.rowsUntilRefusal = refusal >= 0xE0 ? refusal - 0xE0 : -1;
  const uint8_t seed = script.Byte();
  rows.fill = [seed](int32_t row, uint8_t* out, size_t bytes) {
    Random random(seed + static_cast<uint32_t>(row) / 3);
    for (size_t i = 0; i < bytes; ++i) {
      out[i] = static_cast<uint8_t>(seed % 2 == 0 ? random.Next() : i / 5 * seed);
    }
  };
  return rows;
}

EditStep SavePage(InputReader& script, const EditLimits& limits, const char16_t* fileName) {
  const uint8_t choice = script.Byte();
  const bool other = limits.anything && choice >= 0xC0;
  const int32_t format =
      other ? kOtherFormats[choice % std::size(kOtherFormats)] : kPlainFormats[choice % std::size(kPlainFormats)];
  const uint32_t depthChoice = script.Byte();
  const int32_t bits = IsFax(format) ? 1 : kAnyDepth[depthChoice % std::size(kAnyDepth)];
  const auto width = static_cast<int32_t>(1 + script.Below(70));
  const auto height = static_cast<int32_t>(1 + script.Below(40));
  SaveOptions options = ReadOptions(script);
  const uint8_t flags = script.Byte();
  RowFeed rows = MakeRows(script);
  const bool refuses = rows.rowsUntilRefusal >= 0;
  Values values;
  for (uint32_t i = 0; i < (flags >> 2 & 3); ++i) {
    values.AddTag(script, limits);
    values.AddComment(script, limits);
    values.AddKey(script);
  }
  const bool gray = (flags & 16) != 0;
  BitmapHandle bitmap = MakeBitmap(width, height, bits, gray ? kOrderGray : kOrderRedFirst);
  BitmapHandle stamp = MakeBitmap(3, 2, 24, kOrderRedFirst);
  const FileBytes markers = MarkerBlock(limits.markerTiff);
  const TifSizePair pair = {sizeof pair, static_cast<uint32_t>(width) / 2 + 1, 5};
  FilterSaveRequest request = {};
  request.fileName = fileName;
  request.bitmap = &bitmap;
  request.bitsPerPixel = bits;
  request.fileFormat = format;
  request.flags = ((flags & 1) != 0 ? uint32_t{kSaveRequestAppend} : 0u) | (gray ? uint32_t{kSaveRequestGray} : 0u);
  request.stampBitmap = (flags & 2) != 0 ? &stamp : nullptr;
  request.tagList = values.tags.empty() ? nullptr : &values.tags.front();
  request.comments = (flags & 32) != 0 ? &values.comments : nullptr;
  request.markers = (flags & 64) != 0 && !limits.markerTiff.empty()
                        ? reinterpret_cast<TifMarkerBlock*>(const_cast<uint8_t*>(markers.data()))
                        : nullptr;
  request.fileOptions = &options;
  request.private50235 = &pair;
  request.geoKeys = values.keys.empty() ? nullptr : &values.keys.front();
  request.extra1 = rows.Extra();
  rows.Serve(request);
  return {EditKind::kSavePage, fltSave(&request), refuses, other};
}

EditStep SavePlanes(InputReader& script, const char16_t* fileName) {
  constexpr int32_t kFormats[] = {kFormatUncompressedCmyk, kFormatLzwCmyk, kFormatPackBitsCmyk};
  const int32_t bits = script.Below(2) == 0 ? 8 : 16;
  const auto width = static_cast<int32_t>(1 + script.Below(40));
  const auto height = static_cast<int32_t>(1 + script.Below(30));
  std::vector<BitmapHandle> planes(4, MakeBitmap(width, height, bits, kOrderGray));
  BitmapHandle* handles[] = {&planes[0], &planes[1], &planes[2], &planes[3]};
  SaveOptions options = ReadOptions(script);
  RowFeed rows = MakeRows(script);
  const bool refuses = rows.rowsUntilRefusal >= 0;
  FilterSaveCMYKRequest request = {};
  request.fileName = fileName;
  request.bitmaps = handles;
  request.planeCount = 3 + script.Below(2);
  request.bitsPerPlane = bits;
  request.format = kFormats[script.Below(3)];
  request.flags = script.Below(2) == 0 ? uint32_t{kSaveRequestAppend} : 0u;
  request.options = &options;
  request.extra1 = rows.Extra();
  rows.Serve(request);
  return {EditKind::kSavePlanes, fltSaveCMYKArray(&request), refuses, false};
}

EditStep SaveData(InputReader& script, const char16_t* fileName) {
  constexpr int32_t kCompressions[] = {kCompressionNone, kCompressionGroup3TwoDimensional, kCompressionGroup4,
                                       kCompressionJpeg, kCompressionLzw};
  constexpr int32_t kDepths[] = {1, 8, 24, 48};
  const FileBytes data = Filling(script, script.Byte());
  VxColor palette[kPaletteEntries] = {};
  SaveOptions options = ReadOptions(script);
  FilterSaveDataRequest request = {};
  request.fileName = fileName;
  request.compression = kCompressions[script.Below(5)];
  request.width = 1u + script.Byte();
  request.height = 1u + script.Byte();
  request.bitsPerPixel = kDepths[script.Below(4)];
  request.palette = palette;
  request.paletteSize = kPaletteEntries;
  request.append = script.Below(2);
  request.xResolution = request.yResolution = 100;
  request.options = &options;
  request.fileHandle = kKrnNoHandle;
  const int32_t result = fltStartSaveData(&request);
  request.dataBuffer = data.data();
  request.dataLength = static_cast<uint32_t>(data.size());
  if (result == kResultOk) {
    fltSaveData(&request);
    fltSaveData(&request);
    fltStopSaveData(&request);
  }
  return {EditKind::kSaveData, result, false, false};
}

// --- edits of what is there ---

EditStep DeletePage(InputReader& script, const char16_t* fileName) {
  SaveOptions options = ReadOptions(script);
  FilterDeletePageRequest request = {fileName, script.Below(6), 0, &options};
  return {EditKind::kDeletePage, fltDeletePage(&request), false, false};
}

EditStep SetTags(InputReader& script, const EditLimits& limits, const char16_t* fileName, bool withMarkers) {
  SaveOptions options = ReadOptions(script);
  Values values;
  for (uint32_t count = script.Below(kMostItems + 1); count != 0; --count) {
    values.AddTag(script, limits);
  }
  FileBytes markers = MarkerBlock(limits.markerTiff);
  FilterSetTagRequest request = {};
  request.fileName = fileName;
  request.tagList = values.tags.empty() ? nullptr : &values.tags.front();
  request.markers = withMarkers ? reinterpret_cast<TifMarkerBlock*>(markers.data()) : nullptr;
  request.options = &options;
  return {withMarkers ? EditKind::kSetMarkers : EditKind::kSetTags, fltSetTag(&request), false, false};
}

EditStep SetComments(InputReader& script, const EditLimits& limits, const char16_t* fileName) {
  SaveOptions options = ReadOptions(script);
  Values values;
  for (uint32_t count = 1 + script.Below(kMostItems); count != 0; --count) {
    values.AddComment(script, limits);
  }
  FilterSetCommentRequest request = {fileName, 0, &options, &values.comments, nullptr};
  return {EditKind::kSetComments, fltSetComment(&request), false, false};
}

EditStep SetGeoKeys(InputReader& script, const char16_t* fileName) {
  SaveOptions options = ReadOptions(script);
  Values values;
  for (uint32_t count = 1 + script.Below(kMostItems); count != 0; --count) {
    values.AddKey(script);
  }
  FilterSetGeoKeyRequest request = {fileName, &options, &values.keys.front()};
  return {EditKind::kSetGeoKeys, fltSetGeoKey(&request), false, false};
}

} // namespace

int32_t CompactPages(InputReader& script, const char16_t* source, const char16_t* target) {
  FileOptions from = {};
  from.pageNumber = static_cast<int32_t>(script.Below(5)) - 1;
  SaveOptions to = ReadOptions(script);
  FilterCompactRequest request = {};
  request.sourceName = source;
  request.destinationName = target;
  request.pageCount = script.Below(4);
  request.sourceOptions = script.Below(3) == 0 ? &from : nullptr;
  request.destinationOptions = &to;
  return fltCompact(&request);
}

EditStep RunEditStep(InputReader& script, const EditLimits& limits, const char16_t* fileName) {
  const auto kind = static_cast<EditKind>(script.Below(static_cast<uint32_t>(EditKind::kCount)));
  switch (kind) {
  case EditKind::kSavePage:
    return SavePage(script, limits, fileName);
  case EditKind::kSavePlanes:
    return SavePlanes(script, fileName);
  case EditKind::kSaveData:
    return SaveData(script, fileName);
  case EditKind::kDeletePage:
    return DeletePage(script, fileName);
  case EditKind::kSetTags:
    return SetTags(script, limits, fileName, false);
  case EditKind::kSetComments:
    return SetComments(script, limits, fileName);
  case EditKind::kSetGeoKeys:
    return SetGeoKeys(script, fileName);
  case EditKind::kSetMarkers:
    return SetTags(script, limits, fileName, !limits.markerTiff.empty());
  case EditKind::kCompact:
  case EditKind::kCount:
    break;
  }
  return {EditKind::kCompact, CompactPages(script, fileName, kScratchName), false, false};
}

void ReadMetadata(InputReader& script, const std::string& fileName, int32_t page) {
  const auto attempt = [](const std::function<void()>& read) {
    try {
      read();
    } catch (const toolkit::Failure&) {
      // Refused, as damaged values should be.
    }
  };
  const uint32_t stride = 1 + script.Below(24);
  for (uint32_t comment = script.Below(24); comment < kCommentCount; comment += stride) {
    attempt([&] { toolkit::GetComment(fileName, page, comment); });
  }
  attempt([&] { toolkit::ListGeoKeys(fileName, page); });
  for (const uint16_t tag : {kTagStripOffsets, kTagImageDescription, kTagIptc, kTagColorMap, kTagExifIfd}) {
    attempt([&] { toolkit::GetTag(fileName, page, tag); });
  }
  attempt([&] { toolkit::GetTag(fileName, page, script.Word()); });
}
