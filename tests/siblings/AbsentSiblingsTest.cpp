// A system without any sibling library: what pages of their compressions then give.

#include <string>

#include <gtest/gtest.h>

#include <vxkernel/loader.h>
#include <vxtif/vxtif.h>

#include "support/KernelGuard.h"
#include "support/TempFile.h"
#include "support/TiffBuilder.h"

namespace {

struct AbsentCase {
  uint16_t compression;
  int32_t result;
};

constexpr AbsentCase kAbsent[] = {{34661, -319}, {34713, -319}, {34718, -824}, {34710, -309}, {33001, -309},
                                  {34714, -309}, {34712, -541}, {33003, -541}, {34711, -355}, {34715, -818},
                                  {34716, -822}, {34717, -823}, {32010, -823}};

TiffDirectory Page(uint16_t compression, size_t strips) {
  TiffDirectory page;
  page.Short(256, {4}).Short(257, {4}).Short(258, {8}).Short(259, {compression}).Short(262, {1});
  page.Strips(std::vector<FileBytes>(strips, FileBytes(8, 1))).Short(277, {1});
  page.Short(278, {static_cast<uint16_t>(4 / strips)});
  return page.Sort();
}

int32_t NoRows(FileInfoRecord*, BitmapHandle*, uint8_t*, uint32_t, int32_t, int32_t, intptr_t) {
  ADD_FAILURE() << "a row of a page that cannot be decoded";
  return 1;
}

} // namespace

TEST(AbsentSiblings, LoadGivesTheCodeOfTheRow) {
  krnAddLibraryFolder(nullptr);
  for (const AbsentCase& c : kAbsent) {
    for (size_t strips : {size_t{1}, size_t{2}}) {
      const KernelGuard guard;
      TiffBuilder builder;
      builder.AddPage(Page(c.compression, strips));
      const TempFile file(builder.Build());
      FileInfoRecord info = {};
      FileOptions options = {};
      BitmapHandle bitmap = {};
      krnBitmapCreate(&bitmap, kBitmapHandleSize, 1, 4, 4, 8, 0, 0, 1, 0, 0);
      FilterLoadRequest request = {};
      request.fileName = file.Name();
      request.bitmap = &bitmap;
      request.rowCallback = NoRows;
      request.fileInfo = &info;
      request.fileOptions = &options;
      EXPECT_EQ(fltLoad(&request), c.result) << c.compression << " in " << strips;
      krnBitmapFree(&bitmap);
    }
  }
}

TEST(AbsentSiblings, InformationFailsOnlyForVectorPages) {
  for (const AbsentCase& c : kAbsent) {
    const KernelGuard guard;
    TiffBuilder builder;
    builder.AddPage(Page(c.compression, 1));
    const TempFile file(builder.Build());
    FileInfoRecord record = {};
    FileOptions options = {};
    FilterInfoRequest request = {};
    request.fileHandle = krnFileOpen(file.Name(), 0, 256);
    request.fileInfo = &record;
    request.fileOptions = &options;
    EXPECT_EQ(fltInfo(&request), c.result == -309 ? -309 : 1) << c.compression;
    if (c.compression == 34711) {
      EXPECT_EQ(std::u16string(record.compressionName), u"Wavelet");
      EXPECT_EQ(+record.width, 4);
    }
    krnFileClose(request.fileHandle);
  }
}
