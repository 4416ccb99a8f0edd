// 32-bit samples: stored, measured, and handed out in a second pass.

#include <cmath>

#include <gtest/gtest.h>

#include "load/LoadProbe.h"

namespace {

constexpr uint16_t kSigned = 2;
constexpr uint16_t kFloat = 3;

TiffDirectory IntegerPage(const std::vector<uint32_t>& samples, uint16_t format = 1,
                          FileOrder order = FileOrder::kLittle) {
  return Page(static_cast<uint32_t>(samples.size()), 1, {32}, 1).Strips({Longs(samples, order)}).Short(339, {format});
}

TiffDirectory FloatPage(const std::vector<float>& samples, FileOrder order = FileOrder::kLittle) {
  return Page(static_cast<uint32_t>(samples.size()), 1, {32}, 1).Strips({Floats(samples, order)}).Short(339, {kFloat});
}

TEST(WideSamples, IntegersPassAsTheyAre) {
  for (FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
    LoadProbe probe(FileOf(IntegerPage({7, 3, 0x80000001}, 1, order), order), 3, 1, 32, 12);
    EXPECT_EQ(probe.Load(), 1);
    EXPECT_EQ(probe.Pixels(), Longs({7, 3, 0x80000001}));
    EXPECT_EQ(+probe.bitmap.minValue, 3);
    EXPECT_EQ(static_cast<uint32_t>(probe.bitmap.maxValue), 0x80000001u);
    EXPECT_EQ(+probe.bitmap.order, uint32_t{kOrderGray});
    EXPECT_EQ(probe.rows.calls[0].flags, 3u + 4u + 8u);
    EXPECT_EQ(probe.rows.calls[0].bitmap, &probe.bitmap);
    EXPECT_EQ(+probe.bitmap.lookupTable, 0u); // the bitmap is 32 bits deep
  }
}

TEST(WideSamples, ShallowerBitmapsGetAToneTable) {
  LoadProbe probe(FileOf(IntegerPage({16, 1040})), 2, 1, 12, 8);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(+probe.bitmap.minValue, 16);
  EXPECT_EQ(+probe.bitmap.maxValue, 1040);
  const std::vector<VxColor> table = probe.LookupTable();
  ASSERT_EQ(table.size(), 4096u);
  EXPECT_EQ(table[15].red, 0);
  EXPECT_EQ(table[21].red, 63);
  EXPECT_EQ(table[1040].red, 255);
}

TEST(WideSamples, NegativeIntegersDoNotFit) {
  LoadProbe probe(FileOf(IntegerPage({5, 0xFFFFFFFF}, kSigned)), 2, 1, 16, 8);
  probe.options.flags = kReadKeepSigned;
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), Longs({5, 0xFFFFFFFF}));
  EXPECT_EQ(+probe.bitmap.minValue, 0);
  EXPECT_EQ(static_cast<uint32_t>(probe.bitmap.maxValue), 0xFFFFFFFFu);
  EXPECT_EQ(+probe.bitmap.lookupTable, 0u);
}

TEST(WideSamples, SignedIntegersAreClearedByteByByte) {
  LoadProbe probe(FileOf(IntegerPage({0x01FF8002, 0x7F000000}, kSigned)), 2, 1, 32, 8);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), Longs({0x01000002, 0x7F000000}));
}

TEST(WideSamples, RangeOfTheFileIsWidenedOnly) {
  LoadProbe probe(FileOf(IntegerPage({50, 60}).Long(280, {10}).Long(281, {55})), 2, 1, 32, 8);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(+probe.bitmap.minValue, 10);
  EXPECT_EQ(+probe.bitmap.maxValue, 60);
}

TEST(WideSamples, RangeTagsAreSigned) {
  LoadProbe probe(FileOf(IntegerPage({50, 60}).Long(280, {0xFFFFFFFE}).Long(281, {0xFFFFFFFF})), 2, 1, 32, 8);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(+probe.bitmap.minValue, 0); // -2 does not fit
  EXPECT_EQ(static_cast<uint32_t>(probe.bitmap.maxValue), 0xFFFFFFFFu);
}

TEST(WideSamples, FittingFloatsAreTruncated) {
  for (FileOrder order : {FileOrder::kLittle, FileOrder::kBig}) {
    LoadProbe probe(FileOf(FloatPage({1.9F, 0.5F, 300.99F}, order), order), 3, 1, 16, 12);
    EXPECT_EQ(probe.Load(), 1);
    EXPECT_EQ(probe.Pixels(), Longs({1, 0, 300}));
    EXPECT_EQ(+probe.bitmap.minValue, 0);
    EXPECT_EQ(+probe.bitmap.maxValue, 300);
    EXPECT_EQ(probe.LookupTable().size(), 65536u); // 0 to 300 of 16 bits
  }
}

TEST(WideSamples, TopOfTheFloatRangeSaturates) {
  LoadProbe probe(FileOf(FloatPage({4294967296.0F, 0.0F})), 2, 1, 32, 8);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), Longs({0xFFFFFFFF, 0}));
}

TEST(WideSamples, OtherFloatsSpreadOverTheWholeRange) {
  LoadProbe probe(FileOf(FloatPage({-1.0F, 0.0F, 1.0F})), 3, 1, 32, 12);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), Longs({0, 0x80000000, 0xFFFFFFFF}));
  EXPECT_EQ(+probe.bitmap.minValue, 0);
  EXPECT_EQ(static_cast<uint32_t>(probe.bitmap.maxValue), 0xFFFFFFFFu);
}

TEST(WideSamples, EqualFloatsThatDoNotFitBecomeTheByte128) {
  // The range starts at 0 upward unless the file names one: -3 to -3.
  LoadProbe probe(
      FileOf(FloatPage({-3.0F, -3.0F}).Value(280, 9, 1, Longs({0xFFFFFFFD})).Value(281, 9, 1, Longs({0xFFFFFFFD}))), 2,
      1, 32, 8);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), FileBytes(8, 128));
}

TEST(WideSamples, NumbersThatAreNoneBecomeZero) {
  LoadProbe probe(FileOf(FloatPage({NAN, 5.0F, INFINITY})), 3, 1, 32, 12);
  EXPECT_EQ(probe.Load(), 1);
  // An infinite range has no scale: 0 times infinity is none either.
  EXPECT_EQ(probe.Pixels(), Longs({0, 0, 0}));
}

TEST(WideSamples, SinkEndsTheSecondPass) {
  TiffDirectory page = Page(1, 3, {32}, 1).Strips({Longs({1, 2, 3})});
  LoadProbe probe(FileOf(page), 1, 3, 32, 4);
  probe.rows.refuseCall = 1;
  probe.rows.refusal = 0;
  EXPECT_EQ(probe.Load(), 0);
  EXPECT_EQ(probe.rows.calls.size(), 1u);
}

TEST(WideSamples, RowsBelowTheBitmapEndTheFirstPass) {
  TiffDirectory page = Page(1, 3, {32}, 1).Strips({Longs({1, 2, 3})});
  LoadProbe probe(FileOf(page), 1, 2, 32, 4);
  EXPECT_EQ(probe.Load(), 0); // a row that cannot be stored
}

TEST(WideSamples, ThreeSamplesStoreWhatFitsTheTemporaryRow) {
  TiffDirectory page = Page(2, 1, {32, 32, 32}, 2).Strips({Longs({1, 2, 3, 4, 5, 6})});
  LoadProbe probe(FileOf(page), 2, 1, 32, 8);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), Longs({1, 2}));
}

TEST(WideSamples, ToneRangeUpsideDownFails) {
  // Both passes would build a table; the first of them refuses the range before any row.
  LoadProbe probe(FileOf(IntegerPage({5, 6}).Long(280, {20}).Long(281, {10})), 2, 1, 16, 8);
  EXPECT_EQ(probe.Load(), kResultInvalidParameter);
  EXPECT_TRUE(probe.rows.calls.empty());
}

TEST(WideSamples, TruncatedPageKeepsItsWarning) {
  TiffDirectory page = Page(1, 2, {32}, 1).Strips({{}});
  TiffBuilder builder;
  builder.AddPage(page.Sort());
  FileBytes bytes = builder.Build();
  PutU32(bytes, builder.ValueOffset(0, 273), FileOrder::kLittle, static_cast<uint32_t>(bytes.size()));
  PutU32(bytes, builder.ValueOffset(0, 279), FileOrder::kLittle, 8);
  const FileBytes held = Longs({77});
  bytes.insert(bytes.end(), held.begin(), held.end());
  LoadProbe probe(bytes, 1, 2, 32, 4);
  EXPECT_EQ(probe.Load(), 1);
  EXPECT_EQ(probe.Pixels(), Longs({77, 0}));
  EXPECT_EQ(+probe.request.truncationStatus, kResultReadFailed);
}

} // namespace
