// The strip order of variant files (tag 33467). Inside this module only.
#pragma once

#include "Tifutil/PageParse.h"

TagOutcome TIFApplyStripOrderTag(PageParse& parse, const TifDirEntry& entry);

// Rearranges the strip tables: `value` and `count` are those of the tag. 1, or 0 with the page unchanged.
int32_t TIFApplyStripOrder(PageParse& parse, uint32_t value, uint32_t count);
