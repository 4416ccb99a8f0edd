// fltLoadCMYKArray: a CMYK page as one grey bitmap an ink.

#include <gtest/gtest.h>

#include "Tif/SampleSplit.h"
#include "load/LoadProbe.h"

namespace {

class ArrayProbe {
public:
  ArrayProbe(const FileBytes& bytes, int32_t count, int32_t width, int32_t height, int32_t depth, size_t rowBytes)
      : file(bytes), bitmaps(static_cast<size_t>(count)) {
    for (BitmapHandle& bitmap : bitmaps) {
      krnBitmapInit(&bitmap, kBitmapHandleSize, width, height, depth);
      pointers.push_back(&bitmap);
    }
    rows.rowBytes = rowBytes;
    request.fileName = file.Name();
    request.bitmaps = pointers.data();
    request.bitmapCount = count;
    request.fileInfo = &info;
    request.fileOptions = &options;
    request.rowCallback = RowKeeper::Take;
    request.rowCallbackData = reinterpret_cast<intptr_t>(&rows);
  }
  int32_t Load() { return fltLoadCMYKArray(&request); }
  // The rows of one ink, one behind the other.
  FileBytes Ink(size_t index) const {
    FileBytes pixels;
    for (const DeliveredRows& call : rows.calls) {
      if (call.bitmap == pointers[index]) {
        pixels.insert(pixels.end(), call.bytes.begin(), call.bytes.end());
      }
    }
    return pixels;
  }

  KernelGuard guard;
  TempFile file;
  FileOptions options = {};
  FileInfoRecord info = {};
  std::vector<BitmapHandle> bitmaps;
  std::vector<BitmapHandle*> pointers;
  RowKeeper rows;
  FilterLoadCMYKRequest request = {};
};

// 2 x 2 pixels: C 0 to 3, M 10.., Y 20.., K 30..
FileBytes InkPixels() {
  FileBytes pixels;
  for (uint8_t i = 0; i < 4; ++i) {
    pixels.insert(pixels.end(),
                  {i, static_cast<uint8_t>(10 + i), static_cast<uint8_t>(20 + i), static_cast<uint8_t>(30 + i)});
  }
  return pixels;
}

FileBytes ChunkyInks() {
  return FileOf(Page(2, 2, {8, 8, 8, 8}, 5).Strips({InkPixels()}));
}

TEST(CmykArray, NullRequestIsAnInvalidParameter) {
  EXPECT_EQ(fltLoadCMYKArray(nullptr), kResultInvalidParameter);
}

TEST(CmykArray, ChunkyInksComeApartUnconverted) {
  ArrayProbe probe(ChunkyInks(), 4, 2, 2, 8, 2);
  EXPECT_EQ(probe.Load(), 1);
  for (uint8_t ink = 0; ink < 4; ++ink) {
    EXPECT_EQ(probe.Ink(ink), Counting(4, static_cast<uint8_t>(10 * ink)));
  }
  ASSERT_EQ(probe.rows.calls.size(), 8u);
  // Row by row, all inks of a row; no marks of first and last rows.
  EXPECT_EQ(probe.rows.calls[3].bitmap, probe.pointers[3]);
  EXPECT_EQ(probe.rows.calls[3].firstRow, 0);
  EXPECT_EQ(probe.rows.calls[4].firstRow, 1);
  for (const DeliveredRows& call : probe.rows.calls) {
    EXPECT_EQ(call.flags, 0u);
    EXPECT_EQ(call.rowCount, 1);
  }
}

TEST(CmykArray, RgbPageIsRefused) {
  ArrayProbe probe(FileOf(Page(2, 1, {8, 8, 8}, 2).Strips({Counting(6)})), 4, 2, 1, 8, 2);
  EXPECT_EQ(probe.Load(), kResultNotCmyk); // the guard sees the file closed
}

TEST(CmykArray, ForcedRgbIsNoCmyk) {
  ArrayProbe probe(ChunkyInks(), 4, 2, 2, 8, 2);
  probe.options.flags = kReadForceRgb;
  EXPECT_EQ(probe.Load(), kResultNotCmyk);
}

TEST(CmykArray, ThreeBitmapsGetThreePlanes) {
  ArrayProbe probe(ChunkyInks(), 3, 2, 2, 8, 2);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.rows.calls.size(), 6u);
  EXPECT_EQ(probe.Ink(2), Counting(4, 20));
}

TEST(CmykArray, NoBitmapsGetNothing) {
  ArrayProbe probe(ChunkyInks(), 0, 2, 2, 8, 2);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_TRUE(probe.rows.calls.empty());
  probe.request.bitmapCount = -1;
  EXPECT_EQ(probe.Load(), 1);
  probe.request.bitmapCount = 4;
  probe.request.bitmaps = nullptr;
  EXPECT_EQ(probe.Load(), 1);
}

TEST(CmykArray, NullBitmapIsNoBitmap) {
  ArrayProbe probe(ChunkyInks(), 4, 2, 2, 8, 2);
  probe.pointers[2] = nullptr;
  EXPECT_EQ(probe.Load(), kResultNoBitmap);
}

TEST(CmykArray, AlphaIsSteppedOver) {
  TiffDirectory page = Page(2, 1, {8, 8, 8, 8, 8}, 5).Strips({{1, 2, 3, 4, 99, 5, 6, 7, 8, 98}}).Short(338, {1});
  ArrayProbe probe(FileOf(page), 4, 2, 1, 8, 2);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Ink(0), FileBytes({1, 5}));
  EXPECT_EQ(probe.Ink(3), FileBytes({4, 8}));
  ArrayProbe five(FileOf(page), 5, 2, 1, 8, 2);
  EXPECT_EQ(five.Load(), 1);
  EXPECT_EQ(five.Ink(4), FileBytes({99, 98}));
}

TEST(CmykArray, SixteenBitsStepByTwoPixels) {
  // Two rows of 2 pixels. The second sample of each row comes from two pixels further: the first of the next row. For
  // the last row that lies behind the band, and stays 0.
  std::vector<uint16_t> samples;
  for (uint16_t i = 0; i < 16; ++i) {
    samples.push_back(static_cast<uint16_t>(0x0100 + i));
  }
  ArrayProbe probe(FileOf(Page(2, 2, {16, 16, 16, 16}, 5).Strips({Words(samples)})), 4, 2, 2, 16, 4);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Ink(0), Words({0x0100, 0x0108, 0x0108, 0}));
  EXPECT_EQ(probe.Ink(3), Words({0x0103, 0x010B, 0x010B, 0}));
}

TEST(CmykArray, SixteenBitsAreNotSwapped) {
  TiffDirectory page = Page(1, 1, {16, 16, 16, 16}, 5).Strips({Words({1, 2, 3, 4}, FileOrder::kBig)});
  ArrayProbe probe(FileOf(page, FileOrder::kBig), 4, 1, 1, 16, 2);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Ink(1), FileBytes({0, 2}));
}

TEST(CmykArray, OtherDepthsAreNotSupported) {
  ArrayProbe probe(FileOf(Page(2, 1, {4, 4, 4, 4}, 5).Strips({Counting(4)})), 4, 2, 1, 4, 1);
  EXPECT_EQ(probe.Load(), kResultDepthNotSupported);
}

TEST(CmykArray, SeparatePlanesComeOneAfterTheOther) {
  TiffDirectory page = Page(2, 2, {8, 8, 8, 8}, 5);
  page.Strips({Counting(4), Counting(4, 10), Counting(4, 20), Counting(4, 30)}).Short(284, {2});
  ArrayProbe probe(FileOf(page), 4, 2, 2, 8, 2);
  EXPECT_EQ(probe.Load(), 1);
  ASSERT_EQ(probe.rows.calls.size(), 8u);
  EXPECT_EQ(probe.rows.calls[1].bitmap, probe.pointers[0]); // all rows of the first plane first
  EXPECT_EQ(probe.rows.calls[2].bitmap, probe.pointers[1]);
  EXPECT_EQ(probe.rows.calls[7].flags, 0u);
  for (uint8_t ink = 0; ink < 4; ++ink) {
    EXPECT_EQ(probe.Ink(ink), Counting(4, static_cast<uint8_t>(10 * ink)));
  }
}

TEST(CmykArray, PlanesOfAnyDepth) {
  TiffDirectory page = Page(8, 1, {1, 1, 1, 1}, 5).Strips({{0x11}, {0x22}, {0x33}, {0x44}}).Short(284, {2});
  ArrayProbe probe(FileOf(page), 4, 8, 1, 1, 1);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Ink(3), FileBytes({0x44}));
}

TEST(CmykArray, SplitPlanesWithAShortLastStrip) {
  std::vector<FileBytes> strips;
  for (uint8_t ink : FileBytes{10, 20, 30, 40}) {
    strips.emplace_back(size_t{2048} * 8, ink);
    strips.emplace_back(size_t{2048} * 2, static_cast<uint8_t>(ink + 1));
  }
  TiffDirectory page = Page(2048, 10, {8, 8, 8, 8}, 5).Strips(strips).Short(278, {8}).Short(284, {2});
  ArrayProbe probe(FileOf(page), 4, 2048, 10, 8, 2048);
  EXPECT_EQ(probe.Load(), 1);
  ASSERT_EQ(probe.rows.calls.size(), 40u);
  EXPECT_EQ(probe.rows.calls[37].bytes, FileBytes(2048, 40));
  EXPECT_EQ(probe.rows.calls[39].bytes, FileBytes(2048, 41));
}

TEST(CmykArray, PlanesBeyondTheBitmapsStopTheLoop) {
  TiffDirectory page = Page(2, 1, {8, 8, 8, 8}, 5);
  page.Strips({{0, 1}, {2, 3}, {4, 5}, {6, 7}}).Short(284, {2});
  ArrayProbe probe(FileOf(page), 2, 2, 1, 8, 2);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.rows.calls.size(), 2u);
  ArrayProbe none(FileOf(page), 0, 2, 1, 8, 2);
  EXPECT_EQ(none.Load(), kResultNoBitmap);
}

TEST(CmykArray, CompressedPages) {
  FileBytes packed;
  for (int row = 0; row < 2; ++row) {
    const FileBytes pixels = InkPixels();
    packed.push_back(7);
    packed.insert(packed.end(), pixels.begin() + 8 * row, pixels.begin() + 8 * (row + 1));
  }
  ArrayProbe probe(FileOf(Page(2, 2, {8, 8, 8, 8}, 5, 32773).Strips({packed})), 4, 2, 2, 8, 2);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Ink(3), Counting(4, 30));
}

// Every form that is decoded here: what comes is worked out from the samples, for chunky words by the step of two words
// a sample from the row's place in its strip.
struct InkForm {
  uint16_t compression;
  uint16_t bits;
  uint32_t inks;
  bool planar;
  FileOrder order;
};

constexpr uint32_t kFormWidth = 6;
constexpr uint32_t kFormHeight = 5;
constexpr uint32_t kFormStripRows = 2;

uint32_t FormSample(uint32_t ink, uint32_t x, uint32_t y, uint32_t bits) {
  const uint32_t value = ink * 40 + x * 5 + y * 31;
  return bits == 8 ? value & 0xFF : (value * 259 + 7) & 0xFFFF;
}

void PutSample(FileBytes& bytes, uint32_t sample, uint32_t bits, FileOrder order) {
  if (bits == 16 && order == FileOrder::kBig) {
    bytes.push_back(static_cast<uint8_t>(sample >> 8));
  }
  bytes.push_back(static_cast<uint8_t>(sample));
  if (bits == 16 && order == FileOrder::kLittle) {
    bytes.push_back(static_cast<uint8_t>(sample >> 8));
  }
}

// Codes of 9 bits, which suffice for these few bytes: a clear, the bytes, the end.
FileBytes PackLzw(const FileBytes& plain) {
  FileBytes bytes;
  uint32_t bits = 0;
  uint32_t count = 0;
  const auto put = [&](uint32_t code) {
    bits = bits << 9 | code;
    for (count += 9; count >= 8; count -= 8) {
      bytes.push_back(static_cast<uint8_t>(bits >> (count - 8)));
    }
  };
  put(256);
  for (uint8_t byte : plain) {
    put(byte);
  }
  put(257);
  bytes.push_back(static_cast<uint8_t>(bits << (8 - count)));
  return bytes;
}

FileBytes PackRows(const FileBytes& plain, size_t rowBytes) {
  FileBytes bytes;
  for (size_t at = 0; at < plain.size(); at += rowBytes) {
    bytes.push_back(static_cast<uint8_t>(rowBytes - 1));
    bytes.insert(bytes.end(), plain.begin() + static_cast<ptrdiff_t>(at),
                 plain.begin() + static_cast<ptrdiff_t>(at + rowBytes));
  }
  return bytes;
}

// The rows of some inks of one strip, uncompressed.
FileBytes FormStrip(const InkForm& form, uint32_t firstInk, uint32_t inks, uint32_t strip) {
  FileBytes plain;
  for (uint32_t y = strip * kFormStripRows; y < std::min((strip + 1) * kFormStripRows, kFormHeight); ++y) {
    for (uint32_t x = 0; x < kFormWidth; ++x) {
      for (uint32_t ink = firstInk; ink < firstInk + inks; ++ink) {
        PutSample(plain, FormSample(ink, x, y, form.bits), form.bits, form.order);
      }
    }
  }
  return plain;
}

FileBytes FormFile(const InkForm& form) {
  constexpr uint32_t kStrips = (kFormHeight + kFormStripRows - 1) / kFormStripRows;
  const uint32_t inksInRow = form.planar ? 1 : form.inks;
  const size_t rowBytes = size_t{kFormWidth} * inksInRow * form.bits / 8;
  std::vector<FileBytes> strips;
  for (uint32_t ink = 0; ink < form.inks; ink += inksInRow) {
    for (uint32_t strip = 0; strip < kStrips; ++strip) {
      const FileBytes plain = FormStrip(form, ink, inksInRow, strip);
      strips.push_back(form.compression == 5       ? PackLzw(plain)
                       : form.compression == 32773 ? PackRows(plain, rowBytes)
                                                   : plain);
    }
  }
  TiffDirectory page = Page(kFormWidth, kFormHeight, std::vector<uint16_t>(form.inks, form.bits), 5, form.compression);
  page.Strips(strips).Short(278, {kFormStripRows}).Short(284, {static_cast<uint16_t>(form.planar ? 2 : 1)});
  if (form.inks == 5) {
    page.Short(338, {0});
  }
  return FileOf(page, form.order);
}

FileBytes FormInk(const InkForm& form, uint32_t ink) {
  FileBytes expected;
  for (uint32_t y = 0; y < kFormHeight; ++y) {
    const uint32_t strip = y / kFormStripRows;
    const uint32_t rows = std::min(kFormStripRows, kFormHeight - strip * kFormStripRows);
    for (uint32_t x = 0; x < kFormWidth; ++x) {
      uint32_t pixel = (y - strip * kFormStripRows) * kFormWidth + x;
      if (form.bits == 16 && !form.planar) {
        pixel += x;
      }
      // Behind the rows of the strip: the last strip is short, but the buffer is that of a whole one.
      const bool inside = pixel < rows * kFormWidth;
      const bool inBuffer = pixel < kFormStripRows * kFormWidth;
      uint32_t row = strip * kFormStripRows + pixel / kFormWidth;
      if (!inside && inBuffer && strip > 0) {
        row -= kFormStripRows; // what the buffer held before
      }
      const uint32_t sample = inBuffer ? FormSample(ink, pixel % kFormWidth, row, form.bits) : 0;
      PutSample(expected, sample, form.bits, form.order);
    }
  }
  return expected;
}

TEST(CmykArray, EveryFormThatIsDecodedHere) {
  for (const uint16_t compression : {uint16_t{1}, uint16_t{5}, uint16_t{32773}}) {
    for (const uint16_t bits : {uint16_t{8}, uint16_t{16}}) {
      for (const uint32_t inks : {4u, 5u}) {
        for (const bool planar : {false, true}) {
          for (const FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
            const InkForm form = {compression, bits, inks, planar, order};
            SCOPED_TRACE(std::to_string(compression) + ", " + std::to_string(bits) + " bits, " + std::to_string(inks) +
                         (planar ? " planes" : " samples") + (order == FileOrder::kBig ? ", big-endian" : ""));
            ArrayProbe probe(FormFile(form), static_cast<int32_t>(inks), kFormWidth, kFormHeight, bits,
                             size_t{kFormWidth} * bits / 8);
            ASSERT_EQ(probe.Load(), 1);
            ASSERT_EQ(probe.rows.calls.size(), size_t{inks} * kFormHeight);
            for (uint32_t ink = 0; ink < inks; ++ink) {
              ASSERT_EQ(probe.Ink(ink), FormInk(form, ink)) << "ink " << ink;
            }
          }
        }
      }
    }
  }
}

TEST(CmykArray, Tiles) {
  TiffDirectory page = Page(3, 1, {8, 8, 8, 8}, 5);
  page.Short(322, {2}).Short(323, {1}).Tiles({{1, 2, 3, 4, 5, 6, 7, 8}, {9, 10, 11, 12, 0, 0, 0, 0}});
  ArrayProbe probe(FileOf(page), 4, 3, 1, 8, 3);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Ink(0), FileBytes({1, 5, 9}));
  EXPECT_EQ(probe.Ink(3), FileBytes({4, 8, 12}));
}

TEST(CmykArray, OtherCompressionsHaveNoDecoderHere) {
  for (uint16_t compression : {uint16_t{4}, uint16_t{7}, uint16_t{8}, uint16_t{34712}, uint16_t{34710}}) {
    TiffDirectory page = Page(2, 2, {8, 8, 8, 8}, 5).Strips({InkPixels()}).Remove(259).Short(259, {compression});
    TiffBuilder builder; // unsorted: the compression comes behind the depth, so that a fax value does not change it
    builder.AddPage(page);
    ArrayProbe probe(builder.Build(), 4, 2, 2, 8, 2);
    EXPECT_EQ(probe.Load(), kResultUnknownCompression) << compression;
  }
}

TEST(CmykArray, BitmapsGetResolutionAndView) {
  TiffDirectory page = Page(2, 2, {8, 8, 8, 8}, 5).Strips({InkPixels()}).Short(274, {6});
  page.Rational(282, {{3005, 10}}).Rational(283, {{72, 1}});
  ArrayProbe probe(FileOf(page), 4, 2, 2, 8, 2);
  probe.options.flags = kReadIgnoreOrientation; // without effect here
  probe.bitmaps[1].flags = kBitmapSigned;
  EXPECT_EQ(probe.Load(), 1);
  for (const BitmapHandle& bitmap : probe.bitmaps) {
    EXPECT_EQ(+bitmap.xResolution, 301);
    EXPECT_EQ(+bitmap.yResolution, 72);
    EXPECT_EQ(+bitmap.viewPerspective, 6u);
    EXPECT_EQ(+bitmap.flags, 0u); // of the page as a whole
  }
}

TEST(CmykArray, WidthOfTheBitmapsIsNotTested) {
  ArrayProbe probe(ChunkyInks(), 4, 77, 1, 8, 2);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.rows.calls.size(), 8u);
}

TEST(CmykArray, PagesWithoutTablesAreNoTiff) {
  ArrayProbe probe(FileOf(Page(2, 2, {8, 8, 8, 8}, 5)), 4, 2, 2, 8, 2);
  EXPECT_EQ(probe.Load(), kResultNotTiff);
  probe.file.Write(FileBytes(40, 'x'));
  EXPECT_EQ(probe.Load(), kResultNotTiff);
}

TEST(CmykArray, FilesThatDoNotOpen) {
  ArrayProbe probe(ChunkyInks(), 4, 2, 2, 8, 2);
  probe.request.fileName = nullptr;
  EXPECT_EQ(probe.Load(), kResultOpenFailed);
  const TempFile missing;
  probe.request.fileName = missing.Name();
  EXPECT_EQ(probe.Load(), kResultOpenFailed);
}

TEST(CmykArray, FindsThePageWanted) {
  TiffBuilder file;
  file.AddPage(GrayPage(2, 1));
  file.AddPage(Page(2, 2, {8, 8, 8, 8}, 5).Strips({InkPixels()}).Sort());
  ArrayProbe probe(file.Build(), 4, 2, 2, 8, 2);
  EXPECT_EQ(probe.Load(), kResultNotCmyk);
  probe.options.pageNumber = 2;
  EXPECT_EQ(probe.Load(), 1);
  probe.options.pageNumber = 1;
  probe.options.flags = kReadUseDirectoryOffset;
  probe.options.directoryOffset = file.DirectoryOffset(1);
  EXPECT_EQ(probe.Load(), 1);
  probe.request.fileOptions = nullptr;
  EXPECT_EQ(probe.Load(), kResultNotCmyk);
}

TEST(CmykArray, SinkEndsTheLoad) {
  for (int32_t call : {0, 3, 5}) {
    ArrayProbe probe(ChunkyInks(), 4, 2, 2, 8, 2);
    probe.rows.refuseCall = call;
    probe.rows.refusal = -77;
    EXPECT_EQ(probe.Load(), -77);
    EXPECT_EQ(probe.rows.calls.size(), static_cast<size_t>(call));
  }
  ArrayProbe probe(ChunkyInks(), 4, 2, 2, 8, 2);
  probe.request.rowCallback = nullptr;
  EXPECT_EQ(probe.Load(), kResultInvalidParameter);
}

TEST(CmykArray, NullArrayRequestInTheContext) {
  TifPage page = {};
  TifLoadContext context = {};
  context.page = &page;
  uint8_t row[4] = {};
  EXPECT_EQ(TIFSplitSamples(nullptr, nullptr, row, 0, 0, 1, reinterpret_cast<intptr_t>(&context)), kResultNullPointer);
  EXPECT_EQ(TIFSplitSamples(nullptr, nullptr, row, 0, 0, 1, 0), kResultNullPointer);
}

TEST(CmykArray, EveryFailedAllocation) {
  TiffDirectory planar = Page(2, 2, {8, 8, 8, 8}, 5);
  planar.Strips({Counting(4), Counting(4, 10), Counting(4, 20), Counting(4, 30)}).Short(284, {2});
  for (const FileBytes& file : {ChunkyInks(), FileOf(planar)}) {
    for (uint64_t nth = 1;; ++nth) {
      ArrayProbe probe(file, 4, 2, 2, 8, 2);
      const AllocFaults faults(nth);
      const int32_t result = probe.Load();
      EXPECT_TRUE(result == 1 || result == kResultNoMemory || result == kResultNotTiff) << nth << ": " << result;
      if (nth > faults.Calls()) {
        EXPECT_EQ(result, 1);
        break;
      }
    }
  }
}

TEST(CmykArray, EverySeekAndRead) {
  for (IoCall call : {IoCall::kSeek, IoCall::kRead}) {
    for (uint64_t nth = 1;; ++nth) {
      ArrayProbe probe(ChunkyInks(), 4, 2, 2, 8, 2);
      IoFaults faults;
      faults.Fail(call, nth);
      const int32_t result = probe.Load();
      EXPECT_TRUE(result == 1 || result == kResultSeekFailed || result == kResultReadFailed ||
                  result == kResultNotTiff);
      if (nth > faults.Calls(call)) {
        break;
      }
    }
  }
}

} // namespace
