// faxDecodeRows: the pages of a file to rows. Rows of strips go straight to the sink; of tiles a whole
// band, side by side, is assembled first.

#include "FaxPiece.h"
#include "FaxRowDelivery.h"

#include "vxkernel/memory.h"

#include <cstring>

namespace {

constexpr char kModule[] = "FaxDecoder.cpp";

struct PageDecoding {
  FaxPieceSource source;
  const uint32_t* offsets;
  const uint32_t* byteCounts;
  const uint8_t* marks; // null, or a byte a piece
  uint32_t pieceCount;
  int32_t width;
  int32_t height; // below 0: as many rows as the data gives
  int32_t pieceWidth;
  int32_t pieceHeight; // 1 or more
  uint32_t across;
  FaxPiece piece;
  FaxRowDelivery delivery;
};

// The view that the flag bits stand for, the last of them in this order.
uint32_t ViewOfFlags(uint32_t flags) {
  constexpr struct {
    uint32_t bit;
    uint32_t view;
  } kViews[] = {{kFaxView1, 1}, {kFaxView6, 6}, {kFaxView3, 3}, {kFaxView8, 8},
                {kFaxView5, 5}, {kFaxView2, 2}, {kFaxView7, 7}};
  uint32_t view = 4;
  for (const auto& entry : kViews) {
    view = (flags & entry.bit) != 0 ? entry.view : view;
  }
  return view;
}

void DescribeTarget(const FaxInfo& info, BitmapHandle* target) {
  target->xResolution = info.xResolution;
  target->yResolution = info.yResolution;
  if (info.faxFormat == kFaxModifiedHuffman) {
    target->viewPerspective = ViewOfFlags(info.faxFlags);
  }
}

bool IsKnownFormat(uint32_t format) {
  return format == kFaxModifiedHuffman || format == kFaxT4OneDimensional || format == kFaxT4TwoDimensional ||
         format == kFaxT6;
}

// Geometry of the pieces: 1, or why the page cannot be decoded. A piece much wider than the page is refused, so that
// memory follows from what the caller asked for and not from what a file claims.
int32_t LayOutPieces(PageDecoding* page, uint32_t pieceWidth, uint32_t pieceHeight) {
  constexpr int32_t kWidestExcess = 1 << 24;
  if (page->width > kFaxLargestWidth) {
    return kFaxResultInvalid;
  }
  page->pieceWidth = pieceWidth == 0 || pieceWidth > INT32_MAX ? page->width : static_cast<int32_t>(pieceWidth);
  if (page->pieceWidth > page->width && page->pieceWidth - page->width > kWidestExcess) {
    return kFaxResultUnsupported;
  }
  page->across = static_cast<uint32_t>((static_cast<int64_t>(page->width) + page->pieceWidth - 1) / page->pieceWidth);
  const int32_t tallest = page->height < 0 ? INT32_MAX : page->height;
  page->pieceHeight =
      pieceHeight == 0 || pieceHeight > static_cast<uint32_t>(tallest) ? tallest : static_cast<int32_t>(pieceHeight);
  return page->height < 0 && page->across > 1 ? kFaxResultUnsupported : kFaxResultOk;
}

int32_t LoadPiece(PageDecoding* page, uint64_t index) {
  if (index >= page->pieceCount) {
    FaxSetMissingPiece(&page->piece);
    return kFaxResultOk;
  }
  const bool isRaw = page->marks != nullptr && page->marks[index] == 1;
  return FaxLoadPiece(&page->piece, page->source, page->offsets[index], page->byteCounts[index], page->pieceWidth,
                      isRaw);
}

// Strips of the page's width: each row is decoded where the sink gets it.
int32_t DecodeStrips(PageDecoding* page) {
  int32_t result = kFaxResultOk;
  for (int32_t row = 0, strip = 0; row < page->height; ++strip) {
    result = LoadPiece(page, static_cast<uint64_t>(strip));
    const int32_t end = page->height - row < page->pieceHeight ? page->height : row + page->pieceHeight;
    for (; row < end && result == kFaxResultOk; ++row) {
      uint8_t* place = FaxNextRowPlace(&page->delivery, &result);
      if (place != nullptr) {
        FaxReadPieceRow(&page->piece, place, page->width);
      }
    }
    if (result != kFaxResultOk) {
      return result;
    }
  }
  return FaxDeliverLastRow(&page->delivery);
}

// Strips of a page whose height nobody knows: the rows that the data has. A row is read aside first, since the one
// behind the last must not take a place.
int32_t DecodeUnknownHeight(PageDecoding* page, uint8_t* aside) {
  int32_t row = 0;
  for (uint32_t strip = 0; strip < page->pieceCount; ++strip) {
    int32_t result = LoadPiece(page, strip);
    for (int32_t i = 0; result == kFaxResultOk && i < page->pieceHeight && row < INT32_MAX; ++i, ++row) {
      if (!FaxReadPieceRow(&page->piece, aside, page->width)) {
        break;
      }
      uint8_t* place = FaxNextRowPlace(&page->delivery, &result);
      if (place != nullptr) {
        std::memcpy(place, aside, FaxRowBytes(page->width));
      }
    }
    if (result != kFaxResultOk) {
      return result;
    }
  }
  return FaxDeliverLastRow(&page->delivery);
}

// Puts the first `pixels` of `piece` into a band row that is still white there. Behind the band row one byte may be
// touched, but not changed.
void MergeRow(uint8_t* row, size_t bitOffset, const uint8_t* piece, int32_t pixels) {
  const size_t bytes = FaxRowBytes(pixels);
  uint8_t* place = row + bitOffset / 8;
  const unsigned shift = bitOffset % 8;
  if (shift == 0) {
    std::memcpy(place, piece, bytes);
    return;
  }
  for (size_t i = 0; i < bytes; ++i) {
    place[i] = static_cast<uint8_t>(place[i] | piece[i] >> shift);
    place[i + 1] = static_cast<uint8_t>(place[i + 1] | piece[i] << (8 - shift));
  }
}

// The tiles of one band, from left to right, into `band`, which is white.
int32_t DecodeBand(PageDecoding* page, uint64_t firstPiece, int32_t rows, uint8_t* band, uint8_t* pieceRow) {
  const size_t rowBytes = FaxRowBytes(page->width);
  for (uint32_t column = 0; column < page->across; ++column) {
    const int32_t result = LoadPiece(page, firstPiece + column);
    if (result != kFaxResultOk) {
      return result;
    }
    const int64_t left = int64_t{column} * page->pieceWidth;
    const int64_t rest = page->width - left;
    const int32_t visible = rest < page->pieceWidth ? static_cast<int32_t>(rest) : page->pieceWidth;
    for (int32_t row = 0; row < rows; ++row) {
      if (!FaxReadPieceRow(&page->piece, pieceRow, visible)) {
        break; // white from here on, as the band is
      }
      MergeRow(band + static_cast<size_t>(row) * rowBytes, static_cast<size_t>(left), pieceRow, visible);
    }
  }
  return kFaxResultOk;
}

int32_t DecodeBands(PageDecoding* page, uint8_t* band, uint8_t* pieceRow) {
  const size_t rowBytes = FaxRowBytes(page->width);
  uint64_t firstPiece = 0;
  for (int32_t top = 0; top < page->height; firstPiece += page->across) {
    const int32_t rows = page->height - top < page->pieceHeight ? page->height - top : page->pieceHeight;
    std::memset(band, 0, static_cast<size_t>(rows) * rowBytes);
    int32_t result = DecodeBand(page, firstPiece, rows, band, pieceRow);
    for (int32_t row = 0; row < rows && result == kFaxResultOk; ++row) {
      uint8_t* place = FaxNextRowPlace(&page->delivery, &result);
      if (place != nullptr) {
        std::memcpy(place, band + static_cast<size_t>(row) * rowBytes, rowBytes);
      }
    }
    if (result != kFaxResultOk) {
      return result;
    }
    top += rows;
  }
  return FaxDeliverLastRow(&page->delivery);
}

// Bands need memory for the tiles' rows; a band is cleared before use, one byte more for MergeRow.
int32_t DecodeTiles(PageDecoding* page) {
  const size_t rowBytes = FaxRowBytes(page->width);
  size_t bandBytes = 0;
  if (__builtin_mul_overflow(static_cast<size_t>(page->pieceHeight), rowBytes, &bandBytes) || bandBytes == SIZE_MAX) {
    return kFaxResultNoMemory;
  }
  auto* band = static_cast<uint8_t*>(krnAllocZero(bandBytes + 1, 1, __LINE__, kModule));
  auto* pieceRow = static_cast<uint8_t*>(krnAlloc(FaxFillBytes(page->pieceWidth), 1, __LINE__, kModule));
  const int32_t result =
      band == nullptr || pieceRow == nullptr ? kFaxResultNoMemory : DecodeBands(page, band, pieceRow);
  krnFree(pieceRow, __LINE__, kModule);
  krnFree(band, __LINE__, kModule);
  return result;
}

int32_t DecodeRowsTheDataHas(PageDecoding* page) {
  auto* aside = static_cast<uint8_t*>(krnAlloc(FaxFillBytes(page->width), 1, __LINE__, kModule));
  const int32_t result = aside == nullptr ? kFaxResultNoMemory : DecodeUnknownHeight(page, aside);
  krnFree(aside, __LINE__, kModule);
  return result;
}

int32_t DecodePage(PageDecoding* page, const FaxRowSink& sink) {
  int32_t result = FaxOpenDelivery(&page->delivery, sink, page->width);
  if (result == kFaxResultOk) {
    if (page->height < 0) {
      result = DecodeRowsTheDataHas(page);
    } else if (page->across > 1) {
      result = DecodeTiles(page);
    } else {
      result = DecodeStrips(page);
    }
  }
  FaxCloseDelivery(&page->delivery);
  FaxFreePiece(&page->piece);
  return result;
}

} // namespace

int32_t faxDecodeRows(void*, VxFileHandle file, const FaxInfo* info, const FaxStripInfo* strips,
                      struct FileInfoRecord* fileInfo, BitmapHandle* target, VxRowSink sink, int32_t, intptr_t sinkData,
                      const uint8_t* stripCompressions) {
  if (info == nullptr || strips == nullptr || target == nullptr || sink == nullptr ||
      (strips->stripCount > 0 && (strips->stripOffsets == nullptr || strips->stripByteCounts == nullptr))) {
    return kFaxResultInvalid;
  }
  if (!IsKnownFormat(info->faxFormat)) {
    return kFaxResultUnsupported;
  }
  DescribeTarget(*info, target);
  if (info->width <= 0 || info->height == 0) {
    return kFaxResultOk;
  }
  PageDecoding page{};
  page.width = info->width;
  page.height = info->height;
  page.offsets = strips->stripOffsets;
  page.byteCounts = strips->stripByteCounts;
  page.pieceCount = strips->stripCount;
  page.marks = stripCompressions;
  const int32_t laidOut = LayOutPieces(&page, strips->width, strips->rowsPerStrip);
  if (laidOut != kFaxResultOk) {
    return laidOut;
  }
  page.source.file = file;
  page.source.format = info->faxFormat;
  page.source.reversedBits = (info->faxFlags & kFaxFillOrder2) != 0;
  page.source.fileSize = krnFileSeek(file, 0, kKrnSeekEnd);
  if (page.source.fileSize == kKrnIoFailed) {
    return kFaxResultSeekFailed;
  }
  return DecodePage(&page, FaxRowSink{sink, fileInfo, target, sinkData});
}
