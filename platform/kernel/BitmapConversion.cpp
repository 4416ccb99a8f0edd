// Conversions of whole bitmaps in place: bilevel to grey, sizes, grey to bilevel. Used for pages that are stored at
// another size than they are shown at.

#include "BitmapPalette.h"
#include "BitmapStore.h"

#include <cstring>

namespace kernel {
namespace {

constexpr int32_t kResultOk = 1;
constexpr int32_t kResultNoMemory = -1;
constexpr int32_t kResultInvalid = -13;
constexpr int32_t kResultDepthNotSupported = -27;
constexpr char kModule[] = "vxkernel/conversion";

constexpr int32_t kResizeNearest = 0;
constexpr int32_t kResizeBox = 4;
constexpr int32_t kReduceErrorDiffusion = 2;

// Pixels as the loops below need them.
struct Plane {
  uint8_t* pixels;
  size_t bytesPerLine;
  uint32_t width;
  uint32_t height;
};

Plane PlaneOf(const PixelStore& store) {
  return {store.pixels, static_cast<size_t>(store.bytesPerLine), static_cast<uint32_t>(store.width),
          static_cast<uint32_t>(store.height)};
}

// What every value of an 8-bit pixel is in grey.
void GraysOf(const PixelStore& store, uint8_t* grays, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    grays[i] = i < store.paletteCount ? GrayOf(store.palette[i]) : RampEntry(i, count);
  }
}

// The pixels are grey levels from now on, without a palette.
void BecomeGray(BitmapHandle* bitmap, PixelStore* store) {
  store->paletteCount = 0;
  bitmap->colorsUsed = 0;
  bitmap->order = kOrderGray;
}

// --- 1 bit to 8 ---

void ExpandBits(const Plane& from, const Plane& to, const uint8_t* grays) {
  uint8_t expanded[256][8];
  for (uint32_t byte = 0; byte < 256; ++byte) {
    for (uint32_t bit = 0; bit < 8; ++bit) {
      expanded[byte][bit] = grays[byte >> (7 - bit) & 1];
    }
  }
  for (size_t y = 0; y < to.height; ++y) {
    const uint8_t* source = from.pixels + y * from.bytesPerLine;
    uint8_t* target = to.pixels + y * to.bytesPerLine;
    for (uint32_t x = 0; x < to.width / 8; ++x) {
      std::memcpy(target + size_t{x} * 8, expanded[source[x]], 8);
    }
    if (to.width % 8 != 0) {
      std::memcpy(target + to.width / 8 * 8, expanded[source[to.width / 8]], to.width % 8);
    }
  }
}

// --- sizes ---

// The source pixel under the centre of target pixel i.
uint32_t NearestIndex(uint32_t i, uint32_t from, uint32_t to) {
  return static_cast<uint32_t>((2 * uint64_t{i} + 1) * from / (2 * uint64_t{to}));
}

void NearestRowBits(const uint8_t* source, uint8_t* target, uint32_t bits, uint32_t fromWidth, uint32_t toWidth) {
  const uint32_t mask = (1u << bits) - 1;
  for (uint32_t x = 0; x < toWidth; ++x) {
    const uint64_t sourceBit = uint64_t{NearestIndex(x, fromWidth, toWidth)} * bits;
    const uint64_t targetBit = uint64_t{x} * bits;
    const uint32_t value = source[sourceBit / 8] >> (8 - bits - sourceBit % 8) & mask;
    target[targetBit / 8] = static_cast<uint8_t>(target[targetBit / 8] | value << (8 - bits - targetBit % 8));
  }
}

void NearestRowBytes(const uint8_t* source, uint8_t* target, size_t bytes, uint32_t fromWidth, uint32_t toWidth) {
  for (uint32_t x = 0; x < toWidth; ++x) {
    std::memcpy(target + x * bytes, source + NearestIndex(x, fromWidth, toWidth) * bytes, bytes);
  }
}

void ResizeNearest(const Plane& from, const Plane& to, uint32_t bitsPerPixel) {
  for (uint32_t y = 0; y < to.height; ++y) {
    const uint8_t* source = from.pixels + NearestIndex(y, from.height, to.height) * from.bytesPerLine;
    uint8_t* target = to.pixels + y * to.bytesPerLine;
    if (bitsPerPixel < 8) {
      NearestRowBits(source, target, bitsPerPixel, from.width, to.width);
    } else {
      NearestRowBytes(source, target, bitsPerPixel / 8, from.width, to.width);
    }
  }
}

// The source pixels that target pixel i covers, in whole numbers: a source pixel is `to` units long, a target pixel
// `from` units.
struct BoxSpan {
  uint32_t first;
  uint32_t last;
  uint64_t firstWeight; // weight of `first`; those between count `to`
  uint64_t lastWeight;
};

BoxSpan SpanOf(uint32_t i, uint32_t from, uint32_t to) {
  const uint64_t begin = uint64_t{i} * from;
  const uint64_t end = begin + from;
  BoxSpan span = {};
  span.first = static_cast<uint32_t>(begin / to);
  span.last = static_cast<uint32_t>((end - 1) / to);
  span.firstWeight = span.first == span.last ? from : (span.first + uint64_t{1}) * to - begin;
  span.lastWeight = end - span.last * uint64_t{to};
  return span;
}

uint64_t WeightIn(const BoxSpan& span, uint32_t i, uint32_t to) {
  return i == span.first ? span.firstWeight : i == span.last ? span.lastWeight : to;
}

// Each column's weighted sum over the source rows of one target row.
void SumRows(const Plane& from, const BoxSpan& rows, uint32_t toHeight, uint64_t* sums) {
  std::memset(sums, 0, from.width * sizeof *sums);
  for (uint32_t y = rows.first; y <= rows.last; ++y) {
    const uint64_t weight = WeightIn(rows, y, toHeight);
    const uint8_t* row = from.pixels + y * from.bytesPerLine;
    for (uint32_t x = 0; x < from.width; ++x) {
      sums[x] += weight * row[x];
    }
  }
}

void ResizeBox(const Plane& from, const Plane& to, uint64_t* sums) {
  const uint64_t area = uint64_t{from.width} * from.height;
  for (uint32_t y = 0; y < to.height; ++y) {
    SumRows(from, SpanOf(y, from.height, to.height), to.height, sums);
    uint8_t* target = to.pixels + y * to.bytesPerLine;
    for (uint32_t x = 0; x < to.width; ++x) {
      const BoxSpan columns = SpanOf(x, from.width, to.width);
      uint64_t sum = 0;
      for (uint32_t i = columns.first; i <= columns.last; ++i) {
        sum += WeightIn(columns, i, to.width) * sums[i];
      }
      target[x] = static_cast<uint8_t>((sum + area / 2) / area);
    }
  }
}

// --- 8 bits to 1 ---

// Floyd and Steinberg's weights: 7 to the right, 3, 5 and 1 sixteenths to the row below.
void DiffuseRow(const uint8_t* source, uint8_t* target, uint32_t width, const uint8_t* grays, int32_t* errors) {
  // errors[x + 1] is what pixel x has coming, in sixteenths; the row below is built up behind the reading.
  int32_t right = 0;
  int32_t belowLeft = 0;
  int32_t below = 0;
  for (uint32_t x = 0; x < width; ++x) {
    const int32_t level = grays[source[x]] + (errors[x + 1] + right) / 16;
    const bool white = level >= 128;
    const int32_t error = level - (white ? 255 : 0);
    if (white) {
      target[x / 8] = static_cast<uint8_t>(target[x / 8] | 0x80 >> (x % 8));
    }
    right = error * 7;
    errors[x] = belowLeft + error * 3;
    belowLeft = below + error * 5;
    below = error;
  }
  errors[width] = belowLeft;
}

void ReduceByDiffusion(const Plane& from, const Plane& to, const uint8_t* grays, int32_t* errors) {
  for (size_t y = 0; y < to.height; ++y) {
    DiffuseRow(from.pixels + y * from.bytesPerLine, to.pixels + y * to.bytesPerLine, to.width, grays, errors);
  }
}

// Reduces within one bitmap.
int32_t ReduceInPlace(BitmapHandle* bitmap, PixelStore* store) {
  uint8_t grays[256];
  GraysOf(*store, grays, 256);
  auto* errors =
      static_cast<int32_t*>(krnAllocZero(static_cast<size_t>(store->width) + 2, sizeof(int32_t), __LINE__, kModule));
  if (errors == nullptr) {
    return kResultNoMemory;
  }
  Plane from = PlaneOf(*store);
  from.pixels = ExchangePixels(bitmap, store, store->width, store->height, 1);
  if (from.pixels != nullptr) {
    ReduceByDiffusion(from, PlaneOf(*store), grays, errors);
    BecomeGray(bitmap, store);
    krnFree(from.pixels, __LINE__, kModule);
  }
  krnFree(errors, __LINE__, kModule);
  return from.pixels != nullptr ? kResultOk : kResultNoMemory;
}

// A second bitmap with the pixels, palette, view and resolution of the first.
int32_t CopyBitmap(BitmapHandle* target, const BitmapHandle* source, const PixelStore& store) {
  const int32_t result = krnBitmapCreate(target, kBitmapHandleSize, 1, store.width, store.height, store.bitsPerPixel,
                                         source->order, 0, source->viewPerspective, 0, 0);
  if (result != kResultOk) {
    return result;
  }
  target->xResolution = source->xResolution;
  target->yResolution = source->yResolution;
  PixelStore* copy = FindStore(target);
  std::memcpy(copy->pixels, store.pixels, static_cast<size_t>(store.bytesPerLine) * static_cast<size_t>(store.height));
  std::memcpy(copy->palette, store.palette, sizeof copy->palette);
  copy->paletteCount = store.paletteCount;
  return kResultOk;
}

int32_t ResizeStore(BitmapHandle* bitmap, PixelStore* store, int32_t width, int32_t height, int32_t mode) {
  uint64_t* sums = nullptr;
  if (mode == kResizeBox) {
    sums = static_cast<uint64_t*>(krnAlloc(static_cast<size_t>(store->width), sizeof *sums, __LINE__, kModule));
    if (sums == nullptr) {
      return kResultNoMemory;
    }
  }
  Plane from = PlaneOf(*store);
  from.pixels = ExchangePixels(bitmap, store, width, height, store->bitsPerPixel);
  if (from.pixels != nullptr) {
    if (mode == kResizeBox) {
      ResizeBox(from, PlaneOf(*store), sums);
    } else {
      ResizeNearest(from, PlaneOf(*store), static_cast<uint32_t>(store->bitsPerPixel));
    }
    krnFree(from.pixels, __LINE__, kModule);
  }
  krnFree(sums, __LINE__, kModule);
  return from.pixels != nullptr ? kResultOk : kResultNoMemory;
}

bool NearestSupports(int32_t bitsPerPixel) {
  return bitsPerPixel % 8 == 0 || bitsPerPixel == 1 || bitsPerPixel == 2 || bitsPerPixel == 4;
}

} // namespace
} // namespace kernel

int32_t krnBitmapSetDepth(BitmapHandle* bitmap, int32_t bitsPerPixel) {
  kernel::PixelStore* store = kernel::FindStore(bitmap);
  if (store == nullptr) {
    return kernel::kResultInvalid;
  }
  if (bitsPerPixel == store->bitsPerPixel) {
    return kernel::kResultOk;
  }
  if (store->bitsPerPixel != 1 || bitsPerPixel != 8) {
    return kernel::kResultDepthNotSupported;
  }
  uint8_t grays[2];
  kernel::GraysOf(*store, grays, 2);
  kernel::Plane from = kernel::PlaneOf(*store);
  from.pixels = kernel::ExchangePixels(bitmap, store, store->width, store->height, 8);
  if (from.pixels == nullptr) {
    return kernel::kResultNoMemory;
  }
  kernel::ExpandBits(from, kernel::PlaneOf(*store), grays);
  kernel::BecomeGray(bitmap, store);
  krnFree(from.pixels, __LINE__, kernel::kModule);
  return kernel::kResultOk;
}

int32_t krnBitmapResize(BitmapHandle* bitmap, int32_t width, int32_t height, int32_t mode) {
  kernel::PixelStore* store = kernel::FindStore(bitmap);
  if (store == nullptr || width < 1 || height < 1 || (mode != kernel::kResizeNearest && mode != kernel::kResizeBox)) {
    return kernel::kResultInvalid;
  }
  if (mode == kernel::kResizeBox ? store->bitsPerPixel != 8 : !kernel::NearestSupports(store->bitsPerPixel)) {
    return kernel::kResultDepthNotSupported;
  }
  if (width == store->width && height == store->height) {
    return kernel::kResultOk;
  }
  if ((static_cast<int64_t>(width) * store->bitsPerPixel + 7) / 8 > kernel::BytesPerLine(width, store->bitsPerPixel)) {
    return kernel::kResultNoMemory;
  }
  return kernel::ResizeStore(bitmap, store, width, height, mode);
}

int32_t krnBitmapReduce(BitmapHandle* target, BitmapHandle* source, uint32_t structSize, int32_t bits, int32_t, int32_t,
                        int32_t, int32_t method, int32_t, int32_t) {
  const kernel::PixelStore* store = kernel::FindStore(source);
  if (target == nullptr || store == nullptr || structSize != kBitmapHandleSize ||
      method != kernel::kReduceErrorDiffusion) {
    return kernel::kResultInvalid;
  }
  if (bits != 1 || store->bitsPerPixel != 8) {
    return kernel::kResultDepthNotSupported;
  }
  if (target == source) {
    return kernel::ReduceInPlace(target, kernel::FindStore(target));
  }
  int32_t result = kernel::CopyBitmap(target, source, *store);
  if (result == kernel::kResultOk) {
    result = kernel::ReduceInPlace(target, kernel::FindStore(target));
    if (result != kernel::kResultOk) {
      krnBitmapFree(target);
    }
  }
  return result;
}
