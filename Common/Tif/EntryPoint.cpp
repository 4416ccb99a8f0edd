// Attach and detach: the one entry point of the library keeps the instance handle by which sibling libraries are found
// beside this one. Windows calls it by itself; elsewhere a constructor and a destructor of the library call it.

#include "Tif/EntryPoint.h"

namespace {

const void* moduleInstance = nullptr;

} // namespace

int32_t TIFEntryPoint(const void* instance, TifAttachReason reason) {
  if (reason == kProcessAttach) {
    moduleInstance = instance;
  } else if (reason == kProcessDetach) {
    moduleInstance = nullptr;
  }
  return 1;
}

const void* TIFModuleInstance() {
  return moduleInstance;
}

#if defined(_WIN32)

// The C run-time's start code calls it by this name: it is not exported, so that ordinal 9 stays empty.
extern "C" int __stdcall DllMain(void* instance, unsigned long reason, void*);

int __stdcall DllMain(void* instance, unsigned long reason, void*) {
  return TIFEntryPoint(instance, static_cast<TifAttachReason>(reason));
}

#else

namespace {

// Ahead of every other constructor of the library, so that the handle stands before the first export can run.
__attribute__((constructor(101))) void Attach() {
  TIFEntryPoint(&moduleInstance, kProcessAttach);
}

__attribute__((destructor(101))) void Detach() {
  TIFEntryPoint(&moduleInstance, kProcessDetach);
}

} // namespace

#endif
