// Real files compacted: every byte of the result is reached from its header, or is a pad. Needs VXTIF_CORPUS.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <gtest/gtest.h>
#include <vxtif/results.h>
#include <vxtif/save.h>

#include "compaction/Reachable.h"
#include "support/KernelGuard.h"
#include "support/TempFile.h"

namespace {

std::vector<std::filesystem::path> RealFiles() {
  std::vector<std::filesystem::path> files;
  const char* folder = std::getenv("VXTIF_CORPUS");
  if (folder == nullptr || !std::filesystem::is_directory(folder)) {
    return files;
  }
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    std::string suffix = entry.path().extension().string();
    std::transform(suffix.begin(), suffix.end(), suffix.begin(), [](unsigned char c) { return std::tolower(c); });
    if (entry.is_regular_file() && (suffix == ".tif" || suffix == ".tiff")) {
      files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

FileBytes BytesOf(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return FileBytes(std::istreambuf_iterator<char>(stream), {});
}

TEST(CorpusReach, CompactedFilesHoldNothingUnreachable) {
  const std::vector<std::filesystem::path> files = RealFiles();
  if (files.empty()) {
    GTEST_SKIP() << "no real files: VXTIF_CORPUS names no folder that holds some";
  }
  uint32_t compacted = 0;
  for (const std::filesystem::path& path : files) {
    SCOPED_TRACE(path.string());
    KernelGuard guard;
    const TempFile source(BytesOf(path));
    const TempFile destination;
    FilterCompactRequest request = {source.Name(), destination.Name(), 0, nullptr, nullptr};
    if (fltCompact(&request) != kResultOk) {
      continue; // why a file is refused is another test's subject
    }
    ++compacted;
    try {
      EXPECT_EQ(Reachable(destination.Read()).DeadRuns(), std::vector<std::string>{});
    } catch (const std::exception& error) {
      ADD_FAILURE() << error.what();
    }
  }
  EXPECT_GT(compacted, files.size() / 2);
}

} // namespace
