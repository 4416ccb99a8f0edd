// Buffered reading of a system file. Used by the file handles.
#pragma once

#include "FileRecord.h"

namespace kernel {

void InitWindow(FileWindow* window);
void FreeWindow(FileWindow* window);

// Forgets what is held.
void DropWindow(FileWindow* window);

// Reads n bytes at the record's position, without moving it. Bytes moved, or -1 for an error before the first.
int64_t ReadThroughWindow(FileRecord* record, void* buffer, uint32_t n);

// Brings written bytes into the window, so that it goes on to show the file as it is.
void PatchWindow(FileWindow* window, uint64_t offset, const void* bytes, size_t n);

} // namespace kernel
