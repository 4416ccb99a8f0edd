// Variant files: what their directory lacks and has of its own, tiles of 512 by 512 that may stay uncompressed, and the
// rotation that stands in for the orientation.

#include <algorithm>

#include <gtest/gtest.h>

#include "faxload/LoadHost.h"
#include "faxsave/FaxPageSave.h"
#include "support/KernelGuard.h"

namespace {

using Values = std::vector<uint32_t>;

class VariantSave : public testing::TestWithParam<FileOrder> {
protected:
  FileBytes Save(FaxPageSave& save) {
    EXPECT_EQ(save.Save(), 1);
    return file_.Read();
  }
  const KernelGuard guard_;
  const TempFile file_;
};

INSTANTIATE_TEST_SUITE_P(Orders, VariantSave, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const auto& test) { return test.param == FileOrder::kLittle ? "Little" : "Big"; });

FileBytes RowsOf(const TestPage& page) {
  return page.rows;
}

FileBytes Tile(const TestPage& page, int32_t column, int32_t row) {
  return PlainPiece(Cut(page, column * 512, row * 512, 512, 512), kFormatGroup4);
}

// A page whose tiles (or strips of 512 rows) in `noisy` are noise, which takes more room coded than plain.
TestPage NoisyIn(int32_t width, int32_t height, const std::vector<int32_t>& noisy) {
  TestPage page = MakePage(PageKind::kText, width, height, 9);
  const TestPage noise = MakePage(PageKind::kNoise, width, height, 10);
  const int32_t across = (width + 511) / 512;
  for (int32_t tile : noisy) {
    for (int32_t y = tile / across * 512; y < std::min(height, tile / across * 512 + 512); ++y) {
      for (int32_t x = tile % across * 512; x < std::min(width, tile % across * 512 + 512); ++x) {
        page.Set(x, y, noise.At(x, y));
      }
    }
  }
  return page;
}

TEST_P(VariantSave, UntiledPageIsOneStrip) {
  const TestPage page = MakePage(PageKind::kText, 1000, 130, 3);
  FaxPageSave save(file_, page, kFormatVariant, GetParam());
  const FileBytes bytes = Save(save);
  EXPECT_EQ(bytes[0], GetParam() == FileOrder::kBig ? 'M' : 'I');
  EXPECT_EQ(GetU16(bytes, 2, GetParam()), 12622);
  EXPECT_EQ(ReadFilePage(bytes).Tags(),
            (std::vector<uint16_t>{256, 257, 258, 262, 266, 273, 277, 278, 279, 282, 283, 296, 33465, 33466, 33467}));
  EXPECT_EQ(TagValue(bytes, 262), 0u);
  EXPECT_EQ(TagValue(bytes, 266), 1u);
  EXPECT_EQ(TagValue(bytes, 278), 130u);
  EXPECT_EQ(TagValue(bytes, 33465), 0u);
  EXPECT_EQ(TagValue(bytes, 33466), 4u);
  EXPECT_EQ(TagValue(bytes, 33467), 0u);
  EXPECT_EQ(Pieces(bytes), std::vector<FileBytes>{PlainPiece(page, kFormatGroup4)});
  EXPECT_EQ(save.options.flags & (kSaveNoSubfileType | kSaveKeepPageNumbers),
            uint32_t{kSaveNoSubfileType | kSaveKeepPageNumbers});
  LoadHost host(bytes, 1000, 130);
  EXPECT_EQ(host.Load(), 1);
  EXPECT_TRUE(host.Holds(page));
}

TEST_P(VariantSave, TilesNotNarrowerThanThePageAreNone) {
  const TestPage page = MakePage(PageKind::kText, 1000, 130, 3);
  for (uint32_t width : {1000u, 1001u}) {
    FaxPageSave save(file_, page, kFormatVariant, GetParam());
    save.AskTiles(width, 16);
    const FileBytes bytes = Save(save);
    EXPECT_EQ(TagValue(bytes, 278), 130u);
    EXPECT_EQ(Pieces(bytes), std::vector<FileBytes>{PlainPiece(page, kFormatGroup4)});
  }
}

TEST_P(VariantSave, A512By512PageWithTilesAskedForIsOnePiece) {
  const TestPage page = MakePage(PageKind::kText, 512, 512, 3);
  FaxPageSave save(file_, page, kFormatVariant, GetParam());
  save.AskTiles(256, 256);
  const FileBytes bytes = Save(save);
  EXPECT_EQ(TagValues(bytes, 273).size(), 1u);
  EXPECT_TRUE(TagValues(bytes, 322).empty());
  EXPECT_TRUE(TagValues(bytes, 254).empty());
  EXPECT_EQ(TagValue(bytes, 278), 512u);
  EXPECT_EQ(TagValue(bytes, 33467), 0u);
  EXPECT_EQ(Pieces(bytes), std::vector<FileBytes>{PlainPiece(page, kFormatGroup4)});
  LoadHost host(bytes, 512, 512);
  EXPECT_EQ(host.Load(), 1);
  EXPECT_TRUE(host.Holds(page));
}

TEST_P(VariantSave, A513By300PageHasTwoTilesAndTheirOrderInTheValueWord) {
  const TestPage page = MakePage(PageKind::kText, 513, 300, 3);
  FaxPageSave save(file_, page, kFormatVariant, GetParam());
  save.AskTiles(16, 16); // the trigger only
  const FileBytes bytes = Save(save);
  EXPECT_EQ(ReadFilePage(bytes).Tags(), (std::vector<uint16_t>{254, 256, 257, 258, 262, 266, 273, 277, 279, 282, 283,
                                                               296, 322, 323, 33465, 33466, 33467}));
  EXPECT_EQ(TagValue(bytes, 322), 512u);
  EXPECT_EQ(TagValue(bytes, 323), 512u);
  const FileDirectory directory = ReadFilePage(bytes);
  EXPECT_EQ(directory.Find(33467)->count, 2u);
  EXPECT_EQ(TagValues(bytes, 33467), (Values{0, 1}));
  EXPECT_EQ(TagValue(bytes, 33466), 4u) << "all compressed: left as it was";
  EXPECT_EQ(Pieces(bytes), (std::vector<FileBytes>{Tile(page, 0, 0), Tile(page, 1, 0)}));
  EXPECT_EQ(save.options.flags & kSaveNoSubfileType, 0u);
}

TEST_P(VariantSave, ThreeTilesAndMoreHaveTheirOrderOutOfLine) {
  const TestPage page = MakePage(PageKind::kText, 1100, 600, 3);
  FaxPageSave save(file_, page, kFormatVariant, GetParam());
  save.AskTiles(256, 256);
  const FileBytes bytes = Save(save);
  EXPECT_EQ(TagValues(bytes, 33467), (Values{0, 1, 2, 3, 4, 5}));
  const std::vector<FileBytes> pieces = Pieces(bytes);
  ASSERT_EQ(pieces.size(), 6u);
  for (int32_t i = 0; i < 6; ++i) {
    EXPECT_EQ(pieces[static_cast<size_t>(i)], Tile(page, i % 3, i / 3)) << i;
  }
}

// --- pieces that stay uncompressed ----------------------------------------------------------------------------------

TEST_P(VariantSave, OneStoredTileIsMarkedWithTheShortListsCode) {
  const TestPage page = MakePage(PageKind::kNoise, 512, 512, 3);
  FaxPageSave save(file_, page, kFormatVariant, GetParam());
  save.AskTiles(256, 256);
  const FileBytes bytes = Save(save);
  EXPECT_EQ(Pieces(bytes), std::vector<FileBytes>{RowsOf(page)});
  const FileDirectory directory = ReadFilePage(bytes);
  const FileEntry* codes = directory.Find(33466);
  EXPECT_EQ(codes->count, 1u);
  EXPECT_EQ(GetU16(bytes, codes->offset + 8, GetParam()), 4u);
  EXPECT_EQ(GetU16(bytes, codes->offset + 10, GetParam()), 1u);
}

TEST_P(VariantSave, TwoTilesAreMarkedInTheValueWordWithTheMeaningsExchanged) {
  for (int32_t noisy : {0, 1}) {
    const TestPage page = NoisyIn(1024, 512, {noisy});
    FaxPageSave save(file_, page, kFormatVariant, GetParam());
    save.AskTiles(256, 256);
    const FileBytes bytes = Save(save);
    EXPECT_EQ(TagValues(bytes, 33466), noisy == 0 ? (Values{4, 1}) : (Values{1, 4}));
    const TestPage stored = Cut(page, noisy * 512, 0, 512, 512);
    EXPECT_EQ(Pieces(bytes)[static_cast<size_t>(noisy)], RowsOf(stored));
    EXPECT_EQ(Pieces(bytes)[static_cast<size_t>(1 - noisy)], Tile(page, 1 - noisy, 0));
  }
}

TEST_P(VariantSave, ThreeTilesAreMarkedBehindTheData) {
  const TestPage page = NoisyIn(1536, 512, {1});
  FaxPageSave save(file_, page, kFormatVariant, GetParam());
  save.AskTiles(256, 256);
  const FileBytes bytes = Save(save);
  EXPECT_EQ(TagValues(bytes, 33466), (Values{4, 1, 4}));
  EXPECT_EQ(ReadFilePage(bytes).Find(33466)->word, bytes.size() - 6) << "at the end of the file";
  EXPECT_EQ(Pieces(bytes)[1], RowsOf(Cut(page, 512, 0, 512, 512)));
}

TEST_P(VariantSave, StripsOf512RowsLoadBackStoredOrNot) {
  const TestPage page = NoisyIn(300, 1200, {1});
  FaxPageSave save(file_, page, kFormatVariant, GetParam());
  save.AskTiles(100, 100);
  const FileBytes bytes = Save(save);
  EXPECT_EQ(TagValue(bytes, 278), 512u) << "a page narrower than a tile has strips";
  EXPECT_TRUE(TagValues(bytes, 322).empty());
  EXPECT_EQ(TagValues(bytes, 33466), (Values{4, 1, 4}));
  EXPECT_EQ(TagValue(bytes, 33467), 0u) << "one value, since the page is not tiled";
  EXPECT_EQ(Pieces(bytes), (std::vector<FileBytes>{PlainPiece(Cut(page, 0, 0, 300, 512), kFormatGroup4),
                                                   RowsOf(Cut(page, 0, 512, 300, 512)),
                                                   PlainPiece(Cut(page, 0, 1024, 300, 176), kFormatGroup4)}));
  LoadHost host(bytes, 300, 1200);
  EXPECT_EQ(host.Load(), 1);
  EXPECT_EQ(host.rows.size(), 1200u);
}

// --- colours, fill order, views -------------------------------------------------------------------------------------

TEST_P(VariantSave, WhiteIsAlwaysFirst) {
  const TestPage page = MakePage(PageKind::kText, 100, 30, 3);
  for (bool asks : {false, true}) {
    FaxPageSave save(file_, page, kFormatVariant, GetParam());
    save.BlackFirst();
    save.options.flags |= asks ? kSaveAskFaxColours : 0;
    const FileBytes bytes = Save(save);
    EXPECT_EQ(TagValue(bytes, 262), 0u);
    EXPECT_EQ(Pieces(bytes)[0], PlainPiece(page, kFormatGroup4));
    EXPECT_EQ(save.starts, 1) << "colours are not asked for";
  }
}

TEST_P(VariantSave, FillOrder2TurnsEveryByte) {
  const TestPage page = MakePage(PageKind::kText, 100, 30, 3);
  FaxPageSave plain(file_, page, kFormatVariant, GetParam());
  const FileBytes straight = Pieces(Save(plain))[0];
  FaxPageSave save(file_, page, kFormatVariant, GetParam());
  save.options.flags |= kSaveFillOrder2;
  const FileBytes bytes = Save(save);
  EXPECT_EQ(TagValue(bytes, 266), 2u);
  const FileBytes turned = Pieces(bytes)[0];
  ASSERT_EQ(turned.size(), straight.size());
  for (size_t i = 0; i < turned.size(); ++i) {
    for (int bit = 0; bit < 8; ++bit) {
      ASSERT_EQ(turned[i] >> bit & 1, straight[i] >> (7 - bit) & 1) << i;
    }
  }
  LoadHost host(bytes, 100, 30);
  EXPECT_EQ(host.Load(), 1);
  EXPECT_TRUE(host.Holds(page));
}

TEST_P(VariantSave, ViewsBecomeRotationsAndMirroredOnesAreReadFromTheBottom) {
  struct Case {
    uint32_t view;
    uint32_t rotation;
    bool fromBottom;
  };
  const TestPage page = MakePage(PageKind::kText, 100, 30, 3);
  for (const Case& c : {Case{1, 0, false}, Case{2, 2, true}, Case{3, 2, false}, Case{4, 0, true}, Case{5, 3, true},
                        Case{6, 3, false}, Case{7, 1, true}, Case{8, 1, false}}) {
    SCOPED_TRACE(c.view);
    FaxPageSave save(file_, page, kFormatVariant, GetParam());
    save.bitmap.viewPerspective = c.view;
    const FileBytes bytes = Save(save);
    EXPECT_EQ(TagValue(bytes, 33465), c.rotation);
    EXPECT_EQ(Pieces(bytes)[0], PlainPiece(c.fromBottom ? Upside(page) : page, kFormatGroup4));
    EXPECT_EQ(save.views, (Values{c.fromBottom ? 4 : c.view})) << "as the encoder saw it";
    EXPECT_EQ(+save.bitmap.viewPerspective, c.view);
  }
}

TEST_P(VariantSave, TheViewComesBackWhenTheEncoderFails) {
  const TestPage page = MakePage(PageKind::kText, 100, 30, 3);
  FaxPageSave save(file_, page, kFormatVariant, GetParam());
  save.bitmap.viewPerspective = 5;
  save.refusedRow = 10;
  EXPECT_EQ(save.Save(), -66);
  EXPECT_EQ(+save.bitmap.viewPerspective, 5u);
  EXPECT_FALSE(file_.Exists());
}

TEST_P(VariantSave, TheRotatedViewStaysWhenTheDirectoryFails) {
  const TestPage page = MakePage(PageKind::kText, 100, 30, 3);
  FaxPageSave save(file_, page, kFormatVariant, GetParam());
  save.bitmap.viewPerspective = 5;
  IoFaults faults;
  faults.Fail(IoCall::kWrite, 1, FaultSpan::kFromThenOn);
  EXPECT_EQ(save.Save(), -5);
  EXPECT_EQ(+save.bitmap.viewPerspective, 6u);
  EXPECT_EQ(save.starts, 0);
}

TEST_P(VariantSave, PagesAreAppendedAndTheFileStaysAVariant) {
  const TestPage first = MakePage(PageKind::kText, 100, 30, 3);
  const TestPage second = MakePage(PageKind::kText, 120, 40, 4);
  FaxPageSave save(file_, first, kFormatVariant, GetParam());
  ASSERT_EQ(save.Save(), 1);
  FaxPageSave more(file_, second, kFormatVariant, GetParam());
  more.request.flags = kSaveRequestAppend;
  const FileBytes bytes = Save(more);
  EXPECT_EQ(GetU16(bytes, 2, GetParam()), 12622);
  ASSERT_EQ(CountPages(bytes), 2u);
  EXPECT_TRUE(TagValues(bytes, 297, 1).empty());
  LoadHost host(bytes, 120, 40);
  host.options.pageNumber = 2;
  EXPECT_EQ(host.Load(), 1);
  EXPECT_TRUE(host.Holds(second));
}

} // namespace
