// Bitmaps: descriptors, their pixels, and the copying of rows in and out.
//
// The descriptor's layout is fixed and has no room for a pointer on every target, so its second word holds the number
// of a movable block with the pixels' address, their measures and the palette. A descriptor that was copied and
// outlives its pixels finds nothing.

#include "BitmapStore.h"

#include "BlockMemory.h"

#include <cstring>

namespace kernel {
namespace {

constexpr uint32_t kStoreMark = 0x58505856;
constexpr int32_t kMostBitsPerPixel = 64;
constexpr char kModule[] = "vxkernel/bitmaps";

constexpr int32_t kResultOk = 1;
constexpr int32_t kResultNoMemory = -1;
constexpr int32_t kResultInvalid = -13;

uint32_t StoreId(const BitmapHandle* bitmap) {
  return bitmap->kernelWords1[0];
}

void SetStoreId(BitmapHandle* bitmap, uint32_t id) {
  bitmap->kernelWords1[0] = id;
}

uint8_t* NewPixels(int32_t bytesPerLine, int32_t height, BlockKind kind) {
  const uint64_t bytes = static_cast<uint64_t>(bytesPerLine) * static_cast<uint64_t>(height);
  return bytes <= SIZE_MAX ? static_cast<uint8_t*>(AllocatePixels(static_cast<size_t>(bytes), kind)) : nullptr;
}

// A store without pixels yet: its handle, or 0.
VxGlobalHandle NewStore(int32_t width, int32_t height, int32_t bitsPerPixel, int32_t bytesPerLine) {
  const VxGlobalHandle id = krnGlobalAlloc(1, sizeof(PixelStore), __LINE__, kModule);
  if (id != 0) {
    auto* store = static_cast<PixelStore*>(krnGlobalPointer(id));
    std::memset(store, 0, sizeof *store);
    store->mark = kStoreMark;
    store->width = width;
    store->height = height;
    store->bitsPerPixel = bitsPerPixel;
    store->bytesPerLine = bytesPerLine;
  }
  return id;
}

// How many of `bytes` bytes from the start of `row` on lie inside the pixels.
size_t BytesInside(const PixelStore& store, int32_t row, int32_t bytes) {
  if (row < 0 || row >= store.height || bytes <= 0) {
    return 0;
  }
  const auto left = static_cast<uint64_t>(store.height - row) * static_cast<uint64_t>(store.bytesPerLine);
  return static_cast<uint64_t>(bytes) < left ? static_cast<size_t>(bytes) : static_cast<size_t>(left);
}

uint8_t* RowOf(const PixelStore& store, int32_t row) {
  return store.pixels + static_cast<size_t>(row) * static_cast<size_t>(store.bytesPerLine);
}

} // namespace

PixelStore* FindStore(const BitmapHandle* bitmap) {
  if (bitmap == nullptr || StoreId(bitmap) == 0 || krnGlobalSize(StoreId(bitmap)) != sizeof(PixelStore)) {
    return nullptr;
  }
  auto* store = static_cast<PixelStore*>(krnGlobalPointer(StoreId(bitmap)));
  return store->mark == kStoreMark ? store : nullptr;
}

int32_t BytesPerLine(int32_t width, int32_t bitsPerPixel) {
  if (width < 1 || bitsPerPixel < 1) {
    return 0;
  }
  constexpr int64_t kMost = INT32_MAX / 4 * 4;
  const int64_t bytes = (static_cast<int64_t>(width) * bitsPerPixel + 31) / 32 * 4;
  return static_cast<int32_t>(bytes < kMost ? bytes : kMost);
}

uint8_t* ExchangePixels(BitmapHandle* bitmap, PixelStore* store, int32_t width, int32_t height, int32_t bitsPerPixel) {
  const int32_t bytesPerLine = BytesPerLine(width, bitsPerPixel);
  uint8_t* pixels = NewPixels(bytesPerLine, height, BlockKind::kPlain);
  if (pixels == nullptr) {
    return nullptr;
  }
  uint8_t* old = store->pixels;
  store->pixels = pixels;
  bitmap->width = store->width = width;
  bitmap->height = store->height = height;
  bitmap->bitsPerPixel = store->bitsPerPixel = bitsPerPixel;
  bitmap->bytesPerLine = store->bytesPerLine = bytesPerLine;
  return old;
}

} // namespace kernel

using kernel::FindStore;
using kernel::PixelStore;

int32_t krnBitmapInit(BitmapHandle* bitmap, uint32_t structSize, int32_t width, int32_t height, int32_t bitsPerPixel) {
  if (bitmap == nullptr || structSize != kBitmapHandleSize) {
    return kernel::kResultInvalid;
  }
  std::memset(bitmap, 0, sizeof *bitmap);
  bitmap->structSize = kBitmapHandleSize;
  bitmap->width = width;
  bitmap->height = height;
  bitmap->bitsPerPixel = bitsPerPixel;
  bitmap->bytesPerLine = kernel::BytesPerLine(width, bitsPerPixel);
  bitmap->viewPerspective = 1;
  bitmap->highBit = -1;
  bitmap->highBit2 = -1;
  return kernel::kResultOk;
}

int32_t krnBitmapCreate(BitmapHandle* bitmap, uint32_t structSize, int32_t, int32_t width, int32_t height,
                        int32_t bitsPerPixel, uint32_t order, int32_t, uint32_t viewPerspective, int32_t, int32_t) {
  if (width < 1 || height < 1 || bitsPerPixel < 1 || bitsPerPixel > kernel::kMostBitsPerPixel ||
      krnBitmapInit(bitmap, structSize, width, height, bitsPerPixel) != kernel::kResultOk) {
    return kernel::kResultInvalid;
  }
  bitmap->order = order;
  bitmap->viewPerspective = viewPerspective;
  if ((static_cast<int64_t>(width) * bitsPerPixel + 7) / 8 > bitmap->bytesPerLine) {
    return kernel::kResultNoMemory;
  }
  const VxGlobalHandle id = kernel::NewStore(width, height, bitsPerPixel, bitmap->bytesPerLine);
  if (id == 0) {
    return kernel::kResultNoMemory;
  }
  uint8_t* pixels = kernel::NewPixels(bitmap->bytesPerLine, height, kernel::BlockKind::kPixels);
  if (pixels == nullptr) {
    krnGlobalFree(id, __LINE__, kernel::kModule);
    return kernel::kResultNoMemory;
  }
  static_cast<PixelStore*>(krnGlobalPointer(id))->pixels = pixels;
  kernel::SetStoreId(bitmap, id);
  return kernel::kResultOk;
}

int32_t krnBitmapFree(BitmapHandle* bitmap) {
  const PixelStore* store = FindStore(bitmap);
  if (store != nullptr) {
    krnFree(store->pixels, __LINE__, kernel::kModule);
    krnGlobalFree(kernel::StoreId(bitmap), __LINE__, kernel::kModule);
    kernel::SetStoreId(bitmap, 0);
  }
  return kernel::kResultOk;
}

// Pixels never move while nothing is asked of them, so there is nothing to pin.
int32_t krnBitmapAccess(BitmapHandle*) {
  return kernel::kResultOk;
}

int32_t krnBitmapRelease(BitmapHandle*) {
  return kernel::kResultOk;
}

int32_t krnBitmapGetRow(const BitmapHandle* bitmap, void* buffer, int32_t row, int32_t bytes) {
  const PixelStore* store = FindStore(bitmap);
  const size_t inside = store != nullptr && buffer != nullptr ? kernel::BytesInside(*store, row, bytes) : 0;
  if (inside != 0) {
    std::memcpy(buffer, kernel::RowOf(*store, row), inside);
  }
  return static_cast<int32_t>(inside);
}

int32_t krnBitmapPutRow(BitmapHandle* bitmap, const void* buffer, int32_t row, int32_t bytes) {
  const PixelStore* store = FindStore(bitmap);
  const size_t inside = store != nullptr && buffer != nullptr ? kernel::BytesInside(*store, row, bytes) : 0;
  if (inside != 0) {
    std::memcpy(kernel::RowOf(*store, row), buffer, inside);
  }
  return static_cast<int32_t>(inside);
}

uint8_t* krnBitmapPixels(const BitmapHandle* bitmap) {
  const PixelStore* store = FindStore(bitmap);
  return store != nullptr ? store->pixels : nullptr;
}
