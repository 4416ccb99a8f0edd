/* The toolkit's kernel: memory, files, bitmaps, rows, library loading, and what a host may set and see. */
#ifndef VXKERNEL_VXKERNEL_H
#define VXKERNEL_VXKERNEL_H

#include "bitmap.h"
#include "files.h"
#include "limits.h"
#include "loader.h"
#include "memory.h"
#include "platform.h"
#include "rows.h"

#endif
