// What a save decides once and all its parts read: the bits of TifFile.stateFlags, cleared when a save begins.
#pragma once

#include <cstdint>

#include <vxtif/rawpage.h>

enum TifStateFlag : uint32_t {
  kStateHeaderPending = 0x1,   // the file was created by this save and its header is not yet written
  kStateCmyk = 0x2,            // four colour samples, photometric 5
  kStateYCbCr = 0x4,           // 2:1 sub-sampled YCbCr, photometric 6
  kStateExifIfd = 0x8,         // write the Exif and GPS sub-directories
  kStateExifCompressed = 0x10, // the page's data are compressed in Exif's sense; set by nobody in this library
  kStateStampPage = 0x20,      // second page of an Exif save; one strip only
  kStateGray = 0x40,           // more than 8 bits per pixel but one grey sample: photometric 1
  kStateVariantFile = 0x100,   // version word 12622
  kStateTiled = 0x200,         // more than one tile across
  kStateBySibling = 0x400,     // the compressed data come from a sibling library
  kStateGeoKeys = 0x800,       // format 174: write the GeoTIFF tags
  kStateFloat = 0x1000,        // 32-bit floating point samples
  kStateSigned = 0x2000,       // SampleFormat 2
  kStatePlanar = 0x4000        // PlanarConfiguration 2
};

constexpr bool TIFHasState(const TifFile* file, uint32_t bits) {
  return (file->stateFlags & bits) != 0;
}
