// Comments of files for comments_exiftool.py: each comment is a line of its number and its bytes in hexadecimal.
//
//   comment_tool get FILE [PAGE]          the comments of a page to standard output
//   comment_tool keys FILE [PAGE]         its GeoTIFF keys: number, type, count and bytes
//   comment_tool set FILE                 those of standard input into the first page, in place
//   comment_tool save FILE little|big [FORMAT [append]]
//                                         a page of 8 bits with those of standard input, and with some GeoTIFF keys for
//                                         the format that has them; without FORMAT an Exif page
//   comment_tool names                    number and name of every comment
//
// Exit code 1 with the result on standard error when the library refuses.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include <vxtif/comments.h>
#include <vxtif/vxtif.h>

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

int Get(const char16_t* name, int32_t page) {
  FileOptions options = {};
  options.pageNumber = page;
  for (uint32_t number = 0; number < kCommentCount; ++number) {
    FilterCommentRequest request = {name, number, nullptr, 0, &options};
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

int32_t PrintKey(uint32_t key, uint32_t type, uint32_t count, const void* value, intptr_t) {
  constexpr uint32_t kBytes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
  std::printf("%u %u %u ", key, type, count);
  for (uint32_t i = 0; i < count * kBytes[type % 13]; ++i) {
    std::printf("%02x", static_cast<const uint8_t*>(value)[i]);
  }
  std::printf("\n");
  return kResultOk;
}

int Keys(const char16_t* name, int32_t page) {
  FileOptions options = {};
  options.pageNumber = page;
  FilterEnumGeoKeysRequest request = {name, 0, PrintKey, 0, &options};
  const int32_t result = fltEnumGeoKeys(&request);
  return result == kResultOk ? 0 : Refused("fltEnumGeoKeys", result);
}

// The rows of a save: a pattern of 4 by 4 pixels.
constexpr int32_t kSide = 4;
BitmapHandle descriptor;
struct {
  uint8_t front[8];
  VxColor palette[kPaletteEntries];
} context;

int32_t Start(BitmapHandle*, BitmapHandle** rows, int32_t bits, uint32_t*, void**, int32_t, intptr_t, intptr_t,
              void** out) {
  krnBitmapInit(&descriptor, kBitmapHandleSize, kSide, kSide, bits);
  descriptor.order = kOrderGray;
  descriptor.xResolution = descriptor.yResolution = 72;
  *rows = &descriptor;
  *out = &context;
  return 1;
}

int32_t GetRow(BitmapHandle*, BitmapHandle*, void* row, int32_t index, int32_t, uint32_t, intptr_t, intptr_t, void*) {
  for (int32_t x = 0; x < kSide; ++x) {
    static_cast<uint8_t*>(row)[x] = static_cast<uint8_t>(16 * index + x);
  }
  return 1;
}

int32_t End(BitmapHandle*, BitmapHandle**, uint32_t*, int32_t, void**) {
  return 1;
}

int Save(const char16_t* name, bool bigEndian, int32_t format, bool append) {
  Slots slots;
  if (!slots.Read()) {
    return Refused("input", 0);
  }
  uint16_t model = 1;
  uint16_t zone = 32633;
  double scale = 0.9996;
  char citation[] = "somewhere in the north";
  TifGeoKeyItem keys[] = {{1024, kTypeShort, 1, &model, &keys[1]},
                          {1026, kTypeAscii, sizeof citation, citation, &keys[2]},
                          {3072, kTypeShort, 1, &zone, &keys[3]},
                          {3092, kTypeDouble, 1, &scale, nullptr}};
  SaveOptions options = {};
  options.structSize = kSaveOptionsSize;
  options.pageNumber = 1;
  options.flags = uint32_t{kSaveDropGrayPalette} | (bigEndian ? uint32_t{kSaveBigEndian} : 0u);
  BitmapHandle bitmap = {};
  krnBitmapInit(&bitmap, kBitmapHandleSize, kSide, kSide, 8);
  bitmap.order = kOrderGray;
  FilterSaveRequest request = {};
  request.fileName = name;
  request.bitmap = &bitmap;
  request.bitsPerPixel = 8;
  request.fileFormat = format;
  request.flags = append ? uint32_t{kSaveRequestAppend} : 0u;
  request.comments = &slots.block;
  request.fileOptions = &options;
  request.geoKeys = format == kFormatGeoTiff ? keys : nullptr;
  request.saveStart = Start;
  request.saveGetRow = GetRow;
  request.saveEnd = End;
  const int32_t result = fltSave(&request);
  return result == kResultOk ? 0 : Refused("fltSave", result);
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
  const int32_t page = count > 3 ? std::atoi(arguments[3]) : 1;
  if (command == "get") {
    return Get(name.c_str(), page);
  }
  if (command == "keys") {
    return Keys(name.c_str(), page);
  }
  if (command == "set") {
    return Set(name.c_str());
  }
  if (command == "save" && count >= 4) {
    const int32_t format = count > 4 ? std::atoi(arguments[4]) : int32_t{kFormatExif};
    return Save(name.c_str(), std::strcmp(arguments[3], "big") == 0, format, count > 5);
  }
  return Refused("usage", 0);
}
