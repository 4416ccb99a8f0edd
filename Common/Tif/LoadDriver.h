// Steps of the load driver that other parts use as well.
#pragma once

#include <cstdint>

#include <vxtif/load.h>
#include <vxtif/page.h>

// The tone table of a deep grey bitmap from the page's sample range. 1, -1, -13.
int32_t TIFBuildToneLut(BitmapHandle* bitmap, const TifPage* page);
