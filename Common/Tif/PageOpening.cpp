// From an open file to a parsed page, for the loads: the page number and flags of the options, the start values of the
// page record, the parse.

#include "Tif/PageOpening.h"

#include "Tifutil/PageParser.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Memory.h"
#include "tif_com/Tags.h"

namespace {

constexpr FileOptions kNoOptions = {};

int32_t RefuseRows(FileInfoRecord*, BitmapHandle*, uint8_t*, uint32_t, int32_t, int32_t, intptr_t) {
  return kResultInvalidParameter;
}

} // namespace

const FileOptions* TIFOptionsOrNone(const FileOptions* options) {
  return options != nullptr ? options : &kNoOptions;
}

TifRowSink TIFSinkOrRefusal(TifRowSink rowCallback) {
  return rowCallback != nullptr ? rowCallback : RefuseRows;
}

int32_t TIFSeekWantedPage(TifFile* file, const FileOptions* options) {
  const uint32_t start = (options->flags & kReadUseDirectoryOffset) != 0 ? options->directoryOffset : 0;
  uint32_t reached = 0;
  return TIFSeekPage(file, static_cast<uint32_t>(options->pageNumber), start, &reached, PageSearch::kLenient);
}

int32_t TIFParseWantedPage(TifFile* file, FileOptions* options, uint32_t sampleFormat, TifPage** page) {
  auto* const made = static_cast<TifPage*>(TIFAllocZero(1, sizeof(TifPage)));
  *page = made;
  if (made == nullptr) {
    return kResultNoMemory;
  }
  made->fillOrder = kFillOrderMsbFirst;
  made->photometricInterpretation = kPhotometricWhiteIsZero;
  made->sampleFormat = sampleFormat;
  made->fileOptions = options;
  const bool forceRgb = (TIFOptionsOrNone(options)->flags & kReadForceRgb) != 0;
  const int32_t result =
      TIFReadPageInfo(file, made, ParseMode::kLoad, forceRgb ? RgbMode::kForceRgb : RgbMode::kAsStored);
  return result == kResultOk ? kResultOk : kResultNotTiff;
}
