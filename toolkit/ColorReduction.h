// Fewer colours: a palette for a picture, and its pixels as indices with the error spread over the neighbours.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include <vxkernel/bitmap.h>

namespace toolkit {

// A picture that is read row by row, top down.
struct PictureRows {
  size_t width;
  int32_t height;
  std::function<bool(int32_t row, uint8_t* out)> read; // false ends the work
};

// The different colours of a picture of red, green, blue bytes, darkest first; nothing when there are more than `most`
// (at most 256).
std::optional<std::vector<VxColor>> CollectColours(const PictureRows& rgb, size_t most);

// A palette of `count` colours by median cut: boxes of a histogram of 5 bits a colour, each cut where its widest side
// has half its pixels. Empty when a row could not be read.
std::vector<VxColor> ChooseColours(const PictureRows& rgb, size_t count);

// Packed indices of `bits`, the high bits first, `rowBytes` from row to row, by Floyd and Steinberg's error diffusion.
// A picture that has colours of the palette only keeps them exactly. False when a row could not be read.
bool DitherToPalette(const PictureRows& rgb, std::span<const VxColor> palette, uint32_t bits, uint8_t* out,
                     size_t rowBytes);

// The same for grey bytes and the plain ramp of the depth, black first.
bool DitherToRamp(const PictureRows& gray, uint32_t bits, uint8_t* out, size_t rowBytes);

} // namespace toolkit
