// Rows for the sink.

#include "FaxRowDelivery.h"

#include "FaxRuns.h"

#include "vxkernel/memory.h"

namespace {

constexpr char kModule[] = "FaxRowDelivery.cpp";

int32_t Deliver(FaxRowDelivery* delivery, uint32_t lastFlag) {
  const FaxRowSink& sink = delivery->sink;
  const int32_t number = delivery->number++;
  const uint32_t firstFlag = number == 0 ? kRowsFirst : 0;
  delivery->waits = false;
  return sink.deliver(sink.fileInfo, sink.target, delivery->row, kRowsAlways | firstFlag | lastFlag, number, 1,
                      sink.userData);
}

} // namespace

int32_t FaxOpenDelivery(FaxRowDelivery* delivery, const FaxRowSink& sink, int32_t width) {
  *delivery = FaxRowDelivery{sink, nullptr, 0, false};
  delivery->row = static_cast<uint8_t*>(krnAllocZero(FaxFillBytes(width), 1, __LINE__, kModule));
  return delivery->row == nullptr ? kFaxResultNoMemory : kFaxResultOk;
}

void FaxCloseDelivery(FaxRowDelivery* delivery) {
  krnFree(delivery->row, __LINE__, kModule);
  delivery->row = nullptr;
}

uint8_t* FaxNextRowPlace(FaxRowDelivery* delivery, int32_t* result) {
  if (delivery->waits) {
    *result = Deliver(delivery, 0);
    if (*result != kFaxResultOk) {
      return nullptr;
    }
  }
  delivery->waits = true;
  return delivery->row;
}

int32_t FaxDeliverLastRow(FaxRowDelivery* delivery) {
  return delivery->waits ? Deliver(delivery, kRowsLast) : kFaxResultOk;
}
