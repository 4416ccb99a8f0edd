// fltGetStamp: the second page of a file, through the caller's own functions.

#include <gtest/gtest.h>

#include "load/LoadProbe.h"

namespace {

// The caller's file layer: a file by name behind the word that the request carries.
struct StampHost {
  explicit StampHost(const FileBytes& bytes) : file(bytes) {
    krnBitmapInit(&bitmap, kBitmapHandleSize, 2, 1, 8);
    rows.rowBytes = 2;
    request.stampFile = reinterpret_cast<intptr_t>(this);
    request.bitmap = &bitmap;
    request.fileOptions = &options;
    request.getInfo = GetInfo;
    request.load = Load;
  }

  static int32_t GetInfo(intptr_t stampFile, FileInfoRecord* info, uint32_t infoSize, uint32_t zero,
                         FileOptions* options) {
    auto* host = reinterpret_cast<StampHost*>(stampFile);
    host->infoSize = infoSize;
    host->zero = zero;
    host->infoPage = options->pageNumber;
    host->infoCleared =
        info->fileFormat == 0 && info->pageNumber == 0 && info->fileLayer[kFileInfoRecordSize - 101] == 0;
    if (host->infoFails) {
      return kResultReadFailed;
    }
    FilterInfoRequest ask = {};
    ask.structSize = sizeof ask;
    ask.fileHandle = krnFileOpen(host->file.Name(), kKrnFileRead, kKrnShareRead);
    ask.fileInfo = info;
    ask.fileOptions = options;
    const int32_t result = fltInfo(&ask);
    krnFileClose(ask.fileHandle);
    return result;
  }

  static int32_t Load(intptr_t stampFile, BitmapHandle* bitmap, uint32_t bitmapSize, uint32_t zero, uint32_t one,
                      FileOptions* options, FileInfoRecord* info) {
    auto* host = reinterpret_cast<StampHost*>(stampFile);
    host->loads += 1;
    host->bitmapSize = bitmapSize;
    host->zero = zero;
    host->one = one;
    host->loadPage = options->pageNumber;
    if (host->loadFails) {
      return kResultNoMemory;
    }
    FilterLoadRequest ask = {};
    ask.fileName = host->file.Name();
    ask.bitmap = bitmap;
    ask.rowCallback = RowKeeper::Take;
    ask.rowCallbackData = reinterpret_cast<intptr_t>(&host->rows);
    ask.fileInfo = info;
    ask.fileOptions = options;
    return fltLoad(&ask);
  }

  KernelGuard guard;
  TempFile file;
  BitmapHandle bitmap = {};
  FileOptions options = {};
  FilterStampRequest request = {};
  RowKeeper rows;
  bool infoFails = false;
  bool loadFails = false;
  bool infoCleared = false;
  int loads = 0;
  uint32_t infoSize = 0;
  uint32_t zero = 99;
  uint32_t one = 99;
  uint32_t bitmapSize = 0;
  int32_t infoPage = 0;
  int32_t loadPage = 0;
};

FileBytes Pages(const FileBytes& values) {
  TiffBuilder file;
  for (uint8_t value : values) {
    file.AddPage(GrayPage(2, 1, value));
  }
  return file.Build();
}

TEST(PageStamp, NullRequestIsAnInvalidParameter) {
  EXPECT_EQ(fltGetStamp(nullptr), kResultInvalidParameter);
}

TEST(PageStamp, FileOfOnePageHasNone) {
  StampHost host(Pages({10}));
  host.options.pageNumber = 7;
  EXPECT_EQ(fltGetStamp(&host.request), kResultNoStamp);
  EXPECT_EQ(host.loads, 0);
  EXPECT_EQ(+host.options.pageNumber, 7); // back at its old value
}

TEST(PageStamp, SecondPageIsLoaded) {
  StampHost host(Pages({10, 20, 30}));
  EXPECT_EQ(fltGetStamp(&host.request), 1);
  EXPECT_EQ(host.rows.Pixels(), FileBytes({20, 20}));
  EXPECT_EQ(host.infoSize, 2200u);
  EXPECT_EQ(host.bitmapSize, 164u); // the descriptor's first word
  EXPECT_EQ(host.zero, 0u);
  EXPECT_EQ(host.one, 1u);
}

TEST(PageStamp, SecondPageIsLoadedWhateverTheFirst) {
  TiffBuilder file;
  file.AddPage(Page(9, 9, {16, 16, 16}, 6, 7)); // a page that cannot be loaded
  file.AddPage(GrayPage(2, 1, 20));
  StampHost host(file.Build());
  EXPECT_EQ(fltGetStamp(&host.request), 1);
  EXPECT_EQ(host.rows.Pixels(), FileBytes({20, 20}));
}

TEST(PageStamp, PageOfTheOptionsIsPassedOverAndRestored) {
  StampHost host(Pages({10, 20, 30, 40, 50}));
  host.options.pageNumber = 5;
  EXPECT_EQ(fltGetStamp(&host.request), 1);
  EXPECT_EQ(host.infoPage, 2);
  EXPECT_EQ(host.loadPage, 2);
  EXPECT_EQ(+host.options.pageNumber, 5);
}

TEST(PageStamp, FailingLoadGoesUnnoticed) {
  StampHost host(Pages({10, 20}));
  host.loadFails = true;
  host.options.pageNumber = 3;
  EXPECT_EQ(fltGetStamp(&host.request), 1);
  EXPECT_EQ(host.loads, 1);
  EXPECT_EQ(+host.options.pageNumber, 3);
}

TEST(PageStamp, FailingInformationIsNoStamp) {
  StampHost host(Pages({10, 20}));
  host.infoFails = true;
  EXPECT_EQ(fltGetStamp(&host.request), kResultNoStamp);
  EXPECT_TRUE(host.infoCleared);
  EXPECT_EQ(host.loads, 0);
}

TEST(PageStamp, MissingFunctionsAndOptions) {
  StampHost host(Pages({10, 20}));
  host.request.getInfo = nullptr;
  EXPECT_EQ(fltGetStamp(&host.request), kResultNoStamp);
  host.request.getInfo = StampHost::GetInfo;
  host.request.load = nullptr;
  EXPECT_EQ(fltGetStamp(&host.request), 1);
  host.request.load = StampHost::Load;
  host.request.fileOptions = nullptr;
  EXPECT_EQ(fltGetStamp(&host.request), 1);
  EXPECT_EQ(host.rows.Pixels(), FileBytes({20, 20}));
}

} // namespace
