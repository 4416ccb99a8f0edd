// Appending of entries and out-of-line values to a directory that is being built.

#include "Tifutil/DirectoryEntries.h"

#include <algorithm>

#include <vxtif/results.h>

#include "tif_com/ByteOrder.h"
#include "tif_com/Comments.h"
#include "tif_com/FileAccess.h"
#include "tif_com/PageChain.h"
#include "tif_com/Tags.h"

namespace {

// Words on their way to the file, swapped into its byte order in pieces.
constexpr uint32_t kWordsAtOnce = 256;

} // namespace

void TIFAddEntry(DirectoryBuild* build, uint16_t tag, uint16_t type, uint32_t count, uint32_t value) {
  if (build->used == build->plan.entryCount) {
    return; // never past the room that the counting reserved
  }
  build->entries[build->used++] = TifDirEntry{tag, type, count, value};
}

void TIFAddShort(DirectoryBuild* build, uint16_t tag, uint32_t value) {
  TIFAddEntry(build, tag, kTypeShort, 1, value & 0xFFFF);
}

void TIFAddLong(DirectoryBuild* build, uint16_t tag, uint32_t value) {
  TIFAddEntry(build, tag, kTypeLong, 1, value);
}

void TIFAddShortPair(DirectoryBuild* build, uint16_t tag, uint32_t first, uint32_t second) {
  TIFAddEntry(build, tag, kTypeShort, 2, (first & 0xFFFF) | (second << 16));
}

void TIFAddText(DirectoryBuild* build, uint16_t tag) {
  const TifCommentBlock* comments = build->job->comments;
  if (comments == nullptr) {
    return;
  }
  uint32_t slot = 0;
  while (kMainCommentTags[slot] != tag) {
    ++slot;
  }
  const void* text = comments->slots[slot].data;
  const uint32_t size = comments->slots[slot].size;
  if (text == nullptr) {
    return;
  }
  if (size <= kInlineBytes) {
    uint8_t word[kInlineBytes] = {};
    krnMemCopy(word, text, size);
    TIFAddEntry(build, tag, kTypeAscii, size, LoadU32LE(word));
    return;
  }
  TIFAddEntry(build, tag, kTypeAscii, size, build->position);
  TIFPutBytes(build, text, size);
  if (size % 2 != 0) {
    TIFPutBytes(build, "", 1); // every following value stays even
  }
}

void TIFPutBytes(DirectoryBuild* build, const void* bytes, uint32_t count) {
  krnFileWrite(build->file->fileHandle, bytes, count);
  build->position += count;
}

void TIFPutShorts(DirectoryBuild* build, const uint16_t* values, uint32_t count) {
  uint8_t bytes[kWordsAtOnce * 2];
  while (count > 0) {
    const uint32_t now = std::min(count, kWordsAtOnce);
    for (uint32_t i = 0; i < now; ++i) {
      StoreU16LE(bytes + 2 * i, TIFIsLittle(build->file) ? values[i] : Swap16(values[i]));
    }
    TIFPutBytes(build, bytes, now * 2);
    values += now;
    count -= now;
  }
}

void TIFPutLongs(DirectoryBuild* build, const uint32_t* values, uint32_t count) {
  uint8_t bytes[kWordsAtOnce * 4];
  while (count > 0) {
    const uint32_t now = std::min(count, kWordsAtOnce);
    for (uint32_t i = 0; i < now; ++i) {
      StoreU32LE(bytes + 4 * i, TIFIsLittle(build->file) ? values[i] : Swap32(values[i]));
    }
    TIFPutBytes(build, bytes, now * 4);
    values += now;
    count -= now;
  }
}

int32_t TIFTakePosition(DirectoryBuild* build) {
  const uint32_t position = krnFileSeek(build->file->fileHandle, 0, kKrnSeekCurrent);
  if (position == kSeekFailed) {
    return kResultSeekFailed;
  }
  build->position = position;
  if (position % 2 != 0) {
    TIFPutBytes(build, "", 1); // a JPEG stream at the end of a maker note is not padded
  }
  return kResultOk;
}
