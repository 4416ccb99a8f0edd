// Exif and GPS directories of new pages: every row in both byte orders, the fixed records, the markers' records, byte
// for byte.

#include "metadata/CommentInput.h"
#include "metadata/KnownComments.h"
#include "metadata/MarkerInput.h"
#include "tags/TagItems.h"
#include "tif_com/Comments.h"
#include "tif_com/SaveState.h"

namespace {

struct EntryForm {
  uint16_t tag;
  uint16_t type;
  uint32_t count;
  FileBytes value;
  bool operator==(const EntryForm&) const = default;
};

std::ostream& operator<<(std::ostream& out, const EntryForm& form) {
  return out << form.tag << " type " << form.type << " count " << form.count << " "
             << testing::PrintToString(form.value);
}

// Where the directories of these tests are written: behind a header of 8 bytes.
class CommentWrite : public testing::TestWithParam<FileOrder> {
protected:
  bool IsLittle() const { return GetParam() == FileOrder::kLittle; }
  Bytes NewBytes() const { return Bytes(GetParam()); }
  FileBytes Stored(uint16_t type, const FileBytes& host) const { return InFileOrder(GetParam(), type, host); }
  Bytes Header() const { return NewBytes().Header(8); }

  // Calls `write(file)` with the position behind `before`, and gives what the file holds then; result and position are
  // kept aside.
  template <typename Write> FileBytes Written(const FileBytes& before, Write write) {
    const TempFile temporary(before);
    TifFile file = {};
    file.fileHandle = krnFileOpen(temporary.Name(), kKrnFileReadWrite, kKrnShareRead);
    file.byteOrder = IsLittle() ? kByteOrderLittle : kByteOrderBig;
    file.stateFlags = state_;
    krnFileSeek(file.fileHandle, 0, kKrnSeekEnd);
    result_ = write(&file);
    position_ = krnFileSeek(file.fileHandle, 0, kKrnSeekCurrent);
    krnFileClose(file.fileHandle);
    return temporary.Read();
  }
  FileBytes Exif(CommentSlots& slots, TifDirectory* markers = nullptr) {
    return Written(Header().bytes,
                   [&](TifFile* file) { return TIFWriteExifDirectory(file, slots.Block(), 640, 480, markers); });
  }
  FileBytes Gps(CommentSlots& slots, TifDirectory* markers = nullptr) {
    return Written(Header().bytes, [&](TifFile* file) { return TIFWriteGpsDirectory(file, slots.Block(), markers); });
  }
  static std::vector<EntryForm> Forms(const FileBytes& bytes) {
    std::vector<EntryForm> forms;
    for (const FileEntry& entry : ReadFileDirectory(bytes, 8).entries) {
      forms.push_back({entry.tag, entry.type, entry.count, entry.value});
    }
    return forms;
  }
  std::vector<EntryForm> FixedExif() const {
    return {{36864, 7, 4, {'0', '2', '2', '1'}}, {40960, 7, 4, {'0', '1', '0', '0'}}, {40961, 3, 1, Stored(3, {1, 0})}};
  }
  // What comes out besides the fixed records when one comment is given.
  std::vector<EntryForm> ExifOf(uint32_t number, FileBytes value) {
    CommentSlots slots;
    slots.Set(number, std::move(value));
    std::vector<EntryForm> forms = Forms(Exif(slots));
    EXPECT_EQ(result_, kResultOk);
    for (const EntryForm& fixed : FixedExif()) {
      std::erase(forms, fixed);
    }
    return forms;
  }

  KernelGuard guard_;
  uint32_t state_ = 0;
  int32_t result_ = 0;
  uint32_t position_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Orders, CommentWrite, testing::Values(FileOrder::kLittle, FileOrder::kBig), OrderName);

TEST_P(CommentWrite, EveryExifRow) {
  for (const known::TagComment& row : known::kExif) {
    SCOPED_TRACE(row.name);
    if (row.number == kCommentExifVersion || row.number == kCommentFlashpixVersion ||
        row.number == kCommentFocalPlaneResolutionUnit) {
      continue; // tests of their own
    }
    const FileBytes host = Telling(row.bytes == known::kAny ? 6 : static_cast<size_t>(row.bytes));
    std::vector<EntryForm> forms = ExifOf(row.number, host);
    std::erase_if(forms, [](const EntryForm& form) { return form.tag == 41488; });
    FileBytes stored = Stored(row.type, host);
    auto count = static_cast<uint32_t>(host.size() / FieldTypeSize(row.type));
    if (row.type == 2) {
      stored.push_back(0);
      ++count;
    }
    EXPECT_EQ(forms, (std::vector<EntryForm>{{row.tag, row.type, count, stored}}));
  }
}

TEST_P(CommentWrite, EveryGpsRow) {
  for (const known::TagComment& row : known::kGps) {
    SCOPED_TRACE(row.name);
    const FileBytes host = Telling(row.bytes == known::kAny ? 6 : static_cast<size_t>(row.bytes));
    CommentSlots slots;
    slots.Set(row.number, host);
    FileBytes stored = Stored(row.type, host);
    auto count = static_cast<uint32_t>(host.size() / FieldTypeSize(row.type));
    if (row.type == 2) {
      stored.push_back(0);
      ++count;
    }
    std::vector<EntryForm> expected;
    if (row.tag != 0) {
      expected.push_back({0, 1, 4, {2, 2, 0, 0}});
    }
    expected.push_back({row.tag, row.type, count, stored});
    EXPECT_EQ(Forms(Gps(slots)), expected);
    EXPECT_EQ(result_, kResultOk);
    FileBytes buffer = host;
    buffer.push_back(0xEE);
    EXPECT_EQ(slots.Buffer(row.number), buffer);
  }
}

TEST_P(CommentWrite, ExifWithoutCommentsHoldsThreeRecords) {
  CommentSlots slots;
  EXPECT_EQ(Exif(slots), Header()
                             .U16(3)
                             .EntryRaw(36864, 7, 4, {'0', '2', '2', '1'})
                             .EntryRaw(40960, 7, 4, {'0', '1', '0', '0'})
                             .EntryShort(40961, 1)
                             .U32(0)
                             .bytes);
  EXPECT_EQ(result_, kResultOk);
  EXPECT_EQ(position_, 50u);
}

TEST_P(CommentWrite, CompressedStateAddsThreeRecords) {
  state_ = kStateExifCompressed;
  CommentSlots slots;
  EXPECT_EQ(Exif(slots), Header()
                             .U16(6)
                             .EntryRaw(36864, 7, 4, {'0', '2', '2', '1'})
                             .EntryRaw(37121, 7, 4, {1, 2, 3, 0})
                             .EntryRaw(40960, 7, 4, {'0', '1', '0', '0'})
                             .EntryShort(40961, 1)
                             .Entry(40962, 4, 1, 640)
                             .Entry(40963, 4, 1, 480)
                             .U32(0)
                             .bytes);
}

TEST_P(CommentWrite, ValuesFollowTheDirectoryInTheOrderOfTheirTags) {
  CommentSlots slots;
  slots.Text(kCommentUserComment, "seven..");
  slots.Text(kCommentDateTimeOriginal, "2024:01:02 03:04:05");
  slots.Set(kCommentFNumber, {28, 0, 0, 0, 10, 0, 0, 0}).Set(kCommentFlash, {1, 0});
  EXPECT_EQ(Exif(slots), Header()
                             .U16(7)
                             .Entry(33437, 5, 1, 98)
                             .EntryRaw(36864, 7, 4, {'0', '2', '2', '1'})
                             .Entry(36867, 2, 20, 106)
                             .EntryShort(37385, 1)
                             .Entry(37510, 7, 7, 126)
                             .EntryRaw(40960, 7, 4, {'0', '1', '0', '0'})
                             .EntryShort(40961, 1)
                             .U32(0)
                             .U32(28) // at 98
                             .U32(10)
                             .Text(std::string_view("2024:01:02 03:04:05\0", 20))
                             .Text("seven..")
                             .Raw({126}) // the pad is the low byte of the value's place
                             .bytes);
  EXPECT_EQ(position_, 134u);
}

TEST_P(CommentWrite, DirectoryGoesToTheEvenPlace) {
  CommentSlots slots;
  FileBytes before = Header().bytes;
  before.push_back(0x55);
  const FileBytes bytes =
      Written(before, [&](TifFile* file) { return TIFWriteExifDirectory(file, slots.Block(), 1, 1, nullptr); });
  ASSERT_EQ(bytes.size(), 10u + 42u);
  EXPECT_EQ(ReadFileDirectory(bytes, 10).Tags(), (std::vector<uint16_t>{36864, 40960, 40961}));
}

TEST_P(CommentWrite, ExifWithoutACommentBlockIsRefused) {
  const FileBytes bytes =
      Written(Header().bytes, [](TifFile* file) { return TIFWriteExifDirectory(file, nullptr, 1, 1, nullptr); });
  EXPECT_EQ(result_, kResultInvalidParameter);
  EXPECT_EQ(bytes, Header().bytes);
}

TEST_P(CommentWrite, ColorSpaceOfTheCallerReplacesTheFixedOne) {
  EXPECT_EQ(ExifOf(kCommentColorSpace, {0xFF, 0xFF}), (std::vector<EntryForm>{{40961, 3, 1, {0xFF, 0xFF}}}));
}

TEST_P(CommentWrite, VersionsAreTheWritersOwn) {
  EXPECT_EQ(ExifOf(kCommentExifVersion, {'0', '2', '3', '0'}), (std::vector<EntryForm>{}));
  EXPECT_EQ(ExifOf(kCommentFlashpixVersion, {'0', '2', '3', '0'}), (std::vector<EntryForm>{}));
}

TEST_P(CommentWrite, UnitIsThreeWhenItIsGivenSoAndElseTwo) {
  const auto unit = [&](FileBytes value) { return ExifOf(kCommentFocalPlaneResolutionUnit, std::move(value)); };
  EXPECT_EQ(unit({1, 0}), (std::vector<EntryForm>{{41488, 3, 1, Stored(3, {2, 0})}}));
  EXPECT_EQ(unit({3, 0}), (std::vector<EntryForm>{{41488, 3, 1, Stored(3, {3, 0})}}));
  EXPECT_EQ(unit({3, 0, 0}), (std::vector<EntryForm>{}));
  EXPECT_EQ(ExifOf(kCommentFocalPlaneYResolution, Telling(8)).back(), (EntryForm{41488, 3, 1, Stored(3, {2, 0})}));
}

TEST_P(CommentWrite, TextsAreBroughtToTheirSize) {
  const FileBytes date = {'2', '0', '2', '4', ':', '0', '1', ':', '0', '2',
                          ' ', '0', '3', ':', '0', '4', ':', '0', '5'};
  const auto with = [&](const FileBytes& more) {
    FileBytes bytes = date;
    bytes.insert(bytes.end(), more.begin(), more.end());
    return bytes;
  };
  const std::vector<EntryForm> plain = {{36867, 2, 20, with({0})}};
  EXPECT_EQ(ExifOf(kCommentDateTimeOriginal, date), plain);
  EXPECT_EQ(ExifOf(kCommentDateTimeOriginal, with({0})), plain);
  EXPECT_EQ(ExifOf(kCommentDateTimeOriginal, with({0, 0})), plain);
  EXPECT_EQ(ExifOf(kCommentDateTimeOriginal, with({0, 'x', 'y', 'z', 0})), plain) << "cut where the row ends";
  EXPECT_EQ(ExifOf(kCommentDateTimeOriginal, FileBytes(date.begin(), date.end() - 1)), (std::vector<EntryForm>{}));
  EXPECT_EQ(ExifOf(kCommentDateTimeOriginal, with({0, 'x'})), (std::vector<EntryForm>{})) << "not closed by a NUL";
}

TEST_P(CommentWrite, OverLongDateIsCutAndThenGetsANul) {
  const std::string text = "2024:01:02 03:04:05 and more";
  CommentSlots slots;
  slots.Text(kCommentDateTimeOriginal, text + std::string(1, '\0'));
  const std::vector<EntryForm> forms = Forms(Exif(slots));
  FileBytes expected(text.begin(), text.begin() + 20);
  expected.push_back(0);
  EXPECT_EQ(forms[1], (EntryForm{36867, 2, 21, expected}));
  EXPECT_EQ(slots.Size(kCommentDateTimeOriginal), 20u);
}

TEST_P(CommentWrite, NulBehindTheValueClosesItAsWell) {
  CommentSlots slots;
  slots.Text(kCommentDateTimeOriginal, "2024:01:02 03:04:05\nmore", 0); // the spare byte is 0
  EXPECT_EQ(Forms(Exif(slots))[1].count, 21u);
  CommentSlots open;
  open.Text(kCommentDateTimeOriginal, "2024:01:02 03:04:05\nmore", 1);
  EXPECT_EQ(Forms(Exif(open)), FixedExif());
}

TEST_P(CommentWrite, NumbersOfTheWrongSizeArePassedOver) {
  EXPECT_EQ(ExifOf(kCommentFlash, {1, 2, 0}), (std::vector<EntryForm>{}));
  EXPECT_EQ(ExifOf(kCommentFNumber, Telling(9)), (std::vector<EntryForm>{}));
  EXPECT_EQ(ExifOf(kCommentGamma, Telling(16)), (std::vector<EntryForm>{}));
  EXPECT_EQ(ExifOf(kCommentGamma, Telling(8)), (std::vector<EntryForm>{{42240, 5, 1, Stored(5, Telling(8))}}));
}

TEST_P(CommentWrite, GpsWithoutCommentsWritesNothing) {
  CommentSlots slots;
  slots.Text(kCommentGPSLatitudeRef, "north");
  EXPECT_EQ(Gps(slots), Header().bytes);
  EXPECT_EQ(result_, 0);
  EXPECT_EQ(position_, 8u);
}

TEST_P(CommentWrite, GpsByteForByte) {
  CommentSlots slots;
  slots.Text(kCommentGPSLatitudeRef, "N").Text(kCommentGPSSatellites, "G05,G07");
  slots.Set(kCommentGPSAltitude, {100, 0, 0, 0, 1, 0, 0, 0}).Set(kCommentGPSDifferential, {1, 0});
  EXPECT_EQ(Gps(slots), Header()
                            .U16(5)
                            .EntryRaw(0, 1, 4, {2, 2, 0, 0})
                            .EntryRaw(1, 2, 2, {'N', 0, 0, 0})
                            .Entry(6, 5, 1, 74)
                            .Entry(8, 2, 8, 82)
                            .EntryShort(30, 1)
                            .U32(0)
                            .U32(100) // at 74
                            .U32(1)
                            .Text(std::string_view("G05,G07\0", 8))
                            .bytes);
  EXPECT_EQ(result_, kResultOk);
  EXPECT_EQ(position_, 90u);
}

TEST_P(CommentWrite, OneLongTextIsTakenOnlyWhenAnotherCommentCounts) {
  // The count does not know of texts that are cut, so that one of them alone makes no directory.
  CommentSlots alone;
  alone.Text(kCommentGPSDateStamp, std::string_view("2024:01:02 more\0", 16));
  Gps(alone);
  EXPECT_EQ(result_, 0);
  CommentSlots both;
  both.Text(kCommentGPSDateStamp, std::string_view("2024:01:02 more\0", 16)).Text(kCommentGPSLatitudeRef, "N");
  const std::vector<EntryForm> forms = Forms(Gps(both));
  ASSERT_EQ(forms.size(), 3u);
  EXPECT_EQ(forms[2].tag, 29);
  EXPECT_EQ(forms[2].count, 12u);
}

// A marker directory with an Exif child, a GPS child, and a few tags of its own.
FileBytes MarkerTiff(FileOrder order, TiffDirectory exif, TiffDirectory gps) {
  TiffBuilder tiff(order);
  tiff.AddPage().Ascii(271, "Maker").Child(34665, std::move(exif)).Child(34853, std::move(gps));
  return tiff.Build();
}

TEST_P(CommentWrite, MarkerRecordsFillWhatTheCommentsLeave) {
  for (const FileOrder source : {FileOrder::kLittle, FileOrder::kBig}) {
    TiffDirectory exif;
    exif.Undefined(36864, {'0', '2', '3', '2'}).Short(37385, {7}).Short(37383, {5}).Rational(33437, {{28, 10}});
    TiffDirectory gps;
    gps.Byte(0, {2, 3, 0, 0}).Ascii(1, "S").Rational(2, {{1, 2}, {3, 4}, {5, 6}});
    MarkerInput markers(MarkerTiff(source, exif, gps));
    const MarkerTree tree(markers);
    CommentSlots slots;
    slots.Set(kCommentFlash, {1, 0}).Text(kCommentGPSLatitudeRef, "N");
    EXPECT_EQ(Forms(Exif(slots, tree.Tree())),
              (std::vector<EntryForm>{{33437, 5, 1, Stored(5, {28, 0, 0, 0, 10, 0, 0, 0})},
                                      {36864, 7, 4, {'0', '2', '2', '1'}},
                                      {37383, 3, 1, Stored(3, {5, 0})},
                                      {37385, 3, 1, Stored(3, {1, 0})},
                                      {40960, 7, 4, {'0', '1', '0', '0'}},
                                      {40961, 3, 1, Stored(3, {1, 0})}}));
    const FileBytes position = {1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 5, 0, 0, 0, 6, 0, 0, 0};
    EXPECT_EQ(Forms(Gps(slots, tree.Tree())),
              (std::vector<EntryForm>{{0, 1, 4, {2, 2, 0, 0}}, {1, 2, 2, {'N', 0}}, {2, 5, 3, Stored(5, position)}}));
  }
}

TEST_P(CommentWrite, GpsOfTheMarkersAloneIsWritten) {
  MarkerInput markers(MarkerTiff(FileOrder::kLittle, TiffDirectory().Short(37385, {7}), TiffDirectory().Ascii(1, "S")));
  const MarkerTree tree(markers);
  CommentSlots slots;
  EXPECT_EQ(Forms(Gps(slots, tree.Tree())), (std::vector<EntryForm>{{0, 1, 4, {2, 2, 0, 0}}, {1, 2, 2, {'S', 0}}}));
}

TEST_P(CommentWrite, MarkerRecordsOfCompressionAreLeftOutOfAnUncompressedPage) {
  TiffDirectory exif;
  exif.Undefined(37121, {1, 2, 3, 0}).Rational(37122, {{1, 2}}).Long(40962, {9}).Long(40963, {8}).Short(37385, {7});
  MarkerInput markers(MarkerTiff(FileOrder::kBig, std::move(exif), TiffDirectory().Ascii(1, "S")));
  const MarkerTree tree(markers);
  CommentSlots slots;
  EXPECT_EQ(ReadFileDirectory(Exif(slots, tree.Tree()), 8).Tags(), (std::vector<uint16_t>{36864, 37385, 40960, 40961}));
  state_ = kStateExifCompressed;
  const FileBytes compressed = Exif(slots, tree.Tree());
  EXPECT_EQ(ReadFileDirectory(compressed, 8).Tags(),
            (std::vector<uint16_t>{36864, 37121, 37122, 37385, 40960, 40961, 40962, 40963}));
  EXPECT_EQ(ReadFileDirectory(compressed, 8).Find(40962)->word, 640u);
}

TEST_P(CommentWrite, MarkerTreeIsLeftAsItWas) {
  TiffDirectory exif;
  exif.Ascii(36867, "2024:01:02 03:04:05").Child(40965, TiffDirectory().Ascii(1, "R98")).Undefined(37500, Telling(30));
  MarkerInput markers(MarkerTiff(FileOrder::kBig, std::move(exif), TiffDirectory().Ascii(1, "S")));
  const MarkerTree tree(markers);
  CommentSlots slots;
  const FileBytes once = Exif(slots, tree.Tree());
  EXPECT_EQ(Exif(slots, tree.Tree()), once);
  const FileDirectory written = ReadFileDirectory(once, 8);
  EXPECT_EQ(written.Tags(), (std::vector<uint16_t>{36864, 36867, 37500, 40960, 40961, 40965}));
  EXPECT_EQ(ReadFileChild(once, written, 40965).Find(1)->value, (FileBytes{'R', '9', '8', 0}));
  EXPECT_EQ(written.Find(37500)->value, Telling(30));
}

} // namespace
