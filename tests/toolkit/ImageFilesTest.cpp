// PNG, PNM and PAM files: written and read again, and files written by hand.

#include <fstream>

#include <gtest/gtest.h>

#include "support/TempFile.h"
#include "toolkit/Failure.h"
#include "toolkit/ImageFiles.h"
#include "toolkit/OutputFile.h"

#include <vxtif/results.h>

namespace {

using toolkit::FileKind;
using toolkit::Image;
using toolkit::ImageKind;

Image Pattern(ImageKind kind, uint32_t bits) {
  Image image;
  toolkit::AllocateImage(image, 13, 5, kind, bits);
  for (size_t i = 0; i < image.pixels.size(); ++i) {
    image.pixels[i] = static_cast<uint8_t>(i * 89 + 7);
  }
  if (bits < 8) {
    // The bits behind the last pixel of a row mean nothing.
    const auto mask = static_cast<uint8_t>(0xFF00u >> (13 * bits % 8));
    for (uint32_t y = 0; y < 5 && 13 * bits % 8 != 0; ++y) {
      image.Row(y)[image.rowBytes - 1] &= mask;
    }
  }
  if (kind == ImageKind::kPalette) {
    for (uint32_t i = 0; i < 1u << bits; ++i) {
      image.palette.push_back({static_cast<uint8_t>(i), static_cast<uint8_t>(255 - i), static_cast<uint8_t>(i * 3)});
    }
  }
  return image;
}

Image WriteAndRead(const Image& image, FileKind kind) {
  TempFile file;
  toolkit::WriteImageFile(image, file.Path().string(), kind);
  return toolkit::ReadImageFile(file.Path().string());
}

Image ReadText(const std::string& bytes) {
  const TempFile file(FileBytes(bytes.begin(), bytes.end()));
  return toolkit::ReadImageFile(file.Path().string());
}

void ExpectSame(const Image& read, const Image& written) {
  EXPECT_EQ(read.width, written.width);
  EXPECT_EQ(read.height, written.height);
  EXPECT_EQ(read.kind, written.kind);
  EXPECT_EQ(read.bits, written.bits);
  EXPECT_EQ(read.palette, written.palette);
  EXPECT_EQ(read.pixels, written.pixels);
}

#ifdef VXTOOLKIT_WITH_PNG
TEST(PngFiles, HoldEveryKindOfPicture) {
  for (const auto& [kind, bits] : {std::pair{ImageKind::kGray, 1u},
                                   {ImageKind::kGray, 2u},
                                   {ImageKind::kGray, 4u},
                                   {ImageKind::kGray, 8u},
                                   {ImageKind::kGray, 16u},
                                   {ImageKind::kGrayAlpha, 8u},
                                   {ImageKind::kGrayAlpha, 16u},
                                   {ImageKind::kRgb, 8u},
                                   {ImageKind::kRgb, 16u},
                                   {ImageKind::kRgba, 8u},
                                   {ImageKind::kRgba, 16u},
                                   {ImageKind::kPalette, 1u},
                                   {ImageKind::kPalette, 2u},
                                   {ImageKind::kPalette, 4u},
                                   {ImageKind::kPalette, 8u}}) {
    SCOPED_TRACE(bits);
    const Image image = Pattern(kind, bits);
    ExpectSame(WriteAndRead(image, FileKind::kPng), image);
  }
}

TEST(PngFiles, KeepTheResolution) {
  Image image = Pattern(ImageKind::kGray, 8);
  image.xResolution = 300;
  image.yResolution = 96;
  const Image read = WriteAndRead(image, FileKind::kPng);
  EXPECT_EQ(read.xResolution, 300);
  EXPECT_EQ(read.yResolution, 96);
}

TEST(PngFiles, AreRefusedWhenCutOff) {
  TempFile file;
  toolkit::WriteImageFile(Pattern(ImageKind::kRgb, 8), file.Path().string(), FileKind::kPng);
  FileBytes bytes = file.Read();
  bytes.resize(bytes.size() / 2);
  file.Write(bytes);
  try {
    toolkit::ReadImageFile(file.Path().string());
    FAIL() << "half a file was read";
  } catch (const toolkit::Failure& failure) {
    EXPECT_EQ(failure.code, kResultReadFailed);
  }
}
#endif

TEST(PnmFiles, HoldGreyAndColours) {
  for (const auto& [kind, bits] : {std::pair{ImageKind::kGray, 1u},
                                   {ImageKind::kGray, 8u},
                                   {ImageKind::kGray, 16u},
                                   {ImageKind::kRgb, 8u},
                                   {ImageKind::kRgb, 16u}}) {
    SCOPED_TRACE(bits);
    const Image image = Pattern(kind, bits);
    ExpectSame(WriteAndRead(image, FileKind::kPnm), image);
  }
}

TEST(PnmFiles, LeaveAlphaOutAndExpandPalettes) {
  EXPECT_EQ(WriteAndRead(Pattern(ImageKind::kRgba, 8), FileKind::kPnm).kind, ImageKind::kRgb);
  EXPECT_EQ(WriteAndRead(Pattern(ImageKind::kGrayAlpha, 16), FileKind::kPnm).kind, ImageKind::kGray);
  const Image palette = Pattern(ImageKind::kPalette, 4);
  EXPECT_EQ(WriteAndRead(palette, FileKind::kPnm).pixels, toolkit::ExpandPalette(palette).pixels);
}

TEST(PamFiles, HoldAlpha) {
  for (const auto& [kind, bits] : {std::pair{ImageKind::kGray, 1u},
                                   {ImageKind::kGray, 8u},
                                   {ImageKind::kGray, 16u},
                                   {ImageKind::kGrayAlpha, 8u},
                                   {ImageKind::kRgba, 8u},
                                   {ImageKind::kRgba, 16u}}) {
    SCOPED_TRACE(bits);
    const Image image = Pattern(kind, bits);
    ExpectSame(WriteAndRead(image, FileKind::kPam), image);
  }
}

TEST(PnmFiles, AreReadInEveryForm) {
  EXPECT_EQ(ReadText("P1\n# a comment\n3 1\n0 1 0").pixels, (std::vector<uint8_t>{0xA0}));
  EXPECT_EQ(ReadText("P2 2 1 255 7 255").pixels, (std::vector<uint8_t>{7, 255}));
  EXPECT_EQ(ReadText("P3\n1 1\n255\n1 2 3\n").pixels, (std::vector<uint8_t>{1, 2, 3}));
  EXPECT_EQ(ReadText("P5 2 1 15\n\x01\x0F").bits, 4u);
  EXPECT_EQ(ReadText("P5 2 1 15\n\x01\x0F").pixels, (std::vector<uint8_t>{0x1F}));
  EXPECT_EQ(ReadText("P5 1 1 100\n\x32").pixels, (std::vector<uint8_t>{128}));
  EXPECT_EQ(ReadText("P7\nWIDTH 1\nHEIGHT 1\nDEPTH 2\nMAXVAL 255\nTUPLTYPE GRAYSCALE_ALPHA\nENDHDR\nab").kind,
            ImageKind::kGrayAlpha);
}

TEST(PnmFiles, AreRefusedWhenDamaged) {
  for (const char* text : {"P5 0 1 255\n", "P5 1 1 0\n", "P5 1 1 70000\n", "P5 2 2 255\nab", "P9 1 1 255\n", "P5 x",
                           "P", "P5 99999999999 1 255\n", "P7\nWIDTH 1\nHEIGHT 1\nDEPTH 5\nMAXVAL 255\nENDHDR\nabcde",
                           "P7\nWIDTH 1\n", "hello", "P1 1 1 7"}) {
    EXPECT_THROW(ReadText(text), toolkit::Failure) << text;
  }
}

TEST(KindOfName, GoesByTheEnding) {
  EXPECT_EQ(toolkit::KindOfName("a.PNG"), FileKind::kPng);
  EXPECT_EQ(toolkit::KindOfName("x.y/a.ppm"), FileKind::kPnm);
  EXPECT_EQ(toolkit::KindOfName("a.raw"), FileKind::kRaw);
  EXPECT_EQ(toolkit::KindOfName("a.pam"), FileKind::kPam);
  EXPECT_EQ(toolkit::KindOfName("png"), std::nullopt);
  EXPECT_EQ(toolkit::KindOfName("x.png/a"), std::nullopt);
}

TEST(OutputFile, LeavesTheOldFileUntilItIsWhole) {
  const TempFile file(FileBytes{1, 2, 3});
  {
    toolkit::OutputFile out(file.Path().string());
    out.Write("abcd", 4);
  }
  EXPECT_EQ(file.Read(), (FileBytes{1, 2, 3}));
  {
    toolkit::OutputFile out(file.Path().string());
    out.Write("abcd", 4);
    out.Commit();
  }
  EXPECT_EQ(file.Read(), (FileBytes{'a', 'b', 'c', 'd'}));
  size_t beside = 0;
  const std::string stem = file.Path().filename().string();
  for (const auto& entry : std::filesystem::directory_iterator(file.Path().parent_path())) {
    beside += entry.path().filename().string().starts_with(stem + ".part-");
  }
  EXPECT_EQ(beside, 0u);
}

TEST(OutputFile, CannotBeMadeInAMissingFolder) {
  try {
    toolkit::OutputFile out("/nonexistent/folder/file");
    FAIL() << "a file was made";
  } catch (const toolkit::Failure& failure) {
    EXPECT_EQ(failure.code, kResultCreateFailed);
  }
}

} // namespace
