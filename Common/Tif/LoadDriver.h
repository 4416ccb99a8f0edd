// Steps of the load driver that other parts use as well.
#pragma once

#include <cstdint>

#include <vxtif/load.h>
#include <vxtif/page.h>
#include <vxtif/rawpage.h>

// A grey ramp of 2 to 256 entries; white first inverts it. The reserved bytes are left alone. 1, or -13 for another
// size.
enum class RampOrder { kBlackFirst, kWhiteFirst };
int32_t TIFMakeGrayRamp(VxColor* palette, uint32_t entries, RampOrder order);

// The palette of a page into 256 entries. 1, -1, -4, -7. Changes colorMapEntries, and photometricInterpretation of a
// 4-bit CMYK page. `zero` is 0.
int32_t TIFPreparePalette(int32_t zero, const TifFile* file, TifPage* page, VxColor* palette);

// The tone table of a deep grey bitmap from the page's sample range. 1, -1, -13.
int32_t TIFBuildToneLut(BitmapHandle* bitmap, const TifPage* page);
