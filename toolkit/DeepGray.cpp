// Packing of deep grey rows.

#include "toolkit/DeepGray.h"

#include <cstring>

namespace toolkit {
namespace {

void ReadTwelve(const uint8_t* row, size_t width, uint32_t* samples) {
  for (; width >= 2; width -= 2, row += 3, samples += 2) {
    samples[0] = row[0] | (row[1] & 0x0Fu) << 8;
    samples[1] = row[1] >> 4 | uint32_t{row[2]} << 4;
  }
  if (width != 0) {
    samples[0] = row[0] | (row[1] & 0x0Fu) << 8;
  }
}

void WriteTwelve(const uint32_t* samples, size_t width, uint8_t* row) {
  for (; width >= 2; width -= 2, row += 3, samples += 2) {
    row[0] = static_cast<uint8_t>(samples[0]);
    row[1] = static_cast<uint8_t>((samples[0] >> 8 & 0x0F) | (samples[1] & 0x0F) << 4);
    row[2] = static_cast<uint8_t>(samples[1] >> 4);
  }
  if (width != 0) {
    row[0] = static_cast<uint8_t>(samples[0]);
    row[1] = static_cast<uint8_t>(samples[0] >> 8 & 0x0F);
  }
}

void ReadBitStream(const uint8_t* row, size_t width, uint32_t bits, uint32_t* samples) {
  const uint32_t mask = static_cast<uint32_t>((uint64_t{1} << bits) - 1);
  uint64_t window = 0;
  uint32_t have = 0;
  for (size_t x = 0; x < width; ++x) {
    while (have < bits) {
      window = window << 8 | *row++;
      have += 8;
    }
    have -= bits;
    samples[x] = static_cast<uint32_t>(window >> have) & mask;
  }
}

} // namespace

void ReadGrayRow(const uint8_t* row, size_t width, uint32_t bits, uint32_t* samples) {
  switch (bits) {
  case 12:
    ReadTwelve(row, width, samples);
    break;
  case 16:
    for (size_t x = 0; x < width; ++x) {
      uint16_t sample = 0;
      std::memcpy(&sample, row + 2 * x, sizeof sample);
      samples[x] = sample;
    }
    break;
  case 32:
    std::memcpy(samples, row, 4 * width);
    break;
  default:
    ReadBitStream(row, width, bits, samples);
    break;
  }
}

void WriteGrayRow(const uint32_t* samples, size_t width, uint32_t bits, uint8_t* row) {
  switch (bits) {
  case 12:
    WriteTwelve(samples, width, row);
    break;
  case 16:
    for (size_t x = 0; x < width; ++x) {
      const auto sample = static_cast<uint16_t>(samples[x]);
      std::memcpy(row + 2 * x, &sample, sizeof sample);
    }
    break;
  default:
    std::memcpy(row, samples, 4 * width);
    break;
  }
}

} // namespace toolkit
