// The order of tags in a directory: ascending by number, equal tags in the order in which they came. Stable and in
// place: it needs no memory, so that it cannot fail, and a directory of 65,535 entries in the worst order costs little.

#include <algorithm>
#include <cstddef>

#include "tif_com/TagAccess.h"

namespace {

template <typename Item> bool IsBelow(const Item& left, const Item& right) {
  return TIFCompareTags(left.tag, right.tag) < 0;
}

// Merges two sorted neighbours by rotating the middle into place and merging what lies on both sides of it.
template <typename Item> void MergeNeighbours(Item* first, Item* middle, Item* last) {
  while (first != middle && middle != last && IsBelow(*middle, middle[-1])) {
    Item* leftCut = first;
    Item* rightCut = middle;
    if (middle - first > last - middle) {
      leftCut = first + (middle - first) / 2;
      rightCut = std::lower_bound(middle, last, *leftCut, IsBelow<Item>);
    } else {
      rightCut = middle + (last - middle) / 2;
      leftCut = std::upper_bound(first, middle, *rightCut, IsBelow<Item>);
      // A single item on the right is in place once it has been rotated.
      rightCut += rightCut == middle ? 1 : 0;
    }
    Item* const newMiddle = std::rotate(leftCut, middle, rightCut);
    MergeNeighbours(first, leftCut, newMiddle);
    first = newMiddle;
    middle = rightCut;
  }
}

template <typename Item> void SortByTag(Item* items, size_t n) {
  for (size_t width = 1; width < n; width *= 2) {
    for (size_t start = 0; start + width < n; start += 2 * width) {
      MergeNeighbours(items + start, items + start + width, items + std::min(start + 2 * width, n));
    }
  }
}

} // namespace

int32_t TIFCompareTags(uint16_t left, uint16_t right) {
  return left < right ? -1 : 1;
}

void TIFSortEntries(TifDirEntry* entries, uint32_t n) {
  SortByTag(entries, n);
}

void TIFSortRecords(TifTagRecord* records, uint32_t n) {
  SortByTag(records, n);
}
