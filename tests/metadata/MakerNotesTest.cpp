// Maker notes between raw bytes and directories: read from a page, set in place, saved.

#include "metadata/CommentInput.h"
#include "tags/TagItems.h"
#include "tif_com/Comments.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Markers.h"

namespace {

constexpr uint16_t kExifIfd = 34665;

// A note with a number and a text of its own, at `place`; its offsets count from the start of what it stands in.
FileBytes Note(FileOrder order, uint32_t place, uint8_t pad) {
  return Bytes(order).U16(2).EntryShort(1, 7).Entry(2, 2, 7, place + 30).U32(0).Text("hello!").Raw({0, pad}).bytes;
}

// The form in which comments carry it: 38 bytes, padded with the low byte of its text's place.
const FileBytes kNoteForm = Note(FileOrder::kLittle, 0, 30);

class MakerNotes : public testing::TestWithParam<FileOrder> {
protected:
  Bytes NewBytes() const { return Bytes(GetParam()); }
  // A page at 8, its Exif directory at 26, whose maker note of `count` bytes stands at 44.
  FileBytes FileWithNote(const FileBytes& note, uint32_t count, uint16_t type = 7) const {
    return NewBytes()
        .Header(8)
        .U16(1)
        .Entry(kExifIfd, 4, 1, 26)
        .U32(0)
        .U16(1)
        .Entry(37500, type, count, 44)
        .U32(0)
        .Raw(note)
        .bytes;
  }
  // The same page with an Exif directory at 26 as a save writes it from one comment.
  FileBytes SavedNote(const FileBytes& note) const {
    const TempFile temporary(NewBytes().Header(8).U16(1).Entry(kExifIfd, 4, 1, 26).U32(0).bytes);
    CommentSlots slots;
    slots.Set(kCommentMakerNote, note);
    TifFile file = {};
    file.fileHandle = krnFileOpen(temporary.Name(), kKrnFileReadWrite, kKrnShareRead);
    file.byteOrder = GetParam() == FileOrder::kLittle ? kByteOrderLittle : kByteOrderBig;
    krnFileSeek(file.fileHandle, 0, kKrnSeekEnd);
    EXPECT_EQ(TIFWriteExifDirectory(&file, slots.Block(), 1, 1, nullptr), kResultOk);
    krnFileClose(file.fileHandle);
    EXPECT_EQ(slots.Buffer(kCommentMakerNote), [&] {
      FileBytes same = note;
      same.push_back(0xEE);
      return same;
    }());
    return temporary.Read();
  }
  KernelGuard guard_;
};

INSTANTIATE_TEST_SUITE_P(Orders, MakerNotes, testing::Values(FileOrder::kLittle, FileOrder::kBig), OrderName);

TEST_P(MakerNotes, NoteThatIsADirectoryIsReadInItsForm) {
  const TempFile file(FileWithNote(Note(GetParam(), 44, 0), 37));
  EXPECT_EQ(CommentSize(file, kCommentMakerNote), 37) << "the size alone is that of the tag";
  FileBytes expected = kNoteForm;
  expected.resize(50, 0xCC);
  EXPECT_EQ(GetComment(file, kCommentMakerNote, 50), (CommentAnswer{38, expected}));
}

TEST_P(MakerNotes, NoteOfTypeByteOrAsciiIsTriedAsADirectoryToo) {
  for (const uint16_t type : {uint16_t{1}, uint16_t{2}}) {
    const TempFile file(FileWithNote(Note(GetParam(), 44, 0), 37, type));
    EXPECT_EQ(GetComment(file, kCommentMakerNote, 38), (CommentAnswer{38, kNoteForm}));
  }
  const TempFile file(FileWithNote(Note(GetParam(), 44, 0), 37, 3));
  EXPECT_EQ(GetComment(file, kCommentMakerNote, 38).result, kResultTypeNotAllowed);
}

TEST_P(MakerNotes, BufferThatIsTooSmallGetsAShorterResult) {
  const TempFile file(FileWithNote(Note(GetParam(), 44, 0), 37));
  // The text goes out first, then its pad, then the directory in front of them.
  EXPECT_EQ(GetComment(file, kCommentMakerNote, 37).result, 37);
  EXPECT_EQ(GetComment(file, kCommentMakerNote, 33).result, 33);
  EXPECT_EQ(GetComment(file, kCommentMakerNote, 30).result, 0);
  EXPECT_EQ(GetComment(file, kCommentMakerNote, 0).result, 0);
}

TEST_P(MakerNotes, NoteThatIsNoDirectoryIsReadAsBytes) {
  const TempFile file(FileWithNote(Telling(21), 21));
  FileBytes expected = Telling(21);
  expected.resize(24, 0xCC);
  EXPECT_EQ(GetComment(file, kCommentMakerNote, 24), (CommentAnswer{21, expected}));
  EXPECT_EQ(GetComment(file, kCommentMakerNote, 5), (CommentAnswer{21, Telling(5)}));
}

TEST_P(MakerNotes, NoteInTheOtherOrderIsReadAsBytes) {
  const FileOrder other = GetParam() == FileOrder::kLittle ? FileOrder::kBig : FileOrder::kLittle;
  const FileBytes note = Note(other, 44, 0); // its count reads as 512 entries
  const TempFile file(FileWithNote(note, 38));
  EXPECT_EQ(GetComment(file, kCommentMakerNote, 38), (CommentAnswer{38, note}));
}

TEST_P(MakerNotes, SetInPlaceTheyAreStoredAsTheyCome) {
  TiffDirectory exif;
  exif.Short(37385, {1});
  const TempFile file(FileWithPage(GetParam(), PageWithChild(kExifIfd, std::move(exif))));
  CommentSlots slots;
  slots.Set(kCommentMakerNote, kNoteForm);
  EXPECT_EQ(SetComments(file, slots), kResultOk);
  const FileBytes bytes = file.Read();
  const FileDirectory after = ReadFileChild(bytes, ReadFilePage(bytes), kExifIfd);
  EXPECT_EQ(after.Find(37500)->type, 7);
  EXPECT_EQ(after.Find(37500)->value, kNoteForm);
}

TEST_P(MakerNotes, DirectoryFormIsSavedAsADirectoryOfItsNewPlace) {
  const TempFile file(SavedNote(kNoteForm));
  const FileBytes bytes = file.Read();
  const FileDirectory exif = ReadFileDirectory(bytes, 26);
  EXPECT_EQ(exif.Tags(), (std::vector<uint16_t>{36864, 37500, 40960, 40961}));
  EXPECT_EQ(exif.Find(37500)->count, 38u) << "the old count stays";
  ASSERT_EQ(exif.Find(37500)->word, 80u); // behind 2 + 4 x 12 + 4 bytes
  EXPECT_EQ(FileBytes(bytes.begin() + 80, bytes.end()), Note(GetParam(), 80, 110));
  EXPECT_EQ(GetComment(file, kCommentMakerNote, 38), (CommentAnswer{38, kNoteForm})) << "it survives the trip";
}

TEST_P(MakerNotes, OtherFormsAreSavedAsBytes) {
  for (const size_t size : {5u, 21u}) {
    const FileBytes bytes = SavedNote(Telling(size));
    EXPECT_EQ(ReadFileDirectory(bytes, 26).Find(37500)->value, Telling(size));
  }
  FileBytes broken = kNoteForm;
  broken.resize(34); // the text runs out of the block
  EXPECT_EQ(ReadFileDirectory(SavedNote(broken), 26).Find(37500)->value, broken);
  FileBytes empty(8, 0); // a directory without entries is none
  EXPECT_EQ(ReadFileDirectory(SavedNote(empty), 26).Find(37500)->value, empty);
}

// The tree writer gives every tag of a child directory the place where the child would stand.
TEST_P(MakerNotes, NoteOfUpToFourBytesLosesItsBytesOnASave) {
  const FileBytes bytes = SavedNote(Telling(3));
  const FileDirectory exif = ReadFileDirectory(bytes, 26);
  EXPECT_EQ(exif.Find(37500)->count, 3u);
  EXPECT_EQ(exif.Find(37500)->value, (FileBytes{80, 0, 0})) << "the place behind the directory";
  EXPECT_EQ(bytes.size(), 80u);
}

TEST(ParseMakerNotes, OnlyTheMakerNoteWithABlockIsTouched) {
  const KernelGuard guard;
  FileBytes block = kNoteForm;
  TifTagRecord records[3] = {{37510, kTypeUndefined, 38, 0, block.data(), kStorageBlock},
                             {37500, kTypeUndefined, 38, 0, block.data(), kStorageBlock},
                             {37500, kTypeUndefined, 2, 0x1234, nullptr, kStorageNone}};
  EXPECT_EQ(TIFParseMakerNotes(records, 3), kResultOk);
  EXPECT_EQ(records[0].storage + 0u, uint32_t{kStorageBlock});
  EXPECT_EQ(records[1].storage + 0u, uint32_t{kStorageDirectory | kStorageOwned});
  EXPECT_EQ(records[2].storage + 0u, uint32_t{kStorageNone});
  TIFFreeTagRecord(&records[1], kDirExif);
}

TEST(ParseMakerNotes, WithoutMemoryTheNoteStaysRaw) {
  const KernelGuard guard;
  FileBytes block = kNoteForm;
  uint64_t allocations = 0;
  for (uint64_t nth = 0; nth <= allocations; ++nth) {
    TifTagRecord record = {37500, kTypeUndefined, 38, 0, block.data(), kStorageBlock};
    {
      const AllocFaults faults(nth);
      EXPECT_EQ(TIFParseMakerNotes(&record, 1), kResultOk);
      allocations = nth == 0 ? faults.Calls() : allocations;
    }
    EXPECT_EQ(record.storage + 0u, nth == 0 ? 20u : 1u);
    if (nth == 0) {
      TIFFreeTagRecord(&record, kDirExif);
    }
  }
  EXPECT_GT(allocations, 2u);
}

} // namespace
