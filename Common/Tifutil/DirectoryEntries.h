// The entries of a directory that is being built: appended in the order in which their values go out, sorted at the
// end. Shared by the parts of the directory writer.
#pragma once

#include <cstdint>

#include "Tifutil/DirectoryWriter.h"
#include "tif_com/DirectoryTree.h"

// What the counting settles before anything is written.
struct DirectoryPlan {
  uint32_t entryCount; // upper bound of the entries: the room that is reserved in the file
  bool colorMap;       // tag 320 is due
  bool toneBlock;      // tag 50234 is due
  uint8_t* iptc;       // the IPTC block, owned; null for none
  uint32_t iptcLength;
  TifDirectory* markers; // the Exif marker's directory, owned; null for none
};

struct DirectoryBuild {
  TifFile* file;
  const DirectoryWriteJob* job;
  DirectoryPlan plan;
  TifDirEntry* entries;
  uint32_t used;     // entries so far
  uint32_t position; // file offset at which the next out-of-line value goes
};

// Counts the entries as an upper bound and fetches the blocks that decide it. 1, or the code of a metadata reader. Sets
// kStateTiled in the file, and options of a variant file. The plan's blocks are the caller's even on a failure.
int32_t TIFPlanDirectory(TifFile* file, const DirectoryWriteJob* job, DirectoryPlan* plan);
void TIFFreeDirectoryPlan(DirectoryPlan* plan);

// Whether tag 50234's sub-tags 0 and 1 are due: a level range that is not the whole sample.
bool TIFHasLevelRange(const BitmapHandle* descriptor);
// Whether its sub-tag 2 is due: a tone table in use.
bool TIFHasToneTable(const BitmapHandle* descriptor);

// Appends an entry.
void TIFAddEntry(DirectoryBuild* build, uint16_t tag, uint16_t type, uint32_t count, uint32_t value);
// Appends an entry of one SHORT, one LONG, or two SHORTs.
void TIFAddShort(DirectoryBuild* build, uint16_t tag, uint32_t value);
void TIFAddLong(DirectoryBuild* build, uint16_t tag, uint32_t value);
void TIFAddShortPair(DirectoryBuild* build, uint16_t tag, uint32_t first, uint32_t second);
// Appends the text of a comment slot, if it is there.
void TIFAddText(DirectoryBuild* build, uint16_t tag);

// Out-of-line values at the file's position, which moves on. A failed write is not noticed here.
void TIFPutBytes(DirectoryBuild* build, const void* bytes, uint32_t count);
void TIFPutShorts(DirectoryBuild* build, const uint16_t* values, uint32_t count);
void TIFPutLongs(DirectoryBuild* build, const uint32_t* values, uint32_t count);

// Takes the file's own position for the next value, behind a writer that has moved it, and makes it even. 1 or -4.
int32_t TIFTakePosition(DirectoryBuild* build);

// Writes the block of tag 50234 and appends its entry. 1 or -4.
int32_t TIFWriteToneBlock(DirectoryBuild* build);
