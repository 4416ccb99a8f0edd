// A sibling library for fuzzing, built under the name of every one: well-behaved, but with an image whose every detail
// comes from the stream. It reads the stream as a file of its own, hands out rows as large as the bitmap it is given,
// and writes a few bytes where it is asked to save.

#include <algorithm>
#include <vector>

#include <vxkernel/vxkernel.h>
#include <vxtif/vxtif.h>

namespace {

constexpr uint32_t kMostStreamBytes = 64;
constexpr int32_t kMostRowBytes = 1 << 20;

// The first bytes of the stream, with a look at its end as any reader of a file takes one.
std::vector<uint8_t> ReadStream(VxFileHandle handle) {
  std::vector<uint8_t> bytes(kMostStreamBytes);
  const uint32_t end = krnFileSeek(handle, 0, kKrnSeekEnd);
  krnFileSeek(handle, 0, kKrnSeekSet);
  const uint32_t got = krnFileRead(handle, bytes.data(), std::min(end, kMostStreamBytes));
  krnFileSeek(handle, 4, kKrnSeekSet);
  krnFileSeek(handle, -2, kKrnSeekCurrent);
  bytes.resize(got == kKrnIoFailed ? 0 : got);
  return bytes;
}

uint8_t At(const std::vector<uint8_t>& bytes, size_t index) {
  return bytes.empty() ? 0 : bytes[index % bytes.size()];
}

// Rows in calls of one or several, the last one marked. A stream may end early or refuse in the middle.
int32_t DeliverRows(FilterLoadRequest* request, const std::vector<uint8_t>& stream) {
  BitmapHandle* bitmap = request->bitmap;
  const int32_t rowBytes = bitmap->bytesPerLine;
  if (rowBytes <= 0 || rowBytes > kMostRowBytes || bitmap->height <= 0) {
    return kResultBitmapMismatch;
  }
  const int32_t rowsACall = 1 + At(stream, 0) % 4;
  const int32_t refusesAt = At(stream, 1) < 32 ? At(stream, 2) : INT32_MAX;
  std::vector<uint8_t> rows(static_cast<size_t>(rowBytes) * static_cast<size_t>(rowsACall));
  for (int32_t first = 0; first < bitmap->height; first += rowsACall) {
    const int32_t count = std::min(rowsACall, bitmap->height - first);
    if (first >= refusesAt) {
      return kResultReadFailed;
    }
    std::fill(rows.begin(), rows.end(), At(stream, static_cast<size_t>(first)));
    const uint32_t flags = uint32_t{kRowsAlways} | (first == 0 ? uint32_t{kRowsFirst} : 0u) |
                           (first + count == bitmap->height ? uint32_t{kRowsLast} : 0u);
    const int32_t result =
        request->rowCallback(request->fileInfo, bitmap, rows.data(), flags, first, count, request->rowCallbackData);
    if (result != kResultOk) {
      return result;
    }
  }
  return kResultOk;
}

} // namespace

extern "C" {

int32_t fltInfo(FilterInfoRequest* request) {
  const std::vector<uint8_t> stream = ReadStream(request->fileHandle);
  if (At(stream, 0) < 64) {
    return kResultRefused;
  }
  FileInfoRecord& report = *request->fileInfo;
  report.fileFormat = At(stream, 1);
  report.width = At(stream, 2);
  report.height = At(stream, 3);
  report.bitsPerPixel = 1 + At(stream, 4) % 24;
  report.flags |= kInfoComplete;
  return kResultOk;
}

int32_t fltLoad(FilterLoadRequest* request) {
  const VxFileHandle handle = krnFileOpen(request->fileName, kKrnFileRead, kKrnShareRead);
  if (handle == kKrnNoHandle) {
    return kResultOpenFailed;
  }
  const std::vector<uint8_t> stream = ReadStream(handle);
  krnFileClose(handle);
  return request->bitmap == nullptr ? kResultNoBitmap : DeliverRows(request, stream);
}

int32_t fltSave(FilterSaveRequest* request) {
  constexpr uint8_t kImage[] = {'i', 'm', 'a', 'g', 'e'};
  const VxFileHandle handle = krnFileOpen(request->fileName, kKrnFileWrite | kKrnFileCreate, kKrnShareExclusive);
  if (handle == kKrnNoHandle) {
    return kResultCreateFailed;
  }
  const uint32_t put = krnFileWrite(handle, kImage, sizeof kImage);
  krnFileSeek(handle, 0, kKrnSeekEnd);
  krnFileClose(handle);
  return put == sizeof kImage ? kResultOk : krnWriteError(kResultWriteFailed);
}
}
