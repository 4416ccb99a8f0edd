// Requests of the incremental save.

#include "toolkit/DataSave.h"

#include "toolkit/Failure.h"

#include <vxtif/vxtif.h>

namespace toolkit {
namespace {

constexpr size_t kChunkBytes = size_t{256} * 1024;

// An open save is ended on every path: the page then tells how many bytes it has.
struct OpenSave {
  explicit OpenSave(FilterSaveDataRequest* started) : request(started) {}
  ~OpenSave() { fltStopSaveData(request); }
  OpenSave(const OpenSave&) = delete;
  OpenSave& operator=(const OpenSave&) = delete;
  FilterSaveDataRequest* request;
};

// The first `count` bytes are in the buffer already.
int32_t WriteChunks(FilterSaveDataRequest* request, std::vector<uint8_t>& chunk, size_t count,
                    const DataSource& source) {
  for (; count != 0; count = source(chunk.data(), chunk.size())) {
    request->dataBuffer = chunk.data();
    request->dataLength = static_cast<uint32_t>(count);
    if (const int32_t result = fltSaveData(request); result != kResultOk) {
      return result;
    }
  }
  return kResultOk;
}

} // namespace

uint64_t SaveData(const std::string& file, const std::string& sourceName, const DataJob& job,
                  const DataSource& source) {
  std::vector<uint8_t> chunk(kChunkBytes);
  const size_t count = source(chunk.data(), chunk.size());
  if (count == 0) {
    throw Failure(sourceName, "read", kResultReadFailed, "there are no data");
  }
  SaveOptions options = MakeSaveOptions(job.page);
  ItemList<TifTagItem> tags(job.tags);
  CommentSet comments(job.comments);
  std::vector<VxColor> palette = job.palette;
  FilterSaveDataRequest request = {};
  request.compression = job.compression;
  request.width = job.width;
  request.height = job.height;
  request.bitsPerPixel = job.bitsPerPixel;
  request.palette = palette.empty() ? nullptr : palette.data();
  request.paletteSize = static_cast<uint32_t>(palette.size());
  request.append = job.page.placement.kind == Placement::Kind::kAppend ? 1 : 0;
  request.tagList = tags.First();
  request.xResolution = job.resolution;
  request.yResolution = job.resolution;
  request.comments = comments.Block();
  request.options = &options;
  WriteInPlaceOrNew(file, job.page.placement, "save", [&](const char16_t* name) {
    request.fileName = name;
    const int32_t started = fltStartSaveData(&request);
    if (started != kResultOk) {
      return started;
    }
    const OpenSave open(&request);
    return WriteChunks(&request, chunk, count, source);
  });
  return request.bytesWritten;
}

} // namespace toolkit
