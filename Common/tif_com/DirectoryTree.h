// A directory held in memory with everything that hangs from it: out-of-line values, sub-directories, JPEG tables and
// streams, strip data. Compaction, the raw page interface, the Exif marker reader and the maker-note code use this
// form.
#pragma once

#include <cstdint>

#include <vxtif/rawpage.h>

// The kind of directory that a list of records belongs to: the same tag means different things in different
// directories.
enum TifDirKind : uint32_t {
  kDirMain = 0, // a page, and each sub-directory under tag 330
  kDirMainLike = 1,
  kDirExif = 2,
  kDirGps = 3,
  kDirMakerNote = 4,
  kDirInteroperability = 5,
  kDirPrivate50236 = 6,
  kDirGeoKeys = 7
};

// Whether the tag points to a sub-directory in that parent; the child's kind then.
bool TIFSubDirectoryKind(uint16_t tag, TifDirKind parentKind, TifDirKind* childKind);

// The class of a tag, kTagClass...; `size` may be null.
int32_t TIFClassifyTag(const TifTagRecord* record, uint32_t* size, TifDirKind parentKind, TifDirKind* childKind);

enum class TreeSource : int32_t { kFile = 0, kMemoryFile = 1 };

// Reads the directory at file->directoryOffset. Null for anything that fails it.
TifDirectory* TIFReadDirectory(TifFile* file, TifDirKind kind, TreeSource source);
void TIFFreeDirectory(TifDirectory* directory, TifDirKind kind);
void TIFFreeTagRecord(TifTagRecord* record, TifDirKind kind);

// Linear search for the first match; -1 when not found.
TifTagRecord* TIFFindRecord(TifTagRecord* records, uint32_t count, uint16_t tag, int32_t* index);
TifDirEntry* TIFFindEntry(TifDirEntry* entries, uint32_t count, uint16_t tag, int32_t* index);

// Swaps `count` elements of a field type in place.
void TIFSwapValues(void* buffer, uint32_t type, uint32_t count);

// Reads u32 values from the file's position in its byte order. 1 or -7.
int32_t TIFReadLongArray(const TifFile* file, uint32_t* out, uint32_t count);
