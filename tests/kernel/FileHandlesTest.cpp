// File handles: flags of the open, positions, coherence of the buffer, memory files, redirection.

#include "vxkernel/files.h"
#include "vxkernel/limits.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#if defined(__linux__)
#include <sys/stat.h>
#endif

namespace {

namespace fs = std::filesystem;

class FileHandles : public testing::Test {
protected:
  void SetUp() override {
    const auto* info = testing::UnitTest::GetInstance()->current_test_info();
    folder_ = fs::current_path() / (std::string("kernel-files-") + info->name());
    fs::remove_all(folder_);
    fs::create_directories(folder_);
    krnGetStatistics(&before_);
  }
  void TearDown() override {
    krnSetLimits(nullptr);
    fs::remove_all(folder_);
    KrnStatistics after = {};
    krnGetStatistics(&after);
    EXPECT_EQ(after.openHandles, before_.openHandles);
  }
  std::u16string Name(const std::u16string& base) const { return (folder_ / fs::path(base)).u16string(); }
  VxFileHandle Open(const std::u16string& base, uint32_t flags) const {
    return krnFileOpen(Name(base).c_str(), flags, kKrnShareRead);
  }
  void Make(const std::u16string& base, const std::string& bytes) const {
    std::ofstream(folder_ / fs::path(base), std::ios::binary) << bytes;
  }
  std::string Content(const std::u16string& base) const {
    std::ifstream in(folder_ / fs::path(base), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  fs::path folder_;
  KrnStatistics before_ = {};
};

std::string Read(VxFileHandle handle, uint32_t n) {
  std::string bytes(n, '?');
  const uint32_t got = krnFileRead(handle, bytes.data(), n);
  return got == kKrnIoFailed ? "failed" : bytes.substr(0, got);
}

uint32_t Write(VxFileHandle handle, const std::string& bytes) {
  return krnFileWrite(handle, bytes.data(), static_cast<uint32_t>(bytes.size()));
}

uint32_t Position(VxFileHandle handle) {
  return krnFileSeek(handle, 0, kKrnSeekCurrent);
}

std::string Pattern(size_t n) {
  std::string bytes(n, 0);
  for (size_t i = 0; i < n; ++i) {
    bytes[i] = static_cast<char>(i * 131 + i / 251);
  }
  return bytes;
}

TEST_F(FileHandles, AMissingFileIsRefusedWithoutTheCreateFlag) {
  for (uint32_t flags : {0u, 1u, 2u}) {
    EXPECT_EQ(Open(u"none", flags), kKrnNoHandle) << flags;
  }
  EXPECT_FALSE(fs::exists(folder_ / "none"));
}

TEST_F(FileHandles, Flags258CreatesOrEmptiesForReadingAndWriting) {
  Make(u"a", "old bytes");
  for (const char16_t* name : {u"a", u"new"}) {
    const VxFileHandle handle = Open(name, 258);
    ASSERT_NE(handle, kKrnNoHandle);
    EXPECT_EQ(krnFileSeek(handle, 0, kKrnSeekEnd), 0u);
    EXPECT_EQ(Write(handle, "xyz"), 3u);
    EXPECT_EQ(krnFileSeek(handle, 0, kKrnSeekSet), 0u);
    EXPECT_EQ(Read(handle, 10), "xyz");
    EXPECT_EQ(krnFileClose(handle), 0);
    EXPECT_EQ(Content(name), "xyz");
  }
}

TEST_F(FileHandles, Flags257CreatesAndKeepsOldBytes) {
  Make(u"a", "old bytes");
  const VxFileHandle handle = Open(u"a", 257);
  EXPECT_EQ(Write(handle, "NEW"), 3u);
  krnFileClose(handle);
  EXPECT_EQ(Content(u"a"), "NEW bytes");
  krnFileClose(Open(u"b", 257));
  EXPECT_TRUE(fs::exists(folder_ / "b"));
}

TEST_F(FileHandles, AccessIsWhatWasAskedFor) {
  Make(u"a", "bytes");
  const VxFileHandle reader = Open(u"a", 0);
  EXPECT_EQ(Write(reader, "x"), kKrnIoFailed);
  EXPECT_EQ(Read(reader, 9), "bytes");
  krnFileClose(reader);
  const VxFileHandle writer = Open(u"a", 1);
  EXPECT_EQ(Read(writer, 1), "failed");
  EXPECT_EQ(Write(writer, "B"), 1u);
  krnFileClose(writer);
  const VxFileHandle both = Open(u"a", 2);
  EXPECT_EQ(Read(both, 5), "Bytes");
  EXPECT_EQ(Write(both, "!"), 1u);
  krnFileClose(both);
  EXPECT_EQ(Content(u"a"), "Bytes!");
  EXPECT_EQ(Open(u"a", 3), kKrnNoHandle);
}

TEST_F(FileHandles, DirectoriesAndBadNamesAreRefused) {
  fs::create_directory(folder_ / "dir");
  for (uint32_t flags : {0u, 1u, 2u, 256u, 257u, 258u}) {
    EXPECT_EQ(Open(u"dir", flags), kKrnNoHandle) << flags;
  }
  EXPECT_EQ(krnFileOpen(nullptr, 258, 0), kKrnNoHandle);
  EXPECT_EQ(krnFileOpen(u"", 258, 0), kKrnNoHandle);
  const std::u16string base = Name(u"x");
  for (const std::u16string& tail : {std::u16string(1, 0xD800), std::u16string(1, 0xDC00),
                                     std::u16string{0xDC00, 0xD800}, std::u16string{0xD800, u'a'}}) {
    EXPECT_EQ(krnFileOpen((base + tail).c_str(), 258, 0), kKrnNoHandle);
    EXPECT_EQ(krnFileDelete((base + tail).c_str()), 0);
  }
  EXPECT_EQ(krnFileOpen(std::u16string(20000, u'a').c_str(), 258, 0), kKrnNoHandle);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_), {}), 1);
}

TEST_F(FileHandles, NamesReachTheSystemWhole) {
  // One, two, three and four bytes in UTF-8.
  const std::u16string name = u"a\u00e9\u20ac\U0001F600";
  krnFileClose(Open(name, 258));
  EXPECT_TRUE(fs::exists(folder_ / fs::path(name)));
  EXPECT_EQ(fs::directory_iterator(folder_)->path().filename().u8string(), u8"a\u00e9\u20ac\U0001F600");
  EXPECT_EQ(krnFileDelete(Name(name).c_str()), 1);
  EXPECT_EQ(krnFileDelete(Name(name).c_str()), 0);
}

TEST_F(FileHandles, AHandleIsNeverUsedTwice) {
  Make(u"a", "bytes");
  const VxFileHandle first = Open(u"a", 0);
  EXPECT_GT(first, 0);
  EXPECT_EQ(krnFileClose(first), 0);
  for (int i = 0; i < 10000; ++i) {
    const VxFileHandle handle = Open(u"a", 0);
    ASSERT_NE(handle, first);
    ASSERT_EQ(krnFileClose(handle), 0);
  }
  char byte = 0;
  EXPECT_EQ(krnFileClose(first), -1);
  EXPECT_EQ(krnFileRead(first, &byte, 1), kKrnIoFailed);
  EXPECT_EQ(krnFileWrite(first, &byte, 1), kKrnIoFailed);
  EXPECT_EQ(krnFileSeek(first, 0, 0), kKrnIoFailed);
  for (VxFileHandle handle : {-1, 0, 1, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(krnFileClose(handle), -1) << handle;
    EXPECT_EQ(krnFileRead(handle, &byte, 1), kKrnIoFailed) << handle;
    krnFileRenewBudget(handle);
  }
}

TEST_F(FileHandles, SeeksFromStartPositionAndEnd) {
  Make(u"a", "0123456789");
  const VxFileHandle handle = Open(u"a", 0);
  EXPECT_EQ(krnFileSeek(handle, 4, kKrnSeekSet), 4u);
  EXPECT_EQ(Read(handle, 2), "45");
  EXPECT_EQ(krnFileSeek(handle, -3, kKrnSeekCurrent), 3u);
  EXPECT_EQ(krnFileSeek(handle, -1, kKrnSeekEnd), 9u);
  EXPECT_EQ(Read(handle, 5), "9");
  EXPECT_EQ(Read(handle, 5), "");
  EXPECT_EQ(Position(handle), 10u);
  // A seek that fails moves nothing.
  EXPECT_EQ(krnFileSeek(handle, -11, kKrnSeekEnd), kKrnIoFailed);
  EXPECT_EQ(krnFileSeek(handle, -1, kKrnSeekSet), kKrnIoFailed);
  EXPECT_EQ(krnFileSeek(handle, 0, 3), kKrnIoFailed);
  EXPECT_EQ(Position(handle), 10u);
  krnFileClose(handle);
}

TEST_F(FileHandles, PositionsAboveTwoGigabytesAndUpToTheLastWord) {
  const VxFileHandle handle = Open(u"a", 258);
  EXPECT_EQ(krnFileSeek(handle, INT32_MAX, kKrnSeekSet), 0x7FFFFFFFu);
  EXPECT_EQ(krnFileSeek(handle, INT32_MAX, kKrnSeekCurrent), 0xFFFFFFFEu);
  EXPECT_EQ(Read(handle, 1), "");
  EXPECT_EQ(krnFileSeek(handle, 1, kKrnSeekCurrent), kKrnIoFailed); // 0xFFFFFFFF is failure itself
  EXPECT_EQ(Position(handle), 0xFFFFFFFEu);
  EXPECT_EQ(Write(handle, "abcd"), 4u); // the position itself goes on beyond 32 bits
  EXPECT_EQ(Position(handle), kKrnIoFailed);
  EXPECT_EQ(krnFileSeek(handle, -4, kKrnSeekCurrent), 0xFFFFFFFEu);
  EXPECT_EQ(Read(handle, 9), "abcd");
  EXPECT_EQ(krnFileSeek(handle, 0, kKrnSeekEnd), kKrnIoFailed);
  EXPECT_EQ(krnFileSeek(handle, -4, kKrnSeekEnd), 0xFFFFFFFEu);
  krnFileClose(handle);
  EXPECT_EQ(fs::file_size(folder_ / "a"), 0x100000002u);
}

TEST_F(FileHandles, AWritePastTheEndFillsTheGapWithZeros) {
  const VxFileHandle handle = Open(u"a", 258);
  Write(handle, "ab");
  EXPECT_EQ(krnFileSeek(handle, 6, kKrnSeekSet), 6u);
  EXPECT_EQ(krnFileSeek(handle, 0, kKrnSeekEnd), 2u);
  krnFileSeek(handle, 6, kKrnSeekSet);
  Write(handle, "cd");
  krnFileSeek(handle, 0, kKrnSeekSet);
  EXPECT_EQ(Read(handle, 9), std::string("ab\0\0\0\0cd", 8));
  krnFileClose(handle);
}

TEST_F(FileHandles, ReadsAndWritesOfNothing) {
  Make(u"a", "ab");
  const VxFileHandle handle = Open(u"a", 2);
  EXPECT_EQ(krnFileRead(handle, nullptr, 0), 0u);
  EXPECT_EQ(krnFileWrite(handle, nullptr, 0), 0u);
  EXPECT_EQ(krnFileRead(handle, nullptr, 1), kKrnIoFailed);
  EXPECT_EQ(krnFileWrite(handle, nullptr, 1), kKrnIoFailed);
  EXPECT_EQ(Position(handle), 0u);
  krnFileClose(handle);
}

TEST_F(FileHandles, BufferedReadsAgreeWithTheFileUnderRandomUse) {
  constexpr size_t kSize = 600000;
  std::string model = Pattern(kSize);
  Make(u"a", model);
  const VxFileHandle handles[2] = {Open(u"a", 2), Open(u"a", 2)};
  size_t positions[2] = {0, 0};
  std::mt19937 random(20240611);
  for (int step = 0; step < 30000; ++step) {
    const size_t which = random() % 2;
    size_t& position = positions[which];
    switch (random() % 8) {
    case 0:
      position = random() % (kSize + 1000);
      ASSERT_EQ(krnFileSeek(handles[which], static_cast<int32_t>(position), kKrnSeekSet), position);
      break;
    case 1: {
      const std::string bytes = Pattern(random() % (random() % 16 == 0 ? 40000 : 40));
      if (position > model.size() && !bytes.empty()) {
        model.resize(position, '\0');
      }
      if (!bytes.empty()) {
        model.replace(position, std::min(bytes.size(), model.size() - position), bytes);
      }
      ASSERT_EQ(Write(handles[which], bytes), bytes.size());
      position += bytes.size();
      break;
    }
    default: {
      const auto n = static_cast<uint32_t>(random() % (random() % 16 == 0 ? 60000 : 600));
      const std::string want = position < model.size() ? model.substr(position, n) : std::string();
      ASSERT_EQ(Read(handles[which], n), want) << "step " << step;
      position += want.size();
    }
    }
  }
  krnFileClose(handles[0]);
  krnFileClose(handles[1]);
  EXPECT_EQ(Content(u"a"), model);
}

TEST_F(FileHandles, AnOpenThatEmptiesIsSeenByOtherHandles) {
  Make(u"a", "old bytes");
  const VxFileHandle reader = Open(u"a", 0);
  EXPECT_EQ(Read(reader, 3), "old");
  const VxFileHandle writer = Open(u"a", 258);
  EXPECT_EQ(Read(reader, 3), "");
  Write(writer, "newer bytes");
  EXPECT_EQ(Read(reader, 9), "er bytes");
  krnFileClose(reader);
  krnFileClose(writer);
}

TEST_F(FileHandles, RenewingShowsWhatAnotherProgramWrote) {
  Make(u"a", "before");
  const VxFileHandle handle = Open(u"a", 0);
  EXPECT_EQ(Read(handle, 6), "before");
  Make(u"a", "after, and longer");
  krnFileRenewBudget(handle);
  krnFileSeek(handle, 0, kKrnSeekSet);
  EXPECT_EQ(Read(handle, 30), "after, and longer");
  krnFileClose(handle);
}

TEST_F(FileHandles, WriteErrorGivesTheCode) {
  EXPECT_EQ(krnWriteError(-5), -5);
  EXPECT_EQ(krnWriteError(7), 7);
}

TEST_F(FileHandles, TheThirdArgumentHasNoEffect) {
  Make(u"a", "abc");
  const uint32_t shares[] = {0, kKrnShareExclusive, kKrnShareRead, 0xFFFFFFFFu};
  std::vector<VxFileHandle> handles;
  for (uint32_t share : shares) {
    handles.push_back(krnFileOpen(Name(u"a").c_str(), 2, share));
    EXPECT_EQ(Read(handles.back(), 9), "abc") << share;
  }
  for (VxFileHandle handle : handles) {
    krnFileClose(handle);
  }
}

#if defined(__linux__)
TEST_F(FileHandles, APipeIsRefusedWithoutWaitingForItsOtherEnd) {
  ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(Open(u"pipe", 0), kKrnNoHandle);
  EXPECT_EQ(Open(u"pipe", 2), kKrnNoHandle);
}

TEST_F(FileHandles, AnErrorOfTheSystemIsNotTheEndOfTheFile) {
  const VxFileHandle handle = krnFileOpen(u"/proc/self/mem", 0, 0); // nothing is mapped at its start
  ASSERT_NE(handle, kKrnNoHandle);
  EXPECT_EQ(Read(handle, 4), "failed");
  EXPECT_EQ(Read(handle, 100000), "failed"); // past the buffer too
  EXPECT_EQ(Position(handle), 0u);
  krnFileClose(handle);
}

TEST_F(FileHandles, AFullDiskIsToldByTheWriteItself) {
  const VxFileHandle handle = krnFileOpen(u"/dev/full", 1, 0);
  ASSERT_NE(handle, kKrnNoHandle);
  EXPECT_EQ(Write(handle, "abc"), kKrnIoFailed);
  krnFileClose(handle);
}
#endif

TEST_F(FileHandles, CallsAreCounted) {
  krnResetStatistics();
  Make(u"a", "abc");
  const VxFileHandle handle = Open(u"a", 2);
  Open(u"none", 0);
  Read(handle, 1);
  Read(handle, 1);
  Read(handle, 1);
  Write(handle, "x");
  Write(handle, "x");
  krnFileSeek(handle, 0, 0);
  KrnStatistics now = {};
  krnGetStatistics(&now);
  EXPECT_EQ(now.opens, 2u);
  EXPECT_EQ(now.reads, 3u);
  EXPECT_EQ(now.writes, 2u);
  EXPECT_EQ(now.seeks, 1u);
  EXPECT_EQ(now.closes, 0u);
  EXPECT_EQ(now.openHandles, before_.openHandles + 1);
  krnFileClose(handle);
  krnGetStatistics(&now);
  EXPECT_EQ(now.closes, 1u);
}

TEST_F(FileHandles, AMemoryFileReadsItsBlock) {
  char block[] = "0123456789";
  VxMemFile file = nullptr;
  VxFileHandle handle = kKrnNoHandle;
  ASSERT_EQ(krnMemFileOpen(&file, &handle, kKrnMemFileRead, block, 10), 1);
  EXPECT_EQ(Read(handle, 4), "0123");
  EXPECT_EQ(krnFileSeek(handle, -2, kKrnSeekEnd), 8u);
  EXPECT_EQ(Read(handle, 4), "89");
  EXPECT_EQ(Read(handle, 4), "");
  EXPECT_EQ(krnFileSeek(handle, 100, kKrnSeekSet), 100u);
  EXPECT_EQ(Read(handle, 1), "");
  EXPECT_EQ(Write(handle, "x"), kKrnIoFailed);
  uint32_t bytes = 0;
  EXPECT_EQ(krnMemFileClose(file, 0, &bytes), 1);
  EXPECT_EQ(bytes, 10u);
  EXPECT_EQ(krnMemFileClose(file, 0, &bytes), 0);
  EXPECT_EQ(Read(handle, 1), "failed");
}

TEST_F(FileHandles, AMemoryFileWritesIntoAFixedBlock) {
  char block[13] = "????????????";
  VxMemFile file = nullptr;
  VxFileHandle handle = kKrnNoHandle;
  ASSERT_EQ(krnMemFileOpen(&file, &handle, kKrnMemFileWrite, block, 10), 1);
  EXPECT_EQ(krnFileSeek(handle, 0, kKrnSeekEnd), 0u);
  EXPECT_EQ(Write(handle, "ab"), 2u);
  EXPECT_EQ(krnFileSeek(handle, 5, kKrnSeekSet), 5u);
  EXPECT_EQ(Write(handle, "cd"), 2u);
  EXPECT_EQ(krnFileSeek(handle, 0, kKrnSeekEnd), 7u);
  krnFileSeek(handle, 1, kKrnSeekSet);
  EXPECT_EQ(Read(handle, 9), std::string("b\0\0\0cd", 6));
  EXPECT_EQ(Write(handle, "wxyz"), 3u); // only 3 fit
  EXPECT_EQ(Write(handle, "x"), 0u);
  krnFileSeek(handle, 20, kKrnSeekSet);
  EXPECT_EQ(Write(handle, "x"), 0u);
  krnFileSeek(handle, 0, kKrnSeekSet);
  EXPECT_EQ(Write(handle, "A"), 1u); // an earlier place leaves the end
  uint32_t bytes = 0;
  EXPECT_EQ(krnMemFileClose(file, 0, &bytes), 1);
  EXPECT_EQ(bytes, 10u);
  EXPECT_EQ(std::string(block, 12), std::string("Ab\0\0\0cdwxy??", 12));
}

TEST_F(FileHandles, MemoryFilesThatCannotBeOpened) {
  char block[4];
  VxMemFile file = nullptr;
  VxFileHandle handle = kKrnNoHandle;
  EXPECT_EQ(krnMemFileOpen(nullptr, &handle, 4, block, 4), 0);
  EXPECT_EQ(krnMemFileOpen(&file, nullptr, 4, block, 4), 0);
  EXPECT_EQ(krnMemFileOpen(&file, &handle, 4, nullptr, 4), 0);
  EXPECT_EQ(krnMemFileOpen(&file, &handle, 2, block, 4), 0);
  EXPECT_EQ(krnMemFileClose(nullptr, 0, nullptr), 0);
  ASSERT_EQ(krnMemFileOpen(&file, &handle, 4, nullptr, 0), 1);
  EXPECT_EQ(Read(handle, 1), "");
  EXPECT_EQ(krnMemFileClose(file, 0, nullptr), 1);
}

// --- redirection ---

struct Redirected {
  KrnOpenFn open;
  KrnReadFn read;
  KrnWriteFn write;
  KrnSeekFn seek;
  KrnCloseFn close;
  void* data[5];
  std::string log;

  void Exchange() {
    krnRedirectIo(&open, &read, &write, &seek, &close, &data[0], &data[1], &data[2], &data[3], &data[4]);
  }
};

TEST_F(FileHandles, RedirectionExchangesAllFiveAndBack) {
  Redirected slots = {};
  slots.open = [](const char16_t*, uint32_t flags, uint32_t share, void* data) {
    static_cast<Redirected*>(data)->log += "open" + std::to_string(flags) + "," + std::to_string(share) + " ";
    return VxFileHandle{77};
  };
  slots.read = [](VxFileHandle handle, void* buffer, uint32_t n, void* data) {
    static_cast<Redirected*>(data)->log += "read" + std::to_string(handle) + " ";
    std::memset(buffer, 'r', n);
    return n;
  };
  slots.write = [](VxFileHandle, const void*, uint32_t n, void* data) {
    static_cast<Redirected*>(data)->log += "write ";
    return n - 1;
  };
  slots.seek = [](VxFileHandle, int32_t offset, uint32_t whence, void* data) {
    static_cast<Redirected*>(data)->log += "seek" + std::to_string(whence) + " ";
    return static_cast<uint32_t>(offset) + 1000;
  };
  slots.close = [](VxFileHandle, void* data) {
    static_cast<Redirected*>(data)->log += "close ";
    return 5;
  };
  for (void*& data : slots.data) {
    data = &slots;
  }
  slots.Exchange();
  EXPECT_EQ(krnFileOpen(u"whatever", 1, 2), 77);
  EXPECT_EQ(Read(77, 3), "rrr");
  EXPECT_EQ(Write(77, "abc"), 2u);
  EXPECT_EQ(krnFileSeek(77, 5, 2), 1005u);
  EXPECT_EQ(krnFileClose(77), 5);
  slots.Exchange();
  EXPECT_EQ(slots.log, "open1,2 read77 write seek2 close ");
  EXPECT_EQ(slots.data[0], &slots);
  EXPECT_EQ(Open(u"none", 0), kKrnNoHandle);
}

TEST_F(FileHandles, NullSlotsAreLeftAndTheFormerCallbackCanBeCalled) {
  struct Adapter {
    KrnSeekFn seek;
    void* data;
  } adapter = {[](VxFileHandle handle, int32_t offset, uint32_t whence, void* data) {
                 const auto* self = static_cast<Adapter*>(data);
                 return self->seek(handle, offset + 3, whence, self->data) - 3;
               },
               nullptr};
  adapter.data = &adapter;
  Make(u"a", "0123456789");
  const VxFileHandle handle = Open(u"a", 0);
  auto exchange = [&] {
    krnRedirectIo(nullptr, nullptr, nullptr, &adapter.seek, nullptr, nullptr, nullptr, nullptr, &adapter.data, nullptr);
  };
  exchange();
  EXPECT_EQ(krnFileSeek(handle, 2, kKrnSeekSet), 2u);
  EXPECT_EQ(Read(handle, 2), "56");
  exchange();
  EXPECT_EQ(krnFileSeek(handle, 2, kKrnSeekSet), 2u);
  EXPECT_EQ(Read(handle, 2), "23");
  krnFileClose(handle);
}

TEST_F(FileHandles, MemoryFilesOpenAndCloseUnderARedirectedOpen) {
  KrnOpenFn open = [](const char16_t*, uint32_t, uint32_t, void*) { return VxFileHandle{kKrnNoHandle}; };
  KrnCloseFn close = [](VxFileHandle, void*) { return 0; };
  auto exchange = [&] {
    krnRedirectIo(&open, nullptr, nullptr, nullptr, &close, nullptr, nullptr, nullptr, nullptr, nullptr);
  };
  char block[] = "abc";
  VxMemFile file = nullptr;
  VxFileHandle handle = kKrnNoHandle;
  exchange();
  EXPECT_EQ(krnMemFileOpen(&file, &handle, kKrnMemFileRead, block, 3), 1);
  EXPECT_EQ(Read(handle, 3), "abc");
  EXPECT_EQ(krnMemFileClose(file, 0, nullptr), 1);
  exchange();
}

} // namespace
