// Layout of written directories, byte for byte: values, texts, children, links.

#include <gtest/gtest.h>
#include <vxtif/results.h>

#include "treewriter/TreeTarget.h"

namespace {

class TreeLayout : public testing::TestWithParam<FileOrder> {
protected:
  bool IsLittle() const { return GetParam() == FileOrder::kLittle; }
  Bytes NewBytes() const { return Bytes(GetParam()); }
  // A page read from a little-endian source and written into a file of the parameter's order.
  FileBytes Written(const TiffDirectory& page, int32_t expected = kResultOk) {
    TiffBuilder source;
    source.AddPage(page);
    return Rewritten(source.Build(), GetParam(), expected);
  }
};

INSTANTIATE_TEST_SUITE_P(Orders, TreeLayout, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const auto& order) { return order.param == FileOrder::kLittle ? "Little" : "Big"; });

TEST_P(TreeLayout, ValuesStandBehindTheDirectoryInTagOrder) {
  const TiffDirectory page =
      TiffDirectory().Rational(702, {{1, 2}}).Ascii(701, "abcd").Short(700, {1, 2, 3}).Long(256, {9}).Short(258, {8});
  Bytes expected = NewBytes().Header(8).U16(5).Entry(256, 4, 1, 9).EntryShort(258, 8);
  expected.Entry(700, 3, 3, 74).Entry(701, 2, 5, 80).Entry(702, 5, 1, 86).U32(0);
  expected.U16(1).U16(2).U16(3).Text("abcd").Raw({0, 80}).U32(1).U32(2);
  EXPECT_EQ(Written(page), expected.bytes) << "the pad is the low byte of its value's place";
}

TEST_P(TreeLayout, PadIsTheLowByteOfTheValuesPlace) {
  // 26 + 300 = 326 is where the second value stands: its pad is 326 - 256 = 70.
  const TiffDirectory page = TiffDirectory().Byte(700, Counting(288)).Byte(701, Counting(5));
  const FileBytes bytes = Written(page);
  ASSERT_EQ(bytes.size(), 8u + 30 + 288 + 6);
  EXPECT_EQ(GetU32(bytes, 8 + 2 + 12 + 8, GetParam()), 326u);
  EXPECT_EQ(bytes.back(), 70);
}

TEST_P(TreeLayout, InlineTextOfFourBytesWithoutNulLeavesTheWord) {
  const TiffDirectory page = TiffDirectory().RawBytes(270, 2, 4, {'a', 'b', 'c', 'd'}).Long(300, {1});
  EXPECT_EQ(
      Written(page),
      NewBytes().Header(8).U16(2).Entry(270, 2, 5, 38).Entry(300, 4, 1, 1).U32(0).Text("abcd").Raw({0, 38}).bytes);
}

TEST_P(TreeLayout, ShorterInlineTextIsClosedInTheWord) {
  const TiffDirectory page = TiffDirectory()
                                 .RawBytes(270, 2, 3, {'a', 'b', 'c', 'x'})
                                 .RawBytes(271, 2, 2, {'a', 0, 'y', 'z'})
                                 .RawBytes(272, 2, 0, {'p', 'q', 'r', 's'});
  EXPECT_EQ(Written(page), NewBytes()
                               .Header(8)
                               .U16(3)
                               .EntryRaw(270, 2, 4, {'a', 'b', 'c', 0})
                               .EntryRaw(271, 2, 2, {'a', 0, 'y', 'z'})
                               .EntryRaw(272, 2, 0, {'p', 'q', 'r', 's'})
                               .U32(0)
                               .bytes);
}

TEST_P(TreeLayout, LongTextWithoutNulGetsOne) {
  const TiffDirectory page = TiffDirectory().Value(270, 2, 6, {'a', 'b', 'c', 'd', 'e', 'f'});
  EXPECT_EQ(Written(page), NewBytes().Header(8).U16(1).Entry(270, 2, 7, 26).U32(0).Text("abcdef").Raw({0, 26}).bytes);
}

TEST_P(TreeLayout, OutOfLineUnknownTypeKeepsItsWord) {
  const TiffDirectory page = TiffDirectory().RawWord(700, 99, 1000, 0x01020304);
  EXPECT_EQ(Written(page), NewBytes().Header(8).U16(1).Entry(700, 99, 1000, 0x01020304).U32(0).bytes);
}

TEST_P(TreeLayout, ChildStandsWhereItsTagComes) {
  const TiffDirectory exif = TiffDirectory().Ascii(36867, "12345").Long(40962, {7});
  const TiffDirectory page = TiffDirectory().Ascii(270, "abcdef").Child(34665, exif).Byte(40000, Counting(5));
  Bytes expected = NewBytes().Header(8).U16(3).Entry(270, 2, 7, 50).Entry(34665, 4, 1, 58).Entry(40000, 1, 5, 94);
  expected.U32(0).Text("abcdef").Raw({0, 50});
  expected.U16(2).Entry(36867, 2, 6, 88).Entry(40962, 4, 1, 7).U32(0).Text("12345").Raw({0});
  expected.Raw(Counting(5)).Raw({94});
  EXPECT_EQ(Written(page), expected.bytes);
}

TEST_P(TreeLayout, ChildrenStandBehindTheArrayOfTheirOffsets) {
  const TiffDirectory page = TiffDirectory()
                                 .Children(330, {TiffDirectory().Long(254, {1}), TiffDirectory().Ascii(270, "abcdef")})
                                 .Child(34665, TiffDirectory().Long(1, {2}))
                                 .Ascii(700, "uvwxyz");
  Bytes expected = NewBytes().Header(8).U16(3).Entry(330, 4, 2, 50).Entry(700, 2, 7, 102).Entry(34665, 4, 1, 110);
  expected.U32(0).U32(58).U32(76);
  expected.U16(1).Entry(254, 4, 1, 1).U32(0);
  expected.U16(1).Entry(270, 2, 7, 94).U32(0).Text("abcdef").Raw({0, 94});
  expected.Text("uvwxyz").Raw({0, 102});
  expected.U16(1).Entry(1, 4, 1, 2).U32(0);
  EXPECT_EQ(Written(page), expected.bytes);
}

TEST_P(TreeLayout, ChildRightBehindAnArrayOfChildrenStandsBehindThoseChildren) {
  const TiffDirectory page = TiffDirectory()
                                 .Children(330, {TiffDirectory().Long(254, {1}), TiffDirectory().Long(254, {2})})
                                 .Child(34665, TiffDirectory().Long(1, {3}));
  Bytes expected = NewBytes().Header(8).U16(2).Entry(330, 4, 2, 38).Entry(34665, 4, 1, 82).U32(0).U32(46).U32(64);
  expected.U16(1).Entry(254, 4, 1, 1).U32(0).U16(1).Entry(254, 4, 1, 2).U32(0).U16(1).Entry(1, 4, 1, 3).U32(0);
  EXPECT_EQ(Written(page), expected.bytes);
}

TEST_P(TreeLayout, RawMakerNoteKeepsItsBytes) {
  const FileBytes note = {0, 0, 9, 8, 7, 6, 5};
  const TiffDirectory page = TiffDirectory().Child(34665, TiffDirectory().Undefined(37500, note).Ascii(40000, "abcd"));
  Bytes expected = NewBytes().Header(8).U16(1).Entry(34665, 4, 1, 26).U32(0);
  expected.U16(2).Entry(37500, 7, 7, 56).Entry(40000, 2, 5, 64).U32(0).Raw(note).Raw({0}).Text("abcd").Raw({0, 64});
  EXPECT_EQ(Written(page), expected.bytes);
}

TEST_P(TreeLayout, MakerNoteDirectoryIsRebuiltAndKeepsItsOldCount) {
  TiffBuilder source;
  source.AddPage().Child(37500, TiffDirectory().Ascii(2, "abcdefg").Short(1, {7}), 7);
  FileBytes bytes = source.Build();
  PutU32(bytes, source.EntryOffset(0, 37500) + 4, FileOrder::kLittle, 1234);
  TreeInput input(bytes, 0, kDirExif);
  ASSERT_NE(input.Tree(), nullptr);
  TreeTarget target(GetParam(), {});
  EXPECT_EQ(target.Write(input.Tree(), nullptr, 0, kDirExif), kResultOk);
  Bytes expected = NewBytes().U16(1).Entry(37500, 7, 1234, 18).U32(0);
  expected.U16(2).EntryShort(1, 7).Entry(2, 2, 8, 48).U32(0).Text("abcdefg").Raw({0});
  EXPECT_EQ(target.Read(), expected.bytes);
}

TEST_P(TreeLayout, ExifTagsOfImageDataArePlainValues) {
  const TiffDirectory exif = TiffDirectory().Long(273, {1, 2}).Long(279, {3, 4}).Long(513, {5}).Long(519, {6, 7});
  Bytes expected = NewBytes().Header(8).U16(1).Entry(34665, 4, 1, 26).U32(0).U16(4);
  expected.Entry(273, 4, 2, 80).Entry(279, 4, 2, 88).Entry(513, 4, 1, 5).Entry(519, 4, 2, 96).U32(0);
  expected.U32(1).U32(2).U32(3).U32(4).U32(6).U32(7);
  EXPECT_EQ(Written(TiffDirectory().Child(34665, exif)), expected.bytes);
}

TEST_P(TreeLayout, DirectoryBeginsAtTheEvenPlaceAndTheLinkPointsThere) {
  TiffBuilder source;
  source.AddPage().Long(256, {9}).NextWord(77);
  TreeInput input(source.Build());
  TreeTarget target(GetParam(), FileBytes(13, 0xEE));
  EXPECT_EQ(target.Write(input.Tree(), &input.File(), 5), kResultOk);
  EXPECT_EQ(target.nextWord, 28u);
  EXPECT_EQ(target.position, 32u);
  EXPECT_EQ(krnFileSeek(target.file.fileHandle, 0, kKrnSeekCurrent), 32u);
  Bytes expected = NewBytes().Raw(FileBytes(5, 0xEE)).U32(14).Raw(FileBytes(4, 0xEE)).Raw({0});
  expected.U16(1).Entry(256, 4, 1, 9).U32(0);
  EXPECT_EQ(target.Read(), expected.bytes) << "the next word is 0 until another page hangs there";
}

TEST_P(TreeLayout, SortsTheCallersListAndLeavesItOtherwiseIntact) {
  TiffBuilder source;
  source.AddPage().Ascii(701, "abcdef").Long(256, {9}).Child(34665, TiffDirectory().Ascii(1, "uvwxyz"));
  TreeInput input(source.Build());
  const PlainRecord text = input.Get(701);
  const PlainRecord child = input.Get(34665);
  TreeTarget target(GetParam(), {});
  EXPECT_EQ(target.Write(input.Tree(), &input.File()), kResultOk);
  EXPECT_EQ(TagsOf(input.Tree()), (std::vector<uint32_t>{256, 701, 34665}));
  EXPECT_EQ(input.Get(701).data, text.data);
  EXPECT_EQ(input.Get(701).storage, text.storage);
  EXPECT_EQ(input.Get(701).value, text.value);
  EXPECT_EQ(input.Get(701).Bytes(7), (FileBytes{'a', 'b', 'c', 'd', 'e', 'f', 0}));
  EXPECT_EQ(input.Get(34665).data, child.data);
  EXPECT_EQ(input.Get(34665).storage, child.storage);
  EXPECT_EQ(Get(child.Child(), 1).storage, 17u);
}

TEST_P(TreeLayout, EqualTagsKeepTheirOrder) {
  const TiffDirectory page = TiffDirectory().Long(700, {1}).Long(256, {2}).Long(700, {3});
  EXPECT_EQ(Written(page),
            NewBytes().Header(8).U16(3).Entry(256, 4, 1, 2).Entry(700, 4, 1, 1).Entry(700, 4, 1, 3).U32(0).bytes);
}

TEST_P(TreeLayout, SubDirectoryOfRecordsInMemoryNeedsNoSource) {
  KernelGuard guard;
  TreeTarget target(GetParam(), FileBytes(3, 1));
  uint8_t text[] = {'N', 'o', 'r', 't', 'h'};
  TifDirectory* gps = TIFNewDirectory(2);
  gps->records[0] = {3, 2, 5, 0, text, kStorageBlock};
  gps->records[1] = {0, 1, 4, 0x00000202, nullptr, kStorageNone};
  uint32_t place = 0;
  EXPECT_EQ(TIFWriteSubDirectory(&target.file, &place, gps, kDirGps), kResultOk);
  EXPECT_EQ(place, 4u);
  TIFFreeDirectory(gps, kDirGps);
  Bytes expected = NewBytes().Raw({1, 1, 1, 0}).U16(2).EntryRaw(0, 1, 4, {2, 2, 0, 0}).Entry(3, 2, 6, 34).U32(0);
  EXPECT_EQ(target.Read(), expected.Text("North").Raw({0}).bytes);
}

TEST_P(TreeLayout, NoPositionNoRecordNoWork) {
  TreeTarget target(GetParam(), {});
  TifTagRecord record = {256, 4, 1, 1, nullptr, 0};
  EXPECT_EQ(TIFWriteDirectoryTree(&target.file, nullptr, &record, 1, 0, nullptr, nullptr, kDirMain), 0);
  uint32_t position = 8;
  EXPECT_EQ(TIFWriteRecordBlock(&target.file, nullptr, &position, kDirMain), 0);
  record = {700, 1, 9, 1, nullptr, 0};
  EXPECT_EQ(TIFWriteRecordBlock(&target.file, &record, &position, kDirMain), kResultNullPointer);
  EXPECT_EQ(position, 8u);
  EXPECT_TRUE(target.Read().empty());
}

TEST_P(TreeLayout, EmptyDirectoryIsACountAndANextWord) {
  TreeTarget target(GetParam(), {});
  EXPECT_EQ(TIFWriteDirectoryTree(&target.file, nullptr, nullptr, 0, 0, nullptr, &target.position, kDirMain),
            kResultOk);
  EXPECT_EQ(target.Read(), FileBytes(6));
}

TEST_P(TreeLayout, AsManyEntriesAsTheCountWordHoldsAreReadAndWritten) {
  Bytes full = NewBytes().Header(8).U16(65535);
  for (uint32_t i = 0; i < 65535; ++i) {
    full.Entry(static_cast<uint16_t>(51000 + i / 8), 4, 1, i); // tags without a meaning of their own
  }
  full.U32(0);
  TreeInput input(full.bytes);
  ASSERT_NE(input.Tree(), nullptr);
  EXPECT_EQ(+input.Tree()->entryCount, 65535u);
  EXPECT_EQ(+input.Tree()->records[65534].value, 65534u);
  EXPECT_TRUE(Rewritten(full.bytes, GetParam()) == full.bytes);
}

TEST_P(TreeLayout, SubDirectoryArrayThatCannotFitIsRefused) {
  TreeTarget target(GetParam(), {});
  TifTagRecord record = {
      330, 4, 0xFFFFFFFF, 0, target.file.fileHandle != 0 ? &target : nullptr, kStorageDirectoryArray};
  EXPECT_EQ(TIFWriteDirectoryTree(&target.file, nullptr, &record, 1, 0, nullptr, &target.position, kDirMain),
            kResultNotTiff);
}

TEST_P(TreeLayout, TargetThatIsTooSmallIsAWriteFailure) {
  KernelGuard guard;
  FileBytes room(40);
  VxMemFile memory = nullptr;
  TifFile target = {};
  target.byteOrder = kByteOrderLittle;
  ASSERT_EQ(krnMemFileOpen(&memory, &target.fileHandle, kKrnMemFileWrite, room.data(), 40), 1);
  TifTagRecord record = {700, 1, 9, 1, room.data(), kStorageBlock};
  uint32_t position = 0;
  EXPECT_EQ(TIFWriteDirectoryTree(&target, nullptr, &record, 1, 0, nullptr, &position, kDirMain), kResultOk);
  TifTagRecord large = {700, 1, 30, 1, room.data(), kStorageBlock};
  krnFileSeek(target.fileHandle, 0, 0);
  FileBytes other(30);
  large.data = other.data();
  EXPECT_EQ(TIFWriteDirectoryTree(&target, nullptr, &large, 1, 0, nullptr, &position, kDirMain), kResultWriteFailed);
  krnMemFileClose(memory, 0, nullptr);
}

// --- faults ---------------------------------------------------------------------------------------------------------

TEST_P(TreeLayout, DirectoryIsWrittenOnlyAfterItsValues) {
  TiffBuilder source;
  source.AddPage().Ascii(270, "abcdef").Child(34665, TiffDirectory().Ascii(1, "uvwxyz")).Strips({{1, 2}, {3, 4}});
  const FileBytes bytes = source.Build();
  bool finished = false;
  uint64_t writes = 0;
  for (uint64_t nth = 1; !finished; ++nth) {
    ASSERT_LT(nth, 100u);
    KernelGuard guard;
    TreeInput input(bytes);
    TreeTarget target(GetParam(), NewBytes().Header(0).bytes);
    int32_t result = 0;
    {
      IoFaults faults;
      faults.Fail(IoCall::kWrite, nth, FaultSpan::kFromThenOn);
      result = target.Write(input.Tree(), &input.File(), 4);
      finished = faults.Calls(IoCall::kWrite) < nth;
      writes = nth;
    }
    EXPECT_EQ(result, finished ? kResultOk : kResultWriteFailed) << nth;
    const FileBytes written = target.Read();
    EXPECT_EQ(GetU32(written, 4, GetParam()), finished ? 8u : 0u) << "nothing unfinished is reachable";
    if (written.size() > 10 && GetU16(written, 8, GetParam()) != 0 && !finished) {
      // Count word, entries, next word, link: the values and the child are all there by then.
      EXPECT_EQ(GetU16(written, 8, GetParam()), 4u);
      EXPECT_GE(written.size(), 8u + 54 + 8 + 26 + 16 + 4) << nth;
    }
  }
  EXPECT_GT(writes, 8u);
}

TEST_P(TreeLayout, FailuresOfSeeksReadsAndAllocationsAreReported) {
  TiffBuilder source;
  source.AddPage()
      .Ascii(270, "abcdef")
      .Child(34665, TiffDirectory().Ascii(1, "uvwxyz"))
      .Children(330, {TiffDirectory().Long(1, {1}), TiffDirectory().Ascii(1, "pqrstu")})
      .Tiles({{1, 2}, {3, 4}, {5, 6}});
  const FileBytes bytes = source.Build();
  for (IoCall call : {IoCall::kSeek, IoCall::kRead}) {
    bool finished = false;
    for (uint64_t nth = 1; !finished; ++nth) {
      ASSERT_LT(nth, 200u);
      KernelGuard guard;
      TreeInput input(bytes);
      TreeTarget target(GetParam(), NewBytes().Header(0).bytes);
      IoFaults faults;
      faults.Fail(call, nth);
      const int32_t result = target.Write(input.Tree(), &input.File(), 4);
      finished = faults.Calls(call) < nth;
      // A table of tiles that cannot be sought cannot be read; byte counts know one failure only.
      const bool told = call == IoCall::kRead ? result == kResultReadFailed
                                              : result == kResultSeekFailed || result == kResultReadFailed ||
                                                    result == kResultWriteFailed;
      EXPECT_TRUE(finished ? result == kResultOk : told) << nth << ": " << result;
    }
  }
  bool finished = false;
  for (uint64_t nth = 1; !finished; ++nth) {
    ASSERT_LT(nth, 200u);
    KernelGuard guard;
    TreeInput input(bytes);
    TreeTarget target(GetParam(), NewBytes().Header(0).bytes);
    AllocFaults faults(nth);
    const int32_t result = target.Write(input.Tree(), &input.File(), 4);
    finished = faults.Calls() < nth;
    // An array of children without memory has no code of its own.
    EXPECT_TRUE(finished ? result == kResultOk : result == kResultNoMemory || result == 0) << nth << ": " << result;
  }
}

} // namespace
