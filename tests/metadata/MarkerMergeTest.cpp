// Marker directories merged into entries: the filter, who wins, where values go, what becomes of small values and
// children.

#include <initializer_list>

#include "metadata/CommentInput.h"
#include "metadata/MarkerInput.h"
#include "tags/TagItems.h"
#include "tif_com/Memory.h"
#include "tree/TreeInput.h"

namespace {

constexpr uint16_t kExifIfd = 34665;
constexpr uint16_t kGpsIfd = 34853;

struct MergedEntry {
  uint16_t tag;
  uint16_t type;
  uint32_t count;
  uint32_t value;
  bool operator==(const MergedEntry&) const = default;
};

std::ostream& operator<<(std::ostream& out, const MergedEntry& entry) {
  return out << entry.tag << " type " << entry.type << " count " << entry.count << " value " << entry.value;
}

class MarkerMerge : public testing::TestWithParam<FileOrder> {
protected:
  Bytes NewBytes() const { return Bytes(GetParam()); }
  FileBytes Stored(uint16_t type, const FileBytes& host) const { return InFileOrder(GetParam(), type, host); }

  // Merges into a list that begins with `entries`, over a file of the 8 bytes of a header.
  int32_t Merge(TifDirectory* directory, TifDirKind kind = kDirMain, std::vector<MergedEntry> before = {}) {
    const TempFile temporary(NewBytes().Header(8).bytes);
    TifFile file = {};
    file.fileHandle = krnFileOpen(temporary.Name(), kKrnFileReadWrite, kKrnShareRead);
    file.byteOrder = GetParam() == FileOrder::kLittle ? kByteOrderLittle : kByteOrderBig;
    std::vector<TifDirEntry> entries(100);
    auto n = static_cast<uint32_t>(before.size());
    for (uint32_t i = 0; i < n; ++i) {
      entries[i] = {before[i].tag, before[i].type, before[i].count, before[i].value};
    }
    const int32_t result = TIFMergeMarkerDirectory(&file, entries.data(), &n, directory, kind);
    krnFileClose(file.fileHandle);
    bytes_ = temporary.Read();
    merged_.clear();
    for (uint32_t i = 0; i < n; ++i) {
      merged_.push_back({entries[i].tag, entries[i].type, entries[i].count, entries[i].value});
    }
    return result;
  }
  std::vector<uint16_t> MergedTags() const {
    std::vector<uint16_t> tags;
    for (const MergedEntry& entry : merged_) {
      tags.push_back(entry.tag);
    }
    return tags;
  }
  FileBytes PlainFile() const { return FileWithPage(GetParam(), GrayPage(2, 2)); }

  KernelGuard guard_;
  FileBytes bytes_; // the file afterwards
  std::vector<MergedEntry> merged_;
};

INSTANTIATE_TEST_SUITE_P(Orders, MarkerMerge, testing::Values(FileOrder::kLittle, FileOrder::kBig), OrderName);

// The markers come in the other order than the file's in half of the cases.
MarkerInput Markers(TiffDirectory page, FileOrder order = FileOrder::kBig) {
  TiffBuilder tiff(order);
  tiff.AddPage(std::move(page));
  return MarkerInput(tiff.Build());
}

TEST_P(MarkerMerge, TextsAndPrivateTagsPassTheFilterInAnyKind) {
  TiffDirectory page;
  for (const uint16_t tag : std::initializer_list<uint16_t>{
           254, 256, 258, 262, 268, 269,   270,   271,   272,   273 + 1, 282,   285,       297,  305,
           306, 315, 316, 317, 700, 32767, 32768, 33432, 33723, 34664,   34666, 37500 + 1, 65535}) {
    page.Short(tag, {5});
  }
  page.Child(kExifIfd, TiffDirectory().Short(37385, {7})).Child(kGpsIfd, TiffDirectory().Ascii(1, "N"));
  MarkerInput markers = Markers(std::move(page));
  const MarkerTree tree(markers);
  for (const TifDirKind kind : {kDirMain, kDirExif, kDirGps}) {
    EXPECT_EQ(Merge(tree.Tree(), kind), kResultOk);
    EXPECT_EQ(MergedTags(), (std::vector<uint16_t>{269, 270, 271, 272, 285, 305, 306, 315, 316, 32768, 33432, 33723,
                                                   34664, 34666, 37501, 65535}));
  }
}

TEST_P(MarkerMerge, NullDirectoryMergesNothing) {
  EXPECT_EQ(Merge(nullptr), kResultOk);
  EXPECT_EQ(merged_.size(), 0u);
}

TEST_P(MarkerMerge, TagThatIsThereStays) {
  MarkerInput markers = Markers(TiffDirectory().Ascii(271, "Other maker").Ascii(272, "Model"));
  const MarkerTree tree(markers);
  EXPECT_EQ(Merge(tree.Tree(), kDirMain, {{271, 2, 4, 0x41414141}}), kResultOk);
  EXPECT_EQ(merged_, (std::vector<MergedEntry>{{271, 2, 4, 0x41414141}, {272, 2, 6, 8}}));
  EXPECT_EQ(bytes_, NewBytes().Header(8).Text("Model").Raw({0}).bytes);
}

TEST_P(MarkerMerge, ValuesGoToTheEvenEndInTheFilesOrder) {
  MarkerInput markers = Markers(TiffDirectory()
                                    .Ascii(271, "Maker!")
                                    .Short(40000, {0x1234, 0x5678, 0x9ABC})
                                    .Long(40001, {0x01020304, 0x05060708})
                                    .Double(40002, {1.5}));
  const MarkerTree tree(markers);
  EXPECT_EQ(Merge(tree.Tree()), kResultOk);
  EXPECT_EQ(merged_,
            (std::vector<MergedEntry>{{271, 2, 7, 8}, {40000, 3, 3, 16}, {40001, 4, 2, 22}, {40002, 12, 1, 30}}));
  EXPECT_EQ(bytes_, NewBytes()
                        .Header(8)
                        .Text("Maker!")
                        .Raw({0})
                        .Text("M") // an odd size is padded with the value's first byte
                        .U16(0x1234)
                        .U16(0x5678)
                        .U16(0x9ABC)
                        .U32(0x01020304)
                        .U32(0x05060708)
                        .Raw(Stored(12, {0, 0, 0, 0, 0, 0, 0xF8, 0x3F}))
                        .bytes);
  EXPECT_EQ(Get(tree.Tree(), 40001).Bytes(8), (FileBytes{4, 3, 2, 1, 8, 7, 6, 5})) << "the tree is as it was";
}

TEST_P(MarkerMerge, ValuesOfUpToFourBytesAreLost) {
  MarkerInput markers =
      Markers(TiffDirectory().Ascii(271, "abc").Short(40000, {1, 2}).Long(40001, {7}).Byte(40002, {1}));
  const MarkerTree tree(markers);
  EXPECT_EQ(Merge(tree.Tree()), kResultOk);
  EXPECT_EQ(merged_, (std::vector<MergedEntry>{{271, 2, 4, 0}, {40000, 3, 2, 0}, {40001, 4, 1, 0}, {40002, 1, 1, 0}}));
  EXPECT_EQ(bytes_.size(), 8u);
}

TEST_P(MarkerMerge, ChildIsWrittenAndItsEntryPointsNowhere) {
  MarkerInput markers = Markers(TiffDirectory().Child(50236, TiffDirectory().Short(1, {7})));
  const MarkerTree tree(markers);
  EXPECT_EQ(Merge(tree.Tree()), kResultOk);
  EXPECT_EQ(merged_, (std::vector<MergedEntry>{{50236, 4, 1, 0}}));
  EXPECT_EQ(bytes_, NewBytes().Header(8).U16(1).EntryShort(1, 7).U32(0).bytes);
  EXPECT_EQ(Get(tree.Tree(), 50236).value, 8u) << "the place lands in the markers' record";
}

TEST_P(MarkerMerge, MakerNoteOfEitherFormIsWrittenAndItsEntryPointsNowhere) {
  TiffDirectory raw;
  raw.Undefined(37500, Telling(7));
  TiffDirectory form;
  form.Child(37500, TiffDirectory().Short(1, {7}), 7);
  TiffDirectory small; // inline bytes count as the note's place all the same: 2, where no directory can be
  small.Undefined(37500, {2, 0, 0});
  const struct {
    TiffDirectory exif;
    uint32_t count;
    FileBytes behind;
  } kCases[] = {{raw, 7,
                 [] {
                   FileBytes b = Telling(7);
                   b.push_back(b[0]);
                   return b;
                 }()},
                {form, 1, NewBytes().U16(1).EntryShort(1, 7).U32(0).bytes},
                {small, 3, {}}};
  for (const auto& known : kCases) {
    // Little-endian: a count of 1 would make the note's place a byte value that no order changes.
    MarkerInput markers = Markers(TiffDirectory().Child(kExifIfd, known.exif), FileOrder::kLittle);
    const MarkerTree tree(markers);
    auto* exif = static_cast<TifDirectory*>(const_cast<void*>(Get(tree.Tree(), kExifIfd).data));
    ASSERT_NE(exif, nullptr);
    EXPECT_EQ(Merge(exif, kDirExif), kResultOk);
    EXPECT_EQ(merged_, (std::vector<MergedEntry>{{37500, 7, known.count, 0}}));
    EXPECT_EQ(FileBytes(bytes_.begin() + 8, bytes_.end()), known.behind);
  }
}

// Records that no reader makes.
class HandMadeRecord {
public:
  HandMadeRecord(uint16_t tag, uint32_t count, void* data, uint32_t storage) : tree_(TIFNewDirectory(1)) {
    tree_->records[0] = {tag, kTypeUndefined, count, 0, data, storage};
  }
  ~HandMadeRecord() { TIFFree(tree_); }
  HandMadeRecord(const HandMadeRecord&) = delete;
  HandMadeRecord& operator=(const HandMadeRecord&) = delete;
  TifDirectory* Tree() const { return tree_; }

private:
  TifDirectory* tree_;
};

TEST_P(MarkerMerge, ChildWithoutDataIsANullPointer) {
  const HandMadeRecord record(50236, 1, nullptr, kStorageDirectory);
  EXPECT_EQ(Merge(record.Tree()), kResultNullPointer);
}

TEST_P(MarkerMerge, ChildOfAnUnusableStorageIsRefused) {
  uint8_t data[8] = {};
  for (const uint32_t storage : {kStorageNone, kStorageBlockArray, kStorageWritten}) {
    const HandMadeRecord record(50236, 1, data, storage);
    EXPECT_EQ(Merge(record.Tree()), kResultInvalidParameter);
  }
}

TEST_P(MarkerMerge, ChildrenOfAnArrayAreWrittenAndThenTheirOffsets) {
  TifDirectory* children[2] = {TIFNewDirectory(1), TIFNewDirectory(1)};
  children[0]->records[0] = {1, kTypeShort, 1, 7, nullptr, kStorageNone};
  children[1]->records[0] = {1, kTypeShort, 1, 8, nullptr, kStorageNone};
  const HandMadeRecord record(50236, 2, children, kStorageDirectoryArray);
  EXPECT_EQ(Merge(record.Tree()), kResultOk);
  EXPECT_EQ(bytes_, NewBytes()
                        .Header(8)
                        .U16(1)
                        .EntryShort(1, 7)
                        .U32(0)
                        .U16(1) // at 26
                        .EntryShort(1, 8)
                        .U32(0)
                        .U32(8) // at 44
                        .U32(26)
                        .bytes);
  EXPECT_EQ(Plain(record.Tree()->records[0]).value, 44u);
  {
    const AllocFaults faults(1);
    EXPECT_EQ(Merge(record.Tree()), kResultNoMemory);
  }
  TIFFree(children[0]);
  TIFFree(children[1]);
}

TEST_P(MarkerMerge, PageWithoutMakeGetsTheTextAndOneWithMakeKeepsItsOwn) {
  MarkerInput markers = Markers(TiffDirectory().Ascii(271, "Maker").Ascii(272, "A model"));
  TiffDirectory page = GrayPage(2, 2);
  page.Ascii(272, "My own").Sort();
  const TempFile file(FileWithPage(GetParam(), std::move(page)));
  CommentSlots none;
  EXPECT_EQ(SetComments(file, none, nullptr, markers.Block()), kResultOk);
  EXPECT_EQ(WholeText(file, kCommentMake), std::string("Maker\0", 6));
  EXPECT_EQ(WholeText(file, kCommentModel), std::string("My own\0", 7));
}

TEST_P(MarkerMerge, CommentsOfTheSameEditWinAndTagsWinOverAll) {
  MarkerInput markers = Markers(TiffDirectory().Ascii(271, "Maker").Ascii(272, "A model"));
  const TempFile file(PlainFile());
  CommentSlots slots;
  slots.Text(kCommentMake, "Set here");
  EXPECT_EQ(SetComments(file, slots, nullptr, markers.Block()), kResultOk);
  EXPECT_EQ(WholeText(file, kCommentMake), std::string("Set here\0", 9));
  EXPECT_EQ(WholeText(file, kCommentModel), std::string("A model\0", 8));
  const TempFile other(PlainFile());
  TagItems items;
  items.Text(271, "By the list");
  FilterSetTagRequest request = {other.Name(), items.Head(), markers.Block(), nullptr};
  EXPECT_EQ(fltSetTag(&request), kResultOk);
  EXPECT_EQ(WholeText(other, kCommentMake), std::string("By the list\0", 12));
  EXPECT_EQ(WholeText(other, kCommentModel), std::string("A model\0", 8));
}

TEST_P(MarkerMerge, EditKeepsWhatStandsBehindTheDirectory) {
  // The page's strip stands directly behind its directory; a marker's value goes to the end of the file instead.
  const TempFile file(
      NewBytes().Header(8).U16(2).Entry(273, 4, 1, 38).Entry(279, 4, 1, 7).U32(0).Text("pixels!").bytes); // 45 bytes
  MarkerInput markers = Markers(TiffDirectory().Ascii(271, "Maker!!"));
  FilterSetTagRequest request = {file.Name(), nullptr, markers.Block(), nullptr};
  EXPECT_EQ(fltSetTag(&request), kResultOk);
  EXPECT_EQ(file.Read(), NewBytes()
                             .Header(54)
                             .U16(2)
                             .Entry(273, 4, 1, 38)
                             .Entry(279, 4, 1, 7)
                             .U32(0)
                             .Text("pixels!")
                             .Raw({46})
                             .Text(std::string_view("Maker!!\0", 8)) // at 46
                             .U16(3)                                 // at 54
                             .Entry(271, 2, 8, 46)
                             .Entry(273, 4, 1, 38)
                             .Entry(279, 4, 1, 7)
                             .U32(0)
                             .bytes);
}

TEST_P(MarkerMerge, ExifDirectoryTakesTheMarkersTagsThatItLacks) {
  TiffDirectory markerExif;
  markerExif.Short(37385, {7}).Ascii(36867, "2024:01:02 03:04:05").Ascii(36868, "1999:01:02 03:04:05");
  markerExif.Undefined(37500, Telling(9)).Short(37383, {5});
  MarkerInput markers = Markers(TiffDirectory().Child(kExifIfd, std::move(markerExif)));
  TiffDirectory exif;
  exif.Short(37385, {1});
  const TempFile file(FileWithPage(GetParam(), PageWithChild(kExifIfd, std::move(exif))));
  CommentSlots slots;
  slots.Text(kCommentDateTimeDigitized, "2000:01:02 03:04:05");
  EXPECT_EQ(SetComments(file, slots, nullptr, markers.Block()), kResultOk);
  const FileBytes bytes = file.Read();
  const FileDirectory after = ReadFileDirectory(bytes, ReadFilePage(bytes).Find(kExifIfd)->word);
  EXPECT_EQ(after.Tags(), (std::vector<uint16_t>{36867, 36868, 37383, 37385, 37500}));
  EXPECT_EQ(WholeText(file, kCommentDateTimeOriginal), std::string("2024:01:02 03:04:05\0", 20));
  EXPECT_EQ(WholeText(file, kCommentDateTimeDigitized), std::string("2000:01:02 03:04:05\0", 20));
  EXPECT_EQ(GetComment(file, kCommentFlash, 2), (CommentAnswer{2, {1, 0}}));
  EXPECT_EQ(after.Find(37383)->word, 0u) << "small values are lost";
  EXPECT_EQ(after.Find(37500)->word, 0u) << "a maker note points nowhere";
  EXPECT_EQ(after.Find(37500)->count, 9u);
}

TEST_P(MarkerMerge, ExifOfTheMarkersOnAPageWithoutOneIsDropped) {
  MarkerInput markers = Markers(TiffDirectory().Child(kExifIfd, TiffDirectory().Short(37385, {7})));
  const TempFile file(PlainFile());
  const FileBytes before = file.Read();
  FilterSetTagRequest request = {file.Name(), nullptr, markers.Block(), nullptr};
  EXPECT_EQ(fltSetTag(&request), kResultOk);
  EXPECT_EQ(file.Read(), before);
}

TEST_P(MarkerMerge, GpsOfTheMarkersMakesADirectoryOfTheVersionAlone) {
  MarkerInput markers = Markers(TiffDirectory().Child(kGpsIfd, TiffDirectory().Ascii(1, "N").Byte(5, {0})));
  const TempFile file(PlainFile());
  FilterSetTagRequest request = {file.Name(), nullptr, markers.Block(), nullptr};
  EXPECT_EQ(fltSetTag(&request), kResultOk);
  const FileBytes bytes = file.Read();
  const FileDirectory gps = ReadFileChild(bytes, ReadFilePage(bytes), kGpsIfd);
  EXPECT_EQ(gps.Tags(), (std::vector<uint16_t>{0}));
  EXPECT_EQ(gps.entries[0].value, (FileBytes{2, 2, 0, 0}));
}

TEST_P(MarkerMerge, MalformedMarkersLeaveTheFileUntouched) {
  const TempFile file(PlainFile());
  const FileBytes before = file.Read();
  MarkerInput markers;
  markers.Raw({0, 0, 0, 0});
  CommentSlots slots;
  slots.Text(kCommentArtist, "never written");
  EXPECT_EQ(SetComments(file, slots, nullptr, markers.Block()), kResultInvalidParameter);
  EXPECT_EQ(file.Read(), before);
}

} // namespace
