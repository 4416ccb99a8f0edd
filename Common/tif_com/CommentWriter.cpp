// Comments of a new page: whole Exif and GPS directories built as records in memory and written at the file's current
// position, the slots first, then what an Exif marker brings beyond them.

#include <initializer_list>

#include <vxtif/results.h>

#include "tif_com/ByteOrder.h"
#include "tif_com/CommentFit.h"
#include "tif_com/Markers.h"
#include "tif_com/Memory.h"
#include "tif_com/SaveState.h"
#include "tif_com/TagAccess.h"
#include "tif_com/Tags.h"
#include "tif_com/TreeWriter.h"

namespace {

constexpr uint32_t kFixedExifRecords = 6;
constexpr uint32_t kMostRecords = 0xFFFF; // the count on disk has 16 bits

const char kExifVersion[] = "0221";
const char kFlashpixVersion[] = "0100";
const uint8_t kYCbCrComponents[4] = {1, 2, 3, 0};

struct RecordList {
  TifTagRecord* records;
  uint32_t count;
};

int32_t SetRecord(RecordList* list, uint16_t tag, uint16_t type, uint32_t count, const void* data) {
  TifTagItem item = {};
  item.tag = tag;
  item.type = type;
  item.count = count;
  return TIFSetRecord(list->records, &item, data, &list->count);
}

int32_t SetLong(RecordList* list, uint16_t tag, uint32_t value) {
  uint8_t bytes[4];
  StoreU32LE(bytes, value);
  return SetRecord(list, tag, kTypeLong, 1, bytes);
}

int32_t SetShort(RecordList* list, uint16_t tag, uint16_t value) {
  uint8_t bytes[2];
  StoreU16LE(bytes, value);
  return SetRecord(list, tag, kTypeShort, 1, bytes);
}

// Normalises the length of a slot to its row; false for one that is passed over. Unlike the in-place path it cuts a
// text that is too long and closed by a NUL.
bool NormalizeSlot(TifComment* slot, const CommentRow& row) {
  auto* data = static_cast<uint8_t*>(slot->data);
  if (row.bytes == kCommentAnySize) {
    return true;
  }
  const auto bytes = static_cast<uint32_t>(row.bytes);
  if (row.type == kTypeAscii && slot->size > bytes && (data[slot->size - 1] == 0 || data[slot->size] == 0)) {
    slot->size = bytes;
  } else if (row.type == kTypeAscii && slot->size + 1 == bytes) {
    data[slot->size] = 0;
    ++slot->size;
  }
  return slot->size == bytes;
}

int32_t AddCommentRecord(RecordList* list, TifComment* slot, const CommentRow& row) {
  if (!NormalizeSlot(slot, row)) {
    return kResultOk;
  }
  return SetRecord(list, row.tag, row.type, slot->size / TIFTypeSize(row.type), slot->data);
}

template <typename Ranges>
int32_t AddCommentRecords(RecordList* list, TifCommentBlock* comments, const Ranges& ranges, const CommentRow* table) {
  return TIFForEachComment(comments, ranges, table, [list](TifComment* slot, const CommentRow& row) {
    return AddCommentRecord(list, slot, row);
  });
}

int32_t AddExifCommentRecords(RecordList* list, TifCommentBlock* comments, bool needsUnit) {
  int32_t result = AddCommentRecords(list, comments, kWrittenExifComments, kExifCommentTable);
  TifComment gamma = comments->slots[kCommentGamma];
  if (result == kResultOk && gamma.data != nullptr) {
    result = AddCommentRecord(list, &gamma, kGammaRow);
  }
  if (result == kResultOk && needsUnit) {
    result = SetShort(list, kTagFocalPlaneUnit, TIFFocalPlaneUnit(comments));
  }
  return result == kResultOk ? TIFParseMakerNotes(list->records, list->count) : result;
}

int32_t AddFixedExifRecords(RecordList* list, bool compressed, uint32_t width, uint32_t height) {
  constexpr uint16_t kColorSpaceSrgb = 1;
  int32_t result = SetRecord(list, kTagExifVersion, kTypeUndefined, 4, kExifVersion);
  if (result == kResultOk && compressed) {
    result = SetRecord(list, kTagComponentsConfiguration, kTypeUndefined, 4, kYCbCrComponents);
  }
  if (result == kResultOk) {
    result = SetRecord(list, kTagFlashpixVersion, kTypeUndefined, 4, kFlashpixVersion);
  }
  if (result == kResultOk) {
    result = SetShort(list, kTagExifColorSpace, kColorSpaceSrgb);
  }
  if (result == kResultOk && compressed) {
    result = SetLong(list, kTagPixelXDimension, width);
    result = result == kResultOk ? SetLong(list, kTagPixelYDimension, height) : result;
  }
  return result;
}

// Appends the records of a marker's directory that the list does not have, borrowed. 1, or -16 for a record that cannot
// be carried in a directory of another kind than Exif and GPS.
int32_t MergeRecords(RecordList* list, const TifDirectory* directory, TifDirKind kind) {
  for (uint32_t i = 0; directory != nullptr && i < directory->entryCount; ++i) {
    TifTagRecord record = directory->records[i];
    if (TIFFindRecord(list->records, list->count, record.tag, nullptr) != nullptr) {
      continue;
    }
    TifDirKind childKind = kind;
    const int32_t tagClass = TIFClassifyTag(&record, nullptr, kind, &childKind);
    if (tagClass == kTagClassJpegStream) {
      continue;
    }
    if (tagClass == kTagClassJpegTable || tagClass == kTagClassImageOffsets) {
      return kResultFormatNotSaved;
    }
    record.storage &= ~static_cast<uint32_t>(kStorageOwned);
    list->records[list->count++] = record;
  }
  return kResultOk;
}

void RemoveRecord(RecordList* list, uint16_t tag, TifDirKind kind) {
  int32_t index = -1;
  TifTagRecord* record = TIFFindRecord(list->records, list->count, tag, &index);
  if (record == nullptr) {
    return;
  }
  TIFFreeTagRecord(record, kind);
  const uint32_t behind = list->count - static_cast<uint32_t>(index) - 1;
  krnMemMove(record, record + 1, behind * sizeof *record);
  --list->count;
}

int32_t WriteRecords(TifFile* file, RecordList* list, TifDirKind kind) {
  uint32_t position = 0;
  return TIFWriteDirectoryTree(file, nullptr, list->records, static_cast<int32_t>(list->count), 0, nullptr, &position,
                               kind);
}

void FreeRecords(RecordList* list, TifDirKind kind) {
  for (uint32_t i = 0; i < list->count; ++i) {
    TIFFreeTagRecord(&list->records[i], kind);
  }
  TIFFree(list->records);
}

int32_t NewRecords(RecordList* list, uint64_t room) {
  list->count = 0;
  list->records = room > kMostRecords
                      ? nullptr
                      : static_cast<TifTagRecord*>(TIFAllocZero(static_cast<size_t>(room), sizeof(TifTagRecord)));
  return list->records != nullptr ? kResultOk : kResultNoMemory;
}

int32_t BuildExif(const TifFile* file, RecordList* list, TifCommentBlock* comments, bool needsUnit, uint32_t width,
                  uint32_t height, const TifDirectory* markerExif) {
  const bool compressed = TIFHasState(file, kStateExifCompressed);
  int32_t result = AddFixedExifRecords(list, compressed, width, height);
  if (result == kResultOk) {
    result = AddExifCommentRecords(list, comments, needsUnit);
  }
  if (result == kResultOk) {
    result = MergeRecords(list, markerExif, kDirExif);
  }
  if (result == kResultOk && !compressed) {
    // The markers come from a compressed file and may tell of its compression.
    for (const uint16_t tag :
         {kTagComponentsConfiguration, kTagCompressedBitsPerPixel, kTagPixelXDimension, kTagPixelYDimension}) {
      RemoveRecord(list, tag, kDirExif);
    }
  }
  return result;
}

int32_t BuildGps(RecordList* list, TifCommentBlock* comments, const TifDirectory* markerGps) {
  int32_t result = SetRecord(list, kTagGpsVersion, kTypeByte, 4, kGpsVersion);
  if (result == kResultOk && comments != nullptr) {
    result = AddCommentRecords(list, comments, kWrittenGpsComments, kGpsCommentTable);
  }
  if (result != kResultOk) {
    return kResultSeekFailed;
  }
  return MergeRecords(list, markerGps, kDirGps);
}

} // namespace

int32_t TIFWriteExifDirectory(TifFile* file, TifCommentBlock* comments, uint32_t width, uint32_t height,
                              TifDirectory* markerDirectory) {
  if (comments == nullptr) {
    return kResultInvalidParameter;
  }
  uint32_t count = 0;
  bool needsUnit = false;
  TIFCountExifComments(comments, &count, &needsUnit);
  const TifDirectory* markerExif = TIFMarkerChild(markerDirectory, kTagExifIfd);
  // Room for every row, not for those counted: a text that is cut counts by another rule than it is taken.
  RecordList list = {};
  int32_t result = NewRecords(&list, uint64_t{kFixedExifRecords} + kExifCommentRows +
                                         (markerExif != nullptr ? markerExif->entryCount : 0));
  if (result != kResultOk) {
    return result;
  }
  result = BuildExif(file, &list, comments, needsUnit, width, height, markerExif);
  if (result == kResultOk) {
    result = WriteRecords(file, &list, kDirExif);
  }
  FreeRecords(&list, kDirExif);
  return result;
}

int32_t TIFWriteGpsDirectory(TifFile* file, TifCommentBlock* comments, TifDirectory* markerDirectory) {
  uint32_t count = 0;
  TIFCountGpsComments(comments, &count);
  const TifDirectory* markerGps = TIFMarkerChild(markerDirectory, kTagGpsIfd);
  const uint32_t markerCount = markerGps != nullptr ? markerGps->entryCount : 0;
  if (count == 0 && markerCount == 0) {
    return 0;
  }
  RecordList list = {};
  int32_t result = NewRecords(&list, uint64_t{kGpsCommentRows} + 1 + markerCount);
  if (result != kResultOk) {
    return result;
  }
  result = BuildGps(&list, comments, markerGps);
  if (result == kResultOk) {
    result = WriteRecords(file, &list, kDirGps);
  }
  FreeRecords(&list, kDirGps);
  return result;
}
