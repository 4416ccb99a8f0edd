// fltLoad: the order of its checks, the page that it finds, what it does for each compression, and what it leaves in
// the request. Pixels are worked out by hand.

#include <cstring>

#include <gtest/gtest.h>

#include "load/LoadProbe.h"

namespace {

// 4 x 2 pixels of 8-bit grey.
FileBytes SmallGray(FileOrder order = FileOrder::kLittle) {
  return FileOf(Page(4, 2, {8}, 1).Strips({Counting(8)}), order);
}

TEST(LoadDriver, NullRequestIsAnInvalidParameter) {
  EXPECT_EQ(fltLoad(nullptr), kResultInvalidParameter);
}

TEST(LoadDriver, NullFileNameComesBeforeTheOpen) {
  LoadProbe probe(SmallGray(), 4, 2, 8, 4);
  probe.request.fileName = nullptr;
  const CallCounter calls;
  EXPECT_EQ(probe.Load(), kResultNoFileName);
  EXPECT_EQ(calls.Since().opens, 0u);
}

TEST(LoadDriver, MissingFile) {
  LoadProbe probe(SmallGray(), 4, 2, 8, 4);
  const TempFile missing;
  probe.request.fileName = missing.Name();
  EXPECT_EQ(probe.Load(), kResultOpenFailed);
}

TEST(LoadDriver, GrayPageInBothByteOrders) {
  for (FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
    LoadProbe probe(SmallGray(order), 4, 2, 8, 4);
    EXPECT_EQ(probe.Load(), 1);
    EXPECT_EQ(probe.Pixels(), Counting(8));
    ASSERT_EQ(probe.rows.calls.size(), 2u);
    EXPECT_EQ(probe.rows.calls[0].flags, 3u + 4u);
    EXPECT_EQ(probe.rows.calls[1].flags, 3u + 8u);
    EXPECT_EQ(probe.rows.calls[1].firstRow, 1);
    EXPECT_EQ(probe.rows.calls[1].rowCount, 1);
    EXPECT_EQ(probe.rows.calls[1].bitmap, &probe.bitmap);
    EXPECT_EQ(+probe.request.truncationStatus, 1);
  }
}

TEST(LoadDriver, OneRowIsFirstAndLast) {
  LoadProbe probe(FileOf(Page(3, 1, {8}, 1).Strips({Counting(3)})), 3, 1, 8, 3);
  EXPECT_EQ(probe.Load(), 1);
  ASSERT_EQ(probe.rows.calls.size(), 1u);
  EXPECT_EQ(probe.rows.calls[0].flags, 3u + 4u + 8u);
}

TEST(LoadDriver, EmptyAndForeignFilesAreNoTiff) {
  for (const FileBytes& bytes : {FileBytes{}, FileBytes{'I', 'I', 42}, FileBytes(64, 'x')}) {
    LoadProbe probe(bytes, 4, 2, 8, 4);
    EXPECT_EQ(probe.Load(), kResultNotTiff);
  }
}

TEST(LoadDriver, CodesOfTheSeekToThePagePassUp) {
  FileBytes bytes = SmallGray();
  PutU32(bytes, 4, FileOrder::kLittle, 0x00FFFFF0); // behind the end: the entry count cannot be read
  LoadProbe probe(bytes, 4, 2, 8, 4);
  EXPECT_EQ(probe.Load(), kResultReadFailed);
  PutU32(bytes, 4, FileOrder::kLittle, 6);
  probe.file.Write(bytes);
  EXPECT_EQ(probe.Load(), kResultNotTiff);
}

TEST(LoadDriver, RefusedDirectoryIsNoTiff) {
  // Sub-sampling factors of 3 are refused by the parser with 0.
  TiffDirectory page = Page(4, 2, {8}, 1).Strips({Counting(8)}).Short(530, {3, 1});
  LoadProbe probe(FileOf(page), 4, 2, 8, 4);
  EXPECT_EQ(probe.Load(), kResultNotTiff);
}

TEST(LoadDriver, ExtraSamplesThatOutnumberTheSamplesLeaveNothingBehind) {
  TiffDirectory page = Page(4, 2, {8}, 1).Strips({Counting(8)}).Short(338, {0, 0, 0});
  LoadProbe probe(FileOf(page), 4, 2, 8, 4);
  EXPECT_EQ(probe.Load(), kResultNotTiff); // the guard of the probe looks for blocks
}

TEST(LoadDriver, NoStripTablesFailsEvenWithoutABitmap) {
  LoadProbe probe(FileOf(Page(4, 2, {8}, 1)), 4, 2, 8, 4);
  EXPECT_EQ(probe.Load(), kResultNotTiff);
  probe.request.bitmap = nullptr;
  EXPECT_EQ(probe.Load(), kResultNotTiff);
}

TEST(LoadDriver, NullBitmapFailsBehindTheParsing) {
  LoadProbe probe(SmallGray(), 4, 2, 8, 4);
  probe.request.bitmap = nullptr;
  EXPECT_EQ(probe.Load(), kResultNoBitmap);
}

TEST(LoadDriver, YCbCrOfOtherThan24BitsComesBeforeTheBitmap) {
  LoadProbe probe(FileOf(Page(4, 2, {8}, 6).Strips({Counting(8)})), 4, 2, 24, 12);
  EXPECT_EQ(probe.Load(), kResultColorLayout);
  probe.request.bitmap = nullptr;
  EXPECT_EQ(probe.Load(), kResultColorLayout);
}

TEST(LoadDriver, DelegatedPagesNeedNoBitmap) {
  for (uint16_t compression : {uint16_t{34714}, uint16_t{33001}, uint16_t{34710}}) {
    LoadProbe probe(FileOf(Page(4, 2, {8}, 1, compression).Strips({Counting(8)})), 4, 2, 8, 4);
    probe.request.bitmap = nullptr;
    EXPECT_EQ(probe.Load(), kResultSiblingVector) << compression;
  }
}

struct DispatchCase {
  uint16_t compression;
  int32_t result;
};

class LoadDispatch : public testing::TestWithParam<DispatchCase> {};

// Without sibling libraries each of their compressions answers with its row's code, in one strip and in several.
TEST_P(LoadDispatch, AnswersItsRow) {
  for (int strips : {1, 2}) {
    TiffDirectory page = Page(4, 2, {8}, 1, GetParam().compression);
    page.Strips(strips == 1 ? std::vector<FileBytes>{Counting(8)} : std::vector<FileBytes>{Counting(4), Counting(4)});
    page.Short(278, {static_cast<uint16_t>(strips == 1 ? 2 : 1)});
    LoadProbe probe(FileOf(page), 4, 2, 8, 4);
    EXPECT_EQ(probe.Load(), GetParam().result) << strips;
    EXPECT_TRUE(probe.rows.calls.empty());
  }
}

INSTANTIATE_TEST_SUITE_P(
    Compressions, LoadDispatch,
    testing::Values(DispatchCase{0, kResultUnknownCompression}, DispatchCase{6, kResultUnknownCompression},
                    DispatchCase{7, kResultUnknownCompression}, DispatchCase{8, kResultUnknownCompression},
                    DispatchCase{9, kResultUnknownCompression}, DispatchCase{32946, kResultUnknownCompression},
                    DispatchCase{34662, kResultUnknownCompression}, DispatchCase{34709, kResultUnknownCompression},
                    DispatchCase{65535, kResultUnknownCompression}, DispatchCase{32010, kResultSiblingBilevel2},
                    DispatchCase{34717, kResultSiblingBilevel2}, DispatchCase{33003, kResultSiblingJpeg2000},
                    DispatchCase{34712, kResultSiblingJpeg2000}, DispatchCase{34661, kResultSiblingJbig},
                    DispatchCase{34713, kResultSiblingJbig}, DispatchCase{34711, kResultSiblingWavelet},
                    DispatchCase{34715, kResultSiblingSegment}, DispatchCase{34716, kResultSiblingBilevel1},
                    DispatchCase{34718, kResultSiblingJbig2}, DispatchCase{33001, kResultSiblingVector},
                    DispatchCase{34710, kResultSiblingVector}, DispatchCase{34714, kResultSiblingVector}),
    [](const testing::TestParamInfo<DispatchCase>& test) { return std::to_string(test.param.compression); });

TEST(LoadDriver, DeflateStripIsReadBeforeItIsRefused) {
  for (uint16_t compression : {uint16_t{8}, uint16_t{32946}}) {
    TiffDirectory page = Page(4, 2, {8}, 1, compression).Long(273, {0x00FFFFF0}).Long(279, {8});
    LoadProbe probe(FileOf(page), 4, 2, 8, 4);
    EXPECT_EQ(probe.Load(), kResultReadFailed) << compression; // nothing there
  }
}

TEST(LoadDriver, FaxPagesGoToTheCodec) {
  // Two white rows of T.6: a vertical 0 each.
  LoadProbe probe(FileOf(Page(8, 2, {1}, 0, 4).Strips({{0xC0, 0x01, 0x00, 0x10, 0x01}})), 8, 2, 1, 1);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({0x00, 0x00}));
}

TEST(LoadDriver, WidthOfTheBitmapMustBeThePages) {
  LoadProbe probe(SmallGray(), 5, 2, 8, 4);
  EXPECT_EQ(probe.Load(), kResultBitmapMismatch);
  EXPECT_TRUE(probe.rows.calls.empty());
}

TEST(LoadDriver, HeightOfTheBitmapMayDiffer) {
  LoadProbe taller(SmallGray(), 4, 9, 8, 4);
  EXPECT_EQ(taller.Load(), 1);
  ASSERT_EQ(taller.rows.calls.size(), 2u);
  EXPECT_EQ(taller.rows.calls[1].flags, 3u); // the last row of the bitmap never comes
  LoadProbe lower(SmallGray(), 4, 1, 8, 4);
  EXPECT_EQ(lower.Load(), 1);
  ASSERT_EQ(lower.rows.calls.size(), 2u);
  EXPECT_EQ(lower.rows.calls[0].flags, 3u + 4u + 8u);
  EXPECT_EQ(lower.rows.calls[1].rowCount, 0); // what is left of the bitmap
}

TEST(LoadDriver, SinkEndsTheLoadWithItsValue) {
  for (int32_t value : {0, 2, -5, -4711}) {
    for (int32_t call : {0, 1}) {
      LoadProbe probe(SmallGray(), 4, 2, 8, 4);
      probe.rows.refuseCall = call;
      probe.rows.refusal = value;
      EXPECT_EQ(probe.Load(), value);
      EXPECT_EQ(probe.rows.calls.size(), static_cast<size_t>(call));
    }
  }
}

TEST(LoadDriver, MissingSinkIsAnInvalidParameter) {
  LoadProbe probe(SmallGray(), 4, 2, 8, 4);
  probe.request.rowCallback = nullptr;
  EXPECT_EQ(probe.Load(), kResultInvalidParameter);
}

TEST(LoadDriver, MissingRecordsReadAsNothingAsked) {
  LoadProbe probe(SmallGray(), 4, 2, 8, 4);
  probe.request.fileInfo = nullptr;
  probe.request.fileOptions = nullptr;
  probe.request.infoControl = nullptr;
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), Counting(8));
}

TEST(LoadDriver, FindsThePageWanted) {
  TiffBuilder file;
  for (uint8_t value : FileBytes{10, 20, 30}) {
    file.AddPage(GrayPage(2, 1, value));
  }
  const FileBytes bytes = file.Build();
  const struct {
    int32_t page;
    uint8_t value;
  } cases[] = {{0, 10}, {1, 10}, {2, 20}, {3, 30}, {-1, 30}, {9, 30}};
  for (const auto& test : cases) {
    LoadProbe probe(bytes, 2, 1, 8, 2);
    probe.options.pageNumber = test.page;
    EXPECT_EQ(probe.Load(), 1);
    EXPECT_EQ(probe.Pixels(), FileBytes(2, test.value)) << test.page;
    EXPECT_EQ(+probe.options.pageNumber, test.page);
  }
}

TEST(LoadDriver, StartsAtAnExplicitDirectoryOnlyWithItsFlag) {
  TiffBuilder file;
  for (uint8_t value : FileBytes{10, 20, 30}) {
    file.AddPage(GrayPage(2, 1, value));
  }
  LoadProbe probe(file.Build(), 2, 1, 8, 2);
  probe.options.directoryOffset = file.DirectoryOffset(1);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes(2, 10));
  probe.rows.calls.clear();
  probe.options.flags = kReadUseDirectoryOffset;
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes(2, 20));
  probe.rows.calls.clear();
  probe.options.pageNumber = 2; // counted from there
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes(2, 30));
}

TEST(LoadDriver, ForcedRgbDropsTheConversion) {
  LoadProbe probe(FileOf(Page(1, 1, {8, 8, 8, 8}, 5).Strips({{10, 20, 30, 40}})), 1, 1, 32, 4);
  probe.options.flags = kReadForceRgb;
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({10, 20, 30, 40}));
}

TEST(LoadDriver, LoadChangesOnlyItsFieldsOfTheRequest) {
  LoadProbe probe(SmallGray(), 4, 2, 8, 4);
  const FilterLoadRequest before = probe.request;
  const FileInfoRecord info = probe.info;
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(std::memcmp(&before, &probe.request, sizeof before), 0);
  EXPECT_EQ(std::memcmp(&info, &probe.info, sizeof info), 0);
}

TEST(LoadDriver, TruncationStatusIsReplacedOnlyWhenItHoldsOne) {
  // 8 bytes asked for, 6 there: the file ends with the strip.
  TiffDirectory page = Page(4, 2, {8}, 1).Strips({Counting(6)});
  FileBytes bytes = FileOf(page);
  TiffBuilder builder;
  builder.AddPage(page.Sort());
  bytes = builder.Build();
  PutU32(bytes, builder.ValueOffset(0, 279), FileOrder::kLittle, 8);
  for (int32_t status : {1, 0, 5}) {
    LoadProbe probe(bytes, 4, 2, 8, 4);
    probe.request.truncationStatus = status;
    EXPECT_EQ(probe.Load(), 1);
    EXPECT_EQ(probe.Pixels(), FileBytes({0, 1, 2, 3, 4, 5, 0, 0}));
    EXPECT_EQ(+probe.request.truncationStatus, status == 1 ? kResultReadFailed : status);
  }
}

TEST(LoadDriver, OnlyABandIsHeldInMemory) {
  constexpr uint32_t kSide = 2000;
  LoadProbe probe(FileOf(Page(kSide, kSide, {8}, 1).Strips({FileBytes(size_t{kSide} * kSide, 7)})), kSide, kSide, 8, 1);
  krnResetStatistics();
  KrnStatistics before;
  krnGetStatistics(&before);
  EXPECT_EQ(probe.Load(), 1);
  KrnStatistics after;
  krnGetStatistics(&after);
  EXPECT_EQ(probe.rows.calls.size(), kSide);
  EXPECT_LT(after.peakBytes - before.liveBytes, 192u * 1024); // page record, tables of 500 pieces, a run of 128 KiB
}

TEST(LoadDriver, PagesWithoutPositiveSizeHaveNoRows) {
  for (int field : {256, 257}) {
    TiffDirectory page = Page(field == 256 ? 0 : 4, field == 257 ? 0 : 2, {8}, 1).Strips({Counting(8)});
    LoadProbe probe(FileOf(page), 4, 2, 8, 4);
    probe.bitmap.width = field == 256 ? 0 : 4;
    EXPECT_EQ(probe.Load(), 1) << field;
    EXPECT_TRUE(probe.rows.calls.empty());
  }
}

} // namespace
