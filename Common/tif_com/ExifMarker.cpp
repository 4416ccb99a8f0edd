// The Exif segment of a run of JPEG markers, read into a directory of its own. Only the first such segment counts, and
// only its first directory: the second, with the thumbnail, stays in the block.

#include <vxtif/results.h>

#include "tif_com/ByteOrder.h"
#include "tif_com/Markers.h"

namespace {

constexpr uint8_t kMarkerPrefix = 0xFF;
constexpr uint8_t kMarkerFirstBare = 0xD0; // RST0 to EOI have no length field
constexpr uint8_t kMarkerLastBare = 0xD9;
constexpr uint8_t kMarkerApp1 = 0xE1;
constexpr uint32_t kBareSegment = 2;
constexpr uint32_t kSegmentHead = 4; // prefix, code, length
constexpr uint32_t kExifHead = 10;   // the head, "Exif" and two zero bytes
constexpr uint32_t kExifShortest = 11;
constexpr uint32_t kTiffHeader = 8;
constexpr uint32_t kTiffFirstDirectory = 4;
const char kExifName[5] = {'E', 'x', 'i', 'f', 0};

// The length of the segment at `at`, cut to what is left; 0 for a malformed one.
uint32_t SegmentLength(const uint8_t* at, uint32_t left) {
  const uint8_t code = at[1];
  if (at[0] != kMarkerPrefix || code == 0 || code == kMarkerPrefix) {
    return 0;
  }
  if (code >= kMarkerFirstBare && code <= kMarkerLastBare) {
    return kBareSegment;
  }
  if (left < kSegmentHead) {
    return 0;
  }
  const uint32_t length = LoadU16BE(at + 2) + 2u;
  if (length < kSegmentHead) {
    return 0;
  }
  return length < left ? length : left;
}

bool IsExif(const uint8_t* at, uint32_t length) {
  return at[1] == kMarkerApp1 && length >= kExifShortest &&
         krnMemCompare(at + kSegmentHead, kExifName, sizeof kExifName) == 0;
}

// The directory of a TIFF stream in memory. Neither the second order byte nor the version word are looked at.
TifDirectory* ReadStream(const uint8_t* stream, uint32_t bytes) {
  if (bytes < kTiffHeader) {
    return nullptr;
  }
  TifFile file = {};
  VxMemFile memory = nullptr;
  VxFileHandle handle = kKrnNoHandle;
  if (krnMemFileOpen(&memory, &handle, kKrnMemFileRead, const_cast<uint8_t*>(stream), bytes) != 1) {
    return nullptr;
  }
  file.fileHandle = handle;
  file.fileSize = bytes;
  file.byteOrder = stream[0];
  const uint8_t* word = stream + kTiffFirstDirectory;
  file.directoryOffset = stream[0] == kByteOrderLittle ? LoadU32LE(word) : LoadU32BE(word);
  TifDirectory* directory = TIFReadDirectory(&file, kDirMain, TreeSource::kMemoryFile);
  krnMemFileClose(memory, 0, nullptr);
  return directory;
}

} // namespace

int32_t TIFReadExifMarker(const TifMarkerBlock* markers, TifDirectory** out) {
  *out = nullptr;
  if (markers == nullptr || LoadU32LE(markers) != kMarkerMagic || markers->size == 0) {
    return kResultOk;
  }
  const auto* at = reinterpret_cast<const uint8_t*>(markers) + sizeof(TifMarkerBlock);
  uint32_t left = markers->size;
  while (left >= kBareSegment) {
    const uint32_t length = SegmentLength(at, left);
    if (length == 0) {
      return kResultInvalidParameter;
    }
    if (IsExif(at, length)) {
      *out = ReadStream(at + kExifHead, length - kExifHead);
      return kResultOk;
    }
    at += length;
    left -= length;
  }
  return kResultOk;
}
