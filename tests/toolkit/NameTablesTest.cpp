// The tables of names: results, formats, tags, comments, keys.

#include <initializer_list>
#include <set>

#include <gtest/gtest.h>

#include "toolkit/CommentTable.h"
#include "toolkit/FormatTables.h"
#include "toolkit/ResultText.h"
#include "toolkit/TagNames.h"

#include <vxtif/vxtif.h>

namespace {

TEST(ResultTexts, AreOnePerCode) {
  std::set<int32_t> codes;
  std::set<std::string> names;
  for (const toolkit::ResultText& text : toolkit::AllResultTexts()) {
    EXPECT_TRUE(codes.insert(text.code).second) << text.name;
    EXPECT_TRUE(names.insert(text.name).second) << text.name;
    EXPECT_STREQ(toolkit::DescribeResult(text.code).name, text.name);
    EXPECT_NE(std::string(text.meaning), "");
  }
  EXPECT_EQ(codes.size(), 43u);
  EXPECT_STREQ(toolkit::DescribeResult(-12345).name, "unknown");
}

TEST(Formats, AreFoundByNumberAndName) {
  EXPECT_EQ(toolkit::FindFormat("lzw")->number, kFormatLzw);
  EXPECT_EQ(toolkit::FindFormat("17"), toolkit::FindFormat(17));
  EXPECT_EQ(toolkit::FindFormat("lzw2"), nullptr);
  EXPECT_EQ(toolkit::FindFormat("17x"), nullptr);
  EXPECT_EQ(toolkit::FindFormat(""), nullptr);
  std::set<std::string> names;
  for (const toolkit::FormatRow& row : toolkit::AllFormats()) {
    EXPECT_TRUE(names.insert(row.name).second) << row.name;
  }
}

TEST(Siblings, AreEleven) {
  int32_t row = 0;
  for (const toolkit::SiblingLibrary& sibling : toolkit::AllSiblings()) {
    EXPECT_EQ(sibling.row, row++);
    EXPECT_FALSE(toolkit::IsSiblingPresent(sibling));
  }
  EXPECT_EQ(row, 11);
}

TEST(Tags, AreFoundByNumberAndName) {
  EXPECT_EQ(toolkit::ParseTag("Software"), 305);
  EXPECT_EQ(toolkit::ParseTag("SOFTWARE"), 305);
  EXPECT_EQ(toolkit::ParseTag("65535"), 65535);
  EXPECT_EQ(toolkit::ParseTag("65536"), std::nullopt);
  EXPECT_EQ(toolkit::ParseTag("Soft"), std::nullopt);
  EXPECT_EQ(toolkit::TagName(2), "");
  EXPECT_EQ(toolkit::TagName(2, toolkit::TagSpace::kGps), "GPSLatitude");
  EXPECT_EQ(toolkit::TagName(36867, toolkit::TagSpace::kExif), "DateTimeOriginal");
  EXPECT_EQ(toolkit::TypeName(5), "RATIONAL");
  EXPECT_EQ(toolkit::ParseType("srational"), 10);
}

TEST(GeoKeys, AreFoundWithOrWithoutTheirEnding) {
  EXPECT_EQ(toolkit::ParseGeoKey("GTModelTypeGeoKey"), 1024);
  EXPECT_EQ(toolkit::ParseGeoKey("gtmodeltype"), 1024);
  EXPECT_EQ(toolkit::ParseGeoKey("3072"), 3072);
  EXPECT_EQ(toolkit::GeoKeyName(3072), "ProjectedCSTypeGeoKey");
}

TEST(GeoKeys, HaveTheTypesOfTheStandard) {
  for (const auto key : std::initializer_list<uint16_t>{1024, 1025, 2048, 2050, 2051, 2052, 2054, 2056, 2060, 3072,
                                                        3074, 3075, 3076, 4096, 4099}) {
    EXPECT_EQ(toolkit::GeoKeyType(key), 3) << key;
  }
  for (const auto key : std::initializer_list<uint16_t>{1026, 2049, 3073, 4097}) {
    EXPECT_EQ(toolkit::GeoKeyType(key), 2) << key;
  }
  for (const auto key :
       std::initializer_list<uint16_t>{2053, 2055, 2057, 2058, 2059, 2061, 3077, 3078, 3080, 3086, 3092, 3095}) {
    EXPECT_EQ(toolkit::GeoKeyType(key), 12) << key;
  }
  EXPECT_EQ(toolkit::GeoKeyType(60000), std::nullopt);
}

TEST(Comments, CoverTheNumbersInUse) {
  std::set<std::string_view> names;
  for (const toolkit::CommentRow& row : toolkit::AllComments()) {
    EXPECT_TRUE(names.insert(row.name).second) << row.name;
    EXPECT_EQ(toolkit::FindComment(row.name), &row);
    EXPECT_EQ(toolkit::FindComment(row.number), &row);
  }
  EXPECT_EQ(names.size(), 140u);
  for (uint32_t number = 0; number < kCommentCount; ++number) {
    const bool unused =
        (number >= 10 && number <= 20) || (number >= 68 && number <= 157) || (number >= 175 && number <= 180);
    EXPECT_EQ(toolkit::FindComment(number) == nullptr, unused) << number;
  }
}

} // namespace
