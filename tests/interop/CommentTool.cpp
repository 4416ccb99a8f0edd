// Comments of files for comments_exiftool.py: each comment is a line of its number and its bytes in hexadecimal.
//
//   comment_tool get FILE                 the comments of the first page to standard output
//   comment_tool set FILE                 those of standard input into the first page, in place
//   comment_tool save FILE little|big     a new file of one grey page with those of standard input, Exif and GPS too
//   comment_tool names                    number and name of every comment
//
// Exit code 1 with the result on standard error when the library refuses.

#include <cstdio>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include <vxtif/comments.h>
#include <vxtif/results.h>
#include <vxtif/save.h>

#include "Tifutil/DirectoryWriter.h"
#include "tif_com/PageChain.h"
#include "tif_com/SaveState.h"
#include "tif_com/Tags.h"

namespace {

using Bytes = std::vector<uint8_t>;

int Refused(const char* operation, int32_t result) {
  std::fprintf(stderr, "%s: %d\n", operation, result);
  return 1;
}

// The slots of standard input, each with the spare byte that the library asks for.
struct Slots {
  std::deque<Bytes> buffers;
  TifCommentBlock block = {};

  bool Read() {
    unsigned number = 0;
    char digits[20000];
    for (int fields; (fields = std::scanf("%u %19999s", &number, digits)) == 2;) {
      const size_t length = std::strlen(digits);
      if (number >= kCommentCount || length % 2 != 0) {
        return false;
      }
      Bytes bytes;
      for (size_t i = 0; i < length; i += 2) {
        bytes.push_back(static_cast<uint8_t>(std::stoul(std::string(digits + i, 2), nullptr, 16)));
      }
      const auto size = static_cast<uint32_t>(bytes.size());
      bytes.push_back(0);
      buffers.push_back(std::move(bytes));
      block.slots[number] = {buffers.back().data(), size};
    }
    return std::feof(stdin) != 0;
  }
};

int Get(const char16_t* name) {
  for (uint32_t number = 0; number < kCommentCount; ++number) {
    FilterCommentRequest request = {name, number, nullptr, 0, nullptr};
    const int32_t size = fltComment(&request);
    if (size < 0 && size != kResultInvalidParameter) {
      return Refused("fltComment", size);
    }
    if (size <= 0) {
      continue;
    }
    Bytes bytes(static_cast<size_t>(size));
    request.buffer = bytes.data();
    request.bufferSize = static_cast<uint32_t>(size);
    const int32_t again = fltComment(&request);
    if (again < 0) {
      return Refused("fltComment", again);
    }
    std::printf("%u ", number);
    for (int32_t i = 0; i < again && i < size; ++i) { // a maker note in its own form may be of another size
      std::printf("%02x", bytes[static_cast<size_t>(i)]);
    }
    std::printf("\n");
  }
  return 0;
}

int Set(const char16_t* name) {
  Slots slots;
  if (!slots.Read()) {
    return Refused("input", 0);
  }
  FilterSetCommentRequest request = {name, 0, nullptr, &slots.block, nullptr};
  const int32_t result = fltSetComment(&request);
  return result == kResultOk ? 0 : Refused("fltSetComment", result);
}

int Save(const char16_t* name, bool bigEndian) {
  Slots slots;
  if (!slots.Read()) {
    return Refused("input", 0);
  }
  constexpr int32_t kSide = 4;
  constexpr uint32_t kPixels = kSide * kSide;
  SaveOptions options = {};
  options.structSize = kSaveOptionsSize;
  options.flags = bigEndian ? kSaveBigEndian : 0;
  BitmapHandle descriptor = {};
  krnBitmapInit(&descriptor, kBitmapHandleSize, kSide, kSide, 8);
  descriptor.xResolution = 72;
  descriptor.yResolution = 72;
  static TifPage page;
  const uint32_t byteCount = kPixels;
  DirectoryWriteJob job = {};
  job.descriptor = &descriptor;
  job.bitsPerPixel = 8;
  job.stripCount = 1;
  job.byteCounts = &byteCount;
  job.compression = kCompressionNone;
  job.comments = &slots.block;
  job.options = &options;
  job.tileWidth = kSide;
  job.rowsPerStrip = kSide;
  job.page = &page;
  TifFile file = {};
  int32_t result = TIFPrepareFileForPage(name, &file, &options, 0, kTifVersion);
  if (result != kResultOk) {
    return Refused("TIFPrepareFileForPage", result);
  }
  file.stateFlags |= kStateExifIfd;
  result = TIFWriteDirectory(&file, &job);
  const uint8_t pixels[kPixels] = {};
  const bool written = krnFileWrite(file.fileHandle, pixels, kPixels) == kPixels;
  krnFileClose(file.fileHandle);
  return result == kResultOk && written ? 0 : Refused("TIFWriteDirectory", result);
}

#define PRINT_NAME(number, name, ...) std::printf("%d %s\n", number, #name);

int Names() {
  VXTIF_MAIN_COMMENTS(PRINT_NAME)
  VXTIF_EXIF_COMMENTS(PRINT_NAME)
  VXTIF_GPS_COMMENTS(PRINT_NAME)
  VXTIF_IPTC_COMMENTS(PRINT_NAME)
  return 0;
}

} // namespace

int main(int count, char** arguments) {
  const std::string command = count > 1 ? arguments[1] : "";
  if (command == "names") {
    return Names();
  }
  if (count < 3) {
    return Refused("usage", 0);
  }
  std::u16string name;
  for (const char* at = arguments[2]; *at != 0; ++at) { // the script's names are ASCII
    name.push_back(static_cast<char16_t>(static_cast<unsigned char>(*at)));
  }
  if (command == "get") {
    return Get(name.c_str());
  }
  if (command == "set") {
    return Set(name.c_str());
  }
  if (command == "save" && count == 4) {
    return Save(name.c_str(), std::strcmp(arguments[3], "big") == 0);
  }
  return Refused("usage", 0);
}
