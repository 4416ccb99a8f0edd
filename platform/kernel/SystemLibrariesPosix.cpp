// Library calls of ELF systems. VXJBIG.DLL is libvxjbig.so here, and is found under its own name too.

#include "SystemLibraries.h"

#include "SystemNames.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

namespace kernel {
namespace {

struct ModuleSearch {
  uintptr_t address;
  char (*path)[kSystemPathLength];
};

bool CopyPath(char (&to)[kSystemPathLength], const char* from) {
  const size_t length = std::strlen(from);
  if (length >= kSystemPathLength) {
    return false;
  }
  std::memcpy(to, from, length + 1);
  return true;
}

bool HoldsAddress(const dl_phdr_info& module, uintptr_t address) {
  for (size_t i = 0; i < module.dlpi_phnum; ++i) {
    const auto& segment = module.dlpi_phdr[i];
    if (segment.p_type == PT_LOAD && address - module.dlpi_addr - segment.p_vaddr < segment.p_memsz) {
      return true;
    }
  }
  return false;
}

// The main program has no name in the system's list.
bool GetProgramPath(char (&path)[kSystemPathLength]) {
  const ssize_t length = readlink("/proc/self/exe", path, kSystemPathLength - 1);
  if (length <= 0) {
    return false;
  }
  path[length] = '\0';
  return true;
}

int VisitModule(dl_phdr_info* module, size_t, void* data) {
  auto* search = static_cast<ModuleSearch*>(data);
  if (!HoldsAddress(*module, search->address)) {
    return 0;
  }
  const char* name = module->dlpi_name;
  const bool found = name == nullptr || *name == '\0' ? GetProgramPath(*search->path) : CopyPath(*search->path, name);
  return found ? 1 : -1;
}

// "VXJBIG.DLL" to "libvxjbig.so".
bool GetElfName(const char* name, char* out, size_t outBytes) {
  const char* dot = std::strrchr(name, '.');
  const size_t stem = dot != nullptr ? static_cast<size_t>(dot - name) : std::strlen(name);
  if (stem + sizeof "lib.so" > outBytes) {
    return false;
  }
  std::memcpy(out, "lib", 3);
  for (size_t i = 0; i < stem; ++i) {
    const char letter = name[i];
    out[3 + i] = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  }
  std::memcpy(out + 3 + stem, ".so", 4);
  return true;
}

void* OpenPath(const char* folder, const char* name) {
  char path[kSystemPathLength];
  const int length = std::snprintf(path, sizeof path, "%s/%s", folder, name);
  return length > 0 && static_cast<size_t>(length) < sizeof path ? dlopen(path, RTLD_NOW | RTLD_LOCAL) : nullptr;
}

} // namespace

bool GetModuleFolder(const void* instance, SystemChar (&folder)[kSystemPathLength]) {
  ModuleSearch search = {reinterpret_cast<uintptr_t>(instance), &folder};
  if (instance == nullptr || dl_iterate_phdr(VisitModule, &search) != 1) {
    return false;
  }
  // A module that was loaded by a relative name: what that is relative to may have changed since.
  char* slash = std::strrchr(folder, '/');
  if (folder[0] != '/' || slash == nullptr) {
    return false;
  }
  *slash = '\0';
  return true;
}

bool GetAbsoluteFolder(const char16_t* name, SystemChar (&folder)[kSystemPathLength]) {
  char given[kSystemNameBytes];
  if (!NameToUtf8(name, given, sizeof given)) {
    return false;
  }
  if (given[0] == '/') {
    return CopyPath(folder, given);
  }
  if (getcwd(folder, kSystemPathLength) == nullptr || folder[0] != '/') {
    return false;
  }
  const size_t used = std::strlen(folder);
  if (used + std::strlen(given) + 2 > kSystemPathLength) {
    return false;
  }
  folder[used] = '/';
  std::memcpy(folder + used + 1, given, std::strlen(given) + 1);
  return true;
}

void* OpenLibraryIn(const SystemChar* folder, const char* name) {
  char elfName[256];
  if (std::strchr(name, '/') != nullptr || !GetElfName(name, elfName, sizeof elfName)) {
    return nullptr;
  }
  void* library = OpenPath(folder, elfName);
  return library != nullptr ? library : OpenPath(folder, name);
}

void CloseLibrary(void* library) {
  dlclose(library);
}

void* FindFunction(void* library, const char* name) {
  return dlsym(library, name);
}

} // namespace kernel
