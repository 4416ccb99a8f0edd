// Raw rows from a file at an offset to the row sink, and the raw formats' flags.

#include "Tif/RawLoad.h"

#include "Tifutil/PagePalette.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Memory.h"

namespace {

constexpr uint32_t kBottomUpView = 4;
constexpr int32_t kDeepestPalette = 8;
constexpr int64_t kRowPadding = 4;

void SetRampPalette(FilterLoadRequest* request, VxColor* palette) {
  BitmapHandle* bitmap = request->bitmap;
  const int32_t depth = bitmap->bitsPerPixel;
  const bool blackFirst = (request->rawFlags & kRawBlackFirst) != 0;
  const uint32_t colors = depth < 0 ? 0 : uint32_t{1} << depth;
  bitmap->colorsUsed = colors;
  // A size without a ramp leaves the palette as it is, and is no failure.
  TIFMakeGrayRamp(palette, colors, blackFirst ? RampOrder::kBlackFirst : RampOrder::kWhiteFirst);
  krnBitmapSetPalette(bitmap, palette, colors);
}

// Bytes of a row in the file; a bitmap without width has rows of none.
uint64_t RawRowBytes(const FilterLoadRequest* request) {
  const BitmapHandle* bitmap = request->bitmap;
  const int64_t bits = int64_t{bitmap->bitsPerPixel} * bitmap->width;
  if (bits <= 0) {
    return 0;
  }
  const int64_t bytes = (bits + 7) / 8;
  const bool padded = (request->rawFlags & kRawRowsPadded) != 0;
  return static_cast<uint64_t>(padded ? (bytes + kRowPadding - 1) / kRowPadding * kRowPadding : bytes);
}

int32_t ReadRows(FilterLoadRequest* request, VxFileHandle file, uint8_t* row, uint32_t rowBytes) {
  BitmapHandle* bitmap = request->bitmap;
  const int32_t height = bitmap->height;
  for (int32_t i = 0; i < height; ++i) {
    if (krnFileRead(file, row, rowBytes) != rowBytes) {
      return kResultReadFailed;
    }
    const uint32_t first = i == 0 ? kRowsFirst : 0;
    const uint32_t last = i == height - 1 ? kRowsLast : 0;
    const int32_t result = request->rowCallback(request->fileInfo, bitmap, row, kRowsAlways | first | last, i, 1,
                                                request->rowCallbackData);
    if (result != kResultOk) {
      return result;
    }
  }
  return kResultOk;
}

} // namespace

uint32_t TIFRawView(uint32_t rawFlags, RawViewRule rule) {
  constexpr struct {
    uint32_t bit;
    uint32_t view;
  } kViews[] = {{kRawView1, 1}, {kRawView6, 6}, {kRawView3, 3}, {kRawView8, 8},
                {kRawView5, 5}, {kRawView2, 2}, {kRawView7, 7}};
  uint32_t view = kBottomUpView;
  for (const auto& entry : kViews) {
    if ((rawFlags & entry.bit) == 0) {
      continue;
    }
    view = entry.view;
    if (rule == RawViewRule::kFirstBitWins) {
      break;
    }
  }
  return view;
}

int32_t TIFLoadRawRows(FilterLoadRequest* request, VxFileHandle file, VxColor* palette) {
  BitmapHandle* bitmap = request->bitmap;
  if (bitmap == nullptr) {
    return kResultNoBitmap;
  }
  if (request->rowCallback == nullptr) {
    return kResultInvalidParameter;
  }
  if (bitmap->bitsPerPixel <= kDeepestPalette) {
    SetRampPalette(request, palette);
  }
  bitmap->xResolution = request->rawXResolution;
  bitmap->yResolution = request->rawYResolution;
  bitmap->viewPerspective = TIFRawView(request->rawFlags, RawViewRule::kFirstBitWins);
  const uint64_t rowBytes = RawRowBytes(request);
  if (rowBytes > UINT32_MAX) {
    return kResultNoMemory;
  }
  auto* row = static_cast<uint8_t*>(TIFAlloc(static_cast<size_t>(rowBytes), 1));
  if (row == nullptr) {
    return kResultNoMemory;
  }
  TIFSeek(file, request->rawDataOffset, kKrnSeekSet); // where it fails, the first row does too
  const int32_t result = ReadRows(request, file, row, static_cast<uint32_t>(rowBytes));
  TIFFree(row);
  return result;
}
