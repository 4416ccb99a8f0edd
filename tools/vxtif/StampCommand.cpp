// vxtif stamp: the small picture that a file carries beside its page.

#include "Commands.h"

#include <memory>

#include "Console.h"
#include "RecordJson.h"
#include "toolkit/ImageFiles.h"
#include "toolkit/PagePicture.h"
#include "toolkit/PlaneLoad.h"

namespace {

struct StampArguments {
  std::string file;
  std::string out;
  uint64_t maxBytes = toolkit::kDefaultMaxBytes;
  bool json = false;
};

std::string CheckOutput(std::string& text) {
  const auto kind = toolkit::KindOfName(text);
  return kind && *kind != toolkit::FileKind::kRaw ? "" : "'" + text + "' ends in none of .png, .pnm, .ppm, .pgm, .pam";
}

void Run(const StampArguments& arguments) {
  toolkit::LoadOptions options;
  options.maxBytes = arguments.maxBytes;
  const toolkit::LoadedPage page = toolkit::LoadStamp(arguments.file, options);
  toolkit::WriteImageFile(toolkit::PictureOfPage(page), arguments.out, *toolkit::KindOfName(arguments.out));
  if (arguments.json) {
    Json object = {{"file", arguments.file}, {"output", arguments.out}};
    object.update(JsonOfReport(page.report));
    PrintJson(object);
  }
}

} // namespace

void AddStampCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("stamp", "Write a file's stamp, its second page, as a picture");
  const auto arguments = std::make_shared<StampArguments>();
  command->add_option("FILE", arguments->file, "TIFF file")->required();
  command->add_option("OUT", arguments->out, ".png, .pnm or .pam")->required()->check(CLI::Validator(CheckOutput, ""));
  command->add_option("--max-bytes", arguments->maxBytes, "refuse pages that decode to more (1 GiB)")
      ->transform(CLI::AsSizeValue(false));
  command->add_flag("--json", arguments->json, "one JSON object");
  command->callback([arguments] { Run(*arguments); });
}
