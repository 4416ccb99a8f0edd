// The strip and tile reader: bands of rows. A page is a grid of pieces, strips being tiles as wide as the image; a band
// is one row of that grid, decoded into one buffer with the tiles side by side, and handed on row by row. The loads
// give it a normalised page and a receiver.

#include "Tif/StripReader.h"

#include <algorithm>

#include "Tif/PageLayout.h"
#include "Tif/StripDecode.h"
#include "Tif/StripRepair.h"
#include "tif_com/Memory.h"
#include "tif_com/Saturate.h"
#include "tif_com/Tags.h"

namespace {

// A receiver may store rows rounded up to 4 bytes.
constexpr uint64_t kBandMargin = 3;

// Uncompressed bands that follow each other in the file are read together up to this many bytes: few calls, and the
// kernel reads such a run straight into the band buffer.
constexpr uint64_t kRunBytes = 128 * 1024;

// What the rows of tiles, and samples that are dropped, may add to the pixels of a page: so many times the pixels, and
// what the file can decode to, for narrow images in wide tiles. No decoder here gives more than 2730 bytes for one.
constexpr uint64_t kMostRowShare = 16;
constexpr uint64_t kMostExpansion = 2730;
constexpr uint64_t kFewSpareBytes = 4u << 20;
constexpr uint64_t kMostSpareBytes = 1u << 30;

struct BandBuffer {
  uint8_t* rows;
  uint64_t rowBytes; // all tiles of a row
  uint32_t rowCount; // rows of a band, or as many as there is memory for
  uint32_t runBands; // whole bands that the buffer has room for
  uint64_t tilesAcross;
};

// One row of the grid.
struct Band {
  uint64_t firstSlot;
  int64_t firstRow; // image row
  uint32_t rows;    // decoded rows in it: image rows, or rows of units
};

bool OutsideRegion(const StripReadJob* job, int64_t firstRow, uint32_t rows) {
  return job->regionActive && (firstRow >= job->region.bottom || firstRow + rows <= job->region.top);
}

// Bands that may be read in one run. An array load looks behind its rows in the band, and has them one by one.
uint32_t RunBands(const StripReadJob* job, const BandBuffer* buffer) {
  const uint64_t bandBytes = buffer->rowCount * buffer->rowBytes;
  if (job->page->compression != kCompressionNone || buffer->tilesAcross != 1 || job->regionActive ||
      job->context->arrayRequest != nullptr || bandBytes == 0 || TIFRowsOfUnit(job->page) != 1) {
    return 1;
  }
  const uint64_t bands = TIFCeilDiv(job->page->imageLength, job->page->rowsPerStrip);
  return static_cast<uint32_t>(std::clamp<uint64_t>(kRunBytes / bandBytes, 1, bands));
}

// Memory shortage is met by halving the band, but for compressed tiles: those cannot be entered in the middle.
int32_t AllocBand(const StripReadJob* job, BandBuffer* buffer) {
  const bool divisible = job->page->compression == kCompressionNone || buffer->tilesAcross <= 1;
  const uint64_t delivered = job->deliveredBytes > buffer->rowBytes ? job->deliveredBytes - buffer->rowBytes : 0;
  const uint64_t margin = std::max(kBandMargin, delivered);
  buffer->runBands = RunBands(job, buffer);
  if (buffer->runBands > 1) {
    buffer->rows = TIFAllocZeroBytes(buffer->runBands * buffer->rowCount * buffer->rowBytes + margin);
    if (buffer->rows != nullptr) {
      return kResultOk;
    }
    buffer->runBands = 1;
  }
  while (buffer->rowCount > 0) {
    buffer->rows = TIFAllocZeroBytes(buffer->rowCount * buffer->rowBytes + margin);
    if (buffer->rows != nullptr) {
      return kResultOk;
    }
    buffer->rowCount = divisible ? buffer->rowCount / 2 : 0;
  }
  return kResultNoMemory;
}

// `rows` decoded rows stand at the start of the band buffer; the first of them is image row `firstRow`.
int32_t DeliverRows(const StripReadJob* job, const BandBuffer* buffer, int64_t firstRow, uint32_t rows) {
  if (OutsideRegion(job, firstRow, rows)) {
    return kResultOk;
  }
  TifLoadContext* const context = job->context;
  const TifRowSink receiver = job->receiver;
  const uint32_t step = TIFRowsOfUnit(job->page);
  uint32_t index = 0;
  int64_t row = firstRow;
  if (job->regionActive && firstRow < job->region.top) {
    index = static_cast<uint32_t>(job->region.top - firstRow);
    row = job->region.top;
  }
  // Rows below the region that stand in the same band are delivered all the same.
  for (; index < rows; ++index, row += step) {
    const uint64_t at = index * buffer->rowBytes;
    context->bandTailBytes = buffer->rowCount * buffer->rowBytes - at;
    const int32_t result = receiver(job->fileInfo, job->target, buffer->rows + at, 0, TIFSaturateI32(row), 1,
                                    reinterpret_cast<intptr_t>(context));
    if (result != kResultOk) {
      return result;
    }
  }
  return kResultOk;
}

StripPiece PieceOf(const StripReadJob* job, StripSlot slot, uint64_t done, uint32_t rows, uint8_t* out) {
  const uint32_t bytes = done < slot.byteCount ? slot.byteCount - static_cast<uint32_t>(done) : 0;
  return {job->file, static_cast<uint32_t>(job->rowSize), rows, slot.offset + done, bytes, out, job->samples};
}

// Decodes `rows` rows of every tile of the band and puts them side by side.
int32_t DecodeTiles(const StripReadJob* job, const BandBuffer* buffer, const Band& band, uint64_t done, uint32_t rows,
                    uint8_t* tile) {
  const uint64_t rowSize = job->rowSize;
  for (uint64_t t = 0; t < buffer->tilesAcross; ++t) {
    const StripPiece piece = PieceOf(job, TIFStripSlot(job->page, band.firstSlot + t), done, rows, tile);
    int32_t result = TIFStartStrip(job->file, job->context, piece.offset, piece.bytes);
    if (result != kResultOk) {
      return result;
    }
    result = TIFDecodeStripRows(&piece, job->context);
    TIFEndStrip(job->context);
    if (result != kResultOk) {
      return result;
    }
    uint8_t* out = buffer->rows + t * rowSize;
    for (uint32_t row = 0; row < rows; ++row, out += buffer->rowBytes) {
      krnMemCopy(out, tile + row * rowSize, static_cast<size_t>(rowSize));
    }
  }
  return kResultOk;
}

int32_t ReadTileBand(const StripReadJob* job, const BandBuffer* buffer, const Band& band) {
  uint8_t* const tile = TIFAllocZeroBytes(job->rowSize * buffer->rowCount);
  if (tile == nullptr) {
    return kResultNoMemory;
  }
  int32_t result = kResultOk;
  uint32_t rows = 0;
  for (uint32_t done = 0; done < band.rows && result == kResultOk; done += rows) {
    rows = std::min(buffer->rowCount, band.rows - done);
    result = DecodeTiles(job, buffer, band, done * job->rowSize, rows, tile);
    if (result == kResultOk) {
      result = DeliverRows(job, buffer, band.firstRow + done, rows);
    }
  }
  TIFFree(tile);
  return result;
}

int32_t ReadStripBand(const StripReadJob* job, const BandBuffer* buffer, const Band& band) {
  const StripSlot slot = TIFStripSlot(job->page, band.firstSlot);
  int32_t result = TIFStartStrip(job->file, job->context, slot.offset, slot.byteCount);
  if (result != kResultOk) {
    return result;
  }
  uint32_t rows = 0;
  for (uint32_t done = 0; done < band.rows && result == kResultOk; done += rows) {
    rows = std::min(buffer->rowCount, band.rows - done);
    const StripPiece piece = PieceOf(job, slot, done * job->rowSize, rows, buffer->rows);
    result = TIFDecodeStripRows(&piece, job->context);
    if (result == kResultOk) {
      result = DeliverRows(job, buffer, band.firstRow + done, rows);
    }
  }
  TIFEndStrip(job->context);
  return result;
}

// The first band that a region does not pass over: the bands above it are not even counted through.
uint64_t FirstBand(const StripReadJob* job, int64_t rowsPerStrip, int64_t bandRows) {
  const int64_t above = job->regionActive ? job->region.top - bandRows : -1;
  return above < 0 ? 0 : static_cast<uint64_t>(above / rowsPerStrip) + 1;
}

// Bands from `first` on that stand one behind the other in the file, each whole.
uint64_t RunLength(const StripReadJob* job, const BandBuffer* buffer, uint64_t first, uint64_t stripsDown) {
  const uint64_t bandBytes = buffer->rowCount * buffer->rowBytes;
  const uint64_t lastRow = static_cast<uint64_t>(job->page->imageLength);
  const uint64_t most = std::min<uint64_t>(buffer->runBands, stripsDown - first);
  const uint64_t offset = TIFStripSlot(job->page, job->firstSlot + first).offset;
  uint64_t bands = 0;
  for (; bands < most; ++bands) {
    const StripSlot slot = TIFStripSlot(job->page, job->firstSlot + first + bands);
    const uint64_t rows = std::min<uint64_t>(buffer->rowCount, lastRow - (first + bands) * buffer->rowCount);
    const bool last = first + bands + 1 == stripsDown;
    const bool whole = last ? slot.byteCount >= rows * buffer->rowBytes : slot.byteCount == bandBytes;
    if (!whole || slot.offset != offset + bands * bandBytes) {
      break;
    }
  }
  return bands;
}

// Reads a run of whole bands at once, with the same outcome as one by one: a band of which only a part comes is filled
// up with zeros, for a warning, and ends the run; the one behind it is read by itself, and fails if it has nothing.
// `bands` receives the number of those that were delivered.
int32_t ReadRun(const StripReadJob* job, const BandBuffer* buffer, uint64_t first, uint64_t* bands) {
  const uint64_t bandBytes = buffer->rowCount * buffer->rowBytes;
  const uint64_t firstRow = first * buffer->rowCount;
  const uint64_t rows = std::min(*bands * buffer->rowCount, static_cast<uint64_t>(job->page->imageLength) - firstRow);
  const uint64_t wanted = rows * buffer->rowBytes;
  StripPiece piece = {job->file,
                      static_cast<uint32_t>(job->rowSize),
                      static_cast<uint32_t>(rows),
                      TIFStripSlot(job->page, job->firstSlot + first).offset,
                      static_cast<uint32_t>(wanted),
                      buffer->rows,
                      job->samples};
  int32_t result = TIFStartStrip(job->file, job->context, piece.offset, piece.bytes);
  uint64_t held = 0;
  if (result == kResultOk) {
    result = TIFReadStoredRun(&piece, job->context, bandBytes, &held);
  }
  if (result != kResultOk) {
    return result;
  }
  *bands = TIFCeilDiv(static_cast<int64_t>(held), static_cast<int64_t>(bandBytes));
  result = DeliverRows(job, buffer, static_cast<int64_t>(firstRow), static_cast<uint32_t>(held / buffer->rowBytes));
  // A band that is short by its count shows what the band before it left.
  const uint64_t lastBand = (*bands - 1) * bandBytes;
  krnMemMove(buffer->rows, buffer->rows + lastBand, static_cast<size_t>(held - lastBand));
  return result;
}

int32_t ReadBands(const StripReadJob* job, const BandBuffer* buffer) {
  const TifPage* const page = job->page;
  const int64_t length = page->imageLength;
  const int64_t rowsPerStrip = page->rowsPerStrip;
  const int64_t unit = TIFRowsOfUnit(page);
  const uint64_t stripsDown = TIFCeilDiv(length, rowsPerStrip);
  const auto fullRows = static_cast<uint32_t>(TIFCeilDiv(rowsPerStrip, unit));
  for (uint64_t i = FirstBand(job, rowsPerStrip, fullRows); i < stripsDown; ++i) {
    uint64_t run = buffer->runBands > 1 ? RunLength(job, buffer, i, stripsDown) : 0;
    if (run > 1) {
      const int32_t result = ReadRun(job, buffer, i, &run);
      if (result != kResultOk) {
        return result;
      }
      i += run - 1;
      continue;
    }
    Band band = {job->firstSlot + i * buffer->tilesAcross, static_cast<int64_t>(i) * rowsPerStrip, fullRows};
    if (i + 1 == stripsDown) {
      band.rows = static_cast<uint32_t>(TIFCeilDiv(length - band.firstRow, unit));
    }
    if (job->regionActive && band.firstRow >= job->region.bottom) {
      return kResultOk;
    }
    if (OutsideRegion(job, band.firstRow, band.rows)) {
      continue;
    }
    const int32_t result = buffer->tilesAcross > 1 ? ReadTileBand(job, buffer, band) : ReadStripBand(job, buffer, band);
    if (result != kResultOk) {
      return result;
    }
  }
  return kResultOk;
}

// Whether rows of `rowBytes` bytes are in proportion to the page and its file, so that a small file cannot have rows of
// absurd size cleared, decoded and thrown away one after the other.
bool IsInProportion(const StripReadJob* job, uint64_t rowBytes) {
  constexpr uint64_t kDeepestPixel = 64;
  const TifPage* const page = job->page;
  const auto length = static_cast<uint64_t>(page->imageLength);
  const uint64_t bits =
      std::clamp<uint64_t>(page->bitsPerPixel < 1 ? 1 : static_cast<uint64_t>(page->bitsPerPixel), 1, kDeepestPixel);
  const uint64_t pixelBytes = (bits * static_cast<uint64_t>(page->imageWidth) + 7) / 8;
  if (rowBytes <= kMostRowShare * pixelBytes + kFewSpareBytes / length) {
    return true;
  }
  const uint32_t end = krnFileSeek(job->file, 0, kKrnSeekEnd); // every strip begins with a seek of its own
  const uint64_t spare = std::min(kFewSpareBytes + end * kMostExpansion, kMostSpareBytes);
  return rowBytes <= kMostRowShare * pixelBytes + spare / length;
}

// A temporary bitmap of 32-bit grey learns the range that its rows had.
void StoreRange(const StripReadJob* job) {
  if (job->target->order == kOrderGray && job->target->bitsPerPixel == 32) {
    job->target->minValue = static_cast<int32_t>(static_cast<uint32_t>(job->context->minValue));
    job->target->maxValue = static_cast<int32_t>(static_cast<uint32_t>(job->context->maxValue));
  }
}

} // namespace

int32_t TIFReadStrips(const StripReadJob* job) {
  const TifPage* const page = job->page;
  BandBuffer buffer = {};
  buffer.tilesAcross = TIFCeilDiv(page->imageWidth, page->tileWidth);
  if (buffer.tilesAcross == 0 || page->imageLength <= 0 || page->rowsPerStrip <= 0) {
    StoreRange(job);
    return kResultOk;
  }
  if (job->rowSize > INT32_MAX || job->rowSize * buffer.tilesAcross > INT32_MAX) {
    return kResultNoMemory;
  }
  buffer.rowBytes = buffer.tilesAcross * job->rowSize;
  if (!IsInProportion(job, buffer.rowBytes)) {
    return kResultNoMemory;
  }
  buffer.rowCount = static_cast<uint32_t>(page->rowsPerStrip);
  int32_t result = AllocBand(job, &buffer);
  if (result != kResultOk) {
    return result;
  }
  job->context->rowBytes = static_cast<int32_t>(buffer.rowBytes);
  job->context->rowBufferBytes = static_cast<uint32_t>(buffer.rowBytes);
  result = ReadBands(job, &buffer);
  StoreRange(job);
  TIFFree(buffer.rows);
  return result;
}
