// Deletion of a page: its link word takes over its next word, and the page's bytes stay in the file, unreachable. Given
// a request with a name and a page number, the file is opened, edited and closed. Hosts use it by fltDeletePage; the
// save drivers take a failed page back with it.

#include <string_view>

#include "tif_com/FileAccess.h"
#include "tif_com/PageChain.h"

namespace {

constexpr std::u16string_view kNeverDeleted = u"DUMMY";

// The word that points at the page, which a page entered by an explicit offset does not know.
int32_t KnowLink(TifFile* file) {
  if (file->directoryLinkOffset != 0) {
    return kResultOk;
  }
  TifFile copy = *file;
  uint32_t link = 0;
  uint32_t index = 0;
  const int32_t result = TIFFindLink(&copy, file->directoryOffset, &link, &index);
  file->directoryLinkOffset = link;
  return result;
}

// Works on the open file, which its caller closes.
int32_t UnlinkPage(TifFile* file, const FilterDeletePageRequest* request) {
  const uint32_t flags = request->options == nullptr ? 0 : request->options->flags;
  const uint32_t start = (flags & kSaveUseDirectoryOffset) != 0 ? request->options->directoryOffset : 0;
  uint32_t found = 0;
  int32_t result = TIFSeekPage(file, request->page, start, &found, PageSearch::kStrict);
  if (result != kResultOk) {
    return result;
  }
  result = KnowLink(file);
  if (result != kResultOk) {
    return result;
  }
  result = TIFReadNextLink(file);
  if (result != kResultOk) {
    return result;
  }
  const uint32_t link = file->directoryLinkOffset;
  const uint32_t next = file->nextDirectoryOffset;
  if (link < kSmallestDirectoryOffset && next == 0) {
    return kResultOnlyPage;
  }
  if ((flags & kSaveKeepPageNumbers) == 0) {
    // Ahead of the unlinking: the walk passes through the link word while it still points at the page.
    TIFRenumberPages(file, file->directoryOffset, next, -1);
  }
  const bool written = TIFSeek(file->fileHandle, link, kKrnSeekSet) == link && TIFWrite32(file, next) == 1;
  return written ? static_cast<int32_t>(kResultOk) : krnWriteError(kResultWriteFailed);
}

} // namespace

int32_t fltDeletePageTIF(FilterDeletePageRequest* request) {
  if (request->fileName == nullptr) {
    return kResultNoFileName;
  }
  TifFile file{};
  file.fileHandle = krnFileOpen(request->fileName, kKrnFileReadWrite, kKrnShareExclusive);
  if (file.fileHandle == kKrnNoHandle) {
    return kResultOpenFailed;
  }
  const int32_t result = UnlinkPage(&file, request);
  krnFileClose(file.fileHandle);
  return result;
}

int32_t TIFUndoPage(const char16_t* fileName, SaveOptions* options, uint32_t pageIndex, bool wasNewFile) {
  if (wasNewFile) {
    TIFDeleteFile(fileName);
    return kResultOk;
  }
  FilterDeletePageRequest request{};
  request.fileName = fileName;
  request.page = pageIndex + 1;
  request.options = options;
  const int32_t result = fltDeletePageTIF(&request);
  return result == kResultOnlyPage ? TIFDeleteFile(fileName) : result;
}

int32_t TIFDeleteFile(const char16_t* fileName) {
  if (fileName == nullptr || fileName == kNeverDeleted) {
    return 0;
  }
  return krnFileDelete(fileName);
}
