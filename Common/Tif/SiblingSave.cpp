// Saving through a sibling library: its fltSave writes at the current position of the open TIFF file. Given the save
// request and the file behind its new directory, it gives back the sibling's result and the number of bytes written.
// The save driver uses it.

#include <vxtif/formats.h>

#include "Tif/Siblings.h"
#include "Tif_lzw/SaveRows.h"
#include "tif_com/Memory.h"

namespace {

using SaveFunction = int32_t (*)(FilterSaveRequest*);

// Numbers of the stand-alone formats, as the siblings know them.
enum SiblingFormat : int32_t {
  kSiblingFormatBilevel1 = 32,
  kSiblingFormatJbig = 139,
  kSiblingFormatJpeg2000 = 164,
  kSiblingFormatWavelet = 165,
  kSiblingFormatJbig2 = 183,
  kSiblingFormatBilevel2 = 185
};

struct SavedFormat {
  int32_t asked;
  int32_t given;
  SiblingRowNumber row;
};

constexpr SavedFormat kSavedFormats[] = {
    {kFormatJbig, kSiblingFormatJbig, kSiblingJbig},
    {kFormatJpeg2000, kSiblingFormatJpeg2000, kSiblingJpeg2000},
    {kFormatWavelet, kSiblingFormatWavelet, kSiblingWavelet},
    {kFormatStoredSize, kSiblingFormatJbig, kSiblingJbig},
    {kFormatBilevel1, kSiblingFormatBilevel1, kSiblingBilevel1},
    {kFormatBilevel2, kSiblingFormatBilevel2, kSiblingBilevel2},
    {kFormatJbig2, kSiblingFormatJbig2, kSiblingJbig2},
};

const SavedFormat* FindSavedFormat(int32_t asked) {
  for (const SavedFormat& format : kSavedFormats) {
    if (format.asked == asked) {
      return &format;
    }
  }
  return nullptr;
}

// The sibling's save on the stream that begins at the current position.
int32_t SaveAtPosition(FilterSaveRequest* request, VxFileHandle file, const SavedFormat& format, uint32_t* byteCount) {
  const auto save = reinterpret_cast<SaveFunction>(TIFSiblingFunction(format.row, "fltSave"));
  if (save == nullptr) {
    return TIFSiblingMissing(format.row);
  }
  request->fileFormat = format.given;
  StreamAdapter adapter;
  TIFOpenOutputStream(file, &adapter);
  BitmapHandle* const bitmap = request->bitmap;
  SaveOptions* const options = request->fileOptions;
  const uint32_t view = bitmap->viewPerspective;
  const int32_t pageNumber = options->pageNumber;
  options->pageNumber = 1;
  const int32_t result = save(request);
  options->pageNumber = pageNumber;
  if (view != kViewBottomUp) {
    bitmap->viewPerspective = view;
  }
  TIFCloseStream(&adapter);
  *byteCount = krnFileSeek(file, 0, kKrnSeekEnd) - adapter.baseOffset;
  return result;
}

// The row service between its start and its end.
struct RowService {
  BitmapHandle* descriptor;
  void* context;
};

// The rows into a bitmap that has their size and depth.
int32_t CopyRows(const FilterSaveRequest* request, const RowService& service, BitmapHandle* bitmap, uint8_t* row) {
  const int32_t height = service.descriptor->height;
  const int32_t rowBytes = bitmap->bytesPerLine;
  for (int32_t i = 0; i < height; ++i) {
    const int32_t result = request->saveGetRow(request->bitmap, service.descriptor, row, i, 1, request->flags,
                                               request->extra1, request->extra2, service.context);
    if (result != kResultOk) {
      return result;
    }
    if (krnBitmapPutRow(bitmap, row, i, rowBytes) < 1) {
      return kResultRefused;
    }
  }
  return kResultOk;
}

int32_t FetchRows(const FilterSaveRequest* request, const RowService& service, BitmapHandle* bitmap) {
  const BitmapHandle* const rows = service.descriptor;
  const int32_t created = krnBitmapCreate(bitmap, kBitmapHandleSize, 1, rows->width, rows->height, rows->bitsPerPixel,
                                          rows->order, 0, rows->viewPerspective, 0, 0);
  if (created != kResultOk) {
    return created;
  }
  // The service fills rows of its own descriptor.
  const int32_t rowBytes = rows->bytesPerLine > bitmap->bytesPerLine ? rows->bytesPerLine : bitmap->bytesPerLine;
  auto* const row = static_cast<uint8_t*>(TIFAllocZero(static_cast<size_t>(rowBytes), 1));
  if (row == nullptr) {
    return kResultNoMemory;
  }
  const int32_t result = CopyRows(request, service, bitmap, row);
  TIFFree(row);
  return result;
}

} // namespace

int32_t TIFBitmapFromRawRows(FilterSaveRequest* request, BitmapHandle* bitmap) {
  const TifSizePair* const size = request->private50235;
  if (size == nullptr || size->structSize != sizeof(TifSizePair)) {
    return kResultStructSize;
  }
  krnBitmapInit(bitmap, kBitmapHandleSize, 1, 1, 1);
  if (size->first == 0 || size->second == 0) {
    return kResultOk;
  }
  // The service may change the flags that it is shown; the request's stay.
  uint32_t flags = request->flags;
  RowService service = {nullptr, nullptr};
  const int32_t started = request->saveStart(request->bitmap, &service.descriptor, request->bitsPerPixel, &flags,
                                             nullptr, 1, request->extra1, request->extra2, &service.context);
  if (started < kResultOk) {
    return started;
  }
  int32_t result = FetchRows(request, service, bitmap);
  flags = request->flags;
  request->saveEnd(request->bitmap, &service.descriptor, &flags, 0, &service.context);
  if (result == kResultOk) {
    result = krnBitmapResize(bitmap, static_cast<int32_t>(size->first), static_cast<int32_t>(size->second), 0);
  }
  if (result != kResultOk) {
    krnBitmapFree(bitmap);
    return result;
  }
  request->bitmap = bitmap;
  return kResultOk;
}

int32_t TIFSiblingSaveStream(FilterSaveRequest* request, VxFileHandle file, uint32_t* byteCount) {
  const SavedFormat* const format = FindSavedFormat(request->fileFormat);
  if (format == nullptr) {
    return kResultFormatNotSaved;
  }
  if (format->asked != kFormatStoredSize) {
    return SaveAtPosition(request, file, *format, byteCount);
  }
  BitmapHandle* const whole = request->bitmap;
  BitmapHandle stored;
  const int32_t prepared = TIFBitmapFromRawRows(request, &stored);
  if (prepared != kResultOk) {
    return prepared;
  }
  request->bitmap = &stored;
  const int32_t result = SaveAtPosition(request, file, *format, byteCount);
  krnBitmapFree(&stored);
  request->bitmap = whole;
  return result;
}
