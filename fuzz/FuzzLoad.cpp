// Loads of every layout: any file as input, whose end chooses one of the ways in which a host can load it. The host's
// own half runs too: it reads every byte of the rows that it takes the library to have delivered.

#include "FuzzTarget.h"
#include "InputChoices.h"
#include "MemoryDisk.h"
#include "SeedFiles.h"
#include "TiffMutation.h"
#include "toolkit/Failure.h"
#include "toolkit/LoadPage.h"
#include "toolkit/PagePicture.h"
#include "toolkit/PlaneLoad.h"

#include <vxtif/vxtif.h>

namespace {

constexpr uint64_t kMostPixelBytes = 1u << 20;

enum class Way : uint8_t { kPicture, kRows, kPlanes, kRegion, kStamp, kRaw, kCount };

// Keeps the compiler from leaving the reading out.
uint32_t Sum(const uint8_t* bytes, size_t count) {
  uint32_t sum = 0;
  for (size_t i = 0; i < count; ++i) {
    sum += bytes[i];
  }
  return sum;
}

volatile uint32_t sumOfRows = 0;

void AddRow(int32_t, const uint8_t* bytes, size_t count) {
  sumOfRows = sumOfRows + Sum(bytes, count);
}

toolkit::LoadOptions OptionsFrom(InputChoices& choices) {
  toolkit::LoadOptions options;
  const uint8_t flags = choices.Byte();
  options.alpha = (flags & 1) != 0;
  options.forceRgb = (flags & 2) != 0;
  options.ignoreOrientation = (flags & 4) != 0;
  options.page = (flags & 8) != 0 ? 2 : 1;
  options.maxBytes = kMostPixelBytes;
  return options;
}

void LoadRegion(toolkit::LoadOptions& options, InputChoices& choices) {
  options.region =
      toolkit::Region{static_cast<int32_t>(choices.Below(24)), static_cast<int32_t>(choices.Below(24)),
                      static_cast<int32_t>(1 + choices.Below(24)), static_cast<int32_t>(1 + choices.Below(24))};
  if (choices.Below(2) == 0) {
    options.rows = AddRow;
    toolkit::LoadPage(kSeedFile, options);
    return;
  }
  const toolkit::Region region = *options.region;
  toolkit::PictureOfRegion(toolkit::LoadPage(kSeedFile, options), region);
}

void LoadRaw(toolkit::LoadOptions& options, InputChoices& choices, size_t bytes) {
  constexpr int32_t kFormats[] = {kFormatRawRows, kFormatRawPackBits, kFormatRawFax};
  constexpr int32_t kDepths[] = {1, 2, 4, 8, 16, 24, 32, 48, 64, 12};
  toolkit::RawSource raw;
  raw.format = kFormats[choices.Below(3)];
  raw.width = 1 + choices.Byte();
  raw.height = 1 + static_cast<int32_t>(choices.Below(64));
  raw.bitsPerPixel = raw.format == kFormatRawFax ? 1 : kDepths[choices.Below(10)];
  raw.offset = choices.Byte();
  raw.flags = choices.Word() & 0x1FFFu & ~uint32_t{kRawPalette};
  raw.photometric = raw.bitsPerPixel >= 24 ? 2 : raw.flags & 1;
  raw.streamBytes = static_cast<uint32_t>(bytes);
  options.raw = raw;
  toolkit::PictureOfPage(toolkit::LoadPage(kSeedFile, options));
}

void LoadOneWay(std::span<const uint8_t> input) {
  InputChoices choices(input);
  const auto way = static_cast<Way>(choices.Below(static_cast<uint32_t>(Way::kCount)));
  toolkit::LoadOptions options = OptionsFrom(choices);
  switch (way) {
  case Way::kPicture:
    toolkit::PictureOfPage(toolkit::LoadPage(kSeedFile, options));
    break;
  case Way::kRows:
    options.rows = AddRow;
    toolkit::LoadPage(kSeedFile, options);
    break;
  case Way::kPlanes:
    for (const toolkit::Bitmap& plane : toolkit::LoadPlanes(kSeedFile, options)) {
      toolkit::PictureOfPlane(plane);
    }
    break;
  case Way::kRegion:
    LoadRegion(options, choices);
    break;
  case Way::kStamp:
    toolkit::LoadStamp(kSeedFile, options);
    break;
  case Way::kRaw:
  case Way::kCount:
    LoadRaw(options, choices, input.size());
    break;
  }
}

void RunLoad(std::span<const uint8_t> input) {
  MemoryDisk disk;
  disk.Put(kSeedFileName, input);
  try {
    LoadOneWay(input);
  } catch (const toolkit::Failure&) {
    // Refused, as most inputs should be.
  }
}

std::vector<FileBytes> LoadSeeds() {
  std::vector<FileBytes> seeds;
  for (const FileBytes& file : SeedFiles()) {
    for (uint8_t way = 0; way <= static_cast<uint8_t>(Way::kRegion); ++way) {
      seeds.push_back(WithChoices(file, {way, 1, 2, 1, 7, 3, 1}));
    }
  }
  seeds.push_back(WithChoices(SeedFiles().front(), {static_cast<uint8_t>(Way::kStamp), 0}));
  for (uint8_t format = 0; format < 3; ++format) {
    for (uint8_t depth : {uint8_t{0}, uint8_t{3}, uint8_t{5}}) {
      seeds.push_back(WithChoices(FileBytes(200, 0x81), {static_cast<uint8_t>(Way::kRaw), 0, format, 15, 9, depth}));
    }
  }
  return seeds;
}

} // namespace

const FuzzTarget kFuzzLoad = {"load", RunLoad, LoadSeeds, MutateTiff};
