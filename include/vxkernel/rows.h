/* How rows cross the boundaries of the toolkit: the sink that a load fills, and the service that feeds a save. */
#ifndef VXKERNEL_ROWS_H
#define VXKERNEL_ROWS_H

#include "bitmap.h"

#ifdef __cplusplus
extern "C" {
#endif

struct FileInfoRecord; /* the report that the file layer passes through; opaque here */

/* Flag bits of a row sink. 3 is always set by the page loaders. */
enum { kRowsAlways = 3, kRowsFirst = 4, kRowsLast = 8, kRowsPacked = 16 };

/* Takes `rowCount` rows from `rows`, the first of them being row `firstRow` of `bitmap`. With kRowsPacked the rows
   are in the packed form of krnBitmapPutPackedRows. 1 to go on; any other value ends the load with that value. The
   rows belong to the loader, are valid during the call, and may be changed by the sink. */
typedef int32_t (*VxRowSink)(struct FileInfoRecord* fileInfo, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags,
                             int32_t firstRow, int32_t rowCount, intptr_t userData);

/* Begins the conversion of `bitmap` to rows of `bitsPerPixel`. Gives back `descriptor`, which describes the rows to
   come, and `context`, at whose byte 8 stands the palette of the output (VxColor entries) for depths up to 8.
   `rowBufferOut`, which may be null, receives a row buffer owned by the service. `flags` may be changed. A value
   below 1 is a failure. */
typedef int32_t (*VxSaveStart)(BitmapHandle* bitmap, BitmapHandle** descriptor, int32_t bitsPerPixel, uint32_t* flags,
                               void** rowBufferOut, int32_t one, intptr_t extra1, intptr_t extra2, void** context);

/* Delivers one row of `bitmap` in the depth and order of `descriptor`. 1 is success. */
typedef int32_t (*VxSaveGetRow)(BitmapHandle* bitmap, BitmapHandle* descriptor, void* rowBuffer, int32_t rowIndex,
                                int32_t one, uint32_t flags, intptr_t extra1, intptr_t extra2, void* context);

/* Ends the conversion and releases `descriptor` and `context`. */
typedef int32_t (*VxSaveEnd)(BitmapHandle* bitmap, BitmapHandle** descriptor, uint32_t* flags, int32_t zero,
                             void** context);

#ifdef __cplusplus
}
#endif

#endif
