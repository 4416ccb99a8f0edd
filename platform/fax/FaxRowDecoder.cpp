// Decoding of single rows. The reader is copied into locals, which the compiler keeps in registers; runs that make no
// change of colour (length 0 within a row) take the change before them back, so that a row's changes always ascend.

#include "FaxRowDecoder.h"

#include "FaxTables.h"

#include <cstring>

namespace {

constexpr int32_t kNoRun = -1;
constexpr uint32_t kUncompressedIn1D = FaxWordBits(kFaxUncompressedIn1D);
constexpr int kUncompressedIn1DLength = FaxWordLength(kFaxUncompressedIn1D);
// Three bits behind the extension's mode word: 111 is uncompressed mode, the others are not defined.
constexpr uint32_t kUncompressedExtension = FaxWordBits(kFaxUncompressedIn2D) & 7u;

struct RowDecoding {
  FaxBitReader bits;
  int32_t width;
  int32_t a0; // -1 before the first pixel
  int32_t* out;
  int32_t* first;
};

inline bool IsBlack(const RowDecoding& row) {
  return ((row.out - row.first) & 1) != 0;
}

inline void PutChange(RowDecoding& row, int32_t position) {
  if (row.out != row.first && row.out[-1] == position) {
    --row.out;
  } else {
    *row.out++ = position;
  }
}

template <bool kBlack> inline uint16_t LookUpRun(const FaxBitReader& bits) {
  return kBlack ? kFaxBlackRuns[FaxPeek(bits, kFaxBlackIndexBits)] : kFaxWhiteRuns[FaxPeek(bits, kFaxWhiteIndexBits)];
}

// The rest of a run behind a make-up code: cut at the width, which any sum of make-up codes would pass sooner or later.
template <bool kBlack> [[gnu::noinline]] int32_t ReadLongRun(FaxBitReader& bits, int32_t run, int32_t width) {
  for (;;) {
    FaxRefill(bits);
    const uint16_t entry = LookUpRun<kBlack>(bits);
    if (entry == 0) {
      return kNoRun;
    }
    FaxTake(bits, FaxEntryLength(entry));
    run += FaxEntryRun(entry);
    if (FaxEntryRun(entry) < kFaxFirstMakeUp) {
      return run;
    }
    if (run > width) {
      run = width + 1;
    }
  }
}

// Make-up codes and a terminating code; kNoRun leaves the reader where no word begins. Needs two words at hand, which
// is what a run has but for the longest.
template <bool kBlack> inline int32_t ReadRunAtHand(FaxBitReader& bits, int32_t width) {
  const uint16_t first = LookUpRun<kBlack>(bits);
  FaxTake(bits, FaxEntryLength(first));
  if (FaxEntryRun(first) < kFaxFirstMakeUp) [[likely]] {
    return first == 0 ? kNoRun : FaxEntryRun(first);
  }
  const uint16_t second = LookUpRun<kBlack>(bits);
  if (second != 0 && FaxEntryRun(second) < kFaxFirstMakeUp) [[likely]] {
    FaxTake(bits, FaxEntryLength(second));
    return FaxEntryRun(first) + FaxEntryRun(second);
  }
  return ReadLongRun<kBlack>(bits, FaxEntryRun(first), width);
}

inline int32_t ReadRun(FaxBitReader& bits, bool black, int32_t width) {
  FaxRefill(bits);
  return black ? ReadRunAtHand<true>(bits, width) : ReadRunAtHand<false>(bits, width);
}

// Moves a0 by a run of the current colour and puts the change behind it. False when the row ends there.
inline bool PutRun(RowDecoding& row, int32_t run) {
  if (run >= row.width - row.a0) {
    row.a0 = run > row.width - row.a0 ? row.width + 1 : row.width;
    return false;
  }
  row.a0 += run;
  PutChange(row, row.a0);
  return true;
}

// Pixels of one colour from a0 on. None (a count of 0) still settles the colour at a0.
inline void PutPixels(RowDecoding& row, bool black, int32_t count) {
  if (row.a0 < row.width && black != IsBlack(row)) {
    PutChange(row, row.a0);
  }
  row.a0 += count;
}

// Uncompressed mode, behind its entrance: pixels as they are until an exit word, which the end of the row may stand
// for. False where no word begins.
bool DecodeUncompressed(RowDecoding& row) {
  constexpr int kLongestWhite = 5;
  constexpr int kFirstExit = 6;
  constexpr int kLastExit = 10;
  if (row.a0 < 0) {
    row.a0 = 0;
  }
  for (;;) {
    FaxRefill(row.bits);
    const int zeros = row.bits.window == 0 ? 64 : __builtin_clzll(row.bits.window);
    const bool rowIsFull = row.a0 >= row.width;
    if (zeros > kLastExit || (rowIsFull && zeros < kFirstExit)) {
      return rowIsFull;
    }
    FaxTake(row.bits, static_cast<uint32_t>(zeros) + 1);
    if (zeros >= kFirstExit) {
      if (zeros > kFirstExit) {
        PutPixels(row, false, zeros - kFirstExit);
      }
      PutPixels(row, FaxPeek(row.bits, 1) != 0, 0);
      FaxTake(row.bits, 1);
      return true;
    }
    if (zeros > 0) {
      PutPixels(row, false, zeros);
    }
    if (zeros < kLongestWhite) {
      PutPixels(row, true, 1);
    }
  }
}

FaxRowState FinishRow(RowDecoding& row, FaxRowState state, FaxBitReader* reader, FaxChanges* changes) {
  if (state == kFaxRowDamaged && IsBlack(row)) {
    PutChange(row, row.a0); // black is known as far as a0
  }
  if (row.out != row.first && row.out[-1] >= row.width) {
    --row.out;
  }
  changes->count = static_cast<size_t>(row.out - row.first);
  FaxSetSentinels(*changes, row.width);
  *reader = row.bits;
  if (state == kFaxRowWhole && row.a0 > row.width) {
    return kFaxRowOverrun;
  }
  return state;
}

// Pairs of short runs as long as they come, white first. They end before the row does: the last run is left to the
// single words, since what follows it may look like a black run.
inline void TakePairs(RowDecoding& row) {
  constexpr int kPairsPerRefill = 4;
  static_assert(kPairsPerRefill * kFaxPairIndexBits <= 56);
  for (;;) {
    FaxRefill(row.bits);
    for (int i = 0; i < kPairsPerRefill; ++i) {
      const uint16_t pair = kFaxRunPairs[FaxPeek(row.bits, kFaxPairIndexBits)];
      const int32_t whiteEnd = row.a0 + FaxPairWhite(pair);
      const int32_t blackEnd = whiteEnd + FaxPairBlack(pair);
      if (pair == 0 || blackEnd >= row.width) {
        return;
      }
      row.out[0] = whiteEnd;
      row.out[1] = blackEnd;
      row.out += 2;
      row.a0 = blackEnd;
      FaxTake(row.bits, FaxEntryLength(pair));
    }
  }
}

enum RunStep : uint8_t { kRunPut, kRunEndsRow, kRunMissing };

template <bool kBlack> inline RunStep TakeRun(RowDecoding& row) {
  const int32_t run = ReadRunAtHand<kBlack>(row.bits, row.width);
  if (run == kNoRun) {
    return kRunMissing;
  }
  return PutRun(row, run) ? kRunPut : kRunEndsRow;
}

// Runs of both colours until the row ends or no word begins. Pairs are only looked for behind a pair: where runs are
// long, as at a high resolution, the look would mostly be in vain.
RunStep TakeRuns(RowDecoding& row) {
  RunStep step = kRunPut;
  if (IsBlack(row)) {
    FaxRefill(row.bits);
    step = TakeRun<true>(row);
  }
  while (step == kRunPut) {
    FaxRefill(row.bits); // enough for four words
    const uint32_t before = row.bits.count;
    step = TakeRun<false>(row);
    if (step != kRunPut) {
      break;
    }
    step = TakeRun<true>(row);
    if (step == kRunPut && before - row.bits.count <= kFaxPairIndexBits) {
      TakePairs(row);
    }
  }
  return step;
}

bool TakeUncompressed(RowDecoding& row) {
  FaxRefill(row.bits);
  if (FaxPeek(row.bits, kUncompressedIn1DLength) != kUncompressedIn1D) {
    return false;
  }
  FaxTake(row.bits, kUncompressedIn1DLength);
  return DecodeUncompressed(row);
}

} // namespace

FaxRowState FaxDecodeRow1D(FaxBitReader* reader, int32_t width, FaxChanges* changes) {
  RowDecoding row{*reader, width, 0, changes->at, changes->at};
  FaxRowState state = kFaxRowWhole;
  while (row.a0 < width && TakeRuns(row) == kRunMissing) {
    if (!TakeUncompressed(row)) {
      state = kFaxRowDamaged;
      break;
    }
  }
  return FinishRow(row, state, reader, changes);
}

namespace {

// What of the reference row is still to come: b1 is the first change right of a0 whose colour change is the one that a1
// is going to be, so that the index of b1 and the number of changes put are even or odd together.
struct Reference {
  const int32_t* first;
  const int32_t* end; // its sentinels
  const int32_t* b1;
};

inline void FindB1(Reference& reference, int32_t a0, int32_t width) {
  while (*reference.b1 <= a0 && *reference.b1 < width) {
    reference.b1 += 2;
  }
}

// As many vertical modes of distance 0 as stand next in the stream: the changes of the reference row are taken over.
// False when that ends the row.
inline bool TakeVerticalZeros(RowDecoding& row, Reference& reference) {
  const uint64_t inverse = ~row.bits.window;
  int64_t codes = inverse == 0 ? 64 : __builtin_clzll(inverse);
  if (codes > static_cast<int64_t>(row.bits.count)) {
    codes = row.bits.count;
  }
  int64_t changes = reference.end - reference.b1;
  if (changes < 0) {
    changes = 0;
  }
  const bool rowEnds = codes > changes;
  if (rowEnds) {
    codes = changes;
  }
  for (int64_t i = 0; i < codes; i += 4) { // may copy up to 3 too many, into slack
    std::memcpy(row.out + i, reference.b1 + i, 4 * sizeof(int32_t));
  }
  row.out += codes;
  reference.b1 += codes;
  FaxTake(row.bits, static_cast<uint32_t>(codes) + (rowEnds ? 1 : 0));
  row.a0 = rowEnds ? row.width : row.out[-1];
  return !rowEnds;
}

// One vertical mode of distance `delta`. False when a1 would lie left of a0.
inline bool PutVertical(RowDecoding& row, Reference& reference, int32_t delta) {
  const int32_t a1 = *reference.b1 + delta;
  if (a1 < row.a0 || a1 < 0) {
    return false;
  }
  row.a0 = a1;
  if (a1 >= row.width) {
    return true;
  }
  PutChange(row, a1);
  ++reference.b1;
  while (reference.b1 - reference.first >= 2 && reference.b1[-2] > a1) {
    reference.b1 -= 2;
  }
  FindB1(reference, a1, row.width);
  return true;
}

// Two runs from a0, the second also when the first one fills the row. False where no word begins.
bool PutHorizontal(RowDecoding& row, Reference& reference) {
  if (row.a0 < 0) {
    row.a0 = 0;
  }
  const bool black = IsBlack(row);
  const int32_t first = ReadRun(row.bits, black, row.width);
  if (first == kNoRun) {
    return false;
  }
  bool goesOn = PutRun(row, first);
  const int32_t second = ReadRun(row.bits, !black, row.width);
  if (second == kNoRun) {
    return !goesOn;
  }
  goesOn = PutRun(row, second);
  if (goesOn) {
    FindB1(reference, row.a0, row.width);
  }
  return true;
}

// Uncompressed mode may have changed the colour at a0 either way, so b1 is looked for anew.
inline bool PutExtension(RowDecoding& row, Reference& reference) {
  const uint32_t extension = FaxPeek(row.bits, 3);
  FaxTake(row.bits, 3);
  if (extension != kUncompressedExtension || !DecodeUncompressed(row)) {
    return false;
  }
  reference.b1 = reference.first + (IsBlack(row) ? 1 : 0);
  FindB1(reference, row.a0, row.width);
  return true;
}

} // namespace

FaxRowState FaxDecodeRow2D(FaxBitReader* reader, int32_t width, const FaxChanges& above, FaxChanges* changes) {
  RowDecoding row{*reader, width, -1, changes->at, changes->at};
  Reference reference{above.at, above.at + above.count, above.at};
  bool sound = true;
  while (sound && row.a0 < width) {
    FaxRefill(row.bits);
    const FaxModeEntry mode = kFaxModes[FaxPeek(row.bits, kFaxModeIndexBits)];
    if (mode.length == 1) {
      if (!TakeVerticalZeros(row, reference)) {
        break;
      }
      continue;
    }
    switch (mode.mode) {
    case kFaxModeVertical:
      FaxTake(row.bits, mode.length);
      sound = PutVertical(row, reference, mode.delta);
      break;
    case kFaxModeHorizontal:
      FaxTake(row.bits, mode.length);
      sound = PutHorizontal(row, reference);
      break;
    case kFaxModePass:
      FaxTake(row.bits, mode.length);
      row.a0 = reference.b1[1];
      reference.b1 += 2;
      break;
    case kFaxModeExtension:
      FaxTake(row.bits, mode.length);
      sound = PutExtension(row, reference);
      break;
    case kFaxModeDamage:
      sound = false;
      break;
    }
  }
  return FinishRow(row, sound ? kFaxRowWhole : kFaxRowDamaged, reader, changes);
}
