// A file of the kernel, open for reading and closed with its owner.
#pragma once

#include <string>

#include <vxkernel/files.h>

namespace toolkit {

class KernelFile {
public:
  // Throws Failure with `operation` when the file cannot be opened.
  KernelFile(const std::string& name, const char* operation);
  ~KernelFile() { krnFileClose(handle_); }
  KernelFile(const KernelFile&) = delete;
  KernelFile& operator=(const KernelFile&) = delete;

  VxFileHandle Handle() const { return handle_; }

private:
  VxFileHandle handle_;
};

} // namespace toolkit
