// Faults in edits of metadata: told codes; the image data, the other pages and the old directory as they were, whatever
// becomes of the edit.

#include <gtest/gtest.h>
#include <vxtif/vxtif.h>

#include "faults/FaultSweep.h"
#include "faults/ReadCodes.h"
#include "faults/SweepInputs.h"
#include "faults/WriteChecks.h"
#include "metadata/CommentInput.h"
#include "metadata/MarkerInput.h"
#include "support/ChainWalk.h"

namespace {

using Run = std::function<int32_t(SweepCall&, SaveOptions*)>;

// What an edit of a page leaves alone: all of the other pages, and the page's own image data.
void SweepEdit(const std::string& name, const FileBytes& file, uint32_t page, const std::vector<const ToldCodes*>& told,
               const Run& run) {
  Sweep sweep;
  sweep.name = name;
  sweep.file = file;
  sweep.told = told;
  // The chain as far as it is walked; the edited page's own next word is another matter.
  ToldCodes chain;
  for (uint32_t i = 1; i < page; ++i) {
    chain.push_back({kReads, "p" + std::to_string(i) + ".next", {kResultReadFailed}});
  }
  sweep.told.insert(sweep.told.end(), {&chain, &kEditCodes});
  sweep.run = [&](SweepCall& call) {
    SaveOptions options = {};
    options.structSize = sizeof options;
    options.pageNumber = static_cast<int32_t>(page);
    return run(call, &options);
  };
  const OldPages others(file, SIZE_MAX, page);
  sweep.check = [&](const SweepOutcome& outcome) {
    ASSERT_TRUE(outcome.exists);
    if (!outcome.failed && !outcome.mayDiffer) {
      EXPECT_EQ(outcome.after, outcome.without) << "the file is another, after " << outcome.place;
      return;
    }
    others.ExpectUnharmed(outcome);
    ExpectChainUnharmed(outcome, page);
  };
  RunSweep(sweep);
}

int32_t SetTag(SweepCall& call, SaveOptions* options, TifTagItem* list, TifMarkerBlock* markers) {
  FilterSetTagRequest request = {call.Name(), list, markers, options};
  return call.Enter("fltSetTag", "fltSetTagTIF") ? fltSetTagTIF(&request) : fltSetTag(&request);
}

TEST(EditSweep, Tags) {
  for (const FileOrder order : kBothOrders) {
    char longText[40] = "a longer text than the one before";
    char text[20] = "a text";
    uint16_t shorts[] = {1, 2, 3, 4};
    TifTagItem last = {33001, kTypeShort, 4, shorts, nullptr};
    TifTagItem added = {33000, kTypeAscii, 33, longText, &last};
    TifTagItem over = {270, kTypeAscii, 6, text, nullptr}; // fits its old place
    TifTagItem outgrown = {270, kTypeAscii, 33, longText, nullptr};
    TifTagItem inside = {256, kTypeShort, 1, shorts, nullptr}; // stands in the entry
    const struct {
      const char* name;
      TifTagItem* list;
    } edits[] = {
        {"new tags", &added}, {"tag over an old one", &over}, {"outgrown tag", &outgrown}, {"inline tag", &inside}};
    for (const auto& edit : edits) {
      SweepEdit(WithOrder(edit.name, order), ThreePages(order), 2, {},
                [&](SweepCall& call, SaveOptions* options) { return SetTag(call, options, edit.list, nullptr); });
    }
    SweepEdit(WithOrder("new tags of page 3", order), ThreePages(order), 3, {},
              [&](SweepCall& call, SaveOptions* options) { return SetTag(call, options, &added, nullptr); });
    SweepEdit(WithOrder("new tags of page 1", order), ThreePages(order), 1, {},
              [&](SweepCall& call, SaveOptions* options) { return SetTag(call, options, &added, nullptr); });
  }
}

// The block of a rich page is merged with every edit, and made even. Whatever that reports, the result is -1.
const ToldCodes kIptcCodes = {
    {kAllocs, "Iptc*", {kResultNoMemory}},
    {kSeeks | kReads | kWrites, "*.33723*", {kResultNoMemory}},
    {kSeeks, "seek.end", {kPasses}},
    {kSeeks, "seek.end*", {kPasses, kResultSeekFailed, kResultNoMemory}, Aftermath::kDiffers},
};

TEST(EditSweep, Markers) {
  TiffDirectory exif;
  exif.Rational(33434, {{1, 60}}).Undefined(37510, FileBytes(12, 66));
  TiffDirectory page;
  page.Ascii(271, "a maker's name").Undefined(40001, FileBytes(7, 5)).Child(34665, exif);
  TiffBuilder builder;
  builder.AddPage(page);
  MarkerInput markers(builder.Build());
  const ToldCodes told = {
      // A segment that cannot be read is none.
      {kAllocs, "vxkernel*", {kPasses}, Aftermath::kDiffers},
      {kAllocs, "DirectoryTree*", {kPasses}, Aftermath::kDiffers},
      {kAllocs, "TagBlocks*", {kPasses}, Aftermath::kDiffers},
      {kAllocs, "TagAccess*", {kPasses, kResultNoMemory}, Aftermath::kDiffers},
      {kReads | kSeeks, "memory", {kPasses}, Aftermath::kDiffers},
  };
  for (const FileOrder order : kBothOrders) {
    SweepEdit(WithOrder("markers", order), RichFile(order, 2), 1, {&told, &kIptcCodes},
              [&](SweepCall& call, SaveOptions* options) { return SetTag(call, options, nullptr, markers.Block()); });
  }
}

TEST(EditSweep, Comments) {
  const std::vector<std::vector<uint32_t>> choices = {{3}, {22, 37}, {43, 59}, {192}, {3, 22, 43, 192, 219}};
  for (const FileOrder order : kBothOrders) {
    for (const auto& numbers : choices) {
      SweepEdit(WithOrder("comments from " + std::to_string(numbers[0]), order), RichFile(order, 2), 1, {&kIptcCodes},
                [&](SweepCall& call, SaveOptions* options) {
                  CommentSlots slots;
                  for (const uint32_t number : numbers) {
                    const size_t size = number == 22 ? 20 : number == 43 ? 24 : 30;
                    slots.Set(number, Telling(size));
                  }
                  FilterSetCommentRequest request = {call.Name(), 0, options, slots.Block(), nullptr};
                  return call.Enter("fltSetComment", "fltSetCommentTIF") ? fltSetCommentTIF(&request)
                                                                         : fltSetComment(&request);
                });
    }
    // A GPS directory that the page does not have yet.
    SweepEdit(WithOrder("new GPS directory", order), ThreePages(order), 2, {&kIptcCodes},
              [&](SweepCall& call, SaveOptions* options) {
                CommentSlots slots;
                slots.Set(43, Telling(24)).Set(192, Telling(30));
                FilterSetCommentRequest request = {call.Name(), 0, options, slots.Block(), nullptr};
                return call.Enter("fltSetComment", "fltSetCommentTIF") ? fltSetCommentTIF(&request)
                                                                       : fltSetComment(&request);
              });
  }
}

// What becomes of the packing and writing of keys is not looked at.
TEST(EditSweep, GeoKeys) {
  const ToldCodes told = {
      {kAllocs, "GeoKeyWriter*", {kPasses}, Aftermath::kDiffers},
      {kAllocs, "GeoKeyReader*", {kResultNoMemory}},
      {kAllocs, "DirectoryTree*", {kResultNoMemory}},
      {kAllocs, "TagRecords*", {kResultNoMemory}},
      {kReads, "p1.3473*", {kResultReadFailed}},
      {kSeeks, "p1.3473*", {kResultSeekFailed}, Aftermath::kSame, {}, 1},
      {kSeeks | kWrites, "*.3473*", {kPasses}, Aftermath::kDiffers, {kPasses, kResultWriteFailed}},
  };
  const ToldCodes keys = {
      {kAllocs, "GeoKeyWriter", {kResultNoMemory}}, // the list of the old keys grows
  };
  uint16_t two = 2;
  double axes[] = {6378137.0, 298.25};
  char text[] = "a longer name of a datum";
  TifGeoKeyItem third = {3073, kTypeAscii, sizeof text, text, nullptr};
  TifGeoKeyItem second = {2058, kTypeDouble, 2, axes, &third};
  TifGeoKeyItem first = {1024, kTypeShort, 1, &two, &second};
  const auto set = [&](SweepCall& call, SaveOptions* options) {
    FilterSetGeoKeyRequest request = {call.Name(), options, &first};
    return call.Enter("fltSetGeoKey", "fltSetGeoKeyTIF") ? fltSetGeoKeyTIF(&request) : fltSetGeoKey(&request);
  };
  for (const FileOrder order : kBothOrders) {
    SweepEdit(WithOrder("geo keys over old ones", order), RichFile(order, 2), 1, {&keys, &told, &kIptcCodes}, set);
    SweepEdit(WithOrder("new geo keys", order), ThreePages(order), 2, {&told, &kIptcCodes}, set);
  }
}

} // namespace
