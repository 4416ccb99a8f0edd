// File calls of POSIX systems.

#define _FILE_OFFSET_BITS 64

#include "SystemFiles.h"

#include "SystemNames.h"
#include "vxkernel/files.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kernel {
namespace {

// More than this is cut by Linux in one call anyway.
constexpr size_t kMostPerCall = 0x7FFFF000;

int Descriptor(SystemFile file) {
  return static_cast<int>(file);
}

bool PosixFlags(uint32_t flags, int* posixFlags) {
  constexpr int kAccess[] = {O_RDONLY, O_WRONLY, O_RDWR};
  const uint32_t access = flags & kKrnFileAccessMask;
  if (access > kKrnFileReadWrite) {
    return false;
  }
  // Not blocking: the open of a pipe would wait for its other end.
  *posixFlags = kAccess[access] | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  if ((flags & kKrnFileCreate) != 0) {
    *posixFlags |= O_CREAT | (access == kKrnFileReadWrite ? O_TRUNC : 0);
  }
  return true;
}

bool GetFacts(int descriptor, SystemFileFacts* facts) {
  struct stat status;
  if (fstat(descriptor, &status) != 0 || S_ISDIR(status.st_mode) || S_ISFIFO(status.st_mode) ||
      S_ISSOCK(status.st_mode)) {
    return false;
  }
  *facts = {static_cast<uint64_t>(status.st_size), static_cast<uint64_t>(status.st_dev),
            static_cast<uint64_t>(status.st_ino)};
  return true;
}

} // namespace

bool OpenSystemFile(const char16_t* name, uint32_t flags, SystemFile* file, SystemFileFacts* facts) {
  char path[kSystemNameBytes];
  int posixFlags = 0;
  if (!NameToUtf8(name, path, sizeof path) || !PosixFlags(flags, &posixFlags)) {
    return false;
  }
  int descriptor = -1;
  do {
    descriptor = open(path, posixFlags, 0666);
  } while (descriptor < 0 && errno == EINTR);
  if (descriptor < 0) {
    return false;
  }
  if (!GetFacts(descriptor, facts)) {
    close(descriptor);
    return false;
  }
  *file = descriptor;
  return true;
}

bool CloseSystemFile(SystemFile file) {
  return close(Descriptor(file)) == 0 || errno == EINTR;
}

int64_t ReadSystemFile(SystemFile file, void* buffer, size_t n, uint64_t offset) {
  auto* target = static_cast<unsigned char*>(buffer);
  size_t moved = 0;
  while (moved < n) {
    const size_t part = n - moved < kMostPerCall ? n - moved : kMostPerCall;
    const ssize_t got = pread(Descriptor(file), target + moved, part, static_cast<off_t>(offset + moved));
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0 && moved == 0) {
      return -1;
    }
    if (got <= 0) {
      break;
    }
    moved += static_cast<size_t>(got);
  }
  return static_cast<int64_t>(moved);
}

int64_t WriteSystemFile(SystemFile file, const void* buffer, size_t n, uint64_t offset) {
  const auto* source = static_cast<const unsigned char*>(buffer);
  size_t moved = 0;
  while (moved < n) {
    const size_t part = n - moved < kMostPerCall ? n - moved : kMostPerCall;
    const ssize_t put = pwrite(Descriptor(file), source + moved, part, static_cast<off_t>(offset + moved));
    if (put < 0 && errno == EINTR) {
      continue;
    }
    if (put < 0 && moved == 0) {
      return -1;
    }
    if (put <= 0) {
      break;
    }
    moved += static_cast<size_t>(put);
  }
  return static_cast<int64_t>(moved);
}

bool GetSystemFileSize(SystemFile file, uint64_t* size) {
  struct stat status;
  if (fstat(Descriptor(file), &status) != 0) {
    return false;
  }
  *size = static_cast<uint64_t>(status.st_size);
  return true;
}

bool DeleteSystemFile(const char16_t* name) {
  char path[kSystemNameBytes];
  return NameToUtf8(name, path, sizeof path) && unlink(path) == 0;
}

} // namespace kernel
