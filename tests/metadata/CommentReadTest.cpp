// Comments read from pages: every row of the tables in both byte orders, and the rules of types, sizes and buffers.

#include <initializer_list>

#include "metadata/CommentInput.h"
#include "metadata/KnownComments.h"

namespace {

constexpr uint16_t kExifIfd = 34665;
constexpr uint16_t kGpsIfd = 34853;

// A value for a row: its fixed size, or six bytes where any size is allowed.
FileBytes ValueFor(const known::TagComment& row) {
  return Telling(row.bytes == known::kAny ? 6 : static_cast<size_t>(row.bytes));
}

class CommentRead : public testing::TestWithParam<FileOrder> {
protected:
  FileBytes File(TiffDirectory page) const { return FileWithPage(GetParam(), std::move(page)); }
  FileBytes ExifFile(TiffDirectory exif) const { return File(PageWithChild(kExifIfd, std::move(exif))); }
  // The bytes of a host value as they stand in the file.
  FileBytes Stored(uint16_t type, const FileBytes& host) const { return InFileOrder(GetParam(), type, host); }
  TiffDirectory OneValue(uint16_t tag, uint16_t type, const FileBytes& host) const {
    TiffDirectory directory;
    const auto count = static_cast<uint32_t>(host.size() / FieldTypeSize(type));
    directory.Value(tag, type, count, Stored(type, host));
    return directory;
  }
  // One page whose Exif directory is a single entry of a value in host order.
  FileBytes ExifValue(uint16_t tag, uint16_t type, const FileBytes& host) const {
    return ExifFile(OneValue(tag, type, host));
  }

  void ExpectRow(const known::TagComment& row, uint16_t directoryTag) const {
    SCOPED_TRACE(row.name);
    const FileBytes host = ValueFor(row);
    TiffDirectory directory = OneValue(row.tag, row.type, host);
    TiffDirectory page = GrayPage(2, 2);
    if (directoryTag != 0) {
      page.Child(directoryTag, std::move(directory));
    } else {
      page.Value(row.tag, row.type, static_cast<uint32_t>(host.size()), host);
    }
    const TempFile file(File(std::move(page)));
    const auto size = static_cast<uint32_t>(host.size());
    EXPECT_EQ(CommentSize(file, row.number), static_cast<int32_t>(size));
    FileBytes more = host;
    more.resize(size + 3, 0xCC);
    EXPECT_EQ(GetComment(file, row.number, size + 3), (CommentAnswer{static_cast<int32_t>(size), more}));
  }
};

INSTANTIATE_TEST_SUITE_P(Orders, CommentRead, testing::Values(FileOrder::kLittle, FileOrder::kBig), OrderName);

TEST_P(CommentRead, EveryMainRow) {
  for (const known::TagComment& row : known::kMain) {
    ExpectRow(row, 0);
  }
}

TEST_P(CommentRead, EveryExifRow) {
  for (const known::TagComment& row : known::kExif) {
    if (row.number != kCommentMakerNote) { // tried as a directory first
      ExpectRow(row, kExifIfd);
    }
  }
}

TEST_P(CommentRead, EveryGpsRow) {
  for (const known::TagComment& row : known::kGps) {
    ExpectRow(row, kGpsIfd);
  }
}

TEST(CommentReadRequest, UnassignedNumbersAreRefusedBeforeTheFileIsTouched) {
  const TempFile missing;
  for (uint32_t number : {10u, 20u, 68u, 157u, 175u, 180u, 247u, 1000u, 0xFFFFFFFFu}) {
    const CallCounter counter;
    EXPECT_EQ(CommentSize(missing, number), kResultInvalidParameter) << number;
    EXPECT_EQ(counter.Since().opens, 0u);
  }
}

TEST(CommentReadRequest, LastNumbersAreValid) {
  const TempFile file(FileWithPage(FileOrder::kLittle, GrayPage(2, 2)));
  for (uint32_t number : {9u, 21u, 40u, 41u, 67u, 158u, 174u, 181u, 226u, 227u, 240u, 241u, 244u, 245u, 246u}) {
    EXPECT_EQ(CommentSize(file, number), 0) << number;
    EXPECT_EQ(GetComment(file, number, 8), (CommentAnswer{0, FileBytes(8, 0xCC)})) << number;
  }
}

TEST(CommentReadRequest, MissingFileCannotBeOpened) {
  const TempFile missing;
  EXPECT_EQ(CommentSize(missing, kCommentSoftware), kResultOpenFailed);
}

TEST(CommentReadRequest, NullRequestIsRefused) {
  EXPECT_EQ(fltComment(nullptr), kResultInvalidParameter);
}

TEST(CommentReadRequest, FileThatIsNoTiffIsRefused) {
  const TempFile file(FileBytes(64, 'x'));
  EXPECT_EQ(CommentSize(file, kCommentSoftware), kResultNotTiff);
}

TEST(CommentReadRequest, PageIsChosenByNumberOrByStartDirectory) {
  TiffBuilder builder;
  for (const char* name : {"first", "second", "third"}) {
    builder.AddPage(GrayPage(2, 2)).Ascii(285, name);
  }
  const TempFile file(builder.Build());
  const auto page = [&](int32_t number, uint32_t flags, uint32_t start) {
    FileOptions options = {};
    options.pageNumber = number;
    options.flags = flags;
    options.directoryOffset = start;
    const CommentAnswer answer = GetComment(file, kCommentPageName, 6, &options);
    return answer.result < 0 ? std::to_string(answer.result)
                             : std::string(answer.buffer.begin(), answer.buffer.begin() + 2);
  };
  EXPECT_EQ(page(0, 0, 0), "fi");
  EXPECT_EQ(page(1, 0, 0), "fi");
  EXPECT_EQ(page(2, 0, 0), "se");
  EXPECT_EQ(page(3, 0, 0), "th");
  EXPECT_EQ(page(-1, 0, 0), "th");
  EXPECT_EQ(page(4, 0, 0), "-310");
  EXPECT_EQ(page(2, kReadUseDirectoryOffset, builder.DirectoryOffset(1)), "th");
  EXPECT_EQ(page(1, 0, builder.DirectoryOffset(1)), "fi"); // the flag is missing
}

TEST_P(CommentRead, SubDirectoryThatIsAbsentGivesNone) {
  const TempFile file(File(GrayPage(2, 2)));
  EXPECT_EQ(CommentSize(file, kCommentFlash), 0);
  EXPECT_EQ(CommentSize(file, kCommentGPSLatitude), 0);
}

TEST_P(CommentRead, SubDirectoryEntryThatIsNoLongGivesNone) {
  for (const uint16_t type : std::initializer_list<uint16_t>{3, 9, 13}) {
    TiffDirectory exif;
    exif.Short(37385, {7});
    TiffDirectory page = GrayPage(2, 2);
    page.Child(kExifIfd, std::move(exif), type);
    const TempFile file(File(std::move(page)));
    EXPECT_EQ(CommentSize(file, kCommentFlash), 0) << type;
  }
}

TEST_P(CommentRead, SubDirectoryThatCannotBeEnteredGivesItsCode) {
  TiffDirectory behind = GrayPage(2, 2);
  behind.Long(kExifIfd, {100000}).Long(kGpsIfd, {5});
  const TempFile file(File(std::move(behind)));
  EXPECT_EQ(CommentSize(file, kCommentFlash), kResultReadFailed);
  EXPECT_EQ(CommentSize(file, kCommentGPSLatitude), kResultNotTiff);
}

TEST_P(CommentRead, DirectoryThatRunsOutOfTheFileGivesAReadFailure) {
  TiffDirectory page;
  page.Short(256, {1}).CountWord(9);
  const TempFile file(File(std::move(page)));
  EXPECT_EQ(CommentSize(file, kCommentSoftware), kResultReadFailed);
  EXPECT_EQ(CommentSize(file, kCommentFlash), kResultReadFailed);
}

TEST_P(CommentRead, ByteRowsTakeByteAsciiAndUndefined) {
  for (const uint16_t type : std::initializer_list<uint16_t>{1, 2, 7}) {
    const TempFile file(ExifValue(37510, type, Telling(9)));
    EXPECT_EQ(GetComment(file, kCommentUserComment, 9), (CommentAnswer{9, Telling(9)})) << type;
  }
  for (const uint16_t type : std::initializer_list<uint16_t>{3, 4, 5, 6, 8, 9, 10, 11, 12, 0, 13, 0xFFFF}) {
    TiffDirectory exif;
    exif.RawWord(37510, type, 9, 8);
    const TempFile file(ExifFile(std::move(exif)));
    EXPECT_EQ(GetComment(file, kCommentUserComment, 9), (CommentAnswer{kResultTypeNotAllowed, FileBytes(9, 0xCC)}));
    EXPECT_EQ(CommentSize(file, kCommentUserComment), 9) << "the type is asked for only with a buffer";
  }
}

TEST_P(CommentRead, ByteValuesOfUpToFourStandInTheValueWord) {
  for (uint32_t count = 0; count <= 6; ++count) {
    const TempFile file(ExifValue(37510, 7, Telling(count)));
    for (uint32_t room = 0; room <= 7; ++room) {
      FileBytes expected = Telling(std::min(count, room));
      expected.resize(room, 0xCC);
      EXPECT_EQ(GetComment(file, kCommentUserComment, room), (CommentAnswer{static_cast<int32_t>(count), expected}));
    }
  }
}

TEST_P(CommentRead, NullBufferGetsTheSizeAndSmallOneTheFirstBytes) {
  const TempFile file(ExifValue(36867, 2, Telling(20)));
  EXPECT_EQ(CommentSize(file, kCommentDateTimeOriginal), 20);
  EXPECT_EQ(GetComment(file, kCommentDateTimeOriginal, 5), (CommentAnswer{20, Telling(5)}));
}

TEST_P(CommentRead, ByteValueThatRunsOutOfTheFileIsAReadFailure) {
  TiffDirectory exif;
  exif.RawWord(37510, 7, 5, 1u << 20);
  const TempFile file(ExifFile(std::move(exif)));
  EXPECT_EQ(CommentSize(file, kCommentUserComment), 5);
  EXPECT_EQ(GetComment(file, kCommentUserComment, 5).result, kResultReadFailed);
}

TEST_P(CommentRead, CountsThatWouldLookLikeFailuresAreCutToTheLargestSize) {
  TiffDirectory exif;
  exif.RawWord(37510, 7, 0xFFFFFFF3, 8).RawWord(34855, 3, 0x80000000, 8).RawWord(41486, 5, 0x20000000, 8);
  const TempFile file(ExifFile(std::move(exif)));
  EXPECT_EQ(CommentSize(file, kCommentUserComment), INT32_MAX);
  EXPECT_EQ(CommentSize(file, kCommentISOSpeedRatings), INT32_MAX);
  EXPECT_EQ(CommentSize(file, kCommentFocalPlaneXResolution), INT32_MAX);
}

TEST_P(CommentRead, ShortRowsTakeShortAloneAlsoWithoutABuffer) {
  for (const uint16_t type : std::initializer_list<uint16_t>{1, 2, 4, 7, 8, 9}) {
    TiffDirectory exif;
    exif.RawWord(37385, type, 1, 0x11223344).RawWord(34855, type, 1, 0x11223344);
    const TempFile file(ExifFile(std::move(exif)));
    for (uint32_t number : {kCommentFlash, kCommentISOSpeedRatings}) {
      EXPECT_EQ(CommentSize(file, number), kResultTypeNotAllowed) << type;
      EXPECT_EQ(GetComment(file, number, 4).result, kResultTypeNotAllowed) << type;
    }
  }
}

TEST_P(CommentRead, ShortRowOfOneElementGivesTwoBytesOfTheValueWordWhateverTheCount) {
  TiffDirectory exif;
  exif.Short(37385, {0x1234}).Short(37384, {0x5678, 0x9ABC});
  const TempFile file(ExifFile(std::move(exif)));
  EXPECT_EQ(GetComment(file, kCommentFlash, 4), (CommentAnswer{2, {0x34, 0x12, 0xCC, 0xCC}}));
  EXPECT_EQ(GetComment(file, kCommentFlash, 1), (CommentAnswer{2, {0x34}}));
  EXPECT_EQ(CommentSize(file, kCommentFlash), 2);
  EXPECT_EQ(GetComment(file, kCommentLightSource, 4), (CommentAnswer{2, {0x78, 0x56, 0xCC, 0xCC}}));
}

TEST_P(CommentRead, ShortRowsOfSeveralElementsComeInHostOrder) {
  for (uint32_t count = 0; count <= 4; ++count) {
    FileBytes host = Telling(2 * count);
    const TempFile file(ExifValue(34855, 3, host));
    EXPECT_EQ(CommentSize(file, kCommentISOSpeedRatings), static_cast<int32_t>(2 * count));
    host.resize(2 * count + 2, 0xCC);
    EXPECT_EQ(GetComment(file, kCommentISOSpeedRatings, 2 * count + 2),
              (CommentAnswer{static_cast<int32_t>(2 * count), host}));
  }
}

TEST_P(CommentRead, ShortsCutInTheirMiddleKeepTheLastByteAsItStands) {
  const TempFile file(ExifValue(34855, 3, {1, 2, 3, 4, 5, 6}));
  const uint8_t third = GetParam() == FileOrder::kLittle ? 3 : 4;
  EXPECT_EQ(GetComment(file, kCommentISOSpeedRatings, 3), (CommentAnswer{6, {1, 2, third}}));
}

TEST_P(CommentRead, ShortsThatRunOutOfTheFileAreAReadFailure) {
  TiffDirectory exif;
  exif.RawWord(34855, 3, 3, 1u << 20);
  const TempFile file(ExifFile(std::move(exif)));
  EXPECT_EQ(CommentSize(file, kCommentISOSpeedRatings), 6);
  EXPECT_EQ(GetComment(file, kCommentISOSpeedRatings, 6).result, kResultReadFailed);
}

TEST_P(CommentRead, RationalRowsTakeBothSignsAndAskForTheTypeOnlyWithABuffer) {
  for (const uint16_t type : std::initializer_list<uint16_t>{5, 10}) {
    const TempFile file(ExifValue(37386, type, Telling(8))); // FocalLength
    EXPECT_EQ(GetComment(file, kCommentFocalLength, 8), (CommentAnswer{8, Telling(8)}));
    const TempFile other(ExifValue(37377, type, Telling(8))); // ShutterSpeedValue, signed by its row
    EXPECT_EQ(GetComment(other, kCommentShutterSpeedValue, 8), (CommentAnswer{8, Telling(8)}));
  }
  for (const uint16_t type : std::initializer_list<uint16_t>{1, 3, 4, 9, 12}) {
    TiffDirectory exif;
    exif.RawWord(37386, type, 2, 8);
    const TempFile file(ExifFile(std::move(exif)));
    EXPECT_EQ(CommentSize(file, kCommentFocalLength), 16);
    EXPECT_EQ(GetComment(file, kCommentFocalLength, 16).result, kResultTypeNotAllowed) << type;
  }
}

TEST_P(CommentRead, RationalsCutInTheirMiddleAreSwappedByWholeValues) {
  const FileBytes host = Telling(24);
  TiffDirectory gps = OneValue(2, 5, host);
  const TempFile file(File(PageWithChild(kGpsIfd, std::move(gps))));
  EXPECT_EQ(GetComment(file, kCommentGPSLatitude, 24), (CommentAnswer{24, host}));
  FileBytes twelve = Stored(5, host);
  twelve.resize(12);
  std::copy_n(host.begin(), 8, twelve.begin());
  EXPECT_EQ(GetComment(file, kCommentGPSLatitude, 12), (CommentAnswer{24, twelve}));
}

TEST_P(CommentRead, RationalsThatRunOutOfTheFileAreAReadFailure) {
  TiffDirectory exif;
  exif.RawWord(37386, 5, 1, 1u << 20);
  const TempFile file(ExifFile(std::move(exif)));
  EXPECT_EQ(GetComment(file, kCommentFocalLength, 8).result, kResultReadFailed);
}

TEST_P(CommentRead, MainTextsOfAnotherTypeAreRefused) {
  TiffDirectory page = GrayPage(2, 2);
  page.Short(315, {1}).Byte(305, {'o', 'k'});
  const TempFile file(File(std::move(page)));
  EXPECT_EQ(GetComment(file, kCommentArtist, 4).result, kResultTypeNotAllowed);
  EXPECT_EQ(GetComment(file, kCommentSoftware, 2), (CommentAnswer{2, {'o', 'k'}}));
}

} // namespace
