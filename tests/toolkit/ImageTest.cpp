// Pictures: orientation, cropping, samples of few bits.

#include <gtest/gtest.h>

#include "toolkit/Image.h"

namespace {

using toolkit::Image;
using toolkit::ImageKind;

// Three columns and two rows:  a b c
//                              d e f
Image Letters(ImageKind kind, uint32_t bits) {
  Image image;
  toolkit::AllocateImage(image, 3, 2, kind, bits);
  const size_t pixel = image.rowBytes / 3;
  for (size_t i = 0; i < 6; ++i) {
    for (size_t b = 0; b < pixel; ++b) {
      image.pixels[i * pixel + b] = static_cast<uint8_t>("abcdef"[i] + b);
    }
  }
  return image;
}

std::string Text(const Image& image) {
  const size_t pixel = image.rowBytes / image.width;
  std::string text;
  for (uint32_t y = 0; y < image.height; ++y) {
    for (uint32_t x = 0; x < image.width; ++x) {
      text += static_cast<char>(image.Row(y)[x * pixel]);
    }
    text += y + 1 < image.height ? "/" : "";
  }
  return text;
}

// Where TIFF 6.0 puts row 0 and column 0 for each orientation.
TEST(ApplyView, TurnsEveryOrientationUpright) {
  const char* kUpright[] = {"abc/def", "cba/fed", "fed/cba", "def/abc", "ad/be/cf", "da/eb/fc", "fc/eb/da", "cf/be/ad"};
  for (const auto& [kind, bits] : {std::pair{ImageKind::kGray, 8u},
                                   {ImageKind::kGray, 16u},
                                   {ImageKind::kRgb, 8u},
                                   {ImageKind::kRgba, 8u},
                                   {ImageKind::kRgb, 16u},
                                   {ImageKind::kRgba, 16u}}) {
    for (uint32_t view = 1; view <= 8; ++view) {
      EXPECT_EQ(Text(toolkit::ApplyView(Letters(kind, bits), view)), kUpright[view - 1]) << view << " " << bits;
    }
  }
}

TEST(ApplyView, TurnsBits) {
  Image image;
  toolkit::AllocateImage(image, 9, 2, ImageKind::kGray, 1);
  image.Row(0)[0] = 0x80; // only the pixel at the top left
  const Image turned = toolkit::ApplyView(image, 6);
  EXPECT_EQ(turned.width, 2u);
  EXPECT_EQ(turned.height, 9u);
  EXPECT_EQ(turned.Row(0)[0], 0x40);
  EXPECT_EQ(turned.Row(1)[0], 0);
}

TEST(ApplyView, ExchangesTheResolutions) {
  Image image = Letters(ImageKind::kGray, 8);
  image.xResolution = 200;
  image.yResolution = 100;
  EXPECT_EQ(toolkit::ApplyView(image, 8).xResolution, 100);
  EXPECT_EQ(toolkit::ApplyView(image, 3).xResolution, 200);
}

TEST(ApplyView, LeavesUnknownViewsAlone) {
  EXPECT_EQ(Text(toolkit::ApplyView(Letters(ImageKind::kGray, 8), 0)), "abc/def");
  EXPECT_EQ(Text(toolkit::ApplyView(Letters(ImageKind::kGray, 8), 9)), "abc/def");
}

TEST(CropImage, CutsToThePicture) {
  EXPECT_EQ(Text(toolkit::CropImage(Letters(ImageKind::kRgb, 8), 1, 0, 2, 2)), "bc/ef");
  EXPECT_EQ(Text(toolkit::CropImage(Letters(ImageKind::kRgb, 8), 2, 1, 5, 5)), "f");
  EXPECT_EQ(toolkit::CropImage(Letters(ImageKind::kRgb, 8), 7, 7, 1, 1).height, 0u);
}

class SampleBits : public testing::TestWithParam<uint32_t> {};

TEST_P(SampleBits, SurvivePackingAndUnpacking) {
  const uint32_t bits = GetParam();
  std::vector<uint8_t> samples(101);
  for (size_t i = 0; i < samples.size(); ++i) {
    samples[i] = static_cast<uint8_t>((i * 37 + 11) % (1u << bits));
  }
  std::vector<uint8_t> packed((samples.size() * bits + 7) / 8);
  toolkit::PackSamples(samples.data(), packed.data(), samples.size(), bits);
  std::vector<uint8_t> again(samples.size());
  toolkit::UnpackSamples(packed.data(), again.data(), again.size(), bits);
  EXPECT_EQ(again, samples);
}

INSTANTIATE_TEST_SUITE_P(OneToEight, SampleBits, testing::Range(1u, 9u));

TEST(PackSamples, PutsTheFirstSampleIntoTheHighBits) {
  const uint8_t samples[] = {1, 2, 3};
  uint8_t packed[2] = {};
  toolkit::PackSamples(samples, packed, 3, 3);
  EXPECT_EQ(packed[0], 0b00101001);
  EXPECT_EQ(packed[1], 0b10000000);
}

TEST(WidenToBytes, ScalesGrey) {
  Image image;
  toolkit::AllocateImage(image, 4, 1, ImageKind::kGray, 2);
  image.Row(0)[0] = 0b00011011;
  EXPECT_EQ(toolkit::WidenToBytes(image).pixels, (std::vector<uint8_t>{0, 85, 170, 255}));
}

TEST(ExpandPalette, GivesGreyOrColours) {
  Image image;
  toolkit::AllocateImage(image, 2, 1, ImageKind::kPalette, 1);
  image.Row(0)[0] = 0x40;
  image.palette = {{1, 2, 3}, {4, 5, 6}};
  EXPECT_EQ(toolkit::ExpandPalette(image).pixels, (std::vector<uint8_t>{1, 2, 3, 4, 5, 6}));
  image.palette = {{7, 7, 7}, {9, 9, 9}};
  EXPECT_EQ(toolkit::ExpandPalette(image).pixels, (std::vector<uint8_t>{7, 9}));
}

} // namespace
