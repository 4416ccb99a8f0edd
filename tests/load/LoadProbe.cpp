// The host of the load tests: see the header.

#include "load/LoadProbe.h"

#include <bit>

int32_t RowKeeper::Take(FileInfoRecord*, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags, int32_t firstRow,
                        int32_t rowCount, intptr_t keeper) {
  auto* self = reinterpret_cast<RowKeeper*>(keeper);
  if (static_cast<int32_t>(self->calls.size()) == self->refuseCall) {
    return self->refusal;
  }
  DeliveredRows call = {bitmap, flags, firstRow, rowCount, {}};
  const size_t stride = self->stride == 0 ? self->rowBytes : self->stride;
  for (int32_t i = 0; i < rowCount; ++i) {
    const uint8_t* row = rows + static_cast<size_t>(i) * stride;
    call.bytes.insert(call.bytes.end(), row, row + self->rowBytes);
  }
  self->calls.push_back(call);
  return 1;
}

FileBytes RowKeeper::Pixels() const {
  FileBytes pixels;
  for (const DeliveredRows& call : calls) {
    pixels.insert(pixels.end(), call.bytes.begin(), call.bytes.end());
  }
  return pixels;
}

LoadProbe::LoadProbe(const FileBytes& bytes, int32_t width, int32_t height, int32_t depth, size_t rowBytes)
    : file(bytes) {
  control.structSize = sizeof control;
  info.structSize = sizeof info;
  krnBitmapCreate(&bitmap, kBitmapHandleSize, 1, width, height, depth, kOrderRedFirst, 0, 1, 0, 0);
  rows.rowBytes = rowBytes;
  request.fileName = file.Name();
  request.bitmap = &bitmap;
  request.rowCallback = RowKeeper::Take;
  request.rowCallbackData = reinterpret_cast<intptr_t>(&rows);
  request.fileInfo = &info;
  request.infoControl = &control;
  request.fileOptions = &options;
  request.truncationStatus = 1;
}

LoadProbe::~LoadProbe() {
  krnGlobalFree(bitmap.lookupTable, 0, "LoadProbe.cpp");
  krnBitmapFree(&bitmap);
}

VxColor LoadProbe::PaletteEntry(uint32_t index) const {
  uint32_t count = 0;
  const VxColor* palette = krnBitmapPalette(&bitmap, &count);
  return palette != nullptr && index < count ? palette[index] : VxColor{0xEE, 0xEE, 0xEE, 0xEE};
}

std::vector<VxColor> LoadProbe::LookupTable() const {
  const auto* table = static_cast<const VxColor*>(krnGlobalPointer(bitmap.lookupTable));
  return table == nullptr ? std::vector<VxColor>() : std::vector<VxColor>(table, table + bitmap.lookupTableLength);
}

TiffDirectory Page(uint32_t width, uint32_t length, const std::vector<uint16_t>& bits, uint16_t photometric,
                   uint16_t compression) {
  TiffDirectory page;
  page.Long(256, {width}).Long(257, {length}).Short(258, bits).Short(259, {compression}).Short(262, {photometric});
  page.Short(277, {static_cast<uint16_t>(bits.size())});
  return page;
}

FileBytes FileOf(TiffDirectory page, FileOrder order) {
  TiffBuilder file(order);
  file.AddPage(page.Sort());
  return file.Build();
}

FileBytes Counting(size_t count, uint8_t first) {
  FileBytes bytes(count);
  for (size_t i = 0; i < count; ++i) {
    bytes[i] = static_cast<uint8_t>(first + i);
  }
  return bytes;
}

FileBytes Words(const std::vector<uint16_t>& values, FileOrder order) {
  FileBytes bytes;
  for (uint16_t value : values) {
    AppendU16(bytes, order, value);
  }
  return bytes;
}

FileBytes Longs(const std::vector<uint32_t>& values, FileOrder order) {
  FileBytes bytes;
  for (uint32_t value : values) {
    AppendU32(bytes, order, value);
  }
  return bytes;
}

FileBytes Floats(const std::vector<float>& values, FileOrder order) {
  FileBytes bytes;
  for (float value : values) {
    AppendU32(bytes, order, std::bit_cast<uint32_t>(value));
  }
  return bytes;
}
