// What both fax saves give to the codec: the row service, the fill options, the two colours of the page.
#pragma once

#include <cstdint>

#include <vxfax/vxfax.h>
#include <vxtif/save.h>

// The request's row service for the encoder. A page that is written as white first has its rows inverted where the
// service's palette is black-first; one whose colours were asked for is written as they are.
FaxRowSource TIFFaxRowSource(const FilterSaveRequest* request, uint32_t t4Options);

uint32_t TIFFaxFillOptions(const FilterSaveRequest* request);

// White, then black: photometric 0.
void TIFDefaultFaxColours(VxColor* palette);

// The row service's own two colours, reduced to white first or black first. 1 or more, or the service's failure.
int32_t TIFGetFaxColours(FilterSaveRequest* request, VxColor* palette);
