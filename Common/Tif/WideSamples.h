// The second pass of 32-bit samples: rows stored as they are, then scaled once their range is known.
#pragma once

#include <cstdint>

#include "Tif/LoadContext.h"

// Gives the rows of `temporary` to `rowCallback` with context->rowSinkData, as unsigned 32-bit samples. 1, -1, the tone
// table's -13, or what the callback gave.
int32_t TIFEmitWideSamples(BitmapHandle* bitmap, BitmapHandle* temporary, TifPage* page, FileInfoRecord* fileInfo,
                           TifRowSink rowCallback, TifLoadContext* context);
