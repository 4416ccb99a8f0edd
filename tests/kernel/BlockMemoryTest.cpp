// Accounted blocks, movable blocks and byte operations.

#include "vxkernel/limits.h"
#include "vxkernel/memory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace {

constexpr char kModule[] = "BlockMemoryTest";

KrnStatistics Statistics() {
  KrnStatistics statistics = {};
  krnGetStatistics(&statistics);
  return statistics;
}

bool IsAligned(const void* block) {
  return reinterpret_cast<uintptr_t>(block) % 16 == 0;
}

struct SeenBlock {
  const void* block;
  size_t bytes;
  int32_t line;
  std::string module;
};

std::vector<SeenBlock> LiveBlocks() {
  std::vector<SeenBlock> seen;
  krnVisitBlocks(
      [](const void* block, size_t bytes, int32_t line, const char* module, void* data) {
        static_cast<std::vector<SeenBlock>*>(data)->push_back({block, bytes, line, module});
        return 1;
      },
      &seen);
  return seen;
}

class BlockMemory : public testing::Test {
protected:
  void SetUp() override { before_ = Statistics(); }
  void TearDown() override {
    krnSetAllocHook(nullptr, nullptr);
    krnSetLimits(nullptr);
    EXPECT_EQ(Statistics().liveBlocks, before_.liveBlocks);
    EXPECT_EQ(Statistics().liveBytes, before_.liveBytes);
  }
  KrnStatistics before_ = {};
};

TEST_F(BlockMemory, EveryBlockIsAlignedTo16) {
  std::vector<void*> blocks;
  for (size_t size = 0; size < 200; ++size) {
    blocks.push_back(krnAlloc(1, size, 1, kModule));
    ASSERT_NE(blocks.back(), nullptr);
    EXPECT_TRUE(IsAligned(blocks.back())) << size;
    std::memset(blocks.back(), 0xA5, size);
  }
  for (void*& block : blocks) {
    block = krnRealloc(block, 4000, 1, kModule);
    EXPECT_TRUE(IsAligned(block));
  }
  for (void* block : blocks) {
    krnFree(block, 1, kModule);
  }
}

TEST_F(BlockMemory, ASizeOfZeroGivesABlockOfItsOwn) {
  void* first = krnAlloc(0, 5, 1, kModule);
  void* second = krnAllocZero(7, 0, 1, kModule);
  EXPECT_NE(first, nullptr);
  EXPECT_NE(second, nullptr);
  EXPECT_NE(first, second);
  krnFree(first, 1, kModule);
  krnFree(second, 1, kModule);
}

TEST_F(BlockMemory, AProductThatOverflowsGivesNull) {
  constexpr size_t kHuge = std::numeric_limits<size_t>::max();
  EXPECT_EQ(krnAlloc(kHuge / 2 + 1, 2, 1, kModule), nullptr);
  EXPECT_EQ(krnAllocZero(kHuge, kHuge, 1, kModule), nullptr);
  EXPECT_EQ(krnAlloc(1, kHuge, 1, kModule), nullptr);
  EXPECT_EQ(krnGlobalAlloc(kHuge, 3, 1, kModule), 0u);
  void* block = krnAlloc(1, 8, 1, kModule);
  EXPECT_EQ(krnRealloc(block, kHuge, 1, kModule), nullptr);
  krnFree(block, 1, kModule);
}

TEST_F(BlockMemory, AllocZeroClears) {
  for (size_t size : {size_t{1}, size_t{100}, size_t{5000}, size_t{1} << 20}) {
    auto* dirty = static_cast<unsigned char*>(krnAlloc(1, size, 1, kModule));
    std::memset(dirty, 0xFF, size);
    krnFree(dirty, 1, kModule);
    auto* block = static_cast<unsigned char*>(krnAllocZero(1, size, 1, kModule));
    EXPECT_EQ(std::vector<unsigned char>(block, block + size), std::vector<unsigned char>(size, 0));
    krnFree(block, 1, kModule);
  }
}

TEST_F(BlockMemory, ReallocKeepsTheFirstBytesAndNullAllocates) {
  auto* block = static_cast<unsigned char*>(krnRealloc(nullptr, 100, 1, kModule));
  for (int i = 0; i < 100; ++i) {
    block[i] = static_cast<unsigned char>(i);
  }
  for (size_t size : {size_t{100000}, size_t{50}, size_t{3000000}}) {
    block = static_cast<unsigned char*>(krnRealloc(block, size, 1, kModule));
    ASSERT_NE(block, nullptr);
    for (int i = 0; i < 50; ++i) {
      ASSERT_EQ(block[i], i);
    }
  }
  krnFree(block, 1, kModule);
  krnFree(nullptr, 1, kModule);
}

TEST_F(BlockMemory, LiveBlocksAreKnownByModuleAndLine) {
  void* first = krnAlloc(3, 7, 41, "First.cpp");
  void* second = krnAllocZero(1, 9, 42, "Second.cpp");
  second = krnRealloc(second, 90, 43, "Third.cpp");
  const VxGlobalHandle movable = krnGlobalAlloc(256, 4, 44, "Fourth.cpp");
  auto find = [](const void* block) {
    for (const SeenBlock& seen : LiveBlocks()) {
      if (seen.block == block) {
        return seen.module + ":" + std::to_string(seen.line) + ":" + std::to_string(seen.bytes);
      }
    }
    return std::string("not seen");
  };
  EXPECT_EQ(find(first), "First.cpp:41:21");
  EXPECT_EQ(find(second), "Third.cpp:43:90");
  EXPECT_EQ(find(krnGlobalPointer(movable)), "Fourth.cpp:44:1024");
  EXPECT_EQ(Statistics().liveBlocks, before_.liveBlocks + 3);
  EXPECT_EQ(Statistics().liveBytes, before_.liveBytes + 21 + 90 + 1024);
  krnFree(first, 1, kModule);
  EXPECT_EQ(find(first), "not seen");
  krnFree(second, 1, kModule);
  krnGlobalFree(movable, 1, kModule);
}

TEST_F(BlockMemory, AVisitorEndsTheWalkWithZeroAndMayFree) {
  void* blocks[3];
  for (void*& block : blocks) {
    block = krnAlloc(1, 1, 77, kModule);
  }
  int visits = 0;
  krnVisitBlocks(
      [](const void*, size_t, int32_t, const char*, void* data) { return ++*static_cast<int*>(data) < 2 ? 1 : 0; },
      &visits);
  EXPECT_EQ(visits, 2);
  krnVisitBlocks(
      [](const void* block, size_t, int32_t line, const char* module, void*) {
        if (line == 77 && module == kModule) {
          krnFree(const_cast<void*>(block), 1, kModule);
        }
        return 1;
      },
      nullptr);
}

TEST_F(BlockMemory, PeakAndCountersFollowAndReset) {
  krnResetStatistics();
  void* big = krnAlloc(1, 10000, 1, kModule);
  krnFree(big, 1, kModule);
  EXPECT_EQ(Statistics().peakBytes, before_.liveBytes + 10000);
  EXPECT_EQ(Statistics().allocations, 1u);
  krnResetStatistics();
  EXPECT_EQ(Statistics().peakBytes, before_.liveBytes);
  EXPECT_EQ(Statistics().allocations, 0u);
}

TEST_F(BlockMemory, TheHookRefusesAndSeesWhatIsAsked) {
  struct Asked {
    size_t bytes;
    int32_t line;
    std::string module;
    int calls;
  } asked = {};
  krnSetAllocHook(
      [](size_t bytes, int32_t line, const char* module, void* data) {
        auto* seen = static_cast<Asked*>(data);
        *seen = {bytes, line, module, seen->calls + 1};
        return 0;
      },
      &asked);
  EXPECT_EQ(krnAlloc(4, 5, 6, kModule), nullptr);
  EXPECT_EQ(asked.bytes, 20u);
  EXPECT_EQ(asked.line, 6);
  EXPECT_EQ(asked.module, kModule);
  EXPECT_EQ(krnAllocZero(4, 5, 6, kModule), nullptr);
  EXPECT_EQ(krnGlobalAlloc(4, 5, 6, kModule), 0u);
  EXPECT_EQ(asked.calls, 3);
  krnSetAllocHook(nullptr, nullptr);
  auto* block = static_cast<char*>(krnAlloc(1, 4, 1, kModule));
  std::memcpy(block, "old", 4);
  krnSetAllocHook([](size_t, int32_t, const char*, void*) { return 0; }, nullptr);
  EXPECT_EQ(krnRealloc(block, 100, 1, kModule), nullptr);
  EXPECT_STREQ(block, "old");
  krnFree(block, 1, kModule);
}

TEST_F(BlockMemory, LimitsOnOneBlockAndOnAllTogether) {
  KrnLimits limits = {};
  krnGetLimits(&limits);
  limits.blockBytes = 1000;
  limits.liveBytes = {before_.liveBytes + 2500, 0, UINT64_MAX, 0};
  krnSetLimits(&limits);
  EXPECT_EQ(krnAlloc(1, 1001, 1, kModule), nullptr);
  void* first = krnAlloc(1, 1000, 1, kModule);
  void* second = krnAlloc(1, 1000, 1, kModule);
  EXPECT_NE(second, nullptr);
  EXPECT_EQ(krnAlloc(1, 501, 1, kModule), nullptr);
  EXPECT_EQ(krnGlobalAlloc(1, 501, 1, kModule), 0u);
  void* third = krnAlloc(1, 500, 1, kModule);
  EXPECT_NE(third, nullptr);
  // What a block gives up counts for its own growth.
  EXPECT_EQ(krnRealloc(third, 501, 1, kModule), nullptr);
  krnFree(first, 1, kModule);
  third = krnRealloc(third, 1000, 1, kModule);
  EXPECT_NE(third, nullptr);
  krnFree(second, 1, kModule);
  krnFree(third, 1, kModule);
}

TEST_F(BlockMemory, MovableBlocksAreFoundByTheirHandleAlone) {
  const VxGlobalHandle first = krnGlobalAlloc(2, 4, 1, kModule);
  const VxGlobalHandle second = krnGlobalAlloc(1, 0, 1, kModule);
  ASSERT_NE(first, 0u);
  ASSERT_NE(second, 0u);
  EXPECT_EQ(krnGlobalSize(first), 8u);
  EXPECT_EQ(krnGlobalSize(second), 0u);
  EXPECT_NE(krnGlobalPointer(second), nullptr);
  std::memcpy(krnGlobalPointer(first), "1234567", 8);
  EXPECT_STREQ(static_cast<char*>(krnGlobalPointer(first)), "1234567");
  krnGlobalFree(first, 1, kModule);
  EXPECT_EQ(krnGlobalPointer(first), nullptr);
  EXPECT_EQ(krnGlobalSize(first), 0u);
  krnGlobalFree(first, 1, kModule); // a stale handle frees nothing
  const VxGlobalHandle third = krnGlobalAlloc(1, 1, 1, kModule);
  EXPECT_NE(third, first);
  krnGlobalFree(first, 1, kModule);
  EXPECT_NE(krnGlobalPointer(third), nullptr);
  krnGlobalFree(second, 1, kModule);
  krnGlobalFree(third, 1, kModule);
  krnGlobalFree(0, 1, kModule);
  EXPECT_EQ(krnGlobalPointer(0), nullptr);
  EXPECT_EQ(krnGlobalPointer(0xFFFFFFFFu), nullptr);
}

TEST_F(BlockMemory, ManyMovableBlocksAtOnce) {
  std::vector<VxGlobalHandle> handles;
  for (uint32_t i = 0; i < 1000; ++i) {
    handles.push_back(krnGlobalAlloc(1, sizeof i, 1, kModule));
    std::memcpy(krnGlobalPointer(handles.back()), &i, sizeof i);
  }
  for (uint32_t i = 0; i < 1000; ++i) {
    EXPECT_EQ(std::memcmp(krnGlobalPointer(handles[i]), &i, sizeof i), 0);
    krnGlobalFree(handles[i], 1, kModule);
  }
}

TEST_F(BlockMemory, ByteOperations) {
  char bytes[] = "abcdef";
  krnMemMove(bytes + 1, bytes, 4);
  EXPECT_STREQ(bytes, "aabcdf");
  krnMemCopy(bytes, "xy", 2);
  krnMemSet(bytes + 4, 'z', 2);
  EXPECT_STREQ(bytes, "xybczz");
  EXPECT_EQ(krnMemCompare(bytes, "xyb", 3), 0);
  EXPECT_LT(krnMemCompare("a", "b", 1), 0);
  EXPECT_GT(krnMemCompare("\xFF", "\x01", 1), 0); // bytes are unsigned
  EXPECT_EQ(krnMemFind(bytes, 'z', 6), bytes + 4);
  EXPECT_EQ(krnMemFind(bytes, 'z', 4), nullptr);
  krnMemCopy(nullptr, nullptr, 0);
  krnMemMove(nullptr, nullptr, 0);
  krnMemSet(nullptr, 0, 0);
  EXPECT_EQ(krnMemCompare(nullptr, nullptr, 0), 0);
  EXPECT_EQ(krnMemFind(nullptr, 0, 0), nullptr);
}

} // namespace
