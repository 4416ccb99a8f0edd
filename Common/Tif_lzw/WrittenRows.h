// Forms of rows as pages are written: 12-bit packing, CMYK from RGB, sub-sampled YCbCr, floats.
#pragma once

#include <cstdint>

// Samples of 12 bits from the toolkit's packing (low nibble first) to TIFF's (high bits first). In place or not.
void TIFPack12BitRow(uint8_t* target, const uint8_t* source, uint32_t pixelCount);

// Pixels of blue, green, red to units of two: Y0, Y1, Cb, Cr. A last odd pixel gives Y, 0, Cb, Cr. In place or not.
void TIFConvertRowToYCC(uint8_t* target, const uint8_t* source, uint32_t pixelCount);

// Pixels of blue, green, red to c, m, y, k; with `sourceStep` 4 the source's fourth byte follows.
void TIFConvertRowToCmyk(uint8_t* target, const uint8_t* source, uint32_t pixelCount, uint32_t sourceStep);

// Samples of `sampleBytes` (1 or 2) to 32-bit floats of the same value.
void TIFConvertRowToFloat(uint8_t* target, const uint8_t* source, uint32_t pixelCount, uint32_t sampleBytes);
