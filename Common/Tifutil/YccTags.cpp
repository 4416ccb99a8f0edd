// The tags of YCbCr pages (529, 530, 532). Given an entry, they fill the page's coefficients, factors and reference
// values as whole numbers, and refuse what the conversion cannot honour. The page parser uses this.

#include "Tifutil/YccTags.h"

#include "tif_com/ByteOrder.h"
#include "tif_com/Tags.h"

namespace {

constexpr uint32_t kCoefficientCount = 3;
constexpr uint32_t kReferenceCount = 6;
constexpr uint32_t kPerMille = 1000;
constexpr uint32_t kHighestWhite = 255;
constexpr uint32_t kRationalBytes = 8;

struct Rational {
  uint32_t numerator;
  uint32_t denominator;
};

bool ReadRationals(const TifFile* file, Rational* rationals, uint32_t count) {
  uint8_t bytes[kCoefficientCount * kRationalBytes];
  if (!TIFReadExactly(file, bytes, count * kRationalBytes)) {
    return false;
  }
  const bool little = TIFIsLittle(file);
  for (uint32_t i = 0; i < count; ++i) {
    const uint8_t* at = bytes + size_t{kRationalBytes} * i;
    rationals[i].numerator = little ? LoadU32LE(at) : LoadU32BE(at);
    rationals[i].denominator = little ? LoadU32LE(at + 4) : LoadU32BE(at + 4);
  }
  return true;
}

uint32_t ToPerMille(const Rational& value) {
  const double scaled = static_cast<double>(value.numerator) * kPerMille / static_cast<double>(value.denominator) + 0.5;
  return scaled >= 4294967295.0 ? 0xFFFFFFFFu : static_cast<uint32_t>(scaled);
}

bool IsSubSamplingFactor(uint32_t factor) {
  return factor == 1 || factor == 2 || factor == 4;
}

// A pair of the tag, black and white, as whole numbers.
bool ReadReferencePair(const TifFile* file, uint32_t* black, uint32_t* white) {
  Rational pair[2];
  if (!ReadRationals(file, pair, 2) || pair[0].denominator == 0 || pair[1].denominator == 0) {
    return false;
  }
  *black = pair[0].numerator / pair[0].denominator;
  *white = pair[1].numerator / pair[1].denominator;
  return *black < *white && *white <= kHighestWhite;
}

} // namespace

TagOutcome TIFApplyYccCoefficients(PageParse& parse, const TifDirEntry& entry) {
  if (entry.count != kCoefficientCount || entry.type != kTypeRational) {
    return TagOutcome::kGoOn;
  }
  TIFSeek(parse.file->fileHandle, entry.value, kKrnSeekSet);
  Rational values[kCoefficientCount];
  if (!ReadRationals(parse.file, values, kCoefficientCount)) {
    return TagOutcome::kRefused;
  }
  if (values[0].denominator == 0 || values[1].denominator == 0 || values[2].denominator == 0) {
    return TagOutcome::kGoOn;
  }
  const bool sameDenominator =
      values[0].denominator == values[1].denominator && values[0].denominator == values[2].denominator;
  const uint32_t target = sameDenominator ? values[0].denominator : kPerMille;
  uint64_t sum = 0;
  for (uint32_t i = 0; i < kCoefficientCount; ++i) {
    const uint32_t coefficient = sameDenominator ? values[i].numerator : ToPerMille(values[i]);
    parse.page->yCbCrCoefficients[i] = coefficient;
    sum += coefficient;
  }
  if (sum != target) {
    for (uint32_t i = 0; i < kCoefficientCount; ++i) {
      parse.page->yCbCrCoefficients[i] = kDefaultYccCoefficients[i];
    }
  }
  return TagOutcome::kGoOn;
}

TagOutcome TIFApplyYccSubSampling(PageParse& parse, const TifDirEntry& entry) {
  if (entry.count != 2 || entry.type != kTypeShort) {
    return TagOutcome::kRefused;
  }
  const uint32_t horizontal = entry.value & 0xFFFF;
  const uint32_t vertical = entry.value >> 16;
  parse.page->yCbCrSubSampleHoriz = horizontal;
  parse.page->yCbCrSubSampleVert = vertical;
  return IsSubSamplingFactor(horizontal) && IsSubSamplingFactor(vertical) ? TagOutcome::kGoOn : TagOutcome::kRefused;
}

TagOutcome TIFApplyReferenceBlackWhite(PageParse& parse, const TifDirEntry& entry) {
  const bool applies = parse.page->photometricInterpretation == kPhotometricYCbCr && entry.count == kReferenceCount &&
                       entry.type == kTypeRational;
  if (!applies) {
    return TagOutcome::kGoOn;
  }
  TIFSeek(parse.file->fileHandle, entry.value, kKrnSeekSet);
  for (uint32_t i = 0; i < kReferenceCount; i += 2) {
    uint32_t black = 0;
    uint32_t white = 0;
    if (!ReadReferencePair(parse.file, &black, &white)) {
      return TagOutcome::kRefused;
    }
    parse.page->referenceBlackWhite[i] = black;
    parse.page->referenceBlackWhite[i + 1] = white;
  }
  return TagOutcome::kGoOn;
}
