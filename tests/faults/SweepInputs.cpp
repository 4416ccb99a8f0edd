// The files: see the header.

#include "faults/SweepInputs.h"

#include <gtest/gtest.h>

#include "faults/FaultDisk.h"
#include "support/FileDirectory.h"

namespace {

TiffDirectory PageOf(uint32_t width, uint32_t length, const std::vector<uint16_t>& bits, uint16_t photometric,
                     uint16_t compression = 1) {
  TiffDirectory page;
  page.Long(256, {width})
      .Long(257, {length})
      .Short(258, bits)
      .Short(259, {compression})
      .Short(262, {photometric})
      .Short(277, {static_cast<uint16_t>(bits.size())})
      .Rational(282, {{72, 1}})
      .Rational(283, {{72, 1}});
  return page;
}

FileBytes Ramp(size_t bytes, uint8_t first) {
  FileBytes ramp(bytes);
  for (size_t i = 0; i < bytes; ++i) {
    ramp[i] = static_cast<uint8_t>(first + i * 3);
  }
  return ramp;
}

FileBytes Built(FileOrder order, TiffDirectory page, uint16_t version = 42) {
  page.Sort();
  TiffBuilder file(order, version);
  file.AddPage(std::move(page));
  return file.Build();
}

FileBytes Iptc(const char* keyword) {
  FileBytes block = {0x1C, 2, 0, 0, 2, 0, 2};
  const std::string text = keyword;
  block.insert(block.end(), {0x1C, 2, 25, 0, static_cast<uint8_t>(text.size())});
  block.insert(block.end(), text.begin(), text.end());
  return block;
}

} // namespace

std::string WithOrder(const std::string& name, FileOrder order) {
  return name + (order == FileOrder::kBig ? ", big-endian" : ", little-endian");
}

std::vector<FileBytes> SweepRows(int32_t width, int32_t height, int32_t bits) {
  std::vector<FileBytes> rows(static_cast<size_t>(height));
  for (size_t y = 0; y < rows.size(); ++y) {
    for (int32_t x = 0; x < (width * bits + 7) / 8; ++x) {
      rows[y].push_back(static_cast<uint8_t>(static_cast<size_t>(x) / 3 * 7 + y / 2 * 13));
    }
  }
  return rows;
}

RowService SweepService(int32_t width, int32_t height, int32_t bits) {
  RowService service(width, height, bits, SweepRows(width, height, bits));
  service.palette.resize(256);
  for (uint32_t i = 0; i < 256; ++i) {
    const auto level = static_cast<uint8_t>(i);
    service.palette[i] = {level, static_cast<uint8_t>(255 - level), level, 0};
  }
  if (bits == 1) {
    service.palette[0] = {255, 255, 255, 0};
    service.palette[1] = {0, 0, 0, 0};
  }
  return service;
}

FileBytes WrittenFile(const WrittenKind& kind, FileOrder order) {
  FaultDisk disk;
  RowService service = SweepService(kWrittenWidth, kWrittenHeight, kind.bits);
  SaveJob job(kind.format, kind.bits, &service, disk.Name());
  job.options.flags = kind.flags | (order == FileOrder::kBig ? uint32_t{kSaveBigEndian} : 0u);
  job.options.tileWidth = job.options.tileHeight = kind.tile;
  job.options.pageNumber = 1;
  EXPECT_EQ(job.Run(), kResultOk) << kind.name;
  return disk.Bytes();
}

FileBytes PaletteFile(FileOrder order) {
  std::vector<uint16_t> map(48);
  for (size_t i = 0; i < map.size(); ++i) {
    map[i] = static_cast<uint16_t>(i * 1000 + 7);
  }
  TiffDirectory page = PageOf(8, 4, {4}, 3);
  page.Short(278, {2}).Short(320, map).Ascii(271, "Ein Hersteller").Ascii(305, "TIFFPrinter 1");
  page.Strips({Ramp(8, 1), Ramp(8, 77)});
  return Built(order, page);
}

FileBytes PlanarFile(FileOrder order) {
  TiffDirectory page = PageOf(8, 4, {8, 8, 8}, 2);
  page.Short(278, {4}).Short(284, {2}).Strips({Ramp(32, 1), Ramp(32, 2), Ramp(32, 3)});
  return Built(order, page);
}

FileBytes InkPlanesFile(FileOrder order) {
  TiffDirectory page = PageOf(8, 4, {8, 8, 8, 8}, 5);
  page.Short(278, {4}).Short(284, {2}).Strips({Ramp(32, 1), Ramp(32, 2), Ramp(32, 3), Ramp(32, 4)});
  return Built(order, page);
}

FileBytes WideFile(FileOrder order, bool isFloat) {
  FileBytes samples;
  for (uint32_t i = 0; i < 24; ++i) {
    AppendU32(samples, order, isFloat ? 0x42000000u + i * 0x10000u : i * 1000u + 5u);
  }
  TiffDirectory page = PageOf(6, 4, {32}, 1);
  page.Short(278, {4}).Short(339, {static_cast<uint16_t>(isFloat ? 3 : 1)}).Strips({samples});
  return Built(order, page);
}

FileBytes DeepGrayFile(FileOrder order) {
  TiffDirectory page = PageOf(6, 4, {16}, 1);
  page.Short(278, {2}).Short(280, {100}).Short(281, {5000}).Strips({Ramp(24, 1), Ramp(24, 9)});
  return Built(order, page);
}

FileBytes ToneBlockFile(FileOrder order) {
  // Two entries of four colours' table: little-endian whatever the file's order.
  FileBytes block;
  const auto entry = [&](uint16_t tag, uint16_t type, uint32_t count, uint32_t value) {
    AppendU16(block, FileOrder::kLittle, tag);
    AppendU16(block, FileOrder::kLittle, type);
    AppendU32(block, FileOrder::kLittle, count);
    AppendU32(block, FileOrder::kLittle, value);
  };
  AppendU16(block, FileOrder::kLittle, 3);
  entry(0, 3, 1, 2);
  entry(1, 3, 1, 13);
  entry(2, 1, 12, 42);
  AppendU32(block, FileOrder::kLittle, 0);
  const FileBytes table = Ramp(12, 5);
  block.insert(block.end(), table.begin(), table.end());
  TiffDirectory page = PageOf(6, 4, {16}, 1);
  page.Short(278, {4}).Byte(50234, block).Strips({Ramp(48, 1)});
  return Built(order, page);
}

FileBytes YccFile(FileOrder order) {
  TiffDirectory page = PageOf(8, 4, {8, 8, 8}, 6);
  page.Short(278, {4})
      .Rational(529, {{299, 1000}, {587, 1000}, {114, 1000}})
      .Short(530, {2, 2})
      .Rational(532, {{0, 1}, {255, 1}, {128, 1}, {255, 1}, {128, 1}, {255, 1}})
      .Strips({Ramp(48, 60)});
  return Built(order, page);
}

FileBytes VariantOrderFile(FileOrder order) {
  // Group 4, white rows: every row is the code V0, one bit of 1.
  const FileBytes strip = {0xC0, 0x01, 0x00, 0x10, 0x01};
  TiffDirectory page;
  page.Long(256, {16}).Long(257, {6}).Short(258, {1}).Short(262, {0}).Short(278, {2});
  page.Short(33466, {4, 4, 4}).Short(33467, {2, 0, 1}).Strips({strip, strip, strip});
  return Built(order, page, 12622);
}

FileBytes LargeStripFile(FileOrder order) {
  TiffDirectory page = PageOf(100, 100, {8}, 1);
  page.Short(278, {100}).Strips({Ramp(10000, 1)});
  return Built(order, page);
}

FileBytes ThreePages(FileOrder order) {
  TiffBuilder file(order);
  for (uint8_t page = 0; page < 3; ++page) {
    file.AddPage()
        .Long(254, {2})
        .Short(256, {4})
        .Short(257, {2})
        .Short(258, {8})
        .Short(259, {1})
        .Short(262, {1})
        .Ascii(270, "a page with text")
        .Short(277, {1})
        .Short(278, {1})
        .Short(297, {page, 0})
        .Strips({FileBytes(4, static_cast<uint8_t>(page + 1)), FileBytes(4, static_cast<uint8_t>(page + 11))})
        .Sort();
  }
  return file.Build();
}

FileBytes RichFile(FileOrder order, uint32_t pages) {
  TiffBuilder file(order);
  for (uint32_t i = 0; i < pages; ++i) {
    TiffDirectory note;
    note.Short(1, {7}).Ascii(2, "inside the maker's note");
    TiffDirectory interoperability;
    interoperability.Ascii(1, "R98").Undefined(2, {'0', '1', '0', '0'});
    TiffDirectory exif;
    exif.Rational(33434, {{1, 60}})
        .Undefined(36864, {'0', '2', '2', '1'})
        .Ascii(36867, "2026:01:02 03:04:05")
        .Undefined(37510, Ramp(20, 65))
        .Child(40965, interoperability);
    if (i == 0) {
      exif.Child(37500, note);
    } else {
      exif.Undefined(37500, Ramp(15, 200)); // of a form of its own
    }
    exif.Sort();
    TiffDirectory gps;
    gps.Byte(0, {2, 2, 0, 0}).Ascii(1, "N").Rational(2, {{48, 1}, {8, 1}, {0, 1}});
    TiffDirectory child;
    child.Short(256, {2}).Ascii(270, "a child of the page");
    TiffDirectory page = PageOf(4, 2, {8}, 1);
    page.Long(254, {2})
        .Ascii(270, "a page with all that can hang from it")
        .Short(278, {1})
        .Short(297, {static_cast<uint16_t>(i), 0})
        .Byte(33723, Iptc("meadow"))
        .Short(34735, {1, 1, 2, 3, 1024, 0, 1, 2, 2057, 34736, 1, 0, 3073, 34737, 7, 0})
        .Double(34736, {6378137.0})
        .Ascii(34737, "a name|")
        .Undefined(40000, Ramp(9, 1));
    if (i == 0) {
      page.Children(330, {child, child});
    } else {
      page.Child(330, child);
    }
    page.Child(34665, exif).Child(34853, gps);
    page.Strips({FileBytes(4, static_cast<uint8_t>(i + 1)), FileBytes(4, static_cast<uint8_t>(i + 11))});
    page.Sort();
    file.AddPage(std::move(page));
  }
  FileBytes bytes = file.Build();
  // The first page's maker note is a directory that the Exif directory holds as bytes.
  const FileDirectory exif = ReadFileChild(bytes, ReadFilePage(bytes), 34665);
  const uint32_t note = exif.Find(37500)->offset;
  PutU16(bytes, note + 2, order, 7);
  PutU32(bytes, note + 4, order, 2 + 2 * 12 + 4 + 24);
  return bytes;
}

FileBytes TiledFile(FileOrder order) {
  TiffDirectory page = PageOf(32, 16, {16}, 1);
  page.Short(322, {16}).Short(323, {16}).Tiles({Ramp(512, 1), Ramp(512, 5)});
  return Built(order, page);
}

FileBytes JpegStreamFile(FileOrder order) {
  // Tables as they stand in the file: 64 bytes; 16 counts and their values.
  FileBytes counts(16, 0);
  counts[0] = 3;
  FileBytes huffman = counts;
  huffman.insert(huffman.end(), {1, 2, 3});
  TiffDirectory page = PageOf(8, 4, {8}, 1, 6);
  page.Short(278, {4})
      .Pointer(513, 4, 1, Ramp(30, 1))
      .Long(514, {30})
      .Pointer(519, 4, 1, Ramp(64, 9))
      .Pointer(520, 4, 1, huffman)
      .Pointer(521, 4, 1, huffman)
      .Strips({Ramp(20, 4)});
  return Built(order, page);
}
