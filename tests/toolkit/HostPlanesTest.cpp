// Loading CMYK pages as inks. Small files; expected samples by hand.

#include <cstring>

#include <gtest/gtest.h>

#include "support/KernelGuard.h"
#include "support/TempFile.h"
#include "support/TiffBuilder.h"
#include "toolkit/ByteSampleView.h"
#include "toolkit/Failure.h"
#include "toolkit/PlaneLoad.h"

#include <vxtif/vxtif.h>

namespace {

constexpr uint32_t kWidth = 3;
constexpr uint32_t kHeight = 2;

uint16_t SampleAt(uint32_t ink, uint32_t x, uint32_t y) {
  return static_cast<uint16_t>(0x1122 * (ink + 1) + 0x101 * x + 0x3007 * y);
}

void PutWord(FileBytes& bytes, uint16_t word, FileOrder order) {
  const auto high = static_cast<uint8_t>(word >> 8);
  const auto low = static_cast<uint8_t>(word);
  bytes.push_back(order == FileOrder::kBig ? high : low);
  bytes.push_back(order == FileOrder::kBig ? low : high);
}

FileBytes WidePage(uint32_t inks, FileOrder order, bool planar) {
  std::vector<FileBytes> strips(planar ? inks : 1);
  for (uint32_t y = 0; y < kHeight; ++y) {
    for (uint32_t x = 0; x < kWidth; ++x) {
      for (uint32_t ink = 0; ink < inks; ++ink) {
        PutWord(strips[planar ? ink : 0], SampleAt(ink, x, y), order);
      }
    }
  }
  TiffBuilder file(order);
  TiffDirectory& page = file.AddPage();
  page.Long(256, {kWidth}).Long(257, {kHeight}).Short(258, std::vector<uint16_t>(inks, 16)).Short(259, {1});
  page.Short(262, {5}).Strips(strips).Short(274, {6}).Short(277, {static_cast<uint16_t>(inks)}).Long(278, {kHeight});
  page.Rational(282, {{200, 1}}).Rational(283, {{100, 1}}).Short(284, {static_cast<uint16_t>(planar ? 2 : 1)});
  if (inks == 5) {
    page.Short(338, {0});
  }
  page.Sort();
  return file.Build();
}

uint32_t ReadNothing(VxFileHandle, void*, uint32_t, void*) {
  return 0;
}

KrnReadFn CurrentRead() {
  KrnReadFn read = ReadNothing;
  krnRedirectIo(nullptr, &read, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  const KrnReadFn current = read;
  krnRedirectIo(nullptr, &read, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  return current;
}

TEST(HostPlanes, WideSamplesComeWhole) {
  for (const FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
    for (const uint32_t inks : {4u, 5u, 8u}) {
      for (const bool planar : {false, true}) {
        const KernelGuard guard;
        const TempFile file(WidePage(inks, order, planar));
        const std::vector<toolkit::Bitmap> planes = toolkit::LoadPlanes(file.Path().string(), {});
        ASSERT_EQ(planes.size(), inks);
        for (uint32_t ink = 0; ink < inks; ++ink) {
          EXPECT_EQ(planes[ink]->bitsPerPixel, 16);
          EXPECT_EQ(planes[ink]->xResolution, 200);
          EXPECT_EQ(planes[ink]->yResolution, 100);
          EXPECT_EQ(planes[ink]->viewPerspective, 6u);
          for (uint32_t y = 0; y < kHeight; ++y) {
            for (uint32_t x = 0; x < kWidth; ++x) {
              uint16_t sample = 0;
              std::memcpy(&sample, planes[ink].Row(static_cast<int32_t>(y)) + size_t{2} * x, sizeof sample);
              ASSERT_EQ(sample, SampleAt(ink, x, y)) << ink << ' ' << x << ' ' << y;
            }
          }
        }
      }
    }
  }
}

TEST(HostPlanes, EveryFailedFileCallIsTold) {
  const KrnReadFn before = CurrentRead();
  for (const IoCall call : {IoCall::kOpen, IoCall::kRead, IoCall::kSeek}) {
    for (uint64_t nth = 1;; ++nth) {
      const KernelGuard guard;
      const TempFile file(WidePage(4, FileOrder::kLittle, false));
      IoFaults faults;
      faults.Fail(call, nth);
      int32_t code = kResultOk;
      try {
        toolkit::LoadPlanes(file.Path().string(), {});
      } catch (const toolkit::Failure& failure) {
        code = failure.code;
      }
      if (faults.Calls(call) < nth) {
        EXPECT_EQ(code, kResultOk);
        EXPECT_GT(nth, 1u);
        break;
      }
      EXPECT_TRUE(code == kResultOk || code == kResultOpenFailed || code == kResultSeekFailed ||
                  code == kResultReadFailed || code == kResultNotTiff || code == kResultRefused)
          << nth << " gives " << code;
    }
  }
  EXPECT_EQ(CurrentRead(), before) << "the file calls are the kernel's again";
}

TEST(HostPlanes, MoreThanEightWideSamplesAreRefused) {
  const KrnReadFn before = CurrentRead();
  const TempFile file(WidePage(9, FileOrder::kLittle, false));
  try {
    toolkit::LoadPlanes(file.Path().string(), {});
    ADD_FAILURE() << "not refused";
  } catch (const toolkit::Failure& failure) {
    EXPECT_EQ(failure.code, kResultDepthNotSupported);
  }
  EXPECT_EQ(CurrentRead(), before);
}

// What the library sees while the view stands: the file, nothing behind it, then the second description.
TEST(HostPlanes, TheViewAddsADirectoryAndNothingElse) {
  const KernelGuard guard;
  const FileBytes bytes = WidePage(4, FileOrder::kBig, false);
  const TempFile file(bytes);
  const toolkit::ByteSampleView view(file.Path().string(), GetU32(bytes, 4, FileOrder::kBig), 4, "test");
  const VxFileHandle handle = krnFileOpen(file.Name(), kKrnFileRead, kKrnShareRead);
  ASSERT_NE(handle, kKrnNoHandle);
  FileBytes seen(bytes.size() + 100);
  EXPECT_EQ(krnFileRead(handle, seen.data(), static_cast<uint32_t>(seen.size())), bytes.size());
  seen.resize(bytes.size());
  EXPECT_EQ(seen, bytes);
  ASSERT_GE(view.DirectoryOffset(), bytes.size());
  const auto place = static_cast<int32_t>(view.DirectoryOffset());
  EXPECT_EQ(krnFileSeek(handle, place, kKrnSeekSet), view.DirectoryOffset());
  uint8_t words[2 + 12 * 11];
  ASSERT_EQ(krnFileRead(handle, words, sizeof words), sizeof words);
  EXPECT_EQ(words[0] << 8 | words[1], 12); // all but 284
  const uint8_t bits[12] = {258 >> 8, 258 & 255, 0, 3, 0, 0, 0, 1, 0, 8, 0, 0};
  const uint8_t samples[12] = {277 >> 8, 277 & 255, 0, 3, 0, 0, 0, 1, 0, 8, 0, 0};
  EXPECT_EQ(std::memcmp(words + 2 + 24, bits, sizeof bits), 0);
  EXPECT_EQ(std::memcmp(words + 2 + 36, samples, sizeof samples), 0);
  const uint32_t end = krnFileSeek(handle, 0, kKrnSeekEnd);
  EXPECT_EQ(end, view.DirectoryOffset() + 2 + 12 * 12 + 4);
  EXPECT_EQ(krnFileSeek(handle, -1, kKrnSeekSet), kKrnIoFailed);
  uint8_t none = 0;
  EXPECT_EQ(krnFileRead(handle, &none, 1), 0u);
  krnFileClose(handle);
}

} // namespace
