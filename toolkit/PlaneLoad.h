// Loading a CMYK page as one grey bitmap an ink, and loading a file's stamp.
#pragma once

#include <string>
#include <vector>

#include "toolkit/Image.h"
#include "toolkit/LoadPage.h"

namespace toolkit {

// One grey bitmap for each sample of a CMYK page, 0 for no ink; samples of 16 bits in the host's order. Throws Failure.
std::vector<Bitmap> LoadPlanes(const std::string& file, const LoadOptions& options);

// The grey values of a plane as they stand.
Image PictureOfPlane(const Bitmap& plane);

// The stamp. Throws Failure; kResultNoStamp for a file without one.
LoadedPage LoadStamp(const std::string& file, const LoadOptions& options);

} // namespace toolkit
