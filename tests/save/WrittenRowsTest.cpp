// Forms of rows as pages are written, worked out by hand.

#include <gtest/gtest.h>

#include "Tif_lzw/WrittenRows.h"
#include "support/TiffBuilder.h"

namespace {

FileBytes Pack12(FileBytes source, uint32_t pixels) {
  FileBytes target(pixels * 12 / 8 + 1 + 2, 0xEE);
  TIFPack12BitRow(target.data(), source.data(), pixels);
  TIFPack12BitRow(source.data(), source.data(), pixels); // the same in place
  EXPECT_TRUE(std::equal(source.begin(), source.begin() + (pixels * 12 + 7) / 8, target.begin()));
  target.resize((pixels * 12 + 7) / 8);
  return target;
}

TEST(WrittenRows, TwelveBitPairs) {
  // 0x123 and 0x456 with the low nibble first: 23, 1 and 6, 45.
  EXPECT_EQ((FileBytes{0x12, 0x34, 0x56}), Pack12({0x23, 0x61, 0x45}, 2));
  EXPECT_EQ((FileBytes{0x12, 0x34, 0x56, 0xAB, 0xCD, 0xEF}), Pack12({0x23, 0x61, 0x45, 0xBC, 0xFA, 0xDE}, 4));
}

TEST(WrittenRows, TwelveBitsLastOddSampleHasTwoBytes) {
  EXPECT_EQ((FileBytes{0x12, 0x30}), Pack12({0x23, 0xF1}, 1));
  EXPECT_EQ((FileBytes{0x12, 0x34, 0x56, 0xAB, 0xC0}), Pack12({0x23, 0x61, 0x45, 0xBC, 0x0A}, 3));
}

FileBytes ToYcc(FileBytes bluGreenRed) {
  const auto pixels = static_cast<uint32_t>(bluGreenRed.size() / 3);
  FileBytes target((pixels + 1) / 2 * 4);
  TIFConvertRowToYCC(target.data(), bluGreenRed.data(), pixels);
  bluGreenRed.resize(std::max(bluGreenRed.size(), target.size()));
  TIFConvertRowToYCC(bluGreenRed.data(), bluGreenRed.data(), pixels);
  bluGreenRed.resize(target.size());
  EXPECT_EQ(target, bluGreenRed); // the same in place
  return target;
}

TEST(WrittenRows, YccOfGreyPairs) {
  // 1023 of 1024 parts: 255 * 1023 + 512 over 1024 is 255, 100 stays 100.
  EXPECT_EQ((FileBytes{255, 255, 128, 128}), ToYcc({255, 255, 255, 255, 255, 255}));
  EXPECT_EQ((FileBytes{0, 100, 128, 128}), ToYcc({0, 0, 0, 100, 100, 100}));
}

TEST(WrittenRows, YccOfPureColours) {
  // Red: Y = (306 * 255 + 512) >> 10 = 76. Cb = ((-76 * 2) * 578 + 1024 >> 11) + 128: -86832 >> 11 = -43, so 85.
  // Cr = ((179 * 2) * 730 + 1024 >> 11) + 128 = 128 + 128, clamped to 255.
  EXPECT_EQ((FileBytes{76, 76, 85, 255}), ToYcc({0, 0, 255, 0, 0, 255}));
  // Blue: Y = (116 * 255 + 512) >> 10 = 29. Cb = ((226 * 2) * 578 + 1024 >> 11) + 128 = 128 + 128, clamped.
  // Cr = ((-29 * 2) * 730 + 1024 >> 11) + 128: -41316 >> 11 = -21, so 107.
  EXPECT_EQ((FileBytes{29, 29, 255, 107}), ToYcc({255, 0, 0, 255, 0, 0}));
  // Green: Y = (601 * 255 + 512) >> 10 = 150. Cb: -300 * 578 + 1024 = -172376 >> 11 = -85, so 43.
  // Cr: -300 * 730 + 1024 = -217976 >> 11 = -107, so 21.
  EXPECT_EQ((FileBytes{150, 150, 43, 21}), ToYcc({0, 255, 0, 0, 255, 0}));
}

TEST(WrittenRows, YccOfAMixedPair) {
  // Blue 10, green 20, red 30: Y = 9180 + 12020 + 1160 + 512 = 22872 >> 10 = 22.
  // Blue 200, green 100, red 50: Y = 15300 + 60100 + 23200 + 512 = 99112 >> 10 = 96.
  // Cb: (-12 + 104) * 578 + 1024 = 54200 >> 11 = 26, so 154. Cr: (8 - 46) * 730 + 1024 = -26716 >> 11 = -14, so 114.
  EXPECT_EQ((FileBytes{22, 96, 154, 114}), ToYcc({10, 20, 30, 200, 100, 50}));
}

TEST(WrittenRows, YccOfALastOddPixel) {
  // Cb = (-12 * 578 + 512 >> 10) + 128: -6424 >> 10 = -7, so 121. Cr = (8 * 730 + 512 >> 10) + 128 = 6 + 128.
  EXPECT_EQ((FileBytes{22, 0, 121, 134}), ToYcc({10, 20, 30}));
  EXPECT_EQ((FileBytes{255, 255, 128, 128, 22, 0, 121, 134}), ToYcc({255, 255, 255, 255, 255, 255, 10, 20, 30}));
}

TEST(WrittenRows, CmykTakesOutBlack) {
  // Blue 10, green 20, red 30: yellow 245, magenta 235, cyan 225; black is 225.
  const FileBytes source = {10, 20, 30, 255, 255, 255, 0, 0, 0};
  FileBytes target(12);
  TIFConvertRowToCmyk(target.data(), source.data(), 3, 3);
  EXPECT_EQ((FileBytes{0, 10, 20, 225, 0, 0, 0, 0, 0, 0, 0, 255}), target);
}

TEST(WrittenRows, CmykOf32BitsKeepsTheFourthByte) {
  const FileBytes source = {10, 20, 30, 77, 255, 0, 0, 88};
  FileBytes target(10);
  TIFConvertRowToCmyk(target.data(), source.data(), 2, 4);
  EXPECT_EQ((FileBytes{0, 10, 20, 225, 77, 255, 255, 0, 0, 88}), target);
}

TEST(WrittenRows, Floats) {
  FileBytes target(12);
  const FileBytes words = {0x01, 0x00, 0x00, 0x80, 0xFF, 0xFF};
  TIFConvertRowToFloat(target.data(), words.data(), 3, 2);
  EXPECT_EQ((FileBytes{0, 0, 0x80, 0x3F, 0, 0, 0, 0x47, 0, 0xFF, 0x7F, 0x47}), target); // 1, 32768, 65535
  const FileBytes bytes = {0, 2, 255};
  TIFConvertRowToFloat(target.data(), bytes.data(), 3, 1);
  EXPECT_EQ((FileBytes{0, 0, 0, 0, 0, 0, 0, 0x40, 0, 0, 0x7F, 0x43}), target);
}

} // namespace
