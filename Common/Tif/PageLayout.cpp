// Row sizes of a page, and TIFGetBytesPerTileRow. The load driver, the strip reader and the CMYK array load use them;
// hosts call the export with pages of their own, so that nothing is taken for granted about the fields.

#include "Tif/PageLayout.h"

#include <algorithm>

#include "tif_com/Saturate.h"
#include "tif_com/Tags.h"

namespace {

uint64_t BytesOfBits(uint64_t bits, int32_t pixels) {
  return pixels <= 0 ? 0 : (bits * static_cast<uint64_t>(pixels) + 7) / 8; // 32 by 31 bits: no overflow
}

int32_t WrapI32(uint64_t value) {
  return static_cast<int32_t>(static_cast<uint32_t>(value));
}

} // namespace

uint64_t TIFPlaneRowBytes(const TifPage* page) {
  return BytesOfBits(page->bitsPerSample[0], page->tileWidth);
}

uint64_t TIFTileRowBytes(const TifPage* page) {
  if (page->planarConfiguration == kPlanarSeparate) {
    return TIFPlaneRowBytes(page);
  }
  if (page->photometricInterpretation == kPhotometricYCbCr) {
    // The parser admits factors of 1, 2 and 4 only.
    const uint64_t unitBytes = uint64_t{page->yCbCrSubSampleHoriz & 0xFF} * (page->yCbCrSubSampleVert & 0xFF) + 2;
    return TIFCeilDiv(page->tileWidth, page->yCbCrSubSampleHoriz) * unitBytes;
  }
  return BytesOfBits(page->totalBits, page->tileWidth);
}

uint32_t TIFRowsOfUnit(const TifPage* page) {
  // A repair of the photometric value behind the parser's own leaves the sub-sampling of a page that no longer is
  // YCbCr. Its rows stand one by one, and more of them must not be promised to a sink.
  if (page->photometricInterpretation != kPhotometricYCbCr) {
    return 1;
  }
  const uint32_t rows = page->yCbCrSubSampleVert;
  return rows == 0 ? 1 : rows;
}

uint64_t TIFDeliveredRowBytes(const TifPage* page, bool cmykToRgb) {
  const uint64_t stored = BytesOfBits(page->totalBits, page->imageWidth);
  if (!cmykToRgb) {
    return stored;
  }
  const uint32_t sampleBits = page->bitsPerSample[0] == 16 ? 16 : 8;
  return std::max(stored, BytesOfBits(uint64_t{4} * sampleBits, page->imageWidth));
}

int32_t TIFGetBytesPerTileRow(const TifPage* page) {
  if (page == nullptr) {
    return 0;
  }
  // All of this wraps in 32 bits: the export's result is a word.
  const auto width = static_cast<uint32_t>(page->tileWidth);
  if (page->planarConfiguration == kPlanarSeparate) {
    return WrapI32(page->bitsPerSample[0] * width + 7) >> 3;
  }
  if (page->photometricInterpretation == kPhotometricYCbCr) {
    const uint32_t unitBytes = page->yCbCrSubSampleHoriz * page->yCbCrSubSampleVert + 2;
    return WrapI32(TIFCeilDiv(page->tileWidth, page->yCbCrSubSampleHoriz) * unitBytes);
  }
  return WrapI32(page->totalBits * width + 7) / 8;
}
