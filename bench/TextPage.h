// A bilevel text page for the benchmarks, made at run time: lines of letter-like shapes with stems, bowls and slanted
// strokes, margins, indents, short last lines and white between paragraphs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

struct TextPage {
  int32_t width;
  int32_t height;
  size_t rowBytes;           // ceil(width / 8)
  std::vector<uint8_t> rows; // 1 is black
};

TextPage MakeTextPage(int32_t width, int32_t height);
