// Editing of a file's chain of pages: a new page always goes to the even end of the file, and one link word is
// rewritten to point at it. Nothing of an existing page is moved or cleared.
#pragma once

#include <cstdint>

#include <vxtif/rawpage.h>
#include <vxtif/save.h>

// Values at the current position, in the file's byte order. 1, or 0 on a short write.
int32_t TIFWrite16(const TifFile* file, uint16_t value);
int32_t TIFWrite32(const TifFile* file, uint32_t value);

// Creates or opens the file for a page and links the place where the page will stand. `file` comes in cleared. On 1 the
// file is open and positioned at `directoryOffset`; the caller writes the header first when kStateHeaderPending is set,
// then the directory with `nextDirectoryOffset` as its next word, and undoes the page on any later failure.
// 1, -14, -7, -5 as krnWriteError makes it, or a code of TIFFindLink; closed on failure.
int32_t TIFPrepareFileForPage(const char16_t* fileName, TifFile* file, SaveOptions* options, uint32_t requestFlags,
                              uint16_t version);

int32_t TIFCreateFile(const char16_t* fileName, TifFile* file); // 1 or -14
int32_t TIFWriteHeader(TifFile* file, bool bigEndian);          // 1, or 0 on a short write

int32_t TIFReadNextLink(TifFile* file); // 1, -4, -7
int32_t TIFFindLink(TifFile* file, uint32_t target, uint32_t* linkOffset, uint32_t* index);

int32_t TIFRenumberPages(TifFile* file, uint32_t skipOffset, uint32_t skipTo, int32_t delta);
int32_t TIFAdjustPageNumber(TifFile* file, uint32_t directory, int32_t delta);
int32_t TIFMarkMultiPage(const TifFile* file, uint32_t directory);

// Scans the current directory from the position behind its count word. 1 with the position just behind the entry, -404
// with the position on the next word, -7.
int32_t TIFFindTag(const TifFile* file, TifDirEntry* entry, uint16_t tag);
// The same for the directory at an offset, which is entered first. Also -9, -4.
int32_t TIFFindTagAt(TifFile* file, uint32_t directory, TifDirEntry* entry, uint16_t tag);

// Takes a failed page back: deletes a new file, else the page, else the file whose only page it was.
int32_t TIFUndoPage(const char16_t* fileName, SaveOptions* options, uint32_t pageIndex, bool wasNewFile);

// Deletes a file, unless its name is "DUMMY" or null. 1 or 0.
int32_t TIFDeleteFile(const char16_t* fileName);
