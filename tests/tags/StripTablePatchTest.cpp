// Patches of directories on disk: the true sizes of strips, and the codes of the variant file's strips.

#include <gtest/gtest.h>
#include <vxtif/results.h>

#include "tags/TagItems.h"
#include "tif_com/TagAccess.h"

namespace {

class StripTablePatch : public testing::TestWithParam<FileOrder> {
protected:
  Bytes NewBytes() const { return Bytes(GetParam()); }

  // Patches the directory at 8 of a file on disk; gives the file afterwards.
  template <typename Patch> FileBytes After(const FileBytes& before, Patch patch, int32_t expected) {
    KernelGuard guard;
    const TempFile disk(before);
    TifFile file = {};
    file.fileHandle = krnFileOpen(disk.Name(), kKrnFileReadWrite, kKrnShareRead);
    file.byteOrder = GetParam() == FileOrder::kLittle ? kByteOrderLittle : kByteOrderBig;
    file.directoryOffset = 8;
    file.entryCount = GetU16(before, 8, GetParam());
    EXPECT_EQ(patch(&file), expected);
    krnFileClose(file.fileHandle);
    return disk.Read();
  }
};

INSTANTIATE_TEST_SUITE_P(Orders, StripTablePatch, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const auto& order) { return order.param == FileOrder::kLittle ? "Little" : "Big"; });

TEST_P(StripTablePatch, SingleStripGetsItsByteCountInTheEntry) {
  for (uint16_t countsTag : {uint16_t{279}, uint16_t{325}}) {
    const auto offsetsTag = static_cast<uint16_t>(countsTag == 279 ? 273 : 324);
    const auto file = [&](uint32_t bytes) {
      return NewBytes()
          .Header(8)
          .U16(4)
          .Entry(256, 4, 1, 1)
          .Entry(offsetsTag, 4, 1, 62)
          .Entry(countsTag, 4, 1, bytes)
          .Entry(700, 4, 1, 9)
          .U32(0)
          .bytes;
    };
    const uint32_t bytes[] = {0x01020304};
    EXPECT_EQ(After(
                  file(5), [&](TifFile* f) { return TIFPatchStripTables(f, bytes, 1); }, kResultOk),
              file(0x01020304));
  }
}

TEST_P(StripTablePatch, SeveralStripsGetRunningOffsetsBehindTheirTables) {
  const auto file = [&](std::initializer_list<uint32_t> offsets, std::initializer_list<uint32_t> counts) {
    Bytes bytes = NewBytes().Header(8).U16(3).Entry(256, 4, 1, 1).Entry(273, 4, 3, 50).Entry(279, 4, 3, 62).U32(0);
    for (uint32_t offset : offsets) {
      bytes.U32(offset);
    }
    for (uint32_t count : counts) {
      bytes.U32(count);
    }
    return bytes.bytes;
  };
  const uint32_t sizes[] = {5, 7, 0x10001};
  EXPECT_EQ(After(
                file({1, 2, 3}, {4, 5, 6}), [&](TifFile* f) { return TIFPatchStripTables(f, sizes, 3); }, kResultOk),
            file({74, 79, 86}, {5, 7, 0x10001}));
}

TEST_P(StripTablePatch, ManyStripsArePatchedToTheLast) {
  constexpr uint32_t kStrips = 3000;
  Bytes before = NewBytes().Header(8).U16(2).Entry(324, 4, kStrips, 38).Entry(325, 4, kStrips, 38 + 4 * kStrips).U32(0);
  before.bytes.resize(38 + 8 * kStrips);
  std::vector<uint32_t> sizes(kStrips);
  for (uint32_t i = 0; i < kStrips; ++i) {
    sizes[i] = i;
  }
  const FileBytes after = After(
      before.bytes, [&](TifFile* f) { return TIFPatchStripTables(f, sizes.data(), kStrips); }, kResultOk);
  uint32_t offset = 38 + 8 * kStrips;
  for (uint32_t i = 0; i < kStrips; ++i) {
    ASSERT_EQ(GetU32(after, 38 + 4 * i, GetParam()), offset) << i;
    ASSERT_EQ(GetU32(after, 38 + 4 * (kStrips + i), GetParam()), i);
    offset += i;
  }
  EXPECT_EQ(after.size(), before.bytes.size());
}

TEST_P(StripTablePatch, DirectoryWithoutTablesIsLeftAlone) {
  const FileBytes file = NewBytes().Header(8).U16(1).Entry(256, 4, 1, 1).U32(0).bytes;
  const uint32_t sizes[] = {5, 6};
  EXPECT_EQ(After(
                file, [&](TifFile* f) { return TIFPatchStripTables(f, sizes, 2); }, kResultOk),
            file);
  const FileBytes empty = NewBytes().Header(8).U16(0).U32(0).bytes;
  EXPECT_EQ(After(
                empty, [&](TifFile* f) { return TIFPatchStripTables(f, sizes, 2); }, kResultOk),
            empty);
}

TEST_P(StripTablePatch, FailingSeeksGiveZero) {
  const FileBytes file =
      NewBytes().Header(8).U16(2).Entry(273, 4, 2, 38).Entry(279, 4, 2, 46).U32(0).Raw(FileBytes(16)).bytes;
  const uint32_t sizes[] = {5, 6};
  for (uint64_t nth = 1; nth <= 5; ++nth) { // entries; position, table, back; byte counts
    After(
        file,
        [&](TifFile* f) {
          IoFaults faults;
          faults.Fail(IoCall::kSeek, nth);
          return TIFPatchStripTables(f, sizes, 2);
        },
        kResultRefused);
  }
}

TEST_P(StripTablePatch, CodesOfThreeStripsStandAtTheEndOfTheFile) {
  const FileBytes file = NewBytes().Header(8).U16(2).Entry(256, 4, 1, 1).EntryShort(33466, 4).U32(0).bytes;
  const uint8_t flags[] = {0, 1, 5};
  EXPECT_EQ(After(
                file, [&](TifFile* f) { return TIFPatchStripCompressions(f, flags, 3); }, kResultOk),
            NewBytes().Header(8).U16(2).Entry(256, 4, 1, 1).Entry(33466, 3, 3, 38).U32(0).U16(4).U16(1).U16(1).bytes);
}

TEST_P(StripTablePatch, CodesOfTwoStripsStandInTheEntryWithTheOtherMeaning) {
  const FileBytes file = NewBytes().Header(8).U16(2).Entry(256, 4, 1, 1).EntryShort(33466, 4).U32(0).bytes;
  const uint8_t second[] = {0, 1};
  EXPECT_EQ(After(
                file, [&](TifFile* f) { return TIFPatchStripCompressions(f, second, 2); }, kResultOk),
            NewBytes().Header(8).U16(2).Entry(256, 4, 1, 1).U16(33466).U16(3).U32(2).U16(1).U16(4).U32(0).bytes);
  const uint8_t one[] = {1};
  EXPECT_EQ(After(
                file, [&](TifFile* f) { return TIFPatchStripCompressions(f, one, 1); }, kResultOk),
            NewBytes().Header(8).U16(2).Entry(256, 4, 1, 1).U16(33466).U16(3).U32(1).U16(4).U16(1).U32(0).bytes);
}

TEST_P(StripTablePatch, WithoutAFlagNothingIsWritten) {
  const FileBytes file = NewBytes().Header(8).U16(1).EntryShort(33466, 4).U32(0).bytes;
  const uint8_t flags[] = {0, 0, 0};
  EXPECT_EQ(After(
                file, [&](TifFile* f) { return TIFPatchStripCompressions(f, flags, 3); }, kResultOk),
            file);
  EXPECT_EQ(After(
                file, [&](TifFile* f) { return TIFPatchStripCompressions(f, flags, 0); }, kResultOk),
            file);
}

TEST_P(StripTablePatch, CodesWhoseEndOfFileOrDirectoryIsNotReachedAreASeekFailure) {
  const FileBytes file = NewBytes().Header(8).U16(2).Entry(256, 4, 1, 1).EntryShort(33466, 4).U32(0).bytes;
  const uint8_t flags[] = {0, 1, 0};
  for (uint64_t nth = 1; nth <= 3; ++nth) { // the end; the entries; over the first one
    const FileBytes after = After(
        file,
        [&](TifFile* f) {
          IoFaults faults;
          faults.Fail(IoCall::kSeek, nth);
          return TIFPatchStripCompressions(f, flags, 3);
        },
        kResultSeekFailed);
    EXPECT_EQ(FileBytes(after.begin(), after.begin() + 38), file) << "the entry keeps its count and word";
    EXPECT_EQ(after.size(), nth == 1 ? 38u : 44u) << "codes stand at the end already";
  }
}

TEST_P(StripTablePatch, DirectoryWithoutTheTagIsASeekFailure) {
  const uint8_t flags[] = {1, 0};
  const FileBytes file = NewBytes().Header(8).U16(1).Entry(256, 4, 1, 1).U32(0).bytes;
  EXPECT_EQ(After(
                file, [&](TifFile* f) { return TIFPatchStripCompressions(f, flags, 2); }, kResultSeekFailed),
            file);
  const FileBytes empty = NewBytes().Header(8).U16(0).U32(0).bytes;
  EXPECT_EQ(After(
                empty, [&](TifFile* f) { return TIFPatchStripCompressions(f, flags, 2); }, kResultSeekFailed),
            empty);
}

} // namespace
