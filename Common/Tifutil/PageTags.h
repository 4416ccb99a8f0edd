// The tags of a page as the parser knows them: one row a tag. Inside this module only.
#pragma once

#include "Tifutil/PageParse.h"

// Applies one entry to the page. A tag without a row, and a load-only tag in the information mode, does nothing.
TagOutcome TIFApplyPageTag(PageParse& parse, const TifDirEntry& entry);
