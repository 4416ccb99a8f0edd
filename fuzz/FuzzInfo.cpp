// The file report: any file as input, described page by page as a host does it, and once more with options that the end
// of the input chooses.

#include "FuzzTarget.h"
#include "InputChoices.h"
#include "MemoryDisk.h"
#include "SeedFiles.h"
#include "TiffMutation.h"
#include "toolkit/DescribeFile.h"
#include "toolkit/Failure.h"

#include <vxtif/vxtif.h>

namespace {

constexpr size_t kMostPages = 200;

// The report through the bare request, with records that end where their sizes say.
void DescribeBare(std::span<const uint8_t> input, InputChoices& choices) {
  VxMemFile memory = nullptr;
  FilterInfoRequest request = {};
  request.structSize = sizeof request;
  if (krnMemFileOpen(&memory, &request.fileHandle, kKrnMemFileRead, const_cast<uint8_t*>(input.data()),
                     static_cast<uint32_t>(input.size())) != 1) {
    return;
  }
  constexpr uint32_t kFlags[] = {0, kReadForceRgb, kReadIgnoreOrientation, kReadUseDirectoryOffset};
  FileOptions options = {};
  options.pageNumber = static_cast<int8_t>(choices.Byte());
  options.flags = kFlags[choices.Below(4)];
  options.directoryOffset = choices.Word();
  FilterInfoControl control = {sizeof control, choices.Byte()};
  FileInfoRecord report = {};
  report.structSize = sizeof report;
  request.fileInfo = &report;
  request.infoControl = choices.Below(4) == 0 ? nullptr : &control;
  request.fileOptions = &options;
  const int32_t result = fltInfo(&request);
  krnMemFileClose(memory, 0, nullptr);
  if (result == kResultOk && (report.flags & kInfoComplete) == 0) {
    FailFuzzInput("a report is complete and not marked so");
  }
}

void RunInfo(std::span<const uint8_t> input) {
  MemoryDisk disk;
  disk.Put(kSeedFileName, input);
  InputChoices choices(input);
  DescribeBare(input, choices);
  toolkit::ReportOptions options;
  options.countPages = true;
  options.withAlpha = (input.size() & 1) != 0;
  try {
    toolkit::DescribePage(kSeedFile, options);
    if (input.size() <= kMostPages * 18) { // else some files have too many pages to describe them all
      toolkit::DescribeAllPages(kSeedFile, options, nullptr);
    }
  } catch (const toolkit::Failure&) {
    // Refused, as most inputs should be.
  }
}

std::vector<FileBytes> InfoSeeds() {
  std::vector<FileBytes> seeds;
  for (const FileBytes& file : SeedFiles()) {
    seeds.push_back(WithChoices(file, {1, 0, 0, 0, 3, 1}));
  }
  return seeds;
}

} // namespace

const FuzzTarget kFuzzInfo = {"info", RunInfo, InfoSeeds, MutateTiff};
