// The lookup tables of FaxTables.h. Everything here runs in the compiler.

#include "FaxTables.h"

#include <cstddef>

namespace {

// Calls fill(index) for every index whose leading bits are the word.
template <typename Fill> constexpr void ForEachIndex(const char* word, int indexBits, Fill fill) {
  const int spare = indexBits - FaxWordLength(word);
  const uint32_t first = FaxWordBits(word) << spare;
  for (uint32_t i = 0; i < (1u << spare); ++i) {
    fill(first + i);
  }
}

template <size_t kSize, size_t kCodes>
constexpr void AddRuns(std::array<uint16_t, kSize>& table, int indexBits, const FaxCode (&codes)[kCodes]) {
  for (const FaxCode& code : codes) {
    const int length = FaxWordLength(code.word);
    ForEachIndex(code.word, indexBits,
                 [&](uint32_t index) { table[index] = static_cast<uint16_t>(code.run << 4 | length); });
  }
}

constexpr FaxWhiteRuns MakeWhiteRuns() {
  FaxWhiteRuns table{};
  AddRuns(table, kFaxWhiteIndexBits, kFaxWhiteTerminating);
  AddRuns(table, kFaxWhiteIndexBits, kFaxWhiteMakeUp);
  AddRuns(table, kFaxWhiteIndexBits, kFaxExtendedMakeUp);
  return table;
}

constexpr FaxBlackRuns MakeBlackRuns() {
  FaxBlackRuns table{};
  AddRuns(table, kFaxBlackIndexBits, kFaxBlackTerminating);
  AddRuns(table, kFaxBlackIndexBits, kFaxBlackMakeUp);
  AddRuns(table, kFaxBlackIndexBits, kFaxExtendedMakeUp);
  return table;
}

// A run of 0 is left to the single words: it is no change of colour.
constexpr FaxRunPairs MakeRunPairs() {
  FaxRunPairs table{};
  for (const FaxCode& white : kFaxWhiteTerminating) {
    const int whiteLength = FaxWordLength(white.word);
    for (const FaxCode& black : kFaxBlackTerminating) {
      const int length = whiteLength + FaxWordLength(black.word);
      if (white.run == 0 || black.run == 0 || length > kFaxPairIndexBits) {
        continue;
      }
      const int spare = kFaxPairIndexBits - length;
      const uint32_t word = FaxWordBits(white.word) << FaxWordLength(black.word) | FaxWordBits(black.word);
      for (uint32_t i = 0; i < (1u << spare); ++i) {
        table[(word << spare) + i] = static_cast<uint16_t>(black.run << 10 | white.run << 4 | length);
      }
    }
  }
  return table;
}

constexpr FaxModes MakeModes() {
  FaxModes table{};
  for (const FaxModeCode& code : kFaxModeCodes) {
    const auto length = static_cast<uint8_t>(FaxWordLength(code.word));
    ForEachIndex(code.word, kFaxModeIndexBits, [&](uint32_t index) {
      table[index] = FaxModeEntry{code.mode, code.delta, length};
    });
  }
  return table;
}

constexpr FaxRunWord Append(FaxRunWord head, const char* word) {
  const auto length = static_cast<uint32_t>(FaxWordLength(word));
  return FaxRunWord{(head.bits << length | FaxWordBits(word)) & 0x3FFFFFFu, (head.length + length) & 63u};
}

template <size_t kCodes>
constexpr FaxRunWords MakeRunWords(const FaxCode (&terminating)[64], const FaxCode (&makeUp)[kCodes]) {
  FaxRunWords table{};
  for (const FaxCode& code : terminating) {
    table[static_cast<size_t>(code.run)] = Append(FaxRunWord{0, 0}, code.word);
  }
  const auto addMakeUp = [&](const FaxCode& code) {
    const FaxRunWord head = Append(FaxRunWord{0, 0}, code.word);
    for (const FaxCode& tail : terminating) {
      table[static_cast<size_t>(code.run + tail.run)] = Append(head, tail.word);
    }
  };
  for (const FaxCode& code : makeUp) {
    addMakeUp(code);
  }
  for (const FaxCode& code : kFaxExtendedMakeUp) {
    addMakeUp(code);
  }
  return table;
}

} // namespace

constexpr FaxWhiteRuns kFaxWhiteRuns = MakeWhiteRuns();
constexpr FaxBlackRuns kFaxBlackRuns = MakeBlackRuns();
constexpr FaxRunPairs kFaxRunPairs = MakeRunPairs();
constexpr FaxModes kFaxModes = MakeModes();
constexpr FaxRunWords kFaxWhiteWords = MakeRunWords(kFaxWhiteTerminating, kFaxWhiteMakeUp);
constexpr FaxRunWords kFaxBlackWords = MakeRunWords(kFaxBlackTerminating, kFaxBlackMakeUp);
