// Files of their own name in the system's temporary folder, deleted at the end of the scope, and open handles on files
// and on bytes in memory.
#pragma once

#include <filesystem>
#include <string>

#include <vxkernel/files.h>

#include "support/TiffBuilder.h"

class TempFile {
public:
  TempFile();                                // a name of its own, no file yet
  explicit TempFile(const FileBytes& bytes); // with these bytes
  ~TempFile();
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;

  const char16_t* Name() const { return name_.c_str(); } // as the library takes it
  const std::filesystem::path& Path() const { return path_; }
  bool Exists() const;
  FileBytes Read() const;
  void Write(const FileBytes& bytes) const;

private:
  std::filesystem::path path_;
  std::u16string name_;
};

// A handle on bytes in memory, for reading.
class MemoryInput {
public:
  explicit MemoryInput(FileBytes bytes);
  ~MemoryInput();
  MemoryInput(const MemoryInput&) = delete;
  MemoryInput& operator=(const MemoryInput&) = delete;
  VxFileHandle Handle() const { return handle_; }

private:
  FileBytes bytes_;
  VxMemFile file_ = nullptr;
  VxFileHandle handle_ = kKrnNoHandle;
};
