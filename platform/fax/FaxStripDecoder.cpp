// The strip decoder: framing and resynchronisation around FaxRowDecoder.

#include "FaxStripDecoder.h"

#include "FaxCodes.h"

#include "vxfax/vxfax.h"

namespace {

constexpr int kReturnToControl = 6; // end-of-line codes in a row that end a T.4 page

inline int LeadingZeros(const FaxBitReader& bits) {
  return bits.window == 0 ? 64 : __builtin_clzll(bits.window);
}

// The stream goes on with an end-of-line code, fill before it included. Refills.
inline bool AtEndOfLine(FaxBitReader& bits) {
  FaxRefill(bits);
  return LeadingZeros(bits) >= kFaxEndOfLineZeros;
}

// Takes zeros and the one behind them. False when the strip ends first.
bool TakeEndOfLine(FaxBitReader& bits) {
  constexpr int kSure = 56; // bits at hand after a refill
  FaxRefill(bits);
  while (LeadingZeros(bits) >= kSure) {
    if (FaxBitsLeft(bits) <= 0) {
      return false;
    }
    FaxTake(bits, kSure);
    FaxRefill(bits);
  }
  FaxTake(bits, static_cast<uint32_t>(LeadingZeros(bits)) + 1);
  return true;
}

// Moves on to the next end-of-line code and takes it. False when there is none, with the reader as it was.
bool SkipToEndOfLine(FaxBitReader* reader) {
  FaxBitReader bits = *reader;
  while (FaxBitsLeft(bits) > 0) {
    FaxRefill(bits);
    const int zeros = LeadingZeros(bits);
    if (zeros >= kFaxEndOfLineZeros) {
      if (!TakeEndOfLine(bits)) {
        return false;
      }
      *reader = bits;
      return true;
    }
    FaxTake(bits, static_cast<uint32_t>(zeros) + 1);
  }
  return false;
}

void AlignToByte(FaxBitReader& bits) {
  FaxTake(bits, bits.count & 7);
}

// Decodes the row at `bits` into the spare array, for looking only.
FaxRowState TryRow(FaxStripDecoder* strip, FaxBitReader* bits) {
  return FaxDecodeRow1D(bits, strip->width, &strip->other);
}

// A row that decodes without a fault and is followed by zeros up to the next byte.
bool IsSoundRowOnByte(FaxStripDecoder* strip, FaxBitReader* bits) {
  const uint8_t* first = FaxNextByte(*bits);
  const FaxRowState state = TryRow(strip, bits);
  FaxRefill(*bits);
  const uint32_t padding = bits->count & 7;
  const bool sound = state == kFaxRowWhole && FaxBitsLeft(*bits) >= 0 &&
                     (padding == 0 || FaxPeek(*bits, static_cast<int>(padding)) == 0);
  AlignToByte(*bits);
  strip->trialBytes -= FaxNextByte(*bits) - first + 1;
  return sound;
}

// Looks for the next byte from which two rows decode without a fault (one, at the end of the strip), from the second
// byte of the damaged row on: damage may have made that row too long. False when there is none.
bool SkipToSoundRow(FaxStripDecoder* strip) {
  const uint8_t* end = strip->bits.end;
  for (const uint8_t* at = FaxNextByte(strip->rowStart) + 1; at < end && strip->trialBytes > 0; ++at) {
    FaxBitReader bits = FaxBitReaderAt(at, end);
    if (IsSoundRowOnByte(strip, &bits) && (FaxBitsLeft(bits) <= 0 || IsSoundRowOnByte(strip, &bits))) {
      strip->bits = FaxBitReaderAt(at, end);
      return true;
    }
  }
  return false;
}

bool SoundRowsFollow(FaxStripDecoder* strip, bool onBytes) {
  constexpr int kRowsToTry = 4;
  FaxBitReader bits = strip->bits;
  for (int i = 0; i < kRowsToTry && FaxBitsLeft(bits) > 7; ++i) {
    if (TryRow(strip, &bits) != kFaxRowWhole) {
      return false;
    }
    FaxRefill(bits);
    if (onBytes) {
      AlignToByte(bits);
    }
  }
  return true;
}

// T.4 rows without any end-of-line code follow each other bit by bit or begin on bytes; a few rows tell which.
bool RowsBeginOnBytes(FaxStripDecoder* strip) {
  return !SoundRowsFollow(strip, false) && SoundRowsFollow(strip, true);
}

// Takes end-of-line codes and, with `tagged`, the tag bit behind each. The number of codes; 0 with `ended` set when
// fill went on to the end of the strip.
int TakeEndOfLines(FaxStripDecoder* strip, bool tagged, bool* oneDimensional) {
  int codes = 0;
  while (codes < kReturnToControl && AtEndOfLine(strip->bits)) {
    if (!TakeEndOfLine(strip->bits)) {
      strip->ended = true;
      return 0;
    }
    ++codes;
    if (tagged) {
      FaxRefill(strip->bits);
      *oneDimensional = FaxPeek(strip->bits, 1) != 0;
      FaxTake(strip->bits, 1);
    }
  }
  return codes;
}

// No end-of-line code where one was due: the stream is taken up at the next one. The search begins where the row
// did, since damage may have drawn the first zeros of the code into the row's last word; further no row reaches, for
// 8 zeros begin no word. False when there is none.
bool FindLostLine(FaxStripDecoder* strip) {
  FaxBitReader bits = strip->rowStart;
  if (SkipToEndOfLine(&bits)) {
    strip->bits = bits;
    strip->hasEndOfLines = true;
    return true;
  }
  strip->hasEndOfLines = false; // looked for once and never again
  return false;
}

enum RowStart { kStripEnds, kRowIs1D, kRowIs2D };

RowStart ReadTag(FaxStripDecoder* strip) {
  FaxRefill(strip->bits);
  const bool oneDimensional = FaxPeek(strip->bits, 1) != 0;
  FaxTake(strip->bits, 1);
  return oneDimensional ? kRowIs1D : kRowIs2D;
}

// Brings the reader to the code words of the next T.4 or modified Huffman row.
RowStart FindRowStart(FaxStripDecoder* strip) {
  const bool tagged = strip->format == kFaxT4TwoDimensional;
  bool oneDimensional = true;
  if (strip->rowsOnBytes && !strip->hasEndOfLines) {
    AlignToByte(strip->bits);
  }
  const int codes = TakeEndOfLines(strip, tagged, &oneDimensional);
  if (strip->ended || codes >= kReturnToControl || FaxBitsLeft(strip->bits) <= 0) {
    return kStripEnds;
  }
  if (codes > 0) {
    strip->hasEndOfLines = true;
    return oneDimensional ? kRowIs1D : kRowIs2D;
  }
  const bool mayHaveMore = strip->hasEndOfLines || (strip->lost && !strip->rowsOnBytes);
  if (!strip->firstRow && mayHaveMore) {
    if (FindLostLine(strip)) {
      return tagged ? ReadTag(strip) : kRowIs1D;
    }
    if (strip->lost) {
      return kStripEnds;
    }
  }
  if (strip->firstRow && strip->format == kFaxT4OneDimensional) {
    strip->rowsOnBytes = RowsBeginOnBytes(strip);
  }
  return tagged ? ReadTag(strip) : kRowIs1D;
}

// Decodes a row into the spare array, which becomes the row.
FaxRowState DecodeRow(FaxStripDecoder* strip, RowStart kind) {
  const FaxRowState state = kind == kRowIs2D ? FaxDecodeRow2D(&strip->bits, strip->width, strip->row, &strip->other)
                                             : FaxDecodeRow1D(&strip->bits, strip->width, &strip->other);
  const FaxChanges above = strip->row;
  strip->row = strip->other;
  strip->other = above;
  return state;
}

bool EndStrip(FaxStripDecoder* strip) {
  strip->ended = true;
  strip->row.count = 0;
  FaxSetSentinels(strip->row, strip->width);
  return false;
}

// A row of which nothing could be decoded because the strip is over.
bool IsBehindEnd(const FaxStripDecoder* strip) {
  return strip->row.count == 0 && FaxBitsLeft(strip->bits) <= kFaxEndOfLineZeros;
}

bool NextT6Row(FaxStripDecoder* strip) {
  // Two end-of-line codes are the end of the block; no row begins with zeros like theirs.
  if (FaxBitsLeft(strip->bits) <= 0 || AtEndOfLine(strip->bits)) {
    return EndStrip(strip);
  }
  if (DecodeRow(strip, kRowIs2D) == kFaxRowDamaged) {
    strip->ended = true;
    return !IsBehindEnd(strip);
  }
  return true;
}

bool NextT4Row(FaxStripDecoder* strip) {
  const RowStart kind = FindRowStart(strip);
  if (kind == kStripEnds) {
    return EndStrip(strip);
  }
  strip->rowStart = strip->bits;
  strip->lost = DecodeRow(strip, kind) == kFaxRowDamaged;
  strip->firstRow = false;
  if (!strip->lost) {
    return true;
  }
  const bool behindEnd = IsBehindEnd(strip);
  const bool looksForRow = strip->rowsOnBytes && !strip->hasEndOfLines;
  strip->ended = behindEnd || (looksForRow && !SkipToSoundRow(strip));
  return !behindEnd;
}

} // namespace

void FaxStartStrip(FaxStripDecoder* strip, const uint8_t* data, size_t bytes, uint32_t format, int32_t width) {
  constexpr int64_t kTrialsPerByte = 64;
  constexpr int64_t kTrialsAtLeast = 65536;
  strip->bits = FaxBitReaderAt(data, data + bytes);
  strip->format = format;
  strip->width = width;
  strip->row.count = 0;
  FaxSetSentinels(strip->row, width);
  strip->rowStart = strip->bits;
  strip->trialBytes = kTrialsAtLeast + kTrialsPerByte * static_cast<int64_t>(bytes);
  strip->rowsOnBytes = format == kFaxModifiedHuffman;
  strip->firstRow = true;
  strip->hasEndOfLines = false;
  strip->lost = false;
  strip->ended = false;
}

bool FaxNextRow(FaxStripDecoder* strip) {
  if (strip->ended) {
    if (strip->row.count != 0) {
      EndStrip(strip);
    }
    return false;
  }
  return strip->format == kFaxT6 ? NextT6Row(strip) : NextT4Row(strip);
}
