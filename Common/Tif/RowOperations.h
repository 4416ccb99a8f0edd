// Operations on one row of samples, in place but for the first. `rowBytes` bounds what they touch: pixels that would
// leave the row are left alone.
#pragma once

#include <cstdint>

#include <vxkernel/bitmap.h>

// Pixels of grey (or palette index) and alpha, 2 bytes each, to 4 bytes. Without a palette the value stands in all
// three colours.
void TIFExpandGrayAlpha(const uint8_t* source, uint8_t* target, uint64_t pixels, const VxColor* palette);

// Moves the kept bytes of each pixel together; for 1, 2, 3, 4, 6 or 8 of them, other numbers change nothing.
void TIFDropExtraSamples(uint8_t* row, uint64_t rowBytes, uint32_t totalBits, uint32_t extraBits);

// 12-bit samples from TIFF's packing (high bits first) to the toolkit's (low bits first).
void TIFUnpack12(uint8_t* row, uint64_t samples, uint64_t rowBytes);

// Negative samples of `bits` 16 become 0; at any other depth negative bytes do.
void TIFClampNegative(uint8_t* row, uint64_t rowBytes, uint32_t bits);

// The running range of 32-bit samples.
struct SampleRange {
  int64_t minValue;
  int64_t maxValue;
  float minFloat;
  float maxFloat;
};

enum class SampleKind { kInteger, kFloat };
enum class SampleOrder { kHost, kSwap };

// Widens `range` by `count` samples. With kSwap the samples are reversed in place first, and integers are signed
// whatever the sample format says.
void TIFScanSampleRange(uint8_t* row, uint64_t count, SampleOrder order, SampleKind kind, SampleRange* range,
                        uint32_t sampleFormat);
