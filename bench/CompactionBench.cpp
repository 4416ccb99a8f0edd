// Compaction of a file of 500 MB and 200 pages, with strips of 8 KiB, against cp of the same file.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <vxtif/save.h>

namespace {

constexpr uint32_t kPages = 200;
constexpr uint32_t kStrips = 305;
constexpr uint32_t kStripBytes = 8192; // also the width of the pages, which are grey with a row a strip

void Put16(std::vector<char>& bytes, uint32_t value) {
  bytes.push_back(static_cast<char>(value));
  bytes.push_back(static_cast<char>(value >> 8));
}

void Put32(std::vector<char>& bytes, uint32_t value) {
  Put16(bytes, value & 0xFFFF);
  Put16(bytes, value >> 16);
}

// Directory, tables and strips of a page that begins at `at`; the next one follows it.
std::vector<char> PageBytes(uint32_t at, bool last) {
  struct Entry {
    uint32_t tag, type, count, value;
  };
  constexpr uint32_t kEntries = 9;
  const uint32_t offsets = at + 2 + 12 * kEntries + 4;
  const uint32_t counts = offsets + 4 * kStrips;
  const uint32_t data = counts + 4 * kStrips;
  const Entry entries[kEntries] = {{256, 4, 1, kStripBytes}, {257, 4, 1, kStrips}, {258, 3, 1, 8},
                                   {259, 3, 1, 1},           {262, 3, 1, 1},       {273, 4, kStrips, offsets},
                                   {277, 3, 1, 1},           {278, 4, 1, 1},       {279, 4, kStrips, counts}};
  std::vector<char> bytes;
  Put16(bytes, kEntries);
  for (const Entry& entry : entries) {
    Put16(bytes, entry.tag);
    Put16(bytes, entry.type);
    Put32(bytes, entry.count);
    Put32(bytes, entry.value);
  }
  Put32(bytes, last ? 0 : data + kStrips * kStripBytes);
  for (uint32_t i = 0; i < kStrips; ++i) {
    Put32(bytes, data + i * kStripBytes);
  }
  for (uint32_t i = 0; i < kStrips; ++i) {
    Put32(bytes, kStripBytes);
  }
  uint32_t state = at;
  for (uint32_t i = 0; i < kStrips * kStripBytes; ++i) {
    state = state * 1664525 + 1013904223;
    bytes.push_back(static_cast<char>(state >> 24));
  }
  return bytes;
}

// A folder beside the program with the file in it; both go with the object.
class LargeFile {
public:
  LargeFile() : folder_(std::filesystem::read_symlink("/proc/self/exe").parent_path() / "compaction") {
    std::filesystem::create_directories(folder_);
    std::ofstream file(Source(), std::ios::binary);
    std::vector<char> bytes = {'I', 'I', 42, 0, 8, 0, 0, 0};
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    uint32_t at = 8;
    for (uint32_t page = 0; page < kPages; ++page) {
      bytes = PageBytes(at, page == kPages - 1);
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

const LargeFile& Large() {
  static const LargeFile file;
  return file;
}

bool Compact() {
  const std::u16string source = Large().Source().u16string();
  const std::u16string target = Large().Target().u16string();
  FilterCompactRequest request = {source.c_str(), target.c_str(), 0, nullptr, nullptr};
  return fltCompact(&request) == 1 && std::filesystem::file_size(target) == std::filesystem::file_size(source);
}

bool Copy() {
  const std::string command = "cp '" + Large().Source().string() + "' '" + Large().Target().string() + "'";
  return std::system(command.c_str()) == 0;
}

void Run(benchmark::State& state, bool (*work)()) {
  Large();
  bool good = true;
  for (auto _ : state) {
    state.PauseTiming();
    std::filesystem::remove(Large().Target());
    state.ResumeTiming();
    good = work() && good;
  }
  if (!good) {
    state.SkipWithError("the file does not arrive");
  }
}

const bool registered = [] {
  benchmark::RegisterBenchmark("compact/500-mb-200-pages/vxtif", Run, Compact)
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime();
  benchmark::RegisterBenchmark("compact/500-mb-200-pages/cp", Run, Copy)->Unit(benchmark::kMillisecond)->UseRealTime();
  return true;
}();

} // namespace
