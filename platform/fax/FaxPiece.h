// One strip or tile of a page on its way from the file to rows of bits, whether it is coded or stored as it is.
// The memory is kept from piece to piece.
#pragma once

#include "FaxStripDecoder.h"

#include "vxfax/vxfax.h"

struct FaxPiece {
  uint8_t* data; // the piece as it stands in the file, in fill order 1
  size_t dataRoom;
  size_t bytes;
  int32_t* changes;  // memory of both change arrays
  size_t changeRoom; // entries of each
  FaxStripDecoder decoder;
  size_t rawPosition; // of a piece that is not coded
  int32_t width;
  bool isRaw;
};

struct FaxPieceSource {
  VxFileHandle file;
  uint32_t fileSize;
  uint32_t format;
  bool reversedBits;
};

// Reads what the file has of the `bytes` at `offset` and makes the piece ready for its first row. 1,
// kFaxResultSeekFailed, kFaxResultReadFailed or kFaxResultNoMemory.
int32_t FaxLoadPiece(FaxPiece* piece, const FaxPieceSource& source, uint32_t offset, uint32_t bytes, int32_t width,
                     bool isRaw);

// A piece without data: all its rows are white.
void FaxSetMissingPiece(FaxPiece* piece);

// The first `visible` pixels of the next row, as FaxFillRow writes them. False when the data has ended: a white row.
bool FaxReadPieceRow(FaxPiece* piece, uint8_t* row, int32_t visible);

void FaxFreePiece(FaxPiece* piece);
