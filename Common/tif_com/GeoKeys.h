// GeoTIFF keys: the three tags 34735, 34736, 34737 unpacked into records, one a key with the key id in `tag`, and
// packed again. The editor and the directory writer merge a caller's keys through here.
#pragma once

#include <cstdint>

#include "tif_com/DirectoryTree.h"
#include <vxtif/metadata.h>
#include <vxtif/rawpage.h>

constexpr uint32_t kGeoTagCount = 3; // entries that a merge may add

// The keys of a page whose entries are given; null for none, which is also what a key directory gives that does not fit
// the rules. The list owns its values and is freed as kDirGeoKeys. 1, -1, -4, -7.
int32_t TIFReadGeoKeys(TifFile* file, TifDirEntry* entries, uint32_t n, TifDirectory** out);

// Merges the caller's keys over those of the page and stores the tags in `entries`, which has room for kGeoTagCount
// more. An item with a size but without data is passed over. A failure in packing or writing is not reported.
int32_t TIFMergeGeoKeys(TifFile* file, TifDirEntry* entries, uint32_t* n, const TifGeoKeyItem* list);

// A value into a new block, in host order. `out` is null on failure. 1, -1, -140, -4, -7.
int32_t TIFLoadEntryValues(TifFile* file, const TifDirEntry* entry, void** out);

// The values of the three tags, each in a block of its own; null for none.
struct GeoKeyBlocks {
  uint16_t* shorts; // the key directory, and behind it the keys of several SHORTs
  uint32_t shortCount;
  uint8_t* doubles;
  uint32_t doubleCount;
  uint8_t* ascii; // texts, each closed by the delimiter
  uint32_t asciiLength;
};

// Packs a key list, which comes out sorted by key id. 1, or -1 with no blocks.
int32_t TIFBuildGeoKeyBlocks(TifDirectory* keys, GeoKeyBlocks* blocks);
void TIFFreeGeoKeyBlocks(GeoKeyBlocks* blocks);

// Stores the blocks as tags. Without doubles or texts an old tag of that kind stays. Ends at the first failure.
int32_t TIFAddGeoTags(TifFile* file, TifDirEntry* entries, uint32_t* n, const GeoKeyBlocks* blocks);

// Packs and stores.
int32_t TIFWriteGeoTags(TifFile* file, TifDirectory* keys, TifDirEntry* entries, uint32_t* n);

// Room for `records` records. 1, or -1 with the directory as it was.
int32_t TIFGrowDirectory(TifDirectory** directory, uint32_t records);
