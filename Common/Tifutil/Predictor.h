// TIFF Predictor 2 on single rows, in place: differencing for a save, summing for a load. The two directions are no
// mirror images: they key on different fields of the page and support different depths.
#pragma once

#include <cstdint>

#include <vxtif/page.h>

enum class SampleSwap : int32_t { kHost = 0, kBigEndian = 1 };

// Differences a row of tileWidth pixels by page->bitsPerPixel. `rowBytes` bounds all access: pixels behind it are left
// alone.
void TIFPredictRow(const TifPage* page, uint8_t* row, uint32_t rowBytes);

// Sums a row; with kBigEndian its 16-bit samples are big-endian and stay so. `rowBytes` bounds all access.
void TIFUnpredictRow(const TifPage* page, uint8_t* row, uint32_t rowBytes, SampleSwap swap);
