// A test's hold on a scripted sibling library, and on the folders that the loader looks in.
#pragma once

#include <cstring>
#include <filesystem>
#include <initializer_list>

#include <gtest/gtest.h>
#include <vxkernel/loader.h>

#include "siblings/ScriptedSibling.h"

inline void UseSiblingFolder(const char* folder) {
  krnAddLibraryFolder(nullptr);
  if (folder != nullptr) {
    krnAddLibraryFolder(std::filesystem::path(folder).u16string().c_str());
  }
}

// The script of a library in the folder, cleared: nothing to do, result 1.
class Sibling {
public:
  explicit Sibling(const char* library, const char* folder = SIBLING_FOLDER) {
    UseSiblingFolder(folder);
    EXPECT_EQ(loader_.LoadWithPath(nullptr, library, library, nullptr), 1) << library;
    EXPECT_EQ(loader_.AddFunction("siblingScript"), 1);
    script_ = reinterpret_cast<SiblingScript* (*)()>(loader_.GetFunction("siblingScript"))();
    std::memset(static_cast<void*>(script_), 0, sizeof *script_);
    script_->result = 1;
  }
  Sibling(const Sibling&) = delete;
  Sibling& operator=(const Sibling&) = delete;

  SiblingScript* operator->() const { return script_; }
  const SiblingStep& Step(uint32_t index) const { return script_->steps[index]; }

  void Do(std::initializer_list<SiblingStep> steps) {
    script_->stepCount = 0;
    for (const SiblingStep& step : steps) {
      script_->steps[script_->stepCount++] = step;
    }
  }

private:
  Vx_DllLoader loader_; // holds the library, not the filter's row
  SiblingScript* script_;
};

inline SiblingStep OpenStep() {
  return {SiblingAct::kOpen, 0, 0, 0, nullptr, 0, {}};
}
inline SiblingStep SeekStep(int32_t offset, uint32_t whence) {
  return {SiblingAct::kSeek, offset, whence, 0, nullptr, 0, {}};
}
inline SiblingStep ReadStep(uint32_t bytes) {
  return {SiblingAct::kRead, 0, 0, bytes, nullptr, 0, {}};
}
inline SiblingStep WriteStep(const char* text) {
  return {SiblingAct::kWrite, 0, 0, static_cast<uint32_t>(std::strlen(text)), text, 0, {}};
}
inline SiblingStep CloseStep() {
  return {SiblingAct::kClose, 0, 0, 0, nullptr, 0, {}};
}
inline SiblingStep CallbackStep() {
  return {SiblingAct::kCallback, 0, 0, 0, nullptr, 0, {}};
}
