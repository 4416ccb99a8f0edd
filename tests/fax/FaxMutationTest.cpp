// Random and mutated streams of every format: whatever stands in the strips, the decoder gives every row and returns.
// The number of streams for each format can be raised by the environment variable VXFAX_MUTATIONS.

#include <cstdlib>

#include <gtest/gtest.h>

#include "fax/FaxTestHost.h"
#include "support/KernelGuard.h"

namespace {

uint32_t StreamsToTry() {
  constexpr uint32_t kInANormalRun = 3000;
  const char* wanted = std::getenv("VXFAX_MUTATIONS");
  return wanted == nullptr ? kInANormalRun : static_cast<uint32_t>(std::strtoul(wanted, nullptr, 10));
}

void Mutate(std::vector<uint8_t>& bytes, TestRandom& random) {
  for (uint32_t n = 1 + random.Below(6); n > 0 && !bytes.empty(); --n) {
    const uint32_t at = random.Below(static_cast<uint32_t>(bytes.size()));
    const auto place = bytes.begin() + static_cast<ptrdiff_t>(at);
    switch (random.Below(6)) {
    case 0:
      bytes[at] = static_cast<uint8_t>(random.Next());
      break;
    case 1:
      bytes[at] = static_cast<uint8_t>(bytes[at] ^ 1u << random.Below(8));
      break;
    case 2:
      bytes.erase(place);
      break;
    case 3:
      bytes.insert(place, static_cast<uint8_t>(random.Next()));
      break;
    case 4:
      bytes.resize(at);
      break;
    default:
      std::fill_n(place, std::min<size_t>(bytes.size() - at, 1 + random.Below(8)), random.Below(2) != 0 ? 0xFF : 0);
    }
  }
}

std::vector<uint8_t> RandomBytes(TestRandom& random) {
  std::vector<uint8_t> bytes(random.Below(600));
  for (uint8_t& byte : bytes) {
    byte = static_cast<uint8_t>(random.Below(3) != 0 ? random.Next() : random.Next() & random.Next() & random.Next());
  }
  return bytes;
}

// Streams of well-formed pages, each used for many mutations.
FaxTestFile SoundFile(uint32_t format, TestRandom& random, FaxDecodeCall* call) {
  const auto kind = kAllPageKinds[random.Below(7)];
  const TestPage page = MakePage(kind, static_cast<int32_t>(1 + random.Below(700)),
                                 static_cast<int32_t>(1 + random.Below(40)), random.Next());
  FaxEncodeCall encode;
  encode.mode = format;
  encode.t4Options = random.Below(2) != 0 ? 4 : 0;
  encode.tileWidth = random.Below(4) == 0 ? 32 : 0;
  encode.tileHeight = 16;
  encode.marks = random.Below(4) == 0;
  encode.room = 256 * 1024;
  call->format = format;
  call->width = page.width;
  call->height = page.height;
  call->pieceWidth = encode.tileWidth;
  call->rowsPerStrip = 16;
  return EncodeFax(page, encode).file;
}

void ExpectAllRows(const FaxTestFile& file, FaxDecodeCall call, TestRandom& random) {
  call.flags = random.Below(8) == 0 ? uint32_t{kFaxFillOrder2} : 0u;
  const FaxDecoded decoded = DecodeFax(file, call);
  ASSERT_EQ(decoded.result, 1);
  ASSERT_EQ(decoded.page.height, call.height);
  if (call.pieceWidth == 0 && random.Below(16) == 0) {
    call.height = -1;
    ASSERT_EQ(DecodeFax(file, call).result, 1);
  }
}

class FaxMutations : public testing::TestWithParam<uint32_t> {};

TEST_P(FaxMutations, EveryRowIsDelivered) {
  const KernelGuard guard;
  const uint64_t seed = 4242 + GetParam();
  RecordProperty("seed", static_cast<int>(seed));
  TestRandom random(seed);
  FaxTestFile sound;
  FaxDecodeCall call;
  const uint32_t streams = StreamsToTry();
  for (uint32_t i = 0; i < streams; ++i) {
    if (i % 20 == 0) {
      sound = SoundFile(GetParam(), random, &call);
    }
    FaxTestFile file;
    for (size_t piece = 0; piece < sound.offsets.size(); ++piece) {
      const auto begin = sound.bytes.begin() + sound.offsets[piece];
      std::vector<uint8_t> bytes(begin, begin + sound.byteCounts[piece]);
      if (random.Below(4) == 0) {
        bytes = RandomBytes(random);
      } else {
        Mutate(bytes, random);
      }
      file.Add(bytes);
    }
    file.marks = sound.marks;
    ASSERT_NO_FATAL_FAILURE(ExpectAllRows(file, call, random)) << "seed " << seed << " stream " << i;
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, FaxMutations,
                         testing::Values(uint32_t{kFaxModifiedHuffman}, uint32_t{kFaxT4OneDimensional},
                                         uint32_t{kFaxT4TwoDimensional}, uint32_t{kFaxT6}),
                         [](const auto& test) { return "Format" + std::to_string(test.param); });

} // namespace
