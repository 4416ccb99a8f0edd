// Conversion of single rows between sample depths, and the splitting of a view into mirroring and turning.

#include "vxkernel/bitmap.h"

#include <cstddef>

namespace {

// Samples are little-endian in memory: the second byte is the high one.
void HighBytes(uint8_t* row, size_t samples) {
  for (size_t i = 0; i < samples; ++i) {
    row[i] = row[2 * i + 1];
  }
}

// From the last to the first, so that nothing is overwritten before it is read.
void DoubleBytes(uint8_t* row, size_t samples) {
  for (size_t i = samples; i-- > 0;) {
    const uint8_t value = row[i];
    row[2 * i] = value;
    row[2 * i + 1] = value;
  }
}

struct View {
  int32_t mirrored;
  int32_t degrees;
};

// By view perspective, 1 to 8.
constexpr View kViews[9] = {{0, 0}, {0, 0}, {1, 180}, {0, 180}, {1, 0}, {1, 90}, {0, 90}, {1, 270}, {0, 270}};

} // namespace

int32_t krnConvertRow(void* row, int32_t pixels, int32_t bitsIn, int32_t bitsOut, int32_t, int32_t, int32_t, int32_t,
                      int32_t, int32_t, int32_t) {
  if (row == nullptr || bitsIn < 8 || bitsOut < 8 || bitsIn > 1024 || bitsOut > 1024) {
    return -27;
  }
  const bool narrows = bitsIn == 2 * bitsOut && bitsOut % 8 == 0;
  const bool widens = bitsOut == 2 * bitsIn && bitsIn % 8 == 0;
  if (!narrows && !widens) {
    return -27;
  }
  const size_t samplesPerPixel = static_cast<size_t>(narrows ? bitsOut : bitsIn) / 8;
  const size_t samples = pixels > 0 ? static_cast<size_t>(pixels) * samplesPerPixel : 0;
  auto* bytes = static_cast<uint8_t*>(row);
  if (narrows) {
    HighBytes(bytes, samples);
  } else {
    DoubleBytes(bytes, samples);
  }
  return 1;
}

int32_t krnViewRotation(uint32_t view, int32_t, int32_t* mirrored, int32_t* degrees) {
  const bool known = view >= 1 && view <= 8;
  const View split = kViews[known ? view : 1];
  if (mirrored != nullptr) {
    *mirrored = split.mirrored;
  }
  if (degrees != nullptr) {
    *degrees = split.degrees;
  }
  return known ? 1 : -13;
}
