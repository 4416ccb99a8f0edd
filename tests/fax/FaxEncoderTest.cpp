// faxEncodeStart and faxEncodeRows: bytes worked out by hand, framing of each mode, rows of view 4, inversion, tiles,
// stored pieces, faults.

#include <gtest/gtest.h>

#include "fax/FaxTestHost.h"
#include "fax/PlainFaxRows.h"
#include "support/KernelGuard.h"

namespace {

const std::string kEol = "000000000001";

std::vector<uint8_t> EncodedBytes(const TestPage& page, FaxEncodeCall call) {
  const FaxEncoded encoded = EncodeFax(page, call);
  EXPECT_EQ(encoded.result, 1);
  EXPECT_EQ(encoded.file.byteCounts[0], encoded.file.bytes.size());
  return encoded.file.bytes;
}

FaxEncodeCall Mode(uint32_t mode, uint32_t t4Options = 0) {
  FaxEncodeCall call;
  call.mode = mode;
  call.t4Options = t4Options;
  return call;
}

const TestPage kThreeRows = PageOfRows({"0000111000000000", "0000011000000000", "1111111111111111"});

TEST(FaxEncoder, ModifiedHuffmanByHand) {
  // white 4 1011, black 3 10, white 9 10100; white 5 1100, black 2 11, white 9; white 0 00110101, black 16 0000010111
  EXPECT_EQ(EncodedBytes(kThreeRows, Mode(kFaxModifiedHuffman)),
            BytesOfBits("1011 10 10100 00000  1100 11 10100 00000  00110101 0000010111 000000"));
}

TEST(FaxEncoder, T4OneDimensionalByHand) {
  EXPECT_EQ(EncodedBytes(kThreeRows, Mode(kFaxT4OneDimensional)),
            BytesOfBits(kEol + "1011 10 10100" + kEol + "1100 11 10100" + kEol + "00110101 0000010111"));
}

TEST(FaxEncoder, EndOfLinesOnBytes) {
  // Fill goes before each code so that its last bit ends a byte: 4 zeros, then rows of 11, 11 and 18 bits.
  EXPECT_EQ(EncodedBytes(kThreeRows, Mode(kFaxT4OneDimensional, 4)),
            BytesOfBits("0000" + kEol + "1011 10 10100 0" + kEol + "1100 11 10100 0" + kEol + "00110101 0000010111"));
}

TEST(FaxEncoder, EndOfLinesOnBytesWithTags) {
  FaxEncodeCall call = Mode(kFaxT4TwoDimensional, 5);
  call.yResolution = 98; // K = 2
  // Row 2: VR1, V0, V0. Row 3 is one-dimensional again.
  EXPECT_EQ(EncodedBytes(kThreeRows, call), BytesOfBits("0000" + kEol + "1 1011 10 10100" + kEol + "0 011 1 1 000000" +
                                                        kEol + "1 00110101 0000010111"));
}

TEST(FaxEncoder, ParameterKFollowsTheResolution) {
  const TestPage page = MakePage(PageKind::kText, 64, 9, 2);
  for (const int32_t resolution : {0, 98, 149, 150, 196, 600}) {
    const int parameterK = resolution < 150 ? 2 : 4;
    FaxEncodeCall call = Mode(kFaxT4TwoDimensional);
    call.yResolution = resolution;
    std::string bits;
    for (int32_t y = 0; y < page.height; ++y) {
      const bool oneDimensional = y % parameterK == 0;
      bits += kEol;
      bits += oneDimensional ? "1" : "0";
      bits += oneDimensional ? PlainEncode1D(page.Row(y)) : PlainEncode2D(page.Row(y), page.Row(y - 1));
    }
    EXPECT_EQ(EncodedBytes(page, call), BytesOfBits(bits)) << resolution;
  }
}

TEST(FaxEncoder, T6ByHand) {
  // H 001 white 4 black 3, V0; VR1 011, V0, V0; the black row: VL needs 5, so H white 0 black 16
  EXPECT_EQ(EncodedBytes(kThreeRows, Mode(kFaxT6)),
            BytesOfBits("001 1011 10 1  011 1 1  001 00110101 0000010111" + kEol + kEol));
}

TEST(FaxEncoder, FillOrder2ReversesEachByte) {
  for (const uint32_t mode : {kFaxModifiedHuffman, kFaxT4OneDimensional, kFaxT4TwoDimensional, kFaxT6}) {
    FaxEncodeCall call = Mode(mode);
    const std::vector<uint8_t> plain = EncodedBytes(kThreeRows, call);
    call.fillOptions = kFaxFillReverseBits;
    EXPECT_EQ(EncodedBytes(kThreeRows, call), ReversedBits(plain));
    call.fillOptions = kFaxFillReserved;
    EXPECT_EQ(EncodedBytes(kThreeRows, call), plain);
  }
}

TEST(FaxEncoder, View4GoesFromTheLastRow) {
  FaxEncodeCall call = Mode(kFaxT6);
  const std::vector<uint8_t> plain = EncodedBytes(kThreeRows, call);
  call.view = 4;
  EXPECT_EQ(EncodedBytes(UpsideDown(kThreeRows), call), plain);
}

TEST(FaxEncoder, BlackFirstRowsAreInvertedWhereAsked) {
  TestPage inverse = kThreeRows;
  for (uint8_t& byte : inverse.rows) {
    byte = static_cast<uint8_t>(~byte);
  }
  FaxEncodeCall call = Mode(kFaxT6);
  const std::vector<uint8_t> plain = EncodedBytes(kThreeRows, call);
  call.invertBlackFirst = true;
  EXPECT_EQ(EncodedBytes(kThreeRows, call), plain); // white first
  call.blackFirst = true;
  EXPECT_EQ(EncodedBytes(inverse, call), plain);
  call.invertBlackFirst = false;
  EXPECT_EQ(EncodedBytes(kThreeRows, call), plain);
}

TEST(FaxEncoder, PiecesOfAStripPage) {
  FaxEncodeCall call = Mode(kFaxT6);
  call.tileHeight = 2;
  const FaxEncoded encoded = EncodeFax(kThreeRows, call);
  ASSERT_EQ(encoded.result, 1);
  const std::vector<uint8_t> first = BytesOfBits("001 1011 10 1  011 1 1" + kEol + kEol);
  const std::vector<uint8_t> second = BytesOfBits("001 00110101 0000010111" + kEol + kEol); // short, by itself
  std::vector<uint8_t> both = first;
  both.insert(both.end(), second.begin(), second.end());
  EXPECT_EQ(encoded.file.bytes, both);
  EXPECT_EQ(encoded.file.byteCounts,
            (std::vector<uint32_t>{static_cast<uint32_t>(first.size()), static_cast<uint32_t>(second.size())}));
  EXPECT_EQ(encoded.fetches, 3u);
}

TEST(FaxEncoder, TilesAreFilledUpWithWhite) {
  TestPage page(20, 3);
  page.Fill(15, 20, 0, true);
  FaxEncodeCall call = Mode(kFaxModifiedHuffman);
  call.tileWidth = 16;
  call.tileHeight = 4;
  const FaxEncoded encoded = EncodeFax(page, call);
  // Left tile: white 15 110101, black 1 010; three white rows of 16, 101010. Right tile: black 4 behind white 0, white
  // 12 001000.
  const std::string white = "101010 00";
  EXPECT_EQ(encoded.file.bytes, BytesOfBits("110101 010 0000000" + white + white + white +
                                            "00110101 011 001000 0000000" + white + white + white));
  EXPECT_EQ(encoded.file.byteCounts, (std::vector<uint32_t>{5, 6}));
  EXPECT_EQ(encoded.fetches, 3u); // the band's rows are shared
}

TEST(FaxEncoder, TilesTooHighToKeepFetchTheirRowsAgain) {
  constexpr int32_t kRowBytes = 4096;
  constexpr int32_t kHeight = 33 * 1024 * 1024 / kRowBytes;
  FaxEncodeCall call = Mode(kFaxT6);
  call.tileWidth = 4 * kRowBytes;
  call.tileHeight = kHeight;
  const FaxEncoded encoded = EncodeFax(TestPage(8 * kRowBytes, kHeight), call);
  EXPECT_EQ(encoded.result, 1);
  EXPECT_EQ(encoded.fetches, 2u * kHeight);
  EXPECT_EQ(encoded.file.byteCounts, (std::vector<uint32_t>(2, kHeight / 8 + 3)));
}

TEST(FaxEncoder, PiecesThatDoNotShrinkAreStored) {
  TestPage page(64, 48);
  const TestPage noise = MakePage(PageKind::kNoise, 64, 48, 6);
  for (int32_t y = 16; y < 32; ++y) {
    for (int32_t x = 0; x < 64; ++x) {
      page.Set(x, y, noise.At(x, y));
    }
  }
  FaxEncodeCall call = Mode(kFaxT6);
  call.tileHeight = 16;
  call.marks = true;
  FaxEncoded encoded = EncodeFax(page, call);
  ASSERT_EQ(encoded.result, 1);
  EXPECT_EQ(encoded.file.marks, (std::vector<uint8_t>{0, 1, 0}));
  EXPECT_EQ(encoded.file.byteCounts, (std::vector<uint32_t>{5, 128, 5})); // 16 rows of V0 and the end of block
  const auto begin = encoded.file.bytes.begin() + 5;
  EXPECT_TRUE(std::equal(begin, begin + 128, page.rows.begin() + 128));
  call.fillOptions = kFaxFillReverseBits;
  EXPECT_EQ(EncodeFax(page, call).file.bytes, ReversedBits(encoded.file.bytes));
}

// The code of one row of 32 pixels with its end takes 4 bytes, as much as the row: it is stored.
TEST(FaxEncoder, CodeAsLongAsThePieceIsStored) {
  FaxEncodeCall call = Mode(kFaxT6);
  call.tileHeight = 1;
  call.marks = true;
  EXPECT_EQ(EncodeFax(TestPage(32, 1), call).file.marks[0], 1); // 1 + 24 bits are 4 bytes
  EXPECT_EQ(EncodeFax(TestPage(33, 1), call).file.marks[0], 0);
  EXPECT_EQ(EncodeFax(TestPage(24, 1), call).file.marks[0], 1);
}

TEST(FaxEncoder, RowServiceFailures) {
  const KernelGuard guard;
  for (const uint32_t tileWidth : {0u, 32u}) {
    FaxEncodeCall call = Mode(kFaxT6);
    call.tileWidth = tileWidth;
    call.tileHeight = 16;
    const TestPage page = MakePage(PageKind::kText, 90, 40, 1);
    for (const int32_t start : {0, -1, -33}) {
      call.startResult = start;
      const FaxEncoded encoded = EncodeFax(page, call);
      EXPECT_EQ(encoded.result, start);
      EXPECT_EQ(encoded.ends, 0u);
    }
    call.startResult = 7; // any value from 1 on is success
    EXPECT_EQ(EncodeFax(page, call).result, 1);
    for (const int32_t fetch : {1, 20, 40}) {
      call.failAtFetch = fetch;
      const FaxEncoded encoded = EncodeFax(page, call);
      EXPECT_EQ(encoded.result, -66);
      EXPECT_EQ(encoded.ends, 1u);
    }
  }
}

TEST(FaxEncoder, ShortWritesGiveTheWriteCode) {
  const KernelGuard guard;
  const TestPage page = MakePage(PageKind::kNoise, 2000, 500, 1);
  FaxEncodeCall call = Mode(kFaxT6);
  const auto size = static_cast<uint32_t>(EncodedBytes(page, call).size());
  for (const uint32_t room : {0u, 1u, 70000u, size - 1}) {
    call.room = room == 0 ? 1 : room;
    const FaxEncoded encoded = EncodeFax(page, call);
    EXPECT_EQ(encoded.result, kFaxResultWriteFailed);
    EXPECT_EQ(encoded.ends, 1u);
  }
  call.room = size;
  EXPECT_EQ(EncodeFax(page, call).result, 1);
}

TEST(FaxEncoder, FailedAllocations) {
  const KernelGuard guard;
  const TestPage page = MakePage(PageKind::kText, 90, 40, 1);
  for (const uint32_t tileWidth : {0u, 32u}) {
    FaxEncodeCall call = Mode(kFaxT6);
    call.tileWidth = tileWidth;
    call.tileHeight = 16;
    call.marks = true;
    uint64_t calls = 0;
    {
      const AllocFaults counter(0);
      EXPECT_EQ(EncodeFax(page, call).result, 1);
      calls = counter.Calls();
    }
    for (uint64_t n = 1; n <= calls; ++n) {
      const AllocFaults faults(n);
      const FaxEncoded encoded = EncodeFax(page, call);
      EXPECT_EQ(encoded.result, kFaxResultNoMemory) << n;
      EXPECT_EQ(encoded.ends, encoded.starts);
    }
  }
}

TEST(FaxEncoder, BadArguments) {
  FaxEncodeCall call = Mode(70);
  EXPECT_EQ(EncodeFax(kThreeRows, call).result, kFaxResultUnsupported);
  uint32_t bytes = 0;
  BitmapHandle bitmap;
  krnBitmapInit(&bitmap, kBitmapHandleSize, 8, 8, 1);
  const FaxRowSource none{};
  EXPECT_EQ(faxEncodeStart(&none, 0, &bitmap, 1, kFaxT6, 0, 0, 0, &bytes, 0, 0, 0), kFaxResultInvalid);
  EXPECT_EQ(faxEncodeStart(nullptr, 0, &bitmap, 1, kFaxT6, 0, 0, 0, &bytes, 0, 0, 0), kFaxResultInvalid);
  EXPECT_EQ(faxEncodeRows(&none, 0, &bitmap, nullptr, nullptr, 0, 1, kFaxT6, 0, 0, 0, 0, 0), kFaxResultInvalid);
  EXPECT_EQ(EncodeFax(TestPage(0, 5), Mode(kFaxT6)).result, kFaxResultInvalid);
  EXPECT_EQ(EncodeFax(TestPage(5, 0), Mode(kFaxT6)).result, kFaxResultInvalid);
}

} // namespace
