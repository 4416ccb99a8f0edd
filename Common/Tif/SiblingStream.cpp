// The stream that a sibling library sees: a byte range of the open TIFF file with positions from 0. Given the file's
// handle and the range, the kernel's open, seek and close calls are exchanged for callbacks that shift positions; reads
// and writes go to the real handle unchanged. The delegations install it around one call.

#include "Tif/Siblings.h"

namespace {

constexpr int64_t kFarthestSignedSeek = 0x7FFFFFFF;
constexpr int64_t kFarthestOffset = 0xFFFFFFFF;

uint32_t SeekBelow(const StreamAdapter* stream, int32_t offset, uint32_t whence) {
  return stream->seekFn(stream->fileHandle, offset, whence, stream->seekData);
}

// A seek to a place in the file. The kernel's offset is signed, those of TIFF are not: past 2 GiB it takes two steps.
uint32_t SeekToPlace(const StreamAdapter* stream, int64_t place) {
  if (place < 0 || place > kFarthestOffset) {
    return kKrnIoFailed;
  }
  if (place <= kFarthestSignedSeek) {
    return SeekBelow(stream, static_cast<int32_t>(place), kKrnSeekSet);
  }
  if (SeekBelow(stream, static_cast<int32_t>(kFarthestSignedSeek), kKrnSeekSet) == kKrnIoFailed) {
    return kKrnIoFailed;
  }
  return SeekBelow(stream, static_cast<int32_t>(place - kFarthestSignedSeek), kKrnSeekCurrent);
}

// Whatever the name, the stream is what gets opened.
VxFileHandle TIFStreamOpen(const char16_t*, uint32_t, uint32_t, void* adapter) {
  const auto* stream = static_cast<const StreamAdapter*>(adapter);
  SeekToPlace(stream, stream->baseOffset);
  return stream->fileHandle;
}

uint32_t TIFStreamSeek(VxFileHandle, int32_t offset, uint32_t whence, void* adapter) {
  const auto* stream = static_cast<const StreamAdapter*>(adapter);
  uint32_t position;
  if (whence == kKrnSeekSet) {
    position = SeekToPlace(stream, int64_t{stream->baseOffset} + offset);
  } else if (whence == kKrnSeekEnd && stream->length != kStreamUnlimited) {
    position = SeekToPlace(stream, int64_t{stream->baseOffset} + stream->length + offset);
  } else {
    position = SeekBelow(stream, offset, whence);
  }
  return position - stream->baseOffset;
}

// The handle is the TIFF file's own and stays open.
int32_t TIFStreamClose(VxFileHandle, void*) {
  return 0;
}

void ExchangeCallbacks(StreamAdapter* adapter) {
  krnRedirectIo(&adapter->openFn, nullptr, nullptr, &adapter->seekFn, &adapter->closeFn, &adapter->openData, nullptr,
                nullptr, &adapter->seekData, &adapter->closeData);
}

} // namespace

void TIFOpenEmbeddedStream(VxFileHandle file, uint32_t baseOffset, uint32_t length, StreamAdapter* adapter) {
  *adapter = {TIFStreamOpen, TIFStreamSeek, TIFStreamClose, file, baseOffset, length, adapter, adapter, adapter};
  ExchangeCallbacks(adapter);
}

void TIFOpenOutputStream(VxFileHandle file, StreamAdapter* adapter) {
  TIFOpenEmbeddedStream(file, krnFileSeek(file, 0, kKrnSeekCurrent), kStreamUnlimited, adapter);
}

void TIFCloseStream(StreamAdapter* adapter) {
  ExchangeCallbacks(adapter);
}
