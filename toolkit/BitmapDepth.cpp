// A bitmap filled from the row service.

#include "toolkit/BitmapDepth.h"

#include "toolkit/Failure.h"
#include "toolkit/RowService.h"

#include <vxtif/results.h>

namespace toolkit {
namespace {

// Calls the end of the service whatever happens between.
struct Service {
  ~Service() { saveEnd(nullptr, &descriptor, nullptr, 0, &context); }
  BitmapHandle* descriptor = nullptr;
  void* context = nullptr;
};

} // namespace

Bitmap BitmapOfDepth(Bitmap& source, int32_t bits, uint32_t flags, const std::string& file) {
  constexpr const char* kOperation = "save";
  Service service;
  Check(saveStart(source.Handle(), &service.descriptor, bits, &flags, nullptr, 1, 0, 0, &service.context), file,
        kOperation);
  Bitmap made;
  Check(made.Create(source->width, source->height, bits, service.descriptor->order), file, kOperation);
  made->viewPerspective = source->viewPerspective;
  made->xResolution = source->xResolution;
  made->yResolution = source->yResolution;
  uint32_t colours = 0;
  if (const VxColor* palette = krnBitmapPalette(service.descriptor, &colours); palette != nullptr) {
    krnBitmapSetPalette(made.Handle(), palette, colours);
  }
  for (int32_t row = 0; row < made->height; ++row) {
    Check(saveGetRow(source.Handle(), service.descriptor, made.Row(row), row, 1, flags, 0, 0, service.context), file,
          kOperation);
  }
  return made;
}

} // namespace toolkit
