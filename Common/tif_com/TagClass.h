// What a tag is: which directory it may point to, how its value is held, how large it is; and the search for a tag in a
// list. Pure questions over entries in memory, asked by everybody who reads, writes or frees a directory.
#pragma once

#include <cstdint>

#include <vxtif/rawpage.h>

#include "tif_com/Tags.h"

// The kind of directory that a list of records belongs to: the same tag means different things in different
// directories.
enum TifDirKind : uint32_t {
  kDirMain = 0,     // a page, and each sub-directory under tag 330
  kDirMainLike = 1, // its strips are loaded as a page's are; no tag points to one
  kDirExif = 2,
  kDirGps = 3,
  kDirMakerNote = 4, // a maker note that reads as a directory
  kDirInteroperability = 5,
  kDirPrivate50236 = 6,
  kDirGeoKeys = 7
};

// Bytes of a value, unwrapped; 0 for a type that TIFF does not define.
constexpr uint64_t TIFValueBytes(uint32_t type, uint32_t count) {
  return uint64_t{TIFTypeSize(type)} * count;
}

constexpr uint32_t kInlineBytes = 4; // a value of up to so many bytes stands in the value word

// Whether the tag points to a sub-directory in that parent; the child's kind then.
bool TIFSubDirectoryKind(uint16_t tag, TifDirKind parentKind, TifDirKind* childKind);

// The class of a tag, kTagClass... `size`, which may be null, receives the bytes of the value (of a sub-directory or a
// JPEG stream: the count), wrapped to 32 bits; the class itself is decided by the unwrapped size. `childKind` is set
// for a sub-directory.
int32_t TIFClassifyTag(const TifTagRecord* record, uint32_t* size, TifDirKind parentKind, TifDirKind* childKind);

// Linear search for the first match. Null when not found; `index`, which may be null, receives -1 then.
TifTagRecord* TIFFindRecord(TifTagRecord* records, uint32_t count, uint16_t tag, int32_t* index);
TifDirEntry* TIFFindEntry(TifDirEntry* entries, uint32_t count, uint16_t tag, int32_t* index);
