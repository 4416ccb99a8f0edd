// The strip order of variant files (tag 33467): a list that gives, for each strip in the order of the image, its index
// in the order of the file. Given the tag, the page's tables are rearranged into the order of the image, and the
// compression codes of the strips become marks of a byte each. The page parser uses this.

#include "Tifutil/StripOrder.h"

#include <algorithm>

#include "tif_com/ByteOrder.h"
#include "tif_com/Memory.h"
#include "tif_com/Tags.h"

namespace {

constexpr uint32_t kFewestStrips = 2;
constexpr uint32_t kInlineIndexes = 2; // as many SHORTs as fit the value word
constexpr uint32_t kIndexesARead = 512;
constexpr uint32_t kMostStripOrders = 16; // in one directory; ends files that rearrange their tables without end

// The indexes of the tag, one after the other. One that cannot be read repeats the one before it, the first being 0.
struct IndexSource {
  const TifFile* file;
  uint8_t bytes[kIndexesARead * 2];
  uint32_t filled; // whole indexes in `bytes`
  uint32_t taken;
  uint32_t left; // indexes still in the file
  uint16_t last;
};

void FillIndexes(IndexSource& source) {
  const uint32_t wanted = std::min(source.left, kIndexesARead);
  const uint32_t read = wanted == 0 ? 0 : krnFileRead(source.file->fileHandle, source.bytes, wanted * 2);
  source.filled = read == kKrnIoFailed ? 0 : read / 2;
  source.taken = 0;
  source.left = source.filled == wanted ? source.left - wanted : 0;
}

uint16_t NextIndex(IndexSource& source) {
  if (source.taken == source.filled) {
    FillIndexes(source);
  }
  if (source.taken < source.filled) {
    const uint8_t* at = source.bytes + size_t{2} * source.taken++;
    source.last = TIFIsLittle(source.file) ? LoadU16LE(at) : LoadU16BE(at);
  }
  return source.last;
}

// With two strips the indexes stand in the value word. It is in the memory form already, so that the indexes of a
// big-endian file come out as multiples of 256 and refuse the page. That is wanted.
void StartIndexes(IndexSource& source, const TifFile* file, uint32_t value, uint32_t count) {
  source.file = file;
  source.filled = 0;
  source.taken = 0;
  source.left = count;
  source.last = 0;
  if (count == kInlineIndexes) {
    StoreU32LE(source.bytes, value);
    source.filled = kInlineIndexes;
    source.left = 0;
  }
}

// Strips past a table, or of a table that is missing, have offset 0 and count 0.
uint32_t TableEntry(const uint32_t* table, uint32_t length, uint32_t index) {
  return table != nullptr && index < length ? table[index] : 0;
}

// Fills the new tables; false for an index that is no strip.
bool Rearrange(const PageParse& parse, IndexSource& source, uint32_t count, const TifStripOrderScratch& tables,
               uint8_t* marks) {
  const TifPage* page = parse.page;
  const auto* codes = static_cast<const uint8_t*>(page->stripCompressions);
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t index = NextIndex(source);
    if (index >= count) {
      return false;
    }
    if (marks != nullptr) {
      // Wanted: the codes are 16-bit values, and are looked up as bytes.
      marks[i] = index < parse.stripCompressionBytes && codes[index] == kCompressionNone ? 1 : 0;
    }
    tables.newOffsets[i] = TableEntry(page->stripOffsets, parse.offsetsLength, index);
    tables.newByteCounts[i] = TableEntry(page->stripByteCounts, parse.byteCountsLength, index);
  }
  return true;
}

void Install(PageParse& parse, uint32_t count, const TifStripOrderScratch& tables, uint8_t* marks) {
  TifPage* page = parse.page;
  TIFFree(page->stripOffsets);
  TIFFree(page->stripByteCounts);
  page->stripOffsets = tables.newOffsets;
  page->stripByteCounts = tables.newByteCounts;
  parse.offsetsLength = count;
  parse.byteCountsLength = count;
  if (marks != nullptr) {
    TIFFree(page->stripCompressions);
    page->stripCompressions = marks;
    parse.stripCompressionBytes = count;
  }
}

} // namespace

int32_t TIFApplyStripOrder(PageParse& parse, uint32_t value, uint32_t count) {
  TifPage* page = parse.page;
  if (count != page->stripCount || ++parse.stripOrders > kMostStripOrders) {
    return 0;
  }
  if (count > kInlineIndexes && TIFSeek(parse.file->fileHandle, value, kKrnSeekSet) != value) {
    return 0;
  }
  uint8_t* marks = nullptr;
  if (page->stripCompressions != nullptr) {
    marks = static_cast<uint8_t*>(TIFAlloc(count, 1));
    if (marks == nullptr) {
      return 0;
    }
  }
  TifStripOrderScratch tables;
  tables.newOffsets = static_cast<uint32_t*>(TIFAlloc(count, sizeof(uint32_t)));
  tables.newByteCounts = static_cast<uint32_t*>(TIFAlloc(count, sizeof(uint32_t)));
  *page->stripOrderScratchPointer = tables; // kept there for callers that look at it; the tables own the blocks
  IndexSource source;
  StartIndexes(source, parse.file, value, count);
  const bool whole =
      tables.newOffsets != nullptr && tables.newByteCounts != nullptr && Rearrange(parse, source, count, tables, marks);
  if (!whole) {
    TIFFree(tables.newOffsets);
    TIFFree(tables.newByteCounts);
    TIFFree(marks);
    *page->stripOrderScratchPointer = {nullptr, nullptr};
    return 0;
  }
  Install(parse, count, tables, marks);
  return 1;
}

TagOutcome TIFApplyStripOrderTag(PageParse& parse, const TifDirEntry& entry) {
  if (entry.count < kFewestStrips || parse.file->version != kTifVersionVariant) {
    return TagOutcome::kGoOn;
  }
  return TIFApplyStripOrder(parse, entry.value, entry.count) == 1 ? TagOutcome::kGoOn : TagOutcome::kRefused;
}
