// The system's own file calls in one form for all systems: SystemFilesPosix.cpp and SystemFilesWindows.cpp.
//
// Every read and write names its offset, so that a position costs no system call. Used by the file handles.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kernel {

using SystemFile = intptr_t; // a descriptor or a HANDLE

// What is known of a file when it is opened. Volume and index together tell whether two handles are one file.
struct SystemFileFacts {
  uint64_t size;
  uint64_t volume;
  uint64_t index;
};

// `flags` are those of krnFileOpen. False when the system refuses, and for anything that has no positions (folders,
// pipes, sockets).
bool OpenSystemFile(const char16_t* name, uint32_t flags, SystemFile* file, SystemFileFacts* facts);

// False when the system reports at last that something went wrong; the file is released all the same.
bool CloseSystemFile(SystemFile file);

// Bytes moved, fewer than n only at the end of the file (a read) or where the system stopped; -1 when it refused
// before the first byte.
int64_t ReadSystemFile(SystemFile file, void* buffer, size_t n, uint64_t offset);
int64_t WriteSystemFile(SystemFile file, const void* buffer, size_t n, uint64_t offset);

bool GetSystemFileSize(SystemFile file, uint64_t* size);

bool DeleteSystemFile(const char16_t* name);

} // namespace kernel
