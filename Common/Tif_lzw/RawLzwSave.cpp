// The bare LZW stream of format 178: the whole image as one stream, with no header, directory or strips. The save
// driver deletes the file on any failure.

#include <vxtif/results.h>

#include "Tif_lzw/LzwCodec.h"
#include "Tif_lzw/SaveRows.h"
#include "Tif_lzw/StripWriter.h"
#include "Tif_lzw/WrittenRows.h"
#include "Tifutil/Predictor.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Memory.h"
#include "tif_com/Tags.h"

namespace {

// What the row service hands out for one save.
struct RowSource {
  BitmapHandle* descriptor;
  void* context;
  uint8_t* rowBuffer; // the service's
};

int32_t EncodeRow(TifPage* page, LzwEncoder* encoder, const RowSource* rows, uint32_t rowBytes) {
  if (page->predictor == kPredictorHorizontal) {
    TIFPredictRow(page, rows->rowBuffer, rowBytes);
    if (page->bitsPerPixel == 12) {
      TIFPack12BitRow(rows->rowBuffer, rows->rowBuffer, static_cast<uint32_t>(page->tileWidth));
    }
  }
  return TIFLZWEncode(page, rows->rowBuffer, rowBytes, 1, encoder);
}

int32_t EncodeRows(const FilterSaveRequest* request, TifPage* page, LzwEncoder* encoder, const RowSource* rows) {
  BitmapHandle* bitmap = request->bitmap;
  const int64_t bits = static_cast<int64_t>(rows->descriptor->bitsPerPixel) * rows->descriptor->width;
  const auto rowBytes = static_cast<uint32_t>((bits + 7) >> 3);
  for (int32_t row = 0; row < bitmap->height; ++row) {
    int32_t result = request->saveGetRow(bitmap, rows->descriptor, rows->rowBuffer, TIFRowToFetch(bitmap, row), 1,
                                         request->flags, request->extra1, request->extra2, rows->context);
    if (result == kResultOk) {
      result = EncodeRow(page, encoder, rows, rowBytes);
    }
    if (result != kResultOk) {
      return result;
    }
  }
  TIFLZWEncodeEnd(page, encoder);
  return kResultOk;
}

// The encoder starts in front of the page set-up, with no buffer yet, and so flushes after every code: the bytes in the
// file are the same.
int32_t EncodeImage(const FilterSaveRequest* request, TifPage* page, const RowSource* rows, VxFileHandle file) {
  LzwEncoder* encoder = nullptr;
  int32_t result = TIFLZWEncodeStart(page, &encoder);
  if (result != kResultOk) {
    return result;
  }
  result =
      TIFInitLZWPage(page, request->fileOptions, rows->descriptor, request->bitsPerPixel, file, false, false,
                     static_cast<uint32_t>(rows->descriptor->width), static_cast<uint32_t>(rows->descriptor->height));
  if (result == kResultOk) {
    result = EncodeRows(request, page, encoder, rows);
  }
  TIFLZWFreeEncoder(encoder);
  TIFFree(page->codecBuffer);
  return result;
}

int32_t SaveToFile(FilterSaveRequest* request, TifPage* page, VxFileHandle file) {
  RowSource rows = {};
  void* rowBuffer = nullptr;
  uint32_t flags = request->flags;
  const int32_t started = request->saveStart(request->bitmap, &rows.descriptor, request->bitsPerPixel, &flags,
                                             &rowBuffer, 1, request->extra1, request->extra2, &rows.context);
  if (started < 1) {
    return started;
  }
  rows.rowBuffer = static_cast<uint8_t*>(rowBuffer);
  request->flags = flags;
  if ((request->fileOptions->flags & kSaveUseDirectoryOffset) != 0) {
    TIFSeek(file, request->fileOptions->directoryOffset, kKrnSeekSet);
  }
  const int32_t result = rows.rowBuffer == nullptr ? kResultNoMemory : EncodeImage(request, page, &rows, file);
  request->saveEnd(request->bitmap, &rows.descriptor, &flags, 0, &rows.context);
  return result;
}

} // namespace

int32_t TIFSaveRawLZW(FilterSaveRequest* request) {
  auto* page = static_cast<TifPage*>(TIFAllocZero(1, sizeof(TifPage)));
  if (page == nullptr) {
    return kResultNoMemory;
  }
  int32_t result = kResultOpenFailed;
  const VxFileHandle file = krnFileOpen(request->fileName, kKrnFileCreate | kKrnFileWrite, kKrnShareRead);
  if (file != kKrnNoHandle) {
    result = SaveToFile(request, page, file);
    krnFileClose(file);
  }
  TIFFree(page);
  return result;
}
