// Work on files rather than on pixels: counting pages, reading and setting a tag, appending a page, compaction.

#include <chrono>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <vxkernel/vxkernel.h>
#include <vxtif/vxtif.h>

#include "bench/BenchFiles.h"
#include "bench/OwnSave.h"
#include "toolkit/Utf16.h"

namespace {

constexpr uint32_t kCountedPages = 10000;
constexpr uint32_t kGrownPages = 1000;
constexpr uint32_t kTagDescription = 270;
constexpr size_t kDescriptionRoom = 256;
char newDescription[] = "a page of a benchmark, changed where it stands.";

const std::string& ManyPages(uint32_t pages) {
  static std::string counted;
  static std::string grown;
  std::string& path = pages == kCountedPages ? counted : grown;
  if (path.empty()) {
    path = BenchPath(std::to_string(pages) + "-pages.tif");
    WriteManyPages(path, pages);
  }
  return path;
}

void Verify(benchmark::State& state, bool good) {
  if (!good) {
    state.SkipWithError("a wrong result");
  }
}

// --- counting ---

uint32_t CountOwn(const std::u16string& name) {
  FileInfoRecord info = {};
  info.structSize = sizeof info;
  FilterInfoControl control = {sizeof(FilterInfoControl), kInfoCountPages};
  FileOptions options = {};
  options.pageNumber = 1;
  FilterInfoRequest request = {};
  request.structSize = sizeof request;
  request.fileInfo = &info;
  request.infoControl = &control;
  request.fileOptions = &options;
  request.fileHandle = krnFileOpen(name.c_str(), kKrnFileRead, kKrnShareRead);
  const int32_t result = fltInfo(&request);
  krnFileClose(request.fileHandle);
  return result == 1 ? info.totalPages : 0;
}

void CountByOwn(benchmark::State& state) {
  const std::u16string name = toolkit::ToUtf16(ManyPages(kCountedPages));
  uint32_t pages = 0;
  for (auto _ : state) {
    pages = CountOwn(name);
  }
  Verify(state, pages == kCountedPages);
}

void CountByPeer(benchmark::State& state) {
  uint32_t pages = 0;
  for (auto _ : state) {
    TIFF* tif = TIFFOpen(ManyPages(kCountedPages).c_str(), "r");
    pages = TIFFNumberOfDirectories(tif);
    TIFFClose(tif);
  }
  Verify(state, pages == kCountedPages);
}

// --- tags ---

enum class TagFile { kSmall, kLarge };

// A copy for each side, since setting changes the file.
std::string NewTagFile(TagFile kind, const char* side) {
  const std::string path = BenchPath(std::string(side) + (kind == TagFile::kSmall ? "-small.tif" : "-large.tif"));
  if (kind == TagFile::kSmall) {
    WriteManyPages(path, 1);
  } else {
    WriteLargePage(path);
  }
  return path;
}

bool GetOwn(const std::u16string& name, char* text) {
  FileOptions options = {};
  options.pageNumber = 1;
  uint16_t type = 0;
  uint32_t count = 0;
  FilterGetTagRequest request = {};
  request.fileName = name.c_str();
  request.tag = kTagDescription;
  request.type = &type;
  request.count = &count;
  request.data = text;
  request.fileOptions = &options;
  return fltGetTag(&request) == 1 && type == kTypeAscii;
}

void GetByOwn(benchmark::State& state, TagFile kind) {
  const std::u16string name = toolkit::ToUtf16(NewTagFile(kind, "own"));
  char text[kDescriptionRoom] = {};
  bool good = true;
  for (auto _ : state) {
    good = GetOwn(name, text) && good;
  }
  Verify(state, good && std::strncmp(text, "a page", 6) == 0);
}

void GetByPeer(benchmark::State& state, TagFile kind) {
  const std::string path = NewTagFile(kind, "peer");
  bool good = true;
  for (auto _ : state) {
    TIFF* tif = TIFFOpen(path.c_str(), "r");
    const char* text = nullptr;
    good = TIFFGetField(tif, TIFFTAG_IMAGEDESCRIPTION, &text) == 1 && std::strncmp(text, "a page", 6) == 0 && good;
    TIFFClose(tif);
  }
  Verify(state, good);
}

int32_t SetOwn(const std::u16string& name) {
  TifTagItem item = {kTagDescription, kTypeAscii, sizeof newDescription, newDescription, nullptr};
  SaveOptions options = {};
  options.structSize = sizeof options;
  options.pageNumber = 1;
  FilterSetTagRequest request = {};
  request.fileName = name.c_str();
  request.tagList = &item;
  request.options = &options;
  return fltSetTag(&request);
}

void SetByOwn(benchmark::State& state, TagFile kind) {
  const std::u16string name = toolkit::ToUtf16(NewTagFile(kind, "own"));
  bool good = true;
  for (auto _ : state) {
    good = SetOwn(name) == 1 && good;
  }
  char text[kDescriptionRoom] = {};
  Verify(state, good && GetOwn(name, text) && std::strcmp(text, newDescription) == 0);
}

// The peer writes the changed directory at the end of the file, which grows with every round.
void SetByPeer(benchmark::State& state, TagFile kind) {
  const std::string path = NewTagFile(kind, "peer");
  bool good = true;
  for (auto _ : state) {
    TIFF* tif = TIFFOpen(path.c_str(), "r+");
    TIFFSetField(tif, TIFFTAG_IMAGEDESCRIPTION, newDescription);
    good = TIFFRewriteDirectory(tif) == 1 && good;
    TIFFClose(tif);
  }
  Verify(state, good);
}

// --- growing ---

const BenchImage& SmallPage() {
  static const BenchImage image = [] {
    BenchImage page;
    page.name = "small";
    page.width = 16;
    page.height = 16;
    page.samples = 1;
    page.bitsPerSample = 8;
    page.rowBytes = 16;
    page.pixels.assign(256, 7);
    return page;
  }();
  return image;
}

// Each round begins with the file as it was, outside the measured time.
template <typename Work> void Grow(benchmark::State& state, const char* side, Work work) {
  const std::vector<uint8_t> original = ReadWholeFile(ManyPages(kGrownPages));
  const std::string path = BenchPath(std::string(side) + "-grown.tif");
  bool good = true;
  for (auto _ : state) {
    WriteWholeFile(path, original);
    const auto start = std::chrono::steady_clock::now();
    good = work(path) && good;
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  Verify(state, good && CountOwn(toolkit::ToUtf16(path)) == kGrownPages + 1);
}

bool AppendOwn(const std::string& path) {
  return SaveOwn(toolkit::ToUtf16(path), {&SmallPage(), kFormatUncompressed, 0, kSaveRequestAppend}) == 1;
}

bool AppendPeer(const std::string& path) {
  const BenchImage& image = SmallPage();
  TIFF* tif = TIFFOpen(path.c_str(), "a");
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, image.width);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, image.height);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, image.bitsPerSample);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, image.samples);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, image.height);
  std::vector<uint8_t> strip = image.pixels;
  const bool good = TIFFWriteEncodedStrip(tif, 0, strip.data(), static_cast<tmsize_t>(strip.size())) >= 0;
  TIFFClose(tif);
  return good;
}

// --- compaction ---

void CompactByOwn(benchmark::State& state, const std::string& source) {
  const std::u16string from = toolkit::ToUtf16(source);
  const std::string path = BenchPath("compact.tif");
  const std::u16string to = toolkit::ToUtf16(path);
  bool good = true;
  for (auto _ : state) {
    FileOptions fromOptions = {};
    fromOptions.pageNumber = 1;
    SaveOptions toOptions = {};
    toOptions.structSize = sizeof toOptions;
    FilterCompactRequest request = {from.c_str(), to.c_str(), 0, &fromOptions, &toOptions};
    std::filesystem::remove(path);
    good = fltCompact(&request) == 1 && good;
  }
  Verify(state, good && CountOwn(to) == CountOwn(from));
}

void CopyPlainly(benchmark::State& state, const std::string& source) {
  const std::string path = BenchPath("copy.tif");
  for (auto _ : state) {
    std::filesystem::remove(path);
    std::filesystem::copy_file(source, path);
  }
}

const bool registered = [] {
  AddBench("count-pages", "10000-pages", "vxtif", CountByOwn);
  AddBench("count-pages", "10000-pages", "libtiff", CountByPeer);
  for (const TagFile kind : {TagFile::kSmall, TagFile::kLarge}) {
    const char* const input = kind == TagFile::kSmall ? "small-file" : "large-file";
    AddBench("get-tag", input, "vxtif", [kind](benchmark::State& state) { GetByOwn(state, kind); });
    AddBench("get-tag", input, "libtiff", [kind](benchmark::State& state) { GetByPeer(state, kind); });
    AddBench("set-tag", input, "vxtif", [kind](benchmark::State& state) { SetByOwn(state, kind); });
    AddBench("set-tag", input, "libtiff", [kind](benchmark::State& state) { SetByPeer(state, kind); });
  }
  const auto append = [](const char* side, bool (*work)(const std::string&)) {
    AddBench("append", "1000-pages", side, [side, work](benchmark::State& state) {
      Grow(state, side, work);
    })->UseManualTime();
  };
  append("vxtif", AppendOwn);
  append("libtiff", AppendPeer);
  const auto large = [] { return NewTagFile(TagFile::kLarge, "source"); };
  AddBench("compact", "large-file", "vxtif", [large](benchmark::State& state) { CompactByOwn(state, large()); });
  AddBench("compact", "large-file", "cp", [large](benchmark::State& state) { CopyPlainly(state, large()); });
  return true;
}();

} // namespace
