// Faults in saves of pages: told codes, a new file removed, a page taken back, every other page unharmed.

#include <gtest/gtest.h>

#include "faults/FaultSweep.h"
#include "faults/SweepInputs.h"
#include "faults/WriteChecks.h"
#include "faults/WriteCodes.h"
#include "metadata/CommentInput.h"
#include "metadata/MarkerInput.h"
#include "support/FileDirectory.h"

namespace {

constexpr int32_t kWidth = 40;
constexpr int32_t kHeight = 20;

struct SaveKind {
  const char* name;
  int32_t format;
  int32_t bits;
  uint32_t flags;
  uint32_t tile;           // edge, 0 for strips
  const ToldCodes* pixels; // what is told about the strips
};

// The pixels go out row by row and every failure is noticed.
const ToldCodes kStoredStrips = {
    {kWrites, "new*.data*", {kResultWriteFailed}},
};
const ToldCodes kPackBitsStrips = {
    {kWrites, "new.data*", {kResultWriteFailed}},
};
// The output of LZW is not looked at, nor are the strip tables that are patched once the sizes are known.
const ToldCodes kLzwStrips = {
    {kWrites, "new.data*", {kPasses}, Aftermath::kDiffers},
    {kAllocs, "LzwEncoder*", {kResultNoMemory}},
};

const SaveKind kSaveKinds[] = {
    {"uncompressed", kFormatUncompressed, 8, 0, 0, &kStoredStrips},
    {"CMYK", kFormatUncompressedCmyk, 24, 0, 0, &kStoredStrips},
    {"YCbCr", kFormatUncompressedYCbCr, 24, 0, 0, &kStoredStrips},
    {"tiles", kFormatUncompressed, 8, kSaveTiles, 16, &kStoredStrips},
    {"LZW", kFormatLzw, 24, kSavePredictor, 0, &kLzwStrips},
    {"LZW tiles", kFormatLzw, 24, kSaveTiles, 16, &kLzwStrips},
    {"PackBits", kFormatPackBits, 8, 0, 0, &kPackBitsStrips},
    {"PackBits CMYK", kFormatPackBitsCmyk, 24, 0, 0, &kPackBitsStrips},
};

uint32_t FlagsFor(Where where, FileOrder order) {
  return (where == Where::kInsert    ? uint32_t{kSaveInsertPage}
          : where == Where::kReplace ? uint32_t{kSaveReplacePage}
                                     : 0u) |
         (order == FileOrder::kBig ? uint32_t{kSaveBigEndian} : 0u);
}

using Dress = std::function<void(SaveJob&)>; // puts metadata into a request

// The host's side: one service for all calls of a sweep, as new before each.
class SaveHost {
public:
  SaveHost(const SaveKind& kind, Where where, FileOrder order, const Dress& dress)
      : kind_(kind), where_(where), order_(order), dress_(dress), service_(SweepService(kWidth, kHeight, kind.bits)),
        bitmap_(service_.bitmap), descriptor_(service_.descriptor) {}

  int32_t Save(SweepCall& call) {
    service_.bitmap = bitmap_;
    service_.descriptor = descriptor_;
    service_.rowsAsked.clear();
    service_.rowFlags.clear();
    SaveJob job(kind_.format, kind_.bits, &service_, call.Name());
    job.options.flags = kind_.flags | FlagsFor(where_, order_);
    job.options.tileWidth = job.options.tileHeight = kind_.tile;
    job.options.pageNumber = where_ == Where::kNewFile ? 1 : 2;
    if (dress_) {
      dress_(job);
    }
    const int32_t result = job.Run(call.Enter("fltSave", "fltSaveTIF") ? fltSaveTIF : fltSave);
    cameToStamp_ = job.request.stampBitmap != nullptr && job.request.bitmap == job.request.stampBitmap;
    return result;
  }
  bool CameToStamp() const { return cameToStamp_; }

private:
  SaveKind kind_;
  Where where_;
  FileOrder order_;
  Dress dress_;
  RowService service_;
  BitmapHandle bitmap_;
  BitmapHandle descriptor_;
  bool cameToStamp_ = false;
};

void SweepSave(const SaveKind& kind, const std::vector<const ToldCodes*>& more = {}, const Dress& dress = {}) {
  for (const FileOrder order : kBothOrders) {
    for (const Where where : kEverywhere) {
      Sweep sweep;
      sweep.name = WithOrder(std::string("save ") + kind.name + ", " + NameOfPlace(where), order);
      sweep.exists = where != Where::kNewFile;
      sweep.file = ThreePages(order);
      if (where != Where::kNewFile) {
        sweep.told.push_back(CodesOfPlace(where));
      }
      sweep.told.insert(sweep.told.end(), more.begin(), more.end());
      if (kind.pixels != &kStoredStrips) {
        sweep.told.push_back(&kPatchCodes);
      }
      sweep.told.insert(sweep.told.end(), {kind.pixels, &kSaveCodes, &kWrittenDirectoryCodes});
      SaveHost host(kind, where, order, dress);
      const OldPages pages(sweep.file);
      sweep.run = [&](SweepCall& call) { return host.Save(call); };
      sweep.check = [&, where](const SweepOutcome& outcome) { CheckSavedFile(outcome, where, pages); };
      RunSweep(sweep);
    }
  }
}

TEST(SaveSweep, Pages) {
  for (const SaveKind& kind : kSaveKinds) {
    SweepSave(kind);
  }
}

// Before a page that is named by its offset: the word that leads to it is searched from the header, and what fails on
// that way is the result. An offset that cannot be entered counts as none given: the page goes before the first.
TEST(SaveSweep, PagesBeforeOneNamedByItsOffset) {
  const ToldCodes way = {
      {kSeeks | kReads, "p2.count", {kPasses}, Aftermath::kDiffers, {kPasses, kResultReadFailed}, 1},
      {kSeeks, "header.first", {kResultSeekFailed}, Aftermath::kSame, {}, 1},
      {kReads, "header.first", {kResultReadFailed}, Aftermath::kSame, {}, 1},
      {kSeeks, "p1.count", {kResultSeekFailed}, Aftermath::kSame, {kResultSeekFailed, kResultReadFailed}, 1},
      {kReads, "p1.count", {kResultReadFailed}, Aftermath::kSame, {}, 1},
      {kSeeks, "p1.next", {kResultSeekFailed}, Aftermath::kSame, {}, 1},
      {kReads, "p1.next", {kResultReadFailed}, Aftermath::kSame, {}, 1},
      {kSeeks, "p1.next", {kResultWriteFailed}, Aftermath::kSame, {}, 2},
  };
  for (const FileOrder order : kBothOrders) {
    const SaveKind kind = {"by offset", kFormatUncompressed, 8, kSaveUseDirectoryOffset, 0, &kStoredStrips};
    Sweep sweep;
    sweep.name = WithOrder("save before a page by its offset", order);
    sweep.file = ThreePages(order);
    sweep.file.push_back(0); // an odd end, which is made even first
    sweep.file.resize(sweep.file.size() / 2 * 2 + 1);
    sweep.told = {&way, CodesOfPlace(Where::kInsert), kind.pixels, &kSaveCodes, &kWrittenDirectoryCodes};
    const uint32_t offset = ReadFilePage(sweep.file, 1).offset;
    SaveHost host(kind, Where::kInsert, order, [offset](SaveJob& job) {
      job.options.pageNumber = 1;
      job.options.directoryOffset = offset;
    });
    const OldPages pages(sweep.file);
    sweep.run = [&](SweepCall& call) { return host.Save(call); };
    sweep.check = [&](const SweepOutcome& outcome) { CheckSavedFile(outcome, Where::kInsert, pages); };
    RunSweep(sweep);
  }
}

const ToldCodes kFaxStrips = {
    {kAllocs, "*ax*", {kResultNoMemory}},
    {kAllocs, "VariantSave*", {kResultNoMemory}},
    {kWrites, "new.entry.33466+", {kPasses}, Aftermath::kDiffers}, // the codes of the tiles are patched, too
    {kWrites, "new.data*", {kResultWriteFailed}},
};
const SaveKind kFaxKinds[] = {
    {"CCITT", kFormatCcitt, 1, 0, 0, &kFaxStrips},
    {"group 3", kFormatGroup3, 1, 0, 0, &kFaxStrips},
    {"group 3 two-dimensional", kFormatGroup3TwoDimensional, 1, kSaveFillOrder2, 0, &kFaxStrips},
    {"group 4", kFormatGroup4, 1, 0, 0, &kFaxStrips},
    {"group 3 two-dimensional tiles", kFormatGroup3TwoDimensional, 1, kSaveTiles, 16, &kFaxStrips},
    {"group 4 tiles", kFormatGroup4, 1, kSaveTiles, 16, &kFaxStrips},
    {"variant", kFormatVariant, 1, 0, 0, &kFaxStrips},
    {"variant tiles", kFormatVariant, 1, kSaveTiles, 16, &kFaxStrips},
};

TEST(SaveSweep, FaxPages) {
  for (const SaveKind& kind : kFaxKinds) {
    SweepSave(kind);
  }
}

// Texts, an IPTC block, the caller's own tags, and an Exif segment of a JPEG file with its texts.
struct Clothes {
  CommentSlots comments;
  char longText[40] = "a tag of the caller";
  uint16_t shorts[3] = {1, 2, 3};
  TifTagItem second = {33000, kTypeAscii, 19, longText, nullptr};
  TifTagItem first = {33001, kTypeShort, 3, shorts, &second};
  MarkerInput markers;

  Clothes() {
    TiffDirectory page;
    page.Ascii(271, "a maker's name").Undefined(40001, FileBytes(7, 5)).Short(40002, {1, 2, 3});
    TiffBuilder exif;
    exif.AddPage(page);
    markers.Exif(exif.Build());
  }
  void Dress(SaveJob& job) {
    comments.Text(3, "a description of the page").Text(9, "abc").Text(192, "meadow\1brook").Text(219, "a headline");
    job.request.comments = comments.Block();
    job.request.tagList = &first;
    job.request.markers = markers.Block();
  }
};

const ToldCodes kClothesCodes = {
    {kAllocs, "Iptc*", {kResultNoMemory}},
    // A segment that cannot be read is none.
    {kAllocs, "vxkernel*", {kPasses}, Aftermath::kDiffers},
    {kAllocs, "TagAccess*", {kPasses}, Aftermath::kDiffers},
    {kAllocs, "DirectoryTree*", {kPasses}, Aftermath::kDiffers},
    {kAllocs, "TagBlocks*", {kPasses}, Aftermath::kDiffers},
    {kReads | kSeeks, "memory", {kPasses}, Aftermath::kDiffers},
    {kSeeks, "seek.end*", {kResultSeekFailed}},
    {kWrites, "new.271*", {kResultWriteFailed}}, // the segment's
    {kWrites, "new.33000*", {kResultWriteFailed}},
    {kWrites, "new.33001*", {kResultWriteFailed}},
    {kWrites, "new.33723*", {kResultWriteFailed}},
    {kWrites, "new.40001*", {kResultWriteFailed}},
    {kWrites, "new.40002*", {kResultWriteFailed}},
};

TEST(SaveSweep, PagesWithMetadata) {
  Clothes clothes;
  SweepSave({"dressed", kFormatUncompressed, 8, 0, 0, &kStoredStrips}, {&kClothesCodes},
            [&](SaveJob& job) { clothes.Dress(job); });
}

// Formats 96 and 97: Exif, GPS, IPTC, a maker note that is a directory, and a stamp as page 2. The first pass that
// fails deletes the file outright; a stamp that fails is taken back and leaves the first page.
struct ExifClothes {
  CommentSlots comments;
  MarkerInput markers;
  RowService stamp;

  ExifClothes() : stamp(SweepService(16, 8, 24)) {
    TiffDirectory exif;
    exif.Rational(33434, {{1, 60}}).Undefined(37510, FileBytes(12, 66));
    TiffDirectory gps;
    gps.Ascii(1, "N").Rational(2, {{48, 1}, {8, 1}, {0, 1}});
    TiffDirectory page;
    page.Ascii(272, "a model's name").Child(34665, exif).Child(34853, gps);
    TiffBuilder builder;
    builder.AddPage(page);
    markers.Exif(builder.Build());
  }
  void Dress(SaveJob& job) {
    const FileBytes note = {2, 0, 1, 0, 3,  0, 1, 0, 0, 0, 7, 0, 0,   0,   2,   0,   2,   0,
                            6, 0, 0, 0, 30, 0, 0, 0, 0, 0, 0, 0, 'n', 'o', 't', 'e', 's', 0};
    comments.Text(3, "a description of the page").Text(22, "2026:01:02 03:04:05");
    comments.Set(36, note).Set(43, FileBytes(24, 1)).Text(219, "a headline");
    job.request.comments = comments.Block();
    job.request.markers = markers.Block();
    job.request.stampBitmap = &stamp.bitmap;
    reinterpret_cast<RowService*>(job.request.extra1)->stamp = &stamp;
  }
};

// The stamp goes into the file that the first pass has made. A file that cannot be opened or read then is begun anew.
const ToldCodes kStampCodes = {
    {kOpens, "open.edit", {kPasses}, Aftermath::kDiffers},
    {kSeeks, "header", {kPasses}, Aftermath::kDiffers, {kPasses, kResultSeekFailed}},
    {kReads, "header", {kPasses}, Aftermath::kDiffers},
    {kSeeks, "seek.end", {kResultSeekFailed}}, // the place of the segment's value
    {kSeeks, "seek.end.2", {kResultReadFailed}},
    {kSeeks, "seek.end.3", {kPasses}},
    {kSeeks, "seek.end.4", {kResultSeekFailed}},
    {kSeeks, "new.count", {kResultSeekFailed}, Aftermath::kSame, {}, 1}, // the directory is shorter than was reserved
    {kSeeks | kReads, "new.count", {kResultReadFailed}},                 // the way to the first page's end
    {kSeeks, "skip.new.next", {kResultReadFailed}, Aftermath::kSame, {kResultReadFailed, kResultSeekFailed}},
    {kReads, "new.next", {kResultReadFailed}},
    {kSeeks, "new.entry.256", {kResultReadFailed}},
    {kSeeks, "new.next", {kResultWriteFailed}}, // its link
    {kWrites, "new*.next", {kResultWriteFailed}},
};
const ToldCodes kExifCodes = {
    {kAllocs, "SavePages*", {kResultNoMemory}},
    {kAllocs, "StripLayout*", {kResultNoMemory}},
    {kAllocs, "DirectoryWriter*", {kResultNoMemory}},
    {kAllocs, "CommentWriter*", {kResultNoMemory}},
    {kAllocs, "TreeWriter*", {kResultNoMemory}},
    {kAllocs, "Iptc*", {kResultNoMemory}},
    // Values of the Exif directory; those of the GPS directory fail it with -4.
    {kAllocs, "TagRecords", {kResultNoMemory}},
    {kAllocs, "TagRecords*", {kResultNoMemory, kResultSeekFailed}},
    {kWrites, "new*.272*", {kResultWriteFailed}}, // the segment's
    {kSeeks, "new.34665*", {kResultSeekFailed}},
    {kWrites, "new.34665*", {kResultWriteFailed}},
    {kWrites, "new.34853*", {kResultWriteFailed}},
};

// Places of both pages: the first is new, and so is the stamp behind it.
TEST(SaveSweep, ExifPagesWithStamps) {
  for (const FileOrder order : kBothOrders) {
    for (const int32_t format : {int32_t{kFormatExif}, int32_t{kFormatExifYCbCr}}) {
      ExifClothes clothes;
      const SaveKind kind = {"Exif", format, 24, 0, 0, &kStoredStrips};
      Sweep sweep;
      sweep.name = WithOrder("save Exif, format " + std::to_string(format), order);
      sweep.exists = false;
      sweep.told = {&kStampCodes, &kExifCodes, &kClothesCodes, kind.pixels, &kSaveCodes, &kWrittenDirectoryCodes};
      SaveHost host(kind, Where::kNewFile, order, [&](SaveJob& job) { clothes.Dress(job); });
      sweep.run = [&](SweepCall& call) { return host.Save(call); };
      sweep.check = [&](const SweepOutcome& outcome) {
        if (!outcome.failed) {
          EXPECT_TRUE(outcome.mayDiffer || outcome.after == outcome.without);
        } else if (!host.CameToStamp()) {
          EXPECT_FALSE(outcome.exists) << "the new file was not removed, after " << outcome.place;
        } else if (outcome.exists && !BeginsAnew(outcome)) {
          OldPages(outcome.without, 1).ExpectUnharmed(outcome);
        }
      };
      RunSweep(sweep);
    }
  }
}

} // namespace
