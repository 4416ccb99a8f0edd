// Small files of every kind: see the header.

#include "SeedFiles.h"

#include <algorithm>

#include "Tif_lzw/PlainLzw.h"
#include "Tifutil/PackBits.h"
#include "fax/FaxTestPages.h"
#include "fax/PlainFaxRows.h"
#include "tif_com/Tags.h"

namespace {

constexpr uint32_t kWidth = 19;
constexpr uint32_t kHeight = 7;
constexpr uint32_t kTile = 16;

// A page's samples, told in short.
struct Form {
  uint32_t photometric;
  std::vector<uint16_t> bits;
  uint16_t extraSamples = 0;
  uint16_t sampleFormat = 0;
};

const Form kForms[] = {
    {kPhotometricWhiteIsZero, {1}},
    {kPhotometricBlackIsZero, {4}},
    {kPhotometricBlackIsZero, {8}},
    {kPhotometricBlackIsZero, {12}},
    {kPhotometricBlackIsZero, {16}},
    {kPhotometricBlackIsZero, {16}, 0, kSampleSigned},
    {kPhotometricBlackIsZero, {32}},
    {kPhotometricBlackIsZero, {32}, 0, kSampleFloat},
    {kPhotometricBlackIsZero, {8, 8}, 1},
    {kPhotometricPalette, {4}},
    {kPhotometricPalette, {8}},
    {kPhotometricPalette, {8, 8}, 1},
    {kPhotometricRgb, {8, 8, 8}},
    {kPhotometricRgb, {8, 8, 8, 8}, 1},
    {kPhotometricRgb, {8, 8, 8, 8, 8}, 2},
    {kPhotometricRgb, {16, 16, 16}},
    {kPhotometricRgb, {16, 16, 16, 16}, 1},
    {kPhotometricRgb, {5, 5, 5}},
    {kPhotometricRgb, {4, 4, 4}},
    {kPhotometricCmyk, {8, 8, 8, 8}},
    {kPhotometricCmyk, {16, 16, 16, 16}},
    {kPhotometricCmyk, {8, 8, 8, 8, 8}, 1},
    {kPhotometricCmyk, {16, 16, 16, 16, 16}, 1},
    {kPhotometricYCbCr, {8, 8, 8}},
    {kPhotometricCieLab, {8, 8, 8}},
    {kPhotometricCieLab, {16, 16, 16}},
    {kPhotometricCieLab, {8}},
};

FileBytes Pattern(size_t bytes) {
  FileBytes data(bytes);
  for (size_t i = 0; i < bytes; ++i) {
    data[i] = static_cast<uint8_t>(i % 29 < 14 ? 0x5A : i * 37);
  }
  return data;
}

FileBytes Compress(uint32_t compression, const FileBytes& data, size_t rowBytes) {
  if (compression == kCompressionLzw) {
    PlainEncoder encoder;
    encoder.Encode(data.data(), data.size());
    encoder.End();
    return encoder.bytes;
  }
  if (compression != kCompressionPackBits) {
    return data;
  }
  FileBytes packed;
  for (size_t at = 0; at < data.size(); at += rowBytes) {
    const size_t row = std::min(rowBytes, data.size() - at);
    FileBytes room(static_cast<size_t>(TIFPackBitsWorstCase(row)));
    uint8_t* end = room.data();
    TIFPackBitsEncodeRow(&end, data.data() + at, static_cast<uint32_t>(row));
    packed.insert(packed.end(), room.data(), end);
  }
  return packed;
}

void AddColours(TiffDirectory& page, const Form& form) {
  if (form.photometric == kPhotometricPalette || (form.photometric == kPhotometricCieLab && form.bits.size() == 1)) {
    std::vector<uint16_t> map(3u << form.bits[0]);
    for (size_t i = 0; i < map.size(); ++i) {
      map[i] = static_cast<uint16_t>(i * 771);
    }
    page.Short(kTagColorMap, map);
  }
  if (form.extraSamples != 0) {
    page.Short(kTagExtraSamples, std::vector<uint16_t>(form.extraSamples, 2));
  }
  if (form.sampleFormat != 0) {
    page.Short(kTagSampleFormat, std::vector<uint16_t>(form.bits.size(), form.sampleFormat));
  }
  if (form.photometric == kPhotometricYCbCr) {
    page.Rational(kTagYCbCrCoefficients, {{299, 1000}, {587, 1000}, {114, 1000}}).Short(kTagYCbCrSubSampling, {2, 2});
    page.Rational(kTagReferenceBlackWhite, {{0, 1}, {255, 1}, {128, 1}, {255, 1}, {128, 1}, {255, 1}});
  }
}

enum class Shape { kOneStrip, kStrips, kTiles, kPlanes, kPlaneTiles };

// Image data in pieces of the shape, each compressed by itself.
void AddPieces(TiffDirectory& page, const Form& form, uint32_t compression, Shape shape) {
  const bool planes = shape == Shape::kPlanes || shape == Shape::kPlaneTiles;
  const bool tiles = shape == Shape::kTiles || shape == Shape::kPlaneTiles;
  uint32_t bits = 0;
  for (uint16_t sample : form.bits) {
    bits += sample;
  }
  const uint32_t rows = tiles ? kTile : shape == Shape::kStrips ? 3 : kHeight;
  const uint32_t pixelBits = planes ? form.bits[0] : form.photometric == kPhotometricYCbCr ? 24 : bits;
  const size_t rowBytes = ((tiles ? kTile : kWidth + 1) * pixelBits + 7) / 8;
  const uint32_t perPlane = tiles ? 2 : (kHeight + rows - 1) / rows;
  const size_t count = perPlane * (planes ? form.bits.size() : 1);
  const std::vector<FileBytes> pieces(count, Compress(compression, Pattern(rowBytes * rows), rowBytes));
  if (tiles) {
    page.Long(kTagTileWidth, {kTile}).Long(kTagTileLength, {kTile}).Tiles(pieces);
  } else {
    page.Long(kTagRowsPerStrip, {rows}).Strips(pieces);
  }
  page.Short(kTagPlanarConfiguration, {static_cast<uint16_t>(planes ? kPlanarSeparate : kPlanarChunky)});
}

TiffDirectory Page(const Form& form, uint32_t compression, Shape shape) {
  TiffDirectory page;
  page.Long(kTagImageWidth, {kWidth}).Long(kTagImageLength, {kHeight}).Short(kTagBitsPerSample, form.bits);
  page.Short(kTagCompression, {static_cast<uint16_t>(compression)});
  page.Short(kTagPhotometric, {static_cast<uint16_t>(form.photometric)});
  page.Short(kTagSamplesPerPixel, {static_cast<uint16_t>(form.bits.size())});
  AddColours(page, form);
  AddPieces(page, form, compression, shape);
  if (compression == kCompressionLzw && shape != Shape::kTiles) {
    page.Short(kTagPredictor, {kPredictorHorizontal});
  }
  return page.Sort();
}

FileBytes OnePage(FileOrder order, TiffDirectory page, uint16_t version = 42) {
  TiffBuilder builder(order, version);
  builder.AddPage(page.Sort());
  return builder.Build();
}

void AddLayouts(std::vector<FileBytes>& files) {
  constexpr uint32_t kCompressions[] = {kCompressionNone, kCompressionLzw, kCompressionPackBits};
  uint32_t turn = 0; // layouts take turns over forms and compressions: each pair of the two meets two shapes
  for (const Form& form : kForms) {
    for (uint32_t compression : kCompressions) {
      const FileOrder order = turn % 2 == 0 ? FileOrder::kLittle : FileOrder::kBig;
      files.push_back(OnePage(order, Page(form, compression, static_cast<Shape>(turn % 3))));
      if (form.bits.size() > 1) {
        files.push_back(OnePage(order, Page(form, compression, turn % 4 == 0 ? Shape::kPlaneTiles : Shape::kPlanes)));
      }
      ++turn;
    }
  }
}

FileBytes FaxData(uint32_t compression, uint32_t width, bool withEndOfLine) {
  const TestPage page = MakePage(PageKind::kText, static_cast<int32_t>(width), static_cast<int32_t>(kHeight), 11);
  std::string bits;
  std::string above(width, '0');
  for (int32_t y = 0; y < page.height; ++y) {
    const std::string row = page.Row(y);
    bits += withEndOfLine ? "000000000001" : "";
    bits += compression == kCompressionGroup4 ? PlainEncode2D(row, above) : PlainEncode1D(row);
    if (compression == kCompressionCcittRle) {
      bits.resize((bits.size() + 7) / 8 * 8, '0');
    }
    above = row;
  }
  bits += compression == kCompressionGroup4 ? "000000000001000000000001" : "";
  return BytesOfBits(bits);
}

void AddFaxPages(std::vector<FileBytes>& files) {
  for (uint32_t compression : {kCompressionCcittRle, kCompressionGroup3, kCompressionGroup4}) {
    for (uint32_t width : {40u, 1728u}) {
      TiffDirectory page;
      page.Long(kTagImageWidth, {width}).Long(kTagImageLength, {kHeight}).Short(kTagBitsPerSample, {1});
      page.Short(kTagCompression, {static_cast<uint16_t>(compression)}).Short(kTagPhotometric, {0});
      page.Short(kTagFillOrder, {static_cast<uint16_t>(width == 40 ? 1 : 2)}).Long(kTagT4Options, {0});
      page.Strips({FaxData(compression, width, compression == kCompressionGroup3)}).Long(kTagRowsPerStrip, {kHeight});
      files.push_back(OnePage(FileOrder::kLittle, page));
    }
  }
}

TiffDirectory ExifDirectory() {
  TiffDirectory note;
  note.Short(1, {5}).Ascii(2, "a note");
  TiffDirectory exif;
  exif.Undefined(kTagExifVersion, {'0', '2', '2', '0'}).Ascii(36867, "2001:02:03 04:05:06").Rational(33434, {{1, 60}});
  exif.Short(34855, {200}).Undefined(37510, FileBytes(12, 'u')).Short(kTagFocalPlaneUnit, {2});
  exif.Child(kTagMakerNote, note, kTypeUndefined);
  exif.Child(kTagInteroperabilityIfd, TiffDirectory().Ascii(1, "R98"));
  return exif.Sort();
}

TiffDirectory GpsDirectory() {
  TiffDirectory gps;
  gps.Byte(kTagGpsVersion, {2, 2, 0, 0}).Ascii(1, "N").Rational(2, {{48, 1}, {8, 1}, {0, 1}}).Ascii(29, "2001:02:03");
  return gps;
}

FileBytes IptcBlock() {
  return {0x1C, 2, 0, 0, 2, 0, 2, 0x1C, 2, 25, 0, 3, 'k', 'e', 'y', 0x1C, 2, 25, 0, 2, 'w', 'd', 0x1C, 2, 5, 0, 1, 't'};
}

// Everything that edits and the reading of metadata know.
TiffDirectory MetadataPage() {
  TiffDirectory page = GrayPage(5, 4);
  page.Ascii(kTagImageDescription, "text").Ascii(kTagArtist, "someone").Ascii(kTagSoftware, "x");
  page.Short(kTagPageNumber, {0, 0}).Long(kTagNewSubfileType, {0});
  page.Child(kTagExifIfd, ExifDirectory()).Child(kTagGpsIfd, GpsDirectory());
  page.Undefined(kTagIptc, IptcBlock());
  page.Short(kTagGeoKeyDirectory,
             {1, 1, 0, 3, 1024, 0, 1, 2, 2057, kTagGeoDoubleParams, 1, 0, 1026, kTagGeoAsciiParams, 5, 0});
  page.Double(kTagGeoDoubleParams, {6378137.0}).Ascii(kTagGeoAsciiParams, "WGS8|");
  return page.Sort();
}

TiffDirectory JpegPage() {
  TiffDirectory page = GrayPage(8, 8);
  page.Remove(kTagCompression).Short(kTagCompression, {kCompressionOldJpeg});
  page.Pointer(kTagJpegInterchangeFormat, kTypeLong, 1, FileBytes(30, 0xD8))
      .Long(kTagJpegInterchangeFormatLength, {30});
  FileBytes table(33, 1);
  page.Pointer(kTagJpegDcTables, kTypeLong, 1, table).Pointer(kTagJpegAcTables, kTypeLong, 1, table);
  page.Pointer(kTagJpegQTables, kTypeLong, 1, FileBytes(64, 9));
  return page.Sort();
}

// Sub-tags of 12 bytes each, little-endian in every file, behind their number.
FileBytes PrivateBlock() {
  FileBytes block;
  const uint32_t rows[][3] = {{0, kTypeLong, 2}, {1, kTypeLong, 13}, {3, kTypeLong, 5}, {4, kTypeLong, 250}};
  AppendU16(block, FileOrder::kLittle, 5);
  for (const auto& row : rows) {
    AppendU16(block, FileOrder::kLittle, static_cast<uint16_t>(row[0]));
    AppendU16(block, FileOrder::kLittle, static_cast<uint16_t>(row[1]));
    AppendU32(block, FileOrder::kLittle, 1);
    AppendU32(block, FileOrder::kLittle, row[2]);
  }
  AppendU16(block, FileOrder::kLittle, 2);
  AppendU16(block, FileOrder::kLittle, kTypeByte);
  AppendU32(block, FileOrder::kLittle, 4);
  AppendU32(block, FileOrder::kLittle, 62);
  block.resize(62 + 12, 0x33);
  return block;
}

TiffDirectory PrivatePage() {
  TiffDirectory page = Page(kForms[4], kCompressionNone, Shape::kOneStrip);
  const FileBytes block = PrivateBlock();
  page.Pointer(kTagPrivateDirectory, kTypeUndefined, static_cast<uint32_t>(block.size()), block);
  page.Long(kTagPrivateSizePair, {9, 5}).Child(kTagPrivateSubDirectory, TiffDirectory().Long(1, {2}));
  return page.Sort();
}

TiffDirectory VariantPage() {
  TiffDirectory page;
  const std::vector<FileBytes> strips(3, FaxData(kCompressionGroup4, 40, false));
  page.Long(kTagImageWidth, {40}).Long(kTagImageLength, {3 * kHeight}).Short(kTagBitsPerSample, {1});
  page.Short(kTagCompression, {kCompressionGroup4}).Short(kTagPhotometric, {0}).Long(kTagRowsPerStrip, {kHeight});
  page.Strips(strips).Short(kTagPrivateRotation, {1}).Short(kTagPrivateStripCompression, {4, 1, 4});
  page.Short(kTagPrivateStripOrder, {2, 0, 1});
  return page.Sort();
}

// Pages that other compressions hand to a sibling library.
void AddSiblingPages(std::vector<FileBytes>& files) {
  for (uint32_t compression :
       {kCompressionJbig, kCompressionJpeg2000, kCompressionVector, kCompressionStoredSize, kCompressionWavelet,
        kCompressionVectorPage, kCompressionSegment, kCompressionDeflate, kCompressionCustom}) {
    for (const uint16_t bits : {uint16_t{1}, uint16_t{8}}) {
      TiffDirectory page = GrayPage(8, 8, bits == 1 ? 0x80 : 0x33);
      page.Remove(kTagCompression).Short(kTagCompression, {static_cast<uint16_t>(compression)});
      page.Remove(kTagBitsPerSample).Short(kTagBitsPerSample, {bits}).Long(kTagPrivateSizePair, {4, 4});
      files.push_back(OnePage(FileOrder::kBig, page));
    }
  }
}

TiffDirectory TreePage() {
  TiffDirectory inner = GrayPage(2, 2);
  inner.Child(kTagSubIfds, GrayPage(1, 1));
  TiffDirectory page = GrayPage(3, 3);
  page.Children(kTagSubIfds, {inner.Sort(), GrayPage(1, 2)})
      .Double(40000, {1.5, 2.5})
      .Value(40001, 13, 2, FileBytes(8));
  return page.Sort();
}

FileBytes ManyPages(FileOrder order, uint32_t count) {
  TiffBuilder builder(order);
  for (uint32_t i = 0; i < count; ++i) {
    TiffDirectory page = GrayPage(3 + i, 2);
    page.Short(kTagPageNumber, {static_cast<uint16_t>(i), 0}).Long(kTagNewSubfileType, {2});
    builder.AddPage(page.Sort());
  }
  return builder.Build();
}

} // namespace

std::vector<FileBytes> SeedFiles() {
  std::vector<FileBytes> files = {ManyPages(FileOrder::kLittle, 2), ManyPages(FileOrder::kBig, 5)};
  AddLayouts(files);
  AddFaxPages(files);
  AddSiblingPages(files);
  for (FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
    for (const TiffDirectory& page : {MetadataPage(), JpegPage(), PrivatePage(), TreePage()}) {
      files.push_back(OnePage(order, page));
    }
    files.push_back(OnePage(order, VariantPage(), 12622));
  }
  return files;
}

std::vector<FileBytes> SeedFilesToEdit() {
  std::vector<FileBytes> files;
  for (FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
    files.push_back(ManyPages(order, 3));
    for (const TiffDirectory& page : {MetadataPage(), TreePage(), JpegPage(), PrivatePage()}) {
      files.push_back(OnePage(order, page));
    }
    files.push_back(OnePage(order, Page(kForms[12], kCompressionLzw, Shape::kStrips)));
    files.push_back(OnePage(order, VariantPage(), 12622));
  }
  return files;
}

FileBytes GrayFile() {
  return OnePage(FileOrder::kLittle, GrayPage(4, 4));
}
