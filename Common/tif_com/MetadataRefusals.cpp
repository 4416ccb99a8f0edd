// Metadata writers whose work is not in the library yet. Without anything to write they answer as if there were
// nothing; otherwise they refuse. A function leaves this file when its work arrives.

#include <vxtif/results.h>

#include "tif_com/Comments.h"
#include "tif_com/GeoKeys.h"
#include "tif_com/Markers.h"

const uint16_t kMainCommentTags[kMainCommentCount] = {315, 33432, 306, 270, 316, 271, 272, 269, 285, 305};

void TIFCountExifComments(const TifCommentBlock*, uint32_t* count, bool* needsUnit) {
  *count = 0;
  *needsUnit = false;
}

void TIFCountGpsComments(const TifCommentBlock*, uint32_t* count) {
  *count = 0;
}

uint32_t TIFIptcSize(TifCommentBlock*) {
  return 0;
}

int32_t TIFRewriteExifDirectory(TifFile*, TifDirEntry*, uint32_t, uint32_t, TifCommentBlock*, bool, TifDirectory*) {
  return kResultOk;
}

int32_t TIFMergeGps(TifFile*, TifDirEntry*, uint32_t*, uint32_t, TifCommentBlock*, TifDirectory*) {
  return kResultOk;
}

int32_t TIFMergeIptc(TifFile*, TifDirEntry*, uint32_t*, TifCommentBlock*, uint32_t) {
  return kResultOk;
}

int32_t TIFBuildIptcBlock(TifCommentBlock*, uint8_t** block, uint32_t* length, bool) {
  *block = nullptr;
  *length = 0;
  return kResultOk;
}

int32_t TIFWriteExifDirectory(TifFile*, TifCommentBlock*, uint32_t, uint32_t, TifDirectory*) {
  return kResultInvalidParameter;
}

int32_t TIFWriteGpsDirectory(TifFile*, TifCommentBlock*, TifDirectory*) {
  return 0;
}

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
