// Metadata writers whose work is not in the library yet. Without anything to write they answer as if there were
// nothing; otherwise they refuse. A function leaves this file when its work arrives.

#include <vxtif/results.h>

#include "tif_com/GeoKeys.h"

int32_t TIFReadGeoKeys(TifFile*, TifDirEntry*, uint32_t, TifDirectory** out) {
  *out = nullptr;
  return kResultOk;
}

int32_t TIFMergeGeoKeys(TifFile*, TifDirEntry*, uint32_t*, const TifGeoKeyItem*) {
  return kResultOk;
}
