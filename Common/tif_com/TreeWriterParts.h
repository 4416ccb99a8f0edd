// The parts of the tree writer, one a kind of data. Positions are the next free byte of the target's data area.
#pragma once

#include <cstdint>

#include "tif_com/DirectoryTree.h"

// Bytes go from file to file in parts of this size, counted from the beginning of a piece: when a read comes short, the
// parts before it have been written.
constexpr uint32_t kCopyBufferBytes = 8192;

struct CopyBuffer {
  uint8_t* bytes;
  uint32_t capacity; // a multiple of kCopyBufferBytes
};

// Where a tree goes to, and where it came from (null for a tree that is whole in memory).
struct TreeCopy {
  TifFile* target;
  TifFile* source;
  bool swap16; // uncompressed 16-bit samples, to be brought into the target's byte order
};

constexpr uint32_t TIFEven(uint32_t position) {
  return position + position % 2;
}

// Moves a position on; false when it would leave the 32 bits of a TIFF file.
bool TIFAdvance(uint32_t* position, uint64_t bytes);

// A write that must move all bytes: 1, or -5 as krnWriteError makes it.
int32_t TIFWriteWhole(const TifFile* file, const void* bytes, uint32_t n);

// Copies bytes of the source to the target's position; with `swap16` pairs of bytes are exchanged where the two files
// differ in order. 1, -4, -5, -7, -814 without a source.
int32_t TIFCopyFileBytes(const TreeCopy& copy, uint32_t offset, uint32_t length, const CopyBuffer& buffer, bool swap16);

// Strips or tiles, the tables of which are written anew, and the JPEG stream that belongs to them.
int32_t TIFWriteImageData(const TreeCopy& copy, TifTagRecord* records, uint32_t n, uint32_t* position);

// The old-style JPEG stream of tag 513.
int32_t TIFWriteJpegStream(const TreeCopy& copy, TifTagRecord* record, uint32_t* position);

// The tables of tags 519, 520 and 521, each cut to its real length.
int32_t TIFWriteJpegTables(const TreeCopy& copy, TifTagRecord* record, uint32_t* position);

// The numbers of a strip table as longs, at least one; missing ones are 0. A table that is not loaded is read from
// `source`. The caller frees `out`. 1, -1, -7, -9 for a table that cannot hold numbers, -814 without a source.
int32_t TIFRecordLongs(const TifFile* source, const TifTagRecord* record, uint32_t** out);
