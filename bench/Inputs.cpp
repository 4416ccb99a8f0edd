#include "bench/Inputs.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace {

using Random = std::mt19937;

uint32_t Below(Random& random, uint32_t limit) {
  return static_cast<uint32_t>(random()) % limit;
}

BenchImage NewImage(const char* name, uint32_t width, uint32_t height, uint32_t samples, uint32_t bitsPerSample) {
  BenchImage image;
  image.name = name;
  image.width = width;
  image.height = height;
  image.samples = samples;
  image.bitsPerSample = bitsPerSample;
  image.rowBytes = (width * samples * bitsPerSample + 7) / 8;
  image.pixels.assign(static_cast<size_t>(image.rowBytes) * height, 0);
  return image;
}

// A smooth field between 0 and 1: a few waves of different length and direction.
double Shade(double x, double y, double phase) {
  return 0.5 + 0.2 * std::sin(x * 0.011 + phase) + 0.15 * std::sin(y * 0.017 - x * 0.004 + 2 * phase) +
         0.1 * std::sin((x + y) * 0.05 + phase) + 0.04 * std::sin(x * 0.31) * std::sin(y * 0.27 + phase);
}

int Noise(Random& random, int reach) {
  return static_cast<int>(Below(random, static_cast<uint32_t>(2 * reach + 1))) - reach;
}

BenchImage MakePhotoRgb() {
  BenchImage image = NewImage("rgb-photo", 1024, 1024, 3, 8);
  Random random(1);
  uint8_t* out = image.pixels.data();
  for (uint32_t y = 0; y < image.height; ++y) {
    for (uint32_t x = 0; x < image.width; ++x) {
      for (uint32_t sample = 0; sample < 3; ++sample) {
        const int value = static_cast<int>(255 * Shade(x, y, 0.4 * sample)) + Noise(random, 2);
        *out++ = static_cast<uint8_t>(std::clamp(value, 0, 255));
      }
    }
  }
  return image;
}

void FillRect(BenchImage& image, uint32_t left, uint32_t top, uint32_t width, uint32_t height, const uint8_t* color) {
  for (uint32_t y = top; y < std::min(top + height, image.height); ++y) {
    uint8_t* row = image.pixels.data() + static_cast<size_t>(y) * image.rowBytes;
    for (uint32_t x = left; x < std::min(left + width, image.width); ++x) {
      std::copy(color, color + image.samples, row + static_cast<size_t>(x) * image.samples);
    }
  }
}

// Glyphs of 7 by 5 cells from a small set, `scale` pixels a cell; `put` is given each dark cell.
template <typename Put> void DrawText(Random& random, uint32_t columns, uint32_t rows, uint32_t scale, Put put) {
  uint64_t glyphs[40];
  for (uint64_t& glyph : glyphs) {
    glyph = 0;
    for (uint32_t cell = 0; cell < 35; ++cell) {
      glyph |= static_cast<uint64_t>(Below(random, 4) == 0) << cell;
    }
  }
  for (uint32_t row = 0; row < rows; ++row) {
    uint32_t word = 0;
    for (uint32_t column = 0; column < columns; ++column) {
      if (word-- == 0) {
        word = 2 + Below(random, 8);
        continue; // a blank
      }
      const uint64_t glyph = glyphs[Below(random, 40)];
      for (uint32_t cell = 0; cell < 35; ++cell) {
        if ((glyph >> cell & 1) != 0) {
          put((column * 6 + cell % 5) * scale, (row * 11 + cell / 5) * scale);
        }
      }
    }
  }
}

BenchImage MakeScreenRgb() {
  BenchImage image = NewImage("rgb-screen", 1280, 1024, 3, 8);
  Random random(2);
  const uint8_t desktop[3] = {58, 110, 165};
  FillRect(image, 0, 0, image.width, image.height, desktop);
  for (uint32_t window = 0; window < 7; ++window) {
    const uint32_t left = Below(random, 800);
    const uint32_t top = Below(random, 700);
    const uint8_t frame[3] = {212, 208, 200};
    const uint8_t title[3] = {10, 36, static_cast<uint8_t>(100 + window * 15)};
    const uint8_t paper[3] = {255, 255, 255};
    const uint8_t ink[3] = {static_cast<uint8_t>(window * 20), 0, 0};
    FillRect(image, left, top, 480, 360, frame);
    FillRect(image, left + 3, top + 3, 474, 20, title);
    FillRect(image, left + 6, top + 40, 468, 310, paper);
    DrawText(random, 76, 27, 1,
             [&](uint32_t x, uint32_t y) { FillRect(image, left + 10 + x, top + 44 + y, 1, 1, ink); });
  }
  return image;
}

BenchImage MakeGray16() {
  BenchImage image = NewImage("gray16", 1024, 1024, 1, 16);
  Random random(3);
  uint8_t* out = image.pixels.data();
  for (uint32_t y = 0; y < image.height; ++y) {
    for (uint32_t x = 0; x < image.width; ++x) {
      const int value = std::clamp(static_cast<int>(65535 * Shade(x, y, 1.0)) + Noise(random, 40), 0, 65535);
      *out++ = static_cast<uint8_t>(value);
      *out++ = static_cast<uint8_t>(value >> 8);
    }
  }
  return image;
}

BenchImage MakeBilevelText() {
  BenchImage image = NewImage("bilevel-text", 2480, 3508, 1, 1);
  Random random(4);
  DrawText(random, 88, 68, 4, [&](uint32_t x, uint32_t y) {
    for (uint32_t dy = 0; dy < 4; ++dy) {
      uint8_t* row = image.pixels.data() + static_cast<size_t>(y + dy + 240) * image.rowBytes;
      const uint32_t wobble = Below(random, 8) == 0 ? 1 : 0; // edges as a scanner sees them
      for (uint32_t at = x + 180; at < x + 184 + wobble; ++at) {
        row[at / 8] = static_cast<uint8_t>(row[at / 8] | 0x80u >> at % 8);
      }
    }
  });
  return image;
}

BenchImage MakePaletteMap() {
  BenchImage image = NewImage("palette", 1024, 1024, 1, 8);
  Random random(5);
  uint8_t* out = image.pixels.data();
  for (uint32_t y = 0; y < image.height; ++y) {
    for (uint32_t x = 0; x < image.width; ++x) {
      const auto area = static_cast<uint32_t>(24 * Shade(x, y, 2.0));
      const bool line = (x * 3 + y) % 211 < 2 || (x + y * 2) % 173 < 1;
      *out++ = static_cast<uint8_t>(line ? 1 : 8 + area * 7 + (Below(random, 24) == 0 ? 1 : 0));
    }
  }
  image.palette.resize(3 * 256);
  for (uint8_t& value : image.palette) {
    value = static_cast<uint8_t>(random());
  }
  return image;
}

} // namespace

const BenchImage& PhotoRgb() {
  static const BenchImage image = MakePhotoRgb();
  return image;
}

const BenchImage& ScreenRgb() {
  static const BenchImage image = MakeScreenRgb();
  return image;
}

const BenchImage& Gray16() {
  static const BenchImage image = MakeGray16();
  return image;
}

const BenchImage& BilevelText() {
  static const BenchImage image = MakeBilevelText();
  return image;
}

const BenchImage& PaletteMap() {
  static const BenchImage image = MakePaletteMap();
  return image;
}

std::vector<const BenchImage*> AllBenchImages() {
  return {&PhotoRgb(), &ScreenRgb(), &Gray16(), &BilevelText(), &PaletteMap()};
}
