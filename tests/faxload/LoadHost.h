// A host of fltLoad for bilevel pages and raw rows: a request with all that it needs, and the rows that came.
#pragma once

#include <string>
#include <vector>

#include <vxtif/vxtif.h>

#include "fax/FaxTestPages.h"
#include "support/TempFile.h"

class LoadHost {
public:
  LoadHost(const FileBytes& file, int32_t width, int32_t height, int32_t bitsPerPixel = 1);
  LoadHost(const LoadHost&) = delete;
  LoadHost& operator=(const LoadHost&) = delete;

  int32_t Load(); // rows of a load before are dropped

  FilterLoadRequest request{};
  FileInfoRecord info{};
  FileOptions options{};
  BitmapHandle bitmap{};
  int32_t refuseRow = -1; // the sink gives -77 for it

  std::vector<FileBytes> rows;
  std::vector<uint32_t> flags;
  std::string Row(size_t row) const;
  bool Holds(const TestPage& page) const;

private:
  static int32_t Sink(FileInfoRecord* info, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags, int32_t firstRow,
                      int32_t rowCount, intptr_t self);
  TempFile file_;
};
