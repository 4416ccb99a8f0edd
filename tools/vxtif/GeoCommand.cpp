// vxtif geo: GeoTIFF keys of a page.

#include "Commands.h"

#include <iomanip>
#include <iostream>
#include <memory>

#include "Console.h"
#include "RecordJson.h"
#include "WriteArguments.h"
#include "toolkit/PageMetadata.h"
#include "toolkit/TagNames.h"

namespace {

struct GeoArguments {
  std::string file;
  std::vector<std::string> settings;
  int32_t page = 1;
  bool json = false;
};

void List(const GeoArguments& arguments) {
  Json object = {{"file", arguments.file}, {"pageNumber", arguments.page}, {"geoKeys", Json::array()}};
  for (const toolkit::NumberedValue& key : toolkit::ListGeoKeys(arguments.file, arguments.page)) {
    const std::string_view name = toolkit::GeoKeyName(key.number);
    if (arguments.json) {
      object["geoKeys"].push_back(JsonOfTag(key.number, name, key.value));
    } else {
      std::cout << std::setw(5) << key.number << "  " << std::left << std::setw(30) << name << std::setw(8)
                << toolkit::TypeName(key.value.type) << std::right
                << PrintableText(toolkit::FormatValue(key.value.type, key.value.count, key.value.bytes, 0)) << "\n";
    }
  }
  if (arguments.json) {
    PrintJson(object);
  }
}

void AddPage(CLI::App* command, GeoArguments& arguments) {
  command->add_option("FILE", arguments.file, "TIFF file")->required();
  command->add_option("--page", arguments.page, "page, from 1")->check(CLI::PositiveNumber)->type_name("N");
}

} // namespace

void AddGeoCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("geo", "Read and set GeoTIFF keys");
  command->require_subcommand(1);
  const auto arguments = std::make_shared<GeoArguments>();

  CLI::App* list = command->add_subcommand("list", "List the keys of a page");
  AddPage(list, *arguments);
  list->add_flag("--json", arguments->json, "one JSON object");
  list->callback([arguments] { List(*arguments); });

  CLI::App* set = command->add_subcommand("set", "Set keys in place");
  AddPage(set, *arguments);
  set->add_option("SETTINGS", arguments->settings,
                  "as GTModelType=2 or 2049=ASCII:text; a key with a name needs no type")
      ->required()
      ->type_name("K=[TYPE:]V");
  set->callback(
      [arguments] { toolkit::SetGeoKeys(arguments->file, arguments->page, ParseGeoSettings(arguments->settings)); });
}
