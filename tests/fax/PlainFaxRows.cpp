#include "fax/PlainFaxRows.h"

#include <algorithm>
#include <cstdlib>

#include "FaxCodes.h"

namespace {

struct Stream {
  std::string_view bits;
  size_t position;

  char At(size_t ahead) const { return position + ahead < bits.size() ? bits[position + ahead] : '0'; }
  bool StartsWith(std::string_view word) const {
    for (size_t i = 0; i < word.size(); ++i) {
      if (At(i) != word[i]) {
        return false;
      }
    }
    return true;
  }
  bool Take(std::string_view word) {
    if (!StartsWith(word)) {
      return false;
    }
    position += word.size();
    return true;
  }
};

template <size_t kCodes> int TakeFrom(Stream& stream, const FaxCode (&codes)[kCodes]) {
  for (const FaxCode& code : codes) {
    if (stream.Take(code.word)) {
      return code.run;
    }
  }
  return -1;
}

// -1 where no word begins.
long TakeRun(Stream& stream, bool black) {
  long run = 0;
  for (;;) {
    const int last = black ? TakeFrom(stream, kFaxBlackTerminating) : TakeFrom(stream, kFaxWhiteTerminating);
    if (last >= 0) {
      return run + last;
    }
    int makeUp = black ? TakeFrom(stream, kFaxBlackMakeUp) : TakeFrom(stream, kFaxWhiteMakeUp);
    makeUp = makeUp < 0 ? TakeFrom(stream, kFaxExtendedMakeUp) : makeUp;
    if (makeUp < 0) {
      return -1;
    }
    run += makeUp;
  }
}

struct Row {
  std::string pixels;
  int width;
  long a0; // -1 before the first pixel
  bool black;

  void Paint(long count, bool colour) {
    const long from = std::max(a0, 0L);
    for (long x = from; x < std::min<long>(from + count, width); ++x) {
      pixels[static_cast<size_t>(x)] = colour ? '1' : '0';
    }
    a0 = from + count;
  }
  void PaintTo(long position) { Paint(position - std::max(a0, 0L), black); }
};

bool TakeUncompressed(Stream& stream, Row& row) {
  row.a0 = std::max(row.a0, 0L);
  for (;;) {
    int zeros = 0;
    while (zeros < 64 && stream.At(static_cast<size_t>(zeros)) == '0') {
      ++zeros;
    }
    const bool full = row.a0 >= row.width;
    if (zeros > 10 || (full && zeros < 6)) {
      return full;
    }
    stream.position += static_cast<size_t>(zeros) + 1;
    if (zeros >= 6) {
      row.Paint(zeros - 6, false);
      row.black = stream.At(0) == '1';
      ++stream.position;
      return true;
    }
    row.Paint(zeros, false);
    if (zeros < 5) {
      row.Paint(1, true);
    }
    row.black = zeros < 5;
  }
}

// The first changing element of `reference` right of a0 to the colour that is not `black`; the width if there is none.
int FindB1(const std::string& reference, long a0, bool black) {
  const int width = static_cast<int>(reference.size());
  for (long x = std::max(a0 + 1, 0L); x < width; ++x) {
    const bool here = reference[static_cast<size_t>(x)] == '1';
    const bool before = x > 0 && reference[static_cast<size_t>(x) - 1] == '1';
    if (here != before && here != black) {
      return static_cast<int>(x);
    }
  }
  return width;
}

int FindB2(const std::string& reference, int b1, bool black) {
  const int width = static_cast<int>(reference.size());
  int x = b1;
  while (x < width && (reference[static_cast<size_t>(x)] == '1') != black) {
    ++x;
  }
  return x;
}

bool TakeHorizontal(Stream& stream, Row& row) {
  row.a0 = std::max(row.a0, 0L);
  const long first = TakeRun(stream, row.black);
  if (first < 0) {
    return false;
  }
  row.Paint(first, row.black);
  const bool full = row.a0 >= row.width;
  const long second = TakeRun(stream, !row.black);
  if (second < 0) {
    row.black = !row.black;
    return full;
  }
  row.Paint(second, !row.black);
  return true;
}

// One mode; false where the stream is damaged.
bool TakeMode(Stream& stream, Row& row, const std::string& reference) {
  const int b1 = FindB1(reference, row.a0, row.black);
  for (const FaxModeCode& code : kFaxModeCodes) {
    if (!stream.Take(code.word)) {
      continue;
    }
    if (code.mode == kFaxModePass) {
      row.PaintTo(FindB2(reference, b1, row.black));
      return true;
    }
    if (code.mode == kFaxModeHorizontal) {
      return TakeHorizontal(stream, row);
    }
    if (code.mode == kFaxModeVertical) {
      const int a1 = b1 + code.delta;
      if (a1 < std::max(row.a0, 0L)) {
        return false;
      }
      row.PaintTo(a1);
      row.black = !row.black;
      return true;
    }
    const bool known = stream.StartsWith("111");
    stream.position += 3;
    return known && TakeUncompressed(stream, row);
  }
  return false;
}

PlainRow Finish(const Row& row, const Stream& stream, bool sound) {
  PlainRow result;
  result.pixels = row.pixels;
  result.position = stream.position;
  if (!sound) {
    result.state = PlainRowState::kDamaged;
  } else if (row.a0 > row.width) {
    result.state = PlainRowState::kOverrun;
  }
  return result;
}

int NextChange(const std::string& row, int from, bool black) {
  int x = from;
  while (x < static_cast<int>(row.size()) && (row[static_cast<size_t>(x)] == '1') == black) {
    ++x;
  }
  return x;
}

} // namespace

PlainRow PlainDecode1D(std::string_view bits, size_t position, int width) {
  Stream stream{bits, position};
  Row row{std::string(static_cast<size_t>(width), '0'), width, 0, false};
  while (row.a0 < width) {
    const long run = TakeRun(stream, row.black);
    if (run < 0) {
      if (!stream.Take(kFaxUncompressedIn1D) || !TakeUncompressed(stream, row)) {
        return Finish(row, stream, false);
      }
      continue;
    }
    row.Paint(run, row.black);
    row.black = !row.black;
  }
  return Finish(row, stream, true);
}

PlainRow PlainDecode2D(std::string_view bits, size_t position, int width, const std::string& reference) {
  Stream stream{bits, position};
  Row row{std::string(static_cast<size_t>(width), '0'), width, -1, false};
  while (row.a0 < width) {
    if (!TakeMode(stream, row, reference)) {
      return Finish(row, stream, false);
    }
  }
  return Finish(row, stream, true);
}

std::string PlainRunWords(int run, bool black) {
  std::string words;
  for (; run >= 2560 + 64; run -= 2560) {
    words += kFaxExtendedMakeUp[12].word;
  }
  if (run >= 1792) {
    words += kFaxExtendedMakeUp[(run - 1792) / 64].word;
  } else if (run >= 64) {
    words += black ? kFaxBlackMakeUp[run / 64 - 1].word : kFaxWhiteMakeUp[run / 64 - 1].word;
  }
  words += black ? kFaxBlackTerminating[run % 64].word : kFaxWhiteTerminating[run % 64].word;
  return words;
}

std::string PlainEncode1D(const std::string& row) {
  std::string words;
  bool black = false;
  for (int x = 0; x < static_cast<int>(row.size());) {
    const int end = NextChange(row, x, black);
    words += PlainRunWords(end - x, black);
    x = end;
    black = !black;
  }
  return words;
}

std::string PlainEncode2D(const std::string& row, const std::string& reference) {
  const int width = static_cast<int>(row.size());
  std::string words;
  bool black = false;
  for (int a0 = -1; a0 < width;) {
    const int a1 = NextChange(row, std::max(a0, 0), black);
    const int b1 = FindB1(reference, a0, black);
    const int b2 = FindB2(reference, b1, black);
    if (b2 < a1) {
      words += "0001";
      a0 = b2;
    } else if (std::abs(a1 - b1) <= 3) {
      for (const FaxModeCode& code : kFaxModeCodes) {
        words += code.mode == kFaxModeVertical && code.delta == a1 - b1 ? code.word : "";
      }
      a0 = a1;
      black = !black;
    } else {
      const int a2 = NextChange(row, a1, !black);
      words += "001";
      words += PlainRunWords(a1 - std::max(a0, 0), black) + PlainRunWords(a2 - a1, !black);
      a0 = a2;
    }
  }
  return words;
}
