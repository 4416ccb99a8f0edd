// The told codes of writing: see the header.

#include "faults/WriteCodes.h"

#include <vxtif/results.h>

namespace {

// A file that cannot be opened for editing, or has no header, is begun anew. What else fails before the link is written
// leaves the file as it was, with -7; the link itself with -5. The numbers and marks of other pages may stay undone.
ToldCodes Into(const ToldCodes& link) {
  ToldCodes codes = {
      {kOpens, "open.edit", {kPasses}, Aftermath::kDiffers},
      {kSeeks, "seek.end", {kResultReadFailed}},
      {kSeeks, "seek.end.2", {kPasses}},
      {kSeeks, "header", {kPasses}, Aftermath::kDiffers, {kPasses, kResultSeekFailed}},
      {kReads, "header", {kPasses}, Aftermath::kDiffers},
  };
  codes.insert(codes.end(), link.begin(), link.end());
  const ToldCodes rest = {
      {kSeeks | kReads | kWrites, "header.first", {kPasses}, Aftermath::kDiffers},
      {kSeeks | kReads | kWrites, "p*.entry.*", {kPasses}, Aftermath::kDiffers},
      {kSeeks | kReads | kWrites, "p*.word.*", {kPasses}, Aftermath::kDiffers},
      {kSeeks, "skip.p*", {kPasses}, Aftermath::kDiffers},
      {kSeeks | kReads, "p*.count", {kPasses}, Aftermath::kDiffers},
      {kSeeks | kReads | kWrites, "p*.next", {kPasses}, Aftermath::kDiffers}, // of page numbers, and of the undoing
  };
  codes.insert(codes.end(), rest.begin(), rest.end());
  return codes;
}

} // namespace

const ToldCodes* CodesOfPlace(Where where) {
  static const ToldCodes kAppended = Into({
      {kSeeks | kReads, "p*.count", {kResultReadFailed}, Aftermath::kSame, {}, 1},
      {kSeeks, "skip.p*.next", {kResultReadFailed}},
      {kReads, "p*.next", {kResultReadFailed}, Aftermath::kSame, {}, 1},
      {kSeeks, "p3.entry.254", {kResultReadFailed}, Aftermath::kSame, {}, 1}, // back from the end of the chain
      {kSeeks | kWrites, "p3.next", {kResultWriteFailed}},
  });
  static const ToldCodes kSecond = Into({
      {kSeeks | kReads, "p1.count", {kResultReadFailed}, Aftermath::kSame, {}, 1},
      {kSeeks | kReads, "p2.count", {kResultReadFailed}, Aftermath::kSame, {}, 1},
      {kSeeks, "skip.p1.next", {kResultReadFailed}, Aftermath::kSame, {}, 1},
      {kReads, "p1.next", {kResultReadFailed}, Aftermath::kSame, {}, 1},
      {kSeeks, "p1.next", {kResultWriteFailed}, Aftermath::kSame, {}, 1},
      {kWrites, "p1.next", {kResultWriteFailed}, Aftermath::kSame, {}, 1},
  });
  return where == Where::kAppend ? &kAppended : &kSecond;
}

const ToldCodes kSaveCodes = {
    {kOpens, "open.create", {kResultCreateFailed}},
    {kAllocs, "SavePages*", {kResultNoMemory}},
    {kAllocs, "StripLayout*", {kResultNoMemory}},
    {kSeeks, "seek.end*", {kPasses}}, // of the undoing
};

const ToldCodes kWrittenDirectoryCodes = {
    {kAllocs, "DirectoryWriter", {kResultNoMemory}},
    // A header, values and tables that do not arrive are not noticed: a disk that is full by then fails the entries.
    {kWrites, "header*", {kPasses}, Aftermath::kDiffers, {kPasses, kResultWriteFailed}},
    {kWrites, "new*.count", {kPasses}, Aftermath::kDiffers, {}, 1},
    {kWrites, "new*.next", {kPasses}, Aftermath::kDiffers, {}, 1},
    {kWrites, "new*.entry.*", {kResultWriteFailed}},
    {kWrites, "new*.count", {kResultWriteFailed}},
    {kWrites, "new*.next", {kResultWriteFailed}},
    {kSeeks, "new*.*", {kResultSeekFailed}},
    {kSeeks, "skip.new*.*", {kResultSeekFailed}},
    // The end of a directory for which more entries are reserved than come.
    {kSeeks, "skip.between", {kResultSeekFailed}},
    {kWrites, "between", {kPasses}, Aftermath::kDiffers, {kPasses, kResultWriteFailed}},
    {kSeeks, "tell*", {kResultSeekFailed}},
    // What is not noticed moves all that follows nearer, as far as failures that are noticed.
    {kWrites, "new*.*", {kPasses}, Aftermath::kDiffers, {kPasses, kResultWriteFailed}},
};

// The second visits of entries and tables.
const ToldCodes kPatchCodes = {
    {kSeeks, "new.entry.254", {kResultSeekFailed}, Aftermath::kSame, {}, 1},
    {kSeeks, "new.entry.256", {kResultSeekFailed}, Aftermath::kSame, {}, 1}, // the first of a variant page
    {kSeeks, "new.entry.*", {kPasses}, Aftermath::kDiffers},
    {kSeeks | kWrites, "new.273*", {kPasses}, Aftermath::kDiffers, {}, 2},
    {kSeeks, "new.279", {kPasses}, Aftermath::kDiffers},
    {kSeeks | kWrites, "new.324*", {kPasses}, Aftermath::kDiffers, {}, 2},
    {kSeeks, "new.325", {kPasses}, Aftermath::kDiffers},
    {kReads, "new.*", {kPasses}, Aftermath::kDiffers},
    {kSeeks, "tell*@new.entry.*", {kPasses}, Aftermath::kDiffers},
    {kSeeks, "skip.new.entry.*", {kPasses}, Aftermath::kDiffers},
    {kSeeks | kWrites, "new.word.*", {kPasses}, Aftermath::kDiffers},
};

const ToldCodes kCompactCodes = {
    // The source.
    {kOpens, "open.read", {kResultOpenFailed}},
    {kSeeks, "seek.end*", {kPasses}},
    {kSeeks, "header", {kResultNotTiff}, Aftermath::kSame, {kResultNotTiff, kPasses}},
    {kReads, "header", {kResultNotTiff}},
    {kSeeks, "p1.count", {kResultSeekFailed}, Aftermath::kSame, {}, 1},
    {kReads, "p1.count", {kResultReadFailed}, Aftermath::kSame, {}, 1},
    {kSeeks | kReads, "p*.count", {kResultDirectoryUnreadable}},
    {kReads, "p*.entry.*", {kResultDirectoryUnreadable}},
    {kReads, "p*.next", {kPasses}, Aftermath::kDiffers}, // the last page, then
    {kAllocs, "DirectoryTree*", {kResultDirectoryUnreadable}},
    {kAllocs, "TagAccess*", {kResultDirectoryUnreadable}},
    {kAllocs, "TagBlocks*", {kResultDirectoryUnreadable}},
    {kSeeks | kReads, "p*.*", {kResultDirectoryUnreadable}},
    // The target.
    {kOpens, "to:open.create", {kResultCreateFailed}},
    {kAllocs, "Tree*", {kResultNoMemory}},
    {kSeeks, "to:new*.279", {kResultWriteFailed}}, // the table of byte counts
    {kSeeks, "to:new*.325", {kResultWriteFailed}},
    {kWrites, "to:*", {kResultWriteFailed}},
    {kSeeks, "to:*", {kResultSeekFailed}},
};
