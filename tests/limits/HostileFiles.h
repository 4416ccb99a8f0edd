// The hostile files: what a maker of such files would try first. Each list holds files of one kind.
#pragma once

#include <vector>

#include "limits/SparseFile.h"

std::vector<SparseFile> SmallLoops();    // chains that come back to themselves
std::vector<SparseFile> SmallNests();    // directories within themselves
std::vector<SparseFile> AbsurdCounts();  // one tag whose count nothing can hold
std::vector<SparseFile> AbsurdLayouts(); // tiles, strips, samples and tables of absurd size
std::vector<SparseFile> Expanding();     // compressed data of the highest ratio, shared by all strips
std::vector<SparseFile> LargeTables();   // up to some MiB: tables, keys, data sets and entries without number
std::vector<SparseFile> LargeChains();   // a million pages, in a chain and in a ring
std::vector<SparseFile> HugeFiles();     // of some GiB: loops, strips and values as large as the file
