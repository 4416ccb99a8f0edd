// The CCITT codec against libtiff on one text page of 10,000 x 14,000 pixels, in memory: decode and encode of modified
// Huffman, T.4 one- and two-dimensional and T.6, each as one strip.

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <tiffio.h>
#include <vxfax/vxfax.h>

#include "bench/TextPage.h"

namespace {

constexpr int32_t kPageWidth = 10000;
constexpr int32_t kPageHeight = 14000;

struct Mode {
  const char* name;
  uint32_t faxMode;
  uint16_t compression;
  uint32_t t4Options;
};

constexpr Mode kModes[] = {{"modified-huffman", kFaxModifiedHuffman, COMPRESSION_CCITTRLE, 0},
                           {"g3-1d", kFaxT4OneDimensional, COMPRESSION_CCITTFAX3, 4},
                           {"g3-2d", kFaxT4TwoDimensional, COMPRESSION_CCITTFAX3, 5},
                           {"g4", kFaxT6, COMPRESSION_CCITTFAX4, 0}};

const TextPage& Page() {
  static const TextPage page = MakeTextPage(kPageWidth, kPageHeight);
  return page;
}

// A file in memory for libtiff.
struct MemoryFile {
  std::vector<uint8_t> bytes;
  size_t position = 0;
};

tmsize_t ReadMemory(thandle_t handle, void* buffer, tmsize_t size) {
  auto* file = static_cast<MemoryFile*>(handle);
  const size_t left = file->position < file->bytes.size() ? file->bytes.size() - file->position : 0;
  const size_t count = static_cast<size_t>(size) < left ? static_cast<size_t>(size) : left;
  std::memcpy(buffer, file->bytes.data() + file->position, count);
  file->position += count;
  return static_cast<tmsize_t>(count);
}

tmsize_t WriteMemory(thandle_t handle, void* buffer, tmsize_t size) {
  auto* file = static_cast<MemoryFile*>(handle);
  const size_t end = file->position + static_cast<size_t>(size);
  if (end > file->bytes.size()) {
    file->bytes.resize(end);
  }
  std::memcpy(file->bytes.data() + file->position, buffer, static_cast<size_t>(size));
  file->position = end;
  return size;
}

toff_t SeekMemory(thandle_t handle, toff_t offset, int whence) {
  auto* file = static_cast<MemoryFile*>(handle);
  const toff_t from = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? file->position : file->bytes.size();
  file->position = static_cast<size_t>(from + offset);
  return file->position;
}

int CloseMemory(thandle_t) {
  return 0;
}

toff_t SizeOfMemory(thandle_t handle) {
  return static_cast<MemoryFile*>(handle)->bytes.size();
}

TIFF* OpenMemory(MemoryFile* file, const char* access) {
  file->position = 0;
  return TIFFClientOpen("memory", access, file, ReadMemory, WriteMemory, SeekMemory, CloseMemory, SizeOfMemory, nullptr,
                        nullptr);
}

void WriteWithLibtiff(const Mode& mode, const TextPage& page, MemoryFile* file) {
  file->bytes.clear();
  TIFF* tiff = OpenMemory(file, "wm");
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(page.width));
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(page.height));
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 1);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, static_cast<uint32_t>(page.height));
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, mode.compression);
  TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 1200.0);
  TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
  if (mode.compression == COMPRESSION_CCITTFAX3) {
    TIFFSetField(tiff, TIFFTAG_GROUP3OPTIONS, mode.t4Options);
  }
  auto* rows = const_cast<uint8_t*>(page.rows.data());
  TIFFWriteEncodedStrip(tiff, 0, rows, static_cast<tmsize_t>(page.rows.size()));
  TIFFClose(tiff);
}

// The row service of the encoder, and the sink of the decoder, on rows in memory.
struct Service {
  BitmapHandle descriptor;
  uint8_t context[8 + 256 * 4];
};

int32_t SaveStart(BitmapHandle* bitmap, BitmapHandle** descriptor, int32_t, uint32_t*, void**, int32_t,
                  intptr_t serviceAddress, intptr_t, void** context) {
  auto* service = reinterpret_cast<Service*>(serviceAddress);
  krnBitmapInit(&service->descriptor, kBitmapHandleSize, bitmap->width, bitmap->height, 1);
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

int32_t KeepRows(FileInfoRecord*, BitmapHandle* bitmap, uint8_t* rows, uint32_t, int32_t firstRow, int32_t rowCount,
                 intptr_t target) {
  auto* out = reinterpret_cast<uint8_t*>(target);
  for (int32_t i = 0; i < rowCount; ++i) {
    std::memcpy(out + static_cast<size_t>(firstRow + i) * Page().rowBytes,
                rows + static_cast<size_t>(i) * static_cast<size_t>(bitmap->bytesPerLine), Page().rowBytes);
  }
  return 1;
}

uint32_t Encode(const Mode& mode, std::vector<uint8_t>& output) {
  BitmapHandle bitmap;
  krnBitmapInit(&bitmap, kBitmapHandleSize, kPageWidth, kPageHeight, 1);
  bitmap.yResolution = 1200;
  static Service service{};
  const FaxRowSource source{SaveStart, SaveEnd, SaveGetRow, 0, mode.t4Options};
  VxMemFile memory = nullptr;
  VxFileHandle file = kKrnNoHandle;
  krnMemFileOpen(&memory, &file, kKrnMemFileWrite, output.data(), static_cast<uint32_t>(output.size()));
  uint32_t bytes = 0;
  const int32_t result = faxEncodeStart(&source, file, &bitmap, 1, mode.faxMode, 0,
                                        reinterpret_cast<intptr_t>(&service), 0, &bytes, 0, 0, 0);
  krnMemFileClose(memory, 0, nullptr);
  return result == 1 ? bytes : 0;
}

int32_t Decode(const Mode& mode, const std::vector<uint8_t>& bytes, uint32_t offset, uint32_t count, uint8_t* rows) {
  VxMemFile memory = nullptr;
  VxFileHandle file = kKrnNoHandle;
  krnMemFileOpen(&memory, &file, kKrnMemFileRead, const_cast<uint8_t*>(bytes.data()),
                 static_cast<uint32_t>(bytes.size()));
  BitmapHandle target;
  krnBitmapInit(&target, kBitmapHandleSize, kPageWidth, kPageHeight, 1);
  const FaxInfo info{0, mode.faxMode, kPageWidth, kPageHeight, 1, 1200, 1200, 0, kFaxView1};
  const FaxStripInfo strips{kPageWidth, kPageHeight, &offset, &count, 1};
  const int32_t result = faxDecodeRows(nullptr, file, &info, &strips, nullptr, &target, KeepRows, 1,
                                       reinterpret_cast<intptr_t>(rows), nullptr);
  krnMemFileClose(memory, 0, nullptr);
  return result;
}

void CountPage(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(Page().rows.size()));
}

void DecodeOwn(benchmark::State& state, const Mode& mode) {
  MemoryFile file;
  WriteWithLibtiff(mode, Page(), &file);
  TIFF* tiff = OpenMemory(&file, "rm");
  const auto offset = static_cast<uint32_t>(TIFFGetStrileOffset(tiff, 0));
  const auto count = static_cast<uint32_t>(TIFFGetStrileByteCount(tiff, 0));
  TIFFClose(tiff);
  std::vector<uint8_t> rows(Page().rows.size());
  for (auto _ : state) {
    if (Decode(mode, file.bytes, offset, count, rows.data()) != 1) {
      state.SkipWithError("the page does not decode");
      return;
    }
  }
  if (rows != Page().rows) {
    state.SkipWithError("the page decodes to other pixels");
  }
  CountPage(state);
}

void DecodePeer(benchmark::State& state, const Mode& mode) {
  MemoryFile file;
  WriteWithLibtiff(mode, Page(), &file);
  std::vector<uint8_t> rows(Page().rows.size());
  for (auto _ : state) {
    TIFF* tiff = OpenMemory(&file, "rm");
    TIFFReadEncodedStrip(tiff, 0, rows.data(), static_cast<tmsize_t>(rows.size()));
    TIFFClose(tiff);
  }
  if (rows != Page().rows) {
    state.SkipWithError("the peer decodes to other pixels");
  }
  CountPage(state);
}

void EncodeOwn(benchmark::State& state, const Mode& mode) {
  std::vector<uint8_t> output(Page().rows.size() * 2);
  uint32_t bytes = 0;
  for (auto _ : state) {
    bytes = Encode(mode, output);
  }
  std::vector<uint8_t> rows(Page().rows.size());
  if (bytes == 0 || Decode(mode, output, 0, bytes, rows.data()) != 1 || rows != Page().rows) {
    state.SkipWithError("the page does not come back");
  }
  CountPage(state);
}

void EncodePeer(benchmark::State& state, const Mode& mode) {
  MemoryFile file;
  file.bytes.reserve(Page().rows.size() * 2);
  for (auto _ : state) {
    WriteWithLibtiff(mode, Page(), &file);
  }
  CountPage(state);
}

void Register(const std::string& name, const Mode& mode, void (*run)(benchmark::State&, const Mode&)) {
  benchmark::RegisterBenchmark(name.c_str(), [&mode, run](benchmark::State& state) {
    run(state, mode);
  })->Unit(benchmark::kMillisecond);
}

const bool registered = [] {
  for (const Mode& mode : kModes) {
    const std::string page = std::string("/") + mode.name + "-text-page/";
    Register("decode" + page + "vxtif", mode, DecodeOwn);
    Register("decode" + page + "libtiff", mode, DecodePeer);
    Register("encode" + page + "vxtif", mode, EncodeOwn);
    Register("encode" + page + "libtiff", mode, EncodePeer);
  }
  return true;
}();

} // namespace
