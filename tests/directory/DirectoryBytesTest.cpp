// Directories byte for byte, in both byte orders: whole files put together by hand, and pages of every kind.

#include "directory/DirectoryInput.h"

namespace {

constexpr VxColor kBlack = {0, 0, 0, 0};
constexpr VxColor kWhite = {255, 255, 255, 0};

class DirectoryBytes : public testing::TestWithParam<FileOrder> {
protected:
  Bytes NewBytes() const { return Bytes(GetParam()); }
  ExpectedPage Page(uint32_t place = 8) const { return ExpectedPage(GetParam(), place); }
};

INSTANTIATE_TEST_SUITE_P(Orders, DirectoryBytes, testing::Values(FileOrder::kLittle, FileOrder::kBig), OrderName);

TEST_P(DirectoryBytes, OneStripHasNoTables) {
  DirectoryInput input(GetParam());
  EXPECT_EQ(input.Write(), NewBytes()
                               .Header(8)
                               .U16(16)
                               .Entry(254, 4, 1, 0)
                               .Entry(256, 4, 1, 3)
                               .Entry(257, 4, 1, 2)
                               .EntryShort(258, 8)
                               .EntryShort(259, 1)
                               .EntryShort(262, 1)
                               .Entry(273, 4, 1, 222)
                               .EntryShort(274, 1)
                               .EntryShort(277, 1)
                               .Entry(278, 4, 1, 2)
                               .Entry(279, 4, 1, 6)
                               .Entry(282, 5, 1, 206)
                               .Entry(283, 5, 1, 214)
                               .EntryShort(284, 1)
                               .EntryShort(296, 2)
                               .Entry(297, 3, 2, 0)
                               .U32(0)
                               .U32(300) // at 206
                               .U32(1)
                               .U32(200)
                               .U32(1)
                               .bytes);
  EXPECT_EQ(input.result, kResultOk);
  EXPECT_EQ(input.position, 222u);
  EXPECT_EQ(input.entryCount, 16u);
  EXPECT_EQ(input.directoryOffset, 8u);
  EXPECT_EQ(input.sampleBits, 8u);
}

TEST_P(DirectoryBytes, SeveralStripsHaveTheirTablesInFrontOfTheData) {
  DirectoryInput input(GetParam());
  input.byteCounts = {6, 4, 2};
  input.job.rowsPerStrip = 1;
  EXPECT_EQ(input.Write(), NewBytes()
                               .Header(8)
                               .U16(16)
                               .Entry(254, 4, 1, 0)
                               .Entry(256, 4, 1, 3)
                               .Entry(257, 4, 1, 2)
                               .EntryShort(258, 8)
                               .EntryShort(259, 1)
                               .EntryShort(262, 1)
                               .Entry(273, 4, 3, 222)
                               .EntryShort(274, 1)
                               .EntryShort(277, 1)
                               .Entry(278, 4, 1, 1)
                               .Entry(279, 4, 3, 234)
                               .Entry(282, 5, 1, 206)
                               .Entry(283, 5, 1, 214)
                               .EntryShort(284, 1)
                               .EntryShort(296, 2)
                               .Entry(297, 3, 2, 0)
                               .U32(0)
                               .U32(300)
                               .U32(1)
                               .U32(200)
                               .U32(1)
                               .U32(246) // at 222
                               .U32(252)
                               .U32(256)
                               .U32(6) // at 234
                               .U32(4)
                               .U32(2)
                               .bytes);
  EXPECT_EQ(input.position, 246u);
}

TEST_P(DirectoryBytes, FewerEntriesThanReservedLeaveAHoleBehindTheNextWord) {
  DirectoryInput input(GetParam());
  input.stateFlags = kStateFloat | kStateSigned; // two reserved, one written
  input.options.flags |= kSaveNoSubfileType | kSaveKeepPageNumbers;
  EXPECT_EQ(input.Write(), NewBytes()
                               .Header(8)
                               .U16(15)
                               .Entry(256, 4, 1, 3)
                               .Entry(257, 4, 1, 2)
                               .EntryShort(258, 32)
                               .EntryShort(259, 1)
                               .EntryShort(262, 1)
                               .Entry(273, 4, 1, 222)
                               .EntryShort(274, 1)
                               .EntryShort(277, 1)
                               .Entry(278, 4, 1, 2)
                               .Entry(279, 4, 1, 6)
                               .Entry(282, 5, 1, 206)
                               .Entry(283, 5, 1, 214)
                               .EntryShort(284, 1)
                               .EntryShort(296, 2)
                               .EntryShort(339, 3)
                               .U32(0)
                               .Raw(FileBytes(8, 0))
                               .U32(0) // the next word of the directory as it was reserved
                               .U32(300)
                               .U32(1)
                               .U32(200)
                               .U32(1)
                               .bytes);
  EXPECT_EQ(input.entryCount, 15u);
}

// The tags that every plain page begins and ends with, in the order of their values.
ExpectedPage& Begin(ExpectedPage& page, const std::vector<uint16_t>& bits, uint16_t compression, uint16_t photometric) {
  return page.Long(254, 0)
      .Long(256, 3)
      .Long(257, 2)
      .Short(258, bits)
      .Short(259, {compression})
      .Short(262, {photometric});
}
ExpectedPage& Middle(ExpectedPage& page, uint16_t samples) {
  page.Offsets(273).Short(274, {1}).Short(277, {samples}).Long(278, 2).Offsets(279);
  return page.Rationals(282, {300}).Rationals(283, {200}).Short(284, {1});
}
ExpectedPage& End(ExpectedPage& page) {
  return page.Short(296, {2}).Short(297, {0, 0});
}

TEST_P(DirectoryBytes, GrayOfEveryDepthUpToSixteen) {
  for (const int32_t depth : {2, 3, 4, 5, 6, 7, 8, 12, 16}) {
    DirectoryInput input(GetParam());
    input.Depth(depth, kOrderGray);
    input.stateFlags = depth > 8 ? uint32_t{kStateGray} : 0;
    ExpectedPage page = Page();
    Begin(page, {static_cast<uint16_t>(depth)}, 1, 1);
    Middle(page, 1);
    End(page);
    EXPECT_EQ(input.Write(), page.Build()) << depth;
    EXPECT_EQ(input.sampleBits, static_cast<uint32_t>(depth));
  }
}

TEST_P(DirectoryBytes, ColorMapsOfDepthsTwoToEight) {
  for (int32_t depth = 2; depth <= 8; ++depth) {
    DirectoryInput input(GetParam());
    input.Depth(depth);
    const size_t colors = size_t{1} << depth;
    std::vector<VxColor> palette;
    std::vector<uint16_t> map(3 * colors);
    for (size_t i = 0; i < colors; ++i) {
      const auto level = static_cast<uint8_t>(i);
      palette.push_back({static_cast<uint8_t>(level + 2), static_cast<uint8_t>(level + 1), level, 0x77});
      map[i] = static_cast<uint16_t>(i << 8);
      map[colors + i] = static_cast<uint16_t>(((i + 1) & 0xFF) << 8);
      map[2 * colors + i] = static_cast<uint16_t>(((i + 2) & 0xFF) << 8);
    }
    input.Palette(palette);
    ExpectedPage page = Page();
    Begin(page, {static_cast<uint16_t>(depth)}, 1, 3);
    Middle(page, 1);
    End(page).Short(320, map);
    EXPECT_EQ(input.Write(), page.Build()) << depth;
  }
}

TEST_P(DirectoryBytes, OneBitPagesByTheirPalette) {
  const VxColor red = {0, 0, 255, 0};
  const VxColor yellow = {0, 255, 255, 0};
  const VxColor gray = {128, 128, 128, 0};
  const struct {
    std::vector<VxColor> palette;
    uint16_t photometric;
    std::vector<uint16_t> map;
  } kCases[] = {{{kBlack, kWhite}, 1, {}},
                {{kWhite, kBlack}, 0, {}},
                {{kWhite, red}, 3, {0xFF00, 0xFF00, 0xFF00, 0, 0xFF00, 0}},
                {{kBlack, red}, 3, {0, 0xFF00, 0, 0, 0, 0}},
                {{red, kBlack}, 3, {0xFF00, 0, 0, 0, 0, 0}},
                {{kBlack, yellow}, 3, {0, 0xFF00, 0, 0xFF00, 0, 0}},
                {{kBlack, gray}, 3, {0, 0x8000, 0, 0x8000, 0, 0x8000}},
                {{kBlack, kBlack}, 3, {0, 0, 0, 0, 0, 0}},
                {{kWhite, kWhite}, 3, {0xFF00, 0xFF00, 0xFF00, 0xFF00, 0xFF00, 0xFF00}}};
  for (const auto& known : kCases) {
    DirectoryInput input(GetParam());
    input.Depth(1).Palette(known.palette);
    ExpectedPage page = Page();
    Begin(page, {1}, 1, known.photometric);
    Middle(page, 1);
    End(page);
    if (!known.map.empty()) {
      page.Short(320, known.map);
    }
    EXPECT_EQ(input.Write(), page.Build());
  }
}

TEST_P(DirectoryBytes, OneBitPageWithoutAPaletteIsBlackFirst) {
  DirectoryInput input(GetParam());
  input.Depth(1);
  ExpectedPage page = Page();
  Begin(page, {1}, 1, 1);
  Middle(page, 1);
  End(page);
  EXPECT_EQ(input.Write(), page.Build());
}

TEST_P(DirectoryBytes, OneBitPageOfFillOrderTwo) {
  DirectoryInput input(GetParam());
  input.Depth(1).Palette({kWhite, kBlack});
  input.options.flags |= kSaveFillOrder2;
  ExpectedPage page = Page();
  Begin(page, {1}, 1, 0).Short(266, {2});
  Middle(page, 1);
  End(page);
  EXPECT_EQ(input.Write(), page.Build());
  DirectoryInput packed(GetParam()); // only uncompressed rows are reversed
  packed.Depth(1).Palette({kWhite, kBlack});
  packed.options.flags |= kSaveFillOrder2;
  packed.job.compression = kCompressionPackBits;
  EXPECT_EQ(packed.Written().Find(266), nullptr);
}

TEST_P(DirectoryBytes, FaxPages) {
  const struct {
    uint16_t compression;
    uint32_t faxOptions;
    uint32_t flags;
    uint32_t t4;
    uint16_t fillOrder;
  } kCases[] = {{3, 0, 0, 4, 1}, {3, 1, 0, 5, 1}, {4, 0, 0, 0, 1}, {4, 0, kSaveFillOrder2, 0, 2}, {4, 2, 0, 2, 1}};
  for (const auto& known : kCases) {
    DirectoryInput input(GetParam());
    input.Depth(1).Palette({kWhite, {1, 2, 3, 0}}); // no colour map, whatever the colours
    input.job.compression = known.compression;
    input.job.faxOptions = known.faxOptions;
    input.options.flags |= known.flags;
    ExpectedPage page = Page();
    Begin(page, {1}, known.compression, 0).Short(266, {known.fillOrder});
    Middle(page, 1).Long(292, known.t4).Long(293, 0);
    End(page);
    EXPECT_EQ(input.Write(), page.Build());
  }
  DirectoryInput runs(GetParam());
  runs.Depth(1).Palette({kBlack, kWhite});
  runs.job.compression = kCompressionCcittRle;
  ExpectedPage page = Page();
  Begin(page, {1}, 2, 1);
  Middle(page, 1);
  End(page);
  EXPECT_EQ(runs.Write(), page.Build());
}

TEST_P(DirectoryBytes, ColorOfEveryDepth) {
  const struct {
    int32_t depth;
    std::vector<uint16_t> bits;
    bool extra;
    uint32_t sampleBits; // what the row writer swaps by
  } kCases[] = {{24, {8, 8, 8}, false, 8},
                {32, {8, 8, 8, 8}, true, 8},
                {48, {16, 16, 16}, false, 8},
                {64, {16, 16, 16, 16}, true, 8}};
  for (const auto& known : kCases) {
    DirectoryInput input(GetParam());
    input.Depth(known.depth, kOrderBlueFirst);
    ExpectedPage page = Page();
    Begin(page, known.bits, 1, 2);
    Middle(page, static_cast<uint16_t>(known.bits.size()));
    End(page);
    if (known.extra) {
      page.Short(338, {0});
    }
    EXPECT_EQ(input.Write(), page.Build()) << known.depth;
    EXPECT_EQ(input.sampleBits, known.sampleBits);
  }
}

TEST_P(DirectoryBytes, SixteenBitColorIsOneSampleOfSixteenBits) {
  DirectoryInput input(GetParam());
  input.Depth(16, kOrderBlueFirst);
  ExpectedPage page = Page();
  Begin(page, {16}, 1, 2);
  Middle(page, 1);
  End(page);
  EXPECT_EQ(input.Write(), page.Build());
  EXPECT_EQ(input.sampleBits, 8u) << "never swapped as a sample";
}

TEST_P(DirectoryBytes, ForcedPhotometricKeepsTheSampleSize) {
  for (const int32_t depth : {16, 48, 64}) {
    DirectoryInput input(GetParam());
    input.Depth(depth, kOrderBlueFirst);
    input.options.flags |= kSaveForcePhotometric;
    input.options.photometric = 8;
    EXPECT_EQ(FirstNumber(input.Written().Find(262)->value, 3, GetParam()), 8u);
    EXPECT_EQ(input.sampleBits, 16u) << depth;
  }
  DirectoryInput gray(GetParam());
  gray.Depth(16, kOrderGray);
  gray.stateFlags = kStateGray;
  gray.options.flags |= kSaveForcePhotometric;
  gray.options.photometric = 2;
  gray.Write();
  EXPECT_EQ(gray.sampleBits, 8u);
}

TEST_P(DirectoryBytes, ThirtyTwoBitGray) {
  DirectoryInput input(GetParam());
  input.Depth(32, kOrderGray);
  input.descriptor.highBit = 31;
  input.stateFlags = kStateGray;
  ExpectedPage page = Page();
  Begin(page, {32}, 1, 1);
  Middle(page, 1);
  End(page);
  EXPECT_EQ(input.Write(), page.Build());
  EXPECT_EQ(input.sampleBits, 32u);
}

TEST_P(DirectoryBytes, CmykOfEveryDepth) {
  const struct {
    int32_t depth;
    std::vector<uint16_t> bits;
    bool extra;
  } kCases[] = {{24, {8, 8, 8, 8}, false},
                {32, {8, 8, 8, 8, 8}, true},
                {48, {16, 16, 16, 16}, false},
                {64, {16, 16, 16, 16, 16}, true}};
  for (const auto& known : kCases) {
    DirectoryInput input(GetParam());
    input.Depth(known.depth, kOrderBlueFirst);
    input.stateFlags = kStateCmyk;
    ExpectedPage page = Page();
    Begin(page, known.bits, 1, 5);
    Middle(page, static_cast<uint16_t>(known.bits.size()));
    End(page);
    if (known.extra) {
      page.Short(338, {0});
    }
    EXPECT_EQ(input.Write(), page.Build()) << known.depth;
    EXPECT_EQ(input.sampleBits, known.depth < 48 ? 8u : 16u);
  }
}

TEST_P(DirectoryBytes, YCbCr) {
  DirectoryInput input(GetParam());
  input.Depth(24, kOrderBlueFirst);
  input.stateFlags = kStateYCbCr;
  ExpectedPage page = Page();
  Begin(page, {8, 8, 8}, 1, 6);
  Middle(page, 3);
  End(page).Short(530, {2, 1}).Short(531, {2}).Rationals(532, {0, 255, 128, 255, 128, 255});
  EXPECT_EQ(input.Write(), page.Build());
}

TEST_P(DirectoryBytes, FloatSamples) {
  for (const int32_t depth : {16, 32}) {
    DirectoryInput input(GetParam());
    input.Depth(depth, kOrderGray);
    input.stateFlags = kStateGray | kStateFloat;
    ExpectedPage page = Page();
    Begin(page, {32}, 1, 1);
    Middle(page, 1);
    End(page).Short(339, {3});
    EXPECT_EQ(input.Write(), page.Build()) << depth;
    EXPECT_EQ(input.sampleBits, 32u);
  }
}

TEST_P(DirectoryBytes, SignedSamples) {
  DirectoryInput input(GetParam());
  input.Depth(16, kOrderGray);
  input.stateFlags = kStateGray | kStateSigned;
  ExpectedPage page = Page();
  Begin(page, {16}, 1, 1);
  Middle(page, 1);
  End(page).Short(339, {2});
  EXPECT_EQ(input.Write(), page.Build());
}

TEST_P(DirectoryBytes, Predictor) {
  DirectoryInput input(GetParam());
  input.Depth(24, kOrderBlueFirst);
  input.job.compression = kCompressionLzw;
  input.page.predictor = 2;
  ExpectedPage page = Page();
  Begin(page, {8, 8, 8}, 5, 2);
  Middle(page, 3);
  End(page).Short(317, {2});
  EXPECT_EQ(input.Write(), page.Build());
  DirectoryInput plain(GetParam());
  plain.job.compression = kCompressionPackBits;
  plain.page.predictor = 2;
  EXPECT_EQ(plain.Written().Find(317), nullptr);
}

TEST_P(DirectoryBytes, Planes) {
  DirectoryInput input(GetParam());
  input.Depth(24, kOrderBlueFirst);
  input.stateFlags = kStateCmyk | kStatePlanar;
  input.byteCounts = {6, 6, 6, 6};
  EXPECT_EQ(FirstNumber(input.Written().Find(284)->value, 3, GetParam()), 2u);
}

TEST_P(DirectoryBytes, Tiles) {
  DirectoryInput input(GetParam());
  input.descriptor.width = 40;
  input.descriptor.height = 20;
  input.job.tileWidth = 16;
  input.job.rowsPerStrip = 32;
  input.byteCounts = {512, 512, 512};
  ExpectedPage page = Page();
  page.Long(254, 0).Long(256, 40).Long(257, 20).Short(258, {8}).Short(259, {1}).Short(262, {1});
  page.Offsets(324).Short(274, {1}).Short(277, {1}).Long(322, 16).Long(323, 32).Offsets(325);
  page.Rationals(282, {300}).Rationals(283, {200}).Short(284, {1});
  End(page);
  EXPECT_EQ(input.Write(), page.Build({512, 512, 512}));
  EXPECT_NE(input.statesAfter & kStateTiled, 0u);
}

TEST_P(DirectoryBytes, TileAsWideAsTheImageMakesStripsOfItsHeight) {
  for (const uint32_t width : {3u, 4u, 64u, 0xFFFFFFFFu}) {
    DirectoryInput input(GetParam());
    input.job.tileWidth = width;
    input.job.rowsPerStrip = 16;
    input.stateFlags = kStateTiled; // whoever set it: the layout decides
    const FileDirectory directory = input.Written();
    EXPECT_EQ(directory.Find(322), nullptr);
    EXPECT_EQ(directory.Find(324), nullptr);
    EXPECT_EQ(directory.Find(278)->word, 16u);
    EXPECT_NE(directory.Find(273), nullptr);
    EXPECT_EQ(input.statesAfter & kStateTiled, 0u);
  }
}

TEST_P(DirectoryBytes, VariantFile) {
  const struct {
    uint32_t view;
    uint16_t rotation;
  } kCases[] = {{1, 0}, {2, 0}, {3, 2}, {4, 0}, {5, 0}, {6, 3}, {7, 0}, {8, 1}};
  for (const auto& known : kCases) {
    DirectoryInput input(GetParam());
    input.Depth(1).Palette({kWhite, kBlack});
    input.descriptor.viewPerspective = known.view;
    input.stateFlags = kStateVariantFile;
    input.job.compression = kCompressionGroup4;
    CommentSlots slots;
    slots.Text(kCommentCity, "no IPTC block here");
    input.Comments(slots);
    ExpectedPage page = Page();
    page.Long(256, 3).Long(257, 2).Short(258, {1}).Short(262, {0}).Short(266, {1});
    page.Offsets(273).Short(277, {1}).Long(278, 2).Offsets(279).Rationals(282, {300}).Rationals(283, {200});
    page.Short(296, {2}).Short(33465, {known.rotation}).Short(33466, {4}).Short(33467, {0});
    EXPECT_EQ(input.Write(), page.Build({6}, 12622)) << known.view;
    EXPECT_EQ(input.options.flags & kSaveNoSubfileType, uint32_t{kSaveNoSubfileType})
        << "settled in the caller's record";
    EXPECT_EQ(input.options.flags & kSaveKeepPageNumbers, uint32_t{kSaveKeepPageNumbers});
  }
}

TEST_P(DirectoryBytes, TiledVariantFile) {
  for (const uint32_t tiles : {2u, 3u, 256u, 257u, 600u}) {
    DirectoryInput input(GetParam());
    input.Depth(1).Palette({kWhite, kBlack});
    input.descriptor.width = 1000;
    input.descriptor.height = 1000;
    input.stateFlags = kStateVariantFile;
    input.job.compression = kCompressionGroup4;
    input.job.tileWidth = 512;
    input.job.rowsPerStrip = 512;
    input.byteCounts.clear();
    input.options.flags |= kSaveNoSubfileType; // cleared for tiles
    std::vector<uint16_t> order;
    for (uint32_t i = 0; i < tiles; ++i) {
      input.byteCounts.push_back(100 + i * i);
      order.push_back(static_cast<uint16_t>(i));
    }
    ExpectedPage page = Page();
    page.Long(254, 0).Long(256, 1000).Long(257, 1000).Short(258, {1}).Short(262, {0}).Short(266, {1});
    page.Offsets(273).Short(277, {1}).Long(322, 512).Long(323, 512).Offsets(279);
    page.Rationals(282, {300}).Rationals(283, {200}).Short(296, {2});
    page.Short(33465, {0}).Short(33466, {4}).Short(33467, order);
    EXPECT_EQ(input.Write(), page.Build(input.byteCounts, 12622)) << tiles;
    EXPECT_EQ(input.options.flags & kSaveNoSubfileType, 0u);
  }
}

TEST_P(DirectoryBytes, TextsOfLengthsZeroToEight) {
  for (size_t length = 0; length <= 8; ++length) {
    const std::string text = std::string("abcdefgh").substr(0, length);
    DirectoryInput input(GetParam());
    CommentSlots slots;
    for (uint32_t slot = 0; slot < 10; ++slot) {
      slots.Text(slot, text);
    }
    input.Comments(slots);
    ExpectedPage page = Page();
    Begin(page, {8}, 1, 1).Text(269, text).Text(270, text).Text(271, text).Text(272, text);
    Middle(page, 1).Text(285, text);
    End(page).Text(305, text).Text(306, text).Text(315, text).Text(316, text).Text(33432, text);
    EXPECT_EQ(input.Write(), page.Build()) << length;
  }
}

TEST_P(DirectoryBytes, EachTextTagTakesItsSlot) {
  const struct {
    uint32_t slot;
    uint16_t tag;
  } kSlots[] = {{0, 315}, {1, 33432}, {2, 306}, {3, 270}, {4, 316}, {5, 271}, {6, 272}, {7, 269}, {8, 285}, {9, 305}};
  for (const auto& known : kSlots) {
    DirectoryInput input(GetParam());
    CommentSlots slots;
    slots.Text(known.slot, "seven..");
    input.Comments(slots);
    const FileDirectory directory = input.Written();
    ASSERT_NE(directory.Find(known.tag), nullptr) << known.tag;
    EXPECT_EQ(directory.Find(known.tag)->type, 2);
    EXPECT_EQ(directory.Find(known.tag)->value, (FileBytes{'s', 'e', 'v', 'e', 'n', '.', '.'}));
    EXPECT_EQ(directory.entries.size(), 17u);
  }
}

TEST_P(DirectoryBytes, SlotsBehindTheTextsTakeNoRoom) {
  DirectoryInput input(GetParam());
  CommentSlots slots;
  for (uint32_t slot = 10; slot <= 20; ++slot) {
    slots.Text(slot, "no text tag");
  }
  input.Comments(slots);
  ExpectedPage page = Page();
  Begin(page, {8}, 1, 1);
  Middle(page, 1);
  End(page);
  EXPECT_EQ(input.Write(), page.Build());
}

TEST_P(DirectoryBytes, IptcBlockOfOddLengthIsPaddedAndNotCountedSo) {
  for (const std::string_view city : {"Rome", "Paris"}) {
    DirectoryInput input(GetParam());
    CommentSlots slots;
    slots.Text(kCommentCity, city).Text(kCommentCopyright, "behind it"); // goes out before
    input.Comments(slots);
    FileBytes block = {0x1C, 2, 0, 0, 2, 0, 2, 0x1C, 2, 90, 0, static_cast<uint8_t>(city.size())};
    block.insert(block.end(), city.begin(), city.end());
    ExpectedPage page = Page();
    Begin(page, {8}, 1, 1);
    Middle(page, 1);
    End(page).Text(33432, "behind it").Raw(33723, 1, static_cast<uint32_t>(block.size()), block);
    EXPECT_EQ(input.Write(), page.Build());
    EXPECT_EQ(input.position % 2, 0u);
  }
}

TEST_P(DirectoryBytes, SizePairIsCutToSixteenBits) {
  DirectoryInput input(GetParam());
  const TifSizePair pair = {12, 0x12345, 0x54321};
  input.job.private50235 = &pair;
  input.job.compression = kCompressionStoredSize; // reserves one more
  ExpectedPage page = Page();
  Begin(page, {8}, static_cast<uint16_t>(kCompressionStoredSize), 1);
  Middle(page, 1);
  End(page).Short(50235, {0x2345, 0x4321}).Hole(1);
  EXPECT_EQ(input.Write(), page.Build());
  for (const TifSizePair& none : {TifSizePair{12, 0, 7}, TifSizePair{12, 7, 0}, TifSizePair{12, 0, 0}}) {
    DirectoryInput without(GetParam());
    without.job.private50235 = &none;
    ExpectedPage plain = Page();
    Begin(plain, {8}, 1, 1);
    Middle(plain, 1);
    End(plain);
    EXPECT_EQ(without.Write(), plain.Build()) << "and no room for it";
  }
  for (const TifSizePair& least : {TifSizePair{12, 1, 1}, TifSizePair{12, 1, 0x10000}, TifSizePair{12, 0x10000, 1}}) {
    DirectoryInput with(GetParam());
    with.job.private50235 = &least;
    ExpectedPage small = Page();
    Begin(small, {8}, 1, 1);
    Middle(small, 1);
    End(small).Short(50235, {static_cast<uint16_t>(least.first), static_cast<uint16_t>(least.second)});
    EXPECT_EQ(with.Write(), small.Build());
  }
}

TEST_P(DirectoryBytes, ListedTagsFollowAndThoseOfTheWriterArePassedOver) {
  DirectoryInput input(GetParam());
  TagItems items;
  items.Text(40001, "hello").Add(256, 4, 1, {9, 0, 0, 0}).Add(40000, 3, 1, {0x34, 0x12}).Add(33723, 1, 5, Telling(5));
  items.Add(40002, 1, 3, {1, 2, 3})
      .Add(40003, 4, 2, {1, 0, 0, 0, 2, 0, 0, 0})
      .Add(40004, 99, 1, {1})
      .Add(40005, 1, 0, {1});
  input.job.tagList = items.Head();
  ExpectedPage page = Page();
  Begin(page, {8}, 1, 1);
  Middle(page, 1);
  End(page).Raw(40001, 2, 6, {'h', 'e', 'l', 'l', 'o', 0}).Short(40000, {0x1234}).Raw(40002, 1, 3, {1, 2, 3});
  FileBytes longs;
  AppendU32(longs, GetParam(), 1);
  AppendU32(longs, GetParam(), 2);
  page.Raw(40003, 4, 2, longs);
  EXPECT_EQ(input.Write(), page.Build());
  EXPECT_EQ(items.Value(5), (FileBytes{1, 0, 0, 0, 2, 0, 0, 0})) << "swapped back";
}

TEST_P(DirectoryBytes, EqualTagsKeepTheOrderOfTheirInsertion) {
  DirectoryInput input(GetParam());
  TagItems items;
  items.Add(297, 3, 2, {7, 0, 9, 0}).Add(40000, 1, 1, {1}).Add(40000, 1, 1, {2}).Add(40000, 1, 1, {3});
  input.job.tagList = items.Head();
  ExpectedPage page = Page();
  Begin(page, {8}, 1, 1);
  Middle(page, 1);
  End(page).Short(297, {7, 9}).Raw(40000, 1, 1, {1}).Raw(40000, 1, 1, {2}).Raw(40000, 1, 1, {3});
  EXPECT_EQ(input.Write(), page.Build());
}

TEST_P(DirectoryBytes, SecondPageOfAFile) {
  DirectoryInput first(GetParam());
  FileBytes bytes = first.Write();
  bytes.insert(bytes.end(), 6, 0x80); // its pixels
  DirectoryInput input(GetParam());
  input.file.Write(bytes);
  input.options.pageNumber = 2;
  input.options.flags = 0; // the file's own order is kept
  const FileBytes after = input.Write();
  const auto place = static_cast<uint32_t>(bytes.size());
  PutU32(bytes, 8 + 2 + 16 * 12, GetParam(), place); // the link
  PutU32(bytes, 10 + 8, GetParam(), 2);              // the first page is now one of several
  ExpectedPage page = Page(place);
  page.Long(254, 2).Long(256, 3).Long(257, 2).Short(258, {8}).Short(259, {1}).Short(262, {1});
  Middle(page, 1);
  page.Short(296, {2}).Short(297, {1, 0});
  EXPECT_EQ(after, page.Build(bytes, {6}));
  EXPECT_EQ(input.directoryOffset, place);
}

TEST_P(DirectoryBytes, FirstPageInsertedInFrontOfAnother) {
  DirectoryInput first(GetParam());
  FileBytes bytes = first.Write();
  bytes.insert(bytes.end(), 6, 0x80);
  DirectoryInput input(GetParam());
  input.file.Write(bytes);
  input.options.pageNumber = 1;
  input.options.flags = kSaveInsertPage;
  CommentSlots slots;
  slots.Text(kCommentMake, "hole");
  input.Comments(slots);
  input.stateFlags = kStateFloat | kStateSigned; // a hole behind the next word
  const FileBytes after = input.Write();
  const auto place = static_cast<uint32_t>(bytes.size());
  PutU32(bytes, 4, GetParam(), place);
  PutU32(bytes, 10 + 8, GetParam(), 2);
  PutU16(bytes, 10 + 15 * 12 + 8, GetParam(), 1); // the old page's number
  ExpectedPage page = Page(place);
  page.Long(254, 2).Long(256, 3).Long(257, 2).Short(258, {32}).Short(259, {1}).Short(262, {1}).Text(271, "hole");
  Middle(page, 1);
  page.Short(296, {2}).Short(297, {0, 0}).Short(339, {3}).Hole(1).Next(8);
  EXPECT_EQ(after, page.Build(bytes, {6}));
}

} // namespace
