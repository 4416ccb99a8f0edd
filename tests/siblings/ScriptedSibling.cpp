// A sibling library for tests: it exports the three entry points, does its file work through the kernel as the siblings
// do, and follows a script. Definitions leave an entry point out.

#include "siblings/ScriptedSibling.h"

#include <cstring>

namespace {

SiblingScript script;

void Note(const char* entryPoint, void* request) {
  script.calls += 1;
  std::strncpy(script.entryPoint, entryPoint, sizeof script.entryPoint - 1);
  script.request = request;
}

int64_t Act(SiblingStep& step, const char16_t* name, void* request, VxFileHandle& handle) {
  switch (step.act) {
  case SiblingAct::kOpen:
    handle = krnFileOpen(script.nameToOpen != nullptr ? script.nameToOpen : name, 0, kKrnShareRead);
    return handle;
  case SiblingAct::kSeek:
    return krnFileSeek(handle, step.offset, step.whence);
  case SiblingAct::kRead:
    return krnFileRead(handle, step.data, step.bytes);
  case SiblingAct::kWrite:
    return krnFileWrite(handle, step.text, step.bytes);
  case SiblingAct::kClose:
    return krnFileClose(handle);
  default:
    return script.callback(handle, request, script.callbackData);
  }
}

int32_t FollowScript(const char16_t* name, void* request) {
  VxFileHandle handle = kKrnNoHandle;
  for (uint32_t i = 0; i < script.stepCount; ++i) {
    script.steps[i].result = Act(script.steps[i], name, request, handle);
  }
  return script.result;
}

} // namespace

extern "C" {

VX_API SiblingScript* siblingScript();

SiblingScript* siblingScript() {
  return &script;
}

#ifndef SIBLING_WITHOUT_INFO
int32_t fltInfo(FilterInfoRequest* request) {
  Note("Info", request);
  script.pageNumber = request->fileOptions->pageNumber;
  script.optionFlags = request->fileOptions->flags;
  return FollowScript(nullptr, request);
}
#endif

#ifndef SIBLING_WITHOUT_LOAD
int32_t fltLoad(FilterLoadRequest* request) {
  Note("Load", request);
  script.bitmap = request->bitmap;
  script.rowCallback = request->rowCallback;
  script.rowCallbackData = request->rowCallbackData;
  script.pageNumber = request->fileOptions->pageNumber;
  script.optionFlags = request->fileOptions->flags;
  return FollowScript(request->fileName, request);
}
#endif

#ifndef SIBLING_WITHOUT_SAVE
int32_t fltSave(FilterSaveRequest* request) {
  Note("Save", request);
  script.bitmap = request->bitmap;
  script.bitmapCopy = *request->bitmap;
  script.pageNumber = request->fileOptions->pageNumber;
  script.optionFlags = request->fileOptions->flags;
  script.fileFormat = request->fileFormat;
  if (script.viewToLeave != 0) {
    request->bitmap->viewPerspective = script.viewToLeave;
  }
  return FollowScript(request->fileName, request);
}
#endif
}
