// Budgets of handles and the limits that follow the size of files: a hostile file is ended, an honest one never
// touched.

#include "vxkernel/limits.h"
#include "vxkernel/bitmap.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr KrnBudget kNone = {0, 0, 0, 0};
constexpr KrnBudget kEndless = {UINT64_MAX, 0, UINT64_MAX, 0};

constexpr KrnBudget Fixed(uint64_t n) {
  return {n, 0, n, 0};
}

class Limits : public testing::Test {
protected:
  void SetUp() override {
    const auto* info = testing::UnitTest::GetInstance()->current_test_info();
    path_ = fs::current_path() / (std::string("kernel-limits-") + info->name());
    krnGetLimits(&limits_);
    krnGetStatistics(&before_);
  }
  void TearDown() override {
    krnSetLimits(nullptr);
    fs::remove(path_);
    KrnStatistics after = {};
    krnGetStatistics(&after);
    EXPECT_EQ(after.openHandles, before_.openHandles);
    EXPECT_EQ(after.liveBlocks, before_.liveBlocks);
  }
  void Make(const std::string& bytes) const { std::ofstream(path_, std::ios::binary) << bytes; }
  VxFileHandle Open(uint32_t flags) const { return krnFileOpen(path_.u16string().c_str(), flags, kKrnShareRead); }
  void Set() const { krnSetLimits(&limits_); }

  fs::path path_;
  KrnLimits limits_ = {};
  KrnStatistics before_ = {};
};

uint32_t ReadByte(VxFileHandle handle) {
  char byte = 0;
  return krnFileRead(handle, &byte, 1);
}

uint32_t SeekTo(VxFileHandle handle, uint32_t offset) {
  return krnFileSeek(handle, static_cast<int32_t>(offset), kKrnSeekSet);
}

TEST_F(Limits, ReadsSeeksAndBytesEndTheirOwnWay) {
  Make(std::string(100, 'x'));
  limits_.reads = Fixed(3);
  limits_.seeks = Fixed(2);
  limits_.bytesRead = Fixed(20);
  Set();
  VxFileHandle handle = Open(0);
  EXPECT_EQ(SeekTo(handle, 0), 0u);
  EXPECT_EQ(SeekTo(handle, 7), 7u);
  EXPECT_EQ(SeekTo(handle, 0), kKrnIoFailed);
  EXPECT_EQ(ReadByte(handle), 1u);
  EXPECT_EQ(ReadByte(handle), 1u);
  EXPECT_EQ(ReadByte(handle), 1u);
  EXPECT_EQ(ReadByte(handle), 0u); // as at the end of the file
  krnFileClose(handle);
  handle = Open(0);
  char bytes[100];
  EXPECT_EQ(krnFileRead(handle, bytes, 15), 15u);
  EXPECT_EQ(krnFileRead(handle, bytes, 15), 5u); // short
  EXPECT_EQ(krnFileRead(handle, bytes, 15), 0u);
  EXPECT_EQ(krnFileSeek(handle, 0, kKrnSeekCurrent), 20u);
  krnFileClose(handle);
}

TEST_F(Limits, AHostRenewsTheBudgetOfAHandleThatItKeeps) {
  Make(std::string(100, 'x'));
  limits_.reads = Fixed(2);
  limits_.seeks = Fixed(1);
  Set();
  const VxFileHandle handle = Open(0);
  for (int call = 0; call < 5; ++call) {
    EXPECT_EQ(SeekTo(handle, 50), 50u);
    EXPECT_EQ(SeekTo(handle, 50), kKrnIoFailed);
    EXPECT_EQ(ReadByte(handle), 1u);
    EXPECT_EQ(ReadByte(handle), 1u);
    EXPECT_EQ(ReadByte(handle), 0u);
    krnFileRenewBudget(handle);
  }
  krnFileClose(handle);
}

TEST_F(Limits, ABudgetFollowsTheSizeOfTheFileUpToItsBounds) {
  struct Case {
    KrnBudget budget;
    size_t size;
    uint64_t reads;
  };
  for (const Case& c : {Case{{5, 10, 1000, 0}, 0, 5},
                        {{5, 10, 1000, 0}, 1, 15},
                        {{5, 10, 1000, 0}, 1024, 15},
                        {{5, 10, 1000, 0}, 1025, 25},
                        {{5, 10, 18, 0}, 5000, 18},
                        {{5, 10, 18, 7}, 5000, 35},
                        {{5, UINT64_MAX, 40, 0}, 5000, 40},
                        {{UINT64_MAX, 10, 41, 0}, 5000, 41}}) {
    Make(std::string(c.size, 'x'));
    limits_.reads = c.budget;
    Set();
    const VxFileHandle handle = Open(0);
    uint64_t reads = 0;
    for (; reads < 2000 && SeekTo(handle, 0) == 0 && ReadByte(handle) == (c.size == 0 ? 0u : 1u); ++reads) {
      if (c.size == 0 && reads == c.reads) {
        break; // an empty file cannot show the end of its budget
      }
    }
    EXPECT_EQ(reads, c.reads) << c.size;
    krnFileClose(handle);
  }
}

TEST_F(Limits, WritesRaiseTheBudgetAsTheFileGrowsAndAreNeverLimited) {
  limits_.reads = {0, 2, UINT64_MAX, 0};
  limits_.seeks = kEndless;
  limits_.bytesRead = kEndless;
  Set();
  const VxFileHandle handle = Open(258);
  EXPECT_EQ(ReadByte(handle), 0u);
  for (int i = 0; i < 3 * 1024; ++i) { // three KiB, a byte at a time: six reads
    ASSERT_EQ(krnFileWrite(handle, "x", 1), 1u);
  }
  SeekTo(handle, 0);
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(ReadByte(handle), 1u) << i;
  }
  EXPECT_EQ(ReadByte(handle), 0u);
  // Writing over what stands there is no growth: a loop of reads and writes is ended too.
  SeekTo(handle, 0);
  EXPECT_EQ(krnFileWrite(handle, std::string(3000, 'y').data(), 3000), 3000u);
  SeekTo(handle, 0);
  EXPECT_EQ(ReadByte(handle), 0u);
  krnFileClose(handle);
}

TEST_F(Limits, MemoryFilesHaveBudgetsToo) {
  limits_.reads = {1, 1, UINT64_MAX, 0};
  Set();
  char block[100] = {};
  VxMemFile file = nullptr;
  VxFileHandle handle = kKrnNoHandle;
  ASSERT_EQ(krnMemFileOpen(&file, &handle, kKrnMemFileRead, block, 100), 1);
  EXPECT_EQ(ReadByte(handle), 1u);
  EXPECT_EQ(ReadByte(handle), 1u);
  EXPECT_EQ(ReadByte(handle), 0u);
  krnMemFileClose(file, 0, nullptr);
}

TEST_F(Limits, OpenHandlesAreLimited) {
  Make("x");
  limits_.openHandles = static_cast<uint32_t>(before_.openHandles) + 3;
  Set();
  const VxFileHandle handles[] = {Open(0), Open(0), Open(0)};
  EXPECT_NE(handles[2], kKrnNoHandle);
  EXPECT_EQ(Open(0), kKrnNoHandle);
  VxMemFile file = nullptr;
  VxFileHandle memory = kKrnNoHandle;
  EXPECT_EQ(krnMemFileOpen(&file, &memory, kKrnMemFileRead, nullptr, 0), 0);
  krnFileClose(handles[0]);
  const VxFileHandle again = Open(0);
  EXPECT_NE(again, kKrnNoHandle);
  krnFileClose(again);
  krnFileClose(handles[1]);
  krnFileClose(handles[2]);
}

TEST_F(Limits, AFailedOpenLeavesNoHandle) {
  limits_.openHandles = static_cast<uint32_t>(before_.openHandles) + 1;
  Set();
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(Open(0), kKrnNoHandle);
  }
  Make("x");
  const VxFileHandle handle = Open(0);
  EXPECT_NE(handle, kKrnNoHandle);
  krnFileClose(handle);
}

TEST_F(Limits, MemoryFollowsTheFilesThatAreOpen) {
  limits_.liveBytes = {before_.liveBytes + 1000, 500, UINT64_MAX, 0};
  Set();
  Make(std::string(4000, 'x'));
  EXPECT_EQ(krnAlloc(1, 1001, 1, "LimitsTest"), nullptr);
  const VxFileHandle handle = Open(0);
  EXPECT_EQ(krnAlloc(1, 3001, 1, "LimitsTest"), nullptr);
  void* block = krnAlloc(1, 3000, 1, "LimitsTest");
  EXPECT_NE(block, nullptr);
  krnFree(block, 1, "LimitsTest");
  krnFileClose(handle);
  EXPECT_EQ(krnAlloc(1, 1001, 1, "LimitsTest"), nullptr);
}

TEST_F(Limits, BitmapPixelsDontCountAgainstTheBlocks) {
  limits_.liveBytes = Fixed(before_.liveBytes + 5000);
  Set();
  BitmapHandle bitmap;
  ASSERT_EQ(krnBitmapCreate(&bitmap, 164, 1, 1000, 1000, 8, 0, 0, 1, 0, 0), 1);
  void* block = krnAlloc(1, 3000, 1, "LimitsTest");
  EXPECT_NE(block, nullptr);
  // What a conversion makes does count: its size comes from a file, not from the host.
  EXPECT_EQ(krnBitmapResize(&bitmap, 500, 500, 0), -1);
  krnFree(block, 1, "LimitsTest");
  krnBitmapFree(&bitmap);
}

TEST_F(Limits, NullRestoresTheDefaults) {
  KrnLimits changed = limits_;
  changed.reads = kNone;
  krnSetLimits(&changed);
  krnSetLimits(nullptr);
  KrnLimits now = {};
  krnGetLimits(&now);
  EXPECT_EQ(std::memcmp(&now, &limits_, sizeof now), 0);
  krnGetLimits(nullptr);
  krnGetStatistics(nullptr);
}

// --- the defaults ---

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// A directory of no entries at `offset`, as a walk along the chain passes it: the count word, then the link.
bool Step(VxFileHandle handle, uint32_t offset) {
  char bytes[4];
  return SeekTo(handle, offset) == offset && krnFileRead(handle, bytes, 2) == 2 &&
         krnFileSeek(handle, 0, kKrnSeekCurrent) == offset + 2 && krnFileRead(handle, bytes, 4) == 4;
}

TEST_F(Limits, ALoopingChainInOneKiBIsEndedWellWithinATenthOfASecond) {
  Make(std::string(1024, '\0'));
  const VxFileHandle handle = Open(0);
  const auto start = std::chrono::steady_clock::now();
  uint64_t steps = 0;
  while (Step(handle, steps % 2 == 0 ? 8 : 1000)) {
    ++steps;
  }
  EXPECT_LT(SecondsSince(start), 0.1);
  EXPECT_GT(steps, 10000u);
  EXPECT_LT(steps, 100000u);
  krnFileClose(handle);
}

TEST_F(Limits, ALoopInALargeFileThatAlwaysMissesTheBufferIsEndedToo) {
  fs::resize_file((Make(""), path_), 300 << 20);
  limits_.reads.most = limits_.reads.most / 64; // the same rate, in a test's time
  Set();
  const VxFileHandle handle = Open(0);
  const auto start = std::chrono::steady_clock::now();
  uint32_t steps = 0;
  while (Step(handle, steps % 2 == 0 ? 8 : 200 << 20)) {
    ++steps;
  }
  EXPECT_EQ(steps, limits_.reads.most / 2);
  EXPECT_LT(SecondsSince(start), 5.0); // loose: a slow or busy machine
  krnFileClose(handle);
}

TEST_F(Limits, ReadingTheSameBytesOverAndOverInOneKiBIsEnded) {
  Make(std::string(1024, 'x'));
  const VxFileHandle handle = Open(0);
  std::vector<char> bytes(1024);
  uint64_t total = 0;
  while (SeekTo(handle, 0) == 0) {
    const uint32_t got = krnFileRead(handle, bytes.data(), 1024);
    if (got == 0) {
      break;
    }
    total += got;
  }
  EXPECT_LE(total, 4u << 20);
  EXPECT_GE(total, 1u << 20);
  krnFileClose(handle);
}

// The densest honest file: directories of one entry. Ten thousand of them are walked from the start, and then each is
// entered by its offset through a handle of its own and through one that is renewed.
TEST_F(Limits, AnHonestChainOfTenThousandPagesIsNeverTouched) {
  constexpr uint32_t kPages = 10000;
  constexpr uint32_t kPageBytes = 18;
  Make(std::string(8 + kPages * kPageBytes, '\0'));
  VxFileHandle handle = Open(0);
  for (int walks = 0; walks < 3; ++walks) { // counting, and the walks of a careful caller
    for (uint32_t page = 0; page < kPages; ++page) {
      ASSERT_TRUE(Step(handle, 8 + page * kPageBytes)) << page;
    }
  }
  for (uint32_t page = 0; page < kPages; ++page) {
    krnFileRenewBudget(handle);
    ASSERT_TRUE(Step(handle, 8 + page * kPageBytes)) << page;
  }
  krnFileClose(handle);
}

TEST_F(Limits, AnHonestTableOfShortsReadOneByOneIsNeverTouched) {
  Make(std::string(2 << 20, '\0'));
  const VxFileHandle handle = Open(0);
  char bytes[2];
  for (int i = 0; i < 1 << 20; ++i) {
    ASSERT_EQ(krnFileRead(handle, bytes, 2), 2u) << i;
  }
  krnFileClose(handle);
}

TEST_F(Limits, ALargeFileIsReadWholeThreeTimes) {
  fs::resize_file((Make(""), path_), uint64_t{200} << 20);
  limits_.bytesRead.most = 1 << 20; // so that the share of the size decides
  Set();
  const VxFileHandle handle = Open(0);
  std::vector<char> bytes(8 << 20);
  for (int round = 0; round < 3; ++round) {
    SeekTo(handle, 0);
    for (int i = 0; i < 25; ++i) {
      ASSERT_EQ(krnFileRead(handle, bytes.data(), 8 << 20), 8u << 20);
    }
  }
  SeekTo(handle, 0);
  EXPECT_EQ(ReadByte(handle), 0u);
  krnFileClose(handle);
}

TEST_F(Limits, TinyWritesAreNotLimited) {
  const VxFileHandle handle = Open(258);
  for (int i = 0; i < 300000; ++i) {
    ASSERT_EQ(krnFileWrite(handle, "ab", 2), 2u);
  }
  krnFileClose(handle);
  EXPECT_EQ(fs::file_size(path_), 600000u);
}

TEST_F(Limits, ASmallFileCannotAskForMoreThanAQuarterOfAGibibyte) {
  Make(std::string(1024, 'x'));
  const VxFileHandle handle = Open(0);
  EXPECT_EQ(krnAlloc(1, (260u << 20), 1, "LimitsTest"), nullptr);
  void* block = krnAllocZero(1, 255u << 20, 1, "LimitsTest");
  EXPECT_NE(block, nullptr);
  krnFree(block, 1, "LimitsTest");
  krnFileClose(handle);
}

} // namespace
