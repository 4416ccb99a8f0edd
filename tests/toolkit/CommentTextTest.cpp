// Comments as people write them: each form of each kind of value, what it becomes, and how it is shown again.

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "toolkit/CommentText.h"
#include "toolkit/DateText.h"
#include "toolkit/Fractions.h"
#include "toolkit/GpsText.h"

#include <vxtif/comments.h>

namespace {

using toolkit::CommentRow;
using toolkit::NumberedValue;

const CommentRow& Row(uint32_t number) {
  return *toolkit::FindComment(number);
}

// The elements of the value that a text sets, as a list.
std::string Parsed(uint32_t number, std::string_view text) {
  for (NumberedValue& value : toolkit::ParseComment(Row(number), text)) {
    if (value.number == number) {
      value.value.bytes.pop_back(); // the spare byte
      return toolkit::FormatValue(value.value.type, value.value.count, value.value.bytes, 0);
    }
  }
  return "nothing";
}

std::string Shown(uint32_t number, std::string_view text, std::string_view reference = "") {
  std::vector<uint8_t> bytes = toolkit::ParseComment(Row(number), text).back().value.bytes;
  for (const NumberedValue& value : toolkit::ParseComment(Row(number), text)) {
    if (value.number == number) {
      bytes = value.value.bytes;
    }
  }
  bytes.pop_back();
  return toolkit::FormatComment(Row(number), bytes, reference, 0);
}

void ExpectRefused(uint32_t number, std::initializer_list<const char*> texts) {
  for (const char* text : texts) {
    EXPECT_THROW(toolkit::ParseComment(Row(number), text), std::invalid_argument) << Row(number).name << " " << text;
  }
}

std::string Decimal(std::string_view text, uint32_t most = UINT32_MAX) {
  const toolkit::Fraction fraction = toolkit::ParseDecimal(text, most);
  return std::string(fraction.negative ? "-" : "").append(std::to_string(fraction.numerator)) + "/" +
         std::to_string(fraction.denominator);
}

TEST(Decimals, BecomeTheSameFraction) {
  EXPECT_EQ(Decimal("0"), "0/1");
  EXPECT_EQ(Decimal("35"), "35/1");
  EXPECT_EQ(Decimal("2.8"), "14/5");
  EXPECT_EQ(Decimal("0.008"), "1/125");
  EXPECT_EQ(Decimal(".5"), "1/2");
  EXPECT_EQ(Decimal("-0.75"), "-3/4");
  EXPECT_EQ(Decimal("+1.50"), "3/2");
  EXPECT_EQ(Decimal("4294967295"), "4294967295/1");
}

TEST(Decimals, BecomeTheNearestFractionWhereTheSameHasNoPlace) {
  EXPECT_EQ(Decimal("3.14159265358979323846", 1000), "355/113");
  EXPECT_EQ(Decimal("0.333333333333333333"), "1/3");
  EXPECT_EQ(Decimal("0.0009", 1000), "1/1000"); // 1/1111 is the number; 1/1000 is nearer than 0
  EXPECT_EQ(Decimal("0.0004", 1000), "0/1");
  EXPECT_EQ(Decimal("0.000000000000000000000001"), "0/1");
}

TEST(Decimals, OutOfRangeOrNoNumbersAreRefused) {
  for (const char* text : {"", ".", "-", "1.2.3", "1e3", "x", "1 2", "4294967296", "4294967295.5"}) {
    EXPECT_THROW(toolkit::ParseDecimal(text, UINT32_MAX), std::invalid_argument) << text;
  }
}

TEST(Decimals, AreShownExactlyOrAsFractions) {
  EXPECT_EQ(toolkit::FormatExactly(3024, 100), "30.24");
  EXPECT_EQ(toolkit::FormatExactly(40, 1), "40");
  EXPECT_EQ(toolkit::FormatExactly(1, 3), "1/3");
  EXPECT_EQ(toolkit::FormatExactly(0, 7), "0");
  EXPECT_EQ(toolkit::FormatExactly(1, 0), "1/0");
}

TEST(CommentFractions, AreTakenAsWrittenOrFromDecimals) {
  EXPECT_EQ(Parsed(kCommentExposureTime, "1/125"), "1/125");
  EXPECT_EQ(Parsed(kCommentExposureTime, "10/1250"), "10/1250"); // a fraction is not reduced
  EXPECT_EQ(Parsed(kCommentExposureTime, "0.008 s"), "1/125");
  EXPECT_EQ(Parsed(kCommentExposureTime, "1/125s"), "1/125");
  EXPECT_EQ(Parsed(kCommentFNumber, "f/2.8"), "14/5");
  EXPECT_EQ(Parsed(kCommentFNumber, "2.8"), "14/5");
  EXPECT_EQ(Parsed(kCommentFocalLength, "50 mm"), "50/1");
  EXPECT_EQ(Parsed(kCommentSubjectDistance, "2.5m"), "5/2");
  EXPECT_EQ(Parsed(kCommentExposureBiasValue, "-1/3"), "-1/3");
  EXPECT_EQ(Parsed(kCommentExposureBiasValue, "+0.5"), "1/2");
  EXPECT_EQ(Parsed(kCommentExposureBiasValue, "-0.5"), "-1/2");
  EXPECT_EQ(Parsed(kCommentGamma, "2.2"), "11/5");
  ExpectRefused(kCommentExposureTime, {"", "-1/125", "-0.5", "1/125,1/60", "fast", "1/", "0.5 mm"});
}

TEST(CommentNumbers, AreSingleOrLists) {
  EXPECT_EQ(Parsed(kCommentMeteringMode, "5"), "5");
  EXPECT_EQ(Parsed(kCommentISOSpeedRatings, "100,200,400"), "100,200,400");
  EXPECT_EQ(Parsed(kCommentISOSpeedRatings, "100, 200"), "100,200");
  EXPECT_EQ(Parsed(kCommentSubjectLocation, "10,20"), "10,20");
  EXPECT_EQ(Parsed(kCommentFileSource, "3"), "3");
  EXPECT_EQ(Parsed(kCommentCFAPattern, "x000200020001"), "0,2,0,2,0,1");
  ExpectRefused(kCommentMeteringMode, {"", "5,6", "65536", "-1", "five", "5.5"});
  ExpectRefused(kCommentSubjectLocation, {"10", "10,20,30"});
}

TEST(CommentTexts, StandAsTheyAre) {
  EXPECT_EQ(Parsed(kCommentArtist, " A. Painter; B=C"), " A. Painter; B=C");
  EXPECT_EQ(Parsed(kCommentCity, "Paris"), "Paris");
  EXPECT_EQ(Parsed(kCommentImageUniqueID, std::string(32, 'a')), std::string(32, 'a'));
  ExpectRefused(kCommentImageUniqueID, {"tooshort"});
  ExpectRefused(kCommentGPSStatus, {"", "AB"});
  ExpectRefused(kCommentCategory, {"", "four"});
}

TEST(CommentTexts, OfCodedValuesCarryTheirCode) {
  const auto bytes = toolkit::ParseComment(Row(kCommentUserComment), "a note")[0].value.bytes;
  EXPECT_EQ(std::string(bytes.begin(), bytes.end() - 1), std::string("ASCII\0\0\0a note", 14));
  const auto others = toolkit::ParseComment(Row(kCommentUserComment), "Gr\xC3\xB6\xC3\x9F"
                                                                      "e")[0]
                          .value.bytes;
  EXPECT_EQ(std::string(others.begin(), others.begin() + 8), std::string(8, '\0'));
  EXPECT_EQ(Shown(kCommentUserComment, "a note"), "a note");
  EXPECT_EQ(Shown(kCommentGPSProcessingMethod, "Gr\xC3\xB6\xC3\x9F"
                                               "e"),
            "Gr\xC3\xB6\xC3\x9F"
            "e");
}

TEST(CommentTexts, OfTwoByteCodesAreShownInEitherOrder) {
  const auto shown = [](std::string_view bytes) {
    return toolkit::FormatComment(Row(kCommentUserComment),
                                  {reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()}, "", 0);
  };
  EXPECT_EQ(shown(std::string_view("UNICODE\0a\0b\0\0\0", 14)), "ab");
  EXPECT_EQ(shown(std::string_view("UNICODE\0\0a\0b", 12)), "ab");
  EXPECT_EQ(shown(std::string_view("JIS\0\0\0\0\0\1", 9)), "74,73,83,0,0,0,0,0,1");
  EXPECT_EQ(shown("short"), "115,104,111,114,116");
}

TEST(CommentDates, ComeInExifAndIsoForm) {
  for (const uint32_t number : {kCommentDateTime, kCommentDateTimeOriginal, kCommentDateTimeDigitized}) {
    for (const char* text :
         {"2024:01:02 03:04:05", "2024-01-02 03:04:05", "2024-01-02T03:04:05", "2024/01/02 03:04:05"}) {
      EXPECT_EQ(Parsed(number, text), "2024:01:02 03:04:05") << text;
    }
    EXPECT_EQ(Parsed(number, "2024-01-02 03:04"), "2024:01:02 03:04:00");
    EXPECT_EQ(Parsed(number, "    :  :     :  :  "), "    :  :     :  :  ");
    EXPECT_EQ(Parsed(number, "2024-02-29 23:59:60"), "2024:02:29 23:59:60");
    ExpectRefused(number, {"", "2024-01-02", "yesterday", "2024-01-02 25:00:00", "2023-02-29 00:00:00",
                           "2024-13-01 00:00:00", "2024-00-01 00:00:00", "2024-01-02 03:04:05Z",
                           "2024-01-02T03:04:05+01:00", "2024-01-02 03:04:05.5", "20240102 030405", "2024-1-2 3:4:5"});
  }
  EXPECT_EQ(Parsed(kCommentGPSDateStamp, "2024-01-02"), "2024:01:02");
  EXPECT_EQ(Parsed(kCommentGPSDateStamp, "2024:01:02"), "2024:01:02");
  ExpectRefused(kCommentGPSDateStamp, {"2024-01-02 03:04:05", "2024-02-30", "20240102"});
}

TEST(CommentDates, OfIptcAreBareAndShownInIsoForm) {
  for (const char* text : {"20240102", "2024-01-02", "2024:01:02"}) {
    EXPECT_EQ(Parsed(kCommentDateCreated, text), "20240102") << text;
  }
  EXPECT_EQ(Parsed(kCommentDateCreated, "20240000"), "20240000"); // day and month not known
  EXPECT_EQ(Shown(kCommentDateCreated, "20240102"), "2024-01-02");
  for (const char* text : {"030405+0130", "03:04:05+01:30", "030405+01:30", "03:04:05+0130"}) {
    EXPECT_EQ(Parsed(kCommentTimeCreated, text), "030405+0130") << text;
  }
  EXPECT_EQ(Parsed(kCommentTimeCreated, "03:04:05Z"), "030405+0000");
  EXPECT_EQ(Parsed(kCommentTimeCreated, "03:04:05-02:00"), "030405-0200");
  EXPECT_EQ(Shown(kCommentTimeCreated, "030405-0200"), "03:04:05-02:00");
  ExpectRefused(kCommentDateCreated, {"2024-01", "20240230", "2024-01-02x", "today"});
  ExpectRefused(kCommentTimeCreated, {"03:04:05", "25:00:00Z", "03:04:05+1", "03:04:05Z1", "noon"});
  const std::string two = "20240102\1noise";
  EXPECT_EQ(toolkit::FormatComment(Row(kCommentReferenceDate),
                                   {reinterpret_cast<const uint8_t*>(two.data()), two.size()}, "", 0),
            "2024-01-02;noise");
}

TEST(CommentPlaces, ComeAsDegreesInManyForms) {
  for (const char* text : {"48.8584N", "48.8584 N", "N48.8584", "+48.8584", "48.8584n",
                           "48\xC2\xB0"
                           "51'30.24\"N",
                           "48\xC2\xB0 51\xE2\x80\xB2 30.24\xE2\x80\xB3 N", "48 51 30.24 N", "48 deg 51' 30.24\" N",
                           "48d51'30.24''N", "N 48:51:30.24", "48 deg 51 min 30.24 sec N", "48,51,30.24,N"}) {
    const auto values = toolkit::ParseComment(Row(kCommentGPSLatitude), text);
    ASSERT_EQ(values.size(), 2u) << text;
    EXPECT_EQ(Parsed(kCommentGPSLatitude, text), "48/1,51/1,756/25") << text;
    EXPECT_EQ(values[1].number, kCommentGPSLatitudeRef);
    EXPECT_EQ(values[1].value.bytes[0], 'N') << text;
  }
}

TEST(CommentPlaces, HemispheresAreToldByLetterOrSignOrNotAtAll) {
  const auto hemisphere = [](uint32_t number, const char* text) {
    const auto values = toolkit::ParseComment(Row(number), text);
    return values.size() == 2 ? static_cast<char>(values[1].value.bytes[0]) : '-';
  };
  EXPECT_EQ(hemisphere(kCommentGPSLatitude, "-33.5"), 'S');
  EXPECT_EQ(hemisphere(kCommentGPSLatitude, "\xE2\x88\x92"
                                            "33.5"),
            'S');
  EXPECT_EQ(hemisphere(kCommentGPSLatitude, "+33.5"), 'N');
  EXPECT_EQ(hemisphere(kCommentGPSLatitude, "33.5"), '-');
  EXPECT_EQ(hemisphere(kCommentGPSLongitude, "-33.5"), 'W');
  EXPECT_EQ(hemisphere(kCommentGPSLongitude, "33.5 e"), 'E');
  EXPECT_EQ(hemisphere(kCommentGPSDestLatitude, "1 S"), 'S');
  EXPECT_EQ(hemisphere(kCommentGPSDestLongitude, "1 W"), 'W');
  EXPECT_EQ(toolkit::ParseComment(Row(kCommentGPSDestLongitude), "1 W")[1].number, kCommentGPSDestLongitudeRef);
}

TEST(CommentPlaces, KeepWhatIsGiven) {
  EXPECT_EQ(Parsed(kCommentGPSLatitude, "52/1,31/1,12/1"), "52/1,31/1,12/1");
  EXPECT_EQ(Parsed(kCommentGPSLatitude, "520/10 31/1 12/1"), "520/10,31/1,12/1");
  EXPECT_EQ(Parsed(kCommentGPSLatitude, "48 deg 51.504' N"), "48/1,6438/125,0/1");
  EXPECT_EQ(Parsed(kCommentGPSLatitude, "0/0,0/0,0/0"), "0/0,0/0,0/0");
  EXPECT_EQ(Parsed(kCommentGPSLongitude, "180"), "180/1,0/1,0/1");
}

TEST(CommentPlaces, DegreesAloneAreSplitToATenMillionthOfASecond) {
  EXPECT_EQ(Parsed(kCommentGPSLatitude, "0.5"), "0/1,30/1,0/1");
  EXPECT_EQ(Parsed(kCommentGPSLatitude, ".25"), "0/1,15/1,0/1");
  EXPECT_EQ(Parsed(kCommentGPSLatitude, "0.00027777777777778"), "0/1,0/1,1/1"); // one second
  EXPECT_EQ(Parsed(kCommentGPSLatitude, "0.000000000028"), "0/1,0/1,1/10000000");
  EXPECT_EQ(Parsed(kCommentGPSLatitude, "12.999999999999"), "13/1,0/1,0/1");
  EXPECT_EQ(Parsed(kCommentGPSLongitude, "2.294481"), "2/1,17/1,100329/2500"); // 40.1316 seconds
}

TEST(CommentPlaces, OnesThatCannotBeAreRefused) {
  ExpectRefused(kCommentGPSLatitude, {"", "N", "90.1N", "48.8584E", "-48N", "48 60 0 N", "48 51 60 N", "1 2 3 4",
                                      "48.8.5", "here", "30'", "48x", "1/,2/1,3/1"});
  ExpectRefused(kCommentGPSLongitude, {"180.1", "2N", "1/x"});
}

TEST(CommentPlaces, AreShownWithTheirHemisphereAndReadAgain) {
  EXPECT_EQ(Shown(kCommentGPSLatitude, "48.8584", "N"), "48\xC2\xB0"
                                                        "51'30.24\"N");
  EXPECT_EQ(Shown(kCommentGPSLongitude, "1/1,2/1,1/3", ""), "1\xC2\xB0"
                                                            "2'1/3\"");
  EXPECT_EQ(Parsed(kCommentGPSLongitude, "1\xC2\xB0"
                                         "2'1/3\""),
            "1/1,2/1,1/3");
  EXPECT_EQ(Shown(kCommentGPSLatitude, "0/0,0/0,0/0", "N"), "0/0,0/0,0/0");
}

TEST(CommentHeights, TellTheirSideOfTheSeaLevelBySign) {
  EXPECT_EQ(Parsed(kCommentGPSAltitude, "35.5m"), "71/2");
  EXPECT_EQ(toolkit::ParseComment(Row(kCommentGPSAltitude), "35.5").size(), 1u);
  const auto below = toolkit::ParseComment(Row(kCommentGPSAltitude), "-12 m");
  ASSERT_EQ(below.size(), 2u);
  EXPECT_EQ(Parsed(kCommentGPSAltitude, "-12 m"), "12/1");
  EXPECT_EQ(below[0].number, kCommentGPSAltitudeRef);
  EXPECT_EQ(below[0].value.bytes[0], 1);
  EXPECT_EQ(toolkit::ParseComment(Row(kCommentGPSAltitude), "+12")[0].value.bytes[0], 0);
}

TEST(CommentClocks, ComeAsTimesOrFractions) {
  EXPECT_EQ(Parsed(kCommentGPSTimeStamp, "12:34:56"), "12/1,34/1,56/1");
  EXPECT_EQ(Parsed(kCommentGPSTimeStamp, "12:34:56.25Z"), "12/1,34/1,225/4");
  EXPECT_EQ(Parsed(kCommentGPSTimeStamp, "12/1,34/1,5625/100"), "12/1,34/1,5625/100");
  EXPECT_EQ(Shown(kCommentGPSTimeStamp, "1/1,2/1,525/100"), "01:02:05.25");
  EXPECT_EQ(Shown(kCommentGPSTimeStamp, "1/1,2/1,1/3"), "1/1,2/1,1/3");
  EXPECT_EQ(Shown(kCommentGPSTimeStamp, "99/1,2/1,3/1"), "99/1,2/1,3/1");
  ExpectRefused(kCommentGPSTimeStamp,
                {"24:00:00", "12:60:00", "12:34", "12:34:56+01:00", "12:34:5", "12:34:56.", "noon"});
}

TEST(CommentVersions, AreShownAsCharacters) {
  EXPECT_EQ(Shown(kCommentExifVersion, "0221"), "0221");
  EXPECT_EQ(toolkit::FormatComment(Row(kCommentFlashpixVersion), std::vector<uint8_t>{0, 1, 0, 0}, "", 0), "0,1,0,0");
}

TEST(CommentSettings, AddUpOrMustAgree) {
  toolkit::CommentSettings settings;
  settings.Add(Row(kCommentKeywords), "one");
  settings.Add(Row(kCommentKeywords), "two");
  settings.Add(Row(kCommentGPSLatitude), "48N");
  settings.Add(Row(kCommentGPSLatitudeRef), "N");
  EXPECT_EQ(settings.Values().size(), 4u);
  EXPECT_THROW(settings.Add(Row(kCommentGPSLatitudeRef), "S"), std::invalid_argument);
  EXPECT_THROW(settings.Add(Row(kCommentGPSLatitude), "49"), std::invalid_argument);
}

TEST(FormatComment, CutsLongValues) {
  const std::string text = "ASCII" + std::string(3, '\0') + std::string(50, 'a');
  EXPECT_EQ(toolkit::FormatComment(Row(kCommentUserComment),
                                   {reinterpret_cast<const uint8_t*>(text.data()), text.size()}, "", 5),
            "aaaaa...");
  const std::string wide = std::string(8, '\0') + "aaaa\xC3\xB6"
                                                  "bbbb";
  EXPECT_EQ(toolkit::FormatComment(Row(kCommentUserComment),
                                   {reinterpret_cast<const uint8_t*>(wide.data()), wide.size()}, "", 5),
            "aaaa...")
      << "not inside a character";
}

// What is shown of numbers sets the same bytes again.
TEST(FormatComment, IsReadAgainForEveryRowOfNumbers) {
  for (const CommentRow& row : toolkit::AllComments()) {
    if (row.type == kTypeAscii || toolkit::HasWrittenForm(row)) {
      continue; // texts and the forms above have their own tests
    }
    const uint32_t count = row.most == UINT32_MAX ? 3 : row.most;
    std::vector<uint8_t> bytes;
    for (uint32_t i = 0; i < count; ++i) {
      switch (row.type) {
      case kTypeAscii:
        bytes.push_back('a');
        break;
      case kTypeRational:
      case kTypeSRational:
        bytes.insert(bytes.end(), {static_cast<uint8_t>(i + 1), 0, 0, 0, 2, 0, 0, 0});
        break;
      case kTypeShort:
        bytes.insert(bytes.end(), {static_cast<uint8_t>(i + 1), 2});
        break;
      default:
        bytes.push_back(static_cast<uint8_t>('0' + i));
        break;
      }
    }
    const std::string shown = toolkit::FormatComment(row, bytes, "", 0);
    const auto again = toolkit::ParseComment(row, shown);
    EXPECT_EQ(std::vector<uint8_t>(again[0].value.bytes.begin(), again[0].value.bytes.end() - 1), bytes)
        << row.name << " " << shown;
  }
}

} // namespace
