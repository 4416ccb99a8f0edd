// Allocation as the filter does it: through the kernel, which learns the source file and line of every request. The
// last two arguments are the caller's place and are left to their defaults (the compilers' own names, because one of
// ours has no std::source_location yet).
#pragma once

#include <cstddef>
#include <cstdint>

#include <vxkernel/memory.h>

// The file name behind the last slash: the source module that the kernel keeps with a block.
constexpr const char* TIFSourceModule(const char* path) {
  const char* name = path;
  for (const char* at = path; *at != 0; ++at) {
    if (*at == '/' || *at == '\\') {
      name = at + 1;
    }
  }
  return name;
}

inline void* TIFAlloc(size_t count, size_t size, const char* file = __builtin_FILE(), int32_t line = __builtin_LINE()) {
  return krnAlloc(count, size, line, TIFSourceModule(file));
}

inline void* TIFAllocZero(size_t count, size_t size, const char* file = __builtin_FILE(),
                          int32_t line = __builtin_LINE()) {
  return krnAllocZero(count, size, line, TIFSourceModule(file));
}

// A cleared block of bytes whose number comes from file values: one that no block can have is a failed request.
inline uint8_t* TIFAllocZeroBytes(uint64_t bytes, const char* file = __builtin_FILE(),
                                  int32_t line = __builtin_LINE()) {
  if (bytes > PTRDIFF_MAX) {
    return nullptr;
  }
  return static_cast<uint8_t*>(TIFAllocZero(static_cast<size_t>(bytes), 1, file, line));
}

inline void* TIFRealloc(void* block, size_t newSize, const char* file = __builtin_FILE(),
                        int32_t line = __builtin_LINE()) {
  return krnRealloc(block, newSize, line, TIFSourceModule(file));
}

inline void TIFFree(void* block, const char* file = __builtin_FILE(), int32_t line = __builtin_LINE()) {
  krnFree(block, line, TIFSourceModule(file));
}

inline VxGlobalHandle TIFGlobalAlloc(size_t count, size_t size, const char* file = __builtin_FILE(),
                                     int32_t line = __builtin_LINE()) {
  return krnGlobalAlloc(count, size, line, TIFSourceModule(file));
}

inline void TIFGlobalFree(VxGlobalHandle handle, const char* file = __builtin_FILE(), int32_t line = __builtin_LINE()) {
  krnGlobalFree(handle, line, TIFSourceModule(file));
}
