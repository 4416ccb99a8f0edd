// PNM and PAM files in and out. Samples above 255 stand in two bytes, the high one first.

#include "toolkit/PnmFiles.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "toolkit/Failure.h"

#include <vxtif/results.h>

namespace toolkit {
namespace {

// Sizes beyond this are taken for damage, not for a picture.
constexpr uint32_t kLargestSide = 1u << 30;

class Scanner {
public:
  Scanner(std::FILE* stream, const std::string& file) : stream_(stream), file_(file) {}

  [[noreturn]] void Refuse(const char* why) const { throw Failure(file_, "read", kResultReadFailed, why); }

  int Next() { return std::fgetc(stream_); }
  bool AtEnd() const { return std::feof(stream_) != 0; }

  // A number behind white space and comments; the one character behind it is taken too.
  uint32_t Number() {
    int c = SkipSpace();
    if (c < '0' || c > '9') {
      Refuse("a number was expected");
    }
    uint32_t value = 0;
    for (; c >= '0' && c <= '9'; c = Next()) {
      value = value * 10 + static_cast<uint32_t>(c - '0');
      if (value > kLargestSide) {
        Refuse("a number is too large");
      }
    }
    return value;
  }

  // A digit of P1, which need not be set apart.
  uint8_t Bit() {
    const int c = SkipSpace();
    if (c != '0' && c != '1') {
      Refuse("a bit was expected");
    }
    return static_cast<uint8_t>(c - '0');
  }

  std::string Line() {
    std::string line;
    for (int c = Next(); c != EOF && c != '\n'; c = Next()) {
      line += static_cast<char>(c);
      if (line.size() > 1000) {
        Refuse("a header line is too long");
      }
    }
    return line;
  }

  void Bytes(uint8_t* to, size_t count) {
    if (std::fread(to, 1, count, stream_) != count) {
      Refuse("the file ends too early");
    }
  }

private:
  int SkipSpace() {
    int c = Next();
    while (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '#') {
      if (c == '#') {
        while (c != '\n' && c != EOF) {
          c = Next();
        }
      }
      c = Next();
    }
    return c;
  }

  std::FILE* stream_;
  const std::string& file_;
};

struct PnmHeader {
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t depth = 1;
  uint32_t maxValue = 1;
};

PnmHeader ReadPamHeader(Scanner& scanner) {
  PnmHeader header;
  for (;;) {
    const std::string line = scanner.Line();
    if (scanner.AtEnd()) {
      scanner.Refuse("the header does not end");
    }
    const size_t space = line.find_first_of(" \t");
    const std::string key = line.substr(0, space);
    if (key == "ENDHDR") {
      return header;
    }
    const std::string text = space == std::string::npos ? "" : line.substr(space + 1);
    const unsigned long value = std::strtoul(text.c_str(), nullptr, 10);
    if (value > kLargestSide) {
      scanner.Refuse("a number is too large");
    }
    const auto number = static_cast<uint32_t>(value);
    if (key == "WIDTH") {
      header.width = number;
    } else if (key == "HEIGHT") {
      header.height = number;
    } else if (key == "DEPTH") {
      header.depth = number;
    } else if (key == "MAXVAL") {
      header.maxValue = number;
    } else if (!key.empty() && key != "TUPLTYPE" && key[0] != '#') {
      scanner.Refuse("the header has an unknown line");
    }
  }
}

ImageKind KindOfDepth(uint32_t depth) {
  constexpr ImageKind kKinds[] = {ImageKind::kGray, ImageKind::kGrayAlpha, ImageKind::kRgb, ImageKind::kRgba};
  return kKinds[depth - 1];
}

uint32_t Scaled(uint32_t value, uint32_t maxValue, uint32_t fullValue) {
  return (std::min(value, maxValue) * fullValue + maxValue / 2) / maxValue;
}

// Samples of a row, from bytes as the file has them to the picture's 8 or 16 bits.
void TakeSamples(const std::vector<uint8_t>& raw, const PnmHeader& header, Image& image, uint32_t y) {
  const size_t count = size_t{image.width} * header.depth;
  uint8_t* to = image.Row(y);
  if (header.maxValue == 255) {
    std::memcpy(to, raw.data(), count);
    return;
  }
  if (header.maxValue < 256) {
    for (size_t i = 0; i < count; ++i) {
      to[i] = static_cast<uint8_t>(Scaled(raw[i], header.maxValue, 255));
    }
    return;
  }
  for (size_t i = 0; i < count; ++i) {
    const uint32_t value = uint32_t{raw[2 * i]} << 8 | raw[2 * i + 1];
    const auto sample = static_cast<uint16_t>(Scaled(value, header.maxValue, 65535));
    std::memcpy(to + 2 * i, &sample, sizeof sample);
  }
}

Image ReadBilevel(Scanner& scanner, const PnmHeader& header, bool plain) {
  Image image;
  AllocateImage(image, header.width, header.height, ImageKind::kGray, 1);
  std::vector<uint8_t> bits(header.width);
  for (uint32_t y = 0; y < header.height; ++y) {
    if (plain) {
      for (uint8_t& bit : bits) {
        bit = scanner.Bit();
      }
      PackSamples(bits.data(), image.Row(y), bits.size(), 1);
    } else {
      scanner.Bytes(image.Row(y), image.rowBytes);
    }
    // The file's 1 is black, and what stands behind a row's last pixel means nothing.
    for (size_t i = 0; i < image.rowBytes; ++i) {
      image.Row(y)[i] = static_cast<uint8_t>(~image.Row(y)[i]);
    }
    if (const uint32_t rest = header.width % 8; rest != 0) {
      image.Row(y)[image.rowBytes - 1] &= static_cast<uint8_t>(0xFF00u >> rest);
    }
  }
  return image;
}

// Grey bytes that hold no more than `bits` of information, in that many bits.
Image NarrowGray(const Image& bytes, uint32_t bits) {
  Image narrow;
  AllocateImage(narrow, bytes.width, bytes.height, ImageKind::kGray, bits);
  std::vector<uint8_t> row(bytes.width);
  for (uint32_t y = 0; y < bytes.height; ++y) {
    for (uint32_t x = 0; x < bytes.width; ++x) {
      row[x] = static_cast<uint8_t>(bytes.Row(y)[x] >> (8 - bits));
    }
    PackSamples(row.data(), narrow.Row(y), row.size(), bits);
  }
  return narrow;
}

// P4 rows of a grey picture of 1 bit.
void WriteBilevelRows(const Image& image, OutputFile& out) {
  std::vector<uint8_t> row(image.rowBytes);
  for (uint32_t y = 0; y < image.height; ++y) {
    for (size_t i = 0; i < row.size(); ++i) {
      row[i] = static_cast<uint8_t>(~image.Row(y)[i]);
    }
    if (const uint32_t rest = image.width % 8; rest != 0) {
      row.back() &= static_cast<uint8_t>(0xFF00u >> rest);
    }
    out.Write(row.data(), row.size());
  }
}

// Rows of 8 or 16 bits, keeping the first `keep` samples of every pixel.
void WriteSampleRows(const Image& image, uint32_t keep, OutputFile& out) {
  const uint32_t channels = ChannelsOf(image.kind);
  const size_t sampleBytes = image.bits / 8;
  std::vector<uint8_t> row(size_t{image.width} * keep * sampleBytes);
  for (uint32_t y = 0; y < image.height; ++y) {
    const uint8_t* from = image.Row(y);
    uint8_t* to = row.data();
    if (sampleBytes == 1 && keep == channels) {
      out.Write(from, row.size());
      continue;
    }
    for (uint32_t x = 0; x < image.width; ++x, from += channels * sampleBytes) {
      for (uint32_t c = 0; c < keep; ++c) {
        if (sampleBytes == 1) {
          *to++ = from[c];
        } else {
          uint16_t sample = 0;
          std::memcpy(&sample, from + 2 * c, sizeof sample);
          *to++ = static_cast<uint8_t>(sample >> 8);
          *to++ = static_cast<uint8_t>(sample);
        }
      }
    }
    out.Write(row.data(), row.size());
  }
}

// The picture with whole-byte samples and without palette; `scratch` holds it where it has to be made.
const Image& PlainImage(const Image& image, Image& scratch) {
  if (image.kind != ImageKind::kPalette && image.bits >= 8) {
    return image;
  }
  scratch = WidenToBytes(ExpandPalette(image));
  return scratch;
}

void WriteText(OutputFile& out, const std::string& text) {
  out.Write(text.data(), text.size());
}

std::string SizeText(const Image& image) {
  return std::to_string(image.width) + " " + std::to_string(image.height) + "\n";
}

bool IsBlackAndWhite(const Image& image) {
  return image.kind == ImageKind::kGray && image.bits == 1;
}

} // namespace

Image ReadPnm(std::FILE* stream, const std::string& file) {
  Scanner scanner(stream, file);
  if (scanner.Next() != 'P') {
    scanner.Refuse("not a PNM file");
  }
  const int kind = scanner.Next() - '0';
  if (kind < 1 || kind > 7) {
    scanner.Refuse("not a PNM file");
  }
  PnmHeader header;
  if (kind == 7) {
    scanner.Line();
    header = ReadPamHeader(scanner);
  } else {
    header.width = scanner.Number();
    header.height = scanner.Number();
    header.depth = kind == 3 || kind == 6 ? 3 : 1;
    header.maxValue = kind == 1 || kind == 4 ? 1 : scanner.Number();
  }
  if (header.width == 0 || header.height == 0 || header.depth < 1 || header.depth > 4 || header.maxValue < 1 ||
      header.maxValue > 65535) {
    scanner.Refuse("the header is not valid");
  }
  if (kind == 1 || kind == 4) {
    return ReadBilevel(scanner, header, kind == 1);
  }
  Image image;
  AllocateImage(image, header.width, header.height, KindOfDepth(header.depth), header.maxValue < 256 ? 8 : 16);
  const size_t samples = size_t{header.width} * header.depth;
  std::vector<uint8_t> raw(samples * (image.bits / 8));
  for (uint32_t y = 0; y < header.height; ++y) {
    if (kind <= 3) {
      for (size_t i = 0; i < samples; ++i) {
        const uint32_t value = scanner.Number();
        if (image.bits == 16) {
          const uint32_t cut = std::min<uint32_t>(value, 65535);
          raw[2 * i] = static_cast<uint8_t>(cut >> 8);
          raw[2 * i + 1] = static_cast<uint8_t>(cut);
        } else {
          raw[i] = static_cast<uint8_t>(std::min<uint32_t>(value, 255));
        }
      }
    } else {
      scanner.Bytes(raw.data(), raw.size());
    }
    TakeSamples(raw, header, image, y);
  }
  const uint32_t bits = header.maxValue == 1 ? 1 : header.maxValue == 3 ? 2 : header.maxValue == 15 ? 4 : 8;
  return header.depth == 1 && bits < 8 ? NarrowGray(image, bits) : image;
}

void WritePnm(const Image& image, OutputFile& out) {
  if (IsBlackAndWhite(image)) {
    WriteText(out, "P4\n" + SizeText(image));
    WriteBilevelRows(image, out);
    return;
  }
  Image scratch;
  const Image& plain = PlainImage(image, scratch);
  const uint32_t keep = ChannelsOf(plain.kind) < 3 ? 1 : 3;
  WriteText(out, (keep == 1 ? "P5\n" : "P6\n") + SizeText(plain) + (plain.bits == 16 ? "65535\n" : "255\n"));
  WriteSampleRows(plain, keep, out);
}

void WritePam(const Image& image, OutputFile& out) {
  Image scratch;
  const Image& plain = PlainImage(image, scratch);
  const bool bilevel = IsBlackAndWhite(image);
  const uint32_t channels = ChannelsOf(plain.kind);
  constexpr const char* kTypes[] = {"GRAYSCALE", "GRAYSCALE_ALPHA", "RGB", "RGB_ALPHA"};
  WriteText(out, "P7\nWIDTH " + std::to_string(plain.width) + "\nHEIGHT " + std::to_string(plain.height) + "\nDEPTH " +
                     std::to_string(channels) + "\nMAXVAL " +
                     (bilevel            ? "1"
                      : plain.bits == 16 ? "65535"
                                         : "255") +
                     "\nTUPLTYPE " + (bilevel ? "BLACKANDWHITE" : kTypes[channels - 1]) + "\nENDHDR\n");
  if (!bilevel) {
    WriteSampleRows(plain, channels, out);
    return;
  }
  Image ones = plain;
  for (uint8_t& sample : ones.pixels) {
    sample = sample != 0;
  }
  WriteSampleRows(ones, 1, out);
}

} // namespace toolkit
