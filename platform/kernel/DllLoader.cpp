// The loader of the filter's sibling libraries, and the list of folders that it looks in.

#include "vxkernel/loader.h"

#include "SystemLibraries.h"

#include <cstdlib>
#include <cstring>

namespace kernel {
namespace {

// One folder of the host's, in the order of adding.
struct Folder {
  Folder* next;
  SystemChar path[kSystemPathLength];
};

Folder* firstFolder = nullptr;

void ForgetFolders() {
  while (firstFolder != nullptr) {
    Folder* next = firstFolder->next;
    std::free(firstFolder);
    firstFolder = next;
  }
}

Folder** EndOfFolders() {
  Folder** link = &firstFolder;
  while (*link != nullptr) {
    link = &(*link)->next;
  }
  return link;
}

// Beside the module first, then the host's folders.
void* FindLibrary(const void* instance, const char* name) {
  if (name == nullptr || *name == '\0') {
    return nullptr;
  }
  SystemChar beside[kSystemPathLength];
  void* library = GetModuleFolder(instance, beside) ? OpenLibraryIn(beside, name) : nullptr;
  for (const Folder* folder = firstFolder; folder != nullptr && library == nullptr; folder = folder->next) {
    library = OpenLibraryIn(folder->path, name);
  }
  return library;
}

} // namespace
} // namespace kernel

int32_t krnAddLibraryFolder(const char16_t* folder) {
  if (folder == nullptr) {
    kernel::ForgetFolders();
    return 1;
  }
  auto* added = static_cast<kernel::Folder*>(std::malloc(sizeof(kernel::Folder)));
  if (added == nullptr) {
    return 0;
  }
  if (!kernel::GetAbsoluteFolder(folder, added->path)) {
    std::free(added);
    return 0;
  }
  added->next = nullptr;
  *kernel::EndOfFolders() = added;
  return 1;
}

Vx_DllLoader::~Vx_DllLoader() {
  if (library_ != nullptr) {
    kernel::CloseLibrary(library_);
  }
}

int32_t Vx_DllLoader::IsLoaded() const {
  return library_ != nullptr ? 1 : 0;
}

int32_t Vx_DllLoader::LoadWithPath(const void* instance, const char* name, const char* otherName, void*) {
  if (library_ == nullptr) {
    library_ = kernel::FindLibrary(instance, name);
  }
  if (library_ == nullptr) {
    library_ = kernel::FindLibrary(instance, otherName);
  }
  return IsLoaded();
}

int32_t Vx_DllLoader::AddFunction(const char* functionName) {
  if (library_ == nullptr || functionName == nullptr) {
    return 0;
  }
  if (IsFunctionOk(functionName) != 0) {
    return 1;
  }
  const size_t length = std::strlen(functionName);
  void* address = kernel::FindFunction(library_, functionName);
  if (address == nullptr || length > kMaxNameLength || functionCount_ == kMaxFunctions) {
    return 0;
  }
  Function& added = functions_[functionCount_];
  std::memcpy(added.name, functionName, length + 1);
  added.address = address;
  ++functionCount_;
  return 1;
}

int32_t Vx_DllLoader::IsFunctionOk(const char* functionName) const {
  return GetFunction(functionName) != nullptr ? 1 : 0;
}

void* Vx_DllLoader::GetFunction(const char* functionName) const {
  if (functionName == nullptr) {
    return nullptr;
  }
  for (int32_t i = 0; i < functionCount_; ++i) {
    if (std::strcmp(functions_[i].name, functionName) == 0) {
      return functions_[i].address;
    }
  }
  return nullptr;
}
