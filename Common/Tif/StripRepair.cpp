// Strip tables of a parsed page, made ready for the strip reader. Files come with counts that run into the next strip,
// without rows per strip, and with whole pages in one strip: the last are split, so that an uncompressed page needs
// only a small band buffer. Both loads use it.

#include "Tif/StripRepair.h"

#include "Tif/PageLayout.h"
#include "tif_com/Memory.h"
#include "tif_com/Saturate.h"
#include "tif_com/Tags.h"

namespace {

constexpr uint32_t kPieceBytes = 8192; // the first strip may be as large as this before the page is split

struct SplitPlan {
  uint64_t rowSize;
  uint64_t rows;  // decoded rows of one piece
  uint64_t slots; // pieces of one strip
};

// Rows of one piece. Pages of several strips keep their strips a whole number of pieces, so that the pieces of all
// strips stay rows apart by the same number.
uint64_t RowsOfPiece(uint64_t limit, uint64_t rowsOfStrip, bool singleStrip) {
  if (limit == 0) {
    return 1;
  }
  if (singleStrip) {
    return limit;
  }
  for (uint64_t rows = limit < rowsOfStrip ? limit : rowsOfStrip; rows >= 2; --rows) {
    if (rowsOfStrip % rows == 0) {
      return rows;
    }
  }
  return 1;
}

bool HasSingleStrip(const TifPage* page) {
  return page->planarConfiguration == kPlanarSeparate ? page->stripCount == page->samplesPerPixel
                                                      : page->stripCount == 1;
}

// Whether and how to split. Tiles side by side are never split: their bands would fall apart.
bool PlanSplit(const TifPage* page, SplitPlan* plan) {
  if (page->compression != kCompressionNone || page->stripByteCounts == nullptr || page->stripOffsets == nullptr ||
      page->stripCount == 0 || page->stripByteCounts[0] <= kPieceBytes) {
    return false;
  }
  if (page->rowsPerStrip <= 0 || TIFCeilDiv(page->imageWidth, page->tileWidth) != 1) {
    return false;
  }
  plan->rowSize = TIFTileRowBytes(page);
  if (plan->rowSize == 0) {
    return false;
  }
  // A row of sub-sampling units is one decoded row.
  const uint64_t rowsOfStrip = TIFCeilDiv(page->rowsPerStrip, TIFRowsOfUnit(page));
  plan->rows = RowsOfPiece(kPieceBytes / plan->rowSize, rowsOfStrip, HasSingleStrip(page));
  // Bytes behind a strip's last row are padding: they get no slot, or every later strip would be off by it.
  const uint64_t rowSlots = (rowsOfStrip + plan->rows - 1) / plan->rows;
  const uint64_t pieceBytes = plan->rows * plan->rowSize;
  const uint64_t byteSlots = (page->stripByteCounts[0] + pieceBytes - 1) / pieceBytes;
  plan->slots = byteSlots < rowSlots ? byteSlots : rowSlots;
  return plan->slots * page->stripCount <= UINT32_MAX;
}

void FillSlots(const TifPage* page, const SplitPlan& plan, uint32_t* offsets, uint32_t* counts) {
  const uint64_t pieceBytes = plan.rows * plan.rowSize;
  for (uint32_t strip = 0; strip < page->stripCount; ++strip) {
    uint64_t offset = page->stripOffsets[strip];
    uint64_t left = page->stripByteCounts[strip];
    const uint64_t end = (strip + 1) * plan.slots;
    for (uint64_t slot = strip * plan.slots; slot < end && left > 0 && offset <= UINT32_MAX; ++slot) {
      const uint64_t bytes = left < pieceBytes ? left : pieceBytes;
      offsets[slot] = static_cast<uint32_t>(offset);
      counts[slot] = static_cast<uint32_t>(bytes);
      offset += bytes;
      left -= bytes;
    }
  }
}

// Replaces the tables. False, with the page as it was, when there is no memory for new ones.
bool SplitStrips(TifPage* page, const SplitPlan& plan) {
  const auto slots = static_cast<uint32_t>(plan.slots * page->stripCount);
  auto* const offsets = static_cast<uint32_t*>(TIFAllocZero(slots, sizeof(uint32_t)));
  auto* const counts = static_cast<uint32_t*>(TIFAllocZero(slots, sizeof(uint32_t)));
  if (offsets == nullptr || counts == nullptr) {
    TIFFree(offsets);
    TIFFree(counts);
    return false;
  }
  FillSlots(page, plan, offsets, counts);
  TIFFree(page->stripOffsets);
  TIFFree(page->stripByteCounts);
  page->stripOffsets = offsets;
  page->stripByteCounts = counts;
  page->stripCount = slots;
  page->rowsPerStrip = TIFSaturateI32(static_cast<int64_t>(plan.rows * TIFRowsOfUnit(page)));
  return true;
}

} // namespace

void TIFClampStripByteCounts(TifPage* page) {
  // The last count is not compared with the file's size.
  for (uint32_t i = 0; i + 1 < page->stripCount; ++i) {
    const uint32_t offset = page->stripOffsets[i];
    const uint32_t next = page->stripOffsets[i + 1];
    if (next > offset && page->stripByteCounts[i] > next - offset) {
      page->stripByteCounts[i] = next - offset;
    }
  }
}

uint32_t TIFSumStripByteCounts(TifPage* page) {
  uint32_t total = 0;
  uint32_t largest = 0;
  for (uint32_t i = 0; i < page->stripCount; ++i) {
    const uint32_t count = page->stripByteCounts[i];
    total += count;
    largest = count > largest ? count : largest;
  }
  page->stripByteTotal = total;
  return largest;
}

StripSplit TIFNormalizeStrips(TifPage* page) {
  const auto length = static_cast<uint32_t>(page->imageLength);
  const auto rows = static_cast<uint32_t>(page->rowsPerStrip);
  if (rows == 0 || rows > length) {
    page->rowsPerStrip = page->imageLength;
  }
  if (page->tileWidth == 0) {
    page->tileWidth = page->imageWidth;
  }
  StripSplit split = {page->rowsPerStrip, 1};
  SplitPlan plan = {};
  if (PlanSplit(page, &plan) && SplitStrips(page, plan)) {
    split.slotsPerStrip = static_cast<uint32_t>(plan.slots);
  }
  return split;
}

uint64_t TIFSlotsOfPlane(const TifPage* page, StripSplit split, int32_t width, int32_t height) {
  const uint64_t pieces = TIFCeilDiv(height, split.rowsPerStrip) * TIFCeilDiv(width, page->tileWidth);
  return TIFSaturateU32(TIFSaturateU32(pieces) * uint64_t{split.slotsPerStrip}); // no table is longer
}

StripSlot TIFStripSlot(const TifPage* page, uint64_t index) {
  if (index >= page->stripCount) {
    return {0, 0};
  }
  return {page->stripOffsets[index], page->stripByteCounts[index]};
}
