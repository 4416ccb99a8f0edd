// The codecs by themselves, for codec_streams.py: strips from standard input to standard output.
//
//   codec_tool encode CODEC ROWBYTES PIXELS BITS SAMPLES         rows in, a stream out
//   codec_tool decode CODEC ROWBYTES PIXELS BITS SAMPLES ROWS    a stream in, rows out
//
// CODEC: lzw, packbits, or lzw-predictor and lzw-predictor-big, the samples being big-endian in the second. BITS is the
// depth of a sample. Exit code 1 with a line on standard error when a codec refuses.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <vxkernel/files.h>
#include <vxtif/page.h>
#include <vxtif/results.h>

#include "Tif_lzw/LzwCodec.h"
#include "Tifutil/PackBits.h"
#include "Tifutil/Predictor.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Strip {
  std::string codec;
  uint32_t rowBytes = 0;
  uint32_t pixels = 0;
  uint32_t bits = 0;
  uint32_t samples = 0;
  uint32_t rows = 0;

  bool IsLzw() const { return codec.starts_with("lzw"); }
  bool HasPredictor() const { return codec.starts_with("lzw-predictor"); }
};

Bytes ReadAll() {
  Bytes bytes;
  uint8_t block[65536];
  for (size_t got = 0; (got = std::fread(block, 1, sizeof block, stdin)) != 0;) {
    bytes.insert(bytes.end(), block, block + got);
  }
  return bytes;
}

TifPage PageOf(const Strip& strip) {
  TifPage page = {};
  page.tileWidth = static_cast<int32_t>(strip.pixels);
  page.samplesPerPixel = strip.samples;
  page.bitsPerSample[0] = strip.bits;
  page.totalBits = strip.bits * strip.samples;
  page.bitsPerPixel = static_cast<int32_t>(page.totalBits);
  page.photometricInterpretation = strip.samples < 3 ? 1 : 2;
  page.planarConfiguration = 1;
  page.fillOrder = 1;
  return page;
}

Bytes EncodeLzw(const Strip& strip, Bytes rows) {
  Bytes target(rows.size() * 2 + 4096);
  Bytes buffer(kLzwBufferSize);
  VxMemFile memory = nullptr;
  TifPage page = PageOf(strip);
  VxFileHandle handle = kKrnNoHandle;
  krnMemFileOpen(&memory, &handle, kKrnMemFileWrite, target.data(), static_cast<uint32_t>(target.size()));
  page.codecFile = handle;
  page.codecBuffer = buffer.data();
  page.codecBufferSize = kLzwBufferSize;
  page.lzwRatioCheck = 1;
  LzwEncoder* encoder = nullptr;
  TIFLZWEncodeStart(&page, &encoder);
  for (size_t at = 0; at < rows.size(); at += strip.rowBytes) {
    if (strip.HasPredictor()) {
      TIFPredictRow(&page, rows.data() + at, strip.rowBytes);
    }
    TIFLZWEncode(&page, rows.data() + at, strip.rowBytes, 1, encoder);
  }
  TIFLZWEncodeEnd(&page, encoder);
  TIFLZWFreeEncoder(encoder);
  krnMemFileClose(memory, 0, nullptr);
  target.resize(page.codecByteCount);
  return target;
}

Bytes EncodePackBits(const Strip& strip, const Bytes& rows) {
  Bytes target(static_cast<size_t>(TIFPackBitsWorstCase(strip.rowBytes)) * (rows.size() / strip.rowBytes));
  uint8_t* cursor = target.data();
  for (size_t at = 0; at < rows.size(); at += strip.rowBytes) {
    TIFPackBitsEncodeRow(&cursor, rows.data() + at, strip.rowBytes);
  }
  target.resize(static_cast<size_t>(cursor - target.data()));
  return target;
}

// 1 or the decoder's code.
int32_t DecodeLzw(const Strip& strip, const Bytes& stream, VxFileHandle handle, Bytes* rows) {
  TifPage page = PageOf(strip);
  Bytes buffer(stream.size());
  page.codecBuffer = buffer.data();
  page.codecBufferSize = static_cast<uint32_t>(buffer.size());
  LzwDecoder* decoder = nullptr;
  int32_t result = TIFLZWDecodeStart(&page, &decoder, handle, static_cast<uint32_t>(stream.size()));
  if (result != kResultOk) {
    return result;
  }
  const SampleSwap swap = strip.codec == "lzw-predictor-big" ? SampleSwap::kBigEndian : SampleSwap::kHost;
  for (size_t at = 0; at < rows->size() && result == kResultOk; at += strip.rowBytes) {
    result = TIFLZWDecode(&page, rows->data() + at, strip.rowBytes, 1, decoder);
    if (strip.HasPredictor()) {
      TIFUnpredictRow(&page, rows->data() + at, strip.rowBytes, swap);
    }
  }
  TIFLZWFreeDecoder(decoder);
  return result;
}

int32_t DecodePackBits(const Strip& strip, const Bytes& stream, VxFileHandle handle, Bytes* rows) {
  Bytes block(kPackBitsInputBlock);
  uint32_t position = kPackBitsInputBlock;
  uint32_t taken = 0;
  for (size_t at = 0; at < rows->size(); at += strip.rowBytes) {
    taken +=
        TIFPackBitsReadStream(rows->data() + at, handle, strip.rowBytes, block.data(), &position, BitOrder::kAsRead);
  }
  return taken == stream.size() ? kResultOk : kResultCodecShort;
}

int Decode(const Strip& strip) {
  Bytes stream = ReadAll();
  Bytes rows(static_cast<size_t>(strip.rowBytes) * strip.rows);
  VxMemFile memory = nullptr;
  VxFileHandle handle = kKrnNoHandle;
  krnMemFileOpen(&memory, &handle, kKrnMemFileRead, stream.data(), static_cast<uint32_t>(stream.size()));
  const int32_t result =
      strip.IsLzw() ? DecodeLzw(strip, stream, handle, &rows) : DecodePackBits(strip, stream, handle, &rows);
  krnMemFileClose(memory, 0, nullptr);
  if (result != kResultOk) {
    std::fprintf(stderr, "codec_tool: %s: %d\n", strip.codec.c_str(), result);
    return 1;
  }
  std::fwrite(rows.data(), 1, rows.size(), stdout);
  return 0;
}

int Encode(const Strip& strip) {
  const Bytes rows = ReadAll();
  const Bytes stream = strip.IsLzw() ? EncodeLzw(strip, rows) : EncodePackBits(strip, rows);
  std::fwrite(stream.data(), 1, stream.size(), stdout);
  return 0;
}

uint32_t Number(const char* text) {
  return static_cast<uint32_t>(std::strtoul(text, nullptr, 10));
}

} // namespace

int main(int argc, char** argv) {
  const std::string command = argc > 1 ? argv[1] : "";
  if ((command != "encode" || argc != 7) && (command != "decode" || argc != 8)) {
    std::fprintf(stderr, "codec_tool encode|decode CODEC ROWBYTES PIXELS BITS SAMPLES [ROWS]\n");
    return 2;
  }
  Strip strip = {argv[2], Number(argv[3]), Number(argv[4]), Number(argv[5]), Number(argv[6]), 0};
  if (command == "encode") {
    return Encode(strip);
  }
  strip.rows = Number(argv[7]);
  return Decode(strip);
}
