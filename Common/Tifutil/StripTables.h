// The arrays of a page that tags bring: strip and tile tables, the tone curve, the compression codes of single strips.
// Inside this module only.
#pragma once

#include "Tifutil/PageParse.h"

TagOutcome TIFApplyStripOffsets(PageParse& parse, const TifDirEntry& entry);
TagOutcome TIFApplyStripByteCounts(PageParse& parse, const TifDirEntry& entry);
TagOutcome TIFApplyTileOffsets(PageParse& parse, const TifDirEntry& entry);
TagOutcome TIFApplyTileByteCounts(PageParse& parse, const TifDirEntry& entry);
TagOutcome TIFApplyResponseCurve(PageParse& parse, const TifDirEntry& entry);
TagOutcome TIFApplyStripCompression(PageParse& parse, const TifDirEntry& entry);

// Zero-fills a table that is shorter than stripCount up to it. False for no memory.
bool TIFLevelStripTables(PageParse& parse);
