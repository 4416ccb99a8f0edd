// Allocation as the filter does it: through the kernel, which learns the source file and line of every request.
#pragma once

#include <cstddef>
#include <source_location>

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

inline void* TIFAlloc(size_t count, size_t size, std::source_location where = std::source_location::current()) {
  return krnAlloc(count, size, static_cast<int32_t>(where.line()), TIFSourceModule(where.file_name()));
}

inline void* TIFAllocZero(size_t count, size_t size, std::source_location where = std::source_location::current()) {
  return krnAllocZero(count, size, static_cast<int32_t>(where.line()), TIFSourceModule(where.file_name()));
}

inline void* TIFRealloc(void* block, size_t newSize, std::source_location where = std::source_location::current()) {
  return krnRealloc(block, newSize, static_cast<int32_t>(where.line()), TIFSourceModule(where.file_name()));
}

inline void TIFFree(void* block, std::source_location where = std::source_location::current()) {
  krnFree(block, static_cast<int32_t>(where.line()), TIFSourceModule(where.file_name()));
}

inline VxGlobalHandle TIFGlobalAlloc(size_t count, size_t size,
                                     std::source_location where = std::source_location::current()) {
  return krnGlobalAlloc(count, size, static_cast<int32_t>(where.line()), TIFSourceModule(where.file_name()));
}

inline void TIFGlobalFree(VxGlobalHandle handle, std::source_location where = std::source_location::current()) {
  krnGlobalFree(handle, static_cast<int32_t>(where.line()), TIFSourceModule(where.file_name()));
}
