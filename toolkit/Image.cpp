// Pictures: sizes, sub-byte samples, palettes, orientation and cropping.

#include "toolkit/Image.h"

#include <algorithm>
#include <cstring>

namespace toolkit {
namespace {

// Copies pixels of `size` bytes into a picture with width and height exchanged or not. The steps say how many bytes
// the target advances for each source pixel and each source row.
template <size_t kSize>
void ScatterPixels(const Image& source, uint8_t* target, ptrdiff_t pixelStep, ptrdiff_t rowStep) {
  // Blocks keep the lines of both pictures in the cache when rows become columns.
  constexpr uint32_t kBlock = 32;
  for (uint32_t blockY = 0; blockY < source.height; blockY += kBlock) {
    const uint32_t endY = std::min(source.height, blockY + kBlock);
    for (uint32_t blockX = 0; blockX < source.width; blockX += kBlock) {
      const uint32_t endX = std::min(source.width, blockX + kBlock);
      for (uint32_t y = blockY; y < endY; ++y) {
        const uint8_t* from = source.Row(y) + size_t{blockX} * kSize;
        uint8_t* to = target + static_cast<ptrdiff_t>(y) * rowStep + static_cast<ptrdiff_t>(blockX) * pixelStep;
        for (uint32_t x = blockX; x < endX; ++x, from += kSize, to += pixelStep) {
          std::memcpy(to, from, kSize);
        }
      }
    }
  }
}

Image RepackBits(const Image& bytes, uint32_t bits) {
  Image packed = bytes;
  packed.bits = bits;
  packed.rowBytes = (size_t{bytes.width} * bits + 7) / 8;
  packed.pixels.assign(packed.rowBytes * bytes.height, 0);
  for (uint32_t y = 0; y < bytes.height; ++y) {
    PackSamples(bytes.Row(y), packed.Row(y), bytes.width, bits);
  }
  return packed;
}

// Sub-byte samples as bytes of the same number.
Image IndexBytes(const Image& image) {
  Image bytes = image;
  bytes.bits = 8;
  bytes.rowBytes = image.width;
  bytes.pixels.assign(bytes.rowBytes * image.height, 0);
  for (uint32_t y = 0; y < image.height; ++y) {
    UnpackSamples(image.Row(y), bytes.Row(y), image.width, image.bits);
  }
  return bytes;
}

} // namespace

uint32_t ChannelsOf(ImageKind kind) {
  switch (kind) {
  case ImageKind::kGrayAlpha:
    return 2;
  case ImageKind::kRgb:
    return 3;
  case ImageKind::kRgba:
    return 4;
  default:
    return 1;
  }
}

void AllocateImage(Image& image, uint32_t width, uint32_t height, ImageKind kind, uint32_t bits) {
  image.width = width;
  image.height = height;
  image.kind = kind;
  image.bits = bits;
  image.rowBytes = (size_t{width} * ChannelsOf(kind) * bits + 7) / 8;
  image.pixels.assign(image.rowBytes * height, 0);
}

void UnpackSamples(const uint8_t* packed, uint8_t* samples, size_t count, uint32_t bits) {
  if (bits == 8) {
    std::memcpy(samples, packed, count);
    return;
  }
  const uint32_t mask = (1u << bits) - 1;
  uint32_t window = 0;
  uint32_t have = 0;
  for (size_t i = 0; i < count; ++i) {
    if (have < bits) {
      window = window << 8 | *packed++;
      have += 8;
    }
    have -= bits;
    samples[i] = static_cast<uint8_t>(window >> have & mask);
  }
}

void PackSamples(const uint8_t* samples, uint8_t* packed, size_t count, uint32_t bits) {
  if (bits == 8) {
    std::memcpy(packed, samples, count);
    return;
  }
  uint32_t window = 0;
  uint32_t have = 0;
  for (size_t i = 0; i < count; ++i) {
    window = window << bits | samples[i];
    have += bits;
    if (have >= 8) {
      have -= 8;
      *packed++ = static_cast<uint8_t>(window >> have);
    }
  }
  if (have != 0) {
    *packed = static_cast<uint8_t>(window << (8 - have));
  }
}

Image WidenToBytes(const Image& image) {
  if (image.bits >= 8) {
    return image;
  }
  Image bytes = IndexBytes(image);
  if (image.kind == ImageKind::kGray) {
    const uint8_t scale = static_cast<uint8_t>(255 / ((1 << image.bits) - 1));
    for (uint8_t& sample : bytes.pixels) {
      sample = static_cast<uint8_t>(sample * scale);
    }
  }
  return bytes;
}

Image ExpandPalette(const Image& image) {
  if (image.kind != ImageKind::kPalette) {
    return image;
  }
  const bool gray = std::all_of(image.palette.begin(), image.palette.end(),
                                [](const auto& colour) { return colour[0] == colour[1] && colour[1] == colour[2]; });
  std::array<std::array<uint8_t, 3>, 256> colours = {};
  std::copy_n(image.palette.begin(), std::min<size_t>(image.palette.size(), colours.size()), colours.begin());
  const Image indices = image.bits < 8 ? IndexBytes(image) : image;
  Image expanded;
  expanded.xResolution = image.xResolution;
  expanded.yResolution = image.yResolution;
  AllocateImage(expanded, image.width, image.height, gray ? ImageKind::kGray : ImageKind::kRgb, 8);
  for (uint32_t y = 0; y < image.height; ++y) {
    const uint8_t* from = indices.Row(y);
    uint8_t* to = expanded.Row(y);
    for (uint32_t x = 0; x < image.width; ++x) {
      const auto& colour = colours[from[x]];
      *to++ = colour[0];
      if (!gray) {
        *to++ = colour[1];
        *to++ = colour[2];
      }
    }
  }
  return expanded;
}

Image ApplyView(Image image, uint32_t view) {
  if (view <= 1 || view > 8 || image.width == 0 || image.height == 0) {
    return image;
  }
  if (view == 4) {
    for (uint32_t top = 0, bottom = image.height - 1; top < bottom; ++top, --bottom) {
      std::swap_ranges(image.Row(top), image.Row(top) + image.rowBytes, image.Row(bottom));
    }
    return image;
  }
  if (image.bits < 8) {
    return RepackBits(ApplyView(IndexBytes(image), view), image.bits);
  }
  Image turned = image;
  const bool exchanged = view >= 5;
  if (exchanged) {
    std::swap(turned.width, turned.height);
    std::swap(turned.xResolution, turned.yResolution);
  }
  const size_t pixelBytes = size_t{ChannelsOf(image.kind)} * image.bits / 8;
  turned.rowBytes = turned.width * pixelBytes;
  // Where the file's first row and first column stand in the upright picture.
  const bool rowsFromEnd = view == 3 || view == 4 || view == 6 || view == 7;
  const bool columnsFromEnd = view == 2 || view == 3 || view == 7 || view == 8;
  const ptrdiff_t alongX = static_cast<ptrdiff_t>(exchanged ? turned.rowBytes : pixelBytes);
  const ptrdiff_t alongY = static_cast<ptrdiff_t>(exchanged ? pixelBytes : turned.rowBytes);
  uint8_t* start = turned.pixels.data();
  start += columnsFromEnd ? alongX * static_cast<ptrdiff_t>(image.width - 1) : 0;
  start += rowsFromEnd ? alongY * static_cast<ptrdiff_t>(image.height - 1) : 0;
  const ptrdiff_t pixelStep = columnsFromEnd ? -alongX : alongX;
  const ptrdiff_t rowStep = rowsFromEnd ? -alongY : alongY;
  switch (pixelBytes) {
  case 1:
    ScatterPixels<1>(image, start, pixelStep, rowStep);
    break;
  case 2:
    ScatterPixels<2>(image, start, pixelStep, rowStep);
    break;
  case 3:
    ScatterPixels<3>(image, start, pixelStep, rowStep);
    break;
  case 4:
    ScatterPixels<4>(image, start, pixelStep, rowStep);
    break;
  case 6:
    ScatterPixels<6>(image, start, pixelStep, rowStep);
    break;
  default:
    ScatterPixels<8>(image, start, pixelStep, rowStep);
    break;
  }
  return turned;
}

Image CropImage(const Image& image, uint32_t left, uint32_t top, uint32_t width, uint32_t height) {
  left = std::min(left, image.width);
  top = std::min(top, image.height);
  width = std::min(width, image.width - left);
  height = std::min(height, image.height - top);
  if (image.bits < 8) {
    return RepackBits(CropImage(IndexBytes(image), left, top, width, height), image.bits);
  }
  Image part;
  AllocateImage(part, width, width == 0 ? 0 : height, image.kind, image.bits);
  part.palette = image.palette;
  part.xResolution = image.xResolution;
  part.yResolution = image.yResolution;
  const size_t skip = size_t{left} * ChannelsOf(image.kind) * image.bits / 8;
  for (uint32_t y = 0; y < part.height; ++y) {
    std::memcpy(part.Row(y), image.Row(top + y) + skip, part.rowBytes);
  }
  return part;
}

} // namespace toolkit
