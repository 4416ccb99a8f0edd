#include "faxload/LoadHost.h"

#include <gtest/gtest.h>

LoadHost::LoadHost(const FileBytes& file, int32_t width, int32_t height, int32_t bitsPerPixel) : file_(file) {
  krnBitmapInit(&bitmap, kBitmapHandleSize, width, height, bitsPerPixel);
  info.structSize = sizeof info;
  info.bitsPerPixel = bitsPerPixel;
  request.fileName = file_.Name();
  request.bitmap = &bitmap;
  request.rowCallback = Sink;
  request.rowCallbackData = reinterpret_cast<intptr_t>(this);
  request.fileInfo = &info;
  request.fileOptions = &options;
}

int32_t LoadHost::Load() {
  rows.clear();
  flags.clear();
  return fltLoad(&request);
}

int32_t LoadHost::Sink(FileInfoRecord* info, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags, int32_t firstRow,
                       int32_t rowCount, intptr_t self) {
  auto* host = reinterpret_cast<LoadHost*>(self);
  EXPECT_EQ(info, &host->info);
  EXPECT_EQ(bitmap, &host->bitmap);
  EXPECT_EQ(firstRow, static_cast<int32_t>(host->rows.size()));
  EXPECT_EQ(rowCount, 1);
  if (firstRow == host->refuseRow) {
    return -77;
  }
  const size_t bytes = (static_cast<size_t>(bitmap->width) * static_cast<size_t>(bitmap->bitsPerPixel) + 7) / 8;
  host->rows.emplace_back(rows, rows + bytes);
  host->flags.push_back(flags);
  return 1;
}

std::string LoadHost::Row(size_t row) const {
  return BitsOfBytes(rows.at(row)).substr(0, static_cast<size_t>(bitmap.width));
}

bool LoadHost::Holds(const TestPage& page) const {
  if (page.width != bitmap.width || static_cast<size_t>(page.height) != rows.size()) {
    return false;
  }
  for (size_t y = 0; y < rows.size(); ++y) {
    if (Row(y) != page.Row(static_cast<int32_t>(y))) {
      return false;
    }
  }
  return true;
}
