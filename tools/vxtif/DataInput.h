// Finished strip data on the command line: the options of `vxtif save --data`, and the file or pipe that they come
// from.
#pragma once

#include <cstdint>
#include <string>

#include "WriteArguments.h"
#include "toolkit/DataSave.h"

struct DataArguments {
  bool data = false;
  std::string compression = "none";
  uint32_t width = 0;
  uint32_t height = 0;
  std::string palette; // a picture
};

// Gives the flag that the other options of a data save need.
CLI::Option* AddDataOptions(CLI::App* command, DataArguments& arguments);

// The page that the options describe. `bits` 0: not told; `photometric` below 0: likewise. Throws CLI::Error for
// options that leave the page open.
toolkit::DataJob DescribeData(const DataArguments& arguments, int32_t bits, int32_t photometric,
                              const toolkit::PageOptions& page);

// Streams a file, or for "-" the standard input, into the page.
void SaveDataFrom(const std::string& in, const std::string& out, const toolkit::DataJob& job);
