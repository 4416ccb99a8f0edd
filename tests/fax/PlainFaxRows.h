// The codec's rows once more, in the plainest way: code words are looked for in the standards' tables one by one, rows
// are pixels, b1 and b2 are searched for by their definition. Slow and without any state but what the standards name;
// the fast decoder has to agree with it on every stream, damaged ones too.
#pragma once

#include <string>
#include <string_view>
#include <vector>

enum class PlainRowState { kWhole, kOverrun, kDamaged };

struct PlainRow {
  std::string pixels; // 0 and 1
  PlainRowState state = PlainRowState::kWhole;
  size_t position = 0; // in the stream, behind the last word taken
};

// Decode the row whose words begin at `position` of `bits`, which goes on with zeros behind its end.
PlainRow PlainDecode1D(std::string_view bits, size_t position, int width);
PlainRow PlainDecode2D(std::string_view bits, size_t position, int width, const std::string& reference);

// The code words of a row.
std::string PlainEncode1D(const std::string& row);
std::string PlainEncode2D(const std::string& row, const std::string& reference);

// The code words of one run: as many make-up codes of 2560 as it needs, one make-up code, the terminating code.
std::string PlainRunWords(int run, bool black);
