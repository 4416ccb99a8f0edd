// What stands between rows, and what damage does: end-of-line codes present or not, aligned or not, fill, tags, the
// ends of strips, and streams that were hurt at known places.

#include <chrono>

#include <gtest/gtest.h>

#include "fax/FaxTestHost.h"
#include "fax/PlainFaxRows.h"
#include "support/KernelGuard.h"

namespace {

const std::string kEol = "000000000001";

enum class EndOfLines { kNone, kBetween, kBefore };
enum class RowPlace { kAnywhere, kRowsOnBytes, kEndOfLinesOnBytes };

struct StreamForm {
  EndOfLines endOfLines = EndOfLines::kBefore;
  RowPlace place = RowPlace::kAnywhere;
  int parameterK = 0;    // 0: one-dimensional, no tags
  int endCodes = 0;      // end-of-line codes behind the last row
  uint32_t mostFill = 0; // zeros before end-of-line codes
};

void PutEndOfLine(std::string& bits, const StreamForm& form, TestRandom& random, const char* tag) {
  if (form.mostFill > 0) {
    bits += std::string(random.Below(form.mostFill + 1), '0');
  }
  while (form.place == RowPlace::kEndOfLinesOnBytes && (bits.size() + kEol.size()) % 8 != 0) {
    bits += '0';
  }
  bits += kEol;
  bits += tag;
}

std::string MakeStream(const TestPage& page, const StreamForm& form) {
  TestRandom random(static_cast<uint64_t>(page.width));
  std::string bits;
  for (int32_t y = 0; y < page.height; ++y) {
    const bool oneDimensional = form.parameterK == 0 || y % form.parameterK == 0;
    const char* tag = form.parameterK == 0 ? "" : oneDimensional ? "1" : "0";
    const bool first = y == 0 && form.endOfLines == EndOfLines::kBetween;
    if (form.endOfLines != EndOfLines::kNone && !first) {
      PutEndOfLine(bits, form, random, tag);
    } else {
      bits += tag;
    }
    const std::string above = y == 0 ? std::string(static_cast<size_t>(page.width), '0') : page.Row(y - 1);
    bits += oneDimensional ? PlainEncode1D(page.Row(y)) : PlainEncode2D(page.Row(y), above);
    while (form.place == RowPlace::kRowsOnBytes && bits.size() % 8 != 0) {
      bits += '0';
    }
  }
  for (int i = 0; i < form.endCodes; ++i) {
    PutEndOfLine(bits, form, random, form.parameterK == 0 ? "" : "1");
  }
  return bits;
}

FaxDecoded DecodeStream(std::string_view bits, uint32_t format, int32_t width, int32_t height) {
  FaxDecodeCall call;
  call.format = format;
  call.width = width;
  call.height = height;
  call.rowsPerStrip = static_cast<uint32_t>(height);
  return DecodeFax(BytesOfBits(bits), call);
}

void ExpectDecodes(const TestPage& page, const StreamForm& form, uint32_t format) {
  const std::string bits = MakeStream(page, form);
  const FaxDecoded decoded = DecodeStream(bits, format, page.width, page.height);
  EXPECT_EQ(decoded.result, 1);
  EXPECT_TRUE(decoded.page == page);
  // The same rows are found where nobody knows how many there are.
  const FaxDecoded counted = DecodeStream(bits, format, page.width, -1);
  EXPECT_EQ(counted.result, 1);
  EXPECT_EQ(counted.page.height, page.height);
  EXPECT_TRUE(counted.page == page);
}

class FaxFraming : public testing::TestWithParam<int32_t> {
protected:
  const KernelGuard guard_;
  const TestPage text_ = MakePage(PageKind::kText, GetParam(), 40, 9);
  const TestPage runs_ = MakePage(PageKind::kRuns, GetParam(), 25, 10);
};

TEST_P(FaxFraming, OneDimensional) {
  for (const EndOfLines endOfLines : {EndOfLines::kNone, EndOfLines::kBetween, EndOfLines::kBefore}) {
    for (const RowPlace place : {RowPlace::kAnywhere, RowPlace::kEndOfLinesOnBytes, RowPlace::kRowsOnBytes}) {
      for (const int endCodes : {0, 1, 2, 6, 7}) {
        for (const uint32_t fill : {0u, 30u, 300u}) {
          const bool none = endOfLines == EndOfLines::kNone;
          if ((none && (endCodes > 0 || fill > 0)) || (!none && place == RowPlace::kRowsOnBytes)) {
            continue; // not a form that anybody writes
          }
          SCOPED_TRACE(testing::Message() << "EOLs " << static_cast<int>(endOfLines) << " place "
                                          << static_cast<int>(place) << " end " << endCodes << " fill " << fill);
          const StreamForm form{endOfLines, place, 0, endCodes, fill};
          ExpectDecodes(text_, form, kFaxT4OneDimensional);
          ExpectDecodes(runs_, form, kFaxT4OneDimensional);
          if (endOfLines == EndOfLines::kBefore || place == RowPlace::kRowsOnBytes) {
            ExpectDecodes(text_, form, kFaxModifiedHuffman);
            ExpectDecodes(runs_, form, kFaxModifiedHuffman);
          }
        }
      }
    }
  }
}

TEST_P(FaxFraming, TwoDimensional) {
  for (const int parameterK : {1, 2, 4, 1000}) {
    for (const RowPlace place : {RowPlace::kAnywhere, RowPlace::kEndOfLinesOnBytes}) {
      for (const int endCodes : {0, 6}) {
        for (const uint32_t fill : {0u, 30u}) {
          const StreamForm form{EndOfLines::kBefore, place, parameterK, endCodes, fill};
          ExpectDecodes(text_, form, kFaxT4TwoDimensional);
          ExpectDecodes(runs_, form, kFaxT4TwoDimensional);
        }
      }
    }
    const StreamForm tagsOnly{EndOfLines::kNone, RowPlace::kAnywhere, parameterK, 0, 0};
    const std::string bits = MakeStream(text_, tagsOnly);
    EXPECT_TRUE(DecodeStream(bits, kFaxT4TwoDimensional, text_.width, text_.height).page == text_);
  }
}

TEST_P(FaxFraming, T6EndsInManyWays) {
  for (const TestPage& page : {text_, runs_}) {
    std::string bits;
    std::string above(static_cast<size_t>(page.width), '0');
    for (int32_t y = 0; y < page.height; ++y) {
      bits += PlainEncode2D(page.Row(y), above);
      above = page.Row(y);
    }
    for (const std::string& end : {std::string(), kEol + kEol, kEol, kEol + kEol + "1111111111111"}) {
      const FaxDecoded decoded = DecodeStream(bits + end, kFaxT6, page.width, page.height);
      EXPECT_TRUE(decoded.page == page);
      // One row more than there is: white, not what stands behind the end.
      const FaxDecoded more = DecodeStream(bits + end, kFaxT6, page.width, page.height + 1);
      EXPECT_EQ(more.page.height, page.height + 1);
      EXPECT_EQ(more.page.Row(page.height).find('1'), std::string::npos);
      if (!end.empty()) {
        EXPECT_EQ(DecodeStream(bits + end, kFaxT6, page.width, -1).page.height, page.height);
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Widths, FaxFraming, testing::Values(9, 64, 333, 2600));

constexpr int32_t kWidth = 24;
const std::string kRowA = "000011110000111100001111";
const std::string kRowB = "000000001111111100000000";
const std::string kRowC = "111100000000000000001111";
const std::string kWhite(kWidth, '0');

void ExpectRows(const FaxDecoded& decoded, const std::vector<std::string>& rows) {
  EXPECT_EQ(decoded.result, 1);
  ASSERT_EQ(decoded.page.height, static_cast<int32_t>(rows.size()));
  for (size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(decoded.page.Row(static_cast<int32_t>(i)), rows[i]) << "row " << i;
  }
}

TEST(FaxDamage, OneDimensionalRowIsCutAndTheNextEndOfLineGoesOn) {
  // white 4, black 4, then 8 zeros that are no word, and rubbish up to the end of line
  const std::string bits = kEol + PlainEncode1D(kRowA) + kEol + "1011 011 00000000 1 0101" + kEol +
                           PlainEncode1D(kRowB) + kEol + PlainEncode1D(kRowC);
  ExpectRows(DecodeStream(bits, kFaxT4OneDimensional, kWidth, 5),
             {kRowA, "000011110000000000000000", kRowB, kRowC, kWhite});
}

TEST(FaxDamage, RowThatIsTooShort) {
  const std::string bits = kEol + "1011 011" + kEol + PlainEncode1D(kRowB);
  ExpectRows(DecodeStream(bits, kFaxT4OneDimensional, kWidth, 3), {"000011110000000000000000", kRowB, kWhite});
}

TEST(FaxDamage, RowThatIsTooLong) {
  // white 20, black 20
  const std::string bits = kEol + "0001000 00001101000" + kEol + PlainEncode1D(kRowB);
  ExpectRows(DecodeStream(bits, kFaxT4OneDimensional, kWidth, 3), {"000000000000000000001111", kRowB, kWhite});
}

TEST(FaxDamage, LastWordThatTakesZerosOfTheEndOfLine) {
  // "1" alone makes white 3 = 1000 with the first zeros of the end of line, which is found nevertheless.
  const std::string bits = kEol + "1" + kEol + PlainEncode1D(kRowB);
  ExpectRows(DecodeStream(bits, kFaxT4OneDimensional, kWidth, 2), {kWhite, kRowB});
}

TEST(FaxDamage, RubbishBehindAWholeRow) {
  const std::string bits = kEol + PlainEncode1D(kRowA) + "010101" + kEol + PlainEncode1D(kRowB);
  ExpectRows(DecodeStream(bits, kFaxT4OneDimensional, kWidth, 2), {kRowA, kRowB});
}

TEST(FaxDamage, NoEndOfLineBehindTheDamage) {
  const std::string bits = kEol + PlainEncode1D(kRowA) + kEol + "1011 011 00000000 1 01011";
  ExpectRows(DecodeStream(bits, kFaxT4OneDimensional, kWidth, 4), {kRowA, "000011110000000000000000", kWhite, kWhite});
}

TEST(FaxDamage, RowsWithoutEndOfLinesAreWhiteBehindTheDamage) {
  const std::string bits = PlainEncode1D(kRowA) + "1011 011 00000000 1 01011" + PlainEncode1D(kRowB);
  ExpectRows(DecodeStream(bits, kFaxT4OneDimensional, kWidth, 3), {kRowA, "000011110000000000000000", kWhite});
}

TEST(FaxDamage, TwoDimensionalRowsGoOnFromTheRepairedRow) {
  // V0 V0, then no word; the next row repeats the one above it, the last one stands by itself
  const std::string bits = kEol + "1" + PlainEncode1D(kRowA) + kEol + "0 11 0000000 1" + kEol + "0 1 1 1" + kEol + "1" +
                           PlainEncode1D(kRowB);
  const std::string repaired = "000011110000000000000000";
  ExpectRows(DecodeStream(bits, kFaxT4TwoDimensional, kWidth, 5), {kRowA, repaired, repaired, kRowB, kWhite});
}

TEST(FaxDamage, T6IsWhiteBehindTheDamage) {
  const std::string bits = PlainEncode2D(kRowA, kWhite) + "1 1 0000000 1" + PlainEncode2D(kRowB, kRowA) + kEol + kEol;
  ExpectRows(DecodeStream(bits, kFaxT6, kWidth, 4), {kRowA, "000011110000000000000000", kWhite, kWhite});
}

std::string OnBytes(std::string bits) {
  while (BitsOfBytes(BytesOfBits(bits)).size() != bits.size()) {
    bits += '0';
  }
  return bits;
}

TEST(FaxDamage, ModifiedHuffmanGoesOnAtTheNextSoundRow) {
  const std::string hurt = OnBytes("1011011"
                                   "00000000"
                                   "1"
                                   "1011011");
  const std::string bits = OnBytes(PlainEncode1D(kRowA)) + hurt + OnBytes(PlainEncode1D(kRowB)) +
                           OnBytes(PlainEncode1D(kRowC)) + OnBytes(PlainEncode1D(kRowA));
  ExpectRows(DecodeStream(bits, kFaxModifiedHuffman, kWidth, 6),
             {kRowA, "000011110000000000000000", kRowB, kRowC, kRowA, kWhite});
}

TEST(FaxDamage, ModifiedHuffmanRowsWiderThanThePageAreCut) {
  std::string bits;
  for (const std::string& row : {kRowA, kRowB, kRowC}) {
    bits += OnBytes(PlainEncode1D(row + std::string(4, row.back())));
  }
  ExpectRows(DecodeStream(bits, kFaxModifiedHuffman, kWidth, 4), {kRowA, kRowB, kRowC, kWhite});
}

TEST(FaxDamage, EmptyStripsAreWhite) {
  for (const uint32_t format : {kFaxModifiedHuffman, kFaxT4OneDimensional, kFaxT4TwoDimensional, kFaxT6}) {
    ExpectRows(DecodeStream("", format, kWidth, 3), {kWhite, kWhite, kWhite});
    ExpectRows(DecodeStream("00000000 00000000", format, kWidth, 2), {kWhite, kWhite});
    EXPECT_EQ(DecodeStream("", format, kWidth, -1).page.height, 0);
    EXPECT_EQ(DecodeStream("00000000 00000000", format, kWidth, -1).page.height, 0);
  }
}

TEST(FaxDamage, ReturnToControlEndsThePage) {
  std::string bits = kEol + PlainEncode1D(kRowA);
  for (int i = 0; i < 6; ++i) {
    bits += kEol;
  }
  bits += PlainEncode1D(kRowB); // the next page of a raw stream
  ExpectRows(DecodeStream(bits, kFaxT4OneDimensional, kWidth, 3), {kRowA, kWhite, kWhite});
  EXPECT_EQ(DecodeStream(bits, kFaxT4OneDimensional, kWidth, -1).page.height, 1);
}

// Streams made to keep a decoder busy: time follows from the bytes and the rows asked for.
TEST(FaxDamage, HostileStreamsAreDoneWithSoon) {
  constexpr size_t kBytes = 256 * 1024;
  const auto begin = std::chrono::steady_clock::now();
  for (const uint32_t format : {kFaxModifiedHuffman, kFaxT4OneDimensional, kFaxT4TwoDimensional, kFaxT6}) {
    for (const std::vector<uint8_t>& pattern :
         std::vector<std::vector<uint8_t>>{{0x35, 0x0D, 0xC0},
                                           {0x35},
                                           {0x00},
                                           {0xFF},
                                           {0x01},
                                           {0x00, 0x10},
                                           {0x03, 0x8F},
                                           {0x24},
                                           {0x1F, 0x01, 0xF0},
                                           {0x35, 0x0D, 0xCD, 0x43, 0x73, 0x50, 0xDC}}) {
      std::vector<uint8_t> bytes;
      while (bytes.size() < kBytes) {
        bytes.insert(bytes.end(), pattern.begin(), pattern.end());
      }
      FaxDecodeCall call;
      call.format = format;
      call.width = 5000;
      call.height = 300;
      call.rowsPerStrip = 300;
      EXPECT_EQ(DecodeFax(bytes, call).page.height, 300);
    }
  }
  const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - begin;
  EXPECT_LT(spent.count(), 30.0); // 40 strips, each a matter of milliseconds but under a sanitizer
}

} // namespace
