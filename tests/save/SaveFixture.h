// What the tests of saves share: a row service over rows given by the test, a request filled for it, and the file that
// a save should give, put together entry by entry in the order in which the writer's values stand behind the directory.
#pragma once

#include <cstdint>
#include <vector>

#include <vxtif/vxtif.h>

#include "support/TempFile.h"
#include "support/TiffBuilder.h"

// The host's side of a save: a bitmap without pixels, and its rows in the form in which the library gets them.
class RowService {
public:
  // Rows of `bits` bits a pixel, the depth of bitmap and output alike; a row shorter than that is filled with zeros.
  RowService(int32_t width, int32_t height, int32_t bits, std::vector<FileBytes> rowsTopDown);

  BitmapHandle bitmap;     // as the caller sets it up
  BitmapHandle descriptor; // of the rows to come
  std::vector<FileBytes> rows;
  std::vector<VxColor> palette; // of the output

  // What the service does and saw.
  int32_t startResult = 1;
  uint32_t flagsAtStart = 0; // set: the flags that saveStart leaves behind
  bool changesFlags = false;
  uint32_t flagsAtEnd = 0; // added to the flags by saveEnd
  int32_t failingRow = -1;
  int32_t rowResult = -99;
  std::vector<int32_t> rowsAsked;
  std::vector<uint32_t> rowFlags;
  uint32_t seenAtStart = 0;
  int32_t bitsAtStart = 0;
  bool bufferAsked = false;
  bool fillsPitch = false; // rows are delivered with all the bytes of the descriptor's line
  uint32_t starts = 0;
  uint32_t ends = 0;
  RowService* stamp = nullptr; // answers for its own bitmap

  void Fill(FilterSaveRequest* request);

private:
  friend struct RowServiceCalls;
  struct Context {
    uint8_t front[8];
    VxColor palette[256];
  };
  Context context_ = {};
  FileBytes rowBuffer_;
};

// A save with its options.
class SaveJob {
public:
  SaveJob(int32_t format, int32_t bits, RowService* service, const char16_t* fileName);
  int32_t Run(int32_t (*save)(FilterSaveRequest*) = fltSave);

  FilterSaveRequest request = {};
  SaveOptions options = {};
};

// An entry and its value, given as numbers. Values of up to four bytes stand in the entry. With a block the value is
// the block's offset.
struct WrittenTag {
  uint16_t tag;
  uint16_t type;
  std::vector<uint32_t> values;
  FileBytes block = {};
};
WrittenTag Shorts(uint16_t tag, std::vector<uint32_t> values);
WrittenTag Longs(uint16_t tag, std::vector<uint32_t> values);
WrittenTag Rationals(uint16_t tag, std::vector<uint32_t> numeratorsAndDenominators);
WrittenTag Ascii(uint16_t tag, const char* bytes, uint32_t count);
WrittenTag Block(uint16_t tag, FileBytes block); // a LONG

// A page as the writer leaves it. Tags are given in the order in which it writes their values; 273 and 279, or 324 and
// 325, are added from the strips.
struct WrittenPage {
  std::vector<WrittenTag> tags;
  std::vector<FileBytes> strips;
  bool tiled = false;
  uint32_t nextOffset = 0;
  uint32_t reservedEntries = 0; // more than are written: a hole behind the next word, which stood at its end
};

// The tags that every page of one of the plain kinds has.
struct PageForm {
  uint32_t width;
  uint32_t height;
  std::vector<uint32_t> bitsPerSample;
  uint32_t compression;
  uint32_t photometric;
  uint32_t rowsPerStrip;
  uint32_t tileWidth = 0; // tiles of it when not 0
  uint32_t orientation = 1;
  uint32_t samples = 0;     // 0: as many as bitsPerSample has
  uint32_t subfileType = 0; // 0 or 2
  bool numbered = true;     // with 254 and 297
  uint32_t pageIndex = 0;
  uint32_t xResolution = 72;
  uint32_t yResolution = 72;
  std::vector<WrittenTag> extra = {}; // written behind the others, with values behind theirs
};
WrittenPage Page(const PageForm& form, std::vector<FileBytes> strips);

// Header and one page; or a page behind what is there, with the link set.
FileBytes NewFile(FileOrder order, const WrittenPage& page);
void AppendPage(FileBytes& file, FileOrder order, const WrittenPage& page, size_t linkOffset);

FileBytes Join(const std::vector<FileBytes>& parts);
FileBytes Repeat(const FileBytes& part, size_t count);
