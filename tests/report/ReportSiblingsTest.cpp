// The file report with sibling libraries at hand: stand-ins that the kernel's loader finds in a folder of the build.

#include <gtest/gtest.h>

#include <vxkernel/loader.h>

#include "report/FakeSibling.h"
#include "report/ReportInput.h"
#include "support/KernelGuard.h"

namespace {

class ReportSiblings : public testing::Test {
protected:
  static void SetUpTestSuite() { ASSERT_EQ(krnAddLibraryFolder(FAKE_SIBLING_FOLDER), 1); }
  static void TearDownTestSuite() { krnAddLibraryFolder(nullptr); }
  static std::vector<uint8_t> RowsAsked(const ReportCall& call) {
    const uint8_t* rows = call.info.fileLayer + kFakeRows;
    return std::vector<uint8_t>(rows, rows + call.info.fileLayer[kFakeCalls]);
  }
  KernelGuard guard_;
};

TiffBuilder Embedded(uint16_t compression) {
  TiffBuilder builder(FileOrder::kBig);
  TiffDirectory& page = builder.AddPage();
  page.Short(256, {30}).Short(257, {20}).Short(259, {compression}).Strips({FileBytes(33, 0x77)});
  return builder;
}

} // namespace

TEST_F(ReportSiblings, AVectorPageIsDescribedByItsLibraryAlone) {
  for (const auto& [compression, format] : {std::pair{uint16_t{34710}, 140}, {uint16_t{34714}, 176}}) {
    TiffBuilder builder = Embedded(compression);
    ReportCall call(builder.Build());
    call.info.fileLayer[kFakeResults + 2] = 1;
    EXPECT_EQ(call.Run(), 1);
    EXPECT_EQ(RowsAsked(call), std::vector<uint8_t>{2});
    EXPECT_EQ(int32_t{call.info.fileFormat}, format);
    EXPECT_EQ(int32_t{call.info.width}, 4711) << "the sibling's";
    EXPECT_EQ(call.info.fileLayer[kFakeFirstByte], 0x77) << "it saw the first strip";
    EXPECT_EQ(call.info.fileLayer[kFakeStreamSize], 33);
    EXPECT_EQ(call.info.fileLayer[kFakePageNumber], 1);
    EXPECT_EQ(uint32_t{call.info.flags}, 0u) << "nothing of this report's own is added";
    EXPECT_TRUE(call.TextLeftAlone());
  }
}

TEST_F(ReportSiblings, ItsRefusalIsTheResultAndTheFormatStays) {
  TiffBuilder builder = Embedded(34710);
  ReportCall call(builder.Build());
  call.info.fileLayer[kFakeResults + 2] = static_cast<uint8_t>(-27);
  EXPECT_EQ(call.Run(), -27);
  EXPECT_EQ(int32_t{call.info.fileFormat}, kLeftAlone);
}

TEST_F(ReportSiblings, APageWithoutItsStripTablesAnswersTheRowsCode) {
  TiffBuilder builder = Embedded(33001); // its tables are not read in the information mode
  ReportCall call(builder.Build());
  call.info.fileLayer[kFakeResults + 2] = 1;
  EXPECT_EQ(call.Run(), kResultSiblingVector);
  EXPECT_TRUE(RowsAsked(call).empty());
}

TEST_F(ReportSiblings, AWaveletPageIsConfirmedAndTheReportGoesOn) {
  for (int result : {1, 0, -7}) {
    TiffBuilder builder = Embedded(34711);
    ReportCall call(builder.Build());
    call.info.fileLayer[kFakeResults + 4] = static_cast<uint8_t>(result);
    EXPECT_EQ(call.Run(), 1);
    EXPECT_EQ(int32_t{call.info.fileFormat}, result == 1 ? 167 : kLeftAlone);
    EXPECT_EQ(call.Text(), u"Wavelet");
    EXPECT_EQ(int32_t{call.info.width}, 30) << "the page's own again";
    EXPECT_EQ(uint32_t{call.info.order}, 0xEEEEEEEEu);
  }
}

TEST_F(ReportSiblings, ThePageAskedForComesBackIntoTheOptions) {
  TiffBuilder builder = Embedded(34711);
  ReportCall call(builder.Build());
  call.options.pageNumber = 7;
  EXPECT_EQ(call.Run(), 1);
  EXPECT_EQ(int32_t{call.options.pageNumber}, 7);
  EXPECT_EQ(call.info.fileLayer[kFakePageNumber], 1);
}

TEST_F(ReportSiblings, CameraLibrariesAreAskedInTheirOrder) {
  struct Case {
    bool subIfds;
    bool tiffEp;
    int taker; // row that says 1, 0 for none
    std::vector<uint8_t> asked;
  };
  const Case kCases[] = {
      {true, false, 0, {6}}, {true, false, 6, {6}},    {false, true, 0, {7, 5}},
      {false, true, 7, {7}}, {false, true, 5, {7, 5}}, {false, false, 6, {}},
  };
  for (const Case& test : kCases) {
    TiffBuilder builder;
    TiffDirectory& page = builder.AddPage();
    page.Short(256, {30}).Short(257, {20}).RawWord(273, 4, 1, 8);
    if (test.subIfds) {
      page.Long(330, {8});
    }
    if (test.tiffEp) {
      page.Byte(37398, {1, 0, 0, 0});
    }
    ReportCall call(builder.Build());
    call.info.fileLayer[kFakeResults + test.taker] = 1;
    EXPECT_EQ(call.Run(), 1);
    EXPECT_EQ(RowsAsked(call), test.asked);
    const bool taken = !test.asked.empty() && test.taker == test.asked.back();
    EXPECT_EQ(int32_t{call.info.width}, taken ? kLeftAlone : 30) << "a file that is taken is told by its taker";
  }
}

TEST_F(ReportSiblings, AFileWithBothTagsIsRefusedBeforeAnybodyIsAsked) {
  TiffBuilder builder;
  builder.AddPage().Long(330, {8}).Byte(37398, {1, 0, 0, 0});
  ReportCall call(builder.Build());
  call.info.fileLayer[kFakeResults + 6] = 1;
  EXPECT_EQ(call.Run(), kResultRefused);
  EXPECT_TRUE(RowsAsked(call).empty());
}
