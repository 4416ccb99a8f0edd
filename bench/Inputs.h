// The pictures that all benchmarks work on, generated the same in every run: rows top down, samples interleaved, 16-bit
// samples little-endian, bilevel rows packed with the first pixel in the highest bit and 1 for black.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct BenchImage {
  std::string name; // as in the names of the benchmarks
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t samples = 0;
  uint32_t bitsPerSample = 0;
  uint32_t rowBytes = 0;
  std::vector<uint8_t> pixels;
  std::vector<uint8_t> palette; // red, green, blue of each colour, for the palette picture

  const uint8_t* Row(uint32_t row) const { return pixels.data() + static_cast<size_t>(row) * rowBytes; }
};

const BenchImage& PhotoRgb();    // smooth shades with noise, as a camera sees them
const BenchImage& ScreenRgb();   // flat windows, lines of text, few colours
const BenchImage& Gray16();      // 16-bit grey, noise in the low bits
const BenchImage& BilevelText(); // a page of text at 300 dots per inch
const BenchImage& PaletteMap();  // 256 colours, areas and lines as on a map

// All of the above.
std::vector<const BenchImage*> AllBenchImages();
