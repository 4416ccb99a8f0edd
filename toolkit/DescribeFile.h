// Describing files without decoding them: one page, or all pages with one walk of the chain.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <vxtif/info.h>

namespace toolkit {

struct ReportOptions {
  int32_t page = 1;             // from 1; -1 the last one
  bool countPages = false;      // fill totalPages
  bool withAlpha = false;       // 8-bit pages with extra samples count as 32 bits
  uint32_t readFlags = 0;       // kRead...
  uint32_t directoryOffset = 0; // count pages from the directory there
};

// One page. A page past the end gives the last one, as its pageNumber tells. Throws Failure.
FileInfoRecord DescribePage(const std::string& file, const ReportOptions& options);

struct PageReport {
  int32_t result;        // 1, or why this page was not described
  FileInfoRecord report; // pageNumber and directoryOffset are filled for a refused page too
};

// All pages in the order of the chain, with absolute pageNumber and totalPages. Each page is reached from the directory
// of the page before it. A chain that comes back to a page that it has passed ends there. `progress`, which may be
// empty, is called with the pages found so far. Throws Failure when the file as a whole is refused.
std::vector<PageReport> DescribeAllPages(const std::string& file, const ReportOptions& options,
                                         const std::function<void(size_t)>& progress);

} // namespace toolkit
