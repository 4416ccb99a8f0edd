// Reading of one tag's value from a page on disk, the in-place editor, and the two patches of a directory on disk.
#pragma once

#include <cstdint>

#include <vxtif/metadata.h>
#include <vxtif/rawpage.h>
#include <vxtif/save.h>

constexpr uint32_t kAtEndOfFile = 0xFFFFFFFFu; // the offset that sends a value to the even end of the file

// The editor's entry: opens the file, applies all changes, closes it. Null for what the caller does not have.
int32_t TIFEditFile(const char16_t* fileName, SaveOptions* options, TifMarkerBlock* markers, TifTagItem* tagList,
                    TifGeoKeyItem* geoKeys, TifCommentBlock* comments);

// The same on an open file. 1 when there is nothing to change; -1365 when the directory must grow and was entered by an
// explicit offset; else -310 or the code of the step that failed.
int32_t TIFApplyChanges(TifFile* file, SaveOptions* options, TifMarkerBlock* markers, TifTagItem* tagList,
                        TifGeoKeyItem* geoKeys, TifCommentBlock* comments);

// Entries of a directory in host order, with room for `extra` more. With `count` the directory is entered at its
// offset; with null it is file->entryCount and the position lies behind the count word. `next` may be null. 1, -1, -7.
int32_t TIFLoadEntries(TifFile* file, uint32_t directory, uint32_t extra, TifDirEntry** out, uint32_t* count,
                       uint32_t* next);

// Finds or appends the item's tag in the list and stores its value. `entries` has room for one more. An item with a
// size but without data is passed over.
int32_t TIFSetEntry(TifFile* file, TifDirEntry* entries, const TifTagItem* item, void* data, uint32_t* n);

// Gives an entry the item's tag, type, count and value, over the old value when it fits, else at the end of the file.
int32_t TIFReplaceEntryValue(TifFile* file, TifDirEntry* entry, const TifTagItem* item, void* data);

// Stores a value into the entry's value word or at `offset`, even-sized and ASCII closed by a NUL. 1, -4, -5.
int32_t TIFStoreTagValue(TifFile* file, TifDirEntry* entry, void* data, uint32_t offset);

// Sorts and writes the entries at `directoryWord`, or at the end of the file when the directory grew, with the link
// word rewritten then. 1, -4, -5.
int32_t TIFWriteEntries(TifFile* file, TifDirEntry* entries, uint32_t n, bool grew, uint32_t* directoryWord,
                        uint32_t next, uint32_t link);

// The end of the file, made even by a pad byte (the low byte of the even size). kSeekFailed on failure.
uint32_t TIFEvenEndOfFile(TifFile* file);

// Whether a save writes the caller's tag; those that the writer makes itself are passed over.
bool TIFIsTagAccepted(const TifTagItem* item);

// A value into the caller's buffer in host order. 1, -140, -4, -7.
int32_t TIFReadEntryValues(TifFile* file, const TifDirEntry* entry, void* buffer);

// TIFSetEntry's twin on records in memory. `records` has room for one more. 1 or -1.
int32_t TIFSetRecord(TifTagRecord* records, const TifTagItem* item, const void* data, uint32_t* n);
int32_t TIFInitRecord(TifTagRecord* record, const TifTagItem* item, const void* data);

// -1 when the left tag is the lower one, else 1: never 0.
int32_t TIFCompareTags(uint16_t left, uint16_t right);

// Ascending by tag; equal tags keep their order.
void TIFSortEntries(TifDirEntry* entries, uint32_t n);
void TIFSortRecords(TifTagRecord* records, uint32_t n);

// Patches of a directory already on disk, with directoryOffset and entryCount valid. 1, 0, -4.
int32_t TIFPatchStripTables(TifFile* file, const uint32_t* byteCounts, int32_t n);
int32_t TIFPatchStripCompressions(TifFile* file, const uint8_t* flags, uint32_t n);
