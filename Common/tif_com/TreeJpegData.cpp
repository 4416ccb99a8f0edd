// Old-style JPEG data of a directory that is written anew: the stream of tag 513 and the tables of tags 519 to 521.
// Each table tells its own length (TIFF 6.0, section 22), so that nothing is copied but the table.

#include <cstddef>

#include <vxtif/results.h>

#include "tif_com/ByteOrder.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Memory.h"
#include "tif_com/TreeWriter.h"
#include "tif_com/TreeWriterParts.h"

namespace {

constexpr uint32_t kQuantizationBytes = 64;
constexpr uint32_t kCodeLengths = 16; // counts of codes of each length, in front of the values of a Huffman table
constexpr uint32_t kMostDcValues = 17;
constexpr uint32_t kMostAcValues = 256;

// A table: in memory, or the next bytes of the source file.
struct TableInput {
  const uint8_t* bytes;
  const TifFile* source;
};

bool Take(TableInput* input, uint8_t* out, uint32_t n) {
  if (input->bytes == nullptr) {
    return krnFileRead(input->source->fileHandle, out, n) == n;
  }
  krnMemCopy(out, input->bytes, n);
  input->bytes += n;
  return true;
}

int32_t CopyPart(const TifFile* target, TableInput* input, uint8_t* part, uint32_t n) {
  return Take(input, part, n) ? TIFWriteWhole(target, part, n) : kResultReadFailed;
}

int32_t CopyHuffmanTable(const TifFile* target, TableInput* input, uint32_t mostValues, int32_t tooMany,
                         uint32_t* length) {
  uint8_t part[kMostAcValues];
  int32_t result = CopyPart(target, input, part, kCodeLengths);
  if (result != kResultOk) {
    return result;
  }
  uint32_t values = 0;
  for (uint32_t i = 0; i < kCodeLengths; ++i) {
    values += part[i];
  }
  if (values > mostValues) {
    return tooMany; // the counts have gone out already
  }
  *length = kCodeLengths + values;
  return CopyPart(target, input, part, values);
}

int32_t CopyTable(const TifFile* target, TableInput* input, uint16_t tag, uint32_t* length) {
  switch (tag) {
  case kTagJpegQTables: {
    uint8_t part[kQuantizationBytes];
    *length = kQuantizationBytes;
    return CopyPart(target, input, part, kQuantizationBytes);
  }
  case kTagJpegDcTables:
    return CopyHuffmanTable(target, input, kMostDcValues, kResultJpegHuffmanDc, length);
  case kTagJpegAcTables:
    return CopyHuffmanTable(target, input, kMostAcValues, kResultJpegHuffmanAc, length);
  default:
    return kResultJpegTableTag;
  }
}

// One table at the even place at or behind `position`; `offset` is its old place in a source and becomes the new one.
int32_t WriteTable(const TreeCopy& copy, const uint8_t* loaded, uint16_t tag, uint32_t* offset, uint32_t* position) {
  *position = TIFEven(*position);
  const uint32_t place = *position;
  if (TIFSeek(copy.target->fileHandle, place, kKrnSeekSet) != place) {
    return kResultSeekFailed;
  }
  if (loaded == nullptr && TIFSeek(copy.source->fileHandle, *offset, kKrnSeekSet) != *offset) {
    return kResultSeekFailed;
  }
  TableInput input = {loaded, copy.source};
  uint32_t length = 0;
  const int32_t result = CopyTable(copy.target, &input, tag, &length);
  *offset = place;
  if (result != kResultOk) {
    return result;
  }
  return TIFAdvance(position, length) ? kResultOk : krnWriteError(kResultWriteFailed);
}

void FinishRecord(TifTagRecord* record, uint32_t value) {
  record->value = value;
  record->data = nullptr;
  record->storage = kStorageWritten;
}

// The tables, and behind several of them the array of their new places.
int32_t WriteTables(const TreeCopy& copy, TifTagRecord* record, uint32_t* offsets, uint32_t* position) {
  const uint32_t count = record->count;
  const bool loaded = (record->storage & kStorageKindMask) == kStorageBlockArray;
  auto* const* const blocks = static_cast<uint8_t* const*>(loaded ? record->data : nullptr);
  for (uint32_t i = 0; i < count; ++i) {
    const int32_t result = WriteTable(copy, loaded ? blocks[i] : nullptr, record->tag, &offsets[i], position);
    if (result != kResultOk) {
      return result;
    }
  }
  if (count == 1) {
    FinishRecord(record, offsets[0]);
    return kResultOk;
  }
  *position = TIFEven(*position);
  const uint32_t place = *position;
  if (!TIFAdvance(position, uint64_t{sizeof(uint32_t)} * count)) {
    return krnWriteError(kResultWriteFailed);
  }
  if (TIFSeek(copy.target->fileHandle, place, kKrnSeekSet) != place) {
    return kResultSeekFailed;
  }
  FinishRecord(record, place);
  return TIFWriteLongArray(copy.target, offsets, count);
}

// The old places of tables that stand in the source; an array of zeros for tables in memory.
int32_t TakeOffsets(const TifTagRecord* record, uint32_t** out) {
  const uint32_t storage = record->storage & kStorageKindMask;
  const bool loaded = storage == kStorageBlockArray && record->data != nullptr;
  const bool named = storage == kStorageBlock && record->data != nullptr &&
                     TIFTypeSize(record->type) == sizeof(uint32_t) && record->count > 1;
  if (!loaded && !named && record->count != 1) {
    return kResultInvalidParameter;
  }
  auto* const offsets = static_cast<uint32_t*>(TIFAllocZero(record->count, sizeof(uint32_t)));
  if (offsets == nullptr) {
    return kResultNoMemory;
  }
  if (named) {
    krnMemCopy(offsets, record->data, size_t{record->count} * sizeof(uint32_t));
  } else if (!loaded) {
    offsets[0] = record->value;
  }
  *out = offsets;
  return kResultOk;
}

} // namespace

int32_t TIFWriteJpegTables(const TreeCopy& copy, TifTagRecord* record, uint32_t* position) {
  const bool loaded = (record->storage & kStorageKindMask) == kStorageBlockArray && record->data != nullptr;
  if (position == nullptr || (copy.source == nullptr && !loaded)) {
    return kResultInvalidParameter;
  }
  uint32_t* offsets = nullptr;
  int32_t result = TakeOffsets(record, &offsets);
  if (result == kResultOk) {
    result = WriteTables(copy, record, offsets, position);
  }
  TIFFree(offsets);
  return result;
}

int32_t TIFWriteJpegStream(const TreeCopy& copy, TifTagRecord* record, uint32_t* position) {
  const uint32_t place = *position;
  if ((record->storage & kStorageKindMask) == kStorageBlock) {
    const int32_t result = TIFWriteRecordBlock(copy.target, record, position, kDirMain);
    if (result != kResultOk) {
      return result;
    }
  } else {
    if (TIFSeek(copy.target->fileHandle, place, kKrnSeekSet) != place) {
      return kResultSeekFailed;
    }
    auto* const buffer = static_cast<uint8_t*>(TIFAlloc(kCopyBufferBytes, 1));
    if (buffer == nullptr) {
      return kResultNoMemory;
    }
    const int32_t result = TIFAdvance(position, record->count)
                               ? TIFCopyFileBytes(copy, record->value, record->count, {buffer, kCopyBufferBytes}, false)
                               : krnWriteError(kResultWriteFailed);
    TIFFree(buffer);
    if (result != kResultOk) {
      return result;
    }
  }
  FinishRecord(record, place);
  record->count = 1;
  return kResultOk;
}
