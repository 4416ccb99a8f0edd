// Library calls of Windows.

#include "SystemLibraries.h"

#include "SystemNames.h"

#include <cstring>
#include <cwchar>

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

namespace kernel {
namespace {

HMODULE Module(const void* library) {
  return static_cast<HMODULE>(const_cast<void*>(library));
}

// "folder\name"; names of libraries are ASCII.
bool JoinPath(const SystemChar* folder, const char* name, SystemChar (&path)[kSystemPathLength]) {
  const size_t folderLength = std::wcslen(folder);
  const size_t nameLength = std::strlen(name);
  if (folderLength + nameLength + 2 > kSystemPathLength || std::strpbrk(name, "/\\:") != nullptr) {
    return false;
  }
  std::wmemcpy(path, folder, folderLength);
  path[folderLength] = L'\\';
  for (size_t i = 0; i <= nameLength; ++i) {
    path[folderLength + 1 + i] = static_cast<unsigned char>(name[i]);
  }
  return true;
}

} // namespace

bool GetModuleFolder(const void* instance, SystemChar (&folder)[kSystemPathLength]) {
  const DWORD length =
      instance != nullptr ? GetModuleFileNameW(Module(instance), folder, static_cast<DWORD>(kSystemPathLength)) : 0;
  if (length == 0 || length >= kSystemPathLength) {
    return false;
  }
  SystemChar* separator = std::wcsrchr(folder, L'\\');
  if (separator == nullptr) {
    return false;
  }
  *separator = L'\0';
  return true;
}

bool GetAbsoluteFolder(const char16_t* name, SystemChar (&folder)[kSystemPathLength]) {
  char utf8[kSystemNameBytes];
  if (!NameToUtf8(name, utf8, sizeof utf8)) {
    return false;
  }
  const DWORD length =
      GetFullPathNameW(reinterpret_cast<const wchar_t*>(name), static_cast<DWORD>(kSystemPathLength), folder, nullptr);
  return length != 0 && length < kSystemPathLength;
}

void* OpenLibraryIn(const SystemChar* folder, const char* name) {
  SystemChar path[kSystemPathLength];
  if (!JoinPath(folder, name, path)) {
    return nullptr;
  }
  // A missing library is a quiet failure: no box on the screen. What it needs itself is looked for beside it and beside
  // the program, not in the working folder either.
  const UINT mode = SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
  const HMODULE library =
      LoadLibraryExW(path, nullptr, LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
  SetErrorMode(mode);
  return library;
}

void CloseLibrary(void* library) {
  FreeLibrary(Module(library));
}

void* FindFunction(void* library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(Module(library), name));
}

} // namespace kernel
