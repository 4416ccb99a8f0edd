// Files of known other writers. Some files disagree with TIFF 6.0 in ways that only their writer's name tells: the
// camera whose raw files look like TIFF (tag 271), and three programs whose fill order 2 does not mean what it says
// (tag 305). Given a text's entry, these set a page flag or the fill order mode. The page parser uses this.

#include "Tifutil/VendorQuirks.h"

#include <cstring>

#include "tif_com/ByteOrder.h"
#include "tif_com/Memory.h"
#include "tif_com/Tags.h"

namespace {

constexpr uint32_t kShortestMake = 6; // the name and its NUL
constexpr char kMakeTail[] = "odak";  // behind the K, with the NUL that ends the text
constexpr uint32_t kInlineCharacters = 4;
constexpr char kPrinterTail[] = {'P', 'r', 'i', 'n', 't', 'e', 'r'};
constexpr uint32_t kPrinterCount = 4 + sizeof kPrinterTail; // "TIFFPrinter"

constexpr uint8_t LowerCase(uint8_t character) {
  return character >= 'A' && character <= 'Z' ? static_cast<uint8_t>(character + ('a' - 'A')) : character;
}

// `text` has `count` characters and a NUL behind them, and nothing more.
bool EndsInKodak(const uint8_t* text, uint32_t count) {
  for (uint32_t i = 0; uint64_t{i} + sizeof kMakeTail <= count; ++i) {
    uint32_t matched = 0;
    if (LowerCase(text[i]) == 'k') {
      while (matched < sizeof kMakeTail &&
             LowerCase(text[i + 1 + matched]) == static_cast<uint8_t>(kMakeTail[matched])) {
        ++matched;
      }
    }
    if (matched == sizeof kMakeTail) {
      return true;
    }
  }
  return false;
}

} // namespace

int32_t TIFMakeIsKodak(const TifFile* file, const TifDirEntry* entry) {
  const uint32_t count = entry->count;
  if (count < kShortestMake || entry->type != kTypeAscii || !TIFSeekToBlock(file, entry->value, count)) {
    return 0;
  }
  auto* text = static_cast<uint8_t*>(TIFAllocBytes(uint64_t{count} + 1));
  if (text == nullptr) {
    return 0;
  }
  bool found = false;
  if (TIFReadExactly(file, text, count)) {
    text[count] = 0;
    found = EndsInKodak(text, count);
  }
  TIFFree(text);
  return found ? 1 : 0;
}

TagOutcome TIFApplyMake(PageParse& parse, const TifDirEntry& entry) {
  if (TIFMakeIsKodak(parse.file, &entry) == 1) {
    parse.page->pageFlags |= kPageKodak;
  }
  return TagOutcome::kGoOn;
}

TagOutcome TIFApplySoftware(PageParse& parse, const TifDirEntry& entry) {
  TifPage* page = parse.page;
  char name[kInlineCharacters];
  StoreU32LE(name, entry.value);
  if (entry.count > kInlineCharacters) {
    TIFSeek(parse.file->fileHandle, entry.value, kKrnSeekSet);
    if (!TIFReadExactly(parse.file, name, sizeof name)) {
      return TagOutcome::kGoOn;
    }
  }
  if (std::memcmp(name, "Oi/G", sizeof name) == 0) {
    page->fillOrderMode = kFillReverseBefore | kFillReverseAfter;
  } else if (std::memcmp(name, "Micr", sizeof name) == 0) {
    page->fillOrderMode = kFillReverseBefore;
  } else if (std::memcmp(name, "TIFF", sizeof name) == 0 && entry.count >= kPrinterCount) {
    char tail[sizeof kPrinterTail] = {};
    krnFileRead(parse.file->fileHandle, tail, sizeof tail);
    if (std::memcmp(tail, kPrinterTail, sizeof tail) == 0) {
      page->fillOrderMode = kFillReverseBefore;
    }
  }
  return TagOutcome::kGoOn;
}
