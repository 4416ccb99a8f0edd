// Lookup tables of the codec, computed at compile time from the code words of FaxCodes.h.
//
// The decoder looks at the next bits of the stream as an index; the encoder goes by run length. All entries are
// packed into one word each, so that the tables of a colour stay in the first-level cache.
#pragma once

#include "FaxCodes.h"

#include <array>
#include <cstdint>

// Runs of one colour: length of the word in the low 4 bits (0: no such word), run above. A run of 64 or more is a
// make-up code, more words of the same colour follow.
inline constexpr int kFaxWhiteIndexBits = 12;
inline constexpr int kFaxBlackIndexBits = 13;
inline constexpr int32_t kFaxFirstMakeUp = 64;

using FaxWhiteRuns = std::array<uint16_t, 1 << kFaxWhiteIndexBits>;
using FaxBlackRuns = std::array<uint16_t, 1 << kFaxBlackIndexBits>;
extern const FaxWhiteRuns kFaxWhiteRuns;
extern const FaxBlackRuns kFaxBlackRuns;

constexpr uint32_t FaxEntryLength(uint16_t entry) {
  return entry & 15u;
}

constexpr int32_t FaxEntryRun(uint16_t entry) {
  return entry >> 4;
}

// A white run and the black run behind it, both 1 to 63, when their words fit into the index together: length of
// both words in the low 4 bits (0: no such pair), 6 bits of white run, 6 bits of black run.
inline constexpr int kFaxPairIndexBits = 13;
using FaxRunPairs = std::array<uint16_t, 1 << kFaxPairIndexBits>;
extern const FaxRunPairs kFaxRunPairs;

constexpr int32_t FaxPairWhite(uint16_t entry) {
  return entry >> 4 & 63;
}

constexpr int32_t FaxPairBlack(uint16_t entry) {
  return entry >> 10;
}

// Modes of the two-dimensional scheme; length 0 where no word begins.
struct FaxModeEntry {
  FaxMode mode;
  int8_t delta;
  uint8_t length;
};
inline constexpr int kFaxModeIndexBits = 7;
using FaxModes = std::array<FaxModeEntry, 1 << kFaxModeIndexBits>;
extern const FaxModes kFaxModes;

// For the encoder: word bits and length of a whole run, make-up and terminating code together. Longer runs are led
// by as many make-up codes of 2560 as they need.
struct FaxRunWord {
  uint32_t bits : 26;
  uint32_t length : 6;
};
inline constexpr int32_t kFaxLongestMakeUp = 2560;
inline constexpr int32_t kFaxRunWordCount = kFaxLongestMakeUp + kFaxFirstMakeUp;
using FaxRunWords = std::array<FaxRunWord, kFaxRunWordCount>;
extern const FaxRunWords kFaxWhiteWords;
extern const FaxRunWords kFaxBlackWords;
