// Values as users write them.

#include <stdexcept>

#include <gtest/gtest.h>

#include "support/TempFile.h"
#include "toolkit/TypedValue.h"
#include "toolkit/ValueLists.h"

#include <vxtif/metadata.h>

namespace {

using Bytes = std::vector<uint8_t>;

struct ValueCase {
  const char* text;
  uint16_t type;
  uint32_t count;
  Bytes bytes; // little-endian host
  const char* formatted;
};

class Values : public testing::TestWithParam<ValueCase> {};

TEST_P(Values, AreParsedAndFormatted) {
  const ValueCase& test = GetParam();
  toolkit::TypedValue value = toolkit::ParseTypedValue(test.text);
  EXPECT_EQ(value.type, test.type);
  EXPECT_EQ(value.count, test.count);
  ASSERT_FALSE(value.bytes.empty());
  value.bytes.pop_back(); // the spare byte
  EXPECT_EQ(value.bytes, test.bytes);
  EXPECT_EQ(toolkit::FormatValue(value.type, value.count, value.bytes, 0), test.formatted);
}

INSTANTIATE_TEST_SUITE_P(
    All, Values,
    testing::Values(
        ValueCase{"BYTE:1,255", kTypeByte, 2, {1, 255}, "1,255"},
        ValueCase{"byte:x00ff10", kTypeByte, 3, {0, 255, 16}, "0,255,16"},
        ValueCase{"ASCII:a,b", kTypeAscii, 3, {'a', ',', 'b'}, "a,b"}, ValueCase{"ascii:", kTypeAscii, 0, {}, ""},
        ValueCase{"3:258", kTypeShort, 1, {2, 1}, "258"}, ValueCase{"LONG:65536", kTypeLong, 1, {0, 0, 1, 0}, "65536"},
        ValueCase{"RATIONAL:1/3,5", kTypeRational, 2, {1, 0, 0, 0, 3, 0, 0, 0, 5, 0, 0, 0, 1, 0, 0, 0}, "1/3,5/1"},
        ValueCase{"SBYTE:-1", kTypeSByte, 1, {255}, "-1"},
        ValueCase{"undefined:\"0221\"", kTypeUndefined, 4, {'0', '2', '2', '1'}, "48,50,50,49"},
        ValueCase{"SSHORT:-2", kTypeSShort, 1, {254, 255}, "-2"},
        ValueCase{"SLONG:-1", kTypeSLong, 1, {255, 255, 255, 255}, "-1"},
        ValueCase{"SRATIONAL:-1/2", kTypeSRational, 1, {255, 255, 255, 255, 2, 0, 0, 0}, "-1/2"},
        ValueCase{"FLOAT:1.5", kTypeFloat, 1, {0, 0, 0xC0, 0x3F}, "1.5"},
        ValueCase{"DOUBLE:-2", kTypeDouble, 1, {0, 0, 0, 0, 0, 0, 0, 0xC0}, "-2"}));

TEST(ParseTypedValue, Complains) {
  for (const char* text :
       {"", "5", "SHORT", "SHORTS:1", "SHORT:65536", "SHORT:-1", "SHORT:1,", "SHORT:1;2", "LONG:x1", "RATIONAL:1/",
        "RATIONAL:/2", "FLOAT:one", "BYTE:x123", "BYTE:xzz", "0:1", "13:1", "BYTE:@/nonexistent/file"}) {
    EXPECT_THROW(toolkit::ParseTypedValue(text), std::invalid_argument) << text;
  }
}

TEST(ParseTypedValue, TakesAFilesBytes) {
  const TempFile file(FileBytes{9, 0, 8});
  const toolkit::TypedValue value = toolkit::ParseTypedValue("UNDEFINED:@" + file.Path().string());
  EXPECT_EQ(value.count, 3u);
  EXPECT_EQ(value.bytes, (Bytes{9, 0, 8, 0}));
}

TEST(FormatValue, CutsLongValues) {
  const Bytes bytes(200, 7);
  EXPECT_EQ(toolkit::FormatValue(kTypeByte, 200, bytes, 5), "7,7,7,7, ... (200)");
  EXPECT_EQ(toolkit::FormatValue(kTypeAscii, 4, Bytes{'a', 'b', 'c', 'd'}, 2), "ab...");
}

TEST(FormatValue, NeverReadsPastTheBytes) {
  EXPECT_EQ(toolkit::FormatValue(kTypeShort, 1000, Bytes{1, 0, 2}, 0), "1");
  EXPECT_EQ(toolkit::FormatValue(99, 1000, Bytes{1, 0, 2}, 0), "");
}

TEST(ItemList, LinksItsItems) {
  toolkit::ItemList<TifTagItem> list(
      {{300, toolkit::ParseTypedValue("SHORT:1")}, {301, toolkit::ParseTypedValue("ASCII:x")}});
  const TifTagItem* first = list.First();
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(uint16_t{first->tag}, 300);
  const TifTagItem* second = first->next;
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(uint16_t{second->tag}, 301);
  EXPECT_EQ(uint32_t{second->count}, 1u);
  const TifTagItem* third = second->next;
  EXPECT_EQ(third, nullptr);
  EXPECT_EQ(toolkit::ItemList<TifTagItem>({}).First(), nullptr);
}

TEST(CommentSet, JoinsRepeatedComments) {
  toolkit::CommentSet set(
      {{192, toolkit::ParseValue(kTypeAscii, "one")}, {192, toolkit::ParseValue(kTypeAscii, "two")}});
  // Fields of packed records are copied: the test macros take references.
  const TifComment slot = set.Block()->slots[192];
  const void* none = set.Block()->slots[191].data;
  ASSERT_EQ(uint32_t{slot.size}, 7u);
  const void* data = slot.data;
  EXPECT_EQ(std::string(static_cast<const char*>(data), 7), "one\1two");
  EXPECT_EQ(none, nullptr);
}

} // namespace
