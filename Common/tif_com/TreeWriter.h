// Writes a list of records as a directory at the current end of a file, with all that hangs from them; what a tree has
// not loaded is fetched from the source file.
#pragma once

#include <cstdint>

#include "tif_com/DirectoryTree.h"

// `source` may be null. `link`, when not 0, is the offset of the word that receives the directory's place.
// `nextWordOffset` may be null. `position` is the next free byte of the data area. The records are sorted in place and
// otherwise stay intact. 1, 0 for a null position, -1, or the code of the step that failed.
int32_t TIFWriteDirectoryTree(TifFile* target, TifFile* source, TifTagRecord* records, int32_t n, uint32_t link,
                              uint32_t* nextWordOffset, uint32_t* position, TifDirKind kind);

// A whole directory at the current position, evened; its place goes to `offset`.
int32_t TIFWriteSubDirectory(TifFile* file, uint32_t* offset, TifDirectory* directory, TifDirKind kind);

// One out-of-line value at `position`, which moves behind it.
int32_t TIFWriteRecordBlock(TifFile* file, TifTagRecord* record, uint32_t* position, TifDirKind kind);
