// The save drivers' way to the directory writer: what a job takes from the request, and what from the strip layout.
#pragma once

#include <cstdint>

#include <vxtif/save.h>

#include "Tif_lzw/StripWriter.h"
#include "Tifutil/DirectoryWriter.h"

// A job for the rows that `descriptor` describes, with the depth, the options and the metadata of the request but for
// its GeoTIFF keys, which one format alone writes. `page` is the save's scratch page.
DirectoryWriteJob TIFDirectoryJob(const FilterSaveRequest* request, BitmapHandle* descriptor, TifPage* page);

// Sizes and byte counts of `stripCount` strips or tiles.
void TIFSetJobLayout(DirectoryWriteJob* job, const TifRowContext* rows, uint32_t stripCount);
