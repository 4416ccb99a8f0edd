// Pages with random tags and data, loaded in every way that the host knows: it never reads more of a row than the
// library has delivered. The sanitizers are what makes this a test; elsewhere it shows that nothing falls over.

#include <cstdlib>
#include <iostream>
#include <random>

#include <gtest/gtest.h>

#include "support/KernelGuard.h"
#include "support/TempFile.h"
#include "toolkit/Failure.h"
#include "toolkit/LoadPage.h"
#include "toolkit/PagePicture.h"
#include "toolkit/PlaneLoad.h"

namespace {

class RandomPage {
public:
  explicit RandomPage(uint32_t seed) : random_(seed) {}

  FileBytes Build() {
    TiffBuilder builder(Chance(2) ? FileOrder::kLittle : FileOrder::kBig);
    builder.AddPage(Page());
    return builder.Build();
  }

  bool Chance(uint32_t oneIn) { return Number(oneIn) == 0; }
  uint32_t Number(uint32_t below) { return static_cast<uint32_t>(random_()) % below; }
  uint16_t Pick(std::initializer_list<uint16_t> choices) {
    return choices.begin()[Number(static_cast<uint32_t>(choices.size()))];
  }

private:
  TiffDirectory Page() {
    const uint32_t width = 1 + Number(40);
    const uint32_t height = 1 + Number(9);
    const uint32_t samples = 1 + Number(6);
    std::vector<uint16_t> bits(samples, Pick({1, 2, 3, 4, 5, 8, 8, 8, 12, 16, 16, 32}));
    if (Chance(5)) {
      bits.back() = Pick({1, 4, 8, 16});
    }
    TiffDirectory page;
    page.Long(256, {width}).Long(257, {height}).Short(258, bits).Short(259, {Compression()});
    page.Short(262, {Pick({0, 1, 2, 2, 3, 5, 5, 6, 8})}).Short(277, {static_cast<uint16_t>(samples)});
    const uint32_t rows = Chance(2) ? height : 1 + Number(height);
    const uint32_t pieces = ((height + rows - 1) / rows) * (Chance(2) ? 1 : samples);
    if (Chance(4)) {
      page.Long(322, {16}).Long(323, {16}).Tiles(Data((width + 15) / 16 * samples, 16 * 16 * 8));
    } else {
      page.Strips(Data(pieces, rows * width * 8)).Long(278, {rows});
    }
    if (Chance(2)) {
      page.Short(284, {Pick({1, 2, 2})});
    }
    Extras(page, samples);
    return page.Sort();
  }

  void Extras(TiffDirectory& page, uint32_t samples) {
    if (Chance(3)) {
      page.Short(338, std::vector<uint16_t>(1 + Number(samples), 2));
    }
    if (Chance(3)) {
      page.Short(320, std::vector<uint16_t>(3u << (1 + Number(8)), 0x1234));
    }
    if (Chance(3)) {
      page.Short(530, {Pick({1, 2, 4}), Pick({1, 2, 4})});
    }
    if (Chance(3)) {
      page.Short(339, {Pick({1, 2, 3})});
    }
    if (Chance(4)) {
      page.Short(280, {static_cast<uint16_t>(Number(300))}).Short(281, {static_cast<uint16_t>(Number(70000))});
    }
    if (Chance(3)) {
      page.Short(274, {static_cast<uint16_t>(Number(10))});
    }
    if (Chance(4)) {
      page.Short(317, {2});
    }
    if (Chance(6)) {
      page.Short(266, {2});
    }
  }

  uint16_t Compression() { return Pick({1, 1, 1, 1, 5, 32773, 2, 3, 4}); }

  std::vector<FileBytes> Data(uint32_t pieces, uint32_t bytes) {
    std::vector<FileBytes> data(pieces);
    for (FileBytes& piece : data) {
      piece.resize(1 + (Chance(4) ? Number(bytes) : bytes));
      const auto fill = static_cast<uint8_t>(random_());
      for (uint8_t& byte : piece) {
        // Zeros and repeats keep codecs going longer than noise would.
        byte = Chance(3) ? static_cast<uint8_t>(random_()) : fill;
      }
    }
    return data;
  }

  std::mt19937 random_;
};

// 1 when the page was loaded.
int LoadInEveryWay(const std::string& file, RandomPage& page) {
  int loaded = 0;
  const auto attempt = [&](auto load) {
    try {
      load();
      ++loaded;
    } catch (const toolkit::Failure&) {
      // Random pages may be refused; what is asked for here is that nothing worse happens.
    }
  };
  toolkit::LoadOptions options;
  options.alpha = page.Chance(2);
  options.forceRgb = page.Chance(4);
  options.ignoreOrientation = page.Chance(3);
  if (page.Chance(3)) {
    options.region =
        toolkit::Region{static_cast<int32_t>(page.Number(20)), static_cast<int32_t>(page.Number(9)),
                        static_cast<int32_t>(1 + page.Number(30)), static_cast<int32_t>(1 + page.Number(9))};
  }
  attempt([&] { toolkit::PictureOfPage(toolkit::LoadPage(file, options)); });
  uint32_t sum = 0;
  options.rows = [&](int32_t, const uint8_t* bytes, size_t count) {
    for (size_t i = 0; i < count; ++i) {
      sum += bytes[i];
    }
  };
  attempt([&] { toolkit::LoadPage(file, options); });
  EXPECT_GE(sum, 0u);
  options.rows = nullptr;
  attempt([&] {
    for (const toolkit::Bitmap& plane : toolkit::LoadPlanes(file, options)) {
      EXPECT_NE(krnBitmapPixels(plane.Handle()), nullptr);
    }
  });
  return loaded != 0 ? 1 : 0;
}

TEST(RandomPages, AreNeverReadTooFar) {
  const char* given = std::getenv("VXTIF_SEED");
  const uint32_t seed = given != nullptr ? static_cast<uint32_t>(std::strtoul(given, nullptr, 10))
                                         : static_cast<uint32_t>(std::random_device{}());
  std::cout << "VXTIF_SEED=" << seed << std::endl; // before anything can go wrong
  KernelGuard guard;
  constexpr uint32_t kPages = 1500;
  int loaded = 0;
  for (uint32_t i = 0; i < kPages; ++i) {
    SCOPED_TRACE("page " + std::to_string(i));
    RandomPage page(seed + i);
    const TempFile file(page.Build());
    loaded += LoadInEveryWay(file.Path().string(), page);
  }
  // A generator whose pages are all refused would test nothing.
  EXPECT_GT(loaded, static_cast<int>(kPages / 3));
}

} // namespace
