// fltGetStampTIF: the stamp of a file is its second page. Both the information and the load go through the functions
// that the caller passes, so that they take the caller's usual route; here the page number is forced for their time.

#include <vxtif/vxtif.h>

namespace {

constexpr int32_t kStampPage = 2;

int32_t LoadStamp(const FilterStampRequest* request, FileOptions* options) {
  FileInfoRecord info = {}; // cleared, so that a failing information function cannot leave a page number behind
  if (request->getInfo != nullptr) {
    request->getInfo(request->stampFile, &info, kFileInfoRecordSize, 0, options);
  }
  if (info.pageNumber != uint32_t{kStampPage}) {
    return kResultNoStamp;
  }
  if (request->load != nullptr) {
    const uint32_t bitmapSize = request->bitmap == nullptr ? 0 : request->bitmap->structSize;
    request->load(request->stampFile, request->bitmap, bitmapSize, 0, 1, options, &info);
  }
  return kResultOk; // whatever became of the load: the caller looks at the bitmap
}

} // namespace

int32_t fltGetStampTIF(FilterStampRequest* request) {
  FileOptions* const options = request->fileOptions;
  if (options == nullptr) {
    FileOptions local = {};
    local.pageNumber = kStampPage;
    return LoadStamp(request, &local);
  }
  const int32_t pageNumber = options->pageNumber;
  options->pageNumber = kStampPage;
  const int32_t result = LoadStamp(request, options);
  options->pageNumber = pageNumber;
  return result;
}
