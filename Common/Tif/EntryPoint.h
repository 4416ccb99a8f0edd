// Attach, detach and the instance handle.
#pragma once

#include <cstdint>

// Why the system calls the entry point; the numbers are the system's.
enum TifAttachReason : uint32_t { kProcessDetach = 0, kProcessAttach = 1, kThreadAttach = 2, kThreadDetach = 3 };

// Keeps the handle at process attach, clears it at process detach, ignores threads. Always 1.
int32_t TIFEntryPoint(const void* instance, TifAttachReason reason);

// The handle kept at attach: the module's own on Windows, elsewhere an address inside the module. Null after detach.
const void* TIFModuleInstance();
