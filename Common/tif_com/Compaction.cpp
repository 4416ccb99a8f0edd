// Compaction: copies pages of one file into another, each rebuilt from a tree, so that every offset is new and nothing
// unreachable comes along. The destination takes the pages as it takes any saved page: as a new file, appended,
// inserted or in place of others.

#include "tif_com/Compaction.h"

#include <vxtif/save.h>

#include "tif_com/FileAccess.h"
#include "tif_com/PageChain.h"
#include "tif_com/SaveState.h"
#include "tif_com/TreeWriter.h"

namespace {

constexpr uint32_t kAllPages = 0xFFFFFFFFu;
constexpr uint32_t kCountWordBytes = 2;

uint32_t DestinationFlags(const FilterCompactRequest* request) {
  return request->destinationOptions != nullptr ? request->destinationOptions->flags : 0;
}

int32_t SeekFirstPage(TifFile* source, const FileOptions* options) {
  const int32_t page = options != nullptr ? options->pageNumber : 0;
  const bool explicitStart = options != nullptr && (options->flags & kReadUseDirectoryOffset) != 0;
  uint32_t reached = 0;
  return TIFSeekPage(source, static_cast<uint32_t>(page), explicitStart ? options->directoryOffset : 0, &reached,
                     PageSearch::kLenient);
}

int32_t WritePage(TifFile* destination, TifFile* source, TifDirectory* tree) {
  if (krnFileSeek(destination->fileHandle, 0, kKrnSeekEnd) == kSeekFailed) {
    return kResultSeekFailed;
  }
  uint32_t newLink = 0;
  uint32_t position = 0;
  const int32_t result =
      TIFWriteDirectoryTree(destination, source, tree->records, static_cast<int32_t>(tree->entryCount),
                            destination->directoryLinkOffset, &newLink, &position, kDirMain);
  if (result == kResultOk) {
    destination->directoryLinkOffset = newLink; // the next page hangs off this one
  }
  return result;
}

// Copies the page at the source's directoryOffset and moves that to the page's next word.
int32_t CopyPage(TifFile* destination, TifFile* source, uint32_t flags) {
  TifDirectory* const tree = TIFReadDirectoryToCopy(source);
  if (tree == nullptr) {
    return kResultDirectoryUnreadable;
  }
  if ((flags & kSaveNoSubfileType) != 0) {
    TIFRemoveRecord(tree, kTagSubfileType);
    TIFRemoveRecord(tree, kTagNewSubfileType);
  }
  const int32_t result = WritePage(destination, source, tree);
  if (result == kResultOk) {
    source->directoryOffset = tree->nextDirectoryOffset;
  }
  TIFFreeDirectory(tree, kDirMain);
  return result;
}

int32_t CopyPages(TifFile* destination, TifFile* source, uint32_t pageCount, uint32_t flags) {
  for (uint32_t i = 0; i < pageCount; ++i) {
    const int32_t result = CopyPage(destination, source, flags);
    if (result != kResultOk) {
      return result;
    }
    // The first page took the place of the one that was found; each later one uses up the page behind it.
    if (i != 0 && (flags & kSaveReplacePage) != 0) {
      destination->nextDirectoryOffset = TIFNextDirectoryOffset(destination, destination->nextDirectoryOffset);
    }
    if (source->directoryOffset == 0) {
      break;
    }
  }
  return kResultOk;
}

// Joins the new run of pages to what follows it in the destination's chain. A failed write is not looked at.
void JoinOldChain(const TifFile* destination, uint32_t flags) {
  const bool positioned = (flags & (kSaveReplacePage | kSaveInsertPage)) != 0;
  const uint32_t next = destination->nextDirectoryOffset;
  const uint32_t link = destination->directoryLinkOffset;
  if (positioned && next != 0 && TIFSeek(destination->fileHandle, link, kKrnSeekSet) == link) {
    TIFWrite32(destination, next);
  }
}

int32_t CompactInto(TifFile* destination, TifFile* source, FilterCompactRequest* request) {
  const uint32_t flags = DestinationFlags(request);
  if (TIFHasState(destination, kStateHeaderPending) &&
      TIFWriteHeader(destination, (flags & kSaveBigEndian) != 0) == 0) {
    return krnWriteError(kResultWriteFailed);
  }
  int32_t result = SeekFirstPage(source, request->sourceOptions);
  if (result != kResultOk) {
    return result;
  }
  if (request->pageCount == 0) {
    request->pageCount = kAllPages;
  }
  result = CopyPages(destination, source, request->pageCount, flags);
  if (result == kResultOk) {
    JoinOldChain(destination, flags);
  }
  return result;
}

int32_t CompactFrom(TifFile* source, FilterCompactRequest* request) {
  TifFile destination = {};
  int32_t result =
      TIFPrepareFileForPage(request->destinationName, &destination, request->destinationOptions, 0, kTifVersion);
  if (result != kResultOk) {
    return result;
  }
  result = CompactInto(&destination, source, request);
  krnFileClose(destination.fileHandle);
  return result;
}

} // namespace

uint32_t TIFNextDirectoryOffset(const TifFile* file, uint32_t offset) {
  if (offset < kSmallestDirectoryOffset || offset == kSeekFailed ||
      TIFSeek(file->fileHandle, offset, kKrnSeekSet) != offset) {
    return 0;
  }
  uint16_t count = 0;
  if (TIFRead16(file, &count) == 0 || count >= (0xFFFFFFF9u - offset) / kDirEntrySize) {
    return 0; // the entries would run past 32 bits
  }
  const uint32_t entryBytes = count * kDirEntrySize;
  const uint32_t wordPlace = offset + kCountWordBytes + entryBytes;
  uint32_t next = 0;
  if (TIFSeek(file->fileHandle, entryBytes, kKrnSeekCurrent) != wordPlace || TIFRead32(file, &next) == 0) {
    return 0;
  }
  return next;
}

int32_t TIFRemoveRecord(TifDirectory* tree, uint16_t tag) {
  int32_t found = -1;
  TifTagRecord* const record = TIFFindRecord(tree->records, tree->entryCount, tag, &found);
  if (record == nullptr) {
    return 0;
  }
  TIFFreeTagRecord(record, kDirMain);
  const uint32_t behind = tree->entryCount - static_cast<uint32_t>(found) - 1;
  krnMemMove(record, record + 1, behind * sizeof(TifTagRecord));
  tree->entryCount -= 1;
  return 1;
}

int32_t fltCompact(FilterCompactRequest* request) {
  if (request == nullptr) {
    return kResultInvalidParameter;
  }
  if (request->sourceName == nullptr || request->destinationName == nullptr) {
    return kResultNoFileName;
  }
  TifFile source = {};
  source.fileHandle = krnFileOpen(request->sourceName, kKrnFileRead, kKrnShareRead);
  if (source.fileHandle == kKrnNoHandle) {
    return kResultOpenFailed;
  }
  const int32_t result = CompactFrom(&source, request);
  krnFileClose(source.fileHandle);
  return result;
}
