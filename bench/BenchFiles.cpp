#include "bench/BenchFiles.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>

namespace {

constexpr uint32_t kStripBytes = 65536;

// Made at the first use, removed at the end of the program.
struct Folder {
  std::filesystem::path path;
  Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "vxbench-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      std::perror("vxbench: no temporary folder");
      std::exit(2);
    }
    path = name;
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
};

struct Quiet {
  Quiet() {
    TIFFSetWarningHandler(nullptr);
    TIFFSetErrorHandler(nullptr);
  }
} quiet;

uint16_t PhotometricOf(const BenchImage& image) {
  if (image.samples == 3) {
    return PHOTOMETRIC_RGB;
  }
  if (!image.palette.empty()) {
    return PHOTOMETRIC_PALETTE;
  }
  return image.bitsPerSample == 1 ? PHOTOMETRIC_MINISWHITE : PHOTOMETRIC_MINISBLACK;
}

void SetColourMap(TIFF* tif, const BenchImage& image) {
  std::vector<uint16_t> map[3];
  for (size_t i = 0; i < image.palette.size(); ++i) {
    map[i % 3].push_back(static_cast<uint16_t>(image.palette[i] * 257));
  }
  TIFFSetField(tif, TIFFTAG_COLORMAP, map[0].data(), map[1].data(), map[2].data());
}

void SetFields(TIFF* tif, const BenchImage& image, const Storing& storing, uint32_t rows) {
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, image.width);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, image.height);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, image.samples);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, image.bitsPerSample);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PhotometricOf(image));
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, storing.compression);
  TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, rows);
  if (storing.predictor != 0) {
    TIFFSetField(tif, TIFFTAG_PREDICTOR, storing.predictor);
  }
  if (!image.palette.empty()) {
    SetColourMap(tif, image);
  }
}

// --- files put together by hand, little-endian ---

struct Bytes {
  std::vector<uint8_t> data;
  void U16(uint32_t value) {
    data.push_back(static_cast<uint8_t>(value));
    data.push_back(static_cast<uint8_t>(value >> 8));
  }
  void U32(uint32_t value) {
    U16(value & 0xFFFF);
    U16(value >> 16);
  }
  void Entry(uint16_t tag, uint16_t type, uint32_t count, uint32_t value) {
    U16(tag);
    U16(type);
    U32(count);
    U32(value);
  }
  uint32_t Size() const { return static_cast<uint32_t>(data.size()); }
};

constexpr char kDescription[] = "a page of a benchmark, as plain as pages can be";
constexpr uint32_t kSmallSide = 16;
constexpr uint32_t kEntries = 10;
constexpr uint32_t kDirectoryBytes = 2 + kEntries * 12 + 4;

struct GreyPage {
  uint32_t width;
  uint32_t height;
  uint32_t strips;
  uint32_t description; // offsets of the values
  uint32_t offsets;     // of the strip itself for one strip
  uint32_t counts;      // of the table, or the count itself
};

void PutDirectory(Bytes* file, const GreyPage& page, uint32_t next) {
  file->U16(kEntries);
  file->Entry(256, 4, 1, page.width);
  file->Entry(257, 4, 1, page.height);
  file->Entry(258, 3, 1, 8);
  file->Entry(259, 3, 1, 1);
  file->Entry(262, 3, 1, 1);
  file->Entry(270, 2, sizeof kDescription, page.description);
  file->Entry(273, 4, page.strips, page.offsets);
  file->Entry(277, 3, 1, 1);
  file->Entry(278, 4, 1, page.height / page.strips);
  file->Entry(279, 4, page.strips, page.counts);
  file->U32(next);
}

} // namespace

std::string BenchPath(const std::string& name) {
  static const Folder folder;
  return (folder.path / name).string();
}

bool WriteWithPeer(const std::string& path, const BenchImage& image, const Storing& storing) {
  TIFF* tif = TIFFOpen(path.c_str(), "w");
  if (tif == nullptr) {
    return false;
  }
  const uint32_t rows = storing.rowsPerStrip != 0 ? storing.rowsPerStrip : std::max(1u, kStripBytes / image.rowBytes);
  SetFields(tif, image, storing, rows);
  bool good = true;
  std::vector<uint8_t> strip; // the peer may change what it is given
  for (uint32_t row = 0, index = 0; row < image.height; row += rows, ++index) {
    const size_t size = static_cast<size_t>(std::min(rows, image.height - row)) * image.rowBytes;
    strip.assign(image.Row(row), image.Row(row) + size);
    good = TIFFWriteEncodedStrip(tif, index, strip.data(), static_cast<tmsize_t>(size)) >= 0 && good;
  }
  TIFFClose(tif);
  return good;
}

bool ReadWithPeer(const std::string& path, std::vector<uint8_t>* out) {
  TIFF* tif = TIFFOpen(path.c_str(), "r");
  if (tif == nullptr) {
    return false;
  }
  size_t at = 0;
  const uint32_t strips = TIFFNumberOfStrips(tif);
  for (uint32_t i = 0; i < strips && at < out->size(); ++i) {
    const tmsize_t got = TIFFReadEncodedStrip(tif, i, out->data() + at, static_cast<tmsize_t>(out->size() - at));
    if (got < 0) {
      break;
    }
    at += static_cast<size_t>(got);
  }
  TIFFClose(tif);
  return at == out->size();
}

const std::string& StoredImage(const BenchImage& image, const Storing& storing) {
  static std::map<std::string, std::string> stored;
  const std::string key = image.name + "-" + storing.name;
  const auto found = stored.find(key);
  if (found != stored.end()) {
    return found->second;
  }
  const std::string path = BenchPath(key + ".tif");
  WriteWithPeer(path, image, storing);
  return stored.emplace(key, path).first->second;
}

void WriteManyPages(const std::string& path, uint32_t pages) {
  Bytes file;
  file.data = {'I', 'I', 42, 0};
  constexpr uint32_t kPixels = kSmallSide * kSmallSide;
  file.U32(8 + kPixels + sizeof kDescription);
  for (uint32_t i = 0; i < pages; ++i) {
    const uint32_t pixels = file.Size();
    file.data.resize(file.data.size() + kPixels, static_cast<uint8_t>(i));
    const uint32_t description = file.Size();
    file.data.insert(file.data.end(), kDescription, kDescription + sizeof kDescription);
    const uint32_t next = file.Size() + kDirectoryBytes + kPixels + static_cast<uint32_t>(sizeof kDescription);
    PutDirectory(&file, {kSmallSide, kSmallSide, 1, description, pixels, kPixels}, i + 1 < pages ? next : 0);
  }
  WriteWholeFile(path, file.data);
}

void WriteLargePage(const std::string& path) {
  constexpr uint32_t kWidth = 8192;
  constexpr uint32_t kHeight = 4096;
  Bytes file;
  file.data = {'I', 'I', 42, 0};
  file.U32(8);
  const uint32_t description = 8 + kDirectoryBytes;
  const uint32_t offsets = description + static_cast<uint32_t>(sizeof kDescription);
  const uint32_t counts = offsets + 4 * kHeight;
  const uint32_t pixels = counts + 4 * kHeight;
  PutDirectory(&file, {kWidth, kHeight, kHeight, description, offsets, counts}, 0);
  file.data.insert(file.data.end(), kDescription, kDescription + sizeof kDescription);
  for (uint32_t row = 0; row < kHeight; ++row) {
    file.U32(pixels + row * kWidth);
  }
  for (uint32_t row = 0; row < kHeight; ++row) {
    file.U32(kWidth);
  }
  file.data.resize(size_t{pixels} + size_t{kWidth} * kHeight);
  WriteWholeFile(path, file.data);
}

std::vector<uint8_t> ReadWholeFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteWholeFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

benchmark::internal::Benchmark* AddBench(const std::string& what, const std::string& input, const char* side,
                                         const std::function<void(benchmark::State&)>& run) {
  return benchmark::RegisterBenchmark((what + "/" + input + "/" + side).c_str(), run)->Unit(benchmark::kMicrosecond);
}
