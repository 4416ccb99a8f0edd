// Compaction against cp of the same file: 500 MB in 200 pages with strips of 8 KiB, and 32 MB in 4 pages with strips of
// 512 bytes, where the calls for each strip count more than its bytes.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <vxtif/save.h>

namespace {

struct Shape {
  const char* name;
  uint32_t pages;
  uint32_t strips;     // of a page
  uint32_t stripBytes; // also the width of the pages, which are grey with a row a strip
};

constexpr Shape kShapes[] = {{"500-mb-200-pages", 200, 305, 8192}, {"32-mb-small-strips", 4, 16384, 512}};

void Put16(std::vector<char>& bytes, uint32_t value) {
  bytes.push_back(static_cast<char>(value));
  bytes.push_back(static_cast<char>(value >> 8));
}

void Put32(std::vector<char>& bytes, uint32_t value) {
  Put16(bytes, value & 0xFFFF);
  Put16(bytes, value >> 16);
}

// Directory, tables and strips of a page that begins at `at`; the next one follows it.
std::vector<char> PageBytes(const Shape& shape, uint32_t at, bool last) {
  struct Entry {
    uint32_t tag, type, count, value;
  };
  constexpr uint32_t kEntries = 9;
  const uint32_t offsets = at + 2 + 12 * kEntries + 4;
  const uint32_t counts = offsets + 4 * shape.strips;
  const uint32_t data = counts + 4 * shape.strips;
  const Entry entries[kEntries] = {{256, 4, 1, shape.stripBytes},
                                   {257, 4, 1, shape.strips},
                                   {258, 3, 1, 8},
                                   {259, 3, 1, 1},
                                   {262, 3, 1, 1},
                                   {273, 4, shape.strips, offsets},
                                   {277, 3, 1, 1},
                                   {278, 4, 1, 1},
                                   {279, 4, shape.strips, counts}};
  std::vector<char> bytes;
  Put16(bytes, kEntries);
  for (const Entry& entry : entries) {
    Put16(bytes, entry.tag);
    Put16(bytes, entry.type);
    Put32(bytes, entry.count);
    Put32(bytes, entry.value);
  }
  Put32(bytes, last ? 0 : data + shape.strips * shape.stripBytes);
  for (uint32_t i = 0; i < shape.strips; ++i) {
    Put32(bytes, data + i * shape.stripBytes);
  }
  for (uint32_t i = 0; i < shape.strips; ++i) {
    Put32(bytes, shape.stripBytes);
  }
  uint32_t state = at;
  for (uint32_t i = 0; i < shape.strips * shape.stripBytes; ++i) {
    state = state * 1664525 + 1013904223;
    bytes.push_back(static_cast<char>(state >> 24));
  }
  return bytes;
}

// A folder beside the program with the file in it; both go with the object.
class LargeFile {
public:
  explicit LargeFile(const Shape& shape)
      : folder_(std::filesystem::read_symlink("/proc/self/exe").parent_path() / "compaction" / shape.name) {
    std::filesystem::create_directories(folder_);
    std::ofstream file(Source(), std::ios::binary);
    std::vector<char> bytes = {'I', 'I', 42, 0, 8, 0, 0, 0};
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    uint32_t at = 8;
    for (uint32_t page = 0; page < shape.pages; ++page) {
      bytes = PageBytes(shape, at, page == shape.pages - 1);
      file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
      at += static_cast<uint32_t>(bytes.size());
    }
  }
  ~LargeFile() { std::filesystem::remove_all(folder_); }
  LargeFile(const LargeFile&) = delete;
  LargeFile& operator=(const LargeFile&) = delete;
  std::filesystem::path Source() const { return folder_ / "source.tif"; }
  std::filesystem::path Target() const { return folder_ / "target.tif"; }

private:
  std::filesystem::path folder_;
};

// One file at a time: they are large.
const LargeFile& FileOf(const Shape* shape) {
  static const Shape* held = nullptr;
  static std::optional<LargeFile> file;
  if (held != shape) {
    file.emplace(*shape);
    held = shape;
  }
  return *file;
}

bool Compact(const LargeFile& file) {
  const std::u16string source = file.Source().u16string();
  const std::u16string target = file.Target().u16string();
  FilterCompactRequest request = {source.c_str(), target.c_str(), 0, nullptr, nullptr};
  return fltCompact(&request) == 1 && std::filesystem::file_size(target) == std::filesystem::file_size(source);
}

bool Copy(const LargeFile& file) {
  const std::string command = "cp '" + file.Source().string() + "' '" + file.Target().string() + "'";
  return std::system(command.c_str()) == 0;
}

using Work = bool (*)(const LargeFile&);

void Run(benchmark::State& state, const Shape* shape, Work work) {
  const LargeFile& file = FileOf(shape);
  bool good = true;
  for (auto _ : state) {
    state.PauseTiming();
    std::filesystem::remove(file.Target());
    state.ResumeTiming();
    good = work(file) && good;
  }
  if (!good) {
    state.SkipWithError("the file does not arrive");
  }
}

const bool registered = [] {
  for (const Shape& shape : kShapes) {
    for (const auto& [who, work] : {std::pair<const char*, Work>{"vxtif", Compact}, {"cp", Copy}}) {
      const std::string name = std::string("compact/") + shape.name + "/" + who;
      benchmark::RegisterBenchmark(name.c_str(), Run, &shape, work)->Unit(benchmark::kMillisecond)->UseRealTime();
    }
  }
  return true;
}();

} // namespace
