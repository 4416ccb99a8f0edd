// Sequences of edits from an empty disk on: the input is the script. The file must stay sound, as a reader that is not
// the library's sees it, whatever the script asks for and whatever step fails; and its pages can be copied.

#include <cstdio>

#include "EditSteps.h"
#include "FuzzTarget.h"
#include "SeedFiles.h"
#include "properties/Seed.h"
#include "support/ChainWalk.h"

#include <vxtif/results.h>

namespace {

constexpr uint32_t kMostSteps = 24;
constexpr uint32_t kMostFileBytes = 200000;
constexpr char16_t kCopyName[] = u"/fuzz/copy.tif";

// The library deletes a new file whose only page has failed, which is the system's business and not the disk's.
void DropFailedFile(MemoryDisk& disk, const EditStep& step) {
  const std::vector<uint8_t>* file = disk.Get(kSeedFileName);
  if (step.kind == EditKind::kSavePage && step.result != kResultOk && file != nullptr) {
    const WalkedFile walked = WalkChain(*file);
    if (!walked.fault.empty() && walked.pages.empty()) {
      disk.Remove(kSeedFileName);
    }
  }
}

void ExpectSound(const MemoryDisk& disk, const char16_t* name, const EditStep& step) {
  const std::vector<uint8_t>* file = disk.Get(name);
  if (file == nullptr || file->empty()) {
    return;
  }
  const WalkedFile walked = WalkChain(*file);
  if (!walked.fault.empty()) {
    std::fprintf(stderr, "step of kind %d, result %d: %s\n", static_cast<int>(step.kind), step.result,
                 walked.fault.c_str());
    FailFuzzInput("the file is not sound any more");
  }
}

void RunSequence(std::span<const uint8_t> input) {
  MemoryDisk disk;
  InputReader script(input);
  const EditLimits limits = {false, {}};
  for (uint32_t i = 0; i < kMostSteps && !script.Empty(); ++i) {
    const EditStep step = RunEditStep(script, limits, kSeedFileName);
    if (step.kind == EditKind::kSavePlanes && step.failedOnPurpose) {
      return; // such a page stays in the file with tables that are not true
    }
    DropFailedFile(disk, step);
    ExpectSound(disk, kSeedFileName, step);
    const std::vector<uint8_t>* file = disk.Get(kSeedFileName);
    if (file != nullptr && file->size() > kMostFileBytes) {
      break;
    }
  }
  InputReader plain({});
  const EditStep copied = {EditKind::kCompact, CompactPages(plain, kSeedFileName, kCopyName), false, false};
  ExpectSound(disk, kCopyName, copied);
  const std::vector<uint8_t>* file = disk.Get(kSeedFileName);
  if (file != nullptr && !file->empty() && copied.result != kResultOk) {
    FailFuzzInput("a sound file cannot be compacted");
  }
}

std::vector<FileBytes> SequenceSeeds() {
  std::vector<FileBytes> seeds;
  Random random(1);
  for (uint32_t i = 0; i < 60; ++i) {
    seeds.push_back(random.Bytes(20 + 15 * i));
  }
  return seeds;
}

} // namespace

const FuzzTarget kFuzzSequences = {"sequences", RunSequence, SequenceSeeds, nullptr};
