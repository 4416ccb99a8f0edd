// Rows of the one- and two-dimensional schemes: each code word of the standards, each mode, and agreement with the
// plain decoder on streams of any kind.

#include <gtest/gtest.h>

#include <set>

#include "FaxCodes.h"
#include "FaxRowDecoder.h"
#include "FaxRowEncoder.h"
#include "FaxRuns.h"
#include "fax/FaxTestPages.h"
#include "fax/PlainFaxRows.h"

namespace {

// A row in the codec's form, and a stream in memory with its padding.
struct ChangeRow {
  std::vector<int32_t> memory;
  FaxChanges changes{};

  explicit ChangeRow(int32_t width) : memory(static_cast<size_t>(width) + kFaxChangeSlack) {
    changes.at = memory.data();
    FaxSetSentinels(changes, width);
  }
  ChangeRow(const std::string& pixels) : ChangeRow(static_cast<int32_t>(pixels.size())) {
    std::vector<uint8_t> bytes = BytesOfBits(pixels);
    bytes.resize(FaxFillBytes(static_cast<int32_t>(pixels.size())), 0xFF);
    FaxFindChanges(bytes.data(), static_cast<int32_t>(pixels.size()), &changes);
  }
  std::string Pixels(int32_t width) const {
    std::vector<uint8_t> bytes(FaxFillBytes(width), 0xFF);
    FaxFillRow(bytes.data(), width, changes);
    return BitsOfBytes(bytes).substr(0, static_cast<size_t>(width));
  }
};

struct Decoded {
  std::string pixels;
  FaxRowState state;
  int64_t position;
};

struct PaddedStream {
  std::vector<uint8_t> bytes;
  size_t size;
  explicit PaddedStream(std::string_view bits) : bytes(BytesOfBits(bits)), size(bytes.size()) {
    bytes.resize(size + kFaxReaderPadding);
  }
};

Decoded Decode(const PaddedStream& stream, int64_t position, int32_t width, const std::string* reference) {
  FaxBitReader reader = FaxBitReaderAt(stream.bytes.data() + position / 8, stream.bytes.data() + stream.size);
  FaxRefill(reader);
  FaxTake(reader, static_cast<uint32_t>(position % 8));
  ChangeRow row(width);
  Decoded decoded{};
  if (reference == nullptr) {
    decoded.state = FaxDecodeRow1D(&reader, width, &row.changes);
  } else {
    const ChangeRow above(*reference);
    decoded.state = FaxDecodeRow2D(&reader, width, above.changes, &row.changes);
  }
  decoded.pixels = row.Pixels(width);
  decoded.position = static_cast<int64_t>(stream.size) * 8 - FaxBitsLeft(reader);
  for (size_t i = 1; i < row.changes.count; ++i) {
    EXPECT_LT(row.changes.at[i - 1], row.changes.at[i]);
  }
  for (int i = 0; i < kFaxSentinels; ++i) {
    EXPECT_EQ(row.changes.at[row.changes.count + static_cast<size_t>(i)], width);
  }
  return decoded;
}

Decoded Decode1D(std::string_view bits, int32_t width) {
  return Decode(PaddedStream(bits), 0, width, nullptr);
}

Decoded Decode2D(std::string_view bits, const std::string& reference) {
  return Decode(PaddedStream(bits), 0, static_cast<int32_t>(reference.size()), &reference);
}

std::string Pixels(std::initializer_list<int> runs) {
  std::string pixels;
  char colour = '0';
  for (const int run : runs) {
    pixels += std::string(static_cast<size_t>(run), colour);
    colour = colour == '0' ? '1' : '0';
  }
  return pixels;
}

template <size_t kCodes> void AddWords(std::vector<std::string>& words, const FaxCode (&codes)[kCodes]) {
  for (const FaxCode& code : codes) {
    words.emplace_back(code.word);
  }
}

// No word begins another, none is contained in an end of line, and the words of a colour leave no more of the code
// space than the words that begin with the 7 zeros of extensions.
TEST(FaxCodes, WordsOfAColourArePrefixFree) {
  for (const bool black : {false, true}) {
    std::vector<std::string> words = {kFaxEndOfLine};
    if (black) {
      AddWords(words, kFaxBlackTerminating);
      AddWords(words, kFaxBlackMakeUp);
    } else {
      AddWords(words, kFaxWhiteTerminating);
      AddWords(words, kFaxWhiteMakeUp);
    }
    AddWords(words, kFaxExtendedMakeUp);
    ASSERT_EQ(words.size(), 1u + 64 + 27 + 13);
    for (const std::string& a : words) {
      for (const std::string& b : words) {
        EXPECT_TRUE(&a == &b || b.compare(0, a.size(), a) != 0) << a << " begins " << b;
      }
    }
  }
}

TEST(FaxCodes, RunsOfTheTablesAreInOrder) {
  for (int i = 0; i < 64; ++i) {
    EXPECT_EQ(kFaxWhiteTerminating[i].run, i);
    EXPECT_EQ(kFaxBlackTerminating[i].run, i);
  }
  for (int i = 0; i < 27; ++i) {
    EXPECT_EQ(kFaxWhiteMakeUp[i].run, 64 * (i + 1));
    EXPECT_EQ(kFaxBlackMakeUp[i].run, 64 * (i + 1));
  }
  for (int i = 0; i < 13; ++i) {
    EXPECT_EQ(kFaxExtendedMakeUp[i].run, 1792 + 64 * i);
  }
}

// A white run, then black to the edge: the run's words are one table row, or a make-up row and a terminating row.
TEST(FaxRow1D, EveryWhiteRunOfTheTables) {
  for (int run = 0; run < 2560 + 64; ++run) {
    const std::string bits = PlainRunWords(run, false) + "010";
    const Decoded row = Decode1D(bits, run + 1);
    ASSERT_EQ(row.state, kFaxRowWhole) << run;
    ASSERT_EQ(row.pixels, Pixels({run, 1})) << run;
    ASSERT_EQ(row.position, static_cast<int64_t>(bits.size())) << run;
  }
}

TEST(FaxRow1D, EveryBlackRunOfTheTables) {
  for (int run = 1; run < 2560 + 64; ++run) {
    const std::string bits = "000111" + PlainRunWords(run, true) + "000111";
    const Decoded row = Decode1D(bits, run + 2);
    ASSERT_EQ(row.state, kFaxRowWhole) << run;
    ASSERT_EQ(row.pixels, Pixels({1, run, 1})) << run;
    ASSERT_EQ(row.position, static_cast<int64_t>(bits.size())) << run;
  }
}

TEST(FaxRow1D, RunsLongerThanTheLongestMakeUpCode) {
  for (const int run : {2624, 5120, 5183, 7680, 100000, 200000}) {
    const Decoded row = Decode1D(PlainRunWords(run, false) + PlainRunWords(run, true), 2 * run);
    EXPECT_EQ(row.state, kFaxRowWhole);
    EXPECT_EQ(row.pixels, Pixels({run, run}));
  }
}

TEST(FaxRow1D, WordsByHand) {
  // white 4 = 1011, black 3 = 10, white 1 = 000111
  EXPECT_EQ(Decode1D("1011 10 000111", 8).pixels, "00001110");
  // white 0 = 00110101, black 8 = 000101
  EXPECT_EQ(Decode1D("00110101 000101", 8).pixels, "11111111");
  // white 1728 = 010011011 + 0 = 00110101: a blank row of a 1728-pixel page
  EXPECT_EQ(Decode1D("010011011 00110101", 1728).pixels, std::string(1728, '0'));
}

TEST(FaxRow1D, RunOfNoneWithinARowJoinsItsNeighbours) {
  // white 2 = 0111, black 0 = 0000110111, white 2, black 4 = 011
  const Decoded row = Decode1D("0111 0000110111 0111 011", 8);
  EXPECT_EQ(row.pixels, "00001111");
  EXPECT_EQ(row.state, kFaxRowWhole);
}

TEST(FaxRow1D, LastRunTooLongIsCut) {
  const Decoded row = Decode1D("0111 000101", 8); // white 2, black 8
  EXPECT_EQ(row.pixels, "00111111");
  EXPECT_EQ(row.state, kFaxRowOverrun);
  EXPECT_EQ(row.position, 10);
}

TEST(FaxRow1D, SumOfMakeUpCodesNeverOverflows) {
  std::string bits;
  for (int i = 0; i < 20000; ++i) {
    bits += "000000011111";
  }
  const Decoded row = Decode1D(bits + "00110101", 100);
  EXPECT_EQ(row.state, kFaxRowOverrun);
  EXPECT_EQ(row.pixels, std::string(100, '0'));
}

TEST(FaxRow1D, DamageKeepsWhatWasDecoded) {
  const Decoded row = Decode1D("0111 10 00000000 1", 16); // white 2, black 3, no word
  EXPECT_EQ(row.state, kFaxRowDamaged);
  EXPECT_EQ(row.pixels, "0011100000000000");
  EXPECT_EQ(row.position, 6);
}

TEST(FaxRow1D, StreamThatEndsWithinARow) {
  EXPECT_EQ(Decode1D("0111 10", 16).pixels, "0011100000000000");
  EXPECT_EQ(Decode1D("0111 10", 16).state, kFaxRowDamaged);
  EXPECT_EQ(Decode1D("", 16).state, kFaxRowDamaged);
}

TEST(FaxRow1D, UncompressedMode) {
  // white 2, black 1 = 010; then the entrance, 1 / 01 / 000001, exit after two white pixels with black to follow,
  // black 3 = 10
  const Decoded row = Decode1D("0111 010 000000001111 1 01 000001 000000001 1 10", 16);
  EXPECT_EQ(row.state, kFaxRowWhole);
  EXPECT_EQ(row.pixels, "0011010000000111");
}

struct ModeCase {
  const char* name;
  const char* reference;
  const char* bits;
  const char* pixels;
  FaxRowState state;
};

class FaxRow2DModes : public testing::TestWithParam<ModeCase> {};

TEST_P(FaxRow2DModes, Decodes) {
  const ModeCase& mode = GetParam();
  const Decoded row = Decode2D(mode.bits, mode.reference);
  EXPECT_EQ(row.pixels, mode.pixels);
  EXPECT_EQ(row.state, mode.state);
}

INSTANTIATE_TEST_SUITE_P(
    Modes, FaxRow2DModes,
    testing::Values(
        ModeCase{"BlankBelowBlank", "0000000000000000", "1", "0000000000000000", kFaxRowWhole},
        ModeCase{"Vertical0", "0000111100000000", "1 1 1", "0000111100000000", kFaxRowWhole},
        ModeCase{"VerticalRight1", "0000111100000000", "011 1 1", "0000011100000000", kFaxRowWhole},
        ModeCase{"VerticalRight2", "0000111100000000", "000011 1 1", "0000001100000000", kFaxRowWhole},
        ModeCase{"VerticalRight3", "0000111100000000", "0000011 1 1", "0000000100000000", kFaxRowWhole},
        ModeCase{"VerticalLeft1", "0000111100000000", "010 1 1", "0001111100000000", kFaxRowWhole},
        ModeCase{"VerticalLeft2", "0000111100000000", "000010 1 1", "0011111100000000", kFaxRowWhole},
        ModeCase{"VerticalLeft3", "0000111100000000", "0000010 1 1", "0111111100000000", kFaxRowWhole},
        ModeCase{"Pass", "0000111100000000", "0001 1", "0000000000000000", kFaxRowWhole},
        // pass over the first group, then the second one
        ModeCase{"PassThenVertical", "0011000000110000", "0001 1 1 1", "0000000000110000", kFaxRowWhole},
        // white 6 = 1110, black 4 = 011, then to the edge
        ModeCase{"Horizontal", "0000000000000000", "001 1110 011 1", "0000001111000000", kFaxRowWhole},
        // black 3 = 10, white 2 = 0111 when the current colour is black; nothing above ends the black that follows
        ModeCase{"HorizontalFromBlack", "1000000000000000", "1 001 10 0111 1", "1110011111111111", kFaxRowWhole},
        ModeCase{"HorizontalFirstRunNone", "0000000000000000", "001 00110101 011 1", "1111000000000000", kFaxRowWhole},
        ModeCase{"BlackFirstPixelFromReference", "1111000000000000", "1 1 1", "1111000000000000", kFaxRowWhole},
        // b1 is looked for to the right of a0 only: VR3 moves past the end of a short run
        ModeCase{"VerticalRightPastShortRun", "0010010000000000", "0000011 1 1", "0000010000000000", kFaxRowWhole},
        // white 1, black 1; then VL3 from 8 makes the change at 6, which was behind b1, the next b1
        ModeCase{"VerticalLeftBeforeShortRun", "0011110010000000", "001 000111 010 0000010 1 1 1 1", "0100010010000000",
                 kFaxRowWhole},
        // pass to 5, then VL3 to 4
        ModeCase{"VerticalLeftOfA0", "0000100110000000", "0001 0000010 1", "0000000000000000", kFaxRowDamaged},
        ModeCase{"BlackToTheEdge", "0000000000000000", "001 1011 0000111", "0000111111111111", kFaxRowWhole},
        ModeCase{"VerticalLeftOfTheEdge", "0000000000000000", "010 1", "0000000000000001", kFaxRowWhole},
        ModeCase{"VerticalLeftOfThePage", "1000000000000000", "010", "0000000000000000", kFaxRowDamaged},
        ModeCase{"NoWord", "0000111100000000", "1 0000000 1", "0000000000000000", kFaxRowDamaged},
        ModeCase{"UnknownExtension", "0000111100000000", "1 1 0000001000 1", "0000111100000000", kFaxRowDamaged},
        ModeCase{"EndsInBlack", "0000111100000000", "1 0001 ", "0000111111111111", kFaxRowWhole},
        ModeCase{"DamageInBlackKeepsNothingUnknown", "0000111100000000", "1", "0000000000000000", kFaxRowDamaged},
        // 1, 001, 00001, 000001, exit with white to follow, then vertical modes
        ModeCase{"Uncompressed", "0000000000000000", "0000001111 1 001 00001 000001 0000001 0 1", "1001000010000000",
                 kFaxRowWhole},
        ModeCase{"UncompressedToTheEdge", "0000000000000000", "0000001111 000001 000001 00001 1 0000001 0",
                 "0000000000000011", kFaxRowWhole},
        ModeCase{"UncompressedDamaged", "0000000000000000", "0000001111 1 00000000000 1", "1000000000000000",
                 kFaxRowDamaged}),
    [](const auto& test) { return test.param.name; });

// A horizontal mode always has two runs: behind black 16 to the edge stands white 0.
TEST(FaxRow2D, SecondRunBehindTheEdgeIsTaken) {
  const Decoded row = Decode2D("1 001 0000010111 00110101", "1000000000000000");
  EXPECT_EQ(row.state, kFaxRowWhole);
  EXPECT_EQ(row.pixels, std::string(16, '1'));
  EXPECT_EQ(row.position, 22);
}

TEST(FaxRow2D, LongRunsOfVerticalZeros) {
  std::string reference;
  for (int i = 0; i < 400; ++i) {
    reference += "00111";
  }
  for (const int missing : {0, 1, 63, 64, 65, 400}) {
    const int kept = 800 - missing; // of 800 changes, the last being the edge
    const std::string bits = std::string(static_cast<size_t>(kept), '1');
    const Decoded row = Decode2D(bits, reference);
    EXPECT_EQ(row.state, missing == 0 ? kFaxRowWhole : kFaxRowDamaged) << missing;
    EXPECT_EQ(row.position, kept);
    const auto sure = static_cast<size_t>(kept / 2 * 5);
    EXPECT_EQ(row.pixels.substr(0, sure), reference.substr(0, sure));
  }
}

// Streams of random words and of random bits: state, pixels and position agree with the plain decoder's.
void CompareWithPlain(const std::string& bits, int32_t width, const std::string& reference) {
  const PaddedStream stream(bits);
  for (const bool twoDimensional : {false, true}) {
    for (const int64_t position : {int64_t{0}, int64_t{3}}) {
      const PlainRow plain = twoDimensional ? PlainDecode2D(bits, static_cast<size_t>(position), width, reference)
                                            : PlainDecode1D(bits, static_cast<size_t>(position), width);
      const Decoded fast = Decode(stream, position, width, twoDimensional ? &reference : nullptr);
      ASSERT_EQ(fast.pixels, plain.pixels) << bits << " below " << reference << " 2D " << twoDimensional;
      ASSERT_EQ(static_cast<int>(fast.state), static_cast<int>(plain.state)) << bits << " below " << reference;
      if (plain.position <= stream.size * 8) {
        ASSERT_EQ(fast.position, static_cast<int64_t>(plain.position)) << bits << " below " << reference;
      }
    }
  }
}

std::string RandomRow(TestRandom& random, int32_t width) {
  const uint32_t longest = 1u << random.Below(7);
  std::string row;
  while (static_cast<int32_t>(row.size()) < width) {
    row += std::string(1 + random.Below(longest), row.empty() || row.back() == '1' ? '0' : '1');
  }
  row.resize(static_cast<size_t>(width));
  if (random.Below(2) != 0) {
    for (char& pixel : row) {
      pixel = pixel == '0' ? '1' : '0';
    }
  }
  return row;
}

// Words of the schemes in any order, with a chance that grows with `wildness` that they make no sense.
std::string RandomWords(TestRandom& random, uint32_t wildness) {
  std::string bits;
  for (uint32_t i = 0; i < 40; ++i) {
    switch (random.Below(8 + wildness)) {
    case 0:
      bits += "001";
      bits += PlainRunWords(static_cast<int>(random.Below(30)), random.Below(2) != 0) +
              PlainRunWords(static_cast<int>(random.Below(30)), random.Below(2) != 0);
      break;
    case 1:
      bits += "0001";
      break;
    case 2:
    case 3:
    case 4:
    case 5:
      bits += kFaxModeCodes[random.Below(10)].word;
      break;
    case 6:
      bits += random.Below(20) == 0 ? "0000001111 1 01 000001 00000001 1" : "1";
      break;
    case 7:
      bits += PlainRunWords(static_cast<int>(random.Below(20)), false) +
              PlainRunWords(static_cast<int>(random.Below(10)), true);
      break;
    default:
      bits += random.Below(2) != 0 ? "0" : "1";
    }
  }
  return BitsOfBytes(BytesOfBits(bits));
}

TEST(FaxRowsAgainstPlain, RandomStreams) {
  TestRandom random(20240611);
  for (int i = 0; i < 30000; ++i) {
    const auto width = static_cast<int32_t>(1 + random.Below(random.Below(4) == 0 ? 300 : 70));
    CompareWithPlain(RandomWords(random, random.Below(6)), width, RandomRow(random, width));
    if (HasFatalFailure()) {
      FAIL() << "stream " << i;
    }
  }
}

TEST(FaxRowsAgainstPlain, EncodedRowsAreThePlainOnes) {
  TestRandom random(77);
  for (int i = 0; i < 3000; ++i) {
    const auto width = static_cast<int32_t>(1 + random.Below(i % 100 == 0 ? 9000 : 200));
    const std::string pixels = RandomRow(random, width);
    std::string reference = RandomRow(random, width);
    if (random.Below(2) != 0) {
      reference = pixels;
      for (uint32_t n = random.Below(8); n > 0; --n) {
        char& pixel = reference[random.Below(static_cast<uint32_t>(width))];
        pixel = pixel == '0' ? '1' : '0';
      }
    }
    const ChangeRow row(pixels);
    const ChangeRow above(reference);
    std::vector<uint8_t> buffer(2 * FaxLongestRowCode(width) + 16);
    FaxBitWriter writer{buffer.data(), 0, 0};
    FaxEncodeRow1D(&writer, width, row.changes);
    FaxEncodeRow2D(&writer, width, above.changes, row.changes);
    FaxAlign(writer);
    buffer.resize(static_cast<size_t>(writer.next - buffer.data()));
    const std::string words = PlainEncode1D(pixels) + PlainEncode2D(pixels, reference);
    ASSERT_EQ(buffer, BytesOfBits(words)) << pixels << " below " << reference;
  }
}

TEST(FaxRuns, ChangesAndBitsAreTheSameRow) {
  TestRandom random(5);
  for (int32_t width = 1; width < 300; ++width) {
    for (int i = 0; i < 4; ++i) {
      const std::string pixels = RandomRow(random, width);
      ASSERT_EQ(ChangeRow(pixels).Pixels(width), pixels);
      const int32_t less = 1 + static_cast<int32_t>(random.Below(static_cast<uint32_t>(width)));
      ASSERT_EQ(ChangeRow(pixels).Pixels(less), pixels.substr(0, static_cast<size_t>(less)));
    }
  }
}

} // namespace
