// A bitmap of the kernel with its owner: pixels, palette and tone table go with it.
#pragma once

#include <cstdint>
#include <utility>

#include <vxkernel/bitmap.h>

namespace toolkit {

class Bitmap {
public:
  Bitmap() = default;
  ~Bitmap() { Release(); }
  Bitmap(Bitmap&& other) noexcept : handle_(std::exchange(other.handle_, BitmapHandle{})) {}
  Bitmap& operator=(Bitmap&& other) noexcept;
  Bitmap(const Bitmap&) = delete;
  Bitmap& operator=(const Bitmap&) = delete;

  // Makes cleared pixels, view 1. 1, or the kernel's refusal.
  int32_t Create(int32_t width, int32_t height, int32_t bitsPerPixel, uint32_t order);

  // A descriptor without pixels.
  int32_t Describe(int32_t width, int32_t height, int32_t bitsPerPixel);

  BitmapHandle* Handle() { return &handle_; }
  const BitmapHandle* Handle() const { return &handle_; }
  BitmapHandle* operator->() { return &handle_; }
  const BitmapHandle* operator->() const { return &handle_; }

  uint8_t* Row(int32_t row);
  const uint8_t* Row(int32_t row) const;

private:
  void Release();
  BitmapHandle handle_ = {};
};

} // namespace toolkit
