// The told codes of reading: see the header.

#include "faults/ReadCodes.h"

#include <vxtif/results.h>

namespace {

// Strip offsets of chance lead anywhere; with seeks failing on, to none.
const std::vector<int32_t> kChanceOffsets = {kPasses, kResultReadFailed, kResultSeekFailed};

ToldCodes ParserCodes(int32_t refused) {
  return {
      {kAllocs, "PageParser", {refused}},
      {kAllocs, "StripTables*", {refused}},
      {kAllocs, "PageFixups", {refused}},
      {kAllocs, "PrivateDirectory*", {refused}},
      {kAllocs, "StripOrder*", {refused}},
      {kAllocs, "VendorQuirks*", {kPasses}}, // the Make is then nobody's
      {kReads, "p*.entry.*", {refused}},
      {kSeeks, "tell.2@*", {refused}}, // the place to come back to from a private directory
      {kSeeks, "tell*", {kPasses}},
      {kSeeks, "end", {kPasses}},              // back to a place that was not learned
      {kReads | kSeeks, "p*.next", {kPasses}}, // counts as 0; nothing is read behind the page
      {kReads | kSeeks, "p*.282", {kPasses}},  // resolutions stay 0
      {kReads | kSeeks, "p*.283", {kPasses}},
      // Seeks to values are not looked at: what stands behind the directory is then taken for them.
      {kSeeks, "p*.258", {kPasses, refused}, Aftermath::kDiffers},
      {kSeeks, "p*.273", {kPasses, kResultReadFailed}, Aftermath::kDiffers, kChanceOffsets},
      {kSeeks, "p*.279", {kPasses, kResultReadFailed}, Aftermath::kDiffers, kChanceOffsets},
      {kSeeks, "p*.324", {kPasses, kResultReadFailed}, Aftermath::kDiffers, kChanceOffsets},
      {kSeeks, "p*.325", {kPasses, kResultReadFailed}, Aftermath::kDiffers, kChanceOffsets},
      {kSeeks, "p*.529", {kPasses, refused}, Aftermath::kDiffers},
      {kSeeks, "p*.532", {kPasses, refused}, Aftermath::kDiffers},
      {kSeeks, "p*.33466", {kPasses}, Aftermath::kDiffers},
      {kSeeks, "p*.33467", {refused}},
      {kSeeks, "p*.50234", {refused}},
      {kSeeks, "p*.50234+", {kPasses}, Aftermath::kDiffers},
      {kReads, "p*.258*", {refused}},
      {kReads, "p*.273", {refused}},
      {kReads, "p*.279", {refused}},
      {kReads, "p*.324", {refused}},
      {kReads, "p*.325", {refused}},
      {kReads, "p*.291", {refused}},
      {kReads, "p*.529", {refused}},
      {kReads, "p*.532*", {refused}},
      {kReads, "p*.33466*", {kPasses}},
      {kReads, "p*.33467*", {kPasses, refused}, Aftermath::kDiffers}, // an index of chance
      {kReads, "p*.50234*", {refused}},
      {kReads | kSeeks, "p*.271", {kPasses}},
      {kReads | kSeeks, "p*.305*", {kPasses}},
  };
}

} // namespace

const ToldCodes kOpenCodes = {
    {kOpens, "open.read", {kResultOpenFailed}},
    {kSeeks, "seek.end", {kPasses}},
    // The file then stands at its end, where no header is; unless the seek to the end has failed, too.
    {kSeeks, "header", {kResultNotTiff}, Aftermath::kSame, {kResultNotTiff, kPasses}},
    {kReads, "header", {kResultNotTiff}},
    {kSeeks, "p*.count", {kResultSeekFailed}},
    {kReads, "p*.count", {kResultReadFailed}},
};

const ToldCodes kWalkCodes = {
    {kSeeks, "skip.p1.next", {kResultSeekFailed}},
    {kReads, "p1.next", {kResultReadFailed}},
};

const ToldCodes kChainCodes = {
    {kSeeks, "skip.p*.next", {kResultSeekFailed}},
    {kReads, "p*.next", {kResultReadFailed}},
};

const ToldCodes kLoadParserCodes = ParserCodes(kResultNotTiff);
const ToldCodes kInfoParserCodes = ParserCodes(kResultRefused);

const ToldCodes kLoadDriverCodes = {
    {kAllocs, "PageOpening*", {kResultNoMemory}},
    {kAllocs, "LoadDriver*", {kResultNoMemory}},
    {kAllocs, "PagePalette*", {kResultNoMemory}},
    {kAllocs, "ToneTable*", {kResultNoMemory}},
    {kAllocs, "Planes*", {kResultNoMemory}},
    {kAllocs, "PlaneMerge*", {kResultNoMemory}},
    {kAllocs, "WideSamples*", {kResultNoMemory}},
    {kAllocs, "StripDecode*", {kResultNoMemory}},
    {kAllocs, "PackBitsStrip*", {kResultNoMemory}},
    {kSeeks, "p*.entry.*", {kResultSeekFailed}}, // by an offset of chance
    {kSeeks, "p*.320", {kResultSeekFailed}},
    {kReads, "p*.320", {kResultReadFailed}},
    {kAllocs, "vxkernel*", {kResultNoMemory}}, // temporary bitmaps
    {kAllocs, "StripRepair*", {kPasses}},      // a large strip is then not split
    // The band is halved as long as it can be.
    {kAllocs, "StripReader*", {kPasses}, Aftermath::kSame, {kResultNoMemory}},
};

const ToldCodes kEditCodes = {
    {kOpens, "open.edit", {kResultOpenFailed}},
    {kSeeks, "seek.end", {kPasses}},
    {kSeeks, "header", {kResultNotTiff}, Aftermath::kSame, {kResultNotTiff, kPasses}},
    {kReads, "header", {kResultNotTiff}},
    {kReads, "p*.count", {kResultReadFailed}},
    {kReads, "p*.entry.*", {kResultReadFailed}},
    {kReads, "p*.next", {kPasses}, Aftermath::kDiffers}, // counts as 0, and is written back so
    {kAllocs, "TagAccess*", {kResultNoMemory}},
    {kAllocs, "CommentEditor*", {kResultNoMemory}},
    // Where the old value cannot be looked at the new one goes to the end of the file, which has to be found.
    {kSeeks, "seek.end*", {kPasses, kResultSeekFailed}, Aftermath::kDiffers},
    {kSeeks, "*", {kResultSeekFailed}},
    {kWrites, "*.40000+", {kPasses}, Aftermath::kDiffers}, // a pad at the odd end of the file
    {kWrites, "*", {kResultWriteFailed}},
};
