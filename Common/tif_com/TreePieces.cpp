// The pieces of image data of a directory that is written anew. See the header.
//
// A page may have thousands of small strips, and a system call for each would cost more than the copying. So pieces are
// gathered and go out in long writes, and pieces that follow each other in the source as they will in the target come
// in with one read. What arrives, and what has arrived when something fails, is as if they went one by one.

#include "tif_com/TreePieces.h"

#include <algorithm>
#include <cstddef>

#include <vxtif/results.h>

#include "tif_com/ByteOrder.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Memory.h"

namespace {

constexpr uint32_t kMostGathered = 32 * kCopyBufferBytes;
constexpr uint32_t kDirectBytes = 4 * kCopyBufferBytes; // loaded pieces of this size gain nothing from being gathered

// Bytes on their way to the target, one behind the other.
struct Outgoing {
  const TifFile* target;
  uint8_t* buffer;
  uint32_t capacity; // a multiple of kCopyBufferBytes
  uint32_t place;    // of the first byte, in the target
  uint32_t used;
  uint32_t gap; // 1: a zero byte stands behind those, and goes out once more bytes follow
};

uint8_t* End(const Outgoing& out) {
  return out.buffer + out.used + out.gap;
}

uint32_t Room(const Outgoing& out) {
  return out.capacity - out.used - out.gap;
}

void Take(Outgoing* out, uint32_t bytes) {
  if (bytes != 0) {
    out->used += out->gap + bytes;
    out->gap = 0;
  }
}

int32_t WriteAt(const TifFile* target, uint32_t place, const uint8_t* bytes, uint32_t n) {
  const bool landed = TIFSeek(target->fileHandle, place, kKrnSeekSet) == place;
  return landed ? TIFWriteWhole(target, bytes, n) : kResultSeekFailed;
}

int32_t Flush(Outgoing* out) {
  const uint32_t bytes = out->used;
  const uint32_t place = out->place;
  out->used = 0;
  out->gap = 0;
  out->place = place + bytes;
  return bytes != 0 ? WriteAt(out->target, place, out->buffer, bytes) : kResultOk;
}

// Makes `place`, which is the even place behind the last piece, that of the next byte, with room for `bytes` if so many
// can be gathered at all.
int32_t GoOnAt(Outgoing* out, uint32_t place, uint32_t bytes) {
  int32_t result = kResultOk;
  out->gap = out->used % 2;
  if (bytes > Room(*out)) {
    result = Flush(out);
  }
  if (out->gap != 0) {
    out->buffer[out->used] = 0;
  }
  if (out->used == 0) {
    out->place = place;
  }
  return result;
}

void SwapPairs(uint8_t* bytes, uint32_t length) {
  SwapRun16(bytes, length / 2);
}

// Loaded samples are in host order; only 16-bit samples are brought back.
int32_t GatherLoaded(Outgoing* out, const uint8_t* bytes, uint32_t place, uint32_t length, bool swapped) {
  int32_t result = GoOnAt(out, place, length);
  if (result == kResultOk && length >= kDirectBytes && !swapped) {
    result = Flush(out);
    return result == kResultOk ? WriteAt(out->target, place, bytes, length) : result;
  }
  for (uint32_t done = 0; result == kResultOk && done < length;) {
    const uint32_t part = std::min(length - done, Room(*out));
    krnMemCopy(End(*out), bytes + done, part);
    if (swapped) {
      SwapPairs(End(*out), part);
    }
    done += part;
    Take(out, part);
    result = done < length ? Flush(out) : kResultOk;
  }
  return result;
}

// How many pieces from `first` on are one run of at most `room` bytes, in the source and in the target: the first one,
// and those that follow without a gap. `bytes` is how long they are together.
uint32_t PiecesInRun(const StripTables& tables, uint32_t first, uint32_t end, uint32_t room, uint32_t* bytes) {
  uint64_t length = tables.lengths[first];
  uint32_t next = first + 1;
  while (next < end && length != 0 && length % 2 == 0 && tables.oldOffsets[first] + length == tables.oldOffsets[next] &&
         length + tables.lengths[next] <= room) {
    length += tables.lengths[next++];
  }
  *bytes = static_cast<uint32_t>(length);
  return next - first;
}

// Of bytes that were read before a read came short: those that belong to whole parts, copied before the failure.
uint32_t BytesOfWholeParts(uint32_t read) {
  return read != kKrnIoFailed ? read - read % kCopyBufferBytes : 0;
}

// The same of a run of pieces.
uint32_t BytesOfWholeParts(const StripTables& tables, uint32_t first, uint32_t read) {
  uint32_t whole = 0;
  uint32_t left = read != kKrnIoFailed ? read : 0;
  for (uint32_t i = first; left != 0 && left >= tables.lengths[i]; ++i) {
    whole += tables.lengths[i];
    left -= tables.lengths[i];
  }
  return whole + BytesOfWholeParts(left);
}

// A piece that is too long to be gathered.
int32_t CopyLongPiece(const TreeCopy& copy, const StripTables& tables, uint32_t index, Outgoing* out) {
  const uint32_t place = tables.newOffsets[index];
  if (TIFSeek(copy.target->fileHandle, place, kKrnSeekSet) != place) {
    return kResultSeekFailed;
  }
  return TIFCopyFileBytes(copy, tables.oldOffsets[index], tables.lengths[index], {out->buffer, out->capacity},
                          copy.swap16);
}

// The piece `first` from the source file, and with it those before `end` that are one run with it.
int32_t GatherFromSource(const TreeCopy& copy, const StripTables& tables, uint32_t first, uint32_t end, Outgoing* out,
                         uint32_t* pieces) {
  *pieces = 1;
  if (copy.source == nullptr) {
    return kResultNullPointer;
  }
  const uint32_t offset = tables.oldOffsets[first];
  const int32_t result = GoOnAt(out, tables.newOffsets[first], tables.lengths[first]);
  if (result != kResultOk) {
    return result;
  }
  if (tables.lengths[first] > out->capacity) {
    return CopyLongPiece(copy, tables, first, out);
  }
  if (TIFSeek(copy.source->fileHandle, offset, kKrnSeekSet) != offset) {
    return kResultSeekFailed;
  }
  uint32_t bytes = 0;
  *pieces = PiecesInRun(tables, first, end, Room(*out), &bytes);
  uint8_t* const arrived = End(*out);
  const uint32_t read = krnFileRead(copy.source->fileHandle, arrived, bytes);
  const uint32_t taken = read == bytes ? bytes : BytesOfWholeParts(tables, first, read);
  if (copy.swap16 && copy.source->byteOrder != copy.target->byteOrder) {
    SwapPairs(arrived, taken);
  }
  Take(out, taken);
  return read == bytes ? kResultOk : kResultReadFailed;
}

int32_t GatherPieces(const TreeCopy& copy, const StripTables& tables, uint32_t end, Outgoing* out) {
  const bool loadedSwapped = copy.swap16 && !TIFIsLittle(copy.target);
  int32_t result = kResultOk;
  uint32_t pieces = 1;
  for (uint32_t i = 0; result == kResultOk && i < end; i += pieces) {
    const uint8_t* const loaded = TIFLoadedPiece(tables.offsets, i);
    if (loaded != nullptr) {
      result = GatherLoaded(out, loaded, tables.newOffsets[i], tables.lengths[i], loadedSwapped);
    } else {
      result = GatherFromSource(copy, tables, i, end, out, &pieces);
    }
  }
  return result;
}

// Gives each piece its place; how many there is room for in the 32 bits of a TIFF file.
uint32_t PlacePieces(const StripTables& tables, uint32_t* position) {
  const uint32_t count = tables.offsets->count;
  for (uint32_t i = 0; i < count; ++i) {
    tables.newOffsets[i] = *position;
    if (!TIFAdvance(position, uint64_t{tables.lengths[i]} + tables.lengths[i] % 2)) {
      return i;
    }
  }
  return count;
}

// As much as there is to gather, within what pays.
uint32_t BufferBytes(uint64_t bytes) {
  const uint64_t rounded = (bytes + kCopyBufferBytes - 1) / kCopyBufferBytes * kCopyBufferBytes;
  return static_cast<uint32_t>(std::clamp<uint64_t>(rounded, kCopyBufferBytes, kMostGathered));
}

} // namespace

const uint8_t* TIFLoadedPiece(const TifTagRecord* offsets, uint32_t index) {
  const uint32_t kind = offsets->storage & kStorageKindMask;
  if (offsets->data == nullptr) {
    return nullptr;
  }
  if (kind == kStorageBlockArray) {
    return static_cast<const uint8_t*>(static_cast<void* const*>(offsets->data)[index]);
  }
  return kind == kStorageBlock && offsets->count == 1 ? static_cast<const uint8_t*>(offsets->data) : nullptr;
}

int32_t TIFWritePieces(const TreeCopy& copy, const StripTables& tables, uint32_t* position) {
  const uint32_t start = *position;
  const uint32_t end = PlacePieces(tables, position);
  const uint32_t capacity = BufferBytes(uint64_t{*position} - start);
  auto* const buffer = static_cast<uint8_t*>(TIFAlloc(capacity, 1));
  if (buffer == nullptr) {
    return kResultNoMemory;
  }
  Outgoing out = {copy.target, buffer, capacity, start, 0, 0};
  const int32_t gathered = GatherPieces(copy, tables, end, &out);
  const int32_t flushed = Flush(&out); // what was gathered before a failure goes out, and comes first if it fails too
  TIFFree(buffer);
  if (gathered != kResultOk || flushed != kResultOk) {
    return flushed != kResultOk ? flushed : gathered;
  }
  return end == tables.offsets->count ? kResultOk : krnWriteError(kResultWriteFailed);
}

int32_t TIFCopyFileBytes(const TreeCopy& copy, uint32_t offset, uint32_t length, const CopyBuffer& buffer,
                         bool swap16) {
  if (copy.source == nullptr) {
    return kResultNullPointer;
  }
  if (TIFSeek(copy.source->fileHandle, offset, kKrnSeekSet) != offset) {
    return kResultSeekFailed;
  }
  const bool swapped = swap16 && copy.source->byteOrder != copy.target->byteOrder;
  for (uint32_t done = 0; done < length;) {
    const uint32_t piece = std::min(length - done, buffer.capacity);
    const uint32_t read = krnFileRead(copy.source->fileHandle, buffer.bytes, piece);
    const uint32_t taken = read == piece ? piece : BytesOfWholeParts(read);
    if (swapped) {
      SwapPairs(buffer.bytes, taken);
    }
    const int32_t result = taken != 0 ? TIFWriteWhole(copy.target, buffer.bytes, taken) : kResultOk;
    if (result != kResultOk) {
      return result;
    }
    if (read != piece) {
      return kResultReadFailed;
    }
    done += piece;
  }
  return kResultOk;
}
