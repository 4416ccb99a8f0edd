// The IPTC block: data sets read, gathered, built, cut and merged, byte for byte.

#include <initializer_list>

#include "metadata/CommentInput.h"
#include "metadata/KnownComments.h"
#include "tif_com/Iptc.h"
#include "tif_com/Memory.h"

namespace {

constexpr uint16_t kIptc = 33723;

FileBytes BytesOf(std::string_view text) {
  return FileBytes(text.begin(), text.end());
}

FileBytes Joined(std::initializer_list<FileBytes> parts) {
  FileBytes all;
  for (const FileBytes& part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

// A data set in the standard form.
FileBytes Set(uint8_t record, uint8_t dataSet, const FileBytes& data) {
  const auto length = static_cast<uint16_t>(data.size());
  return Joined({{0x1C, record, dataSet, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)}, data});
}
FileBytes Set(uint8_t dataSet, std::string_view text) {
  return Set(2, dataSet, BytesOf(text));
}
// The same with an extended length.
FileBytes Extended(uint8_t dataSet, std::string_view text) {
  const auto length = static_cast<uint8_t>(text.size());
  return Joined({{0x1C, 2, dataSet, 0x80, 4, 0, 0, 0, length}, BytesOf(text)});
}

const FileBytes kVersion = {0x1C, 2, 0, 0, 2, 0, 2};

// What the library builds from slots.
FileBytes Built(CommentSlots& slots, bool withVersion) {
  const KernelGuard guard;
  uint8_t* block = nullptr;
  uint32_t length = 0;
  EXPECT_EQ(TIFBuildIptcBlock(slots.Block(), &block, &length, withVersion), kResultOk);
  FileBytes bytes(block, block + length);
  if (block != nullptr) {
    EXPECT_EQ(block[length], 0) << "a NUL behind the block";
  }
  TIFFree(block);
  return bytes;
}

int32_t Gathered(uint32_t number, FileBytes block, FileBytes* buffer) {
  return TIFGatherIptcComment(number, block.data(), static_cast<uint32_t>(block.size()),
                              buffer != nullptr ? buffer->data() : nullptr,
                              buffer != nullptr ? static_cast<uint32_t>(buffer->size()) : 0);
}

// The comment's value, or its failure as a number.
std::string Value(uint32_t number, const FileBytes& block) {
  FileBytes buffer(4000, 0xCC);
  const int32_t result = Gathered(number, block, &buffer);
  EXPECT_EQ(Gathered(number, block, nullptr), result) << "the size alone";
  return result < 0 ? std::to_string(result) : std::string(buffer.begin(), buffer.begin() + result);
}

struct Check {
  bool fits;
  uint32_t pieces;
  uint32_t size; // of the slot afterwards
  bool operator==(const Check&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Check& check) {
  return out << check.fits << " pieces " << check.pieces << " size " << check.size;
}

Check Checked(uint32_t number, std::string_view text) {
  FileBytes data = BytesOf(text);
  data.push_back(0xEE);
  TifComment slot = {data.data(), static_cast<uint32_t>(text.size())};
  uint32_t pieces = 0;
  const bool fits = TIFCheckIptcComment(kIptcCommentTable[number - kCommentRecordVersion], &slot, &pieces);
  return {fits, fits ? pieces : 0, slot.size};
}

TEST(IptcRead, EveryRow) {
  for (const known::IptcComment& row : known::kIptc) {
    SCOPED_TRACE(row.name);
    const FileBytes value = Telling(row.minimum);
    const FileBytes block = Joined({Set(1, row.dataSet, {9, 9}), Set(row.record, row.dataSet, value)});
    EXPECT_EQ(Value(row.number, block), std::string(value.begin(), value.end()));
  }
}

TEST(IptcRead, NumbersOfOtherHomesAreRefused) {
  for (const uint32_t number : {0u, 180u, 227u, 1000u}) {
    EXPECT_EQ(Value(number, Set(5, "x")), "-13");
  }
}

TEST(IptcRead, AbsentSetGivesNone) {
  EXPECT_EQ(Value(kCommentCity, Set(5, "a name")), "");
}

TEST(IptcRead, BlockThatBeginsOtherwiseIsRefused) {
  EXPECT_EQ(Value(kCommentCity, FileBytes(20, 0)), "-140");
  EXPECT_EQ(Value(kCommentCity, Joined({Set(5, "ok"), {0x1B, 2, 90, 0, 1, 'x'}})), "-140");
}

TEST(IptcRead, SetFoundFirstEndsTheScanOfOneThatIsNotRepeatable) {
  const FileBytes block = Joined({Set(90, "Paris"), {0, 0, 0, 0, 0, 0, 0, 0}});
  EXPECT_EQ(Value(kCommentCity, block), "Paris");
  EXPECT_EQ(Value(kCommentKeywords, block), "-140");
  EXPECT_EQ(Value(kCommentCity, Joined({Set(90, "Paris"), Set(90, "Rome")})), "Paris");
}

TEST(IptcRead, UpToFiveBytesBehindTheLastSetAreIgnored) {
  for (size_t rest = 0; rest <= 5; ++rest) {
    EXPECT_EQ(Value(kCommentKeywords, Joined({Set(25, "one"), FileBytes(rest, 0)})), "one") << rest;
  }
  EXPECT_EQ(Value(kCommentKeywords, Joined({Set(25, "one"), FileBytes(6, 0)})), "-140");
}

TEST(IptcRead, SetWithoutDataAtTheEndIsRefused) {
  EXPECT_EQ(Value(kCommentCity, {0x1C, 2, 90, 0, 0}), "-140");
  EXPECT_EQ(Value(kCommentCity, {0x1C, 2, 90, 0}), "-140") << "no room for a length";
  EXPECT_EQ(Value(kCommentCity, {0x1C}), "-140");
  EXPECT_EQ(Value(kCommentCity, {}), "-140");
}

TEST(IptcRead, LengthThatRunsPastTheEndIsCut) {
  EXPECT_EQ(Value(kCommentCity, {0x1C, 2, 90, 0x7F, 0xFF, 'R', 'o'}), "Ro");
  EXPECT_EQ(Value(kCommentCity, {0x1C, 2, 5, 0x7F, 0xFF, 'R', 'o'}), "") << "nothing can follow";
  EXPECT_EQ(Value(kCommentKeywords, {0x1C, 2, 25, 0x80, 4, 0xFF, 0xFF, 0xFF, 0xFF, 'R', 'o'}), "Ro");
}

TEST(IptcRead, ExtendedLengths) {
  EXPECT_EQ(Value(kCommentCaption, Joined({Extended(90, "Paris"), Extended(120, "A tower")})), "A tower");
  EXPECT_EQ(Value(kCommentCaption, {0x1C, 2, 120, 0x80, 2, 0, 1, 'x', 'y', 'z'}), "-16");
  EXPECT_EQ(Value(kCommentCaption, {0x1C, 2, 120, 0x80, 0}), "-16");
  EXPECT_EQ(Value(kCommentCaption, {0x1C, 2, 120, 0x80, 4, 0, 0, 0}), "-140") << "no room for the length";
  EXPECT_EQ(Value(kCommentCaption, {0x1C, 2, 120, 0x80, 4, 0, 0, 0, 0}), "-140") << "no data";
}

TEST(IptcRead, ValuesOfARepeatableSetAreJoinedByTheByteOne) {
  const FileBytes block = Joined({Set(25, "news"), Set(90, "Paris"), Set(25, "sport"), Set(25, "tv")});
  EXPECT_EQ(Value(kCommentKeywords, block), "news\1sport\1tv");
}

TEST(IptcRead, EmptyFirstValueLeavesThePlaceToTheNext) {
  EXPECT_EQ(Value(kCommentKeywords, Joined({Set(25, ""), Set(25, "a"), Set(25, "b")})), "a\1b");
}

TEST(IptcRead, JoinedValuesAreCutToTheBuffer) {
  const FileBytes block = Joined({Set(25, "ab"), Set(25, "cde"), Set(25, "f")});
  const struct {
    size_t room;
    int32_t result;
    std::string_view bytes; // the rest of the buffer stays
  } kCases[] = {{1, 2, "a"},          {2, 2, "ab"},          {3, 2, "ab"},      {4, 4, "ab\1c"},
                {5, 5, "ab\1cd"},     {6, 6, "ab\1cde"},     {7, 6, "ab\1cde"}, {8, 8, "ab\1cde\1f"},
                {9, 8, "ab\1cde\1f"}, {12, 8, "ab\1cde\1f"}, {0, 2, ""}};
  for (const auto& known : kCases) {
    FileBytes buffer(known.room + 1, 0xCC);
    FileBytes all = block;
    EXPECT_EQ(TIFGatherIptcComment(kCommentKeywords, all.data(), static_cast<uint32_t>(all.size()), buffer.data(),
                                   static_cast<uint32_t>(known.room)),
              known.result)
        << known.room;
    FileBytes expected = BytesOf(known.bytes);
    expected.resize(known.room + 1, 0xCC);
    EXPECT_EQ(buffer, expected) << known.room;
  }
}

class IptcFile : public testing::TestWithParam<FileOrder> {
protected:
  // A page with a block of any type; the count is that of whole elements.
  FileBytes File(uint16_t type, const FileBytes& block) const {
    const uint32_t size = std::max(FieldTypeSize(type), 1u);
    TiffDirectory page = GrayPage(2, 2);
    page.Pointer(kIptc, type, static_cast<uint32_t>(block.size() / size), block);
    return FileWithPage(GetParam(), std::move(page));
  }
  static FileBytes Block(const TempFile& file) {
    const FileDirectory page = ReadFilePage(file.Read());
    const FileEntry* entry = page.Find(kIptc);
    return entry != nullptr ? entry->value : FileBytes{};
  }
  FileBytes PlainFile() const { return FileWithPage(GetParam(), GrayPage(2, 2)); }
};

INSTANTIATE_TEST_SUITE_P(Orders, IptcFile, testing::Values(FileOrder::kLittle, FileOrder::kBig), OrderName);

TEST_P(IptcFile, BlockOfAnyTypeIsReadAsBytes) {
  const FileBytes block = Joined({Set(90, "Paris"), Set(120, "A tower."), {0, 0, 0, 0, 0, 0}}); // 29 bytes
  for (const uint16_t type : std::initializer_list<uint16_t>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}) {
    const TempFile file(File(type, block));
    EXPECT_EQ(WholeText(file, kCommentCity), "Paris") << type;
    EXPECT_EQ(WholeText(file, kCommentCaption), "A tower.") << type;
  }
}

TEST_P(IptcFile, BlockOfAnUnknownTypeOrOfLessThanFourBytesIsRefused) {
  for (const uint16_t type : std::initializer_list<uint16_t>{0, 13, 999}) {
    const TempFile file(File(type, Set(90, "Paris")));
    EXPECT_EQ(CommentSize(file, kCommentCity), kResultTypeNotAllowed);
  }
  for (uint32_t count = 0; count < 4; ++count) {
    TiffDirectory page = GrayPage(2, 2);
    page.RawWord(kIptc, 1, count, 0x1C1C1C1C);
    const TempFile file(FileWithPage(GetParam(), std::move(page)));
    EXPECT_EQ(CommentSize(file, kCommentCity), kResultTypeNotAllowed);
  }
}

TEST_P(IptcFile, BlockThatRunsOutOfTheFileIsAReadFailure) {
  for (const uint32_t count : {100u, 100000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    TiffDirectory page = GrayPage(2, 2);
    page.RawWord(kIptc, 4, count, 8);
    const TempFile file(FileWithPage(GetParam(), std::move(page)));
    EXPECT_EQ(CommentSize(file, kCommentCity), kResultReadFailed);
  }
}

TEST_P(IptcFile, AbsentBlockGivesNone) {
  const TempFile file(PlainFile());
  EXPECT_EQ(CommentSize(file, kCommentCity), 0);
}

TEST(IptcSlots, FitByTheirSize) {
  const std::string long32(32, 'x');
  EXPECT_EQ(Checked(kCommentCity, ""), (Check{false, 0, 0}));
  EXPECT_EQ(Checked(kCommentCity, "x"), (Check{true, 1, 1}));
  EXPECT_EQ(Checked(kCommentCity, long32), (Check{true, 1, 32}));
  EXPECT_EQ(Checked(kCommentCity, long32 + "x"), (Check{false, 0, 33}));
  EXPECT_EQ(Checked(kCommentCity, long32 + std::string(1, '\0')), (Check{true, 1, 32})) << "the NUL is taken off";
  EXPECT_EQ(Checked(kCommentCity, std::string_view("Rome\0", 5)), (Check{true, 1, 5})) << "within the limits it stays";
  EXPECT_EQ(Checked(kCommentReleaseDate, "2024010"), (Check{false, 0, 7}));
  EXPECT_EQ(Checked(kCommentReleaseDate, "20240101"), (Check{true, 1, 8}));
  EXPECT_EQ(Checked(kCommentReleaseDate, std::string_view("20240101\0", 9)), (Check{true, 1, 8}));
  EXPECT_EQ(Checked(kCommentLanguageIdentifier, "e"), (Check{false, 0, 1}));
}

TEST(IptcSlots, SeparatorsSplitRepeatableSetsAlone) {
  EXPECT_EQ(Checked(kCommentCity, "a\1b"), (Check{true, 1, 3})) << "a byte like any other";
  EXPECT_EQ(Checked(kCommentKeywords, "a\1b"), (Check{true, 2, 3}));
  EXPECT_EQ(Checked(kCommentKeywords, "a\1\1b\1"), (Check{true, 2, 5})) << "empty pieces do not fit";
  EXPECT_EQ(Checked(kCommentKeywords, "\1"), (Check{false, 0, 1}));
  EXPECT_EQ(Checked(kCommentReferenceDate, "20240101\1"
                                           "20240102\1x"),
            (Check{true, 2, 19}));
  EXPECT_EQ(Checked(kCommentReferenceDate, "2024\1"
                                           "0101"),
            (Check{false, 0, 9}));
  EXPECT_EQ(Checked(kCommentKeywords, std::string(65, 'x')), (Check{false, 0, 65}));
  EXPECT_EQ(Checked(kCommentKeywords, std::string(65, 'x') + "\1y"), (Check{true, 1, 67}));
  EXPECT_EQ(Checked(kCommentKeywords, std::string(62, 'x') + "\1y" + std::string(1, '\0')), (Check{true, 2, 64}))
      << "the NUL behind the longest value is taken off first";
}

TEST(IptcSlots, NullDataNeverFits) {
  TifComment slot = {nullptr, 5};
  uint32_t pieces = 0;
  EXPECT_FALSE(TIFCheckIptcComment(kIptcCommentTable[32], &slot, &pieces));
}

TEST(IptcSlots, SizeReckonsNineBytesAPiece) {
  CommentSlots slots;
  slots.Text(kCommentCity, "Paris").Text(kCommentKeywords, "a\1b\1c").Text(kCommentUrgency, "12");
  slots.Set(kCommentRecordVersion, {0, 2}); // never written from a slot
  EXPECT_EQ(TIFIptcSize(slots.Block()), 9u + 5u + 27u + 5u);
  EXPECT_EQ(TIFIptcSize(nullptr), 0u);
}

TEST(IptcBuild, EveryRowButTheVersion) {
  for (const known::IptcComment& row : known::kIptc) {
    SCOPED_TRACE(row.name);
    for (const uint16_t size : {row.minimum, row.maximum}) {
      CommentSlots slots;
      const FileBytes value = Telling(size);
      slots.Set(row.number, value);
      const FileBytes expected = row.number == kCommentRecordVersion ? FileBytes{} : Set(2, row.dataSet, value);
      EXPECT_EQ(Built(slots, false), expected);
    }
    for (const uint32_t size : {row.minimum - 1u, row.maximum + 1u}) {
      CommentSlots slots;
      slots.Set(row.number, Telling(size));
      EXPECT_EQ(Built(slots, true), FileBytes{});
    }
    CommentSlots several;
    FileBytes both = Joined({Telling(row.minimum), {1}, Telling(row.maximum)});
    several.Set(row.number, both);
    const FileBytes sets =
        Joined({Set(2, row.dataSet, Telling(row.minimum)), Set(2, row.dataSet, Telling(row.maximum))});
    EXPECT_EQ(Built(several, false), row.repeatable ? sets : FileBytes{});
  }
}

TEST(IptcBuild, VersionComesFirst) {
  CommentSlots slots;
  slots.Text(kCommentCaption, "A tower").Text(kCommentObjectName, "Tower").Set(kCommentRecordVersion, {9, 9});
  EXPECT_EQ(Built(slots, true), Joined({kVersion, Set(5, "Tower"), Set(120, "A tower")}));
  EXPECT_EQ(Built(slots, false), Joined({Set(5, "Tower"), Set(120, "A tower")}));
}

TEST(IptcBuild, NothingToWriteMakesNoBlock) {
  CommentSlots slots;
  slots.Set(kCommentRecordVersion, {0, 2}).Text(kCommentArtist, "not here");
  EXPECT_EQ(Built(slots, true), FileBytes{});
  uint8_t* block = nullptr;
  uint32_t length = 7;
  EXPECT_EQ(TIFBuildIptcBlock(nullptr, &block, &length, true), kResultOk);
  EXPECT_EQ(block, nullptr);
  EXPECT_EQ(length, 0u);
}

TEST(IptcBuild, LastByteOfZeroIsNotWritten) {
  CommentSlots slots;
  slots.Text(kCommentCity, std::string_view("Rome\0", 5)).Text(kCommentKeywords, std::string_view("a\0\1b\0\0", 6));
  EXPECT_EQ(Built(slots, false), Joined({Set(25, "a"), Set(25, std::string_view("b\0", 2)), Set(90, "Rome")}));
  CommentSlots lone;
  lone.Text(kCommentCity, std::string_view("\0", 1));
  EXPECT_EQ(Built(lone, false), Set(90, ""));
}

TEST(IptcBuild, FailedAllocationIsReported) {
  CommentSlots slots;
  slots.Text(kCommentCity, "Rome");
  const KernelGuard guard;
  const AllocFaults faults(1);
  uint8_t* block = nullptr;
  uint32_t length = 0;
  EXPECT_EQ(TIFBuildIptcBlock(slots.Block(), &block, &length, true), kResultNoMemory);
  EXPECT_EQ(block, nullptr);
}

TEST_P(IptcFile, FirstCommentMakesABlockWithItsVersion) {
  const TempFile file(PlainFile());
  CommentSlots slots;
  slots.Text(kCommentCity, "Paris");
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(Block(file), Joined({kVersion, Set(90, "Paris"), {0}})) << "17 bytes, made even";
  EXPECT_EQ(ReadFilePage(file.Read()).Find(kIptc)->type, 1);
}

TEST_P(IptcFile, NewSetsGoBehindAndTheVersionIsNotAdded) {
  const TempFile file(File(1, Joined({Set(120, "A tower"), Set(1, 90, {1, 2, 3})})));
  CommentSlots slots;
  slots.Text(kCommentCity, "Paris").Text(kCommentKeywords, "a\1b");
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(Block(file),
            Joined({Set(120, "A tower"), Set(1, 90, {1, 2, 3}), Set(25, "a"), Set(25, "b"), Set(90, "Paris")}));
}

TEST_P(IptcFile, SettingKeywordsReplacesAllEarlierOnesAndTheCaptionStays) {
  const TempFile file(File(1, Joined({kVersion, Set(25, "old"), Set(120, "A tower"), Set(25, "older"), Set(25, "x")})));
  CommentSlots slots;
  slots.Text(kCommentKeywords, "new");
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(Block(file), Joined({kVersion, Set(120, "A tower"), Set(25, "new"), {0}}));
  EXPECT_EQ(WholeText(file, kCommentKeywords), "new");
  EXPECT_EQ(WholeText(file, kCommentCaption), "A tower");
}

TEST_P(IptcFile, OnlyTheFirstOfASetThatIsNotRepeatableIsReplaced) {
  const TempFile file(File(1, Joined({Set(90, "Paris"), Set(90, "Rome")})));
  CommentSlots slots;
  slots.Text(kCommentCity, "Oslo");
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(Block(file), Joined({Set(90, "Rome"), Set(90, "Oslo")}));
}

TEST_P(IptcFile, SetsOfExtendedLengthAreRemovedWhole) {
  const TempFile file(File(1, Joined({Extended(25, "old"), Extended(120, "A tower"), Extended(25, "older")})));
  CommentSlots slots;
  slots.Text(kCommentKeywords, "new!");
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(Block(file), Joined({Extended(120, "A tower"), Set(25, "new!"), {0}}));
}

TEST_P(IptcFile, BlockOfAnotherTypeCountsAsNoneAndIsReplaced) {
  for (const uint16_t type : std::initializer_list<uint16_t>{4, 7, 2}) {
    const TempFile file(File(type, Joined({Set(120, "A tower!"), Set(25, "ab!")})));
    CommentSlots slots;
    slots.Text(kCommentCity, "Oslo!!");
    EXPECT_EQ(SetComments(file, slots), kResultOk);
    EXPECT_EQ(Block(file), Joined({kVersion, Set(90, "Oslo!!")}));
    EXPECT_EQ(ReadFilePage(file.Read()).Find(kIptc)->type, 1);
  }
}

TEST_P(IptcFile, BlockOfCountZeroIsReplaced) {
  TiffDirectory page = GrayPage(2, 2);
  page.RawWord(kIptc, 1, 0, 8);
  const TempFile file(FileWithPage(GetParam(), std::move(page)));
  CommentSlots slots;
  slots.Text(kCommentCity, "Paris!");
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(Block(file), Joined({kVersion, Set(90, "Paris!")}));
}

TEST_P(IptcFile, VersionInASlotTakesTheOldOneOutAndPutsNoneIn) {
  const TempFile file(File(1, Joined({kVersion, Set(120, "A tower")})));
  CommentSlots slots;
  slots.Set(kCommentRecordVersion, {0, 4}).Text(kCommentCity, "Paris");
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(Block(file), Joined({Set(120, "A tower"), Set(90, "Paris")}));
  const TempFile alone(File(1, Joined({kVersion, Set(120, "A tower")})));
  const FileBytes before = alone.Read();
  CommentSlots version;
  version.Set(kCommentRecordVersion, {0, 4});
  EXPECT_EQ(SetComments(alone, version), kResultOk);
  EXPECT_EQ(alone.Read(), before) << "nothing to set";
}

TEST_P(IptcFile, DamagedBlockKeepsWhatCannotBeWalked) {
  const FileBytes damaged = Joined({Set(25, "old"), {9, 9, 9, 9, 9, 9}, Set(25, "unseen")});
  const TempFile file(File(1, damaged));
  CommentSlots slots;
  slots.Text(kCommentKeywords, "new");
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(Block(file), Joined({{9, 9, 9, 9, 9, 9}, Set(25, "unseen"), Set(25, "new"), {0}}));
}

TEST_P(IptcFile, BlockThatHeldNothingElseIsBuiltAnew) {
  const TempFile file(File(1, Set(25, "old!!")));
  CommentSlots slots;
  slots.Text(kCommentKeywords, "new").Text(kCommentCity, "Oslo!");
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(Block(file), Joined({Set(25, "new"), Set(90, "Oslo!")})) << "without a version: there was a block";
}

TEST_P(IptcFile, AnyEditThatChangesSomethingEvensAnOddBlock) {
  const FileBytes odd = Set(90, "Rome"); // 9 bytes
  const TempFile file(File(1, odd));
  CommentSlots slots;
  slots.Text(kCommentArtist, "A. Painter");
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(Block(file), Joined({odd, {0}}));
}

TEST_P(IptcFile, SetsThatFollowDropTheZerosThatPaddedTheBlock) {
  const TempFile file(PlainFile());
  CommentSlots first;
  first.Text(kCommentKeywords, "a\1bc"); // 20 bytes with the version; each edit below leaves an odd number
  EXPECT_EQ(SetComments(file, first), kResultOk);
  CommentSlots second;
  second.Text(kCommentCity, "Oslo");
  EXPECT_EQ(SetComments(file, second), kResultOk);
  EXPECT_EQ(Block(file), Joined({kVersion, Set(25, "a"), Set(25, "bc"), Set(90, "Oslo"), {0}}));
  CommentSlots third;
  third.Text(kCommentKeywords, "d");
  EXPECT_EQ(SetComments(file, third), kResultOk);
  EXPECT_EQ(Block(file), Joined({kVersion, Set(90, "Oslo"), Set(25, "d")}));
  EXPECT_EQ(WholeText(file, kCommentKeywords), "d");
  EXPECT_EQ(WholeText(file, kCommentCity), "Oslo");
}

TEST_P(IptcFile, ZerosAreDroppedOnlyBehindWholeSets) {
  const FileBytes kept[] = {
      Joined({Set(90, "Oslo"), {0, 1}}),                               // no padding
      Joined({Set(90, "Oslo"), {0x1C, 2, 5, 0, 9, 0, 0}}),             // a set that runs out of the block
      Joined({Set(90, "Oslo"), {0x1C, 2, 5, 0x80, 2, 0, 0, 0, 0, 0}}), // one whose length cannot be read
      Joined({Set(90, std::string_view("Oslo\0\0", 6))}),              // a value's own
  };
  for (const FileBytes& block : kept) {
    const TempFile file(File(1, block));
    CommentSlots slots;
    slots.Text(kCommentCaption, "abc");
    EXPECT_EQ(SetComments(file, slots), kResultOk);
    FileBytes expected = Joined({block, Set(120, "abc")});
    expected.resize((expected.size() + 1) / 2 * 2);
    EXPECT_EQ(Block(file), expected);
  }
  const TempFile file(File(1, Joined({Set(90, "Oslo"), FileBytes(9, 0)})));
  CommentSlots slots;
  slots.Text(kCommentCaption, "abc");
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(Block(file), Joined({Set(90, "Oslo"), Set(120, "abc"), {0}}));
}

TEST_P(IptcFile, SmallerBlockGoesOverTheOldOne) {
  const TempFile file(File(1, Joined({Set(120, "A tall tower"), Set(90, "Rome!")})));
  const uint32_t place = ReadFilePage(file.Read()).Find(kIptc)->word;
  const size_t size = file.Read().size();
  CommentSlots slots;
  slots.Text(kCommentCaption, "A tower");
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(ReadFilePage(file.Read()).Find(kIptc)->word, place);
  EXPECT_EQ(file.Read().size(), size);
  EXPECT_EQ(Block(file), Joined({Set(90, "Rome!"), Set(120, "A tower")}));
}

TEST_P(IptcFile, OldBlockThatCannotBeReadFailsTheEditAsNoMemory) {
  for (const uint32_t count : {5000u, 0xFFFFFFFFu}) {
    TiffDirectory page = GrayPage(2, 2);
    page.RawWord(kIptc, 1, count, 8);
    const TempFile file(FileWithPage(GetParam(), std::move(page)));
    const FileBytes before = file.Read();
    CommentSlots slots;
    slots.Text(kCommentCity, "Paris");
    EXPECT_EQ(SetComments(file, slots), kResultNoMemory) << "whatever the merge reported";
    EXPECT_EQ(file.Read(), before);
  }
}

TEST_P(IptcFile, EverySetAtOnceComesBack) {
  const TempFile file(PlainFile());
  CommentSlots slots;
  for (const known::IptcComment& row : known::kIptc) {
    slots.Set(row.number, Telling(row.maximum));
  }
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  for (const known::IptcComment& row : known::kIptc) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(WholeComment(file, row.number),
              row.number == kCommentRecordVersion ? (FileBytes{0, 2}) : Telling(row.maximum));
  }
}

} // namespace
