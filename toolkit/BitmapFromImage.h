// From a picture of an ordinary image file to a bitmap that a save takes.
#pragma once

#include <string>

#include "toolkit/Bitmap.h"
#include "toolkit/Image.h"

namespace toolkit {

// Grey and palettes keep their depth, with the colours as palette up to 8 bits; grey of 16 bits is a grey bitmap;
// colours are 24 or 48 bits, with alpha 32 or 64, red first. Throws Failure in the name of `file`.
Bitmap BitmapFromImage(const Image& image, const std::string& file);

} // namespace toolkit
