/* What a host may set and see of the kernel: limits, statistics, and hooks for fault tests.

   Past a limit an operation fails as it fails anyway (null, -1, a short read or a failed seek). The defaults never
   touch an honest file; they end a hostile one. Writes are never limited. */
#ifndef VXKERNEL_LIMITS_H
#define VXKERNEL_LIMITS_H

#include "files.h"
#include "memory.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A budget is `base + perKiB x (file size in KiB, rounded up)`. */
typedef struct KrnBudget {
  uint64_t base;
  uint64_t perKiB;
} KrnBudget;

typedef struct KrnLimits {
  uint64_t liveBytes;   /* all live blocks together */
  uint64_t blockBytes;  /* one block */
  uint32_t openHandles; /* files and memory files open at once */
  uint32_t reserved;    /* 0 */
  KrnBudget reads;      /* read calls for one handle */
  KrnBudget seeks;      /* seek calls for one handle */
  KrnBudget bytesRead;  /* bytes read through one handle */
} KrnLimits;

/* Sets the limits for all later calls; null restores the defaults. A handle's budget is computed when it is opened or
   renewed, from the size that the file has then; writes through the handle raise it as the file grows. */
VX_API void krnSetLimits(const KrnLimits* limits);
VX_API void krnGetLimits(KrnLimits* limits);

typedef struct KrnStatistics {
  uint64_t liveBlocks;  /* blocks and movable blocks not yet freed */
  uint64_t liveBytes;   /* their bytes as asked for */
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

/* Asked before every allocation (blocks and movable blocks); 0 makes that request fail. Null removes the hook. */
typedef int32_t (*KrnAllocHook)(size_t bytes, int32_t line, const char* sourceModule, void* userData);
VX_API void krnSetAllocHook(KrnAllocHook hook, void* userData);

#ifdef __cplusplus
}
#endif

#endif
