// The tone table of a deep grey bitmap: which of the samples are shown as black, which as white, and the ramp between.
#pragma once

#include <cstdint>

#include <vxtif/load.h>
#include <vxtif/page.h>

// Builds bitmap->lookupTable from the page's sample range, when the range needs one. 1, -1, -13.
int32_t TIFBuildToneLut(BitmapHandle* bitmap, const TifPage* page);
