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

int32_t TIFLoadSibling(const void* instance, uint32_t row); // non-zero on success
void TIFOpenEmbeddedStream(VxFileHandle file, uint32_t baseOffset, uint32_t length, StreamAdapter* adapter);
void TIFOpenOutputStream(VxFileHandle file, StreamAdapter* adapter);
void TIFCloseStream(StreamAdapter* adapter);

// The result of a row whose library cannot be used.
int32_t TIFSiblingMissing(uint32_t row);

// The row's library is there and exports the function wanted ("fltInfo", "fltLoad", "fltSave").
bool TIFSiblingHas(uint32_t row, const char* functionName);

int32_t TIFSiblingInfo(FilterInfoRequest* request, const TifPage* page, uint32_t row);
int32_t TIFSiblingLoadStream(FilterLoadRequest* request, VxFileHandle file, BitmapHandle* bitmap,
                             TifRowSink rowCallback, const TifPage* page, uint32_t baseOffset, uint32_t length,
                             intptr_t callbackData, uint32_t row);
int32_t TIFSiblingLoadFile(FilterLoadRequest* request, VxFileHandle file, const TifPage* page);
int32_t TIFSiblingSaveStream(FilterSaveRequest* request, VxFileHandle file, uint32_t* byteCount);
int32_t TIFSiblingProbe(FilterInfoRequest* request, uint32_t row); // 1 when the sibling took the file; 0 otherwise
