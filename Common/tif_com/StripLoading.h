// The image data of a directory in memory: strips, and the old-style JPEG stream. With it a page is independent of the
// file that it was read from; tiles stay there. Called by the directory reader once all entries are in.
#pragma once

#include <cstdint>

#include "tif_com/TagClass.h"

// Bytes that a tree may still load, so that values which share their bytes cannot fill the memory: false, with nothing
// taken, when `blocks` blocks of `bytes` bytes together have no room. A block costs somewhat more than its bytes.
inline bool TIFTakeRoom(uint64_t* room, uint64_t bytes, uint64_t blocks) {
  constexpr uint64_t kBlockOverhead = 80;
  const uint64_t needed = bytes + blocks * kBlockOverhead; // of 32-bit numbers, or sums of them: no overflow
  if (needed > *room) {
    return false;
  }
  *room -= needed;
  return true;
}

// Loads the stream of tags 513 and 514 into the record of 513, whose count becomes the stream's bytes. False when it is
// there and cannot be read.
bool TIFLoadJpegStream(const TifFile* file, TifDirectory* directory, uint64_t* room);

// Whether several strips are loaded whatever they hold, or stay in the file where the tree writer makes the same of
// them there.
enum class SeveralStrips { kLoad, kLeaveWherePossible };

// Loads the strips of tags 273 and 279 in host order. False when they make the directory unreadable; strips that stay
// in the file are no failure.
bool TIFLoadStrips(const TifFile* file, TifDirectory* directory, TifDirKind kind, SeveralStrips several,
                   uint64_t* room);

// Whether the page holds uncompressed 16-bit samples, which take the byte order of the file that they stand in.
bool TIFHasPlain16BitSamples(TifTagRecord* records, uint32_t n);

// Bytes of a sample, for the swapping of raw strips: 1 for compressed data and where nothing is known.
uint32_t TIFSampleBytes(TifDirectory* directory);
