// A file's page as the parser gives it, for tests: parsed from bytes in memory, freed at the end of the scope.
#pragma once

#include <vector>

#include <vxtif/vxtif.h>

#include "Tifutil/PageParser.h"
#include "support/KernelGuard.h"
#include "support/TempFile.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Memory.h"
#include "tif_com/Tags.h"

class ParsedPage {
public:
  explicit ParsedPage(const FileBytes& bytes, ParseMode mode = ParseMode::kLoad, RgbMode rgbMode = RgbMode::kAsStored)
      : input_(bytes) {
    file.fileHandle = input_.Handle();
    page_ = static_cast<TifPage*>(TIFAllocZero(1, sizeof(TifPage)));
    page_->fillOrder = 1;
    page_->sampleFormat = 1;
    uint32_t reached = 0;
    seek = TIFSeekPage(&file, 1, 0, &reached, PageSearch::kLenient);
    if (seek == kResultOk) {
      CallCounter counter;
      result = TIFReadPageInfo(&file, page_, mode, rgbMode);
      calls = counter.Since();
      position = krnFileSeek(input_.Handle(), 0, kKrnSeekCurrent);
    }
  }
  ~ParsedPage() { TIFFreePage(page_); }
  ParsedPage(const ParsedPage&) = delete;
  ParsedPage& operator=(const ParsedPage&) = delete;

  const TifPage* operator->() const { return page_; }
  const TifPage& Page() const { return *page_; }
  std::vector<uint32_t> Offsets() const { return Table(page_->stripOffsets); }
  std::vector<uint32_t> ByteCounts() const { return Table(page_->stripByteCounts); }
  // As many entries as stripCount says, and the word behind them.
  std::vector<uint32_t> Table(const uint32_t* table) const {
    return table == nullptr ? std::vector<uint32_t>{} : std::vector<uint32_t>(table, table + page_->stripCount + 1);
  }
  bool OwnsNothing() const {
    return page_->stripOffsets == nullptr && page_->stripByteCounts == nullptr && page_->stripCompressions == nullptr &&
           page_->grayResponseCurve == nullptr && page_->privatePalette8 == 0 && page_->privatePalette16 == 0;
  }

  int32_t seek = 0;
  int32_t result = 99;
  uint32_t position = 0;
  KrnStatistics calls{};
  TifFile file{};

private:
  MemoryInput input_;
  TifPage* page_;
};

inline ParsedPage Load(TiffBuilder& builder) {
  return ParsedPage(builder.Build(), ParseMode::kLoad);
}

inline ParsedPage Inform(TiffBuilder& builder) {
  return ParsedPage(builder.Build(), ParseMode::kInformation);
}
