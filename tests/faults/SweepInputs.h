// Small files of every layout that the sweeps read and edit, in both byte orders.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "save/SaveFixture.h"
#include "support/TiffBuilder.h"

constexpr FileOrder kBothOrders[] = {FileOrder::kLittle, FileOrder::kBig};
std::string WithOrder(const std::string& name, FileOrder order);

// Rows of a picture that compresses to something between nothing and all.
std::vector<FileBytes> SweepRows(int32_t width, int32_t height, int32_t bits);

// What a save is given: the row service keeps the pixels.
RowService SweepService(int32_t width, int32_t height, int32_t bits);

// A page as the library's own writer makes it.
struct WrittenKind {
  const char* name;
  int32_t format;
  int32_t bits;
  uint32_t flags;
  uint32_t tile; // edge, 0 for strips
};
constexpr int32_t kWrittenWidth = 40;
constexpr int32_t kWrittenHeight = 20;
FileBytes WrittenFile(const WrittenKind& kind, FileOrder order);

// Pages of every tag that a parser reads a value of.
FileBytes PaletteFile(FileOrder order);            // 8 x 4, 4 bits
FileBytes PlanarFile(FileOrder order);             // 8 x 4, three planes of 8 bits, a strip each
FileBytes InkPlanesFile(FileOrder order);          // 8 x 4, four planes of 8 bits, a strip each
FileBytes WideFile(FileOrder order, bool isFloat); // 6 x 4, 32 bits
FileBytes DeepGrayFile(FileOrder order);           // 6 x 4, 16 bits from 100 to 5000: a tone table
FileBytes ToneBlockFile(FileOrder order);          // 6 x 4, 16 bits, with a private directory
FileBytes YccFile(FileOrder order);                // 8 x 4, with its own reference values and coefficients
FileBytes VariantOrderFile(FileOrder order);       // 16 x 6, version 12622, three strips in another order
FileBytes LargeStripFile(FileOrder order);         // 100 x 100, one strip that the reader splits

// Three small pages with a text and two strips each; numbered, marked as pages of many.
FileBytes ThreePages(FileOrder order);
// A page with all that can hang from it: child directories alone and in an array, Exif with a maker note and an
// interoperability directory, GPS, IPTC, geo keys, texts, tables of JPEG. Two strips.
FileBytes RichFile(FileOrder order, uint32_t pages = 1);
FileBytes TiledFile(FileOrder order);      // 32 x 16, two tiles, 16 bits
FileBytes JpegStreamFile(FileOrder order); // a strip behind an old-style JPEG stream
