// What a tag is: sub-directories, classes and sizes, the search for a tag, the swapping of values.

#include <gtest/gtest.h>

#include "support/TiffBuilder.h"
#include "tif_com/TagBlocks.h"
#include "tif_com/TagClass.h"

namespace {

struct SubDirectoryCase {
  uint16_t tag;
  uint32_t parent;
  uint32_t child;
};

constexpr SubDirectoryCase kSubDirectories[] = {{330, 0, 0},   {34665, 0, 2}, {34853, 0, 3},
                                                {50236, 0, 6}, {37500, 2, 4}, {40965, 2, 5}};

TEST(TagClass, OnlySixTagsPointToSubDirectoriesEachInOneParent) {
  for (uint32_t parent = 0; parent < 8; ++parent) {
    for (uint32_t tag = 0; tag < 65536; ++tag) {
      uint32_t expected = 99;
      for (const SubDirectoryCase& known : kSubDirectories) {
        if (known.tag == tag && known.parent == parent) {
          expected = known.child;
        }
      }
      TifDirKind child = static_cast<TifDirKind>(99);
      const bool found = TIFSubDirectoryKind(static_cast<uint16_t>(tag), static_cast<TifDirKind>(parent), &child);
      ASSERT_EQ(found, expected != 99) << tag << " in " << parent;
      ASSERT_EQ(static_cast<uint32_t>(child), expected) << tag << " in " << parent;
    }
  }
}

struct ClassCase {
  const char* what;
  TifTagRecord record;
  uint32_t parent;
  int32_t tagClass;
  uint32_t size;
};

TEST(TagClass, FirstRuleThatAppliesDecides) {
  const ClassCase cases[] = {
      {"four bytes stand inline", {700, 1, 4, 0, nullptr, 0}, 0, kTagClassInline, 4},
      {"five bytes do not", {700, 1, 5, 0, nullptr, 0}, 0, kTagClassBlock, 5},
      {"two shorts inline", {700, 3, 2, 0, nullptr, 0}, 0, kTagClassInline, 4},
      {"a double is a block", {700, 12, 1, 0, nullptr, 0}, 0, kTagClassBlock, 8},
      {"an unknown type has no size", {700, 13, 1000, 0, nullptr, 0}, 0, kTagClassInline, 0},
      {"type 0 neither", {700, 0, 1000, 0, nullptr, 0}, 0, kTagClassInline, 0},
      {"a loaded block stays a block", {700, 1, 2, 0, nullptr, kStorageBlock | kStorageOwned}, 0, kTagClassBlock, 2},
      {"an array of blocks", {700, 1, 2, 0, nullptr, kStorageBlockArray}, 0, kTagClassBlockArray, 2},
      {"sub-directory: the count", {330, 4, 3, 0, nullptr, 0}, 0, kTagClassSubDirectory, 3},
      {"330 is plain elsewhere", {330, 4, 3, 0, nullptr, 0}, 6, kTagClassBlock, 12},
      {"330 is plain in kind 1", {330, 4, 1, 0, nullptr, 0}, 1, kTagClassInline, 4},
      {"maker note in Exif", {37500, 7, 77, 0, nullptr, 0}, 2, kTagClassSubDirectory, 77},
      {"maker note in a page", {37500, 7, 77, 0, nullptr, 0}, 0, kTagClassBlock, 77},
      {"JPEG stream: the count", {513, 4, 9, 0, nullptr, 0}, 0, kTagClassJpegStream, 9},
      {"also in a maker note", {513, 4, 9, 0, nullptr, 0}, 4, kTagClassJpegStream, 9},
      {"not in Exif", {513, 4, 1, 0, nullptr, 0}, 2, kTagClassInline, 4},
      {"not in GPS", {513, 4, 2, 0, nullptr, 0}, 3, kTagClassBlock, 8},
      {"strip offsets", {273, 4, 2, 0, nullptr, 0}, 0, kTagClassImageOffsets, 8},
      {"a single one too", {273, 4, 1, 0, nullptr, 0}, 5, kTagClassImageOffsets, 4},
      {"tile offsets", {324, 3, 9, 0, nullptr, 0}, 0, kTagClassImageOffsets, 18},
      {"strip offsets in Exif are plain", {273, 4, 2, 0, nullptr, 0}, 2, kTagClassBlock, 8},
      {"quantization tables", {519, 4, 3, 0, nullptr, 0}, 0, kTagClassJpegTable, 12},
      {"Huffman DC", {520, 4, 1, 0, nullptr, 0}, 0, kTagClassJpegTable, 4},
      {"Huffman AC", {521, 4, 1, 0, nullptr, 0}, 7, kTagClassJpegTable, 4},
      {"tables in GPS are plain", {521, 4, 1, 0, nullptr, 0}, 3, kTagClassInline, 4},
      {"the class goes by the unwrapped size", {700, 4, 0x40000001, 0, nullptr, 0}, 0, kTagClassBlock, 4},
  };
  for (const ClassCase& test : cases) {
    uint32_t size = 0xAAAAAAAA;
    TifDirKind child = kDirMain;
    EXPECT_EQ(TIFClassifyTag(&test.record, &size, static_cast<TifDirKind>(test.parent), &child), test.tagClass)
        << test.what;
    EXPECT_EQ(size, test.size) << test.what;
    EXPECT_EQ(TIFClassifyTag(&test.record, nullptr, static_cast<TifDirKind>(test.parent), &child), test.tagClass)
        << test.what << ", without a size";
  }
}

TEST(TagClass, SearchFindsTheFirstMatchAndItsIndex) {
  TifDirEntry entries[] = {{256, 4, 1, 1}, {258, 3, 1, 2}, {258, 3, 1, 3}};
  TifTagRecord records[] = {{256, 4, 1, 1, nullptr, 0}, {258, 3, 1, 2, nullptr, 0}, {258, 3, 1, 3, nullptr, 0}};
  int32_t index = 77;
  EXPECT_EQ(TIFFindEntry(entries, 3, 258, &index), &entries[1]);
  EXPECT_EQ(index, 1);
  EXPECT_EQ(TIFFindRecord(records, 3, 258, &index), &records[1]);
  EXPECT_EQ(index, 1);
  EXPECT_EQ(TIFFindRecord(records, 3, 256, nullptr), &records[0]);
  EXPECT_EQ(TIFFindEntry(entries, 3, 257, &index), nullptr);
  EXPECT_EQ(index, -1);
  index = 5;
  EXPECT_EQ(TIFFindRecord(nullptr, 0, 258, &index), nullptr);
  EXPECT_EQ(index, -1);
  index = 5;
  EXPECT_EQ(TIFFindEntry(nullptr, 0, 258, &index), nullptr);
  EXPECT_EQ(index, -1);
}

TEST(TagClass, ValuesAreSwappedByTheWidthOfTheirType) {
  struct SwapCase {
    uint32_t type;
    uint32_t count;
    FileBytes expected;
  };
  const SwapCase cases[] = {
      {1, 8, {0, 1, 2, 3, 4, 5, 6, 7}},  {2, 8, {0, 1, 2, 3, 4, 5, 6, 7}},  {3, 2, {1, 0, 3, 2, 4, 5, 6, 7}},
      {4, 2, {3, 2, 1, 0, 7, 6, 5, 4}},  {5, 1, {3, 2, 1, 0, 7, 6, 5, 4}},  {6, 8, {0, 1, 2, 3, 4, 5, 6, 7}},
      {7, 8, {0, 1, 2, 3, 4, 5, 6, 7}},  {8, 4, {1, 0, 3, 2, 5, 4, 7, 6}},  {9, 1, {3, 2, 1, 0, 4, 5, 6, 7}},
      {10, 1, {3, 2, 1, 0, 7, 6, 5, 4}}, {11, 2, {3, 2, 1, 0, 7, 6, 5, 4}}, {12, 1, {7, 6, 5, 4, 3, 2, 1, 0}},
      {0, 8, {0, 1, 2, 3, 4, 5, 6, 7}},  {13, 8, {0, 1, 2, 3, 4, 5, 6, 7}},
  };
  for (const SwapCase& test : cases) {
    FileBytes bytes = {0, 1, 2, 3, 4, 5, 6, 7};
    TIFSwapValues(bytes.data(), test.type, test.count);
    EXPECT_EQ(bytes, test.expected) << "type " << test.type;
  }
}

} // namespace
