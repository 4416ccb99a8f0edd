// Faults in the saves beside fltSave's strips: planes of inks, streamed strips, geo keys, tone tables, the bare LZW
// stream. Planes and streamed strips leave their page where it is; nothing is taken back.

#include <gtest/gtest.h>
#include <vxtif/vxtif.h>

#include "faults/FaultSweep.h"
#include "faults/SweepInputs.h"
#include "faults/WriteChecks.h"
#include "faults/WriteCodes.h"
#include "planes/PlaneSource.h"

namespace {

uint32_t OrderFlag(FileOrder order) {
  return order == FileOrder::kBig ? uint32_t{kSaveBigEndian} : 0u;
}

// The pages that were there stand; a call that passes without a difference leaves the whole file.
void CheckStays(const SweepOutcome& outcome, const OldPages& pages) {
  if (!outcome.failed && !outcome.mayDiffer) {
    EXPECT_EQ(outcome.after, outcome.without) << "the file is another, after " << outcome.place;
  } else if (outcome.exists && outcome.after.size() >= outcome.before.size() && !BeginsAnew(outcome)) {
    pages.ExpectUnharmed(outcome);
  } else {
    EXPECT_TRUE(BeginsAnew(outcome) || outcome.before.empty())
        << "a TIFF file was written over, after " << outcome.place;
  }
}

void SweepStaying(const std::string& name, Where where, FileOrder order, const std::vector<const ToldCodes*>& told,
                  const std::function<int32_t(SweepCall&)>& run) {
  Sweep sweep;
  sweep.name = WithOrder(name + ", " + NameOfPlace(where), order);
  sweep.exists = where != Where::kNewFile;
  sweep.file = sweep.exists ? ThreePages(order) : FileBytes{};
  if (sweep.exists) {
    sweep.told.push_back(CodesOfPlace(where));
  }
  sweep.told.insert(sweep.told.end(), told.begin(), told.end());
  sweep.told.insert(sweep.told.end(), {&kSaveCodes, &kWrittenDirectoryCodes});
  sweep.run = run;
  const OldPages pages(sweep.file);
  sweep.check = [&](const SweepOutcome& outcome) { CheckStays(outcome, pages); };
  RunSweep(sweep);
}

int32_t SavePlanes(SweepCall& call, int32_t format, bool planar, Where where, FileOrder order, bool tiles) {
  PlaneSource source(4, 24, 10, 8);
  SaveOptions options = {};
  options.structSize = sizeof options;
  options.flags = OrderFlag(order) | (tiles ? uint32_t{kSaveTiles} : 0u);
  options.flags |= where == Where::kInsert    ? uint32_t{kSaveInsertPage}
                   : where == Where::kReplace ? uint32_t{kSaveReplacePage}
                                              : 0u;
  options.flags2 = planar ? uint32_t{kSavePlanar} : 0u;
  options.tileWidth = options.tileHeight = 16;
  options.pageNumber = where == Where::kNewFile ? 1 : 2;
  FilterSaveCMYKRequest request = {};
  source.Fill(&request);
  request.fileName = call.Name();
  request.format = format;
  request.options = &options;
  return call.Enter("fltSaveCMYKArray", "fltSaveCMYKArrayTIF") ? fltSaveCMYKArrayTIF(&request)
                                                               : fltSaveCMYKArray(&request);
}

const ToldCodes kPlaneCodes = {
    {kAllocs, "CmykArraySave*", {kResultNoMemory}},
    {kAllocs, "LzwEncoder*", {kResultNoMemory}},
};
const ToldCodes kWrittenPixels = {
    {kWrites, "new.data*", {kResultWriteFailed}},
};
const ToldCodes kUnseenPixels = {
    {kWrites, "new.data*", {kPasses}, Aftermath::kDiffers},
};

TEST(StreamSweep, Planes) {
  for (const FileOrder order : kBothOrders) {
    for (const bool planar : {false, true}) {
      const std::string name = planar ? "separate planes" : "interleaved planes";
      for (const Where where : kEverywhere) {
        SweepStaying(name, where, order, {&kPlaneCodes, &kWrittenPixels}, [=](SweepCall& call) {
          return SavePlanes(call, kFormatUncompressedCmyk, planar, where, order, false);
        });
      }
      for (const Where where : {Where::kNewFile, Where::kAppend}) {
        SweepStaying("LZW " + name, where, order, {&kPatchCodes, &kPlaneCodes, &kUnseenPixels},
                     [=](SweepCall& call) { return SavePlanes(call, kFormatLzwCmyk, planar, where, order, false); });
        SweepStaying(
            "PackBits " + name, where, order, {&kPatchCodes, &kPlaneCodes, &kWrittenPixels},
            [=](SweepCall& call) { return SavePlanes(call, kFormatPackBitsCmyk, planar, where, order, false); });
      }
    }
    SweepStaying("planes in tiles", Where::kNewFile, order, {&kPlaneCodes, &kWrittenPixels}, [=](SweepCall& call) {
      return SavePlanes(call, kFormatUncompressedCmyk, true, Where::kNewFile, order, true);
    });
  }
}

// Two pieces of data. What fails on the way is the result; the stop gives 1 whatever comes.
int32_t Stream(SweepCall& call, bool append, FileOrder order) {
  const FileBytes data = {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120};
  SaveOptions options = {};
  options.structSize = sizeof options;
  options.flags = OrderFlag(order);
  options.pageNumber = 1;
  FilterSaveDataRequest request = {};
  request.fileName = call.Name();
  request.compression = 1;
  request.width = 8;
  request.height = 1;
  request.bitsPerPixel = 24;
  request.append = append ? 1 : 0;
  request.options = &options;
  request.dataBuffer = data.data();
  request.dataLength = static_cast<uint32_t>(data.size());
  int32_t result = call.Enter("fltStartSaveData", "fltStartSaveDataTIF") ? fltStartSaveDataTIF(&request)
                                                                         : fltStartSaveData(&request);
  for (int piece = 0; piece < 2 && result == kResultOk; ++piece) {
    result = call.Enter("fltSaveData", "fltSaveDataTIF") ? fltSaveDataTIF(&request) : fltSaveData(&request);
  }
  const int32_t stopped =
      call.Enter("fltStopSaveData", "fltStopSaveDataTIF") ? fltStopSaveDataTIF(&request) : fltStopSaveData(&request);
  EXPECT_EQ(stopped, kResultOk);
  return result;
}

TEST(StreamSweep, StreamedStrips) {
  const ToldCodes told = {
      {kAllocs, "IncrementalSave", {kResultNoMemory}},
      {kWrites, "new.data*", {kResultWriteFailed}},
      // The stop: the order of the file, its directory, the word of the byte count.
      {kSeeks | kReads, "header", {kPasses}, Aftermath::kDiffers},
      {kSeeks | kReads, "new.count", {kPasses}, Aftermath::kDiffers},
  };
  const ToldCodes start = {
      {kSeeks, "new.count", {kResultSeekFailed}, Aftermath::kSame, {}, 1}, // to the end of the old file
  };
  for (const FileOrder order : kBothOrders) {
    SweepStaying("stream", Where::kNewFile, order, {&told, &kPatchCodes},
                 [=](SweepCall& call) { return Stream(call, false, order); });
    SweepStaying("stream", Where::kAppend, order, {&start, &told, &kPatchCodes},
                 [=](SweepCall& call) { return Stream(call, true, order); });
  }
}

// A page of a save with its own row service.
int32_t SavePage(SweepCall& call, RowService& service, int32_t format, int32_t bits, const Where where, FileOrder order,
                 TifGeoKeyItem* keys, uint32_t append) {
  service.rowsAsked.clear();
  service.rowFlags.clear();
  SaveJob job(format, bits, &service, call.Name());
  job.options.flags = OrderFlag(order);
  job.options.pageNumber = where == Where::kNewFile ? 1 : 2;
  job.request.flags = append;
  job.request.geoKeys = keys;
  return job.Run(call.Enter("fltSave", "fltSaveTIF") ? fltSaveTIF : fltSave);
}

void SweepPage(const std::string& name, RowService& service, int32_t format, int32_t bits, TifGeoKeyItem* keys,
               const std::vector<const ToldCodes*>& told) {
  for (const FileOrder order : kBothOrders) {
    for (const Where where : {Where::kNewFile, Where::kAppend}) {
      Sweep sweep;
      sweep.name = WithOrder(name + ", " + NameOfPlace(where), order);
      sweep.exists = where != Where::kNewFile;
      sweep.file = ThreePages(order);
      if (sweep.exists) {
        sweep.told.push_back(CodesOfPlace(where));
      }
      sweep.told.insert(sweep.told.end(), told.begin(), told.end());
      sweep.told.insert(sweep.told.end(), {&kWrittenPixels, &kSaveCodes, &kWrittenDirectoryCodes});
      const OldPages pages(sweep.file);
      sweep.run = [&, where, order](SweepCall& call) {
        return SavePage(call, service, format, bits, where, order, keys,
                        where == Where::kNewFile ? 0u : uint32_t{kSaveRequestAppend});
      };
      sweep.check = [&, where](const SweepOutcome& outcome) { CheckSavedFile(outcome, where, pages); };
      RunSweep(sweep);
    }
  }
}

// What becomes of the packing and writing of keys is not looked at.
TEST(StreamSweep, GeoKeys) {
  uint16_t one = 1;
  double axis = 6378137.0;
  char text[] = "a name of a datum";
  TifGeoKeyItem third = {3073, kTypeAscii, sizeof text, text, nullptr};
  TifGeoKeyItem second = {2057, kTypeDouble, 1, &axis, &third};
  TifGeoKeyItem first = {1024, kTypeShort, 1, &one, &second};
  const ToldCodes told = {
      {kAllocs, "GeoKeyWriter*", {kPasses}, Aftermath::kDiffers},
      {kAllocs, "GeoKeyReader*", {kResultNoMemory}},
      {kAllocs, "DirectoryTree*", {kResultNoMemory}},
      {kWrites, "new.3473*", {kPasses}, Aftermath::kDiffers},
      {kWrites, "new.next", {kResultWriteFailed}}, // fewer entries than are reserved
      {kSeeks, "seek.end*", {kPasses}, Aftermath::kDiffers},
  };
  RowService service = SweepService(kWrittenWidth, kWrittenHeight, 24);
  SweepPage("geo keys", service, kFormatGeoTiff, 24, &first, {&told});
}

// A deep grey page with levels and a tone table of its own: the private directory behind the values.
TEST(StreamSweep, ToneTables) {
  const VxGlobalHandle table = krnGlobalAlloc(4, sizeof(VxColor), __LINE__, "StreamSweepTest");
  ASSERT_NE(table, 0u);
  krnMemSet(krnGlobalPointer(table), 7, 4 * sizeof(VxColor));
  RowService service = SweepService(kWrittenWidth, kWrittenHeight, 16);
  for (BitmapHandle* bitmap : {&service.bitmap, &service.descriptor}) {
    bitmap->order = kOrderGray;
    bitmap->lowBit = 2;
    bitmap->highBit = 13;
    bitmap->flags |= kBitmapHasLookupTable;
    bitmap->lookupTable = table;
    bitmap->lookupTableLength = 4;
  }
  const ToldCodes told = {
      {kAllocs, "ToneBlock*", {kResultNoMemory}},
  };
  SweepPage("tone table", service, kFormatUncompressed, 16, nullptr, {&told});
  krnGlobalFree(table, __LINE__, "StreamSweepTest");
}

// A bare stream. Failing writes are not noticed; any other failure deletes the file.
TEST(StreamSweep, BareLzw) {
  RowService service = SweepService(kWrittenWidth, kWrittenHeight, 8);
  const ToldCodes told = {
      {kOpens, "open.keep", {kResultOpenFailed}},     {kAllocs, "RawLzwSave", {kResultNoMemory}},
      {kAllocs, "LzwEncoder", {kResultNoMemory}},     {kAllocs, "StripLayout", {kResultNoMemory}},
      {kWrites, "*", {kPasses}, Aftermath::kDiffers},
  };
  Sweep sweep;
  sweep.name = "save bare LZW";
  sweep.exists = false;
  sweep.told = {&told};
  sweep.run = [&](SweepCall& call) {
    return SavePage(call, service, kFormatRawLzw, 8, Where::kNewFile, FileOrder::kLittle, nullptr, 0);
  };
  sweep.check = [](const SweepOutcome& outcome) {
    EXPECT_EQ(outcome.exists, !outcome.failed) << "after " << outcome.place;
  };
  RunSweep(sweep);
}

} // namespace
