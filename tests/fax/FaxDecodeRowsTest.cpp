// faxDecodeRows as a host calls it: records, strips and tiles, marks, fill order, refusals and faults.

#include <cstring>

#include <gtest/gtest.h>

#include "fax/FaxTestHost.h"
#include "fax/PlainFaxRows.h"
#include "support/KernelGuard.h"
#include "support/TempFile.h"

namespace {

FaxTestFile FileOf(const TestPage& page, uint32_t mode, uint32_t tileWidth, uint32_t tileHeight) {
  FaxEncodeCall encode;
  encode.mode = mode;
  encode.tileWidth = tileWidth;
  encode.tileHeight = tileHeight;
  return EncodeFax(page, encode).file;
}

FaxDecodeCall CallFor(const TestPage& page, uint32_t format, uint32_t pieceWidth, uint32_t rowsPerStrip) {
  FaxDecodeCall call;
  call.format = format;
  call.width = page.width;
  call.height = page.height;
  call.pieceWidth = pieceWidth;
  call.rowsPerStrip = rowsPerStrip;
  return call;
}

TEST(FaxDecodeRows, RecordsHaveTheirLayout) {
  EXPECT_EQ(sizeof(FaxInfo), 36u);
  EXPECT_EQ(offsetof(FaxInfo, faxFormat), 4u);
  EXPECT_EQ(offsetof(FaxInfo, width), 8u);
  EXPECT_EQ(offsetof(FaxInfo, height), 12u);
  EXPECT_EQ(offsetof(FaxInfo, xResolution), 20u);
  EXPECT_EQ(offsetof(FaxInfo, faxFlags), 32u);
  if (sizeof(void*) == 4) {
    EXPECT_EQ(sizeof(FaxStripInfo), 20u);
    EXPECT_EQ(sizeof(FaxTileRequest), 20u);
    EXPECT_EQ(offsetof(FaxStripInfo, stripCount), 16u);
  }
}

TEST(FaxDecodeRows, NullsAndUnknownFormatsAreRefused) {
  BitmapHandle target;
  krnBitmapInit(&target, kBitmapHandleSize, 8, 1, 1);
  FaxInfo info{0, kFaxT6, 8, 1, 1, 0, 0, 0, 0};
  FaxStripInfo strips{8, 1, nullptr, nullptr, 0};
  const VxRowSink sink = [](FileInfoRecord*, BitmapHandle*, uint8_t*, uint32_t, int32_t, int32_t, intptr_t) -> int32_t {
    return 1;
  };
  const MemoryInput input({0x80});
  const VxFileHandle file = input.Handle();
  EXPECT_EQ(faxDecodeRows(nullptr, file, nullptr, &strips, nullptr, &target, sink, 1, 0, nullptr), kFaxResultInvalid);
  EXPECT_EQ(faxDecodeRows(nullptr, file, &info, nullptr, nullptr, &target, sink, 1, 0, nullptr), kFaxResultInvalid);
  EXPECT_EQ(faxDecodeRows(nullptr, file, &info, &strips, nullptr, nullptr, sink, 1, 0, nullptr), kFaxResultInvalid);
  EXPECT_EQ(faxDecodeRows(nullptr, file, &info, &strips, nullptr, &target, nullptr, 1, 0, nullptr), kFaxResultInvalid);
  EXPECT_EQ(faxDecodeRows(nullptr, file, &info, &strips, nullptr, &target, sink, 1, 0, nullptr), 1);
  strips.stripCount = 1;
  EXPECT_EQ(faxDecodeRows(nullptr, file, &info, &strips, nullptr, &target, sink, 1, 0, nullptr), kFaxResultInvalid);
  info.faxFormat = 69;
  strips.stripCount = 0;
  EXPECT_EQ(faxDecodeRows(nullptr, file, &info, &strips, nullptr, &target, sink, 1, 0, nullptr), kFaxResultUnsupported);
}

TEST(FaxDecodeRows, TargetGetsResolutions) {
  const TestPage page = MakePage(PageKind::kText, 40, 20, 1);
  const FaxDecoded decoded = DecodeFax(FileOf(page, kFaxT6, 0, 0), CallFor(page, kFaxT6, 0, 20));
  EXPECT_EQ(decoded.target.xResolution, 300);
  EXPECT_EQ(decoded.target.yResolution, 400);
  EXPECT_EQ(decoded.target.viewPerspective, 1u); // only modified Huffman sets it
}

TEST(FaxDecodeRows, ModifiedHuffmanSetsTheViewFromTheFlags) {
  struct Case {
    uint32_t flags;
    uint32_t view;
  };
  const TestPage page = MakePage(PageKind::kText, 40, 20, 1);
  const FaxTestFile file = FileOf(page, kFaxModifiedHuffman, 0, 0);
  for (const Case& c : {Case{0, 4}, Case{kFaxView1, 1}, Case{kFaxView2, 2}, Case{kFaxView3, 3}, Case{kFaxView5, 5},
                        Case{kFaxView6, 6}, Case{kFaxView7, 7}, Case{kFaxView8, 8}}) {
    FaxDecodeCall call = CallFor(page, kFaxModifiedHuffman, 0, 20);
    call.flags = c.flags | kFaxBlackIsZero;
    const FaxDecoded decoded = DecodeFax(file, call);
    EXPECT_EQ(decoded.target.viewPerspective, c.view);
    EXPECT_TRUE(decoded.page == page); // whatever the photometric value
  }
}

TEST(FaxDecodeRows, NoWidthOrHeightGivesNoRows) {
  const FaxTestFile file = FileOf(MakePage(PageKind::kText, 40, 20, 1), kFaxT6, 0, 0);
  for (const auto& [width, height] : {std::pair{0, 20}, std::pair{-5, 20}, std::pair{40, 0}}) {
    FaxDecodeCall call;
    call.width = width;
    call.height = height;
    call.pieceWidth = 40;
    call.rowsPerStrip = 20;
    const FaxDecoded decoded = DecodeFax(file, call);
    EXPECT_EQ(decoded.result, 1);
    EXPECT_TRUE(decoded.flags.empty());
  }
}

TEST(FaxDecodeRows, RowsGoOneByOneWhateverTheTargetsPitch) {
  const TestPage page = MakePage(PageKind::kText, 100, 50, 3);
  const FaxTestFile file = FileOf(page, kFaxT6, 0, 0);
  for (const int32_t pitch : {0, 1, 12, 13, -16, 16, 4000}) {
    FaxDecodeCall call = CallFor(page, kFaxT6, 0, 50);
    call.bytesPerLine = pitch;
    const FaxDecoded decoded = DecodeFax(file, call);
    EXPECT_EQ(decoded.counts, std::vector<int32_t>(50, 1)) << pitch;
    EXPECT_TRUE(decoded.page == page) << pitch;
  }
}

TEST(FaxDecodeRows, RowsPerStripOfNoneOrMoreThanThePage) {
  const TestPage page = MakePage(PageKind::kText, 100, 50, 3);
  const FaxTestFile file = FileOf(page, kFaxT6, 0, 0);
  for (const uint32_t rows : {0u, 50u, 51u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    EXPECT_TRUE(DecodeFax(file, CallFor(page, kFaxT6, 0, rows)).page == page) << rows;
  }
  EXPECT_TRUE(DecodeFax(file, CallFor(page, kFaxT6, 0xFFFFFFFF, 50)).page == page);
}

TEST(FaxDecodeRows, MissingStripsAreWhite) {
  const TestPage page = MakePage(PageKind::kNoise, 50, 30, 3);
  FaxTestFile file = FileOf(page, kFaxT6, 0, 10);
  file.offsets.resize(2);
  file.byteCounts.resize(2);
  const FaxDecoded decoded = DecodeFax(file, CallFor(page, kFaxT6, 0, 10));
  EXPECT_EQ(decoded.result, 1);
  ASSERT_EQ(decoded.page.height, 30);
  for (int32_t y = 0; y < 30; ++y) {
    EXPECT_EQ(decoded.page.Row(y), y < 20 ? page.Row(y) : std::string(50, '0'));
  }
}

TEST(FaxDecodeRows, CountsPastTheEndOfTheFileTakeWhatIsThere) {
  const TestPage page = MakePage(PageKind::kNoise, 50, 30, 3);
  FaxTestFile file = FileOf(page, kFaxT6, 0, 10);
  file.byteCounts[2] = 0xFFFFFFFF;
  EXPECT_TRUE(DecodeFax(file, CallFor(page, kFaxT6, 0, 10)).page == page);
  file.offsets[2] = 0x7FFFFFF0;
  const FaxDecoded far = DecodeFax(file, CallFor(page, kFaxT6, 0, 10));
  EXPECT_EQ(far.result, 1);
  EXPECT_EQ(far.page.Row(19), page.Row(19));
  EXPECT_EQ(far.page.Row(20), std::string(50, '0'));
  file.byteCounts[1] = 0;
  EXPECT_EQ(DecodeFax(file, CallFor(page, kFaxT6, 0, 10)).page.Row(10), std::string(50, '0'));
}

TEST(FaxDecodeRows, OffsetsAbove2GiB) {
  const TestPage page = MakePage(PageKind::kNoise, 50, 10, 3);
  const FaxTestFile coded = FileOf(page, kFaxT6, 0, 0);
  TempFile temp;
  const VxFileHandle handle = krnFileOpen(temp.Name(), kKrnFileReadWrite | kKrnFileCreate, 0);
  ASSERT_NE(handle, kKrnNoHandle);
  for (const uint32_t offset : {0x7FFFFFFFu, 0x80000001u, 0xFFFFFF00u}) { // a sparse file
    uint32_t position = krnFileSeek(handle, 0x7FFFFFFF, kKrnSeekSet);
    if (offset > 0x7FFFFFFF) {
      const uint32_t step = offset - 0x7FFFFFFF;
      position = krnFileSeek(handle, static_cast<int32_t>(step < 0x7FFFFFFF ? step : 0x7FFFFFFF), kKrnSeekCurrent);
      position =
          step > 0x7FFFFFFF ? krnFileSeek(handle, static_cast<int32_t>(step - 0x7FFFFFFF), kKrnSeekCurrent) : position;
    }
    ASSERT_EQ(position, offset);
    const auto bytes = static_cast<uint32_t>(coded.bytes.size());
    ASSERT_EQ(krnFileWrite(handle, coded.bytes.data(), bytes), bytes);
    FaxTestFile file = coded;
    file.offsets[0] = offset;
    EXPECT_TRUE(DecodeFax(handle, file, CallFor(page, kFaxT6, 0, 10)).page == page) << offset;
  }
  krnFileClose(handle);
}

TEST(FaxDecodeRows, MarkedStripsAreTakenAsTheyAre) {
  const TestPage page = MakePage(PageKind::kNoise, 53, 30, 8);
  const FaxTestFile coded = FileOf(page, kFaxT6, 0, 10);
  const size_t rowBytes = page.RowBytes();
  FaxTestFile file;
  for (size_t i = 0; i < 3; ++i) {
    const auto begin = coded.bytes.begin() + coded.offsets[i];
    std::vector<uint8_t> piece(begin, begin + coded.byteCounts[i]);
    if (i == 1) {
      piece.assign(page.rows.begin() + static_cast<ptrdiff_t>(10 * rowBytes),
                   page.rows.begin() + static_cast<ptrdiff_t>(20 * rowBytes));
    }
    file.Add(piece);
  }
  file.marks = {0, 1, 2}; // 1 alone is a mark
  EXPECT_TRUE(DecodeFax(file, CallFor(page, kFaxT6, 0, 10)).page == page);
  file.bytes = ReversedBits(file.bytes);
  FaxDecodeCall reversed = CallFor(page, kFaxT6, 0, 10);
  reversed.flags = kFaxFillOrder2;
  EXPECT_TRUE(DecodeFax(file, reversed).page == page);
  file.byteCounts[1] -= 3; // within the strip's last row
  const FaxDecoded cut = DecodeFax(file, reversed);
  EXPECT_EQ(cut.page.Row(18), page.Row(18));
  EXPECT_EQ(cut.page.Row(19), page.Row(19).substr(0, 32) + std::string(21, '0'));
  EXPECT_EQ(cut.page.Row(20), page.Row(20));
}

TEST(FaxDecodeRows, TilesAreClippedToThePage) {
  for (const PageKind kind : {PageKind::kNoise, PageKind::kText}) {
    const TestPage page = MakePage(kind, 130, 75, 4);
    for (const auto& [width, height] :
         {std::pair{64u, 32u}, std::pair{16u, 16u}, std::pair{128u, 128u}, std::pair{13u, 7u}, std::pair{129u, 1u}}) {
      const FaxTestFile file = FileOf(page, kFaxT6, width, height);
      EXPECT_TRUE(DecodeFax(file, CallFor(page, kFaxT6, width, height)).page == page) << width << " x " << height;
    }
  }
}

TEST(FaxDecodeRows, TileWiderThanThePage) {
  const TestPage wide = MakePage(PageKind::kText, 256, 40, 4);
  TestPage page(100, 40);
  for (int32_t y = 0; y < 40; ++y) {
    for (int32_t x = 0; x < 100; ++x) {
      page.Set(x, y, wide.At(x, y));
    }
  }
  const FaxTestFile file = FileOf(wide, kFaxT6, 0, 0);
  EXPECT_TRUE(DecodeFax(file, CallFor(page, kFaxT6, 256, 40)).page == page);
  // So much wider that memory would follow from the file's word alone.
  EXPECT_EQ(DecodeFax(file, CallFor(page, kFaxT6, 0x7FFFFFF0, 40)).result, kFaxResultUnsupported);
}

TEST(FaxDecodeRows, UnknownHeightOfSeveralStrips) {
  const TestPage page = MakePage(PageKind::kText, 90, 55, 4);
  const FaxTestFile file = FileOf(page, kFaxT6, 0, 20);
  FaxDecodeCall call = CallFor(page, kFaxT6, 0, 20);
  call.height = -1;
  const FaxDecoded decoded = DecodeFax(file, call);
  EXPECT_EQ(decoded.result, 1);
  EXPECT_TRUE(decoded.page == page);
  call.pieceWidth = 16;
  EXPECT_EQ(DecodeFax(file, call).result, kFaxResultUnsupported);
}

TEST(FaxDecodeRows, RefusalOfTheSinkEndsIt) {
  const KernelGuard guard;
  const TestPage page = MakePage(PageKind::kText, 90, 55, 4);
  for (const uint32_t tileWidth : {0u, 32u}) {
    const FaxTestFile file = FileOf(page, kFaxT6, tileWidth, 20);
    for (const int32_t row : {0, 30, 54}) {
      FaxDecodeCall call = CallFor(page, kFaxT6, tileWidth, 20);
      call.refuseAtRow = row;
      const FaxDecoded decoded = DecodeFax(file, call);
      EXPECT_EQ(decoded.result, -77);
      EXPECT_EQ(decoded.page.height, row);
    }
  }
}

TEST(FaxDecodeRows, FailedReadsAndSeeks) {
  const KernelGuard guard;
  const TestPage page = MakePage(PageKind::kText, 90, 55, 4);
  for (const uint32_t tileWidth : {0u, 32u}) {
    const FaxTestFile file = FileOf(page, kFaxT6, tileWidth, 20);
    const FaxDecodeCall call = CallFor(page, kFaxT6, tileWidth, 20);
    const MemoryInput input(file.bytes);
    IoFaults faults;
    EXPECT_EQ(DecodeFax(input.Handle(), file, call).result, 1);
    const uint64_t reads = faults.Calls(IoCall::kRead);
    const uint64_t seeks = faults.Calls(IoCall::kSeek);
    EXPECT_EQ(reads, file.offsets.size());
    for (uint64_t n = 1; n <= reads; ++n) {
      faults.Reset();
      faults.Fail(IoCall::kRead, n);
      EXPECT_EQ(DecodeFax(input.Handle(), file, call).result, kFaxResultReadFailed);
    }
    for (uint64_t n = 1; n <= seeks; ++n) {
      faults.Reset();
      faults.Fail(IoCall::kSeek, n);
      EXPECT_EQ(DecodeFax(input.Handle(), file, call).result, kFaxResultSeekFailed);
    }
    // A short read is a strip that ends early.
    faults.Reset();
    faults.Shorten(IoCall::kRead, 1, 3);
    const FaxDecoded decoded = DecodeFax(input.Handle(), file, call);
    EXPECT_EQ(decoded.result, 1);
    EXPECT_EQ(decoded.page.Row(54), page.Row(54));
  }
}

TEST(FaxDecodeRows, FailedAllocations) {
  const KernelGuard guard;
  const TestPage page = MakePage(PageKind::kText, 90, 55, 4);
  for (const uint32_t tileWidth : {0u, 32u}) {
    const FaxTestFile file = FileOf(page, kFaxT6, tileWidth, 20);
    const MemoryInput input(file.bytes);
    uint64_t calls = 0;
    {
      const AllocFaults counter(0);
      EXPECT_EQ(DecodeFax(input.Handle(), file, CallFor(page, kFaxT6, tileWidth, 20)).result, 1);
      calls = counter.Calls();
    }
    for (uint64_t n = 1; n <= calls; ++n) {
      const AllocFaults faults(n);
      EXPECT_EQ(DecodeFax(input.Handle(), file, CallFor(page, kFaxT6, tileWidth, 20)).result, kFaxResultNoMemory) << n;
    }
  }
}

TEST(FaxDecodeRows, MemoryFollowsFromThePageNotFromTheCounts) {
  const TestPage page = MakePage(PageKind::kText, 900, 300, 4);
  FaxTestFile file = FileOf(page, kFaxT6, 0, 0);
  file.byteCounts[0] = 0xFFFFFFF0;
  krnResetStatistics();
  EXPECT_TRUE(DecodeFax(file, CallFor(page, kFaxT6, 0, 300)).page == page);
  KrnStatistics statistics;
  krnGetStatistics(&statistics);
  EXPECT_LT(statistics.peakBytes, 400u * 1024);
}

} // namespace
