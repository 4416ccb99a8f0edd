/* The raw page interface: a caller walks a file itself and fetches its directories as tag blocks.

   This interface alone tests record sizes (-789) and has a null code of its own (-814). Page numbers count from the
   current directory: page 1 is the directory that the record stands on, page 2 the next one. */
#ifndef VXTIF_RAWPAGE_H
#define VXTIF_RAWPAGE_H

#include "../vxkernel/bitmap.h"
#include "../vxkernel/files.h"
#include "results.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { kTifFileSize = 48, kTifVersion = 42, kTifVersionVariant = 12622, kByteOrderLittle = 73, kByteOrderBig = 77 };

#pragma pack(push, 1)

/* One open file. 48 bytes on every target. Owned by whoever declared it; does not own the handle. */
typedef struct TifFile {
  uint32_t structSize;          /* kTifFileSize */
  uint32_t reservedWord1;       /* not read */
  VxFileHandle fileHandle;      /* from krnFileOpen */
  uint8_t byteOrder;            /* kByteOrderLittle or kByteOrderBig */
  uint8_t reservedByte;         /* not read */
  uint16_t version;             /* kTifVersion or kTifVersionVariant */
  uint32_t directoryOffset;     /* file offset of the current directory's entry count */
  uint32_t entryCount;          /* entries of the current directory */
  uint32_t directoryLinkOffset; /* file offset of the word that points to it; 0 when it was entered by an offset */
  uint32_t nextDirectoryOffset; /* the writer's */
  uint32_t fileSize;            /* bytes, as the seek to the end gave it when the header was read */
  uint32_t stateFlags;          /* the writer's */
  uint32_t reservedWord2;       /* not read */
  uint32_t pageIndex;           /* the writer's: zero-based index of the new page */
} TifFile;

/* A directory entry, on disk and in memory. In memory `value` is a little-endian word whose bytes mean what they mean
   in a little-endian file. */
typedef struct TifDirEntry {
  uint16_t tag;
  uint16_t type;
  uint32_t count;
  uint32_t value; /* the value itself, or the file offset of the values */
} TifDirEntry;

/* Storage kinds, the low four bits of TifTagRecord.storage; kStorageOwned says that the record owns `data`. */
enum {
  kStorageNone = 0,           /* nothing loaded: the value is in `value` or still at the offset in it */
  kStorageBlock = 1,          /* `data` is one block of the value's bytes, in host order */
  kStorageBlockArray = 2,     /* `data` is an array of `count` pointers to blocks */
  kStorageWritten = 3,        /* written to its final place; `value` holds the final word */
  kStorageDirectory = 4,      /* `data` is a child TifDirectory */
  kStorageDirectoryArray = 5, /* `data` is an array of `count` pointers to child directories */
  kStorageKindMask = 15,
  kStorageOwned = 16
};

/* A tag: its entry and what was loaded for it. 20 bytes on a 32-bit target. */
typedef struct TifTagRecord {
  uint16_t tag;
  uint16_t type;
  uint32_t count;
  uint32_t value;
  void* data;
  uint32_t storage; /* kStorage... */
} TifTagRecord;

/* A directory in memory: one block with its records, in the order of the file. C++ knows the array at its end as an
   extension only. */
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"
typedef struct TifDirectory {
  uint32_t nextDirectoryOffset; /* the next-directory word as found; 0 when it could not be read */
  uint32_t entryCount;
  TifTagRecord records[]; /* entryCount of them */
} TifDirectory;
#pragma GCC diagnostic pop

#pragma pack(pop)

/* Classes of tags, the results of Vx_GetTIFTagDataType. */
enum {
  kTagClassBlock = 0,        /* one out-of-line value */
  kTagClassBlockArray = 1,   /* an array of blocks is loaded */
  kTagClassInline = 2,       /* the value fits the value word */
  kTagClassSubDirectory = 3, /* points to a child directory */
  kTagClassJpegStream = 4,   /* tag 513 */
  kTagClassJpegTable = 5,    /* tags 519, 520, 521 */
  kTagClassImageOffsets = 6  /* tags 273 and 324 */
};

/* Layout flags of Vx_GetTIFPage. */
enum {
  kLayoutPieces = 0x1, /* stored in several pieces that must be decoded one at a time */
  kLayoutBands = 0x2,  /* the pieces are whole-width row bands */
  kLayoutPlanes = 0x8  /* the planes are separate */
};

/* Opens a file. `size` is sizeof(TifFile). 1; kResultNullPointer, kResultStructSize, kResultOpenFailed, or why the
   header was refused, with the handle closed again. */
VX_API int32_t Vx_OpenTIF(const char16_t* fileName, TifFile* file, uint32_t size);

/* Closes it. The record is not cleared; closing it again gives 1 and touches nothing. 1; kResultNullPointer,
   kResultStructSize. */
VX_API int32_t Vx_CloseTIF(TifFile* file);

/* Reads a directory as a tag block and moves the record to it. `block` receives a block that the caller frees with
   Vx_FreeTIFPage, `layoutFlags` a set of kLayout... 1; 0 for a directory that cannot be read; kResultNoSuchPage,
   kResultSeekFailed, kResultReadFailed, kResultNotTiff. The pointers are not tested. */
VX_API int32_t Vx_GetTIFPage(TifFile* file, uint32_t page, TifDirectory** block, uint32_t* layoutFlags);

/* Frees a block from Vx_GetTIFPage; null is accepted. 1. */
VX_API int32_t Vx_FreeTIFPage(TifDirectory* block);

/* The class of a tag in a page's main directory, kTagClass..., and its size in bytes. -1 for a null record. One of the
   two exports whose success is not 1. */
VX_API int32_t Vx_GetTIFTagDataType(TifTagRecord* record, uint32_t* size);

/* The page's palette as a movable block of 256 entries that the caller frees, and the number of entries in use; 0 and
   handle 0 for a page that needs none. 1; kResultNullPointer, kResultStructSize, kResultNoMemory, kResultSeekFailed,
   kResultReadFailed. */
VX_API int32_t Vx_GetTIFPalette(TifFile* file, TifDirectory* block, uint32_t* count, VxGlobalHandle* palette);

#ifdef __cplusplus
}
#endif

#endif
