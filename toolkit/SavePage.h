// Saving a bitmap as a page, taking pages out, and rewriting files: the host's half of the writing operations. A file
// that is made new grows beside its name; edits work in place.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "toolkit/Bitmap.h"
#include "toolkit/RowService.h"
#include "toolkit/ValueLists.h"

#include <vxtif/save.h>

namespace toolkit {

// Where a page goes.
struct Placement {
  enum class Kind { kNewFile, kAppend, kInsert, kReplace };
  Kind kind = Kind::kNewFile;
  int32_t page = 1; // for kInsert and kReplace
};

// What all pages that are written have in common.
struct PageOptions {
  Placement placement;
  uint32_t flags = 0;  // kSave... beside those that the fields below set
  uint32_t flags2 = 0; // kSave... of the second set
  std::optional<uint32_t> photometric;
  uint32_t tileWidth = 0; // 0 for strips
  uint32_t tileHeight = 0;
};

struct SaveJob {
  PageOptions page;
  int32_t format = 0;
  int32_t bitsPerPixel = 0;
  bool gray = false;
  Bitmap* stamp = nullptr; // second page of the Exif formats
  std::vector<NumberedValue> tags;
  std::vector<NumberedValue> comments;
  std::vector<NumberedValue> geoKeys;
  TifMarkerBlock* markers = nullptr; // Exif of a JPEG file
  std::optional<TifSizePair> storedSize;
  RowWatcher progress; // may be empty
};

// The record for a placement and options.
SaveOptions MakeSaveOptions(const PageOptions& options);

// Runs `write` on the file, or for a new file on a name beside it that becomes the file when the operation has
// succeeded. Throws Failure for a result other than 1.
void WriteInPlaceOrNew(const std::string& file, const Placement& placement, const char* operation,
                       const std::function<int32_t(const char16_t*)>& write);

// The depth that a bitmap is saved with when none is asked for.
int32_t NaturalDepth(const BitmapHandle& bitmap);

// Saves. Throws Failure.
void SavePage(const std::string& file, Bitmap& bitmap, const SaveJob& job);

// Saves grey bitmaps as the planes of one CMYK page. Throws Failure.
void SavePlanes(const std::string& file, std::vector<Bitmap>& planes, const SaveJob& job);

// Throws Failure.
void DeletePage(const std::string& file, int32_t page, bool keepPageNumbers);

struct CompactJob {
  PageOptions page;
  int32_t firstPage = 1;
  uint32_t pageCount = 0; // 0 for all
};

// Throws Failure.
void CompactFile(const std::string& source, const std::string& destination, const CompactJob& job);

} // namespace toolkit
