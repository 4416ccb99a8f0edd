#include "limits/SparseFile.h"

#include <fstream>

void SparseFile::Write(const std::filesystem::path& path) const {
  {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    for (const auto& [offset, bytes] : pieces) {
      out.seekp(static_cast<std::streamoff>(offset));
      out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
  }
  std::filesystem::resize_file(path, size);
}

SparseFile WholeFile(std::string name, FileBytes bytes) {
  SparseFile file;
  file.name = std::move(name);
  file.size = bytes.size();
  file.pieces.emplace_back(0, std::move(bytes));
  return file;
}
