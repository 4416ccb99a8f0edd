// Lifting of marker segments.

#include "toolkit/JpegMarkers.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <vector>

#include "toolkit/Failure.h"

#include <vxtif/results.h>

namespace toolkit {
namespace {

enum JpegCode : int { kFill = 0xFF, kStandalone = 0x01, kFirstRestart = 0xD0, kSoi = 0xD8, kEoi = 0xD9, kSos = 0xDA };
enum : int { kApp1 = 0xE1 };

using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

[[noreturn]] void Refuse(const std::string& file, const char* why) {
  throw Failure(file, "read", kResultReadFailed, why);
}

// The next marker's code; any number of fill bytes may stand in front of it.
int NextCode(std::FILE* stream, const std::string& file) {
  if (std::fgetc(stream) != kFill) {
    Refuse(file, "no JPEG file, or one whose markers are damaged");
  }
  int code = kFill;
  while (code == kFill) {
    code = std::fgetc(stream);
  }
  if (code <= 0) {
    Refuse(file, "its markers end early");
  }
  return code;
}

// Appends a segment with its marker. Gives where its data begin.
size_t TakeSegment(std::FILE* stream, int code, const std::string& file, std::vector<uint8_t>& segments) {
  const int high = std::fgetc(stream);
  const int low = std::fgetc(stream);
  const int length = high << 8 | low;
  if (high < 0 || low < 0 || length < 2) {
    Refuse(file, "its markers end early");
  }
  segments.insert(segments.end(),
                  {kFill, static_cast<uint8_t>(code), static_cast<uint8_t>(high), static_cast<uint8_t>(low)});
  const size_t start = segments.size();
  const auto bytes = static_cast<size_t>(length - 2);
  segments.resize(start + bytes);
  if (std::fread(segments.data() + start, 1, bytes, stream) != bytes) {
    Refuse(file, "its markers end early");
  }
  return start;
}

bool IsExif(int code, const std::vector<uint8_t>& segments, size_t start) {
  constexpr std::string_view kName("Exif\0\0", 6);
  return code == kApp1 && segments.size() - start > kName.size() &&
         std::memcmp(segments.data() + start, kName.data(), kName.size()) == 0;
}

} // namespace

JpegMarkers::JpegMarkers(const std::string& file) {
  const Stream stream(std::fopen(file.c_str(), "rb"), std::fclose);
  if (stream == nullptr) {
    throw Failure(file, "read", kResultOpenFailed);
  }
  if (NextCode(stream.get(), file) != kSoi) {
    Refuse(file, "no JPEG file, or one whose markers are damaged");
  }
  constexpr size_t kMostBytes = 256 << 20; // more than any picture has
  std::vector<uint8_t> segments;
  bool exif = false;
  for (int code; (code = NextCode(stream.get(), file)) != kSos && code != kEoi;) {
    if (code == kStandalone || (code >= kFirstRestart && code <= kSoi)) {
      continue;
    }
    exif |= IsExif(code, segments, TakeSegment(stream.get(), code, file, segments));
    if (segments.size() > kMostBytes) {
      Refuse(file, "its markers don't end");
    }
  }
  if (!exif) {
    Refuse(file, "it holds no Exif segment");
  }
  TifMarkerBlock header = {kMarkerMagic, static_cast<uint32_t>(segments.size())};
  bytes_ = std::make_unique<uint8_t[]>(sizeof header + segments.size());
  std::memcpy(bytes_.get(), &header, sizeof header);
  std::ranges::copy(segments, bytes_.get() + sizeof header);
}

} // namespace toolkit
