// Reading of numbered comments: fltCommentTIF. It is given a comment number and a buffer, finds the number's home in
// the page, and gives the comment's full size, whatever part of it fits the buffer.

#include <algorithm>

#include <vxtif/metadata.h>
#include <vxtif/results.h>

#include "tif_com/ByteOrder.h"
#include "tif_com/CommentTables.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Iptc.h"
#include "tif_com/Markers.h"
#include "tif_com/Memory.h"
#include "tif_com/PageChain.h"
#include "tif_com/TagClass.h"
#include "tif_com/Tags.h"

namespace {

// Sizes are reported as results: one that would look like a failure is reported as the largest.
int32_t SizeResult(uint64_t bytes) {
  return static_cast<int32_t>(std::min<uint64_t>(bytes, INT32_MAX));
}

// The first bytes of an out-of-line value. 1 or -7; a seek that fails is found out by nobody but the read.
int32_t ReadBytes(const TifFile* file, uint32_t offset, void* buffer, uint32_t bytes) {
  if (TIFSeek(file->fileHandle, offset, kKrnSeekSet) != offset) {
    return kResultReadFailed;
  }
  return krnFileRead(file->fileHandle, buffer, bytes) == bytes ? kResultOk : kResultReadFailed;
}

void CopyInline(const TifDirEntry& entry, void* buffer, uint32_t bytes) {
  uint8_t word[kInlineBytes];
  StoreU32LE(word, entry.value);
  krnMemCopy(buffer, word, std::min(bytes, kInlineBytes));
}

int32_t ReadByteComment(const TifFile* file, const FilterCommentRequest* request, const TifDirEntry& entry) {
  if (request->buffer == nullptr) {
    return SizeResult(entry.count);
  }
  if (entry.type != kTypeByte && entry.type != kTypeAscii && entry.type != kTypeUndefined) {
    return kResultTypeNotAllowed;
  }
  if (request->comment == kCommentMakerNote) {
    uint32_t written = 0;
    const int32_t result = TIFCopyMakerNote(file, entry.value, request->buffer, request->bufferSize, &written);
    if (result != 0) {
      return result == kResultOk ? SizeResult(written) : result;
    }
  }
  const uint32_t bytes = std::min(request->bufferSize, entry.count);
  if (entry.count <= kInlineBytes) {
    CopyInline(entry, request->buffer, bytes);
  } else if (ReadBytes(file, entry.value, request->buffer, bytes) != kResultOk) {
    return kResultReadFailed;
  }
  return SizeResult(entry.count);
}

int32_t ReadShortComment(const TifFile* file, const FilterCommentRequest* request, const CommentRow& row,
                         const TifDirEntry& entry) {
  constexpr uint32_t kShortBytes = 2;
  if (entry.type != kTypeShort) {
    return kResultTypeNotAllowed;
  }
  if (row.count == 1) {
    if (request->buffer != nullptr) {
      CopyInline(entry, request->buffer, std::min(request->bufferSize, kShortBytes));
    }
    return kShortBytes;
  }
  const uint64_t size = uint64_t{entry.count} * kShortBytes;
  if (request->buffer == nullptr) {
    return SizeResult(size);
  }
  const auto bytes = static_cast<uint32_t>(std::min<uint64_t>(request->bufferSize, size));
  if (size <= kInlineBytes) {
    CopyInline(entry, request->buffer, bytes); // the value word is in host order already
    return SizeResult(size);
  }
  if (ReadBytes(file, entry.value, request->buffer, bytes) != kResultOk) {
    return kResultReadFailed;
  }
  if (!TIFIsLittle(file)) {
    SwapRun16(static_cast<uint8_t*>(request->buffer), bytes / kShortBytes);
  }
  return SizeResult(size);
}

int32_t ReadRationalComment(const TifFile* file, const FilterCommentRequest* request, const TifDirEntry& entry) {
  constexpr uint32_t kRationalBytes = 8;
  const uint64_t size = uint64_t{entry.count} * kRationalBytes;
  if (request->buffer == nullptr) {
    return SizeResult(size);
  }
  if (entry.type != kTypeRational && entry.type != kTypeSRational) {
    return kResultTypeNotAllowed;
  }
  const auto bytes = static_cast<uint32_t>(std::min<uint64_t>(request->bufferSize, size));
  if (ReadBytes(file, entry.value, request->buffer, bytes) != kResultOk) {
    return kResultReadFailed;
  }
  if (!TIFIsLittle(file)) {
    SwapRun32(static_cast<uint8_t*>(request->buffer), size_t{bytes / kRationalBytes} * 2);
  }
  return SizeResult(size);
}

int32_t ReadIptcComment(const TifFile* file, const FilterCommentRequest* request, const TifDirEntry& entry) {
  const uint64_t size = TIFValueBytes(entry.type, entry.count);
  if (size < kInlineBytes) {
    return kResultTypeNotAllowed;
  }
  if (size > file->fileSize) {
    return kResultReadFailed; // before memory is asked for that the file cannot fill
  }
  const auto bytes = static_cast<uint32_t>(size);
  auto* block = static_cast<uint8_t*>(TIFAlloc(1, bytes));
  if (block == nullptr) {
    return kResultNoMemory;
  }
  int32_t result = kResultOk;
  if (TIFSeek(file->fileHandle, entry.value, kKrnSeekSet) != entry.value) {
    result = kResultSeekFailed;
  } else if (krnFileRead(file->fileHandle, block, bytes) != bytes) {
    result = kResultReadFailed;
  } else {
    result = TIFGatherIptcComment(request->comment, block, bytes, static_cast<uint8_t*>(request->buffer),
                                  request->bufferSize);
  }
  TIFFree(block);
  return result;
}

int32_t ReadByRow(const TifFile* file, const FilterCommentRequest* request, const CommentRow& row,
                  const TifDirEntry& entry) {
  switch (row.type) {
  case kTypeByte:
  case kTypeAscii:
  case kTypeUndefined:
    return ReadByteComment(file, request, entry);
  case kTypeShort:
  case kTypeSShort:
    return ReadShortComment(file, request, row, entry);
  case kTypeLong:
    return ReadIptcComment(file, request, entry);
  case kTypeRational:
  case kTypeSRational:
    return ReadRationalComment(file, request, entry);
  default:
    return 0;
  }
}

// How the number is stored; the main comments and the IPTC block have rows that are made up here.
CommentRow RowOf(CommentHome home, uint32_t row) {
  switch (home) {
  case CommentHome::kExif:
    return kExifCommentTable[row];
  case CommentHome::kGps:
    return kGpsCommentTable[row];
  case CommentHome::kIptc:
    return {kTagIptc, kTypeLong, kCommentAnySize, kCommentAnySize};
  default:
    return {kMainCommentTags[row], kTypeAscii, kCommentAnySize, kCommentAnySize};
  }
}

// Goes from the page into its Exif or GPS directory. 1, 0 when the page has none, or a code.
int32_t EnterSubDirectory(TifFile* file, uint16_t tag) {
  TifDirEntry entry = {};
  const int32_t found = TIFFindTag(file, &entry, tag);
  if (found != kResultOk) {
    return found == kResultTagNotFound ? 0 : found;
  }
  return entry.type == kTypeLong ? TIFReadDirectoryHeader(file, entry.value) : 0;
}

int32_t TIFGetComment(const FilterCommentRequest* request, VxFileHandle handle) {
  uint32_t rowNumber = 0;
  const CommentHome home = TIFFindCommentHome(request->comment, &rowNumber);
  const CommentRow row = RowOf(home, rowNumber);
  const FileOptions* options = request->fileOptions;
  TifFile file = {};
  file.fileHandle = handle;
  uint32_t reached = 0;
  const uint32_t page = options != nullptr ? static_cast<uint32_t>(options->pageNumber) : 0;
  const bool hasStart = options != nullptr && (options->flags & kReadUseDirectoryOffset) != 0;
  int32_t result = TIFSeekPage(&file, page, hasStart ? options->directoryOffset : 0, &reached, PageSearch::kStrict);
  if (result == kResultOk && home == CommentHome::kExif) {
    result = EnterSubDirectory(&file, kTagExifIfd);
  } else if (result == kResultOk && home == CommentHome::kGps) {
    result = EnterSubDirectory(&file, kTagGpsIfd);
  }
  if (result != kResultOk) {
    return result;
  }
  TifDirEntry entry = {};
  result = TIFFindTag(&file, &entry, row.tag);
  if (result != kResultOk) {
    return result == kResultTagNotFound ? 0 : result;
  }
  return ReadByRow(&file, request, row, entry);
}

} // namespace

int32_t fltCommentTIF(FilterCommentRequest* request) {
  uint32_t row = 0;
  if (TIFFindCommentHome(request->comment, &row) == CommentHome::kNone) {
    return kResultInvalidParameter;
  }
  const VxFileHandle handle = krnFileOpen(request->fileName, kKrnFileRead, kKrnShareRead);
  if (handle == kKrnNoHandle) {
    return kResultOpenFailed;
  }
  const int32_t result = TIFGetComment(request, handle);
  krnFileClose(handle);
  return result;
}
