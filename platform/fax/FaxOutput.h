// Coded rows on their way to the file: a buffer with room for the longest row, written out whenever it is full enough.
#pragma once

#include "FaxBits.h"

#include "vxfax/vxfax.h"

struct FaxOutput {
  VxFileHandle file;
  bool reversesBits; // fill order 2
  uint8_t* buffer;
  size_t holds;     // bytes from which on the buffer is written out
  uint64_t written; // bytes of the piece that are in the file already
  FaxBitWriter writer;
};

// Memory to hold back `holds` bytes and a row of `longestRow` bytes behind them. 1 or kFaxResultNoMemory.
int32_t FaxOpenOutput(FaxOutput* output, VxFileHandle file, bool reversesBits, size_t holds, size_t longestRow);
void FaxCloseOutput(FaxOutput* output);

// Forgets what stands in the buffer.
void FaxStartPieceOutput(FaxOutput* output);

// Bytes of the piece so far, the begun one not counted.
uint64_t FaxOutputBytes(const FaxOutput& output);

// Writes the whole bytes when there are enough of them. 1 or what krnWriteError makes of a short write.
int32_t FaxMakeRoom(FaxOutput* output);

// Fills the last byte with zeros and writes everything. `bytes` receives the size of the piece.
int32_t FaxEndPieceOutput(FaxOutput* output, uint32_t* bytes);
