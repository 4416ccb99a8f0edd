// Numbered comments: pieces of metadata in four homes (ASCII tags of the page, the Exif directory, the GPS directory,
// the IPTC block), read, edited in place, and written by saves.
#pragma once

#include <cstdint>

#include "tif_com/DirectoryTree.h"
#include <vxtif/metadata.h>
#include <vxtif/rawpage.h>

constexpr uint32_t kMainCommentCount = 10;
extern const uint16_t kMainCommentTags[kMainCommentCount]; // by comment number 0 to 9

// Sizes for the editor and the directory writer.
void TIFCountExifComments(const TifCommentBlock* comments, uint32_t* count, bool* needsUnit);
void TIFCountGpsComments(const TifCommentBlock* comments, uint32_t* count);
uint32_t TIFIptcSize(TifCommentBlock* comments);

// The in-place side, called by the editor in this order.
int32_t TIFRewriteExifDirectory(TifFile* file, TifDirEntry* entries, uint32_t n, uint32_t exifCount,
                                TifCommentBlock* comments, bool needsUnit, TifDirectory* markerDirectory);
int32_t TIFMergeGps(TifFile* file, TifDirEntry* entries, uint32_t* n, uint32_t gpsCount, TifCommentBlock* comments,
                    TifDirectory* markerDirectory);
int32_t TIFMergeIptc(TifFile* file, TifDirEntry* entries, uint32_t* n, TifCommentBlock* comments, uint32_t iptcBytes);

// The block of the IPTC slots; null and 0 when no slot has data or there are no comments. The caller frees it. 1 or -1.
int32_t TIFBuildIptcBlock(TifCommentBlock* comments, uint8_t** block, uint32_t* length, bool withVersion);

// The save side: a whole sub-directory at the file's current position. The GPS writer gives 0 when there is nothing to
// write.
int32_t TIFWriteExifDirectory(TifFile* file, TifCommentBlock* comments, uint32_t width, uint32_t height,
                              TifDirectory* markerDirectory);
int32_t TIFWriteGpsDirectory(TifFile* file, TifCommentBlock* comments, TifDirectory* markerDirectory);
