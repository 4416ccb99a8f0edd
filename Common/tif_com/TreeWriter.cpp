// Writes directories from memory, values and children first. See the header.

#include "tif_com/TreeWriter.h"

#include <algorithm>
#include <cstddef>

#include <vxtif/results.h>

#include "tif_com/ByteOrder.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Memory.h"
#include "tif_com/PageChain.h"
#include "tif_com/StripLoading.h"
#include "tif_com/TagAccess.h"
#include "tif_com/TreeWriterParts.h"

namespace {

constexpr uint32_t kCountWordBytes = 2;
constexpr uint32_t kNextWordBytes = 4;
constexpr uint32_t kSmallestDirectoryBytes = 18;
constexpr uint32_t kMostEntries = 65535;
constexpr uint32_t kEntriesAtOnce = 64;

int32_t GoTo(const TifFile* file, uint32_t position) {
  return TIFSeek(file->fileHandle, position, kKrnSeekSet) == position ? kResultOk : kResultSeekFailed;
}

uint32_t Kind(const TifTagRecord* record) {
  return record->storage & kStorageKindMask;
}

// The record is done: its value word is final.
void MarkWritten(TifTagRecord* record, uint32_t value) {
  record->value = value;
  record->data = nullptr;
  record->storage = kStorageWritten;
}

// Works on copies, so that the caller's list stays intact: they borrow what the records own.
void CloneRecords(TifTagRecord* clones, const TifTagRecord* records, uint32_t n) {
  for (uint32_t i = 0; i < n; ++i) {
    clones[i] = records[i];
    clones[i].storage = Kind(&records[i]);
  }
}

// A maker note that is no directory.
int32_t WriteRawChild(TifFile* target, const TifTagRecord* record, uint32_t* position) {
  TifDirEntry entry = {record->tag, record->type, record->count, record->value};
  const int32_t result = TIFStoreTagValue(target, &entry, record->data, *position);
  if (result != kResultOk) {
    return result;
  }
  const uint32_t reached = krnFileSeek(target->fileHandle, 0, kKrnSeekCurrent);
  if (reached == kSeekFailed) {
    return kResultSeekFailed;
  }
  *position = std::max(*position, reached); // a note that fits the value word has not moved the file
  return kResultOk;
}

// A child directory at the even place where `position` stands or next to it; `position` moves to that place first.
int32_t WriteChild(const TreeCopy& copy, TifDirectory* child, uint32_t* place, uint32_t* position, TifDirKind kind) {
  *place = TIFEven(*position);
  const int32_t result = GoTo(copy.target, *place);
  if (result != kResultOk) {
    return result;
  }
  return TIFWriteDirectoryTree(copy.target, copy.source, child->records, static_cast<int32_t>(child->entryCount), 0,
                               nullptr, position, kind);
}

int32_t WriteChildren(const TreeCopy& copy, TifDirectory* const* children, uint32_t* offsets, uint32_t count,
                      uint32_t* position, TifDirKind kind) {
  const uint32_t base = *position;
  if (!TIFAdvance(position, uint64_t{sizeof(uint32_t)} * count)) {
    return krnWriteError(kResultWriteFailed);
  }
  for (uint32_t i = 0; i < count; ++i) {
    const int32_t result = WriteChild(copy, children[i], &offsets[i], position, kind);
    if (result != kResultOk) {
      return result;
    }
  }
  const int32_t result = GoTo(copy.target, base);
  return result == kResultOk ? TIFWriteLongArray(copy.target, offsets, count) : result;
}

// The array of offsets comes first, the children behind it.
int32_t WriteSubDirectoryArray(const TreeCopy& copy, const TifTagRecord* record, uint32_t* position, TifDirKind kind) {
  const uint32_t count = record->count;
  if (count > (UINT32_MAX - *position) / kSmallestDirectoryBytes) {
    return kResultNotTiff;
  }
  auto* const offsets = static_cast<uint32_t*>(TIFAlloc(count, sizeof(uint32_t)));
  if (offsets == nullptr) {
    return kResultRefused;
  }
  const int32_t result =
      WriteChildren(copy, static_cast<TifDirectory* const*>(record->data), offsets, count, position, kind);
  TIFFree(offsets);
  return result;
}

int32_t WriteSubDirectoryRecord(const TreeCopy& copy, TifTagRecord* record, uint32_t* position, TifDirKind childKind) {
  uint32_t place = *position;
  int32_t result = kResultOk;
  if (record->data != nullptr) {
    switch (Kind(record)) {
    case kStorageBlock:
      result = WriteRawChild(copy.target, record, position);
      break;
    case kStorageDirectory:
      result = WriteChild(copy, static_cast<TifDirectory*>(record->data), &place, position, childKind);
      break;
    case kStorageDirectoryArray:
      result = WriteSubDirectoryArray(copy, record, position, childKind);
      break;
    default:
      break;
    }
  }
  MarkWritten(record, place);
  return result;
}

// A text in the value word is closed by a NUL, for which it may have to leave the word.
int32_t CloseInlineText(TifFile* target, TifTagRecord* record, uint32_t* position, TifDirKind kind) {
  const uint32_t count = record->count;
  if (record->type != kTypeAscii || count == 0 || count > kInlineBytes) {
    return kResultOk;
  }
  uint8_t text[kInlineBytes + 1] = {};
  const uint32_t word = record->value;
  krnMemCopy(text, &word, count);
  if (text[count - 1] == 0) {
    return kResultOk;
  }
  record->count = count + 1;
  if (count < kInlineBytes) {
    uint8_t bytes[kInlineBytes];
    krnMemCopy(bytes, &word, sizeof bytes);
    bytes[count] = 0;
    record->value = LoadU32LE(bytes);
    return kResultOk;
  }
  record->data = text;
  record->storage = kStorageBlock;
  return TIFWriteRecordBlock(target, record, position, kind);
}

// In Exif and GPS directories the tags of image data are plain values.
bool MayHoldImage(TifDirKind kind) {
  return kind != kDirExif && kind != kDirGps;
}

bool IsByteCountTable(uint16_t tag) {
  return tag == kTagStripByteCounts || tag == kTagTileByteCounts;
}

int32_t WriteRecord(const TreeCopy& copy, TifTagRecord* record, uint32_t* position, TifDirKind kind) {
  TifDirKind childKind = kDirMain;
  switch (TIFClassifyTag(record, nullptr, kind, &childKind)) {
  case kTagClassSubDirectory:
    return WriteSubDirectoryRecord(copy, record, position, childKind);
  case kTagClassBlock:
    // Byte counts go out with the image data.
    return MayHoldImage(kind) && IsByteCountTable(record->tag)
               ? kResultOk
               : TIFWriteRecordBlock(copy.target, record, position, kind);
  case kTagClassInline:
    return CloseInlineText(copy.target, record, position, kind);
  case kTagClassJpegTable:
    return TIFWriteJpegTables(copy, record, position);
  default:
    return kResultOk;
  }
}

int32_t WriteRecordData(TreeCopy copy, TifTagRecord* records, uint32_t n, uint32_t* position, TifDirKind kind) {
  copy.swap16 = TIFHasPlain16BitSamples(records, n);
  int32_t result = GoTo(copy.target, *position);
  for (uint32_t i = 0; result == kResultOk && i < n; ++i) {
    *position = TIFEven(*position);
    result = WriteRecord(copy, &records[i], position, kind);
  }
  if (result != kResultOk || !MayHoldImage(kind)) {
    return result;
  }
  *position = TIFEven(*position);
  return TIFWriteImageData(copy, records, n, position);
}

int32_t WriteEntries(const TifFile* target, const TifTagRecord* records, uint32_t n) {
  TifDirEntry entries[kEntriesAtOnce];
  for (uint32_t done = 0; done < n;) {
    const uint32_t piece = std::min(n - done, kEntriesAtOnce);
    for (uint32_t i = 0; i < piece; ++i) {
      krnMemCopy(&entries[i], &records[done + i], kDirEntrySize);
    }
    if (!TIFIsLittle(target)) {
      TIFSwapEntries(entries, piece, SwapDirection::kToFile);
    }
    const int32_t result = TIFWriteWhole(target, entries, piece * kDirEntrySize);
    if (result != kResultOk) {
      return result;
    }
    done += piece;
  }
  return kResultOk;
}

int32_t WriteWord(const TifFile* target, uint32_t offset, uint32_t word) {
  if (GoTo(target, offset) != kResultOk) {
    return kResultSeekFailed;
  }
  return TIFWrite32(target, word) != 0 ? kResultOk : krnWriteError(kResultWriteFailed);
}

// The directory itself: only now, when all that it points to is in the file.
int32_t WriteDirectory(const TifFile* target, uint32_t place, const TifTagRecord* records, uint32_t n) {
  if (GoTo(target, place) != kResultOk) {
    return kResultSeekFailed;
  }
  if (TIFWrite16(target, static_cast<uint16_t>(n)) == 0) {
    return krnWriteError(kResultWriteFailed);
  }
  const int32_t result = WriteEntries(target, records, n);
  if (result != kResultOk) {
    return result;
  }
  return TIFWrite32(target, 0) != 0 ? kResultOk : krnWriteError(kResultWriteFailed);
}

int32_t WriteTree(const TreeCopy& copy, TifTagRecord* records, uint32_t n, uint32_t place, uint32_t link,
                  uint32_t* position, TifDirKind kind) {
  *position = place;
  if (!TIFAdvance(position, uint64_t{kDirEntrySize} * n + kCountWordBytes + kNextWordBytes)) {
    return krnWriteError(kResultWriteFailed);
  }
  int32_t result = WriteRecordData(copy, records, n, position, kind);
  if (result == kResultOk) {
    result = WriteDirectory(copy.target, place, records, n);
  }
  if (result == kResultOk && link != 0) {
    result = WriteWord(copy.target, link, place);
  }
  return result == kResultOk ? GoTo(copy.target, *position) : result;
}

// The data of a value: in its block, or in the value word.
uint8_t* ValueBytes(TifTagRecord* record, uint64_t size, uint8_t* word) {
  if (Kind(record) == kStorageBlock && record->data != nullptr) {
    return static_cast<uint8_t*>(record->data);
  }
  if (size > kInlineBytes) {
    return static_cast<uint8_t*>(record->data);
  }
  StoreU32LE(word, record->value);
  return word;
}

// The value's bytes and the NUL that closes a text.
int32_t WriteValueBytes(const TifFile* target, const TifTagRecord* record, uint8_t* bytes, uint32_t size, bool swap,
                        uint32_t nul) {
  constexpr uint8_t kNul = 0;
  if (swap) {
    TIFSwapValues(bytes, record->type, record->count);
  }
  int32_t result = TIFWriteWhole(target, bytes, size);
  if (swap) {
    TIFSwapValues(bytes, record->type, record->count);
  }
  return result == kResultOk ? TIFWriteWhole(target, &kNul, nul) : result;
}

} // namespace

bool TIFAdvance(uint32_t* position, uint64_t bytes) {
  const uint64_t moved = *position + bytes;
  if (moved > UINT32_MAX - 1) {
    return false;
  }
  *position = static_cast<uint32_t>(moved);
  return true;
}

int32_t TIFWriteWhole(const TifFile* file, const void* bytes, uint32_t n) {
  return krnFileWrite(file->fileHandle, bytes, n) == n ? kResultOk : krnWriteError(kResultWriteFailed);
}

int32_t TIFWriteDirectoryTree(TifFile* target, TifFile* source, TifTagRecord* records, int32_t n, uint32_t link,
                              uint32_t* nextWordOffset, uint32_t* position, TifDirKind kind) {
  if (position == nullptr) {
    return kResultRefused;
  }
  const auto count = static_cast<uint32_t>(std::max(n, 0));
  const uint32_t start = krnFileSeek(target->fileHandle, 0, kKrnSeekCurrent);
  if (start == kSeekFailed) {
    return kResultSeekFailed;
  }
  TIFSortRecords(records, count);
  auto* const clones =
      count <= kMostEntries ? static_cast<TifTagRecord*>(TIFAlloc(count, sizeof(TifTagRecord))) : nullptr;
  if (clones == nullptr) {
    return kResultNoMemory;
  }
  CloneRecords(clones, records, count);
  const uint32_t place = TIFEven(start);
  const int32_t result = WriteTree({target, source, false}, clones, count, place, link, position, kind);
  if (result == kResultOk && nextWordOffset != nullptr) {
    *nextWordOffset = place + kCountWordBytes + kDirEntrySize * count;
  }
  TIFFree(clones);
  return result;
}

int32_t TIFWriteSubDirectory(TifFile* file, uint32_t* offset, TifDirectory* directory, TifDirKind kind) {
  const uint32_t start = krnFileSeek(file->fileHandle, 0, kKrnSeekCurrent);
  if (start == kSeekFailed) {
    return kResultSeekFailed;
  }
  *offset = TIFEven(start);
  uint32_t position = 0;
  return TIFWriteDirectoryTree(file, nullptr, directory->records, static_cast<int32_t>(directory->entryCount), 0,
                               nullptr, &position, kind);
}

int32_t TIFWriteRecordBlock(TifFile* file, TifTagRecord* record, uint32_t* position, TifDirKind kind) {
  if (record == nullptr) {
    return kResultRefused;
  }
  if (GoTo(file, *position) != kResultOk) {
    return kResultSeekFailed;
  }
  TifDirKind childKind = kDirMain;
  const bool isStream = TIFClassifyTag(record, nullptr, kind, &childKind) == kTagClassJpegStream;
  const uint64_t size = isStream ? record->count : TIFValueBytes(record->type, record->count);
  uint8_t word[kInlineBytes];
  uint8_t* const bytes = ValueBytes(record, size, word);
  if (bytes == nullptr) {
    return kResultNullPointer;
  }
  const uint32_t nul = record->type == kTypeAscii && size != 0 && bytes[size - 1] != 0 ? 1 : 0;
  const uint32_t place = *position;
  if (!TIFAdvance(position, size + nul)) {
    return krnWriteError(kResultWriteFailed);
  }
  int32_t result =
      WriteValueBytes(file, record, bytes, static_cast<uint32_t>(size), !TIFIsLittle(file) && !isStream, nul);
  if (result != kResultOk) {
    return result;
  }
  if ((record->storage & kStorageOwned) != 0) {
    TIFFree(record->data);
  }
  record->count += nul;
  MarkWritten(record, place);
  if (*position % 2 != 0 && !isStream) {
    const auto pad = static_cast<uint8_t>(place);
    *position += 1;
    result = TIFWriteWhole(file, &pad, 1);
  }
  return result;
}
