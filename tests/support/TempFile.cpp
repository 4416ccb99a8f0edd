// Temporary files: see the header.

#include "support/TempFile.h"

#include <chrono>
#include <fstream>
#include <random>
#include <stdexcept>
#include <system_error>

namespace {

std::filesystem::path UniquePath() {
  static std::mt19937_64 random(std::random_device{}() ^
                                static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()));
  return std::filesystem::temp_directory_path() / ("vxtif-test-" + std::to_string(random()) + ".tif");
}

} // namespace

TempFile::TempFile() : path_(UniquePath()), name_(path_.u16string()) {}

TempFile::TempFile(const FileBytes& bytes) : TempFile() {
  Write(bytes);
}

TempFile::~TempFile() {
  std::error_code ignored;
  std::filesystem::remove(path_, ignored);
}

bool TempFile::Exists() const {
  return std::filesystem::exists(path_);
}

FileBytes TempFile::Read() const {
  std::ifstream stream(path_, std::ios::binary);
  return FileBytes(std::istreambuf_iterator<char>(stream), {});
}

void TempFile::Write(const FileBytes& bytes) const {
  // A file made anew: emptying an old one costs some file systems a wait for the disk.
  std::error_code ignored;
  std::filesystem::remove(path_, ignored);
  std::ofstream stream(path_, std::ios::binary | std::ios::trunc);
  stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  stream.close();
  if (!stream) {
    throw std::runtime_error("cannot write " + path_.string());
  }
}

MemoryInput::MemoryInput(FileBytes bytes) : bytes_(std::move(bytes)) {
  const auto size = static_cast<uint32_t>(bytes_.size());
  if (krnMemFileOpen(&file_, &handle_, kKrnMemFileRead, bytes_.data(), size) != 1) {
    throw std::runtime_error("cannot open bytes in memory");
  }
}

MemoryInput::~MemoryInput() {
  krnMemFileClose(file_, 0, nullptr);
}
