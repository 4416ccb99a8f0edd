// Pages saved in the four CCITT formats: their tags, the codes of strips and tiles, colours, fill order, the cut of
// wide pages, and pages behind one another.

#include <gtest/gtest.h>

#include "Tif/FaxRows.h"
#include "faxload/LoadHost.h"
#include "faxsave/FaxPageSave.h"
#include "support/KernelGuard.h"

namespace {

using Values = std::vector<uint32_t>;

constexpr int32_t kFaxFormats[] = {kFormatCcitt, kFormatGroup3, kFormatGroup3TwoDimensional, kFormatGroup4};
const TestPage kPage = MakePage(PageKind::kText, 100, 40, 5);

uint32_t CompressionOf(int32_t format) {
  return format == kFormatCcitt ? 2 : format == kFormatGroup4 ? 4 : 3;
}

FileBytes Reversed(FileBytes bytes) {
  for (uint8_t& byte : bytes) {
    uint8_t turned = 0;
    for (int bit = 0; bit < 8; ++bit) {
      turned = static_cast<uint8_t>(turned | (byte >> bit & 1) << (7 - bit));
    }
    byte = turned;
  }
  return bytes;
}

bool LoadsBack(const FileBytes& file, const TestPage& page, int32_t number = 1) {
  LoadHost host(file, page.width, page.height);
  host.options.pageNumber = number;
  return host.Load() == 1 && host.Holds(page);
}

class FaxSave : public testing::TestWithParam<FileOrder> {
protected:
  const KernelGuard guard_;
  const TempFile file_;
};

INSTANTIATE_TEST_SUITE_P(Orders, FaxSave, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const auto& test) { return test.param == FileOrder::kLittle ? "Little" : "Big"; });

TEST_P(FaxSave, OnePieceHoldsTheCodeOfThePage) {
  for (int32_t format : kFaxFormats) {
    SCOPED_TRACE(format);
    FaxPageSave save(file_, kPage, format, GetParam());
    ASSERT_EQ(save.Save(), 1);
    const FileBytes bytes = file_.Read();
    EXPECT_EQ(bytes[0], GetParam() == FileOrder::kBig ? 'M' : 'I');
    EXPECT_EQ(Pieces(bytes), std::vector<FileBytes>{PlainPiece(kPage, format)});
    EXPECT_TRUE(LoadsBack(bytes, kPage));
    EXPECT_EQ(save.starts, 1);
    EXPECT_EQ(save.rows, kPage.height);
  }
}

TEST_P(FaxSave, TagsOfEachFormat) {
  for (int32_t format : kFaxFormats) {
    SCOPED_TRACE(format);
    FaxPageSave save(file_, kPage, format, GetParam());
    ASSERT_EQ(save.Save(), 1);
    const FileBytes bytes = file_.Read();
    EXPECT_EQ(GetU16(bytes, 2, GetParam()), 42);
    const bool group = format != kFormatCcitt;
    EXPECT_EQ(ReadFilePage(bytes).Tags(), group
                                              ? (std::vector<uint16_t>{254, 256, 257, 258, 259, 262, 266, 273, 274, 277,
                                                                       278, 279, 282, 283, 284, 292, 293, 296, 297})
                                              : (std::vector<uint16_t>{254, 256, 257, 258, 259, 262, 273, 274, 277, 278,
                                                                       279, 282, 283, 284, 296, 297}));
    EXPECT_EQ(TagValue(bytes, 256), 100u);
    EXPECT_EQ(TagValue(bytes, 257), 40u);
    EXPECT_EQ(TagValue(bytes, 258), 1u);
    EXPECT_EQ(TagValue(bytes, 259), CompressionOf(format));
    EXPECT_EQ(TagValue(bytes, 262), 0u);
    EXPECT_EQ(TagValue(bytes, 277), 1u);
    EXPECT_EQ(ReadFilePage(bytes).Find(282)->value, InFileOrder(GetParam(), 5, {100, 0, 0, 0, 1, 0, 0, 0}));
    EXPECT_EQ(ReadFilePage(bytes).Find(283)->value, InFileOrder(GetParam(), 5, {200, 0, 0, 0, 1, 0, 0, 0}));
    if (group) {
      EXPECT_EQ(TagValue(bytes, 266), 1u);
      EXPECT_EQ(TagValue(bytes, 278), 40u);
      EXPECT_EQ(TagValue(bytes, 292), format == kFormatGroup3 ? 4u : format == kFormatGroup4 ? 0u : 5u);
      EXPECT_EQ(TagValue(bytes, 293), 0u);
    } else {
      EXPECT_EQ(TagValue(bytes, 278), 40u) << "630 rows of 13 bytes would fit";
    }
  }
}

TEST_P(FaxSave, RunLengthPagesComeInStripsOf8192BytesOfRows) {
  const TestPage page = MakePage(PageKind::kText, 1000, 150, 3);
  FaxPageSave save(file_, page, kFormatCcitt, GetParam());
  ASSERT_EQ(save.Save(), 1);
  const FileBytes bytes = file_.Read();
  EXPECT_EQ(TagValue(bytes, 278), 65u) << "8192 / 125";
  EXPECT_EQ(Pieces(bytes), (std::vector<FileBytes>{PlainPiece(Cut(page, 0, 0, 1000, 65), kFormatCcitt),
                                                   PlainPiece(Cut(page, 0, 65, 1000, 65), kFormatCcitt),
                                                   PlainPiece(Cut(page, 0, 130, 1000, 20), kFormatCcitt)}));
  EXPECT_TRUE(LoadsBack(bytes, page));
  EXPECT_EQ(save.starts, 1);
  EXPECT_EQ(save.rows, 150);
}

TEST_P(FaxSave, GroupPagesAreOneStripHoweverLarge) {
  const TestPage page = MakePage(PageKind::kText, 1000, 150, 3);
  for (int32_t format : {kFormatGroup3, kFormatGroup3TwoDimensional, kFormatGroup4}) {
    FaxPageSave save(file_, page, format, GetParam());
    ASSERT_EQ(save.Save(), 1);
    EXPECT_EQ(TagValue(file_.Read(), 278), 150u);
    EXPECT_EQ(Pieces(file_.Read()), std::vector<FileBytes>{PlainPiece(page, format)});
  }
}

TEST_P(FaxSave, TilesOfEachFormatAreWholeAndWhiteBehindThePage) {
  const TestPage page = MakePage(PageKind::kText, 100, 70, 11);
  for (int32_t format : kFaxFormats) {
    SCOPED_TRACE(format);
    FaxPageSave save(file_, page, format, GetParam());
    save.AskTiles(40, 63); // rounded down to multiples of 16
    ASSERT_EQ(save.Save(), 1);
    const FileBytes bytes = file_.Read();
    EXPECT_EQ(TagValue(bytes, 259), CompressionOf(format));
    EXPECT_EQ(TagValue(bytes, 322), 32u);
    EXPECT_EQ(TagValue(bytes, 323), 48u);
    EXPECT_EQ(TagValues(bytes, 324).size(), 8u);
    EXPECT_TRUE(TagValues(bytes, 273).empty());
    EXPECT_TRUE(TagValues(bytes, 278).empty());
    EXPECT_TRUE(TagValues(bytes, 279).empty());
    std::vector<FileBytes> expected;
    for (int32_t i = 0; i < 8; ++i) {
      expected.push_back(PlainPiece(Cut(page, i % 4 * 32, i / 4 * 48, 32, 48), format));
    }
    EXPECT_EQ(Pieces(bytes), expected);
    EXPECT_TRUE(LoadsBack(bytes, page));
  }
}

TEST_P(FaxSave, TilesAsWideAsThePageAreStrips) {
  const TestPage page = MakePage(PageKind::kText, 100, 70, 11);
  FaxPageSave save(file_, page, kFormatGroup4, GetParam());
  save.AskTiles(100, 30);
  ASSERT_EQ(save.Save(), 1);
  const FileBytes bytes = file_.Read();
  EXPECT_EQ(TagValue(bytes, 278), 30u);
  EXPECT_TRUE(TagValues(bytes, 322).empty());
  EXPECT_EQ(Pieces(bytes), (std::vector<FileBytes>{PlainPiece(Cut(page, 0, 0, 100, 30), kFormatGroup4),
                                                   PlainPiece(Cut(page, 0, 30, 100, 30), kFormatGroup4),
                                                   PlainPiece(Cut(page, 0, 60, 100, 10), kFormatGroup4)}));
  EXPECT_TRUE(LoadsBack(bytes, page));
}

TEST_P(FaxSave, Width200000IsNotCut) {
  const TestPage page = MakePage(PageKind::kRuns, 200000, 3, 1);
  for (int32_t format : {kFormatCcitt, kFormatGroup4}) {
    FaxPageSave save(file_, page, format, GetParam());
    ASSERT_EQ(save.Save(), 1);
    const FileBytes bytes = file_.Read();
    EXPECT_TRUE(TagValues(bytes, 322).empty());
    EXPECT_EQ(TagValues(bytes, 273).size(), format == kFormatCcitt ? 3u : 1u);
    EXPECT_EQ(save.options.flags & kSaveTiles, 0u);
    EXPECT_TRUE(LoadsBack(bytes, page));
  }
}

TEST_P(FaxSave, Width200001GetsTiles8192WideAndAsHighAsThePage) {
  const TestPage page = MakePage(PageKind::kRuns, 200001, 3, 1);
  for (int32_t format : kFaxFormats) {
    FaxPageSave save(file_, page, format, GetParam());
    ASSERT_EQ(save.Save(), 1);
    const FileBytes bytes = file_.Read();
    EXPECT_EQ(TagValue(bytes, 322), 8192u);
    EXPECT_EQ(TagValue(bytes, 323), 3u);
    EXPECT_EQ(TagValues(bytes, 324).size(), 25u);
    EXPECT_EQ(save.options.flags & kSaveTiles, uint32_t{kSaveTiles}) << "the change remains";
    EXPECT_EQ(+save.options.tileWidth, 8192u);
    EXPECT_EQ(+save.options.tileHeight, 3u);
    EXPECT_TRUE(LoadsBack(bytes, page));
  }
}

TEST_P(FaxSave, TilesAskedForOfAWidePageAreCutOnlyWhenTooWide) {
  const TestPage page = MakePage(PageKind::kRuns, 250000, 3, 1);
  for (const auto& [asked, used] : {std::pair{200001u, 8192u}, std::pair{200000u, 200000u}, std::pair{1600u, 1600u}}) {
    FaxPageSave save(file_, page, kFormatGroup4, GetParam());
    save.AskTiles(asked, 3);
    ASSERT_EQ(save.Save(), 1);
    EXPECT_EQ(TagValue(file_.Read(), 322), used);
    EXPECT_EQ(+save.options.tileWidth, used);
    EXPECT_TRUE(LoadsBack(file_.Read(), page));
  }
}

// --- colours --------------------------------------------------------------------------------------------------------

TEST_P(FaxSave, BlackFirstPagesAreInvertedUnlessTheirColoursAreAskedFor) {
  for (int32_t format : kFaxFormats) {
    for (bool asks : {false, true}) {
      for (bool blackFirst : {false, true}) {
        FaxPageSave save(file_, kPage, format, GetParam());
        save.options.flags |= asks ? kSaveAskFaxColours : 0;
        if (blackFirst) {
          save.BlackFirst();
        }
        ASSERT_EQ(save.Save(), 1);
        const bool negative = asks && blackFirst;
        EXPECT_EQ(TagValue(file_.Read(), 262), negative ? 1u : 0u);
        EXPECT_EQ(Pieces(file_.Read())[0], PlainPiece(negative ? Negative(kPage) : kPage, format));
        EXPECT_EQ(save.starts, asks ? 2 : 1);
      }
    }
  }
}

TEST_P(FaxSave, AnyFirstColourWithBlueCountsAsWhite) {
  for (uint8_t blue : {uint8_t{1}, uint8_t{7}, uint8_t{255}}) {
    FaxPageSave save(file_, kPage, kFormatGroup4, GetParam());
    save.options.flags |= kSaveAskFaxColours;
    save.Palette()[0] = blue;
    save.Palette()[1] = save.Palette()[2] = 0;
    ASSERT_EQ(save.Save(), 1);
    EXPECT_EQ(TagValue(file_.Read(), 262), 0u);
    EXPECT_TRUE(TagValues(file_.Read(), 320).empty());
  }
  FaxPageSave save(file_, kPage, kFormatGroup4, GetParam());
  save.options.flags |= kSaveAskFaxColours;
  save.Palette()[0] = 0;
  ASSERT_EQ(save.Save(), 1);
  EXPECT_EQ(TagValue(file_.Read(), 262), 1u) << "no blue, though red and green";
}

TEST_P(FaxSave, AskingForColoursLeavesTheFlagsAsTheyWere) {
  FaxPageSave save(file_, kPage, kFormatGroup4, GetParam());
  save.request.flags = 0x10;
  save.flagsToLeave = 0xF000;
  save.options.flags |= kSaveAskFaxColours;
  ASSERT_EQ(save.Save(), 1);
  EXPECT_EQ(save.flagsAtStart, 0x10u) << "the encoder's start sees the caller's flags";
  EXPECT_EQ(+save.request.flags, 0x10u);
}

TEST_P(FaxSave, ForcedPhotometricIsWritten) {
  FaxPageSave save(file_, kPage, kFormatGroup4, GetParam());
  save.options.flags |= kSaveForcePhotometric;
  save.options.photometric = 1;
  ASSERT_EQ(save.Save(), 1);
  EXPECT_EQ(TagValue(file_.Read(), 262), 1u);
}

// --- fill order and view --------------------------------------------------------------------------------------------

TEST_P(FaxSave, FillOrder2TurnsEveryByte) {
  for (int32_t format : kFaxFormats) {
    for (bool tiles : {false, true}) {
      FaxPageSave save(file_, kPage, format, GetParam());
      save.options.flags |= kSaveFillOrder2;
      if (tiles) {
        save.AskTiles(48, 40);
      }
      ASSERT_EQ(save.Save(), 1);
      const FileBytes bytes = file_.Read();
      const TestPage first = tiles ? Cut(kPage, 0, 0, 48, 40) : kPage;
      EXPECT_EQ(Pieces(bytes)[0], Reversed(PlainPiece(first, format)));
      if (format == kFormatCcitt) {
        EXPECT_TRUE(TagValues(bytes, 266).empty()) << "the run length compression has no fill order tag";
      } else {
        EXPECT_EQ(TagValue(bytes, 266), 2u);
        EXPECT_TRUE(LoadsBack(bytes, kPage));
      }
    }
  }
}

TEST_P(FaxSave, TheReservedEncoderOptionHasNoEffect) {
  FaxPageSave plain(file_, kPage, kFormatGroup4, GetParam());
  ASSERT_EQ(plain.Save(), 1);
  const FileBytes expected = file_.Read();
  FaxPageSave save(file_, kPage, kFormatGroup4, GetParam());
  save.options.flags2 = kSaveFaxReserved;
  ASSERT_EQ(save.Save(), 1);
  EXPECT_EQ(file_.Read(), expected);
}

TEST(FaxFillOptions, AreOneForFillOrder2AndFourForTheReservedOptionOfAWholeRecord) {
  const struct {
    uint32_t size;
    uint32_t flags;
    uint32_t flags2;
    uint32_t fill;
  } cases[] = {{1603, 0, 0, 0},     {1603, 0x1, 0, 1},     {1603, 0, 0x800, 4},      {1603, 0x1, 0x800, 5},
               {1602, 0, 0x800, 0}, {1602, 0x1, 0x800, 1}, {1603, ~0x1u, ~0x800u, 0}};
  for (const auto& test : cases) {
    SaveOptions options = {};
    options.structSize = test.size;
    options.flags = test.flags;
    options.flags2 = test.flags2;
    FilterSaveRequest request = {};
    request.fileOptions = &options;
    EXPECT_EQ(TIFFaxFillOptions(&request), test.fill) << test.size << ", " << test.flags << ", " << test.flags2;
  }
}

TEST_P(FaxSave, ViewsAreTheOrientationButForTheOneFromTheBottom) {
  for (uint32_t view = 1; view <= 8; ++view) {
    FaxPageSave save(file_, kPage, kFormatGroup4, GetParam());
    save.bitmap.viewPerspective = view;
    ASSERT_EQ(save.Save(), 1);
    EXPECT_EQ(TagValue(file_.Read(), 274), view == 4 ? 1u : view);
    EXPECT_EQ(Pieces(file_.Read())[0], PlainPiece(view == 4 ? Upside(kPage) : kPage, kFormatGroup4));
    EXPECT_EQ(+save.bitmap.viewPerspective, view);
  }
}

// --- several pages --------------------------------------------------------------------------------------------------

TEST_P(FaxSave, AppendedPagesFollowOneAnother) {
  std::vector<TestPage> pages;
  for (int32_t i = 0; i < 4; ++i) {
    pages.push_back(MakePage(PageKind::kText, 80 + 9 * i, 30 + i, static_cast<uint64_t>(i)));
    FaxPageSave save(file_, pages.back(), kFaxFormats[i], GetParam());
    save.request.flags = i > 0 ? kSaveRequestAppend : 0;
    ASSERT_EQ(save.Save(), 1);
  }
  const FileBytes bytes = file_.Read();
  ASSERT_EQ(CountPages(bytes), 4u);
  for (uint32_t i = 0; i < 4; ++i) {
    EXPECT_EQ(TagValue(bytes, 256, i), 80 + 9 * i);
    EXPECT_EQ(TagValues(bytes, 297, i), (Values{i, 0}));
    EXPECT_EQ(TagValue(bytes, 254, i), 2u);
    EXPECT_EQ(ReadFilePage(bytes, i).offset % 2, 0u);
    EXPECT_EQ(Pieces(bytes, i)[0], PlainPiece(pages[i], kFaxFormats[i]));
    EXPECT_TRUE(LoadsBack(bytes, pages[i], static_cast<int32_t>(i) + 1));
  }
}

TEST_P(FaxSave, PagesAreInsertedAndReplaced) {
  const TestPage pages[] = {MakePage(PageKind::kText, 50, 20, 1), MakePage(PageKind::kText, 60, 20, 2),
                            MakePage(PageKind::kText, 70, 20, 3), MakePage(PageKind::kText, 80, 20, 4)};
  const auto save = [&](int page, uint32_t flags, int32_t number) {
    FaxPageSave host(file_, pages[page], kFormatGroup4, GetParam());
    host.request.flags = flags == 0 && number > 1 ? kSaveRequestAppend : 0;
    host.options.flags |= flags;
    host.options.pageNumber = number;
    EXPECT_EQ(host.Save(), 1);
  };
  save(0, 0, 1);
  save(1, 0, 2);
  save(2, kSaveInsertPage, 2);
  save(3, kSaveReplacePage, 1);
  const FileBytes bytes = file_.Read();
  ASSERT_EQ(CountPages(bytes), 3u);
  EXPECT_TRUE(LoadsBack(bytes, pages[3], 1));
  EXPECT_TRUE(LoadsBack(bytes, pages[2], 2));
  EXPECT_TRUE(LoadsBack(bytes, pages[1], 3));
}

} // namespace
