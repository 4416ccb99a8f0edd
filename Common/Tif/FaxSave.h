// Saving of bilevel pages in a CCITT compression, through the fax codec.
#pragma once

#include <cstdint>

#include <vxtif/save.h>

// Formats 25, 27, 28, 29: an ordinary TIFF page. 1 or a failure's code, with the page undone.
int32_t TIFSaveFaxFile(FilterSaveRequest* request);

// Format 131: a page of a file with version word 12622. The same results.
int32_t TIFSaveVariantPage(FilterSaveRequest* request);
