// The predictor: every row of its two tables, by hand and against loops written one sample at a time.

#include <cstdlib>
#include <random>

#include <gtest/gtest.h>

#include "Tifutil/Predictor.h"
#include "support/TiffBuilder.h"

namespace {

struct Layout {
  const char* name;
  uint32_t totalBits;
  uint32_t samples;
  uint32_t bitsPerSample;
  uint32_t photometric;
  uint32_t extraBits;
  uint32_t planar;
};

TifPage PageOf(const Layout& layout, uint32_t pixels) {
  TifPage page = {};
  page.tileWidth = static_cast<int32_t>(pixels);
  page.totalBits = layout.totalBits;
  page.bitsPerPixel = static_cast<int32_t>(layout.totalBits);
  page.samplesPerPixel = layout.samples;
  page.bitsPerSample[0] = layout.bitsPerSample;
  page.photometricInterpretation = layout.photometric;
  page.extraBits = layout.extraBits;
  page.planarConfiguration = layout.planar;
  return page;
}

// One step of one sample at a time: what a loop of the table does with elements of `bytes` bytes.
enum class Work { kNothing, kElements, k555 };
struct Expected {
  Work work;
  uint32_t bytes = 1; // of an element
  uint32_t step = 1;  // in elements
  bool swaps = false; // with big-endian samples

  size_t RowBytes(uint32_t pixels) const {
    return work == Work::k555 ? size_t{pixels} * 2 : size_t{pixels} * bytes * step;
  }
};

uint32_t Get(const FileBytes& row, size_t at, uint32_t bytes, bool big) {
  return bytes == 1 ? row[at] : big ? row[at] * 256u + row[at + 1] : row[at] + row[at + 1] * 256u;
}
void Put(FileBytes& row, size_t at, uint32_t bytes, bool big, uint32_t value) {
  row[at] = static_cast<uint8_t>(bytes == 2 && big ? value >> 8 : value);
  if (bytes == 2) {
    row[at + 1] = static_cast<uint8_t>(big ? value : value >> 8);
  }
}

FileBytes PlainSum(FileBytes row, const Expected& expected, uint32_t pixels, bool big) {
  const bool swapped = big && expected.swaps;
  if (expected.work == Work::kElements) {
    for (uint32_t i = expected.step; i < pixels * expected.step && (i + 1) * expected.bytes <= row.size(); ++i) {
      const size_t at = size_t{i} * expected.bytes;
      const uint32_t left = Get(row, at - expected.step * expected.bytes, expected.bytes, swapped);
      Put(row, at, expected.bytes, swapped, left + Get(row, at, expected.bytes, swapped));
    }
  } else if (expected.work == Work::k555) {
    for (uint32_t i = 1; i < pixels && (i + 1) * 2 <= row.size(); ++i) {
      const uint32_t left = Get(row, i * 2 - 2, 2, false);
      const uint32_t own = Get(row, i * 2, 2, false);
      uint32_t sum = own & 0x8000;
      for (uint32_t shift : {0u, 5u, 10u}) {
        sum |= (((left >> shift & 31) + (own >> shift & 31)) & 31) << shift;
      }
      Put(row, i * 2, 2, false, sum);
    }
  }
  return row;
}

FileBytes PlainDiffer(FileBytes row, const Expected& expected, uint32_t pixels) {
  if (expected.work == Work::kElements) {
    for (uint32_t i = pixels * expected.step; i-- > expected.step;) {
      const size_t at = size_t{i} * expected.bytes;
      if (at + expected.bytes <= row.size()) {
        const uint32_t left = Get(row, at - expected.step * expected.bytes, expected.bytes, false);
        Put(row, at, expected.bytes, false, Get(row, at, expected.bytes, false) - left);
      }
    }
  } else if (expected.work == Work::k555) {
    for (uint32_t i = pixels; i-- > 1;) {
      if (i * 2 + 2 <= row.size()) {
        const uint32_t left = Get(row, i * 2 - 2, 2, false);
        const uint32_t own = Get(row, i * 2, 2, false);
        uint32_t difference = own & 0x8000;
        for (uint32_t shift : {0u, 5u, 10u}) {
          difference |= (((own >> shift & 31) - (left >> shift & 31)) & 31) << shift;
        }
        Put(row, i * 2, 2, false, difference);
      }
    }
  }
  return row;
}

FileBytes RandomRow(std::mt19937& random, size_t size) {
  FileBytes row(size);
  for (uint8_t& byte : row) {
    byte = static_cast<uint8_t>(random());
  }
  return row;
}

struct SumCase {
  Layout layout;
  Expected expected;
};

const SumCase kSumCases[] = {
    {{"planar 8", 24, 3, 8, 2, 0, 2}, {Work::kElements, 1, 1}},
    {{"planar 16", 48, 3, 16, 2, 0, 2}, {Work::kElements, 2, 1, true}},
    {{"planar 4 goes as 16", 12, 3, 4, 2, 0, 2}, {Work::kElements, 2, 1, true}},
    {{"8", 8, 1, 8, 1, 0, 1}, {Work::kElements, 1, 1}},
    {{"8 palette", 8, 1, 8, 3, 0, 1}, {Work::kElements, 1, 1}},
    {{"two of 8", 16, 2, 8, 1, 8, 1}, {Work::kElements, 1, 2}},
    {{"5-5-5", 16, 3, 5, 2, 0, 1}, {Work::k555}},
    {{"5-5-5, one sample", 16, 1, 16, 2, 0, 1}, {Work::k555}},
    {{"16 with extra bits", 16, 3, 5, 2, 1, 1}, {Work::kNothing}},
    {{"16 black is zero", 16, 1, 16, 1, 0, 1}, {Work::kElements, 2, 1, true}},
    {{"16 white is zero", 16, 1, 16, 0, 0, 1}, {Work::kElements, 2, 1, true}},
    {{"24", 24, 3, 8, 2, 0, 1}, {Work::kElements, 1, 3}},
    {{"32 of 4", 32, 4, 8, 2, 8, 1}, {Work::kElements, 1, 4}},
    {{"32 of 1 goes as bytes", 32, 1, 32, 1, 0, 1}, {Work::kElements, 1, 4}},
    {{"32 of 2 goes as bytes", 32, 2, 16, 1, 16, 1}, {Work::kElements, 1, 4}},
    {{"40", 40, 5, 8, 5, 8, 1}, {Work::kElements, 1, 5}},
    {{"48 of 3", 48, 3, 16, 2, 0, 1}, {Work::kElements, 2, 3, true}},
    {{"48 of 6", 48, 6, 8, 2, 24, 1}, {Work::kElements, 1, 6}},
    {{"64 of 4", 64, 4, 16, 2, 16, 1}, {Work::kElements, 2, 4, true}},
    {{"64 of 8", 64, 8, 8, 2, 40, 1}, {Work::kElements, 1, 8}},
    {{"56 of 7 bytes", 56, 7, 8, 2, 32, 1}, {Work::kElements, 1, 7}},
    {{"80 of 5 words", 80, 5, 16, 5, 16, 1}, {Work::kElements, 2, 5, true}},
    {{"4 bits", 4, 1, 4, 1, 0, 1}, {Work::kNothing}},
    {{"1 bit", 1, 1, 1, 1, 0, 1}, {Work::kNothing}},
    {{"96 of 3", 96, 3, 32, 2, 0, 1}, {Work::kNothing}},
};

TEST(PredictorSum, EveryRowOfTheTable) {
  std::mt19937 random(5);
  for (const SumCase& test : kSumCases) {
    for (uint32_t pixels : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 15u, 16u, 17u, 31u, 33u, 100u, 257u}) {
      for (bool big : {false, true}) {
        const size_t size = test.expected.RowBytes(pixels) + 9;
        const FileBytes row = RandomRow(random, size + 8);
        const TifPage page = PageOf(test.layout, pixels);
        FileBytes summed = row;
        TIFUnpredictRow(&page, summed.data(), static_cast<uint32_t>(size),
                        big ? SampleSwap::kBigEndian : SampleSwap::kHost);
        EXPECT_EQ(PlainSum(row, test.expected, pixels, big), summed)
            << test.layout.name << ", " << pixels << " pixels, big " << big;
      }
    }
  }
}

TEST(PredictorSum, RowBytesBoundEveryLoop) {
  std::mt19937 random(6);
  for (const SumCase& test : kSumCases) {
    for (uint32_t rowBytes = 0; rowBytes < 70; ++rowBytes) {
      FileBytes row = RandomRow(random, rowBytes);
      const FileBytes guard(16, 0x77);
      row.insert(row.end(), guard.begin(), guard.end());
      const FileBytes before = row;
      const TifPage page = PageOf(test.layout, 1000);
      TIFUnpredictRow(&page, row.data(), rowBytes, SampleSwap::kBigEndian);
      EXPECT_TRUE(std::equal(guard.begin(), guard.end(), row.begin() + rowBytes)) << test.layout.name;
      FileBytes expected(before.begin(), before.begin() + rowBytes);
      expected = PlainSum(expected, test.expected, 1000, true);
      row.resize(rowBytes);
      EXPECT_EQ(expected, row) << test.layout.name << ", " << rowBytes << " bytes";
    }
  }
}

struct DifferCase {
  const char* name;
  int32_t bitsPerPixel;
  uint32_t samples;
  uint32_t extraBits;
  Expected expected;
};

const DifferCase kDifferCases[] = {
    {"8", 8, 1, 0, {Work::kElements, 1, 1}},
    {"16 of 1", 16, 1, 0, {Work::kElements, 2, 1}},
    {"5-5-5", 16, 3, 0, {Work::k555}},
    {"two of 8", 16, 2, 8, {Work::kElements, 1, 2}},
    {"24", 24, 3, 0, {Work::kElements, 1, 3}},
    {"32", 32, 4, 0, {Work::kElements, 1, 4}},
    {"32 of 1 goes as bytes", 32, 1, 0, {Work::kElements, 1, 4}},
    {"40", 40, 5, 0, {Work::kElements, 1, 5}},
    {"48", 48, 3, 0, {Work::kElements, 2, 3}},
    {"64", 64, 4, 0, {Work::kElements, 2, 4}},
    {"4", 4, 1, 0, {Work::kNothing}},
    {"1", 1, 1, 0, {Work::kNothing}},
    {"80", 80, 5, 0, {Work::kNothing}},
};

TEST(PredictorDifference, EveryRowOfTheTable) {
  std::mt19937 random(7);
  for (const DifferCase& test : kDifferCases) {
    for (uint32_t pixels : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 15u, 16u, 17u, 31u, 33u, 100u, 257u}) {
      const size_t size = test.expected.RowBytes(pixels);
      const FileBytes row = RandomRow(random, size + 8);
      TifPage page = {};
      page.tileWidth = static_cast<int32_t>(pixels);
      page.bitsPerPixel = test.bitsPerPixel;
      page.samplesPerPixel = test.samples;
      page.extraBits = test.extraBits;
      FileBytes differed = row;
      TIFPredictRow(&page, differed.data(), static_cast<uint32_t>(size));
      EXPECT_EQ(PlainDiffer(row, test.expected, pixels), differed) << test.name << ", " << pixels << " pixels";
    }
  }
}

TEST(PredictorDifference, RowBytesBoundEveryLoop) {
  std::mt19937 random(8);
  for (const DifferCase& test : kDifferCases) {
    for (uint32_t rowBytes = 0; rowBytes < 70; ++rowBytes) {
      const FileBytes before = RandomRow(random, rowBytes);
      FileBytes row = before;
      row.insert(row.end(), 16, 0x77);
      TifPage page = {};
      page.tileWidth = 1000;
      page.bitsPerPixel = test.bitsPerPixel;
      page.samplesPerPixel = test.samples;
      page.extraBits = test.extraBits;
      TIFPredictRow(&page, row.data(), rowBytes);
      EXPECT_EQ(FileBytes(16, 0x77), FileBytes(row.begin() + rowBytes, row.end())) << test.name;
      row.resize(rowBytes);
      EXPECT_EQ(PlainDiffer(before, test.expected, 1000), row) << test.name << ", " << rowBytes << " bytes";
    }
  }
}

TifPage TwelveBitPage(uint32_t pixels) {
  return PageOf({"12", 12, 1, 12, 1, 0, 1}, pixels);
}

// Low nibble first: a sample is b0 and the low nibble of b1, the next the high nibble of b1 and b2.
FileBytes PackLowNibbleFirst(const std::vector<uint32_t>& samples) {
  FileBytes row((samples.size() * 12 + 7) / 8);
  for (size_t i = 0; i < samples.size(); ++i) {
    const size_t at = i / 2 * 3;
    if (i % 2 == 0) {
      row[at] = static_cast<uint8_t>(samples[i]);
      row[at + 1] = static_cast<uint8_t>(samples[i] >> 8);
    } else {
      row[at + 1] = static_cast<uint8_t>(row[at + 1] | samples[i] << 4);
      row[at + 2] = static_cast<uint8_t>(samples[i] >> 4);
    }
  }
  return row;
}

TEST(PredictorDifference, TwelveBitsOddCount) {
  const TifPage page = TwelveBitPage(5);
  FileBytes row = PackLowNibbleFirst({0x123, 0x456, 0x400, 0xFFF, 0x001});
  TIFPredictRow(&page, row.data(), static_cast<uint32_t>(row.size()));
  EXPECT_EQ(PackLowNibbleFirst({0x123, 0x333, 0xFAA, 0xBFF, 0x002}), row);
}

TEST(PredictorDifference, TwelveBitsLastSampleOfAnEvenCount) {
  // Sample 0xABC behind 0x123: the low nibble becomes C - 3 = 9, and the upper bits those of 0xAB9 - 0x123 = 0x996.
  const TifPage page = TwelveBitPage(2);
  FileBytes row = PackLowNibbleFirst({0x123, 0xABC});
  TIFPredictRow(&page, row.data(), 3);
  EXPECT_EQ(PackLowNibbleFirst({0x123, 0x999}), row);
  // With a borrow: 0x452 behind 0x123: nibble 2 - 3 = F; 0x45F - 0x123 = 0x33C, upper bits 0x33.
  row = PackLowNibbleFirst({0x123, 0x452});
  TIFPredictRow(&page, row.data(), 3);
  EXPECT_EQ(PackLowNibbleFirst({0x123, 0x33F}), row);
}

TEST(PredictorDifference, TwelveBitsEvenCountKeepsTheSharedNibbleForTheLastSample) {
  const TifPage page = TwelveBitPage(4);
  FileBytes row = PackLowNibbleFirst({0x100, 0x180, 0x170, 0x5A5});
  TIFPredictRow(&page, row.data(), 6);
  // The last: nibble 5 - 0 = 5, then 0x5A5 - 0x170 = 0x435.
  EXPECT_EQ(PackLowNibbleFirst({0x100, 0x080, 0xFF0, 0x435}), row);
}

TEST(PredictorSum, TwelveBitsAsTheRowIsLeftForItsReordering) {
  // One pixel, and two: only step 3. The sum's low byte goes to the second byte.
  const TifPage two = TwelveBitPage(2);
  FileBytes row = {0x12, 0x34, 0x56};
  TIFUnpredictRow(&two, row.data(), 3, SampleSwap::kHost);
  EXPECT_EQ((FileBytes{0x12, 0x79, 0x56}), row); // 0x56 + 0x123
  // Five: r = 0x123; q = 0x56 + 0x400 + 0x123 = 0x579; r = 0x789 + q = 0xD02; then q = 0x55 + 0xA00 + 0xD02 = 0x1757;
  // r = 0x123 + q = 0x187A.
  const TifPage five = TwelveBitPage(5);
  row = {0x12, 0x34, 0x56, 0x78, 0x9A, 0x55, 0x12, 0x3F};
  TIFUnpredictRow(&five, row.data(), 8, SampleSwap::kHost);
  EXPECT_EQ((FileBytes{0x12, 0x79, 0x56, 0xD0, 0x57, 0x55, 0x87, 0xAF}), row);
  // Four: one round and step 3, where b1 is b2 plus r.
  const TifPage four = TwelveBitPage(4);
  row = {0x12, 0x34, 0x56, 0x78, 0x9A, 0x55};
  TIFUnpredictRow(&four, row.data(), 6, SampleSwap::kHost);
  EXPECT_EQ((FileBytes{0x12, 0x79, 0x56, 0xD0, 0x57, 0x55}), row);
}

TEST(PredictorSum, TwelveBitsStayWithinTheRow) {
  for (uint32_t rowBytes = 0; rowBytes < 20; ++rowBytes) {
    FileBytes row(rowBytes + 8, 0x5A);
    const TifPage page = TwelveBitPage(1000);
    TIFUnpredictRow(&page, row.data(), rowBytes, SampleSwap::kHost);
    EXPECT_EQ(FileBytes(8, 0x5A), FileBytes(row.begin() + rowBytes, row.end()));
    TIFPredictRow(&page, row.data(), rowBytes);
    EXPECT_EQ(FileBytes(8, 0x5A), FileBytes(row.begin() + rowBytes, row.end()));
  }
}

TEST(Predictor, OnePixelStaysAsItIs) {
  for (uint32_t bits : {8u, 12u, 16u, 24u, 32u, 40u, 48u, 64u, 80u}) {
    FileBytes row = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    const FileBytes before = row;
    const TifPage page = PageOf({"", bits, bits / 8, 8, 1, 0, 1}, 1);
    TIFPredictRow(&page, row.data(), 10);
    EXPECT_EQ(before, row);
    TIFUnpredictRow(&page, row.data(), 10, SampleSwap::kBigEndian);
    EXPECT_EQ(before, row);
  }
}

TEST(Predictor, RedFieldFrom31To0LeavesGreenAndTheTopBitAlone) {
  const TifPage page = PageOf({"5-5-5", 16, 3, 5, 2, 0, 1}, 2);
  FileBytes row;
  AppendU16(row, FileOrder::kLittle, 31 << 10 | 7 << 5 | 3);
  AppendU16(row, FileOrder::kLittle, 0x8000 | 0 << 10 | 7 << 5 | 3);
  const FileBytes before = row;
  TIFPredictRow(&page, row.data(), 4);
  EXPECT_EQ(0x8000 | 1 << 10, GetU16(row, 2, FileOrder::kLittle));
  TIFUnpredictRow(&page, row.data(), 4, SampleSwap::kHost);
  EXPECT_EQ(before, row);
}

TEST(Predictor, BigEndianGreyIsSummedAsItStandsWhileSavingDiffersInHostOrder) {
  const TifPage page = PageOf({"16", 16, 1, 16, 1, 0, 1}, 3);
  FileBytes row = {0x01, 0xFF, 0x00, 0x02, 0x10, 0x00}; // 511, 2, 4096
  TIFUnpredictRow(&page, row.data(), 6, SampleSwap::kBigEndian);
  EXPECT_EQ((FileBytes{0x01, 0xFF, 0x02, 0x01, 0x12, 0x01}), row);
  TIFPredictRow(&page, row.data(), 6); // 0xFF01, 0x0102, 0x0112 as little-endian words
  EXPECT_EQ((FileBytes{0x01, 0xFF, 0x01, 0x02, 0x10, 0x00}), row);
}

TEST(Predictor, DifferencesSumBackToTheRow) {
  std::mt19937 random(9);
  for (const DifferCase& test : kDifferCases) {
    for (uint32_t pixels = 1; pixels < 80; ++pixels) {
      const size_t size = size_t{pixels} * static_cast<uint32_t>(test.bitsPerPixel) / 8;
      const FileBytes row = RandomRow(random, size);
      TifPage page = {};
      page.tileWidth = static_cast<int32_t>(pixels);
      page.bitsPerPixel = test.bitsPerPixel;
      page.totalBits = static_cast<uint32_t>(test.bitsPerPixel);
      page.samplesPerPixel = test.samples;
      page.bitsPerSample[0] = static_cast<uint32_t>(test.bitsPerPixel) / test.samples;
      page.extraBits = test.extraBits;
      page.photometricInterpretation = test.samples == 1 ? 1 : 2;
      page.planarConfiguration = 1;
      FileBytes there = row;
      TIFPredictRow(&page, there.data(), static_cast<uint32_t>(size));
      if (test.bitsPerPixel == 80) {
        continue; // summed, but never differenced
      }
      TIFUnpredictRow(&page, there.data(), static_cast<uint32_t>(size), SampleSwap::kHost);
      EXPECT_EQ(row, there) << test.name << ", " << pixels;
    }
  }
}

} // namespace
