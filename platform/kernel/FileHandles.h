// The kernel's own file callbacks, which stand in the slots of krnRedirectIo at first. Used by the file calls.
#pragma once

#include "vxkernel/files.h"

namespace kernel {

VxFileHandle OpenFile(const char16_t* name, uint32_t flags, uint32_t shareMode, void* userData);
uint32_t ReadFromFile(VxFileHandle handle, void* buffer, uint32_t n, void* userData);
uint32_t WriteToFile(VxFileHandle handle, const void* buffer, uint32_t n, void* userData);
uint32_t SeekInFile(VxFileHandle handle, int32_t offset, uint32_t whence, void* userData);
int32_t CloseFile(VxFileHandle handle, void* userData);

} // namespace kernel
