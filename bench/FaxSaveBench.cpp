// Fax pages to files: fltSave of a text page of 10,000 x 14,000 pixels against libtiff writing the same page in one
// strip of the same compression, from rows in memory to a closed file.

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <tiffio.h>
#include <vxkernel/vxkernel.h>
#include <vxtif/vxtif.h>

#include "bench/TextPage.h"

namespace {

constexpr int32_t kWidth = 10000;
constexpr int32_t kHeight = 14000;
constexpr int32_t kResolution = 1200;

struct Kind {
  const char* name;
  int32_t format;
  uint16_t compression;
  uint32_t t4Options;
};

constexpr Kind kKinds[] = {{"modified-huffman", kFormatCcitt, COMPRESSION_CCITTRLE, 0},
                           {"g3-1d", kFormatGroup3, COMPRESSION_CCITTFAX3, 4},
                           {"g3-2d", kFormatGroup3TwoDimensional, COMPRESSION_CCITTFAX3, 5},
                           {"g4", kFormatGroup4, COMPRESSION_CCITTFAX4, 0}};

const TextPage& Page() {
  static const TextPage page = MakeTextPage(kWidth, kHeight);
  return page;
}

// A file in the folder of the program, removed behind the benchmark.
class FaxFile {
public:
  explicit FaxFile(const char* name) : path_(std::filesystem::read_symlink("/proc/self/exe").parent_path() / name) {}
  ~FaxFile() { std::filesystem::remove(path_); }
  FaxFile(const FaxFile&) = delete;
  FaxFile& operator=(const FaxFile&) = delete;
  std::string Name() const { return path_.string(); }
  std::u16string WideName() const { return path_.u16string(); }

private:
  std::filesystem::path path_;
};

struct Service {
  BitmapHandle descriptor;
  uint8_t context[8 + 256 * 4];
};

int32_t SaveStart(BitmapHandle* bitmap, BitmapHandle** descriptor, int32_t, uint32_t*, void**, int32_t, intptr_t self,
                  intptr_t, void** context) {
  auto* service = reinterpret_cast<Service*>(self);
  krnBitmapInit(&service->descriptor, kBitmapHandleSize, bitmap->width, bitmap->height, 1);
  service->context[8] = 255; // white first
  *descriptor = &service->descriptor;
  *context = service->context;
  return 1;
}

int32_t SaveGetRow(BitmapHandle*, BitmapHandle*, void* rowBuffer, int32_t row, int32_t, uint32_t, intptr_t, intptr_t,
                   void*) {
  std::memcpy(rowBuffer, Page().rows.data() + static_cast<size_t>(row) * Page().rowBytes, Page().rowBytes);
  return 1;
}

int32_t SaveEnd(BitmapHandle*, BitmapHandle**, uint32_t*, int32_t, void**) {
  return 1;
}

int32_t SaveOwn(const std::u16string& name, const Kind& kind) {
  BitmapHandle bitmap;
  krnBitmapInit(&bitmap, kBitmapHandleSize, kWidth, kHeight, 1);
  bitmap.viewPerspective = 1;
  bitmap.xResolution = bitmap.yResolution = kResolution;
  static Service service{};
  SaveOptions options = {};
  options.structSize = sizeof options;
  options.flags = kSaveTiles; // of the page's size, which is one strip: as the peer has it
  options.pageNumber = 1;
  FilterSaveRequest request = {};
  request.fileName = name.c_str();
  request.bitmap = &bitmap;
  request.bitsPerPixel = 1;
  request.fileFormat = kind.format;
  request.fileOptions = &options;
  request.extra1 = reinterpret_cast<intptr_t>(&service);
  request.saveStart = SaveStart;
  request.saveGetRow = SaveGetRow;
  request.saveEnd = SaveEnd;
  return fltSave(&request);
}

bool SavePeer(const std::string& name, const Kind& kind) {
  TIFF* tiff = TIFFOpen(name.c_str(), "w");
  if (tiff == nullptr) {
    return false;
  }
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(kWidth));
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(kHeight));
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 1);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, static_cast<uint32_t>(kHeight));
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, kind.compression);
  TIFFSetField(tiff, TIFFTAG_YRESOLUTION, static_cast<double>(kResolution));
  TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
  if (kind.compression == COMPRESSION_CCITTFAX3) {
    TIFFSetField(tiff, TIFFTAG_GROUP3OPTIONS, kind.t4Options);
  }
  auto* rows = const_cast<uint8_t*>(Page().rows.data());
  const auto bytes = static_cast<tmsize_t>(Page().rows.size());
  const bool written = TIFFWriteEncodedStrip(tiff, 0, rows, bytes) == bytes;
  TIFFClose(tiff);
  return written;
}

bool Holds(const std::string& name) {
  TIFFErrorHandler warned = TIFFSetWarningHandler(nullptr); // of option tags that the peer does not know
  TIFF* tiff = TIFFOpen(name.c_str(), "r");
  std::vector<uint8_t> rows(Page().rows.size());
  const auto bytes = static_cast<tmsize_t>(rows.size());
  const bool read = tiff != nullptr && TIFFReadEncodedStrip(tiff, 0, rows.data(), bytes) == bytes;
  if (tiff != nullptr) {
    TIFFClose(tiff);
  }
  TIFFSetWarningHandler(warned);
  return read && rows == Page().rows;
}

void SaveByOwn(benchmark::State& state, const Kind& kind) {
  const FaxFile file("own-fax.tif");
  int32_t result = 1;
  for (auto _ : state) {
    result = SaveOwn(file.WideName(), kind);
  }
  if (result != 1 || !Holds(file.Name())) {
    state.SkipWithError("the page does not come back");
  }
}

void SaveByPeer(benchmark::State& state, const Kind& kind) {
  const FaxFile file("peer-fax.tif");
  bool good = true;
  for (auto _ : state) {
    good = SavePeer(file.Name(), kind) && good;
  }
  if (!good || !Holds(file.Name())) {
    state.SkipWithError("the page does not come back");
  }
}

const bool registered = [] {
  for (const Kind& kind : kKinds) {
    const std::string page = std::string("save-file/fax-") + kind.name + "/";
    benchmark::RegisterBenchmark((page + "vxtif").c_str(), [&kind](benchmark::State& state) {
      SaveByOwn(state, kind);
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((page + "libtiff").c_str(), [&kind](benchmark::State& state) {
      SaveByPeer(state, kind);
    })->Unit(benchmark::kMillisecond);
  }
  return true;
}();

} // namespace
