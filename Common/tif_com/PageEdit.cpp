// The in-place editor: merges tags, comments, GeoTIFF keys and marker blocks into the entries of one page, stores new
// values at the end of the file, and writes the entries back, over the old directory or, when it grew, behind all else.
// The three exports that edit a page are faces of it.

#include <vxtif/metadata.h>
#include <vxtif/results.h>
#include <vxtif/save.h>

#include "tif_com/Comments.h"
#include "tif_com/DirectoryTree.h"
#include "tif_com/FileAccess.h"
#include "tif_com/GeoKeys.h"
#include "tif_com/Markers.h"
#include "tif_com/Memory.h"
#include "tif_com/TagAccess.h"

namespace {

// What is to change. All of it is the caller's, but for the marker directory.
struct Changes {
  TifTagItem* tagList;
  TifGeoKeyItem* geoKeys;
  TifCommentBlock* comments;
  TifDirectory* markerDirectory;
  uint32_t exifCount; // comments that go into the Exif directory
  uint32_t gpsCount;
  uint32_t iptcBytes;
  bool needsUnit; // the Exif directory needs a unit for its focal-plane resolutions
};

// The page's entries, with room for all that may be added.
struct PageEntries {
  TifDirEntry* entries;
  uint32_t n;
};

bool HasText(const TifComment& slot) {
  return slot.data != nullptr;
}

// Entries that the comments may add: one for each text, one for each of the directories and blocks behind the others.
uint32_t CountComments(Changes* changes) {
  TifCommentBlock* const comments = changes->comments;
  if (comments == nullptr) {
    return 0;
  }
  uint32_t count = 0;
  for (uint32_t i = 0; i < kMainCommentCount; ++i) {
    count += HasText(comments->slots[i]) ? 1 : 0;
  }
  TIFCountExifComments(comments, &changes->exifCount, &changes->needsUnit);
  TIFCountGpsComments(comments, &changes->gpsCount);
  changes->iptcBytes = TIFIptcSize(comments);
  return count + (changes->exifCount != 0 ? 1 : 0) + (changes->gpsCount != 0 ? 1 : 0) +
         (changes->iptcBytes != 0 ? 1 : 0);
}

// Entries that all but the markers may add.
uint32_t CountChanges(Changes* changes) {
  uint32_t count = CountComments(changes);
  for (const TifTagItem* item = changes->tagList; item != nullptr; item = item->next) {
    ++count;
  }
  return count + (changes->geoKeys != nullptr ? kGeoTagCount : 0);
}

int32_t MergeBlocks(TifFile* file, const Changes& changes, PageEntries* page) {
  int32_t result = TIFRewriteExifDirectory(file, page->entries, page->n, changes.exifCount, changes.comments,
                                           changes.needsUnit, changes.markerDirectory);
  if (result == kResultOk) {
    result = TIFMergeGps(file, page->entries, &page->n, changes.gpsCount, changes.comments, changes.markerDirectory);
  }
  if (result != kResultOk) {
    return result;
  }
  const bool merged = TIFMergeIptc(file, page->entries, &page->n, changes.comments, changes.iptcBytes) == kResultOk;
  return merged ? kResultOk : kResultNoMemory; // whatever it reported
}

int32_t MergeTexts(TifFile* file, TifCommentBlock* comments, PageEntries* page) {
  for (uint32_t i = 0; comments != nullptr && i < kMainCommentCount; ++i) {
    const TifComment slot = comments->slots[i];
    if (slot.data == nullptr || slot.size == 0) {
      continue;
    }
    const TifTagItem item = {kMainCommentTags[i], kTypeAscii, slot.size, slot.data, nullptr};
    const int32_t result = TIFSetEntry(file, page->entries, &item, slot.data, &page->n);
    if (result != kResultOk) {
      return result;
    }
  }
  return kResultOk;
}

// Marker values go to the file's position, so that is brought to a place where nothing stands.
int32_t MergeMarkers(TifFile* file, TifDirectory* markerDirectory, PageEntries* page) {
  if (markerDirectory == nullptr) {
    return kResultOk;
  }
  if (TIFEvenEndOfFile(file) == kSeekFailed) {
    return kResultSeekFailed;
  }
  return TIFMergeMarkerDirectory(file, page->entries, &page->n, markerDirectory, kDirMain);
}

int32_t MergeTags(TifFile* file, TifTagItem* tagList, PageEntries* page) {
  for (const TifTagItem* item = tagList; item != nullptr; item = item->next) {
    const int32_t result = TIFSetEntry(file, page->entries, item, item->data, &page->n);
    if (result != kResultOk) {
      return result;
    }
  }
  return kResultOk;
}

// Every change in its turn: where two set the same tag, the later one wins.
int32_t MergeChanges(TifFile* file, const Changes& changes, PageEntries* page) {
  int32_t result = MergeBlocks(file, changes, page);
  if (result == kResultOk) {
    result = MergeTexts(file, changes.comments, page);
  }
  if (result == kResultOk) {
    result = MergeMarkers(file, changes.markerDirectory, page);
  }
  if (result == kResultOk) {
    result = MergeTags(file, changes.tagList, page);
  }
  if (result == kResultOk && changes.geoKeys != nullptr) {
    result = TIFMergeGeoKeys(file, page->entries, &page->n, changes.geoKeys);
  }
  return result;
}

// With the position behind the count word of the page's directory.
int32_t EditPage(TifFile* file, const Changes& changes, uint32_t room) {
  uint32_t directory = file->directoryOffset;
  const uint32_t link = file->directoryLinkOffset;
  const uint32_t oldCount = file->entryCount;
  PageEntries page = {nullptr, oldCount};
  uint32_t next = 0;
  int32_t result = TIFLoadEntries(file, directory, room, &page.entries, nullptr, &next);
  if (result != kResultOk) {
    return result;
  }
  result = MergeChanges(file, changes, &page);
  const bool grew = page.n > oldCount;
  if (result == kResultOk && grew && link == 0) {
    result = kResultNoLinkWord; // the page was entered by its offset: nobody knows what points to it
  }
  if (result == kResultOk) {
    result = TIFWriteEntries(file, page.entries, page.n, grew, &directory, next, link);
    file->directoryOffset = directory;
  }
  TIFFree(page.entries);
  return result;
}

// Null options read as zeros.
int32_t SeekPage(TifFile* file, const SaveOptions* options) {
  const int32_t page = options != nullptr ? options->pageNumber : 0;
  const bool explicitStart = options != nullptr && (options->flags & kSaveUseDirectoryOffset) != 0;
  uint32_t reached = 0;
  return TIFSeekPage(file, static_cast<uint32_t>(page), explicitStart ? options->directoryOffset : 0, &reached,
                     PageSearch::kStrict);
}

} // namespace

int32_t TIFApplyChanges(TifFile* file, SaveOptions* options, TifMarkerBlock* markers, TifTagItem* tagList,
                        TifGeoKeyItem* geoKeys, TifCommentBlock* comments) {
  int32_t result = SeekPage(file, options);
  if (result != kResultOk) {
    return result;
  }
  Changes changes = {tagList, geoKeys, comments, nullptr, 0, 0, 0, false};
  uint32_t room = CountChanges(&changes); // this may adjust the caller's comments, also when the markers are bad
  result = TIFReadExifMarker(markers, &changes.markerDirectory);
  if (result == kResultOk) {
    room += changes.markerDirectory != nullptr ? changes.markerDirectory->entryCount : 0;
    result = room != 0 ? EditPage(file, changes, room) : kResultOk;
  }
  TIFFreeDirectory(changes.markerDirectory, kDirMain);
  return result;
}

int32_t TIFEditFile(const char16_t* fileName, SaveOptions* options, TifMarkerBlock* markers, TifTagItem* tagList,
                    TifGeoKeyItem* geoKeys, TifCommentBlock* comments) {
  TifFile file = {};
  file.fileHandle = krnFileOpen(fileName, kKrnFileReadWrite, kKrnShareRead);
  if (file.fileHandle == kKrnNoHandle) {
    return kResultOpenFailed;
  }
  const int32_t result = TIFApplyChanges(&file, options, markers, tagList, geoKeys, comments);
  krnFileClose(file.fileHandle);
  return result;
}

int32_t fltSetTagTIF(FilterSetTagRequest* request) {
  return TIFEditFile(request->fileName, request->options, request->markers, request->tagList, nullptr, nullptr);
}

int32_t fltSetCommentTIF(FilterSetCommentRequest* request) {
  return TIFEditFile(request->fileName, request->options, request->markers, nullptr, nullptr, request->comments);
}

int32_t fltSetGeoKeyTIF(FilterSetGeoKeyRequest* request) {
  return TIFEditFile(request->fileName, request->options, nullptr, nullptr, request->geoKeys, nullptr);
}
