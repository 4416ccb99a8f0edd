// The stage between the strip reader and the row sink: byte order, extra samples, 12-bit packing, colour, first and
// last rows. Row sinks, all with the TifLoadContext as their data; a null context gives -814.
#pragma once

#include <cstdint>

#include "Tif/LoadContext.h"

// Brings rows into the layout of the caller's bitmap and hands them to context->rowSink. 1 or what the sink gave.
int32_t TIFProcessRows(FileInfoRecord* fileInfo, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags, int32_t firstRow,
                       int32_t rowCount, intptr_t context);

// Stores rows in the bitmap as they are. 1, or 0 when nothing was stored.
int32_t TIFStoreRows(FileInfoRecord* fileInfo, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags, int32_t firstRow,
                     int32_t rowCount, intptr_t context);

// Hands rows to context->rowSink as they are.
int32_t TIFForwardRows(FileInfoRecord* fileInfo, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags, int32_t firstRow,
                       int32_t rowCount, intptr_t context);
