// Pages in tiles hold the picture whatever the depth of the bitmap that they are saved from.

#include <gtest/gtest.h>

#include "support/KernelGuard.h"
#include "support/TempFile.h"
#include "toolkit/LoadPage.h"
#include "toolkit/SampleBitmap.h"
#include "toolkit/SavePage.h"
#include "vxtif/formats.h"

namespace {

FileBytes Pixels(const toolkit::Bitmap& bitmap) {
  FileBytes all;
  for (int32_t y = 0; y < bitmap->height; ++y) {
    all.insert(all.end(), bitmap.Row(y), bitmap.Row(y) + bitmap->bytesPerLine);
  }
  return all;
}

toolkit::Bitmap Loaded(toolkit::Bitmap& bitmap, toolkit::SaveJob& job, uint32_t tile) {
  const TempFile file;
  job.page.tileWidth = job.page.tileHeight = tile;
  toolkit::SavePage(file.Path().string(), bitmap, job);
  return std::move(toolkit::LoadPage(file.Path().string(), {}).bitmap);
}

TEST(SaveTiles, HoldTheSamePixelsAsStrips) {
  KernelGuard guard;
  for (const int32_t from : {1, 4, 8, 24, 48}) {
    toolkit::Bitmap bitmap;
    ASSERT_EQ(bitmap.Create(50, 20, from, kOrderRedFirst), kResultOk);
    bitmap->viewPerspective = 4;
    bitmap->xResolution = 301;
    for (int32_t y = 0; y < 20; ++y) {
      for (int32_t i = 0; i < 50 * from / 8; ++i) {
        bitmap.Row(y)[i] = static_cast<uint8_t>(i * i + y);
      }
    }
    if (from <= 8) {
      std::vector<VxColor> palette;
      for (uint32_t i = 0; i < 1u << from; ++i) {
        palette.push_back({static_cast<uint8_t>(255 - i), static_cast<uint8_t>(i * 3), static_cast<uint8_t>(i * 7), 0});
      }
      SetPalette(bitmap, palette);
    }
    for (const int32_t to : {1, 3, 8, 12, 16, 24, 32, 48, 64}) {
      for (const bool gray : {false, true}) {
        SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to) + (gray ? ", grey" : ""));
        toolkit::SaveJob job;
        job.format = kFormatUncompressed;
        job.bitsPerPixel = to;
        job.gray = gray && (to <= 16 || to == 32);
        const toolkit::Bitmap strips = Loaded(bitmap, job, 0);
        const toolkit::Bitmap tiles = Loaded(bitmap, job, 16);
        EXPECT_EQ(+tiles->bitsPerPixel, +strips->bitsPerPixel);
        EXPECT_EQ(+tiles->viewPerspective, 1u);
        EXPECT_EQ(+tiles->xResolution, 301);
        EXPECT_EQ(Pixels(tiles), Pixels(strips));
        uint32_t colours = 0;
        uint32_t wanted = 0;
        const VxColor* got = krnBitmapPalette(tiles.Handle(), &colours);
        const VxColor* expected = krnBitmapPalette(strips.Handle(), &wanted);
        ASSERT_EQ(colours, wanted);
        EXPECT_TRUE(colours == 0 || std::memcmp(got, expected, sizeof(VxColor) * colours) == 0);
        EXPECT_EQ(+bitmap->bitsPerPixel, from) << "the caller's bitmap stays";
      }
    }
  }
}

} // namespace
