// Reading of a file's structure: header, values in the file's byte order, the chain of directories. It is given an open
// handle (or, in Vx_OpenTIF, a name) and leaves a TifFile that describes one directory, with the file position just
// behind that directory's entry count. Every operation that reads a file starts here.

#include "tif_com/FileAccess.h"

#include "tif_com/ByteOrder.h"
#include "tif_com/Tags.h"

namespace {

constexpr uint32_t kHeaderSize = 8;
constexpr uint32_t kFarthestSignedSeek = 0x7FFFFFFF;

bool ReadWhole(VxFileHandle handle, void* buffer, uint32_t bytes) {
  return krnFileRead(handle, buffer, bytes) == bytes;
}

uint16_t LoadFileU16(const TifFile* file, const uint8_t* bytes) {
  return TIFIsLittle(file) ? LoadU16LE(bytes) : LoadU16BE(bytes);
}

uint32_t LoadFileU32(const TifFile* file, const uint8_t* bytes) {
  return TIFIsLittle(file) ? LoadU32LE(bytes) : LoadU32BE(bytes);
}

// Byte-order mark and version word of the 8 header bytes.
bool RecogniseHeader(TifFile* file, const uint8_t* header) {
  const bool marked = header[0] == header[1] && (header[0] == kByteOrderLittle || header[0] == kByteOrderBig);
  if (!marked) {
    return false;
  }
  file->byteOrder = header[0];
  file->version = LoadFileU16(file, header + 2);
  return file->version == kTifVersion || file->version == kTifVersionVariant;
}

void SwapEntryFields(TifDirEntry* entry) {
  entry->tag = Swap16(entry->tag);
  entry->type = Swap16(entry->type);
  entry->count = Swap32(entry->count);
}

} // namespace

int32_t TIFRead16(const TifFile* file, uint16_t* value) {
  uint8_t bytes[2];
  if (!ReadWhole(file->fileHandle, bytes, sizeof bytes)) {
    return 0;
  }
  *value = LoadFileU16(file, bytes);
  return 1;
}

int32_t TIFRead32(const TifFile* file, uint32_t* value) {
  uint8_t bytes[4];
  if (!ReadWhole(file->fileHandle, bytes, sizeof bytes)) {
    return 0;
  }
  *value = LoadFileU32(file, bytes);
  return 1;
}

int32_t TIFReadEntry(const TifFile* file, TifDirEntry* entry) {
  if (!ReadWhole(file->fileHandle, entry, kDirEntrySize)) {
    return 0;
  }
  if (!TIFIsLittle(file)) {
    TIFSwapEntries(entry, 1, SwapDirection::kToMemory);
  }
  return 1;
}

void TIFNormalizeEntryValue(TifDirEntry* entry) {
  const uint32_t raw = entry->value;
  const uint32_t count = entry->count;
  const uint16_t first = Swap16(static_cast<uint16_t>(raw));
  const uint16_t second = Swap16(static_cast<uint16_t>(raw >> 16));
  switch (entry->type) {
  case kTypeShort:
  case kTypeSShort:
    if (count == 1) {
      entry->value =
          entry->type == kTypeShort ? first : static_cast<uint32_t>(static_cast<int32_t>(static_cast<int16_t>(first)));
      return;
    }
    if (count < 3) {
      entry->value = first | static_cast<uint32_t>(second) << 16;
      return;
    }
    break;
  case kTypeByte:
  case kTypeAscii:
  case kTypeSByte:
  case kTypeUndefined:
    if (count < 5) {
      return;
    }
    break;
  default:
    break;
  }
  entry->value = Swap32(raw);
}

void TIFSwapEntries(TifDirEntry* entries, uint32_t count, SwapDirection direction) {
  for (uint32_t i = 0; i < count; ++i) {
    // The value is normalised by type and count, so those must be host numbers at that moment.
    if (direction == SwapDirection::kToMemory) {
      SwapEntryFields(&entries[i]);
      TIFNormalizeEntryValue(&entries[i]);
    } else {
      TIFNormalizeEntryValue(&entries[i]);
      SwapEntryFields(&entries[i]);
    }
  }
}

uint32_t TIFSeek(VxFileHandle handle, uint32_t offset, uint32_t whence) {
  // The kernel's offset is signed; offsets of TIFF are not.
  if (offset <= kFarthestSignedSeek) {
    return krnFileSeek(handle, static_cast<int32_t>(offset), whence);
  }
  if (krnFileSeek(handle, static_cast<int32_t>(kFarthestSignedSeek), whence) == kSeekFailed) {
    return kSeekFailed;
  }
  return krnFileSeek(handle, static_cast<int32_t>(offset - kFarthestSignedSeek), kKrnSeekCurrent);
}

int32_t TIFReadDirectoryHeader(TifFile* file, uint32_t offset) {
  if (TIFSeek(file->fileHandle, offset, kKrnSeekSet) != offset) {
    return kResultSeekFailed;
  }
  uint16_t count = 0;
  if (TIFRead16(file, &count) == 0) {
    return kResultReadFailed;
  }
  file->entryCount = count;
  // Offset 0 passes: the byte-order mark is then taken for the entry count.
  if (offset >= 1 && offset < kSmallestDirectoryOffset) {
    return kResultNotTiff;
  }
  file->directoryOffset = offset;
  return kResultOk;
}

int32_t TIFReadHeader(TifFile* file, uint32_t explicitOffset) {
  file->structSize = sizeof(TifFile);
  file->fileSize = krnFileSeek(file->fileHandle, 0, kKrnSeekEnd);
  krnFileSeek(file->fileHandle, 0, kKrnSeekSet);
  uint8_t header[kHeaderSize];
  if (!ReadWhole(file->fileHandle, header, kHeaderSize) || !RecogniseHeader(file, header)) {
    return kResultNotTiff;
  }
  file->nextDirectoryOffset = 0;
  if (explicitOffset >= kSmallestDirectoryOffset) {
    file->directoryLinkOffset = 0;
    if (TIFReadDirectoryHeader(file, explicitOffset) == kResultOk) {
      return kResultOk;
    }
    // An explicit directory that cannot be entered counts as none given.
  }
  file->directoryLinkOffset = kFirstDirectoryLink;
  return TIFReadDirectoryHeader(file, LoadFileU32(file, header + kFirstDirectoryLink));
}

int32_t TIFWalkPages(TifFile* file, uint32_t* page, uint32_t* offsetBehindCount) {
  const uint32_t wanted = *page;
  uint32_t reached = 1;
  *page = reached;
  while (reached < wanted) {
    const int32_t entryBytes = static_cast<int32_t>(kDirEntrySize * file->entryCount);
    const uint32_t linkOffset = krnFileSeek(file->fileHandle, entryBytes, kKrnSeekCurrent);
    if (linkOffset == kSeekFailed) {
      return kResultSeekFailed;
    }
    uint32_t next = 0;
    if (TIFRead32(file, &next) == 0) {
      return kResultReadFailed;
    }
    if (next < kSmallestDirectoryOffset) {
      const uint32_t back = TIFSeek(file->fileHandle, *offsetBehindCount, kKrnSeekSet);
      return back == kSeekFailed ? kResultSeekFailed : kResultOk;
    }
    const int32_t result = TIFReadDirectoryHeader(file, next);
    if (result != kResultOk) {
      return result;
    }
    file->directoryLinkOffset = linkOffset;
    *offsetBehindCount = next + 2;
    *page = ++reached;
  }
  return kResultOk;
}

int32_t TIFSeekPage(TifFile* file, uint32_t page, uint32_t startOffset, uint32_t* reached, PageSearch search) {
  int32_t result = TIFReadHeader(file, startOffset);
  if (result != kResultOk) {
    return result;
  }
  *reached = page;
  uint32_t offsetBehindCount = file->directoryOffset + 2;
  result = TIFWalkPages(file, reached, &offsetBehindCount);
  const bool numbered = page != 0 && page != kLastPage;
  if (result == kResultOk && search == PageSearch::kStrict && numbered && *reached != page) {
    return kResultNoSuchPage;
  }
  return result;
}

int32_t Vx_OpenTIF(const char16_t* fileName, TifFile* file, uint32_t size) {
  if (fileName == nullptr || file == nullptr) {
    return kResultNullPointer;
  }
  if (size != sizeof(TifFile)) {
    return kResultStructSize;
  }
  file->structSize = sizeof(TifFile);
  file->fileHandle = krnFileOpen(fileName, kKrnFileRead, kKrnShareRead);
  if (file->fileHandle == kKrnNoHandle) {
    return kResultOpenFailed;
  }
  const int32_t result = TIFReadHeader(file, 0);
  if (result != kResultOk) {
    krnFileClose(file->fileHandle);
  }
  return result;
}

int32_t Vx_CloseTIF(TifFile* file) {
  if (file == nullptr) {
    return kResultNullPointer;
  }
  if (file->structSize != sizeof(TifFile)) {
    return kResultStructSize;
  }
  krnFileClose(file->fileHandle); // a handle that is closed already touches nothing: handles are never used twice
  return kResultOk;
}
