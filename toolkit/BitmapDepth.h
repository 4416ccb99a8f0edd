// A bitmap in the depth that a save writes. The library reckons the place of a tile in a row by the depth of the bitmap
// that it is given, so pages in tiles are saved from a bitmap that has the written depth already.
#pragma once

#include <string>

#include "toolkit/Bitmap.h"

namespace toolkit {

// The rows that the row service gives for `source` in `bits` bits a pixel with the request's `flags`, with their
// palette; view and resolution are the source's. Throws Failure in the name of `file`.
Bitmap BitmapOfDepth(Bitmap& source, int32_t bits, uint32_t flags, const std::string& file);

} // namespace toolkit
