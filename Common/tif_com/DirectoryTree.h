// A directory held in memory with everything that hangs from it: out-of-line values, sub-directories, JPEG tables and
// streams, strip data. Compaction, the raw page interface, the Exif marker reader and the maker-note code use this
// form.
#pragma once

#include <cstdint>

#include "tif_com/TagBlocks.h"
#include "tif_com/TagClass.h"

// Whether the file is on disk or a memory file; both read the same.
enum class TreeSource : int32_t { kFile = 0, kMemoryFile = 1 };

// Reads the directory at file->directoryOffset as one of that kind. Null for a directory that cannot be read or is
// empty, a value that cannot be read, a bad element of a tag-330 array, more than four JPEG tables under a tag, strip
// tables that don't match, no memory. A broken single sub-directory is dropped with its entry; a maker note that is
// none is kept as bytes. The file position afterwards is anywhere; directoryOffset and entryCount are those of the
// directory.
TifDirectory* TIFReadDirectory(TifFile* file, TifDirKind kind, TreeSource source);

// A page that is copied while its file stays open: the same, but several strips stay in the file, as tiles do, where
// the tree writer takes the same bytes from there.
TifDirectory* TIFReadDirectoryToCopy(TifFile* file);

// An empty directory with room for `records`, cleared, its entryCount being `records`. Null for no memory.
TifDirectory* TIFNewDirectory(uint32_t records);

// Frees a directory and all that its records own. Null is accepted.
void TIFFreeDirectory(TifDirectory* directory, TifDirKind kind);

// Frees what a record owns and leaves it without data; inline records are left untouched. Null is accepted.
void TIFFreeTagRecord(TifTagRecord* record, TifDirKind kind);
