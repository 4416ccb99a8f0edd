// The tags of YCbCr pages: coefficients, sub-sampling, reference black and white. Inside this module only.
#pragma once

#include "Tifutil/PageParse.h"

TagOutcome TIFApplyYccCoefficients(PageParse& parse, const TifDirEntry& entry);
TagOutcome TIFApplyYccSubSampling(PageParse& parse, const TifDirEntry& entry);
TagOutcome TIFApplyReferenceBlackWhite(PageParse& parse, const TifDirEntry& entry);

// Kr, Kg, Kb of ITU-R BT.601 in parts of a thousand, the default of TIFF 6.0.
inline constexpr uint32_t kDefaultYccCoefficients[3] = {299, 587, 114};
