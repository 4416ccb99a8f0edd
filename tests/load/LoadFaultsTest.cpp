// Every allocation and every file call of a load fails once: told codes, nothing left behind, no row but true ones.

#include <gtest/gtest.h>

#include "load/LoadProbe.h"
#include "support/CodecIo.h"

namespace {

struct LayoutCase {
  const char* name;
  FileBytes file;
  int32_t width;
  int32_t height;
  int32_t depth;
  size_t rowBytes;
  uint32_t controlFlags;
};

FileBytes LzwStrip() {
  CodeStream stream;
  stream.Put(256, 9);
  for (uint32_t i = 0; i < 12; ++i) {
    stream.Put(i, 9);
  }
  return stream.Put(257, 9).Pad(2).Bytes();
}

std::vector<LayoutCase> Layouts() {
  std::vector<uint16_t> map(768, 0x1234);
  std::vector<LayoutCase> cases;
  cases.push_back({"stored", FileOf(Page(4, 3, {8}, 1).Strips({Counting(12)})), 4, 3, 8, 4, 0});
  cases.push_back({"split", FileOf(Page(3000, 3, {8}, 1).Strips({FileBytes(9000, 5)})), 3000, 3, 8, 3000, 0});
  cases.push_back({"palette", FileOf(Page(4, 3, {8}, 3).Strips({Counting(12)}).Short(320, map)), 4, 3, 8, 4, 0});
  cases.push_back({"tone table", FileOf(Page(2, 1, {16}, 0).Strips({Counting(4)})), 2, 1, 16, 4, 0});
  cases.push_back({"lzw", FileOf(Page(4, 3, {8}, 1, 5).Strips({LzwStrip()}).Short(317, {2})), 4, 3, 8, 4, 0});
  TiffDirectory tiles = Page(4, 2, {8}, 1, 32773);
  tiles.Short(322, {2}).Short(323, {2}).Tiles({{1, 0, 1, 1, 2, 3}, {1, 10, 11, 1, 12, 13}});
  cases.push_back({"packbits tiles", FileOf(tiles), 4, 2, 8, 4, 0});
  cases.push_back({"planes",
                   FileOf(Page(2, 2, {8, 8, 8}, 2).Strips({Counting(4), Counting(4), Counting(4)}).Short(284, {2})), 2,
                   2, 24, 6, 0});
  cases.push_back({"wide", FileOf(Page(2, 2, {32}, 1).Strips({Counting(16)})), 2, 2, 16, 8, 0});
  cases.push_back(
      {"ycc", FileOf(Page(2, 2, {8, 8, 8}, 6).Strips({FileBytes(6, 128)}).Short(530, {2, 2})), 2, 2, 24, 6, 0});
  cases.push_back(
      {"alpha", FileOf(Page(2, 2, {8, 8}, 1).Strips({Counting(8)}).Short(338, {2})), 2, 2, 32, 8, kInfoWithAlpha});
  cases.push_back({"fax", FileOf(Page(8, 2, {1}, 0, 4).Strips({{0xC0, 0x01, 0x00, 0x10, 0x01}})), 8, 2, 1, 1, 0});
  return cases;
}

void Prepare(LoadProbe& probe, const LayoutCase& layout) {
  probe.control.flags = layout.controlFlags;
  probe.rows.stride = (static_cast<size_t>(layout.width) + 1) * 3 / 4 * 4;
  if (probe.rows.stride < layout.rowBytes) {
    probe.rows.stride = 0;
  }
}

TEST(LoadFaults, EveryAllocation) {
  for (const LayoutCase& layout : Layouts()) {
    FileBytes whole;
    for (uint64_t nth = 0;; ++nth) {
      LoadProbe probe(layout.file, layout.width, layout.height, layout.depth, layout.rowBytes);
      Prepare(probe, layout);
      const AllocFaults faults(nth);
      const int32_t result = probe.Load();
      if (nth == 0) {
        ASSERT_EQ(result, 1) << layout.name;
        whole = probe.Pixels();
        continue;
      }
      if (result == 1) {
        EXPECT_EQ(probe.Pixels(), whole) << layout.name << " " << nth; // a shortage that could be met
      } else {
        // The parser's shortages make the page no valid one.
        EXPECT_TRUE(result == kResultNoMemory || result == kResultNotTiff)
            << layout.name << " " << nth << ": " << result;
      }
      if (nth > faults.Calls()) {
        break;
      }
    }
  }
}

TEST(LoadFaults, EveryAllocationFromThenOn) {
  for (const LayoutCase& layout : Layouts()) {
    for (uint64_t nth = 1;; ++nth) {
      LoadProbe probe(layout.file, layout.width, layout.height, layout.depth, layout.rowBytes);
      Prepare(probe, layout);
      const AllocFaults faults(nth, FaultSpan::kFromThenOn);
      const int32_t result = probe.Load();
      if (result == 1) {
        break;
      }
      EXPECT_TRUE(result == kResultNoMemory || result == kResultNotTiff) << layout.name << " " << nth << ": " << result;
    }
  }
}

TEST(LoadFaults, EverySeekAndRead) {
  for (const LayoutCase& layout : Layouts()) {
    for (IoCall call : {IoCall::kSeek, IoCall::kRead}) {
      for (FaultSpan span : {FaultSpan::kOnce, FaultSpan::kFromThenOn}) {
        for (uint64_t nth = 1;; ++nth) {
          LoadProbe probe(layout.file, layout.width, layout.height, layout.depth, layout.rowBytes);
          Prepare(probe, layout);
          IoFaults faults;
          faults.Fail(call, nth, span);
          const int32_t result = probe.Load();
          EXPECT_TRUE(result == 1 || result == kResultSeekFailed || result == kResultReadFailed ||
                      result == kResultNotTiff)
              << layout.name << " " << nth << ": " << result;
          if (nth > faults.Calls(call)) {
            EXPECT_EQ(result, 1) << layout.name;
            break;
          }
        }
      }
    }
  }
}

TEST(LoadFaults, EveryShortRead) {
  for (const LayoutCase& layout : Layouts()) {
    for (uint64_t nth = 1;; ++nth) {
      LoadProbe probe(layout.file, layout.width, layout.height, layout.depth, layout.rowBytes);
      Prepare(probe, layout);
      IoFaults faults;
      faults.Shorten(IoCall::kRead, nth, 1);
      const int32_t result = probe.Load();
      EXPECT_TRUE(result == 1 || result < 0) << layout.name << " " << nth;
      if (nth > faults.Calls(IoCall::kRead)) {
        break;
      }
    }
  }
}

TEST(LoadFaults, EverySinkCall) {
  for (const LayoutCase& layout : Layouts()) {
    int32_t calls = 1;
    for (int32_t call = 0; call < calls; ++call) {
      LoadProbe probe(layout.file, layout.width, layout.height, layout.depth, layout.rowBytes);
      Prepare(probe, layout);
      EXPECT_EQ(probe.Load(), 1);
      calls = static_cast<int32_t>(probe.rows.calls.size());
      probe.rows.calls.clear();
      probe.rows.refuseCall = call;
      probe.rows.refusal = -1234;
      EXPECT_EQ(probe.Load(), -1234) << layout.name;
      EXPECT_EQ(static_cast<int32_t>(probe.rows.calls.size()), call) << layout.name;
    }
  }
}

// Files cut at every length, and with every byte of the directory changed: no crash, nothing left behind.
TEST(LoadFaults, CutFiles) {
  for (const LayoutCase& layout : Layouts()) {
    for (size_t length = 0; length < layout.file.size(); length += length < 400 ? 1 : 97) {
      const FileBytes cut(layout.file.begin(), layout.file.begin() + static_cast<long>(length));
      LoadProbe probe(cut, layout.width, layout.height, layout.depth, 1);
      probe.control.flags = layout.controlFlags;
      EXPECT_LE(probe.Load(), 1);
    }
  }
}

TEST(LoadFaults, ChangedBytes) {
  for (const LayoutCase& layout : Layouts()) {
    const uint32_t directory = GetU32(layout.file, 4, FileOrder::kLittle);
    const size_t end = directory + 2 + size_t{12} * GetU16(layout.file, directory, FileOrder::kLittle) + 4;
    for (size_t at = 4; at < end; ++at) {
      if (at == 8) {
        at = directory;
      }
      for (uint8_t value : FileBytes{0, 1, 2, 0x7F, 0x80, 0xFF}) {
        FileBytes changed = layout.file;
        changed[at] = value;
        LoadProbe probe(changed, layout.width, layout.height, layout.depth, 0);
        probe.control.flags = layout.controlFlags;
        probe.rows.refuseCall = 1000; // a height in the millions is the host's to refuse
        EXPECT_LE(probe.Load(), 1);
      }
    }
  }
}

} // namespace
