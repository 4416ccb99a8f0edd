/* Memory of the toolkit: accounted blocks and movable blocks.

   Every block is known with the source module and line that asked for it, so that a host can say where live
   memory came from. A failed request gives null (or handle 0) and nothing else: there is no message. */
#ifndef VXKERNEL_MEMORY_H
#define VXKERNEL_MEMORY_H

#include "platform.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A movable block: palettes and tone tables. A 32-bit number on every target, 0 for none, so that it fits the
   fixed layout of BitmapHandle. */
typedef uint32_t VxGlobalHandle;

/* A block of count x size bytes, aligned to 16. A size of 0 gives a block of its own; a product that overflows, a
   limit of vxkernel/limits.h or a refusing allocation hook gives null. krnAllocZero clears the block.
   `sourceModule` must outlive the block: it is kept by address. */
VX_API void* krnAlloc(size_t count, size_t size, int32_t line, const char* sourceModule);
VX_API void* krnAllocZero(size_t count, size_t size, int32_t line, const char* sourceModule);

/* The grown (or shrunk) block, its first bytes kept; null leaves the old block as it was. A null pointer allocates. */
VX_API void* krnRealloc(void* block, size_t newSize, int32_t line, const char* sourceModule);

/* Releases a block. Null is accepted. */
VX_API void krnFree(void* block, int32_t line, const char* sourceModule);

/* A movable block of count x size bytes, uncleared; 0 on failure. krnGlobalFree accepts 0. */
VX_API VxGlobalHandle krnGlobalAlloc(size_t count, size_t size, int32_t line, const char* sourceModule);
VX_API void krnGlobalFree(VxGlobalHandle handle, int32_t line, const char* sourceModule);

/* The bytes of a movable block, valid until it is freed; null for 0 and for a handle that is not live. krnGlobalSize
   gives its size in bytes, 0 for the same. */
VX_API void* krnGlobalPointer(VxGlobalHandle handle);
VX_API size_t krnGlobalSize(VxGlobalHandle handle);

/* Byte operations; with n = 0 the pointers may be null. krnMemCompare gives 0 for equal; krnMemFind the first position
   of `byte` within n bytes, or null. */
VX_API void krnMemCopy(void* target, const void* source, size_t n);
VX_API void krnMemMove(void* target, const void* source, size_t n);
VX_API void krnMemSet(void* target, uint8_t byte, size_t n);
VX_API int32_t krnMemCompare(const void* left, const void* right, size_t n);
VX_API void* krnMemFind(const void* buffer, uint8_t byte, size_t n);

#ifdef __cplusplus
}
#endif

#endif
