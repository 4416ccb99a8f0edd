// Image data of a directory in memory: strips, samples in host order, the old-style JPEG stream.

#include <gtest/gtest.h>

#include "tif_com/StripLoading.h"
#include "tree/TreeInput.h"

namespace {

constexpr uint32_t kBlockOwned = 17;
constexpr uint32_t kBlockArrayOwned = 18;

class StripLoading : public testing::TestWithParam<FileOrder> {
protected:
  bool IsBig() const { return GetParam() == FileOrder::kBig; }
  TiffBuilder file{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Orders, StripLoading, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const auto& order) { return order.param == FileOrder::kLittle ? "Little" : "Big"; });

TEST_P(StripLoading, SingleStripIsOneBlock) {
  file.AddPage().Short(258, {8}).Short(259, {1}).Strips({{1, 2, 3, 4, 5, 6, 7}});
  TreeInput input(file.Build());
  EXPECT_EQ(input.Get(273).storage, kBlockOwned);
  EXPECT_EQ(input.Get(273).Bytes(7), (FileBytes{1, 2, 3, 4, 5, 6, 7})) << "8-bit samples are never swapped";
}

TEST_P(StripLoading, SamplesComeInHostOrder) {
  struct WidthCase {
    uint16_t bits;
    FileBytes little; // what bytes 1 to 9 become when they were big-endian
  };
  const WidthCase cases[] = {
      {8, {1, 2, 3, 4, 5, 6, 7, 8, 9}},
      {12, {2, 1, 4, 3, 6, 5, 8, 7, 9}},
      {16, {2, 1, 4, 3, 6, 5, 8, 7, 9}},
      {32, {4, 3, 2, 1, 8, 7, 6, 5, 9}},
      {24, {4, 3, 2, 1, 8, 7, 6, 5, 9}}, // 9 / 3 elements of four bytes: clipped to
                                         // the two that the strip holds
      {64, {4, 3, 2, 1, 5, 6, 7, 8, 9}}, // 9 / 8 elements
      {0, {1, 2, 3, 4, 5, 6, 7, 8, 9}},
  };
  for (const WidthCase& test : cases) {
    TiffBuilder small(GetParam());
    const FileBytes strip = Counting(9, 1);
    small.AddPage().Short(258, {test.bits}).Short(259, {1}).Strips({strip});
    EXPECT_EQ(TreeInput(small.Build()).Get(273).Bytes(9), IsBig() ? test.little : strip) << test.bits;
  }
}

TEST_P(StripLoading, CompressedSamplesAreNeverSwapped) {
  file.AddPage().Short(258, {16}).Short(259, {5}).Strips({{1, 2, 3, 4}});
  EXPECT_EQ(TreeInput(file.Build()).Get(273).Bytes(4), (FileBytes{1, 2, 3, 4}));
}

TEST_P(StripLoading, SeveralStripsAreAnArrayOfBlocks) {
  file.AddPage().Short(258, {16}).Strips({{1, 2, 3, 4}, {5, 6}, {7, 8, 9}});
  TreeInput input(file.Build());
  const PlainRecord offsets = input.Get(273);
  EXPECT_EQ(offsets.storage, kBlockArrayOwned);
  EXPECT_EQ(offsets.BlockBytes(0, 4), IsBig() ? (FileBytes{2, 1, 4, 3}) : (FileBytes{1, 2, 3, 4}));
  EXPECT_EQ(offsets.BlockBytes(1, 2), IsBig() ? (FileBytes{6, 5}) : (FileBytes{5, 6}));
  EXPECT_EQ(offsets.BlockBytes(2, 3), IsBig() ? (FileBytes{8, 7, 9}) : (FileBytes{7, 8, 9}));
}

TEST_P(StripLoading, TwoShortByteCountsFailTheDirectory) {
  file.AddPage().Long(256, {1}).Long(273, {8, 8}).Short(279, {1, 1});
  EXPECT_EQ(TreeInput(file.Build()).Tree(), nullptr);
}

TEST_P(StripLoading, ThreeShortByteCountsLeaveTheStripsInTheFile) {
  file.AddPage().Long(256, {1}).Long(273, {8, 8, 8}).Short(279, {1, 1, 1});
  TreeInput input(file.Build());
  ASSERT_NE(input.Tree(), nullptr);
  EXPECT_EQ(input.Get(273).storage, 0u);
  EXPECT_EQ(input.Get(279).storage, kBlockOwned);
}

TEST_P(StripLoading, TablesOfDifferentLengthFailTheDirectory) {
  file.AddPage().Long(256, {1}).Long(273, {8, 8}).Long(279, {1, 1, 1});
  EXPECT_EQ(TreeInput(file.Build()).Tree(), nullptr);
  TiffBuilder none(GetParam());
  none.AddPage().Long(256, {1}).RawWord(273, 4, 0, 8).RawWord(279, 4, 0, 8);
  EXPECT_EQ(TreeInput(none.Build()).Tree(), nullptr) << "no strips are not one strip";
}

TEST_P(StripLoading, ShortSingleStripFailsTheDirectory) {
  file.AddPage().Long(256, {1}).Long(273, {8}).Long(279, {0x10000});
  EXPECT_EQ(TreeInput(file.Build()).Tree(), nullptr);
}

TEST_P(StripLoading, ShortStripAmongSeveralLeavesAllInTheFile) {
  file.AddPage().Long(256, {1}).Long(273, {8, 8}).Long(279, {1, 0x10000});
  TreeInput input(file.Build());
  ASSERT_NE(input.Tree(), nullptr);
  EXPECT_EQ(input.Get(273).storage, 0u);
  EXPECT_EQ(input.Get(273).data, nullptr);
}

TEST_P(StripLoading, WithoutOneOfTheTablesNothingIsLoaded) {
  file.AddPage().Long(256, {1}).Long(273, {0x10000});
  EXPECT_EQ(TreeInput(file.Build()).Get(273).storage, 0u);
  TiffBuilder other(GetParam());
  other.AddPage().Long(256, {1}).Long(279, {0x10000});
  EXPECT_NE(TreeInput(other.Build()).Tree(), nullptr);
}

TEST_P(StripLoading, TilesStayInTheFile) {
  file.AddPage().Long(256, {1}).Tiles({{1, 2}, {3, 4}, {5, 6}});
  TreeInput input(file.Build());
  EXPECT_EQ(input.Get(324).storage, 0u);
  EXPECT_EQ(input.Get(325).storage, kBlockOwned);
  EXPECT_EQ(input.Get(325).Bytes(12), (FileBytes{2, 0, 0, 0, 2, 0, 0, 0, 2, 0, 0, 0}));
}

TEST_P(StripLoading, StripsOfSubDirectoriesOfOtherKindsAreNotLoaded) {
  file.AddPage()
      .Long(256, {1})
      .Child(50236, TiffDirectory().Strips({{1, 2}}))
      .Child(330, TiffDirectory().Strips({{3, 4}}));
  TreeInput input(file.Build());
  EXPECT_EQ(Get(input.Get(50236).Child(), 273).storage, 0u);
  EXPECT_EQ(Get(input.Get(330).Child(), 273).Bytes(2), (FileBytes{3, 4}));
}

TEST_P(StripLoading, KindOneLoadsStripsAsAPageDoes) {
  file.AddPage().Long(256, {1}).Strips({{1, 2}});
  EXPECT_EQ(TreeInput(file.Build(), 0, kDirMainLike).Get(273).storage, kBlockOwned);
}

TEST_P(StripLoading, JpegStreamIsLoadedAndBlocksTheStrips) {
  file.AddPage().Short(258, {16}).Strips({{1, 2, 3, 4}}).Pointer(513, 4, 1, {9, 8, 7, 6, 5}).Long(514, {5});
  TreeInput input(file.Build());
  EXPECT_EQ(input.Get(273).storage, 0u);
  EXPECT_EQ(input.Get(513).storage, kBlockOwned);
  EXPECT_EQ(input.Get(513).count, 5u);
  EXPECT_EQ(input.Get(513).Bytes(5), (FileBytes{9, 8, 7, 6, 5}));
}

TEST_P(StripLoading, JpegStreamOfOneByteIsFreedLikeAnyOther) {
  file.AddPage().Pointer(513, 4, 1, {9}).Long(514, {1});
  EXPECT_EQ(TreeInput(file.Build()).Get(513).Bytes(1), (FileBytes{9}));
  TiffBuilder empty(GetParam());
  empty.AddPage().Pointer(513, 4, 1, {9}).Long(514, {0});
  EXPECT_EQ(TreeInput(empty.Build()).Get(513).count, 0u);
}

TEST_P(StripLoading, JpegStreamWithoutItsLengthStaysInTheFileAndStillBlocksTheStrips) {
  file.AddPage().Strips({{1, 2}}).Long(513, {0x10000});
  TreeInput input(file.Build());
  ASSERT_NE(input.Tree(), nullptr);
  EXPECT_EQ(input.Get(513).storage, 0u);
  EXPECT_EQ(input.Get(513).count, 1u);
  EXPECT_EQ(input.Get(273).storage, 0u);
}

TEST_P(StripLoading, UnreadableJpegStreamFailsTheDirectory) {
  file.AddPage().Long(513, {8}).Long(514, {0x10000});
  EXPECT_EQ(TreeInput(file.Build()).Tree(), nullptr);
  TiffBuilder huge(GetParam());
  huge.AddPage().Long(513, {8}).Long(514, {0xFFFFFFFF});
  EXPECT_EQ(TreeInput(huge.Build()).Tree(), nullptr);
}

TEST_P(StripLoading, SampleBytesComeFromTheFirstBitsPerSample) {
  struct SampleCase {
    const char* what;
    TiffDirectory page;
    uint32_t bytes;
  };
  const SampleCase cases[] = {
      {"nothing known", TiffDirectory().Long(256, {1}), 1},
      {"compressed", TiffDirectory().Short(258, {16}).Short(259, {5}), 1},
      {"compression 0 counts as compressed", TiffDirectory().Short(258, {16}).Short(259, {0}), 1},
      {"no compression tag", TiffDirectory().Short(258, {16}), 2},
      {"uncompressed", TiffDirectory().Short(258, {16}).Short(259, {1}), 2},
      {"one bit", TiffDirectory().Short(258, {1}), 1},
      {"nine bits", TiffDirectory().Short(258, {9}), 2},
      {"a LONG", TiffDirectory().Long(258, {32}), 4},
      {"two shorts", TiffDirectory().Short(258, {32, 8}), 4},
      {"three shorts", TiffDirectory().Short(258, {16, 16, 16}), 2},
      {"two longs", TiffDirectory().Long(258, {16, 8}), 2},
      {"two bytes stand inline, where nobody looks", TiffDirectory().Byte(258, {16, 16}), 1},
      {"no samples", TiffDirectory().RawWord(258, 3, 0, 0x00200020), 1},
      {"depth 0", TiffDirectory().Short(258, {0}), 1},
  };
  for (const SampleCase& test : cases) {
    TiffBuilder small(GetParam());
    small.AddPage(test.page);
    TreeInput input(small.Build());
    ASSERT_NE(input.Tree(), nullptr) << test.what;
    EXPECT_EQ(TIFSampleBytes(input.Tree()), test.bytes) << test.what;
  }
}

} // namespace
