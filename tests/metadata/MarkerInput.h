// Marker blocks as a caller hands them in: JPEG marker segments behind the two words.
#pragma once

#include <string_view>

#include <vxtif/metadata.h>

#include "support/TiffBuilder.h"
#include "tif_com/Markers.h"

class MarkerInput {
public:
  MarkerInput() { bytes_ = {'V', 'M', 'R', 'K', 0, 0, 0, 0}; }
  explicit MarkerInput(const FileBytes& tiff) : MarkerInput() { Exif(tiff); }

  MarkerInput& Raw(const FileBytes& bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    PutU32(bytes_, 4, FileOrder::kLittle, static_cast<uint32_t>(bytes_.size() - 8));
    return *this;
  }
  // A segment with its length field, which counts itself.
  MarkerInput& Segment(uint8_t code, const FileBytes& body) {
    const auto length = static_cast<uint16_t>(body.size() + 2);
    FileBytes bytes = {0xFF, code, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)};
    bytes.insert(bytes.end(), body.begin(), body.end());
    return Raw(bytes);
  }
  MarkerInput& Exif(const FileBytes& tiff) {
    FileBytes body = {'E', 'x', 'i', 'f', 0, 0};
    body.insert(body.end(), tiff.begin(), tiff.end());
    return Segment(0xE1, body);
  }
  MarkerInput& Magic(std::string_view magic) {
    for (size_t i = 0; i < 4; ++i) {
      bytes_[i] = static_cast<uint8_t>(magic[i]);
    }
    return *this;
  }
  TifMarkerBlock* Block() { return reinterpret_cast<TifMarkerBlock*>(bytes_.data()); }

private:
  FileBytes bytes_;
};

// The directory that a block holds, freed at the end of the scope.
class MarkerTree {
public:
  explicit MarkerTree(MarkerInput& markers) { result_ = TIFReadExifMarker(markers.Block(), &tree_); }
  ~MarkerTree() { TIFFreeDirectory(tree_, kDirMain); }
  MarkerTree(const MarkerTree&) = delete;
  MarkerTree& operator=(const MarkerTree&) = delete;
  int32_t Result() const { return result_; }
  TifDirectory* Tree() const { return tree_; }

private:
  TifDirectory* tree_ = nullptr;
  int32_t result_ = 0;
};
