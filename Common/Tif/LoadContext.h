// The working record of one load, shared by the driver, the strip reader, the row stage and the delegation. It lives on
// the driver's stack, cleared at entry.
#pragma once

#include <cstdint>

#include <vxtif/load.h>
#include <vxtif/page.h>

struct LzwDecoder;

constexpr uint32_t kNoSibling = 11; // a compression without a row in the sibling table

struct TifLoadContext {
  TifPage* page;
  bool byteSwapSamples;   // the file is big-endian: 16- and 32-bit samples arrive swapped
  uint8_t* alphaRows;     // output of grey-and-alpha expansion, or null
  const VxColor* palette; // the page's 256 colours when it has a colour map, else null
  bool keepAlpha;         // grey-and-alpha pages are expanded to 32 bits
  bool clampNegative;     // negative samples are set to 0
  bool hasExtraChannel;   // bitsPerPixel is 32 or 64
  bool yccFast;           // sub-sampling is exactly 2 by 1
  bool cmykKeep;          // stays false in every load: CMYK rows are always converted
  uint8_t* yccRows;       // output of YCbCr conversion, or null
  bool cmykToRgb;         // photometric 5, planes not separate
  bool scanRange;         // one 32-bit sample per pixel: keep the running minimum and maximum
  bool floatSamples;      // sampleFormat is 3
  bool unpack12;          // 12-bit rows are re-ordered
  int64_t minValue;       // running range of integer samples
  int64_t maxValue;
  float minFloat; // running range of float samples
  float maxFloat;
  TifRowSink rowSink; // what the row stage calls with finished rows
  intptr_t rowSinkData;
  int32_t rowBytes; // distance between decoded rows
  FilterLoadRequest* request;
  int32_t status;        // 1, or the warning -7 of a short read
  LzwDecoder* lzwState;  // decoder of the current strip
  uint32_t siblingIndex; // row of the sibling table for this compression, kNoSibling for none
  uint8_t* outRows;      // target of a sibling's strip rows
  int32_t outRowBytes;
  uint32_t outRowCount;                // rows that outRows has room for
  uint32_t parsedPhotometric;          // photometricInterpretation as the parser left it
  int32_t tilesPerPlane;               // strips or tiles of one plane
  FilterLoadCMYKRequest* arrayRequest; // the load of CMYK planes alone
  uint32_t rowBufferBytes;             // bytes that may be touched from a row's start: no row operation leaves them
  uint64_t bandTailBytes;              // bytes from the current row's start to the end of the band
  uint64_t alphaRowsBytes;             // room in alphaRows
  uint64_t yccRowsBytes;               // room in yccRows
};
