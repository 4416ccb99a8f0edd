// Rows of a page as the encoder sees them: fetched from the row service of the save, from the top, black as 1.
#pragma once

#include "vxfax/vxfax.h"

struct FaxRowFetch {
  const FaxRowSource* source;
  BitmapHandle* bitmap;
  BitmapHandle* descriptor; // the row service's own
  void* context;
  uint32_t flags;
  intptr_t extra1;
  intptr_t extra2;
  int32_t width;
  int32_t height;
  bool inverts;
  uint8_t* row; // the buffer that a fetched row is in; whole words, goes on behind the width
};

// Begins the row service's conversion and makes the row buffer. 1, the service's own result below 1, or
// kFaxResultNoMemory, with nothing left to end.
int32_t FaxBeginRows(FaxRowFetch* fetch, const FaxRowSource* source, BitmapHandle* bitmap, uint32_t flags,
                     intptr_t extra1, intptr_t extra2);
void FaxEndRows(FaxRowFetch* fetch);

// Fetches a row, counted from the top, into `fetch->row`. 1 or the row service's own result.
int32_t FaxFetchRow(FaxRowFetch* fetch, int32_t row);
