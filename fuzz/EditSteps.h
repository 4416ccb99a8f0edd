// Edits told by bytes: each step of a script saves, deletes, sets or compacts something in one file of the disk in
// memory, as a host would ask for it. The targets that edit share them.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "InputReader.h"
#include "MemoryDisk.h"
#include "support/TiffBuilder.h"

enum class EditKind : uint8_t {
  kSavePage, // new, appended, inserted or replacing
  kSavePlanes,
  kSaveData,
  kDeletePage,
  kSetTags,
  kSetComments,
  kSetGeoKeys,
  kSetMarkers,
  kCompact,
  kCount
};

struct EditStep {
  EditKind kind;
  int32_t result;
  bool failedOnPurpose; // the row service refused a row
  bool nowVariant;      // the file is of the variant form, or was asked to be
};

// What the steps may ask for.
struct EditLimits {
  bool anything; // variant files, stored sizes, Exif pages with their stamp; tags of its own, empty values
  std::span<const uint8_t> markerTiff; // the TIFF of Exif markers; empty: none are brought
};

// Runs the next step of the script on the file, which need not exist.
EditStep RunEditStep(InputReader& script, const EditLimits& limits, const char16_t* fileName);

// fltCompact with options from the script. The pages go to `target`.
int32_t CompactPages(InputReader& script, const char16_t* source, const char16_t* target);

// Asks for all comments, keys and some tags of a page, as a host that shows them.
void ReadMetadata(InputReader& script, const std::string& fileName, int32_t page);
