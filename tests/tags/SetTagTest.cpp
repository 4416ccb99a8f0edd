// Pages edited in place, compared byte for byte with files put together by hand.

#include <gtest/gtest.h>
#include <vxtif/results.h>

#include "tags/TagItems.h"

namespace {

class SetTag : public testing::TestWithParam<FileOrder> {
protected:
  bool IsLittle() const { return GetParam() == FileOrder::kLittle; }
  Bytes NewBytes() const { return Bytes(GetParam()); }

  // A page with a width alone. It ends at 26.
  Bytes WidthPage(uint32_t first = 8) const { return NewBytes().Header(first).U16(1).Entry(256, 4, 1, 7).U32(0); }
  // A page with a width and a value under tag 700. What is added stands at 38.
  Bytes ValuePage(uint16_t type, uint32_t count, uint32_t place) const {
    return NewBytes().Header(8).U16(2).Entry(256, 4, 1, 7).Entry(700, type, count, place).U32(0);
  }
  // The value is a text of ten bytes. The file ends at 48.
  FileBytes TextPage() const { return ValuePage(2, 10, 38).Raw(OldText()).bytes; }
  static FileBytes OldText() { return {'1', '2', '3', '4', '5', '6', '7', '8', '9', 0}; }

  // The file behind an edit that succeeds.
  static FileBytes Edited(const FileBytes& before, TagItems& items) {
    const TempFile file(before);
    EXPECT_EQ(SetTags(file, items), kResultOk);
    return file.Read();
  }
};

INSTANTIATE_TEST_SUITE_P(Orders, SetTag, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const auto& order) { return order.param == FileOrder::kLittle ? "Little" : "Big"; });

TEST_P(SetTag, ExistingTagChangesInPlace) {
  Bytes expected = NewBytes().Header(8).U16(2).Entry(256, 4, 1, 0x0A0B0C0D).Entry(700, 2, 10, 38).U32(0);
  EXPECT_EQ(Edited(TextPage(), TagItems().Add(256, 4, 1, {0x0D, 0x0C, 0x0B, 0x0A})), expected.Raw(OldText()).bytes);
}

TEST_P(SetTag, NewTagMovesTheDirectoryToTheEndAndRewritesItsLink) {
  Bytes expected = NewBytes().Header(48).U16(2).Entry(256, 4, 1, 7).Entry(700, 2, 10, 38).U32(0).Raw(OldText());
  expected.U16(3).Entry(256, 4, 1, 7).Entry(300, 4, 1, 1).Entry(700, 2, 10, 38).U32(0);
  EXPECT_EQ(Edited(TextPage(), TagItems().Add(300, 4, 1, {1, 0, 0, 0})), expected.bytes);
}

TEST_P(SetTag, OddEndIsPaddedWithTheLowByteOfTheNewSize) {
  FileBytes odd = TextPage();
  odd.push_back(0x77);                                        // 49 bytes
  EXPECT_EQ(Edited(odd, TagItems().Text(700, "0123456789A")), // 12 with its NUL
            ValuePage(2, 12, 50).Raw(OldText()).Raw({0x77, 50}).Text("0123456789A").Raw({0}).bytes);
}

TEST_P(SetTag, SmallerValueGoesOverTheOldOneAndItsTailStays) {
  const std::string_view eight("abcdefg\0", 8);
  EXPECT_EQ(Edited(TextPage(), TagItems().Text(700, eight)), ValuePage(2, 8, 38).Text(eight).Raw({'9', 0}).bytes);
}

TEST_P(SetTag, ValueOfTheSameEvenSizeGoesOverTheOldOne) {
  const FileBytes ten = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  EXPECT_EQ(Edited(TextPage(), TagItems().Add(700, 1, 10, ten)), ValuePage(1, 10, 38).Raw(ten).bytes);
  const FileBytes nine(ten.begin(), ten.begin() + 9);
  EXPECT_EQ(Edited(TextPage(), TagItems().Add(700, 1, 9, nine)), ValuePage(1, 9, 38).Raw(nine).Raw({0}).bytes)
      << "with the byte that evens it";
}

TEST_P(SetTag, LargerValueGoesToTheEndAndTheOldBytesStay) {
  const FileBytes twelve = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  EXPECT_EQ(Edited(TextPage(), TagItems().Add(700, 1, 12, twelve)),
            ValuePage(1, 12, 48).Raw(OldText()).Raw(twelve).bytes);
}

TEST_P(SetTag, TextThatFitsOnlyWithoutItsNulGoesToTheEnd) {
  EXPECT_EQ(Edited(TextPage(), TagItems().Text(700, "abcdefghij")), // 10 bytes, 11 with the NUL, 12 on disk
            ValuePage(2, 11, 48).Raw(OldText()).Text("abcdefghij").Raw({0, 0}).bytes);
}

TEST_P(SetTag, OddSizeNeverFitsOverTheSameOddSize) {
  const FileBytes old = {1, 2, 3, 4, 5, 6, 7};
  const FileBytes seven = {11, 12, 13, 14, 15, 16, 17};
  EXPECT_EQ(Edited(ValuePage(1, 7, 38).Raw(old).bytes, TagItems().Add(700, 1, 7, seven)),
            ValuePage(1, 7, 46).Raw(old).Raw({46}).Raw(seven).Raw({0}).bytes);
}

TEST_P(SetTag, FourTextBytesWithoutNulStandOutOfLineWithCountFive) {
  Bytes expected = WidthPage(32).Text("abcd").Raw({0, 0});
  expected.U16(2).Entry(256, 4, 1, 7).Entry(270, 2, 5, 26).U32(0);
  EXPECT_EQ(Edited(WidthPage().bytes, TagItems().Text(270, "abcd")), expected.bytes);
}

TEST_P(SetTag, FourTextBytesOverAnInlineWordLeaveIt) {
  // Read with the old four bytes as room, they would be stored where the old word points.
  EXPECT_EQ(Edited(NewBytes().Header(8).U16(1).EntryRaw(270, 2, 4, {'x', 'y', 'z', 0}).U32(0).bytes,
                   TagItems().Text(270, "abcd")),
            NewBytes().Header(8).U16(1).Entry(270, 2, 5, 26).U32(0).Text("abcd").Raw({0, 0}).bytes);
}

TEST_P(SetTag, ThreeTextBytesWithoutNulStandInlineWithCountFour) {
  Bytes expected = WidthPage(26).U16(2).Entry(256, 4, 1, 7).EntryRaw(270, 2, 4, {'a', 'b', 'c', 0}).U32(0);
  EXPECT_EQ(Edited(WidthPage().bytes, TagItems().Text(270, "abc")), expected.bytes);
}

TEST_P(SetTag, UpperBytesOfANewShortValueStayOnes) {
  TagItems items;
  items.Add(300, 3, 1, {0x34, 0x12}).Add(301, 1, 1, {5}).Add(302, 8, 1, {0xFE, 0xFF}).Add(303, 3, 2, {1, 0, 2, 0});
  Bytes expected = WidthPage(26).U16(5).Entry(256, 4, 1, 7);
  if (IsLittle()) {
    expected.EntryRaw(300, 3, 1, {0x34, 0x12, 0xFF, 0xFF});
  } else {
    expected.EntryRaw(300, 3, 1, {0x12, 0x34, 0, 0});
  }
  expected.EntryRaw(301, 1, 1, {5, 0xFF, 0xFF, 0xFF});
  expected.EntryRaw(302, 8, 1, IsLittle() ? FileBytes{0xFE, 0xFF, 0xFF, 0xFF} : FileBytes{0xFF, 0xFE, 0xFF, 0xFF});
  expected.EntryRaw(303, 3, 2, IsLittle() ? FileBytes{1, 0, 2, 0} : FileBytes{0, 1, 0, 2});
  EXPECT_EQ(Edited(WidthPage().bytes, items), expected.U32(0).bytes);
}

TEST_P(SetTag, ValuesComeInHostOrderAndGoBackToTheCallerUnchanged) {
  TagItems items;
  const FileBytes shorts = {1, 2, 3, 4, 5, 6};
  const FileBytes number = {1, 2, 3, 4, 5, 6, 7, 8};
  items.Add(300, 3, 3, shorts).Add(301, 12, 1, number).Add(302, 5, 1, number);
  Bytes expected = WidthPage(48).U16(0x0201).U16(0x0403).U16(0x0605);
  expected.Raw(IsLittle() ? number : FileBytes{8, 7, 6, 5, 4, 3, 2, 1}).U32(0x04030201).U32(0x08070605);
  expected.U16(4).Entry(256, 4, 1, 7).Entry(300, 3, 3, 26).Entry(301, 12, 1, 32).Entry(302, 5, 1, 40).U32(0);
  EXPECT_EQ(Edited(WidthPage().bytes, items), expected.bytes);
  EXPECT_EQ(items.Value(0), shorts);
  EXPECT_EQ(items.Value(1), number);
  EXPECT_EQ(items.Value(2), number);
}

TEST_P(SetTag, OutOfLineValueThatBecomesSmallMovesIntoTheWord) {
  Bytes expected = NewBytes().Header(8).U16(2).Entry(256, 4, 1, 7).EntryRaw(700, 1, 4, {1, 2, 3, 4}).U32(0);
  EXPECT_EQ(Edited(TextPage(), TagItems().Add(700, 1, 4, {1, 2, 3, 4})), expected.Raw(OldText()).bytes);
}

TEST_P(SetTag, UnsortedDirectoryComesOutSortedAndEqualTagsKeepTheirOrder) {
  Bytes unsorted = NewBytes().Header(8).U16(5).Entry(700, 4, 1, 1).Entry(300, 4, 1, 2).Entry(700, 4, 1, 3);
  unsorted.Entry(256, 4, 1, 4).Entry(40000, 4, 1, 5).U32(0);
  Bytes sorted = NewBytes().Header(8).U16(5).Entry(256, 4, 1, 4).Entry(300, 4, 1, 9).Entry(700, 4, 1, 1);
  sorted.Entry(700, 4, 1, 3).Entry(40000, 4, 1, 5).U32(0);
  EXPECT_EQ(Edited(unsorted.bytes, TagItems().Add(300, 4, 1, {9, 0, 0, 0})), sorted.bytes);
}

TEST_P(SetTag, CommentOfNoBytesIsAChangeThatSetsNothing) {
  const TempFile file(NewBytes().Header(8).U16(2).Entry(700, 4, 1, 1).Entry(256, 4, 1, 4).U32(0).bytes);
  char text = 'x';
  TifCommentBlock comments = {};
  comments.slots[0] = {&text, 0};
  FilterSetCommentRequest request = {file.Name(), 0, nullptr, &comments, nullptr};
  EXPECT_EQ(fltSetComment(&request), kResultOk);
  EXPECT_EQ(file.Read(), NewBytes().Header(8).U16(2).Entry(256, 4, 1, 4).Entry(700, 4, 1, 1).U32(0).bytes)
      << "the directory is written back, and so sorted";
}

TEST_P(SetTag, EmptyListLeavesTheFileUntouched) {
  const FileBytes before = NewBytes().Header(8).U16(2).Entry(700, 4, 1, 1).Entry(256, 4, 1, 4).U32(0).Raw({1}).bytes;
  TagItems none;
  EXPECT_EQ(Edited(before, none), before);
  const TempFile file(before);
  TifMarkerBlock markers = {0, 0};
  FilterSetTagRequest request = {file.Name(), nullptr, &markers, nullptr};
  EXPECT_EQ(fltSetTag(&request), kResultOk);
  EXPECT_EQ(file.Read(), before);
}

TEST_P(SetTag, SecondPageIsReachedByNumberAndItsLinkIsTheWordBefore) {
  TiffBuilder builder(GetParam());
  builder.AddPage(GrayPage(1, 1));
  builder.AddPage(GrayPage(2, 1));
  builder.AddPage(GrayPage(3, 1));
  const FileBytes before = builder.Build();
  const TempFile file(before);
  SaveOptions options = {};
  options.pageNumber = 2;
  TagItems items;
  items.Add(700, 4, 1, {9, 0, 0, 0});
  EXPECT_EQ(SetTags(file, items, &options), kResultOk);
  const FileBytes after = file.Read();
  const auto moved = static_cast<uint32_t>(before.size() + before.size() % 2);
  EXPECT_EQ(GetU32(after, builder.LinkOffset(1), GetParam()), moved);
  FileBytes unlinked(after.begin(), after.begin() + static_cast<std::ptrdiff_t>(before.size()));
  PutU32(unlinked, builder.LinkOffset(1), GetParam(), builder.DirectoryOffset(1));
  EXPECT_EQ(unlinked, before) << "nothing else of the old bytes changes";
  EXPECT_EQ(GetU16(after, moved, GetParam()), GetU16(before, builder.DirectoryOffset(1), GetParam()) + 1);
  EXPECT_EQ(GetU32(after, after.size() - 4, GetParam()), builder.DirectoryOffset(2)) << "the chain goes on";
}

TEST_P(SetTag, LaterItemOfTheSameTagWins) {
  Bytes expected = WidthPage(26).U16(2).Entry(256, 4, 1, 7).Entry(300, 4, 1, 2).U32(0);
  EXPECT_EQ(Edited(WidthPage().bytes, TagItems().Add(300, 4, 1, {1, 0, 0, 0}).Add(300, 4, 1, {2, 0, 0, 0})),
            expected.bytes);
}

TEST_P(SetTag, NoTagIsRefused) {
  TagItems items;
  items.Add(273, 4, 1, {8, 0, 0, 0}).Add(254, 4, 1, {1, 0, 0, 0}).Add(34665, 4, 1, {0, 0, 0, 0}).Add(9, 99, 4, {0});
  EXPECT_EQ(GetU16(Edited(WidthPage().bytes, items), 26, GetParam()), 5u);
}

TEST_P(SetTag, ItemWithoutDataIsPassedOver) {
  const TempFile file(WidthPage().bytes);
  TifTagItem item = {300, 4, 5, nullptr, nullptr};
  FilterSetTagRequest request = {file.Name(), &item, nullptr, nullptr};
  EXPECT_EQ(fltSetTag(&request), kResultOk);
  EXPECT_EQ(file.Read(), WidthPage().bytes);
}

TEST_P(SetTag, ItemOfNoValuesSetsTypeAndCountAlone) {
  // The word keeps what stood there: the number 7 as bytes in little-endian order.
  EXPECT_EQ(Edited(WidthPage().bytes, TagItems().Add(256, 2, 0, {})),
            NewBytes().Header(8).U16(1).EntryRaw(256, 2, 0, {7, 0, 0, 0}).U32(0).bytes);
}

TEST_P(SetTag, OldPlaceOutsideTheFileIsNotWrittenTo) {
  for (uint32_t place : {0xFFFFFF00u, 42u, 0u, 4u}) {
    EXPECT_EQ(Edited(ValuePage(1, 20, place).bytes, TagItems().Add(700, 1, 6, {1, 2, 3, 4, 5, 6})),
              ValuePage(1, 6, 38).Raw({1, 2, 3, 4, 5, 6}).bytes)
        << place;
  }
}

TEST_P(SetTag, ExplicitDirectoryCannotGrowButCanBeReplaced) {
  const FileBytes before = TextPage();
  const TempFile file(before);
  SaveOptions options = {};
  options.flags = kSaveUseDirectoryOffset;
  options.directoryOffset = 8;
  TagItems items;
  items.Add(300, 4, 1, {1, 0, 0, 0});
  EXPECT_EQ(SetTags(file, items, &options), kResultNoLinkWord);
  EXPECT_EQ(file.Read(), before);
  TagItems replacing;
  replacing.Add(256, 4, 1, {8, 0, 0, 0});
  EXPECT_EQ(SetTags(file, replacing, &options), kResultOk);
  EXPECT_EQ(GetU32(file.Read(), 18, GetParam()), 8u);
}

TEST_P(SetTag, ExplicitDirectoryWithAStepForwardKnowsItsLink) {
  TiffBuilder builder(GetParam());
  builder.AddPage(GrayPage(1, 1));
  builder.AddPage(GrayPage(2, 1));
  const TempFile file(builder.Build());
  SaveOptions options = {};
  options.flags = kSaveUseDirectoryOffset;
  options.directoryOffset = builder.DirectoryOffset(0);
  options.pageNumber = 2;
  TagItems items;
  items.Add(700, 4, 1, {1, 0, 0, 0});
  EXPECT_EQ(SetTags(file, items, &options), kResultOk);
  EXPECT_NE(GetU32(file.Read(), builder.LinkOffset(1), GetParam()), builder.DirectoryOffset(1));
}

TEST_P(SetTag, FailuresHaveTheirCodes) {
  const TempFile missing;
  TagItems items;
  items.Add(256, 4, 1, {1, 0, 0, 0});
  EXPECT_EQ(SetTags(missing, items), kResultOpenFailed);
  EXPECT_FALSE(missing.Exists());
  FilterSetTagRequest unnamed = {nullptr, items.Head(), nullptr, nullptr};
  EXPECT_EQ(fltSetTag(&unnamed), kResultOpenFailed);
  EXPECT_EQ(fltSetTag(nullptr), kResultInvalidParameter);
  const TempFile file(TextPage());
  SaveOptions options = {};
  options.pageNumber = 2;
  EXPECT_EQ(SetTags(file, items, &options), kResultNoSuchPage);
  options.pageNumber = -1;
  EXPECT_EQ(SetTags(file, items, &options), kResultOk);
  const TempFile noTiff(FileBytes(20, 'x'));
  EXPECT_EQ(SetTags(noTiff, items), kResultNotTiff);
  const TempFile cut(NewBytes().Header(8).U16(3).Entry(256, 4, 1, 7).U32(0).bytes);
  EXPECT_EQ(SetTags(cut, items), kResultReadFailed);
}

// --- faults ---------------------------------------------------------------------------------------------------------

// Whatever fails, the chain stays whole: the page's directory is the old one or the new one.
void ExpectWholePage(const FileBytes& bytes, const FileBytes& before, FileOrder order, const std::string& what) {
  const uint32_t directory = GetU32(bytes, 4, order);
  ASSERT_LT(directory + 2, bytes.size()) << what;
  const uint32_t entries = GetU16(bytes, directory, order);
  if (directory == 8) {
    EXPECT_EQ(FileBytes(bytes.begin(), bytes.begin() + 48), FileBytes(before.begin(), before.begin() + 48)) << what;
  } else {
    EXPECT_EQ(entries, 4u) << what;
    EXPECT_GE(bytes.size(), directory + 2 + 12 * entries + 4) << what;
  }
}

TEST_P(SetTag, FailuresAtAnyStepLeaveTheChainWhole) {
  const FileBytes before = TextPage();
  for (IoCall call : {IoCall::kRead, IoCall::kSeek, IoCall::kWrite}) {
    for (FaultSpan span : {FaultSpan::kOnce, FaultSpan::kFromThenOn}) {
      bool finished = false;
      for (uint64_t nth = 1; !finished; ++nth) {
        ASSERT_LT(nth, 200u);
        const TempFile file(before);
        TagItems items;
        items.Text(800, "a new text").Text(900, "another one");
        int32_t result = 0;
        {
          IoFaults faults;
          faults.Fail(call, nth, span);
          result = SetTags(file, items);
          finished = faults.Calls(call) < nth;
        }
        const std::string what = "call " + std::to_string(nth) + " of kind " + std::to_string(static_cast<int>(call));
        if (finished) {
          EXPECT_EQ(result, kResultOk);
        } else if (call == IoCall::kWrite) {
          EXPECT_TRUE(result == kResultWriteFailed) << what << ": " << result;
        } else {
          EXPECT_TRUE(result == kResultReadFailed || result == kResultSeekFailed || result == kResultNotTiff ||
                      result == kResultOk)
              << what << ": " << result;
        }
        ExpectWholePage(file.Read(), before, GetParam(), what);
      }
    }
  }
}

TEST_P(SetTag, ChangedBytesEndWithoutDamage) {
  TiffBuilder builder(GetParam());
  builder.AddPage(GrayPage(1, 1).Ascii(270, "a description").Sort());
  builder.AddPage(GrayPage(2, 1));
  const FileBytes whole = builder.Build();
  const TempFile file(whole);
  for (size_t at = 2; at < whole.size(); ++at) {
    for (uint8_t value : {uint8_t{0}, uint8_t{8}, uint8_t{0xFF}}) {
      FileBytes bytes = whole;
      bytes[at] = value;
      file.Write(bytes);
      TagItems items;
      items.Text(270, "short").Text(305, "a new one").Add(282, 5, 1, {1, 0, 0, 0, 1, 0, 0, 0}).Add(700, 3, 1, {1, 0});
      EXPECT_LE(SetTags(file, items), kResultOk);
      EXPECT_LT(file.Read().size(), 100'000u) << "byte " << at;
    }
  }
}

TEST_P(SetTag, FailingAllocationsAreMinusOneAndLeaveTheFileAlone) {
  const FileBytes before = TextPage();
  bool finished = false;
  for (uint64_t nth = 1; !finished; ++nth) {
    ASSERT_LT(nth, 50u);
    const TempFile file(before);
    TagItems items;
    items.Text(800, "a new text");
    AllocFaults faults(nth);
    const int32_t result = SetTags(file, items);
    finished = faults.Calls() < nth;
    EXPECT_EQ(result, finished ? kResultOk : kResultNoMemory) << nth;
    EXPECT_TRUE(finished || file.Read() == before) << nth;
  }
}

} // namespace
