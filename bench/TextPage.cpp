// The generated text page. Letters are drawn once and copied, as a printed page has them.

#include "bench/TextPage.h"

#include <cmath>
#include <cstdlib>

namespace {

constexpr int kLetters = 26;

struct Random {
  uint64_t state;
  uint32_t Below(uint32_t limit) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    return static_cast<uint32_t>((state >> 33) % limit);
  }
};

struct Letter {
  int width;
  int height;
  std::vector<uint8_t> pixels;
  void Set(int x, int y) {
    if (x >= 0 && x < width && y >= 0 && y < height) {
      pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)] = 1;
    }
  }
};

// Upright, slanted and level strokes and a bowl, in a mix of its own for each letter.
Letter DrawLetter(int index, int xHeight) {
  const int stem = xHeight / 7;
  const bool tall = index % 3 == 0;
  Letter letter{xHeight * (8 + index % 4) / 10, tall ? xHeight * 3 / 2 : xHeight, {}};
  letter.pixels.resize(static_cast<size_t>(letter.width) * static_cast<size_t>(letter.height));
  const int base = letter.height - xHeight;
  const double radiusX = letter.width / 2.0;
  const double radiusY = xHeight / 2.0;
  for (int y = 0; y < letter.height; ++y) {
    for (int x = 0; x < letter.width; ++x) {
      const double dx = (x - radiusX) / radiusX;
      const double dy = (y - base - radiusY) / radiusY;
      const double distance = std::sqrt(dx * dx + dy * dy);
      const bool bowl = index % 5 < 3 && distance < 1.0 && distance > 1.0 - 1.2 * stem / radiusX;
      const bool upright = index % 2 == 0 && x < stem;
      const bool slanted = index % 7 == 3 && std::abs(x - y * letter.width / letter.height) < stem;
      const bool level = index % 4 == 1 && y >= base + xHeight / 2 && y < base + xHeight / 2 + stem * 2 / 3;
      const bool serif = index % 6 == 4 && y >= letter.height - stem / 2 && x < 3 * stem;
      if (bowl || upright || slanted || level || serif) {
        letter.Set(x, y);
      }
    }
  }
  return letter;
}

void Place(TextPage& page, const Letter& letter, int left, int top) {
  for (int y = 0; y < letter.height; ++y) {
    uint8_t* row = page.rows.data() + static_cast<size_t>(top + y) * page.rowBytes;
    const uint8_t* pixels = letter.pixels.data() + static_cast<size_t>(y) * static_cast<size_t>(letter.width);
    for (int x = 0; x < letter.width; ++x) {
      const auto at = static_cast<size_t>(left + x);
      row[at / 8] = static_cast<uint8_t>(row[at / 8] | (pixels[x] != 0 ? 0x80 >> (at % 8) : 0));
    }
  }
}

} // namespace

TextPage MakeTextPage(int32_t width, int32_t height) {
  const auto rowBytes = (static_cast<size_t>(width) + 7) / 8;
  TextPage page{width, height, rowBytes, std::vector<uint8_t>(rowBytes * static_cast<size_t>(height))};
  const int xHeight = width / 110;
  std::vector<Letter> letters;
  for (int i = 0; i < kLetters; ++i) {
    letters.push_back(DrawLetter(i, xHeight));
  }
  Random random{42};
  const int margin = width / 10;
  int line = 0;
  for (int top = margin; top + 3 * xHeight < height - margin; top += xHeight * 5 / 2) {
    const int kind = ++line % 9; // 8: blank, 7: the short last line of a paragraph
    const int right = kind == 7 ? width / 2 : width - margin;
    int left = margin + (kind == 0 ? 4 * xHeight : 0);
    while (kind != 8 && left + xHeight * 2 < right) {
      for (uint32_t i = 2 + random.Below(8); i > 0 && left + xHeight * 2 < right; --i) {
        const Letter& letter = letters[random.Below(kLetters)];
        Place(page, letter, left, top + xHeight * 3 / 2 - letter.height);
        left += letter.width + xHeight / 6;
      }
      left += xHeight * 2 / 3;
    }
  }
  return page;
}
