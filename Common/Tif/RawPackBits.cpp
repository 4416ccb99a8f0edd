// Raw PackBits pages. A page record is made up from the request, with a single strip at the start of the file; rows are
// decoded one by one through a fixed input block and handed to the caller. Of the row stage only the 12-bit re-ordering
// and CIELab apply: such a page knows nothing of samples. The load driver uses it.

#include "Tif/RawPackBits.h"

#include <vxtif/page.h>

#include "Tif/ColorConversion.h"
#include "Tif/PageLayout.h"
#include "Tif/RowOperations.h"
#include "Tifutil/PackBits.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Memory.h"
#include "tif_com/Saturate.h"
#include "tif_com/Tags.h"

namespace {

struct RawStream {
  FilterLoadRequest* request;
  VxFileHandle file;
  TifRowSink rowCallback;
  const TifPage* page;
  uint8_t* row;
  uint64_t rowBufferBytes;
  uint32_t rowBytes;
  uint8_t* input;
};

void FillPage(const FilterLoadRequest* request, TifPage* page) {
  const BitmapHandle* const bitmap = request->bitmap;
  page->imageWidth = page->tileWidth = bitmap->width;
  page->rowsPerStrip = bitmap->height;
  page->bitsPerPixel = bitmap->bitsPerPixel;
  page->totalBits = bitmap->bitsPerPixel > 0 ? static_cast<uint32_t>(bitmap->bitsPerPixel) : 0;
  page->photometricInterpretation = request->rawPhotometric;
  page->planarConfiguration = request->rawPlanarConfiguration;
  page->fillOrder = kFillOrderMsbFirst;
  page->fillOrderMode = kFillReverseAfter;
  page->yCbCrSubSampleHoriz = page->yCbCrSubSampleVert = 1;
}

void ProcessRow(const RawStream& stream) {
  const TifPage* const page = stream.page;
  const int32_t depth = stream.request->bitmap->bitsPerPixel;
  const uint32_t pixels = page->tileWidth > 0 ? static_cast<uint32_t>(page->tileWidth) : 0;
  if (page->bitsPerPixel == 12) {
    TIFUnpack12(stream.row, pixels, stream.rowBytes);
  }
  if (page->photometricInterpretation == kPhotometricCieLab && depth >= 24) {
    TIFLabToRgb8(stream.row, pixels, static_cast<uint32_t>(depth) / 8, stream.rowBytes);
  }
}

int32_t DeliverRows(const RawStream& stream) {
  FilterLoadRequest* const request = stream.request;
  const int32_t height = request->bitmap->height;
  uint32_t position = kPackBitsInputBlock; // forces a refill at the first byte
  for (int32_t row = 0; row < height; ++row) {
    TIFPackBitsReadStream(stream.row, stream.file, stream.rowBytes, stream.input, &position, BitOrder::kAsRead);
    ProcessRow(stream);
    const uint32_t flags =
        uint32_t{kRowsAlways} | (row == 0 ? uint32_t{kRowsFirst} : 0) | (row == height - 1 ? uint32_t{kRowsLast} : 0);
    const int32_t result =
        stream.rowCallback(request->fileInfo, request->bitmap, stream.row, flags, row, 1, request->rowCallbackData);
    if (result != kResultOk) {
      return result;
    }
  }
  return kResultOk;
}

int32_t LoadStream(RawStream stream) {
  const TifPage* const page = stream.page;
  // With separate planes there is no strip to read.
  if (page->planarConfiguration == kPlanarSeparate) {
    return kResultOk;
  }
  if (TIFSeek(stream.file, 0, kKrnSeekSet) != 0) {
    return kResultSeekFailed;
  }
  const uint64_t rowBytes = TIFTileRowBytes(page);
  const uint64_t width = page->imageWidth > 0 ? static_cast<uint64_t>(page->imageWidth) : 0;
  stream.rowBufferBytes = (uint64_t{page->totalBits} + 7) / 8 * (width + 4);
  if (rowBytes > INT32_MAX) {
    return kResultNoMemory;
  }
  stream.rowBytes = static_cast<uint32_t>(rowBytes);
  stream.row = TIFAllocZeroBytes(stream.rowBufferBytes);
  stream.input = TIFAllocZeroBytes(kPackBitsInputBlock);
  const int32_t result = stream.row != nullptr && stream.input != nullptr ? DeliverRows(stream) : kResultNoMemory;
  TIFFree(stream.row);
  TIFFree(stream.input);
  return result;
}

} // namespace

int32_t TIFLoadRawPackBitsPage(FilterLoadRequest* request, VxFileHandle file, TifRowSink rowCallback) {
  // A YCbCr page needs sub-sampling factors, and a raw stream has none.
  if (request->rawPhotometric == kPhotometricYCbCr) {
    return kResultColorLayout;
  }
  auto* const page = static_cast<TifPage*>(TIFAllocZero(1, sizeof(TifPage)));
  if (page == nullptr) {
    return kResultNoMemory;
  }
  FillPage(request, page);
  const int32_t result = LoadStream({request, file, rowCallback, page, nullptr, 0, 0, nullptr});
  TIFFree(page);
  return result;
}
