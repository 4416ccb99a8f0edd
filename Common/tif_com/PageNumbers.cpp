// The two tags in which pages know of each other: PageNumber (297) follows the chain when a page comes or goes, and
// NewSubfileType (254) marks the neighbours of a new page as pages of a multi-page file. Given an open file, these
// patch single value words where they stand. Page insertion and deletion use them.

#include "tif_com/ByteOrder.h"
#include "tif_com/FileAccess.h"
#include "tif_com/PageChain.h"
#include "tif_com/Tags.h"

namespace {

constexpr uint32_t kValueWordSize = 4;
constexpr uint32_t kDirectoryFrame = 6;      // entry count and next word
constexpr uint32_t kSubfilePageOfMany = 0x2; // bit 1 of tag 254
constexpr uint32_t kPageNumberValues = 2;

// From behind an entry to its value word.
bool SeekBackToValue(const TifFile* file) {
  return krnFileSeek(file->fileHandle, -static_cast<int32_t>(kValueWordSize), kKrnSeekCurrent) != kSeekFailed;
}

// Writes the number and clears the total beside it, which nothing keeps up to date.
int32_t WritePageNumber(const TifFile* file, int64_t number) {
  uint8_t word[kValueWordSize] = {};
  const auto stored = static_cast<uint16_t>(number < 0 ? 0 : number);
  if (TIFIsLittle(file)) {
    StoreU16LE(word, stored);
  } else {
    StoreU16BE(word, stored);
  }
  if (!SeekBackToValue(file)) {
    return kResultSeekFailed;
  }
  const bool written = krnFileWrite(file->fileHandle, word, kValueWordSize) == kValueWordSize;
  return written ? static_cast<int32_t>(kResultOk) : krnWriteError(kResultWriteFailed);
}

} // namespace

int32_t TIFFindTag(const TifFile* file, TifDirEntry* entry, uint16_t tag) {
  const uint32_t count = file->entryCount;
  for (uint32_t i = 0; i < count; ++i) {
    if (TIFReadEntry(file, entry) == 0) {
      return kResultReadFailed;
    }
    if (entry->tag == tag) {
      return kResultOk;
    }
  }
  return kResultTagNotFound;
}

int32_t TIFFindTagAt(TifFile* file, uint32_t directory, TifDirEntry* entry, uint16_t tag) {
  const int32_t result = TIFReadDirectoryHeader(file, directory);
  if (result != kResultOk) {
    return result;
  }
  const uint64_t end = uint64_t{directory} + kDirectoryFrame + uint64_t{kDirEntrySize} * file->entryCount;
  if (end > file->fileSize) {
    return kResultNotTiff;
  }
  return TIFFindTag(file, entry, tag);
}

int32_t TIFAdjustPageNumber(TifFile* file, uint32_t directory, int32_t delta) {
  TifDirEntry entry;
  int32_t result = TIFFindTagAt(file, directory, &entry, kTagPageNumber);
  if (result != kResultOk) {
    return result;
  }
  if (entry.type == kTypeShort && entry.count == kPageNumberValues) {
    result = WritePageNumber(file, int64_t{entry.value & 0xFFFF} + delta);
    if (result != kResultOk) {
      return result;
    }
  }
  TIFSeek(file->fileHandle, directory + 2 + kDirEntrySize * file->entryCount, kKrnSeekSet);
  return kResultOk;
}

int32_t TIFRenumberPages(TifFile* file, uint32_t skipOffset, uint32_t skipTo, int32_t delta) {
  if (TIFSeek(file->fileHandle, kFirstDirectoryLink, kKrnSeekSet) != kFirstDirectoryLink) {
    return kResultReadFailed;
  }
  int32_t effectiveDelta = 0; // pages in front of the change pass with 0
  for (;;) {
    uint32_t word = 0;
    if (TIFRead32(file, &word) == 0) {
      return kResultReadFailed;
    }
    if (word == skipOffset && word >= kSmallestDirectoryOffset) {
      if (skipTo == skipOffset) {
        return kResultReadFailed; // a page that is its own successor: nothing stands behind it
      }
      word = skipTo;
      effectiveDelta = delta;
    }
    if (word < kSmallestDirectoryOffset || uint64_t{word} + kDirectoryFrame >= file->fileSize) {
      return kResultOk;
    }
    const int32_t result = TIFAdjustPageNumber(file, word, effectiveDelta);
    if (result != kResultOk && result != kResultTagNotFound) {
      return result;
    }
  }
}

int32_t TIFMarkMultiPage(const TifFile* file, uint32_t directory) {
  if (directory < kSmallestDirectoryOffset) {
    return kResultOk;
  }
  TifFile copy = *file;
  TifDirEntry entry;
  const int32_t result = TIFFindTagAt(&copy, directory, &entry, kTagNewSubfileType);
  if (result != kResultOk) {
    return result;
  }
  if (entry.type != kTypeLong || entry.count != 1 || (entry.value & kSubfilePageOfMany) != 0) {
    return kResultOk;
  }
  const bool written = SeekBackToValue(&copy) && TIFWrite32(&copy, entry.value | kSubfilePageOfMany) == 1;
  return written ? static_cast<int32_t>(kResultOk) : krnWriteError(kResultWriteFailed);
}
