// Opening of files by their system names.

#include "toolkit/KernelFile.h"

#include "toolkit/Failure.h"
#include "toolkit/Utf16.h"

#include <vxtif/results.h>

namespace toolkit {

KernelFile::KernelFile(const std::string& name, const char* operation)
    : handle_(krnFileOpen(ToUtf16(name).c_str(), kKrnFileRead, kKrnShareRead)) {
  if (handle_ == kKrnNoHandle) {
    throw Failure(name, operation, kResultOpenFailed);
  }
}

} // namespace toolkit
