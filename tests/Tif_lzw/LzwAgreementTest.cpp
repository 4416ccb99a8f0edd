// The codec and the plain coders side by side, over streams of every kind: sound ones, damaged ones and noise; with
// requests of odd sizes, buffers that need many refills, files that end early, decoders used again.

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <random>

#include <gtest/gtest.h>

#include "Tif_lzw/LzwCodec.h"
#include "Tif_lzw/PlainLzw.h"
#include "support/CodecIo.h"
#include "support/KernelGuard.h"

namespace {

using Random = std::mt19937;

#if defined(__SANITIZE_ADDRESS__)
constexpr uint32_t kShare = 6; // an instrumented plain decoder is slow
#else
constexpr uint32_t kShare = 1;
#endif

uint32_t SeedOfRun() {
  const char* given = std::getenv("VXTIF_SEED");
  return given != nullptr ? static_cast<uint32_t>(std::strtoul(given, nullptr, 10)) : 20240611u;
}

uint32_t Below(Random& random, uint32_t limit) {
  return static_cast<uint32_t>(random() % limit);
}

// Data as pictures have them: flat runs, noise, slow ramps, repeated tiles.
FileBytes MakeData(Random& random, uint32_t size) {
  FileBytes data;
  while (data.size() < size) {
    const uint32_t length = 1 + Below(random, Below(random, 4) == 0 ? 9000 : 60);
    const uint32_t kind = Below(random, 5);
    const auto base = static_cast<uint8_t>(random());
    const size_t start = data.size();
    for (uint32_t i = 0; i < length; ++i) {
      switch (kind) {
      case 0:
        data.push_back(base);
        break;
      case 1:
        data.push_back(static_cast<uint8_t>(random()));
        break;
      case 2:
        data.push_back(static_cast<uint8_t>(base + i / 3));
        break;
      case 3:
        data.push_back(start == 0 ? base : data[i % start]);
        break;
      default:
        data.push_back(static_cast<uint8_t>(base ^ (Below(random, 8) == 0 ? 1 : 0)));
        break;
      }
    }
  }
  data.resize(size);
  return data;
}

// A stream of a table that may grow to 13 bits, in either bit order, with Clears where the writer likes. The strings it
// means are of no interest here: both decoders are asked.
FileBytes MakeFreeStream(Random& random, uint32_t codes, bool oldStyle, uint32_t widest) {
  CodeStream stream(oldStyle ? CodeStream::Order::kLsbFirst : CodeStream::Order::kMsbFirst);
  uint32_t width = 9;
  uint32_t next = 258;
  const uint32_t damage = Below(random, 3) == 0 ? 1 + Below(random, 200) : 0; // one code in so many is off
  const uint32_t reach = 1 + Below(random, 40);
  const bool deep = Below(random, 2) == 0;
  stream.Put(256, 9);
  bool fresh = true;
  for (uint32_t i = 0; i < codes; ++i) {
    uint32_t code;
    if (fresh) {
      code = Below(random, 256);
    } else if (damage != 0 && Below(random, damage) == 0) {
      code = Below(random, 1u << width);
    } else if (deep && Below(random, 8) != 0) {
      code = next - Below(random, std::min(reach, next - 257)); // often the entry just made: long strings
    } else {
      code = Below(random, 3) == 0 ? Below(random, 256) : 258 + Below(random, next - 257);
    }
    if (!fresh && (code == 256 || code == 257)) {
      code = 65;
    }
    stream.Put(code, width);
    if (!fresh && next < 8191) {
      ++next;
      if (next > (1u << width) - (oldStyle ? 1 : 2) && width < widest) {
        ++width;
      }
    }
    fresh = false;
    if (Below(random, 3000) == 0) {
      stream.Put(256, width);
      width = 9;
      next = 258;
      fresh = true;
    }
  }
  stream.Put(257, width).Pad(Below(random, 4));
  return stream.Bytes();
}

FileBytes MakeEncodedStream(Random& random) {
  PlainEncoder encoder;
  encoder.ratioCheck = Below(random, 2) == 0;
  const FileBytes data = MakeData(random, 1 + Below(random, 60000));
  encoder.Encode(data.data(), data.size());
  encoder.End();
  return encoder.bytes;
}

void Damage(Random& random, FileBytes& bytes) {
  const uint32_t hits = 1 + Below(random, 6);
  for (uint32_t i = 0; i < hits && !bytes.empty(); ++i) {
    const size_t at = random() % bytes.size();
    switch (Below(random, 4)) {
    case 0:
      bytes[at] = static_cast<uint8_t>(bytes[at] ^ (1u << Below(random, 8)));
      break;
    case 1:
      bytes[at] = static_cast<uint8_t>(random());
      break;
    case 2:
      bytes.erase(bytes.begin() + static_cast<std::ptrdiff_t>(at));
      break;
    default:
      bytes.resize(at + 1);
      break;
    }
  }
}

FileBytes MakeStream(Random& random) {
  FileBytes bytes;
  switch (Below(random, 7)) {
  case 0:
  case 1:
    bytes = MakeEncodedStream(random);
    break;
  case 2:
  case 3:
  case 4: {
    const bool oldStyle = Below(random, 3) == 0;
    bytes = MakeFreeStream(random, 1 + Below(random, Below(random, 3) == 0 ? 12000 : 600), oldStyle,
                           Below(random, 2) == 0 ? 12 : 13);
    break;
  }
  default:
    bytes.resize(2 + Below(random, 3000));
    for (uint8_t& byte : bytes) {
      byte = static_cast<uint8_t>(random());
    }
    if (Below(random, 2) == 0) {
      bytes[0] = 0x80;
      bytes[1] = static_cast<uint8_t>(bytes[1] & 0x7F);
    }
    break;
  }
  if (Below(random, 2) == 0) {
    Damage(random, bytes);
  }
  if (Below(random, 40) == 0) {
    bytes.resize(std::min<size_t>(bytes.size(), Below(random, 8)));
  }
  return bytes;
}

struct Side {
  TifPage page = {};
  FileOptions options = {};
  FileBytes buffer;
};

void Prepare(Side& side, uint32_t bufferSize, uint32_t fillOrder, uint32_t optionFlags) {
  side.buffer.resize(bufferSize); // what an earlier strip left stays
  side.page.codecBuffer = side.buffer.data();
  side.page.codecBufferSize = bufferSize;
  side.page.fillOrder = fillOrder;
  side.options.flags = optionFlags;
  side.page.fileOptions = &side.options;
}

// One strip through both decoders. False when they differ.
::testing::AssertionResult Compare(Random& random, const FileBytes& bytes, Side& fast, Side& plain,
                                   LzwDecoder** decoder, PlainDecoder& reference, uint64_t longest = 300000) {
  auto stripBytes = static_cast<uint32_t>(bytes.size());
  if (Below(random, 5) == 0) {
    stripBytes += Below(random, 400); // the file ends within the strip
  }
  const uint32_t bufferSize = Below(random, 2) == 0   ? stripBytes
                              : Below(random, 2) == 0 ? 2 + Below(random, 30)
                                                      : 2 + Below(random, 3000);
  const uint32_t fillOrder = Below(random, 4) == 0 ? 2 : 1;
  const uint32_t optionFlags = Below(random, 2) == 0 ? uint32_t{kReadLzw13Bit} : 0u;
  Prepare(fast, bufferSize, fillOrder, optionFlags);
  Prepare(plain, bufferSize, fillOrder, optionFlags);
  FileBytes stored = bytes;
  if (fillOrder == 2) { // sound in the first block, as a reader of such a file meets it
    for (uint8_t& byte : stored) {
      uint8_t reversed = 0;
      for (int i = 0; i < 8; ++i) {
        reversed = static_cast<uint8_t>(reversed | ((byte >> i) & 1) << (7 - i));
      }
      byte = reversed;
    }
  }
  ByteSource fastSource(stored);
  const int32_t fastStart = TIFLZWDecodeStart(&fast.page, decoder, 7, stripBytes);
  if (fastStart != kResultOk) {
    *decoder = nullptr;
  }
  // The plain decoder reads the same bytes again, request by request, so it keeps a source of its own.
  FileBytes fastOut;
  std::vector<int32_t> fastResults;
  std::vector<uint32_t> fastCounts;
  std::vector<uint32_t> requests;
  const uint32_t style = Below(random, 4);
  uint64_t total = 0;
  while (fastStart == kResultOk && requests.size() < 400 && total < longest) {
    uint32_t request = style == 0 ? 1 + Below(random, 9) : style == 1 ? 1 + Below(random, 700) : Below(random, 30000);
    if (style == 3 || longest > 300000) {
      request = 90000 + Below(random, 20000);
    }
    requests.push_back(request);
    total += request;
    FileBytes piece(request + 16, 0xA5);
    fastResults.push_back(TIFLZWDecode(&fast.page, piece.data(), request, 1, *decoder));
    if (!std::all_of(piece.end() - 16, piece.end(), [](uint8_t byte) { return byte == 0xA5; })) {
      return ::testing::AssertionFailure() << "bytes behind the request changed";
    }
    const size_t kept = fastResults.back() == kResultOk ? request : 0;
    fastOut.insert(fastOut.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(kept));
    const uint32_t held = fast.page.codecByteCount;
    fastCounts.push_back(held);
    const bool failed = fastResults.back() != kResultOk;
    if (failed && Below(random, 3) != 0) {
      break; // mostly a caller stops there; going on must be harmless and the same as well
    }
  }
  ByteSource plainSource(stored);
  const int32_t plainStart = reference.Start(&plain.page, 7, stripBytes);
  if (plainStart != fastStart) {
    return ::testing::AssertionFailure() << "start " << fastStart << ", plain " << plainStart;
  }
  size_t at = 0;
  for (size_t i = 0; i < requests.size(); ++i) {
    FileBytes piece(requests[i] + 1);
    const int32_t result = reference.Decode(&plain.page, piece.data(), requests[i]);
    if (result != fastResults[i]) {
      return ::testing::AssertionFailure() << "request " << i << ": " << fastResults[i] << ", plain " << result;
    }
    const uint32_t count = plain.page.codecByteCount;
    if (count != fastCounts[i]) {
      return ::testing::AssertionFailure() << "request " << i << ": codecByteCount differs";
    }
    if (result != kResultOk) {
      continue;
    }
    if (!std::equal(piece.begin(), piece.end() - 1, fastOut.begin() + static_cast<std::ptrdiff_t>(at))) {
      return ::testing::AssertionFailure() << "request " << i << " of " << requests[i] << " bytes differs";
    }
    at += requests[i];
  }
  return ::testing::AssertionSuccess();
}

TEST(LzwAgreement, DecoderOnSoundDamagedAndRandomStreams) {
  const uint32_t seed = SeedOfRun();
  std::printf("seed %u (VXTIF_SEED sets another)\n", seed);
  KernelGuard guard;
  for (uint32_t round = 0; round < 2500 / kShare; ++round) {
    Random random(seed + round);
    Side fast;
    Side plain;
    LzwDecoder* decoder = nullptr;
    auto reference = std::make_unique<PlainDecoder>();
    const uint32_t strips = 1 + Below(random, 4); // the decoder is used again, with what its tables hold
    for (uint32_t strip = 0; strip < strips; ++strip) {
      ASSERT_TRUE(Compare(random, MakeStream(random), fast, plain, &decoder, *reference))
          << "round " << round << ", strip " << strip << ", seed " << seed;
      if (decoder == nullptr) {
        reference = std::make_unique<PlainDecoder>();
      }
    }
    TIFLZWFreeDecoder(decoder);
  }
}

// Strings of growing length, until the stack is full and the table too: every code is the one that is not there yet,
// but for a few in the end that look back.
TEST(LzwAgreement, DecoderOnTheLongestStrings) {
  const uint32_t seed = SeedOfRun();
  std::printf("seed %u (VXTIF_SEED sets another)\n", seed);
  for (uint32_t round = 0; round < 6 / kShare; ++round) {
    Random random(seed + round);
    CodeStream stream;
    stream.Put(256, 9).Put(Below(random, 256), 9);
    uint32_t width = 9;
    for (uint32_t next = 258; next < 8200; ++next) {
      const bool lookBack = next > 5100 && Below(random, 50) == 0;
      const uint32_t newest = std::min(next, 8191u);
      stream.Put(lookBack ? newest - 1 - Below(random, 300) : newest, width);
      if (next + 1 > (1u << width) - 2 && width < 13) {
        ++width;
      }
    }
    stream.Put({300, 5160, 5161, 5162, 8190, 8191, 4000, 8191, 8191}, 13).Put(257, 13);
    Side fast;
    Side plain;
    LzwDecoder* decoder = nullptr;
    PlainDecoder reference;
    do { // until the 13-bit option was on
      ASSERT_TRUE(Compare(random, stream.Bytes(), fast, plain, &decoder, reference, 40'000'000))
          << "round " << round << ", seed " << seed;
      ASSERT_NE(nullptr, decoder);
    } while (reference.widthLimit != 14);
    TIFLZWFreeDecoder(decoder);
  }
}

TEST(LzwAgreement, EncoderOnAllKindsOfData) {
  const uint32_t seed = SeedOfRun();
  std::printf("seed %u (VXTIF_SEED sets another)\n", seed);
  KernelGuard guard;
  for (uint32_t round = 0; round < 300 / kShare; ++round) {
    Random random(seed + round);
    const FileBytes data = MakeData(random, Below(random, 150000));
    PlainEncoder plain;
    plain.ratioCheck = Below(random, 2) == 0;
    plain.Encode(data.data(), data.size());
    plain.End();

    TifPage page = {};
    FileBytes buffer(Below(random, 3) == 0 ? Below(random, 70) : kLzwBufferSize);
    page.codecBuffer = buffer.data();
    page.codecBufferSize = static_cast<uint32_t>(buffer.size());
    page.lzwRatioCheck = plain.ratioCheck ? 1 : 0;
    ByteSink sink;
    LzwEncoder* encoder = nullptr;
    ASSERT_EQ(kResultOk, TIFLZWEncodeStart(&page, &encoder));
    for (size_t at = 0; at < data.size();) {
      const auto piece = static_cast<uint32_t>(std::min<size_t>(data.size() - at, Below(random, 5000)));
      ASSERT_EQ(kResultOk, TIFLZWEncode(&page, data.data() + at, piece, 1, encoder));
      at += piece;
    }
    TIFLZWEncodeEnd(&page, encoder);
    TIFLZWFreeEncoder(encoder);
    ASSERT_EQ(plain.bytes, sink.Bytes()) << "round " << round << ", seed " << seed;
    const uint32_t counted = page.codecByteCount;
    ASSERT_EQ(plain.bytes.size(), counted);
  }
}

TEST(LzwAgreement, RoundTripsRowByRow) {
  const uint32_t seed = SeedOfRun();
  std::printf("seed %u (VXTIF_SEED sets another)\n", seed);
  for (uint32_t round = 0; round < 60; ++round) {
    Random random(seed + round);
    const uint32_t rowBytes = 1 + Below(random, 3000);
    const uint32_t rows = 1 + Below(random, 60);
    const FileBytes data = MakeData(random, rowBytes * rows);
    TifPage page = {};
    FileBytes buffer(kLzwBufferSize);
    page.codecBuffer = buffer.data();
    page.codecBufferSize = kLzwBufferSize;
    page.lzwRatioCheck = Below(random, 2);
    FileBytes stream;
    {
      ByteSink sink;
      LzwEncoder* encoder = nullptr;
      ASSERT_EQ(kResultOk, TIFLZWEncodeStart(&page, &encoder));
      for (uint32_t row = 0; row < rows; ++row) {
        TIFLZWEncode(&page, data.data() + size_t{row} * rowBytes, rowBytes, 1, encoder);
      }
      TIFLZWEncodeEnd(&page, encoder);
      TIFLZWFreeEncoder(encoder);
      stream = sink.Bytes();
    }
    buffer.resize(stream.size());
    page.codecBuffer = buffer.data();
    page.codecBufferSize = static_cast<uint32_t>(stream.size());
    ByteSource source(stream);
    LzwDecoder* decoder = nullptr;
    ASSERT_EQ(kResultOk, TIFLZWDecodeStart(&page, &decoder, 7, static_cast<uint32_t>(stream.size())));
    FileBytes decoded(data.size());
    for (uint32_t row = 0; row < rows; ++row) {
      ASSERT_EQ(kResultOk, TIFLZWDecode(&page, decoded.data() + size_t{row} * rowBytes, rowBytes, 1, decoder));
    }
    TIFLZWFreeDecoder(decoder);
    ASSERT_EQ(data, decoded) << "round " << round << ", seed " << seed;
  }
}

} // namespace
