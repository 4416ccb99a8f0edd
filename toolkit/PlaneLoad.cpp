// Requests for planes and stamps.

#include "toolkit/PlaneLoad.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <exception>
#include <optional>

#include "toolkit/ByteSampleView.h"
#include "toolkit/DescribeFile.h"
#include "toolkit/Failure.h"
#include "toolkit/KernelFile.h"
#include "toolkit/RawDirectories.h"
#include "toolkit/Utf16.h"

#include <vxtif/vxtif.h>

namespace toolkit {
namespace {

constexpr const char* kOperation = "planes load";
constexpr uint32_t kPhotometricCmyk = 5;

// Which of a word's bytes stand first in memory, and which first in the file.
constexpr bool kHostIsBigEndian = std::endian::native == std::endian::big;

struct PlaneSink {
  std::vector<BitmapHandle> halves; // descriptors only: the even ones are the bytes that come first in the file
  std::vector<Bitmap>* planes;
  bool bigEndian; // the file's order
};

// A row as it is, but for the order of its words, which the library leaves as they are in the file.
int32_t TakePlaneRow(FileInfoRecord*, BitmapHandle* bitmap, uint8_t* row, uint32_t, int32_t firstRow, int32_t,
                     intptr_t data) noexcept {
  const auto& sink = *reinterpret_cast<const PlaneSink*>(data);
  const int64_t bytes = (int64_t{bitmap->width} * bitmap->bitsPerPixel + 7) / 8;
  if (bitmap->bitsPerPixel == 16 && sink.bigEndian != kHostIsBigEndian) {
    for (int64_t at = 0; at < bytes; at += 2) {
      std::swap(row[at], row[at + 1]);
    }
  }
  krnBitmapPutRow(bitmap, row, firstRow, static_cast<int32_t>(bytes));
  return kResultOk;
}

// One byte of each of a plane's samples.
int32_t TakeHalfRow(FileInfoRecord*, BitmapHandle* half, uint8_t* row, uint32_t, int32_t firstRow, int32_t,
                    intptr_t data) noexcept {
  const auto& sink = *reinterpret_cast<const PlaneSink*>(data);
  const auto index = static_cast<size_t>(half - sink.halves.data());
  Bitmap& plane = (*sink.planes)[index / 2];
  if (firstRow < 0 || firstRow >= plane->height) {
    return kResultOk;
  }
  const bool secondInMemory = (index % 2 == 1) != (sink.bigEndian != kHostIsBigEndian);
  uint8_t* out = plane.Row(firstRow) + (secondInMemory ? 1 : 0);
  for (int32_t x = 0; x < plane->width; ++x) {
    out[2 * static_cast<size_t>(x)] = row[x];
  }
  return kResultOk;
}

// Each sample is the difference from the one before; every `run` pixels it starts anew.
void SumRows(Bitmap& plane, uint32_t run) {
  const auto width = static_cast<uint32_t>(plane->width);
  for (int32_t y = 0; y < plane->height; ++y) {
    uint8_t* row = plane.Row(y);
    for (uint32_t start = 0; start < width; start += std::min(run, width - start)) {
      const uint32_t end = start + std::min(run, width - start);
      uint16_t sum = 0;
      for (uint32_t x = start; x < end; ++x, row += 2) {
        uint16_t sample = 0;
        std::memcpy(&sample, row, sizeof sample);
        sum = static_cast<uint16_t>(sum + sample);
        std::memcpy(row, &sum, sizeof sum);
      }
    }
  }
}

// What the request of a load in planes begins with.
struct PlaneRequest {
  std::u16string name;
  FileOptions options = {};
  std::vector<BitmapHandle*> handles;
  FilterLoadCMYKRequest record = {};

  PlaneRequest(const std::string& file, uint32_t directoryOffset, FileInfoRecord& report, PlaneSink& sink)
      : name(ToUtf16(file)) {
    options.pageNumber = 1;
    options.flags = kReadUseDirectoryOffset;
    options.directoryOffset = directoryOffset;
    record.fileName = name.c_str();
    record.fileInfo = &report;
    record.fileOptions = &options;
    record.rowCallbackData = reinterpret_cast<intptr_t>(&sink);
  }
  int32_t Run(TifRowSink rows) {
    record.bitmaps = handles.data();
    record.bitmapCount = static_cast<int32_t>(handles.size());
    record.rowCallback = rows;
    return fltLoadCMYKArray(&record);
  }
};

void LoadWhole(const std::string& file, FileInfoRecord& report, PlaneSink& sink) {
  PlaneRequest request(file, report.directoryOffset, report, sink);
  for (Bitmap& plane : *sink.planes) {
    request.handles.push_back(plane.Handle());
  }
  Check(request.Run(TakePlaneRow), file, kOperation);
}

// Samples of 16 bits side by side in the pixels, byte by byte.
void LoadHalves(const std::string& file, FileInfoRecord& report, PlaneSink& sink) {
  std::vector<Bitmap>& planes = *sink.planes;
  const auto samples = static_cast<uint32_t>(planes.size());
  const ByteSampleView view(file, report.directoryOffset, samples, kOperation);
  sink.halves.resize(size_t{2} * samples);
  PlaneRequest request(file, view.DirectoryOffset(), report, sink);
  for (BitmapHandle& half : sink.halves) {
    krnBitmapInit(&half, kBitmapHandleSize, report.width, report.height, 8);
    request.handles.push_back(&half);
  }
  Check(request.Run(TakeHalfRow), file, kOperation);
  for (Bitmap& plane : planes) {
    plane->xResolution = sink.halves[0].xResolution;
    plane->yResolution = sink.halves[0].yResolution;
    plane->viewPerspective = sink.halves[0].viewPerspective;
    if (view.DifferenceRun() != 0) {
      SumRows(plane, view.DifferenceRun());
    }
  }
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
    throw Failure(file, kOperation, kResultNoSuchPage);
  }
  PlaneSink sink = {};
  std::optional<SampleLayout> layout;
  {
    const KernelFile opened(file, kOperation);
    layout = ReadSampleLayout(opened.Handle(), report.directoryOffset, false);
    uint8_t mark = 0;
    sink.bigEndian = ReadFileAt(opened.Handle(), 0, &mark, 1) && mark == kByteOrderBig;
  }
  if (!layout || report.width <= 0 || report.height <= 0) {
    throw Failure(file, kOperation, kResultNotTiff);
  }
  const uint32_t bits = layout->bitsPerSample[0];
  if (bits != 1 && bits != 2 && bits != 4 && bits != 8 && bits != 16) {
    throw Failure(file, kOperation, kResultDepthNotSupported, std::to_string(bits) + " bits a sample");
  }
  const uint64_t count = std::min<uint32_t>(layout->samplesPerPixel, kMaxSamples);
  const uint64_t rowBytes = (static_cast<uint64_t>(report.width) * bits + 31) / 32 * 4;
  if (rowBytes * count > options.maxBytes / static_cast<uint64_t>(report.height)) {
    throw Failure(file, kOperation, kResultNoMemory, "the decoded planes would be too large; raise --max-bytes");
  }
  RaiseKernelLimit(options.maxBytes);
  std::vector<Bitmap> planes(static_cast<size_t>(count));
  for (Bitmap& plane : planes) {
    Check(plane.Create(report.width, report.height, static_cast<int32_t>(bits), kOrderGray), file, kOperation);
  }
  sink.planes = &planes;
  const bool halves = bits == 16 && !layout->separatePlanes && layout->parsedPhotometric == kPhotometricCmyk;
  halves ? LoadHalves(file, report, sink) : LoadWhole(file, report, sink);
  return planes;
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
