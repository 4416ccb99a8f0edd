// Writes a list of records as a directory at the current end of a file, with all that hangs from them; what a tree has
// not loaded is fetched from the source file. Compaction writes whole pages so; the savers and the comments write Exif
// and GPS directories, and maker notes into memory.
//
// The directory stands in front of its data area: values in ascending tag order, each child where its tag comes, then
// the image data. It is written last, so that nothing unfinished is ever reachable.
#pragma once

#include <cstdint>

#include "tif_com/DirectoryTree.h"

// `source` may be null. `link`, when not 0, is the offset of the word that receives the directory's place.
// `nextWordOffset` may be null and receives the place of the directory's next word. `position` receives the next free
// byte behind the data area. The records, those of children too, are sorted in place and otherwise stay as they are.
// 1; 0 for a null position or a child array without memory; -1, -4, -5 as krnWriteError makes it, -7; -9 for strip
// tables that don't match; -13, -32, -50, -51 for JPEG tables; -814 for data that is neither loaded nor in a source.
int32_t TIFWriteDirectoryTree(TifFile* target, TifFile* source, TifTagRecord* records, int32_t n, uint32_t link,
                              uint32_t* nextWordOffset, uint32_t* position, TifDirKind kind);

// A whole directory at the current position, evened; its place goes to `offset`.
int32_t TIFWriteSubDirectory(TifFile* file, uint32_t* offset, TifDirectory* directory, TifDirKind kind);

// One out-of-line value at `position`, which moves behind it and its pad. The record then holds the place.
int32_t TIFWriteRecordBlock(TifFile* file, TifTagRecord* record, uint32_t* position, TifDirKind kind);
