// Raw rows (format 153): uncompressed rows without any TIFF structure, read one by one from a given offset. The load
// driver hands over.
#pragma once

#include <cstdint>

#include <vxtif/load.h>

// Reads the rows that the request's bitmap asks for. `palette` holds 256 colours. 1; -7 when the file ends before the
// last row, -1, -2 without a bitmap, -13 without a sink, or what the sink gave.
int32_t TIFLoadRawRows(FilterLoadRequest* request, VxFileHandle file, VxColor* palette);

// The view that the bits of `rawFlags` stand for when several are set: the first that is looked at, or the last.
enum class RawViewRule { kFirstBitWins, kLastBitWins };
uint32_t TIFRawView(uint32_t rawFlags, RawViewRule rule);
