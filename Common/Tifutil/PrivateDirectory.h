// The toolkit's own nested directory (tag 50234) with its tone tables. Inside this module only.
#pragma once

#include "Tifutil/PageParse.h"

TagOutcome TIFApplyPrivateDirectory(PageParse& parse, const TifDirEntry& entry);

// Reads the block that the entry points to; the byte order of `file` must be little-endian, as the block always is.
// 1, -1, -4, -7, -9.
int32_t TIFReadPrivateDirectory(const TifFile* file, const TifDirEntry* entry, TifPage* page);

// Tables of the file's triples into entries of four values, the fourth being 0. 1, -1, -7.
int32_t TIFReadPalette8(VxFileHandle handle, uint8_t* table, uint32_t entries);
int32_t TIFReadPalette16(VxFileHandle handle, uint8_t* table, uint32_t entries);
