// YCbCr rows to red, green, blue, by tables that are built once a page, so that a pixel costs table reads, additions
// and clamps. Given rows of sub-sampling units (luma bytes row by row, then Cb, then Cr), it fills the image rows that
// they cover. The load driver builds the tables, the row stage converts.

#include <algorithm>
#include <limits>

#include "Tif/ColorConversion.h"

namespace {

// Coefficients and reference levels come from the file as they are. The arithmetic is that of 32-bit words, which wrap;
// a division by 0 gives 0.
uint32_t DivideUnsigned(uint32_t dividend, uint32_t divisor) {
  return divisor == 0 ? 0 : dividend / divisor;
}

int32_t DivideSigned(uint32_t dividend, uint32_t divisor) {
  if (divisor == 0) {
    return 0;
  }
  if (divisor == 0xFFFFFFFFu) {
    return static_cast<int32_t>(0 - dividend); // the one quotient that can overflow wraps as a negation does
  }
  return static_cast<int32_t>(dividend) / static_cast<int32_t>(divisor);
}

// The offset that a chroma value adds to its colour.
int32_t ChromaOffset(uint32_t value, uint32_t low, uint32_t high, uint32_t weight, uint32_t sum) {
  const auto centred = static_cast<uint32_t>(DivideSigned((value - low) * 127, high - low));
  return DivideSigned(centred * weight * 2, sum);
}

uint8_t ClampToByte(uint32_t sum) {
  const auto value = static_cast<int32_t>(sum);
  return static_cast<uint8_t>(std::clamp(value, 0, 255));
}

// The page's tables through the page itself: the record is packed, so no pointer into it is kept.
inline uint32_t Entry(const TifPage* page, int table, uint32_t index) {
  return static_cast<uint32_t>(page->yCbCrTables[table][index]);
}

// Chroma terms of a unit, the same for all its pixels.
struct ChromaTerms {
  uint32_t red;
  uint32_t blue;
};

inline ChromaTerms Chroma(const TifPage* page, uint8_t cb, uint8_t cr) {
  return {Entry(page, kYccCr, cr), Entry(page, kYccCb, cb)};
}

inline void ConvertPixel(const TifPage* page, uint8_t luma, const ChromaTerms& chroma, uint8_t* target) {
  const uint32_t level = Entry(page, kYccLuma, luma);
  const uint8_t red = ClampToByte(chroma.red + level);
  const uint8_t blue = ClampToByte(chroma.blue + level);
  target[0] = red;
  target[1] =
      ClampToByte(Entry(page, kYccGreenLuma, luma) - Entry(page, kYccGreenBlue, blue) - Entry(page, kYccGreenRed, red));
  target[2] = blue;
}

// Sizes of a page's units, unwrapped. A page with a width or sub-sampling of nothing has no units.
struct UnitLayout {
  uint32_t across; // pixels of a unit, side by side
  uint32_t down;   // and one below the other
  uint64_t units;  // in one row of units
  uint64_t stride; // bytes from image row to image row
};

UnitLayout LayoutOf(const TifPage* page) {
  UnitLayout layout = {page->yCbCrSubSampleHoriz, page->yCbCrSubSampleVert, 0, TIFYccStride(page)};
  if (page->tileWidth > 0 && layout.across != 0 && layout.down != 0) {
    layout.units = (uint64_t{static_cast<uint32_t>(page->tileWidth)} + layout.across - 1) / layout.across;
  }
  return layout;
}

uint64_t UnitsOf2x1(const TifPage* page) {
  return page->imageWidth > 0 ? (uint64_t{static_cast<uint32_t>(page->imageWidth)} + 1) / 2 : 0;
}

// Bytes from the first to behind the last that `units` units write; false when that cannot be told in 64 bits.
bool BytesOfUnits(const UnitLayout& layout, uint64_t units, uint64_t* bytes) {
  uint64_t above; // the rows over the last one
  uint64_t last;
  return !__builtin_mul_overflow(layout.stride, uint64_t{layout.down} - 1, &above) &&
         !__builtin_mul_overflow(units, uint64_t{layout.across} * 3, &last) &&
         !__builtin_add_overflow(above, last, bytes);
}

// Units that both sides have room for.
uint64_t UnitsThatFit(const UnitLayout& layout, uint64_t targetBytes, uint64_t sourceBytes) {
  uint64_t above;
  if (layout.units == 0 || !BytesOfUnits(layout, 0, &above) || above > targetBytes) {
    return 0;
  }
  const uint64_t unitBytes = uint64_t{layout.across} * layout.down + 2;
  return std::min({layout.units, sourceBytes / unitBytes, (targetBytes - above) / (uint64_t{layout.across} * 3)});
}

// One loop a width of units, so that the pixels of a row of a unit are unrolled; 0 takes the width as it comes.
// Units go in order and each writes all its rows, so that where the rows are further across than the stride, what is
// written last stays.
template <uint32_t kAcross>
void ConvertUnits(uint8_t* target, const uint8_t* source, const TifPage* page, const UnitLayout& layout,
                  uint64_t units) {
  const uint32_t across = kAcross != 0 ? kAcross : layout.across;
  const uint64_t lumaBytes = uint64_t{across} * layout.down;
  for (uint64_t unit = 0; unit < units; ++unit) {
    const ChromaTerms chroma = Chroma(page, source[lumaBytes], source[lumaBytes + 1]);
    uint8_t* row = target;
    for (uint32_t y = 0; y < layout.down; ++y) {
      for (uint32_t x = 0; x < across; ++x) {
        ConvertPixel(page, source[x], chroma, row + size_t{3} * x);
      }
      source += across;
      row += layout.stride;
    }
    source += 2;
    target += size_t{3} * across;
  }
}

} // namespace

void TIFBuildYccTables(TifPage* page) {
  const uint32_t c0 = page->yCbCrCoefficients[0];
  const uint32_t c1 = page->yCbCrCoefficients[1];
  const uint32_t c2 = page->yCbCrCoefficients[2];
  const uint32_t sum = c0 + c1 + c2;
  uint32_t reference[6];
  for (int i = 0; i < 6; ++i) {
    reference[i] = page->referenceBlackWhite[i];
  }
  for (uint32_t i = 0; i < kYccTableEntries; ++i) {
    // Unsigned on purpose: a luma below its black level wraps around to a bright one.
    const uint32_t luma = DivideUnsigned((i - reference[0]) * 255, reference[1] - reference[0]);
    page->yCbCrTables[kYccLuma][i] = static_cast<int32_t>(luma);
    page->yCbCrTables[kYccCb][i] = ChromaOffset(i, reference[2], reference[3], c1 + c0, sum);
    page->yCbCrTables[kYccCr][i] = ChromaOffset(i, reference[4], reference[5], c2 + c1, sum);
    page->yCbCrTables[kYccGreenLuma][i] = static_cast<int32_t>(DivideUnsigned(luma * sum, c1));
    page->yCbCrTables[kYccGreenBlue][i] = static_cast<int32_t>(DivideUnsigned(c2 * i, c1));
    page->yCbCrTables[kYccGreenRed][i] = static_cast<int32_t>(DivideUnsigned(c0 * i, c1));
  }
}

uint64_t TIFYccStride(const TifPage* page) {
  const int64_t width = std::max<int64_t>(page->imageWidth, 0);
  return static_cast<uint64_t>((width + 1) * 3) & ~uint64_t{3};
}

uint64_t TIFYccTargetBytes(const TifPage* page) {
  const UnitLayout layout = LayoutOf(page);
  uint64_t bytes = 0;
  if (layout.units != 0 && !BytesOfUnits(layout, layout.units, &bytes)) {
    return std::numeric_limits<uint64_t>::max();
  }
  return std::max(bytes, UnitsOf2x1(page) * 6);
}

void TIFYccToRgb2x1(uint8_t* target, const uint8_t* source, const TifPage* page, uint64_t targetBytes,
                    uint64_t sourceBytes) {
  const uint64_t units = std::min({UnitsOf2x1(page), sourceBytes / 4, targetBytes / 6});
  for (uint64_t unit = 0; unit < units; ++unit) {
    const ChromaTerms chroma = Chroma(page, source[2], source[3]);
    ConvertPixel(page, source[0], chroma, target);
    ConvertPixel(page, source[1], chroma, target + 3);
    source += 4;
    target += 6;
  }
}

void TIFYccToRgb(uint8_t* target, const uint8_t* source, const TifPage* page, uint64_t targetBytes,
                 uint64_t sourceBytes) {
  const UnitLayout layout = LayoutOf(page);
  const uint64_t units = UnitsThatFit(layout, targetBytes, sourceBytes);
  switch (layout.across) {
  case 1:
    return ConvertUnits<1>(target, source, page, layout, units);
  case 2:
    return ConvertUnits<2>(target, source, page, layout, units);
  case 4:
    return ConvertUnits<4>(target, source, page, layout, units);
  default:
    return ConvertUnits<0>(target, source, page, layout, units);
  }
}
