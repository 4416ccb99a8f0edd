// Small pages of every format and depth, in both byte orders, in a strip and in tiles, byte for byte: header,
// directory, values and data, against files put together by hand from a table of what each form is.

#include <gtest/gtest.h>

#include "save/PixelModel.h"
#include "save/SaveFixture.h"
#include "support/KernelGuard.h"

namespace {

constexpr uint32_t kWidth = 20; // so that tiles of 16 are padded on both sides
constexpr uint32_t kHeight = 18;

// A kind of bitmap and what its page says of itself.
struct Kind {
  const char* name;
  uint32_t bits;
  uint32_t order;
  uint32_t photometric;
  std::vector<uint32_t> bitsPerSample;
  bool extraSample = false;
};

const Kind kKinds[] = {
    {"black and white", 1, kOrderRedFirst, 1, {1}},
    {"two colours", 1, kOrderRedFirst, 3, {1}},
    {"4 colours", 2, kOrderRedFirst, 3, {2}},
    {"8 colours", 3, kOrderRedFirst, 3, {3}},
    {"16 colours", 4, kOrderRedFirst, 3, {4}},
    {"32 colours", 5, kOrderRedFirst, 3, {5}},
    {"64 colours", 6, kOrderRedFirst, 3, {6}},
    {"128 colours", 7, kOrderRedFirst, 3, {7}},
    {"256 colours", 8, kOrderRedFirst, 3, {8}},
    {"grey of 2 bits", 2, kOrderGray, 1, {2}},
    {"grey of 3 bits", 3, kOrderGray, 1, {3}},
    {"grey of 4 bits", 4, kOrderGray, 1, {4}},
    {"grey of 5 bits", 5, kOrderGray, 1, {5}},
    {"grey of 6 bits", 6, kOrderGray, 1, {6}},
    {"grey of 7 bits", 7, kOrderGray, 1, {7}},
    {"grey of 8 bits", 8, kOrderGray, 1, {8}},
    {"grey of 12 bits", 12, kOrderGray, 1, {12}},
    {"grey of 16 bits", 16, kOrderGray, 1, {16}},
    {"grey of 32 bits", 32, kOrderGray, 1, {32}},
    {"colour words", 16, kOrderBlueFirst, 2, {16}},
    {"colours of 24 bits", 24, kOrderBlueFirst, 2, {8, 8, 8}},
    {"colours of 32 bits", 32, kOrderBlueFirst, 2, {8, 8, 8, 8}, true},
    {"colours of 48 bits", 48, kOrderBlueFirst, 2, {16, 16, 16}},
    {"colours of 64 bits", 64, kOrderBlueFirst, 2, {16, 16, 16, 16}, true},
};

// Pages of a format other than the kind's own form.
const Kind kCmykKinds[] = {
    {"CMYK from 24 bits", 24, kOrderBlueFirst, 5, {8, 8, 8, 8}},
    {"CMYK from 32 bits", 32, kOrderBlueFirst, 5, {8, 8, 8, 8, 8}, true},
    {"CMYK from 48 bits", 48, kOrderBlueFirst, 5, {16, 16, 16, 16}},
    {"CMYK from 64 bits", 64, kOrderBlueFirst, 5, {16, 16, 16, 16, 16}, true},
};
const Kind kYccKind = {"YCbCr", 24, kOrderBlueFirst, 6, {8, 8, 8}};

FileBytes AnyRow(uint32_t y, uint32_t bits) {
  FileBytes row((kWidth * bits + 7) / 8);
  uint32_t state = y * 7919 + bits;
  for (uint8_t& byte : row) {
    state = state * 1664525 + 1013904223;
    byte = y % 3 == 1 ? static_cast<uint8_t>(y) : static_cast<uint8_t>(state >> 24); // some rows are runs
  }
  return row;
}

std::vector<VxColor> PaletteOf(const Kind& kind) {
  if (kind.photometric != 3) {
    return {{0, 0, 0, 0}, {255, 255, 255, 0}};
  }
  std::vector<VxColor> palette;
  for (uint32_t i = 0; i < 1u << kind.bits; ++i) {
    palette.push_back({static_cast<uint8_t>(i), static_cast<uint8_t>(2 * i + 1), static_cast<uint8_t>(255 - i), 0});
  }
  return palette;
}

WrittenTag ColorMap(const Kind& kind) {
  std::vector<uint32_t> map;
  for (uint32_t i = 0; i < 1u << kind.bits; ++i) {
    map.push_back((255 - i) << 8);
  }
  for (uint32_t i = 0; i < 1u << kind.bits; ++i) {
    map.push_back(((2 * i + 1) & 255) << 8);
  }
  for (uint32_t i = 0; i < 1u << kind.bits; ++i) {
    map.push_back(i << 8);
  }
  return Shorts(320, map);
}

struct Form {
  int32_t format;
  PageCoding coding;
  PageColour colour = PageColour::kPlain;
  bool predictor = false;
  bool geo = false;
};

class EveryForm : public testing::TestWithParam<FileOrder> {
protected:
  static std::vector<FileBytes> Rows(const Kind& kind) {
    std::vector<FileBytes> rows;
    for (uint32_t y = 0; y < kHeight; ++y) {
      rows.push_back(AnyRow(y, kind.bits));
    }
    return rows;
  }

  PixelModel Pixels(const Form& form, const Kind& kind, uint32_t tile) const {
    const uint32_t sampleBits = form.colour == PageColour::kFloat ? 32 : kind.bitsPerSample[0];
    PixelModel pixels = {kWidth, kHeight, kind.bits, sampleBits};
    pixels.colour = form.colour;
    pixels.coding = form.coding;
    pixels.predictor = form.predictor;
    pixels.colourWords = kind.bits == 16 && kind.photometric == 2;
    pixels.swapped = GetParam() == FileOrder::kBig && form.coding == PageCoding::kNone &&
                     (sampleBits == 32 || (sampleBits == 16 && kind.photometric != 2));
    pixels.tile = tile;
    return pixels;
  }

  // Everything of the page but its strips.
  static PageForm Tags(const Form& form, const Kind& kind, uint32_t tile) {
    PageForm page = {kWidth, kHeight, kind.bitsPerSample, 1, kind.photometric, tile != 0 ? tile : kHeight};
    page.compression = form.coding == PageCoding::kLzw ? 5 : form.coding == PageCoding::kPackBits ? 32773 : 1;
    page.tileWidth = tile;
    if (form.colour == PageColour::kFloat) {
      page.bitsPerSample = {32};
    }
    if (kind.extraSample) {
      page.extra.push_back(Shorts(338, {0}));
    }
    if (form.colour == PageColour::kYcc) {
      page.extra.push_back(Shorts(530, {2, 1}));
      page.extra.push_back(Shorts(531, {2}));
      page.extra.push_back(Rationals(532, {0, 1, 255, 1, 128, 1, 255, 1, 128, 1, 255, 1}));
    }
    if (form.predictor) {
      page.extra.push_back(Shorts(317, {2}));
    }
    if (form.colour == PageColour::kFloat) {
      page.extra.push_back(Shorts(339, {3}));
    }
    if (form.geo) {
      page.extra.push_back(Shorts(34735, {1, 1, 2, 0}));
    }
    if (kind.photometric == 3) {
      page.extra.push_back(ColorMap(kind));
    }
    return page;
  }

  static RowService Service(const Kind& kind) {
    RowService service(kWidth, kHeight, static_cast<int32_t>(kind.bits), Rows(kind));
    service.bitmap.order = service.descriptor.order = kind.order;
    service.palette = PaletteOf(kind);
    return service;
  }

  void Check(const Form& form, const Kind& kind) {
    for (const uint32_t tile : {0u, 16u}) {
      SCOPED_TRACE(std::string(kind.name) + ", format " + std::to_string(form.format) +
                   (form.predictor ? " with the predictor" : "") + (tile != 0 ? ", tiles" : ", strip"));
      KernelGuard guard;
      TempFile file;
      RowService service = Service(kind);
      SaveJob job(form.format, static_cast<int32_t>(kind.bits), &service, file.Name());
      job.options.flags = kSaveDropGrayPalette | (GetParam() == FileOrder::kBig ? uint32_t{kSaveBigEndian} : 0u) |
                          (tile != 0 ? uint32_t{kSaveTiles} : 0u) | (form.predictor ? kSavePredictor : 0u);
      job.options.tileWidth = job.options.tileHeight = tile;
      ASSERT_EQ(job.Run(), kResultOk);
      const WrittenPage page = Page(Tags(form, kind, tile), Pixels(form, kind, tile).Pieces(Rows(kind)));
      ASSERT_EQ(NewFile(GetParam(), page), file.Read());
    }
  }
};

INSTANTIATE_TEST_SUITE_P(Orders, EveryForm, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const testing::TestParamInfo<FileOrder>& order) {
                           return order.param == FileOrder::kLittle ? "Little" : "Big";
                         });

TEST_P(EveryForm, Uncompressed) {
  for (const Kind& kind : kKinds) {
    Check({3, PageCoding::kNone}, kind);
  }
}

TEST_P(EveryForm, Lzw) {
  for (const Kind& kind : kKinds) {
    Check({17, PageCoding::kLzw}, kind);
  }
}

TEST_P(EveryForm, LzwWithThePredictor) {
  for (const Kind& kind : kKinds) {
    if (kind.bits >= 8 && kind.bits != 12) {
      Check({17, PageCoding::kLzw, PageColour::kPlain, true}, kind);
    }
  }
}

TEST_P(EveryForm, PackBits) {
  for (const Kind& kind : kKinds) {
    Check({87, PageCoding::kPackBits}, kind);
  }
}

TEST_P(EveryForm, Cmyk) {
  for (const Kind& kind : kCmykKinds) {
    Check({85, PageCoding::kNone, PageColour::kCmyk}, kind);
    Check({86, PageCoding::kLzw, PageColour::kCmyk}, kind);
    Check({88, PageCoding::kPackBits, PageColour::kCmyk}, kind);
    if (kind.bits != 64) { // five samples of 16 bits are told as differenced, and are not
      Check({86, PageCoding::kLzw, PageColour::kCmyk, true}, kind);
    }
  }
}

TEST_P(EveryForm, YCbCr) {
  Check({93, PageCoding::kNone, PageColour::kYcc}, kYccKind);
  Check({94, PageCoding::kLzw, PageColour::kYcc}, kYccKind);
  Check({95, PageCoding::kPackBits, PageColour::kYcc}, kYccKind);
}

TEST_P(EveryForm, GeoTiff) {
  for (const Kind& kind : kKinds) {
    const bool isFloat = kind.bits == 16 || (kind.bits == 32 && kind.order == kOrderGray);
    Check({174, PageCoding::kNone, isFloat ? PageColour::kFloat : PageColour::kPlain, false, true}, kind);
  }
}

TEST_P(EveryForm, SmallDepthsTakeNoPredictor) {
  for (const Kind& kind : kKinds) {
    if (kind.bits < 8) {
      KernelGuard guard;
      TempFile file;
      RowService service = Service(kind);
      SaveJob job(17, static_cast<int32_t>(kind.bits), &service, file.Name());
      job.options.flags =
          kSaveDropGrayPalette | kSavePredictor | (GetParam() == FileOrder::kBig ? uint32_t{kSaveBigEndian} : 0u);
      ASSERT_EQ(job.Run(), kResultOk);
      const Form plain = {17, PageCoding::kLzw};
      EXPECT_EQ(NewFile(GetParam(), Page(Tags(plain, kind, 0), Pixels(plain, kind, 0).Pieces(Rows(kind)))), file.Read())
          << kind.name;
    }
  }
}

TEST_P(EveryForm, AppendedOneBehindTheOther) {
  KernelGuard guard;
  TempFile file;
  FileBytes expected;
  size_t link = 4;
  uint32_t index = 0;
  const Form forms[] = {{3, PageCoding::kNone}, {17, PageCoding::kLzw}, {87, PageCoding::kPackBits}};
  for (const Kind& kind : kKinds) {
    const Form& form = forms[index % 3];
    const uint32_t tile = index % 2 == 0 ? 0 : 16;
    RowService service = Service(kind);
    SaveJob job(form.format, static_cast<int32_t>(kind.bits), &service, file.Name());
    job.request.flags = index == 0 ? 0 : kSaveRequestAppend;
    job.options.flags = kSaveDropGrayPalette | (GetParam() == FileOrder::kBig ? uint32_t{kSaveBigEndian} : 0u) |
                        (tile != 0 ? uint32_t{kSaveTiles} : 0u);
    job.options.tileWidth = job.options.tileHeight = tile;
    ASSERT_EQ(job.Run(), kResultOk);
    PageForm tags = Tags(form, kind, tile);
    tags.subfileType = 2;
    tags.pageIndex = index;
    const WrittenPage page = Page(tags, Pixels(form, kind, tile).Pieces(Rows(kind)));
    if (index == 0) {
      expected = NewFile(GetParam(), page);
    } else {
      AppendPage(expected, GetParam(), page, link);
    }
    link = GetU32(expected, link, GetParam()) + 2 + (page.tags.size() + 2) * 12;
    ++index;
  }
  EXPECT_EQ(expected, file.Read());
}

// The Exif directory of a page without comments.
FileBytes ExifDirectory(FileOrder order) {
  FileBytes bytes;
  AppendU16(bytes, order, 3);
  const auto entry = [&](uint16_t tag, uint16_t type, uint32_t count, const FileBytes& word) {
    AppendU16(bytes, order, tag);
    AppendU16(bytes, order, type);
    AppendU32(bytes, order, count);
    bytes.insert(bytes.end(), word.begin(), word.end());
  };
  entry(36864, 7, 4, {'0', '2', '2', '1'});
  entry(40960, 7, 4, {'0', '1', '0', '0'});
  entry(40961, 3, 1, order == FileOrder::kLittle ? FileBytes{1, 0, 0, 0} : FileBytes{0, 1, 0, 0});
  AppendU32(bytes, order, 0);
  return bytes;
}

class EveryExifForm : public EveryForm {
protected:
  // Main page and stamp of a kind; the stamp in one strip and without the Exif directory.
  void CheckExif(int32_t format, const Kind& main, const Kind& small, uint32_t flags) {
    KernelGuard guard;
    TempFile file;
    RowService service = Service(main);
    RowService stamp = Service(small);
    service.stamp = &stamp;
    TifCommentBlock comments = {};
    SaveJob job(format, static_cast<int32_t>(main.bits), &service, file.Name());
    job.request.stampBitmap = &stamp.bitmap;
    job.request.comments = &comments;
    job.options.flags = flags | kSaveDropGrayPalette | (GetParam() == FileOrder::kBig ? uint32_t{kSaveBigEndian} : 0u);
    ASSERT_EQ(job.Run(), kResultOk);

    PageForm tags = FormOf(main);
    tags.extra.insert(tags.extra.begin() + (main.photometric == 6 ? 3 : 0), Block(34665, ExifDirectory(GetParam())));
    WrittenPage page = Page(tags, Strip(main));
    page.reservedEntries = 1; // for the GPS directory, which is not due
    FileBytes expected = NewFile(GetParam(), page);
    const size_t entries = page.tags.size() + 2;
    AppendPage(expected, GetParam(), Page(FormOf(small), Strip(small)), 8 + 2 + entries * 12);
    EXPECT_EQ(expected, file.Read());
  }

private:
  static Form FormFor(const Kind& kind) {
    return {3, PageCoding::kNone, kind.photometric == 6 ? PageColour::kYcc : PageColour::kPlain};
  }
  static PageForm FormOf(const Kind& kind) {
    PageForm form = Tags(FormFor(kind), kind, 0);
    form.numbered = false;
    return form;
  }
  std::vector<FileBytes> Strip(const Kind& kind) const { return Pixels(FormFor(kind), kind, 0).Pieces(Rows(kind)); }
};

INSTANTIATE_TEST_SUITE_P(Orders, EveryExifForm, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const testing::TestParamInfo<FileOrder>& order) {
                           return order.param == FileOrder::kLittle ? "Little" : "Big";
                         });

const Kind kRgb = {"colours of 24 bits", 24, kOrderBlueFirst, 2, {8, 8, 8}};
const Kind kGray = {"grey of 8 bits", 8, kOrderGray, 1, {8}};
const Kind kIndexed = {"256 colours", 8, kOrderRedFirst, 3, {8}};

TEST_P(EveryExifForm, MainPageAndStamp) {
  CheckExif(96, kRgb, kRgb, 0);
  CheckExif(96, kGray, kGray, 0);
  CheckExif(96, kIndexed, kIndexed, 0);
  CheckExif(96, kRgb, kYccKind, kSaveStampYCbCr);
  CheckExif(97, kYccKind, kRgb, 0);
  CheckExif(97, kYccKind, kYccKind, kSaveStampYCbCr);
}

} // namespace
