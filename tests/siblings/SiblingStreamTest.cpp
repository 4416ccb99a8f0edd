// The stream that a sibling sees, by a sibling library that opens, seeks, reads and closes.

#include <filesystem>
#include <fstream>

#include "Tif/Siblings.h"
#include "siblings/SiblingHandle.h"
#include "support/KernelGuard.h"
#include "support/TempFile.h"

namespace {

constexpr uint32_t kBase = 100;
constexpr uint32_t kLength = 50;

FileBytes Numbered(size_t count) {
  FileBytes bytes(count);
  for (size_t i = 0; i < count; ++i) {
    bytes[i] = static_cast<uint8_t>(i);
  }
  return bytes;
}

// A load by JPEG 2000's row over a range of an open file.
class SiblingStream : public testing::Test {
protected:
  SiblingStream() { Open(file_); }
  ~SiblingStream() override { krnFileClose(handle_); }

  void Open(const TempFile& file) {
    krnFileClose(handle_);
    handle_ = krnFileOpen(file.Name(), 0, 256);
    request_.fileName = file.Name();
    request_.fileOptions = &options_;
  }
  int32_t Load(uint32_t base = kBase, uint32_t length = kLength) {
    return TIFSiblingLoadStream(&request_, handle_, &bitmap_, nullptr, &page_, base, length, 0, kSiblingJpeg2000);
  }

  TempFile file_{Numbered(200)};
  VxFileHandle handle_ = kKrnNoHandle;
  FileOptions options_ = {};
  FilterLoadRequest request_ = {};
  BitmapHandle bitmap_ = {};
  TifPage page_ = {};
  Sibling sibling_{"VXJPEG2K.DLL"};
};

} // namespace

TEST_F(SiblingStream, OpenGivesTheHandleAtTheFirstByteWhateverTheName) {
  for (const char16_t* name : {static_cast<const char16_t*>(nullptr), u"/nowhere/other.jp2", u"", file_.Name()}) {
    const KernelGuard guard;
    sibling_->nameToOpen = name;
    sibling_.Do({OpenStep(), ReadStep(3), OpenStep(), ReadStep(1)});
    krnFileSeek(handle_, 7, 0);
    EXPECT_EQ(Load(), 1);
    EXPECT_EQ(sibling_.Step(0).result, handle_);
    EXPECT_EQ(sibling_.Step(1).result, 3);
    EXPECT_EQ(sibling_.Step(1).data[0], kBase);
    EXPECT_EQ(sibling_.Step(1).data[2], kBase + 2);
    EXPECT_EQ(sibling_.Step(3).data[0], kBase) << "a second open starts at the first byte again";
  }
}

TEST_F(SiblingStream, SeeksFromAllThreeOriginsCountFromTheBase) {
  sibling_.Do({OpenStep(), SeekStep(0, 0), ReadStep(1), SeekStep(10, 0), ReadStep(1), SeekStep(5, 1), ReadStep(1),
               SeekStep(-7, 1), ReadStep(1), SeekStep(0, 2), SeekStep(-10, 2), ReadStep(1), SeekStep(0, 1)});
  EXPECT_EQ(Load(), 1);
  EXPECT_EQ(sibling_.Step(1).result, 0);
  EXPECT_EQ(sibling_.Step(2).data[0], kBase);
  EXPECT_EQ(sibling_.Step(3).result, 10);
  EXPECT_EQ(sibling_.Step(4).data[0], kBase + 10);
  EXPECT_EQ(sibling_.Step(5).result, 16);
  EXPECT_EQ(sibling_.Step(6).data[0], kBase + 16);
  EXPECT_EQ(sibling_.Step(7).result, 10);
  EXPECT_EQ(sibling_.Step(8).data[0], kBase + 10);
  EXPECT_EQ(sibling_.Step(9).result, kLength) << "the end of the stream, which lies before the end of the file";
  EXPECT_EQ(sibling_.Step(10).result, kLength - 10);
  EXPECT_EQ(sibling_.Step(11).data[0], kBase + kLength - 10);
  EXPECT_EQ(sibling_.Step(12).result, kLength - 9);
}

TEST_F(SiblingStream, ReadsAreNotRedirectedAndPassTheEndOfTheStream) {
  sibling_.Do({OpenStep(), SeekStep(0, 2), ReadStep(2), SeekStep(20, 2), ReadStep(1), SeekStep(45, 0), ReadStep(60)});
  EXPECT_EQ(Load(), 1);
  EXPECT_EQ(sibling_.Step(2).data[0], kBase + kLength);
  EXPECT_EQ(sibling_.Step(4).data[0], kBase + kLength + 20);
  EXPECT_EQ(sibling_.Step(6).result, 55) << "up to the end of the file";
}

TEST_F(SiblingStream, PositionsBeforeTheBaseWrapAndFailedSeeksAreShiftedToo) {
  sibling_.Do({OpenStep(), SeekStep(-5, 0), ReadStep(1), SeekStep(-1000, 0), SeekStep(-1000, 1), SeekStep(-1000, 2)});
  EXPECT_EQ(Load(), 1);
  EXPECT_EQ(sibling_.Step(1).result, 0xFFFFFFFB);
  EXPECT_EQ(sibling_.Step(2).data[0], kBase - 5);
  for (uint32_t step : {3u, 4u, 5u}) {
    EXPECT_EQ(sibling_.Step(step).result, 0xFFFFFFFF - kBase) << step;
  }
}

TEST_F(SiblingStream, CloseDoesNothing) {
  sibling_.Do({OpenStep(), CloseStep(), ReadStep(1), CloseStep(), CloseStep()});
  EXPECT_EQ(Load(), 1);
  EXPECT_EQ(sibling_.Step(1).result, 0);
  EXPECT_EQ(sibling_.Step(2).data[0], kBase);
  EXPECT_EQ(sibling_.Step(4).result, 0);
  uint8_t byte = 0;
  EXPECT_EQ(krnFileSeek(handle_, 33, 0), 33u) << "the TIFF file stays usable, with its own positions";
  EXPECT_EQ(krnFileRead(handle_, &byte, 1), 1u);
  EXPECT_EQ(byte, 33);
}

TEST_F(SiblingStream, EmptyStreamAndStreamBehindTheFile) {
  sibling_.Do({OpenStep(), SeekStep(0, 2), ReadStep(1)});
  EXPECT_EQ(Load(kBase, 0), 1);
  EXPECT_EQ(sibling_.Step(1).result, 0);
  EXPECT_EQ(sibling_.Step(2).data[0], kBase);
  EXPECT_EQ(Load(5000, 10), 1);
  EXPECT_EQ(sibling_.Step(1).result, 10);
  EXPECT_EQ(sibling_.Step(2).result, 0);
}

TEST_F(SiblingStream, LengthWithoutLimitEndsAtTheFile) {
  sibling_.Do({OpenStep(), SeekStep(0, 2), SeekStep(-1, 2), ReadStep(1)});
  EXPECT_EQ(Load(kBase, 0xFFFFFFFF), 1);
  EXPECT_EQ(sibling_.Step(1).result, 200 - kBase);
  EXPECT_EQ(sibling_.Step(3).data[0], 199);
  EXPECT_EQ(Load(kBase, 0xFFFFFFFE), 1);
  EXPECT_EQ(sibling_.Step(1).result, 0xFFFFFFFF - kBase) << "a limit past 4 GiB cannot be reached";
}

TEST_F(SiblingStream, OffsetsAboveTwoGibibytes) {
  constexpr uint32_t kFar = 0xC0000000u;
  const TempFile far(FileBytes{1, 2, 3});
  std::filesystem::resize_file(far.Path(), uintmax_t{kFar} + 1000);
  std::fstream stream(far.Path(), std::ios::binary | std::ios::in | std::ios::out);
  stream.seekp(std::streamoff{kFar});
  stream << "ABCDEFGH" << std::flush;
  ASSERT_TRUE(stream.good());

  Open(far);
  sibling_.Do({OpenStep(), ReadStep(1), SeekStep(4, 0), ReadStep(1), SeekStep(-2, 2), ReadStep(1)});
  EXPECT_EQ(Load(kFar, 8), 1);
  EXPECT_EQ(sibling_.Step(1).data[0], 'A');
  EXPECT_EQ(sibling_.Step(2).result, 4);
  EXPECT_EQ(sibling_.Step(3).data[0], 'E');
  EXPECT_EQ(sibling_.Step(4).result, 6);
  EXPECT_EQ(sibling_.Step(5).data[0], 'G');
}

TEST_F(SiblingStream, RedirectionLastsForTheCallOnly) {
  const TempFile other(FileBytes{0xAB});
  sibling_.Do({OpenStep(), CloseStep()});
  EXPECT_EQ(Load(), 1);
  const VxFileHandle opened = krnFileOpen(other.Name(), 0, 256);
  EXPECT_NE(opened, handle_);
  uint8_t byte = 0;
  EXPECT_EQ(krnFileRead(opened, &byte, 1), 1u);
  EXPECT_EQ(byte, 0xAB);
  EXPECT_EQ(krnFileSeek(opened, 0, 2), 1u);
  EXPECT_EQ(krnFileClose(opened), 0);
}

TEST_F(SiblingStream, SeeksGoThroughTheCallbacksThatWereThereBefore) {
  IoFaults outer;
  sibling_.Do({OpenStep(), SeekStep(3, 0), ReadStep(1), SeekStep(3, 0), ReadStep(1), CloseStep()});
  outer.Fail(IoCall::kSeek, 2);
  EXPECT_EQ(Load(), 1);
  EXPECT_EQ(outer.Calls(IoCall::kOpen), 0u);
  EXPECT_EQ(outer.Calls(IoCall::kClose), 0u);
  EXPECT_EQ(outer.Calls(IoCall::kSeek), 3u);
  EXPECT_EQ(outer.Calls(IoCall::kRead), 2u);
  EXPECT_EQ(sibling_.Step(1).result, 0xFFFFFFFF - kBase);
  EXPECT_EQ(sibling_.Step(4).data[0], kBase + 3);
}

// A sibling whose own format holds a stream of another sibling.
TEST_F(SiblingStream, NestedDelegationAddsTheBases) {
  struct Inner {
    FilterLoadRequest request = {};
    BitmapHandle bitmap = {};
    TifPage page = {};
  } inner;
  inner.request.fileOptions = &options_;
  Sibling second("VXBILEVEL2.DLL");
  second->result = 5;
  second.Do({OpenStep(), ReadStep(1), SeekStep(2, 0), ReadStep(1), SeekStep(0, 2), SeekStep(-1, 2), ReadStep(1),
             CloseStep()});
  sibling_->callbackData = &inner;
  sibling_->callback = [](VxFileHandle handle, void*, void* data) {
    auto* nested = static_cast<Inner*>(data);
    return TIFSiblingLoadStream(&nested->request, handle, &nested->bitmap, nullptr, &nested->page, 20, 10, 0,
                                kSiblingBilevel2);
  };
  sibling_.Do({OpenStep(), SeekStep(4, 0), CallbackStep(), SeekStep(6, 0), ReadStep(1), SeekStep(0, 2), CloseStep()});
  EXPECT_EQ(Load(), 1);
  EXPECT_EQ(sibling_.Step(2).result, 5);
  EXPECT_EQ(second.Step(0).result, handle_);
  EXPECT_EQ(second.Step(1).data[0], kBase + 20);
  EXPECT_EQ(second.Step(2).result, 2);
  EXPECT_EQ(second.Step(3).data[0], kBase + 22);
  EXPECT_EQ(second.Step(4).result, 10);
  EXPECT_EQ(second.Step(6).data[0], kBase + 29);
  EXPECT_EQ(sibling_.Step(3).result, 6) << "the outer stream is back";
  EXPECT_EQ(sibling_.Step(4).data[0], kBase + 6);
  EXPECT_EQ(sibling_.Step(5).result, kLength);
  EXPECT_EQ(krnFileSeek(handle_, 0, 2), 200u);
}
