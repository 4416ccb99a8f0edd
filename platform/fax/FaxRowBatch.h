// The way of decoded rows to the sink: several rows in a call where the target's rows stand at a distance that the
// decoder can keep too, else one by one. The last rows are held back until it is known that they are the last.
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

// Memory for rows of `width` pixels, of which at most `height` are to come. 1 or kFaxResultNoMemory.
int32_t FaxOpenRowBatch(FaxRowBatch* batch, const FaxRowSink& sink, int32_t width, int32_t height);
void FaxCloseRowBatch(FaxRowBatch* batch);

// The place of the next row: FaxFillBytes(width) bytes, of which the ones behind the row may be overwritten by the row
// that follows. When rows have to be delivered to make room and the sink refuses them, null and the sink's result.
uint8_t* FaxNextRowPlace(FaxRowBatch* batch, int32_t* result);

// Delivers what waits, marked as the page's last rows. 1 or the sink's result.
int32_t FaxDeliverLastRows(FaxRowBatch* batch);
