// Strip data from files and pipes.

#include "DataInput.h"

#include <algorithm>
#include <cstdio>
#include <memory>

#include "Console.h"
#include "toolkit/BitmapRows.h"
#include "toolkit/Failure.h"
#include "toolkit/FormatTables.h"
#include "toolkit/ImageFiles.h"

#include <vxtif/vxtif.h>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

namespace {

enum Photometric : uint32_t { kWhiteIsZero = 0, kBlackIsZero = 1 };

constexpr int32_t kCompressionNone = 1;
constexpr int32_t kDeepestIndex = 8;
constexpr int32_t kFirstColorDepth = 24;

bool IsFax(int32_t compression) {
  return (compression >= 2 && compression <= 4) || compression == kCompressionGroup3TwoDimensional;
}

// Depths that the library describes: one sample of up to 16 bits, three or four of 8 or 16.
bool IsDescribed(int32_t bits) {
  return bits <= 16 || bits == 24 || bits == 32 || bits == 48 || bits == 64;
}

// The colours of a picture with a palette, else its pixels in order, as many as indices have room for.
std::vector<VxColor> ReadPalette(const std::string& file) {
  const toolkit::Image image = toolkit::ReadImageFile(file);
  std::vector<VxColor> colors;
  if (image.kind == toolkit::ImageKind::kPalette) {
    for (const auto& color : image.palette) {
      colors.push_back({color[2], color[1], color[0], 0});
    }
    return colors;
  }
  if (image.kind != toolkit::ImageKind::kRgb || image.bits != 8) {
    throw toolkit::Failure(file, "read", kResultColorLayout, "neither a picture with a palette nor one of 8-bit RGB");
  }
  for (uint32_t y = 0; y < image.height; ++y) {
    const uint8_t* pixel = image.Row(y);
    for (uint32_t x = 0; x < image.width && colors.size() < kPaletteEntries; ++x, pixel += 3) {
      colors.push_back({pixel[2], pixel[1], pixel[0], 0});
    }
  }
  return colors;
}

std::vector<VxColor> GrayRamp(int32_t bits, bool whiteFirst) {
  const uint32_t entries = 1u << bits;
  std::vector<VxColor> colors(entries);
  for (uint32_t i = 0; i < entries; ++i) {
    const uint8_t gray = toolkit::RampGray(whiteFirst ? entries - 1 - i : i, entries);
    colors[i] = {gray, gray, gray, 0};
  }
  return colors;
}

// The library reads no meaning into deep samples but colours; grey of any depth but 1 has to be told. At 1 bit the
// palette tells it.
void SettleColors(toolkit::DataJob& job, const DataArguments& arguments, int32_t photometric) {
  const bool told = photometric >= 0;
  if (told) {
    job.page.photometric = static_cast<uint32_t>(photometric);
  }
  if (job.bitsPerPixel <= kDeepestIndex) {
    if (!arguments.palette.empty()) {
      job.palette = ReadPalette(arguments.palette);
      return;
    }
    const bool bilevel = job.bitsPerPixel == 1;
    job.palette = GrayRamp(job.bitsPerPixel, told ? photometric == kWhiteIsZero : bilevel);
    if (!told && !bilevel) {
      job.page.photometric = kBlackIsZero;
    }
  } else if (job.bitsPerPixel < kFirstColorDepth && !told) {
    job.page.photometric = kBlackIsZero;
  }
}

// Bytes from a stream that is closed with its owner, unless it is the standard input.
class Input {
public:
  explicit Input(const std::string& name) : name_(name), stream_(Open(name)) {
    if (stream_ == nullptr) {
      throw toolkit::Failure(name, "read", kResultOpenFailed);
    }
    // A pipe has no size.
    if (std::fseek(stream_, 0, SEEK_END) == 0) {
      total_ = static_cast<uint64_t>(std::max(std::ftell(stream_), 0l));
      std::rewind(stream_);
    }
    std::clearerr(stream_);
  }
  ~Input() {
    if (stream_ != stdin) {
      std::fclose(stream_);
    }
  }
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  uint64_t Total() const { return total_; }
  size_t Read(uint8_t* buffer, size_t room) {
    const size_t count = std::fread(buffer, 1, room, stream_);
    if (std::ferror(stream_) != 0) {
      throw toolkit::Failure(name_, "read", kResultReadFailed);
    }
    return count;
  }

private:
  static std::FILE* Open(const std::string& name) {
    if (name != "-") {
      return std::fopen(name.c_str(), "rb");
    }
#ifdef _WIN32
    _setmode(_fileno(stdin), _O_BINARY);
#endif
    return stdin;
  }

  std::string name_;
  std::FILE* stream_;
  uint64_t total_ = 0; // 0: not known
};

} // namespace

CLI::Option* AddDataOptions(CLI::App* command, DataArguments& arguments) {
  const std::string group = "Finished data";
  CLI::Option* data = command->add_flag("--data", arguments.data,
                                        "IN (- for the standard input) is the finished data of one strip, the whole "
                                        "page, and goes into the file byte for byte");
  data->group(group);
  command
      ->add_option("--compression", arguments.compression,
                   "what the data are compressed with: none, ccitt, g3, g3-2d, g4, lzw, jpeg, deflate, packbits, ... "
                   "as vxtif formats lists, or a number (none)")
      ->check(CLI::Validator(
          [](std::string& text) {
            return toolkit::FindCompression(text)
                       ? std::string()
                       : "'" + text + "' is no compression (vxtif formats lists their names and numbers)";
          },
          "NAME|N"))
      ->needs(data)
      ->group(group);
  command->add_option("--width", arguments.width, "pixels of a row")
      ->check(CLI::PositiveNumber)
      ->needs(data)
      ->group(group);
  command->add_option("--height", arguments.height, "rows")->check(CLI::PositiveNumber)->needs(data)->group(group);
  command
      ->add_option("--palette", arguments.palette,
                   "colours of data of up to 8 bits: a picture with a palette, or one whose pixels are the colours "
                   "(grey)")
      ->type_name("FILE")
      ->needs(data)
      ->group(group);
  return data;
}

toolkit::DataJob DescribeData(const DataArguments& arguments, int32_t bits, int32_t photometric,
                              const toolkit::PageOptions& page) {
  toolkit::DataJob job;
  job.page = page;
  job.compression = *toolkit::FindCompression(arguments.compression);
  job.width = arguments.width;
  job.height = arguments.height;
  job.bitsPerPixel = bits != 0 ? bits : IsFax(job.compression) ? 1 : 0;
  if (job.width == 0 || job.height == 0 || job.bitsPerPixel == 0) {
    throw CLI::RequiredError("--data: --width and --height, and --bits but for fax data");
  }
  if (!IsDescribed(job.bitsPerPixel)) {
    throw CLI::ValidationError("--bits: data have 1 to 16, 24, 32, 48 or 64 bits a pixel");
  }
  if (!arguments.palette.empty() && job.bitsPerPixel > kDeepestIndex) {
    throw CLI::ValidationError("--palette: only data of up to 8 bits have one");
  }
  SettleColors(job, arguments, photometric);
  return job;
}

void SaveDataFrom(const std::string& in, const std::string& out, const toolkit::DataJob& job) {
  Input input(in);
  Progress progress(out);
  uint64_t done = 0;
  const uint64_t written = toolkit::SaveData(out, in, job, [&](uint8_t* buffer, size_t room) {
    progress.Show(done, input.Total());
    const size_t count = input.Read(buffer, room);
    done += count;
    return count;
  });
  const uint64_t rowBytes = (uint64_t{job.width} * static_cast<uint64_t>(job.bitsPerPixel) + 7) / 8;
  if (job.compression == kCompressionNone && written != rowBytes * job.height) {
    ReportWarning(out + ": " + std::to_string(written) + " bytes of data for a page of " +
                  std::to_string(rowBytes * job.height));
  }
}
