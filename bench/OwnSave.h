// fltSave of a generated picture, with a row service that hands its rows on as they are: what the save benchmarks and
// those of growing files measure.
#pragma once

#include <cstdint>
#include <string>

#include "bench/Inputs.h"

struct OwnSaveJob {
  const BenchImage* image;
  int32_t format;        // vxtif/formats.h
  uint32_t optionFlags;  // kSave...
  uint32_t requestFlags; // kSaveRequest...
};

// The library's result.
int32_t SaveOwn(const std::u16string& name, const OwnSaveJob& job);
