// A strip or tile from rows of bits to code: what stands between the rows in each scheme, and its end.
#pragma once

#include "FaxOutput.h"
#include "FaxRuns.h"

struct FaxPieceEncoder {
  uint32_t mode; // kFaxT4OneDimensional and its fellows
  int32_t width;
  bool alignsEndOfLines; // end-of-line codes end on a byte
  int32_t parameterK;    // two-dimensional T.4: of this many rows the first is one-dimensional
  int32_t row;           // rows of the piece so far
  FaxChanges reference;  // the row above
  FaxChanges changes;    // the row being coded
  int32_t* memory;
};

// 1 or kFaxResultNoMemory.
int32_t FaxOpenPieceEncoder(FaxPieceEncoder* encoder, uint32_t mode, int32_t width, uint32_t t4Options,
                            int32_t yResolution);
void FaxClosePieceEncoder(FaxPieceEncoder* encoder);

// Begins a piece: no row depends on the piece before.
void FaxStartPiece(FaxPieceEncoder* encoder);

// Codes a row, read in whole words, and ends the piece. The writer has room for FaxLongestRowCode.
void FaxEncodePieceRow(FaxPieceEncoder* encoder, FaxBitWriter* writer, const uint8_t* row);
void FaxEndPiece(FaxPieceEncoder* encoder, FaxBitWriter* writer);
