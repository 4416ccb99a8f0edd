// The toolkit's format numbers, TIFF's compressions and the sibling libraries, in words: for `formats`, for messages
// and for options that name a format.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace toolkit {

struct FormatRow {
  int32_t number;   // vxtif/formats.h
  const char* name; // as the --format option takes it
  const char* description;
  bool saved;          // fltSave takes it
  int32_t defaultBits; // the depth that it needs, 0 for the image's own
  int32_t siblingRow;  // row of the sibling table that does the work, -1 for none
};

struct CompressionRow {
  uint32_t value;   // tag 259
  const char* name; // as the --compression option takes it; empty where only the number will do
  const char* description;
  bool loaded;        // without a sibling library
  int32_t siblingRow; // -1 for none
};

struct SiblingLibrary {
  int32_t row;
  const char* library; // name without its ending
  int32_t resultWhenMissing;
};

std::span<const FormatRow> AllFormats();
std::span<const CompressionRow> AllCompressions();
std::span<const SiblingLibrary> AllSiblings();

const FormatRow* FindFormat(int32_t number);                // null for a number that is not in the table
const FormatRow* FindFormat(std::string_view nameOrNumber); // likewise
const char* FormatDescription(int32_t number);              // "unknown" for a number that is not in the table

// Tag 259 of a name in the table, or a number as it is: the library refuses what does not fit the tag. The name g3-2d
// stands for kCompressionGroup3TwoDimensional. Nothing for another text.
std::optional<int32_t> FindCompression(std::string_view nameOrNumber);

// Whether the library stands where the filter looks for it, and can be loaded.
bool IsSiblingPresent(const SiblingLibrary& sibling);

} // namespace toolkit
