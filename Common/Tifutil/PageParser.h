// The page parser: one directory into the flat TifPage from which all load code and the file report work.
#pragma once

#include <vxtif/page.h>
#include <vxtif/rawpage.h>

enum class ParseMode : int32_t { kInformation = 0, kLoad = 1 };
enum class RgbMode : int32_t { kAsStored = 0, kForceRgb = 1 };

// `file` stands just behind the entry count, as TIFSeekPage leaves it. `page` is cleared by its user (the load driver
// does so too) with photometricInterpretation 0, fillOrder 1, sampleFormat 1 and fileOptions set.
// 1; 0 when the page is refused, with all allocations undone; -9 when its extra samples outnumber its samples, with
// what was read left in the page for the caller to free. On 1 the position is on the next-directory word.
int32_t TIFReadPageInfo(TifFile* file, TifPage* page, ParseMode mode, RgbMode rgbMode);

// The compressions whose pages a sibling library describes by itself, so that the information mode reads their strip
// tables.
bool TIFReportNeedsStrips(uint32_t compression);

// Frees the arrays that a page owns, and the page.
void TIFFreePage(TifPage* page);

// Frees and clears the arrays that a page owns and keeps the record itself.
void TIFFreePageTables(TifPage* page);
