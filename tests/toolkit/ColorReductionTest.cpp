// Palettes and error diffusion.

#include <gtest/gtest.h>

#include "toolkit/BitmapRows.h"
#include "toolkit/ColorReduction.h"

namespace {

toolkit::PictureRows PictureOf(const std::vector<std::vector<uint8_t>>& rows, size_t width) {
  return {width, static_cast<int32_t>(rows.size()), [&rows](int32_t y, uint8_t* out) {
            std::copy(rows[static_cast<size_t>(y)].begin(), rows[static_cast<size_t>(y)].end(), out);
            return true;
          }};
}

TEST(CollectColours, SortsThemDarkestFirst) {
  const std::vector<std::vector<uint8_t>> rows = {{255, 255, 255, 0, 0, 0, 9, 9, 9}, {0, 0, 0, 0, 0, 255, 9, 9, 9}};
  const auto colours = toolkit::CollectColours(PictureOf(rows, 3), 256);
  ASSERT_TRUE(colours);
  ASSERT_EQ(colours->size(), 4u);
  EXPECT_EQ((*colours)[0].red, 0);
  EXPECT_EQ((*colours)[1].red, 9);
  EXPECT_EQ((*colours)[2].blue, 255);
  EXPECT_EQ((*colours)[3].red, 255);
}

TEST(CollectColours, GivesUpAboveTheLimit) {
  const std::vector<std::vector<uint8_t>> rows = {{1, 1, 1, 2, 2, 2, 3, 3, 3}};
  EXPECT_FALSE(toolkit::CollectColours(PictureOf(rows, 3), 2));
  EXPECT_TRUE(toolkit::CollectColours(PictureOf(rows, 3), 3));
}

TEST(CollectColours, HoldsTwoHundredFiftySix) {
  std::vector<std::vector<uint8_t>> rows(1);
  for (int i = 0; i < 256; ++i) {
    rows[0].insert(rows[0].end(), {static_cast<uint8_t>(i), static_cast<uint8_t>(255 - i), 17});
  }
  const auto colours = toolkit::CollectColours(PictureOf(rows, 256), 256);
  ASSERT_TRUE(colours);
  EXPECT_EQ(colours->size(), 256u);
}

TEST(ChooseColours, FindsTheCentresOfClusters) {
  std::vector<uint8_t> row;
  for (uint8_t i = 0; i < 8; ++i) {
    row.insert(row.end(), {i, 0, 0});
    row.insert(row.end(), {static_cast<uint8_t>(200 + i), 100, 50});
  }
  const std::vector<VxColor> colours = toolkit::ChooseColours(PictureOf({row}, 16), 2);
  ASSERT_EQ(colours.size(), 2u);
  EXPECT_EQ(colours[0].red, 4);
  EXPECT_EQ(colours[1].red, 204);
  EXPECT_EQ(colours[1].green, 100);
  EXPECT_EQ(colours[1].blue, 50);
}

TEST(ChooseColours, GivesNoMoreThanThereAre) {
  EXPECT_EQ(toolkit::ChooseColours(PictureOf({{1, 2, 3, 1, 2, 3}}, 2), 16).size(), 1u);
}

TEST(DitherToRamp, KeepsRampValues) {
  const std::vector<std::vector<uint8_t>> rows = {{0, 85, 170, 255, 85}};
  uint8_t packed[2] = {};
  ASSERT_TRUE(toolkit::DitherToRamp(PictureOf(rows, 5), 2, packed, 2));
  EXPECT_EQ(packed[0], 0b00011011);
  EXPECT_EQ(packed[1], 0b01000000);
}

TEST(DitherToPalette, KeepsItsColoursEvenWhereTheyShareACell) {
  const std::vector<VxColor> palette = {{0, 0, 0, 0}, {1, 1, 1, 0}, {7, 7, 7, 0}, {8, 8, 8, 0}};
  const std::vector<std::vector<uint8_t>> rows = {{7, 7, 7, 0, 0, 0, 8, 8, 8, 1, 1, 1}};
  uint8_t packed[1] = {};
  ASSERT_TRUE(toolkit::DitherToPalette(PictureOf(rows, 4), palette, 2, packed, 1));
  EXPECT_EQ(packed[0], 0b10001101);
}

TEST(DitherToPalette, NeedsAPalette) {
  uint8_t packed[1] = {};
  EXPECT_FALSE(toolkit::DitherToPalette(PictureOf({{1, 2, 3}}, 1), {}, 1, packed, 1));
}

} // namespace
