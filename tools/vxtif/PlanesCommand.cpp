// vxtif planes: a CMYK page to and from one grey file an ink.

#include "Commands.h"

#include <iostream>
#include <memory>

#include "Console.h"
#include "WriteArguments.h"
#include "toolkit/BitmapFromImage.h"
#include "toolkit/Failure.h"
#include "toolkit/FormatTables.h"
#include "toolkit/ImageFiles.h"
#include "toolkit/PlaneLoad.h"

#include <vxtif/formats.h>
#include <vxtif/results.h>

namespace {

struct PlanesArguments {
  std::string file;
  std::string out;
  int32_t page = 1;
  uint64_t maxBytes = toolkit::kDefaultMaxBytes;
  bool json = false;
  std::vector<std::string> inks;
  std::string format = "lzw-cmyk";
  bool planar = false;
  int32_t resolution = 0;
  std::vector<std::string> tags;
  std::vector<std::string> comments;
  PlacementArguments placement;
  StorageArguments storage;
};

std::string CheckOutput(std::string& text) {
  const auto kind = toolkit::KindOfName(text);
  return kind && *kind != toolkit::FileKind::kRaw ? "" : "'" + text + "' ends in none of .png, .pnm, .pgm, .pam";
}

// "page.png" gives "page-C.png" for the first ink.
std::string InkName(const std::string& name, size_t ink) {
  constexpr const char* kInks[] = {"C", "M", "Y", "K"};
  const size_t dot = name.find_last_of('.');
  return name.substr(0, dot) + "-" + (ink < 4 ? kInks[ink] : std::to_string(ink + 1).c_str()) + name.substr(dot);
}

void Load(const PlanesArguments& arguments) {
  toolkit::LoadOptions options;
  options.page = arguments.page;
  options.maxBytes = arguments.maxBytes;
  const std::vector<toolkit::Bitmap> planes = toolkit::LoadPlanes(arguments.file, options);
  Json object = {{"file", arguments.file}, {"pageNumber", arguments.page}, {"planes", Json::array()}};
  for (size_t ink = 0; ink < planes.size(); ++ink) {
    const std::string out = InkName(arguments.out, ink);
    toolkit::WriteImageFile(toolkit::PictureOfPlane(planes[ink]), out, *toolkit::KindOfName(out));
    object["planes"].push_back({{"output", out},
                                {"width", int32_t{planes[ink]->width}},
                                {"height", int32_t{planes[ink]->height}},
                                {"bitsPerPixel", int32_t{planes[ink]->bitsPerPixel}}});
  }
  if (arguments.json) {
    PrintJson(object);
  }
}

// Grey of 8 or 16 bits; palettes of grey are taken by their colours.
toolkit::Bitmap ReadPlane(const std::string& file) {
  const toolkit::Image image = toolkit::WidenToBytes(toolkit::ExpandPalette(toolkit::ReadImageFile(file)));
  if (image.kind != toolkit::ImageKind::kGray) {
    throw toolkit::Failure(file, "read", kResultColorLayout, "a plane is a grey picture without alpha");
  }
  return toolkit::BitmapFromImage(image, file);
}

constexpr size_t kDeepestPredicted = 64; // bits of a pixel

void Save(const PlanesArguments& arguments) {
  toolkit::SaveJob job;
  job.page = PageOptionsOf(arguments.placement);
  PutStorage(arguments.storage, job.page);
  job.page.flags2 |= arguments.planar ? uint32_t{kSavePlanar} : 0u;
  job.tags = ParseTagSettings(arguments.tags);
  job.comments = ParseCommentSettings(arguments.comments);
  job.format = toolkit::FindFormat(arguments.format)->number;
  std::vector<toolkit::Bitmap> planes;
  for (const std::string& ink : arguments.inks) {
    planes.push_back(ReadPlane(ink));
    SetResolution(planes.back(), arguments.resolution);
    const toolkit::Bitmap& first = planes.front();
    const toolkit::Bitmap& plane = planes.back();
    if (plane->width != first->width || plane->height != first->height || plane->bitsPerPixel != first->bitsPerPixel) {
      throw toolkit::Failure(ink, "planes save", kResultBitmapMismatch, "all planes have the same size and depth");
    }
  }
  job.bitsPerPixel = planes.front()->bitsPerPixel;
  const bool tooDeep = !arguments.planar && planes.size() * job.bitsPerPixel > kDeepestPredicted;
  if (tooDeep && job.format == kFormatLzwCmyk && (job.page.flags & kSavePredictor) != 0) {
    // The library would write the tag and leave the samples as they are.
    ReportWarning(arguments.out + ": without the predictor, which cannot take five interleaved inks of 16 bits");
    job.page.flags &= ~uint32_t{kSavePredictor};
  }
  Progress progress(arguments.out);
  job.progress = [&](int32_t row, int32_t rows) {
    progress.Show(static_cast<uint64_t>(row), static_cast<uint64_t>(rows));
  };
  toolkit::SavePlanes(arguments.out, planes, job);
}

} // namespace

void AddPlanesCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("planes", "A CMYK page to and from one grey file an ink");
  command->require_subcommand(1);
  const auto arguments = std::make_shared<PlanesArguments>();

  CLI::App* load = command->add_subcommand("load", "Write OUT-C, OUT-M, OUT-Y, OUT-K, and further inks by number");
  load->add_option("FILE", arguments->file, "TIFF file")->required();
  load->add_option("OUT", arguments->out, ".png, .pnm, .pgm or .pam")
      ->required()
      ->check(CLI::Validator(CheckOutput, ""));
  load->add_option("--page", arguments->page, "page, from 1")->check(CLI::PositiveNumber)->type_name("N");
  load->add_option("--max-bytes", arguments->maxBytes, "refuse pages that decode to more (1 GiB)")
      ->transform(CLI::AsSizeValue(false));
  load->add_flag("--json", arguments->json, "one JSON object");
  load->callback([arguments] { Load(*arguments); });

  CLI::App* save = command->add_subcommand("save", "Save grey files as the inks of one page");
  save->add_option("INKS", arguments->inks, "grey PNG, PNM or PAM files: cyan, magenta, yellow, black, and one more")
      ->required()
      ->expected(4, 5);
  save->add_option("--out,-o", arguments->out, "TIFF file")->required();
  save->add_option("--format", arguments->format, "cmyk, lzw-cmyk or packbits-cmyk (lzw-cmyk)")
      ->check(CLI::IsMember({"cmyk", "lzw-cmyk", "packbits-cmyk", "85", "86", "88"}));
  save->add_flag("--planar", arguments->planar, "separate planes in the file");
  AddStorageOptions(save, arguments->storage);
  save->add_option("--resolution", arguments->resolution, "dots per inch (the first file's own, or 96)")
      ->check(CLI::PositiveNumber);
  save->add_option("--tag", arguments->tags, "a further tag")->type_name("T=TYPE:V")->allow_extra_args(false);
  save->add_option("--comment", arguments->comments, "a comment")->type_name("C=V")->allow_extra_args(false);
  AddPlacementOptions(save, arguments->placement);
  save->callback([arguments] { Save(*arguments); });
}
