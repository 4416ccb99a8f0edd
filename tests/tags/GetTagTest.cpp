// Single tags read from a page.

#include <gtest/gtest.h>
#include <vxtif/results.h>

#include "tags/TagItems.h"

namespace {

struct Answer {
  int32_t result = 0;
  uint16_t type = 0;
  uint32_t count = 0;
  FileBytes data = FileBytes(64, 0xEE);
  FileBytes Value(size_t n) const { return FileBytes(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(n)); }
};

Answer Ask(const TempFile& file, uint32_t tag, FileOptions* options = nullptr) {
  KernelGuard guard;
  Answer answer;
  FilterGetTagRequest request = {file.Name(), tag, &answer.type, &answer.count, answer.data.data(), options};
  answer.result = fltGetTag(&request);
  return answer;
}

class GetTag : public testing::TestWithParam<FileOrder> {};

INSTANTIATE_TEST_SUITE_P(Orders, GetTag, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const auto& order) { return order.param == FileOrder::kLittle ? "Little" : "Big"; });

TEST_P(GetTag, ValuesComeInHostOrder) {
  TiffBuilder builder(GetParam());
  builder.AddPage()
      .Short(1, {0x0201})
      .Short(2, {0x0201, 0x0403})
      .Short(3, {0x0201, 0x0403, 0x0605})
      .Long(4, {0x04030201})
      .Rational(5, {{0x04030201, 0x08070605}})
      .Value(6, 12, 1,
             GetParam() == FileOrder::kLittle ? FileBytes{1, 2, 3, 4, 5, 6, 7, 8} : FileBytes{8, 7, 6, 5, 4, 3, 2, 1})
      .Ascii(7, "abc")
      .Ascii(8, "abcdef")
      .RawWord(9, 77, 5, 1);
  const TempFile file(builder.Build());
  struct ValueCase {
    uint32_t tag;
    uint16_t type;
    uint32_t count;
    FileBytes value;
  };
  const ValueCase cases[] = {
      {1, 3, 1, {1, 2}},
      {2, 3, 2, {1, 2, 3, 4}},
      {3, 3, 3, {1, 2, 3, 4, 5, 6}},
      {4, 4, 1, {1, 2, 3, 4}},
      {5, 5, 1, {1, 2, 3, 4, 5, 6, 7, 8}},
      {6, 12, 1, {1, 2, 3, 4, 5, 6, 7, 8}},
      {7, 2, 4, {'a', 'b', 'c', 0}},
      {8, 2, 7, {'a', 'b', 'c', 'd', 'e', 'f', 0}},
      {9, 77, 5, {}}, // an unknown type has no bytes
  };
  for (const ValueCase& test : cases) {
    const Answer answer = Ask(file, test.tag);
    EXPECT_EQ(answer.result, kResultOk) << test.tag;
    EXPECT_EQ(answer.type, test.type) << test.tag;
    EXPECT_EQ(answer.count, test.count) << test.tag;
    EXPECT_EQ(answer.Value(test.value.size()), test.value) << test.tag;
    EXPECT_EQ(answer.data[test.value.size()], 0xEE) << test.tag << ": no byte more";
  }
}

TEST_P(GetTag, NullPointersAreNotWanted) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Ascii(8, "abcdef");
  const TempFile file(builder.Build());
  uint16_t type = 0;
  uint32_t count = 0;
  FilterGetTagRequest sizeOnly = {file.Name(), 8, &type, &count, nullptr, nullptr};
  EXPECT_EQ(fltGetTag(&sizeOnly), kResultOk);
  EXPECT_EQ(type, 2u);
  EXPECT_EQ(count, 7u);
  FilterGetTagRequest nothing = {file.Name(), 8, nullptr, nullptr, nullptr, nullptr};
  EXPECT_EQ(fltGetTag(&nothing), kResultOk);
}

TEST_P(GetTag, PagesAreFoundByNumberAndByDirectory) {
  TiffBuilder builder(GetParam());
  for (uint32_t width : {11u, 12u, 13u}) {
    builder.AddPage(GrayPage(width, 1));
  }
  const TempFile file(builder.Build());
  FileOptions options = {};
  const auto width = [&](int32_t page) {
    options.pageNumber = page;
    const Answer answer = Ask(file, 256, &options);
    return answer.result == kResultOk ? answer.data[0] : answer.result;
  };
  EXPECT_EQ(width(0), 11);
  EXPECT_EQ(width(1), 11);
  EXPECT_EQ(width(3), 13);
  EXPECT_EQ(width(-1), 13);
  EXPECT_EQ(width(4), kResultNoSuchPage);
  options.directoryOffset = builder.DirectoryOffset(1);
  EXPECT_EQ(width(1), 11) << "the flag is missing";
  options.flags = kReadUseDirectoryOffset;
  EXPECT_EQ(width(1), 12);
  EXPECT_EQ(width(2), 13);
  EXPECT_EQ(width(3), kResultNoSuchPage);
}

TEST_P(GetTag, FailuresHaveTheirCodes) {
  TiffBuilder builder(GetParam());
  builder.AddPage().Long(256, {1}).RawWord(700, 1, 100, 20).RawWord(701, 1, 0xFFFFFFFF, 20);
  const TempFile file(builder.Build());
  EXPECT_EQ(Ask(file, 257).result, kResultTagNotFound);
  EXPECT_EQ(Ask(file, 700).result, kResultReadFailed);
  const TempFile cut(Bytes(GetParam()).Header(8).U16(3).Entry(256, 4, 1, 7).U32(0).bytes);
  EXPECT_EQ(Ask(cut, 700).result, kResultReadFailed);
  EXPECT_EQ(Ask(cut, 256).result, kResultOk);
  EXPECT_EQ(Ask(TempFile(), 256).result, kResultOpenFailed);
  EXPECT_EQ(fltGetTag(nullptr), kResultInvalidParameter);
  for (uint64_t nth = 1; nth < 8; ++nth) {
    IoFaults faults;
    faults.Fail(IoCall::kRead, nth, FaultSpan::kFromThenOn);
    const int32_t result = Ask(file, 256).result;
    EXPECT_EQ(result, nth == 1 ? kResultNotTiff : faults.Calls(IoCall::kRead) < nth ? kResultOk : kResultReadFailed);
  }
}

} // namespace
