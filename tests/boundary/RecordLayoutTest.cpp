// The public records stand as their order says, without gaps, in C and in C++; and the home sizes hold on 32 bits.

#include "boundary/RecordLayout.h"

#include <vxfax/vxfax.h>
#include <vxkernel/vxkernel.h>
#include <vxtif/vxtif.h>

#include <gtest/gtest.h>

namespace {

constexpr LayoutRow kRows[] = {RECORD_LAYOUT(LAYOUT_FIELD, LAYOUT_SIZE)};

static_assert(sizeof(BitmapHandle) == 164);
static_assert(sizeof(TifFile) == 48);
static_assert(sizeof(TifDirEntry) == 12);
static_assert(sizeof(FaxInfo) == 36);
static_assert(sizeof(void*) != 4 || sizeof(TifTagRecord) == 20);
static_assert(sizeof(void*) != 4 || sizeof(FaxStripInfo) == 20);
static_assert(sizeof(void*) != 4 || sizeof(FaxTileRequest) == 20);
static_assert(sizeof(VxGlobalHandle) == 4 && sizeof(VxFileHandle) == 4);
static_assert(sizeof(char16_t) == 2 && sizeof(float) == 4);

TEST(RecordLayout, InCxx) {
  for (const LayoutRow& row : kRows) {
    EXPECT_EQ(row.place, row.expected) << row.name;
  }
}

TEST(RecordLayout, InC) {
  size_t count = 0;
  const LayoutRow* rows = LayoutInC(&count);
  ASSERT_EQ(count, std::size(kRows));
  for (size_t i = 0; i < count; ++i) {
    EXPECT_STREQ(rows[i].name, kRows[i].name);
    EXPECT_EQ(rows[i].place, rows[i].expected) << rows[i].name;
  }
}

} // namespace
