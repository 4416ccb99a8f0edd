// Reading of directories into trees: values, sub-directories, maker notes, JPEG tables, in both byte orders.

#include <gtest/gtest.h>

#include "tree/TreeInput.h"

namespace {

constexpr uint32_t kBlockOwned = 17;
constexpr uint32_t kBlockArrayOwned = 18;
constexpr uint32_t kChildOwned = 20;
constexpr uint32_t kChildrenOwned = 21;

class DirectoryTree : public testing::TestWithParam<FileOrder> {
protected:
  TiffBuilder file{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Orders, DirectoryTree, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const auto& order) { return order.param == FileOrder::kLittle ? "Little" : "Big"; });

TEST_P(DirectoryTree, KeepsRecordsInTheOrderOfTheFileWithValuesInHostOrder) {
  file.AddPage()
      .Short(700, {0x1234})
      .Long(256, {0x01020304})
      .Byte(701, {1, 2, 3, 4})
      .Short(702, {0x1111, 0x2222})
      .Short(703, {0x0102, 0x0304, 0x0506})
      .Long(704, {0x01020304, 0x05060708})
      .Rational(705, {{0x01020304, 0x05060708}})
      .Double(706, {1.0})
      .Ascii(707, "hello")
      .Value(708, 14, 9, {});
  TreeInput input(file.Build());
  ASSERT_NE(input.Tree(), nullptr);
  EXPECT_EQ(TagsOf(input.Tree()), (std::vector<uint32_t>{700, 256, 701, 702, 703, 704, 705, 706, 707, 708}));
  EXPECT_EQ(input.Get(700).value, 0x1234u);
  EXPECT_EQ(input.Get(256).value, 0x01020304u);
  EXPECT_EQ(input.Get(701).value, 0x04030201u); // four bytes in file order, little-endian word
  EXPECT_EQ(input.Get(702).value, 0x22221111u);
  for (uint32_t tag : {700u, 256u, 701u, 702u, 708u}) {
    EXPECT_EQ(input.Get(tag).storage, 0u) << tag;
    EXPECT_EQ(input.Get(tag).data, nullptr) << tag;
  }
  EXPECT_EQ(input.Get(703).Bytes(6), (FileBytes{2, 1, 4, 3, 6, 5}));
  EXPECT_EQ(input.Get(704).Bytes(8), (FileBytes{4, 3, 2, 1, 8, 7, 6, 5}));
  EXPECT_EQ(input.Get(705).Bytes(8), (FileBytes{4, 3, 2, 1, 8, 7, 6, 5}));
  EXPECT_EQ(input.Get(706).Bytes(8), (FileBytes{0, 0, 0, 0, 0, 0, 0xF0, 0x3F}));
  EXPECT_EQ(input.Get(707).Bytes(6), (FileBytes{'h', 'e', 'l', 'l', 'o', 0}));
  for (uint32_t tag = 703; tag <= 707; ++tag) {
    EXPECT_EQ(input.Get(tag).storage, kBlockOwned) << tag;
    EXPECT_EQ(input.Get(tag).value, file.ValueOffset(0, static_cast<uint16_t>(tag)));
  }
}

TEST_P(DirectoryTree, EmptyDirectoryIsNoTree) {
  file.AddPage();
  EXPECT_EQ(TreeInput(file.Build()).Tree(), nullptr);
}

TEST_P(DirectoryTree, KeepsTheNextWordAsFound) {
  file.AddPage().Long(256, {1}).NextWord(0x12345678);
  EXPECT_EQ(TreeInput(file.Build()).Tree()->nextDirectoryOffset, 0x12345678u);
}

TEST_P(DirectoryTree, UnreadableNextWordIsZero) {
  file.AddPage().Long(256, {1}).NextWord(0x11111111);
  FileBytes bytes = file.Build();
  bytes.resize(bytes.size() - 1);
  TreeInput input(bytes);
  ASSERT_NE(input.Tree(), nullptr);
  EXPECT_EQ(input.Tree()->nextDirectoryOffset, 0u);
}

TEST_P(DirectoryTree, ShortEntryMakesTheDirectoryUnreadable) {
  file.AddPage().Long(256, {1}).Long(257, {1}).CountWord(3);
  FileBytes bytes = file.Build();
  EXPECT_EQ(TreeInput(bytes).Tree(), nullptr);
}

TEST_P(DirectoryTree, ValueBehindTheEndFailsTheDirectory) {
  file.AddPage().Long(256, {1}).RawWord(700, 1, 5, 0x1000);
  EXPECT_EQ(TreeInput(file.Build()).Tree(), nullptr);
}

TEST_P(DirectoryTree, SubDirectoriesHangWhereTheirTagsStand) {
  TiffDirectory interop = TiffDirectory().Ascii(1, "R98");
  TiffDirectory exif =
      TiffDirectory().Undefined(36864, {'0', '2', '2', '1'}).Child(40965, interop).Rational(33434, {{1, 60}});
  TiffDirectory own = TiffDirectory().Long(330, {77}).Long(1, {5});
  file.AddPage()
      .Long(256, {1})
      .Child(330, TiffDirectory().Long(254, {1}).Child(34665, TiffDirectory().Long(1, {2})))
      .Child(34665, exif)
      .Child(34853, TiffDirectory().Byte(0, {2, 2, 0, 0}))
      .Child(50236, own)
      .Long(257, {9});
  TreeInput input(file.Build());
  ASSERT_NE(input.Tree(), nullptr);
  EXPECT_EQ(TagsOf(input.Tree()), (std::vector<uint32_t>{256, 330, 34665, 34853, 50236, 257}));
  for (uint32_t tag : {330u, 34665u, 34853u, 50236u}) {
    EXPECT_EQ(input.Get(tag).storage, kChildOwned) << tag;
    EXPECT_EQ(input.Get(tag).value, GetU32(file.Build(), file.ValueOffset(0, static_cast<uint16_t>(tag)), GetParam()));
  }
  const PlainRecord innerExif = Get(input.Get(330).Child(), 34665);
  EXPECT_EQ(innerExif.storage, kChildOwned);
  EXPECT_EQ(Get(innerExif.Child(), 1).value, 2u);
  const TifDirectory* exifTree = input.Get(34665).Child();
  EXPECT_EQ(TagsOf(exifTree), (std::vector<uint32_t>{36864, 40965, 33434}));
  EXPECT_EQ(Get(Get(exifTree, 40965).Child(), 1).value, 0x00383952u); // "R98"
  EXPECT_EQ(Get(exifTree, 33434).Bytes(8), (FileBytes{1, 0, 0, 0, 60, 0, 0, 0}));
  EXPECT_EQ(Get(input.Get(50236).Child(), 330).storage, 0u) << "an ordinary tag there";
  EXPECT_EQ(input.Get(257).value, 9u);
}

TEST_P(DirectoryTree, UnreadableExifDirectoryLeavesNoTrace) {
  file.AddPage().Long(256, {1}).RawWord(34665, 4, 1, 0x00100000).Long(257, {2}).Short(258, {8});
  TreeInput input(file.Build());
  ASSERT_NE(input.Tree(), nullptr);
  EXPECT_EQ(TagsOf(input.Tree()), (std::vector<uint32_t>{256, 257, 258}));
  EXPECT_EQ(input.Get(257).value, 2u);
}

TEST_P(DirectoryTree, ExifDirectoryOffsetsOneToSevenAreUnreadable) {
  for (uint32_t offset = 1; offset <= 7; ++offset) {
    TiffBuilder other(GetParam());
    other.AddPage().Long(256, {1}).RawWord(34665, 4, 1, offset);
    EXPECT_EQ(TagsOf(TreeInput(other.Build()).Tree()), (std::vector<uint32_t>{256})) << offset;
  }
}

TEST_P(DirectoryTree, DirectoryOfOnlyBrokenSubDirectoriesIsATreeWithoutRecords) {
  file.AddPage().RawWord(34665, 4, 1, 0x00100000);
  TreeInput input(file.Build());
  ASSERT_NE(input.Tree(), nullptr);
  EXPECT_EQ(input.Tree()->entryCount, 0u);
}

TEST_P(DirectoryTree, SubIfdArrayIsReadWhole) {
  file.AddPage().Long(256, {1}).Children(
      330, {TiffDirectory().Long(254, {1}), TiffDirectory().Long(254, {2}), TiffDirectory().Long(254, {3})});
  TreeInput input(file.Build());
  ASSERT_NE(input.Tree(), nullptr);
  const PlainRecord record = input.Get(330);
  EXPECT_EQ(record.storage, kChildrenOwned);
  ASSERT_EQ(record.count, 3u);
  for (uint32_t i = 0; i < 3; ++i) {
    EXPECT_EQ(Get(record.Child(i), 254).value, i + 1);
  }
}

TEST_P(DirectoryTree, BadElementOfASubIfdArrayFailsThePage) {
  file.AddPage().Long(256, {1}).Children(330, {TiffDirectory().Long(254, {1}), TiffDirectory()});
  EXPECT_EQ(TreeInput(file.Build()).Tree(), nullptr);
}

TEST_P(DirectoryTree, SubIfdArrayOfAnotherTypeIsTakenForOneChild) {
  // The value word points to the array, which is no directory here: the entry goes.
  file.AddPage().Long(256, {1}).Children(330, {TiffDirectory().Long(254, {1}), TiffDirectory().Long(254, {2})}, 13);
  TreeInput input(file.Build());
  ASSERT_NE(input.Tree(), nullptr);
  EXPECT_EQ(input.Get(330).storage & kStorageKindMask, input.Get(330).tag == 0 ? 0u : 4u);
  EXPECT_NE(input.Get(330).storage, kChildrenOwned);
}

TEST_P(DirectoryTree, SubIfdArrayMustLieInTheFile) {
  file.AddPage().Long(256, {1}).RawWord(330, 4, 2, 0x5000);
  EXPECT_EQ(TreeInput(file.Build()).Tree(), nullptr);
}

TEST_P(DirectoryTree, SubIfdArrayOfAbsurdLengthTakesNoMemory) {
  file.AddPage().Long(256, {1}).RawWord(330, 4, 0xFFFFFFFF, 8);
  const FileBytes bytes = file.Build();
  krnResetStatistics();
  EXPECT_EQ(TreeInput(bytes).Tree(), nullptr);
  KrnStatistics statistics;
  krnGetStatistics(&statistics);
  EXPECT_LT(statistics.peakBytes, 100'000u);
}

TEST_P(DirectoryTree, MakerNoteThatIsADirectoryIsAChild) {
  file.AddPage().Child(37500, TiffDirectory().Short(1, {7}).Ascii(2, "maker text"), 7).Long(40960, {5});
  FileBytes bytes = file.Build();
  PutU32(bytes, file.EntryOffset(0, 37500) + 4, GetParam(), 30); // the count of a maker note is its bytes
  TreeInput input(bytes, 0, kDirExif);
  const PlainRecord note = input.Get(37500);
  ASSERT_EQ(note.storage, kChildOwned);
  EXPECT_EQ(note.count, 30u);
  EXPECT_EQ(Get(note.Child(), 1).value, 7u);
  EXPECT_EQ(Get(note.Child(), 2).Bytes(11), (FileBytes{'m', 'a', 'k', 'e', 'r', ' ', 't', 'e', 'x', 't', 0}));
  EXPECT_EQ(input.Get(40960).value, 5u);
}

TEST_P(DirectoryTree, MakerNoteThatIsNoneIsKeptAsBytes) {
  // An entry count of 0 is no directory in either byte order.
  const FileBytes note = {0, 0, 9, 8, 7, 6, 5};
  file.AddPage().Long(256, {1}).Child(34665, TiffDirectory().Undefined(37500, note).Long(40960, {5}));
  TreeInput input(file.Build());
  const TifDirectory* exif = input.Get(34665).Child();
  ASSERT_NE(exif, nullptr);
  EXPECT_EQ(TagsOf(exif), (std::vector<uint32_t>{37500, 40960}));
  EXPECT_EQ(Get(exif, 37500).storage, kBlockOwned);
  EXPECT_EQ(Get(exif, 37500).count, 7u);
  EXPECT_EQ(Get(exif, 37500).Bytes(7), note);
}

TEST_P(DirectoryTree, MakerNoteOfAnotherTypeThatIsNoDirectoryIsDropped) {
  file.AddPage().Long(256, {1}).Child(34665, TiffDirectory().Byte(37500, {0, 0, 9, 8, 7, 6}).Long(40960, {5}));
  TreeInput input(file.Build());
  EXPECT_EQ(TagsOf(input.Get(34665).Child()), (std::vector<uint32_t>{40960}));
}

TEST_P(DirectoryTree, ShortMakerNoteFailsItsDirectory) {
  file.AddPage().Long(256, {1}).Child(34665, TiffDirectory().RawWord(37500, 7, 500, 0).Long(40960, {5}));
  // The note would begin at the header, whose byte-order mark is a count of entries that are not there.
  EXPECT_EQ(TagsOf(TreeInput(file.Build()).Tree()), (std::vector<uint32_t>{256}));
}

TEST_P(DirectoryTree, ExifHoldsImageTagsAsPlainValues) {
  const TiffDirectory exif =
      TiffDirectory().Long(273, {1, 2}).Long(513, {3, 4}).Long(519, {1, 2, 3, 4, 5}).Long(514, {6});
  file.AddPage().Long(256, {1}).Child(34665, exif);
  TreeInput input(file.Build());
  const TifDirectory* tree = input.Get(34665).Child();
  ASSERT_NE(tree, nullptr);
  EXPECT_EQ(Get(tree, 273).Bytes(8), (FileBytes{1, 0, 0, 0, 2, 0, 0, 0}));
  EXPECT_EQ(Get(tree, 513).Bytes(8), (FileBytes{3, 0, 0, 0, 4, 0, 0, 0}));
  EXPECT_EQ(Get(tree, 519).storage, kBlockOwned);
}

TEST_P(DirectoryTree, JpegTablesFailAboveFourAndASingleOneStaysInTheFile) {
  {
    TiffBuilder five(GetParam());
    five.AddPage().Long(256, {1}).Long(519, {8, 8, 8, 8, 8});
    FileBytes bytes = five.Build();
    bytes.resize(1000);
    EXPECT_EQ(TreeInput(bytes).Tree(), nullptr);
  }
  for (uint32_t count : {0u, 1u}) {
    TiffBuilder few(GetParam());
    few.AddPage().Long(256, {1}).RawWord(520, 4, count, 0x77777777);
    TreeInput input(few.Build());
    EXPECT_EQ(input.Get(520).storage, 0u) << count;
    EXPECT_EQ(input.Get(520).value, 0x77777777u) << count;
  }
}

TEST_P(DirectoryTree, SeveralJpegTablesAreReadWithOneSizeForAll) {
  const FileBytes tables = Counting(600);
  file.AddPage().Long(256, {1}).Pointer(700, 7, 600, tables).Long(519, {0, 0}).Long(521, {0, 0, 0, 0});
  FileBytes bytes = file.Build();
  const uint32_t place = file.ValueOffset(0, 700);
  const uint32_t first = file.ValueOffset(0, 519);
  const uint32_t last = file.ValueOffset(0, 521);
  PutU32(bytes, first, GetParam(), place);
  PutU32(bytes, first + 4, GetParam(), place + 300);
  for (uint32_t i = 0; i < 4; ++i) {
    PutU32(bytes, last + 4 * i, GetParam(), place + i);
  }
  bytes.resize(bytes.size() + 300);
  TreeInput input(bytes);
  ASSERT_NE(input.Tree(), nullptr);
  EXPECT_EQ(input.Get(519).storage, kBlockArrayOwned);
  EXPECT_EQ(input.Get(519).BlockBytes(0, 272), FileBytes(tables.begin(), tables.begin() + 272)) << "never swapped";
  EXPECT_EQ(input.Get(519).BlockBytes(1, 272), FileBytes(tables.begin() + 300, tables.begin() + 572));
  EXPECT_EQ(input.Get(521).BlockBytes(3, 272), FileBytes(tables.begin() + 3, tables.begin() + 275));
}

TEST_P(DirectoryTree, JpegTableNearTheEndOfTheFileFailsTheDirectory) {
  for (uint32_t behind : {272u, 271u}) {
    TiffBuilder small(GetParam());
    small.AddPage().Long(256, {1}).Long(520, {0, 0});
    FileBytes bytes = small.Build();
    const auto place = static_cast<uint32_t>(bytes.size());
    PutU32(bytes, small.ValueOffset(0, 520), GetParam(), place);
    PutU32(bytes, small.ValueOffset(0, 520) + 4, GetParam(), place);
    bytes.resize(bytes.size() + behind);
    EXPECT_EQ(TreeInput(bytes).Tree() != nullptr, behind == 272) << behind;
  }
}

TEST_P(DirectoryTree, TheFilesOwnDirectoryIsTheCurrentOneAfterwards) {
  file.AddPage().Long(256, {1}).Child(34665, TiffDirectory().Long(1, {1})).Long(257, {1});
  TreeInput input(file.Build());
  EXPECT_EQ(+input.File().directoryOffset, 8u);
  EXPECT_EQ(+input.File().entryCount, 3u);
}

TEST_P(DirectoryTree, FreeingClearsARecordAndAcceptsNull) {
  KernelGuard guard;
  TIFFreeDirectory(nullptr, kDirMain);
  TIFFreeTagRecord(nullptr, kDirMain);
  TifTagRecord record = {700, 1, 8, 5, TIFNewDirectory(1), kStorageBlock | kStorageOwned};
  TIFFreeTagRecord(&record, kDirMain);
  EXPECT_EQ(Plain(record).data, nullptr);
  EXPECT_EQ(Plain(record).storage, 1u);
  int borrowed = 0;
  record = {700, 1, 8, 5, &borrowed, kStorageBlock};
  TIFFreeTagRecord(&record, kDirMain);
  EXPECT_EQ(Plain(record).data, nullptr) << "a borrowed block is let go, not freed";
  record = {700, 1, 4, 5, nullptr, kStorageOwned};
  TIFFreeTagRecord(&record, kDirMain);
  EXPECT_EQ(Plain(record).storage, 16u) << "inline records are left untouched";
}

} // namespace
