// One load of a page, as its driver and the steps in their own files share it. It lives on the driver's stack.
#pragma once

#include <cstdint>

#include <vxtif/load.h>
#include <vxtif/page.h>
#include <vxtif/rawpage.h>

#include "Tif/LoadContext.h"
#include "Tif/RegionMapping.h"
#include "Tif/StripRepair.h"

// Where the reading puts the rows.
enum class TargetKind {
  kCaller,    // the row sink, row by row
  kPlanes,    // one bitmap a sample, merged in a second pass
  kWide,      // a temporary bitmap of 32-bit samples, scaled in a second pass
  kStoredSize // a temporary bilevel bitmap of another size, resampled in a second pass
};

struct LoadTarget {
  TargetKind kind;
  BitmapHandle* bitmap; // what the receiver is given: the caller's, or `temporary`; null for planes
  TifRowSink receiver;
  BitmapHandle temporary;
  bool hasTemporary;
  BitmapHandle** planes;
  uint32_t planeCount;
};

struct PageLoad {
  FilterLoadRequest* request;
  const FileOptions* options; // the request's, or zeros
  TifRowSink rowCallback;     // the request's, or one that refuses
  TifFile file;
  TifPage* page;
  VxColor palette[kPaletteEntries];
  TifLoadContext context;
  uint64_t rowSize; // bytes of a decoded row of a strip or tile
  StripSplit split;
  bool regionActive;
  TifRect region; // file coordinates
  LoadTarget target;
};

// Chooses the target and makes its bitmaps; sets the context's row sink. 1 or -1; TIFCloseTarget follows in any case.
int32_t TIFOpenTarget(PageLoad* load);
void TIFCloseTarget(LoadTarget* target);

// Reads the page's pixels to the target by the road that its compression asks for. 1, -15, or the first failure.
int32_t TIFReadPixels(PageLoad* load);

// Finishes pages that could not be given to the row sink while they were read. 1 or the first failure.
int32_t TIFRunSecondPass(PageLoad* load);
