// Image data of a directory that is written anew: strips or tiles, loaded or copied from the source file, with their
// two tables; an old-style JPEG stream that forms one piece with its strips stays in front of them.

#include <algorithm>
#include <cstddef>

#include <vxtif/results.h>

#include "tif_com/ByteOrder.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Memory.h"
#include "tif_com/TagBlocks.h"
#include "tif_com/TreePieces.h"
#include "tif_com/TreeWriter.h"
#include "tif_com/TreeWriterParts.h"

namespace {

uint32_t Kind(const TifTagRecord* record) {
  return record->storage & kStorageKindMask;
}

bool IsWholeInMemory(const TifTagRecord* offsets, const TifTagRecord* counts) {
  const bool loaded = Kind(offsets) == kStorageBlock || Kind(offsets) == kStorageBlockArray;
  return loaded && offsets->data != nullptr && (Kind(counts) != kStorageBlock || counts->data != nullptr);
}

// The table of byte counts, always of LONGs; a single count keeps its type and its place in the entry.
int32_t WriteByteCounts(const TreeCopy& copy, const StripTables& tables, uint32_t* position) {
  TifTagRecord* const counts = tables.counts;
  if (counts->count <= 1) {
    return kResultOk;
  }
  counts->type = kTypeLong;
  counts->data = tables.lengths;
  counts->storage = kStorageBlock;
  const bool written = TIFWriteRecordBlock(copy.target, counts, position, kDirMain) == kResultOk;
  return written ? kResultOk : krnWriteError(kResultWriteFailed);
}

int32_t WriteOffsets(const TreeCopy& copy, const StripTables& tables, uint32_t place) {
  const uint32_t count = tables.offsets->count;
  if (count > 1) {
    if (TIFSeek(copy.target->fileHandle, place, kKrnSeekSet) != place) {
      return kResultSeekFailed;
    }
    const int32_t result = TIFWriteLongArray(copy.target, tables.newOffsets, count);
    if (result != kResultOk) {
      return result;
    }
  }
  // A single strip behind a header leaves the entry at the header: readers of such pages expect that.
  tables.offsets->value = place;
  tables.offsets->type = kTypeLong;
  tables.offsets->storage = kStorageWritten;
  tables.offsets->data = nullptr;
  return kResultOk;
}

int32_t WriteTablesAndPieces(const TreeCopy& copy, const StripTables& tables, uint32_t reserve, uint32_t* position,
                             uint32_t* dataStart) {
  int32_t result = WriteByteCounts(copy, tables, position);
  if (result != kResultOk) {
    return result;
  }
  const uint32_t count = tables.offsets->count;
  const uint32_t place = *position;
  const uint64_t tableBytes = count < 2 ? 0 : uint64_t{sizeof(uint32_t)} * count;
  if (!TIFAdvance(position, tableBytes + reserve)) {
    return krnWriteError(kResultWriteFailed);
  }
  *dataStart = *position;
  result = TIFWritePieces(copy, tables, position);
  return result == kResultOk ? WriteOffsets(copy, tables, place) : result;
}

// A strip in memory is as long as the value word of its byte count said when it was loaded, whatever type the count
// has.
void CutToLoaded(const StripTables& tables) {
  if (Kind(tables.offsets) == kStorageBlock && tables.offsets->count == 1) {
    const uint32_t loaded = tables.counts->value;
    tables.lengths[0] = std::min(tables.lengths[0], loaded);
  }
}

int32_t LoadNumbers(const TreeCopy& copy, StripTables* tables) {
  int32_t result = TIFRecordLongs(copy.source, tables->counts, &tables->lengths);
  if (result != kResultOk) {
    return result;
  }
  CutToLoaded(*tables);
  if (TIFLoadedPiece(tables->offsets, 0) == nullptr) {
    result = TIFRecordLongs(copy.source, tables->offsets, &tables->oldOffsets);
    if (result != kResultOk) {
      return result;
    }
  }
  tables->newOffsets = static_cast<uint32_t*>(TIFAlloc(tables->offsets->count, sizeof(uint32_t)));
  return tables->newOffsets != nullptr ? kResultOk : kResultNoMemory;
}

void FreeNumbers(const StripTables& tables) {
  TIFFree(tables.newOffsets);
  TIFFree(tables.oldOffsets);
  TIFFree(tables.lengths);
}

// `reserve` bytes are kept free in front of the pieces; `dataStart` receives the place behind them.
int32_t WriteStrips(const TreeCopy& copy, TifTagRecord* offsets, TifTagRecord* counts, uint32_t reserve,
                    uint32_t* position, uint32_t* dataStart) {
  if (offsets->count != counts->count) {
    return kResultNotTiff;
  }
  if (copy.source == nullptr && !IsWholeInMemory(offsets, counts)) {
    return kResultNullPointer;
  }
  StripTables tables = {offsets, counts, nullptr, nullptr, nullptr};
  int32_t result = LoadNumbers(copy, &tables);
  if (result == kResultOk) {
    result = WriteTablesAndPieces(copy, tables, reserve, position, dataStart);
  }
  FreeNumbers(tables);
  return result;
}

// How much of the stream stands in front of the first strip, when the two are one piece of data.
uint32_t HeaderLength(const TifTagRecord* stream, uint32_t firstStrip) {
  const uint32_t start = stream->value;
  const uint32_t count = stream->count;
  return start <= firstStrip && uint64_t{start} + count >= firstStrip ? firstStrip - start : count;
}

// A page whose JPEG stream is a header in front of its strips: it stands directly before them again. `taken` says
// whether the case applies; the result counts only then.
int32_t WriteHeadedStrips(const TreeCopy& copy, TifTagRecord* stream, TifTagRecord* offsets, TifTagRecord* counts,
                          uint32_t* position, bool* taken) {
  *taken = Kind(offsets) != kStorageBlockArray && stream->value != 0;
  if (!*taken) {
    return kResultOk;
  }
  uint32_t* strips = nullptr;
  int32_t result = TIFRecordLongs(copy.source, offsets, &strips);
  if (result != kResultOk) {
    return result;
  }
  const uint32_t headerLength = HeaderLength(stream, strips[0]);
  TIFFree(strips);
  const uint32_t reserve = TIFEven(headerLength);
  uint32_t dataStart = 0;
  result = WriteStrips(copy, offsets, counts, reserve, position, &dataStart);
  if (result != kResultOk) {
    return result;
  }
  uint32_t header = dataStart - reserve;
  stream->count = headerLength;
  return TIFWriteJpegStream(copy, stream, &header);
}

uint32_t Halves(const TifTagRecord* record, uint32_t index) {
  return index == 0 ? record->value & 0xFFFF : record->value >> 16;
}

// The numbers of a table's bytes in host order; a block that is shorter than its count says gives what it has.
void LongsFromBlock(const TifTagRecord* record, const void* block, uint32_t* longs) {
  const auto* const bytes = static_cast<const uint8_t*>(block);
  if (record->type == kTypeShort) {
    for (uint32_t i = 0; i < record->count; ++i) {
      longs[i] = LoadU16LE(bytes + size_t{2} * i);
    }
    return;
  }
  const uint64_t held = TIFValueBytes(record->type, record->count) / sizeof(uint32_t);
  const auto n = static_cast<uint32_t>(std::min<uint64_t>(held, record->count));
  krnMemCopy(longs, bytes, size_t{n} * sizeof(uint32_t));
}

// A table that the reader has left in the file.
int32_t LongsFromSource(const TifFile* source, const TifTagRecord* record, uint32_t* longs) {
  if (source == nullptr) {
    return kResultNullPointer;
  }
  void* block = nullptr;
  const uint64_t bytes = TIFValueBytes(record->type, record->count);
  const int32_t result = TIFReadTagBlock(source, record->type, record->count, record->value, bytes, &block);
  if (result == kResultOk) {
    LongsFromBlock(record, block, longs);
    TIFFree(block);
  }
  return result;
}

int32_t FillLongs(const TifFile* source, const TifTagRecord* record, uint32_t* longs) {
  const bool isShort = record->type == kTypeShort;
  const bool isBlock = Kind(record) == kStorageBlock && record->data != nullptr;
  if (isBlock) {
    LongsFromBlock(record, record->data, longs);
    return kResultOk;
  }
  if (isShort && record->count <= 2) {
    for (uint32_t i = 0; i < std::max(record->count, 1u); ++i) {
      longs[i] = Halves(record, i);
    }
    return kResultOk;
  }
  if (record->count <= 1) {
    longs[0] = record->value;
    return kResultOk;
  }
  return LongsFromSource(source, record, longs);
}

} // namespace

int32_t TIFRecordLongs(const TifFile* source, const TifTagRecord* record, uint32_t** out) {
  *out = nullptr;
  const uint32_t count = record->count;
  if (count > 1 && TIFTypeSize(record->type) == 0) {
    return kResultNotTiff; // any number of values without a byte to hold them
  }
  auto* const longs = static_cast<uint32_t*>(TIFAllocZero(std::max(count, 1u), sizeof(uint32_t)));
  if (longs == nullptr) {
    return kResultNoMemory;
  }
  const int32_t result = FillLongs(source, record, longs);
  if (result != kResultOk) {
    TIFFree(longs);
    return result;
  }
  *out = longs;
  return kResultOk;
}

int32_t TIFWriteImageData(const TreeCopy& copy, TifTagRecord* records, uint32_t n, uint32_t* position) {
  int32_t offsetsIndex = -1;
  TifTagRecord* offsets = TIFFindRecord(records, n, kTagStripOffsets, &offsetsIndex);
  TifTagRecord* counts = TIFFindRecord(records, n, kTagStripByteCounts, nullptr);
  if (offsets == nullptr) {
    offsets = TIFFindRecord(records, n, kTagTileOffsets, &offsetsIndex);
    counts = TIFFindRecord(records, n, kTagTileByteCounts, nullptr);
  }
  TifTagRecord* const stream = TIFFindRecord(records, n, kTagJpegInterchangeFormat, nullptr);
  const bool hasStrips = offsets != nullptr && counts != nullptr;
  if (stream != nullptr && hasStrips && offsetsIndex != 0) {
    bool taken = false;
    const int32_t result = WriteHeadedStrips(copy, stream, offsets, counts, position, &taken);
    if (taken) {
      return result;
    }
  }
  if (hasStrips) {
    uint32_t dataStart = 0;
    const int32_t result = WriteStrips(copy, offsets, counts, 0, position, &dataStart);
    if (result != kResultOk) {
      return result;
    }
  }
  return stream != nullptr ? TIFWriteJpegStream(copy, stream, position) : kResultOk;
}
