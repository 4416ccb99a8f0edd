/* Files of the toolkit: handles by UTF-16 name, memory files, and the redirection of all file calls.

   A handle is a 32-bit number that is never used twice; -1 is none. Positions are kept in 64 bits, results are 32-bit
   words in which 0xFFFFFFFF (kKrnIoFailed) is failure, so that a position that does not fit fails too. */
#ifndef VXKERNEL_FILES_H
#define VXKERNEL_FILES_H

#include "platform.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef int32_t VxFileHandle;

enum { kKrnNoHandle = -1 };
#define kKrnIoFailed 0xFFFFFFFFu

/* Flags of krnFileOpen: the low two bits are the access. With kKrnFileCreate a missing file is created; together with
   kKrnFileReadWrite (258) an existing one is emptied, together with kKrnFileWrite (257) it keeps its bytes. */
enum { kKrnFileRead = 0, kKrnFileWrite = 1, kKrnFileReadWrite = 2, kKrnFileAccessMask = 3, kKrnFileCreate = 256 };

/* The third argument of krnFileOpen, the share mode. It is taken and has no effect. */
enum { kKrnShareExclusive = 128, kKrnShareRead = 256 };

enum { kKrnSeekSet = 0, kKrnSeekCurrent = 1, kKrnSeekEnd = 2 };

/* Opens a file. -1 for a missing file without kKrnFileCreate, a directory, a pipe or socket, a null or empty name, a
   name that is not valid UTF-16, an access of 3, a file that the system refuses, and past the limit of open handles. */
VX_API VxFileHandle krnFileOpen(const char16_t* name, uint32_t flags, uint32_t shareMode);

/* Releases a handle. 0; -1 for a handle that is not open, and when the system reports only now that something failed
   (the handle is released all the same). */
VX_API int32_t krnFileClose(VxFileHandle handle);

/* Bytes moved. A read gives 0 at the end of the file, less than n when the file ends within; past a limit it answers as
   at the end of the file. kKrnIoFailed for an error of the system before the first byte, a handle that is not open or
   not open for this, and a null buffer. Reads are buffered and coherent with writes through any handle of this process.
   Writes are not buffered: a short count tells of a failure in the call that met it. */
VX_API uint32_t krnFileRead(VxFileHandle handle, void* buffer, uint32_t n);
VX_API uint32_t krnFileWrite(VxFileHandle handle, const void* buffer, uint32_t n);

/* The new position, or kKrnIoFailed, which leaves the position as it was. A seek past the end is allowed; a write there
   fills the gap with zeros. No system call but for kKrnSeekEnd. */
VX_API uint32_t krnFileSeek(VxFileHandle handle, int32_t offset, uint32_t whence);

/* Turns the last failed write into a result: gives `code`. */
VX_API int32_t krnWriteError(int32_t code);

/* Deletes a file: 1, or 0 when the system refuses. The twin of DeleteFileW on systems that lack it. */
VX_API int32_t krnFileDelete(const char16_t* name);

/* Gives the handle a fresh budget of reads, seeks and bytes (see limits.h), and forgets what is buffered, so that
   changes by other processes are seen: for hosts that keep a handle open over many calls. The filter does it itself at
   the start of each call on a handle that its caller opened. */
VX_API void krnFileRenewBudget(VxFileHandle handle);

/* A block of memory as a file handle that works with all calls above. Mode kKrnMemFileRead reads `size` bytes at
   `data`; mode kKrnMemFileWrite writes into them: what does not fit is a short write, gaps are zeros, the end is the
   highest byte written; what has been written can be read. The block stays the caller's and must outlive the file. 1,
   or 0 when it cannot be opened. Open and close of a memory file do not pass through redirected callbacks; reads,
   writes and seeks on its handle do. */
typedef void* VxMemFile;
enum { kKrnMemFileRead = 4, kKrnMemFileWrite = 8 };
VX_API int32_t krnMemFileOpen(VxMemFile* file, VxFileHandle* handle, int32_t mode, void* data, uint32_t size);

/* Closes file and handle. `bytes`, which may be null, receives the highest byte written (mode 8) or the size (mode
   4). `reserved` is 0. 1, or 0 for a null file and one that is not open. */
VX_API int32_t krnMemFileClose(VxMemFile file, int32_t reserved, uint32_t* bytes);

/* The five file callbacks, each with its user data as last argument. */
typedef VxFileHandle (*KrnOpenFn)(const char16_t* name, uint32_t flags, uint32_t shareMode, void* userData);
typedef uint32_t (*KrnReadFn)(VxFileHandle handle, void* buffer, uint32_t n, void* userData);
typedef uint32_t (*KrnWriteFn)(VxFileHandle handle, const void* buffer, uint32_t n, void* userData);
typedef uint32_t (*KrnSeekFn)(VxFileHandle handle, int32_t offset, uint32_t whence, void* userData);
typedef int32_t (*KrnCloseFn)(VxFileHandle handle, void* userData);

/* Exchanges the kernel's current callbacks and their user data with the slots pointed to, for every pointer that is
   not null. Calling it twice with the same slots restores the former state. The current callbacks are never null: the
   kernel's own stand there at first. Acts on the whole process. */
VX_API void krnRedirectIo(KrnOpenFn* open, KrnReadFn* read, KrnWriteFn* write, KrnSeekFn* seek, KrnCloseFn* close,
                          void** openData, void** readData, void** writeData, void** seekData, void** closeData);

#ifdef __cplusplus
}
#endif

#endif
