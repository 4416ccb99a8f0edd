// Keys of a page, handed to a callback.

#include "geokeys/GeoKeyFiles.h"

#include "tif_com/GeoKeys.h"

using namespace std::string_literals;

namespace {

class ReadGeoKeys : public testing::TestWithParam<FileOrder> {
protected:
  KeyWalk Read(const GeoPage& page) {
    const TempFile file(page.File(GetParam()));
    return ReadKeys(file);
  }
  void ExpectNone(const GeoPage& page) {
    const KeyWalk walk = Read(page);
    EXPECT_EQ(walk.result, 1);
    EXPECT_EQ(walk.keys, std::vector<Key>{});
  }
};

INSTANTIATE_TEST_SUITE_P(Orders, ReadGeoKeys, testing::Values(FileOrder::kLittle, FileOrder::kBig),
                         [](const auto& order) { return order.param == FileOrder::kLittle ? "Little" : "Big"; });

TEST_P(ReadGeoKeys, PageWithoutKeysIsNoErrorAndNoCall) {
  TiffBuilder builder(GetParam());
  builder.AddPage(GrayPage(2, 2));
  const TempFile file(builder.Build());
  const KeyWalk walk = ReadKeys(file);
  EXPECT_EQ(walk.result, 1);
  EXPECT_TRUE(walk.keys.empty());
}

TEST_P(ReadGeoKeys, FewerThanFiveNumbersAreNoKeys) {
  ExpectNone({{1, 1, 2, 0}});
  ExpectNone({{1, 1, 0, 1}});
  ExpectNone({{1}});
}

TEST_P(ReadGeoKeys, AnotherVersionIsNoKeys) {
  for (uint16_t version : Shorts{0, 2, 256}) {
    ExpectNone({{version, 1, 2, 1, 1024, 0, 1, 7}});
  }
}

TEST_P(ReadGeoKeys, NoNumberOfKeysIsNoKeys) {
  ExpectNone({{1, 1, 2, 0, 1024, 0, 1, 7}});
}

TEST_P(ReadGeoKeys, DirectoryShorterThanItsKeysIsNoKeys) {
  ExpectNone({{1, 1, 2, 2, 1024, 0, 1, 7}});
  ExpectNone({{1, 1, 2, 2, 1024, 0, 1, 7, 1025, 0, 1}});
}

TEST_P(ReadGeoKeys, DirectoryOfAnotherTypeIsNoKeys) {
  TiffBuilder builder(GetParam());
  builder.AddPage(GrayPage(2, 2).Long(34735, {1, 1, 2, 1, 1024, 0, 1, 7}));
  const TempFile file(builder.Build());
  const KeyWalk walk = ReadKeys(file);
  EXPECT_EQ(walk.result, 1);
  EXPECT_TRUE(walk.keys.empty());
}

TEST_P(ReadGeoKeys, RevisionsAreNotLookedAt) {
  EXPECT_EQ(Read({{1, 99, 77, 1, 1024, 0, 1, 7}}).keys, std::vector<Key>{ShortKey(1024, {7})});
}

TEST_P(ReadGeoKeys, EveryLocation) {
  const KeyWalk walk =
      Read({{1, 1, 2, 4, 1024, 0, 1, 0x1234, 3072, 34735, 3, 20, 2057, 34736, 2, 1, 1026, 34737, 6, 5, 11, 22, 33},
            std::vector<double>{1.5, -2.25, 1e300},
            "none|title|"});
  EXPECT_EQ(walk.result, 1);
  EXPECT_EQ(walk.keys, (std::vector<Key>{ShortKey(1024, {0x1234}), ShortKey(3072, {11, 22, 33}),
                                         DoubleKey(2057, {-2.25, 1e300}), TextKey(1026, "title\0"s)}));
}

TEST_P(ReadGeoKeys, AKeyInTheGroupIsOneShortWhateverItsCount) {
  EXPECT_EQ(Read({{1, 1, 2, 2, 1024, 0, 0, 7, 1025, 0, 9, 8}}).keys,
            (std::vector<Key>{ShortKey(1024, {7}), ShortKey(1025, {8})}));
}

TEST_P(ReadGeoKeys, KeysThatPointOutsideTheirTagArePassedOver) {
  const std::vector<double> doubles = {1, 2};
  // 34 numbers, two doubles, four bytes: of each pair the first key ends with its tag, the second one behind it.
  const KeyWalk walk = Read({{1,  1,     2, 7,                                       //
                              1,  34735, 2, 32, 2, 34735, 2, 33,                     //
                              3,  34736, 1, 1,  4, 34736, 2, 1,                      //
                              5,  34737, 3, 1,  6, 34737, 3, 2,  7, 34737, 1, 65535, //
                              77, 88},
                             doubles,
                             "ab_c"});
  EXPECT_EQ(walk.result, 1);
  EXPECT_EQ(walk.keys, (std::vector<Key>{ShortKey(1, {77, 88}), DoubleKey(3, {2}), TextKey(5, "b_c")}));
}

TEST_P(ReadGeoKeys, KeysWithoutTheirTagArePassedOver) {
  EXPECT_EQ(Read({{1, 1, 2, 3, 1, 34736, 1, 0, 2, 34737, 1, 0, 3, 0, 1, 5}}).keys, std::vector<Key>{ShortKey(3, {5})});
}

TEST_P(ReadGeoKeys, ParametersOfAnotherTypeDoNotCount) {
  TiffBuilder builder(GetParam());
  builder.AddPage(GrayPage(2, 2)
                      .Short(34735, {1, 1, 2, 3, 1, 34736, 1, 0, 2, 34737, 1, 0, 3, 0, 1, 5})
                      .Float(34736, {1.0f, 2.0f})
                      .Byte(34737, {65, 66, 67, 68, 69}));
  const TempFile file(builder.Build());
  EXPECT_EQ(ReadKeys(file).keys, std::vector<Key>{ShortKey(3, {5})});
}

TEST_P(ReadGeoKeys, OtherLocationsArePassedOver) {
  EXPECT_EQ(Read({{1, 1, 2, 3, 1, 1, 1, 0, 2, 34734, 1, 0, 3, 0, 1, 5}}).keys, std::vector<Key>{ShortKey(3, {5})});
}

TEST_P(ReadGeoKeys, TextsThatShareTheTagComeOutNulEnded) {
  const KeyWalk walk = Read({{1, 1, 2, 2, 1026, 34737, 4, 0, 2049, 34737, 6, 4}, std::nullopt, "one|three|"});
  EXPECT_EQ(walk.keys, (std::vector<Key>{TextKey(1026, "one\0"s), TextKey(2049, "three\0"s)}));
}

TEST_P(ReadGeoKeys, DelimiterBehindATextIsTakenOutToo) {
  // The first key's count leaves the delimiter out; the second key looks at the byte that was one.
  const KeyWalk walk = Read({{1, 1, 2, 2, 1026, 34737, 3, 0, 2049, 34737, 5, 2}, std::nullopt, "one|three|"});
  EXPECT_EQ(walk.keys, (std::vector<Key>{TextKey(1026, "one"), TextKey(2049, "e\0thr"s)}));
}

TEST_P(ReadGeoKeys, OnlyDelimitersAtTheEndAreTaken) {
  const KeyWalk walk = Read({{1, 1, 2, 1, 1026, 34737, 6, 0}, std::nullopt, "a|b|c|"});
  EXPECT_EQ(walk.keys, std::vector<Key>{TextKey(1026, "a|b|c\0"s)});
}

TEST_P(ReadGeoKeys, ATextMayEndWithItsTag) {
  EXPECT_EQ(Read({{1, 1, 2, 1, 1026, 34737, 5, 0}, std::nullopt, "hello"}).keys,
            std::vector<Key>{TextKey(1026, "hello")});
  EXPECT_EQ(Read({{1, 1, 2, 1, 1026, 34737, 2, 1}, std::nullopt, "abc"}).keys, std::vector<Key>{TextKey(1026, "bc")});
}

TEST_P(ReadGeoKeys, CountOfZeroGivesAnEmptyValue) {
  const KeyWalk walk =
      Read({{1, 1, 2, 3, 1, 34735, 0, 16, 2, 34736, 0, 1, 3, 34737, 0, 4}, std::vector<double>{4}, "a|b|"});
  EXPECT_EQ(walk.keys, (std::vector<Key>{ShortKey(1, {}), DoubleKey(2, {}), TextKey(3, "")}));
}

TEST_P(ReadGeoKeys, AnIdThatComesTwiceKeepsTheLastValueAtTheFirstPlace) {
  const KeyWalk walk = Read(
      {{1, 1, 2, 4, 10, 34736, 1, 0, 11, 0, 1, 1, 10, 0, 1, 2, 10, 34737, 6, 0}, std::vector<double>{9}, "again|"});
  EXPECT_EQ(walk.keys, (std::vector<Key>{TextKey(10, "again\0"s), ShortKey(11, {1})}));
}

TEST_P(ReadGeoKeys, TheCallbackEndsTheWalk) {
  const TempFile file(GeoPage{{1, 1, 2, 3, 1, 0, 1, 5, 2, 0, 1, 6, 3, 0, 1, 7}}.File(GetParam()));
  for (int32_t answer : {0, -5, 2}) {
    const KernelGuard guard;
    KeyCollector collector;
    collector.stopAt = 2;
    collector.answer = answer;
    FilterEnumGeoKeysRequest request = {file.Name(), 0, KeyCollector::Take, reinterpret_cast<intptr_t>(&collector),
                                        nullptr};
    EXPECT_EQ(fltEnumGeoKeys(&request), answer);
    EXPECT_EQ(collector.keys.size(), 2u);
  }
}

TEST_P(ReadGeoKeys, PageAndStartDirectory) {
  TiffBuilder builder(GetParam());
  for (uint16_t page = 1; page <= 3; ++page) {
    builder.AddPage(GeoPage{{1, 1, 2, 1, 1024, 0, 1, page}}.Directory());
  }
  const TempFile file(builder.Build());
  FileOptions options = {};
  for (int32_t page : {0, 1, 2, 3, -1}) {
    options.pageNumber = page;
    const uint16_t expected = static_cast<uint16_t>(page == -1 ? 3 : page == 0 ? 1 : page);
    EXPECT_EQ(ReadKeys(file, &options).keys, std::vector<Key>{ShortKey(1024, {expected})}) << page;
  }
  options.directoryOffset = builder.DirectoryOffset(1);
  options.pageNumber = 1;
  EXPECT_EQ(ReadKeys(file, &options).keys, std::vector<Key>{ShortKey(1024, {1})}) << "without its flag";
  options.flags = kReadUseDirectoryOffset;
  EXPECT_EQ(ReadKeys(file, &options).keys, std::vector<Key>{ShortKey(1024, {2})});
  options.pageNumber = 2;
  EXPECT_EQ(ReadKeys(file, &options).keys, std::vector<Key>{ShortKey(1024, {3})});
  options.pageNumber = 3;
  EXPECT_EQ(ReadKeys(file, &options).result, -310);
  options.flags = 0;
  options.pageNumber = 4;
  EXPECT_EQ(ReadKeys(file, &options).result, -310);
}

TEST(ReadGeoKeysFailures, NamesAndFiles) {
  FilterEnumGeoKeysRequest request = {nullptr, 0, KeyCollector::Take, 0, nullptr};
  const CallCounter calls;
  EXPECT_EQ(fltEnumGeoKeys(&request), -8);
  EXPECT_EQ(calls.Since().opens, 0u);
  const TempFile missing;
  request.fileName = missing.Name();
  EXPECT_EQ(fltEnumGeoKeys(&request), -10);
  const TempFile text(FileBytes{'n', 'o', ' ', 't', 'i', 'f', 'f', '!', '!'});
  EXPECT_EQ(ReadKeys(text).result, -9);
}

TEST_P(ReadGeoKeys, AShortReadOfAnyTagIsAFailure) {
  const GeoPage page = {{1, 1, 2, 2, 1, 34736, 1, 0, 2, 34737, 6, 0}, std::vector<double>{1, 2}, "a text|"};
  for (uint16_t tag : Shorts{34735, 34736, 34737}) {
    TiffBuilder builder(GetParam());
    builder.AddPage(page.Directory());
    FileBytes bytes = builder.Build();
    PutU32(bytes, builder.EntryOffset(0, tag) + 8, GetParam(), static_cast<uint32_t>(bytes.size() - 4));
    EXPECT_EQ(ReadKeys(TempFile(bytes)).result, -7) << tag;
    PutU32(bytes, builder.EntryOffset(0, tag) + 4, GetParam(), 0x7FFFFFFF);
    EXPECT_EQ(ReadKeys(TempFile(bytes)).result, -7) << tag << ", and no memory is taken for such a count";
  }
}

TEST_P(ReadGeoKeys, EveryFailedAllocationIsAnError) {
  const TempFile file(
      GeoPage{{1, 1, 2, 3, 1, 34736, 1, 0, 2, 34737, 6, 0, 3, 0, 1, 1}, std::vector<double>{1}, "texts|"}.File(
          GetParam()));
  for (uint64_t nth = 1;; ++nth) {
    AllocFaults faults(nth);
    const KeyWalk walk = ReadKeys(file);
    if (faults.Calls() < nth) {
      EXPECT_EQ(walk.result, 1);
      EXPECT_EQ(nth, 8u); // entries, three tags, the list, two values
      break;
    }
    EXPECT_EQ(walk.result, -1) << nth;
    EXPECT_TRUE(walk.keys.empty());
  }
}

TEST_P(ReadGeoKeys, EveryFailedReadOrSeekIsAnErrorAndLeavesNothing) {
  const TempFile file(
      GeoPage{{1, 1, 2, 2, 1, 34736, 1, 0, 2, 34737, 6, 0}, std::vector<double>{1}, "texts|"}.File(GetParam()));
  for (IoCall call : {IoCall::kRead, IoCall::kSeek}) {
    for (uint64_t nth = 1;; ++nth) {
      IoFaults faults;
      faults.Fail(call, nth);
      const KeyWalk walk = ReadKeys(file);
      if (faults.Calls(call) < nth) {
        EXPECT_EQ(walk.result, 1);
        break;
      }
      EXPECT_TRUE(walk.result < 0 || walk.keys.size() == 2) << nth << " gives " << walk.result;
    }
  }
}

// 65,535 keys over one text of 65,535 bytes would be 4 GiB.
TEST(ReadGeoKeysLimits, SharedValuesDoNotAddUpWithoutEnd) {
  Shorts directory = {1, 1, 2, 65535};
  for (uint32_t key = 0; key < 65535; ++key) {
    directory.insert(directory.end(), {static_cast<uint16_t>(key), 34737, 65535, 0});
  }
  const TempFile file(GeoPage{directory, std::nullopt, std::string(65535, 'x')}.File(FileOrder::kLittle));
  krnResetStatistics();
  EXPECT_EQ(ReadKeys(file).result, -1);
  KrnStatistics statistics;
  krnGetStatistics(&statistics);
  EXPECT_LT(statistics.peakBytes, 32u << 20);
}

TEST(ReadGeoKeysLimits, ManyKeysAreReadAtOnce) {
  Shorts directory = {1, 1, 2, 65535};
  for (uint32_t key = 0; key < 65535; ++key) {
    directory.insert(directory.end(), {static_cast<uint16_t>(65534 - key), 0, 1, static_cast<uint16_t>(key)});
  }
  const TempFile file(GeoPage{directory}.File(FileOrder::kBig));
  const KeyWalk walk = ReadKeys(file);
  EXPECT_EQ(walk.result, 1);
  ASSERT_EQ(walk.keys.size(), 65535u);
  EXPECT_EQ(walk.keys[65534], ShortKey(0, {65534}));
}

TEST(LoadEntryValues, TypesOutsideTheTableAreRefused) {
  const TempFile file(GeoPage{{1, 1, 2, 1, 1024, 0, 1, 7}}.File(FileOrder::kLittle));
  TifFile tif = {};
  tif.byteOrder = kByteOrderLittle;
  tif.fileHandle = krnFileOpen(file.Name(), 0, 256);
  for (uint16_t type : Shorts{0, 13, 65535}) {
    const KernelGuard guard;
    const TifDirEntry entry = {1, type, 4, 8};
    void* out = &tif;
    EXPECT_EQ(TIFLoadEntryValues(&tif, &entry, &out), -140) << type;
    EXPECT_EQ(out, nullptr);
  }
  krnFileClose(tif.fileHandle);
}

} // namespace
