// The codec's three operations as a host calls them: pages decoded from files in memory into a TestPage, pages encoded
// from a TestPage through a row service, with every call of sink and service checked.
#pragma once

#include <optional>
#include <vector>

#include <vxfax/vxfax.h>

#include "fax/FaxTestPages.h"

// Pieces of a page in a file, and what the decoder is told of it.
struct FaxTestFile {
  std::vector<uint8_t> bytes;
  std::vector<uint32_t> offsets;
  std::vector<uint32_t> byteCounts;
  std::vector<uint8_t> marks; // empty: null is passed

  // Puts a piece behind what is there.
  void Add(const std::vector<uint8_t>& piece);
};

struct FaxDecodeCall {
  uint32_t format = kFaxT6;
  int32_t width = 0;
  int32_t height = 0;
  uint32_t pieceWidth = 0;   // 0: the width
  uint32_t rowsPerStrip = 0; // as passed
  uint32_t flags = 0;
  int32_t bytesPerLine = 0; // of the target; 0: as the kernel makes it
  int32_t refuseAtRow = -1; // the sink gives -77 for the call that holds this row
};

struct FaxDecoded {
  int32_t result = 0;
  TestPage page; // height: the rows delivered
  BitmapHandle target{};
  std::vector<uint32_t> flags; // of each call of the sink
  std::vector<int32_t> counts;
};

// Expects rows in order without gaps, first and last flags once, rows white behind the width.
FaxDecoded DecodeFax(const FaxTestFile& file, const FaxDecodeCall& call);
FaxDecoded DecodeFax(VxFileHandle handle, const FaxTestFile& file, const FaxDecodeCall& call);
// One strip.
FaxDecoded DecodeFax(const std::vector<uint8_t>& strip, const FaxDecodeCall& call);

struct FaxEncodeCall {
  uint32_t mode = kFaxT6;
  uint32_t t4Options = 0;
  uint32_t fillOptions = 0;
  uint32_t view = 1;
  int32_t yResolution = 200;
  bool invertBlackFirst = false;
  bool blackFirst = false; // the palette of the row service
  uint32_t tileWidth = 0;  // with tileHeight 0: faxEncodeStart
  uint32_t tileHeight = 0;
  bool marks = false;       // pass tileCompressions
  int32_t startResult = 1;  // what the row service gives
  int32_t failAtFetch = 0;  // the nth row gives -66
  uint32_t room = 4u << 20; // bytes of the file in memory
};

struct FaxEncoded {
  int32_t result = 0;
  FaxTestFile file;
  uint32_t fetches = 0;
  uint32_t starts = 0;
  uint32_t ends = 0;
};

FaxEncoded EncodeFax(const TestPage& page, const FaxEncodeCall& call);

// The page as it is stored in views 1 and 4 differs: the last row first.
TestPage UpsideDown(const TestPage& page);
std::vector<uint8_t> ReversedBits(std::vector<uint8_t> bytes);
