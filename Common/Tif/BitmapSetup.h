// What a load writes into the caller's bitmap descriptor before the rows come.
#pragma once

#include <cstdint>

#include <vxtif/load.h>
#include <vxtif/page.h>

// Resolutions, view, order and signed range. Sets the page's view to 1 too when the options ask for that.
void TIFDescribeBitmap(const FilterLoadRequest* request, const FileOptions* options, TifPage* page);

// Dots per inch as a whole number, rounded half up.
int32_t TIFRoundResolution(float resolution);

// Levels and tone table of a deep grey bitmap, or the palette of a shallow one. 1, or the tone table's -1, -13.
int32_t TIFSetBitmapTones(BitmapHandle* bitmap, TifPage* page, const VxColor* palette);
