// Tag 50234: level range, tone table and sample range of a grey page, in all combinations.

#include "directory/DirectoryInput.h"
#include "tif_com/Memory.h"

namespace {

constexpr uint16_t kTone = 50234;

// A tone table in a movable block.
class ToneTable {
public:
  ToneTable(DirectoryInput& input, const std::vector<VxColor>& colors, uint32_t length)
      : handle_(krnGlobalAlloc(colors.size(), sizeof(VxColor), 0, "test")) {
    krnMemCopy(krnGlobalPointer(handle_), colors.data(), colors.size() * sizeof(VxColor));
    input.descriptor.lookupTable = handle_;
    input.descriptor.lookupTableLength = length;
    input.descriptor.flags |= kBitmapHasLookupTable;
  }
  ~ToneTable() { krnGlobalFree(handle_, 0, "test"); }
  ToneTable(const ToneTable&) = delete;
  ToneTable& operator=(const ToneTable&) = delete;

private:
  VxGlobalHandle handle_;
};

const std::vector<VxColor> kColors = {{1, 2, 3, 99}, {4, 5, 6, 99}, {7, 8, 9, 99}};
const FileBytes kTableBytes = {1, 2, 3, 4, 5, 6, 7, 8, 9};

class ToneBlock : public testing::TestWithParam<FileOrder> {
protected:
  // A grey page of 32 bits that needs no block.
  void Gray(DirectoryInput& input, int32_t depth = 32) {
    input.Depth(depth, kOrderGray);
    input.descriptor.highBit = depth - 1;
    input.stateFlags = kStateGray;
  }
  // The block of a page that has one; the file checked as a whole for all else.
  FileBytes Block(DirectoryInput& input) {
    const FileDirectory directory = input.Written();
    const FileEntry* entry = directory.Find(kTone);
    if (entry == nullptr) {
      EXPECT_EQ(input.entryCount, directory.entries.size());
      const FileEntry* firstValue = directory.Find(258)->count > 1 ? directory.Find(258) : directory.Find(282);
      EXPECT_EQ(firstValue->word, 8 + 2 + directory.entries.size() * 12 + 4) << "no room for what is not there";
      return {};
    }
    EXPECT_EQ(entry->type, 1);
    EXPECT_EQ(entry->word % 2, 0u);
    EXPECT_EQ(directory.entries.back().tag, kTone);
    EXPECT_EQ(input.position, (entry->word + entry->count + 1) / 2 * 2) << "the last value, made even";
    EXPECT_EQ(directory.Find(273)->word, input.position);
    EXPECT_EQ(directory.Find(282)->word, 8u + 2 + 17 * 12 + 4) << "one entry more, and none left over";
    return entry->value;
  }
  // The block is little-endian in every file.
  Bytes Expected() const { return Bytes(FileOrder::kLittle); }
};

INSTANTIATE_TEST_SUITE_P(Orders, ToneBlock, testing::Values(FileOrder::kLittle, FileOrder::kBig), OrderName);

TEST_P(ToneBlock, WholeRangeNeedsNone) {
  for (const int32_t highBit : {31, -1}) {
    DirectoryInput input(GetParam());
    Gray(input);
    input.descriptor.highBit = highBit;
    EXPECT_EQ(Block(input), FileBytes{});
  }
}

TEST_P(ToneBlock, LevelRangeAlone) {
  const struct {
    int32_t lowBit;
    int32_t highBit;
  } kRanges[] = {{2, 11}, {0, 11}, {1, 31}, {1, -1}, {0, 32}};
  for (const auto& range : kRanges) {
    DirectoryInput input(GetParam());
    Gray(input);
    input.descriptor.lowBit = range.lowBit;
    input.descriptor.highBit = range.highBit;
    EXPECT_EQ(Block(input), Expected()
                                .U16(2)
                                .EntryShort(0, static_cast<uint16_t>(range.lowBit))
                                .EntryShort(1, static_cast<uint16_t>(range.highBit))
                                .U32(0)
                                .bytes);
  }
}

TEST_P(ToneBlock, LevelsAreCutToSixteenBits) {
  DirectoryInput input(GetParam());
  Gray(input);
  input.descriptor.lowBit = 0x12345;
  input.descriptor.highBit = 0x7FFF8000;
  EXPECT_EQ(Block(input), Expected().U16(2).EntryShort(0, 0x2345).EntryShort(1, 0x8000).U32(0).bytes);
}

TEST_P(ToneBlock, OwnDepthOfTheDescriptorCounts) {
  DirectoryInput input(GetParam());
  Gray(input, 12);
  input.job.bitsPerPixel = 16;
  EXPECT_EQ(Block(input), FileBytes{});
  DirectoryInput other(GetParam());
  Gray(other, 12);
  other.job.bitsPerPixel = 16;
  other.descriptor.highBit = 15;
  EXPECT_EQ(Block(other), Expected().U16(2).EntryShort(0, 0).EntryShort(1, 15).U32(0).bytes);
}

TEST_P(ToneBlock, TableAlone) {
  DirectoryInput input(GetParam());
  Gray(input, 16);
  const ToneTable table(input, kColors, 3);
  EXPECT_EQ(Block(input), Expected().U16(1).Entry(2, 1, 9, 18).U32(0).Raw(kTableBytes).bytes);
}

TEST_P(ToneBlock, TableBehindLevels) {
  DirectoryInput input(GetParam());
  Gray(input, 16);
  input.descriptor.highBit = 11;
  const ToneTable table(input, kColors, 2);
  EXPECT_EQ(
      Block(input),
      Expected().U16(3).EntryShort(0, 0).EntryShort(1, 11).Entry(2, 1, 6, 42).U32(0).Raw({1, 2, 3, 4, 5, 6}).bytes);
}

TEST_P(ToneBlock, LevelsWithASampleRangeWhoseMaximumRepeatsItsMinimum) {
  DirectoryInput input(GetParam());
  Gray(input);
  input.descriptor.highBit = 11;
  input.descriptor.minValue = 5;
  input.descriptor.maxValue = 9;
  EXPECT_EQ(Block(input),
            Expected().U16(4).EntryShort(0, 0).EntryShort(1, 11).Entry(3, 4, 1, 5).Entry(4, 4, 1, 5).U32(0).bytes);
}

TEST_P(ToneBlock, TableWithASampleRangeKeepsThePlaceOfATableThatIsTheLast) {
  DirectoryInput input(GetParam());
  Gray(input);
  input.descriptor.minValue = -5;
  input.descriptor.maxValue = 3;
  const ToneTable table(input, kColors, 3);
  EXPECT_EQ(Block(input), Expected()
                              .U16(3)
                              .Entry(2, 1, 9, 18)
                              .Entry(3, 4, 1, 0xFFFFFFFB)
                              .Entry(4, 4, 1, 0xFFFFFFFB)
                              .U32(0)
                              .Raw(kTableBytes)
                              .bytes);
}

TEST_P(ToneBlock, AllOfThem) {
  DirectoryInput input(GetParam());
  Gray(input);
  input.descriptor.lowBit = 2;
  input.descriptor.minValue = 7;
  input.descriptor.maxValue = 7;
  const ToneTable table(input, kColors, 3);
  EXPECT_EQ(Block(input), Expected()
                              .U16(5)
                              .EntryShort(0, 2)
                              .EntryShort(1, 31)
                              .Entry(2, 1, 9, 42)
                              .Entry(3, 4, 1, 7)
                              .Entry(4, 4, 1, 7)
                              .U32(0)
                              .Raw(kTableBytes)
                              .bytes);
}

TEST_P(ToneBlock, SampleRangeAloneNeedsNone) {
  DirectoryInput input(GetParam());
  Gray(input);
  input.descriptor.minValue = 5;
  input.descriptor.maxValue = 9;
  EXPECT_EQ(Block(input), FileBytes{});
}

TEST_P(ToneBlock, SampleRangesAreComparedAsSignedNumbers) {
  const struct {
    int32_t minimum;
    int32_t maximum;
  } kRanges[] = {{5, 5}, {-5, 9}, {-5, 0}, {-5, -2}, {1, INT32_MAX}, {INT32_MIN, -2}};
  for (const auto& range : kRanges) {
    DirectoryInput input(GetParam());
    Gray(input);
    input.descriptor.highBit = 3;
    input.descriptor.minValue = range.minimum;
    input.descriptor.maxValue = range.maximum;
    const auto minimum = static_cast<uint32_t>(range.minimum);
    EXPECT_EQ(Block(input), Expected()
                                .U16(4)
                                .EntryShort(0, 0)
                                .EntryShort(1, 3)
                                .Entry(3, 4, 1, minimum)
                                .Entry(4, 4, 1, minimum)
                                .U32(0)
                                .bytes);
  }
}

TEST_P(ToneBlock, SampleRangesThatAreNone) {
  const struct {
    int32_t depth;
    int32_t minimum;
    int32_t maximum;
  } kRanges[] = {{32, 0, 9}, {32, 5, -1}, {32, -5, -1}, {32, 5, 4}, {32, 5, -7}, {32, -5, -6}, {16, 5, 9}};
  for (const auto& range : kRanges) {
    DirectoryInput input(GetParam());
    Gray(input, range.depth);
    input.descriptor.highBit = 3;
    input.descriptor.minValue = range.minimum;
    input.descriptor.maxValue = range.maximum;
    EXPECT_EQ(Block(input), Expected().U16(2).EntryShort(0, 0).EntryShort(1, 3).U32(0).bytes);
  }
}

TEST_P(ToneBlock, TableCountsOnlyWithItsFlagHandleAndLength) {
  for (int missing = 0; missing < 3; ++missing) {
    DirectoryInput input(GetParam());
    Gray(input);
    const ToneTable table(input, kColors, missing == 0 ? 0 : 3);
    if (missing == 1) {
      input.descriptor.flags = 0;
    } else if (missing == 2) {
      input.descriptor.lookupTable = 0;
    }
    EXPECT_EQ(Block(input), FileBytes{});
  }
}

TEST_P(ToneBlock, TableMayHaveOneEntry) {
  DirectoryInput input(GetParam());
  Gray(input, 16);
  const ToneTable table(input, kColors, 1);
  EXPECT_EQ(Block(input), Expected().U16(1).Entry(2, 1, 3, 18).U32(0).Raw({1, 2, 3}).bytes);
}

TEST_P(ToneBlock, TableIsCutToItsBlock) {
  for (const uint32_t length : {4u, 1000u, 0xFFFFFFFFu}) {
    DirectoryInput input(GetParam());
    Gray(input, 16);
    const ToneTable table(input, kColors, length);
    EXPECT_EQ(Block(input), Expected().U16(1).Entry(2, 1, 9, 18).U32(0).Raw(kTableBytes).bytes);
  }
}

TEST_P(ToneBlock, LongTablesGoOutWhole) {
  for (const uint32_t length : {255u, 256u, 257u, 300u, 512u, 65536u}) {
    std::vector<VxColor> colors(length);
    FileBytes bytes;
    for (size_t i = 0; i < colors.size(); ++i) {
      colors[i] = {static_cast<uint8_t>(i), static_cast<uint8_t>(i >> 8), static_cast<uint8_t>(i * 7), 1};
      bytes.insert(bytes.end(), {colors[i].blue, colors[i].green, colors[i].red});
    }
    DirectoryInput input(GetParam());
    Gray(input, 16);
    const ToneTable table(input, colors, length);
    EXPECT_EQ(Block(input), Expected().U16(1).Entry(2, 1, 3 * length, 18).U32(0).Raw(bytes).bytes) << length;
  }
}

TEST_P(ToneBlock, TableWhoseBlockIsGoneLeavesAHole) {
  DirectoryInput input(GetParam());
  Gray(input, 16);
  input.descriptor.flags |= kBitmapHasLookupTable;
  input.descriptor.lookupTable = 0x7FFFFFF0;
  input.descriptor.lookupTableLength = 3;
  const FileDirectory directory = input.Written();
  EXPECT_EQ(directory.Find(kTone), nullptr);
  EXPECT_EQ(directory.entries.size(), 16u);
  EXPECT_EQ(directory.Find(282)->word, 8u + 2 + 17 * 12 + 4) << "one entry was reserved";
}

TEST_P(ToneBlock, ColorPagesHaveNone) {
  for (const uint32_t order : {uint32_t{kOrderRedFirst}, uint32_t{kOrderBlueFirst}}) {
    DirectoryInput input(GetParam());
    input.Depth(24, order);
    input.descriptor.lowBit = 3;
    const ToneTable table(input, kColors, 3);
    EXPECT_EQ(Block(input), FileBytes{});
  }
}

} // namespace
