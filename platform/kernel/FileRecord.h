// One open file or memory file as the kernel keeps it. Used by the file handles and what they are made of.
#pragma once

#include "SystemFiles.h"
#include "vxkernel/files.h"

namespace kernel {

enum class FileKind : uint8_t { kSystem, kMemoryRead, kMemoryWrite };

constexpr uint32_t kSmallWindowBytes = 4096;
constexpr uint32_t kLargeWindowBytes = 256 * 1024;

// The part of a file that is held in memory: `bytes` bytes from file offset `start`.
struct FileWindow {
  uint64_t start;
  uint32_t bytes;
  uint32_t nextBytes; // what the next filling asks for while reading goes forward
  uint32_t capacity;
  uint8_t* data; // `small`, or a block of the system's
  uint8_t small[kSmallWindowBytes];
};

// What is left of the limits for one handle.
struct FileBudget {
  uint64_t reads;
  uint64_t seeks;
  uint64_t bytesRead;
};

struct FileRecord {
  uint64_t position;
  FileBudget budget;
  uint64_t knownSize; // the largest size seen: budgets and the memory limit follow it
  VxFileHandle handle;
  FileKind kind;
  bool shared; // another handle has been opened for the same file
  SystemFile file;
  uint64_t volume;
  uint64_t index;
  uint8_t* memory; // memory files: the caller's block
  uint32_t memorySize;
  uint32_t memoryEnd; // bytes that can be read
  FileRecord* next;   // the list of open records
  FileRecord* previous;
  FileWindow window; // last, since most of it is the small buffer
};

} // namespace kernel
