// The image data of a directory in memory: strips, and the old-style JPEG stream. With it a page is independent of the
// file that it was read from; tiles stay there. Called by the directory reader once all entries are in.
#pragma once

#include <cstdint>

#include "tif_com/TagClass.h"

// Loads the stream of tags 513 and 514 into the record of 513, whose count becomes the stream's bytes. False when it is
// there and cannot be read.
bool TIFLoadJpegStream(const TifFile* file, TifDirectory* directory);

// Whether several strips are loaded whatever they hold, or stay in the file where the tree writer makes the same of
// them there.
enum class SeveralStrips { kLoad, kLeaveWherePossible };

// Loads the strips of tags 273 and 279 in host order. False when they make the directory unreadable; strips that stay
// in the file are no failure.
bool TIFLoadStrips(const TifFile* file, TifDirectory* directory, TifDirKind kind, SeveralStrips several);

// Whether the page holds uncompressed 16-bit samples, which take the byte order of the file that they stand in.
bool TIFHasPlain16BitSamples(TifTagRecord* records, uint32_t n);

// Bytes of a sample, for the swapping of raw strips: 1 for compressed data and where nothing is known.
uint32_t TIFSampleBytes(TifDirectory* directory);
