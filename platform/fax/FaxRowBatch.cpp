// Batches of rows for the sink.

#include "FaxRowBatch.h"

#include "FaxRuns.h"

#include "vxkernel/memory.h"

namespace {

constexpr char kModule[] = "FaxRowBatch.cpp";
constexpr size_t kBatchBytes = 64 * 1024; // stays in the second-level cache between decoder and sink
constexpr size_t kFillSlack = 8;
constexpr size_t kWidestPadding = 64; // a target with more behind its rows gets them one by one

int32_t Deliver(FaxRowBatch* batch, uint32_t lastFlag) {
  const uint32_t firstFlag = batch->firstRow == 0 ? kRowsFirst : 0;
  const FaxRowSink& sink = batch->sink;
  const int32_t result = sink.deliver(sink.fileInfo, sink.target, batch->rows, kRowsAlways | firstFlag | lastFlag,
                                      batch->firstRow, batch->count, sink.userData);
  batch->firstRow += batch->count;
  batch->count = 0;
  return result;
}

} // namespace

int32_t FaxOpenRowBatch(FaxRowBatch* batch, const FaxRowSink& sink, int32_t width, int32_t height) {
  const size_t rowBytes = FaxRowBytes(width);
  const int32_t pitch = sink.target->bytesPerLine;
  const bool keepsPitch =
      pitch > 0 && static_cast<size_t>(pitch) >= rowBytes && static_cast<size_t>(pitch) - rowBytes <= kWidestPadding;
  const size_t stride = keepsPitch ? static_cast<size_t>(pitch) : rowBytes;
  size_t room = keepsPitch ? kBatchBytes / stride : 1;
  if (room > static_cast<size_t>(height)) {
    room = static_cast<size_t>(height);
  }
  if (room < 1) {
    room = 1;
  }
  *batch = FaxRowBatch{sink, nullptr, stride, static_cast<int32_t>(room), 0, 0};
  batch->rows = static_cast<uint8_t*>(krnAllocZero(room * stride + kFillSlack, 1, __LINE__, kModule));
  return batch->rows == nullptr ? kFaxResultNoMemory : kFaxResultOk;
}

void FaxCloseRowBatch(FaxRowBatch* batch) {
  krnFree(batch->rows, __LINE__, kModule);
  batch->rows = nullptr;
}

uint8_t* FaxNextRowPlace(FaxRowBatch* batch, int32_t* result) {
  if (batch->count == batch->room) {
    *result = Deliver(batch, 0);
    if (*result != kFaxResultOk) {
      return nullptr;
    }
  }
  return batch->rows + static_cast<size_t>(batch->count++) * batch->stride;
}

int32_t FaxDeliverLastRows(FaxRowBatch* batch) {
  return batch->count == 0 ? kFaxResultOk : Deliver(batch, kRowsLast);
}
