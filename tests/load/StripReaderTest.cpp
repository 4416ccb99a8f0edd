// Strips and tiles of every compression that the strip reader decodes, whole, damaged and cut off.

#include <gtest/gtest.h>

#include "Tif/PackBitsStrip.h"
#include "Tif/StripDecode.h"
#include "load/LoadProbe.h"
#include "support/CodecIo.h"
#include "tif_com/Memory.h"

namespace {

constexpr uint16_t kLzw = 5;
constexpr uint16_t kPackBits = 32773;

// A file that ends with the `held` bytes of one of its strips, whose table claims more.
FileBytes Claiming(TiffDirectory page, size_t strip, const FileBytes& held, uint32_t claimed) {
  TiffBuilder builder;
  builder.AddPage(page.Sort());
  FileBytes bytes = builder.Build();
  const auto end = static_cast<uint32_t>(bytes.size());
  PutU32(bytes, builder.ValueOffset(0, 273) + 4 * strip, FileOrder::kLittle, end);
  PutU32(bytes, builder.ValueOffset(0, 279) + 4 * strip, FileOrder::kLittle, claimed);
  bytes.insert(bytes.end(), held.begin(), held.end());
  return bytes;
}

// LZW codes of bytes without any table entry used: 9 bits each, for short strips.
FileBytes LzwLiterals(const FileBytes& bytes) {
  CodeStream stream;
  stream.Put(256, 9);
  for (uint8_t byte : bytes) {
    stream.Put(byte, 9);
  }
  return stream.Put(257, 9).Pad(2).Bytes();
}

FileBytes PackLiteral(const FileBytes& bytes) {
  FileBytes packed = {static_cast<uint8_t>(bytes.size() - 1)};
  packed.insert(packed.end(), bytes.begin(), bytes.end());
  return packed;
}

TEST(StoredStrips, SeveralStripsOfAFile) {
  TiffDirectory page = Page(3, 5, {8}, 1).Strips({Counting(6), Counting(6, 6), Counting(3, 12)}).Short(278, {2});
  LoadProbe probe(FileOf(page), 3, 5, 8, 3);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), Counting(15));
}

TEST(StoredStrips, RowsPerStripOfNothingOrAllBitsIsOneStrip) {
  for (uint32_t rows : {0u, 0xFFFFFFFFu}) {
    LoadProbe probe(FileOf(Page(3, 5, {8}, 1).Strips({Counting(15)}).Long(278, {rows})), 3, 5, 8, 3);
    EXPECT_EQ(probe.Load(), 1);
    EXPECT_EQ(probe.Pixels(), Counting(15));
  }
}

TEST(StoredStrips, LargeStripsComeInPieces) {
  // 100 x 300 in one strip, and in three of 100 rows; both are split.
  for (uint32_t rowsPerStrip : {300u, 100u}) {
    std::vector<FileBytes> strips;
    for (uint32_t row = 0; row < 300; row += rowsPerStrip) {
      strips.push_back(Counting(size_t{rowsPerStrip} * 100, static_cast<uint8_t>(row * 100)));
    }
    LoadProbe probe(FileOf(Page(100, 300, {8}, 1).Strips(strips).Long(278, {rowsPerStrip})), 100, 300, 8, 100);
    EXPECT_EQ(probe.Load(), 1);
    EXPECT_EQ(probe.Pixels(), Counting(30000));
    EXPECT_EQ(probe.rows.calls[299].flags, 3u + 8u);
  }
}

TEST(StoredStrips, PaddedStripsStayInPlace) {
  std::vector<FileBytes> strips = {FileBytes(16386, 1), FileBytes(16386, 2)};
  LoadProbe probe(FileOf(Page(4096, 8, {8}, 1).Strips(strips).Long(278, {4})), 4096, 8, 8, 4096);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.rows.calls[3].bytes, FileBytes(4096, 1));
  EXPECT_EQ(probe.rows.calls[4].bytes, FileBytes(4096, 2));
}

TEST(StoredStrips, ShortCountLeavesTheBandAsItWas) {
  // The second strip names 2 of its 6 bytes: the rest shows the strip before it.
  TiffDirectory page = Page(3, 4, {8}, 1).Strips({Counting(6, 10), {90, 91}}).Short(278, {2});
  LoadProbe probe(FileOf(page), 3, 4, 8, 3);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({10, 11, 12, 13, 14, 15, 90, 91, 12, 13, 14, 15}));
  EXPECT_EQ(+probe.request.truncationStatus, 1);
}

// Six strips of a row each, one behind the other: they are read in one run.
TiffDirectory RowStrips(size_t count) {
  std::vector<FileBytes> strips;
  for (size_t i = 0; i < count; ++i) {
    strips.push_back(Counting(4, static_cast<uint8_t>(4 * i)));
  }
  return Page(4, 6, {8}, 1).Strips(strips).Short(278, {1});
}

TEST(StoredRuns, AreReadAtOnce) {
  LoadProbe probe(FileOf(RowStrips(6)), 4, 6, 8, 4);
  IoFaults faults;
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), Counting(24));
  const uint64_t together = faults.Calls(IoCall::kRead);
  // The same strips in another order in the file are read one by one.
  TiffBuilder builder;
  builder.AddPage(RowStrips(6).Sort());
  FileBytes bytes = builder.Build();
  const uint32_t offsets = builder.ValueOffset(0, 273);
  for (uint32_t i = 0; i < 3; ++i) {
    const uint32_t low = GetU32(bytes, offsets + 4 * i, FileOrder::kLittle);
    const uint32_t high = GetU32(bytes, offsets + 20 - 4 * i, FileOrder::kLittle);
    PutU32(bytes, offsets + 4 * i, FileOrder::kLittle, high);
    PutU32(bytes, offsets + 20 - 4 * i, FileOrder::kLittle, low);
  }
  LoadProbe turned(bytes, 4, 6, 8, 4);
  faults.Reset();
  EXPECT_EQ(turned.Load(), 1);
  EXPECT_EQ(turned.Pixels(), FileBytes({20, 21, 22, 23, 16, 17, 18, 19, 12, 13, 14, 15, //
                                        8,  9,  10, 11, 4,  5,  6,  7,  0,  1,  2,  3}));
  EXPECT_EQ(faults.Calls(IoCall::kRead), together + 5);
}

TEST(StoredRuns, CutOffWithinABandOrAtOne) {
  for (uint32_t missing = 0; missing <= 24; ++missing) {
    TiffBuilder builder;
    builder.AddPage(RowStrips(6).Sort());
    FileBytes bytes = builder.Build();
    const auto end = static_cast<uint32_t>(bytes.size());
    for (uint32_t i = 0; i < 6; ++i) {
      PutU32(bytes, builder.ValueOffset(0, 273) + 4 * i, FileOrder::kLittle, end + 4 * i);
    }
    const FileBytes held = Counting(24 - missing, 1);
    bytes.insert(bytes.end(), held.begin(), held.end());
    LoadProbe probe(bytes, 4, 6, 8, 4);
    const int32_t result = probe.Load();
    // A band of which something is there is filled up, and warned of; the next one fails.
    const size_t bands = (held.size() + 3) / 4;
    EXPECT_EQ(result, bands == 6 ? 1 : kResultReadFailed) << missing;
    FileBytes expected = held;
    expected.resize(4 * bands);
    EXPECT_EQ(probe.Pixels(), expected) << missing;
    EXPECT_EQ(+probe.request.truncationStatus, held.size() % 4 == 0 ? 1 : kResultReadFailed) << missing;
  }
}

// A read that comes back short once ends neither the file nor the page.
TEST(StoredRuns, GoOnBehindABandOfWhichOnlyAPartComes) {
  LoadProbe probe(FileOf(RowStrips(6)), 4, 6, 8, 4);
  IoFaults faults;
  EXPECT_EQ(probe.Load(), 1);
  const uint64_t run = faults.Calls(IoCall::kRead); // the last read of all
  LoadProbe again(FileOf(RowStrips(6)), 4, 6, 8, 4);
  faults.Reset();
  faults.Shorten(IoCall::kRead, run, 6);
  EXPECT_EQ(again.Load(), 1);
  FileBytes expected = Counting(24);
  expected[6] = expected[7] = 0;
  EXPECT_EQ(again.Pixels(), expected);
  EXPECT_EQ(+again.request.truncationStatus, kResultReadFailed);
}

TEST(StoredRuns, ShortCountBehindARunShowsItsLastBand) {
  TiffBuilder builder;
  builder.AddPage(RowStrips(6).Sort());
  FileBytes bytes = builder.Build();
  PutU32(bytes, builder.ValueOffset(0, 279) + 16, FileOrder::kLittle, 1); // of the fifth strip
  LoadProbe probe(bytes, 4, 6, 8, 4);
  EXPECT_EQ(probe.Load(), 1);
  FileBytes expected = Counting(24);
  expected[17] = 13;
  expected[18] = 14;
  expected[19] = 15;
  EXPECT_EQ(probe.Pixels(), expected);
}

TEST(StoredRuns, SinkEndsTheLoadWithinARun) {
  LoadProbe probe(FileOf(RowStrips(6)), 4, 6, 8, 4);
  probe.rows.refuseCall = 3;
  probe.rows.refusal = 0;
  EXPECT_EQ(probe.Load(), 0);
  EXPECT_EQ(probe.rows.calls.size(), 3u);
}

TEST(StoredRuns, FillOrder2IsReversedInAllBands) {
  LoadProbe probe(FileOf(Page(1, 2, {8}, 1).Strips({{0x01}, {0x02}}).Short(278, {1}).Short(266, {2})), 1, 2, 8, 1);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({0x80, 0x40}));
}

TEST(StoredRuns, WithoutMemoryForARunBandsComeOneByOne) {
  LoadProbe probe(FileOf(RowStrips(6)), 4, 6, 8, 4);
  uint64_t allocations = 0;
  {
    const AllocFaults counter(0);
    EXPECT_EQ(probe.Load(), 1);
    allocations = counter.Calls();
  }
  probe.rows.calls.clear();
  const AllocFaults faults(allocations);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), Counting(24));
}

TEST(StoredStrips, CutOffInTheMiddleGivesZerosAndAWarning) {
  TiffDirectory page = Page(3, 4, {8}, 1).Strips({Counting(6, 10), {90, 91}}).Short(278, {2});
  LoadProbe probe(Claiming(page, 1, {90, 91}, 6), 3, 4, 8, 3);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({10, 11, 12, 13, 14, 15, 90, 91, 0, 0, 0, 0}));
  EXPECT_EQ(+probe.request.truncationStatus, kResultReadFailed);
}

TEST(StoredStrips, CutOffAtAStripFails) {
  TiffDirectory page = Page(3, 4, {8}, 1).Strips({Counting(6, 10), {}}).Short(278, {2});
  LoadProbe probe(Claiming(page, 1, {}, 6), 3, 4, 8, 3);
  EXPECT_EQ(probe.Load(), kResultReadFailed);
  EXPECT_EQ(probe.rows.calls.size(), 2u);
}

TEST(StoredStrips, ErrorOfTheSystemFails) {
  LoadProbe probe(FileOf(Page(3, 2, {8}, 1).Strips({Counting(6)})), 3, 2, 8, 3);
  IoFaults faults;
  EXPECT_EQ(probe.Load(), 1);
  const uint64_t reads = faults.Calls(IoCall::kRead);
  const uint64_t seeks = faults.Calls(IoCall::kSeek);
  faults.Reset();
  faults.Fail(IoCall::kRead, reads);
  EXPECT_EQ(probe.Load(), kResultReadFailed);
  faults.Reset();
  faults.Fail(IoCall::kSeek, seeks);
  EXPECT_EQ(probe.Load(), kResultSeekFailed);
}

TEST(StoredStrips, MissingTableEntriesFail) {
  TiffDirectory page = Page(3, 6, {8}, 1).Strips({Counting(6), Counting(6)}).Short(278, {2});
  LoadProbe probe(FileOf(page), 3, 6, 8, 3);
  EXPECT_EQ(probe.Load(), kResultReadFailed);
  EXPECT_EQ(probe.rows.calls.size(), 4u);
}

TEST(StoredStrips, FillOrder2ReversesWhateverItsMode) {
  for (bool printer : {false, true}) {
    TiffDirectory page = Page(4, 1, {8}, 1).Strips({{0x01, 0x80, 0x0F, 0xA0}}).Short(266, {2});
    if (printer) {
      page.Ascii(305, "Micrografx"); // a writer whose data are to be reversed before decoding only
    }
    LoadProbe probe(FileOf(page), 4, 1, 8, 4);
    EXPECT_EQ(probe.Load(), 1);
    EXPECT_EQ(probe.Pixels(), FileBytes({0x80, 0x01, 0xF0, 0x05}));
  }
}

TEST(StoredStrips, BandIsHalvedUntilThereIsMemory) {
  TiffDirectory page = Page(64, 64, {8}, 1).Strips({Counting(4096)});
  LoadProbe probe(FileOf(page), 64, 64, 8, 64);
  uint64_t allocations = 0;
  {
    const AllocFaults counter(0);
    EXPECT_EQ(probe.Load(), 1);
    allocations = counter.Calls();
  }
  probe.rows.calls.clear();
  const AllocFaults faults(allocations); // the band is the last block that a load asks for
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), Counting(4096));
}

TEST(StoredStrips, NoMemoryForASingleRowFails) {
  LoadProbe probe(FileOf(Page(64, 64, {8}, 1).Strips({Counting(4096)})), 64, 64, 8, 64);
  uint64_t allocations = 0;
  {
    const AllocFaults counter(0);
    EXPECT_EQ(probe.Load(), 1);
    allocations = counter.Calls();
  }
  const AllocFaults faults(allocations, FaultSpan::kFromThenOn);
  EXPECT_EQ(probe.Load(), kResultNoMemory);
}

TEST(StoredStrips, RowsTooWideForMemoryFail) {
  TiffDirectory page = Page(0x7FFFFFFF, 1, {16, 16, 16}, 2).Strips({Counting(8)});
  LoadProbe probe(FileOf(page), 1, 1, 48, 0);
  probe.bitmap.width = 0x7FFFFFFF;
  EXPECT_EQ(probe.Load(), kResultNoMemory);
}

TEST(StoredTiles, StandSideBySide) {
  // 5 x 3 in tiles of 2 x 2: three across, two down, the last column and row padded.
  const auto tile = [](uint8_t a, uint8_t b, uint8_t c, uint8_t d) { return FileBytes({a, b, c, d}); };
  TiffDirectory page = Page(5, 3, {8}, 1);
  page.Short(322, {2}).Short(323, {2});
  page.Tiles({tile(0, 1, 10, 11), tile(2, 3, 12, 13), tile(4, 99, 14, 99), tile(20, 21, 99, 99), tile(22, 23, 99, 99),
              tile(24, 99, 99, 99)});
  LoadProbe probe(FileOf(page), 5, 3, 8, 5);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({0, 1, 2, 3, 4, 10, 11, 12, 13, 14, 20, 21, 22, 23, 24}));
}

TEST(StoredTiles, KeepTheirFullWidthInTheBand) {
  TiffDirectory page = Page(3, 1, {8}, 1);
  page.Short(322, {2}).Short(323, {1}).Tiles({{1, 2}, {3, 77}});
  LoadProbe probe(FileOf(page), 3, 1, 8, 4); // the sink looks one byte further than it may trust
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({1, 2, 3, 77}));
}

TEST(StoredTiles, LargeTilesAreNotSplit) {
  FileBytes left(128 * 80);
  FileBytes right(128 * 80);
  for (size_t row = 0; row < 80; ++row) {
    std::fill_n(left.begin() + static_cast<long>(row * 128), 128, static_cast<uint8_t>(row));
    std::fill_n(right.begin() + static_cast<long>(row * 128), 128, static_cast<uint8_t>(100 + row));
  }
  TiffDirectory page = Page(256, 80, {8}, 1);
  page.Short(322, {128}).Short(323, {80}).Tiles({left, right});
  LoadProbe probe(FileOf(page), 256, 80, 8, 256);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.rows.calls[79].bytes[127], 79);
  EXPECT_EQ(probe.rows.calls[79].bytes[128], 179);
}

TEST(StoredTiles, OneTileAcrossIsAStrip) {
  TiffDirectory page = Page(3, 2, {8}, 1);
  page.Short(322, {4}).Short(323, {2}).Tiles({{1, 2, 3, 0, 4, 5, 6, 0}});
  LoadProbe probe(FileOf(page), 3, 2, 8, 3);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({1, 2, 3, 4, 5, 6}));
}

TEST(StoredTiles, BandIsHalvedWithinItsTiles) {
  TiffDirectory page = Page(32, 16, {8}, 1);
  page.Short(322, {16}).Short(323, {16}).Tiles({Counting(256), Counting(256)});
  LoadProbe probe(FileOf(page), 32, 16, 8, 32);
  uint64_t allocations = 0;
  {
    const AllocFaults counter(0);
    EXPECT_EQ(probe.Load(), 1);
    allocations = counter.Calls();
  }
  const FileBytes whole = probe.Pixels();
  probe.rows.calls.clear();
  const AllocFaults faults(allocations - 1); // the band; the tile comes behind it
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), whole);
}

TEST(StoredTiles, NoMemoryForTheTileFails) {
  TiffDirectory page = Page(32, 16, {8}, 1);
  page.Short(322, {16}).Short(323, {16}).Tiles({Counting(256), Counting(256)});
  LoadProbe probe(FileOf(page), 32, 16, 8, 32);
  uint64_t allocations = 0;
  {
    const AllocFaults counter(0);
    EXPECT_EQ(probe.Load(), 1);
    allocations = counter.Calls();
  }
  const AllocFaults faults(allocations);
  EXPECT_EQ(probe.Load(), kResultNoMemory);
}

TEST(CompressedTiles, CannotBeHalved) {
  TiffDirectory page = Page(4, 2, {8}, 1, kPackBits);
  page.Short(322, {2}).Short(323, {2}).Tiles({{1, 0, 1, 1, 2, 3}, {1, 10, 11, 1, 12, 13}});
  LoadProbe probe(FileOf(page), 4, 2, 8, 4);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({0, 1, 10, 11, 2, 3, 12, 13}));
  uint64_t bandCall = 0; // the blocks behind it: the tile, and an input buffer a tile
  {
    const AllocFaults counter(0);
    EXPECT_EQ(probe.Load(), 1);
    bandCall = counter.Calls() - 3;
  }
  const AllocFaults faults(bandCall);
  EXPECT_EQ(probe.Load(), kResultNoMemory);
}

TEST(LzwStrips, RowByRow) {
  TiffDirectory page = Page(4, 2, {8}, 1, kLzw).Strips({LzwLiterals(Counting(8))});
  LoadProbe probe(FileOf(page), 4, 2, 8, 4);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), Counting(8));
}

TEST(LzwStrips, PredictorIsUndoneRowByRow) {
  TiffDirectory page = Page(4, 2, {8}, 1, kLzw).Strips({LzwLiterals({10, 1, 1, 1, 20, 2, 2, 255})}).Short(317, {2});
  LoadProbe probe(FileOf(page), 4, 2, 8, 4);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({10, 11, 12, 13, 20, 22, 24, 23}));
}

TEST(LzwStrips, PredictorOf16BitsFollowsTheFilesOrder) {
  // 0x0101, 0x0203: the sum is big-endian in the file, and the row stage swaps it.
  TiffDirectory page = Page(2, 1, {16}, 1, kLzw).Strips({LzwLiterals({0x01, 0x01, 0x01, 0x02})}).Short(317, {2});
  LoadProbe probe(FileOf(page, FileOrder::kBig), 2, 1, 16, 4);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), Words({0x0101, 0x0203}));
}

TEST(LzwStrips, PredictorIsForLzwAlone) {
  TiffDirectory page = Page(4, 1, {8}, 1, kPackBits).Strips({PackLiteral({10, 1, 1, 1})}).Short(317, {2});
  LoadProbe probe(FileOf(page), 4, 1, 8, 4);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({10, 1, 1, 1}));
}

TEST(LzwStrips, EarlyEndRepeatsTheLastByte) {
  TiffDirectory page = Page(4, 2, {8}, 1, kLzw).Strips({LzwLiterals({1, 2, 3})});
  LoadProbe probe(FileOf(page), 4, 2, 8, 4);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({1, 2, 3, 3, 3, 3, 3, 3}));
  EXPECT_EQ(+probe.request.truncationStatus, 1);
}

TEST(LzwStrips, CorruptStreamFails) {
  CodeStream stream;
  TiffDirectory page = Page(4, 2, {8}, 1, kLzw).Strips({stream.Put(300, 9).Pad(4).Bytes()});
  LoadProbe probe(FileOf(page), 4, 2, 8, 4);
  EXPECT_EQ(probe.Load(), kResultLzwOverflow);
}

TEST(LzwStrips, StripOfOneByteCannotBeRead) {
  TiffDirectory page = Page(4, 2, {8}, 1, kLzw).Strips({{0x80}});
  LoadProbe probe(FileOf(page), 4, 2, 8, 4);
  EXPECT_EQ(probe.Load(), kResultReadFailed);
}

TEST(LzwStrips, TilesEachWithADecoder) {
  TiffDirectory page = Page(4, 2, {8}, 1, kLzw);
  page.Short(322, {2}).Short(323, {2}).Tiles({LzwLiterals(Counting(4)), LzwLiterals(Counting(4, 10))});
  LoadProbe probe(FileOf(page), 4, 2, 8, 4);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({0, 1, 10, 11, 2, 3, 12, 13}));
}

TEST(PackBitsStrips, LiteralsRunsAndNothing) {
  // A literal of 3, nothing, a run of 5.
  TiffDirectory page = Page(8, 1, {8}, 1, kPackBits).Strips({{2, 1, 2, 3, 128, 252, 9}});
  LoadProbe probe(FileOf(page), 8, 1, 8, 8);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({1, 2, 3, 9, 9, 9, 9, 9}));
}

TEST(PackBitsStrips, RunsAreCutAtTheRow) {
  // A run of 6 in rows of 4: what is left of it is dropped.
  TiffDirectory page = Page(4, 2, {8}, 1, kPackBits).Strips({{251, 7, 3, 1, 2, 3, 4}});
  LoadProbe probe(FileOf(page), 4, 2, 8, 4);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({7, 7, 7, 7, 1, 2, 3, 4}));
}

TEST(PackBitsStrips, RestOfALiteralIsReadAsControlBytes) {
  // A literal of 6 over a row of 4: its tail 253, 5 is a run of 4.
  TiffDirectory page = Page(4, 2, {8}, 1, kPackBits).Strips({{5, 1, 2, 3, 4, 253, 5}});
  LoadProbe probe(FileOf(page), 4, 2, 8, 4);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({1, 2, 3, 4, 5, 5, 5, 5}));
}

TEST(PackBitsStrips, RunningOutWithDataWarns) {
  TiffDirectory page = Page(4, 2, {8}, 1, kPackBits).Strips({{3, 1, 2, 3, 4}});
  LoadProbe probe(FileOf(page), 4, 2, 8, 4);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({1, 2, 3, 4, 0, 0, 0, 0}));
  EXPECT_EQ(+probe.request.truncationStatus, kResultCodecShort);
}

TEST(PackBitsStrips, LiteralCutOffByTheStripIsNotBegun) {
  TiffDirectory page = Page(4, 1, {8}, 1, kPackBits).Strips({{0, 9, 7, 1, 2}});
  LoadProbe probe(FileOf(page), 4, 1, 8, 4);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({9, 0, 0, 0}));
  EXPECT_EQ(+probe.request.truncationStatus, kResultCodecShort);
}

TEST(PackBitsStrips, RunningOutWithTheFileWarnsOfTheRead) {
  TiffDirectory page = Page(4, 2, {8}, 1, kPackBits).Strips({{3, 1, 2, 3, 4}});
  LoadProbe probe(Claiming(page, 0, {3, 1, 2, 3, 4}, 9), 4, 2, 8, 4);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({1, 2, 3, 4, 0, 0, 0, 0}));
  EXPECT_EQ(+probe.request.truncationStatus, kResultReadFailed);
}

TEST(PackBitsStrips, NothingThereFails) {
  TiffDirectory page = Page(4, 2, {8}, 1, kPackBits).Strips({{}});
  LoadProbe probe(FileOf(page), 4, 2, 8, 4);
  EXPECT_EQ(probe.Load(), kResultReadFailed);
}

TEST(PackBitsStrips, SingleByteFailsAtItsFirstPosition) {
  TiffDirectory page = Page(4, 2, {8}, 1, kPackBits).Strips({{0}});
  LoadProbe probe(FileOf(page), 4, 2, 8, 4);
  EXPECT_EQ(probe.Load(), kResultCodecShort);
  LoadProbe claimed(Claiming(page, 0, {0}, 5), 4, 2, 8, 4);
  EXPECT_EQ(claimed.Load(), kResultReadFailed);
}

TEST(PackBitsStrips, FillOrder2BeforeAndAfter) {
  // Without a known writer the data are reversed before decoding: 0x40 is the literal of 3, 0x80 a 1.
  TiffDirectory before = Page(3, 1, {8}, 1, kPackBits).Strips({{0x40, 0x80, 0x40, 0xC0}}).Short(266, {2});
  LoadProbe probe(FileOf(before), 3, 1, 8, 3);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes({1, 2, 3}));
  // A writer whose data are reversed twice.
  TiffDirectory both = Page(3, 1, {8}, 1, kPackBits).Strips({{0x40, 0x80, 0x40, 0xC0}}).Short(266, {2});
  both.Ascii(305, "Oi/GFS");
  LoadProbe twice(FileOf(both), 3, 1, 8, 3);
  EXPECT_EQ(twice.Load(), 1);
  EXPECT_EQ(twice.Pixels(), FileBytes({0x80, 0x40, 0xC0}));
}

// The decoder by itself, with buffers smaller than the strip.
struct PackBitsStream {
  PackBitsStream(const FileBytes& bytes, uint32_t bufferBytes) : input(bytes) {
    page.codecFile = input.Handle();
    page.codecBufferSize = bufferBytes;
    page.codecBuffer = static_cast<uint8_t*>(TIFAllocZero(bufferBytes, 1));
    page.codecBytesLeft = static_cast<uint32_t>(bytes.size());
    context.status = 1;
  }
  ~PackBitsStream() { TIFFree(page.codecBuffer); }

  KernelGuard guard;
  MemoryInput input;
  TifPage page = {};
  TifLoadContext context = {};
};

TEST(PackBitsRefill, KeepsUnreadBytes) {
  // 100 literals of 100 bytes through a buffer of 512.
  FileBytes packed;
  FileBytes plain;
  for (uint8_t i = 0; i < 100; ++i) {
    const FileBytes literal = Counting(100, i);
    const FileBytes item = PackLiteral(literal);
    packed.insert(packed.end(), item.begin(), item.end());
    plain.insert(plain.end(), literal.begin(), literal.end());
  }
  PackBitsStream stream(packed, 512);
  ASSERT_EQ(TIFRefillPackBitsBuffer(&stream.page, 0), 1);
  FileBytes out(plain.size());
  EXPECT_EQ(TIFDecodePackBitsRows(&stream.page, out.data(), 100, 100, &stream.context), 1);
  EXPECT_EQ(out, plain);
  EXPECT_EQ(stream.context.status, 1);
}

TEST(PackBitsRefill, LastByteOfTheStripAloneIsTooShort) {
  // Three bytes through a buffer of 2: behind the run a single control byte is left, and two are asked for.
  PackBitsStream stream({255, 7, 0}, 2);
  ASSERT_EQ(TIFRefillPackBitsBuffer(&stream.page, 0), 1);
  FileBytes out(4);
  EXPECT_EQ(TIFDecodePackBitsRows(&stream.page, out.data(), 4, 1, &stream.context), 1);
  EXPECT_EQ(out, FileBytes({7, 7, 0, 0}));
  EXPECT_EQ(stream.context.status, kResultCodecShort);
}

TEST(PackBitsRefill, RunCutOffBehindItsControlByteStaysInTheBuffer) {
  // The buffer of 4 holds a literal; the refill brings the run's control byte alone, since the file ends there although
  // the strip goes on. The value is then the stale byte behind it.
  PackBitsStream stream({2, 1, 2, 3, 254}, 4);
  stream.page.codecBytesLeft = 6;
  ASSERT_EQ(TIFRefillPackBitsBuffer(&stream.page, 0), 1);
  FileBytes out(9);
  EXPECT_EQ(TIFDecodePackBitsRows(&stream.page, out.data(), 9, 1, &stream.context), 1);
  EXPECT_EQ(out, FileBytes({1, 2, 3, 1, 1, 1, 0, 0, 0}));
  EXPECT_EQ(stream.context.status, kResultCodecShort);
}

TEST(PackBitsRefill, ResumesInTheNextPiece) {
  PackBitsStream stream({3, 1, 2, 3, 4, 253, 9}, 64);
  ASSERT_EQ(TIFRefillPackBitsBuffer(&stream.page, 0), 1);
  FileBytes out(8);
  EXPECT_EQ(TIFDecodePackBitsRows(&stream.page, out.data(), 4, 1, &stream.context), 1);
  EXPECT_EQ(TIFDecodePackBitsRows(&stream.page, out.data() + 4, 4, 1, &stream.context), 1);
  EXPECT_EQ(out, FileBytes({1, 2, 3, 4, 9, 9, 9, 9}));
}

TEST(PackBitsBuffer, HalvesDownTo1024AndGivesUp) {
  const KernelGuard guard;
  TifPage page = {};
  {
    KrnLimits limits;
    krnGetLimits(&limits);
    limits.blockBytes = 3000;
    const LimitsGuard scope(limits);
    EXPECT_EQ(TIFAllocPackBitsBuffer(&page, 10000), 1);
  }
  EXPECT_EQ(+page.codecBufferSize, 2500u);
  TIFFree(page.codecBuffer);
  page = {};
  const AllocFaults faults(1, FaultSpan::kFromThenOn);
  EXPECT_EQ(TIFAllocPackBitsBuffer(&page, 10000), kResultNoMemory);
  EXPECT_EQ(faults.Calls(), 5u); // 10000, 5000, 2500, 1250, 625
  EXPECT_EQ(TIFAllocPackBitsBuffer(&page, 1024), kResultNoMemory);
}

TEST(CopyDecodedRows, StaysWithinTheStrip) {
  FileBytes source = Counting(5 * 8);
  FileBytes target(3 * 6, 0xEE);
  TifLoadContext context = {};
  context.outRows = target.data();
  context.outRowBytes = 6;
  context.outRowCount = 3;
  BitmapHandle bitmap = {};
  bitmap.bytesPerLine = 8;
  const auto data = reinterpret_cast<intptr_t>(&context);
  EXPECT_EQ(TIFCopyDecodedRows(nullptr, &bitmap, source.data(), 0, 0, 0, data), 1);
  EXPECT_EQ(target, FileBytes(18, 0xEE));
  EXPECT_EQ(TIFCopyDecodedRows(nullptr, &bitmap, source.data(), 0, 1, 5, data), 1);
  EXPECT_EQ(target, FileBytes({0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0, 1, 2, 3, 4, 5, 8, 9, 10, 11, 12, 13}));
  EXPECT_EQ(TIFCopyDecodedRows(nullptr, &bitmap, source.data(), 0, -4, 5, data), 1);
  EXPECT_EQ(target[0], 32); // the fifth row lands on the first
  EXPECT_EQ(TIFCopyDecodedRows(nullptr, &bitmap, source.data(), 0, INT32_MAX, 5, data), 1);
  EXPECT_EQ(TIFCopyDecodedRows(nullptr, &bitmap, source.data(), 0, INT32_MIN, 5, data), 1);
  bitmap.bytesPerLine = 4; // rows narrower than the strip's
  EXPECT_EQ(TIFCopyDecodedRows(nullptr, &bitmap, source.data(), 0, 2, 1, data), 1);
  EXPECT_EQ(target[15], 3);
  EXPECT_EQ(target[16], 12);
}

} // namespace
