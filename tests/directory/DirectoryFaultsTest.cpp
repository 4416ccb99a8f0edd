// Every allocation, seek and write of a directory fails once and from then on: the codes that are told, what goes
// unnoticed, and no leak.

#include <algorithm>

#include "directory/DirectoryInput.h"
#include "metadata/MarkerInput.h"

namespace {

constexpr FaultSpan kSpans[] = {FaultSpan::kOnce, FaultSpan::kFromThenOn};

// A page with something from every part of the writer, in three strips, as the only page of a new file.
class FullPage {
public:
  explicit FullPage(FileOrder order) : input(order) {
    input.Depth(8, kOrderGray).Palette({{1, 2, 3, 0}});
    input.descriptor.lowBit = 2;
    input.byteCounts = {6, 6, 6};
    input.stateFlags = kStateExifIfd | kStateGeoKeys;
    slots.Text(kCommentImageDescription, "described").Text(kCommentCity, "Paris").Text(kCommentGPSLatitudeRef, "N");
    slots.Text(kCommentDateTimeOriginal, "2024:01:02 03:04:05").Text(kCommentUserComment, "a comment");
    input.Comments(slots);
    items.Text(40000, "of the list");
    input.job.tagList = items.Head();
    TiffBuilder tiff(FileOrder::kBig);
    tiff.AddPage().Ascii(40001, "of the markers").Child(34665, TiffDirectory().Ascii(36868, "1999:01:02 03:04:05"));
    markers.Exif(tiff.Build());
    input.job.markers = markers.Block();
    input.job.geoKeys = &key;
  }

  // The directory alone: the file has been prepared before the faults begin.
  template <typename Faults> int32_t WriteWith(Faults faults) {
    const KernelGuard guard;
    input.job.stripCount = 3;
    input.job.byteCounts = input.byteCounts.data();
    TifFile file = {};
    EXPECT_EQ(TIFPrepareFileForPage(input.file.Name(), &file, &input.options, 0, kTifVersion), kResultOk);
    file.stateFlags |= input.stateFlags;
    const int32_t result = faults([&] { return TIFWriteDirectory(&file, &input.job); });
    krnFileClose(file.fileHandle);
    return result;
  }

  DirectoryInput input;
  CommentSlots slots;
  TagItems items;
  MarkerInput markers;
  uint8_t model[2] = {2, 0};
  TifGeoKeyItem key = {1024, 3, 1, model, nullptr};
};

class DirectoryFaults : public testing::TestWithParam<FileOrder> {
protected:
  // The results as each call of a kind fails, in the order of the calls.
  std::vector<int32_t> Results(IoCall kind, FaultSpan span) {
    std::vector<int32_t> results;
    for (bool struck = true; struck;) {
      FullPage page(GetParam());
      const int32_t result = page.WriteWith([&](auto write) {
        IoFaults faults;
        faults.Fail(kind, results.size() + 1, span);
        const int32_t written = write();
        struck = faults.Calls(kind) > results.size();
        return written;
      });
      if (struck) {
        results.push_back(result);
      } else {
        EXPECT_EQ(result, kResultOk);
      }
    }
    return results;
  }
};

INSTANTIATE_TEST_SUITE_P(Orders, DirectoryFaults, testing::Values(FileOrder::kLittle, FileOrder::kBig), OrderName);

TEST_P(DirectoryFaults, Allocations) {
  for (const FaultSpan span : kSpans) {
    std::vector<int32_t> results;
    for (bool struck = true; struck;) {
      FullPage page(GetParam());
      const int32_t result = page.WriteWith([&](auto write) {
        const AllocFaults faults(results.size() + 1, span);
        const int32_t written = write();
        struck = faults.Calls() > results.size();
        return written;
      });
      if (struck) {
        results.push_back(result);
      }
    }
    ASSERT_GT(results.size(), 8u);
    EXPECT_EQ(results[0], kResultNoMemory) << "the IPTC block comes first";
    for (const int32_t result : results) {
      // Markers without memory count as none; keys that cannot be packed are not reported; the GPS records give -4.
      EXPECT_TRUE(result == kResultNoMemory || result == kResultOk || result == kResultSeekFailed) << result;
      if (span == FaultSpan::kFromThenOn) {
        EXPECT_NE(result, kResultOk);
      }
    }
  }
}

TEST_P(DirectoryFaults, Writes) {
  for (const FaultSpan span : kSpans) {
    const std::vector<int32_t> results = Results(IoCall::kWrite, span);
    ASSERT_GT(results.size(), 20u);
    for (size_t i = 0; i < results.size(); ++i) {
      EXPECT_TRUE(results[i] == kResultWriteFailed || results[i] == kResultOk) << i << " gave " << results[i];
      // The strip tables go out behind the entries, unwatched: two writes. A disk that is full by then is found out by
      // nobody here, one that is full earlier by the entries.
      if (span == FaultSpan::kFromThenOn) {
        EXPECT_EQ(results[i], i + 2 < results.size() ? kResultWriteFailed : kResultOk) << i;
      }
    }
  }
}

TEST_P(DirectoryFaults, Seeks) {
  for (const FaultSpan span : kSpans) {
    const std::vector<int32_t> results = Results(IoCall::kSeek, span);
    ASSERT_GT(results.size(), 10u);
    EXPECT_EQ(results.back(), kResultSeekFailed) << "the seek back to the data";
    for (size_t i = 0; i < results.size(); ++i) {
      // Markers that cannot be read count as none; the place of a GeoTIFF tag is not reported.
      const bool told = results[i] == kResultSeekFailed || results[i] == kResultOk ||
                        (span == FaultSpan::kFromThenOn && results[i] == kResultWriteFailed);
      EXPECT_TRUE(told) << i << " gave " << results[i];
      if (span == FaultSpan::kFromThenOn) {
        EXPECT_NE(results[i], kResultOk) << i;
      }
    }
  }
}

// The results as each seek of a directory without foreign values fails, but for those of preparing the file.
std::vector<int32_t> SeekFailures(void (*setUp)(DirectoryInput*, CommentSlots*), FileOrder order) {
  std::vector<int32_t> results;
  for (bool struck = true; struck;) {
    DirectoryInput input(order);
    CommentSlots slots;
    setUp(&input, &slots);
    input.Comments(slots);
    IoFaults faults;
    faults.Fail(IoCall::kSeek, results.size() + 1);
    input.Write();
    struck = input.result != kResultOk;
    if (struck) {
      results.push_back(input.result);
    }
  }
  return results;
}

TEST_P(DirectoryFaults, EverySeekOfTheWritersOwnIsTold) {
  // Over the entries, the place behind them, IPTC block, colour map, tone block, data, back to the entries, to the
  // data.
  EXPECT_EQ(SeekFailures(
                [](DirectoryInput* input, CommentSlots* slots) {
                  input->Depth(8, kOrderGray).Palette({{1, 2, 3, 0}});
                  input->descriptor.lowBit = 2;
                  slots->Text(kCommentCity, "Paris");
                },
                GetParam()),
            std::vector<int32_t>(8, kResultSeekFailed));
  // Over the entries, the place behind them, the tile order, data, back to the entries, to the data.
  EXPECT_EQ(SeekFailures(
                [](DirectoryInput* input, CommentSlots*) {
                  input->Depth(1).Palette({{255, 255, 255, 0}, {0, 0, 0, 0}});
                  input->descriptor.width = 1500;
                  input->job.compression = kCompressionGroup4;
                  input->job.tileWidth = input->job.rowsPerStrip = 512;
                  input->byteCounts = {6, 6, 6};
                  input->stateFlags = kStateVariantFile;
                },
                GetParam()),
            std::vector<int32_t>(6, kResultSeekFailed));
  // An Exif and a GPS directory, each with a place to be taken and seeks of its own writer.
  const std::vector<int32_t> results = SeekFailures(
      [](DirectoryInput* input, CommentSlots* slots) {
        input->stateFlags = kStateExifIfd;
        slots->Text(kCommentDateTimeOriginal, "2024:01:02 03:04:05").Text(kCommentGPSMapDatum, "WGS-84");
      },
      GetParam());
  EXPECT_LT(7u, results.size());
  EXPECT_EQ(results, std::vector<int32_t>(results.size(), kResultSeekFailed));
}

TEST_P(DirectoryFaults, HeaderThatCannotBeWrittenLeavesTheEntryCountAlone) {
  DirectoryInput input(GetParam());
  IoFaults faults;
  faults.Fail(IoCall::kWrite, 1, FaultSpan::kFromThenOn);
  input.Write();
  EXPECT_EQ(input.result, kResultWriteFailed);
  EXPECT_EQ(input.entryCount, 0u);
}

TEST_P(DirectoryFaults, SeekOverTheReservedEntriesIsTold) {
  DirectoryInput input(GetParam());
  IoFaults faults;
  faults.Fail(IoCall::kSeek, 1);
  input.Write();
  EXPECT_EQ(input.result, kResultSeekFailed) << "values would stand where the entries go";
}

} // namespace
