// Strip layout and strip output: how large a strip or tile is, and the rows of one on their way to disk.
#pragma once

#include <cstdint>

#include <vxtif/page.h>
#include <vxtif/rawpage.h>
#include <vxtif/save.h>

// One save's rows.
struct TifRowContext {
  uint32_t tileWidth;    // pixels per strip row
  uint32_t rowsPerStrip; // rows of a strip or tile
  uint32_t tilesAcross;  // 1 for strips
  uint32_t stripsDown;   // strips or tile rows
  uint32_t rowBytes;     // bytes of one written row of a strip, before compression
  int32_t format;        // internal format: 3, 17, 87, or a fax or sibling number
  SaveOptions* options;
  VxSaveStart saveStart;
  VxSaveEnd saveEnd;
  VxSaveGetRow saveGetRow;
  uint32_t flags; // request flags
  intptr_t extra1;
  intptr_t extra2;
  int32_t bitsPerPixel;     // written depth
  uint32_t planeCount;      // 1, or the planes of a CMYK array
  uint32_t* byteCounts;     // one a strip and plane; owned by the save driver
  uint32_t stripBytes;      // predicted bytes of a full strip
  BitmapHandle* bitmap;     // the source of rows
  BitmapHandle** planes;    // the planes of a CMYK array, else null
  VxSaveGetRow planeGetRow; // CMYK arrays, interleaved: the request's row callback, set aside
  intptr_t planeExtra2;     // and its second word
  uint8_t** planeRows;      // one row buffer a plane
};

void TIFInitRowContext(const FilterSaveRequest* request, TifRowContext* context);

// Sizes and byteCounts for bitmap and options. 1, -1, -11 for a height of 0.
int32_t TIFComputeStripLayout(const BitmapHandle* bitmap, TifRowContext* context, const TifFile* file);

// Sets the scratch page up for LZW. 1 or -1.
int32_t TIFInitLZWPage(TifPage* page, const SaveOptions* options, const BitmapHandle* descriptor, int32_t bitsPerPixel,
                       VxFileHandle file, bool isCmyk, bool isYcc, uint32_t tileWidth, uint32_t rowsPerStrip);

// Gives the scratch page a buffer that a PackBits strip of `stripBytes` at worst fits in. 1 or -1.
int32_t TIFInitPackBitsPage(TifPage* page, uint32_t stripBytes);

// What the strips of one page share while they are written.
struct StripWriteJob {
  TifRowContext* context;
  TifFile* file;
  TifPage* page;
  BitmapHandle* descriptor;
  void* conversionContext; // the row service's
  uint8_t* rowBuffer;
  uint32_t rowBufferBytes;
  uint8_t* cmykScratch;  // with kStateCmyk, else null
  uint8_t* floatScratch; // with kStateFloat, else null
};

// Writes the strip that starts at `firstRow`. 1 or a failure code.
int32_t TIFWriteStrip(const StripWriteJob* job, uint32_t* byteCountSlot, uint32_t firstRow, uint32_t columnOffset);

// The bare LZW stream of format 178. 1 or a failure code.
int32_t TIFSaveRawLZW(FilterSaveRequest* request);
