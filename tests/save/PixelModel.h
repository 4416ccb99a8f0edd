// The data of a page as a save writes it, worked out row by row from the rules of the formats: what strips and tiles
// hold before and after compression. It shares nothing with the library's own row forms, packing or LZW encoder.
#pragma once

#include <cstdint>
#include <vector>

#include "support/TiffBuilder.h"

enum class PageColour { kPlain, kCmyk, kYcc, kFloat };
enum class PageCoding { kNone, kLzw, kPackBits };

struct PixelModel {
  uint32_t width;
  uint32_t height;
  uint32_t bits;       // of a pixel as the row service gives it
  uint32_t sampleBits; // of the written samples
  PageColour colour = PageColour::kPlain;
  PageCoding coding = PageCoding::kNone;
  bool predictor = false;
  bool colourWords = false; // 16 bits of three fields
  bool swapped = false;     // samples are swapped on their way into the file
  uint32_t tile = 0;        // side of the tiles, 0 for one strip

  // All pieces, tiles in rows of tiles. `rows` as the row service gives them.
  std::vector<FileBytes> Pieces(const std::vector<FileBytes>& rows) const;
};

FileBytes PlainPackBits(const FileBytes& row);
FileBytes PlainLzw(const FileBytes& data);
