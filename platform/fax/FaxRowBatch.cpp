// Batches of rows for the sink.

#include "FaxRowBatch.h"

#include "FaxRuns.h"

#include "vxkernel/memory.h"

namespace {

constexpr char kModule[] = "FaxRowBatch.cpp";
constexpr size_t kFillSlack = 8;

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

int32_t FaxOpenRowBatch(FaxRowBatch* batch, const FaxRowSink& sink, int32_t width) {
  *batch = FaxRowBatch{sink, nullptr, FaxRowBytes(width), 1, 0, 0};
  batch->rows = static_cast<uint8_t*>(krnAllocZero(batch->stride + kFillSlack, 1, __LINE__, kModule));
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
