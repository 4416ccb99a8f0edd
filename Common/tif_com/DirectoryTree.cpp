// A directory held in memory. See the header.
//
// A file may name the same directory twice, or make it its own child; so the way down is remembered and the number of
// directories bounded by what the file has room for. Values may share their bytes, so what is loaded is bounded by the
// file's size too. Honest trees, however nested, stay far below all bounds.

#include "tif_com/DirectoryTree.h"

#include <algorithm>
#include <cstddef>

#include <vxtif/results.h>

#include "tif_com/FileAccess.h"
#include "tif_com/Memory.h"
#include "tif_com/StripLoading.h"
#include "tif_com/TagAccess.h"

namespace {

constexpr uint32_t kDeepestDirectory = 32;       // levels below the directory that was asked for
constexpr uint32_t kSmallestDirectoryBytes = 18; // count word, one entry, next word
constexpr uint64_t kRoomBesideFile = 128u << 20; // for records, and for values that share their bytes
constexpr uint32_t kMostJpegTables = 4;
// Tables are read with this size whatever their tag: enough for the largest, and it must all lie within the file.
constexpr uint32_t kJpegTableBytes = 272;

struct PathStep {
  uint32_t offset;
  TifDirKind kind;
};

// One reading of a tree.
struct TreeReader {
  TifFile* file;
  SeveralStrips severalStrips;
  uint32_t directoriesLeft;
  uint64_t room;  // bytes that may still be loaded
  uint32_t depth; // valid steps of `path`
  PathStep path[kDeepestDirectory + 1];
};

enum class Outcome { kKeep, kDrop, kFail }; // what becomes of a record, and of the directory with it

TifDirectory* ReadDirectory(TreeReader* reader, uint32_t offset, TifDirKind kind);

bool IsOnPath(const TreeReader* reader, uint32_t offset, TifDirKind kind) {
  for (uint32_t i = 0; i < reader->depth; ++i) {
    if (reader->path[i].offset == offset && reader->path[i].kind == kind) {
      return true;
    }
  }
  return false;
}

void FreeChildren(TifDirectory** children, uint32_t count, TifDirKind kind) {
  while (count > 0) {
    TIFFreeDirectory(children[--count], kind);
  }
  TIFFree(children);
}

// The children of a tag 330 with several offsets. Unlike a single child, a bad one fails the whole page.
bool ReadSubDirectoryArray(TreeReader* reader, TifTagRecord* record) {
  const uint32_t count = record->count;
  const uint32_t place = record->value;
  if (count > reader->directoriesLeft || !TIFTakeRoom(&reader->room, uint64_t{count} * sizeof(TifDirectory*), 1)) {
    return false;
  }
  auto* const children = static_cast<TifDirectory**>(TIFAlloc(count, sizeof(TifDirectory*)));
  auto* const offsets = static_cast<uint32_t*>(TIFAlloc(count, sizeof(uint32_t)));
  bool read = children != nullptr && offsets != nullptr &&
              TIFSeek(reader->file->fileHandle, place, kKrnSeekSet) == place &&
              TIFReadLongArray(reader->file, offsets, count) == kResultOk;
  uint32_t done = 0;
  for (; read && done < count; ++done) {
    children[done] = ReadDirectory(reader, offsets[done], kDirMain);
    if (children[done] == nullptr) {
      read = false;
      break;
    }
  }
  TIFFree(offsets);
  if (!read) {
    FreeChildren(children, done, kDirMain);
    return false;
  }
  record->data = children;
  record->storage = kStorageDirectoryArray | kStorageOwned;
  return true;
}

Outcome ReadSubDirectory(TreeReader* reader, TifTagRecord* record, TifDirKind childKind) {
  if (record->tag == kTagSubIfds && record->type == kTypeLong && record->count > 1) {
    return ReadSubDirectoryArray(reader, record) ? Outcome::kKeep : Outcome::kFail;
  }
  TifDirectory* const child = ReadDirectory(reader, record->value, childKind);
  if (child != nullptr) {
    record->data = child;
    record->storage = kStorageDirectory | kStorageOwned;
    return Outcome::kKeep;
  }
  if (record->tag != kTagMakerNote || record->type != kTypeUndefined) {
    return Outcome::kDrop;
  }
  // A maker note of a form of its own: kept as it is.
  const bool loaded =
      TIFTakeRoom(&reader->room, record->count, 1) &&
      TIFLoadTagBlock(reader->file, kTypeUndefined, record->count, record->value, record->count, record) != 0;
  return loaded ? Outcome::kKeep : Outcome::kFail;
}

Outcome LoadJpegTables(TreeReader* reader, TifTagRecord* record) {
  if (record->count > kMostJpegTables) {
    return Outcome::kFail;
  }
  if (record->count < 2) {
    return Outcome::kKeep;
  }
  constexpr uint32_t kSizes[kMostJpegTables] = {kJpegTableBytes, kJpegTableBytes, kJpegTableBytes, kJpegTableBytes};
  const bool loaded = TIFTakeRoom(&reader->room, uint64_t{kJpegTableBytes} * record->count, record->count) &&
                      TIFLoadTagBlocks(reader->file, record, kSizes, kTypeUndefined, 1) == kResultOk;
  return loaded ? Outcome::kKeep : Outcome::kFail;
}

Outcome LoadRecord(TreeReader* reader, TifTagRecord* record, TifDirKind kind, bool* hasJpegStream) {
  TifDirKind childKind = kDirMain;
  switch (TIFClassifyTag(record, nullptr, kind, &childKind)) {
  case kTagClassBlock: {
    const uint64_t bytes = TIFValueBytes(record->type, record->count);
    const bool loaded = TIFTakeRoom(&reader->room, bytes, 1) &&
                        TIFLoadTagBlock(reader->file, record->type, record->count, record->value, bytes, record) != 0;
    return loaded ? Outcome::kKeep : Outcome::kFail;
  }
  case kTagClassSubDirectory:
    return ReadSubDirectory(reader, record, childKind);
  case kTagClassJpegStream:
    *hasJpegStream = true;
    return Outcome::kKeep;
  case kTagClassJpegTable:
    return LoadJpegTables(reader, record);
  default:
    return Outcome::kKeep;
  }
}

// The entries at the current position, just behind the count word, as records with nothing loaded.
TifDirectory* ReadRecords(TreeReader* reader) {
  TifFile* const file = reader->file;
  TifDirEntry* entries = nullptr;
  uint32_t next = 0;
  if (!TIFTakeRoom(&reader->room, uint64_t{file->entryCount} * sizeof(TifTagRecord), 1) ||
      TIFLoadEntries(file, 0, 0, &entries, nullptr, &next) != kResultOk) {
    return nullptr;
  }
  TifDirectory* const directory = TIFNewDirectory(file->entryCount);
  if (directory != nullptr) {
    directory->nextDirectoryOffset = next;
    for (uint32_t i = 0; i < directory->entryCount; ++i) {
      krnMemCopy(&directory->records[i], &entries[i], sizeof(TifDirEntry));
    }
  }
  TIFFree(entries);
  return directory;
}

// Loads what hangs from the records, closing up over those that are dropped. On failure entryCount is cut to the
// records that are done, so that the directory can be freed.
bool LoadRecords(TreeReader* reader, TifDirectory* directory, TifDirKind kind, bool* hasJpegStream) {
  const uint32_t count = directory->entryCount;
  uint32_t kept = 0;
  for (uint32_t i = 0; i < count; ++i) {
    TifTagRecord record = directory->records[i];
    const Outcome outcome = LoadRecord(reader, &record, kind, hasJpegStream);
    if (outcome == Outcome::kFail) {
      directory->entryCount = kept;
      return false;
    }
    if (outcome == Outcome::kKeep) {
      directory->records[kept++] = record;
    }
  }
  directory->entryCount = kept;
  return true;
}

TifDirectory* ReadDirectoryBody(TreeReader* reader, uint32_t offset, TifDirKind kind) {
  TifFile* const file = reader->file;
  if (TIFReadDirectoryHeader(file, offset) != kResultOk || file->entryCount == 0) {
    return nullptr;
  }
  TifDirectory* const directory = ReadRecords(reader);
  if (directory == nullptr) {
    return nullptr;
  }
  bool hasJpegStream = false;
  const bool read = LoadRecords(reader, directory, kind, &hasJpegStream) &&
                    (hasJpegStream ? TIFLoadJpegStream(file, directory, &reader->room)
                                   : TIFLoadStrips(file, directory, kind, reader->severalStrips, &reader->room));
  if (!read) {
    TIFFreeDirectory(directory, kind);
    return nullptr;
  }
  return directory;
}

// Reads the directory at `offset`; the file's own directory is the current one again afterwards.
TifDirectory* ReadDirectory(TreeReader* reader, uint32_t offset, TifDirKind kind) {
  if (reader->depth > kDeepestDirectory || reader->directoriesLeft == 0 || IsOnPath(reader, offset, kind)) {
    return nullptr;
  }
  TifFile* const file = reader->file;
  const uint32_t outerOffset = file->directoryOffset;
  const uint32_t outerCount = file->entryCount;
  reader->path[reader->depth++] = {offset, kind};
  --reader->directoriesLeft;
  TifDirectory* const directory = ReadDirectoryBody(reader, offset, kind);
  --reader->depth;
  if (reader->depth > 0) {
    file->directoryOffset = outerOffset;
    file->entryCount = outerCount;
  }
  return directory;
}

TifDirectory* ReadTree(TifFile* file, TifDirKind kind, SeveralStrips severalStrips) {
  TreeReader reader = {};
  reader.file = file;
  reader.severalStrips = severalStrips;
  const uint32_t fileBytes = krnFileSeek(file->fileHandle, 0, kKrnSeekEnd);
  reader.directoriesLeft = std::max(fileBytes / kSmallestDirectoryBytes, 1u);
  reader.room = kRoomBesideFile + fileBytes;
  return ReadDirectory(&reader, file->directoryOffset, kind);
}

} // namespace

TifDirectory* TIFReadDirectory(TifFile* file, TifDirKind kind, TreeSource /*source*/) {
  return ReadTree(file, kind, SeveralStrips::kLoad);
}

TifDirectory* TIFReadDirectoryToCopy(TifFile* file) {
  return ReadTree(file, kDirMain, SeveralStrips::kLeaveWherePossible);
}

TifDirectory* TIFNewDirectory(uint32_t records) {
  auto* const directory =
      static_cast<TifDirectory*>(TIFAllocZero(1, sizeof(TifDirectory) + size_t{records} * sizeof(TifTagRecord)));
  if (directory != nullptr) {
    directory->entryCount = records;
  }
  return directory;
}

void TIFFreeDirectory(TifDirectory* directory, TifDirKind kind) {
  if (directory == nullptr) {
    return;
  }
  for (uint32_t i = 0; i < directory->entryCount; ++i) {
    TIFFreeTagRecord(&directory->records[i], kind);
  }
  TIFFree(directory);
}

void TIFFreeTagRecord(TifTagRecord* record, TifDirKind kind) {
  if (record == nullptr) {
    return;
  }
  TifDirKind childKind = kDirMain;
  if (TIFClassifyTag(record, nullptr, kind, &childKind) == kTagClassInline) {
    return;
  }
  void* const data = record->data;
  const bool owned = data != nullptr && (record->storage & kStorageOwned) != 0;
  if (owned) {
    switch (record->storage & kStorageKindMask) {
    case kStorageBlock:
      TIFFree(data);
      break;
    case kStorageBlockArray:
      TIFFreeBlockArray(static_cast<void**>(data), record->count);
      break;
    case kStorageDirectory:
      TIFFreeDirectory(static_cast<TifDirectory*>(data), childKind);
      break;
    case kStorageDirectoryArray:
      FreeChildren(static_cast<TifDirectory**>(data), record->count, childKind);
      break;
    default:
      break;
    }
  }
  record->data = nullptr;
  record->storage &= ~static_cast<uint32_t>(kStorageOwned);
}
