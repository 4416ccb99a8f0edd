// vxtif tag: tags of a page by number or by name.

#include "Commands.h"

#include <iomanip>
#include <iostream>
#include <memory>

#include "Console.h"
#include "RecordJson.h"
#include "WriteArguments.h"
#include "toolkit/Failure.h"
#include "toolkit/KernelFile.h"
#include "toolkit/PageMetadata.h"
#include "toolkit/RawDirectories.h"
#include "toolkit/TagNames.h"

#include <vxtif/results.h>

namespace {

constexpr size_t kShownCharacters = 100;

struct TagArguments {
  std::string file;
  std::string tag;
  std::vector<std::string> settings;
  int32_t page = 1;
  bool json = false;
};

std::string CheckTag(std::string& text) {
  return toolkit::ParseTag(text) ? "" : "'" + text + "' is neither a tag's number nor its name";
}

void GetOne(const TagArguments& arguments) {
  const uint16_t tag = *toolkit::ParseTag(arguments.tag);
  const toolkit::TypedValue value = toolkit::GetTag(arguments.file, arguments.page, tag);
  if (arguments.json) {
    Json object = {{"file", arguments.file}};
    object.update(JsonOfTag(tag, toolkit::TagName(tag), value));
    PrintJson(object);
  } else {
    std::cout << PrintableText(toolkit::FormatValue(value.type, value.count, value.bytes, 0)) << "\n";
  }
}

void List(const TagArguments& arguments) {
  const uint32_t offset = toolkit::FindDirectory(arguments.file, arguments.page, "tag list");
  const toolkit::KernelFile file(arguments.file, "tag list");
  const auto directory = toolkit::ReadDirectoryEntries(file.Handle(), offset);
  if (!directory) {
    throw toolkit::Failure(arguments.file, "tag list", kResultReadFailed);
  }
  Json object = {{"file", arguments.file}, {"pageNumber", arguments.page}, {"directoryOffset", offset}};
  object["tags"] = Json::array();
  for (const toolkit::DirectoryEntry& entry : directory->entries) {
    const auto bytes = toolkit::ReadEntryValue(file.Handle(), entry, directory->bigEndian);
    const toolkit::TypedValue value = {entry.type, entry.count, bytes.value_or(std::vector<uint8_t>())};
    const std::string_view name = toolkit::TagName(entry.tag);
    if (arguments.json) {
      object["tags"].push_back(JsonOfTag(entry.tag, name, value));
    } else {
      std::cout << std::setw(5) << entry.tag << "  " << std::left << std::setw(28) << name << std::setw(10)
                << toolkit::TypeName(entry.type) << std::right << std::setw(8) << entry.count << "  "
                << (bytes ? PrintableText(toolkit::FormatValue(entry.type, entry.count, *bytes, kShownCharacters))
                          : std::string("(cannot be read)"))
                << "\n";
    }
  }
  if (arguments.json) {
    PrintJson(object);
  }
}

void AddPage(CLI::App* command, TagArguments& arguments) {
  command->add_option("FILE", arguments.file, "TIFF file")->required();
  command->add_option("--page", arguments.page, "page, from 1")->check(CLI::PositiveNumber)->type_name("N");
}

} // namespace

void AddTagCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("tag", "Read and set tags of a page");
  command->require_subcommand(1);
  const auto arguments = std::make_shared<TagArguments>();

  CLI::App* get = command->add_subcommand("get", "Print one tag's value");
  AddPage(get, *arguments);
  get->add_option("TAG", arguments->tag, "number or name")->required()->check(CLI::Validator(CheckTag, ""));
  get->add_flag("--json", arguments->json, "one JSON object");
  get->callback([arguments] { GetOne(*arguments); });

  CLI::App* set = command->add_subcommand("set", "Set tags in place");
  AddPage(set, *arguments);
  set->add_option("SETTINGS", arguments->settings, "as Software=ASCII:text or 282=RATIONAL:300/1")
      ->required()
      ->type_name("T=TYPE:V");
  set->callback(
      [arguments] { toolkit::SetTags(arguments->file, arguments->page, ParseTagSettings(arguments->settings)); });

  CLI::App* list = command->add_subcommand("list", "List the tags of a page");
  AddPage(list, *arguments);
  list->add_flag("--json", arguments->json, "one JSON object");
  list->callback([arguments] { List(*arguments); });
}
