// Colour conversion of rows: CMYK, CIELab and YCbCr to red, green, blue. Pure computation over memory: no file, no
// allocation, no failure. Red is the first byte of a result pixel, whatever the bitmap's order. The row stage and the
// merging of planes use it. Samples of 16 bits are in host order.
#pragma once

#include <cstdint>

#include <vxtif/page.h>

// CMYK in place. `keepExtra` keeps the fifth sample as a fourth of the result; `skip` more samples are passed over.
// `rowBytes` bounds what is touched: pixels that would leave the row are left alone.
void TIFCmykToRgb8(uint8_t* row, uint32_t pixels, bool keepExtra, uint32_t skip, uint64_t rowBytes);
void TIFCmykToRgb16(uint8_t* row, uint32_t pixels, bool keepExtra, uint32_t skip, uint64_t rowBytes);
// TIFCmykToRgb16, or with `keep` a pass through 8 bits that leaves four samples a pixel.
void TIFCmykRow16(bool keep, uint8_t* row, uint32_t pixels, bool keepExtra, uint32_t skip, uint64_t rowBytes);

// Planes of 8 or 16 bits, with an optional alpha plane, to rows of 3 or 4 samples; other depths nothing. `target` has
// room for 4 samples a pixel.
void TIFCmykPlanesToRgb(bool keep, uint8_t* target, const uint8_t* const* planes, const uint8_t* alpha, uint32_t pixels,
                        uint32_t bits);

// CIELab in place. `step` is the distance of pixels in samples; `rowBytes` bounds what is touched.
void TIFLabToRgb8(uint8_t* row, uint32_t pixels, uint32_t step, uint64_t rowBytes);
void TIFLabToRgb16(uint8_t* row, uint32_t pixels, uint32_t step, uint64_t rowBytes);
// L, a and b stand in the red, green and blue bytes.
void TIFLabPaletteToRgb(VxColor* palette, uint32_t entries);

// YCbCr: the page's tables once, then rows of units. `target` has room for what TIFYccTargetBytes says; `sourceBytes`
// and `targetBytes` bound both sides: a conversion ends before the first unit that does not fit.
void TIFBuildYccTables(TifPage* page);
void TIFYccToRgb2x1(uint8_t* target, const uint8_t* source, const TifPage* page, uint64_t targetBytes,
                    uint64_t sourceBytes);
void TIFYccToRgb(uint8_t* target, const uint8_t* source, const TifPage* page, uint64_t targetBytes,
                 uint64_t sourceBytes);

// Bytes from row to row in the output of TIFYccToRgb.
uint64_t TIFYccStride(const TifPage* page);
// Bytes that a conversion of this page writes at the most, by either function; UINT64_MAX for more than can be told.
uint64_t TIFYccTargetBytes(const TifPage* page);
