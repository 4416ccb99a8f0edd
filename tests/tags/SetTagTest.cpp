// Pages edited in place, compared byte for byte with files put together by hand.

#include <gtest/gtest.h>
#include <vxtif/results.h>

#include "tags/TagItems.h"

namespace {

class SetTag : public testing::TestWithParam<FileOrder> {
protected:
  bool IsLittle() const { return GetParam() == FileOrder::kLittle; }
  Bytes NewBytes() const { return Bytes(GetParam()); }
  // One page with a width and an ASCII text of ten bytes behind the directory, at 38.
  FileBytes PageWithText() const {
    return NewBytes()
        .Header(8)
        .U16(2)
        .Entry(256, 4, 1, 7)
        .Entry(700, 2, 10, 38)
        .U32(0)
        .Text("123456789")
        .Raw({0})
        .bytes;
  }
};

INSTANTIATE_TEST_SUITE_P(Orders, SetTag, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const auto& order) { return order.param == FileOrder::kLittle ? "Little" : "Big"; });

TEST_P(SetTag, ExistingTagChangesInPlace) {
  const TempFile file(PageWithText());
  TagItems items;
  items.Add(256, 4, 1, {0x0D, 0x0C, 0x0B, 0x0A});
  EXPECT_EQ(SetTags(file, items), kResultOk);
  EXPECT_EQ(file.Read(), NewBytes()
                             .Header(8)
                             .U16(2)
                             .Entry(256, 4, 1, 0x0A0B0C0D)
                             .Entry(700, 2, 10, 38)
                             .U32(0)
                             .Text("123456789")
                             .Raw({0})
                             .bytes);
}

TEST_P(SetTag, NewTagMovesTheDirectoryToTheEndAndRewritesItsLink) {
  const TempFile file(PageWithText());
  TagItems items;
  items.Add(300, 4, 1, {1, 0, 0, 0});
  EXPECT_EQ(SetTags(file, items), kResultOk);
  EXPECT_EQ(file.Read(), NewBytes()
                             .Header(48)
                             .U16(2)
                             .Entry(256, 4, 1, 7)
                             .Entry(700, 2, 10, 38)
                             .U32(0)
                             .Text("123456789")
                             .Raw({0})
                             .U16(3)
                             .Entry(256, 4, 1, 7)
                             .Entry(300, 4, 1, 1)
                             .Entry(700, 2, 10, 38)
                             .U32(0)
                             .bytes);
}

TEST_P(SetTag, OddEndIsPaddedWithTheLowByteOfTheNewSize) {
  FileBytes odd = PageWithText();
  odd.push_back(0x77); // 49 bytes
  const TempFile file(odd);
  TagItems items;
  items.Text(700, "0123456789A"); // 12 with its NUL
  EXPECT_EQ(SetTags(file, items), kResultOk);
  EXPECT_EQ(file.Read(), NewBytes()
                             .Header(8)
                             .U16(2)
                             .Entry(256, 4, 1, 7)
                             .Entry(700, 2, 12, 50)
                             .U32(0)
                             .Text("123456789")
                             .Raw({0, 0x77, 50})
                             .Text("0123456789A")
                             .Raw({0})
                             .bytes);
}

TEST_P(SetTag, SmallerValueGoesOverTheOldOneAndItsTailStays) {
  const TempFile file(PageWithText());
  TagItems items;
  items.Text(700, std::string_view("abcdefg\0", 8));
  EXPECT_EQ(SetTags(file, items), kResultOk);
  EXPECT_EQ(file.Read(), NewBytes()
                             .Header(8)
                             .U16(2)
                             .Entry(256, 4, 1, 7)
                             .Entry(700, 2, 8, 38)
                             .U32(0)
                             .Text(std::string_view("abcdefg\0", 8))
                             .Text("9")
                             .Raw({0})
                             .bytes);
}

TEST_P(SetTag, LargerValueGoesToTheEndAndTheOldBytesStay) {
  const TempFile file(PageWithText());
  TagItems items;
  items.Add(700, 1, 12, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
  EXPECT_EQ(SetTags(file, items), kResultOk);
  EXPECT_EQ(file.Read(), NewBytes()
                             .Header(8)
                             .U16(2)
                             .Entry(256, 4, 1, 7)
                             .Entry(700, 1, 12, 48)
                             .U32(0)
                             .Text("123456789")
                             .Raw({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12})
                             .bytes);
}

TEST_P(SetTag, TextThatFitsOnlyWithoutItsNulGoesToTheEnd) {
  const TempFile file(PageWithText());
  TagItems items;
  items.Text(700, "abcdefghij"); // 10 bytes, 11 with the NUL, 12 on disk
  EXPECT_EQ(SetTags(file, items), kResultOk);
  EXPECT_EQ(file.Read(), NewBytes()
                             .Header(8)
                             .U16(2)
                             .Entry(256, 4, 1, 7)
                             .Entry(700, 2, 11, 48)
                             .U32(0)
                             .Text("123456789")
                             .Raw({0})
                             .Text("abcdefghij")
                             .Raw({0, 0})
                             .bytes);
}

TEST_P(SetTag, OddSizeNeverFitsOverTheSameOddSize) {
  const TempFile file(NewBytes().Header(8).U16(1).Entry(700, 1, 7, 26).U32(0).Raw({1, 2, 3, 4, 5, 6, 7}).bytes);
  TagItems items;
  items.Add(700, 1, 7, {11, 12, 13, 14, 15, 16, 17});
  EXPECT_EQ(SetTags(file, items), kResultOk);
  EXPECT_EQ(file.Read(), NewBytes()
                             .Header(8)
                             .U16(1)
                             .Entry(700, 1, 7, 34)
                             .U32(0)
                             .Raw({1, 2, 3, 4, 5, 6, 7, 34})
                             .Raw({11, 12, 13, 14, 15, 16, 17, 0})
                             .bytes);
}

TEST_P(SetTag, FourTextBytesWithoutNulStandOutOfLineWithCountFive) {
  const TempFile file(NewBytes().Header(8).U16(1).Entry(256, 4, 1, 7).U32(0).bytes);
  TagItems items;
  items.Text(270, "abcd");
  EXPECT_EQ(SetTags(file, items), kResultOk);
  EXPECT_EQ(file.Read(), NewBytes()
                             .Header(32)
                             .U16(1)
                             .Entry(256, 4, 1, 7)
                             .U32(0)
                             .Text("abcd")
                             .Raw({0, 0})
                             .U16(2)
                             .Entry(256, 4, 1, 7)
                             .Entry(270, 2, 5, 26)
                             .U32(0)
                             .bytes);
}

TEST_P(SetTag, FourTextBytesOverAnInlineWordLeaveIt) {
  // Read with the old four bytes as room, they would be stored where the old word points.
  const TempFile file(NewBytes().Header(8).U16(1).EntryRaw(270, 2, 4, {'x', 'y', 'z', 0}).U32(0).bytes);
  TagItems items;
  items.Text(270, "abcd");
  EXPECT_EQ(SetTags(file, items), kResultOk);
  EXPECT_EQ(file.Read(), NewBytes().Header(8).U16(1).Entry(270, 2, 5, 26).U32(0).Text("abcd").Raw({0, 0}).bytes);
}

TEST_P(SetTag, ThreeTextBytesWithoutNulStandInlineWithCountFour) {
  const TempFile file(NewBytes().Header(8).U16(1).Entry(256, 4, 1, 7).U32(0).bytes);
  TagItems items;
  items.Text(270, "abc");
  EXPECT_EQ(SetTags(file, items), kResultOk);
  EXPECT_EQ(file.Read(), NewBytes()
                             .Header(26)
                             .U16(1)
                             .Entry(256, 4, 1, 7)
                             .U32(0)
                             .U16(2)
                             .Entry(256, 4, 1, 7)
                             .EntryRaw(270, 2, 4, {'a', 'b', 'c', 0})
                             .U32(0)
                             .bytes);
}

TEST_P(SetTag, UpperBytesOfANewShortValueStayOnes) {
  const TempFile file(NewBytes().Header(8).U16(1).Entry(256, 4, 1, 7).U32(0).bytes);
  TagItems items;
  items.Add(300, 3, 1, {0x34, 0x12}).Add(301, 1, 1, {5}).Add(302, 8, 1, {0xFE, 0xFF}).Add(303, 3, 2, {1, 0, 2, 0});
  EXPECT_EQ(SetTags(file, items), kResultOk);
  Bytes expected = NewBytes().Header(26).U16(1).Entry(256, 4, 1, 7).U32(0).U16(5).Entry(256, 4, 1, 7);
  if (IsLittle()) {
    expected.EntryRaw(300, 3, 1, {0x34, 0x12, 0xFF, 0xFF});
  } else {
    expected.EntryRaw(300, 3, 1, {0x12, 0x34, 0, 0});
  }
  expected.EntryRaw(301, 1, 1, {5, 0xFF, 0xFF, 0xFF});
  expected.EntryRaw(302, 8, 1, IsLittle() ? FileBytes{0xFE, 0xFF, 0xFF, 0xFF} : FileBytes{0xFF, 0xFE, 0xFF, 0xFF});
  expected.EntryRaw(303, 3, 2, IsLittle() ? FileBytes{1, 0, 2, 0} : FileBytes{0, 1, 0, 2});
  EXPECT_EQ(file.Read(), expected.U32(0).bytes);
}

TEST_P(SetTag, ValuesComeInHostOrderAndGoBackToTheCallerUnchanged) {
  const TempFile file(NewBytes().Header(8).U16(1).Entry(256, 4, 1, 7).U32(0).bytes);
  TagItems items;
  const FileBytes shorts = {1, 2, 3, 4, 5, 6};
  const FileBytes number = {1, 2, 3, 4, 5, 6, 7, 8};
  items.Add(300, 3, 3, shorts).Add(301, 12, 1, number).Add(302, 5, 1, number);
  EXPECT_EQ(SetTags(file, items), kResultOk);
  EXPECT_EQ(items.Value(0), shorts);
  EXPECT_EQ(items.Value(1), number);
  EXPECT_EQ(items.Value(2), number);
  Bytes expected = NewBytes().Header(48).U16(1).Entry(256, 4, 1, 7).U32(0);
  expected.U16(0x0201).U16(0x0403).U16(0x0605);
  expected.Raw(IsLittle() ? number : FileBytes{8, 7, 6, 5, 4, 3, 2, 1}).U32(0x04030201).U32(0x08070605);
  expected.U16(4).Entry(256, 4, 1, 7).Entry(300, 3, 3, 26).Entry(301, 12, 1, 32).Entry(302, 5, 1, 40).U32(0);
  EXPECT_EQ(file.Read(), expected.bytes);
}

TEST_P(SetTag, OutOfLineValueThatBecomesSmallMovesIntoTheWord) {
  const TempFile file(PageWithText());
  TagItems items;
  items.Add(700, 1, 4, {1, 2, 3, 4});
  EXPECT_EQ(SetTags(file, items), kResultOk);
  const FileBytes bytes = file.Read();
  EXPECT_EQ(bytes.size(), 48u);
  EXPECT_EQ(FileBytes(bytes.begin() + 22, bytes.begin() + 34), NewBytes().EntryRaw(700, 1, 4, {1, 2, 3, 4}).bytes);
}

TEST_P(SetTag, UnsortedDirectoryComesOutSortedAndEqualTagsKeepTheirOrder) {
  const TempFile file(NewBytes()
                          .Header(8)
                          .U16(5)
                          .Entry(700, 4, 1, 1)
                          .Entry(300, 4, 1, 2)
                          .Entry(700, 4, 1, 3)
                          .Entry(256, 4, 1, 4)
                          .Entry(40000, 4, 1, 5)
                          .U32(0)
                          .bytes);
  TagItems items;
  items.Add(300, 4, 1, {9, 0, 0, 0});
  EXPECT_EQ(SetTags(file, items), kResultOk);
  EXPECT_EQ(file.Read(), NewBytes()
                             .Header(8)
                             .U16(5)
                             .Entry(256, 4, 1, 4)
                             .Entry(300, 4, 1, 9)
                             .Entry(700, 4, 1, 1)
                             .Entry(700, 4, 1, 3)
                             .Entry(40000, 4, 1, 5)
                             .U32(0)
                             .bytes);
}

TEST_P(SetTag, EmptyListLeavesTheFileUntouched) {
  const FileBytes before = NewBytes().Header(8).U16(2).Entry(700, 4, 1, 1).Entry(256, 4, 1, 4).U32(0).Raw({1}).bytes;
  const TempFile file(before);
  TagItems none;
  EXPECT_EQ(SetTags(file, none), kResultOk);
  EXPECT_EQ(file.Read(), before);
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
  const TempFile file(NewBytes().Header(8).U16(1).Entry(256, 4, 1, 7).U32(0).bytes);
  TagItems items;
  items.Add(300, 4, 1, {1, 0, 0, 0}).Add(300, 4, 1, {2, 0, 0, 0});
  EXPECT_EQ(SetTags(file, items), kResultOk);
  EXPECT_EQ(file.Read(), NewBytes()
                             .Header(26)
                             .U16(1)
                             .Entry(256, 4, 1, 7)
                             .U32(0)
                             .U16(2)
                             .Entry(256, 4, 1, 7)
                             .Entry(300, 4, 1, 2)
                             .U32(0)
                             .bytes);
}

TEST_P(SetTag, NoTagIsRefused) {
  const TempFile file(NewBytes().Header(8).U16(1).Entry(256, 4, 1, 7).U32(0).bytes);
  TagItems items;
  items.Add(273, 4, 1, {8, 0, 0, 0}).Add(254, 4, 1, {1, 0, 0, 0}).Add(34665, 4, 1, {0, 0, 0, 0}).Add(9, 99, 4, {0});
  EXPECT_EQ(SetTags(file, items), kResultOk);
  EXPECT_EQ(GetU16(file.Read(), 26, GetParam()), 5u);
}

TEST_P(SetTag, ItemWithoutDataIsPassedOver) {
  const TempFile file(NewBytes().Header(8).U16(1).Entry(256, 4, 1, 7).U32(0).bytes);
  TifTagItem item = {300, 4, 5, nullptr, nullptr};
  FilterSetTagRequest request = {file.Name(), &item, nullptr, nullptr};
  EXPECT_EQ(fltSetTag(&request), kResultOk);
  EXPECT_EQ(file.Read(), NewBytes().Header(8).U16(1).Entry(256, 4, 1, 7).U32(0).bytes);
}

TEST_P(SetTag, ItemOfNoValuesSetsTypeAndCountAlone) {
  const TempFile file(NewBytes().Header(8).U16(1).Entry(256, 4, 1, 7).U32(0).bytes);
  TagItems items;
  items.Add(256, 2, 0, {});
  EXPECT_EQ(SetTags(file, items), kResultOk);
  EXPECT_EQ(file.Read(), NewBytes()
                             .Header(8)
                             .U16(1)
                             .EntryRaw(256, 2, 0, IsLittle() ? FileBytes{7, 0, 0, 0} : FileBytes{7, 0, 0, 0})
                             .U32(0)
                             .bytes);
}

TEST_P(SetTag, OldPlaceOutsideTheFileIsNotWrittenTo) {
  for (uint32_t place : {0xFFFFFF00u, 30u, 0u, 4u}) {
    const FileBytes before = NewBytes().Header(8).U16(1).Entry(700, 1, 20, place).U32(0).bytes;
    const TempFile file(before);
    TagItems items;
    items.Add(700, 1, 6, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(SetTags(file, items), kResultOk);
    EXPECT_EQ(file.Read(), NewBytes().Header(8).U16(1).Entry(700, 1, 6, 26).U32(0).Raw({1, 2, 3, 4, 5, 6}).bytes)
        << place;
  }
}

TEST_P(SetTag, ExplicitDirectoryCannotGrowButCanBeReplaced) {
  const FileBytes before = PageWithText();
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
  const TempFile file(PageWithText());
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
  const FileBytes before = PageWithText();
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
  const FileBytes before = PageWithText();
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
