// Rules of single tags, and random directories against what the table of tags says of each: which tags come out, that
// they ascend, that never more come out than were reserved, and that every value has its place.

#include <initializer_list>
#include <random>
#include <set>

#include "Tifutil/DirectoryEntries.h"
#include "directory/DirectoryInput.h"
#include "metadata/MarkerInput.h"

namespace {

uint32_t NumberOf(const FileDirectory& directory, uint16_t tag, FileOrder order) {
  const FileEntry* entry = directory.Find(tag);
  return entry != nullptr ? FirstNumber(entry->value, entry->type, order) : 0xFFFFFFFF;
}

class DirectoryTags : public testing::TestWithParam<FileOrder> {};

INSTANTIATE_TEST_SUITE_P(Orders, DirectoryTags, testing::Values(FileOrder::kLittle, FileOrder::kBig), OrderName);

TEST_P(DirectoryTags, OrientationOfEveryView) {
  const uint32_t kWritten[] = {1, 1, 2, 3, 1, 5, 6, 7, 8, 1, 1};
  for (uint32_t view = 0; view < std::size(kWritten); ++view) {
    DirectoryInput input(GetParam());
    input.descriptor.viewPerspective = view;
    EXPECT_EQ(NumberOf(input.Written(), 274, GetParam()), kWritten[view]) << view;
  }
}

TEST_P(DirectoryTags, ForcedPhotometrics) {
  for (const uint32_t forced : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 0xFFFFFFFFu}) {
    DirectoryInput input(GetParam());
    input.options.photometric = forced;
    EXPECT_EQ(NumberOf(input.Written(), 262, GetParam()), 1u) << "without the flag";
    DirectoryInput second(GetParam());
    second.options.photometric = forced;
    second.options.flags |= kSaveForcePhotometric;
    const bool taken = forced <= 6 || forced == 8;
    EXPECT_EQ(NumberOf(second.Written(), 262, GetParam()), taken ? forced : 1u);
  }
}

TEST_P(DirectoryTags, ForcedPhotometricLeavesTheColorMap) {
  DirectoryInput input(GetParam());
  input.Depth(4).Palette({{1, 2, 3, 0}});
  input.options.flags |= kSaveForcePhotometric;
  input.options.photometric = 1;
  const FileDirectory directory = input.Written();
  EXPECT_EQ(NumberOf(directory, 262, GetParam()), 1u);
  EXPECT_NE(directory.Find(320), nullptr);
}

TEST_P(DirectoryTags, PageNumberIsThatOfTheFile) {
  DirectoryInput input(GetParam());
  input.Write();
  for (int32_t page = 2; page <= 4; ++page) {
    FileBytes bytes = input.file.Read();
    bytes.insert(bytes.end(), 6, 0);
    input.file.Write(bytes);
    input.options.pageNumber = page;
    const FileBytes after = input.Write();
    const FileDirectory written = ReadFilePage(after, static_cast<uint32_t>(page) - 1);
    EXPECT_EQ(NumberOf(written, 297, GetParam()), static_cast<uint32_t>(page) - 1);
    EXPECT_EQ(NumberOf(written, 254, GetParam()), 2u);
  }
  EXPECT_EQ(NumberOf(ReadFilePage(input.file.Read()), 254, GetParam()), 2u) << "the first page is one of several now";
}

TEST_P(DirectoryTags, TooManyEntriesAreRefused) {
  DirectoryInput input(GetParam());
  TifTagItem item = {40000, kTypeByte, 1, &input, nullptr};
  std::vector<TifTagItem> list(65520, item);
  for (size_t i = 0; i + 1 < list.size(); ++i) {
    list[i].next = &list[i + 1];
  }
  input.job.tagList = list.data();
  input.Write();
  EXPECT_EQ(input.result, kResultNoMemory) << "65536 entries";
  DirectoryInput second(GetParam());
  second.job.tagList = &list[1];
  second.Write();
  EXPECT_EQ(second.result, kResultOk) << "65535 entries";
  EXPECT_EQ(second.entryCount, 65535u);
}

// A directory made by chance, with what must come of it.
class RandomDirectory {
public:
  explicit RandomDirectory(uint32_t seed)
      : random_(seed), order_(Chance(2) ? FileOrder::kLittle : FileOrder::kBig), input_(order_) {
    ChooseLayout();
    ChooseState();
    ChooseCompression();
    ChooseMetadata();
  }

  void Check() {
    TifFile counting = {};
    counting.stateFlags = input_.stateFlags;
    input_.job.stripCount = static_cast<uint32_t>(input_.byteCounts.size());
    DirectoryPlan plan = {};
    const uint32_t flags = input_.options.flags;
    ASSERT_EQ(TIFPlanDirectory(&counting, &input_.job, &plan), kResultOk);
    const uint32_t reserved = plan.entryCount;
    TIFFreeDirectoryPlan(&plan);
    input_.options.flags = flags;
    const FileBytes bytes = input_.Write();
    ASSERT_EQ(input_.result, kResultOk);
    const FileDirectory directory = ReadFilePage(bytes);
    EXPECT_LE(directory.entries.size(), reserved);
    EXPECT_EQ(directory.entries.size(), input_.entryCount);
    const std::vector<uint16_t> tags = directory.Tags();
    EXPECT_TRUE(std::is_sorted(tags.begin(), tags.end()));
    EXPECT_EQ(tags, ExpectedTags());
    CheckPlaces(bytes, directory, reserved);
  }

private:
  bool Chance(uint32_t outOf) { return random_() % outOf == 0; }
  template <typename T> T OneOf(std::initializer_list<T> values) {
    return *(values.begin() + random_() % values.size());
  }
  bool Has(uint32_t state) const { return (input_.stateFlags & state) != 0; }
  bool HasFlag(uint32_t flag) const { return (input_.options.flags & flag) != 0; }
  bool IsFax() const { return input_.job.compression == 3 || input_.job.compression == 4; }

  void ChooseLayout() {
    const int32_t depth = OneOf({1, 2, 4, 7, 8, 12, 16, 24, 32, 48, 64});
    input_.Depth(depth, OneOf<uint32_t>({0, 1, 2}));
    input_.descriptor.width = OneOf({1, 3, 100, 5000});
    input_.descriptor.viewPerspective = static_cast<uint32_t>(random_() % 10);
    input_.job.tileWidth = OneOf<uint32_t>({1, 3, 16, 100, 5000});
    input_.byteCounts.assign(1 + random_() % 5, 7);
    if (depth <= 8 && !Chance(3)) {
      const VxColor colors[] = {{0, 0, 0, 0}, {255, 255, 255, 0}, {1, 2, 3, 0}};
      input_.Palette({colors[random_() % 3], colors[random_() % 3]});
    }
    if (Chance(3)) {
      input_.descriptor.lowBit = 3;
    }
    if (Chance(2)) {
      input_.descriptor.highBit = depth - 1;
    }
  }
  void ChooseState() {
    for (const uint32_t state : {kStateCmyk, kStateYCbCr, kStateExifIfd, kStateExifCompressed, kStateGray,
                                 kStateGeoKeys, kStateFloat, kStateSigned, kStatePlanar}) {
      input_.stateFlags |= Chance(3) ? state : 0;
    }
    for (const uint32_t flag : {kSaveFillOrder2, kSaveNoSubfileType, kSaveKeepPageNumbers, kSaveForcePhotometric}) {
      input_.options.flags |= Chance(3) ? flag : 0;
    }
    input_.options.photometric = static_cast<uint32_t>(random_() % 10);
    if (Chance(6)) {
      input_.stateFlags |= kStateVariantFile;
    }
  }
  void ChooseCompression() {
    input_.job.compression = OneOf<uint32_t>({1, 2, 3, 4, 5, 32773, 34713, 34712});
    input_.page.predictor = OneOf<uint32_t>({0, 1, 2});
    pair_ = {12, OneOf<uint32_t>({0, 7}), OneOf<uint32_t>({0, 9})};
    input_.job.private50235 = Chance(3) ? nullptr : &pair_;
  }
  void ChooseMetadata() {
    hasComments_ = Has(kStateExifIfd) || Chance(2);
    if (hasComments_) {
      for (uint32_t number : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 36u, 37u, 42u, 49u, 192u, 213u}) {
        if (Chance(3)) {
          slots_.Text(number, std::string("textual").substr(0, number == 42 ? 1 : random_() % 8));
        }
      }
      input_.Comments(slots_);
    }
    for (const uint16_t tag : std::initializer_list<uint16_t>{256, 297, 339, 33723, 40000, 40000, 50235, 700}) {
      if (Chance(4)) {
        items_.Text(tag, std::string("listed").substr(0, 1 + random_() % 6));
        listed_.push_back(tag);
      }
    }
    input_.job.tagList = items_.Head();
    ChooseMarkers();
    if (Chance(3)) {
      static uint8_t model[2] = {2, 0};
      static char text[] = "WGS 84";
      keys_[0] = {1024, 3, 1, model, Chance(2) ? &keys_[1] : nullptr};
      keys_[1] = {1026, 2, 7, text, nullptr};
      input_.job.geoKeys = &keys_[0];
    }
  }
  void ChooseMarkers() {
    if (!Chance(2)) {
      return;
    }
    TiffBuilder tiff(FileOrder::kBig);
    TiffDirectory& page = tiff.AddPage();
    for (const uint16_t tag :
         std::initializer_list<uint16_t>{256, 269, 271, 285, 306, 317, 700, 33432, 33723, 40000, 40001, 50234}) {
      if (Chance(2)) {
        page.Ascii(tag, std::string("of a marker").substr(random_() % 10));
        inMarkers_.push_back(tag);
      }
    }
    markerExif_ = Chance(2);
    if (markerExif_) {
      page.Child(34665, TiffDirectory().Ascii(36867, "2024:01:02 03:04:05"));
    }
    markerGps_ = Chance(2);
    if (markerGps_) {
      page.Child(34853, TiffDirectory().Ascii(1, "N"));
    }
    page.Ascii(60000, "the last");
    inMarkers_.push_back(60000);
    markers_.Exif(tiff.Build());
    input_.job.markers = markers_.Block();
  }

  bool HasText(uint32_t slot) { return hasComments_ && slots_.Block()->slots[slot].data != nullptr; }
  bool HasGps() { return markerGps_ || HasText(42) || HasText(49); }
  bool NeedsColorMap() const {
    const int32_t depth = input_.job.bitsPerPixel;
    if (input_.palette.empty() || depth > 8 || (depth == 1 && IsFax())) {
      return false;
    }
    const VxColor& a = input_.palette[0];
    const VxColor& b = input_.palette[1];
    const bool blackAndWhite = a.red != b.red && a.red != 3 && b.red != 3;
    return depth > 1 || !blackAndWhite;
  }

  // The table of tags: each with the condition on which it is written.
  std::vector<uint16_t> ExpectedTags() {
    const bool variant = Has(kStateVariantFile);
    const bool tiled = static_cast<int32_t>(input_.job.tileWidth) < input_.descriptor.width;
    const int32_t depth = input_.job.bitsPerPixel;
    const uint32_t compression = input_.job.compression;
    std::vector<uint16_t> tags;
    const auto when = [&tags](bool condition, std::initializer_list<uint16_t> more) {
      if (condition) {
        tags.insert(tags.end(), more);
      }
    };
    when(variant ? tiled : !HasFlag(kSaveNoSubfileType), {254});
    when(true, {256, 257, 258, 262, 277, 282, 283, 296});
    when(!variant, {259, 274, 284});
    when(IsFax() || (compression == 1 && depth == 1 && HasFlag(kSaveFillOrder2)), {266});
    const uint16_t kTextTags[] = {315, 33432, 306, 270, 316, 271, 272, 269, 285, 305};
    for (uint32_t slot = 0; slot < 10; ++slot) {
      when(HasText(slot), {kTextTags[slot]});
    }
    when(!tiled || variant, {273, 279});
    when(tiled && !variant, {324, 325});
    when(!tiled, {278});
    when(tiled, {322, 323});
    when(IsFax() && !variant, {292, 293});
    when(!variant && !HasFlag(kSaveKeepPageNumbers), {297});
    when(compression == 5 && input_.page.predictor == 2, {317});
    when(NeedsColorMap(), {320});
    when(depth == 64 || (depth == 32 && input_.descriptor.order != 2), {338});
    when(Has(kStateFloat | kStateSigned), {339});
    when(Has(kStateYCbCr), {530, 531, 532});
    when(variant, {33465, 33466, 33467});
    when(Has(kStateGeoKeys), {34735});
    when(Has(kStateGeoKeys) && input_.job.geoKeys != nullptr && keys_[0].next != nullptr, {34737});
    when(Has(kStateExifIfd), {34665});
    when(Has(kStateExifIfd) && HasGps(), {34853});
    for (const uint16_t tag : listed_) {
      when(tag != 256 && tag != 33723, {tag});
    }
    const bool hasIptc = (HasText(192) && slots_.Size(192) > 0) || (HasText(213) && slots_.Size(213) > 0);
    when(!variant && hasIptc, {33723});
    when(input_.job.private50235 != nullptr && pair_.first != 0 && pair_.second != 0, {50235});
    const std::set<uint16_t> onPage(tags.begin(), tags.end());
    for (const uint16_t tag : inMarkers_) {
      const bool merged = tag >= 32768 || tag == 269 || tag == 271 || tag == 285 || tag == 306;
      when(merged && onPage.count(tag) == 0, {tag});
    }
    const int32_t highBit = input_.descriptor.highBit;
    when(input_.descriptor.order == 2 &&
             (input_.descriptor.lowBit != 0 || (highBit != -1 && highBit != input_.descriptor.bitsPerPixel - 1)),
         {50234});
    std::sort(tags.begin(), tags.end());
    return tags;
  }

  void CheckPlaces(const FileBytes& bytes, const FileDirectory& directory, uint32_t reserved) {
    const uint32_t values = 8 + 2 + 12 * reserved + 4;
    const bool tiles = directory.Find(324) != nullptr;
    const FileEntry* offsets = directory.Find(tiles ? 324 : 273);
    const FileEntry* counts = directory.Find(tiles ? 325 : 279);
    const auto strips = static_cast<uint32_t>(input_.byteCounts.size());
    ASSERT_EQ(offsets->count, strips);
    ASSERT_EQ(counts->count, strips);
    const uint32_t data = offsets->word;
    EXPECT_EQ(data % 2, 0u);
    EXPECT_EQ(input_.position, strips == 1 ? data : data + 8 * strips);
    EXPECT_EQ(counts->word, strips == 1 ? 7 : data + 4 * strips);
    EXPECT_EQ(bytes.size(), input_.position);
    for (const FileEntry& entry : directory.entries) {
      if (entry.value.size() <= 4 || &entry == offsets || &entry == counts || entry.word == 0) {
        continue; // inline, or a value of the markers that points nowhere
      }
      EXPECT_EQ(entry.word % 2, 0u) << entry.tag;
      EXPECT_GE(entry.word, values) << entry.tag;
      EXPECT_LE(entry.word + entry.value.size(), data) << entry.tag;
    }
    for (uint32_t i = 0; strips > 1 && i < strips; ++i) {
      EXPECT_EQ(GetU32(bytes, data + 4 * i, order_), data + 8 * strips + 7 * i);
      EXPECT_EQ(GetU32(bytes, data + 4 * strips + 4 * i, order_), 7u);
    }
    EXPECT_EQ(directory.next, 0u);
  }

  std::mt19937 random_;
  FileOrder order_;
  DirectoryInput input_;
  CommentSlots slots_;
  TagItems items_;
  MarkerInput markers_;
  TifGeoKeyItem keys_[2] = {};
  TifSizePair pair_ = {};
  std::vector<uint16_t> listed_;
  std::vector<uint16_t> inMarkers_;
  bool hasComments_ = false;
  bool markerExif_ = false;
  bool markerGps_ = false;
};

TEST(DirectoryByChance, WritesWhatTheTableOfTagsSays) {
  for (uint32_t seed = 1; seed <= 3000 && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    RandomDirectory directory(seed);
    directory.Check();
  }
}

} // namespace
