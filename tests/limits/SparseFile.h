// A file given by its size and the pieces that are not zeros, so that one of many gibibytes costs nothing to make.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "support/TiffBuilder.h"

struct SparseFile {
  std::string name; // what is hostile, or honest, about it
  uint64_t size = 0;
  std::vector<std::pair<uint64_t, FileBytes>> pieces;

  void Write(const std::filesystem::path& path) const;
};

SparseFile WholeFile(std::string name, FileBytes bytes);
