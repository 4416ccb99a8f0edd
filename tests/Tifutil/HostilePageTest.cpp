// The page parser on damaged and hostile files: cut anywhere, any byte changed, tags repeated without end. Nothing may
// leave a block, leak or take long; the sanitizers watch these runs in their build.

#include <gtest/gtest.h>

#include <chrono>

#include "Tifutil/ParsedPage.h"

namespace {

constexpr ParseMode kModes[] = {ParseMode::kInformation, ParseMode::kLoad};

FileBytes PrivateBlock() {
  FileBytes block = {3, 0};
  for (const auto& [tag, type, count, value] : {std::tuple{0, 4, 1, 5}, {3, 4, 1, 9}, {2, 1, 6, 38}}) {
    AppendU16(block, FileOrder::kLittle, static_cast<uint16_t>(tag));
    AppendU16(block, FileOrder::kLittle, static_cast<uint16_t>(type));
    AppendU32(block, FileOrder::kLittle, static_cast<uint32_t>(count));
    AppendU32(block, FileOrder::kLittle, static_cast<uint32_t>(value));
  }
  block.insert(block.end(), {1, 2, 3, 4, 5, 6});
  return block;
}

// A page with nearly every tag that the parser reads.
FileBytes RichFile(FileOrder order) {
  TiffBuilder builder(order);
  const FileBytes block = PrivateBlock();
  builder.AddPage()
      .Long(256, {20})
      .Short(257, {6})
      .Short(258, {8, 8, 8})
      .Short(259, {1})
      .Short(262, {6})
      .Short(266, {2})
      .Ascii(271, "Eastman Kodak")
      .Strips(std::vector<FileBytes>(3, FileBytes(10, 7)), 3)
      .Short(274, {5})
      .Short(277, {3})
      .Short(278, {2})
      .Short(280, {1})
      .Rational(282, {{300, 1}})
      .Rational(283, {{300, 7}})
      .Short(284, {1})
      .Short(296, {3})
      .Ascii(305, "TIFFPrinter 1")
      .Short(317, {2})
      .Short(339, {1, 1, 1})
      .Rational(529, {{299, 1000}, {587, 1000}, {114, 1001}})
      .Short(530, {2, 1})
      .Rational(532, {{0, 1}, {255, 1}, {128, 1}, {255, 1}, {128, 2}, {255, 1}})
      .Short(33465, {1})
      .Long(34665, {8})
      .Short(34735, {1, 1, 0, 0})
      .Pointer(50234, 7, static_cast<uint32_t>(block.size()), block)
      .Short(50235, {5, 6})
      .Long(50236, {7});
  builder.AddPage(GrayPage(3, 3));
  return builder.Build();
}

FileBytes VariantFile(FileOrder order) {
  TiffBuilder builder(order, 12622);
  builder.AddPage()
      .Short(256, {64})
      .Short(257, {9})
      .Strips(std::vector<FileBytes>(3, FileBytes(10, 7)))
      .Short(278, {3})
      .Short(33466, {1, 4, 4})
      .Short(33467, {2, 0, 1});
  return builder.Build();
}

FileBytes TiledCurveFile(FileOrder order) {
  TiffBuilder builder(order);
  std::vector<uint16_t> curve(16, 100);
  builder.AddPage()
      .Short(256, {40})
      .Short(257, {40})
      .Byte(258, {4})
      .Short(259, {34710})
      .Short(262, {1})
      .Short(291, curve)
      .Short(322, {16})
      .Short(323, {16})
      .Tiles(std::vector<FileBytes>(9, FileBytes(8, 1)))
      .Short(338, {0});
  return builder.Build();
}

std::vector<FileBytes> GoodFiles() {
  std::vector<FileBytes> files;
  for (FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
    files.push_back(RichFile(order));
    files.push_back(VariantFile(order));
    files.push_back(TiledCurveFile(order));
  }
  return files;
}

// Whatever comes out of a parse is whole: tables as long as they say.
uint64_t TouchAll(const TifPage& page) {
  uint64_t sum = page.samplesPerPixel;
  for (uint32_t i = 0; i < page.stripCount; ++i) {
    sum += page.stripOffsets != nullptr ? page.stripOffsets[i] : 0;
    sum += page.stripByteCounts != nullptr ? page.stripByteCounts[i] : 0;
  }
  for (uint32_t i = 0; i < page.grayResponseCount; ++i) {
    sum += page.grayResponseCurve[i];
  }
  return sum;
}

volatile uint64_t touched;

void ParseBothModes(const FileBytes& bytes) {
  for (ParseMode mode : kModes) {
    KernelGuard guard;
    ParsedPage page(bytes, mode);
    if (page.seek != kResultOk) {
      continue;
    }
    const bool known = page.result == kResultOk || page.result == kResultRefused || page.result == kResultNotTiff;
    EXPECT_TRUE(known) << page.result;
    if (page.result == kResultOk) {
      EXPECT_LE(uint32_t{page->samplesPerPixel}, 16u);
      touched = TouchAll(page.Page()); // for the sanitizers to see
    } else if (page.result == kResultRefused) {
      EXPECT_TRUE(page.OwnsNothing());
    }
  }
}

double SecondsToParse(const FileBytes& bytes) {
  const auto begin = std::chrono::steady_clock::now();
  for (ParseMode mode : kModes) {
    KernelGuard guard;
    ParsedPage page(bytes, mode);
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

} // namespace

TEST(DamagedPages, TheGoodFilesAreGood) {
  for (const FileBytes& bytes : GoodFiles()) {
    EXPECT_EQ(ParsedPage(bytes, ParseMode::kLoad).result, kResultOk);
    EXPECT_EQ(ParsedPage(bytes, ParseMode::kInformation).result, kResultOk);
  }
}

TEST(DamagedPages, CutAtEveryLength) {
  for (const FileBytes& bytes : GoodFiles()) {
    for (size_t size = 0; size < bytes.size(); ++size) {
      ParseBothModes(FileBytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)));
    }
  }
}

TEST(DamagedPages, EveryByteChanged) {
  for (const FileBytes& good : GoodFiles()) {
    for (size_t at = 0; at < good.size(); ++at) {
      for (uint8_t value : FileBytes{0x00, 0x01, 0x7F, 0x80, 0xFF}) {
        FileBytes bytes = good;
        bytes[at] = value;
        ParseBothModes(bytes);
      }
    }
  }
}

TEST(DamagedPages, EveryFaultOfMemoryAndFile) {
  for (const FileBytes& bytes : GoodFiles()) {
    for (uint64_t nth = 1; nth < 20; ++nth) {
      KernelGuard guard;
      MemoryInput input(bytes);
      TifFile file{};
      file.fileHandle = input.Handle();
      uint32_t reached = 0;
      ASSERT_EQ(TIFSeekPage(&file, 1, 0, &reached, PageSearch::kLenient), kResultOk);
      TifPage page{};
      AllocFaults faults(nth);
      const int32_t result = TIFReadPageInfo(&file, &page, ParseMode::kLoad, RgbMode::kAsStored);
      EXPECT_TRUE(result == kResultOk || result == kResultRefused);
      TIFFreePageTables(&page);
    }
    for (IoCall call : {IoCall::kRead, IoCall::kSeek}) {
      for (FaultSpan span : {FaultSpan::kOnce, FaultSpan::kFromThenOn}) {
        for (uint64_t nth = 1; nth < 80; ++nth) {
          IoFaults faults;
          faults.Fail(call, nth, span);
          ParseBothModes(bytes);
        }
      }
    }
  }
}

TEST(HostilePages, TagsRepeatedWithoutEndAreDoneWithInTime) {
  // Many entries, each of which asks for as much of the file as there is. (The sanitizers need some 0.3 ms for a large
  // block, so these are fewer than a directory can have.)
  struct Case {
    uint16_t tag;
    uint16_t type;
    uint32_t count;
    uint16_t version;
  };
  constexpr uint32_t kBlock = 400000;
  constexpr uint32_t kEntries = 8192;
  constexpr Case kCases[] = {
      {273, 3, kBlock / 2, 42}, {279, 4, kBlock / 4, 42},
      {291, 3, 65536, 42},      {33466, 3, 65535, 42},
      {258, 3, 16, 42},         {258, 1, 4, 42},
      {271, 2, kBlock, 42},     {305, 2, 20, 42},
      {282, 5, 1, 42},          {50234, 7, kBlock, 42},
      {529, 5, 3, 42},          {532, 5, 6, 42},
      {33467, 3, 1000, 12622},  {33466, 3, 0xFFFFFFFF, 42},
      {324, 3, kBlock / 2, 42}, {325, 4, kBlock / 4, 42},
  };
  for (const Case& test : kCases) {
    TiffBuilder builder(FileOrder::kLittle, test.version);
    TiffDirectory& page = builder.AddPage();
    page.Short(262, {6});
    if (test.tag == 291) {
      page.Short(258, {16});
    }
    if (test.tag == 33467) {
      page.Long(273, std::vector<uint32_t>(1000, 1)).Short(33466, {1, 4, 1});
    }
    const uint32_t block = 8 + 2 + 12 * kEntries + 4 + 8192;
    while (page.EntryCount() < kEntries) {
      page.RawWord(test.tag, test.type, test.count, block);
    }
    builder.Place(block, FileBytes(kBlock, 1));
    const double seconds = SecondsToParse(builder.Build());
    EXPECT_LT(seconds, 20.0) << "tag " << test.tag; // in the slowest build; a release build needs 0.2
    RecordProperty("seconds_tag_" + std::to_string(test.tag), std::to_string(seconds));
  }
}
