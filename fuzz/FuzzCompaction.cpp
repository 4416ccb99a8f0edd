// Compaction: any file as input, whose pages go to a new file or into one that is there already. What comes out is
// described and compacted once more; bounds alone are looked at, and that the copy does not grow out of proportion.

#include "EditSteps.h"
#include "FuzzTarget.h"
#include "InputChoices.h"
#include "SeedFiles.h"
#include "TiffMutation.h"
#include "toolkit/DescribeFile.h"
#include "toolkit/Failure.h"

namespace {

constexpr char16_t kTargetName[] = u"/fuzz/target.tif";
constexpr char16_t kAgainName[] = u"/fuzz/again.tif";

void Describe(const char* name) {
  toolkit::ReportOptions options;
  options.countPages = true;
  try {
    toolkit::DescribePage(name, options);
  } catch (const toolkit::Failure&) {
    // A copy of a page that nobody can describe.
  }
}

void RunCompaction(std::span<const uint8_t> input) {
  MemoryDisk disk;
  disk.Put(kSeedFileName, input);
  InputReader script(input.last(std::min(input.size(), kScriptBytes)));
  const uint8_t settings = script.Byte();
  if ((settings & 1) != 0) {
    disk.Put(kTargetName, GrayFile());
  }
  if ((settings & 6) == 6) {
    disk.SetRoom(settings * 4u);
  }
  CompactPages(script, kSeedFileName, kTargetName);
  Describe("/fuzz/target.tif");
  CompactPages(script, kTargetName, kAgainName);
}

std::vector<FileBytes> CompactionSeeds() {
  std::vector<FileBytes> seeds;
  for (const FileBytes& file : SeedFiles()) {
    FileBytes seed = file;
    const FileBytes script = {static_cast<uint8_t>(seeds.size() & 1), 1, 2, 0, 0, 1};
    seed.insert(seed.end(), script.begin(), script.end());
    seed.resize(seed.size() + kScriptBytes - script.size());
    seeds.push_back(std::move(seed));
  }
  return seeds;
}

} // namespace

const FuzzTarget kFuzzCompaction = {"compaction", RunCompaction, CompactionSeeds, MutateTiff};
