// Loading of strips and tiles, and their rows.

#include "FaxPiece.h"

#include "vxkernel/memory.h"

#include <cstring>

namespace {

constexpr char kModule[] = "FaxPiece.cpp";

// Positions are unsigned, the kernel's distances signed.
bool SeekTo(VxFileHandle file, uint32_t offset) {
  constexpr uint32_t kFarthest = 0x7FFFFFFF;
  uint32_t position = krnFileSeek(file, static_cast<int32_t>(offset < kFarthest ? offset : kFarthest), kKrnSeekSet);
  for (uint32_t reached = kFarthest; reached < offset && position == reached;) {
    const uint32_t step = offset - reached < kFarthest ? offset - reached : kFarthest;
    reached += step;
    position = krnFileSeek(file, static_cast<int32_t>(step), kKrnSeekCurrent);
  }
  return position == offset;
}

// Room for `bytes` and the reader's padding.
bool MakeDataRoom(FaxPiece* piece, uint32_t bytes) {
  const uint64_t room = uint64_t{bytes} + kFaxReaderPadding;
  if (room <= piece->dataRoom) {
    return true;
  }
  krnFree(piece->data, __LINE__, kModule);
  piece->dataRoom = 0;
  piece->data =
      room > SIZE_MAX ? nullptr : static_cast<uint8_t*>(krnAlloc(static_cast<size_t>(room), 1, __LINE__, kModule));
  if (piece->data == nullptr) {
    return false;
  }
  piece->dataRoom = static_cast<size_t>(room);
  return true;
}

bool MakeChangeRoom(FaxPiece* piece, int32_t width) {
  const size_t room = FaxChangeCapacity(width, piece->bytes);
  if (room > piece->changeRoom) {
    krnFree(piece->changes, __LINE__, kModule);
    piece->changeRoom = 0;
    piece->changes = static_cast<int32_t*>(krnAlloc(room, 2 * sizeof(int32_t), __LINE__, kModule));
    if (piece->changes == nullptr) {
      return false;
    }
    piece->changeRoom = room;
  }
  piece->decoder.row.at = piece->changes;
  piece->decoder.other.at = piece->changes + piece->changeRoom;
  return true;
}

void ReadRawRow(FaxPiece* piece, uint8_t* row, int32_t visible) {
  const size_t stored = FaxRowBytes(piece->width);
  const size_t wanted = FaxRowBytes(visible);
  const size_t left = piece->bytes - piece->rawPosition;
  const size_t copied = wanted < left ? wanted : left;
  std::memset(row, 0, FaxFillBytes(visible));
  if (copied == 0) {
    return;
  }
  std::memcpy(row, piece->data + piece->rawPosition, copied);
  if ((visible & 7) != 0) {
    row[wanted - 1] = static_cast<uint8_t>(row[wanted - 1] & 0xFF00 >> (visible & 7));
  }
  piece->rawPosition += stored < left ? stored : left;
}

} // namespace

int32_t FaxLoadPiece(FaxPiece* piece, const FaxPieceSource& source, uint32_t offset, uint32_t bytes, int32_t width,
                     bool isRaw) {
  const uint32_t available = offset < source.fileSize ? source.fileSize - offset : 0;
  const uint32_t wanted = bytes < available ? bytes : available;
  if (!MakeDataRoom(piece, wanted)) {
    return kFaxResultNoMemory;
  }
  piece->bytes = 0;
  if (wanted > 0) {
    if (!SeekTo(source.file, offset)) {
      return kFaxResultSeekFailed;
    }
    const uint32_t got = krnFileRead(source.file, piece->data, wanted);
    if (got > wanted) {
      return kFaxResultReadFailed;
    }
    piece->bytes = got;
  }
  std::memset(piece->data + piece->bytes, 0, kFaxReaderPadding);
  if (source.reversedBits) {
    FaxReverseBytes(piece->data, piece->bytes);
  }
  piece->width = width;
  piece->isRaw = isRaw;
  piece->rawPosition = 0;
  if (!isRaw) {
    if (!MakeChangeRoom(piece, width)) {
      return kFaxResultNoMemory;
    }
    FaxStartStrip(&piece->decoder, piece->data, piece->bytes, source.format, width);
  }
  return kFaxResultOk;
}

void FaxSetMissingPiece(FaxPiece* piece) {
  piece->bytes = 0;
  piece->rawPosition = 0;
  piece->isRaw = true;
}

bool FaxReadPieceRow(FaxPiece* piece, uint8_t* row, int32_t visible) {
  if (piece->isRaw) {
    const bool hasRow = piece->rawPosition < piece->bytes;
    ReadRawRow(piece, row, visible);
    return hasRow;
  }
  const bool hasRow = FaxNextRow(&piece->decoder);
  FaxFillRow(row, visible, piece->decoder.row);
  return hasRow;
}

void FaxFreePiece(FaxPiece* piece) {
  krnFree(piece->changes, __LINE__, kModule);
  krnFree(piece->data, __LINE__, kModule);
}
