// Every operation on every hostile file, within the bounds. A row of the table tells the slowest call of a file and the
// one that took most memory.

#include <gtest/gtest.h>

#include "limits/EveryOperation.h"
#include "limits/HostileFiles.h"

namespace {

// The slow build takes a part of the files: the others differ in a number only.
#if defined(__SANITIZE_ADDRESS__)
constexpr size_t kStep = 4;
#else
constexpr size_t kStep = 1;
#endif

void RunAll(const std::vector<SparseFile>& files) {
  CallMeter::PrintHead();
  for (size_t i = 0; i < files.size();) {
    CallMeter meter(files[i].name, files[i].size);
    const std::string name = files[i].name;
    for (; i < files.size() && files[i].name == name; ++i) { // one row for all files of a name
      if (i % kStep == 0 || RunsAll()) {
        RunReadingOperations(files[i], meter);
        RunWritingOperations(files[i], meter);
      }
    }
    meter.PrintRow();
  }
}

TEST(HostileFiles, LoopsAndChainsOfAFewHundredBytes) {
  RunAll(SmallLoops());
}

TEST(HostileFiles, NestedDirectoriesOfAFewHundredBytes) {
  RunAll(SmallNests());
}

TEST(HostileFiles, AbsurdCountsInEveryTag) {
  RunAll(AbsurdCounts());
}

TEST(HostileFiles, AbsurdLayoutsOfAFewHundredBytes) {
  RunAll(AbsurdLayouts());
}

TEST(HostileFiles, DataThatExpandWithoutEnd) {
  RunAll(Expanding());
}

TEST(HostileFiles, LargeTablesAndManyEntries) {
  RunAll(LargeTables());
}

TEST(HostileFiles, LargeLoopsAndChains) {
  RunAll(LargeChains());
}

// Compactions of such files write up to 4 GiB each.
TEST(HostileFiles, FilesOfSomeGibibytes) {
  if (!RunsAll()) {
    GTEST_SKIP() << "writes tens of gibibytes: run scripts/test.sh --all, or set VX_TEST_ALL=1";
  }
  RunAll(HugeFiles());
}

} // namespace
