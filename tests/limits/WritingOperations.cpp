// The operations that change a file, or make one from it.

#include <gtest/gtest.h>
#include <vxkernel/vxkernel.h>
#include <vxtif/vxtif.h>

#include "limits/EveryOperation.h"
#include "planes/PlaneSource.h"
#include "save/SaveFixture.h"
#include "support/TempFile.h"

namespace {

constexpr uint32_t kLastPage = 0xFFFFFFFFu;

SaveOptions Options(uint32_t flags, int32_t page) {
  SaveOptions options = {};
  options.structSize = sizeof options;
  options.flags = flags;
  options.pageNumber = page;
  return options;
}

int32_t SavePage(const char16_t* name, uint32_t flags, int32_t page, int32_t format) {
  RowService service(8, 4, 8, std::vector<FileBytes>(4, FileBytes(8, 0x40)));
  service.palette.resize(256);
  SaveJob job(format, 8, &service, name);
  job.options = Options(flags, page);
  return job.Run();
}

int32_t SavePlanes(const char16_t* name) {
  PlaneSource source(4, 8, 4, 8);
  SaveOptions options = Options(0, 2);
  FilterSaveCMYKRequest request = {};
  request.fileName = name;
  request.format = kFormatUncompressedCmyk;
  request.options = &options;
  source.Fill(&request);
  return fltSaveCMYKArray(&request);
}

int32_t SaveStream(const char16_t* name) {
  SaveOptions options = Options(0, 2);
  VxColor palette[256] = {};
  const FileBytes data(32, 7);
  FilterSaveDataRequest request = {};
  request.fileName = name;
  request.compression = 1;
  request.width = 8;
  request.height = 4;
  request.bitsPerPixel = 8;
  request.palette = palette;
  request.paletteSize = 256;
  request.append = 1;
  request.fileHandle = kKrnNoHandle;
  request.options = &options;
  const int32_t result = fltStartSaveData(&request);
  if (result == kResultOk) {
    request.dataBuffer = data.data();
    request.dataLength = static_cast<uint32_t>(data.size());
    fltSaveData(&request);
  }
  fltStopSaveData(&request);
  return result;
}

int32_t SetTags(const char16_t* name, int32_t page) {
  char text[40] = "a longer text than the one before it";
  uint16_t shorts[] = {1, 2, 3};
  TifTagItem second = {270, kTypeAscii, 36, text, nullptr};
  TifTagItem first = {33000, kTypeShort, 3, shorts, &second};
  SaveOptions options = Options(0, page);
  FilterSetTagRequest request = {name, &first, nullptr, &options};
  return fltSetTag(&request);
}

// A comment of every home.
int32_t SetComments(const char16_t* name, int32_t page) {
  char artist[16] = "somebody";
  char keywords[16] = "one\1two\1three";
  char caption[16] = "a caption";
  char user[16] = "a comment";
  uint32_t latitude[6] = {52, 1, 30, 1, 0, 1};
  TifCommentBlock comments = {};
  comments.slots[kCommentArtist] = {artist, 8};
  comments.slots[kCommentKeywords] = {keywords, 13};
  comments.slots[kCommentCaption] = {caption, 9};
  comments.slots[kCommentUserComment] = {user, 9};
  comments.slots[kCommentGPSLatitude] = {latitude, sizeof latitude};
  SaveOptions options = Options(0, page);
  FilterSetCommentRequest request = {name, 0, &options, &comments, nullptr};
  return fltSetComment(&request);
}

int32_t SetGeoKeys(const char16_t* name) {
  char text[16] = "a citation";
  uint16_t model = 2;
  TifGeoKeyItem second = {1026, kTypeAscii, 10, text, nullptr};
  TifGeoKeyItem first = {1024, kTypeShort, 1, &model, &second};
  SaveOptions options = Options(0, 1);
  FilterSetGeoKeyRequest request = {name, &options, &first};
  return fltSetGeoKey(&request);
}

int32_t DeletePage(const char16_t* name, uint32_t page) {
  SaveOptions options = Options(0, 0);
  FilterDeletePageRequest request = {name, page, 0, &options};
  return fltDeletePage(&request);
}

int32_t Compact(const char16_t* from, const char16_t* to, uint32_t flags, int32_t page, uint32_t pages) {
  FileOptions source = {};
  SaveOptions destination = Options(flags, page);
  FilterCompactRequest request = {from, to, pages, &source, &destination};
  return fltCompact(&request);
}

struct WritingOperation {
  const char* what;
  std::function<int32_t(const char16_t* name)> run;
};

const std::vector<WritingOperation>& Operations() {
  static const std::vector<WritingOperation> operations = {
      {"append", [](auto* name) { return SavePage(name, 0, 2, kFormatLzw); }},
      {"insert before page 1", [](auto* name) { return SavePage(name, kSaveInsertPage, 1, kFormatUncompressed); }},
      {"insert before page 2", [](auto* name) { return SavePage(name, kSaveInsertPage, 2, kFormatPackBits); }},
      {"replace page 1", [](auto* name) { return SavePage(name, kSaveReplacePage, 1, kFormatUncompressed); }},
      {"replace the last page", [](auto* name) { return SavePage(name, kSaveReplacePage, -1, kFormatLzw); }},
      {"append planes", [](auto* name) { return SavePlanes(name); }},
      {"append a stream", [](auto* name) { return SaveStream(name); }},
      {"set tags", [](auto* name) { return SetTags(name, 1); }},
      {"set tags of the last page", [](auto* name) { return SetTags(name, -1); }},
      {"set comments", [](auto* name) { return SetComments(name, 1); }},
      {"set comments of the last page", [](auto* name) { return SetComments(name, -1); }},
      {"set geo keys", [](auto* name) { return SetGeoKeys(name); }},
      {"delete page 1", [](auto* name) { return DeletePage(name, 1); }},
      {"delete page 2", [](auto* name) { return DeletePage(name, 2); }},
      {"delete the last page", [](auto* name) { return DeletePage(name, kLastPage); }},
      {"compact onto itself", [](auto* name) { return Compact(name, name, 0, 2, 0); }},
  };
  return operations;
}

FileBytes OnePage() {
  TiffBuilder file;
  file.AddPage(GrayPage(4, 4));
  return file.Build();
}

} // namespace

void RunWritingOperations(const SparseFile& file, CallMeter& meter) {
  const HonestWork whole = {0, file.size};
  for (const WritingOperation& operation : Operations()) {
    const TempFile disk;
    file.Write(disk.Path());
    meter.Run(operation.what, whole, [&] { return operation.run(disk.Name()); });
  }
  const TempFile disk;
  file.Write(disk.Path());
  const TempFile honest(OnePage());
  for (const uint32_t pages : {0u, 3u}) {
    const TempFile target;
    meter.Run(pages == 0 ? "compact" : "compact three pages", whole,
              [&] { return Compact(disk.Name(), target.Name(), 0, 1, pages); });
  }
  meter.Run("compact behind another file", whole, [&] { return Compact(disk.Name(), honest.Name(), 0, 2, 0); });
  meter.Run("compact another file into it", whole,
            [&] { return Compact(honest.Name(), disk.Name(), kSaveInsertPage, 2, 1); });
}
