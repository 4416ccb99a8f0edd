/* Compiler glue shared by every public header: fixed-width integers, UTF-16 text and symbol visibility.
   Nothing here allocates or calls; all headers of the three libraries include it first. */
#ifndef VXKERNEL_PLATFORM_H
#define VXKERNEL_PLATFORM_H

#include <stddef.h>
#include <stdint.h>

#ifndef __cplusplus
#include <uchar.h>
#endif

/* Windows exports by module-definition file, so that ordinals stay fixed; ELF by default visibility. */
#if defined(_WIN32)
#define VX_API
#else
#define VX_API __attribute__((visibility("default")))
#endif

#endif
