// Requests for planes and stamps.

#include "toolkit/PlaneLoad.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <optional>

#include "toolkit/DescribeFile.h"
#include "toolkit/Failure.h"
#include "toolkit/KernelFile.h"
#include "toolkit/Utf16.h"

#include <vxtif/vxtif.h>

namespace toolkit {
namespace {

int32_t TakePlaneRows(FileInfoRecord*, BitmapHandle* bitmap, uint8_t* rows, uint32_t, int32_t firstRow, int32_t,
                      intptr_t) noexcept {
  const int64_t bits = int64_t{bitmap->width} * bitmap->bitsPerPixel;
  krnBitmapPutRow(bitmap, rows, firstRow, static_cast<int32_t>((bits + 7) / 8));
  return kResultOk;
}

// What the stamp functions work with. The library hands its address back to them.
struct StampRoute {
  std::string file;
  LoadOptions options;
  std::optional<LoadedPage> page;
  std::exception_ptr thrown;
};

int32_t StampInfo(intptr_t stampFile, FileInfoRecord* info, uint32_t infoSize, uint32_t,
                  FileOptions* fileOptions) noexcept {
  auto& route = *reinterpret_cast<StampRoute*>(stampFile);
  try {
    ReportOptions options;
    options.page = fileOptions->pageNumber;
    const FileInfoRecord report = DescribePage(route.file, options);
    std::memcpy(info, &report, std::min<size_t>(infoSize, sizeof report));
    return kResultOk;
  } catch (const Failure& failure) {
    route.thrown = std::current_exception();
    return failure.code;
  } catch (...) {
    route.thrown = std::current_exception();
    return kResultNoMemory;
  }
}

int32_t StampLoad(intptr_t stampFile, BitmapHandle*, uint32_t, uint32_t, uint32_t, FileOptions* fileOptions,
                  FileInfoRecord*) noexcept {
  auto& route = *reinterpret_cast<StampRoute*>(stampFile);
  try {
    LoadOptions options = route.options;
    options.page = fileOptions->pageNumber;
    route.page = LoadPage(route.file, options);
    return kResultOk;
  } catch (...) {
    route.thrown = std::current_exception();
    return kResultRefused;
  }
}

} // namespace

std::vector<Bitmap> LoadPlanes(const std::string& file, const LoadOptions& options) {
  ReportOptions reportOptions;
  reportOptions.page = options.page;
  FileInfoRecord report = DescribePage(file, reportOptions);
  if (options.page > 1 && report.pageNumber != static_cast<uint32_t>(options.page)) {
    throw Failure(file, "planes load", kResultNoSuchPage);
  }
  std::optional<SampleLayout> layout;
  {
    const KernelFile opened(file, "planes load");
    layout = ReadSampleLayout(opened.Handle(), report.directoryOffset, false);
  }
  if (!layout || report.width <= 0 || report.height <= 0) {
    throw Failure(file, "planes load", kResultNotTiff);
  }
  const uint64_t planes = std::min<uint32_t>(layout->samplesPerPixel, kMaxSamples);
  const uint32_t bits = layout->bitsPerSample[0];
  const uint64_t rowBytes = (static_cast<uint64_t>(report.width) * bits + 31) / 32 * 4;
  if (rowBytes * planes > options.maxBytes / static_cast<uint64_t>(report.height)) {
    throw Failure(file, "planes load", kResultNoMemory, "the decoded planes would be too large; raise --max-bytes");
  }
  std::vector<Bitmap> bitmaps(static_cast<size_t>(planes));
  std::vector<BitmapHandle*> handles;
  for (Bitmap& bitmap : bitmaps) {
    Check(bitmap.Create(report.width, report.height, static_cast<int32_t>(bits), kOrderGray), file, "planes load");
    handles.push_back(bitmap.Handle());
  }
  const std::u16string name = ToUtf16(file);
  FileOptions fileOptions = {};
  fileOptions.pageNumber = options.page;
  FilterLoadCMYKRequest request = {};
  request.fileName = name.c_str();
  request.bitmaps = handles.data();
  request.bitmapCount = static_cast<int32_t>(handles.size());
  request.fileInfo = &report;
  request.fileOptions = &fileOptions;
  request.rowCallback = TakePlaneRows;
  Check(fltLoadCMYKArray(&request), file, "planes load");
  return bitmaps;
}

Image PictureOfPlane(const Bitmap& plane) {
  Image image;
  AllocateImage(image, static_cast<uint32_t>(plane->width), static_cast<uint32_t>(plane->height), ImageKind::kGray,
                static_cast<uint32_t>(plane->bitsPerPixel));
  image.xResolution = plane->xResolution;
  image.yResolution = plane->yResolution;
  for (uint32_t y = 0; y < image.height; ++y) {
    std::memcpy(image.Row(y), plane.Row(static_cast<int32_t>(y)), image.rowBytes);
  }
  return ApplyView(std::move(image), plane->viewPerspective);
}

LoadedPage LoadStamp(const std::string& file, const LoadOptions& options) {
  StampRoute route = {file, options, std::nullopt, nullptr};
  // The library passes the bitmap's first word on; the route makes its own bitmap.
  Bitmap target;
  target.Describe(1, 1, 1);
  FileOptions fileOptions = {};
  FilterStampRequest request = {};
  request.stampFile = reinterpret_cast<intptr_t>(&route);
  request.bitmap = target.Handle();
  request.fileOptions = &fileOptions;
  request.getInfo = StampInfo;
  request.load = StampLoad;
  const int32_t result = fltGetStamp(&request);
  if (route.thrown) {
    std::rethrow_exception(route.thrown);
  }
  Check(result, file, "stamp");
  if (!route.page) {
    throw Failure(file, "stamp", kResultNoStamp);
  }
  return std::move(*route.page);
}

} // namespace toolkit
