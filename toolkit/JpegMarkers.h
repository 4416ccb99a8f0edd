// The marker segments of a JPEG file as the block that saves and edits take Exif from.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <vxtif/metadata.h>

namespace toolkit {

class JpegMarkers {
public:
  // Reads the segments in front of the first scan. Throws Failure when the file is no JPEG file, or holds no Exif
  // segment.
  explicit JpegMarkers(const std::string& file);

  TifMarkerBlock* Block() const { return reinterpret_cast<TifMarkerBlock*>(bytes_.get()); }

private:
  std::unique_ptr<uint8_t[]> bytes_;
};

} // namespace toolkit
