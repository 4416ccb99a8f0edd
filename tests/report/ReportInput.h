// One call of fltInfo on bytes in memory.
#pragma once

#include <cstring>
#include <string>

#include <vxtif/vxtif.h>

#include "support/TempFile.h"

class ReportCall {
public:
  explicit ReportCall(const FileBytes& bytes) : input_(bytes) {
    memset(&info, 0xEE, sizeof info); // what a path does not tell must stay
    info.structSize = sizeof info;
    info.flags = 0;
    memset(info.fileLayer, 0, sizeof info.fileLayer);
    options.pageNumber = 1;
    control.structSize = sizeof control;
  }

  int32_t Run() {
    FilterInfoRequest request{};
    request.structSize = sizeof request;
    request.fileHandle = input_.Handle();
    request.fileInfo = &info;
    request.infoControl = withControl ? &control : nullptr;
    request.fileOptions = &options;
    return fltInfo(&request);
  }

  std::u16string Text() const {
    char16_t text[kCompressionNameLength + 1] = {};
    memcpy(text, reinterpret_cast<const char*>(&info) + offsetof(FileInfoRecord, compressionName),
           sizeof info.compressionName);
    return text;
  }
  bool TextLeftAlone() const { return info.compressionName[0] == 0xEEEE; }

  FileInfoRecord info;
  FileOptions options{};
  FilterInfoControl control{};
  bool withControl = false;

private:
  MemoryInput input_;
};

constexpr int32_t kLeftAlone = static_cast<int32_t>(0xEEEEEEEE);
