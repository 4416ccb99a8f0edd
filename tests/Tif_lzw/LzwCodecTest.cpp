// LZW streams worked out by hand: what each rule of the codec does, one at a time.

#include <algorithm>
#include <memory>
#include <numeric>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "Tif_lzw/LzwCodec.h"
#include "Tif_lzw/PlainLzw.h"
#include "support/CodecIo.h"
#include "support/KernelGuard.h"

namespace {

FileBytes BytesOf(const std::string& text) {
  return FileBytes(text.begin(), text.end());
}

struct Encoded {
  FileBytes bytes;
  uint32_t counted;
  uint32_t writes;
};

Encoded Encode(const FileBytes& data, bool ratioCheck = false, uint32_t bufferSize = kLzwBufferSize) {
  TifPage page = {};
  FileBytes buffer(bufferSize);
  page.codecBuffer = buffer.data();
  page.codecBufferSize = bufferSize;
  page.lzwRatioCheck = ratioCheck ? 1 : 0;
  ByteSink sink;
  LzwEncoder* encoder = nullptr;
  EXPECT_EQ(kResultOk, TIFLZWEncodeStart(&page, &encoder));
  EXPECT_EQ(kResultOk, TIFLZWEncode(&page, data.data(), static_cast<uint32_t>(data.size()), 1, encoder));
  TIFLZWEncodeEnd(&page, encoder);
  TIFLZWFreeEncoder(encoder);
  return {sink.Bytes(), page.codecByteCount, sink.Calls()};
}

// One strip, decoded by requests of the given sizes.
class Strip {
public:
  explicit Strip(const FileBytes& bytes, uint32_t bufferSize = 0, uint32_t optionFlags = 0, uint32_t fillOrder = 1)
      : Strip(bytes, static_cast<uint32_t>(bytes.size()), bufferSize, optionFlags, fillOrder) {}
  Strip(const FileBytes& bytes, uint32_t stripBytes, uint32_t bufferSize, uint32_t optionFlags, uint32_t fillOrder)
      : source_(bytes), buffer_(bufferSize != 0 ? bufferSize : stripBytes) {
    options_.flags = optionFlags;
    page_.fileOptions = &options_;
    page_.codecBuffer = buffer_.data();
    page_.codecBufferSize = static_cast<uint32_t>(buffer_.size());
    page_.fillOrder = fillOrder;
    start_ = TIFLZWDecodeStart(&page_, &decoder_, 5, stripBytes);
    if (start_ != kResultOk) {
      decoder_ = nullptr;
    }
  }
  ~Strip() { TIFLZWFreeDecoder(decoder_); }
  Strip(const Strip&) = delete;
  Strip& operator=(const Strip&) = delete;

  int32_t Start() const { return start_; }
  int32_t Result() const { return result_; }
  FileBytes Take(uint32_t count) {
    FileBytes out(count);
    result_ = TIFLZWDecode(&page_, out.data(), count, 1, decoder_);
    return out;
  }

private:
  ByteSource source_;
  FileBytes buffer_;
  FileOptions options_ = {};
  TifPage page_ = {};
  LzwDecoder* decoder_ = nullptr;
  int32_t start_ = 0;
  int32_t result_ = 0;
};

// The codes of a stream of this library's encoder, with their widths, and how many bytes lie in front of each.
struct ReadCode {
  uint32_t code;
  uint32_t width;
  size_t bytesBefore;
};

std::vector<ReadCode> ReadCodes(const FileBytes& stream) {
  std::vector<ReadCode> codes;
  size_t bit = 0;
  uint32_t width = 9;
  uint32_t next = 258;
  bool fresh = true;
  size_t bytes = 0;
  std::vector<size_t> lengths(4096, 1);
  size_t previous = 0;
  for (;;) {
    uint32_t code = 0;
    for (uint32_t i = 0; i < width; ++i, ++bit) {
      code = code << 1 | ((stream.at(bit / 8) >> (7 - bit % 8)) & 1u);
    }
    codes.push_back({code, width, bytes});
    if (code == 257) {
      return codes;
    }
    if (code == 256) {
      next = 258;
      width = 9;
      fresh = true;
      continue;
    }
    const size_t length = code < 256 ? 1 : code < next ? lengths[code] : previous + 1;
    if (!fresh) {
      lengths[next] = previous + 1;
      ++next;
    }
    fresh = false;
    previous = length;
    bytes += length;
    // The encoder widens once the entry that the decoder has not made yet passes the width.
    width = next + 1 > 2047 ? 12 : next + 1 > 1023 ? 11 : next + 1 > 511 ? 10 : 9;
  }
}

TEST(LzwEncoder, FourEqualBytes) {
  // 256, 97, 258, 97, 257 in 9 bits each.
  const Encoded encoded = Encode(BytesOf("aaaa"));
  EXPECT_EQ((FileBytes{0x80, 0x18, 0x60, 0x46, 0x18, 0x08}), encoded.bytes);
  EXPECT_EQ(6u, encoded.counted);
  EXPECT_EQ(1u, encoded.writes);
}

TEST(LzwEncoder, TheExampleOfTheTiffStandard) {
  const Encoded encoded = Encode({7, 7, 7, 8, 8, 7, 7, 6, 6});
  EXPECT_EQ(CodeStream().Put({256, 7, 258, 8, 8, 258, 6, 6, 257}, 9).Bytes(), encoded.bytes);
}

TEST(LzwEncoder, OneByte) {
  EXPECT_EQ(CodeStream().Put({256, 42, 257}, 9).Bytes(), Encode({42}).bytes);
}

TEST(LzwEncoder, NothingGivesTheEndCodeAlone) {
  EXPECT_EQ(CodeStream().Put(257, 9).Bytes(), Encode({}).bytes);
}

TEST(LzwEncoder, WidthGrowsWithTheEntryThatPasses511) {
  // All pairs are new, so that every byte is a code and makes an entry: behind 254 of them the next entry is 512.
  FileBytes data;
  for (uint32_t i = 0; i < 300; ++i) {
    data.push_back(static_cast<uint8_t>(i < 256 ? i : (i - 256) * 2));
  }
  CodeStream expected;
  expected.Put(256, 9);
  for (uint32_t i = 0; i < 300; ++i) {
    expected.Put(data[i], i < 254 ? 9 : 10);
  }
  expected.Put(257, 10);
  EXPECT_EQ(expected.Bytes(), Encode(data).bytes);
}

TEST(LzwEncoder, FullTableIsClearedIn12BitsAndGoesOnIn9) {
  std::mt19937 random(1);
  FileBytes data(40000);
  for (uint8_t& byte : data) {
    byte = static_cast<uint8_t>(random());
  }
  const std::vector<ReadCode> codes = ReadCodes(Encode(data).bytes);
  uint32_t clears = 0;
  for (size_t i = 1; i + 1 < codes.size(); ++i) {
    if (codes[i].code == 256) {
      ++clears;
      EXPECT_EQ(12u, codes[i].width);
      EXPECT_EQ(9u, codes[i + 1].width);
      if (clears == 1) {
        EXPECT_EQ(4094u - 258u + 1u, i); // a code for each entry behind the first Clear
      }
    }
  }
  EXPECT_LT(5u, clears);
}

FileBytes TwoSymbols(uint32_t seed, uint32_t count, uint32_t rarity) {
  std::mt19937 random(seed);
  FileBytes data(count);
  for (uint8_t& byte : data) {
    byte = random() % rarity == 0 ? 1 : 0;
  }
  return data;
}

TEST(LzwEncoder, RatioThatFallsClearsTheTableAtTheNextCheck) {
  FileBytes data(10000, 0);
  const FileBytes noise = TwoSymbols(2, 20000, 2);
  data.insert(data.end(), noise.begin(), noise.end());
  const std::vector<ReadCode> without = ReadCodes(Encode(data, false).bytes);
  EXPECT_EQ(1, std::count_if(without.begin(), without.end(), [](const ReadCode& code) { return code.code == 256; }));
  const std::vector<ReadCode> with = ReadCodes(Encode(data, true).bytes);
  const auto clear = std::find_if(with.begin() + 1, with.end(), [](const ReadCode& code) { return code.code == 256; });
  ASSERT_NE(with.end(), clear);
  // The check runs with the first code put from 20000 bytes of input on; that code leaves one byte of them pending.
  EXPECT_LE(20000u, clear->bytesBefore + 1);
  EXPECT_GT(20100u, clear->bytesBefore);
}

TEST(LzwEncoder, RatioThatRisesKeepsTheTable) {
  const std::vector<ReadCode> codes = ReadCodes(Encode(FileBytes(200000, 9), true).bytes);
  EXPECT_EQ(1, std::count_if(codes.begin(), codes.end(), [](const ReadCode& code) { return code.code == 256; }));
}

TEST(LzwEncoder, RatioThatStaysTheSameKeepsTheTable) {
  // Data whose ratio is the same number at two checks, looked for with the plain encoder.
  FileBytes found;
  for (uint32_t seed = 1; seed < 400 && found.empty(); ++seed) {
    FileBytes data = TwoSymbols(seed, 10000, 3 + seed % 5);
    const FileBytes rest = TwoSymbols(seed + 1000, 10500, 2);
    data.insert(data.end(), rest.begin(), rest.end());
    PlainEncoder plain;
    plain.ratioCheck = true;
    plain.Encode(data.data(), data.size());
    if (plain.ratios.size() == 2 && plain.ratios[0] == plain.ratios[1]) {
      found = data;
    }
  }
  ASSERT_FALSE(found.empty());
  const std::vector<ReadCode> codes = ReadCodes(Encode(found, true).bytes);
  EXPECT_EQ(1, std::count_if(codes.begin(), codes.end(), [](const ReadCode& code) { return code.code == 256; }));
}

TEST(LzwEncoder, BufferThatComesAfterTheStartAndTinyOnesGiveTheSameBytes) {
  std::mt19937 random(3);
  FileBytes data(5000);
  for (uint8_t& byte : data) {
    byte = static_cast<uint8_t>(random() % 7);
  }
  const FileBytes expected = Encode(data).bytes;
  for (uint32_t size : {0u, 1u, 3u, 8u, 15u, 16u, 17u, 100u}) {
    const Encoded encoded = Encode(data, false, size);
    EXPECT_EQ(expected, encoded.bytes) << size;
    EXPECT_EQ(expected.size(), encoded.counted);
  }
  TifPage page = {};
  ByteSink sink;
  LzwEncoder* encoder = nullptr;
  ASSERT_EQ(kResultOk, TIFLZWEncodeStart(&page, &encoder));
  FileBytes buffer(kLzwBufferSize);
  page.codecBuffer = buffer.data();
  page.codecBufferSize = kLzwBufferSize;
  TIFLZWEncode(&page, data.data(), static_cast<uint32_t>(data.size()), 1, encoder);
  TIFLZWEncodeEnd(&page, encoder);
  TIFLZWFreeEncoder(encoder);
  EXPECT_EQ(expected, sink.Bytes());
}

TEST(LzwEncoder, FullDiskIsNotNoticedAndItsBytesAreCounted) {
  TifPage page = {};
  FileBytes buffer(kLzwBufferSize);
  page.codecBuffer = buffer.data();
  page.codecBufferSize = kLzwBufferSize;
  ByteSink sink;
  sink.SetFull(true);
  LzwEncoder* encoder = nullptr;
  ASSERT_EQ(kResultOk, TIFLZWEncodeStart(&page, &encoder));
  std::mt19937 random(4);
  FileBytes data(200000);
  for (uint8_t& byte : data) {
    byte = static_cast<uint8_t>(random());
  }
  EXPECT_EQ(kResultOk, TIFLZWEncode(&page, data.data(), static_cast<uint32_t>(data.size()), 1, encoder));
  TIFLZWEncodeEnd(&page, encoder);
  TIFLZWFreeEncoder(encoder);
  const uint32_t counted = page.codecByteCount;
  EXPECT_EQ(Encode(data).bytes.size(), counted);
}

TEST(LzwEncoder, NoMemoryIsMinusOne) {
  KernelGuard guard;
  AllocFaults faults(1, FaultSpan::kFromThenOn);
  TifPage page = {};
  LzwEncoder* encoder = nullptr;
  EXPECT_EQ(kResultNoMemory, TIFLZWEncodeStart(&page, &encoder));
  EXPECT_EQ(nullptr, encoder);
}

TEST(LzwDecoder, OneCodeDecodesToOneByteAndIsRepeatedForWhoAsksForMore) {
  const FileBytes stream = CodeStream().Put({256, 77, 257}, 9).Bytes();
  Strip strip(stream);
  EXPECT_EQ(FileBytes(1, 77), strip.Take(1));
  EXPECT_EQ(FileBytes(9, 77), strip.Take(9));
  EXPECT_EQ(kResultOk, strip.Result());
}

TEST(LzwDecoder, CodeAbove257WithoutAClearIsCorrupt) {
  Strip strip(CodeStream().Put({258, 65}, 9).Pad(4).Bytes());
  strip.Take(4);
  EXPECT_EQ(kResultLzwOverflow, strip.Result());
}

TEST(LzwDecoder, EntryBehindAFirstByteWithoutAClearIsCorrupt) {
  // 65 makes entry 258 with no code in front of it; to walk that leaves the table.
  Strip strip(CodeStream().Put({65, 66, 258}, 9).Pad(4).Bytes());
  EXPECT_EQ(BytesOf("AB"), strip.Take(2));
  EXPECT_EQ(kResultOk, strip.Result());
  strip.Take(1);
  EXPECT_EQ(kResultLzwOverflow, strip.Result());
}

TEST(LzwDecoder, BytesWithoutAClearDecode) {
  Strip strip(CodeStream().Put({65, 66, 259, 257}, 9).Pad(4).Bytes());
  EXPECT_EQ(BytesOf("ABABAA"), strip.Take(6)); // 259 is the entry of A and B; 258 is the one with nothing in front
}

TEST(LzwDecoder, OldStyleStreamIsLeastSignificantBitFirstAndWidensOneCodeLater) {
  CodeStream stream(CodeStream::Order::kLsbFirst);
  stream.Put(256, 9);
  FileBytes expected;
  for (uint32_t i = 0; i < 300; ++i) {
    expected.push_back(static_cast<uint8_t>(i));
    // Behind 255 codes the next entry is 512, above the old-style threshold of 511.
    stream.Put(i % 256, i < 255 ? 9 : 10);
  }
  stream.Put(257, 10);
  ASSERT_EQ(0, stream.Bytes()[0]);
  ASSERT_EQ(1, stream.Bytes()[1] & 1);
  Strip strip(stream.Bytes());
  EXPECT_EQ(expected, strip.Take(300));
}

TEST(LzwDecoder, NewStyleStreamWidensAtEntry511) {
  CodeStream stream;
  stream.Put(256, 9);
  FileBytes expected;
  for (uint32_t i = 0; i < 300; ++i) {
    expected.push_back(static_cast<uint8_t>(i));
    stream.Put(i % 256, i < 254 ? 9 : 10);
  }
  stream.Put(257, 10);
  Strip strip(stream.Bytes());
  EXPECT_EQ(expected, strip.Take(300));
}

// Single bytes only, each of which makes an entry: behind 3837 of them the codes have outgrown 12 bits.
FileBytes StreamThatGrowsTo13Bits(FileBytes* bytes) {
  CodeStream stream;
  stream.Put(256, 9);
  uint32_t next = 258;
  uint32_t width = 9;
  for (uint32_t i = 0; i < 4100; ++i) {
    const uint32_t byte = i * 7 % 256;
    bytes->push_back(static_cast<uint8_t>(byte));
    stream.Put(byte, width);
    next += i == 0 ? 0 : 1;
    width = next > 4094 ? 13 : next > 2046 ? 12 : next > 1022 ? 11 : next > 510 ? 10 : 9;
  }
  stream.Put(257, 13);
  return stream.Bytes();
}

TEST(LzwDecoder, CodesOf13BitsDecodeWithTheOption) {
  FileBytes bytes;
  Strip strip(StreamThatGrowsTo13Bits(&bytes), 0, kReadLzw13Bit);
  EXPECT_EQ(bytes, strip.Take(4100));
}

TEST(LzwDecoder, CodesStayAt12BitsWithoutTheOption) {
  FileBytes bytes;
  Strip strip(StreamThatGrowsTo13Bits(&bytes));
  const uint32_t sound = 3838; // the codes of up to 12 bits
  FileBytes out = strip.Take(sound);
  bytes.resize(sound);
  EXPECT_EQ(bytes, out);
  EXPECT_EQ(sound * 7 % 256 / 2, strip.Take(1)[0]); // the first 12 of 13 bits
}

TEST(LzwDecoder, RequestsThatEndWithinAStringGiveTheSameBytesAsOneLargeOne) {
  FileBytes data;
  for (uint32_t i = 0; i < 30000; ++i) {
    data.push_back(static_cast<uint8_t>(i % 700 < 650 ? 5 : i * i / 7));
  }
  const FileBytes stream = Encode(data).bytes;
  for (uint32_t request : {1u, 2u, 3u, 7u, 64u, 311u, 1000u, 29999u, 30000u}) {
    Strip strip(stream);
    FileBytes all;
    while (all.size() < data.size()) {
      const FileBytes part = strip.Take(std::min(request, static_cast<uint32_t>(data.size() - all.size())));
      all.insert(all.end(), part.begin(), part.end());
    }
    EXPECT_EQ(data, all) << request;
  }
}

TEST(LzwDecoder, SecondClearRightBehindTheFirstIsData) {
  Strip strip(CodeStream().Put({256, 256, 65, 258, 257}, 9).Pad(4).Bytes());
  // 256 is taken for the byte 0; entry 258 continues it by 65, and its walk ends at byte 0.
  EXPECT_EQ((FileBytes{0, 65, 0, 0, 65}), strip.Take(5));
  EXPECT_EQ(kResultOk, strip.Result());
}

TEST(LzwDecoder, EndRightBehindAClearEndsTheRequest) {
  Strip strip(CodeStream().Put({256, 9, 256, 257, 256, 10}, 9).Pad(4).Bytes());
  EXPECT_EQ((FileBytes{9, 9, 9}), strip.Take(3)); // filled up
  EXPECT_EQ((FileBytes{10}), strip.Take(1));      // the next request reads on behind the end
}

TEST(LzwDecoder, LoopOfAnEntryOnItselfEnds) {
  // 260 is not there when it comes, nor is it the next: it becomes the code in front of entry 259, and then entry 260
  // is made of itself.
  Strip strip(CodeStream().Put({256, 65, 260, 261, 260, 260, 257}, 9).Pad(8).Bytes());
  const FileBytes out = strip.Take(40);
  EXPECT_EQ(kResultOk, strip.Result());
  EXPECT_EQ((FileBytes{65, 65, 65}), FileBytes(out.begin(), out.begin() + 3));
}

TEST(LzwDecoder, CodeFarAboveTheTableIsTheStringBeforeAndItsFirstByte) {
  Strip strip(CodeStream().Put({256, 65, 66, 500}, 9).Pad(8).Bytes());
  EXPECT_EQ(BytesOf("ABBB"), strip.Take(4));
}

TEST(LzwDecoder, EarlyEndIsFilledWithTheFirstByteOfTheLatestString) {
  Strip strip(CodeStream().Put({256, 65, 66, 258, 257}, 9).Pad(2).Bytes());
  EXPECT_EQ(BytesOf("ABABAAAA"), strip.Take(8));
  EXPECT_EQ(kResultOk, strip.Result());
}

TEST(LzwDecoder, NoByteAtAllIsFilledWith255) {
  Strip strip(CodeStream().Put({256, 257}, 9).Pad(4).Bytes());
  EXPECT_EQ(FileBytes(5, 255), strip.Take(5));
  EXPECT_EQ(kResultOk, strip.Result());
}

TEST(LzwDecoder, TheLast11BitsAreNeverACode) {
  // 27 bits of codes in 4 bytes leave 5: the third code begins at bit 18, with 14 left; a fourth at 27 is not read.
  Strip strip(CodeStream().Put({256, 65, 66}, 9).Bytes());
  EXPECT_EQ(BytesOf("ABBB"), strip.Take(4));
  // 21 bits used, 3 left, in a strip cut to 3 bytes: the code at bit 18 has 6 bits there.
  const FileBytes cut = CodeStream().Put({256, 65}, 9).Bytes();
  ASSERT_EQ(3u, cut.size());
  Strip shorter(cut);
  EXPECT_EQ(BytesOf("AA"), shorter.Take(2)); // code 65 at bit 9, with 15 bits left
}

TEST(LzwDecoder, StripsUnderTwoBytesAndUnreadableOnesAreMinus7AndFreeTheDecoder) {
  KernelGuard guard;
  EXPECT_EQ(kResultReadFailed, Strip(FileBytes{0x80}).Start());
  EXPECT_EQ(kResultReadFailed, Strip(FileBytes{}, 100, 0, 0, 1).Start());
  EXPECT_EQ(kResultReadFailed, Strip(FileBytes(100, 0x80), 1, 0, 0, 1).Start());
  ByteSource source(FileBytes(100, 0x80));
  source.FailFrom(1);
  TifPage page = {};
  FileBytes buffer(100);
  page.codecBuffer = buffer.data();
  page.codecBufferSize = 100;
  LzwDecoder* decoder = nullptr;
  EXPECT_EQ(kResultReadFailed, TIFLZWDecodeStart(&page, &decoder, 5, 100));
  EXPECT_NE(nullptr, decoder); // freed, and the caller's pointer left as it was
}

TEST(LzwDecoder, NoMemoryIsMinusOne) {
  KernelGuard guard;
  AllocFaults faults(1, FaultSpan::kFromThenOn);
  ByteSource source(FileBytes(100, 0x80));
  TifPage page = {};
  FileBytes buffer(100);
  page.codecBuffer = buffer.data();
  page.codecBufferSize = 100;
  LzwDecoder* decoder = nullptr;
  EXPECT_EQ(kResultNoMemory, TIFLZWDecodeStart(&page, &decoder, 5, 100));
  EXPECT_EQ(nullptr, decoder);
}

TEST(LzwDecoder, BufferOfFourBytesCannotSlide) {
  const FileBytes stream = CodeStream().Put({256, 65, 66, 67, 68, 257}, 9).Pad(4).Bytes();
  Strip strip(stream, 4);
  EXPECT_EQ(BytesOf("ABBBB"), strip.Take(5)); // three codes begin at bit 20 or before
}

TEST(LzwDecoder, BufferOfFiveBytesTakesTheStripByteByByte) {
  const FileBytes stream = CodeStream().Put({256, 65, 66, 67, 68, 69, 70, 257}, 9).Pad(4).Bytes();
  Strip strip(stream, 5);
  EXPECT_EQ(BytesOf("ABCDEFFF"), strip.Take(8));
}

TEST(LzwDecoder, FillOrderTwoReversesTheFirstBlockOnly) {
  FileBytes stream = CodeStream().Put({256, 65, 66, 67, 68, 69, 70, 71, 72, 73, 257}, 9).Pad(4).Bytes();
  const FileBytes plain = stream;
  for (uint8_t& byte : stream) {
    uint8_t reversed = 0;
    for (int i = 0; i < 8; ++i) {
      reversed = static_cast<uint8_t>(reversed | ((byte >> i) & 1) << (7 - i));
    }
    byte = reversed;
  }
  EXPECT_EQ(BytesOf("ABCDEFGHI"), Strip(stream, 0, 0, 2).Take(9));
  // Through a buffer of 8 bytes the rest comes as it stands in the file.
  FileBytes mixed = plain;
  std::copy(stream.begin(), stream.begin() + 8, mixed.begin());
  EXPECT_EQ(BytesOf("ABCDEFGHI"), Strip(mixed, 8, 0, 2).Take(9));
}

TEST(LzwDecoder, RefillPastTheEndOfTheFileTakesTheStaleBytesAgain) {
  // The strip is said to have 24 bytes and the file has 12, the size of the buffer. The second block is asked for and
  // comes empty: what follows is the buffer again from its fifth byte on, behind the last four. The code at bit 90 is
  // made of the 6 bits left of the first turn and bits 32 to 34 of it again, which are 011; those behind it are the
  // lowest bit of one code and the upper eight of the next.
  CodeStream stream;
  stream.Put({256, 2, 4, 6, 8, 10, 12, 14, 16, 18}, 9); // 90 of 96 bits
  FileBytes bytes = stream.Bytes();
  bytes.resize(12, 0);
  Strip strip(bytes, 24, 12, 0, 1);
  EXPECT_EQ((FileBytes{2, 4, 6, 8, 10, 12, 14, 16, 18, 3, 4, 5, 6, 7, 8, 9}), strip.Take(16));
}

TEST(LzwDecoder, DecoderIsUsedAgainForTheNextStrip) {
  KernelGuard guard;
  const FileBytes first = Encode(BytesOf("abababababab")).bytes;
  const FileBytes second = Encode(BytesOf("xyzxyzxyz")).bytes;
  FileBytes both = first;
  both.insert(both.end(), second.begin(), second.end());
  ByteSource source(both);
  TifPage page = {};
  FileBytes buffer(100);
  page.codecBuffer = buffer.data();
  page.codecBufferSize = 100;
  LzwDecoder* decoder = nullptr;
  ASSERT_EQ(kResultOk, TIFLZWDecodeStart(&page, &decoder, 5, static_cast<uint32_t>(first.size())));
  FileBytes out(12);
  ASSERT_EQ(kResultOk, TIFLZWDecode(&page, out.data(), 12, 1, decoder));
  EXPECT_EQ(BytesOf("abababababab"), out);
  LzwDecoder* const same = decoder;
  ASSERT_EQ(kResultOk, TIFLZWDecodeStart(&page, &decoder, 5, static_cast<uint32_t>(second.size())));
  EXPECT_EQ(same, decoder);
  out.resize(9);
  ASSERT_EQ(kResultOk, TIFLZWDecode(&page, out.data(), 9, 1, decoder));
  EXPECT_EQ(BytesOf("xyzxyzxyz"), out);
  const uint32_t counted = page.codecByteCount;
  EXPECT_EQ(second.size(), counted);
  TIFLZWFreeDecoder(decoder);
}

} // namespace
