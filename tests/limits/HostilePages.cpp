#include "limits/HostilePages.h"

TiffDirectory Bare(uint32_t width, uint32_t length, uint16_t compression) {
  return TiffDirectory()
      .Long(256, {width})
      .Long(257, {length})
      .Short(258, {8})
      .Short(259, {compression})
      .Short(262, {1})
      .Short(277, {1});
}

TiffDirectory TiledPage(uint32_t width, uint32_t length, uint32_t tileWidth, uint32_t tileLength, uint32_t pieces,
                        uint32_t claimed, uint16_t compression) {
  TiffDirectory page = Bare(width, length, compression);
  page.Long(322, {tileWidth}).Long(323, {tileLength});
  page.Long(324, std::vector<uint32_t>(pieces, kFirstDirectory));
  page.Long(325, std::vector<uint32_t>(pieces, claimed));
  return page;
}

TiffDirectory StripPage(uint32_t width, uint32_t length, uint32_t rowsPerStrip, uint32_t pieces, uint32_t claimed,
                        uint16_t compression) {
  TiffDirectory page = Bare(width, length, compression);
  page.Long(278, {rowsPerStrip});
  page.Long(273, std::vector<uint32_t>(pieces, kFirstDirectory));
  page.Long(279, std::vector<uint32_t>(pieces, claimed));
  return page;
}

SparseFile OnePage(std::string name, TiffDirectory page, FileOrder order, uint16_t version) {
  TiffBuilder file(order, version);
  file.AddPage(std::move(page));
  return WholeFile(std::move(name), file.Build());
}

FileBytes Header(uint32_t firstDirectory) {
  FileBytes bytes = {'I', 'I', 42, 0};
  AppendU32(bytes, kLittle, firstDirectory);
  return bytes;
}

void AppendEntry(FileBytes& bytes, uint16_t tag, uint16_t type, uint32_t count, uint32_t value) {
  AppendU16(bytes, kLittle, tag);
  AppendU16(bytes, kLittle, type);
  AppendU32(bytes, kLittle, count);
  AppendU32(bytes, kLittle, value);
}

std::string Number(uint32_t count) {
  return std::to_string(count);
}
