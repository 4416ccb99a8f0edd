// Saving of one page in strips or tiles, or through a sibling: the part of the save driver behind its checks.
#pragma once

#include <cstdint>

#include <vxtif/save.h>

#include "Tif/SaveFormats.h"
#include "Tif_lzw/StripWriter.h"

// What the checks have settled.
struct SavePlan {
  const SaveFormat* format;
  uint32_t state; // bits of TifFile.stateFlags that the save starts with
};

// 1, or a failure's code with the page or the new file taken back.
int32_t TIFSaveStripPage(FilterSaveRequest* request, const SavePlan* plan);
