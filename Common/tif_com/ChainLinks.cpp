// Words of the chain as they are written and found: values in the file's byte order, the header of a new file, and the
// link word that points at a directory. Given a TifFile at work, these write at its position or walk its chain from the
// header. Page insertion and deletion, the directory writers and the tag editor use them.

#include "tif_com/ByteOrder.h"
#include "tif_com/FileAccess.h"
#include "tif_com/PageChain.h"
#include "tif_com/SaveState.h"

namespace {

constexpr uint32_t kHeaderSize = 8;

uint32_t NextWordOffset(const TifFile* file, uint32_t directory) {
  return directory + 2 + kDirEntrySize * file->entryCount;
}

} // namespace

int32_t TIFWrite16(const TifFile* file, uint16_t value) {
  const uint16_t stored = TIFIsLittle(file) ? value : Swap16(value);
  return krnFileWrite(file->fileHandle, &stored, sizeof stored) == sizeof stored ? 1 : 0;
}

int32_t TIFWrite32(const TifFile* file, uint32_t value) {
  const uint32_t stored = TIFIsLittle(file) ? value : Swap32(value);
  return krnFileWrite(file->fileHandle, &stored, sizeof stored) == sizeof stored ? 1 : 0;
}

int32_t TIFCreateFile(const char16_t* fileName, TifFile* file) {
  file->stateFlags |= kStateHeaderPending;
  file->nextDirectoryOffset = 0;
  file->fileSize = 0;
  file->fileHandle = krnFileOpen(fileName, kKrnFileReadWrite | kKrnFileCreate, kKrnShareExclusive);
  return file->fileHandle == kKrnNoHandle ? kResultCreateFailed : kResultOk;
}

int32_t TIFWriteHeader(TifFile* file, bool bigEndian) {
  file->byteOrder = bigEndian ? kByteOrderBig : kByteOrderLittle;
  uint8_t header[kHeaderSize] = {file->byteOrder, file->byteOrder};
  if (bigEndian) {
    StoreU16BE(header + 2, file->version);
    StoreU32BE(header + kFirstDirectoryLink, kHeaderSize);
  } else {
    StoreU16LE(header + 2, file->version);
    StoreU32LE(header + kFirstDirectoryLink, kHeaderSize);
  }
  if (krnFileWrite(file->fileHandle, header, kHeaderSize) != kHeaderSize) {
    return 0;
  }
  file->directoryLinkOffset = kFirstDirectoryLink;
  file->directoryOffset = kHeaderSize;
  file->nextDirectoryOffset = 0;
  file->stateFlags &= ~static_cast<uint32_t>(kStateHeaderPending);
  return 1;
}

int32_t TIFReadNextLink(TifFile* file) {
  const uint32_t offset = NextWordOffset(file, file->directoryOffset);
  if (TIFSeek(file->fileHandle, offset, kKrnSeekSet) != offset) {
    return kResultSeekFailed;
  }
  uint32_t next = 0;
  if (TIFRead32(file, &next) == 0) {
    return kResultReadFailed;
  }
  file->nextDirectoryOffset = next;
  return kResultOk;
}

int32_t TIFFindLink(TifFile* file, uint32_t target, uint32_t* linkOffset, uint32_t* index) {
  uint32_t candidate = kFirstDirectoryLink;
  uint32_t passed = 0;
  for (;;) {
    if (TIFSeek(file->fileHandle, candidate, kKrnSeekSet) != candidate) {
      return kResultSeekFailed;
    }
    uint32_t word = 0;
    if (TIFRead32(file, &word) == 0) {
      return kResultReadFailed;
    }
    if (word == target) {
      *linkOffset = candidate;
      *index = passed;
      return kResultOk;
    }
    if (target < kSmallestDirectoryOffset) {
      return kResultNotTiff;
    }
    // A word of 0 is followed like any other: targets are on the chain, so that its end is met by damaged files alone.
    const int32_t result = TIFReadDirectoryHeader(file, word);
    if (result != kResultOk) {
      return result;
    }
    candidate = NextWordOffset(file, word);
    ++passed;
  }
}
