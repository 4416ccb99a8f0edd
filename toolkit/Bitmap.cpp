// Making and releasing of bitmaps.

#include "toolkit/Bitmap.h"

namespace toolkit {

Bitmap& Bitmap::operator=(Bitmap&& other) noexcept {
  if (this != &other) {
    Release();
    handle_ = std::exchange(other.handle_, BitmapHandle{});
  }
  return *this;
}

int32_t Bitmap::Create(int32_t width, int32_t height, int32_t bitsPerPixel, uint32_t order) {
  Release();
  return krnBitmapCreate(&handle_, kBitmapHandleSize, 1, width, height, bitsPerPixel, order, 0, 1, 0, 0);
}

int32_t Bitmap::Describe(int32_t width, int32_t height, int32_t bitsPerPixel) {
  Release();
  return krnBitmapInit(&handle_, kBitmapHandleSize, width, height, bitsPerPixel);
}

uint8_t* Bitmap::Row(int32_t row) {
  return krnBitmapPixels(&handle_) + static_cast<size_t>(row) * static_cast<size_t>(handle_.bytesPerLine);
}

const uint8_t* Bitmap::Row(int32_t row) const {
  return krnBitmapPixels(&handle_) + static_cast<size_t>(row) * static_cast<size_t>(handle_.bytesPerLine);
}

void Bitmap::Release() {
  if (handle_.structSize == 0) {
    return;
  }
  krnGlobalFree(handle_.lookupTable, __LINE__, "toolkit/Bitmap");
  handle_.lookupTable = 0;
  krnBitmapFree(&handle_);
  handle_ = {};
}

} // namespace toolkit
