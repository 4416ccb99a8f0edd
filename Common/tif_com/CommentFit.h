// Which comment slots count for the Exif and GPS directories, and what both writers of such directories share.
#pragma once

#include <cstdint>

#include "tif_com/CommentTables.h"
#include "tif_com/DirectoryTree.h"

// Whether a slot with data counts for a row. A text may be a byte longer or shorter than its row says, or longer with a
// NUL where the row ends.
bool TIFCommentFits(const TifComment& slot, const CommentRow& row);

// The focal-plane unit that goes with focal-plane resolutions: comment 245 when it is 2 or 3, else 2 (inch).
uint16_t TIFFocalPlaneUnit(const TifCommentBlock* comments);

// The child directory under a tag of a marker directory; null for none.
TifDirectory* TIFMarkerChild(TifDirectory* markerDirectory, uint16_t tag);

// Calls `add(slot, row)` for each non-null slot of the ranges until it gives anything but 1.
template <typename Ranges, typename Add>
int32_t TIFForEachComment(TifCommentBlock* comments, const Ranges& ranges, const CommentRow* table, Add add) {
  for (const CommentRange& range : ranges) {
    for (uint32_t comment = range.first; comment <= range.last; ++comment) {
      TifComment slot = comments->slots[comment];
      if (slot.data == nullptr) {
        continue;
      }
      const int32_t result = add(&slot, table[comment - range.first + range.firstRow]);
      comments->slots[comment] = slot;
      if (result != 1) {
        return result;
      }
    }
  }
  return 1;
}
