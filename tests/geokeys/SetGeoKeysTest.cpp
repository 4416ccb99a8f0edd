// Keys set in a page, compared tag by tag with what GeoTIFF wants and byte by byte where the place counts.

#include "geokeys/GeoKeyFiles.h"

#include <algorithm>
#include <deque>
#include <map>
#include <set>

#include "tif_com/GeoKeys.h"

using namespace std::string_literals;

namespace {

class KeyItems {
public:
  KeyItems& Add(const Key& key) {
    values_.push_back(key.value);
    items_.push_back(
        {static_cast<uint16_t>(key.id), static_cast<uint16_t>(key.type), key.count, values_.back().data(), nullptr});
    if (items_.size() > 1) {
      items_[items_.size() - 2].next = &items_.back();
    }
    return *this;
  }
  KeyItems& WithoutData() {
    items_.back().data = nullptr;
    return *this;
  }
  TifGeoKeyItem* Head() { return items_.empty() ? nullptr : &items_.front(); }
  const FileBytes& Value(size_t i) const { return values_.at(i); }

private:
  std::deque<TifGeoKeyItem> items_; // addresses stay good
  std::deque<FileBytes> values_;
};

int32_t SetKeys(const TempFile& file, KeyItems& items, SaveOptions* options = nullptr) {
  const KernelGuard guard;
  FilterSetGeoKeyRequest request = {file.Name(), options, items.Head()};
  return fltSetGeoKey(&request);
}

// A tag's type, count and values through the other export; type 0 for a tag that is not there.
struct TagValue {
  uint16_t type = 0;
  uint32_t count = 0;
  FileBytes bytes;
};

TagValue ReadTag(const TempFile& file, uint16_t tag) {
  TagValue value;
  FilterGetTagRequest request = {file.Name(), tag, &value.type, &value.count, nullptr, nullptr};
  if (fltGetTag(&request) != 1) {
    return {};
  }
  value.bytes.resize(value.count * TIFTypeSize(value.type));
  request.data = value.bytes.data();
  EXPECT_EQ(fltGetTag(&request), 1);
  return value;
}

Shorts ReadShorts(const TempFile& file, uint16_t tag = 34735) {
  const TagValue value = ReadTag(file, tag);
  EXPECT_EQ(value.type, kTypeShort);
  Shorts shorts(value.count);
  std::memcpy(shorts.data(), value.bytes.data(), value.bytes.size());
  return shorts;
}

std::string ReadText(const TempFile& file) {
  const TagValue value = ReadTag(file, 34737);
  return std::string(value.bytes.begin(), value.bytes.end());
}

class SetGeoKeys : public testing::TestWithParam<FileOrder> {
protected:
  FileBytes PlainFile() const {
    TiffBuilder builder(GetParam());
    builder.AddPage(GrayPage(2, 2));
    return builder.Build();
  }
  TempFile file_{PlainFile()};
  KeyItems items_;
};

INSTANTIATE_TEST_SUITE_P(Orders, SetGeoKeys, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const auto& order) { return order.param == FileOrder::kLittle ? "Little" : "Big"; });

TEST_P(SetGeoKeys, ASingleShortSitsInTheDirectoryAlone) {
  EXPECT_EQ(SetKeys(file_, items_.Add(ShortKey(1024, {2}))), 1);
  EXPECT_EQ(ReadShorts(file_), (Shorts{1, 1, 2, 1, 1024, 0, 1, 2}));
  EXPECT_EQ(ReadTag(file_, 34736).type, 0);
  EXPECT_EQ(ReadTag(file_, 34737).type, 0);
}

// By hand: a directory of one entry at 8, its value and the moved directory behind it.
TEST_P(SetGeoKeys, BytesOfTheFile) {
  const FileOrder order = GetParam();
  FileBytes before = order == FileOrder::kLittle ? FileBytes{'I', 'I'} : FileBytes{'M', 'M'};
  AppendU16(before, order, 42);
  AppendU32(before, order, 8);
  AppendU16(before, order, 1);
  FileBytes width;
  AppendU16(width, order, 256);
  AppendU16(width, order, 4);
  AppendU32(width, order, 1);
  AppendU32(width, order, 7);
  before.insert(before.end(), width.begin(), width.end());
  AppendU32(before, order, 0); // 26 bytes

  FileBytes after = before;
  PutU32(after, 4, order, 62);
  for (uint16_t number : Shorts{1, 1, 2, 2, 1024, 0, 1, 2, 1026, 34737, 5, 0}) { // 24 bytes at 26
    AppendU16(after, order, number);
  }
  after.insert(after.end(), {'n', 'a', 'm', 'e', '|', 0}); // at 50
  after.insert(after.end(), {0, 0, 0, 0, 0, 0});
  after.resize(56);
  AppendU16(after, order, 3);
  after.insert(after.end(), width.begin(), width.end());
  AppendU16(after, order, 34735);
  AppendU16(after, order, 3);
  AppendU32(after, order, 12);
  AppendU32(after, order, 26);
  AppendU16(after, order, 34737);
  AppendU16(after, order, 2);
  AppendU32(after, order, 6);
  AppendU32(after, order, 50);
  AppendU32(after, order, 0);
  PutU32(after, 4, order, 56);

  const TempFile file(before);
  EXPECT_EQ(SetKeys(file, items_.Add(TextKey(1026, "name\0"s)).Add(ShortKey(1024, {2}))), 1);
  EXPECT_EQ(file.Read(), after);
}

TEST_P(SetGeoKeys, DescendingKeysComeOutAscending) {
  items_.Add(ShortKey(3072, {5})).Add(ShortKey(2048, {4})).Add(ShortKey(1025, {1})).Add(ShortKey(1024, {2}));
  EXPECT_EQ(SetKeys(file_, items_), 1);
  EXPECT_EQ(ReadShorts(file_), (Shorts{1, 1, 2, 4, 1024, 0, 1, 2, 1025, 0, 1, 1, 2048, 0, 1, 4, 3072, 0, 1, 5}));
}

TEST_P(SetGeoKeys, ADoubleKeyAddsItsTagAndMovesTheDirectory) {
  const FileBytes before = file_.Read();
  EXPECT_EQ(SetKeys(file_, items_.Add(DoubleKey(2057, {6378137.0, -0.5}))), 1);
  EXPECT_EQ(ReadShorts(file_), (Shorts{1, 1, 2, 1, 2057, 34736, 2, 0}));
  const TagValue doubles = ReadTag(file_, 34736);
  EXPECT_EQ(doubles.type, kTypeDouble);
  EXPECT_EQ(doubles.bytes, DoubleKey(0, {6378137.0, -0.5}).value);
  const FileBytes after = file_.Read();
  EXPECT_NE(GetU32(after, 4, GetParam()), GetU32(before, 4, GetParam()));
  EXPECT_GE(GetU32(after, 4, GetParam()), before.size());
  EXPECT_EQ(items_.Value(0), DoubleKey(0, {6378137.0, -0.5}).value) << "the caller's data come back unchanged";
}

TEST_P(SetGeoKeys, SeveralValuesOfEachKind) {
  items_.Add(ShortKey(3000, {7, 8, 9}))
      .Add(DoubleKey(2059, {1.25}))
      .Add(TextKey(2049, "second\0"s))
      .Add(DoubleKey(2057, {2.5, 3.5}))
      .Add(TextKey(1026, "first\0"s))
      .Add(ShortKey(2999, {0xFFFE, 5}, kTypeSShort));
  EXPECT_EQ(SetKeys(file_, items_), 1);
  EXPECT_EQ(ReadShorts(file_),
            (Shorts{1,     1, 2, 6,    1026,  34737, 6,  0,    2049,  34737, 7,  6,      2057, 34736, 2, 0, 2059,
                    34736, 1, 2, 2999, 34735, 2,     28, 3000, 34735, 3,     30, 0xFFFE, 5,    7,     8, 9}));
  EXPECT_EQ(ReadTag(file_, 34736).bytes, DoubleKey(0, {2.5, 3.5, 1.25}).value);
  EXPECT_EQ(ReadText(file_), "first|second|\0"s);
  // And back: texts with their NUL, signed values as SHORTs.
  EXPECT_EQ(ReadKeys(file_).keys,
            (std::vector<Key>{TextKey(1026, "first\0"s), TextKey(2049, "second\0"s), DoubleKey(2057, {2.5, 3.5}),
                              DoubleKey(2059, {1.25}), ShortKey(2999, {0xFFFE, 5}), ShortKey(3000, {7, 8, 9})}));
}

TEST_P(SetGeoKeys, ATextWithoutNulHasACountWithoutDelimiter) {
  EXPECT_EQ(SetKeys(file_, items_.Add(TextKey(1026, "open")).Add(TextKey(2049, "")).Add(TextKey(3073, "\0"s))), 1);
  EXPECT_EQ(ReadShorts(file_), (Shorts{1, 1, 2, 3, 1026, 34737, 4, 0, 2049, 34737, 0, 5, 3073, 34737, 1, 6}));
  EXPECT_EQ(ReadText(file_), "open|||\0"s);
}

TEST_P(SetGeoKeys, KeysAreMergedOverThoseOfThePage) {
  const TempFile file(
      GeoPage{{1, 1, 2, 4, 1024, 0, 1, 2, 1026, 34737, 4, 0, 2057, 34736, 1, 0, 3000, 34735, 2, 20, 7, 8},
              std::vector<double>{4.5},
              "old|"}
          .File(GetParam()));
  EXPECT_EQ(SetKeys(file, items_.Add(ShortKey(3072, {32632})).Add(TextKey(1026, "a newer text\0"s))), 1);
  EXPECT_EQ(ReadKeys(file).keys,
            (std::vector<Key>{ShortKey(1024, {2}), TextKey(1026, "a newer text\0"s), DoubleKey(2057, {4.5}),
                              ShortKey(3000, {7, 8}), ShortKey(3072, {32632})}));
  EXPECT_EQ(ReadShorts(file), (Shorts{1,     1, 2, 5,    1024,  0, 1,  2,    1026, 34737, 13,    0, 2057,
                                      34736, 1, 0, 3000, 34735, 2, 24, 3072, 0,    1,     32632, 7, 8}));
}

TEST_P(SetGeoKeys, ALaterItemOfTheSameIdWins) {
  EXPECT_EQ(SetKeys(file_, items_.Add(DoubleKey(1024, {1})).Add(ShortKey(1024, {2}))), 1);
  EXPECT_EQ(ReadShorts(file_), (Shorts{1, 1, 2, 1, 1024, 0, 1, 2}));
}

TEST_P(SetGeoKeys, TheOldTagOfAKindStaysWhenNoKeyRefersToItAnyMore) {
  const TempFile file(
      GeoPage{{1, 1, 2, 2, 1026, 34737, 4, 0, 2057, 34736, 1, 0}, std::vector<double>{4.5}, "old|"}.File(GetParam()));
  EXPECT_EQ(SetKeys(file, items_.Add(ShortKey(1026, {1})).Add(ShortKey(2057, {2}))), 1);
  EXPECT_EQ(ReadShorts(file), (Shorts{1, 1, 2, 2, 1026, 0, 1, 1, 2057, 0, 1, 2}));
  EXPECT_EQ(ReadTag(file, 34736).bytes, DoubleKey(0, {4.5}).value);
  EXPECT_EQ(ReadText(file), "old|");
}

TEST_P(SetGeoKeys, OtherTagsAreNotTouched) {
  TiffBuilder builder(GetParam());
  builder.AddPage(GrayPage(2, 2).Ascii(40000, "private").Double(40001, {1.5}));
  const TempFile file(builder.Build());
  EXPECT_EQ(SetKeys(file, items_.Add(ShortKey(1024, {2}))), 1);
  const TagValue text = ReadTag(file, 40000);
  EXPECT_EQ(std::string(text.bytes.begin(), text.bytes.end()), "private\0"s);
  EXPECT_EQ(ReadTag(file, 40001).bytes, DoubleKey(0, {1.5}).value);
  EXPECT_EQ(ReadTag(file, 256).bytes, (FileBytes{2, 0, 0, 0}));
}

TEST_P(SetGeoKeys, UnknownTypesHaveAClearedGroup) {
  items_.Add({1500, 4, 2, FileBytes(8, 1)}).Add(ShortKey(1024, {2})).Add({1501, 0, 7, FileBytes(7, 1)});
  EXPECT_EQ(SetKeys(file_, items_), 1);
  EXPECT_EQ(ReadShorts(file_), (Shorts{1, 1, 2, 3, 1024, 0, 1, 2, 1500, 0, 2, 0, 1501, 0, 7, 0}));
}

TEST_P(SetGeoKeys, ItemsWithoutDataArePassedOverButForASingleShort) {
  items_.Add(ShortKey(1024, {9})).WithoutData();
  items_.Add(ShortKey(1025, {9, 9})).WithoutData();
  items_.Add(DoubleKey(1026, {9})).WithoutData();
  items_.Add(TextKey(1027, "text")).WithoutData();
  items_.Add(TextKey(1028, "")).WithoutData();
  EXPECT_EQ(SetKeys(file_, items_), 1);
  EXPECT_EQ(ReadShorts(file_), (Shorts{1, 1, 2, 2, 1024, 0, 1, 0, 1028, 34737, 0, 0}));
}

TEST_P(SetGeoKeys, SmallKeysOfThePageKeepTheirValue) {
  // Two SHORTs, a text of four bytes: held in the value word of their records.
  const TempFile file(
      GeoPage{{1, 1, 2, 2, 1026, 34737, 4, 0, 3000, 34735, 2, 12, 7, 8}, std::nullopt, "abc|"}.File(GetParam()));
  EXPECT_EQ(SetKeys(file, items_.Add(ShortKey(1024, {2}))), 1);
  EXPECT_EQ(ReadShorts(file), (Shorts{1, 1, 2, 3, 1024, 0, 1, 2, 1026, 34737, 4, 0, 3000, 34735, 2, 16, 7, 8}));
  EXPECT_EQ(ReadText(file), "abc|\0"s);
}

// A text of five bytes with its NUL is four without: the list is freed all the same.
TEST_P(SetGeoKeys, TextsThatShrinkToTheValueWordAreFreed) {
  const TempFile file(GeoPage{{1, 1, 2, 1, 1026, 34737, 5, 0}, std::nullopt, "abcd|"}.File(GetParam()));
  EXPECT_EQ(SetKeys(file, items_.Add(ShortKey(1024, {2}))), 1); // the guard looks for what is left over
  EXPECT_EQ(ReadKeys(file).keys, (std::vector<Key>{ShortKey(1024, {2}), TextKey(1026, "abcd\0"s)}));
}

TEST_P(SetGeoKeys, AnEmptyListChangesNothing) {
  const FileBytes before = file_.Read();
  EXPECT_EQ(SetKeys(file_, items_), 1);
  EXPECT_EQ(file_.Read(), before);
}

TEST_P(SetGeoKeys, SettingAgainWritesOverTheOldValueWhereItFits) {
  items_.Add(ShortKey(1024, {2})).Add(ShortKey(1025, {1}));
  EXPECT_EQ(SetKeys(file_, items_), 1);
  const FileBytes once = file_.Read();
  KeyItems again;
  EXPECT_EQ(SetKeys(file_, again.Add(ShortKey(1024, {3}))), 1);
  EXPECT_EQ(file_.Read().size(), once.size());
  EXPECT_EQ(ReadShorts(file_), (Shorts{1, 1, 2, 2, 1024, 0, 1, 3, 1025, 0, 1, 1}));
}

TEST_P(SetGeoKeys, APageReachedByItsOffsetCannotGrow) {
  TiffBuilder builder(GetParam());
  builder.AddPage(GrayPage(2, 2));
  builder.AddPage(GeoPage{{1, 1, 2, 1, 1024, 0, 1, 2}}.Directory());
  const TempFile file(builder.Build());
  SaveOptions options = {};
  options.flags = kSaveUseDirectoryOffset;
  options.directoryOffset = builder.DirectoryOffset(0);
  options.pageNumber = 1;
  EXPECT_EQ(SetKeys(file, items_.Add(ShortKey(1024, {5})), &options), -1365);
  options.directoryOffset = builder.DirectoryOffset(1);
  EXPECT_EQ(SetKeys(file, items_, &options), 1) << "replacing works";
  FileOptions second = {};
  second.pageNumber = 2;
  EXPECT_EQ(ReadKeys(file, &second).keys, std::vector<Key>{ShortKey(1024, {5})});
}

TEST_P(SetGeoKeys, FailuresOfTheFileAndThePage) {
  items_.Add(ShortKey(1024, {2}));
  const TempFile missing;
  EXPECT_EQ(SetKeys(missing, items_), -10);
  SaveOptions options = {};
  options.pageNumber = 2;
  EXPECT_EQ(SetKeys(file_, items_, &options), -310);
  TiffBuilder builder(GetParam());
  builder.AddPage(GeoPage{{1, 1, 2, 1, 1024, 0, 1, 2}}.Directory());
  FileBytes bytes = builder.Build();
  PutU32(bytes, builder.EntryOffset(0, 34735) + 8, GetParam(), static_cast<uint32_t>(bytes.size()));
  const TempFile cut(bytes);
  EXPECT_EQ(SetKeys(cut, items_), -7) << "the page's own keys cannot be read";
  EXPECT_EQ(cut.Read(), bytes);
}

TEST_P(SetGeoKeys, FailedAllocationsLeaveAReadablePage) {
  const FileBytes before =
      GeoPage{{1, 1, 2, 2, 1026, 34737, 6, 0, 2057, 34736, 1, 0}, std::vector<double>{4.5}, "older|"}.File(GetParam());
  items_.Add(ShortKey(1024, {2, 3, 4})).Add(DoubleKey(2059, {1})).Add(TextKey(1027, "new one"));
  int refused = 0;
  int unreported = 0;
  for (uint64_t nth = 1;; ++nth) {
    const TempFile file(before);
    int32_t result = 0;
    bool struck = false;
    {
      AllocFaults faults(nth);
      result = SetKeys(file, items_);
      struck = faults.Calls() >= nth;
    }
    const size_t keys = ReadKeys(file).keys.size();
    if (!struck) {
      EXPECT_EQ(result, 1);
      EXPECT_EQ(keys, 5u);
      break;
    }
    EXPECT_TRUE(result == 1 || result == -1) << nth;
    EXPECT_EQ(keys, 2u) << nth;
    (result == 1 ? unreported : refused) += 1;
  }
  EXPECT_EQ(unreported, 3) << "the three blocks of the packed tags";
  EXPECT_GE(refused, 5);
}

TEST_P(SetGeoKeys, AKeySetAgainReplacesItsOldValueAndNoneIsEverTaken) {
  items_.Add(ShortKey(1024, {2})).Add(DoubleKey(2057, {1})).Add(TextKey(2049, "one\0"s));
  ASSERT_EQ(SetKeys(file_, items_), 1);
  KeyItems again;
  ASSERT_EQ(SetKeys(file_, again.Add(TextKey(2049, "\0"s)).Add(DoubleKey(2057, {}))), 1);
  EXPECT_EQ(ReadKeys(file_).keys, (std::vector<Key>{ShortKey(1024, {2}), TextKey(2049, "\0"s), DoubleKey(2057, {})}));
}

// The type of a tag of a page; 0 when the page or the tag cannot be reached.
uint16_t TypeOnPage(const TempFile& file, int32_t page, uint16_t tag) {
  FileOptions options = {};
  options.pageNumber = page;
  uint16_t type = 0;
  FilterGetTagRequest request = {file.Name(), tag, &type, nullptr, nullptr, &options};
  return fltGetTag(&request) == 1 ? type : 0;
}

TEST_P(SetGeoKeys, FailedFileCallsGiveTheirCodesAndHarmNoPage) {
  TiffBuilder builder(GetParam());
  builder.AddPage(GrayPage(2, 2, 1));
  builder.AddPage(GeoPage{{1, 1, 2, 1, 1026, 34737, 6, 0}, std::nullopt, "older|"}.Directory());
  builder.AddPage(GrayPage(2, 2, 3));
  const FileBytes before = builder.Build();
  const uint32_t linkWord = builder.LinkOffset(1);
  const uint32_t directory = builder.DirectoryOffset(1);
  const uint32_t directoryEnd = builder.NextWordOffset(1) + 4;
  items_.Add(ShortKey(1024, {2, 3, 4})).Add(DoubleKey(2059, {1})).Add(TextKey(1027, "new one"));
  SaveOptions options = {};
  options.pageNumber = 2;
  FileOptions second = {};
  second.pageNumber = 2;
  const std::map<IoCall, std::set<int32_t>> told = {{IoCall::kOpen, {-10}},
                                                    {IoCall::kRead, {-9, -7, 1}},
                                                    {IoCall::kSeek, {-9, -7, -4, 1}},
                                                    {IoCall::kWrite, {-5, 1}}};
  for (const auto& [call, codes] : told) {
    for (const FaultSpan span : {FaultSpan::kOnce, FaultSpan::kFromThenOn}) {
      for (uint64_t nth = 1;; ++nth) {
        SCOPED_TRACE("call " + std::to_string(nth) + " of kind " + std::to_string(static_cast<int>(call)));
        const TempFile file(before);
        int32_t result = 0;
        bool struck = false;
        {
          IoFaults faults;
          faults.Fail(call, nth, span);
          result = SetKeys(file, items_, &options);
          struck = faults.Calls(call) >= nth;
        }
        FileBytes after = file.Read();
        ASSERT_GE(after.size(), before.size());
        if (!struck) {
          EXPECT_EQ(result, 1);
          EXPECT_EQ(ReadKeys(file, &second).keys.size(), 4u);
          break;
        }
        EXPECT_EQ(codes.count(result), 1u) << result;
        EXPECT_NE(TypeOnPage(file, 1, 256), 0);
        // A next word that cannot be read counts as 0: the edited page is the last one then.
        EXPECT_EQ(TypeOnPage(file, 3, 256) != 0, call != IoCall::kRead || result != 1);
        if (result != 1) {
          EXPECT_EQ(ReadKeys(file, &second).keys.size(), 1u);
        } else {
          // Failures behind the page's own keys are not reported; what is written then is its own directory or the
          // link.
          std::copy_n(before.begin() + linkWord, 4, after.begin() + linkWord);
          std::copy(before.begin() + directory, before.begin() + directoryEnd, after.begin() + directory);
        }
        EXPECT_TRUE(std::equal(before.begin(), before.end(), after.begin())) << "all other old bytes stay";
      }
    }
  }
}

} // namespace
