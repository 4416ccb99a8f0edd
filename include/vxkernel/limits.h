/* What a host may set and see of the kernel: limits, statistics, and hooks for fault tests.

   Past a limit an operation fails as it fails anyway (null, -1, a short read or a failed seek). The defaults never
   touch an honest file; they end a hostile one. Writes are never limited. Nothing here is locked: the toolkit makes one
   call at a time. */
#ifndef VXKERNEL_LIMITS_H
#define VXKERNEL_LIMITS_H

#include "files.h"
#include "memory.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A budget is `base + perKiB x KiB`, cut to `most`, but never less than `leastPerKiB x KiB`; KiB being the file's size
   in KiB, rounded up. */
typedef struct KrnBudget {
  uint64_t base;
  uint64_t perKiB;
  uint64_t most;
  uint64_t leastPerKiB;
} KrnBudget;

typedef struct KrnLimits {
  KrnBudget liveBytes;  /* all live blocks together, by the size of all open files together; without bitmap pixels */
  uint64_t blockBytes;  /* one block */
  uint64_t pixelBytes;  /* pixels of all bitmaps that krnBitmapCreate has made */
  uint32_t openHandles; /* files and memory files open at once, at most 4096 */
  uint32_t reserved;    /* 0 */
  KrnBudget reads;      /* read calls for one handle, by the size of its file, as the two below */
  KrnBudget seeks;      /* seek calls for one handle */
  KrnBudget bytesRead;  /* bytes read through one handle */
} KrnLimits;

/* Sets the limits for all later calls; null restores the defaults. A handle's budget is computed when it is opened or
   renewed, from the size that the file has then; writes through the handle raise it as the file grows. */
VX_API void krnSetLimits(const KrnLimits* limits);
VX_API void krnGetLimits(KrnLimits* limits);

typedef struct KrnStatistics {
  uint64_t liveBlocks;  /* blocks, movable blocks and pixels not yet freed */
  uint64_t liveBytes;   /* their bytes as asked for */
  uint64_t pixelBytes;  /* those of liveBytes that are pixels made by krnBitmapCreate */
  uint64_t peakBytes;   /* highest liveBytes since the last reset */
  uint64_t allocations; /* successful requests since the last reset */
  uint64_t openHandles; /* files and memory files open now */
  uint64_t opens;       /* file calls since the last reset, through whatever callback is installed */
  uint64_t reads;
  uint64_t writes;
  uint64_t seeks;
  uint64_t closes;
} KrnStatistics;

VX_API void krnGetStatistics(KrnStatistics* statistics);

/* Clears the counters and brings peakBytes down to liveBytes. */
VX_API void krnResetStatistics(void);

/* Calls `visit` for every live block, in no order, until it gives 0. */
typedef int32_t (*KrnBlockVisitor)(const void* block, size_t bytes, int32_t line, const char* sourceModule,
                                   void* userData);
VX_API void krnVisitBlocks(KrnBlockVisitor visit, void* userData);

/* Asked before every allocation (blocks, movable blocks, pixels, palettes of bitmaps); 0 makes that request fail. Null
 * removes the hook. */
typedef int32_t (*KrnAllocHook)(size_t bytes, int32_t line, const char* sourceModule, void* userData);
VX_API void krnSetAllocHook(KrnAllocHook hook, void* userData);

#ifdef __cplusplus
}
#endif

#endif
