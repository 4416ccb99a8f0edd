// From a file's report to its pixels.

#include "toolkit/LoadPage.h"

#include <algorithm>
#include <cstring>
#include <exception>

#include "toolkit/BitmapRows.h"
#include "toolkit/DescribeFile.h"
#include "toolkit/Failure.h"
#include "toolkit/KernelFile.h"
#include "toolkit/Utf16.h"

#include <vxkernel/limits.h>
#include <vxtif/vxtif.h>

namespace toolkit {
namespace {

constexpr int32_t kDeepestBitmap = 64;

// What the row sink works with during one load.
struct SinkState {
  const LoadOptions* options;
  size_t rowBytes;  // readable bytes of a row
  size_t rowStride; // from row to row of one call
  std::exception_ptr thrown;
};

void KeepRow(SinkState& state, BitmapHandle* bitmap, const uint8_t* row, int32_t number) {
  if (state.options->rows) {
    state.options->rows(number, row, state.rowBytes);
    return;
  }
  const auto bytes = std::min<size_t>(state.rowBytes, static_cast<size_t>(bitmap->bytesPerLine));
  krnBitmapPutRow(bitmap, row, number, static_cast<int32_t>(bytes));
}

// Runs of a fax codec. A receiver is given plain rows all the same.
void KeepPackedRows(SinkState& state, BitmapHandle* bitmap, const uint8_t* rows, int32_t first, int32_t count) {
  if (!state.options->rows) {
    krnBitmapPutPackedRows(bitmap, 0, rows, first, count);
    return;
  }
  Bitmap plain;
  if (plain.Create(bitmap->width, count, 1, kOrderRedFirst) != kResultOk) {
    throw std::bad_alloc();
  }
  krnBitmapPutPackedRows(plain.Handle(), 0, rows, 0, count);
  for (int32_t i = 0; i < count; ++i) {
    state.options->rows(first + i, plain.Row(i), state.rowBytes);
  }
}

// The row sink. No exception may pass through the library: it is kept and thrown again behind it.
int32_t TakeRows(FileInfoRecord*, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags, int32_t firstRow,
                 int32_t rowCount, intptr_t userData) noexcept {
  auto& state = *reinterpret_cast<SinkState*>(userData);
  try {
    if ((flags & kRowsPacked) != 0) {
      KeepPackedRows(state, bitmap, rows, firstRow, rowCount);
    } else {
      for (int32_t i = 0; i < rowCount; ++i) {
        KeepRow(state, bitmap, rows + static_cast<size_t>(i) * state.rowStride, firstRow + i);
      }
    }
    if (state.options->progress) {
      state.options->progress(firstRow + rowCount, bitmap->height);
    }
    return kResultOk;
  } catch (...) {
    state.thrown = std::current_exception();
    return kResultRefused;
  }
}

// Width, height and depth in 64 bits against the limit, before anything is allocated.
void CheckProportion(const std::string& file, const FileInfoRecord& report, const LoadOptions& options) {
  if (report.width <= 0 || report.height <= 0) {
    throw Failure(file, "load", kResultNotTiff, "the page has no size");
  }
  // Rows that are passed on need no bitmap that holds them.
  if (report.bitsPerPixel < 1 || (report.bitsPerPixel > kDeepestBitmap && !options.rows)) {
    throw Failure(file, "load", kResultDepthNotSupported, std::to_string(report.bitsPerPixel) + " bits");
  }
  const uint64_t rowBits = static_cast<uint64_t>(report.width) * static_cast<uint64_t>(report.bitsPerPixel);
  const uint64_t rowBytes = (rowBits + 31) / 32 * 4;
  const auto height = static_cast<uint64_t>(report.height);
  if (rowBytes > INT32_MAX || rowBytes > options.maxBytes / height) {
    throw Failure(file, "load", kResultNoMemory,
                  "the decoded page would take " + std::to_string(rowBytes) + " bytes a row, " +
                      std::to_string(height) + " rows; raise --max-bytes for it");
  }
}

// The library reads only the rows of a region. It is told the band in the file's rows, in the coordinates from which
// the library computes that band for each orientation.
void PutRegion(FilterLoadRequest& request, const SampleLayout& layout, int32_t firstRow, int32_t endRow) {
  const int32_t height = layout.height;
  request.regionEnabled = 1;
  request.viewWidth = layout.orientation >= 5 ? height : layout.width;
  request.viewHeight = layout.orientation >= 5 ? layout.width : height;
  const bool fromEnd = layout.orientation == 3 || layout.orientation == 4 || layout.orientation >= 7;
  const int32_t start = fromEnd ? height - endRow : firstRow;
  if (layout.orientation >= 5) {
    request.regionLeft = start;
    request.regionWidth = endRow - firstRow;
    request.regionTop = 0;
    request.regionHeight = layout.width;
  } else {
    request.regionTop = start;
    request.regionHeight = endRow - firstRow;
    request.regionLeft = 0;
    request.regionWidth = layout.width;
  }
}

// The rows of the file that an upright region needs.
void FileRowsOf(const Region& region, uint32_t view, const SampleLayout& layout, int32_t& firstRow, int32_t& endRow) {
  const bool exchanged = view >= 5;
  const int64_t start = exchanged ? region.left : region.top;
  const int64_t length = exchanged ? region.width : region.height;
  const bool fromEnd = view == 3 || view == 4 || view == 6 || view == 7;
  const int64_t first = fromEnd ? layout.height - (start + length) : start;
  firstRow = static_cast<int32_t>(std::clamp<int64_t>(first, 0, layout.height));
  endRow = static_cast<int32_t>(std::clamp<int64_t>(first + length, 0, layout.height));
}

LoadedPage Prepare(const std::string& file, const LoadOptions& options, FileOptions& fileOptions) {
  LoadedPage page;
  ReportOptions reportOptions;
  reportOptions.page = options.page;
  reportOptions.readFlags = fileOptions.flags;
  if (options.directoryOffset) {
    reportOptions.page = 1;
    reportOptions.directoryOffset = *options.directoryOffset;
  }
  page.report = DescribePage(file, reportOptions);
  // For a page past the end the library describes, and would load, the last one.
  if (options.page > 1 && page.report.pageNumber != static_cast<uint32_t>(options.page)) {
    throw Failure(file, "load", kResultNoSuchPage, "it has " + std::to_string(uint32_t{page.report.pageNumber}));
  }
  fileOptions.pageNumber = 1;
  fileOptions.flags |= kReadUseDirectoryOffset;
  fileOptions.directoryOffset = page.report.directoryOffset;
  const KernelFile opened(file, "load");
  const auto layout = ReadSampleLayout(opened.Handle(), page.report.directoryOffset, options.forceRgb);
  if (!layout) {
    throw Failure(file, "load", kResultNotTiff);
  }
  page.layout = *layout;
  page.keptAlpha = options.alpha && CanKeepAlpha(page.layout);
  page.report.bitsPerPixel = page.keptAlpha ? 32 : static_cast<int32_t>(page.layout.bitsPerPixel);
  return page;
}

uint32_t FileBytes(const std::string& file) {
  const KernelFile opened(file, "load");
  const uint32_t bytes = krnFileSeek(opened.Handle(), 0, kKrnSeekEnd);
  return bytes == kKrnIoFailed ? 0 : bytes;
}

// A page made up from what the user says of raw data.
LoadedPage PrepareRaw(const std::string& file, const RawSource& raw) {
  FileBytes(file);
  LoadedPage page;
  page.report.structSize = sizeof page.report;
  page.report.fileFormat = raw.format;
  page.report.width = raw.width;
  page.report.height = raw.height;
  page.report.bitsPerPixel = raw.bitsPerPixel;
  page.layout.width = raw.width;
  page.layout.height = raw.height;
  page.layout.totalBits = static_cast<uint32_t>(raw.bitsPerPixel);
  page.layout.bitsPerPixel = page.layout.totalBits;
  const uint32_t samples = page.layout.totalBits < 24 ? 1 : page.layout.totalBits % 24 == 0 ? 3 : 4;
  page.layout.samplesPerPixel = samples;
  std::fill_n(page.layout.bitsPerSample.begin(), samples, page.layout.totalBits / samples);
  page.layout.photometric = samples == 1 ? 1 : 2;
  page.layout.extraSampleCount = samples == 4 ? 1 : 0;
  return page;
}

void PutRaw(FilterLoadRequest& request, const RawSource& raw, const std::string& file) {
  request.rawXResolution = raw.resolution;
  request.rawYResolution = raw.resolution;
  request.rawDataOffset = raw.offset;
  request.rawFlags = raw.flags;
  request.rawStripBytes = raw.streamBytes != 0 ? raw.streamBytes : FileBytes(file);
  request.rawPhotometric = raw.photometric;
  request.rawPlanarConfiguration = 1;
  // Bare rows and fax data get a grey ramp from the library; for PackBits the host has to bring it.
  if (raw.format == kFormatRawPackBits && raw.bitsPerPixel <= 8) {
    const uint32_t entries = 1u << raw.bitsPerPixel;
    for (uint32_t i = 0; i < entries; ++i) {
      const uint8_t gray = RampGray((raw.flags & kRawBlackFirst) != 0 ? i : entries - 1 - i, entries);
      request.rawPalette[i] = {gray, gray, gray, 0};
    }
    request.rawFlags |= kRawPalette;
  }
}

} // namespace

void RaiseKernelLimit(uint64_t maxBytes) {
  KrnLimits limits;
  krnGetLimits(&limits);
  if (limits.pixelBytes < 2 * maxBytes || limits.blockBytes < 2 * maxBytes) {
    limits.pixelBytes = std::max(limits.pixelBytes, 2 * maxBytes);
    limits.blockBytes = std::max(limits.blockBytes, 2 * maxBytes);
    krnSetLimits(&limits);
  }
}

LoadedPage LoadPage(const std::string& file, const LoadOptions& options) {
  FileOptions fileOptions = {};
  fileOptions.flags = (options.ignoreOrientation ? uint32_t{kReadIgnoreOrientation} : 0u) |
                      (options.forceRgb ? uint32_t{kReadForceRgb} : 0u);
  LoadedPage page = options.raw ? PrepareRaw(file, *options.raw) : Prepare(file, options, fileOptions);
  CheckProportion(file, page.report, options);
  RaiseKernelLimit(options.maxBytes);

  const FileInfoRecord& report = page.report;
  const int32_t made = options.rows ? page.bitmap.Describe(report.width, report.height, report.bitsPerPixel)
                                    : page.bitmap.Create(report.width, report.height, report.bitsPerPixel, 0);
  if (made != kResultOk) {
    throw Failure(file, "load", made);
  }
  if (report.bitsPerPixel <= 8) {
    // Maps with more colours than the depth has room for are cut to it.
    page.bitmap->colorsUsed = 1u << report.bitsPerPixel;
  }

  const auto depth = static_cast<uint32_t>(report.bitsPerPixel);
  SinkState state = {&options, RowBytesOf(page.layout, depth, page.keptAlpha),
                     RowStrideOf(page.layout, depth, page.keptAlpha), nullptr};
  FilterInfoControl control = {};
  control.structSize = sizeof control;
  control.flags = page.keptAlpha ? uint32_t{kInfoWithAlpha} : 0u;

  const std::u16string name = ToUtf16(file);
  FilterLoadRequest request = {};
  request.fileName = name.c_str();
  request.bitmap = page.bitmap.Handle();
  request.rowCallback = TakeRows;
  request.rowCallbackData = reinterpret_cast<intptr_t>(&state);
  request.fileInfo = &page.report;
  request.infoControl = &control;
  request.fileOptions = &fileOptions;
  request.truncationStatus = 1;
  if (options.raw) {
    PutRaw(request, *options.raw, file);
  } else if (options.region) {
    int32_t firstRow = 0;
    int32_t endRow = 0;
    FileRowsOf(*options.region, options.ignoreOrientation ? 1 : page.layout.orientation, page.layout, firstRow, endRow);
    PutRegion(request, page.layout, firstRow, endRow);
  }
  const int32_t result = fltLoad(&request);
  if (state.thrown) {
    std::rethrow_exception(state.thrown);
  }
  Check(result, file, "load");
  page.warning = request.truncationStatus;
  return page;
}

} // namespace toolkit
