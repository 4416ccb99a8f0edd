// Describing files: single pages, and all pages with one walk.

#include <gtest/gtest.h>

#include "support/KernelGuard.h"
#include "support/TempFile.h"
#include "toolkit/DescribeFile.h"
#include "toolkit/Failure.h"
#include "toolkit/RawDirectories.h"

#include <vxtif/results.h>

namespace {

FileBytes ManyPages(uint32_t count, TiffBuilder& file) {
  for (uint32_t i = 0; i < count; ++i) {
    file.AddPage(GrayPage(i + 1, 2));
  }
  return file.Build();
}

TEST(DescribePage, GivesThePageAskedFor) {
  KernelGuard guard;
  TiffBuilder builder;
  const TempFile file(ManyPages(3, builder));
  toolkit::ReportOptions options;
  options.page = 2;
  options.countPages = true;
  const FileInfoRecord report = toolkit::DescribePage(file.Path().string(), options);
  EXPECT_EQ(int32_t{report.width}, 2);
  EXPECT_EQ(uint32_t{report.pageNumber}, 2u);
  EXPECT_EQ(uint32_t{report.totalPages}, 3u);
}

TEST(DescribePage, TellsWhatIsWrong) {
  const TempFile none;
  try {
    toolkit::DescribePage(none.Path().string(), {});
    FAIL() << "a missing file was described";
  } catch (const toolkit::Failure& failure) {
    EXPECT_EQ(failure.code, kResultOpenFailed);
    EXPECT_EQ(failure.operation, "info");
    EXPECT_EQ(std::string(failure.what()),
              none.Path().string() + ": info: -10 (kResultOpenFailed): the file cannot be opened");
  }
}

TEST(DescribeAllPages, NumbersThem) {
  KernelGuard guard;
  TiffBuilder builder(FileOrder::kBig);
  const TempFile file(ManyPages(5, builder));
  size_t told = 0;
  const auto pages = toolkit::DescribeAllPages(file.Path().string(), {}, [&](size_t found) { told = found; });
  ASSERT_EQ(pages.size(), 5u);
  EXPECT_EQ(told, 5u);
  for (uint32_t i = 0; i < 5; ++i) {
    EXPECT_EQ(pages[i].result, kResultOk);
    EXPECT_EQ(uint32_t{pages[i].report.pageNumber}, i + 1);
    EXPECT_EQ(uint32_t{pages[i].report.totalPages}, 5u);
    EXPECT_EQ(int32_t{pages[i].report.width}, static_cast<int32_t>(i + 1));
    EXPECT_EQ(uint32_t{pages[i].report.directoryOffset}, builder.DirectoryOffset(i));
  }
}

// Twice the pages cost twice the reads: no page is reached through all the pages before it.
TEST(DescribeAllPages, WalksTheChainOnce) {
  const auto reads = [](uint32_t count) {
    TiffBuilder builder;
    const TempFile file(ManyPages(count, builder));
    const CallCounter calls;
    EXPECT_EQ(toolkit::DescribeAllPages(file.Path().string(), {}, nullptr).size(), count);
    return calls.Since().reads;
  };
  const uint64_t some = reads(200);
  EXPECT_LT(reads(400), 2 * some + 50);
}

TEST(DescribeAllPages, EndsALoopingChain) {
  TiffBuilder builder;
  ManyPages(3, builder);
  FileBytes bytes = builder.Build();
  PutU32(bytes, builder.NextWordOffset(2), FileOrder::kLittle, builder.DirectoryOffset(1));
  const TempFile file(bytes);
  EXPECT_EQ(toolkit::DescribeAllPages(file.Path().string(), {}, nullptr).size(), 3u);
}

// A page of another filter's compression is refused, and the pages behind it are found all the same.
TEST(DescribeAllPages, GoesOnBehindRefusedPages) {
  for (const std::vector<size_t>& refused : {std::vector<size_t>{0}, {1}, {2}, {0, 1}, {1, 2}, {0, 1, 2}}) {
    TiffBuilder builder;
    for (size_t i = 0; i < 3; ++i) {
      TiffDirectory page = GrayPage(4, 2);
      if (std::find(refused.begin(), refused.end(), i) != refused.end()) {
        page.Remove(259).Short(259, {7}).Sort();
      }
      builder.AddPage(page);
    }
    const TempFile file(builder.Build());
    const auto pages = toolkit::DescribeAllPages(file.Path().string(), {}, nullptr);
    ASSERT_EQ(pages.size(), 3u) << refused.size();
    for (size_t i = 0; i < 3; ++i) {
      const bool isRefused = std::find(refused.begin(), refused.end(), i) != refused.end();
      EXPECT_EQ(pages[i].result, isRefused ? kResultRefused : kResultOk) << i;
      EXPECT_EQ(uint32_t{pages[i].report.directoryOffset}, builder.DirectoryOffset(i)) << i;
    }
  }
}

TEST(FindDirectory, FindsPages) {
  TiffBuilder builder;
  const TempFile file(ManyPages(3, builder));
  EXPECT_EQ(toolkit::FindDirectory(file.Path().string(), 1, "test"), builder.DirectoryOffset(0));
  EXPECT_EQ(toolkit::FindDirectory(file.Path().string(), 3, "test"), builder.DirectoryOffset(2));
  EXPECT_THROW(toolkit::FindDirectory(file.Path().string(), 4, "test"), toolkit::Failure);
}

} // namespace
