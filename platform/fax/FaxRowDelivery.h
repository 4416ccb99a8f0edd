// The way of decoded rows to the sink: one by one, so that no sink has to know a distance between them. A row is held
// back until the next one is asked for, since only then it is known not to be the last.
#pragma once

#include "vxfax/vxfax.h"

struct FaxRowSink {
  VxRowSink deliver;
  struct FileInfoRecord* fileInfo;
  BitmapHandle* target;
  intptr_t userData;
};

struct FaxRowDelivery {
  FaxRowSink sink;
  uint8_t* row;   // whole words
  int32_t number; // of the row that waits
  bool waits;
};

// Memory for a row of `width` pixels. 1 or kFaxResultNoMemory.
int32_t FaxOpenDelivery(FaxRowDelivery* delivery, const FaxRowSink& sink, int32_t width);
void FaxCloseDelivery(FaxRowDelivery* delivery);

// The place of the next row, FaxFillBytes(width) bytes. The row that waited is delivered first; when the sink refuses
// it, null and the sink's result.
uint8_t* FaxNextRowPlace(FaxRowDelivery* delivery, int32_t* result);

// Delivers the row that waits as the page's last. 1 or the sink's result.
int32_t FaxDeliverLastRow(FaxRowDelivery* delivery);
