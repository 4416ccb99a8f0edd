// Which kind of file it is, and who reads and writes it.

#include "toolkit/ImageFiles.h"

#include <cctype>
#include <cstdio>
#include <memory>

#include "toolkit/Failure.h"
#include "toolkit/OutputFile.h"
#include "toolkit/PnmFiles.h"
#ifdef VXTOOLKIT_WITH_PNG
#include "toolkit/PngFiles.h"
#endif

#include <vxtif/results.h>

namespace toolkit {

std::optional<FileKind> KindOfName(const std::string& name) {
  const size_t dot = name.find_last_of("./\\");
  if (dot == std::string::npos || name[dot] != '.') {
    return std::nullopt;
  }
  std::string ending;
  for (const char c : name.substr(dot + 1)) {
    ending += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  if (ending == "png") {
    return FileKind::kPng;
  }
  if (ending == "pnm" || ending == "pbm" || ending == "pgm" || ending == "ppm") {
    return FileKind::kPnm;
  }
  if (ending == "pam") {
    return FileKind::kPam;
  }
  if (ending == "raw") {
    return FileKind::kRaw;
  }
  return std::nullopt;
}

Image ReadImageFile(const std::string& file) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(file.c_str(), "rb"), std::fclose);
  if (stream == nullptr) {
    throw Failure(file, "read", kResultOpenFailed);
  }
  const int first = std::fgetc(stream.get());
  std::rewind(stream.get());
  if (first == 'P') {
    return ReadPnm(stream.get(), file);
  }
#ifdef VXTOOLKIT_WITH_PNG
  constexpr int kPngFirstByte = 0x89;
  if (first == kPngFirstByte) {
    return ReadPng(stream.get(), file);
  }
#endif
  throw Failure(file, "read", kResultReadFailed, "neither a PNG nor a PNM or PAM file");
}

void WriteImageFile(const Image& image, const std::string& file, FileKind kind) {
  OutputFile out(file);
  switch (kind) {
  case FileKind::kPnm:
    WritePnm(image, out);
    break;
  case FileKind::kPam:
    WritePam(image, out);
    break;
#ifdef VXTOOLKIT_WITH_PNG
  case FileKind::kPng:
    WritePng(image, out.Stream(), file);
    break;
#endif
  default:
    throw Failure(file, "write", kResultFormatNotSaved, "this build does not write such files");
  }
  out.Commit();
}

} // namespace toolkit
