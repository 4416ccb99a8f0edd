// Delegation to the toolkit's sibling libraries: a byte range of the open TIFF file is made to look like a file of its
// own, while the kernel's open, seek and close calls are redirected.
#pragma once

#include <cstdint>

#include <vxtif/info.h>
#include <vxtif/load.h>
#include <vxtif/page.h>
#include <vxtif/save.h>

// Rows of the sibling table.
enum SiblingRowNumber : uint32_t {
  kSiblingJbig = 0,
  kSiblingJbig2 = 1,
  kSiblingVector = 2,
  kSiblingJpeg2000 = 3,
  kSiblingWavelet = 4,
  kSiblingCamera1 = 5,
  kSiblingCamera2 = 6,
  kSiblingCamera3 = 7,
  kSiblingSegment = 8,
  kSiblingBilevel1 = 9,
  kSiblingBilevel2 = 10,
  kSiblingRowCount = 11
};

// The callback set that is installed while a delegation runs. Its slots exchange places with the kernel's, so that the
// adapter holds the previous callbacks meanwhile; nesting works for that reason.
struct StreamAdapter {
  KrnOpenFn openFn;
  KrnSeekFn seekFn;
  KrnCloseFn closeFn;
  VxFileHandle fileHandle;
  uint32_t baseOffset; // where the stream begins in the file
  uint32_t length;     // its length, or kStreamUnlimited
  void* openData;
  void* seekData;
  void* closeData;
};

constexpr uint32_t kStreamUnlimited = 0xFFFFFFFFu;

// Loads the row's library if need be; it stays loaded, and a failed row is tried again at the next need. Non-zero on
// success.
int32_t TIFLoadSibling(const void* instance, uint32_t row);

// Install and undo. Between them the kernel's open, seek and close see the stream.
void TIFOpenEmbeddedStream(VxFileHandle file, uint32_t baseOffset, uint32_t length, StreamAdapter* adapter);
void TIFOpenOutputStream(VxFileHandle file, StreamAdapter* adapter);
void TIFCloseStream(StreamAdapter* adapter);

// The result of a row whose library cannot be used; kResultInvalidParameter past the table.
int32_t TIFSiblingMissing(uint32_t row);

// The row's library is there and exports the function wanted ("fltInfo", "fltLoad", "fltSave").
bool TIFSiblingHas(uint32_t row, const char* functionName);

// An entry point of a sibling: the address of a loaded row's function, null without. The caller knows its type.
void* TIFSiblingFunction(uint32_t row, const char* functionName);

// The sibling's fltInfo over the first strip. The row's code without tables of strips.
int32_t TIFSiblingInfo(FilterInfoRequest* request, const TifPage* page, uint32_t row);

// The sibling's fltLoad over a byte range, into `bitmap` by way of `rowCallback`. Sets the view of `bitmap`, and
// kReadFillOrder2 in the options for a page of fill order 2; the request's own fields come back as they were.
int32_t TIFSiblingLoadStream(FilterLoadRequest* request, VxFileHandle file, BitmapHandle* bitmap,
                             TifRowSink rowCallback, const TifPage* page, uint32_t baseOffset, uint32_t length,
                             intptr_t callbackData, uint32_t row);

// The vector library's fltLoad over the first strip, with the request as it stands.
int32_t TIFSiblingLoadFile(FilterLoadRequest* request, VxFileHandle file, const TifPage* page);

// The sibling's fltSave at the current position; the request's format number picks the row and becomes the number of
// the stand-alone format. `byteCount` receives the size of what was written. A missing library changes nothing.
int32_t TIFSiblingSaveStream(FilterSaveRequest* request, VxFileHandle file, uint32_t* byteCount);

// Format 175: fetches the rows of the request's bitmap and resizes them to the pair in private50235, in `bitmap`, which
// also becomes the request's. A size of 0 gives an empty descriptor of 1 x 1. 1, -789, -1, or the row service's code.
int32_t TIFBitmapFromRawRows(FilterSaveRequest* request, BitmapHandle* bitmap);

// The sibling's fltInfo on the unchanged whole file: its result, or 0 without a library that can be asked.
int32_t TIFSiblingProbe(FilterInfoRequest* request, uint32_t row);
