// The exported boundary of the filter family. Each public name does one thing: it refuses a null request and hands over
// to its twin, which does not test the pointer again. fltCompact has no twin and tests for itself.

#include <vxtif/vxtif.h>

namespace {

template <typename Request> int32_t RefuseNull(Request* request, int32_t (*twin)(Request*)) {
  return request == nullptr ? kResultInvalidParameter : twin(request);
}

} // namespace

int32_t fltInfo(FilterInfoRequest* request) {
  return RefuseNull(request, fltInfoTIF);
}

int32_t fltLoad(FilterLoadRequest* request) {
  return RefuseNull(request, fltLoadTIF);
}

int32_t fltLoadCMYKArray(FilterLoadCMYKRequest* request) {
  return RefuseNull(request, fltLoadCMYKArrayTIF);
}

int32_t fltGetStamp(FilterStampRequest* request) {
  return RefuseNull(request, fltGetStampTIF);
}

int32_t fltSave(FilterSaveRequest* request) {
  return RefuseNull(request, fltSaveTIF);
}

int32_t fltSaveCMYKArray(FilterSaveCMYKRequest* request) {
  return RefuseNull(request, fltSaveCMYKArrayTIF);
}

int32_t fltStartSaveData(FilterSaveDataRequest* request) {
  return RefuseNull(request, fltStartSaveDataTIF);
}

int32_t fltSaveData(FilterSaveDataRequest* request) {
  return RefuseNull(request, fltSaveDataTIF);
}

int32_t fltStopSaveData(FilterSaveDataRequest* request) {
  return RefuseNull(request, fltStopSaveDataTIF);
}

int32_t fltDeletePage(FilterDeletePageRequest* request) {
  return RefuseNull(request, fltDeletePageTIF);
}

int32_t fltGetTag(FilterGetTagRequest* request) {
  return RefuseNull(request, fltGetTagTIF);
}

int32_t fltSetTag(FilterSetTagRequest* request) {
  return RefuseNull(request, fltSetTagTIF);
}

int32_t fltComment(FilterCommentRequest* request) {
  return RefuseNull(request, fltCommentTIF);
}

int32_t fltSetComment(FilterSetCommentRequest* request) {
  return RefuseNull(request, fltSetCommentTIF);
}

int32_t fltEnumGeoKeys(FilterEnumGeoKeysRequest* request) {
  return RefuseNull(request, fltEnumGeoKeysTIF);
}

int32_t fltSetGeoKey(FilterSetGeoKeyRequest* request) {
  return RefuseNull(request, fltSetGeoKeyTIF);
}
