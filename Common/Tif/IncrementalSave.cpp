// Saving of a page whose strip data the caller has made: the start writes the directory and keeps the file open, each
// data call appends bytes as they are, the stop records their number and closes. The request record is the only state
// between the calls. The bytes are neither compressed nor looked at; the whole page is one strip.

#include <vxtif/results.h>
#include <vxtif/save.h>

#include "Tifutil/DirectoryWriter.h"
#include "tif_com/FileAccess.h"
#include "tif_com/Memory.h"
#include "tif_com/PageChain.h"
#include "tif_com/TagAccess.h"
#include "tif_com/Tags.h"

namespace {

constexpr int32_t kDeepestPalette = 8;
constexpr int32_t kLargestCompression = 65535; // tag 259 is a SHORT
constexpr uint32_t kCountWordBytes = 2;        // between a directory's place and its first entry

// Up to 8 bits a pixel is an index: the palette has to answer for every one.
bool HasWholePalette(const FilterSaveDataRequest* request) {
  const int32_t depth = request->bitsPerPixel;
  if (depth > kDeepestPalette) {
    return true;
  }
  if (request->palette == nullptr) {
    return false;
  }
  return depth < 0 || request->paletteSize >= (1u << depth);
}

// Brings the record's compression to the tag's value; `faxOptions` receives what the tag cannot say. 1 or -16.
int32_t SettleCompression(FilterSaveDataRequest* request, uint32_t* faxOptions) {
  *faxOptions = 0;
  if (request->compression == kCompressionGroup3TwoDimensional) {
    request->compression = kCompressionGroup3;
    *faxOptions = 1;
    return kResultOk;
  }
  const bool inTag = request->compression >= 1 && request->compression <= kLargestCompression;
  return inTag ? kResultOk : kResultFormatNotSaved;
}

int32_t WriteDirectory(TifFile* file, FilterSaveDataRequest* request, SaveOptions* options, uint32_t faxOptions) {
  BitmapHandle descriptor;
  krnBitmapInit(&descriptor, kBitmapHandleSize, static_cast<int32_t>(request->width),
                static_cast<int32_t>(request->height), request->bitsPerPixel);
  descriptor.xResolution = request->xResolution;
  descriptor.yResolution = request->yResolution;
  descriptor.viewPerspective = 1;
  auto* const page = static_cast<TifPage*>(TIFAllocZero(1, sizeof(TifPage)));
  if (page == nullptr) {
    return kResultNoMemory;
  }
  const uint32_t byteCount = 0; // not known yet: the stop fills it in
  DirectoryWriteJob job = {};
  job.descriptor = &descriptor;
  job.bitsPerPixel = request->bitsPerPixel;
  job.palette = request->palette;
  job.stripCount = 1;
  job.byteCounts = &byteCount;
  job.compression = static_cast<uint32_t>(request->compression);
  job.comments = request->comments;
  job.options = options;
  job.tagList = request->tagList;
  job.faxOptions = faxOptions;
  job.tileWidth = request->width;
  job.rowsPerStrip = request->height;
  job.page = page;
  const int32_t result = TIFWriteDirectory(file, &job);
  TIFFree(page);
  return result;
}

// The directory that the start wrote, from the record and the file itself. What cannot be read leaves no entries, and
// then there is nothing to patch.
void EnterDirectory(const FilterSaveDataRequest* request, TifFile* file) {
  file->fileHandle = request->fileHandle;
  file->directoryOffset = request->entriesOffset - kCountWordBytes;
  uint8_t mark = 0;
  const bool marked =
      krnFileSeek(file->fileHandle, 0, kKrnSeekSet) == 0 && krnFileRead(file->fileHandle, &mark, 1) == 1;
  // With another order or from another place anything could be taken for an entry and written over.
  if (!marked || TIFSeek(file->fileHandle, file->directoryOffset, kKrnSeekSet) != file->directoryOffset) {
    return;
  }
  file->byteOrder = mark;
  uint16_t entryCount = 0;
  if (TIFRead16(file, &entryCount) != 0) {
    file->entryCount = entryCount;
  }
}

} // namespace

int32_t fltStartSaveDataTIF(FilterSaveDataRequest* request) {
  request->fileHandle = kKrnNoHandle;
  if (!HasWholePalette(request)) {
    return kResultInvalidParameter;
  }
  uint32_t faxOptions = 0;
  int32_t result = SettleCompression(request, &faxOptions);
  if (result != kResultOk) {
    return result;
  }
  request->bytesWritten = 0;
  TifFile file = {};
  SaveOptions none = {};
  SaveOptions* const options = request->options != nullptr ? request->options : &none;
  result = TIFPrepareFileForPage(request->fileName, &file, options, request->append != 0 ? kSaveRequestAppend : 0,
                                 kTifVersion);
  if (result != kResultOk) {
    return result;
  }
  result = WriteDirectory(&file, request, options, faxOptions);
  if (result != kResultOk) {
    krnFileClose(file.fileHandle); // the page stays, as far as it was written
    return result;
  }
  request->entriesOffset = file.directoryOffset + kCountWordBytes;
  request->fileHandle = file.fileHandle;
  return kResultOk;
}

int32_t fltSaveDataTIF(FilterSaveDataRequest* request) {
  const uint32_t length = request->dataLength;
  if (request->fileHandle == kKrnNoHandle || krnFileWrite(request->fileHandle, request->dataBuffer, length) != length) {
    return krnWriteError(kResultWriteFailed);
  }
  request->bytesWritten += length;
  return kResultOk;
}

int32_t fltStopSaveDataTIF(FilterSaveDataRequest* request) {
  if (request->fileHandle == kKrnNoHandle) {
    return kResultOk;
  }
  TifFile file = {};
  EnterDirectory(request, &file);
  const uint32_t byteCount = request->bytesWritten;
  TIFPatchStripTables(&file, &byteCount, 1);
  krnFileClose(request->fileHandle);
  request->fileHandle = kKrnNoHandle;
  return kResultOk;
}
