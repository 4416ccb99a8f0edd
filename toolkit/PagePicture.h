// From a loaded page to a picture for an ordinary image file: palettes, deep grey with its tone range, word colours,
// and the view.
#pragma once

#include <optional>

#include "toolkit/Image.h"
#include "toolkit/LoadPage.h"

namespace toolkit {

// The picture as a viewer would show it, upright unless the page was loaded with its orientation ignored. Grey of more
// than 8 bits becomes 16 bits over the page's tone range. The page's pixels must be in its bitmap.
Image PictureOfPage(const LoadedPage& page);

// PictureOfPage, cut to a region of the upright picture.
Image PictureOfRegion(const LoadedPage& page, const Region& region);

} // namespace toolkit
