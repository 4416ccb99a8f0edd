/* Loading of libraries by name, for the filter's siblings. C++ only.

   A name as VXJBIG.DLL is looked for beside the module whose instance handle is given and in the folders that the host
   has added, never in the working folder; on ELF systems as libvxjbig.so first. A missing library is a quiet failure.
 */
#ifndef VXKERNEL_LOADER_H
#define VXKERNEL_LOADER_H

#include "platform.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Adds a folder to look in, after those added before; null forgets all of them. A relative name is taken from the
   working folder of this moment. 1, or 0 for no memory and a name that the system cannot have. */
VX_API int32_t krnAddLibraryFolder(const char16_t* folder);

#ifdef __cplusplus
}
#endif

#ifdef __cplusplus

/* One library and up to 8 functions of it, with names of up to 31 letters. Constructed empty; unloads at destruction.
   Not copyable. */
class VX_API Vx_DllLoader {
public:
  Vx_DllLoader() = default;
  ~Vx_DllLoader();
  Vx_DllLoader(const Vx_DllLoader&) = delete;
  Vx_DllLoader& operator=(const Vx_DllLoader&) = delete;

  int32_t IsLoaded() const; /* 1 or 0 */

  /* Loads `name`, and failing that `otherName`. `instance` is the module to look beside: on Windows its instance
     handle, elsewhere any address inside it; null looks in the added folders only. Does nothing once a library is
     loaded. 1 or 0. */
  int32_t LoadWithPath(const void* instance, const char* name, const char* otherName, void* reserved);

  int32_t AddFunction(const char* functionName);        /* resolves and remembers a function; 1 or 0 */
  int32_t IsFunctionOk(const char* functionName) const; /* 1 when AddFunction has found it */
  void* GetFunction(const char* functionName) const;    /* its address, or null */

private:
  enum { kMaxFunctions = 8, kMaxNameLength = 31 };
  struct Function {
    char name[kMaxNameLength + 1];
    void* address;
  };
  void* library_ = nullptr;
  Function functions_[kMaxFunctions] = {};
  int32_t functionCount_ = 0;
};

#endif

#endif
