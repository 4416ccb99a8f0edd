// A host for loads in tests: a file, a request with everything that it may hold, a bitmap, and a row sink that keeps
// what it is given, reading exactly the bytes of a row that a host may read.
#pragma once

#include <cstdint>
#include <vector>

#include <vxtif/vxtif.h>

#include "support/KernelGuard.h"
#include "support/TempFile.h"
#include "support/TiffBuilder.h"

struct DeliveredRows {
  BitmapHandle* bitmap;
  uint32_t flags;
  int32_t firstRow;
  int32_t rowCount;
  FileBytes bytes;
};

// Rows kept by a sink. `rowBytes` of every row are read, rows of one call being `stride` apart.
struct RowKeeper {
  size_t rowBytes = 0;
  size_t stride = 0; // 0: rowBytes
  int32_t refuseCall = -1;
  int32_t refusal = 0;
  std::vector<DeliveredRows> calls;

  static int32_t Take(FileInfoRecord* info, BitmapHandle* bitmap, uint8_t* rows, uint32_t flags, int32_t firstRow,
                      int32_t rowCount, intptr_t keeper);
  FileBytes Pixels() const; // all rows, one behind the other
};

class LoadProbe {
public:
  // The bitmap gets pixels of its own, so that palettes set by the load are kept.
  LoadProbe(const FileBytes& file, int32_t width, int32_t height, int32_t depth, size_t rowBytes);
  ~LoadProbe();
  LoadProbe(const LoadProbe&) = delete;
  LoadProbe& operator=(const LoadProbe&) = delete;

  int32_t Load() { return fltLoad(&request); }
  VxColor PaletteEntry(uint32_t index) const; // of the bitmap; all 0xEE without one
  std::vector<VxColor> LookupTable() const;
  FileBytes Pixels() const { return rows.Pixels(); }

  KernelGuard guard;
  TempFile file;
  FileOptions options = {};
  FilterInfoControl control = {};
  FileInfoRecord info = {};
  BitmapHandle bitmap = {};
  RowKeeper rows;
  FilterLoadRequest request = {};
};

// The tags of a page but for its strips: width, length, bits, compression, photometric value, samples. Add the strips
// and what else it needs, then Sort().
TiffDirectory Page(uint32_t width, uint32_t length, const std::vector<uint16_t>& bits, uint16_t photometric,
                   uint16_t compression = 1);

// A file of one sorted page.
FileBytes FileOf(TiffDirectory page, FileOrder order = FileOrder::kLittle);

// Bytes first, first + 1, ... wrapping.
FileBytes Counting(size_t count, uint8_t first = 0);

// Little-endian numbers as bytes.
FileBytes Words(const std::vector<uint16_t>& values, FileOrder order = FileOrder::kLittle);
FileBytes Longs(const std::vector<uint32_t>& values, FileOrder order = FileOrder::kLittle);
FileBytes Floats(const std::vector<float>& values, FileOrder order = FileOrder::kLittle);
