// A picture as the ordinary image files hold it: what the writers of PNG and PNM files take and the readers give.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace toolkit {

enum class ImageKind { kGray, kGrayAlpha, kRgb, kRgba, kPalette };

struct Image {
  uint32_t width = 0;
  uint32_t height = 0;
  ImageKind kind = ImageKind::kGray;
  uint32_t bits = 8;                           // of a sample: 8 or 16; also 1, 2, 4 for kGray and kPalette
  std::vector<std::array<uint8_t, 3>> palette; // red, green, blue; kPalette only
  size_t rowBytes = 0;
  std::vector<uint8_t> pixels; // top down, the first pixel in the high bits; samples of 16 bits in host order
  int32_t xResolution = 0;     // dots per inch, 0 when not known
  int32_t yResolution = 0;

  uint8_t* Row(uint32_t y) { return pixels.data() + y * rowBytes; }
  const uint8_t* Row(uint32_t y) const { return pixels.data() + y * rowBytes; }
};

uint32_t ChannelsOf(ImageKind kind); // samples of a pixel; a palette index is one

// Sets the size and kind, and clears the pixels.
void AllocateImage(Image& image, uint32_t width, uint32_t height, ImageKind kind, uint32_t bits);

// Gives kGray and kPalette of fewer than 8 bits 8 of them: grey by its value, palettes by their index.
Image WidenToBytes(const Image& image);

// Palette colours in place of indices: grey when all colours are, else RGB.
Image ExpandPalette(const Image& image);

// Turns a picture stored with orientation `view` (1 to 8, TIFF tag 274) upright.
Image ApplyView(Image image, uint32_t view);

// A part of a picture. The rectangle is cut to the picture.
Image CropImage(const Image& image, uint32_t left, uint32_t top, uint32_t width, uint32_t height);

// Moves `count` samples of `bits` (1 to 8) between a packed row, high bits first, and one byte a sample.
void UnpackSamples(const uint8_t* packed, uint8_t* samples, size_t count, uint32_t bits);
void PackSamples(const uint8_t* samples, uint8_t* packed, size_t count, uint32_t bits);

} // namespace toolkit
