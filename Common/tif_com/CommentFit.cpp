// The rules of comment slots: which of them fit their rows, and how many entries a page needs for them.

#include "tif_com/CommentFit.h"

#include "tif_com/ByteOrder.h"
#include "tif_com/Tags.h"

namespace {

constexpr uint32_t kRationalBytes = 8;
constexpr uint32_t kShortBytes = 2;
constexpr uint16_t kUnitOfInches = 2;
constexpr uint16_t kUnitOfCentimetres = 3;

bool HasRational(const TifComment& slot) {
  return slot.data != nullptr && slot.size == kRationalBytes;
}

template <typename Ranges>
uint32_t CountFitting(const TifCommentBlock* comments, const Ranges& ranges, const CommentRow* table) {
  uint32_t count = 0;
  for (const CommentRange& range : ranges) {
    for (uint32_t comment = range.first; comment <= range.last; ++comment) {
      const TifComment slot = comments->slots[comment];
      count += slot.data != nullptr && TIFCommentFits(slot, table[comment - range.first + range.firstRow]);
    }
  }
  return count;
}

} // namespace

bool TIFCommentFits(const TifComment& slot, const CommentRow& row) {
  if (row.bytes == kCommentAnySize) {
    return true;
  }
  const auto bytes = static_cast<uint32_t>(row.bytes);
  const auto* data = static_cast<const uint8_t*>(slot.data);
  if (slot.size == bytes || (slot.size == bytes + 1 && data[bytes] == 0)) {
    return true;
  }
  if (row.type != kTypeAscii) {
    return false;
  }
  return slot.size + 1 == bytes || (slot.size > bytes && (data[bytes - 1] == 0 || data[bytes] == 0));
}

uint16_t TIFFocalPlaneUnit(const TifCommentBlock* comments) {
  const TifComment slot = comments->slots[kCommentFocalPlaneResolutionUnit];
  const uint16_t unit = slot.data != nullptr && slot.size == kShortBytes ? LoadU16LE(slot.data) : 0;
  return unit == kUnitOfCentimetres ? kUnitOfCentimetres : kUnitOfInches;
}

TifDirectory* TIFMarkerChild(TifDirectory* markerDirectory, uint16_t tag) {
  if (markerDirectory == nullptr) {
    return nullptr;
  }
  const TifTagRecord* record = TIFFindRecord(markerDirectory->records, markerDirectory->entryCount, tag, nullptr);
  if (record == nullptr || (record->storage & kStorageKindMask) != kStorageDirectory) {
    return nullptr;
  }
  return static_cast<TifDirectory*>(record->data);
}

void TIFCountExifComments(const TifCommentBlock* comments, uint32_t* count, bool* needsUnit) {
  *count = 0;
  *needsUnit = false;
  if (comments == nullptr) {
    return;
  }
  const TifComment unit = comments->slots[kCommentFocalPlaneResolutionUnit];
  *needsUnit = HasRational(comments->slots[kCommentFocalPlaneXResolution]) ||
               HasRational(comments->slots[kCommentFocalPlaneYResolution]) ||
               (unit.data != nullptr && unit.size == kShortBytes);
  *count = CountFitting(comments, kWrittenExifComments, kExifCommentTable) + *needsUnit +
           HasRational(comments->slots[kCommentGamma]);
}

void TIFCountGpsComments(const TifCommentBlock* comments, uint32_t* count) {
  *count = comments == nullptr ? 0 : CountFitting(comments, kWrittenGpsComments, kGpsCommentTable);
}
