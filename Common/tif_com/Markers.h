// Metadata that comes in as blocks: the Exif segment of a JPEG file, and maker notes.
#pragma once

#include <cstdint>

#include "tif_com/DirectoryTree.h"
#include <vxtif/metadata.h>
#include <vxtif/rawpage.h>

// The directory of the first Exif segment; null when there is none or it does not read. The caller frees it with kind
// kDirMain. 1, or -13 for a malformed run of segments.
int32_t TIFReadExifMarker(const TifMarkerBlock* markers, TifDirectory** out);

// Adds tags of a marker directory to a list of entries, which has room for all of them; what the list holds stays. A
// null directory gives 1.
int32_t TIFMergeMarkerDirectory(TifFile* file, TifDirEntry* entries, uint32_t* n, TifDirectory* directory,
                                TifDirKind kind);

// Turns raw maker notes among the records of a save into directories, where they read as such. Always 1.
int32_t TIFParseMakerNotes(TifTagRecord* records, uint32_t n);

// The maker note at `offset` as a directory in little-endian form into a buffer. 1 with `written`, 0 when the block is
// no directory (then it is taken raw), or the failing code of the memory file.
int32_t TIFCopyMakerNote(const TifFile* file, uint32_t offset, void* buffer, uint32_t bufferSize, uint32_t* written);
