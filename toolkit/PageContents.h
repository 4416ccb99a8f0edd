// What a page carries beside its pixels: which kinds of metadata, and how much of each. Counted from the directories
// alone, without decoding anything.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <vxkernel/files.h>

namespace toolkit {

struct PageContents {
  uint32_t texts = 0;                // of the ten texts that a page's directory may hold
  std::optional<uint32_t> exif;      // entries of the directory
  std::optional<uint32_t> makerNote; // bytes
  std::optional<uint32_t> gps;       // entries of the directory
  std::optional<uint32_t> iptc;      // data sets
  std::optional<uint32_t> xmp;       // bytes
  std::optional<uint32_t> photoshop; // bytes
  std::optional<uint32_t> icc;       // bytes
  std::optional<uint32_t> geoKeys;   // keys
  uint32_t subDirectories = 0;       // pictures under the tag SubIFDs
  bool stamp = false;                // a further directory behind a page with Exif is its stamp
};

// Of the page whose directory stands at an offset. Directories and blocks that cannot be read count as absent.
PageContents ReadPageContents(VxFileHandle file, uint32_t directoryOffset);

} // namespace toolkit
