// vxtif save: a page from a PNG, PNM or PAM file, or from finished strip data.

#include "Commands.h"

#include <algorithm>
#include <memory>
#include <optional>

#include "Console.h"
#include "DataInput.h"
#include "WriteArguments.h"
#include "toolkit/BitmapFromImage.h"
#include "toolkit/CommentTable.h"
#include "toolkit/Failure.h"
#include "toolkit/FormatTables.h"
#include "toolkit/ImageFiles.h"
#include "toolkit/JpegMarkers.h"
#include "toolkit/SavePage.h"

#include <vxtif/formats.h>

namespace {

struct SaveArguments {
  std::string in;
  std::string out;
  std::string format = "lzw";
  int32_t bits = 0;
  bool gray = false;
  int32_t resolution = 0;
  int32_t orientation = 0;
  std::string stamp;
  bool stampYCbCr = false;
  std::string storedSize;
  std::vector<std::string> tags;
  std::vector<std::string> comments;
  std::vector<std::string> geoKeys;
  std::string exif;
  PlacementArguments placement;
  StorageArguments storage;
  DataArguments data;
};

std::string CheckFormat(std::string& text) {
  return toolkit::FindFormat(text) != nullptr
             ? ""
             : "'" + text + "' is no format (vxtif formats lists their names and numbers)";
}

toolkit::Bitmap ReadBitmap(const std::string& file, const SaveArguments& arguments) {
  toolkit::Bitmap bitmap = toolkit::BitmapFromImage(toolkit::ReadImageFile(file), file);
  SetResolution(bitmap, arguments.resolution);
  if (arguments.orientation != 0) {
    bitmap->viewPerspective = static_cast<uint32_t>(arguments.orientation);
  }
  return bitmap;
}

// The depth that the user asks for, that the format needs, or that the picture has. The GeoTIFF format takes grey of
// 16 bits as one sample; so does 12-bit data, which has no colours.
int32_t DepthOf(const SaveArguments& arguments, const toolkit::FormatRow& format, const toolkit::Bitmap& bitmap) {
  if (arguments.bits != 0) {
    return arguments.bits;
  }
  return format.defaultBits != 0 ? format.defaultBits : toolkit::NaturalDepth(*bitmap.Handle());
}

// Without its directory the page keeps of Exif what stands in its own: the library says nothing of the rest.
void WarnWithoutExifDirectory(const SaveArguments& arguments, const toolkit::SaveJob& job) {
  if (job.format == kFormatExif || job.format == kFormatExifYCbCr) {
    return;
  }
  const bool left = std::ranges::any_of(job.comments, [](const toolkit::NumberedValue& comment) {
    const toolkit::CommentHome home = toolkit::FindComment(uint32_t{comment.number})->home;
    return home == toolkit::CommentHome::kExif || home == toolkit::CommentHome::kGps;
  });
  if (left || job.markers != nullptr) {
    ReportWarning(arguments.out + ": save: Exif and GPS directories go into the formats exif and exif-ycbcr alone");
  }
}

void RunData(const SaveArguments& arguments) {
  toolkit::PageOptions page = PageOptionsOf(arguments.placement);
  PutStorage(arguments.storage, page);
  toolkit::DataJob job = DescribeData(arguments.data, arguments.bits, arguments.storage.photometric, page);
  job.resolution = arguments.resolution != 0 ? arguments.resolution : kDefaultResolution;
  job.tags = ParseTagSettings(arguments.tags);
  job.comments = ParseCommentSettings(arguments.comments);
  SaveDataFrom(arguments.in, arguments.out, job);
}

void Run(const SaveArguments& arguments) {
  if (arguments.data.data) {
    RunData(arguments);
    return;
  }
  const toolkit::FormatRow& format = *toolkit::FindFormat(arguments.format);
  toolkit::SaveJob job;
  job.page = PageOptionsOf(arguments.placement);
  PutStorage(arguments.storage, job.page);
  // A grey picture is stored without a colour map; other palettes are not touched by this.
  job.page.flags |= kSaveDropGrayPalette;
  job.page.flags |= arguments.stampYCbCr ? uint32_t{kSaveStampYCbCr} : 0u;
  job.tags = ParseTagSettings(arguments.tags);
  job.comments = ParseCommentSettings(arguments.comments);
  job.geoKeys = ParseGeoSettings(arguments.geoKeys);
  job.format = format.number;
  if (!arguments.storedSize.empty()) {
    TifSizePair size = {sizeof(TifSizePair), 0, 0};
    uint32_t width = 0;
    uint32_t height = 0;
    ParseSize(arguments.storedSize, width, height);
    size.first = width;
    size.second = height;
    job.storedSize = size;
  }
  std::optional<toolkit::JpegMarkers> markers;
  if (!arguments.exif.empty()) {
    markers.emplace(arguments.exif);
    job.markers = markers->Block();
  }
  toolkit::Bitmap bitmap = ReadBitmap(arguments.in, arguments);
  job.bitsPerPixel = DepthOf(arguments, format, bitmap);
  job.gray = arguments.gray || job.bitsPerPixel == 12;
  toolkit::Bitmap stamp;
  if (!arguments.stamp.empty()) {
    stamp = ReadBitmap(arguments.stamp, arguments);
    job.stamp = &stamp;
  }
  Progress progress(arguments.out);
  job.progress = [&](int32_t row, int32_t rows) {
    progress.Show(static_cast<uint64_t>(row), static_cast<uint64_t>(rows));
  };
  toolkit::SavePage(arguments.out, bitmap, job);
  WarnWithoutExifDirectory(arguments, job);
}

} // namespace

void AddSaveCommand(CLI::App& app) {
  CLI::App* command =
      app.add_subcommand("save", "Save a PNG, PNM or PAM file, or finished strip data (--data), as a page");
  const auto arguments = std::make_shared<SaveArguments>();
  command->add_option("IN", arguments->in, "PNG, PNM or PAM file; with --data the data, - for a pipe")->required();
  command->add_option("OUT", arguments->out, "TIFF file")->required();
  command->add_option("--format", arguments->format, "name or number, see vxtif formats (lzw)")
      ->check(CLI::Validator(CheckFormat, "NAME|N"));
  command->add_option("--bits", arguments->bits, "bits of a pixel: 1 to 8, 12, 16, 24, 32, 48, 64 (the picture's own)")
      ->check(CLI::Range(1, 64));
  command->add_flag("--gray", arguments->gray, "save as grey");
  AddStorageOptions(command, arguments->storage);
  command->add_option("--resolution", arguments->resolution, "dots per inch (the picture's own, or 96)")
      ->check(CLI::PositiveNumber);
  command->add_option("--orientation", arguments->orientation, "orientation that the rows of IN stand for, 1 to 8")
      ->check(CLI::Range(1, 8));
  command->add_option("--stamp", arguments->stamp, "second, small picture for the formats exif and exif-ycbcr")
      ->type_name("IN2");
  command->add_flag("--stamp-ycbcr", arguments->stampYCbCr, "store the stamp as YCbCr");
  command->add_option("--stored-size", arguments->storedSize, "size in the file, for the format stored-size")
      ->check(CLI::Validator(
          [](std::string& text) {
            uint32_t width = 0;
            uint32_t height = 0;
            return ParseSize(text, width, height) ? std::string() : "'" + text + "' is no size (WIDTHxHEIGHT)";
          },
          "WxH"));
  command->add_option("--tag", arguments->tags, "a further tag, by number or name, as Software=ASCII:text")
      ->type_name("T=TYPE:V")
      ->allow_extra_args(false);
  command
      ->add_option(
          "--comment", arguments->comments,
          "a comment, by number or name, as Artist=text (vxtif comment set --help tells how values are written)")
      ->type_name("C=V")
      ->allow_extra_args(false);
  command->add_option("--exif", arguments->exif, "take over the Exif of a JPEG file (for the formats exif, exif-ycbcr)")
      ->type_name("FROM.jpg");
  command->add_option("--geo", arguments->geoKeys, "a GeoTIFF key for the format geotiff, by number or name")
      ->type_name("K=[TYPE:]V")
      ->allow_extra_args(false);
  AddPlacementOptions(command, arguments->placement);
  CLI::Option* data = AddDataOptions(command, arguments->data);
  for (const char* name : {"--format", "--gray", "--tiles", "--predictor", "--orientation", "--stamp", "--stored-size",
                           "--geo", "--exif"}) {
    command->get_option(name)->excludes(data);
  }
  command->footer(
      "Examples:\n"
      "  vxtif save page.png out.tif --format g4\n"
      "  vxtif save strip.g4 out.tif --data --compression g4 --width 1728 --height 2200\n"
      "  cat strip.jpg | vxtif save - out.tif --data --compression jpeg --width 640 --height 480 --bits 24 \\\n"
      "      --photometric 6 --append\n"
      "Data of 16-bit samples stand in the byte order of the file. Fax data whose bits are reversed are told\n"
      "so by --fill-order-2, data that were made with a predictor by vxtif tag set OUT Predictor=SHORT:2.\n");
  command->callback([arguments] { Run(*arguments); });
}
