// The row service as the fax codec sees it, and the two colours of a page.

#include "Tif/FaxRows.h"

#include <vxtif/formats.h>

#include "Tif_lzw/SaveRows.h"

FaxRowSource TIFFaxRowSource(const FilterSaveRequest* request, uint32_t t4Options) {
  FaxRowSource source = {};
  source.saveStart = request->saveStart;
  source.saveEnd = request->saveEnd;
  source.saveGetRow = request->saveGetRow;
  // A variant file is always white first; the others are unless their colours were asked for.
  source.invertBlackFirst =
      request->fileFormat == kFormatVariant || (request->fileOptions->flags & kSaveAskFaxColours) == 0;
  source.t4Options = t4Options;
  return source;
}

uint32_t TIFFaxFillOptions(const FilterSaveRequest* request) {
  const SaveOptions* options = request->fileOptions;
  uint32_t fill = (options->flags & kSaveFillOrder2) != 0 ? uint32_t{kFaxFillReverseBits} : 0u;
  if (options->structSize >= kSaveOptionsSize && (options->flags2 & kSaveFaxReserved) != 0) {
    fill += kFaxFillReserved;
  }
  return fill;
}

void TIFDefaultFaxColours(VxColor* palette) {
  palette[0] = VxColor{255, 255, 255, 0};
  palette[1] = VxColor{0, 0, 0, 0};
}

int32_t TIFGetFaxColours(FilterSaveRequest* request, VxColor* palette) {
  const uint32_t kept = request->flags;
  uint32_t flags = kept;
  BitmapHandle* descriptor = nullptr;
  void* context = nullptr;
  const int32_t result = request->saveStart(request->bitmap, &descriptor, request->bitsPerPixel, &flags, nullptr, 1,
                                            request->extra1, request->extra2, &context);
  if (result < 1) {
    return result;
  }
  const VxColor* const own = TIFOutputPalette(context);
  const bool whiteFirst = own != nullptr && own[0].blue != 0;
  const uint8_t first = whiteFirst ? 255 : 0;
  const auto second = static_cast<uint8_t>(255 - first);
  palette[0] = VxColor{first, first, first, 0};
  palette[1] = VxColor{second, second, second, 0};
  flags = kept;
  request->saveEnd(request->bitmap, &descriptor, &flags, 0, &context);
  request->flags = kept;
  return result;
}
