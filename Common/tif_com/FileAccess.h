// Reading of a file's structure: header, values in the file's byte order, the chain of directories. All reading starts
// here; the parts above never touch the on-disk byte order again once they hold a TifFile. Vx_OpenTIF and Vx_CloseTIF
// are here too.
#pragma once

#include <cstdint>

#include <vxtif/rawpage.h>

constexpr uint32_t kSeekFailed = kKrnIoFailed;
constexpr uint32_t kDirEntrySize = 12;
constexpr uint32_t kFirstDirectoryLink = 4;      // file offset of the header's first-directory word
constexpr uint32_t kSmallestDirectoryOffset = 8; // anything below ends a chain
constexpr uint32_t kLastPage = 0xFFFFFFFF;       // page number that stands for the end of the chain

enum class PageSearch { kLenient, kStrict }; // a page past the end: the last one is taken, or kResultNoSuchPage
enum class SwapDirection { kToMemory = 0, kToFile = 1 };

constexpr bool TIFIsLittle(const TifFile* file) {
  return file->byteOrder == kByteOrderLittle; // any other byte counts as big-endian
}

// Values at the current position, in the file's byte order. 1, or 0 on a short read.
int32_t TIFRead16(const TifFile* file, uint16_t* value);
int32_t TIFRead32(const TifFile* file, uint32_t* value);

// One entry in the memory form. 1, or 0 on a short read.
int32_t TIFReadEntry(const TifFile* file, TifDirEntry* entry);

// Brings the value word of an entry from a big-endian file into the memory form; tag, type and count are host numbers.
void TIFNormalizeEntryValue(TifDirEntry* entry);

// Turns an array of big-endian entries into the memory form, or back.
void TIFSwapEntries(TifDirEntry* entries, uint32_t count, SwapDirection direction);

// Seeks to an unsigned offset, in two steps above 0x7FFFFFFF. The new position or kSeekFailed.
uint32_t TIFSeek(VxFileHandle handle, uint32_t offset, uint32_t whence);

// Enters the directory at `offset`. 1, -4, -7, -9.
int32_t TIFReadDirectoryHeader(TifFile* file, uint32_t offset);

// Recognises the header and enters the explicit directory (8 or more) or the header's first. 1, -9, or the code of
// TIFReadDirectoryHeader.
int32_t TIFReadHeader(TifFile* file, uint32_t explicitOffset);

// Walks on from the current directory, which counts as page 1; `page` comes back as the page reached. 1, -4, -7, -9.
int32_t TIFWalkPages(TifFile* file, uint32_t* page, uint32_t* offsetBehindCount);

// Header and walk in one. On 1 the position is just behind the entry count of the page's directory. 1, -4, -7, -9,
// -310.
int32_t TIFSeekPage(TifFile* file, uint32_t page, uint32_t startOffset, uint32_t* reached, PageSearch search);
