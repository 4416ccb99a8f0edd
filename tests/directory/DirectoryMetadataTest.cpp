// Metadata in the directories of new pages: Exif and GPS directories, GeoTIFF keys, marker blocks, maker notes, and
// their places among the other values.

#include "directory/DirectoryInput.h"
#include "metadata/MarkerInput.h"

namespace {

class DirectoryMetadata : public testing::TestWithParam<FileOrder> {
protected:
  Bytes NewBytes() const { return Bytes(GetParam()); }
  ExpectedPage Begin() const {
    ExpectedPage page(GetParam());
    page.Long(254, 0).Long(256, 3).Long(257, 2).Short(258, {8}).Short(259, {1}).Short(262, {1});
    page.Offsets(273).Short(274, {1}).Short(277, {1}).Long(278, 2).Offsets(279);
    page.Rationals(282, {300}).Rationals(283, {200}).Short(284, {1}).Short(296, {2}).Short(297, {0, 0});
    return page;
  }
  // The three records of every Exif directory.
  Bytes& FixedExif(Bytes& bytes) const {
    return bytes.EntryRaw(40960, 7, 4, {'0', '1', '0', '0'}).EntryShort(40961, 1).U32(0);
  }
};

INSTANTIATE_TEST_SUITE_P(Orders, DirectoryMetadata, testing::Values(FileOrder::kLittle, FileOrder::kBig), OrderName);

TEST_P(DirectoryMetadata, ExifDirectoryIsWrittenAndAnUnneededGpsEntryDropped) {
  DirectoryInput input(GetParam());
  CommentSlots slots;
  slots.Text(kCommentDateTimeOriginal, "2024:01:02 03:04:05");
  input.Comments(slots);
  input.stateFlags = kStateExifIfd;
  Bytes exif = NewBytes().U16(4).EntryRaw(36864, 7, 4, {'0', '2', '2', '1'}).Entry(36867, 2, 20, 300);
  FixedExif(exif).Text(std::string_view("2024:01:02 03:04:05\0", 20));
  // 18 entries reserved: values from 230, the Exif directory from 246, its own value from 300.
  EXPECT_EQ(input.Write(), Begin().Raw(34665, 4, 1, exif.bytes).Hole(1).Build());
  EXPECT_EQ(input.position, 320u);
}

TEST_P(DirectoryMetadata, GpsDirectoryFollowsTheExifDirectory) {
  DirectoryInput input(GetParam());
  CommentSlots slots;
  slots.Text(kCommentGPSLatitudeRef, "N").Set(kCommentGPSAltitude, {100, 0, 0, 0, 1, 0, 0, 0});
  input.Comments(slots);
  input.stateFlags = kStateExifIfd;
  Bytes exif = NewBytes().U16(3).EntryRaw(36864, 7, 4, {'0', '2', '2', '1'});
  FixedExif(exif);
  const Bytes gps = NewBytes()
                        .U16(3) // at 288
                        .EntryRaw(0, 1, 4, {2, 2, 0, 0})
                        .EntryRaw(1, 2, 2, {'N', 0, 0, 0})
                        .Entry(6, 5, 1, 330)
                        .U32(0)
                        .U32(100)
                        .U32(1);
  EXPECT_EQ(input.Write(), Begin().Raw(34665, 4, 1, exif.bytes).Raw(34853, 4, 1, gps.bytes).Build());
}

TEST_P(DirectoryMetadata, ExifPageWithoutACommentBlockIsRefused) {
  DirectoryInput input(GetParam());
  input.stateFlags = kStateExifIfd;
  input.Write();
  EXPECT_EQ(input.result, kResultInvalidParameter);
}

TEST_P(DirectoryMetadata, ExifCommentsOfAnOrdinaryPageAreNotWritten) {
  DirectoryInput input(GetParam());
  CommentSlots slots;
  slots.Text(kCommentDateTimeOriginal, "2024:01:02 03:04:05").Text(kCommentGPSLatitudeRef, "N");
  input.Comments(slots);
  EXPECT_EQ(input.Write(), Begin().Build());
}

TEST_P(DirectoryMetadata, SizeOfTheImageGoesIntoACompressedExif) {
  DirectoryInput input(GetParam());
  CommentSlots slots;
  input.Comments(slots);
  input.stateFlags = kStateExifIfd | kStateExifCompressed;
  const FileBytes bytes = input.Write();
  const FileDirectory exif = ReadFileChild(bytes, ReadFilePage(bytes), 34665);
  EXPECT_EQ(exif.Find(40962)->word, 3u);
  EXPECT_EQ(exif.Find(40963)->word, 2u);
}

TEST_P(DirectoryMetadata, GeoKeysStandBehindTheTagsOfTheWriter) {
  DirectoryInput input(GetParam());
  uint8_t model[2] = {2, 0};
  uint8_t scale[8] = {0, 0, 0, 0, 0, 0, 0xF8, 0x3F}; // 1.5
  char citation[] = "WGS 84";
  TifGeoKeyItem second = {2057, 12, 1, scale, nullptr};
  TifGeoKeyItem first = {1026, 2, 7, citation, &second};
  TifGeoKeyItem list = {1024, 3, 1, model, &first};
  input.job.geoKeys = &list;
  input.stateFlags = kStateGeoKeys;
  FileBytes doubles = InFileOrder(GetParam(), 12, FileBytes(scale, scale + 8));
  ExpectedPage page = Begin();
  page.Short(34735, {1, 1, 2, 3, 1024, 0, 1, 2, 1026, 34737, 7, 0, 2057, 34736, 1, 0});
  page.Raw(34736, 12, 1, doubles).Raw(34737, 2, 8, {'W', 'G', 'S', ' ', '8', '4', '|', 0}).Hole(1);
  EXPECT_EQ(input.Write(), page.Build()) << "three entries and one reserved, all of them for the three tags";
}

TEST_P(DirectoryMetadata, GeoKeysWithoutTheirStateAreReservedAndNotWritten) {
  DirectoryInput input(GetParam());
  uint8_t model[2] = {2, 0};
  TifGeoKeyItem list = {1024, 3, 1, model, nullptr};
  input.job.geoKeys = &list;
  EXPECT_EQ(input.Write(), Begin().Hole(3).Build());
}

TEST_P(DirectoryMetadata, GeoPageWithoutKeysHasAnEmptyKeyDirectory) {
  DirectoryInput input(GetParam());
  input.stateFlags = kStateGeoKeys;
  EXPECT_EQ(input.Write(), Begin().Short(34735, {1, 1, 2, 0}).Build());
}

MarkerInput Markers(TiffDirectory page) {
  TiffBuilder tiff(FileOrder::kBig);
  tiff.AddPage(std::move(page));
  return MarkerInput(tiff.Build());
}

TEST_P(DirectoryMetadata, MarkerTagsFillWhatThePageLacks) {
  MarkerInput markers = Markers(
      TiffDirectory().Short(256, {9}).Ascii(271, "Maker").Ascii(272, "Model!").Short(40000, {7}).Ascii(305, "abc"));
  DirectoryInput input(GetParam());
  CommentSlots slots;
  slots.Text(kCommentModel, "mine");
  input.Comments(slots);
  input.job.markers = markers.Block();
  ExpectedPage page(GetParam());
  page.Long(254, 0).Long(256, 3).Long(257, 2).Short(258, {8}).Short(259, {1}).Short(262, {1}).Text(272, "mine");
  page.Offsets(273).Short(274, {1}).Short(277, {1}).Long(278, 2).Offsets(279);
  page.Rationals(282, {300}).Rationals(283, {200}).Short(284, {1}).Short(296, {2}).Short(297, {0, 0});
  page.Raw(271, 2, 6, {'M', 'a', 'k', 'e', 'r', 0});
  page.Raw(40000, 3, 1, {0, 0}).Raw(305, 2, 4, {0, 0, 0, 0}).Hole(2); // small values are lost
  EXPECT_EQ(input.Write(), page.Build());
}

TEST_P(DirectoryMetadata, MarkerExifGoesIntoTheExifDirectory) {
  TiffDirectory exif;
  exif.Ascii(36867, "2024:01:02 03:04:05").Short(37385, {7}).Long(40962, {99});
  TiffDirectory gps;
  gps.Ascii(1, "S");
  MarkerInput markers = Markers(TiffDirectory().Child(34665, std::move(exif)).Child(34853, std::move(gps)));
  DirectoryInput input(GetParam());
  CommentSlots slots;
  slots.Set(kCommentFlash, {1, 0});
  input.Comments(slots);
  input.stateFlags = kStateExifIfd;
  input.job.markers = markers.Block();
  const FileBytes bytes = input.Write();
  ASSERT_EQ(input.result, kResultOk);
  const FileDirectory page = ReadFilePage(bytes);
  const FileDirectory written = ReadFileChild(bytes, page, 34665);
  EXPECT_EQ(written.Tags(), (std::vector<uint16_t>{36864, 36867, 37385, 40960, 40961}));
  EXPECT_EQ(FirstNumber(written.Find(37385)->value, 3, GetParam()), 1u);
  EXPECT_EQ(ReadFileChild(bytes, page, 34853).Tags(), (std::vector<uint16_t>{0, 1}));
}

TEST_P(DirectoryMetadata, MalformedMarkersFailBeforeAnythingIsWritten) {
  MarkerInput markers;
  markers.Raw({0, 0, 0, 0});
  DirectoryInput input(GetParam());
  CommentSlots slots;
  slots.Text(kCommentCity, "Paris"); // a block that must be freed
  input.Comments(slots);
  input.job.markers = markers.Block();
  EXPECT_EQ(input.Write(), FileBytes{});
  EXPECT_EQ(input.result, kResultInvalidParameter);
}

TEST_P(DirectoryMetadata, ValuesGoOutInTheirFixedOrder) {
  MarkerInput markers = Markers(TiffDirectory().Ascii(40001, "of the markers"));
  DirectoryInput input(GetParam());
  input.Depth(8).Palette({{1, 2, 3, 0}});
  CommentSlots slots;
  slots.Text(kCommentCity, "Paris").Text(kCommentGPSLatitudeRef, "N").Text(kCommentImageDescription, "described");
  slots.Text(kCommentPageName, "a page").Text(kCommentSoftware, "a program").Text(kCommentCopyright, "rights");
  input.Comments(slots);
  TagItems items;
  items.Text(40000, "of the list");
  input.job.tagList = items.Head();
  input.job.markers = markers.Block();
  input.stateFlags = kStateExifIfd | kStateGeoKeys;
  const FileDirectory page = input.Written();
  uint32_t last = 0;
  for (const uint16_t tag :
       std::initializer_list<uint16_t>{270, 282, 283, 285, 305, 33432, 34735, 34665, 34853, 40000, 33723, 40001, 320}) {
    ASSERT_NE(page.Find(tag), nullptr) << tag;
    EXPECT_GT(page.Find(tag)->word, last) << tag;
    EXPECT_EQ(page.Find(tag)->word % 2, 0u);
    last = page.Find(tag)->word;
  }
  EXPECT_EQ(page.Find(273)->word, last + 3 * 256 * 2);
}

// A JPEG stream of odd length ends a maker note without a pad; the values behind it are even nevertheless.
TEST_P(DirectoryMetadata, OddMakerNoteLeavesTheValuesBehindItEven) {
  for (const bool withGps : {false, true}) {
    DirectoryInput input(GetParam());
    CommentSlots slots;
    slots.Set(
        kCommentMakerNote,
        Bytes(FileOrder::kLittle).U16(2).Entry(513, 4, 1, 30).Entry(514, 4, 1, 3).U32(0).Raw({0xFF, 0xD8, 0xFF}).bytes);
    slots.Text(kCommentCity, "Paris");
    if (withGps) {
      slots.Text(kCommentGPSLatitudeRef, "N");
    }
    input.Comments(slots);
    input.stateFlags = kStateExifIfd;
    const FileBytes bytes = input.Write();
    ASSERT_EQ(input.result, kResultOk);
    const FileDirectory page = ReadFilePage(bytes);
    const FileDirectory note = ReadFileChild(bytes, ReadFileChild(bytes, page, 34665), 37500);
    EXPECT_EQ(note.Find(513)->word % 2, 0u);
    EXPECT_EQ(bytes[note.Find(513)->word + 2], 0xFF);
    EXPECT_EQ(page.Find(33723)->word % 2, 0u);
    EXPECT_EQ(page.Find(33723)->value.back(), 's');
    EXPECT_EQ(page.Find(273)->word % 2, 0u);
    if (withGps) {
      EXPECT_EQ(ReadFileChild(bytes, page, 34853).Tags(), (std::vector<uint16_t>{0, 1}));
    }
  }
}

} // namespace
