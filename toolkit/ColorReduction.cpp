// Median cut and error diffusion.

#include "toolkit/ColorReduction.h"

#include <algorithm>
#include <array>
#include <climits>

#include "toolkit/BitmapRows.h"
#include "toolkit/Image.h"

namespace toolkit {
namespace {

constexpr size_t kMostColours = 256;
constexpr uint32_t kCellBits = 5;
constexpr uint32_t kCellsPerSide = 1u << kCellBits;
constexpr size_t kCells = size_t{1} << 3 * kCellBits;

size_t CellOf(uint32_t red, uint32_t green, uint32_t blue) {
  return size_t{red >> 3} << 10 | size_t{green >> 3} << 5 | blue >> 3;
}

struct Cell {
  uint64_t red = 0;
  uint64_t green = 0;
  uint64_t blue = 0;
  uint64_t pixels = 0;
};

// A part of the histogram, both ends within.
struct Box {
  std::array<uint32_t, 3> first;
  std::array<uint32_t, 3> last;
  uint64_t pixels;
};

using Histogram = std::vector<Cell>;

template <class Visit> void WalkBox(const Histogram& histogram, const Box& box, Visit visit) {
  for (uint32_t red = box.first[0]; red <= box.last[0]; ++red) {
    for (uint32_t green = box.first[1]; green <= box.last[1]; ++green) {
      for (uint32_t blue = box.first[2]; blue <= box.last[2]; ++blue) {
        const Cell& cell = histogram[size_t{red} << 10 | size_t{green} << 5 | blue];
        if (cell.pixels != 0) {
          visit(cell, std::array<uint32_t, 3>{red, green, blue});
        }
      }
    }
  }
}

// Draws a box in to the cells that hold pixels.
void Shrink(const Histogram& histogram, Box& box) {
  Box tight = {{kCellsPerSide, kCellsPerSide, kCellsPerSide}, {0, 0, 0}, 0};
  WalkBox(histogram, box, [&](const Cell& cell, const std::array<uint32_t, 3>& at) {
    for (size_t side = 0; side < 3; ++side) {
      tight.first[side] = std::min(tight.first[side], at[side]);
      tight.last[side] = std::max(tight.last[side], at[side]);
    }
    tight.pixels += cell.pixels;
  });
  box = tight;
}

size_t WidestSide(const Box& box) {
  size_t widest = 1; // the eye sees green best
  for (size_t side = 0; side < 3; ++side) {
    if (box.last[side] - box.first[side] > box.last[widest] - box.first[widest]) {
      widest = side;
    }
  }
  return widest;
}

// Cuts a box of more than one cell in two; the second part is returned.
Box Cut(const Histogram& histogram, Box& box) {
  const size_t side = WidestSide(box);
  std::array<uint64_t, kCellsPerSide> slices = {};
  WalkBox(histogram, box,
          [&](const Cell& cell, const std::array<uint32_t, 3>& at) { slices[at[side]] += cell.pixels; });
  uint64_t before = 0;
  uint32_t cut = box.first[side];
  while (cut < box.last[side] - 1 && before + slices[cut] < box.pixels / 2) {
    before += slices[cut++];
  }
  Box second = box;
  box.last[side] = cut;
  second.first[side] = cut + 1;
  Shrink(histogram, box);
  Shrink(histogram, second);
  return second;
}

VxColor MeanColour(const Histogram& histogram, const Box& box) {
  Cell sum;
  WalkBox(histogram, box, [&](const Cell& cell, const std::array<uint32_t, 3>&) {
    sum.red += cell.red;
    sum.green += cell.green;
    sum.blue += cell.blue;
    sum.pixels += cell.pixels;
  });
  const uint64_t half = sum.pixels / 2;
  return {static_cast<uint8_t>((sum.blue + half) / sum.pixels), static_cast<uint8_t>((sum.green + half) / sum.pixels),
          static_cast<uint8_t>((sum.red + half) / sum.pixels), 0};
}

bool DarkerFirst(const VxColor& left, const VxColor& right) {
  const uint32_t leftGray = Luminance(left.red, left.green, left.blue);
  const uint32_t rightGray = Luminance(right.red, right.green, right.blue);
  if (leftGray != rightGray) {
    return leftGray < rightGray;
  }
  return std::array{left.red, left.green, left.blue} < std::array{right.red, right.green, right.blue};
}

// Colours seen so far, found by a hash of open addresses.
class ColourSet {
public:
  bool Insert(uint32_t rgb, size_t most) {
    if (rgb == last_) {
      return true;
    }
    last_ = rgb;
    size_t slot = rgb * 2654435761u >> 22;
    while (slots_[slot] != rgb) {
      if (slots_[slot] == kNone) {
        if (count_ == most) {
          return false;
        }
        slots_[slot] = rgb;
        ++count_;
        return true;
      }
      slot = (slot + 1) % slots_.size();
    }
    return true;
  }

  std::vector<VxColor> Colours() const {
    std::vector<VxColor> colours;
    for (const uint32_t rgb : slots_) {
      if (rgb != kNone) {
        colours.push_back(
            {static_cast<uint8_t>(rgb), static_cast<uint8_t>(rgb >> 8), static_cast<uint8_t>(rgb >> 16), 0});
      }
    }
    std::sort(colours.begin(), colours.end(), DarkerFirst);
    return colours;
  }

  ColourSet() { slots_.fill(kNone); }

private:
  static constexpr uint32_t kNone = UINT32_MAX;
  std::array<uint32_t, 1024> slots_;
  uint32_t last_ = kNone;
  size_t count_ = 0;
};

// The palette entry next to a colour. Exact colours are found exactly; others by their histogram cell.
class NearestColour {
public:
  explicit NearestColour(std::span<const VxColor> palette) : palette_(palette), byCell_(kCells, kUnknown) {}

  size_t Find(uint32_t red, uint32_t green, uint32_t blue) {
    int16_t& known = byCell_[CellOf(red, green, blue)];
    if (known == kUnknown) {
      known = Fill(red, green, blue);
    }
    // Several entries may share the cell: the colour itself decides among them.
    return known >= 0 ? static_cast<size_t>(known) : Search(red, green, blue);
  }

private:
  static constexpr int16_t kUnknown = INT16_MIN;
  static constexpr int16_t kShared = -1;

  int16_t Fill(uint32_t red, uint32_t green, uint32_t blue) const {
    int16_t inside = kUnknown;
    for (size_t i = 0; i < palette_.size(); ++i) {
      if (CellOf(palette_[i].red, palette_[i].green, palette_[i].blue) == CellOf(red, green, blue)) {
        if (inside != kUnknown) {
          return kShared;
        }
        inside = static_cast<int16_t>(i);
      }
    }
    return inside != kUnknown ? inside
                              : static_cast<int16_t>(Search((red & 0xF8) + 4, (green & 0xF8) + 4, (blue & 0xF8) + 4));
  }

  size_t Search(uint32_t red, uint32_t green, uint32_t blue) const {
    size_t best = 0;
    int bestDistance = INT_MAX;
    for (size_t i = 0; i < palette_.size(); ++i) {
      const int dr = static_cast<int>(red) - palette_[i].red;
      const int dg = static_cast<int>(green) - palette_[i].green;
      const int db = static_cast<int>(blue) - palette_[i].blue;
      const int distance = 2 * dr * dr + 4 * dg * dg + db * db;
      if (distance < bestDistance) {
        bestDistance = distance;
        best = i;
      }
    }
    return best;
  }

  std::span<const VxColor> palette_;
  std::vector<int16_t> byCell_;
};

// Errors of one channel for the row at work and the row below, in sixteenths, with a spare pixel at both ends.
struct ErrorRows {
  explicit ErrorRows(size_t width) : here(width + 2), below(width + 2) {}
  void NextRow() {
    here.swap(below);
    std::fill(below.begin(), below.end(), 0);
  }
  void Spread(size_t x, int error, int forward) {
    const size_t at = x + 1;
    const auto next = static_cast<size_t>(static_cast<ptrdiff_t>(at) + forward);
    const auto previous = static_cast<size_t>(static_cast<ptrdiff_t>(at) - forward);
    here[next] += 7 * error;
    below[previous] += 3 * error;
    below[at] += 5 * error;
    below[next] += error;
  }
  int At(size_t x, int value) const {
    return std::clamp(value + (here[x + 1] + (here[x + 1] < 0 ? -8 : 8)) / 16, 0, 255);
  }

  std::vector<int> here;
  std::vector<int> below;
};

} // namespace

std::optional<std::vector<VxColor>> CollectColours(const PictureRows& rgb, size_t most) {
  ColourSet set;
  std::vector<uint8_t> row(3 * rgb.width);
  for (int32_t y = 0; y < rgb.height; ++y) {
    if (!rgb.read(y, row.data())) {
      return std::nullopt;
    }
    for (size_t at = 0; at < row.size(); at += 3) {
      const uint32_t colour = uint32_t{row[at]} << 16 | uint32_t{row[at + 1]} << 8 | row[at + 2];
      if (!set.Insert(colour, std::min(most, kMostColours))) {
        return std::nullopt;
      }
    }
  }
  return set.Colours();
}

std::vector<VxColor> ChooseColours(const PictureRows& rgb, size_t count) {
  Histogram histogram(kCells);
  std::vector<uint8_t> row(3 * rgb.width);
  for (int32_t y = 0; y < rgb.height; ++y) {
    if (!rgb.read(y, row.data())) {
      return {};
    }
    for (size_t at = 0; at < row.size(); at += 3) {
      Cell& cell = histogram[CellOf(row[at], row[at + 1], row[at + 2])];
      cell.red += row[at];
      cell.green += row[at + 1];
      cell.blue += row[at + 2];
      ++cell.pixels;
    }
  }
  Box all = {{0, 0, 0}, {kCellsPerSide - 1, kCellsPerSide - 1, kCellsPerSide - 1}, 0};
  Shrink(histogram, all);
  std::vector<Box> boxes;
  if (all.pixels != 0) {
    boxes.push_back(all);
  }
  while (!boxes.empty() && boxes.size() < count) {
    // The next box to cut is the one with the most pixels times the length of its widest side.
    const auto weight = [](const Box& box) {
      const size_t side = WidestSide(box);
      return box.pixels * (box.last[side] - box.first[side]);
    };
    const auto largest = std::max_element(
        boxes.begin(), boxes.end(), [&](const Box& left, const Box& right) { return weight(left) < weight(right); });
    if (weight(*largest) == 0) {
      break;
    }
    const Box second = Cut(histogram, *largest);
    boxes.push_back(second);
  }
  std::vector<VxColor> colours;
  for (const Box& box : boxes) {
    colours.push_back(MeanColour(histogram, box));
  }
  std::sort(colours.begin(), colours.end(), DarkerFirst);
  return colours;
}

bool DitherToPalette(const PictureRows& rgb, std::span<const VxColor> palette, uint32_t bits, uint8_t* out,
                     size_t rowBytes) {
  if (palette.empty()) {
    return false;
  }
  NearestColour nearest(palette);
  std::array<ErrorRows, 3> errors = {ErrorRows(rgb.width), ErrorRows(rgb.width), ErrorRows(rgb.width)};
  std::vector<uint8_t> row(3 * rgb.width);
  std::vector<uint8_t> indices(rgb.width);
  for (int32_t y = 0; y < rgb.height; ++y, out += rowBytes) {
    if (!rgb.read(y, row.data())) {
      return false;
    }
    // Rows run to and fro, so that no pattern leans to one side.
    const int forward = y % 2 == 0 ? 1 : -1;
    for (size_t step = 0; step < rgb.width; ++step) {
      const size_t x = forward > 0 ? step : rgb.width - 1 - step;
      const int red = errors[0].At(x, row[3 * x]);
      const int green = errors[1].At(x, row[3 * x + 1]);
      const int blue = errors[2].At(x, row[3 * x + 2]);
      const size_t index =
          nearest.Find(static_cast<uint32_t>(red), static_cast<uint32_t>(green), static_cast<uint32_t>(blue));
      indices[x] = static_cast<uint8_t>(index);
      errors[0].Spread(x, red - palette[index].red, forward);
      errors[1].Spread(x, green - palette[index].green, forward);
      errors[2].Spread(x, blue - palette[index].blue, forward);
    }
    for (ErrorRows& channel : errors) {
      channel.NextRow();
    }
    PackSamples(indices.data(), out, rgb.width, bits);
  }
  return true;
}

bool DitherToRamp(const PictureRows& gray, uint32_t bits, uint8_t* out, size_t rowBytes) {
  const uint32_t entries = 1u << bits;
  std::array<uint8_t, 256> level = {};
  std::array<uint8_t, 256> tone = {};
  for (uint32_t i = 0; i < 256; ++i) {
    level[i] = static_cast<uint8_t>((i * (entries - 1) + 127) / 255);
    tone[i] = RampGray(level[i], entries);
  }
  ErrorRows errors(gray.width);
  std::vector<uint8_t> row(gray.width);
  for (int32_t y = 0; y < gray.height; ++y, out += rowBytes) {
    if (!gray.read(y, row.data())) {
      return false;
    }
    const int forward = y % 2 == 0 ? 1 : -1;
    for (size_t step = 0; step < gray.width; ++step) {
      const size_t x = forward > 0 ? step : gray.width - 1 - step;
      const auto value = static_cast<size_t>(errors.At(x, row[x]));
      errors.Spread(x, static_cast<int>(value) - tone[value], forward);
      row[x] = level[value];
    }
    errors.NextRow();
    PackSamples(row.data(), out, gray.width, bits);
  }
  return true;
}

} // namespace toolkit
