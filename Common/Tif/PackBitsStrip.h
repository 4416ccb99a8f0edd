// The PackBits decoder of the strip reader, which reads a strip through the page's codecBuffer.
#pragma once

#include <cstdint>

#include "Tif/LoadContext.h"

// A buffer for a strip of `bytes` bytes, or as large a part of it as there is memory for; sets codecBufferSize. 1, -1.
int32_t TIFAllocPackBitsBuffer(TifPage* page, uint32_t bytes);

// Reads more of the strip behind the first `keep` bytes of the buffer. 1, or -7 when nothing came.
int32_t TIFRefillPackBitsBuffer(TifPage* page, uint32_t keep);

// Decodes rows of a started strip. A strip that runs out leaves its code in context->status and the rest of the rows
// as they were. 1; -7 or -62 when not even the first byte of the buffer could be used.
int32_t TIFDecodePackBitsRows(TifPage* page, uint8_t* out, uint32_t rowSize, uint32_t rows, TifLoadContext* context);
