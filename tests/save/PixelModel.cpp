// Rows of a page, converted in the buffer that they were fetched into: what a row does not fill of it stays.

#include "save/PixelModel.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "Tif_lzw/PlainLzw.h"

namespace {

uint32_t Word(const uint8_t* bytes) {
  return bytes[0] | static_cast<uint32_t>(bytes[1]) << 8;
}

void PutWord(uint8_t* bytes, uint32_t word) {
  bytes[0] = static_cast<uint8_t>(word);
  bytes[1] = static_cast<uint8_t>(word >> 8);
}

// Low nibbles first become high bits first.
void PackTwelve(uint8_t* row, uint32_t pixels) {
  std::vector<uint32_t> samples;
  for (uint32_t i = 0; i < pixels; ++i) {
    const uint8_t* at = row + i / 2 * 3;
    samples.push_back(i % 2 == 0 ? at[0] | (at[1] & 15u) << 8 : at[1] >> 4 | at[2] << 4);
  }
  for (uint32_t i = 0; i < pixels; ++i) {
    uint8_t* at = row + i / 2 * 3;
    if (i % 2 == 0) {
      at[0] = static_cast<uint8_t>(samples[i] >> 4);
      at[1] = static_cast<uint8_t>((samples[i] & 15) << 4);
    } else {
      at[1] = static_cast<uint8_t>(at[1] | samples[i] >> 8);
      at[2] = static_cast<uint8_t>(samples[i]);
    }
  }
}

// `step` source bytes a pixel: blue, green, red, and at 32 bits one more that is kept.
void MakeCmyk(const uint8_t* row, uint32_t pixels, uint32_t bits, uint8_t* out) {
  const uint32_t step = bits == 32 ? 4 : 3;
  for (uint32_t i = 0; i < pixels; ++i, row += step) {
    const int inks[3] = {255 - row[2], 255 - row[1], 255 - row[0]};
    const int black = std::min({inks[0], inks[1], inks[2]});
    for (const int ink : inks) {
      *out++ = static_cast<uint8_t>(ink - black);
    }
    *out++ = static_cast<uint8_t>(black);
    if (bits == 32) {
      *out++ = row[3];
    }
  }
}

// floor(a / 2^n), as an arithmetic shift gives it.
int Shifted(int value, int bits) {
  return static_cast<int>(std::floor(static_cast<double>(value) / (1 << bits)));
}

void MakeYcc(uint8_t* row, uint32_t pixels) {
  FileBytes out;
  for (uint32_t i = 0; i < pixels; i += 2) {
    const uint32_t count = std::min(pixels - i, 2u);
    int luma[2] = {0, 0};
    int blue = 0;
    int red = 0;
    for (uint32_t j = 0; j < count; ++j) {
      const uint8_t* pixel = row + (i + j) * 3;
      luma[j] = (306 * pixel[2] + 601 * pixel[1] + 116 * pixel[0] + 512) / 1024;
      blue += pixel[0] - luma[j];
      red += pixel[2] - luma[j];
    }
    const int half = count == 2 ? 1024 : 512;
    const int shift = count == 2 ? 11 : 10;
    out.push_back(static_cast<uint8_t>(luma[0]));
    out.push_back(static_cast<uint8_t>(luma[1]));
    out.push_back(static_cast<uint8_t>(std::clamp(Shifted(blue * 578 + half, shift) + 128, 0, 255)));
    out.push_back(static_cast<uint8_t>(std::clamp(Shifted(red * 730 + half, shift) + 128, 0, 255)));
  }
  std::memcpy(row, out.data(), out.size());
}

void MakeFloats(const uint8_t* row, uint32_t pixels, uint32_t bits, uint8_t* out) {
  for (uint32_t i = 0; i < pixels; ++i) {
    const auto value = static_cast<float>(bits == 16 ? Word(row + 2 * i) : row[i]);
    std::memcpy(out + 4 * i, &value, 4);
  }
}

// Differences from the pixel before, of bytes or of little-endian words, by the bits of a whole written pixel.
void Predict(uint8_t* row, uint32_t pixels, uint32_t pixelBits, bool colourWords) {
  const bool words = pixelBits == 16 || pixelBits == 48 || pixelBits == 64;
  const uint32_t bytes = pixelBits / 8;
  const FileBytes before(row, row + pixels * bytes);
  for (uint32_t i = bytes; i < before.size(); i += words ? 2 : 1) {
    if (colourWords) {
      const uint32_t now = Word(&before[i]);
      const uint32_t last = Word(&before[i - 2]);
      uint32_t out = now & 0x8000;
      for (uint32_t shift : {0u, 5u, 10u}) {
        out |= (((now >> shift & 31) - (last >> shift & 31)) & 31) << shift;
      }
      PutWord(row + i, out);
    } else if (words) {
      PutWord(row + i, Word(&before[i]) - Word(&before[i - bytes]));
    } else {
      row[i] = static_cast<uint8_t>(before[i] - before[i - bytes]);
    }
  }
}

FileBytes SwappedSamples(const FileBytes& row, uint32_t bytes) {
  FileBytes swapped = row;
  for (size_t at = 0; at + bytes <= swapped.size(); at += bytes) {
    std::reverse(swapped.begin() + static_cast<std::ptrdiff_t>(at),
                 swapped.begin() + static_cast<std::ptrdiff_t>(at + bytes));
  }
  return swapped;
}

void Add(FileBytes& bytes, const FileBytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

} // namespace

FileBytes PlainPackBits(const FileBytes& row) {
  FileBytes packed;
  const auto isRun = [&](size_t at) { return at + 2 < row.size() && row[at] == row[at + 1] && row[at] == row[at + 2]; };
  for (size_t at = 0; at < row.size();) {
    size_t count = 1;
    if (isRun(at)) {
      while (count < 128 && at + count < row.size() && row[at + count] == row[at]) {
        ++count;
      }
      packed.push_back(static_cast<uint8_t>(257 - count));
      packed.push_back(row[at]);
    } else {
      while (count < 128 && at + count < row.size() && !isRun(at + count)) {
        ++count;
      }
      packed.push_back(static_cast<uint8_t>(count - 1));
      packed.insert(packed.end(), row.begin() + static_cast<std::ptrdiff_t>(at),
                    row.begin() + static_cast<std::ptrdiff_t>(at + count));
    }
    at += count;
  }
  return packed;
}

FileBytes PlainLzw(const FileBytes& data) {
  PlainEncoder encoder;
  encoder.ratioCheck = true;
  encoder.Encode(data.data(), data.size());
  encoder.End();
  return encoder.bytes;
}

std::vector<FileBytes> PixelModel::Pieces(const std::vector<FileBytes>& rows) const {
  const uint32_t pieceWidth = tile != 0 ? tile : width;
  const uint32_t pieceHeight = tile != 0 ? tile : height;
  const uint32_t across = (width + pieceWidth - 1) / pieceWidth;
  const uint32_t cmykBits = colour == PageColour::kCmyk ? sampleBits : 0;
  const uint32_t rowBytes = colour == PageColour::kYcc     ? (pieceWidth + 1) / 2 * 4
                            : colour == PageColour::kFloat ? pieceWidth * 4
                                                           : (pieceWidth * bits + 7) / 8 + pieceWidth * cmykBits / 8;
  FileBytes buffer((pieceWidth * across * bits + 31) / 8 + 8);
  FileBytes scratch(rowBytes);
  std::vector<FileBytes> pieces;
  for (uint32_t top = 0; top < height; top += pieceHeight) {
    for (uint32_t column = 0; column < across; ++column) {
      uint8_t* part = buffer.data() + column * pieceWidth * bits / 8;
      FileBytes data;
      for (uint32_t y = top; y < top + pieceHeight && (tile != 0 || y < height); ++y) {
        if (y < height) {
          std::copy(rows[y].begin(), rows[y].end(), buffer.begin());
        } else if (y == height) {
          std::fill_n(buffer.begin(), (width * bits + 31) / 32 * 4, 0);
        }
        uint8_t* source = colour == PageColour::kCmyk || colour == PageColour::kFloat ? scratch.data() : part;
        switch (colour) {
        case PageColour::kCmyk:
          MakeCmyk(part, pieceWidth, bits, scratch.data());
          break;
        case PageColour::kYcc:
          MakeYcc(part, pieceWidth);
          break;
        case PageColour::kFloat:
          MakeFloats(part, pieceWidth, bits, scratch.data());
          break;
        case PageColour::kPlain:
          if (bits == 12) {
            PackTwelve(part, pieceWidth);
          }
          break;
        }
        if (predictor) {
          Predict(source, pieceWidth, bits + cmykBits, colourWords);
        }
        const FileBytes row(source, source + rowBytes);
        Add(data, coding == PageCoding::kPackBits ? PlainPackBits(row)
                  : swapped                       ? SwappedSamples(row, sampleBits / 8)
                                                  : row);
      }
      pieces.push_back(coding == PageCoding::kLzw ? PlainLzw(data) : data);
    }
  }
  return pieces;
}
