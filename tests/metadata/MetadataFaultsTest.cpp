// Every allocation, read, seek, write and open of comment calls fails once and from then on: the code that is told, no
// leak, and an old page that stays as it was.

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <numeric>

#include "metadata/CommentInput.h"
#include "metadata/MarkerInput.h"

namespace {

constexpr IoCall kIoCalls[] = {IoCall::kOpen, IoCall::kRead, IoCall::kWrite, IoCall::kSeek};
constexpr FaultSpan kSpans[] = {FaultSpan::kOnce, FaultSpan::kFromThenOn};

// A page with all four homes.
FileBytes FullFile(FileOrder order) {
  TiffDirectory exif;
  exif.Undefined(36864, {'0', '2', '2', '1'}).Ascii(36867, "2024:01:02 03:04:05").Short(34855, {100, 200, 400});
  exif.Rational(37386, {{50, 1}}).Undefined(37510, Telling(9)).Sort();
  TiffDirectory gps;
  gps.Byte(0, {2, 2, 0, 0}).Rational(2, {{1, 1}, {2, 1}, {3, 1}});
  TiffDirectory page = GrayPage(4, 4);
  page.Ascii(315, "A. Painter");
  page.Byte(33723, {0x1C, 2, 25, 0, 1, 'a', 0x1C, 2, 25, 0, 1, 'b', 0x1C, 2, 90, 0, 4, 'R', 'o', 'm', 'e', 0});
  page.Child(34665, std::move(exif)).Child(34853, std::move(gps));
  return FileWithPage(order, std::move(page));
}

using Codes = std::vector<int32_t>;

// The results of one call as each of its I/O calls of a kind fails, in the order of the calls.
template <typename Call> Codes ResultsOf(IoCall kind, FaultSpan span, Call call) {
  Codes codes;
  for (uint64_t nth = 1;; ++nth) {
    IoFaults faults;
    faults.Fail(kind, nth, span);
    const int32_t result = call();
    if (faults.Calls(kind) < nth) {
      return codes;
    }
    codes.push_back(result);
  }
}

template <typename Call> Codes ResultsOfAllocations(FaultSpan span, Call call) {
  Codes codes;
  for (uint64_t nth = 1;; ++nth) {
    AllocFaults faults(nth, span);
    const int32_t result = call();
    if (faults.Calls() < nth) {
      return codes;
    }
    codes.push_back(result);
  }
}

void ExpectAllIn(const Codes& codes, std::initializer_list<int32_t> told) {
  for (size_t i = 0; i < codes.size(); ++i) {
    EXPECT_TRUE(std::find(told.begin(), told.end(), codes[i]) != told.end())
        << "call " << i + 1 << " of " << codes.size() << " gave " << codes[i];
  }
}

class MetadataFaults : public testing::TestWithParam<FileOrder> {};

INSTANTIATE_TEST_SUITE_P(Orders, MetadataFaults, testing::Values(FileOrder::kLittle, FileOrder::kBig), OrderName);

TEST_P(MetadataFaults, ReadingGivesTheToldCodes) {
  const TempFile file(FullFile(GetParam()));
  for (const FaultSpan span : kSpans) {
    for (const uint32_t number : {kCommentArtist, kCommentDateTimeOriginal, kCommentISOSpeedRatings,
                                  kCommentFocalLength, kCommentUserComment, kCommentGPSLatitude, kCommentKeywords}) {
      SCOPED_TRACE(number);
      const auto get = [&] { return GetComment(file, number, 40).result; };
      EXPECT_EQ(ResultsOf(IoCall::kOpen, span, get), Codes{kResultOpenFailed});
      const Codes reads = ResultsOf(IoCall::kRead, span, get);
      ASSERT_GT(reads.size(), 3u);
      EXPECT_EQ(reads[0], kResultNotTiff) << "the header";
      ExpectAllIn(Codes(reads.begin() + 1, reads.end()), {kResultReadFailed});
      const Codes allocations = ResultsOfAllocations(span, get);
      EXPECT_EQ(allocations, number == kCommentKeywords ? Codes{kResultNoMemory} : Codes{});
      // A seek to the start that fails leaves the header unread; others are told or found out by the read behind them.
      ExpectAllIn(ResultsOf(IoCall::kSeek, span, get),
                  {kResultSeekFailed, kResultReadFailed, kResultNotTiff, GetComment(file, number, 40).result});
      EXPECT_EQ(ResultsOf(IoCall::kWrite, span, get), Codes{});
    }
  }
}

TEST_P(MetadataFaults, ReadingAMakerNoteFallsBackToItsBytes) {
  TiffDirectory exif;
  exif.Undefined(37500, Telling(40));
  const TempFile file(FileWithPage(GetParam(), PageWithChild(34665, std::move(exif))));
  const auto get = [&] { return GetComment(file, kCommentMakerNote, 40).result; };
  for (const FaultSpan span : kSpans) {
    ExpectAllIn(ResultsOfAllocations(span, get), {40});
    ExpectAllIn(ResultsOf(IoCall::kRead, span, get), {kResultNotTiff, kResultReadFailed, 40});
    ExpectAllIn(ResultsOf(IoCall::kSeek, span, get), {kResultNotTiff, kResultReadFailed, kResultSeekFailed, 40});
  }
}

// Sets comments of all homes, with markers that bring more of each; every directory grows.
int32_t SetAll(const TempFile& file) {
  TiffDirectory markerExif;
  markerExif.Ascii(36868, "1999:01:02 03:04:05").Undefined(37500, Telling(30));
  TiffBuilder tiff(FileOrder::kBig);
  tiff.AddPage().Ascii(271, "Maker").Child(34665, std::move(markerExif)).Child(34853, TiffDirectory().Ascii(1, "N"));
  MarkerInput markers(tiff.Build());
  CommentSlots slots;
  slots.Text(kCommentImageDescription, "A tower in a town")
      .Text(kCommentCaption, "A tower")
      .Text(kCommentKeywords, "c\1d");
  slots.Set(kCommentFNumber, {28, 0, 0, 0, 10, 0, 0, 0}).Set(kCommentGPSAltitude, {100, 0, 0, 0, 1, 0, 0, 0});
  return SetComments(file, slots, nullptr, markers.Block());
}

TEST_P(MetadataFaults, EditsGiveTheToldCodesAndLeaveTheOldPage) {
  const FileBytes before = FullFile(GetParam());
  FileBytes good;
  {
    const TempFile file(before);
    ASSERT_EQ(SetAll(file), kResultOk);
    good = file.Read();
  }
  FileBytes after; // of the last edit
  const auto edit = [&] {
    const TempFile file(before);
    const int32_t result = SetAll(file);
    after = file.Read();
    const FileBytes whole = after;
    EXPECT_GE(after.size(), before.size());
    after.resize(before.size());
    if (result != kResultOk) {
      EXPECT_EQ(after, before) << "a failed edit leaves all old bytes, the link word too";
    }
    after = whole;
    return result;
  };
  // A pad byte that cannot be written is nobody's loss: what follows stands at its even place all the same.
  const auto editWithoutPads = [&] {
    const int32_t result = edit();
    if (result != kResultOk) {
      return result;
    }
    EXPECT_EQ(after.size(), good.size());
    const auto differing =
        std::inner_product(after.begin(), after.end(), good.begin(), 0, std::plus<>(), std::not_equal_to<>());
    EXPECT_LE(differing, 1);
    return int32_t{kResultWriteFailed};
  };
  for (const FaultSpan span : kSpans) {
    EXPECT_EQ(ResultsOf(IoCall::kOpen, span, edit), Codes{kResultOpenFailed});
    const Codes allocations = ResultsOfAllocations(span, edit);
    EXPECT_GT(allocations.size(), 8u);
    ExpectAllIn(allocations, {kResultNoMemory, kResultOk}); // without memory the markers count as none
    const Codes reads = ResultsOf(IoCall::kRead, span, edit);
    EXPECT_GT(reads.size(), 6u);
    ExpectAllIn(reads, {kResultNotTiff, kResultReadFailed, kResultNoMemory, kResultOk});
    const Codes writes = ResultsOf(IoCall::kWrite, span, editWithoutPads);
    EXPECT_GT(writes.size(), 10u);
    ExpectAllIn(writes, {kResultWriteFailed, kResultNoMemory}); // -1 is what a failed IPTC merge gives
    const Codes seeks = ResultsOf(IoCall::kSeek, span, edit);
    EXPECT_GT(seeks.size(), 10u);
    ExpectAllIn(seeks,
                {kResultNotTiff, kResultReadFailed, kResultSeekFailed, kResultNoMemory, kResultWriteFailed, kResultOk});
  }
}

TEST_P(MetadataFaults, ShortWritesAreWriteFailures) {
  const FileBytes before = FullFile(GetParam());
  for (uint64_t nth = 1;; ++nth) {
    const TempFile file(before);
    IoFaults faults;
    faults.Shorten(IoCall::kWrite, nth, 1);
    const int32_t result = SetAll(file);
    if (faults.Calls(IoCall::kWrite) < nth) {
      EXPECT_EQ(result, kResultOk);
      break;
    }
    // A write of one byte is not shortened by that.
    EXPECT_TRUE(result == kResultWriteFailed || result == kResultNoMemory || result == kResultOk)
        << nth << " " << result;
  }
}

} // namespace
