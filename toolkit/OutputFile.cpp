// Files in the making.

#include "toolkit/OutputFile.h"

#include <filesystem>
#include <random>
#include <system_error>

#include "toolkit/Failure.h"

#include <vxtif/results.h>

namespace toolkit {
namespace {

namespace fs = std::filesystem;

// A name of UTF-8 on every system.
fs::path PathOf(const std::string& name) {
  return fs::path(std::u8string(name.begin(), name.end()));
}

std::FILE* OpenForWriting(const std::string& name) {
#ifdef _WIN32
  return _wfopen(PathOf(name).c_str(), L"wb");
#else
  return std::fopen(name.c_str(), "wb");
#endif
}

std::string NameBeside(const std::string& file) {
  std::random_device random;
  std::string name = file + ".part-";
  for (int i = 0; i < 8; ++i) {
    name += "0123456789abcdef"[random() & 15u];
  }
  return name;
}

} // namespace

PendingFile::PendingFile(std::string file) : file_(std::move(file)) {
  std::error_code error;
  const fs::file_status status = fs::status(PathOf(file_), error);
  const bool special = fs::exists(status) && !fs::is_regular_file(status);
  path_ = special ? file_ : NameBeside(file_);
  pending_ = !special;
}

PendingFile::~PendingFile() {
  if (pending_) {
    std::error_code error;
    fs::remove(PathOf(path_), error);
  }
}

void PendingFile::Commit() {
  if (!pending_) {
    return;
  }
  std::error_code error;
  fs::rename(PathOf(path_), PathOf(file_), error);
  if (error) {
    throw Failure(file_, "write", kResultCreateFailed, error.message());
  }
  pending_ = false;
}

OutputFile::OutputFile(const std::string& file)
    : file_(file), pending_(file), stream_(OpenForWriting(pending_.Path())) {
  if (stream_ == nullptr) {
    throw Failure(file_, "write", kResultCreateFailed);
  }
}

OutputFile::~OutputFile() {
  if (stream_ != nullptr) {
    std::fclose(stream_);
  }
}

void OutputFile::Write(const void* bytes, size_t count) {
  if (std::fwrite(bytes, 1, count, stream_) != count) {
    throw Failure(file_, "write", kResultWriteFailed);
  }
}

void OutputFile::Commit() {
  std::FILE* stream = stream_;
  stream_ = nullptr;
  const bool whole = std::ferror(stream) == 0;
  if (std::fclose(stream) != 0 || !whole) {
    throw Failure(file_, "write", kResultWriteFailed);
  }
  pending_.Commit();
}

} // namespace toolkit
