// Tables of formats, compressions and sibling libraries.

#include "toolkit/FormatTables.h"

#include <charconv>
#include <string>

#include <vxkernel/loader.h>
#include <vxtif/vxtif.h>

namespace toolkit {
namespace {

enum {
  kRowJbig,
  kRowJbig2,
  kRowVector,
  kRowJpeg2000,
  kRowWavelet,
  kRowCamera1,
  kRowCamera2,
  kRowCamera3,
  kRowSegment,
  kRowBilevel1,
  kRowBilevel2,
  kNoRow = -1
};

constexpr FormatRow kFormats[] = {
    {kFormatUncompressed, "none", "uncompressed", true, 0, kNoRow},
    {kFormatLzw, "lzw", "LZW", true, 0, kNoRow},
    {kFormatCcitt, "ccitt", "CCITT run length", true, 1, kNoRow},
    {kFormatGroup3, "g3", "CCITT group 3, one-dimensional", true, 1, kNoRow},
    {kFormatGroup3TwoDimensional, "g3-2d", "CCITT group 3, two-dimensional", true, 1, kNoRow},
    {kFormatGroup4, "g4", "CCITT group 4", true, 1, kNoRow},
    {kFormatUncompressedCmyk, "cmyk", "uncompressed CMYK", true, 24, kNoRow},
    {kFormatLzwCmyk, "lzw-cmyk", "LZW CMYK", true, 24, kNoRow},
    {kFormatPackBits, "packbits", "PackBits", true, 0, kNoRow},
    {kFormatPackBitsCmyk, "packbits-cmyk", "PackBits CMYK", true, 24, kNoRow},
    {kFormatUncompressedYCbCr, "ycbcr", "uncompressed YCbCr", true, 24, kNoRow},
    {kFormatLzwYCbCr, "lzw-ycbcr", "LZW YCbCr", true, 24, kNoRow},
    {kFormatPackBitsYCbCr, "packbits-ycbcr", "PackBits YCbCr", true, 24, kNoRow},
    {kFormatExif, "exif", "uncompressed with an Exif directory", true, 24, kNoRow},
    {kFormatExifYCbCr, "exif-ycbcr", "uncompressed YCbCr with an Exif directory", true, 24, kNoRow},
    {kFormatVariant, "variant", "variant file, version word 12622, group 4", true, 1, kNoRow},
    {kFormatJbig, "jbig", "JBIG", true, 0, kRowJbig},
    {kFormatVector, "vector", "vector image", false, 0, kRowVector},
    {kFormatUnknown, "unknown", "unknown compression", false, 0, kNoRow},
    {kFormatRawRows, "raw-rows", "raw rows without TIFF structure", false, 0, kNoRow},
    {kFormatCustom, "custom", "custom compression", false, 0, kNoRow},
    {kFormatRawPackBits, "raw-packbits", "raw PackBits stream without TIFF structure", false, 0, kNoRow},
    {kFormatRawFax, "raw-fax", "raw fax stream without TIFF structure", false, 0, kNoRow},
    {kFormatJpeg2000, "jpeg2000", "JPEG 2000", true, 0, kRowJpeg2000},
    {kFormatWavelet, "wavelet", "wavelet", true, 0, kRowWavelet},
    {kFormatGeoTiff, "geotiff", "uncompressed with GeoTIFF keys", true, 0, kNoRow},
    {kFormatStoredSize, "stored-size", "bilevel page stored at another size", true, 1, kRowJbig},
    {kFormatVectorPage, "vector-page", "vector page", false, 0, kRowVector},
    {kFormatSegmented, "segmented", "segmented page", false, 0, kRowSegment},
    {kFormatRawLzw, "raw-lzw", "bare LZW stream without TIFF structure", true, 0, kNoRow},
    {kFormatBilevel1, "bilevel1", "bilevel, first proprietary form", true, 1, kRowBilevel1},
    {kFormatBilevel2, "bilevel2", "bilevel, second proprietary form", true, 1, kRowBilevel2},
    {kFormatJbig2, "jbig2", "JBIG2", true, 1, kRowJbig2},
    {kFormatDeflate, "deflate", "Deflate", false, 0, kNoRow},
};

constexpr CompressionRow kCompressions[] = {
    {1, "none", "uncompressed", true, kNoRow},
    {2, "ccitt", "CCITT run length", true, kNoRow},
    {3, "g3", "CCITT group 3", true, kNoRow},
    {4, "g4", "CCITT group 4", true, kNoRow},
    {5, "lzw", "LZW", true, kNoRow},
    {6, "old-jpeg", "JPEG, old style", false, kNoRow},
    {7, "jpeg", "JPEG", false, kNoRow},
    {8, "deflate", "Deflate", false, kNoRow},
    {9, "jbig-t85", "JBIG of T.85", false, kNoRow},
    {10, "jbig-t43", "JBIG of T.43", false, kNoRow},
    {32010, "", "bilevel, second proprietary form", false, kRowBilevel2},
    {32773, "packbits", "PackBits", true, kNoRow},
    {32946, "old-deflate", "Deflate, old number", false, kNoRow},
    {33001, "", "vector image", false, kRowVector},
    {33003, "", "JPEG 2000", false, kRowJpeg2000},
    {34661, "jbig", "JBIG", false, kRowJbig},
    {34662, "", "custom compression", false, kNoRow},
    {34709, "", "of another filter", false, kNoRow},
    {34710, "", "vector image", false, kRowVector},
    {34711, "wavelet", "wavelet", false, kRowWavelet},
    {34712, "jpeg2000", "JPEG 2000", false, kRowJpeg2000},
    {34713, "", "bilevel page stored at another size", false, kRowJbig},
    {34714, "", "vector page", false, kRowVector},
    {34715, "", "segmented page", false, kRowSegment},
    {34716, "bilevel1", "bilevel, first proprietary form", false, kRowBilevel1},
    {34717, "bilevel2", "bilevel, second proprietary form", false, kRowBilevel2},
    {34718, "jbig2", "JBIG2", false, kRowJbig2},
};

constexpr SiblingLibrary kSiblings[] = {
    {kRowJbig, "VXJBIG", kResultSiblingJbig},
    {kRowJbig2, "VXJBIG2", kResultSiblingJbig2},
    {kRowVector, "VXVECTOR", kResultSiblingVector},
    {kRowJpeg2000, "VXJPEG2K", kResultSiblingJpeg2000},
    {kRowWavelet, "VXWAVELET", kResultSiblingWavelet},
    {kRowCamera1, "VXCAMRAW1", kResultSiblingCamera1},
    {kRowCamera2, "VXCAMRAW2", kResultSiblingCamera2},
    {kRowCamera3, "VXCAMRAW3", kResultSiblingCamera3},
    {kRowSegment, "VXSEGMENT", kResultSiblingSegment},
    {kRowBilevel1, "VXBILEVEL1", kResultSiblingBilevel1},
    {kRowBilevel2, "VXBILEVEL2", kResultSiblingBilevel2},
};

std::optional<int32_t> WholeNumber(std::string_view text) {
  int32_t number = 0;
  const char* end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, number);
  return parsed.ec == std::errc() && parsed.ptr == end ? std::optional(number) : std::nullopt;
}

} // namespace

std::span<const FormatRow> AllFormats() {
  return kFormats;
}

std::span<const CompressionRow> AllCompressions() {
  return kCompressions;
}

std::span<const SiblingLibrary> AllSiblings() {
  return kSiblings;
}

const FormatRow* FindFormat(int32_t number) {
  for (const FormatRow& row : kFormats) {
    if (row.number == number) {
      return &row;
    }
  }
  return nullptr;
}

const FormatRow* FindFormat(std::string_view nameOrNumber) {
  if (const std::optional<int32_t> number = WholeNumber(nameOrNumber)) {
    return FindFormat(*number);
  }
  for (const FormatRow& row : kFormats) {
    if (nameOrNumber == row.name) {
      return &row;
    }
  }
  return nullptr;
}

std::optional<int32_t> FindCompression(std::string_view nameOrNumber) {
  if (const std::optional<int32_t> number = WholeNumber(nameOrNumber)) {
    return number;
  }
  if (nameOrNumber == "g3-2d") {
    return kCompressionGroup3TwoDimensional;
  }
  for (const CompressionRow& row : kCompressions) {
    if (!nameOrNumber.empty() && nameOrNumber == row.name) {
      return static_cast<int32_t>(row.value);
    }
  }
  return std::nullopt;
}

const char* FormatDescription(int32_t number) {
  const FormatRow* row = FindFormat(number);
  return row != nullptr ? row->description : "unknown";
}

bool IsSiblingPresent(const SiblingLibrary& sibling) {
  const std::string name = std::string(sibling.library) + ".DLL";
  Vx_DllLoader loader;
#ifdef _WIN32
  const void* instance = nullptr;
#else
  // Any address inside the filter: the siblings are looked for beside it.
  const void* instance = reinterpret_cast<const void*>(&fltInfo);
#endif
  return loader.LoadWithPath(instance, name.c_str(), name.c_str(), nullptr) != 0;
}

} // namespace toolkit
