// Honest files and calls at the far end of what hosts do: no default limit may touch them. Each call is measured like
// those on hostile files, and must succeed.

#include <filesystem>

#include <gtest/gtest.h>
#include <vxkernel/vxkernel.h>
#include <vxtif/vxtif.h>

#include "limits/CallMeter.h"
#include "limits/SparseFile.h"
#include "save/SaveFixture.h"
#include "support/TempFile.h"

namespace {

constexpr uint32_t kPages = 10000;
constexpr int32_t kAsks = 10000;

#if defined(__SANITIZE_ADDRESS__)
constexpr int32_t kRowsOfLargeSave = 1024;
#else
constexpr int32_t kRowsOfLargeSave = 65536;
#endif

FileBytes ManyPages(uint32_t pages) {
  TiffBuilder file;
  for (uint32_t i = 0; i < pages; ++i) {
    file.AddPage(GrayPage(4, 4, static_cast<uint8_t>(i)));
  }
  return file.Build();
}

struct Asked {
  int32_t result;
  uint32_t page;
  uint32_t pages;
};

Asked Ask(VxFileHandle handle, int32_t page, uint32_t flags) {
  FileInfoRecord info = {};
  info.structSize = sizeof info;
  FilterInfoControl control = {sizeof control, flags};
  FileOptions options = {};
  options.pageNumber = page;
  FilterInfoRequest request = {};
  request.structSize = sizeof request;
  request.fileHandle = handle;
  request.fileInfo = &info;
  request.infoControl = &control;
  request.fileOptions = &options;
  const int32_t result = fltInfo(&request);
  return {result, info.pageNumber, info.totalPages};
}

int32_t TakeRow(FileInfoRecord*, BitmapHandle*, uint8_t*, uint32_t, int32_t, int32_t rowCount, intptr_t data) {
  *reinterpret_cast<int64_t*>(data) += rowCount;
  return kResultOk;
}

struct Loaded {
  int32_t result;
  int32_t warning;
  int64_t rows;
};

Loaded Load(const char16_t* name, int32_t width, int32_t height, int32_t bits, int32_t page) {
  BitmapHandle bitmap = {};
  krnBitmapInit(&bitmap, kBitmapHandleSize, width, height, bits);
  FileOptions options = {};
  options.pageNumber = page;
  FileInfoRecord info = {};
  Loaded loaded = {};
  FilterLoadRequest request = {};
  request.fileName = name;
  request.bitmap = &bitmap;
  request.rowCallback = TakeRow;
  request.rowCallbackData = reinterpret_cast<intptr_t>(&loaded.rows);
  request.fileInfo = &info;
  request.fileOptions = &options;
  request.truncationStatus = 1;
  loaded.result = fltLoad(&request);
  loaded.warning = request.truncationStatus;
  krnGlobalFree(bitmap.lookupTable, __LINE__, "HonestExtremesTest");
  return loaded;
}

TEST(HonestExtremes, AFileOfTenThousandPages) {
  const FileBytes bytes = ManyPages(kPages);
  const TempFile file(bytes);
  CallMeter meter("a file of 10,000 pages", bytes.size());
  CallMeter::PrintHead();
  VxFileHandle handle = krnFileOpen(file.Name(), kKrnFileRead, kKrnShareRead);
  meter.Run("count pages", {}, [&] {
    const Asked asked = Ask(handle, 1, kInfoCountPages);
    EXPECT_EQ(asked.pages, kPages);
    return asked.result;
  });
  krnFileClose(handle);
  EXPECT_EQ(meter.Run("load the last page", {16, 0}, [&] { return Load(file.Name(), 4, 4, 8, kPages).result; }), 1);
  EXPECT_EQ(meter.Run("delete page 5000", {},
                      [&] {
                        SaveOptions options = {};
                        options.structSize = sizeof options;
                        FilterDeletePageRequest request = {file.Name(), kPages / 2, 0, &options};
                        return fltDeletePage(&request);
                      }),
            1);
  const TempFile copy;
  EXPECT_EQ(meter.Run("compact", {0, bytes.size()},
                      [&] {
                        FileOptions source = {};
                        SaveOptions destination = {};
                        destination.structSize = sizeof destination;
                        FilterCompactRequest request = {file.Name(), copy.Name(), 0, &source, &destination};
                        return fltCompact(&request);
                      }),
            1);
  EXPECT_EQ(meter.Run("append", {},
                      [&] {
                        RowService service(4, 4, 8, std::vector<FileBytes>(4, FileBytes(4, 1)));
                        service.palette.resize(256);
                        SaveJob job(kFormatUncompressed, 8, &service, copy.Name());
                        job.options.pageNumber = 2;
                        return job.Run();
                      }),
            1);
  handle = krnFileOpen(copy.Name(), kKrnFileRead, kKrnShareRead);
  EXPECT_EQ(Ask(handle, 1, kInfoCountPages).pages, kPages);
  krnFileClose(handle);
  meter.PrintRow();
}

TEST(HonestExtremes, AHandleThatIsKeptAndAskedTenThousandTimes) {
  const FileBytes bytes = ManyPages(3);
  const TempFile file(bytes);
  CallMeter meter("a handle asked 10,000 times", 1 << 20); // all of them are one call here
  meter.Run("info", {}, [&] {
    const VxFileHandle handle = krnFileOpen(file.Name(), kKrnFileRead, kKrnShareRead);
    int32_t good = 0;
    for (int32_t i = 0; i < kAsks; ++i) {
      const Asked asked = Ask(handle, i % 3 + 1, kInfoCountPages);
      good += asked.result == kResultOk && asked.page == static_cast<uint32_t>(i % 3 + 1) && asked.pages == 3 ? 1 : 0;
    }
    krnFileClose(handle);
    EXPECT_EQ(good, kAsks);
    return good;
  });
  meter.Run("raw page", {}, [&] {
    TifFile raw = {};
    EXPECT_EQ(Vx_OpenTIF(file.Name(), &raw, sizeof raw), kResultOk);
    const uint32_t first = raw.directoryOffset;
    int32_t good = 0;
    for (int32_t i = 0; i < kAsks; ++i) {
      raw.directoryOffset = first;
      TifDirectory* block = nullptr;
      uint32_t layout = 0;
      good += Vx_GetTIFPage(&raw, static_cast<uint32_t>(i % 3 + 1), &block, &layout) == kResultOk ? 1 : 0;
      Vx_FreeTIFPage(block);
    }
    Vx_CloseTIF(&raw);
    EXPECT_EQ(good, kAsks);
    return good;
  });
  meter.PrintRow();
}

TEST(HonestExtremes, AStripARow) {
  constexpr uint32_t kRows = 100000;
  TiffBuilder file;
  file.AddPage()
      .Long(256, {4})
      .Long(257, {kRows})
      .Short(258, {8})
      .Short(259, {32773})
      .Short(262, {1})
      .Long(278, {1})
      .Strips(std::vector<FileBytes>(kRows, FileBytes{0xFD, 0x55}));
  const FileBytes bytes = file.Build();
  const TempFile disk(bytes);
  CallMeter meter("100,000 PackBits strips of a row", bytes.size());
  meter.Run("load", {kRows * 4, 0}, [&] {
    const Loaded loaded = Load(disk.Name(), 4, kRows, 8, 1);
    EXPECT_EQ(loaded.result, kResultOk);
    EXPECT_EQ(loaded.warning, kResultOk);
    EXPECT_EQ(loaded.rows, kRows);
    return loaded.result;
  });
  meter.PrintRow();
}

// 1024 times what its pixels take, and all of it in the file.
TEST(HonestExtremes, ANarrowPageInWideTiles) {
  constexpr uint32_t kRows = 16000;
  constexpr uint32_t kTile = 1024;
  TiffBuilder file;
  file.AddPage()
      .Long(256, {1})
      .Long(257, {kRows})
      .Short(258, {8})
      .Short(259, {1})
      .Short(262, {1})
      .Long(322, {kTile})
      .Long(323, {16})
      .Tiles(std::vector<FileBytes>(kRows / 16, FileBytes(kTile * 16, 7)));
  const FileBytes bytes = file.Build();
  const TempFile disk(bytes);
  CallMeter meter("a column of pixels in wide tiles", bytes.size());
  meter.Run("load", {0, bytes.size()}, [&] {
    const Loaded loaded = Load(disk.Name(), 1, kRows, 8, 1);
    EXPECT_EQ(loaded.result, kResultOk);
    EXPECT_EQ(loaded.warning, kResultOk);
    EXPECT_EQ(loaded.rows, kRows);
    return loaded.result;
  });
  meter.PrintRow();
}

// The same claim with nothing in the file to back it is a failed allocation.
TEST(HonestExtremes, ANarrowPageInTilesThatAreNotThere) {
  TiffBuilder file;
  file.AddPage()
      .Long(256, {1})
      .Long(257, {16000})
      .Short(258, {8})
      .Short(259, {1})
      .Short(262, {1})
      .Long(322, {1024})
      .Long(323, {16})
      .Long(324, std::vector<uint32_t>(1000, 8))
      .Long(325, std::vector<uint32_t>(1000, 16384));
  // 8 KiB of tables could decode to 20 MiB; rows of four million columns pass that.
  const TempFile wide(file.Build());
  EXPECT_EQ(Load(wide.Name(), 1, 16000, 8, 1).result, kResultReadFailed);
  const FileBytes built = file.Build();
  FileBytes bytes = built;
  PutU32(bytes, file.EntryOffset(0, 322) + 8, FileOrder::kLittle, 4000000);
  const TempFile absurd(bytes);
  EXPECT_EQ(Load(absurd.Name(), 1, 16000, 8, 1).result, kResultNoMemory);
}

TEST(HonestExtremes, APageOfHalfAGibibyteAndMore) {
  constexpr uint32_t kSide = 26000; // 645 MiB
  TiffBuilder builder;
  builder.AddPage()
      .Long(256, {kSide})
      .Long(257, {kSide})
      .Short(258, {8})
      .Short(259, {1})
      .Short(262, {1})
      .Long(278, {kSide})
      .Long(273, {1024})
      .Long(279, {kSide * kSide});
  SparseFile file = WholeFile("an uncompressed page of 645 MiB", builder.Build());
  file.size = 1024 + uint64_t{kSide} * kSide;
  const TempFile disk;
  file.Write(disk.Path());
  CallMeter meter(file.name, file.size);
  meter.Run("load", {uint64_t{kSide} * kSide, 0}, [&] {
    const Loaded loaded = Load(disk.Name(), kSide, kSide, 8, 1);
    EXPECT_EQ(loaded.result, kResultOk);
    EXPECT_EQ(loaded.warning, kResultOk);
    EXPECT_EQ(loaded.rows, kSide);
    return loaded.result;
  });
  meter.PrintRow();
}

// --- saves ----------------------------------------------------------------------------------------------------------

// Rows that are made when they are asked for: nothing of a save may depend on what the page takes altogether.
struct RowMaker {
  BitmapHandle bitmap = {};
  BitmapHandle descriptor = {};
  uint8_t context[8 + sizeof(VxColor) * 256] = {};
  FileBytes row;
  int32_t rows = 0;
  bool noise = false;
  uint32_t state = 12345;

  RowMaker(int32_t width, int32_t height, int32_t bits) {
    krnBitmapInit(&bitmap, kBitmapHandleSize, width, height, bits);
    krnBitmapInit(&descriptor, kBitmapHandleSize, width, height, bits);
    bitmap.xResolution = bitmap.yResolution = descriptor.xResolution = descriptor.yResolution = 72;
    row.assign(static_cast<size_t>(descriptor.bytesPerLine) + 8, 0);
  }

  static int32_t Start(BitmapHandle*, BitmapHandle** descriptor, int32_t, uint32_t*, void** rowBuffer, int32_t,
                       intptr_t self, intptr_t, void** context) {
    auto* const maker = reinterpret_cast<RowMaker*>(self);
    *descriptor = &maker->descriptor;
    *context = maker->context;
    if (rowBuffer != nullptr) {
      *rowBuffer = maker->row.data();
    }
    return 1;
  }
  static int32_t GetRow(BitmapHandle*, BitmapHandle*, void* buffer, int32_t, int32_t, uint32_t, intptr_t self, intptr_t,
                        void*) {
    auto* const maker = reinterpret_cast<RowMaker*>(self);
    maker->rows += 1;
    if (maker->noise) {
      auto* const bytes = static_cast<uint8_t*>(buffer);
      for (int32_t x = 0; x < maker->descriptor.width; ++x) {
        maker->state = maker->state * 1664525 + 1013904223;
        bytes[x] = static_cast<uint8_t>(maker->state >> 24);
      }
    }
    return 1; // without noise the rows stay as the library cleared them
  }
  static int32_t End(BitmapHandle*, BitmapHandle**, uint32_t*, int32_t, void**) { return 1; }

  int32_t Save(const char16_t* name, int32_t format) {
    SaveOptions options = {};
    options.structSize = sizeof options;
    options.pageNumber = 1;
    FilterSaveRequest request = {};
    request.fileName = name;
    request.bitmap = &bitmap;
    request.bitsPerPixel = bitmap.bitsPerPixel;
    request.fileFormat = format;
    request.fileOptions = &options;
    request.saveStart = Start;
    request.saveGetRow = GetRow;
    request.saveEnd = End;
    request.extra1 = reinterpret_cast<intptr_t>(this);
    return fltSave(&request);
  }
};

void RunSave(const char* what, int32_t width, int32_t height, int32_t bits, int32_t format, bool noise) {
  const uint64_t pixelBytes =
      static_cast<uint64_t>(width) * static_cast<uint64_t>(bits) / 8 * static_cast<uint64_t>(height);
  const TempFile file;
  CallMeter meter(what, pixelBytes);
  RowMaker maker(width, height, bits);
  maker.noise = noise;
  EXPECT_EQ(meter.Run("save", {pixelBytes, 0}, [&] { return maker.Save(file.Name(), format); }), kResultOk);
  EXPECT_GE(maker.rows, height);
  EXPECT_LT(meter.Calls().back().peakBytes, uint64_t{16} << 20) << "a save keeps rows, not the page";
  if (format != kFormatRawLzw) {
    const VxFileHandle handle = krnFileOpen(file.Name(), kKrnFileRead, kKrnShareRead);
    EXPECT_EQ(Ask(handle, 1, 0).result, kResultOk);
    krnFileClose(handle);
  } else {
    EXPECT_GT(std::filesystem::file_size(file.Path()), pixelBytes) << "noise in codes of nine bits and more";
  }
  meter.PrintRow();
}

// The rows amount to 2 GiB; what is written is small, so that the disk is left alone.
TEST(HonestExtremes, ASaveOfTwoGibibytesInPackBits) {
  RunSave("a save of 2 GiB in PackBits", 32768, kRowsOfLargeSave, 8, kFormatPackBits, false);
}

TEST(HonestExtremes, ASaveOfTwoGibibytesUncompressed) {
  if (!RunsAll()) {
    GTEST_SKIP() << "writes 2 GiB: run scripts/test.sh --all, or set VX_TEST_ALL=1";
  }
  // As many rows as fit in 2 GiB, below which all offsets of the file stay.
  RunSave("a save of 2 GiB, uncompressed", 32768, 65535, 8, kFormatUncompressed, false);
}

// The encoder of the bare stream has no page, and writes each code as it comes.
TEST(HonestExtremes, ABareLzwStreamThatFlushesBehindEveryCode) {
  RunSave("a bare LZW stream of noise", 1000, 300, 8, kFormatRawLzw, true);
}

} // namespace
