// GeoTIFF keys: the three tags 34735, 34736, 34737 unpacked into records, one a key, and packed again.
#pragma once

#include <cstdint>

#include "tif_com/DirectoryTree.h"
#include <vxtif/metadata.h>
#include <vxtif/rawpage.h>

constexpr uint32_t kGeoTagCount = 3; // entries that a merge may add

// The keys of a page whose entries are given; null for none. 1, or a negative code.
int32_t TIFReadGeoKeys(TifFile* file, TifDirEntry* entries, uint32_t n, TifDirectory** out);

// Merges the caller's keys over those of the page and stores the tags in `entries`, which has room for kGeoTagCount
// more. A failure in packing or writing is not reported.
int32_t TIFMergeGeoKeys(TifFile* file, TifDirEntry* entries, uint32_t* n, const TifGeoKeyItem* list);
