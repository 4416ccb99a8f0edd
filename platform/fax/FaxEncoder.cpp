// faxEncodeStart and faxEncodeRows: a bitmap, as the row service gives it, to coded pieces at the file's position.

#include "FaxOutput.h"
#include "FaxPieceEncoder.h"
#include "FaxRowEncoder.h"
#include "FaxRowFetch.h"
#include "FaxStripDecoder.h"

#include "vxkernel/memory.h"

#include <cstring>

namespace {

constexpr char kModule[] = "FaxEncoder.cpp";
constexpr size_t kOutputBytes = 64 * 1024;
// Tiles side by side share their rows. Bands up to this size are kept, of higher ones each tile fetches its rows again.
constexpr size_t kLargestBand = 32 * 1024 * 1024;

struct PageEncoding {
  FaxRowFetch rows;
  FaxPieceEncoder encoder;
  FaxOutput output;
  int32_t pieceWidth;
  int32_t pieceHeight;
  int32_t across;
  bool pads;        // pieces are tiles: full height and width, white where the page ends
  uint8_t* tileRow; // a tile's share of a row, whole words
  uint8_t* band;    // the rows of a band of tiles, or null
  int32_t bandTop;  // the row that the band begins with, below 0 for none
};

// Part of a page: columns and rows.
struct PieceArea {
  int32_t left;
  int32_t top;
  int32_t rows; // of the page
};

// Fills the band with the rows from `top` on.
int32_t FetchBand(PageEncoding* page, const PieceArea& area) {
  const size_t rowBytes = FaxRowBytes(page->rows.width);
  page->bandTop = -1;
  for (int32_t i = 0; i < area.rows; ++i) {
    const int32_t result = FaxFetchRow(&page->rows, area.top + i);
    if (result != kFaxResultOk) {
      return result;
    }
    std::memcpy(page->band + static_cast<size_t>(i) * rowBytes, page->rows.row, rowBytes);
  }
  page->bandTop = area.top;
  return kFaxResultOk;
}

// Clears the bits of the last byte that are no pixels.
void WhitenBehind(uint8_t* row, int32_t pixels) {
  if ((pixels & 7) != 0) {
    uint8_t& last = row[FaxRowBytes(pixels) - 1];
    last = static_cast<uint8_t>(last & 0xFF00 >> (pixels & 7));
  }
}

// The bits of `row` from `left` on, `visible` of them, and white up to the piece's width.
void CutTileRow(PageEncoding* page, const uint8_t* row, int32_t left, int32_t visible) {
  const size_t bytes = FaxRowBytes(visible);
  const size_t rowBytes = FaxRowBytes(page->rows.width);
  const size_t first = static_cast<size_t>(left) / 8;
  const unsigned shift = static_cast<unsigned>(left) % 8;
  std::memset(page->tileRow, 0, FaxFillBytes(page->pieceWidth));
  if (shift == 0) {
    std::memcpy(page->tileRow, row + first, bytes);
  } else {
    for (size_t i = 0; i < bytes; ++i) {
      const unsigned next = first + i + 1 < rowBytes ? row[first + i + 1] : 0u;
      page->tileRow[i] = static_cast<uint8_t>(row[first + i] << shift | next >> (8 - shift));
    }
  }
  WhitenBehind(page->tileRow, visible);
}

// Row `i` of a piece; `row` receives its place.
int32_t GetPieceRow(PageEncoding* page, const PieceArea& area, int32_t i, const uint8_t** row) {
  if (!page->pads) {
    *row = page->rows.row;
    return FaxFetchRow(&page->rows, area.top + i);
  }
  *row = page->tileRow;
  if (i >= area.rows) {
    std::memset(page->tileRow, 0, FaxFillBytes(page->pieceWidth));
    return kFaxResultOk;
  }
  const uint8_t* source = page->rows.row;
  if (page->band != nullptr) {
    const int32_t result = page->bandTop == area.top ? kFaxResultOk : FetchBand(page, area);
    if (result != kFaxResultOk) {
      return result;
    }
    source = page->band + static_cast<size_t>(i) * FaxRowBytes(page->rows.width);
  } else {
    const int32_t result = FaxFetchRow(&page->rows, area.top + i);
    if (result != kFaxResultOk) {
      return result;
    }
  }
  const int32_t rest = page->rows.width - area.left;
  CutTileRow(page, source, area.left, rest < page->pieceWidth ? rest : page->pieceWidth);
  return kFaxResultOk;
}

int32_t RowsToWrite(const PageEncoding& page, const PieceArea& area) {
  return page.pads ? page.pieceHeight : area.rows;
}

// Codes a piece into the output, which writes it out as it fills, or, with `limit`, keeps it: coding ends as soon as
// that many bytes are there.
int32_t CodePiece(PageEncoding* page, const PieceArea& area, uint64_t limit) {
  FaxStartPieceOutput(&page->output);
  FaxStartPiece(&page->encoder);
  const int32_t rows = RowsToWrite(*page, area);
  for (int32_t i = 0; i < rows; ++i) {
    const uint8_t* row = nullptr;
    int32_t result = GetPieceRow(page, area, i, &row);
    if (result == kFaxResultOk) {
      FaxEncodePieceRow(&page->encoder, &page->output.writer, row);
      if (limit > 0 && FaxOutputBytes(page->output) >= limit) {
        return kFaxResultOk;
      }
      result = FaxMakeRoom(&page->output);
    }
    if (result != kFaxResultOk) {
      return result;
    }
  }
  FaxEndPiece(&page->encoder, &page->output.writer);
  return kFaxResultOk;
}

// The rows of a piece as they are.
int32_t StorePiece(PageEncoding* page, const PieceArea& area) {
  const size_t rowBytes = FaxRowBytes(page->pieceWidth);
  FaxStartPieceOutput(&page->output);
  const int32_t rows = RowsToWrite(*page, area);
  for (int32_t i = 0; i < rows; ++i) {
    const uint8_t* row = nullptr;
    int32_t result = GetPieceRow(page, area, i, &row);
    if (result == kFaxResultOk) {
      uint8_t* place = page->output.writer.next;
      std::memcpy(place, row, rowBytes);
      WhitenBehind(place, page->pieceWidth);
      page->output.writer.next += rowBytes;
      result = FaxMakeRoom(&page->output);
    }
    if (result != kFaxResultOk) {
      return result;
    }
  }
  return kFaxResultOk;
}

uint64_t StoredBytes(const PageEncoding& page, const PieceArea& area) {
  return static_cast<uint64_t>(FaxRowBytes(page.pieceWidth)) * static_cast<uint64_t>(RowsToWrite(page, area));
}

// One piece; with `mark`, stored as it is if its code is not smaller, which `mark` then tells.
int32_t WritePiece(PageEncoding* page, const PieceArea& area, uint8_t* mark, uint32_t* byteCount) {
  const uint64_t limit = mark == nullptr ? 0 : StoredBytes(*page, area);
  int32_t result = CodePiece(page, area, limit);
  if (result == kFaxResultOk && mark != nullptr) {
    *mark = FaxOutputBytes(page->output) >= limit ? 1 : 0;
    if (*mark != 0) {
      result = StorePiece(page, area);
    }
  }
  return result == kFaxResultOk ? FaxEndPieceOutput(&page->output, byteCount) : result;
}

int32_t WritePieces(PageEncoding* page, uint8_t* marks, uint32_t* byteCounts, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    const auto across = static_cast<uint32_t>(page->across);
    const int64_t top = int64_t{i / across} * page->pieceHeight;
    if (top >= page->rows.height) {
      return kFaxResultInvalid; // more pieces than the page has
    }
    const int64_t rest = page->rows.height - top;
    const PieceArea area{static_cast<int32_t>(i % across * static_cast<uint32_t>(page->pieceWidth)),
                         static_cast<int32_t>(top),
                         rest < page->pieceHeight ? static_cast<int32_t>(rest) : page->pieceHeight};
    const int32_t result = WritePiece(page, area, marks == nullptr ? nullptr : marks + i, &byteCounts[i]);
    if (result != kFaxResultOk) {
      return result;
    }
  }
  return kFaxResultOk;
}

// The band is worth its memory when tiles stand side by side; without it rows are fetched for each tile.
bool WantsBand(const PageEncoding& page) {
  const uint64_t bytes = static_cast<uint64_t>(FaxRowBytes(page.rows.width)) * static_cast<uint64_t>(page.pieceHeight);
  return page.across > 1 && bytes <= kLargestBand;
}

int32_t MakeBuffers(PageEncoding* page, bool keepsPieces) {
  if (page->pads) {
    page->tileRow = static_cast<uint8_t*>(krnAlloc(FaxFillBytes(page->pieceWidth), 1, __LINE__, kModule));
    if (page->tileRow == nullptr) {
      return kFaxResultNoMemory;
    }
  }
  if (WantsBand(*page)) {
    page->band = static_cast<uint8_t*>(
        krnAlloc(static_cast<size_t>(page->pieceHeight), FaxRowBytes(page->rows.width), __LINE__, kModule));
    if (page->band == nullptr) {
      return kFaxResultNoMemory;
    }
  }
  const PieceArea whole{0, 0, page->pieceHeight};
  const uint64_t kept = keepsPieces ? StoredBytes(*page, whole) : 0;
  if (kept > SIZE_MAX - kOutputBytes) {
    return kFaxResultNoMemory;
  }
  return FaxOpenOutput(&page->output, page->output.file, page->output.reversesBits,
                       static_cast<size_t>(kept) + kOutputBytes, FaxLongestRowCode(page->pieceWidth));
}

int32_t EncodePage(PageEncoding* page, uint8_t* marks, uint32_t* byteCounts, uint32_t count) {
  const int32_t result = MakeBuffers(page, marks != nullptr);
  return result == kFaxResultOk ? WritePieces(page, marks, byteCounts, count) : result;
}

void FreeBuffers(PageEncoding* page) {
  FaxCloseOutput(&page->output);
  krnFree(page->band, __LINE__, kModule);
  krnFree(page->tileRow, __LINE__, kModule);
}

bool IsKnownMode(uint32_t mode) {
  return mode == kFaxModifiedHuffman || mode == kFaxT4OneDimensional || mode == kFaxT4TwoDimensional || mode == kFaxT6;
}

bool CanEncode(const FaxRowSource* source, const BitmapHandle* bitmap) {
  return source != nullptr && source->saveStart != nullptr && source->saveGetRow != nullptr &&
         source->saveEnd != nullptr && bitmap != nullptr && bitmap->width > 0 && bitmap->height > 0 &&
         bitmap->width <= kFaxLargestWidth;
}

// Sizes of pieces: 0 or too much is the page's own; a piece narrower than the page is a tile and always whole.
void LayOutPieces(PageEncoding* page, const FaxTileRequest& tiles) {
  const auto width = static_cast<uint32_t>(page->rows.width);
  const auto height = static_cast<uint32_t>(page->rows.height);
  page->pads = tiles.tileWidth > 0 && tiles.tileWidth < width;
  page->pieceWidth = static_cast<int32_t>(page->pads ? tiles.tileWidth : width);
  const bool wholeHeight = tiles.tileHeight == 0 || (tiles.tileHeight > height && !page->pads);
  page->pieceHeight = static_cast<int32_t>(wholeHeight ? height : tiles.tileHeight);
  page->across = (page->rows.width - 1) / page->pieceWidth + 1;
}

struct EncodingRequest {
  const FaxRowSource* source;
  VxFileHandle file;
  BitmapHandle* bitmap;
  uint32_t mode;
  uint32_t flags;
  intptr_t extra1;
  intptr_t extra2;
  uint32_t fillOptions;
};

int32_t Encode(const EncodingRequest& request, const FaxTileRequest& tiles, uint8_t* marks, uint32_t* byteCounts) {
  if (!IsKnownMode(request.mode)) {
    return kFaxResultUnsupported;
  }
  if (!CanEncode(request.source, request.bitmap) || byteCounts == nullptr || tiles.tileHeight > INT32_MAX) {
    return kFaxResultInvalid;
  }
  PageEncoding page{};
  int32_t result =
      FaxBeginRows(&page.rows, request.source, request.bitmap, request.flags, request.extra1, request.extra2);
  if (result < kFaxResultOk) {
    return result;
  }
  LayOutPieces(&page, tiles);
  page.bandTop = -1;
  page.output.file = request.file;
  page.output.reversesBits = (request.fillOptions & kFaxFillReverseBits) != 0;
  result = FaxOpenPieceEncoder(&page.encoder, request.mode, page.pieceWidth, request.source->t4Options,
                               request.bitmap->yResolution);
  if (result == kFaxResultOk) {
    result = EncodePage(&page, marks, byteCounts, tiles.count);
    FreeBuffers(&page);
  }
  FaxClosePieceEncoder(&page.encoder);
  FaxEndRows(&page.rows);
  return result;
}

} // namespace

int32_t faxEncodeStart(const FaxRowSource* source, VxFileHandle file, BitmapHandle* bitmap, int32_t, uint32_t faxMode,
                       uint32_t flags, intptr_t extra1, intptr_t extra2, uint32_t* byteCount, uint32_t fillOptions,
                       int32_t, int32_t) {
  const FaxTileRequest whole{0, 0, nullptr, nullptr, 1};
  return Encode(EncodingRequest{source, file, bitmap, faxMode, flags, extra1, extra2, fillOptions}, whole, nullptr,
                byteCount);
}

int32_t faxEncodeRows(const FaxRowSource* source, VxFileHandle file, BitmapHandle* bitmap, const FaxTileRequest* tiles,
                      uint8_t* tileCompressions, int32_t, int32_t, uint32_t faxMode, uint32_t flags, intptr_t extra1,
                      intptr_t extra2, int32_t, uint32_t fillOptions) {
  if (tiles == nullptr) {
    return kFaxResultInvalid;
  }
  return Encode(EncodingRequest{source, file, bitmap, faxMode, flags, extra1, extra2, fillOptions}, *tiles,
                tileCompressions, tiles->byteCounts);
}
