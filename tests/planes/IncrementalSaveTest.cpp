// Pages streamed into a file as finished strip data.

#include <string>

#include <vxtif/save.h>

#include "planes/PlanePageTags.h"
#include "support/KernelGuard.h"

namespace {

const VxColor kPalette[256] = {{255, 255, 255, 0}, {0, 0, 0, 0}};

// A record ready to start: 20 x 10 grey pixels of 8 bits.
struct DataSave {
  explicit DataSave(const TempFile& file) {
    request.fileName = file.Name();
    request.compression = 1;
    request.width = 20;
    request.height = 10;
    request.bitsPerPixel = 24;
    request.xResolution = 150;
    request.yResolution = 75;
    request.options = &options;
    request.fileHandle = 12345;
    request.bytesWritten = 99;
    options.structSize = sizeof options;
    options.pageNumber = 1;
  }
  ~DataSave() { Stop(); }
  int32_t Start() { return fltStartSaveData(&request); }
  int32_t Write(const std::string& text) {
    request.dataBuffer = text.data();
    request.dataLength = static_cast<uint32_t>(text.size());
    return fltSaveData(&request);
  }
  int32_t Stop() { return fltStopSaveData(&request); }

  SaveOptions options = {};
  FilterSaveDataRequest request = {};
};

std::string Text(const FileBytes& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

class IncrementalSave : public testing::TestWithParam<FileOrder> {
protected:
  void SetOrder(DataSave& save) const { save.options.flags = GetParam() == FileOrder::kBig ? kSaveBigEndian : 0; }
  KernelGuard guard_;
  TempFile file_;
};

INSTANTIATE_TEST_SUITE_P(Orders, IncrementalSave, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const auto& order) { return order.param == FileOrder::kLittle ? "Little" : "Big"; });

// Data that looks like entries of byte counts in the other order than the file's.
TEST_P(IncrementalSave, StopWritesOverNoDataWhenTheOrderCannotBeRead) {
  std::string data;
  for (int i = 0; i < 3000; ++i) {
    data += GetParam() == FileOrder::kLittle ? "\x01\x17" : "\x17\x01";
  }
  for (const bool seek : {false, true}) {
    DataSave save(file_);
    SetOrder(save);
    ASSERT_EQ(save.Start(), 1);
    ASSERT_EQ(save.Write(data), 1);
    {
      IoFaults faults;
      faults.Fail(seek ? IoCall::kSeek : IoCall::kRead, 1);
      EXPECT_EQ(save.Stop(), 1);
    }
    const std::string after = Text(file_.Read());
    EXPECT_EQ(after.substr(after.size() - data.size()), data);
  }
}

TEST_P(IncrementalSave, StreamsOneStrip) {
  DataSave save(file_);
  SetOrder(save);
  EXPECT_EQ(save.Start(), 1);
  EXPECT_NE(+save.request.fileHandle, kKrnNoHandle);
  EXPECT_EQ(+save.request.bytesWritten, 0u);
  EXPECT_EQ(+save.request.entriesOffset, 10u);
  const size_t behindDirectory = file_.Read().size();
  EXPECT_EQ(save.Write("first "), 1);
  EXPECT_EQ(save.Write("second "), 1);
  EXPECT_EQ(save.Write("third"), 1);
  EXPECT_EQ(+save.request.bytesWritten, 18u);
  EXPECT_EQ(save.Stop(), 1);
  EXPECT_EQ(+save.request.fileHandle, kKrnNoHandle);

  PageTags tags(file_);
  EXPECT_EQ(tags.Value(256), 20u);
  EXPECT_EQ(tags.Value(257), 10u);
  EXPECT_EQ(tags.Values(258), (std::vector<uint32_t>{8, 8, 8}));
  EXPECT_EQ(tags.Value(259), 1u);
  EXPECT_EQ(tags.Value(262), 2u);
  EXPECT_EQ(tags.Value(278), 10u) << "the whole page is one strip";
  EXPECT_EQ(tags.Value(274), 1u);
  EXPECT_EQ(tags.Value(273), behindDirectory) << "the data are the first bytes behind the directory";
  EXPECT_EQ(tags.Value(279), 18u);
  EXPECT_EQ(Text(tags.Strips().at(0)), "first second third");
  EXPECT_EQ(file_.Read()[0], GetParam() == FileOrder::kBig ? 'M' : 'I');
}

TEST_P(IncrementalSave, TheByteCountIsInTheOrderOfTheFile) {
  DataSave save(file_);
  SetOrder(save);
  ASSERT_EQ(save.Start(), 1);
  EXPECT_EQ(save.Write(std::string(0x0102, 'x')), 1);
  EXPECT_EQ(save.Stop(), 1);
  EXPECT_EQ(PageTags(file_).Value(279), 0x0102u);
}

TEST_P(IncrementalSave, WithoutAStopTheByteCountIsZero) {
  DataSave save(file_);
  SetOrder(save);
  ASSERT_EQ(save.Start(), 1);
  EXPECT_EQ(save.Write("data"), 1);
  EXPECT_EQ(PageTags(file_).Value(279), 0u);
}

TEST_P(IncrementalSave, AppendedPagesFollowThoseOfTheFile) {
  for (int page = 1; page <= 3; ++page) {
    DataSave save(file_);
    SetOrder(save);
    save.request.append = page > 1 ? 7 : 0;
    ASSERT_EQ(save.Start(), 1);
    EXPECT_EQ(save.Write("page " + std::to_string(page) + (page == 2 ? "!" : "")), 1);
    EXPECT_EQ(save.Stop(), 1);
  }
  EXPECT_EQ(Text(PageTags(file_, 1).Strips().at(0)), "page 1");
  EXPECT_EQ(Text(PageTags(file_, 2).Strips().at(0)), "page 2!");
  EXPECT_EQ(Text(PageTags(file_, 3).Strips().at(0)), "page 3");
}

TEST_P(IncrementalSave, AppendClearsThePlaceInTheOptions) {
  DataSave save(file_);
  save.options.flags = kSaveInsertPage | kSaveReplacePage;
  save.request.append = 1;
  EXPECT_EQ(save.Start(), 1);
  EXPECT_EQ(+save.options.flags, 0u);
}

TEST_P(IncrementalSave, SeveralSavesRunAtOnce) {
  const TempFile other;
  DataSave first(file_);
  DataSave second(other);
  SetOrder(first);
  ASSERT_EQ(first.Start(), 1);
  ASSERT_EQ(second.Start(), 1);
  EXPECT_EQ(first.Write("one"), 1);
  EXPECT_EQ(second.Write("TWO!"), 1);
  EXPECT_EQ(first.Write(" more"), 1);
  EXPECT_EQ(second.Stop(), 1);
  EXPECT_EQ(first.Stop(), 1);
  EXPECT_EQ(Text(PageTags(file_).Strips().at(0)), "one more");
  EXPECT_EQ(Text(PageTags(other).Strips().at(0)), "TWO!");
}

TEST_P(IncrementalSave, CompressionsGoIntoTheTagAsTheyAre) {
  for (int32_t compression : {1, 2, 4, 5, 7, 8, 32773, 34712, 65535}) {
    DataSave save(file_);
    SetOrder(save);
    save.request.compression = compression;
    save.request.bitsPerPixel = compression <= 4 ? 1 : 24;
    save.request.palette = const_cast<VxColor*>(kPalette);
    save.request.paletteSize = 2;
    ASSERT_EQ(save.Start(), 1) << compression;
    EXPECT_EQ(save.Stop(), 1);
    EXPECT_EQ(PageTags(file_).Value(259), static_cast<uint32_t>(compression));
    EXPECT_EQ(+save.request.compression, compression);
  }
}

TEST_P(IncrementalSave, GroupThreeTwoDimensionalHasANumberOfItsOwn) {
  DataSave save(file_);
  SetOrder(save);
  save.request.compression = kCompressionGroup3TwoDimensional;
  save.request.bitsPerPixel = 1;
  save.request.palette = const_cast<VxColor*>(kPalette);
  save.request.paletteSize = 2;
  ASSERT_EQ(save.Start(), 1);
  EXPECT_EQ(+save.request.compression, 3);
  EXPECT_EQ(save.Stop(), 1);
  PageTags tags(file_);
  EXPECT_EQ(tags.Value(259), 3u);
  EXPECT_EQ(tags.Value(292), 5u);
}

TEST(IncrementalSaveRefusals, CompressionsOutOfRangeTouchNothing) {
  const TempFile file;
  const CallCounter calls;
  for (int32_t compression : {0, -1, -2147483647, 65536, 0x10000, 0x10002, 2147483647}) {
    DataSave save(file);
    save.request.compression = compression;
    EXPECT_EQ(save.Start(), -16) << compression;
    EXPECT_EQ(+save.request.fileHandle, kKrnNoHandle);
    EXPECT_EQ(+save.request.compression, compression);
    EXPECT_EQ(+save.request.bytesWritten, 99u);
  }
  EXPECT_EQ(calls.Since().opens, 0u);
  EXPECT_FALSE(file.Exists());
}

TEST(IncrementalSaveRefusals, IndexedPagesNeedAWholePalette) {
  const KernelGuard guard;
  const TempFile file;
  for (int32_t depth = 0; depth <= 8; ++depth) {
    for (int32_t missing : {1, 0, -1}) {
      DataSave save(file);
      save.request.bitsPerPixel = depth;
      save.request.palette = const_cast<VxColor*>(kPalette);
      save.request.paletteSize = static_cast<uint32_t>((1 << depth) - missing);
      if (missing == 1) {
        save.request.compression = 0; // the palette is looked at first
        EXPECT_EQ(save.Start(), -13) << depth;
        save.request.paletteSize = 1000;
        save.request.palette = nullptr;
        EXPECT_EQ(save.Start(), -13) << depth;
        EXPECT_FALSE(file.Exists());
      } else if (depth != 0) {
        EXPECT_EQ(save.Start(), 1) << depth;
        EXPECT_EQ(save.Stop(), 1);
        std::filesystem::remove(file.Path());
      }
    }
  }
  DataSave negative(file);
  negative.request.bitsPerPixel = -1;
  negative.request.compression = 0;
  EXPECT_EQ(negative.Start(), -13) << "no palette";
  negative.request.palette = const_cast<VxColor*>(kPalette);
  EXPECT_EQ(negative.Start(), -16) << "no size is asked for";
}

TEST(IncrementalSaveRefusals, DeepPagesNeedNoPalette) {
  const TempFile file;
  for (int32_t depth : {16, 24, 32, 48, 64}) {
    DataSave save(file);
    save.request.bitsPerPixel = depth;
    EXPECT_EQ(save.Start(), 1) << depth;
  }
}

TEST(IncrementalSaveRefusals, FilesThatCannotBeMade) {
  const KernelGuard guard;
  const TempFile file;
  DataSave save(file);
  save.request.fileName = u"/nowhere/at/all/page.tif";
  EXPECT_EQ(save.Start(), -14);
  EXPECT_EQ(+save.request.fileHandle, kKrnNoHandle);
  save.request.fileName = nullptr;
  EXPECT_EQ(save.Start(), -14);
}

TEST(IncrementalSaveCalls, DataAndStopWithoutAnOpenFile) {
  const TempFile file;
  DataSave save(file);
  save.request.fileHandle = kKrnNoHandle;
  const CallCounter calls;
  EXPECT_EQ(save.Write("data"), -5);
  EXPECT_EQ(save.Write(""), -5);
  EXPECT_EQ(+save.request.bytesWritten, 99u);
  EXPECT_EQ(save.Stop(), 1);
  EXPECT_EQ(calls.Since().seeks + calls.Since().reads + calls.Since().closes, 0u);
}

TEST(IncrementalSaveCalls, ALengthOfZeroWritesNothing) {
  const KernelGuard guard;
  const TempFile file;
  DataSave save(file);
  ASSERT_EQ(save.Start(), 1);
  const size_t size = file.Read().size();
  EXPECT_EQ(save.Write(""), 1);
  EXPECT_EQ(+save.request.bytesWritten, 0u);
  EXPECT_EQ(save.Stop(), 1);
  EXPECT_EQ(file.Read().size(), size);
}

TEST(IncrementalSaveCalls, AShortWriteLeavesTheSaveOpenAndTheCountAsItWas) {
  const KernelGuard guard;
  const TempFile file;
  DataSave save(file);
  ASSERT_EQ(save.Start(), 1);
  EXPECT_EQ(save.Write("good"), 1);
  {
    IoFaults faults;
    faults.Shorten(IoCall::kWrite, 1, 2);
    EXPECT_EQ(save.Write("lost"), -5);
  }
  EXPECT_EQ(+save.request.bytesWritten, 4u);
  EXPECT_NE(+save.request.fileHandle, kKrnNoHandle);
  EXPECT_EQ(save.Stop(), 1);
  EXPECT_EQ(PageTags(file).Value(279), 4u) << "the directory gets what was written";
}

TEST(IncrementalSaveCalls, StopGivesOneWhateverFails) {
  for (IoCall call : {IoCall::kRead, IoCall::kSeek, IoCall::kWrite}) {
    for (uint64_t nth = 1; nth <= 8; ++nth) {
      const KernelGuard guard;
      const TempFile file;
      DataSave save(file);
      ASSERT_EQ(save.Start(), 1);
      EXPECT_EQ(save.Write("data"), 1);
      IoFaults faults;
      faults.Fail(call, nth, FaultSpan::kFromThenOn);
      EXPECT_EQ(save.Stop(), 1);
      EXPECT_EQ(+save.request.fileHandle, kKrnNoHandle);
    }
  }
}

TEST(IncrementalSaveCalls, AFailedStartClosesTheFile) {
  for (uint64_t nth = 1;; ++nth) {
    const KernelGuard guard;
    const TempFile file;
    DataSave save(file);
    AllocFaults faults(nth);
    const int32_t result = save.Start();
    if (faults.Calls() < nth) {
      EXPECT_EQ(result, 1);
      EXPECT_GE(nth, 2u);
      break;
    }
    EXPECT_EQ(result, -1) << nth;
    EXPECT_EQ(+save.request.fileHandle, kKrnNoHandle);
  }
  for (IoCall call : {IoCall::kWrite, IoCall::kSeek}) {
    for (uint64_t nth = 1;; ++nth) {
      const KernelGuard guard;
      const TempFile file;
      DataSave save(file);
      IoFaults faults;
      faults.Fail(call, nth);
      const int32_t result = save.Start();
      if (faults.Calls(call) < nth) {
        EXPECT_EQ(result, 1);
        break;
      }
      if (result != 1) {
        EXPECT_TRUE(result == -5 || result == -4) << nth << " gives " << result;
        EXPECT_EQ(+save.request.fileHandle, kKrnNoHandle);
      }
    }
  }
}

TEST(IncrementalSaveCalls, NullOptionsReadAsZeros) {
  const KernelGuard guard;
  const TempFile file;
  DataSave save(file);
  save.request.options = nullptr;
  ASSERT_EQ(save.Start(), 1);
  EXPECT_EQ(save.Write("data"), 1);
  EXPECT_EQ(save.Stop(), 1);
  EXPECT_EQ(Text(PageTags(file).Strips().at(0)), "data");
}

} // namespace
