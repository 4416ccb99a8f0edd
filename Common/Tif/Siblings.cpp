// Delegation of reading to the sibling libraries: the table of rows, their loading at first need, and the calls of
// fltInfo and fltLoad over a strip. Given the caller's request, which passes to the sibling with a few fields changed
// for the call, they give back the sibling's result. The load driver, the strip reader and the file report use them.

#include "Tif/Siblings.h"

#include <vxkernel/loader.h>

#include "Tif/EntryPoint.h"

namespace {

struct SiblingRow {
  const char* library;
  int32_t missing; // result when it cannot be used
};

constexpr SiblingRow kSiblingRows[kSiblingRowCount] = {
    {"VXJBIG.DLL", kResultSiblingJbig},         {"VXJBIG2.DLL", kResultSiblingJbig2},
    {"VXVECTOR.DLL", kResultSiblingVector},     {"VXJPEG2K.DLL", kResultSiblingJpeg2000},
    {"VXWAVELET.DLL", kResultSiblingWavelet},   {"VXCAMRAW1.DLL", kResultSiblingCamera1},
    {"VXCAMRAW2.DLL", kResultSiblingCamera2},   {"VXCAMRAW3.DLL", kResultSiblingCamera3},
    {"VXSEGMENT.DLL", kResultSiblingSegment},   {"VXBILEVEL1.DLL", kResultSiblingBilevel1},
    {"VXBILEVEL2.DLL", kResultSiblingBilevel2},
};

// One a row, from load to unload of this library: a sibling that was needed once stays loaded.
Vx_DllLoader siblingLoaders[kSiblingRowCount];

using InfoFunction = int32_t (*)(FilterInfoRequest*);
using LoadFunction = int32_t (*)(FilterLoadRequest*);

constexpr char kInfoName[] = "fltInfo";
constexpr char kLoadName[] = "fltLoad";
constexpr char kSaveName[] = "fltSave";

// An embedded image is one page: while it is open the options ask for the first.
int32_t ExchangePageNumber(FileOptions* options, int32_t pageNumber) {
  if (options == nullptr) {
    return pageNumber;
  }
  const int32_t former = options->pageNumber;
  options->pageNumber = pageNumber;
  return former;
}

// The first strip; a page without one stands for an empty stream.
struct StripRange {
  uint32_t offset;
  uint32_t bytes;
};

bool HasStrips(const TifPage* page) {
  return page->stripOffsets != nullptr && page->stripByteCounts != nullptr && page->stripCount != 0;
}

StripRange FirstStrip(const TifPage* page) {
  return HasStrips(page) ? StripRange{page->stripOffsets[0], page->stripByteCounts[0]} : StripRange{0, 0};
}

} // namespace

int32_t TIFLoadSibling(const void* instance, uint32_t row) {
  if (row >= kSiblingRowCount) {
    return 0;
  }
  Vx_DllLoader& loader = siblingLoaders[row];
  if (loader.IsLoaded() != 0) {
    return 1;
  }
  const char* const library = kSiblingRows[row].library;
  const int32_t loaded = loader.LoadWithPath(instance, library, library, nullptr);
  if (loaded == 0) {
    return 0;
  }
  // A library that lacks one stays loaded: whoever wants that function is turned down.
  loader.AddFunction(kInfoName);
  loader.AddFunction(kLoadName);
  loader.AddFunction(kSaveName);
  return loaded;
}

int32_t TIFSiblingMissing(uint32_t row) {
  return row < kSiblingRowCount ? kSiblingRows[row].missing : kResultInvalidParameter;
}

bool TIFSiblingHas(uint32_t row, const char* functionName) {
  return TIFLoadSibling(TIFModuleInstance(), row) != 0 && siblingLoaders[row].IsFunctionOk(functionName) != 0;
}

void* TIFSiblingFunction(uint32_t row, const char* functionName) {
  return TIFSiblingHas(row, functionName) ? siblingLoaders[row].GetFunction(functionName) : nullptr;
}

int32_t TIFSiblingInfo(FilterInfoRequest* request, const TifPage* page, uint32_t row) {
  const auto info = reinterpret_cast<InfoFunction>(TIFSiblingFunction(row, kInfoName));
  if (info == nullptr || !HasStrips(page)) {
    return TIFSiblingMissing(row);
  }
  const StripRange strip = FirstStrip(page);
  StreamAdapter adapter;
  TIFOpenEmbeddedStream(request->fileHandle, strip.offset, strip.bytes, &adapter);
  FileOptions* const options = request->fileOptions;
  const int32_t pageNumber = ExchangePageNumber(options, 1);
  const int32_t result = info(request);
  ExchangePageNumber(options, pageNumber);
  TIFCloseStream(&adapter);
  return result;
}

int32_t TIFSiblingLoadFile(FilterLoadRequest* request, VxFileHandle file, const TifPage* page) {
  const auto load = reinterpret_cast<LoadFunction>(TIFSiblingFunction(kSiblingVector, kLoadName));
  if (load == nullptr) {
    return TIFSiblingMissing(kSiblingVector);
  }
  const StripRange strip = FirstStrip(page);
  StreamAdapter adapter;
  TIFOpenEmbeddedStream(file, strip.offset, strip.bytes, &adapter);
  const int32_t result = load(request);
  TIFCloseStream(&adapter);
  return result;
}

int32_t TIFSiblingLoadStream(FilterLoadRequest* request, VxFileHandle file, BitmapHandle* bitmap,
                             TifRowSink rowCallback, const TifPage* page, uint32_t baseOffset, uint32_t length,
                             intptr_t callbackData, uint32_t row) {
  if (row >= kSiblingRowCount) {
    return kResultInvalidParameter; // a compression without a row
  }
  const auto load = reinterpret_cast<LoadFunction>(TIFSiblingFunction(row, kLoadName));
  if (load == nullptr) {
    return TIFSiblingMissing(row);
  }
  bitmap->viewPerspective = page->viewPerspective;
  FileOptions* const options = request->fileOptions;
  if (page->fillOrder == 2 && options != nullptr) {
    options->flags |= kReadFillOrder2;
  }
  StreamAdapter adapter;
  TIFOpenEmbeddedStream(file, baseOffset, length, &adapter);

  BitmapHandle* const formerBitmap = request->bitmap;
  const TifRowSink formerCallback = request->rowCallback;
  const intptr_t formerData = request->rowCallbackData;
  request->bitmap = bitmap;
  request->rowCallback = rowCallback;
  request->rowCallbackData = callbackData;
  const int32_t pageNumber = ExchangePageNumber(options, 1);
  const int32_t result = load(request);
  request->bitmap = formerBitmap;
  request->rowCallback = formerCallback;
  request->rowCallbackData = formerData;
  ExchangePageNumber(options, pageNumber);

  TIFCloseStream(&adapter);
  return result;
}

int32_t TIFSiblingProbe(FilterInfoRequest* request, uint32_t row) {
  const auto info = reinterpret_cast<InfoFunction>(TIFSiblingFunction(row, kInfoName));
  // A missing camera library is no error: the file is then described as the TIFF that it is.
  return info == nullptr ? 0 : info(request);
}
