// The tags that settle the layout of samples, and the sizes of delivered rows.

#include "toolkit/SampleLayout.h"

#include <algorithm>

#include "toolkit/RawDirectories.h"

#include <vxtif/metadata.h>
#include <vxtif/rawpage.h>

namespace toolkit {
namespace {

enum Tag : uint16_t {
  kImageWidth = 256,
  kImageLength = 257,
  kBitsPerSample = 258,
  kCompression = 259,
  kPhotometric = 262,
  kStripOffsets = 273,
  kOrientation = 274,
  kSamplesPerPixel = 277,
  kStripByteCounts = 279,
  kMinSampleValue = 280,
  kMaxSampleValue = 281,
  kPlanarConfiguration = 284,
  kColorMap = 320,
  kTileOffsets = 324,
  kTileByteCounts = 325,
  kExtraSamples = 338,
  kSampleFormat = 339,
  kYCbCrSubSampling = 530,
  kPrivateRotation = 33465,
  kPrivateCompression = 33466,
  kPrivateDirectory = 50234,
  kPrivateSizePair = 50235
};

enum Photometric : uint32_t { kBlackIsZero = 1, kRgb = 2, kCmyk = 5, kYCbCr = 6 };
enum Compression : uint32_t { kRunLength = 2, kGroup4 = 4, kLzw = 5, kPackBits = 32773, kStoredSize = 34713 };

// The parse of one directory.
struct Reader {
  VxFileHandle file;
  bool bigEndian = false;
  bool forceRgb = false;
  SampleLayout layout = {};
  uint32_t samplesPerPixelTag = 0;
  uint32_t planar = 0;
  uint32_t stripCount = 0;
  bool inStrips = false;
  uint32_t toneOffset = 0; // of the block of tag 50234; 0 without

  void AppendSample(uint32_t bits) {
    if (layout.samplesPerPixel < kMaxSamples) {
      layout.bitsPerSample[layout.samplesPerPixel] = bits;
    }
    ++layout.samplesPerPixel;
    layout.totalBits += bits;
  }

  void FillSamples() {
    while (layout.samplesPerPixel < samplesPerPixelTag && layout.samplesPerPixel < kMaxSamples) {
      AppendSample(layout.bitsPerSample[0]);
    }
  }

  bool TakeBits(const DirectoryEntry& entry);
  bool Take(const DirectoryEntry& entry);
  void Finish();
  bool BlockHasToneTable() const;
};

bool Reader::TakeBits(const DirectoryEntry& entry) {
  if (entry.count <= 1) {
    layout.samplesPerPixel = entry.count;
    layout.totalBits = entry.value;
    layout.bitsPerSample[0] = entry.value;
    FillSamples();
    return true;
  }
  layout.totalBits = 0;
  layout.samplesPerPixel = 0;
  const bool inlineShorts = entry.type == kTypeShort && entry.count == 2;
  const bool inlineBytes = entry.type == kTypeByte && entry.count <= 4;
  if (!inlineShorts && !inlineBytes && entry.count > kMaxSamples) {
    return false;
  }
  const uint32_t size = entry.type == kTypeShort ? 2 : inlineBytes ? 1 : 4;
  uint8_t values[4 * kMaxSamples] = {};
  if (inlineShorts || inlineBytes) {
    std::copy(entry.raw, entry.raw + 4, values);
  } else if (!ReadFileAt(file, entry.value, values, size * entry.count)) {
    return false;
  }
  for (uint32_t i = 0; i < entry.count; ++i) {
    const uint8_t* bytes = values + i * size;
    const uint32_t bits = size == 1   ? bytes[0]
                          : size == 2 ? LoadFileWord(bytes, bigEndian)
                                      : LoadFileLong(bytes, bigEndian);
    AppendSample(bits == 0 ? 8 : bits);
  }
  // Three out-of-line samples of 5 bits stand in 16-bit words.
  if (!inlineShorts && !inlineBytes && layout.totalBits == 15) {
    layout.totalBits = 16;
  }
  FillSamples();
  return true;
}

bool Reader::Take(const DirectoryEntry& entry) {
  const bool oneNumber = entry.count == 1 && (entry.type == kTypeShort || entry.type == kTypeLong ||
                                              entry.type == kTypeSShort || entry.type == kTypeSLong);
  switch (entry.tag) {
  case kImageWidth:
    layout.width = static_cast<int32_t>(entry.value);
    break;
  case kImageLength:
    layout.height = static_cast<int32_t>(entry.value);
    break;
  case kBitsPerSample:
    return TakeBits(entry);
  case kCompression:
    layout.compression = entry.value;
    if (entry.value >= kRunLength && entry.value <= kGroup4) {
      layout.totalBits = 1;
      layout.samplesPerPixel = 1;
      layout.bitsPerSample[0] = 1;
    }
    break;
  case kPhotometric:
    layout.photometric = forceRgb ? uint32_t{kRgb} : entry.value;
    break;
  case kStripOffsets:
  case kStripByteCounts:
    inStrips = true;
    stripCount = entry.count;
    break;
  case kTileOffsets:
  case kTileByteCounts:
    stripCount = inStrips ? stripCount : entry.count;
    break;
  case kOrientation:
  case kPrivateRotation: {
    static constexpr uint32_t kRotations[] = {1, 8, 3, 6};
    const uint32_t view = entry.tag == kPrivateRotation && entry.value < 4 ? kRotations[entry.value] : entry.value;
    layout.orientation = static_cast<uint32_t>(std::clamp(static_cast<int32_t>(view), 1, 8));
    break;
  }
  case kSamplesPerPixel:
    samplesPerPixelTag = std::min<uint32_t>(entry.value, kMaxSamples);
    if (layout.bitsPerSample[0] <= 8) {
      FillSamples();
    }
    break;
  case kMinSampleValue:
    layout.minSample = oneNumber ? entry.value : layout.minSample;
    break;
  case kMaxSampleValue:
    layout.maxSample = oneNumber ? entry.value : layout.maxSample;
    break;
  case kPlanarConfiguration:
    planar = entry.value;
    break;
  case kColorMap:
    layout.hasColorMap = (entry.type == kTypeShort ? entry.count & 0xFFFF : entry.count) >= 3;
    break;
  case kExtraSamples:
    if (entry.count > layout.samplesPerPixel) {
      return false;
    }
    layout.extraSampleCount = entry.count;
    layout.extraBits = 0;
    for (uint32_t i = layout.samplesPerPixel - entry.count; i < std::min<uint32_t>(layout.samplesPerPixel, kMaxSamples);
         ++i) {
      layout.extraBits += layout.bitsPerSample[i];
    }
    break;
  case kSampleFormat:
    if (entry.type == kTypeShort || entry.count == 1) {
      layout.sampleFormat = entry.value & 0xFFFF;
    }
    break;
  case kYCbCrSubSampling:
    layout.subSampleHoriz = entry.value & 0xFFFF;
    layout.subSampleVert = entry.value >> 16;
    break;
  case kPrivateCompression:
    layout.compression = entry.count == 1 ? entry.value : uint32_t{kGroup4};
    break;
  case kPrivateDirectory:
    toneOffset = entry.value;
    break;
  case kPrivateSizePair:
    if (entry.type == kTypeShort && entry.count == 2) {
      layout.hasStoredSize = (entry.value & 0xFFFF) != 0 && entry.value >> 16 != 0;
    }
    break;
  default:
    break;
  }
  return true;
}

// What follows from all tags together.
void Reader::Finish() {
  uint32_t depth = layout.totalBits - layout.extraBits;
  if (layout.photometric == kCmyk) {
    depth -= layout.bitsPerSample[0];
  }
  if (layout.photometric != kYCbCr) {
    layout.subSampleHoriz = 1;
    layout.subSampleVert = 1;
  }
  if (depth == 24 && layout.extraBits >= 8) {
    layout.extraBits -= 8;
    depth = 32;
  } else if (depth == 48 && layout.extraBits >= 16) {
    layout.extraBits -= 16;
    depth = 64;
  }
  if (depth == 32 && layout.samplesPerPixel == 1 && layout.photometric > kBlackIsZero) {
    layout.photometric = kBlackIsZero;
  }
  layout.bitsPerPixel = depth;
  layout.parsedPhotometric = layout.photometric;
  layout.separatePlanes = planar == 2 && layout.photometric != kYCbCr && layout.samplesPerPixel != 1 && stripCount != 1;
  // Grey stands where colours would need a map, or more bits.
  const bool grayDepth = depth == 8 || (depth == 4 && layout.photometric != kCmyk);
  if (grayDepth && !layout.hasColorMap && layout.photometric > kBlackIsZero) {
    layout.photometric = kBlackIsZero;
  }
}

// A sub-entry 2 of type BYTE. The block is little-endian in every file.
bool Reader::BlockHasToneTable() const {
  constexpr uint32_t kToneTable = 2;
  constexpr uint32_t kMostSubEntries = 16;
  uint8_t count[2];
  if (toneOffset == 0 || !ReadFileAt(file, toneOffset, count, sizeof count)) {
    return false;
  }
  for (uint32_t i = 0; i < std::min<uint32_t>(LoadFileWord(count, false), kMostSubEntries); ++i) {
    uint8_t entry[12];
    if (krnFileRead(file, entry, sizeof entry) != sizeof entry) {
      return false;
    }
    if (LoadFileWord(entry, false) == kToneTable) {
      return LoadFileWord(entry + 2, false) == kTypeByte;
    }
  }
  return false;
}

size_t BytesOfBits(uint64_t bits) {
  return static_cast<size_t>((bits + 7) / 8);
}

bool IsFax(const SampleLayout& layout) {
  return layout.compression >= kRunLength && layout.compression <= kGroup4;
}

bool IsDecodedHere(const SampleLayout& layout) {
  return layout.compression == 1 || layout.compression == kLzw || layout.compression == kPackBits;
}

// Separate planes come merged. Colours of 8 and 16 bits of CMYK planes are converted to three, with or without alpha.
size_t MergedRowBytes(const SampleLayout& layout, uint64_t width, uint32_t bitmapDepth) {
  const uint32_t colours = layout.parsedPhotometric == kCmyk ? 4 : 3;
  const uint32_t alpha = layout.samplesPerPixel > colours && bitmapDepth == 32 ? 1 : 0;
  const uint32_t bits = layout.bitsPerSample[0];
  const bool converted = layout.parsedPhotometric == kCmyk && bitmapDepth != 4 && (bits == 8 || bits == 16);
  const uint32_t samples = (converted ? 3 : colours) + alpha;
  return BytesOfBits(uint64_t{samples} * bits * width);
}

// What the row stage and the second passes of a load give of a row.
size_t AssembledRowBytes(const SampleLayout& layout, uint64_t width, uint32_t bitmapDepth, bool keepAlpha) {
  const size_t fileRow = BytesOfBits(layout.totalBits * width);
  if (layout.separatePlanes) {
    return MergedRowBytes(layout, width, bitmapDepth);
  }
  if (layout.bitsPerSample[0] == 32) {
    return static_cast<size_t>(4 * width);
  }
  if (layout.photometric == kYCbCr) {
    return static_cast<size_t>(3 * width);
  }
  if (keepAlpha && CanKeepAlpha(layout)) {
    return static_cast<size_t>(4 * width);
  }
  size_t rowBytes = fileRow;
  if (layout.extraBits != 0 && layout.extraBits % 8 == 0 && layout.totalBits % 8 == 0) {
    const uint32_t keep = (layout.totalBits - layout.extraBits) / 8;
    if ((keep >= 1 && keep <= 4) || keep == 6 || keep == 8) {
      rowBytes = static_cast<size_t>(keep * width);
    }
  }
  if (layout.photometric == kCmyk) {
    const uint32_t samples = layout.bitsPerPixel == 32 || layout.bitsPerPixel == 64 ? 4 : 3;
    const uint32_t bytesPerSample = layout.bitsPerSample[0] == 16 ? 2 : 1;
    rowBytes = std::min(fileRow, static_cast<size_t>(samples * bytesPerSample * width));
  }
  return rowBytes;
}

} // namespace

std::optional<SampleLayout> ReadSampleLayout(VxFileHandle file, uint32_t directoryOffset, bool forceRgb) {
  const std::optional<DirectoryEntries> directory = ReadDirectoryEntries(file, directoryOffset);
  if (!directory) {
    return std::nullopt;
  }
  Reader reader = {.file = file};
  reader.bigEndian = directory->bigEndian;
  reader.forceRgb = forceRgb;
  reader.layout.version = directory->version;
  if (reader.layout.version == kTifVersionVariant) {
    reader.layout.compression = kGroup4;
  }
  for (const DirectoryEntry& entry : directory->entries) {
    if (!reader.Take(entry)) {
      return std::nullopt;
    }
  }
  reader.Finish();
  reader.layout.hasToneTable = reader.BlockHasToneTable();
  return reader.layout;
}

bool CanKeepAlpha(const SampleLayout& layout) {
  return layout.totalBits == 16 && layout.extraBits == 8 && layout.bitsPerPixel == 8;
}

size_t RowBytesOf(const SampleLayout& layout, uint32_t bitmapDepth, bool keepAlpha) {
  const uint64_t width = layout.width > 0 ? static_cast<uint64_t>(layout.width) : 0;
  if (IsFax(layout) || (layout.compression == kStoredSize && layout.hasStoredSize)) {
    return BytesOfBits(width);
  }
  const size_t rowBytes = AssembledRowBytes(layout, width, bitmapDepth, keepAlpha);
  // Rows of a sibling are as deep as the bitmap, but for pages whose rows are put together here all the same.
  return IsDecodedHere(layout) ? rowBytes : std::min(rowBytes, BytesOfBits(bitmapDepth * width));
}

size_t RowStrideOf(const SampleLayout& layout, uint32_t bitmapDepth, bool keepAlpha) {
  if (IsDecodedHere(layout) && layout.photometric == kYCbCr && layout.width > 0) {
    // The conversion sets its rows apart by the width rounded up to a pair, cut to a multiple of 4 bytes.
    return (static_cast<size_t>(layout.width) + 1) * 3 / 4 * 4;
  }
  return RowBytesOf(layout, bitmapDepth, keepAlpha);
}

} // namespace toolkit
