// The Exif segment of a marker block: which segment is taken, and what of a malformed run.

#include <initializer_list>

#include <gtest/gtest.h>
#include <vxtif/results.h>

#include "metadata/MarkerInput.h"
#include "support/KernelGuard.h"
#include "tree/TreeInput.h"

namespace {

class ExifMarker : public testing::Test {
protected:
  KernelGuard guard_;
};

FileBytes SmallTiff(FileOrder order = FileOrder::kLittle) {
  TiffBuilder tiff(order);
  tiff.AddPage().Ascii(271, "Maker").Short(274, {6});
  return tiff.Build();
}

void ExpectSmallTiff(const MarkerTree& tree) {
  EXPECT_EQ(tree.Result(), kResultOk);
  ASSERT_NE(tree.Tree(), nullptr);
  EXPECT_EQ(TagsOf(tree.Tree()), (std::vector<uint32_t>{271, 274}));
  EXPECT_EQ(Get(tree.Tree(), 271).Bytes(6), (FileBytes{'M', 'a', 'k', 'e', 'r', 0}));
  EXPECT_EQ(Get(tree.Tree(), 274).value, 6u);
}

void ExpectNone(MarkerInput& markers) {
  const MarkerTree tree(markers);
  EXPECT_EQ(tree.Result(), kResultOk);
  EXPECT_EQ(tree.Tree(), nullptr);
}

void ExpectMalformed(MarkerInput& markers) {
  const MarkerTree tree(markers);
  EXPECT_EQ(tree.Result(), kResultInvalidParameter);
  EXPECT_EQ(tree.Tree(), nullptr);
}

TEST_F(ExifMarker, SegmentIsReadIntoHostOrderFromBothOrders) {
  for (const FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
    MarkerInput markers(SmallTiff(order));
    ExpectSmallTiff(MarkerTree(markers));
  }
}

TEST_F(ExifMarker, NoBlockIsNoExif) {
  TifDirectory* tree = reinterpret_cast<TifDirectory*>(this);
  EXPECT_EQ(TIFReadExifMarker(nullptr, &tree), kResultOk);
  EXPECT_EQ(tree, nullptr);
}

TEST_F(ExifMarker, BlockOfAnotherMagicOrOfNoBytesIsIgnored) {
  ExpectNone(MarkerInput(SmallTiff()).Magic("VMRX"));
  ExpectNone(MarkerInput(SmallTiff()).Magic("vmrk"));
  ExpectNone(MarkerInput().Magic("none"));
  MarkerInput empty;
  ExpectNone(empty);
}

TEST_F(ExifMarker, RunThatBeginsOtherwiseIsMalformed) {
  ExpectMalformed(MarkerInput().Raw({0xFE, 0xE1, 0, 4}));
  ExpectMalformed(MarkerInput().Raw({0, 0}));
  ExpectMalformed(MarkerInput().Raw({0xFF, 0xD8, 'x', 'y'}));
  ExpectMalformed(MarkerInput().Segment(0xE0, {1, 2}).Raw({0, 0xFF, 0xD9}));
}

TEST_F(ExifMarker, CodesZeroAndFillAreMalformed) {
  ExpectMalformed(MarkerInput().Raw({0xFF, 0, 0, 4, 0, 0}));
  ExpectMalformed(MarkerInput().Raw({0xFF, 0xFF, 0, 4, 0, 0}));
}

TEST_F(ExifMarker, LengthBelowTwoIsMalformed) {
  ExpectMalformed(MarkerInput().Raw({0xFF, 0xE0, 0, 0, 0, 0}));
  ExpectMalformed(MarkerInput().Raw({0xFF, 0xE0, 0, 1, 0, 0}));
  ExpectNone(MarkerInput().Raw({0xFF, 0xE0, 0, 2}));
  ExpectMalformed(MarkerInput().Raw({0xFF, 0xE0, 0}));
  ExpectMalformed(MarkerInput().Raw({0xFF, 0xE0}));
}

TEST_F(ExifMarker, OneByteLeftEndsTheRun) {
  ExpectNone(MarkerInput().Raw({0xFF}));
  ExpectNone(MarkerInput().Segment(0xE0, {1, 2, 3}).Raw({0x77}));
}

TEST_F(ExifMarker, MarkersWithoutALengthAreSteppedOver) {
  for (int code = 0xD0; code <= 0xD9; ++code) {
    MarkerInput markers;
    markers.Raw({0xFF, static_cast<uint8_t>(code)}).Exif(SmallTiff());
    ExpectSmallTiff(MarkerTree(markers));
  }
  for (const uint8_t code : std::initializer_list<uint8_t>{0xCF, 0xDA}) { // these have a length
    ExpectMalformed(MarkerInput().Raw({0xFF, code}).Raw({0, 0}).Exif(SmallTiff()));
  }
}

TEST_F(ExifMarker, OtherSegmentsArePassedOver) {
  MarkerInput markers;
  markers.Raw({0xFF, 0xD8}).Segment(0xE0, {'J', 'F', 'I', 'F', 0, 1, 1});
  markers.Segment(0xE1, {'h', 't', 't', 'p', ':', '/', '/', 'n', 's'}).Segment(0xFE, {}).Exif(SmallTiff());
  ExpectSmallTiff(MarkerTree(markers));
}

TEST_F(ExifMarker, ExifNameUnderAnotherCodeIsPassedOver) {
  FileBytes body = {'E', 'x', 'i', 'f', 0, 0};
  const FileBytes tiff = SmallTiff();
  body.insert(body.end(), tiff.begin(), tiff.end());
  ExpectNone(MarkerInput().Segment(0xE2, body));
  body[3] = 'F';
  ExpectNone(MarkerInput().Segment(0xE1, body));
  body[3] = 'f';
  body[4] = 1;
  ExpectNone(MarkerInput().Segment(0xE1, body));
}

TEST_F(ExifMarker, SixthByteOfTheNameIsNotLookedAt) {
  FileBytes body = {'E', 'x', 'i', 'f', 0, 0x77};
  const FileBytes tiff = SmallTiff();
  body.insert(body.end(), tiff.begin(), tiff.end());
  MarkerInput markers;
  markers.Segment(0xE1, body);
  ExpectSmallTiff(MarkerTree(markers));
}

TEST_F(ExifMarker, SegmentOfTenBytesIsPassedOver) {
  MarkerInput markers;
  markers.Exif({}).Exif(SmallTiff()); // 10 bytes with prefix, code and length
  ExpectSmallTiff(MarkerTree(markers));
}

TEST_F(ExifMarker, SegmentTooShortForAHeaderIsTakenAndEmpty) {
  for (size_t bytes = 1; bytes < 8; ++bytes) {
    FileBytes start = SmallTiff();
    start.resize(bytes);
    MarkerInput markers;
    markers.Exif(start).Exif(SmallTiff());
    ExpectNone(markers);
  }
}

TEST_F(ExifMarker, OnlyTheFirstExifSegmentCounts) {
  MarkerInput markers;
  markers.Exif(FileBytes(20, 0)).Exif(SmallTiff());
  ExpectNone(markers);
}

TEST_F(ExifMarker, LengthThatRunsPastTheBlockIsCut) {
  FileBytes body = {'E', 'x', 'i', 'f', 0, 0};
  const FileBytes tiff = SmallTiff();
  body.insert(body.end(), tiff.begin(), tiff.end());
  MarkerInput markers;
  markers.Raw({0xFF, 0xE1, 0xFF, 0xFF}).Raw(body);
  ExpectSmallTiff(MarkerTree(markers));
  ExpectNone(MarkerInput().Raw({0xFF, 0xE0, 0xFF, 0xFF, 1, 2, 3}));
}

TEST_F(ExifMarker, OrderByteAloneDecidesAndTheVersionIsNotLookedAt) {
  FileBytes little = SmallTiff();
  little[1] = 'X';
  little[2] = 99;
  little[3] = 99;
  MarkerInput one(little);
  ExpectSmallTiff(MarkerTree(one));
  FileBytes big = SmallTiff(FileOrder::kBig);
  big[0] = 'x'; // any byte but I
  big[1] = 'I';
  MarkerInput two(big);
  ExpectSmallTiff(MarkerTree(two));
}

TEST_F(ExifMarker, StreamThatDoesNotReadIsNoExif) {
  for (const uint32_t first : {0u, 4u, 1000u, 0xFFFFFFFFu}) {
    FileBytes tiff = SmallTiff();
    PutU32(tiff, 4, FileOrder::kLittle, first);
    MarkerInput markers(tiff);
    ExpectNone(markers);
  }
}

TEST_F(ExifMarker, FirstDirectoryAloneWithItsChildrenIsRead) {
  TiffBuilder tiff(FileOrder::kBig);
  tiff.AddPage()
      .Ascii(271, "Maker")
      .Child(34665, TiffDirectory().Short(37385, {7}))
      .Child(34853, TiffDirectory().Ascii(1, "N"));
  tiff.AddPage().Ascii(272, "thumbnail");
  MarkerInput markers(tiff.Build());
  const MarkerTree tree(markers);
  ASSERT_NE(tree.Tree(), nullptr);
  EXPECT_EQ(TagsOf(tree.Tree()), (std::vector<uint32_t>{271, 34665, 34853}));
  EXPECT_EQ(tree.Tree()->nextDirectoryOffset, tiff.DirectoryOffset(1));
  EXPECT_EQ(Get(Get(tree.Tree(), 34665).Child(), 37385).value, 7u);
  EXPECT_EQ(Get(Get(tree.Tree(), 34853).Child(), 1).value, uint32_t{'N'});
}

TEST_F(ExifMarker, StripsOfTheFirstDirectoryAreLoaded) {
  TiffBuilder tiff;
  tiff.AddPage(GrayPage(4, 4, 0x5A));
  MarkerInput markers(tiff.Build());
  const MarkerTree tree(markers);
  ASSERT_NE(tree.Tree(), nullptr);
  EXPECT_EQ(Get(tree.Tree(), 273).Bytes(16), FileBytes(16, 0x5A));
}

TEST_F(ExifMarker, NoMemoryIsNoExif) {
  MarkerInput markers(SmallTiff());
  uint64_t allocations = 0;
  {
    const AllocFaults counting(0);
    const MarkerTree tree(markers);
    allocations = counting.Calls();
  }
  ASSERT_GT(allocations, 2u);
  for (uint64_t nth = 1; nth <= allocations; ++nth) {
    const AllocFaults faults(nth);
    ExpectNone(markers);
  }
}

} // namespace
