// The load of format 160: one PackBits stream from the start of a file without TIFF structure.
#pragma once

#include <cstdint>

#include <vxtif/load.h>

// Reads the page whose size and depth the request's bitmap gives. 1, -1, -4, -12, or what the sink gave. The bitmap is
// not null.
int32_t TIFLoadRawPackBitsPage(FilterLoadRequest* request, VxFileHandle file, TifRowSink rowCallback);
