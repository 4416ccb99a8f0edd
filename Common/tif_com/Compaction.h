// Steps of compaction: fltCompact itself stands among the exports.
#pragma once

#include <cstdint>

#include "tif_com/DirectoryTree.h"

// The next word of the directory at `offset`; 0 for anything wrong.
uint32_t TIFNextDirectoryOffset(const TifFile* file, uint32_t offset);

// Takes the first record with the tag out of a page's tree. 1, or 0 when there is none.
int32_t TIFRemoveRecord(TifDirectory* tree, uint16_t tag);
