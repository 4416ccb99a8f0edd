// The way of decoded rows to the sink: one by one, so that no sink has to know a distance between them. The last row is
// held back until it is known that it is the last.
#pragma once

#include "vxfax/vxfax.h"

struct FaxRowSink {
  VxRowSink deliver;
  struct FileInfoRecord* fileInfo;
  BitmapHandle* target;
  intptr_t userData;
};

struct FaxRowBatch {
  FaxRowSink sink;
  uint8_t* rows;
  size_t stride;
  int32_t room;     // rows that fit
  int32_t count;    // rows waiting
  int32_t firstRow; // the number of the first of them
};

// Memory for a row of `width` pixels. 1 or kFaxResultNoMemory.
int32_t FaxOpenRowBatch(FaxRowBatch* batch, const FaxRowSink& sink, int32_t width);
void FaxCloseRowBatch(FaxRowBatch* batch);

// The place of the next row: FaxFillBytes(width) bytes, of which the ones behind the row may be overwritten by the row
// that follows. When rows have to be delivered to make room and the sink refuses them, null and the sink's result.
uint8_t* FaxNextRowPlace(FaxRowBatch* batch, int32_t* result);

// Delivers what waits, marked as the page's last rows. 1 or the sink's result.
int32_t FaxDeliverLastRows(FaxRowBatch* batch);
