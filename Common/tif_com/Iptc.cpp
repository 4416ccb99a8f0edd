// The IPTC stream: each data set is the byte 0x1C, the record, the data set, a 2-byte big-endian length and the data. A
// length with its top bit set is an extended one: its low 15 bits must be 4, and a 4-byte length follows.

#include "tif_com/Iptc.h"

#include <algorithm>

#include <vxtif/results.h>

#include "tif_com/ByteOrder.h"
#include "tif_com/Memory.h"
#include "tif_com/TagAccess.h"
#include "tif_com/TagClass.h"
#include "tif_com/Tags.h"

namespace {

constexpr uint8_t kSetMarker = 0x1C;
constexpr uint32_t kSetHead = 5;
constexpr uint32_t kExtendedSetHead = 9;
constexpr uint32_t kExtendedFlag = 0x8000;
constexpr uint32_t kExtendedLength = 0x8004;
constexpr uint32_t kPieceRoom = 9;  // what the size of a block reckons for the head of each value
constexpr uint32_t kBlockSpare = 8; // the record version, and a closing NUL that is not counted

const uint8_t kRecordVersion[2] = {0, 2};

bool Fits(const IptcRow& row, size_t length) {
  return length >= row.minimum && length <= row.maximum;
}

// Calls `take` with each run between separators.
template <typename Take> void SplitValues(const uint8_t* data, uint32_t size, Take take) {
  const uint8_t* end = data + size;
  for (;;) {
    const auto* cut = static_cast<const uint8_t*>(krnMemFind(data, kIptcSeparator, static_cast<size_t>(end - data)));
    const uint8_t* stop = cut != nullptr ? cut : end;
    take(data, static_cast<size_t>(stop - data));
    if (cut == nullptr) {
      return;
    }
    data = cut + 1;
  }
}

bool HasSeparator(const uint8_t* data, uint32_t size) {
  return krnMemFind(data, kIptcSeparator, size) != nullptr;
}

// One data set; a last byte of 0 is not written.
void PutRecord(uint8_t* block, uint32_t* length, const IptcRow& row, const uint8_t* data, size_t size) {
  if (size != 0 && data[size - 1] == 0) {
    --size;
  }
  uint8_t* at = block + *length;
  at[0] = kSetMarker;
  at[1] = row.record;
  at[2] = row.dataSet;
  StoreU16BE(at + 3, static_cast<uint16_t>(size));
  krnMemCopy(at + kSetHead, data, size);
  *length += static_cast<uint32_t>(size) + kSetHead;
}

// The comment of a slot as data sets; an empty or unfit slot is passed over.
void PutComment(uint8_t* block, uint32_t* length, const IptcRow& row, TifComment* slot) {
  uint32_t pieces = 0;
  if (!TIFCheckIptcComment(row, slot, &pieces)) {
    return;
  }
  const auto* data = static_cast<const uint8_t*>(slot->data);
  const uint32_t size = slot->size;
  if (!row.repeatable || !HasSeparator(data, size)) {
    PutRecord(block, length, row, data, size);
    return;
  }
  SplitValues(data, size, [&](const uint8_t* value, size_t bytes) {
    if (Fits(row, bytes)) {
      PutRecord(block, length, row, value, bytes);
    }
  });
}

uint64_t SizeOfSlots(TifCommentBlock* comments) {
  uint64_t size = 0;
  for (uint32_t i = 1; comments != nullptr && i < kIptcCommentRows; ++i) {
    const IptcRow& row = kIptcCommentTable[i];
    TifComment slot = comments->slots[row.comment];
    uint32_t pieces = 0;
    if (TIFCheckIptcComment(row, &slot, &pieces)) {
      size += uint64_t{pieces} * kPieceRoom + slot.size;
    }
    comments->slots[row.comment] = slot;
  }
  return size;
}

struct Gather {
  uint8_t* buffer;
  uint32_t bufferSize;
  uint32_t written;
};

void GatherLater(Gather* gather, const uint8_t* data, uint64_t length) {
  if (uint64_t{gather->written} + 1 >= gather->bufferSize) {
    return; // no room for a byte of it
  }
  const uint32_t room = gather->bufferSize - gather->written - 1;
  const auto take = static_cast<uint32_t>(std::min<uint64_t>(length, room));
  gather->buffer[gather->written] = kIptcSeparator;
  krnMemCopy(gather->buffer + gather->written + 1, data, take);
  gather->written += take + 1;
}

void GatherValue(Gather* gather, const uint8_t* data, uint32_t bytes) {
  const bool isFirst = gather->written == 0; // also behind values that were empty
  if (gather->buffer == nullptr) {
    gather->written += isFirst ? bytes : bytes + 1;
  } else if (isFirst) {
    krnMemCopy(gather->buffer, data, std::min(bytes, gather->bufferSize));
    gather->written = bytes;
  } else {
    GatherLater(gather, data, bytes);
  }
}

const IptcRow* FindRow(uint32_t comment) {
  for (const IptcRow& row : kIptcCommentTable) {
    if (row.comment == comment) {
      return &row;
    }
    if (row.comment > comment) {
      break;
    }
  }
  return nullptr;
}

// The head of a data set: where its data begin and how long they say they are. 1, -140, -16.
int32_t ReadSetHead(uint8_t* set, const uint8_t* end, uint8_t** data, int64_t* length) {
  const int64_t left = end - set;
  if (left < 1 || set[0] != kSetMarker || left < kSetHead) {
    return kResultTypeNotAllowed;
  }
  const uint32_t word = LoadU16BE(set + 3);
  *data = set + kSetHead;
  *length = word;
  if ((word & kExtendedFlag) != 0) {
    if (word != kExtendedLength) {
      return kResultFormatNotSaved;
    }
    if (left < kExtendedSetHead) {
      return kResultTypeNotAllowed;
    }
    *data = set + kExtendedSetHead;
    *length = LoadU32BE(set + kSetHead);
  }
  return *data >= end ? kResultTypeNotAllowed : kResultOk;
}

// Gathers the values of a row. 1; -140, -16 for a malformed stream. A data set that is not repeatable ends the walk.
int32_t GatherSets(const IptcRow& row, uint8_t* set, const uint8_t* end, Gather* gather) {
  do {
    uint8_t* data = nullptr;
    int64_t length = 0;
    const int32_t head = ReadSetHead(set, end, &data, &length);
    if (head != kResultOk) {
      return head;
    }
    const int64_t held = std::min<int64_t>(length, end - data);
    if (set[1] == row.record && set[2] == row.dataSet) {
      GatherValue(gather, data, static_cast<uint32_t>(held));
      if (!row.repeatable) {
        return kResultOk;
      }
    } else if (length > held) {
      return kResultOk; // runs out of the block: nothing can follow
    }
    set = data + held;
  } while (end - set > static_cast<int64_t>(kSetHead));
  return kResultOk;
}

// Takes the data sets of a row out of a block; its new end. What lies behind a damaged set, or behind the one of a row
// that is not repeatable, stays. Each byte moves once, however many sets go.
uint8_t* CutSets(const IptcRow& row, uint8_t* block, uint8_t* end) {
  uint8_t* kept = block; // the end of what stays, up to `set`
  uint8_t* set = block;
  do {
    uint8_t* data = nullptr;
    int64_t length = 0;
    if (ReadSetHead(set, end, &data, &length) != kResultOk) {
      break;
    }
    const bool goes = set[1] == row.record && set[2] == row.dataSet;
    if (!goes && length > end - data) {
      break; // runs out of the block: nothing can follow
    }
    uint8_t* const behind = data + std::min<int64_t>(length, end - data);
    if (!goes) {
      krnMemMove(kept, set, static_cast<size_t>(behind - set));
      kept += behind - set;
    }
    set = behind;
    if (goes && !row.repeatable) {
      break;
    }
  } while (end - set > static_cast<int64_t>(kSetHead));
  krnMemMove(kept, set, static_cast<size_t>(end - set));
  return kept + (end - set);
}

// The old block of the page with room for `more` bytes and a pad; null with 1 when the page has none.
int32_t LoadOldBlock(TifFile* file, const TifDirEntry* entry, uint64_t more, uint8_t** block) {
  *block = nullptr;
  if (entry == nullptr || entry->type != kTypeByte || entry->count == 0) {
    return kResultOk; // of another type it counts as not there
  }
  if (entry->count > kInlineBytes && (entry->value > file->fileSize || entry->count > file->fileSize - entry->value)) {
    return kResultReadFailed; // before memory is asked for that the file cannot fill
  }
  auto* bytes = static_cast<uint8_t*>(TIFAlloc(1, static_cast<size_t>(entry->count + more + 1)));
  if (bytes == nullptr) {
    return kResultNoMemory;
  }
  const int32_t result = TIFReadEntryValues(file, entry, bytes);
  if (result != kResultOk) {
    TIFFree(bytes);
    return result;
  }
  *block = bytes;
  return kResultOk;
}

// The block without the zeros that pad it behind its last data set: data sets that follow them would be out of reach. A
// block that is damaged before its end is left as it is.
uint32_t WithoutPadding(uint8_t* block, uint32_t bytes) {
  uint8_t* set = block;
  uint8_t* const end = block + bytes;
  uint8_t* data = nullptr;
  int64_t length = 0;
  while (ReadSetHead(set, end, &data, &length) == kResultOk && length <= end - data) {
    set = data + length;
  }
  const bool isPadded = std::all_of(set, end, [](uint8_t byte) { return byte == 0; });
  return isPadded ? static_cast<uint32_t>(set - block) : bytes;
}

// The old block without what is set anew, and the new data sets behind it.
uint32_t JoinBlocks(TifCommentBlock* comments, uint8_t* old, uint32_t oldBytes, const uint8_t* added,
                    uint32_t addedBytes) {
  uint32_t kept = TIFRemoveIptcComments(comments, old, oldBytes);
  if (addedBytes != 0) {
    kept = WithoutPadding(old, kept);
  }
  krnMemCopy(old + kept, added, addedBytes);
  return kept + addedBytes;
}

int32_t StoreBlock(TifFile* file, TifDirEntry* entries, uint32_t* n, uint8_t* block, uint32_t bytes) {
  if (bytes % 2 != 0) {
    block[bytes++] = 0;
  }
  TifTagItem item = {};
  item.tag = kTagIptc;
  item.type = kTypeByte;
  item.count = bytes;
  return TIFSetEntry(file, entries, &item, block, n);
}

} // namespace

bool TIFCheckIptcComment(const IptcRow& row, TifComment* slot, uint32_t* pieces) {
  const auto* data = static_cast<const uint8_t*>(slot->data);
  if (data == nullptr || slot->size == 0) {
    return false;
  }
  if (slot->size == row.maximum + 1u && data[slot->size - 1] == 0) {
    --slot->size;
  } else if (!Fits(row, slot->size) && (!row.repeatable || !HasSeparator(data, slot->size))) {
    return false;
  }
  *pieces = 1;
  if (!row.repeatable || !HasSeparator(data, slot->size)) {
    return true;
  }
  uint32_t fitting = 0;
  SplitValues(data, slot->size, [&](const uint8_t*, size_t bytes) { fitting += Fits(row, bytes); });
  *pieces = fitting;
  return fitting != 0;
}

uint32_t TIFIptcSize(TifCommentBlock* comments) {
  return static_cast<uint32_t>(std::min<uint64_t>(SizeOfSlots(comments), UINT32_MAX));
}

int32_t TIFBuildIptcBlock(TifCommentBlock* comments, uint8_t** block, uint32_t* length, bool withVersion) {
  *block = nullptr;
  *length = 0;
  const uint64_t size = SizeOfSlots(comments);
  if (size == 0) {
    return kResultOk;
  }
  if (size > UINT32_MAX - kBlockSpare) {
    return kResultNoMemory;
  }
  *block = static_cast<uint8_t*>(TIFAlloc(1, static_cast<size_t>(size + kBlockSpare)));
  if (*block == nullptr) {
    return kResultNoMemory;
  }
  if (withVersion) {
    PutRecord(*block, length, kIptcCommentTable[0], kRecordVersion, sizeof kRecordVersion);
  }
  for (uint32_t i = 1; i < kIptcCommentRows; ++i) {
    TifComment slot = comments->slots[kIptcCommentTable[i].comment];
    PutComment(*block, length, kIptcCommentTable[i], &slot);
  }
  (*block)[*length] = 0;
  return kResultOk;
}

int32_t TIFGatherIptcComment(uint32_t comment, uint8_t* block, uint32_t blockBytes, uint8_t* buffer,
                             uint32_t bufferSize) {
  const IptcRow* row = FindRow(comment);
  if (row == nullptr) {
    return kResultInvalidParameter;
  }
  Gather gather = {buffer, bufferSize, 0};
  const int32_t result = GatherSets(*row, block, block + blockBytes, &gather);
  return result == kResultOk ? static_cast<int32_t>(gather.written) : result;
}

uint32_t TIFRemoveIptcComments(TifCommentBlock* comments, uint8_t* block, uint32_t blockBytes) {
  uint8_t* end = block + blockBytes;
  for (const IptcRow& row : kIptcCommentTable) {
    TifComment slot = comments->slots[row.comment];
    uint32_t pieces = 0;
    if (TIFCheckIptcComment(row, &slot, &pieces)) {
      end = CutSets(row, block, end);
    }
    comments->slots[row.comment] = slot;
  }
  return static_cast<uint32_t>(end - block);
}

int32_t TIFMergeIptc(TifFile* file, TifDirEntry* entries, uint32_t* n, TifCommentBlock* comments, uint32_t iptcBytes) {
  const TifDirEntry* entry = TIFFindEntry(entries, *n, kTagIptc, nullptr);
  const uint32_t oldBytes = entry != nullptr ? entry->count : 0;
  uint8_t* old = nullptr;
  int32_t result = LoadOldBlock(file, entry, iptcBytes, &old);
  if (result != kResultOk || (old == nullptr && iptcBytes == 0)) {
    return result;
  }
  uint8_t* added = nullptr;
  uint32_t addedBytes = 0;
  result = TIFBuildIptcBlock(comments, &added, &addedBytes, old == nullptr);
  if (result == kResultOk) {
    if (old != nullptr) {
      const uint32_t total = comments != nullptr ? JoinBlocks(comments, old, oldBytes, added, addedBytes) : oldBytes;
      result = StoreBlock(file, entries, n, old, total);
    } else {
      result = StoreBlock(file, entries, n, added, addedBytes);
    }
  }
  TIFFree(added);
  TIFFree(old);
  return result;
}
