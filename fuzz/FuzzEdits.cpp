// Edits of any file: the end of the input tells what is done to the file that it is. Only bounds are looked at: of a
// file that is damaged an edit may make another damaged one.

#include "EditSteps.h"
#include "FuzzTarget.h"
#include "InputChoices.h"
#include "SeedFiles.h"
#include "TiffMutation.h"

namespace {

constexpr uint32_t kSteps = 3;

void RunEdits(std::span<const uint8_t> input) {
  MemoryDisk disk;
  InputReader script(input.last(std::min(input.size(), kScriptBytes)));
  const uint8_t settings = script.Byte();
  if ((settings & 3) == 3) {
    disk.SetRoom(settings * 4u); // a disk that is soon full
  }
  disk.Put(kSeedFileName, input);
  const EditLimits limits = {true, input};
  if ((settings & 4) != 0) {
    ReadMetadata(script, kSeedFile, 1);
  }
  for (uint32_t i = 0; i < kSteps && !script.Empty(); ++i) {
    RunEditStep(script, limits, kSeedFileName);
  }
  ReadMetadata(script, kSeedFile, 1);
}

std::vector<FileBytes> EditSeeds() {
  std::vector<FileBytes> seeds;
  uint8_t turn = 0;
  for (const FileBytes& file : SeedFilesToEdit()) {
    for (uint8_t kind = 0; kind < static_cast<uint8_t>(EditKind::kCount); ++kind) {
      FileBytes script = {4, 0, 0, kind};
      for (uint8_t i = 0; script.size() < kScriptBytes; ++i) {
        script.push_back(static_cast<uint8_t>(i == 2 ? 0x20 : i * 7 + turn));
      }
      FileBytes seed = file;
      seed.insert(seed.end(), script.begin(), script.end());
      seeds.push_back(std::move(seed));
      ++turn;
    }
  }
  return seeds;
}

} // namespace

const FuzzTarget kFuzzEdits = {"edits", RunEdits, EditSeeds, MutateTiff};
