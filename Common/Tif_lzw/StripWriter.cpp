// Writes one strip or tile: fetches its rows one at a time from the row service, brings each to its written form, and
// compresses or writes it. Samples of compressed pages stay in little-endian order in a big-endian file, too.

#include "Tif_lzw/StripWriter.h"

#include <algorithm>

#include <vxtif/formats.h>
#include <vxtif/results.h>

#include "Tif_lzw/LzwCodec.h"
#include "Tif_lzw/SaveRows.h"
#include "Tif_lzw/WrittenRows.h"
#include "Tifutil/PackBits.h"
#include "Tifutil/Predictor.h"
#include "tif_com/BitReversal.h"
#include "tif_com/ByteOrder.h"
#include "tif_com/FileAccess.h"
#include "tif_com/SaveState.h"
#include "tif_com/Tags.h"

namespace {

// One strip on its way to the file.
struct StripState {
  const StripWriteJob* job;
  uint32_t columnOffset; // byte offset of the tile in the row buffer
  LzwEncoder* encoder;   // LZW alone
  uint8_t* packBitsAt;   // PackBits alone: the write position in the page's codecBuffer
  bool paddingStands;    // the row buffer has been cleared for rows past the image
};

enum class RowState { kReady, kNoMore, kFailed };

// Bytes of the row buffer from the tile's column on.
uint32_t RoomBehindColumn(const StripState* strip) {
  return strip->job->rowBufferBytes > strip->columnOffset ? strip->job->rowBufferBytes - strip->columnOffset : 0;
}

// Rows past the image: none on a page of full-width strips, zeros in a tile.
RowState PadRow(StripState* strip) {
  const StripWriteJob* job = strip->job;
  if (static_cast<int64_t>(job->context->tileWidth) >= job->descriptor->width) {
    return RowState::kNoMore;
  }
  if (!strip->paddingStands) {
    const auto row = static_cast<uint32_t>(std::max(job->descriptor->bytesPerLine, 0));
    krnMemSet(job->rowBuffer, 0, std::min(row, job->rowBufferBytes));
    strip->paddingStands = true;
  }
  return RowState::kReady;
}

RowState FetchRow(StripState* strip, uint32_t row, int32_t* result) {
  const StripWriteJob* job = strip->job;
  TifRowContext* context = job->context;
  BitmapHandle* bitmap = context->bitmap;
  if (static_cast<int64_t>(row) >= bitmap->height) {
    return PadRow(strip);
  }
  const int32_t source = TIFRowToFetch(bitmap, static_cast<int32_t>(row));
  *result = context->saveGetRow(bitmap, job->descriptor, job->rowBuffer, source, 1, context->flags, context->extra1,
                                context->extra2, job->conversionContext);
  return *result == kResultOk ? RowState::kReady : RowState::kFailed;
}

// The row in its written form; where it stands.
uint8_t* ConvertRow(const StripState* strip) {
  const StripWriteJob* job = strip->job;
  const TifRowContext* context = job->context;
  uint8_t* row = job->rowBuffer + strip->columnOffset;
  if (context->bitsPerPixel == 12) {
    if (job->page->predictor == kPredictorHorizontal) {
      TIFPredictRow(job->page, row, RoomBehindColumn(strip));
    }
    TIFPack12BitRow(row, row, context->tileWidth);
  }
  if (TIFHasState(job->file, kStateCmyk)) {
    TIFConvertRowToCmyk(job->cmykScratch, row, context->tileWidth, context->bitsPerPixel == 32 ? 4 : 3);
    return job->cmykScratch;
  }
  if (TIFHasState(job->file, kStateYCbCr)) {
    TIFConvertRowToYCC(row, row, context->tileWidth);
  }
  if (TIFHasState(job->file, kStateFloat)) {
    TIFConvertRowToFloat(job->floatScratch, row, context->tileWidth, context->bitsPerPixel == 16 ? 2 : 1);
    return job->floatScratch;
  }
  return row;
}

int32_t WriteUncompressed(const StripWriteJob* job, uint8_t* row) {
  const uint32_t bytes = job->context->rowBytes;
  if ((job->context->options->flags & kSaveFillOrder2) != 0 && job->context->bitsPerPixel == 1) {
    TIFReverseBits(row, bytes);
  }
  if (!TIFIsLittle(job->file)) {
    if (job->page->bitsPerSample[0] == 16) {
      SwapRun16(row, bytes / 2);
    } else if (job->page->bitsPerSample[0] == 32) {
      SwapRun32(row, bytes / 4);
    }
  }
  return krnFileWrite(job->file->fileHandle, row, bytes) == bytes ? kResultOk : krnWriteError(kResultWriteFailed);
}

int32_t PutRow(StripState* strip, uint8_t* row) {
  const StripWriteJob* job = strip->job;
  switch (job->context->format) {
  case kFormatLzw:
    if (job->page->predictor == kPredictorHorizontal && job->context->bitsPerPixel != 12) {
      TIFPredictRow(job->page, row, job->context->rowBytes);
    }
    return TIFLZWEncode(job->page, row, job->context->rowBytes, 1, strip->encoder);
  case kFormatUncompressed:
    return WriteUncompressed(job, row);
  default:
    TIFPackBitsEncodeRow(&strip->packBitsAt, row, job->context->rowBytes);
    return kResultOk;
  }
}

int32_t PutRows(StripState* strip, uint32_t firstRow) {
  const uint32_t rows = strip->job->context->rowsPerStrip;
  for (uint32_t i = 0; i < rows; ++i) {
    int32_t result = kResultOk;
    const RowState state = FetchRow(strip, firstRow + i, &result);
    if (state != RowState::kReady) {
      return result;
    }
    result = PutRow(strip, ConvertRow(strip));
    if (result != kResultOk) {
      return result;
    }
  }
  return kResultOk;
}

int32_t WritePackBits(const StripState* strip, uint32_t* byteCountSlot) {
  const TifPage* page = strip->job->page;
  const auto bytes = static_cast<uint32_t>(strip->packBitsAt - page->codecBuffer);
  *byteCountSlot = bytes;
  if (krnFileWrite(strip->job->file->fileHandle, page->codecBuffer, bytes) != bytes) {
    return krnWriteError(kResultWriteFailed);
  }
  return kResultOk;
}

int32_t WriteLzw(StripState* strip, uint32_t* byteCountSlot, uint32_t firstRow) {
  TifPage* page = strip->job->page;
  int32_t result = TIFLZWEncodeStart(page, &strip->encoder);
  if (result != kResultOk) {
    return result;
  }
  result = PutRows(strip, firstRow);
  if (result == kResultOk) {
    TIFLZWEncodeEnd(page, strip->encoder);
    *byteCountSlot = page->codecByteCount;
  }
  TIFLZWFreeEncoder(strip->encoder);
  return result;
}

} // namespace

int32_t TIFWriteStrip(const StripWriteJob* job, uint32_t* byteCountSlot, uint32_t firstRow, uint32_t columnOffset) {
  StripState strip = {job, columnOffset, nullptr, job->page->codecBuffer, false};
  job->page->codecByteCount = 0;
  switch (job->context->format) {
  case kFormatLzw:
    return WriteLzw(&strip, byteCountSlot, firstRow);
  case kFormatUncompressed:
    return PutRows(&strip, firstRow); // the layout's count is exact
  default: {
    const int32_t result = PutRows(&strip, firstRow);
    return result == kResultOk ? WritePackBits(&strip, byteCountSlot) : result;
  }
  }
}
