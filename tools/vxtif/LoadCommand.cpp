// vxtif load: pages into PNG, PNM, PAM or raw row files.

#include "Commands.h"

#include <charconv>
#include <memory>
#include <optional>

#include "Console.h"
#include "RecordJson.h"
#include "toolkit/DescribeFile.h"
#include "toolkit/Failure.h"
#include "toolkit/ImageFiles.h"
#include "toolkit/LoadPage.h"
#include "toolkit/OutputFile.h"
#include "toolkit/PagePicture.h"
#include "toolkit/ResultText.h"

#include <vxtif/vxtif.h>

namespace {

struct LoadArguments {
  std::string file;
  std::string out;
  std::string page = "1";
  std::string region;
  bool ignoreOrientation = false;
  bool forceRgb = false;
  bool alpha = false;
  uint64_t maxBytes = toolkit::kDefaultMaxBytes;
  bool json = false;
  std::string rawFormat;
  toolkit::RawSource raw;
  bool blackFirst = false;
  bool fillOrder2 = false;
  bool paddedRows = false;
  uint32_t view = 1;
};

std::optional<toolkit::Region> ParseRegion(const std::string& text) {
  int32_t numbers[4];
  const char* at = text.data();
  const char* end = at + text.size();
  for (int i = 0; i < 4; ++i) {
    const auto parsed = std::from_chars(at, end, numbers[i]);
    if (parsed.ec != std::errc() || (i < 3 && (parsed.ptr == end || *parsed.ptr != ',')) ||
        (i == 3 && parsed.ptr != end)) {
      return std::nullopt;
    }
    at = parsed.ptr + 1;
  }
  if (numbers[0] < 0 || numbers[1] < 0 || numbers[2] < 1 || numbers[3] < 1) {
    return std::nullopt;
  }
  return toolkit::Region{numbers[0], numbers[1], numbers[2], numbers[3]};
}

std::string CheckRegion(std::string& text) {
  return ParseRegion(text) ? "" : "'" + text + "' is no region (left,top,width,height in pixels)";
}

std::string CheckOutput(std::string& text) {
  return toolkit::KindOfName(text) ? "" : "'" + text + "' ends in none of .png, .pnm, .pbm, .pgm, .ppm, .pam, .raw";
}

// "page.png" and 3 give "page-3.png".
std::string NumberedName(const std::string& name, size_t number) {
  const size_t dot = name.find_last_of('.');
  return name.substr(0, dot) + "-" + std::to_string(number) + name.substr(dot);
}

void PutRawArguments(const LoadArguments& arguments, toolkit::LoadOptions& options) {
  if (arguments.rawFormat.empty()) {
    return;
  }
  constexpr uint32_t kViewBits[] = {0, kRawView1, kRawView2, kRawView3, 0, kRawView5, kRawView6, kRawView7, kRawView8};
  toolkit::RawSource raw = arguments.raw;
  raw.format = arguments.rawFormat == "rows"       ? int32_t{kFormatRawRows}
               : arguments.rawFormat == "packbits" ? int32_t{kFormatRawPackBits}
                                                   : int32_t{kFormatRawFax};
  raw.flags = kViewBits[arguments.view] | (arguments.blackFirst ? uint32_t{kRawBlackFirst} : 0u) |
              (arguments.fillOrder2 ? uint32_t{kRawFillOrder2} : 0u) |
              (arguments.paddedRows ? uint32_t{kRawRowsPadded} : 0u);
  raw.photometric = raw.bitsPerPixel > 8 && raw.bitsPerPixel % 8 == 0 ? 2 : arguments.blackFirst ? 1 : 0;
  options.raw = raw;
}

toolkit::LoadedPage WriteRaw(const LoadArguments& arguments, toolkit::LoadOptions options, const std::string& out) {
  toolkit::OutputFile file(out);
  options.rows = [&](int32_t, const uint8_t* bytes, size_t count) { file.Write(bytes, count); };
  toolkit::LoadedPage page = toolkit::LoadPage(arguments.file, options);
  file.Commit();
  return page;
}

toolkit::LoadedPage WritePicture(const LoadArguments& arguments, const toolkit::LoadOptions& options,
                                 const std::string& out) {
  toolkit::LoadedPage page = toolkit::LoadPage(arguments.file, options);
  const toolkit::Image picture =
      options.region ? toolkit::PictureOfRegion(page, *options.region) : toolkit::PictureOfPage(page);
  if (picture.width == 0 || picture.height == 0) {
    throw toolkit::Failure(arguments.file, "load", kResultInvalidParameter, "the region lies outside the page");
  }
  toolkit::WriteImageFile(picture, out, *toolkit::KindOfName(out));
  return page;
}

void LoadOne(const LoadArguments& arguments, toolkit::LoadOptions options, const std::string& out,
             size_t pageNumber = 0) {
  Progress progress(arguments.file);
  options.progress = [&](int32_t done, int32_t total) {
    progress.Show(static_cast<uint64_t>(done), static_cast<uint64_t>(total));
  };
  const bool rawRows = toolkit::KindOfName(out) == toolkit::FileKind::kRaw;
  const toolkit::LoadedPage page = rawRows ? WriteRaw(arguments, options, out) : WritePicture(arguments, options, out);
  if (page.warning != kResultOk) {
    const toolkit::ResultText& text = toolkit::DescribeResult(page.warning);
    ReportWarning(arguments.file + ": load: " + std::to_string(page.warning) + " (" + text.name +
                  "): the page's data are cut off; the rows without data are empty");
  }
  if (arguments.json) {
    Json object = {{"file", arguments.file}, {"output", out}};
    object.update(JsonOfReport(page.report));
    if (pageNumber != 0) {
      object["pageNumber"] = pageNumber;
    }
    object["truncationStatus"] = page.warning;
    PrintJson(object);
  }
}

void Run(const LoadArguments& arguments) {
  toolkit::LoadOptions options;
  const PageChoice choice = ParsePage(arguments.page);
  options.page = choice.page;
  if (!arguments.region.empty()) {
    options.region = ParseRegion(arguments.region);
  }
  options.ignoreOrientation = arguments.ignoreOrientation;
  options.forceRgb = arguments.forceRgb;
  options.alpha = arguments.alpha;
  options.maxBytes = arguments.maxBytes;
  PutRawArguments(arguments, options);
  if (!choice.all || options.raw) {
    LoadOne(arguments, options, arguments.out);
    return;
  }
  // One walk of the chain finds all pages; each is loaded by the place of its directory.
  size_t number = 0;
  for (const toolkit::PageReport& page : toolkit::DescribeAllPages(arguments.file, {}, nullptr)) {
    ++number;
    try {
      toolkit::Check(page.result, arguments.file + " page " + std::to_string(number), "info");
      options.page = 1;
      options.directoryOffset = page.report.directoryOffset;
      LoadOne(arguments, options, NumberedName(arguments.out, number), number);
    } catch (const toolkit::Failure& failure) {
      ReportFailure(failure.what());
    }
  }
}

void AddRawOptions(CLI::App* command, const std::shared_ptr<LoadArguments>& arguments) {
  const std::string group = "Data without TIFF structure";
  CLI::Option* format =
      command->add_option("--raw-format", arguments->rawFormat, "take FILE as bare rows, PackBits or fax data")
          ->check(CLI::IsMember({"rows", "packbits", "fax"}))
          ->group(group);
  const auto add = [&](CLI::Option* option) { option->needs(format)->group(group); };
  CLI::Option* width = command->add_option("--width", arguments->raw.width, "pixels")->check(CLI::PositiveNumber);
  CLI::Option* height = command->add_option("--height", arguments->raw.height, "rows")->check(CLI::PositiveNumber);
  add(width);
  add(height);
  format->needs(width)->needs(height);
  add(command->add_option("--bits", arguments->raw.bitsPerPixel, "bits of a pixel (1)")->check(CLI::Range(1, 64)));
  add(command->add_option("--offset", arguments->raw.offset, "rows: where the first one stands in the file"));
  add(command->add_option("--stream-bytes", arguments->raw.streamBytes, "PackBits: bytes of the stream (the file)"));
  add(command->add_option("--resolution", arguments->raw.resolution, "dots per inch"));
  add(command->add_option("--view", arguments->view, "orientation, 1 to 8 (1)")->check(CLI::Range(1, 8)));
  add(command->add_flag("--black-first", arguments->blackFirst, "0 is black (else white)"));
  add(command->add_flag("--fill-order-2", arguments->fillOrder2, "the bits of each byte are reversed"));
  add(command->add_flag("--padded-rows", arguments->paddedRows, "rows: padded to a multiple of 4 bytes"));
}

} // namespace

void AddLoadCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("load", "Decode pages to PNG, PNM, PAM or raw rows");
  const auto arguments = std::make_shared<LoadArguments>();
  command->add_option("FILE", arguments->file, "TIFF file")->required();
  command->add_option("OUT", arguments->out, ".png, .pnm, .pam, or .raw for the rows just as the library gives them")
      ->required()
      ->check(CLI::Validator(CheckOutput, ""));
  command->add_option("--page", arguments->page, "page, from 1, or 'all' (OUT-1, OUT-2, ...)")
      ->check(CLI::Validator(CheckPageOrAllOption, "PAGE|all"));
  command->add_option("--region", arguments->region, "part of the page as it is seen")
      ->check(CLI::Validator(CheckRegion, "LEFT,TOP,WIDTH,HEIGHT"));
  command->add_flag("--ignore-orientation", arguments->ignoreOrientation, "leave the page as it is stored");
  command->add_flag("--force-rgb", arguments->forceRgb, "take the samples as RGB, whatever the file says");
  command->add_flag("--alpha", arguments->alpha, "keep the alpha of grey and palette pages");
  command->add_option("--max-bytes", arguments->maxBytes, "refuse pages that decode to more (1 GiB)")
      ->transform(CLI::AsSizeValue(false));
  command->add_flag("--json", arguments->json, "one JSON object for each page loaded");
  AddRawOptions(command, arguments);
  command->callback([arguments] { Run(*arguments); });
}
