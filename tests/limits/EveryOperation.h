// Every operation that a caller may run on a file, each through the export that a host calls, each call measured.
#pragma once

#include "limits/CallMeter.h"
#include "limits/SparseFile.h"

// What a host refuses to load: pages whose pixels would take more (vxtif's own default).
constexpr uint64_t kHostMostPixelBytes = uint64_t{1} << 30;

// Reports, loads, tags, comments, geo keys, raw directories: the file is written once.
void RunReadingOperations(const SparseFile& file, CallMeter& meter);

// Saves into the file, edits, deletions, compactions from it and into it: each on a fresh file.
void RunWritingOperations(const SparseFile& file, CallMeter& meter);
