// Pieces of image data copied in long runs, against a copying of one piece after the other: the same bytes, and the
// same bytes before a failure.

#include <algorithm>

#include <gtest/gtest.h>
#include <vxtif/results.h>

#include "properties/Seed.h"
#include "treewriter/TreeTarget.h"

namespace {

constexpr uint32_t kPartBytes = 8192; // what goes from file to file before the next read decides

// A page of pieces that stand anywhere in a file of random bytes.
struct PieceFile {
  FileBytes bytes;
  std::vector<uint32_t> offsets;
  std::vector<uint32_t> lengths;
};

struct PieceCase {
  FileOrder source;
  FileOrder target;
  bool tiles; // left in the source by the reader; strips are loaded where all of them are there
};

constexpr uint32_t kEntries = 4;
constexpr uint32_t kFirstTable = 8 + 2 + 12 * kEntries + 4; // of the target, that of the byte counts

PieceFile MakeFile(const PieceCase& test, uint16_t bits, const std::vector<uint32_t>& lengths,
                   const std::vector<uint32_t>& offsetsInData, const FileBytes& data) {
  const auto count = static_cast<uint32_t>(lengths.size());
  TiffBuilder builder(test.source);
  const auto offsetsTag = static_cast<uint16_t>(test.tiles ? 324 : 273);
  const auto countsTag = static_cast<uint16_t>(test.tiles ? 325 : 279);
  builder.AddPage()
      .Short(258, {bits})
      .Short(259, {1})
      .Long(offsetsTag, std::vector<uint32_t>(count))
      .Long(countsTag, lengths);
  PieceFile file = {builder.Build(), {}, lengths};
  const auto base = static_cast<uint32_t>(file.bytes.size());
  for (uint32_t i = 0; i < count; ++i) {
    file.offsets.push_back(base + offsetsInData[i]);
    PutU32(file.bytes, builder.ValueOffset(0, offsetsTag) + 4 * i, test.source, file.offsets[i]);
  }
  file.bytes.insert(file.bytes.end(), data.begin(), data.end());
  return file;
}

// The pieces one after the other, part by part, each from an even place on, until a part is not there.
FileBytes PlainCopy(const PieceFile& file, bool swapped, bool* whole) {
  FileBytes out;
  *whole = true;
  for (size_t i = 0; i < file.lengths.size(); ++i) {
    for (uint32_t done = 0; done < file.lengths[i];) {
      const uint32_t part = std::min(file.lengths[i] - done, kPartBytes);
      const size_t from = size_t{file.offsets[i]} + done;
      if (from + part > file.bytes.size()) {
        *whole = false;
        return out;
      }
      if (done == 0 && out.size() % 2 != 0) {
        out.push_back(0);
      }
      const size_t begin = out.size();
      out.insert(out.end(), file.bytes.begin() + static_cast<std::ptrdiff_t>(from),
                 file.bytes.begin() + static_cast<std::ptrdiff_t>(from + part));
      for (size_t at = begin; swapped && at + 1 < out.size(); at += 2) {
        std::swap(out[at], out[at + 1]);
      }
      done += part;
    }
  }
  return out;
}

void ExpectAsPlain(const PieceFile& file, const PieceCase& test, bool swapped, const std::string& what) {
  KernelGuard guard;
  bool whole = false;
  const FileBytes plain = PlainCopy(file, swapped, &whole);
  TreeInput input(file.bytes);
  ASSERT_NE(input.Tree(), nullptr) << what;
  TreeTarget target(test.target, Bytes(test.target).Header(0).bytes);
  EXPECT_EQ(target.Write(input.Tree(), &input.File(), 4), whole ? kResultOk : kResultReadFailed) << what;
  const FileBytes written = target.Read();
  const auto count = static_cast<uint32_t>(file.lengths.size());
  const uint32_t first = kFirstTable + 8 * count;
  // Without a byte of data nothing stands behind the tables, and of a failed copy perhaps not even the second one.
  const FileBytes arrived(written.begin() + static_cast<std::ptrdiff_t>(std::min<size_t>(first, written.size())),
                          written.end());
  EXPECT_TRUE(arrived == plain) << what << ": " << arrived.size() << " bytes, expected " << plain.size();
  uint32_t place = first;
  for (uint32_t i = 0; whole && i < count; ++i) {
    ASSERT_EQ(GetU32(written, kFirstTable + 4 * (count + i), test.target), place) << what << ", piece " << i;
    place += file.lengths[i] + file.lengths[i] % 2;
  }
}

class TreePieces : public testing::TestWithParam<PieceCase> {
protected:
  bool IsSwapped(uint16_t bits) const { return bits == 16 && GetParam().source != GetParam().target; }
};

constexpr FileOrder kII = FileOrder::kLittle;
constexpr FileOrder kMM = FileOrder::kBig;
INSTANTIATE_TEST_SUITE_P(Orders, TreePieces,
                         testing::Values(PieceCase{kII, kII, true}, PieceCase{kII, kMM, true},
                                         PieceCase{kMM, kII, true}, PieceCase{kMM, kMM, true},
                                         PieceCase{kII, kMM, false}, PieceCase{kMM, kMM, false},
                                         PieceCase{kMM, kII, false}),
                         [](const auto& test) {
                           return std::string(test.param.source == kII ? "Little" : "Big") + "To" +
                                  (test.param.target == kII ? "Little" : "Big") +
                                  (test.param.tiles ? "Tiles" : "Strips");
                         });

TEST_P(TreePieces, AnyLayoutArrivesAsIfCopiedPieceByPiece) {
  Random random(TestSeed("pieces of image data", 20261121));
  const FileBytes data = random.Bytes(900'000);
  constexpr uint32_t kSizes[] = {0, 1, 2, 3, 512, 777, 8191, 8192, 8193, 16384, 40000, 262'144, 262'145, 300'001};
  for (int layout = 0; layout < 18; ++layout) {
    std::vector<uint32_t> lengths;
    std::vector<uint32_t> offsets;
    const uint32_t kinds = layout % 3 == 0 ? uint32_t{std::size(kSizes)} : 7; // small ones alone, more often
    const uint32_t follows = random.Below(4);                                 // 0: never, 3: nearly always
    uint32_t at = 0;
    for (uint32_t i = 0, count = 2 + random.Below(60); i < count && at < 600'000; ++i) {
      const uint32_t length = kSizes[random.Below(kinds)];
      at = random.Below(4) < follows ? at : random.Below(500'000);
      offsets.push_back(at);
      lengths.push_back(length);
      at += length;
    }
    if (lengths.size() < 2) {
      continue;
    }
    const uint16_t bits = layout % 2 == 0 ? 8 : 16;
    PieceFile file = MakeFile(GetParam(), bits, lengths, offsets, data);
    ExpectAsPlain(file, GetParam(), IsSwapped(bits), "layout " + std::to_string(layout));
    // Cut anywhere, the pieces and parts before the one that is not whole are there.
    const size_t begin = file.bytes.size() - data.size();
    file.bytes.resize(begin + random.Below(900'000));
    ExpectAsPlain(file, GetParam(), IsSwapped(bits), "cut layout " + std::to_string(layout));
  }
}

TEST_P(TreePieces, ACutRunLeavesWhatStandsBeforeThePartThatIsNotThere) {
  Random random(1);
  const FileBytes data = random.Bytes(60'000);
  const std::vector<uint32_t> lengths = {1000, 20'000, 0, 9, 17'000, 4000};
  std::vector<uint32_t> offsets = {0, 1000, 21'000, 21'000, 21'009, 38'009};
  const PieceFile whole = MakeFile(GetParam(), 16, lengths, offsets, data);
  const size_t begin = whole.bytes.size() - data.size();
  for (size_t cut :
       {0u, 999u, 1000u, 9191u, 9192u, 9193u, 20'999u, 21'000u, 21'008u, 21'009u, 30'000u, 42'008u, 42'009u}) {
    PieceFile file = whole;
    file.bytes.resize(begin + cut);
    ExpectAsPlain(file, GetParam(), IsSwapped(16), "cut at " + std::to_string(cut));
  }
}

TEST_P(TreePieces, NoByteIsAddedBehindTheLastOne) {
  Random random(2);
  const FileBytes data = random.Bytes(100);
  ExpectAsPlain(MakeFile(GetParam(), 8, {3, 0}, {0, 3}, data), GetParam(), false, "an empty piece at the end");
  ExpectAsPlain(MakeFile(GetParam(), 8, {3, 0, 0, 4}, {0, 3, 3, 3}, data), GetParam(), false, "empty pieces between");
  ExpectAsPlain(MakeFile(GetParam(), 8, {0, 0, 3}, {0, 0, 0}, data), GetParam(), false, "empty pieces first");
  ExpectAsPlain(MakeFile(GetParam(), 8, {0, 0}, {0, 0}, data), GetParam(), false, "nothing at all");
}

TEST_P(TreePieces, AFailureBehindGatheredPiecesLetsThemOut) {
  Random random(3);
  const FileBytes data = random.Bytes(10'000);
  const PieceFile file = MakeFile(GetParam(), 8, {100, 101, 102}, {0, 5000, 9000}, data);
  bool whole = false;
  const FileBytes plain = PlainCopy(file, false, &whole);
  const uint32_t first = kFirstTable + 8 * 3;
  for (IoCall call : {IoCall::kRead, IoCall::kSeek}) {
    bool finished = false;
    for (uint64_t nth = 1; !finished; ++nth) {
      ASSERT_LT(nth, 50u);
      KernelGuard guard;
      TreeInput input(file.bytes);
      TreeTarget target(GetParam().target, Bytes(GetParam().target).Header(0).bytes);
      IoFaults faults;
      faults.Fail(call, nth);
      const int32_t result = target.Write(input.Tree(), &input.File(), 4);
      finished = faults.Calls(call) < nth;
      EXPECT_EQ(result == kResultOk, finished) << nth;
      const FileBytes written = target.Read();
      const size_t arrived = written.size() > first ? written.size() - first : 0;
      ASSERT_LE(arrived, plain.size());
      EXPECT_TRUE(std::equal(plain.begin(), plain.begin() + static_cast<std::ptrdiff_t>(arrived),
                             written.end() - static_cast<std::ptrdiff_t>(arrived)));
      if (call == IoCall::kRead) {
        EXPECT_EQ(GetU32(written, 4, GetParam().target), finished ? 8u : 0u);
      }
    }
  }
}

TEST_P(TreePieces, ThousandsOfSmallPiecesCostFewCalls) {
  constexpr uint32_t kPieces = 4000;
  Random random(4);
  const FileBytes data = random.Bytes(kPieces * 101);
  for (uint32_t length : {100u, 101u}) {
    std::vector<uint32_t> offsets;
    for (uint32_t i = 0; i < kPieces; ++i) {
      offsets.push_back(i * length);
    }
    const PieceFile file = MakeFile(GetParam(), 8, std::vector<uint32_t>(kPieces, length), offsets, data);
    TreeInput input(file.bytes);
    TreeTarget target(GetParam().target, Bytes(GetParam().target).Header(0).bytes);
    CallCounter calls;
    ASSERT_EQ(target.Write(input.Tree(), &input.File(), 4), kResultOk);
    EXPECT_LT(calls.Since().writes, 40u) << length;
    if (length % 2 == 0) {
      EXPECT_LT(calls.Since().reads, 40u) << "they stand without a gap in both files";
    }
  }
}

} // namespace
