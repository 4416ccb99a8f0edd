// Metadata writers whose work is not in the library yet. Without anything to write they answer as if there were
// nothing; otherwise they refuse. A function leaves this file when its work arrives.

#include <vxtif/results.h>

#include "tif_com/GeoKeys.h"
#include "tif_com/Markers.h"

int32_t TIFReadGeoKeys(TifFile*, TifDirEntry*, uint32_t, TifDirectory** out) {
  *out = nullptr;
  return kResultOk;
}

int32_t TIFMergeGeoKeys(TifFile*, TifDirEntry*, uint32_t*, const TifGeoKeyItem*) {
  return kResultOk;
}

int32_t TIFReadExifMarker(const TifMarkerBlock*, TifDirectory** out) {
  *out = nullptr;
  return kResultOk;
}

int32_t TIFMergeMarkerDirectory(TifFile*, TifDirEntry*, uint32_t*, TifDirectory* directory, TifDirKind) {
  return directory == nullptr ? kResultOk : kResultInvalidParameter;
}

int32_t TIFParseMakerNotes(TifTagRecord*, uint32_t) {
  return kResultOk;
}

int32_t TIFCopyMakerNote(const TifFile*, uint32_t, void*, uint32_t, uint32_t*) {
  return 0;
}
