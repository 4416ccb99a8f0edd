// Whole files to the disk: fltSave against libtiff writing the same strips; uncompressed files also against a plain
// write of the same bytes.

#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

#include <vxtif/vxtif.h>

#include "bench/BenchFiles.h"
#include "bench/OwnSave.h"
#include "toolkit/Utf16.h"

namespace {

struct SaveKind {
  Storing peer; // rowsPerStrip is taken from our own file
  int32_t format;
  uint32_t flags;
};

const SaveKind kKinds[] = {{{"none", COMPRESSION_NONE, 0, 0}, kFormatUncompressed, 0},
                           {{"lzw", COMPRESSION_LZW, 0, 0}, kFormatLzw, 0},
                           {{"lzw-predictor", COMPRESSION_LZW, 2, 0}, kFormatLzw, kSavePredictor},
                           {{"packbits", COMPRESSION_PACKBITS, 0, 0}, kFormatPackBits, 0}};

OwnSaveJob JobOf(const BenchImage& image, const SaveKind& kind) {
  return {&image, kind.format, kind.flags, 0};
}

void SaveByOwn(benchmark::State& state, const BenchImage& image, const SaveKind& kind) {
  const std::string path = BenchPath("own.tif");
  const std::u16string name = toolkit::ToUtf16(path);
  int32_t result = 1;
  for (auto _ : state) {
    result = SaveOwn(name, JobOf(image, kind));
  }
  std::vector<uint8_t> back(image.pixels.size());
  if (result != 1 || !ReadWithPeer(path, &back) || back != image.pixels) {
    state.SkipWithError("the page does not come back");
  }
}

uint32_t OwnRowsPerStrip(const BenchImage& image, const SaveKind& kind) {
  const std::string path = BenchPath("layout.tif");
  SaveOwn(toolkit::ToUtf16(path), JobOf(image, kind));
  uint32_t rows = 0;
  TIFF* tif = TIFFOpen(path.c_str(), "r");
  if (tif != nullptr) {
    TIFFGetField(tif, TIFFTAG_ROWSPERSTRIP, &rows);
    TIFFClose(tif);
  }
  return rows;
}

void SaveByPeer(benchmark::State& state, const BenchImage& image, const SaveKind& kind) {
  const std::string path = BenchPath("peer.tif");
  Storing storing = kind.peer;
  storing.rowsPerStrip = OwnRowsPerStrip(image, kind);
  bool good = true;
  for (auto _ : state) {
    good = WriteWithPeer(path, image, storing) && good;
  }
  std::vector<uint8_t> back(image.pixels.size());
  if (!good || !ReadWithPeer(path, &back) || back != image.pixels) {
    state.SkipWithError("the page does not come back");
  }
}

void WritePlainly(benchmark::State& state, const BenchImage& image, const SaveKind&) {
  const std::string path = BenchPath("plain.bin");
  bool good = true;
  for (auto _ : state) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    good = write(file, image.pixels.data(), image.pixels.size()) == static_cast<ssize_t>(image.pixels.size()) && good;
    close(file);
  }
  if (!good) {
    state.SkipWithError("the file cannot be written");
  }
}

const bool registered = [] {
  for (const SaveKind& kind : kKinds) {
    for (const BenchImage* image : AllBenchImages()) {
      if (kind.peer.predictor != 0 && image->bitsPerSample == 1) {
        continue; // there is no predictor for single bits
      }
      const std::string input = image->name + "-" + kind.peer.name;
      const auto add = [&](const char* side, void (*run)(benchmark::State&, const BenchImage&, const SaveKind&)) {
        AddBench("save", input, side, [run, image, &kind](benchmark::State& state) { run(state, *image, kind); });
      };
      add("vxtif", SaveByOwn);
      add("libtiff", SaveByPeer);
      if (kind.format == kFormatUncompressed) {
        add("write", WritePlainly);
      }
    }
  }
  return true;
}();

} // namespace
