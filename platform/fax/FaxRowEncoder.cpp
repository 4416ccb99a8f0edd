// Encoding of single rows.

#include "FaxRowEncoder.h"

#include "FaxTables.h"

namespace {

constexpr uint32_t kLongestMakeUpBits = FaxWordBits("000000011111");
constexpr uint32_t kLongestMakeUpLength = 12;

struct Word {
  uint32_t bits;
  uint32_t length;
};

constexpr int32_t kFarthestVertical = 3;

// Words of the vertical modes by distance + 3, and of the other two.
struct ModeWords {
  Word vertical[2 * kFarthestVertical + 1];
  Word horizontal;
  Word pass;
};

constexpr ModeWords MakeModeWords() {
  ModeWords words{};
  for (const FaxModeCode& code : kFaxModeCodes) {
    const Word word{FaxWordBits(code.word), static_cast<uint32_t>(FaxWordLength(code.word))};
    if (code.mode == kFaxModeVertical) {
      words.vertical[code.delta + kFarthestVertical] = word;
    } else if (code.mode == kFaxModeHorizontal) {
      words.horizontal = word;
    } else if (code.mode == kFaxModePass) {
      words.pass = word;
    }
  }
  return words;
}

constexpr ModeWords kModeWords = MakeModeWords();
static_assert(FaxWordBits(kFaxExtendedMakeUp[12].word) == kLongestMakeUpBits);
static_assert(kFaxExtendedMakeUp[12].run == kFaxLongestMakeUp);

// At most 25 bits, for which there has to be room, and a flush before each make-up code that goes ahead.
inline void PutRun(FaxBitWriter& writer, const FaxRunWords& words, int32_t run) {
  while (run >= kFaxRunWordCount)
    [[unlikely]] {
      FaxFlushBytes(writer);
      FaxPut(writer, kLongestMakeUpBits, kLongestMakeUpLength);
      FaxFlushBytes(writer);
      run -= kFaxLongestMakeUp;
    }
  const FaxRunWord word = words[static_cast<size_t>(run)];
  FaxPut(writer, word.bits, word.length);
}

inline void PutTwoRuns(FaxBitWriter& writer, bool blackFirst, int32_t first, int32_t second) {
  PutRun(writer, blackFirst ? kFaxBlackWords : kFaxWhiteWords, first);
  PutRun(writer, blackFirst ? kFaxWhiteWords : kFaxBlackWords, second);
}

} // namespace

void FaxEncodeRow1D(FaxBitWriter* target, int32_t width, const FaxChanges& row) {
  FaxBitWriter writer = *target;
  int32_t a0 = 0;
  for (size_t i = 0; i <= row.count; i += 2) {
    const int32_t a1 = row.at[i];
    const int32_t a2 = row.at[i + 1];
    PutRun(writer, kFaxWhiteWords, a1 - a0);
    if (a1 < width) {
      PutRun(writer, kFaxBlackWords, a2 - a1);
    }
    FaxFlushBytes(writer);
    a0 = a2;
  }
  *target = writer;
}

void FaxEncodeRow2D(FaxBitWriter* target, int32_t width, const FaxChanges& reference, const FaxChanges& row) {
  FaxBitWriter writer = *target;
  const int32_t* a1 = row.at;
  const int32_t* b1 = reference.at;
  int32_t a0 = -1;
  while (a0 < width) {
    const int32_t distance = *a1 - *b1;
    if (b1[1] < *a1) {
      FaxPut(writer, kModeWords.pass.bits, kModeWords.pass.length);
      a0 = b1[1];
      b1 += 2;
    } else if (static_cast<uint32_t>(distance + kFarthestVertical) <= 2 * kFarthestVertical) {
      const Word word = kModeWords.vertical[distance + kFarthestVertical];
      FaxPut(writer, word.bits, word.length);
      a0 = *a1++;
      ++b1;
      if (b1 - reference.at >= 2 && b1[-2] > a0) {
        b1 -= 2;
      }
      while (*b1 <= a0 && *b1 < width) {
        b1 += 2;
      }
    } else {
      const bool blackFirst = ((a1 - row.at) & 1) != 0;
      FaxPut(writer, kModeWords.horizontal.bits, kModeWords.horizontal.length);
      PutTwoRuns(writer, blackFirst, *a1 - (a0 < 0 ? 0 : a0), a1[1] - *a1);
      a0 = a1[1];
      a1 += 2;
      while (*b1 <= a0 && *b1 < width) {
        b1 += 2;
      }
    }
    FaxFlushBytes(writer);
  }
  *target = writer;
}
