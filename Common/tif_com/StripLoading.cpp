// The image data of a directory in memory. See the header.

#include "tif_com/StripLoading.h"

#include <vxtif/results.h>

#include "tif_com/ByteOrder.h"
#include "tif_com/FileAccess.h"
#include "tif_com/TagBlocks.h"

namespace {

TifTagRecord* Find(TifDirectory* directory, uint16_t tag) {
  return TIFFindRecord(directory->records, directory->entryCount, tag, nullptr);
}

uint32_t BytesOfBits(uint32_t bits) {
  return (bits + 7) / 8;
}

// Strip data has no field type of its own: samples are swapped as shorts or as longs.
uint32_t SwapTypeOfWidth(uint32_t width) {
  switch (width) {
  case 1:
    return kTypeUndefined;
  case 2:
    return kTypeShort;
  default:
    return kTypeLong;
  }
}

// The byte counts are taken as 32-bit words, so only a table of such words serves.
bool HoldsLongs(const TifTagRecord* record) {
  return TIFTypeSize(record->type) == sizeof(uint32_t);
}

uint64_t SumOf(const TifTagRecord* counts) {
  uint64_t sum = 0;
  for (uint32_t i = 0; i < counts->count; ++i) {
    sum += LoadU32LE(static_cast<const uint8_t*>(counts->data) + size_t{4} * i);
  }
  return sum;
}

// Whether the tree writer makes the same bytes of strips that it finds in the file as of loaded ones. It brings 16-bit
// samples into the target's order either way, and no others. Only the loading takes offsets for 32-bit words whatever
// their type.
bool GoOutAsLoaded(const TifFile* file, TifDirectory* directory, const TifTagRecord* offsets, uint32_t width) {
  const bool has16Bit = TIFHasPlain16BitSamples(directory->records, directory->entryCount);
  return HoldsLongs(offsets) && (TIFIsLittle(file) || width == (has16Bit ? 2 : 1));
}

bool LoadSeveralStrips(const TifFile* file, TifTagRecord* offsets, const TifTagRecord* counts, uint32_t width,
                       bool leave, uint64_t* room) {
  if ((counts->storage & kStorageKindMask) != kStorageBlock || counts->count != offsets->count) {
    return false; // two SHORT byte counts stand inline and end here too
  }
  if (HoldsLongs(counts) && !leave && TIFTakeRoom(room, SumOf(counts), counts->count)) {
    // Strips that cannot be loaded stay in the file, where the tree writer fetches them.
    (void)TIFLoadTagBlocks(file, offsets, static_cast<const uint32_t*>(counts->data), SwapTypeOfWidth(width), width);
  }
  return true;
}

} // namespace

bool TIFLoadJpegStream(const TifFile* file, TifDirectory* directory, uint64_t* room) {
  const TifTagRecord* const length = Find(directory, kTagJpegInterchangeFormatLength);
  TifTagRecord* const stream = Find(directory, kTagJpegInterchangeFormat);
  if (length == nullptr || stream == nullptr) {
    return true;
  }
  stream->count = length->value;
  return TIFTakeRoom(room, stream->count, 1) &&
         TIFLoadTagBlock(file, kTypeUndefined, stream->count, stream->value, stream->count, stream) != 0;
}

bool TIFLoadStrips(const TifFile* file, TifDirectory* directory, TifDirKind kind, SeveralStrips several,
                   uint64_t* room) {
  if (kind != kDirMain && kind != kDirMainLike) {
    return true;
  }
  const TifTagRecord* const counts = Find(directory, kTagStripByteCounts);
  TifTagRecord* const offsets = Find(directory, kTagStripOffsets);
  if (counts == nullptr || offsets == nullptr) {
    return true;
  }
  const uint32_t width = TIFSampleBytes(directory);
  if (offsets->count != 1) {
    const bool leave = several == SeveralStrips::kLeaveWherePossible && GoOutAsLoaded(file, directory, offsets, width);
    return LoadSeveralStrips(file, offsets, counts, width, leave, room);
  }
  const uint32_t byteCount = counts->value;
  return TIFTakeRoom(room, byteCount, 1) &&
         TIFLoadTagBlock(file, SwapTypeOfWidth(width), byteCount / width, offsets->value, byteCount, offsets) != 0;
}

uint32_t TIFSampleBytes(TifDirectory* directory) {
  const TifTagRecord* const compression = Find(directory, kTagCompression);
  if (compression != nullptr && compression->value != kCompressionNone) {
    return 1;
  }
  const TifTagRecord* const bits = Find(directory, kTagBitsPerSample);
  if (bits == nullptr) {
    return 1;
  }
  uint32_t bytes = 1;
  if (bits->count == 1) {
    bytes = BytesOfBits(bits->value);
  } else if (bits->count == 2 && bits->type == kTypeShort) {
    bytes = BytesOfBits(bits->value & 0xFFFF);
  } else if (bits->data != nullptr) {
    bytes = BytesOfBits(bits->type == kTypeShort ? LoadU16LE(bits->data) : LoadU32LE(bits->data));
  }
  return bytes != 0 ? bytes : 1; // a depth of 0 must not divide
}

bool TIFHasPlain16BitSamples(TifTagRecord* records, uint32_t n) {
  const TifTagRecord* const compression = TIFFindRecord(records, n, kTagCompression, nullptr);
  const TifTagRecord* const bits = TIFFindRecord(records, n, kTagBitsPerSample, nullptr);
  if (compression == nullptr || compression->value != kCompressionNone || bits == nullptr || bits->type != kTypeShort) {
    return false;
  }
  if (bits->count <= 2) {
    return (bits->value & 0xFFFF) == 16;
  }
  return bits->data != nullptr && LoadU16LE(bits->data) == 16;
}
