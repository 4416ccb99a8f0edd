// Out-of-line values between file and memory, in host order there: one block, one block for each of several offsets, an
// array of longs. The directory reader, the tag editor and the tree writer use it. Nothing here keeps the file
// position.
#pragma once

#include <cstdint>

#include <vxtif/rawpage.h>

// Swaps `count` elements of a field type in place; types of single bytes, and unknown ones, are left alone.
void TIFSwapValues(void* buffer, uint32_t type, uint32_t count);

// Reads u32 values from the file's position in its byte order. 1 or -7.
int32_t TIFReadLongArray(const TifFile* file, uint32_t* out, uint32_t count);

// Writes `n` u32 values at the file's position in its byte order. 1, or -5 as krnWriteError makes it.
int32_t TIFWriteLongArray(const TifFile* file, const uint32_t* values, uint32_t n);

// Whether the file may hold `bytes` at `offset`: asked before memory is taken for them, so that a number in a small
// file cannot claim a large block. Moves the file position.
bool TIFFileMayHold(const TifFile* file, uint32_t offset, uint64_t bytes);

// One block of `byteSize` bytes at `fileOffset`, of `count` elements in host order (the swapping of a big-endian file's
// value is clipped to the block). The caller frees it. 1, -1, -7.
int32_t TIFReadTagBlock(const TifFile* file, uint32_t type, uint32_t count, uint32_t fileOffset, uint64_t byteSize,
                        void** out);

// The same into a record. 1, or 0 with nothing loaded.
int32_t TIFLoadTagBlock(const TifFile* file, uint32_t type, uint32_t count, uint32_t fileOffset, uint64_t byteSize,
                        TifTagRecord* record);

// One block of sizes[i] bytes for each of the record's `count` offsets, which stand at its value as 4-byte numbers.
// With a `divisor` other than 1 a block of a big-endian file is swapped as size / divisor elements of `type`. 1, -1,
// -7, with nothing loaded on failure.
int32_t TIFLoadTagBlocks(const TifFile* file, TifTagRecord* record, const uint32_t* sizes, uint32_t type,
                         uint32_t divisor);

// Frees an array of `count` blocks, the last one first, and the array.
void TIFFreeBlockArray(void** blocks, uint32_t count);
