// The rows of one strip or tile that lies in memory, one after the other: what stands between rows (end-of-line codes,
// fill, tags, the end of the strip) and what is done about damage. Rows come out as changes of colour.
//
// Damage never ends a strip early in rows: a row keeps what was decoded and goes on white. Then the stream is taken
// up again at the next end-of-line code; in strips without them whose rows begin on bytes, at the next byte from which
// two rows decode without a fault; otherwise the rest is white.
#pragma once

#include "FaxRowDecoder.h"

#include <cstdint>

struct FaxStripDecoder {
  FaxBitReader bits;
  uint32_t format; // kFaxT4OneDimensional and its fellows
  int32_t width;
  FaxChanges row;        // the row decoded last
  FaxChanges other;      // memory for the next one
  FaxBitReader rowStart; // where the code words of `row` began
  int64_t trialBytes;    // what may yet be spent on looking for the next sound row
  bool rowsOnBytes;      // rows begin on bytes: modified Huffman
  bool firstRow;
  bool hasEndOfLines; // end-of-line codes stand between the rows
  bool lost;          // the row before was damaged
  bool ended;         // nothing more comes: rows are white
};

// Widths from 1 to this are decoded: positions a few pixels off the edge and sums of run lengths have to fit too.
inline constexpr int32_t kFaxLargestWidth = 0x7FFF0000;

// Entries that each of the two change arrays needs for strips of up to `bytes` bytes.
constexpr size_t FaxChangeCapacity(int32_t width, size_t bytes) {
  const uint64_t bits = static_cast<uint64_t>(bytes) * 8;
  const auto pixels = static_cast<uint64_t>(width);
  return static_cast<size_t>(bits < pixels ? bits : pixels) + kFaxChangeSlack;
}

// `data` goes on with kFaxReaderPadding zero bytes; it and the arrays, which `strip->row` and `strip->other` hold
// already, stay the caller's.
void FaxStartStrip(FaxStripDecoder* strip, const uint8_t* data, size_t bytes, uint32_t format, int32_t width);

// Decodes the next row into `strip->row`. False when the strip has ended: the row is white.
bool FaxNextRow(FaxStripDecoder* strip);
