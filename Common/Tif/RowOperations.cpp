// Row operations of the load: grey-and-alpha expansion, dropping of extra samples, 12-bit re-ordering, signed samples,
// and the range scan of 32-bit samples. Pure computation; the row stage and the raw PackBits load use them.

#include "Tif/RowOperations.h"

#include <algorithm>
#include <cstring>

#include "tif_com/ByteOrder.h"
#include "tif_com/Tags.h"

namespace {

constexpr uint32_t kSignBits16 = 0x8000;

// One loop per kept size, so that a pixel is one load and one store.
template <uint32_t Keep> void KeepBytes(uint8_t* row, uint64_t pixels, uint32_t pixelBytes) {
  const uint8_t* source = row;
  uint8_t* target = row;
  for (uint64_t i = 0; i < pixels; ++i, source += pixelBytes, target += Keep) {
    uint8_t pixel[Keep];
    std::memcpy(pixel, source, Keep);
    std::memcpy(target, pixel, Keep);
  }
}

void ScanFloats(const uint8_t* row, uint64_t count, SampleRange* range) {
  float low = range->minFloat;
  float high = range->maxFloat;
  for (uint64_t i = 0; i < count; ++i) {
    const float value = LoadF32LE(row + 4 * i);
    low = value < low ? value : low;
    high = value > high ? value : high;
  }
  range->minFloat = low;
  range->maxFloat = high;
}

// The row's own range in 32 bits first: that loop vectorises, one in 64 bits does not.
template <typename Sample> void ScanIntegers(const uint8_t* row, uint64_t count, SampleRange* range) {
  if (count == 0) {
    return;
  }
  auto low = static_cast<Sample>(LoadU32LE(row));
  Sample high = low;
  for (uint64_t i = 1; i < count; ++i) {
    const auto value = static_cast<Sample>(LoadU32LE(row + 4 * i));
    low = value < low ? value : low;
    high = value > high ? value : high;
  }
  range->minValue = std::min(range->minValue, static_cast<int64_t>(low));
  range->maxValue = std::max(range->maxValue, static_cast<int64_t>(high));
}

} // namespace

void TIFExpandGrayAlpha(const uint8_t* source, uint8_t* target, uint64_t pixels, const VxColor* palette) {
  if (palette == nullptr) {
    for (uint64_t i = 0; i < pixels; ++i) {
      StoreU32LE(target + 4 * i, source[2 * i] * 0x010101u | uint32_t{source[2 * i + 1]} << 24);
    }
    return;
  }
  for (uint64_t i = 0; i < pixels; ++i) {
    const VxColor* const color = palette + source[2 * i];
    target[4 * i] = color->blue;
    target[4 * i + 1] = color->green;
    target[4 * i + 2] = color->red;
    target[4 * i + 3] = source[2 * i + 1];
  }
}

void TIFDropExtraSamples(uint8_t* row, uint64_t rowBytes, uint32_t totalBits, uint32_t extraBits) {
  if (totalBits % 8 != 0 || extraBits % 8 != 0 || totalBits == 0 || extraBits > totalBits) {
    return;
  }
  const uint32_t pixelBytes = totalBits / 8;
  const uint64_t pixels = rowBytes / pixelBytes;
  switch (pixelBytes - extraBits / 8) {
  case 1:
    return KeepBytes<1>(row, pixels, pixelBytes);
  case 2:
    return KeepBytes<2>(row, pixels, pixelBytes);
  case 3:
    return KeepBytes<3>(row, pixels, pixelBytes);
  case 4:
    return KeepBytes<4>(row, pixels, pixelBytes);
  case 6:
    return KeepBytes<6>(row, pixels, pixelBytes);
  case 8:
    return KeepBytes<8>(row, pixels, pixelBytes);
  default:
    return;
  }
}

void TIFUnpack12(uint8_t* row, uint64_t samples, uint64_t rowBytes) {
  const uint64_t pairs = std::min(samples / 2, rowBytes / 3);
  uint8_t* at = row;
  for (uint64_t i = 0; i < pairs; ++i, at += 3) {
    const uint32_t a = at[0];
    const uint32_t b = at[1];
    const uint32_t c = at[2];
    at[0] = static_cast<uint8_t>(a << 4 | b >> 4);
    at[1] = static_cast<uint8_t>(a >> 4 | c << 4);
    at[2] = static_cast<uint8_t>(b << 4 | c >> 4);
  }
  if (samples % 2 != 0 && pairs == samples / 2 && 3 * pairs + 2 <= rowBytes) {
    const uint32_t a = at[0];
    const uint32_t b = at[1];
    at[0] = static_cast<uint8_t>(a << 4 | b >> 4);
    at[1] = static_cast<uint8_t>((b & 0xF0) | a >> 4); // the high half keeps what stood there
  }
}

void TIFClampNegative(uint8_t* row, uint64_t rowBytes, uint32_t bits) {
  if (bits == 16) {
    for (uint64_t i = 0; i < rowBytes / 2; ++i) {
      const uint16_t value = LoadU16LE(row + 2 * i);
      StoreU16LE(row + 2 * i, (value & kSignBits16) != 0 ? uint16_t{0} : value);
    }
    return;
  }
  for (uint64_t i = 0; i < rowBytes; ++i) {
    row[i] = (row[i] & 0x80) != 0 ? uint8_t{0} : row[i];
  }
}

void TIFScanSampleRange(uint8_t* row, uint64_t count, SampleOrder order, SampleKind kind, SampleRange* range,
                        uint32_t sampleFormat) {
  if (order == SampleOrder::kSwap) {
    SwapRun32(row, static_cast<size_t>(count));
  }
  if (kind == SampleKind::kFloat) {
    ScanFloats(row, count, range);
  } else if (sampleFormat == kSampleUnsigned && order == SampleOrder::kHost) {
    ScanIntegers<uint32_t>(row, count, range);
  } else {
    ScanIntegers<int32_t>(row, count, range);
  }
}
