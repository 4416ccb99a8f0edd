// Preparation of a file for a new page. Given a name and where the page is to stand, the file is created, or its chain
// is opened for the page: the link word points at the even end of the file, the pages behind know their new numbers,
// and the position is where the new directory goes. It happens before the first byte of the page is written. All save
// drivers and compaction begin here; TIFUndoPage takes a page back that could not be finished.

#include "tif_com/FileAccess.h"
#include "tif_com/PageChain.h"

namespace {

constexpr uint32_t kPositionFlags = kSaveReplacePage | kSaveInsertPage;

struct Insertion {
  TifFile* file;
  SaveOptions* options;
  uint32_t startDirectory; // explicit start of the page count, 0 for the header's first
  uint32_t found;          // one-based page reached, then the zero-based index of the new page
  uint32_t end;            // even end of the file: the new directory's place
};

enum class Opening { kEdit, kCreate, kFailed };

uint32_t NextWordOfCurrent(const TifFile* file) {
  return file->directoryOffset + kDirEntrySize * file->entryCount + 2;
}

bool HasFlag(const Insertion& at, uint32_t flag) {
  return (at.options->flags & flag) != 0;
}

// The end of the file, made even by a byte 0; whether that byte arrives is not looked at.
bool SeekEvenEnd(Insertion& at) {
  const VxFileHandle handle = at.file->fileHandle;
  at.end = krnFileSeek(handle, 0, kKrnSeekEnd);
  if (at.end == kSeekFailed) {
    return false;
  }
  if (at.end % 2 != 0) {
    const uint8_t pad = 0;
    krnFileWrite(handle, &pad, 1);
    ++at.end;
  }
  return true;
}

// Opens the file and walks to the page. kFailed leaves the code in `result`.
Opening OpenAtPage(const char16_t* fileName, Insertion& at, int32_t* result) {
  TifFile* file = at.file;
  file->fileHandle = krnFileOpen(fileName, kKrnFileReadWrite, kKrnShareExclusive);
  if (file->fileHandle == kKrnNoHandle) {
    return Opening::kCreate;
  }
  *result = kResultReadFailed;
  if (SeekEvenEnd(at)) {
    const uint32_t target = HasFlag(at, kPositionFlags) ? static_cast<uint32_t>(at.options->pageNumber) : kLastPage;
    *result = TIFSeekPage(file, target, at.startDirectory, &at.found, PageSearch::kLenient);
    file->fileSize = at.end;
  }
  if (*result == kResultOk) {
    return Opening::kEdit;
  }
  krnFileClose(file->fileHandle);
  if (*result == kResultNotTiff) {
    return Opening::kCreate; // whatever stands there is overwritten, never refused
  }
  *result = kResultReadFailed;
  return Opening::kFailed;
}

// The word that is to point at the new directory, and the page's index.
int32_t FindPlace(Insertion& at) {
  TifFile* file = at.file;
  const bool positioned = HasFlag(at, kPositionFlags);
  if (positioned && static_cast<int32_t>(at.found) >= at.options->pageNumber) {
    if (file->directoryLinkOffset != 0) {
      --at.found;
      return kResultOk;
    }
    TifFile copy = *file;
    uint32_t link = 0;
    const int32_t result = TIFFindLink(&copy, file->directoryOffset, &link, &at.found);
    file->directoryLinkOffset = link;
    at.startDirectory = 0;
    return result;
  }
  file->directoryLinkOffset = NextWordOfCurrent(file);
  at.options->flags &= ~kPositionFlags; // past the end of the chain a page is appended
  return kResultOk;
}

void ChooseNextWord(Insertion& at) {
  TifFile* file = at.file;
  if (HasFlag(at, kSaveReplacePage)) {
    TIFReadNextLink(file);
  } else if (HasFlag(at, kSaveInsertPage)) {
    file->nextDirectoryOffset = file->directoryOffset;
  } else {
    file->nextDirectoryOffset = 0;
  }
}

// The one write that changes what the chain says.
int32_t WriteLink(const Insertion& at) {
  const TifFile* file = at.file;
  const uint32_t link = file->directoryLinkOffset;
  const bool written = TIFSeek(file->fileHandle, link, kKrnSeekSet) == link && TIFWrite32(file, at.end) == 1;
  return written ? static_cast<int32_t>(kResultOk) : krnWriteError(kResultWriteFailed);
}

// Numbers of the pages behind an inserted one; and the page's own place where it was reached from an explicit start.
int32_t FollowNumbers(Insertion& at) {
  TifFile* file = at.file;
  if (HasFlag(at, kSaveKeepPageNumbers)) {
    return kResultOk;
  }
  if (HasFlag(at, kSaveInsertPage)) {
    TIFRenumberPages(file, at.end, file->nextDirectoryOffset, 1);
  }
  if (at.startDirectory == 0) {
    return kResultOk;
  }
  uint32_t link = file->directoryLinkOffset;
  const int32_t result = TIFFindLink(file, at.end, &link, &at.found);
  file->directoryLinkOffset = link;
  return result;
}

// An insert with renumbering has left the record on the last directory of the chain, and that one is marked: wanted.
void MarkNeighbours(const Insertion& at) {
  if (!HasFlag(at, kSaveNoSubfileType)) {
    TIFMarkMultiPage(at.file, at.file->directoryOffset);
    TIFMarkMultiPage(at.file, at.file->nextDirectoryOffset);
  }
}

int32_t GoToPlace(Insertion& at) {
  TifFile* file = at.file;
  const uint32_t position = TIFSeek(file->fileHandle, at.end, kKrnSeekSet);
  file->directoryOffset = position;
  file->pageIndex = at.found;
  file->reservedWord2 = 0;
  return position == at.end ? kResultOk : kResultSeekFailed;
}

// Works on the open file, which its caller closes on failure.
int32_t LinkPage(Insertion& at) {
  int32_t result = FindPlace(at);
  if (result != kResultOk) {
    return result;
  }
  ChooseNextWord(at);
  result = WriteLink(at);
  if (result != kResultOk) {
    return result;
  }
  result = FollowNumbers(at);
  MarkNeighbours(at);
  const int32_t placed = GoToPlace(at);
  return result == kResultOk ? placed : result;
}

int32_t CreateForPage(const char16_t* fileName, TifFile* file, uint16_t version) {
  file->directoryLinkOffset = 0;
  file->directoryOffset = 0;
  file->entryCount = 0;
  const int32_t result = TIFCreateFile(fileName, file);
  file->version = version;
  file->pageIndex = 0;
  return result;
}

} // namespace

int32_t TIFPrepareFileForPage(const char16_t* fileName, TifFile* file, SaveOptions* options, uint32_t requestFlags,
                              uint16_t version) {
  SaveOptions none{};
  Insertion at{file, options == nullptr ? &none : options, 0, 0, 0};
  const bool append = (requestFlags & kSaveRequestAppend) != 0;
  if (append) {
    at.options->flags &= ~kPositionFlags;
  }
  // A first page that is neither inserted nor replacing begins a new file, whatever stood there.
  if (at.options->pageNumber <= 1 && !append && !HasFlag(at, kPositionFlags)) {
    return CreateForPage(fileName, file, version);
  }
  if (HasFlag(at, kSaveUseDirectoryOffset)) {
    at.startDirectory = at.options->directoryOffset;
  }
  int32_t result = kResultOk;
  switch (OpenAtPage(fileName, at, &result)) {
  case Opening::kCreate:
    return CreateForPage(fileName, file, version);
  case Opening::kFailed:
    return result;
  case Opening::kEdit:
    break;
  }
  result = LinkPage(at);
  if (result != kResultOk) {
    krnFileClose(file->fileHandle);
  }
  return result;
}
