// Rows between their two forms: bits, and the positions at which the colour changes.
//
// The changes of a row are strictly ascending, the first (even index) from white to black, all below the row's width;
// behind the last one stand kFaxSentinels entries of the width, so that a search stops without a test of the index.
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr int kFaxSentinels = 4;
// Entries to allocate beyond the changes: the sentinels, and what wide copies may write behind them.
inline constexpr size_t kFaxChangeSlack = 16;

struct FaxChanges {
  int32_t* at;
  size_t count;
};

inline void FaxSetSentinels(const FaxChanges& changes, int32_t width) {
  for (int i = 0; i < kFaxSentinels; ++i) {
    changes.at[changes.count + static_cast<size_t>(i)] = width;
  }
}

constexpr size_t FaxRowBytes(int32_t width) {
  return (static_cast<size_t>(width) + 7) / 8;
}

// Bytes that FaxFillRow may write at `row`: whole words.
constexpr size_t FaxFillBytes(int32_t width) {
  return (static_cast<size_t>(width) + 63) / 64 * 8;
}

// Writes the first `width` pixels as bits, white 0, black 1; the rest of the last word is 0. `changes` may go on
// beyond `width`.
void FaxFillRow(uint8_t* row, int32_t width, const FaxChanges& changes);

// Finds the changes of a row of `width` pixels; the bits behind the width are not looked at. `changes->at` has room
// for `width` entries and kFaxChangeSlack. `row` is read in whole words: FaxFillBytes(width) of them.
void FaxFindChanges(const uint8_t* row, int32_t width, FaxChanges* changes);
