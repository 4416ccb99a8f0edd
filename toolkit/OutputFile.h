// A new file that is never left half-written: it grows beside its name and takes it when it is whole.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

namespace toolkit {

// A name beside `file` for a file in the making. Removed by the owner unless Commit has moved it to its place.
class PendingFile {
public:
  explicit PendingFile(std::string file);
  ~PendingFile();
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;

  // Where to write: beside the file, or the file itself when that is no regular file (a device).
  const std::string& Path() const { return path_; }

  // Throws Failure when the file cannot be renamed.
  void Commit();

private:
  std::string file_;
  std::string path_;
  bool pending_ = true;
};

class OutputFile {
public:
  // Throws Failure (kResultCreateFailed).
  explicit OutputFile(const std::string& file);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Throws Failure (kResultWriteFailed).
  void Write(const void* bytes, size_t count);
  std::FILE* Stream() { return stream_; }

  // Closes the file and gives it its name. Without it the file disappears.
  void Commit();

private:
  std::string file_;
  PendingFile pending_;
  std::FILE* stream_;
};

} // namespace toolkit
