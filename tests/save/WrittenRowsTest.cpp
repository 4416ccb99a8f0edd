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

TEST(WrittenRows, YccReachesNoughtAndStopsThere) {
  // Yellow: Y = (907 * 255 + 512) >> 10 = 226. Cb: -452 * 578 + 1024 = -260232 >> 11 = -128. Cr: 43364 >> 11 = 21.
  EXPECT_EQ((FileBytes{226, 226, 0, 149}), ToYcc({0, 255, 255, 0, 255, 255}));
  // Cyan: Y = (717 * 255 + 512) >> 10 = 179. Cb: 88880 >> 11 = 43. Cr: -358 * 730 + 1024 = -260316 >> 11 = -128.
  EXPECT_EQ((FileBytes{179, 179, 171, 0}), ToYcc({255, 255, 0, 255, 255, 0}));
}

TEST(WrittenRows, YccOfPixelsInWhichEveryWeightTellsToTheUnit) {
  // Blue 1, green 242, red 125: 38250 + 145442 + 116 + 512 = 184320, which is 180 * 1024.
  // Blue 50, green 44, red 87: 26622 + 26444 + 5800 + 512 = 59378 >> 10 = 57.
  // Cb: -186 * 578 + 1024 = -106484 >> 11 = -52. Cr: -25 * 730 + 1024 = -17226 >> 11 = -9.
  EXPECT_EQ((FileBytes{180, 57, 76, 119}), ToYcc({1, 242, 125, 50, 44, 87}));
  // 37638 + 20434 + 0 + 512 = 58584 >> 10 = 57; 78030 + 22838 + 2088 + 512 = 103468 >> 10 = 101.
  // Cb: -140 * 578 + 1024 = -79896 >> 11 = -40. Cr: 220 * 730 + 1024 = 161624 >> 11 = 78.
  EXPECT_EQ((FileBytes{57, 101, 88, 206}), ToYcc({0, 34, 123, 18, 38, 255}));
  // 47124 + 1803 + 2784 + 512 = 52223 >> 10 = 50; 60894 + 36060 + 10092 + 512 = 107558 >> 10 = 105.
  // Cb: -44 * 578 + 1024 = -24408 >> 11 = -12. Cr: 198 * 730 + 1024 = 145564 >> 11 = 71.
  EXPECT_EQ((FileBytes{50, 105, 116, 199}), ToYcc({24, 3, 154, 87, 60, 199}));
}

TEST(WrittenRows, YccOfLastPixelsInWhichEveryWeightTellsToTheUnit) {
  // Y: 193541 >> 10 = 189. Cb: -102 * 578 + 512 = -58444 >> 10 = -58. Cr: -92 * 730 + 512 = -66648 >> 10 = -66.
  EXPECT_EQ((FileBytes{189, 0, 70, 62}), ToYcc({87, 255, 97}));
  // Y: 186341 >> 10 = 181. Cb: -93 * 578 + 512 = -53242 >> 10 = -52. Cr: 61 * 730 + 512 = 45042 >> 10 = 43.
  EXPECT_EQ((FileBytes{181, 0, 76, 171}), ToYcc({88, 169, 242}));
  // Y: 166912, which is 163 * 1024. Cb: 37 * 578 + 512 = 21898 >> 10 = 21. Cr: 85 * 730 + 512 = 62562 >> 10 = 61.
  EXPECT_EQ((FileBytes{163, 0, 149, 189}), ToYcc({200, 112, 248}));
  // Y: 173055, one below 169 * 1024. Cb: 28 * 578 + 512 = 16696 >> 10 = 16. Cr: -30 * 730 + 512 = -21388 >> 10 = -21.
  EXPECT_EQ((FileBytes{168, 0, 144, 107}), ToYcc({196, 179, 138}));
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
