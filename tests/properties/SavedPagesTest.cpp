// Random pages of every format, depth and layout, put into files in every way and loaded back through the host: all
// pages of a file hold the pixels, colours, view and resolutions that went in. The pages that come back changed are
// named by ComesBackChanged, and SaveExceptionsTest.cpp tells what each of them gives.

#include <algorithm>
#include <cstring>
#include <filesystem>

#include <gtest/gtest.h>

#include "properties/Seed.h"
#include "support/KernelGuard.h"
#include "support/TempFile.h"
#include "toolkit/DescribeFile.h"
#include "toolkit/LoadPage.h"
#include "toolkit/SavePage.h"
#include "vxtif/formats.h"

namespace {

using Rows = std::vector<FileBytes>;

#ifdef VX_FEWER_STEPS
constexpr uint32_t kSaves = 700;
#else
constexpr uint32_t kSaves = 4000;
#endif
constexpr size_t kMostPages = 5;

// What a page is expected to hold, in the rows of the file.
struct ExpectedPixels {
  int32_t width = 0;
  int32_t bits = 0;
  Rows rows; // bits behind a row's last pixel are 0
  bool compared = true;
  bool byColour = false; // indices may be exchanged together with the colours
  std::vector<VxColor> palette;
  uint32_t view = 1;
  int32_t xResolution = 0;
  int32_t yResolution = 0;
  int32_t lowBit = 0; // of deep grey, where the page tells it
  int32_t highBit = -1;
  std::string text; // how it was made
};

bool IsFax(int32_t format) {
  return format == kFormatCcitt || format == kFormatGroup3 || format == kFormatGroup3TwoDimensional ||
         format == kFormatGroup4 || format == kFormatVariant;
}
bool IsCmyk(int32_t format) {
  return format == kFormatUncompressedCmyk || format == kFormatLzwCmyk || format == kFormatPackBitsCmyk;
}
bool IsYCbCr(int32_t format) {
  return format == kFormatUncompressedYCbCr || format == kFormatLzwYCbCr || format == kFormatPackBitsYCbCr ||
         format == kFormatExifYCbCr;
}
bool IsExif(int32_t format) {
  return format == kFormatExif || format == kFormatExifYCbCr;
}
bool IsLzw(int32_t format) {
  return format == kFormatLzw || format == kFormatLzwCmyk || format == kFormatLzwYCbCr;
}
bool IsCompressed(int32_t format) {
  return IsLzw(format) || format == kFormatPackBits || format == kFormatPackBitsCmyk || format == kFormatPackBitsYCbCr;
}

struct PageChoice {
  int32_t format;
  int32_t bits;
  bool gray; // one sample of 9 to 32 bits
  uint32_t flags;
  bool tiled;
  bool bigEndian; // the file's order
};

// The exceptions of docs/exceptions.md.
bool ComesBackChanged(const PageChoice& page) {
  const bool grayWords = page.gray && (page.bits == 16 || page.bits == 32);
  const bool colourWords = page.bits == 16 && !page.gray;
  const bool deep = page.bits >= 48;
  const bool predictor = IsLzw(page.format) && (page.flags & kSavePredictor) != 0;
  if (page.bigEndian && (deep || colourWords || (grayWords && IsCompressed(page.format)))) {
    return true;
  }
  return (predictor && page.bits == 12) || (IsCmyk(page.format) && page.bits >= 48) || IsYCbCr(page.format) ||
         (page.format == kFormatGeoTiff && (page.bits == 16 || (page.bits == 32 && page.gray))) ||
         (page.format == kFormatCcitt && (page.flags & kSaveFillOrder2) != 0);
}

class RandomSaves {
public:
  explicit RandomSaves(Random* random) : random_(*random), name_(target_.Path().string()) {}

  // Saves one more page in any way, and compares all pages of the file.
  void Step() {
    PageChoice choice = AnyPage();
    toolkit::SaveJob job;
    const toolkit::Placement::Kind kinds[] = {toolkit::Placement::Kind::kNewFile, toolkit::Placement::Kind::kAppend,
                                              toolkit::Placement::Kind::kInsert, toolkit::Placement::Kind::kReplace};
    job.page.placement.kind = kinds[random_.Below(4)];
    const bool fresh = pages_.empty() || pages_.size() >= kMostPages || IsExif(choice.format) ||
                       choice.format == kFormatVariant || variant_;
    if (fresh) {
      job.page.placement.kind = toolkit::Placement::Kind::kNewFile;
    }
    const bool newFile = job.page.placement.kind == toolkit::Placement::Kind::kNewFile;
    if (newFile) {
      bigEndian_ = random_.Chance(50);
      variant_ = choice.format == kFormatVariant;
    }
    choice.bigEndian = bigEndian_;
    const size_t place = newFile ? 0 : random_.Below(static_cast<uint32_t>(pages_.size()));
    job.page.placement.page = static_cast<int32_t>(place) + 1;
    job.page.flags = choice.flags | (bigEndian_ ? uint32_t{kSaveBigEndian} : 0u);
    job.format = choice.format;
    job.bitsPerPixel = choice.bits;
    job.gray = choice.gray && random_.Chance(30);
    if (choice.tiled) {
      constexpr uint32_t kSides[] = {8, 16, 17, 32, 48, 100, 512};
      job.page.tileWidth = kSides[random_.Below(7)];
      job.page.tileHeight = kSides[random_.Below(7)];
    }
    const bool rgb = !choice.gray && choice.bits >= 24 && !IsCmyk(choice.format) && !IsYCbCr(choice.format);
    if (rgb && !IsExif(choice.format) && random_.Chance(5)) {
      job.page.photometric = 2;
    } else if (choice.gray && random_.Chance(20)) {
      job.page.photometric = random_.Below(2);
    }

    ExpectedPixels expected;
    toolkit::Bitmap bitmap = AnyBitmap(choice, &expected);
    // Tiles are at least 16 wide, but a page that is not wider is written as strips, of rows as long as the tile's.
    expected.compared =
        expected.compared && !(choice.tiled && job.page.tileWidth < 16 &&
                               job.page.tileWidth < static_cast<uint32_t>(expected.width) && expected.width < 16);
    expected.text = Describe(choice, job, expected, static_cast<int32_t>(bitmap->height));
    toolkit::Bitmap stamp;
    ExpectedPixels expectedStamp;
    if (IsExif(choice.format) && random_.Chance(60)) {
      PageChoice second = choice;
      second.format = kFormatUncompressed;
      second.tiled = false;
      stamp = AnyBitmap(second, &expectedStamp);
      expectedStamp.text = "stamp of " + expected.text;
      if (bitmap->order == kOrderGray && stamp->order != kOrderGray) { // its rows are still asked for as grey
        expectedStamp.compared = false;
      }
      if (choice.bits == 24 && random_.Chance(40)) {
        job.page.flags |= kSaveStampYCbCr;
        expectedStamp.compared = false;
      } else if (IsYCbCr(choice.format)) { // its rows are still asked for blue first
        for (FileBytes& row : expectedStamp.rows) {
          ExchangeRedAndBlue(row, 24);
        }
      }
      job.stamp = &stamp;
    }
    SCOPED_TRACE("last save: " + expected.text + (newFile ? ", new" : ", at " + std::to_string(place + 1)));
    ASSERT_NO_THROW(toolkit::SavePage(name_, bitmap, job));
    Remember(job.page.placement.kind, place, std::move(expected));
    if (job.stamp != nullptr) {
      pages_.push_back(std::move(expectedStamp));
    }
    CompareAll();
  }

  // A bare LZW stream, loaded as the only strip of a page made around it.
  void StepOfBareStream() {
    PageChoice choice = AnyPage();
    choice.format = kFormatRawLzw;
    choice.bigEndian = false;
    const bool predicted = (choice.flags & kSavePredictor) != 0 && choice.bits >= 8 && choice.bits != 12;
    if (choice.bits == 12) {
      choice.flags &= ~kSavePredictor;
    }
    toolkit::SaveJob job;
    job.format = choice.format;
    job.bitsPerPixel = choice.bits;
    job.page.flags = choice.flags;
    ExpectedPixels expected;
    toolkit::Bitmap bitmap = AnyBitmap(choice, &expected);
    const auto height = static_cast<uint32_t>(expected.rows.size());
    SCOPED_TRACE(Describe(choice, job, expected, bitmap->height));
    ASSERT_NO_THROW(toolkit::SavePage(name_, bitmap, job));

    TiffDirectory page;
    if (predicted) {
      const bool gray = choice.gray || choice.bits == 8;
      const bool oneSample = gray || choice.bits == 16;
      const int32_t sampleBits = oneSample ? choice.bits : choice.bits >= 48 ? 16 : 8;
      const auto samples = static_cast<uint16_t>(choice.bits / sampleBits);
      page.Long(256, {static_cast<uint32_t>(expected.width)}).Short(277, {samples}).Short(317, {2});
      page.Short(258, std::vector<uint16_t>(samples, static_cast<uint16_t>(sampleBits)));
      page.Short(262, {static_cast<uint16_t>(gray ? 1 : 2)});
      if (samples == 4) {
        page.Short(338, {0});
      }
    } else { // bytes are bytes
      page.Long(256, {static_cast<uint32_t>(expected.rows[0].size())}).Short(258, {8}).Short(262, {1});
    }
    page.Long(257, {height}).Short(259, {5}).Long(278, {height}).Strips({target_.Read()});
    TiffBuilder builder;
    builder.AddPage(page.Sort());
    const TempFile wrapped(builder.Build());
    toolkit::LoadedPage loaded;
    ASSERT_NO_THROW(loaded = toolkit::LoadPage(wrapped.Path().string(), {}));
    ASSERT_EQ(+loaded.bitmap->height, static_cast<int32_t>(height));
    for (int32_t y = 0; y < loaded.bitmap->height; ++y) {
      const FileBytes& row = expected.rows[static_cast<size_t>(y)];
      ASSERT_EQ(FileBytes(loaded.bitmap.Row(y), loaded.bitmap.Row(y) + row.size()), row) << "row " << y;
    }
  }

private:
  uint32_t Pick(std::initializer_list<uint32_t> choices) {
    return choices.begin()[random_.Below(static_cast<uint32_t>(choices.size()))];
  }

  PageChoice AnyPage() {
    PageChoice page = {};
    page.format = static_cast<int32_t>(
        Pick({3, 3, 3, 17, 17, 17, 87, 87, 87, 85, 86, 88, 93, 94, 95, 96, 97, 174, 25, 27, 28, 29, 131}));
    page.bits = static_cast<int32_t>(Pick({1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64}));
    page.gray = page.bits == 12 || ((page.bits == 16 || page.bits == 32) && random_.Chance(50));
    if (IsFax(page.format)) {
      page.bits = 1;
      page.gray = false;
    } else if (IsCmyk(page.format)) {
      page.bits = static_cast<int32_t>(Pick({24, 32, 24, 32, 48, 64}));
      page.gray = false;
    } else if (IsYCbCr(page.format)) {
      page.bits = 24;
      page.gray = false;
    } else if (IsExif(page.format)) {
      page.bits = random_.Chance(50) ? 24 : 8;
      page.gray = false;
    }
    page.flags = (random_.Chance(30) ? kSavePredictor : 0u) | (random_.Chance(20) ? uint32_t{kSaveFillOrder2} : 0u) |
                 (random_.Chance(20) ? uint32_t{kSaveDropGrayPalette} : 0u) |
                 (random_.Chance(20) ? uint32_t{kSaveAskFaxColours} : 0u) |
                 (random_.Chance(10) ? uint32_t{kSaveNoSubfileType} : 0u) |
                 (random_.Chance(10) ? uint32_t{kSaveKeepPageNumbers} : 0u);
    // Variant pages of several tiles are taken for strips.
    page.tiled = page.format != kFormatVariant && random_.Chance(40);
    return page;
  }

  FileBytes AnyRow(size_t bytes, const FileBytes* above) {
    switch (random_.Below(5)) {
    case 0:
      return FileBytes(bytes, static_cast<uint8_t>(random_.Next()));
    case 1: { // runs
      FileBytes row;
      while (row.size() < bytes) {
        row.insert(row.end(), 1 + random_.Below(200), static_cast<uint8_t>(random_.Next()));
      }
      row.resize(bytes);
      return row;
    }
    case 2: { // a ramp
      FileBytes row(bytes);
      const uint32_t step = random_.Below(5);
      for (size_t i = 0; i < bytes; ++i) {
        row[i] = static_cast<uint8_t>(i * step);
      }
      return row;
    }
    case 3:
      if (above != nullptr) {
        return *above;
      }
      [[fallthrough]];
    default:
      return random_.Bytes(bytes);
    }
  }

  // The palette of an indexed bitmap; none for the plain ramp of a grey one.
  std::vector<VxColor> AnyPalette(const PageChoice& choice) {
    const VxColor white = {255, 255, 255, 0};
    const VxColor black = {0, 0, 0, 0};
    if (IsFax(choice.format) || (choice.bits == 1 && random_.Chance(60))) {
      return random_.Chance(50) ? std::vector<VxColor>{white, black} : std::vector<VxColor>{black, white};
    }
    std::vector<VxColor> palette(size_t{1} << choice.bits);
    for (VxColor& colour : palette) {
      colour = {static_cast<uint8_t>(random_.Next()), static_cast<uint8_t>(random_.Next()),
                static_cast<uint8_t>(random_.Next()), 0};
    }
    return palette;
  }

  static std::vector<VxColor> Ramp(int32_t bits) {
    const uint32_t last = (1u << bits) - 1;
    std::vector<VxColor> ramp;
    for (uint32_t i = 0; i <= last; ++i) {
      const auto gray = static_cast<uint8_t>((last / 2 + 255 * i) / last);
      ramp.push_back({gray, gray, gray, 0});
    }
    return ramp;
  }

  toolkit::Bitmap AnyBitmap(const PageChoice& choice, ExpectedPixels* expected) {
    const bool large = random_.Chance(6); // so that pages take several strips
    const auto width = static_cast<int32_t>(1 + random_.Below(large ? 900 : 70));
    const auto height = static_cast<int32_t>(1 + random_.Below(large ? 60 : 40));
    const bool colour = choice.bits >= 24 && !choice.gray;
    const bool plainRamp = choice.bits <= 8 && !IsFax(choice.format) && random_.Chance(30);
    const uint32_t order = choice.gray || (plainRamp && random_.Chance(50)) ? kOrderGray
                           : colour && random_.Chance(50)                   ? kOrderBlueFirst
                                                                            : kOrderRedFirst;
    toolkit::Bitmap bitmap;
    EXPECT_EQ(bitmap.Create(width, height, choice.bits, order), kResultOk);
    bitmap->viewPerspective = random_.Chance(40) ? 1 + random_.Below(8) : 1;
    if (choice.format == kFormatVariant && bitmap->viewPerspective != 4) {
      bitmap->viewPerspective = 1; // its views stand in a tag of their own
    }
    bitmap->xResolution = static_cast<int32_t>(random_.Below(1200));
    bitmap->yResolution = static_cast<int32_t>(random_.Below(1200));
    if (choice.gray && choice.bits == 16 && random_.Chance(40)) {
      bitmap->lowBit = bitmap->lowBit2 = expected->lowBit = static_cast<int32_t>(1 + random_.Below(4));
      bitmap->highBit = bitmap->highBit2 = expected->highBit = static_cast<int32_t>(8 + random_.Below(7));
    }
    if (choice.bits <= 8) {
      const std::vector<VxColor> palette = plainRamp ? Ramp(choice.bits) : AnyPalette(choice);
      if (order != kOrderGray) {
        krnBitmapSetPalette(bitmap.Handle(), palette.data(), static_cast<uint32_t>(palette.size()));
      }
      expected->palette = palette;
      expected->byColour = IsFax(choice.format);
    }
    const size_t bytes = (static_cast<size_t>(width) * static_cast<size_t>(choice.bits) + 7) / 8;
    Rows rows;
    for (int32_t y = 0; y < height; ++y) {
      rows.push_back(AnyRow(bytes, rows.empty() ? nullptr : &rows.back()));
      ClearSpareBits(rows.back(), width, choice.bits);
      std::memcpy(bitmap.Row(y), rows.back().data(), bytes);
    }
    if (order == kOrderBlueFirst) {
      for (FileBytes& row : rows) {
        ExchangeRedAndBlue(row, choice.bits);
      }
    }
    if (bitmap->viewPerspective == 4) {
      std::reverse(rows.begin(), rows.end());
    }
    expected->width = width;
    expected->bits = choice.bits;
    expected->rows = std::move(rows);
    expected->compared = !ComesBackChanged(choice);
    expected->view = bitmap->viewPerspective == 4 ? 1 : bitmap->viewPerspective;
    expected->xResolution = bitmap->xResolution;
    expected->yResolution = bitmap->yResolution;
    return bitmap;
  }

  // Bits behind the last pixel.
  static void ClearSpareBits(FileBytes& row, int32_t width, int32_t bits) {
    const uint32_t used = static_cast<uint32_t>(width) * static_cast<uint32_t>(bits) % 8;
    if (used != 0) {
      const auto mask = static_cast<uint8_t>(bits == 12 ? 0x0F : 0xFF00 >> used); // 12 bits: low nibbles first
      row.back() &= mask;
    }
  }

  static void ExchangeRedAndBlue(FileBytes& row, int32_t bits) {
    const size_t sample = bits >= 48 ? 2 : 1;
    const size_t pixel = static_cast<size_t>(bits) / 8;
    for (size_t i = 0; i + pixel <= row.size(); i += pixel) {
      for (size_t j = 0; j < sample; ++j) {
        std::swap(row[i + j], row[i + 2 * sample + j]);
      }
    }
  }

  static std::string Describe(const PageChoice& choice, const toolkit::SaveJob& job, const ExpectedPixels& page,
                              int32_t height) {
    char flags[16];
    std::snprintf(flags, sizeof flags, "%#x", static_cast<unsigned>(choice.flags));
    return "format " + std::to_string(choice.format) + ", " + std::to_string(choice.bits) + " bits" +
           (choice.gray ? " grey" : "") + ", " + std::to_string(page.width) + " by " + std::to_string(height) +
           ", flags " + flags + (choice.bigEndian ? ", big-endian" : ", little-endian") +
           (choice.tiled
                ? ", tiles of " + std::to_string(job.page.tileWidth) + " by " + std::to_string(job.page.tileHeight)
                : std::string()) +
           (job.gray ? ", asked for grey" : "") +
           (job.page.photometric ? ", photometric " + std::to_string(*job.page.photometric) : std::string());
  }

  void Remember(toolkit::Placement::Kind kind, size_t place, ExpectedPixels page) {
    switch (kind) {
    case toolkit::Placement::Kind::kNewFile:
      pages_.clear();
      pages_.push_back(std::move(page));
      break;
    case toolkit::Placement::Kind::kAppend:
      pages_.push_back(std::move(page));
      break;
    case toolkit::Placement::Kind::kInsert:
      pages_.insert(pages_.begin() + static_cast<std::ptrdiff_t>(place), std::move(page));
      break;
    case toolkit::Placement::Kind::kReplace:
      pages_[place] = std::move(page);
      break;
    }
  }

  void CompareAll() {
    toolkit::ReportOptions last;
    last.page = -1;
    ASSERT_EQ(toolkit::DescribePage(name_, last).totalPages, pages_.size());
    for (size_t i = 0; i < pages_.size(); ++i) {
      SCOPED_TRACE("page " + std::to_string(i + 1) + ": " + pages_[i].text);
      toolkit::LoadOptions options;
      options.page = static_cast<int32_t>(i) + 1;
      toolkit::LoadedPage loaded;
      ASSERT_NO_THROW(loaded = toolkit::LoadPage(name_, options));
      Compare(loaded, pages_[i]);
      if (testing::Test::HasFailure()) {
        return;
      }
    }
  }

  static std::vector<VxColor> Colours(const toolkit::Bitmap& bitmap) {
    uint32_t count = 0;
    const VxColor* colours = krnBitmapPalette(bitmap.Handle(), &count);
    return colours == nullptr ? std::vector<VxColor>() : std::vector<VxColor>(colours, colours + count);
  }

  static uint32_t Index(const uint8_t* row, size_t pixel, int32_t bits) {
    uint32_t index = 0;
    for (int32_t i = 0; i < bits; ++i) {
      const size_t at = pixel * static_cast<size_t>(bits) + static_cast<size_t>(i);
      index = index << 1 | (row[at / 8] >> (7 - at % 8) & 1);
    }
    return index;
  }

  static void Compare(const toolkit::LoadedPage& loaded, const ExpectedPixels& expected) {
    const toolkit::Bitmap& bitmap = loaded.bitmap;
    ASSERT_EQ(+bitmap->width, expected.width);
    ASSERT_EQ(+bitmap->height, static_cast<int32_t>(expected.rows.size()));
    ASSERT_EQ(+bitmap->viewPerspective, expected.view);
    ASSERT_EQ(+bitmap->xResolution, expected.xResolution);
    ASSERT_EQ(+bitmap->yResolution, expected.yResolution);
    if (!expected.compared) {
      return;
    }
    ASSERT_EQ(loaded.warning, 1);
    ASSERT_EQ(+bitmap->bitsPerPixel, expected.bits);
    if (expected.highBit >= 0) {
      ASSERT_EQ(+bitmap->lowBit, expected.lowBit);
      ASSERT_EQ(+bitmap->highBit, expected.highBit);
    }
    const std::vector<VxColor> colours = Colours(bitmap);
    if (expected.bits <= 8 && !expected.byColour) {
      ASSERT_GE(colours.size(), expected.palette.size());
      for (size_t i = 0; i < expected.palette.size(); ++i) {
        ASSERT_EQ(std::memcmp(&colours[i], &expected.palette[i], 3), 0) << "colour " << i;
      }
    }
    for (int32_t y = 0; y < bitmap->height; ++y) {
      const FileBytes& row = expected.rows[static_cast<size_t>(y)];
      const uint8_t* got = bitmap.Row(y);
      if (!expected.byColour) {
        FileBytes pixels(got, got + row.size());
        ClearSpareBits(pixels, expected.width, expected.bits);
        ASSERT_EQ(pixels, row) << "row " << y;
        continue;
      }
      ASSERT_GE(colours.size(), 2u);
      for (int32_t x = 0; x < expected.width; ++x) {
        const VxColor& was = expected.palette[Index(row.data(), static_cast<size_t>(x), 1)];
        const VxColor& is = colours[Index(got, static_cast<size_t>(x), 1)];
        ASSERT_EQ(std::memcmp(&is, &was, 3), 0) << "row " << y << ", column " << x;
      }
    }
  }

  Random& random_;
  TempFile target_;
  std::string name_;
  bool bigEndian_ = false;
  bool variant_ = false;
  std::vector<ExpectedPixels> pages_;
};

TEST(SavedPages, ComeBackAsTheyWentIn) {
  KernelGuard guard;
  Random random(TestSeed("saved pages", 20260202));
  RandomSaves saves(&random);
  const uint32_t steps = TestSteps(kSaves);
  for (uint32_t i = 0; i < steps && !HasFailure(); ++i) {
    SCOPED_TRACE("save " + std::to_string(i));
    saves.Step();
  }
}

TEST(SavedStreams, ComeBackAsTheyWentIn) {
  KernelGuard guard;
  Random random(TestSeed("saved streams", 20260203));
  RandomSaves saves(&random);
  const uint32_t steps = TestSteps(kSaves / 10);
  for (uint32_t i = 0; i < steps && !HasFailure(); ++i) {
    SCOPED_TRACE("save " + std::to_string(i));
    saves.StepOfBareStream();
  }
}

} // namespace
