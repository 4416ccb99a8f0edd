// File calls of Windows. Names are UTF-16 there already; they are only tested as strictly as elsewhere.

#include "SystemFiles.h"

#include "SystemNames.h"
#include "vxkernel/files.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

namespace kernel {
namespace {

constexpr size_t kMostPerCall = 0x40000000;

HANDLE Handle(SystemFile file) {
  return reinterpret_cast<HANDLE>(file);
}

const wchar_t* Wide(const char16_t* name) {
  return reinterpret_cast<const wchar_t*>(name);
}

// A lone surrogate is taken by some Windows file systems; the toolkit refuses it everywhere.
bool IsGoodName(const char16_t* name) {
  char utf8[kSystemNameBytes];
  return NameToUtf8(name, utf8, sizeof utf8);
}

uint64_t Join(DWORD high, DWORD low) {
  return static_cast<uint64_t>(high) << 32 | low;
}

OVERLAPPED At(uint64_t offset) {
  OVERLAPPED place = {};
  place.Offset = static_cast<DWORD>(offset);
  place.OffsetHigh = static_cast<DWORD>(offset >> 32);
  return place;
}

bool GetFacts(HANDLE handle, SystemFileFacts* facts) {
  BY_HANDLE_FILE_INFORMATION information;
  if (GetFileType(handle) != FILE_TYPE_DISK || !GetFileInformationByHandle(handle, &information) ||
      (information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    return false;
  }
  *facts = {Join(information.nFileSizeHigh, information.nFileSizeLow), information.dwVolumeSerialNumber,
            Join(information.nFileIndexHigh, information.nFileIndexLow)};
  return true;
}

bool CreationOf(uint32_t flags, DWORD* access, DWORD* creation) {
  constexpr DWORD kAccess[] = {GENERIC_READ, GENERIC_WRITE, GENERIC_READ | GENERIC_WRITE};
  const uint32_t which = flags & kKrnFileAccessMask;
  if (which > kKrnFileReadWrite) {
    return false;
  }
  *access = kAccess[which];
  *creation = (flags & kKrnFileCreate) == 0 ? OPEN_EXISTING : which == kKrnFileReadWrite ? CREATE_ALWAYS : OPEN_ALWAYS;
  return true;
}

} // namespace

bool OpenSystemFile(const char16_t* name, uint32_t flags, SystemFile* file, SystemFileFacts* facts) {
  DWORD access = 0;
  DWORD creation = 0;
  if (!IsGoodName(name) || !CreationOf(flags, &access, &creation)) {
    return false;
  }
  const HANDLE handle = CreateFileW(Wide(name), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    creation, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    return false;
  }
  if (!GetFacts(handle, facts)) {
    CloseHandle(handle);
    return false;
  }
  *file = reinterpret_cast<SystemFile>(handle);
  return true;
}

bool CloseSystemFile(SystemFile file) {
  return CloseHandle(Handle(file)) != 0;
}

int64_t ReadSystemFile(SystemFile file, void* buffer, size_t n, uint64_t offset) {
  auto* target = static_cast<unsigned char*>(buffer);
  size_t moved = 0;
  while (moved < n) {
    const size_t part = n - moved < kMostPerCall ? n - moved : kMostPerCall;
    OVERLAPPED place = At(offset + moved);
    DWORD got = 0;
    const bool good = ReadFile(Handle(file), target + moved, static_cast<DWORD>(part), &got, &place) != 0;
    if (!good && GetLastError() != ERROR_HANDLE_EOF && moved == 0) {
      return -1;
    }
    if (!good || got == 0) {
      break;
    }
    moved += got;
  }
  return static_cast<int64_t>(moved);
}

int64_t WriteSystemFile(SystemFile file, const void* buffer, size_t n, uint64_t offset) {
  const auto* source = static_cast<const unsigned char*>(buffer);
  size_t moved = 0;
  while (moved < n) {
    const size_t part = n - moved < kMostPerCall ? n - moved : kMostPerCall;
    OVERLAPPED place = At(offset + moved);
    DWORD put = 0;
    const bool good = WriteFile(Handle(file), source + moved, static_cast<DWORD>(part), &put, &place) != 0;
    if (!good && moved == 0) {
      return -1;
    }
    if (!good || put == 0) {
      break;
    }
    moved += put;
  }
  return static_cast<int64_t>(moved);
}

bool GetSystemFileSize(SystemFile file, uint64_t* size) {
  LARGE_INTEGER bytes;
  if (!GetFileSizeEx(Handle(file), &bytes)) {
    return false;
  }
  *size = static_cast<uint64_t>(bytes.QuadPart);
  return true;
}

bool DeleteSystemFile(const char16_t* name) {
  return IsGoodName(name) && DeleteFileW(Wide(name)) != 0;
}

} // namespace kernel
