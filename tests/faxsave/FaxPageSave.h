// A host of fltSave for bilevel pages: a request over a page in memory with a row service that counts its calls and can
// refuse them, the pieces of a saved page, and the codes they have to hold, by the plain coder.
#pragma once

#include <vector>

#include <vxtif/vxtif.h>

#include "fax/FaxTestPages.h"
#include "support/FileDirectory.h"
#include "support/TempFile.h"

class FaxPageSave {
public:
  FaxPageSave(const TempFile& file, const TestPage& page, int32_t format, FileOrder order = FileOrder::kLittle);
  FaxPageSave(const FaxPageSave&) = delete;
  FaxPageSave& operator=(const FaxPageSave&) = delete;

  int32_t Save();
  void AskTiles(uint32_t width, uint32_t height);
  void BlackFirst(); // the row service's palette is black, white, and its rows are the other way round
  uint8_t* Palette() { return context_ + 8; }

  FilterSaveRequest request{};
  SaveOptions options{};
  BitmapHandle bitmap{};

  int32_t startResult = 1;
  int refusedStart = 0; // the nth start gives startResult; 0: each
  int refusedRow = 0;   // the nth row gives -66
  int starts = 0, rows = 0, ends = 0;
  uint32_t flagsAtStart = 0;
  uint32_t flagsToLeave = 0;   // what the service makes of the flags
  std::vector<uint32_t> views; // of the bitmap, at each start

private:
  static int32_t Start(BitmapHandle* bitmap, BitmapHandle** descriptor, int32_t bitsPerPixel, uint32_t* flags,
                       void** rowBufferOut, int32_t one, intptr_t self, intptr_t extra2, void** context);
  static int32_t GetRow(BitmapHandle* bitmap, BitmapHandle* descriptor, void* rowBuffer, int32_t rowIndex, int32_t one,
                        uint32_t flags, intptr_t self, intptr_t extra2, void* context);
  static int32_t End(BitmapHandle* bitmap, BitmapHandle** descriptor, uint32_t* flags, int32_t zero, void** context);

  const TestPage& page_;
  bool inverted_ = false;
  BitmapHandle descriptor_{};
  uint8_t context_[8 + 4 * 256] = {};
};

// Values of a SHORT or LONG tag of a page; empty without it.
std::vector<uint32_t> TagValues(const FileBytes& file, uint16_t tag, uint32_t page = 0);
uint32_t TagValue(const FileBytes& file, uint16_t tag, uint32_t page = 0);
// The bytes of each strip or tile.
std::vector<FileBytes> Pieces(const FileBytes& file, uint32_t page = 0);
uint32_t CountPages(const FileBytes& file);

// Columns and rows of a page, white where it ends.
TestPage Cut(const TestPage& page, int32_t left, int32_t top, int32_t width, int32_t height);
TestPage Upside(const TestPage& page);
TestPage Negative(const TestPage& page);
// A page as one piece in the code of a format, as a page of 200 dots per inch takes it.
FileBytes PlainPiece(const TestPage& page, int32_t format);
