// Out-of-line values between file and memory. See the header.

#include "tif_com/TagBlocks.h"

#include <algorithm>
#include <cstddef>

#include <vxtif/results.h>

#include "tif_com/ByteOrder.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Memory.h"
#include "tif_com/Tags.h"

namespace {

// Up to here a block is allocated without a look at the file: a short read refuses it just as well.
constexpr uint64_t kBlockWithoutQuestion = 16384;
constexpr uint32_t kLongsAtOnce = 1024;

void SwapClipped(void* block, uint32_t type, uint32_t count, uint64_t bytes) {
  const uint32_t elementSize = TIFTypeSize(type);
  if (elementSize > 1) {
    TIFSwapValues(block, type, static_cast<uint32_t>(std::min<uint64_t>(count, bytes / elementSize)));
  }
}

// A block of `bytes` bytes read from `offset`. 1, -1, -7.
int32_t ReadBlock(const TifFile* file, uint32_t offset, uint64_t bytes, void** out) {
  *out = nullptr;
  if (!TIFFileMayHold(file, offset, bytes)) {
    return kResultReadFailed;
  }
  void* const block = TIFAlloc(static_cast<size_t>(bytes), 1);
  if (block == nullptr) {
    return kResultNoMemory;
  }
  if (TIFSeek(file->fileHandle, offset, kKrnSeekSet) != offset ||
      krnFileRead(file->fileHandle, block, static_cast<uint32_t>(bytes)) != bytes) {
    TIFFree(block);
    return kResultReadFailed;
  }
  *out = block;
  return kResultOk;
}

int32_t ReadBlocks(const TifFile* file, void** blocks, const uint32_t* offsets, const uint32_t* sizes, uint32_t count,
                   uint32_t* loaded) {
  for (*loaded = 0; *loaded < count; ++*loaded) {
    const int32_t result = ReadBlock(file, offsets[*loaded], sizes[*loaded], &blocks[*loaded]);
    if (result != kResultOk) {
      return result;
    }
  }
  return kResultOk;
}

// The offsets of a record that names several blocks. 1, -1, -7.
int32_t ReadOffsets(const TifFile* file, const TifTagRecord* record, uint32_t** out) {
  const uint64_t bytes = uint64_t{sizeof(uint32_t)} * record->count;
  const uint32_t place = record->value;
  *out = nullptr;
  if (!TIFFileMayHold(file, place, bytes)) {
    return kResultReadFailed;
  }
  auto* const offsets = static_cast<uint32_t*>(TIFAlloc(record->count, sizeof(uint32_t)));
  if (offsets == nullptr) {
    return kResultNoMemory;
  }
  const bool landed = TIFSeek(file->fileHandle, place, kKrnSeekSet) == place;
  const int32_t result = landed ? TIFReadLongArray(file, offsets, record->count) : kResultReadFailed;
  if (result != kResultOk) {
    TIFFree(offsets);
    return result;
  }
  *out = offsets;
  return kResultOk;
}

} // namespace

void TIFSwapValues(void* buffer, uint32_t type, uint32_t count) {
  auto* const bytes = static_cast<uint8_t*>(buffer);
  switch (type) {
  case kTypeShort:
  case kTypeSShort:
    SwapRun16(bytes, count);
    break;
  case kTypeLong:
  case kTypeSLong:
  case kTypeFloat:
    SwapRun32(bytes, count);
    break;
  case kTypeRational:
  case kTypeSRational:
    SwapRun32(bytes, size_t{2} * count);
    break;
  case kTypeDouble:
    SwapRun64(bytes, count);
    break;
  default:
    break;
  }
}

int32_t TIFReadLongArray(const TifFile* file, uint32_t* out, uint32_t count) {
  const uint64_t bytes = uint64_t{sizeof(uint32_t)} * count;
  if (bytes > UINT32_MAX || krnFileRead(file->fileHandle, out, static_cast<uint32_t>(bytes)) != bytes) {
    return kResultReadFailed;
  }
  if (!TIFIsLittle(file)) {
    SwapRun32(reinterpret_cast<uint8_t*>(out), count);
  }
  return kResultOk;
}

int32_t TIFWriteLongArray(const TifFile* file, const uint32_t* values, uint32_t n) {
  if (TIFIsLittle(file)) {
    const uint64_t bytes = uint64_t{sizeof(uint32_t)} * n;
    const bool written =
        bytes <= UINT32_MAX && krnFileWrite(file->fileHandle, values, static_cast<uint32_t>(bytes)) == bytes;
    return written ? kResultOk : krnWriteError(kResultWriteFailed);
  }
  uint8_t piece[kLongsAtOnce * sizeof(uint32_t)];
  for (uint32_t done = 0; done < n;) {
    const uint32_t longs = std::min(n - done, kLongsAtOnce);
    const auto bytes = static_cast<uint32_t>(longs * sizeof(uint32_t));
    krnMemCopy(piece, values + done, bytes);
    SwapRun32(piece, longs);
    if (krnFileWrite(file->fileHandle, piece, bytes) != bytes) {
      return krnWriteError(kResultWriteFailed);
    }
    done += longs;
  }
  return kResultOk;
}

bool TIFFileMayHold(const TifFile* file, uint32_t offset, uint64_t bytes) {
  if (bytes <= kBlockWithoutQuestion) {
    return true;
  }
  // A file that ends beyond 32 bits answers with a failure, and may hold anything that 32 bits can ask for.
  const uint32_t end = krnFileSeek(file->fileHandle, 0, kKrnSeekEnd);
  return bytes <= UINT32_MAX && (end == kSeekFailed || offset + bytes <= end);
}

int32_t TIFReadTagBlock(const TifFile* file, uint32_t type, uint32_t count, uint32_t fileOffset, uint64_t byteSize,
                        void** out) {
  const int32_t result = ReadBlock(file, fileOffset, byteSize, out);
  if (result == kResultOk && !TIFIsLittle(file)) {
    SwapClipped(*out, type, count, byteSize);
  }
  return result;
}

int32_t TIFLoadTagBlock(const TifFile* file, uint32_t type, uint32_t count, uint32_t fileOffset, uint64_t byteSize,
                        TifTagRecord* record) {
  void* block = nullptr;
  if (TIFReadTagBlock(file, type, count, fileOffset, byteSize, &block) != kResultOk) {
    record->data = nullptr;
    record->storage &= ~static_cast<uint32_t>(kStorageOwned);
    return 0;
  }
  record->data = block;
  record->storage = kStorageBlock | kStorageOwned;
  return 1;
}

int32_t TIFLoadTagBlocks(const TifFile* file, TifTagRecord* record, const uint32_t* sizes, uint32_t type,
                         uint32_t divisor) {
  const uint32_t count = record->count;
  uint32_t* offsets = nullptr;
  int32_t result = ReadOffsets(file, record, &offsets);
  if (result != kResultOk) {
    return result;
  }
  auto* const blocks = static_cast<void**>(TIFAlloc(count, sizeof(void*)));
  if (blocks == nullptr) {
    TIFFree(offsets);
    return kResultNoMemory;
  }
  uint32_t loaded = 0;
  result = ReadBlocks(file, blocks, offsets, sizes, count, &loaded);
  TIFFree(offsets);
  if (result != kResultOk) {
    TIFFreeBlockArray(blocks, loaded);
    return result;
  }
  if (divisor != 1 && !TIFIsLittle(file)) {
    for (uint32_t i = 0; i < count; ++i) {
      SwapClipped(blocks[i], type, sizes[i] / divisor, sizes[i]);
    }
  }
  record->data = blocks;
  record->storage = kStorageBlockArray | kStorageOwned;
  return kResultOk;
}

void TIFFreeBlockArray(void** blocks, uint32_t count) {
  while (count > 0) {
    TIFFree(blocks[--count]);
  }
  TIFFree(blocks);
}
