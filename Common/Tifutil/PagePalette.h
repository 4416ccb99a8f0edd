// The palette of a page: grey ramps, colour maps (tag 320) and the 16 colours of a 4-bit CMYK page. Given a parsed page
// and its open file, it fills 256 entries of blue, green, red, reserved. The load driver and the raw page interface use
// it.
#pragma once

#include <cstdint>

#include <vxkernel/bitmap.h>
#include <vxtif/page.h>
#include <vxtif/rawpage.h>

enum class RampOrder { kBlackFirst, kWhiteFirst };

// A grey ramp of 2 to 256 entries; white first inverts it. The reserved bytes are left alone. 1, or -13 for another
// size.
int32_t TIFMakeGrayRamp(VxColor* palette, uint32_t entries, RampOrder order);

// The palette of a page into 256 entries, which the caller has cleared: a page that needs none leaves them so. 1, -1,
// -4, -7. Changes colorMapEntries (not cut to 256: only the filling is), and photometricInterpretation of a 4-bit CMYK
// page. `zero` is 0.
int32_t TIFPreparePalette(int32_t zero, const TifFile* file, TifPage* page, VxColor* palette);

// The colour map at the page's colorMapOffset; sets colorMapEntries. 1, -1, -4, -7.
int32_t TIFReadColorMap(const TifFile* file, TifPage* page, VxColor* palette);

// The 16 colours of a 4-bit CMYK page, whose pixels hold C, M, Y, K from the high bit to the low one.
void TIFMakeCmyk4Palette(VxColor* palette);
