// Whole files from the disk: fltLoad against libtiff's strips, for the compressions that both read; uncompressed files
// also against a plain read of the same bytes.

#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

#include <vxkernel/vxkernel.h>
#include <vxtif/vxtif.h>

#include "bench/BenchFiles.h"
#include "toolkit/Utf16.h"

namespace {

constexpr Storing kStorings[] = {{"none", COMPRESSION_NONE, 0, 0},
                                 {"lzw", COMPRESSION_LZW, 0, 0},
                                 {"lzw-predictor", COMPRESSION_LZW, 2, 0},
                                 {"packbits", COMPRESSION_PACKBITS, 0, 0}};

// Where the rows go: one copy, as a host makes it.
struct Target {
  uint8_t* pixels;
  size_t rowBytes;
};

int32_t KeepRows(FileInfoRecord*, BitmapHandle* bitmap, uint8_t* rows, uint32_t, int32_t firstRow, int32_t rowCount,
                 intptr_t data) {
  const auto* const target = reinterpret_cast<const Target*>(data);
  if (firstRow < 0 || firstRow + rowCount > bitmap->height) {
    return 0;
  }
  std::memcpy(target->pixels + static_cast<size_t>(firstRow) * target->rowBytes, rows,
              static_cast<size_t>(rowCount) * target->rowBytes);
  return 1;
}

int32_t LoadOwn(const std::u16string& name, const BenchImage& image, std::vector<uint8_t>* out) {
  FileOptions options = {};
  options.pageNumber = 1;
  FileInfoRecord info = {};
  info.structSize = sizeof info;
  BitmapHandle bitmap = {};
  krnBitmapInit(&bitmap, kBitmapHandleSize, static_cast<int32_t>(image.width), static_cast<int32_t>(image.height),
                static_cast<int32_t>(image.samples * image.bitsPerSample));
  Target target = {out->data(), image.rowBytes};
  FilterLoadRequest request = {};
  request.fileName = name.c_str();
  request.bitmap = &bitmap;
  request.rowCallback = KeepRows;
  request.rowCallbackData = reinterpret_cast<intptr_t>(&target);
  request.fileInfo = &info;
  request.fileOptions = &options;
  request.truncationStatus = 1;
  const int32_t result = fltLoad(&request);
  krnGlobalFree(bitmap.lookupTable, __LINE__, "LoadBench");
  return result == 1 ? request.truncationStatus : result;
}

void LoadByOwn(benchmark::State& state, const BenchImage& image, const Storing& storing) {
  const std::u16string name = toolkit::ToUtf16(StoredImage(image, storing));
  std::vector<uint8_t> out(image.pixels.size());
  int32_t result = 1;
  for (auto _ : state) {
    result = LoadOwn(name, image, &out);
  }
  if (result != 1 || out != image.pixels) {
    state.SkipWithError("the page does not come back");
  }
}

void LoadByPeer(benchmark::State& state, const BenchImage& image, const Storing& storing) {
  const std::string& path = StoredImage(image, storing);
  std::vector<uint8_t> out(image.pixels.size());
  bool good = true;
  for (auto _ : state) {
    good = ReadWithPeer(path, &out) && good;
  }
  if (!good || out != image.pixels) {
    state.SkipWithError("the page does not come back");
  }
}

void ReadPlainly(benchmark::State& state, const BenchImage& image, const Storing& storing) {
  const std::string& path = StoredImage(image, storing);
  std::vector<uint8_t> out(image.pixels.size());
  bool good = true;
  for (auto _ : state) {
    const int file = open(path.c_str(), O_RDONLY);
    good = read(file, out.data(), out.size()) == static_cast<ssize_t>(out.size()) && good;
    close(file);
  }
  if (!good) {
    state.SkipWithError("the file cannot be read");
  }
}

const bool registered = [] {
  for (const Storing& storing : kStorings) {
    for (const BenchImage* image : AllBenchImages()) {
      if (storing.predictor != 0 && image->bitsPerSample == 1) {
        continue; // there is no predictor for single bits
      }
      const std::string input = image->name + "-" + storing.name;
      const auto add = [&](const char* side, void (*run)(benchmark::State&, const BenchImage&, const Storing&)) {
        AddBench("load", input, side, [run, image, &storing](benchmark::State& state) { run(state, *image, storing); });
      };
      add("vxtif", LoadByOwn);
      add("libtiff", LoadByPeer);
      if (storing.compression == COMPRESSION_NONE) {
        add("read", ReadPlainly);
      }
    }
  }
  return true;
}();

} // namespace
