// The codecs alone against libtiff's: LZW with and without predictor, and PackBits, both directions. Each side works on
// strips of about 64 KiB of rows, in memory; a decoder is given the stream that libtiff's encoder made.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <tiffio.h>

#include <vxkernel/files.h>
#include <vxtif/page.h>

#include "Tif/PackBitsStrip.h"
#include "Tif_lzw/LzwCodec.h"
#include "Tifutil/PackBits.h"
#include "Tifutil/Predictor.h"
#include "bench/Inputs.h"
#include "tif_com/Memory.h"

namespace {

constexpr uint32_t kStripBytes = 65536;

// A file in memory, for libtiff.
struct MemoryTiff {
  std::vector<uint8_t> bytes;
  uint64_t position = 0;
};

tmsize_t ReadMemory(thandle_t handle, void* buffer, tmsize_t size) {
  auto* file = static_cast<MemoryTiff*>(handle);
  const uint64_t left = file->position < file->bytes.size() ? file->bytes.size() - file->position : 0;
  const uint64_t count = std::min<uint64_t>(left, static_cast<uint64_t>(size));
  std::memcpy(buffer, file->bytes.data() + file->position, count);
  file->position += count;
  return static_cast<tmsize_t>(count);
}

tmsize_t WriteMemory(thandle_t handle, void* buffer, tmsize_t size) {
  auto* file = static_cast<MemoryTiff*>(handle);
  const uint64_t end = file->position + static_cast<uint64_t>(size);
  if (end > file->bytes.size()) {
    file->bytes.resize(end);
  }
  std::memcpy(file->bytes.data() + file->position, buffer, static_cast<size_t>(size));
  file->position = end;
  return size;
}

toff_t SeekMemory(thandle_t handle, toff_t offset, int whence) {
  auto* file = static_cast<MemoryTiff*>(handle);
  const uint64_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? file->position : file->bytes.size();
  file->position = base + offset;
  return file->position;
}

int CloseMemory(thandle_t) {
  return 0;
}

toff_t MemorySize(thandle_t handle) {
  return static_cast<MemoryTiff*>(handle)->bytes.size();
}

TIFF* OpenMemory(MemoryTiff* file, const char* mode) {
  file->position = 0;
  return TIFFClientOpen("memory", mode, file, ReadMemory, WriteMemory, SeekMemory, CloseMemory, MemorySize, nullptr,
                        nullptr);
}

uint32_t RowsPerStrip(const BenchImage& image) {
  return std::max(1u, kStripBytes / image.rowBytes);
}

void WriteWithPeer(const BenchImage& image, uint16_t compression, uint16_t predictor, MemoryTiff* file,
                   std::vector<uint8_t>* strip) {
  TIFF* tif = OpenMemory(file, "w");
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, image.width);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, image.height);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, image.samples);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, image.bitsPerSample);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, image.samples == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, compression);
  if (predictor == 2) {
    TIFFSetField(tif, TIFFTAG_PREDICTOR, predictor);
  }
  const uint32_t rows = RowsPerStrip(image);
  TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, rows);
  for (uint32_t row = 0, index = 0; row < image.height; row += rows, ++index) {
    const size_t size = static_cast<size_t>(std::min(rows, image.height - row)) * image.rowBytes;
    strip->assign(image.Row(row), image.Row(row) + size); // the peer may change what it is given
    TIFFWriteEncodedStrip(tif, index, strip->data(), static_cast<tmsize_t>(size));
  }
  TIFFClose(tif);
}

struct Strip {
  uint64_t offset;
  uint32_t bytes;
  uint32_t rows;
};

// A picture as the peer's encoder stored it.
struct Stored {
  MemoryTiff file;
  std::vector<Strip> strips;
};

Stored StoreWithPeer(const BenchImage& image, uint16_t compression, uint16_t predictor) {
  Stored stored;
  std::vector<uint8_t> strip;
  WriteWithPeer(image, compression, predictor, &stored.file, &strip);
  TIFF* tif = OpenMemory(&stored.file, "r");
  uint64_t* offsets = nullptr;
  uint64_t* counts = nullptr;
  TIFFGetField(tif, TIFFTAG_STRIPOFFSETS, &offsets);
  TIFFGetField(tif, TIFFTAG_STRIPBYTECOUNTS, &counts);
  const uint32_t rows = RowsPerStrip(image);
  for (uint32_t i = 0; i < TIFFNumberOfStrips(tif); ++i) {
    stored.strips.push_back({offsets[i], static_cast<uint32_t>(counts[i]), std::min(rows, image.height - i * rows)});
  }
  TIFFClose(tif);
  return stored;
}

void SetLayout(const BenchImage& image, TifPage* page) {
  page->tileWidth = static_cast<int32_t>(image.width);
  page->samplesPerPixel = image.samples;
  page->bitsPerSample[0] = image.bitsPerSample;
  page->totalBits = image.samples * image.bitsPerSample;
  page->bitsPerPixel = static_cast<int32_t>(page->totalBits);
  page->planarConfiguration = 1;
  page->photometricInterpretation = image.samples == 3 ? 2 : 1;
  page->fillOrder = 1;
}

void DecodeOwnLzw(benchmark::State& state, const BenchImage* image, uint16_t predictor) {
  Stored stored = StoreWithPeer(*image, COMPRESSION_LZW, predictor);
  std::vector<uint8_t> out(kStripBytes + image->rowBytes);
  std::vector<uint8_t> buffer(2 * kStripBytes + 64);
  for (auto _ : state) {
    VxMemFile memory = nullptr;
    VxFileHandle handle = kKrnNoHandle;
    krnMemFileOpen(&memory, &handle, kKrnMemFileRead, stored.file.bytes.data(),
                   static_cast<uint32_t>(stored.file.bytes.size()));
    TifPage page = {};
    SetLayout(*image, &page);
    LzwDecoder* decoder = nullptr;
    uint32_t row = 0;
    for (const Strip& strip : stored.strips) {
      krnFileSeek(handle, static_cast<int32_t>(strip.offset), kKrnSeekSet);
      page.codecBuffer = buffer.data();
      page.codecBufferSize = strip.bytes;
      if (TIFLZWDecodeStart(&page, &decoder, handle, strip.bytes) != 1) {
        std::abort();
      }
      for (uint32_t i = 0; i < strip.rows; ++i) {
        uint8_t* target = out.data() + static_cast<size_t>(i) * image->rowBytes;
        TIFLZWDecode(&page, target, image->rowBytes, 1, decoder);
        if (predictor == 2) {
          TIFUnpredictRow(&page, target, image->rowBytes, SampleSwap::kHost);
        }
      }
      benchmark::ClobberMemory();
      if (std::memcmp(out.data(), image->Row(row), image->rowBytes) != 0) {
        std::abort(); // no honest result
      }
      row += strip.rows;
    }
    TIFLZWFreeDecoder(decoder);
    krnMemFileClose(memory, 0, nullptr);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * image->pixels.size()));
}

void DecodeOwnPackBits(benchmark::State& state, const BenchImage* image) {
  Stored stored = StoreWithPeer(*image, COMPRESSION_PACKBITS, 1);
  std::vector<uint8_t> out(kStripBytes + image->rowBytes);
  for (auto _ : state) {
    VxMemFile memory = nullptr;
    VxFileHandle handle = kKrnNoHandle;
    krnMemFileOpen(&memory, &handle, kKrnMemFileRead, stored.file.bytes.data(),
                   static_cast<uint32_t>(stored.file.bytes.size()));
    TifPage page = {};
    SetLayout(*image, &page);
    TifLoadContext context = {};
    context.status = 1;
    page.codecFile = handle;
    uint32_t row = 0;
    for (const Strip& strip : stored.strips) {
      krnFileSeek(handle, static_cast<int32_t>(strip.offset), kKrnSeekSet);
      page.codecBytesLeft = strip.bytes;
      if (TIFAllocPackBitsBuffer(&page, strip.bytes) != 1 || TIFRefillPackBitsBuffer(&page, 0) != 1 ||
          TIFDecodePackBitsRows(&page, out.data(), image->rowBytes, strip.rows, &context) != 1) {
        std::abort();
      }
      TIFFree(page.codecBuffer);
      benchmark::ClobberMemory();
      if (context.status != 1 || std::memcmp(out.data(), image->Row(row), image->rowBytes) != 0) {
        std::abort(); // no honest result
      }
      row += strip.rows;
    }
    krnMemFileClose(memory, 0, nullptr);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * image->pixels.size()));
}

void DecodePeer(benchmark::State& state, const BenchImage* image, uint16_t compression, uint16_t predictor) {
  Stored stored = StoreWithPeer(*image, compression, predictor);
  std::vector<uint8_t> out(kStripBytes + image->rowBytes);
  for (auto _ : state) {
    TIFF* tif = OpenMemory(&stored.file, "r");
    for (uint32_t i = 0; i < stored.strips.size(); ++i) {
      TIFFReadEncodedStrip(tif, i, out.data(), -1);
      benchmark::ClobberMemory();
    }
    TIFFClose(tif);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * image->pixels.size()));
}

void EncodeOwnLzw(benchmark::State& state, const BenchImage* image, uint16_t predictor) {
  std::vector<uint8_t> target(2 * image->pixels.size() + 65536);
  std::vector<uint8_t> buffer(kLzwBufferSize);
  std::vector<uint8_t> row(image->rowBytes);
  const uint32_t rows = RowsPerStrip(*image);
  for (auto _ : state) {
    VxMemFile memory = nullptr;
    VxFileHandle handle = kKrnNoHandle;
    krnMemFileOpen(&memory, &handle, kKrnMemFileWrite, target.data(), static_cast<uint32_t>(target.size()));
    TifPage page = {};
    SetLayout(*image, &page);
    page.codecFile = handle;
    page.codecBuffer = buffer.data();
    page.codecBufferSize = kLzwBufferSize;
    page.lzwRatioCheck = 1;
    for (uint32_t first = 0; first < image->height; first += rows) {
      LzwEncoder* encoder = nullptr;
      TIFLZWEncodeStart(&page, &encoder);
      for (uint32_t i = first; i < std::min(first + rows, image->height); ++i) {
        std::memcpy(row.data(), image->Row(i), image->rowBytes);
        if (predictor == 2) {
          TIFPredictRow(&page, row.data(), image->rowBytes);
        }
        TIFLZWEncode(&page, row.data(), image->rowBytes, 1, encoder);
      }
      TIFLZWEncodeEnd(&page, encoder);
      TIFLZWFreeEncoder(encoder);
    }
    krnMemFileClose(memory, 0, nullptr);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * image->pixels.size()));
}

void EncodeOwnPackBits(benchmark::State& state, const BenchImage* image) {
  const uint32_t rows = RowsPerStrip(*image);
  std::vector<uint8_t> target(TIFPackBitsWorstCase(image->rowBytes) * image->height);
  std::vector<uint8_t> buffer(TIFPackBitsWorstCase(image->rowBytes) * rows);
  for (auto _ : state) {
    VxMemFile memory = nullptr;
    VxFileHandle handle = kKrnNoHandle;
    krnMemFileOpen(&memory, &handle, kKrnMemFileWrite, target.data(), static_cast<uint32_t>(target.size()));
    for (uint32_t first = 0; first < image->height; first += rows) {
      uint8_t* cursor = buffer.data();
      for (uint32_t i = first; i < std::min(first + rows, image->height); ++i) {
        TIFPackBitsEncodeRow(&cursor, image->Row(i), image->rowBytes);
      }
      krnFileWrite(handle, buffer.data(), static_cast<uint32_t>(cursor - buffer.data()));
    }
    krnMemFileClose(memory, 0, nullptr);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * image->pixels.size()));
}

void EncodePeer(benchmark::State& state, const BenchImage* image, uint16_t compression, uint16_t predictor) {
  std::vector<uint8_t> strip;
  MemoryTiff file;
  file.bytes.reserve(2 * image->pixels.size() + 65536);
  for (auto _ : state) {
    file.bytes.clear();
    WriteWithPeer(*image, compression, predictor, &file, &strip);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * image->pixels.size()));
}

// Everything is registered before main runs, for every picture that a compression serves.
const bool kRegistered = [] {
  for (const BenchImage* image : AllBenchImages()) {
    const auto add = [image](const std::string& work, const char* side, auto run) {
      benchmark::RegisterBenchmark(("codec-" + work + "/" + image->name + "/" + side).c_str(), run)
          ->Unit(benchmark::kMicrosecond);
    };
    for (uint16_t predictor = 1; predictor <= (image->bitsPerSample >= 8 ? 2 : 1); ++predictor) {
      const std::string lzw = predictor == 2 ? "lzw-predictor" : "lzw";
      add("decode-" + lzw, "vxtif", [=](benchmark::State& state) { DecodeOwnLzw(state, image, predictor); });
      add("decode-" + lzw, "libtiff",
          [=](benchmark::State& state) { DecodePeer(state, image, COMPRESSION_LZW, predictor); });
      add("encode-" + lzw, "vxtif", [=](benchmark::State& state) { EncodeOwnLzw(state, image, predictor); });
      add("encode-" + lzw, "libtiff",
          [=](benchmark::State& state) { EncodePeer(state, image, COMPRESSION_LZW, predictor); });
    }
    add("decode-packbits", "vxtif", [=](benchmark::State& state) { DecodeOwnPackBits(state, image); });
    add("decode-packbits", "libtiff",
        [=](benchmark::State& state) { DecodePeer(state, image, COMPRESSION_PACKBITS, 1); });
    add("encode-packbits", "vxtif", [=](benchmark::State& state) { EncodeOwnPackBits(state, image); });
    add("encode-packbits", "libtiff",
        [=](benchmark::State& state) { EncodePeer(state, image, COMPRESSION_PACKBITS, 1); });
  }
  return true;
}();

} // namespace
