// The table of formats that can be saved.

#include "Tif/SaveFormats.h"

#include "tif_com/SaveState.h"
#include "tif_com/Tags.h"

namespace {

constexpr SaveFormat kSaveFormats[] = {
    {kFormatUncompressed, kFormatUncompressed, kCompressionNone, SaveWay::kStrips, 0},
    {kFormatLzw, kFormatLzw, kCompressionLzw, SaveWay::kStrips, 0},
    {kFormatPackBits, kFormatPackBits, kCompressionPackBits, SaveWay::kStrips, 0},
    {kFormatUncompressedCmyk, kFormatUncompressed, kCompressionNone, SaveWay::kStrips, kStateCmyk},
    {kFormatLzwCmyk, kFormatLzw, kCompressionLzw, SaveWay::kStrips, kStateCmyk},
    {kFormatPackBitsCmyk, kFormatPackBits, kCompressionPackBits, SaveWay::kStrips, kStateCmyk},
    {kFormatUncompressedYCbCr, kFormatUncompressed, kCompressionNone, SaveWay::kStrips, kStateYCbCr},
    {kFormatLzwYCbCr, kFormatLzw, kCompressionLzw, SaveWay::kStrips, kStateYCbCr},
    {kFormatPackBitsYCbCr, kFormatPackBits, kCompressionPackBits, SaveWay::kStrips, kStateYCbCr},
    {kFormatExif, kFormatUncompressed, kCompressionNone, SaveWay::kStrips, 0},
    {kFormatExifYCbCr, kFormatUncompressed, kCompressionNone, SaveWay::kStrips, kStateYCbCr},
    {kFormatGeoTiff, kFormatUncompressed, kCompressionNone, SaveWay::kStrips, kStateGeoKeys},
    {kFormatCcitt, kFormatCcitt, kCompressionCcittRle, SaveWay::kFax, 0},
    {kFormatGroup3, kFormatGroup3, kCompressionGroup3, SaveWay::kFax, 0},
    {kFormatGroup3TwoDimensional, kFormatGroup3TwoDimensional, kCompressionGroup3, SaveWay::kFax, 0},
    {kFormatGroup4, kFormatGroup4, kCompressionGroup4, SaveWay::kFax, 0},
    {kFormatVariant, kFormatVariant, kCompressionGroup4, SaveWay::kVariant, 0},
    {kFormatRawLzw, kFormatRawLzw, kCompressionLzw, SaveWay::kRawLzw, 0},
    {kFormatJbig, kFormatJbig, kCompressionJbig, SaveWay::kSibling, kStateBySibling},
    {kFormatJpeg2000, kFormatJpeg2000, kCompressionJpeg2000, SaveWay::kSibling, kStateBySibling},
    {kFormatWavelet, kFormatWavelet, kCompressionWavelet, SaveWay::kSibling, kStateBySibling},
    {kFormatStoredSize, kFormatStoredSize, kCompressionStoredSize, SaveWay::kSibling, kStateBySibling},
    {kFormatBilevel1, kFormatBilevel1, kCompressionBilevel1, SaveWay::kSibling, kStateBySibling},
    {kFormatBilevel2, kFormatBilevel2, kCompressionBilevel2, SaveWay::kSibling, kStateBySibling},
    {kFormatJbig2, kFormatJbig2, kCompressionJbig2, SaveWay::kSibling, kStateBySibling},
};

} // namespace

const SaveFormat* TIFFindSaveFormat(int32_t format) {
  for (const SaveFormat& row : kSaveFormats) {
    if (row.format == format) {
      return &row;
    }
  }
  return nullptr;
}
