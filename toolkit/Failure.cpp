// The one line that tells a failure.

#include "toolkit/Failure.h"

#include "toolkit/ResultText.h"

#include <vxtif/results.h>

namespace toolkit {

std::string Failure::Line() const {
  const ResultText& text = DescribeResult(code);
  std::string line = file + ": " + operation + ": " + std::to_string(code) + " (" + text.name + "): " + text.meaning;
  if (!detail.empty()) {
    line += ": " + detail;
  }
  return line;
}

void Check(int32_t result, const std::string& file, const char* operation) {
  if (result != kResultOk) {
    throw Failure(file, operation, result);
  }
}

} // namespace toolkit
