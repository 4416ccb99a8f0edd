// Faults in what asks a file without loading its pixels: reports, raw pages, tags, comments, geo keys, the stamp.

#include <array>

#include <gtest/gtest.h>
#include <vxtif/vxtif.h>

#include "faults/FaultSweep.h"
#include "faults/ReadCodes.h"
#include "faults/SweepInputs.h"
#include "support/FileDirectory.h"

namespace {

void SweepQuery(const std::string& name, const FileBytes& file, const std::vector<const ToldCodes*>& told,
                const std::function<int32_t(SweepCall&)>& run, bool hasTwin = true) {
  Sweep sweep;
  sweep.name = name;
  sweep.file = file;
  sweep.hasTwin = hasTwin;
  sweep.told = told;
  sweep.run = run;
  RunSweep(sweep);
}

int32_t Info(SweepCall& call, int32_t page, uint32_t controlFlags, FileInfoRecord* info) {
  call.Enter(""); // the host's own call
  const VxFileHandle handle = krnFileOpen(call.Name(), kKrnFileRead, kKrnShareRead);
  if (handle == kKrnNoHandle) {
    return kResultOpenFailed;
  }
  info->structSize = sizeof *info;
  FilterInfoControl control = {sizeof control, controlFlags};
  FileOptions options = {};
  options.pageNumber = page;
  FilterInfoRequest request = {};
  request.structSize = sizeof request;
  request.fileHandle = handle;
  request.fileInfo = info;
  request.infoControl = &control;
  request.fileOptions = &options;
  const int32_t result = call.Enter("fltInfo", "fltInfoTIF") ? fltInfoTIF(&request) : fltInfo(&request);
  krnFileClose(handle);
  return result;
}

const ToldCodes kReportCodes = {
    {kAllocs, "FileReport", {kResultNoMemory}},
    {kReads | kSeeks, "p*.282", {kPasses}, Aftermath::kDiffers},
    {kReads | kSeeks, "p*.283", {kPasses}, Aftermath::kDiffers},
    {kReads | kSeeks, "p*.271", {kPasses}, Aftermath::kDiffers},
};

constexpr WrittenKind kReportedKinds[] = {
    {"uncompressed", kFormatUncompressed, 8, 0, 0},
    {"LZW", kFormatLzw, 24, 0, 0},
    {"PackBits", kFormatPackBits, 8, 0, 0},
    {"tiles", kFormatUncompressed, 24, kSaveTiles, 16},
    {"CMYK", kFormatUncompressedCmyk, 24, 0, 0},
    {"YCbCr", kFormatUncompressedYCbCr, 24, 0, 0},
    {"CCITT", kFormatCcitt, 1, 0, 0},
    {"group 3", kFormatGroup3, 1, 0, 0},
    {"group 3 2-D", kFormatGroup3TwoDimensional, 1, 0, 0},
    {"group 4", kFormatGroup4, 1, 0, 0},
    {"variant", kFormatVariant, 1, 0, 0},
};

int32_t InfoSeen(SweepCall& call, int32_t page, uint32_t controlFlags) {
  FileInfoRecord info = {};
  const int32_t result = Info(call, page, controlFlags, &info);
  call.See(info);
  return result;
}

TEST(QuerySweep, Reports) {
  for (const FileOrder order : kBothOrders) {
    const auto sweep = [&](const char* name, const FileBytes& file) {
      SweepQuery(WithOrder(std::string("report ") + name, order), file, {&kReportCodes, &kOpenCodes, &kInfoParserCodes},
                 [](SweepCall& call) { return InfoSeen(call, 0, 0); });
    };
    for (const WrittenKind& kind : kReportedKinds) {
      sweep(kind.name, WrittenFile(kind, order));
    }
    sweep("palette", PaletteFile(order));
    sweep("planes", PlanarFile(order));
    sweep("rich", RichFile(order));
    sweep("JPEG stream", LargeStripFile(order));
  }
}

// A walk that fails is no error: the report speaks of the page that was reached.
TEST(QuerySweep, ReportsOfAndBehindOtherPages) {
  for (const FileOrder order : kBothOrders) {
    const ToldCodes walk = {
        {kSeeks | kReads, "p2.count*", {kPasses}, Aftermath::kDiffers},
        {kSeeks | kReads, "p3.count*", {kPasses}, Aftermath::kDiffers},
        {kSeeks | kReads, "p*.next", {kPasses}, Aftermath::kDiffers},
        {kSeeks, "skip.*", {kPasses}, Aftermath::kDiffers},
        // Back behind a count word; from anywhere else the parser reads no directory.
        {kSeeks, "p*.entry.*", {kPasses}, Aftermath::kDiffers, {kPasses, kResultRefused}},
    };
    const std::vector<const ToldCodes*> told = {&walk, &kReportCodes, &kOpenCodes, &kInfoParserCodes};
    for (const int32_t page : {1, 2, -1}) {
      SweepQuery(WithOrder("report with page count, page " + std::to_string(page), order), ThreePages(order), told,
                 [page](SweepCall& call) { return InfoSeen(call, page, kInfoCountPages); });
    }
  }
}

// A raw page: opened, read, classified, its palette asked for, freed, closed.
int32_t RawPages(SweepCall& call, uint32_t page, bool palette) {
  TifFile file = {};
  call.Enter("Vx_OpenTIF");
  int32_t result = Vx_OpenTIF(call.Name(), &file, sizeof file);
  if (result != kResultOk) {
    return result;
  }
  TifDirectory* block = nullptr;
  uint32_t layout = 0;
  call.Enter("Vx_GetTIFPage");
  result = Vx_GetTIFPage(&file, page, &block, &layout);
  if (result == kResultOk) {
    call.See(layout);
    call.See(block->entryCount);
    call.Enter("Vx_GetTIFTagDataType");
    for (uint32_t i = 0; i < block->entryCount; ++i) {
      TifTagRecord record = block->records[i];
      uint32_t size = 0;
      call.See(Vx_GetTIFTagDataType(&record, &size));
      call.See(size);
      call.See(record.tag);
      call.See(record.storage);
    }
  }
  if (result == kResultOk && palette) {
    uint32_t count = 0;
    VxGlobalHandle colors = 0;
    call.Enter("Vx_GetTIFPalette");
    result = Vx_GetTIFPalette(&file, block, &count, &colors);
    if (result == kResultOk) {
      call.See(count);
      call.See(krnGlobalPointer(colors), count * sizeof(VxColor));
      krnGlobalFree(colors, __LINE__, "QuerySweepTest");
    }
  }
  call.Enter("Vx_FreeTIFPage");
  EXPECT_EQ(Vx_FreeTIFPage(block), kResultOk);
  call.Enter("Vx_CloseTIF");
  EXPECT_EQ(Vx_CloseTIF(&file), kResultOk);
  return result;
}

// The directory is visited three times: at the opening, by its offset as the start of the walk (where a failure sends
// the walk to the header's directory, the same one), and to be read.
const ToldCodes kRawPageCodes = {
    {kSeeks, "p1.count", {kResultSeekFailed}, Aftermath::kSame, {}, 1},
    {kReads, "p1.count", {kResultReadFailed}, Aftermath::kSame, {}, 1},
    {kSeeks, "p1.count", {kPasses}, Aftermath::kSame, {kResultSeekFailed}, 2},
    {kReads, "p1.count", {kPasses}, Aftermath::kSame, {kResultReadFailed}, 2},
    {kSeeks | kReads, "p1.count", {kResultRefused}},
    {kAllocs, "TagAccess*", {kResultRefused}},
    {kAllocs, "DirectoryTree*", {kResultRefused}},
    {kReads, "p1.entry.*", {kResultRefused}},
    {kReads, "p*.next", {kPasses}},
    {kSeeks, "tell*", {kPasses}},
    {kSeeks, "seek.end*", {kPasses}},
};
// The tree of a rich page: what hangs from a child is lost with the child; an array of children, and the page's own
// values, fail the page. A maker note that is no directory is kept as bytes.
const ToldCodes kRawTreeAllocations = {
    {kAllocs, "TagAccess*", {kResultRefused, kPasses}, Aftermath::kDiffers},
    {kAllocs, "DirectoryTree*", {kResultRefused, kPasses}, Aftermath::kDiffers},
    {kAllocs, "TagBlocks*", {kResultRefused, kPasses}, Aftermath::kDiffers},
};
const ToldCodes kRawTreeCodes = {
    {kReads, "p1.330.next", {kPasses}},
    {kSeeks | kReads, "p1.330*", {kResultRefused}},
    {kSeeks | kReads, "p1.34665*", {kPasses}, Aftermath::kDiffers},
    {kSeeks | kReads, "p1.34853*", {kPasses}, Aftermath::kDiffers},
    {kSeeks | kReads, "p1.data*", {kPasses}, Aftermath::kDiffers}, // whatever becomes of the strips of a page
    {kSeeks | kReads, "p1.273", {kPasses}, Aftermath::kDiffers},
    {kSeeks | kReads, "p1.*", {kResultRefused}},
};

TEST(QuerySweep, RawPages) {
  for (const FileOrder order : kBothOrders) {
    const ToldCodes values = {
        {kAllocs, "TagBlocks*", {kResultRefused}},
        {kSeeks | kReads, "p*.*", {kResultRefused}},
    };
    SweepQuery(
        WithOrder("raw page, one strip", order), WrittenFile({"", kFormatLzw, 24, 0, 0}, order),
        {&kRawPageCodes, &values, &kOpenCodes}, [](SweepCall& call) { return RawPages(call, 1, false); }, false);
  }
}

// Pages are counted from the current directory. Strips of a page of several are left out when they cannot be loaded.
TEST(QuerySweep, RawPagesBehindTheFirst) {
  const ToldCodes told = {
      {kSeeks, "skip.p*.next", {kResultSeekFailed}},
      {kReads, "p1.next", {kResultReadFailed}},
      {kReads, "p3.next", {kPasses, kResultReadFailed}},
      {kReads, "p2.next", {kResultReadFailed}, Aftermath::kSame, {}, 1},
      {kReads, "p2.next", {kPasses}},
      {kSeeks, "p3.entry.254", {kResultSeekFailed}}, // back from the end of the chain
      {kSeeks, "p2.count", {kResultSeekFailed}, Aftermath::kSame, {}, 1},
      {kReads, "p2.count", {kResultReadFailed}, Aftermath::kSame, {}, 1},
      {kSeeks, "p3.count", {kResultSeekFailed}, Aftermath::kSame, {}, 1},
      {kReads, "p3.count", {kResultReadFailed}, Aftermath::kSame, {}, 1},
  };
  const ToldCodes values = {
      {kAllocs, "RawPages*", {kResultNoMemory}},
      {kAllocs, "TagBlocks", {kResultRefused}},   // the text
      {kAllocs, "TagBlocks.2", {kResultRefused}}, // the byte counts
      {kAllocs, "TagBlocks*", {kPasses}, Aftermath::kDiffers},
      {kSeeks | kReads, "p*.273", {kPasses}, Aftermath::kDiffers},
      {kSeeks | kReads, "p*.data*", {kPasses}, Aftermath::kDiffers},
      {kSeeks | kReads, "p*.*", {kResultRefused}},
  };
  const ToldCodes second = {
      {kReads, "p2.next", {kPasses}}, // of the page itself
  };
  const ToldCodes planes = {
      {kAllocs, "TagBlocks.3", {kResultRefused}}, // behind depths and byte counts the two resolutions
      {kAllocs, "TagBlocks.4", {kResultRefused}},
  };
  const ToldCodes counts = {
      {kAllocs, "TagBlocks*", {kResultRefused}}, // one of the two count tables, or the text
  };
  for (const FileOrder order : kBothOrders) {
    SweepQuery(
        WithOrder("raw page 2", order), ThreePages(order), {&second, &told, &kRawPageCodes, &values, &kOpenCodes},
        [](SweepCall& call) { return RawPages(call, 2, false); }, false);
    SweepQuery(
        WithOrder("raw page, the last", order), ThreePages(order), {&told, &kRawPageCodes, &values, &kOpenCodes},
        [](SweepCall& call) { return RawPages(call, 0xFFFFFFFFu, true); }, false);
    SweepQuery(
        WithOrder("raw page, planes", order), PlanarFile(order), {&planes, &kRawPageCodes, &values, &kOpenCodes},
        [](SweepCall& call) { return RawPages(call, 1, true); }, false);
    SweepQuery(
        WithOrder("raw page, tiles", order), TiledFile(order), {&counts, &kRawPageCodes, &values, &kOpenCodes},
        [](SweepCall& call) { return RawPages(call, 1, true); }, false);
    SweepQuery(
        WithOrder("raw page, JPEG stream", order), JpegStreamFile(order),
        {&counts, &kRawPageCodes, &values, &kOpenCodes}, [](SweepCall& call) { return RawPages(call, 1, false); },
        false);
  }
}

TEST(QuerySweep, RawPagesWithAllThatHangsFromThem) {
  for (const FileOrder order : kBothOrders) {
    SweepQuery(
        WithOrder("raw page, rich", order), RichFile(order),
        {&kRawTreeAllocations, &kRawPageCodes, &kRawTreeCodes, &kOpenCodes},
        [](SweepCall& call) { return RawPages(call, 1, false); }, false);
  }
}

TEST(QuerySweep, RawPalettes) {
  const ToldCodes told = {
      {kAllocs, "RawPages*", {kResultNoMemory}},
      {kAllocs, "PagePalette", {kResultNoMemory}},
      // The map is loaded with the page's tags first, and then for the palette.
      {kSeeks | kReads, "p1.320", {kResultRefused}, Aftermath::kSame, {}, 1},
      {kSeeks, "p1.320", {kResultSeekFailed}},
      {kReads, "p1.320", {kResultReadFailed}},
  };
  const ToldCodes values = {
      {kSeeks | kReads, "p1.273", {kPasses}, Aftermath::kDiffers},
      {kSeeks | kReads, "p1.data*", {kPasses}, Aftermath::kDiffers},
      {kAllocs, "TagBlocks*", {kResultRefused, kPasses}, Aftermath::kDiffers}, // strips are left out
      {kSeeks | kReads, "p1.*", {kResultRefused}},
  };
  for (const FileOrder order : kBothOrders) {
    SweepQuery(
        WithOrder("raw palette", order), PaletteFile(order), {&told, &kRawPageCodes, &values, &kOpenCodes},
        [](SweepCall& call) { return RawPages(call, 1, true); }, false);
  }
}

const ToldCodes kTagCodes = {
    {kReads, "p*.entry.*", {kResultReadFailed}},
    {kSeeks, "p*.270", {kResultSeekFailed}},
    {kReads, "p*.270", {kResultReadFailed}},
};

int32_t GetTag(SweepCall& call, uint32_t tag, int32_t page) {
  FileOptions options = {};
  options.pageNumber = page;
  uint16_t type = 0;
  uint32_t count = 0;
  std::array<uint8_t, 256> data = {};
  FilterGetTagRequest request = {call.Name(), tag, &type, &count, data.data(), &options};
  const int32_t result = call.Enter("fltGetTag", "fltGetTagTIF") ? fltGetTagTIF(&request) : fltGetTag(&request);
  call.See(type);
  call.See(count);
  call.See(data);
  return result;
}

TEST(QuerySweep, Tags) {
  for (const FileOrder order : kBothOrders) {
    SweepQuery(WithOrder("a tag of page 1", order), ThreePages(order), {&kTagCodes, &kOpenCodes},
               [](SweepCall& call) { return GetTag(call, 270, 0); });
    SweepQuery(WithOrder("a tag of page 3", order), ThreePages(order), {&kTagCodes, &kOpenCodes, &kChainCodes},
               [](SweepCall& call) { return GetTag(call, 270, 3); });
    SweepQuery(WithOrder("an inline tag", order), ThreePages(order), {&kTagCodes, &kOpenCodes, &kChainCodes},
               [](SweepCall& call) { return GetTag(call, 256, 2); });
  }
}

// Of every home and type: the page's own texts, Exif, GPS, IPTC, the maker note as a directory.
TEST(QuerySweep, Comments) {
  // A maker note that cannot be read as a directory is copied as bytes; what cannot be written of it makes the result
  // shorter: its text of 24 bytes stands at 30 and goes out first.
  const ToldCodes makerNote = {
      {kAllocs, "TreeWriter*", {kPasses, 0}, Aftermath::kDiffers},
      {kAllocs, "*", {kPasses}, Aftermath::kDiffers},
      {kSeeks | kReads, "p1.34665.37500*", {kPasses}, Aftermath::kDiffers, {kPasses, kResultReadFailed}},
      {kSeeks, "seek.end*", {kPasses}},
      {kSeeks | kWrites, "memory", {kPasses, 0, 30 + 1, 30 + 23}, Aftermath::kDiffers},
  };
  const ToldCodes told = {
      {kReads, "p1*.entry.*", {kResultReadFailed}}, {kSeeks, "p1.*.count", {kResultSeekFailed}},
      {kReads, "p1.*.count", {kResultReadFailed}},  {kAllocs, "CommentReader", {kResultNoMemory}},
      {kSeeks, "p1.33723", {kResultSeekFailed}},    {kReads, "p1.*", {kResultReadFailed}},
      {kSeeks, "p1.*", {kResultReadFailed}},
  };
  for (const FileOrder order : kBothOrders) {
    for (const uint32_t number : {3u, 22u, 34u, 36u, 37u, 43u, 192u}) {
      SweepQuery(WithOrder("comment " + std::to_string(number), order), RichFile(order),
                 number == 36 ? std::vector<const ToldCodes*>{&makerNote, &kOpenCodes, &told}
                              : std::vector<const ToldCodes*>{&kOpenCodes, &told},
                 [number](SweepCall& call) {
                   std::array<uint8_t, 200> buffer = {};
                   FileOptions options = {};
                   FilterCommentRequest request = {call.Name(), number, buffer.data(), 200, &options};
                   const int32_t result =
                       call.Enter("fltComment", "fltCommentTIF") ? fltCommentTIF(&request) : fltComment(&request);
                   if (result > 0) {
                     call.See(buffer);
                   }
                   return result;
                 });
    }
  }
}

// Keys of all three tags. What cannot be read fails the listing; the callback has seen none by then.
TEST(QuerySweep, GeoKeys) {
  const ToldCodes told = {
      {kAllocs, "TagAccess", {kResultNoMemory}},      {kAllocs, "GeoKeyReader*", {kResultNoMemory}},
      {kAllocs, "DirectoryTree*", {kResultNoMemory}}, {kAllocs, "TagRecords*", {kResultNoMemory}},
      {kSeeks, "p1.count", {kResultSeekFailed}},      {kReads, "p1.count", {kResultReadFailed}},
      {kReads, "p1.entry.*", {kResultReadFailed}},    {kSeeks, "p1.3473*", {kResultSeekFailed}},
      {kReads, "p1.3473*", {kResultReadFailed}},
  };
  for (const FileOrder order : kBothOrders) {
    SweepQuery(WithOrder("geo keys", order), RichFile(order), {&told, &kOpenCodes}, [](SweepCall& call) {
      FileOptions options = {};
      const auto take = [](uint32_t key, uint32_t type, uint32_t count, const void*, intptr_t self) -> int32_t {
        reinterpret_cast<SweepCall*>(self)->See(std::array<uint32_t, 3>{key, type, count});
        return 1;
      };
      FilterEnumGeoKeysRequest request = {call.Name(), 0, take, reinterpret_cast<intptr_t>(&call), &options};
      return call.Enter("fltEnumGeoKeys", "fltEnumGeoKeysTIF") ? fltEnumGeoKeysTIF(&request) : fltEnumGeoKeys(&request);
    });
  }
}

// The stamp goes through the host's own functions: a report that fails leaves no second page, a load that fails goes
// unnoticed.
struct StampHost {
  SweepCall* call;
  uint32_t page = 0;

  static int32_t GetInfo(intptr_t self, FileInfoRecord* info, uint32_t, uint32_t, FileOptions* options) {
    auto* const host = reinterpret_cast<StampHost*>(self);
    const VxFileHandle handle = krnFileOpen(host->call->Name(), kKrnFileRead, kKrnShareRead);
    if (handle == kKrnNoHandle) {
      return kResultOpenFailed;
    }
    FilterInfoRequest request = {};
    info->structSize = sizeof *info;
    request.structSize = sizeof request;
    request.fileHandle = handle;
    request.fileInfo = info;
    request.fileOptions = options;
    const int32_t result = fltInfo(&request);
    krnFileClose(handle);
    host->page = info->pageNumber;
    return result;
  }
  static int32_t Load(intptr_t self, BitmapHandle* bitmap, uint32_t, uint32_t, uint32_t, FileOptions* options,
                      FileInfoRecord* info) {
    auto* const host = reinterpret_cast<StampHost*>(self);
    FilterLoadRequest request = {};
    request.fileName = host->call->Name();
    request.bitmap = bitmap;
    request.fileInfo = info;
    request.fileOptions = options;
    request.rowCallback = [](FileInfoRecord*, BitmapHandle*, uint8_t*, uint32_t, int32_t, int32_t,
                             intptr_t) -> int32_t { return kResultOk; };
    return fltLoad(&request);
  }
};

TEST(QuerySweep, Stamps) {
  const ToldCodes told = {
      {~0u, "*", {kPasses, kResultNoStamp}, Aftermath::kDiffers},
  };
  for (const FileOrder order : kBothOrders) {
    SweepQuery(WithOrder("stamp", order), ThreePages(order), {&told}, [](SweepCall& call) {
      BitmapHandle bitmap = {};
      krnBitmapInit(&bitmap, kBitmapHandleSize, 4, 2, 8);
      FileOptions options = {};
      options.pageNumber = 5;
      StampHost host = {&call};
      FilterStampRequest request = {
          reinterpret_cast<intptr_t>(&host), &bitmap, &options, StampHost::GetInfo, 0, StampHost::Load};
      const int32_t result =
          call.Enter("fltGetStamp", "fltGetStampTIF") ? fltGetStampTIF(&request) : fltGetStamp(&request);
      EXPECT_EQ(result, host.page == 2 ? int32_t{kResultOk} : int32_t{kResultNoStamp});
      EXPECT_EQ(options.pageNumber, 5);
      return result;
    });
  }
}

} // namespace
