// Pages encoded by the codec and decoded again: all modes, strips and tiles, fill orders, end-of-line alignment.

#include <gtest/gtest.h>

#include "fax/FaxTestHost.h"
#include "support/KernelGuard.h"

namespace {

constexpr uint32_t kAllModes[] = {kFaxModifiedHuffman, kFaxT4OneDimensional, kFaxT4TwoDimensional, kFaxT6};

void ExpectRoundTrip(const TestPage& page, const FaxEncodeCall& encode) {
  const FaxEncoded encoded = EncodeFax(page, encode);
  ASSERT_EQ(encoded.result, 1);
  EXPECT_EQ(encoded.starts, 1u);
  EXPECT_EQ(encoded.ends, 1u);
  FaxDecodeCall decode;
  decode.format = encode.mode;
  decode.width = page.width;
  decode.height = page.height;
  decode.pieceWidth = encode.tileWidth;
  decode.rowsPerStrip = encode.tileHeight;
  decode.flags = encode.fillOptions == kFaxFillReverseBits ? uint32_t{kFaxFillOrder2} : 0u;
  const FaxDecoded decoded = DecodeFax(encoded.file, decode);
  ASSERT_EQ(decoded.result, 1);
  ASSERT_EQ(decoded.page.height, page.height);
  ASSERT_TRUE(decoded.page == page);
}

TEST(FaxRoundTrip, EveryModeAndKindOfPage) {
  const KernelGuard guard;
  uint64_t seed = 1;
  for (const uint32_t mode : kAllModes) {
    for (const PageKind kind : kAllPageKinds) {
      for (const int32_t width : {1, 7, 8, 31, 64, 65, 200, 1728, 2623, 2624, 6000}) {
        SCOPED_TRACE(testing::Message() << "mode " << mode << " kind " << static_cast<int>(kind) << " width " << width);
        FaxEncodeCall encode;
        encode.mode = mode;
        encode.yResolution = seed % 2 == 0 ? 98 : 196;
        encode.t4Options = seed % 3 == 0 ? 4 : 0;
        encode.fillOptions = seed % 5 == 0 ? uint32_t{kFaxFillReverseBits} : 0u;
        ExpectRoundTrip(MakePage(kind, width, 37, ++seed), encode);
      }
    }
  }
}

TEST(FaxRoundTrip, StripsAndTiles) {
  const KernelGuard guard;
  struct Size {
    uint32_t width;
    uint32_t height;
  };
  uint64_t seed = 100;
  for (const uint32_t mode : kAllModes) {
    for (const Size size : {Size{0, 1}, Size{0, 8}, Size{0, 1000}, Size{16, 16}, Size{64, 32}, Size{48, 1000},
                            Size{96, 17}, Size{5, 3}}) {
      for (const PageKind kind : {PageKind::kNoise, PageKind::kText, PageKind::kSkewed}) {
        SCOPED_TRACE(testing::Message() << "mode " << mode << " piece " << size.width << " x " << size.height);
        FaxEncodeCall encode;
        encode.mode = mode;
        encode.tileWidth = size.width;
        encode.tileHeight = size.height;
        encode.t4Options = seed % 2 == 0 ? 4 : 0;
        encode.fillOptions = seed % 5 == 0 ? uint32_t{kFaxFillReverseBits} : 0u;
        ++seed;
        ExpectRoundTrip(MakePage(kind, 150, 61, seed), encode);
        encode.marks = true;
        ExpectRoundTrip(MakePage(kind, 150, 61, seed), encode);
      }
    }
  }
}

TEST(FaxRoundTrip, WidePages) {
  const KernelGuard guard;
  for (const uint32_t mode : kAllModes) {
    for (const int32_t width : {200000, 200001, 1000003}) {
      FaxEncodeCall encode;
      encode.mode = mode;
      ExpectRoundTrip(MakePage(PageKind::kRuns, width, 5, static_cast<uint64_t>(width)), encode);
      ExpectRoundTrip(MakePage(PageKind::kWhite, width, 3, 0), encode);
      encode.tileWidth = 8192;
      encode.tileHeight = 4;
      ExpectRoundTrip(MakePage(PageKind::kRuns, width, 5, static_cast<uint64_t>(width)), encode);
    }
  }
}

} // namespace
