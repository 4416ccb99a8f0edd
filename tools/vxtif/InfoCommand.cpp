// vxtif info: the file report of one page or of all pages.

#include "Commands.h"

#include <iostream>
#include <memory>

#include "Console.h"
#include "RecordJson.h"
#include "toolkit/DescribeFile.h"
#include "toolkit/Failure.h"
#include "toolkit/FormatTables.h"
#include "toolkit/KernelFile.h"
#include "toolkit/PageContents.h"
#include "toolkit/ResultText.h"
#include "toolkit/Utf16.h"

#include <vxkernel/bitmap.h>

namespace {

struct InfoArguments {
  std::vector<std::string> files;
  std::string page = "1";
  bool alpha = false;
  bool ignoreOrientation = false;
  bool json = false;
};

std::string FlagWords(uint32_t flags) {
  std::string words;
  const auto add = [&](uint32_t bit, const char* word) {
    if ((flags & bit) != 0) {
      words += (words.empty() ? "" : ", ") + std::string(word);
    }
  };
  add(kInfoFax, "fax");
  add(kInfoGrayNoMap, "grey without a colour map");
  add(kInfoSigned, "signed samples");
  add(kInfoExtraSamples, "extra samples");
  return words;
}

std::string CarriedWords(const toolkit::PageContents& contents) {
  std::string words;
  const auto add = [&](const std::optional<uint32_t>& amount, const char* before, const char* unit,
                       const char* after = "") {
    if (amount) {
      words.append(words.empty() ? "" : ", ").append(before).append(std::to_string(*amount));
      words.append(unit).append(*amount == 1 ? "" : "s").append(after);
    }
  };
  add(contents.texts != 0 ? std::optional(contents.texts) : std::nullopt, "", " text");
  add(contents.exif, "Exif (", " value", ")");
  add(contents.makerNote, "a maker note (", " byte", ")");
  add(contents.gps, "GPS (", " value", ")");
  add(contents.iptc, "IPTC (", " data set", ")");
  add(contents.xmp, "XMP (", " byte", ")");
  add(contents.photoshop, "Photoshop (", " byte", ")");
  add(contents.icc, "an ICC profile (", " byte", ")");
  add(contents.geoKeys, "", " GeoTIFF key");
  add(contents.subDirectories != 0 ? std::optional(contents.subDirectories) : std::nullopt, "", " sub-picture");
  return contents.stamp ? words + ", a stamp" : words;
}

void PrintReport(const std::string& file, const FileInfoRecord& report, const toolkit::PageContents& contents) {
  constexpr const char* kOrders[] = {"red first", "blue first", "grey"};
  constexpr const char* kSpaces[] = {"", "YCbCr", "CMYK", "CIELab"};
  const Json record = JsonOfReport(report);
  const std::string name = record["compressionName"];
  const uint32_t order = report.order;
  const uint32_t space = report.colorSpace;
  std::cout << file << ": page " << uint32_t{report.pageNumber} << " of " << uint32_t{report.totalPages} << "\n"
            << "  format      " << int32_t{report.fileFormat} << ", " << toolkit::FormatDescription(report.fileFormat)
            << (name.empty() ? "" : " (" + name + ")") << "\n"
            << "  size        " << int32_t{report.width} << " x " << int32_t{report.height} << " pixels, "
            << int32_t{report.bitsPerPixel} << " bits, " << uint32_t{report.memorySize} << " bytes decoded\n"
            << "  colours     " << (order < 3 ? kOrders[order] : "unknown order")
            << (space > 0 && space < 4 ? std::string(", ") + kSpaces[space] : "") << "\n"
            << "  resolution  " << int32_t{report.xResolution} << " x " << int32_t{report.yResolution}
            << " dots per inch\n"
            << "  orientation " << uint32_t{report.viewPerspective} << "\n"
            << "  directory   at " << uint32_t{report.directoryOffset} << "\n";
  if (const std::string words = FlagWords(report.flags); !words.empty()) {
    std::cout << "  remarks     " << words << "\n";
  }
  if (const std::string words = CarriedWords(contents); !words.empty()) {
    std::cout << "  carries     " << words << "\n";
  }
}

Json JsonOfPage(const FileInfoRecord& report, const toolkit::PageContents& contents) {
  Json object = JsonOfReport(report);
  object["contents"] = JsonOfContents(contents);
  return object;
}

void DescribeAll(const std::string& file, const InfoArguments& arguments, const toolkit::ReportOptions& options) {
  Progress progress(file + ": pages");
  const auto pages = toolkit::DescribeAllPages(file, options, [&](size_t found) { progress.Show(found, 0); });
  const toolkit::KernelFile opened(file, "info");
  Json object = {{"file", file}, {"totalPages", pages.size()}, {"pages", Json::array()}};
  for (const toolkit::PageReport& page : pages) {
    if (page.result != kResultOk) {
      ReportFailure(
          toolkit::Failure(file + " page " + std::to_string(page.report.pageNumber), "info", page.result).what());
      object["pages"].push_back({{"pageNumber", uint32_t{page.report.pageNumber}},
                                 {"directoryOffset", uint32_t{page.report.directoryOffset}},
                                 {"result", page.result}});
      continue;
    }
    const toolkit::PageContents contents = toolkit::ReadPageContents(opened.Handle(), page.report.directoryOffset);
    if (arguments.json) {
      object["pages"].push_back(JsonOfPage(page.report, contents));
    } else {
      PrintReport(file, page.report, contents);
    }
  }
  if (arguments.json) {
    PrintJson(object);
  }
}

void Describe(const std::string& file, const InfoArguments& arguments) {
  const PageChoice choice = ParsePage(arguments.page);
  toolkit::ReportOptions options;
  options.page = choice.page;
  options.withAlpha = arguments.alpha;
  options.readFlags = arguments.ignoreOrientation ? uint32_t{kReadIgnoreOrientation} : 0u;
  if (choice.all) {
    DescribeAll(file, arguments, options);
    return;
  }
  options.countPages = true;
  const FileInfoRecord report = toolkit::DescribePage(file, options);
  const toolkit::KernelFile opened(file, "info");
  const toolkit::PageContents contents = toolkit::ReadPageContents(opened.Handle(), report.directoryOffset);
  if (arguments.json) {
    Json object = {{"file", file}};
    object.update(JsonOfPage(report, contents));
    PrintJson(object);
  } else {
    PrintReport(file, report, contents);
  }
}

void Run(const InfoArguments& arguments) {
  for (const std::string& file : arguments.files) {
    try {
      Describe(file, arguments);
    } catch (const toolkit::Failure& failure) {
      ReportFailure(failure.what());
    }
  }
}

} // namespace

void AddInfoCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("info", "Describe files without decoding them");
  const auto arguments = std::make_shared<InfoArguments>();
  command->add_option("FILE", arguments->files, "TIFF files")->required();
  command->add_option("--page", arguments->page, "page, from 1, or 'all' (a page past the end shows the last one)")
      ->check(CLI::Validator(CheckPageOrAllOption, "PAGE|all"));
  command->add_flag("--alpha", arguments->alpha, "count 8-bit pages with extra samples as 32 bits");
  command->add_flag("--ignore-orientation", arguments->ignoreOrientation, "report the orientation as 1");
  command->add_flag("--json", arguments->json, "one JSON object for each file");
  command->callback([arguments] { Run(*arguments); });
}
