// Fax pages between this codec and independent tools: what tiffcp, fax2tiff and gdal_translate write decodes here to
// the same pixels as there, and what is written here they read back. The tools are called as programs.

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>

#include <gtest/gtest.h>

#include "fax/FaxTestHost.h"
#include "support/TempFile.h"
#include "support/TiffBuilder.h"

namespace {

// A folder for the tools' files, removed at the end.
class ToolFolder {
public:
  ToolFolder() : folder_(name_.Path()) {
    folder_ += ".d";
    std::filesystem::create_directory(folder_);
  }
  ~ToolFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  ToolFolder(const ToolFolder&) = delete;
  ToolFolder& operator=(const ToolFolder&) = delete;

  std::string Path(const std::string& name) const { return (folder_ / name).string(); }
  void Write(const std::string& name, const FileBytes& bytes) const {
    std::ofstream file(folder_ / name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }
  FileBytes Read(const std::string& name) const {
    std::ifstream file(folder_ / name, std::ios::binary);
    return FileBytes(std::istreambuf_iterator<char>(file), {});
  }
  // Runs a command in the folder; its output is shown when it fails.
  void Run(const std::string& command) const {
    const std::string line = "cd '" + folder_.string() + "' && " + command + " >out.txt 2>&1";
    if (std::system(line.c_str()) != 0) {
      const FileBytes output = Read("out.txt");
      ADD_FAILURE() << command << "\n" << std::string(output.begin(), output.end());
    }
  }

private:
  TempFile name_;
  std::filesystem::path folder_;
};

enum : uint16_t {
  kWidth = 256,
  kLength = 257,
  kBits = 258,
  kCompression = 259,
  kPhotometric = 262,
  kFillOrder = 266,
  kStripOffsets = 273,
  kSamples = 277,
  kRowsPerStrip = 278,
  kByteCounts = 279,
  kXResolution = 282,
  kYResolution = 283,
  kT4Options = 292,
  kTileWidth = 322,
  kTileLength = 323,
  kTileOffsets = 324,
  kTileByteCounts = 325
};

// The numbers of a little-endian file's first directory; enough of a reader for what the tools write here.
class TiffNumbers {
public:
  explicit TiffNumbers(const FileBytes& bytes) {
    EXPECT_EQ(bytes.at(0), 'I');
    const uint32_t directory = GetU32(bytes, 4, FileOrder::kLittle);
    const uint16_t count = GetU16(bytes, directory, FileOrder::kLittle);
    for (uint32_t i = 0; i < count; ++i) {
      const uint32_t entry = directory + 2 + 12 * i;
      const uint16_t type = GetU16(bytes, entry + 2, FileOrder::kLittle);
      const uint32_t values = GetU32(bytes, entry + 4, FileOrder::kLittle);
      const uint32_t size = type == 3 ? 2 : 4;
      if (type != 3 && type != 4) {
        continue;
      }
      const uint32_t place = values * size > 4 ? GetU32(bytes, entry + 8, FileOrder::kLittle) : entry + 8;
      std::vector<uint32_t>& numbers = tags_[GetU16(bytes, entry, FileOrder::kLittle)];
      for (uint32_t n = 0; n < values; ++n) {
        numbers.push_back(size == 2 ? GetU16(bytes, place + n * size, FileOrder::kLittle)
                                    : GetU32(bytes, place + n * size, FileOrder::kLittle));
      }
    }
  }
  uint32_t Get(uint16_t tag, uint32_t standIn = 0) const {
    const auto found = tags_.find(tag);
    return found == tags_.end() ? standIn : found->second.at(0);
  }
  bool Has(uint16_t tag) const { return tags_.contains(tag); }
  const std::vector<uint32_t>& All(uint16_t tag) const { return tags_.at(tag); }

private:
  std::map<uint16_t, std::vector<uint32_t>> tags_;
};

TestPage Inverse(TestPage page) {
  for (int32_t y = 0; y < page.height; ++y) {
    for (int32_t x = 0; x < page.width; ++x) {
      page.Set(x, y, !page.At(x, y));
    }
  }
  return page;
}

// An uncompressed file of one strip. The bits of `page` are the file's, whatever the photometric value says.
FileBytes PlainTiff(const TestPage& page, uint16_t photometric) {
  TiffBuilder file(FileOrder::kLittle);
  file.AddPage()
      .Long(kWidth, {static_cast<uint32_t>(page.width)})
      .Long(kLength, {static_cast<uint32_t>(page.height)})
      .Short(kBits, {1})
      .Short(kCompression, {1})
      .Short(kPhotometric, {photometric})
      .Short(kSamples, {1})
      .Long(kRowsPerStrip, {static_cast<uint32_t>(page.height)})
      .Rational(kXResolution, {{204, 1}})
      .Rational(kYResolution, {{196, 1}})
      .Strips({page.rows})
      .Sort();
  return file.Build();
}

uint32_t FormatOf(const TiffNumbers& numbers) {
  switch (numbers.Get(kCompression)) {
  case 2:
    return kFaxModifiedHuffman;
  case 3:
    return (numbers.Get(kT4Options) & 1) != 0 ? kFaxT4TwoDimensional : kFaxT4OneDimensional;
  case 4:
    return kFaxT6;
  default:
    ADD_FAILURE() << "compression " << numbers.Get(kCompression);
    return 0;
  }
}

// Decodes the page of a tool's file with this codec.
FaxDecoded DecodeTiff(const FileBytes& bytes) {
  const TiffNumbers numbers(bytes);
  const bool tiled = numbers.Has(kTileOffsets);
  FaxTestFile file;
  file.bytes = bytes;
  file.offsets = numbers.All(tiled ? kTileOffsets : kStripOffsets);
  file.byteCounts = numbers.All(tiled ? kTileByteCounts : kByteCounts);
  FaxDecodeCall call;
  call.format = FormatOf(numbers);
  call.width = static_cast<int32_t>(numbers.Get(kWidth));
  call.height = static_cast<int32_t>(numbers.Get(kLength));
  call.pieceWidth = tiled ? numbers.Get(kTileWidth) : numbers.Get(kWidth);
  call.rowsPerStrip = tiled ? numbers.Get(kTileLength) : numbers.Get(kRowsPerStrip, 0xFFFFFFFF);
  call.flags = numbers.Get(kFillOrder, 1) == 2 ? uint32_t{kFaxFillOrder2} : 0u;
  return DecodeFax(file, call);
}

const std::vector<TestPage>& Pages() {
  static const std::vector<TestPage> pages = [] {
    std::vector<TestPage> made;
    for (const PageKind kind : kAllPageKinds) {
      made.push_back(MakePage(kind, 1728, 60, 31));
      made.push_back(MakePage(kind, 333, 45, 32));
    }
    made.push_back(MakePage(PageKind::kRuns, 20011, 20, 33));
    // Every run length of the tables and beyond, of both colours.
    TestPage runs(6000, 1400);
    for (int32_t y = 0; y < 1400; ++y) {
      runs.Fill(2 * y, 4 * y + 1, y, true);
    }
    made.push_back(runs);
    return made;
  }();
  return pages;
}

struct ToolCase {
  const char* name;
  const char* options;
};

class FaxFromTiffcp : public testing::TestWithParam<ToolCase> {};

TEST_P(FaxFromTiffcp, DecodesBitForBit) {
  const ToolFolder folder;
  for (size_t i = 0; i < Pages().size(); ++i) {
    for (const uint16_t photometric : {uint16_t{0}, uint16_t{1}}) {
      SCOPED_TRACE(testing::Message() << "page " << i << " photometric " << photometric);
      folder.Write("in.tif", PlainTiff(Pages()[i], photometric));
      folder.Run(std::string("tiffcp ") + GetParam().options + " in.tif out.tif");
      const FaxDecoded decoded = DecodeTiff(folder.Read("out.tif"));
      ASSERT_EQ(decoded.result, 1);
      ASSERT_TRUE(decoded.page == Pages()[i]);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Forms, FaxFromTiffcp,
    testing::Values(ToolCase{"G3", "-c g3:1d"}, ToolCase{"G3Fill", "-c g3:1d:fill"}, ToolCase{"G3TwoD", "-c g3:2d"},
                    ToolCase{"G3TwoDFill", "-c g3:2d:fill"}, ToolCase{"G4", "-c g4"},
                    ToolCase{"G3Strips", "-c g3:1d -s -r 7"}, ToolCase{"G3TwoDStrips", "-c g3:2d:fill -s -r 7"},
                    ToolCase{"G4Strips", "-c g4 -s -r 7"}, ToolCase{"G4Tiles", "-c g4 -t -w 64 -l 32"},
                    ToolCase{"G3Tiles", "-c g3:1d:fill -t -w 128 -l 16"},
                    ToolCase{"G3TwoDTiles", "-c g3:2d -t -w 48 -l 48"}, ToolCase{"G3Reversed", "-c g3:1d -f lsb2msb"},
                    ToolCase{"G3TwoDReversed", "-c g3:2d:fill -f lsb2msb"}, ToolCase{"G4Reversed", "-c g4 -f lsb2msb"},
                    ToolCase{"G4TilesReversed", "-c g4 -t -w 64 -l 32 -f lsb2msb"}),
    [](const auto& test) { return test.param.name; });

class FaxFromGdal : public testing::TestWithParam<ToolCase> {};

TEST_P(FaxFromGdal, DecodesBitForBit) {
  const ToolFolder folder;
  for (const size_t i : {size_t{0}, size_t{4}, size_t{6}, size_t{9}, Pages().size() - 1}) {
    SCOPED_TRACE(testing::Message() << "page " << i);
    folder.Write("in.tif", PlainTiff(Pages()[i], 1));
    folder.Run(std::string("gdal_translate -q -co NBITS=1 ") + GetParam().options + " in.tif out.tif");
    const FileBytes bytes = folder.Read("out.tif");
    const bool inverts = TiffNumbers(bytes).Get(kPhotometric) == 0;
    const FaxDecoded decoded = DecodeTiff(bytes);
    ASSERT_EQ(decoded.result, 1);
    ASSERT_TRUE((inverts ? Inverse(decoded.page) : decoded.page) == Pages()[i]);
  }
}

INSTANTIATE_TEST_SUITE_P(Forms, FaxFromGdal,
                         testing::Values(ToolCase{"ModifiedHuffman", "-co COMPRESS=CCITTRLE"},
                                         ToolCase{"ModifiedHuffmanStrips", "-co COMPRESS=CCITTRLE -co BLOCKYSIZE=9"},
                                         ToolCase{
                                             "ModifiedHuffmanTiles",
                                             "-co COMPRESS=CCITTRLE -co TILED=YES -co BLOCKXSIZE=64 -co BLOCKYSIZE=32"},
                                         ToolCase{"G4", "-co COMPRESS=CCITTFAX4"}),
                         [](const auto& test) { return test.param.name; });

// fax2tiff takes a bare stream, and writes class F pages in each form.
TEST(FaxFromFax2tiff, DecodesBitForBit) {
  const ToolFolder folder;
  const TestPage page = MakePage(PageKind::kText, 1728, 80, 3);
  FaxEncodeCall encode;
  encode.mode = kFaxT4OneDimensional;
  folder.Write("raw.g3", EncodeFax(page, encode).file.bytes);
  for (const char* options :
       {"-7 -5 -p", "-7 -5 -a", "-7 -6 -p", "-7 -6 -a", "-7 -6 -a -m -r 10", "-8", "-8 -m -r 10"}) {
    folder.Run(std::string("fax2tiff -1 -M -W -X 1728 ") + options + " -o out.tif raw.g3");
    const FaxDecoded decoded = DecodeTiff(folder.Read("out.tif"));
    EXPECT_TRUE(decoded.page == page) << options;
  }
}

// A TIFF file around what this codec writes.
FileBytes FaxTiff(const TestPage& page, const FaxEncodeCall& call, const FaxEncoded& encoded) {
  std::vector<FileBytes> pieces;
  for (size_t i = 0; i < encoded.file.offsets.size(); ++i) {
    const auto begin = encoded.file.bytes.begin() + encoded.file.offsets[i];
    pieces.emplace_back(begin, begin + encoded.file.byteCounts[i]);
  }
  const bool tiled = call.tileWidth > 0;
  TiffBuilder file(FileOrder::kLittle);
  TiffDirectory& directory = file.AddPage();
  directory.Long(kWidth, {static_cast<uint32_t>(page.width)})
      .Long(kLength, {static_cast<uint32_t>(page.height)})
      .Short(kBits, {1})
      .Short(kCompression, {static_cast<uint16_t>(call.mode == kFaxModifiedHuffman ? 2
                                                  : call.mode == kFaxT6            ? 4
                                                                                   : 3)})
      .Short(kPhotometric, {0})
      .Short(kFillOrder, {static_cast<uint16_t>(call.fillOptions == kFaxFillReverseBits ? 2 : 1)})
      .Short(kSamples, {1})
      .Rational(kXResolution, {{204, 1}})
      .Rational(kYResolution, {{196, 1}});
  if (call.mode == kFaxT4OneDimensional || call.mode == kFaxT4TwoDimensional) {
    directory.Long(kT4Options, {call.t4Options});
  }
  if (tiled) {
    directory.Long(kTileWidth, {call.tileWidth}).Long(kTileLength, {call.tileHeight}).Tiles(pieces);
  } else {
    const uint32_t rows = call.tileHeight == 0 ? static_cast<uint32_t>(page.height) : call.tileHeight;
    directory.Long(kRowsPerStrip, {rows}).Strips(pieces);
  }
  directory.Sort();
  return file.Build();
}

struct WriteCase {
  const char* name;
  uint32_t mode;
  uint32_t t4Options;
  uint32_t fillOptions;
  uint32_t tileWidth;
  uint32_t tileHeight;
};

// The tool refuses one-dimensional rows in which every pixel is a run of its own, those that it wrote itself too.
bool PeerRefuses(const TestPage& page, uint32_t mode) {
  const bool oneDimensional = mode == kFaxModifiedHuffman || mode == kFaxT4OneDimensional;
  return oneDimensional && page == MakePage(PageKind::kCheckered, page.width, page.height, 0);
}

class FaxToTiffcp : public testing::TestWithParam<WriteCase> {};

TEST_P(FaxToTiffcp, ReadsBackBitForBit) {
  const ToolFolder folder;
  FaxEncodeCall call;
  call.mode = GetParam().mode;
  call.t4Options = GetParam().t4Options;
  call.fillOptions = GetParam().fillOptions;
  call.tileWidth = GetParam().tileWidth;
  call.tileHeight = GetParam().tileHeight;
  for (size_t i = 0; i < Pages().size(); ++i) {
    SCOPED_TRACE(testing::Message() << "page " << i);
    const TestPage& page = Pages()[i];
    if (PeerRefuses(page, call.mode)) {
      continue;
    }
    const FaxEncoded encoded = EncodeFax(page, call);
    ASSERT_EQ(encoded.result, 1);
    folder.Write("in.tif", FaxTiff(page, call, encoded));
    folder.Run("tiffcp -c none -s -r 100000 -f msb2lsb in.tif out.tif");
    const FileBytes bytes = folder.Read("out.tif");
    const FileBytes said = folder.Read("out.txt");
    EXPECT_TRUE(said.empty()) << std::string(said.begin(), said.end());
    const TiffNumbers numbers(bytes);
    ASSERT_EQ(numbers.All(kStripOffsets).size(), 1u);
    const auto begin = bytes.begin() + static_cast<ptrdiff_t>(numbers.Get(kStripOffsets));
    ASSERT_EQ(numbers.Get(kByteCounts), page.rows.size());
    ASSERT_TRUE(std::equal(page.rows.begin(), page.rows.end(), begin));
  }
}

constexpr uint32_t kReversed = kFaxFillReverseBits;

INSTANTIATE_TEST_SUITE_P(Forms, FaxToTiffcp,
                         testing::Values(WriteCase{"ModifiedHuffman", kFaxModifiedHuffman, 0, 0, 0, 0},
                                         WriteCase{"ModifiedHuffmanStrips", kFaxModifiedHuffman, 0, 0, 0, 9},
                                         WriteCase{"ModifiedHuffmanReversed", kFaxModifiedHuffman, 0, kReversed, 0, 9},
                                         WriteCase{"ModifiedHuffmanTiles", kFaxModifiedHuffman, 0, 0, 64, 32},
                                         WriteCase{"G3", kFaxT4OneDimensional, 0, 0, 0, 0},
                                         WriteCase{"G3Aligned", kFaxT4OneDimensional, 4, 0, 0, 0},
                                         WriteCase{"G3AlignedStrips", kFaxT4OneDimensional, 4, 0, 0, 13},
                                         WriteCase{"G3TwoD", kFaxT4TwoDimensional, 1, 0, 0, 0},
                                         WriteCase{"G3TwoDAligned", kFaxT4TwoDimensional, 5, 0, 0, 0},
                                         WriteCase{"G3TwoDAlignedReversed", kFaxT4TwoDimensional, 5, kReversed, 0, 13},
                                         WriteCase{"G3TwoDTiles", kFaxT4TwoDimensional, 5, 0, 64, 16},
                                         WriteCase{"G4", kFaxT6, 0, 0, 0, 0}, WriteCase{"G4Strips", kFaxT6, 0, 0, 0, 9},
                                         WriteCase{"G4Reversed", kFaxT6, 0, kReversed, 0, 0},
                                         WriteCase{"G4Tiles", kFaxT6, 0, 0, 64, 32},
                                         WriteCase{"G4TilesReversed", kFaxT6, 0, kReversed, 256, 256}),
                         [](const auto& test) { return test.param.name; });

} // namespace
