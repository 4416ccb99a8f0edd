// Files of the end-to-end benchmarks: a temporary folder that goes with the program, the pictures as libtiff stores
// them, and small files of many pages put together byte by byte.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <tiffio.h>

#include "bench/Inputs.h"

// A name in the temporary folder, which is removed when the program ends.
std::string BenchPath(const std::string& name);

// How a page is stored. `rowsPerStrip` 0 means strips of about 64 KiB.
struct Storing {
  const char* name; // as in the names of the benchmarks
  uint16_t compression;
  uint16_t predictor; // 0 for none
  uint32_t rowsPerStrip;
};

// Writes one page with libtiff, as a new file.
bool WriteWithPeer(const std::string& path, const BenchImage& image, const Storing& storing);

// Reads the first page with libtiff, strip by strip.
bool ReadWithPeer(const std::string& path, std::vector<uint8_t>* out);

// The picture as libtiff wrote it; written at the first call.
const std::string& StoredImage(const BenchImage& image, const Storing& storing);

// A file of `pages` grey pages of 16 by 16 pixels in one strip each, every one with an ImageDescription.
void WriteManyPages(const std::string& path, uint32_t pages);

// A page of 8192 by 4096 grey pixels in strips of one row, all of it zeros, with an ImageDescription.
void WriteLargePage(const std::string& path);

std::vector<uint8_t> ReadWholeFile(const std::string& path);
void WriteWholeFile(const std::string& path, const std::vector<uint8_t>& bytes);

// Registers "what/input/side", told in microseconds.
benchmark::internal::Benchmark* AddBench(const std::string& what, const std::string& input, const char* side,
                                         const std::function<void(benchmark::State&)>& run);
