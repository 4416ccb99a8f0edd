// Requests for fltInfo, and the walk over all pages.

#include "toolkit/DescribeFile.h"

#include <unordered_set>

#include "toolkit/Failure.h"
#include "toolkit/KernelFile.h"
#include "toolkit/Utf16.h"

#include <vxtif/rawpage.h>
#include <vxtif/vxtif.h>

namespace toolkit {
namespace {

// Asks for page `page`, counted from the directory at `directoryOffset`, or from the file's first when that is 0.
int32_t AskReport(VxFileHandle handle, const ReportOptions& options, int32_t page, uint32_t directoryOffset,
                  FileInfoRecord& report) {
  report = {};
  report.structSize = sizeof report;
  FilterInfoControl control = {};
  control.structSize = sizeof control;
  control.flags =
      (options.countPages ? uint32_t{kInfoCountPages} : 0u) | (options.withAlpha ? uint32_t{kInfoWithAlpha} : 0u);
  FileOptions fileOptions = {};
  fileOptions.flags = options.readFlags;
  fileOptions.pageNumber = page;
  if (directoryOffset != 0) {
    fileOptions.flags |= kReadUseDirectoryOffset;
    fileOptions.directoryOffset = directoryOffset;
  }
  FilterInfoRequest request = {};
  request.structSize = sizeof request;
  request.fileHandle = handle;
  request.fileInfo = &report;
  request.infoControl = &control;
  request.fileOptions = &fileOptions;
  krnFileRenewBudget(handle);
  return fltInfo(&request);
}

// The raw page interface tells where a directory stands whose content fltInfo refuses.
class RawChain {
public:
  explicit RawChain(const std::string& file) : result_(Vx_OpenTIF(ToUtf16(file).c_str(), &file_, sizeof file_)) {}
  ~RawChain() {
    if (result_ == kResultOk) {
      Vx_CloseTIF(&file_);
    }
  }
  RawChain(const RawChain&) = delete;
  RawChain& operator=(const RawChain&) = delete;

  int32_t Result() const { return result_; }
  uint32_t FirstDirectory() const { return file_.directoryOffset; }

  // The directory behind the one at `offset`; 0 when the chain ends there.
  uint32_t NextDirectory(uint32_t offset) {
    file_.directoryOffset = offset;
    krnFileRenewBudget(file_.fileHandle);
    TifDirectory* block = nullptr;
    uint32_t layout = 0;
    const int32_t found = Vx_GetTIFPage(&file_, 2, &block, &layout);
    Vx_FreeTIFPage(block);
    // A directory that cannot be read has moved the record all the same.
    return found == kResultOk || (found == kResultRefused && file_.directoryOffset != offset) ? file_.directoryOffset
                                                                                              : 0;
  }

private:
  TifFile file_ = {};
  int32_t result_;
};

} // namespace

FileInfoRecord DescribePage(const std::string& file, const ReportOptions& options) {
  const KernelFile opened(file, "info");
  FileInfoRecord report;
  Check(AskReport(opened.Handle(), options, options.page, options.directoryOffset, report), file, "info");
  return report;
}

std::vector<PageReport> DescribeAllPages(const std::string& file, const ReportOptions& options,
                                         const std::function<void(size_t)>& progress) {
  const KernelFile opened(file, "info");
  ReportOptions onePage = options;
  onePage.countPages = false;

  std::vector<PageReport> pages;
  std::unordered_set<uint32_t> seen;
  uint32_t previous = 0;
  for (;;) {
    PageReport page = {};
    page.result = AskReport(opened.Handle(), onePage, pages.empty() ? 1 : 2, previous, page.report);
    if (page.result == kResultOk) {
      if (!pages.empty() && page.report.pageNumber < 2) {
        break;
      }
    } else if (page.result != kResultRefused) {
      if (pages.empty()) {
        throw Failure(file, "info", page.result);
      }
      break;
    } else {
      RawChain chain(file);
      if (chain.Result() != kResultOk) {
        throw Failure(file, "info", pages.empty() ? page.result : chain.Result());
      }
      const uint32_t offset = pages.empty() ? chain.FirstDirectory() : chain.NextDirectory(previous);
      if (offset == 0) {
        break;
      }
      page.report = {};
      page.report.directoryOffset = offset;
    }
    if (!seen.insert(page.report.directoryOffset).second) {
      break;
    }
    page.report.pageNumber = static_cast<uint32_t>(pages.size() + 1);
    previous = page.report.directoryOffset;
    pages.push_back(page);
    if (progress) {
      progress(pages.size());
    }
  }
  for (PageReport& page : pages) {
    page.report.totalPages = static_cast<uint32_t>(pages.size());
  }
  return pages;
}

} // namespace toolkit
