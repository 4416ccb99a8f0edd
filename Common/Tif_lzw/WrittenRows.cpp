// Rows from the toolkit's forms to those of a written page. Pure computation over memory sized by the save driver.

#include "Tif_lzw/WrittenRows.h"

#include <algorithm>

#include "tif_com/ByteOrder.h"

namespace {

struct Pixel {
  int32_t blue;
  int32_t green;
  int32_t red;
};

Pixel LoadPixel(const uint8_t* bytes) {
  return {bytes[0], bytes[1], bytes[2]};
}

uint8_t Clamp(int32_t value) {
  return static_cast<uint8_t>(std::clamp(value, 0, 255));
}

// Weights in 1/1024.
int32_t Luma(const Pixel& pixel) {
  return (306 * pixel.red + 601 * pixel.green + 116 * pixel.blue + 512) >> 10;
}

} // namespace

void TIFPack12BitRow(uint8_t* target, const uint8_t* source, uint32_t pixelCount) {
  uint32_t left = pixelCount;
  for (; left >= 2; left -= 2, source += 3, target += 3) {
    const uint32_t first = source[0] | (source[1] & 0x0Fu) << 8;
    const uint32_t second = source[1] >> 4 | static_cast<uint32_t>(source[2]) << 4;
    target[0] = static_cast<uint8_t>(first >> 4);
    target[1] = static_cast<uint8_t>((first & 0x0F) << 4 | second >> 8);
    target[2] = static_cast<uint8_t>(second);
  }
  if (left != 0) {
    const uint32_t last = source[0] | (source[1] & 0x0Fu) << 8;
    target[0] = static_cast<uint8_t>(last >> 4);
    target[1] = static_cast<uint8_t>((last & 0x0F) << 4);
  }
}

void TIFConvertRowToYCC(uint8_t* target, const uint8_t* source, uint32_t pixelCount) {
  uint32_t left = pixelCount;
  for (; left >= 2; left -= 2, source += 6, target += 4) {
    const Pixel p0 = LoadPixel(source);
    const Pixel p1 = LoadPixel(source + 3);
    const int32_t y0 = Luma(p0);
    const int32_t y1 = Luma(p1);
    const int32_t cb = (((p0.blue - y0 + p1.blue - y1) * 578 + 1024) >> 11) + 128;
    const int32_t cr = (((p0.red - y0 + p1.red - y1) * 730 + 1024) >> 11) + 128;
    target[0] = static_cast<uint8_t>(y0);
    target[1] = static_cast<uint8_t>(y1);
    target[2] = Clamp(cb);
    target[3] = Clamp(cr);
  }
  if (left != 0) {
    const Pixel pixel = LoadPixel(source);
    const int32_t y = Luma(pixel);
    target[0] = static_cast<uint8_t>(y);
    target[1] = 0;
    target[2] = Clamp((((pixel.blue - y) * 578 + 512) >> 10) + 128);
    target[3] = Clamp((((pixel.red - y) * 730 + 512) >> 10) + 128);
  }
}

void TIFConvertRowToCmyk(uint8_t* target, const uint8_t* source, uint32_t pixelCount, uint32_t sourceStep) {
  const bool keepsFourth = sourceStep == 4;
  const uint32_t targetStep = keepsFourth ? 5 : 4;
  for (uint32_t i = 0; i < pixelCount; ++i, source += sourceStep, target += targetStep) {
    const int32_t cyan = 255 - source[2];
    const int32_t magenta = 255 - source[1];
    const int32_t yellow = 255 - source[0];
    const int32_t black = std::min({cyan, magenta, yellow});
    target[0] = static_cast<uint8_t>(cyan - black);
    target[1] = static_cast<uint8_t>(magenta - black);
    target[2] = static_cast<uint8_t>(yellow - black);
    target[3] = static_cast<uint8_t>(black);
    if (keepsFourth) {
      target[4] = source[3];
    }
  }
}

void TIFConvertRowToFloat(uint8_t* target, const uint8_t* source, uint32_t pixelCount, uint32_t sampleBytes) {
  for (uint32_t i = 0; i < pixelCount; ++i) {
    const float value =
        sampleBytes == 2 ? static_cast<float>(LoadU16LE(source + size_t{2} * i)) : static_cast<float>(source[i]);
    StoreF32LE(target + size_t{4} * i, value);
  }
}
