// The format numbers that a save takes, and what each of them means for the page that is written.
#pragma once

#include <cstdint>

#include <vxtif/formats.h>

enum class SaveWay { kStrips, kFax, kVariant, kRawLzw, kSibling };

struct SaveFormat {
  int32_t format;
  int32_t internalFormat; // what the strip writer goes by; sibling and fax formats keep their number
  uint32_t compression;   // tag 259
  SaveWay way;
  uint32_t state; // bits of TifFile.stateFlags
};

// The row of a format; null for a number that cannot be saved.
const SaveFormat* TIFFindSaveFormat(int32_t format);
