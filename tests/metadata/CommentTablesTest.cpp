// The tables of comments against what the standards say, row by row, and the public names.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "metadata/KnownComments.h"
#include "tif_com/CommentTables.h"

namespace {

struct ListedName {
  uint32_t number;
  std::string name;
};

#define NAME_OF(number, name, ...) {number, #name},

std::vector<ListedName> ListedNames() {
  return {VXTIF_MAIN_COMMENTS(NAME_OF) VXTIF_EXIF_COMMENTS(NAME_OF) VXTIF_GPS_COMMENTS(NAME_OF)
              VXTIF_IPTC_COMMENTS(NAME_OF)};
}

template <size_t kRows>
void ExpectRows(const known::TagComment (&known)[kRows], const CommentRow* table, uint32_t rows, CommentHome home) {
  ASSERT_EQ(rows, kRows);
  for (uint32_t i = 0; i < kRows; ++i) {
    SCOPED_TRACE(known[i].name);
    EXPECT_EQ(known[i].number, known[i].sameNumber);
    EXPECT_EQ(table[i].tag, known[i].tag);
    EXPECT_EQ(table[i].type, known[i].type);
    EXPECT_EQ(table[i].count, known[i].count);
    EXPECT_EQ(table[i].bytes, known[i].bytes);
    uint32_t row = 0;
    EXPECT_EQ(TIFFindCommentHome(known[i].number, &row), home);
    EXPECT_EQ(row, i);
  }
}

TEST(CommentTables, ExifRowsAreThoseOfTheStandard) {
  ExpectRows(known::kExif, kExifCommentTable, kExifCommentRows, CommentHome::kExif);
}

TEST(CommentTables, GpsRowsAreThoseOfTheStandard) {
  ExpectRows(known::kGps, kGpsCommentTable, kGpsCommentRows, CommentHome::kGps);
}

TEST(CommentTables, MainTagsStandInTheOrderOfTheirNumbers) {
  ASSERT_EQ(std::size(known::kMain), kMainCommentCount);
  for (uint32_t i = 0; i < kMainCommentCount; ++i) {
    EXPECT_EQ(known::kMain[i].number, i);
    EXPECT_EQ(known::kMain[i].sameNumber, i);
    EXPECT_EQ(kMainCommentTags[i], known::kMain[i].tag) << known::kMain[i].name;
    uint32_t row = 0;
    EXPECT_EQ(TIFFindCommentHome(i, &row), CommentHome::kMain);
    EXPECT_EQ(row, i);
  }
}

TEST(CommentTables, IptcRowsAreThoseOfTheStandardAndAscend) {
  ASSERT_EQ(kIptcCommentRows, std::size(known::kIptc));
  for (uint32_t i = 0; i < kIptcCommentRows; ++i) {
    const known::IptcComment& known = known::kIptc[i];
    SCOPED_TRACE(known.name);
    EXPECT_EQ(known.number, known.sameNumber);
    EXPECT_EQ(kIptcCommentTable[i].comment, known.number);
    EXPECT_EQ(kIptcCommentTable[i].comment, 181 + i);
    EXPECT_EQ(kIptcCommentTable[i].record, known.record);
    EXPECT_EQ(kIptcCommentTable[i].dataSet, known.dataSet);
    EXPECT_EQ(kIptcCommentTable[i].minimum, known.minimum);
    EXPECT_EQ(kIptcCommentTable[i].maximum, known.maximum);
    EXPECT_EQ(kIptcCommentTable[i].repeatable, known.repeatable);
  }
}

TEST(CommentTables, UnassignedNumbersHaveNoHome) {
  uint32_t row = 0;
  uint32_t assigned = 0;
  for (uint32_t number = 0; number < 300; ++number) {
    const bool free = (number >= 10 && number <= 20) || (number >= 68 && number <= 157) ||
                      (number >= 175 && number <= 180) || number > 246;
    EXPECT_EQ(TIFFindCommentHome(number, &row) == CommentHome::kNone, free) << number;
    assigned += !free;
  }
  EXPECT_EQ(assigned, 140u);
  EXPECT_EQ(TIFFindCommentHome(0xFFFFFFFF, &row), CommentHome::kNone);
}

TEST(CommentTables, PublicListsNameEveryAssignedNumberOnce) {
  std::vector<std::string> names(kCommentCount);
  for (const ListedName& listed : ListedNames()) {
    ASSERT_LT(listed.number, static_cast<uint32_t>(kCommentCount));
    EXPECT_EQ(names[listed.number], "") << listed.number;
    names[listed.number] = listed.name;
  }
  uint32_t row = 0;
  for (uint32_t number = 0; number < kCommentCount; ++number) {
    EXPECT_EQ(names[number].empty(), TIFFindCommentHome(number, &row) == CommentHome::kNone) << number;
  }
  for (const auto& known : known::kMain) {
    EXPECT_EQ(names[known.number], known.name);
  }
  for (const auto& known : known::kExif) {
    EXPECT_EQ(names[known.number], known.name);
  }
  for (const auto& known : known::kGps) {
    EXPECT_EQ(names[known.number], known.name);
  }
  for (const auto& known : known::kIptc) {
    EXPECT_EQ(names[known.number], known.name);
  }
}

} // namespace
