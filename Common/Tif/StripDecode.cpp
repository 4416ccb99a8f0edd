// Decoding of one strip or tile by the page's compression: none, LZW, PackBits, or a sibling library. The strip reader
// drives it; the buffers of the decoders hang in the TifPage and in the load context between start and end.

#include "Tif/StripDecode.h"

#include <algorithm>

#include "Tif/PackBitsStrip.h"
#include "Tif/PageLayout.h"
#include "Tif/Siblings.h"
#include "Tif_lzw/LzwCodec.h"
#include "Tifutil/Predictor.h"
#include "tif_com/BitReversal.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Memory.h"
#include "tif_com/Saturate.h"
#include "tif_com/Tags.h"

namespace {

// LZW rows are decoded in runs of about this size, so that the predictor finds them in the cache.
constexpr uint32_t kLzwRunBytes = 64 * 1024;

// A decoder's buffer is as large as its strip says it is, up to here without a question. No honest strip is larger than
// its file or takes twice the bytes of its rows; of one that says so, the rows come out of the first buffer all the
// same.
constexpr uint32_t kUnquestionedBytes = 64u << 20;

// Moves the file's position.
uint32_t CodecBufferBytes(VxFileHandle file, const TifPage* page, uint32_t bytes) {
  if (bytes <= kUnquestionedBytes) {
    return bytes;
  }
  const uint64_t decoded = TIFTileRowBytes(page) * static_cast<uint64_t>(std::max<int32_t>(page->rowsPerStrip, 0));
  const uint64_t most = std::min<uint64_t>(2 * decoded, krnFileSeek(file, 0, kKrnSeekEnd));
  return static_cast<uint32_t>(std::min<uint64_t>(bytes, std::max<uint64_t>(most, kUnquestionedBytes)));
}

void FreeCodecBuffer(TifPage* page) {
  TIFFree(page->codecBuffer);
  page->codecBuffer = nullptr;
}

int32_t AllocCodecBuffer(TifPage* page, uint32_t bytes) {
  page->codecBufferSize = bytes;
  page->codecBuffer = TIFAllocZeroBytes(bytes);
  return page->codecBuffer == nullptr ? kResultNoMemory : kResultOk;
}

int32_t StartLzw(VxFileHandle file, TifLoadContext* context, uint32_t bytes, uint32_t bufferBytes) {
  TifPage* const page = context->page;
  context->lzwState = nullptr;
  if (AllocCodecBuffer(page, bufferBytes) != kResultOk) {
    return kResultNoMemory;
  }
  page->codecFile = file;
  const int32_t result = TIFLZWDecodeStart(page, &context->lzwState, file, bytes);
  if (result != kResultOk) {
    context->lzwState = nullptr; // a failed start has freed it
    FreeCodecBuffer(page);
    return result;
  }
  page->codecPosition = 0;
  return kResultOk;
}

int32_t StartPackBits(VxFileHandle file, TifPage* page, uint32_t bytes, uint32_t bufferBytes) {
  if (TIFAllocPackBitsBuffer(page, bufferBytes) != kResultOk) {
    return kResultNoMemory;
  }
  page->codecFile = file;
  page->codecBytesLeft = bytes;
  const int32_t result = TIFRefillPackBitsBuffer(page, 0);
  if (result != kResultOk) {
    FreeCodecBuffer(page);
  }
  return result;
}

// Deflate strips are read, but there is no decoder for them.
int32_t StartDeflate(VxFileHandle file, TifPage* page, uint32_t bytes) {
  if (AllocCodecBuffer(page, bytes) != kResultOk) {
    return kResultNoMemory;
  }
  const uint32_t got = krnFileRead(file, page->codecBuffer, bytes);
  if (got == 0 || got == kKrnIoFailed) {
    FreeCodecBuffer(page);
    return kResultReadFailed;
  }
  page->codecByteCount = got;
  return kResultOk;
}

// A strip that is cut off gives zeros for what is missing, and a warning; one that cannot be read at all is a failure.
int32_t ReadStored(const StripPiece* piece, TifLoadContext* context) {
  const uint64_t needed = uint64_t{piece->rowSize} * piece->rows;
  const uint32_t wanted = needed < piece->bytes ? static_cast<uint32_t>(needed) : piece->bytes;
  const uint32_t got = krnFileRead(piece->file, piece->out, wanted);
  if (got == 0 || got == kKrnIoFailed) {
    return kResultReadFailed;
  }
  if (got < wanted) {
    context->status = kResultReadFailed;
    krnMemSet(piece->out + got, 0, wanted - got);
  }
  if (context->page->fillOrder == kFillOrderLsbFirst) {
    TIFReverseBits(piece->out, wanted);
  }
  return kResultOk;
}

void UnpredictRows(const StripPiece* piece, const TifLoadContext* context, uint8_t* out, uint32_t rows) {
  const SampleSwap swap = context->byteSwapSamples ? SampleSwap::kBigEndian : SampleSwap::kHost;
  for (uint32_t row = 0; row < rows; ++row, out += piece->rowSize) {
    TIFUnpredictRow(context->page, out, piece->rowSize, swap);
  }
}

int32_t DecodeLzw(const StripPiece* piece, TifLoadContext* context) {
  TifPage* const page = context->page;
  if (piece->rowSize == 0) {
    return kResultOk;
  }
  const bool predicted = page->predictor == kPredictorHorizontal;
  const uint32_t runRows = std::max(kLzwRunBytes / piece->rowSize, 1u);
  uint8_t* out = piece->out;
  for (uint32_t left = piece->rows; left > 0;) {
    const uint32_t rows = std::min(runRows, left);
    const int32_t result = TIFLZWDecode(page, out, rows * piece->rowSize, 1, context->lzwState);
    if (result != kResultOk) {
      return result;
    }
    if (predicted) {
      UnpredictRows(piece, context, out, rows);
    }
    out += uint64_t{rows} * piece->rowSize;
    left -= rows;
  }
  return kResultOk;
}

int32_t DecodePackBits(const StripPiece* piece, TifLoadContext* context) {
  const TifPage* const page = context->page;
  const int32_t result = TIFDecodePackBitsRows(context->page, piece->out, piece->rowSize, piece->rows, context);
  if (result == kResultOk && page->fillOrder == kFillOrderLsbFirst && (page->fillOrderMode & kFillReverseAfter) != 0) {
    TIFReverseBits(piece->out, static_cast<size_t>(uint64_t{piece->rowSize} * piece->rows));
  }
  return result;
}

// The sibling sees the strip as a file of its own and fills a bitmap of the strip's size, whose rows are caught.
int32_t DecodeBySibling(const StripPiece* piece, TifLoadContext* context) {
  const TifPage* const page = context->page;
  auto* const bitmap = static_cast<BitmapHandle*>(TIFAllocZero(1, sizeof(BitmapHandle)));
  if (bitmap == nullptr) {
    return kResultNoMemory;
  }
  const uint64_t bits = uint64_t{page->bitsPerSample[0]} * piece->samples;
  krnBitmapInit(bitmap, kBitmapHandleSize, page->tileWidth, page->rowsPerStrip,
                bits > INT32_MAX ? INT32_MAX : static_cast<int32_t>(bits));
  context->outRows = piece->out;
  context->outRowBytes = static_cast<int32_t>(piece->rowSize);
  context->outRowCount = piece->rows;
  const int32_t result = TIFSiblingLoadStream(context->request, piece->file, bitmap, TIFCopyDecodedRows, page,
                                              TIFSaturateU32(piece->offset), piece->bytes,
                                              reinterpret_cast<intptr_t>(context), context->siblingIndex);
  krnBitmapFree(bitmap);
  TIFFree(bitmap);
  return result;
}

} // namespace

int32_t TIFStartStrip(VxFileHandle file, TifLoadContext* context, uint64_t offset, uint32_t bytes) {
  TifPage* const page = context->page;
  const uint32_t bufferBytes = page->compression == kCompressionNone ? bytes : CodecBufferBytes(file, page, bytes);
  if (offset > UINT32_MAX || TIFSeek(file, static_cast<uint32_t>(offset), kKrnSeekSet) != offset) {
    return kResultSeekFailed;
  }
  switch (page->compression) {
  case kCompressionLzw:
    return StartLzw(file, context, bytes, bufferBytes);
  case kCompressionPackBits:
    return StartPackBits(file, page, bytes, bufferBytes);
  case kCompressionDeflate:
  case kCompressionDeflateOld:
    return StartDeflate(file, page, bufferBytes);
  default:
    return kResultOk;
  }
}

int32_t TIFDecodeStripRows(const StripPiece* piece, TifLoadContext* context) {
  switch (context->page->compression) {
  case kCompressionNone:
    return ReadStored(piece, context);
  case kCompressionLzw:
    return DecodeLzw(piece, context);
  case kCompressionPackBits:
    return DecodePackBits(piece, context);
  default:
    return context->siblingIndex == kNoSibling ? kResultUnknownCompression : DecodeBySibling(piece, context);
  }
}

int32_t TIFReadStoredRun(const StripPiece* piece, TifLoadContext* context, uint64_t bandBytes, uint64_t* held) {
  const uint32_t got = krnFileRead(piece->file, piece->out, piece->bytes);
  if (got == 0 || got == kKrnIoFailed) {
    return kResultReadFailed;
  }
  const uint64_t bands = (got + bandBytes - 1) / bandBytes;
  *held = std::min<uint64_t>(bands * bandBytes, piece->bytes);
  if (got < *held) {
    context->status = kResultReadFailed;
    krnMemSet(piece->out + got, 0, static_cast<size_t>(*held - got));
  }
  if (context->page->fillOrder == kFillOrderLsbFirst) {
    TIFReverseBits(piece->out, static_cast<size_t>(*held));
  }
  return kResultOk;
}

void TIFEndStrip(TifLoadContext* context) {
  if (context->lzwState != nullptr) {
    TIFLZWFreeDecoder(context->lzwState);
    context->lzwState = nullptr;
  }
  FreeCodecBuffer(context->page);
}

int32_t TIFCopyDecodedRows(FileInfoRecord* /*fileInfo*/, BitmapHandle* bitmap, uint8_t* rows, uint32_t /*flags*/,
                           int32_t firstRow, int32_t rowCount, intptr_t data) {
  auto* const context = reinterpret_cast<TifLoadContext*>(data);
  const int64_t stride = bitmap->bytesPerLine;
  const auto bytes = static_cast<int64_t>(std::min<int64_t>(context->outRowBytes, stride));
  if (bytes <= 0) {
    return kResultOk;
  }
  // Rows that the strip has no room for are passed over.
  for (int64_t i = std::max<int64_t>(0, -int64_t{firstRow}); i < rowCount; ++i) {
    if (firstRow + i >= context->outRowCount) {
      break;
    }
    krnMemCopy(context->outRows + (firstRow + i) * context->outRowBytes, rows + i * stride, static_cast<size_t>(bytes));
  }
  return kResultOk;
}
