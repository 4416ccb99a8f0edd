// Replays inputs through the targets in any build, without libFuzzer.
//
//   fuzz_replay REGRESSIONS      all seeds, then every file below the folder; a file's name begins with its target's
//   fuzz_replay --seeds FOLDER   writes the seeds to FOLDER/TARGET/
//   fuzz_replay --run TARGET FILE...
//
// A crash, an abort or a sanitizer's report is the failure; a file is named before it runs.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "FuzzTarget.h"

namespace fs = std::filesystem;

namespace {

const FuzzTarget* FindTarget(const std::string& name) {
  for (const FuzzTarget* target : kFuzzTargets) {
    if (name == target->name) {
      return target;
    }
  }
  std::fprintf(stderr, "fuzz_replay: no target '%s'\n", name.c_str());
  return nullptr;
}

FileBytes ReadAll(const char* path) {
  constexpr size_t kPiece = 65536;
  FileBytes bytes;
  std::FILE* file = std::fopen(path, "rb");
  for (size_t got = kPiece; file != nullptr && got == kPiece;) {
    const size_t held = bytes.size();
    bytes.resize(held + kPiece);
    got = std::fread(bytes.data() + held, 1, kPiece, file);
    bytes.resize(held + got);
  }
  if (file != nullptr) {
    std::fclose(file);
  }
  return bytes;
}

// An exact copy, so that a sanitizer sees the first byte behind it.
void Run(const FuzzTarget& target, const FileBytes& input) {
  const FileBytes exact(input);
  RunFuzzInput(target, exact);
}

bool RunFile(const FuzzTarget& target, const char* path) {
  std::printf("%s: %s\n", target.name, path);
  std::fflush(stdout);
  Run(target, ReadAll(path));
  return true;
}

void WriteSeeds(const fs::path& folder) {
  for (const FuzzTarget* target : kFuzzTargets) {
    fs::create_directories(folder / target->name);
    size_t number = 0;
    for (const FileBytes& seed : target->seeds()) {
      char name[32];
      std::snprintf(name, sizeof name, "seed%04zu", number++);
      std::ofstream(folder / target->name / name, std::ios::binary)
          .write(reinterpret_cast<const char*>(seed.data()), static_cast<std::streamsize>(seed.size()));
    }
    std::printf("%s: %zu seeds\n", target->name, number);
  }
}

void ReplaySeeds() {
  for (const FuzzTarget* target : kFuzzTargets) {
    const std::vector<FileBytes> seeds = target->seeds();
    std::printf("%s: %zu seeds\n", target->name, seeds.size());
    std::fflush(stdout);
    for (const FileBytes& seed : seeds) {
      Run(*target, seed);
    }
  }
}

bool ReplayFolder(const fs::path& folder) {
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) {
      files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  for (const fs::path& file : files) {
    const std::string name = file.filename().string();
    const FuzzTarget* target = FindTarget(name.substr(0, name.find('-')));
    if (target == nullptr || !RunFile(*target, file.c_str())) {
      return false;
    }
  }
  std::printf("%zu regressions\n", files.size());
  return !files.empty();
}

} // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::strcmp(argv[1], "--seeds") == 0) {
    WriteSeeds(argv[2]);
    return 0;
  }
  if (argc >= 4 && std::strcmp(argv[1], "--run") == 0) {
    const FuzzTarget* target = FindTarget(argv[2]);
    for (int i = 3; target != nullptr && i < argc; ++i) {
      RunFile(*target, argv[i]);
    }
    return target != nullptr ? 0 : 2;
  }
  if (argc != 2) {
    std::fprintf(stderr, "fuzz_replay REGRESSIONS | --seeds FOLDER | --run TARGET FILE...\n");
    return 2;
  }
  ReplaySeeds();
  return ReplayFolder(argv[1]) ? 0 : 1;
}
