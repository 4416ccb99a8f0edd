#include "bench/OwnSave.h"

#include <cstring>

#include <vxkernel/vxkernel.h>
#include <vxtif/vxtif.h>

namespace {

// The palette stands at byte 8, where the library looks for it.
struct RowContext {
  uint32_t reserved[2];
  VxColor palette[kPaletteEntries];
};

RowContext rowContext;

int32_t StartRows(BitmapHandle* bitmap, BitmapHandle** descriptor, int32_t, uint32_t*, void**, int32_t, intptr_t extra1,
                  intptr_t, void** context) {
  const auto* const image = reinterpret_cast<const BenchImage*>(extra1);
  rowContext = {};
  if (image->palette.empty()) {
    krnDefaultPalette(rowContext.palette, bitmap->bitsPerPixel);
  }
  for (size_t i = 0; i + 2 < image->palette.size(); i += 3) {
    rowContext.palette[i / 3] = {image->palette[i + 2], image->palette[i + 1], image->palette[i], 0};
  }
  *descriptor = bitmap;
  *context = &rowContext;
  return 1;
}

int32_t GetRow(BitmapHandle*, BitmapHandle*, void* rowBuffer, int32_t rowIndex, int32_t, uint32_t, intptr_t extra1,
               intptr_t, void*) {
  const auto* const image = reinterpret_cast<const BenchImage*>(extra1);
  std::memcpy(rowBuffer, image->Row(static_cast<uint32_t>(rowIndex)), image->rowBytes);
  return 1;
}

int32_t EndRows(BitmapHandle*, BitmapHandle**, uint32_t*, int32_t, void**) {
  return 1;
}

} // namespace

int32_t SaveOwn(const std::u16string& name, const OwnSaveJob& job) {
  const BenchImage& image = *job.image;
  const auto bits = static_cast<int32_t>(image.samples * image.bitsPerSample);
  BitmapHandle bitmap = {};
  krnBitmapInit(&bitmap, kBitmapHandleSize, static_cast<int32_t>(image.width), static_cast<int32_t>(image.height),
                bits);
  bitmap.order = image.bitsPerSample == 16 && image.samples == 1 ? kOrderGray : kOrderRedFirst;
  SaveOptions options = {};
  options.structSize = sizeof options;
  options.flags = job.optionFlags;
  options.pageNumber = 1;
  FilterSaveRequest request = {};
  request.fileName = name.c_str();
  request.bitmap = &bitmap;
  request.bitsPerPixel = bits;
  request.fileFormat = job.format;
  request.flags = job.requestFlags;
  request.extra1 = reinterpret_cast<intptr_t>(&image);
  request.fileOptions = &options;
  request.saveStart = StartRows;
  request.saveEnd = EndRows;
  request.saveGetRow = GetRow;
  return fltSave(&request);
}
