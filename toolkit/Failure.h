// What the host side throws: a refusal of the library or of the system, with the file and the operation that met it.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

namespace toolkit {

class Failure : public std::exception {
public:
  Failure(std::string fileName, std::string operationName, int32_t resultCode, std::string moreDetail = {})
      : file(std::move(fileName)), operation(std::move(operationName)), code(resultCode),
        detail(std::move(moreDetail)) {
    line_ = Line();
  }

  const char* what() const noexcept override { return line_.c_str(); }

  std::string file;
  std::string operation; // as the user knows it: "info", "load", "write"
  int32_t code;          // vxtif/results.h
  std::string detail;    // what the code alone does not tell; may be empty

private:
  std::string Line() const;
  std::string line_; // one line: file, operation, code, its meaning
};

// Throws unless `result` is 1.
void Check(int32_t result, const std::string& file, const char* operation);

} // namespace toolkit
