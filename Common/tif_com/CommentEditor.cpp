// Comments set on a page in place: new entries merged into its Exif and GPS directories. A GPS directory is created
// where the page has none, an Exif directory never is: comments of Exif are dropped from such a page without an error.

#include <vxtif/results.h>

#include "tif_com/ByteOrder.h"
#include "tif_com/CommentFit.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Markers.h"
#include "tif_com/Memory.h"
#include "tif_com/TagAccess.h"
#include "tif_com/Tags.h"

namespace {

// A list of entries that grows within its room.
struct EntryList {
  TifFile* file;
  TifDirEntry* entries;
  uint32_t count;
};

// Normalises the length of a slot to its row; false for one that is passed over.
bool NormalizeSlot(TifComment* slot, const CommentRow& row) {
  auto* data = static_cast<uint8_t*>(slot->data);
  if (row.bytes == kCommentAnySize) {
    return true;
  }
  const auto bytes = static_cast<uint32_t>(row.bytes);
  if (row.type == kTypeAscii && slot->size == bytes + 1 && data[slot->size - 1] == 0) {
    --slot->size;
  } else if (row.type == kTypeAscii && slot->size + 1 == bytes) {
    data[slot->size] = 0;
    ++slot->size;
  }
  return slot->size == bytes;
}

int32_t SetValue(EntryList* list, uint16_t tag, uint16_t type, uint32_t count, void* data) {
  TifTagItem item = {};
  item.tag = tag;
  item.type = type;
  item.count = count;
  return TIFSetEntry(list->file, list->entries, &item, data, &list->count);
}

int32_t AddCommentEntry(EntryList* list, TifComment* slot, const CommentRow& row) {
  if (!NormalizeSlot(slot, row)) {
    return kResultOk;
  }
  return SetValue(list, row.tag, row.type, slot->size / TIFTypeSize(row.type), slot->data);
}

int32_t AddExifComments(EntryList* list, TifCommentBlock* comments, bool needsUnit) {
  if (comments == nullptr) {
    return kResultOk;
  }
  const auto add = [list](TifComment* slot, const CommentRow& row) { return AddCommentEntry(list, slot, row); };
  int32_t result = TIFForEachComment(comments, kWrittenExifComments, kExifCommentTable, add);
  TifComment gamma = comments->slots[kCommentGamma];
  if (result == kResultOk && gamma.data != nullptr) {
    result = AddCommentEntry(list, &gamma, kGammaRow);
  }
  if (result == kResultOk && needsUnit) {
    uint8_t unit[2];
    StoreU16LE(unit, TIFFocalPlaneUnit(comments));
    result = SetValue(list, kTagFocalPlaneUnit, kTypeShort, 1, unit);
  }
  return result;
}

uint32_t CountOf(const TifDirectory* directory) {
  return directory != nullptr ? directory->entryCount : 0;
}

bool IsDirectoryEntry(const TifDirEntry* entry) {
  return entry != nullptr && entry->type == kTypeLong && entry->count == 1;
}

// Comments and marker tags into a loaded list, and the list into the file. The directory moves when it grew.
int32_t RewriteExif(EntryList* list, uint32_t oldCount, TifCommentBlock* comments, bool needsUnit,
                    TifDirectory* markerExif, uint32_t* place) {
  int32_t result = AddExifComments(list, comments, needsUnit);
  if (result == kResultOk && markerExif != nullptr) {
    result = TIFMergeMarkerDirectory(list->file, list->entries, &list->count, markerExif, kDirExif);
  }
  if (result != kResultOk) {
    return result;
  }
  return TIFWriteEntries(list->file, list->entries, list->count, list->count > oldCount, place, 0, 0);
}

int32_t RewriteGps(EntryList* list, bool grows, uint32_t oldCount, TifCommentBlock* comments, TifDirectory* markerGps,
                   uint32_t* place) {
  int32_t result = kResultOk;
  if (comments != nullptr) {
    const auto add = [list](TifComment* slot, const CommentRow& row) { return AddCommentEntry(list, slot, row); };
    result = TIFForEachComment(comments, kWrittenGpsComments, kGpsCommentTable, add);
  }
  if (result == kResultOk && markerGps != nullptr) {
    result = TIFMergeMarkerDirectory(list->file, list->entries, &list->count, markerGps, kDirGps);
  }
  if (result != kResultOk) {
    return result;
  }
  return TIFWriteEntries(list->file, list->entries, list->count, grows || list->count > oldCount, place, 0, 0);
}

// A new GPS directory: the page's entry for it, and a list that begins with the version.
int32_t StartGpsDirectory(TifFile* file, TifDirEntry* entries, uint32_t* n, uint32_t room, EntryList* list) {
  list->entries = static_cast<TifDirEntry*>(TIFAlloc(room + 1, sizeof(TifDirEntry)));
  if (list->entries == nullptr) {
    return kResultNoMemory;
  }
  list->entries[0] = TifDirEntry{0, kTypeByte, sizeof kGpsVersion, LoadU32LE(kGpsVersion)};
  list->count = 1;
  uint8_t place[4] = {};
  TifTagItem item = {};
  item.tag = kTagGpsIfd;
  item.type = kTypeLong;
  item.count = 1;
  return TIFSetEntry(file, entries, &item, place, n);
}

} // namespace

int32_t TIFRewriteExifDirectory(TifFile* file, TifDirEntry* entries, uint32_t n, uint32_t exifCount,
                                TifCommentBlock* comments, bool needsUnit, TifDirectory* markerDirectory) {
  TifDirectory* markerExif = TIFMarkerChild(markerDirectory, kTagExifIfd);
  if (exifCount == 0 && markerExif == nullptr) {
    return kResultOk;
  }
  TifDirEntry* entry = TIFFindEntry(entries, n, kTagExifIfd, nullptr);
  if (!IsDirectoryEntry(entry)) {
    return kResultOk;
  }
  EntryList list = {file, nullptr, 0};
  const uint32_t room = exifCount + CountOf(markerExif);
  int32_t result = TIFLoadEntries(file, entry->value, room, &list.entries, &list.count, nullptr);
  if (result != kResultOk) {
    return result;
  }
  uint32_t place = entry->value;
  result = RewriteExif(&list, list.count, comments, needsUnit, markerExif, &place);
  entry->value = place;
  TIFFree(list.entries);
  return result;
}

int32_t TIFMergeGps(TifFile* file, TifDirEntry* entries, uint32_t* n, uint32_t gpsCount, TifCommentBlock* comments,
                    TifDirectory* markerDirectory) {
  TifDirectory* markerGps = TIFMarkerChild(markerDirectory, kTagGpsIfd);
  if (gpsCount == 0 && markerGps == nullptr) {
    return kResultOk;
  }
  const uint32_t room = gpsCount + CountOf(markerGps);
  TifDirEntry* entry = TIFFindEntry(entries, *n, kTagGpsIfd, nullptr);
  const bool isNew = !IsDirectoryEntry(entry);
  EntryList list = {file, nullptr, 0};
  int32_t result = isNew ? StartGpsDirectory(file, entries, n, room, &list)
                         : TIFLoadEntries(file, entry->value, room, &list.entries, &list.count, nullptr);
  entry = TIFFindEntry(entries, *n, kTagGpsIfd, nullptr);
  if (result == kResultOk) {
    uint32_t place = entry->value;
    result = RewriteGps(&list, isNew, list.count, comments, markerGps, &place);
    entry->value = place;
  }
  TIFFree(list.entries);
  return result;
}
