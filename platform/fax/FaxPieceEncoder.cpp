// Framing of coded rows. TIFF 6.0 decides it: modified Huffman rows begin on bytes and have no end-of-line codes; a
// T.4 strip has one before each row and no return to control behind the last; a T.6 strip ends with its end of block.

#include "FaxPieceEncoder.h"

#include "FaxCodes.h"
#include "FaxRowEncoder.h"

#include "vxfax/vxfax.h"
#include "vxkernel/memory.h"

namespace {

constexpr char kModule[] = "FaxPieceEncoder.cpp";
constexpr uint32_t kEndOfLineBits = FaxWordBits(kFaxEndOfLine);
constexpr uint32_t kEndOfLineLength = FaxWordLength(kFaxEndOfLine);
constexpr uint32_t kAlignedEndOfLines = 4; // T4Options bit 2
// T.4 takes K = 2 at the standard 3.85 lines/mm (98 a inch), K = 4 at 7.7 (196); the boundary lies between.
constexpr int32_t kFineResolution = 150;

void PutEndOfLine(FaxBitWriter& writer, bool aligned) {
  if (aligned) {
    const uint32_t fill = (8 + 8 - kEndOfLineLength % 8 - writer.count) % 8;
    if (fill > 0) {
      FaxPut(writer, 0, fill);
    }
  }
  FaxPut(writer, kEndOfLineBits, kEndOfLineLength);
}

} // namespace

int32_t FaxOpenPieceEncoder(FaxPieceEncoder* encoder, uint32_t mode, int32_t width, uint32_t t4Options,
                            int32_t yResolution) {
  *encoder = FaxPieceEncoder{};
  encoder->mode = mode;
  encoder->width = width;
  encoder->alignsEndOfLines = (t4Options & kAlignedEndOfLines) != 0;
  encoder->parameterK = yResolution < kFineResolution ? 2 : 4;
  const size_t room = static_cast<size_t>(width) + kFaxChangeSlack;
  encoder->memory = static_cast<int32_t*>(krnAlloc(room, 2 * sizeof(int32_t), __LINE__, kModule));
  if (encoder->memory == nullptr) {
    return kFaxResultNoMemory;
  }
  encoder->reference.at = encoder->memory;
  encoder->changes.at = encoder->memory + room;
  return kFaxResultOk;
}

void FaxClosePieceEncoder(FaxPieceEncoder* encoder) {
  krnFree(encoder->memory, __LINE__, kModule);
  encoder->memory = nullptr;
}

void FaxStartPiece(FaxPieceEncoder* encoder) {
  encoder->row = 0;
  encoder->reference.count = 0;
  FaxSetSentinels(encoder->reference, encoder->width);
}

void FaxEncodePieceRow(FaxPieceEncoder* encoder, FaxBitWriter* writer, const uint8_t* row) {
  FaxFindChanges(row, encoder->width, &encoder->changes);
  switch (encoder->mode) {
  case kFaxT6:
    FaxEncodeRow2D(writer, encoder->width, encoder->reference, encoder->changes);
    break;
  case kFaxT4TwoDimensional: {
    const bool oneDimensional = encoder->row % encoder->parameterK == 0;
    PutEndOfLine(*writer, encoder->alignsEndOfLines);
    FaxPut(*writer, oneDimensional ? 1 : 0, 1);
    FaxFlushBytes(*writer);
    if (oneDimensional) {
      FaxEncodeRow1D(writer, encoder->width, encoder->changes);
    } else {
      FaxEncodeRow2D(writer, encoder->width, encoder->reference, encoder->changes);
    }
    break;
  }
  case kFaxT4OneDimensional:
    PutEndOfLine(*writer, encoder->alignsEndOfLines);
    FaxFlushBytes(*writer);
    FaxEncodeRow1D(writer, encoder->width, encoder->changes);
    break;
  default:
    FaxEncodeRow1D(writer, encoder->width, encoder->changes);
    FaxAlign(*writer);
  }
  ++encoder->row;
  const FaxChanges coded = encoder->changes;
  encoder->changes = encoder->reference;
  encoder->reference = coded;
}

void FaxEndPiece(FaxPieceEncoder* encoder, FaxBitWriter* writer) {
  if (encoder->mode == kFaxT6) {
    PutEndOfLine(*writer, false);
    PutEndOfLine(*writer, false);
  }
  FaxAlign(*writer);
}
