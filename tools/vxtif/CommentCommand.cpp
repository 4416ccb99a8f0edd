// vxtif comment: numbered comments of a page.

#include "Commands.h"

#include <iomanip>
#include <iostream>
#include <memory>

#include "Console.h"
#include "RecordJson.h"
#include "WriteArguments.h"
#include "toolkit/CommentTable.h"
#include "toolkit/Failure.h"
#include "toolkit/PageMetadata.h"
#include "toolkit/RawDirectories.h"
#include "toolkit/TagNames.h"

#include <vxtif/metadata.h>
#include <vxtif/results.h>

namespace {

constexpr size_t kShownCharacters = 100;

struct CommentArguments {
  std::string file;
  std::string comment;
  std::vector<std::string> settings;
  int32_t page = 1;
  bool json = false;
};

std::string CheckComment(std::string& text) {
  const bool number = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos && text.size() < 10;
  return number || toolkit::FindComment(std::string_view(text)) != nullptr
             ? ""
             : "'" + text + "' is neither a comment's number nor its name";
}

const char* HomeName(toolkit::CommentHome home) {
  switch (home) {
  case toolkit::CommentHome::kPage:
    return "page";
  case toolkit::CommentHome::kExif:
    return "Exif";
  case toolkit::CommentHome::kGps:
    return "GPS";
  default:
    return "IPTC";
  }
}

toolkit::TypedValue ValueOf(const toolkit::CommentRow& row, const std::vector<uint8_t>& bytes) {
  const uint32_t size = toolkit::ElementSize(row.type);
  return {row.type, static_cast<uint32_t>(bytes.size() / size), bytes};
}

// The values of a repeatable comment are set apart by the byte 1.
std::string TextOf(const toolkit::CommentRow& row, const std::vector<uint8_t>& bytes, size_t most) {
  const toolkit::TypedValue value = ValueOf(row, bytes);
  std::string text = PrintableText(toolkit::FormatValue(value.type, value.count, value.bytes, most));
  if (row.home == toolkit::CommentHome::kIptc) {
    for (char& c : text) {
      c = c == '\1' ? ';' : c;
    }
  }
  return text;
}

Json JsonOfComment(const toolkit::CommentRow& row, const std::vector<uint8_t>& bytes) {
  const toolkit::TypedValue value = ValueOf(row, bytes);
  return {{"comment", row.number}, {"name", row.name},     {"home", HomeName(row.home)}, {"size", bytes.size()},
          {"type", value.type},    {"count", value.count}, {"value", JsonOfValue(value)}};
}

void GetOne(const CommentArguments& arguments) {
  const toolkit::CommentRow* row = toolkit::FindComment(std::string_view(arguments.comment));
  // A number that is not in use goes to the library all the same: it tells so.
  const uint32_t number = row != nullptr ? row->number : static_cast<uint32_t>(std::stoul(arguments.comment));
  const auto bytes = toolkit::GetComment(arguments.file, arguments.page, number);
  if (!bytes || row == nullptr) {
    throw toolkit::Failure(arguments.file, "comment get", kResultRefused, "the page has no such comment");
  }
  if (arguments.json) {
    Json object = {{"file", arguments.file}};
    object.update(JsonOfComment(*row, *bytes));
    PrintJson(object);
  } else {
    std::cout << TextOf(*row, *bytes, 0) << "\n";
  }
}

void List(const CommentArguments& arguments) {
  Json object = {{"file", arguments.file}, {"pageNumber", arguments.page}, {"comments", Json::array()}};
  for (const toolkit::CommentRow& row : toolkit::AllComments()) {
    std::optional<std::vector<uint8_t>> bytes;
    try {
      bytes = toolkit::GetComment(arguments.file, arguments.page, row.number);
    } catch (const toolkit::Failure& failure) {
      // One value of a wrong type, or that is not there, does not hide the others.
      if (failure.code != kResultTypeNotAllowed && failure.code != kResultReadFailed) {
        throw;
      }
      ReportFailure(toolkit::Failure(arguments.file, "comment " + std::to_string(row.number), failure.code).what());
    }
    if (bytes && arguments.json) {
      object["comments"].push_back(JsonOfComment(row, *bytes));
    } else if (bytes) {
      std::cout << std::setw(5) << row.number << "  " << std::left << std::setw(30) << row.name << std::setw(6)
                << HomeName(row.home) << std::right << TextOf(row, *bytes, kShownCharacters) << "\n";
    }
  }
  if (arguments.json) {
    PrintJson(object);
  }
}

void AddPage(CLI::App* command, CommentArguments& arguments) {
  command->add_option("FILE", arguments.file, "TIFF file")->required();
  command->add_option("--page", arguments.page, "page, from 1")->check(CLI::PositiveNumber)->type_name("N");
}

} // namespace

void AddCommentCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("comment", "Read and set comments: texts, Exif, GPS and IPTC values");
  command->require_subcommand(1);
  const auto arguments = std::make_shared<CommentArguments>();

  CLI::App* get = command->add_subcommand("get", "Print one comment");
  AddPage(get, *arguments);
  get->add_option("COMMENT", arguments->comment, "number or name")->required()->check(CLI::Validator(CheckComment, ""));
  get->add_flag("--json", arguments->json, "one JSON object");
  get->callback([arguments] { GetOne(*arguments); });

  CLI::App* set = command->add_subcommand("set", "Set comments in place");
  AddPage(set, *arguments);
  set->add_option("SETTINGS", arguments->settings,
                  "as Artist=text or GPSLatitude=52/1,31/1,12/1; the same comment again adds a further value to a "
                  "repeatable one")
      ->required()
      ->type_name("C=V");
  set->callback([arguments] {
    toolkit::SetComments(arguments->file, arguments->page, ParseCommentSettings(arguments->settings));
  });

  CLI::App* list = command->add_subcommand("list", "List the comments of a page");
  AddPage(list, *arguments);
  list->add_flag("--json", arguments->json, "one JSON object");
  list->callback([arguments] { List(*arguments); });
}
