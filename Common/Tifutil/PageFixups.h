// The rules that run behind the last entry of a directory. Inside this module only.
#pragma once

#include "Tifutil/PageParse.h"

// Settles depth, sub-sampling, photometric value, fill order and strip tables. False refuses the page.
bool TIFApplyPageFixups(PageParse& parse);

// Resolutions given per centimetre become dots per inch.
void TIFScaleResolutions(const PageParse& parse);
