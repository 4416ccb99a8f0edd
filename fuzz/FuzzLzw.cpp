// The LZW codec against the plain coders of the tests. Behind a few settings the input is a stream of codes, cut into
// strips that one decoder reads one after the other, or data to encode.

#include <algorithm>

#include "FuzzTarget.h"
#include "InputReader.h"
#include "Tif_lzw/LzwCodec.h"
#include "Tif_lzw/PlainLzw.h"
#include "support/CodecIo.h"

namespace {

constexpr uint32_t kMostOutput = 12000; // bytes of a strip that are asked for
constexpr uint32_t kMostRequests = 200;
constexpr uint32_t kMostData = 30000; // to encode: enough to fill the table and to meet the ratio check
constexpr uint32_t kGuardBytes = 16;
constexpr uint8_t kGuard = 0xA5;

// One of the two decoders' own page and buffer. What an earlier strip left in the buffer stays.
struct Side {
  TifPage page = {};
  FileOptions options = {};
  FileBytes buffer;

  void Prepare(uint32_t bufferSize, bool reversed, uint32_t flags) {
    buffer.resize(bufferSize);
    page.codecBuffer = buffer.data();
    page.codecBufferSize = bufferSize;
    page.fillOrder = reversed ? 2 : 1;
    options.flags = flags;
    page.fileOptions = &options;
  }
};

struct Answer {
  int32_t result;
  uint32_t held; // codecByteCount
  FileBytes bytes;
  bool operator==(const Answer&) const = default;
};

struct StripSettings {
  uint32_t missing; // bytes that the strip says it has and the file has not
  uint32_t bufferSize;
  bool reversed;
  uint32_t optionFlags;
  uint32_t requestBytes;
  bool growingRequests;
};

StripSettings ReadSettings(InputReader& input) {
  StripSettings settings = {};
  const uint8_t flags = input.Byte();
  settings.reversed = (flags & 1) != 0;
  settings.optionFlags = (flags & 2) != 0 ? uint32_t{kReadLzw13Bit} : 0u;
  settings.missing = (flags & 4) != 0 ? 300 : 0;
  settings.growingRequests = (flags & 8) != 0;
  settings.requestBytes = 1u << (flags >> 4);
  const uint8_t buffer = input.Byte();
  settings.bufferSize = buffer == 0 ? 4096 : 1 + buffer;
  return settings;
}

uint32_t NextRequest(const StripSettings& settings, uint32_t request) {
  return settings.growingRequests ? settings.requestBytes + request * 7 : settings.requestBytes;
}

template <class Decode> std::vector<Answer> Ask(const StripSettings& settings, const TifPage& page, Decode decode) {
  std::vector<Answer> answers;
  uint32_t total = 0;
  uint32_t failures = 0;
  for (uint32_t i = 0; i < kMostRequests && total < kMostOutput && failures < 3; ++i) {
    const uint32_t request = NextRequest(settings, i);
    Answer answer = {0, 0, FileBytes(request + kGuardBytes, kGuard)};
    answer.result = decode(answer.bytes.data(), request);
    answer.held = page.codecByteCount;
    if (!std::all_of(answer.bytes.end() - kGuardBytes, answer.bytes.end(), [](uint8_t b) { return b == kGuard; })) {
      FailFuzzInput("bytes behind the request were written");
    }
    if (answer.result != kResultOk) {
      answer.bytes.clear(); // only what a decoder promises is compared; to go on must be harmless
      ++failures;
    }
    answers.push_back(std::move(answer));
    total += request;
  }
  return answers;
}

struct DecoderPair {
  Side fastSide;
  Side plainSide;
  LzwDecoder* fast = nullptr;
  PlainDecoder plain;
};

void CompareStrip(DecoderPair& pair, const StripSettings& settings, std::span<const uint8_t> strip) {
  const FileBytes stored(strip.begin(), strip.end());
  const auto stripBytes = static_cast<uint32_t>(stored.size()) + settings.missing;
  pair.fastSide.Prepare(settings.bufferSize, settings.reversed, settings.optionFlags);
  pair.plainSide.Prepare(settings.bufferSize, settings.reversed, settings.optionFlags);
  int32_t fastStart = 0;
  std::vector<Answer> fastAnswers;
  {
    const ByteSource source(stored);
    fastStart = TIFLZWDecodeStart(&pair.fastSide.page, &pair.fast, 7, stripBytes);
    if (fastStart == kResultOk) {
      fastAnswers = Ask(settings, pair.fastSide.page, [&](uint8_t* out, uint32_t bytes) {
        return TIFLZWDecode(&pair.fastSide.page, out, bytes, 1, pair.fast);
      });
    }
  }
  const ByteSource source(stored);
  if (pair.plain.Start(&pair.plainSide.page, 7, stripBytes) != fastStart) {
    FailFuzzInput("the decoders start with different results");
  }
  if (fastStart != kResultOk) { // the decoder has freed itself
    pair.fast = nullptr;
    pair.plain = PlainDecoder();
    return;
  }
  const auto decodePlain = [&](uint8_t* out, uint32_t bytes) {
    return pair.plain.Decode(&pair.plainSide.page, out, bytes);
  };
  if (Ask(settings, pair.plainSide.page, decodePlain) != fastAnswers) {
    FailFuzzInput("the decoders disagree");
  }
}

void CompareDecoders(InputReader& input) {
  DecoderPair pair;
  while (!input.Empty()) {
    const StripSettings settings = ReadSettings(input);
    const uint16_t length = input.Word();
    CompareStrip(pair, settings, input.Bytes(length));
  }
  TIFLZWFreeDecoder(pair.fast);
}

FileBytes EncodeFast(const FileBytes& data, bool ratioCheck, uint32_t bufferSize, uint32_t pieceBytes) {
  TifPage page = {};
  FileBytes buffer(bufferSize);
  page.codecBuffer = buffer.data();
  page.codecBufferSize = bufferSize;
  page.lzwRatioCheck = ratioCheck ? 1 : 0;
  const ByteSink sink;
  LzwEncoder* encoder = nullptr;
  if (TIFLZWEncodeStart(&page, &encoder) != kResultOk) {
    FailFuzzInput("the encoder did not start");
  }
  for (size_t at = 0; at < data.size();) {
    const auto piece = static_cast<uint32_t>(std::min<size_t>(data.size() - at, pieceBytes));
    TIFLZWEncode(&page, data.data() + at, piece, 1, encoder);
    at += piece;
  }
  TIFLZWEncodeEnd(&page, encoder);
  TIFLZWFreeEncoder(encoder);
  return sink.Bytes();
}

void ExpectDecoded(const FileBytes& stream, const FileBytes& data) {
  Side side;
  side.Prepare(static_cast<uint32_t>(stream.size()), false, 0);
  const ByteSource source(stream);
  LzwDecoder* decoder = nullptr;
  FileBytes decoded(data.size());
  if (TIFLZWDecodeStart(&side.page, &decoder, 7, static_cast<uint32_t>(stream.size())) != kResultOk ||
      TIFLZWDecode(&side.page, decoded.data(), static_cast<uint32_t>(decoded.size()), 1, decoder) != kResultOk ||
      decoded != data) {
    FailFuzzInput("what was encoded does not come back");
  }
  TIFLZWFreeDecoder(decoder);
}

// Repeated, so that small inputs fill tables too.
void CompareEncoders(InputReader& input) {
  const uint8_t flags = input.Byte();
  const uint32_t repeats = 1u << (flags & 7);
  const bool ratioCheck = (flags & 8) != 0;
  const uint32_t bufferSize = (flags & 16) != 0 ? 1u + input.Byte() : kLzwBufferSize;
  const uint32_t pieceBytes = 1u + input.Byte();
  FileBytes data;
  for (uint32_t i = 0; i < repeats && data.size() < kMostData; ++i) {
    data.insert(data.end(), input.Rest().begin(), input.Rest().end());
  }
  PlainEncoder plain;
  plain.ratioCheck = ratioCheck;
  plain.Encode(data.data(), data.size());
  plain.End();
  const FileBytes stream = EncodeFast(data, ratioCheck, bufferSize, pieceBytes);
  if (stream != plain.bytes) {
    FailFuzzInput("the encoders disagree");
  }
  if (!data.empty()) {
    ExpectDecoded(stream, data);
  }
}

void RunLzw(std::span<const uint8_t> input) {
  InputReader reader(input);
  if ((reader.Byte() & 1) != 0) {
    CompareEncoders(reader);
  } else {
    CompareDecoders(reader);
  }
}

// Flat runs, ramps and noise.
FileBytes Data(uint32_t bytes) {
  FileBytes data;
  uint32_t noise = 1;
  for (uint32_t i = 0; i < bytes; ++i) {
    noise = noise * 1664525u + 1013904223u;
    data.push_back(static_cast<uint8_t>(i % 300 < 100 ? 0 : i % 300 < 200 ? i : noise >> 24));
  }
  return data;
}

std::vector<FileBytes> LzwSeeds() {
  std::vector<FileBytes> seeds;
  for (const uint32_t bytes : {10u, 700u, 3000u}) {
    PlainEncoder encoder;
    const FileBytes data = Data(bytes);
    encoder.Encode(data.data(), data.size());
    encoder.End();
    for (const uint8_t flags : FileBytes{0x00, 0x32, 0x8C, 0xF1}) {
      FileBytes seed = {0, flags, static_cast<uint8_t>(bytes == 10 ? 9 : 0)};
      AppendU16(seed, FileOrder::kLittle, static_cast<uint16_t>(encoder.bytes.size()));
      seed.insert(seed.end(), encoder.bytes.begin(), encoder.bytes.end());
      seeds.push_back(std::move(seed));
    }
    CodeStream old(CodeStream::Order::kLsbFirst);
    old.Put({256, 65, 258, 259, 66, 260, 257}, 9).Pad(2);
    FileBytes seed = {0, 0x40, 0, 100, 0};
    seed.insert(seed.end(), old.Bytes().begin(), old.Bytes().end());
    seeds.push_back(std::move(seed));
    for (const uint8_t flags : FileBytes{0x00, 0x0D, 0x17}) {
      FileBytes encode = {1, flags, 99, 99};
      encode.insert(encode.end(), data.begin(), data.end());
      seeds.push_back(std::move(encode));
    }
  }
  return seeds;
}

} // namespace

const FuzzTarget kFuzzLzw = {"lzw", RunLzw, LzwSeeds, nullptr};
