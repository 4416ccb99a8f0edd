#include "fax/FaxTestPages.h"

#include <algorithm>

std::vector<uint8_t> BytesOfBits(std::string_view bits) {
  std::vector<uint8_t> bytes;
  size_t count = 0;
  for (const char bit : bits) {
    if (bit != '0' && bit != '1') {
      continue;
    }
    if (count % 8 == 0) {
      bytes.push_back(0);
    }
    if (bit == '1') {
      bytes.back() = static_cast<uint8_t>(bytes.back() | 0x80 >> (count % 8));
    }
    ++count;
  }
  return bytes;
}

std::string BitsOfBytes(const std::vector<uint8_t>& bytes) {
  std::string bits;
  for (const uint8_t byte : bytes) {
    for (int i = 7; i >= 0; --i) {
      bits += (byte >> i & 1) != 0 ? '1' : '0';
    }
  }
  return bits;
}

uint64_t TestRandom::Next() {
  state_ ^= state_ >> 12;
  state_ ^= state_ << 25;
  state_ ^= state_ >> 27;
  return state_ * 0x2545F4914F6CDD1Du;
}

TestPage::TestPage(int32_t pageWidth, int32_t pageHeight) : width(pageWidth), height(pageHeight) {
  rows.resize(RowBytes() * static_cast<size_t>(height));
}

bool TestPage::At(int32_t x, int32_t y) const {
  const size_t place = static_cast<size_t>(y) * RowBytes() + static_cast<size_t>(x) / 8;
  return (rows[place] >> (7 - x % 8) & 1) != 0;
}

void TestPage::Set(int32_t x, int32_t y, bool black) {
  uint8_t& byte = rows[static_cast<size_t>(y) * RowBytes() + static_cast<size_t>(x) / 8];
  const unsigned bit = 0x80u >> (x % 8);
  byte = static_cast<uint8_t>(black ? byte | bit : byte & ~bit);
}

void TestPage::Fill(int32_t left, int32_t right, int32_t y, bool black) {
  for (int32_t x = std::max(left, 0); x < std::min(right, width); ++x) {
    Set(x, y, black);
  }
}

std::string TestPage::Row(int32_t y) const {
  std::string row;
  for (int32_t x = 0; x < width; ++x) {
    row += At(x, y) ? '1' : '0';
  }
  return row;
}

TestPage PageOfRows(const std::vector<std::string>& rows) {
  TestPage page(static_cast<int32_t>(rows[0].size()), static_cast<int32_t>(rows.size()));
  for (int32_t y = 0; y < page.height; ++y) {
    for (int32_t x = 0; x < page.width; ++x) {
      page.Set(x, y, rows[static_cast<size_t>(y)][static_cast<size_t>(x)] == '1');
    }
  }
  return page;
}

namespace {

void FillRuns(TestPage& page, TestRandom& random) {
  for (int32_t y = 0; y < page.height; ++y) {
    bool black = random.Below(2) != 0;
    for (int32_t x = 0; x < page.width;) {
      const uint32_t longest = 1u << random.Below(13);
      const auto run = static_cast<int32_t>(random.Below(longest) + 1);
      const int32_t end = run < page.width - x ? x + run : page.width;
      page.Fill(x, end, y, black);
      x = end;
      black = !black;
    }
  }
}

// Lines of glyphs made of strokes, some of them slanted, with margins and blank rows between.
void FillText(TestPage& page, TestRandom& random) {
  const int32_t glyph = std::max(6, std::min(page.width, page.height) / 12);
  for (int32_t top = glyph / 2; top + glyph < page.height; top += glyph * 3 / 2) {
    for (int32_t left = glyph; left + glyph < page.width; left += glyph + 2) {
      if (random.Below(6) == 0) {
        continue;
      }
      for (uint32_t stroke = 0; stroke < 1 + random.Below(3); ++stroke) {
        const auto thick = static_cast<int32_t>(1 + random.Below(3));
        const auto at = static_cast<int32_t>(random.Below(static_cast<uint32_t>(glyph)));
        const uint32_t form = random.Below(3);
        for (int32_t i = 0; i < glyph; ++i) {
          if (form == 0) {
            page.Fill(left + at, left + at + thick, top + i, true);
          } else if (form == 1) {
            page.Fill(left + i, left + i + thick, top + i, true);
          } else if (i >= at && i < at + thick) {
            page.Fill(left, left + glyph, top + i, true);
          }
        }
      }
    }
  }
}

} // namespace

TestPage MakePage(PageKind kind, int32_t width, int32_t height, uint64_t seed) {
  TestPage page(width, height);
  TestRandom random(seed);
  if (kind == PageKind::kRuns) {
    FillRuns(page, random);
  } else if (kind == PageKind::kText) {
    FillText(page, random);
  } else {
    for (int32_t y = 0; y < height; ++y) {
      for (int32_t x = 0; x < width; ++x) {
        const bool black = kind == PageKind::kBlack || (kind == PageKind::kNoise && random.Below(2) != 0) ||
                           (kind == PageKind::kCheckered && (x + y) % 2 == 0) ||
                           (kind == PageKind::kSkewed && (x + y * 3) % 40 < 13);
        page.Set(x, y, black);
      }
    }
  }
  return page;
}
