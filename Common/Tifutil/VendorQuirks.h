// Files of known other writers, recognised by their Make and Software texts. Inside this module only.
#pragma once

#include "Tifutil/PageParse.h"

TagOutcome TIFApplyMake(PageParse& parse, const TifDirEntry& entry);
TagOutcome TIFApplySoftware(PageParse& parse, const TifDirEntry& entry);

// 1 when the text of the entry ends in the vendor's name, in any mix of case; else 0.
int32_t TIFMakeIsKodak(const TifFile* file, const TifDirEntry* entry);
