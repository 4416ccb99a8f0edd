// Saving of finished strip data: the bytes of a page come from a source, in the compression that the caller names, and
// go into the file as they are. The page is one strip.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "toolkit/SavePage.h"

#include <vxkernel/bitmap.h>

namespace toolkit {

struct DataJob {
  PageOptions page;
  int32_t compression = 1; // tag 259, or kCompressionGroup3TwoDimensional
  uint32_t width = 0;
  uint32_t height = 0;
  int32_t bitsPerPixel = 0;
  std::vector<VxColor> palette; // up to 8 bits a pixel: a colour for every value
  int32_t resolution = 0;       // dots per inch
  std::vector<NumberedValue> tags;
  std::vector<NumberedValue> comments;
};

// Puts the next bytes into a buffer and gives their number; 0 at the end. May throw.
using DataSource = std::function<size_t(uint8_t* buffer, size_t room)>;

// Gives the number of bytes written. The first bytes are asked for before the file is touched; a source that has none
// is refused in the name of `sourceName`. Throws Failure, and what the source throws; a page that was begun in an
// existing file then stays, with the bytes that came.
uint64_t SaveData(const std::string& file, const std::string& sourceName, const DataJob& job, const DataSource& source);

} // namespace toolkit
