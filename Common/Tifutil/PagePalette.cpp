// The palette of a page, from its photometric value, depth and colour map. See the header.

#include "Tifutil/PagePalette.h"

#include <algorithm>
#include <cstddef>

#include "tif_com/ByteOrder.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Memory.h"
#include "tif_com/Tags.h"

namespace {

constexpr uint32_t kCmyk4Colors = 16;

bool IsFax(uint32_t compression) {
  return compression == kCompressionCcittRle || compression == kCompressionGroup3 || compression == kCompressionGroup4;
}

// Levels of a depth, as many as a palette holds; none from 32 bits on (negative depths count as such).
uint32_t LevelsOfDepth(int32_t bitsPerPixel) {
  const auto bits = static_cast<uint32_t>(bitsPerPixel);
  return bits >= 32 ? 0 : std::min<uint32_t>(1u << bits, kPaletteEntries);
}

struct ColorMapTraits {
  bool identity; // 0, 1, 2, ... through all three planes: a map that some writers leave as a placeholder
  bool wide;     // 16-bit values, as TIFF 6.0 wants them; other writers store 8-bit ones
};

ColorMapTraits InspectColorMap(const uint8_t* values, uint32_t count) {
  ColorMapTraits traits = {true, false};
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t value = LoadU16LE(values + size_t{2} * i);
    traits.identity = traits.identity && value == i;
    traits.wide = traits.wide || value > 255;
  }
  return traits;
}

// The divisor is the number of entries, not the last index: the ramp of an identity map never reaches 255.
void FillIdentityRamp(VxColor* palette, uint32_t entries) {
  const uint32_t filled = std::min<uint32_t>(entries, kPaletteEntries);
  for (uint32_t i = 0; i < filled; ++i) {
    const auto level = static_cast<uint8_t>(255 * i / entries);
    palette[i].blue = palette[i].green = palette[i].red = level;
  }
}

// The file holds all red values, then all green, then all blue.
void FillFromPlanes(VxColor* palette, const uint8_t* values, uint32_t entries, bool wide) {
  const uint8_t* const byte = values + (wide ? 1 : 0);
  const size_t plane = size_t{2} * entries;
  const uint32_t filled = std::min<uint32_t>(entries, kPaletteEntries);
  for (uint32_t i = 0; i < filled; ++i) {
    palette[i].red = byte[size_t{2} * i];
    palette[i].green = byte[plane + size_t{2} * i];
    palette[i].blue = byte[2 * plane + size_t{2} * i];
  }
}

} // namespace

int32_t TIFMakeGrayRamp(VxColor* palette, uint32_t entries, RampOrder order) {
  if (entries < 2 || entries > kPaletteEntries) {
    return kResultInvalidParameter;
  }
  for (uint32_t i = 0; i < entries; ++i) {
    const uint32_t level = ((entries - 1) / 2 + 255 * i) / (entries - 1);
    const auto shown = static_cast<uint8_t>(order == RampOrder::kWhiteFirst ? 255 - level : level);
    palette[i].blue = palette[i].green = palette[i].red = shown;
  }
  return kResultOk;
}

void TIFMakeCmyk4Palette(VxColor* palette) {
  for (uint32_t i = 0; i < kCmyk4Colors; ++i) {
    const uint8_t white = (i & 1) != 0 ? 0 : 255; // full black leaves nothing for the inks to take away
    palette[i].red = (i & 8) != 0 ? 0 : white;
    palette[i].green = (i & 4) != 0 ? 0 : white;
    palette[i].blue = (i & 2) != 0 ? 0 : white;
    palette[i].reserved = 0;
  }
}

int32_t TIFReadColorMap(const TifFile* file, TifPage* page, VxColor* palette) {
  const uint32_t count = page->colorMapCount;
  if (TIFSeek(file->fileHandle, page->colorMapOffset, kKrnSeekSet) == kSeekFailed) {
    return kResultSeekFailed;
  }
  // A map longer than the file cannot be read whole: refuse it before asking for the memory.
  const uint64_t bytes = uint64_t{2} * count;
  if (bytes > file->fileSize) {
    return kResultReadFailed;
  }
  auto* const values = static_cast<uint8_t*>(TIFAlloc(static_cast<size_t>(bytes), 1));
  if (values == nullptr) {
    return kResultNoMemory;
  }
  if (krnFileRead(file->fileHandle, values, static_cast<uint32_t>(bytes)) != bytes) {
    TIFFree(values);
    return kResultReadFailed;
  }
  page->colorMapEntries = count / 3;
  if (!TIFIsLittle(file)) {
    SwapRun16(values, count);
  }
  const ColorMapTraits traits = InspectColorMap(values, count);
  if (traits.identity) {
    FillIdentityRamp(palette, page->colorMapEntries);
  } else {
    FillFromPlanes(palette, values, page->colorMapEntries, traits.wide);
  }
  TIFFree(values);
  return kResultOk;
}

int32_t TIFPreparePalette(int32_t /*zero*/, const TifFile* file, TifPage* page, VxColor* palette) {
  const uint32_t photometric = page->photometricInterpretation;
  if (page->colorMapCount != 0 && (photometric == kPhotometricRgb || photometric == kPhotometricPalette)) {
    return TIFReadColorMap(file, page, palette);
  }
  if (photometric > kPhotometricBlackIsZero && !IsFax(page->compression)) {
    if (photometric == kPhotometricCmyk && page->bitsPerPixel == 4) {
      page->photometricInterpretation = kPhotometricRgb;
      page->colorMapEntries = kCmyk4Colors;
      TIFMakeCmyk4Palette(palette);
    }
    return kResultOk;
  }
  page->colorMapEntries = LevelsOfDepth(page->bitsPerPixel);
  // A depth without a ramp keeps the cleared palette: the code is of no interest.
  (void)TIFMakeGrayRamp(palette, page->colorMapEntries,
                        photometric == kPhotometricWhiteIsZero ? RampOrder::kWhiteFirst : RampOrder::kBlackFirst);
  return kResultOk;
}
