// Small files of every kind that the library knows, built entry by entry: where fuzzing starts from.
#pragma once

#include <vector>

#include "support/TiffBuilder.h"

// The name under which targets put their input on the disk in memory.
inline constexpr const char* kSeedFile = "/fuzz/in.tif";
inline constexpr const char16_t* kSeedFileName = u"/fuzz/in.tif";

// All of them, the same on every machine. The first one has two pages.
std::vector<FileBytes> SeedFiles();

// A few of several pages and with metadata, for the targets that edit.
std::vector<FileBytes> SeedFilesToEdit();

// A plain page.
FileBytes GrayFile();
