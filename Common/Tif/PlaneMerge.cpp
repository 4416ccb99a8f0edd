// Plane merging. The strip reader has stored each sample's plane in a bitmap of its own; here the rows of all planes
// are interleaved, CMYK among them converted, and given to the row stage one by one. The load driver's second pass and
// the colour conversion are the users.

#include "Tif/PlaneMerge.h"

#include <cstring>

#include "Tif/ColorConversion.h"
#include "tif_com/Memory.h"
#include "tif_com/Saturate.h"
#include "tif_com/Tags.h"

namespace {

constexpr uint32_t kMaxMergedPlanes = 5; // CMYK and alpha

struct MergeBuffers {
  uint8_t* rows[kMaxMergedPlanes]; // one row of each plane
  uint8_t* merged;
  uint64_t mergedBytes;
};

void FreeBuffers(MergeBuffers* buffers) {
  for (uint8_t* row : buffers->rows) {
    TIFFree(row);
  }
  TIFFree(buffers->merged);
}

// The merged row has room for all five planes, which is what the CMYK conversion counts on.
bool AllocBuffers(MergeBuffers* buffers, uint32_t used, uint64_t lineBytes) {
  buffers->mergedBytes = lineBytes * kMaxMergedPlanes;
  for (uint32_t i = 0; i < used; ++i) {
    buffers->rows[i] = TIFAllocZeroBytes(lineBytes);
    if (buffers->rows[i] == nullptr) {
      return false;
    }
  }
  buffers->merged = TIFAllocZeroBytes(buffers->mergedBytes);
  return buffers->merged != nullptr;
}

void InterleaveBits(uint8_t* target, const uint8_t* const* planes, uint32_t planeCount, uint32_t pixels) {
  uint32_t gathered = 0;
  uint32_t bits = 0;
  for (uint32_t pixel = 0; pixel < pixels; ++pixel) {
    for (uint32_t plane = 0; plane < planeCount; ++plane) {
      gathered = gathered << 1 | (uint32_t{planes[plane][pixel / 8]} >> (7 - pixel % 8) & 1);
      if (++bits == 8) {
        *target++ = static_cast<uint8_t>(gathered);
        gathered = bits = 0;
      }
    }
  }
  if (bits > 0) {
    *target = static_cast<uint8_t>(gathered << (8 - bits));
  }
}

// The number of planes is a constant of the loop, so that it unrolls.
template <uint32_t SampleBytes, uint32_t PlaneCount>
void InterleaveSamples(uint8_t* target, const uint8_t* const* planes, uint32_t pixels) {
  for (uint64_t pixel = 0; pixel < pixels; ++pixel) {
    for (uint32_t plane = 0; plane < PlaneCount; ++plane) {
      std::memcpy(target + plane * SampleBytes, planes[plane] + pixel * SampleBytes, SampleBytes);
    }
    target += PlaneCount * SampleBytes;
  }
}

template <uint32_t SampleBytes>
void InterleaveCounted(uint8_t* target, const uint8_t* const* planes, uint32_t planeCount, uint32_t pixels) {
  switch (planeCount) {
  case 3:
    return InterleaveSamples<SampleBytes, 3>(target, planes, pixels);
  case 4:
    return InterleaveSamples<SampleBytes, 4>(target, planes, pixels);
  default:
    break;
  }
  for (uint64_t pixel = 0; pixel < pixels; ++pixel) {
    for (uint32_t plane = 0; plane < planeCount; ++plane, target += SampleBytes) {
      std::memcpy(target, planes[plane] + pixel * SampleBytes, SampleBytes);
    }
  }
}

// Which planes make a pixel: the colours, and alpha where the bitmap has a place for it.
uint32_t PlanesUsed(const TifPage* page, const BitmapHandle* bitmap) {
  const uint32_t colors = page->photometricInterpretation == kPhotometricCmyk ? 4 : 3;
  if (page->samplesPerPixel < colors) {
    return 0;
  }
  return page->samplesPerPixel > colors && bitmap->bitsPerPixel == 32 ? colors + 1 : colors;
}

struct MergeJob {
  bool cmykKeep;
  BitmapHandle* bitmap;
  BitmapHandle** planes;
  TifPage* page;
  FileInfoRecord* fileInfo;
  TifRowSink sink;
  TifLoadContext* context;
  uint32_t used;
  uint32_t pixels;
};

void MergeRow(const MergeJob& job, const MergeBuffers& buffers, int32_t row) {
  const BitmapHandle* const first = job.planes[0];
  const int32_t lineBytes = first->bytesPerLine;
  const auto bits = static_cast<uint32_t>(first->bitsPerPixel);
  for (uint32_t i = 0; i < job.used; ++i) {
    krnBitmapGetRow(job.planes[i], buffers.rows[i], row, lineBytes);
  }
  if (job.page->photometricInterpretation == kPhotometricCmyk && job.bitmap->bitsPerPixel != 4) {
    const uint8_t* const alpha = job.used > 4 ? buffers.rows[4] : nullptr;
    TIFCmykPlanesToRgb(job.cmykKeep, buffers.merged, buffers.rows, alpha, job.pixels, bits);
  } else {
    TIFInterleavePlanes(buffers.merged, buffers.rows, job.used, job.pixels, bits);
  }
}

int32_t MergeRows(const MergeJob& job, const MergeBuffers& buffers) {
  const int32_t height = job.bitmap->height;
  for (int32_t row = 0; row < height; ++row) {
    MergeRow(job, buffers, row);
    const int32_t result =
        job.sink(job.fileInfo, job.bitmap, buffers.merged, 0, row, 1, reinterpret_cast<intptr_t>(job.context));
    if (result != kResultOk) {
      return result;
    }
  }
  return kResultOk;
}

} // namespace

void TIFInterleavePlanes(uint8_t* target, const uint8_t* const* planes, uint32_t planeCount, uint32_t pixels,
                         uint32_t bits) {
  switch (bits) {
  case 1:
    return InterleaveBits(target, planes, planeCount, pixels);
  case 8:
    return InterleaveCounted<1>(target, planes, planeCount, pixels);
  case 16:
    return InterleaveCounted<2>(target, planes, planeCount, pixels);
  default:
    return;
  }
}

int32_t TIFMergePlanes(bool cmykKeep, BitmapHandle* bitmap, BitmapHandle** planes, TifPage* page,
                       FileInfoRecord* fileInfo, TifRowSink sink, TifLoadContext* context) {
  if (page->samplesPerPixel > 0) {
    bitmap->flags = (bitmap->flags & ~uint32_t{kBitmapSigned}) | (planes[0]->flags & kBitmapSigned);
  }
  const uint32_t used = PlanesUsed(page, bitmap);
  if (used == 0) {
    return kResultColorLayout;
  }
  const int32_t lineBytes = planes[0]->bytesPerLine;
  const int32_t width = planes[0]->width; // the caller's bitmap had it when the planes were made
  MergeBuffers buffers = {};
  int32_t result = kResultNoMemory;
  if (AllocBuffers(&buffers, used, static_cast<uint64_t>(lineBytes))) {
    context->rowBytes = bitmap->bytesPerLine;
    context->page = page;
    context->rowBufferBytes = TIFSaturateU32(buffers.mergedBytes);
    result = MergeRows({cmykKeep, bitmap, planes, page, fileInfo, sink, context, used, static_cast<uint32_t>(width)},
                       buffers);
  }
  FreeBuffers(&buffers);
  return result;
}
