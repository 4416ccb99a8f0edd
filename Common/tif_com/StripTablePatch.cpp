// Patches of a directory that is already on disk, made by the savers once the strips are written: their true sizes, and
// the codes of the variant file's strips. See TagAccess.h.

#include <algorithm>

#include "tif_com/FileAccess.h"
#include "tif_com/PageChain.h"
#include "tif_com/TagAccess.h"
#include "tif_com/TagBlocks.h"
#include "tif_com/Tags.h"

namespace {

constexpr uint32_t kWordBytes = 4;
constexpr uint32_t kCountWordBytes = 2;
constexpr int32_t kValueWordsBytes = 8; // count and value of an entry, behind its tag and type
constexpr uint32_t kWordsAtOnce = 1024;

// Codes of tag 33466. Up to two strips they stand in the value word with the meanings exchanged; readers expect that.
constexpr uint16_t kCodePlain = 4;
constexpr uint16_t kCodePacked = 1;

bool EnterEntries(const TifFile* file) {
  const uint32_t place = file->directoryOffset + kCountWordBytes;
  return TIFSeek(file->fileHandle, place, kKrnSeekSet) == place;
}

bool ReadTagAndType(const TifFile* file, uint16_t* tag) {
  uint16_t type = 0;
  return TIFRead16(file, tag) != 0 && TIFRead16(file, &type) != 0;
}

bool SkipValueWords(const TifFile* file) {
  return krnFileSeek(file->fileHandle, kValueWordsBytes, kKrnSeekCurrent) != kSeekFailed;
}

// The offsets of strips that lie one behind the other, the first one `offset`.
bool WriteRunningOffsets(const TifFile* file, uint32_t offset, const uint32_t* byteCounts, uint32_t n) {
  uint32_t words[kWordsAtOnce];
  for (uint32_t done = 0; done < n;) {
    const uint32_t piece = std::min(n - done, kWordsAtOnce);
    for (uint32_t i = 0; i < piece; ++i) {
      words[i] = offset;
      offset += byteCounts[done + i];
    }
    if (TIFWriteLongArray(file, words, piece) != kResultOk) {
      return false;
    }
    done += piece;
  }
  return true;
}

// With the position behind tag and type of the offsets' entry. A single offset stands in the entry and is right
// already.
bool PatchOffsets(const TifFile* file, const uint32_t* byteCounts, uint32_t n) {
  uint32_t count = 0;
  uint32_t table = 0;
  if (TIFRead32(file, &count) == 0 || TIFRead32(file, &table) == 0) {
    return false;
  }
  if (n == 1) {
    return true;
  }
  const uint32_t back = krnFileSeek(file->fileHandle, 0, kKrnSeekCurrent);
  if (back == kSeekFailed || TIFSeek(file->fileHandle, table, kKrnSeekSet) == kSeekFailed) {
    return false;
  }
  // The table of offsets is followed by that of byte counts, and then by the strips.
  return WriteRunningOffsets(file, table + n * 2 * kWordBytes, byteCounts, n) &&
         TIFSeek(file->fileHandle, back, kKrnSeekSet) != kSeekFailed;
}

// With the position behind tag and type of the byte counts' entry.
bool PatchByteCounts(const TifFile* file, const uint32_t* byteCounts, uint32_t n) {
  uint32_t count = 0;
  if (TIFRead32(file, &count) == 0) {
    return false;
  }
  if (n == 1) {
    return TIFWrite32(file, byteCounts[0]) != 0;
  }
  uint32_t table = 0;
  return TIFRead32(file, &table) != 0 && TIFSeek(file->fileHandle, table, kKrnSeekSet) != kSeekFailed &&
         TIFWriteLongArray(file, byteCounts, n) == kResultOk;
}

bool WriteCodes(const TifFile* file, const uint8_t* flags, uint32_t n) {
  for (uint32_t i = 0; i < n; ++i) {
    if (TIFWrite16(file, flags[i] != 0 ? kCodePacked : kCodePlain) == 0) {
      return false;
    }
  }
  return true;
}

bool WriteInlineCodes(const TifFile* file, const uint8_t* flags, uint32_t n) {
  const bool second = n > 1 && flags[1] != 0;
  return TIFWrite16(file, flags[0] != 0 ? kCodePlain : kCodePacked) != 0 &&
         TIFWrite16(file, second ? kCodePlain : kCodePacked) != 0;
}

// Leaves the position behind tag and type of the entry.
bool FindEntryOnDisk(const TifFile* file, uint16_t wanted) {
  if (!EnterEntries(file)) {
    return false;
  }
  for (uint32_t i = 0; i < file->entryCount; ++i) {
    uint16_t tag = 0;
    if (!ReadTagAndType(file, &tag)) {
      return false;
    }
    if (tag == wanted) {
      return true;
    }
    if (!SkipValueWords(file)) {
      return false;
    }
  }
  return false;
}

} // namespace

int32_t TIFPatchStripTables(TifFile* file, const uint32_t* byteCounts, int32_t n) {
  if (!EnterEntries(file)) {
    return kResultRefused;
  }
  const auto strips = static_cast<uint32_t>(std::max(n, 0));
  for (uint32_t i = 0; i < file->entryCount; ++i) {
    uint16_t tag = 0;
    if (!ReadTagAndType(file, &tag)) {
      return kResultRefused;
    }
    if (tag == kTagStripByteCounts || tag == kTagTileByteCounts) {
      // The offsets have the lower number, so they have been met before.
      return PatchByteCounts(file, byteCounts, strips) ? kResultOk : kResultRefused;
    }
    const bool isOffsets = tag == kTagStripOffsets || tag == kTagTileOffsets;
    if (!(isOffsets ? PatchOffsets(file, byteCounts, strips) : SkipValueWords(file))) {
      return kResultRefused;
    }
  }
  return kResultOk;
}

int32_t TIFPatchStripCompressions(TifFile* file, const uint8_t* flags, uint32_t n) {
  if (std::all_of(flags, flags + n, [](uint8_t flag) { return flag == 0; })) {
    return kResultOk;
  }
  uint32_t table = 0;
  if (n > 2) {
    table = krnFileSeek(file->fileHandle, 0, kKrnSeekEnd);
    if (table == kSeekFailed) {
      return kResultSeekFailed;
    }
    if (!WriteCodes(file, flags, n)) {
      return krnWriteError(kResultWriteFailed);
    }
  }
  if (!FindEntryOnDisk(file, kTagPrivateStripCompression)) {
    return kResultSeekFailed;
  }
  const bool written =
      TIFWrite32(file, n) != 0 && (n > 2 ? TIFWrite32(file, table) != 0 : WriteInlineCodes(file, flags, n));
  return written ? kResultOk : krnWriteError(kResultWriteFailed);
}
