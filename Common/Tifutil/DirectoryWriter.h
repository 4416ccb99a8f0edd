// The directory writer: everything of a page that stands in front of its pixel data. All save paths come through here.
#pragma once

#include <cstdint>

#include <vxkernel/bitmap.h>
#include <vxtif/page.h>
#include <vxtif/rawpage.h>
#include <vxtif/save.h>

struct DirectoryWriteJob {
  BitmapHandle* descriptor;        // the rows' description
  int32_t bitsPerPixel;            // written depth
  const VxColor* palette;          // or null
  uint32_t stripCount;             // strips or tiles in all
  const uint32_t* byteCounts;      // of each strip
  uint32_t compression;            // tag 259
  TifCommentBlock* comments;       // or null
  SaveOptions* options;            // changed for a variant file
  TifTagItem* tagList;             // or null
  uint32_t faxOptions;             // low bits of tag 292
  uint32_t tileWidth;              // layout: pixels of a strip or tile
  uint32_t rowsPerStrip;           // layout: rows of a strip or tile
  TifMarkerBlock* markers;         // or null
  const TifSizePair* private50235; // or null
  TifPage* page;                   // scratch page of the save: predictor is read, bitsPerSample[0] is set
  TifGeoKeyItem* geoKeys;          // or null
};

// Writes header (of a new file), directory and out-of-line values at the file's position and leaves the file where the
// pixel data begin. 1, -1, -4, -5, or a metadata writer's code.
int32_t TIFWriteDirectory(TifFile* file, const DirectoryWriteJob* job);
