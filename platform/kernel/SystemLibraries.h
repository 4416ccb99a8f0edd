// The system's own calls for loading libraries: SystemLibrariesPosix.cpp and SystemLibrariesWindows.cpp.
//
// Paths are in the system's form and always absolute, so that the working folder is never looked in. Used by the
// loader.
#pragma once

#include <cstddef>

namespace kernel {

#if defined(_WIN32)
using SystemChar = wchar_t;
#else
using SystemChar = char;
#endif

constexpr size_t kSystemPathLength = 4096;

// The folder of the module that `instance` belongs to, without a separator at its end.
bool GetModuleFolder(const void* instance, SystemChar (&folder)[kSystemPathLength]);

// A folder that the host has named, made absolute.
bool GetAbsoluteFolder(const char16_t* name, SystemChar (&folder)[kSystemPathLength]);

// Loads the library of that name from the folder, or gives null.
void* OpenLibraryIn(const SystemChar* folder, const char* name);

void CloseLibrary(void* library);
void* FindFunction(void* library, const char* name);

} // namespace kernel
