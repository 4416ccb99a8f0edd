// A reader of whole files for tests, written from TIFF 6.0 and apart from the library: it walks the chain of
// directories, looks whether all of it is sound, and tells which bytes belong to each page.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/TiffBuilder.h"

struct WalkedEntry {
  uint16_t type = 0;
  uint32_t count = 0;
  uint32_t offset = 0;     // of the value's bytes, inline or not
  uint32_t wordOffset = 0; // of the value word
  FileBytes value;         // as it stands in the file
};

struct WalkedPage {
  uint32_t offset = 0;
  uint32_t linkOffset = 0; // of the word that points here
  uint32_t nextOffset = 0; // of the page's own next word
  std::map<uint16_t, WalkedEntry> entries;
  std::vector<std::pair<uint32_t, uint32_t>> ranges; // offset and size of directory, values and pieces of image data

  uint32_t Number(uint16_t tag, FileOrder order, uint32_t index = 0) const; // a SHORT or LONG, 0 without
};

struct WalkedFile {
  FileOrder order = FileOrder::kLittle;
  std::vector<WalkedPage> pages;
  std::string fault; // the first thing that is not as TIFF 6.0 asks; empty for a sound file
};

// `pages` holds those that are whole, also when a fault ends the walk.
WalkedFile WalkChain(const FileBytes& file);

// All bytes of a page, but for its next word and the value words of tags 254 and 297, which edits of other pages may
// change: those read as 0.
FileBytes LastingBytes(const FileBytes& file, const WalkedPage& page);

// The same as a list of offsets in the file, each with its byte.
std::vector<std::pair<uint32_t, uint8_t>> LastingPlaces(const FileBytes& file, const WalkedPage& page);
