// Requests of the writing operations.

#include "toolkit/SavePage.h"

#include "toolkit/BitmapDepth.h"
#include "toolkit/Failure.h"
#include "toolkit/OutputFile.h"
#include "toolkit/Utf16.h"

#include <vxtif/vxtif.h>

namespace toolkit {
namespace {

// Request flags of all saves.
uint32_t RequestFlags(const SaveJob& job) {
  return (job.page.placement.kind == Placement::Kind::kAppend ? uint32_t{kSaveRequestAppend} : 0u) |
         (job.gray ? uint32_t{kSaveRequestGray} : 0u);
}

// The bitmap to save from: for a page in tiles one of the written depth, which `converted` holds where it is another.
BitmapHandle* SourceOf(Bitmap& bitmap, const SaveJob& job, const std::string& file, Bitmap& converted) {
  if (job.page.tileWidth == 0 || bitmap->bitsPerPixel == job.bitsPerPixel) {
    return bitmap.Handle();
  }
  converted = BitmapOfDepth(bitmap, job.bitsPerPixel, RequestFlags(job), file);
  return converted.Handle();
}

} // namespace

void WriteInPlaceOrNew(const std::string& file, const Placement& placement, const char* operation,
                       const std::function<int32_t(const char16_t*)>& write) {
  if (placement.kind != Placement::Kind::kNewFile) {
    Check(write(ToUtf16(file).c_str()), file, operation);
    return;
  }
  PendingFile pending(file);
  Check(write(ToUtf16(pending.Path()).c_str()), file, operation);
  pending.Commit();
}

SaveOptions MakeSaveOptions(const PageOptions& options) {
  SaveOptions record = {};
  record.structSize = sizeof record;
  record.flags = options.flags;
  record.flags2 = options.flags2;
  record.pageNumber = options.placement.page;
  switch (options.placement.kind) {
  case Placement::Kind::kNewFile:
    record.pageNumber = 1;
    break;
  case Placement::Kind::kAppend:
    // A page above the first, neither inserted nor replacing, goes to the end.
    record.pageNumber = 2;
    break;
  case Placement::Kind::kInsert:
    record.flags |= kSaveInsertPage;
    break;
  case Placement::Kind::kReplace:
    record.flags |= kSaveReplacePage;
    break;
  }
  if (options.photometric) {
    record.flags |= kSaveForcePhotometric;
    record.photometric = *options.photometric;
  }
  if (options.tileWidth != 0) {
    record.flags |= kSaveTiles;
    record.tileWidth = options.tileWidth;
    record.tileHeight = options.tileHeight;
  }
  return record;
}

int32_t NaturalDepth(const BitmapHandle& bitmap) {
  const int32_t bits = bitmap.bitsPerPixel;
  if (bits <= 8) {
    return bits;
  }
  constexpr int32_t kDepths[] = {12, 16, 24, 32, 48};
  for (const int32_t depth : kDepths) {
    if (bits <= depth) {
      return depth;
    }
  }
  return 64;
}

void SavePage(const std::string& file, Bitmap& bitmap, const SaveJob& job) {
  Bitmap converted;
  SaveOptions options = MakeSaveOptions(job.page);
  ItemList<TifTagItem> tags(job.tags);
  ItemList<TifGeoKeyItem> geoKeys(job.geoKeys);
  CommentSet comments(job.comments);
  FilterSaveRequest request = {};
  request.bitmap = SourceOf(bitmap, job, file, converted);
  request.bitsPerPixel = job.bitsPerPixel;
  request.fileFormat = job.format;
  request.flags = RequestFlags(job);
  request.extra1 = job.progress ? reinterpret_cast<intptr_t>(&job.progress) : 0;
  request.stampBitmap = job.stamp != nullptr ? job.stamp->Handle() : nullptr;
  request.tagList = tags.First();
  request.comments = comments.Block();
  request.markers = job.markers;
  request.fileOptions = &options;
  request.private50235 = job.storedSize ? &*job.storedSize : nullptr;
  request.geoKeys = geoKeys.First();
  request.saveStart = saveStart;
  request.saveEnd = saveEnd;
  request.saveGetRow = saveGetRow;
  WriteInPlaceOrNew(file, job.page.placement, "save", [&](const char16_t* name) {
    request.fileName = name;
    return fltSave(&request);
  });
}

void SavePlanes(const std::string& file, std::vector<Bitmap>& planes, const SaveJob& job) {
  SaveOptions options = MakeSaveOptions(job.page);
  ItemList<TifTagItem> tags(job.tags);
  CommentSet comments(job.comments);
  std::vector<BitmapHandle*> handles;
  std::vector<Bitmap> converted(planes.size());
  for (size_t i = 0; i < planes.size(); ++i) {
    handles.push_back(SourceOf(planes[i], job, file, converted[i]));
  }
  FilterSaveCMYKRequest request = {};
  request.bitmaps = handles.data();
  request.planeCount = static_cast<uint32_t>(handles.size());
  request.bitsPerPlane = job.bitsPerPixel;
  request.format = job.format;
  request.flags = RequestFlags(job);
  request.extra1 = job.progress ? reinterpret_cast<intptr_t>(&job.progress) : 0;
  request.options = &options;
  request.comments = comments.Block();
  request.markers = job.markers;
  request.tagList = tags.First();
  request.saveStart = saveStart;
  request.saveEnd = saveEnd;
  request.saveGetRow = saveGetRow;
  WriteInPlaceOrNew(file, job.page.placement, "planes save", [&](const char16_t* name) {
    request.fileName = name;
    return fltSaveCMYKArray(&request);
  });
}

void DeletePage(const std::string& file, int32_t page, bool keepPageNumbers) {
  SaveOptions options = {};
  options.structSize = sizeof options;
  options.flags = keepPageNumbers ? uint32_t{kSaveKeepPageNumbers} : 0u;
  const std::u16string name = ToUtf16(file);
  FilterDeletePageRequest request = {};
  request.fileName = name.c_str();
  request.page = static_cast<uint32_t>(page);
  request.options = &options;
  Check(fltDeletePage(&request), file, "delete");
}

void CompactFile(const std::string& source, const std::string& destination, const CompactJob& job) {
  FileOptions from = {};
  from.pageNumber = job.firstPage;
  SaveOptions to = MakeSaveOptions(job.page);
  const std::u16string sourceName = ToUtf16(source);
  FilterCompactRequest request = {};
  request.sourceName = sourceName.c_str();
  request.pageCount = job.pageCount;
  request.sourceOptions = &from;
  request.destinationOptions = &to;
  WriteInPlaceOrNew(destination, job.page.placement, "compact", [&](const char16_t* name) {
    request.destinationName = name;
    return fltCompact(&request);
  });
}

} // namespace toolkit
