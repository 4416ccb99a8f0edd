// Loading a page: the host's half of fltLoad. It makes the bitmap that the file report asks for, keeps the rows that
// the library delivers, and refuses pages whose pixels are out of proportion before it calls.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "toolkit/Bitmap.h"
#include "toolkit/SampleLayout.h"

#include <vxtif/load.h>

namespace toolkit {

constexpr uint64_t kDefaultMaxBytes = 1ull << 30;

struct Region {
  int32_t left;
  int32_t top;
  int32_t width;
  int32_t height;
};

// Data without TIFF structure.
struct RawSource {
  int32_t format = 0; // kFormatRawRows, kFormatRawPackBits, kFormatRawFax
  int32_t width = 0;
  int32_t height = 0;
  int32_t bitsPerPixel = 1;
  uint32_t offset = 0;        // raw rows: of the first
  uint32_t flags = kRawView1; // kRaw...
  uint32_t streamBytes = 0;   // raw PackBits; 0 takes the whole file
  uint32_t photometric = 1;   // raw PackBits
  int32_t resolution = 0;     // dots per inch, both ways
};

// Takes each delivered row: its number and the bytes that may be read. Rows come in order. Throws to end the load.
using RowReceiver = std::function<void(int32_t row, const uint8_t* bytes, size_t count)>;

struct LoadOptions {
  int32_t page = 1;
  std::optional<uint32_t> directoryOffset; // of the page, in place of the number
  std::optional<Region> region;            // upright, or as stored with ignoreOrientation
  bool ignoreOrientation = false;
  bool forceRgb = false;
  bool alpha = false; // keep the alpha of grey and palette pages
  uint64_t maxBytes = kDefaultMaxBytes;
  std::optional<RawSource> raw;
  RowReceiver rows;                               // null keeps the rows in the bitmap, else they go here only
  std::function<void(int32_t, int32_t)> progress; // rows done, rows in all; may be empty
};

struct LoadedPage {
  FileInfoRecord report = {};
  SampleLayout layout;
  Bitmap bitmap; // without pixels when the rows went to a receiver
  bool keptAlpha = false;
  int32_t warning = 1; // truncationStatus: 1, or why rows were filled with zeros
};

// A user who raises the limit means it for the kernel too.
void RaiseKernelLimit(uint64_t maxBytes);

// Throws Failure.
LoadedPage LoadPage(const std::string& file, const LoadOptions& options);

} // namespace toolkit
