// Changes to bits and back, by words of 64 pixels.

#include "FaxRuns.h"

#include "FaxBits.h"

#include <cstring>

// Each change inverts its word from its place to the end; a second pass carries the colour at a word's end into the
// next word. No branch depends on the pixels.
void FaxFillRow(uint8_t* row, int32_t width, const FaxChanges& changes) {
  const size_t bytes = FaxFillBytes(width);
  std::memset(row, 0, bytes);
  size_t count = changes.count;
  while (count > 0 && changes.at[count - 1] >= width) {
    --count;
  }
  if (count == 0) {
    return;
  }
  for (size_t i = 0; i < count; ++i) {
    const auto position = static_cast<uint32_t>(changes.at[i]);
    uint8_t* place = row + position / 64 * 8;
    uint64_t word;
    std::memcpy(&word, place, sizeof word);
    word ^= ~uint64_t{0} >> (position & 63);
    std::memcpy(place, &word, sizeof word);
  }
  // Behind the last change the row is white already, if that is its colour there.
  const size_t first = static_cast<size_t>(changes.at[0]) / 64 * 8;
  const size_t end = count % 2 == 0 ? static_cast<size_t>(changes.at[count - 1]) / 64 * 8 + 8 : bytes;
  uint64_t carry = 0;
  for (size_t i = first; i < end; i += 8) {
    uint64_t word;
    std::memcpy(&word, row + i, sizeof word);
    word ^= carry;
    carry = 0 - (word & 1);
    FaxStore64(row + i, word);
  }
  const uint32_t spare = static_cast<uint32_t>(-static_cast<int64_t>(width)) & 63u;
  FaxStore64(row + bytes - 8, FaxLoad64(row + bytes - 8) >> spare << spare);
}

namespace {

struct EdgeSearch {
  int32_t* out;
  uint64_t before; // the last pixel of the word before, in the top bit
};

inline void FindEdges(EdgeSearch& search, uint64_t word, int32_t position) {
  uint64_t edges = word ^ (word >> 1 | search.before);
  search.before = word << 63;
  while (edges != 0) {
    const int lead = __builtin_clzll(edges);
    *search.out++ = position + lead;
    edges ^= uint64_t{1} << 63 >> lead;
  }
}

} // namespace

void FaxFindChanges(const uint8_t* row, int32_t width, FaxChanges* changes) {
  EdgeSearch search{changes->at, 0};
  int32_t position = 0;
  for (; width - position >= 64; position += 64) {
    FindEdges(search, FaxLoad64(row), position);
    row += 8;
  }
  if (position < width) {
    const int spare = 64 - (width - position);
    FindEdges(search, FaxLoad64(row) >> spare << spare, position);
  }
  // A black run that reaches the edge seemed to end there.
  if (search.out != changes->at && search.out[-1] >= width) {
    --search.out;
  }
  changes->count = static_cast<size_t>(search.out - changes->at);
  FaxSetSentinels(*changes, width);
}
