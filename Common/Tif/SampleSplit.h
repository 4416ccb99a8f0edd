// The receiver of chunky CMYK rows in an array load.
#pragma once

#include <cstdint>

#include "Tif/LoadContext.h"

// A row sink with the TifLoadContext as its data: gives each sample of a row to the request's callback as a row of its
// own bitmap. 1, -1, -27 for samples of other than 8 or 16 bits, -814 without an array request, or what the callback
// gave.
int32_t TIFSplitSamples(FileInfoRecord* fileInfo, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags, int32_t firstRow,
                        int32_t rowCount, intptr_t context);
