// Comments set on a page in place: every row in both byte orders, the rules of sizes, and files compared byte for byte
// with files put together by hand.

#include <initializer_list>

#include "metadata/CommentInput.h"
#include "metadata/KnownComments.h"
#include "tags/TagItems.h"

namespace {

constexpr uint16_t kExifIfd = 34665;
constexpr uint16_t kGpsIfd = 34853;

FileBytes ValueFor(const known::TagComment& row) {
  return Telling(row.bytes == known::kAny ? 6 : static_cast<size_t>(row.bytes));
}

// An entry as it stands in the file, without its place.
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

std::vector<EntryForm> FormsOf(const FileDirectory& directory) {
  std::vector<EntryForm> forms;
  for (const FileEntry& entry : directory.entries) {
    forms.push_back({entry.tag, entry.type, entry.count, entry.value});
  }
  return forms;
}

class CommentEdit : public testing::TestWithParam<FileOrder> {
protected:
  bool IsLittle() const { return GetParam() == FileOrder::kLittle; }
  Bytes NewBytes() const { return Bytes(GetParam()); }
  FileBytes Stored(uint16_t type, const FileBytes& host) const { return InFileOrder(GetParam(), type, host); }
  FileBytes PlainFile() const { return FileWithPage(GetParam(), GrayPage(2, 2)); }
  // A page with an Exif directory that holds its version alone.
  FileBytes ExifFile() const {
    TiffDirectory exif;
    exif.Undefined(36864, {'0', '2', '1', '0'});
    return FileWithPage(GetParam(), PageWithChild(kExifIfd, std::move(exif)));
  }
  std::vector<EntryForm> Exif(const TempFile& file) const {
    const FileBytes bytes = file.Read();
    return FormsOf(ReadFileChild(bytes, ReadFilePage(bytes), kExifIfd));
  }
  std::vector<EntryForm> Gps(const TempFile& file) const {
    const FileBytes bytes = file.Read();
    return FormsOf(ReadFileChild(bytes, ReadFilePage(bytes), kGpsIfd));
  }
  // What the Exif directory holds after one comment was set on ExifFile, its version aside.
  std::vector<EntryForm> ExifAfter(uint32_t number, FileBytes value) const {
    const TempFile file(ExifFile());
    CommentSlots slots;
    slots.Set(number, std::move(value));
    EXPECT_EQ(SetComments(file, slots), kResultOk);
    std::vector<EntryForm> forms = Exif(file);
    std::erase_if(forms, [](const EntryForm& form) { return form.tag == 36864; });
    return forms;
  }
  // Two entries, of which 34665 points to an Exif directory at 38 with the Flash alone.
  FileBytes SmallExifFile() const {
    return NewBytes()
        .Header(8)
        .U16(2)
        .Entry(256, 4, 1, 7)
        .Entry(kExifIfd, 4, 1, 38)
        .U32(0)
        .U16(1)
        .EntryShort(37385, 1)
        .U32(0)
        .bytes;
  }
};

INSTANTIATE_TEST_SUITE_P(Orders, CommentEdit, testing::Values(FileOrder::kLittle, FileOrder::kBig), OrderName);

TEST_P(CommentEdit, EveryMainRow) {
  for (const known::TagComment& row : known::kMain) {
    SCOPED_TRACE(row.name);
    const TempFile file(PlainFile());
    CommentSlots slots;
    slots.Text(row.number, "a text");
    EXPECT_EQ(SetComments(file, slots), kResultOk);
    const FileDirectory page = ReadFilePage(file.Read());
    const FileEntry* entry = page.Find(row.tag);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->type, 2);
    EXPECT_EQ(entry->count, 7u) << "the text and the NUL that closes it";
    EXPECT_EQ(entry->value, (FileBytes{'a', ' ', 't', 'e', 'x', 't', 0}));
    EXPECT_EQ(WholeText(file, row.number), std::string("a text\0", 7));
    EXPECT_EQ(slots.Buffer(row.number), (FileBytes{'a', ' ', 't', 'e', 'x', 't', 0xEE}));
  }
}

TEST_P(CommentEdit, EveryExifRow) {
  for (const known::TagComment& row : known::kExif) {
    SCOPED_TRACE(row.name);
    if (row.number == kCommentExifVersion || row.number == kCommentFlashpixVersion ||
        row.number == kCommentFocalPlaneResolutionUnit) {
      continue; // tests of their own
    }
    const FileBytes host = ValueFor(row);
    const TempFile file(ExifFile());
    CommentSlots slots;
    slots.Set(row.number, host);
    EXPECT_EQ(SetComments(file, slots), kResultOk);
    std::vector<EntryForm> forms = Exif(file);
    std::erase_if(forms, [](const EntryForm& form) { return form.tag == 36864 || form.tag == 41488; });
    FileBytes stored = Stored(row.type, host);
    auto count = static_cast<uint32_t>(host.size() / FieldTypeSize(row.type));
    if (row.type == 2) { // a text that does not end in a NUL gets one
      stored.push_back(0);
      ++count;
    }
    EXPECT_EQ(forms, (std::vector<EntryForm>{{row.tag, row.type, count, stored}}));
    FileBytes read = host;
    read.resize(stored.size());
    if (row.number != kCommentMakerNote) {
      EXPECT_EQ(WholeComment(file, row.number), read);
    }
    FileBytes buffer = host;
    buffer.push_back(0xEE);
    EXPECT_EQ(slots.Buffer(row.number), buffer) << "the caller's value comes back as it was";
    EXPECT_EQ(slots.Size(row.number), host.size());
  }
}

TEST_P(CommentEdit, EveryGpsRow) {
  for (const known::TagComment& row : known::kGps) {
    SCOPED_TRACE(row.name);
    const FileBytes host = ValueFor(row);
    const TempFile file(PlainFile());
    CommentSlots slots;
    slots.Set(row.number, host);
    EXPECT_EQ(SetComments(file, slots), kResultOk);
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
    EXPECT_EQ(Gps(file), expected);
    FileBytes read = host;
    read.resize(stored.size());
    EXPECT_EQ(WholeComment(file, row.number), read);
    FileBytes buffer = host;
    buffer.push_back(0xEE);
    EXPECT_EQ(slots.Buffer(row.number), buffer);
  }
}

TEST_P(CommentEdit, TextOfOneByteLessGetsItsNulInTheCallersBuffer) {
  const TempFile file(ExifFile());
  CommentSlots slots;
  slots.Text(kCommentDateTimeOriginal, "2024:01:02 03:04:05");
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(slots.Size(kCommentDateTimeOriginal), 20u);
  EXPECT_EQ(slots.Buffer(kCommentDateTimeOriginal).back(), 0) << "stored where the spare byte was";
  EXPECT_EQ(WholeText(file, kCommentDateTimeOriginal), std::string("2024:01:02 03:04:05\0", 20));
}

TEST_P(CommentEdit, TextOfOneByteMoreThatEndsInANulLosesIt) {
  const TempFile file(ExifFile());
  CommentSlots slots;
  slots.Text(kCommentDateTimeOriginal, std::string_view("2024:01:02 03:04:05\0\0", 21));
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(slots.Size(kCommentDateTimeOriginal), 20u);
  EXPECT_EQ(WholeText(file, kCommentDateTimeOriginal), std::string("2024:01:02 03:04:05\0", 20));
}

TEST_P(CommentEdit, TextsOfOtherSizesArePassedOver) {
  const std::string_view texts[] = {
      "2024:01:02 03:04:0",                                // 18
      "2024:01:02 03:04:05Z!",                             // 21 without a NUL
      std::string_view("2024:01:02 03:04:05\0Z", 21),      // counted, since a NUL stands at 19, but not taken
      std::string_view("2024:01:02 03:04:05\0\0\0\0", 23), // the same
      std::string_view("", 0),
  };
  for (const std::string_view text : texts) {
    const FileBytes value(text.begin(), text.end());
    EXPECT_EQ(ExifAfter(kCommentDateTimeOriginal, value), (std::vector<EntryForm>{})) << text;
  }
}

TEST_P(CommentEdit, NumbersOfTheWrongSizeArePassedOver) {
  EXPECT_EQ(ExifAfter(kCommentFlash, {1}), (std::vector<EntryForm>{}));
  EXPECT_EQ(ExifAfter(kCommentFlash, {1, 2, 3}), (std::vector<EntryForm>{}));
  EXPECT_EQ(ExifAfter(kCommentFlash, {1, 2, 0}), (std::vector<EntryForm>{})) << "a closing 0 is for texts alone";
  EXPECT_EQ(ExifAfter(kCommentFNumber, Telling(7)), (std::vector<EntryForm>{}));
  EXPECT_EQ(ExifAfter(kCommentFNumber, Telling(16)), (std::vector<EntryForm>{}));
  EXPECT_EQ(ExifAfter(kCommentSubjectLocation, Telling(2)), (std::vector<EntryForm>{}));
  EXPECT_EQ(ExifAfter(kCommentGamma, Telling(9)), (std::vector<EntryForm>{}));
  EXPECT_EQ(ExifAfter(kCommentGamma, Telling(7)), (std::vector<EntryForm>{}));
}

TEST_P(CommentEdit, ValuesOfAnySizeAreTaken) {
  for (const uint32_t size : {1u, 2u, 4u, 5u, 100u}) {
    const FileBytes value = Telling(size);
    EXPECT_EQ(ExifAfter(kCommentMakerNote, value), (std::vector<EntryForm>{{37500, 7, size, value}}));
    EXPECT_EQ(ExifAfter(kCommentUserComment, value), (std::vector<EntryForm>{{37510, 7, size, value}}));
    FileBytes closed = value;
    closed.push_back(0);
    EXPECT_EQ(ExifAfter(kCommentSubSecTime, value), (std::vector<EntryForm>{{37520, 2, size + 1, closed}}));
    EXPECT_EQ(ExifAfter(kCommentSubSecTime, closed), (std::vector<EntryForm>{{37520, 2, size + 1, closed}}));
  }
  EXPECT_EQ(ExifAfter(kCommentISOSpeedRatings, {1, 2, 3, 4, 5}),
            (std::vector<EntryForm>{{34855, 3, 2, Stored(3, {1, 2, 3, 4})}}))
      << "whole elements";
  EXPECT_EQ(ExifAfter(kCommentMakerNote, {}), (std::vector<EntryForm>{{37500, 7, 0, {}}}));
}

TEST_P(CommentEdit, DirectionsOfOneOrTwoOrThreeBytes) {
  for (const std::string_view text :
       {std::string_view("N"), std::string_view("N\0", 2), std::string_view("N\0\0", 3)}) {
    const TempFile file(PlainFile());
    CommentSlots slots;
    slots.Text(kCommentGPSLatitudeRef, text);
    EXPECT_EQ(SetComments(file, slots), kResultOk);
    EXPECT_EQ(Gps(file).back(), (EntryForm{1, 2, 2, {'N', 0}}));
    EXPECT_EQ(slots.Size(kCommentGPSLatitudeRef), 2u);
  }
}

TEST_P(CommentEdit, VersionsAreNeverWritten) {
  const TempFile file(ExifFile());
  const FileBytes before = file.Read();
  CommentSlots slots;
  slots.Text(kCommentExifVersion, "0230").Text(kCommentFlashpixVersion, "0110");
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(file.Read(), before);
  EXPECT_EQ(WholeText(file, kCommentExifVersion), "0210");
}

TEST_P(CommentEdit, UnassignedNumbersAreNeverWritten) {
  const TempFile file(ExifFile());
  const FileBytes before = file.Read();
  CommentSlots slots;
  for (uint32_t number = 0; number < kCommentCount; ++number) {
    if ((number >= 10 && number <= 20) || (number >= 68 && number <= 157) || (number >= 175 && number <= 180)) {
      slots.Set(number, Telling(8));
    }
  }
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(file.Read(), before);
}

TEST_P(CommentEdit, UnitGoesWithEitherResolutionAndIsInches) {
  for (const uint32_t number : {kCommentFocalPlaneXResolution, kCommentFocalPlaneYResolution}) {
    const std::vector<EntryForm> forms = ExifAfter(number, Telling(8));
    ASSERT_EQ(forms.size(), 2u);
    EXPECT_EQ(forms[1], (EntryForm{41488, 3, 1, Stored(3, {2, 0})}));
    EXPECT_EQ(ExifAfter(number, Telling(7)), (std::vector<EntryForm>{}));
  }
}

TEST_P(CommentEdit, UnitIsThreeWhenItIsGivenSoAndElseTwo) {
  const auto unit = [&](FileBytes value) { return ExifAfter(kCommentFocalPlaneResolutionUnit, std::move(value)); };
  EXPECT_EQ(unit({1, 0}), (std::vector<EntryForm>{{41488, 3, 1, Stored(3, {2, 0})}}));
  EXPECT_EQ(unit({2, 0}), (std::vector<EntryForm>{{41488, 3, 1, Stored(3, {2, 0})}}));
  EXPECT_EQ(unit({3, 0}), (std::vector<EntryForm>{{41488, 3, 1, Stored(3, {3, 0})}}));
  EXPECT_EQ(unit({4, 0}), (std::vector<EntryForm>{{41488, 3, 1, Stored(3, {2, 0})}}));
  EXPECT_EQ(unit({3, 1}), (std::vector<EntryForm>{{41488, 3, 1, Stored(3, {2, 0})}}));
  EXPECT_EQ(unit({3}), (std::vector<EntryForm>{}));
  EXPECT_EQ(unit({3, 0, 0}), (std::vector<EntryForm>{}));
}

TEST_P(CommentEdit, ExifCommentOnAPageWithoutAnExifDirectoryIsDropped) {
  const TempFile file(PlainFile());
  const FileBytes before = file.Read();
  CommentSlots slots;
  slots.Text(kCommentDateTimeOriginal, "2024:01:02 03:04:05");
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(file.Read(), before);
}

TEST_P(CommentEdit, ExifEntryThatIsNoSingleLongCountsAsNone) {
  for (const bool twoValues : {false, true}) {
    TiffDirectory page = GrayPage(2, 2);
    if (twoValues) {
      page.Long(kExifIfd, {8, 8});
    } else {
      page.Short(kExifIfd, {8});
    }
    const TempFile file(FileWithPage(GetParam(), std::move(page)));
    const FileBytes before = file.Read();
    CommentSlots slots;
    slots.Set(kCommentFlash, {1, 0});
    EXPECT_EQ(SetComments(file, slots), kResultOk);
    EXPECT_EQ(file.Read(), before);
  }
}

TEST_P(CommentEdit, ExifDirectoryThatCannotBeReadFailsTheEdit) {
  TiffDirectory page = GrayPage(2, 2);
  page.Long(kExifIfd, {1u << 20});
  const TempFile file(FileWithPage(GetParam(), std::move(page)));
  const FileBytes before = file.Read();
  CommentSlots slots;
  slots.Set(kCommentFlash, {1, 0}).Text(kCommentSoftware, "never written");
  EXPECT_EQ(SetComments(file, slots), kResultReadFailed);
  EXPECT_EQ(file.Read(), before);
}

TEST_P(CommentEdit, ReplacedValueLeavesTheExifDirectoryInPlace) {
  const TempFile file(SmallExifFile());
  CommentSlots slots;
  slots.Set(kCommentFlash, {0x18, 0});
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(file.Read(), NewBytes()
                             .Header(8)
                             .U16(2)
                             .Entry(256, 4, 1, 7)
                             .Entry(kExifIfd, 4, 1, 38)
                             .U32(0)
                             .U16(1)
                             .EntryShort(37385, 0x18)
                             .U32(0)
                             .bytes);
}

TEST_P(CommentEdit, GrownExifDirectoryMovesToTheEndAndThePageFollowsIt) {
  const TempFile file(SmallExifFile());
  CommentSlots slots;
  slots.Set(kCommentFNumber, {28, 0, 0, 0, 10, 0, 0, 0}).Set(kCommentMeteringMode, {5, 0});
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  // A SHORT that is new keeps 0xFF behind its value where the file's order leaves it there.
  const FileBytes meteringWord = IsLittle() ? FileBytes{5, 0, 0xFF, 0xFF} : FileBytes{0, 5, 0, 0};
  EXPECT_EQ(file.Read(), NewBytes()
                             .Header(8)
                             .U16(2)
                             .Entry(256, 4, 1, 7)
                             .Entry(kExifIfd, 4, 1, 64)
                             .U32(0)
                             .U16(1)
                             .EntryShort(37385, 1)
                             .U32(0)
                             .U32(28)
                             .U32(10)
                             .U16(3)
                             .Entry(33437, 5, 1, 56)
                             .EntryRaw(37383, 3, 1, meteringWord)
                             .EntryShort(37385, 1)
                             .U32(0)
                             .bytes);
}

TEST_P(CommentEdit, NextWordOfTheExifDirectoryBecomesZero) {
  TiffDirectory exif;
  exif.Short(37385, {1}).NextWord(0x12345678);
  const TempFile file(FileWithPage(GetParam(), PageWithChild(kExifIfd, std::move(exif))));
  CommentSlots slots;
  slots.Set(kCommentFlash, {2, 0});
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  const FileBytes bytes = file.Read();
  EXPECT_EQ(ReadFileChild(bytes, ReadFilePage(bytes), kExifIfd).next, 0u);
}

TEST_P(CommentEdit, UnsortedExifDirectoryComesOutSorted) {
  TiffDirectory exif;
  exif.Short(37385, {1}).Undefined(36864, {'0', '2', '1', '0'});
  const TempFile file(FileWithPage(GetParam(), PageWithChild(kExifIfd, std::move(exif))));
  CommentSlots slots;
  slots.Set(kCommentFlash, {2, 0});
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  const FileBytes bytes = file.Read();
  EXPECT_EQ(ReadFileChild(bytes, ReadFilePage(bytes), kExifIfd).Tags(), (std::vector<uint16_t>{36864, 37385}));
}

TEST_P(CommentEdit, GpsDirectoryIsMadeWithItsVersion) {
  const TempFile file(NewBytes().Header(8).U16(1).Entry(256, 4, 1, 7).U32(0).bytes); // 26 bytes
  CommentSlots slots;
  slots.Set(kCommentGPSAltitude, {100, 0, 0, 0, 1, 0, 0, 0}).Set(kCommentGPSAltitudeRef, {1});
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(file.Read(), NewBytes()
                             .Header(76)
                             .U16(1)
                             .Entry(256, 4, 1, 7)
                             .U32(0)
                             .U32(100)
                             .U32(1)
                             .U16(3) // at 34
                             .EntryRaw(0, 1, 4, {2, 2, 0, 0})
                             .EntryRaw(5, 1, 1, {1, 0xFF, 0xFF, 0xFF})
                             .Entry(6, 5, 1, 26)
                             .U32(0)
                             .U16(2) // at 76
                             .Entry(256, 4, 1, 7)
                             .Entry(kGpsIfd, 4, 1, 34)
                             .U32(0)
                             .bytes);
}

TEST_P(CommentEdit, NewGpsDirectoryGoesToTheEndAlsoWithItsVersionAlone) {
  const TempFile file(NewBytes().Header(8).U16(1).Entry(256, 4, 1, 7).U32(0).bytes);
  CommentSlots slots;
  // Counted, since a NUL stands where the row ends, but passed over.
  slots.Text(kCommentGPSLatitudeRef, std::string_view("N\0S", 3));
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(file.Read(), NewBytes()
                             .Header(44)
                             .U16(1)
                             .Entry(256, 4, 1, 7)
                             .U32(0)
                             .U16(1) // at 26
                             .EntryRaw(0, 1, 4, {2, 2, 0, 0})
                             .U32(0)
                             .U16(2) // at 44
                             .Entry(256, 4, 1, 7)
                             .Entry(kGpsIfd, 4, 1, 26)
                             .U32(0)
                             .bytes);
}

TEST_P(CommentEdit, GpsDirectoryThatIsThereKeepsItsEntriesAndItsVersion) {
  TiffDirectory gps;
  gps.Byte(0, {2, 3, 0, 0}).Ascii(1, "S").Byte(5, {0});
  const TempFile file(FileWithPage(GetParam(), PageWithChild(kGpsIfd, std::move(gps))));
  const uint32_t place = ReadFilePage(file.Read()).Find(kGpsIfd)->word;
  CommentSlots slots;
  slots.Text(kCommentGPSLatitudeRef, "N");
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(Gps(file), (std::vector<EntryForm>{{0, 1, 4, {2, 3, 0, 0}}, {1, 2, 2, {'N', 0}}, {5, 1, 1, {0}}}));
  EXPECT_EQ(ReadFilePage(file.Read()).Find(kGpsIfd)->word, place);
}

TEST_P(CommentEdit, GpsEntryThatIsNoSingleLongIsReplaced) {
  for (const uint16_t type : std::initializer_list<uint16_t>{3, 13}) {
    TiffDirectory page = GrayPage(2, 2);
    page.RawWord(kGpsIfd, type, 1, 8);
    const TempFile file(FileWithPage(GetParam(), std::move(page)));
    const size_t before = file.Read().size();
    CommentSlots slots;
    slots.Text(kCommentGPSLatitudeRef, "N");
    EXPECT_EQ(SetComments(file, slots), kResultOk);
    const FileDirectory after = ReadFilePage(file.Read());
    EXPECT_EQ(after.Find(kGpsIfd)->type, 4);
    EXPECT_EQ(after.Find(kGpsIfd)->count, 1u);
    EXPECT_EQ(after.offset, 8u) << "no new entry, so that the page stays where it is";
    EXPECT_EQ(Gps(file), (std::vector<EntryForm>{{0, 1, 4, {2, 2, 0, 0}}, {1, 2, 2, {'N', 0}}}));
    EXPECT_EQ(file.Read().size(), before + before % 2 + 30);
  }
}

TEST_P(CommentEdit, CommentsOfAllHomesAtOnce) {
  TiffDirectory page = PageWithChild(kExifIfd, TiffDirectory().Undefined(36864, {'0', '2', '2', '1'}));
  const TempFile file(FileWithPage(GetParam(), std::move(page)));
  CommentSlots slots;
  slots.Text(kCommentArtist, "A. Painter").Text(kCommentDateTimeOriginal, "2024:01:02 03:04:05");
  slots.Text(kCommentGPSLatitudeRef, "N").Text(kCommentCity, "Paris");
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(WholeText(file, kCommentArtist), std::string("A. Painter\0", 11));
  EXPECT_EQ(WholeText(file, kCommentDateTimeOriginal), std::string("2024:01:02 03:04:05\0", 20));
  EXPECT_EQ(WholeText(file, kCommentGPSLatitudeRef), std::string("N\0", 2));
  EXPECT_EQ(WholeText(file, kCommentCity), "Paris");
}

TEST_P(CommentEdit, EmptyBlockLeavesTheFileUntouched) {
  FileBytes unsorted = NewBytes().Header(8).U16(2).Entry(257, 4, 1, 7).Entry(256, 4, 1, 7).U32(0).bytes;
  const TempFile file(unsorted);
  CommentSlots slots;
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(file.Read(), unsorted);
}

TEST_P(CommentEdit, TextOfNoBytesSetsNothing) {
  const TempFile file(PlainFile());
  const FileBytes before = file.Read();
  CommentSlots slots;
  slots.Text(kCommentArtist, "");
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  EXPECT_EQ(file.Read(), before);
}

TEST_P(CommentEdit, PageIsChosenByTheOptions) {
  TiffBuilder builder(GetParam());
  builder.AddPage(GrayPage(2, 2));
  builder.AddPage(GrayPage(2, 2));
  const TempFile file(builder.Build());
  SaveOptions options = {};
  options.pageNumber = 2;
  CommentSlots slots;
  slots.Text(kCommentPageName, "second");
  EXPECT_EQ(SetComments(file, slots, &options), kResultOk);
  EXPECT_EQ(ReadFilePage(file.Read(), 0).Find(285), nullptr);
  EXPECT_NE(ReadFilePage(file.Read(), 1).Find(285), nullptr);
  options.pageNumber = 3;
  EXPECT_EQ(SetComments(file, slots, &options), kResultNoSuchPage);
}

TEST_P(CommentEdit, PageEnteredByItsOffsetCannotGrow) {
  const TempFile file(PlainFile());
  SaveOptions options = {};
  options.flags = kSaveUseDirectoryOffset;
  options.directoryOffset = 8;
  CommentSlots slots;
  slots.Text(kCommentPageName, "a name");
  EXPECT_EQ(SetComments(file, slots, &options), kResultNoLinkWord);
  EXPECT_EQ(ReadFilePage(file.Read()).Find(285), nullptr);
  CommentSlots gps;
  gps.Text(kCommentGPSLatitudeRef, "N");
  EXPECT_EQ(SetComments(file, gps, &options), kResultNoLinkWord);
  EXPECT_EQ(ReadFilePage(file.Read()).Find(kGpsIfd), nullptr);
}

TEST_P(CommentEdit, FullExifDirectoryTakesAReplacedValue) {
  Bytes bytes = NewBytes().Header(8).U16(1).Entry(kExifIfd, 4, 1, 26).U32(0).U16(65535).EntryShort(37385, 1);
  for (uint32_t i = 1; i < 65535; ++i) {
    bytes.EntryShort(50000, 0);
  }
  bytes.U32(0);
  const TempFile file(bytes.bytes);
  CommentSlots flash;
  flash.Set(kCommentFlash, {9, 0});
  EXPECT_EQ(SetComments(file, flash), kResultOk);
  EXPECT_EQ(GetComment(file, kCommentFlash, 2), (CommentAnswer{2, {9, 0}}));
  CommentSlots one;
  one.Set(kCommentMeteringMode, {9, 0});
  EXPECT_EQ(SetComments(file, one), kResultNoMemory) << "a count word has 16 bits";
  EXPECT_EQ(file.Read().size(), bytes.bytes.size());
}

} // namespace
