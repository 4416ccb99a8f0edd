// The arrays of a page: strip and tile tables (tags 273, 279, 324, 325), the tone curve (291) and the compression codes
// of single strips (33466). Given a tag's entry, they are read from the file into blocks that the page owns. What is
// left of the file is looked at before a block is taken, so that an absurd count costs nothing. The page parser uses
// this.

#include "Tifutil/StripTables.h"

#include <algorithm>

#include "tif_com/ByteOrder.h"
#include "tif_com/Memory.h"
#include "tif_com/Tags.h"

namespace {

enum class StripTable { kOffsets, kByteCounts };

constexpr uint32_t kOffsetEntryBytes = 4;
constexpr uint32_t kByteCountEntryBytes = 40; // room that the byte counts have always had
constexpr uint32_t kMostStripCompressions = 65535;
constexpr uint32_t kFewestCurveValues = 3;

// Gives the page its table in place of an earlier one of the same kind.
void InstallTable(PageParse& parse, StripTable kind, uint32_t* table, uint32_t length) {
  TifPage* page = parse.page;
  if (kind == StripTable::kOffsets) {
    TIFFree(page->stripOffsets);
    page->stripOffsets = table;
    parse.offsetsLength = length;
  } else {
    TIFFree(page->stripByteCounts);
    page->stripByteCounts = table;
    parse.byteCountsLength = length;
  }
}

uint32_t* InlineTable(const TifDirEntry& entry) {
  auto* table = static_cast<uint32_t*>(TIFAllocZero(entry.count + 2, sizeof(uint32_t)));
  if (table == nullptr) {
    return nullptr;
  }
  if (entry.type == kTypeShort) {
    table[0] = entry.value & 0xFFFF;
    table[1] = entry.value >> 16;
  } else {
    table[0] = entry.value;
  }
  return table;
}

// Host words from `count` values as they were read, in place; 16-bit values are widened from the end.
void WidenTable(uint32_t* table, uint32_t count, bool shorts, bool little) {
  auto* bytes = reinterpret_cast<uint8_t*>(table);
  if (!shorts) {
    if (!little) {
      SwapRun32(bytes, count);
    }
    return;
  }
  if (!little) {
    SwapRun16(bytes, count);
  }
  for (uint32_t i = count; i-- > 0;) {
    StoreU32LE(bytes + size_t{4} * i, LoadU16LE(bytes + size_t{2} * i));
  }
}

uint32_t* TableInFile(const PageParse& parse, const TifDirEntry& entry, StripTable kind) {
  const bool shorts = entry.type == kTypeShort;
  const uint32_t count = entry.count;
  const uint64_t bytes = uint64_t{count} * (shorts ? 2 : 4);
  if (!TIFSeekToBlock(parse.file, entry.value, bytes)) {
    return nullptr;
  }
  const uint32_t entryBytes = kind == StripTable::kOffsets ? kOffsetEntryBytes : kByteCountEntryBytes;
  auto* table = static_cast<uint32_t*>(TIFAllocBytes((uint64_t{count} + 1) * entryBytes));
  if (table == nullptr) {
    return nullptr;
  }
  if (!TIFReadExactly(parse.file, table, static_cast<uint32_t>(bytes))) {
    TIFFree(table);
    return nullptr;
  }
  WidenTable(table, count, shorts, TIFIsLittle(parse.file));
  table[count] = 0;
  return table;
}

TagOutcome ReadTable(PageParse& parse, const TifDirEntry& entry, StripTable kind) {
  if (!TIFIsLoading(parse) && !TIFReportNeedsStrips(parse.page->compression)) {
    return TagOutcome::kGoOn;
  }
  parse.page->stripCount = entry.count; // the later of the two tables decides
  const bool isInline = entry.count == 1 || (entry.count == 2 && entry.type == kTypeShort);
  uint32_t* table = isInline ? InlineTable(entry) : TableInFile(parse, entry, kind);
  if (table == nullptr) {
    return TagOutcome::kRefused;
  }
  InstallTable(parse, kind, table, entry.count);
  return TagOutcome::kGoOn;
}

TagOutcome ReadTileTable(PageParse& parse, const TifDirEntry& entry, StripTable kind) {
  const bool inStrips = (parse.page->pageFlags & kPageInStrips) != 0;
  return inStrips ? TagOutcome::kGoOn : ReadTable(parse, entry, kind);
}

// The table grown to stripCount entries and the word behind them; null, with the old table kept, for no memory.
uint32_t* GrownTable(uint32_t* table, uint32_t length, uint32_t stripCount) {
  const uint64_t bytes = (uint64_t{stripCount} + 1) * sizeof(uint32_t);
  auto* grown = static_cast<uint32_t*>(TIFAllocBytes(bytes));
  if (grown == nullptr) {
    return nullptr;
  }
  std::copy(table, table + length, grown);
  std::fill(grown + length, grown + stripCount + 1, 0);
  return grown;
}

} // namespace

TagOutcome TIFApplyStripOffsets(PageParse& parse, const TifDirEntry& entry) {
  parse.page->pageFlags |= kPageInStrips;
  return ReadTable(parse, entry, StripTable::kOffsets);
}

TagOutcome TIFApplyStripByteCounts(PageParse& parse, const TifDirEntry& entry) {
  parse.page->pageFlags |= kPageInStrips;
  return ReadTable(parse, entry, StripTable::kByteCounts);
}

TagOutcome TIFApplyTileOffsets(PageParse& parse, const TifDirEntry& entry) {
  return ReadTileTable(parse, entry, StripTable::kOffsets);
}

TagOutcome TIFApplyTileByteCounts(PageParse& parse, const TifDirEntry& entry) {
  return ReadTileTable(parse, entry, StripTable::kByteCounts);
}

TagOutcome TIFApplyResponseCurve(PageParse& parse, const TifDirEntry& entry) {
  TifPage* page = parse.page;
  const uint32_t depth = page->bitsPerSample[0];
  const uint32_t levels = depth < 32 ? uint32_t{1} << depth : 0;
  if (entry.type != kTypeShort || entry.count != levels || entry.count < kFewestCurveValues) {
    return TagOutcome::kGoOn;
  }
  const uint64_t bytes = uint64_t{entry.count} * 2;
  if (!TIFSeekToBlock(parse.file, entry.value, bytes)) {
    return TagOutcome::kRefused;
  }
  TIFFree(page->grayResponseCurve);
  page->grayResponseCurve = static_cast<uint16_t*>(TIFAllocBytes(bytes));
  if (page->grayResponseCurve == nullptr ||
      !TIFReadExactly(parse.file, page->grayResponseCurve, static_cast<uint32_t>(bytes))) {
    return TagOutcome::kRefused;
  }
  if (!TIFIsLittle(parse.file)) {
    SwapRun16(reinterpret_cast<uint8_t*>(page->grayResponseCurve), entry.count);
  }
  page->grayResponseCount = entry.count;
  return TagOutcome::kGoOn;
}

// One code is the page's compression. Several say that the strips of a fax page are compressed or stored one by one.
TagOutcome TIFApplyStripCompression(PageParse& parse, const TifDirEntry& entry) {
  TifPage* page = parse.page;
  if (entry.count == 1) {
    page->compression = entry.value;
    return TagOutcome::kGoOn;
  }
  page->compression = kCompressionGroup4;
  if (!TIFIsLoading(parse)) {
    return TagOutcome::kGoOn;
  }
  const uint32_t count = std::min(entry.count, kMostStripCompressions);
  page->stripCompressionCount = static_cast<uint16_t>(count);
  auto* codes = static_cast<uint8_t*>(TIFAllocZero(count, sizeof(uint16_t)));
  if (codes == nullptr) {
    return TagOutcome::kRefused;
  }
  TIFFree(page->stripCompressions);
  page->stripCompressions = codes;
  parse.stripCompressionBytes = count * 2;
  page->stripOrderScratch = {nullptr, nullptr}; // codes again, if they were marks already
  // Codes that cannot be read are 0, and that is no failure.
  TIFSeek(parse.file->fileHandle, entry.value, kKrnSeekSet);
  const uint32_t read = krnFileRead(parse.file->fileHandle, codes, count * 2);
  const uint32_t whole = read == kKrnIoFailed ? 0 : read / 2;
  std::fill(codes + size_t{2} * whole, codes + size_t{2} * count, uint8_t{0});
  if (!TIFIsLittle(parse.file)) {
    SwapRun16(codes, whole);
  }
  return TagOutcome::kGoOn;
}

bool TIFLevelStripTables(PageParse& parse) {
  TifPage* page = parse.page;
  const uint32_t count = page->stripCount;
  if (page->stripCompressions != nullptr && parse.stripCompressionBytes < count) {
    page->stripOrderScratch = {nullptr, nullptr}; // strips were added behind the order: their marks are missing
  }
  if (page->stripOffsets != nullptr && parse.offsetsLength < count) {
    uint32_t* grown = GrownTable(page->stripOffsets, parse.offsetsLength, count);
    if (grown == nullptr) {
      return false;
    }
    InstallTable(parse, StripTable::kOffsets, grown, count);
  }
  if (page->stripByteCounts != nullptr && parse.byteCountsLength < count) {
    uint32_t* grown = GrownTable(page->stripByteCounts, parse.byteCountsLength, count);
    if (grown == nullptr) {
      return false;
    }
    InstallTable(parse, StripTable::kByteCounts, grown, count);
  }
  return true;
}
