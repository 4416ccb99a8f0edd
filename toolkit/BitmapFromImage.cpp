// Pictures as bitmaps.

#include "toolkit/BitmapFromImage.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "toolkit/BitmapRows.h"
#include "toolkit/Failure.h"

#include <vxtif/results.h>

namespace toolkit {
namespace {

void PutColours(const Image& image, Bitmap& bitmap) {
  std::array<VxColor, kPaletteEntries> colours = {};
  const uint32_t entries = 1u << image.bits;
  for (uint32_t i = 0; i < entries; ++i) {
    if (image.kind == ImageKind::kGray) {
      const uint8_t gray = RampGray(i, entries);
      colours[i] = {gray, gray, gray, 0};
    } else if (i < image.palette.size()) {
      colours[i] = {image.palette[i][2], image.palette[i][1], image.palette[i][0], 0};
    }
  }
  krnBitmapSetPalette(bitmap.Handle(), colours.data(), entries);
}

// Grey with alpha has no form of its own: it becomes colours with alpha.
template <class Sample> void WidenGrayAlpha(const Image& image, Bitmap& bitmap) {
  for (uint32_t y = 0; y < image.height; ++y) {
    const uint8_t* from = image.Row(y);
    uint8_t* to = bitmap.Row(static_cast<int32_t>(y));
    for (uint32_t x = 0; x < image.width; ++x, from += 2 * sizeof(Sample), to += 4 * sizeof(Sample)) {
      for (size_t c = 0; c < 3; ++c) {
        std::memcpy(to + c * sizeof(Sample), from, sizeof(Sample));
      }
      std::memcpy(to + 3 * sizeof(Sample), from + sizeof(Sample), sizeof(Sample));
    }
  }
}

} // namespace

Bitmap BitmapFromImage(const Image& image, const std::string& file) {
  const bool grayAlpha = image.kind == ImageKind::kGrayAlpha;
  const uint32_t depth = grayAlpha ? 4 * image.bits : ChannelsOf(image.kind) * image.bits;
  const bool deepGray = image.kind == ImageKind::kGray && image.bits == 16;
  if (image.width > INT32_MAX || image.height > INT32_MAX) {
    throw Failure(file, "read", kResultInvalidParameter, "the picture is too large");
  }
  Bitmap bitmap;
  const int32_t made =
      bitmap.Create(static_cast<int32_t>(image.width), static_cast<int32_t>(image.height), static_cast<int32_t>(depth),
                    deepGray ? uint32_t{kOrderGray} : uint32_t{kOrderRedFirst});
  if (made != kResultOk) {
    throw Failure(file, "read", made);
  }
  bitmap->xResolution = image.xResolution;
  bitmap->yResolution = image.yResolution;
  if (depth <= 8) {
    PutColours(image, bitmap);
  }
  if (grayAlpha) {
    image.bits == 16 ? WidenGrayAlpha<uint16_t>(image, bitmap) : WidenGrayAlpha<uint8_t>(image, bitmap);
    return bitmap;
  }
  for (uint32_t y = 0; y < image.height; ++y) {
    std::memcpy(bitmap.Row(static_cast<int32_t>(y)), image.Row(y), image.rowBytes);
  }
  return bitmap;
}

} // namespace toolkit
