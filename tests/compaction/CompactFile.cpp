// A small program for the tests by other readers: compacts one file into another and prints the result code.
//   compact_file SOURCE DESTINATION [big]

#include <cstdio>
#include <cstring>
#include <string>

#include <vxtif/save.h>

namespace {

// Names of the tests are ASCII or bytes of UTF-8, which this turns into code units one by one where they are ASCII.
bool ToUtf16(const char* name, std::u16string* out) {
  for (; *name != 0; ++name) {
    if (static_cast<unsigned char>(*name) >= 0x80) {
      return false;
    }
    out->push_back(static_cast<char16_t>(*name));
  }
  return true;
}

} // namespace

int main(int argc, char** argv) {
  std::u16string source;
  std::u16string destination;
  if (argc < 3 || !ToUtf16(argv[1], &source) || !ToUtf16(argv[2], &destination)) {
    std::fprintf(stderr, "compact_file SOURCE DESTINATION [big], ASCII names\n");
    return 2;
  }
  SaveOptions options = {};
  options.structSize = sizeof options;
  options.flags = argc > 3 && std::strcmp(argv[3], "big") == 0 ? kSaveBigEndian : 0;
  FilterCompactRequest request = {source.c_str(), destination.c_str(), 0, nullptr, &options};
  std::printf("%d\n", fltCompact(&request));
  return 0;
}
